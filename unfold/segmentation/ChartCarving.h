#pragma once
// Carving: taking the few spoiled patches out of a chart whose layout fails.
// Raw scans are crumpled here and there: a triangle folded back over its
// neighbours, a tiny spike, a saddle with far more than a full turn of
// surface around it. No flattening of a large chart around such a spot keeps
// every face within the stretch limit, yet each spot on its own, cut out with
// the faces around it, lies flat at once. Cutting out costs a seam as long as
// the spot's small outline; splitting the whole chart in two would cost one
// across it.

#include <QarnUVAtlas/TriMesh.h>

#include <vector>

namespace ORVO {

// Labels the faces of `chart` whose layout `uv` spoils it: faces flipped,
// squeezed beyond `maxFaceStretch` (texture to surface) or listed in
// `overlapFaces`, each with the faces around those of its corners where
// spoiled faces gather (two fifths of the faces there or more; all three
// corners when there is no such corner), and then enough further faces that
// neither the carved patches nor the rest of the chart meet themselves at a
// single vertex. Fills `labels` (1: carved, 0: kept) and returns true;
// returns false, `labels` unspecified, when no face is spoiled or the patches
// would take more than `maxShare` of the chart's area.
bool _CarveSpoiledPatches(const TriMesh& chart, const std::vector<double>& uv, double maxFaceStretch,
                          const std::vector<int>& overlapFaces, double maxShare, std::vector<int>& labels);

}  // namespace ORVO
