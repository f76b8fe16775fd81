// Chart packing: generated chart sets are packed and checked independently of the
// packer's own arithmetic (exact triangle distances, rigid motion, unit square).

#include "tests/ChartPackCheck.h"
#include "unfold/packing/AtlasGrid.h"
#include "unfold/packing/ChartPackAttempt.h"
#include "unfold/packing/ChartPacker.h"
#include "unfold/packing/ChartRaster.h"
#include "unfold/packing/ChartShape.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace {

using Tris = std::vector<std::vector<int>>;
using UVs = std::vector<std::vector<double>>;

struct ChartSet {
    Tris tris;
    UVs uvs;
    void Add(std::vector<int> t, std::vector<double> uv) {
        tris.push_back(std::move(t));
        uvs.push_back(std::move(uv));
    }
    double Area() const {
        double a = 0;
        for (size_t k = 0; k < tris.size(); ++k)
            for (size_t t = 0; t + 2 < tris[k].size(); t += 3) {
                const double* p = &uvs[k][2 * tris[k][t]];
                const double* q = &uvs[k][2 * tris[k][t + 1]];
                const double* r = &uvs[k][2 * tris[k][t + 2]];
                a += 0.5 * std::fabs(packcheck::Cross(p, q, r));
            }
        return a;
    }
};

// Fan of a polygon around its first vertex (valid for convex polygons) or around an
// added centre point (valid for star-shaped ones).
void AddPolygon(ChartSet& set, const std::vector<double>& ring, bool centre, double ox, double oy) {
    std::vector<double> uv;
    std::vector<int> tris;
    const int n = static_cast<int>(ring.size() / 2);
    if (centre) uv = {ox, oy};
    for (int i = 0; i < n; ++i) {
        uv.push_back(ring[2 * i] + ox);
        uv.push_back(ring[2 * i + 1] + oy);
        if (centre)
            tris.insert(tris.end(), {0, 1 + i, 1 + (i + 1) % n});
        else if (i >= 1 && i + 1 < n)
            tris.insert(tris.end(), {0, i, i + 1});
    }
    set.Add(std::move(tris), std::move(uv));
}

// Random convex polygon: sorted angles on an ellipse, counter-clockwise.
void AddConvex(ChartSet& set, std::mt19937& rng, double size) {
    std::uniform_real_distribution<double> uni(0, 1);
    std::vector<double> angles;
    const int n = 3 + static_cast<int>(uni(rng) * 9);
    for (int i = 0; i < n; ++i) angles.push_back(uni(rng) * 2 * M_PI);
    std::sort(angles.begin(), angles.end());
    const double aspect = 0.3 + uni(rng);
    std::vector<double> ring;
    for (double a : angles) {
        ring.push_back(size * std::cos(a));
        ring.push_back(size * aspect * std::sin(a));
    }
    AddPolygon(set, ring, false, 100 * uni(rng), 100 * uni(rng));
}

// Star-shaped, strongly non-convex polygon fanned from its centre.
void AddStar(ChartSet& set, std::mt19937& rng, double size) {
    std::uniform_real_distribution<double> uni(0, 1);
    const int n = 10 + static_cast<int>(uni(rng) * 20);
    std::vector<double> ring;
    for (int i = 0; i < n; ++i) {
        const double a = 2 * M_PI * i / n;
        const double r = size * (i % 2 ? 0.35 + 0.2 * uni(rng) : 0.8 + 0.2 * uni(rng));
        ring.push_back(r * std::cos(a));
        ring.push_back(r * std::sin(a));
    }
    AddPolygon(set, ring, true, -50 + 10 * uni(rng), 20 * uni(rng));
}

// L-shape as a grid of cells with the upper right block left out.
void AddL(ChartSet& set, double size, double ox) {
    std::vector<double> uv;
    std::vector<int> tris;
    for (int y = 0; y <= 3; ++y)
        for (int x = 0; x <= 3; ++x) {
            uv.push_back(ox + size * x);
            uv.push_back(size * y);
        }
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 3; ++x) {
            if (x >= 1 && y >= 1) continue;
            const int a = y * 4 + x;
            tris.insert(tris.end(), {a, a + 1, a + 5, a, a + 5, a + 4});
        }
    set.Add(std::move(tris), std::move(uv));
}

// Rectangle of width x height units split into nx x ny quads, two triangles each.
void AddRectangle(ChartSet& set, int nx, int ny, double width, double height, double ox) {
    std::vector<double> uv;
    std::vector<int> tris;
    for (int y = 0; y <= ny; ++y)
        for (int x = 0; x <= nx; ++x) {
            uv.push_back(ox + width * x / nx);
            uv.push_back(height * y / ny);
        }
    for (int y = 0; y < ny; ++y)
        for (int x = 0; x < nx; ++x) {
            const int a = y * (nx + 1) + x;
            tris.insert(tris.end(), {a, a + 1, a + nx + 2, a, a + nx + 2, a + nx + 1});
        }
    set.Add(std::move(tris), std::move(uv));
}

