// The float kernels against MPFR: their tables and split constants, the error bound written beside
// each kernel (on many inputs), the distance of floats from the multiples of pi/2 that the sine's
// bound relies on, and the integer rounding test.
#include <gtest/gtest.h>

#include <mpfr.h>

#include "MpfrTestUtil.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "FloatFunctions.h"

namespace detail = XELORAALGO::num::detail;

namespace {

using mpfrtest::hasAtMostBits;

double relativeError(double got, const mpfr_t exact) { return mpfrtest::errorOf(got, 0.0, exact, true); }

// |value - (a + b + c)| for MPFR value.
double residual(const mpfr_t value, double a, double b, double c) {
    Mpfr d(400);
    mpfr_set(d.v, value, MPFR_RNDN);
    mpfr_sub_d(d.v, d.v, a, MPFR_RNDN);
    mpfr_sub_d(d.v, d.v, b, MPFR_RNDN);
    mpfr_sub_d(d.v, d.v, c, MPFR_RNDN);
    return std::fabs(mpfr_get_d(d.v, MPFR_RNDN));
}

}  // namespace

TEST(NumericsFloatTables, EntriesAreTheNearestDoublesOfTheirValues) {
    Mpfr v(200);
    for (int j = 0; j < 64; ++j) {
        mpfr_const_pi(v.v, MPFR_RNDN);
        mpfr_mul_si(v.v, v.v, j, MPFR_RNDN);
        mpfr_div_ui(v.v, v.v, 32, MPFR_RNDN);
        mpfr_sin(v.v, v.v, MPFR_RNDN);
        EXPECT_EQ(detail::kSinPi32[j], j % 32 == 0 ? 0.0 : mpfr_get_d(v.v, MPFR_RNDN)) << "sin(" << j << " pi/32)";
        mpfr_set_si(v.v, j, MPFR_RNDN);
        mpfr_div_ui(v.v, v.v, 64, MPFR_RNDN);
        mpfr_exp2(v.v, v.v, MPFR_RNDN);
        EXPECT_EQ(detail::kExp2J64[j], mpfr_get_d(v.v, MPFR_RNDN)) << "2^(" << j << "/64)";
    }
    // The points of the arc tangent: the middle of each eighth of a binade, at the index its own
    // bits give, and atan of it.
    EXPECT_EQ(detail::kAtanPoints[0].c, 0.0);
    EXPECT_EQ(detail::kAtanPoints[0].atanC, 0.0);
    for (int i = 1; i < detail::kAtanPointCount; ++i) {
        const int e = (i - 1) / 8 - 5, j = (i - 1) % 8;
        const double c = detail::kAtanPoints[i].c;
        EXPECT_EQ(c, std::ldexp(1.0 + (2 * j + 1) / 16.0, e)) << i;
        std::uint64_t b;
        std::memcpy(&b, &c, sizeof b);
        EXPECT_EQ(static_cast<int>(b >> 49) - detail::kAtanIndexBase, i);
        mpfr_set_d(v.v, c, MPFR_RNDN);
        mpfr_atan(v.v, v.v, MPFR_RNDN);
        EXPECT_EQ(detail::kAtanPoints[i].atanC, mpfr_get_d(v.v, MPFR_RNDN)) << "atan(" << c << ")";
    }
}

