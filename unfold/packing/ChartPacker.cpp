#include "unfold/packing/ChartPacker.h"

#include "foundation/LogLine.h"
#include "unfold/packing/ChartPackAttempt.h"
#include "unfold/packing/ChartShapeSet.h"
#include "unfold/packing/TwoThreads.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <exception>
#include <limits>

namespace ORVO {

namespace {

constexpr double kNoScale = std::numeric_limits<double>::max();

// Inputs under this many triangles get every attempt of the finer grid.
constexpr size_t kSmallInputTriangles = 20000;

// Up to this many charts, a small input's charts span hundreds of pixels each on a grid
// of kFewChartsGrid pixels, whatever the texture's size: their borders cost little there,
// and a grid twice as fine costs four times as much per attempt and per drawing. Measured
// on small meshes at 1024 texels, the finer grid gained under half a point of fill on
// average (some meshes lost, some gained) for three times the packing time. Larger
// textures keep the time of 1024 texels; their gap rounds up to a whole pixel of this grid.
constexpr size_t kFewCharts = 200;
constexpr int kFewChartsGrid = 1024;
// On that grid they can afford twelve directions each (three frames), as the fewest
// charts of any input get: on small meshes of 70 to 140 charts that raised the fill by a
// point and a half on average (one of four lost half a point) for a third more packing time.
constexpr int kFewChartsFrames = 3;

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

// Largest scale that still packs: each round proposes one scale per worker from what
// the earlier attempts showed (bracket, rows used, share placed before failing).
class ScaleSearch {
public:
    // `precision`: the search stops once the best success and the lowest failure above
    // it differ by less than this factor.
    ScaleSearch(double start, double maxScale, double precision)
        : mStart(std::min(start, maxScale)), mMax(maxScale), mPrecision(precision) {}

    std::vector<double> Propose(int count) const {
        std::vector<double> s;
        // Where the rows left free by the best success predict the limit.
        const double predicted = mLo * std::sqrt(double(mLoSide) / std::max(1, mLoUsed)) * 1.005;
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
                mLoSide = r.side;
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
        mLoSide = mLoUsed = 1;
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
    double mPrecision;
    double mLo = 0;
    int mLoSide = 1;  // side and rows used of the best success
    int mLoUsed = 0;
    double mHi = kNoScale;
    double mHiPlaced = 0;
    bool mSeeded = false;  // the best success is the seed, not an attempt on this grid
};

// First step above the best success once the search has ended, and the step below
// which a further step is not worth an attempt.
constexpr double kRefineStep = 1.008;
constexpr double kRefineMinStep = 1.002;

// Ladder attempts on the coarse grid. Near the limit, whether a scale packs is the luck
// of how the charts fall: a short ladder there raises the result a large input may stop
// at (a point of fill on ogre) and the seed of the finer grid.
constexpr int kCoarseRefine = 2;

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

// Scales that put the charts on less than this share of the grid's side draw them again.
// Climbing within that share keeps the images: a square 3% smaller only makes the pixels
// 3% coarser than the texels.
constexpr double kRedrawShare = 0.97;

// Runs one attempt per side and variant, the second (if any) on a thread of its own.
std::vector<PackAttemptResult> RunAttempts(std::vector<ChartPackAttempt>& attempts, const ChartShapeSet& shapes,
                                           const std::vector<int>& sides, const std::vector<PackVariant>& variants) {
    std::vector<PackAttemptResult> results(sides.size());
    if (sides.size() > 1 && attempts.size() > 1) {
        _RunOnTwoThreads([&] { results[0] = attempts[0].Run(shapes, sides[0], variants[0]); },
                         [&] { results[1] = attempts[1].Run(shapes, sides[1], variants[1]); });
    } else {
        for (size_t i = 0; i < sides.size(); ++i) results[i] = attempts[0].Run(shapes, sides[i], variants[i]);
    }
    return results;
}

// The attempts of one grid: the charts' images are drawn once at a pixel scale that puts
// the scale to beat at the grid's side, and every larger scale is tried as a smaller
// square; only a scale below that (a failed guess) draws them again.
class GridPacking {
public:
    // `placeable`: the charts with at least one point; `side`: the grid's largest side,
    // at which `gap` pixels are the gap asked.
    GridPacking(const std::vector<std::vector<int>>& chartTriangles, const std::vector<PreparedChart>& charts,
                size_t placeable, int side, int gap, const ChartPackOptions& options, int workers, int frameLimit)
        : mShapes(chartTriangles, charts, gap, options.allowRotation, _ProbesPay(placeable), frameLimit),
          mSide(side) {
        // Even as single pixels, charts keep gap + 1 pixels apart: more than fit in the
        // grid can never be placed.
        const double cells = double(side) / (gap + 1);
        if (double(placeable) > cells * cells) return;
        mAttempts.resize(workers);
    }

