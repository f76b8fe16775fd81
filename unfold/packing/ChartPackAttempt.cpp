#include "unfold/packing/ChartPackAttempt.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace ORVO {

namespace {

// Pixel count and centring offset along one axis. The points stay strictly inside
// the box, so that no pixel outside it is touched.
void FrameAxis(double extent, double pixelScale, double& offset, int& count) {
    const double w = extent * pixelScale;
    double n = std::ceil(w);
    if (n - w < 1e-6) n += 1;
    count = static_cast<int>(n);
    offset = 0.5 * (n - w);
}

}  // namespace

PixelFrame _MakePixelFrame(const ChartFrame& chart, double pixelScale) {
    PixelFrame frame;
    FrameAxis(chart.extentU, pixelScale, frame.offsetX, frame.width);
    FrameAxis(chart.extentV, pixelScale, frame.offsetY, frame.height);
    return frame;
}

ChartFrame _TurnedFrame(const ChartFrame& frame, double angle) {
    ChartFrame turned;
    const double c = std::cos(angle), s = std::sin(angle);
    const size_t n = frame.local.size() / 2;
    turned.local.resize(frame.local.size());
    double lowU = std::numeric_limits<double>::max(), lowV = lowU;
    for (size_t i = 0; i < n; ++i) {
        const double u = frame.local[2 * i], v = frame.local[2 * i + 1];
        turned.local[2 * i] = c * u - s * v;
        turned.local[2 * i + 1] = s * u + c * v;
        lowU = std::min(lowU, turned.local[2 * i]);
        lowV = std::min(lowV, turned.local[2 * i + 1]);
    }
    for (size_t i = 0; i < n; ++i) {
        turned.local[2 * i] -= lowU;
        turned.local[2 * i + 1] -= lowV;
        turned.extentU = std::max(turned.extentU, turned.local[2 * i]);
        turned.extentV = std::max(turned.extentV, turned.local[2 * i + 1]);
    }
    return turned;
}

void _TurnPoint(double x, double y, int turns, const PixelFrame& frame, double& outX, double& outY) {
    switch (turns & 3) {
        case 0: outX = x; outY = y; break;
        case 1: outX = frame.height - y; outY = x; break;
        case 2: outX = frame.width - x; outY = frame.height - y; break;
        default: outX = y; outY = frame.width - x; break;
    }
}

int ChartPackAttempt::FrameCount(size_t k) const {
    return std::min({static_cast<int>(mCharts[k].frames.size()), kMaxFrames, mFrameLimit});
}

void ChartPackAttempt::BuildShape(size_t k, double pixelScale) {
    for (int f = 0; f < FrameCount(k); ++f) BuildTurns(k, f, pixelScale);
}

// Shapes 4f .. 4f+3: the chart's image in frame f and its quarter turns.
void ChartPackAttempt::BuildTurns(size_t k, int f, double pixelScale) {
    const PreparedChart& c = mCharts[k];
    const int first = 4 * f;
    const std::vector<double>& local = c.frames[f].local;
    const int n = static_cast<int>(local.size() / 2);
    const PixelFrame frame = _MakePixelFrame(c.frames[f], pixelScale);
    mPixels.resize(local.size());
    for (int i = 0; i < n; ++i) {
        mPixels[2 * i] = local[2 * i] * pixelScale + frame.offsetX;
        mPixels[2 * i + 1] = local[2 * i + 1] * pixelScale + frame.offsetY;
    }
    mImage.Reset(frame.width, frame.height);
    const std::vector<int>& tris = mTriangles[k];
    const bool fromOutline = !tris.empty() && c.outline.usable;
    if (tris.empty()) {
        // A chart without triangles still claims the pixels of its points.
        for (int i = 0; i < n; ++i) _RasterisePoint(mImage, &mPixels[2 * i]);
    } else if (fromOutline) {
        _RasteriseOutline(mImage, mPixels.data(), tris, c.outline);
    } else {
        for (size_t t = 0; t + 2 < tris.size(); t += 3)
            _RasteriseTriangle(mImage, &mPixels[2 * tris[t]], &mPixels[2 * tris[t + 1]], &mPixels[2 * tris[t + 2]]);
    }
    std::array<ChartShape, kMaxDirections>& shapes = mShapes[k];
    // From the outline, the gap is measured from the chart itself rather than from the
    // pixels it touches: a pixel or so less of border on every side.
    if (fromOutline) _GrowOutline(mImage, mPixels.data(), tris, c.outline, mGap, shapes[first].grown);
    _MakeChartShape(mImage, mGap, shapes[first], nullptr, 0, mUseProbes, fromOutline);
    if (!mRotate) return;
    for (int turns = 1; turns < 4; ++turns) {
        _RotateImage(mImage, turns, mTurned);
        if (fromOutline) _RotateImage(shapes[first].grown, turns, shapes[first + turns].grown);
        _MakeChartShape(mTurned, mGap, shapes[first + turns], &shapes[first], turns, true, fromOutline);
    }
}

