// The double sin, cos, atan and atan2 against MPFR: their tables, the special values of C99 Annex F,
// the hard cases (huge arguments next to multiples of pi/2, tiny and subnormal arguments, quotients
// at the ends of the range), and their two internal paths called directly on ordinary inputs: the
// fast path's error bound must hold, and the 256-bit path must round correctly on its own (it decides
// only a few inputs in 10^5 through the public functions).
#include <gtest/gtest.h>

#include <mpfr.h>

#include "MpfrTestUtil.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "TrigKernelsDouble.h"
#include "numerics.h"
#include "numerics/check/DoubleInputs.h"

namespace num = XELORAALGO::num;
namespace detail = XELORAALGO::num::detail;
namespace dd = XELORAALGO::num::dd;

namespace XELORAALGO::num::detail {
dd::DD sinCosFastFmaForTest(double x, bool cosine, double& err);  // FmaPaths.cpp
dd::DD atanAngleFastFmaForTest(double n, double d, bool inverted, bool xNegative, double& err);
}  // namespace XELORAALGO::num::detail

namespace {

constexpr int kBits = 2400;  // enough for arguments up to 2^1024

using doublecheck::bitsOf;
using mpfrtest::nearest;

double expected(mpfrtest::Unary f, double x) { return mpfrtest::rounded(f, x); }
double expectedAtan2(double y, double x) { return mpfrtest::rounded(mpfr_atan2, y, x); }

#define EXPECT_SAME_DOUBLE(got, want) EXPECT_EQ(bitsOf(got), bitsOf(want)) << std::hexfloat << (got) << " vs " << (want)

}  // namespace

TEST(NumericsDoubleTables, EntriesAreTheNearestDoublesOfTheirValues) {
    Mpfr pi(kBits), v(kBits), rest(kBits);
    mpfr_const_pi(pi.v, MPFR_RNDN);
    auto expectPair = [&](const dd::DD& got, const char* what, int i) {
        const double hi = mpfr_get_d(v.v, MPFR_RNDN);
        mpfr_sub_d(rest.v, v.v, hi, MPFR_RNDN);
        EXPECT_EQ(got.hi, hi) << what << i;
        EXPECT_EQ(got.lo, mpfr_get_d(rest.v, MPFR_RNDN)) << what << i;
    };
    for (int i = 0; i < 512; ++i) {
        mpfr_mul_si(v.v, pi.v, i, MPFR_RNDN);
        mpfr_div_ui(v.v, v.v, 1024, MPFR_RNDN);
        mpfr_sin(v.v, v.v, MPFR_RNDN);
        expectPair({detail::kSinHi[i], detail::kSinLo[i]}, "sin(i pi/1024), i = ", i);
        mpfr_mul_si(v.v, pi.v, i, MPFR_RNDN);
        mpfr_div_ui(v.v, v.v, 1024, MPFR_RNDN);
        mpfr_cos(v.v, v.v, MPFR_RNDN);
        expectPair({detail::kCosHi[i], detail::kCosLo[i]}, "cos(i pi/1024), i = ", i);
    }
    for (int i = 0; i <= 512; ++i) {
        mpfr_set_si(v.v, i, MPFR_RNDN);
        mpfr_div_ui(v.v, v.v, 512, MPFR_RNDN);
        mpfr_atan(v.v, v.v, MPFR_RNDN);
        expectPair({detail::kAtanHi[i], detail::kAtanLo[i]}, "atan(i/512), i = ", i);
    }
    mpfr_div_ui(v.v, pi.v, 1024, MPFR_RNDN);
    expectPair(detail::kPi1024, "pi/1024", 1);
    mpfr_sub_d(v.v, v.v, detail::kPi1024.hi, MPFR_RNDN);
    mpfr_sub_d(v.v, v.v, detail::kPi1024.lo, MPFR_RNDN);
    EXPECT_EQ(detail::kPi1024Third, mpfr_get_d(v.v, MPFR_RNDN)) << "third part of pi/1024";
    // 2/pi, 64 bits a word, and pi/2 to 256 bits.
    mpfr_ui_div(v.v, 2, pi.v, MPFR_RNDN);
    for (int w = 0; w < detail::kTwoOverPiWordCount; ++w) {
        mpfr_mul_2ui(v.v, v.v, 64, MPFR_RNDN);
        Mpfr whole(2400);
        mpfr_trunc(whole.v, v.v);
        mpfr_sub(v.v, v.v, whole.v, MPFR_RNDN);
        mpfr_div_2ui(whole.v, whole.v, 32, MPFR_RNDN);
        Mpfr low(2400);
        mpfr_frac(low.v, whole.v, MPFR_RNDN);
        const std::uint64_t word = (static_cast<std::uint64_t>(mpfr_get_ui(whole.v, MPFR_RNDZ)) << 32) |
                                   static_cast<std::uint64_t>(mpfr_get_d(low.v, MPFR_RNDN) * 0x1p32);
        EXPECT_EQ(detail::kTwoOverPiWords[w], word) << "word " << w;
    }
    mpfr_div_2ui(v.v, pi.v, 1, MPFR_RNDN);
    const num::mw::Mw pio2 = detail::pio2Mw();
    mpfr_sub_d(v.v, v.v, num::mw::toDouble(pio2), MPFR_RNDN);
    mpfr_sub_d(v.v, v.v, num::mw::toDouble(num::mw::sub(pio2, num::mw::fromDouble(num::mw::toDouble(pio2)))), MPFR_RNDN);
    EXPECT_LT(std::fabs(mpfr_get_d(v.v, MPFR_RNDN)), 0x1p-105);
}

