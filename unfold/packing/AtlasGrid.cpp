#include "unfold/packing/AtlasGrid.h"

#include "unfold/packing/BitRow.h"

#include <algorithm>

namespace ORVO {

namespace {

// Bits [64*j + offset, 64*j + offset + 64) of a mask row (offset >= 0).
inline uint64_t ShiftedWord(const uint64_t* row, int j, int offset) {
    const int w = j + (offset >> 6), s = offset & 63;
    return s ? (row[w] >> s) | (row[w + 1] << (64 - s)) : row[w];
}

// The same, reading zeros past `words`.
inline uint64_t ShiftedWordGuarded(const uint64_t* row, int words, int j, int offset) {
    const int w = j + (offset >> 6), s = offset & 63;
    const uint64_t lo = w < words ? row[w] : 0;
    if (!s) return lo;
    const uint64_t hi = w + 1 < words ? row[w + 1] : 0;
    return (lo >> s) | (hi << (64 - s));
}

// Start of the run of bits equal to `set` that ends just before column end, looking
// no further left than column lo (end itself when bit end - 1 differs).
inline int RunStart(const uint64_t* row, int lo, int end, bool set) {
    for (int x = end; x > lo;) {
        const int w = (x - 1) >> 6;
        const uint64_t stops = (set ? ~row[w] : row[w]) & _MaskTo((x - 1) & 63);
        if (stops) return std::max(lo, 64 * w + _HighestBit(stops) + 1);
        x = 64 * w;
    }
    return lo;
}

inline int FloorLog2(int v) { return 31 - __builtin_clz(static_cast<unsigned>(v)); }

// Summary cells (8 columns each) that may hold a set mask bit at column x + offset,
// for the 64 cells from 64*i on.
inline uint64_t CellsAt(const uint64_t* summary, int i, int offset) {
    const int q = offset >> 3;
    return (offset & 7) ? ShiftedWord(summary, i, q) | ShiftedWord(summary, i, q + 1) : ShiftedWord(summary, i, q);
}

}  // namespace

void AtlasGrid::InitMasks(Masks& m, int levels, bool horizontal) {
    m.levels = m.active = levels;
    m.bits.assign(static_cast<size_t>(mSize) * levels * mMaskWords, 0);
    m.summary.assign(static_cast<size_t>(mSize) * levels * mSummaryWords, 0);
    m.rows.assign(static_cast<size_t>(levels) * mRowWords64, 0);
    for (int y = 0; y < mSize; ++y)
        for (int level = 0; level < levels; ++level) {
            // A run of 2^level starting at (x, y) stays inside the square.
            const int lastX = horizontal ? mSize - (1 << level) : mSize - 1;
            const int lastY = horizontal ? mSize - 1 : mSize - (1 << level);
            if (y > lastY || lastX < 0) continue;
            _SetBitRange(MaskRow(m, level, y), 0, lastX);
            _SetBitRange(SummaryRow(m, level, y), 0, lastX >> 3);
            m.rows[static_cast<size_t>(level) * mRowWords64 + (y >> 6)] |= uint64_t(1) << (y & 63);
        }
}

void AtlasGrid::RefreshRowBit(Masks& m, int level, int y) {
    // Free runs only get fewer: a clear bit stays clear.
    uint64_t& word = m.rows[static_cast<size_t>(level) * mRowWords64 + (y >> 6)];
    const uint64_t bit = uint64_t(1) << (y & 63);
    if (!(word & bit)) return;
    const uint64_t* summary = SummaryRow(m, level, y);
    for (int i = 0; i < mSummaryWords; ++i)
        if (summary[i]) return;
    word &= ~bit;
}

void AtlasGrid::NarrowRows(const Masks& m, const PixelRun& run, uint64_t* rows) const {
    const int level = FloorLog2(std::max(1, run.length));
    if (level >= m.levels) return;
    const uint64_t* bits = &m.rows[static_cast<size_t>(level) * mRowWords64];
    const int rowWords = (mSize + 63) / 64;
    for (int j = 0; j < rowWords; ++j) rows[j] &= ShiftedWordGuarded(bits, mRowWords64, j, run.y);
}

void AtlasGrid::LowerRunCap(int longestRun, int longestColumn) {
    mHorizontal.active = std::min(mHorizontal.active, FloorLog2(std::max(1, longestRun)) + 1);
    mVertical.active = std::min(mVertical.active, FloorLog2(std::max(1, longestColumn)) + 1);
}

void AtlasGrid::Reset(int size, int gap, int longestRun, int longestColumn, int largestSquare) {
    mSize = std::min(size, kMaxGridSize);
    mGap = gap;
    const int padWords = (gap + 63) / 64 + 1;
    mPadBits = 64 * padWords;
    mPadRows = gap + 1;
    mRowWords = 2 * padWords + (mSize + 63) / 64 + 1;
    mUsedHeight = 0;
    mBits.assign(static_cast<size_t>(mRowWords) * (mSize + 2 * mPadRows), 0);
    mMaskWords = (mSize + 63) / 64 + 2;
    // Room for unchecked reads at any shift up to the grid width.
    mSummaryWords = 2 * ((mSize + 511) / 512) + 2;
    mRowWords64 = (mSize + 63) / 64 + 2;
    InitMasks(mHorizontal, FloorLog2(std::max(1, std::min(longestRun, mSize))) + 1, true);
    InitMasks(mVertical, FloorLog2(std::max(1, std::min(longestColumn, mSize))) + 1, false);
    mCap = std::max(1, std::min({largestSquare, mSize, 32767}));
    if (largestSquare <= 0) {
        // No probes to test: the square map and its summaries are not kept at all.
        mLadder.clear();
        mSquareLevels = 0;
        return;
    }
    const int blocks = (mSize + 63) / 64;
    mSquare.assign(static_cast<size_t>(mSize + 1) * (mSize + 1), 0);
    mBlockSquare.resize(static_cast<size_t>(blocks) * mSize);
    mRowSquare.resize(mSize);
    for (int y = 0; y < mSize; ++y) {
        int16_t* sq = SquareRow(y);
        for (int x = 0; x < mSize; ++x) sq[x] = static_cast<int16_t>(std::min(mCap, mSize - std::max(x, y)));
        for (int b = 0; b < blocks; ++b)
            mBlockSquare[static_cast<size_t>(y) * blocks + b] = static_cast<int16_t>(std::min(mCap, mSize - std::max(64 * b, y)));
        mRowSquare[y] = std::min(mCap, mSize - y);
    }
    // Sides 1..8 one by one, then steps of about a quarter.
    mLadder.clear();
    for (int t = 1; t <= mCap; t = t < 8 ? t + 1 : std::max(t + 1, (t * 5) / 4)) mLadder.push_back(t);
    mSquareLevels = static_cast<int>(mLadder.size());
    mLevelsUpTo.assign(mCap + 1, 0);
    for (int side = 1, n = 0; side <= mCap; ++side) {
        while (n < mSquareLevels && mLadder[n] <= side) ++n;
        mLevelsUpTo[side] = static_cast<uint8_t>(n);
    }
    mRowLevels.assign(static_cast<size_t>(mSquareLevels) * mRowWords64, 0);
    for (int level = 0; level < mSquareLevels; ++level)
        _SetBitRange(&mRowLevels[static_cast<size_t>(level) * mRowWords64], 0, mSize - mLadder[level]);
    mSquareSummary.assign(static_cast<size_t>(mSize) * mSquareLevels * mSummaryWords, 0);
    for (int y = 0; y < mSize; ++y)
        for (int level = 0; level < mSquareLevels; ++level) {
            const int last = mSize - mLadder[level];
            if (y <= last) _SetBitRange(SquareSummaryRow(level, y), 0, last >> 3);
        }
}

// Index of the largest ladder side not above `side` (clamped to the cap), or -1.
int AtlasGrid::SquareLevel(int side) const {
    if (!UsesSquares()) return -1;
    return int(mLevelsUpTo[std::max(0, std::min(side, mCap))]) - 1;
}

// Recomputes the masks after the pixels of rows y0..y1, columns x0..x1 were marked. A
// level is derived from the level below alone, so its changes lie next to that level's
// changes, and once a level is unchanged all above it are too.
void AtlasGrid::UpdateRows(int y0, int y1, int x0, int x1) {
    x0 = std::max(0, x0);
    x1 = std::min(mSize - 1, x1);
    y0 = std::max(0, y0);
    y1 = std::min(mSize - 1, y1);
    if (x0 > x1 || y0 > y1) return;
    const int padWords = mPadBits >> 6;
    const int lastWord = (mSize - 1) >> 6;
    const uint64_t lastMask = _MaskTo((mSize - 1) & 63);
    const int j0 = x0 >> 6, j1 = x1 >> 6;
    int changedRow0 = mSize, changedRow1 = -1;  // rows whose vertical level 0 changed
    for (int y = y0; y <= y1; ++y) {
        const uint64_t* occ = Row(y);
        int lo = mMaskWords, hi = -1;  // words of the level below that changed
        for (int j = j0; j <= j1; ++j) {
            uint64_t v = ~occ[j + padWords];
            if (j == lastWord) v &= lastMask;
            if (StoreWord(mHorizontal, 0, y, j, v)) {
                lo = std::min(lo, j);
                hi = j;
            }
            StoreWord(mVertical, 0, y, j, v);
        }
        if (hi < 0) continue;
        changedRow0 = std::min(changedRow0, y);
        changedRow1 = y;
        RefreshRowBit(mHorizontal, 0, y);
        RefreshRowBit(mVertical, 0, y);
        for (int level = 1; level < mHorizontal.active && hi >= 0; ++level) {
            const int half = 1 << (level - 1);
            const uint64_t* prev = MaskRow(mHorizontal, level - 1, y);
            // Word j reads words j + half / 64 and the one after of the level below.
            const int from = std::max(0, lo - (half >> 6) - 1);
            int nextLo = mMaskWords, nextHi = -1;
            for (int j = from; j <= hi; ++j) {
                if (StoreWord(mHorizontal, level, y, j, prev[j] & ShiftedWordGuarded(prev, mMaskWords, j, half))) {
                    nextLo = std::min(nextLo, j);
                    nextHi = j;
                }
            }
            if (nextHi >= 0) RefreshRowBit(mHorizontal, level, y);
            lo = nextLo;
            hi = nextHi;
        }
    }
    // Vertical masks: level l of row y joins level l - 1 of rows y and y + 2^(l-1).
    int r0 = changedRow0, r1 = changedRow1;
    for (int level = 1; level < mVertical.active && r1 >= 0; ++level) {
        const int half = 1 << (level - 1);
        int nextR0 = mSize, nextR1 = -1;
        for (int y = std::max(0, r0 - half); y <= r1; ++y) {
            const uint64_t* a = MaskRow(mVertical, level - 1, y);
            const uint64_t* b = y + half < mSize ? MaskRow(mVertical, level - 1, y + half) : nullptr;
            bool changed = false;
            for (int j = j0; j <= j1; ++j) changed = StoreWord(mVertical, level, y, j, b ? a[j] & b[j] : 0) || changed;
            if (!changed) continue;
            RefreshRowBit(mVertical, level, y);
            nextR0 = std::min(nextR0, y);
            nextR1 = y;
        }
        r0 = nextR0;
        r1 = nextR1;
    }
}

// Recomputes the square entries of row y, columns x0..x1, all at once: a marked span
// is mostly recomputed anyway, and in passes without branches the work vectorises.
// Writes the leftmost and rightmost changed columns to lo and hi (untouched if none).
void AtlasGrid::RecomputeSquareSpan(int y, int x0, int x1, int& lo, int& hi) {
    int16_t* sq = SquareRow(y);
    const int16_t* up = SquareRow(y + 1);
    const uint64_t* free0 = MaskRow(mHorizontal, 0, y);
    const int n = x1 - x0 + 1;
    mSpan.resize(static_cast<size_t>(mSize) + 1);
    int16_t* t = mSpan.data();
    const int16_t cap = static_cast<int16_t>(mCap);
    // Marked pixels get 0; along each free run, from its right end, an entry is bounded
    // by the row above and by its right neighbour. Column x1 + 1 did not change.
    int16_t right = sq[x1 + 1];
    for (int end = x1 + 1; end > x0;) {
        // The free run [a, end) and the marked run [b, a) left of it.
        const int a = RunStart(free0, x0, end, true);
        int16_t prev = right;
        for (int x = end - 1; x >= a; --x) {
            const int16_t bound = std::min<int16_t>(static_cast<int16_t>(std::min(up[x], up[x + 1]) + 1), cap);
            prev = std::min<int16_t>(bound, static_cast<int16_t>(prev + 1));
            t[x - x0] = prev;
        }
        if (a <= x0) break;
        const int b = RunStart(free0, x0, a, false);
        std::fill(t + (b - x0), t + (a - x0), int16_t(0));
        right = 0;
        end = b;
    }
    int first = 0, last = n - 1;
    while (first < n && t[first] == std::min(sq[x0 + first], cap)) ++first;
    if (first == n) return;
    while (t[last] == std::min(sq[x0 + last], cap)) --last;
    std::copy(t + first, t + last + 1, sq + x0 + first);
    lo = std::min(lo, x0 + first);
    hi = std::max(hi, x0 + last);
}

// Squares only shrink: in row y, clears for cells c0..c1 the summary bits of the ladder
// levels above each cell's new largest square. A cell's bits fall off from the top, so
// each summary word is cleared level by level, for all its cells at once, up to the
// first level where none of them is set.
void AtlasGrid::ClearSquareCells(int y, int c0, int c1) {
    const int16_t* sq = SquareRow(y);
    mLevelCells.resize(static_cast<size_t>(mSquareLevels) + 1);
    for (int w = c0 >> 6; w <= (c1 >> 6); ++w) {
        const int first = std::max(c0, 64 * w), last = std::min(c1, 64 * w + 63);
        std::fill(mLevelCells.begin(), mLevelCells.end(), uint64_t(0));
        int minLevel = mSquareLevels, maxLevel = 0;
        for (int cell = first; cell <= last; ++cell) {
            int16_t m = 0;
            for (int x = 8 * cell, e = std::min(mSize, 8 * cell + 8); x < e; ++x) m = std::max(m, sq[x]);
            const int level = mLevelsUpTo[std::min<int>(m, mCap)];
            mLevelCells[level] |= uint64_t(1) << (cell & 63);
            minLevel = std::min(minLevel, level);
            maxLevel = std::max(maxLevel, level);
        }
        uint64_t cleared = 0;
        for (int level = minLevel; level < mSquareLevels; ++level) {
            if (level <= maxLevel) cleared |= mLevelCells[level];
            uint64_t& word = SquareSummaryRow(level, y)[w];
            if (level >= maxLevel && !(word & cleared)) break;
            word &= ~cleared;
        }
    }
}

// Recomputes the free squares that may have shrunk after pixels in x0..x1, y0..y1 were
// marked: those with a corner at most mCap to the left of or below the change.
void AtlasGrid::UpdateSquares(int x0, int y0, int x1, int y1) {
    // Pixels of rows y0..y1, columns x0..x1 may have been marked. A square entry depends
    // on the entries right of it and above it, so changes spread only left and down:
    // each row is recomputed from the right end of the changes in the row above (or of
    // the marked columns) leftwards, until an unchanged entry leaves nothing to spread.
    const int markLo = std::max(0, x0), markHi = std::min(mSize - 1, x1);
    y1 = std::min(mSize - 1, y1);
    if (markLo > markHi || y1 < 0) return;
    const int yStop = std::max(0, y0 - mCap);
    const int blocks = (mSize + 63) / 64;
    int upLo = mSize, upHi = -1;  // changed columns of the row above
    for (int y = y1; y >= yStop; --y) {
        const bool marked = y >= y0;
        if (!marked && upHi < 0) break;
        int16_t* sq = SquareRow(y);
        const int16_t* up = SquareRow(y + 1);
        const uint64_t* free0 = MaskRow(mHorizontal, 0, y);
        const int start = marked ? std::max(markHi, upHi) : upHi;
        int lo = mSize, hi = -1;
        int x = start;
        if (marked) {
            RecomputeSquareSpan(y, markLo, start, lo, hi);
            x = markLo - 1;
        }
        for (; x >= 0; --x) {
            if ((x & 63) == 63 && free0[x >> 6] == 0) {
                // A whole word of marked pixels: all entries become 0.
                int16_t* word = sq + (x - 63);
                int first = -1, last = -1;
                for (int i = 0; i < 64; ++i)
                    if (word[i] != 0) {  // zero under any cap
                        if (first < 0) first = i;
                        last = i;
                    }
                if (first >= 0) {
                    std::fill(word, word + 64, int16_t(0));
                    lo = x - 63 + first;
                    if (hi < 0) hi = x - 63 + last;
                }
                x -= 63;
                continue;
            }
            int16_t v = 0;
            if ((free0[x >> 6] >> (x & 63)) & 1u)
                v = static_cast<int16_t>(std::min(1 + std::min({int(sq[x + 1]), int(up[x]), int(up[x + 1])}), mCap));
            // Entries above the cap (left from a larger one) count as the cap: only a
            // change of the capped value reaches the neighbours.
            if (v != std::min<int>(sq[x], mCap)) {
                sq[x] = v;
                lo = x;
                if (hi < 0) hi = x;
            } else if (x + 1 < upLo && (!marked || x < markLo)) {
                // Nothing left of here differs from before: its inputs are all unchanged.
                break;
            }
        }
        upLo = lo;
        upHi = hi;
        if (hi < 0) continue;
        ClearSquareCells(y, lo >> 3, hi >> 3);
        int16_t* blockMax = &mBlockSquare[static_cast<size_t>(y) * blocks];
        for (int b = lo >> 6; b <= (hi >> 6); ++b) {
            int16_t m = 0;
            for (int x = 64 * b, e = std::min(mSize, 64 * b + 64); x < e; ++x) m = std::max(m, sq[x]);
            blockMax[b] = m;
        }
        int16_t m = 0;
        for (int b = 0; b < blocks; ++b) m = std::max(m, blockMax[b]);
        mRowSquare[y] = m;
        for (int level = mLevelsUpTo[std::min<int>(m, mCap)]; level < mSquareLevels; ++level) {
            uint64_t& word = mRowLevels[static_cast<size_t>(level) * mRowWords64 + (y >> 6)];
            const uint64_t bit = uint64_t(1) << (y & 63);
            if (!(word & bit)) break;
            word &= ~bit;
        }
    }
}

bool AtlasGrid::Fits(const ChartShape& shape, int x, int y) const {
    if (x < 0 || y < 0 || x + shape.width > mSize || y + shape.height > mSize) return false;
    for (const PixelRun& r : shape.runs) {
        const int lo = mPadBits + x + r.x;
        if (_LastSetInRange(Row(y + r.y), lo, lo + r.length - 1) >= 0) return false;
    }
    return true;
}

// Narrows c, the candidate positions 64*j .. 64*j+63, to those where `shape` fits with
// its bottom on row y; true when some remain. The key columns go first as a quick
// filter; the runs then decide exactly.
bool AtlasGrid::FitsInWord(const ChartShape& shape, int y, int j, uint64_t& c) const {
    for (const PixelRun& col : shape.keyColumns) {
        const int level = FloorLog2(col.length);
        c &= ShiftedWord(MaskRow(mVertical, level, y + col.y), j, col.x);
        const int rest = col.length - (1 << level);
        if (rest) c &= ShiftedWord(MaskRow(mVertical, level, y + col.y + rest), j, col.x);
        if (!c) return false;
    }
    for (const PixelRun& r : shape.runs) {
        const int level = FloorLog2(r.length);
        const uint64_t* row = MaskRow(mHorizontal, level, y + r.y);
        c &= ShiftedWord(row, j, r.x);
        const int rest = r.length - (1 << level);
        if (rest) c &= ShiftedWord(row, j, r.x + rest);
        if (!c) return false;
    }
    return true;
}

// Leftmost x in [0, xEnd] where `shape` fits with its bottom on row y, or -1. The
// summaries of the key runs and columns first pick the groups of 8 positions worth
// an exact test.
int AtlasGrid::FirstFitInRow(const ChartShape& shape, int y, int xEnd) const {
    if (shape.runs.empty()) return 0;
    const int lastCell = xEnd >> 3;
    const int cw = (lastCell >> 6) + 1;
    uint64_t cand[kMaxGridSize / 512 + 1];
    for (int i = 0; i < cw; ++i) cand[i] = i < cw - 1 ? ~uint64_t(0) : _MaskTo(lastCell & 63);
    // Words of cand still holding candidates: only those are narrowed further.
    uint64_t active = cw >= 64 ? ~uint64_t(0) : (uint64_t(1) << cw) - 1;
    auto narrow = [&](const uint64_t* sumA, int offA, const uint64_t* sumB, int offB) {
        for (uint64_t m = active; m; m &= m - 1) {
            const int i = _LowestBit(m);
            uint64_t a = CellsAt(sumA, i, offA);
            if (sumB) a &= CellsAt(sumB, i, offB);
            cand[i] &= a;
            if (!cand[i]) active &= ~(uint64_t(1) << i);
        }
        return active != 0;
    };
    // Probe squares first (each tests a whole area), then a few key columns and runs;
    // more of them cost more than they save.
    const size_t maxProbes = 3, maxKeys = 2;
    for (size_t pi = 0; pi < shape.probes.size() && pi < maxProbes; ++pi) {
        const PixelRun& p = shape.probes[pi];
        const int level = SquareLevel(p.length);
        if (level >= 0 && !narrow(SquareSummaryRow(level, y + p.y), p.x, nullptr, 0)) return -1;
    }
    const size_t keys = std::min(maxKeys, std::max(shape.keyRuns.size(), shape.keyColumns.size()));
    for (size_t k = 0; k < keys; ++k) {
        if (k < shape.keyColumns.size()) {
            const PixelRun& col = shape.keyColumns[k];
            const int level = FloorLog2(col.length);
            const int rest = col.length - (1 << level);
            const uint64_t* rest0 = SummaryRow(mVertical, level, y + col.y);
            const uint64_t* rest1 = rest ? SummaryRow(mVertical, level, y + col.y + rest) : nullptr;
            if (!narrow(rest0, col.x, rest1, col.x)) return -1;
        }
        if (k < shape.keyRuns.size()) {
            const PixelRun& r = shape.runs[shape.keyRuns[k]];
            const int level = FloorLog2(r.length);
            const int rest = r.length - (1 << level);
            const uint64_t* sum = SummaryRow(mHorizontal, level, y + r.y);
            if (!narrow(sum, r.x, rest ? sum : nullptr, r.x + rest)) return -1;
        }
    }
    const int lastWord = xEnd >> 6;
    for (int i = 0; i < cw; ++i) {
        uint64_t cells = cand[i];
        while (cells) {
            // All candidate cells of one mask word are tested together.
            const int j = 8 * i + (_LowestBit(cells) >> 3);
            const uint64_t bytes = (cells >> (8 * (j & 7))) & 0xFF;
            cells &= ~(uint64_t(0xFF) << (8 * (j & 7)));
            uint64_t c = 0;
            for (uint64_t b = bytes; b; b &= b - 1) c |= uint64_t(0xFF) << (8 * _LowestBit(b));
            if (j == lastWord) c &= _MaskTo(xEnd & 63);
            if (c && FitsInWord(shape, y, j, c)) return 64 * j + _LowestBit(c);
        }
    }
    return -1;
}

bool AtlasGrid::CandidateRows(const ChartShape* const* shapes, int count) const {
    // Per shape, the rows where the rows of its longest run and longest key column hold
    // free runs that long, and where every probe's row holds a free square as large as
    // the probe; only those rows are searched, lowest first.
    const int rowWords = (mSize + 63) / 64;
    std::vector<uint64_t>& rows = mRowScratch;
    rows.assign(static_cast<size_t>(count + 1) * rowWords, 0);
    uint64_t* any = &rows[static_cast<size_t>(count) * rowWords];
    for (int i = 0; i < count; ++i) {
        const ChartShape& s = *shapes[i];
        uint64_t* r = &rows[static_cast<size_t>(i) * rowWords];
        if (s.width > mSize || s.height > mSize) continue;
        _SetBitRange(r, 0, mSize - s.height);
        for (int k : s.keyRuns) NarrowRows(mHorizontal, s.runs[k], r);
        for (const PixelRun& c : s.keyColumns) NarrowRows(mVertical, c, r);
        for (const PixelRun& p : s.probes) {
            const int level = SquareLevel(p.length);
            if (level < 0) continue;
            const uint64_t* bits = &mRowLevels[static_cast<size_t>(level) * mRowWords64];
            for (int j = 0; j < rowWords; ++j) r[j] &= ShiftedWordGuarded(bits, mRowWords64, j, p.y);
        }
        for (int j = 0; j < rowWords; ++j) any[j] |= r[j];
    }
    for (int j = 0; j < rowWords; ++j)
        if (any[j]) return true;
    return false;
}

bool AtlasGrid::ProbeRowsFree(const ChartShape& s, int y) const {
    if (!UsesSquares()) return true;
    for (const PixelRun& p : s.probes)
        if (mRowSquare[y + p.y] < std::min(p.length, mCap)) return false;
    return true;
}

int AtlasGrid::FindLowestPosition(const ChartShape* const* shapes, int count, const int* keys, int& bestX,
                                  int& bestY) const {
    if (!CandidateRows(shapes, count)) return -1;
    const int rowWords = (mSize + 63) / 64;
    const std::vector<uint64_t>& rows = mRowScratch;
    const uint64_t* any = &rows[static_cast<size_t>(count) * rowWords];
    int lowestOffset = keys[0];
    for (int i = 1; i < count; ++i) lowestOffset = std::min(lowestOffset, keys[i]);
    int best = -1, bestKey = 0;
    // Shapes already placed at their lowest row: any later row only raises their key.
    unsigned done = 0;
    for (int j = 0; j < rowWords; ++j) {
        for (uint64_t w = any[j]; w; w &= w - 1) {
            const int y = 64 * j + _LowestBit(w);
            if (best >= 0 && 16 * y + lowestOffset > bestKey) return best;
            for (int i = 0; i < count; ++i) {
                if ((done >> i) & 1u) continue;
                if (!((rows[static_cast<size_t>(i) * rowWords + j] >> (y & 63)) & 1u)) continue;
                const ChartShape& s = *shapes[i];
                const int key = 16 * y + keys[i];
                if (best >= 0 && key > bestKey) continue;
                int xEnd = mSize - s.width;
                if (best >= 0 && key == bestKey) xEnd = std::min(xEnd, bestX - 1);
                if (xEnd < 0 || !ProbeRowsFree(s, y)) continue;
                const int found = FirstFitInRow(s, y, xEnd);
                if (found >= 0) {
                    done |= 1u << i;
                    best = i;
                    bestKey = key;
                    bestX = found;
                    bestY = y;
                }
            }
        }
    }
    return best;
}

void AtlasGrid::Place(const ChartShape& shape, int x, int y) {
    const BitImage& g = shape.grown;
    const int base = mPadBits + x - mGap;
    for (int r = 0; r < g.height; ++r) {
        uint64_t* dst = Row(y - mGap + r);
        const uint64_t* src = g.Row(r);
        for (int k = 0; k < g.wordsPerRow; ++k) {
            const uint64_t v = src[k];
            if (!v) continue;
            const int pos = base + 64 * k;
            const int w = pos >> 6, s = pos & 63;
            dst[w] |= v << s;
            if (s) dst[w + 1] |= v >> (64 - s);
        }
    }
    UpdateRows(y - mGap, y - mGap + g.height - 1, x - mGap, x - mGap + g.width - 1);
    if (UsesSquares()) UpdateSquares(x - mGap, y - mGap, x - mGap + g.width - 1, y - mGap + g.height - 1);
    mUsedHeight = std::max(mUsedHeight, y + shape.height);
}

}  // namespace ORVO