PackAttemptResult ChartPackAttempt::Run(double scale, const PackVariant& variant) {
    PackAttemptResult result;
    result.scale = scale;
    const double pixelScale = scale * mGridSize;
    std::vector<int> order;
    long long totalPixels = 0;
    // The images depend on the scale alone: another variant at the same scale reuses them.
    const bool rebuild = scale != mShapeScale;
    mShapeScale = 0;
    for (size_t k = 0; k < mCharts.size(); ++k) {
        if (mCharts[k].Empty()) continue;
        if (rebuild) BuildShape(k, pixelScale);
        order.push_back(static_cast<int>(k));
        totalPixels += mShapes[k][0].grownCount;
    }
    mShapeScale = scale;
    // Largest first: small charts then fill the gaps the large ones leave.
    auto key = [this, &variant](int a) -> long long {
        const ChartShape& s = mShapes[a][0];
        switch (variant.order) {
            case PlacementOrder::BoxArea: return static_cast<long long>(s.width) * s.height;
            case PlacementOrder::BoxPerimeter: return s.width + s.height;
            default: return s.pixelCount;
        }
    };
    std::stable_sort(order.begin(), order.end(), [&](int a, int b) { return key(a) > key(b); });

    auto directions = [this](int k) { return mRotate ? 4 * FrameCount(k) : 1; };
    int longestRun = 1, longestColumn = 1;
    for (int k : order)
        for (int t = 0; t < directions(k); ++t) {
            for (const PixelRun& r : mShapes[k][t].runs) longestRun = std::max(longestRun, r.length);
            for (const PixelRun& r : mShapes[k][t].keyColumns) longestColumn = std::max(longestColumn, r.length);
        }
    // Largest probe square among the charts still to come, for the grid's square map.
    std::vector<int> squareCap(order.size() + 1, 1);
    for (size_t i = order.size(); i-- > 0;) squareCap[i] = std::max(squareCap[i + 1], mShapes[order[i]][0].square);
    mGrid.Reset(mGridSize, mGap, longestRun, longestColumn, mUseProbes ? squareCap[0] : 0);

    result.placements.assign(mCharts.size(), ChartPlacement());
    long long placedPixels = 0;
    for (size_t i = 0; i < order.size(); ++i) {
        const int k = order[i];
        const int turnCount = directions(k);
        const ChartShape* shapes[kMaxDirections];
        for (int t = 0; t < turnCount; ++t) shapes[t] = &mShapes[k][t];
        mGrid.LowerSquareCap(squareCap[i]);
        int x = 0, y = 0;
        int keys[kMaxDirections];
        for (int d = 0; d < turnCount; ++d) {
            switch (variant.rule) {
                case PlacementRule::LowestBottom: keys[d] = 0; break;
                case PlacementRule::LowestTop: keys[d] = 16 * shapes[d]->height; break;
                default: keys[d] = shapes[d]->meanRow16; break;
            }
        }
        const int t = mGrid.FindLowestPosition(shapes, turnCount, keys, x, y);
        if (t < 0) {
            result.success = false;
            result.usedHeight = mGridSize;
            result.placedFraction = totalPixels > 0 ? double(placedPixels) / double(totalPixels) : 0.0;
            return result;
        }
        mGrid.Place(*shapes[t], x, y);
        placedPixels += mShapes[k][0].grownCount;
        result.placements[k] = {t, x, y};
    }
    result.success = true;
    result.usedHeight = mGrid.UsedHeight();
    result.placedFraction = 1.0;
    return result;
}

}  // namespace ORVO
