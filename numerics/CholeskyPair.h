#pragma once
// A sparse Cholesky factorisation solved for two right-hand sides at once.
// Local/global iterations solve for u and v with the same factor: one pass
// over the factor serves both, and each result is the one a single solve
// would give, to the bit.

#include <QarnUVAtlas/SparseMatrix.h>

#include <memory>
#include <vector>

namespace ORVO {

class CholeskyPair {
public:
    CholeskyPair();
    ~CholeskyPair();
    CholeskyPair(const CholeskyPair&) = delete;
    CholeskyPair& operator=(const CholeskyPair&) = delete;

    // Factorises the symmetric positive definite A (its lower triangle is
    // read), with the fill-reducing ordering LinearSparseLLTSolver uses.
    // Returns STATUS_SUCCESS; STATUS_INVALID_INPUT when A is not initialised,
    // empty or not square; STATUS_FAILED on a non-positive pivot or when out
    // of memory (nothing is then factorised).
    int Factorize(const SparseMatrix& A);

    // x1 = A^-1 b1 and x2 = A^-1 b2, each as LinearSparseLLTSolver::Solve
    // gives it. Returns STATUS_SUCCESS; STATUS_NOT_INITIALISED before a
    // successful Factorize; STATUS_INVALID_INPUT when a right-hand side has
    // the wrong length; STATUS_FAILED when a result is not finite (both are
    // written, so the caller can tell which). Uses scratch space of the
    // object: one call at a time.
    int Solve(const std::vector<double>& b1, const std::vector<double>& b2, std::vector<double>& x1,
              std::vector<double>& x2);

private:
    struct Impl;
    std::unique_ptr<Impl> mImpl;
};

}  // namespace ORVO
