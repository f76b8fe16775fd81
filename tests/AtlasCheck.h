#pragma once
// An independent judge of an atlas for the tests: overlapping face interiors
// (separating-axis test with a relative tolerance, so faces that only touch
// do not count), faces flipped against their chart's majority orientation,
// zero-area texture faces, the unit-square bound and the utilization.

#include <QarnUVAtlas/TriMesh.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

namespace atlascheck {

struct Quality {
    int overlapping = 0;  // faces whose interior meets another face's interior
    int flipped = 0;      // faces oriented against their chart's majority
    int zeroArea = 0;     // faces with (almost) no texture area
    int charts = 0;       // components of faces through shared texture ids
    bool inUnitSquare = true;
    double utilization = 0.0;  // total texture area
};

inline double Orient(const double* a, const double* b, const double* c) {
    return (b[0] - a[0]) * (c[1] - a[1]) - (b[1] - a[1]) * (c[0] - a[0]);
}

// Whether an edge line of `a` (oriented by sign) has all of `b` on its outside.
inline bool Separates(const double* const a[3], double sign, const double* const b[3], double eps) {
    for (int k = 0; k < 3; ++k) {
        const double* p = a[k];
        const double* q = a[(k + 1) % 3];
        double len = std::hypot(q[0] - p[0], q[1] - p[1]);
        bool allOutside = true;
        for (int j = 0; j < 3 && allOutside; ++j) {
            if (sign * Orient(p, q, b[j]) > eps * len) allOutside = false;
        }
        if (allOutside) return true;
    }
    return false;
}

inline Quality Judge(const ORVO::ITriMesh& mesh, const std::vector<double>& tex, const std::vector<int>& ids) {
    Quality q;
    const int faces = mesh.GetTriangleCount();
    const int points = static_cast<int>(tex.size() / 2);
    double lo[2] = {1e300, 1e300}, hi[2] = {-1e300, -1e300};
    for (int i = 0; i < points; ++i) {
        for (int d = 0; d < 2; ++d) {
            lo[d] = std::min(lo[d], tex[2 * i + d]);
            hi[d] = std::max(hi[d], tex[2 * i + d]);
            if (!(tex[2 * i + d] >= 0.0 && tex[2 * i + d] <= 1.0)) q.inUnitSquare = false;
        }
    }
    const double boxArea = std::max((hi[0] - lo[0]) * (hi[1] - lo[1]), 1e-300);
    std::vector<double> area(faces);
    for (int f = 0; f < faces; ++f) {
        const double* a = &tex[2 * ids[3 * f]];
        const double* b = &tex[2 * ids[3 * f + 1]];
        const double* c = &tex[2 * ids[3 * f + 2]];
        area[f] = 0.5 * Orient(a, b, c);
        q.utilization += std::fabs(area[f]);
        if (std::fabs(2.0 * area[f]) <= 1e-14 * boxArea) ++q.zeroArea;
    }

    // Charts: faces joined through shared texture ids.
    std::vector<int> parent(points);
    std::iota(parent.begin(), parent.end(), 0);
    auto find = [&](int x) {
        while (parent[x] != x) x = parent[x] = parent[parent[x]];
        return x;
    };
    for (int f = 0; f < faces; ++f) {
        int r0 = find(ids[3 * f]);
        for (int k = 1; k < 3; ++k) {
            int r = find(ids[3 * f + k]);
            if (r != r0) parent[r] = r0;
        }
    }
    std::vector<double> chartSign(points, 0.0);
    std::vector<char> used(points, 0);
    for (int f = 0; f < faces; ++f) {
        int r = find(ids[3 * f]);
        chartSign[r] += area[f];
        used[r] = 1;
    }
    for (int i = 0; i < points; ++i) q.charts += used[i] && find(i) == i ? 1 : 0;
    for (int f = 0; f < faces; ++f) {
        if (std::fabs(2.0 * area[f]) <= 1e-14 * boxArea) continue;
        if ((area[f] > 0.0) != (chartSign[find(ids[3 * f])] > 0.0)) ++q.flipped;
    }

    // Overlaps: candidates from a uniform grid over the texture bounding box.
    const int cells = std::max(1, static_cast<int>(std::sqrt(static_cast<double>(faces))));
    const double cw = std::max(hi[0] - lo[0], 1e-300) / cells, ch = std::max(hi[1] - lo[1], 1e-300) / cells;
    std::vector<std::vector<int>> grid(static_cast<size_t>(cells) * cells);
    auto cellRange = [&](int f, int range[4]) {
        double minX = 1e300, minY = 1e300, maxX = -1e300, maxY = -1e300;
        for (int k = 0; k < 3; ++k) {
            const double* p = &tex[2 * ids[3 * f + k]];
            minX = std::min(minX, p[0]);
            maxX = std::max(maxX, p[0]);
            minY = std::min(minY, p[1]);
            maxY = std::max(maxY, p[1]);
        }
        range[0] = std::min(cells - 1, std::max(0, static_cast<int>((minX - lo[0]) / cw)));
        range[1] = std::min(cells - 1, std::max(0, static_cast<int>((maxX - lo[0]) / cw)));
        range[2] = std::min(cells - 1, std::max(0, static_cast<int>((minY - lo[1]) / ch)));
        range[3] = std::min(cells - 1, std::max(0, static_cast<int>((maxY - lo[1]) / ch)));
    };
    for (int f = 0; f < faces; ++f) {
        int r[4];
        cellRange(f, r);
        for (int y = r[2]; y <= r[3]; ++y)
            for (int x = r[0]; x <= r[1]; ++x) grid[static_cast<size_t>(y) * cells + x].push_back(f);
    }
    const double eps = 1e-12 * std::max(hi[0] - lo[0], hi[1] - lo[1]);
    std::vector<char> overlapping(faces, 0);
    std::vector<int> candidates;
    for (int f = 0; f < faces; ++f) {
        if (std::fabs(2.0 * area[f]) <= 1e-14 * boxArea) continue;
        int r[4];
        cellRange(f, r);
        candidates.clear();
        for (int y = r[2]; y <= r[3]; ++y)
            for (int x = r[0]; x <= r[1]; ++x) {
                const std::vector<int>& cell = grid[static_cast<size_t>(y) * cells + x];
                candidates.insert(candidates.end(), cell.begin(), cell.end());
            }
        std::sort(candidates.begin(), candidates.end());
        candidates.erase(std::unique(candidates.begin(), candidates.end()), candidates.end());
        const double* a[3] = {&tex[2 * ids[3 * f]], &tex[2 * ids[3 * f + 1]], &tex[2 * ids[3 * f + 2]]};
        for (int g : candidates) {
            if (g <= f || std::fabs(2.0 * area[g]) <= 1e-14 * boxArea) continue;
            const double* b[3] = {&tex[2 * ids[3 * g]], &tex[2 * ids[3 * g + 1]], &tex[2 * ids[3 * g + 2]]};
            if (Separates(a, area[f] > 0 ? 1.0 : -1.0, b, eps)) continue;
            if (Separates(b, area[g] > 0 ? 1.0 : -1.0, a, eps)) continue;
            overlapping[f] = overlapping[g] = 1;
        }
    }
    for (char c : overlapping) q.overlapping += c;
    return q;
}

}  // namespace atlascheck
