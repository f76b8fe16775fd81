// Edge contractions on a HalfMesh of triangles. The start vertex of the
// contracted half-edge is merged into its end vertex; the triangles on the
// edge vanish and each one's two remaining sides are glued into one edge by
// pairing their outer half-edges. Removed elements leave null slots so that
// the ids of everything else stay valid between contractions.

#include <QarnUVAtlas/HalfMesh.h>

#include "foundation/LogLine.h"
#include "geometry/HalfMeshStore.h"

#include <algorithm>
#include <utility>

namespace ORVO {

namespace {

bool IsLinkedTriangle(const Edge3D* e) {
    const Edge3D* n = e->GetNext();
    const Edge3D* p = e->GetPre();
    if (!n || !p || n->GetNext() != p || p->GetNext() != e) return false;
    if (n->GetFace() != e->GetFace() || p->GetFace() != e->GetFace()) return false;
    if (!e->GetPair() || !n->GetPair() || !p->GetPair()) return false;
    const Vertex3D* a = e->GetVertex();
    const Vertex3D* b = n->GetVertex();
    const Vertex3D* c = p->GetVertex();
    return a && b && c && a != b && b != c && c != a;
}

template <typename T>
void NullSlot(std::vector<T*>& items, T* item) {
    int id = item->GetId();
    if (id >= 0 && id < static_cast<int>(items.size()) && items[id] == item) {
        items[id] = nullptr;
        return;
    }
    auto it = std::find(items.begin(), items.end(), item);
    if (it != items.end()) *it = nullptr;
}

}  // namespace

void HalfMesh::_RemoveEdge(Edge3D* edge) {
    NullSlot(mEdges, edge);
    mpStore->edges.Release(edge);
}

void HalfMesh::_RemoveFace(Face3D* face) {
    NullSlot(mFaces, face);
    mpStore->faces.Release(face);
}

void HalfMesh::_RemoveVertex(Vertex3D* vertex) {
    int mapId = vertex->GetEdgeMapId();
    if (mapId >= 0 && mapId < GetVertexEdgeMapCount()) mVertexEdgeMaps[mapId].Clear();
    NullSlot(mVertices, vertex);
    mpStore->vertices.Release(vertex);
}

// A boundary vertex gets its outgoing boundary half-edge, any other vertex the
// first outgoing half-edge left.
void HalfMesh::_ResetVertexEdge(Vertex3D* vertex) {
    const VertexEdgeMap& map = mVertexEdgeMaps[vertex->GetEdgeMapId()];
    Edge3D* chosen = nullptr;
    for (int i = 0; i < map.Size(); ++i) {
        Edge3D* e = map.EdgeAt(i);
        if (!e->GetFace()) {
            chosen = e;
            break;
        }
        if (!chosen) chosen = e;
    }
    vertex->SetEdge(chosen);
}

// Every half-edge still leaving `from` now leaves `into`, and every half-edge
// coming back along one of them now ends at `into`. The caller has removed the
// half-edges that would collide from the maps first.
void HalfMesh::_MergeVertexInto(Vertex3D* from, Vertex3D* into) {
    VertexEdgeMap& fromMap = mVertexEdgeMaps[from->GetEdgeMapId()];
    VertexEdgeMap& intoMap = mVertexEdgeMaps[into->GetEdgeMapId()];
    const int fromKey = from->GetEdgeMapId();
    const int intoKey = into->GetEdgeMapId();
    for (int i = 0; i < fromMap.Size(); ++i) {
        Edge3D* out = fromMap.EdgeAt(i);
        intoMap.Assign(fromMap.KeyAt(i), out);
        Edge3D* back = out->GetPair();
        if (back && back->GetVertex() == from) {
            back->SetVertex(into);
            VertexEdgeMap& otherMap = mVertexEdgeMaps[out->GetVertex()->GetEdgeMapId()];
            otherMap.Erase(fromKey);
            otherMap.Assign(intoKey, back);
        }
    }
    fromMap.Clear();
}

// 0 when the only vertices adjacent to both a and b are c and d (d may be
// null), -3 otherwise.
int HalfMesh::_CheckLink(Vertex3D* a, Vertex3D* b, const Vertex3D* c, const Vertex3D* d) const {
    const VertexEdgeMap& ma = mVertexEdgeMaps[a->GetEdgeMapId()];
    const VertexEdgeMap& mb = mVertexEdgeMaps[b->GetEdgeMapId()];
    int i = 0, j = 0;
    while (i < ma.Size() && j < mb.Size()) {
        if (ma.KeyAt(i) < mb.KeyAt(j)) {
            ++i;
        } else if (mb.KeyAt(j) < ma.KeyAt(i)) {
            ++j;
        } else {
            const Vertex3D* common = ma.EdgeAt(i)->GetVertex();
            if (common != c && common != d) return STATUS_FAILED;
            ++i;
            ++j;
        }
    }
    return STATUS_SUCCESS;
}

void HalfMesh::_FinishContraction(bool updateIndex) {
    if (!updateIndex) return;
    UpdateVertexIndex();
    UpdateEdgeIndex();
    UpdateFaceIndex();
}

int HalfMesh::ContractInnerEdge(int edgeId, bool updateIndex) {
    Edge3D* e = (edgeId >= 0 && edgeId < GetEdgeCount()) ? mEdges[edgeId] : nullptr;
    if (!e) {
        _LogLine("HalfMesh::ContractInnerEdge: contract edge is null");
        return STATUS_INVALID_INPUT;
    }
    Edge3D* p = e->GetPair();
    if (!p) {
        _LogLine("HalfMesh::ContractInnerEdge: contract pair edge is null");
        return STATUS_INVALID_INPUT;
    }
    if (!e->GetFace() || !p->GetFace()) {
        _LogLine("HalfMesh::ContractInnerEdge: constract face or pair face is null");
        return STATUS_INVALID_INPUT;
    }
    if (!IsLinkedTriangle(e) || !IsLinkedTriangle(p)) {
        _LogLine("HalfMesh::ContractInnerEdge: faces beside the edge are not linked triangles");
        return STATUS_INVALID_INPUT;
    }
    if (GetVertexEdgeMapCount() < mNextEdgeMapId) RebuildEdgeMap();
    Vertex3D* vs = p->GetVertex();
    Vertex3D* ve = e->GetVertex();
    if (IsBoundaryVertex(vs) && IsBoundaryVertex(ve)) {
        _LogLine("HalfMesh::ContractInnerEdge: constract edge vertices are on boundary");
        return STATUS_INVALID_INPUT;
    }
    Edge3D* e1 = e->GetNext();  // ve -> c
    Edge3D* e2 = e->GetPre();   // c -> vs
    Edge3D* p1 = p->GetNext();  // vs -> d
    Edge3D* p2 = p->GetPre();   // d -> ve
    Vertex3D* c = e1->GetVertex();
    Vertex3D* d = p1->GetVertex();
    if (c == d || _CheckLink(vs, ve, c, d) != STATUS_SUCCESS) {
        _LogFailure("HalfMesh::ContractInnerEdge: contraction would make the mesh non-manifold");
        return STATUS_FAILED;
    }
    Edge3D* o1 = e1->GetPair();  // c -> ve
    Edge3D* o2 = e2->GetPair();  // vs -> c, will leave ve
    Edge3D* q1 = p1->GetPair();  // d -> vs, will end at ve
    Edge3D* q2 = p2->GetPair();  // ve -> d

    mVertexEdgeMaps[vs->GetEdgeMapId()].Erase(ve->GetEdgeMapId());
    mVertexEdgeMaps[ve->GetEdgeMapId()].Erase(vs->GetEdgeMapId());
    mVertexEdgeMaps[ve->GetEdgeMapId()].Erase(c->GetEdgeMapId());
    mVertexEdgeMaps[c->GetEdgeMapId()].Erase(vs->GetEdgeMapId());
    mVertexEdgeMaps[vs->GetEdgeMapId()].Erase(d->GetEdgeMapId());
    mVertexEdgeMaps[d->GetEdgeMapId()].Erase(ve->GetEdgeMapId());

    o1->SetPair(o2);
    o2->SetPair(o1);
    q1->SetPair(q2);
    q2->SetPair(q1);
    // q1 no longer has a partner leaving vs, so the merge would not see it.
    q1->SetVertex(ve);
    mVertexEdgeMaps[d->GetEdgeMapId()].Erase(vs->GetEdgeMapId());
    mVertexEdgeMaps[d->GetEdgeMapId()].Assign(ve->GetEdgeMapId(), q1);
    _MergeVertexInto(vs, ve);

    _ResetVertexEdge(ve);
    if (c->GetEdge() == e2) _ResetVertexEdge(c);
    if (d->GetEdge() == p2) _ResetVertexEdge(d);

    Face3D* f = e->GetFace();
    Face3D* g = p->GetFace();
    for (Edge3D* dead : {e, p, e1, e2, p1, p2}) _RemoveEdge(dead);
    _RemoveFace(f);
    _RemoveFace(g);
    _RemoveVertex(vs);
    _FinishContraction(updateIndex);
    return STATUS_SUCCESS;
}

int HalfMesh::ContractBoundaryEdge(int edgeId, bool updateIndex) {
    Edge3D* e = (edgeId >= 0 && edgeId < GetEdgeCount()) ? mEdges[edgeId] : nullptr;
    if (!e) {
        _LogLine("HalfMesh::ContractBoundaryEdge: contract edge is null");
        return STATUS_INVALID_INPUT;
    }
    Edge3D* p = e->GetPair();
    if (!p) {
        _LogLine("HalfMesh::ContractBoundaryEdge: contract pair edge is null");
        return STATUS_INVALID_INPUT;
    }
    if (!e->GetFace()) std::swap(e, p);
    if (!e->GetFace() || p->GetFace()) {
        _LogLine("HalfMesh::ContractBoundaryEdge: edge is not on the boundary");
        return STATUS_INVALID_INPUT;
    }
    if (!IsLinkedTriangle(e)) {
        _LogLine("HalfMesh::ContractBoundaryEdge: face beside the edge is not a linked triangle");
        return STATUS_INVALID_INPUT;
    }
    if (GetVertexEdgeMapCount() < mNextEdgeMapId) RebuildEdgeMap();
    Edge3D* contractEdge = e;  // vs -> ve, on the triangle
    Edge3D* pairEdge = p;      // ve -> vs, on the boundary
    Vertex3D* vs = pairEdge->GetVertex();
    Vertex3D* ve = contractEdge->GetVertex();
    Edge3D* e1 = contractEdge->GetNext();  // ve -> c
    Edge3D* e2 = contractEdge->GetPre();   // c -> vs
    Vertex3D* c = e1->GetVertex();
    Edge3D* o1 = e1->GetPair();  // c -> ve
    Edge3D* o2 = e2->GetPair();  // vs -> c, will leave ve
    if (!o1->GetFace() && !o2->GetFace()) {
        _LogLine("HalfMesh::ContractBoundaryEdge: the other sides of the triangle are on the boundary");
        return STATUS_INVALID_INPUT;
    }
    // The end vertex should carry its outgoing boundary half-edge, which is the
    // pair; anything else means the boundary edges were not set up.
    Vertex3D* endVertex = ve;
    if (endVertex->GetEdge() == contractEdge->GetNext()) {
        _LogFailure("Contract boundary edge: endVertex->GetEdge() == contractEdge->GetNext()");
    } else if (endVertex->GetEdge() != pairEdge) {
        _LogFailure("Contract boundary edge: endVertex->GetEdge() != pairEdge");
    }
    if (_CheckLink(vs, ve, c, nullptr) != STATUS_SUCCESS) {
        _LogFailure("HalfMesh::ContractBoundaryEdge: contraction would make the mesh non-manifold");
        return STATUS_FAILED;
    }

    mVertexEdgeMaps[vs->GetEdgeMapId()].Erase(ve->GetEdgeMapId());
    mVertexEdgeMaps[ve->GetEdgeMapId()].Erase(vs->GetEdgeMapId());
    mVertexEdgeMaps[ve->GetEdgeMapId()].Erase(c->GetEdgeMapId());
    mVertexEdgeMaps[c->GetEdgeMapId()].Erase(vs->GetEdgeMapId());
    o1->SetPair(o2);
    o2->SetPair(o1);
    _MergeVertexInto(vs, ve);

    _ResetVertexEdge(ve);
    if (c->GetEdge() == e2) _ResetVertexEdge(c);

    Face3D* f = contractEdge->GetFace();
    for (Edge3D* dead : {contractEdge, pairEdge, e1, e2}) _RemoveEdge(dead);
    _RemoveFace(f);
    _RemoveVertex(vs);
    _FinishContraction(updateIndex);
    return STATUS_SUCCESS;
}

}  // namespace ORVO
