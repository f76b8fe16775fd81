#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/Primitives.h>

#include "MeshChecks.h"
#include "TestFiles.h"

#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>
#include <random>
#include <vector>

using ORVO::Color4;
using ORVO::Matrix4x4;
using ORVO::Obb;
using ORVO::Plane3;
using ORVO::Vector2;
using ORVO::Vector3;

namespace {

using testfiles::ReadFile;
using meshcheck::ExpectVec;

Vector3 RandomUnit(std::mt19937& rng) {
    std::normal_distribution<double> normal(0.0, 1.0);
    for (;;) {
        Vector3 v(normal(rng), normal(rng), normal(rng));
        if (v.Length() > 1e-3) return v / v.Length();
    }
}

// A random proper rotation as a matrix, built by Gram-Schmidt from random
// vectors (independent of the library's own rotation builders).
Matrix4x4 RandomRotation(std::mt19937& rng) {
    Vector3 a = RandomUnit(rng), b = RandomUnit(rng);
    b -= a * (a * b);
    b /= b.Length();
    const Vector3 rows[3] = {a, b, a.CrossProduct(b)};
    Matrix4x4 m;
    m.InitIdentityTransform();
    for (int r = 0; r < 3; ++r) {
        for (int k = 0; k < 3; ++k) m.SetValue(r, k, rows[r][k]);
    }
    return m;
}

void ExpectIdentity(const Matrix4x4& m, double tol) {
    ASSERT_FALSE(m.IsEmpty());
    for (int r = 0; r < 4; ++r) {
        for (int c = 0; c < 4; ++c) EXPECT_NEAR(m.GetValue(r, c), r == c ? 1.0 : 0.0, tol) << r << "," << c;
    }
}

void ExpectProperRotation(const Matrix4x4& m, double tol) {
    // Columns orthonormal and right-handed, no translation, last row 0 0 0 1.
    Vector3 col[3];
    for (int c = 0; c < 3; ++c) col[c] = Vector3(m.GetValue(0, c), m.GetValue(1, c), m.GetValue(2, c));
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) EXPECT_NEAR(col[i] * col[j], i == j ? 1.0 : 0.0, tol) << i << "," << j;
    }
    EXPECT_NEAR(col[0].CrossProduct(col[1]) * col[2], 1.0, tol);
    ExpectVec(m.GetTranslation(), Vector3(), tol);
    for (int c = 0; c < 4; ++c) EXPECT_NEAR(m.GetValue(3, c), c == 3 ? 1.0 : 0.0, tol);
}

// --- Vectors ------------------------------------------------------------------

TEST(Vector, EqualityAndOrderingUseTheZeroTolerance) {
    const Vector3 a(1e-3, 2e-3, 3e-3);
    const Vector3 b(1e-3 + 1e-16, 2e-3, 3e-3);
    ASSERT_NE(a.x, b.x);  // really different doubles
    EXPECT_TRUE(a == b);
    EXPECT_FALSE(a != b);
    EXPECT_FALSE(a < b || b < a || a < a);
    const Vector3 far(1e-3 + 1e-14, 2e-3, 3e-3);
    EXPECT_FALSE(a == far);
    EXPECT_TRUE(a < far);
    EXPECT_FALSE(far < a);
    // Lexicographic on x, then y, then z, compared exactly.
    EXPECT_TRUE(Vector3(1, 5, 5) < Vector3(2, 0, 0));
    EXPECT_TRUE(Vector3(1, 2, 9) < Vector3(1, 3, 0));
    EXPECT_TRUE(Vector3(1, 2, 3) < Vector3(1, 2, 4));
    EXPECT_FALSE(Vector3(1, 2, 4) < Vector3(1, 2, 3));

    const Vector2 a2(0.25, 0.5), b2(0.25, 0.5 + 1e-16);
    ASSERT_NE(a2.y, b2.y);
    EXPECT_TRUE(a2 == b2);
    EXPECT_FALSE(a2 < b2 || b2 < a2);
    EXPECT_TRUE(Vector2(1, 9) < Vector2(2, 0));
    EXPECT_TRUE(Vector2(1, 2) < Vector2(1, 3));
    EXPECT_FALSE(Vector2(1, 3) < Vector2(1, 2));
}