// Square of cells x cells quads.
void AddSquare(ChartSet& set, int cells, double size, double ox) { AddRectangle(set, cells, cells, size, size, ox); }

// Ring cut open: a strip of quads along 300 degrees of an annulus.
void AddOpenRing(ChartSet& set, double radius, int segments) {
    std::vector<double> uv;
    std::vector<int> tris;
    for (int j = 0; j <= segments; ++j) {
        const double a = 5.2 * j / segments;
        for (double r : {0.7 * radius, radius}) {
            uv.push_back(r * std::cos(a) + 7);
            uv.push_back(r * std::sin(a) - 3);
        }
        if (j < segments) tris.insert(tris.end(), {2 * j, 2 * j + 1, 2 * j + 3, 2 * j, 2 * j + 3, 2 * j + 2});
    }
    set.Add(std::move(tris), std::move(uv));
}

// Charts that stress the rasterisation: zero-area triangles, needles, duplicated
// triangles, a lone triangle, a chart of coincident points, a chart without triangles.
void AddDegenerate(ChartSet& set) {
    set.Add({0, 1, 2}, {0, 0, 1, 0, 2, 0});                                    // collinear
    set.Add({0, 1, 2}, {3, 3, 3, 3, 3, 3});                                    // one point
    set.Add({0, 1, 2, 0, 1, 2, 0, 2, 1}, {0, 0, 1, 0, 0, 1});                  // duplicated
    set.Add({0, 1, 2}, {0, 0, 3, 0, 1.5, 1e-9});                               // needle
    set.Add({0, 1, 2}, {5, 5, 5.5, 5, 5, 5.25});                               // lone triangle
    set.Add({0, 1, 2, 0, 2, 3}, {0, 0, 1, 0, 1, 1e-14, 0, 1e-14});             // sliver pair
    set.Add({}, {4, 4, 4.5, 4.25});                                            // points only
}

ChartSet MixedSet(unsigned seed, int count) {
    ChartSet set;
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> uni(0, 1);
    for (int i = 0; i < count; ++i) {
        switch (i % 4) {
            case 0: AddConvex(set, rng, 0.5 + 2 * uni(rng)); break;
            case 1: AddStar(set, rng, 0.5 + 2 * uni(rng)); break;
            case 2: AddL(set, 0.2 + 0.5 * uni(rng), 10 * uni(rng)); break;
            default: AddOpenRing(set, 0.5 + uni(rng), 12 + i % 20); break;
        }
    }
    return set;
}

// The charts of `set` as they come, and with `frames` > 1 also turned by a third and
// two thirds of a quarter turn.
std::vector<ORVO::PreparedChart> ChartsAsTheyCome(const ChartSet& set, int frames) {
    std::vector<ORVO::PreparedChart> charts(set.uvs.size());
    for (size_t k = 0; k < charts.size(); ++k) {
        ORVO::ChartFrame asIs;
        asIs.local = set.uvs[k];
        for (int f = 0; f < frames; ++f) charts[k].frames.push_back(ORVO::_TurnedFrame(asIs, M_PI / 6 * f));
    }
    return charts;
}

// Packs `set` and checks every property; returns the stats (and the packed coordinates).
ORVO::ChartPackStats PackAndCheck(const ChartSet& set, const ORVO::ChartPackOptions& options, UVs* out = nullptr) {
    UVs local, &packed = out ? *out : local;
    packed = set.uvs;
    ORVO::ChartPackStats stats;
    EXPECT_EQ(ORVO::_PackCharts(set.tris, packed, options, &stats), 0);
    if (::testing::Test::HasFailure()) return stats;
    // Without a gap, charts must still not meet: every nearby pair is measured apart.
    const double required = options.gapTexels > 0 ? (options.gapTexels - 1e-6) / options.resolution : 0.0;
    const packcheck::Report rep = packcheck::CheckPacking(set.tris, packed, required);
    EXPECT_TRUE(rep.inside) << rep.firstProblem;
    EXPECT_EQ(rep.closePairs, 0) << rep.firstProblem;
    if (options.gapTexels == 0) {
        EXPECT_GT(rep.pairsTested, 0);
        EXPECT_GT(rep.minDistance, 0.0);
    }
    std::string problem;
    double scale = 0;
    EXPECT_TRUE(packcheck::CheckRigid(set.tris, set.uvs, packed, &scale, &problem)) << problem;
    EXPECT_NEAR(scale, stats.scale, 1e-7 * stats.scale);
    // The reported utilisation is the packed triangle area, measured here from the input.
    EXPECT_NEAR(stats.utilization, stats.scale * stats.scale * set.Area(), 1e-9);
    EXPECT_GT(stats.utilization, 0.0);
    EXPECT_LE(stats.utilization, 1.0);
    return stats;
}

