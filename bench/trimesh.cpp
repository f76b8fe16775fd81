// Building and reading a large TriMesh: the pattern every stage of the atlas
// uses on meshes of one to two million triangles.
// Usage: bench_trimesh [gridSide]   (default 1000: 2 million triangles)

#include <QarnUVAtlas/Primitives.h>
#include <QarnUVAtlas/TriMesh.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>

namespace {

double Seconds(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

int main(int argc, char** argv) {
    const int side = argc > 1 ? std::atoi(argv[1]) : 1000;
    if (side < 2) return 1;
    const int n = side + 1;

    auto t0 = std::chrono::steady_clock::now();
    ORVO::TriMesh mesh;
    mesh.ReserveVertices(n * n);
    mesh.ReserveTriangles(2 * side * side);
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) mesh.InsertVertex(ORVO::Vector3(i, j, 0.01 * ((i * 7 + j * 3) % 11)));
    }
    for (int j = 0; j < side; ++j) {
        for (int i = 0; i < side; ++i) {
            int a = j * n + i, b = a + 1, c = a + n, d = c + 1;
            mesh.InsertTriangle(a, b, d);
            mesh.InsertTriangle(a, d, c);
        }
    }
    const double build = Seconds(t0);

    // Read through the abstract interface, as the algorithms do.
    t0 = std::chrono::steady_clock::now();
    const ORVO::ITriMesh* view = &mesh;
    double area = 0.0;
    int ids[3];
    for (int f = 0; f < view->GetTriangleCount(); ++f) {
        view->GetTriangleVertexIds(f, ids);
        area += ORVO::TriangleArea(view->GetVertexCoord(ids[0]), view->GetVertexCoord(ids[1]),
                                   view->GetVertexCoord(ids[2]));
    }
    const double read = Seconds(t0);

    t0 = std::chrono::steady_clock::now();
    mesh.UpdateNormal();
    const double normals = Seconds(t0);

    t0 = std::chrono::steady_clock::now();
    std::unique_ptr<ORVO::TriMesh> copy(ORVO::CopyTriMesh(&mesh));
    const double copying = Seconds(t0);

    t0 = std::chrono::steady_clock::now();
    int fuse = copy->FuseVertex();
    const double fusing = Seconds(t0);

    t0 = std::chrono::steady_clock::now();
    copy.reset();
    mesh.Clear();
    const double freeing = Seconds(t0);

    std::printf("triangles=%d vertices=%d area=%.3f fuse=%d\n", 2 * side * side, n * n, area, fuse);
    std::printf("build %.3f s, interface read %.3f s, UpdateNormal %.3f s, copy %.3f s, "
                "FuseVertex %.3f s, free %.3f s\n",
                build, read, normals, copying, fusing, freeing);
    return 0;
}