TEST(Vector3, CrossProductIsPerpendicularAndAntiCommutative) {
    std::mt19937 rng(7);
    for (int i = 0; i < 20; ++i) {
        Vector3 u = RandomUnit(rng) * 3.0, v = RandomUnit(rng) * 0.5;
        Vector3 w = u.CrossProduct(v);
        EXPECT_NEAR(w * u, 0.0, 1e-12);
        EXPECT_NEAR(w * v, 0.0, 1e-12);
        ExpectVec(v.CrossProduct(u), -w, 1e-12);
    }
    ExpectVec(Vector3(1, 0, 0).CrossProduct(Vector3(0, 1, 0)), Vector3(0, 0, 1));
}

TEST(Vector2, CrossAndRotation) {
    EXPECT_DOUBLE_EQ(Vector2(1, 0).CrossProduct(Vector2(0, 1)), 1.0);
    EXPECT_DOUBLE_EQ(Vector2(1, 2).CrossProduct(Vector2(3, -4)), -10.0);
    EXPECT_DOUBLE_EQ(Vector2(1, 2) * Vector2(3, -4), -5.0);

    // A positive angle turns clockwise.
    Vector2 r(1, 0);
    r.Rotate(ORVO::ORVO_PI / 2);
    EXPECT_NEAR(r.x, 0.0, 1e-15);
    EXPECT_NEAR(r.y, -1.0, 1e-15);

    // Rotation keeps length and is undone by the opposite angle.
    Vector2 p(0.3, -1.7);
    Vector2 q = p;
    q.Rotate(0.81);
    EXPECT_NEAR(q.Length(), p.Length(), 1e-14);
    EXPECT_LT(p.CrossProduct(q), 0.0);  // clockwise: negative signed turn
    q.Rotate(-0.81);
    EXPECT_NEAR(q.x, p.x, 1e-14);
    EXPECT_NEAR(q.y, p.y, 1e-14);
}

TEST(Vector, NormaliseThresholdsDifferBetween2DAnd3D) {
    Vector3 zero;
    EXPECT_EQ(zero.Normalise(), 0.0);
    ExpectVec(zero, Vector3());
    Vector2 zero2;
    EXPECT_EQ(zero2.Normalise(), 0.0);
    EXPECT_EQ(zero2.x, 0.0);

    // Length exactly REAL_TOL: the 3-D form leaves it, the 2-D form divides.
    Vector3 tiny3(1e-15, 0, 0);
    ASSERT_EQ(tiny3.Length(), ORVO::REAL_TOL);
    EXPECT_EQ(tiny3.Normalise(), 1e-15);
    EXPECT_EQ(tiny3.x, 1e-15);
    Vector2 tiny2(1e-15, 0);
    ASSERT_EQ(tiny2.Length(), ORVO::REAL_TOL);
    EXPECT_EQ(tiny2.Normalise(), 1e-15);
    EXPECT_EQ(tiny2.x, 1.0);

    Vector3 v(3, 0, 4);
    EXPECT_DOUBLE_EQ(v.Normalise(), 5.0);
    ExpectVec(v, Vector3(0.6, 0, 0.8), 1e-15);
}

TEST(VectorFunctions, TriangleAreaAndPerpendicular) {
    EXPECT_DOUBLE_EQ(ORVO::TriangleArea(Vector3(1, 1, 1), Vector3(4, 1, 1), Vector3(1, 5, 1)), 6.0);
    EXPECT_DOUBLE_EQ(ORVO::TriangleArea(Vector3(), Vector3(1, 1, 1), Vector3(2, 2, 2)), 0.0);

    std::mt19937 rng(11);
    for (int i = 0; i < 50; ++i) {
        Vector3 v = RandomUnit(rng);
        Vector3 p = ORVO::GetVerticalVector(v);
        EXPECT_NEAR(p.Length(), 1.0, 1e-14);
        EXPECT_NEAR(p * v, 0.0, 1e-14);
    }
    ExpectVec(ORVO::GetVerticalVector(Vector3(0, 0, 1)), Vector3(-1, 0, 0));
    ExpectVec(ORVO::GetVerticalVector(Vector3(1, 0, 0)), Vector3(0, -1, 0));
    ExpectVec(ORVO::GetVerticalVector(Vector3()), Vector3());
}

