#pragma once
// Indexed triangle meshes: the abstract interface every algorithm reads and
// writes (ITriMesh), the attributed implementation (TriMesh) and a
// connectivity-only implementation (TopologyMesh). Ids are 0-based ints; a
// triangle is three vertex ids in order. Accessors do not range-check.

#include <QarnUVAtlas/Export.h>
#include <QarnUVAtlas/Primitives.h>

#include <memory>
#include <vector>

namespace ORVO {

// Abstract indexed triangle mesh. The order of the virtual operations is part
// of the binary interface: do not reorder.
class ORVO_API ITriMesh {
public:
    virtual int GetVertexCount() const = 0;
    virtual int GetTriangleCount() const = 0;
    virtual Vector3 GetVertexCoord(int vid) const = 0;
    virtual void SetVertexCoord(int vid, const Vector3& coord) = 0;
    virtual Vector3 GetVertexNormal(int vid) const = 0;
    virtual void SetVertexNormal(int vid, const Vector3& normal) = 0;
    virtual bool HasVertexNormal() const = 0;
    // Writes the three vertex ids of triangle fid to ids[0..2].
    virtual void GetTriangleVertexIds(int fid, int* ids) const = 0;
    virtual void SetTriangleVertexIds(int fid, int v0, int v1, int v2) = 0;
    virtual Vector3 GetTriangleNormal(int fid) const = 0;
    virtual void SetTriangleNormal(int fid, const Vector3& normal) = 0;
    virtual bool HasTriangleNormal() const = 0;
    // Appends a triangle and returns its id. Ids are not checked.
    virtual int InsertTriangle(int v0, int v1, int v2) = 0;
    // Appends a vertex and returns its id.
    virtual int InsertVertex(const Vector3& coord) = 0;
    // Exchanges two vertices' data; triangles are not renumbered.
    virtual void SwapVertex(int a, int b) = 0;
    // Removes the last `count` vertices.
    virtual void PopbackVertices(int count) = 0;
    // Exchanges two triangles with their per-triangle data.
    virtual void SwapTriangles(int a, int b) = 0;
    // Removes the last `count` triangles.
    virtual void PopbackTriangles(int count) = 0;
    // Recomputes vertex and triangle normals.
    virtual void UpdateNormal() = 0;
    // Removes all vertices and triangles.
    virtual void Clear() = 0;
    virtual ~ITriMesh() {}
};

// Tag a caller may attach to a TriMesh. The library itself only writes
// MESH_TYPE_GENERAL (after FuseVertex, for instance).
enum MeshType : int {
    MESH_TYPE_GENERAL = 0,   // no property promised
    MESH_TYPE_MANIFOLD = 1,  // caller asserts an edge-manifold mesh
};

// Triangle mesh with optional per-vertex attributes (normal, colour, texture
// coordinate) and per-triangle attributes (normal; colour and texture
// coordinate per corner, entry 3*fid + corner). An attribute array exists and
// has its full size only while its flag is on.
class ORVO_API TriMesh : public ITriMesh {
public:
    // All flags off, mesh type 0, default colour (0.86, 0.86, 0.86).
    TriMesh();
    // Sets the three named flags and leaves the others off.
    TriMesh(bool hasVertexColor, bool hasVertexTexCoord, bool hasTriangleTexCoord);
    // Deep copies: every triangle gets a new id array.
    TriMesh(const TriMesh& other);
    TriMesh& operator=(const TriMesh& other);
    TriMesh(TriMesh&& other) noexcept;
    TriMesh& operator=(TriMesh&& other) noexcept;
    ~TriMesh() override;