TEST(NumericsDouble, SpecialValuesFollowAnnexF) {
    const double inf = INFINITY, nan = NAN, tiny = 0x1p-1074, small = 0x1.8p-30;
    Mpfr pi(kBits);
    mpfr_const_pi(pi.v, MPFR_RNDN);
    Mpfr t(kBits);
    auto piTimes = [&](int num, int den) {
        mpfr_mul_si(t.v, pi.v, num, MPFR_RNDN);
        mpfr_div_si(t.v, t.v, den, MPFR_RNDN);
        return nearest(t.v);
    };
    const double pi1 = piTimes(1, 1), pio2 = piTimes(1, 2), pio4 = piTimes(1, 4), pi3o4 = piTimes(3, 4);
    // sin and cos: zeros keep their sign in sin, cos of a zero is 1, infinities and NaN give NaN,
    // tiny and subnormal arguments are their own sine.
    for (double z : {0.0, -0.0, tiny, -tiny, small, -small, 0x1p-1022}) {
        EXPECT_SAME_DOUBLE(num::sin(z), expected(mpfr_sin, z));
        EXPECT_SAME_DOUBLE(num::cos(z), expected(mpfr_cos, z));
        EXPECT_SAME_DOUBLE(num::atan(z), expected(mpfr_atan, z));
    }
    EXPECT_SAME_DOUBLE(num::sin(-0.0), -0.0);
    EXPECT_SAME_DOUBLE(num::atan(-0.0), -0.0);
    for (double v : {inf, -inf, nan}) {
        EXPECT_TRUE(std::isnan(num::sin(v))) << v;
        EXPECT_TRUE(std::isnan(num::cos(v))) << v;
    }
    EXPECT_TRUE(std::isnan(num::atan(nan)));
    EXPECT_SAME_DOUBLE(num::atan(inf), pio2);
    EXPECT_SAME_DOUBLE(num::atan(-inf), -pio2);
    EXPECT_SAME_DOUBLE(num::atan(0x1p1023), pio2);
    // atan2: every combination of signed zeros, infinities, finite values on the axes and NaN.
    struct Case {
        double y, x, want;
    };
    const Case cases[] = {
        {0.0, 0.0, 0.0},      {-0.0, 0.0, -0.0},     {0.0, -0.0, pi1},     {-0.0, -0.0, -pi1},
        {0.0, 3.0, 0.0},      {-0.0, 3.0, -0.0},     {0.0, -3.0, pi1},     {-0.0, -3.0, -pi1},
        {3.0, 0.0, pio2},     {3.0, -0.0, pio2},     {-3.0, 0.0, -pio2},   {-3.0, -0.0, -pio2},
        {inf, 3.0, pio2},     {-inf, -3.0, -pio2},   {inf, 0.0, pio2},     {-inf, -0.0, -pio2},
        {3.0, inf, 0.0},      {-3.0, inf, -0.0},     {3.0, -inf, pi1},     {-3.0, -inf, -pi1},
        {inf, inf, pio4},     {-inf, inf, -pio4},    {inf, -inf, pi3o4},   {-inf, -inf, -pi3o4},
        {0.0, inf, 0.0},      {-0.0, -inf, -pi1},    {1.0, 1.0, pio4},     {-5.0, -5.0, -pi3o4},
        {tiny, -1.0, pi1},    {-1.0, tiny, -pio2},   {0x1p1023, tiny, pio2}, {tiny, 0x1p1023, 0.0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << std::hexfloat << "atan2(" << c.y << ", " << c.x << ")");
        EXPECT_SAME_DOUBLE(num::atan2(c.y, c.x), c.want);
        if (c.y - c.y == 0 && c.x - c.x == 0) {
            EXPECT_SAME_DOUBLE(num::atan2(c.y, c.x), expectedAtan2(c.y, c.x));
        }
    }
    EXPECT_TRUE(std::isnan(num::atan2(nan, 1.0)));
    EXPECT_TRUE(std::isnan(num::atan2(1.0, nan)));
    EXPECT_TRUE(std::isnan(num::atan2(inf, nan)));
}

