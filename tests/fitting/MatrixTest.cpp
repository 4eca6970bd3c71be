// The float matrix of the surface fits: sizes, assignment, product order, inversion, the full-pivot
// elimination (pivot choice, float rounding points, column un-swapping) and the four dimension messages.
#include <cmath>

#include <gtest/gtest.h>

#include "fitting/Matrix.h"

using XELORAALGO::fitting::eliminate;
using XELORAALGO::fitting::Matrix;
using XELORAALGO::fitting::multiply;

namespace {

Matrix fromRows(int rows, int cols, std::initializer_list<float> values) {
    Matrix m(rows, cols);
    int k = 0;
    for (float v : values) {
        m(k / cols, k % cols) = v;
        ++k;
    }
    return m;
}

void expectEqual(const Matrix& m, int rows, int cols, std::initializer_list<float> values) {
    ASSERT_EQ(m.rows(), rows);
    ASSERT_EQ(m.cols(), cols);
    int k = 0;
    for (float v : values) {
        EXPECT_EQ(m(k / cols, k % cols), v) << "element (" << k / cols << ", " << k % cols << ")";
        ++k;
    }
}

}  // namespace

TEST(FittingMatrix, ConstructionTakesAbsoluteSizesAndZeroFills) {
    const Matrix m(-3, 2);
    expectEqual(m, 3, 2, {0, 0, 0, 0, 0, 0});
    ASSERT_NE(m.data(), nullptr);
    // One contiguous block, row i at element i * cols.
    EXPECT_EQ(m.data()[1], m.data()[0] + 2);
    EXPECT_EQ(m.data()[2], m.data()[0] + 4);

    const Matrix empty(0, 5);
    EXPECT_EQ(empty.rows(), 0);
    EXPECT_EQ(empty.cols(), 5);
    EXPECT_EQ(empty.data(), nullptr);
}

TEST(FittingMatrix, AssignmentRebuildsToTheSourceSizeAndSelfAssignmentKeepsValues) {
    Matrix target = fromRows(3, 3, {9, 9, 9, 9, 9, 9, 9, 9, 9});
    const Matrix source = fromRows(2, 2, {1, 2, 3, 4});
    target = source;
    expectEqual(target, 2, 2, {1, 2, 3, 4});
    target(0, 0) = 7;  // a deep copy: the source is not shared
    EXPECT_EQ(source(0, 0), 1.0f);

    Matrix& alias = target;
    target = alias;
    expectEqual(target, 2, 2, {7, 2, 3, 4});

    Matrix same = fromRows(2, 2, {5, 5, 5, 5});
    same = source;
    expectEqual(same, 2, 2, {1, 2, 3, 4});
}

TEST(FittingMatrix, MultiplyAccumulatesInFloatOverKInIncreasingOrder) {
    const Matrix A = fromRows(2, 3, {1, 2, 3, 4, 5, 6});
    const Matrix B = fromRows(3, 2, {7, 8, 9, 10, 11, 12});
    expectEqual(multiply(A, B), 2, 2, {58, 64, 139, 154});

    // 1 + 1e8 is 1e8 in float, so the sum in k order is 0; in double, or summed the other way, it is 1.
    const Matrix row = fromRows(1, 3, {1.0f, 1e8f, -1e8f});
    const Matrix col = fromRows(3, 1, {1, 1, 1});
    expectEqual(multiply(row, col), 1, 1, {0.0f});
}

TEST(FittingMatrix, InvertDiagonalPermutationAndGeneral) {
    Matrix d = fromRows(2, 2, {2, 0, 0, 4});
    EXPECT_TRUE(d.invert());
    expectEqual(d, 2, 2, {0.5f, 0, 0, 0.25f});

    Matrix p = fromRows(2, 2, {0, 1, 1, 0});
    EXPECT_TRUE(p.invert());
    expectEqual(p, 2, 2, {0, 1, 1, 0});

    // [[1, 2], [2, 1]]^-1 = [[-1/3, 2/3], [2/3, -1/3]].
    Matrix g = fromRows(2, 2, {1, 2, 2, 1});
    EXPECT_TRUE(g.invert());
    EXPECT_NEAR(g(0, 0), -1.0 / 3, 1e-7);
    EXPECT_NEAR(g(0, 1), 2.0 / 3, 1e-7);
    EXPECT_NEAR(g(1, 0), 2.0 / 3, 1e-7);
    EXPECT_NEAR(g(1, 1), -1.0 / 3, 1e-7);
}

TEST(FittingMatrix, InvertOfZeroMatrixStopsAtFirstPivotLeavingIdentity) {
    Matrix z(2, 2);
    EXPECT_FALSE(z.invert());
    expectEqual(z, 2, 2, {1, 0, 0, 1});
}

