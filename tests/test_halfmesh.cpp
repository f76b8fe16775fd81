#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/HalfMesh.h>
#include <QarnUVAtlas/TriMesh.h>

#include "MeshChecks.h"
#include "TestFiles.h"
#include "TestMeshes.h"

#include <gtest/gtest.h>

#include <array>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

using ORVO::Edge3D;
using ORVO::Face3D;
using ORVO::HalfMesh;
using ORVO::ITriMesh;
using ORVO::TriMesh;
using ORVO::Vector3;
using ORVO::Vertex3D;

namespace {

using meshcheck::Ids;
using testfiles::ReadFile;

TriMesh MakeMesh(const std::vector<Vector3>& coords, const std::vector<std::array<int, 3>>& tris) {
    TriMesh mesh;
    for (const Vector3& p : coords) mesh.InsertVertex(p);
    for (const auto& t : tris) mesh.InsertTriangle(t[0], t[1], t[2]);
    return mesh;
}

// Counts taken from the triangle list alone, to hold the half-edge mesh to.
struct TriangleListCounts {
    int halfEdges = 0;          // both directions of every undirected side
    int boundaryHalfEdges = 0;  // directions no triangle uses while the other one is used
    int undirectedEdges = 0;
    // Boundary half-edges as start -> end (for a manifold boundary, one per start).
    std::map<int, int> boundaryNext;
    // Loop length of the boundary loop through each boundary vertex.
    std::map<int, int> loopLengthAt;
    int loops = 0;
};

TriangleListCounts CountFromTriangles(const ITriMesh& mesh) {
    std::set<std::pair<int, int>> directed, undirected;
    for (int t = 0; t < mesh.GetTriangleCount(); ++t) {
        std::vector<int> ids = Ids(mesh, t);
        for (int k = 0; k < 3; ++k) directed.insert({ids[k], ids[(k + 1) % 3]});
    }
    TriangleListCounts counts;
    for (const auto& d : directed) {
        undirected.insert(std::minmax(d.first, d.second));
        if (!directed.count({d.second, d.first})) {
            ++counts.boundaryHalfEdges;
            counts.boundaryNext[d.second] = d.first;
        }
    }
    counts.undirectedEdges = static_cast<int>(undirected.size());
    counts.halfEdges = 2 * counts.undirectedEdges;
    std::set<int> seen;
    for (const auto& entry : counts.boundaryNext) {
        if (seen.count(entry.first)) continue;
        std::vector<int> loop;
        for (int v = entry.first; !seen.count(v); v = counts.boundaryNext.at(v)) {
            seen.insert(v);
            loop.push_back(v);
        }
        for (int u : loop) counts.loopLengthAt[u] = static_cast<int>(loop.size());
        ++counts.loops;
    }
    return counts;
}

std::set<int> UsedVertices(const ITriMesh& mesh) {
    std::set<int> used;
    for (int t = 0; t < mesh.GetTriangleCount(); ++t)
        for (int v : Ids(mesh, t)) used.insert(v);
    return used;
}

// V - E + F over the vertices some triangle uses.
int EulerOfTriangles(const ITriMesh& mesh, const TriangleListCounts& counts) {
    return static_cast<int>(UsedVertices(mesh).size()) - counts.undirectedEdges + mesh.GetTriangleCount();
}

struct HalfMeshCounts {
    int vertices = 0, halfEdges = 0, faces = 0, boundaryHalfEdges = 0;
};

HalfMeshCounts CountHalfMesh(const HalfMesh& hm) {
    HalfMeshCounts c;
    for (int i = 0; i < hm.GetVertexCount(); ++i) c.vertices += hm.GetVertex(i) != nullptr;
    for (int i = 0; i < hm.GetFaceCount(); ++i) c.faces += hm.GetFace(i) != nullptr;
    for (int i = 0; i < hm.GetEdgeCount(); ++i) {
        const Edge3D* e = hm.GetEdge(i);
        if (!e) continue;
        ++c.halfEdges;
        if (!e->GetFace()) ++c.boundaryHalfEdges;
    }
    return c;
}

// Starting from each boundary vertex's edge and stepping to the edge of the
// vertex each boundary half-edge ends at, the walk must follow boundary
// half-edges of the triangle list and come back after exactly one loop.
void ExpectBoundaryLoopsWalkable(const HalfMesh& hm, const TriangleListCounts& expected) {
    for (const auto& entry : expected.loopLengthAt) {
        const Vertex3D* v = hm.GetVertex(entry.first);
        const Edge3D* start = v->GetEdge();
        ASSERT_NE(start, nullptr);
        ASSERT_EQ(start->GetFace(), nullptr) << "vertex " << entry.first << " does not carry its boundary half-edge";
        const Edge3D* e = start;
        int steps = 0;
        do {
            int from = HalfMesh::GetStartVertex(e)->GetId();
            int to = e->GetVertex()->GetId();
            ASSERT_EQ(expected.boundaryNext.at(from), to);
            e = e->GetVertex()->GetEdge();
            ASSERT_NE(e, nullptr);
            ASSERT_EQ(e->GetFace(), nullptr);
            ++steps;
        } while (e != start && steps <= entry.second);
        EXPECT_EQ(e, start);
        EXPECT_EQ(steps, entry.second) << "loop through vertex " << entry.first;
    }
}

// Builds the half-edge mesh and checks it against the triangle list: element
// counts, topology, boundary loops, the Euler characteristic and a round trip.
void CheckAgainstTriangles(const TriMesh& mesh, int expectedLoops, int expectedEuler) {
    std::unique_ptr<HalfMesh> hm(ORVO::CreateHalfMeshFromITriMesh(&mesh));
    ASSERT_NE(hm, nullptr);
    TriangleListCounts expected = CountFromTriangles(mesh);
    HalfMeshCounts got = CountHalfMesh(*hm);
    EXPECT_EQ(got.vertices, mesh.GetVertexCount());
    EXPECT_EQ(got.faces, mesh.GetTriangleCount());
    EXPECT_EQ(got.halfEdges, expected.halfEdges);
    EXPECT_EQ(got.boundaryHalfEdges, expected.boundaryHalfEdges);
    EXPECT_EQ(expected.loops, expectedLoops);
    EXPECT_EQ(EulerOfTriangles(mesh, expected), expectedEuler);
    EXPECT_EQ(hm->ValidateTopology(), ORVO::STATUS_SUCCESS);
    ExpectBoundaryLoopsWalkable(*hm, expected);
    // Valences summed over the vertices count every undirected edge twice;
    // vertices no triangle uses (inside a hole) stay in the mesh without an edge.
    std::set<int> used = UsedVertices(mesh);
    long long valenceSum = 0;
    for (int v = 0; v < hm->GetVertexCount(); ++v) {
        const Vertex3D* vertex = hm->GetVertex(v);
        valenceSum += vertex->GetDegree();
        EXPECT_TRUE(used.count(v) || (vertex->GetEdge() == nullptr && vertex->GetDegree() == 0)) << "vertex " << v;
    }
    EXPECT_EQ(valenceSum, 2LL * expected.undirectedEdges);
    // Converted back, the triangle list is the original one exactly.
    TriMesh back;
    ASSERT_EQ(ORVO::ConvertHalfMeshToITriMesh(hm.get(), &back), ORVO::STATUS_SUCCESS);
    ASSERT_EQ(back.GetVertexCount(), mesh.GetVertexCount());
    ASSERT_EQ(back.GetTriangleCount(), mesh.GetTriangleCount());
    for (int v = 0; v < back.GetVertexCount(); ++v) meshcheck::ExpectVec(back.GetVertexCoord(v), mesh.GetVertexCoord(v));
    for (int t = 0; t < back.GetTriangleCount(); ++t) EXPECT_EQ(Ids(back, t), Ids(mesh, t)) << "triangle " << t;
}

// A grid of 12 x 12 quads with three separate square holes.
TriMesh GridWithHoles() {
    return testmesh::Grid(12, 12, nullptr, [](int i, int j) {
        bool holeA = i >= 2 && i <= 3 && j >= 2 && j <= 4;
        bool holeB = i == 7 && j == 7;
        bool holeC = i >= 6 && i <= 9 && j == 2;
        return !(holeA || holeB || holeC);
    });
}

// ---------------------------------------------------------------------------
// Small cases

TEST(HalfMeshBuild, SingleTriangleConventions) {
    TriMesh mesh = MakeMesh({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 1, 2}});
    std::unique_ptr<HalfMesh> hm(ORVO::CreateHalfMeshFromITriMesh(&mesh));
    ASSERT_NE(hm, nullptr);
    ASSERT_EQ(hm->GetEdgeCount(), 6);
    // Boundary half-edges are not chained to each other.
    for (int i = 0; i < 6; ++i) {
        const Edge3D* e = hm->GetEdge(i);
        EXPECT_TRUE(e->GetFace() || (e->GetNext() == nullptr && e->GetPre() == nullptr)) << "half-edge " << i;
    }
    // The face's edge runs from the last corner to the first.
    const Edge3D* fe = hm->GetFace(0)->GetEdge();
    EXPECT_EQ(fe->GetVertex()->GetId(), 0);
    EXPECT_EQ(HalfMesh::GetStartVertex(fe)->GetId(), 2);
}

