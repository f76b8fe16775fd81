#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/MeshQuery.h>
#include <QarnUVAtlas/MeshViews.h>
#include <QarnUVAtlas/TriMesh.h>

#include "TestMeshes.h"
#include "TestFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

using ORVO::ClosestPointOnTriangle;
using ORVO::ITriMesh;
using ORVO::MeshQueryTool;
using ORVO::SubTriMesh;
using ORVO::TriMesh;
using ORVO::Vector3;

namespace {

using testfiles::ReadFile;

// Reference distance from p to a segment.
double SegmentDistance(const Vector3& p, const Vector3& a, const Vector3& b) {
    const Vector3 d = b - a;
    const double len2 = d * d;
    if (len2 == 0.0) return p.Distance(a);
    const double t = std::min(1.0, std::max(0.0, ((p - a) * d) / len2));
    return p.Distance(a + d * t);
}

// Reference distance from p to a triangle, computed differently from the
// library: project onto the plane, test the projection with barycentric
// coordinates from a 2x2 solve, and otherwise take the nearest side.
double TriangleDistance(const Vector3& p, const Vector3& a, const Vector3& b, const Vector3& c) {
    const double sides = std::min(SegmentDistance(p, a, b),
                                  std::min(SegmentDistance(p, b, c), SegmentDistance(p, c, a)));
    const Vector3 e0 = b - a, e1 = c - a;
    const double m00 = e0 * e0, m01 = e0 * e1, m11 = e1 * e1;
    const double det = m00 * m11 - m01 * m01;
    if (!(det > 1e-20 * m00 * m11)) return sides;
    const Vector3 r = p - a;
    const double r0 = r * e0, r1 = r * e1;
    const double u = (r0 * m11 - r1 * m01) / det;
    const double v = (r1 * m00 - r0 * m01) / det;
    if (u >= 0.0 && v >= 0.0 && u + v <= 1.0) {
        const Vector3 onPlane = a + e0 * u + e1 * v;
        return std::min(sides, p.Distance(onPlane));
    }
    return sides;
}

struct Brute {
    double distance = std::numeric_limits<double>::infinity();
    int triangle = -1;
};

Brute BruteClosest(const ITriMesh& mesh, const Vector3& p) {
    Brute best;
    for (int f = 0; f < mesh.GetTriangleCount(); ++f) {
        int ids[3];
        mesh.GetTriangleVertexIds(f, ids);
        const double d = TriangleDistance(p, mesh.GetVertexCoord(ids[0]), mesh.GetVertexCoord(ids[1]),
                                          mesh.GetVertexCoord(ids[2]));
        if (d < best.distance) {
            best.distance = d;
            best.triangle = f;
        }
    }
    return best;
}

double DistanceToMeshTriangle(const ITriMesh& mesh, int f, const Vector3& p) {
    int ids[3];
    mesh.GetTriangleVertexIds(f, ids);
    return TriangleDistance(p, mesh.GetVertexCoord(ids[0]), mesh.GetVertexCoord(ids[1]),
                            mesh.GetVertexCoord(ids[2]));
}

// Random triangle soup in [-1, 1]^3 with small triangles, shared vertices and
// a few zero-area triangles (collinear and repeated corners).
TriMesh RandomMesh(unsigned seed, int vertexCount, int triangleCount) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    std::uniform_real_distribution<double> small(-0.15, 0.15);
    TriMesh mesh;
    for (int v = 0; v < vertexCount; ++v) mesh.InsertVertex(Vector3(unit(rng), unit(rng), unit(rng)));
    for (int f = 0; f < triangleCount; ++f) {
        const int a = static_cast<int>(rng() % vertexCount);
        // Two new corners near a, so triangles are local like a real surface.
        const Vector3 pa = mesh.GetVertexCoord(a);
        const int b = mesh.InsertVertex(pa + Vector3(small(rng), small(rng), small(rng)));
        const int c = mesh.InsertVertex(pa + Vector3(small(rng), small(rng), small(rng)));
        mesh.InsertTriangle(a, b, c);
    }
    // Degenerate ones.
    const Vector3 q0(0.2, 0.1, -0.3), q1(0.6, 0.3, -0.1);
    const int d0 = mesh.InsertVertex(q0);
    const int d1 = mesh.InsertVertex(q1);
    const int d2 = mesh.InsertVertex((q0 + q1) * 0.5);
    mesh.InsertTriangle(d0, d1, d2);  // collinear
    mesh.InsertTriangle(d0, d0, d1);  // repeated corner
    mesh.InsertTriangle(d2, d2, d2);  // a point
    return mesh;
}

