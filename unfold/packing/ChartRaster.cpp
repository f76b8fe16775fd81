#include "unfold/packing/ChartRaster.h"

#include "unfold/packing/BitRow.h"

#include <algorithm>
#include <cmath>

namespace ORVO {

namespace {

// Slack in pixel units added to every coverage test, so that rounding in the
// edge functions can only add pixels, never drop one that the exact shape meets.
constexpr double kCoverSlack = 1e-9;
// Triangles whose doubled area is below this fraction of the longest squared
// edge have an unreliable orientation and are covered through their edges.
constexpr double kFlatRatio = 1e-10;

// Raises lo to ceil(v), keeping the result inside [lo, hi + 1] without casting huge values.
inline void RaiseLow(int& lo, int hi, double v) {
    if (!(v > lo)) return;                       // also catches NaN
    if (v > hi) { lo = hi + 1; return; }
    lo = std::max(lo, static_cast<int>(std::ceil(v)));
}

// Lowers hi to floor(v), keeping the result inside [lo - 1, hi].
inline void LowerHigh(int lo, int& hi, double v) {
    if (!(v < hi)) return;
    if (v < lo) { hi = lo - 1; return; }
    hi = std::min(hi, static_cast<int>(std::floor(v)));
}

// Pixel index range [first, last] of closed squares that meet [vmin, vmax], clipped to [0, size-1].
inline void CoverRange(double vmin, double vmax, int size, int& first, int& last) {
    first = 0;
    last = size - 1;
    RaiseLow(first, last, std::ceil(vmin - kCoverSlack) - 1.0);
    LowerHigh(first, last, std::floor(vmax + kCoverSlack));
}

// One half-plane a*(x-px) + b*(y-py) >= 0 tested against pixel squares: the square
// (i, j) meets it when a*i + Offset(j) >= 0.
struct HalfPlane {
    double a, b, px, py, reach;  // reach: half the square's extent along (a, b) plus the slack
    double Offset(int j) const { return a * (0.5 - px) + b * (j + 0.5 - py) + reach; }
    // Narrows [lo, hi] to the columns i with a*i + off >= 0; returns false when none are left.
    bool Clip(double off, int& lo, int& hi) const {
        if (a > 0) RaiseLow(lo, hi, -off / a);
        else if (a < 0) LowerHigh(lo, hi, -off / a);
        else if (off < 0) return false;
        return lo <= hi;
    }
};

HalfPlane MakeHalfPlane(const double* p, const double* q) {
    HalfPlane h;
    h.a = -(q[1] - p[1]);
    h.b = q[0] - p[0];
    h.px = p[0];
    h.py = p[1];
    h.reach = (0.5 + kCoverSlack) * (std::fabs(h.a) + std::fabs(h.b));
    return h;
}

HalfPlane Flipped(const HalfPlane& h) {
    HalfPlane f = h;
    f.a = -h.a;
    f.b = -h.b;
    return f;
}

}  // namespace

void BitImage::Reset(int w, int h) {
    width = std::max(0, w);
    height = std::max(0, h);
    wordsPerRow = (width + 63) >> 6;
    words.assign(static_cast<size_t>(wordsPerRow) * height, 0);
}

void BitImage::SetSpan(int y, int x0, int x1) { _SetBitRange(Row(y), x0, x1); }

long long BitImage::Count() const {
    long long n = 0;
    for (uint64_t w : words) n += __builtin_popcountll(w);
    return n;
}

void _RasterisePoint(BitImage& image, const double* p) {
    int i0, i1, j0, j1;
    CoverRange(p[0], p[0], image.width, i0, i1);
    CoverRange(p[1], p[1], image.height, j0, j1);
    if (i0 > i1) return;
    for (int j = j0; j <= j1; ++j) image.SetSpan(j, i0, i1);
}

void _RasteriseSegment(BitImage& image, const double* p, const double* q) {
    if (p[0] == q[0] && p[1] == q[1]) {
        _RasterisePoint(image, p);
        return;
    }
    int i0, i1, j0, j1;
    CoverRange(std::min(p[0], q[0]), std::max(p[0], q[0]), image.width, i0, i1);
    CoverRange(std::min(p[1], q[1]), std::max(p[1], q[1]), image.height, j0, j1);
    if (i0 > i1) return;
    // A square meets the segment when it meets its box and both sides of its line.
    HalfPlane left = MakeHalfPlane(p, q), right = Flipped(left);
    for (int j = j0; j <= j1; ++j) {
        int lo = i0, hi = i1;
        if (!left.Clip(left.Offset(j), lo, hi)) continue;
        if (!right.Clip(right.Offset(j), lo, hi)) continue;
        image.SetSpan(j, lo, hi);
    }
}

void _RasteriseTriangle(BitImage& image, const double* a, const double* b, const double* c) {
    double abx = b[0] - a[0], aby = b[1] - a[1];
    double acx = c[0] - a[0], acy = c[1] - a[1];
    double bcx = c[0] - b[0], bcy = c[1] - b[1];
    double longest = std::max({abx * abx + aby * aby, acx * acx + acy * acy, bcx * bcx + bcy * bcy});
    double area2 = abx * acy - aby * acx;
    if (longest == 0) {
        _RasterisePoint(image, a);
        return;
    }
    if (std::fabs(area2) <= kFlatRatio * longest) {
        _RasteriseSegment(image, a, b);
        _RasteriseSegment(image, b, c);
        _RasteriseSegment(image, c, a);
        return;
    }
    if (area2 < 0) std::swap(b, c);
    int i0, i1, j0, j1;
    CoverRange(std::min({a[0], b[0], c[0]}), std::max({a[0], b[0], c[0]}), image.width, i0, i1);
    CoverRange(std::min({a[1], b[1], c[1]}), std::max({a[1], b[1], c[1]}), image.height, j0, j1);
    if (i0 > i1) return;
    if (i0 == i1 || j0 == j1) {
        // One column (or row) of pixels: the triangle is connected, so it meets every
        // pixel its box spans across the other axis.
        for (int j = j0; j <= j1; ++j) image.SetSpan(j, i0, i1);
        return;
    }
    // Separating axes: the two pixel axes (the box above) and the three edge normals.
    HalfPlane e0 = MakeHalfPlane(a, b), e1 = MakeHalfPlane(b, c), e2 = MakeHalfPlane(c, a);
    if (i1 - i0 <= 3 && j1 - j0 <= 3) {
        // Most triangles of a dense chart touch at most 4 x 4 pixels: test them one by
        // one, four columns of a row at a time.
        for (int j = j0; j <= j1; ++j) {
            const double o0 = e0.a * i0 + e0.Offset(j), o1 = e1.a * i0 + e1.Offset(j), o2 = e2.a * i0 + e2.Offset(j);
            uint64_t mask = 0;
            for (int t = 0; t <= i1 - i0; ++t)
                if (o0 + e0.a * t >= 0 && o1 + e1.a * t >= 0 && o2 + e2.a * t >= 0) mask |= uint64_t(1) << t;
            if (!mask) continue;
            uint64_t* row = image.Row(j);
            const int s = i0 & 63;
            row[i0 >> 6] |= mask << s;
            if (s > 60 && (mask >> (64 - s))) row[(i0 >> 6) + 1] |= mask >> (64 - s);
        }
        return;
    }
    for (int j = j0; j <= j1; ++j) {
        int lo = i0, hi = i1;
        if (!e0.Clip(e0.Offset(j), lo, hi)) continue;
        if (!e1.Clip(e1.Offset(j), lo, hi)) continue;
        if (!e2.Clip(e2.Offset(j), lo, hi)) continue;
        image.SetSpan(j, lo, hi);
    }
}

void _CollectRuns(const BitImage& image, std::vector<PixelRun>& runs) {
    runs.clear();
    for (int y = 0; y < image.height; ++y) {
        const uint64_t* row = image.Row(y);
        int x = _NextSet(row, 0, image.width);
        while (x < image.width) {
            int end = _NextClear(row, x, image.width);
            runs.push_back({y, x, end - x});
            x = _NextSet(row, end, image.width);
        }
    }
}

void _RotateImage(const BitImage& src, int quarterTurns, BitImage& dst) {
    quarterTurns &= 3;
    const int w = src.width, h = src.height;
    if (quarterTurns == 0) {
        dst = src;
        return;
    }
    if (quarterTurns == 2) {
        dst.Reset(w, h);
        for (int y = 0; y < h; ++y) {
            const uint64_t* row = src.Row(y);
            for (int x = _NextSet(row, 0, w); x < w;) {
                const int end = _NextClear(row, x, w);
                dst.SetSpan(h - 1 - y, w - end, w - 1 - x);
                x = _NextSet(row, end, w);
            }
        }
        return;
    }
    // A quarter turn is a transpose with one axis read backwards: one turn maps
    // (x, y) to (h-1-y, x), so source row h-1-y becomes column y; three turns map it
    // to (y, w-1-x), so transposed row x lands on row w-1-x. 64 x 64 blocks at a time.
    dst.Reset(h, w);
    uint64_t block[64];
    for (int by = 0; by < (h + 63) / 64; ++by)
        for (int bx = 0; bx < src.wordsPerRow; ++bx) {
            for (int r = 0; r < 64; ++r) {
                const int y = 64 * by + r;
                block[r] = y < h ? src.Row(quarterTurns == 1 ? h - 1 - y : y)[bx] : 0;
            }
            _TransposeBits64(block);
            for (int c = 0; c < 64; ++c) {
                const int x = 64 * bx + c;
                if (x >= w) break;
                dst.Row(quarterTurns == 1 ? x : w - 1 - x)[by] = block[c];
            }
        }
}

std::vector<int> _GapKernel(int gap) {
    gap = std::max(0, gap);
    std::vector<int> half(2 * gap + 1, 0);
    if (gap == 0) return half;
    // Squares whose index offset is (dx, dy) lie max(0,|dx|-1), max(0,|dy|-1) apart per axis.
    for (int dy = -gap; dy <= gap; ++dy) {
        int my = std::max(0, std::abs(dy) - 1);
        int rest = gap * gap - my * my;
        int mx = 0;
        while ((mx + 1) * (mx + 1) < rest) ++mx;
        half[dy + gap] = mx + 1;
    }
    return half;
}

void _DilateRuns(const std::vector<PixelRun>& runs, int width, int height, int gap, BitImage& dst) {
    gap = std::max(0, gap);
    std::vector<int> half = _GapKernel(gap);
    dst.Reset(width + 2 * gap, height + 2 * gap);
    for (const PixelRun& r : runs) {
        for (int dy = -gap; dy <= gap; ++dy) {
            int hw = half[dy + gap];
            dst.SetSpan(r.y + gap + dy, r.x + gap - hw, r.x + r.length - 1 + gap + hw);
        }
    }
}

}  // namespace ORVO
