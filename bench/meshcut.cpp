// Times the mesh-topology stages of the atlas on one large mesh: the manifold
// repair, the degenerate-triangle consolidation, the boundary loops and the
// cut along region borders.
//
//   bench_meshcut [file.obj] [cells]
//
// Default file: the one-million-face mesh of the shared set. cells (default
// 12) sets the lattice whose cell borders become the cut lines. Figures are
// the best of three runs, in CPU seconds of the calling thread.

#include <QarnUVAtlas/ConsolidateMesh.h>
#include <QarnUVAtlas/FillMeshHole.h>
#include <QarnUVAtlas/SplitMesh.h>
#include <QarnUVAtlas/TriMesh.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <time.h>

using ORVO::TriMesh;
using ORVO::Vector3;

namespace {

// Thread CPU time: on a shared machine wall time mostly measures the others.
double Now() {
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return ts.tv_sec + 1e-9 * ts.tv_nsec;
}

bool LoadObj(const std::string& path, TriMesh& mesh) {
    FILE* file = std::fopen(path.c_str(), "r");
    if (!file) return false;
    char line[512];
    while (std::fgets(line, sizeof line, file)) {
        if (line[0] == 'v' && line[1] == ' ') {
            char* p = line + 2;
            const double x = std::strtod(p, &p), y = std::strtod(p, &p), z = std::strtod(p, &p);
            mesh.InsertVertex(Vector3(x, y, z));
        } else if (line[0] == 'f' && line[1] == ' ') {
            char* p = line + 2;
            int ids[3];
            for (int k = 0; k < 3; ++k) {
                ids[k] = static_cast<int>(std::strtol(p, &p, 10)) - 1;
                while (*p && *p != ' ' && *p != '\t') ++p;  // skip "/vt/vn"
            }
            mesh.InsertTriangle(ids[0], ids[1], ids[2]);
        }
    }
    std::fclose(file);
    return true;
}

template <typename F>
double Best(int runs, F&& body) {
    double best = 1e30;
    for (int r = 0; r < runs; ++r) {
        const double t0 = Now();
        body();
        best = std::min(best, Now() - t0);
    }
    return best;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string path = argc > 1 ? argv[1] : std::string(QARN_SHARED_DIR) + "/meshes/igea_x4.obj";
    const int cells = argc > 2 ? std::atoi(argv[2]) : 12;
    TriMesh mesh;
    if (!LoadObj(path, mesh) || mesh.GetTriangleCount() == 0) {
        std::fprintf(stderr, "cannot read %s\n", path.c_str());
        return 1;
    }
    std::printf("%s: %d vertices, %d triangles\n", path.c_str(), mesh.GetVertexCount(), mesh.GetTriangleCount());

    TriMesh manifold;
    std::vector<int> origins;
    const double tManifold = Best(3, [&] { ORVO::ConsolidateMesh::MakeManifold(&mesh, &manifold, &origins); });
    std::printf("MakeManifold                    %8.3f s  (%d vertices after)\n", tManifold, manifold.GetVertexCount());

    Vector3 lo = mesh.GetVertexCoord(0), hi = lo;
    for (const Vector3& p : mesh.GetVertexCoords())
        for (int a = 0; a < 3; ++a) {
            lo[a] = std::min(lo[a], p[a]);
            hi[a] = std::max(hi[a], p[a]);
        }
    const double eps = 1e-10 * (hi - lo).Length();
    std::vector<Vector3> coords;
    const double tConsolidate =
        Best(3, [&] { ORVO::ConsolidateMesh::ConsolidateDegenerateTriangles(&manifold, nullptr, eps, coords); });
    std::printf("ConsolidateDegenerateTriangles  %8.3f s\n", tConsolidate);

    std::vector<std::vector<int>> holes;
    const double tHoles = Best(3, [&] { ORVO::FillMeshHole::FindHoles(&manifold, &holes); });
    std::printf("FindHoles                       %8.3f s  (%zu loops)\n", tHoles, holes.size());

    // Cut lines: every edge between faces of different lattice cells.
    const double cell = (hi - lo).Length() / cells;
    const int faceCount = manifold.GetTriangleCount();
    std::vector<long> label(static_cast<size_t>(faceCount));
    for (int f = 0; f < faceCount; ++f) {
        const int* t = manifold.GetTriangle(f);
        const Vector3 c = (manifold.GetVertexCoordRef(t[0]) + manifold.GetVertexCoordRef(t[1]) +
                           manifold.GetVertexCoordRef(t[2])) / 3.0 - lo;
        label[f] = static_cast<long>(c.x / cell) * 1000000 + static_cast<long>(c.y / cell) * 1000 +
                   static_cast<long>(c.z / cell);
    }
    struct HalfEdge {
        int lo, hi, face;
    };
    std::vector<HalfEdge> halfEdges;
    halfEdges.reserve(3 * static_cast<size_t>(faceCount));
    for (int f = 0; f < faceCount; ++f) {
        const int* t = manifold.GetTriangle(f);
        for (int k = 0; k < 3; ++k) halfEdges.push_back({std::min(t[k], t[(k + 1) % 3]), std::max(t[k], t[(k + 1) % 3]), f});
    }
    std::sort(halfEdges.begin(), halfEdges.end(), [](const HalfEdge& a, const HalfEdge& b) {
        return a.lo != b.lo ? a.lo < b.lo : (a.hi != b.hi ? a.hi < b.hi : a.face < b.face);
    });
    std::vector<std::vector<int>> lines;
    for (size_t i = 0; i + 1 < halfEdges.size(); ++i) {
        const HalfEdge &a = halfEdges[i], &b = halfEdges[i + 1];
        if (a.lo == b.lo && a.hi == b.hi && label[a.face] != label[b.face]) lines.push_back({a.lo, a.hi});
    }

    double tSplit = 1e30;
    int vertexCountAfter = 0;
    for (int r = 0; r < 3; ++r) {
        TriMesh work = manifold;
        const double t0 = Now();
        ORVO::SplitMesh::SplitByLines(&work, lines, nullptr);
        tSplit = std::min(tSplit, Now() - t0);
        vertexCountAfter = work.GetVertexCount();
    }
    std::printf("SplitByLines                    %8.3f s  (%zu two-vertex lines, %d vertices after)\n", tSplit,
                lines.size(), vertexCountAfter);
    return 0;
}
