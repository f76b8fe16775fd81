#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/UnfoldMesh.h>

#include "foundation/ApiProgress.h"
#include "foundation/LogLine.h"
#include "unfold/AtlasStatistics.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

namespace ORVO {

namespace {

// Fixed size of the hashed grid, whatever the layout.
constexpr uint64_t kBucketCount = 100000;
// Both the containment and the degeneracy tolerances of the pair tests.
constexpr double kTol = 1e-15;

uint32_t _Bucket(uint32_t i, uint32_t j) {
    return static_cast<uint32_t>(((static_cast<uint64_t>(i) * 73856093ull) ^
                                  (static_cast<uint64_t>(j) * 19349669ull)) %
                                 kBucketCount);
}

double _Area(const Vector2& a, const Vector2& b, const Vector2& c) {
    return 0.5 * std::fabs((b - a).CrossProduct(c - a));
}

// One triangle as the pair tests read it: ids after welding, corners and box.
struct TriView {
    int id[3];
    bool finite;  // all corners finite
    Vector2 p[3];
    double minX, minY, maxX, maxY;
};

enum PointHit { POINT_OUTSIDE, POINT_INSIDE, POINT_SHARED };

PointHit _PointInTriangle(int pid, const Vector2& p, const TriView& t) {
    if (pid == t.id[0] || pid == t.id[1] || pid == t.id[2]) return POINT_SHARED;
    if (p.x < t.minX || p.x > t.maxX || p.y < t.minY || p.y > t.maxY) return POINT_OUTSIDE;
    const Vector2& a = t.p[0];
    const Vector2& b = t.p[1];
    const Vector2& c = t.p[2];
    // Border points count as inside: the tolerance is on the area sum.
    return _Area(a, b, c) + kTol >= _Area(p, a, b) + _Area(p, b, c) + _Area(p, c, a) ? POINT_INSIDE
                                                                                     : POINT_OUTSIDE;
}

// Whether `x`, known to be collinear with segment (p, q), lies strictly between
// its ends, measured along the axis of the segment's larger extent.
bool _StrictlyInside(const Vector2& x, const Vector2& p, const Vector2& q) {
    const double dx = q.x - p.x;
    const double dy = q.y - p.y;
    const double t = std::fabs(dx) >= std::fabs(dy) ? (x.x - p.x) / dx : (x.y - p.y) / dy;
    return t > 0.0 && t < 1.0;
}

// The orientation test of two segments seen from the first as base, then from
// the second. Not symmetric in degenerate cases because of its early answers.
bool _CrossFromBase(const Vector2& p, const Vector2& q, const Vector2& r, const Vector2& s) {
    const Vector2* base[2][4] = {{&p, &q, &r, &s}, {&r, &s, &p, &q}};
    for (int side = 0; side < 2; ++side) {
        const Vector2& a = *base[side][0];
        Vector2 ab = *base[side][1] - a;
        Vector2 ac = *base[side][2] - a;
        Vector2 ad = *base[side][3] - a;
        if (ab.Normalise() < kTol || ac.Normalise() < kTol || ad.Normalise() < kTol) return false;
        const double d1 = ab.CrossProduct(ac);
        const double d2 = ab.CrossProduct(ad);
        if (std::fabs(d1) < kTol && _StrictlyInside(*base[side][2], a, *base[side][1])) return true;
        if (std::fabs(d2) < kTol && _StrictlyInside(*base[side][3], a, *base[side][1])) return true;
        const double s1 = d1 > 0.0 ? 1.0 : -1.0;
        const double s2 = d2 > 0.0 ? 1.0 : -1.0;
        if (s1 * s2 > 0.0) return false;
    }
    return true;
}

// A pair is examined from one triangle's side and from the other's; both
// views of each segment pair are folded in so that every unordered pair of
// triangles is tested once.
// The box of one edge of a triangle.
struct EdgeBox {
    double minX, minY, maxX, maxY;
};

void _EdgeBoxes(const TriView& t, EdgeBox boxes[3]) {
    for (int a = 0; a < 3; ++a) {
        const Vector2& p = t.p[a];
        const Vector2& q = t.p[(a + 1) % 3];
        boxes[a] = {std::min(p.x, q.x), std::min(p.y, q.y), std::max(p.x, q.x), std::max(p.y, q.y)};
    }
}

// Segment (a0, a1) with ends p, q against segment (b0, b1) with ends r, s,
// once the two are known to be different edges whose boxes overlap strictly.
bool _BoxedSegmentsCross(int a0, int a1, const Vector2& p, const Vector2& q, int b0, int b1, const Vector2& r,
                         const Vector2& s) {
    const Vector2* shared = nullptr;
    const Vector2* endA = nullptr;
    const Vector2* endB = nullptr;
    if (a0 == b0) {
        shared = &p, endA = &q, endB = &s;
    } else if (a0 == b1) {
        shared = &p, endA = &q, endB = &r;
    } else if (a1 == b0) {
        shared = &q, endA = &p, endB = &s;
    } else if (a1 == b1) {
        shared = &q, endA = &p, endB = &r;
    }
    if (shared) {
        // Segments meeting at one vertex cross only when they run along one line.
        Vector2 u = *endA - *shared;
        Vector2 w = *endB - *shared;
        // A sine clearly above zero settles it without normalising.
        const double c = u.CrossProduct(w);
        if (c * c > 1e-12 * u.LengthSquared() * w.LengthSquared()) return false;
        u.Normalise();
        w.Normalise();
        return std::fabs(u * w) > 1.0 - kTol;
    }
    // Well away from every tolerance the normalised tests reduce to the signs
    // of four plain cross products, which give the same answer sooner.
    const Vector2 qp = q - p, rp = r - p, sp = s - p, sr = s - r, qr = q - r;
    const double lqp = qp.LengthSquared(), lrp = rp.LengthSquared(), lsp = sp.LengthSquared();
    const double lsr = sr.LengthSquared(), lqr = qr.LengthSquared();
    const double c1 = qp.CrossProduct(rp), c2 = qp.CrossProduct(sp);
    const double c3 = rp.CrossProduct(sr), c4 = sr.CrossProduct(qr);
    constexpr double kShort = 1e-29;  // squared lengths clearly above kTol^2
    constexpr double kFlat = 1e-20;   // squared sines clearly above kTol^2
    if (std::min(std::min(lqp, lrp), std::min(std::min(lsp, lsr), lqr)) > kShort && c1 * c1 > kFlat * lqp * lrp &&
        c2 * c2 > kFlat * lqp * lsp && c3 * c3 > kFlat * lsr * lrp && c4 * c4 > kFlat * lsr * lqr)
        return (c1 > 0.0) != (c2 > 0.0) && (c3 > 0.0) != (c4 > 0.0);
    return _CrossFromBase(p, q, r, s) || _CrossFromBase(r, s, p, q);
}

bool _TrianglesOverlap(const TriView& f, const EdgeBox fBoxes[3], const TriView& g) {
    int shared = 0;
    for (int k = 0; k < 3; ++k) {
        PointHit hit = _PointInTriangle(f.id[k], f.p[k], g);
        if (hit == POINT_INSIDE) return true;
        shared += hit == POINT_SHARED;
        hit = _PointInTriangle(g.id[k], g.p[k], f);
        if (hit == POINT_INSIDE) return true;
        shared += hit == POINT_SHARED;
    }
    // Two copies of one triangle are not an overlap.
    if (shared == 6) return false;
    EdgeBox gBoxes[3];
    _EdgeBoxes(g, gBoxes);
    for (int a = 0; a < 3; ++a) {
        const int a1 = (a + 1) % 3;
        const EdgeBox& fb = fBoxes[a];
        for (int b = 0; b < 3; ++b) {
            const int b1 = (b + 1) % 3;
            // The same edge never crosses itself; boxes must overlap strictly.
            if ((f.id[a] == g.id[b] && f.id[a1] == g.id[b1]) || (f.id[a] == g.id[b1] && f.id[a1] == g.id[b]))
                continue;
            const EdgeBox& gb = gBoxes[b];
            if (!(fb.minX < gb.maxX && gb.minX < fb.maxX && fb.minY < gb.maxY && gb.minY < fb.maxY)) continue;
            if (_BoxedSegmentsCross(f.id[a], f.id[a1], f.p[a], f.p[a1], g.id[b], g.id[b1], g.p[b], g.p[b1]))
                return true;
        }
    }
    return false;
}

// Gives points with identical coordinates the id of the first such point.
// Open addressing on the coordinate bits; -0 and +0 are one value, and a
// point with a NaN coordinate equals nothing and keeps its own id.
void _WeldIds(const std::vector<Vector2>& points, std::vector<int>& ids) {
    const size_t n = points.size();
    size_t capacity = 16;
    while (capacity < 2 * n) capacity <<= 1;
    const size_t mask = capacity - 1;
    std::vector<int> table(capacity, -1);
    std::vector<int> representative(n);
    for (size_t i = 0; i < n; ++i) {
        const double x = points[i].x + 0.0;
        const double y = points[i].y + 0.0;
        representative[i] = static_cast<int>(i);
        if (std::isnan(x) || std::isnan(y)) continue;
        uint64_t bx, by;
        std::memcpy(&bx, &x, sizeof bx);
        std::memcpy(&by, &y, sizeof by);
        uint64_t h = bx * 0x9E3779B97F4A7C15ull ^ (by + 0x632BE59BD9B4E019ull + (bx << 6) + (bx >> 2));
        h ^= h >> 29;
        h *= 0xBF58476D1CE4E5B9ull;
        h ^= h >> 32;
        size_t slot = static_cast<size_t>(h) & mask;
        while (true) {
            const int other = table[slot];
            if (other < 0) {
                table[slot] = static_cast<int>(i);
                break;
            }
            if (points[other].x == x && points[other].y == y) {
                representative[i] = other;
                break;
            }
            slot = (slot + 1) & mask;
        }
    }
    for (int& id : ids) id = representative[id];
}

// A triangle's range of grid cells, both ends included.
struct CellRange {
    uint32_t i0, j0, i1, j1;
};

class CellMapper {
public:
    CellMapper(double originX, double originY, double cellSize)
        : mOriginX(originX), mOriginY(originY), mCell(cellSize) {}
    // Truncation of the offset in cells. The clamp keeps the map monotone, so
    // boxes that touch still share a cell.
    uint32_t Index(double c, double origin) const {
        const double q = (c - origin) / mCell;
        if (!(q > 0.0)) return 0;
        if (q >= 4294967295.0) return 4294967295u;
        return static_cast<uint32_t>(q);
    }
    CellRange Range(const TriView& t) const {
        return {Index(t.minX, mOriginX), Index(t.minY, mOriginY), Index(t.maxX, mOriginX),
                Index(t.maxY, mOriginY)};
    }

private:
    double mOriginX, mOriginY, mCell;
};

// Triangle ids by grid cell in kBucketCount hashed buckets. Cells that hash
// alike share a bucket but keep separate lists. Each bucket is one block of
// words, so that a lookup touches one place in memory:
//   [cell count n] [i, j, end of list] x n [the n id lists, each ascending]
// where the end of a list is counted from the start of the block.
class HashedCellGrid {
public:
    void Build(const std::vector<CellRange>& ranges, uint64_t entryCount) {
        struct Entry {
            uint32_t bucket;
            int tri;
            uint64_t cell;
            bool operator<(const Entry& o) const {
                if (bucket != o.bucket) return bucket < o.bucket;
                return cell != o.cell ? cell < o.cell : tri < o.tri;
            }
        };
        // Small charts are tested by the thousand: only the buckets in use are
        // touched, so a call costs what its triangles cost, not the table size.
        if (mBlockStart.size() != kBucketCount) mBlockStart.assign(kBucketCount, kUnused);
        for (uint32_t b : mUsed) mBlockStart[b] = kUnused;
        mUsed.clear();
        std::vector<Entry> entries(static_cast<size_t>(entryCount));
        // Sorting few entries outright is cheaper than a pass over every bucket.
        if (16 * entryCount < kBucketCount) {
            size_t n = 0;
            ForEachCell(ranges, [&](int f, uint32_t i, uint32_t j) { entries[n++] = {_Bucket(i, j), f, _CellKey(i, j)}; });
            std::sort(entries.begin(), entries.end());
        } else {
            // Large layouts: counting sort by bucket, then each bucket by cell and id.
            std::vector<uint64_t> bucketStart(kBucketCount + 1, 0);
            ForEachCell(ranges, [&](int, uint32_t i, uint32_t j) { ++bucketStart[_Bucket(i, j) + 1]; });
            for (uint64_t b = 0; b < kBucketCount; ++b) bucketStart[b + 1] += bucketStart[b];
            std::vector<uint64_t> fill(bucketStart.begin(), bucketStart.end() - 1);
            ForEachCell(ranges, [&](int f, uint32_t i, uint32_t j) {
                const uint32_t b = _Bucket(i, j);
                entries[fill[b]++] = {b, f, _CellKey(i, j)};
            });
            for (uint64_t b = 0; b < kBucketCount; ++b)
                std::sort(entries.begin() + bucketStart[b], entries.begin() + bucketStart[b + 1]);
        }
        mData.clear();
        mData.reserve(entries.size() * 4 + 16);
        for (size_t first = 0; first < entries.size();) {
            size_t last = first;
            uint32_t cells = 0;
            for (; last < entries.size() && entries[last].bucket == entries[first].bucket; ++last)
                cells += last == first || entries[last].cell != entries[last - 1].cell;
            const uint32_t b = entries[first].bucket;
            mBlockStart[b] = mData.size();
            mUsed.push_back(b);
            const size_t at = mData.size();
            mData.resize(at + 1 + 3 * static_cast<size_t>(cells) + (last - first));
            uint32_t* block = mData.data() + at;
            block[0] = cells;
            uint32_t* cell = block + 1;
            uint32_t* ids = block + 1 + 3 * static_cast<size_t>(cells);
            uint32_t offset = 1 + 3 * cells;
            for (size_t e = first; e < last; ++e) {
                if (e != first && entries[e].cell != entries[e - 1].cell) cell += 3;
                cell[0] = static_cast<uint32_t>(entries[e].cell >> 32);
                cell[1] = static_cast<uint32_t>(entries[e].cell);
                cell[2] = ++offset;
                *ids++ = static_cast<uint32_t>(entries[e].tri);
            }
            first = last;
        }
    }

