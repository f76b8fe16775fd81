#include "unfold/packing/PreparedChart.h"

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

}  // namespace ORVO
