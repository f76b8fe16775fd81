#include "unfold/packing/ChartShapeSet.h"

#include "unfold/packing/TwoThreads.h"

#include <algorithm>

namespace ORVO {

ChartShapeSet::ChartShapeSet(const std::vector<std::vector<int>>& triangles, const std::vector<PreparedChart>& charts,
                             int gap, bool rotate, bool useProbes, int frameLimit)
    : mTriangles(triangles), mCharts(charts), mGap(gap), mRotate(rotate), mUseProbes(useProbes),
      mFrameLimit(frameLimit), mShapes(charts.size()) {
    for (size_t k = 0; k < charts.size(); ++k) mShapes[k].resize(Directions(k));
}

int ChartShapeSet::FrameCount(size_t k) const {
    return std::min({static_cast<int>(mCharts[k].frames.size()), kMaxFrames, mFrameLimit});
}

int ChartShapeSet::Directions(size_t k) const {
    if (mCharts[k].Empty()) return 0;
    return mRotate ? 4 * FrameCount(k) : 1;
}

void ChartShapeSet::Build(double pixelScale, int threads) {
    mPixelScale = pixelScale;
    const size_t n = mCharts.size();
    if (threads > 1 && n > 1) {
        // Charts alternate between the threads, so that both get large and small ones.
        auto half = [this, n](size_t from) {
            Scratch scratch;
            for (size_t k = from; k < n; k += 2) BuildChart(k, scratch);
        };
        _RunOnTwoThreads([&] { half(0); }, [&] { half(1); });
    } else {
        Scratch scratch;
        for (size_t k = 0; k < n; ++k) BuildChart(k, scratch);
    }
    mSmallestSide = 1;
    mChartRuns.assign(n, {1, 1});
    for (size_t k = 0; k < n; ++k) {
        int smallest = 0;
        std::pair<int, int>& longest = mChartRuns[k];
        for (int d = 0; d < Directions(k); ++d) {
            const ChartShape& s = mShapes[k][d];
            for (const PixelRun& r : s.runs) longest.first = std::max(longest.first, r.length);
            for (const PixelRun& r : s.keyColumns) longest.second = std::max(longest.second, r.length);
            const int side = std::max(s.width, s.height);
            smallest = d == 0 ? side : std::min(smallest, side);
        }
        mSmallestSide = std::max(mSmallestSide, smallest);
    }
}

void ChartShapeSet::BuildChart(size_t k, Scratch& scratch) {
    if (mCharts[k].Empty()) return;
    for (int f = 0; f < FrameCount(k); ++f) BuildFrame(k, f, scratch);
}

// Shapes 4f .. 4f+3: the chart's image in frame f and its quarter turns.
void ChartShapeSet::BuildFrame(size_t k, int f, Scratch& scratch) {
    const PreparedChart& c = mCharts[k];
    const int first = 4 * f;
    const std::vector<double>& local = c.frames[f].local;
    const int n = static_cast<int>(local.size() / 2);
    const PixelFrame frame = _MakePixelFrame(c.frames[f], mPixelScale);
    std::vector<double>& pixels = scratch.pixels;
    pixels.resize(local.size());
    for (int i = 0; i < n; ++i) {
        pixels[2 * i] = local[2 * i] * mPixelScale + frame.offsetX;
        pixels[2 * i + 1] = local[2 * i + 1] * mPixelScale + frame.offsetY;
    }
    BitImage& image = scratch.image;
    image.Reset(frame.width, frame.height);
    const std::vector<int>& tris = mTriangles[k];
    const bool fromOutline = !tris.empty() && c.outline.usable;
    if (tris.empty()) {
        // A chart without triangles still claims the pixels of its points.
        for (int i = 0; i < n; ++i) _RasterisePoint(image, &pixels[2 * i]);
    } else if (fromOutline) {
        _RasteriseOutline(image, pixels.data(), tris, c.outline);
    } else {
        for (size_t t = 0; t + 2 < tris.size(); t += 3)
            _RasteriseTriangle(image, &pixels[2 * tris[t]], &pixels[2 * tris[t + 1]], &pixels[2 * tris[t + 2]]);
    }
    std::vector<ChartShape>& shapes = mShapes[k];
    // From the outline, the gap is measured from the chart itself rather than from the
    // pixels it touches: a pixel or so less of border on every side.
    if (fromOutline) _GrowOutline(image, pixels.data(), tris, c.outline, mGap, shapes[first].grown);
    _MakeChartShape(image, mGap, shapes[first], nullptr, 0, mUseProbes, fromOutline);
    if (!mRotate) return;
    for (int turns = 1; turns < 4; ++turns) {
        _RotateImage(image, turns, scratch.turned);
        if (fromOutline) _RotateImage(shapes[first].grown, turns, shapes[first + turns].grown);
        _MakeChartShape(scratch.turned, mGap, shapes[first + turns], &shapes[first], turns, true, fromOutline);
    }
}

}  // namespace ORVO
