// The kernels of the double exp and pow against MPFR: their tables, the error bounds their rounding
// tests rely on, the 256-bit fallback of pow, and the agreement of the plain and fused-multiply-add
// forms. The kernels' faults would otherwise show only on the rare inputs near a rounding boundary.
#include <gtest/gtest.h>

#include <mpfr.h>

#include "MpfrTestUtil.h"

#include <cmath>
#include <random>

#include "FastPaths.h"
#include "numerics/check/DoubleInputs.h"
#include "numerics.h"

namespace num = XELORAALGO::num;
namespace detail = XELORAALGO::num::detail;

namespace XELORAALGO::num::detail {
double expNormalPlain(double x);
double powPositivePlain(double x, double y);
ScaledDd expFastFmaForTest(double xh, double xl, bool lowPart);  // FmaPaths.cpp
}  // namespace XELORAALGO::num::detail

using mpfrtest::errorOf;

TEST(NumericsExpPowTables, EntriesHoldTheirStatedValues) {
    Mpfr v, rest;
    for (int j = 0; j < 512; ++j) {
        mpfr_set_si(v.v, j, MPFR_RNDN);
        mpfr_div_ui(v.v, v.v, 512, MPFR_RNDN);
        mpfr_exp2(v.v, v.v, MPFR_RNDN);
        const double hi = mpfr_get_d(v.v, MPFR_RNDN);
        mpfr_sub_d(rest.v, v.v, hi, MPFR_RNDN);
        ASSERT_EQ(detail::kExp2Dd[j].hi, hi) << "2^(" << j << "/512)";
        ASSERT_EQ(detail::kExp2Dd[j].lo, mpfr_get_d(rest.v, MPFR_RNDN)) << "2^(" << j << "/512)";
    }
    for (int i = 0; i <= 128; ++i) {
        const detail::LogEntry& t = detail::kLogTable[i];
        // c is a 24-bit point whose product with any m of its interval stays within 2^-8 + 2^-23 of 1.
        const double centre = 1.0 + i / 128.0;
        ASSERT_TRUE(mpfrtest::hasAtMostBits(t.c, 24)) << i;
        for (const double m : {centre - 1.0 / 256, centre + 1.0 / 256 - 0x1p-52}) {
            if (m >= 1.0 && m < 2.0) {
                ASSERT_LE(std::fabs(m * t.c - 1.0), 0x1p-8 + 0x1p-23) << i;
            }
        }
        mpfr_set_d(v.v, t.c, MPFR_RNDN);
        mpfr_log(v.v, v.v, MPFR_RNDN);
        mpfr_neg(v.v, v.v, MPFR_RNDN);
        ASSERT_EQ(std::ldexp(t.minusLogC.hi, 42), std::trunc(std::ldexp(t.minusLogC.hi, 42))) << i;
        ASSERT_LE(std::fabs(mpfr_get_d(v.v, MPFR_RNDN) - t.minusLogC.hi), 0x1p-43) << i;
        mpfr_sub_d(rest.v, v.v, t.minusLogC.hi, MPFR_RNDN);
        ASSERT_EQ(t.minusLogC.lo, mpfr_get_d(rest.v, MPFR_RNDN)) << i;
    }
    // Near 1 the reduction is the identity, and near 2 it is exactly ln2 in the constant's own parts.
    EXPECT_EQ(detail::kLogTable[0].c, 1.0);
    EXPECT_EQ(detail::kLogTable[128].c, 0.5);
    EXPECT_EQ(detail::kLogTable[128].minusLogC.hi, detail::kLn2Hi);
    EXPECT_EQ(detail::kLogTable[128].minusLogC.lo, detail::kLn2Lo);
    // ln2/512 in three parts, each the nearest double to the rest (the fused reduction of exp).
    mpfr_const_log2(v.v, MPFR_RNDN);
    mpfr_div_ui(v.v, v.v, 512, MPFR_RNDN);
    for (const double part : {detail::kL1, detail::kL2, detail::kL3}) {
        EXPECT_EQ(part, mpfr_get_d(v.v, MPFR_RNDN));
        mpfr_sub_d(v.v, v.v, part, MPFR_RNDN);
    }
}

TEST(NumericsExpPowKernels, ExponentialStaysWithinItsErrorBound) {
    // Random arguments, and arguments within 2^-40 of the reduction points k ln2/512 and of the
    // midpoints between them (where |r| is largest and where the index changes).
    std::mt19937_64 rng(21);
    std::uniform_real_distribution<double> domain(-708.0, 709.0), unit(-1.0, 1.0);
    Mpfr exact;
    double worst = 0.0;
    for (int i = 0; i < 20000; ++i) {
        double x = domain(rng);
        if (i % 2 == 1) {
            const double k = std::nearbyint(x * 512.0 / M_LN2) + (i % 4 == 1 ? 0.5 : 0.0);
            x = k * (M_LN2 / 512.0) + unit(rng) * 0x1p-40;
        }
        const double xl = unit(rng) * 0x1p-43;  // e^(x + xl), |xl| up to 2^-43, as pow calls it
        // The plain form, and the fused one (its own reduction) where the processor has it.
        for (const bool fused : {false, true}) {
            if (fused && !detail::kFmaUsable) continue;
            const detail::ScaledDd v = fused ? detail::expFastFmaForTest(x, 0.0, false)
                                             : detail::expFast<detail::DekkerProduct, false>(x, 0.0);
            mpfr_set_d(exact.v, x, MPFR_RNDN);
            mpfr_exp(exact.v, exact.v, MPFR_RNDN);
            worst = std::max(worst, errorOf(v.hi, v.lo, exact.v, true, v.scale));
            const detail::ScaledDd w = fused ? detail::expFastFmaForTest(x, xl, true)
                                             : detail::expFast<detail::DekkerProduct, true>(x, xl);
            mpfr_set_d(exact.v, x, MPFR_RNDN);
            mpfr_add_d(exact.v, exact.v, xl, MPFR_RNDN);
            mpfr_exp(exact.v, exact.v, MPFR_RNDN);
            worst = std::max(worst, errorOf(w.hi, w.lo, exact.v, true, w.scale));
        }
    }
    EXPECT_LT(worst, 0x1p-70);
}

