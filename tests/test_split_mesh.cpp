#include <QarnUVAtlas/ConsolidateMesh.h>
#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/SplitMesh.h>
#include <QarnUVAtlas/TriMesh.h>

#include "MeshCutKit.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <map>
#include <set>
#include <vector>

using ORVO::SplitMesh;
using ORVO::TriMesh;
using ORVO::Vector3;
using namespace meshcut;

namespace {

// Triangle count and order are kept, each corner's new vertex stands for the
// old one, and every vertex sits exactly where its origin was.
void ExpectFaithfulCut(const TriMesh& before, const TriMesh& after, const std::vector<int>& origins) {
    ASSERT_EQ(after.GetTriangleCount(), before.GetTriangleCount());
    ASSERT_EQ(static_cast<int>(origins.size()), after.GetVertexCount());
    for (int v = 0; v < after.GetVertexCount(); ++v) {
        if (v < before.GetVertexCount()) {
            EXPECT_EQ(origins[v], v);
        } else {
            ASSERT_GE(origins[v], 0);
            ASSERT_LT(origins[v], before.GetVertexCount());
        }
        const Vector3 a = after.GetVertexCoord(v), b = before.GetVertexCoord(origins[v]);
        EXPECT_TRUE(a.x == b.x && a.y == b.y && a.z == b.z) << "vertex " << v;
    }
    for (int f = 0; f < before.GetTriangleCount(); ++f) {
        const int* t0 = before.GetTriangle(f);
        const int* t1 = after.GetTriangle(f);
        for (int k = 0; k < 3; ++k) EXPECT_EQ(origins[t1[k]], t0[k]) << "face " << f;
    }
}

// Every vertex is used only by faces of one label.
int VerticesWithMixedLabels(const TriMesh& mesh, const std::vector<int>& faceLabel) {
    std::vector<int> label(static_cast<size_t>(mesh.GetVertexCount()), -1);
    std::set<int> mixed;
    for (int f = 0; f < mesh.GetTriangleCount(); ++f) {
        for (int k = 0; k < 3; ++k) {
            const int v = mesh.GetTriangle(f)[k];
            if (label[v] < 0) label[v] = faceLabel[f];
            if (label[v] != faceLabel[f]) mixed.insert(v);
        }
    }
    return static_cast<int>(mixed.size());
}

// Two-vertex lines along every edge whose faces carry different labels.
std::vector<std::vector<int>> BorderLines(const TriMesh& mesh, const std::vector<int>& faceLabel) {
    std::vector<std::vector<int>> lines;
    for (auto& kv : EdgeUses(Triangles(mesh))) {
        const EdgeUse& u = kv.second;
        if (u.faces.size() == 2 && faceLabel[u.faces[0]] != faceLabel[u.faces[1]]) {
            lines.push_back({kv.first.first, kv.first.second});
        }
    }
    return lines;
}

Vector3 Centroid(const TriMesh& mesh, int f) {
    const int* t = mesh.GetTriangle(f);
    return (mesh.GetVertexCoord(t[0]) + mesh.GetVertexCoord(t[1]) + mesh.GetVertexCoord(t[2])) / 3.0;
}

int EulerCharacteristic(const TriMesh& mesh) {
    const auto tris = Triangles(mesh);
    return mesh.GetVertexCount() - static_cast<int>(EdgeUses(tris).size()) + mesh.GetTriangleCount();
}

}  // namespace

TEST(SplitMesh, ClosedLoopCutsSphereInTwo) {
    const int rings = 8, segments = 12;
    TriMesh mesh = UVSphere(rings, segments);
    const TriMesh before = mesh;
    ASSERT_EQ(Components(Triangles(mesh), mesh.GetVertexCount()), 1);

    std::vector<int> equator;
    for (int s = 0; s <= segments; ++s) equator.push_back(UVSphereRingId(segments, rings / 2, s));
    std::vector<int> origins;
    ASSERT_EQ(SplitMesh::SplitByLines(&mesh, {equator}, &origins), 0);

    ExpectFaithfulCut(before, mesh, origins);
    EXPECT_EQ(mesh.GetVertexCount(), before.GetVertexCount() + segments);
    EXPECT_EQ(Components(Triangles(mesh), mesh.GetVertexCount()), 2);
    const auto boundary = BoundaryEdges(Triangles(mesh));
    EXPECT_EQ(boundary.size(), 2u * segments);
    EXPECT_EQ(BoundaryComponents(boundary), 2);

    std::vector<int> hemisphere(static_cast<size_t>(mesh.GetTriangleCount()));
    for (int f = 0; f < mesh.GetTriangleCount(); ++f) hemisphere[f] = Centroid(mesh, f).z > 0 ? 1 : 0;
    EXPECT_EQ(VerticesWithMixedLabels(mesh, hemisphere), 0);
}

