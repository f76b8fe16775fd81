#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/SparseSolver.h>

#include "foundation/LogLine.h"
#include "numerics/SparseMatrixImpl.h"

#include <Eigen/IterativeLinearSolvers>
#include <Eigen/SparseCholesky>
#include <Eigen/SparseLU>

#include <cmath>
#include <new>

namespace ORVO {

using EigenLU = Eigen::SparseLU<EigenSparseMatrix>;  // COLAMD column ordering
using EigenLLT = Eigen::SimplicialLLT<EigenSparseMatrix>;  // lower triangle, AMD ordering
using EigenCG = Eigen::ConjugateGradient<EigenSparseMatrix>;  // lower triangle, Jacobi

struct LinearSparseLUSolverImpl {
    EigenLU mLU;
};

struct LinearSparseLLTSolverImpl {
    EigenLLT mLLT;
};

struct LinearSparseCGSolverImpl {
    EigenCG mCG;  // refers to the caller's matrix
};

struct LeastSquareSparseLLTSolverImpl {
    EigenSparseMatrix mAt;
    EigenLLT mLLT;
};

struct LeastSquareSparseCGSolverImpl {
    EigenSparseMatrix mAt;
    EigenSparseMatrix mAtA;  // the CG object refers to this one
    EigenCG mCG;
};

namespace {

using ConstVectorMap = Eigen::Map<const Eigen::VectorXd>;

// The Eigen matrix of an initialised, non-empty matrix; null (with a log line)
// otherwise. `square` also requires rows == cols.
const EigenSparseMatrix* _CheckedInput(const SparseMatrix& A, bool square, const char* op) {
    const SparseMatrixImpl* impl = A.GetImpl();
    if (!impl) {
        _LogFailure(op, "::Factorize: input matrix is not initialized");
        return nullptr;
    }
    const EigenSparseMatrix& m = impl->mMatrix;
    if (m.rows() == 0 || m.cols() == 0 || (square && m.rows() != m.cols())) {
        _LogFailure(op, "::Factorize: invalid matrix size: ", m.rows(), "x", m.cols());
        return nullptr;
    }
    return &m;
}

// The column ordering of sparse LU reads the compressed arrays directly; a matrix
// left uncompressed by SetValue is compressed into `scratch` first.
const EigenSparseMatrix& _Compressed(const EigenSparseMatrix& m, EigenSparseMatrix& scratch) {
    if (m.isCompressed()) return m;
    scratch = m;
    scratch.makeCompressed();
    return scratch;
}

bool _CheckLength(size_t got, Eigen::Index expected, const char* op, const char* what) {
    if (static_cast<Eigen::Index>(got) == expected) return true;
    _LogFailure(op, "::Solve: ", what, " size mismatch: ", got, " expected: ", expected);
    return false;
}

// Clears *x, sizes it to the solution and copies entry by entry, stopping at the
// first entry that is not finite; the rest stays zero.
int _CopySolution(const Eigen::VectorXd& solution, std::vector<double>* x) {
    const Eigen::Index n = solution.size();
    x->assign(static_cast<size_t>(n), 0.0);
    double* out = x->data();
    for (Eigen::Index i = 0; i < n; ++i) {
        const double v = solution[i];
        if (!std::isfinite(v)) return STATUS_FAILED;
        out[i] = v;
    }
    return STATUS_SUCCESS;
}

// Shared solve of the iterative solvers on the (possibly normal-equation) rhs.
int _SolveCG(const EigenCG& cg, const Eigen::VectorXd& rhs, const std::vector<double>* guess,
             std::vector<double>* x) {
    Eigen::VectorXd solution;
    if (guess)
        solution = cg.solveWithGuess(rhs, ConstVectorMap(guess->data(), cg.cols()));
    else
        solution = cg.solve(rhs);
    return _CopySolution(solution, x);
}

}  // namespace

// ---------------------------------------------------------------- sparse LU

LinearSparseLUSolver::LinearSparseLUSolver() = default;
LinearSparseLUSolver::~LinearSparseLUSolver() = default;

int LinearSparseLUSolver::Factorize(const SparseMatrix& A) {
    mpImpl.reset();
    const EigenSparseMatrix* m = _CheckedInput(A, true, "LinearSparseLUSolver");
    if (!m) return STATUS_INVALID_INPUT;
    try {
        mpImpl = std::make_unique<LinearSparseLUSolverImpl>();
        EigenSparseMatrix scratch;
        mpImpl->mLU.compute(_Compressed(*m, scratch));
        if (mpImpl->mLU.info() != Eigen::Success) {
            mpImpl.reset();  // a failed factorisation cannot be solved with
            return STATUS_FAILED;
        }
    } catch (const std::bad_alloc&) {
        mpImpl.reset();
        _LogFailure("LinearSparseLUSolver::Factorize: out of memory");
        return STATUS_FAILED;
    }
    return STATUS_SUCCESS;
}

int LinearSparseLUSolver::Solve(const std::vector<double>& b, std::vector<double>* x) {
    if (!x || !mpImpl) return STATUS_NOT_INITIALISED;
    const EigenLU& lu = mpImpl->mLU;
    if (!_CheckLength(b.size(), lu.rows(), "LinearSparseLUSolver", "b")) return STATUS_INVALID_INPUT;
    try {
        const Eigen::VectorXd solution = lu.solve(ConstVectorMap(b.data(), lu.rows()));
        return _CopySolution(solution, x);
    } catch (const std::bad_alloc&) {
        _LogFailure("LinearSparseLUSolver::Solve: out of memory");
        return STATUS_FAILED;
    }
}

void LinearSparseLUSolver::Free() { mpImpl.reset(); }

// ---------------------------------------------------------- sparse Cholesky

LinearSparseLLTSolver::LinearSparseLLTSolver() = default;
LinearSparseLLTSolver::~LinearSparseLLTSolver() = default;

int LinearSparseLLTSolver::Factorize(const SparseMatrix& A) {
    mpImpl.reset();
    const EigenSparseMatrix* m = _CheckedInput(A, true, "LinearSparseLLTSolver");
    if (!m) return STATUS_INVALID_INPUT;
    try {
        mpImpl = std::make_unique<LinearSparseLLTSolverImpl>();
        mpImpl->mLLT.compute(*m);
        if (mpImpl->mLLT.info() != Eigen::Success) {
            mpImpl.reset();
            return STATUS_FAILED;
        }
    } catch (const std::bad_alloc&) {
        mpImpl.reset();
        _LogFailure("LinearSparseLLTSolver::Factorize: out of memory");
        return STATUS_FAILED;
    }
    return STATUS_SUCCESS;
}

int LinearSparseLLTSolver::Solve(const std::vector<double>& b, std::vector<double>* x) {
    if (!x || !mpImpl) return STATUS_NOT_INITIALISED;
    const EigenLLT& llt = mpImpl->mLLT;
    if (!_CheckLength(b.size(), llt.rows(), "LinearSparseLLTSolver", "b")) return STATUS_INVALID_INPUT;
    try {
        const Eigen::VectorXd solution = llt.solve(ConstVectorMap(b.data(), llt.rows()));
        return _CopySolution(solution, x);
    } catch (const std::bad_alloc&) {
        _LogFailure("LinearSparseLLTSolver::Solve: out of memory");
        return STATUS_FAILED;
    }
}

void LinearSparseLLTSolver::Free() { mpImpl.reset(); }

// ------------------------------------------------------ conjugate gradients

LinearSparseCGSolver::LinearSparseCGSolver() = default;
LinearSparseCGSolver::~LinearSparseCGSolver() = default;

int LinearSparseCGSolver::Factorize(const SparseMatrix& A) {
    mpImpl.reset();
    const EigenSparseMatrix* m = _CheckedInput(A, true, "LinearSparseCGSolver");
    if (!m) return STATUS_INVALID_INPUT;
    try {
        // A fresh object: iteration limit and tolerance start from the defaults.
        mpImpl = std::make_unique<LinearSparseCGSolverImpl>();
        mpImpl->mCG.compute(*m);
    } catch (const std::bad_alloc&) {
        mpImpl.reset();
        _LogFailure("LinearSparseCGSolver::Factorize: out of memory");
        return STATUS_FAILED;
    }
    return STATUS_SUCCESS;
}

int LinearSparseCGSolver::Solve(const std::vector<double>& b, std::vector<double>* x,
                                const std::vector<double>* initialGuess) {
    if (!x || !mpImpl) return STATUS_NOT_INITIALISED;
    const EigenCG& cg = mpImpl->mCG;
    if (!_CheckLength(b.size(), cg.rows(), "LinearSparseCGSolver", "b") ||
        (initialGuess &&
         !_CheckLength(initialGuess->size(), cg.cols(), "LinearSparseCGSolver", "initialGuess")))
        return STATUS_INVALID_INPUT;
    try {
        const Eigen::VectorXd rhs = ConstVectorMap(b.data(), cg.rows());
        return _SolveCG(cg, rhs, initialGuess, x);
    } catch (const std::bad_alloc&) {
        _LogFailure("LinearSparseCGSolver::Solve: out of memory");
        return STATUS_FAILED;
    }
}

void LinearSparseCGSolver::SetMaxIteration(int maxIteration) {
    if (mpImpl) mpImpl->mCG.setMaxIterations(maxIteration);
}

void LinearSparseCGSolver::SetConvergentTolerance(double tolerance) {
    if (mpImpl) mpImpl->mCG.setTolerance(tolerance);
}

void LinearSparseCGSolver::Free() { mpImpl.reset(); }

// ------------------------------------- least squares by sparse Cholesky

LeastSquareSparseLLTSolver::LeastSquareSparseLLTSolver() = default;
LeastSquareSparseLLTSolver::~LeastSquareSparseLLTSolver() = default;

int LeastSquareSparseLLTSolver::Factorize(const SparseMatrix& A) {
    mpImpl.reset();
    const EigenSparseMatrix* m = _CheckedInput(A, false, "LeastSquareSparseLLTSolver");
    if (!m) return STATUS_INVALID_INPUT;
    try {
        mpImpl = std::make_unique<LeastSquareSparseLLTSolverImpl>();
        mpImpl->mAt = m->transpose();
        const EigenSparseMatrix normal = mpImpl->mAt * (*m);
        mpImpl->mLLT.compute(normal);
        if (mpImpl->mLLT.info() != Eigen::Success) {
            mpImpl.reset();
            return STATUS_FAILED;
        }
    } catch (const std::bad_alloc&) {
        mpImpl.reset();
        _LogFailure("LeastSquareSparseLLTSolver::Factorize: out of memory");
        return STATUS_FAILED;
    }
    return STATUS_SUCCESS;
}

int LeastSquareSparseLLTSolver::Solve(const std::vector<double>& b, std::vector<double>* x) {
    if (!x || !mpImpl) return STATUS_NOT_INITIALISED;
    const EigenSparseMatrix& at = mpImpl->mAt;
    if (!_CheckLength(b.size(), at.cols(), "LeastSquareSparseLLTSolver", "b"))
        return STATUS_INVALID_INPUT;
    try {
        const Eigen::VectorXd rhs = at * ConstVectorMap(b.data(), at.cols());
        const Eigen::VectorXd solution = mpImpl->mLLT.solve(rhs);
        return _CopySolution(solution, x);
    } catch (const std::bad_alloc&) {
        _LogFailure("LeastSquareSparseLLTSolver::Solve: out of memory");
        return STATUS_FAILED;
    }
}

void LeastSquareSparseLLTSolver::Free() { mpImpl.reset(); }

// --------------------------------- least squares by conjugate gradients

LeastSquareSparseCGSolver::LeastSquareSparseCGSolver() = default;
LeastSquareSparseCGSolver::~LeastSquareSparseCGSolver() = default;

int LeastSquareSparseCGSolver::Factorize(const SparseMatrix& A) {
    mpImpl.reset();
    const EigenSparseMatrix* m = _CheckedInput(A, false, "LeastSquareSparseCGSolver");
    if (!m) return STATUS_INVALID_INPUT;
    try {
        mpImpl = std::make_unique<LeastSquareSparseCGSolverImpl>();
        mpImpl->mAt = m->transpose();
        mpImpl->mAtA = mpImpl->mAt * (*m);
        mpImpl->mCG.compute(mpImpl->mAtA);
    } catch (const std::bad_alloc&) {
        mpImpl.reset();
        _LogFailure("LeastSquareSparseCGSolver::Factorize: out of memory");
        return STATUS_FAILED;
    }
    return STATUS_SUCCESS;
}

int LeastSquareSparseCGSolver::Solve(const std::vector<double>& b, std::vector<double>* x,
                                     const std::vector<double>* initialGuess) {
    if (!x || !mpImpl) return STATUS_NOT_INITIALISED;
    const EigenSparseMatrix& at = mpImpl->mAt;
    if (!_CheckLength(b.size(), at.cols(), "LeastSquareSparseCGSolver", "b") ||
        (initialGuess && !_CheckLength(initialGuess->size(), at.rows(),
                                       "LeastSquareSparseCGSolver", "initialGuess")))
        return STATUS_INVALID_INPUT;
    try {
        const Eigen::VectorXd rhs = at * ConstVectorMap(b.data(), at.cols());
        return _SolveCG(mpImpl->mCG, rhs, initialGuess, x);
    } catch (const std::bad_alloc&) {
        _LogFailure("LeastSquareSparseCGSolver::Solve: out of memory");
        return STATUS_FAILED;
    }
}

void LeastSquareSparseCGSolver::SetMaxIteration(int maxIteration) {
    if (mpImpl) mpImpl->mCG.setMaxIterations(maxIteration);
}

void LeastSquareSparseCGSolver::SetConvergentTolerance(double tolerance) {
    if (mpImpl) mpImpl->mCG.setTolerance(tolerance);
}

void LeastSquareSparseCGSolver::Free() { mpImpl.reset(); }

}  // namespace ORVO