// --- Matrix4x4 ------------------------------------------------------------------

TEST(Matrix4x4, StorageIsRowMajorAndCopiesAreDeep) {
    Matrix4x4 empty;
    EXPECT_TRUE(empty.IsEmpty());
    EXPECT_EQ(empty.GetData(), nullptr);

    Matrix4x4 m(2.5);
    ASSERT_FALSE(m.IsEmpty());
    for (int i = 0; i < 16; ++i) EXPECT_EQ(m.GetValue(i), 2.5);
    m.SetValue(1, 3, 7.0);
    EXPECT_EQ(m.GetValue(7), 7.0);
    m.SetValue(8, -1.0);
    EXPECT_EQ(m.GetValue(2, 0), -1.0);

    Matrix4x4 copy(m), assigned;
    assigned = m;
    m.SetValue(7, 0.0);
    EXPECT_EQ(copy.GetValue(1, 3), 7.0);
    EXPECT_EQ(assigned.GetValue(1, 3), 7.0);
    EXPECT_NE(copy.GetData(), m.GetData());
    assigned = empty;
    EXPECT_TRUE(assigned.IsEmpty());

    m.InitIdentityTransform();
    ExpectIdentity(m, 0.0);
}

TEST(Matrix4x4, TransformsPointsAndVectors) {
    Matrix4x4 t;
    t.GenerateTranslation(Vector3(1, 2, 3));
    ExpectVec(t.GetTranslation(), Vector3(1, 2, 3));
    ExpectVec(t.TransformPoint(Vector3(1, 1, 1)), Vector3(2, 3, 4));
    ExpectVec(t.RotateVector(Vector3(1, 1, 1)), Vector3(1, 1, 1));

    Matrix4x4 s;
    s.GenerateScale(Vector3(2, 3, 4));
    ExpectVec(s.TransformPoint(Vector3(1, 1, 1)), Vector3(2, 3, 4));
    EXPECT_EQ(s.GetValue(3, 3), 1.0);

    // No perspective divide even when the last row is not 0 0 0 1.
    Matrix4x4 p = t;
    p.SetValue(3, 3, 5.0);
    ExpectVec(p.TransformPoint(Vector3()), Vector3(1, 2, 3));

    // Composition: translate after scale.
    ExpectVec((t * s).TransformPoint(Vector3(1, 1, 1)), Vector3(3, 5, 7));
    ExpectVec((t * t).GetTranslation(), Vector3(2, 4, 6));
}

TEST(Matrix4x4, QuadricValueOfASphere) {
    // diag(1, 1, 1, -r^2): x^2 + y^2 + z^2 - r^2, zero on the sphere.
    Matrix4x4 q;
    q.Init(0.0);
    for (int i = 0; i < 3; ++i) q.SetValue(i, i, 1.0);
    q.SetValue(3, 3, -4.0);
    EXPECT_NEAR(q.QuadricValue(Vector3(0, 2, 0)), 0.0, 1e-15);
    EXPECT_NEAR(q.QuadricValue(Vector3(1, 1, 1)), -1.0, 1e-15);
    EXPECT_NEAR(q.QuadricValue(Vector3(3, 0, 0)), 5.0, 1e-15);
    // Off-diagonal terms count from both sides: 2*x*w for entries (0,3), (3,0).
    q.SetValue(0, 3, 1.0);
    q.SetValue(3, 0, 1.0);
    EXPECT_NEAR(q.QuadricValue(Vector3(3, 0, 0)), 11.0, 1e-15);
}

TEST(Matrix4x4, VectorToVectorRotation) {
    std::mt19937 rng(5);
    for (int i = 0; i < 50; ++i) {
        Vector3 a = RandomUnit(rng), b = RandomUnit(rng);
        Matrix4x4 r;
        r.GenerateVectorToVectorRotation(a, b);
        ExpectProperRotation(r, 1e-12);
        ExpectVec(r.RotateVector(a), b, 1e-12);
        // The axis a x b is left in place.
        Vector3 axis = a.CrossProduct(b);
        ExpectVec(r.RotateVector(axis), axis, 1e-12);
    }
    // Parallel and opposite vectors both give the identity.
    const Vector3 a = RandomUnit(rng);
    for (const Vector3& b : {a, -a}) {
        Matrix4x4 r;
        r.GenerateVectorToVectorRotation(a, b);
        ExpectIdentity(r, 0.0);
    }
}

