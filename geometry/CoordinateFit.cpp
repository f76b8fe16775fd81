#include "geometry/CoordinateFit.h"

#include <algorithm>

namespace ORVO {

void _ScaleCoords(std::vector<Vector3>& coords, double scale, const Vector3& center) {
    if (!(scale > REAL_TOL)) return;
    for (Vector3& p : coords) p = (p - center) * scale;
}

void _FitCoordsIntoCube(std::vector<Vector3>& coords, double size, double* scaleOut, Vector3* centerOut) {
    if (coords.empty()) return;
    Vector3 lo = coords[0], hi = coords[0];
    for (const Vector3& p : coords) {
        lo = Vector3(std::min(lo.x, p.x), std::min(lo.y, p.y), std::min(lo.z, p.z));
        hi = Vector3(std::max(hi.x, p.x), std::max(hi.y, p.y), std::max(hi.z, p.z));
    }
    const Vector3 extent = hi - lo;
    const double largest = std::max(extent.x, std::max(extent.y, extent.z));
    if (!(largest > REAL_TOL)) return;
    const double scale = size / largest;
    const Vector3 center = (lo + hi) * 0.5;
    if (scaleOut) *scaleOut = scale;
    if (centerOut) *centerOut = center;
    for (Vector3& p : coords) p = (p - center) * scale;
}

}  // namespace ORVO