    // ---- ITriMesh ----
    int GetVertexCount() const final { return static_cast<int>(mVertexCoords.size()); }
    int GetTriangleCount() const final { return static_cast<int>(mTriangles.size()); }
    Vector3 GetVertexCoord(int vid) const final { return mVertexCoords[vid]; }
    void SetVertexCoord(int vid, const Vector3& coord) final { mVertexCoords[vid] = coord; }
    // The stored normal; (0,0,0) when the normal array does not reach vid.
    Vector3 GetVertexNormal(int vid) const override;
    // Ignored when the normal array does not reach vid.
    void SetVertexNormal(int vid, const Vector3& normal) override;
    bool HasVertexNormal() const override { return mHasVertexNormal; }
    void GetTriangleVertexIds(int fid, int* ids) const final {
        const int* t = mTriangles[fid].get();
        ids[0] = t[0];
        ids[1] = t[1];
        ids[2] = t[2];
    }
    void SetTriangleVertexIds(int fid, int v0, int v1, int v2) final {
        int* t = mTriangles[fid].get();
        t[0] = v0;
        t[1] = v1;
        t[2] = v2;
    }
    // The stored normal; (0,0,0) when the normal array does not reach fid.
    Vector3 GetTriangleNormal(int fid) const override;
    // Ignored when the normal array does not reach fid.
    void SetTriangleNormal(int fid, const Vector3& normal) override;
    bool HasTriangleNormal() const override { return mHasTriangleNormal; }
    // Allocates the id array and grows every enabled per-triangle array (a zero
    // normal, three zero corner entries). Returns triangle count - 1.
    int InsertTriangle(int v0, int v1, int v2) final;
    // Appends the coordinate and a zero entry to every enabled per-vertex
    // array. Returns vertex count - 1.
    int InsertVertex(const Vector3& coord) final;
    void SwapVertex(int a, int b) override;
    void PopbackVertices(int count) override;
    void SwapTriangles(int a, int b) override;
    // Frees the last `count` triangle arrays and their per-triangle entries.
    void PopbackTriangles(int count) override;
    // Area-weighted unit vertex normals and unit triangle normals; switches both
    // normal flags on. A vertex touched only by zero-area triangles takes a
    // neighbour's normal; an isolated vertex keeps (0,0,0).
    void UpdateNormal() override;
    // Frees every array and triangle array; flags, type and default colour stay.
    void Clear() override;

    // ---- growth ----
    // Appends the coordinate and always the given normal (whatever the normal
    // flag), plus zero colour/texture entries where enabled. Returns the new id.
    int InsertVertex(const Vector3& coord, const Vector3& normal);
    // Capacity hints for building large meshes: reserve the coordinate and
    // enabled per-vertex arrays, or the triangle and enabled per-triangle arrays.
    void ReserveVertices(int count);
    void ReserveTriangles(int count);

    // ---- fast read access ----
    // The three ids of triangle fid (valid until the triangle is removed).
    const int* GetTriangle(int fid) const { return mTriangles[fid].get(); }
    const Vector3& GetVertexCoordRef(int vid) const { return mVertexCoords[vid]; }
    const std::vector<Vector3>& GetVertexCoords() const { return mVertexCoords; }

    // ---- attributes ----
    // Colour of a vertex; the default colour while the vertex-colour flag is off.
    Vector3 GetVertexColor(int vid) const;
    void SetVertexColor(int vid, const Vector3& color);
    // Texture coordinate (u, v, 0); (0,0,0) when the array does not reach vid.
    Vector3 GetVertexTexcoord(int vid) const;
    void SetVertexTexcoord(int vid, const Vector3& texcoord);
    // Corner colour; the default colour while HasTriangleColor() is false.
    Vector3 GetTriangleColor(int fid, int corner) const;
    void SetTriangleColor(int fid, int corner, const Vector3& color);
    // Corner texture coordinate; (0,0,0) when the array does not reach it.
    Vector3 GetTriangleTexcoord(int fid, int corner) const;
    void SetTriangleTexcoord(int fid, int corner, const Vector3& texcoord);

    // ---- flags ----
    bool HasVertexColor() const { return mHasVertexColor; }
    bool HasVertexTexCoord() const { return mHasVertexTexCoord; }
    // True only when the flag is on and there are exactly three colours per triangle.
    bool HasTriangleColor() const {
        return mHasTriangleColor && mTriangleColors.size() == 3 * mTriangles.size();
    }
    bool HasTriangleTexCoord() const { return mHasTriangleTexCoord; }
    // Store the flag; turning it on sizes the array to the vertex count (or three
    // times the triangle count), zero-filling new entries and keeping old ones.
    // Turning it off keeps the array.
    void SetHasVertexNormal(bool has);
    void SetHasVertexColor(bool has);
    void SetHasVertexTexCoord(bool has);
    void SetHasTriangleNormal(bool has);
    void SetHasTriangleColor(bool has);
    void SetHasTriangleTexCoord(bool has);

    void SetDefaultColor(const Vector3& color) { mDefaultColor = color; }
    Vector3 GetDefaultColor() const { return mDefaultColor; }
    MeshType GetMeshType() const { return mMeshType; }
    void SetMeshType(MeshType type) { mMeshType = type; }

