#pragma once
// A chart's outline: the edges left when the directed edges of its triangles cancel
// in opposite pairs, and the conservative image of the chart drawn from them alone.
// A dense chart has far fewer outline edges than triangles, so its image costs
// about its perimeter and its rows instead of its triangle count.

#include "unfold/packing/ChartRaster.h"

#include <vector>

namespace ORVO {

// One outline edge from vertex `from` to vertex `to`; `weight` counts the copies that
// did not cancel (negative when more of them ran the other way).
struct OutlineEdge {
    int from;
    int to;
    int weight;
};

struct ChartOutline {
    // False when the chart's triangles do not all turn the same way: then the winding
    // of the outline does not tell which pixels the triangles cover.
    bool usable = false;
    // +1 when the triangles run counter-clockwise, -1 when clockwise, 0 when all are flat.
    int orientation = 0;
    std::vector<OutlineEdge> edges;
    // Triangles too flat to have a reliable orientation: drawn one by one.
    std::vector<int> flatTriangles;
};

// Outline of the triangles `tris` (3 vertex ids each) over the 2-D points `uv`
// (2 coordinates per vertex).
ChartOutline _MakeChartOutline(const std::vector<int>& tris, const double* uv);

// Sets every pixel whose closed square meets one of the chart's triangles, as
// _RasteriseTriangle would for each of them: the pixels that the outline edges and the
// flat triangles touch, and the pixels whose centre the outline winds around.
// `pixels`: the chart's points in pixels (2 per vertex); `outline.usable` must hold.
void _RasteriseOutline(BitImage& image, const double* pixels, const std::vector<int>& tris,
                       const ChartOutline& outline);

// The chart's image grown by the gap: `image` (its exact pixels, as _RasteriseOutline
// draws them from `pixels`) and every pixel whose closed square comes closer than `gap`
// pixels to the chart. Unlike the exact image dilated by the gap, it adds no pixel for
// the part of a border pixel the chart leaves empty, nor for the corners of the pixel
// squares. Writes `grown` with the image's box widened by gap on every side;
// `outline.usable` must hold.
void _GrowOutline(const BitImage& image, const double* pixels, const std::vector<int>& tris,
                  const ChartOutline& outline, int gap, BitImage& grown);

}  // namespace ORVO
