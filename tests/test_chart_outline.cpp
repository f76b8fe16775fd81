// A chart's image drawn from its outline must be the image of its triangles drawn
// one by one: the packer relies on it to keep charts apart.

#include "unfold/packing/ChartOutline.h"
#include "unfold/packing/ChartRaster.h"

#include "ChartPackCheck.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <random>
#include <vector>

namespace {

struct Chart {
    std::vector<double> uv;
    std::vector<int> tris;
};

// A jittered grid of cols x rows cells, counter-clockwise, with the cells for which
// `drop` is true left out (holes, notches, separate islands).
template <typename Drop>
Chart JitteredGrid(int cols, int rows, unsigned seed, Drop drop) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> jitter(-0.2, 0.2);
    Chart c;
    for (int y = 0; y <= rows; ++y)
        for (int x = 0; x <= cols; ++x) {
            c.uv.push_back(x + jitter(rng));
            c.uv.push_back(y + jitter(rng));
        }
    for (int y = 0; y < rows; ++y)
        for (int x = 0; x < cols; ++x) {
            if (drop(x, y)) continue;
            const int a = y * (cols + 1) + x, b = a + 1, d = a + cols + 1, e = d + 1;
            c.tris.insert(c.tris.end(), {a, b, e, a, e, d});
        }
    return c;
}

// Both images of the chart at scale s and offset (ox, oy), in a frame that holds it.
void ExpectSameImages(const Chart& c, double s, double ox, double oy, const char* what) {
    std::vector<double> px(c.uv.size());
    double maxX = 0, maxY = 0;
    for (size_t i = 0; i < c.uv.size(); i += 2) {
        px[i] = c.uv[i] * s + ox;
        px[i + 1] = c.uv[i + 1] * s + oy;
        maxX = std::max(maxX, px[i]);
        maxY = std::max(maxY, px[i + 1]);
    }
    const ORVO::ChartOutline outline = ORVO::_MakeChartOutline(c.tris, c.uv.data());
    ASSERT_TRUE(outline.usable) << what;
    ORVO::BitImage fromTriangles, fromOutline;
    fromTriangles.Reset(static_cast<int>(maxX) + 2, static_cast<int>(maxY) + 2);
    fromOutline.Reset(fromTriangles.width, fromTriangles.height);
    for (size_t t = 0; t + 2 < c.tris.size(); t += 3)
        ORVO::_RasteriseTriangle(fromTriangles, &px[2 * c.tris[t]], &px[2 * c.tris[t + 1]], &px[2 * c.tris[t + 2]]);
    ORVO::_RasteriseOutline(fromOutline, px.data(), c.tris, outline);
    ASSERT_GT(fromTriangles.Count(), 0);
    int differ = 0;
    for (int y = 0; y < fromTriangles.height; ++y)
        for (int x = 0; x < fromTriangles.width; ++x)
            if (fromTriangles.Get(x, y) != fromOutline.Get(x, y)) {
                ++differ;
                // A pixel the triangles touch must never be missing.
                EXPECT_FALSE(fromTriangles.Get(x, y)) << what << " scale " << s << " pixel " << x << "," << y;
            }
    EXPECT_EQ(differ, 0) << what << " scale " << s;
}

// Charts with what makes outlines hard: holes, notches, islands, bridges one cell
// wide, clockwise triangles, an inner seam, flat triangles.
std::vector<std::pair<const char*, Chart>> HardCharts() {
    std::vector<std::pair<const char*, Chart>> charts;
    charts.push_back({"holes and notches", JitteredGrid(12, 9, 1, [](int x, int y) {
                          return (x == 4 && y == 4) || (x == 7 && y >= 3 && y <= 5) || (y == 8 && x < 5);
                      })});
    charts.push_back({"two islands", JitteredGrid(10, 6, 2, [](int x, int) { return x == 5; })});
    charts.push_back({"one-cell bridges", JitteredGrid(9, 9, 3, [](int x, int y) { return (x + y) % 3 == 0; })});
    // Clockwise triangles throughout: the winding is negative inside.
    Chart mirrored = JitteredGrid(6, 5, 4, [](int, int) { return false; });
    for (size_t t = 0; t < mirrored.tris.size(); t += 3) std::swap(mirrored.tris[t + 1], mirrored.tris[t + 2]);
    charts.push_back({"clockwise", mirrored});
    // A seam inside the chart: the right half has its own copies of the middle column,
    // so the edges along it do not cancel.
    Chart seam = JitteredGrid(8, 6, 5, [](int, int) { return false; });
    const int firstCopy = static_cast<int>(seam.uv.size() / 2);
    for (int y = 0; y <= 6; ++y) {
        const int v = y * 9 + 4;
        seam.uv.push_back(seam.uv[2 * v]);
        seam.uv.push_back(seam.uv[2 * v + 1]);
    }
    for (size_t t = 0; t < seam.tris.size(); t += 3) {
        double cx = 0;
        for (int k = 0; k < 3; ++k) cx += seam.uv[2 * seam.tris[t + k]] / 3;
        if (cx > 4)
            for (int k = 0; k < 3; ++k)
                if (seam.tris[t + k] % 9 == 4) seam.tris[t + k] = firstCopy + seam.tris[t + k] / 9;
    }
    charts.push_back({"inner seam", seam});
    // A flat sliver on the border and a triangle with two corners on one vertex.
    Chart flat = JitteredGrid(5, 4, 6, [](int, int) { return false; });
    const int n = static_cast<int>(flat.uv.size() / 2);
    flat.uv.insert(flat.uv.end(), {0.5 * (flat.uv[0] + flat.uv[2]), flat.uv[1] - 0.7});
    flat.tris.insert(flat.tris.end(), {0, n, 1, 1, 1, 2});
    flat.uv[2 * n + 1] = 0.5 * (flat.uv[1] + flat.uv[3]);  // back onto the edge: collinear
    charts.push_back({"flat triangles", flat});
    return charts;
}

