// Internal to the numerics subsystem: the double kernels of sinf and cosf, expf, atan (for atanf
// and atan2f) and acosf, written once for a lane type V that is either double (the scalar
// functions) or a GCC vector of doubles (the SSE2, AVX2 and AVX-512 forms), and for an operations
// policy P (PlainOps; the scalar functions' fused form has its own, FloatFma.cpp). Each lane
// performs exactly the operations of the plain scalar code, in the same order, so every lane gives
// the scalar bits.
//
// Everything here has internal linkage and the header includes no standard header: the files
// compiled for AVX2 and AVX-512 include it, and no inline function compiled for those processors
// may be shared with the rest of the library.
//
// Each kernel states its error bound beside it. The callers round with the integer test
// roundsSafely (a margin in units in the last place of the double result) where the float result
// is normal, and with settles (a margin as a real number) elsewhere.
#pragma once

#include "Kernels.h"

namespace XELORAALGO::num::detail {
namespace {

// True when every real within e of y rounds to the same float; then out is that float (with the
// sign of a zero y kept).
inline bool settles(double y, double e, float& out) {
    const float a = static_cast<float>(y - e);
    const float b = static_cast<float>(y + e);
    out = static_cast<float>(y);
    return a == b;
}

// True when every real within ulps units in the last place of the double y rounds to the same
// float as y does, for y inside float's normal range (2^-126 <= |y| < 2^128): y's 29 low bits are
// then not within ulps of 2^28, float's midpoint. The real may lie in the neighbouring binade of
// doubles only if those bits are near 0 or 2^29, far from the midpoint.
inline bool roundsSafely(double y, unsigned long long ulps) {
    return ((dd::bitsOf(y) + (ulps - (1ull << 28))) & ((1ull << 29) - 1)) > 2 * ulps;
}

template <class V>
constexpr int laneCount() { return static_cast<int>(sizeof(V) / sizeof(double)); }
template <class V>
V splat(double c) { return V{} + c; }

// The bits of each lane as an unsigned 64-bit integer: unsigned long long for double, a GCC vector
// of them otherwise.
template <class V>
struct LaneBitsOf {
    typedef unsigned long long type __attribute__((vector_size(sizeof(V))));
};
template <>
struct LaneBitsOf<double> {
    typedef unsigned long long type;
};
template <class V>
using LaneBits = typename LaneBitsOf<V>::type;
inline unsigned long long bitsV(double v) { return dd::bitsOf(v); }
template <class V>
LaneBits<V> bitsV(V v) { return (LaneBits<V>)v; }
inline double fromBitsV(unsigned long long b, double) { return dd::fromBits(b); }
template <class V>
V fromBitsV(LaneBits<V> b, V) { return (V)b; }
template <class V>
LaneBits<V> splatBits(unsigned long long c) { return LaneBits<V>{} + c; }

// The table lookups of the kernels, lane by lane: lane l of take<V>(table, i) is table[i[l]] (every
// such table, kSinPi32 and kExp2J64, has 64 entries), and takeAtan fills c and atanC from
// kAtanPoints[i[l]]. The files compiled for AVX2 and AVX-512 pass a policy that reads the same
// entries with permutes or gathers instead (IsaLanes, VectorIsa.inc).
struct LaneLoopLookup {
    template <class V, class I>
    static V take(const double* table, I i) {
        if constexpr (sizeof(V) == sizeof(double)) {
            return table[i];
        } else {
            V v{};
            for (int l = 0; l < laneCount<V>(); ++l) v[l] = table[i[l]];
            return v;
        }
    }
    template <class V, class I>
    static void takeAtan(I i, V& c, V& atanC) {
        if constexpr (sizeof(V) == sizeof(double)) {
            c = kAtanPoints[i].c;
            atanC = kAtanPoints[i].atanC;
        } else {
            for (int l = 0; l < laneCount<V>(); ++l) {
                c[l] = kAtanPoints[i[l]].c;
                atanC[l] = kAtanPoints[i[l]].atanC;
            }
        }
    }
};

// The operations of the kernels: madd(a, b, c) = a * b + c, rounded twice here (every lane type)
// and once in the fused form of the scalar functions (FloatFma.cpp). The error bounds count a
// rounding for the product and one for the sum, so they hold for both; where a product is exact
// (k * P1, k * kLn2o64Hi, k / 64) both forms give the same value.
struct PlainOps {
    template <class A, class B, class C>
    static A madd(A a, B b, C c) { return a * b + c; }
};

// The nearest integer to v (|v| < 2^51, ties to even).
template <class V>
V nearestIntV(V v) { return (v + 0x1.8p52) - 0x1.8p52; }

// ---- sine and cosine ----
// sin r and cos r for |r| <= pi/4 + 2^-20 by their Taylor polynomials to r^15 and r^16: truncation
// below 2^-54 relative, evaluation error below 3 * 2^-53. Used after the exact reduction of
// arguments beyond kTrigFastLimit.
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

// sin x (shift = 0) or cos x = sin(x + pi/2) (shift = 16) for a float 2^-125 <= |x| < 2^19 (Wide)
// or |x| < 2^9 (not Wide), as sin(a + r) = sin a cos r + cos a sin r with a = k pi/32,
// k = nearestInt(x * 32/pi), |r| <= 0.0491, sin a and cos a from kSinPi32 at j = k + shift and
// j + 16 (mod 64); the low 32 bits of t hold k.
//
// Error bound. r = ((x - k P1) - k P2) - k P3 (Wide) or (x - k P1) - k P23: x - k P1 is exact
// (multiples of 2^-32 below 2^-4), the other steps round, and P1 + P2 + P3 misses pi/32 by
// 2^-118 |k|, P1 + P23 by 2^-89.6 |k|: |dr| <= 2^-52 |r| + 2^-92 (Wide; |k| < 2^23) or
// 2^-53 |r| + 2^-74.2 (|k| < 2^12.4). Taylor polynomials: sin r to r^7 (truncation below
// 2^-53.3 |r|), cos r to r^6 (truncation 0.0491^8/8! < 2^-50.1). cos a sin r is formed as
// g + g z S(z) with g = cos a r; with the rounding of each operation (the terms beyond r and 1
// are below 4.1e-4 |r| and 1.3e-3) it is within 5.82 * 2^-53 |cos a sin r| + |dr|, and c within
// 8.53 * 2^-53 of cos r. Then:
// (a) sin a = 0 exactly (j = 0 or 32): y = +-(r + r z S(z)), within 4.82 * 2^-53 |y| + |dr|.
//     For k = 0, r = x and dr = 0. Otherwise x is a float within pi/64 of a non-zero multiple of
//     pi/2 below 2^19, and every such float lies at least 2^-27.9 from it (the tests check all
//     of them), so |y| >= 2^-27.92 and the bound is below 2^-46.2 |y|;
// (b) otherwise a + r lies at least pi/32 - 0.0491 from every multiple of pi, so |y| >= 0.04905,
//     while |sin a| + |cos a| |s| <= 1.0012: with the table entries and the last operation,
//     |dy| <= 10.55 * 2^-53 + 2^-53 |y| + 2^-74.2 < 2^-45.24 |y|.
template <class P, bool Wide, class V, class Look = LaneLoopLookup>
__attribute__((always_inline)) inline V sinCosTableV(V x, unsigned shift) {
    const V t = P::madd(x, kThirtyTwoOverPi, 0x1.8p52);
    const V k = t - 0x1.8p52;
    const V r1 = P::madd(k, -kPio32P1, x);
    const V r = Wide ? P::madd(k, -kPio32P3, P::madd(k, -kPio32P2, r1)) : P::madd(k, -kPio32P23, r1);
    // t's bits are those of 0x1.8p52 (low 51 bits zero) plus k: the low six bits of j are k's + shift.
    const LaneBits<V> j = bitsV(t) + static_cast<unsigned long long>(shift);
    const V sinA = Look::template take<V>(kSinPi32, j & 63u);
    const V cosA = Look::template take<V>(kSinPi32, (j + 16u) & 63u);
    const V z = r * r;
    const V g = cosA * r;
    const V cosASinR = P::madd(g * z, P::madd(z, P::madd(z, -1.0 / 5040.0, 1.0 / 120.0), -1.0 / 6.0), g);
    const V c = P::madd(z, P::madd(z, P::madd(z, -1.0 / 720.0, 1.0 / 24.0), -0.5), 1.0);
    return P::madd(sinA, c, cosASinR);
}
constexpr double kTrigNarrowLimit = 0x1p9;
constexpr unsigned long long kTrigUlps = 256;  // 2^-45 in units of the double result
constexpr double kTrigMargin = 0x1p-45;

// ---- exponential of a float in [-104, 89] ----
// x = (64 m + j) ln2/64 + r, k = 64 m + j = nearestInt(x * 64/ln2), |r| <= 0.0054152; the low 32
// bits of t hold k. e^x = 2^m 2^(j/64) e^r, 2^m 2^(j/64) built exactly from the table entry's bits.
//
// Error bound. x - k * kLn2o64Hi is exact (multiples of 2^-44 below 2^-7); the rest of r carries
// at most 2^-60.4. e^r by its Taylor polynomial to r^4: truncation 0.0054152^5/120 * e^0.0055 <
// 2^-44.54, evaluation 2^-53 + 2^-58.5; with the table entry and the last product, the relative
// error of the result is below 2^-44.5.
template <class P, class V, class Look = LaneLoopLookup>
__attribute__((always_inline)) inline V expTableV(V x) {
    const V t = P::madd(x, kSixtyFourOverLn2, 0x1.8p52);
    const V k = t - 0x1.8p52;
    const V r = P::madd(k, -kLn2o64Lo, P::madd(k, -kLn2o64Hi, x));
    const V r2 = r * r;
    const V p = P::madd(r2, P::madd(r2, 1.0 / 24.0, P::madd(r, 1.0 / 6.0, 0.5)), r) + 1.0;
    // t's bits are those of 0x1.8p52 (low 51 bits zero) plus k: j = k mod 64 is their low six bits,
    // and m << 52 = floor(k/64) 2^52 (mod 2^64) is their shift by 46 with the low 52 bits cleared.
    const LaneBits<V> b = bitsV(t);
    const V entry = Look::template take<V>(kExp2J64, b & 63u);
    const V scale = fromBitsV(bitsV(entry) + ((b << 46) & 0xfff0000000000000ull), entry);
    return scale * p;
}
constexpr unsigned long long kExpUlps = 512;  // 2^-44 in units of the double result
constexpr double kExpMargin = 0x1p-44;

// ---- arc tangent of 0 <= t <= 2^100 (callers pass 2^100 for larger t: atan differs by 2^-100) ----
// atan t = atan c + atan u with u = (t - c)/(1 + t c) for the point c of t's top bits
// (kAtanPoints; the first point below 2^-5, the last above 2^6). |u| <= 0.03125: at most t for
// t < 2^-5, at most |t - c|/(1 + t c) with |t - c| <= c/17 inside the table, below 1/62 beyond.
//
// Error bound. t - c is exact where t and c share a binade (Sterbenz) and rounds once beyond 2^6;
// with t c, 1 + t c and the quotient, u carries 4 * 2^-53 relative. atan u by its Taylor
// polynomial to u^9: truncation |u|^11/11 < 2^-53.46 |u|; the correction u z P is below
// 3.3e-4 |u|. So p is within 5.74 * 2^-53 |atan u|. |atan u| <= atan(c)/17, so with atan c's
// rounding and the sum the result is within 2.42 * 2^-53 of atan t relative (5.74 * 2^-53 for
// c = 0): below 2^-50.4.
template <class P, class V, class Look = LaneLoopLookup>
__attribute__((always_inline)) inline V atanTableV(V t) {
    // The point's index: t's top 15 bits less kAtanIndexBase, clamped to the table.
    constexpr unsigned long long base0 = kAtanIndexBase, top = kAtanIndexBase + kAtanPointCount;
    const LaneBits<V> e = bitsV(t) >> 49;
    const LaneBits<V> i = e <= base0 ? splatBits<V>(0) : (e >= top ? splatBits<V>(kAtanPointCount - 1) : e - base0);
    V c, base;
    Look::takeAtan(i, c, base);
    const V u = (t - c) / P::madd(t, c, 1.0);
    const V z = u * u;
    const V z2 = z * z;
    const V p = P::madd(u * z, P::madd(z2, P::madd(z, 1.0 / 9.0, -1.0 / 7.0), P::madd(z, 1.0 / 5.0, -1.0 / 3.0)), u);
    return base + p;
}
// 2^-49 in units of the double result: atan's 2^-50.4; pi - atan (below 2^-50.1) and the rounding
// of atan2's quotient (2^-53) fit too.
constexpr unsigned long long kAtanUlps = 16;
constexpr double kAtanMargin = 0x1p-49;

// ---- arc cosine of a float x in [-1, 1] ----
// acos |x| = sqrt(2w) f(w) with w = 1 - |x| and f (kAcosPoly) by its Taylor polynomial at the
// nearest c = i/64, d = w - c exact (Sterbenz; d = w for i = 0); acos x = pi - acos |x| for x < 0.
//
// Error bound. w is exact for |x| >= 2^-29 and carries 2^-53 otherwise (0.7 * 2^-53 on the
// result). f's coefficients are positive, so the truncation after d^6 is largest at d = 1/128:
// below 2^-55.56 f over all 65 rows; the rounded coefficients, d times the rest (below 0.002 f) and
// the last sum add 2.01 * 2^-53. With the square root and the product, acos |x| is within
// 4.9 * 2^-53 relative; pi - acos |x| >= pi/2 keeps it below 2^-50.2.
template <class P>
__attribute__((always_inline)) inline double acosPoly(double x) {
    const double ax = x < 0 ? -x : x;
    const double w = 1.0 - ax;
    const double t = P::madd(w, 64.0, 0x1.8p52);
    const double d = P::madd(t - 0x1.8p52, -0x1p-6, w);
    const double* a = kAcosPoly[static_cast<unsigned>(dd::bitsOf(t))];
    const double d2 = d * d;
    const double f = P::madd(d, P::madd(d2, P::madd(d2, P::madd(d, a[6], a[5]), P::madd(d, a[4], a[3])), P::madd(d, a[2], a[1])), a[0]);
    const double r = __builtin_sqrt(w + w) * f;
    return x < 0 ? kPiHi - (r - kPiLo) : r;
}
constexpr unsigned long long kAcosUlps = 16;  // 2^-49

}  // namespace
}  // namespace XELORAALGO::num::detail
