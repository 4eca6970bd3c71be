// The float matrix of the surface fits: product order, the full-pivot elimination (tie rule, float
// rounding points, column un-swapping) and the four dimension messages.
#include <functional>
#include <utility>

#include <gtest/gtest.h>

#include "fitting/Matrix.h"

using namespace XELORAALGO::fitting;

namespace {

Matrix fromRows(int rows, int cols, std::initializer_list<float> values) {
    Matrix m(rows, cols);
    for (int k = 0; k < static_cast<int>(values.size()); ++k) m(k / cols, k % cols) = values.begin()[k];
    return m;
}

void expectEqual(const Matrix& m, int rows, int cols, std::initializer_list<float> values) {
    ASSERT_EQ(m.rows(), rows);
    ASSERT_EQ(m.cols(), cols);
    for (int k = 0; k < rows * cols; ++k) EXPECT_EQ(m(k / cols, k % cols), values.begin()[k]) << "element " << k;
}

}  // namespace

TEST(FittingMatrix, MultiplyAccumulatesInFloatOverKInIncreasingOrder) {
    expectEqual(multiply(fromRows(2, 3, {1, 2, 3, 4, 5, 6}), fromRows(3, 2, {7, 8, 9, 10, 11, 12})), 2, 2,
                {58, 64, 139, 154});
    // 1 + 1e8 is 1e8 in float, so the sum in k order is 0; in double, or summed the other way, it is 1.
    expectEqual(multiply(fromRows(1, 3, {1.0f, 1e8f, -1e8f}), fromRows(3, 1, {1, 1, 1})), 1, 1, {0.0f});
}

TEST(FittingMatrix, EliminateUndoesColumnInterchangesFromLastStepToFirst) {
    // Pivots (2, 0), then (1, 2), then (1, 1): two interchanges whose undoing does not commute.
    Matrix A = fromRows(3, 3, {0, 2, 0, 0, 0, 4, 8, 0, 0}), B = fromRows(3, 3, {1, 0, 0, 0, 1, 0, 0, 0, 1});
    EXPECT_TRUE(eliminate(B, A, 1e-20f));
    const std::initializer_list<float> inverse = {0, 0, 0.125f, 0.5f, 0, 0, 0, 0.25f, 0};
    expectEqual(A, 3, 3, inverse);
    expectEqual(B, 3, 3, inverse);
}

TEST(FittingMatrix, EliminatePivotTieGoesToLastCandidateInRowThenColumnOrder) {
    // |(0,1)| = |(1,0)| = 2: the later candidate (1,0) wins, rows 1 and 0 swap, and the second pivot
    // (1.5) is below eps = 2, which stops the elimination after one step.
    Matrix A = fromRows(2, 2, {1, 2, 2, 1}), B = fromRows(2, 2, {1, 0, 0, 1});
    EXPECT_FALSE(eliminate(B, A, 2.0f));
    expectEqual(A, 2, 2, {0.5f, 0.5f, -0.5f, 1.5f});
    expectEqual(B, 2, 2, {0, 0.5f, 1, -0.5f});
}

TEST(FittingMatrix, EliminateRoundsEveryElementOperationToFloat) {
    // Pivot (0, 1) = 7: rows swap, row 1 is scaled by float(1 / 7), row 0 loses 3 * row 1; the next pivot
    // is below eps = 1. a10 * 3 is rounded to float before the subtraction, unlike a double intermediate.
    const float p7 = static_cast<float>(1.0 / 7.0), a10 = 5.0f * p7, a00 = 2.0f - a10 * 3.0f;
    ASSERT_NE(a00, static_cast<float>(2.0 - static_cast<double>(a10) * 3.0));  // the case discriminates
    Matrix A = fromRows(2, 2, {5, 7, 2, 3}), B = fromRows(2, 2, {1, 0, 0, 1});
    EXPECT_FALSE(eliminate(B, A, 1.0f));
    expectEqual(A, 2, 2, {a00, 0.0f - p7 * 3.0f, a10, p7});
    expectEqual(B, 2, 2, {0.0f - p7 * 3.0f, 1.0f, p7, 0.0f});
}

// Each dimension error prints its exact line on standard error and exits with status 0.
TEST(FittingMatrixDeathTest, DimensionErrorsPrintOneLineAndExitWithStatusZero) {
    const std::pair<std::function<void()>, const char*> cases[] = {
        {[] { Matrix(2, 2).setVal(1, 0, 0, 1, 0.0f); },
         "^ERROR in setVal: Indices must be ordered \\(i1<=i2, j1<=j2\\)\\.\n$"},
        {[] { multiply(Matrix(2, 3), Matrix(2, 3)); },
         "^ERROR: Trying to multiply matrices of size \\(2x3\\) and \\(2x3\\)\n$"},
        {[] { Matrix(-2, 3).invert(); }, "^ERROR: Trying to invert matrix of size \\(2x3\\)\n$"},
        {[] { Matrix A(2, 2), B(3, 1); eliminate(B, A, 1e-20f); },
         "^ERROR: Trying to eliminate matrices of size \\(2x2\\) and \\(3x1\\)\n$"},
    };
    for (const auto& c : cases) EXPECT_EXIT(c.first(), ::testing::ExitedWithCode(0), c.second);
}