TEST(NumericsFloatTables, ArcCosineCoefficientsFollowFromTheSeries) {
    // acos(1 - w) / sqrt(2w) = sum b_m w^m, b_m = C(2m, m) / (8^m (2m + 1)); at c the coefficient of
    // d^k is sum_m b_m C(m, k) c^(m - k). 400 terms leave out less than 2^-300 for c <= 1.
    constexpr int kTerms = 400;
    std::vector<Mpfr> b(kTerms);
    Mpfr t(300), term(300), sum(300), c(300);
    mpfr_set_ui(t.v, 1, MPFR_RNDN);  // C(2m, m) / 8^m
    for (int m = 0; m < kTerms; ++m) {
        if (m > 0) {
            mpfr_mul_ui(t.v, t.v, static_cast<unsigned long>(2 * m) * (2 * m - 1), MPFR_RNDN);
            mpfr_div_ui(t.v, t.v, static_cast<unsigned long>(m) * m * 8, MPFR_RNDN);
        }
        mpfr_div_ui(b[m].v, t.v, 2 * m + 1, MPFR_RNDN);
    }
    for (int i = 0; i <= 64; ++i) {
        mpfr_set_ui(c.v, i, MPFR_RNDN);
        mpfr_div_ui(c.v, c.v, 64, MPFR_RNDN);
        for (int k = 0; k <= detail::kAcosDegree; ++k) {
            mpfr_set_ui(sum.v, 0, MPFR_RNDN);
            for (int m = k; m < kTerms; ++m) {
                unsigned long long choose = 1;  // C(m, k), exact for m < 400 and k <= 6
                for (int q = 1; q <= k; ++q) choose = choose * (m - k + q) / q;
                mpfr_pow_ui(term.v, c.v, m - k, MPFR_RNDN);
                mpfr_mul_ui(term.v, term.v, static_cast<unsigned long>(choose), MPFR_RNDN);
                mpfr_mul(term.v, term.v, b[m].v, MPFR_RNDN);
                mpfr_add(sum.v, sum.v, term.v, MPFR_RNDN);
            }
            EXPECT_EQ(detail::kAcosPoly[i][k], mpfr_get_d(sum.v, MPFR_RNDN)) << "row " << i << ", d^" << k;
        }
    }
}

TEST(NumericsFloatTables, SplitConstantsAreExactEnough) {
    Mpfr v(400);
    mpfr_const_pi(v.v, MPFR_RNDN);
    mpfr_div_ui(v.v, v.v, 32, MPFR_RNDN);
    EXPECT_LT(residual(v.v, detail::kPio32P1, detail::kPio32P2, detail::kPio32P3), 0x1p-118);
    EXPECT_LT(residual(v.v, detail::kPio32P1, detail::kPio32P23, 0.0), 0x1p-89);
    EXPECT_TRUE(hasAtMostBits(detail::kPio32P1, 29));
    EXPECT_TRUE(hasAtMostBits(detail::kPio32P2, 29));
    EXPECT_EQ(detail::kPio32P23, detail::kPio32P2 + detail::kPio32P3);
    mpfr_const_log2(v.v, MPFR_RNDN);
    mpfr_div_ui(v.v, v.v, 64, MPFR_RNDN);
    EXPECT_LT(residual(v.v, detail::kLn2o64Hi, detail::kLn2o64Lo, 0.0), 0x1p-98);
    EXPECT_TRUE(hasAtMostBits(detail::kLn2o64Hi, 37));
}

TEST(NumericsFloatKernels, FloatsStayAwayFromMultiplesOfHalfPi) {
    // Every float below 2^19 lies at least 2^-27.9 from every non-zero multiple of pi/2: the
    // nearest floats to each multiple, n = 1 .. 2^19 / (pi/2), decide it.
    Mpfr pio2(200), multiple(200), d(200);
    mpfr_const_pi(pio2.v, MPFR_RNDN);
    mpfr_div_2ui(pio2.v, pio2.v, 1, MPFR_RNDN);
    double nearest = 1.0;
    for (unsigned long n = 1; n <= 333773; ++n) {
        mpfr_mul_ui(multiple.v, pio2.v, n, MPFR_RNDN);
        const float f = mpfr_get_flt(multiple.v, MPFR_RNDN);
        for (float g : {std::nextafter(f, 0.0f), f, std::nextafter(f, 1e30f)}) {
            if (g >= 0x1p19f) continue;
            mpfr_set_flt(d.v, g, MPFR_RNDN);
            mpfr_sub(d.v, d.v, multiple.v, MPFR_RNDN);
            nearest = std::fmin(nearest, std::fabs(mpfr_get_d(d.v, MPFR_RNDN)));
        }
    }
    EXPECT_GE(nearest, 0x1.1p-28);
    EXPECT_LT(nearest, 0x1p-27);  // the search reaches the close ones
}