    bool Valid() const { return !mAttempts.empty(); }

    // The largest scale that packs: the scale search from `guess`, or climbing from `seed`
    // (a scale known to pack on a coarser grid or in fewer directions; 0 for none), ends
    // once it knows the limit to `precision` or has spent `budget.search` attempts after
    // a success; the variant ladder then climbs with `budget.refine` more. Returns the
    // best success (success false if none).
    PackAttemptResult Pack(double guess, double seed, double precision, PackBudget budget, double texArea) {
        const double start = seed > 0 ? seed : guess;
        Draw(start);
        ScaleSearch search(guess, mShapes.PixelScale() / mShapes.SmallestSide(), precision);
        if (seed > 0) search.Seed(seed);
        PackAttemptResult best = Search(search, texArea, budget.search);
        Refine(search, best, seed, budget.refine);
        return best;
    }

    // A variant that places the charts in `order`.
    static PackVariant InOrder(const std::vector<int>& order) {
        PackVariant v;
        v.sequence = &order;
        return v;
    }

    // The `keep` orders of placement that leave the most rows free, each tried once in
    // the square that puts the charts at `scale`; those that fail are dropped.
    std::vector<size_t> RankOrders(const std::vector<std::vector<int>>& orders, double scale, size_t keep) {
        Draw(scale);
        const int side = SideFor(scale);
        std::vector<std::pair<int, size_t>> ranked;  // rows used, order
        for (size_t o = 0; o < orders.size(); o += mAttempts.size()) {
            std::vector<int> sides;
            std::vector<PackVariant> variants;
            for (size_t w = o; w < orders.size() && w < o + mAttempts.size(); ++w) {
                sides.push_back(side);
                variants.push_back(InOrder(orders[w]));
            }
            const std::vector<PackAttemptResult> results = RunAttempts(mAttempts, mShapes, sides, variants);
            for (size_t r = 0; r < results.size(); ++r)
                if (results[r].success) ranked.emplace_back(results[r].usedHeight, o + r);
        }
        std::stable_sort(ranked.begin(), ranked.end());
        std::vector<size_t> kept;
        for (size_t k = 0; k < ranked.size() && k < keep; ++k) kept.push_back(ranked[k].second);
        return kept;
    }