TEST(Matrix4x4, LShapeRotationCarriesOneFrameOntoAnother) {
    std::mt19937 rng(13);
    std::uniform_real_distribution<double> len(0.1, 5.0);
    for (int i = 0; i < 50; ++i) {
        // A right-angled L at p0 and a rigidly moved copy of it.
        Vector3 p0 = RandomUnit(rng) * len(rng);
        Vector3 e1 = RandomUnit(rng);
        Vector3 e2 = ORVO::GetVerticalVector(e1);
        e2 = Vector3(e2 * std::cos(i * 0.3)) + e1.CrossProduct(e2) * std::sin(i * 0.3);
        Vector3 p1 = p0 + e1 * len(rng), p2 = p0 + e2 * len(rng);
        Matrix4x4 q = RandomRotation(rng);
        Vector3 shift = RandomUnit(rng) * 10.0;
        Vector3 q0 = q.RotateVector(p0) + shift, q1 = q.RotateVector(p1) + shift,
                q2 = q.RotateVector(p2) + shift;

        Matrix4x4 r;
        r.GenerateLShapeRotation(p0, p1, p2, q0, q1, q2);
        ExpectProperRotation(r, 1e-12);
        for (int k = 0; k < 3; ++k) {
            for (int c = 0; c < 3; ++c) EXPECT_NEAR(r.GetValue(k, c), q.GetValue(k, c), 1e-10);
        }
        ExpectVec(r.RotateVector(p1 - p0), q1 - q0, 1e-10);
        ExpectVec(r.RotateVector(p2 - p0), q2 - q0, 1e-10);
    }
    // Any triangle: the second leg's direction always lands on the target's.
    for (int i = 0; i < 20; ++i) {
        Vector3 p0 = RandomUnit(rng), p1 = RandomUnit(rng) * 2.0, p2 = RandomUnit(rng) * 3.0;
        Vector3 q0 = RandomUnit(rng), q1 = RandomUnit(rng) * 2.0, q2 = RandomUnit(rng) * 3.0;
        Matrix4x4 r;
        r.GenerateLShapeRotation(p0, p1, p2, q0, q1, q2);
        ExpectProperRotation(r, 1e-12);
        Vector3 mapped = r.RotateVector(p2 - p0), target = q2 - q0;
        mapped.Normalise();
        target.Normalise();
        ExpectVec(mapped, target, 1e-10);
    }
}

TEST(Matrix4x4, AffineInverseUndoesTheTransform) {
    std::mt19937 rng(17);
    for (int i = 0; i < 20; ++i) {
        Matrix4x4 rot = RandomRotation(rng);
        Matrix4x4 scale, move;
        scale.GenerateScale(Vector3(0.5 + i * 0.1, 2.0, 1.0 + i));
        move.GenerateTranslation(RandomUnit(rng) * 7.0);
        Matrix4x4 m = move * rot * scale;
        Matrix4x4 inv = m.AffineInverse();
        ExpectIdentity(inv * m, 1e-12);
        ExpectIdentity(m * inv, 1e-12);
        Vector3 p = RandomUnit(rng) * 3.0;
        ExpectVec(inv.TransformPoint(m.TransformPoint(p)), p, 1e-12);
    }
    // The fourth row is ignored and read as 0 0 0 1.
    Matrix4x4 t;
    t.GenerateTranslation(Vector3(1, 2, 3));
    Matrix4x4 odd = t;
    for (int c = 0; c < 4; ++c) odd.SetValue(3, c, 5.0 + c);
    Matrix4x4 inv = odd.AffineInverse();
    ExpectVec(inv.GetTranslation(), Vector3(-1, -2, -3), 1e-15);
    EXPECT_EQ(inv.GetValue(3, 3), 1.0);
    ExpectIdentity(inv * t, 1e-15);

    EXPECT_TRUE(Matrix4x4().AffineInverse().IsEmpty());
    EXPECT_TRUE(Matrix4x4(0.0).AffineInverse().IsEmpty());  // singular
}

