#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/HalfMesh.h>
#include <QarnUVAtlas/TriMesh.h>

#include "TestMeshes.h"
#include "TestFiles.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <fstream>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <unistd.h>
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

using testfiles::ReadFile;

TriMesh MakeMesh(const std::vector<Vector3>& coords, const std::vector<std::array<int, 3>>& tris) {
    TriMesh mesh;
    for (const Vector3& p : coords) mesh.InsertVertex(p);
    for (const auto& t : tris) mesh.InsertTriangle(t[0], t[1], t[2]);
    return mesh;
}

std::string SharedMeshPath(const std::string& name) {
    std::string path = std::string(QARN_SHARED_DIR) + "/meshes/" + name;
    return access(path.c_str(), R_OK) == 0 ? path : std::string();
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
    std::set<std::pair<int, int>> directed;
    for (int t = 0; t < mesh.GetTriangleCount(); ++t) {
        int ids[3];
        mesh.GetTriangleVertexIds(t, ids);
        for (int k = 0; k < 3; ++k) directed.insert({ids[k], ids[(k + 1) % 3]});
    }
    TriangleListCounts counts;
    std::set<std::pair<int, int>> undirected;
    for (const auto& d : directed) {
        undirected.insert({std::min(d.first, d.second), std::max(d.first, d.second)});
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
        int v = entry.first;
        while (!seen.count(v)) {
            seen.insert(v);
            loop.push_back(v);
            v = counts.boundaryNext.at(v);
        }
        for (int u : loop) counts.loopLengthAt[u] = static_cast<int>(loop.size());
        ++counts.loops;
    }
    return counts;
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

void ExpectSameMesh(const TriMesh& a, const TriMesh& b) {
    ASSERT_EQ(a.GetVertexCount(), b.GetVertexCount());
    ASSERT_EQ(a.GetTriangleCount(), b.GetTriangleCount());
    for (int v = 0; v < a.GetVertexCount(); ++v) {
        EXPECT_EQ(a.GetVertexCoord(v).x, b.GetVertexCoord(v).x);
        EXPECT_EQ(a.GetVertexCoord(v).y, b.GetVertexCoord(v).y);
        EXPECT_EQ(a.GetVertexCoord(v).z, b.GetVertexCoord(v).z);
    }
    for (int t = 0; t < a.GetTriangleCount(); ++t) {
        const int* x = a.GetTriangle(t);
        const int* y = b.GetTriangle(t);
        EXPECT_TRUE(x[0] == y[0] && x[1] == y[1] && x[2] == y[2]) << "triangle " << t;
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
    // Vertices no triangle uses (inside a hole) stay in the mesh without an edge.
    std::set<int> used;
    for (int t = 0; t < mesh.GetTriangleCount(); ++t) used.insert(mesh.GetTriangle(t), mesh.GetTriangle(t) + 3);
    for (int v = 0; v < mesh.GetVertexCount(); ++v) {
        if (!used.count(v)) {
            EXPECT_EQ(hm->GetVertex(v)->GetEdge(), nullptr);
            EXPECT_EQ(hm->GetVertex(v)->GetDegree(), 0);
        }
    }
    EXPECT_EQ(static_cast<int>(used.size()) - expected.undirectedEdges + mesh.GetTriangleCount(), expectedEuler);
    EXPECT_EQ(hm->ValidateTopology(), ORVO::STATUS_SUCCESS);
    ExpectBoundaryLoopsWalkable(*hm, expected);
    // Valences summed over the vertices count every undirected edge twice.
    long long valenceSum = 0;
    for (int v = 0; v < hm->GetVertexCount(); ++v) valenceSum += hm->GetVertex(v)->GetDegree();
    EXPECT_EQ(valenceSum, 2LL * expected.undirectedEdges);
    TriMesh back;
    ASSERT_EQ(ORVO::ConvertHalfMeshToITriMesh(hm.get(), &back), ORVO::STATUS_SUCCESS);
    ExpectSameMesh(mesh, back);
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

TEST(HalfMeshBuild, SingleTriangle) {
    TriMesh mesh = MakeMesh({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 1, 2}});
    std::unique_ptr<HalfMesh> hm(ORVO::CreateHalfMeshFromITriMesh(&mesh));
    ASSERT_NE(hm, nullptr);
    EXPECT_EQ(hm->GetVertexCount(), 3);
    EXPECT_EQ(hm->GetEdgeCount(), 6);
    EXPECT_EQ(hm->GetFaceCount(), 1);
    int withFace = 0;
    for (int i = 0; i < 6; ++i) {
        const Edge3D* e = hm->GetEdge(i);
        EXPECT_EQ(e->GetId(), i);
        ASSERT_NE(e->GetPair(), nullptr);
        EXPECT_EQ(e->GetPair()->GetPair(), e);
        if (e->GetFace()) {
            ++withFace;
            EXPECT_EQ(e->GetFace(), hm->GetFace(0));
        } else {
            EXPECT_EQ(e->GetNext(), nullptr);
            EXPECT_EQ(e->GetPre(), nullptr);
        }
    }
    EXPECT_EQ(withFace, 3);
    for (int v = 0; v < 3; ++v) {
        const Vertex3D* vertex = hm->GetVertex(v);
        EXPECT_EQ(vertex->GetId(), v);
        EXPECT_EQ(vertex->GetEdgeMapId(), v);
        ASSERT_NE(vertex->GetEdge(), nullptr);
        EXPECT_EQ(vertex->GetEdge()->GetFace(), nullptr);
        EXPECT_EQ(HalfMesh::GetStartVertex(vertex->GetEdge()), vertex);
        EXPECT_EQ(vertex->GetDegree(), 2);
    }
    // The face's edge runs from the last corner to the first.
    const Edge3D* fe = hm->GetFace(0)->GetEdge();
    EXPECT_EQ(fe->GetVertex()->GetId(), 0);
    EXPECT_EQ(HalfMesh::GetStartVertex(fe)->GetId(), 2);
    int ids[3] = {-1, -1, -1};
    ASSERT_EQ(hm->GetTriangleVertexIds(0, ids), ORVO::STATUS_SUCCESS);
    EXPECT_EQ(ids[0], 0);
    EXPECT_EQ(ids[1], 1);
    EXPECT_EQ(ids[2], 2);
    EXPECT_EQ(hm->GetFace(0)->GetUniqueId(), 0);
    EXPECT_EQ(hm->ValidateTopology(), ORVO::STATUS_SUCCESS);
}

TEST(HalfMeshBuild, TwoTrianglesSharingAnEdgeInOppositeDirections) {
    TriMesh mesh = MakeMesh({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}}, {{0, 1, 2}, {2, 1, 3}});
    std::unique_ptr<HalfMesh> hm(ORVO::CreateHalfMeshFromITriMesh(&mesh));
    ASSERT_NE(hm, nullptr);
    EXPECT_EQ(hm->GetEdgeCount(), 10);
    const Edge3D* e12 = hm->FindEdge(hm->GetVertex(1), hm->GetVertex(2));
    const Edge3D* e21 = hm->FindEdge(hm->GetVertex(2), hm->GetVertex(1));
    ASSERT_NE(e12, nullptr);
    ASSERT_NE(e21, nullptr);
    EXPECT_EQ(e12->GetPair(), e21);
    EXPECT_EQ(e12->GetFace(), hm->GetFace(0));
    EXPECT_EQ(e21->GetFace(), hm->GetFace(1));
    CheckAgainstTriangles(mesh, 1, 1);
}

TEST(HalfMeshBuild, SameDirectedEdgeTwiceIsTakenOverByTheSecondFace) {
    // Both triangles use 0 -> 1: the second reuses the first one's half-edge.
    TriMesh mesh = MakeMesh({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, -1, 0}}, {{0, 1, 2}, {0, 1, 3}});
    std::unique_ptr<HalfMesh> hm(ORVO::CreateHalfMeshFromITriMesh(&mesh));
    ASSERT_NE(hm, nullptr);
    const Edge3D* e01 = hm->FindEdge(hm->GetVertex(0), hm->GetVertex(1));
    ASSERT_NE(e01, nullptr);
    EXPECT_EQ(e01->GetFace(), hm->GetFace(1));
    EXPECT_EQ(e01->GetPair()->GetFace(), nullptr);
    // 5 undirected sides, one half-edge per direction.
    EXPECT_EQ(hm->GetEdgeCount(), 10);
    EXPECT_EQ(hm->ValidateTopology(), ORVO::STATUS_FAILED);
}

