// Building a HalfMesh from a triangle mesh (whole or a selection of its
// triangles) and turning one back into a triangle mesh.

#include <QarnUVAtlas/HalfMesh.h>
#include <QarnUVAtlas/TriMesh.h>

#include "foundation/LogLine.h"
#include "geometry/TriangleReader.h"

#include <algorithm>
#include <memory>

namespace ORVO {

HalfMesh* CreateHalfMeshFromITriMesh(const ITriMesh* triMesh) {
    if (!triMesh) {
        _LogLine("CreateHalfMeshFromITriMesh: input triMesh is null");
        return nullptr;
    }
    const _TriangleReader reader(triMesh);
    const int vertexCount = triMesh->GetVertexCount();
    const int faceCount = triMesh->GetTriangleCount();
    std::unique_ptr<HalfMesh> mesh(new HalfMesh);
    mesh->ReserveVertex(vertexCount);
    for (int i = 0; i < vertexCount; ++i) mesh->InsertVertex(reader.Coord(i));
    mesh->ReserveFace(faceCount);
    mesh->ReserveEdge(2 * (faceCount + vertexCount));
    for (int t = 0; t < faceCount; ++t) {
        int ids[3];
        reader.Read(t, ids);
        Vertex3D* corners[3];
        for (int k = 0; k < 3; ++k) {
            if (ids[k] < 0 || ids[k] >= vertexCount) {
                _LogLine("CreateHalfMeshFromITriMesh: triangle vertex id out of range: ", t, " ", ids[k]);
                return nullptr;
            }
            corners[k] = mesh->GetVertex(ids[k]);
        }
        mesh->InsertFace(corners, 3);
    }
    mesh->SetBoundaryVertexEdge(nullptr);
    return mesh.release();
}

HalfMesh* CreateHalfMeshFromSubTriMesh(const ITriMesh* triMesh, const std::vector<int>& ids,
                                       std::vector<int>* idMap) {
    if (!triMesh) {
        _LogLine("CreateHalfMeshFromSubTriMesh: input triMesh is null");
        return nullptr;
    }
    const _TriangleReader reader(triMesh);
    const int vertexCount = triMesh->GetVertexCount();
    const int faceCount = triMesh->GetTriangleCount();
    const size_t selected = ids.size();
    // Vertices of the selection, ascending; a sorted list keeps the cost in
    // proportion to the selection, not to the whole mesh.
    std::vector<int> corners(3 * selected);
    for (size_t k = 0; k < selected; ++k) {
        if (ids[k] < 0 || ids[k] >= faceCount) {
            _LogLine("CreateHalfMeshFromSubTriMesh: triangle id out of range: ", ids[k]);
            return nullptr;
        }
        reader.Read(ids[k], &corners[3 * k]);
        for (int c = 0; c < 3; ++c) {
            int vid = corners[3 * k + c];
            if (vid < 0 || vid >= vertexCount) {
                _LogLine("CreateHalfMeshFromSubTriMesh: triangle vertex id out of range: ", ids[k], " ", vid);
                return nullptr;
            }
        }
    }
    std::vector<int> used(corners);
    std::sort(used.begin(), used.end());
    used.erase(std::unique(used.begin(), used.end()), used.end());

    std::unique_ptr<HalfMesh> mesh(new HalfMesh);
    const int usedCount = static_cast<int>(used.size());
    mesh->ReserveVertex(usedCount);
    for (int i = 0; i < usedCount; ++i) mesh->InsertVertex(reader.Coord(used[i]));
    mesh->ReserveFace(static_cast<int>(selected));
    mesh->ReserveEdge(2 * (static_cast<int>(selected) + usedCount));
    for (size_t k = 0; k < selected; ++k) {
        Vertex3D* face[3];
        for (int c = 0; c < 3; ++c) {
            int local = static_cast<int>(std::lower_bound(used.begin(), used.end(), corners[3 * k + c]) - used.begin());
            face[c] = mesh->GetVertex(local);
        }
        mesh->InsertFace(face, 3);
    }
    mesh->SetBoundaryVertexEdge(nullptr);
    if (idMap) idMap->swap(used);
    return mesh.release();
}

int ConvertHalfMeshToITriMesh(const HalfMesh* halfMesh, ITriMesh* triMesh) {
    if (!halfMesh) {
        _LogLine("ConvertHalfMeshToITriMesh: input halfMesh is null");
        return STATUS_INVALID_INPUT;
    }
    if (!triMesh) {
        _LogLine("ConvertHalfMeshToITriMesh: input triMesh is null");
        return STATUS_INVALID_INPUT;
    }
    triMesh->Clear();
    const int vertexCount = halfMesh->GetVertexCount();
    const int faceCount = halfMesh->GetFaceCount();
    const int edgeCount = halfMesh->GetEdgeCount();
    TriMesh* fast = dynamic_cast<TriMesh*>(triMesh);
    if (fast) {
        fast->ReserveVertices(vertexCount);
        fast->ReserveTriangles(faceCount);
    }
    // Null slots left by removals are skipped, so output ids are list
    // positions among the live vertices.
    std::vector<int> outputId(vertexCount, -1);
    for (int i = 0; i < vertexCount; ++i) {
        const Vertex3D* v = halfMesh->GetVertex(i);
        if (v) outputId[i] = triMesh->InsertVertex(v->GetCoord());
    }
    auto idOf = [&](const Vertex3D* v) {
        if (!v) return -1;
        int id = v->GetId();
        return (id >= 0 && id < vertexCount) ? outputId[id] : -1;
    };
    bool dangling = false;
    for (int f = 0; f < faceCount; ++f) {
        const Face3D* face = halfMesh->GetFace(f);
        if (!face) continue;
        const Edge3D* e0 = face->GetEdge();
        if (!e0 || !e0->GetNext()) continue;
        const int a = idOf(e0->GetVertex());
        const Edge3D* h = e0->GetNext()->GetNext();
        int steps = 0;
        while (h && h != e0 && h->GetFace() == face && steps++ < edgeCount) {
            const int b = idOf(HalfMesh::GetStartVertex(h));
            const int c = idOf(h->GetVertex());
            if (a < 0 || b < 0 || c < 0) {
                dangling = true;
            } else {
                triMesh->InsertTriangle(a, b, c);
            }
            h = h->GetNext();
        }
    }
    if (dangling) {
        _LogFailure("ConvertHalfMeshToITriMesh: faces refer to vertices that are not in the list");
        return STATUS_FAILED;
    }
    return STATUS_SUCCESS;
}

}  // namespace ORVO
