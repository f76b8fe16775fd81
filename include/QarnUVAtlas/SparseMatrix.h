#pragma once
// Sparse matrices of doubles, filled by (row, column, value) triplets.
// The storage lives behind one pointer so that no third-party type shows here.

#include <QarnUVAtlas/Export.h>

#include <memory>
#include <string>
#include <vector>

namespace ORVO {

// One matrix entry: row, column, value.
class ORVO_API Triplet {
public:
    // A zero entry at (0, 0).
    Triplet() : mRow(0), mCol(0), mValue(0.0) {}
    // The entry `value` at (`row`, `col`).
    Triplet(int row, int col, double value) : mRow(row), mCol(col), mValue(value) {}
    Triplet(const Triplet&) = default;
    Triplet& operator=(const Triplet&) = default;

    int GetRow() const { return mRow; }
    int GetCol() const { return mCol; }
    double GetValue() const { return mValue; }
    void SetRow(int row) { mRow = row; }
    void SetCol(int col) { mCol = col; }
    void SetValue(double value) { mValue = value; }

private:
    int mRow;
    int mCol;
    double mValue;
};

// Storage of a SparseMatrix; defined in the library's numerics sources.
struct SparseMatrixImpl;

// A column-major sparse matrix of doubles. "Initialised" means it has storage
// (after Init or a sizing constructor); a default-constructed one has none.
class ORVO_API SparseMatrix {
public:
    // Not initialised.
    SparseMatrix();
    // An empty rows x cols matrix with an empty triplet list (see Init).
    SparseMatrix(int rows, int cols);
    // A rows x cols matrix built at once from `triplets` (duplicates summed).
    SparseMatrix(int rows, int cols, const std::vector<Triplet>& triplets);
    // Deep copies of the storage and the pending triplets; a copy of a matrix
    // that is not initialised is not initialised either.
    SparseMatrix(const SparseMatrix& other);
    SparseMatrix& operator=(const SparseMatrix& other);
    // Moves hand the storage over; the source is left not initialised.
    SparseMatrix(SparseMatrix&& other) noexcept;
    SparseMatrix& operator=(SparseMatrix&& other) noexcept;
    ~SparseMatrix();

    // Drops any previous content and pending triplets and makes an empty
    // rows x cols matrix.
    void Init(int rows, int cols);
    // Appends (row, col, value) to the pending list; indices are checked only
    // when the list is built. Returns false when the matrix is not initialised.
    bool AddTriplet(int row, int col, double value);
    // Replaces the whole content by the pending triplets (entries naming the same
    // position are summed in the order they were added) and empties the list.
    // Returns false when the matrix is not initialised.
    bool BuildFromTriplets();
    // Writes one entry, inserting it when absent. Logs an error and does nothing
    // when the matrix is not initialised or the position is out of range.
    void SetValue(int row, int col, double value);
    // Reads one entry: 0 when absent. Logs an error and returns 0 when the matrix
    // is not initialised or the position is out of range.
    double GetValue(int row, int col) const;

    // A new matrix holding the transpose; not initialised (with a log line)
    // when this one is not.
    SparseMatrix Transpose() const;
    // Sparse product, sum and difference. An operand that is not initialised or
    // sizes that do not match give a matrix that is not initialised and a log line.
    SparseMatrix operator*(const SparseMatrix& other) const;
    SparseMatrix operator+(const SparseMatrix& other) const;
    SparseMatrix operator-(const SparseMatrix& other) const;
    // In-place sum and difference; on an uninitialised operand or a size
    // mismatch this matrix is left unchanged and a line is logged.
    SparseMatrix& operator+=(const SparseMatrix& other);
    SparseMatrix& operator-=(const SparseMatrix& other);
    // The dense product A * v, of length rows. Empty (with a log line) when the
    // matrix is not initialised or v's length differs from the column count.
    std::vector<double> operator*(const std::vector<double>& v) const;

    // Writes the dense image of the matrix to the log at the detail level,
    // headed by `name`. Prints nothing when not initialised.
    void PrintMatrix(std::string name) const;

    // Direct access to the storage for the library's own numerics; null when
    // not initialised.
    SparseMatrixImpl* GetImpl() { return mpImpl.get(); }
    const SparseMatrixImpl* GetImpl() const { return mpImpl.get(); }

private:
    std::unique_ptr<SparseMatrixImpl> mpImpl;
};

}  // namespace ORVO
