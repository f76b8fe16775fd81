#include "unfold/packing/ChartPacker.h"

#include "foundation/LogLine.h"
#include "unfold/packing/ChartOrientation.h"
#include "unfold/packing/ChartPackAttempt.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <exception>
#include <limits>
#include <memory>
#include <thread>

namespace ORVO {

namespace {

constexpr double kNoScale = std::numeric_limits<double>::max();

bool ValidInput(const std::vector<std::vector<int>>& chartTriangles, const std::vector<std::vector<double>>& chartUVs) {
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

// Few charts are placed in twelve directions (three frames a third of a quarter turn
// apart): with so few, how each one lies decides much of the fill, and the extra shapes
// cost little. Four frames did no better than three.
constexpr size_t kTiltedChartLimit = 64;
constexpr int kTiltedFrames = 3;

// Probe squares (and the grid's square map behind them) pay off only when many small
// charts search a crowded grid; with fewer charts, keeping the map up to date costs
// more than the searches it shortens.
constexpr size_t kProbeChartCount = 150;

// Inputs under this many triangles pack in milliseconds: they get every attempt.
constexpr size_t kSmallInputTriangles = 20000;

// Effort follows the fill. A large input whose charts already fill three quarters of
// the square on the texel grid stops there: the finer grid would add a point or so for
// half again the time. One that fills less than 70% after the finer grid gets a second
// pass there in which every chart may also lie turned by an eighth of a turn (the
// typical gain is one and a half to two points, for two to three times the packing time).
constexpr double kGoodFill = 0.75;
constexpr double kPoorFill = 0.70;
constexpr int kSecondPassFrames = 2;
constexpr int kSecondPassSearch = 4;
constexpr int kSecondPassRefine = 2;

// Replaces the frames after frames[0] by `frameCount` - 1 frames turned from it by
// equal steps that divide a quarter turn.
void SetFrames(PreparedChart& c, int frameCount) {
    if (c.Empty()) return;
    c.frames.resize(1);
    for (int f = 1; f < frameCount; ++f) c.frames.push_back(_TurnedFrame(c.frames[0], 0.5 * ORVO_PI * f / frameCount));
}

PreparedChart PrepareChart(size_t index, const std::vector<int>& tris, const std::vector<double>& uv, bool rotate,
                           int frameCount) {
    PreparedChart c;
    const int n = static_cast<int>(uv.size() / 2);
    if (n == 0) return c;
    for (size_t t = 0; t + 2 < tris.size(); t += 3) {
        const double* a = &uv[2 * tris[t]];
        const double* b = &uv[2 * tris[t + 1]];
        const double* d = &uv[2 * tris[t + 2]];
        c.area += 0.5 * std::fabs((b[0] - a[0]) * (d[1] - a[1]) - (b[1] - a[1]) * (d[0] - a[0]));
    }
    ChartFrame start;
    start.local = uv;
    double angle = 0;
    if (rotate) {
        const HullRectangle rect = _MinimalAreaRectangle(uv.data(), _ConvexHull2D(uv.data(), n));
        // Rotation onto the rectangle's axes: (u, v) -> (a . p, a_perp . p), determinant +1.
        angle = -std::atan2(rect.axisY, rect.axisX);
    }
    c.frames.push_back(_TurnedFrame(start, angle));
    if (rotate) SetFrames(c, frameCount);
    c.outline = _MakeChartOutline(tris, c.frames[0].local.data());
    if (c.frames[0].extentU == 0 && c.frames[0].extentV == 0)
        _LogDetail("PackUVAtlas: add diameter: chart ", index, " is a single point and gets one pixel");
    return c;
}

// Longest side of any frame's box: no scale may make it longer than the square.
double LongestSide(const std::vector<PreparedChart>& charts) {
    double longest = 0;
    for (const PreparedChart& c : charts)
        for (const ChartFrame& f : c.frames) longest = std::max({longest, f.extentU, f.extentV});
    return longest;
}

// Side of the occupancy grid. Finer than the texture, the conservative cover of
// chart borders wastes less; the grid stays at most 4096 pixels for time and memory.
int GridSize(int resolution) {
    if (resolution > 4096) return 4096;
    int factor = std::max(1, 2048 / resolution);
    if (2LL * resolution <= 4096) factor = std::max(factor, 2);
    return resolution * factor;
}

// Largest scale that still packs: each round proposes one scale per worker from what
// the earlier attempts showed (bracket, rows used, share placed before failing).
class ScaleSearch {
public:
    // `precision`: the search stops once the best success and the lowest failure above
    // it differ by less than this factor.
    ScaleSearch(double start, double maxScale, int gridSize, double precision)
        : mStart(std::min(start, maxScale)), mMax(maxScale), mGrid(gridSize), mPrecision(precision) {}

    std::vector<double> Propose(int count) const {
        std::vector<double> s;
        // Where the rows left free by the best success predict the limit.
        const double predicted = mLo * std::sqrt(double(mGrid) / std::max(1, mLoUsed)) * 1.005;
        if (mLo == 0 && mHi == kNoScale) {
            s.push_back(mStart);
            if (count > 1) s.push_back(mStart * std::sqrt(0.66 / 0.6));
        } else if (mHi == kNoScale && mSeeded) {
            // Seeded from a coarser grid, whose limit the finer grid's lies typically half
            // a percent to a percent and a half above: one step into that band, one across it.
            s.push_back(mLo * 1.005);
            if (count > 1) s.push_back(mLo * 1.012);
        } else if (mHi == kNoScale) {
            // Only successes: grow by the unused rows, a little beyond to find the limit.
            s.push_back(std::min(mLo * 1.6, std::max(mLo * 1.004, predicted)));
            if (count > 1) s.push_back(s.back() * 1.015);
        } else if (mLo == 0) {
            // Only failures: shrink by the share that found no room.
            s.push_back(mHi * std::max(0.5, std::min(0.99, std::sqrt(mHiPlaced) * 0.99)));
            if (count > 1) s.push_back(s.back() * 0.97);
        } else if (count > 1) {
            const double ratio = mHi / mLo;
            if (ratio > 1.012 && predicted > mLo * 1.002 && predicted < mHi / 1.002) {
                s.push_back(predicted);
                s.push_back(std::sqrt(predicted * mHi));
            } else {
                s.push_back(mLo * std::pow(ratio, 1.0 / 3));
                s.push_back(mLo * std::pow(ratio, 2.0 / 3));
            }
        } else {
            s.push_back(std::sqrt(mLo * mHi));
        }
        for (double& v : s) v = std::min(v, mMax);
        std::sort(s.begin(), s.end());
        s.erase(std::unique(s.begin(), s.end()), s.end());
        return s;
    }

    // Returns true when the attempt is the best success so far.
    bool Record(const PackAttemptResult& r) {
        if (r.success) {
            if (r.scale >= mHi) mHi = kNoScale;  // a failure above would be noise of the heuristic
            if (r.scale > mLo) {
                mLo = r.scale;
                mLoUsed = r.usedHeight;
                mSeeded = false;
                return true;
            }
        } else if (r.scale > mLo && r.scale < mHi) {
            mHi = r.scale;
            mHiPlaced = r.placedFraction;
        }
        return false;
    }

    // Starts from a scale known to pack (on a coarser grid), without an attempt here.
    void Seed(double scale) {
        mLo = std::min(scale, mMax);
        mLoUsed = mGrid;
        mSeeded = true;
    }

    bool HasSuccess() const { return mLo > 0; }
    // The lowest scale above the best success that failed, or kNoScale.
    double LowestFailure() const { return mHi; }
    bool Done() const {
        if (mLo >= mMax) return true;
        return mLo > 0 && mHi != kNoScale && mHi / mLo < mPrecision;
    }

private:
    double mStart, mMax;
    int mGrid;
    double mPrecision;
    double mLo = 0;
    int mLoUsed = 0;
    double mHi = kNoScale;
    double mHiPlaced = 0;
    bool mSeeded = false;  // the best success is the seed, not an attempt on this grid
};

// First step above the best success once the search has ended, and the step below
// which a further step is not worth an attempt.
constexpr double kRefineStep = 1.008;
constexpr double kRefineMinStep = 1.002;

// Attempts on the fine grid once the coarse search has found the limit: the first
// climbs above it, the rest (the ladder of variants) add a point or two of fill each.
// Small inputs pack in milliseconds, so they get every attempt; on larger ones the
// attempts would be most of the atlas time, and fewer of them are spent.
struct PackBudget {
    int search;  // attempts of the scale search, seed included
    int refine;  // attempts of the variant ladder
};

PackBudget FineAttempts(size_t chartCount, size_t triangleCount) {
    if (triangleCount < kSmallInputTriangles) return {8, chartCount <= 200 ? 8 : 2};
    if (chartCount <= 200) return {2, 4};
    if (chartCount <= 1000) return {2, 2};
    return {2, 0};
}

// Runs one attempt per scale and variant, the second (if any) on a thread of its own.
std::vector<PackAttemptResult> RunAttempts(std::vector<std::unique_ptr<ChartPackAttempt>>& attempts,
                                           const std::vector<double>& scales,
                                           const std::vector<PackVariant>& variants) {
    std::vector<PackAttemptResult> results(scales.size());
    if (scales.size() > 1 && attempts.size() > 1) {
        std::exception_ptr failure;
        std::thread helper([&] {
            try {
                results[1] = attempts[1]->Run(scales[1], variants[1]);
            } catch (...) {
                failure = std::current_exception();
            }
        });
        try {
            results[0] = attempts[0]->Run(scales[0], variants[0]);
        } catch (...) {
            helper.join();
            throw;
        }
        helper.join();
        if (failure) std::rethrow_exception(failure);
    } else {
        for (size_t i = 0; i < scales.size(); ++i) results[i] = attempts[0]->Run(scales[i], variants[i]);
    }
    return results;
}

// The attempts of one occupancy grid: the scale search and the climb above its result.
class GridPacking {
public:
    // `placeable`: the charts with at least one point.
    GridPacking(const std::vector<std::vector<int>>& chartTriangles, const std::vector<PreparedChart>& charts,
                size_t placeable, int grid, double longestSide, const ChartPackOptions& options, int workers,
                int frameLimit)
        : mGrid(grid) {
        // The gap in grid pixels, rounded up when the grid is coarser than the texture.
        const int gap = static_cast<int>(std::ceil(double(options.gapTexels) * grid / options.resolution - 1e-9));
        // Every chart must fit across the square with its one-pixel frame margin.
        mMaxScale = longestSide > 0 ? (grid - 2.0) / (double(grid) * longestSide) : kNoScale;
        // Even as single pixels, charts keep gap + 1 pixels apart: more than fit in the
        // grid can never be placed.
        const double cells = double(grid) / (gap + 1);
        if (double(placeable) > cells * cells) return;
        const bool useProbes = placeable >= kProbeChartCount;
        for (int w = 0; w < workers; ++w)
            mAttempts.emplace_back(
                new ChartPackAttempt(chartTriangles, charts, grid, gap, options.allowRotation, useProbes, frameLimit));
    }

    bool Valid() const { return !mAttempts.empty(); }
    int Grid() const { return mGrid; }

    // The largest scale that packs: the scale search from `guess`, or climbing from `seed`
    // (a scale known to pack on a coarser grid or in fewer directions; 0 for none), ends
    // once it knows the limit to `precision` or has spent `budget.search` attempts after
    // a success; the variant ladder then climbs with `budget.refine` more. Returns the
    // best success (success false if none).
    PackAttemptResult Pack(double guess, double seed, double precision, PackBudget budget, double texArea) {
        ScaleSearch search(guess, mMaxScale, mGrid, precision);
        if (seed > 0) search.Seed(seed);
        PackAttemptResult best = Search(search, texArea, budget.search);
        Refine(search, best, budget.refine);
        return best;
    }

private:
    // Runs the scale search to its end; returns the best success (success false if none).
    PackAttemptResult Search(ScaleSearch& search, double texArea, int attemptLimit) {
        PackAttemptResult best;
        const int attemptLimitWithoutSuccess = 60;
        int attemptCount = 0;
        while (!search.Done()) {
            if (attemptCount >= (search.HasSuccess() ? attemptLimit : attemptLimitWithoutSuccess)) break;
            const std::vector<double> scales = search.Propose(static_cast<int>(mAttempts.size()));
            std::vector<PackAttemptResult> results =
                RunAttempts(mAttempts, scales, std::vector<PackVariant>(scales.size()));
            for (PackAttemptResult& r : results) {
                ++attemptCount;
                _LogDetail("PackUVAtlas: update discrete = ", r.scale, " utilization ", r.scale * r.scale * texArea,
                           r.success ? " placed" : " no room");
                if (search.Record(r)) best = std::move(r);
            }
        }
        return best;
    }

    // Near the limit, whether a scale packs depends on how the charts happen to fall, not
    // on the scale alone: a scale a little above the best success often packs with another
    // order or placement rule. Each step up is tried with the variants in turn until one
    // places every chart; the ladder ends when none does or the budget is spent.
    void Refine(const ScaleSearch& search, PackAttemptResult& best, int budget) {
        static const PackVariant kVariants[] = {
            {PlacementRule::LowestCentre, PlacementOrder::Pixels},
            {PlacementRule::LowestTop, PlacementOrder::Pixels},
            {PlacementRule::LowestBottom, PlacementOrder::BoxArea},
            {PlacementRule::LowestTop, PlacementOrder::BoxPerimeter},
        };
        const size_t variantCount = sizeof(kVariants) / sizeof(kVariants[0]);
        const int workers = static_cast<int>(mAttempts.size());
        double step = kRefineStep;
        while (best.success && budget > 0 && best.scale < mMaxScale && step > kRefineMinStep) {
            // With attempts for a few rungs, a step past a failure of the search pays off
            // more often than not; with fewer, the middle of the bracket is the surer gain.
            const double failed = search.LowestFailure();
            double next = std::min(best.scale * step, mMaxScale);
            if (failed > best.scale && failed < next && budget < 2 * static_cast<int>(variantCount))
                next = std::sqrt(best.scale * failed);
            bool placed = false;
            // The search's own variant already failed at or below this scale.
            for (size_t v = next >= failed ? 1 : 0; v < variantCount && !placed && budget > 0;) {
                std::vector<double> scales;
                std::vector<PackVariant> variants;
                for (int w = 0; w < workers && v < variantCount && budget > 0; ++w, ++v, --budget) {
                    scales.push_back(next);
                    variants.push_back(kVariants[v]);
                }
                std::vector<PackAttemptResult> results = RunAttempts(mAttempts, scales, variants);
                for (PackAttemptResult& r : results) {
                    if (r.success && !placed) {
                        placed = true;
                        best = std::move(r);
                    }
                }
            }
            // No variant reached that far: aim closer.
            if (!placed) step = std::sqrt(step);
        }
    }

    int mGrid;
    double mMaxScale = kNoScale;
    std::vector<std::unique_ptr<ChartPackAttempt>> mAttempts;
};

int PackCharts(const std::vector<std::vector<int>>& chartTriangles, std::vector<std::vector<double>>& chartUVs,
               const ChartPackOptions& options, ChartPackStats* stats) {
    const auto start = std::chrono::steady_clock::now();
    if (!ValidInput(chartTriangles, chartUVs)) return STATUS_INVALID_INPUT;
    if (options.resolution < 1 || options.gapTexels < 0) {
        _LogFailure("PackUVAtlas: invalid resolution or gap: ", options.resolution, " ", options.gapTexels);
        return STATUS_INVALID_INPUT;
    }

    const size_t chartCount = chartUVs.size();
    std::vector<PreparedChart> charts(chartCount);
    double texArea = 0;
    // Charts with at least one point; the others get no place.
    size_t placeable = 0;
    for (const std::vector<double>& uv : chartUVs) placeable += uv.empty() ? 0 : 1;
    const int frameCount = placeable <= kTiltedChartLimit ? kTiltedFrames : 1;
    for (size_t k = 0; k < chartCount; ++k) {
        charts[k] = PrepareChart(k, chartTriangles[k], chartUVs[k], options.allowRotation, frameCount);
        texArea += charts[k].area;
    }
    const double longestSide = LongestSide(charts);
    if (!(texArea > 0) || !std::isfinite(texArea)) {
        _LogFailure("PackAtlas: invalid texArea: ", texArea);
        return STATUS_FAILED;
    }

    size_t triangleCount = 0;
    for (const std::vector<int>& tris : chartTriangles) triangleCount += tris.size() / 3;
    const int workers = options.threadCount > 1 ? 2 : 1;
    const int searchLimit = workers > 1 ? 8 : 6;
    const double guess = std::sqrt(0.6 / texArea);
    const int grid = GridSize(options.resolution);
    PackAttemptResult best;
    int bestGrid = grid;
    int bestFrames = frameCount;
    // Keeps a pass's result when it reaches at least the best scale so far.
    auto keep = [&](PackAttemptResult&& r, int fromGrid, int frames) {
        if (!r.success || (best.success && r.scale < best.scale)) return;
        best = std::move(r);
        bestGrid = fromGrid;
        bestFrames = frames;
    };
    auto fill = [texArea](const PackAttemptResult& r) { return r.scale * r.scale * texArea; };

    // The search for the limit runs first on a grid of texels, where an attempt costs
    // a quarter; the finer grid then starts from that scale and only climbs.
    if (grid > options.resolution) {
        GridPacking coarse(chartTriangles, charts, placeable, options.resolution, longestSide, options, workers,
                           frameCount);
        if (coarse.Valid())
            keep(coarse.Pack(guess, 0, workers > 1 ? 1.01 : 1.02, {searchLimit, 0}, texArea), coarse.Grid(),
                 frameCount);
    }
    // On the finer grid, one worker stops once the limit is known to about a percent of
    // scale (two of fill): near the limit success is a matter of luck and a further
    // attempt gains little for its time. Two workers narrow faster per round and afford
    // a finer end.
    const double finePrecision = workers > 1 ? 1.006 : 1.012;
    const bool small = triangleCount < kSmallInputTriangles;
    if (best.success && !small && fill(best) >= kGoodFill) {
        _LogDetail("PackUVAtlas: texel grid fill ", fill(best), " is enough");
    } else {
        GridPacking fine(chartTriangles, charts, placeable, grid, longestSide, options, workers, frameCount);
        if (!fine.Valid() && !best.success) {
            _LogFailure("PackUVAtlas: ", placeable, " charts cannot keep a gap of ", options.gapTexels,
                        " texels in a square of ", options.resolution);
            return STATUS_FAILED;
        }
        if (fine.Valid()) {
            PackBudget budget = FineAttempts(chartCount, triangleCount);
            if (!best.success) budget.search = searchLimit;
            keep(fine.Pack(guess, best.success ? best.scale : 0, finePrecision, budget, texArea), grid, frameCount);
        }
    }
    if (best.success && options.allowRotation && frameCount < kSecondPassFrames && fill(best) < kPoorFill) {
        _LogDetail("PackUVAtlas: fill ", fill(best), ", second pass with charts turned by an eighth");
        for (PreparedChart& c : charts) SetFrames(c, kSecondPassFrames);
        GridPacking tilted(chartTriangles, charts, placeable, grid, LongestSide(charts), options, workers,
                           kSecondPassFrames);
        if (tilted.Valid())
            keep(tilted.Pack(guess, best.scale, finePrecision, {kSecondPassSearch, kSecondPassRefine}, texArea), grid,
                 kSecondPassFrames);
    }
    if (!best.success) {
        _LogFailure("PackUVAtlas: no scale places every chart");
        return STATUS_FAILED;
    }

    const double pixelScale = best.scale * bestGrid;
    for (size_t k = 0; k < chartCount; ++k) {
        const PreparedChart& c = charts[k];
        if (c.Empty()) continue;
        const ChartPlacement& p = best.placements[k];
        const ChartFrame& turned = c.frames[p.turns / 4];
        const std::vector<double>& local = turned.local;
        const PixelFrame frame = _MakePixelFrame(turned, pixelScale);
        std::vector<double>& uv = chartUVs[k];
        for (size_t i = 0; i + 1 < uv.size(); i += 2) {
            double x, y;
            _TurnPoint(local[i] * pixelScale + frame.offsetX, local[i + 1] * pixelScale + frame.offsetY, p.turns & 3,
                       frame, x, y);
            uv[i] = (x + p.x) / bestGrid;
            uv[i + 1] = (y + p.y) / bestGrid;
        }
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    _LogDetail("UnfoldMesh::PackAtlas time: ", seconds);
    if (stats) {
        stats->utilization = fill(best);
        stats->scale = best.scale;
        stats->workResolution = bestGrid;
        stats->directions = options.allowRotation ? 4 * std::min(bestFrames, kMaxFrames) : 1;
        stats->seconds = seconds;
    }
    return STATUS_SUCCESS;
}

}  // namespace

int _PackCharts(const std::vector<std::vector<int>>& chartTriangles, std::vector<std::vector<double>>& chartUVs,
                const ChartPackOptions& options, ChartPackStats* stats) {
    try {
        return PackCharts(chartTriangles, chartUVs, options, stats);
    } catch (const std::exception& e) {
        _LogFailure("PackUVAtlas: packing stopped: ", e.what());
        return STATUS_FAILED;
    }
}

}  // namespace ORVO
