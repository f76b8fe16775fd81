#include <QarnUVAtlas/UnfoldMesh.h>

#include "AtlasCheck.h"
#include "TestMeshes.h"

#include <gtest/gtest.h>

#include <QarnUVAtlas/Foundation.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <limits>
#include <string>
#include <thread>

namespace {

using ORVO::TriMesh;
using ORVO::UnfoldMesh;
using ORVO::UVAtlasOptions;
using ORVO::Vector3;

struct Atlas {
    int status = 0;
    std::vector<double> tex;
    std::vector<int> ids;
};

Atlas RunOptions(const TriMesh& mesh, int charts, int threads = 0) {
    UVAtlasOptions options;
    options.chartCount = charts;
    options.threadCount = threads;
    Atlas atlas;
    atlas.status = UnfoldMesh::GenerateUVAtlas(&mesh, options, &atlas.tex, &atlas.ids);
    return atlas;
}

// The properties every strict atlas must have, whatever the input.
void ExpectValidAtlas(const TriMesh& mesh, const Atlas& atlas, const std::string& what) {
    SCOPED_TRACE(what);
    ASSERT_EQ(atlas.status, 0);
    ASSERT_EQ(atlas.ids.size(), 3u * mesh.GetTriangleCount());
    ASSERT_EQ(atlas.tex.size() % 2, 0u);
    for (int id : atlas.ids) {
        ASSERT_GE(id, 0);
        ASSERT_LT(static_cast<size_t>(id), atlas.tex.size() / 2);
    }
    atlascheck::Quality q = atlascheck::Judge(mesh, atlas.tex, atlas.ids);
    EXPECT_TRUE(q.inUnitSquare);
    EXPECT_EQ(q.overlapping, 0);
    EXPECT_EQ(q.flipped, 0);
    EXPECT_GT(q.utilization, 0.2);
}

TriMesh BumpyGridWithHoles() {
    return testmesh::Grid(
        40, 40, [](double x, double y) { return 0.15 * std::sin(6 * x) * std::cos(5 * y); },
        [](int i, int j) { return !((i > 8 && i < 13 && j > 8 && j < 14) || (i > 25 && i < 30 && j > 20 && j < 27)); });
}

// A plate with two through holes: a closed surface of genus 2.
TriMesh GenusTwoPlate() {
    return testmesh::VoxelSurface(7, 3, 1, [](int x, int y, int) { return !(y == 1 && (x == 1 || x == 5)); }, 3);
}

TEST(AtlasProperties, ClosedGenusZero) {
    TriMesh mesh = testmesh::Icosphere(3);
    ExpectValidAtlas(mesh, RunOptions(mesh, 8), "icosphere, 8 charts");
    ExpectValidAtlas(mesh, RunOptions(mesh, 1), "icosphere, 1 chart asked");
}

TEST(AtlasProperties, HigherGenus) {
    TriMesh torus = testmesh::Torus(48, 16);
    ExpectValidAtlas(torus, RunOptions(torus, 4), "torus");
    TriMesh plate = GenusTwoPlate();
    ExpectValidAtlas(plate, RunOptions(plate, 3), "genus-2 plate");
}

TEST(AtlasProperties, OpenWithHoles) {
    TriMesh mesh = BumpyGridWithHoles();
    ExpectValidAtlas(mesh, RunOptions(mesh, 1), "one chart asked");
    ExpectValidAtlas(mesh, RunOptions(mesh, 12), "twelve charts asked");
}

TEST(AtlasProperties, ManyComponents) {
    TriMesh mesh;
    for (int i = 0; i < 6; ++i) testmesh::Append(mesh, testmesh::Icosphere(1 + i % 2, 0.3 + 0.1 * i), Vector3(2.0 * i, 0, 0));
    testmesh::Append(mesh, testmesh::Grid(10, 10), Vector3(0, 3, 0));
    ExpectValidAtlas(mesh, RunOptions(mesh, 10), "spheres and a grid");
}

TEST(AtlasProperties, NonManifoldAndDegenerateInput) {
    TriMesh mesh = testmesh::Grid(12, 12, [](double x, double y) { return 0.2 * x * y; });
    // A fin: a third triangle on an interior edge.
    int apex = mesh.InsertVertex(Vector3(0.5, 0.5, 0.4));
    const int* t = mesh.GetTriangle(40);
    mesh.InsertTriangle(t[0], t[1], apex);
    // A bowtie: a triangle touching the grid only at its corner vertex.
    int b1 = mesh.InsertVertex(Vector3(-0.2, -0.1, 0.0));
    int b2 = mesh.InsertVertex(Vector3(-0.1, -0.2, 0.0));
    mesh.InsertTriangle(0, b1, b2);
    // A duplicated face, a zero-area face with a repeated vertex and a
    // collinear sliver.
    const int* u = mesh.GetTriangle(7);
    mesh.InsertTriangle(u[0], u[1], u[2]);
    mesh.InsertTriangle(5, 5, 6);
    int mid = mesh.InsertVertex((mesh.GetVertexCoord(20) + mesh.GetVertexCoord(21)) * 0.5);
    mesh.InsertTriangle(20, mid, 21);
    Atlas atlas = RunOptions(mesh, 4);
    ExpectValidAtlas(mesh, atlas, "fin, bowtie, duplicate, degenerate");
}

TEST(AtlasProperties, SpecifiedFormGivesCoordinatesForEveryCorner) {
    TriMesh mesh = BumpyGridWithHoles();
    std::vector<double> tex;
    std::vector<int> ids;
    ASSERT_EQ(UnfoldMesh::GenerateUVAtlas(&mesh, 6, &tex, &ids, false, false, false, nullptr), 0);
    ASSERT_EQ(ids.size(), 3u * mesh.GetTriangleCount());
    for (int id : ids) ASSERT_LT(static_cast<size_t>(id), tex.size() / 2);
    for (double c : tex) {
        EXPECT_GE(c, 0.0);
        EXPECT_LE(c, 1.0);
    }
}

TEST(AtlasBudget, EveryComponentGetsItsOwnCharts) {
    // Flat open squares are discs: with one chart asked, each component still
    // gets a budget of one and comes out as exactly one chart.
    TriMesh mesh;
    for (int i = 0; i < 4; ++i) testmesh::Append(mesh, testmesh::Grid(6 + 2 * i, 6), Vector3(2.0 * i, 0, 0));
    Atlas atlas = RunOptions(mesh, 1);
    ASSERT_EQ(atlas.status, 0);
    EXPECT_EQ(atlascheck::Judge(mesh, atlas.tex, atlas.ids).charts, 4);
}

TEST(AtlasInitialLines, LineIsCutShortAtAForeignVertex) {
    // A dome: its positive curvature opens a slit when it is flattened.
    TriMesh mesh = testmesh::Grid(10, 10, [](double x, double y) { return 0.6 * (x * (1 - x) + y * (1 - y)); });
    testmesh::Append(mesh, testmesh::Grid(4, 4), Vector3(3, 0, 0));
    const int foreign = 11 * 11 + 3;
    std::vector<int> across;
    for (int i = 0; i <= 10; ++i) across.push_back(5 * 11 + i);  // the middle row, border to border
    std::vector<int> interrupted(across.begin(), across.begin() + 5);
    interrupted.push_back(foreign);
    interrupted.insert(interrupted.end(), across.begin() + 5, across.end());

    auto chartsWith = [&](const std::vector<int>& line) {
        std::vector<std::vector<int>> lines{line};
        std::vector<double> tex;
        std::vector<int> ids;
        EXPECT_EQ(UnfoldMesh::GenerateUVAtlas(&mesh, 1, &tex, &ids, true, false, false, &lines), 0);
        return atlascheck::Judge(mesh, tex, ids).charts;
    };
    // A cut across the dome makes two charts; cut short it is only a slit.
    EXPECT_EQ(chartsWith(across), 3);
    EXPECT_EQ(chartsWith(interrupted), 2);
}

TEST(AtlasFailures, OutputsUntouchedOnInvalidInput) {
    const std::vector<double> texBefore{0.25, 0.5};
    const std::vector<int> idsBefore{7};
    auto expectRefused = [&](const TriMesh* mesh, int charts, const char* what) {
        SCOPED_TRACE(what);
        std::vector<double> tex = texBefore;
        std::vector<int> ids = idsBefore;
        EXPECT_EQ(UnfoldMesh::GenerateUVAtlas(mesh, charts, &tex, &ids, false, false, false, nullptr), -2);
        EXPECT_EQ(tex, texBefore);
        EXPECT_EQ(ids, idsBefore);
        UVAtlasOptions options;
        options.chartCount = charts;
        EXPECT_EQ(UnfoldMesh::GenerateUVAtlas(mesh, options, &tex, &ids), -2);
        EXPECT_EQ(tex, texBefore);
        EXPECT_EQ(ids, idsBefore);
    };
    TriMesh good = testmesh::Grid(3, 3);
    expectRefused(nullptr, 2, "null mesh");
    expectRefused(&good, -1, "negative chart count");
    TriMesh nan = testmesh::Grid(3, 3);
    nan.SetVertexCoord(4, Vector3(std::numeric_limits<double>::quiet_NaN(), 0, 0));
    expectRefused(&nan, 2, "NaN coordinate");
    TriMesh inf = testmesh::Grid(3, 3);
    inf.SetVertexCoord(2, Vector3(0, std::numeric_limits<double>::infinity(), 0));
    expectRefused(&inf, 2, "infinite coordinate");
    TriMesh badId = testmesh::Grid(3, 3);
    badId.InsertTriangle(0, 1, 99);
    expectRefused(&badId, 2, "vertex id out of range");
    TriMesh negativeId = testmesh::Grid(3, 3);
    negativeId.InsertTriangle(0, -1, 2);
    expectRefused(&negativeId, 2, "negative vertex id");
    TriMesh tiny;
    tiny.InsertVertex(Vector3(0, 0, 0));
    tiny.InsertVertex(Vector3(1, 0, 0));
    tiny.InsertTriangle(0, 1, 1);
    expectRefused(&tiny, 2, "two vertices");

    std::vector<double> tex = texBefore;
    EXPECT_EQ(UnfoldMesh::GenerateUVAtlas(&good, 0, &tex, nullptr, false, false, false, nullptr), -2);
    EXPECT_EQ(tex, texBefore);
}

TEST(AtlasCancel, StopRequestLeavesOutputsUntouched) {
    const std::vector<double> texBefore{0.25, 0.5};
    const std::vector<int> idsBefore{7};
    TriMesh mesh = testmesh::Torus(30, 12);
    std::atomic<bool> stop{true};
    UVAtlasOptions options;
    options.cancel = &stop;
    std::vector<double> tex = texBefore;
    std::vector<int> ids = idsBefore;
    EXPECT_EQ(UnfoldMesh::GenerateUVAtlas(&mesh, options, &tex, &ids), -3);
    EXPECT_EQ(tex, texBefore);
    EXPECT_EQ(ids, idsBefore);
    // The flag is only read: lowering it lets the same options run to the end.
    stop = false;
    ASSERT_EQ(UnfoldMesh::GenerateUVAtlas(&mesh, options, &tex, &ids), 0);
    EXPECT_EQ(ids.size(), 3u * mesh.GetTriangleCount());
}

TEST(AtlasCancel, StopRequestedMidwayEndsTheCall) {
    // Several components, so that the request arrives while work is left:
    // the flag is raised once progress shows the first components are done.
    TriMesh mesh;
    for (int i = 0; i < 6; ++i) testmesh::Append(mesh, testmesh::Torus(90, 30), Vector3(3.0 * i, 0, 0));
    std::atomic<bool> stop{false};
    std::atomic<bool> finished{false};
    ORVO::ResetApiProgress();
    std::thread watcher([&] {
        while (!finished && ORVO::GetApiProgress() < 0.3) std::this_thread::sleep_for(std::chrono::microseconds(200));
        stop = true;
    });
    UVAtlasOptions options;
    options.chartCount = 60;
    options.threadCount = 2;
    options.cancel = &stop;
    std::vector<double> tex;
    std::vector<int> ids;
    const int status = UnfoldMesh::GenerateUVAtlas(&mesh, options, &tex, &ids);
    finished = true;
    watcher.join();
    EXPECT_EQ(status, -3);
    EXPECT_TRUE(tex.empty());
    EXPECT_TRUE(ids.empty());
    EXPECT_LT(ORVO::GetApiProgress(), 0.95);  // packing never started
}

TEST(AtlasDeterminism, SameAtlasWithOneThreadAndWithSeveral) {
    TriMesh mesh = testmesh::Torus(60, 20);
    testmesh::Append(mesh, BumpyGridWithHoles(), Vector3(3, 0, 0));
    Atlas one = RunOptions(mesh, 16, 1);
    Atlas three = RunOptions(mesh, 16, 3);
    ASSERT_EQ(one.status, 0);
    ASSERT_EQ(three.status, 0);
    EXPECT_EQ(one.ids, three.ids);
    EXPECT_EQ(one.tex, three.tex);
}

TEST(AtlasUnits, MillimetresAndKilometresGiveTheSameAtlas) {
    TriMesh base = BumpyGridWithHoles();
    TriMesh small = base, large = base;
    for (int v = 0; v < base.GetVertexCount(); ++v) {
        small.SetVertexCoord(v, base.GetVertexCoord(v) * 1e-6);
        large.SetVertexCoord(v, base.GetVertexCoord(v) * 1e6);
    }
    Atlas a = RunOptions(small, 6), b = RunOptions(large, 6);
    ASSERT_EQ(a.status, 0);
    ASSERT_EQ(b.status, 0);
    ASSERT_EQ(a.ids, b.ids);
    ASSERT_EQ(a.tex.size(), b.tex.size());
    for (size_t i = 0; i < a.tex.size(); ++i) EXPECT_NEAR(a.tex[i], b.tex[i], 1e-6);
}

TEST(AtlasSharedMeshes, SmallScansAreValidInStrictMode) {
    int found = 0;
    for (const char* name : {"suzanne.obj", "teapot.obj", "spot.obj"}) {
        std::string path = testmesh::SharedMesh(name);
        if (path.empty()) continue;
        TriMesh mesh;
        ASSERT_TRUE(testmesh::LoadObj(path, mesh));
        ExpectValidAtlas(mesh, RunOptions(mesh, 40), name);
        ++found;
    }
    if (found == 0) GTEST_SKIP() << "../shared/meshes not present: shared-mesh checks skipped";
}

}  // namespace
