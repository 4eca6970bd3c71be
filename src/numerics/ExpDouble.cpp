// exp of a double, correctly rounded (round to nearest, ties to even), with overflow to +inf and
// underflow through the subnormals to +0.
// Fast path (ExpLogKernels.h): a table of 2^(j/512) and a short series, as a double-double with
// relative error below 2^-70, accepted when the whole error interval rounds to one double (Ziv's
// test; about one input in 40000 fails it). Otherwise, and for results outside the normal range: the
// 256-bit evaluation of AccurateExpLog.cpp (error below 2^-220). e^x is never a double nor a midpoint
// between two doubles for a double x != 0, so that accuracy decides every input.
// The fast path's exact products use fused multiply-adds where the processor has them (FmaPaths.cpp):
// the same bits either way.
#include "AccurateExpLog.h"
#include "FastPaths.h"
#include "TrigKernelsDouble.h"
#include "numerics.h"

namespace XELORAALGO::num {

namespace detail {

double expAccurate256(double x) { return mw::toDouble(expMw(mw::fromDouble(x))); }
double expAccurateForTest(double x) { return expAccurate256(x); }
double expNormalPlain(double x) { return expNormal<DekkerProduct>(x); }

#if defined(__GNUC__) && defined(__x86_64__)
const bool kFmaUsable = (__builtin_cpu_init(), __builtin_cpu_supports("fma") != 0);
#else
double expNormalFma(double x) { return expNormalPlain(x); }
double powPositiveFma(double x, double y) { return powPositive<DekkerProduct>(x, y); }
double sinCosRoundedFma(double x, bool cosine) { return sinCosRounded<DekkerProduct>(x, cosine); }
double atanRoundedFma(double n, double d, bool inverted, bool xNegative) {
    return atanRounded<DekkerProduct>(n, d, inverted, xNegative);
}
const bool kFmaUsable = false;
#endif

}  // namespace detail

double exp(double x) {
    // e^x is normal for -708.39 < x < 709.78.
    if (x > -708.3 && x < 709.7) return detail::kFmaUsable ? detail::expNormalFma(x) : detail::expNormalPlain(x);
    if (x != x) return x + x;
    if (x > 709.8) return 0x1p1023 * 2.0;  // +inf (also for x = +inf)
    if (x < -746.0) return 0.0;            // e^-746 < 2^-1076
    return detail::expAccurate256(x);
}

}  // namespace XELORAALGO::num
