// The array forms of sinf, expf and atan2f with Avx512, chosen at run time where the processor has it.
// Inputs: n floats at x (and y), the caller's; outputs: n floats at out, the caller's, each equal to
// the scalar function's result. Compiled for Avx512: no standard header (see VectorIsa.inc).
#if defined(__GNUC__) && defined(__x86_64__)
#pragma GCC push_options
#pragma GCC target("avx512f")
#include <immintrin.h>
#define XELORA_ISA Avx512
#define XELORA_LANES __m512d
#include "VectorIsa.inc"
#pragma GCC pop_options
#endif
