// The fast paths of the double exp, pow, sin, cos, atan and atan2 (FastPaths.h, TrigKernelsDouble.h)
// with the exact products formed by fused multiply-adds, chosen at run time where the processor has
// them: the same bits as the plain paths, fewer operations. Inputs and outputs as those kernels';
// nothing is allocated. Only the explicit fused multiply-adds below use the instruction
// (-ffp-contract=off keeps every other expression rounded operation by operation); their single
// roundings keep within the error bounds of ExpLogKernels.h and TrigKernelsDouble.h, so both forms
// settle every input they accept on its correctly rounded value.
#if defined(__GNUC__) && defined(__x86_64__)
#pragma GCC push_options
#pragma GCC target("fma")
#include "FastPaths.h"
#include "TrigKernelsDouble.h"

namespace XELORAALGO::num::detail {
namespace {

// The builtin becomes the instruction under this file's target (no call: -fno-math-errno).
struct FmaProduct {
    static constexpr bool kFused = true;
    static dd::DD exact(double a, double b) {
        const double p = a * b;
        return {p, __builtin_fma(a, b, -p)};
    }
    static dd::DD exactShort(double a, double b) { return exact(a, b); }
    static double madd(double a, double b, double c) { return __builtin_fma(a, b, c); }
};

}  // namespace

double expNormalFma(double x) { return expNormal<FmaProduct>(x); }
double powPositiveFma(double x, double y) { return powPositive<FmaProduct>(x, y); }
double sinCosRoundedFma(double x, bool cosine) { return sinCosRounded<FmaProduct>(x, cosine); }
double atanRoundedFma(double n, double d, bool inverted, bool xNegative) {
    return atanRounded<FmaProduct>(n, d, inverted, xNegative);
}
ScaledDd expFastFmaForTest(double xh, double xl, bool lowPart) {
    return lowPart ? expFast<FmaProduct, true>(xh, xl) : expFast<FmaProduct, false>(xh, 0.0);
}
dd::DD sinCosFastFmaForTest(double x, bool cosine, double& err) {
    return sinCosFast<FmaProduct>(x, cosine, err);
}
dd::DD atanAngleFastFmaForTest(double n, double d, bool inverted, bool xNegative, double& err) {
    return atanAngleFast<FmaProduct>(n, d, inverted, xNegative, err);
}

}  // namespace XELORAALGO::num::detail
#pragma GCC pop_options
#endif
