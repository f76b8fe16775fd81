#include <QarnUVAtlas/Primitives.h>

namespace ORVO {

Obb::Obb() : mCenter() {
    mAxes[0] = Vector3(1.0, 0.0, 0.0);
    mAxes[1] = Vector3(0.0, 1.0, 0.0);
    mAxes[2] = Vector3(0.0, 0.0, 1.0);
    mHalfExtents[0] = mHalfExtents[1] = mHalfExtents[2] = 0.0;
}

Obb::Obb(const Vector3& center, const Vector3* axes, const double* halfExtents) : mCenter(center) {
    for (int k = 0; k < 3; ++k) {
        mAxes[k] = axes[k];
        mHalfExtents[k] = halfExtents[k];
    }
}

void Obb::Get8CornerPoints(std::vector<Vector3>& corners) const {
    corners.resize(8);
    for (int i = 0; i < 8; ++i) {
        Vector3 p = mCenter;
        for (int k = 0; k < 3; ++k) {
            double sign = (i & (1 << k)) ? 1.0 : -1.0;
            p += mAxes[k] * (sign * mHalfExtents[k]);
        }
        corners[i] = p;
    }
}

bool Obb::IsPointInside(const Vector3& p) const {
    Vector3 d = p - mCenter;
    for (int k = 0; k < 3; ++k) {
        double s = d * mAxes[k];
        if (s < -mHalfExtents[k] || s > mHalfExtents[k]) return false;
    }
    return true;
}

}  // namespace ORVO
