#include <QarnUVAtlas/DenseMatrix.h>
#include <QarnUVAtlas/Foundation.h>

#include "foundation/LogLine.h"

#include <Eigen/Dense>

#include <new>

namespace ORVO {

int OrthgonalApproximation(const std::vector<double>& matrix, int rows, int cols,
                           std::vector<double>* result) {
    if (!result || rows <= 0 || cols <= 0 ||
        matrix.size() != static_cast<size_t>(rows) * static_cast<size_t>(cols)) {
        _LogFailure("OrthgonalApproximation: invalid input: rows=", rows, " cols=", cols,
                    " size=", matrix.size());
        return STATUS_INVALID_INPUT;
    }
    using RowMajorMatrix = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;
    try {
        const Eigen::Map<const RowMajorMatrix> s(matrix.data(), rows, cols);
        // Two-sided Jacobi: accurate singular vectors even for tiny matrices with
        // clustered singular values, which is what these inputs usually are.
        const Eigen::JacobiSVD<Eigen::MatrixXd> svd(s, Eigen::ComputeThinU | Eigen::ComputeThinV);
        const Eigen::MatrixXd& u = svd.matrixU();
        const Eigen::MatrixXd& v = svd.matrixV();
        Eigen::MatrixXd uvt = u * v.transpose();
        if (rows == cols && uvt.determinant() < 0.0) {
            // Singular values come sorted in decreasing order, so flipping the last
            // direction is the cheapest way to leave the reflections.
            const Eigen::Index k = u.cols() - 1;
            uvt.noalias() -= 2.0 * u.col(k) * v.col(k).transpose();
        }
        result->resize(matrix.size());
        Eigen::Map<RowMajorMatrix>(result->data(), rows, cols) = uvt;
    } catch (const std::bad_alloc&) {
        _LogFailure("OrthgonalApproximation: out of memory");
        return STATUS_FAILED;
    }
    return STATUS_SUCCESS;
}

}  // namespace ORVO
