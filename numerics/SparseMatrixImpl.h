#pragma once
// Storage behind ORVO::SparseMatrix. Internal: included by numerics sources and
// by flattening sources that fill or read the matrix directly for speed.

#include <QarnUVAtlas/SparseMatrix.h>

#include <Eigen/SparseCore>

#include <string>
#include <vector>

namespace ORVO {

using EigenSparseMatrix = Eigen::SparseMatrix<double, Eigen::ColMajor, int>;
using EigenTriplet = Eigen::Triplet<double, int>;

struct SparseMatrixImpl {
    SparseMatrixImpl(int rows, int cols) : mMatrix(rows, cols) {}

    // Column-major values; may be in Eigen's uncompressed mode after SetValue
    // inserted entries (consumers that need compressed storage check).
    EigenSparseMatrix mMatrix;
    // Appended by AddTriplet, consumed (and emptied, storage kept) by a build.
    std::vector<EigenTriplet> mTriplets;
};

// The lines PrintMatrix writes for `impl`, in order, without line ends.
std::vector<std::string> _SparseMatrixImageLines(const SparseMatrixImpl& impl,
                                                 const std::string& name);

}  // namespace ORVO
