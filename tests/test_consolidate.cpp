#include <QarnUVAtlas/ConsolidateMesh.h>
#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/MeshEdit.h>
#include <QarnUVAtlas/SplitMesh.h>
#include <QarnUVAtlas/TriMesh.h>

#include "MeshChecks.h"
#include "MeshCutKit.h"
#include "TestMeshes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <set>
#include <vector>

using ORVO::ConsolidateMesh;
using ORVO::TriMesh;
using ORVO::Vector3;
using namespace meshcut;

namespace {

// ---------------------------------------------------------------- manifold repair

// Faces identical up to vertex origins, coordinates copied, and the result
// free of every kind of non-manifold spot (checked by brute force).
void ExpectManifoldCopy(const TriMesh& input, const TriMesh& output, const std::vector<int>& origins,
                        const std::string& what) {
    ASSERT_EQ(output.GetTriangleCount(), input.GetTriangleCount()) << what;
    ASSERT_EQ(static_cast<int>(origins.size()), output.GetVertexCount()) << what;
    for (int v = 0; v < output.GetVertexCount(); ++v) {
        if (v < input.GetVertexCount()) {
            ASSERT_EQ(origins[v], v) << what;
        }
        ASSERT_GE(origins[v], 0) << what;
        ASSERT_LT(origins[v], input.GetVertexCount()) << what;
        const Vector3 a = output.GetVertexCoord(v), b = input.GetVertexCoord(origins[v]);
        ASSERT_TRUE(a.x == b.x && a.y == b.y && a.z == b.z) << what << " vertex " << v;
    }
    const auto tris = Triangles(output);
    for (int f = 0; f < input.GetTriangleCount(); ++f) {
        const int* t = input.GetTriangle(f);
        for (int k = 0; k < 3; ++k) ASSERT_EQ(origins[tris[f][k]], t[k]) << what << " face " << f;
        EXPECT_TRUE(tris[f][0] != tris[f][1] && tris[f][1] != tris[f][2] && tris[f][2] != tris[f][0])
            << what << " face " << f << " repeats a vertex";
    }
    EXPECT_LE(MaxFacesOnEdge(tris), 2) << what;
    EXPECT_EQ(SameDirectionEdges(tris), 0) << what;
    EXPECT_EQ(MultiFanVertices(tris, output.GetVertexCount()), 0) << what;
    // The cutting stage must take it.
    TriMesh cut = output;
    EXPECT_EQ(ORVO::SplitMesh::SplitByLines(&cut, {{tris[0][0], tris[0][1]}}, nullptr), 0) << what;
}

// The repaired copy of `input`, checked as above; its vertex origins go to
// `originsOut` when given.
TriMesh Repair(const TriMesh& input, const std::string& what, std::vector<int>* originsOut = nullptr) {
    TriMesh output;
    std::vector<int> origins;
    EXPECT_EQ(ConsolidateMesh::MakeManifold(&input, &output, &origins), 0) << what;
    ExpectManifoldCopy(input, output, origins, what);
    if (originsOut != nullptr) *originsOut = origins;
    return output;
}

TriMesh Points(int count) {
    TriMesh mesh;
    for (int k = 0; k < count; ++k) mesh.InsertVertex(Vector3(k, (k * 7) % 5, (k * 3) % 4));
    return mesh;
}

// Faces that share no edge with another face.
bool SharesNoEdge(const std::vector<Tri>& tris, int f) {
    for (auto& kv : EdgeUses(tris)) {
        const auto& faces = kv.second.faces;
        if (std::find(faces.begin(), faces.end(), f) != faces.end() && faces.size() > 1) return false;
    }
    return true;
}

// Deterministic pseudo-random numbers for the fuzz case.
struct Lcg {
    uint64_t state;
    int Next(int n) {
        state = state * 6364136223846793005ull + 1442695040888963407ull;
        return static_cast<int>((state >> 33) % static_cast<uint64_t>(n));
    }
};

// ---------------------------------------------------------------- consolidation

Vector3 AreaVector(const std::vector<Vector3>& p, const Tri& t) {
    return (p[t[1]] - p[t[0]]).CrossProduct(p[t[2]] - p[t[0]]);
}

double Height(const std::vector<Vector3>& p, const Tri& t) {
    const double longest = std::max(p[t[0]].Distance(p[t[1]]), std::max(p[t[1]].Distance(p[t[2]]), p[t[2]].Distance(p[t[0]])));
    return longest > 0 ? AreaVector(p, t).Length() / longest : 0.0;
}

double MaxMove(const std::vector<Vector3>& a, const std::vector<Vector3>& b) {
    double most = 0.0;
    for (size_t i = 0; i < a.size(); ++i) most = std::max(most, a[i].Distance(b[i]));
    return most;
}

bool Repeats(const Tri& t) { return t[0] == t[1] || t[1] == t[2] || t[2] == t[0]; }

int FlatFaces(const std::vector<Vector3>& p, const std::vector<Tri>& tris, double height) {
    int count = 0;
    for (const Tri& t : tris) count += (!Repeats(t) && Height(p, t) < height) ? 1 : 0;
    return count;
}

int CoincidentPairs(const std::vector<Vector3>& p) {
    std::vector<Vector3> sorted = p;
    std::sort(sorted.begin(), sorted.end(), [](const Vector3& a, const Vector3& b) {
        if (a.x != b.x) return a.x < b.x;
        if (a.y != b.y) return a.y < b.y;
        return a.z < b.z;
    });
    int count = 0;
    for (size_t i = 1; i < sorted.size(); ++i) {
        const Vector3 &a = sorted[i - 1], &b = sorted[i];
        count += (a.x == b.x && a.y == b.y && a.z == b.z) ? 1 : 0;
    }
    return count;
}

// What every consolidation must give: no vertex moved further than eps, no
// face thinner than a tenth of it, no two vertices on one spot, and the faces
// that were sound still facing their way. In the plane z = 0 (`facingUp`)
// every face, the degenerate ones too, must end up facing +z.
void ExpectConsolidated(const TriMesh& mesh, const std::vector<Vector3>& coords, double eps, bool facingUp,
                        const std::string& what) {
    const std::vector<Vector3> before = mesh.GetVertexCoords();
    const auto tris = Triangles(mesh);
    ASSERT_EQ(coords.size(), before.size()) << what;
    EXPECT_LE(MaxMove(coords, before), eps) << what;
    EXPECT_EQ(FlatFaces(coords, tris, 0.1 * eps), 0) << what << " had " << FlatFaces(before, tris, 0.1 * eps);
    EXPECT_EQ(CoincidentPairs(coords), 0) << what << " had " << CoincidentPairs(before);
    int turned = 0, notUp = 0;
    for (const Tri& t : tris) {
        notUp += facingUp && AreaVector(coords, t).z <= 0.0 ? 1 : 0;
        if (Repeats(t) || Height(before, t) < eps) continue;
        turned += AreaVector(before, t) * AreaVector(coords, t) <= 0.0 ? 1 : 0;
    }
    EXPECT_EQ(turned, 0) << what;
    EXPECT_EQ(notUp, 0) << what;
}

// A flat triangle (0, 1, 2) with corner 2 on the middle of edge (0, 1), and
// three counter-clockwise neighbours, one across each of its edges.
TriMesh FlatBetweenNeighbours(double scale = 1.0) {
    TriMesh mesh;
    const double pts[6][2] = {{0, 0}, {2, 0}, {1, 0}, {1.5, 1}, {1, -1}, {0.5, 1}};
    for (auto& q : pts) mesh.InsertVertex(Vector3(q[0], q[1], 0) * scale);
    mesh.InsertTriangle(0, 1, 2);
    mesh.InsertTriangle(1, 0, 4);
    mesh.InsertTriangle(2, 1, 3);
    mesh.InsertTriangle(0, 2, 5);
    return mesh;
}

// A plane grid whose middle row of vertices is doubled in place: between the
// two copies runs a strip of zero-width triangles.
TriMesh GridWithZeroWidthStrip(int n) {
    TriMesh mesh;
    const int seam = n / 2;
    auto id = [&](int i, int j) { return j * (n + 1) + i; };  // rows 0..n, row n+1 is the copy of `seam`
    for (int j = 0; j <= n; ++j)
        for (int i = 0; i <= n; ++i) mesh.InsertVertex(Vector3(i, j, 0));
    for (int i = 0; i <= n; ++i) mesh.InsertVertex(Vector3(i, seam, 0));
    auto upper = [&](int i, int j) { return j == seam ? id(i, n + 1) : id(i, j); };
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i) {
            // Faces below the seam use the original row, faces above the copy.
            auto at = [&](int ii, int jj) { return jj == seam && j >= seam ? upper(ii, jj) : id(ii, jj); };
            mesh.InsertTriangle(at(i, j), at(i + 1, j), at(i + 1, j + 1));
            mesh.InsertTriangle(at(i, j), at(i + 1, j + 1), at(i, j + 1));
        }
    for (int i = 0; i < n; ++i) {
        mesh.InsertTriangle(id(i, seam), id(i + 1, seam), upper(i + 1, seam));
        mesh.InsertTriangle(id(i, seam), upper(i + 1, seam), upper(i, seam));
    }
    return mesh;
}

}  // namespace

