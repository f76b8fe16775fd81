#pragma once
// Charts merged under a stretch budget: neighbouring charts are merged, in
// the order of the merge cost of ChartClustering.h, whenever the union
// flattens cleanly (no fold, no face squeezed beyond the face limit) and the
// area-weighted L2 stretch of all charts together stays within the budget.
// The budget, not a count, so decides how many charts there are.

#include <QarnUVAtlas/TriMesh.h>

#include "unfold/MeshAdjacency.h"
#include "unfold/segmentation/ChartClustering.h"
#include "unfold/segmentation/RegionTopology.h"

#include <vector>

namespace ORVO {

struct StretchBudget {
    // Area-weighted L2 texture stretch of all charts together (1 = none).
    double maxStretch = 1.05;
    // Largest texture-to-surface stretch of one face.
    double maxFaceStretch = 3.0;
    // Order of the merges and the merges never tried (spread, creases).
    ClusteringLimits limits;
    // Worker threads for flattening candidates; 0: derived from the processors.
    int threadCount = 0;
    // The mesh's corner angles as _CornerAngles gives them, when the caller
    // has them already; null: they are computed here.
    const std::vector<double>* cornerAngles = nullptr;
};

// Updates `labels` (one per face, 0 .. regionCount-1, every region an
// edge-connected disc) by merging regions; returns the new region count
// (labels 0 .. count-1). A region may surround holes; `slits` receives the
// cuts (mesh vertex paths) that open such regions into discs. `cornerUv`
// receives the layout each face's region was judged by, (u, v) for each of
// its 3 corners, which the atlas may use as it is.
int _MergeWithinStretchBudget(const MeshAdjacency& adj, const FaceGeometry& geo, const std::vector<Vector3>& coords,
                              const StretchBudget& budget, int regionCount, std::vector<int>& labels,
                              std::vector<double>& cornerUv, std::vector<std::vector<int>>& slits);

// The flattening of one region as the atlas would make it (cut open first
// when it surrounds holes), judged: whether it
// passes the strict checks with `maxFaceStretch`, and the sum over its faces
// of 3-D area times squared L2 stretch (the layout scaled to the region's
// area), which over the total area gives the squared L2 stretch.
struct RegionLayout {
    bool valid = false;
    bool fromCircle = false;  // the circle start passed (settled freely or without crossing)
    double stretchSum = 0.0;
    double area = 0.0;
    std::vector<double> cornerUv;  // (u, v) of the 3 corners of each face, in the order of the faces given
    std::vector<std::vector<int>> slits;  // cuts inside the region (mesh vertex ids) that make it a disc
};
// The face limit is `budget.maxFaceStretch`. A layout that fails the checks
// only for a few squeezed faces is relieved (see SqueezeRelief.h) and taken
// when it then passes them with its own L2 stretch within `budget.maxStretch`.
// With `spareThread`, the work that does not wait for the conformal start
// (the isometric system, the circle start) runs on a thread of its own beside
// it; the layout is the same either way. The conformal start is tried first,
// the circle start when it fails; with `circleFirst` the circle start alone
// (the conformal start only for a region without one).
// `cornerAngles`: per face corner of the mesh, its angle on the surface (as
// _CornerAngles gives them).
RegionLayout _FlattenRegion(const MeshAdjacency& adj, const std::vector<Vector3>& coords,
                            const std::vector<double>& cornerAngles, const std::vector<int>& faces,
                            const StretchBudget& budget, bool spareThread = false, bool circleFirst = false);

// Per face corner (3 per face), the angle of the face at that corner.
std::vector<double> _CornerAngles(const MeshAdjacency& adj, const std::vector<Vector3>& coords);

}  // namespace ORVO
