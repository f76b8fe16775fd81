// Consistent face orientation for the atlas's working copy: scanners and
// exporters that write faces one by one leave neighbours running their
// shared edge in the same direction, and every such edge would become a seam.

#include "unfold/InputRepair.h"
#include "unfold/UndirectedEdgeTable.h"

#include <cmath>
#include <utility>
#include <vector>

namespace ORVO {
namespace {

double FaceArea(const std::vector<int>& corners, const std::vector<double>& coords, int f) {
    auto point = [&](int k) {
        const double* p = &coords[3 * static_cast<size_t>(corners[3 * static_cast<size_t>(f) + k])];
        return Vector3(p[0], p[1], p[2]);
    };
    return TriangleArea(point(0), point(1), point(2));
}

bool RepeatsVertex(const std::vector<int>& corners, int f) {
    const int* t = &corners[3 * static_cast<size_t>(f)];
    return t[0] == t[1] || t[1] == t[2] || t[2] == t[0];
}

}  // namespace

int _OrientFaces(const std::vector<int>& corners, const std::vector<double>& coords, int vertexCount,
                 std::vector<char>& turned) {
    const int faceCount = static_cast<int>(corners.size() / 3);
    UndirectedEdgeTable edges;
    edges.Build(corners, vertexCount);
    // Edges that can join two faces: exactly two distinct faces, neither of
    // them naming a vertex twice. Faces that already agree across such an
    // edge form patches; the caller's orientation is kept inside a patch, and
    // whole patches are turned, so that a piece that cannot be oriented is cut
    // where the caller's faces already disagree, not somewhere in between.
    turned.assign(faceCount, 0);
    auto joining = [&](int e) {
        if (edges.HalfEdgeCount(e) != 2) return false;
        const int f = edges.HalfEdgesBegin(e)[0] / 3, g = edges.HalfEdgesBegin(e)[1] / 3;
        return f != g && !RepeatsVertex(corners, f) && !RepeatsVertex(corners, g);
    };
    // Most meshes agree everywhere already.
    bool agreeing = true;
    for (int e = 0; e < edges.EdgeCount() && agreeing; ++e) {
        agreeing = !joining(e) || corners[edges.HalfEdgesBegin(e)[0]] != corners[edges.HalfEdgesBegin(e)[1]];
    }
    if (agreeing) return 0;
    CornerDisjointSets patches;
    patches.Reset(faceCount);
    std::vector<std::pair<int, int>> disagreeing;  // face pairs
    for (int e = 0; e < edges.EdgeCount(); ++e) {
        if (!joining(e)) continue;
        const int h = edges.HalfEdgesBegin(e)[0], o = edges.HalfEdgesBegin(e)[1];
        const int f = h / 3, g = o / 3;
        if (corners[h] != corners[o]) {
            patches.Union(f, g);
        } else {
            disagreeing.emplace_back(f, g);
        }
    }
    // The patch graph: patches joined by disagreeing edges, both ways.
    std::vector<int> patchOf(faceCount);
    for (int f = 0; f < faceCount; ++f) patchOf[f] = patches.Find(f);
    std::vector<int> start(static_cast<size_t>(faceCount) + 1, 0);
    for (const auto& fg : disagreeing) {
        ++start[patchOf[fg.first] + 1];
        ++start[patchOf[fg.second] + 1];
    }
    for (int f = 0; f < faceCount; ++f) start[f + 1] += start[f];
    std::vector<int> across(static_cast<size_t>(start[faceCount]));
    {
        std::vector<int> fill(start.begin(), start.end() - 1);
        for (const auto& fg : disagreeing) {
            const int p = patchOf[fg.first], q = patchOf[fg.second];
            across[fill[p]++] = q;
            across[fill[q]++] = p;
        }
    }
    std::vector<double> patchArea(faceCount, 0.0);
    for (int f = 0; f < faceCount; ++f) patchArea[patchOf[f]] += FaceArea(corners, coords, f);

    // Breadth first over patches: a patch across a disagreeing edge takes the
    // other turn. Where the search meets a patch already given the same turn
    // (an odd loop: the piece is not orientable), the edge stays disagreeing.
    std::vector<char> patchTurned(faceCount, 0), reached(faceCount, 0);
    std::vector<int> piece;
    for (int seed = 0; seed < faceCount; ++seed) {
        if (patchOf[seed] != seed || reached[seed]) continue;
        reached[seed] = 1;
        piece.assign(1, seed);
        for (size_t i = 0; i < piece.size(); ++i) {
            const int p = piece[i];
            for (int j = start[p]; j < start[p + 1]; ++j) {
                const int q = across[j];
                if (reached[q]) continue;
                reached[q] = 1;
                patchTurned[q] = static_cast<char>(patchTurned[p] ^ 1);
                piece.push_back(q);
            }
        }
        // The piece keeps the orientation most of its area already has.
        double turnedArea = 0.0, keptArea = 0.0;
        for (int p : piece) (patchTurned[p] ? turnedArea : keptArea) += patchArea[p];
        if (turnedArea > keptArea) {
            for (int p : piece) patchTurned[p] ^= 1;
        }
    }
    int turnedCount = 0;
    for (int f = 0; f < faceCount; ++f) {
        turned[f] = patchTurned[patchOf[f]];
        turnedCount += turned[f];
    }
    return turnedCount;
}

}  // namespace ORVO
