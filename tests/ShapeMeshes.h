#pragma once
// Generated shapes for the chart-shaping tests: a cube with subdivided sides
// and a closed cylinder with flat caps, both welded (one vertex per position)
// and facing outwards, and a flat sheet with spikes beside its flat layout.

#include <QarnUVAtlas/TriMesh.h>

#include "TestMeshes.h"

#include <cmath>
#include <map>
#include <tuple>
#include <utility>
#include <vector>

namespace shapemesh {

using ORVO::TriMesh;
using ORVO::Vector3;

// Unit cube [0,1]^3, each side an n x n grid of quads split into two
// triangles. Faces 2 n^2 (k) .. 2 n^2 (k+1) - 1 lie on side k.
inline TriMesh SubdividedCube(int n) {
    TriMesh mesh;
    std::map<std::tuple<int, int, int>, int> ids;
    auto vertex = [&](int x, int y, int z) {
        const auto key = std::make_tuple(x, y, z);
        const auto found = ids.find(key);
        if (found != ids.end()) return found->second;
        const int id = mesh.InsertVertex(Vector3(double(x) / n, double(y) / n, double(z) / n));
        ids.emplace(key, id);
        return id;
    };
    // Each side: a fixed axis and value, and two running axes ordered so that
    // (u x v) points outwards.
    const int sides[6][4] = {{0, 0, 2, 1}, {0, 1, 1, 2}, {1, 0, 0, 2}, {1, 1, 2, 0}, {2, 0, 1, 0}, {2, 1, 0, 1}};
    for (const auto& side : sides) {
        const int axis = side[0], value = side[1] * n, ua = side[2], va = side[3];
        auto at = [&](int u, int v) {
            int c[3];
            c[axis] = value;
            c[ua] = u;
            c[va] = v;
            return vertex(c[0], c[1], c[2]);
        };
        for (int v = 0; v < n; ++v)
            for (int u = 0; u < n; ++u) {
                const int a = at(u, v), b = at(u + 1, v), c = at(u + 1, v + 1), d = at(u, v + 1);
                mesh.InsertTriangle(a, b, c);
                mesh.InsertTriangle(a, c, d);
            }
    }
    return mesh;
}

// Closed cylinder of radius 1 and the given height around the z axis:
// `segments` around, `rows` along the side, and flat caps of `capRings`
// rings each. The side's faces come first, then the bottom cap's, then the
// top cap's.
inline TriMesh ClosedCylinder(int segments, int rows, int capRings, double height) {
    TriMesh mesh;
    auto ringVertex = [&](int i, double radius, double z) {
        const double a = 2.0 * M_PI * i / segments;
        return mesh.InsertVertex(Vector3(radius * std::cos(a), radius * std::sin(a), z));
    };
    std::vector<std::vector<int>> side(rows + 1);
    for (int r = 0; r <= rows; ++r)
        for (int i = 0; i < segments; ++i) side[r].push_back(ringVertex(i, 1.0, height * r / rows));
    for (int r = 0; r < rows; ++r)
        for (int i = 0; i < segments; ++i) {
            const int j = (i + 1) % segments;
            mesh.InsertTriangle(side[r][i], side[r][j], side[r + 1][j]);
            mesh.InsertTriangle(side[r][i], side[r + 1][j], side[r + 1][i]);
        }
    // Caps: rings shrinking to a centre vertex; the outer ring is the side's.
    for (int top = 0; top < 2; ++top) {
        const double z = top ? height : 0.0;
        std::vector<int> outer = top ? side[rows] : side[0];
        for (int k = 1; k <= capRings; ++k) {
            std::vector<int> inner;
            if (k < capRings) {
                for (int i = 0; i < segments; ++i) inner.push_back(ringVertex(i, 1.0 - double(k) / capRings, z));
            }
            const int centre = k == capRings ? mesh.InsertVertex(Vector3(0, 0, z)) : -1;
            for (int i = 0; i < segments; ++i) {
                const int j = (i + 1) % segments;
                // Outward normal: -z on the bottom, +z on the top.
                if (centre >= 0) {
                    if (top) mesh.InsertTriangle(outer[i], outer[j], centre);
                    else mesh.InsertTriangle(outer[j], outer[i], centre);
                    continue;
                }
                if (top) {
                    mesh.InsertTriangle(outer[i], outer[j], inner[j]);
                    mesh.InsertTriangle(outer[i], inner[j], inner[i]);
                } else {
                    mesh.InsertTriangle(outer[j], outer[i], inner[j]);
                    mesh.InsertTriangle(inner[j], outer[i], inner[i]);
                }
            }
            outer = inner;
        }
    }
    return mesh;
}

// An open cone of the given height over the unit circle, its tip vertex 0:
// `segments` faces round the tip, `rings` rows of faces down to the rim.
inline TriMesh OpenCone(int segments, int rings, double height) {
    TriMesh cone;
    cone.InsertVertex(Vector3(0, 0, height));
    for (int r = 1; r <= rings; ++r)
        for (int i = 0; i < segments; ++i) {
            const double a = 2.0 * M_PI * i / segments, radius = double(r) / rings;
            cone.InsertVertex(Vector3(radius * std::cos(a), radius * std::sin(a), height * (1.0 - double(r) / rings)));
        }
    auto ring = [&](int r, int i) { return 1 + (r - 1) * segments + (i % segments); };
    for (int i = 0; i < segments; ++i) cone.InsertTriangle(0, ring(1, i), ring(1, i + 1));
    for (int r = 1; r < rings; ++r)
        for (int i = 0; i < segments; ++i) {
            cone.InsertTriangle(ring(r, i), ring(r + 1, i), ring(r + 1, i + 1));
            cone.InsertTriangle(ring(r, i), ring(r + 1, i + 1), ring(r, i + 1));
        }
    return cone;
}

// A flat square laid out as it lies, except that the given vertices are
// lifted into sharp spikes the layout does not follow: the faces around each
// spike are squeezed in the layout.
struct SpikedSheet {
    TriMesh mesh;
    std::vector<double> uv;
    SpikedSheet(int cells, const std::vector<std::pair<int, int>>& spikes, double lift) {
        mesh = testmesh::Grid(cells, cells);
        for (int v = 0; v < mesh.GetVertexCount(); ++v) {
            const Vector3 q = mesh.GetVertexCoord(v);
            uv.push_back(q.x);
            uv.push_back(q.y);
        }
        for (const auto& [i, j] : spikes) {
            const int v = j * (cells + 1) + i;
            Vector3 q = mesh.GetVertexCoord(v);
            q.z = lift;
            mesh.SetVertexCoord(v, q);
        }
    }
};

}  // namespace shapemesh
