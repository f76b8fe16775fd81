#pragma once
// A chart's outline: the edges left when the directed edges of its triangles cancel
// in opposite pairs, and the conservative image of the chart drawn from them alone.
// A dense chart has far fewer outline edges than triangles, so its image costs
// about its perimeter and its rows instead of its triangle count.

#include "unfold/ChartRaster.h"

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

}  // namespace ORVO