TEST(ChartPacker, MixedShapesKeepGapAndStayRigid) {
    ChartSet set = MixedSet(11, 120);
    ORVO::ChartPackOptions options;
    const ORVO::ChartPackStats stats = PackAndCheck(set, options);
    // Few charts of a small input are placed on the texel grid (or the coarse one), each in
    // twelve directions.
    EXPECT_TRUE(stats.workResolution == 1024 || stats.workResolution == 512) << stats.workResolution;
    EXPECT_EQ(stats.directions, 12);
    // A sound packer fills well over half of the square with such shapes.
    EXPECT_GT(stats.utilization, 0.5);
}

// The effort follows the fill. A large input that fills the square well on the texel
// grid stops there; charts that leave much of it empty get a second pass on the finer
// grid in which they may also lie turned by an eighth of a turn.
TEST(ChartPacker, EffortFollowsTheFill) {
    ChartSet squares;
    for (int i = 0; i < 420; ++i) AddSquare(squares, 5, 1.0 + 0.02 * (i % 5), 3.0 * i);
    ORVO::ChartPackOptions options;
    options.threadCount = 2;
    ORVO::ChartPackStats stats = PackAndCheck(squares, options);
    EXPECT_EQ(stats.workResolution, options.resolution);
    EXPECT_GE(stats.utilization, 0.75);
    EXPECT_EQ(stats.directions, 4);
    EXPECT_FALSE(stats.tiltedPass);

    // Whether the tilted pass finds a larger scale is the luck of the placements; that it
    // runs, and that what it keeps is sound, is not.
    stats = PackAndCheck(MixedSet(11, 240), options);
    EXPECT_TRUE(stats.tiltedPass);
}

// A large input of a few dozen charts turns each one in 32 directions, an eighth of a
// quarter turn apart: charts turned by odd multiples of that step must still land whole,
// rigid and apart, on one and on two threads.
TEST(ChartPacker, SeveralDozenChartsOfALargeInputTakeThirtyTwoDirections) {
    ChartSet set = MixedSet(5, 40);
    AddSquare(set, 100, 3.0, 20.0);  // 20,000 triangles make the input a large one
    for (int threads : {1, 2}) {
        SCOPED_TRACE(threads);
        ORVO::ChartPackOptions options;
        options.threadCount = threads;
        const ORVO::ChartPackStats stats = PackAndCheck(set, options);
        EXPECT_EQ(stats.directions, 32);
        EXPECT_GT(stats.utilization, 0.5);
    }
}

// The fewest charts of a large input, and those of a small one that fill the square
// poorly, climb once more in 32 directions. A lone 4 x 1 rectangle needs a square
// 4 cos 30 + sin 30 = 3.96 units wide in its best direction a multiple of 30 degrees
// from its sides, and (4 + 1) / sqrt 2 = 3.54 units turned by 45.
TEST(ChartPacker, ALoneLongChartLiesAcrossTheSquare) {
    for (int cells : {1, 50}) {  // 2 triangles: a small input; 20,000: a large one
        SCOPED_TRACE(cells);
        ChartSet set;
        AddRectangle(set, 4 * cells, cells, 4.0, 1.0, 0.0);
        const ORVO::ChartPackStats stats = PackAndCheck(set, ORVO::ChartPackOptions());
        EXPECT_TRUE(stats.allDirections);
        EXPECT_EQ(stats.directions, 32);
        EXPECT_GT(stats.scale, 1 / (4 * std::cos(M_PI / 6) + std::sin(M_PI / 6)));
        EXPECT_LE(stats.scale, std::sqrt(2.0) / 5);
        EXPECT_GT(stats.scale, 0.97 * std::sqrt(2.0) / 5);
    }
}

// A handful of charts is also placed in other orders of its largest four; a layout
// from another order, when one fills more, is as sound as any other.
TEST(ChartPacker, FewChartsTryOtherOrders) {
    int otherOrders = 0;
    for (unsigned seed = 1; seed <= 6; ++seed) {
        SCOPED_TRACE(seed);
        for (int threads : {1, 2}) {
            ORVO::ChartPackOptions options;
            options.threadCount = threads;
            const ORVO::ChartPackStats stats = PackAndCheck(MixedSet(seed, 5), options);
            otherOrders += stats.otherOrder ? 1 : 0;
        }
    }
    EXPECT_GT(otherOrders, 0);
}

