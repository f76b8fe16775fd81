#pragma once
// Cutting a triangle mesh open along paths of its edges.

#include <QarnUVAtlas/Export.h>
#include <QarnUVAtlas/TriMesh.h>

#include <vector>

namespace ORVO {

class ORVO_API SplitMesh {
public:
    // Cuts triMesh in place along lines, each a path of vertex ids whose
    // consecutive pairs name the edges to cut (pairs that are not an edge are
    // ignored). Around every vertex, the faces between two cut edges (or a cut
    // edge and the boundary) form a wedge; the wedge holding the vertex's
    // lowest triangle keeps the id, every other wedge gets an appended copy
    // (same coordinate, normal, colour and texture coordinate) and its
    // triangles are renumbered. Triangle count and order never change.
    // vertexOrigins (optional) receives, per result vertex, the vertex it was
    // copied from (itself for the kept ones).
    // Returns 0; 0 also for an empty line list, which is logged and cuts
    // nothing; -2 for a null mesh, a vertex id out of range or a non-manifold
    // mesh (an edge of more than two triangles, a triangle repeating a vertex,
    // or a vertex whose faces form several fans), leaving the mesh untouched.
    static int SplitByLines(ITriMesh* triMesh, const std::vector<std::vector<int>>& lines,
                            std::vector<int>* vertexOrigins);

    // Not in this build: the entry points below return STATUS_NOT_AVAILABLE
    // (-8) at once, touching neither their arguments nor the log.
    // Inserts a vertex on each edge (a, b) at its parameter and links them into one line of edges. Output:
    // lineVertexIds.
    static int InsertSplitLineByEdgePoints(ITriMesh* triMesh, const std::vector<int>& edgeVertexPairs,
                                           const std::vector<double>& edgeParams, std::vector<int>* lineVertexIds);
    // Cuts the mesh along the plane; faceSides gets 0 or 1 per result face. Output: faceSides.
    static int SplitByPlane(ITriMesh* triMesh, const Vector3& planePoint, const Vector3& planeNormal,
                            std::vector<int>* faceSides);
    // Inserts the points and links consecutive ones by edges along the surface. Output: lines.
    static int InsertSplitLinesByFacePoints(ITriMesh* triMesh, const std::vector<int>& faceIds,
                                            const std::vector<Vector3>& points,
                                            std::vector<std::vector<int>>* lines);
};

}  // namespace ORVO
