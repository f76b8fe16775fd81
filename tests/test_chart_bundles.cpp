// Many small charts packed in bundles: the gap between any two charts, the
// unit square, every chart moved rigidly at one common scale.

#include <QarnUVAtlas/TriMesh.h>

#include "ChartPackCheck.h"
#include "unfold/packing/ChartBundles.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <random>

namespace {

using ORVO::TopologyMesh;

struct ChartSet {
    std::vector<std::unique_ptr<TopologyMesh>> meshes;
    std::vector<ORVO::ITriMesh*> charts;
    std::vector<std::vector<int>> triangles;
    std::vector<std::vector<double>> uvs;

    void Add(std::vector<int> tris, std::vector<double> uv) {
        meshes.push_back(std::make_unique<TopologyMesh>(static_cast<int>(uv.size() / 2), tris));
        charts.push_back(meshes.back().get());
        triangles.push_back(std::move(tris));
        uvs.push_back(std::move(uv));
    }
};

// Triangles and two-triangle quads of random shape, size and direction.
void AddFragments(ChartSet& set, int count, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    for (int k = 0; k < count; ++k) {
        const double size = 0.5 + unit(random), turn = 6.3 * unit(random);
        const double x0 = 10 * unit(random), y0 = 10 * unit(random);
        std::vector<double> local = {0, 0, size, 0, size * (0.2 + 0.6 * unit(random)), size * (0.3 + unit(random))};
        std::vector<int> tris = {0, 1, 2};
        if (k % 4 == 0) {
            local.insert(local.end(), {-0.4 * size, 0.8 * size});
            tris.insert(tris.end(), {0, 2, 3});
        }
        std::vector<double> uv;
        for (size_t i = 0; i < local.size(); i += 2) {
            uv.push_back(x0 + std::cos(turn) * local[i] - std::sin(turn) * local[i + 1]);
            uv.push_back(y0 + std::sin(turn) * local[i] + std::cos(turn) * local[i + 1]);
        }
        set.Add(tris, uv);
    }
}

// A square grid chart of n x n quads with side `side`.
void AddSheet(ChartSet& set, int n, double side) {
    std::vector<double> uv;
    std::vector<int> tris;
    for (int j = 0; j <= n; ++j)
        for (int i = 0; i <= n; ++i) uv.insert(uv.end(), {side * i / n, side * j / n});
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i) {
            const int a = j * (n + 1) + i, b = a + 1, c = a + n + 2, d = a + n + 1;
            tris.insert(tris.end(), {a, b, c, a, c, d});
        }
    set.Add(tris, uv);
}

double Utilization(const ChartSet& set) {
    double area = 0.0;
    for (size_t k = 0; k < set.uvs.size(); ++k)
        for (size_t t = 0; t < set.triangles[k].size(); t += 3)
            area += 0.5 * std::fabs(packcheck::Cross(&set.uvs[k][2 * set.triangles[k][t]],
                                                     &set.uvs[k][2 * set.triangles[k][t + 1]],
                                                     &set.uvs[k][2 * set.triangles[k][t + 2]]));
    return area;
}

// Packs the set and checks the result: inside the square, no two charts
// closer than the gap, every chart moved rigidly at one scale. Returns the
// number of bundles used (-1 when packing failed).
int PackAndCheck(ChartSet& set, int resolution, int gap) {
    const std::vector<std::vector<double>> before = set.uvs;
    int bundles = -1;
    const int status = ORVO::_PackChartsInBundles(set.charts, set.uvs, resolution, gap, &bundles);
    EXPECT_EQ(status, 0);
    if (status != 0) return -1;
    const double required = double(gap) / resolution * (1 - 1e-9);
    const packcheck::Report report = packcheck::CheckPacking(set.triangles, set.uvs, required);
    EXPECT_TRUE(report.inside) << report.firstProblem;
    EXPECT_EQ(report.closePairs, 0) << report.firstProblem;
    std::string problem;
    EXPECT_TRUE(packcheck::CheckRigid(set.triangles, before, set.uvs, nullptr, &problem)) << problem;
    return bundles;
}

TEST(ChartBundles, FragmentsAloneFillOneBundleAtTheGap) {
    for (int resolution : {1024, 4096}) {
        SCOPED_TRACE(resolution);
        ChartSet set;
        AddFragments(set, 3000, 5);
        EXPECT_EQ(PackAndCheck(set, resolution, 1), 1);
        // At 1024 texels the gap around charts a few texels wide caps the fill.
        EXPECT_GT(Utilization(set), resolution == 1024 ? 0.5 : 0.7);
    }
}

TEST(ChartBundles, FragmentsBesideLargeChartsKeepTheGapToThem) {
    ChartSet set;
    AddSheet(set, 6, 40.0);
    AddSheet(set, 4, 25.0);
    AddFragments(set, 2400, 9);
    AddSheet(set, 5, 30.0);
    EXPECT_GE(PackAndCheck(set, 1024, 2), 1);
    EXPECT_GT(Utilization(set), 0.4);
}

TEST(ChartBundles, FewSmallChartsArePackedOneByOne) {
    ChartSet set;
    AddFragments(set, 100, 3);
    EXPECT_EQ(PackAndCheck(set, 1024, 1), 0);
}

TEST(ChartBundles, InvalidInputIsRefusedLikeThePacker) {
    ChartSet set;
    AddFragments(set, 300, 4);
    set.uvs[10][1] = std::nan("");
    std::vector<std::vector<double>> kept = set.uvs;
    int bundles = -1;
    EXPECT_EQ(ORVO::_PackChartsInBundles(set.charts, set.uvs, 1024, 1, &bundles), -2);
    EXPECT_EQ(bundles, 0);
    EXPECT_TRUE(std::isnan(set.uvs[10][1]));
    set.uvs.pop_back();
    EXPECT_EQ(ORVO::_PackChartsInBundles(set.charts, set.uvs, 1024, 1, &bundles), -2);
}

}  // namespace