// ================================================================ MakeManifold

TEST(MakeManifold, ThirdFaceOnAnEdgeGetsItsOwnVertices) {
    TriMesh mesh = Points(5);
    mesh.InsertTriangle(0, 1, 2);
    mesh.InsertTriangle(1, 0, 3);
    mesh.InsertTriangle(0, 1, 4);
    TriMesh out = Repair(mesh, "book");
    EXPECT_EQ(out.GetVertexCount(), 7);
    EXPECT_EQ(Triangles(out), (std::vector<Tri>{{0, 1, 2}, {1, 0, 3}, {5, 6, 4}}));
}

TEST(MakeManifold, OppositelyRunningPairIsTheOneKept) {
    TriMesh mesh = Points(5);
    mesh.InsertTriangle(0, 1, 2);
    mesh.InsertTriangle(0, 1, 3);  // runs (0, 1) like face 0
    mesh.InsertTriangle(1, 0, 4);
    TriMesh out = Repair(mesh, "pairing");
    const auto tris = Triangles(out);
    EXPECT_EQ(tris[0], (Tri{0, 1, 2}));
    EXPECT_EQ(tris[2], (Tri{1, 0, 4}));
    EXPECT_TRUE(SharesNoEdge(tris, 1));
}

TEST(MakeManifold, BowtieVertexIsDoubledWithItsAttributes) {
    TriMesh mesh = Points(5);
    mesh.SetHasVertexColor(true);
    for (int v = 0; v < 5; ++v) mesh.SetVertexColor(v, Vector3(v, 1, 2));
    mesh.InsertTriangle(0, 1, 2);
    mesh.InsertTriangle(0, 3, 4);
    std::vector<int> origins;
    TriMesh out = Repair(mesh, "bowtie", &origins);
    EXPECT_EQ(Triangles(out), (std::vector<Tri>{{0, 1, 2}, {5, 3, 4}}));
    EXPECT_EQ(origins[5], 0);
    ASSERT_TRUE(out.HasVertexColor());
    meshcheck::ExpectVec(out.GetVertexColor(5), Vector3(0, 1, 2));
}

