#pragma once
// Sparse linear and least-squares solvers: factorise a SparseMatrix once, then
// solve for any number of right-hand sides. Use: Factorize, (for the iterative
// solvers) SetMaxIteration / SetConvergentTolerance, Solve as often as needed,
// then Free or destroy. Status codes as in Foundation.h.

#include <QarnUVAtlas/Export.h>
#include <QarnUVAtlas/SparseMatrix.h>

#include <memory>
#include <vector>

namespace ORVO {

// Factorisations and solver state; defined in the library's numerics sources.
struct LinearSparseLUSolverImpl;
struct LinearSparseLLTSolverImpl;
struct LinearSparseCGSolverImpl;
struct LeastSquareSparseLLTSolverImpl;
struct LeastSquareSparseCGSolverImpl;

// Sparse LU with fill-reducing column ordering: A x = b for a general square A.
class ORVO_API LinearSparseLUSolver {
public:
    LinearSparseLUSolver();
    ~LinearSparseLUSolver();
    LinearSparseLUSolver(const LinearSparseLUSolver&) = delete;
    LinearSparseLUSolver& operator=(const LinearSparseLUSolver&) = delete;

    // Drops any earlier factorisation and factorises A. Returns 0; -3 when the
    // factorisation fails (singular A); -2 when A is not initialised or not square.
    int Factorize(const SparseMatrix& A);
    // Solves A x = b into *x (resized to b's length). Returns 0; -5 when x is null
    // or nothing is factorised (x untouched); -2 when b's length is wrong; -3 at
    // the first non-finite entry (x keeps the entries before it, zeros after).
    int Solve(const std::vector<double>& b, std::vector<double>* x);
    // Releases the factorisation; Factorize may be called again.
    void Free();

private:
    std::unique_ptr<LinearSparseLUSolverImpl> mpImpl;
};

// Sparse Cholesky (L L^T): A x = b for a symmetric positive definite A. Only the
// lower triangle of A is read.
class ORVO_API LinearSparseLLTSolver {
public:
    LinearSparseLLTSolver();
    ~LinearSparseLLTSolver();
    LinearSparseLLTSolver(const LinearSparseLLTSolver&) = delete;
    LinearSparseLLTSolver& operator=(const LinearSparseLLTSolver&) = delete;

    // Drops any earlier factorisation and factorises A. Returns 0; -3 on a
    // non-positive pivot (A not positive definite); -2 when A is not initialised
    // or not square.
    int Factorize(const SparseMatrix& A);
    // As LinearSparseLUSolver::Solve.
    int Solve(const std::vector<double>& b, std::vector<double>* x);
    // Releases the factorisation; Factorize may be called again.
    void Free();

private:
    std::unique_ptr<LinearSparseLLTSolverImpl> mpImpl;
};

// Jacobi-preconditioned conjugate gradients: A x = b for a symmetric positive
// definite A. Keeps a reference to the caller's matrix, which must outlive the
// solves and stay unchanged between Factorize and Solve.
class ORVO_API LinearSparseCGSolver {
public:
    LinearSparseCGSolver();
    ~LinearSparseCGSolver();
    LinearSparseCGSolver(const LinearSparseCGSolver&) = delete;
    LinearSparseCGSolver& operator=(const LinearSparseCGSolver&) = delete;

    // Computes the preconditioner and resets the iteration limit (-1: twice the
    // unknowns) and tolerance (2^-52). Returns 0; -2 when A is not initialised or
    // not square.
    int Factorize(const SparseMatrix& A);
    // Iterates from *initialGuess (or from zero when null) until the relative
    // residual |Ax-b|/|b| meets the tolerance or the limit is reached (not an
    // error). Returns as LinearSparseLUSolver::Solve; -2 also for a guess of the
    // wrong length.
    int Solve(const std::vector<double>& b, std::vector<double>* x,
              const std::vector<double>* initialGuess);
    // Limit and tolerance of the current factorisation only: ignored before the
    // first Factorize, reset by every Factorize.
    void SetMaxIteration(int maxIteration);
    void SetConvergentTolerance(double tolerance);
    // Releases the solver state; Factorize may be called again.
    void Free();

private:
    std::unique_ptr<LinearSparseCGSolverImpl> mpImpl;
};

// Least squares min |A x - b|^2 through the normal equations A^T A x = A^T b,
// solved by sparse Cholesky. A has full column rank and any shape.
class ORVO_API LeastSquareSparseLLTSolver {
public:
    LeastSquareSparseLLTSolver();
    ~LeastSquareSparseLLTSolver();
    LeastSquareSparseLLTSolver(const LeastSquareSparseLLTSolver&) = delete;
    LeastSquareSparseLLTSolver& operator=(const LeastSquareSparseLLTSolver&) = delete;

    // Stores A^T and factorises A^T A. Returns 0; -3 when A^T A is not positive
    // definite (rank-deficient A); -2 when A is not initialised.
    int Factorize(const SparseMatrix& A);
    // b has one entry per row of A; *x gets one per column. Returns as
    // LinearSparseLUSolver::Solve.
    int Solve(const std::vector<double>& b, std::vector<double>* x);
    // Releases the stored matrices; Factorize may be called again.
    void Free();

private:
    std::unique_ptr<LeastSquareSparseLLTSolverImpl> mpImpl;
};

// Least squares through the normal equations, solved by Jacobi-preconditioned
// conjugate gradients on a stored A^T A. Owns copies of everything it needs.
class ORVO_API LeastSquareSparseCGSolver {
public:
    LeastSquareSparseCGSolver();
    ~LeastSquareSparseCGSolver();
    LeastSquareSparseCGSolver(const LeastSquareSparseCGSolver&) = delete;
    LeastSquareSparseCGSolver& operator=(const LeastSquareSparseCGSolver&) = delete;

    // Stores A^T and A^T A, computes the preconditioner and resets the iteration
    // settings as LinearSparseCGSolver::Factorize. Returns 0; -2 when A is not
    // initialised.
    int Factorize(const SparseMatrix& A);
    // b has one entry per row of A, the guess and *x one per column. Returns as
    // LinearSparseCGSolver::Solve.
    int Solve(const std::vector<double>& b, std::vector<double>* x,
              const std::vector<double>* initialGuess);
    // As for LinearSparseCGSolver.
    void SetMaxIteration(int maxIteration);
    void SetConvergentTolerance(double tolerance);
    // Releases the stored matrices; Factorize may be called again.
    void Free();

private:
    std::unique_ptr<LeastSquareSparseCGSolverImpl> mpImpl;
};

}  // namespace ORVO
