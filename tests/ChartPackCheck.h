#pragma once
// Independent checks of a packed chart set: coordinates inside the unit square,
// no two charts closer than a distance (exact triangle geometry, a uniform grid
// finds the candidate pairs), and every chart moved by a rotation, one common
// scale and a translation. Used by the tests and by bench_packer.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

namespace packcheck {

struct Tri {
    double p[3][2];
    double lo[2], hi[2];
    int chart;
};

inline double Cross(const double* o, const double* a, const double* b) {
    return (a[0] - o[0]) * (b[1] - o[1]) - (a[1] - o[1]) * (b[0] - o[0]);
}

inline double PointSegmentDistance(const double* p, const double* a, const double* b) {
    double dx = b[0] - a[0], dy = b[1] - a[1];
    double len2 = dx * dx + dy * dy;
    double t = len2 > 0 ? ((p[0] - a[0]) * dx + (p[1] - a[1]) * dy) / len2 : 0.0;
    t = std::max(0.0, std::min(1.0, t));
    double ex = a[0] + t * dx - p[0], ey = a[1] + t * dy - p[1];
    return std::sqrt(ex * ex + ey * ey);
}

inline bool OnSegment(const double* a, const double* b, const double* p) {
    return std::min(a[0], b[0]) <= p[0] && p[0] <= std::max(a[0], b[0]) && std::min(a[1], b[1]) <= p[1] &&
           p[1] <= std::max(a[1], b[1]);
}

inline bool SegmentsIntersect(const double* a, const double* b, const double* c, const double* d) {
    double d1 = Cross(c, d, a), d2 = Cross(c, d, b), d3 = Cross(a, b, c), d4 = Cross(a, b, d);
    if (((d1 > 0 && d2 < 0) || (d1 < 0 && d2 > 0)) && ((d3 > 0 && d4 < 0) || (d3 < 0 && d4 > 0))) return true;
    if (d1 == 0 && OnSegment(c, d, a)) return true;
    if (d2 == 0 && OnSegment(c, d, b)) return true;
    if (d3 == 0 && OnSegment(a, b, c)) return true;
    if (d4 == 0 && OnSegment(a, b, d)) return true;
    return false;
}

// Point inside a triangle of positive area; a zero-area triangle is a segment or a
// point, whose contacts the segment tests find.
inline bool PointInTriangle(const double* p, const Tri& t) {
    if (Cross(t.p[0], t.p[1], t.p[2]) == 0) return false;
    double c0 = Cross(t.p[0], t.p[1], p), c1 = Cross(t.p[1], t.p[2], p), c2 = Cross(t.p[2], t.p[0], p);
    return (c0 >= 0 && c1 >= 0 && c2 >= 0) || (c0 <= 0 && c1 <= 0 && c2 <= 0);
}

// Euclidean distance between two closed triangles (0 when they meet); handles
// zero-area triangles, which are then segments or points.
inline double TriangleDistance(const Tri& a, const Tri& b) {
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            if (SegmentsIntersect(a.p[i], a.p[(i + 1) % 3], b.p[j], b.p[(j + 1) % 3])) return 0;
    if (PointInTriangle(a.p[0], b) || PointInTriangle(b.p[0], a)) return 0;
    double d = 1e300;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
            d = std::min(d, PointSegmentDistance(a.p[i], b.p[j], b.p[(j + 1) % 3]));
            d = std::min(d, PointSegmentDistance(b.p[j], a.p[i], a.p[(i + 1) % 3]));
        }
    return d;
}

