#pragma once
// Geometry value types shared by every mesh, point list and algorithm:
// 2-D and 3-D vectors, a 4x4 matrix, a plane, an oriented box and a colour.
// Vectors compare with the library's zero tolerance REAL_TOL, never exactly.

#include <QarnUVAtlas/Export.h>
#include <QarnUVAtlas/Foundation.h>

#include <cmath>
#include <memory>
#include <vector>

namespace ORVO {

// Two doubles, x then y. Used for plane (texture) coordinates.
class Vector2 {
public:
    double x, y;

    Vector2() : x(0.0), y(0.0) {}
    Vector2(double xv, double yv) : x(xv), y(yv) {}

    // Component-wise arithmetic; scaling and division by a double.
    Vector2 operator+(const Vector2& b) const { return Vector2(x + b.x, y + b.y); }
    Vector2 operator-(const Vector2& b) const { return Vector2(x - b.x, y - b.y); }
    Vector2 operator-() const { return Vector2(-x, -y); }
    Vector2 operator*(double s) const { return Vector2(x * s, y * s); }
    Vector2 operator/(double s) const { return Vector2(x / s, y / s); }
    // Dot product.
    double operator*(const Vector2& b) const { return x * b.x + y * b.y; }

    // In-place forms of the above.
    Vector2& operator+=(const Vector2& b) { x += b.x; y += b.y; return *this; }
    Vector2& operator-=(const Vector2& b) { x -= b.x; y -= b.y; return *this; }
    Vector2& operator*=(double s) { x *= s; y *= s; return *this; }
    Vector2& operator/=(double s) { x /= s; y /= s; return *this; }

    // Component by index: 0 = x, 1 = y (not range-checked).
    double& operator[](int i) { return i == 0 ? x : y; }
    const double& operator[](int i) const { return i == 0 ? x : y; }

    // Tolerant equality: the two points are closer than REAL_TOL.
    bool operator==(const Vector2& b) const { return Distance(b) < REAL_TOL; }
    bool operator!=(const Vector2& b) const { return !(*this == b); }
    // False for points closer than REAL_TOL; otherwise x, then y, compared exactly.
    bool operator<(const Vector2& b) const {
        if (Distance(b) < REAL_TOL) return false;
        if (x != b.x) return x < b.x;
        return y < b.y;
    }

    // Norms and distances (Euclidean); SetValue assigns the components.
    double Length() const { return std::sqrt(x * x + y * y); }
    double LengthSquared() const { return x * x + y * y; }
    double Distance(const Vector2& b) const { return (*this - b).Length(); }
    double DistanceSquared(const Vector2& b) const { return (*this - b).LengthSquared(); }
    void SetValue(double xv, double yv) { x = xv; y = yv; }
    // Scalar cross product x*b.y - y*b.x (twice the signed area of 0, this, b).
    double CrossProduct(const Vector2& b) const { return x * b.y - y * b.x; }

    // Divides by the length L when L >= REAL_TOL (note: >=, unlike Vector3);
    // otherwise leaves the vector alone. Returns L either way.
    double Normalise() {
        double len = Length();
        if (len >= REAL_TOL) { x /= len; y /= len; }
        return len;
    }

    // Turns the vector in place by `angle` radians; a positive angle turns it clockwise.
    void Rotate(double angle) {
        double c = std::cos(angle), s = std::sin(angle);
        double nx = x * c + y * s;
        double ny = y * c - x * s;
        x = nx;
        y = ny;
    }
};

// Scaling with the factor on the left.
inline Vector2 operator*(double s, const Vector2& v) { return v * s; }

// Three doubles x, y, z: a coordinate, a normal, a texture coordinate (z unused)
// or a colour (components 0..1).
class Vector3 {
public:
    double x, y, z;

    Vector3() : x(0.0), y(0.0), z(0.0) {}
    Vector3(double xv, double yv, double zv) : x(xv), y(yv), z(zv) {}

    // Component-wise arithmetic; scaling and division by a double.
    Vector3 operator+(const Vector3& b) const { return Vector3(x + b.x, y + b.y, z + b.z); }
    Vector3 operator-(const Vector3& b) const { return Vector3(x - b.x, y - b.y, z - b.z); }
    Vector3 operator-() const { return Vector3(-x, -y, -z); }
    Vector3 operator*(double s) const { return Vector3(x * s, y * s, z * s); }
    Vector3 operator/(double s) const { return Vector3(x / s, y / s, z / s); }
    // Dot product.
    double operator*(const Vector3& b) const { return x * b.x + y * b.y + z * b.z; }

    // In-place forms of the above.
    Vector3& operator+=(const Vector3& b) { x += b.x; y += b.y; z += b.z; return *this; }
    Vector3& operator-=(const Vector3& b) { x -= b.x; y -= b.y; z -= b.z; return *this; }
    Vector3& operator*=(double s) { x *= s; y *= s; z *= s; return *this; }
    Vector3& operator/=(double s) { x /= s; y /= s; z /= s; return *this; }

