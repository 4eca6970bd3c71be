// atan and atan2 of doubles, correctly rounded (round to nearest, ties to even), C99 Annex F special
// values. Fast path: t = |y/x| as a double-double; t > 1 is inverted (atan t = pi/2 - atan(1/t));
// then atan t = atan(i/64) + atan(u) with i/64 the nearest table point and
// u = (t - i/64) / (1 + t i/64), |u| <= 1/128, and atan u from its Taylor series: a double-double
// with a proven error bound (2^-76 |u| plus 2^-100 of the terms). Ziv's test accepts it when the
// error interval rounds to one double; otherwise the 256-bit path decides.
#include "KernelsDouble.h"
#include "numerics.h"

namespace XELORAALGO::num {
namespace {

using dd::DD;

const DD kPio2{0x1.921fb54442d18p+0, 0x1.1a62633145c07p-54};
const DD kPi{0x1.921fb54442d18p+1, 0x1.1a62633145c07p-53};

constexpr double kA5 = 1.0 / 5, kA7 = 1.0 / 7, kA9 = 1.0 / 9, kA11 = 1.0 / 11;

// a / b for double-doubles a and b > 0 with one correction step: relative error below 2^-103.
DD quotient(DD a, DD b) {
    const double q = a.hi / b.hi;
    const DD p = dd::twoProd(q, b.hi);
    const double rest = (((a.hi - p.hi) - p.lo) + a.lo) - q * b.lo;
    return dd::fastTwoSum(q, rest / b.hi);
}

// atan t for a double-double t = th + tl with 2^-64 <= t <= 2^64; err receives the absolute error
// bound. When inverted, 1/t is formed first (relative error below 2^-103).
DD atanFast(DD t, double& err) {
    const bool inverted = t.hi > 1.0;
    const DD v = inverted ? quotient(dd::make(1.0), t) : t;
    const double i = (v.hi * 64.0 + 0x1.8p52) - 0x1.8p52;  // nearest integer, 0..64
    const double c = i * 0x1p-6;
    // u = (v - c) / (1 + v c): v.hi - c is exact (Sterbenz, or c = 0).
    const DD num = dd::twoSum(v.hi - c, v.lo);
    const DD p = dd::twoProd(v.hi, c);
    DD den = dd::fastTwoSum(1.0, p.hi);
    den = dd::fastTwoSum(den.hi, den.lo + (p.lo + v.lo * c));
    const DD u = quotient(num, den);
    // atan u = u - u^3/3 + u^5 (1/5 - u^2/7 + u^4/9 - u^6/11), |u| <= 2^-7 (1 + 2^-50): the
    // omitted u^13/13 is below 2^-87 |u|, the tail's double evaluation below 2^-79 |u|.
    const double uh = u.hi, ul = u.lo;
    const DD z = dd::twoProd(uh, uh);
    DD u3 = dd::twoProd(uh, z.hi);
    u3.lo += uh * z.lo + 3.0 * z.hi * ul;
    const double zh = z.hi;
    const double tail = uh * zh * zh * (kA5 - zh * (kA7 - zh * (kA9 - zh * kA11)));
    const DD atanU = dd::add(u, dd::add(dd::divD(u3, -3.0), dd::make(tail)));
    DD a = i != 0.0 ? dd::add(detail::kAtan64[static_cast<int>(i)], atanU) : atanU;
    err = (uh < 0 ? -uh : uh) * 0x1p-76 + (v.hi + detail::kAtan64[static_cast<int>(i)].hi) * 0x1p-100;
    if (inverted) {
        a = dd::sub(kPio2, a);
        err += 0x1p-103;
    }
    return a;
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
