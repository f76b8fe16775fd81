#include "unfold/packing/PreparedChart.h"

#include "foundation/LogLine.h"
#include "unfold/packing/ChartOrientation.h"
#include "unfold/packing/PlaneArea.h"

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

void _SetFrames(PreparedChart& c, int frameCount) {
    if (c.Empty()) return;
    c.frames.resize(1);
    for (int f = 1; f < frameCount; ++f) c.frames.push_back(_TurnedFrame(c.frames[0], 0.5 * ORVO_PI * f / frameCount));
}

PreparedChart _PrepareChart(size_t index, const std::vector<int>& tris, const std::vector<double>& uv, bool rotate,
                           int frameCount) {
    PreparedChart c;
    const int n = static_cast<int>(uv.size() / 2);
    if (n == 0) return c;
    c.area = _PlaneArea(tris, uv);
    ChartFrame start;
    start.local = uv;
    double angle = 0;
    if (rotate) {
        const HullRectangle rect = _MinimalAreaRectangle(uv.data(), _ConvexHull2D(uv.data(), n));
        // Rotation onto the rectangle's axes: (u, v) -> (a . p, a_perp . p), determinant +1.
        angle = -std::atan2(rect.axisY, rect.axisX);
    }
    c.frames.push_back(_TurnedFrame(start, angle));
    if (rotate) _SetFrames(c, frameCount);
    c.outline = _MakeChartOutline(tris, c.frames[0].local.data());
    if (c.frames[0].extentU == 0 && c.frames[0].extentV == 0)
        _LogDetail("PackUVAtlas: add diameter: chart ", index, " is a single point and gets one pixel");
    return c;
}

void _WritePlacedChart(const PreparedChart& chart, const ChartPlacement& placement, double pixelScale, int side,
                       std::vector<double>& uv) {
    const ChartFrame& turned = chart.frames[placement.turns / 4];
    const std::vector<double>& local = turned.local;
    const PixelFrame frame = _MakePixelFrame(turned, pixelScale);
    for (size_t i = 0; i + 1 < uv.size(); i += 2) {
        double x, y;
        _TurnPoint(local[i] * pixelScale + frame.offsetX, local[i + 1] * pixelScale + frame.offsetY,
                   placement.turns & 3, frame, x, y);
        uv[i] = (x + placement.x) / side;
        uv[i + 1] = (y + placement.y) / side;
    }
}

bool _ValidChartLists(const std::vector<std::vector<int>>& chartTriangles, const std::vector<std::vector<double>>& chartUVs) {
    if (chartTriangles.empty() || chartTriangles.size() != chartUVs.size()) {
        _LogFailure("PackUVAtlas: singleRegionList.empty() || singleRegionList.size() != texCoordList.size()");
        return false;
    }
    for (size_t k = 0; k < chartUVs.size(); ++k) {
        const std::vector<double>& uv = chartUVs[k];
        const std::vector<int>& tris = chartTriangles[k];
        const long long n = static_cast<long long>(uv.size() / 2);
        bool ok = uv.size() % 2 == 0 && tris.size() % 3 == 0 && n <= INT_LARGE;
        for (size_t i = 0; ok && i < uv.size(); ++i) ok = std::isfinite(uv[i]);
        for (size_t i = 0; ok && i < tris.size(); ++i) ok = tris[i] >= 0 && tris[i] < n;
        if (!ok) {
            _LogFailure("PackUVAtlas: invalid chart ", k, " (odd coordinate count, bad index or non-finite value)");
            return false;
        }
    }
    return true;
}

}  // namespace ORVO