TEST(Matrix4x4, EmptyMatrixLogsAndGoesOn) {
    ORVO::LogSystem::SetLogFileName("test_matrix_empty.txt");
    Matrix4x4 m;
    ExpectVec(m.TransformPoint(Vector3(1, 2, 3)), Vector3());
    ExpectVec(m.RotateVector(Vector3(1, 2, 3)), Vector3());
    EXPECT_EQ(m.GetValue(3), 0.0);
    EXPECT_EQ(m.GetValue(1, 1), 0.0);
    m.SetValue(3, 1.0);
    m.SetValue(1, 1, 1.0);
    EXPECT_TRUE(m.IsEmpty());
    EXPECT_EQ(m.QuadricValue(Vector3(1, 1, 1)), 0.0);
    m.Print();
    EXPECT_EQ(ReadFile("test_matrix_empty.txt"),
              "Matrix4x4::TransformPoint: error matrix value is null\n"
              "Matrix4x4::RotateVector: error matrix value is null\n"
              "Matrix4x4::GetValue: error matrix value is null\n"
              "Matrix4x4::GetValue: error matrix value is null\n"
              "Matrix4x4::SetValue: error matrix value is null\n"
              "Matrix4x4::SetValue: error matrix value is null\n"
              "Matrix4x4::QuadricValue: error matrix is null\n"
              "Matrix4x4::Print: mpValues == NULL\n");
}

TEST(Matrix4x4, PrintWritesFourRowsAndZeroesTinyValues) {
    ORVO::LogSystem::SetLogFileName("test_matrix_print.txt");
    Matrix4x4 m;
    m.GenerateTranslation(Vector3(2.5, -3, 1e-16));
    m.SetValue(0, 1, -1e-16);
    m.Print();
    EXPECT_EQ(ReadFile("test_matrix_print.txt"),
              "Matrix4x4::Print: \n"
              "1 0 0 2.5 \n"
              "0 1 0 -3 \n"
              "0 0 1 0 \n"
              "0 0 0 1 \n");
}

// --- Plane3 and Obb --------------------------------------------------------------

TEST(Plane3, ConstructionAndProjection) {
    Vector3 p0(1, 0, 2), p1(3, 0, 2), p2(1, 5, 2);
    Plane3 plane(p0, p1, p2);
    ExpectVec(plane.GetNormal(), Vector3(0, 0, 1), 1e-15);
    EXPECT_DOUBLE_EQ(plane.GetDistance(), -2.0);
    EXPECT_NEAR(plane.SignedDistance(p1), 0.0, 1e-15);
    EXPECT_NEAR(plane.SignedDistance(Vector3(7, 7, 5)), 3.0, 1e-15);
    ExpectVec(plane.ProjectPoint(Vector3(4, -1, 9)), Vector3(4, -1, 2), 1e-15);
    ExpectVec(plane.ProjectVector(Vector3(1, 2, 3)), Vector3(1, 2, 0), 1e-15);

    // The point-normal form keeps the normal as passed.
    Plane3 raw(Vector3(0, 0, 3), Vector3(0, 0, 2));
    ExpectVec(raw.GetNormal(), Vector3(0, 0, 2));
    EXPECT_EQ(raw.GetDistance(), -6.0);

    double params[4];
    raw.GetParameters(params);
    EXPECT_EQ(params[3], -6.0);
    Plane3 copy(params);  // a, b, c, d order both ways
    ExpectVec(copy.GetNormal(), raw.GetNormal());
    EXPECT_EQ(copy.GetDistance(), raw.GetDistance());
}

