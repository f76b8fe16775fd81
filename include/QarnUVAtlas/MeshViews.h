#pragma once
// Views onto part of a mesh: SubTriMesh presents a selection of a parent
// mesh's triangles as a mesh with its own compact ids; the triangle lists
// hold (or point at) triangles as three vertex ids each, without geometry.
// A view does not own its parent, which must outlive it and keep the selected
// ids valid.

#include <QarnUVAtlas/Export.h>
#include <QarnUVAtlas/Primitives.h>
#include <QarnUVAtlas/TriMesh.h>

#include <unordered_map>
#include <vector>

namespace ORVO {

// A selection of a parent mesh's triangles seen as a mesh. Local vertex ids
// 0..n-1 stand for the parent vertices the view uses, local triangle ids for
// the selected parent triangles, and each local triangle holds local vertex ids.
//
// Reading and per-item writes go through to the parent: coordinates, normals
// and SetTriangleVertexIds (local ids are translated). InsertVertex and
// InsertTriangle append to the parent and add the new item to the view.
// SwapVertex, SwapTriangles, Popback* and Clear change only the view's
// selection; the parent keeps its items. UpdateNormal recomputes the normals
// of the whole parent.
class ORVO_API SubTriMesh : public ITriMesh {
public:
    // An empty view without a parent.
    SubTriMesh();
    // See Init.
    SubTriMesh(ITriMesh* parent, const std::vector<int>& triangleIds);
    ~SubTriMesh() override;

    // Views the listed parent triangles (in list order). Local vertex ids follow
    // the first appearance of each parent vertex in those triangles. Returns 0,
    // or -2 (leaving an empty view) for a null parent or an id out of range.
    int Init(ITriMesh* parent, const std::vector<int>& triangleIds);
    // Views the listed parent vertices (in list order, isolated ones included)
    // and every parent triangle whose three vertices are all listed, in parent
    // order. Returns 0, or -2 (leaving an empty view) for a null parent or an
    // id out of range.
    int InitFromVertices(ITriMesh* parent, const std::vector<int>& vertexIds);

    ITriMesh* GetParent() const { return mpParent; }
    int GetParentVertexId(int localVid) const { return mVertexIds[localVid]; }
    int GetParentTriangleId(int localFid) const { return mTriangleIds[localFid]; }
    // The local id of a parent vertex, or -1 when the view does not hold it.
    int GetLocalVertexId(int parentVid) const;
    // Local-to-parent maps.
    const std::vector<int>& GetVertexIdMap() const { return mVertexIds; }
    const std::vector<int>& GetTriangleIdMap() const { return mTriangleIds; }

    // ---- ITriMesh ----
    int GetVertexCount() const override { return static_cast<int>(mVertexIds.size()); }
    int GetTriangleCount() const override { return static_cast<int>(mTriangleIds.size()); }
    Vector3 GetVertexCoord(int vid) const override { return mpParent->GetVertexCoord(mVertexIds[vid]); }
    void SetVertexCoord(int vid, const Vector3& coord) override;
    Vector3 GetVertexNormal(int vid) const override;
    void SetVertexNormal(int vid, const Vector3& normal) override;
    bool HasVertexNormal() const override;
    // Writes local vertex ids.
    void GetTriangleVertexIds(int fid, int* ids) const override {
        const int* t = &mLocalTriangles[3 * static_cast<size_t>(fid)];
        ids[0] = t[0];
        ids[1] = t[1];
        ids[2] = t[2];
    }
    // Takes local vertex ids and writes the parent's ids to the parent triangle.
    void SetTriangleVertexIds(int fid, int v0, int v1, int v2) override;
    Vector3 GetTriangleNormal(int fid) const override;
    void SetTriangleNormal(int fid, const Vector3& normal) override;
    bool HasTriangleNormal() const override;
    // Takes local vertex ids; appends to the parent too. Returns the local id.
    int InsertTriangle(int v0, int v1, int v2) override;
    // Appends to the parent too. Returns the local id.
    int InsertVertex(const Vector3& coord) override;
    void SwapVertex(int a, int b) override;
    void PopbackVertices(int count) override;
    void SwapTriangles(int a, int b) override;
    void PopbackTriangles(int count) override;
    void UpdateNormal() override;
    void Clear() override;

private:
    ITriMesh* mpParent;
    std::vector<int> mVertexIds;       // local vertex id -> parent vertex id
    std::vector<int> mTriangleIds;     // local triangle id -> parent triangle id
    std::vector<int> mLocalTriangles;  // three local vertex ids per local triangle
    std::unordered_map<int, int> mLocalOfParent;  // parent vertex id -> local id
};

// A list of triangles, each three vertex ids.
class ORVO_API ITriangleList {
public:
    virtual int GetTriangleCount() const = 0;
    // Writes the three vertex ids of entry idx to ids[0..2].
    virtual void GetTriangleVertexIds(int idx, int* ids) const = 0;
    virtual ~ITriangleList() {}
};

// A triangle list that owns its ids (three per triangle, flat).
class ORVO_API TriangleList : public ITriangleList {
public:
    TriangleList();
    // Takes a flat id list; a trailing incomplete triple is dropped.
    explicit TriangleList(const std::vector<int>& triangleVertexIds);
    // Copies every triangle of a mesh (nothing for a null mesh).
    explicit TriangleList(const ITriMesh* mesh);
    ~TriangleList() override;

    int GetTriangleCount() const override { return static_cast<int>(mIds.size() / 3); }
    void GetTriangleVertexIds(int idx, int* ids) const override {
        const int* t = &mIds[3 * static_cast<size_t>(idx)];
        ids[0] = t[0];
        ids[1] = t[1];
        ids[2] = t[2];
    }
    void SetTriangleVertexIds(int idx, int v0, int v1, int v2);
    // Appends a triangle and returns its index.
    int InsertTriangle(int v0, int v1, int v2);
    void Reserve(int triangleCount);
    void Clear() { mIds.clear(); }
    const std::vector<int>& GetTriangleVertexIdList() const { return mIds; }

private:
    std::vector<int> mIds;
};

// A read-only selection of the triangles of a parent mesh or parent list.
// Entry i is parent triangle GetParentTriangleId(i), with the parent's vertex ids.
class ORVO_API SubTriangleList : public ITriangleList {
public:
    SubTriangleList(const ITriMesh* parent, const std::vector<int>& triangleIds);
    SubTriangleList(const ITriangleList* parent, const std::vector<int>& triangleIds);
    ~SubTriangleList() override;

    // The selection's size; 0 when there is no parent.
    int GetTriangleCount() const override;
    void GetTriangleVertexIds(int idx, int* ids) const override;
    int GetParentTriangleId(int idx) const { return mTriangleIds[idx]; }
    const std::vector<int>& GetTriangleIdMap() const { return mTriangleIds; }

private:
    const ITriMesh* mpParentMesh;
    const ITriangleList* mpParentList;
    std::vector<int> mTriangleIds;
};

}  // namespace ORVO