TEST(SplitMesh, OpenPathMakesSlitWhoseSidesShareOnlyTheTips) {
    const int n = 10;
    TriMesh mesh = Grid(n, n);
    const TriMesh before = mesh;
    std::vector<int> path;
    for (int i = 2; i <= 7; ++i) path.push_back(GridId(n, i, 5));
    std::vector<int> origins;
    ASSERT_EQ(SplitMesh::SplitByLines(&mesh, {path}, &origins), 0);

    ExpectFaithfulCut(before, mesh, origins);
    // Only the four inner path vertices open; the tips stay single.
    EXPECT_EQ(mesh.GetVertexCount(), before.GetVertexCount() + 4);
    EXPECT_EQ(Components(Triangles(mesh), mesh.GetVertexCount()), 1);
    EXPECT_EQ(BoundaryEdges(Triangles(mesh)).size(), 4u * n + 2u * 5);

    // Ids used at each path vertex by the faces above and below the path.
    std::map<int, std::set<int>> above, below;
    for (int f = 0; f < mesh.GetTriangleCount(); ++f) {
        const double y = Centroid(mesh, f).y;
        for (int k = 0; k < 3; ++k) {
            const int v = mesh.GetTriangle(f)[k];
            const int o = origins[v];
            if (std::find(path.begin(), path.end(), o) == path.end()) continue;
            (y > 5 ? above : below)[o].insert(v);
        }
    }
    for (size_t k = 0; k < path.size(); ++k) {
        const int o = path[k];
        ASSERT_EQ(above[o].size(), 1u);
        ASSERT_EQ(below[o].size(), 1u);
        const int up = *above[o].begin(), down = *below[o].begin();
        const bool tip = (k == 0 || k + 1 == path.size());
        if (tip) {
            EXPECT_EQ(up, down) << "tip " << o;
        } else {
            EXPECT_NE(up, down) << "inner " << o;
            const Vector3 a = mesh.GetVertexCoord(up), b = mesh.GetVertexCoord(down);
            EXPECT_TRUE(a.x == b.x && a.y == b.y && a.z == b.z);
        }
    }
}

TEST(SplitMesh, PathFromTheBoundaryOpensAtTheBoundaryVertex) {
    const int n = 10;
    TriMesh mesh = Grid(n, n);
    const int before = mesh.GetVertexCount();
    std::vector<int> path;
    for (int i = 0; i <= 3; ++i) path.push_back(GridId(n, i, 5));
    ASSERT_EQ(SplitMesh::SplitByLines(&mesh, {path}, nullptr), 0);
    // Boundary vertex and the two inner ones open, the inner tip does not.
    EXPECT_EQ(mesh.GetVertexCount(), before + 3);
    const auto boundary = BoundaryEdges(Triangles(mesh));
    EXPECT_EQ(boundary.size(), 4u * n + 2u * 3);
    EXPECT_EQ(BoundaryComponents(boundary), 1);
}

