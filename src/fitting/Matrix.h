// Matrix: a small dense matrix of single-precision floats used by the polynomial surface fits.
//
// Storage: an array of `rows` row pointers into one contiguous, zero-filled block of rows * cols
// floats (row i starts at element i * cols). A matrix with 0 rows or 0 columns has no storage
// (data() is null). The matrix owns both arrays; releasing it frees the block first, then the
// row-pointer array.
//
// Size mismatches are programming errors: the operation writes a fixed one-line message to the
// standard error stream, flushes it and ends the process with std::exit(0). Pivots that are too small
// are reported through the boolean results of invert() and eliminate() only.
//
// All element arithmetic is in float.
#ifndef XELORAALGO_SRC_FITTING_MATRIX_H
#define XELORAALGO_SRC_FITTING_MATRIX_H

#include <cstdint>
#include <memory>

namespace XELORAALGO {
namespace fitting {

class Matrix {
public:
    // A |rows| x |cols| zero matrix (the signs of the arguments are dropped).
    Matrix(std::int32_t rows, std::int32_t cols);
    Matrix(const Matrix& other);
    Matrix(Matrix&& other) noexcept;  // leaves `other` as a 0 x 0 matrix
    // Assigning a matrix to itself does nothing. A target of other dimensions is rebuilt with the
    // source's dimensions; then every row of the source is copied.
    Matrix& operator=(const Matrix& other);
    Matrix& operator=(Matrix&& other) noexcept;  // leaves `other` as a 0 x 0 matrix
    ~Matrix() = default;

    std::int32_t rows() const { return rows_; }
    std::int32_t cols() const { return cols_; }
    // Row-pointer array (null when the matrix has no elements): element (i, j) is data()[i][j].
    float* const* data() const { return rowPtr_.get(); }
    float& operator()(int i, int j) { return rowPtr_[i][j]; }
    float operator()(int i, int j) const { return rowPtr_[i][j]; }

    // Sets every element (i, j) with i1 <= i <= i2 and j1 <= j <= j2 to value. i2 < i1 or j2 < j1
    // ends the process with "ERROR in setVal: Indices must be ordered (i1<=i2, j1<=j2)."; the indices
    // are not checked against the size otherwise.
    void setVal(int i1, int i2, int j1, int j2, float value);

    // Replaces the (square) matrix by its inverse with eliminate() and pivot limit 1e-20; returns
    // false if a pivot was below the limit (the matrix then holds the partly reduced identity).
    // A matrix that is not square ends the process with
    // "ERROR: Trying to invert matrix of size (<rows>x<cols>)".
    bool invert();

private:
    // Declared in this order so that the block is released before the row pointers.
    std::unique_ptr<float*[]> rowPtr_;
    std::unique_ptr<float[]> block_;
    std::int32_t rows_ = 0;
    std::int32_t cols_ = 0;
};

// C = A * B (A.rows x B.cols), accumulated in float with k innermost. A.cols != B.rows ends the
// process with "ERROR: Trying to multiply matrices of size (<A.rows>x<A.cols>) and (<B.rows>x<B.cols>)".
Matrix multiply(const Matrix& A, const Matrix& B);

// Gauss-Jordan elimination with full pivoting of the square coefficient matrix A against the
// right-hand sides B. On success A holds its inverse and B holds inverse(A) * B; returns true.
// Among pivot candidates of equal magnitude the last in row-then-column order wins. A pivot whose
// magnitude is below eps returns false at once, leaving A and B partly reduced. A not square,
// A.rows != B.rows, A.rows < 1 or B.cols < 1 ends the process with
// "ERROR: Trying to eliminate matrices of size (<A.rows>x<A.cols>) and (<B.rows>x<B.cols>)".
bool eliminate(Matrix& B, Matrix& A, float eps);

}  // namespace fitting
}  // namespace XELORAALGO

#endif  // XELORAALGO_SRC_FITTING_MATRIX_H
