// pow of two doubles, correctly rounded (round to nearest, ties to even), with the special values of
// C99 Annex F, overflow to infinity and underflow through the subnormals to zero.
// Fast path (FastPaths.h): log|x| as a double-double, times y as a double-double, e^ of that; the
// error bound of the three steps decides by Ziv's test whether the result is settled. Otherwise
// PowAccurate.cpp: exact results and midpoints found exactly, the rest in 256-bit arithmetic.
#include "FastPaths.h"
#include "numerics.h"

namespace XELORAALGO::num {
namespace {

constexpr double kInf = __builtin_inf();

double fabsD(double v) { return __builtin_fabs(v); }

// 0: y is not an integer, 1: an odd integer, 2: an even integer (finite y).
int integerKind(double y) {
    const double a = fabsD(y);
    if (a >= 0x1p53) return 2;
    if (a < 1.0) return a == 0.0 ? 2 : 0;
    const long long n = static_cast<long long>(a);  // a < 2^53: in range
    if (static_cast<double>(n) != a) return 0;
    return (n & 1) ? 1 : 2;
}

bool signBit(double v) { return (dd::bitsOf(v) >> 63) != 0; }

// pow for x or y zero, infinite or NaN, or x = 1 (C99 Annex F F.9.4.4).
double powSpecial(double x, double y) {
    if (y == 0.0 || x == 1.0) return 1.0;  // also for a NaN x, or a NaN y
    if (x != x || y != y) return x + y;
    const double ax = fabsD(x);
    if (y == kInf || y == -kInf) {
        if (ax == 1.0) return 1.0;                   // pow(-1, +-inf)
        return (ax < 1.0) == (y > 0) ? 0.0 : kInf;   // +0 or +inf
    }
    const bool odd = integerKind(y) == 1;
    const bool negative = odd && signBit(x);
    if (x == 0.0) {  // +-0: an odd integer y keeps the sign of the zero
        const double r = y < 0 ? kInf : 0.0;
        return negative ? -r : r;
    }
    // x = +-inf
    const double r = y < 0 ? 0.0 : kInf;
    return negative ? -r : r;
}

}  // namespace

namespace detail {
double powPositivePlain(double x, double y) { return powPositive<DekkerProduct>(x, y); }
}  // namespace detail

double pow(double x, double y) {
    const unsigned long long bx = dd::bitsOf(x), by = dd::bitsOf(y);
    // The common case first, in one test of the bits: x positive, normal and not 1, 2^-64 <= |y| < 2^64.
    if (((bx >> 52) - 1 < 0x7fe) & ((((by >> 52) & 0x7ff) - (1023 - 64)) < 128) & (bx != dd::bitsOf(1.0)))
        return detail::kFmaUsable ? detail::powPositiveFma(x, y) : detail::powPositivePlain(x, y);
    // The same for a negative x and an integer y: |x|^y, negated for an odd y.
    if (((bx >> 52) - 0x801 < 0x7fe) & ((((by >> 52) & 0x7ff) - (1023 - 64)) < 128) & (bx != dd::bitsOf(-1.0))) {
        const int kind = integerKind(y);
        if (kind != 0) {
            const double r = detail::kFmaUsable ? detail::powPositiveFma(-x, y) : detail::powPositivePlain(-x, y);
            return dd::fromBits(dd::bitsOf(r) ^ (static_cast<unsigned long long>(kind == 1) << 63));
        }
    }
    // Exponent fields 0 (zero, subnormal) and 0x7ff (inf, NaN) of either, and x = 1, go the slow way.
    const bool xOrdinary = ((bx >> 52) & 0x7ff) - 1 < 0x7fe;
    const bool yOrdinary = ((by >> 52) & 0x7ff) - 1 < 0x7fe;
    if (!(xOrdinary && yOrdinary) || x == 1.0) {
        if (y == 0.0 || x == 1.0 || x != x || y != y || x == 0.0 || fabsD(x) == kInf || fabsD(y) == kInf)
            return powSpecial(x, y);
        // Subnormal x or y: the general path below handles them.
    }
    bool negate = false;
    if (x < 0) {
        const int kind = integerKind(y);
        if (kind == 0) return (x - x) / (x - x);  // NaN: a negative base to a non-integer power
        negate = kind == 1;
        x = -x;
        if (x == 1.0) return negate ? -1.0 : 1.0;  // (-1)^y for an integer y, however large
    }
    const double ay = fabsD(y);
    double r;
    if (ay >= 0x1p64) {  // |y log x| >= 2^64 2^-53: far beyond the range either way
        r = (x > 1.0) == (y > 0) ? kInf : 0.0;
    } else if (ay < 0x1p-64) {  // 0 < |y log x| < 745 2^-64 < 2^-54: x^y rounds to 1
        r = 1.0;
    } else {
        r = detail::kFmaUsable ? detail::powPositiveFma(x, y) : detail::powPositivePlain(x, y);
    }
    return negate ? -r : r;
}

}  // namespace XELORAALGO::num
