// The array forms of sinf, expf and atan2f with Avx512, chosen at run time where the processor has it.
// Inputs: n floats at x (and y), the caller's; outputs: n floats at out, the caller's, each equal to
// the scalar function's result. Compiled for Avx512: no standard header (see VectorIsa.inc).
#if defined(__GNUC__) && defined(__x86_64__)
#pragma GCC push_options
#pragma GCC target("avx512f")
#include <immintrin.h>
#define XELORA_ISA Avx512

#include "Avx512Lanes.h"
#include "VectorForms.h"

namespace XELORAALGO::num::detail {
namespace {

// expf sixteen floats at a time: the fused kernel on two halves of double lanes, one rounding test
// per half, the scalar function for the lanes it leaves open.
void expfArray16(const float* x, float* out, Size n) {
    const auto scalar = [](float v) { return num::expf(v); };
    for (Size i = 0; i < n; i += 16) {
        const __mmask16 lanes = static_cast<__mmask16>(n - i >= 16 ? 0xffff : (1u << (n - i)) - 1u);
        const __m512 q = _mm512_maskz_loadu_ps(lanes, x + i);
        __mmask16 open;
        __m512 e = expf16Open(q, lanes, open);
        if (open) e = resolveLanes(q, e, open, scalar);
        _mm512_mask_storeu_ps(out + i, lanes, e);
    }
}

}  // namespace

void expfShortArrayAvx512(const float* x, float* out, Size n) {
    const auto scalar = [](float v) { return num::expf(v); };
    const __m512d table = shortExpTable();
    for (Size i = 0; i < n; i += 16) {
        const __mmask16 lanes = static_cast<__mmask16>(n - i >= 16 ? 0xffff : (1u << (n - i)) - 1u);
        const __m512 q = _mm512_maskz_loadu_ps(lanes, x + i);
        const __mmask16 inRange = _mm512_cmp_ps_mask(q, _mm512_set1_ps(-87.0f), _CMP_GT_OQ) &
                                  _mm512_cmp_ps_mask(q, _mm512_setzero_ps(), _CMP_LT_OQ);
        __mmask16 open;
        __m512 e = expShort16Open(q, static_cast<__mmask16>(lanes & inRange), table, open);
        open = static_cast<__mmask16>(open | (lanes & ~inRange));
        if (open) e = resolveLanes(q, e, open, scalar);
        _mm512_mask_storeu_ps(out + i, lanes, e);
    }
}

}  // namespace XELORAALGO::num::detail

#define XELORA_LANES __m512d
#define XELORA_GATHER(table, i) _mm512_mask_i64gather_pd(_mm512_setzero_pd(), 0xff, (__m512i)(i), table, 8)
#define XELORA_TAKE64(table, i) take64(table, (__m512i)(i))
#define XELORA_OPS FusedLanes512
#define XELORA_EXPF_ARRAY expfArray16
#define XELORA_WIDEN(p) _mm512_maskz_cvtps_pd(0xff, _mm256_loadu_ps(p))
#define XELORA_NARROW(v) _mm512_maskz_cvtpd_ps(0xff, v)
#define XELORA_ALL_FLOATS(m) (_mm256_movemask_ps((__m256)(m)) == 0xff)
#define XELORA_ALL(m) (_mm512_test_epi64_mask((__m512i)(m), (__m512i)(m)) == 0xff)
#include "VectorIsa.inc"
#pragma GCC pop_options
#endif