TEST(HalfMeshBuild, NonManifoldFanOfThreeTriangles) {
    // The third triangle uses 0 -> 1 again and takes that half-edge over.
    TriMesh mesh = MakeMesh({{0, 0, 0}, {1, 0, 0}, {0.5, 1, 0}, {0.5, -1, 0}, {0.5, 0, 1}},
                            {{0, 1, 2}, {1, 0, 3}, {0, 1, 4}});
    std::unique_ptr<HalfMesh> hm(ORVO::CreateHalfMeshFromITriMesh(&mesh));
    ASSERT_NE(hm, nullptr);
    HalfMeshCounts got = CountHalfMesh(*hm);
    EXPECT_EQ(got.vertices, 5);
    EXPECT_EQ(got.faces, 3);
    EXPECT_EQ(got.halfEdges, 14);  // one half-edge per direction of the 7 sides
    EXPECT_EQ(got.boundaryHalfEdges, 6);
    EXPECT_EQ(hm->FindEdge(hm->GetVertex(0), hm->GetVertex(1))->GetFace(), hm->GetFace(2));
    EXPECT_EQ(hm->FindEdge(hm->GetVertex(1), hm->GetVertex(0))->GetFace(), hm->GetFace(1));
    EXPECT_EQ(hm->ValidateTopology(), ORVO::STATUS_FAILED);
    // Only the faces whose cycles survived come back.
    TriMesh back;
    ASSERT_EQ(ORVO::ConvertHalfMeshToITriMesh(hm.get(), &back), ORVO::STATUS_SUCCESS);
    ASSERT_EQ(back.GetTriangleCount(), 2);
    EXPECT_EQ(Ids(back, 0), (std::vector<int>{1, 0, 3}));
    EXPECT_EQ(Ids(back, 1), (std::vector<int>{0, 1, 4}));
}

