// Rows of small charts, nested at the gap: one block scaled into the square
// when there is nothing else, else square bundles that the packer places as
// rectangles among the other charts.

#include "unfold/packing/ChartBundles.h"

#include <QarnUVAtlas/UnfoldMesh.h>

#include "foundation/LogLine.h"
#include "unfold/packing/ChartOrientation.h"
#include "unfold/packing/PlaneArea.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <numeric>

namespace ORVO {
namespace {

// A chart is small when it has at most this many triangles and, turned onto
// its flattest side, no extent above this share of the side of a square of
// the total chart area (a large quad of two triangles is not small).
constexpr int kSmallChartTriangles = 12;
constexpr double kSmallChartSide = 0.15;
// Side of the bundles beside other charts, against the side of the square.
constexpr double kBundleSide = 0.35;
// Fill the packer reaches with the bundles, and with the other charts.
constexpr double kBundleFill = 0.92;
constexpr double kOtherFill = 0.72;
constexpr double kFirstGuessFill = 0.75;
constexpr int kPlanSteps = 8;
// Share of their rows that the charts' hulls, grown by half the gap, fill:
// the first guess of the rows' extent.
constexpr double kRowFill = 0.83;
// Layouts are repeated until the rows make a square to this precision and
// the gap they were laid out with is the one the scale then asks for, to
// this precision; after this many, the small charts are packed one by one.
constexpr double kWidthPrecision = 0.01;
constexpr double kScalePrecision = 0.02;
constexpr int kLayoutRounds = 6;
// The gap is planned for a scale a little below the one expected, so that
// it holds when the packer comes out a little lower.
constexpr double kScaleMargin = 0.98;
// Charts never touch inside a bundle, even without a gap.
constexpr double kSmallestGap = 1e-7;

struct Point {
    double x, y;
};

// A small chart turned onto one side of its hull: local = R uv + t, with the
// hull inside [0, width] x [0, height].
struct Frame {
    double cosA = 1, sinA = 0, tx = 0, ty = 0;
    double width = 0, height = 0;
    std::vector<Point> hull;      // counter-clockwise, local coordinates
    std::vector<double> lengths;  // of the hull's sides, side k from corner k to k + 1
};

// A small chart and the sides it may lie on, lowest first.
struct Item {
    int chart = 0;
    double area = 0, perimeter = 0;
    std::vector<Frame> frames;
};

// Sides of a hull a chart may lie on: a triangle's three, the lowest of a
// larger hull.
constexpr size_t kBaseSides = 3;

// Where an item went: its bundle, the offset of its local frame and whether
// it is turned by a half turn.
struct Slot {
    int bundle = -1;
    int frame = 0;
    double x = 0, y = 0;
    bool turned = false;
};

double ChartArea(const ITriMesh& chart, const std::vector<double>& uv) {
    double area = 0.0;
    int ids[3];
    for (int f = 0; f < chart.GetTriangleCount(); ++f) {
        chart.GetTriangleVertexIds(f, ids);
        area += _PlaneTriangleArea(&uv[2 * ids[0]], &uv[2 * ids[1]], &uv[2 * ids[2]]);
    }
    return area;
}

bool MakeItem(int chart, const std::vector<double>& uv, double area, Item& item) {
    const int n = static_cast<int>(uv.size() / 2);
    const std::vector<int> hull = _ConvexHull2D(uv.data(), n);
    if (hull.size() < 3) return false;
    item.chart = chart;
    item.area = area;
    const size_t m = hull.size();
    for (size_t k = 0; k < m; ++k) {
        const double* p = &uv[2 * hull[k]];
        const double* q = &uv[2 * hull[(k + 1) % m]];
        const double len = std::hypot(q[0] - p[0], q[1] - p[1]);
        item.perimeter += len;
        if (!(len > 0.0)) continue;
        // Turned so that side k runs along +x, with the hull above it.
        Frame frame;
        frame.cosA = (q[0] - p[0]) / len;
        frame.sinA = -(q[1] - p[1]) / len;
        double lo[2] = {std::numeric_limits<double>::max(), std::numeric_limits<double>::max()};
        double hi[2] = {-lo[0], -lo[1]};
        frame.hull.resize(m);
        for (size_t i = 0; i < m; ++i) {
            const double u = uv[2 * hull[i]], v = uv[2 * hull[i] + 1];
            Point& r = frame.hull[i];
            r = Point{frame.cosA * u - frame.sinA * v, frame.sinA * u + frame.cosA * v};
            lo[0] = std::min(lo[0], r.x);
            lo[1] = std::min(lo[1], r.y);
            hi[0] = std::max(hi[0], r.x);
            hi[1] = std::max(hi[1], r.y);
        }
        frame.tx = -lo[0];
        frame.ty = -lo[1];
        for (Point& r : frame.hull) r = Point{r.x + frame.tx, r.y + frame.ty};
        frame.width = hi[0] - lo[0];
        frame.height = hi[1] - lo[1];
        for (size_t i = 0; i < m; ++i) {
            const Point& a = frame.hull[i];
            const Point& b = frame.hull[(i + 1) % m];
            frame.lengths.push_back(std::hypot(b.x - a.x, b.y - a.y));
        }
        if (frame.width > 0.0 && frame.height > 0.0) item.frames.push_back(std::move(frame));
    }
    std::stable_sort(item.frames.begin(), item.frames.end(),
                     [](const Frame& a, const Frame& b) { return a.height < b.height; });
    if (item.frames.size() > kBaseSides) item.frames.resize(kBaseSides);
    return !item.frames.empty();
}

// The points closer than d to a segment pq, with what its chords need.
struct Capsule {
    Point p, q;
    double low, high;             // its extent in y
    double length;                // of pq
    double ux = 0, uy = 0;        // unit direction of pq, once needed
    bool direction = false;

