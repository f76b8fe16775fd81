#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/SparseMatrix.h>
#include <QarnUVAtlas/SparseSolver.h>

#include "numerics/SparseMatrixImpl.h"
#include "TestFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <functional>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

using ORVO::SparseMatrix;

using testfiles::ReadFile;

using Dense = std::vector<std::vector<double>>;

struct Entry {
    int row, col;
    double value;
};

// The same entries as a sparse matrix (through triplets) and as a dense array.
SparseMatrix MakeSparse(int rows, int cols, const std::vector<Entry>& entries) {
    SparseMatrix m(rows, cols);
    for (const Entry& e : entries) m.AddTriplet(e.row, e.col, e.value);
    m.BuildFromTriplets();
    return m;
}

Dense MakeDense(int rows, int cols, const std::vector<Entry>& entries) {
    Dense d(rows, std::vector<double>(cols, 0.0));
    for (const Entry& e : entries) d[e.row][e.col] += e.value;
    return d;
}

std::vector<Entry> RandomEntries(int rows, int cols, int count, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int> r(0, rows - 1), c(0, cols - 1);
    std::uniform_real_distribution<double> v(-2.0, 2.0);
    std::vector<Entry> out;
    for (int i = 0; i < count; ++i) out.push_back({r(rng), c(rng), v(rng)});
    return out;
}

void ExpectMatches(const SparseMatrix& m, const Dense& d, double tol) {
    ASSERT_NE(m.GetImpl(), nullptr);
    ASSERT_EQ(m.GetImpl()->mMatrix.rows(), static_cast<long>(d.size()));
    ASSERT_EQ(m.GetImpl()->mMatrix.cols(), static_cast<long>(d[0].size()));
    for (size_t i = 0; i < d.size(); ++i)
        for (size_t j = 0; j < d[i].size(); ++j)
            EXPECT_NEAR(m.GetValue(int(i), int(j)), d[i][j], tol) << i << "," << j;
}

// Dense Gaussian elimination with partial pivoting, independent of the library.
std::vector<double> GaussSolve(Dense a, std::vector<double> b) {
    const size_t n = b.size();
    for (size_t k = 0; k < n; ++k) {
        size_t p = k;
        for (size_t i = k + 1; i < n; ++i)
            if (std::fabs(a[i][k]) > std::fabs(a[p][k])) p = i;
        std::swap(a[k], a[p]);
        std::swap(b[k], b[p]);
        for (size_t i = k + 1; i < n; ++i) {
            const double f = a[i][k] / a[k][k];
            for (size_t j = k; j < n; ++j) a[i][j] -= f * a[k][j];
            b[i] -= f * b[k];
        }
    }
    std::vector<double> x(n);
    for (size_t k = n; k-- > 0;) {
        double s = b[k];
        for (size_t j = k + 1; j < n; ++j) s -= a[k][j] * x[j];
        x[k] = s / a[k][k];
    }
    return x;
}

double Norm(const std::vector<double>& v) {
    double s = 0.0;
    for (double e : v) s += e * e;
    return std::sqrt(s);
}

double RelativeResidual(const SparseMatrix& a, const std::vector<double>& x,
                        const std::vector<double>& b) {
    std::vector<double> r = a * x;
    for (size_t i = 0; i < r.size(); ++i) r[i] -= b[i];
    return Norm(r) / Norm(b);
}

// -Laplace(u) = f on the unit square, u given on the boundary, with the 5-point
// stencil on an n x n grid of interior nodes (spacing h = 1 / (n + 1)). Unknown
// (i, j) has index (j - 1) * n + (i - 1). Scaled by h^2 the matrix is SPD.
struct Poisson {
    SparseMatrix a;
    std::vector<double> b;
    std::vector<double> exact;  // u at the interior nodes
    int n;
    double h;
};

Poisson MakePoisson(int n, const std::function<double(double, double)>& u,
                    const std::function<double(double, double)>& f) {
    Poisson p;
    p.n = n;
    p.h = 1.0 / (n + 1);
    const int count = n * n;
    p.a.Init(count, count);
    p.b.assign(count, 0.0);
    p.exact.assign(count, 0.0);
    auto index = [n](int i, int j) { return (j - 1) * n + (i - 1); };
    for (int j = 1; j <= n; ++j) {
        for (int i = 1; i <= n; ++i) {
            const int k = index(i, j);
            const double x = i * p.h, y = j * p.h;
            p.a.AddTriplet(k, k, 4.0);
            p.b[k] = p.h * p.h * f(x, y);
            p.exact[k] = u(x, y);
            const int di[4] = {-1, 1, 0, 0}, dj[4] = {0, 0, -1, 1};
            for (int s = 0; s < 4; ++s) {
                const int ni = i + di[s], nj = j + dj[s];
                if (ni < 1 || ni > n || nj < 1 || nj > n)
                    p.b[k] += u(ni * p.h, nj * p.h);  // known boundary value
                else
                    p.a.AddTriplet(k, index(ni, nj), -1.0);
            }
        }
    }
    p.a.BuildFromTriplets();
    return p;
}

double MaxError(const std::vector<double>& x, const std::vector<double>& exact) {
    double e = 0.0;
    for (size_t i = 0; i < x.size(); ++i) e = std::max(e, std::fabs(x[i] - exact[i]));
    return e;
}

// A cubic: the stencil's truncation error (fourth derivatives) vanishes, so the
// discrete solution equals it at the nodes.
double Cubic(double x, double y) { return x * x * x - 2 * y * y * y + x * y * y + x * y + 1; }
double MinusLaplaceCubic(double x, double y) { return -(6 * x + 2 * x - 12 * y); }