TEST(HalfMeshBuild, InsertEdgeReusesAndRejects) {
    ORVO::LogSystem::SetLogFileName("test_halfmesh_insertedge.txt");
    HalfMesh hm;
    Vertex3D* a = hm.InsertVertex(Vector3(0, 0, 0));
    Vertex3D* b = hm.InsertVertex(Vector3(1, 0, 0));
    Edge3D* ab = hm.InsertEdge(a, b);
    ASSERT_NE(ab, nullptr);
    EXPECT_EQ(ab->GetVertex(), b);
    EXPECT_EQ(ab->GetPair(), nullptr);
    EXPECT_EQ(a->GetEdge(), ab);
    EXPECT_EQ(hm.InsertEdge(a, b), ab);
    EXPECT_NE(hm.InsertEdge(b, a), nullptr);
    EXPECT_EQ(hm.GetEdgeCount(), 2);
    EXPECT_EQ(hm.InsertEdge(nullptr, b), nullptr);
    hm.ClearEdgeMap();
    EXPECT_EQ(hm.InsertEdge(a, b), nullptr);
    EXPECT_EQ(hm.GetEdgeCount(), 2);
    hm.RebuildEdgeMap();
    EXPECT_EQ(hm.GetVertexEdgeMapCount(), 2);
    EXPECT_EQ(ReadFile("test_halfmesh_insertedge.txt"),
              "HalfMesh::InsertEdge: invalid inpu: vertexStart == NULL || vertexEnd == NULL\n"
              "HalfMesh::InsertEdge: invalid vertex edgemap id\n");
}

TEST(HalfMeshBuild, BadArgumentsAreRefused) {
    ORVO::LogSystem::SetLogFileName("test_halfmesh_null.txt");
    EXPECT_EQ(ORVO::CreateHalfMeshFromITriMesh(nullptr), nullptr);
    EXPECT_EQ(ORVO::CreateHalfMeshFromSubTriMesh(nullptr, {0}, nullptr), nullptr);
    TriMesh mesh;
    HalfMesh hm;
    EXPECT_EQ(ORVO::ConvertHalfMeshToITriMesh(nullptr, &mesh), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(ORVO::ConvertHalfMeshToITriMesh(&hm, nullptr), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(ReadFile("test_halfmesh_null.txt"),
              "CreateHalfMeshFromITriMesh: input triMesh is null\n"
              "CreateHalfMeshFromSubTriMesh: input triMesh is null\n"
              "ConvertHalfMeshToITriMesh: input halfMesh is null\n"
              "ConvertHalfMeshToITriMesh: input triMesh is null\n");
    // A triangle naming a vertex the mesh does not have.
    TriMesh outOfRange = MakeMesh({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 1, 5}});
    EXPECT_EQ(ORVO::CreateHalfMeshFromITriMesh(&outOfRange), nullptr);
}

TEST(HalfMeshBuild, InsertFaceNeedsThreeCornersAndPolygonsConvertAsFans) {
    HalfMesh hm;
    std::vector<Vertex3D*> quad;
    for (int i = 0; i < 4; ++i) quad.push_back(hm.InsertVertex(Vector3(i % 2, i / 2, 0)));
    std::swap(quad[2], quad[3]);  // corners in cyclic order
    // Two corners make no face and leave the mesh as it was.
    EXPECT_EQ(hm.InsertFace(std::vector<Vertex3D*>{quad[0], quad[1]}), nullptr);
    EXPECT_EQ(hm.GetEdgeCount(), 0);
    EXPECT_EQ(hm.GetFaceCount(), 0);
    EXPECT_EQ(quad[0]->GetEdge(), nullptr);
    Face3D* f = hm.InsertFace(quad);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(f->GetId(), 0);
    hm.SetBoundaryVertexEdge(nullptr);
    EXPECT_EQ(hm.ValidateTopology(), ORVO::STATUS_SUCCESS);
    TriMesh back;
    ASSERT_EQ(ORVO::ConvertHalfMeshToITriMesh(&hm, &back), ORVO::STATUS_SUCCESS);
    ASSERT_EQ(back.GetTriangleCount(), 2);
    // Fan from the first corner (the vertex the face's edge points to).
    EXPECT_EQ(Ids(back, 0), (std::vector<int>{0, 1, 3}));
    EXPECT_EQ(Ids(back, 1), (std::vector<int>{0, 3, 2}));
}

// ---------------------------------------------------------------------------
// Whole surfaces

TEST(HalfMeshSurfaces, GeneratedSurfacesMatchTheirTriangles) {
    auto check = [](const char* name, const TriMesh& mesh, int loops, int euler) {
        SCOPED_TRACE(name);
        CheckAgainstTriangles(mesh, loops, euler);
    };
    check("single triangle", MakeMesh({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 1, 2}}), 1, 1);
    check("two triangles sharing 1-2 in opposite directions",
          MakeMesh({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}}, {{0, 1, 2}, {2, 1, 3}}), 1, 1);
    check("icosphere", testmesh::Icosphere(3), 0, 2);
    check("torus", testmesh::Torus(24, 12), 0, 0);
    // A disc with three holes; the 2 x 3 quad hole leaves two vertices no triangle uses.
    TriMesh holes = GridWithHoles();
    ASSERT_EQ(holes.GetVertexCount(), 13 * 13);
    check("grid with holes", holes, 4, -2);
}