TEST(HalfMeshBuild, NonManifoldFanOfThreeTriangles) {
    TriMesh mesh = MakeMesh({{0, 0, 0}, {1, 0, 0}, {0.5, 1, 0}, {0.5, -1, 0}, {0.5, 0, 1}},
                            {{0, 1, 2}, {1, 0, 3}, {0, 1, 4}});
    std::unique_ptr<HalfMesh> hm(ORVO::CreateHalfMeshFromITriMesh(&mesh));
    ASSERT_NE(hm, nullptr);
    TriangleListCounts expected = CountFromTriangles(mesh);
    HalfMeshCounts got = CountHalfMesh(*hm);
    EXPECT_EQ(got.vertices, 5);
    EXPECT_EQ(got.faces, 3);
    EXPECT_EQ(got.halfEdges, expected.halfEdges);
    EXPECT_EQ(got.halfEdges, 14);
    EXPECT_EQ(got.boundaryHalfEdges, expected.boundaryHalfEdges);
    EXPECT_EQ(got.boundaryHalfEdges, 6);
    // The third triangle took 0 -> 1 from the first one.
    EXPECT_EQ(hm->FindEdge(hm->GetVertex(0), hm->GetVertex(1))->GetFace(), hm->GetFace(2));
    EXPECT_EQ(hm->FindEdge(hm->GetVertex(1), hm->GetVertex(0))->GetFace(), hm->GetFace(1));
    EXPECT_EQ(hm->ValidateTopology(), ORVO::STATUS_FAILED);
    // Only the faces whose cycles survived come back.
    TriMesh back;
    ASSERT_EQ(ORVO::ConvertHalfMeshToITriMesh(hm.get(), &back), ORVO::STATUS_SUCCESS);
    ASSERT_EQ(back.GetTriangleCount(), 2);
    EXPECT_EQ(std::vector<int>(back.GetTriangle(0), back.GetTriangle(0) + 3), (std::vector<int>{1, 0, 3}));
    EXPECT_EQ(std::vector<int>(back.GetTriangle(1), back.GetTriangle(1) + 3), (std::vector<int>{0, 1, 4}));
}

