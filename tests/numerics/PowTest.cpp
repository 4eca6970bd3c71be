// pow of two doubles: the special values of C99 Annex F, results that IEEE arithmetic itself rounds
// correctly (x * x, 1 / x, the square root, integer conversions), exact results and midpoints between
// doubles, subnormal results and the overflow threshold.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

#include "numerics.h"
#include "numerics/check/DoubleInputs.h"

namespace num = XELORAALGO::num;
using doublecheck::bitsOf;

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Equal bits (so +0 and -0 differ), or both NaN.
::testing::AssertionResult sameBits(double got, double want) {
    if ((got != got && want != want) || bitsOf(got) == bitsOf(want)) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << std::hexfloat << "got " << got << ", want " << want;
}

}  // namespace

TEST(NumericsPow, AnnexFSpecialValues) {
    struct Case {
        double x, y, want;
    };
    const Case cases[] = {
        // pow(x, +-0) = 1 for every x, NaN too; pow(+1, y) = 1 for every y, NaN too.
        {kNaN, 0.0, 1.0}, {kNaN, -0.0, 1.0}, {-kInf, 0.0, 1.0}, {-3.5, -0.0, 1.0}, {0.0, 0.0, 1.0},
        {1.0, kNaN, 1.0}, {1.0, -kInf, 1.0}, {1.0, 1e300, 1.0},
        // Any other NaN argument gives NaN.
        {kNaN, 1.0, kNaN}, {2.0, kNaN, kNaN}, {-1.0, kNaN, kNaN},
        // pow(-1, +-inf) = 1; -1 to an integer power is +-1, however large the power.
        {-1.0, kInf, 1.0}, {-1.0, -kInf, 1.0}, {-1.0, 1e300, 1.0}, {-1.0, -0x1p64, 1.0}, {-1.0, 3.0, -1.0},
        {-1.0, -0x1.fffffffffffffp52, -1.0}, {-1.0, 0x1p-1074, kNaN},
        // pow(+-0, y): odd integer y < 0 gives +-inf, other y < 0 +inf; odd integer y > 0 gives +-0,
        // other y > 0 +0.
        {0.0, -3.0, kInf}, {-0.0, -3.0, -kInf}, {-0.0, -4.0, kInf}, {-0.0, -0.5, kInf}, {-0.0, -kInf, kInf},
        {0.0, 3.0, 0.0}, {-0.0, 3.0, -0.0}, {-0.0, 4.0, 0.0}, {-0.0, 0.5, 0.0}, {-0.0, kInf, 0.0},
        {-0.0, 0x1p53, 0.0}, {-0.0, 0x1.fffffffffffffp52, -0.0},
        // pow(x, -inf): +inf for |x| < 1, +0 for |x| > 1; pow(x, +inf) the other way round.
        {0.5, -kInf, kInf}, {-0.5, -kInf, kInf}, {2.0, -kInf, 0.0}, {-2.0, -kInf, 0.0},
        {0.5, kInf, 0.0}, {-0.5, kInf, 0.0}, {2.0, kInf, kInf}, {-2.0, kInf, kInf},
        // pow(-inf, y): odd integer y < 0 gives -0, other y < 0 +0; odd integer y > 0 gives -inf,
        // other y > 0 +inf. pow(+inf, y): +0 for y < 0, +inf for y > 0.
        {-kInf, -3.0, -0.0}, {-kInf, -2.0, 0.0}, {-kInf, -0.5, 0.0}, {-kInf, 3.0, -kInf}, {-kInf, 2.0, kInf},
        {-kInf, 0.5, kInf}, {kInf, -1e-300, 0.0}, {kInf, 1e-300, kInf},
        // A finite x < 0 and a finite non-integer y: NaN.
        {-2.0, 0.5, kNaN}, {-8.0, 1.0 / 3.0, kNaN}, {-1.0, 0x1.0000000000001p0, kNaN}, {-0x1p-1074, 0x1p-1074, kNaN},
    };
    for (const Case& c : cases) EXPECT_TRUE(sameBits(num::pow(c.x, c.y), c.want)) << std::hexfloat << c.x << " " << c.y;
}

