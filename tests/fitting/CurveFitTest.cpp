// Polynomial curve fit in double: recovery, the strict-greater pivot rule, degenerate inputs, the
// degree and sample-count limits, and the running-power evaluation.
#include <climits>
#include <cmath>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "MisuseTestUtil.h"
#include "XeloraAlgo.h"
#include "fitting/fitting.h"

namespace fitting = XELORAALGO::fitting;

TEST(CurveFit, RecoversLineExactlyAndCubicFromExactSamples) {
    XELORAALGO::XeloraAlgo algo;  // the handle member forwards
    EXPECT_EQ(algo.polynomialFit({0, 1, 2}, {3, 5, 7}, 1), (std::vector<double>{3, 2}));
    const std::vector<double> want = {1, -2, 0.5, 0.25};
    std::vector<double> x, y;
    for (int k = 0; k < 10; ++k) x.push_back(k * 0.7 - 2);
    for (double v : x) y.push_back(want[0] + v * (want[1] + v * (want[2] + v * want[3])));
    const auto c = fitting::polynomialFit(x, y, 3);
    ASSERT_EQ(c.size(), 4u);
    for (int k = 0; k < 4; ++k) EXPECT_NEAR(c[k], want[k], 1e-9) << "c" << k;
}

TEST(CurveFit, EqualPivotCandidateDoesNotReplaceTheCurrentRow) {
    // x = 0, 1, 2: N = [[3, 3], [3, 5]]; in column 0 the second row ties with the first and must not
    // replace it. Without the swap c0 = (sum y - 3 c1) / 3; with it c0 = (sum xy - 5 c1) / 3.
    const std::vector<double> y = {0.3, 0.0, 1.0};
    const double sy = (0.0 + y[0] + y[1]) + y[2], sxy = 0.0 + 0.0 * y[0] + 1.0 * y[1] + 2.0 * y[2];
    const double c1 = (sxy - 1.0 * sy) / 2.0, c0 = (sy - 3.0 * c1) / 3.0;
    ASSERT_NE(c0, (sxy - 5.0 * c1) / 3.0);  // the case discriminates
    EXPECT_EQ(fitting::polynomialFit({0, 1, 2}, y, 1), (std::vector<double>{c0, c1}));
}

// Degenerate inputs keep their results; a degree whose normal equations no double fit can use, and a y
// vector shorter than x, are refused by the handle.
TEST(CurveFit, DegenerateInputsAndLimits) {
    // Degree 0 is the mean over the x samples (y has one entry more: the count comes from x).
    EXPECT_EQ(fitting::polynomialFit({4, -1, 9, 2}, {1.5, 2.25, 4.0, 0.125, 100.0}, 0),
              (std::vector<double>{7.875 / 4}));
    const auto c = fitting::polynomialFit({1, 1, 1}, {2, 3, 4}, 1);  // singular: non-finite, not an error
    ASSERT_EQ(c.size(), 2u);
    EXPECT_FALSE(std::isfinite(c[0]) || std::isfinite(c[1]));
    XELORAALGO::XeloraAlgo algo;
    const std::vector<double> x = {0.0, 1.0, 2.0}, y = {3.0, 5.0, 7.0};
    for (int degree : {-1, INT_MIN}) EXPECT_TRUE(algo.polynomialFit(x, y, degree).empty());  // no coefficients
    EXPECT_EQ(algo.polynomialFit(x, y, 100).size(), 101u);  // singular, but defined
    for (int degree : {101, INT_MAX}) {
        misusetest::expectInvalid([&] { algo.polynomialFit(x, y, degree); },
                                  "polynomialFit: degree must be <= 100, got " + std::to_string(degree));
    }
    misusetest::expectInvalid([&] { algo.polynomialFit(x, {3.0, 5.0}, 1); },
                              "polynomialFit: y.size() must be >= x.size() 3, got 2");
}

TEST(CurveFit, EvaluateUsesARunningPower) {
    EXPECT_EQ(XELORAALGO::XeloraAlgo().evaluatePolynomial({1, 2, 3}, 2), 17.0);  // via the handle
    EXPECT_EQ(fitting::evaluatePolynomial({}, 3.5), 0.0);
    // sum += p c, p *= x; nested evaluation rounds differently here.
    const std::vector<double> c = {0.3, -1.1, 0.7, 0.9};
    const double x = 1.3;
    const double running = (((0.0 + 1.0 * c[0]) + x * c[1]) + (x * x) * c[2]) + ((x * x) * x) * c[3];
    ASSERT_NE(running, ((c[3] * x + c[2]) * x + c[1]) * x + c[0]);
    EXPECT_EQ(fitting::evaluatePolynomial(c, x), running);
}