TEST(NumericsFloatKernels, ErrorsStayWithinTheirBounds) {
    using Plain = detail::PlainOps;
    std::mt19937 rng(21);
    Mpfr x(200), exact(200);
    const auto reference = [&](int (*f)(mpfr_ptr, mpfr_srcptr, mpfr_rnd_t), double in) {
        mpfr_set_d(x.v, in, MPFR_RNDN);
        f(exact.v, x.v, MPFR_RNDN);
    };
    // Sine and cosine: uniform arguments in both kernels' ranges, and the floats nearest to
    // multiples of pi/2 (the reduced argument near 0).
    std::uniform_real_distribution<float> narrow(-0x1p9f, 0x1p9f), wide(-0x1p19f, 0x1p19f);
    std::uniform_int_distribution<int> multiple(1, 333000);
    for (int i = 0; i < 40000; ++i) {
        const bool near = i % 4 == 3;
        const float a = near ? static_cast<float>(multiple(rng) * 1.57079632679489661923) : (i % 2 ? narrow(rng) : wide(rng));
        const bool inNarrow = std::fabs(a) < 0x1p9f;
        for (unsigned shift : {0u, 16u}) {
            const double y = inNarrow ? detail::sinCosTableV<Plain, false>(static_cast<double>(a), shift)
                                      : detail::sinCosTableV<Plain, true>(static_cast<double>(a), shift);
            reference(shift ? mpfr_cos : mpfr_sin, a);
            ASSERT_LE(relativeError(y, exact.v), detail::kTrigMargin) << std::hexfloat << a << " shift " << shift;
        }
    }
    std::uniform_real_distribution<float> exponent(-104.0f, 89.0f);
    for (int i = 0; i < 40000; ++i) {
        const float e = exponent(rng);
        reference(mpfr_exp, e);
        ASSERT_LE(relativeError(detail::expTableV<Plain>(static_cast<double>(e)), exact.v), detail::kExpMargin) << e;
    }
    // Arc tangent: float magnitudes of every binade, and quotients of floats (atan2f's doubles).
    std::uniform_int_distribution<std::uint32_t> magnitude(0x01000000u, 0x7f7fffffu);
    std::uniform_real_distribution<double> level(1.0, 300.0);
    for (int i = 0; i < 40000; ++i) {
        float f;
        const std::uint32_t m = magnitude(rng);
        std::memcpy(&f, &m, sizeof f);
        const double t = i % 2 ? static_cast<double>(f) : static_cast<double>(static_cast<float>(level(rng))) / static_cast<float>(level(rng));
        const double tc = t < 0x1p100 ? t : 0x1p100;
        reference(mpfr_atan, tc);
        ASSERT_LE(relativeError(detail::atanTableV<Plain>(tc), exact.v), 0x1p-50) << t;
    }
    std::uniform_real_distribution<float> unit(-1.0f, 1.0f);
    for (int i = 0; i < 40000; ++i) {
        const float c = i == 0 ? -1.0f : unit(rng);
        reference(mpfr_acos, c);
        ASSERT_LE(relativeError(detail::acosPoly<Plain>(static_cast<double>(c)), exact.v), 0x1p-50) << c;
    }
}

TEST(NumericsFloatKernels, IntegerRoundingTestFindsTheMidpoints) {
    // y = a float midpoint + delta units of the double's last place: decided exactly when
    // |delta| > ulps, and then the nearest float is y's own rounding.
    std::mt19937 rng(22);
    std::uniform_int_distribution<std::uint32_t> floatBits(0x00800000u, 0x7f7ffffeu);
    std::uniform_int_distribution<int> delta(-40, 40);
    for (int i = 0; i < 100000; ++i) {
        float f;
        const std::uint32_t b = floatBits(rng);
        std::memcpy(&f, &b, sizeof f);
        const double midpoint = (static_cast<double>(f) + static_cast<double>(std::nextafter(f, 1e30f))) / 2;
        const int d = delta(rng);
        const double y = std::ldexp(midpoint, 0) + d * (std::nextafter(midpoint, 1e300) - midpoint);
        const double signedY = i % 2 ? -y : y;
        EXPECT_EQ(detail::roundsSafely(signedY, 16), d > 16 || d < -16) << std::hexfloat << signedY;
    }
    // Next to a float itself (and a power of two, where the double's spacing changes) nothing is
    // undecided.
    EXPECT_TRUE(detail::roundsSafely(1.0, 16));
    EXPECT_TRUE(detail::roundsSafely(std::nextafter(2.0, 0.0), 16));
    EXPECT_TRUE(detail::roundsSafely(0x1p-126, 16));
}