TEST(SplitMesh, TorusCutAlongTwoLoopsBecomesOneDisc) {
    const int ring = 16, tube = 8;
    TriMesh cylinder = Torus(ring, tube);
    std::vector<int> meridian, longitude;
    for (int j = 0; j <= tube; ++j) meridian.push_back(j % tube);
    for (int i = 0; i <= ring; ++i) longitude.push_back((i % ring) * tube);

    ASSERT_EQ(SplitMesh::SplitByLines(&cylinder, {meridian}, nullptr), 0);
    EXPECT_EQ(Components(Triangles(cylinder), cylinder.GetVertexCount()), 1);
    EXPECT_EQ(BoundaryComponents(BoundaryEdges(Triangles(cylinder))), 2);
    EXPECT_EQ(EulerCharacteristic(cylinder), 0);

    TriMesh disc = Torus(ring, tube);
    const TriMesh before = disc;
    std::vector<int> origins;
    ASSERT_EQ(SplitMesh::SplitByLines(&disc, {meridian, longitude}, &origins), 0);
    ExpectFaithfulCut(before, disc, origins);
    const auto boundary = BoundaryEdges(Triangles(disc));
    EXPECT_EQ(Components(Triangles(disc), disc.GetVertexCount()), 1);
    EXPECT_EQ(boundary.size(), 2u * (ring + tube));
    EXPECT_EQ(BoundaryComponents(boundary), 1);
    EXPECT_FALSE(HasBoundaryPinch(boundary));
    EXPECT_EQ(EulerCharacteristic(disc), 1);
}

TEST(SplitMesh, RegionBordersSeparateEveryRegion) {
    TriMesh mesh = Torus(24, 12);
    const TriMesh before = mesh;
    std::vector<int> label(static_cast<size_t>(mesh.GetTriangleCount()));
    for (int f = 0; f < mesh.GetTriangleCount(); ++f) {
        const Vector3 c = Centroid(mesh, f);
        label[f] = static_cast<int>(std::floor(c.x * 2.0 + 10)) * 7 + static_cast<int>(std::floor(c.y * 2.0 + 10)) +
                   (c.z > 0 ? 1000 : 0);
    }
    ASSERT_GT(VerticesWithMixedLabels(mesh, label), 0);
    std::vector<int> origins;
    ASSERT_EQ(SplitMesh::SplitByLines(&mesh, BorderLines(mesh, label), &origins), 0);
    ExpectFaithfulCut(before, mesh, origins);
    EXPECT_EQ(VerticesWithMixedLabels(mesh, label), 0);
}

TEST(SplitMesh, RandomWalkCutsOpenEveryVertexIntoItsWedges) {
    // Cut lines are random walks along edges; a vertex must end with one
    // copy per wedge left between the cut edges around it (counted here by
    // brute force), and the result must stay manifold.
    int opened = 0;
    for (uint32_t seed = 1; seed <= 6; ++seed) {
        TriMesh mesh = seed % 2 ? Torus(14, 9) : Grid(9, 7);
        const TriMesh before = mesh;
        const auto tris = Triangles(mesh);
        std::map<int, std::vector<int>> neighbours;
        for (auto& kv : EdgeUses(tris)) {
            neighbours[kv.first.first].push_back(kv.first.second);
            neighbours[kv.first.second].push_back(kv.first.first);
        }
        uint32_t state = seed * 2654435761u;
        auto next = [&](uint32_t n) {
            state = state * 1664525u + 1013904223u;
            return (state >> 8) % n;
        };
        std::vector<std::vector<int>> lines;
        std::set<std::pair<int, int>> cut;
        for (int l = 0; l < 4; ++l) {
            std::vector<int> line{static_cast<int>(next(static_cast<uint32_t>(mesh.GetVertexCount())))};
            for (int step = 0; step < 8; ++step) {
                const auto& around = neighbours[line.back()];
                line.push_back(around[next(static_cast<uint32_t>(around.size()))]);
                const int a = line[line.size() - 2], b = line.back();
                cut.insert({std::min(a, b), std::max(a, b)});
            }
            lines.push_back(line);
        }
        int expectedNew = 0;
        for (int n : FanCounts(tris, mesh.GetVertexCount(), cut)) expectedNew += n > 1 ? n - 1 : 0;

        std::vector<int> origins;
        ASSERT_EQ(SplitMesh::SplitByLines(&mesh, lines, &origins), 0);
        ExpectFaithfulCut(before, mesh, origins);
        EXPECT_EQ(mesh.GetVertexCount(), before.GetVertexCount() + expectedNew) << "seed " << seed;
        opened += expectedNew;
        const auto after = Triangles(mesh);
        EXPECT_EQ(MultiFanVertices(after, mesh.GetVertexCount()), 0);
        EXPECT_LE(MaxFacesOnEdge(after), 2);
    }
    EXPECT_GT(opened, 20);  // the walks did cut something
}

