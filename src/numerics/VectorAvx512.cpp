// The array forms of sinf, expf and atan2f with Avx512, chosen at run time where the processor has it.
// Inputs: n floats at x (and y), the caller's; outputs: n floats at out, the caller's, each equal to
// the scalar function's result. Compiled for Avx512: no standard header (see VectorIsa.inc).
#if defined(__GNUC__) && defined(__x86_64__)
#pragma GCC push_options
#pragma GCC target("avx512f")
#include <immintrin.h>
#define XELORA_ISA Avx512

namespace XELORAALGO::num::detail {
namespace {

// table[i] for a table of 64 doubles and indices below 64: four two-register permutes (16 entries
// each, by the index's low four bits), then two blends by its bits 4 and 5. The table's registers
// are loaded once per call of the array form where the loop keeps them.
inline __m512d take64(const double* table, __m512i i) {
    const __m512d p0 = _mm512_permutex2var_pd(_mm512_loadu_pd(table), i, _mm512_loadu_pd(table + 8));
    const __m512d p1 = _mm512_permutex2var_pd(_mm512_loadu_pd(table + 16), i, _mm512_loadu_pd(table + 24));
    const __m512d p2 = _mm512_permutex2var_pd(_mm512_loadu_pd(table + 32), i, _mm512_loadu_pd(table + 40));
    const __m512d p3 = _mm512_permutex2var_pd(_mm512_loadu_pd(table + 48), i, _mm512_loadu_pd(table + 56));
    const __mmask8 bit4 = _mm512_test_epi64_mask(i, _mm512_set1_epi64(16));
    const __mmask8 bit5 = _mm512_test_epi64_mask(i, _mm512_set1_epi64(32));
    return _mm512_mask_blend_pd(bit5, _mm512_mask_blend_pd(bit4, p0, p1), _mm512_mask_blend_pd(bit4, p2, p3));
}

}  // namespace
}  // namespace XELORAALGO::num::detail

#define XELORA_LANES __m512d
#define XELORA_GATHER(table, i) _mm512_mask_i64gather_pd(_mm512_setzero_pd(), 0xff, (__m512i)(i), table, 8)
#define XELORA_TAKE64(table, i) take64(table, (__m512i)(i))
#define XELORA_WIDEN(p) _mm512_maskz_cvtps_pd(0xff, _mm256_loadu_ps(p))
#define XELORA_NARROW(v) _mm512_maskz_cvtpd_ps(0xff, v)
#define XELORA_ALL_FLOATS(m) (_mm256_movemask_ps((__m256)(m)) == 0xff)
#define XELORA_ALL(m) (_mm512_test_epi64_mask((__m512i)(m), (__m512i)(m)) == 0xff)
#include "VectorIsa.inc"
#pragma GCC pop_options
#endif
