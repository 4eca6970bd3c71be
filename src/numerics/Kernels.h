// Internal to the numerics subsystem: the constants and tables of the float kernels (LaneKernels.h),
// the rounding test that decides whether a kernel's result fixes the float, and the accurate
// double-double paths. No standard header: the vector files compiled for AVX2 and AVX-512 include it.
#pragma once

#include "DoubleDouble.h"


namespace XELORAALGO::num::detail {

constexpr double kMargin = 0x1p-45;

// ---- sine and cosine ----
// pi/2 = C1 + C2 + C3 + O(2^-123): C1 and C2 have 33 significant bits, so k * C1 and k * C2 are exact
// for |k| < 2^20.
constexpr double kPio2C1 = 0x1.921fb544p+0;
constexpr double kPio2C2 = 0x1.0b4611a6p-34;
constexpr double kPio2C3 = 0x1.3198a2e037073p-69;
constexpr double kTwoOverPi = 0x1.45f306dc9c883p-1;
// Below this magnitude a float argument is reduced by the three-part constant above.
constexpr double kCodyWaiteLimit = 0x1p19;

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

// ---- arc tangent ----
extern const dd::DD kAtanEighths[9];  // atan(i/8), i = 0..8, as double-doubles
constexpr double kPio2Hi = 0x1.921fb54442d18p+0;
constexpr double kPio2Lo = 0x1.1a62633145c07p-54;
constexpr double kPiHi = 0x1.921fb54442d18p+1;
constexpr double kPiLo = 0x1.1a62633145c07p-53;

// ---- accurate paths (double-double, relative error below 2^-95) ----
float sinCosAccurate(float x, bool cosine);
float expAccurate(float x);
dd::DD atanAccurate(dd::DD t);  // t >= 0

}  // namespace XELORAALGO::num::detail
