// atan and atan2 of doubles, correctly rounded (round to nearest, ties to even), C99 Annex F special
// values. Fast path (TrigKernelsDouble.h): for the ratio n/d <= 1 of the smaller to the larger of
// |y| and |x| (atan: of |x| and 1), atan(n/d) = atan(i/512) + atan(u) with u = (n - c d) / (d + c n)
// formed from the operands themselves (no quotient n/d beyond the one that picks the table point),
// then reflected to pi/2 - a, pi - a or pi/2 + a. The double-double result carries a proven error
// bound; Ziv's test accepts it when the error interval rounds to one double, otherwise the 256-bit
// path decides. The exact products use fused multiply-adds where the processor has them.
#include "TrigKernelsDouble.h"
#include "numerics.h"

namespace XELORAALGO::num {
namespace {

using dd::DD;

const DD kPio2{0x1.921fb54442d18p+0, 0x1.1a62633145c07p-54};
const DD kPi{0x1.921fb54442d18p+1, 0x1.1a62633145c07p-53};

// a / b for double-doubles a and b > 0 with one correction step: relative error below 2^-103.
DD quotient(DD a, DD b) {
    const double q = a.hi / b.hi;
    const DD p = dd::twoProd(q, b.hi);
    const double rest = (((a.hi - p.hi) - p.lo) + a.lo) - q * b.lo;
    return dd::fastTwoSum(q, rest / b.hi);
}

// The fast path's result, or a NaN when its bound does not settle it.
double atanRounded(double n, double d, bool inverted, bool xNegative) {
    return detail::kFmaUsable ? detail::atanRoundedFma(n, d, inverted, xNegative)
                              : detail::atanRounded<detail::DekkerProduct>(n, d, inverted, xNegative);
}

// The 256-bit path of atan t, t > 0, out of line: it needs a large frame the fast path should not set up.
__attribute__((noinline)) double atanAccurate(double t) {
    return mw::toDouble(detail::atanAccurate256(mw::fromDouble(t)));
}

double withSign(double v, bool negative) {  // -v when negative, without a branch
    return dd::fromBits(dd::bitsOf(v) ^ (static_cast<unsigned long long>(negative) << 63));
}

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

double atan(double x) {
    const double t = __builtin_fabs(x);
    const bool negative = signBit(x);
    // t < 2^-27: atan t = t (1 - t^2/3 ...) rounds to t. t > 2^64: pi/2 - 1/t rounds to pi/2.
    if (!(t >= 0x1p-27 && t <= 0x1p64)) {
        if (x != x) return x + x;
        return t < 0x1p-27 ? x : withSign(kPio2.hi, negative);
    }
    const bool inverted = t > 1.0;
    double out = atanRounded(inverted ? 1.0 : t, inverted ? t : 1.0, inverted, false);
    if (out != out) out = atanAccurate(t);
    return withSign(out, negative);
}

double atan2(double y, double x) {
    if (x != x || y != y) return x + y;
    const bool negative = signBit(y);
    const bool xNegative = signBit(x);
    const double ay = __builtin_fabs(y);
    const double ax = __builtin_fabs(x);
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
            if (detail::roundOrFail(q, q.hi * 0x1p-100, out))
                return withSign(scaleByPowerOfTwo(out, d), negative);
        }
        return withSign(detail::atan2Accurate256(ay, ax, xNegative), negative);
    }
    // Scale both by the same power of two when x lies outside [2^-500, 2^501): exact, and y/x stays
    // within [2^-63, 2^63], so that the double-double arithmetic neither overflows nor underflows.
    const int ex = exponentOf(ax);
    const bool scaled = ex < -500 || ex > 500;
    const double sx = scaled ? scaleByPowerOfTwo(ax, -ex) : ax;
    const double sy = scaled ? scaleByPowerOfTwo(ay, -ex) : ay;
    const bool inverted = sy > sx;
    out = atanRounded(inverted ? sx : sy, inverted ? sy : sx, inverted, xNegative);
    if (out != out) out = detail::atan2Accurate256(ay, ax, xNegative);
    return withSign(out, negative);
}

}  // namespace XELORAALGO::num
