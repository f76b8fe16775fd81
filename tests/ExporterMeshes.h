#pragma once
// Meshes shaped the way exporters and reconstructions write them: faces with
// mixed orientation, faces with corners of their own, Moebius strips and
// clouds of floating fragments. Used by the tests and by bench_input.

#include <QarnUVAtlas/TriMesh.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

namespace exportmesh {

using ORVO::TriMesh;
using ORVO::Vector3;

// The same faces with every `step`-th face (starting at `first`) written the
// other way round.
inline TriMesh Reversed(const TriMesh& mesh, int step, int first = 0) {
    TriMesh out = mesh;
    for (int f = first; f < out.GetTriangleCount(); f += step) {
        const int* t = mesh.GetTriangle(f);
        out.SetTriangleVertexIds(f, t[0], t[2], t[1]);
    }
    return out;
}

// The same faces with three vertices of their own each, as flat-shaded
// exports write them; positions are copied exactly.
inline TriMesh Unwelded(const TriMesh& mesh) {
    TriMesh out;
    for (int f = 0; f < mesh.GetTriangleCount(); ++f) {
        const int* t = mesh.GetTriangle(f);
        const int a = out.InsertVertex(mesh.GetVertexCoord(t[0]));
        const int b = out.InsertVertex(mesh.GetVertexCoord(t[1]));
        const int c = out.InsertVertex(mesh.GetVertexCoord(t[2]));
        out.InsertTriangle(a, b, c);
    }
    return out;
}

// A Moebius strip of `segments` quads (two triangles each) around a circle of
// radius 1, `width` wide. Faces agree with their neighbours everywhere but
// across the closing seam, where the half twist makes them disagree.
inline TriMesh MoebiusStrip(int segments, double width = 0.4) {
    TriMesh mesh;
    for (int i = 0; i < segments; ++i) {
        const double phi = 2.0 * M_PI * i / segments;
        for (int side = 0; side < 2; ++side) {
            const double s = (side == 0 ? -0.5 : 0.5) * width;
            const double r = 1.0 + s * std::cos(phi / 2.0);
            mesh.InsertVertex(Vector3(r * std::cos(phi), r * std::sin(phi), s * std::sin(phi / 2.0)));
        }
    }
    for (int i = 0; i < segments; ++i) {
        const int a = 2 * i, b = 2 * i + 1;
        // After the last segment the strip comes back with its sides exchanged.
        const bool closing = i + 1 == segments;
        const int c = closing ? 1 : 2 * (i + 1), d = closing ? 0 : 2 * (i + 1) + 1;
        mesh.InsertTriangle(a, c, d);
        mesh.InsertTriangle(a, d, b);
    }
    return mesh;
}

// `count` separate triangles scattered through a box, as a reconstruction
// leaves floating fragments: sizes within a factor of three, no slivers.
inline TriMesh Fragments(int count, unsigned seed = 1) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    std::normal_distribution<double> spread(0.0, 0.5);
    const double side = 2.0 * std::cbrt(static_cast<double>(count));
    TriMesh mesh;
    for (int k = 0; k < count; ++k) {
        const Vector3 centre(side * unit(random), side * unit(random), side * unit(random));
        const double size = 0.5 + unit(random);
        Vector3 p[3];
        for (;;) {
            for (Vector3& q : p) q = centre + Vector3(spread(random), spread(random), spread(random)) * size;
            const double longest = std::max({p[0].Distance(p[1]), p[1].Distance(p[2]), p[2].Distance(p[0])});
            if ((p[1] - p[0]).CrossProduct(p[2] - p[0]).Length() > 0.4 * longest * longest) break;
        }
        const int a = mesh.InsertVertex(p[0]);
        const int b = mesh.InsertVertex(p[1]);
        const int c = mesh.InsertVertex(p[2]);
        mesh.InsertTriangle(a, b, c);
    }
    return mesh;
}

}  // namespace exportmesh
