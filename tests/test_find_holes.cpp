#include <QarnUVAtlas/FillMeshHole.h>
#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/SplitMesh.h>
#include <QarnUVAtlas/TriMesh.h>

#include "MeshCutKit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <vector>

using ORVO::FillMeshHole;
using ORVO::TriMesh;
using ORVO::Vector3;
using namespace meshcut;

namespace {

using Loops = std::vector<std::vector<int>>;

// Every consecutive pair of every loop (last -> first included) is a boundary
// edge in the direction its triangle runs it, and every boundary edge is
// walked exactly once.
void ExpectLoopsCoverBoundaryOnce(const TriMesh& mesh, const Loops& loops) {
    auto boundary = BoundaryEdges(Triangles(mesh));
    size_t walked = 0;
    for (const auto& loop : loops) {
        ASSERT_GE(loop.size(), 1u);
        for (size_t i = 0; i < loop.size(); ++i) {
            const std::pair<int, int> e{loop[i], loop[(i + 1) % loop.size()]};
            auto it = boundary.find(e);
            ASSERT_TRUE(it != boundary.end()) << "(" << e.first << ", " << e.second << ") walked but not boundary";
            boundary.erase(it);
            ++walked;
        }
    }
    EXPECT_TRUE(boundary.empty()) << boundary.size() << " boundary edges never walked, " << walked << " walked";
}

// Signed area of a loop projected on z = 0.
double SignedArea(const TriMesh& mesh, const std::vector<int>& loop) {
    double twice = 0.0;
    for (size_t i = 0; i < loop.size(); ++i) {
        const Vector3 a = mesh.GetVertexCoord(loop[i]), b = mesh.GetVertexCoord(loop[(i + 1) % loop.size()]);
        twice += a.x * b.y - a.y * b.x;
    }
    return 0.5 * twice;
}

}  // namespace

TEST(FindHoles, ClosedMeshesHaveNone) {
    for (TriMesh mesh : {UVSphere(6, 9), Torus(12, 6), Cube(false)}) {
        Loops loops = {{1, 2, 3}};
        ASSERT_EQ(FillMeshHole::FindHoles(&mesh, &loops), 0);
        EXPECT_TRUE(loops.empty());
    }
}

TEST(FindHoles, GridWithHolesHasOneLoopPerHole) {
    const std::set<std::pair<int, int>> removed = {{2, 2}, {2, 3}, {6, 6}, {7, 6}, {9, 2}, {4, 9}};
    TriMesh mesh = Grid(12, 12, [&](int i, int j) { return removed.count({i, j}) == 0; });
    Loops loops;
    ASSERT_EQ(FillMeshHole::FindHoles(&mesh, &loops), 0);
    const auto boundary = BoundaryEdges(Triangles(mesh));
    ASSERT_FALSE(HasBoundaryPinch(boundary));
    EXPECT_EQ(static_cast<int>(loops.size()), BoundaryComponents(boundary));
    EXPECT_EQ(loops.size(), 5u);
    ExpectLoopsCoverBoundaryOnce(mesh, loops);
    // The first loop starts at the first boundary edge of triangle 0, (0, 1), and
    // follows the counter-clockwise triangles round the outside; the holes run clockwise.
    EXPECT_EQ(loops[0].size(), 48u);
    EXPECT_EQ(loops[0][0], 0);
    EXPECT_EQ(loops[0][1], 1);
    EXPECT_NEAR(SignedArea(mesh, loops[0]), 144.0, 1e-12);
    for (size_t k = 1; k < loops.size(); ++k) EXPECT_LT(SignedArea(mesh, loops[k]), 0.0) << k;
}

TEST(FindHoles, LoopsTouchingAtAVertexAreWalkedAsOne) {
    // Two square holes meeting at vertex (4, 4): one piece of boundary.
    const int n = 8;
    TriMesh mesh = Grid(n, n, [](int i, int j) { return !((i == 3 && j == 3) || (i == 4 && j == 4)); });
    Loops loops;
    ASSERT_EQ(FillMeshHole::FindHoles(&mesh, &loops), 0);
    const auto boundary = BoundaryEdges(Triangles(mesh));
    ASSERT_TRUE(HasBoundaryPinch(boundary));
    EXPECT_EQ(static_cast<int>(loops.size()), BoundaryComponents(boundary));
    ASSERT_EQ(loops.size(), 2u);
    ExpectLoopsCoverBoundaryOnce(mesh, loops);
    const int pinch = GridId(n, 4, 4);
    EXPECT_EQ(loops[1].size(), 8u);
    EXPECT_EQ(std::count(loops[1].begin(), loops[1].end(), pinch), 2);
    EXPECT_NEAR(SignedArea(mesh, loops[1]), -2.0, 1e-12);

    // Two triangles sharing only vertex 0.
    TriMesh bowtie;
    for (int k = 0; k < 5; ++k) bowtie.InsertVertex(Vector3(k, k % 3, 0));
    bowtie.InsertTriangle(0, 1, 2);
    bowtie.InsertTriangle(0, 3, 4);
    ASSERT_EQ(FillMeshHole::FindHoles(&bowtie, &loops), 0);
    ASSERT_EQ(loops.size(), 1u);
    ExpectLoopsCoverBoundaryOnce(bowtie, loops);
    EXPECT_EQ(loops[0].size(), 6u);
    EXPECT_EQ(loops[0][0], 0);
    EXPECT_EQ(loops[0][1], 1);

    // Three holes around one vertex and a fan of four triangles pinched twice.
    TriMesh three = Grid(n, n, [](int i, int j) {
        return !((i == 3 && j == 3) || (i == 4 && j == 4) || (i == 5 && j == 3) || (i == 4 && j == 2));
    });
    ASSERT_EQ(FillMeshHole::FindHoles(&three, &loops), 0);
    ExpectLoopsCoverBoundaryOnce(three, loops);
    EXPECT_EQ(static_cast<int>(loops.size()), BoundaryComponents(BoundaryEdges(Triangles(three))));
}

