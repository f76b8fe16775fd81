#include "unfold/packing/ChartOutline.h"

#include <algorithm>
#include <cmath>
#include <limits>
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

// Widens every distance test a little, so that rounding can only add pixels.
constexpr double kGrowSlack = 1e-7;

// Pixel columns whose closed squares meet the open interval (lo, hi), clipped to
// [first, last]; false when none do.
inline bool MeetingColumns(double lo, double hi, int first, int last, int& x0, int& x1) {
    if (!(lo <= hi)) return false;
    x0 = lo - kGrowSlack > first ? static_cast<int>(std::floor(lo - kGrowSlack)) : first;
    x1 = hi + kGrowSlack < last + 1 ? static_cast<int>(std::ceil(hi + kGrowSlack)) - 1 : last;
    return x0 <= x1;
}

// Sets the pixels of `grown` (whose pixel (0,0) is pixel (-gap,-gap) of the chart's
// image) whose squares come closer than r to the point c.
void GrowDisc(BitImage& grown, const double* c, double r, int gap) {
    const int rowLo = std::max(-gap, static_cast<int>(std::floor(c[1] - r)));
    const int rowHi = std::min(grown.height - gap - 1, static_cast<int>(std::ceil(c[1] + r)));
    for (int j = rowLo; j <= rowHi; ++j) {
        // Distance from c to the band of rows [j, j + 1].
        const double d = std::max({0.0, j - c[1], c[1] - (j + 1)});
        if (d >= r) continue;
        const double h = std::sqrt(r * r - d * d);
        int x0, x1;
        if (MeetingColumns(c[0] - h, c[0] + h, -gap, grown.width - gap - 1, x0, x1))
            grown.SetSpan(j + gap, x0 + gap, x1 + gap);
    }
}

// The same for the points closer than r to the segment p-q whose foot on the segment's
// line lies between p and q: on its right side (looking from p to q, x to the right and
// y up) when `side` is 1, on its left side when -1, on both when 0. That region is a
// rectangle, convex, so each band of rows meets it in one interval.
void GrowBand(BitImage& grown, const double* p, const double* q, double r, int side, int gap) {
    const double dx = q[0] - p[0], dy = q[1] - p[1];
    const double len = std::sqrt(dx * dx + dy * dy);
    if (len == 0) return;
    // Right-hand normal of p-q, r long.
    const double nx = dy / len * r, ny = -dx / len * r;
    const double near = side > 0 ? 0 : -1, far = side < 0 ? 0 : 1;
    const double corners[4][2] = {{p[0] + near * nx, p[1] + near * ny},
                                  {q[0] + near * nx, q[1] + near * ny},
                                  {q[0] + far * nx, q[1] + far * ny},
                                  {p[0] + far * nx, p[1] + far * ny}};
    double top = corners[0][1], bottom = top;
    for (const auto& c : corners) {
        top = std::max(top, c[1]);
        bottom = std::min(bottom, c[1]);
    }
    const int rowLo = std::max(-gap, static_cast<int>(std::floor(bottom)));
    const int rowHi = std::min(grown.height - gap - 1, static_cast<int>(std::ceil(top)));
    for (int j = rowLo; j <= rowHi; ++j) {
        // The rectangle's corners inside the band and its crossings of the band's edges.
        double lo = std::numeric_limits<double>::max(), hi = -lo;
        for (int i = 0; i < 4; ++i) {
            const double* a = corners[i];
            const double* b = corners[(i + 1) & 3];
            if (a[1] >= j && a[1] <= j + 1) {
                lo = std::min(lo, a[0]);
                hi = std::max(hi, a[0]);
            }
            for (int line = j; line <= j + 1; ++line) {
                if ((a[1] - line) * (b[1] - line) < 0) {
                    const double x = a[0] + (line - a[1]) / (b[1] - a[1]) * (b[0] - a[0]);
                    lo = std::min(lo, x);
                    hi = std::max(hi, x);
                }
            }
        }
        int x0, x1;
        if (MeetingColumns(lo, hi, -gap, grown.width - gap - 1, x0, x1)) grown.SetSpan(j + gap, x0 + gap, x1 + gap);
    }
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
    outline.orientation = sign;
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

void _GrowOutline(const BitImage& image, const double* pixels, const std::vector<int>& tris,
                  const ChartOutline& outline, int gap, BitImage& grown) {
    gap = std::max(0, gap);
    grown.Reset(image.width + 2 * gap, image.height + 2 * gap);
    // The exact image, moved by gap pixels right and up.
    const int shift = gap & 63, skip = gap >> 6;
    for (int y = 0; y < image.height; ++y) {
        const uint64_t* src = image.Row(y);
        uint64_t* dst = grown.Row(y + gap) + skip;
        for (int k = 0; k < image.wordsPerRow; ++k) {
            dst[k] |= src[k] << shift;
            if (shift && k + 1 < grown.wordsPerRow - skip) dst[k + 1] |= src[k] >> (64 - shift);
        }
    }
    if (gap == 0) return;
    const double r = gap + kGrowSlack;
    // A point outside the chart lies nearest to its boundary, which the outline edges and
    // the flat triangles hold: at an end of an edge (a disc), or across the edge from the
    // triangles it bounds (a band on that side only).
    thread_local std::vector<int> ends;
    ends.clear();
    for (const OutlineEdge& e : outline.edges) {
        // Counter-clockwise triangles lie left of their edges: the outside is on the right.
        const int outside = outline.orientation == 0 ? 0 : e.weight * outline.orientation > 0 ? 1 : -1;
        GrowBand(grown, &pixels[2 * e.from], &pixels[2 * e.to], r, outside, gap);
        ends.push_back(e.from);
        ends.push_back(e.to);
    }
    for (int t : outline.flatTriangles)
        for (int k = 0; k < 3; ++k) {
            const int a = tris[3 * t + k], b = tris[3 * t + (k + 1) % 3];
            GrowBand(grown, &pixels[2 * a], &pixels[2 * b], r, 0, gap);
            ends.push_back(a);
            ends.push_back(b);
        }
    std::sort(ends.begin(), ends.end());
    ends.erase(std::unique(ends.begin(), ends.end()), ends.end());
    for (int v : ends) GrowDisc(grown, &pixels[2 * v], r, gap);
}

}  // namespace ORVO
