// Welding of vertices that share a position, for the atlas's working copy.

#include "unfold/InputRepair.h"
#include "unfold/UndirectedEdgeTable.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numeric>

namespace ORVO {
namespace {

// Cells are a few tolerances wide, so that a vertex is near the side of its
// cell (and needs the neighbour looked at) along an axis only now and then.
constexpr double kCellsPerTolerance = 4.0;
constexpr int64_t kAxisCells = int64_t(1) << 21;

uint64_t CellKey(int64_t x, int64_t y, int64_t z) {
    return (static_cast<uint64_t>(x & (kAxisCells - 1)) << 42) | (static_cast<uint64_t>(y & (kAxisCells - 1)) << 21) |
           static_cast<uint64_t>(z & (kAxisCells - 1));
}

uint64_t Mix(uint64_t k) {
    k ^= k >> 33;
    k *= 0xff51afd7ed558ccdULL;
    k ^= k >> 33;
    return k;
}

// Vertices by cell: an open-addressed table of cell keys, each with the list
// of its vertices threaded through `next`.
class CellTable {
public:
    explicit CellTable(size_t count) {
        size_t size = 16;
        while (size < 2 * count) size *= 2;
        mKeys.assign(size, 0);
        mHeads.assign(size, -1);
        mNext.assign(count, -1);
        mMask = size - 1;
    }
    void Insert(uint64_t key, int v) {
        size_t i = Slot(key);
        if (mHeads[i] < 0) mKeys[i] = key;
        mNext[v] = mHeads[i];
        mHeads[i] = v;
    }
    int Head(uint64_t key) const { return mHeads[Slot(key)]; }
    int Next(int v) const { return mNext[v]; }

private:
    size_t Slot(uint64_t key) const {
        size_t i = Mix(key) & mMask;
        while (mHeads[i] >= 0 && mKeys[i] != key) i = (i + 1) & mMask;
        return i;
    }
    std::vector<uint64_t> mKeys;
    std::vector<int> mHeads;
    std::vector<int> mNext;
    size_t mMask = 0;
};

}  // namespace

int _WeldVertices(const ITriMesh* mesh, double tolerance, std::vector<int>& keptVertex) {
    const int n = mesh->GetVertexCount();
    keptVertex.resize(n);
    std::iota(keptVertex.begin(), keptVertex.end(), 0);
    // A mesh without extent (all its points at one place) is left as it is.
    if (!(tolerance > 0.0) || !std::isfinite(tolerance)) return 0;
    std::vector<Vector3> p(n);
    const double inf = std::numeric_limits<double>::infinity();
    Vector3 lo(inf, inf, inf);
    for (int v = 0; v < n; ++v) {
        p[v] = mesh->GetVertexCoord(v);
        lo = Vector3(std::min(lo.x, p[v].x), std::min(lo.y, p[v].y), std::min(lo.z, p[v].z));
    }
    const double cell = kCellsPerTolerance * tolerance;
    const double tolerance2 = tolerance * tolerance;
    std::vector<int64_t> coord(3 * static_cast<size_t>(n));
    CellTable table(static_cast<size_t>(n));
    for (int v = 0; v < n; ++v) {
        const Vector3 d = p[v] - lo;
        coord[3 * v] = static_cast<int64_t>(std::floor(d.x / cell));
        coord[3 * v + 1] = static_cast<int64_t>(std::floor(d.y / cell));
        coord[3 * v + 2] = static_cast<int64_t>(std::floor(d.z / cell));
        table.Insert(CellKey(coord[3 * v], coord[3 * v + 1], coord[3 * v + 2]), v);
    }

    // The faces around each vertex, built when the first pair within the
    // tolerance turns up: two vertices of one face never merge, so that
    // welding joins separate corners and never collapses an edge.
    std::vector<int> corners, faceStart, faces;
    auto buildFaces = [&]() {
        _ReadTriangleCorners(mesh, corners);
        _IncidentFaces(corners, n, faceStart, faces);
    };
    // Whether v shares a face with a vertex already merged into (or being) u.
    auto sharesFace = [&](int v, int u) {
        if (faceStart.empty()) buildFaces();
        for (int i = faceStart[v]; i < faceStart[v + 1]; ++i) {
            const int* t = &corners[3 * static_cast<size_t>(faces[i])];
            for (int k = 0; k < 3; ++k) {
                if (t[k] < v && keptVertex[t[k]] == u) return true;
            }
        }
        return false;
    };
    int merged = 0;
    for (int v = 0; v < n; ++v) {
        // Neighbour cells worth a look along each axis: those the tolerance
        // ball around the vertex reaches.
        int64_t from[3], to[3];
        const double d[3] = {p[v].x - lo.x, p[v].y - lo.y, p[v].z - lo.z};
        for (int a = 0; a < 3; ++a) {
            const int64_t c = coord[3 * v + a];
            from[a] = static_cast<int64_t>(std::floor((d[a] - tolerance) / cell)) < c ? c - 1 : c;
            to[a] = static_cast<int64_t>(std::floor((d[a] + tolerance) / cell)) > c ? c + 1 : c;
        }
        int best = v;
        for (int64_t x = from[0]; x <= to[0]; ++x) {
            for (int64_t y = from[1]; y <= to[1]; ++y) {
                for (int64_t z = from[2]; z <= to[2]; ++z) {
                    for (int u = table.Head(CellKey(x, y, z)); u >= 0; u = table.Next(u)) {
                        // Only vertices already decided, and kept, take others in:
                        // no chain of near points drifts further than the tolerance.
                        if (u >= best || keptVertex[u] != u) continue;
                        if (coord[3 * u] != x || coord[3 * u + 1] != y || coord[3 * u + 2] != z) continue;
                        if (p[u].DistanceSquared(p[v]) <= tolerance2 && !sharesFace(v, u)) best = u;
                    }
                }
            }
        }
        keptVertex[v] = best;
        merged += best != v ? 1 : 0;
    }
    return merged;
}

}  // namespace ORVO