TEST(SplitMesh, ConnectivityOnlyMeshGrowsByCount) {
    const int n = 4;
    TriMesh grid = Grid(n, n);
    std::vector<int> ids;
    for (const Tri& t : Triangles(grid)) ids.insert(ids.end(), t.begin(), t.end());
    ORVO::TopologyMesh mesh(grid.GetVertexCount(), ids);
    std::vector<int> path;
    for (int i = 0; i <= n; ++i) path.push_back(GridId(n, i, 2));
    std::vector<int> origins;
    ASSERT_EQ(SplitMesh::SplitByLines(&mesh, {path}, &origins), 0);
    EXPECT_EQ(mesh.GetVertexCount(), grid.GetVertexCount() + n + 1);
    EXPECT_EQ(origins.size(), static_cast<size_t>(mesh.GetVertexCount()));
    EXPECT_EQ(Components(Triangles(mesh), mesh.GetVertexCount()), 2);
}

TEST(SplitMesh, PairsThatAreNotEdgesAreIgnored) {
    const int n = 4;
    TriMesh mesh = Grid(n, n);
    const TriMesh before = mesh;
    // Not adjacent, out of range, negative, repeated, and a boundary edge
    // (which has one face and so nothing to open).
    std::vector<std::vector<int>> lines = {{0, GridId(n, 2, 2)}, {5, 99999}, {-1, 3}, {7, 7}, {0, 1}, {}};
    std::vector<int> origins;
    ASSERT_EQ(SplitMesh::SplitByLines(&mesh, lines, &origins), 0);
    EXPECT_EQ(mesh.GetVertexCount(), before.GetVertexCount());
    ExpectFaithfulCut(before, mesh, origins);
}

TEST(SplitMesh, EmptyLineListIsLoggedAndCutsNothing) {
    ORVO::LogSystem::SetLogFileName("test_split_empty_lines.txt");
    TriMesh mesh = Grid(3, 3);
    const TriMesh before = mesh;
    std::vector<int> origins = {42};
    EXPECT_EQ(SplitMesh::SplitByLines(&mesh, {}, &origins), 0);
    EXPECT_EQ(ReadText("test_split_empty_lines.txt"), "SplitTriMesh: empty split lines\n");
    EXPECT_EQ(mesh.GetVertexCount(), before.GetVertexCount());
    ExpectFaithfulCut(before, mesh, origins);  // origins reset to the identity
}

// Loose vertices alone (a replayed file may hold nothing else): no edge to
// cut, nothing changes, and the edge table of an empty face list stays sound.
TEST(SplitMesh, MeshWithoutTrianglesCutsNothing) {
    TriMesh mesh;
    for (int i = 0; i < 4; ++i) mesh.InsertVertex(ORVO::Vector3(i, 0, 0));
    std::vector<int> origins;
    ASSERT_EQ(SplitMesh::SplitByLines(&mesh, {{0, 1, 2}}, &origins), 0);
    EXPECT_EQ(mesh.GetVertexCount(), 4);
    EXPECT_EQ(origins, (std::vector<int>{0, 1, 2, 3}));
}

TEST(SplitMesh, NullMeshIsInvalid) {
    EXPECT_EQ(SplitMesh::SplitByLines(nullptr, {{0, 1}}, nullptr), ORVO::STATUS_INVALID_INPUT);
}

