#pragma once
// Areas of flattened triangles, whatever their turn: what the packer spends texels on.

#include <cmath>
#include <vector>

namespace ORVO {

// Area of the triangle whose corners are the (u, v) pairs at a, b and c.
inline double _PlaneTriangleArea(const double* a, const double* b, const double* c) {
    return 0.5 * std::fabs((b[0] - a[0]) * (c[1] - a[1]) - (b[1] - a[1]) * (c[0] - a[0]));
}

// Summed area of the triangles `tris` (three vertex ids each) of the points `uv`
// ((u, v) per vertex).
inline double _PlaneArea(const std::vector<int>& tris, const std::vector<double>& uv) {
    double area = 0;
    for (size_t t = 0; t + 2 < tris.size(); t += 3)
        area += _PlaneTriangleArea(&uv[2 * tris[t]], &uv[2 * tris[t + 1]], &uv[2 * tris[t + 2]]);
    return area;
}

}  // namespace ORVO
