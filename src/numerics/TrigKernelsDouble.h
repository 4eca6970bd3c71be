// Internal to the numerics subsystem: the fast paths of the double sine, cosine, arc tangent and
// two-argument arc tangent, written once for an arithmetic policy P (DekkerProduct of
// ExpLogKernels.h, or the fused multiply-adds of FmaPaths.cpp) and compiled for both. Each returns
// only results its error bound proves correctly rounded, else a NaN; the caller hands those inputs
// to the 256-bit paths of KernelsDouble.h, so both forms give the same bits.
//   sinCosRounded<P>(x, cosine): 2^-27 <= |x| < 2^20 (sinCosFast: any finite |x| >= 2^-27).
//   atanRounded<P>(n, d, inverted, xNegative): 0 < n <= d doubles with n / d >= 2^-64 and
//     c n, c d (c in [2^-9, 1]) clear of underflow; the angle of the point (d, n) seen from the
//     positive axis, reflected: atan(n/d), pi/2 - atan(n/d) (inverted), pi - atan(n/d) (xNegative)
//     or pi/2 + atan(n/d) (both).
// Branch-free on the common path: random signs and quadrants would mispredict half the branches.
// No standard header; everything by value.
#pragma once

#include "FastPaths.h"
#include "KernelsDouble.h"

