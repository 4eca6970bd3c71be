// Internal to the numerics subsystem: the fast double-double kernels of the double exp and pow.
//   expFast(xh, xl): e^(xh + xl) for |xh| < 746, |xl| <= 2^-43, as (hi + lo) * 2^scale with
//     hi + lo in [0.999, 2); relative error below 2^-70 (plus the input's own error, see below).
//   logFast(x): log(x) of a finite x > 0 (subnormals included) as a double-double, and |u| of its
//     reduced argument; absolute error below 2^-67 |u| + 2^-84.
// Plain IEEE-754 double operations in round to nearest, no fused multiply-add. Tables in
// Exp2Table.cpp and LogTable.cpp; callers own nothing, everything is returned by value.
#pragma once

#include "LaneKernels.h"

namespace XELORAALGO::num::detail {

struct LogEntry {
    double c;            // about 1 / (the centre of the interval), 24 significant bits
    dd::DD minusLogC;    // -log(c): hi a multiple of 2^-42, lo the rest
};
extern const dd::DD kExp2Dd[512];       // 2^(j/512)
extern const LogEntry kLogTable[129];

struct ScaledDd {
    double hi, lo;
    int scale;  // the value is (hi + lo) * 2^scale
};

namespace {

inline double powerOfTwo(int p) {  // 2^p for -1022 <= p <= 1023
    return dd::fromBits(static_cast<unsigned long long>(p + 1023) << 52);
}

// Rounds (hi + lo) * 2^scale, known to within hi * err, when that interval rounds to one double:
// true and the result in out; false when the interval straddles a rounding boundary. hi + lo lies
// in [0.99, 2) and -1021 <= scale <= 1024 (so the result is normal or overflows).
inline bool roundScaled(const ScaledDd& v, double err, double& out) {
    const double e = v.hi * err;
    const double a = v.hi + (v.lo - e), b = v.hi + (v.lo + e);
    if (a != b) return false;
    out = v.scale > 1023 ? a * powerOfTwo(1023) * powerOfTwo(v.scale - 1023) : a * powerOfTwo(v.scale);
    return true;
}

// Exact products and a * b + c, the policy of the kernels below: Dekker's method and two roundings in
// plain double arithmetic, or (FmaPaths.cpp) fused multiply-adds. The exact products are the same;
// a fused a * b + c rounds once instead of twice, so every error bound below holds for both, and
// both forms return the correctly rounded result whenever their rounding test accepts: the same bits.
struct DekkerProduct {
    static constexpr bool kFused = false;
    static dd::DD exact(double a, double b) { return dd::twoProd(a, b); }
    static double madd(double a, double b, double c) { return a * b + c; }  // two roundings
    // b with at most 26 significant bits: only a is split.
    static dd::DD exactShort(double a, double b) {
        double ah, al;
        dd::split(a, ah, al);
        const double p = a * b;
        return {p, (ah * b - p) + al * b};
    }
};

constexpr double kInvLn2x512 = 0x1.71547652b82fep+9;
// ln2/512 = kC1 + kC2 + kC3 + O(2^-131): kC1 and kC2 have at most 33 significant bits, so k * kC1 and
// k * kC2 are exact for |k| < 2^20.
constexpr double kC1 = 0x1.62e42ffp-10;
constexpr double kC2 = -0x1.718432a2p-44;
constexpr double kC3 = 0x1.3c7673007e5edp-78;
// ln2/512 = kL1 + kL2 + kL3 + O(2^-173), each the nearest double to the rest (the fused reduction).
constexpr double kL1 = 0x1.62e42fefa39efp-10;
constexpr double kL2 = 0x1.abc9e3b39803fp-65;
constexpr double kL3 = 0x1.7b57a079a1934p-120;
// ln2 = kLn2Hi + kLn2Lo + O(2^-97): kLn2Hi has 42 significant bits.
constexpr double kLn2Hi = 0x1.62e42fefa38p-1;
constexpr double kLn2Lo = 0x1.ef35793c7673p-45;

// e^x, x = xh + xl. With k = nearest(x * 512 / ln2), j = k mod 512, m = (k - j) / 512:
//   e^x = 2^m * 2^(j/512) * e^r,  r = x - k ln2/512,  |r| <= ln2/1024 (1 + 2^-40) < 2^-10.5.
// Error budget, relative to the result (which lies in [0.999, 2) before scaling):
//   - reduction: xh - k kC1 is exact (Sterbenz), k kC2 exact, their difference exact as a twoSum
//     rh + rl0; rl = rl0 + xl - k kC3 rounds at 2^-53 of a value below 2^-43.9: r = rh + rl is known
//     to 2^-96, and kC3's remainder adds |k| 2^-131 < 2^-111; |rh| < 2^-10.5;
//   - e^r = 1 + rh + q + rl (1 + rh + rh^2/2), q = rh^2 (1/2 + rh/6 + rh^2/24 + rh^3/120): the series'
//     remainder is below r^6/6! < 2^-72.4; q < 2^-21.9 is computed with a relative error below
//     5 * 2^-53 (rounded coefficients, five roundings, the higher terms 2^-10 smaller), i.e. 2^-72.6;
//     the neglected rl^2/2 and rl rh^3/6 are below 2^-78;
//   - T = 2^(j/512) = Th + Tl to 2^-106; Th rh is exact as a twoProd; the dropped Tl (rl + q) is below
//     2^-53 2^-21.8 = 2^-74.8; the low sum lo = (Th r2) (q / r2) + (Th rlTerm + (P.lo + Tl (1 + rh)))
//     rounds Th r2 and the last addition, each at most 2^-53 2^-21.5 = 2^-74.5 (the other roundings
//     are of terms below 2^-42), and the final e + lo once more 2^-74.5;
//   total: 2^-72.4 + 2^-72.6 + 2^-74.8 + 4 * 2^-74.5 < 2^-70.6 of a result >= 0.999: below 2^-70.
// An error d of the argument itself (pow) multiplies the result by e^d, adding 1.01 |d| for |d| < 2^-50.
// kLowPart: the argument has a low part xl (else xl is 0).
// expFastK takes k from the caller: the nearest integer to xh 512/ln2 for the plain form; for the
// fused one any integer within 1/2 + 2^-30 of it (|r| stays below ln2/1024 (1 + 2^-29) < 2^-10.5,
// and the fused reduction is exact whatever k is).
template <class P, bool kLowPart>
__attribute__((always_inline)) inline ScaledDd expFastK(double xh, double xl, double kd) {
    double rh, rl;
    if constexpr (P::kFused) {
        // xh - k kL1 is exact in one fused operation (k = 0, or both are multiples of 2^-63 and the
        // difference is below 2^-10.4); rl = xl - k kL2 - k kL3 rounds twice, below 2^-53 2^-42.3
        // each: r to 2^-94.6, |rl| <= 2^-43 + 2^-43.6, and rl rh^3/6 (left out below) under
        // 2^-76.4: the total stays below 2^-70.8.
        rh = P::madd(-kd, kL1, xh);
        rl = P::madd(-kd, kL2, kLowPart ? P::madd(-kd, kL3, xl) : -kd * kL3);
    } else {
        const double t = xh - kd * kC1;
        const dd::DD r0 = dd::twoSum(t, -(kd * kC2));
        rh = r0.hi;
        rl = (kLowPart ? r0.lo + xl : r0.lo) - kd * kC3;
    }
    const int k = static_cast<int>(kd);
    const int j = k & 511;
    const dd::DD T = kExp2Dd[j];
    const double r2 = rh * rh;
    // q / r2 = 1/2 + rh/6 + rh^2/24 + rh^3/120
    const double poly = P::madd(r2, P::madd(rh, 1.0 / 120.0, 1.0 / 24.0), P::madd(rh, 1.0 / 6.0, 0.5));
    const double rlTerm = P::madd(rl, P::madd(0.5, r2, rh), rl);
    const dd::DD p = P::exact(T.hi, rh);
    // Th q = (Th r2) poly, added last: the polynomial is the longest chain.
    const double lo = P::madd(T.hi * r2, poly, P::madd(T.hi, rlTerm, P::madd(T.lo, 1.0 + rh, p.lo)));
    dd::DD s = dd::fastTwoSum(T.hi, p.hi);
    s.lo += lo;
    return {s.hi, s.lo, (k - j) / 512};
}

template <class P, bool kLowPart>
__attribute__((always_inline)) inline ScaledDd expFast(double xh, double xl) {
    return expFastK<P, kLowPart>(xh, xl, nearestIntV(xh * kInvLn2x512));
}

struct LogDd {
    dd::DD value;
    double u;  // |u|, the reduced argument, for the caller's error bound
};

// log x = E ln2 - log(c) + log(1 + u), with x = 2^E m, m in [1, 2), c a table point near 1/m
// (1 or 1/2 for m within 2^-8 of 1 or 2) and u = m c - 1, |u| < 2^-8 + 2^-23, computed exactly as a
// double-double (c has 24 bits, so the exact product of m and c is formed by splitting m alone; m c - 1
// is exact by Sterbenz and a multiple of ulp(m c) larger than the product's error term, unless 0).
// log(1 + u) = u - u^2/2 + u^3 (1/3 - u/4 + ... + u^6/9) - ...: uh^2 exact as a product, -uh^2/2
// added exactly (below); the remainder of the series is below u^10/10 < 2^-75 |u|; the cubic part
// (below u^2/3 < 2^-17.5 of |u|, Estrin's scheme) is computed with relative error below 5 * 2^-53,
// i.e. 2^-68.3 |u|, and the low sum rounds at 2^-53 of 2^-17.4 |u|: log(1 + u) to better than
// 2^-67.5 |u|.
// E ln2hi + (-log c)hi is exact (multiples of 2^-42 below 2^10); ln2 = ln2hi + ln2lo to 2^-97, so
// E ln2lo (rounded, |E| <= 1076) and the table's low parts add below 2^-86 each, the low sums
// 2^-53 of 2^-42: absolute error below 2^-67 |u| + 2^-84. At m near 2 (c = 1/2, -log c = ln2hi +
// ln2lo exactly) and E = -1 the two parts cancel exactly, so near 1 the error is 2^-67 |u| alone.
// E ln2hi + (-log c)hi is 0 or at least 2^-8 >= |uh| in magnitude: its sum with uh is a fastTwoSum,
// started as soon as uh is known; that sum is uh (when the first is 0) or at least 2^-8.1 in magnitude
// (it is log x to 2^-17), above uh^2/2 < 2^-16 either way, so adding -uh^2/2 to it is a fastTwoSum
// too. Both are exact. The low parts are added with the two latest terms last (the cubic part, then
// the second sum's low part); each addition rounds at 2^-53 of a sum below 2^-17.4 |u| + 2^-33, within
// the roundings counted above.
template <class P>
LogDd logFast(double x) {
    unsigned long long b = dd::bitsOf(x);
    int e = -1023;
    if (b < (1ull << 52)) {  // subnormal
        b = dd::bitsOf(x * 0x1p54);
        e -= 54;
    }
    e += static_cast<int>(b >> 52);
    const unsigned long long f = b & ((1ull << 52) - 1);
    const int i = static_cast<int>((f + (1ull << 44)) >> 45);  // nearest multiple of 1/128: 0..128
    const double m = dd::fromBits(f | 0x3ff0000000000000ull);
    const LogEntry& t = kLogTable[i];
    const dd::DD pm = P::exactShort(m, t.c);
    dd::DD u;
    if constexpr (P::kFused) {  // the same two doubles, the high one without waiting for pm.hi - 1
        u.hi = P::madd(m, t.c, -1.0);
        u.lo = pm.lo - (u.hi - (pm.hi - 1.0));
    } else {
        u = dd::fastTwoSum(pm.hi - 1.0, pm.lo);
    }
    const double uh = u.hi, ul = u.lo;
    const dd::DD sq = P::exact(uh, uh);
    const double u4 = sq.hi * sq.hi, mu = -uh;
    const double cubic = (uh * sq.hi) * P::madd(u4, P::madd(sq.hi, 1.0 / 9.0, P::madd(mu, 0.125, 1.0 / 7.0)),
                                                P::madd(sq.hi, P::madd(mu, 1.0 / 6.0, 0.2), P::madd(mu, 0.25, 1.0 / 3.0)));
    const double ed = static_cast<double>(e);
    const double s1 = ed * kLn2Hi + t.minusLogC.hi;
    const dd::DD s2 = dd::fastTwoSum(s1, uh);
    const dd::DD s3 = dd::fastTwoSum(s2.hi, -0.5 * sq.hi);
    const double early = (s2.lo + (t.minusLogC.lo + ed * kLn2Lo)) + ((ul - uh * ul) - 0.5 * sq.lo);
    const double rest = (early + cubic) + s3.lo;
    return {dd::fastTwoSum(s3.hi, rest), __builtin_fabs(uh)};
}

}  // namespace
}  // namespace XELORAALGO::num::detail
