// The working copy of the options form: welding, orientation, the direct
// layout of tiny pieces, and atlases of inputs as exporters write them.

#include <QarnUVAtlas/UnfoldMesh.h>

#include "AtlasCheck.h"
#include "ExporterMeshes.h"
#include "TestMeshes.h"
#include "unfold/InputRepair.h"
#include "unfold/TinyPiece.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>

namespace {

using ORVO::TriMesh;
using ORVO::UnfoldMesh;
using ORVO::UVAtlasOptions;
using ORVO::UVAtlasReport;
using ORVO::Vector3;

struct Atlas {
    int status = -100;
    std::vector<double> tex;
    std::vector<int> ids;
    UVAtlasReport report;
};

Atlas RunOptions(const TriMesh& mesh, bool repair = true, int charts = 0) {
    UVAtlasOptions options;
    options.chartCount = charts;
    options.weldVertices = repair;
    options.orientFaces = repair;
    Atlas atlas;
    atlas.status = UnfoldMesh::GenerateUVAtlas(&mesh, options, &atlas.tex, &atlas.ids, &atlas.report);
    return atlas;
}

// Which faces the options form turns in its working copy.
std::vector<char> TurnedFaces(const TriMesh& mesh) {
    Vector3 lo = mesh.GetVertexCoord(0), hi = lo;
    for (int v = 0; v < mesh.GetVertexCount(); ++v) {
        const Vector3 p = mesh.GetVertexCoord(v);
        lo = Vector3(std::min(lo.x, p.x), std::min(lo.y, p.y), std::min(lo.z, p.z));
        hi = Vector3(std::max(hi.x, p.x), std::max(hi.y, p.y), std::max(hi.z, p.z));
    }
    ORVO::RepairedInput repaired;
    _RepairInput(&mesh, (hi - lo).Length(), true, true, repaired);
    return repaired.turned;
}

// The caller's mesh with the faces the working copy turned written that way
// too: the surface the atlas was made for, in its consistent orientation.
TriMesh AsOriented(const TriMesh& mesh) {
    const std::vector<char> turned = TurnedFaces(mesh);
    TriMesh out = mesh;
    for (size_t f = 0; f < turned.size(); ++f) {
        if (!turned[f]) continue;
        const int* t = mesh.GetTriangle(static_cast<int>(f));
        out.SetTriangleVertexIds(static_cast<int>(f), t[0], t[2], t[1]);
    }
    return out;
}

std::vector<int> TurnedIds(const TriMesh& mesh, std::vector<int> ids) {
    const std::vector<char> turned = TurnedFaces(mesh);
    for (size_t f = 0; f < turned.size(); ++f) {
        if (turned[f]) std::swap(ids[3 * f + 1], ids[3 * f + 2]);
    }
    return ids;
}

// No overlap, nothing outside the square, no face without texture area, and
// no face flipped against its chart once the turned faces are read turned.
void ExpectValid(const TriMesh& mesh, const Atlas& atlas, const std::string& what) {
    SCOPED_TRACE(what);
    ASSERT_EQ(atlas.status, 0);
    ASSERT_EQ(atlas.ids.size(), 3u * mesh.GetTriangleCount());
    for (int id : atlas.ids) ASSERT_TRUE(id >= 0 && static_cast<size_t>(id) < atlas.tex.size() / 2);
    const atlascheck::Quality q = atlascheck::Judge(AsOriented(mesh), atlas.tex, TurnedIds(mesh, atlas.ids));
    EXPECT_TRUE(q.inUnitSquare);
    EXPECT_EQ(q.overlapping, 0);
    EXPECT_EQ(q.flipped, 0);
    EXPECT_EQ(q.zeroArea, 0);
}

// Every face's texture triangle has the shape of its own 3-D triangle, corner
// for corner in the caller's order, at one scale for all faces: the outputs
// refer to the caller's faces and corners, whatever was welded or turned.
void ExpectCornersFollowTheCaller(const TriMesh& mesh, const Atlas& atlas) {
    double scale = 0.0;
    for (int f = 0; f < mesh.GetTriangleCount(); ++f) {
        const int* t = mesh.GetTriangle(f);
        for (int k = 0; k < 3; ++k) {
            const double* a = &atlas.tex[2 * atlas.ids[3 * f + k]];
            const double* b = &atlas.tex[2 * atlas.ids[3 * f + (k + 1) % 3]];
            const double ratio = std::hypot(b[0] - a[0], b[1] - a[1]) /
                                 mesh.GetVertexCoord(t[k]).Distance(mesh.GetVertexCoord(t[(k + 1) % 3]));
            if (scale == 0.0) scale = ratio;
            ASSERT_NEAR(ratio, scale, 1e-6 * scale) << "face " << f << " edge " << k;
        }
    }
}

TEST(InputWeld, CoincidentAndNearPointsJoinTheLowestKeptVertex) {
    TriMesh mesh;
    mesh.InsertVertex(Vector3(0, 0, 0));         // 0 kept
    mesh.InsertVertex(Vector3(1, 0, 0));         // 1 kept
    mesh.InsertVertex(Vector3(0, 0, 0));         // 2 -> 0, exactly equal
    mesh.InsertVertex(Vector3(1, 0.5e-6, 0));    // 3 -> 1, within the tolerance
    mesh.InsertVertex(Vector3(1, 0, 2e-6));      // 4 kept: twice the tolerance away
    mesh.InsertVertex(Vector3(1, 0, 1.4e-6));    // 5 -> 4 only: too far from 1
    mesh.InsertVertex(Vector3(0, 0, 0.8e-6));    // 6 -> 0
    mesh.InsertVertex(Vector3(0, 0, 1.6e-6));    // 7 kept: near 6, but 6 was merged
    mesh.InsertTriangle(0, 1, 7);
    std::vector<int> kept;
    EXPECT_EQ(ORVO::_WeldVertices(&mesh, 1e-6, kept), 4);
    EXPECT_EQ(kept, (std::vector<int>{0, 1, 0, 1, 4, 4, 0, 7}));
    // Two corners of one face never merge: the face keeps its short edge,
    // and 6, kept now, takes 7 in.
    mesh.InsertTriangle(2, 6, 5);
    EXPECT_EQ(ORVO::_WeldVertices(&mesh, 1e-6, kept), 4);
    EXPECT_EQ(kept, (std::vector<int>{0, 1, 0, 1, 4, 4, 6, 6}));
}

TEST(InputWeld, SplitCornersJoinButDistinctPositionsStayASeam) {
    // Two unit squares side by side whose shared side is written twice.
    auto strip = [](double offset) {
        TriMesh mesh;
        testmesh::AddSquare(mesh);
        const int a = mesh.InsertVertex(Vector3(1 + offset, 0, 0)), b = mesh.InsertVertex(Vector3(2, 0, 0));
        const int c = mesh.InsertVertex(Vector3(2, 1, 0)), d = mesh.InsertVertex(Vector3(1 + offset, 1, 0));
        mesh.InsertTriangle(a, b, c);
        mesh.InsertTriangle(a, c, d);
        return mesh;
    };
    const TriMesh joined = strip(0.0), apart = strip(1e-3);
    Atlas welded = RunOptions(joined), seam = RunOptions(apart), plain = RunOptions(joined, false);
    ExpectValid(joined, welded, "welded");
    ExpectValid(apart, seam, "seam kept");
    EXPECT_EQ(welded.report.chartCount, 1);
    EXPECT_EQ(welded.report.weldedVertices, 2);
    EXPECT_EQ(seam.report.chartCount, 2);
    EXPECT_EQ(seam.report.weldedVertices, 0);
    EXPECT_EQ(plain.report.chartCount, 2);
    EXPECT_EQ(plain.report.weldedVertices, 0);
    ExpectCornersFollowTheCaller(joined, welded);
}

TEST(InputOrient, ReversedFacesAreTurnedBackAndOnlyThey) {
    const TriMesh sphere = testmesh::Icosphere(3);
    const TriMesh mixed = exportmesh::Reversed(sphere, 3, 1);
    std::vector<int> corners;
    for (int f = 0; f < mixed.GetTriangleCount(); ++f) {
        const int* t = mixed.GetTriangle(f);
        corners.insert(corners.end(), t, t + 3);
    }
    std::vector<double> coords;
    for (int v = 0; v < mixed.GetVertexCount(); ++v) {
        const Vector3 p = mixed.GetVertexCoord(v);
        coords.insert(coords.end(), {p.x, p.y, p.z});
    }
    std::vector<char> turned;
    const int count = ORVO::_OrientFaces(corners, coords, mixed.GetVertexCount(), turned);
    EXPECT_EQ(count, (mixed.GetTriangleCount() + 1) / 3);
    for (int f = 0; f < mixed.GetTriangleCount(); ++f) EXPECT_EQ(turned[f] != 0, f % 3 == 1) << f;
}

TEST(InputOrient, OneReversedFaceGivesTheOrientedAtlasWithItsCornersBack) {
    const TriMesh sphere = testmesh::Icosphere(3);
    const TriMesh mixed = exportmesh::Reversed(sphere, 100000, 17);
    Atlas oriented = RunOptions(sphere, true, 12), repaired = RunOptions(mixed, true, 12);
    ExpectValid(mixed, repaired, "one face reversed");
    EXPECT_EQ(repaired.report.turnedFaces, 1);
    // The working copy is the oriented sphere itself: the same atlas, with
    // the reversed face's corners in its own order.
    EXPECT_EQ(repaired.tex, oriented.tex);
    std::vector<int> expected = oriented.ids;
    std::swap(expected[3 * 17 + 1], expected[3 * 17 + 2]);
    EXPECT_EQ(repaired.ids, expected);
}

TEST(InputOrient, MixedAndUnweldedSpheresUnwrapLikeTheOrientedOne) {
    const TriMesh sphere = testmesh::Sphere(1.0, 24, 48);
    const TriMesh mixed = exportmesh::Reversed(sphere, 2);
    const TriMesh unwelded = exportmesh::Unwelded(mixed);
    // At a chart count: automatic charts on a sphere are two or three, where
    // one chart more or less says nothing about the repair.
    Atlas reference = RunOptions(sphere, true, 16);
    ExpectValid(sphere, reference, "oriented");
    for (const TriMesh* input : {&mixed, &unwelded}) {
        Atlas atlas = RunOptions(*input, true, 16);
        ExpectValid(*input, atlas, input == &mixed ? "mixed" : "mixed and unwelded");
        EXPECT_NEAR(atlas.report.chartCount, reference.report.chartCount, 0.1 * reference.report.chartCount);
        EXPECT_GT(atlas.report.utilization, 0.9 * reference.report.utilization);
    }
    // Without the repair every reversed face is cut off from its neighbours.
    EXPECT_GT(RunOptions(mixed, false).report.chartCount, sphere.GetTriangleCount() / 4);
}

TEST(InputOrient, MoebiusStripsUnwrapValidly) {
    const TriMesh strip = exportmesh::MoebiusStrip(60);
    Atlas atlas = RunOptions(strip);
    ExpectValid(strip, atlas, "strip as written");
    // Cut where the caller's faces already disagree: none is turned.
    EXPECT_EQ(atlas.report.turnedFaces, 0);
    EXPECT_GE(atlas.report.chartCount, 1);
    // With faces reversed at random the strip is still cut into valid charts.
    const TriMesh scrambled = exportmesh::Unwelded(exportmesh::Reversed(strip, 3, 2));
    Atlas again = RunOptions(scrambled);
    ExpectValid(scrambled, again, "scrambled strip");
    EXPECT_GT(again.report.turnedFaces, 0);
    EXPECT_LE(again.report.chartCount, 4);
}

TEST(InputOrient, TurnedAndWeldedFacesKeepTheCallersCorners) {
    // A flat sheet of uneven triangles lays out without distortion, so each
    // face's texture triangle must repeat its own shape corner for corner.
    TriMesh sheet = testmesh::Grid(10, 8);
    for (int v = 0; v < sheet.GetVertexCount(); ++v) {
        const Vector3 p = sheet.GetVertexCoord(v);
        sheet.SetVertexCoord(v, Vector3(p.x * p.x + 0.3 * p.y, p.y + 0.2 * p.x * p.y, 0.0));
    }
    const TriMesh written = exportmesh::Unwelded(exportmesh::Reversed(sheet, 2, 1));
    Atlas atlas = RunOptions(written, true, 1);
    ExpectValid(written, atlas, "sheet");
    EXPECT_EQ(atlas.report.chartCount, 1);
    EXPECT_EQ(atlas.report.turnedFaces, sheet.GetTriangleCount() / 2);
    ExpectCornersFollowTheCaller(written, atlas);
}

TEST(InputWeld, CutLinesFollowTheWeldedVertices) {
    // A flat sheet written with three vertices per face, cut across its
    // middle by a line given in the caller's ids (one of the copies of each
    // point): the cut still parts the sheet in two.
    const TriMesh sheet = testmesh::Grid(8, 8);
    const TriMesh written = exportmesh::Unwelded(sheet);
    std::vector<int> line;
    for (int j = 0; j <= 8; ++j) {
        const int original = j * 9 + 4;
        for (int f = 0, found = 0; f < sheet.GetTriangleCount() && !found; ++f) {
            for (int k = 0; k < 3 && !found; ++k) {
                if (sheet.GetTriangle(f)[k] == original) {
                    line.push_back(3 * f + k);
                    found = 1;
                }
            }
        }
    }
    const std::vector<std::vector<int>> lines{line};
    UVAtlasOptions options;
    options.chartCount = 1;
    options.initSplitLines = &lines;
    Atlas atlas;
    atlas.status = UnfoldMesh::GenerateUVAtlas(&written, options, &atlas.tex, &atlas.ids, &atlas.report);
    ExpectValid(written, atlas, "cut sheet");
    EXPECT_EQ(atlas.report.chartCount, 2);
    ExpectCornersFollowTheCaller(written, atlas);
}

TEST(TinyPieces, DevelopablePiecesAreLaidOutExactly) {
    // A flat fan of six faces around a vertex, lifted into a tent: still
    // developable along its open side.
    TriMesh fan;
    fan.InsertVertex(Vector3(0, 0, 0.3));
    for (int k = 0; k < 6; ++k) fan.InsertVertex(Vector3(std::cos(k * 1.0), std::sin(k * 1.0), 0.0));
    for (int k = 0; k < 5; ++k) fan.InsertTriangle(0, 1 + k, 2 + k);
    std::vector<int> faces{0, 1, 2, 3, 4};
    std::unique_ptr<TriMesh> chart;
    std::vector<double> uv;
    ASSERT_TRUE(ORVO::_FlattenTinyPiece(&fan, faces, Vector3(), 2.0, chart, uv));
    ASSERT_EQ(chart->GetVertexCount(), 7);
    ASSERT_EQ(uv.size(), 14u);
    for (int f = 0; f < chart->GetTriangleCount(); ++f) {
        const int* t = chart->GetTriangle(f);
        const double* a = &uv[2 * t[0]];
        const double* b = &uv[2 * t[1]];
        const double* c = &uv[2 * t[2]];
        EXPECT_GT((b[0] - a[0]) * (c[1] - a[1]) - (b[1] - a[1]) * (c[0] - a[0]), 0.0);
        for (int k = 0; k < 3; ++k) {
            const double* p = &uv[2 * t[k]];
            const double* q = &uv[2 * t[(k + 1) % 3]];
            EXPECT_NEAR(std::hypot(q[0] - p[0], q[1] - p[1]),
                        2.0 * fan.GetVertexCoord(fan.GetTriangle(f)[k]).Distance(
                                  fan.GetVertexCoord(fan.GetTriangle(f)[(k + 1) % 3])),
                        1e-12);
        }
    }
}

TEST(TinyPieces, PiecesTheLayoutCannotTakeAreRefused) {
    std::unique_ptr<TriMesh> chart;
    std::vector<double> uv;
    // A closed cone of five equilateral faces: the last face would put the
    // first edge somewhere else.
    TriMesh cone;
    cone.InsertVertex(Vector3(0, 0, 0.8));
    for (int k = 0; k < 5; ++k) cone.InsertVertex(Vector3(std::cos(k * 2 * M_PI / 5), std::sin(k * 2 * M_PI / 5), 0));
    for (int k = 0; k < 5; ++k) cone.InsertTriangle(0, 1 + k, 1 + (k + 1) % 5);
    EXPECT_FALSE(ORVO::_FlattenTinyPiece(&cone, {0, 1, 2, 3, 4}, Vector3(), 1.0, chart, uv));
    // A fan wound almost twice around its vertex would overlap itself.
    TriMesh spiral;
    spiral.InsertVertex(Vector3(0, 0, 0));
    for (int k = 0; k <= 11; ++k) {
        const double r = 1.0 + 0.05 * k;
        spiral.InsertVertex(Vector3(r * std::cos(k * 1.1), r * std::sin(k * 1.1), 0.02 * k));
    }
    std::vector<int> faces;
    for (int k = 0; k < 11; ++k) faces.push_back(spiral.InsertTriangle(0, 1 + k, 2 + k));
    EXPECT_FALSE(ORVO::_FlattenTinyPiece(&spiral, faces, Vector3(), 1.0, chart, uv));
    // Two faces running their shared edge the same way.
    TriMesh clash;
    testmesh::AddSquare(clash);
    clash.SetTriangleVertexIds(1, 0, 3, 2);
    EXPECT_FALSE(ORVO::_FlattenTinyPiece(&clash, {0, 1}, Vector3(), 1.0, chart, uv));
    // A sliver.
    TriMesh sliver;
    sliver.InsertVertex(Vector3(0, 0, 0));
    sliver.InsertVertex(Vector3(1, 0, 0));
    sliver.InsertVertex(Vector3(0.5, 1e-9, 0));
    sliver.InsertTriangle(0, 1, 2);
    EXPECT_FALSE(ORVO::_FlattenTinyPiece(&sliver, {0}, Vector3(), 1.0, chart, uv));
    EXPECT_FALSE(chart);
    EXPECT_TRUE(uv.empty());
}

TEST(TinyPieces, ThousandsOfFragmentsGiveOneExactChartEach) {
    const TriMesh fragments = exportmesh::Fragments(2200, 7);
    Atlas atlas = RunOptions(fragments);
    ExpectValid(fragments, atlas, "fragments");
    EXPECT_EQ(atlas.report.chartCount, fragments.GetTriangleCount());
    ExpectCornersFollowTheCaller(fragments, atlas);
    EXPECT_GT(atlas.report.utilization, 0.45);
}

TEST(InputRepair, PlainFormKeepsTheInputAsItIs) {
    // The plain form neither welds nor orients: every reversed face of the
    // grid stays a chart of its own, as it always did.
    const TriMesh sheet = testmesh::Grid(6, 6);
    const TriMesh mixed = exportmesh::Reversed(sheet, 2);
    std::vector<double> tex;
    std::vector<int> ids;
    ASSERT_EQ(UnfoldMesh::GenerateUVAtlas(&mixed, 4, &tex, &ids, false, false, false, nullptr), 0);
    const atlascheck::Quality q = atlascheck::Judge(mixed, tex, ids);
    EXPECT_GE(q.charts, mixed.GetTriangleCount() / 2);
    Atlas repaired = RunOptions(mixed, true, 4);
    EXPECT_LE(repaired.report.chartCount, 4);
}

}  // namespace
