#pragma once
// Meshes and measures shared by the flattening tests: developable strips with
// irregular triangles, curved disc-like patches, geodesic discs cut from
// scanned meshes, and the length, area and orientation checks of a layout.

#include <QarnUVAtlas/Parser.h>
#include <QarnUVAtlas/Primitives.h>
#include <QarnUVAtlas/TriMesh.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <functional>
#include <map>
#include <queue>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "TestFiles.h"

namespace flatten_test {

using ORVO::TriMesh;
using ORVO::Vector2;
using ORVO::Vector3;

using testfiles::ReadFile;

// True when no value is NaN or infinite.
inline bool AllFinite(const std::vector<double>& values) {
    for (double v : values)
        if (!std::isfinite(v)) return false;
    return true;
}

// A strip over the (s, r) rectangle [0, facets] x [0, 1]: s runs across
// `facets` planar facets (fold lines at integer s), r from one rim to the
// other. P(s, r) = A(s) + r (B(s) - A(s)) with A and B linear on each facet, so
// every facet is flat and the whole strip unfolds into the plane without
// stretching. Each facet holds `columns` columns of `rows` quads; vertices off
// the fold lines and rims are jittered, and each quad takes a random diagonal.
inline TriMesh MakeFoldedStrip(const std::vector<Vector3>& rimA, const std::vector<Vector3>& rimB, int columns,
                               int rows, unsigned seed) {
    const int facets = static_cast<int>(rimA.size()) - 1;
    const int nx = facets * columns;
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> shake(-0.3, 0.3);
    std::bernoulli_distribution coin(0.5);
    TriMesh mesh;
    for (int j = 0; j <= rows; ++j) {
        for (int i = 0; i <= nx; ++i) {
            const bool onFold = i % columns == 0;
            const bool onRim = j == 0 || j == rows;
            const double s = (i + (onFold ? 0.0 : shake(rng))) / columns;
            const double r = (j + (onRim ? 0.0 : shake(rng))) / rows;
            const int facet = std::min(facets - 1, static_cast<int>(std::floor(s)));
            const double t = s - facet;
            const Vector3 a = rimA[facet] * (1.0 - t) + rimA[facet + 1] * t;
            const Vector3 b = rimB[facet] * (1.0 - t) + rimB[facet + 1] * t;
            mesh.InsertVertex(a + (b - a) * r);
        }
    }
    auto id = [nx](int i, int j) { return j * (nx + 1) + i; };
    for (int j = 0; j < rows; ++j) {
        for (int i = 0; i < nx; ++i) {
            const int a = id(i, j), b = id(i + 1, j), c = id(i + 1, j + 1), d = id(i, j + 1);
            if (coin(rng)) {
                mesh.InsertTriangle(a, b, c);
                mesh.InsertTriangle(a, c, d);
            } else {
                mesh.InsertTriangle(a, b, d);
                mesh.InsertTriangle(b, c, d);
            }
        }
    }
    return mesh;
}

// A piece of a prism over a regular polygon (a faceted cylinder) turning
// through `angle` radians.
inline TriMesh MakeCylinderPiece(int facets, double angle, double radius, double height, int columns, int rows,
                                 unsigned seed) {
    std::vector<Vector3> a, b;
    for (int k = 0; k <= facets; ++k) {
        const double t = angle * k / facets;
        a.emplace_back(radius * std::cos(t), radius * std::sin(t), 0.0);
        b.emplace_back(radius * std::cos(t), radius * std::sin(t), height);
    }
    return MakeFoldedStrip(a, b, columns, rows, seed);
}

// A piece of a faceted cone (a pyramid over a regular polygon) cut between
// two heights, turning through `angle` radians.
inline TriMesh MakeConePiece(int facets, double angle, int columns, int rows, unsigned seed) {
    const Vector3 apex(0.0, 0.0, 2.0);
    std::vector<Vector3> a, b;
    for (int k = 0; k <= facets; ++k) {
        const double t = angle * k / facets;
        const Vector3 base(1.5 * std::cos(t), 1.5 * std::sin(t), 0.0);
        a.push_back(apex + (base - apex) * 0.35);
        b.push_back(base);
    }
    return MakeFoldedStrip(a, b, columns, rows, seed);
}

// An n x n jittered grid over [-1, 1]^2 with random diagonals, lifted onto a
// sphere of the given radius around (0, 0, 0) along rays from the centre: a
// curved, disc-like patch.
inline TriMesh MakeSpherePatch(int n, double radius, unsigned seed) {
    TriMesh flat = MakeFoldedStrip({Vector3(-1, -1, 0), Vector3(1, -1, 0)}, {Vector3(-1, 1, 0), Vector3(1, 1, 0)},
                                   n, n, seed);
    TriMesh mesh;
    for (int v = 0; v < flat.GetVertexCount(); ++v) {
        Vector3 p = flat.GetVertexCoord(v);
        p.z = radius;
        p.Normalise();
        mesh.InsertVertex(p * radius);
    }
    for (int f = 0; f < flat.GetTriangleCount(); ++f) {
        int ids[3];
        flat.GetTriangleVertexIds(f, ids);
        mesh.InsertTriangle(ids[0], ids[1], ids[2]);
    }
    return mesh;
}

// The mesh of an OBJ file through the library's reader. False when the file
// cannot be read.
inline bool LoadObj(const std::string& path, TriMesh* mesh) {
    return ORVO::Parser::ImportTriMesh(path, mesh) == 0;
}

// Whether the mesh is one oriented, edge-manifold topological disc: every
// directed edge used once, boundary edges forming a single loop, every vertex
// used, and V - E + F = 1.
inline bool IsDisc(const TriMesh& mesh) {
    std::map<std::pair<int, int>, int> directed;
    for (int f = 0; f < mesh.GetTriangleCount(); ++f) {
        int v[3];
        mesh.GetTriangleVertexIds(f, v);
        for (int k = 0; k < 3; ++k)
            if (++directed[{v[k], v[(k + 1) % 3]}] > 1) return false;
    }
    int edges = 0;
    std::map<int, std::vector<int>> boundaryNext;
    for (const auto& entry : directed) {
        const std::pair<int, int>& e = entry.first;
        const bool paired = directed.count({e.second, e.first}) > 0;
        if (!paired || e.first < e.second) ++edges;
        if (!paired) boundaryNext[e.first].push_back(e.second);
    }
    if (boundaryNext.empty()) return false;
    for (const auto& entry : boundaryNext)
        if (entry.second.size() != 1) return false;
    // One loop through every boundary vertex.
    const int start = boundaryNext.begin()->first;
    int at = start;
    size_t steps = 0;
    do {
        at = boundaryNext[at][0];
        ++steps;
    } while (at != start && steps <= boundaryNext.size());
    if (at != start || steps != boundaryNext.size()) return false;
    return mesh.GetVertexCount() - edges + mesh.GetTriangleCount() == 1;
}

// The faces closest to `seed` by edge-path distance (a geodesic disc of about
// `faceCount` faces), as a mesh of its own with the used vertices renumbered.
inline TriMesh GeodesicPatch(const TriMesh& mesh, int seed, int faceCount) {
    const int n = mesh.GetVertexCount();
    std::vector<std::vector<std::pair<int, double>>> adjacent(n);
    for (int f = 0; f < mesh.GetTriangleCount(); ++f) {
        int v[3];
        mesh.GetTriangleVertexIds(f, v);
        for (int k = 0; k < 3; ++k) {
            const int a = v[k], b = v[(k + 1) % 3];
            const double len = mesh.GetVertexCoord(a).Distance(mesh.GetVertexCoord(b));
            adjacent[a].push_back({b, len});
            adjacent[b].push_back({a, len});
        }
    }
    std::vector<double> dist(n, 1e300);
    using Item = std::pair<double, int>;
    std::priority_queue<Item, std::vector<Item>, std::greater<Item>> queue;
    dist[seed] = 0.0;
    queue.push({0.0, seed});
    while (!queue.empty()) {
        const Item top = queue.top();
        queue.pop();
        if (top.first > dist[top.second]) continue;
        for (const auto& next : adjacent[top.second]) {
            const double d = top.first + next.second;
            if (d < dist[next.first]) {
                dist[next.first] = d;
                queue.push({d, next.first});
            }
        }
    }
    std::vector<std::pair<double, int>> order;
    for (int f = 0; f < mesh.GetTriangleCount(); ++f) {
        int v[3];
        mesh.GetTriangleVertexIds(f, v);
        order.push_back({std::max({dist[v[0]], dist[v[1]], dist[v[2]]}), f});
    }
    std::sort(order.begin(), order.end());
    TriMesh patch;
    std::vector<int> newId(n, -1);
    for (int k = 0; k < faceCount && k < static_cast<int>(order.size()); ++k) {
        int v[3];
        mesh.GetTriangleVertexIds(order[k].second, v);
        for (int& id : v) {
            if (newId[id] < 0) newId[id] = patch.InsertVertex(mesh.GetVertexCoord(id));
            id = newId[id];
        }
        patch.InsertTriangle(v[0], v[1], v[2]);
    }
    return patch;
}

// |area-weighted mean unit normal|: 1 for a flat patch, 0.5 for a hemisphere.
inline double NormalSpread(const TriMesh& mesh) {
    Vector3 sum(0, 0, 0);
    double area = 0.0;
    for (int f = 0; f < mesh.GetTriangleCount(); ++f) {
        int v[3];
        mesh.GetTriangleVertexIds(f, v);
        const Vector3 a = mesh.GetVertexCoord(v[0]);
        const Vector3 n = (mesh.GetVertexCoord(v[1]) - a).CrossProduct(mesh.GetVertexCoord(v[2]) - a) * 0.5;
        sum = sum + n;
        area += n.Length();
    }
    return area > 0.0 ? sum.Length() / area : 0.0;
}

// Geodesic discs of about faceCount faces from the OBJ at path, seeded at
// vertices spread through the vertex list, kept when the patch is a clean disc
// and gently curved the way an atlas chart is (normal spread at least
// minSpread); at most maxCount of them. Empty when the file is missing.
inline std::vector<TriMesh> ScannedDiscs(const std::string& path, int faceCount, int maxCount, double minSpread) {
    std::vector<TriMesh> discs;
    TriMesh mesh;
    if (!LoadObj(path, &mesh)) return discs;
    const int step = std::max(1, mesh.GetVertexCount() / 16);
    for (int seed = mesh.GetVertexCount() / 3; seed < mesh.GetVertexCount(); seed += step) {
        TriMesh patch = GeodesicPatch(mesh, seed, faceCount);
        if (IsDisc(patch) && NormalSpread(patch) >= minSpread) discs.push_back(std::move(patch));
        if (static_cast<int>(discs.size()) == maxCount) break;
    }
    return discs;
}

inline Vector2 Uv(const std::vector<double>& uv, int v) { return Vector2(uv[2 * v], uv[2 * v + 1]); }

inline double SignedUvArea(const std::vector<double>& uv, const int* v) {
    return 0.5 * (Uv(uv, v[1]) - Uv(uv, v[0])).CrossProduct(Uv(uv, v[2]) - Uv(uv, v[0]));
}

// The number of triangles whose layout is not counter-clockwise.
inline int FlippedCount(const TriMesh& mesh, const std::vector<double>& uv) {
    int flipped = 0;
    for (int f = 0; f < mesh.GetTriangleCount(); ++f) {
        int v[3];
        mesh.GetTriangleVertexIds(f, v);
        if (!(SignedUvArea(uv, v) > 0.0)) ++flipped;
    }
    return flipped;
}

// Largest |uv length / 3-D length - 1| over every edge of every triangle.
inline double WorstEdgeStretch(const TriMesh& mesh, const std::vector<double>& uv, double scale = 1.0) {
    double worst = 0.0;
    for (int f = 0; f < mesh.GetTriangleCount(); ++f) {
        int v[3];
        mesh.GetTriangleVertexIds(f, v);
        for (int k = 0; k < 3; ++k) {
            const int a = v[k], b = v[(k + 1) % 3];
            const double l3 = mesh.GetVertexCoord(a).Distance(mesh.GetVertexCoord(b));
            const double l2 = Uv(uv, a).Distance(Uv(uv, b));
            worst = std::max(worst, std::fabs(l2 / (scale * l3) - 1.0));
        }
    }
    return worst;
}

// Area-weighted mean of |log(uv area / 3-D area)| after scaling the layout to
// the same total area: 0 for an area-preserving layout.
inline double AreaDistortion(const TriMesh& mesh, const std::vector<double>& uv) {
    double total3 = 0.0, total2 = 0.0;
    std::vector<double> a3(mesh.GetTriangleCount()), a2(mesh.GetTriangleCount());
    for (int f = 0; f < mesh.GetTriangleCount(); ++f) {
        int v[3];
        mesh.GetTriangleVertexIds(f, v);
        a3[f] = ORVO::TriangleArea(mesh.GetVertexCoord(v[0]), mesh.GetVertexCoord(v[1]), mesh.GetVertexCoord(v[2]));
        a2[f] = std::fabs(SignedUvArea(uv, v));
        total3 += a3[f];
        total2 += a2[f];
    }
    double sum = 0.0;
    for (size_t f = 0; f < a3.size(); ++f) sum += a3[f] * std::fabs(std::log((a2[f] / total2) / (a3[f] / total3)));
    return sum / total3;
}

}  // namespace flatten_test
