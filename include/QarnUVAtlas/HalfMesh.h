#pragma once
// Half-edge representation of a polygon mesh. Vertices, half-edges and faces
// are distinct objects linked by pointers, each carrying its own index. The
// mesh owns every element: they live in blocks the mesh allocates and frees,
// so an element must never be deleted by the caller.
//
// Layout and rules a user relies on:
//   * A half-edge points to the vertex it ends at; its start is the vertex of
//     its pair. There is at most one half-edge per ordered vertex pair.
//   * Every half-edge created by InsertFace has a pair. A half-edge whose face
//     is null is a boundary half-edge; its next and pre stay null.
//   * A second face that uses an existing directed edge takes that half-edge
//     over (its face, next and pre are overwritten). This is how non-manifold
//     or inconsistently oriented input shows itself; ValidateTopology reports
//     the broken face cycles that result.
//   * Removed elements (edge contractions) leave a null slot in their list so
//     that the ids of all other elements stay valid; UpdateVertexIndex,
//     UpdateEdgeIndex and UpdateFaceIndex compact the lists and renumber.
//   * Each vertex has an outgoing-edge map, found by the vertex's edge-map id,
//     from the edge-map id of a target vertex to the half-edge going there.
//     Edge-map ids never change, so the maps stay valid across renumbering.

#include <QarnUVAtlas/Export.h>
#include <QarnUVAtlas/Primitives.h>

#include <memory>
#include <vector>

namespace ORVO {

class ITriMesh;
class Edge3D;
class Face3D;

class ORVO_API Vertex3D {
public:
    Vertex3D() : mId(-1), mEdgeMapId(-1), mpEdge(nullptr) {}

    int GetId() const { return mId; }
    void SetId(int id) { mId = id; }
    int GetEdgeMapId() const { return mEdgeMapId; }
    void SetEdgeMapId(int id) { mEdgeMapId = id; }
    // One outgoing half-edge (the outgoing boundary half-edge at a boundary
    // vertex after SetBoundaryVertexEdge); null while the vertex has none.
    Edge3D* GetEdge() const { return mpEdge; }
    void SetEdge(Edge3D* edge) { mpEdge = edge; }
    const Vector3& GetCoord() const { return mCoord; }
    void SetCoord(const Vector3& coord) { mCoord = coord; }
    const Vector3& GetNormal() const { return mNormal; }
    void SetNormal(const Vector3& normal) { mNormal = normal; }

    // The valence found by turning around the vertex from its edge: step to
    // the pair, count it, stop when the pair has no face or the next outgoing
    // half-edge is the starting one; 0 without an edge. Started from the
    // outgoing boundary half-edge (see HalfMesh::SetBoundaryVertexEdge) a
    // boundary vertex counts all its edges; started elsewhere the count stops
    // at the boundary. A walk caught in a loop of broken links stops too.
    int GetDegree() const;

private:
    int mId;
    int mEdgeMapId;
    Edge3D* mpEdge;
    Vector3 mCoord;
    Vector3 mNormal;
};

// One half-edge. A new one has id -1 and every pointer null until linked.
class ORVO_API Edge3D {
public:
    Edge3D()
        : mId(-1), mpVertex(nullptr), mpPair(nullptr), mpNext(nullptr), mpPre(nullptr), mpFace(nullptr) {}

    int GetId() const { return mId; }
    void SetId(int id) { mId = id; }
    // The vertex the half-edge points to.
    Vertex3D* GetVertex() const { return mpVertex; }
    void SetVertex(Vertex3D* vertex) { mpVertex = vertex; }
    Edge3D* GetPair() const { return mpPair; }
    void SetPair(Edge3D* pair) { mpPair = pair; }
    Edge3D* GetNext() const { return mpNext; }
    void SetNext(Edge3D* next) { mpNext = next; }
    Edge3D* GetPre() const { return mpPre; }
    void SetPre(Edge3D* pre) { mpPre = pre; }
    // Null for a boundary half-edge.
    Face3D* GetFace() const { return mpFace; }
    void SetFace(Face3D* face) { mpFace = face; }

private:
    int mId;
    Vertex3D* mpVertex;
    Edge3D* mpPair;
    Edge3D* mpNext;
    Edge3D* mpPre;
    Face3D* mpFace;
};

class ORVO_API Face3D {
public:
    Face3D() : mId(-1), mUniqueId(-1), mpEdge(nullptr) {}

