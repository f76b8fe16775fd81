#include <QarnUVAtlas/Primitives.h>

#include "foundation/LogLine.h"

#include <cmath>
#include <cstring>
#include <sstream>
#include <utility>

namespace ORVO {

namespace {

// Gauss-Jordan elimination with partial pivoting on a 4x4 row-major matrix.
// Returns false when a pivot column is all zeros (singular matrix).
bool InvertGeneral4x4(const double* in, double* out) {
    double a[4][8];
    for (int r = 0; r < 4; ++r) {
        for (int c = 0; c < 4; ++c) {
            a[r][c] = in[4 * r + c];
            a[r][c + 4] = (r == c) ? 1.0 : 0.0;
        }
    }
    for (int col = 0; col < 4; ++col) {
        int pivot = col;
        for (int r = col + 1; r < 4; ++r) {
            if (std::fabs(a[r][col]) > std::fabs(a[pivot][col])) pivot = r;
        }
        if (a[pivot][col] == 0.0) return false;
        if (pivot != col) {
            for (int c = 0; c < 8; ++c) std::swap(a[pivot][c], a[col][c]);
        }
        double inv = 1.0 / a[col][col];
        for (int c = 0; c < 8; ++c) a[col][c] *= inv;
        for (int r = 0; r < 4; ++r) {
            if (r == col) continue;
            double f = a[r][col];
            if (f == 0.0) continue;
            for (int c = 0; c < 8; ++c) a[r][c] -= f * a[col][c];
        }
    }
    for (int r = 0; r < 4; ++r) {
        for (int c = 0; c < 4; ++c) out[4 * r + c] = a[r][c + 4];
    }
    return true;
}

}  // namespace

Matrix4x4::Matrix4x4() {}

Matrix4x4::Matrix4x4(double v) { Init(v); }

Matrix4x4::Matrix4x4(const Matrix4x4& other) {
    if (other.mpValues) {
        _Allocate();
        std::memcpy(mpValues.get(), other.mpValues.get(), 16 * sizeof(double));
    }
}

Matrix4x4::Matrix4x4(Matrix4x4&& other) noexcept : mpValues(std::move(other.mpValues)) {}

Matrix4x4& Matrix4x4::operator=(const Matrix4x4& other) {
    if (this == &other) return *this;
    if (!other.mpValues) {
        mpValues.reset();
        return *this;
    }
    _Allocate();
    std::memcpy(mpValues.get(), other.mpValues.get(), 16 * sizeof(double));
    return *this;
}

Matrix4x4& Matrix4x4::operator=(Matrix4x4&& other) noexcept {
    mpValues = std::move(other.mpValues);
    return *this;
}

Matrix4x4::~Matrix4x4() {}

void Matrix4x4::_Allocate() {
    if (!mpValues) mpValues.reset(new double[16]);
}

void Matrix4x4::Init(double v) {
    _Allocate();
    for (int i = 0; i < 16; ++i) mpValues[i] = v;
}

void Matrix4x4::InitIdentityTransform() {
    _Allocate();
    for (int i = 0; i < 16; ++i) mpValues[i] = (i % 5 == 0) ? 1.0 : 0.0;
}

double Matrix4x4::GetValue(int index) const {
    if (!mpValues) {
        _LogLine("Matrix4x4::GetValue: error matrix value is null");
        return 0.0;
    }
    return mpValues[index];
}

double Matrix4x4::GetValue(int row, int col) const { return GetValue(4 * row + col); }

void Matrix4x4::SetValue(int index, double value) {
    if (!mpValues) {
        _LogLine("Matrix4x4::SetValue: error matrix value is null");
        return;
    }
    mpValues[index] = value;
}

void Matrix4x4::SetValue(int row, int col, double value) { SetValue(4 * row + col, value); }

Vector3 Matrix4x4::GetTranslation() const {
    if (!mpValues) return Vector3();
    return Vector3(mpValues[3], mpValues[7], mpValues[11]);
}

Matrix4x4 Matrix4x4::operator+(const Matrix4x4& b) const {
    Matrix4x4 result;
    if (!mpValues || !b.mpValues) return result;
    result._Allocate();
    for (int i = 0; i < 16; ++i) result.mpValues[i] = mpValues[i] + b.mpValues[i];
    return result;
}

Matrix4x4 Matrix4x4::operator-(const Matrix4x4& b) const {
    Matrix4x4 result;
    if (!mpValues || !b.mpValues) return result;
    result._Allocate();
    for (int i = 0; i < 16; ++i) result.mpValues[i] = mpValues[i] - b.mpValues[i];
    return result;
}

Matrix4x4 Matrix4x4::operator*(const Matrix4x4& b) const {
    Matrix4x4 result;
    if (!mpValues || !b.mpValues) return result;
    result._Allocate();
    for (int r = 0; r < 4; ++r) {
        for (int c = 0; c < 4; ++c) {
            double sum = 0.0;
            for (int k = 0; k < 4; ++k) sum += mpValues[4 * r + k] * b.mpValues[4 * k + c];
            result.mpValues[4 * r + c] = sum;
        }
    }
    return result;
}

Matrix4x4 Matrix4x4::operator*(double s) const {
    Matrix4x4 result;
    if (!mpValues) return result;
    result._Allocate();
    for (int i = 0; i < 16; ++i) result.mpValues[i] = mpValues[i] * s;
    return result;
}

Matrix4x4& Matrix4x4::operator+=(const Matrix4x4& b) {
    *this = *this + b;
    return *this;
}

Matrix4x4& Matrix4x4::operator-=(const Matrix4x4& b) {
    *this = *this - b;
    return *this;
}

Matrix4x4& Matrix4x4::operator*=(const Matrix4x4& b) {
    *this = *this * b;
    return *this;
}

void Matrix4x4::GenerateScale(const Vector3& s) {
    InitIdentityTransform();
    mpValues[0] = s.x;
    mpValues[5] = s.y;
    mpValues[10] = s.z;
}

void Matrix4x4::GenerateTranslation(const Vector3& t) {
    InitIdentityTransform();
    mpValues[3] = t.x;
    mpValues[7] = t.y;
    mpValues[11] = t.z;
}

void Matrix4x4::GenerateVectorToVectorRotation(const Vector3& a, const Vector3& b) {
    InitIdentityTransform();
    Vector3 v = a.CrossProduct(b);
    double vv = v.LengthSquared();
    // Parallel and anti-parallel pairs both fall here: no unique axis exists,
    // and the identity is what callers expect for either.
    if (vv < REAL_TOL) return;
    double c = a * b;
    double h = (1.0 - c) / vv;
    double* m = mpValues.get();
    m[0] = h * v.x * v.x + c;
    m[1] = h * v.x * v.y - v.z;
    m[2] = h * v.x * v.z + v.y;
    m[4] = h * v.x * v.y + v.z;
    m[5] = h * v.y * v.y + c;
    m[6] = h * v.y * v.z - v.x;
    m[8] = h * v.x * v.z - v.y;
    m[9] = h * v.y * v.z + v.x;
    m[10] = h * v.z * v.z + c;
}

void Matrix4x4::GenerateLShapeRotation(const Vector3& p0, const Vector3& p1, const Vector3& p2,
                                       const Vector3& q0, const Vector3& q1, const Vector3& q2) {
    Vector3 pa = p1 - p0, qa = q1 - q0, qb = q2 - q0;
    pa.Normalise();
    qa.Normalise();
    qb.Normalise();
    Matrix4x4 first;
    first.GenerateVectorToVectorRotation(pa, qa);
    Vector3 w = first.RotateVector(p2 - p0);
    w.Normalise();
    Matrix4x4 second;
    second.GenerateVectorToVectorRotation(w, qb);
    *this = second * first;
}

Vector3 Matrix4x4::TransformPoint(const Vector3& p) const {
    if (!mpValues) {
        _LogLine("Matrix4x4::TransformPoint: error matrix value is null");
        return Vector3();
    }
    const double* m = mpValues.get();
    return Vector3(m[0] * p.x + m[1] * p.y + m[2] * p.z + m[3],
                   m[4] * p.x + m[5] * p.y + m[6] * p.z + m[7],
                   m[8] * p.x + m[9] * p.y + m[10] * p.z + m[11]);
}

Vector3 Matrix4x4::RotateVector(const Vector3& v) const {
    if (!mpValues) {
        _LogLine("Matrix4x4::RotateVector: error matrix value is null");
        return Vector3();
    }
    const double* m = mpValues.get();
    return Vector3(m[0] * v.x + m[1] * v.y + m[2] * v.z,
                   m[4] * v.x + m[5] * v.y + m[6] * v.z,
                   m[8] * v.x + m[9] * v.y + m[10] * v.z);
}

double Matrix4x4::QuadricValue(const Vector3& p) const {
    if (!mpValues) {
        _LogLine("Matrix4x4::QuadricValue: error matrix is null");
        return 0.0;
    }
    const double h[4] = {p.x, p.y, p.z, 1.0};
    double sum = 0.0;
    for (int r = 0; r < 4; ++r) {
        double row = 0.0;
        for (int c = 0; c < 4; ++c) row += mpValues[4 * r + c] * h[c];
        sum += h[r] * row;
    }
    return sum;
}

Matrix4x4 Matrix4x4::AffineInverse() const {
    Matrix4x4 result;
    if (!mpValues) return result;
    double affine[16];
    std::memcpy(affine, mpValues.get(), 12 * sizeof(double));
    affine[12] = 0.0;
    affine[13] = 0.0;
    affine[14] = 0.0;
    affine[15] = 1.0;
    double inverse[16];
    if (!InvertGeneral4x4(affine, inverse)) return result;
    result._Allocate();
    std::memcpy(result.mpValues.get(), inverse, 16 * sizeof(double));
    result.mpValues[15] = 1.0;
    return result;
}

void Matrix4x4::Print() const {
    if (!mpValues) {
        _LogLine("Matrix4x4::Print: mpValues == NULL");
        return;
    }
    _LogLine("Matrix4x4::Print: ");
    for (int r = 0; r < 4; ++r) {
        std::ostringstream row;
        for (int c = 0; c < 4; ++c) {
            double v = mpValues[4 * r + c];
            if (std::fabs(v) < REAL_TOL) {
                row << 0 << " ";
            } else {
                row << v << " ";
            }
        }
        _LogLine(row.str());
    }
}

}  // namespace ORVO