    Capsule(const Point& a, const Point& b, double l, double d)
        : p(a), q(b), low(std::min(a.y, b.y) - d), high(std::max(a.y, b.y) + d), length(l) {}

    bool Reaches(double y) const { return y >= low && y <= high; }

    // The x range of the capsule at height y (which it reaches); false when
    // the line misses it.
    bool Chord(double d, double y, double& lo, double& hi) {
        if (!direction && length > 0.0) {
            ux = (q.x - p.x) / length;
            uy = (q.y - p.y) / length;
            direction = true;
        }
        lo = std::numeric_limits<double>::max();
        hi = -lo;
        for (const Point& c : {p, q}) {
            const double dy = y - c.y;
            if (std::fabs(dy) > d) continue;
            const double w = std::sqrt(d * d - dy * dy);
            lo = std::min(lo, c.x - w);
            hi = std::max(hi, c.x + w);
        }
        if (length > 0.0) {
            // Along the segment: (x - p.x) ux + (y - p.y) uy in [0, length];
            // across it: -(x - p.x) uy + (y - p.y) ux in [-d, d].
            double a = -std::numeric_limits<double>::max(), b = std::numeric_limits<double>::max();
            auto clip = [&](double slope, double offset, double from, double to) {
                if (slope == 0.0) {
                    if (offset < from || offset > to) b = a - 1.0;
                    return;
                }
                double s = (from - offset) / slope, t = (to - offset) / slope;
                if (s > t) std::swap(s, t);
                a = std::max(a, s);
                b = std::min(b, t);
            };
            clip(ux, -p.x * ux + (y - p.y) * uy, 0.0, length);
            clip(-uy, p.x * uy + (y - p.y) * ux, -d, d);
            if (a <= b) {
                lo = std::min(lo, a);
                hi = std::max(hi, b);
            }
        }
        return lo <= hi;
    }
};

// Smallest shift x >= `from` of polygon b (counter-clockwise, at x = 0)
// that keeps it at least d from polygon a on a's right. The distance of two
// convex polygons is that of a corner of one to a side of the other, and
// moving b in from the far right, the first contact is at such a pair.
double ShiftPast(const Point* a, const double* la, size_t na, const Point* b, const double* lb, size_t nb, double d,
                 double from) {
    double x = from, lo, hi;
    for (size_t i = 0; i < na; ++i) {
        Capsule side(a[i], a[(i + 1) % na], la[i], d);
        for (size_t k = 0; k < nb; ++k) {
            if (side.Reaches(b[k].y) && side.Chord(d, b[k].y, lo, hi)) x = std::max(x, hi - b[k].x);
        }
    }
    for (size_t i = 0; i < nb; ++i) {
        Capsule side(b[i], b[(i + 1) % nb], lb[i], d);
        for (size_t k = 0; k < na; ++k) {
            if (side.Reaches(a[k].y) && side.Chord(d, a[k].y, lo, hi)) x = std::max(x, a[k].x - lo);
        }
    }
    return x;
}

// The hull of an item in a row of height rowHeight: upright on the row's
// floor, or turned by a half turn against its ceiling; x offset 0.
void Pose(const Frame& frame, bool turned, double rowHeight, std::vector<Point>& out) {
    out.resize(frame.hull.size());
    for (size_t k = 0; k < frame.hull.size(); ++k) {
        const Point& p = frame.hull[k];
        out[k] = turned ? Point{frame.width - p.x, rowHeight - p.y} : p;
    }
}

// Charts whose place in the current row is compared before one is put
// there: the one that covers most of its area per length of row it takes.
constexpr size_t kLookahead = 2;

// Rows of items (tallest first), at most `width` wide, cut into bundles at
// most `height` high, every two hulls at least d apart.
class RowLayout {
public:
    RowLayout(const std::vector<Item>& items, double width, double height, double d)
        : mItems(items), mWidth(width), mHeight(height), mGap(d) {}

