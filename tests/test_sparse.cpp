#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/SparseMatrix.h>
#include <QarnUVAtlas/SparseSolver.h>

#include "numerics/CholeskyPair.h"
#include "numerics/ComplexLeastSquares.h"
#include "numerics/SparseMatrixImpl.h"
#include "TestFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using ORVO::SparseMatrix;

using testfiles::ReadFile;

using Dense = std::vector<std::vector<double>>;

const double kInf = std::numeric_limits<double>::infinity();

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

double Norm(const std::vector<double>& v) {
    double s = 0.0;
    for (double e : v) s += e * e;
    return std::sqrt(s);
}

// |Ax - b| / |b|; infinite when x has the wrong length (A x is then empty).
double RelativeResidual(const SparseMatrix& a, const std::vector<double>& x,
                        const std::vector<double>& b) {
    std::vector<double> r = a * x;
    if (r.size() != b.size()) return kInf;
    for (size_t i = 0; i < r.size(); ++i) r[i] -= b[i];
    return Norm(r) / Norm(b);
}

// |A^T (Ax - b)|: zero exactly at the least-squares solution of a full-column-rank A.
double NormalResidual(const SparseMatrix& a, const std::vector<double>& x,
                      const std::vector<double>& b) {
    std::vector<double> r = a * x;
    if (r.size() != b.size()) return kInf;
    for (size_t i = 0; i < r.size(); ++i) r[i] -= b[i];
    return Norm(a.Transpose() * r);
}

// Infinite when the lengths differ or an entry is NaN, so neither an empty nor
// a NaN answer passes.
double MaxError(const std::vector<double>& x, const std::vector<double>& exact) {
    if (x.size() != exact.size()) return kInf;
    double e = 0.0;
    for (size_t i = 0; i < x.size(); ++i) {
        if (std::isnan(x[i])) return kInf;
        e = std::max(e, std::fabs(x[i] - exact[i]));
    }
    return e;
}

// -Laplace(u) = f on the unit square, u given on the boundary, with the 5-point
// stencil on an n x n grid of interior nodes (spacing h = 1 / (n + 1)). Unknown
// (i, j) has index (j - 1) * n + (i - 1). Scaled by h^2 the matrix is SPD.
struct Poisson {
    SparseMatrix a;
    std::vector<double> b;
    std::vector<double> exact;  // u at the interior nodes
};

Poisson MakePoisson(int n, const std::function<double(double, double)>& u,
                    const std::function<double(double, double)>& f) {
    Poisson p;
    const double h = 1.0 / (n + 1);
    const int count = n * n;
    p.a.Init(count, count);
    p.b.assign(count, 0.0);
    p.exact.assign(count, 0.0);
    auto index = [n](int i, int j) { return (j - 1) * n + (i - 1); };
    for (int j = 1; j <= n; ++j) {
        for (int i = 1; i <= n; ++i) {
            const int k = index(i, j);
            const double x = i * h, y = j * h;
            p.a.AddTriplet(k, k, 4.0);
            p.b[k] = h * h * f(x, y);
            p.exact[k] = u(x, y);
            const int di[4] = {-1, 1, 0, 0}, dj[4] = {0, 0, -1, 1};
            for (int s = 0; s < 4; ++s) {
                const int ni = i + di[s], nj = j + dj[s];
                if (ni < 1 || ni > n || nj < 1 || nj > n)
                    p.b[k] += u(ni * h, nj * h);  // known boundary value
                else
                    p.a.AddTriplet(k, index(ni, nj), -1.0);
            }
        }
    }
    p.a.BuildFromTriplets();
    return p;
}

// A cubic: the stencil's truncation error (fourth derivatives) vanishes, so the
// discrete solution equals it at the nodes.
double Cubic(double x, double y) { return x * x * x - 2 * y * y * y + x * y * y + x * y + 1; }
double MinusLaplaceCubic(double x, double y) { return -(6 * x + 2 * x - 12 * y); }

const double kPi = 3.141592653589793;

// The iterative solvers also take an initial guess; none is given here.
template <typename Solver>
int SolveLinear(Solver& s, const std::vector<double>& b, std::vector<double>* x) {
    if constexpr (std::is_same_v<Solver, ORVO::LinearSparseCGSolver> ||
                  std::is_same_v<Solver, ORVO::LeastSquareSparseCGSolver>)
        return s.Solve(b, x, nullptr);
    else
        return s.Solve(b, x);
}

// --- SparseMatrix ---------------------------------------------------------