// An explicit order is the order of placement: its first chart takes the bottom-left
// corner of the empty square, whichever chart that is.
TEST(ChartPackAttempt, AGivenOrderIsFollowed) {
    const ChartSet set = MixedSet(3, 6);
    const std::vector<ORVO::PreparedChart> charts = ChartsAsTheyCome(set, 1);
    ORVO::ChartShapeSet shapes(set.tris, charts, 2, false, false);
    shapes.Build(0.5 / std::sqrt(set.Area()) * 512, 1);
    ORVO::ChartPackAttempt attempt;
    for (const std::vector<int>& order : {std::vector<int>{5, 4, 3, 2, 1, 0}, std::vector<int>{2, 0, 5, 1, 3, 4}}) {
        ORVO::PackVariant variant;
        variant.sequence = &order;
        const ORVO::PackAttemptResult r = attempt.Run(shapes, 512, variant);
        ASSERT_TRUE(r.success);
        const ORVO::ChartPlacement& first = r.placements[order[0]];
        for (int k : order) {
            EXPECT_LE(first.y, r.placements[k].y) << k;
            if (r.placements[k].y == first.y) {
                EXPECT_LE(first.x, r.placements[k].x) << k;
            }
        }
    }
}

// Also run with two threads: every attempt they share must be as sound.
TEST(ChartPacker, ManyTinyChartsAroundFewLargeOnesOnTwoThreads) {
    ChartSet set;
    std::mt19937 rng(5);
    std::uniform_real_distribution<double> uni(0, 1);
    for (int i = 0; i < 3; ++i) AddStar(set, rng, 20 + 5 * uni(rng));
    for (int i = 0; i < 400; ++i) AddConvex(set, rng, 0.2 + 0.3 * uni(rng));
    ORVO::ChartPackOptions options;
    options.threadCount = 2;
    PackAndCheck(set, options);
}

TEST(ChartPacker, DegenerateChartsGetPlacesOfTheirOwn) {
    ChartSet set = MixedSet(3, 20);
    AddDegenerate(set);
    AddDegenerate(set);
    PackAndCheck(set, ORVO::ChartPackOptions());
}

TEST(ChartPacker, SliverWhoseAreaIsRoundingNoiseSpansTheSquareAtMost) {
    // Alone, the area would ask for a scale of about a million: the images would need
    // terabits. The sliver's length bounds the scale instead: it lies within the square,
    // along its diagonal at most.
    ChartSet set;
    set.Add({0, 1, 2}, {10, 1, 0, 1, 10, 1 + 1e-13});
    const ORVO::ChartPackStats stats = PackAndCheck(set, ORVO::ChartPackOptions());
    EXPECT_GT(stats.scale, 0.05);
    EXPECT_LE(stats.scale, std::sqrt(2.0) / 10);
}

TEST(ChartPacker, ChartWithManyVertices) {
    ChartSet set;
    // An elliptic disc meshed in 150 rings of 1200 vertices (180k vertices, 1200 of
    // them on the hull), next to small charts.
    const int rings = 150, segments = 1200;
    std::vector<double> uv = {0, 0};
    std::vector<int> tris;
    for (int r = 1; r <= rings; ++r)
        for (int s = 0; s < segments; ++s) {
            const double a = 2 * M_PI * s / segments, radius = double(r) / rings;
            uv.push_back(radius * std::cos(a));
            uv.push_back(0.5 * radius * std::sin(a));
        }
    auto id = [&](int r, int s) { return r == 0 ? 0 : 1 + (r - 1) * segments + (s % segments); };
    for (int s = 0; s < segments; ++s) tris.insert(tris.end(), {0, id(1, s), id(1, s + 1)});
    for (int r = 1; r < rings; ++r)
        for (int s = 0; s < segments; ++s)
            tris.insert(tris.end(), {id(r, s), id(r + 1, s), id(r + 1, s + 1), id(r, s), id(r + 1, s + 1), id(r, s + 1)});
    set.Add(std::move(tris), std::move(uv));
    std::mt19937 rng(9);
    for (int i = 0; i < 30; ++i) AddConvex(set, rng, 0.1);
    PackAndCheck(set, ORVO::ChartPackOptions());
}

TEST(ChartPacker, OtherResolutionsAndGaps) {
    // {resolution, gap, finer grid (-1: not checked)} for a set of many charts and for one
    // of few. The limit is searched on a grid of half the finer grid's side, then climbed
    // on the finer grid. Many charts get a grid of 2048 pixels up to 4096 texels, growing
    // slowly above; few charts of a small input get 1024 pixels at any size. Where the grid
    // is coarser than the texture, the gap, checked here in texels of the texture, is
    // rounded up, never down.
    struct Case {
        int resolution, gap, grid;
    };
    const ChartSet many = MixedSet(21, 240);
    for (const Case& c : {Case{1024, 1, 2048}, Case{4096, 1, 2048}, Case{8192, 1, 2435}, Case{6000, 3, 2253}}) {
        ORVO::ChartPackOptions options;
        options.resolution = c.resolution;
        options.gapTexels = c.gap;
        const int work = PackAndCheck(many, options).workResolution;
        EXPECT_TRUE(work == c.grid || work == c.grid / 2) << c.resolution << ": " << work;  // finer or coarse grid
    }
    const ChartSet few = MixedSet(21, 16);
    for (const Case& c : {Case{1024, 1, 1024}, Case{512, 2, 1024}, Case{256, 1, 1024}, Case{4096, 1, 1024},
                          Case{8192, 2, 1024}, Case{300, 0, -1}}) {
        ORVO::ChartPackOptions options;
        options.resolution = c.resolution;
        options.gapTexels = c.gap;
        const int work = PackAndCheck(few, options).workResolution;
        if (c.grid > 0) {
            EXPECT_TRUE(work == c.grid || work == c.grid / 2) << c.resolution << ": " << work;
        }
    }
}

