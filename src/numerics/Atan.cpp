// atanf, atan2f and acosf: float in, correctly rounded float out. atanf and atan2f go through one
// arc-tangent kernel of a non-negative double, acosf through a square root and a polynomial
// (FloatFunctions.h); the results too close to a float rounding boundary go to the double-double
// arc tangent here.
#include "FloatFunctions.h"
#include "numerics.h"

namespace XELORAALGO::num {
namespace detail {
namespace {

using dd::DD;

const DD kPio2{kPio2Hi, kPio2Lo};
const DD kPi{kPiHi, kPiLo};

}  // namespace

float atanfRare(float x) {
    if (x != x) return x + x;
    // atan(+-inf) = +-pi/2; below 2^-125, atan x = x (1 - x^2/3 + ...) rounds to x (and keeps -0).
    if (x - x != 0.0f) return x < 0.0f ? -static_cast<float>(kPio2Hi) : static_cast<float>(kPio2Hi);
    return x;
}

float atan2Accurate(double q, double ay, double ax, bool exactQuotient, bool xNegative) {
    // q again as a double-double: |y| - qh |x| is exact.
    DD qd = dd::make(q);
    if (exactQuotient) {
        const DD p = dd::twoProd(q, ax);
        qd.lo = ((ay - p.hi) - p.lo) / ax;
    }
    DD r = atanAccurate(qd);
    if (xNegative) r = dd::sub(kPi, r);
    return dd::toFloat(r);
}

float acosAccurate(float x) {
    const double xd = x;
    const double ax = xd < 0 ? -xd : xd;
    // sin(acos x) = sqrt((1 - x)(1 + x)); both factors are exact for a float |x| >= 2^-29.
    const DD sd = dd::sqrt(dd::twoProd(1.0 - xd, 1.0 + xd), num::sqrt);
    DD r;
    if (ax <= 0.5) {
        const DD a = atanAccurate(dd::div(dd::make(ax), sd));
        r = xd < 0 ? dd::add(kPio2, a) : dd::sub(kPio2, a);
    } else {
        const DD a = atanAccurate(dd::div(sd, dd::make(ax)));
        r = xd < 0 ? dd::sub(kPi, a) : a;
    }
    return dd::toFloat(r);
}

}  // namespace detail

float atanf(float x) { return detail::kFloatFmaUsable ? detail::atanfFma(x) : detail::atanfWith<detail::PlainOps>(x); }
float atan2f(float y, float x) {
    return detail::kFloatFmaUsable ? detail::atan2fFma(y, x) : detail::atan2fWith<detail::PlainOps>(y, x);
}
float acosf(float x) { return detail::kFloatFmaUsable ? detail::acosfFma(x) : detail::acosfWith<detail::PlainOps>(x); }

}  // namespace XELORAALGO::num