using testmesh::Sphere;

// Build reads through ITriMesh only, so any mesh implementation (and a view) works.
void CheckAgainstBruteForce(const ITriMesh& mesh, unsigned seed, int queries, double spread) {
    MeshQueryTool tool;
    ASSERT_EQ(tool.Build(&mesh), 0);
    EXPECT_EQ(tool.GetTriangleCount(), mesh.GetTriangleCount());
    EXPECT_EQ(tool.GetVertexCount(), mesh.GetVertexCount());
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> coord(-spread, spread);
    for (int q = 0; q < queries; ++q) {
        Vector3 p(coord(rng), coord(rng), coord(rng));
        if (q % 10 == 0) p = mesh.GetVertexCoord(static_cast<int>(rng() % mesh.GetVertexCount()));
        Vector3 closest;
        int triangle = -1;
        double distance = -1.0;
        ASSERT_EQ(tool.QueryClosestPoint(p, &closest, &triangle, &distance), 0);
        const Brute brute = BruteClosest(mesh, p);
        ASSERT_NEAR(distance, brute.distance, 1e-12) << "query " << q;
        ASSERT_GE(triangle, 0);
        ASSERT_LT(triangle, mesh.GetTriangleCount());
        // The point returned lies on the triangle returned, at the distance returned.
        EXPECT_NEAR(p.Distance(closest), distance, 1e-12);
        EXPECT_NEAR(DistanceToMeshTriangle(mesh, triangle, closest), 0.0, 1e-12);
        EXPECT_NEAR(DistanceToMeshTriangle(mesh, triangle, p), distance, 1e-12);
    }
}

// --- Closest point on one triangle -------------------------------------------------

TEST(MeshQueryTool, ClosestPointOnTriangleCoversEveryRegion) {
    const Vector3 a(0, 0, 0), b(2, 0, 0), c(0, 2, 0);
    // Query -> answer: the face straight below, the three corners, the three sides.
    const Vector3 cases[][2] = {{{0.5, 0.5, 3}, {0.5, 0.5, 0}}, {{-1, -1, 1}, a}, {{3, -0.5, 0}, b},
                                {{-0.5, 3, 0}, c}, {{1, -1, 0}, {1, 0, 0}}, {{-1, 1, 5}, {0, 1, 0}},
                                {{2, 2, 0}, {1, 1, 0}}};
    for (const auto& k : cases) EXPECT_EQ(ClosestPointOnTriangle(k[0], a, b, c), k[1]) << k[0].x << " " << k[0].y;
    // Degenerate: collinear corners behave as the segment they span.
    EXPECT_EQ(ClosestPointOnTriangle(Vector3(0.5, 1, 0), a, b, Vector3(1, 0, 0)), Vector3(0.5, 0, 0));
    EXPECT_EQ(ClosestPointOnTriangle(Vector3(5, 5, 5), a, a, a), a);
}

// --- Whole-mesh queries ------------------------------------------------------------

TEST(MeshQueryTool, ClosestPointsMatchBruteForceOnRandomSoups) {
    CheckAgainstBruteForce(RandomMesh(1, 200, 600), 101, 400, 1.5);
    CheckAgainstBruteForce(RandomMesh(2, 50, 3000), 102, 300, 1.2);
    CheckAgainstBruteForce(RandomMesh(3, 3, 1), 103, 100, 2.0);
}