TEST(MakeManifold, DuplicatedFaceIsDetached) {
    TriMesh mesh = Grid(3, 3);
    const int* t = mesh.GetTriangle(8);
    mesh.InsertTriangle(t[0], t[1], t[2]);
    TriMesh out = Repair(mesh, "duplicate");
    const auto tris = Triangles(out);
    EXPECT_EQ(tris[8], Triangles(mesh)[8]);
    EXPECT_TRUE(SharesNoEdge(tris, mesh.GetTriangleCount() - 1));
    EXPECT_FALSE(SharesNoEdge(tris, 8));
}

TEST(MakeManifold, FlippedNeighbourIsSeparated) {
    TriMesh mesh = Grid(4, 4);
    const int* t = mesh.GetTriangle(10);
    mesh.SetTriangleVertexIds(10, t[0], t[2], t[1]);
    ASSERT_EQ(SameDirectionEdges(Triangles(mesh)), 3);
    TriMesh out = Repair(mesh, "flipped");
    EXPECT_TRUE(SharesNoEdge(Triangles(out), 10));
    EXPECT_EQ(Components(Triangles(out), out.GetVertexCount()), 2);
}

TEST(MakeManifold, TriangleRepeatingAVertexGetsDistinctCorners) {
    TriMesh mesh = Grid(2, 2);
    mesh.InsertTriangle(4, 4, 5);
    mesh.InsertTriangle(3, 4, 3);
    Repair(mesh, "repeated");  // distinct corners are among its checks
}