TEST(ChartPacker, WithoutRotationChartsKeepTheirDirection) {
    ChartSet set = MixedSet(8, 40);
    ORVO::ChartPackOptions options;
    options.allowRotation = false;
    UVs packed;
    const ORVO::ChartPackStats stats = PackAndCheck(set, options, &packed);
    ASSERT_FALSE(HasFailure());
    EXPECT_EQ(stats.directions, 1);
    for (size_t k = 0; k < set.uvs.size(); ++k) {
        // Every vertex moved by the same scale and translation.
        const std::vector<double>& a = set.uvs[k];
        const std::vector<double>& b = packed[k];
        for (size_t i = 2; i < a.size(); i += 2) {
            EXPECT_NEAR(b[i] - b[0], stats.scale * (a[i] - a[0]), 1e-9);
            EXPECT_NEAR(b[i + 1] - b[1], stats.scale * (a[i + 1] - a[1]), 1e-9);
        }
    }
}

TEST(ChartPacker, InvalidInputIsRejectedAndLeftUntouched) {
    ORVO::ChartPackOptions options;
    auto expectRejected = [&](const Tris& tris, const UVs& uvs) {
        UVs copy = uvs;
        EXPECT_EQ(ORVO::_PackCharts(tris, copy, options, nullptr), -2);
        ASSERT_EQ(copy.size(), uvs.size());
        for (size_t k = 0; k < uvs.size(); ++k)  // bitwise, so that a NaN counts as untouched
            EXPECT_TRUE(copy[k].size() == uvs[k].size() &&
                        std::memcmp(copy[k].data(), uvs[k].data(), uvs[k].size() * sizeof(double)) == 0);
    };
    const Tris goodTris = {{0, 1, 2}, {0, 1, 2}};
    const UVs goodUVs = {{0, 0, 1, 0, 0, 1}, {0, 0, 2, 0, 0, 2}};
    expectRejected({}, {});
    expectRejected({{0, 1, 2}}, goodUVs);
    expectRejected(goodTris, {{0, 0, 1, 0, 0, 1}, {0, 0, 2, 0, 0}});
    expectRejected({{0, 1, 3}, {0, 1, 2}}, goodUVs);
    expectRejected({{0, 1, -1}, {0, 1, 2}}, goodUVs);
    expectRejected({{0, 1}, {0, 1, 2}}, goodUVs);
    expectRejected(goodTris, {{0, 0, 1, 0, 0, std::numeric_limits<double>::quiet_NaN()}, {0, 0, 2, 0, 0, 2}});
    expectRejected(goodTris, {{0, 0, 1, 0, 0, 1}, {0, 0, std::numeric_limits<double>::infinity(), 0, 0, 2}});
    options.resolution = 0;
    expectRejected(goodTris, goodUVs);
}

TEST(ChartPacker, NothingToTextureFails) {
    // Every chart without area: there is no scale to find.
    Tris tris = {{0, 1, 2}, {0, 1, 2}};
    UVs uvs = {{0, 0, 1, 1, 2, 2}, {5, 5, 5, 5, 5, 5}};
    EXPECT_EQ(ORVO::_PackCharts(tris, uvs, ORVO::ChartPackOptions(), nullptr), -3);
}

TEST(ChartRaster, CoversEveryTouchedPixelAndLittleMore) {
    std::mt19937 rng(4);
    std::uniform_real_distribution<double> uni(0, 1);
    for (int trial = 0; trial < 300; ++trial) {
        double p[3][2];
        const double span = trial % 3 == 0 ? 1.5 : (trial % 3 == 1 ? 6 : 20);
        for (auto& q : p) {
            q[0] = 2 + span * uni(rng);
            q[1] = 2 + span * uni(rng);
        }
        if (trial % 10 == 0) {  // collinear corners
            p[2][0] = 0.5 * (p[0][0] + p[1][0]);
            p[2][1] = 0.5 * (p[0][1] + p[1][1]);
        }
        if (trial % 10 == 1) {  // corners on pixel lines
            for (auto& q : p) q[0] = std::floor(q[0]);
        }
        if (trial % 10 == 2 || trial % 10 == 3) {  // inside one pixel column (or row)
            const int axis = trial % 10 - 2;
            const double column = std::floor(p[0][axis]);
            for (auto& q : p) q[axis] = column + 0.05 + 0.9 * uni(rng);
        }
        ORVO::BitImage image;
        image.Reset(28, 28);
        ORVO::_RasteriseTriangle(image, p[0], p[1], p[2]);
        for (int j = 0; j < 28; ++j)
            for (int i = 0; i < 28; ++i) {
                const double d = packcheck::PixelDistance(i, j, p[0], p[1], p[2]);
                if (d == 0) {
                    EXPECT_TRUE(image.Get(i, j)) << "trial " << trial << " pixel " << i << "," << j;
                } else if (d > 1e-6) {
                    EXPECT_FALSE(image.Get(i, j)) << "trial " << trial << " pixel " << i << "," << j;
                }
            }
    }
}