const double kPi = 3.141592653589793;
double SinSin(double x, double y) { return std::sin(kPi * x) * std::sin(kPi * y); }
double MinusLaplaceSinSin(double x, double y) { return 2 * kPi * kPi * SinSin(x, y); }

// True when x is a finite prefix followed only by zeros (the shape a failed
// copy leaves) and does contain the zero tail.
bool IsFinitePrefixThenZeros(const std::vector<double>& x, size_t firstBad) {
    for (size_t i = 0; i < x.size(); ++i) {
        if (!std::isfinite(x[i])) return false;
        if (i >= firstBad && x[i] != 0.0) return false;
    }
    return true;
}

// --- Triplet and SparseMatrix --------------------------------------------

TEST(Triplet, StoresRowColumnValue) {
    ORVO::Triplet t;
    EXPECT_EQ(t.GetRow(), 0);
    EXPECT_EQ(t.GetCol(), 0);
    EXPECT_EQ(t.GetValue(), 0.0);
    ORVO::Triplet u(3, 4, -1.25);
    t = u;
    EXPECT_EQ(t.GetRow(), 3);
    EXPECT_EQ(t.GetCol(), 4);
    EXPECT_EQ(t.GetValue(), -1.25);
    t.SetRow(7);
    t.SetCol(8);
    t.SetValue(2.5);
    EXPECT_EQ(t.GetRow(), 7);
    EXPECT_EQ(t.GetCol(), 8);
    EXPECT_EQ(t.GetValue(), 2.5);
    EXPECT_EQ(u.GetRow(), 3);
}

TEST(SparseMatrix, DuplicateTripletsAreSummed) {
    SparseMatrix m(3, 3);
    EXPECT_TRUE(m.AddTriplet(1, 2, 1.5));
    EXPECT_TRUE(m.AddTriplet(1, 2, 2.5));
    // Pending triplets are invisible until built.
    EXPECT_EQ(m.GetValue(1, 2), 0.0);
    EXPECT_TRUE(m.BuildFromTriplets());
    EXPECT_EQ(m.GetValue(1, 2), 4.0);
    EXPECT_EQ(m.GetValue(2, 1), 0.0);
}

TEST(SparseMatrix, DuplicatesAreSummedInInsertionOrder) {
    // Floating-point addition is not associative: the ulp of 1e16 is 2, so
    // 1e16 + 0.75 rounds back to 1e16 while 1.5 + 1e16 rounds up to 1e16 + 2.
    SparseMatrix bigFirst(1, 1);
    for (double v : {1e16, 0.75, 0.75, -1e16}) bigFirst.AddTriplet(0, 0, v);
    bigFirst.BuildFromTriplets();
    EXPECT_EQ(bigFirst.GetValue(0, 0), 0.0);

    SparseMatrix smallFirst(1, 1);
    for (double v : {0.75, 0.75, 1e16, -1e16}) smallFirst.AddTriplet(0, 0, v);
    smallFirst.BuildFromTriplets();
    EXPECT_EQ(smallFirst.GetValue(0, 0), 2.0);
}

TEST(SparseMatrix, BuildReplacesContentAndEmptiesPendingList) {
    SparseMatrix m(2, 2);
    m.AddTriplet(0, 0, 1.0);
    m.AddTriplet(1, 1, 2.0);
    ASSERT_TRUE(m.BuildFromTriplets());
    m.SetValue(0, 1, 5.0);
    EXPECT_EQ(m.GetValue(0, 1), 5.0);
    // Nothing pending: the second build leaves an all-zero matrix, SetValue's
    // entry included.
    ASSERT_TRUE(m.BuildFromTriplets());
    EXPECT_EQ(m.GetImpl()->mMatrix.nonZeros(), 0);
    for (int i = 0; i < 2; ++i)
        for (int j = 0; j < 2; ++j) EXPECT_EQ(m.GetValue(i, j), 0.0);
    // New triplets start from an empty list, not from the consumed ones.
    m.AddTriplet(1, 0, 3.0);
    m.BuildFromTriplets();
    EXPECT_EQ(m.GetValue(1, 0), 3.0);
    EXPECT_EQ(m.GetValue(0, 0), 0.0);
    EXPECT_EQ(m.GetImpl()->mMatrix.nonZeros(), 1);
}

TEST(SparseMatrix, SetValueInsertsAndOverwrites) {
    SparseMatrix m(4, 5);
    m.AddTriplet(2, 3, 1.0);
    m.BuildFromTriplets();
    m.SetValue(2, 3, 7.0);  // present
    m.SetValue(0, 4, -2.0);  // absent: inserted
    m.SetValue(3, 0, 0.5);
    EXPECT_EQ(m.GetValue(2, 3), 7.0);
    EXPECT_EQ(m.GetValue(0, 4), -2.0);
    EXPECT_EQ(m.GetValue(3, 0), 0.5);
    EXPECT_EQ(m.GetValue(1, 1), 0.0);
    EXPECT_EQ(m.GetImpl()->mMatrix.nonZeros(), 3);
}

TEST(SparseMatrix, GetValueFindsEveryEntryOfDenseColumns) {
    // Many rows per column exercise the search inside a column.
    const std::vector<Entry> entries = RandomEntries(40, 6, 150, 11);
    const SparseMatrix m = MakeSparse(40, 6, entries);
    ExpectMatches(m, MakeDense(40, 6, entries), 1e-15);
}

