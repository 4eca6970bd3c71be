// atanf, atan2f and acosf: float in, correctly rounded float out, all through one arc-tangent
// kernel of a non-negative double (relative error below 2^-50) and its double-double counterpart.
#include "LaneKernels.h"
#include "numerics.h"

#include <limits>

namespace XELORAALGO::num {
namespace {

using dd::DD;

const DD kPio2{detail::kPio2Hi, detail::kPio2Lo};
const DD kPi{detail::kPiHi, detail::kPiLo};

float withSign(float v, bool negative) { return negative ? -v : v; }

}  // namespace

float atanf(float x) {
    if (x != x) return x + x;
    const bool negative = x < 0.0f;
    const double t = negative ? -static_cast<double>(x) : static_cast<double>(x);
    const double y = detail::atanKernelV(t);
    float out;
    if (!detail::settles(y, y * detail::kMargin, out)) out = dd::toFloat(detail::atanAccurate(dd::make(t)));
    return withSign(out, negative || (x == 0.0f && 1.0f / x < 0.0f));
}

float atan2f(float y, float x) {
    if (x != x || y != y) return x + y;
    const bool negative = y < 0.0f || (y == 0.0f && 1.0f / y < 0.0f);
    const bool xNegative = x < 0.0f || (x == 0.0f && 1.0f / x < 0.0f);
    const double ay = negative ? -static_cast<double>(y) : static_cast<double>(y);
    const double ax = xNegative ? -static_cast<double>(x) : static_cast<double>(x);
    // q = |y| / |x|, finite and normal for finite non-zero floats; the limits of atan2 give the
    // rest: 0 for y = 0 or a finite y over an infinite x, 1 for two infinities, +inf otherwise.
    const bool yFinite = ay - ay == 0.0;
    const bool xFinite = ax - ax == 0.0;
    const double infinity = std::numeric_limits<double>::infinity();
    double q;
    if (ay == 0.0 || (yFinite && !xFinite)) {
        q = 0.0;
    } else if (!yFinite) {
        q = xFinite ? infinity : 1.0;
    } else {
        q = ax == 0.0 ? infinity : ay / ax;
    }
    const double a = detail::atanKernelV(q);
    const double v = xNegative ? detail::kPiHi - (a - detail::kPiLo) : a;
    float out;
    if (!detail::settles(v, v * detail::kMargin, out)) {
        // q again as a double-double: |y| - qh |x| is exact.
        DD qd = dd::make(q);
        if (yFinite && xFinite && ax != 0.0 && ay != 0.0) {
            const DD p = dd::twoProd(q, ax);
            qd.lo = ((ay - p.hi) - p.lo) / ax;
        }
        DD r = detail::atanAccurate(qd);
        if (xNegative) r = dd::sub(kPi, r);
        out = dd::toFloat(r);
    }
    return withSign(out, negative);
}

float acosf(float x) {
    if (x != x) return x + x;
    if (x > 1.0f || x < -1.0f) return (x - x) / (x - x);  // NaN outside [-1, 1]
    const double xd = x;
    const double ax = xd < 0 ? -xd : xd;
    // sin(acos x) = sqrt((1 - x)(1 + x)); both factors are exact for a float |x| >= 2^-29.
    const double s = num::sqrt((1.0 - xd) * (1.0 + xd));
    double v;
    if (ax <= 0.5) {
        const double a = detail::atanKernelV(ax / s);  // asin |x|
        v = xd < 0 ? detail::kPio2Hi + (a + detail::kPio2Lo) : detail::kPio2Hi - (a - detail::kPio2Lo);
    } else {
        const double a = detail::atanKernelV(s / ax);
        v = xd < 0 ? detail::kPiHi - (a - detail::kPiLo) : a;
    }
    float out;
    if (detail::settles(v, v * detail::kMargin, out)) return out;
    const DD sd = dd::sqrt(dd::twoProd(1.0 - xd, 1.0 + xd), num::sqrt);
    DD r;
    if (ax <= 0.5) {
        const DD a = detail::atanAccurate(dd::div(dd::make(ax), sd));
        r = xd < 0 ? dd::add(kPio2, a) : dd::sub(kPio2, a);
    } else {
        const DD a = detail::atanAccurate(dd::div(sd, dd::make(ax)));
        r = xd < 0 ? dd::sub(kPi, a) : a;
    }
    return dd::toFloat(r);
}

}  // namespace XELORAALGO::num
