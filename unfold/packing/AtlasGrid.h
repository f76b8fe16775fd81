#pragma once
// The occupancy bitmap of the atlas packer and the search for the lowest free
// position of a chart image in it.

#include "unfold/packing/ChartShape.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace ORVO {

constexpr int kMaxGridSize = 16384;

// A square of size x size pixels (at most kMaxGridSize). The grown images of placed
// charts are marked in it, so a chart fits where its exact pixels meet no marked pixel.
//
// The exact test: per row and per power of two 2^m the grid keeps a mask of the
// columns x where pixels x .. x+2^m-1 are all free. A run of length L (2^m <= L <
// 2^(m+1)) is free at x exactly when bits x and x+L-2^m of mask m are set, so one chart
// run is tested for 64 positions with two shifted word reads, and a chart fits where
// all its runs do.
//
// The search for the lowest position must reject most rows and columns far more
// cheaply. A map of free squares (per pixel, the side of the largest free square with
// that lower-left corner) with per-row maxima rejects whole rows where a chart's probe
// squares cannot land; summaries with one bit per 8 columns of the square map, of the
// run masks and of vertical run masks (rows y .. y+2^m-1 of a column free) then narrow
// a row to the groups of 8 positions worth the exact test.
class AtlasGrid {
public:
    // `longestRun` and `longestColumn`: the longest horizontal and vertical chart runs
    // that will be tested; `largestSquare`: the largest probe side of the charts to come,
    // 0 when the shapes carry no probes (then no square map is kept).
    void Reset(int size, int gap, int longestRun, int longestColumn, int largestSquare);
    // No chart to come holds a square larger than `side`: free squares need only be told
    // apart up to that side, which keeps the square map updates local.
    void LowerSquareCap(int side) {
        if (UsesSquares()) mCap = std::max(1, std::min(mCap, side));
    }
    // No run or key column to come is longer than these: the run masks of longer runs
    // are no longer kept up to date (nor read).
    void LowerRunCap(int longestRun, int longestColumn);
    int Size() const { return mSize; }

    // True when `shape` placed with its pixel (0,0) at (x, y) lies inside the square and
    // meets no marked pixel.
    bool Fits(const ChartShape& shape, int x, int y) const;
    // The position with the lowest key 16 * y + keys[i], then leftmost, among all `count`
    // shapes (orientations of one chart, at most 32). keys[i] >= 0 is a height within
    // shape i in sixteenths of a pixel: 0 ranks by bottom row, others by top or mean row.
    // Returns the index of the chosen shape and writes its position, or -1 when none fits.
    int FindLowestPosition(const ChartShape* const* shapes, int count, const int* keys, int& x, int& y) const;
    // Marks the grown image of `shape` at (x, y); the caller has checked Fits.
    void Place(const ChartShape& shape, int x, int y);
    // One past the highest row holding an exact chart pixel.
    int UsedHeight() const { return mUsedHeight; }

private:
    // The run masks of one direction and their summaries.
    struct Masks {
        int levels = 0;
        int active = 0;  // levels still kept up to date (the lower ones)
        std::vector<uint64_t> bits;     // [row][level][word]
        std::vector<uint64_t> summary;  // [row][level][summary word]
        std::vector<uint64_t> rows;     // [level][row word]: the row holds a set bit of that level
    };
    const uint64_t* Row(int y) const { return mBits.data() + static_cast<size_t>(y + mPadRows) * mRowWords; }
    uint64_t* Row(int y) { return mBits.data() + static_cast<size_t>(y + mPadRows) * mRowWords; }
    const uint64_t* MaskRow(const Masks& m, int level, int y) const {
        return m.bits.data() + (static_cast<size_t>(y) * m.levels + level) * mMaskWords;
    }
    uint64_t* MaskRow(Masks& m, int level, int y) {
        return m.bits.data() + (static_cast<size_t>(y) * m.levels + level) * mMaskWords;
    }
    const uint64_t* SummaryRow(const Masks& m, int level, int y) const {
        return m.summary.data() + (static_cast<size_t>(y) * m.levels + level) * mSummaryWords;
    }
    uint64_t* SummaryRow(Masks& m, int level, int y) {
        return m.summary.data() + (static_cast<size_t>(y) * m.levels + level) * mSummaryWords;
    }
    void InitMasks(Masks& m, int levels, bool horizontal);
    void RefreshRowBit(Masks& m, int level, int y);
    // Narrows `rows` (one bit per bottom row) to those where `run` (at its offset in
    // the shape) may find a free run of its length in the masks' direction.
    void NarrowRows(const Masks& m, const PixelRun& run, uint64_t* rows) const;
    // Stores word j of mask row (level, y) and its summary byte; false when it was unchanged.
    bool StoreWord(Masks& m, int level, int y, int j, uint64_t v) {
        uint64_t& word = MaskRow(m, level, y)[j];
        if (word == v) return false;
        word = v;
        const int shift = 8 * (j & 7);
        uint64_t& s = SummaryRow(m, level, y)[j >> 3];
        s = (s & ~(uint64_t(0xFF) << shift)) | (NonZeroBytes(v) << shift);
        return true;
    }
    // One bit per byte of v, set when that byte is not zero.
    static uint64_t NonZeroBytes(uint64_t v) {
        const uint64_t low7 = 0x7F7F7F7F7F7F7F7FULL;
        const uint64_t high = (((v & low7) + low7) | v) & 0x8080808080808080ULL;
        return ((high >> 7) * 0x0102040810204080ULL) >> 56;
    }
    bool FitsInWord(const ChartShape& shape, int y, int j, uint64_t& c) const;
    int FirstFitInRow(const ChartShape& shape, int y, int xEnd) const;
    void UpdateRows(int y0, int y1, int x0, int x1);
    void UpdateSquares(int x0, int y0, int x1, int y1);
    void RecomputeSquareSpan(int y, int x0, int x1, int& lo, int& hi);
    void ClearSquareCells(int y, int c0, int c1);

