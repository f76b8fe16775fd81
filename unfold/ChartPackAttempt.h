#pragma once
// One packing attempt at a fixed scale: every chart is rasterised conservatively
// in its four quarter turns and placed, largest first, at the lowest free position.

#include "unfold/AtlasGrid.h"
#include "unfold/ChartOutline.h"
#include "unfold/ChartShape.h"

#include <array>
#include <vector>

namespace ORVO {

// A chart turned to its smallest bounding rectangle, with that rectangle's lower
// corner at the origin. Packing only scales, turns by quarter turns and translates
// these coordinates.
struct PreparedChart {
    std::vector<double> local;  // (u, v) per vertex
    double extentU = 0;
    double extentV = 0;
    double area = 0;            // total unsigned triangle area
    ChartOutline outline;       // draws the chart's image when usable
    // The chart turned a further eighth of a turn, lower corner at the origin: four more
    // directions to place it in. Empty when only quarter turns are tried.
    std::vector<double> tiltedLocal;
    double tiltedU = 0;
    double tiltedV = 0;
};

// Directions a chart can be placed in: 4 quarter turns of `local`, then 4 of `tiltedLocal`.
constexpr int kMaxDirections = 8;

// Where a chart's local coordinates land in pixels at pixel scale f: p * f + offset,
// strictly inside a box of width x height pixels.
struct PixelFrame {
    double offsetX = 0.5;
    double offsetY = 0.5;
    int width = 1;
    int height = 1;
};

// The frame of the chart's local coordinates (`tilted` false) or of its tilted ones.
PixelFrame _MakePixelFrame(const PreparedChart& chart, double pixelScale, bool tilted = false);

// Coordinates of a point of the frame after `turns` counter-clockwise quarter turns
// of the frame's box, the same turn as _RotateImage applies to the chart's image.
void _TurnPoint(double x, double y, int turns, const PixelFrame& frame, double& outX, double& outY);

struct ChartPlacement {
    int turns = 0;  // quarter turns applied to the chart's image; 4..7: of its tilted image
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
    PlacementRule rule = PlacementRule::LowestBottom;
    PlacementOrder order = PlacementOrder::Pixels;
};

// Owns the images and the grid of one attempt; reusable for further scales.
class ChartPackAttempt {
public:
    ChartPackAttempt(const std::vector<std::vector<int>>& triangles, const std::vector<PreparedChart>& charts,
                     int gridSize, int gap, bool rotate)
        : mTriangles(triangles), mCharts(charts), mGridSize(gridSize), mGap(gap), mRotate(rotate),
          mUseProbes(UseProbes(charts)), mShapes(charts.size()) {}

    // Rasterises every chart at `scale` (chart units to the unit square) and places
    // them all, or stops at the first chart that finds no room.
    PackAttemptResult Run(double scale, const PackVariant& variant = PackVariant());

private:
    // Probe squares (and the grid's square map behind them) pay off only when many
    // small charts search a crowded grid; with few charts, keeping the map up to date
    // costs more than the searches it shortens.
    static bool UseProbes(const std::vector<PreparedChart>& charts) {
        size_t placeable = 0;
        for (const PreparedChart& c : charts) placeable += c.local.empty() ? 0 : 1;
        return placeable >= kProbeChartCount;
    }
    static constexpr size_t kProbeChartCount = 150;

    void BuildShape(size_t k, double pixelScale);
    void BuildTurns(size_t k, int first, bool tilted, double pixelScale);

    const std::vector<std::vector<int>>& mTriangles;
    const std::vector<PreparedChart>& mCharts;
    int mGridSize;
    int mGap;
    bool mRotate;
    bool mUseProbes;
    std::vector<std::array<ChartShape, kMaxDirections>> mShapes;
    double mShapeScale = 0;  // scale the shapes were built at (0: none yet)
    std::vector<double> mPixels;
    BitImage mImage;
    BitImage mTurned;
    AtlasGrid mGrid;
};

}  // namespace ORVO