TEST(SparseMatrix, UninitialisedMatrixLogsAndDoesNothing) {
    ORVO::LogSystem::SetLogFileName("test_sparse_uninit.txt");
    SparseMatrix m;
    EXPECT_EQ(m.GetImpl(), nullptr);
    EXPECT_EQ(m.GetValue(0, 0), 0.0);
    m.SetValue(0, 0, 1.0);
    EXPECT_EQ(m.GetImpl(), nullptr);
    EXPECT_FALSE(m.AddTriplet(0, 0, 1.0));
    EXPECT_FALSE(m.BuildFromTriplets());
    const SparseMatrix t = m.Transpose();
    EXPECT_EQ(t.GetImpl(), nullptr);
    m.PrintMatrix("nothing");
    EXPECT_EQ(ReadFile("test_sparse_uninit.txt"),
              "Error: SpaseMatrix is not initialize: \n"
              "Error: SpaseMatrix is not initialize: \n"
              "Error: mpImpl is NULL when SparseMatrix::Transpose\n");
}

TEST(SparseMatrix, InitStartsAfresh) {
    SparseMatrix m(2, 2);
    m.AddTriplet(0, 0, 1.0);
    m.BuildFromTriplets();
    m.AddTriplet(1, 1, 9.0);  // pending, dropped by Init
    m.Init(3, 1);
    EXPECT_EQ(m.GetImpl()->mMatrix.rows(), 3);
    EXPECT_EQ(m.GetImpl()->mMatrix.cols(), 1);
    EXPECT_TRUE(m.GetImpl()->mTriplets.empty());
    m.BuildFromTriplets();
    EXPECT_EQ(m.GetImpl()->mMatrix.nonZeros(), 0);
}

TEST(SparseMatrix, ConstructorFromTripletList) {
    const std::vector<ORVO::Triplet> list = {{0, 1, 2.0}, {2, 0, -1.0}, {0, 1, 0.5}};
    const SparseMatrix m(3, 2, list);
    EXPECT_EQ(m.GetValue(0, 1), 2.5);
    EXPECT_EQ(m.GetValue(2, 0), -1.0);
    EXPECT_EQ(m.GetValue(1, 1), 0.0);
    EXPECT_TRUE(m.GetImpl()->mTriplets.empty());
}

TEST(SparseMatrix, CopiesAreDeepAndCarryPendingTriplets) {
    SparseMatrix a(2, 2);
    a.AddTriplet(0, 0, 1.0);
    a.BuildFromTriplets();
    a.AddTriplet(1, 1, 4.0);  // pending in both after the copy

    SparseMatrix b(a);
    b.SetValue(0, 0, -3.0);
    EXPECT_EQ(a.GetValue(0, 0), 1.0);
    EXPECT_TRUE(b.BuildFromTriplets());
    EXPECT_EQ(b.GetValue(1, 1), 4.0);
    EXPECT_EQ(a.GetValue(1, 1), 0.0);
    a.BuildFromTriplets();
    EXPECT_EQ(a.GetValue(1, 1), 4.0);

    SparseMatrix c(5, 5);
    c = a;
    EXPECT_EQ(c.GetImpl()->mMatrix.rows(), 2);
    EXPECT_NE(c.GetImpl(), a.GetImpl());
    c = SparseMatrix();  // assigning an uninitialised matrix
    EXPECT_EQ(c.GetImpl(), nullptr);
    const SparseMatrix none;
    const SparseMatrix copyOfNone(none);
    EXPECT_EQ(copyOfNone.GetImpl(), nullptr);

    SparseMatrix moved(std::move(a));
    EXPECT_EQ(moved.GetValue(1, 1), 4.0);
}

TEST(SparseMatrix, OutOfRangeTripletsAreSkippedByTheBuild) {
    ORVO::LogSystem::SetLogFileName("test_sparse_range.txt");
    SparseMatrix m(2, 2);
    m.AddTriplet(0, 0, 1.0);
    m.AddTriplet(2, 0, 5.0);
    m.AddTriplet(1, -1, 5.0);
    m.AddTriplet(1, 1, 2.0);
    EXPECT_TRUE(m.BuildFromTriplets());
    EXPECT_EQ(m.GetValue(0, 0), 1.0);
    EXPECT_EQ(m.GetValue(1, 1), 2.0);
    EXPECT_EQ(m.GetImpl()->mMatrix.nonZeros(), 2);
    EXPECT_EQ(m.GetValue(5, 0), 0.0);
    EXPECT_EQ(ReadFile("test_sparse_range.txt"),
              "Error: SparseMatrix::BuildFromTriplets skipped out-of-range triplets: 2\n"
              "Error: SparseMatrix::GetValue index out of range: 5 0\n");
}

