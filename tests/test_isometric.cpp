#include <QarnUVAtlas/DenseMatrix.h>
#include <QarnUVAtlas/FillMeshHole.h>
#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/TriMesh.h>
#include <QarnUVAtlas/UnfoldMesh.h>

#include "FlattenMeshes.h"
#include "foundation/ApiProgress.h"
#include "numerics/Rotation2x2.h"
#include "unfold/AtlasStatistics.h"
#include "unfold/flattening/IsometricFrame.h"
#include "unfold/flattening/ChartLayout.h"
#include "unfold/flattening/ChartStarts.h"
#include "unfold/flattening/IsometricSystem.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <thread>
#include <vector>

using ORVO::TriMesh;
using ORVO::UnfoldMesh;
using ORVO::Vector2;
using ORVO::Vector3;
using namespace flatten_test;

namespace {

// Conformal layout, then the isometric optimisation; both must succeed.
void Flatten(const TriMesh& mesh, int iterations, std::vector<double>* conformal, std::vector<double>* isometric) {
    ASSERT_EQ(UnfoldMesh::ConformalMap(&mesh, nullptr, nullptr, conformal), 0);
    *isometric = *conformal;
    ASSERT_EQ(UnfoldMesh::OptimizeIsometric(&mesh, isometric, iterations, nullptr), 0);
}

// Distortion drops and nothing flips, for the patch and the iteration count given.
void ExpectLessAreaDistortion(const TriMesh& mesh, int iterations, const std::string& what) {
    std::vector<double> conformal, isometric;
    Flatten(mesh, iterations, &conformal, &isometric);
    const double before = AreaDistortion(mesh, conformal);
    const double after = AreaDistortion(mesh, isometric);
    EXPECT_LT(after, 0.8 * before) << what << ": conformal " << before << ", isometric " << after;
    EXPECT_EQ(FlippedCount(mesh, conformal), 0) << what;
    EXPECT_EQ(FlippedCount(mesh, isometric), 0) << what;
    // Lengths, not only areas, come closer to the surface's.
    EXPECT_LT(WorstEdgeStretch(mesh, isometric), WorstEdgeStretch(mesh, conformal)) << what;
}

// ---- what the optimisation does on real surfaces --------------------------------

TEST(OptimizeIsometric, DevelopablePiecesBecomeIsometries) {
    const TriMesh pieces[] = {MakeCylinderPiece(6, 2.4, 1.0, 1.5, 4, 12, 21u),
                              MakeCylinderPiece(9, 4.5, 0.7, 2.0, 3, 15, 22u), MakeConePiece(5, 2.0, 3, 10, 23u)};
    for (const TriMesh& mesh : pieces) {
        std::vector<double> conformal, isometric;
        Flatten(mesh, 7, &conformal, &isometric);
        // The conformal layout is off by the pin scale; the optimisation removes it.
        EXPECT_GT(WorstEdgeStretch(mesh, conformal), 1e-4);
        EXPECT_LT(WorstEdgeStretch(mesh, isometric), 1e-6);
        EXPECT_EQ(FlippedCount(mesh, isometric), 0);
    }
}

TEST(OptimizeIsometric, CurvedSpherePatchGetsLessAreaDistortion) {
    ExpectLessAreaDistortion(MakeSpherePatch(30, 1.6, 31u), 7, "sphere patch");
    ExpectLessAreaDistortion(MakeSpherePatch(20, 1.2, 32u), 20, "strongly curved sphere patch");
}

TEST(OptimizeIsometric, ScannedDiscsGetLessAreaDistortion) {
    const std::string dir = std::string(QARN_SHARED_DIR) + "/meshes/";
    int tested = 0;
    for (const char* name : {"bunny.obj", "igea.obj"}) {
        // Chart-like discs: no more curved than a cap of about 70 degrees.
        const std::vector<TriMesh> discs = ScannedDiscs(dir + name, 3000, 4, 0.6);
        for (size_t k = 0; k < discs.size(); ++k) {
            ASSERT_EQ(discs[k].GetTriangleCount(), 3000);
            ExpectLessAreaDistortion(discs[k], 7, std::string(name) + " disc " + std::to_string(k));
            ++tested;
        }
    }
    if (tested == 0) GTEST_SKIP() << "no scanned mesh under " << dir;
    EXPECT_GE(tested, 4);
}

TEST(OptimizeIsometric, ReportsProgressAndAddsToTheRunningTotals) {
    const TriMesh mesh = MakeSpherePatch(20, 1.6, 33u);
    std::vector<double> uv;
    ASSERT_EQ(UnfoldMesh::ConformalMap(&mesh, nullptr, nullptr, &uv), 0);
    ORVO::AtlasStatistics& totals = ORVO::_AtlasStatistics();
    const double calls = totals.isometricCalls.load(), seconds = totals.isometricSeconds.load();
    ORVO::ResetApiProgress();
    ASSERT_EQ(UnfoldMesh::OptimizeIsometric(&mesh, &uv, 3, nullptr), 0);
    EXPECT_EQ(ORVO::GetApiProgress(), 1.0);
    EXPECT_EQ(totals.isometricCalls.load(), calls + 1.0);
    EXPECT_GT(totals.isometricSeconds.load(), seconds);
}

// A system prepared once serves several starts: each run ends where a fresh
// optimisation from that start ends, and on a developable piece every start
// becomes the isometry (nothing of an earlier run is carried into the next).
TEST(OptimizeIsometric, OnePreparedSystemServesSeveralStarts) {
    const TriMesh mesh = MakeCylinderPiece(6, 2.4, 1.0, 1.5, 4, 12, 21u);
    std::vector<double> conformal;
    ASSERT_EQ(UnfoldMesh::ConformalMap(&mesh, nullptr, nullptr, &conformal), 0);
    // A second start: the conformal one turned, squashed and shifted.
    std::vector<double> squashed(conformal.size());
    for (size_t v = 0; 2 * v < conformal.size(); ++v) {
        squashed[2 * v] = 0.3 * conformal[2 * v] - 0.9 * conformal[2 * v + 1] + 2.0;
        squashed[2 * v + 1] = 0.6 * conformal[2 * v] + 0.2 * conformal[2 * v + 1];
    }
    ORVO::IsometricSystem system;
    std::vector<double> unused = conformal;
    EXPECT_EQ(system.Run(unused, 7), ORVO::STATUS_NOT_INITIALISED);
    EXPECT_EQ(unused, conformal);
    EXPECT_EQ(system.Prepare(TriMesh(), nullptr), ORVO::STATUS_INVALID_INPUT);
    EXPECT_FALSE(system.Prepared());
    ASSERT_EQ(system.Prepare(mesh, nullptr), 0);
    for (const std::vector<double>* start : {&conformal, &squashed, &conformal}) {
        std::vector<double> reused = *start, fresh = *start;
        ASSERT_EQ(system.Run(reused, 7), 0);
        ASSERT_EQ(UnfoldMesh::OptimizeIsometric(&mesh, &fresh, 7, nullptr), 0);
        EXPECT_EQ(reused, fresh);
        EXPECT_LT(WorstEdgeStretch(mesh, reused), 1e-6);
        EXPECT_EQ(FlippedCount(mesh, reused), 0);
    }
}

// Both starts of a chart come out the same whether the system and the circle
// start are made on a thread beside the conformal start or after it, and in
// either order of asking.
TEST(OptimizeIsometric, ChartStartsMadeBesideMatchThoseMadeInTurn) {
    const TriMesh patch = MakeSpherePatch(30, 1.1, 61u);
    std::vector<std::vector<int>> holes;
    ASSERT_EQ(ORVO::FillMeshHole::FindHoles(&patch, &holes), 0);
    ASSERT_EQ(holes.size(), 1u);
    std::vector<double> conformal[2], circle[2];
    for (int beside = 0; beside < 2; ++beside) {
        ORVO::ChartStarts starts(patch, holes, true, nullptr, true, beside == 1);
        int status = -1;
        ASSERT_TRUE(starts.Conformal(conformal[beside], status));
        EXPECT_EQ(status, 0);
        ASSERT_TRUE(starts.Circle(circle[beside]));
        EXPECT_FALSE(starts.Circle(circle[beside])) << "the circle start is handed over once";
    }
    EXPECT_EQ(conformal[1], conformal[0]);
    EXPECT_EQ(circle[1], circle[0]);
    // The same layouts as the one-call flattenings give.
    std::vector<double> uv;
    bool accept = false;
    ASSERT_TRUE(ORVO::_FlattenChart(patch, holes, true, true, uv, accept));
    EXPECT_EQ(uv, conformal[0]);
    ASSERT_TRUE(ORVO::_FlattenChartFromCircle(patch, holes, uv));
    EXPECT_EQ(uv, circle[0]);
    EXPECT_EQ(FlippedCount(patch, circle[0]), 0);
    // Asked for the circle first, or not at all: the thread beside is still
    // waited for, and a chart without one loop has no circle start.
    {
        ORVO::ChartStarts starts(patch, holes, true, nullptr, true, true);
        std::vector<double> first;
        ASSERT_TRUE(starts.Circle(first));
        EXPECT_EQ(first, circle[0]);
    }
    { ORVO::ChartStarts unused(patch, holes, true, nullptr, true, true); }
    const std::vector<std::vector<int>> none;
    ORVO::ChartStarts closed(patch, none, true, nullptr, true, true);
    std::vector<double> nothing;
    EXPECT_FALSE(closed.Circle(nothing));
}

// ---- settling without crossing the outline ------------------------------------------

// A flat-faceted strip wound round a low cone through 8 radians: it unrolls
// into a ring sector of about 435 degrees, whose ends lap over each other.
TriMesh LappingConeStrip() {
    const int facets = 30;
    const Vector3 apex(0.0, 0.0, 0.5);
    std::vector<Vector3> inner, outer;
    for (int k = 0; k <= facets; ++k) {
        const double t = 8.0 * k / facets;
        const Vector3 base(1.5 * std::cos(t), 1.5 * std::sin(t), 0.0);
        inner.push_back(apex + (base - apex) * 0.2);
        outer.push_back(base);
    }
    return MakeFoldedStrip(inner, outer, 2, 10, 71u);
}

// Settled freely from the circle start the lapping strip nears its isometry,
// and its outline crosses; settled from the same start without crossing it
// stays one sheet (no face flipped, none over another) and still loses most of
// the start's distortion.
TEST(OptimizeIsometric, ACircleStartSettledWithoutCrossingStaysOneSheet) {
    const TriMesh strip = LappingConeStrip();
    std::vector<std::vector<int>> holes;
    ASSERT_EQ(ORVO::FillMeshHole::FindHoles(&strip, &holes), 0);
    ASSERT_EQ(holes.size(), 1u);
    const int steps = 100;
    std::vector<double> start;
    ASSERT_TRUE(ORVO::_CircleStart(strip, holes, start));
    ORVO::IsometricSystem system;
    ASSERT_EQ(system.Prepare(strip, nullptr), 0);
    std::vector<double> free = start;
    ASSERT_EQ(ORVO::_SettleLayout(strip, free, steps, &system), 0);
    ASSERT_TRUE(ORVO::_BoundaryCrossesItself(holes, free));

    std::vector<double> uv = start;
    ASSERT_TRUE(ORVO::_SettleWithoutCrossing(strip, holes, uv, steps, system));
    EXPECT_EQ(FlippedCount(strip, uv), 0);
    EXPECT_FALSE(ORVO::_BoundaryCrossesItself(holes, uv));
    EXPECT_FALSE(ORVO::_OverlapTest(strip, uv, nullptr));
    std::vector<double> scaledStart = start;
    ORVO::_MatchSurfaceArea(strip, scaledStart);
    EXPECT_LT(AreaDistortion(strip, uv), 0.3 * AreaDistortion(strip, scaledStart));

    // A start that crosses already is refused and left as it is, and so is
    // any start with a system not prepared.
    std::vector<double> crossed = free;
    EXPECT_FALSE(ORVO::_SettleWithoutCrossing(strip, holes, crossed, steps, system));
    EXPECT_EQ(crossed, free);
    ORVO::IsometricSystem unprepared;
    std::vector<double> untouched = start;
    EXPECT_FALSE(ORVO::_SettleWithoutCrossing(strip, holes, untouched, steps, unprepared));
    EXPECT_EQ(untouched, start);
}

// Where the free settling never crosses, settling without crossing takes every
// step whole: a developable piece becomes the same isometry either way.
TEST(OptimizeIsometric, WithoutCrossingADevelopablePieceStillBecomesAnIsometry) {
    const TriMesh piece = MakeCylinderPiece(6, 2.4, 1.0, 1.5, 4, 12, 21u);
    std::vector<std::vector<int>> holes;
    ASSERT_EQ(ORVO::FillMeshHole::FindHoles(&piece, &holes), 0);
    std::vector<double> start;
    ASSERT_TRUE(ORVO::_CircleStart(piece, holes, start));
    ORVO::IsometricSystem system;
    ASSERT_EQ(system.Prepare(piece, nullptr), 0);
    const int steps = 40;
    std::vector<double> guarded = start;
    ASSERT_TRUE(ORVO::_SettleWithoutCrossing(piece, holes, guarded, steps, system));
    // The free settling from the same start at the same scale.
    std::vector<double> free = start;
    ORVO::_MatchSurfaceArea(piece, free);
    ASSERT_EQ(ORVO::_SettleLayout(piece, free, steps, &system), 0);
    EXPECT_LT(WorstEdgeStretch(piece, guarded), 1e-3);
    for (size_t k = 0; k < free.size(); ++k) EXPECT_NEAR(guarded[k], free[k], 1e-9) << k;
}

// ---- pins and fixed points -------------------------------------------------------

TEST(OptimizeIsometric, AnExactIsometricLayoutStaysWhereItIs) {
    // A jittered flat grid in z = 0 laid out as itself, turned and moved.
    const TriMesh mesh =
        MakeFoldedStrip({Vector3(0, 0, 0), Vector3(3, 0, 0)}, {Vector3(0, 2, 0), Vector3(3, 2, 0)}, 15, 10, 34u);
    const double c = std::cos(0.7), s = std::sin(0.7);
    std::vector<double> uv;
    for (int v = 0; v < mesh.GetVertexCount(); ++v) {
        const Vector3 p = mesh.GetVertexCoord(v);
        uv.push_back(c * p.x - s * p.y + 4.0);
        uv.push_back(s * p.x + c * p.y - 1.5);
    }
    const std::vector<double> start = uv;
    ASSERT_EQ(UnfoldMesh::OptimizeIsometric(&mesh, &uv, 9, nullptr), 0);
    ASSERT_EQ(uv.size(), start.size());
    for (size_t k = 0; k < uv.size(); ++k) EXPECT_NEAR(uv[k], start[k], 1e-10) << k;
}

TEST(OptimizeIsometric, PinnedVerticesKeepTheirInput) {
    const TriMesh mesh = MakeSpherePatch(12, 1.6, 35u);
    std::vector<double> conformal;
    ASSERT_EQ(UnfoldMesh::ConformalMap(&mesh, nullptr, nullptr, &conformal), 0);
    int ids[3];
    mesh.GetTriangleVertexIds(0, ids);
    // Without pins the first vertex of triangle 0 stays; explicit pins are kept even when off.
    const std::vector<int> explicitPins = {5, 77, mesh.GetVertexCount() - 1};
    for (const std::vector<int>* pins : {static_cast<const std::vector<int>*>(nullptr), &explicitPins}) {
        std::vector<double> uv = conformal;
        for (double& x : uv) x = 3.0 * x + 0.25;  // far from the optimum
        const std::vector<double> start = uv;
        ASSERT_EQ(UnfoldMesh::OptimizeIsometric(&mesh, &uv, 5, pins), 0);
        for (int p : pins ? *pins : std::vector<int>{ids[0]}) {
            EXPECT_EQ(uv[2 * p], start[2 * p]);
            EXPECT_EQ(uv[2 * p + 1], start[2 * p + 1]);
        }
        EXPECT_NE(uv, start);
        EXPECT_TRUE(AllFinite(uv));
    }
}

// ---- weights ---------------------------------------------------------------------

TEST(OptimizeIsometric, NeedleAnglesGetTheClampedCotangent) {
    // The angle at A is about 2e-9 degrees, far below the 0.001 degree floor.
    const Vector3 a(0, 0, 0), b(1, 0, 0), c(0.5, 1e-11, 0);
    const ORVO::IsometricTriangleFrame t = ORVO::_IsometricTriangleFrame(a, b, c, Vector3(0, 0, 1));
    EXPECT_NEAR(t.cotA, 57295.8, 0.05);
    EXPECT_NEAR(t.cotB, 57295.8, 0.05);
    EXPECT_NEAR(t.cotC, -57295.8, 0.05);  // the opposite angle is nearly straight
    // Ordinary angles are untouched: a right isosceles triangle.
    const ORVO::IsometricTriangleFrame r =
        ORVO::_IsometricTriangleFrame(a, Vector3(2, 0, 0), Vector3(0, 2, 0), Vector3(0, 0, 1));
    EXPECT_NEAR(r.cotA, 0.0, 1e-12);
    EXPECT_NEAR(r.cotB, 1.0, 1e-12);
    EXPECT_NEAR(r.cotC, 1.0, 1e-12);
}

TEST(OptimizeIsometric, AFlatChartWithANeedleIsStillLaidOutExactly) {
    // Triangle 0 has an angle of about 0.0006 degrees at vertex 0: its weight
    // is the clamped cotangent, large but finite, and the flat chart still
    // comes out as an isometry.
    TriMesh mesh;
    for (const Vector3& p : {Vector3(0, 0, 0), Vector3(1000, 0, 0), Vector3(1000, 0.01, 0), Vector3(500, 300, 0),
                             Vector3(500, -250, 0), Vector3(1300, 150, 0)})
        mesh.InsertVertex(p);
    for (const auto& t : {std::vector<int>{0, 1, 2}, {0, 2, 3}, {1, 0, 4}, {1, 5, 2}, {2, 5, 3}})
        mesh.InsertTriangle(t[0], t[1], t[2]);
    std::vector<double> conformal, isometric;
    Flatten(mesh, 7, &conformal, &isometric);
    EXPECT_TRUE(AllFinite(isometric));
    EXPECT_LT(WorstEdgeStretch(mesh, isometric), 1e-6);
    EXPECT_EQ(FlippedCount(mesh, isometric), 0);
}

TEST(OptimizeIsometric, ClosedFormRotationEqualsTheGeneralNearestOrthogonalMatrix) {
    // Matrices like those of the local step: near rotations, scaled, sheared,
    // nearly singular, with and without a reflection part.
    std::mt19937 rng(38u);
    std::uniform_real_distribution<double> angle(-3.14159, 3.14159), scale(0.01, 5.0), noise(-1.0, 1.0);
    for (int k = 0; k < 2000; ++k) {
        const double t = angle(rng), sx = scale(rng), sy = (k % 7 == 0 ? 1e-9 : scale(rng));
        const double shear = (k % 3) * noise(rng);
        // S = R(t) * [[sx, shear], [0, sy]]
        const double ct = std::cos(t), st = std::sin(t);
        std::vector<double> s = {ct * sx, ct * shear - st * sy, st * sx, st * shear + ct * sy};
        if (k % 5 == 0)
            for (double& e : s) e += 0.3 * noise(rng);
        std::vector<double> general;
        ASSERT_EQ(ORVO::OrthgonalApproximation(s, 2, 2, &general), 0);
        double r[4];
        if (!ORVO::_NearestRotation2x2(s.data(), r)) continue;  // every rotation equally near
        for (int i = 0; i < 4; ++i) EXPECT_NEAR(r[i], general[i], 1e-9) << "matrix " << k;
    }
}

// ---- arguments -------------------------------------------------------------------

TEST(OptimizeIsometric, InvalidArgumentsLeaveTheLayoutUntouched) {
    ORVO::LogSystem::SetLogFileName("test_isometric_args.txt");
    const TriMesh mesh = MakeSpherePatch(4, 1.6, 39u);
    std::vector<double> uv(2 * mesh.GetVertexCount(), 0.5);
    const std::vector<double> start = uv;
    EXPECT_EQ(UnfoldMesh::OptimizeIsometric(&mesh, &uv, 0, nullptr), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(UnfoldMesh::OptimizeIsometric(nullptr, &uv, 1, nullptr), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(UnfoldMesh::OptimizeIsometric(&mesh, nullptr, 1, nullptr), ORVO::STATUS_INVALID_INPUT);
    TriMesh noTriangles;
    for (int k = 0; k < 4; ++k) noTriangles.InsertVertex(Vector3(k, 0, 1));
    EXPECT_EQ(UnfoldMesh::OptimizeIsometric(&noTriangles, &uv, 1, nullptr), ORVO::STATUS_INVALID_INPUT);
    std::vector<double> tooShort(5, 1.0);
    EXPECT_EQ(UnfoldMesh::OptimizeIsometric(&mesh, &tooShort, 1, nullptr), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(tooShort, std::vector<double>(5, 1.0));
    EXPECT_EQ(uv, start);
    const std::string log = ReadFile("test_isometric_args.txt");
    EXPECT_EQ(log.rfind("UnfoldMesh::Optimize2Isometric invalid iterationCount: 0\n", 0), 0u) << log;
    EXPECT_NE(log.find("UnfoldMesh::Optimize2Isometric invalid uvCoords size: 5\n"), std::string::npos) << log;
}

TEST(OptimizeIsometric, AVertexInNoTriangleMakesTheLaplacianSingular) {
    ORVO::LogSystem::SetLogFileName("test_isometric_singular.txt");
    TriMesh mesh = MakeSpherePatch(3, 1.6, 40u);
    mesh.InsertVertex(Vector3(9, 9, 9));
    std::vector<double> uv(2 * mesh.GetVertexCount(), 0.25);
    const std::vector<double> start = uv;
    EXPECT_EQ(UnfoldMesh::OptimizeIsometric(&mesh, &uv, 2, nullptr), ORVO::STATUS_FAILED);
    EXPECT_EQ(uv, start);
    EXPECT_EQ(ReadFile("test_isometric_singular.txt"),
              "UnfoldMesh::Optimize2Isometric::Sparse Matrix Factorize Failed\n");
}

// ---- threads -----------------------------------------------------------------------

TEST(OptimizeIsometric, ChartsFlattenedOnSeveralThreadsAtOnceMatchTheSequentialResults) {
    // As in the atlas: progress is suspended while region tasks run.
    std::vector<TriMesh> charts;
    for (unsigned k = 0; k < 6; ++k) charts.push_back(MakeSpherePatch(14 + 2 * k, 1.3 + 0.1 * k, 50u + k));
    auto run = [](const TriMesh& chart, std::vector<double>* out) {
        std::vector<double> uv;
        if (UnfoldMesh::ConformalMap(&chart, nullptr, nullptr, &uv) != 0) return;
        if (UnfoldMesh::OptimizeIsometric(&chart, &uv, 7, nullptr) == 0) *out = uv;
    };
    ORVO::ApiProgress::Get().Suspend();
    std::vector<std::vector<double>> sequential(charts.size()), parallel(charts.size());
    for (size_t k = 0; k < charts.size(); ++k) run(charts[k], &sequential[k]);
    std::vector<std::thread> threads;
    for (size_t k = 0; k < charts.size(); ++k) threads.emplace_back(run, std::cref(charts[k]), &parallel[k]);
    for (std::thread& t : threads) t.join();
    ORVO::ApiProgress::Get().Resume();
    for (size_t k = 0; k < charts.size(); ++k) {
        ASSERT_FALSE(sequential[k].empty()) << k;
        std::vector<Vector2> points;
        for (int v = 0; v < charts[k].GetVertexCount(); ++v) points.push_back(Uv(sequential[k], v));
        std::vector<int> tris;
        for (int f = 0; f < charts[k].GetTriangleCount(); ++f) {
            const int* t = charts[k].GetTriangle(f);
            tris.insert(tris.end(), t, t + 3);
        }
        EXPECT_FALSE(ORVO::IsTriMesh2DOverlapped(points, tris, true, nullptr, nullptr)) << k;
        EXPECT_EQ(parallel[k], sequential[k]) << k;
    }
}

}  // namespace
