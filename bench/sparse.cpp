// Times the sparse Cholesky solver on the cotangent Laplacian of a flat disc of
// about 200,000 vertices with its boundary pinned: the shape of system the
// conformal flattening solves per chart, only larger.
//
//   bench_sparse [rings] [--lu]
//
// rings (default 258) sets the size: 1 + 3 rings (rings + 1) vertices.
// --lu also times the sparse LU solver once on the same system.

#include <QarnUVAtlas/SparseMatrix.h>
#include "BenchTiming.h"
#include <QarnUVAtlas/SparseSolver.h>

#include "numerics/SparseMatrixImpl.h"

#include <Eigen/SparseCholesky>

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <vector>

using benchtiming::Now;
using benchtiming::CpuNow;
using benchtiming::Median;
using benchtiming::PeakRssKiB;

namespace {

struct Disc {
    std::vector<double> xy;     // 2 per vertex
    std::vector<int> triangles;  // 3 per triangle, counter-clockwise
    std::vector<char> boundary;  // 1 on the outer ring
};

// Concentric rings: ring k (radius k / rings) holds 6k vertices, so neighbouring
// rings are stitched by near-equilateral triangles. Every other ring is turned
// by half a step to avoid long thin slivers.
Disc MakeDisc(int rings) {
    Disc d;
    const double twoPi = 6.283185307179586;
    std::vector<int> ringStart(rings + 2, 0);
    d.xy.push_back(0.0);
    d.xy.push_back(0.0);
    ringStart[1] = 1;
    for (int k = 1; k <= rings; ++k) {
        const int count = 6 * k;
        const double offset = (k % 2) ? 0.5 : 0.0;
        for (int i = 0; i < count; ++i) {
            const double a = twoPi * (i + offset) / count;
            d.xy.push_back(std::cos(a) * k / rings);
            d.xy.push_back(std::sin(a) * k / rings);
        }
        ringStart[k + 1] = ringStart[k] + count;
    }
    const int vertexCount = ringStart[rings + 1];
    d.boundary.assign(vertexCount, 0);
    for (int v = ringStart[rings]; v < vertexCount; ++v) d.boundary[v] = 1;

    // Centre fan.
    for (int i = 0; i < 6; ++i) {
        d.triangles.push_back(0);
        d.triangles.push_back(1 + i);
        d.triangles.push_back(1 + (i + 1) % 6);
    }
    // Bands: walk both rings by angle, always advancing the one whose next
    // vertex comes first.
    for (int k = 2; k <= rings; ++k) {
        const int n0 = 6 * (k - 1), n1 = 6 * k;
        const double off0 = ((k - 1) % 2) ? 0.5 : 0.0, off1 = (k % 2) ? 0.5 : 0.0;
        const int s0 = ringStart[k - 1], s1 = ringStart[k];
        // Both walks start at vertex 0 (angle at most half a step) and end by
        // wrapping back to it.
        int i = 0, j = 0;
        while (i < n0 || j < n1) {
            const double nextInner = (i + 1 + off0) / n0;
            const double nextOuter = (j + 1 + off1) / n1;
            if (j < n1 && (i >= n0 || nextOuter <= nextInner)) {
                d.triangles.push_back(s0 + i % n0);
                d.triangles.push_back(s1 + j % n1);
                d.triangles.push_back(s1 + (j + 1) % n1);
                ++j;
            } else {
                d.triangles.push_back(s0 + i % n0);
                d.triangles.push_back(s1 + j % n1);
                d.triangles.push_back(s0 + (i + 1) % n0);
                ++i;
            }
        }
    }
    return d;
}

}  // namespace

