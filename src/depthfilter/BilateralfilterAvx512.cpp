// Bilateralfilter's inner loops, sixteen pixels at a time with AVX-512 (chosen at run time where
// the processor has it).
//
// Inputs:  rows of the unfiltered copy and of the mask, the forward weights of the worker's ring
//          (all owned by Bilateralfilter); Outputs: range weights into the ring, filtered pixels
//          into the caller's map, with the bits of the scalar loops (see BilateralfilterLanes.h).
// This file is compiled for AVX-512 and must not include any standard header.
#if defined(__GNUC__) && defined(__x86_64__) && !defined(_WIN32)

#pragma GCC push_options
#pragma GCC target("avx512f")
#include <immintrin.h>

#include "BilateralfilterLanes.h"
#include "numerics/Avx512Lanes.h"

namespace XELORAALGO {
namespace depthfilter {
namespace detail {

namespace {

// Lanes whose bool is true, of the first `lanes` (at most 16) bools at b.
__mmask16 trueLanes(const bool* b, int lanes) {
    __m128i bytes;
    if (lanes == 16) {
        bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(b));
    } else {  // the last columns: the bools copied into a whole block
        bool copy[16] = {};
        for (int l = 0; l < lanes; ++l) copy[l] = b[l];
        bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(copy));
    }
    const __m512i wide = _mm512_maskz_cvtepu8_epi32(0xffff, bytes);
    return _mm512_test_epi32_mask(wide, wide);
}

// Sixteen bits from bit `first` on (bit b at byte b / 8, bit b % 8).
unsigned bits16(const unsigned char* bits, int first) {
    unsigned long long word;
    __builtin_memcpy(&word, bits + (first >> 3), sizeof word);
    return static_cast<unsigned>(word >> (first & 7)) & 0xffffu;
}

// r = a op b with the NaN the scalar loops give: where a is NaN, a made quiet (the first operand's
// NaN wins; the compiler may swap the operands of the vector operation).
__m512 firstNaN(__m512 a, __m512 r) {
    const __mmask16 nan = _mm512_cmp_ps_mask(a, a, _CMP_UNORD_Q);
    if (!nan) return r;
    const __m512 quiet = _mm512_castsi512_ps(_mm512_or_si512(_mm512_castps_si512(a), _mm512_set1_epi32(0x00400000)));
    return _mm512_mask_mov_ps(r, nan, quiet);
}

__mmask16 firstLanes(int lanes) { return static_cast<__mmask16>(lanes >= 16 ? 0xffff : (1u << lanes) - 1u); }

}  // namespace

void bilateralWeightsAvx512(const float* centre, const unsigned char* centreBits, int centreFirst,
                            const float* neighbour, const unsigned char* neighbourBits, int neighbourFirst,
                            float denominator, float spatial, int count, float* out, unsigned long long* cache) {
    // The arguments the kernel leaves open recur (maps of quantised values give few differences):
    // the last four met are compared in registers, the others looked up in the worker's cache.
    constexpr int kRecent = 4;
    float recentArgs[kRecent], recentWeights[kRecent];
    for (int i = 0; i < kRecent; ++i) recentArgs[i] = __builtin_nanf(""), recentWeights[i] = 0.0f;
    int nextRecent = 0;
    const auto scalar = [&](float q) {
        unsigned bits;
        __builtin_memcpy(&bits, &q, sizeof bits);
        unsigned long long& entry = cache[(bits * kCacheMultiplier) >> (32 - kCacheBits)];
        float v;
        if (entry >> 32 == bits) {
            const unsigned low = static_cast<unsigned>(entry);
            __builtin_memcpy(&v, &low, sizeof v);
        } else {
            v = num::expf(q);
            unsigned vBits;
            __builtin_memcpy(&vBits, &v, sizeof vBits);
            entry = static_cast<unsigned long long>(bits) << 32 | vBits;
        }
        recentArgs[nextRecent] = q;
        recentWeights[nextRecent] = v;
        nextRecent = (nextRecent + 1) % kRecent;
        return v;
    };
    const __m512 denom = _mm512_set1_ps(denominator);
    const __m512i sign = _mm512_set1_epi32(static_cast<int>(0x80000000u));
    const __m512 zeroBound = _mm512_set1_ps(-104.0f), oneBound = _mm512_set1_ps(-0x1p-25f);
    const __m512 kernelBound = _mm512_set1_ps(-87.0f);
    const __m512 one = _mm512_set1_ps(1.0f), notTaking = _mm512_set1_ps(-1.0f);
    const __m512d table = num::detail::shortExpTable();
    for (int c = 0; c < count; c += 16) {
        const int lanes = count - c < 16 ? count - c : 16;
        const __mmask16 inside = firstLanes(lanes);
        const __mmask16 taking =
            static_cast<__mmask16>(bits16(centreBits, centreFirst + c) & bits16(neighbourBits, neighbourFirst + c) & inside);
        __m512 weights = notTaking;
        if (taking) {
            const __m512 delta = _mm512_sub_ps(_mm512_maskz_loadu_ps(inside, neighbour + c),
                                               _mm512_maskz_loadu_ps(inside, centre + c));
            const __m512 minus = _mm512_castsi512_ps(_mm512_xor_si512(_mm512_castps_si512(delta), sign));
            const __m512 q = _mm512_div_ps(firstNaN(minus, _mm512_mul_ps(minus, delta)), denom);
            // e^q is 0 in float below -104 (e^-104 < 2^-150) and 1 from -2^-25 on (e^q lies above
            // 1 - 2^-25, the midpoint below 1); the other pairs take expf's bits.
            const __mmask16 zero = _mm512_cmp_ps_mask(q, zeroBound, _CMP_LT_OQ);
            const __mmask16 isOne = _mm512_cmp_ps_mask(q, oneBound, _CMP_GE_OQ);
            // The short kernel takes -87 < q < -2^-25; the lanes between -104 and -87 (subnormal
            // weights) and NaN go to the scalar function.
            const __mmask16 inRange = _mm512_cmp_ps_mask(q, kernelBound, _CMP_GT_OQ);
            const __mmask16 wanted = static_cast<__mmask16>(taking & inRange & ~isOne);
            __mmask16 open = 0;
            __m512 e = wanted ? num::detail::expShort16Open(q, wanted, table, open) : _mm512_setzero_ps();
            open = static_cast<__mmask16>(open | (taking & ~zero & ~isOne & ~inRange));
            for (int i = 0; i < kRecent && open; ++i) {
                const __mmask16 hit = _mm512_mask_cmp_ps_mask(open, q, _mm512_set1_ps(recentArgs[i]), _CMP_EQ_OQ);
                e = _mm512_mask_mov_ps(e, hit, _mm512_set1_ps(recentWeights[i]));
                open = static_cast<__mmask16>(open & ~hit);
            }
            if (open) e = num::detail::resolveLanes(q, e, open, scalar);
            const __m512 wr = _mm512_mask_mov_ps(e, isOne, one);
            weights = _mm512_mask_mov_ps(notTaking, taking, _mm512_mul_ps(wr, _mm512_set1_ps(spatial)));
        }
        _mm512_mask_storeu_ps(out + c, inside, weights);
    }
}

namespace {

// One term of the sums of sixteen pixels from column c: where the weight takes part (not negative:
// a number >= 0 or NaN), s += value * weight and n += weight. With Exact, a NaN that comes up takes
// the operands' NaN in the scalar loops' order; without, the lanes that meet a NaN end as NaN (a NaN
// stays), and the caller redoes them.
template <bool Exact>
__attribute__((always_inline)) inline void addTerm(const SumTerm& term, int c, __m512& s, __m512& n) {
    const __m512 wgt = _mm512_loadu_ps(term.weights + c);
    const __m512 v = _mm512_loadu_ps(term.values + c);
    const __mmask16 use = _mm512_cmp_ps_mask(wgt, _mm512_setzero_ps(), _CMP_NLT_UQ);
    const __m512 product = _mm512_mul_ps(v, wgt);
    if (!Exact) {
        s = _mm512_mask_add_ps(s, use, product, s);
        n = _mm512_mask_add_ps(n, use, wgt, n);
        return;
    }
    const __m512 term1 = firstNaN(v, product);
    s = _mm512_mask_mov_ps(s, use, firstNaN(term1, _mm512_add_ps(term1, s)));
    n = _mm512_mask_mov_ps(n, use, firstNaN(wgt, _mm512_add_ps(wgt, n)));
}

// The sums of the sixteen pixels from column c over every term, with the NaNs of the scalar loops.
__attribute__((noinline)) void exactSums(const SumTerm* terms, int termCount, int c, __m512& s, __m512& n) {
    s = n = _mm512_setzero_ps();
    for (int t = 0; t < termCount; ++t) addTerm<true>(terms[t], c, s, n);
}

// S / N into the valid lanes of out; lanes where a NaN came up are summed again exactly first.
__attribute__((always_inline)) inline void storeMeans(const SumTerm* terms, int termCount, int c, __mmask16 valid,
                                                      __m512 s, __m512 n, float* out) {
    if (_mm512_mask_cmp_ps_mask(valid, s, n, _CMP_UNORD_Q)) exactSums(terms, termCount, c, s, n);
    _mm512_mask_storeu_ps(out + c, valid, firstNaN(s, _mm512_div_ps(s, n)));
}

}  // namespace

void bilateralRowAvx512(const SumTerm* terms, int termCount, const bool* mask, int w, float* out) {
    int c = 0;
    // Two blocks at a time: two independent chains of additions.
    for (; c + 16 < w; c += 32) {
        const int lanes = w - c - 16 < 16 ? w - c - 16 : 16;
        const __mmask16 valid0 = trueLanes(mask + c, 16), valid1 = trueLanes(mask + c + 16, lanes);
        if (!(valid0 | valid1)) continue;
        __m512 s0 = _mm512_setzero_ps(), n0 = s0, s1 = s0, n1 = s0;
        for (int t = 0; t < termCount; ++t) {
            addTerm<false>(terms[t], c, s0, n0);
            addTerm<false>(terms[t], c + 16, s1, n1);
        }
        storeMeans(terms, termCount, c, valid0, s0, n0, out);
        storeMeans(terms, termCount, c + 16, valid1, s1, n1, out);
    }
    if (c < w) {
        const __mmask16 valid = trueLanes(mask + c, w - c);
        if (!valid) return;
        __m512 s = _mm512_setzero_ps(), n = s;
        for (int t = 0; t < termCount; ++t) addTerm<false>(terms[t], c, s, n);
        storeMeans(terms, termCount, c, valid, s, n, out);
    }
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

void bilateralWeightsAvx512(const float*, const unsigned char*, int, const float*, const unsigned char*, int, float,
                            float, int, float*, unsigned long long*) {}
void bilateralRowAvx512(const SumTerm*, int, const bool*, int, float*) {}

}  // namespace detail
}  // namespace depthfilter
}  // namespace XELORAALGO

#endif
