#include "unfold/packing/ChartOrientation.h"

#include <algorithm>
#include <cmath>

namespace ORVO {

namespace {

inline double Cross(const double* o, const double* a, const double* b) {
    return (a[0] - o[0]) * (b[1] - o[1]) - (a[1] - o[1]) * (b[0] - o[0]);
}

// Indices of the points that may lie on the hull: a point strictly inside the
// polygon of the eight axis- and diagonal-extreme points cannot. Cheap for the
// dense interior of large charts, which would otherwise dominate the sort.
std::vector<int> HullCandidates(const double* uv, int count) {
    // Extreme directions in counter-clockwise order of angle.
    static const double dirs[8][2] = {{0, -1}, {1, -1}, {1, 0}, {1, 1}, {0, 1}, {-1, 1}, {-1, 0}, {-1, -1}};
    int best[8];
    double bestValue[8];
    for (int d = 0; d < 8; ++d) {
        best[d] = 0;
        bestValue[d] = dirs[d][0] * uv[0] + dirs[d][1] * uv[1];
    }
    for (int i = 1; i < count; ++i) {
        const double* p = uv + 2 * i;
        for (int d = 0; d < 8; ++d) {
            double v = dirs[d][0] * p[0] + dirs[d][1] * p[1];
            if (v > bestValue[d]) {
                bestValue[d] = v;
                best[d] = i;
            }
        }
    }
    std::vector<int> poly;
    for (int d = 0; d < 8; ++d)
        if (poly.empty() || best[d] != poly.back()) poly.push_back(best[d]);
    while (poly.size() > 1 && poly.front() == poly.back()) poly.pop_back();
    std::vector<int> keep;
    keep.reserve(count);
    const int m = static_cast<int>(poly.size());
    for (int i = 0; i < count; ++i) {
        const double* p = uv + 2 * i;
        bool inside = m >= 3;
        for (int k = 0; k < m && inside; ++k) {
            const double* a = uv + 2 * poly[k];
            const double* b = uv + 2 * poly[(k + 1) % m];
            if (!(Cross(a, b, p) > 0)) inside = false;
        }
        if (!inside) keep.push_back(i);
    }
    return keep;
}

}  // namespace

std::vector<int> _ConvexHull2D(const double* uv, int count) {
    std::vector<int> hull;
    if (count <= 0) return hull;
    std::vector<int> idx = HullCandidates(uv, count);
    std::sort(idx.begin(), idx.end(), [uv](int a, int b) {
        const double* p = uv + 2 * a;
        const double* q = uv + 2 * b;
        return p[0] < q[0] || (p[0] == q[0] && p[1] < q[1]);
    });
    // Drop coincident points so the chain never sees a zero-length edge.
    idx.erase(std::unique(idx.begin(), idx.end(),
                          [uv](int a, int b) { return uv[2 * a] == uv[2 * b] && uv[2 * a + 1] == uv[2 * b + 1]; }),
              idx.end());
    const int n = static_cast<int>(idx.size());
    if (n <= 2) return idx;
    hull.resize(2 * n);
    int k = 0;
    for (int i = 0; i < n; ++i) {  // lower chain
        while (k >= 2 && Cross(uv + 2 * hull[k - 2], uv + 2 * hull[k - 1], uv + 2 * idx[i]) <= 0) --k;
        hull[k++] = idx[i];
    }
    for (int i = n - 2, lower = k + 1; i >= 0; --i) {  // upper chain
        while (k >= lower && Cross(uv + 2 * hull[k - 2], uv + 2 * hull[k - 1], uv + 2 * idx[i]) <= 0) --k;
        hull[k++] = idx[i];
    }
    hull.resize(k - 1);
    if (hull.size() < 3) {
        // Everything collinear: keep the two extreme points.
        hull.assign({idx.front(), idx.back()});
    }
    return hull;
}

HullRectangle _MinimalAreaRectangle(const double* uv, const std::vector<int>& hull) {
    HullRectangle best;
    const int m = static_cast<int>(hull.size());
    if (m <= 1) return best;
    auto P = [&](int i) { return uv + 2 * hull[((i % m) + m) % m]; };
    if (m == 2) {
        double dx = P(1)[0] - P(0)[0], dy = P(1)[1] - P(0)[1];
        double len = std::hypot(dx, dy);
        if (len > 0) {
            best.axisX = dx / len;
            best.axisY = dy / len;
            best.extentAlong = len;
        }
        return best;
    }
    // Rotating calipers: the best rectangle has one side on a hull edge; the
    // extreme points along the edge, against it and across it move forward
    // monotonically as the edge goes round, so each pointer sweeps the hull once.
    int jMax = 0, jMin = 0, jFar = 0;
    double bestArea = -1;
    for (int i = 0; i < m; ++i) {
        const double* a = P(i);
        const double* b = P(i + 1);
        double ex = b[0] - a[0], ey = b[1] - a[1];
        double len = std::hypot(ex, ey);
        if (!(len > 0)) continue;
        ex /= len;
        ey /= len;
        double nx = -ey, ny = ex;  // inward normal of a counter-clockwise hull
        auto along = [&](int j) { return ex * P(j)[0] + ey * P(j)[1]; };
        auto across = [&](int j) { return nx * P(j)[0] + ny * P(j)[1]; };
        if (i == 0 || bestArea < 0) {
            jMax = jMin = jFar = i;
            for (int j = 0; j < m; ++j) {
                if (along(j) > along(jMax)) jMax = j;
                if (along(j) < along(jMin)) jMin = j;
                if (across(j) > across(jFar)) jFar = j;
            }
        } else {
            for (int s = 0; s < m && along(jMax + 1) > along(jMax); ++s) jMax = (jMax + 1) % m;
            for (int s = 0; s < m && along(jMin + 1) < along(jMin); ++s) jMin = (jMin + 1) % m;
            for (int s = 0; s < m && across(jFar + 1) > across(jFar); ++s) jFar = (jFar + 1) % m;
        }
        double w = along(jMax) - along(jMin);
        double h = across(jFar) - across(i);
        double area = w * h;
        if (bestArea < 0 || area < bestArea) {
            bestArea = area;
            best.axisX = ex;
            best.axisY = ey;
            best.extentAlong = w;
            best.extentAcross = h;
        }
    }
    return best;
}

}  // namespace ORVO
