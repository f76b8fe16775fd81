#pragma once
// Orientation of a flattened chart for packing: the convex hull of its points
// and the rotation that gives the smallest-area bounding rectangle.

#include <vector>

namespace ORVO {

// Convex hull of `count` points given as (u, v) pairs in `uv`: indices of the hull
// corners, counter-clockwise, without collinear corners. Fewer than 3 indices come
// back when all points are coincident (1) or collinear (2, the extreme points).
std::vector<int> _ConvexHull2D(const double* uv, int count);

// Direction (cos, sin) of the x axis of the smallest-area rectangle that encloses
// the hull, and the rectangle's extents along that axis and its normal. A hull of
// two points gives the segment's direction, a single point the x axis.
struct HullRectangle {
    double axisX = 1;
    double axisY = 0;
    double extentAlong = 0;
    double extentAcross = 0;
};
HullRectangle _MinimalAreaRectangle(const double* uv, const std::vector<int>& hull);

}  // namespace ORVO
