#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/MeshEdit.h>
#include <QarnUVAtlas/TriMesh.h>

#include "TestMeshes.h"
#include "MeshChecks.h"
#include "TestFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

using ORVO::ITriMesh;
using ORVO::TopologyMesh;
using ORVO::TriMesh;
using ORVO::Vector3;

namespace {

using testfiles::ReadFile;
using meshcheck::ExpectVec;
using meshcheck::Ids;

// Unit square in z = 0 as two triangles, counter-clockwise seen from +z.
TriMesh Square() {
    TriMesh mesh;
    testmesh::AddSquare(mesh);
    return mesh;
}

using testmesh::Sphere;

double TotalArea(const ITriMesh& mesh) {
    double area = 0.0;
    for (int f = 0; f < mesh.GetTriangleCount(); ++f) {
        const std::vector<int> t = Ids(mesh, f);
        area += ORVO::TriangleArea(mesh.GetVertexCoord(t[0]), mesh.GetVertexCoord(t[1]),
                                   mesh.GetVertexCoord(t[2]));
    }
    return area;
}

// Directed edge -> count; a closed oriented manifold has each directed edge
// exactly once and its reverse exactly once.
std::map<std::pair<int, int>, int> DirectedEdges(const ITriMesh& mesh) {
    std::map<std::pair<int, int>, int> edges;
    for (int f = 0; f < mesh.GetTriangleCount(); ++f) {
        const std::vector<int> t = Ids(mesh, f);
        for (int k = 0; k < 3; ++k) ++edges[{t[k], t[(k + 1) % 3]}];
    }
    return edges;
}

void ExpectClosedOrientedManifold(const ITriMesh& mesh) {
    const auto edges = DirectedEdges(mesh);
    for (const auto& e : edges) {
        EXPECT_EQ(e.second, 1);
        auto rev = edges.find({e.first.second, e.first.first});
        ASSERT_NE(rev, edges.end());
        EXPECT_EQ(rev->second, 1);
    }
    // Euler characteristic of a sphere: V - E + F = 2.
    const long long undirected = static_cast<long long>(edges.size()) / 2;
    EXPECT_EQ(mesh.GetVertexCount() - undirected + mesh.GetTriangleCount(), 2);
}

void ExpectValidIds(const ITriMesh& mesh) {
    for (int f = 0; f < mesh.GetTriangleCount(); ++f)
        for (int v : Ids(mesh, f)) {
            ASSERT_GE(v, 0);
            ASSERT_LT(v, mesh.GetVertexCount());
        }
}

// --- Edge split --------------------------------------------------------------------

TEST(MeshEdit, SplittingAnInteriorEdgeSplitsBothTriangles) {
    TriMesh mesh = Square();
    int w = -1;
    ASSERT_EQ(ORVO::InsertVertexOnEdge(&mesh, 2, 0, Vector3(0.5, 0.5, 0), &w), 0);
    EXPECT_EQ(w, 4);
    EXPECT_EQ(mesh.GetVertexCount(), 5);
    ASSERT_EQ(mesh.GetTriangleCount(), 4);
    // The old triangles keep their ids and corner positions; the far end of
    // the side (in each triangle's own corner order) is what moves to w.
    EXPECT_EQ(Ids(mesh, 0), (std::vector<int>{4, 1, 2}));
    EXPECT_EQ(Ids(mesh, 1), (std::vector<int>{0, 4, 3}));
    EXPECT_EQ(Ids(mesh, 2), (std::vector<int>{4, 0, 1}));
    EXPECT_EQ(Ids(mesh, 3), (std::vector<int>{4, 2, 3}));
    EXPECT_NEAR(TotalArea(mesh), 1.0, 1e-15);
}

TEST(MeshEdit, SplittingABoundaryEdgeSplitsOneTriangle) {
    TriMesh mesh = Square();
    ASSERT_EQ(ORVO::InsertVertexOnEdge(&mesh, 0, 1, Vector3(0.25, 0, 0), nullptr), 0);
    EXPECT_EQ(mesh.GetTriangleCount(), 3);
    EXPECT_EQ(Ids(mesh, 0), (std::vector<int>{0, 4, 2}));
    EXPECT_EQ(Ids(mesh, 2), (std::vector<int>{4, 1, 2}));
    EXPECT_NEAR(TotalArea(mesh), 1.0, 1e-15);
}

TEST(MeshEdit, SplitInterpolatesAttributes) {
    TriMesh mesh(true, true, true);
    mesh.InsertVertex(Vector3(0, 0, 0));
    mesh.InsertVertex(Vector3(4, 0, 0));
    mesh.InsertVertex(Vector3(0, 4, 0));
    mesh.InsertTriangle(0, 1, 2);
    mesh.SetHasTriangleNormal(true);
    mesh.SetTriangleNormal(0, Vector3(0, 0, 1));
    mesh.SetVertexColor(0, Vector3(0, 0, 0));
    mesh.SetVertexColor(1, Vector3(1, 0, 0));
    mesh.SetVertexTexcoord(0, Vector3(0, 0, 0));
    mesh.SetVertexTexcoord(1, Vector3(1, 0, 0));
    mesh.SetTriangleTexcoord(0, 0, Vector3(0.0, 0.0, 0));
    mesh.SetTriangleTexcoord(0, 1, Vector3(0.8, 0.0, 0));
    mesh.SetTriangleTexcoord(0, 2, Vector3(0.0, 0.8, 0));

    int w = -1;
    ASSERT_EQ(ORVO::InsertVertexOnEdge(&mesh, 1, 0, Vector3(1, 0, 0), &w), 0);
    ExpectVec(mesh.GetVertexColor(w), Vector3(0.25, 0, 0), 1e-15);
    ExpectVec(mesh.GetVertexTexcoord(w), Vector3(0.25, 0, 0), 1e-15);
    ASSERT_EQ(mesh.GetTriangleCount(), 2);
    // Old triangle (0, w, 2) and new (w, 1, 2), each with matching corners.
    EXPECT_EQ(Ids(mesh, 0), (std::vector<int>{0, w, 2}));
    EXPECT_EQ(Ids(mesh, 1), (std::vector<int>{w, 1, 2}));
    ExpectVec(mesh.GetTriangleTexcoord(0, 1), Vector3(0.2, 0, 0), 1e-15);
    ExpectVec(mesh.GetTriangleTexcoord(1, 0), Vector3(0.2, 0, 0), 1e-15);
    ExpectVec(mesh.GetTriangleTexcoord(1, 1), Vector3(0.8, 0, 0));
    ExpectVec(mesh.GetTriangleTexcoord(1, 2), Vector3(0, 0.8, 0));
    ExpectVec(mesh.GetTriangleNormal(1), Vector3(0, 0, 1));
}

TEST(MeshEdit, RepeatedSplitsKeepAClosedSurfaceClosed) {
    TriMesh mesh = Sphere(1.0, 8, 12);
    const double area = TotalArea(mesh);
    std::mt19937 rng(3);
    for (int round = 0; round < 200; ++round) {
        const int f = static_cast<int>(rng() % mesh.GetTriangleCount());
        const std::vector<int> t = Ids(mesh, f);
        const int k = static_cast<int>(rng() % 3);
        const int a = t[k], b = t[(k + 1) % 3];
        const int before = mesh.GetTriangleCount();
        const Vector3 mid = (mesh.GetVertexCoord(a) + mesh.GetVertexCoord(b)) * 0.5;
        ASSERT_EQ(ORVO::InsertVertexOnEdge(&mesh, a, b, mid, nullptr), 0);
        EXPECT_EQ(mesh.GetTriangleCount(), before + 2);  // both sides of a manifold edge
    }
    ExpectClosedOrientedManifold(mesh);
    EXPECT_NEAR(TotalArea(mesh), area, 1e-12);
}

// Edits on a mesh without coordinates read none: nothing is logged.
TEST(MeshEdit, EditsOnAConnectivityOnlyMesh) {
    ORVO::LogSystem::SetLogFileName("test_meshedit_topo.txt");
    TopologyMesh mesh(4, {0, 1, 2, 0, 2, 3});
    int w = -1;
    ASSERT_EQ(ORVO::InsertVertexOnEdge(&mesh, 0, 2, Vector3(), &w), 0);
    EXPECT_EQ(w, 4);
    EXPECT_EQ(mesh.GetVertexCount(), 5);
    EXPECT_EQ(mesh.GetTriangleCount(), 4);
    ExpectValidIds(mesh);
    EXPECT_EQ(Ids(mesh, 0), (std::vector<int>{4, 1, 2}));
    EXPECT_EQ(Ids(mesh, 3), (std::vector<int>{4, 2, 3}));

    // Vertices are renumbered, not swapped.
    TopologyMesh fan(5, {0, 1, 2, 0, 2, 3, 2, 4, 3});
    ASSERT_EQ(ORVO::DeleteTriMeshVertices(&fan, {1}), 0);
    EXPECT_EQ(fan.GetVertexCount(), 4);
    ASSERT_EQ(fan.GetTriangleCount(), 2);
    EXPECT_EQ(Ids(fan, 0), (std::vector<int>{0, 1, 2}));
    EXPECT_EQ(Ids(fan, 1), (std::vector<int>{1, 3, 2}));
    EXPECT_EQ(ReadFile("test_meshedit_topo.txt"), "");
}

// Every refused edit leaves the mesh as it was and logs one line.
TEST(MeshEdit, BadArgumentsAreRejectedWithoutChange) {
    ORVO::LogSystem::SetLogFileName("test_meshedit_args.txt");
    TriMesh mesh = Square();
    EXPECT_EQ(ORVO::InsertVertexOnEdge(&mesh, 1, 3, Vector3(), nullptr), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(ORVO::InsertVertexOnEdge(&mesh, 1, 1, Vector3(), nullptr), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(ORVO::InsertVertexOnEdge(&mesh, 0, 9, Vector3(), nullptr), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(ORVO::InsertVertexOnEdge(nullptr, 0, 1, Vector3(), nullptr), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(ORVO::DeleteTriMeshTriangles(&mesh, {0, 2}), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(ORVO::DeleteTriMeshTriangles(nullptr, {0}), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(ORVO::DeleteTriMeshVertices(&mesh, {1, -1}), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(ORVO::DeleteTriMeshVertices(nullptr, {1}), ORVO::STATUS_INVALID_INPUT);
    Vector3 lo, hi;
    EXPECT_EQ(ORVO::CalculateTriMeshBoundingBox(nullptr, &lo, &hi), ORVO::STATUS_INVALID_INPUT);
    TriMesh empty;
    EXPECT_EQ(ORVO::CalculateTriMeshBoundingBox(&empty, &lo, &hi), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(mesh.GetVertexCount(), 4);
    ASSERT_EQ(mesh.GetTriangleCount(), 2);
    EXPECT_EQ(Ids(mesh, 0), (std::vector<int>{0, 1, 2}));
    EXPECT_EQ(Ids(mesh, 1), (std::vector<int>{0, 2, 3}));
    EXPECT_EQ(ReadFile("test_meshedit_args.txt"),
              "InsertVertexOnEdge: no triangle has the edge 1 3\n"
              "InsertVertexOnEdge: invalid edge vertex ids: 1 1\n"
              "InsertVertexOnEdge: invalid edge vertex ids: 0 9\n"
              "InsertVertexOnEdge: triMesh is NULL\n"
              "DeleteTriMeshTriangles: invalid triangle id: 2\n"
              "DeleteTriMeshTriangles: triMesh is NULL\n"
              "DeleteTriMeshVertices: invalid vertex id: -1\n"
              "DeleteTriMeshVertices: triMesh is NULL\n"
              "CalculateTriMeshBoundingBox: triMesh is NULL\n"
              "CalculateTriMeshBoundingBox: triMesh has no vertex\n");
}

// --- Deletion ----------------------------------------------------------------------

TEST(MeshEdit, DeleteTrianglesKeepsTheOthersInOrderWithTheirData) {
    TriMesh mesh = Sphere(1.0, 6, 8);
    mesh.SetHasTriangleTexCoord(true);
    mesh.UpdateNormal();
    const TriMesh original = mesh;
    const int count = mesh.GetTriangleCount();
    for (int f = 0; f < count; ++f) mesh.SetTriangleTexcoord(f, 2, Vector3(f, 0, 0));

    const std::vector<int> doomed = {5, 0, count - 1, 17, 5, 30};
    ASSERT_EQ(ORVO::DeleteTriMeshTriangles(&mesh, doomed), 0);
    const std::set<int> doomedSet(doomed.begin(), doomed.end());
    ASSERT_EQ(mesh.GetTriangleCount(), count - static_cast<int>(doomedSet.size()));
    EXPECT_EQ(mesh.GetVertexCount(), original.GetVertexCount());
    int next = 0;
    for (int f = 0; f < count; ++f) {
        if (doomedSet.count(f)) continue;
        EXPECT_EQ(Ids(mesh, next), Ids(original, f));
        ExpectVec(mesh.GetTriangleTexcoord(next, 2), Vector3(f, 0, 0));
        ExpectVec(mesh.GetTriangleNormal(next), original.GetTriangleNormal(f));
        ++next;
    }
    // Nothing to delete is fine.
    EXPECT_EQ(ORVO::DeleteTriMeshTriangles(&mesh, {}), 0);
    EXPECT_EQ(mesh.GetTriangleCount(), count - static_cast<int>(doomedSet.size()));
}

// Deletes `doomed` from a copy of `original` and checks the result against
// the original: kept vertices in order with their data, exactly the triangles
// free of deleted vertices, in order and renumbered.
void CheckVertexDeletion(const TriMesh& original, const std::vector<int>& doomed) {
    TriMesh mesh = original;
    ASSERT_EQ(ORVO::DeleteTriMeshVertices(&mesh, doomed), 0);
    const std::set<int> doomedSet(doomed.begin(), doomed.end());
    std::vector<int> newId(original.GetVertexCount(), -1);
    int next = 0;
    for (int v = 0; v < original.GetVertexCount(); ++v)
        if (!doomedSet.count(v)) newId[v] = next++;
    ASSERT_EQ(mesh.GetVertexCount(), next);
    for (int v = 0; v < original.GetVertexCount(); ++v) {
        if (newId[v] < 0) continue;
        ExpectVec(mesh.GetVertexCoord(newId[v]), original.GetVertexCoord(v));
        if (original.HasVertexColor()) ExpectVec(mesh.GetVertexColor(newId[v]), original.GetVertexColor(v));
        if (original.HasVertexNormal()) ExpectVec(mesh.GetVertexNormal(newId[v]), original.GetVertexNormal(v));
    }
    int kept = 0;
    for (int f = 0; f < original.GetTriangleCount(); ++f) {
        const std::vector<int> t = Ids(original, f);
        if (doomedSet.count(t[0]) || doomedSet.count(t[1]) || doomedSet.count(t[2])) continue;
        ASSERT_LT(kept, mesh.GetTriangleCount());
        EXPECT_EQ(Ids(mesh, kept), (std::vector<int>{newId[t[0]], newId[t[1]], newId[t[2]]}));
        ++kept;
    }
    EXPECT_EQ(mesh.GetTriangleCount(), kept);
    ExpectValidIds(mesh);
    // The per-vertex arrays still match the vertex count: a new vertex gets its own entries.
    const int added = mesh.InsertVertex(Vector3(9, 9, 9));
    EXPECT_EQ(added, next);
    if (mesh.HasVertexColor()) ExpectVec(mesh.GetVertexColor(added), Vector3());
    if (mesh.HasVertexNormal()) ExpectVec(mesh.GetVertexNormal(added), Vector3());
}

TEST(MeshEdit, DeleteVerticesRemovesTheirTrianglesAndRenumbers) {
    TriMesh mesh = Sphere(1.0, 10, 16);
    mesh.SetHasVertexColor(true);
    for (int v = 0; v < mesh.GetVertexCount(); ++v) mesh.SetVertexColor(v, Vector3(v, 0, 0));
    mesh.UpdateNormal();
    CheckVertexDeletion(mesh, {0, 40, 41, 77, 40, mesh.GetVertexCount() - 1});
    CheckVertexDeletion(mesh, {});
}

TEST(MeshEdit, DeleteVerticesOnAScannedMesh) {
    const std::string path = testmesh::SharedMesh("bunny.obj");
    if (path.empty()) GTEST_SKIP() << "shared mesh bunny.obj not found";
    TriMesh mesh;
    ASSERT_TRUE(testmesh::LoadObj(path, mesh));
    mesh.UpdateNormal();
    std::mt19937 rng(8);
    std::vector<int> doomed;
    for (int v = 0; v < mesh.GetVertexCount(); ++v)
        if (rng() % 20 == 0) doomed.push_back(v);
    CheckVertexDeletion(mesh, doomed);

    // Deleting the triangles around those vertices instead leaves them
    // isolated; dropping isolated vertices then gives the same mesh.
    TriMesh byTriangles = mesh;
    const std::set<int> doomedSet(doomed.begin(), doomed.end());
    std::vector<int> triangles;
    for (int f = 0; f < mesh.GetTriangleCount(); ++f) {
        const std::vector<int> t = Ids(mesh, f);
        if (doomedSet.count(t[0]) || doomedSet.count(t[1]) || doomedSet.count(t[2])) triangles.push_back(f);
    }
    ASSERT_EQ(ORVO::DeleteTriMeshTriangles(&byTriangles, triangles), 0);
    int removed = 0;
    ASSERT_EQ(ORVO::DeleteIsolatedVertices(&byTriangles, &removed), 0);
    TriMesh byVertices = mesh;
    ASSERT_EQ(ORVO::DeleteTriMeshVertices(&byVertices, doomed), 0);
    // Vertices left isolated by the deletion go too, so compare after
    // dropping those from the vertex-deleted mesh as well.
    int alsoRemoved = 0;
    ASSERT_EQ(ORVO::DeleteIsolatedVertices(&byVertices, &alsoRemoved), 0);
    EXPECT_EQ(removed, static_cast<int>(doomed.size()) + alsoRemoved);
    ASSERT_EQ(byTriangles.GetVertexCount(), byVertices.GetVertexCount());
    ASSERT_EQ(byTriangles.GetTriangleCount(), byVertices.GetTriangleCount());
    for (int f = 0; f < byTriangles.GetTriangleCount(); ++f) EXPECT_EQ(Ids(byTriangles, f), Ids(byVertices, f));
    for (int v = 0; v < byTriangles.GetVertexCount(); ++v)
        ExpectVec(byTriangles.GetVertexCoord(v), byVertices.GetVertexCoord(v));
}

TEST(MeshEdit, DeleteIsolatedVerticesKeepsTheSurface) {
    TriMesh mesh;
    // Used vertices interleaved with unused ones.
    const Vector3 pts[] = {Vector3(0, 0, 0), Vector3(7, 7, 7), Vector3(1, 0, 0), Vector3(8, 8, 8),
                           Vector3(9, 9, 9), Vector3(0, 1, 0), Vector3(1, 1, 0)};
    for (const Vector3& p : pts) mesh.InsertVertex(p);
    mesh.InsertTriangle(0, 2, 6);
    mesh.InsertTriangle(0, 6, 5);
    const double area = TotalArea(mesh);
    int removed = -1;
    ASSERT_EQ(ORVO::DeleteIsolatedVertices(&mesh, &removed), 0);
    EXPECT_EQ(removed, 3);
    EXPECT_EQ(mesh.GetVertexCount(), 4);
    EXPECT_EQ(Ids(mesh, 0), (std::vector<int>{0, 1, 3}));
    EXPECT_EQ(Ids(mesh, 1), (std::vector<int>{0, 3, 2}));
    ExpectVec(mesh.GetVertexCoord(3), Vector3(1, 1, 0));
    EXPECT_DOUBLE_EQ(TotalArea(mesh), area);

    ASSERT_EQ(ORVO::DeleteIsolatedVertices(&mesh, &removed), 0);
    EXPECT_EQ(removed, 0);
    EXPECT_EQ(ORVO::DeleteIsolatedVertices(nullptr, &removed), ORVO::STATUS_INVALID_INPUT);
}

// --- Measurements ------------------------------------------------------------------

TEST(MeshMeasure, AverageEdgeLengthCountsSharedEdgesOnce) {
    TriMesh mesh = Square();
    double length = 0.0;
    ASSERT_EQ(ORVO::CalculateAverageEdgeLength(&mesh, &length), 0);
    EXPECT_DOUBLE_EQ(length, (4.0 + std::sqrt(2.0)) / 5.0);

    // A regular icosahedron, closed, has all thirty edges equal.
    const TriMesh ico = testmesh::Icosphere(0);
    ASSERT_EQ(ORVO::CalculateAverageEdgeLength(&ico, &length), 0);
    EXPECT_NEAR(length, ico.GetVertexCoord(0).Distance(ico.GetVertexCoord(11)), 1e-14);

    EXPECT_EQ(ORVO::CalculateAverageEdgeLength(nullptr, &length), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(ORVO::CalculateAverageEdgeLength(&mesh, nullptr), ORVO::STATUS_INVALID_INPUT);
    TriMesh empty;
    EXPECT_EQ(ORVO::CalculateAverageEdgeLength(&empty, &length), ORVO::STATUS_INVALID_INPUT);
}

TEST(MeshMeasure, BoundingBoxOfAllVertices) {
    TriMesh mesh = Sphere(2.0, 6, 10);
    mesh.InsertVertex(Vector3(5, -7, 1));  // isolated vertices count too
    Vector3 lo, hi;
    ASSERT_EQ(ORVO::CalculateTriMeshBoundingBox(&mesh, &lo, &hi), 0);
    EXPECT_DOUBLE_EQ(lo.x, -2.0);  // the equator vertex at phi = pi
    EXPECT_DOUBLE_EQ(lo.y, -7.0);
    EXPECT_DOUBLE_EQ(lo.z, -2.0);
    EXPECT_DOUBLE_EQ(hi.x, 5.0);
    EXPECT_DOUBLE_EQ(hi.z, 2.0);
    for (int v = 0; v < mesh.GetVertexCount(); ++v) {
        const Vector3 p = mesh.GetVertexCoord(v);
        EXPECT_TRUE(p.x >= lo.x && p.y >= lo.y && p.z >= lo.z);
        EXPECT_TRUE(p.x <= hi.x && p.y <= hi.y && p.z <= hi.z);
    }
}

TEST(MeshMeasure, TriangleNormalFollowsCornerOrder) {
    TriMesh mesh = Square();
    mesh.InsertTriangle(0, 3, 2);  // reversed
    mesh.InsertVertex(Vector3(3, 0, 0));
    mesh.InsertTriangle(0, 1, 4);  // zero area
    Vector3 n;
    ASSERT_EQ(ORVO::ComputeTriangleNormal(&mesh, 0, &n), 0);
    ExpectVec(n, Vector3(0, 0, 1));
    ASSERT_EQ(ORVO::ComputeTriangleNormal(&mesh, 2, &n), 0);
    ExpectVec(n, Vector3(0, 0, -1));
    ASSERT_EQ(ORVO::ComputeTriangleNormal(&mesh, 3, &n), 0);
    ExpectVec(n, Vector3());

    // Unit length on slanted triangles.
    TriMesh sphere = Sphere(3.0, 5, 7);
    for (int f = 0; f < sphere.GetTriangleCount(); ++f) {
        ASSERT_EQ(ORVO::ComputeTriangleNormal(&sphere, f, &n), 0);
        EXPECT_NEAR(n.Length(), 1.0, 1e-14);
        // Outward: points away from the centre.
        const std::vector<int> t = Ids(sphere, f);
        EXPECT_GT(n * sphere.GetVertexCoord(t[0]), 0.0);
    }
    EXPECT_EQ(ORVO::ComputeTriangleNormal(&mesh, 4, &n), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(ORVO::ComputeTriangleNormal(&mesh, -1, &n), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(ORVO::ComputeTriangleNormal(nullptr, 0, &n), ORVO::STATUS_INVALID_INPUT);
}

}  // namespace
