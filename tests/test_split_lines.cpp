#include <QarnUVAtlas/SplitMesh.h>
#include <QarnUVAtlas/UnfoldMesh.h>

#include "TestMeshes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <utility>
#include <vector>

namespace {

using ORVO::TriMesh;
using ORVO::UnfoldMesh;
using ORVO::Vector3;

// Regions of a cut mesh (faces joined through shared vertices) and the Euler
// characteristic V - E + F of each, counted independently of the library.
std::vector<int> RegionEulerCharacteristics(const TriMesh& mesh) {
    const int faces = mesh.GetTriangleCount();
    std::vector<int> parent(mesh.GetVertexCount());
    for (size_t i = 0; i < parent.size(); ++i) parent[i] = static_cast<int>(i);
    auto find = [&](int x) {
        while (parent[x] != x) x = parent[x] = parent[parent[x]];
        return x;
    };
    for (int f = 0; f < faces; ++f) {
        const int* t = mesh.GetTriangle(f);
        parent[find(t[1])] = find(t[0]);
        parent[find(t[2])] = find(t[0]);
    }
    std::map<int, std::set<int>> vertices;
    std::map<int, std::set<std::pair<int, int>>> edges;
    std::map<int, int> faceCount;
    for (int f = 0; f < faces; ++f) {
        const int* t = mesh.GetTriangle(f);
        int r = find(t[0]);
        ++faceCount[r];
        for (int k = 0; k < 3; ++k) {
            vertices[r].insert(t[k]);
            edges[r].insert({std::min(t[k], t[(k + 1) % 3]), std::max(t[k], t[(k + 1) % 3])});
        }
    }
    std::vector<int> chi;
    for (auto& [r, f] : faceCount) {
        chi.push_back(static_cast<int>(vertices[r].size()) - static_cast<int>(edges[r].size()) + f);
    }
    return chi;
}

// Cuts `mesh` along its automatic split lines and checks the result.
void ExpectDiscRegions(TriMesh mesh, int charts, const char* what, size_t minRegions = 1) {
    SCOPED_TRACE(what);
    std::vector<std::vector<int>> lines;
    ASSERT_EQ(UnfoldMesh::GenerateAtlasSplitLines(&mesh, charts, lines), 0);
    // Every line runs along mesh edges.
    std::set<std::pair<int, int>> meshEdges;
    for (int f = 0; f < mesh.GetTriangleCount(); ++f) {
        const int* t = mesh.GetTriangle(f);
        for (int k = 0; k < 3; ++k) meshEdges.insert({std::min(t[k], t[(k + 1) % 3]), std::max(t[k], t[(k + 1) % 3])});
    }
    for (const std::vector<int>& line : lines) {
        for (size_t i = 0; i + 1 < line.size(); ++i) {
            EXPECT_TRUE(meshEdges.count({std::min(line[i], line[i + 1]), std::max(line[i], line[i + 1])}));
        }
    }
    if (!lines.empty()) {
        ASSERT_EQ(ORVO::SplitMesh::SplitByLines(&mesh, lines, nullptr), 0);
    }
    std::vector<int> chi = RegionEulerCharacteristics(mesh);
    EXPECT_GE(chi.size(), minRegions);
    for (int c : chi) {
        EXPECT_EQ(c, 1) << "a region that is not a disc";
    }
}

TEST(AtlasSplitLines, EveryRegionOfAClosedOrHoledSurfaceIsADisc) {
    ExpectDiscRegions(testmesh::Icosphere(3), 1, "sphere, one chart asked", 2);
    ExpectDiscRegions(testmesh::Icosphere(3), 12, "sphere, twelve charts asked", 12);
    ExpectDiscRegions(testmesh::Torus(40, 16), 1, "torus, one chart asked", 1);
    ExpectDiscRegions(testmesh::Torus(40, 16), 3, "torus, three charts asked", 3);
    ExpectDiscRegions(
        testmesh::VoxelSurface(7, 3, 1, [](int x, int y, int) { return !(y == 1 && (x == 1 || x == 5)); }, 3), 2,
        "genus-2 plate");
    // A flat square with two holes: one region would be a disc with holes.
    ExpectDiscRegions(testmesh::Grid(30, 30, nullptr,
                                     [](int i, int j) {
                                         return !((i > 5 && i < 10 && j > 5 && j < 10) ||
                                                  (i > 18 && i < 24 && j > 15 && j < 22));
                                     }),
                      1, "square with two holes");
}

TEST(AtlasSplitLines, FlatDiscNeedsNoCut) {
    std::vector<std::vector<int>> lines;
    TriMesh grid = testmesh::Grid(20, 20);
    ASSERT_EQ(UnfoldMesh::GenerateAtlasSplitLines(&grid, 1, lines), 0);
    EXPECT_TRUE(lines.empty());
}

TEST(AtlasSplitLines, ChartsFollowTheSurfaceNotItsUnits) {
    // The same surface at two scales is cut along the same lines.
    TriMesh a = testmesh::Torus(40, 16);
    TriMesh b = a;
    for (int v = 0; v < b.GetVertexCount(); ++v) b.SetVertexCoord(v, a.GetVertexCoord(v) * 1e5);
    std::vector<std::vector<int>> la, lb;
    ASSERT_EQ(UnfoldMesh::GenerateAtlasSplitLines(&a, 8, la), 0);
    ASSERT_EQ(UnfoldMesh::GenerateAtlasSplitLines(&b, 8, lb), 0);
    EXPECT_EQ(la, lb);
}

TEST(AtlasSplitLines, InvalidArguments) {
    std::vector<std::vector<int>> lines{{1, 2}};
    EXPECT_EQ(UnfoldMesh::GenerateAtlasSplitLines(nullptr, 3, lines), -2);
    TriMesh grid = testmesh::Grid(3, 3);
    EXPECT_EQ(UnfoldMesh::GenerateAtlasSplitLines(&grid, 0, lines), -2);
}

}  // namespace