TEST(FittingMatrix, EliminateUndoesColumnInterchangesFromLastStepToFirst) {
    // Pivots (2, 0), then (1, 2), then (1, 1): two interchanges whose undoing does not commute.
    Matrix A = fromRows(3, 3, {0, 2, 0, 0, 0, 4, 8, 0, 0});
    Matrix B = fromRows(3, 3, {1, 0, 0, 0, 1, 0, 0, 0, 1});
    EXPECT_TRUE(eliminate(B, A, 1e-20f));
    const std::initializer_list<float> inverse = {0, 0, 0.125f, 0.5f, 0, 0, 0, 0.25f, 0};
    expectEqual(A, 3, 3, inverse);
    expectEqual(B, 3, 3, inverse);
}

TEST(FittingMatrix, EliminateSolvesRightHandSides) {
    // 2x + y = 5, x + 3y = 10 -> x = 1, y = 3; second column: 2x + y = 1, x + 3y = -2 -> x = 1, y = -1.
    Matrix A = fromRows(2, 2, {2, 1, 1, 3});
    Matrix B = fromRows(2, 2, {5, 1, 10, -2});
    EXPECT_TRUE(eliminate(B, A, 1e-20f));
    EXPECT_NEAR(B(0, 0), 1.0, 1e-6);
    EXPECT_NEAR(B(1, 0), 3.0, 1e-6);
    EXPECT_NEAR(B(0, 1), 1.0, 1e-6);
    EXPECT_NEAR(B(1, 1), -1.0, 1e-6);
}

TEST(FittingMatrix, EliminatePivotTieGoesToLastCandidateInRowThenColumnOrder) {
    // |(0,1)| = |(1,0)| = 2: the later candidate (1,0) wins, rows 1 and 0 swap, and the second pivot
    // (1.5) is below eps = 2, which stops the elimination after one step:
    //   A = [[2, 1], [1, 2]] -> row 0 * 0.5 = [0.5, 0.5]; row 1 - 1 * row 0 = [-0.5, 1.5]
    //   B = [[0, 1], [1, 0]] -> row 0 * 0.5 = [0, 0.5];   row 1 - 1 * row 0 = [1, -0.5]
    Matrix A = fromRows(2, 2, {1, 2, 2, 1});
    Matrix B = fromRows(2, 2, {1, 0, 0, 1});
    EXPECT_FALSE(eliminate(B, A, 2.0f));
    expectEqual(A, 2, 2, {0.5f, 0.5f, -0.5f, 1.5f});
    expectEqual(B, 2, 2, {0, 0.5f, 1, -0.5f});
}

TEST(FittingMatrix, EliminateRoundsEveryElementOperationToFloat) {
    // Pivot (0, 1) = 7: rows swap to [[2, 3], [5, 7]]; row 1 is scaled by pivinv = float(1 / 7), then
    // row 0 loses 3 * row 1. The next pivot (|A(0,0)| ~ 0.14) is below eps = 1, so the state after the
    // first step stays. The product a10 * 3 is rounded to float before the subtraction (a tie that
    // rounds to even), which a double intermediate would not do.
    const float p7 = static_cast<float>(1.0 / 7.0);
    const float a10 = 5.0f * p7;
    const float a00 = 2.0f - a10 * 3.0f;
    const float p7x3 = p7 * 3.0f;
    ASSERT_NE(a00, static_cast<float>(2.0 - static_cast<double>(a10) * 3.0));  // the case discriminates

    Matrix A = fromRows(2, 2, {5, 7, 2, 3});
    Matrix B = fromRows(2, 2, {1, 0, 0, 1});
    EXPECT_FALSE(eliminate(B, A, 1.0f));
    expectEqual(A, 2, 2, {a00, 0.0f - p7x3, a10, p7});
    expectEqual(B, 2, 2, {0.0f - p7x3, 1.0f, p7, 0.0f});
}

// The four dimension messages: exact text on standard error, then exit status 0.
TEST(FittingMatrixDeathTest, SetValWithUnorderedIndices) {
    EXPECT_EXIT(
        {
            Matrix m(2, 2);
            m.setVal(1, 0, 0, 1, 0.0f);
        },
        ::testing::ExitedWithCode(0), "^ERROR in setVal: Indices must be ordered \\(i1<=i2, j1<=j2\\)\\.\n$");
}

TEST(FittingMatrixDeathTest, MultiplyWithMismatchedSizes) {
    EXPECT_EXIT(
        {
            const Matrix A(2, 3);
            const Matrix B(2, 3);
            multiply(A, B);
        },
        ::testing::ExitedWithCode(0), "^ERROR: Trying to multiply matrices of size \\(2x3\\) and \\(2x3\\)\n$");
}

TEST(FittingMatrixDeathTest, InvertNonSquareReportsAbsoluteSizes) {
    EXPECT_EXIT(
        {
            Matrix m(-2, 3);
            m.invert();
        },
        ::testing::ExitedWithCode(0), "^ERROR: Trying to invert matrix of size \\(2x3\\)\n$");
}

TEST(FittingMatrixDeathTest, EliminateNamesCoefficientMatrixFirst) {
    EXPECT_EXIT(
        {
            Matrix A(2, 2);
            Matrix B(3, 1);
            eliminate(B, A, 1e-20f);
        },
        ::testing::ExitedWithCode(0), "^ERROR: Trying to eliminate matrices of size \\(2x2\\) and \\(3x1\\)\n$");
}
