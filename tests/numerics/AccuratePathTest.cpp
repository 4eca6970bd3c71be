// The constant tables and the double-double paths against MPFR. The double-double paths decide only
// a few inputs in a million through the public functions; here they are called directly on many
// ordinary inputs, so that a fault in them cannot hide behind the rarity of their use.
#include <gtest/gtest.h>

#include <mpfr.h>

#include "MpfrTestUtil.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "Kernels.h"
#include "numerics.h"

namespace num = XELORAALGO::num;
namespace detail = XELORAALGO::num::detail;

using mpfrtest::errorOf;
using mpfrtest::rounded;
using mpfrtest::roundedFloat;

TEST(NumericsTables, AccuratePathEntriesAreTheNearestDoublesOfTheirValues) {
    Mpfr v, rest;
    for (int i = 0; i <= 8; ++i) {
        mpfr_set_si(v.v, i, MPFR_RNDN);
        mpfr_div_ui(v.v, v.v, 8, MPFR_RNDN);
        mpfr_atan(v.v, v.v, MPFR_RNDN);
        const double hi = mpfr_get_d(v.v, MPFR_RNDN);
        mpfr_sub_d(rest.v, v.v, hi, MPFR_RNDN);
        EXPECT_EQ(detail::kAtanEighths[i].hi, hi) << "atan(" << i << "/8)";
        EXPECT_EQ(detail::kAtanEighths[i].lo, mpfr_get_d(rest.v, MPFR_RNDN)) << "atan(" << i << "/8)";
    }
}

TEST(NumericsAccuratePaths, LargeArgumentReductionIsExact) {
    // |x| - q pi/2 against MPFR with enough bits for the largest float (2^128 needs 128 + 120 bits).
    std::mt19937 rng(11);
    Mpfr x(400), pio2(400), q(400), r(400);
    mpfr_const_pi(pio2.v, MPFR_RNDN);
    mpfr_div_2ui(pio2.v, pio2.v, 1, MPFR_RNDN);
    for (int i = 0; i < 20000; ++i) {
        std::uint32_t b = 0x3f490fdbu + rng() % (0x7f7fffffu - 0x3f490fdbu);  // pi/4 .. FLT_MAX
        float f;
        std::memcpy(&f, &b, sizeof f);
        int quadrant;
        const num::dd::DD got = detail::reduceLarge(f, quadrant);
        mpfr_set_flt(x.v, f, MPFR_RNDN);
        mpfr_div(q.v, x.v, pio2.v, MPFR_RNDN);
        mpfr_rint(q.v, q.v, MPFR_RNDN);
        mpfr_mul(r.v, q.v, pio2.v, MPFR_RNDN);
        mpfr_sub(r.v, x.v, r.v, MPFR_RNDN);
        mpfr_fmod_ui(q.v, q.v, 4, MPFR_RNDN);
        ASSERT_EQ(quadrant, static_cast<int>(mpfr_get_si(q.v, MPFR_RNDN) + 4) % 4) << std::hexfloat << f;
        ASSERT_LT(errorOf(got.hi, got.lo, r.v, true), 0x1p-85) << std::hexfloat << f;
    }
}

TEST(NumericsAccuratePaths, DoubleDoubleEvaluationsRoundCorrectly) {
    std::mt19937 rng(12);
    std::uniform_real_distribution<float> angle(-100.0f, 100.0f), exponent(-104.0f, 88.7f);
    std::uniform_real_distribution<double> slope(0.0, 50.0);
    Mpfr t(120), exact;
    for (int i = 0; i < 3000; ++i) {
        const float a = angle(rng), e = exponent(rng);
        ASSERT_EQ(detail::sinCosAccurate(a, false), roundedFloat(mpfr_sin, a)) << std::hexfloat << a;
        ASSERT_EQ(detail::sinCosAccurate(a, true), roundedFloat(mpfr_cos, a)) << std::hexfloat << a;
        ASSERT_EQ(detail::expAccurate(e), roundedFloat(mpfr_exp, e)) << std::hexfloat << e;
        // atan of a double-double argument, beyond float precision: relative error below 2^-100.
        const num::dd::DD s{slope(rng), 0.0};
        const num::dd::DD arg{s.hi, s.hi * 0x1p-60 * (i % 3 - 1)};
        mpfr_set_d(t.v, arg.hi, MPFR_RNDN);
        mpfr_add_d(t.v, t.v, arg.lo, MPFR_RNDN);
        mpfr_atan(exact.v, t.v, MPFR_RNDN);
        const num::dd::DD got = detail::atanAccurate(arg);
        ASSERT_LT(errorOf(got.hi, got.lo, exact.v, true), 0x1p-100) << arg.hi;
    }
}

