// Internal to the numerics subsystem: tables, argument reduction and the 256-bit accurate paths of
// the double sine, cosine and arc tangent. The fast paths return a double-double with an absolute
// error bound; roundOrFail (Ziv's test) decides whether that settles the double result.
#pragma once

#include "DoubleDouble.h"
#include "MultiWord.h"

namespace XELORAALGO::num::detail {

constexpr int kTwoOverPiWordCount = 28;
extern const unsigned long long kTwoOverPiWords[kTwoOverPiWordCount];  // 2/pi, 64 bits a word
extern const double kSinHi[512], kSinLo[512];  // sin(i pi/1024) = hi + lo
extern const double kCosHi[512], kCosLo[512];  // cos(i pi/1024) = hi + lo
extern const double kAtanHi[513], kAtanLo[513];  // atan(i/512) = hi + lo
// K + sign a for the angle of atan2 from a = atan(n/d), n <= d, by inverted + 2 xNegative:
// (0, +), (pi/2, -), (pi, -), (pi/2, +); K = hi + lo. Looked up, not branched on.
struct Reflection {
    double hi, lo, sign;
};
extern const Reflection kReflection[4];
constexpr dd::DD kPi1024{0x1.921fb54442d18p-9, 0x1.1a62633145c07p-63};  // pi/1024

// Reduction of a finite |x| >= 2^-12 by pi/1024: |x| = (j + g) pi/1024 with j an integer and
// |g| <= 1/2. Returns j mod 2048 and r = g pi/1024 as a double-double: relative error below 2^-102
// plus an absolute error below 2^-135 (from the 1216 bits of 2/pi used at most). r is zero only
// when |g| < 2^-128.
dd::DD reducePi1024(double ax, int& j);

// The double nearest to v.hi + v.lo when every value within e of it rounds to that double, for a
// margin e that already covers the rounding of v.lo -+ e itself (at most 2^-53 (|v.lo| + e)): the
// two rounded ends then enclose the whole interval (rounding is monotonic). v.lo need not be below
// half an ulp of v.hi.
inline bool roundWithin(dd::DD v, double e, double& out) {
    const double a = v.hi + (v.lo - e);
    const double b = v.hi + (v.lo + e);
    out = a;
    return a == b;
}

// The same for an error bound err alone: the margin 2^-52 |v.lo| + 2^-100 |v.hi| covers those
// roundings (e stays below 2^-47 |v.hi| whenever the test can pass).
inline bool roundOrFail(dd::DD v, double err, double& out) {
    return roundWithin(v, err + (__builtin_fabs(v.lo) * 0x1p-52 + __builtin_fabs(v.hi) * 0x1p-100), out);
}

// pi/2 to 256 bits.
inline mw::Mw pio2Mw() {
    return mw::fromWords(0xc90fdaa22168c234ull, 0xc4c6628b80dc1cd1ull, 0x29024e088a67cc74ull,
                         0x020bbea63b139b22ull, 1);
}

// Reduction of a finite |x| by pi/2 for the accurate paths: |x| = (q + f) pi/2 with |f| <= 1/2;
// returns q mod 4 and f pi/2 (relative error below 2^-254).
mw::Mw reducePio2Accurate(double ax, int& q);

// ---- accurate paths: 256-bit arithmetic, relative error below 2^-230 ----
double sinCosAccurate256(double x, bool cosine);  // |x| >= 2^-27, finite
mw::Mw atanAccurate256(const mw::Mw& t);          // t >= 0
double atan2Accurate256(double ay, double ax, bool xNegative);  // |y|, |x| finite, non-zero
mw::Mw reciprocal(const mw::Mw& b);            // 1/b, b != 0

}  // namespace XELORAALGO::num::detail
