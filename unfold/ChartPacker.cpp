#include "unfold/ChartPacker.h"

#include "foundation/LogLine.h"
#include "unfold/AtlasGrid.h"
#include "unfold/ChartOrientation.h"
#include "unfold/ChartRaster.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <limits>
#include <thread>
#include <cstdio>
#include <ctime>
#include <cstdlib>

namespace ORVO {
extern long long gStat[16];

namespace {

// A chart turned to its smallest bounding rectangle, with that rectangle's
// lower corner at the origin. Packing only scales, turns by quarter turns and
// translates these coordinates.
struct PreparedChart {
    std::vector<double> local;
    double extentU = 0;
    double extentV = 0;
    double area = 0;
};

// Where a chart's local coordinates land in pixels at pixel scale f:
// p * f + offset, inside a box of width x height pixels.
struct PixelFrame {
    double offsetX = 0.5;
    double offsetY = 0.5;
    int width = 1;
    int height = 1;
};

struct Placement {
    int turns = 0;
    int x = 0;
    int y = 0;
};

struct AttemptResult {
    double scale = 0;
    bool success = false;
    int usedHeight = 0;
    double placedFraction = 0;
    std::vector<Placement> placements;
};

double Elapsed(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Pixel count and centring offset along one axis. The points must stay strictly
// inside the box so that no pixel outside it is touched.
void FrameAxis(double extent, double f, double& offset, int& count) {
    double w = extent * f;
    double n = std::ceil(w);
    if (n - w < 1e-6) n += 1;
    count = static_cast<int>(n);
    offset = 0.5 * (n - w);
}

PixelFrame MakeFrame(const PreparedChart& c, double f) {
    PixelFrame fr;
    FrameAxis(c.extentU, f, fr.offsetX, fr.width);
    FrameAxis(c.extentV, f, fr.offsetY, fr.height);
    return fr;
}

// Coordinates of a chart vertex in the placed pixel frame after `turns` counter-clockwise
// quarter turns of its box; the same arithmetic as the image rotation.
inline void TurnPoint(double x, double y, int turns, const PixelFrame& fr, double& ox, double& oy) {
    switch (turns & 3) {
        case 0: ox = x; oy = y; break;
        case 1: ox = fr.height - y; oy = x; break;
        case 2: ox = fr.width - x; oy = fr.height - y; break;
        default: ox = y; oy = fr.width - x; break;
    }
}

class Packer {
public:
    Packer(const std::vector<std::vector<int>>& triangles, const std::vector<PreparedChart>& charts,
           int workResolution, int gap, bool rotate, int threads)
        : mTriangles(triangles), mCharts(charts), mWork(workResolution), mGap(gap), mRotate(rotate),
          mThreads(std::max(1, threads)), mShapes(charts.size()) {}

    // Rasterises every chart at `scale` and places them largest first.
    AttemptResult Run(double scale);

private:
    void BuildShapes(double f, size_t first, size_t step);
    void BuildShape(size_t k, double f, std::vector<double>& pixels, BitImage& image, BitImage& turned);

    const std::vector<std::vector<int>>& mTriangles;
    const std::vector<PreparedChart>& mCharts;
    int mWork;
    int mGap;
    bool mRotate;
    int mThreads;
    std::vector<std::array<ChartShape, 4>> mShapes;
    AtlasGrid mGrid;
};

void Packer::BuildShape(size_t k, double f, std::vector<double>& pixels, BitImage& image, BitImage& turned) {
    const PreparedChart& c = mCharts[k];
    const int n = static_cast<int>(c.local.size() / 2);
    PixelFrame fr = MakeFrame(c, f);
    pixels.resize(c.local.size());
    for (int i = 0; i < n; ++i) {
        pixels[2 * i] = c.local[2 * i] * f + fr.offsetX;
        pixels[2 * i + 1] = c.local[2 * i + 1] * f + fr.offsetY;
    }
    image.Reset(fr.width, fr.height);
    const std::vector<int>& tris = mTriangles[k];
    if (tris.empty()) {
        // A chart without triangles still claims the pixels of its points.
        for (int i = 0; i < n; ++i) _RasterisePoint(image, &pixels[2 * i]);
    } else {
        for (size_t t = 0; t + 2 < tris.size(); t += 3)
            _RasteriseTriangle(image, &pixels[2 * tris[t]], &pixels[2 * tris[t + 1]], &pixels[2 * tris[t + 2]]);
    }
    const int turnCount = mRotate ? 4 : 1;
    for (int turns = 0; turns < turnCount; ++turns) {
        if (turns == 0) {
            _MakeChartShape(image, mGap, mShapes[k][0]);
        } else {
            _RotateImage(image, turns, turned);
            _MakeChartShape(turned, mGap, mShapes[k][turns], &mShapes[k][0], turns);
        }
    }
}

void Packer::BuildShapes(double f, size_t first, size_t step) {
    std::vector<double> pixels;
    BitImage image, turned;
    for (size_t k = first; k < mCharts.size(); k += step)
        if (!mCharts[k].local.empty()) BuildShape(k, f, pixels, image, turned);
}

AttemptResult Packer::Run(double scale) {
    AttemptResult result;
    result.scale = scale;
    const double f = scale * mWork;
    const double tStart = double(std::clock()) / CLOCKS_PER_SEC;
    if (mThreads > 1 && mCharts.size() > 1) {
        std::vector<std::thread> pool;
        for (int t = 1; t < mThreads; ++t) pool.emplace_back([this, f, t] { BuildShapes(f, t, mThreads); });
        BuildShapes(f, 0, mThreads);
        for (std::thread& th : pool) th.join();
    } else {
        BuildShapes(f, 0, 1);
    }

    const double tBuilt = double(std::clock()) / CLOCKS_PER_SEC;
    std::vector<int> order;
    long long totalPixels = 0;
    for (size_t k = 0; k < mCharts.size(); ++k) {
        if (mCharts[k].local.empty()) continue;
        order.push_back(static_cast<int>(k));
        totalPixels += mShapes[k][0].grownCount;
    }
    std::stable_sort(order.begin(), order.end(), [this](int a, int b) {
        return mShapes[a][0].pixelCount > mShapes[b][0].pixelCount;
    });

    int longestRun = 1, longestColumn = 1;
    for (int k : order)
        for (int t = 0; t < (mRotate ? 4 : 1); ++t) {
            for (const PixelRun& r : mShapes[k][t].runs) longestRun = std::max(longestRun, r.length);
            for (const PixelRun& r : mShapes[k][t].keyColumns) longestColumn = std::max(longestColumn, r.length);
        }
    std::vector<int> capAfter(order.size() + 1, 0);
    for (size_t i = order.size(); i-- > 0;) capAfter[i] = std::max(capAfter[i + 1], mShapes[order[i]][0].square);
    mGrid.Reset(mWork, mGap, longestRun, longestColumn, capAfter[0]);
    size_t placedCount = 0;
    result.placements.assign(mCharts.size(), Placement());
    long long placedPixels = 0;
    static const int turnEnv = getenv("PACK_TURNS") ? atoi(getenv("PACK_TURNS")) : 4;
    const int turnCount = mRotate ? turnEnv : 1;
    for (int k : order) {
        const ChartShape* shapes[4];
        for (int t = 0; t < turnCount; ++t) shapes[t] = &mShapes[k][t];
        mGrid.LowerSquareCap(capAfter[placedCount]);
        int x = 0, y = 0;
        const unsigned long long c0 = __builtin_ia32_rdtsc();
        int t = mGrid.FindLowestPosition(shapes, turnCount, x, y);
        const unsigned long long c1 = __builtin_ia32_rdtsc();
        static std::vector<double> decile(10, 0.0);
        if (getenv("PACK_DECILE")) { decile[placedCount * 10 / order.size()] += double(c1 - c0); if (placedCount + 1 == order.size()) { for (double d : decile) fprintf(stderr, "%.0f ", d / 1e6); fprintf(stderr, "\n"); std::fill(decile.begin(), decile.end(), 0.0);} }
        if (t < 0) {
            if (getenv("PACK_DEBUG")) fprintf(stderr, "fail scale %g build %.3f place %.3f placed %.3f\n", scale, tBuilt - tStart, double(std::clock()) / CLOCKS_PER_SEC - tBuilt, double(placedPixels) / totalPixels);
            result.success = false;
            result.usedHeight = mWork;
            result.placedFraction = totalPixels > 0 ? double(placedPixels) / double(totalPixels) : 0.0;
            return result;
        }
        mGrid.Place(*shapes[t], x, y);
        ++placedCount;
        placedPixels += mShapes[k][0].grownCount;
        result.placements[k] = {t, x, y};
    }
    result.success = true;
    if (getenv("PACK_DEBUG")) {
        long long raw = 0, grown = 0;
        for (int k : order) { raw += mShapes[k][result.placements[k].turns].pixelCount; grown += mShapes[k][0].grownCount; }
        if (getenv("PACK_DUMP")) {
            std::vector<unsigned char> img(size_t(mWork) * mWork, 255);
            for (int k : order) {
                const Placement& p = result.placements[k];
                const ChartShape& sh = mShapes[k][p.turns];
                for (int yy = 0; yy < sh.grown.height; ++yy) for (int xx = 0; xx < sh.grown.width; ++xx)
                    if (sh.grown.Get(xx, yy)) { int X = p.x - mGap + xx, Y = p.y - mGap + yy; if (X>=0&&Y>=0&&X<mWork&&Y<mWork) img[size_t(mWork-1-Y)*mWork+X] = std::min<int>(img[size_t(mWork-1-Y)*mWork+X], 160); }
                for (const PixelRun& r : sh.runs) for (int xx = r.x; xx < r.x + r.length; ++xx) img[size_t(mWork-1-(p.y+r.y))*mWork + p.x+xx] = 40 + (k * 37) % 80;
            }
            FILE* fp = fopen(getenv("PACK_DUMP"), "wb"); fprintf(fp, "P5 %d %d 255\n", mWork, mWork); fwrite(img.data(), 1, img.size(), fp); fclose(fp);
        }
        for (int i = 0; i < 14; ++i) fprintf(stderr, "%lld ", gStat[i]); fprintf(stderr, "\n"); std::fill(gStat, gStat + 16, 0);
        fprintf(stderr, "build %.3f place %.3f ", tBuilt - tStart, double(std::clock()) / CLOCKS_PER_SEC - tBuilt);
        fprintf(stderr, "scale %g raw %.4f grown %.4f used %d\n", scale, raw / double(mWork) / mWork, grown / double(mWork) / mWork, mGrid.UsedHeight());
    }
    result.usedHeight = mGrid.UsedHeight();
    result.placedFraction = 1.0;
    return result;
}

bool ValidateInput(const std::vector<std::vector<int>>& chartTriangles,
                   const std::vector<std::vector<double>>& chartUVs) {
    if (chartTriangles.empty() || chartTriangles.size() != chartUVs.size()) {
        _LogFailure("PackUVAtlas: singleRegionList.empty() || singleRegionList.size() != texCoordList.size()");
        return false;
    }
    for (size_t k = 0; k < chartUVs.size(); ++k) {
        const std::vector<double>& uv = chartUVs[k];
        const std::vector<int>& tris = chartTriangles[k];
        const long long n = static_cast<long long>(uv.size() / 2);
        bool ok = uv.size() % 2 == 0 && tris.size() % 3 == 0 && uv.size() / 2 <= size_t(INT_LARGE);
        for (size_t i = 0; ok && i < uv.size(); ++i) ok = std::isfinite(uv[i]);
        for (size_t i = 0; ok && i < tris.size(); ++i) ok = tris[i] >= 0 && tris[i] < n;
        if (!ok) {
            _LogFailure("PackUVAtlas: invalid chart: ", k);
            return false;
        }
    }
    return true;
}

PreparedChart PrepareChart(const std::vector<int>& tris, const std::vector<double>& uv, bool rotate) {
    PreparedChart c;
    const int n = static_cast<int>(uv.size() / 2);
    if (n == 0) return c;
    for (size_t t = 0; t + 2 < tris.size(); t += 3) {
        const double* a = &uv[2 * tris[t]];
        const double* b = &uv[2 * tris[t + 1]];
        const double* d = &uv[2 * tris[t + 2]];
        c.area += 0.5 * std::fabs((b[0] - a[0]) * (d[1] - a[1]) - (b[1] - a[1]) * (d[0] - a[0]));
    }
    double ax = 1, ay = 0;
    if (rotate) {
        HullRectangle rect = _MinimalAreaRectangle(uv.data(), _ConvexHull2D(uv.data(), n));
        ax = rect.axisX;
        ay = rect.axisY;
    }
    c.local.resize(uv.size());
    double minU = std::numeric_limits<double>::max(), minV = minU;
    for (int i = 0; i < n; ++i) {
        // Rotation by the rectangle's axis: (u, v) -> (axis . p, axis_perp . p), determinant +1.
        double u = ax * uv[2 * i] + ay * uv[2 * i + 1];
        double v = -ay * uv[2 * i] + ax * uv[2 * i + 1];
        c.local[2 * i] = u;
        c.local[2 * i + 1] = v;
        minU = std::min(minU, u);
        minV = std::min(minV, v);
    }
    for (int i = 0; i < n; ++i) {
        c.local[2 * i] -= minU;
        c.local[2 * i + 1] -= minV;
        c.extentU = std::max(c.extentU, c.local[2 * i]);
        c.extentV = std::max(c.extentV, c.local[2 * i + 1]);
    }
    return c;
}

// Pixels of the finer working grid per texel: a finer grid wastes less space on
// the conservative cover of chart borders, a coarser one is faster.
int WorkFactor(const ChartPackOptions& options) {
    int factor = getenv("PACK_FACTOR") ? atoi(getenv("PACK_FACTOR")) : 2;
    long long work = static_cast<long long>(options.resolution) * factor;
    while (factor > 1 && work > 8192) {
        --factor;
        work = static_cast<long long>(options.resolution) * factor;
    }
    return factor;
}

}  // namespace

int _PackCharts(const std::vector<std::vector<int>>& chartTriangles, std::vector<std::vector<double>>& chartUVs,
                const ChartPackOptions& options, ChartPackStats* stats) {
    const auto start = std::chrono::steady_clock::now();
    if (!ValidateInput(chartTriangles, chartUVs)) return STATUS_INVALID_INPUT;
    if (options.resolution < 1 || options.gapTexels < 0) {
        _LogFailure("PackUVAtlas: invalid resolution or gap: ", options.resolution, " ", options.gapTexels);
        return STATUS_INVALID_INPUT;
    }

    const size_t chartCount = chartUVs.size();
    std::vector<PreparedChart> charts(chartCount);
    double texArea = 0;
    double longestSide = 0;
    for (size_t k = 0; k < chartCount; ++k) {
        charts[k] = PrepareChart(chartTriangles[k], chartUVs[k], options.allowRotation);
        texArea += charts[k].area;
        longestSide = std::max({longestSide, charts[k].extentU, charts[k].extentV});
    }
    if (!(texArea > 0) || !std::isfinite(texArea)) {
        _LogFailure("PackAtlas: invalid texArea: ", texArea);
        return STATUS_FAILED;
    }

    const int factor = WorkFactor(options);
    const int work = options.resolution * factor;
    const int gap = options.gapTexels * factor;
    Packer packer(chartTriangles, charts, work, gap, options.allowRotation, options.threadCount);

    // Largest scale that places everything: start from a guess of the fill, then
    // move by the measured height (success) or placed share (failure).
    const double maxScale = longestSide > 0 ? (work - 2.0 * gap - 2.0) / (work * longestSide)
                                            : std::numeric_limits<double>::max();
    double scale = std::min(std::sqrt(0.62 / texArea), maxScale);
    double lo = 0, hi = std::numeric_limits<double>::max();
    AttemptResult best;
    const int maxAttempts = 10, maxAttemptsWithoutSuccess = 60;
    for (int attempt = 0; attempt < maxAttemptsWithoutSuccess; ++attempt) {
        if (attempt >= maxAttempts && best.success) break;
        AttemptResult r = packer.Run(scale);
        _LogDetail("PackUVAtlas: update discrete = ", scale, " success: ", r.success ? 1 : 0,
                   " utilization: ", scale * scale * texArea);
        double next;
        if (r.success) {
            const int used = std::max(1, r.usedHeight);
            if (!best.success || scale > best.scale) best = std::move(r);
            lo = std::max(lo, scale);
            next = used < work ? scale * std::min(1.5, std::sqrt(double(work) / used)) : scale * 1.01;
        } else {
            hi = std::min(hi, scale);
            next = scale * std::max(0.5, std::min(0.995, std::sqrt(r.placedFraction)));
        }
        if (best.success && hi < std::numeric_limits<double>::max()) {
            if (hi / lo < 1.002) break;
            if (next >= hi || next <= lo) next = std::sqrt(lo * hi);
        }
        scale = std::min(next, maxScale);
    }
    if (!best.success) {
        _LogFailure("PackUVAtlas: no scale could be placed");
        return STATUS_FAILED;
    }

    const double f = best.scale * work;
    for (size_t k = 0; k < chartCount; ++k) {
        const PreparedChart& c = charts[k];
        if (c.local.empty()) continue;
        PixelFrame fr = MakeFrame(c, f);
        const Placement& p = best.placements[k];
        std::vector<double>& uv = chartUVs[k];
        for (size_t i = 0; i + 1 < uv.size(); i += 2) {
            double x, y;
            TurnPoint(c.local[i] * f + fr.offsetX, c.local[i + 1] * f + fr.offsetY, p.turns, fr, x, y);
            uv[i] = (x + p.x) / work;
            uv[i + 1] = (y + p.y) / work;
        }
    }
    const double seconds = Elapsed(start);
    _LogDetail("UnfoldMesh::PackAtlas time: ", seconds);
    if (stats) {
        stats->utilization = best.scale * best.scale * texArea;
        stats->scale = best.scale;
        stats->workResolution = work;
        stats->seconds = seconds;
    }
    return STATUS_SUCCESS;
}

}  // namespace ORVO