// Arguments near 0 whose exponential lies within 2^-45 of a float midpoint or of a float: short
// multiples of powers of two, as a filter's (-d * d) / 8 gives them (-(2j + 1) 2^-25 sits just above
// a midpoint below 1, (2j + 1) 2^-24 just above one above 1, -k^2 2^-33 covers both), besides their
// neighbours one unit away. expf decides most of them without its double-double path; every result
// must still be the correctly rounded one, and the array form must agree.
TEST(NumericsAccuratePaths, ExponentialOfShortArgumentsNearZeroRoundsCorrectly) {
    std::vector<float> x;
    for (int j = 0; j < (1 << 17); j += 3) x.push_back(-static_cast<float>(2 * j + 1) * 0x1p-25f);
    for (int j = 0; j < (1 << 16); j += 3) x.push_back(static_cast<float>(2 * j + 1) * 0x1p-24f);
    for (int k = 1; k < 4096; ++k) x.push_back(-static_cast<float>(k) * static_cast<float>(k) * 0x1p-33f);
    const std::size_t base = x.size();
    for (std::size_t i = 0; i < base; i += 7) {
        x.push_back(std::nextafter(x[i], 0.0f));
        x.push_back(std::nextafter(x[i], 2.0f * x[i]));
    }
    std::vector<float> array(x.size());
    num::expf(x.data(), array.data(), x.size());
    for (std::size_t i = 0; i < x.size(); ++i) {
        const float want = roundedFloat(mpfr_exp, x[i]);
        ASSERT_EQ(num::expf(x[i]), want) << std::hexfloat << x[i];
        ASSERT_EQ(array[i], want) << std::hexfloat << x[i];
    }
}

TEST(NumericsAccuratePaths, DoubleDoubleToFloatRoundsTheExactSum) {
    // hi is a float midpoint: lo alone decides; with lo = 0, ties go to even.
    const double mid = 1.0 + 0x1p-24;
    EXPECT_EQ(num::dd::toFloat({mid, 0x1p-80}), 1.0f + 0x1p-23f);
    EXPECT_EQ(num::dd::toFloat({mid, -0x1p-80}), 1.0f);
    EXPECT_EQ(num::dd::toFloat({mid, 0.0}), 1.0f);
    EXPECT_EQ(num::dd::toFloat({-mid, -0x1p-80}), -(1.0f + 0x1p-23f));
    EXPECT_EQ(num::dd::toFloat({-mid, 0x1p-80}), -1.0f);
    // Subnormal float results: half of 2^-149 plus a trace rounds up, minus a trace rounds to zero.
    EXPECT_EQ(num::dd::toFloat({0x1p-150, 0x1p-210}), 0x1p-149f);
    EXPECT_EQ(num::dd::toFloat({0x1p-150, -0x1p-210}), 0.0f);
}

namespace XELORAALGO::num::detail {
double expAccurateForTest(double x);  // the 256-bit path of exp
}

TEST(NumericsAccuratePaths, MultiWordExponentialRoundsCorrectlyOverTheWholeRange) {
    // Including the subnormal results below e^-708.4 and the last finite ones below e^709.78.
    std::mt19937_64 rng(13);
    std::uniform_real_distribution<double> domain(-745.2, 709.78), unit(-1.0, 1.0);
    for (int i = 0; i < 3000; ++i) {
        const double x = i % 3 == 0 ? unit(rng) * 0x1p-30 : domain(rng);
        ASSERT_EQ(detail::expAccurateForTest(x), rounded(mpfr_exp, x)) << std::hexfloat << x;
    }
}

TEST(NumericsDouble, ExponentialSpecialValuesAndRangeEnds) {
    EXPECT_EQ(num::exp(0.0), 1.0);
    EXPECT_EQ(num::exp(-0.0), 1.0);
    EXPECT_EQ(num::exp(std::numeric_limits<double>::infinity()), std::numeric_limits<double>::infinity());
    EXPECT_EQ(num::exp(-std::numeric_limits<double>::infinity()), 0.0);
    EXPECT_TRUE(std::isnan(num::exp(std::numeric_limits<double>::quiet_NaN())));
    // ln(DBL_MAX) = 709.782712893384 lies between these two doubles.
    EXPECT_EQ(num::exp(0x1.62e42fefa39efp+9), rounded(mpfr_exp, 0x1.62e42fefa39efp+9));
    EXPECT_TRUE(std::isfinite(num::exp(0x1.62e42fefa39efp+9)));
    EXPECT_EQ(num::exp(0x1.62e42fefa39f0p+9), std::numeric_limits<double>::infinity());
    // 2^-1074 = e^-744.44; half of it is e^-745.13: the smallest subnormal and the step to zero.
    EXPECT_EQ(num::exp(-745.0), 0x1p-1074);
    EXPECT_EQ(num::exp(-745.2), 0.0);
    EXPECT_EQ(num::exp(-740.0), rounded(mpfr_exp, -740.0));
    // Tiny x: e^x = 1 + x + x^2/2 sits just beyond the midpoint 1 + x when x is one (2^-53 above 1,
    // 2^-54 below), so the x^2/2 term alone decides the rounding.
    EXPECT_EQ(num::exp(0x1p-53), 1.0 + 0x1p-52);
    EXPECT_EQ(num::exp(-0x1p-54), 1.0);
    EXPECT_EQ(num::exp(-0x1.0000000000001p-54), 1.0 - 0x1p-53);
    EXPECT_EQ(num::exp(0x1p-60), 1.0);
}
