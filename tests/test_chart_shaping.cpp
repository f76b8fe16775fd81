// Chart shaping in the options form: merging faces into charts, straightened
// borders, slits, the stretch budget and the charts the shape chooses.

#include <QarnUVAtlas/FillMeshHole.h>
#include <QarnUVAtlas/UnfoldMesh.h>

#include "AtlasCheck.h"
#include "ShapeMeshes.h"
#include "TestMeshes.h"
#include "unfold/MeshAdjacency.h"
#include "unfold/flattening/ChartLayout.h"
#include "unfold/segmentation/BorderStraightening.h"
#include "unfold/segmentation/ChartCarving.h"
#include "unfold/segmentation/ChartClustering.h"
#include "unfold/segmentation/ChartSlits.h"
#include "unfold/segmentation/RegionTopology.h"
#include "unfold/segmentation/StretchBudgetMerge.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <set>
#include <string>

namespace {

using ORVO::MeshAdjacency;
using ORVO::TriMesh;
using ORVO::UnfoldMesh;
using ORVO::UVAtlasOptions;
using ORVO::Vector3;

// A mesh with its adjacency, face geometry and vertex positions, as the
// segmentation stages take them.
struct Prepared {
    MeshAdjacency adj;
    ORVO::FaceGeometry geo;
    std::vector<Vector3> coords;
    explicit Prepared(const TriMesh& mesh) {
        adj.Build(&mesh);
        geo = ORVO::_ComputeFaceGeometry(&mesh, adj);
        for (int v = 0; v < mesh.GetVertexCount(); ++v) coords.push_back(mesh.GetVertexCoord(v));
    }
};

// Regions (labels 0 .. count-1) that are not an edge-connected topological disc.
int NonDiscRegions(const MeshAdjacency& adj, const std::vector<int>& labels, int count) {
    std::vector<std::vector<int>> faces(count);
    for (int f = 0; f < adj.faceCount; ++f) faces[labels[f]].push_back(f);
    std::vector<int> local(adj.faceCount, -1);
    std::vector<char> seen(adj.faceCount, 0);
    int bad = 0;
    for (int r = 0; r < count; ++r) {
        std::vector<std::vector<int>> parts;
        ORVO::_ConnectedParts(adj, labels, r, faces[r], seen, parts);
        if (parts.size() != 1 || ORVO::_EulerCharacteristic(adj, labels, r, faces[r], local) != 1) ++bad;
    }
    return bad;
}

// Total 3-D length of the edges between differently labelled faces.
double BorderLength(const Prepared& p, const std::vector<int>& labels) {
    double length = 0.0;
    for (int f = 0; f < p.adj.faceCount; ++f)
        for (int k = 0; k < 3; ++k) {
            const int g = p.adj.faceNeighbours[3 * f + k];
            if (g > f && labels[g] != labels[f])
                length += (p.coords[p.adj.triangles[3 * f + (k + 1) % 3]] - p.coords[p.adj.triangles[3 * f + k]]).Length();
        }
    return length;
}

// Texture stretch of an atlas as Sander et al. define it (texture to surface),
// L2 over the surface and the largest per face, scaled by
// sqrt(texture area / surface area) so that an isometry up to scale gives 1.
struct Stretch {
    double l2 = 0.0, linf = 0.0;
};
Stretch MeasureStretch(const TriMesh& mesh, const std::vector<double>& tex, const std::vector<int>& ids) {
    double sum = 0.0, area3 = 0.0, areaUv = 0.0, worst = 0.0;
    for (int f = 0; f < mesh.GetTriangleCount(); ++f) {
        int t[3];
        mesh.GetTriangleVertexIds(f, t);
        const Vector3 p0 = mesh.GetVertexCoord(t[0]);
        const Vector3 q1 = mesh.GetVertexCoord(t[1]) - p0, q2 = mesh.GetVertexCoord(t[2]) - p0;
        const double* s0 = &tex[2 * ids[3 * f]];
        const double* s1 = &tex[2 * ids[3 * f + 1]];
        const double* s2 = &tex[2 * ids[3 * f + 2]];
        const double a = 0.5 * ((s1[0] - s0[0]) * (s2[1] - s0[1]) - (s2[0] - s0[0]) * (s1[1] - s0[1]));
        const double face = 0.5 * q1.CrossProduct(q2).Length();
        area3 += face;
        areaUv += std::fabs(a);
        if (!(std::fabs(a) > 0.0)) continue;
        // Partial derivatives of the surface point along u and v.
        const Vector3 ds = (q1 * (s2[1] - s0[1]) - q2 * (s1[1] - s0[1])) / (2.0 * a);
        const Vector3 dt = (q2 * (s1[0] - s0[0]) - q1 * (s2[0] - s0[0])) / (2.0 * a);
        const double e = ds * ds, g = dt * dt, fg = ds * dt;
        sum += face * 0.5 * (e + g);
        worst = std::max(worst, std::sqrt(0.5 * ((e + g) + std::sqrt((e - g) * (e - g) + 4.0 * fg * fg))));
    }
    const double scale = std::sqrt(areaUv / area3);
    return {std::sqrt(sum / area3) * scale, worst * scale};
}

// Mesh edges (by position) whose two faces do not share texture coordinates
// at both ends, with their share of the total edge length.
struct Seams {
    double ratio = 0.0;
    std::vector<std::pair<Vector3, Vector3>> edges;
};
Seams FindSeams(const TriMesh& mesh, const std::vector<double>& tex, const std::vector<int>& ids) {
    using Key = std::pair<int, int>;
    std::map<Key, std::vector<std::pair<int, int>>> uses;  // vertex pair -> (face, corner)
    for (int f = 0; f < mesh.GetTriangleCount(); ++f) {
        int t[3];
        mesh.GetTriangleVertexIds(f, t);
        for (int k = 0; k < 3; ++k) uses[{std::min(t[k], t[(k + 1) % 3]), std::max(t[k], t[(k + 1) % 3])}].push_back({f, k});
    }
    auto uvOf = [&](int f, int vertex) {
        int t[3];
        mesh.GetTriangleVertexIds(f, t);
        for (int k = 0; k < 3; ++k)
            if (t[k] == vertex) return std::make_pair(tex[2 * ids[3 * f + k]], tex[2 * ids[3 * f + k] + 1]);
        return std::make_pair(0.0, 0.0);
    };
    Seams seams;
    double total = 0.0, cut = 0.0;
    for (const auto& [edge, faces] : uses) {
        const Vector3 a = mesh.GetVertexCoord(edge.first), b = mesh.GetVertexCoord(edge.second);
        const double length = (b - a).Length();
        total += length;
        if (faces.size() != 2) continue;
        const int f = faces[0].first, g = faces[1].first;
        if (uvOf(f, edge.first) != uvOf(g, edge.first) || uvOf(f, edge.second) != uvOf(g, edge.second)) {
            cut += length;
            seams.edges.push_back({a, b});
        }
    }
    seams.ratio = total > 0.0 ? cut / total : 0.0;
    return seams;
}

struct Atlas {
    int status = 0;
    int charts = 0;
    std::vector<double> tex;
    std::vector<int> ids;
    atlascheck::Quality quality;
    Stretch stretch;
};

Atlas Unwrap(const TriMesh& mesh, int chartCount, double maxStretch, int threads = 0) {
    UVAtlasOptions options;
    options.chartCount = chartCount;
    options.maxStretch = maxStretch;
    options.threadCount = threads;
    ORVO::UVAtlasReport report;
    Atlas atlas;
    atlas.status = UnfoldMesh::GenerateUVAtlas(&mesh, options, &atlas.tex, &atlas.ids, &report);
    if (atlas.status != 0) return atlas;
    atlas.charts = report.chartCount;
    atlas.quality = atlascheck::Judge(mesh, atlas.tex, atlas.ids);
    atlas.stretch = MeasureStretch(mesh, atlas.tex, atlas.ids);
    return atlas;
}

void ExpectValid(const Atlas& atlas) {
    ASSERT_EQ(atlas.status, 0);
    EXPECT_EQ(atlas.quality.overlapping, 0);
    EXPECT_EQ(atlas.quality.flipped, 0);
    EXPECT_EQ(atlas.quality.zeroArea, 0);
    EXPECT_TRUE(atlas.quality.inUnitSquare);
}

// ---------------------------------------------------------------- merging

TEST(ChartClustering, ReachesTheCountAndEveryChartIsADisc) {
    const std::pair<std::string, TriMesh> shapes[] = {
        {"sphere", testmesh::Icosphere(3)},
        {"torus", testmesh::Torus(40, 20)},
        {"grid with holes", testmesh::Grid(30, 30, [](double x, double y) { return 0.1 * std::sin(5 * x + 3 * y); },
                                           [](int i, int j) { return !(i > 10 && i < 15 && j > 10 && j < 15); })}};
    for (const auto& [name, mesh] : shapes) {
        SCOPED_TRACE(name);
        Prepared p(mesh);
        ORVO::ClusteringLimits limits;
        limits.targetCount = 12;
        std::vector<int> labels;
        const int count = ORVO::_ClusterFaces(p.adj, p.geo, p.coords, limits, labels);
        EXPECT_EQ(count, 12);
        ASSERT_EQ(labels.size(), static_cast<size_t>(mesh.GetTriangleCount()));
        for (int l : labels) ASSERT_TRUE(l >= 0 && l < count);
        EXPECT_EQ(NonDiscRegions(p.adj, labels, count), 0);
    }
}

TEST(ChartClustering, FlatStretchesGetLargerChartsThanCurvedOnes) {
    // Flat on the left half, rippled on the right.
    const TriMesh mesh = testmesh::Grid(60, 30, [](double x, double y) {
        return x < 0.5 ? 0.0 : 0.03 * std::sin(40.0 * x) * std::sin(40.0 * y);
    });
    Prepared p(mesh);
    ORVO::ClusteringLimits limits;
    limits.targetCount = 30;
    std::vector<int> labels;
    const int count = ORVO::_ClusterFaces(p.adj, p.geo, p.coords, limits, labels);
    std::vector<double> x(count, 0.0), faces(count, 0.0);
    for (int f = 0; f < p.adj.faceCount; ++f) {
        x[labels[f]] += p.geo.centroid[f].x;
        faces[labels[f]] += 1.0;
    }
    double flat = 0.0, curved = 0.0;
    int flatCharts = 0, curvedCharts = 0;
    for (int c = 0; c < count; ++c) {
        if (x[c] / faces[c] < 0.5) {
            flat += faces[c];
            ++flatCharts;
        } else {
            curved += faces[c];
            ++curvedCharts;
        }
    }
    ASSERT_GT(flatCharts, 0);
    ASSERT_GT(curvedCharts, 0);
    EXPECT_GT(flat / flatCharts, 3.0 * curved / curvedCharts);
}

TEST(ChartClustering, CreasesAndTheNormalConeStopTheGrowth) {
    const TriMesh cube = shapemesh::SubdividedCube(6);
    Prepared p(cube);
    ORVO::ClusteringLimits limits;
    limits.creaseCosine = 0.5;
    std::vector<int> labels;
    EXPECT_EQ(ORVO::_ClusterFaces(p.adj, p.geo, p.coords, limits, labels), 6);
    // Each chart is one side of the cube: one normal.
    for (int f = 0; f < p.adj.faceCount; ++f) {
        for (int g = 0; g < p.adj.faceCount; ++g) {
            if (labels[f] == labels[g]) {
                ASSERT_GT(p.geo.normal[f] * p.geo.normal[g], 0.999);
            }
        }
    }

    // Without the crease barrier, a cone of about 60 degrees still keeps the
    // sides of a cube apart, and a sphere in more than two pieces.
    ORVO::ClusteringLimits cone;
    cone.maxSpread = 0.25;
    EXPECT_EQ(ORVO::_ClusterFaces(p.adj, p.geo, p.coords, cone, labels), 6);
    const TriMesh sphere = testmesh::Icosphere(3);
    Prepared s(sphere);
    const int pieces = ORVO::_ClusterFaces(s.adj, s.geo, s.coords, cone, labels);
    EXPECT_GE(pieces, 3);
    EXPECT_LE(pieces, 20);
    EXPECT_EQ(NonDiscRegions(s.adj, labels, pieces), 0);
}

// A crumpled piece that no cone of normals holds in one chart: an open box
// (a disc) still ends in the single chart asked for once the cone may widen.
TEST(ChartClustering, AnUnreachableCountIsReachedWithAWiderCone) {
    const int n = 4;
    const TriMesh cube = shapemesh::SubdividedCube(n);
    TriMesh box;
    for (int v = 0; v < cube.GetVertexCount(); ++v) box.InsertVertex(cube.GetVertexCoord(v));
    for (int f = 0; f < 10 * n * n; ++f) {  // the first five sides
        const int* t = cube.GetTriangle(f);
        box.InsertTriangle(t[0], t[1], t[2]);
    }
    Prepared p(box);
    ORVO::ClusteringLimits limits;
    limits.targetCount = 1;
    limits.maxSpread = 0.25;
    std::vector<int> labels;
    EXPECT_EQ(ORVO::_ClusterFaces(p.adj, p.geo, p.coords, limits, labels), 5);
    limits.fallbackSpread = 2.0;
    EXPECT_EQ(ORVO::_ClusterFaces(p.adj, p.geo, p.coords, limits, labels), 1);
    EXPECT_EQ(NonDiscRegions(p.adj, labels, 1), 0);
}

// A sheet in the unit square whose vertices are lifted or sunk by a
// pseudo-random amount up to `bump` (in units of the grid's step): flat on
// average, rough everywhere, like the surface of a noisy scan.
TriMesh RoughSheet(int n, double bump) {
    const double step = 1.0 / n;
    return testmesh::Grid(n, n, [=](double x, double y) {
        const double r = std::sin(12.9898 * x * n + 78.233 * y * n) * 43758.5453;
        return bump * step * (2.0 * (r - std::floor(r)) - 1.0);
    });
}

TEST(ChartClustering, AbsoluteCurvatureAddsUpEveryDefect) {
    // A closed convex surface holds a sphere's curvature, 4 pi, all of one sign.
    {
        const TriMesh sphere = testmesh::Icosphere(3);
        Prepared p(sphere);
        const std::vector<double> shares = ORVO::_AbsoluteCurvatureShares(p.adj, ORVO::_CornerAngles(p.adj, p.coords));
        double sum = 0.0;
        for (double s : shares) {
            EXPECT_GE(s, 0.0);
            sum += s;
        }
        EXPECT_NEAR(sum, 4.0 * ORVO::ORVO_PI, 1e-9);
    }
    // A flat sheet holds none (its border vertices have no defect to share).
    {
        Prepared p(testmesh::Grid(10, 10));
        for (double s : ORVO::_AbsoluteCurvatureShares(p.adj, ORVO::_CornerAngles(p.adj, p.coords))) EXPECT_NEAR(s, 0.0, 1e-12);
    }
    // On a rough sheet the defects cancel in sign but not in size: the shares
    // add up to the sum of the inner vertices' absolute defects.
    {
        const int n = 12;
        const TriMesh sheet = RoughSheet(n, 0.5);
        Prepared p(sheet);
        const std::vector<double> angles = ORVO::_CornerAngles(p.adj, p.coords);
        const std::vector<double> shares = ORVO::_AbsoluteCurvatureShares(p.adj, angles);
        std::vector<double> turn(p.adj.vertexCount, 0.0);
        for (size_t h = 0; h < angles.size(); ++h) turn[p.adj.triangles[h]] += angles[h];
        double expected = 0.0, net = 0.0;
        for (int j = 1; j < n; ++j) {
            for (int i = 1; i < n; ++i) {
                const double defect = 2.0 * ORVO::ORVO_PI - turn[j * (n + 1) + i];
                expected += std::fabs(defect);
                net += defect;
            }
        }
        double sum = 0.0;
        for (double s : shares) sum += s;
        EXPECT_NEAR(sum, expected, 1e-9 * expected);
        EXPECT_GT(sum, 5.0 * std::fabs(net));
    }
}

TEST(ChartClustering, TheCurvatureLimitKeepsTheSeedsOfARoughSheetSmall) {
    const TriMesh sheet = RoughSheet(40, 0.4);
    Prepared p(sheet);
    const std::vector<double> shares = ORVO::_AbsoluteCurvatureShares(p.adj, ORVO::_CornerAngles(p.adj, p.coords));
    double total = 0.0;
    for (double s : shares) total += s;
    ORVO::ClusteringLimits limits;
    limits.targetCount = 1;
    std::vector<int> labels;
    // Its normals spread little on average: without the limit it is one chart.
    ASSERT_EQ(ORVO::_ClusterFaces(p.adj, p.geo, p.coords, limits, labels), 1);
    limits.faceCurvature = &shares;
    limits.maxCurvature = total / 10.0;
    const int count = ORVO::_ClusterFaces(p.adj, p.geo, p.coords, limits, labels);
    EXPECT_GE(count, 10);
    EXPECT_LE(count, 40);
    std::vector<double> held(count, 0.0);
    for (int f = 0; f < p.adj.faceCount; ++f) held[labels[f]] += shares[f];
    for (int c = 0; c < count; ++c) EXPECT_LE(held[c], limits.maxCurvature * (1.0 + 1e-12)) << c;
    EXPECT_EQ(NonDiscRegions(p.adj, labels, count), 0);
}

// ---------------------------------------------------------------- borders

TEST(BorderStraightening, AZigzagBorderBecomesAStraightOne) {
    // A flat unit square in two charts whose border zigzags two cells either
    // side of x = 1/2; it can run straight along x = 1/2.
    const int n = 40;
    const TriMesh mesh = testmesh::Grid(n, n);
    Prepared p(mesh);
    std::vector<int> labels(p.adj.faceCount);
    for (int f = 0; f < p.adj.faceCount; ++f) {
        const int row = static_cast<int>(p.geo.centroid[f].y * n), column = static_cast<int>(p.geo.centroid[f].x * n);
        const int offset = row == 0 || row == n - 1 ? 0 : ((row / 4) % 2 == 0 ? 2 : -2);
        labels[f] = column < n / 2 + offset ? 0 : 1;
    }
    const double before = BorderLength(p, labels);
    ASSERT_GT(before, 1.4);
    ORVO::StraighteningSettings settings;
    EXPECT_GT(ORVO::_StraightenBorders(p.adj, p.geo, p.coords, settings, 2, labels), 0);
    EXPECT_LT(BorderLength(p, labels), 1.05);
    EXPECT_EQ(NonDiscRegions(p.adj, labels, 2), 0);
}

TEST(BorderStraightening, SeamsSettleOnTheEdgesOfABox) {
    // The cube's faces sorted by the nearest of six directions turned a little
    // off the axes: the borders cut across the sides near their edges.
    const int n = 10;
    const TriMesh cube = shapemesh::SubdividedCube(n);
    Prepared p(cube);
    const double turn = 0.12;
    const Vector3 axes[3] = {Vector3(std::cos(turn), std::sin(turn), 0.0), Vector3(-std::sin(turn), std::cos(turn), 0.0),
                             Vector3(0.0, 0.0, 1.0)};
    std::vector<int> labels(p.adj.faceCount);
    for (int f = 0; f < p.adj.faceCount; ++f) {
        const Vector3 d = p.geo.centroid[f] - Vector3(0.5, 0.5, 0.5);
        int best = 0;
        double bestDot = -1e9;
        for (int k = 0; k < 6; ++k) {
            const double dot = (axes[k / 2] * d) * (k % 2 ? -1.0 : 1.0);
            if (dot > bestDot) {
                bestDot = dot;
                best = k;
            }
        }
        labels[f] = best;
    }
    ASSERT_EQ(NonDiscRegions(p.adj, labels, 6), 0);
    auto onEdges = [&]() {
        double on = 0.0, all = 0.0;
        for (int f = 0; f < p.adj.faceCount; ++f)
            for (int k = 0; k < 3; ++k) {
                const int g = p.adj.faceNeighbours[3 * f + k];
                if (g <= f || labels[g] == labels[f]) continue;
                const double length = (p.coords[p.adj.triangles[3 * f + (k + 1) % 3]] - p.coords[p.adj.triangles[3 * f + k]]).Length();
                all += length;
                if (p.geo.normal[f] * p.geo.normal[g] < 0.5) on += length;
            }
        return on / all;
    };
    // Corners, where three charts meet, stay where they are, so the borders
    // leave the edges next to them; between corners they follow the edges.
    const double before = onEdges();
    ASSERT_LT(before, 0.4);
    ORVO::StraighteningSettings settings;
    ORVO::_StraightenBorders(p.adj, p.geo, p.coords, settings, 6, labels);
    EXPECT_GT(onEdges(), 0.8);
    EXPECT_EQ(NonDiscRegions(p.adj, labels, 6), 0);
}

// ---------------------------------------------------------------- slits

TEST(ChartSlits, AHoledChartIsCutOpenIntoADisc) {
    const TriMesh annulus = testmesh::Grid(12, 12, nullptr, [](int i, int j) { return !(i >= 4 && i < 8 && j >= 4 && j < 8); });
    std::vector<std::vector<int>> paths;
    ASSERT_TRUE(ORVO::_JoinBoundaryLoops(annulus, paths));
    ASSERT_EQ(paths.size(), 1u);
    TriMesh slit;
    ORVO::_SlitChart(annulus, paths, slit);
    ASSERT_EQ(slit.GetTriangleCount(), annulus.GetTriangleCount());
    EXPECT_EQ(slit.GetVertexCount(), annulus.GetVertexCount() + static_cast<int>(paths[0].size()));
    for (int f = 0; f < slit.GetTriangleCount(); ++f)
        for (int k = 0; k < 3; ++k)
            EXPECT_EQ(slit.GetVertexCoord(slit.GetTriangle(f)[k]), annulus.GetVertexCoord(annulus.GetTriangle(f)[k]));
    std::vector<std::vector<int>> loops;
    ASSERT_EQ(ORVO::FillMeshHole::FindHoles(&slit, &loops), 0);
    EXPECT_EQ(loops.size(), 1u);

    // A handle or a closed surface is not opened by cuts between loops.
    EXPECT_FALSE(ORVO::_JoinBoundaryLoops(testmesh::Torus(20, 10), paths));
    EXPECT_FALSE(ORVO::_JoinBoundaryLoops(testmesh::Icosphere(1), paths));
}

TEST(ChartSlits, AConeTipLiesFlatOnceSlitToTheBoundary) {
    // A steep open cone: its tip has far less than a full turn of surface
    // around it, so a flattening squeezes the faces there.
    const TriMesh cone = shapemesh::OpenCone(24, 8, 3.0);
    const int tip = 0;
    auto flatten = [](const TriMesh& chart, std::vector<double>& uv) {
        std::vector<std::vector<int>> holes;
        const bool found = ORVO::FillMeshHole::FindHoles(&chart, &holes) == 0;
        bool accept = false;
        return ORVO::_FlattenChart(chart, holes, found, true, uv, accept);
    };
    std::vector<double> uv;
    ASSERT_TRUE(flatten(cone, uv));
    ASSERT_TRUE(ORVO::_HasSqueezedTriangle(cone, uv, 2.5));
    EXPECT_EQ(ORVO::_WorstInnerVertex(cone, uv, 2.5, true), tip);
    const std::vector<int> path = ORVO::_SlitPath(cone, tip);
    ASSERT_GE(path.size(), 2u);
    EXPECT_EQ(path.front(), tip);
    TriMesh slit;
    ORVO::_SlitChart(cone, {path}, slit);
    std::vector<double> slitUv;
    ASSERT_TRUE(flatten(slit, slitUv));
    EXPECT_FALSE(ORVO::_HasSqueezedTriangle(slit, slitUv, 2.5));
    EXPECT_FALSE(ORVO::_HasFlippedTriangle(slit, slitUv));
}

TEST(ChartSlits, SlitsFromSeveralTipsJoinTheBorderOrEachOther) {
    const TriMesh sheet = testmesh::Grid(12, 12);
    MeshAdjacency adj;
    adj.Build(&sheet);
    auto vertex = [](int i, int j) { return j * 13 + i; };
    // Two tips side by side (the second's cheapest way out is the first's
    // slit), one far off, and one on the border, which needs no slit.
    const std::vector<int> tips = {vertex(3, 6), vertex(4, 6), vertex(9, 8), vertex(0, 5)};
    const std::vector<std::vector<int>> paths = ORVO::_SlitPaths(sheet, adj, tips);
    ASSERT_EQ(paths.size(), 3u);
    const std::vector<char> border = adj.BoundaryVertices();
    std::set<int> cut;
    for (size_t p = 0; p < paths.size(); ++p) {
        EXPECT_EQ(paths[p].front(), tips[p]);
        EXPECT_TRUE(border[paths[p].back()] || cut.count(paths[p].back())) << p;
        for (size_t i = 0; i + 1 < paths[p].size(); ++i) EXPECT_FALSE(border[paths[p][i]]) << p;
        cut.insert(paths[p].begin(), paths[p].end());
    }
    EXPECT_EQ(paths[1].size(), 2u);  // one edge to the first slit
    // Cut open, the sheet is still one disc, with every tip on its border.
    TriMesh slit;
    ORVO::_SlitChart(sheet, paths, slit);
    std::vector<std::vector<int>> loops;
    ASSERT_EQ(ORVO::FillMeshHole::FindHoles(&slit, &loops), 0);
    EXPECT_EQ(loops.size(), 1u);
    MeshAdjacency slitAdj;
    slitAdj.Build(&slit);
    const std::vector<char> slitBorder = slitAdj.BoundaryVertices();
    for (int tip : tips) EXPECT_TRUE(slitBorder[tip]) << tip;
}

// ---------------------------------------------------------------- carving

// The edge-connected parts of each label, each with a label of its own.
int LabelParts(const MeshAdjacency& adj, const std::vector<int>& labels, std::vector<int>& parts) {
    parts.assign(adj.faceCount, -1);
    int count = 0;
    std::vector<int> stack;
    for (int f = 0; f < adj.faceCount; ++f) {
        if (parts[f] >= 0) continue;
        parts[f] = count;
        stack.assign(1, f);
        while (!stack.empty()) {
            const int g = stack.back();
            stack.pop_back();
            for (int k = 0; k < 3; ++k) {
                const int h = adj.faceNeighbours[3 * g + k];
                if (h >= 0 && parts[h] < 0 && labels[h] == labels[g]) {
                    parts[h] = count;
                    stack.push_back(h);
                }
            }
        }
        ++count;
    }
    return count;
}

// Separate runs of faces labelled `label` in the fan of vertex v: faces of
// one fan that share an edge share one at v, so joining neighbours finds them.
int FanWedges(const MeshAdjacency& adj, const std::vector<int>& labels, int v, int label) {
    std::map<int, int> root;
    for (int i = adj.FacesBegin(v); i < adj.FacesEnd(v); ++i)
        if (labels[adj.vertexFaces[i]] == label) root[adj.vertexFaces[i]] = adj.vertexFaces[i];
    auto find = [&](int f) {
        while (root[f] != f) f = root[f];
        return f;
    };
    int runs = static_cast<int>(root.size());
    for (const auto& entry : root) {
        for (int k = 0; k < 3; ++k) {
            const int g = adj.faceNeighbours[3 * entry.first + k];
            if (g < 0 || root.count(g) == 0) continue;
            const int a = find(entry.first), b = find(g);
            if (a == b) continue;
            root[a] = b;
            --runs;
        }
    }
    return runs;
}

TEST(ChartCarving, SpoiledSpotsAreCarvedOutAsSmallDiscs) {
    // One spike alone, and two whose carved patches would touch at a corner.
    const std::vector<std::vector<std::pair<int, int>>> cases = {{{6, 6}}, {{4, 4}, {7, 7}}};
    for (const auto& spikes : cases) {
        SCOPED_TRACE(spikes.size());
        const shapemesh::SpikedSheet sheet(12, spikes, 0.3);
        std::vector<int> labels;
        ASSERT_TRUE(ORVO::_CarveSpoiledPatches(sheet.mesh, sheet.uv, 2.5, {}, 0.3, labels));
        Prepared p(sheet.mesh);
        // Every face at a spike is carved, faces far from the spikes are kept.
        for (int f = 0; f < p.adj.faceCount; ++f) {
            const int* t = sheet.mesh.GetTriangle(f);
            bool atSpike = false;
            for (int k = 0; k < 3; ++k) atSpike = atSpike || sheet.mesh.GetVertexCoord(t[k]).z > 0.0;
            if (atSpike) {
                EXPECT_EQ(labels[f], 1) << f;
            }
            const Vector3 c = p.geo.centroid[f];
            if (c.x < 0.15 || c.x > 0.85 || c.y < 0.15 || c.y > 0.85) {
                EXPECT_EQ(labels[f], 0) << f;
            }
        }
        // The rest stays one piece with a hole for each carved patch, each
        // patch is a disc, and no piece meets itself at a vertex.
        std::vector<int> parts;
        const int count = LabelParts(p.adj, labels, parts);
        std::vector<int> partLabel(count);
        for (int f = 0; f < p.adj.faceCount; ++f) partLabel[parts[f]] = labels[f];
        ASSERT_EQ(std::count(partLabel.begin(), partLabel.end(), 0), 1);
        EXPECT_LE(count, 1 + static_cast<int>(spikes.size()));
        std::vector<int> local(p.adj.faceCount, -1);
        std::vector<int> faces;
        for (int c = 0; c < count; ++c) {
            faces.clear();
            for (int f = 0; f < p.adj.faceCount; ++f)
                if (parts[f] == c) faces.push_back(f);
            const int holes = partLabel[c] == 0 ? count - 1 : 0;
            EXPECT_EQ(ORVO::_EulerCharacteristic(p.adj, parts, c, faces, local), 1 - holes) << c;
        }
        for (int v = 0; v < p.adj.vertexCount; ++v) {
            for (int c = 0; c < count; ++c) EXPECT_LE(FanWedges(p.adj, parts, v, c), 1) << v;
        }
    }
}

TEST(ChartCarving, ASpikeLosesTheRingRoundItsTipAlone) {
    // The faces at the tip are squeezed, and only those: carving the ring of
    // each of their corners would take out the tip's neighbours' rings too,
    // whose outline is twice as long.
    const int cells = 12, tip = 6 * (cells + 1) + 6;
    const shapemesh::SpikedSheet sheet(cells, {{6, 6}}, 0.3);
    std::vector<int> labels;
    ASSERT_TRUE(ORVO::_CarveSpoiledPatches(sheet.mesh, sheet.uv, 2.5, {}, 0.3, labels));
    Prepared p(sheet.mesh);
    int carved = 0;
    for (int f = 0; f < p.adj.faceCount; ++f) {
        const int* t = sheet.mesh.GetTriangle(f);
        const bool atTip = t[0] == tip || t[1] == tip || t[2] == tip;
        EXPECT_EQ(labels[f], atTip ? 1 : 0) << f;
        carved += labels[f];
    }
    EXPECT_EQ(carved, p.adj.FacesEnd(tip) - p.adj.FacesBegin(tip));
    // A face spoiled on its own (no corner where spoiled faces gather) still
    // takes the faces round all its corners: the whole of them, and no more.
    std::vector<int> ring;
    const int lone = 2 * p.adj.faceCount / 3;
    ASSERT_TRUE(ORVO::_CarveSpoiledPatches(sheet.mesh, sheet.uv, 1e9, {lone}, 0.3, ring));
    std::set<int> expected;
    const int* t = sheet.mesh.GetTriangle(lone);
    for (int k = 0; k < 3; ++k)
        for (int i = p.adj.FacesBegin(t[k]); i < p.adj.FacesEnd(t[k]); ++i) expected.insert(p.adj.vertexFaces[i]);
    for (int f = 0; f < p.adj.faceCount; ++f) EXPECT_EQ(ring[f], expected.count(f) ? 1 : 0) << f;
}

TEST(ChartCarving, NothingIsCarvedFromASoundOrAWhollySpoiledChart) {
    std::vector<int> labels;
    const shapemesh::SpikedSheet flat(8, {}, 0.0);
    EXPECT_FALSE(ORVO::_CarveSpoiledPatches(flat.mesh, flat.uv, 2.5, {}, 0.25, labels));
    // A face the overlap test names is carved like a squeezed one.
    ASSERT_TRUE(ORVO::_CarveSpoiledPatches(flat.mesh, flat.uv, 2.5, {60}, 0.25, labels));
    EXPECT_EQ(labels[60], 1);
    // Spikes everywhere would take most of the chart: it is left to be split.
    std::vector<std::pair<int, int>> many;
    for (int i = 1; i < 8; i += 2)
        for (int j = 1; j < 8; j += 2) many.emplace_back(i, j);
    const shapemesh::SpikedSheet spiky(8, many, 0.3);
    EXPECT_FALSE(ORVO::_CarveSpoiledPatches(spiky.mesh, spiky.uv, 2.5, {}, 0.25, labels));
}


// ---------------------------------------------------------------- the atlas

TEST(ShapedCharts, TheShapeChoosesTheCharts) {
    {
        SCOPED_TRACE("cube");
        const TriMesh cube = shapemesh::SubdividedCube(8);
        const Atlas atlas = Unwrap(cube, 0, 0.0);
        ExpectValid(atlas);
        EXPECT_EQ(atlas.charts, 6);
        // Every seam runs along an edge of the cube: two coordinates at 0 or 1.
        auto onEdge = [](const Vector3& p) {
            int extreme = 0;
            for (int i = 0; i < 3; ++i) extreme += std::fabs(p[i]) < 1e-9 || std::fabs(p[i] - 1.0) < 1e-9 ? 1 : 0;
            return extreme >= 2;
        };
        const Seams seams = FindSeams(cube, atlas.tex, atlas.ids);
        EXPECT_FALSE(seams.edges.empty());
        for (const auto& [a, b] : seams.edges) EXPECT_TRUE(onEdge(a) && onEdge(b));
    }
    const std::pair<std::string, TriMesh> shapes[] = {{"cylinder", shapemesh::ClosedCylinder(32, 10, 5, 2.0)},
                                                      {"sheet", testmesh::Grid(40, 40)},
                                                      {"sphere", testmesh::Icosphere(3)}};
    const std::pair<int, int> counts[] = {{1, 3}, {1, 1}, {2, 8}};
    for (int s = 0; s < 3; ++s) {
        SCOPED_TRACE(shapes[s].first);
        const Atlas atlas = Unwrap(shapes[s].second, 0, 0.0);
        ExpectValid(atlas);
        EXPECT_GE(atlas.charts, counts[s].first);
        EXPECT_LE(atlas.charts, counts[s].second);
        EXPECT_LE(atlas.stretch.l2, 1.02);
        EXPECT_LE(atlas.stretch.linf, 2.5);
    }
}

TEST(ShapedCharts, TheStretchBudgetHolds) {
    // A bumpy closed body: no isometric flattening exists in a few pieces.
    TriMesh body = testmesh::Icosphere(4);
    for (int v = 0; v < body.GetVertexCount(); ++v) {
        const Vector3 p = body.GetVertexCoord(v);
        body.SetVertexCoord(v, p * (1.0 + 0.15 * std::sin(3.0 * p.x) * std::cos(2.0 * p.y + p.z)));
    }
    int previous = std::numeric_limits<int>::max();
    for (double budget : {1.01, 1.05, 1.2}) {
        SCOPED_TRACE(budget);
        const Atlas atlas = Unwrap(body, 0, budget);
        ExpectValid(atlas);
        EXPECT_LE(atlas.stretch.l2, budget);
        EXPECT_LE(atlas.stretch.linf, 3.0);
        // A larger budget never needs more charts.
        EXPECT_LE(atlas.charts, previous);
        previous = atlas.charts;
    }
}

TEST(ShapedCharts, ACountIsHonouredWithStraightSeams) {
    const TriMesh sphere = testmesh::Icosphere(4);
    const Atlas atlas = Unwrap(sphere, 20, 0.0);
    ExpectValid(atlas);
    EXPECT_GE(atlas.charts, 20);
    EXPECT_LE(atlas.charts, 24);
    EXPECT_LE(atlas.stretch.l2, 1.01);
    EXPECT_LE(atlas.stretch.linf, 2.5);
}

TEST(ShapedCharts, SameAtlasWithOneThreadAndSeveral) {
    const TriMesh torus = testmesh::Torus(48, 24);
    for (double budget : {0.0, 1.05}) {
        const Atlas one = Unwrap(torus, 0, budget, 1);
        const Atlas two = Unwrap(torus, 0, budget, 2);
        ASSERT_EQ(one.status, 0);
        EXPECT_EQ(one.tex, two.tex);
        EXPECT_EQ(one.ids, two.ids);
    }
}

// A closed surface under a budget ends with a few large unions, most of them
// refused: these flatten on two threads each and are tried two at a time even
// when they share a chart. The charts must be those of one thread, and the
// atlas valid within the budget.
// Under `budget`, the atlas of `mesh` is valid within the budget and the face
// limit, and the same on one thread as on two.
void ExpectBudgetHoldsOnOneThreadAndTwo(const TriMesh& mesh, double budget) {
    const Atlas one = Unwrap(mesh, 0, budget, 1);
    const Atlas two = Unwrap(mesh, 0, budget, 2);
    ExpectValid(one);
    EXPECT_LE(one.stretch.l2, budget);
    EXPECT_LE(one.stretch.linf, 3.0);
    EXPECT_EQ(one.tex, two.tex);
    EXPECT_EQ(one.ids, two.ids);
}

TEST(ShapedCharts, LargeUnionsOnSeveralThreadsGiveTheSameAtlas) {
    ExpectBudgetHoldsOnOneThreadAndTwo(testmesh::Icosphere(5), 1.09);
}

// The faces of a unit sphere above z = -0.2: more than a hemisphere, a disc
// whose layout squeezes faces near its rim.
std::vector<int> LargeCap(const Prepared& p) {
    std::vector<int> cap;
    for (int f = 0; f < p.adj.faceCount; ++f) {
        const int* t = &p.adj.triangles[3 * f];
        if (p.coords[t[0]].z + p.coords[t[1]].z + p.coords[t[2]].z > -0.6) cap.push_back(f);
    }
    return cap;
}

// A region flattened with a thread to spare gets the layout it gets without
// one: when the conformal start passes, and when it is squeezed past the limit
// and the circle start (made beside it) is tried too.
TEST(ShapedCharts, ASpareThreadLeavesARegionsLayoutAsItIs) {
    const TriMesh sphere = testmesh::Icosphere(4);
    const Prepared p(sphere);
    const std::vector<int> cap = LargeCap(p);
    const std::vector<double> angles = ORVO::_CornerAngles(p.adj, p.coords);
    for (double limit : {3.0, 1.02}) {
        ORVO::StretchBudget budget;
        budget.maxFaceStretch = limit;
        const ORVO::RegionLayout alone = ORVO::_FlattenRegion(p.adj, p.coords, angles, cap, budget, false);
        const ORVO::RegionLayout beside = ORVO::_FlattenRegion(p.adj, p.coords, angles, cap, budget, true);
        EXPECT_EQ(alone.valid, limit > 2.0) << limit;
        EXPECT_EQ(beside.valid, alone.valid) << limit;
        EXPECT_EQ(beside.stretchSum, alone.stretchSum) << limit;
        EXPECT_EQ(beside.cornerUv, alone.cornerUv) << limit;
    }
}

// A region is laid out from the conformal start when that passes, and from
// the circle start alone when asked; the result says which, and a thread to
// spare changes nothing of the circle's layout either.
TEST(ShapedCharts, ARegionLaidOutFromTheCircleSaysSo) {
    const TriMesh sphere = testmesh::Icosphere(4);
    const Prepared p(sphere);
    const std::vector<int> cap = LargeCap(p);
    const std::vector<double> angles = ORVO::_CornerAngles(p.adj, p.coords);
    ORVO::StretchBudget budget;
    const ORVO::RegionLayout conformal = ORVO::_FlattenRegion(p.adj, p.coords, angles, cap, budget, false, false);
    ASSERT_TRUE(conformal.valid);
    EXPECT_FALSE(conformal.fromCircle);
    const ORVO::RegionLayout circle = ORVO::_FlattenRegion(p.adj, p.coords, angles, cap, budget, false, true);
    ASSERT_TRUE(circle.valid);
    EXPECT_TRUE(circle.fromCircle);
    EXPECT_NE(circle.cornerUv, conformal.cornerUv);
    const ORVO::RegionLayout beside = ORVO::_FlattenRegion(p.adj, p.coords, angles, cap, budget, true, true);
    EXPECT_TRUE(beside.fromCircle);
    EXPECT_EQ(beside.cornerUv, circle.cornerUv);
}

// In the strict pass a chart spoiled by a mild spike is relieved around it
// (it used to lose a small patch there): the sheet stays one chart, valid
// and within the stretch limit.
TEST(ShapedCharts, AMildSpikeCostsNoChart) {
    const shapemesh::SpikedSheet sheet(30, {{10, 12}, {20, 17}}, 0.1);
    const Atlas atlas = Unwrap(sheet.mesh, 1, 0.0);
    ExpectValid(atlas);
    EXPECT_EQ(atlas.charts, 1);
    EXPECT_LE(atlas.stretch.linf, 2.5);
}

// Under a budget, seeds that hold a spike cannot lie flat however they are
// joined: the atlas stays valid within the budget and the face limit, and
// the merging, which then flattens such seeds on their own, gives the same
// charts on one thread as on several.
TEST(ShapedCharts, SpikedSeedsUnderABudget) {
    const shapemesh::SpikedSheet sheet(36, {{8, 9}, {9, 27}, {18, 18}, {27, 8}, {28, 26}}, 0.6);
    ExpectBudgetHoldsOnOneThreadAndTwo(sheet.mesh, 1.05);
}

// A steep cone has less than half a turn of surface round its tip, and no
// layout within the face limit keeps the surface whole there. Under a budget
// the tip is opened to the rim by one slit and the cone unrolls, nearly
// without stretch, into one chart; the seam is that slit alone.
TEST(ShapedCharts, ASharpTipCostsASlitNotAChart) {
    const TriMesh cone = shapemesh::OpenCone(24, 8, 3.0);
    const Atlas atlas = Unwrap(cone, 0, 1.05);
    ExpectValid(atlas);
    EXPECT_EQ(atlas.charts, 1);
    EXPECT_LE(atlas.stretch.l2, 1.01);
    EXPECT_LE(atlas.stretch.linf, 3.0);
    const Seams seams = FindSeams(cone, atlas.tex, atlas.ids);
    ASSERT_FALSE(seams.edges.empty());
    const Vector3 tip = cone.GetVertexCoord(0);
    bool fromTip = false;
    for (const auto& edge : seams.edges) fromTip = fromTip || edge.first == tip || edge.second == tip;
    EXPECT_TRUE(fromTip);
    // One slit from the tip down to the rim: as many seam edges as rings.
    EXPECT_EQ(seams.edges.size(), 8u);
}

TEST(ShapedCharts, InvalidBudgetsAreRefused) {
    const TriMesh sphere = testmesh::Icosphere(1);
    for (double budget : {0.5, -1.0, std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
        UVAtlasOptions options;
        options.maxStretch = budget;
        std::vector<double> tex{7.0};
        std::vector<int> ids{7};
        EXPECT_EQ(UnfoldMesh::GenerateUVAtlas(&sphere, options, &tex, &ids), ORVO::STATUS_INVALID_INPUT) << budget;
        EXPECT_EQ(tex, std::vector<double>{7.0});
        EXPECT_EQ(ids, std::vector<int>{7});
    }
}

// On a real scan, at the count xatlas makes there, the seams are no longer
// than xatlas's (0.070 of the edge length) while the stretch stays low.
TEST(ShapedChartsSharedMeshes, SpotAtXatlasCount) {
    TriMesh spot;
    if (!testmesh::LoadObj(testmesh::SharedMesh("spot.obj"), spot)) GTEST_SKIP() << "../shared/meshes/spot.obj not found";
    const Atlas atlas = Unwrap(spot, 39, 0.0);
    ExpectValid(atlas);
    EXPECT_LE(FindSeams(spot, atlas.tex, atlas.ids).ratio, 0.070);
    EXPECT_LE(atlas.stretch.l2, 1.01);
    EXPECT_LE(atlas.stretch.linf, 2.5);
}

// On tower_holes (a scan with holes) under a stretch budget of 1.094, the
// seams stay within 0.008 of the edge length. Most of the unions that take
// them there spread so wide when laid out that distant parts of their
// outline meet; they lie flat once settled without crossing.
TEST(ShapedChartsSharedMeshes, TowerHolesUnderABudgetKeepShortSeams) {
    TriMesh tower;
    if (!testmesh::LoadObj(testmesh::SharedMesh("tower_holes.obj"), tower))
        GTEST_SKIP() << "../shared/meshes/tower_holes.obj not found";
    const Atlas atlas = Unwrap(tower, 0, 1.094);
    ExpectValid(atlas);
    EXPECT_LE(FindSeams(tower, atlas.tex, atlas.ids).ratio, 0.008);
    EXPECT_LE(atlas.stretch.l2, 1.094);
    EXPECT_LE(atlas.stretch.linf, 3.0);
}

}  // namespace