    // Returns the bundle count; fills the slots and each bundle's extent.
    int Run(const std::vector<int>& order, std::vector<Slot>& slots, std::vector<Point>& extents) {
        slots.assign(mItems.size(), Slot());
        extents.clear();
        size_t next = 0;
        for (;;) {
            while (mWindow.size() < kLookahead && next < order.size()) {
                mWindow.emplace_back();
                Prepare(mWindow.back(), order[next++]);
            }
            if (mWindow.empty()) break;
            size_t pick = mWindow.size();
            Slot slot;
            double right = 0.0, bestScore = -1.0;
            for (size_t w = 0; w < mWindow.size() && !mStart.empty(); ++w) {
                Slot candidate;
                const double r = Best(mWindow[w], candidate);
                if (!(r <= mWidth)) continue;
                const double advance = r - mReach;
                const double score = advance > 0.0 ? mItems[mWindow[w].item].area / advance
                                                   : std::numeric_limits<double>::max();
                if (score > bestScore) {
                    bestScore = score;
                    pick = w;
                    slot = candidate;
                    right = r;
                }
            }
            if (pick == mWindow.size()) {
                // A new row, in this bundle or the next, for the tallest chart
                // left, on its lowest side.
                pick = 0;
                NewRow(mItems[mWindow[0].item], extents);
                slot = Slot();
                right = mItems[mWindow[0].item].frames[0].width;
            }
            const int item = mWindow[pick].item;
            mWindow.erase(mWindow.begin() + static_cast<std::ptrdiff_t>(pick));
            Place(mItems[item], slot, right);
            slots[item] = slot;
        }
        if (mBundle >= 0) extents.push_back(Point{mBundleWidth, mRowY + mRowHeight});
        return mBundle + 1;
    }

private:
    // A chart waiting in the window: per side it may lie on and per half
    // turn, its hull in the row at x = 0 and the smallest x that keeps it the
    // gap away from every hull in the row (infinite when too tall).
    struct Candidate {
        int item = 0;
        std::vector<Point> pose[kBaseSides][2];
        double x[kBaseSides][2];
    };

    void Prepare(Candidate& c, int item) {
        c.item = item;
        const Item& it = mItems[item];
        for (size_t f = 0; f < kBaseSides; ++f) {
            for (int t = 0; t < 2; ++t) {
                c.x[f][t] = std::numeric_limits<double>::infinity();
                if (f >= it.frames.size() || it.frames[f].height > mRowHeight || mStart.empty()) continue;
                Pose(it.frames[f], t == 1, mRowHeight, c.pose[f][t]);
                double x = 0.0;
                for (size_t j = mStart.size(); j-- > 0 && mReachAt[j] + mGap > x;)
                    x = Shift(j, c.pose[f][t], it.frames[f].lengths, x);
                c.x[f][t] = x;
            }
        }
    }

    double Shift(size_t j, const std::vector<Point>& pose, const std::vector<double>& lengths, double x) const {
        const size_t end = j + 1 < mStart.size() ? mStart[j + 1] : mPoints.size();
        return ShiftPast(mPoints.data() + mStart[j], mLengths.data() + mStart[j], end - mStart[j], pose.data(),
                         lengths.data(), pose.size(), mGap, x);
    }

    // The side and turn of a waiting chart that ends leftmost; returns that end.
    double Best(const Candidate& c, Slot& slot) const {
        const Item& it = mItems[c.item];
        double best = std::numeric_limits<double>::infinity();
        for (size_t f = 0; f < it.frames.size() && f < kBaseSides; ++f) {
            for (int t = 0; t < 2; ++t) {
                const double right = c.x[f][t] + it.frames[f].width;
                if (right < best) {
                    best = right;
                    slot.frame = static_cast<int>(f);
                    slot.x = c.x[f][t];
                    slot.turned = t == 1;
                }
            }
        }
        return best;
    }

