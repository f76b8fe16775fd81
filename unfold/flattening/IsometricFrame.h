#pragma once
// Per-triangle data of the isometric optimisation: the triangle's own plane
// frame and the cotangent weights of its three angles.

#include <QarnUVAtlas/Primitives.h>

namespace ORVO {

// Triangle A, B, C laid out in its plane with A at (0, 0), B at (length, 0)
// and C at (x2, y2); y2 >= 0 when unitNormal is the triangle's own normal.
struct IsometricTriangleFrame {
    double length;
    double x2, y2;
    // Cotangents of the angles at A, B and C, each angle kept within
    // [0.001, 179.999] degrees so that needles give large, finite weights.
    double cotA, cotB, cotC;
};

IsometricTriangleFrame _IsometricTriangleFrame(const Vector3& a, const Vector3& b, const Vector3& c,
                                               const Vector3& unitNormal);

// 1 / tan(acos(cosine)) with the cosine first clamped to +-cos(0.001 degree).
double _ClampedCotangent(double cosine);

}  // namespace ORVO