namespace XELORAALGO::num::detail {

double sinCosRoundedFma(double x, bool cosine);  // FmaPaths.cpp
double atanRoundedFma(double n, double d, bool inverted, bool xNegative);

namespace {

inline double flipSign(double v, unsigned long long sign) { return dd::fromBits(dd::bitsOf(v) ^ sign); }

// ---- sine and cosine ----
// |x| = (j + g) pi/1024 exactly reduced (r = g pi/1024, |r| <= pi/2048), then
// sin(x) = S cos r + C sin r with S, C the double-double sine and cosine of j pi/1024 (rotated by the
// quadrant): S + C rh is formed exactly (exact product and two-sum), every other term, at most 2^-19
// of it, in plain double arithmetic with short Taylor polynomials.

constexpr double kPi2048 = 0x1.921fb54442d18p-10;  // below pi/2048

// Below 2^20, j = nearest(x 1024/pi) < 2^28.4 and pi/1024 = kP1 + kP2 + kP3 + kP4 + O(2^-168.8):
// kP1 and kP2 have at most 24 significant bits, so j kP1 and j kP2 are exact.
constexpr double kCodyWaiteLimit = 0x1p20;
constexpr double kInvPi1024 = 0x1.45f306dc9c883p+8;
constexpr double kP1 = 0x1.921fb4p-9, kP2 = 0x1.4442dp-33;
constexpr double kP3 = 0x1.8469898cc517p-57, kP4 = 0x1.b839a252049c1p-113;

// pi/1024 = kPi1024.hi + kPi1024.lo + kPi1024Third + O(2^-168).
constexpr double kPi1024Third = -0x1.f1976b7ed8fbcp-119;

// r = x - j pi/1024 for pi/2048 < x < 2^20, as a double-double: absolute error below 2^-132 plus
// 2^-104 |r|.
// Plain: x - j kP1 is exact (Sterbenz), the subtractions of j kP2 and of the high part of j kP3
// exact two-sums; the low parts (each below 2^-53 |r| + 2^-81) are added in double.
// Fused: x - j kPi1024.hi is exact in one fused operation (x and j kPi1024.hi are multiples of
// 2^-62, their difference below 2^-9 in magnitude), j kPi1024.lo an exact product, its subtraction
// an exact two-sum; the low parts (below 2^-53 |r| + 2^-87) and j kPi1024Third (below 2^-88) round
// once each.
template <class P>
__attribute__((always_inline)) inline dd::DD reduceCodyWaite(double x, int& j) {
    const double k = (x * kInvPi1024 + 0x1.8p52) - 0x1.8p52;
    j = static_cast<int>(k) & 2047;
    if constexpr (P::kFused) {
        const double t = P::madd(-k, kPi1024.hi, x);
        const dd::DD p = P::exact(k, kPi1024.lo);
        const dd::DD s = dd::twoSum(t, -p.hi);
        return dd::fastTwoSum(s.hi, P::madd(-k, kPi1024Third, s.lo - p.lo));
    } else {
        const dd::DD t = dd::twoSum(x - k * kP1, -(k * kP2));
        const dd::DD p = P::exact(k, kP3);
        const dd::DD s = dd::twoSum(t.hi, -p.hi);
        return dd::fastTwoSum(s.hi, P::madd(-k, kP4, (s.lo + t.lo) - p.lo));
    }
}

// The tables by index (a quadrant swaps sine and cosine without a branch).
constexpr const double* kSinCosTables[4] = {kSinHi, kSinLo, kCosHi, kCosLo};

// Taylor coefficients (each rounded once; their rounding is part of the bound).
constexpr double kC4 = 1.0 / 24, kC6 = 1.0 / 720;
constexpr double kS3 = 1.0 / 6, kS5 = 1.0 / 120, kS7 = 1.0 / 5040;

// sin x (cosine = false) or cos x as hi + lo (|lo| below 2^-17 |hi|), with its absolute error bound
// in err; |x| >= 2^-27, finite.
//
// Error budget, relative to M = |S| + |C r| (|r| <= 2^-9.35, z = rh^2 <= 2^-18.7):
//   terms left out: Sl (cos r - 1) and C rl rh^2/2 (2^-72.7 M each), Cl (sin r - r) (2^-74.3 M),
//     the Taylor remainders (below 2^-90 M);
//   S (cos r - 1), at most 2^-19.7 |S|, from four roundings: 2^-70.7 M;
//   C (sin r - r), at most 2^-21.3 |C r|, from five roundings: 2^-72 M;
//   the three additions that hold those two terms: 2^-72.7 M, 2^-74.3 M and 2^-72.1 M.
// Sum below 2^-69 M; the bound uses 2^-68.47 M. A fused multiply-add rounds once where the plain
// form rounds twice, each rounding error within the plain form's, so the bound holds for both.
// kAnyRange: |x| may exceed 2^20 (the reduction may call reducePi1024); else no call is made.
template <class P, bool kAnyRange = true>
__attribute__((always_inline)) inline dd::DD sinCosFast(double x, bool cosine, double& err) {
    const double ax = __builtin_fabs(x);
    int j = 0;
    dd::DD r{ax, 0.0};
    double reductionErr = 0.0;
    if (ax > kPi2048) {
        r = !kAnyRange || ax < kCodyWaiteLimit ? reduceCodyWaite<P>(ax, j) : reducePi1024(ax, j);
        reductionErr = 0x1p-132 + __builtin_fabs(r.hi) * 0x1p-102;
    }
    const int i = j & 511;
    const unsigned q = static_cast<unsigned>((j >> 9) + (cosine ? 1 : 0)) & 3u;
    // sin(q pi/2 + t) is sin t, cos t, -sin t, -cos t for q = 0..3; with t = i pi/1024 + r,
    // sin t = Sin_i cos r + Cos_i sin r and cos t = Cos_i cos r - Sin_i sin r. The quadrant picks
    // the tables and the signs; the sign of a negative argument of the sine goes on both terms,
    // which negates every rounding below.
    const unsigned swap = q & 1u;
    const unsigned long long signX = cosine ? 0ull : dd::bitsOf(x) & (1ull << 63);
    const unsigned long long signS = (static_cast<unsigned long long>(q >> 1) << 63) ^ signX;
    const unsigned long long signC = (static_cast<unsigned long long>((q ^ (q >> 1)) & 1u) << 63) ^ signX;
    const double sh = flipSign(kSinCosTables[2 * swap][i], signS);
    const double sl = flipSign(kSinCosTables[2 * swap + 1][i], signS);
    const double ch = flipSign(kSinCosTables[2 - 2 * swap][i], signC);
    const double cl = flipSign(kSinCosTables[3 - 2 * swap][i], signC);
    const double rh = r.hi, rl = r.lo;
    const double z = rh * rh;
    const double cosM1 = z * P::madd(z, P::madd(-z, kC6, kC4), -0.5);        // cos rh - 1
    const double sinMr = (rh * z) * P::madd(z, P::madd(-z, kS7, kS5), -kS3);  // sin rh - rh
    const dd::DD p = P::exact(ch, rh);
    const dd::DD h = dd::fastTwoSum(sh, p.hi);  // |sh| >= sin(pi/1024) > |ch rh|, or sh = 0
    // The correction as two sums of independent terms (a short chain of dependent operations).
    const double small = P::madd(-sh, rh * rl, P::madd(ch, rl, P::madd(cl, rh, sl)));
    const double corr = P::madd(sh, cosM1, small) + P::madd(ch, sinMr, h.lo + p.lo);
    const double ac = __builtin_fabs(ch);
    err = (__builtin_fabs(sh) + ac * __builtin_fabs(rh)) * 0x1.7p-69 + ac * reductionErr * 1.01;
    return {h.hi, corr};  // not renormalised: roundOrFail takes the pair as it is
}

// The fast path for 2^-27 <= |x| < 2^20: the correctly rounded result when its bound settles it,
// else a NaN. The low part is below 2^-19.4 M (M as above), so the rounding of lo -+ e costs
// at most 2^-72.4 M plus 2^-53 e: a quarter of err (at least 2^-70.47 M) covers both, and the test
// need not wait for |lo|.
template <class P>
double sinCosRounded(double x, bool cosine) {
    double err, out;
    const dd::DD y = sinCosFast<P, false>(x, cosine, err);
    return roundWithin(y, err * 1.25, out) ? out : __builtin_nan("");
}

// ---- arc tangent ----
// For 0 < n <= d: atan(n/d) = atan(c) + atan(u) with c = i/512 the table point nearest to n/d and
// u = (n - c d) / (d + c n), |u| <= 2^-10 (1 + 2^-42); the angle is K + s atan(n/d) with
// (K, s) = (0, +), (pi/2, -), (pi, -), (pi/2, +) for inverted + 2 xNegative. K + s atan(c) is an
// exact (fast) two-sum t, formed while u is computed; t.hi + s u is exact too (|t.hi| >= pi/4 > |u|, or
// t.hi = atan(c) >= 2|u|, or t.hi = 0); the rest (at most 2^-21.6 of u, and the low parts) is
// summed in plain double arithmetic.
//
// The numerator: with p = c d exact (hi + lo), n - p.hi is exact: for c = 0, p = 0; else n/d lies
// within 2^-10 (1 + 2^-52) of c >= 2^-9 and strictly above 2^-10 when c = 2^-9 (the rounding to the
// nearest even multiple sends v = 2^-10 to 0), so p.hi/2 <= n <= 2 p.hi (Sterbenz). The
// denominator d + c n: d >= c n, a fast two-sum plus the low part of c n (plain), or one fused
// rounding of the remainder d + c n - den.hi (fused), relative error below 2^-104.
// Error budget (relative to |u| unless stated): the quotient, taken as the numerator times the
// rounded reciprocal of den.hi (within 2^-51.4 of u) and corrected once by the residual (formed to
// 2^-53 of its terms, times the same reciprocal, which also drops den.lo from the divisor: 2^-102.4),
// 2^-100, plus 2^-104 c absolute from the roundings of the residual (its terms may exceed u when
// n - c d cancels); the series' tail -u^3/3 + u^5/5 - u^7/7 (at most 2^-21.6) to five roundings,
// 2^-72.3; the omitted u^9/9 and ul u^2, 2^-73; the two roundings that add ul and the tail,
// 2^-74.5 each; the low parts (t.lo, K.lo, atan(c).lo, the low part of t.hi + s u, each below
// 2^-52 of their sum's scale) add four roundings of at most 2^-103.4 of that scale. The bound uses
// 2^-69 |u| + 2^-98 (v + atan(c)) + 2^-100 K: a margin of four over the sum.
constexpr double kA3 = 1.0 / 3, kA5 = 1.0 / 5, kA7 = 1.0 / 7;


template <class P>
__attribute__((always_inline)) inline dd::DD atanAngleFast(double n, double d, bool inverted, bool xNegative,
                                                           double& err) {
    const double v = n / d;
    const double c = (v + 0x1.8p43) - 0x1.8p43;  // the nearest multiple of 2^-9 (ties to even), 0..1
    const int k = static_cast<int>(c * 512.0);
    const int m = (inverted ? 1 : 0) + (xNegative ? 2 : 0);
    const double s = kReflection[m].sign;
    const dd::DD t = dd::fastTwoSum(kReflection[m].hi, s * kAtanHi[k]);  // |K| > |atan(c)|, or K = 0
    const double lows = (t.lo + kReflection[m].lo) + s * kAtanLo[k];
    const dd::DD p = P::exact(c, d);
    const double numHi = n - p.hi, numLo = -p.lo;
    dd::DD den;
    if constexpr (P::kFused) {
        // d + c n rounded once; d - den.hi is exact (Sterbenz: d <= den.hi <= 2 d), the rest rounds once.
        den.hi = P::madd(c, n, d);
        den.lo = P::madd(c, n, d - den.hi);
    } else {
        const dd::DD q = P::exact(c, n);
        den = dd::fastTwoSum(d, q.hi);
        den.lo += q.lo;
    }
    // su = s u, through s / den.hi (the sign costs no operation on the dependency chain).
    const double recip = s / den.hi;  // one division, started as soon as den.hi is known
    const double sden = s * den.hi;
    const double uh = (numHi + numLo) * recip;
    double residual;  // numHi - uh s den.hi, to 2^-53 of its terms
    if constexpr (P::kFused) {
        residual = P::madd(-uh, sden, numHi);
    } else {
        const dd::DD uDen = P::exact(uh, sden);
        residual = (numHi - uDen.hi) - uDen.lo;
    }
    const double ul = (residual + (numLo - uh * (s * den.lo))) * recip;
    const double z = uh * uh;
    const double tail = (uh * z) * P::madd(z, P::madd(-z, kA7, kA5), -kA3);
    const dd::DD h = dd::fastTwoSum(t.hi, uh);
    const double corr = ((h.lo + lows) + ul) + tail;
    err = __builtin_fabs(uh) * 0x1p-69 + (v + kAtanHi[k]) * 0x1p-98 + kReflection[m].hi * 0x1p-100;
    return {h.hi, corr};  // not renormalised: roundOrFail takes the pair as it is
}

// The low part is below 2^-52 (|t.hi| + K + atan(c)) + 2^-21.5 |u|: the rounding of lo -+ e costs
// at most 2^-103 (K + atan(c)) + 2^-73.5 |u| plus 2^-53 e, which a quarter of err covers.
template <class P>
double atanRounded(double n, double d, bool inverted, bool xNegative) {
    double err, out;
    const dd::DD a = atanAngleFast<P>(n, d, inverted, xNegative, err);
    return roundWithin(a, err * 1.25, out) ? out : __builtin_nan("");
}

}  // namespace
}  // namespace XELORAALGO::num::detail
