#include "unfold/packing/ChartShape.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace ORVO {

namespace {

// The largest all-set square in each cell of a 3x3 split of the image, largest first.
void SquareProbes(const BitImage& image, std::vector<PixelRun>& probes) {
    // Per pixel the largest all-set square with that lower-left pixel, run from the upper right.
    const int w = image.width, h = image.height;
    PixelRun cells[9] = {};
    std::vector<int> above(w + 1, 0), cur(w + 1, 0);
    // Column thirds, looked up: a division per pixel would cost more than the rest.
    std::vector<uint8_t> third(w);
    for (int x = 0; x < w; ++x) third[x] = static_cast<uint8_t>(3 * x / w);
    for (int y = h - 1; y >= 0; --y) {
        cur[w] = 0;
        const uint64_t* row = image.Row(y);
        PixelRun* rowCells = cells + 3 * (3 * y / std::max(1, h));
        for (int x = w - 1; x >= 0; --x) {
            if (!((row[x >> 6] >> (x & 63)) & 1u)) {
                cur[x] = 0;
                continue;
            }
            const int t = 1 + std::min({cur[x + 1], above[x], above[x + 1]});
            cur[x] = t;
            PixelRun& cell = rowCells[third[x]];
            if (t > cell.length) cell = {y, x, t};
        }
        std::swap(above, cur);
    }
    probes.clear();
    for (const PixelRun& c : cells)
        if (c.length > 0) probes.push_back(c);
    std::stable_sort(probes.begin(), probes.end(), [](const PixelRun& a, const PixelRun& b) { return a.length > b.length; });
}

}  // namespace

void _MakeChartShape(const BitImage& image, int gap, ChartShape& shape, const ChartShape* turnedFrom, int turns,
                     bool withProbes, bool grownGiven) {
    shape.width = image.width;
    shape.height = image.height;
    _CollectRuns(image, shape.runs);
    shape.pixelCount = 0;
    double rowSum = 0;
    for (const PixelRun& r : shape.runs) {
        shape.pixelCount += r.length;
        rowSum += (r.y + 0.5) * r.length;
    }
    shape.meanRow16 = shape.pixelCount > 0 ? static_cast<int>(std::lround(16.0 * rowSum / shape.pixelCount)) : 0;
    if (!grownGiven) _DilateRuns(shape.runs, image.width, image.height, gap, shape.grown);
    // The grid keeps run masks up to kLongestTestedRun: longer runs are tested in pieces.
    for (size_t i = 0; i < shape.runs.size(); ++i) {
        PixelRun& r = shape.runs[i];
        if (r.length <= kLongestTestedRun) continue;
        const PixelRun rest{r.y, r.x + kLongestTestedRun, r.length - kLongestTestedRun};
        r.length = kLongestTestedRun;
        shape.runs.push_back(rest);
    }
    shape.grownCount = shape.grown.Count();
    // Long runs are the likeliest to hit something: test them first.
    std::stable_sort(shape.runs.begin(), shape.runs.end(),
                     [](const PixelRun& a, const PixelRun& b) { return a.length > b.length; });
    // Key runs for the quick row rejection: the longest run and the longest runs of the
    // bottom, top and quarter rows, so that they reach far apart in both directions.
    shape.keyRuns.clear();
    if (!shape.runs.empty()) {
        int lowRow = shape.height, highRow = -1;
        for (const PixelRun& r : shape.runs) {
            lowRow = std::min(lowRow, r.y);
            highRow = std::max(highRow, r.y);
        }
        const int targets[4] = {lowRow, highRow, lowRow + (highRow - lowRow) / 4, lowRow + 3 * (highRow - lowRow) / 4};
        shape.keyRuns.push_back(0);
        for (int t : targets) {
            int best = -1;
            for (int i = 0; i < static_cast<int>(shape.runs.size()); ++i)
                if (shape.runs[i].y == t && (best < 0 || shape.runs[i].length > shape.runs[best].length)) best = i;
            if (best >= 0 && std::find(shape.keyRuns.begin(), shape.keyRuns.end(), best) == shape.keyRuns.end())
                shape.keyRuns.push_back(best);
        }
    }
    // Key columns: the longest vertical run in the leftmost, rightmost and quarter columns.
    shape.keyColumns.clear();
    if (!shape.runs.empty()) {
        int left = shape.width, right = -1;
        for (const PixelRun& r : shape.runs) {
            left = std::min(left, r.x);
            right = std::max(right, r.x + r.length - 1);
        }
        const int columns[5] = {left, right, left + (right - left) / 4, left + (right - left) / 2,
                                left + 3 * (right - left) / 4};
        for (int c : columns) {
            PixelRun best{0, c, 0};
            for (int y = 0; y < image.height;) {
                if (!image.Get(c, y)) {
                    ++y;
                    continue;
                }
                int end = y;
                while (end < image.height && image.Get(c, end)) ++end;
                // A part of a column is as good a filter; the grid's masks stop at kLongestTestedRun.
                if (end - y > best.length) best = {y, c, std::min(end - y, kLongestTestedRun)};
                y = end;
            }
            bool seen = false;
            for (const PixelRun& k : shape.keyColumns) seen = seen || (k.x == best.x && k.y == best.y);
            if (best.length > 0 && !seen) shape.keyColumns.push_back(best);
        }
        std::stable_sort(shape.keyColumns.begin(), shape.keyColumns.end(),
                         [](const PixelRun& a, const PixelRun& b) { return a.length > b.length; });
    }
    if (turnedFrom) {
        // A square with lower-left pixel (x, y) and side q goes where the turned image puts it.
        const int w = turnedFrom->width, h = turnedFrom->height;
        shape.probes.clear();
        for (const PixelRun& p : turnedFrom->probes) {
            const int q = p.length;
            switch (turns & 3) {
                case 0: shape.probes.push_back(p); break;
                case 1: shape.probes.push_back({p.x, h - p.y - q, q}); break;
                case 2: shape.probes.push_back({h - p.y - q, w - p.x - q, q}); break;
                default: shape.probes.push_back({w - p.x - q, p.y, q}); break;
            }
        }
    } else if (withProbes) {
        SquareProbes(image, shape.probes);
    } else {
        shape.probes.clear();
    }
    shape.square = shape.probes.empty() ? 0 : shape.probes[0].length;
}

}  // namespace ORVO
