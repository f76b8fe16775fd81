#pragma once
// One packing attempt: the charts of a shape set, largest first, each placed in the
// direction and at the free position its placement rule ranks lowest, in a square of
// a given side.

#include "unfold/packing/AtlasGrid.h"
#include "unfold/packing/ChartShapeSet.h"

#include <vector>

namespace ORVO {

struct PackAttemptResult {
    double scale = 0;           // chart units to the unit square: pixelScale / side
    double pixelScale = 0;      // pixels per chart unit of the shapes placed
    int side = 0;               // side of the square in pixels
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
    // When set, the charts in this order instead (those with points).
    const std::vector<int>* sequence = nullptr;
};

// Owns the occupancy grid of one thread of attempts; reusable for any shape set and side.
class ChartPackAttempt {
public:
    // Places every chart of `shapes` (built) in a square of `side` pixels, or stops at
    // the first chart that finds no room.
    PackAttemptResult Run(const ChartShapeSet& shapes, int side, const PackVariant& variant = PackVariant());

    // Fills one page: places, largest first, every chart still marked in `pending` that
    // finds room in an empty square of `side` pixels, writes its placement and clears its
    // mark. Returns the charts placed.
    std::vector<int> FillPage(const ChartShapeSet& shapes, int side, std::vector<char>& pending,
                              std::vector<ChartPlacement>& placements);

private:
    // The charts with points, largest first by the variant's measure.
    static std::vector<int> Order(const ChartShapeSet& shapes, const PackVariant& variant);
    // Resets the grid for the charts of `order` (placed in that order) in a square of `side`,
    // and notes for each step what the charts still to come need of the grid.
    void ResetGrid(const ChartShapeSet& shapes, int side, const std::vector<int>& order);
    // Before placing order[i]: tells the grid what order[i..] needs.
    void LowerCaps(size_t i);
    // The lowest position of chart k by the variant's rule among its directions; returns
    // the direction and writes the position, or -1 when none fits.
    int FindPosition(const ChartShapeSet& shapes, int k, const PackVariant& variant, int& x, int& y) const;
    // Places the charts of `order` in turn in a square of `side` pixels and writes their
    // placements. A chart that finds no room ends the pass when `stopAtFailure` and is
    // passed over otherwise. Returns the charts placed, in order.
    std::vector<int> PlaceInOrder(const ChartShapeSet& shapes, int side, const std::vector<int>& order,
                                  const PackVariant& variant, bool stopAtFailure,
                                  std::vector<ChartPlacement>& placements);

    AtlasGrid mGrid;
    // Per step i of the order, over the charts order[i..]: the largest probe square, the
    // longest run and the longest key column.
    std::vector<int> mSquareCap, mRunCap, mColumnCap;
};

}  // namespace ORVO