    int GetId() const { return mId; }
    void SetId(int id) { mId = id; }
    // Taken from a counter of the mesh that never goes back: it survives
    // renumbering and removals.
    int GetUniqueId() const { return mUniqueId; }
    void SetUniqueId(int id) { mUniqueId = id; }
    // For a face made by InsertFace, the half-edge from the last corner to the first.
    Edge3D* GetEdge() const { return mpEdge; }
    void SetEdge(Edge3D* edge) { mpEdge = edge; }
    const Vector3& GetNormal() const { return mNormal; }
    void SetNormal(const Vector3& normal) { mNormal = normal; }

private:
    int mId;
    int mUniqueId;
    Edge3D* mpEdge;
    Vector3 mNormal;
};

// The outgoing half-edges of one vertex, keyed by the target's edge-map id.
// Entries are kept in ascending key order in a small array stored inline (the
// usual vertex has about six neighbours) and moved to the heap when it grows
// past that, so a mesh does not pay one tree node per half-edge.
class ORVO_API VertexEdgeMap {
public:
    VertexEdgeMap() noexcept : mSize(0), mCapacity(kInlineCapacity) {}
    ~VertexEdgeMap();
    VertexEdgeMap(VertexEdgeMap&& other) noexcept;
    VertexEdgeMap& operator=(VertexEdgeMap&& other) noexcept;
    VertexEdgeMap(const VertexEdgeMap& other);
    VertexEdgeMap& operator=(const VertexEdgeMap& other);

    int Size() const { return mSize; }
    bool Empty() const { return mSize == 0; }
    // The half-edge stored under key, or null.
    Edge3D* Find(int key) const;
    // Adds (key, edge) unless key is present; returns whether it was added.
    bool Insert(int key, Edge3D* edge);
    // Adds or overwrites the entry of key.
    void Assign(int key, Edge3D* edge);
    // Removes the entry of key; returns whether there was one.
    bool Erase(int key);
    // Drops every entry and releases heap storage.
    void Clear();
    // Entry i in ascending key order, 0 <= i < Size().
    int KeyAt(int i) const { return Keys()[i]; }
    Edge3D* EdgeAt(int i) const { return Edges()[i]; }

private:
    static constexpr int kInlineCapacity = 7;

    bool IsInline() const { return mCapacity == kInlineCapacity; }
    int* Keys() { return IsInline() ? mStore.local.keys : mStore.heap.keys; }
    const int* Keys() const { return IsInline() ? mStore.local.keys : mStore.heap.keys; }
    Edge3D** Edges() { return IsInline() ? mStore.local.edges : mStore.heap.edges; }
    Edge3D* const* Edges() const { return IsInline() ? mStore.local.edges : mStore.heap.edges; }
    // Position of the first key not less than key.
    int LowerBound(int key) const;
    void Grow();
    void Release();
    void StealFrom(VertexEdgeMap& other) noexcept;

    int mSize;
    int mCapacity;
    union Store {
        struct {
            Edge3D* edges[kInlineCapacity];
            int keys[kInlineCapacity];
        } local;
        struct {
            Edge3D** edges;  // one block: capacity edge pointers, then capacity keys
            int* keys;
        } heap;
    } mStore;
};

class ORVO_API HalfMesh {
public:
    HalfMesh();
    ~HalfMesh();
    HalfMesh(const HalfMesh&) = delete;
    HalfMesh& operator=(const HalfMesh&) = delete;