    // The ids entered in cell (i, j), as [*first, *last); empty when none.
    void Cell(uint32_t i, uint32_t j, const uint32_t** first, const uint32_t** last) const {
        const size_t start = mBlockStart[_Bucket(i, j)];
        if (start == kUnused) {
            *first = *last = nullptr;
            return;
        }
        const uint32_t* block = mData.data() + start;
        const uint32_t cells = block[0];
        uint32_t begin = 1 + 3 * cells;
        for (uint32_t c = 0; c < cells; ++c) {
            const uint32_t* cell = block + 1 + 3 * c;
            if (cell[0] == i && cell[1] == j) {
                *first = block + begin;
                *last = block + cell[2];
                return;
            }
            begin = cell[2];
        }
        *first = *last = block;
    }

    // The sorted ids above `above` entered in any cell of `range`, without repeats.
    void GatherAbove(const CellRange& range, int above, std::vector<int>* ids) const {
        ids->clear();
        for (uint32_t i = range.i0;; ++i) {
            for (uint32_t j = range.j0;; ++j) {
                const uint32_t* first;
                const uint32_t* last;
                Cell(i, j, &first, &last);
                // Lists ascend: the ids above come last.
                while (last != first && static_cast<int>(*(last - 1)) > above) ids->push_back(static_cast<int>(*--last));
                if (j == range.j1) break;
            }
            if (i == range.i1) break;
        }
        std::sort(ids->begin(), ids->end());
        ids->erase(std::unique(ids->begin(), ids->end()), ids->end());
    }