TEST(NumericsDouble, HardCasesRoundCorrectly) {
    std::mt19937_64 rng(14);
    Mpfr pi(kBits), k(kBits), t(kBits);
    mpfr_const_pi(pi.v, MPFR_RNDN);
    // The doubles nearest to k pi/2, and their neighbours, over the whole exponent range (the
    // reduced argument loses up to 61 leading bits there).
    for (int e = 1; e < 1024; e += 3) {
        mpfr_set_ui(k.v, static_cast<unsigned long>(rng() % 1000003u) + 1, MPFR_RNDN);
        mpfr_mul_2si(k.v, k.v, e - 20, MPFR_RNDN);
        mpfr_rint(k.v, k.v, MPFR_RNDN);
        mpfr_mul(t.v, k.v, pi.v, MPFR_RNDN);
        mpfr_div_2ui(t.v, t.v, 1, MPFR_RNDN);
        const double centre = mpfr_get_d(t.v, MPFR_RNDN);
        if (!std::isfinite(centre)) continue;
        double x = centre;
        for (int step = 0; step < 3; ++step, x = std::nextafter(x, INFINITY)) {
            for (double s : {x, -x}) {
                EXPECT_SAME_DOUBLE(num::sin(s), expected(mpfr_sin, s)) << std::hexfloat << s;
                EXPECT_SAME_DOUBLE(num::cos(s), expected(mpfr_cos, s)) << std::hexfloat << s;
            }
        }
    }
    // The double closest to a multiple of pi/2 in the whole range.
    const double closest = std::ldexp(6381956970095103.0, 797);
    EXPECT_SAME_DOUBLE(num::sin(closest), expected(mpfr_sin, closest));
    EXPECT_SAME_DOUBLE(num::cos(closest), expected(mpfr_cos, closest));
    EXPECT_SAME_DOUBLE(num::cos(0x1.fffffffffffffp1023), expected(mpfr_cos, 0x1.fffffffffffffp1023));
    // Arguments at the thresholds of the shortcuts and of the reduction.
    for (double x : {0x1p-26, 0x1.fffffffffffffp-27, 0x1p-27, 0x1.921fb54442d18p-10, 0x1.921fb54442d19p-10, 0.78,
                     0x1.921fb54442d18p-1, 0x1.921fb54442d18p+0, 0x1p20, 0x1p64, 0x1.fffffffffffffp63}) {
        EXPECT_SAME_DOUBLE(num::sin(x), expected(mpfr_sin, x)) << std::hexfloat << x;
        EXPECT_SAME_DOUBLE(num::cos(x), expected(mpfr_cos, x)) << std::hexfloat << x;
        EXPECT_SAME_DOUBLE(num::atan(x), expected(mpfr_atan, x)) << std::hexfloat << x;
        EXPECT_SAME_DOUBLE(num::atan(1.0 / x), expected(mpfr_atan, 1.0 / x)) << std::hexfloat << x;
    }
    // atan2 with quotients at the ends of the range: subnormal and underflowing results, results
    // next to pi/2 and pi, operands that overflow or underflow when multiplied.
    std::uniform_real_distribution<double> unit(0.5, 1.0);
    for (int i = 0; i < 4000; ++i) {
        const int ey = static_cast<int>(rng() % 2098) - 1074, ex = static_cast<int>(rng() % 2098) - 1074;
        const double y = std::ldexp(unit(rng), ey) * (i & 1 ? -1 : 1);
        const double x = std::ldexp(unit(rng), i % 3 == 0 ? ey + static_cast<int>(rng() % 140) - 70 : ex) * (i & 2 ? -1 : 1);
        EXPECT_SAME_DOUBLE(num::atan2(y, x), expectedAtan2(y, x)) << std::hexfloat << y << ", " << x;
    }
}