    void NewRow(const Item& item, std::vector<Point>& extents) {
        const double y = mRowY + mRowHeight + mGap;
        mPoints.clear();
        mLengths.clear();
        mStart.clear();
        mReachAt.clear();
        mReach = 0.0;
        if (mBundle < 0 || y + item.frames[0].height > mHeight) {
            if (mBundle >= 0) extents.push_back(Point{mBundleWidth, mRowY + mRowHeight});
            ++mBundle;
            mRowY = 0.0;
            mBundleWidth = 0.0;
        } else {
            mRowY = y;
        }
        mRowHeight = item.frames[0].height;
    }

    void Place(const Item& item, Slot& slot, double right) {
        const bool first = mStart.empty();
        Pose(item.frames[slot.frame], slot.turned, mRowHeight, mPose);
        mStart.push_back(mPoints.size());
        for (const Point& p : mPose) mPoints.push_back(Point{p.x + slot.x, p.y});
        const std::vector<double>& lengths = item.frames[slot.frame].lengths;
        mLengths.insert(mLengths.end(), lengths.begin(), lengths.end());
        mReach = std::max(mReach, right);
        mReachAt.push_back(mReach);
        mBundleWidth = std::max(mBundleWidth, right);
        slot.bundle = mBundle;
        // A turned chart's local point p lands at (x + w - p.x, y + H - p.y).
        slot.y = slot.turned ? mRowY + mRowHeight : mRowY;
        // The waiting charts: from scratch in a new row, else only the new
        // hull adds a constraint.
        for (Candidate& c : mWindow) {
            if (first) {
                Prepare(c, c.item);
                continue;
            }
            for (size_t f = 0; f < kBaseSides; ++f) {
                for (int t = 0; t < 2; ++t) {
                    if (std::isinf(c.x[f][t]) || right + mGap <= c.x[f][t]) continue;
                    c.x[f][t] = Shift(mStart.size() - 1, c.pose[f][t], mItems[c.item].frames[f].lengths, c.x[f][t]);
                }
            }
        }
    }