TEST(ChartRaster, QuarterTurnsMoveEveryPixelWhereTheTurnSendsIt) {
    std::mt19937 rng(9);
    for (const auto& size : std::vector<std::pair<int, int>>{{1, 1}, {64, 64}, {63, 65}, {130, 7}, {200, 129}}) {
        ORVO::BitImage image, turned;
        const int w = size.first, h = size.second;
        image.Reset(w, h);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                if (rng() % 3 == 0) image.Set(x, y);
        for (int t = 1; t < 4; ++t) {
            ORVO::_RotateImage(image, t, turned);
            ASSERT_EQ(turned.width, t == 2 ? w : h);
            ASSERT_EQ(turned.height, t == 2 ? h : w);
            EXPECT_EQ(turned.Count(), image.Count());
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x) {
                    const int tx = t == 1 ? h - 1 - y : (t == 2 ? w - 1 - x : y);
                    const int ty = t == 1 ? x : (t == 2 ? h - 1 - y : w - 1 - x);
                    ASSERT_EQ(turned.Get(tx, ty), image.Get(x, y)) << w << "x" << h << " turn " << t;
                }
        }
    }
}

// The mean row that the lowest-centre rule ranks by: an L lying on its long side has
// its mass low, the same L turned upside down has it high.
TEST(ChartShape, MeanRowIsTheHeightOfThePixelsCentre) {
    ORVO::BitImage image, turned;
    image.Reset(4, 4);
    image.SetSpan(0, 0, 3);
    for (int y = 1; y < 4; ++y) image.Set(0, y);
    ORVO::ChartShape upright, upsideDown;
    ORVO::_MakeChartShape(image, 1, upright);
    EXPECT_EQ(upright.meanRow16, 22);  // 16 * (4 * 0.5 + 1.5 + 2.5 + 3.5) / 7 = 21.7
    ORVO::_RotateImage(image, 2, turned);
    ORVO::_MakeChartShape(turned, 1, upsideDown, &upright, 2);
    EXPECT_EQ(upsideDown.meanRow16, 42);  // 16 * (4 * 3.5 + 2.5 + 1.5 + 0.5) / 7 = 42.3
}

TEST(ChartRaster, GrowthKeepsOnlyPixelsNearerThanTheGap) {
    // Growth by 2: every pixel within Euclidean distance < 2 of the square, as squares.
    std::vector<ORVO::PixelRun> runs = {{0, 0, 1}};
    ORVO::BitImage grown;
    ORVO::_DilateRuns(runs, 1, 1, 2, grown);
    EXPECT_EQ(grown.width, 5);
    EXPECT_EQ(grown.Count(), 25);  // offsets up to 2 apart: squares at most 1 apart
    ORVO::_DilateRuns(runs, 1, 1, 4, grown);
    EXPECT_EQ(grown.Count(), 81 - 4);  // the corners (4,4) lie 3*sqrt(2) >= 4 apart
}

// Random triangle images in their four quarter turns, as the packer builds them.
std::vector<std::array<ORVO::ChartShape, 4>> TurnedShapes(unsigned seed, int count, int gap) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> uni(0, 1);
    std::vector<std::array<ORVO::ChartShape, 4>> shapes(count);
    for (auto& s : shapes) {
        ORVO::BitImage image, turned;
        const int w = 3 + static_cast<int>(uni(rng) * 20), h = 2 + static_cast<int>(uni(rng) * 6);
        image.Reset(w, h);
        const double a[2] = {0.3, 0.2}, b[2] = {w - 0.2, 0.5 + uni(rng) * (h - 1)},
                     c[2] = {0.5 + uni(rng) * (w - 1), h - 0.3};
        ORVO::_RasteriseTriangle(image, a, b, c);
        ORVO::_MakeChartShape(image, gap, s[0]);
        for (int t = 1; t < 4; ++t) {
            ORVO::_RotateImage(image, t, turned);
            ORVO::_MakeChartShape(turned, gap, s[t], &s[0], t);
        }
    }
    return shapes;
}

