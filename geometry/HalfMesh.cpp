#include <QarnUVAtlas/HalfMesh.h>

#include "foundation/LogLine.h"
#include "geometry/HalfMeshStore.h"

#include <algorithm>

namespace ORVO {

namespace {

// Brent's loop detector over a walk of half-edges: Step returns true once the
// walk revisits an edge without having come back to where it started, which
// only happens when links were broken (a face taken over by a later one).
class LoopGuard {
public:
    explicit LoopGuard(const Edge3D* start) : mMark(start) {}
    bool Step(const Edge3D* current) {
        if (current == mMark) return true;
        if (++mSteps == mPower) {
            mMark = current;
            mPower *= 2;
            mSteps = 0;
        }
        return false;
    }

private:
    const Edge3D* mMark;
    long long mPower = 1;
    long long mSteps = 0;
};

// Counts the faces around v by turning from its edge, first one way and, when
// that meets the boundary, the other way. Returns false when the links do not
// form a single fan (a broken cycle, a half-edge that does not touch v).
bool CountFanFaces(const Vertex3D* v, int* faces) {
    const Edge3D* start = v->GetEdge();
    int count = 0;
    const Edge3D* e = start;
    LoopGuard forward(start);
    while (true) {
        const Edge3D* p = e->GetPair();
        if (!p || p->GetVertex() != v) return false;
        if (!p->GetFace()) break;
        ++count;
        const Edge3D* next = p->GetNext();
        if (!next || HalfMesh::GetStartVertex(next) != v) return false;
        if (next == start) {
            *faces = count;
            return true;
        }
        e = next;
        if (forward.Step(e)) return false;
    }
    e = start;
    LoopGuard backward(start);
    while (e->GetFace()) {
        ++count;
        const Edge3D* pre = e->GetPre();
        if (!pre || pre->GetVertex() != v) return false;
        const Edge3D* out = pre->GetPair();
        if (!out || out == start) return false;
        e = out;
        if (backward.Step(e)) return false;
    }
    *faces = count;
    return true;
}

template <typename T>
void CompactAndRenumber(std::vector<T*>& items) {
    items.erase(std::remove(items.begin(), items.end(), nullptr), items.end());
    for (size_t i = 0; i < items.size(); ++i) items[i]->SetId(static_cast<int>(i));
}

}  // namespace

int Vertex3D::GetDegree() const {
    const Edge3D* start = mpEdge;
    if (!start) return 0;
    int count = 0;
    const Edge3D* e = start;
    LoopGuard guard(start);
    while (true) {
        const Edge3D* p = e->GetPair();
        if (!p) break;
        ++count;
        if (!p->GetFace()) break;
        const Edge3D* next = p->GetNext();
        if (!next || next == start) break;
        e = next;
        if (guard.Step(e)) break;
    }
    return count;
}

HalfMesh::HalfMesh() : mNextEdgeMapId(0), mNextFaceUniqueId(0), mpStore(new ElementStore) {}

// The elements live in the store's blocks and go with it.
HalfMesh::~HalfMesh() {}

void HalfMesh::ReserveVertex(int count) {
    if (count <= 0) return;
    mVertices.reserve(count);
    mVertexEdgeMaps.reserve(count);
    mpStore->vertices.Reserve(count);
}

void HalfMesh::ReserveEdge(int count) {
    if (count <= 0) return;
    mEdges.reserve(count);
    mpStore->edges.Reserve(count);
}

void HalfMesh::ReserveFace(int count) {
    if (count <= 0) return;
    mFaces.reserve(count);
    mpStore->faces.Reserve(count);
}

Vertex3D* HalfMesh::InsertVertex(const Vector3& coord) { return InsertVertex(coord, Vector3()); }

Vertex3D* HalfMesh::InsertVertex(const Vector3& coord, const Vector3& normal) {
    Vertex3D* v = mpStore->vertices.Allocate();
    v->SetId(GetVertexCount());
    v->SetEdgeMapId(mNextEdgeMapId++);
    v->SetCoord(coord);
    v->SetNormal(normal);
    mVertices.push_back(v);
    mVertexEdgeMaps.emplace_back();
    return v;
}

Edge3D* HalfMesh::_FindOrCreateEdge(Vertex3D* start, Vertex3D* end) {
    VertexEdgeMap& map = mVertexEdgeMaps[start->GetEdgeMapId()];
    int key = end->GetEdgeMapId();
    if (Edge3D* found = map.Find(key)) return found;
    Edge3D* e = mpStore->edges.Allocate();
    e->SetId(GetEdgeCount());
    e->SetVertex(end);
    if (!start->GetEdge()) start->SetEdge(e);
    map.Insert(key, e);
    mEdges.push_back(e);
    return e;
}

Edge3D* HalfMesh::InsertEdge(Vertex3D* start, Vertex3D* end) {
    if (!start || !end) {
        _LogLine("HalfMesh::InsertEdge: invalid inpu: vertexStart == NULL || vertexEnd == NULL");
        return nullptr;
    }
    int mapId = start->GetEdgeMapId();
    if (mapId < 0 || mapId >= GetVertexEdgeMapCount()) {
        _LogLine("HalfMesh::InsertEdge: invalid vertex edgemap id");
        return nullptr;
    }
    return _FindOrCreateEdge(start, end);
}

Face3D* HalfMesh::InsertFace(const std::vector<Vertex3D*>& corners) {
    return InsertFace(corners.data(), static_cast<int>(corners.size()));
}

Face3D* HalfMesh::InsertFace(Vertex3D* const* corners, int count) {
    if (count < 3) return nullptr;
    // Check every corner first so that a bad one leaves the mesh untouched.
    for (int i = 0; i < count; ++i) {
        if (!corners[i]) {
            _LogLine("HalfMesh::InsertEdge: invalid inpu: vertexStart == NULL || vertexEnd == NULL");
            return nullptr;
        }
        int mapId = corners[i]->GetEdgeMapId();
        if (mapId < 0 || mapId >= GetVertexEdgeMapCount()) {
            _LogLine("HalfMesh::InsertEdge: invalid vertex edgemap id");
            return nullptr;
        }
    }
    Face3D* face = mpStore->faces.Allocate();
    Edge3D* local[8];
    std::vector<Edge3D*> heap;
    Edge3D** sides = local;
    if (count > 8) {
        heap.resize(count);
        sides = heap.data();
    }
    for (int i = 0; i < count; ++i) {
        Vertex3D* a = corners[i];
        Vertex3D* b = corners[i + 1 < count ? i + 1 : 0];
        Edge3D* e = _FindOrCreateEdge(a, b);
        e->SetFace(face);
        Edge3D* p = _FindOrCreateEdge(b, a);
        e->SetPair(p);
        p->SetPair(e);
        sides[i] = e;
    }
    for (int i = 0; i < count; ++i) {
        sides[i]->SetNext(sides[i + 1 < count ? i + 1 : 0]);
        sides[i]->SetPre(sides[i > 0 ? i - 1 : count - 1]);
    }
    face->SetId(GetFaceCount());
    face->SetUniqueId(mNextFaceUniqueId++);
    face->SetEdge(sides[count - 1]);
    mFaces.push_back(face);
    return face;
}

void HalfMesh::SetBoundaryVertexEdge(Edge3D* edge) {
    auto apply = [](Edge3D* e) {
        if (e->GetFace()) return;
        Edge3D* p = e->GetPair();
        if (!p || !p->GetFace() || !p->GetVertex()) return;
        p->GetVertex()->SetEdge(e);
    };
    if (edge) {
        apply(edge);
        return;
    }
    for (Edge3D* e : mEdges) {
        if (e) apply(e);
    }
}

Edge3D* HalfMesh::FindEdge(const Vertex3D* start, const Vertex3D* end) const {
    if (!start || !end) return nullptr;
    int mapId = start->GetEdgeMapId();
    if (mapId < 0 || mapId >= GetVertexEdgeMapCount()) return nullptr;
    return mVertexEdgeMaps[mapId].Find(end->GetEdgeMapId());
}

int HalfMesh::GetTriangleVertexIds(int faceId, int ids[3]) const {
    const Face3D* face = mFaces[faceId];
    if (!face) return STATUS_INVALID_INPUT;
    const Edge3D* e = face->GetEdge();
    if (!e || !e->GetNext() || !e->GetPre() || !e->GetVertex() || !e->GetNext()->GetVertex() ||
        !e->GetPre()->GetVertex()) {
        return STATUS_INVALID_INPUT;
    }
    ids[0] = e->GetVertex()->GetId();
    ids[1] = e->GetNext()->GetVertex()->GetId();
    ids[2] = e->GetPre()->GetVertex()->GetId();
    return STATUS_SUCCESS;
}

bool HalfMesh::IsBoundaryVertex(const Vertex3D* vertex) const {
    if (!vertex || !vertex->GetEdge()) return false;
    int mapId = vertex->GetEdgeMapId();
    if (mapId >= 0 && mapId < GetVertexEdgeMapCount() && !mVertexEdgeMaps[mapId].Empty()) {
        const VertexEdgeMap& map = mVertexEdgeMaps[mapId];
        for (int i = 0; i < map.Size(); ++i) {
            if (!map.EdgeAt(i)->GetFace()) return true;
        }
        return false;
    }
    const Edge3D* e = vertex->GetEdge();
    return !e->GetFace() || (e->GetPair() && !e->GetPair()->GetFace());
}

void HalfMesh::UpdateVertexIndex() { CompactAndRenumber(mVertices); }
void HalfMesh::UpdateEdgeIndex() { CompactAndRenumber(mEdges); }
void HalfMesh::UpdateFaceIndex() { CompactAndRenumber(mFaces); }

void HalfMesh::UpdateNormal(bool areaWeighted) {
    const int vertexCount = GetVertexCount();
    const size_t edgeCount = mEdges.size();
    std::vector<Vector3> sums(vertexCount);
    std::vector<int> corners(vertexCount, 0);
    for (Face3D* face : mFaces) {
        if (!face) continue;
        const Edge3D* first = face->GetEdge();
        if (!first) continue;
        // Newell's sum: twice the area vector of a planar polygon.
        Vector3 areaVector;
        const Edge3D* h = first;
        size_t steps = 0;
        do {
            const Edge3D* next = h->GetNext();
            if (!next || next->GetFace() != face || !h->GetVertex() || !next->GetVertex()) break;
            areaVector += h->GetVertex()->GetCoord().CrossProduct(next->GetVertex()->GetCoord());
            h = next;
        } while (h != first && ++steps <= edgeCount);
        Vector3 unit = areaVector;
        if (unit.Length() > REAL_TOL) {
            unit.Normalise();
        } else {
            unit = Vector3();
        }
        face->SetNormal(unit);
        const Vector3& weight = areaWeighted ? areaVector : unit;
        h = first;
        steps = 0;
        do {
            const Vertex3D* v = h->GetVertex();
            if (v && v->GetId() >= 0 && v->GetId() < vertexCount) {
                sums[v->GetId()] += weight;
                ++corners[v->GetId()];
            }
            h = h->GetNext();
        } while (h && h != first && h->GetFace() == face && ++steps <= edgeCount);
    }
    bool nonManifold = false;
    for (int i = 0; i < vertexCount; ++i) {
        Vertex3D* v = mVertices[i];
        if (!v) continue;
        Vector3 n = sums[i];
        if (n.Length() > REAL_TOL) {
            n.Normalise();
        } else {
            n = Vector3();
        }
        v->SetNormal(n);
        if (v->GetEdge()) {
            int fanFaces = 0;
            if (!CountFanFaces(v, &fanFaces) || fanFaces != corners[i]) nonManifold = true;
        }
    }
    if (nonManifold) _LogFailure("@#@ non-manifold detected when UpdateNormal");
}

void HalfMesh::UnifyCoords(double size) {
    if (!(size > REAL_TOL)) return;
    bool any = false;
    Vector3 lo, hi;
    for (const Vertex3D* v : mVertices) {
        if (!v) continue;
        const Vector3& p = v->GetCoord();
        if (!any) {
            lo = hi = p;
            any = true;
            continue;
        }
        lo.x = std::min(lo.x, p.x);
        lo.y = std::min(lo.y, p.y);
        lo.z = std::min(lo.z, p.z);
        hi.x = std::max(hi.x, p.x);
        hi.y = std::max(hi.y, p.y);
        hi.z = std::max(hi.z, p.z);
    }
    if (!any) return;
    Vector3 extent = hi - lo;
    double largest = std::max(extent.x, std::max(extent.y, extent.z));
    if (!(largest > REAL_TOL)) return;
    double scale = size / largest;
    Vector3 center = (lo + hi) * 0.5;
    for (Vertex3D* v : mVertices) {
        if (v) v->SetCoord((v->GetCoord() - center) * scale);
    }
}

void HalfMesh::ClearEdgeMap() { std::vector<VertexEdgeMap>().swap(mVertexEdgeMaps); }

void HalfMesh::RebuildEdgeMap() {
    std::vector<VertexEdgeMap> maps(static_cast<size_t>(std::max(mNextEdgeMapId, 0)));
    for (Edge3D* e : mEdges) {
        if (!e) continue;
        const Vertex3D* start = GetStartVertex(e);
        if (!start || !e->GetVertex()) continue;
        int mapId = start->GetEdgeMapId();
        if (mapId < 0 || mapId >= static_cast<int>(maps.size())) continue;
        maps[mapId].Assign(e->GetVertex()->GetEdgeMapId(), e);
    }
    mVertexEdgeMaps.swap(maps);
}

}  // namespace ORVO
