#include <QarnUVAtlas/Primitives.h>

#include <cmath>

namespace ORVO {

double TriangleArea(const Vector3& a, const Vector3& b, const Vector3& c) {
    return 0.5 * (b - a).CrossProduct(c - a).Length();
}

Vector3 GetVerticalVector(const Vector3& v) {
    // Drop the smallest-looking component so the result is far from zero for
    // any unit input.
    Vector3 result;
    if (std::fabs(v.x) > 0.5 || std::fabs(v.y) > 0.5) {
        result = Vector3(v.y, -v.x, 0.0);
    } else {
        result = Vector3(-v.z, 0.0, v.x);
    }
    result.Normalise();
    return result;
}

}  // namespace ORVO
