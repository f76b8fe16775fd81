#include <QarnUVAtlas/HalfMesh.h>

#include "foundation/LogLine.h"

namespace ORVO {

namespace {

template <typename T>
bool IsLive(const std::vector<T*>& items, const T* item) {
    int id = item->GetId();
    return id >= 0 && id < static_cast<int>(items.size()) && items[id] == item;
}

int Broken(const char* what, int id) {
    _LogFailure("HalfMesh::ValidateTopology: ", what, " ", id);
    return STATUS_FAILED;
}

}  // namespace

int HalfMesh::ValidateTopology() const {
    const int vertexCount = GetVertexCount();
    const int edgeCount = GetEdgeCount();
    const int faceCount = GetFaceCount();
    for (int i = 0; i < vertexCount; ++i) {
        const Vertex3D* v = mVertices[i];
        if (!v) continue;
        if (v->GetId() != i) return Broken("vertex id differs from its position", i);
        const Edge3D* e = v->GetEdge();
        if (e && (!IsLive(mEdges, e) || GetStartVertex(e) != v)) {
            return Broken("vertex edge does not leave the vertex", i);
        }
    }
    int liveEdges = 0;
    for (int i = 0; i < edgeCount; ++i) {
        const Edge3D* e = mEdges[i];
        if (!e) continue;
        ++liveEdges;
        if (e->GetId() != i) return Broken("half-edge id differs from its position", i);
        const Edge3D* p = e->GetPair();
        if (!p) return Broken("half-edge has no pair", i);
        if (p == e || p->GetPair() != e || !IsLive(mEdges, p)) return Broken("half-edge pair is not mutual", i);
        if (!e->GetVertex() || !IsLive(mVertices, e->GetVertex()) || !p->GetVertex() ||
            !IsLive(mVertices, p->GetVertex())) {
            return Broken("half-edge ends at a missing vertex", i);
        }
        if (e->GetVertex() == p->GetVertex()) return Broken("half-edge starts where it ends", i);
        const Face3D* f = e->GetFace();
        if (!f) continue;
        if (!IsLive(mFaces, f)) return Broken("half-edge lies on a missing face", i);
        const Edge3D* n = e->GetNext();
        const Edge3D* pre = e->GetPre();
        if (!n || !pre || n->GetPre() != e || pre->GetNext() != e) {
            return Broken("half-edge next/pre links are not mutual", i);
        }
        if (n->GetFace() != f || pre->GetFace() != f) return Broken("half-edge cycle leaves its face", i);
        if (GetStartVertex(n) != e->GetVertex()) return Broken("next half-edge does not continue", i);
    }
    for (int i = 0; i < faceCount; ++i) {
        const Face3D* f = mFaces[i];
        if (!f) continue;
        if (f->GetId() != i) return Broken("face id differs from its position", i);
        const Edge3D* first = f->GetEdge();
        if (!first || !IsLive(mEdges, first) || first->GetFace() != f) return Broken("face edge is not on the face", i);
        int length = 0;
        const Edge3D* h = first;
        do {
            ++length;
            h = h->GetNext();
        } while (h && h != first && h->GetFace() == f && length <= edgeCount);
        if (h != first) return Broken("face cycle does not close", i);
        if (length < 3) return Broken("face has fewer than three sides", i);
    }
    if (GetVertexEdgeMapCount() >= mNextEdgeMapId) {
        int entries = 0;
        for (const VertexEdgeMap& map : mVertexEdgeMaps) entries += map.Size();
        for (int i = 0; i < edgeCount; ++i) {
            const Edge3D* e = mEdges[i];
            if (e && FindEdge(GetStartVertex(e), e->GetVertex()) != e) {
                return Broken("half-edge is missing from the edge map of its start", i);
            }
        }
        if (entries != liveEdges) return Broken("edge maps hold stale entries:", entries - liveEdges);
    }
    return STATUS_SUCCESS;
}

}  // namespace ORVO
