#pragma once
// Small dense matrix routines. Matrices travel as row-major lists of doubles.

#include <QarnUVAtlas/Export.h>

#include <vector>

namespace ORVO {

// The orthogonal matrix nearest to `matrix` (rows x cols, row-major) in the
// Frobenius norm, taken from its singular value decomposition S = U E V^T as
// U D V^T, where D is the identity except that, for a square matrix, its last
// entry carries the sign of det(U V^T): the result is then a rotation, never a
// reflection. For a non-square matrix D is the identity and the result has
// orthonormal columns (rows >= cols) or rows (rows < cols).
// Writes rows x cols entries, row-major, into *result. Returns 0; -2 when
// result is null, a size is not positive or matrix holds not rows x cols values.
ORVO_API int OrthgonalApproximation(const std::vector<double>& matrix, int rows, int cols,
                                    std::vector<double>* result);

}  // namespace ORVO