    // ---- access (no range check; a removed element reads as null) ----
    int GetVertexCount() const { return static_cast<int>(mVertices.size()); }
    int GetEdgeCount() const { return static_cast<int>(mEdges.size()); }
    int GetFaceCount() const { return static_cast<int>(mFaces.size()); }
    Vertex3D* GetVertex(int id) const { return mVertices[id]; }
    Edge3D* GetEdge(int id) const { return mEdges[id]; }
    Face3D* GetFace(int id) const { return mFaces[id]; }
    // The outgoing-edge map with the given edge-map id; the number of maps.
    const VertexEdgeMap& GetVertexEdgeMap(int edgeMapId) const { return mVertexEdgeMaps[edgeMapId]; }
    int GetVertexEdgeMapCount() const { return static_cast<int>(mVertexEdgeMaps.size()); }
    // The half-edge from start to end, or null (also when the maps were cleared).
    Edge3D* FindEdge(const Vertex3D* start, const Vertex3D* end) const;
    // The vertex a half-edge starts at (the vertex of its pair), or null.
    static Vertex3D* GetStartVertex(const Edge3D* edge) {
        return edge && edge->GetPair() ? edge->GetPair()->GetVertex() : nullptr;
    }

    // ---- growth ----
    // Capacity hints only: the lists and the element blocks.
    void ReserveVertex(int count);
    void ReserveEdge(int count);
    void ReserveFace(int count);
    // A new vertex with the next index as id, the next edge-map id, no edge and
    // the given normal (zero when omitted); an empty outgoing-edge map is
    // appended for it. Returns the vertex.
    Vertex3D* InsertVertex(const Vector3& coord);
    Vertex3D* InsertVertex(const Vector3& coord, const Vector3& normal);
    // The half-edge from start to end, created (next index as id, becoming the
    // edge of start if start has none) when the map of start does not hold it.
    // Returns null, with a log line, for a null vertex or a vertex whose
    // edge-map id has no map (after ClearEdgeMap).
    Edge3D* InsertEdge(Vertex3D* start, Vertex3D* end);
    // A face over the corners in order: each side's half-edge gets the face and
    // a pair (the pair keeps a null face until a neighbour claims it), next and
    // pre close the cycle, the face's edge is the side last -> first. Returns
    // the face, or null (nothing changed) for fewer than 3 corners, and with
    // InsertEdge's log line for a null corner or one without an edge map.
    Face3D* InsertFace(const std::vector<Vertex3D*>& corners);
    // The same over count corners read from an array (no list to build).
    Face3D* InsertFace(Vertex3D* const* corners, int count);
    // With null: every boundary half-edge whose pair has a face becomes the
    // edge of its start vertex. With a half-edge: the same for that one only.
    void SetBoundaryVertexEdge(Edge3D* edge);

    // ---- queries ----
    // Vertex ids of e, e.next and e.pre for the face's edge e: the corners
    // (a, b, c) of a triangle made from (a, b, c). Returns 0, or -2 when the
    // face is missing or its edge is not linked into a cycle.
    int GetTriangleVertexIds(int faceId, int ids[3]) const;
    // True when an outgoing half-edge of the vertex has no face (needs the maps;
    // falls back to the vertex's edge when they were cleared).
    bool IsBoundaryVertex(const Vertex3D* vertex) const;