    // ---- whole-mesh edits ----
    // Merges vertices closer than REAL_TOL: keeps first occurrences in id order,
    // renumbers the triangles and compacts the coordinates (other per-vertex
    // arrays are left as they are); sets the mesh type to 0. Returns 0, or -2
    // with a log line when there are fewer than 2 vertices.
    int FuseVertex();
    // Every coordinate becomes (coord - center) * scale; nothing happens when
    // scale <= REAL_TOL.
    void UnifyCoords(double scale, const Vector3& center);
    // Fits the mesh into a cube of edge `size` centred at the origin, writing the
    // scale and the old box centre where the pointers are not null. An empty or
    // flat-to-a-point mesh is left unchanged and nothing is written.
    void UnifyCoords(double size, double* scaleOut, Vector3* centerOut);

private:
    void _CopyFrom(const TriMesh& other);

    MeshType mMeshType;
    std::vector<Vector3> mVertexCoords;
    std::vector<Vector3> mVertexNormals;
    std::vector<Vector3> mVertexColors;
    std::vector<Vector3> mVertexTexcoords;
    // One separately allocated array of three vertex ids per triangle.
    std::vector<std::unique_ptr<int[]>> mTriangles;
    std::vector<Vector3> mTriangleNormals;
    std::vector<Vector3> mTriangleColors;
    std::vector<Vector3> mTriangleTexcoords;
    bool mHasVertexNormal;
    bool mHasVertexColor;
    bool mHasVertexTexCoord;
    bool mHasTriangleNormal;
    bool mHasTriangleColor;
    bool mHasTriangleTexCoord;
    Vector3 mDefaultColor;
};

// Connectivity only: a vertex count and three vertex ids per triangle. The
// geometric operations log a warning and return zero values.
class ORVO_API TopologyMesh : public ITriMesh {
public:
    TopologyMesh();
    explicit TopologyMesh(int vertexCount);
    TopologyMesh(int vertexCount, const std::vector<int>& triangleVertexIds);
    ~TopologyMesh() override;

    int GetVertexCount() const override { return mVertexCount; }
    int GetTriangleCount() const override { return static_cast<int>(mTriangleVertexIds.size() / 3); }
    Vector3 GetVertexCoord(int vid) const override;
    void SetVertexCoord(int vid, const Vector3& coord) override;
    Vector3 GetVertexNormal(int vid) const override;
    void SetVertexNormal(int vid, const Vector3& normal) override;
    bool HasVertexNormal() const override { return false; }
    void GetTriangleVertexIds(int fid, int* ids) const override {
        const int* t = &mTriangleVertexIds[3 * static_cast<size_t>(fid)];
        ids[0] = t[0];
        ids[1] = t[1];
        ids[2] = t[2];
    }
    void SetTriangleVertexIds(int fid, int v0, int v1, int v2) override;
    Vector3 GetTriangleNormal(int fid) const override;
    void SetTriangleNormal(int fid, const Vector3& normal) override;
    bool HasTriangleNormal() const override { return false; }
    int InsertTriangle(int v0, int v1, int v2) override;
    // Logs a warning, returns 0 and leaves the count: add vertices with SetVertexCount.
    int InsertVertex(const Vector3& coord) override;
    void SwapVertex(int a, int b) override;
    // Lowers the count by `count`; a negative result is logged and kept.
    void PopbackVertices(int count) override;
    void SwapTriangles(int a, int b) override;
    void PopbackTriangles(int count) override;
    void UpdateNormal() override;
    void Clear() override;

    void SetVertexCount(int vertexCount) { mVertexCount = vertexCount; }
    // The flat id list, three per triangle.
    const std::vector<int>& GetTriangleVertexIdList() const { return mTriangleVertexIds; }

private:
    int mVertexCount;
    std::vector<int> mTriangleVertexIds;
};

// Copies src into dst (cleared first): coordinates and triangles, plus every
// attribute when both are TriMesh. A TopologyMesh target receives the vertex
// count and triangles. Returns 0, or -2 (with a log line) for a null argument.
ORVO_API int CopyTriMesh(const ITriMesh* src, ITriMesh* dst);
// Returns a new deep copy owned by the caller (delete it), or null for a null src.
ORVO_API TriMesh* CopyTriMesh(const TriMesh* src);

}  // namespace ORVO
