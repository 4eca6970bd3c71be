// Internal to the numerics subsystem: the scalar float functions written once for an operations
// policy P (PlainOps, or the fused multiply-adds of FloatFma.cpp). Each runs its kernel of
// LaneKernels.h, returns the float when the rounding test settles it, and hands every other input
// to the same rare-case or double-double path; so both policies return the same bits, the correctly
// rounded ones. No standard header (FloatFma.cpp is compiled for processors with FMA).
#pragma once

#include "LaneKernels.h"

namespace XELORAALGO::num::detail {

float sinCosRare(float x, bool cosine);  // |x| < 2^-125, |x| >= 2^19, infinities, NaN (Trig.cpp)
float expfRare(float x);                 // outside (-87, 88.5) and NaN (Exp.cpp)
float atanfRare(float x);                // |x| < 2^-125, infinities, NaN (Atan.cpp)
// atan2 from the double-double arc tangent, for the quotient q = |y|/|x| (Atan.cpp).
float atan2Accurate(double q, double ay, double ax, bool exactQuotient, bool xNegative);
float acosAccurate(float x);             // Atan.cpp

namespace {

inline unsigned floatBits(float x) {
    unsigned b;
    __builtin_memcpy(&b, &x, sizeof b);
    return b;
}

template <class P, bool Cosine>
float sinCosWith(float x) {
    constexpr bool cosine = Cosine;
    const unsigned magnitude = floatBits(x) & 0x7fffffffu;
    if (magnitude - 0x01000000u >= 0x49000000u - 0x01000000u) return sinCosRare(x, cosine);  // 2^-125, 2^19
    const double xd = x;
    const unsigned shift = cosine ? 16u : 0u;
    const double y = __builtin_expect(magnitude < 0x44000000u, 1) ? sinCosTableV<P, false>(xd, shift)  // |x| < 2^9
                                                                  : sinCosTableV<P, true>(xd, shift);
    if (roundsSafely(y, kTrigUlps)) return static_cast<float>(y);
    return sinCosAccurate(x, cosine);
}

template <class P>
float expfWith(float x) {
    if (!(x > -87.0f && x < 88.5f)) return expfRare(x);  // a normal result: e^-87 > 2^-126, e^88.5 < 2^128
    const double y = expTableV<P>(static_cast<double>(x));
    if (roundsSafely(y, kExpUlps)) return static_cast<float>(y);
    return expAccurate(x);
}

inline float withSign(float v, bool negative) { return negative ? -v : v; }

template <class P>
float atanfWith(float x) {
    const unsigned bits = floatBits(x);
    const unsigned magnitude = bits & 0x7fffffffu;
    if (magnitude - 0x01000000u >= 0x7f800000u - 0x01000000u) return atanfRare(x);  // 2^-125, infinity
    float ax;
    __builtin_memcpy(&ax, &magnitude, sizeof ax);
    const double t = ax;
    const double y = atanTableV<P>(t);
    const float out = roundsSafely(y, kAtanUlps) ? static_cast<float>(y) : dd::toFloat(atanAccurate(dd::make(t)));
    // atan(-x) = -atan x: the sign bit of x.
    const unsigned outBits = floatBits(out) | (bits & 0x80000000u);
    float signedOut;
    __builtin_memcpy(&signedOut, &outBits, sizeof signedOut);
    return signedOut;
}

template <class P>
float atan2fWith(float y, float x) {
    if (x != x || y != y) return x + y;
    const bool negative = y < 0.0f || (y == 0.0f && 1.0f / y < 0.0f);
    const bool xNegative = x < 0.0f || (x == 0.0f && 1.0f / x < 0.0f);
    const double ay = negative ? -static_cast<double>(y) : static_cast<double>(y);
    const double ax = xNegative ? -static_cast<double>(x) : static_cast<double>(x);
    // q = |y| / |x|, finite and normal for finite non-zero floats; the limits of atan2 give the
    // rest: 0 for y = 0 or a finite y over an infinite x, 1 for two infinities, +inf otherwise.
    const bool yFinite = ay - ay == 0.0;
    const bool xFinite = ax - ax == 0.0;
    double q;
    if (ay == 0.0 || (yFinite && !xFinite)) {
        q = 0.0;
    } else if (!yFinite) {
        q = xFinite ? __builtin_inf() : 1.0;
    } else {
        q = ax == 0.0 ? __builtin_inf() : ay / ax;
    }
    const double a = atanTableV<P>(q < 0x1p100 ? q : 0x1p100);
    const double v = xNegative ? kPiHi - (a - kPiLo) : a;
    // Results below 2^-125 may be subnormal floats: there the real-valued test decides.
    float out = static_cast<float>(v);
    const bool settled = v >= 0x1p-125 ? roundsSafely(v, kAtanUlps) : settles(v, v * kAtanMargin, out);
    if (!settled) out = atan2Accurate(q, ay, ax, yFinite && xFinite && ax != 0.0 && ay != 0.0, xNegative);
    return withSign(out, negative);
}

template <class P>
float acosfWith(float x) {
    if (x != x) return x + x;
    if (x > 1.0f || x < -1.0f) return (x - x) / (x - x);  // NaN outside [-1, 1]
    const double v = acosPoly<P>(static_cast<double>(x));
    if (roundsSafely(v, kAcosUlps)) return static_cast<float>(v);
    return acosAccurate(x);
}

}  // namespace
}  // namespace XELORAALGO::num::detail