TEST(FindHoles, OpenCubeHasTheMissingSideAsLoop) {
    TriMesh mesh = Cube(true);
    Loops loops;
    ASSERT_EQ(FillMeshHole::FindHoles(&mesh, &loops), 0);
    ASSERT_EQ(loops.size(), 1u);
    ExpectLoopsCoverBoundaryOnce(mesh, loops);
    // The missing top ran 4 5 7 6; its neighbours run that rim the other way.
    std::vector<int> loop = loops[0];
    std::rotate(loop.begin(), std::find(loop.begin(), loop.end(), 4), loop.end());
    EXPECT_EQ(loop, (std::vector<int>{4, 6, 7, 5}));
}

TEST(FindHoles, CutSphereHasTheCutAsTwoLoops) {
    const int rings = 6, segments = 10;
    TriMesh mesh = UVSphere(rings, segments);
    std::vector<int> ring;
    for (int s = 0; s <= segments; ++s) ring.push_back(UVSphereRingId(segments, 2, s));
    std::vector<int> origins;
    ASSERT_EQ(ORVO::SplitMesh::SplitByLines(&mesh, {ring}, &origins), 0);
    Loops loops;
    ASSERT_EQ(FillMeshHole::FindHoles(&mesh, &loops), 0);
    ASSERT_EQ(loops.size(), 2u);
    ExpectLoopsCoverBoundaryOnce(mesh, loops);
    const std::set<int> ringSet(ring.begin(), ring.end());
    for (const auto& loop : loops) {
        ASSERT_EQ(loop.size(), static_cast<size_t>(segments));
        std::set<int> fromLoop;
        for (int v : loop) fromLoop.insert(origins[v]);
        EXPECT_EQ(fromLoop, ringSet);
    }
}

TEST(FindHoles, InconsistentAndRepeatedFacesStillGiveClosedLoops) {
    // One flipped triangle inside a grid and a triangle repeating a vertex:
    // whatever they do to the boundary, every loop closes and every boundary
    // edge is walked once.
    TriMesh mesh = Grid(4, 4);
    const int* t = mesh.GetTriangle(10);
    mesh.SetTriangleVertexIds(10, t[0], t[2], t[1]);
    mesh.InsertTriangle(6, 6, 7);
    mesh.InsertTriangle(0, 1, 6);  // a third face on edge (0, 1)
    Loops loops;
    ASSERT_EQ(FillMeshHole::FindHoles(&mesh, &loops), 0);
    ExpectLoopsCoverBoundaryOnce(mesh, loops);
}

TEST(FindHoles, NullArgumentsAreInvalid) {
    TriMesh mesh = Grid(2, 2);
    Loops loops;
    EXPECT_EQ(FillMeshHole::FindHoles(nullptr, &loops), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(FillMeshHole::FindHoles(&mesh, nullptr), ORVO::STATUS_INVALID_INPUT);
    TriMesh broken = Grid(1, 1);
    broken.InsertTriangle(0, 1, 17);
    EXPECT_EQ(FillMeshHole::FindHoles(&broken, &loops), ORVO::STATUS_INVALID_INPUT);
}

TEST(FindHoles, ScannedMeshesHaveTheirKnownHoleCounts) {
    struct Case {
        const char* name;
        size_t loops;
    };
    const Case cases[] = {{"tower_holes.obj", 38}, {"bunny.obj", 5},  {"suzanne.obj", 4},
                          {"meshroom_scan.obj", 4}, {"ogre.obj", 12}, {"teapot.obj", 10}};
    int tried = 0;
    for (const Case& c : cases) {
        const std::string path = SharedMesh(c.name);
        if (path.empty()) continue;
        ++tried;
        TriMesh mesh;
        ASSERT_TRUE(ReadObj(path, mesh)) << c.name;
        Loops loops;
        ASSERT_EQ(FillMeshHole::FindHoles(&mesh, &loops), 0) << c.name;
        EXPECT_EQ(loops.size(), c.loops) << c.name;
        ExpectLoopsCoverBoundaryOnce(mesh, loops);
        EXPECT_EQ(static_cast<int>(loops.size()), BoundaryComponents(BoundaryEdges(Triangles(mesh)))) << c.name;
    }
    if (tried == 0) GTEST_SKIP() << "shared meshes not found under " << QARN_SHARED_DIR;
}