TEST(MeshQueryTool, ClosestPointsMatchBruteForceOnASphere) {
    const TriMesh sphere = Sphere(1.0, 24, 48);
    CheckAgainstBruteForce(sphere, 7, 400, 2.0);

    MeshQueryTool tool;
    ASSERT_EQ(tool.Build(&sphere), 0);
    // Far away the surface distance is |p| - r up to the chord error.
    double distance = 0.0;
    ASSERT_EQ(tool.QueryClosestPoint(Vector3(0, 0, 10), nullptr, nullptr, &distance), 0);
    EXPECT_NEAR(distance, 9.0, 1e-12);  // a pole vertex lies on the axis
    ASSERT_EQ(tool.QueryClosestPoint(Vector3(3, 4, 0), nullptr, nullptr, &distance), 0);
    EXPECT_NEAR(distance, 4.0, 0.01);
}

TEST(MeshQueryTool, ManyCoincidentTrianglesStillSplit) {
    // Hundreds of copies of one triangle: centroids coincide, so no spatial
    // split exists and the builder must still terminate with a correct tree.
    TriMesh mesh;
    for (const Vector3& p : {Vector3(0, 0, 0), Vector3(1, 0, 0), Vector3(0, 1, 0), Vector3(5, 5, 5)}) mesh.InsertVertex(p);
    for (int i = 0; i < 500; ++i) mesh.InsertTriangle(0, 1, 2);
    mesh.InsertTriangle(3, 3, 3);
    CheckAgainstBruteForce(mesh, 9, 100, 6.0);
}

TEST(MeshQueryTool, WorksOnAView) {
    // The upper half of a sphere; triangle and vertex ids are the view's own.
    TriMesh sphere = Sphere(1.0, 12, 24);
    std::vector<int> upper;
    for (int f = 0; f < sphere.GetTriangleCount(); ++f) {
        const int* t = sphere.GetTriangle(f);
        if (std::min({sphere.GetVertexCoord(t[0]).z, sphere.GetVertexCoord(t[1]).z, sphere.GetVertexCoord(t[2]).z}) > 0.0)
            upper.push_back(f);
    }
    SubTriMesh view(&sphere, upper);
    ASSERT_EQ(view.GetTriangleCount(), static_cast<int>(upper.size()));
    CheckAgainstBruteForce(view, 4, 100, 1.5);
    MeshQueryTool tool;
    ASSERT_EQ(tool.Build(&view), 0);
    // A point far below sees only the lower rim of the half sphere.
    double distance = 0.0;
    ASSERT_EQ(tool.QueryClosestPoint(Vector3(0, 0, -5), nullptr, nullptr, &distance), 0);
    EXPECT_GT(distance, 5.0);
}

TEST(MeshQueryTool, BuildCopiesTheMesh) {
    TriMesh mesh;
    testmesh::AddSquare(mesh);
    MeshQueryTool tool;
    ASSERT_EQ(tool.Build(&mesh), 0);
    mesh.SetVertexCoord(0, Vector3(0, 0, 100));
    MeshQueryTool moved(std::move(tool));
    EXPECT_TRUE(moved.IsBuilt());
    double distance = 0.0;
    ASSERT_EQ(moved.QueryClosestPoint(Vector3(0.2, 0.1, 1), nullptr, nullptr, &distance), 0);
    EXPECT_DOUBLE_EQ(distance, 1.0);
}

TEST(MeshQueryTool, RejectsBadInputAndUnbuiltQueries) {
    ORVO::LogSystem::SetLogFileName("test_meshquery_errors.txt");
    MeshQueryTool tool;
    EXPECT_FALSE(tool.IsBuilt());
    EXPECT_EQ(tool.QueryClosestPoint(Vector3(), nullptr, nullptr, nullptr), ORVO::STATUS_NOT_INITIALISED);
    EXPECT_EQ(tool.Build(nullptr), ORVO::STATUS_INVALID_INPUT);
    TriMesh broken;
    broken.InsertVertex(Vector3());
    EXPECT_EQ(tool.Build(&broken), ORVO::STATUS_INVALID_INPUT);  // no triangle
    broken.InsertTriangle(0, 0, 4);
    EXPECT_EQ(tool.Build(&broken), ORVO::STATUS_INVALID_INPUT);
    EXPECT_FALSE(tool.IsBuilt());
    EXPECT_EQ(tool.GetTriangleCount(), 0);

    const TriMesh mesh = RandomMesh(4, 10, 10);
    ASSERT_EQ(tool.Build(&mesh), 0);
    tool.Clear();
    EXPECT_EQ(tool.QueryClosestPoint(Vector3(), nullptr, nullptr, nullptr), ORVO::STATUS_NOT_INITIALISED);
    EXPECT_EQ(ReadFile("test_meshquery_errors.txt"),
              "MeshQueryTool::QueryClosestPoint: the tool is not built\n"
              "MeshQueryTool::Build: triMesh is NULL\n"
              "MeshQueryTool::Build: triMesh has no triangle: 1 0\n"
              "MeshQueryTool::Build: invalid vertex id in triangle 0: 4\n"
              "MeshQueryTool::QueryClosestPoint: the tool is not built\n");
}

