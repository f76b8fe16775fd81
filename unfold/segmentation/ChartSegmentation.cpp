// The options form's segmentation of one component (see ChartSegmentation.h).

#include "unfold/segmentation/ChartSegmentation.h"

#include "foundation/ApiProgress.h"
#include "foundation/LogLine.h"
#include "unfold/MeshAdjacency.h"
#include "unfold/segmentation/BorderStraightening.h"
#include "unfold/segmentation/ChartClustering.h"
#include "unfold/segmentation/RegionTopology.h"
#include "unfold/segmentation/StretchBudgetMerge.h"

#include <algorithm>
#include <cmath>

namespace ORVO {
namespace {

// Charts made to a count keep their normals within about 60 degrees of their
// mean (see ClusteringLimits::maxSpread): beyond that a flattening stretches
// noticeably, whatever the count.
constexpr double kCountSpread = 0.25;
// To a count, a little more bending is traded for shorter outlines than
// under a budget: the charts are many and small, so their seams dominate.
constexpr double kCountSpreadScale = 0.2;
// A count the cone above cannot reach (a small, crumpled piece) is reached
// without it; the strict flattening then judges the charts.
constexpr double kCountFallbackSpread = 2.0;
// Under a budget, the charts that the flattening then merges start nearly
// flat: normals within about 20 to 50 degrees, the wider the larger the
// budget (about 35 for a budget of 1.02). Then only the budget bounds them.
constexpr double kSeedSpreadScale = 0.6;
constexpr double kSeedSpreadMin = 0.03;
constexpr double kSeedSpreadMax = 0.18;
constexpr double kBudgetSpread = 2.0;
// A seed on a noisy scan can hold dozens of spheres' worth of curvature in
// spikes and pits that cancel out in its mean normal. No layout of it keeps
// every face within the face limit, and the atlas then carves it into
// hundreds of small charts, whose outlines are most of the seams. Under a
// budget seeds stop growing at this much absolute curvature (radians, about
// sixteen spheres'): on the shared meshes only the largest seeds of the two
// noisiest scans were above it (up to 950 and 235), those of clean scans stay
// well below (at most 122). A limit of 120 made more seeds on the noisy scans
// than their merging could take back in time (a tenth more time, no shorter
// seams); 150 to 250 shortened the seams alike.
constexpr double kSeedMostCurvature = 200.0;
// Automatic charts do not grow across edges whose faces meet at more than 80
// degrees: a box splits at its edges, while the sharp ridges of a noisy scan
// do not cut it up.
constexpr double kCreaseCosine = 0.17;

}  // namespace

int _GenerateChartSplitLines(const TriMesh* mesh, const ChartSegmentation& request,
                             std::vector<std::vector<int>>& splitLines, std::vector<double>* cornerUv) {
    if (mesh == nullptr) {
        _LogFailure("GenerateChartSplitLines: invalid input triMesh == NULL");
        return STATUS_INVALID_INPUT;
    }
    splitLines.clear();
    if (cornerUv != nullptr) cornerUv->clear();
    if (mesh->GetTriangleCount() < 1) return STATUS_SUCCESS;
    MeshAdjacency adj;
    adj.Build(mesh);
    const FaceGeometry geo = _ComputeFaceGeometry(mesh, adj);
    std::vector<Vector3> coords(adj.vertexCount);
    for (int v = 0; v < adj.vertexCount; ++v) coords[v] = mesh->GetVertexCoordRef(v);

    const bool budgeted = request.maxStretch > 0.0;
    ClusteringLimits limits;
    std::vector<double> cornerAngles, curvature;  // under a budget only
    if (budgeted) {
        limits.targetCount = 1;
        // Seeds may be the more curved, the more stretch the budget allows:
        // their stretch grows about with the square of their spread.
        limits.maxSpread = std::clamp(kSeedSpreadScale * std::sqrt(request.maxStretch - 1.0), kSeedSpreadMin,
                                      kSeedSpreadMax);
        if (request.automatic) limits.creaseCosine = kCreaseCosine;
        cornerAngles = _CornerAngles(adj, coords);
        curvature = _AbsoluteCurvatureShares(adj, cornerAngles);
        limits.faceCurvature = &curvature;
        limits.maxCurvature = kSeedMostCurvature;
    } else {
        limits.targetCount = std::max(1, request.chartCount);
        limits.maxSpread = kCountSpread;
        limits.spreadScale = kCountSpreadScale;
        limits.fallbackSpread = kCountFallbackSpread;
    }
    std::vector<int> labels;
    int count = _ClusterFaces(adj, geo, coords, limits, labels);
    _LogDetail("GenerateChartSplitLines: clustered charts=", count);
    StraighteningSettings straightening;
    _StraightenBorders(adj, geo, coords, straightening, count, labels);

    std::vector<double> layout;
    std::vector<std::vector<int>> slits;
    if (budgeted) {
        StretchBudget budget;
        budget.maxStretch = request.maxStretch;
        budget.maxFaceStretch = request.maxFaceStretch;
        budget.limits.maxSpread = kBudgetSpread;
        if (request.automatic) budget.limits.creaseCosine = kCreaseCosine;
        budget.threadCount = request.threadCount;
        budget.cornerAngles = &cornerAngles;
        // The flattenings tried here would report progress of their own.
        ApiProgress::Get().Suspend();
        count = _MergeWithinStretchBudget(adj, geo, coords, budget, count, labels, layout, slits);
        ApiProgress::Get().Resume();
        _LogDetail("GenerateChartSplitLines: merged charts=", count);
    }
    // Every region must be a disc for the flattening. Under a budget each one
    // has just been flattened (after its slits); to a count the stages above
    // keep them so, and this catches what they might have missed.
    const int discs = budgeted ? count : _MakeRegionsDiscs(adj, geo, labels, count);
    _BorderLines(adj, labels, splitLines);
    for (std::vector<int>& slit : slits) splitLines.push_back(std::move(slit));
    // A layout is handed on only while every chart is still the one it was
    // made for.
    if (cornerUv != nullptr && discs == count) cornerUv->swap(layout);
    return STATUS_SUCCESS;
}

}  // namespace ORVO