// The fast paths in both forms: plain (Dekker's products, compiled here) and fused multiply-adds
// (FmaPaths.cpp, where the processor has them).
struct TrigForm {
    const char* name;
    dd::DD (*sinCos)(double, bool, double&);
    dd::DD (*atanAngle)(double, double, bool, bool, double&);
};

std::vector<TrigForm> trigForms() {
    std::vector<TrigForm> forms{{"plain", detail::sinCosFast<detail::DekkerProduct>,
                                 detail::atanAngleFast<detail::DekkerProduct>}};
    if (detail::kFmaUsable) {
        forms.push_back({"fused", detail::sinCosFastFmaForTest, detail::atanAngleFastFmaForTest});
    }
    return forms;
}

TEST(NumericsDouble, FastPathErrorBoundsHold) {
    // The bound each fast path reports must contain its actual error, on ordinary arguments, on
    // arguments next to multiples of pi/1024 and on huge ones; for the arc tangent on ratios n/d of
    // every size, next to the table points and on both sides of 1/1024 (the smallest non-zero point
    // is 1/512: its numerator n - c d must still be exact).
    for (const TrigForm& form : trigForms()) {
        std::mt19937_64 rng(15);
        std::uniform_real_distribution<double> unit(-1.0, 1.0);
        Mpfr in(53), den(53), exact(400);
        for (int i = 0; i < 20000; ++i) {
            double x = i % 3 == 0 ? 512.0 * unit(rng) : std::ldexp(unit(rng), static_cast<int>(rng() % 1100) - 26);
            if (i % 5 == 0) x = std::nearbyint(x * 0x1.45f306dc9c883p+8) * 0x1.921fb54442d18p-9;  // near j pi/1024
            if (std::fabs(x) < 0x1p-26 || !std::isfinite(x)) continue;
            mpfr_set_d(in.v, x, MPFR_RNDN);
            for (bool cosine : {false, true}) {
                double err;
                const dd::DD got = form.sinCos(x, cosine, err);
                (cosine ? mpfr_cos : mpfr_sin)(exact.v, in.v, MPFR_RNDN);
                ASSERT_LE(mpfrtest::errorOf(got.hi, got.lo, exact.v, false), err)
                    << form.name << std::hexfloat << x << (cosine ? " cos" : " sin");
                ASSERT_LT(err, std::fabs(got.hi) * 0x1p-66) << "bound too loose to decide, " << std::hexfloat << x;
            }
            const double d = std::ldexp(std::fabs(unit(rng)) + 0.5, static_cast<int>(rng() % 200) - 100);
            double n = d * std::ldexp(std::fabs(unit(rng)), -static_cast<int>(rng() % 64));
            if (i % 7 == 0) n = d * ((static_cast<double>(rng() % 513) + unit(rng) * 0x1p-20) / 512);
            if (i % 11 == 0) n = d * (0x1p-10 + unit(rng) * 0x1p-40);
            if (!(n > 0.0 && n <= d && n >= d * 0x1p-64)) continue;
            // The angle of (x, y) = (-+d, n) or (-+n, d): atan(n/d) reflected by inverted and xNegative.
            const bool inverted = i % 2 == 1, xNegative = i % 4 >= 2;
            mpfr_set_d(in.v, inverted ? d : n, MPFR_RNDN);
            mpfr_set_d(den.v, xNegative ? -(inverted ? n : d) : (inverted ? n : d), MPFR_RNDN);
            mpfr_atan2(exact.v, in.v, den.v, MPFR_RNDN);
            double err;
            const dd::DD got = form.atanAngle(n, d, inverted, xNegative, err);
            ASSERT_LE(mpfrtest::errorOf(got.hi, got.lo, exact.v, false), err) << form.name << std::hexfloat << n << " / " << d << " "
                                                        << inverted << xNegative;
            ASSERT_LT(err, got.hi * 0x1p-66) << std::hexfloat << n << " / " << d;
        }
    }
}

