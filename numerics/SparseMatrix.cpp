#include <QarnUVAtlas/SparseMatrix.h>

#include "foundation/LogLine.h"
#include "numerics/SparseMatrixImpl.h"

#include <algorithm>
#include <new>
#include <sstream>
#include <utility>

namespace ORVO {

namespace {

const char* const kNotInitialised = "Error: SpaseMatrix is not initialize: ";

bool _InRange(const EigenSparseMatrix& m, int row, int col) {
    return row >= 0 && col >= 0 && row < m.rows() && col < m.cols();
}

// Both operands initialised and of equal size; logs the reason otherwise.
bool _SameShape(const SparseMatrixImpl* a, const SparseMatrixImpl* b, const char* op) {
    if (!a || !b) {
        _LogLine("Error: mpImpl is NULL when SparseMatrix::", op);
        return false;
    }
    if (a->mMatrix.rows() != b->mMatrix.rows() || a->mMatrix.cols() != b->mMatrix.cols()) {
        _LogLine("Error: size mismatch in SparseMatrix::", op, ": ", a->mMatrix.rows(), "x",
                 a->mMatrix.cols(), " and ", b->mMatrix.rows(), "x", b->mMatrix.cols());
        return false;
    }
    return true;
}

// Runs `f`, turning an allocation failure into a log line and `false`, so that
// no exception leaves the public interface.
template <typename F>
bool _Guarded(const char* op, F&& f) {
    try {
        f();
        return true;
    } catch (const std::bad_alloc&) {
        _LogLine("Error: out of memory in SparseMatrix::", op);
        return false;
    }
}

// A new matrix holding what `compute` evaluates, swapped in without a copy; not
// initialised when memory runs out.
template <typename F>
SparseMatrix _Computed(const char* op, F&& compute) {
    SparseMatrix result(0, 0);
    if (!result.GetImpl()) return result;
    const bool ok = _Guarded(op, [&] {
        EigenSparseMatrix value = compute();
        result.GetImpl()->mMatrix.swap(value);
    });
    if (!ok) return SparseMatrix();
    return result;
}

}  // namespace

SparseMatrix::SparseMatrix() = default;

SparseMatrix::SparseMatrix(int rows, int cols) { Init(rows, cols); }

SparseMatrix::SparseMatrix(int rows, int cols, const std::vector<Triplet>& triplets) {
    Init(rows, cols);
    if (!mpImpl) return;
    const bool listed = _Guarded("SparseMatrix", [&] {
        mpImpl->mTriplets.reserve(triplets.size());
        for (const Triplet& t : triplets)
            mpImpl->mTriplets.emplace_back(t.GetRow(), t.GetCol(), t.GetValue());
    });
    if (listed) BuildFromTriplets();
}

SparseMatrix::SparseMatrix(const SparseMatrix& other) { *this = other; }

SparseMatrix& SparseMatrix::operator=(const SparseMatrix& other) {
    if (this == &other) return *this;
    if (!other.mpImpl) {
        mpImpl.reset();
        return *this;
    }
    std::unique_ptr<SparseMatrixImpl> copy;
    _Guarded("operator=", [&] { copy = std::make_unique<SparseMatrixImpl>(*other.mpImpl); });
    mpImpl = std::move(copy);
    return *this;
}

SparseMatrix::SparseMatrix(SparseMatrix&& other) noexcept = default;
SparseMatrix& SparseMatrix::operator=(SparseMatrix&& other) noexcept = default;
SparseMatrix::~SparseMatrix() = default;

void SparseMatrix::Init(int rows, int cols) {
    // Negative sizes would trip Eigen; an empty matrix is the harmless reading.
    mpImpl.reset();
    _Guarded("Init", [&] {
        mpImpl = std::make_unique<SparseMatrixImpl>(std::max(rows, 0), std::max(cols, 0));
    });
}

bool SparseMatrix::AddTriplet(int row, int col, double value) {
    if (!mpImpl) return false;
    return _Guarded("AddTriplet", [&] { mpImpl->mTriplets.emplace_back(row, col, value); });
}

bool SparseMatrix::BuildFromTriplets() {
    if (!mpImpl) return false;
    std::vector<EigenTriplet>& list = mpImpl->mTriplets;
    EigenSparseMatrix& m = mpImpl->mMatrix;

    // Eigen writes through triplet indices unchecked; one pass here keeps a stray
    // index from corrupting memory. The common case costs a compare per entry.
    const int rows = static_cast<int>(m.rows());
    const int cols = static_cast<int>(m.cols());
    auto outside = [rows, cols](const EigenTriplet& t) {
        return static_cast<unsigned>(t.row()) >= static_cast<unsigned>(rows) ||
               static_cast<unsigned>(t.col()) >= static_cast<unsigned>(cols);
    };
    if (std::any_of(list.begin(), list.end(), outside)) {
        const auto keptEnd = std::remove_if(list.begin(), list.end(), outside);
        _LogLine("Error: SparseMatrix::BuildFromTriplets skipped out-of-range triplets: ",
                 list.end() - keptEnd);
        list.erase(keptEnd, list.end());
    }

    const bool built = _Guarded("BuildFromTriplets",
                                [&] { m.setFromTriplets(list.begin(), list.end()); });
    list.clear();  // capacity kept for the next round of AddTriplet
    return built;
}

void SparseMatrix::SetValue(int row, int col, double value) {
    if (!mpImpl) {
        _LogLine(kNotInitialised);
        return;
    }
    if (!_InRange(mpImpl->mMatrix, row, col)) {
        _LogLine("Error: SparseMatrix::SetValue index out of range: ", row, " ", col);
        return;
    }
    _Guarded("SetValue", [&] { mpImpl->mMatrix.coeffRef(row, col) = value; });
}

double SparseMatrix::GetValue(int row, int col) const {
    if (!mpImpl) {
        _LogLine(kNotInitialised);
        return 0.0;
    }
    if (!_InRange(mpImpl->mMatrix, row, col)) {
        _LogLine("Error: SparseMatrix::GetValue index out of range: ", row, " ", col);
        return 0.0;
    }
    // Binary search among the stored rows of the column; absent entries read 0.
    return mpImpl->mMatrix.coeff(row, col);
}

SparseMatrix SparseMatrix::Transpose() const {
    if (!mpImpl) {
        _LogLine("Error: mpImpl is NULL when SparseMatrix::Transpose");
        return SparseMatrix();
    }
    const EigenSparseMatrix& a = mpImpl->mMatrix;
    return _Computed("Transpose", [&]() -> EigenSparseMatrix { return a.transpose(); });
}

SparseMatrix SparseMatrix::operator*(const SparseMatrix& other) const {
    if (!mpImpl || !other.mpImpl) {
        _LogLine("Error: mpImpl is NULL when SparseMatrix::operator*");
        return SparseMatrix();
    }
    const EigenSparseMatrix& a = mpImpl->mMatrix;
    const EigenSparseMatrix& b = other.mpImpl->mMatrix;
    if (a.cols() != b.rows()) {
        _LogLine("Error: size mismatch in SparseMatrix::operator*: ", a.rows(), "x", a.cols(),
                 " and ", b.rows(), "x", b.cols());
        return SparseMatrix();
    }
    return _Computed("operator*", [&]() -> EigenSparseMatrix { return a * b; });
}

SparseMatrix SparseMatrix::operator+(const SparseMatrix& other) const {
    if (!_SameShape(mpImpl.get(), other.mpImpl.get(), "operator+")) return SparseMatrix();
    const EigenSparseMatrix& a = mpImpl->mMatrix;
    const EigenSparseMatrix& b = other.mpImpl->mMatrix;
    return _Computed("operator+", [&]() -> EigenSparseMatrix { return a + b; });
}

SparseMatrix SparseMatrix::operator-(const SparseMatrix& other) const {
    if (!_SameShape(mpImpl.get(), other.mpImpl.get(), "operator-")) return SparseMatrix();
    const EigenSparseMatrix& a = mpImpl->mMatrix;
    const EigenSparseMatrix& b = other.mpImpl->mMatrix;
    return _Computed("operator-", [&]() -> EigenSparseMatrix { return a - b; });
}

SparseMatrix& SparseMatrix::operator+=(const SparseMatrix& other) {
    if (_SameShape(mpImpl.get(), other.mpImpl.get(), "operator+="))
        _Guarded("operator+=", [&] { mpImpl->mMatrix += other.mpImpl->mMatrix; });
    return *this;
}

SparseMatrix& SparseMatrix::operator-=(const SparseMatrix& other) {
    if (_SameShape(mpImpl.get(), other.mpImpl.get(), "operator-="))
        _Guarded("operator-=", [&] { mpImpl->mMatrix -= other.mpImpl->mMatrix; });
    return *this;
}

std::vector<double> SparseMatrix::operator*(const std::vector<double>& v) const {
    if (!mpImpl) {
        _LogLine("Error: mpImpl is NULL when SparseMatrix::operator*");
        return {};
    }
    const EigenSparseMatrix& a = mpImpl->mMatrix;
    if (static_cast<Eigen::Index>(v.size()) != a.cols()) {
        _LogLine("Error: size mismatch in SparseMatrix::operator*: ", a.rows(), "x", a.cols(),
                 " and vector ", v.size());
        return {};
    }
    std::vector<double> out;
    _Guarded("operator*", [&] {
        out.resize(static_cast<size_t>(a.rows()));
        Eigen::Map<Eigen::VectorXd>(out.data(), a.rows()).noalias() =
            a * Eigen::Map<const Eigen::VectorXd>(v.data(), a.cols());
    });
    return out;
}

std::vector<std::string> _SparseMatrixImageLines(const SparseMatrixImpl& impl,
                                                 const std::string& name) {
    const EigenSparseMatrix& m = impl.mMatrix;
    std::vector<std::string> lines;
    lines.reserve(static_cast<size_t>(m.rows()) + 3);
    lines.push_back("+++++++++++++++++++++++++ SparseMatrix" + name +
                    " +++++++++++++++++++++++++++++++++++");
    {
        std::ostringstream head;
        head << "SparseMatrix: row=" << m.rows() << " col=" << m.cols();
        lines.push_back(head.str());
    }
    for (Eigen::Index r = 0; r < m.rows(); ++r) {
        std::ostringstream row;
        for (Eigen::Index c = 0; c < m.cols(); ++c) row << m.coeff(r, c) << " ";
        lines.push_back(row.str());
    }
    lines.push_back("------------------------------ end ------------------------------");
    return lines;
}

void SparseMatrix::PrintMatrix(std::string name) const {
    if (!mpImpl) return;
    // A debugging aid: skip building the image when the level would drop it.
    if (gSystemLogLevel > LOG_LEVEL_DETAIL) return;
    std::vector<std::string> lines;
    if (!_Guarded("PrintMatrix", [&] { lines = _SparseMatrixImageLines(*mpImpl, name); })) return;
    // One lock for the whole image so lines of other threads do not interleave.
    std::lock_guard<std::mutex> guard(_LogMutex());
    std::ofstream& out = LogSystem::Get()->GetOFStream();
    for (const std::string& line : lines) out << line << std::endl;
}

}  // namespace ORVO