TEST(HalfMeshBuild, InsertFaceWithTwoCornersChangesNothing) {
    HalfMesh hm;
    Vertex3D* a = hm.InsertVertex(Vector3(0, 0, 0));
    Vertex3D* b = hm.InsertVertex(Vector3(1, 0, 0), Vector3(0, 0, 1));
    EXPECT_EQ(b->GetNormal().z, 1.0);
    EXPECT_EQ(a->GetNormal().Length(), 0.0);
    EXPECT_EQ(hm.InsertFace(std::vector<Vertex3D*>{a, b}), nullptr);
    EXPECT_EQ(hm.GetEdgeCount(), 0);
    EXPECT_EQ(hm.GetFaceCount(), 0);
    EXPECT_EQ(a->GetEdge(), nullptr);
    Vertex3D* c = hm.InsertVertex(Vector3(0, 1, 0));
    Face3D* f = hm.InsertFace(std::vector<Vertex3D*>{a, b, c});
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(f->GetId(), 0);
    EXPECT_EQ(f->GetNormal().Length(), 0.0);
}

TEST(HalfMeshBuild, InsertEdgeReusesAndRejects) {
    ORVO::LogSystem::SetLogFileName("test_halfmesh_insertedge.txt");
    HalfMesh hm;
    Vertex3D* a = hm.InsertVertex(Vector3(0, 0, 0));
    Vertex3D* b = hm.InsertVertex(Vector3(1, 0, 0));
    Edge3D* ab = hm.InsertEdge(a, b);
    ASSERT_NE(ab, nullptr);
    EXPECT_EQ(ab->GetId(), 0);
    EXPECT_EQ(ab->GetVertex(), b);
    EXPECT_EQ(ab->GetPair(), nullptr);
    EXPECT_EQ(a->GetEdge(), ab);
    EXPECT_EQ(hm.InsertEdge(a, b), ab);
    Edge3D* ba = hm.InsertEdge(b, a);
    EXPECT_EQ(ba->GetId(), 1);
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

TEST(HalfMeshBuild, NullArgumentsAreLogged) {
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
}

TEST(HalfMeshBuild, TriangleWithVertexOutOfRangeGivesNull) {
    TriMesh mesh = MakeMesh({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 1, 5}});
    EXPECT_EQ(ORVO::CreateHalfMeshFromITriMesh(&mesh), nullptr);
}

