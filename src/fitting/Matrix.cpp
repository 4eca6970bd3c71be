// Dense float matrix of the surface fits: construction, assignment, zero-fill (setVal), product
// (multiply), inversion (invert) and Gauss-Jordan elimination with full pivoting (eliminate).
//
// Inputs:  matrices owned by the caller (sizes in rows x cols, elements in float).
// Outputs: multiply returns a new matrix; invert and eliminate work in place on their arguments.
// Working storage: invert allocates a copy of the matrix, eliminate three int arrays of n entries;
// both are released before returning.
// Dimension errors print one line to standard error (flushed) and end the process with status 0.
#include "Matrix.h"

#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace XELORAALGO {
namespace fitting {

namespace {

// Writes the message and a newline to standard error, flushes, and exits with status 0.
[[noreturn]] void dimensionError(const std::string& text) {
    std::cerr << text << std::endl;
    std::exit(0);
}

std::string sizePair(const char* what, const Matrix& A, const Matrix& B) {
    std::ostringstream os;
    os << "ERROR: Trying to " << what << " matrices of size (" << A.rows() << "x" << A.cols() << ") and ("
       << B.rows() << "x" << B.cols() << ")";
    return os.str();
}

void swapRows(Matrix& M, int r1, int r2) {
    for (int j = 0; j < M.cols(); ++j) std::swap(M(r1, j), M(r2, j));
}

}  // namespace

Matrix::Matrix(std::int32_t rows, std::int32_t cols) : rows_(std::abs(rows)), cols_(std::abs(cols)) {
    if (rows_ == 0 || cols_ == 0) return;
    const std::size_t n = static_cast<std::size_t>(rows_) * static_cast<std::size_t>(cols_);
    rowPtr_ = std::make_unique<float*[]>(static_cast<std::size_t>(rows_));
    block_ = std::make_unique<float[]>(n);  // value-initialised: all zeros
    for (std::int32_t i = 0; i < rows_; ++i)
        rowPtr_[i] = block_.get() + static_cast<std::size_t>(i) * static_cast<std::size_t>(cols_);
}

Matrix::Matrix(const Matrix& other) : Matrix(other.rows_, other.cols_) { *this = other; }

Matrix::Matrix(Matrix&& other) noexcept
    : rowPtr_(std::move(other.rowPtr_)), block_(std::move(other.block_)), rows_(other.rows_), cols_(other.cols_) {
    other.rows_ = 0;
    other.cols_ = 0;
}

Matrix& Matrix::operator=(Matrix&& other) noexcept {
    if (this == &other) return *this;
    block_.reset();
    rowPtr_.reset();
    rowPtr_ = std::move(other.rowPtr_);
    block_ = std::move(other.block_);
    rows_ = other.rows_;
    cols_ = other.cols_;
    other.rows_ = 0;
    other.cols_ = 0;
    return *this;
}

Matrix& Matrix::operator=(const Matrix& other) {
    if (this == &other) return *this;
    if (rows_ != other.rows_ || cols_ != other.cols_) {
        block_.reset();
        rowPtr_.reset();
        *this = Matrix(other.rows_, other.cols_);
    }
    if (!other.rowPtr_) return *this;  // nothing to copy from a matrix without storage
    for (std::int32_t i = 0; i < rows_; ++i)
        for (std::int32_t j = 0; j < cols_; ++j) rowPtr_[i][j] = other.rowPtr_[i][j];
    return *this;
}

void Matrix::setVal(int i1, int i2, int j1, int j2, float value) {
    if (i2 < i1 || j2 < j1) dimensionError("ERROR in setVal: Indices must be ordered (i1<=i2, j1<=j2).");
    for (int i = i1; i <= i2; ++i)
        for (int j = j1; j <= j2; ++j) rowPtr_[i][j] = value;
}

Matrix multiply(const Matrix& A, const Matrix& B) {
    if (A.cols() != B.rows()) dimensionError(sizePair("multiply", A, B));
    Matrix C(A.rows(), B.cols());
    for (int i = 0; i < A.rows(); ++i)
        for (int j = 0; j < B.cols(); ++j)
            for (int k = 0; k < A.cols(); ++k) C(i, j) += A(i, k) * B(k, j);
    return C;
}

bool Matrix::invert() {
    if (rows_ != cols_) {
        std::ostringstream os;
        os << "ERROR: Trying to invert matrix of size (" << rows_ << "x" << cols_ << ")";
        dimensionError(os.str());
    }
    Matrix work(*this);
    setVal(0, rows_ - 1, 0, cols_ - 1, 0.0f);
    for (std::int32_t i = 0; i < rows_; ++i) rowPtr_[i][i] = 1.0f;
    return eliminate(*this, work, 1e-20f);
}

bool eliminate(Matrix& B, Matrix& A, float eps) {
    const int n = A.rows();
    if (A.rows() != A.cols() || A.rows() != B.rows() || A.rows() < 1 || B.cols() < 1)
        dimensionError(sizePair("eliminate", A, B));
    const int m = B.cols();
    std::vector<int> pivotCount(static_cast<std::size_t>(n), 0);
    std::vector<int> pivotRow(static_cast<std::size_t>(n), 0);
    std::vector<int> pivotCol(static_cast<std::size_t>(n), 0);
    // Kept across steps: a step that finds no candidate at all (only possible with NaN elements)
    // reuses the previous step's pivot position.
    int r = 0;
    int c = 0;
    for (int step = 0; step < n; ++step) {
        float big = 0.0f;
        for (int j = 0; j < n; ++j) {
            if (pivotCount[j] == 1) continue;
            for (int k = 0; k < n; ++k) {
                if (pivotCount[k] != 0) continue;
                const float mag = std::fabs(A(j, k));
                if (mag >= big) {  // the last of equal candidates wins
                    big = mag;
                    r = j;
                    c = k;
                }
            }
        }
        ++pivotCount[c];
        if (r != c) {
            swapRows(A, r, c);
            swapRows(B, r, c);
        }
        pivotRow[step] = r;
        pivotCol[step] = c;
        if (std::fabs(A(c, c)) < eps) return false;
        const float pivinv = static_cast<float>(1.0 / static_cast<double>(A(c, c)));
        A(c, c) = 1.0f;
        for (int k = 0; k < n; ++k) A(c, k) *= pivinv;
        for (int k = 0; k < m; ++k) B(c, k) *= pivinv;
        for (int l = 0; l < n; ++l) {
            if (l == c) continue;
            const float d = A(l, c);
            A(l, c) = 0.0f;
            for (int k = 0; k < n; ++k) A(l, k) -= A(c, k) * d;
            for (int k = 0; k < m; ++k) B(l, k) -= B(c, k) * d;
        }
    }
    for (int step = n - 1; step >= 0; --step) {
        const int c1 = pivotRow[step];
        const int c2 = pivotCol[step];
        if (c1 == c2) continue;
        for (int k = 0; k < n; ++k) std::swap(A(k, c1), A(k, c2));
    }
    return true;
}

}  // namespace fitting
}  // namespace XELORAALGO
