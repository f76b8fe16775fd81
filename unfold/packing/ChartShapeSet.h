#pragma once
// The images of every chart in each of its directions at one pixel scale. Built once,
// they serve every attempt that places the charts in a square of some side: a smaller
// square at the same pixel scale is a larger scale of the charts in the unit square,
// so the search for the largest scale needs no new images while it climbs.

#include "unfold/packing/ChartShape.h"
#include "unfold/packing/PreparedChart.h"

#include <cstddef>
#include <utility>
#include <vector>

namespace ORVO {

// Frames a chart gets among `placeable` charts of a large input packed into one square
// (small inputs and pages have rules of their own). The fewest are placed in twelve
// directions (three frames a third of a quarter turn apart). From 17 to 100 charts,
// eight frames (32 directions, an eighth of a quarter turn apart) let more charts find a
// hole they fit: on 19 such atlases of six scans the fill rose by 1.2 points on average
// (rocker_arm at 43 charts .776 to .814, armadillo at 99 .772 to .793) for about half
// again the packing time. With fewer charts the fill swung either way by several
// points, and above 100 the extra directions cost more than they gained.
constexpr size_t kFewestCharts = 16;
inline int _FramesFor(size_t placeable) {
    if (placeable <= kFewestCharts) return 3;
    return placeable <= 100 ? 8 : 1;
}

// Whether shapes among `placeable` charts carry probe squares. They (and the grid's
// square map behind them) pay off only when many small charts search a crowded grid;
// with fewer charts, keeping the map up to date costs more than the searches it shortens.
inline bool _ProbesPay(size_t placeable) { return placeable >= 150; }

class ChartShapeSet {
public:
    // Each chart gets its first `frameLimit` frames (at most kMaxFrames) and, with
    // `rotate`, their quarter turns; `gap` is the gap in pixels the grown images keep.
    ChartShapeSet(const std::vector<std::vector<int>>& triangles, const std::vector<PreparedChart>& charts, int gap,
                  bool rotate, bool useProbes, int frameLimit = kMaxFrames);

    // Rasterises every chart at `pixelScale` pixels per chart unit, the charts shared
    // among `threads` threads (1 or 2).
    void Build(double pixelScale, int threads);
    bool Built() const { return mPixelScale > 0; }
    double PixelScale() const { return mPixelScale; }
    int Gap() const { return mGap; }
    bool UsesProbes() const { return mUseProbes; }

    size_t ChartCount() const { return mCharts.size(); }
    // Directions chart k may take: 0 for a chart without points, 1 without rotation.
    int Directions(size_t k) const;
    const ChartShape& Shape(size_t k, int direction) const { return mShapes[k][direction]; }
    // The longest horizontal and vertical runs over the shapes of chart k (for the
    // grid's masks).
    int LongestRun(size_t k) const { return mChartRuns[k].first; }
    int LongestColumn(size_t k) const { return mChartRuns[k].second; }
    // The smallest square side in which every chart fits in some direction, with the
    // one-pixel margin the pixel frames keep.
    int SmallestSide() const { return mSmallestSide; }

private:
    int FrameCount(size_t k) const;
    // Scratch of one building thread.
    struct Scratch {
        std::vector<double> pixels;
        BitImage image;
        BitImage turned;
    };
    void BuildChart(size_t k, Scratch& scratch);
    void BuildFrame(size_t k, int frame, Scratch& scratch);

    const std::vector<std::vector<int>>& mTriangles;
    const std::vector<PreparedChart>& mCharts;
    int mGap;
    bool mRotate;
    bool mUseProbes;
    int mFrameLimit;
    double mPixelScale = 0;
    std::vector<std::vector<ChartShape>> mShapes;  // per chart, one per direction
    std::vector<std::pair<int, int>> mChartRuns;  // per chart: longest run, longest key column
    int mSmallestSide = 1;
};

}  // namespace ORVO
