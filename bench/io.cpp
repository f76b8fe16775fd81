// File-format benchmark: loads an OBJ (default ../shared/meshes/igea_x4.obj,
// about one million faces) with the library's reader and, for comparison,
// with tinyobjloader when its header is installed; then writes the mesh in
// every format into a scratch folder and times reading each one back.
//
//   bench_io [MESH.obj] [--runs N] [--dir SCRATCH]

#include <QarnUVAtlas/Parser.h>
#include <QarnUVAtlas/TriMesh.h>

#if __has_include(<tiny_obj_loader.h>)
#define TINYOBJLOADER_IMPLEMENTATION
#include <tiny_obj_loader.h>
#define QARN_HAVE_TINYOBJ 1
#endif

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace {

double Seconds(const std::function<bool()>& work, int runs, bool& ok) {
    std::vector<double> times;
    ok = true;
    for (int r = 0; r < runs; ++r) {
        auto start = std::chrono::steady_clock::now();
        ok = work() && ok;
        times.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

long FileSize(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0 ? static_cast<long>(info.st_size) : -1;
}

}  // namespace

int main(int argc, char** argv) {
    std::string meshPath = std::string(QARN_SHARED_DIR) + "/meshes/igea_x4.obj";
    std::string dir = "/tmp";
    int runs = 3;
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        if (a == "--runs" && i + 1 < argc) runs = std::max(1, std::atoi(argv[++i]));
        else if (a == "--dir" && i + 1 < argc) dir = argv[++i];
        else meshPath = a;
    }
    ORVO::TriMesh mesh;
    bool ok = false;
    double t = Seconds([&] { return ORVO::Parser::ImportTriMesh(meshPath, &mesh) == 0; }, runs, ok);
    if (!ok) {
        std::printf("cannot read %s: %s\n", meshPath.c_str(), ORVO::Parser::GetLastError().c_str());
        return 1;
    }
    std::printf("mesh: %s, %d vertices, %d faces, %.1f MB\n", meshPath.c_str(), mesh.GetVertexCount(),
                mesh.GetTriangleCount(), FileSize(meshPath) / 1e6);
    std::printf("| step | seconds | file MB |\n|---|---|---|\n");
    std::printf("| read obj (Parser) | %.3f | %.1f |\n", t, FileSize(meshPath) / 1e6);
#ifdef QARN_HAVE_TINYOBJ
    t = Seconds(
        [&] {
            tinyobj::attrib_t attrib;
            std::vector<tinyobj::shape_t> shapes;
            std::vector<tinyobj::material_t> materials;
            std::string warn, err;
            return tinyobj::LoadObj(&attrib, &shapes, &materials, &warn, &err, meshPath.c_str(), nullptr, true);
        },
        runs, ok);
    std::printf("| read obj (tinyobjloader, arrays only) | %.3f | |\n", t);
#endif
    // Texture coordinates make the OBJ and PLY files carry per-corner data too.
    std::vector<double> tex(2 * static_cast<size_t>(mesh.GetVertexCount()));
    for (int v = 0; v < mesh.GetVertexCount(); ++v) {
        ORVO::Vector3 p = mesh.GetVertexCoord(v);
        tex[2 * v] = p.x;
        tex[2 * v + 1] = p.y;
    }
    for (const char* ext : {"ply", "stl", "off", "obj"}) {
        const std::string path = dir + "/bench_io_mesh." + ext;
        double write = Seconds([&] { return ORVO::Parser::ExportTriMesh(path, &mesh) == 0; }, 1, ok);
        ORVO::TriMesh back;
        double read = Seconds([&] { return ORVO::Parser::ImportTriMesh(path, &back) == 0; }, runs, ok);
        std::printf("| write %s | %.3f | %.1f |\n| read %s | %.3f | |\n", ext, write, FileSize(path) / 1e6, ext,
                    ok ? read : -1.0);
        std::remove(path.c_str());
    }
    // A scanner-style file: float positions, uchar/int face lists.
    {
        const std::string path = dir + "/bench_io_float.ply";
        std::string bytes = "ply\nformat binary_little_endian 1.0\nelement vertex " +
                            std::to_string(mesh.GetVertexCount()) +
                            "\nproperty float x\nproperty float y\nproperty float z\nelement face " +
                            std::to_string(mesh.GetTriangleCount()) +
                            "\nproperty list uchar int vertex_indices\nend_header\n";
        for (int v = 0; v < mesh.GetVertexCount(); ++v) {
            const ORVO::Vector3 p = mesh.GetVertexCoord(v);
            const float xyz[3] = {static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z)};
            bytes.append(reinterpret_cast<const char*>(xyz), sizeof(xyz));
        }
        for (int f = 0; f < mesh.GetTriangleCount(); ++f) {
            bytes += '\3';
            bytes.append(reinterpret_cast<const char*>(mesh.GetTriangle(f)), 3 * sizeof(int));
        }
        FILE* file = std::fopen(path.c_str(), "wb");
        if (file) {
            std::fwrite(bytes.data(), 1, bytes.size(), file);
            std::fclose(file);
        }
        ORVO::TriMesh back;
        double read = Seconds([&] { return ORVO::Parser::ImportTriMesh(path, &back) == 0; }, runs, ok);
        std::printf("| read scanner-style float ply | %.3f | %.1f |\n", ok ? read : -1.0, FileSize(path) / 1e6);
        std::remove(path.c_str());
    }
    const std::string texPly = dir + "/bench_io_tex.ply";
    ORVO::Parser::ExportTriMesh(texPly, &mesh, &tex, nullptr);
    std::vector<double> backTex;
    std::vector<int> backIds;
    ORVO::TriMesh back;
    t = Seconds([&] { return ORVO::Parser::ImportTriMesh(texPly, &back, &backTex, &backIds) == 0; }, runs, ok);
    std::printf("| read ply with texcoord lists | %.3f | %.1f |\n", ok ? t : -1.0, FileSize(texPly) / 1e6);
    std::remove(texPly.c_str());
    return 0;
}
