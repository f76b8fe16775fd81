#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/MeshViews.h>
#include <QarnUVAtlas/TriMesh.h>

#include "MeshChecks.h"
#include "TestFiles.h"
#include "TestMeshes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

using ORVO::ITriMesh;
using ORVO::SubTriMesh;
using ORVO::SubTriangleList;
using ORVO::TopologyMesh;
using ORVO::TriangleList;
using ORVO::TriMesh;
using ORVO::Vector3;

namespace {

using testfiles::ReadFile;
using meshcheck::ExpectVec;
using meshcheck::Ids;
using testmesh::AddSquare;

// --- Construction and attributes ---------------------------------------------------

TEST(TriMesh, FreshMeshReturnsTheDefaultColour) {
    TriMesh mesh;
    AddSquare(mesh);
    EXPECT_FALSE(mesh.HasVertexNormal() || mesh.HasVertexColor() || mesh.HasVertexTexCoord() ||
                 mesh.HasTriangleNormal() || mesh.HasTriangleColor() || mesh.HasTriangleTexCoord());
    EXPECT_EQ(mesh.GetMeshType(), 0);
    ExpectVec(mesh.GetVertexColor(0), Vector3(0.86, 0.86, 0.86));
    ExpectVec(mesh.GetTriangleColor(0, 0), Vector3(0.86, 0.86, 0.86));
    mesh.SetDefaultColor(Vector3(0.1, 0.2, 0.3));
    ExpectVec(mesh.GetVertexColor(3), Vector3(0.1, 0.2, 0.3));
    ExpectVec(mesh.GetTriangleColor(1, 2), Vector3(0.1, 0.2, 0.3));

    // The three flags are vertex colour, vertex texcoord, triangle texcoord.
    TriMesh flagged(true, false, true);
    EXPECT_TRUE(flagged.HasVertexColor() && flagged.HasTriangleTexCoord());
    EXPECT_FALSE(flagged.HasVertexTexCoord() || flagged.HasVertexNormal() || flagged.HasTriangleNormal() ||
                 flagged.HasTriangleColor());
}

TEST(TriMesh, FlagSettersSizeTheArrays) {
    TriMesh mesh;
    AddSquare(mesh);
    mesh.InsertTriangle(1, 2, 3);
    mesh.InsertTriangle(0, 1, 3);
    mesh.SetHasTriangleColor(true);
    for (int f = 0; f < 4; ++f) {
        for (int c = 0; c < 3; ++c) ExpectVec(mesh.GetTriangleColor(f, c), Vector3(0, 0, 0));
    }
    mesh.SetTriangleColor(3, 2, Vector3(0.5, 0.25, 1));
    // Turning a flag off keeps the array; turning it back on keeps old entries.
    mesh.SetHasTriangleColor(false);
    ExpectVec(mesh.GetTriangleColor(3, 2), Vector3(0.86, 0.86, 0.86));
    mesh.SetHasTriangleColor(true);
    ExpectVec(mesh.GetTriangleColor(3, 2), Vector3(0.5, 0.25, 1));

    mesh.SetHasVertexColor(true);
    mesh.SetHasVertexTexCoord(true);
    mesh.SetHasTriangleTexCoord(true);
    mesh.SetVertexColor(2, Vector3(1, 0, 0));
    mesh.SetTriangleTexcoord(1, 1, Vector3(0.5, 0.5, 0));
    ExpectVec(mesh.GetVertexColor(1), Vector3(0, 0, 0));
    ExpectVec(mesh.GetVertexColor(2), Vector3(1, 0, 0));
    ExpectVec(mesh.GetTriangleTexcoord(1, 1), Vector3(0.5, 0.5, 0));
    ExpectVec(mesh.GetTriangleTexcoord(1, 0), Vector3(0, 0, 0));

    // Growth keeps every enabled array in step.
    EXPECT_EQ(mesh.InsertVertex(Vector3(5, 5, 5)), 4);
    ExpectVec(mesh.GetVertexColor(4), Vector3(0, 0, 0));
    ExpectVec(mesh.GetVertexTexcoord(4), Vector3(0, 0, 0));
    EXPECT_EQ(mesh.InsertTriangle(4, 0, 1), 4);
    ExpectVec(mesh.GetTriangleColor(4, 2), Vector3(0, 0, 0));
    ExpectVec(mesh.GetTriangleTexcoord(4, 2), Vector3(0, 0, 0));
}

TEST(TriMesh, InsertVertexWithNormalAlwaysStoresTheNormal) {
    TriMesh mesh;
    EXPECT_EQ(mesh.InsertVertex(Vector3(1, 2, 3), Vector3(0, 1, 0)), 0);
    EXPECT_EQ(mesh.InsertVertex(Vector3(4, 5, 6), Vector3(0, 0, 1)), 1);
    EXPECT_FALSE(mesh.HasVertexNormal());
    ExpectVec(mesh.GetVertexNormal(1), Vector3(0, 0, 1));
    mesh.SetHasVertexNormal(true);
    ExpectVec(mesh.GetVertexNormal(0), Vector3(0, 1, 0));
    EXPECT_EQ(mesh.GetVertexCount(), 2);
    ExpectVec(mesh.GetVertexCoord(1), Vector3(4, 5, 6));
}

// --- Normals ------------------------------------------------------------------

TEST(TriMesh, UpdateNormalRepairsVerticesOfDegenerateTriangles) {
    TriMesh mesh;
    AddSquare(mesh);                              // 0..3, normal +z
    mesh.InsertVertex(Vector3(2, 0, 0));          // 4: only in zero-area triangles
    mesh.InsertVertex(Vector3(9, 9, 9));          // 5: isolated
    mesh.InsertVertex(Vector3(3, 0, 0));          // 6: reached only through 4
    mesh.InsertVertex(Vector3(4, 0, 0));          // 7: reached only through 4
    mesh.InsertTriangle(6, 7, 4);                 // 2: degenerate, listed before 4 is fixed
    mesh.InsertTriangle(0, 1, 4);                 // 3: degenerate (collinear on x)
    mesh.UpdateNormal();

    EXPECT_TRUE(mesh.HasVertexNormal());
    EXPECT_TRUE(mesh.HasTriangleNormal());
    for (int v = 0; v < 4; ++v) ExpectVec(mesh.GetVertexNormal(v), Vector3(0, 0, 1), 1e-15);
    ExpectVec(mesh.GetTriangleNormal(0), Vector3(0, 0, 1), 1e-15);
    ExpectVec(mesh.GetTriangleNormal(2), Vector3(0, 0, 0));
    ExpectVec(mesh.GetTriangleNormal(3), Vector3(0, 0, 0));
    // Vertex 4 borrows from triangle 3 in the first sweep, 6 and 7 from
    // triangle 2 in the second.
    ExpectVec(mesh.GetVertexNormal(4), Vector3(0, 0, 1), 1e-15);
    ExpectVec(mesh.GetVertexNormal(6), Vector3(0, 0, 1), 1e-15);
    ExpectVec(mesh.GetVertexNormal(7), Vector3(0, 0, 1), 1e-15);
    ExpectVec(mesh.GetVertexNormal(5), Vector3(0, 0, 0));
}

TEST(TriMesh, UpdateNormalBorrowsFromTheLastCornerThatHasOne) {
    TriMesh mesh;
    // A: in a triangle facing +z. B: in a triangle facing -x. C between them,
    // touched only by degenerate triangles.
    int a = mesh.InsertVertex(Vector3(0, 0, 0));
    int a1 = mesh.InsertVertex(Vector3(-1, -1, 0));
    int a2 = mesh.InsertVertex(Vector3(0, -1, 0));
    int b = mesh.InsertVertex(Vector3(2, 0, 0));
    int b1 = mesh.InsertVertex(Vector3(2, 0, 1));
    int b2 = mesh.InsertVertex(Vector3(2, 1, 0));
    int c = mesh.InsertVertex(Vector3(1, 0, 0));
    int d = mesh.InsertVertex(Vector3(3, 0, 0));
    mesh.InsertTriangle(a, a1, a2);
    mesh.InsertTriangle(b, b1, b2);
    mesh.InsertTriangle(a, b, c);  // c takes b's normal (b comes after a)
    mesh.InsertTriangle(b, d, a);  // d takes a's normal (a comes after b)
    mesh.UpdateNormal();
    const Vector3 na = mesh.GetVertexNormal(a), nb = mesh.GetVertexNormal(b);
    ASSERT_GT(na.Distance(nb), 0.5);
    ExpectVec(na, Vector3(0, 0, 1), 1e-15);
    ExpectVec(nb, Vector3(-1, 0, 0), 1e-15);
    ExpectVec(mesh.GetVertexNormal(c), nb);
    ExpectVec(mesh.GetVertexNormal(d), na);
}

TEST(TriMesh, UpdateNormalWeightsByArea) {
    TriMesh mesh;
    // Vertex 0 is shared by a large triangle facing +z (area 8) and a small one
    // facing +x (area 0.5).
    mesh.InsertVertex(Vector3(0, 0, 0));
    mesh.InsertVertex(Vector3(4, 0, 0));
    mesh.InsertVertex(Vector3(0, 4, 0));
    mesh.InsertVertex(Vector3(0, 1, 0));
    mesh.InsertVertex(Vector3(0, 0, 1));
    mesh.InsertTriangle(0, 1, 2);
    mesh.InsertTriangle(0, 3, 4);
    mesh.UpdateNormal();
    Vector3 expected(0.5, 0, 8);
    expected.Normalise();
    ExpectVec(mesh.GetVertexNormal(0), expected, 1e-15);
    ExpectVec(mesh.GetTriangleNormal(1), Vector3(1, 0, 0), 1e-15);
}

// --- FuseVertex and UnifyCoords ---------------------------------------------------

TEST(TriMesh, FuseVertexKeepsFirstOccurrencesInOrder) {
    TriMesh mesh;
    mesh.InsertVertex(Vector3(0, 0, 0));
    mesh.InsertVertex(Vector3(1, 0, 0));
    mesh.InsertVertex(Vector3(0, 1, 0));
    mesh.InsertVertex(Vector3(1, 0, 0));           // duplicate of 1
    mesh.InsertVertex(Vector3(1, 1, 0));
    mesh.InsertVertex(Vector3(1e-16, 1, 0));       // within REAL_TOL of 2
    mesh.InsertTriangle(0, 1, 2);
    mesh.InsertTriangle(3, 4, 5);
    mesh.SetMeshType(ORVO::MESH_TYPE_MANIFOLD);

    EXPECT_EQ(mesh.FuseVertex(), 0);
    ASSERT_EQ(mesh.GetVertexCount(), 4);
    const Vector3 kept[4] = {Vector3(0, 0, 0), Vector3(1, 0, 0), Vector3(0, 1, 0), Vector3(1, 1, 0)};
    for (int v = 0; v < 4; ++v) ExpectVec(mesh.GetVertexCoord(v), kept[v]);
    EXPECT_EQ(Ids(mesh, 0), (std::vector<int>{0, 1, 2}));
    EXPECT_EQ(Ids(mesh, 1), (std::vector<int>{1, 3, 2}));
    EXPECT_EQ(mesh.GetMeshType(), ORVO::MESH_TYPE_GENERAL);
}

TEST(TriMesh, FuseVertexRejectsMeshesWithFewerThanTwoVertices) {
    ORVO::LogSystem::SetLogFileName("test_trimesh_fuse.txt");
    TriMesh mesh, empty;
    mesh.InsertVertex(Vector3(1, 1, 1));
    EXPECT_EQ(mesh.FuseVertex(), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(empty.FuseVertex(), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(ReadFile("test_trimesh_fuse.txt"),
              "TriMesh::FuseVertex: vertexCount < 3\nTriMesh::FuseVertex: vertexCount < 3\n");
    // Two vertices are enough.
    mesh.InsertVertex(Vector3(1, 1, 1));
    EXPECT_EQ(mesh.FuseVertex(), 0);
    EXPECT_EQ(mesh.GetVertexCount(), 1);
}

TEST(TriMesh, UnifyCoordsFitsTheBoxAroundTheOrigin) {
    TriMesh mesh;
    for (int i = 0; i < 8; ++i) mesh.InsertVertex(Vector3(i & 1 ? 4 : 0, i & 2 ? 2 : 0, i & 4 ? 2 : 0));
    double s = -1.0;
    Vector3 c(-1, -1, -1);
    mesh.UnifyCoords(2.0, &s, &c);
    EXPECT_DOUBLE_EQ(s, 0.5);
    ExpectVec(c, Vector3(2, 1, 1));
    double lo = 1e9, hi = -1e9;
    for (int v = 0; v < mesh.GetVertexCount(); ++v) {
        Vector3 p = mesh.GetVertexCoord(v);
        lo = std::min(lo, p.x);
        hi = std::max(hi, p.x);
        EXPECT_LE(std::fabs(p.y), 0.5);
        EXPECT_LE(std::fabs(p.z), 0.5);
    }
    EXPECT_DOUBLE_EQ(lo, -1.0);
    EXPECT_DOUBLE_EQ(hi, 1.0);

    // The explicit form undoes nothing by itself but maps back with the inverse.
    mesh.UnifyCoords(1.0 / s, Vector3(-c.x * s, -c.y * s, -c.z * s));
    ExpectVec(mesh.GetVertexCoord(7), Vector3(4, 2, 2), 1e-15);
    mesh.UnifyCoords(0.0, Vector3(1, 1, 1));  // scale not above REAL_TOL: unchanged
    ExpectVec(mesh.GetVertexCoord(7), Vector3(4, 2, 2), 1e-15);
    mesh.UnifyCoords(2.0, nullptr, nullptr);  // null outputs are fine
    ExpectVec(mesh.GetVertexCoord(7), Vector3(1, 0.5, 0.5), 1e-15);
}

TEST(TriMesh, UnifyCoordsLeavesDegenerateMeshesAlone) {
    TriMesh empty, point;
    point.InsertVertex(Vector3(3, 3, 3));
    point.InsertVertex(Vector3(3, 3, 3));
    for (TriMesh* mesh : {&empty, &point}) {
        double s = 42.0;
        Vector3 c(7, 7, 7);
        mesh->UnifyCoords(2.0, &s, &c);
        EXPECT_EQ(s, 42.0);
        ExpectVec(c, Vector3(7, 7, 7));
    }
    ExpectVec(point.GetVertexCoord(1), Vector3(3, 3, 3));
}

// --- Removal ---------------------------------------------------------------------

TEST(TriMesh, SwapAndPopbackKeepAttributesTogether) {
    TriMesh mesh(true, true, true);
    mesh.SetHasTriangleColor(true);
    mesh.SetHasVertexNormal(true);
    mesh.SetHasTriangleNormal(true);
    for (int v = 0; v < 4; ++v) {
        mesh.InsertVertex(Vector3(v, 0, 0), Vector3(0, v, 0));
        mesh.SetVertexColor(v, Vector3(0, 0, v * 0.1));
        mesh.SetVertexTexcoord(v, Vector3(v * 0.2, 0, 0));
    }
    for (int f = 0; f < 3; ++f) {
        mesh.InsertTriangle(f, (f + 1) % 4, (f + 2) % 4);
        mesh.SetTriangleNormal(f, Vector3(f, f, f));
        for (int c = 0; c < 3; ++c) {
            mesh.SetTriangleColor(f, c, Vector3(f, c, 0));
            mesh.SetTriangleTexcoord(f, c, Vector3(c, f, 0));
        }
    }

    mesh.SwapVertex(0, 3);
    ExpectVec(mesh.GetVertexCoord(0), Vector3(3, 0, 0));
    ExpectVec(mesh.GetVertexNormal(0), Vector3(0, 3, 0));
    ExpectVec(mesh.GetVertexColor(0), Vector3(0, 0, 3 * 0.1));
    ExpectVec(mesh.GetVertexTexcoord(0), Vector3(3 * 0.2, 0, 0));
    ExpectVec(mesh.GetVertexTexcoord(3), Vector3(0, 0, 0));
    EXPECT_EQ(Ids(mesh, 0), (std::vector<int>{0, 1, 2}));  // triangles untouched

    mesh.SwapTriangles(0, 2);
    EXPECT_EQ(Ids(mesh, 0), (std::vector<int>{2, 3, 0}));
    EXPECT_EQ(Ids(mesh, 2), (std::vector<int>{0, 1, 2}));
    ExpectVec(mesh.GetTriangleNormal(0), Vector3(2, 2, 2));
    ExpectVec(mesh.GetTriangleColor(0, 1), Vector3(2, 1, 0));
    ExpectVec(mesh.GetTriangleTexcoord(2, 2), Vector3(2, 0, 0));

    mesh.PopbackVertices(1);
    EXPECT_EQ(mesh.GetVertexCount(), 3);
    mesh.PopbackTriangles(2);
    EXPECT_EQ(mesh.GetTriangleCount(), 1);
    ExpectVec(mesh.GetTriangleColor(0, 2), Vector3(2, 2, 0));
    // New items after removal start from zero again, in step with the counts.
    EXPECT_EQ(mesh.InsertTriangle(0, 1, 2), 1);
    ExpectVec(mesh.GetTriangleNormal(1), Vector3(0, 0, 0));
    ExpectVec(mesh.GetTriangleColor(1, 0), Vector3(0, 0, 0));
    EXPECT_EQ(mesh.InsertVertex(Vector3(7, 7, 7)), 3);
    ExpectVec(mesh.GetVertexNormal(3), Vector3(0, 0, 0));
    ExpectVec(mesh.GetVertexColor(3), Vector3(0, 0, 0));

    // Clear empties the mesh but keeps the flags.
    mesh.Clear();
    EXPECT_EQ(mesh.GetVertexCount() + mesh.GetTriangleCount(), 0);
    EXPECT_TRUE(mesh.HasVertexColor() && mesh.HasTriangleColor());
    mesh.InsertVertex(Vector3());
    ExpectVec(mesh.GetVertexColor(0), Vector3(0, 0, 0));
}

// --- Copies ----------------------------------------------------------------------

TEST(TriMesh, CopiesAreDeep) {
    TriMesh mesh(true, false, false);
    AddSquare(mesh);
    mesh.SetVertexColor(1, Vector3(1, 0, 0));
    mesh.SetMeshType(ORVO::MESH_TYPE_MANIFOLD);

    TriMesh copy(mesh);
    TriMesh assigned;
    assigned.InsertVertex(Vector3(9, 9, 9));
    assigned.InsertTriangle(0, 0, 0);
    assigned = mesh;
    std::unique_ptr<TriMesh> made(ORVO::CopyTriMesh(&mesh));
    ASSERT_NE(made, nullptr);

    for (const TriMesh* m : {&copy, &assigned, made.get()}) {
        EXPECT_NE(m->GetTriangle(0), mesh.GetTriangle(0));
        EXPECT_EQ(m->GetMeshType(), ORVO::MESH_TYPE_MANIFOLD);
        EXPECT_TRUE(m->HasVertexColor());
    }
    mesh.SetTriangleVertexIds(0, 3, 3, 3);
    mesh.SetVertexCoord(0, Vector3(5, 5, 5));
    mesh.SetVertexColor(1, Vector3(0, 1, 0));
    mesh.PopbackTriangles(1);
    for (const TriMesh* m : {&copy, &assigned, made.get()}) {
        ASSERT_EQ(m->GetTriangleCount(), 2);
        EXPECT_EQ(Ids(*m, 0), (std::vector<int>{0, 1, 2}));
        EXPECT_EQ(Ids(*m, 1), (std::vector<int>{0, 2, 3}));
        ExpectVec(m->GetVertexCoord(0), Vector3(0, 0, 0));
        ExpectVec(m->GetVertexColor(1), Vector3(1, 0, 0));
    }
    assigned = assigned;  // self-assignment keeps the mesh
    EXPECT_EQ(assigned.GetTriangleCount(), 2);

    TriMesh moved(std::move(copy));
    EXPECT_EQ(moved.GetTriangleCount(), 2);
}

TEST(CopyTriMesh, FillsATargetThroughTheInterface) {
    ORVO::LogSystem::SetLogFileName("test_trimesh_copy.txt");
    TriMesh src;
    AddSquare(src);
    src.UpdateNormal();

    TriMesh dst(true, true, true);
    dst.InsertVertex(Vector3(1, 1, 1));
    ASSERT_EQ(ORVO::CopyTriMesh(static_cast<const ITriMesh*>(&src), &dst), 0);
    EXPECT_EQ(dst.GetVertexCount(), 4);
    EXPECT_EQ(dst.GetTriangleCount(), 2);
    EXPECT_TRUE(dst.HasVertexNormal());
    EXPECT_FALSE(dst.HasVertexColor());  // a TriMesh copy carries the source's flags
    ExpectVec(dst.GetVertexNormal(2), Vector3(0, 0, 1), 1e-15);

    TopologyMesh topo;
    ASSERT_EQ(ORVO::CopyTriMesh(&src, &topo), 0);
    EXPECT_EQ(topo.GetVertexCount(), 4);
    EXPECT_EQ(topo.GetTriangleCount(), 2);
    EXPECT_EQ(Ids(topo, 1), (std::vector<int>{0, 2, 3}));

    TriMesh fromTopo;
    ASSERT_EQ(ORVO::CopyTriMesh(&topo, &fromTopo), 0);
    EXPECT_EQ(fromTopo.GetVertexCount(), 4);
    EXPECT_EQ(Ids(fromTopo, 0), (std::vector<int>{0, 1, 2}));

    // A generic target (a view) receives coordinates and triangles.
    TriMesh parent;
    SubTriMesh view(&parent, {});
    ASSERT_EQ(ORVO::CopyTriMesh(&src, &view), 0);
    EXPECT_EQ(parent.GetVertexCount(), 4);
    EXPECT_EQ(view.GetTriangleCount(), 2);
    ExpectVec(view.GetVertexCoord(2), Vector3(1, 1, 0));

    EXPECT_EQ(ORVO::CopyTriMesh(nullptr, &dst), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(ORVO::CopyTriMesh(&src, static_cast<ITriMesh*>(nullptr)), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(ORVO::CopyTriMesh(static_cast<const TriMesh*>(nullptr)), nullptr);
    EXPECT_EQ(ReadFile("test_trimesh_copy.txt"),
              "CopyTriMesh: input triMesh is NULL\n"
              "CopyTriMesh: input triMesh is NULL\n"
              "CopyTriMesh: input triMesh is NULL\n");
}

// --- TopologyMesh -------------------------------------------------------------------

TEST(TopologyMesh, HoldsConnectivityOnly) {
    TopologyMesh mesh(4, {0, 1, 2, 0, 2, 3});
    EXPECT_EQ(mesh.GetVertexCount(), 4);
    EXPECT_EQ(mesh.GetTriangleCount(), 2);
    EXPECT_EQ(mesh.InsertTriangle(1, 2, 3), 2);
    mesh.SwapTriangles(0, 2);
    EXPECT_EQ(Ids(mesh, 0), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(Ids(mesh, 2), (std::vector<int>{0, 1, 2}));
    mesh.SetTriangleVertexIds(1, 3, 2, 1);
    EXPECT_EQ(Ids(mesh, 1), (std::vector<int>{3, 2, 1}));
    mesh.PopbackTriangles(2);
    EXPECT_EQ(mesh.GetTriangleCount(), 1);
    mesh.SetVertexCount(10);
    EXPECT_EQ(mesh.GetVertexCount(), 10);
    EXPECT_FALSE(mesh.HasVertexNormal() || mesh.HasTriangleNormal());
    mesh.Clear();
    EXPECT_EQ(mesh.GetVertexCount(), 0);
    EXPECT_EQ(mesh.GetTriangleCount(), 0);
}

TEST(TopologyMesh, GeometricOperationsWarn) {
    ORVO::LogSystem::SetLogFileName("test_topology_warnings.txt");
    TopologyMesh mesh(5);
    mesh.PopbackVertices(7);
    EXPECT_EQ(mesh.GetVertexCount(), -2);
    mesh.SetVertexCount(3);
    ExpectVec(mesh.GetVertexCoord(0), Vector3());
    mesh.SetVertexNormal(0, Vector3(1, 1, 1));
    ExpectVec(mesh.GetTriangleNormal(0), Vector3());
    EXPECT_EQ(mesh.InsertVertex(Vector3(1, 1, 1)), 0);
    EXPECT_EQ(mesh.GetVertexCount(), 3);
    mesh.SwapVertex(0, 1);
    mesh.UpdateNormal();
    mesh.PopbackVertices(1);
    EXPECT_EQ(mesh.GetVertexCount(), 2);
    // One line per refused call, each naming its operation.
    EXPECT_EQ(ReadFile("test_topology_warnings.txt"),
              "Warning PopbackVertices: invalid vertex count left: -2\n"
              "Warning GetVertexCoord: TopologyMesh has no geometry\n"
              "Warning SetVertexNormal: TopologyMesh has no geometry\n"
              "Warning GetTriangleNormal: TopologyMesh has no geometry\n"
              "Warning InsertVertex: TopologyMesh has no geometry\n"
              "Warning SwapVertex: TopologyMesh has no geometry\n"
              "Warning UpdateNormal: TopologyMesh has no geometry\n");
}

// --- Views -------------------------------------------------------------------------

// The views look into a 3x1 strip: vertex (i, j) has id 4 j + i, quad i
// holds triangles 2 i = (i, i+1, i+5) and 2 i + 1 = (i, i+5, i+4).

TEST(SubTriMesh, MapsLocalIdsToTheParent) {
    TriMesh parent = testmesh::Grid(3, 1);
    SubTriMesh view(&parent, {5, 4});
    EXPECT_EQ(view.GetParent(), &parent);
    ASSERT_EQ(view.GetTriangleCount(), 2);
    ASSERT_EQ(view.GetVertexCount(), 4);
    EXPECT_EQ(view.GetParentTriangleId(0), 5);
    // Local vertices follow first appearance: triangle 5 is (2, 7, 6).
    EXPECT_EQ(view.GetVertexIdMap(), (std::vector<int>{2, 7, 6, 3}));
    EXPECT_EQ(Ids(view, 0), (std::vector<int>{0, 1, 2}));
    EXPECT_EQ(Ids(view, 1), (std::vector<int>{0, 3, 1}));
    EXPECT_EQ(view.GetLocalVertexId(3), 3);
    EXPECT_EQ(view.GetLocalVertexId(0), -1);
    for (int v = 0; v < view.GetVertexCount(); ++v) {
        ExpectVec(view.GetVertexCoord(v), parent.GetVertexCoord(view.GetParentVertexId(v)));
    }

    // Per-item writes reach the parent.
    view.SetVertexCoord(1, Vector3(3, 1, 5));
    ExpectVec(parent.GetVertexCoord(7), Vector3(3, 1, 5));
    view.SetTriangleVertexIds(1, 0, 3, 2);
    EXPECT_EQ(Ids(parent, 4), (std::vector<int>{2, 3, 6}));
    EXPECT_EQ(view.InsertTriangle(2, 3, 1), 2);
    EXPECT_EQ(parent.GetTriangleCount(), 7);
    EXPECT_EQ(Ids(parent, 6), (std::vector<int>{6, 3, 7}));
    EXPECT_EQ(view.InsertVertex(Vector3(8, 8, 8)), 4);
    EXPECT_EQ(view.GetParentVertexId(4), 8);
    EXPECT_EQ(view.GetLocalVertexId(8), 4);

    // Normals come from the parent.
    EXPECT_FALSE(view.HasVertexNormal());
    view.UpdateNormal();
    EXPECT_TRUE(view.HasVertexNormal() && view.HasTriangleNormal());
    ExpectVec(view.GetTriangleNormal(0), parent.GetTriangleNormal(5));

    // Structural edits touch only the selection.
    view.SwapTriangles(0, 2);
    EXPECT_EQ(view.GetParentTriangleId(0), 6);
    EXPECT_EQ(Ids(view, 0), (std::vector<int>{2, 3, 1}));
    view.PopbackTriangles(1);
    EXPECT_EQ(view.GetTriangleCount(), 2);
    view.SwapVertex(0, 3);
    EXPECT_EQ(view.GetParentVertexId(0), 3);
    EXPECT_EQ(view.GetLocalVertexId(2), 3);
    view.PopbackVertices(2);
    EXPECT_EQ(view.GetVertexCount(), 3);
    EXPECT_EQ(view.GetLocalVertexId(8), -1);
    EXPECT_EQ(parent.GetVertexCount(), 9);
    EXPECT_EQ(parent.GetTriangleCount(), 7);
    view.Clear();
    EXPECT_EQ(view.GetVertexCount(), 0);
    EXPECT_EQ(view.GetTriangleCount(), 0);
    EXPECT_EQ(parent.GetTriangleCount(), 7);
}

TEST(SubTriMesh, FromVerticesAndInvalidSelections) {
    TriMesh parent = testmesh::Grid(3, 1);
    SubTriMesh view;
    EXPECT_EQ(view.GetVertexCount(), 0);
    ASSERT_EQ(view.InitFromVertices(&parent, {5, 4, 0, 1, 1}), 0);
    EXPECT_EQ(view.GetVertexIdMap(), (std::vector<int>{5, 4, 0, 1}));
    // Only the first square lies entirely inside the selection.
    EXPECT_EQ(view.GetTriangleIdMap(), (std::vector<int>{0, 1}));
    EXPECT_EQ(Ids(view, 0), (std::vector<int>{2, 3, 0}));

    EXPECT_EQ(view.Init(nullptr, {0}), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(view.GetTriangleCount(), 0);
    EXPECT_EQ(view.Init(&parent, {0, 6}), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(view.GetTriangleCount(), 0);
    EXPECT_EQ(view.GetVertexCount(), 0);
    EXPECT_EQ(view.InitFromVertices(&parent, {0, 8}), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(view.GetVertexCount(), 0);
}

TEST(TriangleList, OwnedListsAndViews) {
    TriMesh parent = testmesh::Grid(3, 1);
    TriangleList all(&parent);
    ASSERT_EQ(all.GetTriangleCount(), 6);
    int ids[3];
    all.GetTriangleVertexIds(5, ids);
    EXPECT_EQ(std::vector<int>(ids, ids + 3), (std::vector<int>{2, 7, 6}));

    TriangleList own(std::vector<int>{1, 2, 3, 4, 5, 6, 7});
    EXPECT_EQ(own.GetTriangleCount(), 2);
    EXPECT_EQ(own.InsertTriangle(9, 8, 7), 2);
    own.SetTriangleVertexIds(0, 0, 0, 1);
    own.GetTriangleVertexIds(0, ids);
    EXPECT_EQ(std::vector<int>(ids, ids + 3), (std::vector<int>{0, 0, 1}));
    own.Clear();
    EXPECT_EQ(own.GetTriangleCount(), 0);

    SubTriangleList sub(&parent, {4, 1});
    ASSERT_EQ(sub.GetTriangleCount(), 2);
    EXPECT_EQ(sub.GetParentTriangleId(0), 4);
    sub.GetTriangleVertexIds(1, ids);
    EXPECT_EQ(std::vector<int>(ids, ids + 3), (std::vector<int>{0, 5, 4}));

    SubTriangleList ofList(&all, {2});
    ofList.GetTriangleVertexIds(0, ids);
    EXPECT_EQ(std::vector<int>(ids, ids + 3), (std::vector<int>{1, 2, 6}));

    SubTriangleList orphan(static_cast<const ITriMesh*>(nullptr), {0, 1});
    EXPECT_EQ(orphan.GetTriangleCount(), 0);
}

}  // namespace
