#pragma once
// Sparse least squares over complex unknowns. A real system whose unknowns come in
// pairs (u, v) that enter every row as the complex product (a + ib)(u + iv) is
// solved here at half the size: the Cholesky factor of the Hermitian n x n matrix
// A^H A costs well under half that of the real 2n x 2n normal matrix.

#include <cstddef>
#include <memory>
#include <vector>

namespace ORVO {

struct ComplexLeastSquaresImpl;

class ComplexLeastSquares {
public:
    ComplexLeastSquares();
    ~ComplexLeastSquares();
    ComplexLeastSquares(const ComplexLeastSquares&) = delete;
    ComplexLeastSquares& operator=(const ComplexLeastSquares&) = delete;

    // Entries of A before Factorize; repeated (row, col) entries add up.
    void Reserve(size_t entries);
    void Add(int row, int col, double re, double im);

    // Builds A (rows x cols) from the entries and factors A^H A.
    // Returns STATUS_SUCCESS; STATUS_INVALID_INPUT for an empty size or an entry outside
    // it; STATUS_FAILED when A^H A is not positive definite or memory runs out.
    int Factorize(int rows, int cols);

    // z minimising |A z - r|, for r = rRe + i rIm (rows values each); writes the cols
    // real and imaginary parts of z. Returns STATUS_SUCCESS, STATUS_NOT_INITIALISED
    // before a successful Factorize, STATUS_INVALID_INPUT for a wrong length.
    int Solve(const std::vector<double>& rRe, const std::vector<double>& rIm, std::vector<double>& zRe,
              std::vector<double>& zIm) const;

private:
    std::unique_ptr<ComplexLeastSquaresImpl> mImpl;
};

}  // namespace ORVO