TEST(ChartOutline, DrawsWhatTheTrianglesCover) {
    for (const auto& [what, chart] : HardCharts())
        for (double s : {0.37, 1.0, 2.6, 7.3})
            ExpectSameImages(chart, s, 0.5 + 0.01 * s, 0.5 + 0.003 * s, what);
}

TEST(ChartOutline, GrowsByTheGapMeasuredFromTheChart) {
    // Every pixel closer than the gap to the chart is grown, no pixel farther, and none
    // that the gap kernel around the exact image would leave free.
    const int maxGap = 3;
    for (const auto& [what, chart] : HardCharts())
        for (double s : {1.0, 2.6}) {
            const std::vector<int>& tris = chart.tris;
            std::vector<double> px(chart.uv.size());
            double maxX = 0, maxY = 0;
            for (size_t i = 0; i < px.size(); i += 2) {
                px[i] = chart.uv[i] * s + 0.5 + 0.013 * s;
                px[i + 1] = chart.uv[i + 1] * s + 0.5 + 0.007 * s;
                maxX = std::max(maxX, px[i]);
                maxY = std::max(maxY, px[i + 1]);
            }
            ORVO::BitImage exact;
            exact.Reset(static_cast<int>(maxX) + 2, static_cast<int>(maxY) + 2);
            for (size_t t = 0; t + 2 < tris.size(); t += 3)
                ORVO::_RasteriseTriangle(exact, &px[2 * tris[t]], &px[2 * tris[t + 1]], &px[2 * tris[t + 2]]);
            // Distance from each pixel within the widest gap of the image to the chart.
            const int w = exact.width + 2 * maxGap, h = exact.height + 2 * maxGap;
            std::vector<double> distance(static_cast<size_t>(w) * h, std::numeric_limits<double>::max());
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x)
                    for (size_t t = 0; t + 2 < tris.size(); t += 3)
                        distance[static_cast<size_t>(y) * w + x] = std::min(
                            distance[static_cast<size_t>(y) * w + x],
                            packcheck::PixelDistance(x - maxGap, y - maxGap, &px[2 * tris[t]], &px[2 * tris[t + 1]],
                                                     &px[2 * tris[t + 2]]));
            const ORVO::ChartOutline outline = ORVO::_MakeChartOutline(tris, chart.uv.data());
            ASSERT_TRUE(outline.usable) << what;
            std::vector<ORVO::PixelRun> runs;
            ORVO::_CollectRuns(exact, runs);
            for (int gap = 1; gap <= maxGap; ++gap) {
                ORVO::BitImage grown, dilated;
                ORVO::_GrowOutline(exact, px.data(), tris, outline, gap, grown);
                ORVO::_DilateRuns(runs, exact.width, exact.height, gap, dilated);
                ASSERT_EQ(grown.width, dilated.width);
                ASSERT_EQ(grown.height, dilated.height);
                int missing = 0, extra = 0, beyondKernel = 0;
                for (int y = 0; y < grown.height; ++y)
                    for (int x = 0; x < grown.width; ++x) {
                        const double d = distance[static_cast<size_t>(y + maxGap - gap) * w + x + maxGap - gap];
                        const bool set = grown.Get(x, y);
                        missing += !set && d < gap - 1e-6;
                        extra += set && d > gap + 1e-6;
                        beyondKernel += set && !dilated.Get(x, y);
                    }
                const std::string where = std::string(what) + " scale " + std::to_string(s) + " gap " +
                                          std::to_string(gap);
                EXPECT_EQ(missing, 0) << where;
                EXPECT_EQ(extra, 0) << where;
                EXPECT_EQ(beyondKernel, 0) << where;
                // From two pixels of gap on, the kernel's square corners show.
                if (gap >= 2) {
                    EXPECT_LT(grown.Count(), dilated.Count()) << where;
                }
            }
        }
}

TEST(ChartOutline, OverlappingFansCountEveryCopy) {
    // Three triangles on one edge, all counter-clockwise: two lie on the same side and
    // overlap, so that edge keeps a copy and the winding reaches 2 where they overlap.
    Chart c;
    c.uv = {0, 0, 4, 0, 2, 3, 1, 2.5, 2, -3};
    c.tris = {0, 1, 2, 0, 1, 3, 1, 0, 4};
    const ORVO::ChartOutline outline = ORVO::_MakeChartOutline(c.tris, c.uv.data());
    int weightOnSharedEdge = 0;
    for (const ORVO::OutlineEdge& e : outline.edges)
        if (e.from == 0 && e.to == 1) weightOnSharedEdge = e.weight;
    EXPECT_EQ(weightOnSharedEdge, 1);
    for (double s : {1.0, 3.3}) ExpectSameImages(c, s, 0.5, 3.5 * s, "overlapping fans");
}

TEST(ChartOutline, FoldedChartsAreLeftToTheirTriangles) {
    // One triangle turned over: the winding no longer marks what is covered.
    Chart c = JitteredGrid(4, 4, 7, [](int, int) { return false; });
    std::swap(c.tris[7], c.tris[8]);
    EXPECT_FALSE(ORVO::_MakeChartOutline(c.tris, c.uv.data()).usable);
}

}  // namespace