// The search for the lowest position, keyed by bottom, top and mean row, against an
// exhaustive search over every orientation and pixel, with the square cap lowered as
// the shapes get smaller (as in a packing attempt); two passes offer one orientation
// only, as when rotation is not allowed, and two keep no square map (shapes without
// probes).
TEST(AtlasGrid, PlacementRulesMatchBruteForceOverOrientations) {
    const int size = 80, gap = 2;
    for (int pass = 0; pass < 7; ++pass) {
        const int rule = pass % 3, orientations = pass == 3 || pass == 5 ? 1 : 4;
        const bool squares = pass < 4;
        auto shapes = TurnedShapes(31 + pass, 70, gap);
        if (!squares)
            for (auto& four : shapes)
                for (auto& s : four) {
                    s.probes.clear();
                    s.square = 0;
                }
        std::stable_sort(shapes.begin(), shapes.end(),
                         [](const auto& a, const auto& b) { return a[0].pixelCount > b[0].pixelCount; });
        int longestRun = 1, longestColumn = 1;
        std::vector<int> cap(shapes.size() + 1, 1);
        for (size_t i = shapes.size(); i-- > 0;) {
            cap[i] = std::max(cap[i + 1], shapes[i][0].square);
            for (const auto& s : shapes[i]) {
                for (const auto& r : s.runs) longestRun = std::max(longestRun, r.length);
                for (const auto& r : s.keyColumns) longestColumn = std::max(longestColumn, r.length);
            }
        }
        ORVO::AtlasGrid grid;
        grid.Reset(size, gap, longestRun, longestColumn, squares ? cap[0] : 0);
        int placed = 0;
        for (size_t i = 0; i < shapes.size(); ++i) {
            grid.LowerSquareCap(cap[i]);
            const ORVO::ChartShape* four[4] = {&shapes[i][0], &shapes[i][1], &shapes[i][2], &shapes[i][3]};
            int x = -1, y = -1;
            int offsets[4];
            for (int t = 0; t < 4; ++t) offsets[t] = rule == 0 ? 0 : rule == 1 ? 16 * four[t]->height : four[t]->meanRow16;
            const int found = grid.FindLowestPosition(four, orientations, offsets, x, y);
            // Best key over all orientations and positions: (bottom, top or mean row, column).
            long long bestKey = -1;
            for (int t = 0; t < orientations; ++t)
                for (int yy = 0; yy < size; ++yy)
                    for (int xx = 0; xx < size; ++xx)
                        if (grid.Fits(*four[t], xx, yy)) {
                            const long long key = (16LL * yy + offsets[t]) * 100000LL + xx;
                            if (bestKey < 0 || key < bestKey) bestKey = key;
                        }
            if (bestKey < 0) {
                EXPECT_EQ(found, -1);
                continue;
            }
            ASSERT_GE(found, 0);
            ASSERT_LT(found, orientations);
            ASSERT_TRUE(grid.Fits(*four[found], x, y));
            EXPECT_EQ((16LL * y + offsets[found]) * 100000LL + x, bestKey) << "pass " << pass << " shape " << i;
            grid.Place(*four[found], x, y);
            ++placed;
        }
        EXPECT_GT(placed, 20) << "pass " << pass;
    }
}

// Every order and placement rule the packer may pick yields a sound layout, in all
// twelve directions of three frames: the placements of one attempt are turned into
// coordinates and checked independently.
TEST(ChartPackAttempt, EveryVariantPlacesChartsApartAndInside) {
    const ChartSet set = MixedSet(23, 80);
    const std::vector<ORVO::PreparedChart> charts = ChartsAsTheyCome(set, 3);
    const int gridSize = 512, gap = 2;
    int tiltedPlacements = 0;
    const double scale = 0.6 / std::sqrt(set.Area());
    const ORVO::PlacementRule rules[] = {ORVO::PlacementRule::LowestCentre, ORVO::PlacementRule::LowestBottom,
                                         ORVO::PlacementRule::LowestTop};
    const ORVO::PlacementOrder orders[] = {ORVO::PlacementOrder::Pixels, ORVO::PlacementOrder::BoxArea,
                                           ORVO::PlacementOrder::BoxPerimeter};
    // Two rules run with probe squares and a square map, one without.
    ORVO::ChartShapeSet withProbes(set.tris, charts, gap, true, true), plain(set.tris, charts, gap, true, false);
    withProbes.Build(scale * gridSize, 2);
    plain.Build(scale * gridSize, 1);
    ORVO::ChartPackAttempt attempt;
    for (ORVO::PlacementRule rule : rules)
        for (ORVO::PlacementOrder order : orders) {
            const ORVO::ChartShapeSet& shapes = rule != ORVO::PlacementRule::LowestBottom ? withProbes : plain;
            const ORVO::PackAttemptResult r = attempt.Run(shapes, gridSize, {rule, order});
            ASSERT_TRUE(r.success) << int(rule) << " " << int(order);
            EXPECT_NEAR(r.scale, scale, 1e-12 * scale);
            UVs packed = set.uvs;
            const double pixelScale = scale * gridSize;
            for (size_t k = 0; k < charts.size(); ++k) {
                const ORVO::ChartPlacement& p = r.placements[k];
                tiltedPlacements += p.turns >= 4 ? 1 : 0;
                const ORVO::ChartFrame& turned = charts[k].frames[p.turns / 4];
                const std::vector<double>& local = turned.local;
                const ORVO::PixelFrame frame = ORVO::_MakePixelFrame(turned, pixelScale);
                for (size_t i = 0; i + 1 < packed[k].size(); i += 2) {
                    double x, y;
                    ORVO::_TurnPoint(local[i] * pixelScale + frame.offsetX, local[i + 1] * pixelScale + frame.offsetY,
                                     p.turns & 3, frame, x, y);
                    packed[k][i] = (x + p.x) / gridSize;
                    packed[k][i + 1] = (y + p.y) / gridSize;
                }
            }
            const packcheck::Report rep = packcheck::CheckPacking(set.tris, packed, (gap - 1e-6) / gridSize);
            EXPECT_TRUE(rep.inside) << rep.firstProblem;
            EXPECT_EQ(rep.closePairs, 0) << rep.firstProblem;
            std::string problem;
            double common = 0;
            EXPECT_TRUE(packcheck::CheckRigid(set.tris, set.uvs, packed, &common, &problem)) << problem;
            EXPECT_NEAR(common, scale, 1e-7 * scale);
        }
    EXPECT_GT(tiltedPlacements, 0);  // the turned frames were used and checked
}