TEST(Plane3, IntersectionParameterAndParallelLines) {
    Plane3 plane(Vector3(0, 0, 0), Vector3(0, 0, 1));
    double t = 0.0;
    Vector3 hit = plane.Intersection(Vector3(1, 1, 3), Vector3(1, 1, -1), &t);
    EXPECT_DOUBLE_EQ(t, 0.25);
    ExpectVec(hit, Vector3(1, 1, 0), 1e-15);
    // t = 1 is a, t = 0 is b.
    plane.Intersection(Vector3(2, 0, 0), Vector3(2, 0, 5), &t);
    EXPECT_DOUBLE_EQ(t, 1.0);
    plane.Intersection(Vector3(2, 0, 5), Vector3(2, 0, 0), &t);
    EXPECT_DOUBLE_EQ(t, 0.0);
    plane.Intersection(Vector3(2, 0, 5), Vector3(2, 0, 0), nullptr);  // null t is fine

    // A parallel segment divides by +REAL_TOL: huge, finite, of known sign.
    plane.Intersection(Vector3(0, 0, 1), Vector3(5, 0, 1), &t);
    EXPECT_TRUE(std::isfinite(t));
    EXPECT_DOUBLE_EQ(t, -1.0 / ORVO::REAL_TOL);
    // A tiny negative denominator keeps its sign.
    plane.Intersection(Vector3(0, 0, 1 - 1e-16), Vector3(5, 0, 1), &t);
    EXPECT_TRUE(std::isfinite(t));
    EXPECT_GT(t, 1e14);
}

TEST(Obb, CornersFollowTheBitsAndInsideIsInclusive) {
    const Vector3 axes[3] = {Vector3(0, 1, 0), Vector3(-1, 0, 0), Vector3(0, 0, 1)};
    const double half[3] = {1.0, 2.0, 0.5};
    Obb box(Vector3(10, 20, 30), axes, half);
    std::vector<Vector3> corners(3);
    box.Get8CornerPoints(corners);
    ASSERT_EQ(corners.size(), 8u);
    // Corner 0: all minus; corner 1: plus along axis 0 only; corner 7: all plus.
    ExpectVec(corners[0], Vector3(10 + 2, 20 - 1, 30 - 0.5));
    ExpectVec(corners[1], Vector3(10 + 2, 20 + 1, 30 - 0.5));
    ExpectVec(corners[6], Vector3(10 - 2, 20 - 1, 30 + 0.5));
    ExpectVec(corners[7], Vector3(10 - 2, 20 + 1, 30 + 0.5));
    for (const Vector3& c : corners) EXPECT_TRUE(box.IsPointInside(c));
    EXPECT_TRUE(box.IsPointInside(Vector3(10, 20, 30)));
    EXPECT_FALSE(box.IsPointInside(Vector3(10, 20, 30.51)));
    EXPECT_FALSE(box.IsPointInside(Vector3(12.01, 20, 30)));
    EXPECT_TRUE(box.IsPointInside(Vector3(11.9, 20.9, 29.6)));
}

// --- Colours ----------------------------------------------------------------------

TEST(Color4, DefaultsAndPacking) {
    EXPECT_EQ(Color4(), Color4(0, 0, 0, 255));
    Color4 d(1, 2, 3, 4);
    EXPECT_EQ(d[3], 4);
    d[2] = 9;
    EXPECT_EQ(d.b, 9);

    EXPECT_EQ(ORVO::Color4ToInt(Color4(1, 2, 3, 4)), 1 + 256 * 2 + 65536 * 3 + 16777216 * 4);
    EXPECT_EQ(ORVO::Color4ToInt(Color4(0, 0, 0, 255)), static_cast<int>(0xFF000000u));
    for (Color4 x : {Color4(), Color4(255, 255, 255, 255), Color4(12, 200, 7, 128), Color4(0, 0, 1, 0)}) {
        EXPECT_EQ(ORVO::IntToColor4(ORVO::Color4ToInt(x)), x);
    }
}

TEST(Color4, VectorConversionsClampAndTruncate) {
    Color4 c = ORVO::Vector3ToColor4(Vector3(1.5, -1, 0.5));
    EXPECT_EQ(c, Color4(255, 0, 127, 255));
    EXPECT_EQ(ORVO::Vector3ToColor4(Vector3(1.0, 0.999, 0.0)), Color4(255, 254, 0, 255));
    ExpectVec(ORVO::Color4ToVector3(Color4(255, 51, 0, 7)), Vector3(1.0, 0.2, 0.0), 1e-15);
    // Bytes survive the round trip through 0..1.
    for (int v = 0; v < 256; v += 17) {
        Color4 b(static_cast<unsigned char>(v), 0, 255, 9);
        EXPECT_EQ(ORVO::Vector3ToColor4(ORVO::Color4ToVector3(b)).r, v);
    }
}

// An input colour (or ramp value in x), the expected output and its tolerance.
struct ColourCase {
    Vector3 in, out;
    double tol;
};