TEST(NumericsPow, AgreesWithCorrectlyRoundedIeeeOperations) {
    // x^1 = x, x^2 = x * x, x^-1 = 1 / x, x^0.5 = sqrt(x) for x > 0: the IEEE operations round
    // correctly, overflow and underflow through the subnormals exactly as pow must. The bit patterns
    // cover every binade; x^2 with a 27-bit x is a midpoint, rounded to even.
    std::mt19937_64 rng(31);
    for (int i = 0; i < 200000; ++i) {
        double x = doublecheck::fromBits(rng() >> 1);
        if (i % 3 == 0) x = std::ldexp(static_cast<double>(doublecheck::oddInteger(rng, 27)), static_cast<int>(rng() % 1000) - 520);
        if (!(x > 0.0) || std::isinf(x)) continue;
        ASSERT_TRUE(sameBits(num::pow(x, 1.0), x));
        ASSERT_TRUE(sameBits(num::pow(x, 2.0), x * x)) << std::hexfloat << x;
        ASSERT_TRUE(sameBits(num::pow(x, -1.0), 1.0 / x)) << std::hexfloat << x;
        ASSERT_TRUE(sameBits(num::pow(x, 0.5), std::sqrt(x))) << std::hexfloat << x;
        ASSERT_TRUE(sameBits(num::pow(-x, 2.0), x * x)) << std::hexfloat << x;
        ASSERT_TRUE(sameBits(num::pow(-x, -1.0), -1.0 / x)) << std::hexfloat << x;
    }
}

TEST(NumericsPow, ExactPowersAndMidpointsRoundToNearestEven) {
    // t^n for odd integers t, as an exact integer converted once (the conversion rounds to nearest,
    // ties to even): up to 64 bits, so beyond 53 bits many are midpoints. Also (t^2)^(n/2) and
    // (t^4)^(n/4), and the sign of odd powers of negative bases.
    std::mt19937_64 rng(32);
    for (int i = 0; i < 100000; ++i) {
        const int n = 2 + static_cast<int>(rng() % 5);
        const std::uint64_t t = doublecheck::oddInteger(rng, 64 / n);
        std::uint64_t p = 1;
        for (int k = 0; k < n; ++k) p *= t;
        const double want = static_cast<double>(p), td = static_cast<double>(t);
        const int shift = static_cast<int>(rng() % 64) - 32;
        ASSERT_TRUE(sameBits(num::pow(std::ldexp(td, shift), n), std::ldexp(want, shift * n))) << t << "^" << n;
        ASSERT_TRUE(sameBits(num::pow(-td, n), n % 2 ? -want : want)) << t << "^" << n;
        if (t < (1u << 26)) {
            ASSERT_TRUE(sameBits(num::pow(td * td, n / 2.0), want)) << t << "^" << n;
        }
        if (t < (1u << 13)) {
            ASSERT_TRUE(sameBits(num::pow(td * td * td * td, n / 4.0), want)) << t << "^" << n;
        }
    }
    // 3^34 has 54 bits and is odd: a midpoint between two doubles.
    EXPECT_EQ(num::pow(3.0, 34.0), static_cast<double>(16677181699666569ull));
    // Powers of two, exact however large the exponent's magnitude, and fractional powers of them.
    EXPECT_EQ(num::pow(2.0, 1023.0), 0x1p1023);
    EXPECT_EQ(num::pow(0x1p-1074, 0.5), 0x1p-537);
    EXPECT_EQ(num::pow(0x1p-1072, 0.25), 0x1p-268);
    EXPECT_EQ(num::pow(0x1p-600, -1.5), 0x1p900);
}

