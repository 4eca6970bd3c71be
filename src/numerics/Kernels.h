// Internal to the numerics subsystem: the double-precision kernels of the float functions, shared by
// the scalar and the vector forms (which perform exactly these operations per lane), the rounding
// test that decides whether a kernel's result fixes the float, and the accurate double-double paths.
//
// Error bounds (relative, of the value returned before the final rounding to float), derived in the
// comments of each kernel: below 2^-50 for every kernel. The callers test with a margin of 2^-45,
// plus an absolute 2^-95 where a reduced argument may be tiny.
#pragma once

#include "DoubleDouble.h"

#include <cstdint>

namespace XELORAALGO::num::detail {

constexpr double kMargin = 0x1p-45;

// The nearest integer to v as a double, for |v| < 2^51 in round-to-nearest (ties to even).
inline double nearestInt(double v) {
    const double shifter = 0x1.8p52;
    return (v + shifter) - shifter;
}

// True when every real within e of y rounds to the same float; then out is that float (with the
// sign of a zero y kept).
inline bool settles(double y, double e, float& out) {
    const float a = static_cast<float>(y - e);
    const float b = static_cast<float>(y + e);
    out = static_cast<float>(y);
    return a == b;
}

// ---- sine and cosine ----
// pi/2 = C1 + C2 + C3 + O(2^-123): C1 and C2 have 33 significant bits, so k * C1 and k * C2 are exact
// for |k| < 2^20.
constexpr double kPio2C1 = 0x1.921fb544p+0;
constexpr double kPio2C2 = 0x1.0b4611a6p-34;
constexpr double kPio2C3 = 0x1.3198a2e037073p-69;
constexpr double kTwoOverPi = 0x1.45f306dc9c883p-1;
// Below this magnitude a float argument is reduced by the three-part constant above.
constexpr double kCodyWaiteLimit = 0x1p19;

// r = x - k pi/2 for a float x with pi/4 < |x| < 2^19 and k = nearestInt(x * 2/pi) (|k| < 2^19).
// x - k*C1 is exact (both are multiples of 2^-32 and the difference is below 1); the remaining
// steps add at most 2^-53 |r| + 2^-97 of error.
inline double reduceCodyWaite(double x, double k) {
    const double r1 = x - k * kPio2C1;
    const double r2 = r1 - k * kPio2C2;
    return r2 - k * kPio2C3;
}

// sin r and cos r for |r| <= pi/4 + 2^-20 by their Taylor polynomials to r^15 and r^16: truncation
// below 2^-54 relative, evaluation error below 3 * 2^-53.
inline double sinPoly(double r) {
    const double z = r * r;
    const double p = -1.0 / 6.0 + z * (1.0 / 120.0 + z * (-1.0 / 5040.0 + z * (1.0 / 362880.0 +
        z * (-1.0 / 39916800.0 + z * (1.0 / 6227020800.0 + z * (-1.0 / 1307674368000.0))))));
    return r + (r * z) * p;
}

inline double cosPoly(double r) {
    const double z = r * r;
    const double p = -0.5 + z * (1.0 / 24.0 + z * (-1.0 / 720.0 + z * (1.0 / 40320.0 +
        z * (-1.0 / 3628800.0 + z * (1.0 / 479001600.0 + z * (-1.0 / 87178291200.0 +
        z * (1.0 / 20922789888000.0)))))));
    return 1.0 + z * p;
}

// Reduction of |x| >= pi/4 with 192 bits of 2/pi (exact up to 2^-116 absolute on the quadrant
// fraction): |x| = (q + f) pi/2 with |f| <= 1/2; returns f * pi/2 as a double-double and q mod 4.
dd::DD reduceLarge(float ax, int& quadrant);

// ---- exponential ----
extern const double kExp2Table[32];  // 2^(j/32), each rounded to the nearest double
constexpr double kInvLn2x32 = 0x1.71547652b82fep+5;
// ln2/32 = kLn2o32Hi + kLn2o32Lo: the high part has 40 significant bits, so k * kLn2o32Hi is exact
// for |k| < 2^13.
constexpr double kLn2o32Hi = 0x1.62e42fefa4p-6;
constexpr double kLn2o32Lo = -0x1.8432a1b0e2634p-48;

// e^x for a float x in [-104, 89]: x = (32 m + j) ln2/32 + r with |r| <= ln2/64; x - k*hi is exact,
// r carries at most 2^-53 |r| + 2^-87; e^r by its Taylor polynomial to r^6 (truncation 2^-57);
// the table entry, the polynomial and the products add at most 5 * 2^-53.
inline double expKernel(double x) {
    const double k = nearestInt(x * kInvLn2x32);
    const double r = (x - k * kLn2o32Hi) - k * kLn2o32Lo;
    const double p = 1.0 + r * (1.0 + r * (0.5 + r * (1.0 / 6.0 + r * (1.0 / 24.0 + r * (1.0 / 120.0 +
        r * (1.0 / 720.0))))));
    const std::int64_t ki = static_cast<std::int64_t>(k);
    const std::int64_t m = ki >> 5;  // floor(k / 32)
    const double scale = dd::fromBits(static_cast<std::uint64_t>(1023 + m) << 52);
    return (kExp2Table[ki & 31] * p) * scale;
}

// ---- arc tangent ----
extern const dd::DD kAtanEighths[9];  // atan(i/8), i = 0..8, as double-doubles
constexpr double kPio2Hi = 0x1.921fb54442d18p+0;
constexpr double kPio2Lo = 0x1.1a62633145c07p-54;
constexpr double kPiHi = 0x1.921fb54442d18p+1;
constexpr double kPiLo = 0x1.1a62633145c07p-53;

// atan t for t >= 0 (t = +inf allowed). For t > 1, atan t = pi/2 - atan(1/t). Then a = c + (a - c)
// with c = i/8 the nearest eighth: atan a = atan c + atan u, u = (a - c)/(1 + a c), |u| <= 1/16 +
// 2^-50; atan u by its Taylor polynomial to u^13 (truncation below 2^-59 relative). 1/t, a - c,
// 1 + a c and the quotient each round once (relative sensitivity of atan at most 1); the sum with
// atan c never cancels (both have the sign of a - c's larger part or c = 0). Total below 2^-50.
inline double atanKernel(double t) {
    const bool inverted = t > 1.0;
    const double a = inverted ? 1.0 / t : t;
    const double i = nearestInt(a * 8.0);
    const double c = i * 0.125;
    const double u = (a - c) / (1.0 + a * c);
    const double z = u * u;
    const double p = -1.0 / 3.0 + z * (1.0 / 5.0 + z * (-1.0 / 7.0 + z * (1.0 / 9.0 +
        z * (-1.0 / 11.0 + z * (1.0 / 13.0)))));
    const dd::DD& base = kAtanEighths[static_cast<int>(i)];
    const double v = base.hi + (u + ((u * z) * p + base.lo));
    return inverted ? kPio2Hi - (v - kPio2Lo) : v;
}

// ---- accurate paths (double-double, relative error below 2^-95) ----
float sinCosAccurate(float x, bool cosine);
float expAccurate(float x);
dd::DD atanAccurate(dd::DD t);  // t >= 0

}  // namespace XELORAALGO::num::detail
