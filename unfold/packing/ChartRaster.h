#pragma once
// Bit images of charts for the atlas packer: conservative rasterisation of
// triangles, segments and points, quarter-turn rotation, run extraction and
// dilation by the inter-chart gap.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ORVO {

// A binary image of `width` x `height` pixels. Pixel (x, y) is the closed unit
// square [x, x+1] x [y, y+1]; row y holds `wordsPerRow` 64-bit words and bit
// (x & 63) of word (x >> 6) is pixel x.
struct BitImage {
    int width = 0;
    int height = 0;
    int wordsPerRow = 0;
    std::vector<uint64_t> words;

    // Resizes to w x h and clears every pixel.
    void Reset(int w, int h);
    uint64_t* Row(int y) { return words.data() + static_cast<size_t>(y) * wordsPerRow; }
    const uint64_t* Row(int y) const { return words.data() + static_cast<size_t>(y) * wordsPerRow; }
    bool Get(int x, int y) const { return (Row(y)[x >> 6] >> (x & 63)) & 1u; }
    void Set(int x, int y) { Row(y)[x >> 6] |= uint64_t(1) << (x & 63); }
    // Sets pixels x0..x1 (inclusive) of row y; the range must lie inside the image.
    void SetSpan(int y, int x0, int x1);
    // Number of set pixels.
    long long Count() const;
};

// A horizontal run of set pixels: row `y`, columns x .. x+length-1.
struct PixelRun {
    int y;
    int x;
    int length;
};

// Sets every pixel of `image` whose closed square meets the triangle (a, b, c)
// (coordinates in pixels, either orientation). Zero-area triangles are covered
// as their edges, coincident corners as a point. Pixels outside the image are
// ignored, so callers size the image to hold the triangle.
void _RasteriseTriangle(BitImage& image, const double* a, const double* b, const double* c);
// Sets every pixel whose closed square meets the segment p-q.
void _RasteriseSegment(BitImage& image, const double* p, const double* q);
// Sets every pixel whose closed square contains the point p.
void _RasterisePoint(BitImage& image, const double* p);

// Runs of set pixels, row by row, left to right.
void _CollectRuns(const BitImage& image, std::vector<PixelRun>& runs);

// The image turned by `quarterTurns` counter-clockwise quarter turns about its
// own box: pixel (x, y) goes to (h-1-y, x) for one turn.
void _RotateImage(const BitImage& src, int quarterTurns, BitImage& dst);

// Half-widths of the gap kernel: every pixel within Euclidean distance < gap of a
// pixel square, as row offsets dy = -gap..gap, entry gap+dy = largest |dx|.
std::vector<int> _GapKernel(int gap);

// `dst` = pixels of `runs` grown by the gap kernel, with dst pixel (0, 0) at
// (-gap, -gap) of the source frame; the source frame is width x height.
void _DilateRuns(const std::vector<PixelRun>& runs, int width, int height, int gap, BitImage& dst);

}  // namespace ORVO
