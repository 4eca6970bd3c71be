// expf: float in, correctly rounded float out, including the subnormal results below 2^-126,
// overflow to +inf above 0x1.62e42ep+6 and underflow to +0 below about -103.97.
#include "LaneKernels.h"
#include "numerics.h"

namespace XELORAALGO::num {

float expf(float x) {
    if (x > -87.0f && x < 88.5f) {  // a normal float result: e^-87 > 2^-126, e^88.5 < 2^128
        const double y = detail::expTableV(static_cast<double>(x));
        if (detail::roundsSafely(y, detail::kExpUlps)) return static_cast<float>(y);
        return detail::expAccurate(x);
    }
    if (x != x) return x + x;
    if (x > 89.0f) return static_cast<float>(0x1p1000 * 0x1p1000);  // +inf (also for x = +inf)
    if (x < -104.0f) return 0.0f;                                  // e^-104 < 2^-150
    const double y = detail::expTableV(static_cast<double>(x));
    float out;
    if (detail::settles(y, y * detail::kExpMargin, out)) return out;
    return detail::expAccurate(x);
}

}  // namespace XELORAALGO::num
