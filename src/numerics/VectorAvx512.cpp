// The array forms of sinf, expf and atan2f with Avx512 (chosen at run time where the processor has it).
//
// Inputs:  n floats at x (and y for atan2f), owned by the caller.
// Outputs: n floats at out, owned by the caller, each equal to the scalar function's result.
// This file is compiled for Avx512 and must not include any standard header: only the intrinsics
// and the kernels, whose code all has internal linkage (see LaneKernels.h).
#if defined(__GNUC__) && defined(__x86_64__)

#pragma GCC push_options
#pragma GCC target("avx512f")
#include <immintrin.h>

#include "VectorForms.h"

namespace XELORAALGO::num::detail {

void sinfArrayAvx512(const float* x, float* out, Size n) { sinfArray<__m512d>(x, out, n); }
void expfArrayAvx512(const float* x, float* out, Size n) { expfArray<__m512d>(x, out, n); }
void atan2fArrayAvx512(const float* y, const float* x, float* out, Size n) { atan2fArray<__m512d>(y, x, out, n); }

}  // namespace XELORAALGO::num::detail

#pragma GCC pop_options

#endif
