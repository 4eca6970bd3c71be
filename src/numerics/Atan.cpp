// atanf, atan2f and acosf: float in, correctly rounded float out. atanf and atan2f go through one
// arc-tangent kernel of a non-negative double, acosf through a square root and a polynomial
// (LaneKernels.h); the results too close to a float rounding boundary go to the double-double
// arc tangent.
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
    if (!(x - x == 0.0f)) return x != x ? x + x : withSign(static_cast<float>(detail::kPio2Hi), x < 0.0f);
    const bool negative = x < 0.0f;
    const float ax = negative ? -x : x;
    if (ax < 0x1p-125f) return x;  // atan x = x (1 - x^2/3 + ...) rounds to x (and keeps -0)
    const double t = ax;
    const double y = detail::atanTableV(t);
    float out;
    if (detail::roundsSafely(y, detail::kAtanUlps)) {
        out = static_cast<float>(y);
    } else {
        out = dd::toFloat(detail::atanAccurate(dd::make(t)));
    }
    return withSign(out, negative);
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
    const double a = detail::atanTableV(q < 0x1p100 ? q : 0x1p100);
    const double v = xNegative ? detail::kPiHi - (a - detail::kPiLo) : a;
    // Results below 2^-125 may be subnormal floats: there the real-valued test decides.
    float out = static_cast<float>(v);
    const bool settled = v >= 0x1p-125 ? detail::roundsSafely(v, detail::kAtanUlps)
                                       : detail::settles(v, v * detail::kAtanMargin, out);
    if (!settled) {
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
    const double v = detail::acosPoly(xd);
    if (detail::roundsSafely(v, detail::kAcosUlps)) return static_cast<float>(v);
    const double ax = xd < 0 ? -xd : xd;
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