    // Calls visit(f, i, j) for every cell of every triangle's range.
    template <typename Visit>
    static void ForEachCell(const std::vector<CellRange>& ranges, Visit&& visit) {
        const int faceCount = static_cast<int>(ranges.size());
        for (int f = 0; f < faceCount; ++f) {
            const CellRange& r = ranges[f];
            if (r.i0 > r.i1) continue;  // not entered
            for (uint32_t i = r.i0;; ++i) {
                for (uint32_t j = r.j0;; ++j) {
                    visit(f, i, j);
                    if (j == r.j1) break;
                }
                if (i == r.i1) break;
            }
        }
    }

private:
    static uint64_t _CellKey(uint32_t i, uint32_t j) { return static_cast<uint64_t>(i) << 32 | j; }

    static constexpr size_t kUnused = ~size_t(0);
    std::vector<size_t> mBlockStart;  // word offset of each bucket's block, kUnused when empty
    std::vector<uint32_t> mUsed;      // buckets holding a block
    std::vector<uint32_t> mData;
};

}  // namespace

bool IsTriMesh2DOverlapped(const std::vector<Vector2>& uvPoints, const std::vector<int>& triangles,
                           bool weldCoincidentPoints, std::vector<int>* overlapFaces, double* overlapRatio) {
    const int faceCount = static_cast<int>(triangles.size() / 3);
    if (overlapFaces) overlapFaces->clear();
    if (overlapRatio) *overlapRatio = 0.0;
    if (faceCount < 2) {
        _LogDetail("IsTriMesh2DOverlapped: faceCount < 2 ", faceCount);
        return false;
    }
    const int pointCount = static_cast<int>(uvPoints.size());
    for (size_t k = 0; k < 3 * static_cast<size_t>(faceCount); ++k) {
        if (triangles[k] < 0 || triangles[k] >= pointCount) {
            _LogFailure("IsTriMesh2DOverlapped: invalid point id ", triangles[k]);
            return false;
        }
    }

    const double startTime = Profiler::GetTime();
    ApiProgress& progress = ApiProgress::Get();
    std::vector<int> ids(triangles.begin(), triangles.begin() + 3 * static_cast<size_t>(faceCount));
    if (weldCoincidentPoints) _WeldIds(uvPoints, ids);
    progress.SetProgress(0.1);

    std::vector<TriView> views(faceCount);
    for (int f = 0; f < faceCount; ++f) {
        TriView& t = views[f];
        for (int k = 0; k < 3; ++k) {
            t.id[k] = ids[3 * f + k];
            t.p[k] = uvPoints[t.id[k]];
        }
        t.minX = std::min(t.p[0].x, std::min(t.p[1].x, t.p[2].x));
        t.minY = std::min(t.p[0].y, std::min(t.p[1].y, t.p[2].y));
        t.maxX = std::max(t.p[0].x, std::max(t.p[1].x, t.p[2].x));
        t.maxY = std::max(t.p[0].y, std::max(t.p[1].y, t.p[2].y));
        t.finite = true;
        for (int k = 0; k < 3; ++k) t.finite = t.finite && std::isfinite(t.p[k].x) && std::isfinite(t.p[k].y);
    }
    std::vector<int>().swap(ids);

    // Cell size: the mean edge length; origin: the lowest corner. Triangles
    // with a non-finite corner are no layout at all and stay out of the grid.
    double edgeSum = 0.0;
    double originX = REAL_LARGE, originY = REAL_LARGE;
    int finiteCount = 0;
    for (const TriView& t : views) {
        if (!t.finite) continue;
        edgeSum += t.p[0].Distance(t.p[1]) + t.p[1].Distance(t.p[2]) + t.p[2].Distance(t.p[0]);
        originX = std::min(originX, t.minX);
        originY = std::min(originY, t.minY);
        ++finiteCount;
    }
    double cellSize = edgeSum / (3.0 * std::max(finiteCount, 1));
    // Only the speed depends on the cell size: any size finds every pair of
    // touching boxes. A layout of points alone still needs a usable size.
    if (!(cellSize > 0.0) || !std::isfinite(cellSize)) cellSize = 1.0;
    progress.SetProgress(0.2);

    // A few huge triangles among tiny ones would enter millions of cells; a
    // coarser grid gives the same pairs, so the cell grows until the entries fit.
    std::vector<CellRange> ranges(faceCount, CellRange{1, 1, 0, 0});
    const uint64_t entryBudget = 32ull * static_cast<uint64_t>(faceCount) + 65536ull;
    uint64_t entryCount = 0;
    while (true) {
        const CellMapper mapper(originX, originY, cellSize);
        entryCount = 0;
        for (int f = 0; f < faceCount; ++f) {
            if (!views[f].finite) continue;
            ranges[f] = mapper.Range(views[f]);
            entryCount += (static_cast<uint64_t>(ranges[f].i1 - ranges[f].i0) + 1) *
                          (static_cast<uint64_t>(ranges[f].j1 - ranges[f].j0) + 1);
        }
        if (entryCount <= entryBudget) break;
        cellSize *= 2.0;
    }

    // Kept per thread: its bucket table is reused by the next call.
    thread_local HashedCellGrid grid;
    grid.Build(ranges, entryCount);
    progress.SetProgress(0.3);

    // Each unordered pair is tested once, from the side of its lower id, and
    // marks both triangles; pairs whose triangles are both marked are skipped.
    std::vector<uint8_t> marked(faceCount, 0);
    std::vector<int> found;
    std::vector<int> candidates;
    candidates.reserve(64);
    for (int f = 0; f < faceCount; ++f) {
        progress.SetProgress(0.3 + 0.7 * f / faceCount);
        const TriView& tf = views[f];
        const CellRange& r = ranges[f];
        if (!tf.finite) {
            // Reported rather than passed: such a chart has no usable layout.
            if (!marked[f]) {
                marked[f] = 1;
                found.push_back(f);
            }
            continue;
        }
        // Neighbours in id order often cover the same cells (two halves of one
        // quad): the previous set, less the ids up to f, is then this one.
        if (f > 0 && r.i0 == ranges[f - 1].i0 && r.j0 == ranges[f - 1].j0 && r.i1 == ranges[f - 1].i1 &&
            r.j1 == ranges[f - 1].j1) {
            candidates.erase(candidates.begin(), std::upper_bound(candidates.begin(), candidates.end(), f));
        } else {
            grid.GatherAbove(r, f, &candidates);
        }
        EdgeBox fBoxes[3];
        _EdgeBoxes(tf, fBoxes);
        for (const int g : candidates) {
            if (marked[f] && marked[g]) continue;
            const TriView& tg = views[g];
            // Every test below needs the two boxes to meet.
            if (tf.maxX < tg.minX || tg.maxX < tf.minX || tf.maxY < tg.minY || tg.maxY < tf.minY) continue;
            if (!_TrianglesOverlap(tf, fBoxes, tg)) continue;
            if (!marked[f]) {
                marked[f] = 1;
                found.push_back(f);
            }
            if (!marked[g]) {
                marked[g] = 1;
                found.push_back(g);
            }
        }
    }

    double totalArea = 0.0, overlapArea = 0.0;
    for (int f = 0; f < faceCount; ++f) {
        if (!views[f].finite) continue;
        const double area = _Area(views[f].p[0], views[f].p[1], views[f].p[2]);
        totalArea += area;
        if (marked[f]) overlapArea += area;
    }
    if (overlapRatio) *overlapRatio = overlapArea / std::max(totalArea, kTol);
    const bool overlapped = !found.empty();
    const size_t overlapCount = found.size();
    if (overlapFaces) overlapFaces->swap(found);

    progress.SetProgress(1.0);
    const double seconds = Profiler::GetTime() - startTime;
    _LogDetail("Overlap count = ", overlapCount);
    _LogDetail("IsTriMesh2DOverlapped: total time: ", seconds);
    _AddSeconds(_AtlasStatistics().overlapSeconds, seconds);
    return overlapped;
}

}  // namespace ORVO