    // Climbs with each of the chosen orders, two at a time, from `from` (a scale the
    // orders are expected to pack at): the first step aims `aim` times higher, later
    // ones halve the bracket after a failure or step past a success by the rows it
    // left free; `steps` steps each. Writes, when asked, the scale each order reached
    // (0 when it placed nothing above `from`); returns the best success above `from`.
    PackAttemptResult ClimbOrders(const std::vector<std::vector<int>>& orders, const std::vector<size_t>& chosen,
                                  double from, double aim, int steps, std::vector<double>* reached = nullptr) {
        Draw(from);
        if (reached) reached->assign(chosen.size(), 0.0);
        PackAttemptResult best;
        const size_t workers = mAttempts.size();
        for (size_t c = 0; c < chosen.size(); c += workers) {
            const size_t end = std::min(chosen.size(), c + workers);
            std::vector<double> lo(end - c, from), hi(end - c, kNoScale), next(end - c, from * aim);
            for (int step = 0; step < steps; ++step) {
                std::vector<int> sides;
                std::vector<PackVariant> variants;
                std::vector<size_t> who;
                for (size_t k = 0; k < end - c; ++k) {
                    if (hi[k] != kNoScale && hi[k] / lo[k] < 1.003) continue;
                    int side = SideFor(next[k]);
                    while (side > mShapes.SmallestSide() && mShapes.PixelScale() / side <= lo[k]) --side;
                    if (!(mShapes.PixelScale() / side > lo[k])) continue;
                    sides.push_back(side);
                    variants.push_back(InOrder(orders[chosen[c + k]]));
                    who.push_back(k);
                }
                if (sides.empty()) break;
                std::vector<PackAttemptResult> results = RunAttempts(mAttempts, mShapes, sides, variants);
                for (size_t r = 0; r < results.size(); ++r) {
                    const size_t k = who[r];
                    if (results[r].success) {
                        lo[k] = results[r].scale;
                        if (reached) (*reached)[c + k] = lo[k];
                        const double free = std::sqrt(double(results[r].side) / std::max(1, results[r].usedHeight));
                        next[k] = hi[k] == kNoScale ? lo[k] * std::max(1.004, free) : std::sqrt(lo[k] * hi[k]);
                        if (!best.success || results[r].scale > best.scale) best = std::move(results[r]);
                    } else {
                        hi[k] = results[r].scale;
                        next[k] = std::sqrt(lo[k] * hi[k]);
                    }
                }
            }
        }
        return best;
    }

private:
    // Draws the images again when `scale` would need a square larger than the grid, or
    // one so much smaller that the pixels would be coarser than the grid's.
    void Draw(double scale) {
        const double side = mShapes.Built() ? mShapes.PixelScale() / scale : 0;
        if (side > mSide + 1e-6 || side < kRedrawShare * mSide) mShapes.Build(scale * mSide, static_cast<int>(mAttempts.size()));
    }
    // The square that puts the charts at `scale` or just below it.
    int SideFor(double scale) const {
        const double side = std::ceil(mShapes.PixelScale() / scale - 1e-9);
        return static_cast<int>(std::min<double>(mSide, std::max<double>(mShapes.SmallestSide(), side)));
    }
    std::vector<int> Sides(const std::vector<double>& scales) {
        double lowest = scales[0];
        for (double s : scales) lowest = std::min(lowest, s);
        Draw(lowest);
        std::vector<int> sides;
        for (double s : scales) {
            const int side = SideFor(s);
            if (std::find(sides.begin(), sides.end(), side) == sides.end()) sides.push_back(side);
        }
        return sides;
    }

    // Runs the scale search to its end; returns the best success (success false if none).
    PackAttemptResult Search(ScaleSearch& search, double texArea, int attemptLimit) {
        PackAttemptResult best;
        const int attemptLimitWithoutSuccess = 60;
        int attemptCount = 0;
        while (!search.Done()) {
            if (attemptCount >= (search.HasSuccess() ? attemptLimit : attemptLimitWithoutSuccess)) break;
            const std::vector<int> sides = Sides(search.Propose(static_cast<int>(mAttempts.size())));
            std::vector<PackAttemptResult> results =
                RunAttempts(mAttempts, mShapes, sides, std::vector<PackVariant>(sides.size()));
            bool progress = false;
            for (PackAttemptResult& r : results) {
                ++attemptCount;
                _LogDetail("PackUVAtlas: update discrete = ", r.scale, " utilization ", r.scale * r.scale * texArea,
                           r.success ? " placed" : " no room");
                progress = search.Record(r) || progress;
                if (r.success && (!best.success || r.scale > best.scale)) best = std::move(r);
            }
            // A square a pixel apart from the best is as far as this grid can tell.
            if (best.success && sides.size() == 1 && sides[0] == best.side && !progress) break;
        }
        return best;
    }

