#pragma once
// Repairs that make a raw (scanned) mesh usable by the flattening stages
// without changing its faces: vertex nudges against degenerate triangles and
// vertex splits against non-manifold topology.

#include <QarnUVAtlas/Export.h>
#include <QarnUVAtlas/Primitives.h>
#include <QarnUVAtlas/TriMesh.h>

#include <vector>

namespace ORVO {

class ORVO_API ConsolidateMesh {
public:
    // Computes new coordinates that remove exact degeneracy at a scale of
    // epsilon (an absolute length, typically a tiny fraction of the bounding
    // box diagonal). Vertices with identical coordinates are pushed apart, each
    // towards its own neighbours; then every triangle whose height over its
    // longest edge is below epsilon / 10 gets one corner moved so that the
    // height reaches about epsilon / 2, on the side its neighbours' orientation
    // asks for. No vertex ends up farther than epsilon from where it was.
    // Triangles that repeat a vertex id cannot be mended and are left alone.
    // mask (optional, one flag per vertex): only flagged vertices may move.
    // The mesh is not changed. Output: coords, one per vertex.
    // Returns 0, or -2 for a null mesh, a non-positive or non-finite epsilon,
    // a mask of the wrong size or a vertex id out of range.
    static int ConsolidateDegenerateTriangles(const ITriMesh* triMesh, const std::vector<bool>* mask,
                                              double epsilon, std::vector<Vector3>& coords);

    // Copies triMesh into result with its non-manifold spots split apart.
    // Along every edge one pair of faces using it in opposite directions stays
    // joined (the first such pair in face order); faces beyond that pair, and
    // neighbours that use an edge in the same direction, are separated along
    // it. Then every fan of faces around a vertex gets a vertex of its own:
    // the fan holding the vertex's lowest face keeps the id, the others get
    // appended copies. A triangle that repeats a vertex id is detached
    // completely, so that each of its corners has its own vertex.
    // Faces keep their count, order and corner order; only vertex ids change,
    // and attributes are copied with the vertices. vertexOrigins (optional)
    // receives, per result vertex, the input vertex it copies.
    // Returns 0, or -2 for a null argument or a vertex id out of range.
    static int MakeManifold(const ITriMesh* triMesh, TriMesh* result, std::vector<int>* vertexOrigins);
};

}  // namespace ORVO
