#pragma once
// Moves chart borders onto short, smooth paths. Each stretch of border
// between two charts, from one corner (where three charts or the mesh
// boundary meet) to the next, is replaced by the shortest path between its
// corners through a band around it, on edges weighted by length and by how
// flat the surface is across them: creases are cheap, so seams settle on
// them. A new border that would leave either chart in pieces or not a disc
// is not taken.

#include <QarnUVAtlas/TriMesh.h>

#include "unfold/MeshAdjacency.h"
#include "unfold/segmentation/RegionTopology.h"

#include <vector>

namespace ORVO {

struct StraighteningSettings {
    // How far (in vertex rings) a border may move in one pass.
    int bandRings = 2;
    // Largest share of the smaller chart's area one border move may hand
    // from one chart to the other.
    double maxAreaShare = 0.5;
    int passes = 2;
};

// Updates `labels` (one per face, 0 .. regionCount-1, every region an
// edge-connected disc) in place; the region count does not change.
// Returns the number of borders moved.
int _StraightenBorders(const MeshAdjacency& adj, const FaceGeometry& geo, const std::vector<Vector3>& coords,
                       const StraighteningSettings& settings, int regionCount, std::vector<int>& labels);

// The edge weight used above: 3-D length times a factor that falls from 1
// on flat surface to a fifth across a right-angled crease.
double _BorderEdgeWeight(double length, double normalCosine);

}  // namespace ORVO
