// Building half-edge meshes and edge lists on a surface of about one million
// triangles. Each item runs in a fresh child process so that its peak memory
// (ru_maxrss) is its own; the mesh alone is measured the same way and
// reported as the baseline.
//
//   bench_geometry                 all items on the generated surface
//   bench_geometry --obj FILE      all items on an OBJ mesh (v/f lines)
//   bench_geometry --item NAME     one item in this process (used by the above)

#include <QarnUVAtlas/HalfMesh.h>
#include "BenchTiming.h"
#include <QarnUVAtlas/MeshInfo.h>
#include <QarnUVAtlas/TriMesh.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

using namespace ORVO;

using benchtiming::Now;
using benchtiming::Median;
using benchtiming::PeakRssKiB;

namespace {

constexpr int kRuns = 5;
constexpr int kGridSide = 708;  // vertices per side: 2 * 707^2 = 999,698 triangles

TriMesh BumpySurface(int side) {
    TriMesh mesh;
    mesh.ReserveVertices(side * side);
    mesh.ReserveTriangles(2 * (side - 1) * (side - 1));
    for (int j = 0; j < side; ++j) {
        for (int i = 0; i < side; ++i) {
            double x = static_cast<double>(i) / (side - 1), y = static_cast<double>(j) / (side - 1);
            double z = 0.05 * std::sin(12.0 * x) * std::cos(9.0 * y) + 0.02 * std::sin(40.0 * x * y);
            mesh.InsertVertex(Vector3(x, y, z));
        }
    }
    for (int j = 0; j + 1 < side; ++j) {
        for (int i = 0; i + 1 < side; ++i) {
            int a = j * side + i, b = a + 1, c = a + side + 1, d = a + side;
            mesh.InsertTriangle(a, b, c);
            mesh.InsertTriangle(a, c, d);
        }
    }
    return mesh;
}

bool ReadObj(const std::string& path, TriMesh& mesh) {
    std::ifstream in(path);
    if (!in) return false;
    std::string line;
    while (std::getline(in, line)) {
        if (line.size() < 2) continue;
        if (line[0] == 'v' && line[1] == ' ') {
            double x = 0, y = 0, z = 0;
            std::sscanf(line.c_str() + 2, "%lf %lf %lf", &x, &y, &z);
            mesh.InsertVertex(Vector3(x, y, z));
        } else if (line[0] == 'f' && line[1] == ' ') {
            std::istringstream ss(line.substr(2));
            std::vector<int> ids;
            std::string item;
            while (ss >> item) ids.push_back(std::atoi(item.c_str()) - 1);
            for (size_t k = 2; k < ids.size(); ++k) mesh.InsertTriangle(ids[0], ids[k - 1], ids[k]);
        }
    }
    return true;
}

int RunItem(const std::string& item, const TriMesh& mesh) {
    std::vector<double> times, extra;
    if (item == "baseline") {
        std::printf("mesh: %d vertices, %d triangles\n", mesh.GetVertexCount(), mesh.GetTriangleCount());
    } else if (item == "halfmesh") {
        int edges = 0;
        for (int r = 0; r < kRuns; ++r) {
            double t0 = Now();
            HalfMesh* hm = CreateHalfMeshFromITriMesh(&mesh);
            double t1 = Now();
            if (!hm) return 1;
            edges = hm->GetEdgeCount();
            delete hm;
            times.push_back(t1 - t0);
            extra.push_back(Now() - t1);
        }
        std::printf("CreateHalfMeshFromITriMesh: median %.3f s (delete %.3f s), %d half-edges\n", Median(times),
                    Median(extra), edges);
    } else if (item == "edgeinfo" || item == "edgeinfo_map") {
        bool withMap = item == "edgeinfo_map";
        size_t edges = 0;
        for (int r = 0; r < kRuns; ++r) {
            std::vector<EdgeInfo> infos;
            std::vector<std::map<int, int>> maps;
            double t0 = Now();
            if (ConstructEdgeInfo(&mesh, infos, withMap ? &maps : nullptr) != 0) return 1;
            times.push_back(Now() - t0);
            edges = infos.size();
        }
        std::printf("ConstructEdgeInfo%s: median %.3f s, %zu edges\n", withMap ? " with vertex maps" : "",
                    Median(times), edges);
    } else {
        std::fprintf(stderr, "unknown item %s\n", item.c_str());
        return 2;
    }
    return 0;
}

// Runs one item in a child process; returns its peak resident size in KiB.
long RunChild(const char* self, const std::string& item, const std::string& obj) {
    std::fflush(stdout);
    pid_t pid = fork();
    if (pid == 0) {
        if (obj.empty()) {
            execl(self, self, "--item", item.c_str(), static_cast<char*>(nullptr));
        } else {
            execl(self, self, "--item", item.c_str(), "--obj", obj.c_str(), static_cast<char*>(nullptr));
        }
        _exit(127);
    }
    int status = 0;
    rusage usage;
    std::memset(&usage, 0, sizeof(usage));
    if (pid < 0 || wait4(pid, &status, 0, &usage) < 0 || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        std::printf("  item %s failed\n", item.c_str());
        return -1;
    }
    return usage.ru_maxrss;
}

}  // namespace

int main(int argc, char** argv) {
    std::string item, obj;
    for (int i = 1; i + 1 < argc; ++i) {
        if (std::strcmp(argv[i], "--item") == 0) item = argv[++i];
        else if (std::strcmp(argv[i], "--obj") == 0) obj = argv[++i];
    }
    if (!item.empty()) {
        TriMesh mesh;
        if (obj.empty()) {
            mesh = BumpySurface(kGridSide);
        } else if (!ReadObj(obj, mesh)) {
            std::fprintf(stderr, "cannot read %s\n", obj.c_str());
            return 2;
        }
        int rc = RunItem(item, mesh);
        std::printf("  peak RSS %.1f MB\n", PeakRssKiB() / 1024.0);
        return rc;
    }
    std::printf("input: %s\n", obj.empty() ? "generated bumpy grid 708 x 708" : obj.c_str());
    long base = RunChild("/proc/self/exe", "baseline", obj);
    for (const char* name : {"halfmesh", "edgeinfo", "edgeinfo_map"}) {
        long peak = RunChild("/proc/self/exe", name, obj);
        if (peak > 0 && base > 0) std::printf("  growth over the mesh alone: %.1f MB\n", (peak - base) / 1024.0);
    }
    return 0;
}
