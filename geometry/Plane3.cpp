#include <QarnUVAtlas/Primitives.h>

#include <cmath>

namespace ORVO {

Plane3::Plane3() : mNormal(), mDistance(0.0) {}

Plane3::Plane3(const Vector3& p0, const Vector3& p1, const Vector3& p2) {
    mNormal = (p1 - p0).CrossProduct(p2 - p0);
    mNormal.Normalise();
    mDistance = -(p0 * mNormal);
}

Plane3::Plane3(const Vector3& point, const Vector3& normal)
    : mNormal(normal), mDistance(-(point * normal)) {}

Plane3::Plane3(const double* params)
    : mNormal(params[0], params[1], params[2]), mDistance(params[3]) {}

void Plane3::GetParameters(double* params) const {
    params[0] = mNormal.x;
    params[1] = mNormal.y;
    params[2] = mNormal.z;
    params[3] = mDistance;
}

double Plane3::SignedDistance(const Vector3& p) const { return mNormal * p + mDistance; }

Vector3 Plane3::ProjectPoint(const Vector3& p) const {
    return p - mNormal * (mNormal * p + mDistance);
}

Vector3 Plane3::ProjectVector(const Vector3& v) const {
    return ProjectPoint(v) - ProjectPoint(Vector3());
}

Vector3 Plane3::Intersection(const Vector3& a, const Vector3& b, double* t) const {
    double denom = (a - b) * mNormal;
    // A line (nearly) parallel to the plane keeps a tiny denominator of the
    // same sign, so the parameter is huge but finite.
    if (std::fabs(denom) < REAL_TOL) denom = (denom < 0.0) ? -REAL_TOL : REAL_TOL;
    double param = -(b * mNormal + mDistance) / denom;
    if (t) *t = param;
    return a * param + b * (1.0 - param);
}

}  // namespace ORVO
