// The scalar float functions (FloatFunctions.h) with fused multiply-adds, chosen at run time where
// the processor has them: fewer operations, the same bits. Only the explicit fused multiply-adds
// below use the instruction (-ffp-contract=off keeps every other expression rounded operation by
// operation); each rounds once where the error bounds of LaneKernels.h count two roundings, so
// every result these forms settle is the correctly rounded one, and they hand every other input to
// the same paths as the plain forms. Inputs and outputs as the public functions. Elsewhere than
// GCC-compatible x86-64 compilers these are the plain forms (kFloatFmaUsable is false there).
#if defined(__GNUC__) && defined(__x86_64__)
#define XELORA_FLOAT_FMA 1
#pragma GCC push_options
#pragma GCC target("fma")
#endif

#include "FloatFunctions.h"

namespace XELORAALGO::num::detail {
namespace {

#if defined(XELORA_FLOAT_FMA)
struct FusedOps {
    // Inline here: this file is compiled for FMA, so GCC emits the instruction (no library call).
    static double madd(double a, double b, double c) { return __builtin_fma(a, b, c); }
};
#else
using FusedOps = PlainOps;
#endif

}  // namespace

float sinfFma(float x) { return sinCosWith<FusedOps, false>(x); }
float cosfFma(float x) { return sinCosWith<FusedOps, true>(x); }
float expfFma(float x) { return expfWith<FusedOps>(x); }
float atanfFma(float x) { return atanfWith<FusedOps>(x); }
float atan2fFma(float y, float x) { return atan2fWith<FusedOps>(y, x); }
float acosfFma(float x) { return acosfWith<FusedOps>(x); }

}  // namespace XELORAALGO::num::detail

#if defined(XELORA_FLOAT_FMA)
#pragma GCC pop_options
#endif
