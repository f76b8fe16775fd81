#include "numerics/ComplexLeastSquares.h"

#include <QarnUVAtlas/Foundation.h>

#include "foundation/LogLine.h"

#include <Eigen/SparseCholesky>
#include <Eigen/SparseCore>

#include <complex>
#include <new>

namespace ORVO {

using Complex = std::complex<double>;
using ComplexMatrix = Eigen::SparseMatrix<Complex, Eigen::ColMajor, int>;

struct ComplexLeastSquaresImpl {
    std::vector<Eigen::Triplet<Complex, int>> entries;
    ComplexMatrix adjoint;  // A^H, for the right-hand sides
    Eigen::SimplicialLLT<ComplexMatrix> llt;
    bool factored = false;
};

ComplexLeastSquares::ComplexLeastSquares() : mImpl(std::make_unique<ComplexLeastSquaresImpl>()) {}
ComplexLeastSquares::~ComplexLeastSquares() = default;

void ComplexLeastSquares::Reserve(size_t entries) { mImpl->entries.reserve(entries); }

void ComplexLeastSquares::Add(int row, int col, double re, double im) {
    mImpl->entries.emplace_back(row, col, Complex(re, im));
}

int ComplexLeastSquares::Factorize(int rows, int cols) {
    ComplexLeastSquaresImpl& m = *mImpl;
    m.factored = false;
    if (rows < 1 || cols < 1) {
        _LogFailure("ComplexLeastSquares::Factorize: invalid matrix size: ", rows, "x", cols);
        return STATUS_INVALID_INPUT;
    }
    for (const auto& e : m.entries)
        if (e.row() < 0 || e.row() >= rows || e.col() < 0 || e.col() >= cols) {
            _LogFailure("ComplexLeastSquares::Factorize: entry outside the matrix: ", e.row(), ",", e.col());
            return STATUS_INVALID_INPUT;
        }
    try {
        ComplexMatrix a(rows, cols);
        a.setFromTriplets(m.entries.begin(), m.entries.end());
        std::vector<Eigen::Triplet<Complex, int>>().swap(m.entries);
        m.adjoint = a.adjoint();
        const ComplexMatrix normal = m.adjoint * a;
        m.llt.compute(normal);
        if (m.llt.info() != Eigen::Success) return STATUS_FAILED;
    } catch (const std::bad_alloc&) {
        _LogFailure("ComplexLeastSquares::Factorize: out of memory");
        return STATUS_FAILED;
    }
    m.factored = true;
    return STATUS_SUCCESS;
}

int ComplexLeastSquares::Solve(const std::vector<double>& rRe, const std::vector<double>& rIm,
                               std::vector<double>& zRe, std::vector<double>& zIm) const {
    const ComplexLeastSquaresImpl& m = *mImpl;
    if (!m.factored) return STATUS_NOT_INITIALISED;
    const size_t rows = static_cast<size_t>(m.adjoint.cols()), cols = static_cast<size_t>(m.adjoint.rows());
    if (rRe.size() != rows || rIm.size() != rows) {
        _LogFailure("ComplexLeastSquares::Solve: right-hand side of length ", rRe.size(), ", expected ", rows);
        return STATUS_INVALID_INPUT;
    }
    try {
        Eigen::VectorXcd r(rows);
        for (size_t i = 0; i < rows; ++i) r[i] = Complex(rRe[i], rIm[i]);
        const Eigen::VectorXcd rhs = m.adjoint * r;
        const Eigen::VectorXcd z = m.llt.solve(rhs);
        zRe.resize(cols);
        zIm.resize(cols);
        for (size_t i = 0; i < cols; ++i) {
            zRe[i] = z[i].real();
            zIm[i] = z[i].imag();
        }
    } catch (const std::bad_alloc&) {
        _LogFailure("ComplexLeastSquares::Solve: out of memory");
        return STATUS_FAILED;
    }
    return STATUS_SUCCESS;
}

}  // namespace ORVO
