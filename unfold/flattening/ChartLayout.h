#pragma once
// Flattening one chart (conformal map, then the isometric optimisation) and
// the checks that decide whether its layout may be used as it is.

#include <QarnUVAtlas/TriMesh.h>

#include "unfold/MeshAdjacency.h"
#include "unfold/flattening/IsometricSystem.h"

#include <vector>

namespace ORVO {

constexpr int kChartIsometricIterations = 7;

// The conformal start of a chart's layout: pinned at two far-apart vertices of
// the first boundary loop of `holes` (when holesFound and it has 4 or more),
// free otherwise. Returns false (uv cleared) when the conformal map failed.
bool _ConformalStart(const TriMesh& chart, const std::vector<std::vector<int>>& holes, bool holesFound,
                     std::vector<double>& uv);

// The start for a disc-like chart (one boundary loop) whose conformal start
// folds: the loop on a circle, spaced by edge length, every inner vertex at
// the mean of its neighbours (such a layout never folds). Returns false when
// the chart has not one simple loop or the system cannot be solved (uv then
// unspecified). `adj`, when given, is the chart's adjacency.
bool _CircleStart(const TriMesh& chart, const std::vector<std::vector<int>>& holes, std::vector<double>& uv,
                  const MeshAdjacency* adj = nullptr);

// Finishes a start: the isometric optimisation, then the layout scaled to the
// chart's 3-D area and flat faces given a small area. With `system` the
// optimisation uses it, preparing it for `chart` first when it is not
// prepared: a second start of the same chart then reuses the factorisation.
// Returns the isometric step's status (a failed step keeps its last layout).
int _SettleLayout(const TriMesh& chart, std::vector<double>& uv, int isometricIterations,
                  IsometricSystem* system = nullptr);

// Settles a start that neither folds nor crosses its own outline and keeps it
// so: each isometric step is taken whole when its result is still sound, or
// else the longest of a half, a quarter, an eighth or a sixteenth of it that
// is; the settling ends at a step no part of which is sound, or after
// `isometricIterations` steps. Then finished as _SettleLayout finishes (scaled
// to the chart's area, flat faces given a small area). For charts
// whose free settling lays distant parts of their outline over each other:
// the layout stretches more where the outline would have crossed. `system`
// must be prepared for `chart`. Returns false (uv untouched) when the start is
// not sound or a step cannot be solved at all.
bool _SettleWithoutCrossing(const TriMesh& chart, const std::vector<std::vector<int>>& holes, std::vector<double>& uv,
                            int isometricIterations, IsometricSystem& system);

// _ConformalStart, then _SettleLayout. Returns false (uv cleared) when the
// conformal map failed. Sets `accept` when the isometric step failed outside
// strict mode, where such a layout is taken unchecked.
bool _FlattenChart(const TriMesh& chart, const std::vector<std::vector<int>>& holes, bool holesFound, bool strict,
                   std::vector<double>& uv, bool& accept, int isometricIterations = kChartIsometricIterations,
                   IsometricSystem* system = nullptr);

// _CircleStart, then _SettleLayout: the second way to flatten a chart whose
// conformal start folds. Returns false when there is no circle start.
bool _FlattenChartFromCircle(const TriMesh& chart, const std::vector<std::vector<int>>& holes, std::vector<double>& uv,
                             int isometricIterations = kChartIsometricIterations,
                             IsometricSystem* system = nullptr);

// The map from face f's layout onto the face, as its metric J^T J: `a` and
// `c` on the diagonal, `b` off it (its eigenvalues are the squared singular
// values of the map, its trace twice the squared L2 stretch). Returns 1, 0 for
// a face whose surface area is at most `flatArea`, or -1 when the layout flips
// the face or gives it no area (a, b, c then unset).
int _FaceLayoutMetric(const TriMesh& chart, const std::vector<double>& uv, int f, double& a, double& b, double& c,
                      double flatArea = 0.0);

// The larger eigenvalue of the metric [a b; b c]: the square of a face's
// largest texture-to-surface stretch.
double _LargestStretchSquared(double a, double b, double c);

// Whether face f is spoiled in the layout: flipped or without area, or with a
// largest texture-to-surface stretch above `limit`. A face whose surface area is
// at most `flatArea` has no shape to keep and counts as sound.
bool _FaceSpoiled(const TriMesh& chart, const std::vector<double>& uv, int f, double limit, double flatArea = 0.0);

// Scales the layout so that its area equals the chart's 3-D area (nothing
// when either is zero).
void _MatchSurfaceArea(const TriMesh& chart, std::vector<double>& uv);

// The summed surface area of the chart's faces.
double _ChartSurfaceArea(const TriMesh& chart);

// Whether some face's largest texture-to-surface stretch exceeds `limit`, or
// some face is flipped or has no area in the layout.
bool _HasSqueezedTriangle(const TriMesh& chart, const std::vector<double>& uv, double limit);

bool _HasFlippedTriangle(const TriMesh& chart, const std::vector<double>& uv);

// Whether a boundary loop of the chart crosses itself in the layout.
bool _BoundaryCrossesItself(const std::vector<std::vector<int>>& holes, const std::vector<double>& uv);

// True when the layout is sure to be free of overlaps without the pair test
// (one boundary loop, every triangle counter-clockwise, one turn around every
// inner vertex); false means "not shown".
bool _WindsOnce(const TriMesh& chart, const std::vector<double>& uv, const std::vector<std::vector<int>>& holes);

// The 2-D overlap test on the layout; overlapFaces (when not null) receives
// the overlapping triangles. True when an overlap was found.
bool _OverlapTest(const TriMesh& chart, const std::vector<double>& uv, std::vector<int>* overlapFaces);

}  // namespace ORVO
