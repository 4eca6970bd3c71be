// atan and atan2 of doubles, correctly rounded (round to nearest, ties to even), C99 Annex F special
// values. Fast path: t = |y/x| as a double-double; t > 1 is inverted (atan t = pi/2 - atan(1/t));
// then atan t = atan(i/512) + atan(u) with i/512 the nearest table point and
// u = (t - i/512) / (1 + t i/512), |u| <= 2^-10: the table's high part plus u is formed exactly, the
// rest (at most 2^-21.6 of u, and the low parts) in plain double arithmetic. The double-double
// result carries a proven error bound; Ziv's test accepts it when the error interval rounds to one
// double, otherwise the 256-bit path decides.
#include "KernelsDouble.h"
#include "numerics.h"

namespace XELORAALGO::num {
namespace {

using dd::DD;

const DD kPio2{0x1.921fb54442d18p+0, 0x1.1a62633145c07p-54};
const DD kPi{0x1.921fb54442d18p+1, 0x1.1a62633145c07p-53};

constexpr double kA3 = 1.0 / 3, kA5 = 1.0 / 5, kA7 = 1.0 / 7;

// a / b for double-doubles a and b > 0 with one correction step: relative error below 2^-103.
DD quotient(DD a, DD b) {
    const double q = a.hi / b.hi;
    const DD p = dd::twoProd(q, b.hi);
    const double rest = (((a.hi - p.hi) - p.lo) + a.lo) - q * b.lo;
    return dd::fastTwoSum(q, rest / b.hi);
}

// atan t for a double-double t = th + tl with 2^-64 <= t <= 2^64; err receives the absolute error
// bound. Error budget (|u| <= 2^-10, relative to |u| unless stated): 1/t and u to 2^-103, plus
// 2^-105 |v| from forming the numerator; the series' tail -u^3/3 + u^5/5 - u^7/7 (at most 2^-21.6)
// to five roundings, 2^-72.3; the omitted u^9/9 and ul u^2, 2^-73; the additions of the correction,
// 2^-74.6 and 2^-105 of the table value. The bound uses 2^-69 |u| + 2^-98 (v + atan(i/512)), with a
// margin of four over the sum.
DD atanFast(DD t, double& err) {
    const bool inverted = t.hi > 1.0;
    const DD v = inverted ? quotient(dd::make(1.0), t) : t;
    const double i = (v.hi * 512.0 + 0x1.8p52) - 0x1.8p52;  // nearest integer, 0..512
    const double c = i * 0x1p-9;
    const int k = static_cast<int>(i);
    // u = (v - c) / (1 + v c): v.hi - c is exact (Sterbenz, or c = 0), v c an exact product.
    const DD num{v.hi - c, v.lo};
    const DD p = dd::twoProd(v.hi, c);
    const DD den = dd::fastTwoSum(1.0, p.hi);
    const double denLo = den.lo + (p.lo + v.lo * c);
    const double uh = (num.hi + num.lo) / den.hi;
    const DD uDen = dd::twoProd(uh, den.hi);
    const double ul = ((((num.hi - uDen.hi) - uDen.lo) + num.lo) - uh * denLo) / den.hi;
    const double z = uh * uh;
    const double tail = uh * z * (-kA3 + z * (kA5 - z * kA7));
    const DD h = dd::fastTwoSum(detail::kAtanHi[k], uh);  // atan(i/512) >= 2|u|, or 0
    double corr = ((h.lo + detail::kAtanLo[k]) + ul) + tail;
    err = (uh < 0 ? -uh : uh) * 0x1p-69 + (v.hi + detail::kAtanHi[k]) * 0x1p-98;
    if (!inverted) return dd::fastTwoSum(h.hi, corr);
    const DD s = dd::twoSum(kPio2.hi, -h.hi);
    corr = (s.lo + kPio2.lo) - corr;
    err += 0x1p-103;
    return dd::fastTwoSum(s.hi, corr);
}

double withSign(double v, bool negative) { return negative ? -v : v; }

bool signBit(double v) { return (dd::bitsOf(v) >> 63) != 0; }

// The binary exponent of a finite non-zero |v| (v in [2^e, 2^(e+1))), subnormals included.
int exponentOf(double v) {
    const unsigned long long b = dd::bitsOf(v) & ~(1ull << 63);
    const int biased = static_cast<int>(b >> 52);
    if (biased != 0) return biased - 1023;
    return -1011 - __builtin_clzll(b);  // bit 51 is 2^-1023: clz 12
}

double scaleByPowerOfTwo(double v, int p) {  // v 2^p, exact for results in the normal range
    while (p > 1000) {
        v *= 0x1p1000;
        p -= 1000;
    }
    while (p < -1000) {
        v *= 0x1p-1000;
        p += 1000;
    }
    return v * dd::fromBits(static_cast<unsigned long long>(p + 1023) << 52);
}

}  // namespace

namespace detail {
dd::DD atanFastForTest(dd::DD t, double& err) { return atanFast(t, err); }
}  // namespace detail

double atan(double x) {
    if (x != x) return x + x;
    const bool negative = signBit(x);
    const double t = negative ? -x : x;
    // t < 2^-27: atan t = t (1 - t^2/3 ...) rounds to t. t > 2^64: pi/2 - 1/t rounds to pi/2.
    if (t < 0x1p-27) return x;
    if (t > 0x1p64) return withSign(kPio2.hi, negative);
    double err, out;
    const DD a = atanFast(dd::make(t), err);
    if (!detail::roundOrFail(a, err, out)) {
        out = mw::toDouble(detail::atanAccurate256(mw::fromDouble(t)));
    }
    return withSign(out, negative);
}

double atan2(double y, double x) {
    if (x != x || y != y) return x + y;
    const bool negative = signBit(y);
    const bool xNegative = signBit(x);
    const double ay = negative ? -y : y;
    const double ax = xNegative ? -x : x;
    const double inf = 0x1p1023 * 2.0;
    // Annex F: zeros and infinities give 0, pi/4, pi/2, 3pi/4 or pi with the sign of y.
    if (ay == 0.0) return withSign(xNegative ? kPi.hi : 0.0, negative);
    if (ax == 0.0) return withSign(kPio2.hi, negative);
    if (ay == inf) {
        if (ax == inf) return withSign(xNegative ? 0x1.2d97c7f3321d2p+1 : 0x1.921fb54442d18p-1, negative);
        return withSign(kPio2.hi, negative);
    }
    if (ax == inf) return withSign(xNegative ? kPi.hi : 0.0, negative);

    const int d = exponentOf(ay) - exponentOf(ax);  // |y/x| lies in [2^(d-1), 2^(d+1))
    double out;
    if (d > 62) {
        // |y/x| > 2^61: pi/2 -+ |x/y| rounds to pi/2.
        return withSign(kPio2.hi, negative);
    }
    if (d < -62) {
        // |y/x| < 2^-61: pi - |y/x| rounds to pi; for x > 0, atan(q) = q (1 - q^2/3 ...) lies within
        // 2^-120 of q: the rounded quotient of the scaled operands decides unless the result is near
        // the subnormal range or the quotient near a rounding boundary.
        if (xNegative) return withSign(kPi.hi, negative);
        if (d > -1000) {
            const double my = scaleByPowerOfTwo(ay, -exponentOf(ay));
            const double mx = scaleByPowerOfTwo(ax, -exponentOf(ax));
            const DD q = quotient(dd::make(my), dd::make(mx));
            if (detail::roundOrFail(q, q.hi * 0x1p-100, out)) return withSign(scaleByPowerOfTwo(out, d), negative);
        }
        return withSign(detail::atan2Accurate256(ay, ax, xNegative), negative);
    }
    // Scale both by the same power of two so that x lies in [1, 2): exact, and y/x stays within
    // [2^-63, 2^63], where the double-double arithmetic neither overflows nor underflows.
    const int ex = exponentOf(ax);
    const double sx = scaleByPowerOfTwo(ax, -ex);
    const double sy = scaleByPowerOfTwo(ay, -ex);
    const DD q = quotient(dd::make(sy), dd::make(sx));
    double err;
    DD a = atanFast(q, err);
    if (xNegative) {
        a = dd::sub(kPi, a);
        err += 0x1p-102;
    }
    if (!detail::roundOrFail(a, err, out)) out = detail::atan2Accurate256(ay, ax, xNegative);
    return withSign(out, negative);
}

}  // namespace XELORAALGO::num