template <class F>
void ExpectMapped(F convert, std::initializer_list<ColourCase> cases) {
    for (const ColourCase& c : cases) {
        SCOPED_TRACE(::testing::Message() << "input " << c.in.x << " " << c.in.y << " " << c.in.z);
        ExpectVec(convert(c.in), c.out, c.tol);
    }
}

TEST(ColorCoding, RampPoints) {
    ExpectMapped([](const Vector3& t) { return ORVO::ColorCoding(t.x); },
                 {{{-0.1, 0, 0}, {0, 0, 0}, 0},       {{0.0, 0, 0}, {0, 0, 0}, 0},
                  {{0.1, 0, 0}, {0.5, 0, 0}, 1e-15},  {{0.2, 0, 0}, {1, 0, 0}, 1e-15},
                  {{0.3, 0, 0}, {1, 0.5, 0}, 1e-14},  {{0.5, 0, 0}, {0.5, 1, 0}, 1e-14},
                  {{0.7, 0, 0}, {0, 1, 0.5}, 1e-14},  {{0.9, 0, 0}, {0, 0.5, 1}, 1e-14},
                  {{1.1, 0, 0}, {0.5, 0, 1}, 1e-14},  {{1.2, 0, 0}, {1, 0, 1}, 1e-14},
                  {{7.0, 0, 0}, {1, 0, 1}, 0}});
    // The ramp has no jumps between 0 and 1.2.
    Vector3 prev = ORVO::ColorCoding(0.0);
    for (int i = 1; i <= 1200; ++i) {
        Vector3 cur = ORVO::ColorCoding(i * 0.001);
        EXPECT_LT(cur.Distance(prev), 0.006) << i;
        prev = cur;
    }
}

TEST(ColorHSV, StatedValues) {
    ExpectMapped(ORVO::ConvertRGB2HSV,
                 {{{1, 1, 1}, {0, 0, 1}, 0},             {{0, 0, 0}, {0, 0, 0}, 0},
                  {{1, 0, 0}, {0, 1, 1}, 0},             {{0, 0.5, 0}, {120, 1, 0.5}, 1e-13},
                  {{0, 0, 1}, {240, 1, 1}, 1e-13},       {{1, 0, 0.5}, {330, 1, 1}, 1e-13},
                  {{1, 1, 0}, {60, 1, 1}, 1e-13},        {{0.5, 1, 1}, {180, 0.5, 1}, 1e-13}});
    // Hues outside 0..360, grey, then one point in each sector.
    ExpectMapped(ORVO::ConvertHSV2RGB,
                 {{{360, 1, 1}, {1, 0, 0}, 1e-15},       {{0, 0, 0.3}, {0.3, 0.3, 0.3}, 1e-15},
                  {{-60, 1, 1}, {0, 0, 0}, 0},           {{420, 1, 1}, {1, 1, 0}, 1e-15},
                  {{30, 1, 1}, {1, 0.5, 0}, 1e-14},      {{90, 1, 1}, {0.5, 1, 0}, 1e-14},
                  {{150, 1, 1}, {0, 1, 0.5}, 1e-14},     {{210, 1, 1}, {0, 0.5, 1}, 1e-14},
                  {{270, 1, 1}, {0.5, 0, 1}, 1e-14},     {{330, 1, 1}, {1, 0, 0.5}, 1e-14}});
}

TEST(ColorHSV, RoundTrips) {
    std::mt19937 rng(19);
    std::uniform_real_distribution<double> u(0.0, 1.0);
    for (int i = 0; i < 200; ++i) {
        Vector3 rgb(u(rng), u(rng), u(rng));
        Vector3 hsv = ORVO::ConvertRGB2HSV(rgb);
        EXPECT_GE(hsv.x, 0.0);
        EXPECT_LT(hsv.x, 360.0);
        ExpectVec(ORVO::ConvertHSV2RGB(hsv), rgb, 1e-12);
    }
    for (int i = 0; i < 200; ++i) {
        Vector3 hsv(u(rng) * 359.0, 0.05 + 0.95 * u(rng), 0.05 + 0.95 * u(rng));
        ExpectVec(ORVO::ConvertRGB2HSV(ORVO::ConvertHSV2RGB(hsv)), hsv, 1e-10);
    }
}

}  // namespace
