#pragma once
// Spatial queries on a triangle mesh: a bounding-volume hierarchy over the
// triangles answers closest-point-on-surface and first-hit ray queries.

#include <QarnUVAtlas/Export.h>
#include <QarnUVAtlas/Primitives.h>

#include <memory>

namespace ORVO {

class ITriMesh;

// Query structure over one mesh. Build copies the coordinates and triangles it
// needs, so later edits of the mesh are not seen until the next Build; the
// mesh need not outlive the tool. Queries are const and may run concurrently.
class ORVO_API MeshQueryTool {
public:
    MeshQueryTool();
    ~MeshQueryTool();
    MeshQueryTool(MeshQueryTool&& other) noexcept;
    MeshQueryTool& operator=(MeshQueryTool&& other) noexcept;
    MeshQueryTool(const MeshQueryTool&) = delete;
    MeshQueryTool& operator=(const MeshQueryTool&) = delete;

    // Builds the hierarchy over every triangle of triMesh, replacing any earlier
    // one. Returns 0, or -2 (logged, leaving the tool empty) for a null mesh, a
    // mesh without triangles or a triangle with a vertex id out of range.
    int Build(const ITriMesh* triMesh);
    // The same as a call: builds `tool` (not null) over triMesh. Returns as
    // Build, or -2 for a null tool.
    static int BuildTool(const ITriMesh* triMesh, MeshQueryTool* tool);
    // Drops the hierarchy; queries then return -5.
    void Clear();
    bool IsBuilt() const;
    // Triangle and vertex counts of the mesh last built (0 when empty).
    int GetTriangleCount() const;
    int GetVertexCount() const;

    // The point of the mesh surface nearest to p. Writes the point, the id of
    // a triangle holding it and the distance where the pointers are not null.
    // Returns 0, -5 (logged) when nothing is built, or -3 (logged) when no
    // distance is finite (non-finite coordinates).
    int QueryClosestPoint(const Vector3& p, Vector3* closest, int* triangleId,
                          double* distance) const;
    // The first triangle hit by the ray origin + t * direction, t >= 0, from
    // either side. Writes the hit point, the triangle id and t where the
    // pointers are not null. Returns 0 on a hit, -1 when the ray misses, -2
    // (logged) for a zero direction and -5 (logged) when nothing is built.
    int QueryRayIntersection(const Vector3& origin, const Vector3& direction, Vector3* hitPoint,
                             int* triangleId, double* rayParam) const;

private:
    struct Impl;
    std::unique_ptr<Impl> mpImpl;
};

// The point of triangle (a, b, c) nearest to p. A zero-area triangle is
// treated as the union of its three sides.
ORVO_API Vector3 ClosestPointOnTriangle(const Vector3& p, const Vector3& a, const Vector3& b,
                                        const Vector3& c);

}  // namespace ORVO
