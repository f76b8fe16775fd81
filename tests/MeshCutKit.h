#pragma once
// Small meshes and brute-force topology checks for the cutting, hole-finding
// and repair tests. The checks use ordered maps and plain searches only, so
// they share no code with the library's edge tables.

#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/Parser.h>
#include <QarnUVAtlas/TriMesh.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

#include "TestFiles.h"

namespace meshcut {

using ORVO::ITriMesh;
using ORVO::TriMesh;
using ORVO::Vector3;

using Tri = std::array<int, 3>;

inline std::vector<Tri> Triangles(const ITriMesh& mesh) {
    std::vector<Tri> out(static_cast<size_t>(mesh.GetTriangleCount()));
    for (int f = 0; f < mesh.GetTriangleCount(); ++f) mesh.GetTriangleVertexIds(f, out[f].data());
    return out;
}

inline std::string ReadText(const std::string& name) { return testfiles::ReadFile(name); }

// ---------------------------------------------------------------- meshes

// (nx + 1) x (ny + 1) vertices in the plane z = 0, vertex (i, j) has id
// j (nx + 1) + i; quad (i, j) becomes two counter-clockwise triangles unless
// keep(i, j) says no.
inline TriMesh Grid(int nx, int ny, const std::function<bool(int, int)>& keep = nullptr) {
    TriMesh mesh;
    for (int j = 0; j <= ny; ++j)
        for (int i = 0; i <= nx; ++i) mesh.InsertVertex(Vector3(i, j, 0.0));
    for (int j = 0; j < ny; ++j)
        for (int i = 0; i < nx; ++i) {
            if (keep && !keep(i, j)) continue;
            const int a = j * (nx + 1) + i, b = a + 1, c = b + nx + 1, d = a + nx + 1;
            mesh.InsertTriangle(a, b, c);
            mesh.InsertTriangle(a, c, d);
        }
    return mesh;
}

inline int GridId(int nx, int i, int j) { return j * (nx + 1) + i; }

// Latitude-longitude sphere: vertex 0 is the north pole, ring r (1 .. rings - 1)
// holds ids 1 + (r - 1) segments + s, the last vertex is the south pole.
// Outward-facing triangles.
inline TriMesh UVSphere(int rings, int segments) {
    TriMesh mesh;
    mesh.InsertVertex(Vector3(0, 0, 1));
    for (int r = 1; r < rings; ++r) {
        const double theta = M_PI * r / rings;
        for (int s = 0; s < segments; ++s) {
            const double phi = 2.0 * M_PI * s / segments;
            mesh.InsertVertex(Vector3(std::sin(theta) * std::cos(phi), std::sin(theta) * std::sin(phi), std::cos(theta)));
        }
    }
    const int south = mesh.InsertVertex(Vector3(0, 0, -1));
    auto ring = [&](int r, int s) { return 1 + (r - 1) * segments + (s % segments); };
    for (int s = 0; s < segments; ++s) mesh.InsertTriangle(0, ring(1, s), ring(1, s + 1));
    for (int r = 1; r + 1 < rings; ++r)
        for (int s = 0; s < segments; ++s) {
            mesh.InsertTriangle(ring(r, s), ring(r + 1, s), ring(r + 1, s + 1));
            mesh.InsertTriangle(ring(r, s), ring(r + 1, s + 1), ring(r, s + 1));
        }
    for (int s = 0; s < segments; ++s) mesh.InsertTriangle(south, ring(rings - 1, s + 1), ring(rings - 1, s));
    return mesh;
}

inline int UVSphereRingId(int segments, int r, int s) { return 1 + (r - 1) * segments + (s % segments); }

// Torus: vertex (i, j) has id i tube + j; i runs around the big circle.
inline TriMesh Torus(int ring, int tube) {
    TriMesh mesh;
    for (int i = 0; i < ring; ++i)
        for (int j = 0; j < tube; ++j) {
            const double a = 2.0 * M_PI * i / ring, b = 2.0 * M_PI * j / tube;
            const double r = 1.0 + 0.4 * std::cos(b);
            mesh.InsertVertex(Vector3(r * std::cos(a), r * std::sin(a), 0.4 * std::sin(b)));
        }
    for (int i = 0; i < ring; ++i)
        for (int j = 0; j < tube; ++j) {
            const int a = i * tube + j, b = ((i + 1) % ring) * tube + j;
            const int c = ((i + 1) % ring) * tube + (j + 1) % tube, d = i * tube + (j + 1) % tube;
            mesh.InsertTriangle(a, b, c);
            mesh.InsertTriangle(a, c, d);
        }
    return mesh;
}

// Unit cube, two outward triangles per side; without the top side when open.
inline TriMesh Cube(bool open) {
    TriMesh mesh;
    for (int k = 0; k < 8; ++k) mesh.InsertVertex(Vector3(k & 1, (k >> 1) & 1, (k >> 2) & 1));
    const int quads[6][4] = {{0, 2, 3, 1}, {4, 5, 7, 6}, {0, 1, 5, 4}, {2, 6, 7, 3}, {0, 4, 6, 2}, {1, 3, 7, 5}};
    for (int q = 0; q < 6; ++q) {
        if (open && q == 1) continue;  // the top (z = 1)
        mesh.InsertTriangle(quads[q][0], quads[q][1], quads[q][2]);
        mesh.InsertTriangle(quads[q][0], quads[q][2], quads[q][3]);
    }
    return mesh;
}

// ---------------------------------------------------------------- files

inline std::string SharedMesh(const std::string& name) {
    const std::string path = std::string(QARN_SHARED_DIR) + "/meshes/" + name;
    return access(path.c_str(), R_OK) == 0 ? path : std::string();
}

// The shared meshes among `names` that can be read, as (name, path) pairs in
// the order given; empty when the shared folder is absent.
inline std::vector<std::pair<std::string, std::string>> PresentSharedMeshes(
    std::initializer_list<const char*> names) {
    std::vector<std::pair<std::string, std::string>> present;
    for (const char* name : names) {
        std::string path = SharedMesh(name);
        if (!path.empty()) present.emplace_back(name, std::move(path));
    }
    return present;
}

// The mesh of an OBJ file (any format the library reads), through the
// library's own reader. False when it cannot be read.
inline bool ReadObj(const std::string& path, TriMesh& mesh) {
    return ORVO::Parser::ImportTriMesh(path, &mesh) == 0;
}

// ---------------------------------------------------------------- checks

struct EdgeUse {
    std::vector<int> faces;
    std::vector<std::pair<int, int>> directed;  // (from, to) as the face runs it
};

inline std::map<std::pair<int, int>, EdgeUse> EdgeUses(const std::vector<Tri>& tris) {
    std::map<std::pair<int, int>, EdgeUse> uses;
    for (size_t f = 0; f < tris.size(); ++f)
        for (int k = 0; k < 3; ++k) {
            const int a = tris[f][k], b = tris[f][(k + 1) % 3];
            if (a == b) continue;
            EdgeUse& u = uses[{std::min(a, b), std::max(a, b)}];
            u.faces.push_back(static_cast<int>(f));
            u.directed.push_back({a, b});
        }
    return uses;
}

inline int MaxFacesOnEdge(const std::vector<Tri>& tris) {
    size_t most = 0;
    for (auto& kv : EdgeUses(tris)) most = std::max(most, kv.second.faces.size());
    return static_cast<int>(most);
}

// Edges whose two faces run them in the same direction.
inline int SameDirectionEdges(const std::vector<Tri>& tris) {
    int count = 0;
    for (auto& kv : EdgeUses(tris)) {
        const EdgeUse& u = kv.second;
        if (u.faces.size() == 2 && u.directed[0] == u.directed[1]) ++count;
    }
    return count;
}

// Number of face fans around every vertex: faces at v are joined when they
// share an edge (v, w) that has exactly two faces and is not in `cut`.
inline std::vector<int> FanCounts(const std::vector<Tri>& tris, int vertexCount,
                                  const std::set<std::pair<int, int>>& cut = {}) {
    auto uses = EdgeUses(tris);
    std::vector<std::vector<int>> around(static_cast<size_t>(vertexCount));
    for (size_t f = 0; f < tris.size(); ++f)
        for (int k = 0; k < 3; ++k) {
            auto& list = around[tris[f][k]];
            if (std::find(list.begin(), list.end(), static_cast<int>(f)) == list.end()) list.push_back(static_cast<int>(f));
        }
    std::vector<int> fans(static_cast<size_t>(vertexCount), 0);
    for (int v = 0; v < vertexCount; ++v) {
        std::set<int> left(around[v].begin(), around[v].end());
        while (!left.empty()) {
            ++fans[v];
            std::vector<int> stack{*left.begin()};
            left.erase(left.begin());
            while (!stack.empty()) {
                const int f = stack.back();
                stack.pop_back();
                for (int k = 0; k < 3; ++k) {
                    const int w = tris[f][k];
                    if (w == v) continue;
                    const std::pair<int, int> key{std::min(v, w), std::max(v, w)};
                    auto it = uses.find(key);
                    if (it == uses.end() || it->second.faces.size() != 2 || cut.count(key)) continue;
                    for (int g : it->second.faces) {
                        if (left.erase(g)) stack.push_back(g);
                    }
                }
            }
        }
    }
    return fans;
}

inline int MultiFanVertices(const std::vector<Tri>& tris, int vertexCount) {
    int count = 0;
    for (int n : FanCounts(tris, vertexCount)) count += n > 1 ? 1 : 0;
    return count;
}

// Components of the faces, two faces being connected when they share a vertex.
inline int Components(const std::vector<Tri>& tris, int vertexCount) {
    std::vector<int> parent(static_cast<size_t>(vertexCount));
    for (int v = 0; v < vertexCount; ++v) parent[v] = v;
    auto find = [&](int x) {
        while (parent[x] != x) x = parent[x] = parent[parent[x]];
        return x;
    };
    std::vector<char> used(static_cast<size_t>(vertexCount), 0);
    for (const Tri& t : tris) {
        for (int k = 0; k < 3; ++k) {
            used[t[k]] = 1;
            parent[find(t[k])] = find(t[(k + 1) % 3]);
        }
    }
    int count = 0;
    for (int v = 0; v < vertexCount; ++v) count += (used[v] && find(v) == v) ? 1 : 0;
    return count;
}

// Directed boundary edges: (a, b) of a face when no face runs (b, a), one
// entry per unmatched use.
inline std::multiset<std::pair<int, int>> BoundaryEdges(const std::vector<Tri>& tris) {
    std::multiset<std::pair<int, int>> out;
    for (auto& kv : EdgeUses(tris)) {
        std::multiset<std::pair<int, int>> runs(kv.second.directed.begin(), kv.second.directed.end());
        for (auto it = runs.begin(); it != runs.end();) {
            auto back = runs.find({it->second, it->first});
            if (back != runs.end()) {
                runs.erase(back);
                it = runs.erase(it);
            } else {
                ++it;
            }
        }
        out.insert(runs.begin(), runs.end());
    }
    return out;
}

// Components of the graph of boundary edges: the number of boundary loops
// when no two loops touch.
inline int BoundaryComponents(const std::multiset<std::pair<int, int>>& boundary) {
    std::map<int, int> parent;
    auto find = [&](int x) {
        if (!parent.count(x)) parent[x] = x;
        while (parent[x] != x) x = parent[x] = parent[parent[x]];
        return x;
    };
    for (auto& e : boundary) parent[find(e.first)] = find(e.second);
    int count = 0;
    for (auto& kv : parent) count += find(kv.first) == kv.first ? 1 : 0;
    return count;
}

// Whether some vertex starts more than one boundary edge.
inline bool HasBoundaryPinch(const std::multiset<std::pair<int, int>>& boundary) {
    std::map<int, int> starts;
    for (auto& e : boundary)
        if (++starts[e.first] > 1) return true;
    return false;
}

}  // namespace meshcut
