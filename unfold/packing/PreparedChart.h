#pragma once
// A chart ready for packing: its coordinates turned to a few directions (frames), its
// area and outline, and how a frame maps to pixels at a given pixel scale.

#include "unfold/packing/ChartOutline.h"

#include <cstddef>
#include <vector>

namespace ORVO {

// A chart's coordinates turned to one direction, with their bounding box's lower
// corner at the origin. Packing only scales, turns by quarter turns and translates them.
struct ChartFrame {
    std::vector<double> local;  // (u, v) per vertex
    double extentU = 0;
    double extentV = 0;
};

// frames[0] is turned to the chart's smallest bounding rectangle; further frames, when
// present, are turned from it by equal steps that divide a quarter turn, and each frame
// offers its four quarter turns.
struct PreparedChart {
    std::vector<ChartFrame> frames;
    double area = 0;            // total unsigned triangle area
    ChartOutline outline;       // draws the chart's image when usable

    bool Empty() const { return frames.empty() || frames[0].local.empty(); }
};

// Most directions a chart is placed in: eight frames of four quarter turns.
constexpr int kMaxFrames = 8;
constexpr int kMaxDirections = 4 * kMaxFrames;

// `frame` turned counter-clockwise by `angle` radians and moved back to the origin.
ChartFrame _TurnedFrame(const ChartFrame& frame, double angle);

// Where a chart's local coordinates land in pixels at pixel scale f: p * f + offset,
// strictly inside a box of width x height pixels.
struct PixelFrame {
    double offsetX = 0.5;
    double offsetY = 0.5;
    int width = 1;
    int height = 1;
};

// The pixel box of one frame of a chart.
PixelFrame _MakePixelFrame(const ChartFrame& frame, double pixelScale);

// Whether the chart lists can be packed: as many coordinate lists as triangle lists
// (at least one), two finite coordinates a vertex, ids in range. Logs the first problem.
bool _ValidChartLists(const std::vector<std::vector<int>>& chartTriangles,
                      const std::vector<std::vector<double>>& chartUVs);

// A chart with its first frame turned to the smallest bounding rectangle (with `rotate`;
// otherwise as it comes) and, with `rotate`, frameCount - 1 more frames turned from it;
// its area and outline. `index` names it in the log.
PreparedChart _PrepareChart(size_t index, const std::vector<int>& tris, const std::vector<double>& uv, bool rotate,
                            int frameCount);

// Replaces the frames after frames[0] by `frameCount` - 1 frames turned from it by
// equal steps that divide a quarter turn.
void _SetFrames(PreparedChart& chart, int frameCount);

// Where a chart's placement in a square grid puts its vertices.
struct ChartPlacement {
    int turns = 0;  // direction: frame turns / 4, then (turns & 3) quarter turns of its image
    int x = 0;      // grid pixel of the image's pixel (0, 0)
    int y = 0;
};

// Writes the chart's coordinates in the unit square of a grid of `side` pixels where it
// lies with `placement`, its images drawn at `pixelScale` pixels per chart unit.
void _WritePlacedChart(const PreparedChart& chart, const ChartPlacement& placement, double pixelScale, int side,
                       std::vector<double>& uv);

// Coordinates of a point of the frame after `turns` counter-clockwise quarter turns
// of the frame's box, the same turn as _RotateImage applies to the chart's image.
void _TurnPoint(double x, double y, int turns, const PixelFrame& frame, double& outX, double& outY);

}  // namespace ORVO