    // Component by index: 0 = x, 1 = y, 2 = z (not range-checked).
    double& operator[](int i) { return i == 0 ? x : (i == 1 ? y : z); }
    const double& operator[](int i) const { return i == 0 ? x : (i == 1 ? y : z); }

    // Tolerant equality: the two points are closer than REAL_TOL.
    bool operator==(const Vector3& b) const { return Distance(b) < REAL_TOL; }
    bool operator!=(const Vector3& b) const { return !(*this == b); }
    // False for identical points and for points closer than REAL_TOL, so that an
    // ordered map keyed by Vector3 merges near-coincident points; otherwise
    // lexicographic on x, y, z, each compared exactly.
    bool operator<(const Vector3& b) const {
        if (x == b.x && y == b.y && z == b.z) return false;
        if (Distance(b) < REAL_TOL) return false;
        if (x != b.x) return x < b.x;
        if (y != b.y) return y < b.y;
        return z < b.z;
    }

    // Norms and distances (Euclidean); SetValue assigns the components.
    double Length() const { return std::sqrt(x * x + y * y + z * z); }
    double LengthSquared() const { return x * x + y * y + z * z; }
    double Distance(const Vector3& b) const { return (*this - b).Length(); }
    double DistanceSquared(const Vector3& b) const { return (*this - b).LengthSquared(); }
    void SetValue(double xv, double yv, double zv) { x = xv; y = yv; z = zv; }
    // Right-handed cross product this x b.
    Vector3 CrossProduct(const Vector3& b) const {
        return Vector3(y * b.z - z * b.y, z * b.x - x * b.z, x * b.y - y * b.x);
    }

    // Divides by the length L when L > REAL_TOL (strictly); otherwise leaves the
    // vector alone. Returns L either way.
    double Normalise() {
        double len = Length();
        if (len > REAL_TOL) { x /= len; y /= len; z /= len; }
        return len;
    }
};

// Scaling with the factor on the left.
inline Vector3 operator*(double s, const Vector3& v) { return v * s; }

// 4x4 matrix of doubles on the heap, row-major (value (r, c) at index 4r + c).
// A default-constructed matrix is empty (no storage) until Init,
// InitIdentityTransform or one of the Generate* calls allocates it.
class ORVO_API Matrix4x4 {
public:
    // Empty matrix.
    Matrix4x4();
    // All 16 values set to v.
    explicit Matrix4x4(double v);
    Matrix4x4(const Matrix4x4& other);
    Matrix4x4(Matrix4x4&& other) noexcept;
    Matrix4x4& operator=(const Matrix4x4& other);
    Matrix4x4& operator=(Matrix4x4&& other) noexcept;
    ~Matrix4x4();

    // Allocates if needed and fills all 16 values with v.
    void Init(double v);
    // Allocates if needed and sets the identity.
    void InitIdentityTransform();
    // True while no storage is allocated.
    bool IsEmpty() const { return !mpValues; }

    // One value by flat index (4*row + col) or by row and column. On an empty
    // matrix they log an error line; the getters then return 0 and the setters do nothing.
    double GetValue(int index) const;
    double GetValue(int row, int col) const;
    void SetValue(int index, double value);
    void SetValue(int row, int col, double value);
    // The fourth column (m03, m13, m23). Zero vector for an empty matrix.
    Vector3 GetTranslation() const;

    // Element-wise sum and difference, matrix product, scaling. An empty
    // operand gives an empty result.
    Matrix4x4 operator+(const Matrix4x4& b) const;
    Matrix4x4 operator-(const Matrix4x4& b) const;
    Matrix4x4 operator*(const Matrix4x4& b) const;
    Matrix4x4 operator*(double s) const;
    Matrix4x4& operator+=(const Matrix4x4& b);
    Matrix4x4& operator-=(const Matrix4x4& b);
    Matrix4x4& operator*=(const Matrix4x4& b);

    // Sets diag(s.x, s.y, s.z, 1).
    void GenerateScale(const Vector3& s);
    // Sets the identity with t in the fourth column.
    void GenerateTranslation(const Vector3& t);
    // Sets the rotation carrying unit vector a onto unit vector b. Parallel and
    // anti-parallel pairs (|a x b|^2 < REAL_TOL) give the identity.
    void GenerateVectorToVectorRotation(const Vector3& a, const Vector3& b);
    // Sets the rotation carrying the "L" p1-p0, p2-p0 (corner p0) onto the
    // "L" q1-q0, q2-q0 (corner q0); exact for right-angled L shapes. No translation.
    void GenerateLShapeRotation(const Vector3& p0, const Vector3& p1, const Vector3& p2,
                                const Vector3& q0, const Vector3& q1, const Vector3& q2);

    // Rows 0..2 applied to (p, 1), no perspective divide. Logs and returns the
    // zero vector on an empty matrix.
    Vector3 TransformPoint(const Vector3& p) const;
    // Upper-left 3x3 block applied to v. Logs and returns the zero vector on an empty matrix.
    Vector3 RotateVector(const Vector3& v) const;
    // (p,1)^T M (p,1) over all 16 values; 0.0 (with a log line) on an empty matrix.
    double QuadricValue(const Vector3& p) const;
    // Inverse of the affine transform held in the top three rows (the fourth
    // row read as 0 0 0 1); value (3,3) of the result is 1. Returns an empty
    // matrix for an empty or singular input.
    Matrix4x4 AffineInverse() const;
    // Writes the matrix to the log: a header line and four rows of four values.
    void Print() const;