// The checker itself must see what it is meant to catch.
TEST(ChartPackCheck, DetectsOverlapsGapsAndMirrors) {
    const Tris tris = {{0, 1, 2}, {0, 1, 2}};
    const UVs apart = {{0.1, 0.1, 0.2, 0.1, 0.1, 0.2}, {0.5, 0.5, 0.6, 0.5, 0.5, 0.6}};
    EXPECT_EQ(packcheck::CheckPacking(tris, apart, 0.01).closePairs, 0);
    const UVs near = {{0.1, 0.1, 0.2, 0.1, 0.1, 0.2}, {0.2 + 0.0005, 0.1, 0.3, 0.1, 0.25, 0.2}};
    EXPECT_EQ(packcheck::CheckPacking(tris, near, 0.001).closePairs, 1);
    const UVs overlap = {{0.1, 0.1, 0.2, 0.1, 0.1, 0.2}, {0.12, 0.12, 0.3, 0.1, 0.1, 0.3}};
    EXPECT_EQ(packcheck::CheckPacking(tris, overlap, 0.0).closePairs, 0);  // distance 0 is not below 0
    EXPECT_EQ(packcheck::CheckPacking(tris, overlap, 1e-9).closePairs, 1);
    // Zero-area triangles are points or segments, not everything around them.
    const UVs pointApart = {{0.1, 0.1, 0.2, 0.1, 0.1, 0.2}, {0.5, 0.5, 0.5, 0.5, 0.5, 0.5}};
    EXPECT_EQ(packcheck::CheckPacking(tris, pointApart, 0.01).closePairs, 0);
    const UVs pointInside = {{0.1, 0.1, 0.2, 0.1, 0.1, 0.2}, {0.12, 0.12, 0.12, 0.12, 0.12, 0.12}};
    EXPECT_EQ(packcheck::CheckPacking(tris, pointInside, 1e-9).closePairs, 1);
    const UVs segmentAcross = {{0.1, 0.1, 0.2, 0.1, 0.1, 0.2}, {0.0, 0.12, 0.3, 0.12, 0.15, 0.12}};
    EXPECT_EQ(packcheck::CheckPacking(tris, segmentAcross, 1e-9).closePairs, 1);
    const UVs outside = {{0.1, 0.1, 1.2, 0.1, 0.1, 0.2}, {0.5, 0.5, 0.6, 0.5, 0.5, 0.6}};
    EXPECT_FALSE(packcheck::CheckPacking(tris, outside, 0.0).inside);
    // A mirrored chart keeps its distances but flips its triangle.
    const UVs original = {{0, 0, 1, 0, 0, 1}, {0, 0, 1, 0, 0, 1}};
    const UVs mirrored = {{0, 0, 1, 0, 0, 1}, {0, 0, -1, 0, 0, 1}};
    EXPECT_FALSE(packcheck::CheckRigid(tris, original, mirrored, nullptr, nullptr));
    const UVs scaledApart = {{0, 0, 1, 0, 0, 1}, {0, 0, 2, 0, 0, 2}};
    EXPECT_FALSE(packcheck::CheckRigid(tris, original, scaledApart, nullptr, nullptr));
    const UVs turned = {{0, 0, 0.5, 0, 0, 0.5}, {3, 3, 3, 3.5, 2.5, 3}};
    EXPECT_TRUE(packcheck::CheckRigid(tris, original, turned, nullptr, nullptr));
}

}  // namespace