TEST(HalfMeshBuild, PolygonFacesConvertAsFans) {
    HalfMesh hm;
    std::vector<Vertex3D*> quad;
    for (int i = 0; i < 4; ++i) quad.push_back(hm.InsertVertex(Vector3(i % 2, i / 2, 0)));
    std::swap(quad[2], quad[3]);  // corners in cyclic order
    ASSERT_NE(hm.InsertFace(quad), nullptr);
    hm.SetBoundaryVertexEdge(nullptr);
    EXPECT_EQ(hm.ValidateTopology(), ORVO::STATUS_SUCCESS);
    TriMesh back;
    ASSERT_EQ(ORVO::ConvertHalfMeshToITriMesh(&hm, &back), ORVO::STATUS_SUCCESS);
    ASSERT_EQ(back.GetTriangleCount(), 2);
    // Fan from the first corner (the vertex the face's edge points to).
    EXPECT_EQ(std::vector<int>(back.GetTriangle(0), back.GetTriangle(0) + 3), (std::vector<int>{0, 1, 3}));
    EXPECT_EQ(std::vector<int>(back.GetTriangle(1), back.GetTriangle(1) + 3), (std::vector<int>{0, 3, 2}));
}

// ---------------------------------------------------------------------------
// Whole surfaces

TEST(HalfMeshSurfaces, ClosedIcosphere) { CheckAgainstTriangles(testmesh::Icosphere(3), 0, 2); }

TEST(HalfMeshSurfaces, ClosedTorus) { CheckAgainstTriangles(testmesh::Torus(24, 12), 0, 0); }

