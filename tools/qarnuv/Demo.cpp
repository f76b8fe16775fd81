// qarnuv demo: builds two test surfaces of its own, unwraps them and writes
// the meshes, the atlases and their previews into a folder.
//   - a closed, scanned-looking body with bumps and a handle (genus 1),
//     polygonised from an implicit function by marching tetrahedra, so its
//     triangles are as irregular as a reconstruction's, with a little noise;
//   - an open, wavy-edged height-field patch with bumps.
#include "Qarnuv.h"

#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/Parser.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <random>
#include <unordered_map>

namespace qarnuv {
namespace {

using ORVO::TriMesh;
using ORVO::Vector3;

double SmoothMin(double a, double b, double k) {
    const double h = std::max(k - std::fabs(a - b), 0.0) / k;
    return std::min(a, b) - 0.25 * h * h * k;
}

// Negative inside: a bumpy ball blended with a torus handle on its side. The
// handle's hole stays open (the field is positive around (1.2, 0, 0)).
double BodyWithHandle(const Vector3& p) {
    static const Vector3 bumpCentres[] = {{0.2, 0.9, 0.4}, {-0.7, 0.3, 0.6}, {0.1, -0.6, -0.8}, {-0.5, -0.7, 0.3},
                                          {0.6, 0.2, -0.8}};
    double bumps = 0.05 * std::sin(5.0 * p.x + 1.0) * std::sin(4.0 * p.y + 2.0) * std::sin(6.0 * p.z);
    for (const Vector3& c : bumpCentres) bumps += 0.12 * std::exp(-(p - c).LengthSquared() / 0.03);
    const double body = p.Length() - (1.0 + bumps);
    const Vector3 q = p - Vector3(1.05, 0.0, 0.0);
    const double ring = std::sqrt(q.x * q.x + q.z * q.z) - 0.55;
    const double handle = std::sqrt(ring * ring + q.y * q.y) - 0.14;
    return SmoothMin(body, handle, 0.12);
}

Vector3 Gradient(double (*field)(const Vector3&), const Vector3& p) {
    const double h = 1e-5;
    return Vector3(field(p + Vector3(h, 0, 0)) - field(p - Vector3(h, 0, 0)),
                   field(p + Vector3(0, h, 0)) - field(p - Vector3(0, h, 0)),
                   field(p + Vector3(0, 0, h)) - field(p - Vector3(0, 0, h))) /
           (2.0 * h);
}

// Newton steps along the gradient back onto the zero set.
Vector3 Project(double (*field)(const Vector3&), Vector3 p) {
    for (int i = 0; i < 4; ++i) {
        const Vector3 g = Gradient(field, p);
        const double g2 = g * g;
        if (g2 < 1e-20) break;
        p -= g * (field(p) / g2);
    }
    return p;
}

// Marching tetrahedra over a regular grid (six tetrahedra per cube around
// its main diagonal, which tiles space consistently): a closed, manifold
// surface whose vertices sit on grid edges, shared between neighbours. Each
// triangle's orientation is decided on the grid's own geometry (edge
// midpoints), never on the moved vertices, so that it is consistent.
// Afterwards a few smoothing passes, projected back onto the surface, even
// out the triangles, and a little noise along the normal gives the look of
// a scan.
TriMesh Polygonise(double (*field)(const Vector3&), const Vector3& low, const Vector3& high, double cell,
                   double noise, unsigned seed) {
    const int nx = static_cast<int>(std::ceil((high.x - low.x) / cell)) + 1;
    const int ny = static_cast<int>(std::ceil((high.y - low.y) / cell)) + 1;
    const int nz = static_cast<int>(std::ceil((high.z - low.z) / cell)) + 1;
    auto index = [&](int x, int y, int z) { return (static_cast<int64_t>(z) * ny + y) * nx + x; };
    auto point = [&](int64_t id) {
        const int x = static_cast<int>(id % nx), y = static_cast<int>((id / nx) % ny), z = static_cast<int>(id / (nx * ny));
        return Vector3(low.x + x * cell, low.y + y * cell, low.z + z * cell);
    };
    std::vector<double> values(static_cast<size_t>(nx) * ny * nz);
    for (int z = 0; z < nz; ++z)
        for (int y = 0; y < ny; ++y)
            for (int x = 0; x < nx; ++x) {
                double v = field(point(index(x, y, z)));
                // No value exactly on the surface: crossings stay strictly inside edges.
                if (std::fabs(v) < 1e-9) v = 1e-9;
                values[index(x, y, z)] = v;
            }
    TriMesh mesh;
    std::unordered_map<int64_t, int> edgeVertex;
    auto crossing = [&](int64_t a, int64_t b) {
        if (a > b) std::swap(a, b);
        const int64_t key = a * static_cast<int64_t>(values.size()) + b;
        auto found = edgeVertex.find(key);
        if (found != edgeVertex.end()) return found->second;
        const double t = std::min(0.85, std::max(0.15, values[a] / (values[a] - values[b])));
        const int id = mesh.InsertVertex(point(a) + (point(b) - point(a)) * t);
        edgeVertex.emplace(key, id);
        return id;
    };
    auto mid = [&](int64_t a, int64_t b) { return (point(a) + point(b)) * 0.5; };
    auto facing = [](const Vector3& a, const Vector3& b, const Vector3& c, const Vector3& outward) {
        return (b - a).CrossProduct(c - a) * outward > 0.0;
    };
    static const int kPermutations[6][3] = {{1, 2, 4}, {1, 4, 2}, {2, 1, 4}, {2, 4, 1}, {4, 1, 2}, {4, 2, 1}};
    for (int z = 0; z + 1 < nz; ++z)
        for (int y = 0; y + 1 < ny; ++y)
            for (int x = 0; x + 1 < nx; ++x) {
                int64_t corner[8];
                for (int bits = 0; bits < 8; ++bits)
                    corner[bits] = index(x + (bits & 1), y + ((bits >> 1) & 1), z + ((bits >> 2) & 1));
                for (const auto& perm : kPermutations) {
                    const int64_t tet[4] = {corner[0], corner[perm[0]], corner[perm[0] | perm[1]], corner[7]};
                    int64_t in[4], out[4];
                    int ins = 0, outs = 0;
                    for (int64_t c : tet) {
                        if (values[c] < 0.0) in[ins++] = c;
                        else out[outs++] = c;
                    }
                    if (ins == 0 || outs == 0) continue;
                    Vector3 inCentre, outCentre;
                    for (int i = 0; i < ins; ++i) inCentre += point(in[i]) / static_cast<double>(ins);
                    for (int i = 0; i < outs; ++i) outCentre += point(out[i]) / static_cast<double>(outs);
                    const Vector3 outward = outCentre - inCentre;
                    if (ins == 1 || outs == 1) {
                        const int64_t apex = ins == 1 ? in[0] : out[0];
                        const int64_t* others = ins == 1 ? out : in;
                        const bool keep = facing(mid(apex, others[0]), mid(apex, others[1]), mid(apex, others[2]), outward);
                        const int a = crossing(apex, others[0]), b = crossing(apex, others[1]), c = crossing(apex, others[2]);
                        if (keep) mesh.InsertTriangle(a, b, c);
                        else mesh.InsertTriangle(a, c, b);
                    } else {
                        // The four crossings form a cycle: in0-out0, in0-out1, in1-out1, in1-out0.
                        const bool keep = facing(mid(in[0], out[0]), mid(in[0], out[1]), mid(in[1], out[1]), outward);
                        const int a = crossing(in[0], out[0]), b = crossing(in[0], out[1]);
                        const int c = crossing(in[1], out[1]), d = crossing(in[1], out[0]);
                        if (keep) {
                            mesh.InsertTriangle(a, b, c);
                            mesh.InsertTriangle(a, c, d);
                        } else {
                            mesh.InsertTriangle(a, c, b);
                            mesh.InsertTriangle(a, d, c);
                        }
                    }
                }
            }
    // Smoothing: each vertex moves to the mean of its neighbours, then back onto the surface.
    const int vertexCount = mesh.GetVertexCount();
    std::vector<std::vector<int>> neighbours(static_cast<size_t>(vertexCount));
    for (int f = 0; f < mesh.GetTriangleCount(); ++f) {
        const int* t = mesh.GetTriangle(f);
        for (int k = 0; k < 3; ++k) {
            neighbours[t[k]].push_back(t[(k + 1) % 3]);
            neighbours[t[k]].push_back(t[(k + 2) % 3]);
        }
    }
    std::vector<Vector3> moved(static_cast<size_t>(vertexCount));
    for (int pass = 0; pass < 3; ++pass) {
        for (int v = 0; v < vertexCount; ++v) {
            Vector3 mean;
            for (int n : neighbours[v]) mean += mesh.GetVertexCoord(n);
            moved[v] = Project(field, mean / static_cast<double>(neighbours[v].size()));
        }
        for (int v = 0; v < vertexCount; ++v) mesh.SetVertexCoord(v, moved[v]);
    }
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> jitter(-noise, noise);
    for (int v = 0; v < vertexCount; ++v) {
        Vector3 normal = Gradient(field, mesh.GetVertexCoord(v));
        normal.Normalise();
        mesh.SetVertexCoord(v, mesh.GetVertexCoord(v) + normal * jitter(random));
    }
    return mesh;
}

// An open disc-like height field: rings of vertices out to a wavy edge,
// each ring one vertex per unit of arc more than the last.
TriMesh BumpyPatch(int rings, unsigned seed) {
    TriMesh mesh;
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> jitter(-0.25, 0.25);
    auto height = [](double x, double y) {
        return 0.22 * std::sin(2.0 * x + 0.5) * std::cos(2.5 * y) + 0.15 * std::exp(-((x - 0.3) * (x - 0.3) + (y + 0.2) * (y + 0.2)) / 0.04) -
               0.1 * std::exp(-((x + 0.4) * (x + 0.4) + (y - 0.35) * (y - 0.35)) / 0.02);
    };
    auto edge = [](double angle) { return 1.0 + 0.08 * std::sin(5.0 * angle) + 0.04 * std::cos(3.0 * angle); };
    std::vector<std::vector<int>> ring(static_cast<size_t>(rings) + 1);
    ring[0].push_back(mesh.InsertVertex(Vector3(0.0, 0.0, height(0.0, 0.0))));
    const double step = 1.0 / rings;
    for (int k = 1; k <= rings; ++k) {
        const int count = 6 * k;
        for (int i = 0; i < count; ++i) {
            double angle = 2.0 * ORVO::ORVO_PI * (i + (k < rings ? 0.3 * jitter(random) : 0.0)) / count;
            double radius = k * step * (k < rings ? 1.0 + 0.2 * step * jitter(random) : 1.0);
            const double x = radius * edge(angle) * std::cos(angle), y = radius * edge(angle) * std::sin(angle);
            ring[k].push_back(mesh.InsertVertex(Vector3(x, y, height(x, y) + 0.004 * jitter(random))));
        }
    }
    // Stitch ring k-1 to ring k, always advancing on the side whose next vertex comes first.
    for (int k = 1; k <= rings; ++k) {
        const std::vector<int>& inner = ring[k - 1];
        const std::vector<int>& outer = ring[k];
        if (inner.size() == 1) {
            for (size_t i = 0; i < outer.size(); ++i) mesh.InsertTriangle(inner[0], outer[i], outer[(i + 1) % outer.size()]);
            continue;
        }
        size_t i = 0, j = 0;
        while (i < inner.size() || j < outer.size()) {
            const double nextInner = i < inner.size() ? (i + 1.0) / inner.size() : 2.0;
            const double nextOuter = j < outer.size() ? (j + 1.0) / outer.size() : 2.0;
            if (nextOuter <= nextInner) {
                mesh.InsertTriangle(inner[i % inner.size()], outer[j % outer.size()], outer[(j + 1) % outer.size()]);
                ++j;
            } else {
                mesh.InsertTriangle(inner[i % inner.size()], outer[j % outer.size()], inner[(i + 1) % inner.size()]);
                ++i;
            }
        }
    }
    return mesh;
}

struct DemoSurface {
    std::string name;
    std::string description;
    TriMesh mesh;
};

}  // namespace

int RunDemo(const DemoCommand& command) {
    std::vector<DemoSurface> surfaces;
    surfaces.push_back({"demo_handle", "closed scanned-looking body with bumps and a handle",
                        Polygonise(BodyWithHandle, Vector3(-1.3, -1.3, -1.3), Vector3(1.9, 1.3, 1.3), 0.045, 0.004, 7)});
    surfaces.push_back({"demo_patch", "open bumpy patch with a wavy edge", BumpyPatch(60, 3)});
    const std::string folder = command.folder.empty() ? std::string(".") : command.folder;
    for (DemoSurface& s : surfaces) {
        const std::string input = folder + "/" + s.name + ".obj";
        const std::string output = folder + "/" + s.name + "_atlas.obj";
        const std::string preview = folder + "/" + s.name + "_atlas.png";
        if (ORVO::Parser::ExportTriMesh(input, &s.mesh) != ORVO::STATUS_SUCCESS) {
            PrintError(ORVO::Parser::GetLastError());
            return 1;
        }
        if (!command.json) std::printf("%s: %s, %d faces\n", input.c_str(), s.description.c_str(), s.mesh.GetTriangleCount());
        std::fflush(stdout);
        UnwrapSettings settings;
        settings.threads = command.threads;
        settings.previewPath = preview;
        settings.previewSize = command.previewSize;
        UnwrapOutcome outcome;
        std::string error;
        if (!UnwrapMesh(s.mesh, settings, outcome, error)) {
            PrintError(input + ": " + error);
            return 1;
        }
        if (ORVO::Parser::ExportTriMesh(output, &s.mesh, &outcome.texCoords, &outcome.faceTexIds) !=
            ORVO::STATUS_SUCCESS) {
            PrintError(ORVO::Parser::GetLastError());
            return 1;
        }
        const AtlasQuality checked = MeasureAtlas(s.mesh, outcome.texCoords, outcome.faceTexIds, true, nullptr);
        if (command.json) {
            std::string json = SummaryJson(outcome, s.mesh, input, output);
            json.pop_back();
            std::printf("%s,\"overlapping_faces\":%d,\"flipped_faces\":%d,\"preview\":%s}\n", json.c_str(),
                        checked.overlappingFaces, checked.flippedFaces, JsonString(preview).c_str());
        } else {
            std::printf("  -> %s: %s\n     %d overlapping faces, %d flipped faces; preview %s\n", output.c_str(),
                        SummaryLine(outcome, s.mesh).c_str(), checked.overlappingFaces, checked.flippedFaces,
                        preview.c_str());
        }
        std::fflush(stdout);
    }
    return 0;
}

}  // namespace qarnuv