TEST(HalfMeshSurfaces, BoundaryVertexDegreeCountsItsEdges) {
    TriMesh grid = testmesh::Grid(3, 3);
    std::unique_ptr<HalfMesh> hm(ORVO::CreateHalfMeshFromITriMesh(&grid));
    // Corner 0 has two edges along the border and one diagonal.
    EXPECT_EQ(hm->GetVertex(0)->GetDegree(), 3);
    // Vertex 5 is inside: valence 6 on this triangulation.
    EXPECT_EQ(hm->GetVertex(5)->GetDegree(), 6);
    // Started from an inner half-edge the walk stops at the boundary.
    Vertex3D* corner = hm->GetVertex(0);
    corner->SetEdge(hm->FindEdge(corner, hm->GetVertex(5)));
    EXPECT_LT(corner->GetDegree(), 3);
    hm->SetBoundaryVertexEdge(nullptr);
    EXPECT_EQ(corner->GetDegree(), 3);
}

TEST(HalfMeshSurfaces, SubMeshOfSelectedTriangles) {
    TriMesh grid = testmesh::Grid(6, 6);
    // The triangles of the quads in columns 2..3, rows 1..4, listed backwards.
    std::vector<int> ids;
    for (int j = 4; j >= 1; --j)
        for (int i = 3; i >= 2; --i) {
            ids.push_back(2 * (j * 6 + i));
            ids.push_back(2 * (j * 6 + i) + 1);
        }
    std::vector<int> idMap = {99};
    std::unique_ptr<HalfMesh> hm(ORVO::CreateHalfMeshFromSubTriMesh(&grid, ids, &idMap));
    ASSERT_NE(hm, nullptr);
    EXPECT_EQ(hm->GetFaceCount(), static_cast<int>(ids.size()));
    EXPECT_EQ(hm->GetVertexCount(), 3 * 5);
    ASSERT_EQ(static_cast<int>(idMap.size()), hm->GetVertexCount());
    for (size_t i = 1; i < idMap.size(); ++i) EXPECT_LT(idMap[i - 1], idMap[i]);
    for (int v = 0; v < hm->GetVertexCount(); ++v)
        meshcheck::ExpectVec(hm->GetVertex(v)->GetCoord(), grid.GetVertexCoord(idMap[v]));
    for (int f = 0; f < hm->GetFaceCount(); ++f) {
        int local[3];
        ASSERT_EQ(hm->GetTriangleVertexIds(f, local), ORVO::STATUS_SUCCESS);
        for (int k = 0; k < 3; ++k) EXPECT_EQ(idMap[local[k]], grid.GetTriangle(ids[f])[k]);
    }
    EXPECT_EQ(hm->ValidateTopology(), ORVO::STATUS_SUCCESS);
    // A 2 x 4 quad patch: one boundary loop of 2 * (2 + 4) half-edges.
    EXPECT_EQ(CountHalfMesh(*hm).boundaryHalfEdges, 12);

    std::unique_ptr<HalfMesh> empty(ORVO::CreateHalfMeshFromSubTriMesh(&grid, {}, &idMap));
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(empty->GetVertexCount(), 0);
    EXPECT_TRUE(idMap.empty());
    EXPECT_EQ(ORVO::CreateHalfMeshFromSubTriMesh(&grid, {0, 72}, nullptr), nullptr);
}

