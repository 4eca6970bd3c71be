// Bilateralfilter's inner loops, sixteen pixels at a time with AVX-512 (chosen at run time where
// the processor has it).
//
// Inputs:  rows of the unfiltered copy and of the mask, the forward weights of the worker's ring
//          (all owned by Bilateralfilter); Outputs: weights, arguments and sums in Bilateralfilter's
//          buffers, with the bits of its scalar loops (see BilateralfilterLanes.h).
// This file is compiled for AVX-512 and must not include any standard header.
#if defined(__GNUC__) && defined(__x86_64__) && !defined(_WIN32)

#pragma GCC push_options
#pragma GCC target("avx512f")
#include <immintrin.h>

#include "BilateralfilterLanes.h"

namespace XELORAALGO {
namespace depthfilter {
namespace detail {

namespace {

// Lanes whose bool is true.
__mmask16 trueLanes(const bool* b) {
    const __m512i wide = _mm512_maskz_cvtepu8_epi32(0xffff, _mm_loadu_si128(reinterpret_cast<const __m128i*>(b)));
    return _mm512_test_epi32_mask(wide, wide);
}

// -v (the sign bit flipped, NaN too).
__m512 negated(__m512 v, __m512i sign) {
    return _mm512_castsi512_ps(_mm512_xor_si512(_mm512_castps_si512(v), sign));
}

// r = a op b with the NaN the scalar loops give: where a is NaN, a made quiet (the first operand's
// NaN wins; the compiler may swap the operands of the vector operation).
__m512 firstNaN(__m512 a, __m512 r) {
    const __mmask16 nan = _mm512_cmp_ps_mask(a, a, _CMP_UNORD_Q);
    if (!nan) return r;
    const __m512 quiet = _mm512_castsi512_ps(_mm512_or_si512(_mm512_castps_si512(a), _mm512_set1_epi32(0x00400000)));
    return _mm512_mask_mov_ps(r, nan, quiet);
}

// The low 32 bits of the eight 64-bit lanes of a, then those of b.
__m512i joinHalves(__m512i a, __m512i b) {
    return _mm512_maskz_inserti64x4(0xff, _mm512_castsi256_si512(_mm512_maskz_cvtepi64_epi32(0xff, a)),
                                    _mm512_maskz_cvtepi64_epi32(0xff, b), 1);
}

}  // namespace

int bilateralArgumentsAvx512(const float* centre, const bool* centreMask, const float* neighbour,
                             const bool* neighbourMask, float denominator, int count, float* out, float* args,
                             unsigned short* packed, unsigned long long& pending,
                             const unsigned long long* cache) {
    const __m512i golden = _mm512_set1_epi32(static_cast<int>(kCacheMultiplier));
    const __m512 denom = _mm512_set1_ps(denominator);
    const __m512i sign = _mm512_set1_epi32(static_cast<int>(0x80000000u));
    const __m512 oneBound = _mm512_set1_ps(-0x1p-25f), zeroBound = _mm512_set1_ps(-104.0f);
    const __m512 one = _mm512_set1_ps(1.0f), notTaking = _mm512_set1_ps(-1.0f);
    unsigned long long n = pending;
    int blocks = 0;
    for (int c = 0; c < count; c += 16, ++blocks) {
        const int lanes = count - c < 16 ? count - c : 16;
        const __mmask16 inside = static_cast<__mmask16>(lanes == 16 ? 0xffff : (1u << lanes) - 1u);
        __mmask16 taking;
        if (lanes == 16) {
            taking = trueLanes(centreMask + c) & trueLanes(neighbourMask + c);
        } else {  // the last columns: the bools copied into whole blocks
            bool a[16] = {}, b[16] = {};
            for (int l = 0; l < lanes; ++l) a[l] = centreMask[c + l], b[l] = neighbourMask[c + l];
            taking = trueLanes(a) & trueLanes(b);
        }
        const __m512 delta =
            _mm512_sub_ps(_mm512_maskz_loadu_ps(inside, neighbour + c), _mm512_maskz_loadu_ps(inside, centre + c));
        const __m512 minus = negated(delta, sign);
        const __m512 q = _mm512_div_ps(firstNaN(minus, _mm512_mul_ps(minus, delta)), denom);
        const __mmask16 isOne = _mm512_cmp_ps_mask(q, oneBound, _CMP_GE_OQ);
        const __mmask16 isZero = _mm512_cmp_ps_mask(q, zeroBound, _CMP_LT_OQ);
        const __mmask16 pending16 = static_cast<__mmask16>(taking & ~isOne & ~isZero & inside);
        // The weights of arguments met before come from the cache.
        const __m512i bits = _mm512_castps_si512(q);
        const __m512i slot = _mm512_maskz_srli_epi32(0xffff, _mm512_mullo_epi32(bits, golden), 32 - kCacheBits);
        // Key and weight in one 64-bit entry: one element gathered per lane. (The zero-masked forms
        // with every lane selected are the plain instructions; the unmasked intrinsics trip a false
        // uninitialised-value warning of GCC 12.)
        const __m512i slotLow = _mm512_maskz_cvtepu32_epi64(0xff, _mm512_maskz_extracti64x4_epi64(0xf, slot, 0));
        const __m512i slotHigh = _mm512_maskz_cvtepu32_epi64(0xff, _mm512_maskz_extracti64x4_epi64(0xf, slot, 1));
        const __m512i low = _mm512_mask_i64gather_epi64(_mm512_setzero_si512(), static_cast<__mmask8>(pending16),
                                                        slotLow, cache, 8);
        const __m512i high = _mm512_mask_i64gather_epi64(_mm512_setzero_si512(), static_cast<__mmask8>(pending16 >> 8),
                                                         slotHigh, cache, 8);
        const __m512i keys = joinHalves(_mm512_maskz_srli_epi64(0xff, low, 32), _mm512_maskz_srli_epi64(0xff, high, 32));
        const __m512i weights = joinHalves(low, high);
        const __mmask16 hit = _mm512_mask_cmpeq_epi32_mask(pending16, keys, bits);
        const __m512 known = _mm512_mask_mov_ps(_mm512_maskz_mov_ps(isOne, one), hit, _mm512_castsi512_ps(weights));
        _mm512_mask_storeu_ps(out + c, inside, _mm512_mask_blend_ps(taking, notTaking, known));
        const __mmask16 need = static_cast<__mmask16>(pending16 & ~hit);
        // Packed in registers and stored whole (a masked packing store is slow); the lanes past the
        // packed ones are overwritten by the next block or left unread.
        _mm512_storeu_ps(args + n, _mm512_maskz_compress_ps(need, q));
        packed[blocks] = need;
        n += static_cast<unsigned long long>(__builtin_popcount(need));
    }
    pending = n;
    return blocks;
}

int bilateralUnpackAvx512(float* out, int count, const unsigned short* packed, const float* weights) {
    int used = 0;
    for (int c = 0, block = 0; c < count; c += 16, ++block) {
        const __mmask16 need = packed[block];
        if (!need) continue;
        const int lanes = count - c < 16 ? count - c : 16;
        const __mmask16 inside = static_cast<__mmask16>(lanes == 16 ? 0xffff : (1u << lanes) - 1u);
        const __m512 v = _mm512_maskz_loadu_ps(inside, out + c);
        _mm512_mask_storeu_ps(out + c, inside, _mm512_mask_expand_ps(v, need, _mm512_loadu_ps(weights + used)));
        used += __builtin_popcount(need);
    }
    return used;
}

int bilateralSumsAvx512(const float* weights, const float* neighbours, float spatial, int cFirst, int cLast,
                        float* s, float* n) {
    const __m512 ws = _mm512_set1_ps(spatial), notTaking = _mm512_set1_ps(-1.0f);
    int c = cFirst;
    for (; c + 16 <= cLast; c += 16) {
        const __m512 wr = _mm512_loadu_ps(weights + c);
        const __m512 wgt = _mm512_mul_ps(wr, ws);
        const __mmask16 use = _mm512_cmp_ps_mask(wr, notTaking, _CMP_NEQ_UQ);  // NaN takes part
        const __m512 sc = _mm512_loadu_ps(s + c), nc = _mm512_loadu_ps(n + c);
        const __m512 v = _mm512_loadu_ps(neighbours + c);
        const __m512 term = firstNaN(v, _mm512_mul_ps(v, wgt));
        const __m512 s1 = firstNaN(term, _mm512_add_ps(term, sc));
        const __m512 n1 = firstNaN(wgt, _mm512_add_ps(wgt, nc));
        _mm512_storeu_ps(s + c, _mm512_mask_blend_ps(use, sc, s1));
        _mm512_storeu_ps(n + c, _mm512_mask_blend_ps(use, nc, n1));
    }
    return c;
}

}  // namespace detail
}  // namespace depthfilter
}  // namespace XELORAALGO

#pragma GCC pop_options

#else  // no AVX-512 here (another processor family, or Windows, whose stack keeps no 64-byte alignment)

#include "BilateralfilterLanes.h"

namespace XELORAALGO {
namespace depthfilter {
namespace detail {

int bilateralArgumentsAvx512(const float*, const bool*, const float*, const bool*, float, int, float*, float*,
                             unsigned short*, unsigned long long&, const unsigned long long*) {
    return 0;
}
int bilateralUnpackAvx512(float*, int, const unsigned short*, const float*) { return 0; }
int bilateralSumsAvx512(const float*, const float*, float, int cFirst, int, float*, float*) { return cFirst; }

}  // namespace detail
}  // namespace depthfilter
}  // namespace XELORAALGO

#endif
