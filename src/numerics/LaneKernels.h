// Internal to the numerics subsystem: the double kernels of sinf, expf and atan (for atanf, atan2f
// and acosf), written once for a lane type V that is either double (the scalar functions) or a GCC
// vector of doubles (the SSE2, AVX2 and AVX-512 forms). Each lane performs exactly the operations of
// the scalar code, in the same order, so every lane gives the scalar bits.
//
// Everything here has internal linkage and the header includes no standard header: the files
// compiled for AVX2 and AVX-512 include it, and no inline function compiled for those processors
// may be shared with the rest of the library.
//
// Error bounds (relative, before the final rounding to float) are below 2^-50 for every kernel; the
// callers round with a margin of 2^-45 (plus 2^-95 absolute where a reduced argument may be tiny).
#pragma once

#include "Kernels.h"

namespace XELORAALGO::num::detail {
namespace {

inline double lane(double v, int) { return v; }
template <class V>
double lane(const V& v, int i) { return v[i]; }
inline void setLane(double& v, int, double x) { v = x; }
template <class V>
void setLane(V& v, int i, double x) { v[i] = x; }
// True when every real within e of y rounds to the same float; then out is that float (with the
// sign of a zero y kept).
inline bool settles(double y, double e, float& out) {
    const float a = static_cast<float>(y - e);
    const float b = static_cast<float>(y + e);
    out = static_cast<float>(y);
    return a == b;
}

template <class V>
constexpr int laneCount() { return static_cast<int>(sizeof(V) / sizeof(double)); }
template <class V>
V splat(double c) { return V{} + c; }

// The nearest integer to v (|v| < 2^51, ties to even).
template <class V>
V nearestIntV(V v) { return (v + 0x1.8p52) - 0x1.8p52; }

// ---- sine and cosine of a float below 2^19 in magnitude ----
// r = x - k pi/2 with k = nearestInt(x * 2/pi): x - k*C1 is exact (both multiples of 2^-32, the
// difference below 1), the two further steps add at most 2^-53 |r| + 2^-97.
template <class V>
V reduceCodyWaiteV(V x, V k) {
    const V r1 = x - k * kPio2C1;
    const V r2 = r1 - k * kPio2C2;
    return r2 - k * kPio2C3;
}

// sin r and cos r for |r| <= pi/4 + 2^-20 by their Taylor polynomials to r^15 and r^16: truncation
// below 2^-54 relative, evaluation error below 3 * 2^-53.
template <class V>
V sinPolyV(V r) {
    const V z = r * r;
    const V p = -1.0 / 6.0 + z * (1.0 / 120.0 + z * (-1.0 / 5040.0 + z * (1.0 / 362880.0 +
        z * (-1.0 / 39916800.0 + z * (1.0 / 6227020800.0 + z * (-1.0 / 1307674368000.0))))));
    return r + (r * z) * p;
}

template <class V>
V cosPolyV(V r) {
    const V z = r * r;
    const V p = -0.5 + z * (1.0 / 24.0 + z * (-1.0 / 720.0 + z * (1.0 / 40320.0 +
        z * (-1.0 / 3628800.0 + z * (1.0 / 479001600.0 + z * (-1.0 / 87178291200.0 +
        z * (1.0 / 20922789888000.0)))))));
    return 1.0 + z * p;
}

// sin x (cosine = false) or cos x for |x| < 2^19, with its error bound e. Quadrant q of k:
// sin(r + q pi/2) = sin r, cos r, -sin r, -cos r. The sine branch adds 2^-95 absolute to the bound
// when x was reduced (k != 0), for a tiny reduced argument. The vector forms select between both
// polynomials with masks (VectorForms.h); selection and negation are exact, so the bits agree.
inline double sinCosKernel(double x, bool cosine, double& e) {
    const double k = nearestIntV(x * kTwoOverPi);
    const double r = reduceCodyWaiteV(x, k);
    const long long kl = static_cast<long long>(k);
    const int q = static_cast<int>((kl + (cosine ? 1 : 0)) & 3);
    double y = (q & 1) ? cosPolyV(r) : sinPolyV(r);
    if (q & 2) y = -y;
    const double tiny = ((q & 1) || kl == 0) ? 0.0 : 0x1p-95;
    e = (y < 0 ? -y : y) * kMargin + tiny;
    return y;
}

// ---- exponential of a float in [-104, 89] ----
// x = (32 m + j) ln2/32 + r, |r| <= ln2/64: x - k*hi is exact, r carries at most 2^-53 |r| + 2^-87;
// e^r by its Taylor polynomial to r^6 (truncation 2^-57); the table entry, the polynomial and the
// products add at most 5 * 2^-53.
template <class V>
V expKernelV(V x) {
    const V k = nearestIntV(x * kInvLn2x32);
    const V r = (x - k * kLn2o32Hi) - k * kLn2o32Lo;
    const V p = 1.0 + r * (1.0 + r * (0.5 + r * (1.0 / 6.0 + r * (1.0 / 24.0 + r * (1.0 / 120.0 +
        r * (1.0 / 720.0))))));
    V t{}, scale{};
    if constexpr (laneCount<V>() == 8) {
        // Eight lanes (AVX-512): the table entry by two-source permutes, the power of two by integer
        // arithmetic on the bits; the same values as the lane loop below. k + 1.5 * 2^52 holds the
        // integer k in its low bits; k >= -4803 here, so (k + 1023 * 32) >> 5 = floor(k / 32) + 1023.
        typedef long long I __attribute__((vector_size(sizeof(V))));
        const I ki = (I)(k + 0x1.8p52) - (I)splat<V>(0x1.8p52);
        const I j = ki & 31;
        V part[4];
        __builtin_memcpy(part, kExp2Table, sizeof part);
        const V low = __builtin_shuffle(part[0], part[1], j);
        const V high = __builtin_shuffle(part[2], part[3], j);
        t = j < 16 ? low : high;
        scale = (V)(((ki + 1023 * 32) >> 5) << 52);
    } else {
        for (int i = 0; i < laneCount<V>(); ++i) {
            const long long ki = static_cast<long long>(lane(k, i));
            setLane(t, i, kExp2Table[ki & 31]);
            setLane(scale, i, dd::fromBits(static_cast<unsigned long long>(1023 + (ki >> 5)) << 52));
        }
    }
    return (t * p) * scale;
}

// ---- arc tangent of t >= 0 (t = +inf allowed) ----
// For t > 1, atan t = pi/2 - atan(1/t). Then atan a = atan c + atan u with c = i/8 the nearest
// eighth and u = (a - c)/(1 + a c), |u| <= 1/16 + 2^-50; atan u by its Taylor polynomial to u^13
// (truncation below 2^-59 relative). 1/t, a - c, 1 + a c and the quotient each round once (atan's
// relative sensitivity is at most 1); atan c >= 2 |atan u| when c > 0, so the sum loses at most one
// bit. Total below 2^-50.
template <class V>
V atanKernelV(V t) {
    const auto inverted = t > splat<V>(1.0);
    const V a = inverted ? 1.0 / t : t;
    const V i = nearestIntV(a * 8.0);
    const V c = i * 0.125;
    const V u = (a - c) / (1.0 + a * c);
    const V z = u * u;
    const V p = -1.0 / 3.0 + z * (1.0 / 5.0 + z * (-1.0 / 7.0 + z * (1.0 / 9.0 +
        z * (-1.0 / 11.0 + z * (1.0 / 13.0)))));
    V hi{}, lo{};
    for (int l = 0; l < laneCount<V>(); ++l) {
        const dd::DD& base = kAtanEighths[static_cast<int>(lane(i, l))];
        setLane(hi, l, base.hi);
        setLane(lo, l, base.lo);
    }
    const V v = hi + (u + ((u * z) * p + lo));
    const V flipped = kPio2Hi - (v - kPio2Lo);
    return inverted ? flipped : v;
}

}  // namespace
}  // namespace XELORAALGO::num::detail
