// Times the flattening of one chart and the 2-D overlap test on large inputs:
//   * ConformalMap and OptimizeIsometric (7 iterations) on a curved, disc-like
//     grid patch of about 100,000 triangles (a piece of a sphere, jittered,
//     random diagonals);
//   * IsTriMesh2DOverlapped on a jittered planar grid of 1,000,000 triangles,
//     without and with welding.
// Each figure is the median of 5 runs. Peak resident memory is printed last.
//
//   bench_flatten [patchQuadsPerSide] [layoutQuadsX layoutQuadsY]

#include <QarnUVAtlas/Primitives.h>
#include "BenchTiming.h"
#include <QarnUVAtlas/TriMesh.h>
#include <QarnUVAtlas/UnfoldMesh.h>

#include <sys/resource.h>
#include <time.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <vector>

using benchtiming::Now;
using benchtiming::CpuNow;
using benchtiming::Median;
using benchtiming::PeakRssKiB;

namespace {

// (n + 1)^2 grid points with interior jitter; each quad split along a random
// diagonal, counter-clockwise in the plane.
void MakeGrid(int nx, int ny, double jitter, unsigned seed, std::vector<ORVO::Vector2>* points,
              std::vector<int>* triangles) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> shake(-jitter, jitter);
    std::bernoulli_distribution coin(0.5);
    points->clear();
    triangles->clear();
    points->reserve(static_cast<size_t>(nx + 1) * (ny + 1));
    triangles->reserve(6 * static_cast<size_t>(nx) * ny);
    for (int j = 0; j <= ny; ++j) {
        for (int i = 0; i <= nx; ++i) {
            const bool inner = i > 0 && i < nx && j > 0 && j < ny;
            points->emplace_back(i + (inner ? shake(rng) : 0.0), j + (inner ? shake(rng) : 0.0));
        }
    }
    auto id = [nx](int i, int j) { return j * (nx + 1) + i; };
    for (int j = 0; j < ny; ++j) {
        for (int i = 0; i < nx; ++i) {
            const int a = id(i, j), b = id(i + 1, j), c = id(i + 1, j + 1), d = id(i, j + 1);
            if (coin(rng)) {
                triangles->insert(triangles->end(), {a, b, c, a, c, d});
            } else {
                triangles->insert(triangles->end(), {a, b, d, b, c, d});
            }
        }
    }
}

void FlattenPatch(int patchSide, int runs) {
    std::vector<ORVO::Vector2> grid;
    std::vector<int> tris;
    // Curved patch: the grid mapped into [-1, 1]^2 and lifted onto a sphere of
    // radius 1.6 (a cap of about 60 degrees half-angle at the corners).
    MakeGrid(patchSide, patchSide, 0.3, 7u, &grid, &tris);
    ORVO::TriMesh patch;
    patch.ReserveVertices(static_cast<int>(grid.size()));
    patch.ReserveTriangles(static_cast<int>(tris.size() / 3));
    for (const ORVO::Vector2& p : grid) {
        const double x = 2.0 * p.x / patchSide - 1.0, y = 2.0 * p.y / patchSide - 1.0;
        ORVO::Vector3 q(x, y, 1.6);
        q.Normalise();
        patch.InsertVertex(q * 1.6);
    }
    for (size_t k = 0; k < tris.size(); k += 3) patch.InsertTriangle(tris[k], tris[k + 1], tris[k + 2]);
    std::printf("curved patch: %d vertices, %d triangles\n", patch.GetVertexCount(), patch.GetTriangleCount());

    std::vector<double> conformal, isometric, conformalCpu, isometricCpu;
    std::vector<double> uv;
    for (int r = 0; r < runs; ++r) {
        double t0 = Now(), c0 = CpuNow();
        int status = ORVO::UnfoldMesh::ConformalMap(&patch, nullptr, nullptr, &uv);
        double t1 = Now(), c1 = CpuNow();
        if (status != 0) {
            std::printf("ConformalMap failed: %d\n", status);
            std::exit(1);
        }
        status = ORVO::UnfoldMesh::OptimizeIsometric(&patch, &uv, 7, nullptr);
        double t2 = Now(), c2 = CpuNow();
        if (status != 0) {
            std::printf("OptimizeIsometric failed: %d\n", status);
            std::exit(1);
        }
        conformal.push_back(t1 - t0);
        isometric.push_back(t2 - t1);
        conformalCpu.push_back(c1 - c0);
        isometricCpu.push_back(c2 - c1);
    }
    const double mc = Median(conformal), mi = Median(isometric);
    std::printf("ConformalMap            median %.3f s wall, %.3f s cpu\n", mc, Median(conformalCpu));
    std::printf("OptimizeIsometric (7)   median %.3f s wall, %.3f s cpu\n", mi, Median(isometricCpu));
    std::printf("conformal + isometric   %.3f s wall, %.3f s cpu (target < 2 s)\n", mc + mi,
                Median(conformalCpu) + Median(isometricCpu));

}

}  // namespace

int main(int argc, char** argv) {
    const int patchSide = argc > 1 ? std::atoi(argv[1]) : 224;
    const int layoutX = argc > 3 ? std::atoi(argv[2]) : 1000;
    const int layoutY = argc > 3 ? std::atoi(argv[3]) : 500;
    const int runs = 5;

    if (patchSide > 0) FlattenPatch(patchSide, runs);

    // Flattened layout for the overlap test.
    std::vector<ORVO::Vector2> grid;
    std::vector<int> tris;
    MakeGrid(layoutX, layoutY, 0.15, 11u, &grid, &tris);
    std::printf("planar layout: %zu points, %zu triangles\n", grid.size(), tris.size() / 3);
    for (int weld = 0; weld < 2; ++weld) {
        std::vector<double> times, cpu;
        std::vector<int> faces;
        double ratio = 0.0;
        bool overlapped = false;
        for (int r = 0; r < runs; ++r) {
            const double t0 = Now(), c0 = CpuNow();
            overlapped = ORVO::IsTriMesh2DOverlapped(grid, tris, weld != 0, &faces, &ratio);
            times.push_back(Now() - t0);
            cpu.push_back(CpuNow() - c0);
        }
        std::printf("IsTriMesh2DOverlapped weld=%d median %.3f s wall, %.3f s cpu (target < 1.5 s), "
                    "overlapped=%d faces=%zu\n",
                    weld, Median(times), Median(cpu), overlapped ? 1 : 0, faces.size());
    }
    std::printf("peak resident memory: %.1f MiB\n", PeakRssKiB() / 1024.0);
    return 0;
}