TEST(SparseMatrix, TransposeProductsAndSumsMatchDenseArithmetic) {
    const std::vector<Entry> ea = RandomEntries(5, 4, 12, 1);
    const std::vector<Entry> eb = RandomEntries(4, 6, 12, 2);
    const std::vector<Entry> ec = RandomEntries(5, 4, 9, 3);
    const SparseMatrix a = MakeSparse(5, 4, ea), b = MakeSparse(4, 6, eb), c = MakeSparse(5, 4, ec);
    const Dense da = MakeDense(5, 4, ea), db = MakeDense(4, 6, eb), dc = MakeDense(5, 4, ec);

    Dense dt(4, std::vector<double>(5));
    for (int i = 0; i < 5; ++i)
        for (int j = 0; j < 4; ++j) dt[j][i] = da[i][j];
    ExpectMatches(a.Transpose(), dt, 0.0);

    Dense dp(5, std::vector<double>(6, 0.0));
    for (int i = 0; i < 5; ++i)
        for (int j = 0; j < 6; ++j)
            for (int k = 0; k < 4; ++k) dp[i][j] += da[i][k] * db[k][j];
    ExpectMatches(a * b, dp, 1e-14);

    Dense ds = da, dd = da;
    for (int i = 0; i < 5; ++i)
        for (int j = 0; j < 4; ++j) {
            ds[i][j] += dc[i][j];
            dd[i][j] -= dc[i][j];
        }
    ExpectMatches(a + c, ds, 1e-15);
    ExpectMatches(a - c, dd, 1e-15);
    SparseMatrix acc = a;
    acc += c;
    ExpectMatches(acc, ds, 1e-15);
    acc -= c;
    acc -= c;
    ExpectMatches(acc, dd, 1e-14);

    const std::vector<double> v = {0.5, -1.0, 2.0, 3.0};
    const std::vector<double> av = a * v;
    ASSERT_EQ(av.size(), 5u);
    for (int i = 0; i < 5; ++i) {
        double s = 0.0;
        for (int k = 0; k < 4; ++k) s += da[i][k] * v[k];
        EXPECT_NEAR(av[i], s, 1e-14);
    }
}

TEST(SparseMatrix, OperatorsRejectMissingOperandsAndMismatchedSizes) {
    ORVO::LogSystem::SetLogFileName("test_sparse_ops.txt");
    const SparseMatrix none;
    const SparseMatrix a = MakeSparse(2, 3, {{0, 0, 1.0}, {1, 2, 2.0}});
    EXPECT_EQ((a * none).GetImpl(), nullptr);
    EXPECT_EQ((none + a).GetImpl(), nullptr);
    EXPECT_EQ((a * a).GetImpl(), nullptr);  // 2x3 times 2x3
    EXPECT_EQ((a - a.Transpose()).GetImpl(), nullptr);
    SparseMatrix b = a;
    b += a.Transpose();
    ExpectMatches(b, {{1, 0, 0}, {0, 0, 2}}, 0.0);
    EXPECT_TRUE((a * std::vector<double>{1.0, 2.0}).empty());
    EXPECT_TRUE((none * std::vector<double>{}).empty());
    // Every rejection was reported.
    EXPECT_EQ(ReadFile("test_sparse_ops.txt"),
              "Error: mpImpl is NULL when SparseMatrix::operator*\n"
              "Error: mpImpl is NULL when SparseMatrix::operator+\n"
              "Error: size mismatch in SparseMatrix::operator*: 2x3 and 2x3\n"
              "Error: size mismatch in SparseMatrix::operator-: 2x3 and 3x2\n"
              "Error: size mismatch in SparseMatrix::operator+=: 2x3 and 3x2\n"
              "Error: size mismatch in SparseMatrix::operator*: 2x3 and vector 2\n"
              "Error: mpImpl is NULL when SparseMatrix::operator*\n");
}

TEST(SparseMatrix, TransposeAndProductOfAMatrixEditedInPlace) {
    // SetValue may leave the storage uncompressed; every consumer must cope.
    SparseMatrix m(3, 3);
    m.AddTriplet(0, 0, 2.0);
    m.BuildFromTriplets();
    m.SetValue(2, 1, 3.0);
    m.SetValue(1, 1, 1.0);
    m.SetValue(2, 2, 4.0);
    const Dense d = {{2, 0, 0}, {0, 1, 0}, {0, 3, 4}};
    ExpectMatches(m, d, 0.0);
    ExpectMatches(m.Transpose(), {{2, 0, 0}, {0, 1, 3}, {0, 0, 4}}, 0.0);
    ExpectMatches(m * m, {{4, 0, 0}, {0, 1, 0}, {0, 15, 16}}, 0.0);

    ORVO::LinearSparseLUSolver lu;
    ASSERT_EQ(lu.Factorize(m), ORVO::STATUS_SUCCESS);
    std::vector<double> x;
    ASSERT_EQ(lu.Solve({2.0, 1.0, 7.0}, &x), ORVO::STATUS_SUCCESS);
    EXPECT_NEAR(x[0], 1.0, 1e-15);
    EXPECT_NEAR(x[1], 1.0, 1e-15);
    EXPECT_NEAR(x[2], 1.0, 1e-15);
}

TEST(SparseMatrix, ImageLinesForTheLog) {
    SparseMatrix m(2, 3);
    m.AddTriplet(0, 0, 1.5);
    m.AddTriplet(1, 2, -2.0);
    m.BuildFromTriplets();
    const std::vector<std::string> lines = ORVO::_SparseMatrixImageLines(*m.GetImpl(), "M");
    const std::vector<std::string> expected = {
        "+++++++++++++++++++++++++ SparseMatrixM +++++++++++++++++++++++++++++++++++",
        "SparseMatrix: row=2 col=3",
        "1.5 0 0 ",
        "0 0 -2 ",
        "------------------------------ end ------------------------------"};
    EXPECT_EQ(lines, expected);

    // At the shipped level the detail output is silent.
    ASSERT_GT(ORVO::gSystemLogLevel, ORVO::LOG_LEVEL_DETAIL);
    ORVO::LogSystem::SetLogFileName("test_sparse_print.txt");
    m.PrintMatrix("M");
    EXPECT_EQ(ReadFile("test_sparse_print.txt"), "");
}