    // The square map is kept (the shapes carry probes) exactly when it has levels.
    bool UsesSquares() const { return mSquareLevels > 0; }
    int SquareLevel(int side) const;
    const uint64_t* SquareSummaryRow(int level, int y) const {
        return mSquareSummary.data() + (static_cast<size_t>(y) * mSquareLevels + level) * mSummaryWords;
    }
    uint64_t* SquareSummaryRow(int level, int y) {
        return mSquareSummary.data() + (static_cast<size_t>(y) * mSquareLevels + level) * mSummaryWords;
    }
    int16_t* SquareRow(int y) { return mSquare.data() + static_cast<size_t>(y) * (mSize + 1); }
    const int16_t* SquareRow(int y) const { return mSquare.data() + static_cast<size_t>(y) * (mSize + 1); }

    int mSize = 0;
    int mGap = 0;
    int mPadBits = 0;      // columns of padding left of column 0
    int mPadRows = 0;      // rows of padding above row 0 and below the last row
    int mRowWords = 0;
    int mUsedHeight = 0;
    std::vector<uint64_t> mBits;       // grown images of the placed charts
    int mMaskWords = 0;
    int mSummaryWords = 0;
    Masks mHorizontal;
    Masks mVertical;
    // Per pixel: side of the largest free square with that pixel as lower-left corner,
    // capped at mCap; an extra row and column of zeros close the map. Per row and per
    // 64 columns its largest entry, and per row the largest of those.
    int mCap = 1;
    std::vector<int16_t> mSquare;
    std::vector<int16_t> mSpan;  // scratch row of RecomputeSquareSpan
    std::vector<uint64_t> mLevelCells;  // scratch of ClearSquareCells: cells per new level
    std::vector<int16_t> mBlockSquare;
    std::vector<int> mRowSquare;
    // Ladder of square sides and, per row and ladder level, one bit per 8 columns: set
    // when one of those columns holds a free square at least that large.
    std::vector<int> mLadder;
    std::vector<uint8_t> mLevelsUpTo;  // side -> number of ladder sides <= side
    int mSquareLevels = 0;
    std::vector<uint64_t> mSquareSummary;  // [row][level][summary word]
    // Per ladder level, one bit per row: set when the row holds a free square that large.
    int mRowWords64 = 0;
    std::vector<uint64_t> mRowLevels;  // [level][word]
    mutable std::vector<uint64_t> mRowScratch;
    // Per shape, the rows where its probe squares all find room; `any` (after the
    // count shapes) the union. Returns false when no shape fits anywhere.
    bool CandidateRows(const ChartShape* const* shapes, int count) const;
    bool ProbeRowsFree(const ChartShape& s, int y) const;
};

}  // namespace ORVO