    // The 16 row-major values, or null while empty.
    const double* GetData() const { return mpValues.get(); }

private:
    void _Allocate();

    // Row-major storage, null while empty.
    std::unique_ptr<double[]> mpValues;
};

// Plane n.p + d = 0.
class ORVO_API Plane3 {
public:
    // Zero normal and distance (no plane).
    Plane3();
    // Through three points: n = normalised (p1-p0) x (p2-p0), d = -(p0.n).
    Plane3(const Vector3& p0, const Vector3& p1, const Vector3& p2);
    // Through `point` with `normal` taken as passed (not normalised).
    Plane3(const Vector3& point, const Vector3& normal);
    // From (a, b, c, d): normal (a, b, c) and distance term d.
    explicit Plane3(const double* params);

    // Writes (a, b, c, d) to params[0..3].
    void GetParameters(double* params) const;
    Vector3 GetNormal() const { return mNormal; }
    double GetDistance() const { return mDistance; }

    // n.p + d.
    double SignedDistance(const Vector3& p) const;
    // p - (n.p + d) n; assumes a unit normal.
    Vector3 ProjectPoint(const Vector3& p) const;
    // ProjectPoint(v) - ProjectPoint(0).
    Vector3 ProjectVector(const Vector3& v) const;
    // Cuts the line through a and b. Returns t*a + (1-t)*b and writes t when the
    // pointer is not null. A near-parallel line uses a denominator of +-REAL_TOL,
    // so t is huge but finite.
    Vector3 Intersection(const Vector3& a, const Vector3& b, double* t) const;

private:
    Vector3 mNormal;
    double mDistance;
};

// Oriented box: centre, three axes and three half-extents.
class ORVO_API Obb {
public:
    // Degenerate box at the origin with the coordinate axes and zero extents.
    Obb();
    // Takes the centre, an array of 3 axes and an array of 3 half-extents.
    Obb(const Vector3& center, const Vector3* axes, const double* halfExtents);

    Vector3 GetCenter() const { return mCenter; }
    Vector3 GetAxis(int k) const { return mAxes[k]; }
    double GetHalfExtent(int k) const { return mHalfExtents[k]; }

    // Resizes `corners` to 8; corner i takes +e_k along axis k when bit k of i
    // is set and -e_k otherwise.
    void Get8CornerPoints(std::vector<Vector3>& corners) const;
    // True when the projection of p - centre on each axis lies in [-e_k, e_k].
    bool IsPointInside(const Vector3& p) const;

private:
    Vector3 mCenter;
    Vector3 mAxes[3];
    double mHalfExtents[3];
};

// Colour of four bytes r, g, b, a; default opaque black (0, 0, 0, 255).
class Color4 {
public:
    unsigned char r, g, b, a;

    Color4() : r(0), g(0), b(0), a(255) {}
    Color4(unsigned char rv, unsigned char gv, unsigned char bv, unsigned char av)
        : r(rv), g(gv), b(bv), a(av) {}

    // 0 = r, 1 = g, 2 = b, 3 = a.
    unsigned char& operator[](int i) { return i == 0 ? r : (i == 1 ? g : (i == 2 ? b : a)); }
    const unsigned char& operator[](int i) const {
        return i == 0 ? r : (i == 1 ? g : (i == 2 ? b : a));
    }
    bool operator==(const Color4& o) const { return r == o.r && g == o.g && b == o.b && a == o.a; }
    bool operator!=(const Color4& o) const { return !(*this == o); }
};

// Area of triangle a, b, c: half the length of (b-a) x (c-a).
ORVO_API double TriangleArea(const Vector3& a, const Vector3& b, const Vector3& c);

// A unit vector perpendicular to v; the zero vector for a zero input.
ORVO_API Vector3 GetVerticalVector(const Vector3& v);

// Maps t to an RGB colour (components 0..1) on a black-red-yellow-green-cyan-
// blue-magenta ramp, 0.2 per band; black below 0 and magenta above 1.2.
ORVO_API Vector3 ColorCoding(double t);

// RGB (0..1) to (H in degrees [0, 360), S, V).
ORVO_API Vector3 ConvertRGB2HSV(const Vector3& rgb);
// (H in degrees, S, V) to RGB (0..1). A negative H gives black.
ORVO_API Vector3 ConvertHSV2RGB(const Vector3& hsv);

// Packs r + 256 g + 65536 b + 16777216 a into a 32-bit int, and back.
ORVO_API int Color4ToInt(const Color4& c);
ORVO_API Color4 IntToColor4(int value);

// Bytes to components 0..1; alpha is dropped.
ORVO_API Vector3 Color4ToVector3(const Color4& c);
// Components clamped to [0, 1], scaled by 255 and truncated; alpha 255.
ORVO_API Color4 Vector3ToColor4(const Vector3& v);

}  // namespace ORVO
