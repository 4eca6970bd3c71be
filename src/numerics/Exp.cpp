// expf: float in, correctly rounded float out, including the subnormal results below 2^-126,
// overflow to +inf above 0x1.62e42ep+6 and underflow to +0 below about -103.97.
#include "FloatFunctions.h"
#include "numerics.h"

namespace XELORAALGO::num {
namespace detail {

#if defined(__GNUC__) && defined(__x86_64__)
const bool kFloatFmaUsable = (__builtin_cpu_init(), __builtin_cpu_supports("fma") != 0);
#else
const bool kFloatFmaUsable = false;
#endif

float expfRare(float x) {
    if (x != x) return x + x;
    if (x > 89.0f) return static_cast<float>(0x1p1000 * 0x1p1000);  // +inf (also for x = +inf)
    if (x < -104.0f) return 0.0f;                                  // e^-104 < 2^-150
    // Results near float's limits (subnormal or near overflow): the real-valued rounding test.
    const double y = expTableV<PlainOps>(static_cast<double>(x));
    float out;
    if (settles(y, y * kExpMargin, out)) return out;
    return expAccurate(x);
}

}  // namespace detail

float expf(float x) { return detail::kFloatFmaUsable ? detail::expfFma(x) : detail::expfWith<detail::PlainOps>(x); }

}  // namespace XELORAALGO::num
