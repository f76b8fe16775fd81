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
};

}  // namespace ORVO
