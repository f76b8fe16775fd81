#include "unfold/packing/ChartPackAttempt.h"

#include <algorithm>

namespace ORVO {

std::vector<int> ChartPackAttempt::Order(const ChartShapeSet& shapes, const PackVariant& variant) {
    std::vector<int> order;
    if (variant.sequence) {
        for (int k : *variant.sequence)
            if (shapes.Directions(k) > 0) order.push_back(k);
        return order;
    }
    for (size_t k = 0; k < shapes.ChartCount(); ++k)
        if (shapes.Directions(k) > 0) order.push_back(static_cast<int>(k));
    // Largest first: small charts then fill the gaps the large ones leave.
    auto key = [&shapes, &variant](int a) -> long long {
        const ChartShape& s = shapes.Shape(a, 0);
        switch (variant.order) {
            case PlacementOrder::BoxArea: return static_cast<long long>(s.width) * s.height;
            case PlacementOrder::BoxPerimeter: return s.width + s.height;
            default: return s.pixelCount;
        }
    };
    std::stable_sort(order.begin(), order.end(), [&](int a, int b) { return key(a) > key(b); });
    return order;
}

void ChartPackAttempt::ResetGrid(const ChartShapeSet& shapes, int side, const std::vector<int>& order) {
    // Charts come largest first: what the grid must keep track of shrinks as they go.
    mSquareCap.assign(order.size() + 1, 1);
    mRunCap.assign(order.size() + 1, 1);
    mColumnCap.assign(order.size() + 1, 1);
    for (size_t i = order.size(); i-- > 0;) {
        mSquareCap[i] = std::max(mSquareCap[i + 1], shapes.Shape(order[i], 0).square);
        mRunCap[i] = std::max(mRunCap[i + 1], shapes.LongestRun(order[i]));
        mColumnCap[i] = std::max(mColumnCap[i + 1], shapes.LongestColumn(order[i]));
    }
    mGrid.Reset(side, shapes.Gap(), mRunCap[0], mColumnCap[0], shapes.UsesProbes() ? mSquareCap[0] : 0);
}

void ChartPackAttempt::LowerCaps(size_t i) {
    mGrid.LowerSquareCap(mSquareCap[i]);
    mGrid.LowerRunCap(mRunCap[i], mColumnCap[i]);
}

int ChartPackAttempt::FindPosition(const ChartShapeSet& shapes, int k, const PackVariant& variant, int& x,
                                   int& y) const {
    static_assert(kMaxDirections <= 32, "the grid ranks at most 32 shapes at once");
    const int turnCount = shapes.Directions(k);
    const ChartShape* candidates[kMaxDirections];
    int keys[kMaxDirections];
    for (int d = 0; d < turnCount; ++d) {
        candidates[d] = &shapes.Shape(k, d);
        switch (variant.rule) {
            case PlacementRule::LowestBottom: keys[d] = 0; break;
            case PlacementRule::LowestTop: keys[d] = 16 * candidates[d]->height; break;
            default: keys[d] = candidates[d]->meanRow16; break;
        }
    }
    return mGrid.FindLowestPosition(candidates, turnCount, keys, x, y);
}

std::vector<int> ChartPackAttempt::PlaceInOrder(const ChartShapeSet& shapes, int side, const std::vector<int>& order,
                                                const PackVariant& variant, bool stopAtFailure,
                                                std::vector<ChartPlacement>& placements) {
    ResetGrid(shapes, side, order);
    std::vector<int> placed;
    placed.reserve(order.size());
    for (size_t i = 0; i < order.size(); ++i) {
        const int k = order[i];
        LowerCaps(i);
        int x = 0, y = 0;
        const int t = FindPosition(shapes, k, variant, x, y);
        if (t < 0) {
            if (stopAtFailure) break;
            continue;
        }
        mGrid.Place(shapes.Shape(k, t), x, y);
        placements[k] = {t, x, y};
        placed.push_back(k);
    }
    return placed;
}

PackAttemptResult ChartPackAttempt::Run(const ChartShapeSet& shapes, int side, const PackVariant& variant) {
    PackAttemptResult result;
    result.pixelScale = shapes.PixelScale();
    result.side = side;
    result.scale = shapes.PixelScale() / side;
    const std::vector<int> order = Order(shapes, variant);
    result.placements.assign(shapes.ChartCount(), ChartPlacement());
    const std::vector<int> placed = PlaceInOrder(shapes, side, order, variant, true, result.placements);
    result.success = placed.size() == order.size();
    if (result.success) {
        result.usedHeight = mGrid.UsedHeight();
        result.placedFraction = 1.0;
        return result;
    }
    long long totalPixels = 0, placedPixels = 0;
    for (int k : order) totalPixels += shapes.Shape(k, 0).grownCount;
    for (int k : placed) placedPixels += shapes.Shape(k, 0).grownCount;
    result.usedHeight = side;
    result.placedFraction = totalPixels > 0 ? double(placedPixels) / double(totalPixels) : 0.0;
    return result;
}

std::vector<int> ChartPackAttempt::FillPage(const ChartShapeSet& shapes, int side, std::vector<char>& pending,
                                            std::vector<ChartPlacement>& placements) {
    const PackVariant variant;
    std::vector<int> order;
    for (int k : Order(shapes, variant))
        if (pending[k]) order.push_back(k);
    std::vector<int> placed = PlaceInOrder(shapes, side, order, variant, false, placements);
    for (int k : placed) pending[k] = 0;
    return placed;
}

}  // namespace ORVO
