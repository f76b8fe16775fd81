#pragma once
// Nearest rotation to a 2x2 matrix in closed form. The isometric optimisation
// needs one per triangle and iteration, so this stays inline and SVD-free.

#include <cfloat>
#include <cmath>

namespace ORVO {

// For S = [[a, b], [c, d]] the rotation R(t) = [[cos t, -sin t], [sin t, cos t]]
// nearest in the Frobenius norm maximises trace(R^T S) = cos t (a + d) + sin t (c - b),
// so (cos t, sin t) is the normalised (a + d, c - b). Writes cos t and sin t and
// returns true. When that vector vanishes (S is a scaled reflection: every
// rotation is equally near) or is not finite, writes the identity and returns false.
inline bool _NearestRotation2x2(double a, double b, double c, double d, double* cosTheta,
                                double* sinTheta) {
    const double x = a + d;
    const double y = c - b;
    const double r2 = x * x + y * y;
    double inv;
    if (r2 >= DBL_MIN && r2 <= DBL_MAX) {
        inv = 1.0 / std::sqrt(r2);
    } else {
        // Squares that under- or overflowed, zero, or non-finite input.
        const double r = std::hypot(x, y);
        if (!(r > 0.0) || !std::isfinite(r)) {
            *cosTheta = 1.0;
            *sinTheta = 0.0;
            return false;
        }
        inv = 1.0 / r;
    }
    *cosTheta = x * inv;
    *sinTheta = y * inv;
    return true;
}

// Row-major form: s = {a, b, c, d} in, the rotation {cos, -sin, sin, cos} out.
// Same return value as above.
inline bool _NearestRotation2x2(const double s[4], double r[4]) {
    double cosTheta, sinTheta;
    const bool unique = _NearestRotation2x2(s[0], s[1], s[2], s[3], &cosTheta, &sinTheta);
    r[0] = cosTheta;
    r[1] = -sinTheta;
    r[2] = sinTheta;
    r[3] = cosTheta;
    return unique;
}

}  // namespace ORVO
