#pragma once
// Reading triangles and coordinates from any ITriMesh in bulk loops. A TriMesh
// is read through its non-virtual accessors, which avoids a virtual call and
// a copy per value on meshes of millions of triangles.

#include <QarnUVAtlas/TriMesh.h>

namespace ORVO {

class _TriangleReader {
public:
    explicit _TriangleReader(const ITriMesh* mesh)
        : mMesh(mesh), mTriMesh(dynamic_cast<const TriMesh*>(mesh)) {}

    void Read(int fid, int* ids) const {
        if (mTriMesh) {
            const int* t = mTriMesh->GetTriangle(fid);
            ids[0] = t[0];
            ids[1] = t[1];
            ids[2] = t[2];
        } else {
            mMesh->GetTriangleVertexIds(fid, ids);
        }
    }

    Vector3 Coord(int vid) const {
        return mTriMesh ? mTriMesh->GetVertexCoordRef(vid) : mMesh->GetVertexCoord(vid);
    }

private:
    const ITriMesh* mMesh;
    const TriMesh* mTriMesh;
};

}  // namespace ORVO