// --- Solvers: states and status codes -------------------------------------

SparseMatrix SmallSpd() {
    return MakeSparse(3, 3, {{0, 0, 4}, {0, 1, 1}, {1, 0, 1}, {1, 1, 3}, {2, 2, 2}, {1, 2, -1},
                             {2, 1, -1}});
}

template <typename Solver>
int SolveLinear(Solver& s, const std::vector<double>& b, std::vector<double>* x) {
    return s.Solve(b, x);
}
int SolveLinear(ORVO::LinearSparseCGSolver& s, const std::vector<double>& b,
                std::vector<double>* x) {
    return s.Solve(b, x, nullptr);
}
int SolveLinear(ORVO::LeastSquareSparseCGSolver& s, const std::vector<double>& b,
                std::vector<double>* x) {
    return s.Solve(b, x, nullptr);
}

template <typename Solver>
void CheckLifecycle() {
    const SparseMatrix a = SmallSpd();
    const std::vector<double> b = {5.0, 3.0, 1.0};
    Solver s;
    std::vector<double> x = {7.0, 7.0};
    EXPECT_EQ(SolveLinear(s, b, &x), ORVO::STATUS_NOT_INITIALISED);
    EXPECT_EQ(x, (std::vector<double>{7.0, 7.0}));  // untouched

    ASSERT_EQ(s.Factorize(a), ORVO::STATUS_SUCCESS);
    EXPECT_EQ(SolveLinear(s, b, nullptr), ORVO::STATUS_NOT_INITIALISED);
    EXPECT_EQ(SolveLinear(s, {1.0, 2.0}, &x), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(x, (std::vector<double>{7.0, 7.0}));
    ASSERT_EQ(SolveLinear(s, b, &x), ORVO::STATUS_SUCCESS);
    ASSERT_EQ(x.size(), 3u);
    EXPECT_LT(RelativeResidual(a, x, b), 1e-13);
    // Any number of right-hand sides per factorisation.
    const std::vector<double> b2 = {-1.0, 0.0, 4.0};
    ASSERT_EQ(SolveLinear(s, b2, &x), ORVO::STATUS_SUCCESS);
    EXPECT_LT(RelativeResidual(a, x, b2), 1e-13);
    // The right-hand side may be the output vector itself.
    std::vector<double> inPlace = b2;
    ASSERT_EQ(SolveLinear(s, inPlace, &inPlace), ORVO::STATUS_SUCCESS);
    EXPECT_EQ(inPlace, x);

    s.Free();
    x = {7.0};
    EXPECT_EQ(SolveLinear(s, b, &x), ORVO::STATUS_NOT_INITIALISED);
    EXPECT_EQ(x, std::vector<double>{7.0});
    ASSERT_EQ(s.Factorize(a), ORVO::STATUS_SUCCESS);
    EXPECT_EQ(SolveLinear(s, b, &x), ORVO::STATUS_SUCCESS);

    // An uninitialised matrix leaves the solver unfactorised.
    EXPECT_EQ(s.Factorize(SparseMatrix()), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(SolveLinear(s, b, &x), ORVO::STATUS_NOT_INITIALISED);
}

TEST(SparseSolvers, LifecycleAndStatusCodes) {
    {
        SCOPED_TRACE("LU");
        CheckLifecycle<ORVO::LinearSparseLUSolver>();
    }
    {
        SCOPED_TRACE("LLT");
        CheckLifecycle<ORVO::LinearSparseLLTSolver>();
    }
    {
        SCOPED_TRACE("CG");
        CheckLifecycle<ORVO::LinearSparseCGSolver>();
    }
    {
        SCOPED_TRACE("least squares LLT");
        CheckLifecycle<ORVO::LeastSquareSparseLLTSolver>();
    }
    {
        SCOPED_TRACE("least squares CG");
        CheckLifecycle<ORVO::LeastSquareSparseCGSolver>();
    }
}

TEST(SparseSolvers, NonSquareMatricesAreRejectedByLinearSolvers) {
    const SparseMatrix a = MakeSparse(3, 2, {{0, 0, 1}, {1, 1, 1}, {2, 0, 1}});
    ORVO::LinearSparseLUSolver lu;
    ORVO::LinearSparseLLTSolver llt;
    ORVO::LinearSparseCGSolver cg;
    EXPECT_EQ(lu.Factorize(a), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(llt.Factorize(a), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(cg.Factorize(a), ORVO::STATUS_INVALID_INPUT);
}

TEST(SparseSolvers, IndefiniteSymmetricMatrixFailsCholesky) {
    // Eigenvalues 3 and -1.
    const SparseMatrix a = MakeSparse(2, 2, {{0, 0, 1}, {0, 1, 2}, {1, 0, 2}, {1, 1, 1}});
    ORVO::LinearSparseLLTSolver llt;
    EXPECT_EQ(llt.Factorize(a), ORVO::STATUS_FAILED);
    std::vector<double> x = {3.0};
    EXPECT_EQ(llt.Solve({1.0, 1.0}, &x), ORVO::STATUS_NOT_INITIALISED);
    EXPECT_EQ(x, std::vector<double>{3.0});
    // LU has no such restriction.
    ORVO::LinearSparseLUSolver lu;
    ASSERT_EQ(lu.Factorize(a), ORVO::STATUS_SUCCESS);
    ASSERT_EQ(lu.Solve({3.0, 3.0}, &x), ORVO::STATUS_SUCCESS);
    EXPECT_NEAR(x[0], 1.0, 1e-15);
    EXPECT_NEAR(x[1], 1.0, 1e-15);
}

TEST(SparseSolvers, SingularMatricesFailFactorisation) {
    // Column 1 is empty: structurally singular.
    const SparseMatrix empty = MakeSparse(3, 3, {{0, 0, 1}, {1, 0, 1}, {2, 2, 1}});
    ORVO::LinearSparseLUSolver lu;
    EXPECT_EQ(lu.Factorize(empty), ORVO::STATUS_FAILED);
    ORVO::LinearSparseLLTSolver llt;
    EXPECT_EQ(llt.Factorize(empty), ORVO::STATUS_FAILED);
    // Numerically singular: the second row is twice the first.
    const SparseMatrix dependent = MakeSparse(2, 2, {{0, 0, 1}, {0, 1, 2}, {1, 0, 2}, {1, 1, 4}});
    EXPECT_EQ(lu.Factorize(dependent), ORVO::STATUS_FAILED);
    // A least-squares matrix with an empty column is rank deficient.
    const SparseMatrix tall = MakeSparse(4, 2, {{0, 0, 1}, {1, 0, 2}, {3, 0, 1}});
    ORVO::LeastSquareSparseLLTSolver ls;
    EXPECT_EQ(ls.Factorize(tall), ORVO::STATUS_FAILED);
}

TEST(SparseSolvers, NonFiniteResultStopsTheCopy) {
    const SparseMatrix identity = MakeSparse(3, 3, {{0, 0, 1}, {1, 1, 1}, {2, 2, 1}});
    const std::vector<double> b = {1.0, std::numeric_limits<double>::infinity(), 2.0};
    std::vector<double> x;

    ORVO::LinearSparseLUSolver lu;
    ASSERT_EQ(lu.Factorize(identity), ORVO::STATUS_SUCCESS);
    EXPECT_EQ(lu.Solve(b, &x), ORVO::STATUS_FAILED);
    EXPECT_EQ(x, (std::vector<double>{1.0, 0.0, 0.0}));

    ORVO::LinearSparseLLTSolver llt;
    ASSERT_EQ(llt.Factorize(identity), ORVO::STATUS_SUCCESS);
    x = {9.0};
    EXPECT_EQ(llt.Solve(b, &x), ORVO::STATUS_FAILED);
    EXPECT_EQ(x, (std::vector<double>{1.0, 0.0, 0.0}));

    ORVO::LinearSparseCGSolver cg;
    ASSERT_EQ(cg.Factorize(identity), ORVO::STATUS_SUCCESS);
    EXPECT_EQ(cg.Solve(b, &x, nullptr), ORVO::STATUS_FAILED);
    ASSERT_EQ(x.size(), 3u);
    EXPECT_TRUE(IsFinitePrefixThenZeros(x, 1)) << x[0] << " " << x[1] << " " << x[2];

    ORVO::LeastSquareSparseLLTSolver ls;
    ASSERT_EQ(ls.Factorize(identity), ORVO::STATUS_SUCCESS);
    EXPECT_EQ(ls.Solve(b, &x), ORVO::STATUS_FAILED);
    EXPECT_EQ(x, (std::vector<double>{1.0, 0.0, 0.0}));

    // A NaN in the matrix itself: Cholesky takes it as a pivot and the solution
    // of its row is NaN.
    const SparseMatrix nanDiag =
        MakeSparse(3, 3, {{0, 0, 2}, {1, 1, 4}, {2, 2, std::numeric_limits<double>::quiet_NaN()}});
    ASSERT_EQ(llt.Factorize(nanDiag), ORVO::STATUS_SUCCESS);
    EXPECT_EQ(llt.Solve({2.0, 2.0, 1.0}, &x), ORVO::STATUS_FAILED);
    ASSERT_EQ(x.size(), 3u);
    EXPECT_NEAR(x[0], 1.0, 1e-15);
    EXPECT_NEAR(x[1], 0.5, 1e-15);
    EXPECT_EQ(x[2], 0.0);
}

// --- Solvers on a 2-D Poisson problem -------------------------------------

TEST(SparseSolvers, PoissonCubicIsReproducedExactly) {
    const Poisson p = MakePoisson(20, Cubic, MinusLaplaceCubic);
    std::vector<double> x;

    ORVO::LinearSparseLUSolver lu;
    ASSERT_EQ(lu.Factorize(p.a), ORVO::STATUS_SUCCESS);
    ASSERT_EQ(lu.Solve(p.b, &x), ORVO::STATUS_SUCCESS);
    EXPECT_LT(MaxError(x, p.exact), 1e-12);

    ORVO::LinearSparseLLTSolver llt;
    ASSERT_EQ(llt.Factorize(p.a), ORVO::STATUS_SUCCESS);
    ASSERT_EQ(llt.Solve(p.b, &x), ORVO::STATUS_SUCCESS);
    EXPECT_LT(MaxError(x, p.exact), 1e-12);

    ORVO::LinearSparseCGSolver cg;
    ASSERT_EQ(cg.Factorize(p.a), ORVO::STATUS_SUCCESS);
    ASSERT_EQ(cg.Solve(p.b, &x, nullptr), ORVO::STATUS_SUCCESS);
    EXPECT_LT(MaxError(x, p.exact), 1e-10);
}

TEST(SparseSolvers, PoissonDiscretisationErrorIsSecondOrder) {
    double previous[3] = {0, 0, 0};
    for (int n : {15, 31, 63}) {
        const Poisson p = MakePoisson(n, SinSin, MinusLaplaceSinSin);
        std::vector<double> xLu, xLlt, xCg;
        ORVO::LinearSparseLUSolver lu;
        ORVO::LinearSparseLLTSolver llt;
        ORVO::LinearSparseCGSolver cg;
        ASSERT_EQ(lu.Factorize(p.a), 0);
        ASSERT_EQ(llt.Factorize(p.a), 0);
        ASSERT_EQ(cg.Factorize(p.a), 0);
        ASSERT_EQ(lu.Solve(p.b, &xLu), 0);
        ASSERT_EQ(llt.Solve(p.b, &xLlt), 0);
        ASSERT_EQ(cg.Solve(p.b, &xCg, nullptr), 0);
        const double errors[3] = {MaxError(xLu, p.exact), MaxError(xLlt, p.exact),
                                  MaxError(xCg, p.exact)};
        for (int s = 0; s < 3; ++s) {
            // The leading error term is h^2 pi^2 / 12 at the centre, times 1/2.
            EXPECT_LT(errors[s], 0.1 * p.h * p.h * kPi * kPi) << "n=" << n << " solver " << s;
            if (previous[s] > 0.0) {
                const double ratio = previous[s] / errors[s];
                EXPECT_GT(ratio, 3.6) << "n=" << n << " solver " << s;
                EXPECT_LT(ratio, 4.4) << "n=" << n << " solver " << s;
            }
            previous[s] = errors[s];
        }
    }
}

// --- Conjugate gradient settings ------------------------------------------

TEST(SparseSolvers, IterationLimitActsOnlyAfterFactorize) {
    // Not sin(pi x) sin(pi y): that one is an eigenvector of the stencil and CG
    // would finish in a single step.
    const Poisson p = MakePoisson(31, Cubic, MinusLaplaceCubic);

    ORVO::LinearSparseCGSolver reference;
    ASSERT_EQ(reference.Factorize(p.a), 0);
    std::vector<double> full;
    ASSERT_EQ(reference.Solve(p.b, &full, nullptr), 0);
    EXPECT_LT(RelativeResidual(p.a, full, p.b), 1e-12);

    // Set before Factorize: silently dropped, the solve runs to the default limit.
    ORVO::LinearSparseCGSolver early;
    early.SetMaxIteration(5);
    early.SetConvergentTolerance(1e-2);
    ASSERT_EQ(early.Factorize(p.a), 0);
    std::vector<double> x;
    ASSERT_EQ(early.Solve(p.b, &x, nullptr), 0);
    EXPECT_EQ(x, full);

    // Set after Factorize: five iterations leave a large residual.
    early.SetMaxIteration(5);
    ASSERT_EQ(early.Solve(p.b, &x, nullptr), 0);  // the limit is not a failure
    const double limited = RelativeResidual(p.a, x, p.b);
    EXPECT_GT(limited, 1e-3);

    // A good initial guess makes the same five iterations enough.
    std::vector<double> fromGuess;
    ASSERT_EQ(early.Solve(p.b, &fromGuess, &full), 0);
    EXPECT_LT(RelativeResidual(p.a, fromGuess, p.b), 1e-12);
    const std::vector<double> shortGuess(3, 0.0);
    EXPECT_EQ(early.Solve(p.b, &fromGuess, &shortGuess), ORVO::STATUS_INVALID_INPUT);

    // Every Factorize restores the defaults.
    ASSERT_EQ(early.Factorize(p.a), 0);
    ASSERT_EQ(early.Solve(p.b, &x, nullptr), 0);
    EXPECT_EQ(x, full);
}

TEST(SparseSolvers, ToleranceStopsTheIterationEarly) {
    const Poisson p = MakePoisson(31, Cubic, MinusLaplaceCubic);
    ORVO::LinearSparseCGSolver cg;
    ASSERT_EQ(cg.Factorize(p.a), 0);
    cg.SetConvergentTolerance(1e-4);
    std::vector<double> x;
    ASSERT_EQ(cg.Solve(p.b, &x, nullptr), 0);
    const double r = RelativeResidual(p.a, x, p.b);
    EXPECT_LT(r, 1.01e-4);
    EXPECT_GT(r, 1e-9);  // stopped well before the default tolerance
}

TEST(SparseSolvers, LinearCGReadsTheCallersMatrixAtSolveTime) {
    SparseMatrix a = MakeSparse(2, 2, {{0, 0, 2.0}, {1, 1, 2.0}});
    ORVO::LinearSparseCGSolver cg;
    ASSERT_EQ(cg.Factorize(a), 0);
    a.SetValue(0, 0, 4.0);  // an existing entry: storage stays where it was
    a.SetValue(1, 1, 4.0);
    std::vector<double> x;
    ASSERT_EQ(cg.Solve({1.0, 1.0}, &x, nullptr), 0);
    EXPECT_NEAR(x[0], 0.25, 1e-15);
    EXPECT_NEAR(x[1], 0.25, 1e-15);
}

// --- Least squares --------------------------------------------------------

// Dense normal-equation solution, computed without the library.
std::vector<double> NormalEquationSolution(const Dense& a, const std::vector<double>& b) {
    const size_t m = a.size(), n = a[0].size();
    Dense ata(n, std::vector<double>(n, 0.0));
    std::vector<double> atb(n, 0.0);
    for (size_t i = 0; i < n; ++i) {
        for (size_t j = 0; j < n; ++j)
            for (size_t k = 0; k < m; ++k) ata[i][j] += a[k][i] * a[k][j];
        for (size_t k = 0; k < m; ++k) atb[i] += a[k][i] * b[k];
    }
    return GaussSolve(ata, atb);
}

TEST(LeastSquares, SmoothingFitMatchesNormalEquations) {
    // n samples d_i fitted by u with a periodic smoothness term: n data rows
    // u_i = d_i and n rows w (u_{i+1} - u_i) = 0, a 2n x n system.
    const int n = 30;
    const double w = 0.7;
    std::vector<Entry> entries;
    std::vector<double> b(2 * n, 0.0);
    std::mt19937 rng(5);
    std::normal_distribution<double> noise(0.0, 0.1);
    for (int i = 0; i < n; ++i) {
        entries.push_back({i, i, 1.0});
        b[i] = std::sin(2 * kPi * i / n) + noise(rng);
        entries.push_back({n + i, (i + 1) % n, w});
        entries.push_back({n + i, i, -w});
    }
    const SparseMatrix a = MakeSparse(2 * n, n, entries);
    const std::vector<double> expected = NormalEquationSolution(MakeDense(2 * n, n, entries), b);

    ORVO::LeastSquareSparseLLTSolver llt;
    ASSERT_EQ(llt.Factorize(a), 0);
    std::vector<double> x;
    ASSERT_EQ(llt.Solve(b, &x), 0);
    ASSERT_EQ(x.size(), size_t(n));
    EXPECT_LT(MaxError(x, expected), 1e-12);

    ORVO::LeastSquareSparseCGSolver cg;
    ASSERT_EQ(cg.Factorize(a), 0);
    ASSERT_EQ(cg.Solve(b, &x, nullptr), 0);
    ASSERT_EQ(x.size(), size_t(n));
    EXPECT_LT(MaxError(x, expected), 1e-10);
    // The fit smooths: it lies closer to the clean curve than the samples do.
    double fitError = 0, sampleError = 0;
    for (int i = 0; i < n; ++i) {
        const double clean = std::sin(2 * kPi * i / n);
        fitError += (x[i] - clean) * (x[i] - clean);
        sampleError += (b[i] - clean) * (b[i] - clean);
    }
    EXPECT_LT(fitError, sampleError);
}

TEST(LeastSquares, RandomOverdeterminedSystemMatchesNormalEquations) {
    const int m = 14, n = 5;
    std::vector<Entry> entries = RandomEntries(m, n, 30, 21);
    for (int j = 0; j < n; ++j) entries.push_back({j, j, 3.0});  // full column rank
    std::vector<double> b(m);
    for (int i = 0; i < m; ++i) b[i] = std::cos(1.0 + i);
    const SparseMatrix a = MakeSparse(m, n, entries);
    const std::vector<double> expected = NormalEquationSolution(MakeDense(m, n, entries), b);

    std::vector<double> x;
    ORVO::LeastSquareSparseLLTSolver llt;
    ASSERT_EQ(llt.Factorize(a), 0);
    ASSERT_EQ(llt.Solve(b, &x), 0);
    ASSERT_EQ(x.size(), size_t(n));
    EXPECT_LT(MaxError(x, expected), 1e-12);
    EXPECT_EQ(llt.Solve(std::vector<double>(n, 1.0), &x), ORVO::STATUS_INVALID_INPUT);

    // The residual is orthogonal to the columns of A.
    std::vector<double> r = a * x;
    for (int i = 0; i < m; ++i) r[i] -= b[i];
    const std::vector<double> atr = a.Transpose() * r;
    EXPECT_LT(Norm(atr), 1e-12);

    ORVO::LeastSquareSparseCGSolver cg;
    cg.SetMaxIteration(1);  // before Factorize: ignored
    ASSERT_EQ(cg.Factorize(a), 0);
    ASSERT_EQ(cg.Solve(b, &x, nullptr), 0);
    EXPECT_LT(MaxError(x, expected), 1e-10);
    cg.SetMaxIteration(1);
    ASSERT_EQ(cg.Solve(b, &x, nullptr), 0);
    EXPECT_GT(MaxError(x, expected), 1e-4);
    // A guess of one entry per column is accepted; the exact answer stays put.
    ASSERT_EQ(cg.Solve(b, &x, &expected), 0);
    EXPECT_LT(MaxError(x, expected), 1e-10);
}

TEST(LeastSquares, SolversOwnTheirCopiesOfTheMatrix) {
    ORVO::LeastSquareSparseLLTSolver llt;
    ORVO::LeastSquareSparseCGSolver cg;
    {
        const SparseMatrix a = MakeSparse(4, 2, {{0, 0, 1}, {1, 1, 1}, {2, 0, 1}, {3, 1, 1}});
        ASSERT_EQ(llt.Factorize(a), 0);
        ASSERT_EQ(cg.Factorize(a), 0);
    }
    // Rows: x0 = 1, x1 = 2, x0 = 3, x1 = 6: the means 2 and 4.
    const std::vector<double> b = {1, 2, 3, 6};
    std::vector<double> x;
    ASSERT_EQ(llt.Solve(b, &x), 0);
    EXPECT_NEAR(x[0], 2.0, 1e-14);
    EXPECT_NEAR(x[1], 4.0, 1e-14);
    ASSERT_EQ(cg.Solve(b, &x, nullptr), 0);
    EXPECT_NEAR(x[0], 2.0, 1e-14);
    EXPECT_NEAR(x[1], 4.0, 1e-14);
}

}  // namespace
