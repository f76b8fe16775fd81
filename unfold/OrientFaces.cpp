// Consistent face orientation for the atlas's working copy: scanners and
// exporters that write faces one by one leave neighbours running their
// shared edge in the same direction, and every such edge would become a seam.

#include "unfold/InputRepair.h"
#include "unfold/UndirectedEdgeTable.h"

#include <cmath>

namespace ORVO {
namespace {

double FaceArea(const std::vector<int>& corners, const std::vector<double>& coords, int f) {
    const double* a = &coords[3 * static_cast<size_t>(corners[3 * static_cast<size_t>(f)])];
    const double* b = &coords[3 * static_cast<size_t>(corners[3 * static_cast<size_t>(f) + 1])];
    const double* c = &coords[3 * static_cast<size_t>(corners[3 * static_cast<size_t>(f) + 2])];
    const double u[3] = {b[0] - a[0], b[1] - a[1], b[2] - a[2]};
    const double v[3] = {c[0] - a[0], c[1] - a[1], c[2] - a[2]};
    const double n[3] = {u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0]};
    return 0.5 * std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
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
    turned.assign(faceCount, 0);
    std::vector<char> reached(faceCount, 0);
    std::vector<int> piece;
    int turnedCount = 0;
    for (int seed = 0; seed < faceCount; ++seed) {
        if (reached[seed]) continue;
        reached[seed] = 1;
        piece.assign(1, seed);
        // Breadth first across edges with exactly two faces: a neighbour that
        // runs the shared edge the same way as its (possibly turned) face
        // must itself be turned. Where the search closes a loop the other way
        // (a non-orientable piece), the edge is simply left disagreeing.
        for (size_t i = 0; i < piece.size(); ++i) {
            const int f = piece[i];
            if (RepeatsVertex(corners, f)) continue;
            for (int k = 0; k < 3; ++k) {
                const int h = 3 * f + k;
                const int e = edges.EdgeOf(h);
                if (e < 0 || edges.HalfEdgeCount(e) != 2) continue;
                const int* pair = edges.HalfEdgesBegin(e);
                const int o = pair[0] == h ? pair[1] : pair[0];
                const int g = o / 3;
                if (g == f || reached[g] || RepeatsVertex(corners, g)) continue;
                const bool sameDirection = corners[h] == corners[o];
                turned[g] = static_cast<char>(turned[f] ^ (sameDirection ? 1 : 0));
                reached[g] = 1;
                piece.push_back(g);
            }
        }
        // The piece keeps the orientation most of its area already has.
        double turnedArea = 0.0, keptArea = 0.0;
        for (int f : piece) (turned[f] ? turnedArea : keptArea) += FaceArea(corners, coords, f);
        const bool invert = turnedArea > keptArea;
        for (int f : piece) {
            if (invert) turned[f] ^= 1;
            turnedCount += turned[f];
        }
    }
    return turnedCount;
}

}  // namespace ORVO