TEST(NumericsDouble, FusedAndPlainFastPathsSettleOnTheSameBits) {
    // Whatever either form accepts is the correctly rounded value, so both agree with the public
    // functions (checked against MPFR elsewhere) on every input they settle.
    if (!detail::kFmaUsable) GTEST_SKIP() << "no fused multiply-add on this processor";
    std::mt19937_64 rng(17);
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    int settled = 0, tried = 0;
    for (int i = 0; i < 200000; ++i) {
        // The rounded forms take |x| < 2^20 (larger arguments go the general way).
        const double x = i % 2 == 0 ? 600.0 * unit(rng) : std::ldexp(unit(rng), static_cast<int>(rng() % 46) - 26);
        if (std::fabs(x) < 0x1p-26) continue;
        for (bool cosine : {false, true}) {
            const double plain = detail::sinCosRounded<detail::DekkerProduct>(x, cosine);
            const double fused = detail::sinCosRoundedFma(x, cosine);
            const bool p = plain == plain, f = fused == fused;  // a NaN: not settled
            const double want = cosine ? num::cos(x) : num::sin(x);
            if (p) {
                ASSERT_EQ(bitsOf(plain), bitsOf(want)) << std::hexfloat << x << (cosine ? " cos" : " sin");
            }
            if (f) {
                ASSERT_EQ(bitsOf(fused), bitsOf(want)) << std::hexfloat << x << (cosine ? " cos" : " sin");
            }
            settled += p && f;
            ++tried;
        }
        const double y = 1000.0 * unit(rng), xx = 1000.0 * unit(rng);
        const double ay = std::fabs(y), ax = std::fabs(xx);
        if (ay == 0.0 || ax == 0.0) continue;
        const bool inverted = ay > ax;
        const double n = inverted ? ax : ay, d = inverted ? ay : ax;
        const double plain = detail::atanRounded<detail::DekkerProduct>(n, d, inverted, xx < 0);
        const double fused = detail::atanRoundedFma(n, d, inverted, xx < 0);
        const bool p = plain == plain, f = fused == fused;
        const double want = std::fabs(num::atan2(y, xx));
        if (p) {
            ASSERT_EQ(bitsOf(plain), bitsOf(want)) << std::hexfloat << y << ", " << xx;
        }
        if (f) {
            ASSERT_EQ(bitsOf(fused), bitsOf(want)) << std::hexfloat << y << ", " << xx;
        }
        settled += p && f;
        ++tried;
    }
    EXPECT_GT(settled, tried - tried / 1000);  // both fast paths settle nearly every input
}

TEST(NumericsDouble, AccuratePathsRoundCorrectlyOnTheirOwn) {
    std::mt19937_64 rng(16);
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    for (int i = 0; i < 1500; ++i) {
        const double x = i % 2 == 0 ? 512.0 * unit(rng) : std::ldexp(unit(rng), static_cast<int>(rng() % 1050) - 26);
        if (std::fabs(x) < 0x1p-26) continue;
        EXPECT_SAME_DOUBLE(detail::sinCosAccurate256(x, false), expected(mpfr_sin, x)) << std::hexfloat << x;
        EXPECT_SAME_DOUBLE(detail::sinCosAccurate256(x, true), expected(mpfr_cos, x)) << std::hexfloat << x;
        const double t = std::fabs(std::ldexp(unit(rng), static_cast<int>(rng() % 200) - 100));
        EXPECT_SAME_DOUBLE(num::mw::toDouble(detail::atanAccurate256(num::mw::fromDouble(t))), expected(mpfr_atan, t))
            << std::hexfloat << t;
        // Operands over the whole range: subnormal, huge, quotients far beyond the double range.
        const double y = i % 3 == 0 ? 300.0 * unit(rng) : std::ldexp(unit(rng), static_cast<int>(rng() % 2098) - 1074);
        const double xx = i % 3 == 0 ? 300.0 * unit(rng) : std::ldexp(unit(rng), static_cast<int>(rng() % 2098) - 1074);
        if (y == 0.0 || xx == 0.0) continue;
        EXPECT_SAME_DOUBLE(std::copysign(detail::atan2Accurate256(std::fabs(y), std::fabs(xx), xx < 0), y),
                           expectedAtan2(y, xx)) << std::hexfloat << y << ", " << xx;
    }
}
