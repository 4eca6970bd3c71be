// sin and cos of a double, correctly rounded (round to nearest, ties to even).
// Fast path (TrigKernelsDouble.h): an exact reduction by pi/1024, a table of the sine and cosine of
// j pi/1024 and short Taylor polynomials, as a double-double with an absolute error bound below
// 2^-68.4 of the result's scale; Ziv's test accepts it when the whole error interval rounds to one
// double, otherwise the 256-bit path decides (KernelsDouble.h). The fast path's exact products use
// fused multiply-adds where the processor has them (FmaPaths.cpp): the same bits either way.
#include "TrigKernelsDouble.h"
#include "numerics.h"

namespace XELORAALGO::num {
namespace {

double sinCos(double x, bool cosine) {
    if (!(x - x == 0.0)) return x - x;  // NaN stays NaN; sin and cos of an infinity are NaN
    const double ax = __builtin_fabs(x);
    // |x| < 2^-26: sin x = x (1 - x^2/6 ...) with x^2/6 below a quarter ulp, so it rounds to x (the
    // sign of a zero kept); cos x = 1 - x^2/2 rounds to 1 below 2^-27.
    if (!cosine && ax < 0x1p-26) return x;
    if (cosine && ax < 0x1p-27) return 1.0;
    double out;
    if (ax < detail::kCodyWaiteLimit) {
        out = detail::kFmaUsable ? detail::sinCosRoundedFma(x, cosine)
                                 : detail::sinCosRounded<detail::DekkerProduct>(x, cosine);
    } else {
        double err;
        const dd::DD y = detail::sinCosFast<detail::DekkerProduct>(x, cosine, err);
        if (!detail::roundOrFail(y, err, out)) out = __builtin_nan("");
    }
    return out == out ? out : detail::sinCosAccurate256(x, cosine);
}

}  // namespace

double sin(double x) { return sinCos(x, false); }
double cos(double x) { return sinCos(x, true); }

}  // namespace XELORAALGO::num
