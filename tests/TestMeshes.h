#pragma once
// Generated test surfaces: spheres, tori, voxel solids of any genus, open
// grids with holes, and helpers to combine them and to read the shared
// scanned meshes when they are present.

#include <QarnUVAtlas/TriMesh.h>

#include <QarnUVAtlas/Parser.h>

#include <array>
#include <cmath>
#include <functional>
#include <map>
#include <string>
#include <unistd.h>
#include <vector>

namespace testmesh {

using ORVO::TriMesh;
using ORVO::Vector3;

// Unit square in z = 0 as two triangles, counter-clockwise seen from +z,
// appended to `mesh` (ids 0..3 and faces 0, 1 when the mesh starts empty).
inline void AddSquare(TriMesh& mesh) {
    mesh.InsertVertex(Vector3(0, 0, 0));
    mesh.InsertVertex(Vector3(1, 0, 0));
    mesh.InsertVertex(Vector3(1, 1, 0));
    mesh.InsertVertex(Vector3(0, 1, 0));
    mesh.InsertTriangle(0, 1, 2);
    mesh.InsertTriangle(0, 2, 3);
}

// Subdivided icosahedron projected on a sphere: closed, genus 0.
inline TriMesh Icosphere(int subdivisions, double radius = 1.0, Vector3 centre = Vector3()) {
    const double t = (1.0 + std::sqrt(5.0)) / 2.0;
    std::vector<Vector3> v = {{-1, t, 0}, {1, t, 0}, {-1, -t, 0}, {1, -t, 0}, {0, -1, t}, {0, 1, t},
                              {0, -1, -t}, {0, 1, -t}, {t, 0, -1}, {t, 0, 1}, {-t, 0, -1}, {-t, 0, 1}};
    std::vector<std::array<int, 3>> f = {{0, 11, 5}, {0, 5, 1},  {0, 1, 7},   {0, 7, 10}, {0, 10, 11},
                                         {1, 5, 9},  {5, 11, 4}, {11, 10, 2}, {10, 7, 6}, {7, 1, 8},
                                         {3, 9, 4},  {3, 4, 2},  {3, 2, 6},   {3, 6, 8},  {3, 8, 9},
                                         {4, 9, 5},  {2, 4, 11}, {6, 2, 10},  {8, 6, 7},  {9, 8, 1}};
    for (int s = 0; s < subdivisions; ++s) {
        std::map<std::pair<int, int>, int> mid;
        auto midpoint = [&](int a, int b) {
            auto key = std::make_pair(std::min(a, b), std::max(a, b));
            auto it = mid.find(key);
            if (it != mid.end()) return it->second;
            v.push_back((v[a] + v[b]) * 0.5);
            return mid[key] = static_cast<int>(v.size()) - 1;
        };
        std::vector<std::array<int, 3>> next;
        for (auto& tri : f) {
            int a = midpoint(tri[0], tri[1]), b = midpoint(tri[1], tri[2]), c = midpoint(tri[2], tri[0]);
            next.push_back({tri[0], a, c});
            next.push_back({tri[1], b, a});
            next.push_back({tri[2], c, b});
            next.push_back({a, b, c});
        }
        f.swap(next);
    }
    TriMesh mesh;
    for (Vector3 p : v) {
        p.Normalise();
        mesh.InsertVertex(centre + p * radius);
    }
    for (auto& tri : f) mesh.InsertTriangle(tri[0], tri[1], tri[2]);
    return mesh;
}

// Closed torus, genus 1.
inline TriMesh Torus(int ring, int tube, double major = 1.0, double minor = 0.35) {
    TriMesh mesh;
    for (int i = 0; i < ring; ++i) {
        double a = 2.0 * M_PI * i / ring;
        for (int j = 0; j < tube; ++j) {
            double b = 2.0 * M_PI * j / tube;
            double r = major + minor * std::cos(b);
            mesh.InsertVertex(Vector3(r * std::cos(a), r * std::sin(a), minor * std::sin(b)));
        }
    }
    for (int i = 0; i < ring; ++i) {
        for (int j = 0; j < tube; ++j) {
            int a = i * tube + j, b = ((i + 1) % ring) * tube + j;
            int c = ((i + 1) % ring) * tube + (j + 1) % tube, d = i * tube + (j + 1) % tube;
            mesh.InsertTriangle(a, b, c);
            mesh.InsertTriangle(a, c, d);
        }
    }
    return mesh;
}

// Latitude-longitude sphere of radius r centred at the origin: vertex 0 is the
// north pole, then rings - 1 rings of `segments` vertices, the south pole last.
// Closed, outward-facing triangles.
inline TriMesh Sphere(double r, int rings, int segments) {
    TriMesh mesh;
    const int top = mesh.InsertVertex(Vector3(0, 0, r));
    for (int i = 1; i < rings; ++i) {
        const double theta = M_PI * i / rings;
        for (int j = 0; j < segments; ++j) {
            const double phi = 2.0 * M_PI * j / segments;
            mesh.InsertVertex(Vector3(r * std::sin(theta) * std::cos(phi),
                                      r * std::sin(theta) * std::sin(phi), r * std::cos(theta)));
        }
    }
    const int bottom = mesh.InsertVertex(Vector3(0, 0, -r));
    auto ring = [&](int i, int j) { return 1 + (i - 1) * segments + (j % segments); };
    for (int j = 0; j < segments; ++j) mesh.InsertTriangle(top, ring(1, j), ring(1, j + 1));
    for (int i = 1; i + 1 < rings; ++i)
        for (int j = 0; j < segments; ++j) {
            mesh.InsertTriangle(ring(i, j), ring(i + 1, j), ring(i + 1, j + 1));
            mesh.InsertTriangle(ring(i, j), ring(i + 1, j + 1), ring(i, j + 1));
        }
    for (int j = 0; j < segments; ++j) mesh.InsertTriangle(ring(rings - 1, j), bottom, ring(rings - 1, j + 1));
    return mesh;
}

// Open height field over [0,1]^2 with nx x ny quads; `keep` may drop quads
// (making holes) and `height` bends the surface.
inline TriMesh Grid(int nx, int ny, const std::function<double(double, double)>& height = nullptr,
                    const std::function<bool(int, int)>& keep = nullptr) {
    TriMesh mesh;
    for (int j = 0; j <= ny; ++j) {
        for (int i = 0; i <= nx; ++i) {
            double x = static_cast<double>(i) / nx, y = static_cast<double>(j) / ny;
            mesh.InsertVertex(Vector3(x, y, height ? height(x, y) : 0.0));
        }
    }
    for (int j = 0; j < ny; ++j) {
        for (int i = 0; i < nx; ++i) {
            if (keep && !keep(i, j)) continue;
            int a = j * (nx + 1) + i, b = a + 1, c = a + nx + 2, d = a + nx + 1;
            mesh.InsertTriangle(a, b, c);
            mesh.InsertTriangle(a, c, d);
        }
    }
    return mesh;
}

// The closed surface of a set of unit voxels, each face split into s x s
// quads. `solid(x, y, z)` says which voxels of the nx x ny x nz box are full;
// voxels meeting only along an edge would be non-manifold, so avoid them.
inline TriMesh VoxelSurface(int nx, int ny, int nz, const std::function<bool(int, int, int)>& solid, int s = 2) {
    auto full = [&](int x, int y, int z) {
        return x >= 0 && y >= 0 && z >= 0 && x < nx && y < ny && z < nz && solid(x, y, z);
    };
    TriMesh mesh;
    std::map<std::array<int, 3>, int> lattice;
    auto vertex = [&](int x, int y, int z) {
        std::array<int, 3> key{x, y, z};
        auto it = lattice.find(key);
        if (it != lattice.end()) return it->second;
        int id = mesh.InsertVertex(Vector3(static_cast<double>(x) / s, static_cast<double>(y) / s,
                                           static_cast<double>(z) / s));
        lattice[key] = id;
        return id;
    };
    for (int x = 0; x < nx; ++x)
        for (int y = 0; y < ny; ++y)
            for (int z = 0; z < nz; ++z) {
                if (!full(x, y, z)) continue;
                for (int axis = 0; axis < 3; ++axis) {
                    for (int dir = -1; dir <= 1; dir += 2) {
                        int n[3] = {x, y, z};
                        n[axis] += dir;
                        if (full(n[0], n[1], n[2])) continue;
                        int u = (axis + 1) % 3, w = (axis + 2) % 3;
                        for (int a = 0; a < s; ++a) {
                            for (int b = 0; b < s; ++b) {
                                int base[3] = {x * s, y * s, z * s};
                                base[axis] += dir > 0 ? s : 0;
                                int q[4][3];
                                int du[4] = {a, a + 1, a + 1, a}, dw[4] = {b, b, b + 1, b + 1};
                                for (int c = 0; c < 4; ++c) {
                                    for (int d = 0; d < 3; ++d) q[c][d] = base[d];
                                    q[c][u] += du[c];
                                    q[c][w] += dw[c];
                                }
                                int id[4];
                                for (int c = 0; c < 4; ++c) id[c] = vertex(q[c][0], q[c][1], q[c][2]);
                                // u x w points along +axis: keep that winding for
                                // the + face, reverse it for the - face.
                                if (dir > 0) {
                                    mesh.InsertTriangle(id[0], id[1], id[2]);
                                    mesh.InsertTriangle(id[0], id[2], id[3]);
                                } else {
                                    mesh.InsertTriangle(id[0], id[2], id[1]);
                                    mesh.InsertTriangle(id[0], id[3], id[2]);
                                }
                            }
                        }
                    }
                }
            }
    return mesh;
}

// Appends `src` to `dst` as a separate component.
inline void Append(TriMesh& dst, const TriMesh& src, Vector3 offset = Vector3()) {
    int base = dst.GetVertexCount();
    for (int v = 0; v < src.GetVertexCount(); ++v) dst.InsertVertex(src.GetVertexCoord(v) + offset);
    for (int f = 0; f < src.GetTriangleCount(); ++f) {
        const int* t = src.GetTriangle(f);
        dst.InsertTriangle(base + t[0], base + t[1], base + t[2]);
    }
}

// Path of a shared scanned mesh, or "" when ../shared is not beside the project.
inline std::string SharedMesh(const std::string& name) {
    std::string path = std::string(QARN_SHARED_DIR) + "/meshes/" + name;
    return access(path.c_str(), R_OK) == 0 ? path : std::string();
}

inline bool LoadObj(const std::string& path, TriMesh& mesh) {
    return ORVO::Parser::ImportTriMesh(path, &mesh) == 0;
}

}  // namespace testmesh