    const std::vector<Item>& mItems;
    const double mWidth, mHeight, mGap;
    std::vector<Candidate> mWindow;
    // The hulls placed in the current row (in row coordinates, one after
    // another in mPoints) and, per hull, the largest right end of it and
    // every earlier one.
    std::vector<Point> mPoints;
    std::vector<double> mLengths;
    std::vector<size_t> mStart;
    std::vector<double> mReachAt;
    double mReach = 0.0;
    std::vector<Point> mPose;
    double mRowY = 0.0, mRowHeight = 0.0, mBundleWidth = 0.0;
    int mBundle = -1;
};

// Coordinates of chart `item` inside its bundle.
void PlaceChart(const Item& item, const Slot& slot, const std::vector<double>& uv, std::vector<double>& out) {
    const Frame& frame = item.frames[slot.frame];
    for (size_t i = 0; i + 1 < uv.size(); i += 2) {
        const double x = frame.cosA * uv[i] - frame.sinA * uv[i + 1] + frame.tx;
        const double y = frame.sinA * uv[i] + frame.cosA * uv[i + 1] + frame.ty;
        if (slot.turned) {
            out.push_back(slot.x + frame.width - x);
            out.push_back(slot.y - y);
        } else {
            out.push_back(slot.x + x);
            out.push_back(slot.y + y);
        }
    }
}

}  // namespace

int _PackChartsInBundles(const std::vector<ITriMesh*>& charts, std::vector<std::vector<double>>& chartTexCoords,
                         int resolution, int gapTexels, int* bundleCount) {
    if (bundleCount != nullptr) *bundleCount = 0;
    const size_t count = charts.size();
    auto packAlone = [&]() { return UnfoldMesh::PackUVAtlas(charts, chartTexCoords, resolution, gapTexels); };
    if (count < kBundleMinimumCharts || count != chartTexCoords.size() || resolution < 1 || gapTexels < 0)
        return packAlone();

    // The small charts, and the area of all charts.
    double totalArea = 0.0;
    std::vector<Item> items;
    std::vector<double> areas(count, 0.0);
    for (size_t k = 0; k < count; ++k) {
        const ITriMesh* chart = charts[k];
        if (chart == nullptr || chartTexCoords[k].size() != 2 * static_cast<size_t>(chart->GetVertexCount()))
            return packAlone();
        for (double c : chartTexCoords[k]) {
            if (!std::isfinite(c)) return packAlone();
        }
        int ids[3];
        for (int f = 0; f < chart->GetTriangleCount(); ++f) {
            chart->GetTriangleVertexIds(f, ids);
            for (int id : ids) {
                if (id < 0 || id >= chart->GetVertexCount()) return packAlone();
            }
        }
        areas[k] = ChartArea(*chart, chartTexCoords[k]);
        totalArea += areas[k];
    }
    std::vector<char> bundled(count, 0);
    const double longestSmall = kSmallChartSide * std::sqrt(totalArea);
    for (size_t k = 0; k < count; ++k) {
        Item item;
        if (charts[k]->GetTriangleCount() > kSmallChartTriangles) continue;
        if (!MakeItem(static_cast<int>(k), chartTexCoords[k], areas[k], item)) continue;
        if (item.frames[0].width > longestSmall || item.frames[0].height > longestSmall) continue;
        items.push_back(std::move(item));
        bundled[k] = 1;
    }
    if (items.size() < kBundleMinimumCharts || !(totalArea > 0.0)) return packAlone();
    double otherArea = totalArea;
    double largest = 0.0;
    for (const Item& item : items) {
        otherArea -= item.area;
        largest = std::max({largest, item.frames[0].width, item.frames[0].height});
    }
    // Tallest first: each row then holds shapes of about one height.
    std::vector<int> order(items.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(),
                     [&](int a, int b) { return items[a].frames[0].height > items[b].frames[0].height; });

    // The rows are laid out as wide as the square that all charts will make
    // together. Without other charts they form one bundle, which is simply
    // scaled into the square; with others, square bundles about a third of
    // that side go to the packer with them (smaller ones leave the packer
    // more to do and fill no better). The gap inside the bundles, in chart
    // units, follows from the scale the square gets: planned from the area
    // first, then from the bundles' extent, and checked in the end.
    const double gap = static_cast<double>(gapTexels) / resolution;
    const bool alone = items.size() == count;
    const double margin = 0.5 / resolution;
    // The area of a square that the charts' hulls, grown by `d` (half the gap
    // each), fill as rows usually do, beside the other charts at their usual fill.
    auto plannedArea = [&](double d) {
        double grown = 0.0;
        for (const Item& item : items) grown += item.area + 0.5 * item.perimeter * d + d * d;
        return grown / kRowFill + otherArea / kOtherFill;
    };
    // First plan: the scale at which that square is the unit square (a few steps
    // of the estimate).
    double scale = std::sqrt(kFirstGuessFill / totalArea);
    for (int step = 0; step < kPlanSteps; ++step)
        scale = kScaleMargin * std::sqrt(1.0 / plannedArea(std::max(gap / scale, kSmallestGap * largest)));
    double width = 0.0;
    std::vector<Slot> slots;
    std::vector<Point> extents;
    for (int round = 0; round < kLayoutRounds; ++round) {
        const double d = std::max(gap / scale, kSmallestGap * largest);
        if (width == 0.0) width = std::max(largest, std::sqrt(plannedArea(d)));
        const double side = alone ? width : std::max(largest, kBundleSide * width);
        const double height = alone ? std::numeric_limits<double>::max() : side;
        const int made = RowLayout(items, side, height, d).Run(order, slots, extents);
        double boxes = 0.0, longest = 0.0;
        for (const Point& e : extents) {
            boxes += (e.x + d) * (e.y + d);
            longest = std::max({longest, e.x, e.y});
        }
        const double planned = alone ? (1.0 - 2.0 * margin) / longest
                                     : std::sqrt(kBundleFill / (boxes + otherArea / kOtherFill));
        // Alone, the rows should stand about as high in all as they are wide.
        const double nextWidth = alone ? std::max(largest, std::sqrt(width * extents[0].y)) : width;
        const bool square = std::fabs(nextWidth - width) < kWidthPrecision * width;
        const bool valid = planned * d >= gap * (1.0 - 1e-9);
        const bool settled = std::fabs(kScaleMargin * planned - scale) < kScalePrecision * scale;
        if (!valid || !square || !settled) {
            // Alone, the next layout is planned for the square the rows will make.
            scale = kScaleMargin * (alone ? (1.0 - 2.0 * margin) / std::max(nextWidth, largest) : planned);
            width = nextWidth;
            continue;
        }

        // The charts' coordinates in their bundles.
        std::vector<std::vector<double>> bundleCoords(made);
        std::vector<int> offset(items.size());
        for (int index : order) {
            const Slot& slot = slots[index];
            offset[index] = static_cast<int>(bundleCoords[slot.bundle].size() / 2);
            PlaceChart(items[index], slot, chartTexCoords[items[index].chart], bundleCoords[slot.bundle]);
        }
        std::vector<std::vector<double>> placed;
        if (alone) {
            placed = bundleCoords;
            for (double& c : placed[0]) c = margin + planned * c;
        } else {
            // The bundles as charts, after the charts that stay on their own.
            std::vector<ITriMesh*> packed;
            std::vector<std::vector<double>> coords;
            std::vector<int> origin;  // packed index -> chart
            for (size_t k = 0; k < count; ++k) {
                if (bundled[k]) continue;
                packed.push_back(charts[k]);
                coords.push_back(chartTexCoords[k]);
                origin.push_back(static_cast<int>(k));
            }
            // The packer sees each bundle as its rectangle: nothing else
            // could use the gaps inside it, and one rectangle places far
            // faster than the thousands of runs the image of the bundle has.
            const size_t first = packed.size();
            const std::vector<int> rectangle = {0, 1, 2, 0, 2, 3};
            std::vector<std::unique_ptr<TopologyMesh>> meshes;
            for (int b = 0; b < made; ++b) {
                meshes.push_back(std::make_unique<TopologyMesh>(4, rectangle));
                packed.push_back(meshes.back().get());
                const Point& e = extents[b];
                coords.push_back({0.0, 0.0, e.x, 0.0, e.x, e.y, 0.0, e.y});
            }
            const int status = UnfoldMesh::PackUVAtlas(packed, coords, resolution, gapTexels);
            if (status != STATUS_SUCCESS) return status;
            // Where each rectangle went: a turn, the common scale and a shift,
            // z -> a z + t in complex terms, read off its first side.
            std::vector<std::array<double, 4>> moves(made);  // re(a), im(a), re(t), im(t)
            double packedScale = std::numeric_limits<double>::max();
            bool rigid = true;
            for (int b = 0; b < made; ++b) {
                const std::vector<double>& r = coords[first + b];
                const double w = extents[b].x, h = extents[b].y;
                std::array<double, 4>& m = moves[b];
                m = {(r[2] - r[0]) / w, (r[3] - r[1]) / w, r[0], r[1]};
                packedScale = std::min(packedScale, std::hypot(m[0], m[1]));
                // The fourth corner must land where that move takes it (no mirror).
                rigid = rigid && std::hypot(r[6] - (m[2] - m[1] * h), r[7] - (m[3] + m[0] * h)) <= 1e-9 * (1.0 + h);
            }
            if (!rigid) return packAlone();
            _LogDetail("PackUVAtlas: ", items.size(), " small charts in ", made, " bundles, scale ", packedScale,
                       " planned ", scale);
            if (packedScale * d < gap * (1.0 - 1e-9)) {
                scale = kScaleMargin * packedScale;
                width = 0.0;
                continue;
            }
            placed.resize(made);
            for (int b = 0; b < made; ++b) {
                const std::array<double, 4>& m = moves[b];
                placed[b].resize(bundleCoords[b].size());
                for (size_t i = 0; i + 1 < bundleCoords[b].size(); i += 2) {
                    const double x = bundleCoords[b][i], y = bundleCoords[b][i + 1];
                    placed[b][i] = m[0] * x - m[1] * y + m[2];
                    placed[b][i + 1] = m[1] * x + m[0] * y + m[3];
                }
            }
            for (size_t i = 0; i < first; ++i) chartTexCoords[origin[i]].swap(coords[i]);
        }
        for (size_t index = 0; index < items.size(); ++index) {
            std::vector<double>& uv = chartTexCoords[items[index].chart];
            const auto from = placed[slots[index].bundle].begin() + 2 * static_cast<size_t>(offset[index]);
            std::copy(from, from + uv.size(), uv.begin());
        }
        if (bundleCount != nullptr) *bundleCount = made;
        return STATUS_SUCCESS;
    }
    _LogDetail("PackUVAtlas: the bundle's gap did not settle, small charts packed one by one");
    return packAlone();
}

}  // namespace ORVO
