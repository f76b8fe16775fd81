// Page mode: charts at a fixed texel density over several pages, split when larger
// than a page, never shrunk.

#include <QarnUVAtlas/UnfoldMesh.h>

#include "ChartPackCheck.h"
#include "TestMeshes.h"
#include "unfold/packing/ChartOrientation.h"
#include "unfold/packing/ChartPieces.h"
#include "unfold/packing/PagePacker.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>
#include <vector>

namespace {

using ORVO::TriMesh;
using ORVO::Vector3;

double TriangleArea2D(const double* a, const double* b, const double* c) {
    return 0.5 * std::fabs((b[0] - a[0]) * (c[1] - a[1]) - (b[1] - a[1]) * (c[0] - a[0]));
}

// A flat grid of nx x ny cells of side `cell` as one chart: its triangles and (u, v).
void FlatGrid(int nx, int ny, double cell, std::vector<int>& tris, std::vector<double>& uv) {
    tris.clear();
    uv.clear();
    for (int j = 0; j <= ny; ++j)
        for (int i = 0; i <= nx; ++i) uv.insert(uv.end(), {i * cell, j * cell});
    for (int j = 0; j < ny; ++j)
        for (int i = 0; i < nx; ++i) {
            const int a = j * (nx + 1) + i, b = a + 1, c = a + nx + 2, d = a + nx + 1;
            tris.insert(tris.end(), {a, b, c, a, c, d});
        }
}

TEST(ChartPieces, LongStripIsCutIntoConnectedPiecesThatFit) {
    std::vector<int> tris;
    std::vector<double> uv;
    FlatGrid(100, 10, 0.1, tris, uv);  // 10 x 1
    std::vector<std::vector<int>> groups;
    ASSERT_TRUE(ORVO::_SplitChartToFit(tris, uv, 3.0, groups));
    EXPECT_GE(groups.size(), 4u);
    std::vector<int> seen(tris.size() / 3, 0);
    std::vector<double> points;
    for (const std::vector<int>& g : groups) {
        points.clear();
        for (int t : g) {
            ++seen[t];
            for (int c = 0; c < 3; ++c) points.insert(points.end(), {uv[2 * tris[3 * t + c]], uv[2 * tris[3 * t + c] + 1]});
        }
        const ORVO::HullRectangle rect =
            ORVO::_MinimalAreaRectangle(points.data(), ORVO::_ConvexHull2D(points.data(), int(points.size() / 2)));
        EXPECT_LE(std::max(rect.extentAlong, rect.extentAcross), 3.0 + 1e-9);
        // One piece is one connected set of triangles (through shared vertices).
        std::vector<int> part(g.size(), -1);
        part[0] = 0;
        for (bool grew = true; grew;) {
            grew = false;
            for (size_t a = 0; a < g.size(); ++a) {
                if (part[a] < 0) continue;
                for (size_t b = 0; b < g.size(); ++b) {
                    if (part[b] >= 0) continue;
                    const int* ta = &tris[3 * g[a]];
                    const int* tb = &tris[3 * g[b]];
                    if (std::find_first_of(ta, ta + 3, tb, tb + 3) != ta + 3) part[b] = 0, grew = true;
                }
            }
        }
        EXPECT_EQ(std::count(part.begin(), part.end(), -1), 0);
    }
    EXPECT_EQ(std::count(seen.begin(), seen.end(), 1), static_cast<long>(seen.size()));  // each triangle once
}

TEST(ChartPieces, FittingChartStaysWholeAndHugeTriangleIsRefused) {
    std::vector<int> tris;
    std::vector<double> uv;
    FlatGrid(4, 3, 0.2, tris, uv);
    std::vector<std::vector<int>> groups;
    ASSERT_TRUE(ORVO::_SplitChartToFit(tris, uv, 1.0, groups));
    ASSERT_EQ(groups.size(), 1u);
    std::vector<int> all(tris.size() / 3);
    std::iota(all.begin(), all.end(), 0);
    EXPECT_EQ(groups[0], all);
    // A single triangle wider than the limit cannot be split along edges.
    EXPECT_FALSE(ORVO::_SplitChartToFit({0, 1, 2}, {0, 0, 2, 0, 0, 2}, 1.0, groups));
}

// Per page, the charts as packcheck sees them, with the charts' indices.
struct PageCharts {
    std::vector<std::vector<int>> tris;
    std::vector<std::vector<double>> uvs;
};

TEST(PagePacker, TwelveLargeSquaresFillThreePagesAtTheirOwnSize) {
    // Squares of 0.45 page: four fit a page (with the gap), a fifth does not.
    std::vector<std::vector<int>> tris(12);
    std::vector<std::vector<double>> uvs(12);
    for (int k = 0; k < 12; ++k) FlatGrid(3, 3, 0.15, tris[k], uvs[k]);
    std::vector<std::vector<double>> packed = uvs;
    ORVO::PagePackOptions options;
    options.threadCount = 2;
    std::vector<int> page;
    ORVO::PagePackStats stats;
    ASSERT_EQ(ORVO::_PackPages(tris, packed, options, page, &stats), 0);
    EXPECT_EQ(stats.pageCount, 3);
    std::map<int, PageCharts> pages;
    for (int k = 0; k < 12; ++k) {
        ASSERT_GE(page[k], 0);
        ASSERT_LT(page[k], 3);
        pages[page[k]].tris.push_back(tris[k]);
        pages[page[k]].uvs.push_back(packed[k]);
    }
    for (const auto& entry : pages) {
        EXPECT_EQ(entry.second.tris.size(), 4u);
        const packcheck::Report rep =
            packcheck::CheckPacking(entry.second.tris, entry.second.uvs, (options.gapTexels - 1e-6) / options.resolution);
        EXPECT_TRUE(rep.inside) << rep.firstProblem;
        EXPECT_EQ(rep.closePairs, 0) << rep.firstProblem;
    }
    // Moved rigidly at their own size: the common factor is 1.
    double scale = 0;
    std::string problem;
    EXPECT_TRUE(packcheck::CheckRigid(tris, uvs, packed, &scale, &problem)) << problem;
    EXPECT_NEAR(scale, 1.0, 1e-9);

    // With two pages allowed, they do not fit; a chart larger than a page never does.
    options.maxPages = 2;
    packed = uvs;
    EXPECT_EQ(ORVO::_PackPages(tris, packed, options, page, nullptr), -3);
    options.maxPages = 0;
    std::vector<std::vector<int>> bigTris(1);
    std::vector<std::vector<double>> big(1);
    FlatGrid(2, 2, 0.6, bigTris[0], big[0]);
    EXPECT_EQ(ORVO::_PackPages(bigTris, big, options, page, nullptr), -3);
}

// The surface's texel density in each chart of a page-mode atlas: charts are the
// faces joined through shared texture coordinates. Fails on a chart spread over pages.
std::vector<double> ChartDensities(const TriMesh& mesh, const std::vector<double>& tex, const std::vector<int>& ids,
                                   const std::vector<int>& facePages, int resolution) {
    const int faces = mesh.GetTriangleCount();
    std::vector<int> parent(tex.size() / 2);
    std::iota(parent.begin(), parent.end(), 0);
    std::function<int(int)> root = [&](int x) { return parent[x] == x ? x : parent[x] = root(parent[x]); };
    for (int f = 0; f < faces; ++f)
        for (int c = 1; c < 3; ++c) parent[root(ids[3 * f + c])] = root(ids[3 * f]);
    std::map<int, double> surface, plane;
    std::map<int, int> pageOf;
    for (int f = 0; f < faces; ++f) {
        const int chart = root(ids[3 * f]);
        auto seen = pageOf.emplace(chart, facePages[f]);
        EXPECT_EQ(seen.first->second, facePages[f]) << "chart on two pages";
        int v[3];
        mesh.GetTriangleVertexIds(f, v);
        const Vector3 e1 = mesh.GetVertexCoord(v[1]) - mesh.GetVertexCoord(v[0]);
        const Vector3 e2 = mesh.GetVertexCoord(v[2]) - mesh.GetVertexCoord(v[0]);
        surface[chart] += 0.5 * e1.CrossProduct(e2).Length();
        plane[chart] += TriangleArea2D(&tex[2 * ids[3 * f]], &tex[2 * ids[3 * f + 1]], &tex[2 * ids[3 * f + 2]]);
    }
    std::vector<double> density;
    for (const auto& entry : surface) density.push_back(std::sqrt(plane[entry.first] / entry.second) * resolution);
    return density;
}

// Per page, no two faces overlap and every coordinate lies in the page's unit square.
void ExpectSoundPages(const TriMesh& mesh, const std::vector<double>& tex, const std::vector<int>& ids,
                      const std::vector<int>& facePages, int pageCount, int resolution) {
    for (int p = 0; p < pageCount; ++p) {
        // Each face a chart of its own: faces of one chart touch, so only the bound and
        // the interiors are checked here, with distance 0.
        PageCharts page;
        for (int f = 0; f < mesh.GetTriangleCount(); ++f) {
            if (facePages[f] != p) continue;
            page.tris.push_back({0, 1, 2});
            std::vector<double> uv;
            for (int c = 0; c < 3; ++c) uv.insert(uv.end(), {tex[2 * ids[3 * f + c]], tex[2 * ids[3 * f + c] + 1]});
            page.uvs.push_back(uv);
        }
        EXPECT_FALSE(page.tris.empty()) << "page " << p << " is empty";
        std::vector<ORVO::Vector2> points;
        std::vector<int> triangles;
        for (const std::vector<double>& uv : page.uvs)
            for (int c = 0; c < 3; ++c) {
                triangles.push_back(static_cast<int>(points.size()));
                points.emplace_back(uv[2 * c], uv[2 * c + 1]);
                EXPECT_TRUE(uv[2 * c] >= 0 && uv[2 * c] <= 1 && uv[2 * c + 1] >= 0 && uv[2 * c + 1] <= 1);
            }
        EXPECT_FALSE(ORVO::IsTriMesh2DOverlapped(points, triangles, true, nullptr, nullptr)) << "page " << p;
    }
    (void)resolution;
}

struct PagedAtlas {
    int status = 0;
    std::vector<double> tex;
    std::vector<int> ids;
    std::vector<int> pages;
    ORVO::UVAtlasReport report;
};

PagedAtlas RunPaged(const TriMesh& mesh, int charts, double texelsPerUnit, int resolution, int maxPages = 0) {
    ORVO::UVAtlasOptions options;
    options.chartCount = charts;
    options.resolution = resolution;
    options.texelsPerUnit = texelsPerUnit;
    options.maxPages = maxPages;
    PagedAtlas atlas;
    options.facePages = &atlas.pages;
    atlas.status = ORVO::UnfoldMesh::GenerateUVAtlas(&mesh, options, &atlas.tex, &atlas.ids, &atlas.report);
    return atlas;
}

// Three flat squares, each too large to share a page with another: three pages, one
// chart each, every chart at the density asked.
TEST(PageAtlas, ThreeLargeChartsFillThreePagesAtTheDensityAsked) {
    TriMesh mesh;
    for (int k = 0; k < 3; ++k) testmesh::Append(mesh, testmesh::Grid(6, 6), Vector3(3.0 * k, 0, 0));
    const int resolution = 512;
    const double density = 0.7 * resolution;  // a square spans 0.7 of a page
    const PagedAtlas atlas = RunPaged(mesh, 3, density, resolution);
    ASSERT_EQ(atlas.status, 0);
    EXPECT_EQ(atlas.report.pageCount, 3);
    EXPECT_EQ(atlas.report.chartCount, 3);
    ASSERT_EQ(atlas.pages.size(), static_cast<size_t>(mesh.GetTriangleCount()));
    std::vector<int> used(3, 0);
    for (int p : atlas.pages) ++used.at(p);
    EXPECT_EQ(std::count(used.begin(), used.end(), mesh.GetTriangleCount() / 3), 3);
    for (double d : ChartDensities(mesh, atlas.tex, atlas.ids, atlas.pages, resolution)) EXPECT_NEAR(d, density, 1e-6 * density);
    ExpectSoundPages(mesh, atlas.tex, atlas.ids, atlas.pages, atlas.report.pageCount, resolution);

    // Two pages are not enough, and the outputs stay untouched.
    std::vector<double> tex = {7};
    ORVO::UVAtlasOptions options;
    options.chartCount = 3;
    options.resolution = resolution;
    options.texelsPerUnit = density;
    options.maxPages = 2;
    std::vector<int> ids;
    EXPECT_EQ(ORVO::UnfoldMesh::GenerateUVAtlas(&mesh, options, &tex, &ids), -3);
    EXPECT_EQ(tex, std::vector<double>{7});
}

// A sheet two and a half pages wide is cut into pieces that each fit a page; every
// piece keeps the density, so the texels cover the whole sheet at full size.
TEST(PageAtlas, ChartLargerThanAPageIsSplitNeverShrunk) {
    const TriMesh mesh = testmesh::Grid(40, 40);  // one flat unit square
    const int resolution = 256;
    const double density = 2.5 * resolution;
    const PagedAtlas atlas = RunPaged(mesh, 1, density, resolution);
    ASSERT_EQ(atlas.status, 0);
    EXPECT_GE(atlas.report.chartCount, 9);
    EXPECT_GE(atlas.report.pageCount, 7);
    const std::vector<double> densities = ChartDensities(mesh, atlas.tex, atlas.ids, atlas.pages, resolution);
    EXPECT_EQ(densities.size(), static_cast<size_t>(atlas.report.chartCount));
    for (double d : densities) EXPECT_NEAR(d, density, 1e-6 * density);
    double texels = 0;
    for (int f = 0; f < mesh.GetTriangleCount(); ++f)
        texels += TriangleArea2D(&atlas.tex[2 * atlas.ids[3 * f]], &atlas.tex[2 * atlas.ids[3 * f + 1]],
                                 &atlas.tex[2 * atlas.ids[3 * f + 2]]);
    EXPECT_NEAR(texels * resolution * resolution, density * density, 1e-6 * density * density);
    ExpectSoundPages(mesh, atlas.tex, atlas.ids, atlas.pages, atlas.report.pageCount, resolution);
}

// A closed surface with many charts over a few pages: each chart on one page, one
// density, sound pages. Off by default: one page, every face on page 0.
TEST(PageAtlas, ClosedSurfaceOverSeveralPagesAndOffByDefault) {
    const TriMesh mesh = testmesh::Torus(48, 24);
    const int resolution = 512;
    const double density = 250;
    const PagedAtlas atlas = RunPaged(mesh, 24, density, resolution);
    ASSERT_EQ(atlas.status, 0);
    EXPECT_GE(atlas.report.pageCount, 2);
    for (double d : ChartDensities(mesh, atlas.tex, atlas.ids, atlas.pages, resolution)) EXPECT_NEAR(d, density, 1e-6 * density);
    ExpectSoundPages(mesh, atlas.tex, atlas.ids, atlas.pages, atlas.report.pageCount, resolution);

    const PagedAtlas single = RunPaged(mesh, 24, 0.0, resolution);
    ASSERT_EQ(single.status, 0);
    EXPECT_EQ(single.report.pageCount, 1);
    EXPECT_EQ(single.pages, std::vector<int>(mesh.GetTriangleCount(), 0));

    std::vector<double> tex;
    std::vector<int> ids;
    ORVO::UVAtlasOptions options;
    options.texelsPerUnit = -1;
    EXPECT_EQ(ORVO::UnfoldMesh::GenerateUVAtlas(&mesh, options, &tex, &ids), -2);
    options.texelsPerUnit = std::nan("");
    EXPECT_EQ(ORVO::UnfoldMesh::GenerateUVAtlas(&mesh, options, &tex, &ids), -2);
    options.texelsPerUnit = 100;
    options.maxPages = -1;
    EXPECT_EQ(ORVO::UnfoldMesh::GenerateUVAtlas(&mesh, options, &tex, &ids), -2);
}

}  // namespace
