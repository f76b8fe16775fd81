#include <QarnUVAtlas/DenseMatrix.h>
#include <QarnUVAtlas/Foundation.h>

#include "numerics/Rotation2x2.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

namespace {

const double kPi = 3.141592653589793;

double Det(const std::vector<double>& m, int n) {
    if (n == 2) return m[0] * m[3] - m[1] * m[2];
    return m[0] * (m[4] * m[8] - m[5] * m[7]) - m[1] * (m[3] * m[8] - m[5] * m[6]) +
           m[2] * (m[3] * m[7] - m[4] * m[6]);
}

// Max |Q^T Q - I| over the columns of a rows x cols row-major matrix.
double OrthonormalityError(const std::vector<double>& q, int rows, int cols) {
    double e = 0.0;
    for (int i = 0; i < cols; ++i)
        for (int j = 0; j < cols; ++j) {
            double s = 0.0;
            for (int k = 0; k < rows; ++k) s += q[k * cols + i] * q[k * cols + j];
            e = std::max(e, std::fabs(s - (i == j ? 1.0 : 0.0)));
        }
    return e;
}

double Distance(const std::vector<double>& a, const std::vector<double>& b) {
    double s = 0.0;
    for (size_t i = 0; i < a.size(); ++i) s += (a[i] - b[i]) * (a[i] - b[i]);
    return std::sqrt(s);
}

std::vector<double> Rotation3(double ax, double ay, double az, double angle) {
    const double n = std::sqrt(ax * ax + ay * ay + az * az);
    ax /= n, ay /= n, az /= n;
    const double c = std::cos(angle), s = std::sin(angle), t = 1 - c;
    return {t * ax * ax + c,      t * ax * ay - s * az, t * ax * az + s * ay,
            t * ax * ay + s * az, t * ay * ay + c,      t * ay * az - s * ax,
            t * ax * az - s * ay, t * ay * az + s * ax, t * az * az + c};
}

std::vector<double> Multiply3(const std::vector<double>& a, const std::vector<double>& b) {
    std::vector<double> c(9, 0.0);
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            for (int k = 0; k < 3; ++k) c[i * 3 + j] += a[i * 3 + k] * b[k * 3 + j];
    return c;
}

TEST(NearestRotation, TwoByTwoClosedFormAgreesWithSvd) {
    std::mt19937 rng(17);
    std::uniform_real_distribution<double> u(-3.0, 3.0);
    int reflections = 0;
    for (int trial = 0; trial < 500; ++trial) {
        const std::vector<double> s = {u(rng), u(rng), u(rng), u(rng)};
        if (Det(s, 2) < 0) ++reflections;
        std::vector<double> svd;
        ASSERT_EQ(ORVO::OrthgonalApproximation(s, 2, 2, &svd), 0);
        double r[4];
        const bool unique = ORVO::_NearestRotation2x2(s.data(), r);
        const std::vector<double> closed(r, r + 4);
        EXPECT_NEAR(Det(closed, 2), 1.0, 1e-14);
        EXPECT_NEAR(Det(svd, 2), 1.0, 1e-12);
        EXPECT_LT(OrthonormalityError(svd, 2, 2), 1e-12);
        // Well away from the degenerate case both must name the same rotation.
        const double spread = std::hypot(s[0] + s[3], s[2] - s[1]);
        if (spread > 1e-3) {
            EXPECT_TRUE(unique);
            EXPECT_LT(Distance(closed, svd), 1e-13 / spread) << trial;
        }
        // And no rotation on a fine circle of angles is nearer.
        const double best = Distance(s, closed);
        for (int k = 0; k < 720; ++k) {
            const double t = k * kPi / 360;
            const std::vector<double> rt = {std::cos(t), -std::sin(t), std::sin(t), std::cos(t)};
            ASSERT_GE(Distance(s, rt), best - 1e-12);
        }
    }
    EXPECT_GT(reflections, 100);  // the sample did include reflecting matrices
}

TEST(NearestRotation, TwoByTwoDegenerateAndExtremeInputs) {
    double c = 0, s = 0;
    // A scaled reflection, zero and NaN: no rotation is nearest; the identity is chosen.
    for (const std::vector<double>& m : std::vector<std::vector<double>>{
             {2.0, 1.0, 1.0, -2.0}, {0.0, 0.0, 0.0, 0.0}, {std::nan(""), 0.0, 0.0, 1.0}}) {
        c = s = 0.5;
        EXPECT_FALSE(ORVO::_NearestRotation2x2(m[0], m[1], m[2], m[3], &c, &s)) << m[0];
        EXPECT_EQ(c, 1.0);
        EXPECT_EQ(s, 0.0);
    }
    // Scales whose squares under- or overflow still give the angle.
    for (double scale : {1e-170, 1e-300, 1e170, 1e300}) {
        const double t = 0.3;
        ASSERT_TRUE(ORVO::_NearestRotation2x2(scale * std::cos(t), -scale * std::sin(t),
                                              scale * std::sin(t), scale * std::cos(t), &c, &s))
            << scale;
        EXPECT_NEAR(c, std::cos(t), 1e-15) << scale;
        EXPECT_NEAR(s, std::sin(t), 1e-15) << scale;
    }
}

TEST(NearestRotation, ThreeByThreeRemovesReflections) {
    const std::vector<double> r = Rotation3(1.0, 2.0, -0.5, 0.8);
    std::vector<double> out;
    // R diag(3, 2, 1) has R as its rotation factor; R diag(3, 2, -1) is a
    // reflection, and flipping its weakest direction gives R back.
    for (double last : {1.0, -1.0}) {
        const std::vector<double> s = Multiply3(r, {3, 0, 0, 0, 2, 0, 0, 0, last});
        ASSERT_EQ(ORVO::OrthgonalApproximation(s, 3, 3, &out), 0);
        EXPECT_LT(Distance(out, r), 1e-12) << last;
    }

    std::mt19937 rng(3);
    std::uniform_real_distribution<double> u(-1.0, 1.0);
    for (int trial = 0; trial < 200; ++trial) {
        std::vector<double> s(9);
        for (double& e : s) e = u(rng);
        ASSERT_EQ(ORVO::OrthgonalApproximation(s, 3, 3, &out), 0);
        EXPECT_NEAR(Det(out, 3), 1.0, 1e-12);
        EXPECT_LT(OrthonormalityError(out, 3, 3), 1e-12);
        // Small rotations of the answer are never nearer to S.
        const double best = Distance(s, out);
        for (int k = 0; k < 50; ++k) {
            const std::vector<double> nudged =
                Multiply3(out, Rotation3(u(rng), u(rng), u(rng), 0.05 * u(rng)));
            ASSERT_GE(Distance(s, nudged), best - 1e-12) << trial;
        }
    }
}

TEST(NearestRotation, NonSquareGivesOrthonormalColumnsAndBadSizesFail) {
    const std::vector<double> s = {1.0, 0.2, 0.1, 2.0, -0.3, 0.4};  // 3 x 2
    std::vector<double> out;
    ASSERT_EQ(ORVO::OrthgonalApproximation(s, 3, 2, &out), 0);
    ASSERT_EQ(out.size(), 6u);
    EXPECT_LT(OrthonormalityError(out, 3, 2), 1e-12);

    EXPECT_EQ(ORVO::OrthgonalApproximation(s, 3, 2, nullptr), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(ORVO::OrthgonalApproximation(s, 2, 2, &out), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(ORVO::OrthgonalApproximation(s, 0, 6, &out), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(ORVO::OrthgonalApproximation(s, -3, -2, &out), ORVO::STATUS_INVALID_INPUT);
}

}  // namespace
