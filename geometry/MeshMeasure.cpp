// Simple measurements on any ITriMesh: average edge length, bounding box and
// the unit normal of one triangle.

#include <QarnUVAtlas/MeshEdit.h>
#include <QarnUVAtlas/TriMesh.h>

#include "foundation/LogLine.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace ORVO {

int CalculateAverageEdgeLength(const ITriMesh* triMesh, double* length) {
    if (!triMesh) {
        _LogFailure("CalculateAverageEdgeLength: triMesh is NULL");
        return STATUS_INVALID_INPUT;
    }
    if (!length) {
        _LogFailure("CalculateAverageEdgeLength: length is NULL");
        return STATUS_INVALID_INPUT;
    }
    const int vertexCount = triMesh->GetVertexCount();
    const int triangleCount = triMesh->GetTriangleCount();
    if (triangleCount < 1) {
        _LogFailure("CalculateAverageEdgeLength: triMesh has no triangle");
        return STATUS_INVALID_INPUT;
    }

    // Each undirected edge as one 64-bit key (smaller id high), deduplicated by
    // sorting: cheaper than a hash set for millions of sides.
    std::vector<uint64_t> keys;
    keys.reserve(3 * static_cast<size_t>(triangleCount));
    for (int f = 0; f < triangleCount; ++f) {
        int ids[3];
        triMesh->GetTriangleVertexIds(f, ids);
        for (int k = 0; k < 3; ++k) {
            const int a = ids[k], b = ids[(k + 1) % 3];
            if (a < 0 || b < 0 || a >= vertexCount || b >= vertexCount) {
                _LogFailure("CalculateAverageEdgeLength: invalid vertex id in triangle ", f);
                return STATUS_INVALID_INPUT;
            }
            const uint64_t lo = static_cast<uint32_t>(std::min(a, b));
            const uint64_t hi = static_cast<uint32_t>(std::max(a, b));
            keys.push_back((lo << 32) | hi);
        }
    }
    std::sort(keys.begin(), keys.end());
    keys.erase(std::unique(keys.begin(), keys.end()), keys.end());

    double sum = 0.0;
    for (uint64_t key : keys) {
        const int a = static_cast<int>(key >> 32);
        const int b = static_cast<int>(key & 0xffffffffu);
        sum += triMesh->GetVertexCoord(a).Distance(triMesh->GetVertexCoord(b));
    }
    *length = sum / static_cast<double>(keys.size());
    return STATUS_SUCCESS;
}

int CalculateTriMeshBoundingBox(const ITriMesh* triMesh, Vector3* bboxMin, Vector3* bboxMax) {
    if (!triMesh) {
        _LogFailure("CalculateTriMeshBoundingBox: triMesh is NULL");
        return STATUS_INVALID_INPUT;
    }
    if (!bboxMin || !bboxMax) {
        _LogFailure("CalculateTriMeshBoundingBox: output is NULL");
        return STATUS_INVALID_INPUT;
    }
    const int vertexCount = triMesh->GetVertexCount();
    if (vertexCount < 1) {
        _LogFailure("CalculateTriMeshBoundingBox: triMesh has no vertex");
        return STATUS_INVALID_INPUT;
    }
    Vector3 lo = triMesh->GetVertexCoord(0);
    Vector3 hi = lo;
    for (int v = 1; v < vertexCount; ++v) {
        const Vector3 p = triMesh->GetVertexCoord(v);
        lo.x = std::min(lo.x, p.x);
        lo.y = std::min(lo.y, p.y);
        lo.z = std::min(lo.z, p.z);
        hi.x = std::max(hi.x, p.x);
        hi.y = std::max(hi.y, p.y);
        hi.z = std::max(hi.z, p.z);
    }
    *bboxMin = lo;
    *bboxMax = hi;
    return STATUS_SUCCESS;
}

int ComputeTriangleNormal(const ITriMesh* triMesh, int fid, Vector3* normal) {
    if (!triMesh) {
        _LogFailure("ComputeTriangleNormal: triMesh is NULL");
        return STATUS_INVALID_INPUT;
    }
    if (!normal) {
        _LogFailure("ComputeTriangleNormal: normal is NULL");
        return STATUS_INVALID_INPUT;
    }
    if (fid < 0 || fid >= triMesh->GetTriangleCount()) {
        _LogFailure("ComputeTriangleNormal: invalid triangle id: ", fid);
        return STATUS_INVALID_INPUT;
    }
    int ids[3];
    triMesh->GetTriangleVertexIds(fid, ids);
    const int vertexCount = triMesh->GetVertexCount();
    for (int k = 0; k < 3; ++k) {
        if (ids[k] < 0 || ids[k] >= vertexCount) {
            _LogFailure("ComputeTriangleNormal: invalid vertex id in triangle ", fid, ": ", ids[k]);
            return STATUS_INVALID_INPUT;
        }
    }
    const Vector3 p0 = triMesh->GetVertexCoord(ids[0]);
    Vector3 n = (triMesh->GetVertexCoord(ids[1]) - p0).CrossProduct(triMesh->GetVertexCoord(ids[2]) - p0);
    n.Normalise();
    *normal = n;
    return STATUS_SUCCESS;
}

}  // namespace ORVO
