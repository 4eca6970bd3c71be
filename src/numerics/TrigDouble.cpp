// sin and cos of a double, correctly rounded (round to nearest, ties to even).
// Fast path: |x| = (j + g) pi/1024 exactly reduced (r = g pi/1024, |r| <= pi/2048), then
// sin(x) = S cos r + C sin r with S, C the double-double sine and cosine of j pi/1024 (rotated by the
// quadrant): S + C rh is formed exactly (two-product and two-sum), every other term, at most 2^-19
// of it, in plain double arithmetic with short Taylor polynomials. The result is a double-double
// whose error stays below 2^-69.1 (|S| + |C r|) plus the reduction's; Ziv's test accepts it when
// the whole error interval rounds to one double, otherwise the 256-bit path decides
// (KernelsDouble.h).
#include "KernelsDouble.h"
#include "numerics.h"

namespace XELORAALGO::num {
namespace {

using dd::DD;

constexpr double kPi2048 = 0x1.921fb54442d18p-10;  // below pi/2048

// Below 2^20, j = nearest(x 1024/pi) < 2^28.4 and pi/1024 = kP1 + kP2 + kP3 + kP4 + O(2^-168.8):
// kP1 and kP2 have at most 24 significant bits, so j kP1 and j kP2 are exact.
constexpr double kCodyWaiteLimit = 0x1p20;
constexpr double kInvPi1024 = 0x1.45f306dc9c883p+8;
constexpr double kP1 = 0x1.921fb4p-9, kP2 = 0x1.4442dp-33, kP3 = 0x1.8469898cc517p-57, kP4 = 0x1.b839a252049c1p-113;

// r = x - j pi/1024 for pi/2048 < x < 2^20, as a double-double. x - j kP1 is exact (Sterbenz), the
// subtractions of j kP2 and of the high part of j kP3 exact two-sums; the low parts (each below
// 2^-53 |r| + 2^-81) are added in double: absolute error below 2^-132 plus 2^-104 |r|.
DD reduceCodyWaite(double x, int& j) {
    const double k = (x * kInvPi1024 + 0x1.8p52) - 0x1.8p52;
    j = static_cast<int>(k) & 2047;
    const DD t = dd::twoSum(x - k * kP1, -(k * kP2));
    const DD p = dd::twoProd(k, kP3);
    const DD s = dd::twoSum(t.hi, -p.hi);
    return dd::fastTwoSum(s.hi, ((s.lo + t.lo) - p.lo) - k * kP4);
}

// Taylor coefficients (each rounded once; their rounding is part of the bound).
constexpr double kC4 = 1.0 / 24, kC6 = 1.0 / 720;
constexpr double kS3 = 1.0 / 6, kS5 = 1.0 / 120, kS7 = 1.0 / 5040;

// sin x (cosine = false) or cos x as a double-double, with its absolute error bound in err;
// |x| >= 2^-27, finite.
//
// Error budget, relative to M = |S| + |C r| (|r| <= 2^-9.35, z = rh^2 <= 2^-18.7):
//   terms left out: Sl (cos r - 1) and C rl rh^2/2 (2^-72.7 M each), Cl (sin r - r) (2^-74.3 M),
//     the Taylor remainders (below 2^-90 M);
//   S (cos r - 1), at most 2^-19.7 |S|, from four roundings: 2^-70.7 M;
//   C (sin r - r), at most 2^-21.3 |C r|, from five roundings: 2^-72 M;
//   the two last additions of the correction: 2^-72.2 M and 2^-74.3 M.
// Sum below 2^-69.1 M; the bound uses 2^-68.47 M.
DD sinCosFast(double x, bool cosine, double& err) {
    const double ax = x < 0 ? -x : x;
    int j = 0;
    DD r{ax, 0.0};
    double reductionErr = 0.0;
    if (ax > kPi2048) {
        r = ax < kCodyWaiteLimit ? reduceCodyWaite(ax, j) : detail::reducePi1024(ax, j);
        reductionErr = 0x1p-132 + (r.hi < 0 ? -r.hi : r.hi) * 0x1p-102;
    }
    const int i = j & 511;
    const int q = ((j >> 9) + (cosine ? 1 : 0)) & 3;
    // sin(q pi/2 + t) is sin t, cos t, -sin t, -cos t for q = 0..3; with t = i pi/1024 + r,
    // sin t = Sin_i cos r + Cos_i sin r and cos t = Cos_i cos r - Sin_i sin r.
    double sh = detail::kSinHi[i], sl = detail::kSinLo[i], ch = detail::kCosHi[i], cl = detail::kCosLo[i];
    if (q & 1) {
        const double th = sh, tl = sl;
        sh = ch;
        sl = cl;
        ch = -th;
        cl = -tl;
    }
    if (q & 2) {
        sh = -sh;
        sl = -sl;
        ch = -ch;
        cl = -cl;
    }
    const double rh = r.hi, rl = r.lo;
    const double z = rh * rh;
    const double cosM1 = z * (-0.5 + z * (kC4 - z * kC6));             // cos rh - 1
    const double sinMr = rh * z * (-kS3 + z * (kS5 - z * kS7));         // sin rh - rh
    const DD p = dd::twoProd(ch, rh);
    const DD h = dd::fastTwoSum(sh, p.hi);  // |sh| >= sin(pi/1024) > |ch rh|, or sh = 0
    double corr = ((h.lo + p.lo) + sl) + cl * rh + ch * rl - sh * (rh * rl);
    corr = (corr + ch * sinMr) + sh * cosM1;
    DD y = dd::fastTwoSum(h.hi, corr);
    if (!cosine && x < 0) y = dd::neg(y);
    const double as = sh < 0 ? -sh : sh, ac = ch < 0 ? -ch : ch;
    err = (as + ac * (rh < 0 ? -rh : rh)) * 0x1.7p-69 + ac * reductionErr * 1.01;
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
