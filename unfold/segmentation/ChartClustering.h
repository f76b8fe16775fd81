#pragma once
// Charts by merging: every face starts as a chart of its own, and the pair of
// neighbouring charts whose union costs least in lost flatness per unit of
// seam saved is merged, again and again, until the wanted count is reached or
// no allowed merge is left. Flat areas so end in large charts and curved ones
// in small charts, which is what keeps the seams short for a given count.

#include <QarnUVAtlas/TriMesh.h>

#include "unfold/MeshAdjacency.h"
#include "unfold/segmentation/RegionTopology.h"

#include <vector>

namespace ORVO {

struct ClusteringLimits {
    // Stop once this many charts are left.
    int targetCount = 1;
    // Largest normal spread of a chart, 1 - |area-weighted mean normal|: the
    // spread of normals filling a cone of half-angle t evenly is sin^2(t/2),
    // so 0.25 keeps them within about 60 degrees of the mean; 2: none.
    double maxSpread = 2.0;
    // When the count is not reached within maxSpread, merging goes on with
    // this limit instead (ignored unless larger).
    double fallbackSpread = 0.0;
    // Weight of roundness against normal spread in the merge cost: larger
    // values give rounder charts, smaller ones follow the curvature more.
    double roundnessWeight = 0.3;
    // Normal spread at which curvature weighs as much as roundness does in
    // the merge cost; larger values let charts bend further before their
    // outline counts less than their flatness.
    double spreadScale = 0.15;
    // Edges whose two faces' normals meet at a cosine below this are creases;
    // two charts whose shared border is mostly crease are not merged. -2: none.
    double creaseCosine = -2.0;
    // Per face, its share of the curvature of its corners (as
    // _AbsoluteCurvatureShares gives it); with a positive maxCurvature no
    // chart gathers more than that in total (radians). Null: no limit.
    const std::vector<double>* faceCurvature = nullptr;
    double maxCurvature = 0.0;
};

// Per face, its share of the absolute angle defects |2 pi - angle sum| of the
// inner vertices at its corners, each vertex's defect shared among its faces
// by their corner angles there (`cornerAngles` as _CornerAngles gives them);
// summed over a chart, the absolute curvature it holds. Unlike the spread of
// its normals, this does not cancel out over the spikes and pits of a noisy
// scan.
std::vector<double> _AbsoluteCurvatureShares(const MeshAdjacency& adj, const std::vector<double>& cornerAngles);

// What the merge cost looks at in a chart: its area, its area-weighted normal
// sum and the length of its border with other charts (mesh boundary excluded).
struct ChartShape {
    double area;
    Vector3 normal;
    double perimeter;
};

// The cost of merging two charts that share `length` of border (`crease` of
// it along creases); lower merges first. Negative when `limits` forbid it.
double _ChartMergeCost(const ChartShape& a, const ChartShape& b, double length, double crease,
                       const ClusteringLimits& limits);

// Labels every face of the mesh with its chart (0 .. count-1, charts numbered
// by their smallest face); every chart is an edge-connected topological disc.
// Returns the chart count.
int _ClusterFaces(const MeshAdjacency& adj, const FaceGeometry& geo, const std::vector<Vector3>& coords,
                  const ClusteringLimits& limits, std::vector<int>& labels);

}  // namespace ORVO