    // Near the limit, whether a scale packs depends on how the charts happen to fall, not
    // on the scale alone: a scale a little above the best success often packs with another
    // order or placement rule. Each step up is tried with the variants in turn until one
    // places every chart; the ladder ends when none does or the budget is spent. It climbs
    // from the best success, or from `floor` (a scale known to pack elsewhere; 0 for none)
    // when the search found none above it, so that its effort does not hang on that luck.
    void Refine(const ScaleSearch& search, PackAttemptResult& best, double floor, int budget) {
        static const PackVariant kVariants[] = {
            {PlacementRule::LowestCentre, PlacementOrder::Pixels, nullptr},
            {PlacementRule::LowestTop, PlacementOrder::Pixels, nullptr},
            {PlacementRule::LowestBottom, PlacementOrder::BoxArea, nullptr},
            {PlacementRule::LowestTop, PlacementOrder::BoxPerimeter, nullptr},
        };
        const size_t variantCount = sizeof(kVariants) / sizeof(kVariants[0]);
        const int workers = static_cast<int>(mAttempts.size());
        double current = best.success ? std::max(best.scale, floor) : floor;
        double step = kRefineStep;
        while (current > 0 && budget > 0 && step > kRefineMinStep) {
            // With attempts for a few rungs, a step past a failure of the search pays off
            // more often than not; with fewer, the middle of the bracket is the surer gain.
            const double failed = search.LowestFailure();
            double next = current * step;
            if (failed > current && failed < next && budget < 2 * static_cast<int>(variantCount))
                next = std::sqrt(current * failed);
            // A larger scale is a smaller square, at least a pixel smaller.
            int side = SideFor(next);
            while (side > mShapes.SmallestSide() && mShapes.PixelScale() / side <= current) --side;
            const double scale = mShapes.PixelScale() / side;
            if (!(scale > current)) break;
            bool placed = false;
            // The search's own variant already failed at or below this scale.
            for (size_t v = scale >= failed ? 1 : 0; v < variantCount && !placed && budget > 0;) {
                std::vector<int> sides;
                std::vector<PackVariant> variants;
                for (int w = 0; w < workers && v < variantCount && budget > 0; ++w, ++v, --budget) {
                    sides.push_back(side);
                    variants.push_back(kVariants[v]);
                }
                std::vector<PackAttemptResult> results = RunAttempts(mAttempts, mShapes, sides, variants);
                for (PackAttemptResult& r : results) {
                    if (r.success && !placed) {
                        placed = true;
                        best = std::move(r);
                        current = best.scale;
                    }
                }
            }
            // No variant reached that far: aim closer.
            if (!placed) step = std::sqrt(step);
        }
    }

