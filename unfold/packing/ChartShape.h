#pragma once
// A chart image prepared for placement: its runs, probe squares, key runs and
// columns for the quick rejection of positions, and the image grown by the gap.

#include "unfold/packing/ChartRaster.h"

#include <vector>

namespace ORVO {

// Runs longer than this are tested piecewise (keeps the grid's mask ladder short).
constexpr int kLongestTestedRun = 511;

// One orientation of one chart at the working scale, ready for placement.
struct ChartShape {
    int width = 0;                    // size of the exact (undilated) image in pixels
    int height = 0;
    long long pixelCount = 0;         // set pixels of the exact image
    int meanRow16 = 0;                // mean height of the exact pixels' centres, in sixteenths
    std::vector<PixelRun> runs;       // exact image as runs, the order in which they are tested
    BitImage grown;                   // exact image grown by the gap; pixel (0,0) sits at (-gap,-gap)
    long long grownCount = 0;         // set pixels of the grown image
    std::vector<int> keyRuns;         // a few runs spread over the rows (indices into runs)
    std::vector<PixelRun> keyColumns; // a few vertical runs spread over the columns: column x,
                                      // rows y .. y+length-1
    // Squares of exact pixels spread over the chart (lower-left pixel x, y and side, in
    // PixelRun's fields y, x, length), largest first: where the chart fits, each lands
    // on a free square at least as large.
    std::vector<PixelRun> probes;
    int square = 0;                   // side of the largest square (probes[0]), 0 if none
};

// Builds a shape from an exact chart image.
// With `turnedFrom`, the probes are those of that shape turned by `turns` quarter turns
// (the image is that shape's image turned) instead of being searched again. Without
// `withProbes` the shape gets none (for a grid that keeps no square map). With
// `grownGiven`, shape.grown already holds the image grown by the gap (as _GrowOutline
// makes it); otherwise the image is dilated by the gap kernel.
void _MakeChartShape(const BitImage& image, int gap, ChartShape& shape, const ChartShape* turnedFrom = nullptr,
                     int turns = 0, bool withProbes = true, bool grownGiven = false);

}  // namespace ORVO
