#include <QarnUVAtlas/TriMesh.h>

#include "foundation/LogLine.h"

namespace ORVO {

int CopyTriMesh(const ITriMesh* src, ITriMesh* dst) {
    if (!src || !dst) {
        _LogLine("CopyTriMesh: input triMesh is NULL");
        return STATUS_INVALID_INPUT;
    }
    if (src == dst) return STATUS_SUCCESS;

    // Same concrete type: copy everything, attributes included.
    const TriMesh* srcTri = dynamic_cast<const TriMesh*>(src);
    TriMesh* dstTri = dynamic_cast<TriMesh*>(dst);
    if (srcTri && dstTri) {
        *dstTri = *srcTri;
        return STATUS_SUCCESS;
    }

    const int vertexCount = src->GetVertexCount();
    const int triangleCount = src->GetTriangleCount();
    dst->Clear();

    // A connectivity-only target takes vertices by count, not by coordinate.
    if (TopologyMesh* dstTopo = dynamic_cast<TopologyMesh*>(dst)) {
        dstTopo->SetVertexCount(vertexCount);
    } else if (dynamic_cast<const TopologyMesh*>(src)) {
        // No coordinates to read: the target gets vertices at the origin.
        if (dstTri) dstTri->ReserveVertices(vertexCount);
        for (int v = 0; v < vertexCount; ++v) dst->InsertVertex(Vector3());
    } else {
        if (dstTri) {
            dstTri->ReserveVertices(vertexCount);
            dstTri->ReserveTriangles(triangleCount);
        }
        const bool copyNormals = src->HasVertexNormal();
        for (int v = 0; v < vertexCount; ++v) {
            if (copyNormals && dstTri) {
                dstTri->InsertVertex(src->GetVertexCoord(v), src->GetVertexNormal(v));
            } else {
                dst->InsertVertex(src->GetVertexCoord(v));
            }
        }
        if (copyNormals && dstTri) dstTri->SetHasVertexNormal(true);
    }

    int ids[3];
    for (int f = 0; f < triangleCount; ++f) {
        src->GetTriangleVertexIds(f, ids);
        dst->InsertTriangle(ids[0], ids[1], ids[2]);
    }
    if (dstTri && src->HasTriangleNormal()) {
        dstTri->SetHasTriangleNormal(true);
        for (int f = 0; f < triangleCount; ++f) dstTri->SetTriangleNormal(f, src->GetTriangleNormal(f));
    }
    return STATUS_SUCCESS;
}

TriMesh* CopyTriMesh(const TriMesh* src) {
    if (!src) {
        _LogLine("CopyTriMesh: input triMesh is NULL");
        return nullptr;
    }
    return new TriMesh(*src);
}

}  // namespace ORVO