    ChartShapeSet mShapes;
    int mSide;
    std::vector<ChartPackAttempt> mAttempts;
};

// Few charts: the order in which they are placed decides much of the fill, and
// largest first is one order of many. On bunny, rocker_arm, spot and teapot under
// their budgets (3 to 6 charts) another order of the four largest filled 4 to 10
// points more. Above eight charts the search costs more than a tenth of the atlas.
constexpr size_t kOrderSearchFewest = 3;
constexpr size_t kOrderSearchMost = 8;
constexpr size_t kOrderSearchHead = 4;  // the charts whose orders are tried: 24 orders
// Each order is first placed once a little below the best scale on the coarser
// grid; those that leave the most rows free climb there, and the best two of
// them climb on the grid of the best result.
constexpr double kOrderRankShare = 0.97;
constexpr size_t kOrderRankKeep = 4;
constexpr int kOrderCoarseSteps = 6;
constexpr size_t kOrderFineKeep = 2;
constexpr int kOrderFineSteps = 5;

// The best success above `scale` (on `fineGrid`, where the best result was found)
// with the largest kOrderSearchHead charts in some other order; success false if none.
PackAttemptResult SearchPlacementOrders(const std::vector<std::vector<int>>& chartTriangles,
                                        const std::vector<PreparedChart>& charts, size_t placeable,
                                        const ChartPackOptions& options, int workers, int frames, int coarseGrid,
                                        int fineGrid, double scale) {
    std::vector<int> ids;
    for (size_t k = 0; k < charts.size(); ++k)
        if (!charts[k].Empty()) ids.push_back(static_cast<int>(k));
    std::stable_sort(ids.begin(), ids.end(), [&](int a, int b) { return charts[a].area > charts[b].area; });
    const size_t head = std::min(ids.size(), kOrderSearchHead);
    std::vector<int> first(ids.begin(), ids.begin() + head);
    std::sort(first.begin(), first.end());
    std::vector<std::vector<int>> orders;
    do {
        orders.push_back(first);
        orders.back().insert(orders.back().end(), ids.begin() + head, ids.end());
    } while (std::next_permutation(first.begin(), first.end()));

    GridPacking coarse(chartTriangles, charts, placeable, coarseGrid,
                       _GapPixels(options.gapTexels, coarseGrid, options.resolution), options, workers, frames);
    if (!coarse.Valid()) return PackAttemptResult();
    const double rankScale = scale * kOrderRankShare;
    const std::vector<size_t> kept = coarse.RankOrders(orders, rankScale, kOrderRankKeep);
    std::vector<double> reached;
    if (!coarse.ClimbOrders(orders, kept, rankScale, 1.03, kOrderCoarseSteps, &reached).success)
        return PackAttemptResult();
    std::vector<size_t> byReach(kept.size());
    for (size_t k = 0; k < byReach.size(); ++k) byReach[k] = k;
    std::stable_sort(byReach.begin(), byReach.end(), [&](size_t a, size_t b) { return reached[a] > reached[b]; });
    std::vector<size_t> chosen;
    for (size_t k = 0; k < byReach.size() && chosen.size() < kOrderFineKeep; ++k)
        if (reached[byReach[k]] > 0.0) chosen.push_back(kept[byReach[k]]);
    // The fine grid starts from the best result and aims as far above it as the
    // best order climbed on the coarse grid.
    const double gain = reached[byReach[0]] / rankScale;
    GridPacking fine(chartTriangles, charts, placeable, fineGrid,
                     _GapPixels(options.gapTexels, fineGrid, options.resolution), options, workers, frames);
    if (!fine.Valid()) return PackAttemptResult();
    return fine.ClimbOrders(orders, chosen, scale, std::max(1.004, 0.99 * gain), kOrderFineSteps);
}

// A large input's fewest charts (kFewestCharts, in three frames so far) are big, and how
// each one lies decides the fill: once every other pass is done, they climb once more in
// 32 directions from the best scale, on the coarser grid where that costs a quarter. On
// the budget and automatic atlases of five scans (2 to 16 charts) the fill rose by 1.3
// points on average and up to 3.3 (armadillo's 16 automatic charts), for a fifth more
// packing time; nothing is lost, as only a higher scale replaces the best. The same
// directions from the start gained less on average and lost 7 points on one atlas.
// A small input's fewest charts take the pass only when they fill less than kPoorFill,
// since there every millisecond counts. Of 9 such atlases (torus, spot and teapot under
// a budget and automatic, torus at 6, 9 and 13 charts) 7 filled less, and there the pass
// gained 2.3 points on average (up to 5.6 on torus's two budget charts) for about 11 ms.
constexpr PackBudget kAllDirectionsBudget = {6, 4};

int PackCharts(const std::vector<std::vector<int>>& chartTriangles, std::vector<std::vector<double>>& chartUVs,
               const ChartPackOptions& options, ChartPackStats* stats) {
    const auto start = std::chrono::steady_clock::now();
    if (!_ValidChartLists(chartTriangles, chartUVs)) return STATUS_INVALID_INPUT;
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
    size_t triangleCount = 0;
    for (const std::vector<int>& tris : chartTriangles) triangleCount += tris.size() / 3;
    const bool small = triangleCount < kSmallInputTriangles;
    const bool few = small && placeable <= kFewCharts;
    const int frameCount = few ? kFewChartsFrames : _FramesFor(placeable);
    for (size_t k = 0; k < chartCount; ++k) {
        charts[k] = _PrepareChart(k, chartTriangles[k], chartUVs[k], options.allowRotation, frameCount);
        texArea += charts[k].area;
    }
    if (!(texArea > 0) || !std::isfinite(texArea)) {
        _LogFailure("PackAtlas: invalid texArea: ", texArea);
        return STATUS_FAILED;
    }

    const int workers = options.threadCount > 1 ? 2 : 1;
    const int searchLimit = workers > 1 ? 8 : 6;
    // No chart may be drawn larger than the square: a sliver whose area is rounding
    // noise would otherwise ask for images of billions of pixels.
    double longestSide = 0;
    for (const PreparedChart& c : charts) {
        if (c.Empty()) continue;
        double side = std::numeric_limits<double>::max();
        for (const ChartFrame& f : c.frames) side = std::min(side, std::max(f.extentU, f.extentV));
        longestSide = std::max(longestSide, side);
    }
    double guess = std::sqrt(0.6 / texArea);
    if (longestSide > 0) guess = std::min(guess, 1.0 / longestSide);
    const int grid = few ? kFewChartsGrid : _FineGridSide(options.resolution);
    const int gap = _GapPixels(options.gapTexels, grid, options.resolution);
    const int coarseGrid = grid / 2;
    PackAttemptResult best;
    int bestGrid = grid;
    int bestFrames = frameCount;
    bool tiltedPass = false;
    bool otherOrder = false;
    bool allDirections = false;
    // Keeps a pass's result when it reaches at least the best scale so far.
    auto keep = [&](PackAttemptResult&& r, int fromGrid, int frames) {
        if (!r.success || (best.success && r.scale < best.scale)) return;
        best = std::move(r);
        bestGrid = fromGrid;
        bestFrames = frames;
    };
    auto fill = [texArea](const PackAttemptResult& r) { return r.scale * r.scale * texArea; };

    // The search for the limit runs first on a grid of half the side, where an attempt
    // costs a quarter; the finer grid then starts from that scale and only climbs.
    {
        GridPacking coarse(chartTriangles, charts, placeable, coarseGrid,
                           _GapPixels(options.gapTexels, coarseGrid, options.resolution), options, workers, frameCount);
        if (coarse.Valid())
            keep(coarse.Pack(guess, 0, workers > 1 ? 1.01 : 1.02, {searchLimit, kCoarseRefine}, texArea), coarseGrid,
                 frameCount);
    }
    // On the finer grid, one worker stops once the limit is known to about a percent of
    // scale (two of fill): near the limit success is a matter of luck and a further
    // attempt gains little for its time. Two workers narrow faster per round and afford
    // a finer end.
    const double finePrecision = workers > 1 ? 1.006 : 1.012;
    if (best.success && !small && fill(best) >= kGoodFill) {
        _LogDetail("PackUVAtlas: texel grid fill ", fill(best), " is enough");
    } else {
        GridPacking fine(chartTriangles, charts, placeable, grid, gap, options, workers, frameCount);
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
        tiltedPass = true;
        for (PreparedChart& c : charts) _SetFrames(c, kSecondPassFrames);
        GridPacking tilted(chartTriangles, charts, placeable, grid, gap, options, workers, kSecondPassFrames);
        if (tilted.Valid())
            keep(tilted.Pack(guess, best.scale, finePrecision, {kSecondPassSearch, kSecondPassRefine}, texArea), grid,
                 kSecondPassFrames);
    }
    // So few charts always have three frames and never take the tilted pass: the
    // frames of the best result are the charts' own.
    if (best.success && placeable >= kOrderSearchFewest && placeable <= kOrderSearchMost) {
        PackAttemptResult ordered = SearchPlacementOrders(chartTriangles, charts, placeable, options, workers, bestFrames,
                                                          coarseGrid, bestGrid, best.scale);
        _LogDetail("PackUVAtlas: placement orders ", ordered.success ? fill(ordered) : 0.0, " against ", fill(best));
        otherOrder = ordered.success && ordered.scale > best.scale;
        if (otherOrder) keep(std::move(ordered), bestGrid, bestFrames);
    }
    if (best.success && options.allowRotation && (!small || fill(best) < kPoorFill) && placeable <= kFewestCharts &&
        bestFrames < kMaxFrames) {
        const int keptFrames = bestFrames;
        for (PreparedChart& c : charts) _SetFrames(c, kMaxFrames);
        GridPacking turned(chartTriangles, charts, placeable, coarseGrid,
                           _GapPixels(options.gapTexels, coarseGrid, options.resolution), options, workers, kMaxFrames);
        if (turned.Valid()) {
            PackAttemptResult r = turned.Pack(guess, best.scale, finePrecision, kAllDirectionsBudget, texArea);
            _LogDetail("PackUVAtlas: 32 directions ", r.success ? fill(r) : 0.0, " against ", fill(best));
            allDirections = r.success && r.scale > best.scale;
            if (allDirections) keep(std::move(r), coarseGrid, kMaxFrames);
        }
        // The placements kept name frames of the pass that made them.
        if (!allDirections)
            for (PreparedChart& c : charts) _SetFrames(c, keptFrames);
    }
    if (!best.success) {
        _LogFailure("PackUVAtlas: no scale places every chart");
        return STATUS_FAILED;
    }

    for (size_t k = 0; k < chartCount; ++k)
        if (!charts[k].Empty()) _WritePlacedChart(charts[k], best.placements[k], best.pixelScale, best.side, chartUVs[k]);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    _LogDetail("UnfoldMesh::PackAtlas time: ", seconds);
    if (stats) {
        stats->utilization = fill(best);
        stats->scale = best.scale;
        stats->workResolution = bestGrid;
        stats->directions = options.allowRotation ? 4 * std::min(bestFrames, kMaxFrames) : 1;
        stats->tiltedPass = tiltedPass;
        stats->otherOrder = otherOrder;
        stats->allDirections = allDirections;
        stats->seconds = seconds;
    }
    return STATUS_SUCCESS;
}

}  // namespace

// Side of the finest occupancy grid. Up to 1024 texels it is two pixels or more a
// texel: finer than the texture, the conservative cover of chart borders wastes less.
// From 2048 to 4096 texels it stays at 2048 pixels, and above it grows with the fourth
// root of the texture's side, so that a 4096 or 8192 texture costs about the pixels
// (and the time) of a 1024 one or 1.4 times them. The gap then rounds up to a whole
// pixel, more than asked but less, measured against the square, than at 1024.
int _FineGridSide(int resolution) {
    if (resolution <= 1024) return resolution * std::max(2, 2048 / resolution);
    if (resolution <= 4096) return std::min(resolution, 2048);
    return std::min(kMaxGridSize, static_cast<int>(std::lround(2048 * std::pow(resolution / 4096.0, 0.25))));
}

// The gap in pixels of a grid of `side` pixels over the texture, rounded up.
int _GapPixels(int gapTexels, int side, int resolution) {
    return static_cast<int>(std::ceil(double(gapTexels) * side / resolution - 1e-9));
}

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