TEST(MeshQueryTool, ClosestPointsMatchBruteForceOnAScannedMesh) {
    // Many components, non-manifold vertices and zero-area faces.
    const std::string path = testmesh::SharedMesh("ogre.obj");
    if (path.empty()) GTEST_SKIP() << "shared mesh ogre.obj not found";
    TriMesh mesh;
    ASSERT_TRUE(testmesh::LoadObj(path, mesh));
    Vector3 lo = mesh.GetVertexCoord(0), hi = lo;
    for (int v = 0; v < mesh.GetVertexCount(); ++v) {
        const Vector3 p = mesh.GetVertexCoord(v);
        for (int k = 0; k < 3; ++k) {
            lo[k] = std::min(lo[k], p[k]);
            hi[k] = std::max(hi[k], p[k]);
        }
    }
    const double size = (hi - lo).Length();
    MeshQueryTool tool;
    ASSERT_EQ(tool.Build(&mesh), 0);
    std::mt19937 rng(17);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    // Few queries: each brute-force answer scans all 124,008 triangles.
    for (int q = 0; q < 16; ++q) {
        Vector3 p;
        if (q % 2 == 0) {
            // Anywhere in a box somewhat larger than the mesh.
            for (int k = 0; k < 3; ++k) p[k] = lo[k] - 0.1 * size + unit(rng) * (hi[k] - lo[k] + 0.2 * size);
        } else {
            // Just off the surface, where scan points are projected.
            p = mesh.GetVertexCoord(static_cast<int>(rng() % mesh.GetVertexCount())) +
                Vector3(unit(rng) - 0.5, unit(rng) - 0.5, unit(rng) - 0.5) * (0.01 * size);
        }
        int triangle = -1;
        double distance = -1.0;
        ASSERT_EQ(tool.QueryClosestPoint(p, nullptr, &triangle, &distance), 0);
        ASSERT_NEAR(distance, BruteClosest(mesh, p).distance, 1e-12 * (1.0 + size)) << "query " << q;
        EXPECT_NEAR(DistanceToMeshTriangle(mesh, triangle, p), distance, 1e-12 * (1.0 + size));
    }
}

// --- Rays --------------------------------------------------------------------------

// Reference first hit: plane intersection, then a barycentric inside test.
bool BruteRay(const ITriMesh& mesh, const Vector3& o, const Vector3& d, double* bestT) {
    *bestT = std::numeric_limits<double>::infinity();
    for (int f = 0; f < mesh.GetTriangleCount(); ++f) {
        int ids[3];
        mesh.GetTriangleVertexIds(f, ids);
        const Vector3 a = mesh.GetVertexCoord(ids[0]);
        const Vector3 e0 = mesh.GetVertexCoord(ids[1]) - a;
        const Vector3 e1 = mesh.GetVertexCoord(ids[2]) - a;
        const Vector3 n = e0.CrossProduct(e1);
        const double denom = n * d;
        if (std::fabs(denom) < 1e-300) continue;
        const double t = (n * (a - o)) / denom;
        if (t < 0.0) continue;
        const Vector3 x = o + d * t - a;
        const double m00 = e0 * e0, m01 = e0 * e1, m11 = e1 * e1;
        const double det = m00 * m11 - m01 * m01;
        if (!(det > 0.0)) continue;
        const double r0 = x * e0, r1 = x * e1;
        const double u = (r0 * m11 - r1 * m01) / det;
        const double v = (r1 * m00 - r0 * m01) / det;
        if (u >= 0.0 && v >= 0.0 && u + v <= 1.0 && t < *bestT) *bestT = t;
    }
    return std::isfinite(*bestT);
}

