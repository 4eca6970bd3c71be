// Misuse of polynomialFit: a degree whose normal equations no double fit can use, and a y vector
// shorter than x, are refused; degrees up to the limit and negative degrees keep their results.
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "MisuseTestUtil.h"
#include "XeloraAlgo.h"

using XELORAALGO::XeloraAlgo;

TEST(FittingMisuse, PolynomialDegreeAndSampleCounts) {
    XeloraAlgo algo;
    const std::vector<double> x = {0.0, 1.0, 2.0}, y = {3.0, 5.0, 7.0};
    for (int degree : {101, INT_MAX}) {
        misusetest::expectInvalid([&] { algo.polynomialFit(x, y, degree); },
                                  "polynomialFit: degree must be <= 100, got " + std::to_string(degree));
    }
    misusetest::expectInvalid([&] { algo.polynomialFit(x, {3.0, 5.0}, 1); },
                              "polynomialFit: y.size() must be >= x.size() 3, got 2");
    EXPECT_TRUE(algo.polynomialFit(x, y, INT_MIN).empty());  // negative degree: no coefficients
    EXPECT_EQ(algo.polynomialFit(x, y, 100).size(), 101u);    // singular, but defined
    const std::vector<double> line = algo.polynomialFit(x, {3.0, 5.0, 7.0, 99.0}, 1);  // extra y ignored
    ASSERT_EQ(line.size(), 2u);
    EXPECT_NEAR(line[0], 3.0, 1e-12);
    EXPECT_NEAR(line[1], 2.0, 1e-12);
}
