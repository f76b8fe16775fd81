#pragma once
// One packing attempt at a fixed scale: every chart is rasterised conservatively in
// each of its frames and their quarter turns, and placed, largest first, at the free
// position its placement rule ranks lowest among all of them.

#include "unfold/packing/AtlasGrid.h"
#include "unfold/packing/ChartOutline.h"
#include "unfold/packing/ChartShape.h"

#include <array>
#include <vector>

namespace ORVO {

// A chart's coordinates turned to one direction, with their bounding box's lower
// corner at the origin. Packing only scales, turns by quarter turns and translates them.
struct ChartFrame {
    std::vector<double> local;  // (u, v) per vertex
    double extentU = 0;
    double extentV = 0;
};

// A chart ready for packing. frames[0] is turned to the chart's smallest bounding
// rectangle; further frames, when present, are turned from it by equal steps that
// divide a quarter turn, and each frame offers its four quarter turns.
struct PreparedChart {
    std::vector<ChartFrame> frames;
    double area = 0;            // total unsigned triangle area
    ChartOutline outline;       // draws the chart's image when usable

    bool Empty() const { return frames.empty() || frames[0].local.empty(); }
};

// Most directions a chart is placed in: four frames of four quarter turns.
constexpr int kMaxFrames = 4;
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

// Coordinates of a point of the frame after `turns` counter-clockwise quarter turns
// of the frame's box, the same turn as _RotateImage applies to the chart's image.
void _TurnPoint(double x, double y, int turns, const PixelFrame& frame, double& outX, double& outY);

struct ChartPlacement {
    int turns = 0;  // direction: frame turns / 4, then (turns & 3) quarter turns of its image
    int x = 0;      // grid pixel of the image's pixel (0, 0)
    int y = 0;
};

struct PackAttemptResult {
    double scale = 0;
    bool success = false;
    int usedHeight = 0;         // rows used (success)
    double placedFraction = 0;  // share of the grown pixels placed before a chart found no room
    std::vector<ChartPlacement> placements;
};

// Where each chart goes among the free positions of its orientations.
enum class PlacementRule {
    LowestCentre,  // lowest mean row of the chart's pixels, then leftmost: the direction
                   // that sinks most of the chart into the free space below wins
    LowestBottom,  // lowest bottom row, then leftmost
    LowestTop,     // lowest top row, then leftmost: favours lying flat
};

// Order in which the charts are placed, largest first by one of these measures.
enum class PlacementOrder {
    Pixels,      // covered pixels
    BoxArea,     // pixels of the bounding box
    BoxPerimeter // width + height of the bounding box
};

// One way of packing: how charts are ordered and where each one goes.
struct PackVariant {
    PlacementRule rule = PlacementRule::LowestCentre;
    PlacementOrder order = PlacementOrder::Pixels;
};

// Owns the images and the grid of one attempt; reusable for further scales. Each chart
// is placed in its first `frameLimit` frames (and their quarter turns).
class ChartPackAttempt {
public:
    ChartPackAttempt(const std::vector<std::vector<int>>& triangles, const std::vector<PreparedChart>& charts,
                     int gridSize, int gap, bool rotate, bool useProbes, int frameLimit = kMaxFrames)
        : mTriangles(triangles), mCharts(charts), mGridSize(gridSize), mGap(gap), mRotate(rotate),
          mUseProbes(useProbes), mFrameLimit(frameLimit), mShapes(charts.size()) {}

    // Rasterises every chart at `scale` (chart units to the unit square) and places
    // them all, or stops at the first chart that finds no room.
    PackAttemptResult Run(double scale, const PackVariant& variant = PackVariant());

private:
    // Frames of chart k that get shapes (at most mFrameLimit and kMaxFrames).
    int FrameCount(size_t k) const;
    void BuildShape(size_t k, double pixelScale);
    void BuildTurns(size_t k, int frame, double pixelScale);

    const std::vector<std::vector<int>>& mTriangles;
    const std::vector<PreparedChart>& mCharts;
    int mGridSize;
    int mGap;
    bool mRotate;
    bool mUseProbes;  // shapes carry probe squares and the grid keeps its square map
    int mFrameLimit;  // frames of a chart that get shapes
    std::vector<std::array<ChartShape, kMaxDirections>> mShapes;
    double mShapeScale = 0;  // scale the shapes were built at (0: none yet)
    std::vector<double> mPixels;
    BitImage mImage;
    BitImage mTurned;
    AtlasGrid mGrid;
};

}  // namespace ORVO