    // ---- maintenance ----
    // Drop the null slots left by removals and set every id to its index.
    void UpdateVertexIndex();
    void UpdateEdgeIndex();
    void UpdateFaceIndex();
    // Unit face normals (Newell's sum over the face cycle) and unit vertex
    // normals summed from the faces around each vertex: weighted by face area
    // when areaWeighted, one per face otherwise. A vertex whose fan cannot be
    // walked as one disc or half-disc makes the call log "@#@ non-manifold
    // detected when UpdateNormal" once; its normal still sums every face on it.
    void UpdateNormal(bool areaWeighted);
    // Fits the vertices into a cube of edge `size` centred at the origin
    // (uniform scale about the bounding-box centre). Nothing happens for an
    // empty mesh, a mesh flat to a point or size <= 0.
    void UnifyCoords(double size);
    // Releases every outgoing-edge map (memory once building is finished).
    // InsertEdge then refuses to work until RebuildEdgeMap; the contractions
    // rebuild the maps themselves.
    void ClearEdgeMap();
    // Recreates the outgoing-edge maps from the half-edges.
    void RebuildEdgeMap();
    // Checks the links: pairs mutual and distinct, start != end, a face
    // half-edge's next/pre mutual and on the same face, face cycles closed,
    // vertex edges starting at their vertex, ids equal to list positions and
    // the maps (when present) holding every half-edge under its start. Returns
    // 0, or -3 with a log line naming the first problem found.
    int ValidateTopology() const;
    // Contracts the half-edge with id edgeId between two triangles: its start
    // vertex is removed and merged into its end vertex, which keeps its
    // coordinate; the two triangles and four half-edges disappear and the two
    // remaining sides of each triangle become one edge. Refused with -2 for a
    // missing edge or pair, a missing face, a non-triangle face, or when both
    // ends are boundary vertices (that would pinch the surface), and with -3
    // when the ends have common neighbours other than the two opposite corners
    // (the result would not be manifold). With updateIndex the lists are
    // compacted and renumbered; otherwise removed elements leave null slots
    // and every other id stays valid. Returns 0 on success.
    int ContractInnerEdge(int edgeId, bool updateIndex);
    // Contracts a boundary edge given by either of its half-edges. With s -> e
    // the half-edge that has the face, s is removed and merged into e (which
    // keeps its coordinate) and the triangle disappears. Refused with -2 for a
    // missing edge or pair, an edge that is not on the boundary, a
    // non-triangle face, or a triangle whose other two sides are both on the
    // boundary; with -3 when the ends share a neighbour other than the
    // opposite corner. updateIndex as for ContractInnerEdge. Returns 0.
    int ContractBoundaryEdge(int edgeId, bool updateIndex);

private:
    struct ElementStore;

    Edge3D* _FindOrCreateEdge(Vertex3D* start, Vertex3D* end);
    void _ResetVertexEdge(Vertex3D* vertex);
    void _MergeVertexInto(Vertex3D* from, Vertex3D* into);
    void _RemoveEdge(Edge3D* edge);
    void _RemoveFace(Face3D* face);
    void _RemoveVertex(Vertex3D* vertex);
    int _CheckLink(Vertex3D* a, Vertex3D* b, const Vertex3D* c, const Vertex3D* d) const;
    void _FinishContraction(bool updateIndex);

    std::vector<Vertex3D*> mVertices;
    std::vector<Edge3D*> mEdges;
    std::vector<Face3D*> mFaces;
    std::vector<VertexEdgeMap> mVertexEdgeMaps;
    int mNextEdgeMapId;
    int mNextFaceUniqueId;
    std::unique_ptr<ElementStore> mpStore;
};

// A new half-edge mesh of the triangle mesh (vertex i and face t are vertex i
// and triangle t), owned by the caller. Returns null, with a log line, for a
// null mesh or a triangle with a vertex id out of range.
ORVO_API HalfMesh* CreateHalfMeshFromITriMesh(const ITriMesh* triMesh);
// A new half-edge mesh of the triangles listed in ids (triangle ids of mesh;
// face k is triangle ids[k]). Its vertices are the vertices those triangles
// use, in ascending old id order; idMap, when not null, receives for each new
// vertex id its old vertex id. Returns null, with a log line, for a null mesh
// or an id out of range; an empty list gives an empty mesh.
ORVO_API HalfMesh* CreateHalfMeshFromSubTriMesh(const ITriMesh* triMesh, const std::vector<int>& ids,
                                                std::vector<int>* idMap);
// Clears triMesh, inserts every vertex coordinate in list order and every face
// as a fan from the vertex its edge points to (a triangle keeps its corner
// order). A face whose cycle was taken over by a later face is followed only
// while it stays on that face. Returns 0, -2 (logged) for a null argument, or
// -3 (logged) when a face refers to a vertex missing from the list.
ORVO_API int ConvertHalfMeshToITriMesh(const HalfMesh* halfMesh, ITriMesh* triMesh);

}  // namespace ORVO
