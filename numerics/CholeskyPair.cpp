#include "numerics/CholeskyPair.h"

#include <QarnUVAtlas/Foundation.h>

#include "foundation/LogLine.h"
#include "numerics/SparseMatrixImpl.h"

#include <Eigen/SparseCholesky>

#include <cmath>
#include <type_traits>
#include <new>

namespace ORVO {

struct CholeskyPair::Impl {
    Eigen::SimplicialLLT<EigenSparseMatrix> llt;  // lower triangle, AMD ordering
    std::vector<double> work;                     // both systems, interleaved
};

CholeskyPair::CholeskyPair() = default;
CholeskyPair::~CholeskyPair() = default;

int CholeskyPair::Factorize(const SparseMatrix& A) {
    mImpl.reset();
    const SparseMatrixImpl* impl = A.GetImpl();
    if (!impl || impl->mMatrix.rows() == 0 || impl->mMatrix.rows() != impl->mMatrix.cols()) {
        _LogFailure("CholeskyPair::Factorize: input matrix is not initialized or not square");
        return STATUS_INVALID_INPUT;
    }
    try {
        auto fresh = std::make_unique<Impl>();
        fresh->llt.compute(impl->mMatrix);
        if (fresh->llt.info() != Eigen::Success) return STATUS_FAILED;
        fresh->work.resize(2 * static_cast<size_t>(impl->mMatrix.rows()));
        mImpl = std::move(fresh);
    } catch (const std::bad_alloc&) {
        _LogFailure("CholeskyPair::Factorize: out of memory");
        return STATUS_FAILED;
    }
    return STATUS_SUCCESS;
}

int CholeskyPair::Solve(const std::vector<double>& b1, const std::vector<double>& b2, std::vector<double>& x1,
                        std::vector<double>& x2) {
    if (!mImpl) return STATUS_NOT_INITIALISED;
    const auto& llt = mImpl->llt;
    const Eigen::Index n = llt.rows();
    if (static_cast<Eigen::Index>(b1.size()) != n || static_cast<Eigen::Index>(b2.size()) != n) {
        _LogFailure("CholeskyPair::Solve: right-hand side size mismatch: ", b1.size(), " ", b2.size(), " expected: ", n);
        return STATUS_INVALID_INPUT;
    }
    // P b, then L y = P b, then L^T z = y, then P^-1 z: the steps and the order
    // of every operation of the library's own solve, on both systems in one
    // pass (a right-hand side entry that is exactly zero skips its column
    // there too).
    std::vector<double>& w = mImpl->work;
    const auto& p = llt.permutationP().indices();
    for (Eigen::Index i = 0; i < n; ++i) {
        const Eigen::Index to = p.size() > 0 ? p[i] : i;
        w[2 * to] = b1[i];
        w[2 * to + 1] = b2[i];
    }
    const auto& L = llt.matrixL().nestedExpression();
    using Entry = std::decay_t<decltype(L)>::InnerIterator;
    if (L.nonZeros() > 0) {
        for (Eigen::Index i = 0; i < n; ++i) {
            double& a = w[2 * i];
            double& b = w[2 * i + 1];
            const bool useA = a != 0.0, useB = b != 0.0;
            if (!useA && !useB) continue;
            Entry it(L, i);
            while (it && it.index() < i) ++it;
            if (useA) a /= it.value();
            if (useB) b /= it.value();
            ++it;
            if (useA && useB) {
                for (; it; ++it) {
                    w[2 * it.index()] -= a * it.value();
                    w[2 * it.index() + 1] -= b * it.value();
                }
            } else if (useA) {
                for (; it; ++it) w[2 * it.index()] -= a * it.value();
            } else {
                for (; it; ++it) w[2 * it.index() + 1] -= b * it.value();
            }
        }
        for (Eigen::Index i = n - 1; i >= 0; --i) {
            Entry it(L, i);
            while (it && it.index() < i) ++it;
            const double diagonal = it.value();
            ++it;
            double a = w[2 * i], b = w[2 * i + 1];
            for (; it; ++it) {
                a -= it.value() * w[2 * it.index()];
                b -= it.value() * w[2 * it.index() + 1];
            }
            w[2 * i] = a / diagonal;
            w[2 * i + 1] = b / diagonal;
        }
    }
    const auto& q = llt.permutationPinv().indices();
    x1.assign(static_cast<size_t>(n), 0.0);
    x2.assign(static_cast<size_t>(n), 0.0);
    for (Eigen::Index i = 0; i < n; ++i) {
        const Eigen::Index to = q.size() > 0 ? q[i] : i;
        x1[to] = w[2 * i];
        x2[to] = w[2 * i + 1];
    }
    for (Eigen::Index i = 0; i < n; ++i)
        if (!std::isfinite(x1[i]) || !std::isfinite(x2[i])) return STATUS_FAILED;
    return STATUS_SUCCESS;
}

}  // namespace ORVO
