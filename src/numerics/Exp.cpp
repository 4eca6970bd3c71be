// expf: float in, correctly rounded float out, including the subnormal results below 2^-126,
// overflow to +inf above 0x1.62e42ep+6 and underflow to +0 below about -103.97.
#include "DoubleDouble.h"
#include "LaneKernels.h"
#include "numerics.h"

namespace XELORAALGO::num {

namespace {

// e^x for 2^-28 <= |x| <= 2^-8, where the double kernel could not decide: 1 + x is exact in double,
// the tail x^2/2 + ... + x^6/720 carries a relative error below 2^-51 (|tail| < 2^-17) and leaves
// out less than 2^-68, so e^x lies within 2^-67 of the exact sum s of 1 + x and the tail. The float
// nearest to e^x is the one of s unless s lies within 2^-64 of a rounding boundary; then this
// returns false and the double-double path decides. Such arguments (e^x near a float midpoint, as
// for x an odd multiple of 2^-25 below 0) are common in filters whose arguments are short
// multiples of powers of two.
bool expNearZero(float xf, float& out) {
    const double x = xf;
    const double tail = (x * x) * (0.5 + x * (1.0 / 6.0 + x * (1.0 / 24.0 + x * (1.0 / 120.0 + x * (1.0 / 720.0)))));
    const dd::DD s = dd::twoSum(1.0 + x, tail);
    constexpr double kBound = 0x1p-64;
    const float below = dd::toFloat(dd::fastTwoSum(s.hi, s.lo - kBound));
    const float above = dd::toFloat(dd::fastTwoSum(s.hi, s.lo + kBound));
    out = above;
    return below == above;
}

}  // namespace

float expf(float x) {
    if (x != x) return x + x;
    if (x > 89.0f) return static_cast<float>(0x1p1000 * 0x1p1000);  // +inf (also for x = +inf)
    if (x < -104.0f) return 0.0f;                                  // e^-104 < 2^-150
    const double y = detail::expKernelV(static_cast<double>(x));
    float out;
    if (detail::settles(y, y * detail::kMargin, out)) return out;
    const float ax = x < 0.0f ? -x : x;
    if (ax >= 0x1p-28f && ax <= 0x1p-8f && expNearZero(x, out)) return out;
    return detail::expAccurate(x);
}

}  // namespace XELORAALGO::num
