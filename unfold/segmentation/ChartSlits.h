#pragma once
// Slits: short cuts inside one chart, from a vertex where the flattening had
// to squeeze or fold faces to the chart's boundary. A cone-shaped spike or a
// fold in a scan cannot lie flat around its tip; once the tip is on the
// boundary it can, and the chart stays one piece with a seam a few edges long
// instead of being split in two.

#include <QarnUVAtlas/TriMesh.h>

#include "unfold/MeshAdjacency.h"

#include <vector>

namespace ORVO {

// The inner vertex at the heart of the layout's worst faces: those flipped or
// stretched beyond `maxFaceStretch` (texture to surface). Returns -1 when no
// such face has an inner vertex.
// With `conesOnly`, only vertices with less than a full turn of surface around
// them count (a slit opens those; around a saddle its lips would overlap).
int _WorstInnerVertex(const TriMesh& chart, const std::vector<double>& uv, double maxFaceStretch, bool conesOnly);

// Cheapest edge path from `start` to the chart's boundary, on edges weighted by
// length and flatness as chart borders are, through no vertex marked in
// `avoid` (when not empty); vertex ids from start to the boundary, empty when
// none reaches it.
std::vector<int> _SlitPath(const TriMesh& chart, int start, const std::vector<char>& avoid = {});

// Cheapest edge paths, on edges weighted as chart borders are, from each of
// `starts` in turn to the chart's boundary or to an earlier path: vertex ids
// from the start on. A start on the boundary or on an earlier path gets none.
// Cut open along them, the chart stays one piece with every start on its border.
std::vector<std::vector<int>> _SlitPaths(const TriMesh& chart, const MeshAdjacency& adj, const std::vector<int>& starts);

// Splits the chart's faces in two along a cut from boundary to boundary
// through vertex `apex` (two slits leaving it on different paths), so that the
// apex ends on the border of both parts. Fills `labels` (0 or 1 per face) and
// returns true, or false when no such cut exists.
bool _SplitThroughVertex(const TriMesh& chart, int apex, std::vector<int>& labels);

// Cuts that join every boundary loop of a chart with holes (a topological
// disc with holes, as when a chart surrounds a hole of the mesh or another
// chart) to the others, so that cut open along them it is a disc: one path of
// vertex ids per hole, between two loops or from a loop to an earlier cut,
// on the cheapest edges as chart borders are. False when the chart has no
// boundary or a handle, which no such cut opens.
bool _JoinBoundaryLoops(const TriMesh& chart, std::vector<std::vector<int>>& paths);
// The same with the chart's adjacency in hand; also writes the boundary loops
// found (as FillMeshHole::FindHoles gives them; empty when it fails).
bool _JoinBoundaryLoops(const TriMesh& chart, const MeshAdjacency& adj, std::vector<std::vector<int>>& loops,
                        std::vector<std::vector<int>>& paths);

// A copy of `chart` cut open along `paths`: the vertices on them are split
// where the cuts separate their faces. Faces keep their order and corner order.
void _SlitChart(const TriMesh& chart, const std::vector<std::vector<int>>& paths, TriMesh& slit);
// The same with the chart's adjacency in hand.
void _SlitChart(const TriMesh& chart, const MeshAdjacency& adj, const std::vector<std::vector<int>>& paths,
                TriMesh& slit);

}  // namespace ORVO