TEST(HalfMeshSurfaces, RealMeshes) {
    // Each is one piece of genus 0 or 1: Euler characteristic 2 - 2 * genus - loops.
    const struct {
        const char* name;
        int loops, euler;
    } cases[] = {{"torus.obj", 0, 0}, {"bunny.obj", 5, -3}, {"tower_holes.obj", 38, -36}};
    int ran = 0;
    for (const auto& c : cases) {
        std::string path = testmesh::SharedMesh(c.name);
        if (path.empty()) continue;
        SCOPED_TRACE(c.name);
        TriMesh mesh;
        ASSERT_TRUE(testmesh::LoadObj(path, mesh));
        CheckAgainstTriangles(mesh, c.loops, c.euler);
        ++ran;
    }
    if (ran == 0) GTEST_SKIP() << "shared meshes not found under " << QARN_SHARED_DIR << "/meshes";
}

// ---------------------------------------------------------------------------
// Maintenance

TEST(HalfMeshMaintenance, NormalsOfASpherePointOutwards) {
    ORVO::LogSystem::SetLogFileName("test_halfmesh_normals.txt");
    TriMesh sphere = testmesh::Icosphere(2);
    std::unique_ptr<HalfMesh> hm(ORVO::CreateHalfMeshFromITriMesh(&sphere));
    for (bool weighted : {true, false}) {
        hm->UpdateNormal(weighted);
        for (int v = 0; v < hm->GetVertexCount(); ++v) {
            const Vertex3D* vertex = hm->GetVertex(v);
            EXPECT_NEAR(vertex->GetNormal().Length(), 1.0, 1e-12);
            EXPECT_GT(vertex->GetNormal() * vertex->GetCoord(), 0.99);
        }
        for (int f = 0; f < hm->GetFaceCount(); ++f) {
            const Face3D* face = hm->GetFace(f);
            Vector3 centroid;
            for (int v : Ids(sphere, f)) centroid = centroid + sphere.GetVertexCoord(v) / 3.0;
            EXPECT_NEAR(face->GetNormal().Length(), 1.0, 1e-12);
            EXPECT_GT(face->GetNormal() * centroid, 0.9);
        }
    }
    // Nothing non-manifold here.
    EXPECT_EQ(ReadFile("test_halfmesh_normals.txt"), "");
}

TEST(HalfMeshMaintenance, WeightingChangesTheVertexNormal) {
    // A fan around vertex 0 with one large and two small triangles.
    TriMesh mesh = MakeMesh({{0, 0, 0}, {4, 0, 0}, {0, 4, 1}, {-0.05, 0, 0.05}, {0, -0.05, 0.05}},
                            {{0, 1, 2}, {0, 2, 3}, {0, 4, 1}});
    std::unique_ptr<HalfMesh> hm(ORVO::CreateHalfMeshFromITriMesh(&mesh));
    hm->UpdateNormal(true);
    Vector3 area = hm->GetVertex(0)->GetNormal();
    hm->UpdateNormal(false);
    Vector3 uniform = hm->GetVertex(0)->GetNormal();
    // Area weighting follows the large triangle's normal closely.
    Vector3 big = hm->GetFace(0)->GetNormal();
    EXPECT_GT(area * big, uniform * big);
    EXPECT_GT(area * big, 0.99);
}

TEST(HalfMeshMaintenance, NonManifoldFanIsReportedOnce) {
    ORVO::LogSystem::SetLogFileName("test_halfmesh_nonmanifold.txt");
    // Two triangles touching at vertex 0 only (a bow tie).
    TriMesh mesh = MakeMesh({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {-1, 0, 0}, {-1, -1, 0}}, {{0, 1, 2}, {0, 3, 4}});
    std::unique_ptr<HalfMesh> hm(ORVO::CreateHalfMeshFromITriMesh(&mesh));
    hm->UpdateNormal(true);
    EXPECT_EQ(ReadFile("test_halfmesh_nonmanifold.txt"), "@#@ non-manifold detected when UpdateNormal\n");
    // The pinched vertex still gets the normal of all its faces.
    EXPECT_NEAR(hm->GetVertex(0)->GetNormal().z, 1.0, 1e-12);
}

