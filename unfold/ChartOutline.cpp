#include "unfold/ChartOutline.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace ORVO {

namespace {

// Triangles whose doubled area is below this fraction of the longest squared edge
// have no reliable orientation. Looser than the rasteriser's own test: such a
// triangle is merely drawn on its own, which is always safe.
constexpr double kFlatRatio = 1e-8;

// Rows whose pixel centre line y = j + 0.5 the edge from y0 to y1 crosses, counted
// half-open so that a vertex on the line is crossed once: [first, last], clipped.
inline bool CrossedRows(double y0, double y1, int height, int& first, int& last) {
    const double lo = std::min(y0, y1), hi = std::max(y0, y1);
    if (!(hi > lo)) return false;
    first = std::max(0, static_cast<int>(std::ceil(lo - 0.5)));
    last = std::min(height - 1, static_cast<int>(std::ceil(hi - 0.5)) - 1);
    return first <= last;
}

struct Crossing {
    double x;
    int winding;
};

}  // namespace

ChartOutline _MakeChartOutline(const std::vector<int>& tris, const double* uv) {
    ChartOutline outline;
    int vertexCount = 0;
    for (int v : tris) vertexCount = std::max(vertexCount, v + 1);
    int sign = 0;
    // Directed edges, bucketed by their lower vertex id (a counting sort), so that
    // opposite copies meet in the same short bucket.
    std::vector<int> start(static_cast<size_t>(vertexCount) + 1, 0);
    for (size_t t = 0; t + 2 < tris.size(); t += 3) {
        const int* v = &tris[t];
        const double* a = &uv[2 * v[0]];
        const double* b = &uv[2 * v[1]];
        const double* c = &uv[2 * v[2]];
        const double abx = b[0] - a[0], aby = b[1] - a[1], acx = c[0] - a[0], acy = c[1] - a[1];
        const double bcx = c[0] - b[0], bcy = c[1] - b[1];
        const double longest = std::max({abx * abx + aby * aby, acx * acx + acy * acy, bcx * bcx + bcy * bcy});
        const double area2 = abx * acy - aby * acx;
        if (longest == 0 || std::fabs(area2) <= kFlatRatio * longest) {
            outline.flatTriangles.push_back(static_cast<int>(t / 3));
        } else {
            const int s = area2 > 0 ? 1 : -1;
            if (sign == 0) sign = s;
            if (s != sign) return outline;
        }
        for (int k = 0; k < 3; ++k)
            if (v[k] != v[(k + 1) % 3]) ++start[std::min(v[k], v[(k + 1) % 3]) + 1];
    }
    for (int i = 0; i < vertexCount; ++i) start[i + 1] += start[i];
    // Per bucket: the upper vertex id and +1 (from lower to upper) or -1.
    std::vector<std::pair<int, int>> bucket(static_cast<size_t>(start[vertexCount]));
    std::vector<int> fill(start.begin(), start.end() - 1);
    for (size_t t = 0; t + 2 < tris.size(); t += 3)
        for (int k = 0; k < 3; ++k) {
            const int from = tris[t + k], to = tris[t + (k + 1) % 3];
            if (from == to) continue;
            const int lo = std::min(from, to);
            bucket[fill[lo]++] = {std::max(from, to), from < to ? 1 : -1};
        }
    for (int lo = 0; lo < vertexCount; ++lo) {
        auto first = bucket.begin() + start[lo], last = bucket.begin() + start[lo + 1];
        std::sort(first, last);
        for (auto it = first; it != last;) {
            int net = 0;
            const int hi = it->first;
            for (; it != last && it->first == hi; ++it) net += it->second;
            if (net != 0) outline.edges.push_back({lo, hi, net});
        }
    }
    outline.usable = true;
    return outline;
}

void _RasteriseOutline(BitImage& image, const double* pixels, const std::vector<int>& tris,
                       const ChartOutline& outline) {
    for (int t : outline.flatTriangles)
        _RasteriseTriangle(image, &pixels[2 * tris[3 * t]], &pixels[2 * tris[3 * t + 1]], &pixels[2 * tris[3 * t + 2]]);
    // Pixels the outline touches; every other pixel lies wholly inside or outside.
    for (const OutlineEdge& e : outline.edges) _RasteriseSegment(image, &pixels[2 * e.from], &pixels[2 * e.to]);

    // Pixels whose centre the outline winds around, row by row.
    thread_local std::vector<int> rowStart;
    thread_local std::vector<Crossing> crossings;
    const int height = image.height;
    rowStart.assign(static_cast<size_t>(height) + 1, 0);
    for (const OutlineEdge& e : outline.edges) {
        int first, last;
        if (CrossedRows(pixels[2 * e.from + 1], pixels[2 * e.to + 1], height, first, last))
            for (int j = first; j <= last; ++j) ++rowStart[j + 1];
    }
    for (int j = 0; j < height; ++j) rowStart[j + 1] += rowStart[j];
    crossings.resize(static_cast<size_t>(rowStart[height]));
    // Filling moves rowStart[j] on to the end of row j.
    for (const OutlineEdge& e : outline.edges) {
        const double* p = &pixels[2 * e.from];
        const double* q = &pixels[2 * e.to];
        int first, last;
        if (!CrossedRows(p[1], q[1], height, first, last)) continue;
        const double slope = (q[0] - p[0]) / (q[1] - p[1]);
        const int winding = q[1] > p[1] ? e.weight : -e.weight;
        for (int j = first; j <= last; ++j) crossings[rowStart[j]++] = {p[0] + (j + 0.5 - p[1]) * slope, winding};
    }
    int rowBegin = 0;
    for (int j = 0; j < height; ++j) {
        const int rowEnd = rowStart[j];
        std::sort(crossings.begin() + rowBegin, crossings.begin() + rowEnd,
                  [](const Crossing& a, const Crossing& b) { return a.x < b.x; });
        int winding = 0;
        double enter = 0;
        for (int i = rowBegin; i < rowEnd; ++i) {
            const int before = winding;
            winding += crossings[i].winding;
            if (before == 0 && winding != 0) {
                enter = crossings[i].x;
            } else if (before != 0 && winding == 0) {
                // Pixel centres i + 0.5 in [enter, x].
                const int x0 = std::max(0, static_cast<int>(std::ceil(enter - 0.5)));
                const int x1 = std::min(image.width - 1, static_cast<int>(std::floor(crossings[i].x - 0.5)));
                if (x0 <= x1) image.SetSpan(j, x0, x1);
            }
        }
        rowBegin = rowEnd;
    }
}

}  // namespace ORVO