TEST(MeshQueryTool, RayHitsMatchBruteForce) {
    const TriMesh mesh = RandomMesh(21, 100, 800);
    MeshQueryTool tool;
    ASSERT_EQ(tool.Build(&mesh), 0);
    std::mt19937 rng(31);
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    std::uniform_real_distribution<double> weight(0.05, 1.0);
    int hits = 0;
    for (int q = 0; q < 300; ++q) {
        const Vector3 o(3 * unit(rng), 3 * unit(rng), 3 * unit(rng));
        Vector3 d;
        if (q % 2 == 0) {
            // Aim well inside a random triangle so this ray surely hits something.
            const int f = static_cast<int>(rng() % (mesh.GetTriangleCount() - 3));
            int ids[3];
            mesh.GetTriangleVertexIds(f, ids);
            double w0 = weight(rng), w1 = weight(rng), w2 = weight(rng);
            const double s = w0 + w1 + w2;
            const Vector3 target = (mesh.GetVertexCoord(ids[0]) * w0 + mesh.GetVertexCoord(ids[1]) * w1 +
                                    mesh.GetVertexCoord(ids[2]) * w2) / s;
            d = target - o;
        } else {
            d = Vector3(unit(rng), unit(rng), unit(rng));
        }
        double refT = 0.0;
        const bool refHit = BruteRay(mesh, o, d, &refT);
        Vector3 hit;
        int triangle = -1;
        double t = -1.0;
        const int status = tool.QueryRayIntersection(o, d, &hit, &triangle, &t);
        ASSERT_EQ(status == 0, refHit) << "ray " << q;
        EXPECT_TRUE(refHit || q % 2 != 0) << "aimed ray " << q;
        if (!refHit) {
            EXPECT_EQ(status, ORVO::STATUS_NOT_FOUND);
            continue;
        }
        ++hits;
        EXPECT_NEAR(t, refT, 1e-9 * (1.0 + refT));
        EXPECT_NEAR(DistanceToMeshTriangle(mesh, triangle, hit), 0.0, 1e-9);
        EXPECT_NEAR(hit.Distance(o + d * t), 0.0, 1e-12);
    }
    EXPECT_GE(hits, 150);
    EXPECT_EQ(tool.QueryRayIntersection(Vector3(), Vector3(), nullptr, nullptr, nullptr),
              ORVO::STATUS_INVALID_INPUT);
}

TEST(MeshQueryTool, AxisAlignedRaysThroughASphere) {
    const TriMesh sphere = Sphere(2.0, 16, 32);
    MeshQueryTool tool;
    ASSERT_EQ(tool.Build(&sphere), 0);
    double t = 0.0;
    // Down the z axis, slightly off the pole vertex: the polyhedron lies inside
    // the sphere, so the hit is at most one sagitta (about 0.04) past z = 2.
    ASSERT_EQ(tool.QueryRayIntersection(Vector3(0.01, 0.02, 5), Vector3(0, 0, -1), nullptr, nullptr, &t), 0);
    EXPECT_GE(t, 3.0);
    EXPECT_LT(t, 3.05);
    // From inside, the first hit is the surface in front, not the one behind.
    Vector3 hit;
    ASSERT_EQ(tool.QueryRayIntersection(Vector3(0, 0, 0), Vector3(1, 0.1, 0.05), &hit, nullptr, &t), 0);
    EXPECT_GT(hit.x, 1.9);
    EXPECT_LE(hit.Length(), 2.0 + 1e-12);
    ASSERT_EQ(tool.QueryRayIntersection(Vector3(0, 0, 0), Vector3(0.05, -1, 0.1), &hit, nullptr, &t), 0);
    EXPECT_LT(hit.y, -1.9);
    // Pointing away from a sphere misses.
    EXPECT_EQ(tool.QueryRayIntersection(Vector3(0, 0, 5), Vector3(0, 0, 1), nullptr, nullptr, &t),
              ORVO::STATUS_NOT_FOUND);
}

}  // namespace