TEST(HalfMeshMaintenance, UnifyCoordsFitsACube) {
    TriMesh mesh = MakeMesh({{1, 1, 1}, {5, 1, 1}, {1, 3, 2}}, {{0, 1, 2}});
    std::unique_ptr<HalfMesh> hm(ORVO::CreateHalfMeshFromITriMesh(&mesh));
    hm->UnifyCoords(2.0);
    EXPECT_NEAR(hm->GetVertex(0)->GetCoord().x, -1.0, 1e-12);
    EXPECT_NEAR(hm->GetVertex(1)->GetCoord().x, 1.0, 1e-12);
    EXPECT_NEAR(hm->GetVertex(0)->GetCoord().y, -0.5, 1e-12);
    EXPECT_NEAR(hm->GetVertex(2)->GetCoord().y, 0.5, 1e-12);
    EXPECT_NEAR(hm->GetVertex(2)->GetCoord().z, 0.25, 1e-12);
    hm->UnifyCoords(0.0);
    EXPECT_NEAR(hm->GetVertex(1)->GetCoord().x, 1.0, 1e-12);
}

// ---------------------------------------------------------------------------
// Contractions

TEST(HalfMeshContraction, InnerEdgeKeepsTheEndVertexAndRenumbering) {
    TriMesh grid = testmesh::Grid(4, 4);
    std::unique_ptr<HalfMesh> hm(ORVO::CreateHalfMeshFromITriMesh(&grid));
    const int vertices = hm->GetVertexCount(), edges = hm->GetEdgeCount(), faces = hm->GetFaceCount();
    // 6 -> 12 is the diagonal of an inner quad; both ends are inside.
    Vertex3D* end = hm->GetVertex(12);
    Edge3D* e = hm->FindEdge(hm->GetVertex(6), end);
    ASSERT_NE(e, nullptr);
    Vector3 kept = end->GetCoord();
    ASSERT_EQ(hm->ContractInnerEdge(e->GetId(), false), ORVO::STATUS_SUCCESS);
    EXPECT_EQ(hm->ValidateTopology(), ORVO::STATUS_SUCCESS);
    EXPECT_EQ(hm->GetVertex(12), end);
    meshcheck::ExpectVec(end->GetCoord(), kept);
    // The neighbours of the removed vertex are now neighbours of the kept one.
    for (int n : {1, 5, 7}) {
        EXPECT_NE(hm->FindEdge(end, hm->GetVertex(n)), nullptr) << n;
        EXPECT_NE(hm->FindEdge(hm->GetVertex(n), end), nullptr) << n;
    }
    // Without renumbering the slots of the removed elements are null.
    EXPECT_EQ(hm->GetVertex(6), nullptr);
    EXPECT_EQ(hm->GetVertexCount(), vertices);
    EXPECT_EQ(hm->GetEdgeCount(), edges);
    HalfMeshCounts counts = CountHalfMesh(*hm);
    EXPECT_EQ(counts.vertices, vertices - 1);
    EXPECT_EQ(counts.halfEdges, edges - 6);
    EXPECT_EQ(counts.faces, faces - 2);
    // Renumbered, no slot is empty (ValidateTopology holds every id to its position).
    hm->UpdateVertexIndex();
    hm->UpdateEdgeIndex();
    hm->UpdateFaceIndex();
    EXPECT_EQ(hm->GetVertexCount(), vertices - 1);
    EXPECT_EQ(hm->GetEdgeCount(), edges - 6);
    EXPECT_EQ(hm->GetFaceCount(), faces - 2);
    EXPECT_EQ(hm->ValidateTopology(), ORVO::STATUS_SUCCESS);
    TriMesh back;
    ASSERT_EQ(ORVO::ConvertHalfMeshToITriMesh(hm.get(), &back), ORVO::STATUS_SUCCESS);
    TriangleListCounts after = CountFromTriangles(back);
    EXPECT_EQ(after.loops, 1);
    EXPECT_EQ(EulerOfTriangles(back, after), 1);
    // Unique ids survive and keep their order; a new face continues the counter.
    for (int f = 1; f < hm->GetFaceCount(); ++f)
        EXPECT_GT(hm->GetFace(f)->GetUniqueId(), hm->GetFace(f - 1)->GetUniqueId());
    Face3D* extra = hm->InsertFace(std::vector<Vertex3D*>{hm->InsertVertex(Vector3(5, 0, 0)),
                                                          hm->InsertVertex(Vector3(6, 0, 0)),
                                                          hm->InsertVertex(Vector3(5, 1, 0))});
    ASSERT_NE(extra, nullptr);
    EXPECT_EQ(extra->GetUniqueId(), faces);
    EXPECT_EQ(hm->GetVertex(hm->GetVertexCount() - 1)->GetEdgeMapId(), vertices + 2);
}