TEST(MakeManifold, ManifoldMeshesComeBackUnchanged) {
    for (TriMesh mesh : {UVSphere(7, 11), Torus(10, 6), Grid(5, 4), Cube(true)}) {
        TriMesh out = Repair(mesh, "manifold");
        EXPECT_EQ(out.GetVertexCount(), mesh.GetVertexCount());
        EXPECT_EQ(Triangles(out), Triangles(mesh));
    }
}

TEST(MakeManifold, SheetsMeetingOnALineAreSeparated) {
    // Four sheets hinged on one line of six vertices, faces in several
    // orders and orientations, so that different edges of the line keep
    // pairs from different sheets.
    for (int order = 0; order < 6; ++order) {
        TriMesh mesh;
        const int spine = 6, sheets = 4;
        for (int i = 0; i < spine; ++i) mesh.InsertVertex(Vector3(i, 0, 0));
        std::vector<Tri> faces;
        for (int s = 0; s < sheets; ++s) {
            const double angle = 2.0 * M_PI * s / sheets;
            const int base = mesh.GetVertexCount();
            for (int i = 0; i < spine; ++i) mesh.InsertVertex(Vector3(i, std::cos(angle), std::sin(angle)));
            for (int i = 0; i + 1 < spine; ++i) {
                Tri a{i, i + 1, base + i + 1}, b{i, base + i + 1, base + i};
                if ((s + i + order) % 3 == 0) {
                    std::swap(a[1], a[2]);
                    std::swap(b[1], b[2]);
                }
                faces.push_back(a);
                faces.push_back(b);
            }
        }
        Lcg rng{static_cast<uint64_t>(order) + 1};
        for (size_t k = faces.size(); k > 1; --k) std::swap(faces[k - 1], faces[rng.Next(static_cast<int>(k))]);
        for (const Tri& f : faces) mesh.InsertTriangle(f[0], f[1], f[2]);
        Repair(mesh, "sheets " + std::to_string(order));
    }
}

TEST(MakeManifold, GluesAlternatingAlongAHingeAreResolved) {
    // Three sheets on one hinge line; the pair kept on the hinge edges
    // alternates between (A, B) and (C, B), which ties all three sheets into
    // one fan at every inner hinge vertex. Splitting fans alone would then put
    // all three faces back onto the middle hinge edges.
    const int hinge = 7;
    TriMesh mesh;
    for (int i = 0; i < hinge; ++i) mesh.InsertVertex(Vector3(i, 0, 0));
    int rim[3];
    for (int s = 0; s < 3; ++s) {
        rim[s] = mesh.GetVertexCount();
        const double angle = 2.0 * M_PI * s / 3.0;
        for (int i = 0; i < hinge; ++i) mesh.InsertVertex(Vector3(i, std::cos(angle), std::sin(angle)));
    }
    auto addSegment = [&](int s, int i) {
        const int a = i, b = i + 1, c = rim[s] + i + 1, d = rim[s] + i;
        if (s == 1) {  // B runs the hinge the other way
            mesh.InsertTriangle(b, a, c);
            mesh.InsertTriangle(a, d, c);
        } else {
            mesh.InsertTriangle(a, b, c);
            mesh.InsertTriangle(a, c, d);
        }
    };
    for (int i = 0; i + 1 < hinge; ++i) {
        const int order[2][3] = {{0, 1, 2}, {2, 1, 0}};
        for (int s : order[i % 2]) addSegment(s, i);
    }
    std::vector<int> origins;
    TriMesh out = Repair(mesh, "hinge", &origins);
    // Every hinge edge keeps exactly one glued pair.
    auto uses = EdgeUses(Triangles(out));
    int gluedHingeEdges = 0;
    for (auto& kv : uses) {
        if (origins[kv.first.first] < hinge && origins[kv.first.second] < hinge && kv.second.faces.size() == 2) {
            ++gluedHingeEdges;
        }
    }
    EXPECT_EQ(gluedHingeEdges, hinge - 1);
}