int main(int argc, char** argv) {
    int rings = 258;
    bool withLu = false;
    for (int a = 1; a < argc; ++a) {
        if (std::strcmp(argv[a], "--lu") == 0)
            withLu = true;
        else
            rings = std::max(2, std::atoi(argv[a]));
    }

    double t0 = Now();
    const Disc disc = MakeDisc(rings);
    const int vertexCount = static_cast<int>(disc.boundary.size());
    const int triangleCount = static_cast<int>(disc.triangles.size() / 3);
    std::vector<int> unknown(vertexCount, -1);
    int interiorCount = 0;
    for (int v = 0; v < vertexCount; ++v)
        if (!disc.boundary[v]) unknown[v] = interiorCount++;
    const double tMesh = Now() - t0;

    // Boundary values from a linear function: the cotangent Laplacian is exact
    // on linear functions over a flat mesh, so the solution is known.
    auto exact = [&](int v) { return disc.xy[2 * v] + 2.0 * disc.xy[2 * v + 1]; };

    t0 = Now();
    ORVO::SparseMatrix laplacian(interiorCount, interiorCount);
    laplacian.GetImpl()->mTriplets.reserve(static_cast<size_t>(triangleCount) * 12);
    std::vector<double> rhs(interiorCount, 0.0);
    for (int t = 0; t < triangleCount; ++t) {
        const int* c = &disc.triangles[3 * t];
        for (int e = 0; e < 3; ++e) {
            const int i = c[e], j = c[(e + 1) % 3], k = c[(e + 2) % 3];
            // Half the cotangent of the angle at k weights edge (i, j).
            const double ax = disc.xy[2 * i] - disc.xy[2 * k], ay = disc.xy[2 * i + 1] - disc.xy[2 * k + 1];
            const double bx = disc.xy[2 * j] - disc.xy[2 * k], by = disc.xy[2 * j + 1] - disc.xy[2 * k + 1];
            const double w = 0.5 * (ax * bx + ay * by) / std::fabs(ax * by - ay * bx);
            const int ui = unknown[i], uj = unknown[j];
            if (ui >= 0) laplacian.AddTriplet(ui, ui, w);
            if (uj >= 0) laplacian.AddTriplet(uj, uj, w);
            if (ui >= 0 && uj >= 0) {
                laplacian.AddTriplet(ui, uj, -w);
                laplacian.AddTriplet(uj, ui, -w);
            } else if (ui >= 0) {
                rhs[ui] += w * exact(j);
            } else if (uj >= 0) {
                rhs[uj] += w * exact(i);
            }
        }
    }
    const double tTriplets = Now() - t0;
    t0 = Now();
    laplacian.BuildFromTriplets();
    const double tBuild = Now() - t0;
    const long nonZeros = static_cast<long>(laplacian.GetImpl()->mMatrix.nonZeros());

    std::printf("disc: %d rings, %d vertices, %d triangles, %d unknowns, %ld non-zeros\n", rings,
                vertexCount, triangleCount, interiorCount, nonZeros);
    std::printf("mesh %.3f s, triplets %.3f s, BuildFromTriplets %.3f s\n", tMesh, tTriplets,
                tBuild);

    std::vector<double> factorTimes, solveTimes, totalTimes, cpuTimes;
    std::vector<double> x;
    for (int run = 0; run < 5; ++run) {
        ORVO::LinearSparseLLTSolver llt;
        const double cpu = CpuNow();
        const double a = Now();
        if (llt.Factorize(laplacian) != 0) {
            std::printf("LLT factorisation failed\n");
            return 1;
        }
        const double b = Now();
        if (llt.Solve(rhs, &x) != 0) {
            std::printf("LLT solve failed\n");
            return 1;
        }
        const double c = Now();
        factorTimes.push_back(b - a);
        solveTimes.push_back(c - b);
        totalTimes.push_back(c - a);
        cpuTimes.push_back(CpuNow() - cpu);
    }
    double maxError = 0.0;
    for (int v = 0; v < vertexCount; ++v)
        if (unknown[v] >= 0) maxError = std::max(maxError, std::fabs(x[unknown[v]] - exact(v)));
    std::printf("LLT Factorize+Solve median of 5: %.3f s (Factorize %.3f s, Solve %.4f s), "
                "processor time %.3f s\n",
                Median(totalTimes), Median(factorTimes), Median(solveTimes), Median(cpuTimes));
    std::printf("max |x - exact| = %.3g\n", maxError);

    // Where the factorisation time goes, straight on the wrapped object.
    {
        Eigen::SimplicialLLT<ORVO::EigenSparseMatrix> llt;
        const double a = Now();
        llt.analyzePattern(laplacian.GetImpl()->mMatrix);
        const double b = Now();
        llt.factorize(laplacian.GetImpl()->mMatrix);
        const double c = Now();
        std::printf("  ordering+symbolic %.3f s, numeric %.3f s, non-zeros of L %ld\n", b - a,
                    c - b, static_cast<long>(llt.matrixL().nestedExpression().nonZeros()));
    }

    if (withLu) {
        ORVO::LinearSparseLUSolver lu;
        const double a = Now();
        const int f = lu.Factorize(laplacian);
        const double b = Now();
        const int s = f == 0 ? lu.Solve(rhs, &x) : f;
        const double c = Now();
        std::printf("LU Factorize %.3f s, Solve %.4f s, status %d\n", b - a, c - b, s);
    }
    std::printf("peak memory (ru_maxrss): %.1f MiB\n", PeakRssKiB() / 1024.0);
    return 0;
}