TEST(SplitMesh, NonManifoldMeshIsRejectedUntouched) {
    auto expectRejected = [](TriMesh mesh, const char* logName) {
        ORVO::LogSystem::SetLogFileName(logName);
        const TriMesh before = mesh;
        std::vector<int> origins = {7};
        EXPECT_EQ(SplitMesh::SplitByLines(&mesh, {{0, 1, 2}}, &origins), ORVO::STATUS_INVALID_INPUT);
        EXPECT_EQ(ReadText(logName), "SplitMesh::SplitByLines: input mesh is non-manifold\n");
        EXPECT_EQ(Triangles(mesh), Triangles(before));
        EXPECT_EQ(mesh.GetVertexCount(), before.GetVertexCount());
        EXPECT_EQ(origins, std::vector<int>{7});
    };
    TriMesh book;  // three triangles on edge (0, 1)
    for (int k = 0; k < 5; ++k) book.InsertVertex(Vector3(k, k * k, k % 2));
    book.InsertTriangle(0, 1, 2);
    book.InsertTriangle(1, 0, 3);
    book.InsertTriangle(0, 1, 4);
    expectRejected(book, "test_split_nonmanifold_edge.txt");

    TriMesh bowtie;  // two fans at vertex 0
    for (int k = 0; k < 5; ++k) bowtie.InsertVertex(Vector3(k, -k, 0));
    bowtie.InsertTriangle(0, 1, 2);
    bowtie.InsertTriangle(0, 3, 4);
    expectRejected(bowtie, "test_split_nonmanifold_vertex.txt");

    TriMesh repeated = Grid(2, 2);
    repeated.InsertTriangle(4, 4, 5);
    expectRejected(repeated, "test_split_repeated_vertex.txt");
}

TEST(SplitMesh, CopiesCarryTheVertexAttributes) {
    const int n = 4;
    TriMesh mesh = Grid(n, n);
    mesh.SetHasVertexColor(true);
    mesh.UpdateNormal();
    for (int v = 0; v < mesh.GetVertexCount(); ++v) mesh.SetVertexColor(v, Vector3(v, 2 * v, 3 * v));
    std::vector<int> path;
    for (int i = 0; i <= n; ++i) path.push_back(GridId(n, i, 2));
    std::vector<int> origins;
    ASSERT_EQ(SplitMesh::SplitByLines(&mesh, {path}, &origins), 0);
    ASSERT_EQ(mesh.GetVertexCount(), (n + 1) * (n + 1) + n + 1);
    for (int v = (n + 1) * (n + 1); v < mesh.GetVertexCount(); ++v) {
        const Vector3 c = mesh.GetVertexColor(v), c0 = mesh.GetVertexColor(origins[v]);
        EXPECT_TRUE(c.x == c0.x && c.y == c0.y && c.z == c0.z);
        const Vector3 nrm = mesh.GetVertexNormal(v);
        EXPECT_NEAR(nrm.z, 1.0, 1e-12);
    }
}

TEST(SplitMesh, CutsRepairedScannedMeshesAlongRegionBorders) {
    const auto present = PresentSharedMeshes({"suzanne.obj", "teapot.obj", "ogre.obj", "meshroom_scan.obj"});
    if (present.empty()) GTEST_SKIP() << "shared meshes not found under " << QARN_SHARED_DIR;
    for (const auto& [name, path] : present) {
        TriMesh raw, mesh;
        ASSERT_TRUE(ReadObj(path, raw)) << name;
        ASSERT_EQ(ORVO::ConsolidateMesh::MakeManifold(&raw, &mesh, nullptr), 0) << name;
        const TriMesh before = mesh;

        // Regions: cells of a coarse lattice over the bounding box.
        Vector3 lo = mesh.GetVertexCoord(0), hi = lo;
        for (int v = 0; v < mesh.GetVertexCount(); ++v)
            for (int a = 0; a < 3; ++a) {
                lo[a] = std::min(lo[a], mesh.GetVertexCoord(v)[a]);
                hi[a] = std::max(hi[a], mesh.GetVertexCoord(v)[a]);
            }
        const double cell = (hi - lo).Length() / 5.0;
        std::vector<int> label(static_cast<size_t>(mesh.GetTriangleCount()));
        for (int f = 0; f < mesh.GetTriangleCount(); ++f) {
            const Vector3 c = Centroid(mesh, f) - lo;
            label[f] = static_cast<int>(c.x / cell) * 100 + static_cast<int>(c.y / cell) * 10 +
                       static_cast<int>(c.z / cell);
        }
        std::vector<int> origins;
        ASSERT_EQ(SplitMesh::SplitByLines(&mesh, BorderLines(mesh, label), &origins), 0) << name;
        ExpectFaithfulCut(before, mesh, origins);
        EXPECT_EQ(VerticesWithMixedLabels(mesh, label), 0) << name;
    }
}