TEST(HalfMeshSurfaces, GridWithHoles) {
    TriMesh mesh = GridWithHoles();
    // The 2 x 3 quad hole leaves two vertices that no triangle uses.
    ASSERT_EQ(mesh.GetVertexCount(), 13 * 13);
    // A disc with three holes: four boundary loops, Euler characteristic -2.
    CheckAgainstTriangles(mesh, 4, -2);
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
    for (int v = 0; v < hm->GetVertexCount(); ++v) {
        EXPECT_EQ(hm->GetVertex(v)->GetCoord().x, grid.GetVertexCoord(idMap[v]).x);
        EXPECT_EQ(hm->GetVertex(v)->GetCoord().y, grid.GetVertexCoord(idMap[v]).y);
    }
    for (int f = 0; f < hm->GetFaceCount(); ++f) {
        int local[3];
        ASSERT_EQ(hm->GetTriangleVertexIds(f, local), ORVO::STATUS_SUCCESS);
        const int* old = grid.GetTriangle(ids[f]);
        for (int k = 0; k < 3; ++k) EXPECT_EQ(idMap[local[k]], old[k]);
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
    struct Case {
        const char* name;
        int loops;
    };
    const Case cases[] = {{"torus.obj", 0}, {"bunny.obj", 5}, {"tower_holes.obj", 38}};
    int ran = 0;
    for (const Case& c : cases) {
        std::string path = SharedMeshPath(c.name);
        if (path.empty()) continue;
        SCOPED_TRACE(c.name);
        TriMesh mesh;
        ASSERT_TRUE(testmesh::LoadObj(path, mesh));
        std::unique_ptr<HalfMesh> hm(ORVO::CreateHalfMeshFromITriMesh(&mesh));
        ASSERT_NE(hm, nullptr);
        TriangleListCounts expected = CountFromTriangles(mesh);
        EXPECT_EQ(expected.loops, c.loops);
        HalfMeshCounts got = CountHalfMesh(*hm);
        EXPECT_EQ(got.vertices, mesh.GetVertexCount());
        EXPECT_EQ(got.faces, mesh.GetTriangleCount());
        EXPECT_EQ(got.halfEdges, expected.halfEdges);
        EXPECT_EQ(got.boundaryHalfEdges, expected.boundaryHalfEdges);
        EXPECT_EQ(hm->ValidateTopology(), ORVO::STATUS_SUCCESS);
        ExpectBoundaryLoopsWalkable(*hm, expected);
        TriMesh back;
        ASSERT_EQ(ORVO::ConvertHalfMeshToITriMesh(hm.get(), &back), ORVO::STATUS_SUCCESS);
        ExpectSameMesh(mesh, back);
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
            int ids[3];
            hm->GetTriangleVertexIds(f, ids);
            Vector3 centroid = (sphere.GetVertexCoord(ids[0]) + sphere.GetVertexCoord(ids[1]) +
                                sphere.GetVertexCoord(ids[2])) / 3.0;
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

TEST(HalfMeshMaintenance, UpdateIndexRenumbersAfterRemovals) {
    TriMesh sphere = testmesh::Icosphere(2);
    std::unique_ptr<HalfMesh> hm(ORVO::CreateHalfMeshFromITriMesh(&sphere));
    const int vertices = hm->GetVertexCount();
    const int edges = hm->GetEdgeCount();
    const int faces = hm->GetFaceCount();
    std::vector<int> uniqueIds;
    for (int f = 0; f < faces; ++f) uniqueIds.push_back(hm->GetFace(f)->GetUniqueId());
    // Contract without renumbering: the slots of the removed elements are null.
    ASSERT_EQ(hm->ContractInnerEdge(0, false), ORVO::STATUS_SUCCESS);
    EXPECT_EQ(hm->GetVertexCount(), vertices);
    EXPECT_EQ(hm->GetEdgeCount(), edges);
    EXPECT_EQ(hm->ValidateTopology(), ORVO::STATUS_SUCCESS);
    HalfMeshCounts counts = CountHalfMesh(*hm);
    EXPECT_EQ(counts.vertices, vertices - 1);
    EXPECT_EQ(counts.halfEdges, edges - 6);
    EXPECT_EQ(counts.faces, faces - 2);
    hm->UpdateVertexIndex();
    hm->UpdateEdgeIndex();
    hm->UpdateFaceIndex();
    EXPECT_EQ(hm->GetVertexCount(), vertices - 1);
    EXPECT_EQ(hm->GetEdgeCount(), edges - 6);
    EXPECT_EQ(hm->GetFaceCount(), faces - 2);
    for (int i = 0; i < hm->GetVertexCount(); ++i) EXPECT_EQ(hm->GetVertex(i)->GetId(), i);
    for (int i = 0; i < hm->GetEdgeCount(); ++i) EXPECT_EQ(hm->GetEdge(i)->GetId(), i);
    // Unique ids survive and keep their order.
    int previous = -1;
    for (int f = 0; f < hm->GetFaceCount(); ++f) {
        EXPECT_EQ(hm->GetFace(f)->GetId(), f);
        EXPECT_GT(hm->GetFace(f)->GetUniqueId(), previous);
        previous = hm->GetFace(f)->GetUniqueId();
    }
    EXPECT_EQ(hm->ValidateTopology(), ORVO::STATUS_SUCCESS);
    // A new face continues the unique id counter.
    Face3D* extra = hm->InsertFace(std::vector<Vertex3D*>{hm->InsertVertex(Vector3(5, 0, 0)),
                                                          hm->InsertVertex(Vector3(6, 0, 0)),
                                                          hm->InsertVertex(Vector3(5, 1, 0))});
    ASSERT_NE(extra, nullptr);
    EXPECT_EQ(extra->GetUniqueId(), faces);
    EXPECT_EQ(hm->GetVertex(hm->GetVertexCount() - 1)->GetEdgeMapId(), vertices + 2);
}

// ---------------------------------------------------------------------------
// Contractions

TEST(HalfMeshContraction, InnerEdgesOfASphereKeepItClosed) {
    TriMesh sphere = testmesh::Icosphere(2);
    std::unique_ptr<HalfMesh> hm(ORVO::CreateHalfMeshFromITriMesh(&sphere));
    int done = 0;
    for (int round = 0; round < 40; ++round) {
        // Contract the first half-edge whose contraction is allowed.
        for (int e = 0; e < hm->GetEdgeCount(); ++e) {
            if (hm->ContractInnerEdge(e, true) == ORVO::STATUS_SUCCESS) {
                ++done;
                break;
            }
        }
        ASSERT_EQ(hm->ValidateTopology(), ORVO::STATUS_SUCCESS) << "after " << done << " contractions";
    }
    EXPECT_EQ(done, 40);
    TriMesh back;
    ASSERT_EQ(ORVO::ConvertHalfMeshToITriMesh(hm.get(), &back), ORVO::STATUS_SUCCESS);
    EXPECT_EQ(back.GetVertexCount(), sphere.GetVertexCount() - 40);
    EXPECT_EQ(back.GetTriangleCount(), sphere.GetTriangleCount() - 80);
    TriangleListCounts counts = CountFromTriangles(back);
    EXPECT_EQ(counts.boundaryHalfEdges, 0);
    EXPECT_EQ(back.GetVertexCount() - counts.undirectedEdges + back.GetTriangleCount(), 2);
    EXPECT_EQ(counts.halfEdges, hm->GetEdgeCount());
}

TEST(HalfMeshContraction, InnerEdgeKeepsTheEndVertex) {
    TriMesh grid = testmesh::Grid(4, 4);
    std::unique_ptr<HalfMesh> hm(ORVO::CreateHalfMeshFromITriMesh(&grid));
    // 6 -> 12 is the diagonal of an inner quad; both ends are inside.
    Vertex3D* start = hm->GetVertex(6);
    Vertex3D* end = hm->GetVertex(12);
    Edge3D* e = hm->FindEdge(start, end);
    ASSERT_NE(e, nullptr);
    Vector3 kept = end->GetCoord();
    ASSERT_EQ(hm->ContractInnerEdge(e->GetId(), false), ORVO::STATUS_SUCCESS);
    EXPECT_EQ(hm->GetVertex(6), nullptr);
    EXPECT_EQ(hm->GetVertex(12), end);
    EXPECT_EQ(end->GetCoord().x, kept.x);
    EXPECT_EQ(end->GetCoord().y, kept.y);
    // The neighbours of the removed vertex are now neighbours of the kept one.
    for (int n : {1, 5, 7}) EXPECT_NE(hm->FindEdge(end, hm->GetVertex(n)), nullptr) << n;
    for (int n : {1, 5, 7}) EXPECT_NE(hm->FindEdge(hm->GetVertex(n), end), nullptr) << n;
    EXPECT_EQ(hm->ValidateTopology(), ORVO::STATUS_SUCCESS);
    TriangleListCounts expected;
    hm->UpdateVertexIndex();
    hm->UpdateEdgeIndex();
    hm->UpdateFaceIndex();
    TriMesh back;
    ASSERT_EQ(ORVO::ConvertHalfMeshToITriMesh(hm.get(), &back), ORVO::STATUS_SUCCESS);
    expected = CountFromTriangles(back);
    EXPECT_EQ(expected.loops, 1);
    EXPECT_EQ(back.GetVertexCount() - expected.undirectedEdges + back.GetTriangleCount(), 1);
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
    Vertex3D* a = loose.InsertVertex(Vector3());
    Vertex3D* b = loose.InsertVertex(Vector3(1, 0, 0));
    loose.InsertEdge(a, b);
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
    EXPECT_EQ(CountHalfMesh(*hm).faces, 4);
    EXPECT_EQ(CountHalfMesh(*hm).vertices, 4);
    // What is left is a tetrahedron: every vertex has valence 3.
    for (int v = 0; v < hm->GetVertexCount(); ++v) EXPECT_EQ(hm->GetVertex(v)->GetDegree(), 3);
}

TEST(HalfMeshContraction, BoundaryEdgeShortensTheLoop) {
    TriMesh mesh = GridWithHoles();
    std::unique_ptr<HalfMesh> hm(ORVO::CreateHalfMeshFromITriMesh(&mesh));
    TriangleListCounts before = CountFromTriangles(mesh);
    // A border half-edge of the outer loop along the bottom row: 2 -> 3 has the face.
    Edge3D* e = hm->FindEdge(hm->GetVertex(2), hm->GetVertex(3));
    ASSERT_NE(e, nullptr);
    ASSERT_NE(e->GetFace(), nullptr);
    ASSERT_EQ(e->GetPair()->GetFace(), nullptr);
    // Either half names the edge; the boundary half is given here.
    ASSERT_EQ(hm->ContractBoundaryEdge(e->GetPair()->GetId(), true), ORVO::STATUS_SUCCESS);
    EXPECT_EQ(hm->ValidateTopology(), ORVO::STATUS_SUCCESS);
    TriMesh back;
    ASSERT_EQ(ORVO::ConvertHalfMeshToITriMesh(hm.get(), &back), ORVO::STATUS_SUCCESS);
    TriangleListCounts after = CountFromTriangles(back);
    EXPECT_EQ(back.GetVertexCount(), mesh.GetVertexCount() - 1);
    EXPECT_EQ(back.GetTriangleCount(), mesh.GetTriangleCount() - 1);
    EXPECT_EQ(after.loops, before.loops);
    EXPECT_EQ(after.boundaryHalfEdges, before.boundaryHalfEdges - 1);
    ExpectBoundaryLoopsWalkable(*hm, after);
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
        if (t == 8) continue;
        const int* ids = grid.GetTriangle(t);
        holed.InsertTriangle(ids[0], ids[1], ids[2]);
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

TEST(HalfMeshContraction, RandomContractionsKeepTheTopology) {
    TriMesh mesh = GridWithHoles();
    std::unique_ptr<HalfMesh> hm(ORVO::CreateHalfMeshFromITriMesh(&mesh));
    const TriangleListCounts start = CountFromTriangles(mesh);
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
    EXPECT_GT(inner, 30);
    EXPECT_GT(boundary, 10);
    hm->UpdateVertexIndex();
    hm->UpdateEdgeIndex();
    hm->UpdateFaceIndex();
    TriMesh back;
    ASSERT_EQ(ORVO::ConvertHalfMeshToITriMesh(hm.get(), &back), ORVO::STATUS_SUCCESS);
    EXPECT_EQ(back.GetVertexCount(), mesh.GetVertexCount() - inner - boundary);
    EXPECT_EQ(back.GetTriangleCount(), mesh.GetTriangleCount() - 2 * inner - boundary);
    TriangleListCounts after = CountFromTriangles(back);
    EXPECT_EQ(after.loops, start.loops);
    EXPECT_EQ(CountHalfMesh(*hm).boundaryHalfEdges, after.boundaryHalfEdges);
    std::set<int> used;
    for (int t = 0; t < back.GetTriangleCount(); ++t) used.insert(back.GetTriangle(t), back.GetTriangle(t) + 3);
    EXPECT_EQ(static_cast<int>(used.size()) - after.undirectedEdges + back.GetTriangleCount(), -2);
    ExpectBoundaryLoopsWalkable(*hm, after);
}

}  // namespace
