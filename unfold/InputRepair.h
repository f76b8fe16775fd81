#pragma once
// The working copy the options form of the atlas runs on: vertices at one
// position welded into one, and every connected piece's faces turned to agree
// with their neighbours. The caller's mesh is never changed; faces keep their
// ids, so the outputs are mapped back by undoing the turns.

#include <QarnUVAtlas/TriMesh.h>

#include <memory>
#include <vector>

namespace ORVO {

// Vertices closer than this share of the bounding-box diagonal are welded.
// Exporters that write each face's corners on their own round the same point
// to the same digits; a few units of a float's last place cover what
// transforms in single precision leave apart.
constexpr double kWeldTolerance = 1e-6;

// Merges every vertex, in increasing id order, into the lowest-id vertex
// within `tolerance` (absolute, > 0) of it that is itself kept and shares no
// face with it or with a vertex merged into it (welding joins separate
// corners; it never collapses an edge). Writes, per input vertex, the id of
// the kept vertex it merges into (itself when kept). Returns the number of
// merged vertices; with no positive tolerance, 0.
int _WeldVertices(const ITriMesh* mesh, double tolerance, std::vector<int>& keptVertex);

// Orients the faces of every piece joined through edges with exactly two
// faces. Faces that already agree across such edges form patches, which keep
// the caller's orientation; a patch is turned where it runs a shared edge the
// same way as a neighbouring patch, and each piece keeps the orientation of
// the larger part of its area. `corners` holds 3 vertex ids per face,
// `coords` the positions (3 per vertex). Writes turned[f] = 1 for each face
// to turn and returns their number. A piece that cannot be oriented (a
// Moebius strip) keeps edges whose two faces disagree, where the caller's
// faces already did if it can; cutting the mesh there is left to the
// manifold repair, which never glues such an edge.
int _OrientFaces(const std::vector<int>& corners, const std::vector<double>& coords, int vertexCount,
                 std::vector<char>& turned);

// The welded, oriented working copy of a mesh.
struct RepairedInput {
    std::unique_ptr<TriMesh> mesh;  // null when nothing needed repair
    std::vector<int> vertexOf;      // per caller vertex: its vertex in `mesh`
    std::vector<char> turned;       // per face: corners 1 and 2 exchanged
    int weldedVertices = 0;
    int turnedFaces = 0;
};

// Builds the working copy of `mesh` (already validated: ids in range, finite
// coordinates). `diagonal` is its bounding-box diagonal; welding and
// orientation each run only when asked for. result.mesh stays null when
// neither changed anything, so such meshes run exactly as without repair.
void _RepairInput(const ITriMesh* mesh, double diagonal, bool weld, bool orient, RepairedInput& result);

}  // namespace ORVO
