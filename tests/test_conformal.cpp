#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/TriMesh.h>
#include <QarnUVAtlas/UnfoldMesh.h>

#include "FlattenMeshes.h"
#include "TestMeshes.h"
#include "unfold/AtlasStatistics.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

using ORVO::TriMesh;
using ORVO::UnfoldMesh;
using ORVO::Vector2;
using ORVO::Vector3;
using namespace flatten_test;

namespace {

// ---- what the map does on real surfaces -----------------------------------------

TEST(ConformalMap, DevelopablePiecesComeOutAsOneSimilarity) {
    // A flat-foldable surface has an exactly conformal layout, its unfolding;
    // the two automatic pins lie sqrt(2) / 1.414 times their 3-D distance apart,
    // so every edge is stretched by exactly that factor.
    const double scale = std::sqrt(2.0) / 1.414;
    for (const TriMesh& mesh : {MakeCylinderPiece(6, 2.4, 1.0, 1.5, 4, 12, 11u), MakeConePiece(5, 2.0, 3, 10, 12u)}) {
        std::vector<double> uv;
        ASSERT_EQ(UnfoldMesh::ConformalMap(&mesh, nullptr, nullptr, &uv), 0);
        ASSERT_EQ(uv.size(), 2u * mesh.GetVertexCount());
        EXPECT_LT(WorstEdgeStretch(mesh, uv, scale), 1e-9);
        EXPECT_EQ(FlippedCount(mesh, uv), 0);
    }
}

TEST(ConformalMap, ReportsProgressAndAddsToTheRunningTotal) {
    const TriMesh mesh = MakeSpherePatch(30, 1.6, 6u);
    std::vector<double> uv;
    ORVO::ResetApiProgress();
    const double before = ORVO::_AtlasStatistics().conformalSeconds.load();
    ASSERT_EQ(UnfoldMesh::ConformalMap(&mesh, nullptr, nullptr, &uv), 0);
    EXPECT_EQ(ORVO::GetApiProgress(), 1.0);
    EXPECT_GT(ORVO::_AtlasStatistics().conformalSeconds.load(), before);
}

// ---- pins -----------------------------------------------------------------

TEST(ConformalMap, SingleTriangleIsPinnedOnTheDiagonalAndKeepsItsShape) {
    TriMesh mesh;
    const Vector3 p0(0.5, -1, 2), p1(3, 0, 1), p2(1, 2, 0.5);
    for (const Vector3& p : {p0, p1, p2}) mesh.InsertVertex(p);
    mesh.InsertTriangle(0, 1, 2);
    std::vector<double> uv;
    ASSERT_EQ(UnfoldMesh::ConformalMap(&mesh, nullptr, nullptr, &uv), 0);
    const double d = p0.Distance(p1) / 1.414;
    EXPECT_EQ(uv[0], 0.0);
    EXPECT_EQ(uv[1], 0.0);
    EXPECT_EQ(uv[2], d);
    EXPECT_EQ(uv[3], d);
    // The third corner makes a similar, counter-clockwise triangle.
    const double scale = Uv(uv, 1).Length() / p0.Distance(p1);
    EXPECT_NEAR(Uv(uv, 2).Length() / p0.Distance(p2), scale, 1e-12);
    EXPECT_NEAR(Uv(uv, 2).Distance(Uv(uv, 1)) / p1.Distance(p2), scale, 1e-12);
    const int ids[3] = {0, 1, 2};
    EXPECT_GT(SignedUvArea(uv, ids), 0.0);
}

TEST(ConformalMap, ExplicitPinsAreReproducedExactly) {
    const TriMesh mesh = MakeSpherePatch(16, 1.6, 7u);
    const int last = mesh.GetVertexCount() - 1;
    const std::vector<int> pins = {0, 16, last};
    const std::vector<double> coords = {0.1, -0.2, 1.9, 0.3, 1.2, 2.05};
    std::vector<double> uv = {5.0, 6.0};
    ASSERT_EQ(UnfoldMesh::ConformalMap(&mesh, &pins, &coords, &uv), 0);
    ASSERT_EQ(uv.size(), 2u * mesh.GetVertexCount());
    for (size_t k = 0; k < pins.size(); ++k) {
        EXPECT_EQ(uv[2 * pins[k]], coords[2 * k]);
        EXPECT_EQ(uv[2 * pins[k] + 1], coords[2 * k + 1]);
    }
    EXPECT_TRUE(AllFinite(uv));
    EXPECT_EQ(FlippedCount(mesh, uv), 0);
}

TEST(ConformalMap, ClosedMeshHasNoBoundaryToPin) {
    ORVO::LogSystem::SetLogFileName("test_conformal_closed.txt");
    const TriMesh mesh = testmesh::Icosphere(0);
    std::vector<double> uv = {42.0};
    EXPECT_EQ(UnfoldMesh::ConformalMap(&mesh, nullptr, nullptr, &uv), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(uv, std::vector<double>{42.0});
    EXPECT_EQ(ReadFile("test_conformal_closed.txt"), "UnfoldMesh::ConformalMap: no boundary vertex found\n");
    // The same closed mesh flattens once pins are given.
    const std::vector<int> pins = {0, 3};
    const std::vector<double> coords = {0, 0, 1, 0};
    EXPECT_EQ(UnfoldMesh::ConformalMap(&mesh, &pins, &coords, &uv), 0);
}

// ---- degenerate geometry and arguments ----------------------------------------

TEST(ConformalMap, ZeroAreaTrianglesDoNotFailTheCall) {
    // A flat fan around vertex 2, which lies exactly on the segment 0-1; the
    // triangle (0, 1, 2) has no area at all.
    TriMesh collinear;
    for (const Vector3& p : {Vector3(0, 0, 0), Vector3(2, 0, 0), Vector3(1, 0, 0), Vector3(1, 1, 0), Vector3(1, -1, 0)})
        collinear.InsertVertex(p);
    for (const auto& t : {std::vector<int>{0, 2, 3}, {2, 1, 3}, {0, 4, 2}, {2, 4, 1}, {0, 1, 2}})
        collinear.InsertTriangle(t[0], t[1], t[2]);
    std::vector<double> uv;
    EXPECT_EQ(UnfoldMesh::ConformalMap(&collinear, nullptr, nullptr, &uv), 0);
    EXPECT_TRUE(AllFinite(uv));

    // A curved patch in which two neighbouring vertices were snapped together.
    TriMesh snapped = MakeSpherePatch(8, 1.6, 9u);
    snapped.SetVertexCoord(40, snapped.GetVertexCoord(41));
    EXPECT_EQ(UnfoldMesh::ConformalMap(&snapped, nullptr, nullptr, &uv), 0);
    EXPECT_TRUE(AllFinite(uv));
}

TEST(ConformalMap, InvalidArgumentsLeaveTheOutputUntouched) {
    ORVO::LogSystem::SetLogFileName("test_conformal_counts.txt");
    TriMesh noTriangles;
    for (int k = 0; k < 3; ++k) noTriangles.InsertVertex(Vector3(k, k * k, 0));
    TriMesh twoVertices;
    for (int k = 0; k < 2; ++k) twoVertices.InsertVertex(Vector3(k, 0, 0));
    twoVertices.InsertTriangle(0, 1, 1);
    std::vector<double> uv = {3.0};
    EXPECT_EQ(UnfoldMesh::ConformalMap(&noTriangles, nullptr, nullptr, &uv), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(UnfoldMesh::ConformalMap(&twoVertices, nullptr, nullptr, &uv), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(UnfoldMesh::ConformalMap(nullptr, nullptr, nullptr, &uv), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(UnfoldMesh::ConformalMap(&noTriangles, nullptr, nullptr, nullptr), ORVO::STATUS_INVALID_INPUT);
    // Pin coordinates must be twice the pin ids.
    const TriMesh patch = MakeSpherePatch(4, 1.6, 8u);
    const std::vector<int> pins = {0, 1, 2};
    const std::vector<double> coords = {0, 0, 1, 0, 1};
    EXPECT_EQ(UnfoldMesh::ConformalMap(&patch, &pins, &coords, &uv), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(uv, std::vector<double>{3.0});
    EXPECT_EQ(ReadFile("test_conformal_counts.txt"),
              "UnfoldMesh::ConformalMap invalid vertexCount: 3 triangleCount: 0\n"
              "UnfoldMesh::ConformalMap invalid vertexCount: 2 triangleCount: 1\n"
              "UnfoldMesh::ConformalMap invalid input parameters\n"
              "UnfoldMesh::ConformalMap invalid input parameters\n"
              "UnfoldMesh::ConformalMap: invalid input\n");
}

TEST(ConformalMap, AVertexInNoTriangleMakesTheSystemSingular) {
    ORVO::LogSystem::SetLogFileName("test_conformal_singular.txt");
    TriMesh mesh = MakeSpherePatch(3, 1.6, 10u);
    mesh.InsertVertex(Vector3(9, 9, 9));  // free, but in no equation
    std::vector<double> uv = {7.0};
    EXPECT_EQ(UnfoldMesh::ConformalMap(&mesh, nullptr, nullptr, &uv), ORVO::STATUS_FAILED);
    EXPECT_EQ(uv, std::vector<double>{7.0});
    EXPECT_EQ(ReadFile("test_conformal_singular.txt"), "UnfoldMesh::ConformalMap::Sparse Matrix Factorize Failed\n");
}

}  // namespace