TEST(HalfMeshContraction, InnerEdgeRefusals) {
    ORVO::LogSystem::SetLogFileName("test_halfmesh_inner_refusals.txt");
    TriMesh quad = testmesh::Grid(1, 1);
    std::unique_ptr<HalfMesh> hm(ORVO::CreateHalfMeshFromITriMesh(&quad));
    // The diagonal 0 -> 3 has a face on both sides but both ends on the border.
    Edge3D* diagonal = hm->FindEdge(hm->GetVertex(0), hm->GetVertex(3));
    ASSERT_NE(diagonal, nullptr);
    EXPECT_EQ(hm->ContractInnerEdge(diagonal->GetId(), true), ORVO::STATUS_INVALID_INPUT);
    Edge3D* border = hm->FindEdge(hm->GetVertex(1), hm->GetVertex(0));
    EXPECT_EQ(hm->ContractInnerEdge(border->GetId(), true), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(hm->ContractInnerEdge(-1, true), ORVO::STATUS_INVALID_INPUT);
    HalfMesh loose;
    loose.InsertEdge(loose.InsertVertex(Vector3()), loose.InsertVertex(Vector3(1, 0, 0)));
    EXPECT_EQ(loose.ContractInnerEdge(0, true), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(hm->ValidateTopology(), ORVO::STATUS_SUCCESS);
    EXPECT_EQ(hm->GetFaceCount(), 2);
    EXPECT_EQ(ReadFile("test_halfmesh_inner_refusals.txt"),
              "HalfMesh::ContractInnerEdge: constract edge vertices are on boundary\n"
              "HalfMesh::ContractInnerEdge: constract face or pair face is null\n"
              "HalfMesh::ContractInnerEdge: contract edge is null\n"
              "HalfMesh::ContractInnerEdge: contract pair edge is null\n");
}

TEST(HalfMeshContraction, InnerEdgeRefusedWhenTheEndsShareAThirdNeighbour) {
    // A tetrahedron whose bottom face is split at a centre vertex 4. The edge
    // 0-1 has corners 3 and 4 opposite, but 0 and 1 are also both joined to 2:
    // contracting it would fold the surface onto itself.
    TriMesh mesh = MakeMesh({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1.0 / 3, 1.0 / 3, 0}},
                            {{0, 1, 3}, {0, 3, 2}, {1, 2, 3}, {0, 2, 4}, {2, 1, 4}, {1, 0, 4}});
    std::unique_ptr<HalfMesh> hm(ORVO::CreateHalfMeshFromITriMesh(&mesh));
    ASSERT_EQ(hm->ValidateTopology(), ORVO::STATUS_SUCCESS);
    ASSERT_EQ(CountHalfMesh(*hm).boundaryHalfEdges, 0);
    Edge3D* e = hm->FindEdge(hm->GetVertex(0), hm->GetVertex(1));
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(hm->ContractInnerEdge(e->GetId(), true), ORVO::STATUS_FAILED);
    EXPECT_EQ(hm->GetFaceCount(), 6);
    // The centre vertex's spokes are fine: its ends share only the two corners.
    Edge3D* spoke = hm->FindEdge(hm->GetVertex(4), hm->GetVertex(2));
    ASSERT_EQ(hm->ContractInnerEdge(spoke->GetId(), true), ORVO::STATUS_SUCCESS);
    EXPECT_EQ(hm->ValidateTopology(), ORVO::STATUS_SUCCESS);
    HalfMeshCounts left = CountHalfMesh(*hm);
    EXPECT_EQ(left.faces, 4);
    EXPECT_EQ(left.vertices, 4);
    // What is left is a tetrahedron: every vertex has valence 3.
    for (int v = 0; v < hm->GetVertexCount(); ++v) EXPECT_EQ(hm->GetVertex(v)->GetDegree(), 3);
}

TEST(HalfMeshContraction, BoundaryEdgeDiagnosticsAndRefusals) {
    ORVO::LogSystem::SetLogFileName("test_halfmesh_boundary.txt");
    TriMesh grid = testmesh::Grid(4, 4);
    std::unique_ptr<HalfMesh> hm(ORVO::CreateHalfMeshFromITriMesh(&grid));
    // Misplace the end vertex's edge on the triangle's next half-edge.
    Edge3D* e = hm->FindEdge(hm->GetVertex(1), hm->GetVertex(2));
    ASSERT_NE(e->GetFace(), nullptr);
    e->GetVertex()->SetEdge(e->GetNext());
    ASSERT_EQ(hm->ContractBoundaryEdge(e->GetId(), false), ORVO::STATUS_SUCCESS);
    // Misplace another end vertex's edge on an unrelated half-edge.
    Edge3D* f = hm->FindEdge(hm->GetVertex(10), hm->GetVertex(5));
    ASSERT_NE(f->GetFace(), nullptr);
    Vertex3D* end = f->GetVertex();
    end->SetEdge(hm->FindEdge(end, hm->GetVertex(6)));
    ASSERT_EQ(hm->ContractBoundaryEdge(f->GetId(), false), ORVO::STATUS_SUCCESS);
    EXPECT_EQ(hm->ValidateTopology(), ORVO::STATUS_SUCCESS);
    // The contraction put the boundary edge back on the vertex.
    EXPECT_EQ(end->GetEdge()->GetFace(), nullptr);
    // An inner edge is not a boundary edge.
    Edge3D* inner = hm->FindEdge(hm->GetVertex(6), hm->GetVertex(12));
    EXPECT_EQ(hm->ContractBoundaryEdge(inner->GetId(), false), ORVO::STATUS_INVALID_INPUT);
    // A lone triangle cannot lose a side.
    TriMesh single = MakeMesh({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 1, 2}});
    std::unique_ptr<HalfMesh> lone(ORVO::CreateHalfMeshFromITriMesh(&single));
    EXPECT_EQ(lone->ContractBoundaryEdge(0, false), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(ReadFile("test_halfmesh_boundary.txt"),
              "Contract boundary edge: endVertex->GetEdge() == contractEdge->GetNext()\n"
              "Contract boundary edge: endVertex->GetEdge() != pairEdge\n"
              "HalfMesh::ContractBoundaryEdge: edge is not on the boundary\n"
              "HalfMesh::ContractBoundaryEdge: the other sides of the triangle are on the boundary\n");
}

TEST(HalfMeshContraction, BoundaryEdgeRefusedAcrossATriangularHole) {
    // A 3 x 3 grid missing the lower triangle of the middle quad: the hole is
    // a triangle, and contracting one of its sides would close it into a
    // two-sided loop.
    TriMesh grid = testmesh::Grid(3, 3);
    TriMesh holed;
    for (int v = 0; v < grid.GetVertexCount(); ++v) holed.InsertVertex(grid.GetVertexCoord(v));
    for (int t = 0; t < grid.GetTriangleCount(); ++t) {
        const int* ids = grid.GetTriangle(t);
        if (t != 8) holed.InsertTriangle(ids[0], ids[1], ids[2]);
    }
    std::unique_ptr<HalfMesh> hm(ORVO::CreateHalfMeshFromITriMesh(&holed));
    const int* gone = grid.GetTriangle(8);
    Edge3D* side = hm->FindEdge(hm->GetVertex(gone[1]), hm->GetVertex(gone[0]));
    ASSERT_NE(side, nullptr);
    ASSERT_NE(side->GetFace(), nullptr);
    EXPECT_EQ(hm->ContractBoundaryEdge(side->GetId(), true), ORVO::STATUS_FAILED);
    EXPECT_EQ(hm->ValidateTopology(), ORVO::STATUS_SUCCESS);
    EXPECT_EQ(hm->GetFaceCount(), holed.GetTriangleCount());
}

// Random inner and boundary contractions, some renumbering and some not: the
// topology stays valid after every step, each contraction removes what it
// should, and the boundary loops and the Euler characteristic are kept. On the
// sphere every contraction is an inner one and the surface stays closed.
TEST(HalfMeshContraction, RandomContractionsKeepTheTopology) {
    const struct {
        const char* name;
        TriMesh mesh;
        int euler, minInner;
    } cases[] = {{"grid with holes", GridWithHoles(), -2, 30}, {"icosphere", testmesh::Icosphere(2), 2, 40}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::unique_ptr<HalfMesh> hm(ORVO::CreateHalfMeshFromITriMesh(&c.mesh));
        const TriangleListCounts start = CountFromTriangles(c.mesh);
        std::mt19937 rng(11);
        int inner = 0, boundary = 0;
        for (int step = 0; step < 400; ++step) {
            int id = static_cast<int>(rng() % hm->GetEdgeCount());
            Edge3D* e = hm->GetEdge(id);
            if (!e) continue;
            bool onBoundary = !e->GetFace() || !e->GetPair()->GetFace();
            bool renumber = step % 7 == 0;
            int rc = onBoundary ? hm->ContractBoundaryEdge(id, renumber) : hm->ContractInnerEdge(id, renumber);
            if (rc == ORVO::STATUS_SUCCESS) ++(onBoundary ? boundary : inner);
            ASSERT_EQ(hm->ValidateTopology(), ORVO::STATUS_SUCCESS) << "step " << step;
        }
        EXPECT_GT(inner, c.minInner);
        if (start.loops > 0) {
            EXPECT_GT(boundary, 10);
        }
        hm->UpdateVertexIndex();
        hm->UpdateEdgeIndex();
        hm->UpdateFaceIndex();
        TriMesh back;
        ASSERT_EQ(ORVO::ConvertHalfMeshToITriMesh(hm.get(), &back), ORVO::STATUS_SUCCESS);
        EXPECT_EQ(back.GetVertexCount(), c.mesh.GetVertexCount() - inner - boundary);
        EXPECT_EQ(back.GetTriangleCount(), c.mesh.GetTriangleCount() - 2 * inner - boundary);
        TriangleListCounts after = CountFromTriangles(back);
        EXPECT_EQ(after.loops, start.loops);
        EXPECT_EQ(after.halfEdges, hm->GetEdgeCount());
        EXPECT_EQ(CountHalfMesh(*hm).boundaryHalfEdges, after.boundaryHalfEdges);
        EXPECT_EQ(EulerOfTriangles(back, after), c.euler);
        ExpectBoundaryLoopsWalkable(*hm, after);
    }
}

}  // namespace