// Distance from the closed unit square of pixel (i, j) to a triangle (0 when they meet).
inline double PixelDistance(int i, int j, const double* a, const double* b, const double* c) {
    Tri square1, square2, tri;
    const double x0 = i, y0 = j, x1 = i + 1, y1 = j + 1;
    const double s1[3][2] = {{x0, y0}, {x1, y0}, {x1, y1}};
    const double s2[3][2] = {{x0, y0}, {x1, y1}, {x0, y1}};
    const double* t[3] = {a, b, c};
    for (int k = 0; k < 3; ++k)
        for (int d = 0; d < 2; ++d) {
            square1.p[k][d] = s1[k][d];
            square2.p[k][d] = s2[k][d];
            tri.p[k][d] = t[k][d];
        }
    return std::min(TriangleDistance(square1, tri), TriangleDistance(square2, tri));
}

struct Report {
    bool inside = true;          // every coordinate in [0, 1]
    double minDistance = 1e300;  // smallest distance between triangles of different charts found
    long long closePairs = 0;    // pairs closer than the required distance
    long long pairsTested = 0;
    std::string firstProblem;
};

// Every coordinate inside [0,1]; pairs of triangles of different charts closer than
// `required` are counted. Pairs farther apart than `required` are only measured when a
// grid cell brings them together, so minDistance is exact only below `required`.
inline Report CheckPacking(const std::vector<std::vector<int>>& tris, const std::vector<std::vector<double>>& uvs,
                           double required) {
    Report rep;
    std::vector<Tri> all;
    double sizeSum = 0;
    for (size_t k = 0; k < uvs.size(); ++k) {
        for (double v : uvs[k])
            if (!(v >= 0.0 && v <= 1.0)) {
                if (rep.inside) rep.firstProblem = "coordinate outside [0,1] in chart " + std::to_string(k);
                rep.inside = false;
            }
        for (size_t t = 0; t + 2 < tris[k].size(); t += 3) {
            Tri tr;
            tr.chart = static_cast<int>(k);
            for (int c = 0; c < 3; ++c) {
                tr.p[c][0] = uvs[k][2 * tris[k][t + c]];
                tr.p[c][1] = uvs[k][2 * tris[k][t + c] + 1];
            }
            for (int a = 0; a < 2; ++a) {
                tr.lo[a] = std::min({tr.p[0][a], tr.p[1][a], tr.p[2][a]});
                tr.hi[a] = std::max({tr.p[0][a], tr.p[1][a], tr.p[2][a]});
            }
            sizeSum += std::max(tr.hi[0] - tr.lo[0], tr.hi[1] - tr.lo[1]);
            all.push_back(tr);
        }
    }
    if (all.empty()) return rep;
    // Cells about twice the mean triangle size, never smaller than the distance sought.
    double cell = std::max(required, 2.0 * sizeSum / all.size());
    cell = std::max(cell, 1.0 / 4096);
    const double half = 0.5 * required;
    auto cellOf = [&](double v) { return static_cast<int64_t>(std::floor(v / cell)); };
    std::unordered_map<int64_t, std::vector<int>> grid;
    grid.reserve(all.size() * 2);
    auto key = [](int64_t x, int64_t y) { return (x + (1 << 20)) * (int64_t(1) << 22) + (y + (1 << 20)); };
    for (size_t i = 0; i < all.size(); ++i) {
        const Tri& t = all[i];
        for (int64_t x = cellOf(t.lo[0] - half); x <= cellOf(t.hi[0] + half); ++x)
            for (int64_t y = cellOf(t.lo[1] - half); y <= cellOf(t.hi[1] + half); ++y)
                grid[key(x, y)].push_back(static_cast<int>(i));
    }
    for (const auto& entry : grid) {
        const std::vector<int>& list = entry.second;
        for (size_t i = 0; i < list.size(); ++i)
            for (size_t j = i + 1; j < list.size(); ++j) {
                const Tri& a = all[list[i]];
                const Tri& b = all[list[j]];
                if (a.chart == b.chart) continue;
                // Expanded boxes must overlap; test the pair only in the cell holding the
                // lower corner of that overlap so that it is tested once.
                double ox = std::max(a.lo[0], b.lo[0]) - half, oy = std::max(a.lo[1], b.lo[1]) - half;
                double ex = std::min(a.hi[0], b.hi[0]) + half, ey = std::min(a.hi[1], b.hi[1]) + half;
                if (ox > ex || oy > ey) continue;
                if (key(cellOf(ox), cellOf(oy)) != entry.first) continue;
                ++rep.pairsTested;
                double d = TriangleDistance(a, b);
                rep.minDistance = std::min(rep.minDistance, d);
                if (d < required) {
                    if (rep.closePairs == 0)
                        rep.firstProblem = "charts " + std::to_string(a.chart) + " and " + std::to_string(b.chart) +
                                           " are " + std::to_string(d) + " apart";
                    ++rep.closePairs;
                }
            }
    }
    return rep;
}

