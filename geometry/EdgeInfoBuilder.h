#pragma once
// The edge-list builder behind ConstructEdgeInfo and TriMeshInfo's edge cache.

#include <QarnUVAtlas/MeshInfo.h>

#include <map>
#include <vector>

namespace ORVO {

// As ConstructEdgeInfo; with oneWay the map enters each edge only under its
// smaller end vertex, otherwise under both ends.
int _ConstructEdgeInfo(const ITriMesh* triMesh, std::vector<EdgeInfo>& edgeInfos,
                       std::vector<std::map<int, int>>* vertexEdgeMap, bool oneWay);

}  // namespace ORVO