TEST(MakeManifold, RandomTriangleSoupBecomesManifold) {
    for (uint64_t seed = 1; seed <= 8; ++seed) {
        Lcg rng{seed};
        TriMesh mesh = Grid(6, 6);
        const int n = mesh.GetVertexCount();
        for (int k = 0; k < 40; ++k) {
            int a = rng.Next(n), b = rng.Next(n), c = rng.Next(n);
            if (k % 5 == 0) {  // reuse an existing edge to pile faces on it
                const int* t = mesh.GetTriangle(rng.Next(mesh.GetTriangleCount()));
                a = t[0];
                b = t[1];
            }
            mesh.InsertTriangle(a, b, c);
        }
        Repair(mesh, "soup " + std::to_string(seed));
    }
}

TEST(MakeManifold, NullArgumentsAreInvalid) {
    TriMesh mesh = Grid(1, 1), out;
    EXPECT_EQ(ConsolidateMesh::MakeManifold(nullptr, &out, nullptr), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(ConsolidateMesh::MakeManifold(&mesh, nullptr, nullptr), ORVO::STATUS_INVALID_INPUT);
}

TEST(MakeManifold, ScannedMeshesBecomeManifold) {
    const auto present = PresentSharedMeshes({"suzanne.obj", "teapot.obj", "ogre.obj", "meshroom_scan.obj"});
    if (present.empty()) GTEST_SKIP() << "shared meshes not found under " << QARN_SHARED_DIR;
    for (const auto& [name, path] : present) {
        TriMesh mesh;
        ASSERT_TRUE(ReadObj(path, mesh)) << name;
        const auto tris = Triangles(mesh);
        const bool damaged = MaxFacesOnEdge(tris) > 2 || MultiFanVertices(tris, mesh.GetVertexCount()) > 0;
        if (std::string(name) == "suzanne.obj" || std::string(name) == "teapot.obj") {
            EXPECT_TRUE(damaged) << name;
        }
        TriMesh out = Repair(mesh, name);
        if (damaged) {
            EXPECT_GT(out.GetVertexCount(), mesh.GetVertexCount()) << name;
        }
    }
}

// ================================================================ ConsolidateDegenerateTriangles

TEST(ConsolidateDegenerateTriangles, FlatTriangleTakesItsNeighboursOrientation) {
    TriMesh mesh = FlatBetweenNeighbours();
    const double eps = 1e-6;
    std::vector<Vector3> coords;
    ASSERT_EQ(ConsolidateMesh::ConsolidateDegenerateTriangles(&mesh, nullptr, eps, coords), 0);
    EXPECT_EQ(mesh.GetVertexCoord(2).y, 0.0);  // the mesh itself is untouched
    ExpectConsolidated(mesh, coords, eps, true, "flat");
    // The corner across the long edge is the one that moves.
    EXPECT_GT(coords[2].y, 0.0);
    for (int v : {0, 1, 3, 4, 5}) EXPECT_EQ(coords[v].Distance(mesh.GetVertexCoord(v)), 0.0);
}

TEST(ConsolidateDegenerateTriangles, MaskedCornerStaysAndAnotherMoves) {
    TriMesh mesh = FlatBetweenNeighbours();
    const double eps = 1e-6;
    std::vector<bool> mask(6, true);
    mask[2] = false;
    std::vector<Vector3> coords;
    ASSERT_EQ(ConsolidateMesh::ConsolidateDegenerateTriangles(&mesh, &mask, eps, coords), 0);
    EXPECT_EQ(coords[2].Distance(mesh.GetVertexCoord(2)), 0.0);
    ExpectConsolidated(mesh, coords, eps, true, "masked");

    std::vector<bool> frozen(6, false);
    ASSERT_EQ(ConsolidateMesh::ConsolidateDegenerateTriangles(&mesh, &frozen, eps, coords), 0);
    EXPECT_EQ(MaxMove(coords, mesh.GetVertexCoords()), 0.0);
}

TEST(ConsolidateDegenerateTriangles, ZeroWidthStripOpensTheRightWay) {
    TriMesh mesh = GridWithZeroWidthStrip(6);
    const double eps = 1e-7;
    ASSERT_EQ(CoincidentPairs(mesh.GetVertexCoords()), 7);
    ASSERT_EQ(FlatFaces(mesh.GetVertexCoords(), Triangles(mesh), 0.1 * eps), 12);
    std::vector<Vector3> coords;
    ASSERT_EQ(ConsolidateMesh::ConsolidateDegenerateTriangles(&mesh, nullptr, eps, coords), 0);
    ExpectConsolidated(mesh, coords, eps, true, "strip");
}

TEST(ConsolidateDegenerateTriangles, CollapsedTriangleAndNeedleAreOpened) {
    TriMesh mesh = Grid(3, 3);
    const Vector3 p(5, 5, 5);
    const int a = mesh.InsertVertex(p), b = mesh.InsertVertex(p), c = mesh.InsertVertex(p);
    mesh.InsertTriangle(a, b, c);
    // And a needle whose tip sits on its base line, far from anything else.
    const int d = mesh.InsertVertex(Vector3(9, 0, 0)), e = mesh.InsertVertex(Vector3(12, 0, 0)),
              g = mesh.InsertVertex(Vector3(15, 0, 0));
    mesh.InsertTriangle(d, g, e);
    const double eps = 1e-8;
    std::vector<Vector3> coords;
    ASSERT_EQ(ConsolidateMesh::ConsolidateDegenerateTriangles(&mesh, nullptr, eps, coords), 0);
    ExpectConsolidated(mesh, coords, eps, false, "collapsed");
}

TEST(ConsolidateDegenerateTriangles, DuplicatedSheetIsPulledApart) {
    TriMesh mesh = Grid(4, 4);
    const int base = mesh.GetVertexCount();
    testmesh::Append(mesh, Grid(4, 4));
    const double eps = 1e-9;
    std::vector<Vector3> coords;
    ASSERT_EQ(ConsolidateMesh::ConsolidateDegenerateTriangles(&mesh, nullptr, eps, coords), 0);
    ExpectConsolidated(mesh, coords, eps, true, "sheet");
    for (int v = 0; v < base; ++v) EXPECT_GE(coords[v].Distance(coords[base + v]), 0.1 * eps);
}

TEST(ConsolidateDegenerateTriangles, CleanMeshIsLeftExactlyAsItIs) {
    TriMesh mesh = UVSphere(9, 13);
    std::vector<Vector3> coords;
    ASSERT_EQ(ConsolidateMesh::ConsolidateDegenerateTriangles(&mesh, nullptr, 1e-10, coords), 0);
    EXPECT_EQ(MaxMove(coords, mesh.GetVertexCoords()), 0.0);
}

TEST(ConsolidateDegenerateTriangles, RepeatableAndFreeOfUnits) {
    auto build = [](double scale) {
        TriMesh mesh = GridWithZeroWidthStrip(5);
        testmesh::Append(mesh, FlatBetweenNeighbours(), Vector3(20, 0, 0));
        for (int v = 0; v < mesh.GetVertexCount(); ++v) mesh.SetVertexCoord(v, mesh.GetVertexCoord(v) * scale);
        return mesh;
    };
    const double eps = 1e-6;
    TriMesh unit = build(1.0);
    std::vector<Vector3> first, second;
    ASSERT_EQ(ConsolidateMesh::ConsolidateDegenerateTriangles(&unit, nullptr, eps, first), 0);
    ASSERT_EQ(ConsolidateMesh::ConsolidateDegenerateTriangles(&unit, nullptr, eps, second), 0);
    ASSERT_EQ(first.size(), second.size());
    EXPECT_EQ(MaxMove(first, second), 0.0);
    ASSERT_GT(MaxMove(first, unit.GetVertexCoords()), 0.0);

    // A power-of-two scale is exact in floating point, so every decision and
    // every displacement must scale exactly; another scale up to rounding.
    for (double scale : {1024.0, 1.0 / 4096.0, 1000.0}) {
        TriMesh scaled = build(scale);
        std::vector<Vector3> out;
        ASSERT_EQ(ConsolidateMesh::ConsolidateDegenerateTriangles(&scaled, nullptr, eps * scale, out), 0);
        ASSERT_EQ(out.size(), first.size());
        for (size_t i = 0; i < out.size(); ++i) {
            const Vector3 moveScaled = (out[i] - scaled.GetVertexCoord(static_cast<int>(i))) / scale;
            const Vector3 moveUnit = first[i] - unit.GetVertexCoord(static_cast<int>(i));
            EXPECT_NEAR(moveScaled.Distance(moveUnit), 0.0, 1e-6 * eps) << "scale " << scale << " vertex " << i;
        }
    }
}

TEST(ConsolidateDegenerateTriangles, InvalidArgumentsAreRejected) {
    TriMesh mesh = Grid(2, 2);
    std::vector<Vector3> coords;
    EXPECT_EQ(ConsolidateMesh::ConsolidateDegenerateTriangles(nullptr, nullptr, 1e-6, coords), ORVO::STATUS_INVALID_INPUT);
    for (double eps : {0.0, -1.0, std::nan("")})
        EXPECT_EQ(ConsolidateMesh::ConsolidateDegenerateTriangles(&mesh, nullptr, eps, coords), ORVO::STATUS_INVALID_INPUT)
            << eps;
    std::vector<bool> shortMask(3, true);
    EXPECT_EQ(ConsolidateMesh::ConsolidateDegenerateTriangles(&mesh, &shortMask, 1e-6, coords),
              ORVO::STATUS_INVALID_INPUT);
    mesh.SetVertexCoord(1, Vector3(std::nan(""), 0, 0));
    EXPECT_EQ(ConsolidateMesh::ConsolidateDegenerateTriangles(&mesh, nullptr, 1e-6, coords), ORVO::STATUS_INVALID_INPUT);
}

TEST(ConsolidateDegenerateTriangles, ScannedMeshesLoseTheirDegeneracies) {
    const auto present = PresentSharedMeshes({"ogre.obj", "teapot.obj", "suzanne.obj", "meshroom_scan.obj"});
    if (present.empty()) GTEST_SKIP() << "shared meshes not found under " << QARN_SHARED_DIR;
    for (const auto& [name, path] : present) {
        TriMesh mesh;
        ASSERT_TRUE(ReadObj(path, mesh)) << name;
        Vector3 lo, hi;
        ASSERT_EQ(ORVO::CalculateTriMeshBoundingBox(&mesh, &lo, &hi), 0) << name;
        const double eps = 1e-10 * (hi - lo).Length();
        std::vector<Vector3> coords;
        ASSERT_EQ(ConsolidateMesh::ConsolidateDegenerateTriangles(&mesh, nullptr, eps, coords), 0) << name;
        ExpectConsolidated(mesh, coords, eps, false, name);
    }
}
