// sin and cos of a double, correctly rounded (round to nearest, ties to even).
// Fast path: |x| = (j + g) pi/64 exactly reduced (r = g pi/64, |r| <= pi/128), then
// sin(x) = S cos r + C sin r with S, C the double-double sine and cosine of j pi/64 (rotated by the
// quadrant) and short Taylor polynomials in r: a double-double with a proven error bound (below
// 2^-74 of |S| + |C r|, plus the reduction's own error). Ziv's test accepts it when the whole error
// interval rounds to one double; otherwise the 256-bit path decides (KernelsDouble.h).
#include "KernelsDouble.h"
#include "numerics.h"

namespace XELORAALGO::num {
namespace {

using dd::DD;

constexpr double kPi128 = 0x1.921fb54442d18p-6;  // below pi/128

// Taylor coefficients (each rounded once; their rounding is part of the bound).
constexpr double kC4 = 1.0 / 24, kC6 = 1.0 / 720, kC8 = 1.0 / 40320, kC10 = 1.0 / 3628800;
constexpr double kS5 = 1.0 / 120, kS7 = 1.0 / 5040, kS9 = 1.0 / 362880;

// sin x (cosine = false) or cos x as a double-double, with its absolute error bound in err;
// |x| >= 2^-27, finite.
DD sinCosFast(double x, bool cosine, double& err) {
    const double ax = x < 0 ? -x : x;
    int j = 0;
    DD r{ax, 0.0};
    double reductionErr = 0.0;
    if (ax > kPi128) {
        r = detail::reducePi64(ax, j);
        reductionErr = 0x1p-131 + (r.hi < 0 ? -r.hi : r.hi) * 0x1p-101;
    }
    const int i = j & 31;
    const int q = ((j >> 5) + (cosine ? 1 : 0)) & 3;
    // sin(q pi/2 + t) is sin t, cos t, -sin t, -cos t for q = 0..3; with t = i pi/64 + r,
    // sin t = Sin_i cos r + Cos_i sin r and cos t = Cos_i cos r - Sin_i sin r.
    DD s = detail::kSinPi64[i], c = detail::kCosPi64[i];
    if (q & 1) {
        const DD t = s;
        s = c;
        c = dd::neg(t);
    }
    if (q & 2) {
        s = dd::neg(s);
        c = dd::neg(c);
    }
    const bool negate = !cosine && x < 0;

    // r^2 = zh + zl + 2 rh rl (+ rl^2, below 2^-106 r^2).
    const double rh = r.hi, rl = r.lo;
    const DD z = dd::twoProd(rh, rh);
    const double zh = z.hi;
    // cos r - 1 = -r^2/2 + r^4 (1/24 - r^2/720 + r^4/40320 - r^6/3628800): error below 2^-76.
    const double cosTail = zh * zh * (kC4 - zh * (kC6 - zh * (kC8 - zh * kC10)));
    const DD cosR = dd::add(dd::make(1.0), dd::fastTwoSum(-0.5 * zh, cosTail - (0.5 * z.lo + rh * rl)));
    // sin r - r = -r^3/6 + r^5 (1/120 - r^2/5040 + r^4/362880): r^3 in double-double, error below
    // 2^-77.5 |r|.
    DD r3 = dd::twoProd(rh, zh);
    r3.lo += rh * z.lo + 3.0 * zh * rl;
    const DD cubeTerm = dd::divD(r3, -6.0);
    const double sinTail = rh * zh * zh * (kS5 - zh * (kS7 - zh * kS9));
    const DD sinR = dd::add(r, dd::add(cubeTerm, dd::make(sinTail)));

    DD y = dd::mul(c, sinR);
    if (s.hi != 0.0) y = dd::add(dd::mul(s, cosR), y);
    if (negate) y = dd::neg(y);
    const double as = s.hi < 0 ? -s.hi : s.hi;
    const double acr = (c.hi < 0 ? -c.hi : c.hi) * (rh < 0 ? -rh : rh);
    err = (as + acr) * 0x1p-74 + reductionErr;
    return y;
}

double sinCos(double x, bool cosine) {
    if (!(x - x == 0.0)) return x - x;  // NaN stays NaN; sin and cos of an infinity are NaN
    const double ax = x < 0 ? -x : x;
    // |x| < 2^-26: sin x = x (1 - x^2/6 ...) with x^2/6 below a quarter ulp, so it rounds to x (the
    // sign of a zero kept); cos x = 1 - x^2/2 rounds to 1 below 2^-27.
    if (!cosine && ax < 0x1p-26) return x;
    if (cosine && ax < 0x1p-27) return 1.0;
    double err;
    const DD y = sinCosFast(x, cosine, err);
    double out;
    if (detail::roundOrFail(y, err, out)) return out;
    return detail::sinCosAccurate256(x, cosine);
}

}  // namespace

namespace detail {
dd::DD sinCosFastForTest(double x, bool cosine, double& err) { return sinCosFast(x, cosine, err); }
}  // namespace detail

double sin(double x) { return sinCos(x, false); }
double cos(double x) { return sinCos(x, true); }

}  // namespace XELORAALGO::num