// True when every chart of `after` is `before` turned by a proper rotation, scaled by
// one factor common to all charts and translated. The factor is written to *scale.
inline bool CheckRigid(const std::vector<std::vector<int>>& tris, const std::vector<std::vector<double>>& before,
                       const std::vector<std::vector<double>>& after, double* scale, std::string* problem) {
    double common = -1;
    auto fail = [&](const std::string& s) {
        if (problem) *problem = s;
        return false;
    };
    for (size_t k = 0; k < before.size(); ++k) {
        const std::vector<double>& p = before[k];
        const std::vector<double>& q = after[k];
        if (p.size() != q.size()) return fail("size changed");
        const size_t n = p.size() / 2;
        if (n < 2) continue;
        // Anchors: vertex 0 and the vertex farthest from it; distances to both fix
        // every point up to a mirror, which the orientation test below rules out.
        size_t far = 0;
        double farD = 0;
        for (size_t i = 1; i < n; ++i) {
            double d = std::hypot(p[2 * i] - p[0], p[2 * i + 1] - p[1]);
            if (d > farD) { farD = d; far = i; }
        }
        if (farD == 0) {
            for (size_t i = 1; i < n; ++i)
                if (q[2 * i] != q[0] || q[2 * i + 1] != q[1]) return fail("coincident chart spread out");
            continue;
        }
        double s = std::hypot(q[2 * far] - q[0], q[2 * far + 1] - q[1]) / farD;
        if (common < 0) common = s;
        if (std::fabs(s - common) > 1e-7 * common) return fail("scale differs in chart " + std::to_string(k));
        const double tol = 1e-9 * std::max(1.0, farD * s) + 1e-12;
        for (size_t anchor : {size_t(0), far}) {
            for (size_t i = 0; i < n; ++i) {
                double d0 = std::hypot(p[2 * i] - p[2 * anchor], p[2 * i + 1] - p[2 * anchor + 1]) * s;
                double d1 = std::hypot(q[2 * i] - q[2 * anchor], q[2 * i + 1] - q[2 * anchor + 1]);
                if (std::fabs(d0 - d1) > tol) return fail("chart " + std::to_string(k) + " not rigid");
            }
        }
        for (size_t t = 0; t + 2 < tris[k].size(); t += 3) {
            const int* c = &tris[k][t];
            double a0 = Cross(&p[2 * c[0]], &p[2 * c[1]], &p[2 * c[2]]);
            double a1 = Cross(&q[2 * c[0]], &q[2 * c[1]], &q[2 * c[2]]);
            double e = std::max({std::hypot(p[2 * c[1]] - p[2 * c[0]], p[2 * c[1] + 1] - p[2 * c[0] + 1]),
                                 std::hypot(p[2 * c[2]] - p[2 * c[0]], p[2 * c[2] + 1] - p[2 * c[0] + 1]),
                                 std::hypot(p[2 * c[2]] - p[2 * c[1]], p[2 * c[2] + 1] - p[2 * c[1] + 1])});
            if (std::fabs(a0) > 1e-6 * e * e && (a0 > 0) != (a1 > 0))
                return fail("triangle flipped in chart " + std::to_string(k));
        }
    }
    if (scale) *scale = common;
    return true;
}

}  // namespace packcheck