TEST(NumericsExpPowKernels, LogarithmStaysWithinItsErrorBound) {
    // Bound: 2^-67 |u| + 2^-84 absolute; near 1 (u = x - 1) that is a relative bound.
    std::mt19937_64 rng(22);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    Mpfr exact;
    for (int i = 0; i < 20000; ++i) {
        double x;
        switch (i % 4) {
            case 0: x = doublecheck::fromBits(rng() >> 1); break;                     // every positive double
            case 1: x = 1.0 + std::ldexp(unit(rng) - 0.5, -static_cast<int>(rng() % 50) - 7); break;  // near 1
            case 2: x = std::ldexp(1.0 + unit(rng), static_cast<int>(rng() % 2) - 1); break;
            default: x = doublecheck::fromBits(rng() % (1ull << 52) + 1);              // subnormal
        }
        if (!(x > 0.0) || std::isinf(x) || x == 1.0) continue;
        const detail::LogDd l = detail::logFast<detail::DekkerProduct>(x);
        mpfr_set_d(exact.v, x, MPFR_RNDN);
        mpfr_log(exact.v, exact.v, MPFR_RNDN);
        ASSERT_LE(errorOf(l.value.hi, l.value.lo, exact.v, false), 0x1p-67 * l.u + 0x1p-84) << std::hexfloat << x;
        ASSERT_LE(l.u, 0x1p-8 + 0x1p-23) << std::hexfloat << x;
    }
}

TEST(NumericsExpPowKernels, PowFastPathStaysWithinTheBoundOfItsRoundingTest) {
    // The fast path of pow accepts hi + lo when hi (2^-69 + 1.02 errW) bounds its error; that bound
    // must hold for every input it sees, near-1 bases with large exponents included.
    std::mt19937_64 rng(25);
    Mpfr exact, base;
    int checked = 0;
    for (std::uint64_t i = 0; checked < 20000; ++i) {
        const auto in = doublecheck::powInput(rng, i);
        const double x = std::fabs(in.first), y = in.second, ay = std::fabs(y);
        if (!(x > 0.0) || std::isinf(x) || x == 1.0 || !(ay >= 0x1p-64 && ay < 0x1p64)) continue;
        const detail::LogDd l = detail::logFast<detail::DekkerProduct>(x);
        num::dd::DD w = detail::DekkerProduct::exact(l.value.hi, y);
        w.lo = l.value.lo * y + w.lo;
        if (!(w.hi > -708.3 && w.hi < 709.7)) continue;
        const double errW = ay * (l.u * 0x1p-66 + 0x1p-83) + std::fabs(w.hi) * 0x1p-100;
        const detail::ScaledDd v = detail::expFast<detail::DekkerProduct, true>(w.hi, w.lo);
        mpfr_set_d(base.v, x, MPFR_RNDN);
        mpfr_set_d(exact.v, y, MPFR_RNDN);
        mpfr_pow(exact.v, base.v, exact.v, MPFR_RNDN);
        ASSERT_LT(errorOf(v.hi, v.lo, exact.v, true, v.scale), 0x1p-69 + 1.02 * errW) << std::hexfloat << x << " " << y;
        ++checked;
    }
}

TEST(NumericsExpPowKernels, AccuratePowRoundsCorrectly) {
    // The 256-bit fallback decides only the inputs the fast path cannot; here it decides every one.
    std::mt19937_64 rng(23);
    for (int i = 0; i < 3000; ++i) {
        const auto in = doublecheck::powInput(rng, static_cast<std::uint64_t>(i));
        const double x = std::fabs(in.first), y = in.second;
        if (!(x > 0.0) || std::isinf(x) || x == 1.0 || !(std::fabs(y) >= 0x1p-64 && std::fabs(y) < 0x1p64)) continue;
        const double w = y * std::log(x);
        if (!(w > -745.0 && w < 709.0)) continue;
        ASSERT_EQ(doublecheck::bitsOf(detail::powAccurate(x, y)), doublecheck::bitsOf(mpfrtest::rounded(mpfr_pow, x, y)))
            << std::hexfloat << x << " " << y;
    }
}

TEST(NumericsExpPowKernels, FusedAndPlainProductsGiveTheSameBits) {
    if (!detail::kFmaUsable) GTEST_SKIP() << "no fused multiply-add on this processor";
    std::mt19937_64 rng(24);
    std::uniform_real_distribution<double> domain(-708.0, 709.0), base(0.0, 1000.0), power(-60.0, 60.0);
    for (int i = 0; i < 200000; ++i) {
        const double x = domain(rng);
        ASSERT_EQ(doublecheck::bitsOf(detail::expNormalFma(x)), doublecheck::bitsOf(detail::expNormalPlain(x))) << x;
        const double b = base(rng), p = power(rng);
        if (b == 0.0) continue;
        ASSERT_EQ(doublecheck::bitsOf(detail::powPositiveFma(b, p)), doublecheck::bitsOf(detail::powPositivePlain(b, p)))
            << std::hexfloat << b << " " << p;
    }
}
