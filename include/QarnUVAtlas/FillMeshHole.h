#pragma once
// Boundary loops (holes) of a triangle mesh.

#include <QarnUVAtlas/Export.h>
#include <QarnUVAtlas/TriMesh.h>

#include <vector>

namespace ORVO {

class ORVO_API FillMeshHole {
public:
    // Finds the boundary loops of triMesh. A boundary edge is a half-edge
    // left without a partner running the other way once the half-edges of
    // each edge are paired in triangle order. holes receives one vertex list
    // per connected piece of the boundary, in the direction the boundary edges
    // have in their triangles: consecutive ids and last -> first are boundary
    // edges, and every boundary edge is used exactly once. Loops that touch at
    // a vertex form one piece and are walked as one circuit, which passes that
    // vertex more than once. Loops are ordered by their first boundary edge in
    // triangle order and start at that edge's first vertex; a closed mesh
    // gives an empty list.
    // Returns 0, or -2 for a null argument or a vertex id out of range.
    static int FindHoles(const ITriMesh* triMesh, std::vector<std::vector<int>>* holes);

    // Not in this build: the entry points below return STATUS_NOT_AVAILABLE
    // (-8) at once, touching neither their arguments nor the log.
    // Closes the boundary loop `holeLoop` (vertex ids in walking order); smoothFill bends the patch to its
    // rim.
    static int FillHole(ITriMesh* triMesh, const std::vector<int>& holeLoop, bool smoothFill);
    // Joins two boundary paths with a strip of triangles.
    static int BridgeEdges(ITriMesh* triMesh, const std::vector<int>& edgeVertices0,
                           const std::vector<int>& edgeVertices1);
    // Joins boundary edges pairwise (ids a0 b0 a1 b1 ... per pair) with two triangles each.
    static int BridgeOneToOneEdges(ITriMesh* triMesh, const std::vector<int>& edgePairs);
    // Closes every hole with at most that many edges.
    static int FillAllHoles(ITriMesh* triMesh, int maxHoleEdgeCount);
};

}  // namespace ORVO
