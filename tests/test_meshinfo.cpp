#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/MeshInfo.h>
#include <QarnUVAtlas/MeshQuery.h>
#include <QarnUVAtlas/TriMesh.h>

#include "TestMeshes.h"
#include "TestFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

using ORVO::EdgeInfo;
using ORVO::ITriMesh;
using ORVO::TopologyMesh;
using ORVO::TriMesh;
using ORVO::TriMeshInfo;
using ORVO::Vector3;

namespace {

using testfiles::ReadFile;

TriMesh MakeMesh(int vertexCount, const std::vector<std::array<int, 3>>& tris) {
    TriMesh mesh;
    for (int v = 0; v < vertexCount; ++v) mesh.InsertVertex(Vector3(v, v % 3, 0.5 * v));
    for (const auto& t : tris) mesh.InsertTriangle(t[0], t[1], t[2]);
    return mesh;
}

std::pair<int, int> Ends(const EdgeInfo& e) { return {e.GetVertexId(0), e.GetVertexId(1)}; }

// The edge list by the obvious method: a std::map from the sorted pair.
// Edges come in order of first appearance, each with its triangles in order.
std::vector<std::pair<std::pair<int, int>, std::vector<int>>> ReferenceEdges(const ITriMesh& mesh) {
    std::map<std::pair<int, int>, size_t> index;
    std::vector<std::pair<std::pair<int, int>, std::vector<int>>> edges;
    for (int t = 0; t < mesh.GetTriangleCount(); ++t) {
        int ids[3];
        mesh.GetTriangleVertexIds(t, ids);
        for (int k = 0; k < 3; ++k) {
            std::pair<int, int> key = std::minmax(ids[k], ids[(k + 1) % 3]);
            auto found = index.emplace(key, edges.size());
            if (found.second) edges.push_back({key, {}});
            edges[found.first->second].second.push_back(t);
        }
    }
    return edges;
}

void ExpectMatchesReference(const ITriMesh& mesh) {
    // Stale entries in the output must not survive.
    std::vector<EdgeInfo> edges(3, EdgeInfo(8, 9));
    std::vector<std::map<int, int>> maps;
    ASSERT_EQ(ORVO::ConstructEdgeInfo(&mesh, edges, &maps), ORVO::STATUS_SUCCESS);
    auto reference = ReferenceEdges(mesh);
    ASSERT_EQ(edges.size(), reference.size());
    for (size_t i = 0; i < edges.size(); ++i) {
        EXPECT_EQ(Ends(edges[i]), reference[i].first) << "edge " << i;
        EXPECT_EQ(edges[i].GetTriangleIds(), reference[i].second) << "edge " << i;
    }
    // Without the map argument the list is the same.
    std::vector<EdgeInfo> again;
    ASSERT_EQ(ORVO::ConstructEdgeInfo(&mesh, again, nullptr), ORVO::STATUS_SUCCESS);
    ASSERT_EQ(again.size(), edges.size());
    for (size_t i = 0; i < again.size(); ++i) EXPECT_EQ(Ends(again[i]), Ends(edges[i])) << "edge " << i;
    ASSERT_EQ(static_cast<int>(maps.size()), mesh.GetVertexCount());
    size_t entries = 0;
    for (int v = 0; v < mesh.GetVertexCount(); ++v) {
        for (const auto& kv : maps[v]) {
            const EdgeInfo& e = edges[kv.second];
            EXPECT_TRUE((e.GetVertexId(0) == v && e.GetVertexId(1) == kv.first) ||
                        (e.GetVertexId(1) == v && e.GetVertexId(0) == kv.first));
        }
        entries += maps[v].size();
    }
    size_t loops = 0;
    for (const EdgeInfo& e : edges) loops += e.GetVertexId(0) == e.GetVertexId(1);
    EXPECT_EQ(entries, 2 * edges.size() - loops);
}

// ---------------------------------------------------------------------------
// EdgeInfo and ConstructEdgeInfo

TEST(EdgeInfo, StoresTheSmallerIdFirst) {
    EdgeInfo e(7, 3);
    EXPECT_EQ(Ends(e), std::make_pair(3, 7));
    EXPECT_TRUE(e.GetTriangleIds().empty());
    e.SetVertexIds(9, 2);
    EXPECT_EQ(Ends(e), std::make_pair(2, 9));
    e.AddTriangleId(4);
    EXPECT_TRUE(e.IsBoundary());
    e.AddTriangleId(5);
    e.AddTriangleId(6);
    EXPECT_TRUE(e.IsNonManifold());
}

TEST(ConstructEdgeInfo, RejectsNullAndTooSmallMeshes) {
    ORVO::LogSystem::SetLogFileName("test_meshinfo_construct.txt");
    std::vector<EdgeInfo> edges(2);
    EXPECT_EQ(ORVO::ConstructEdgeInfo(nullptr, edges, nullptr), ORVO::STATUS_INVALID_INPUT);
    TriMesh two = MakeMesh(2, {{0, 1, 1}});
    EXPECT_EQ(ORVO::ConstructEdgeInfo(&two, edges, nullptr), ORVO::STATUS_INVALID_INPUT);
    TriMesh bare = MakeMesh(5, {});
    EXPECT_EQ(ORVO::ConstructEdgeInfo(&bare, edges, nullptr), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(edges.size(), 2u);
    EXPECT_EQ(ReadFile("test_meshinfo_construct.txt"),
              "ConstructEdgeInfo: input triMesh is NULL\n"
              "ConstructEdgeInfo: invalid input vertexCount < 3 || faceCount < 1\n"
              "ConstructEdgeInfo: invalid input vertexCount < 3 || faceCount < 1\n");
}

TEST(ConstructEdgeInfo, AgreesWithAMapBuiltEdgeList) {
    // Edge 1-2 is shared, in opposite directions.
    ExpectMatchesReference(MakeMesh(4, {{0, 1, 2}, {2, 1, 3}}));
    // Any mesh interface will do.
    ExpectMatchesReference(TopologyMesh(4, {0, 1, 2, 2, 1, 3}));
    ExpectMatchesReference(testmesh::Icosphere(2));
    ExpectMatchesReference(testmesh::Torus(20, 10));
    ExpectMatchesReference(testmesh::Grid(9, 7));
    // Random soup: repeated, non-manifold and degenerate triangles and a hub
    // vertex with a large bucket.
    std::mt19937 rng(7);
    std::uniform_int_distribution<int> pick(0, 39);
    std::vector<std::array<int, 3>> tris;
    for (int i = 0; i < 400; ++i) tris.push_back({pick(rng), pick(rng), pick(rng)});
    for (int i = 1; i < 39; ++i) tris.push_back({0, i, i + 1});
    tris.push_back({5, 5, 5});
    ExpectMatchesReference(MakeMesh(40, tris));
}

// ---------------------------------------------------------------------------
// TriMeshInfo

TEST(TriMeshInfo, EdgeCacheIsKeptAndCheckedAgainstTheMesh) {
    ORVO::LogSystem::SetLogFileName("test_meshinfo_edgecache.txt");
    TriMesh mesh = MakeMesh(4, {{0, 1, 2}, {2, 1, 3}});
    TriMeshInfo info;
    EXPECT_EQ(info.CacheDataForEdgeInfos(nullptr, false), ORVO::STATUS_INVALID_INPUT);
    ASSERT_EQ(info.CacheDataForEdgeInfos(&mesh, false), ORVO::STATUS_SUCCESS);
    EXPECT_FALSE(info.IsOneWayEdgeInfo());
    ASSERT_EQ(info.GetEdgeInfoList().size(), 5u);
    // A second call keeps the cache as it is: the mark stays.
    info.GetEdgeInfoList()[0].AddTriangleId(77);
    EXPECT_EQ(info.CacheDataForEdgeInfos(&mesh, false), ORVO::STATUS_SUCCESS);
    EXPECT_EQ(info.GetEdgeInfoList()[0].GetTriangleIds().back(), 77);
    // The mesh grows without a clear.
    mesh.InsertVertex(Vector3(3, 3, 3));
    EXPECT_EQ(info.CacheDataForEdgeInfos(&mesh, false), ORVO::STATUS_FAILED);
    info.ClearDataForEdgeInfos();
    EXPECT_TRUE(info.GetEdgeInfoList().empty());
    EXPECT_TRUE(info.GetVertexEdgeMap().empty());
    EXPECT_EQ(info.CacheDataForEdgeInfos(&mesh, false), ORVO::STATUS_SUCCESS);
    EXPECT_EQ(info.GetVertexEdgeMap().size(), 5u);
    EXPECT_EQ(ReadFile("test_meshinfo_edgecache.txt"),
              "TriMeshInfo::CacheDataForEdgeInfos: triMesh == NULL\n"
              "TriMeshInfo::CacheDataForEdgeInfos: mVertexEdgeMap.size() != triMesh->GetVertexCount(): 4 5\n");
}

TEST(TriMeshInfo, OneWayMapListsEachEdgeUnderItsSmallerEnd) {
    TriMesh sphere = testmesh::Icosphere(2);
    TriMeshInfo info;
    ASSERT_EQ(info.CacheDataForEdgeInfos(&sphere, true), ORVO::STATUS_SUCCESS);
    EXPECT_TRUE(info.IsOneWayEdgeInfo());
    const auto& edges = info.GetEdgeInfoList();
    size_t entries = 0;
    for (int v = 0; v < sphere.GetVertexCount(); ++v) {
        for (const auto& kv : info.GetVertexEdgeMap()[v]) {
            EXPECT_GT(kv.first, v);
            EXPECT_EQ(Ends(edges[kv.second]), std::make_pair(v, kv.first));
        }
        entries += info.GetVertexEdgeMap()[v].size();
    }
    EXPECT_EQ(entries, edges.size());
    // Asking for the two-way variant rebuilds with both ends.
    ASSERT_EQ(info.CacheDataForEdgeInfos(&sphere, false), ORVO::STATUS_SUCCESS);
    EXPECT_FALSE(info.IsOneWayEdgeInfo());
    entries = 0;
    for (const auto& map : info.GetVertexEdgeMap()) entries += map.size();
    EXPECT_EQ(entries, 2 * edges.size());
}

TEST(TriMeshInfo, VertexNeighbourVertices) {
    ORVO::LogSystem::SetLogFileName("test_meshinfo_nbrvertex.txt");
    TriMesh sphere = testmesh::Icosphere(2);
    TriMeshInfo info;
    EXPECT_EQ(info.CacheDataForVertexNbrVertexMaps(nullptr), ORVO::STATUS_INVALID_INPUT);
    ASSERT_EQ(info.CacheDataForVertexNbrVertexMaps(&sphere), ORVO::STATUS_SUCCESS);
    const auto& nbrs = info.GetVertexNbrVertexMap();
    ASSERT_EQ(static_cast<int>(nbrs.size()), sphere.GetVertexCount());
    size_t total = 0;
    for (int v = 0; v < sphere.GetVertexCount(); ++v) {
        // An icosphere has valence 5 at the twelve original corners, 6 elsewhere.
        EXPECT_EQ(nbrs[v].size(), v < 12 ? 5u : 6u);
        EXPECT_EQ(nbrs[v].count(v), 0u);
        for (int n : nbrs[v]) EXPECT_EQ(nbrs[n].count(v), 1u);
        total += nbrs[v].size();
    }
    // Each edge is seen from both ends; on a closed surface 2E = 3F.
    EXPECT_EQ(total, 3u * sphere.GetTriangleCount());
    EXPECT_EQ(info.CacheDataForVertexNbrVertexMaps(&sphere), ORVO::STATUS_SUCCESS);
    sphere.InsertVertex(Vector3());
    EXPECT_EQ(info.CacheDataForVertexNbrVertexMaps(&sphere), ORVO::STATUS_FAILED);
    info.ClearDataForVertexNbrVertexMaps();
    EXPECT_EQ(info.CacheDataForVertexNbrVertexMaps(&sphere), ORVO::STATUS_SUCCESS);
    EXPECT_TRUE(info.GetVertexNbrVertexMap().back().empty());
    EXPECT_EQ(ReadFile("test_meshinfo_nbrvertex.txt"),
              "TriMeshInfo::CacheDataForVertexNbrVertexMaps: triMesh == NULL\n"
              "TriMeshInfo::CacheDataForVertexNbrVertexMaps: mVertexNbrVertexMap.size() != "
              "triMesh->GetVertexCount(): 162 163\n");
}

TEST(TriMeshInfo, VertexNeighbourFaces) {
    ORVO::LogSystem::SetLogFileName("test_meshinfo_nbrface.txt");
    TriMesh grid = testmesh::Grid(5, 4);
    // A degenerate triangle names vertex 0 twice; it is listed once.
    grid.InsertTriangle(0, 0, 1);
    TriMeshInfo info;
    EXPECT_EQ(info.CacheDataForVertexNbrFaceMaps(nullptr), ORVO::STATUS_INVALID_INPUT);
    ASSERT_EQ(info.CacheDataForVertexNbrFaceMaps(&grid), ORVO::STATUS_SUCCESS);
    const auto& lists = info.GetVertexNbrFaceMap();
    ASSERT_EQ(static_cast<int>(lists.size()), grid.GetVertexCount());
    for (int v = 0; v < grid.GetVertexCount(); ++v) {
        EXPECT_TRUE(std::is_sorted(lists[v].begin(), lists[v].end()));
        EXPECT_EQ(std::adjacent_find(lists[v].begin(), lists[v].end()), lists[v].end());
        for (int t : lists[v]) EXPECT_NE(std::count(grid.GetTriangle(t), grid.GetTriangle(t) + 3, v), 0) << v << " " << t;
    }
    // Each triangle is found at each of its distinct corners.
    size_t total = 0;
    for (const auto& list : lists) total += list.size();
    EXPECT_EQ(total, 3u * (grid.GetTriangleCount() - 1) + 2u);
    int last = grid.GetTriangleCount() - 1;
    EXPECT_EQ(lists[0].back(), last);
    grid.InsertVertex(Vector3());
    EXPECT_EQ(info.CacheDataForVertexNbrFaceMaps(&grid), ORVO::STATUS_FAILED);
    EXPECT_EQ(ReadFile("test_meshinfo_nbrface.txt"),
              "TriMeshInfo::CacheDataForVertexNbrFaceMaps: triMesh == NULL\n"
              "TriMeshInfo::CacheDataForVertexNbrFaceMaps: mVertexNbrFaceMap.size() != "
              "triMesh->GetVertexCount(): 30 31\n");
}

TEST(TriMeshInfo, FaceNeighbourFaces) {
    ORVO::LogSystem::SetLogFileName("test_meshinfo_nbrfaces.txt");
    TriMesh torus = testmesh::Torus(16, 8);
    TriMeshInfo info;
    EXPECT_EQ(info.CacheDataForFaceNbrFaceMaps(nullptr), ORVO::STATUS_INVALID_INPUT);
    ASSERT_EQ(info.CacheDataForFaceNbrFaceMaps(&torus), ORVO::STATUS_SUCCESS);
    // The edge cache came with it.
    EXPECT_FALSE(info.GetEdgeInfoList().empty());
    const auto& lists = info.GetFaceNbrFaceMap();
    ASSERT_EQ(static_cast<int>(lists.size()), torus.GetTriangleCount());
    for (int t = 0; t < torus.GetTriangleCount(); ++t) {
        ASSERT_EQ(lists[t].size(), 3u);
        for (int n : lists[t]) {
            EXPECT_NE(n, t);
            EXPECT_EQ(std::count(lists[n].begin(), lists[n].end(), t), 1);
            // Neighbours share exactly two vertices.
            const int* b = torus.GetTriangle(n);
            int shared = 0;
            for (int i = 0; i < 3; ++i) shared += std::count(b, b + 3, torus.GetTriangle(t)[i]);
            EXPECT_EQ(shared, 2);
        }
    }
    torus.InsertTriangle(0, 1, 2);
    EXPECT_EQ(info.CacheDataForFaceNbrFaceMaps(&torus), ORVO::STATUS_FAILED);
    EXPECT_EQ(ReadFile("test_meshinfo_nbrfaces.txt"),
              "TriMeshInfo::CacheDataForFaceNbrFaceMaps: triMesh == NULL\n"
              "TriMeshInfo::CacheDataForFaceNbrFaceMaps: mFaceNbrFaceMap.size() != "
              "triMesh->GetTriangleCount(): 256 257\n");
}

TEST(TriMeshInfo, FaceNeighboursLinkEveryTriangleOfANonManifoldEdge) {
    // Three triangles on edge 0-1, plus one ordinary neighbour of the first.
    TriMesh mesh = MakeMesh(6, {{0, 1, 2}, {1, 0, 3}, {0, 1, 4}, {1, 5, 2}});
    TriMeshInfo info;
    ASSERT_EQ(info.CacheDataForFaceNbrFaceMaps(&mesh), ORVO::STATUS_SUCCESS);
    const auto& lists = info.GetFaceNbrFaceMap();
    EXPECT_EQ(lists[0], (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(lists[1], (std::vector<int>{0, 2}));
    EXPECT_EQ(lists[2], (std::vector<int>{0, 1}));
    EXPECT_EQ(lists[3], (std::vector<int>{0}));
    EXPECT_TRUE(info.GetEdgeInfoList()[0].IsNonManifold());
}

TEST(TriMeshInfo, FaceNeighboursReportAFailedEdgeCache) {
    ORVO::LogSystem::SetLogFileName("test_meshinfo_facefail.txt");
    TriMesh mesh = MakeMesh(2, {{0, 1, 0}});
    TriMeshInfo info;
    EXPECT_EQ(info.CacheDataForFaceNbrFaceMaps(&mesh), ORVO::STATUS_INVALID_INPUT);
    EXPECT_TRUE(info.GetFaceNbrFaceMap().empty());
    EXPECT_EQ(ReadFile("test_meshinfo_facefail.txt"),
              "ConstructEdgeInfo: invalid input vertexCount < 3 || faceCount < 1\n"
              "TriMeshInfo::CacheDataForFaceNbrFaceMaps: CacheDataForEdgeInfos failed -2\n");
}

TEST(TriMeshInfo, MeshQueryToolIsOwnedAndChecked) {
    ORVO::LogSystem::SetLogFileName("test_meshinfo_query.txt");
    TriMesh grid = testmesh::Grid(4, 4);
    TriMeshInfo info;
    EXPECT_EQ(info.GetMeshQueryTool(), nullptr);
    EXPECT_EQ(info.CacheDataForMeshQueryTool(nullptr), ORVO::STATUS_INVALID_INPUT);
    ASSERT_EQ(info.CacheDataForMeshQueryTool(&grid), ORVO::STATUS_SUCCESS);
    ORVO::MeshQueryTool* tool = info.GetMeshQueryTool();
    ASSERT_NE(tool, nullptr);
    Vector3 closest;
    double distance = -1;
    ASSERT_EQ(tool->QueryClosestPoint(Vector3(0.3, 0.6, 2.0), &closest, nullptr, &distance), ORVO::STATUS_SUCCESS);
    EXPECT_NEAR(distance, 2.0, 1e-12);
    EXPECT_NEAR(closest.x, 0.3, 1e-12);
    // Kept on a second call, refused once the mesh has changed size.
    EXPECT_EQ(info.CacheDataForMeshQueryTool(&grid), ORVO::STATUS_SUCCESS);
    EXPECT_EQ(info.GetMeshQueryTool(), tool);
    grid.InsertTriangle(0, 1, 6);
    EXPECT_EQ(info.CacheDataForMeshQueryTool(&grid), ORVO::STATUS_FAILED);
    info.ClearDataForMeshQueryTool();
    EXPECT_EQ(info.GetMeshQueryTool(), nullptr);
    // A mesh without triangles is refused by the tool and nothing is kept.
    TriMesh bare = MakeMesh(3, {});
    EXPECT_EQ(info.CacheDataForMeshQueryTool(&bare), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(info.GetMeshQueryTool(), nullptr);
    std::string log = ReadFile("test_meshinfo_query.txt");
    EXPECT_EQ(log.find("TriMeshInfo::CacheDataForMeshQueryTool: triMesh == NULL\n"), 0u);
    EXPECT_NE(log.find("TriMeshInfo::CacheDataForMeshQueryTool: mpMeshQueryTool size != triMesh size: 25 32 25 33\n"),
              std::string::npos);
}

TEST(TriMeshInfo, ClearDropsEveryCache) {
    TriMesh sphere = testmesh::Icosphere(1);
    TriMeshInfo info;
    ASSERT_EQ(info.CacheDataForEdgeInfos(&sphere, true), ORVO::STATUS_SUCCESS);
    ASSERT_EQ(info.CacheDataForVertexNbrVertexMaps(&sphere), ORVO::STATUS_SUCCESS);
    ASSERT_EQ(info.CacheDataForVertexNbrFaceMaps(&sphere), ORVO::STATUS_SUCCESS);
    ASSERT_EQ(info.CacheDataForFaceNbrFaceMaps(&sphere), ORVO::STATUS_SUCCESS);
    // The face cache reused the one-way edge cache rather than rebuilding it.
    EXPECT_TRUE(info.IsOneWayEdgeInfo());
    ASSERT_EQ(info.CacheDataForMeshQueryTool(&sphere), ORVO::STATUS_SUCCESS);
    info.Clear();
    EXPECT_TRUE(info.GetEdgeInfoList().empty());
    EXPECT_TRUE(info.GetVertexEdgeMap().empty());
    EXPECT_TRUE(info.GetVertexNbrVertexMap().empty());
    EXPECT_TRUE(info.GetVertexNbrFaceMap().empty());
    EXPECT_TRUE(info.GetFaceNbrFaceMap().empty());
    EXPECT_EQ(info.GetMeshQueryTool(), nullptr);
    EXPECT_FALSE(info.IsOneWayEdgeInfo());
    // After a clear the caches fit a different mesh.
    TriMesh torus = testmesh::Torus(8, 6);
    EXPECT_EQ(info.CacheDataForVertexNbrFaceMaps(&torus), ORVO::STATUS_SUCCESS);
    EXPECT_EQ(info.GetVertexNbrFaceMap().size(), 48u);
}

}  // namespace
