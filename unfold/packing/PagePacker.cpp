#include "unfold/packing/PagePacker.h"

#include "foundation/LogLine.h"
#include "unfold/packing/ChartPackAttempt.h"
#include "unfold/packing/ChartPacker.h"
#include "unfold/packing/ChartShapeSet.h"

#include <algorithm>
#include <chrono>
#include <exception>

namespace ORVO {

namespace {

// Directions of a page's charts: twelve (three frames) for up to 64 charts, four above.
// Each page is filled in one pass, so every direction costs its full share: the 32
// directions the single square gives a few dozen charts of a large input made
// armadillo's five pages at 1500 texels per unit take 2.3 times as long, for the same
// pages.
int PageFramesFor(size_t placeable) { return placeable <= 64 ? 3 : 1; }

int PackPages(const std::vector<std::vector<int>>& chartTriangles, std::vector<std::vector<double>>& chartUVs,
              const PagePackOptions& options, std::vector<int>& chartPage, PagePackStats* stats) {
    const auto start = std::chrono::steady_clock::now();
    if (!_ValidChartLists(chartTriangles, chartUVs)) return STATUS_INVALID_INPUT;
    if (options.resolution < 1 || options.gapTexels < 0 || options.maxPages < 0) {
        _LogFailure("PackUVAtlas: invalid page size, gap or page limit: ", options.resolution, " ",
                    options.gapTexels, " ", options.maxPages);
        return STATUS_INVALID_INPUT;
    }
    const size_t chartCount = chartUVs.size();
    size_t placeable = 0;
    for (const std::vector<double>& uv : chartUVs) placeable += uv.empty() ? 0 : 1;
    const int frameCount = PageFramesFor(placeable);
    std::vector<PreparedChart> charts(chartCount);
    double area = 0;
    for (size_t k = 0; k < chartCount; ++k) {
        charts[k] = _PrepareChart(k, chartTriangles[k], chartUVs[k], options.allowRotation, frameCount);
        area += charts[k].area;
    }
    // The page's grid at the packer's finest side; a page unit is its side in pixels.
    const int side = _FineGridSide(options.resolution);
    ChartShapeSet shapes(chartTriangles, charts, _GapPixels(options.gapTexels, side, options.resolution),
                         options.allowRotation, _ProbesPay(placeable), frameCount);
    shapes.Build(side, options.threadCount > 1 ? 2 : 1);
    if (shapes.SmallestSide() > side) {
        _LogFailure("PackUVAtlas: a chart is larger than a page of ", options.resolution, " texels");
        return STATUS_FAILED;
    }

    std::vector<char> pending(chartCount, 0);
    size_t waiting = 0;
    for (size_t k = 0; k < chartCount; ++k) {
        pending[k] = charts[k].Empty() ? 0 : 1;
        waiting += pending[k];
    }
    chartPage.assign(chartCount, 0);
    std::vector<ChartPlacement> placements(chartCount);
    ChartPackAttempt attempt;
    int pages = 0;
    while (waiting > 0) {
        if (options.maxPages > 0 && pages == options.maxPages) {
            _LogFailure("PackUVAtlas: ", waiting, " charts find no room on ", options.maxPages, " pages");
            return STATUS_FAILED;
        }
        const std::vector<int> placed = attempt.FillPage(shapes, side, pending, placements);
        // Every chart fits an empty page, so a page takes at least the first one.
        if (placed.empty()) {
            _LogFailure("PackUVAtlas: no chart found room on an empty page");
            return STATUS_FAILED;
        }
        for (int k : placed) chartPage[k] = pages;
        waiting -= placed.size();
        ++pages;
    }
    for (size_t k = 0; k < chartCount; ++k)
        if (!charts[k].Empty()) _WritePlacedChart(charts[k], placements[k], shapes.PixelScale(), side, chartUVs[k]);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    _LogDetail("UnfoldMesh::PackAtlas time: ", seconds, " pages: ", pages);
    if (stats) {
        stats->pageCount = std::max(1, pages);
        stats->fill = area / stats->pageCount;
        stats->seconds = seconds;
    }
    return STATUS_SUCCESS;
}

}  // namespace

int _PackPages(const std::vector<std::vector<int>>& chartTriangles, std::vector<std::vector<double>>& chartUVs,
               const PagePackOptions& options, std::vector<int>& chartPage, PagePackStats* stats) {
    try {
        return PackPages(chartTriangles, chartUVs, options, chartPage, stats);
    } catch (const std::exception& e) {
        _LogFailure("PackUVAtlas: packing stopped: ", e.what());
        return STATUS_FAILED;
    }
}

}  // namespace ORVO
