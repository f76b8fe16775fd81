#pragma once
// One vertex per wedge: after the corners of a mesh have been grouped into
// wedges (sets of corners at one vertex that must keep sharing it), each wedge
// is given its own vertex id. Used by the cutting and the manifold repair.

#include <QarnUVAtlas/TriMesh.h>

#include "unfold/UndirectedEdgeTable.h"

#include <vector>

namespace ORVO {

// Rewrites corners (3 vertex ids per face) so that corners of one set share a
// vertex and different sets at a vertex do not. The set holding a vertex's
// lowest corner keeps the id; the others get vertexCount, vertexCount + 1, ...
// in the order of their lowest corner. sources receives, per new vertex, the
// vertex it stands for.
void _AssignWedgeVertices(CornerDisjointSets& sets, int vertexCount, std::vector<int>& corners,
                          std::vector<int>& sources);

// Appends to mesh a copy of each vertex in sources, in order: coordinate,
// normal where the mesh has normals, and colour and texture coordinate where
// it is a TriMesh with those attributes. A TopologyMesh just grows its count.
void _AppendVertexCopies(ITriMesh* mesh, const std::vector<int>& sources);

// Sets the vertex ids of every triangle whose entry in corners differs from
// previous (both 3 ids per face).
void _WriteChangedTriangles(ITriMesh* mesh, const std::vector<int>& previous, const std::vector<int>& corners);

}  // namespace ORVO
