// Times building the triangle hierarchy of MeshQueryTool and answering
// closest-point and ray queries on a finely tessellated sphere with a little
// noise (about a million triangles by default).
//
//   bench_meshquery [rings | mesh.obj] [queries]
//
// rings (default 500): a UV sphere with `rings` rings and 2 * rings segments,
// 4 * rings * (rings - 1) triangles (998,000 for 500). An OBJ path is read
// instead, e.g. ../shared/meshes/igea_x4.obj, and scaled to fit a cube of
// edge 2 so the query offsets mean the same for every mesh.

#include <QarnUVAtlas/MeshQuery.h>
#include "BenchTiming.h"
#include "tests/TestMeshes.h"
#include <QarnUVAtlas/TriMesh.h>

#include <QarnUVAtlas/Parser.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <random>
#include <string>
#include <vector>

using ORVO::MeshQueryTool;
using ORVO::TriMesh;
using ORVO::Vector3;

using benchtiming::Now;
using benchtiming::CpuNow;
using benchtiming::Median;

namespace {


// The test suite's UV sphere with every vertex moved off the sphere a little.
TriMesh NoisySphere(int rings, int segments) {
    TriMesh mesh = testmesh::Sphere(1.0, rings, segments);
    std::mt19937 rng(1);
    std::uniform_real_distribution<double> noise(-0.002, 0.002);
    // The poles stay put, as the query offsets are measured from the unit sphere.
    for (int v = 1; v + 1 < mesh.GetVertexCount(); ++v) mesh.SetVertexCoord(v, mesh.GetVertexCoord(v) * (1.0 + noise(rng)));
    return mesh;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string first = argc > 1 ? argv[1] : "500";
    const int queries = argc > 2 ? std::atoi(argv[2]) : 1000000;
    TriMesh mesh;
    if (first.size() > 4 && first.compare(first.size() - 4, 4, ".obj") == 0) {
        if (ORVO::Parser::ImportTriMesh(first, &mesh) != 0) {
            std::printf("cannot read %s: %s\n", first.c_str(), ORVO::Parser::GetLastError().c_str());
            return 1;
        }
        // Fit into the unit cube around the origin so the query points make sense.
        mesh.UnifyCoords(2.0, nullptr, nullptr);
    } else {
        const int rings = std::max(3, std::atoi(first.c_str()));
        mesh = NoisySphere(rings, 2 * rings);
    }
    std::printf("mesh: %d vertices, %d triangles\n", mesh.GetVertexCount(), mesh.GetTriangleCount());

    MeshQueryTool tool;
    std::vector<double> buildTimes, buildCpu;
    for (int rep = 0; rep < 3; ++rep) {
        const double t0 = Now();
        const double c0 = CpuNow();
        if (tool.Build(&mesh) != 0) {
            std::printf("build failed\n");
            return 1;
        }
        buildTimes.push_back(Now() - t0);
        buildCpu.push_back(CpuNow() - c0);
    }
    std::printf("build: median %.3f s wall, %.3f s processor, over 3 runs\n", Median(buildTimes),
                Median(buildCpu));

    // Two query sets around random vertices: points just off the surface (as
    // when scan points are projected, the common use) and points up to 0.2
    // away, where many more triangles have boxes within reach.
    for (double spread : {0.001, 0.2}) {
        std::mt19937 rng(2);
        std::uniform_real_distribution<double> unit(-1.0, 1.0);
        std::vector<Vector3> points(static_cast<size_t>(queries));
        for (Vector3& p : points) {
            Vector3 dir(unit(rng), unit(rng), unit(rng));
            dir.Normalise();
            const int v = static_cast<int>(rng() % static_cast<unsigned>(mesh.GetVertexCount()));
            p = mesh.GetVertexCoord(v) + dir * (spread * unit(rng));
        }
        double sum = 0.0;
        double t0 = Now();
        double c0 = CpuNow();
        for (const Vector3& p : points) {
            double d = 0.0;
            tool.QueryClosestPoint(p, nullptr, nullptr, &d);
            sum += d;
        }
        double elapsed = Now() - t0;
        double cpu = CpuNow() - c0;
        std::printf("closest point, offsets up to %.3f: %d queries, %.2f us each wall, %.2f us "
                    "processor, mean distance %.5f\n",
                    spread, queries, 1e6 * elapsed / queries, 1e6 * cpu / queries, sum / queries);

        int hits = 0;
        t0 = Now();
        c0 = CpuNow();
        for (const Vector3& p : points) {
            if (tool.QueryRayIntersection(Vector3(0, 0, 0), p, nullptr, nullptr, nullptr) == 0) ++hits;
        }
        elapsed = Now() - t0;
        cpu = CpuNow() - c0;
        std::printf("ray from the centre: %d queries, %.2f us each wall, %.2f us processor, %d hits\n",
                    queries, 1e6 * elapsed / queries, 1e6 * cpu / queries, hits);
    }
    return 0;
}