TEST(NumericsPow, SubnormalResultsAndTheEndsOfTheRange) {
    // 2^-1074 is the smallest subnormal; 2^-1075 lies halfway to zero and rounds to even (zero).
    EXPECT_EQ(num::pow(2.0, -1074.0), 0x1p-1074);
    EXPECT_EQ(num::pow(2.0, -1075.0), 0.0);
    EXPECT_EQ(num::pow(0x1p-25, 43.0), 0.0);
    EXPECT_EQ(num::pow(4.0, -537.5), 0.0);
    EXPECT_EQ(num::pow(2.0, -1074.5), 0x1p-1074);  // 0.71 of 2^-1074: above half of it
    EXPECT_EQ(num::pow(2.0, -1075.5), 0.0);        // 0.35 of it: below half
    // (3 * 2^-215)^5 = 243 * 2^-1075 = 121.5 * 2^-1074: a subnormal midpoint, to even: 122 * 2^-1074.
    EXPECT_EQ(num::pow(std::ldexp(3.0, -215), 5.0), std::ldexp(122.0, -1074));
    EXPECT_EQ(num::pow(-std::ldexp(3.0, -215), 5.0), -std::ldexp(122.0, -1074));
    // (5 * 2^-215)^5 = 3125 * 2^-1075: 1562.5 * 2^-1074, to even: 1562 * 2^-1074.
    EXPECT_EQ(num::pow(std::ldexp(5.0, -215), 5.0), std::ldexp(1562.0, -1074));
    // The largest finite double, and just beyond it.
    const double max = std::numeric_limits<double>::max();
    EXPECT_EQ(num::pow(max, 1.0), max);
    EXPECT_EQ(num::pow(2.0, 1024.0), kInf);
    EXPECT_EQ(num::pow(-2.0, 1025.0), -kInf);
    // (2^512 (1 - 2^-53))^2 = 2^1024 (1 - 2^-52 + 2^-106): just above the double below the largest.
    EXPECT_EQ(num::pow(0x1.fffffffffffffp511, 2.0), 0x1.ffffffffffffep1023);
    EXPECT_EQ(num::pow(0x1p512, 2.0), kInf);
    EXPECT_EQ(num::pow(std::sqrt(max), 2.0), std::sqrt(max) * std::sqrt(max));
    // Huge exponents: near-1 bases overflow or underflow, or stay finite when |y log x| is small.
    EXPECT_EQ(num::pow(1.0 + 0x1p-52, 0x1p62), kInf);   // e^1024
    EXPECT_EQ(num::pow(1.0 - 0x1p-53, 0x1p63), 0.0);    // e^-1024
    // (1 + 2^-52)^(2^52) = e^(1 - 2^-53 + ...) = e - 3.0e-16; e lies 1.4e-16 above its nearest double
    // 0x1.5bf0a8b145769p+1, half an ulp is 2.2e-16: the result rounds to that double.
    EXPECT_EQ(num::pow(1.0 + 0x1p-52, 0x1p52), 0x1.5bf0a8b145769p+1);
    EXPECT_EQ(num::pow(0.5, 0x1p70), 0.0);
    EXPECT_EQ(num::pow(0.5, -0x1p70), kInf);
    EXPECT_EQ(num::pow(-0.5, -0x1p70), kInf);  // an even integer
    // Tiny exponents: x^y rounds to 1.
    EXPECT_EQ(num::pow(max, 0x1p-70), 1.0);
    EXPECT_EQ(num::pow(0x1p-1074, 0x1p-70), 1.0);
    EXPECT_EQ(num::pow(3.0, 0x1p-1074), 1.0);
}

TEST(NumericsPow, NegativeBaseTakesTheSignOfTheParityOfY) {
    // (-x)^y = x^y for an even integer y, -(x^y) for an odd one, NaN otherwise: random normal and
    // subnormal x, y integers of every size (odd ones up to 2^53, even ones beyond) and non-integers,
    // with |y| on both sides of 2^-64 and 2^64. The parity comes from fmod, which is exact.
    std::mt19937_64 rng(47);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    for (int i = 0; i < 100000; ++i) {
        const double x = i % 8 == 0 ? doublecheck::fromBits(rng() % (1ull << 52) + 1)
                                    : std::ldexp(1.0 + unit(rng), static_cast<int>(rng() % 2040) - 1020);
        double y;
        switch (i % 4) {
            case 0: y = std::trunc(std::ldexp(1.0 + unit(rng), static_cast<int>(rng() % 70))); break;
            case 1: y = static_cast<double>(static_cast<int>(rng() % 41) - 20); break;
            case 2: y = std::ldexp(1.0 + unit(rng), static_cast<int>(rng() % 140) - 70); break;
            default: y = std::nextafter(i % 8 == 3 ? 0x1p64 : 0x1p-64, (rng() & 1) ? kInf : 0.0);
        }
        if (rng() & 1) y = -y;
        const double magnitude = num::pow(x, y);
        const double got = num::pow(-x, y);
        if (std::trunc(y) != y) {
            ASSERT_TRUE(std::isnan(got)) << std::hexfloat << -x << " " << y;
        } else {
            const bool odd = std::fabs(std::fmod(y, 2.0)) == 1.0;
            ASSERT_TRUE(sameBits(got, odd ? -magnitude : magnitude)) << std::hexfloat << -x << " " << y;
        }
    }
}