TEST(SparseMatrix, DuplicateTripletsAreSummedInInsertionOrder) {
    SparseMatrix m(3, 3);
    EXPECT_TRUE(m.AddTriplet(1, 2, 1.5));
    EXPECT_TRUE(m.AddTriplet(1, 2, 2.5));
    EXPECT_EQ(m.GetValue(1, 2), 0.0);  // pending triplets are invisible until built
    EXPECT_TRUE(m.BuildFromTriplets());
    EXPECT_EQ(m.GetValue(1, 2), 4.0);
    EXPECT_EQ(m.GetValue(2, 1), 0.0);
    // Floating-point addition is not associative: the ulp of 1e16 is 2, so
    // 1e16 + 0.75 rounds back to 1e16 while 1.5 + 1e16 rounds up to 1e16 + 2.
    auto sum = [](const std::vector<Entry>& e) { return MakeSparse(1, 1, e).GetValue(0, 0); };
    EXPECT_EQ(sum({{0, 0, 1e16}, {0, 0, 0.75}, {0, 0, 0.75}, {0, 0, -1e16}}), 0.0);
    EXPECT_EQ(sum({{0, 0, 0.75}, {0, 0, 0.75}, {0, 0, 1e16}, {0, 0, -1e16}}), 2.0);
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
    EXPECT_EQ(m.GetValue(0, 1), 0.0);
    // New triplets start from an empty list, not from the consumed ones.
    m.AddTriplet(1, 0, 3.0);
    m.BuildFromTriplets();
    EXPECT_EQ(m.GetValue(1, 0), 3.0);
    EXPECT_EQ(m.GetImpl()->mMatrix.nonZeros(), 1);
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

TEST(SparseMatrix, InitAndListConstructorLeaveNothingPending) {
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

    const std::vector<ORVO::Triplet> list = {{0, 1, 2.0}, {2, 0, -1.0}, {0, 1, 0.5}};
    const SparseMatrix fromList(3, 2, list);
    EXPECT_EQ(fromList.GetValue(0, 1), 2.5);
    EXPECT_EQ(fromList.GetValue(2, 0), -1.0);
    EXPECT_EQ(fromList.GetValue(1, 1), 0.0);
    EXPECT_TRUE(fromList.GetImpl()->mTriplets.empty());
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
    const SparseMatrix copyOfNone(c);
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

TEST(SparseMatrix, EntriesTransposeProductsAndSumsMatchDenseArithmetic) {
    // Many rows per column exercise GetValue's search inside a column.
    const std::vector<Entry> tall = RandomEntries(40, 6, 150, 11);
    ExpectMatches(MakeSparse(40, 6, tall), MakeDense(40, 6, tall), 1e-15);

    const std::vector<Entry> ea = RandomEntries(5, 4, 12, 1);
    const std::vector<Entry> eb = RandomEntries(4, 6, 12, 2);
    const std::vector<Entry> ec = RandomEntries(5, 4, 9, 3);
    const SparseMatrix a = MakeSparse(5, 4, ea), b = MakeSparse(4, 6, eb), c = MakeSparse(5, 4, ec);
    const Dense da = MakeDense(5, 4, ea), db = MakeDense(4, 6, eb), dc = MakeDense(5, 4, ec);
    const std::vector<double> v = {0.5, -1.0, 2.0, 3.0};

    Dense dt(4, std::vector<double>(5)), dp(5, std::vector<double>(6, 0.0)), ds = da, dd = da;
    std::vector<double> dv(5, 0.0);
    for (int i = 0; i < 5; ++i)
        for (int j = 0; j < 4; ++j) {
            dt[j][i] = da[i][j];
            ds[i][j] += dc[i][j];
            dd[i][j] -= dc[i][j];
            dv[i] += da[i][j] * v[j];
            for (int k = 0; k < 6; ++k) dp[i][k] += da[i][j] * db[j][k];
        }
    ExpectMatches(a.Transpose(), dt, 0.0);
    ExpectMatches(a * b, dp, 1e-14);
    ExpectMatches(a + c, ds, 1e-15);
    ExpectMatches(a - c, dd, 1e-15);
    SparseMatrix acc = a;
    acc += c;
    ExpectMatches(acc, ds, 1e-15);
    acc -= c;
    acc -= c;
    ExpectMatches(acc, dd, 1e-14);
    EXPECT_LT(MaxError(a * v, dv), 1e-14);
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
    // Every rejection was reported; one line of each kind is checked word for word.
    const std::string log = ReadFile("test_sparse_ops.txt");
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 7) << log;
    EXPECT_NE(log.find("Error: mpImpl is NULL when SparseMatrix::operator+\n"), std::string::npos);
    EXPECT_NE(log.find("Error: size mismatch in SparseMatrix::operator-: 2x3 and 3x2\n"),
              std::string::npos);
    EXPECT_NE(log.find("Error: size mismatch in SparseMatrix::operator*: 2x3 and vector 2\n"),
              std::string::npos);
}

TEST(SparseMatrix, SetValueEditsAndEveryConsumerCopes) {
    // SetValue may leave the storage uncompressed; every consumer must cope.
    SparseMatrix m(3, 3);
    m.AddTriplet(0, 0, 1.0);
    m.BuildFromTriplets();
    m.SetValue(0, 0, 2.0);  // present: overwritten
    m.SetValue(2, 1, 3.0);  // absent: inserted
    m.SetValue(1, 1, 1.0);
    m.SetValue(2, 2, 4.0);
    EXPECT_EQ(m.GetImpl()->mMatrix.nonZeros(), 4);
    ExpectMatches(m, {{2, 0, 0}, {0, 1, 0}, {0, 3, 4}}, 0.0);
    ExpectMatches(m.Transpose(), {{2, 0, 0}, {0, 1, 3}, {0, 0, 4}}, 0.0);
    ExpectMatches(m * m, {{4, 0, 0}, {0, 1, 0}, {0, 15, 16}}, 0.0);

    ORVO::LinearSparseLUSolver lu;
    ASSERT_EQ(lu.Factorize(m), ORVO::STATUS_SUCCESS);
    std::vector<double> x;
    ASSERT_EQ(lu.Solve({2.0, 1.0, 7.0}, &x), ORVO::STATUS_SUCCESS);
    EXPECT_LT(MaxError(x, {1.0, 1.0, 1.0}), 1e-15);
}

TEST(SparseMatrix, ImageLinesForTheLog) {
    const SparseMatrix m = MakeSparse(2, 3, {{0, 0, 1.5}, {1, 2, -2.0}});
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

template <typename Solver>
void CheckLifecycle(const char* name) {
    SCOPED_TRACE(name);
    const SparseMatrix a = MakeSparse(
        3, 3, {{0, 0, 4}, {0, 1, 1}, {1, 0, 1}, {1, 1, 3}, {2, 2, 2}, {1, 2, -1}, {2, 1, -1}});
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
    CheckLifecycle<ORVO::LinearSparseLUSolver>("LU");
    CheckLifecycle<ORVO::LinearSparseLLTSolver>("LLT");
    CheckLifecycle<ORVO::LinearSparseCGSolver>("CG");
    CheckLifecycle<ORVO::LeastSquareSparseLLTSolver>("least squares LLT");
    CheckLifecycle<ORVO::LeastSquareSparseCGSolver>("least squares CG");
}

TEST(SparseSolvers, IndefiniteNonSquareAndSingularMatricesFailFactorisation) {
    // Eigenvalues 3 and -1: no Cholesky factor.
    const SparseMatrix a = MakeSparse(2, 2, {{0, 0, 1}, {0, 1, 2}, {1, 0, 2}, {1, 1, 1}});
    ORVO::LinearSparseLLTSolver llt;
    EXPECT_EQ(llt.Factorize(a), ORVO::STATUS_FAILED);
    std::vector<double> x = {3.0};
    EXPECT_EQ(llt.Solve({1.0, 1.0}, &x), ORVO::STATUS_NOT_INITIALISED);
    EXPECT_EQ(x, std::vector<double>{3.0});

    // The linear solvers take square matrices only.
    const SparseMatrix nonSquare = MakeSparse(3, 2, {{0, 0, 1}, {1, 1, 1}, {2, 0, 1}});
    ORVO::LinearSparseLUSolver lu;
    ORVO::LinearSparseCGSolver cg;
    EXPECT_EQ(lu.Factorize(nonSquare), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(llt.Factorize(nonSquare), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(cg.Factorize(nonSquare), ORVO::STATUS_INVALID_INPUT);
    // Column 1 is empty: structurally singular.
    const SparseMatrix empty = MakeSparse(3, 3, {{0, 0, 1}, {1, 0, 1}, {2, 2, 1}});
    EXPECT_EQ(lu.Factorize(empty), ORVO::STATUS_FAILED);
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
    const std::vector<double> b = {1.0, kInf, 2.0};
    // The copy into x stops at the first non-finite entry and zero-fills the rest;
    // a direct solver has the entries before it exactly.
    auto check = [&](auto&& solver, bool direct) {
        std::vector<double> x = {9.0};
        ASSERT_EQ(solver.Factorize(identity), ORVO::STATUS_SUCCESS);
        EXPECT_EQ(SolveLinear(solver, b, &x), ORVO::STATUS_FAILED);
        ASSERT_EQ(x.size(), 3u);
        EXPECT_TRUE(direct ? x[0] == 1.0 : std::isfinite(x[0])) << x[0];
        EXPECT_EQ(x[1], 0.0);
        EXPECT_EQ(x[2], 0.0);
    };
    check(ORVO::LinearSparseLUSolver(), true);
    check(ORVO::LinearSparseLLTSolver(), true);
    check(ORVO::LinearSparseCGSolver(), false);
    check(ORVO::LeastSquareSparseLLTSolver(), true);

    // A NaN in the matrix itself: Cholesky takes it as a pivot and the solution
    // of its row is NaN.
    const SparseMatrix nanDiag =
        MakeSparse(3, 3, {{0, 0, 2}, {1, 1, 4}, {2, 2, std::numeric_limits<double>::quiet_NaN()}});
    ORVO::LinearSparseLLTSolver llt;
    std::vector<double> x;
    ASSERT_EQ(llt.Factorize(nanDiag), ORVO::STATUS_SUCCESS);
    EXPECT_EQ(llt.Solve({2.0, 2.0, 1.0}, &x), ORVO::STATUS_FAILED);
    ASSERT_EQ(x.size(), 3u);
    EXPECT_LT(MaxError(x, {1.0, 0.5, 0.0}), 1e-15);
    EXPECT_EQ(x[2], 0.0);
}

// --- Solvers on a 2-D Poisson problem -------------------------------------

TEST(SparseSolvers, PoissonCubicIsReproducedExactly) {
    // 3969 unknowns: enough for fill-in and iteration counts to matter.
    const Poisson p = MakePoisson(63, Cubic, MinusLaplaceCubic);
    auto check = [&p](auto&& solver, double tol) {
        std::vector<double> x;
        ASSERT_EQ(solver.Factorize(p.a), ORVO::STATUS_SUCCESS);
        ASSERT_EQ(SolveLinear(solver, p.b, &x), ORVO::STATUS_SUCCESS);
        EXPECT_LT(MaxError(x, p.exact), tol);
    };
    check(ORVO::LinearSparseLUSolver(), 1e-12);
    check(ORVO::LinearSparseLLTSolver(), 1e-12);
    check(ORVO::LinearSparseCGSolver(), 1e-10);
}

// Two right-hand sides solved in one pass give, to the bit, what the single
// solver gives for each: with a fill-reducing permutation at work, and with a
// right-hand side whose leading entries are zero (the single solve skips
// those columns).
TEST(SparseSolvers, PairedCholeskySolvesMatchTheSingleSolves) {
    const Poisson p = MakePoisson(40, Cubic, MinusLaplaceCubic);
    std::vector<double> second(p.b.size(), 0.0);
    std::mt19937 rng(7u);
    std::uniform_real_distribution<double> value(-3.0, 3.0);
    for (size_t i = p.b.size() / 3; i < p.b.size(); ++i) second[i] = value(rng);
    ORVO::LinearSparseLLTSolver single;
    ORVO::CholeskyPair pair;
    ASSERT_EQ(single.Factorize(p.a), ORVO::STATUS_SUCCESS);
    ASSERT_EQ(pair.Factorize(p.a), ORVO::STATUS_SUCCESS);
    std::vector<double> x1, x2, y1, y2;
    ASSERT_EQ(single.Solve(p.b, &x1), ORVO::STATUS_SUCCESS);
    ASSERT_EQ(single.Solve(second, &x2), ORVO::STATUS_SUCCESS);
    ASSERT_EQ(pair.Solve(p.b, second, y1, y2), ORVO::STATUS_SUCCESS);
    EXPECT_EQ(y1, x1);
    EXPECT_EQ(y2, x2);
    EXPECT_LT(MaxError(y1, p.exact), 1e-12);
    // Again with the sides swapped: no state of one solve leaks into the next.
    ASSERT_EQ(pair.Solve(second, p.b, y2, y1), ORVO::STATUS_SUCCESS);
    EXPECT_EQ(y1, x1);
    EXPECT_EQ(y2, x2);
}

TEST(SparseSolvers, PairedCholeskyRefusesWhatTheSingleSolverRefuses) {
    ORVO::CholeskyPair pair;
    std::vector<double> b(3, 1.0), x1, x2;
    EXPECT_EQ(pair.Solve(b, b, x1, x2), ORVO::STATUS_NOT_INITIALISED);
    EXPECT_EQ(pair.Factorize(SparseMatrix()), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(pair.Factorize(MakeSparse(2, 3, {{0, 0, 1.0}, {1, 1, 1.0}})), ORVO::STATUS_INVALID_INPUT);
    // Indefinite: a negative pivot.
    EXPECT_EQ(pair.Factorize(MakeSparse(2, 2, {{0, 0, 1.0}, {1, 1, -1.0}})), ORVO::STATUS_FAILED);
    EXPECT_EQ(pair.Solve(b, b, x1, x2), ORVO::STATUS_NOT_INITIALISED);
    const SparseMatrix diagonal = MakeSparse(3, 3, {{0, 0, 2.0}, {1, 1, 2.0}, {2, 2, 2.0}});
    ASSERT_EQ(pair.Factorize(diagonal), ORVO::STATUS_SUCCESS);
    EXPECT_EQ(pair.Solve(b, std::vector<double>(2, 1.0), x1, x2), ORVO::STATUS_INVALID_INPUT);
    // A result that is not finite fails; both results are written, so the
    // caller can tell which side it was.
    std::vector<double> bad = b;
    bad[1] = kInf;
    EXPECT_EQ(pair.Solve(b, bad, x1, x2), ORVO::STATUS_FAILED);
    ORVO::LinearSparseLLTSolver single;
    std::vector<double> expected;
    ASSERT_EQ(single.Factorize(diagonal), ORVO::STATUS_SUCCESS);
    ASSERT_EQ(single.Solve(b, &expected), ORVO::STATUS_SUCCESS);
    EXPECT_EQ(x1, expected);
    EXPECT_FALSE(std::isfinite(x2[1]));
}

// --- Conjugate gradient settings ------------------------------------------

TEST(SparseSolvers, IterationLimitAndToleranceActOnlyAfterFactorize) {
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
    EXPECT_GT(RelativeResidual(p.a, x, p.b), 1e-3);

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

    // A looser tolerance stops the iteration early, at that residual.
    early.SetConvergentTolerance(1e-4);
    ASSERT_EQ(early.Solve(p.b, &x, nullptr), 0);
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
    EXPECT_LT(MaxError(x, {0.25, 0.25}), 1e-15);
}

// --- Least squares --------------------------------------------------------

TEST(LeastSquares, SmoothingFitSolvesTheNormalEquations) {
    // n rough samples d_i fitted by u with a periodic smoothness term: n data
    // rows u_i = d_i and n rows w (u_{i+1} - u_i) = 0, a 2n x n system.
    const int n = 30;
    const double w = 0.7;
    std::vector<Entry> entries;
    std::vector<double> b(2 * n, 0.0);
    for (int i = 0; i < n; ++i) {
        entries.push_back({i, i, 1.0});
        b[i] = std::sin(2 * kPi * i / n) + 0.1 * std::cos(7.0 * i);
        entries.push_back({n + i, (i + 1) % n, w});
        entries.push_back({n + i, i, -w});
    }
    const SparseMatrix a = MakeSparse(2 * n, n, entries);

    std::vector<double> x, xCg;
    ORVO::LeastSquareSparseLLTSolver llt;
    ASSERT_EQ(llt.Factorize(a), 0);
    ASSERT_EQ(llt.Solve(b, &x), 0);
    ASSERT_EQ(x.size(), size_t(n));
    EXPECT_LT(NormalResidual(a, x, b), 1e-12);
    ORVO::LeastSquareSparseCGSolver cg;
    ASSERT_EQ(cg.Factorize(a), 0);
    ASSERT_EQ(cg.Solve(b, &xCg, nullptr), 0);
    EXPECT_LT(MaxError(xCg, x), 1e-10);
}

TEST(LeastSquares, RandomOverdeterminedSystemAndCGSettings) {
    const int m = 14, n = 5;
    std::vector<Entry> entries = RandomEntries(m, n, 30, 21);
    for (int j = 0; j < n; ++j) entries.push_back({j, j, 3.0});  // full column rank
    std::vector<double> b(m);
    for (int i = 0; i < m; ++i) b[i] = std::cos(1.0 + i);
    const SparseMatrix a = MakeSparse(m, n, entries);

    std::vector<double> expected, x;
    ORVO::LeastSquareSparseLLTSolver llt;
    ASSERT_EQ(llt.Factorize(a), 0);
    ASSERT_EQ(llt.Solve(b, &expected), 0);
    ASSERT_EQ(expected.size(), size_t(n));
    EXPECT_LT(NormalResidual(a, expected, b), 1e-12);  // residual orthogonal to A's columns
    EXPECT_EQ(llt.Solve(std::vector<double>(n, 1.0), &x), ORVO::STATUS_INVALID_INPUT);

    ORVO::LeastSquareSparseCGSolver cg;
    cg.SetMaxIteration(1);  // before Factorize: ignored
    ASSERT_EQ(cg.Factorize(a), 0);
    ASSERT_EQ(cg.Solve(b, &x, nullptr), 0);
    EXPECT_LT(MaxError(x, expected), 1e-10);
    cg.SetMaxIteration(1);
    ASSERT_EQ(cg.Solve(b, &x, nullptr), 0);
    ASSERT_EQ(x.size(), size_t(n));
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
    EXPECT_LT(MaxError(x, {2.0, 4.0}), 1e-14);
    ASSERT_EQ(cg.Solve(b, &x, nullptr), 0);
    EXPECT_LT(MaxError(x, {2.0, 4.0}), 1e-14);
}

}  // namespace

namespace {

// The complex system as the real one it stands for: rows (Re, Im) and unknowns (u, v).
TEST(ComplexLeastSquares, MatchesTheRealSystemItStandsFor) {
    std::mt19937 rng(12);
    std::uniform_real_distribution<double> uni(-1, 1);
    const int rows = 40, cols = 15;
    ORVO::ComplexLeastSquares complexSystem;
    ORVO::SparseMatrix real(2 * rows, 2 * cols);
    std::vector<double> rRe(rows), rIm(rows), rhs(2 * rows);
    for (int i = 0; i < rows; ++i) {
        // Three entries per row, one of them on a repeated column to test summing.
        for (int k = 0; k < 3; ++k) {
            const int c = (i + 5 * k) % cols;
            const double a = uni(rng), b = uni(rng);
            complexSystem.Add(i, c, a, b);
            real.AddTriplet(i, c, a);
            real.AddTriplet(i, cols + c, -b);
            real.AddTriplet(rows + i, c, b);
            real.AddTriplet(rows + i, cols + c, a);
        }
        rRe[i] = rhs[i] = uni(rng);
        rIm[i] = rhs[rows + i] = uni(rng);
    }
    ASSERT_TRUE(real.BuildFromTriplets());
    std::vector<double> zRe, zIm, x;
    EXPECT_EQ(complexSystem.Solve(rRe, rIm, zRe, zIm), ORVO::STATUS_NOT_INITIALISED);
    ASSERT_EQ(complexSystem.Factorize(rows, cols), ORVO::STATUS_SUCCESS);
    ASSERT_EQ(complexSystem.Solve(rRe, rIm, zRe, zIm), ORVO::STATUS_SUCCESS);
    ORVO::LeastSquareSparseLLTSolver solver;
    ASSERT_EQ(solver.Factorize(real), ORVO::STATUS_SUCCESS);
    ASSERT_EQ(solver.Solve(rhs, &x), ORVO::STATUS_SUCCESS);
    ASSERT_EQ(zRe.size(), static_cast<size_t>(cols));
    for (int c = 0; c < cols; ++c) {
        EXPECT_NEAR(zRe[c], x[c], 1e-9);
        EXPECT_NEAR(zIm[c], x[cols + c], 1e-9);
    }
    const std::vector<double> shortRhs(rows - 1, 0.0);
    EXPECT_EQ(complexSystem.Solve(shortRhs, shortRhs, zRe, zIm), ORVO::STATUS_INVALID_INPUT);
}

TEST(ComplexLeastSquares, RankDeficientOrMisshapenSystemsAreRefused) {
    ORVO::ComplexLeastSquares noColumnUsed;
    noColumnUsed.Add(0, 0, 1, 0);
    EXPECT_EQ(noColumnUsed.Factorize(1, 2), ORVO::STATUS_FAILED);  // column 1 is free
    ORVO::ComplexLeastSquares outside;
    outside.Add(0, 3, 1, 0);
    EXPECT_EQ(outside.Factorize(1, 2), ORVO::STATUS_INVALID_INPUT);
    ORVO::ComplexLeastSquares empty;
    EXPECT_EQ(empty.Factorize(0, 0), ORVO::STATUS_INVALID_INPUT);
}

}  // namespace
