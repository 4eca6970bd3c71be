// Polynomial curve fit in double and the running-power evaluation.
#include <cmath>
#include <vector>

#include <gtest/gtest.h>

#include "XeloraAlgo.h"
#include "fitting/fitting.h"

namespace fitting = XELORAALGO::fitting;

TEST(CurveFit, LineThroughThreeSamplesIsExact) {
    // N = [[3, 3], [3, 5]], r = [15, 19]: one elimination step with f = 1 leaves 2 c1 = 4.
    const auto c = fitting::polynomialFit({0, 1, 2}, {3, 5, 7}, 1);
    EXPECT_EQ(c, (std::vector<double>{3, 2}));
}

TEST(CurveFit, ParabolaAndCubicRecovered) {
    const auto c2 = fitting::polynomialFit({-1, 0, 1, 2}, {1, 0, 1, 4}, 2);
    ASSERT_EQ(c2.size(), 3u);
    EXPECT_NEAR(c2[0], 0, 1e-12);
    EXPECT_NEAR(c2[1], 0, 1e-12);
    EXPECT_NEAR(c2[2], 1, 1e-12);

    std::vector<double> x, y;
    for (int k = 0; k < 10; ++k) {
        x.push_back(k * 0.7 - 2);
        y.push_back(1 - 2 * x.back() + 0.5 * x.back() * x.back() + 0.25 * x.back() * x.back() * x.back());
    }
    const auto c3 = fitting::polynomialFit(x, y, 3);
    ASSERT_EQ(c3.size(), 4u);
    EXPECT_NEAR(c3[0], 1, 1e-9);
    EXPECT_NEAR(c3[1], -2, 1e-9);
    EXPECT_NEAR(c3[2], 0.5, 1e-9);
    EXPECT_NEAR(c3[3], 0.25, 1e-9);
}

TEST(CurveFit, DegreeZeroIsTheMeanOverTheXSamples) {
    // y has one entry more than x: the sample count comes from x.
    const auto c = fitting::polynomialFit({4, -1, 9, 2}, {1.5, 2.25, 4.0, 0.125, 100.0}, 0);
    EXPECT_EQ(c, (std::vector<double>{7.875 / 4}));
}

TEST(CurveFit, EqualPivotCandidateDoesNotReplaceTheCurrentRow) {
    // x = 0, 1, 2: N = [[3, 3], [3, 5]]; in column 0 the second row ties with the first and must not
    // replace it. Without the swap c0 = (sum y - 3 c1) / 3; with it c0 = (sum xy - 5 c1) / 3, which
    // rounds differently for these samples.
    const std::vector<double> y = {0.3, 0.0, 1.0};
    const double sy = (0.0 + y[0] + y[1]) + y[2];
    const double sxy = 0.0 + 0.0 * y[0] + 1.0 * y[1] + 2.0 * y[2];
    const double c1 = (sxy - 1.0 * sy) / 2.0;
    const double c0 = (sy - 3.0 * c1) / 3.0;
    ASSERT_NE(c0, (sxy - 5.0 * c1) / 3.0);  // the case discriminates
    const auto c = fitting::polynomialFit({0, 1, 2}, y, 1);
    ASSERT_EQ(c.size(), 2u);
    EXPECT_EQ(c[1], c1);
    EXPECT_EQ(c[0], c0);
}

TEST(CurveFit, SingularSystemGivesNonFiniteAndNegativeDegreeGivesEmpty) {
    const auto c = fitting::polynomialFit({1, 1, 1}, {2, 3, 4}, 1);
    ASSERT_EQ(c.size(), 2u);
    EXPECT_FALSE(std::isfinite(c[0]));
    EXPECT_FALSE(std::isfinite(c[1]));
    EXPECT_TRUE(fitting::polynomialFit({1, 2}, {1, 2}, -1).empty());
}

TEST(CurveFit, EvaluateUsesARunningPower) {
    EXPECT_EQ(fitting::evaluatePolynomial({1, 2, 3}, 2), 17.0);
    EXPECT_EQ(fitting::evaluatePolynomial({}, 3.5), 0.0);
    // sum += p c, p *= x; nested evaluation rounds differently here.
    const std::vector<double> c = {0.3, -1.1, 0.7, 0.9};
    const double x = 1.3;
    const double running = (((0.0 + 1.0 * c[0]) + x * c[1]) + (x * x) * c[2]) + ((x * x) * x) * c[3];
    ASSERT_NE(running, ((c[3] * x + c[2]) * x + c[1]) * x + c[0]);
    EXPECT_EQ(fitting::evaluatePolynomial(c, x), running);
}

TEST(CurveFit, HandleMembersForward) {
    XELORAALGO::XeloraAlgo algo;
    const auto c = algo.polynomialFit({0, 1, 2}, {3, 5, 7}, 1);
    EXPECT_EQ(c, (std::vector<double>{3, 2}));
    EXPECT_EQ(algo.evaluatePolynomial(c, 10.0), 23.0);
}
