// Internal to the numerics subsystem: the constants and tables of the float kernels (LaneKernels.h),
// the rounding test that decides whether a kernel's result fixes the float, and the accurate
// double-double paths. No standard header: the vector files compiled for AVX2 and AVX-512 include it.
#pragma once

#include "DoubleDouble.h"


namespace XELORAALGO::num::detail {

// ---- sine and cosine ----
// pi/32 = P1 + P2 + P3 + O(2^-118): P1 and P2 have 29 significant bits, so k * P1 and k * P2 are
// exact for |k| < 2^24, which holds below kTrigFastLimit (|k| <= 2^19 * 32/pi < 2^23).
constexpr double kPio32P1 = 0x1.921fb54p-4;
constexpr double kPio32P2 = 0x1.10b4612p-34;
constexpr double kPio32P3 = -0x1.676733ae8fe48p-64;
constexpr double kPio32P23 = 0x1.10b4611a62633p-34;  // P2 + P3 rounded to the nearest double
constexpr double kThirtyTwoOverPi = 0x1.45f306dc9c883p+3;
constexpr double kTrigFastLimit = 0x1p19;
extern const double kSinPi32[64];  // sin(j pi/32), j = 0..63, each rounded to the nearest double

// Reduction of |x| >= pi/4 with 192 bits of 2/pi (exact up to 2^-116 absolute on the quadrant
// fraction): |x| = (q + f) pi/2 with |f| <= 1/2; returns f * pi/2 as a double-double and q mod 4.
dd::DD reduceLarge(float ax, int& quadrant);

// ---- exponential ----
extern const double kExp2J64[64];  // 2^(j/64), j = 0..63, each rounded to the nearest double
constexpr double kSixtyFourOverLn2 = 0x1.71547652b82fep+6;
// ln2/64 = kLn2o64Hi + kLn2o64Lo + O(2^-99): the high part has 37 significant bits, so k * kLn2o64Hi
// is exact for |k| < 2^16 (|x| <= 104 gives |k| <= 9602).
constexpr double kLn2o64Hi = 0x1.62e42fefap-7;
constexpr double kLn2o64Lo = 0x1.cf79abc9e3b3ap-46;

// ---- arc tangent ----
extern const dd::DD kAtanEighths[9];  // atan(i/8), i = 0..8, as double-doubles (accurate path)
// The points of the fast arc tangent: entry 0 is c = 0; entry 1 + 8 (e + 5) + j, for e = -5..5 and
// j = 0..7, is c = 2^e (1 + (2j + 1)/16), the middle of the doubles whose bits start with those of
// 2^e (1 + j/8). atanC is atan(c) rounded to the nearest double.
struct AtanPoint {
    double c;
    double atanC;
};
constexpr int kAtanPointCount = 89;
extern const AtanPoint kAtanPoints[kAtanPointCount];
// The index of 2^-5 among the top 15 bits of a double (exponent and three fraction bits), less 1.
constexpr int kAtanIndexBase = ((1023 - 5) << 3) - 1;

// ---- arc cosine ----
// f(w) = acos(1 - w) / sqrt(2w) around w = i/64, i = 0..64: its Taylor coefficients to d^6.
constexpr int kAcosDegree = 6;
extern const double kAcosPoly[65][kAcosDegree + 1];
constexpr double kPio2Hi = 0x1.921fb54442d18p+0;
constexpr double kPio2Lo = 0x1.1a62633145c07p-54;
constexpr double kPiHi = 0x1.921fb54442d18p+1;
constexpr double kPiLo = 0x1.1a62633145c07p-53;

// ---- the scalar functions with fused multiply-adds (FloatFma.cpp), where the processor has them ----
extern const bool kFloatFmaUsable;  // Exp.cpp
float sinfFma(float x);
float cosfFma(float x);
float expfFma(float x);
float atanfFma(float x);
float atan2fFma(float y, float x);
float acosfFma(float x);

// The short exp kernel of the AVX-512 loops (Avx512Lanes.h) over an array, for its exhaustive
// check: arguments in (-87, 0) through the kernel, the rest and the lanes it leaves open through
// expf. Only where the processor has AVX-512 (VectorAvx512.cpp).
void expfShortArrayAvx512(const float* x, float* out, decltype(sizeof 0) n);

// ---- accurate paths (double-double, relative error below 2^-95) ----
float sinCosAccurate(float x, bool cosine);
float expAccurate(float x);
dd::DD atanAccurate(dd::DD t);  // t >= 0

}  // namespace XELORAALGO::num::detail
