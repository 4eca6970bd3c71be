// The fast paths of the double exp, pow, sin, cos, atan and atan2 (FastPaths.h, TrigKernelsDouble.h)
// with the exact products formed by fused multiply-adds, chosen at run time where the processor has
// them: the same bits as the plain paths, fewer operations. Inputs and outputs as those kernels'; nothing is allocated.
// Only the explicit fused multiply-adds below use the instruction (-ffp-contract=off keeps every other
// expression rounded operation by operation); their single roundings keep within the error bounds
// of ExpLogKernels.h and TrigKernelsDouble.h, so both forms settle every input they accept on its correctly rounded value.
#if defined(__GNUC__) && defined(__x86_64__)
#pragma GCC push_options
#pragma GCC target("fma")
#include <immintrin.h>

#include "FastPaths.h"
#include "TrigKernelsDouble.h"

namespace XELORAALGO::num::detail {
namespace {

double fusedMultiplySubtract(double a, double b, double c) {  // a * b - c, rounded once
    return _mm_cvtsd_f64(_mm_fmsub_sd(_mm_set_sd(a), _mm_set_sd(b), _mm_set_sd(c)));
}

struct FmaProduct {
    static dd::DD exact(double a, double b) {
        const double p = a * b;
        return {p, fusedMultiplySubtract(a, b, p)};
    }
    static dd::DD exactShort(double a, double b) { return exact(a, b); }
    static double madd(double a, double b, double c) {
        return _mm_cvtsd_f64(_mm_fmadd_sd(_mm_set_sd(a), _mm_set_sd(b), _mm_set_sd(c)));
    }
};

}  // namespace

double expNormalFma(double x) { return expNormal<FmaProduct>(x); }
double powPositiveFma(double x, double y) { return powPositive<FmaProduct>(x, y); }
bool sinCosRoundedFma(double x, bool cosine, double& out) { return sinCosRounded<FmaProduct>(x, cosine, out); }
bool atanRoundedFma(double n, double d, bool inverted, bool xNegative, double& out) {
    return atanRounded<FmaProduct>(n, d, inverted, xNegative, out);
}
dd::DD sinCosFastFmaForTest(double x, bool cosine, double& err) { return sinCosFast<FmaProduct>(x, cosine, err); }
dd::DD atanRatioFastFmaForTest(double n, double d, double& err) { return atanRatioFast<FmaProduct>(n, d, err); }

}  // namespace XELORAALGO::num::detail
#pragma GCC pop_options
#endif
