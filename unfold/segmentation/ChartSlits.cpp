// Slits inside a chart (see ChartSlits.h).

#include "unfold/segmentation/ChartSlits.h"

#include <QarnUVAtlas/FillMeshHole.h>

#include "unfold/MeshAdjacency.h"
#include "unfold/flattening/ChartLayout.h"
#include "unfold/segmentation/BorderStraightening.h"

#include <algorithm>
#include <cmath>
#include <queue>
#include <set>
#include <utility>

namespace ORVO {
namespace {

// Stretch scores are capped, so that one collapsed face does not outweigh
// everything else around it.
constexpr double kScoreCap = 1e3;
// A cone tip is a vertex whose surface angles add up to less than a full turn
// by at least this share.
constexpr double kConeMargin = 0.02;

Vector3 FaceNormal(const TriMesh& chart, int f) {
    const int* t = chart.GetTriangle(f);
    const Vector3& p0 = chart.GetVertexCoordRef(t[0]);
    Vector3 n = (chart.GetVertexCoordRef(t[1]) - p0).CrossProduct(chart.GetVertexCoordRef(t[2]) - p0);
    const double length = n.Length();
    return length > 0.0 ? n / length : Vector3();
}

// Largest texture-to-surface stretch of face f, kScoreCap when it is flipped
// or has no layout area; 0 for a face without surface area.
double FaceScore(const TriMesh& chart, const std::vector<double>& uv, int f) {
    double a, b, c;
    const int state = _FaceLayoutMetric(chart, uv, f, a, b, c);
    if (state <= 0) return state == 0 ? 0.0 : kScoreCap;
    const double largest = std::sqrt(_LargestStretchSquared(a, b, c));
    return std::min(largest, kScoreCap);
}

// Weight of half-edge e of face f as a chart border: its length, less where the
// surface bends across it (see _BorderEdgeWeight).
double HalfEdgeWeight(const TriMesh& chart, const MeshAdjacency& adj, int f, int e) {
    const int* t = &adj.triangles[3 * static_cast<size_t>(f)];
    const int g = adj.faceNeighbours[3 * static_cast<size_t>(f) + e];
    const double cosine = g >= 0 ? FaceNormal(chart, f) * FaceNormal(chart, g) : 1.0;
    return _BorderEdgeWeight((chart.GetVertexCoordRef(t[(e + 1) % 3]) - chart.GetVertexCoordRef(t[e])).Length(),
                             cosine);
}

// Cheapest edge path, on edges weighted as chart borders are, from any vertex
// marked in `sources` to the first vertex off them that `isEnd` accepts,
// passing only through inner vertices (a source may lie on the boundary)
// not marked in `avoid` (when not empty). Vertex ids from the end back to a
// source; empty when no end is reached.
// `weights`, when given, holds the weight of every half-edge (see
// HalfEdgeWeights), for searches that run many times on one chart.
template <class IsEnd>
std::vector<int> CheapestPath(const TriMesh& chart, const MeshAdjacency& adj, const std::vector<char>& boundary,
                              const std::vector<char>& sources, const std::vector<char>& avoid, IsEnd isEnd,
                              const std::vector<double>* weights = nullptr) {
    std::vector<double> cost(adj.vertexCount, -1.0);
    std::vector<int> previous(adj.vertexCount, -1);
    using Entry = std::pair<double, int>;
    std::priority_queue<Entry, std::vector<Entry>, std::greater<Entry>> queue;
    for (int v = 0; v < adj.vertexCount; ++v) {
        if (!sources[v]) continue;
        cost[v] = 0.0;
        queue.push({0.0, v});
    }
    int reached = -1;
    while (!queue.empty()) {
        const auto [c, u] = queue.top();
        queue.pop();
        if (c > cost[u]) continue;
        if (!sources[u] && isEnd(u)) {
            reached = u;
            break;
        }
        if (!sources[u] && boundary[u]) continue;
        for (int i = adj.FacesBegin(u); i < adj.FacesEnd(u); ++i) {
            const int f = adj.vertexFaces[i];
            const int* t = &adj.triangles[3 * static_cast<size_t>(f)];
            for (int k = 0; k < 3; ++k) {
                if (t[k] != u) continue;
                // Both edges of f at u (a boundary source has an open fan),
                // with the face across each for the bend.
                for (int e : {k, (k + 2) % 3}) {
                    const int w = t[e] == u ? t[(e + 1) % 3] : t[e];
                    if (sources[w] || (!avoid.empty() && avoid[w])) continue;
                    const double next = c + (weights ? (*weights)[3 * static_cast<size_t>(f) + e]
                                                     : HalfEdgeWeight(chart, adj, f, e));
                    if (cost[w] >= 0.0 && cost[w] <= next) continue;
                    cost[w] = next;
                    previous[w] = u;
                    queue.push({next, w});
                }
            }
        }
    }
    std::vector<int> path;
    for (int v = reached; v >= 0; v = previous[v]) path.push_back(v);
    return path;
}

// HalfEdgeWeight of every half-edge (edge e of face f at 3 f + e).
std::vector<double> HalfEdgeWeights(const TriMesh& chart, const MeshAdjacency& adj) {
    std::vector<double> weights(3 * static_cast<size_t>(adj.faceCount));
    for (int f = 0; f < adj.faceCount; ++f)
        for (int e = 0; e < 3; ++e) weights[3 * static_cast<size_t>(f) + e] = HalfEdgeWeight(chart, adj, f, e);
    return weights;
}

// Cheapest path from inner vertex `start` to the boundary (to `target` when
// it is not -1), through no vertex marked in `avoid`; vertex ids from start on.
std::vector<int> CheapestPathToBoundary(const TriMesh& chart, const MeshAdjacency& adj, const std::vector<char>& boundary,
                                        int start, const std::vector<char>& avoid, int target) {
    std::vector<char> sources(adj.vertexCount, 0);
    sources[start] = 1;
    std::vector<int> path = CheapestPath(chart, adj, boundary, sources, avoid,
                                         [&](int v) { return boundary[v] && (target < 0 || v == target); });
    std::reverse(path.begin(), path.end());
    return path;
}

// The vertex of v's boundary loop half way round the loop (by length) from v.
int OppositeBoundaryVertex(const TriMesh& chart, const MeshAdjacency& adj, int v) {
    // Boundary half-edges by their first vertex.
    std::vector<int> next(adj.vertexCount, -1);
    for (int h = 0; h < 3 * adj.faceCount; ++h) {
        if (adj.faceNeighbours[h] >= 0) continue;
        next[adj.triangles[h]] = adj.triangles[3 * (h / 3) + (h % 3 + 1) % 3];
    }
    if (next[v] < 0) return -1;
    std::vector<int> loop{v};
    std::vector<double> along{0.0};
    for (int u = next[v]; u >= 0 && u != v && loop.size() <= static_cast<size_t>(adj.vertexCount); u = next[u]) {
        along.push_back(along.back() + (chart.GetVertexCoordRef(u) - chart.GetVertexCoordRef(loop.back())).Length());
        loop.push_back(u);
    }
    const double total = along.back() + (chart.GetVertexCoordRef(v) - chart.GetVertexCoordRef(loop.back())).Length();
    const size_t half = std::lower_bound(along.begin(), along.end(), 0.5 * total) - along.begin();
    return half < loop.size() ? loop[half] : -1;
}

}  // namespace

int _WorstInnerVertex(const TriMesh& chart, const std::vector<double>& uv, double maxFaceStretch, bool conesOnly) {
    MeshAdjacency adj;
    adj.Build(&chart);
    const std::vector<char> boundary = adj.BoundaryVertices();
    std::vector<double> score(adj.vertexCount, 0.0);
    for (int f = 0; f < adj.faceCount; ++f) {
        const double s = FaceScore(chart, uv, f);
        if (s <= maxFaceStretch) continue;
        const int* t = chart.GetTriangle(f);
        for (int k = 0; k < 3; ++k) score[t[k]] += s;
    }
    std::vector<double> turn(adj.vertexCount, 0.0);
    for (int f = 0; f < adj.faceCount; ++f) {
        const int* t = chart.GetTriangle(f);
        for (int k = 0; k < 3; ++k) {
            const Vector3& p = chart.GetVertexCoordRef(t[k]);
            Vector3 a = chart.GetVertexCoordRef(t[(k + 1) % 3]) - p, b = chart.GetVertexCoordRef(t[(k + 2) % 3]) - p;
            const double la = a.Length(), lb = b.Length();
            if (!(la > 0.0) || !(lb > 0.0)) continue;
            turn[t[k]] += std::acos(std::max(-1.0, std::min(1.0, (a * b) / (la * lb))));
        }
    }
    int best = -1;
    for (int v = 0; v < adj.vertexCount; ++v) {
        if (boundary[v] || !(score[v] > 0.0)) continue;
        if (conesOnly && turn[v] >= 2.0 * ORVO_PI * (1.0 - kConeMargin)) continue;
        if (best < 0 || score[v] > score[best]) best = v;
    }
    return best;
}

std::vector<int> _SlitPath(const TriMesh& chart, int start, const std::vector<char>& avoid) {
    MeshAdjacency adj;
    adj.Build(&chart);
    return CheapestPathToBoundary(chart, adj, adj.BoundaryVertices(), start, avoid, -1);
}

std::vector<std::vector<int>> _SlitPaths(const TriMesh& chart, const MeshAdjacency& adj, const std::vector<int>& starts) {
    const std::vector<char> boundary = adj.BoundaryVertices();
    std::vector<char> cut(adj.vertexCount, 0);
    std::vector<char> sources(adj.vertexCount, 0);
    const std::vector<char> none;
    std::vector<std::vector<int>> paths;
    for (int start : starts) {
        if (boundary[start] || cut[start]) continue;
        sources[start] = 1;
        std::vector<int> path =
            CheapestPath(chart, adj, boundary, sources, none, [&](int v) { return boundary[v] || cut[v]; });
        sources[start] = 0;
        if (path.size() < 2) continue;
        std::reverse(path.begin(), path.end());
        for (int v : path) cut[v] = 1;
        paths.push_back(std::move(path));
    }
    return paths;
}

bool _SplitThroughVertex(const TriMesh& chart, int apex, std::vector<int>& labels) {
    MeshAdjacency adj;
    adj.Build(&chart);
    const std::vector<char> boundary = adj.BoundaryVertices();
    const std::vector<char> none;
    const std::vector<int> first = CheapestPathToBoundary(chart, adj, boundary, apex, none, -1);
    if (first.size() < 2) return false;
    // The second cut runs to the point of the boundary loop half way round
    // from where the first one ends, so that the two parts are of like size.
    const int target = OppositeBoundaryVertex(chart, adj, first.back());
    std::vector<char> avoid(chart.GetVertexCount(), 0);
    for (size_t i = 1; i < first.size(); ++i) avoid[first[i]] = 1;
    std::vector<int> second;
    if (target >= 0 && !avoid[target]) second = CheapestPathToBoundary(chart, adj, boundary, apex, avoid, target);
    if (second.size() < 2) second = CheapestPathToBoundary(chart, adj, boundary, apex, avoid, -1);
    if (second.size() < 2) return false;
    std::set<std::pair<int, int>> cut;
    for (const std::vector<int>* path : {&first, static_cast<const std::vector<int>*>(&second)})
        for (size_t i = 1; i < path->size(); ++i)
            cut.insert({std::min((*path)[i - 1], (*path)[i]), std::max((*path)[i - 1], (*path)[i])});
    labels.assign(adj.faceCount, -1);
    std::vector<int> stack{0};
    labels[0] = 0;
    while (!stack.empty()) {
        const int f = stack.back();
        stack.pop_back();
        for (int k = 0; k < 3; ++k) {
            const int g = adj.faceNeighbours[3 * static_cast<size_t>(f) + k];
            if (g < 0 || labels[g] >= 0) continue;
            const int a = adj.triangles[3 * f + k], b = adj.triangles[3 * f + (k + 1) % 3];
            if (cut.count({std::min(a, b), std::max(a, b)})) continue;
            labels[g] = 0;
            stack.push_back(g);
        }
    }
    bool split = false;
    for (int& l : labels) {
        if (l < 0) {
            l = 1;
            split = true;
        }
    }
    return split;
}

bool _JoinBoundaryLoops(const TriMesh& chart, std::vector<std::vector<int>>& paths) {
    MeshAdjacency adj;
    adj.Build(&chart);
    std::vector<std::vector<int>> loops;
    return _JoinBoundaryLoops(chart, adj, loops, paths);
}

bool _JoinBoundaryLoops(const TriMesh& chart, const MeshAdjacency& adj, std::vector<std::vector<int>>& loops,
                        std::vector<std::vector<int>>& paths) {
    paths.clear();
    loops.clear();
    if (FillMeshHole::FindHoles(&chart, &loops) != STATUS_SUCCESS) {
        loops.clear();
        return false;
    }
    if (loops.empty()) return false;
    int boundaryEdges = 0;
    for (int n : adj.faceNeighbours) boundaryEdges += n < 0 ? 1 : 0;
    int usedVertices = 0;
    for (int v = 0; v < adj.vertexCount; ++v) usedVertices += adj.FacesEnd(v) > adj.FacesBegin(v) ? 1 : 0;
    const int edges = (3 * adj.faceCount + boundaryEdges) / 2;
    // A connected surface of genus g with b boundary loops has V - E + F = 2 - 2g - b.
    if (usedVertices - edges + adj.faceCount + static_cast<int>(loops.size()) != 2) return false;
    if (loops.size() == 1) return true;

    const std::vector<char> boundary = adj.BoundaryVertices();
    std::vector<int> loopOf(adj.vertexCount, -1);
    for (size_t l = 0; l < loops.size(); ++l)
        for (int v : loops[l]) loopOf[v] = static_cast<int>(l);
    std::vector<char> joined(loops.size(), 0), source(adj.vertexCount, 0);
    joined[0] = 1;
    for (int v : loops[0]) source[v] = 1;
    // Each round: cheapest path from what is joined so far to another loop.
    // Holed scans join dozens of loops: the weights are worked out once.
    const std::vector<char> none;
    const std::vector<double> weights = loops.size() > 2 ? HalfEdgeWeights(chart, adj) : std::vector<double>();
    for (size_t round = 1; round < loops.size(); ++round) {
        const std::vector<int> path = CheapestPath(
            chart, adj, boundary, source, none, [&](int v) { return loopOf[v] >= 0 && !joined[loopOf[v]]; },
            weights.empty() ? nullptr : &weights);
        if (path.empty()) return false;
        joined[loopOf[path.front()]] = 1;
        for (int v : loops[loopOf[path.front()]]) source[v] = 1;
        for (int v : path) source[v] = 1;
        paths.push_back(path);
    }
    return true;
}

void _SlitChart(const TriMesh& chart, const std::vector<std::vector<int>>& paths, TriMesh& slit) {
    MeshAdjacency adj;
    adj.Build(&chart);
    _SlitChart(chart, adj, paths, slit);
}

void _SlitChart(const TriMesh& chart, const MeshAdjacency& adj, const std::vector<std::vector<int>>& paths,
                TriMesh& slit) {
    std::set<std::pair<int, int>> cut;
    for (const std::vector<int>& path : paths)
        for (size_t i = 1; i < path.size(); ++i)
            cut.insert({std::min(path[i - 1], path[i]), std::max(path[i - 1], path[i])});

    // Corners joined across every uncut inner edge; each group is one vertex
    // of the slit chart.
    const int corners = 3 * adj.faceCount;
    std::vector<int> parent(corners);
    for (int c = 0; c < corners; ++c) parent[c] = c;
    auto find = [&](int x) {
        while (parent[x] != x) {
            parent[x] = parent[parent[x]];
            x = parent[x];
        }
        return x;
    };
    for (int f = 0; f < adj.faceCount; ++f) {
        for (int k = 0; k < 3; ++k) {
            const int g = adj.faceNeighbours[3 * static_cast<size_t>(f) + k];
            if (g < 0 || g < f) continue;
            const int a = adj.triangles[3 * f + k], b = adj.triangles[3 * f + (k + 1) % 3];
            if (cut.count({std::min(a, b), std::max(a, b)})) continue;
            for (int j = 0; j < 3; ++j) {
                const int v = adj.triangles[3 * g + j];
                if (v == a) parent[find(3 * g + j)] = find(3 * f + k);
                if (v == b) parent[find(3 * g + j)] = find(3 * f + (k + 1) % 3);
            }
        }
    }
    // The first group of each vertex keeps its id; further groups are appended.
    slit.Clear();
    const int vertices = chart.GetVertexCount();
    for (int v = 0; v < vertices; ++v) slit.InsertVertex(chart.GetVertexCoordRef(v));
    std::vector<char> taken(vertices, 0);
    std::vector<int> id(corners, -1);
    for (int c = 0; c < corners; ++c) {
        const int r = find(c);
        if (id[r] >= 0) continue;
        const int v = adj.triangles[c];
        id[r] = taken[v] ? slit.InsertVertex(chart.GetVertexCoordRef(v)) : v;
        taken[v] = 1;
    }
    for (int f = 0; f < adj.faceCount; ++f)
        slit.InsertTriangle(id[find(3 * f)], id[find(3 * f + 1)], id[find(3 * f + 2)]);
}

}  // namespace ORVO
