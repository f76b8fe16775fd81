#pragma once
// Cached adjacency of a triangle mesh: undirected edges with the triangles on
// each, vertex-to-edge maps, vertex and face neighbourhoods and a spatial
// query structure. The cache holds no pointer to the mesh: every build call is
// given the mesh, and the caller clears the caches after changing it.

#include <QarnUVAtlas/Export.h>

#include <map>
#include <memory>
#include <set>
#include <vector>

namespace ORVO {

class ITriMesh;
class MeshQueryTool;

// An undirected edge: its two vertex ids, smaller first, and the triangles
// that contain it in the order they were met. One triangle makes a boundary
// edge, more than two a non-manifold one.
class ORVO_API EdgeInfo {
public:
    EdgeInfo() : mVertexIds{-1, -1} {}
    // Stores the ids ascending whatever their order.
    EdgeInfo(int a, int b) { SetVertexIds(a, b); }

    void SetVertexIds(int a, int b) {
        mVertexIds[0] = a < b ? a : b;
        mVertexIds[1] = a < b ? b : a;
    }
    // index 0 or 1.
    int GetVertexId(int index) const { return mVertexIds[index]; }
    const int* GetVertexIds() const { return mVertexIds; }
    std::vector<int>& GetTriangleIds() { return mTriangleIds; }
    const std::vector<int>& GetTriangleIds() const { return mTriangleIds; }
    void AddTriangleId(int triangleId) { mTriangleIds.push_back(triangleId); }
    bool IsBoundary() const { return mTriangleIds.size() == 1; }
    bool IsNonManifold() const { return mTriangleIds.size() > 2; }

private:
    int mVertexIds[2];
    std::vector<int> mTriangleIds;
};

// Builds the edge list of triMesh: edges numbered in order of first appearance
// (triangles in id order, sides 0-1, 1-2, 2-0), each with its triangles in id
// order. When vertexEdgeMap is not null it receives, per vertex, the map from
// every neighbour id to the id of the edge between them (each edge is entered
// under both ends). Returns 0, or -2 (logged) for a null mesh, fewer than 3
// vertices, no triangle, or a triangle with a vertex id out of range.
ORVO_API int ConstructEdgeInfo(const ITriMesh* triMesh, std::vector<EdgeInfo>& edgeInfos,
                               std::vector<std::map<int, int>>* vertexEdgeMap);

// Caches built on demand for one mesh. A build call on an existing cache only
// checks it against the mesh's size (-3 and a log line on a mismatch).
class ORVO_API TriMeshInfo {
public:
    TriMeshInfo();
    ~TriMeshInfo();
    TriMeshInfo(const TriMeshInfo&) = delete;
    TriMeshInfo& operator=(const TriMeshInfo&) = delete;

    // Edge list and vertex edge map as ConstructEdgeInfo makes them. With
    // oneWay the map enters each edge only under its smaller end vertex (a
    // vertex's map then lists its larger neighbours only); otherwise under
    // both ends. Asking for the other variant rebuilds. Returns 0, -2 for a
    // null or too small mesh, -3 when an existing cache does not fit.
    int CacheDataForEdgeInfos(const ITriMesh* triMesh, bool oneWay);
    // Per vertex, the ordered set of vertices sharing a triangle with it.
    // Returns 0, -2 for a null mesh, -3 when an existing cache does not fit.
    int CacheDataForVertexNbrVertexMaps(const ITriMesh* triMesh);
    // Per vertex, the triangles on it in id order (each once, even for a
    // degenerate triangle naming the vertex twice). Returns 0, -2 or -3.
    int CacheDataForVertexNbrFaceMaps(const ITriMesh* triMesh);
    // Per triangle, the other triangles that share an edge with it, in order
    // of the edges and then of the triangles on each edge; every triangle of a
    // non-manifold edge is linked to all others on it, each neighbour once.
    // Builds the edge cache first (with the variant it already has, two-way
    // when there is none). Returns 0, -2, -3, or the edge cache's failure.
    int CacheDataForFaceNbrFaceMaps(const ITriMesh* triMesh);
    // Builds the closest-point / ray query structure over the mesh. Returns 0,
    // -2 for a null mesh or one the tool refuses, -3 when an existing tool was
    // built for a different number of vertices or triangles.
    int CacheDataForMeshQueryTool(const ITriMesh* triMesh);

    void ClearDataForEdgeInfos();
    void ClearDataForVertexNbrVertexMaps();
    void ClearDataForVertexNbrFaceMaps();
    void ClearDataForFaceNbrFaceMaps();
    void ClearDataForMeshQueryTool();
    // Drops every cache.
    void Clear();

    bool IsOneWayEdgeInfo() const { return mIsOneWayEdgeInfo; }
    std::vector<EdgeInfo>& GetEdgeInfoList() { return mEdgeInfos; }
    const std::vector<EdgeInfo>& GetEdgeInfoList() const { return mEdgeInfos; }
    std::vector<std::map<int, int>>& GetVertexEdgeMap() { return mVertexEdgeMap; }
    const std::vector<std::map<int, int>>& GetVertexEdgeMap() const { return mVertexEdgeMap; }
    std::vector<std::set<int>>& GetVertexNbrVertexMap() { return mVertexNbrVertexMap; }
    const std::vector<std::set<int>>& GetVertexNbrVertexMap() const { return mVertexNbrVertexMap; }
    std::vector<std::vector<int>>& GetVertexNbrFaceMap() { return mVertexNbrFaceMap; }
    const std::vector<std::vector<int>>& GetVertexNbrFaceMap() const { return mVertexNbrFaceMap; }
    std::vector<std::vector<int>>& GetFaceNbrFaceMap() { return mFaceNbrFaceMap; }
    const std::vector<std::vector<int>>& GetFaceNbrFaceMap() const { return mFaceNbrFaceMap; }
    // Null until CacheDataForMeshQueryTool succeeds; owned by this object.
    MeshQueryTool* GetMeshQueryTool() { return mpMeshQueryTool.get(); }
    const MeshQueryTool* GetMeshQueryTool() const { return mpMeshQueryTool.get(); }

private:
    bool mIsOneWayEdgeInfo;
    std::vector<EdgeInfo> mEdgeInfos;
    std::vector<std::map<int, int>> mVertexEdgeMap;
    std::vector<std::set<int>> mVertexNbrVertexMap;
    std::vector<std::vector<int>> mVertexNbrFaceMap;
    std::vector<std::vector<int>> mFaceNbrFaceMap;
    std::unique_ptr<MeshQueryTool> mpMeshQueryTool;
};

}  // namespace ORVO
