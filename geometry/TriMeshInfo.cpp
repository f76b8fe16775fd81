#include <QarnUVAtlas/MeshInfo.h>
#include <QarnUVAtlas/MeshQuery.h>
#include <QarnUVAtlas/TriMesh.h>

#include "foundation/LogLine.h"
#include "geometry/EdgeInfoBuilder.h"
#include "geometry/TriangleReader.h"

#include <algorithm>

namespace ORVO {

namespace {

// Reads every triangle once; false (nothing logged) when one names a vertex
// outside the mesh.
bool ReadTriangles(const ITriMesh* triMesh, std::vector<int>& corners) {
    const int vertexCount = triMesh->GetVertexCount();
    const int faceCount = triMesh->GetTriangleCount();
    corners.resize(3 * static_cast<size_t>(faceCount));
    const _TriangleReader reader(triMesh);
    for (int t = 0; t < faceCount; ++t) {
        int* ids = &corners[3 * static_cast<size_t>(t)];
        reader.Read(t, ids);
        for (int k = 0; k < 3; ++k) {
            if (ids[k] < 0 || ids[k] >= vertexCount) return false;
        }
    }
    return true;
}

// Offsets of a per-vertex layout holding `perCorner` entries for each corner.
std::vector<size_t> CornerOffsets(const std::vector<int>& corners, int vertexCount, int perCorner) {
    std::vector<size_t> offsets(static_cast<size_t>(vertexCount) + 1, 0);
    for (int v : corners) offsets[v + 1] += perCorner;
    for (int v = 0; v < vertexCount; ++v) offsets[v + 1] += offsets[v];
    return offsets;
}

void AddOnce(std::vector<int>& list, int id) {
    if (std::find(list.begin(), list.end(), id) == list.end()) list.push_back(id);
}

}  // namespace

TriMeshInfo::TriMeshInfo() : mIsOneWayEdgeInfo(false) {}

// Out of line: the query tool is complete only here.
TriMeshInfo::~TriMeshInfo() {}

int TriMeshInfo::CacheDataForEdgeInfos(const ITriMesh* triMesh, bool oneWay) {
    if (!triMesh) {
        _LogLine("TriMeshInfo::CacheDataForEdgeInfos: triMesh == NULL");
        return STATUS_INVALID_INPUT;
    }
    if (!mEdgeInfos.empty() && mIsOneWayEdgeInfo == oneWay) {
        if (mVertexEdgeMap.size() != static_cast<size_t>(triMesh->GetVertexCount())) {
            _LogLine("TriMeshInfo::CacheDataForEdgeInfos: mVertexEdgeMap.size() != triMesh->GetVertexCount(): ",
                     mVertexEdgeMap.size(), " ", triMesh->GetVertexCount());
            return STATUS_FAILED;
        }
        return STATUS_SUCCESS;
    }
    std::vector<EdgeInfo> edgeInfos;
    std::vector<std::map<int, int>> vertexEdgeMap;
    int status = _ConstructEdgeInfo(triMesh, edgeInfos, &vertexEdgeMap, oneWay);
    if (status != STATUS_SUCCESS) return status;
    mIsOneWayEdgeInfo = oneWay;
    mEdgeInfos.swap(edgeInfos);
    mVertexEdgeMap.swap(vertexEdgeMap);
    return STATUS_SUCCESS;
}

int TriMeshInfo::CacheDataForVertexNbrVertexMaps(const ITriMesh* triMesh) {
    if (!triMesh) {
        _LogLine("TriMeshInfo::CacheDataForVertexNbrVertexMaps: triMesh == NULL");
        return STATUS_INVALID_INPUT;
    }
    const int vertexCount = triMesh->GetVertexCount();
    if (!mVertexNbrVertexMap.empty()) {
        if (mVertexNbrVertexMap.size() != static_cast<size_t>(vertexCount)) {
            _LogLine("TriMeshInfo::CacheDataForVertexNbrVertexMaps: mVertexNbrVertexMap.size() != "
                     "triMesh->GetVertexCount(): ",
                     mVertexNbrVertexMap.size(), " ", vertexCount);
            return STATUS_FAILED;
        }
        return STATUS_SUCCESS;
    }
    std::vector<int> corners;
    if (!ReadTriangles(triMesh, corners)) {
        _LogLine("TriMeshInfo::CacheDataForVertexNbrVertexMaps: triangle vertex id out of range");
        return STATUS_INVALID_INPUT;
    }
    // Gather the two other corners of every corner, then sort and deduplicate
    // per vertex so that each set is built from a sorted range in linear time.
    std::vector<size_t> offsets = CornerOffsets(corners, vertexCount, 2);
    std::vector<size_t> fill(offsets.begin(), offsets.end() - 1);
    std::vector<int> others(offsets.back());
    for (size_t t = 0; t < corners.size(); t += 3) {
        for (int k = 0; k < 3; ++k) {
            int v = corners[t + k];
            others[fill[v]++] = corners[t + (k + 1) % 3];
            others[fill[v]++] = corners[t + (k + 2) % 3];
        }
    }
    std::vector<std::set<int>> sets(vertexCount);
    for (int v = 0; v < vertexCount; ++v) {
        auto first = others.begin() + offsets[v];
        auto last = others.begin() + offsets[v + 1];
        std::sort(first, last);
        last = std::unique(first, last);
        // A degenerate triangle repeats a vertex; it is not its own neighbour.
        last = std::remove(first, last, v);
        sets[v] = std::set<int>(first, last);
    }
    mVertexNbrVertexMap.swap(sets);
    return STATUS_SUCCESS;
}

int TriMeshInfo::CacheDataForVertexNbrFaceMaps(const ITriMesh* triMesh) {
    if (!triMesh) {
        _LogLine("TriMeshInfo::CacheDataForVertexNbrFaceMaps: triMesh == NULL");
        return STATUS_INVALID_INPUT;
    }
    const int vertexCount = triMesh->GetVertexCount();
    if (!mVertexNbrFaceMap.empty()) {
        if (mVertexNbrFaceMap.size() != static_cast<size_t>(vertexCount)) {
            _LogLine("TriMeshInfo::CacheDataForVertexNbrFaceMaps: mVertexNbrFaceMap.size() != "
                     "triMesh->GetVertexCount(): ",
                     mVertexNbrFaceMap.size(), " ", vertexCount);
            return STATUS_FAILED;
        }
        return STATUS_SUCCESS;
    }
    std::vector<int> corners;
    if (!ReadTriangles(triMesh, corners)) {
        _LogLine("TriMeshInfo::CacheDataForVertexNbrFaceMaps: triangle vertex id out of range");
        return STATUS_INVALID_INPUT;
    }
    std::vector<size_t> offsets = CornerOffsets(corners, vertexCount, 1);
    std::vector<std::vector<int>> lists(vertexCount);
    for (int v = 0; v < vertexCount; ++v) lists[v].reserve(offsets[v + 1] - offsets[v]);
    for (size_t c = 0; c < corners.size(); ++c) {
        std::vector<int>& list = lists[corners[c]];
        int t = static_cast<int>(c / 3);
        if (list.empty() || list.back() != t) list.push_back(t);
    }
    mVertexNbrFaceMap.swap(lists);
    return STATUS_SUCCESS;
}

int TriMeshInfo::CacheDataForFaceNbrFaceMaps(const ITriMesh* triMesh) {
    if (!triMesh) {
        _LogLine("TriMeshInfo::CacheDataForFaceNbrFaceMaps: triMesh == NULL");
        return STATUS_INVALID_INPUT;
    }
    const int faceCount = triMesh->GetTriangleCount();
    if (!mFaceNbrFaceMap.empty()) {
        if (mFaceNbrFaceMap.size() != static_cast<size_t>(faceCount)) {
            _LogLine("TriMeshInfo::CacheDataForFaceNbrFaceMaps: mFaceNbrFaceMap.size() != "
                     "triMesh->GetTriangleCount(): ",
                     mFaceNbrFaceMap.size(), " ", faceCount);
            return STATUS_FAILED;
        }
        return STATUS_SUCCESS;
    }
    bool oneWay = mEdgeInfos.empty() ? false : mIsOneWayEdgeInfo;
    int status = CacheDataForEdgeInfos(triMesh, oneWay);
    if (status != STATUS_SUCCESS) {
        _LogLine("TriMeshInfo::CacheDataForFaceNbrFaceMaps: CacheDataForEdgeInfos failed ", status);
        return status;
    }
    std::vector<std::vector<int>> lists(faceCount);
    // Interior edges dominate: two neighbours per triangle side on average.
    for (std::vector<int>& list : lists) list.reserve(3);
    for (const EdgeInfo& edge : mEdgeInfos) {
        const std::vector<int>& tris = edge.GetTriangleIds();
        for (int t : tris) {
            if (t < 0 || t >= faceCount) {
                _LogLine("TriMeshInfo::CacheDataForFaceNbrFaceMaps: edge cache names triangle ", t,
                         " of a mesh with ", faceCount);
                return STATUS_FAILED;
            }
        }
        for (size_t i = 0; i < tris.size(); ++i) {
            for (size_t j = i + 1; j < tris.size(); ++j) {
                if (tris[i] == tris[j]) continue;
                AddOnce(lists[tris[i]], tris[j]);
                AddOnce(lists[tris[j]], tris[i]);
            }
        }
    }
    mFaceNbrFaceMap.swap(lists);
    return STATUS_SUCCESS;
}

int TriMeshInfo::CacheDataForMeshQueryTool(const ITriMesh* triMesh) {
    if (!triMesh) {
        _LogLine("TriMeshInfo::CacheDataForMeshQueryTool: triMesh == NULL");
        return STATUS_INVALID_INPUT;
    }
    if (mpMeshQueryTool) {
        if (mpMeshQueryTool->GetVertexCount() != triMesh->GetVertexCount() ||
            mpMeshQueryTool->GetTriangleCount() != triMesh->GetTriangleCount()) {
            _LogLine("TriMeshInfo::CacheDataForMeshQueryTool: mpMeshQueryTool size != triMesh size: ",
                     mpMeshQueryTool->GetVertexCount(), " ", mpMeshQueryTool->GetTriangleCount(), " ",
                     triMesh->GetVertexCount(), " ", triMesh->GetTriangleCount());
            return STATUS_FAILED;
        }
        return STATUS_SUCCESS;
    }
    std::unique_ptr<MeshQueryTool> tool(new MeshQueryTool);
    int status = tool->Build(triMesh);
    if (status != STATUS_SUCCESS) {
        _LogLine("TriMeshInfo::CacheDataForMeshQueryTool: MeshQueryTool::Build failed ", status);
        return status;
    }
    mpMeshQueryTool = std::move(tool);
    return STATUS_SUCCESS;
}

void TriMeshInfo::ClearDataForEdgeInfos() {
    std::vector<EdgeInfo>().swap(mEdgeInfos);
    std::vector<std::map<int, int>>().swap(mVertexEdgeMap);
    mIsOneWayEdgeInfo = false;
}

void TriMeshInfo::ClearDataForVertexNbrVertexMaps() { std::vector<std::set<int>>().swap(mVertexNbrVertexMap); }

void TriMeshInfo::ClearDataForVertexNbrFaceMaps() { std::vector<std::vector<int>>().swap(mVertexNbrFaceMap); }

void TriMeshInfo::ClearDataForFaceNbrFaceMaps() { std::vector<std::vector<int>>().swap(mFaceNbrFaceMap); }

void TriMeshInfo::ClearDataForMeshQueryTool() { mpMeshQueryTool.reset(); }

void TriMeshInfo::Clear() {
    ClearDataForEdgeInfos();
    ClearDataForVertexNbrVertexMaps();
    ClearDataForVertexNbrFaceMaps();
    ClearDataForFaceNbrFaceMaps();
    ClearDataForMeshQueryTool();
}

}  // namespace ORVO
