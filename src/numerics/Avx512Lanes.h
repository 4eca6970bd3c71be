// Internal: the AVX-512 pieces of the float kernels, shared by the array forms (VectorAvx512.cpp)
// and by other vector loops that evaluate expf in place (the bilateral filter's weights):
// - take64: a lookup in a table of 64 doubles with register permutes (no gather);
// - FusedLanes512: the kernels' multiply-adds as fused instructions, lane by lane the operations of
//   the scalar functions' fused form (FloatFma.cpp), which returns the same bits as the plain one;
// - expNormal8: expf of eight float arguments in (-87, 88.5), the scalar kernel and its integer
//   rounding test per lane; expf16Open: sixteen floats, reporting the lanes left to the scalar
//   function, and resolveLanes to fill them.
// Included after `#pragma GCC target("avx512f")` and <immintrin.h>; no standard header.
#pragma once

#include "LaneKernels.h"

namespace XELORAALGO::num {
float expf(float x);
}

namespace XELORAALGO::num::detail {
namespace {

// table[i] for a table of 64 doubles and indices below 64: four two-register permutes (16 entries
// each, by the index's low four bits), then two blends by its bits 4 and 5. Where a loop keeps
// them, the table's eight registers are loaded once.
__attribute__((always_inline)) inline __m512d take64(const double* table, __m512i i) {
    const __m512d p0 = _mm512_permutex2var_pd(_mm512_loadu_pd(table), i, _mm512_loadu_pd(table + 8));
    const __m512d p1 = _mm512_permutex2var_pd(_mm512_loadu_pd(table + 16), i, _mm512_loadu_pd(table + 24));
    const __m512d p2 = _mm512_permutex2var_pd(_mm512_loadu_pd(table + 32), i, _mm512_loadu_pd(table + 40));
    const __m512d p3 = _mm512_permutex2var_pd(_mm512_loadu_pd(table + 48), i, _mm512_loadu_pd(table + 56));
    const __mmask8 bit4 = _mm512_test_epi64_mask(i, _mm512_set1_epi64(16));
    const __mmask8 bit5 = _mm512_test_epi64_mask(i, _mm512_set1_epi64(32));
    return _mm512_mask_blend_pd(bit5, _mm512_mask_blend_pd(bit4, p0, p1), _mm512_mask_blend_pd(bit4, p2, p3));
}

// a * b + c rounded once, each operand a lane vector or a constant.
struct FusedLanes512 {
    __attribute__((always_inline)) static __m512d lanes(__m512d v) { return v; }
    __attribute__((always_inline)) static __m512d lanes(double c) { return _mm512_set1_pd(c); }
    template <class A, class B, class C>
    __attribute__((always_inline)) static __m512d madd(A a, B b, C c) {
        return _mm512_fmadd_pd(lanes(a), lanes(b), lanes(c));
    }
};

// The table lookups of the kernels with take64.
struct PermuteLook512 {
    template <class V, class I>
    __attribute__((always_inline)) static V take(const double* table, I i) { return take64(table, (__m512i)i); }
};

// The lanes of an integer rounding test (roundsSafely of LaneKernels.h on each lane of y): set where
// the double y rounds to the same float as every real within `ulps` units in its last place (ulps
// given per lane: a vector of 64-bit integers).
__attribute__((always_inline)) inline __mmask8 roundsSafely8(__m512d y, __m512i ulps) {
    const __m512i low = _mm512_and_si512(_mm512_add_epi64(_mm512_castpd_si512(y), _mm512_sub_epi64(ulps, _mm512_set1_epi64(1ll << 28))),
                                         _mm512_set1_epi64((1ll << 29) - 1));
    return _mm512_cmpgt_epu64_mask(low, _mm512_add_epi64(ulps, ulps));
}
__attribute__((always_inline)) inline __mmask8 roundsSafely8(__m512d y, unsigned long long ulps) {
    return roundsSafely8(y, _mm512_set1_epi64(static_cast<long long>(ulps)));
}

// expf of the eight floats x (widened to double lanes) where they lie in (-87, 88.5), the scalar
// function's normal range: the fused kernel, rounded to float. Lanes outside that range (NaN
// included) or that the rounding test leaves open are cleared in `settled`; their results are
// unspecified and the caller asks the scalar function.
__attribute__((always_inline)) inline __m256 expNormal8(__m512d x, __mmask8& settled) {
    const __mmask8 ordinary = _mm512_cmp_pd_mask(x, _mm512_set1_pd(-87.0), _CMP_GT_OQ) &
                              _mm512_cmp_pd_mask(x, _mm512_set1_pd(88.5), _CMP_LT_OQ);
    const __m512d y = expTableV<FusedLanes512, __m512d, PermuteLook512>(_mm512_maskz_mov_pd(ordinary, x));
    settled = ordinary & roundsSafely8(y, kExpUlps);
    return _mm512_maskz_cvtpd_ps(0xff, y);
}

// eight(x, settled) on both halves of q widened to double lanes: the lanes `wanted` that its test
// leaves open are returned in `open`, the lanes not wanted come out 0.
template <class Eight>
__attribute__((always_inline)) inline __m512 byHalves(__m512 q, __mmask16 wanted, __mmask16& open, Eight eight) {
    __mmask8 settledLow, settledHigh;
    const __m256 low = eight(
        _mm512_maskz_cvtps_pd(0xff, _mm256_castpd_ps(_mm512_maskz_extractf64x4_pd(0xf, _mm512_castps_pd(q), 0))),
        settledLow);
    const __m256 high = eight(
        _mm512_maskz_cvtps_pd(0xff, _mm256_castpd_ps(_mm512_maskz_extractf64x4_pd(0xf, _mm512_castps_pd(q), 1))),
        settledHigh);
    const __m512 both = _mm512_castpd_ps(
        _mm512_maskz_insertf64x4(0xff, _mm512_castpd256_pd512(_mm256_castps_pd(low)), _mm256_castps_pd(high), 1));
    open = static_cast<__mmask16>(wanted & ~(settledLow | settledHigh << 8));
    return _mm512_maskz_mov_ps(wanted, both);
}

// expf of the lanes `wanted` of q (the others come out 0), the scalar function's bits in every lane
// except those returned in `open` (outside the kernel's range, NaN, or left open by the rounding
// test), whose values are unspecified: the caller takes them from the scalar function.
__attribute__((always_inline)) inline __m512 expf16Open(__m512 q, __mmask16 wanted, __mmask16& open) {
    struct Eight {
        __attribute__((always_inline)) __m256 operator()(__m512d x, __mmask8& settled) const {
            return expNormal8(x, settled);
        }
    };
    return byHalves(q, wanted, open, Eight{});
}

// ---- expf of the arguments of a Gaussian weight: -87 < q < 0 ----
// A shorter kernel than the scalar function's, for loops that evaluate e^q of many non-positive
// arguments in place (the bilateral filter's range weights); the lanes it settles carry the
// correctly rounded result, hence the bits of num::expf, and the rest is the caller's.
//
// x = (double) q = k ln2/8 + r, k = nearestInt(x * 8/ln2), |r| <= ln2/16 + 2^-43; e^x = 2^(k/8) e^r
// with 2^(j/8) (j = k mod 8) from kExp2J64[8j] in one register and 2^floor(k/8) put into its
// exponent. Error bound: r = fma(k, -L, x) with L = ln2/8 rounded to the nearest double misses
// x - k ln2/8 by |k| 2^-57 + 2^-53 |r| < 2^-46.9 (|k| <= 1005); e^r by its Taylor polynomial to r^5
// (Horner, fused): truncation (ln2/16)^6/720 e^(ln2/16) < 2^-36.6, evaluation below 2^-52.7; the
// table entry and the last product 2^-52. The result is within 2^-36.5 of e^q relative, i.e.
// within 2^17 units in the last place of the double y (y < 2^(E+1) for an ulp of 2^(E-52)), and
// e^q > 2^-126 is normal: the integer rounding test with 2^17 units settles it (it leaves about one
// argument in 4000 to the scalar function).
// For -2^-10 <= x < 0, k = 0 and the polynomial alone gives y: r = x exactly, the truncation is
// below 2^-69, and the roundings of the last two steps (half an ulp of numbers below 1, 2^-54 each,
// the earlier one times |r|) with the rest stay below 2^-53.9, an ulp of y in (1 - 2^-10, 1): there
// the test takes 2 units. (Near 1, floats of the form 1 - odd * 2^-25 are midpoints, and arguments
// like q = -9 * 2^-25 bring e^q within 2^-44.7 of one: maps of quantised values meet them often.)
constexpr unsigned long long kShortExpUlps = 1ull << 17;
constexpr unsigned long long kShortExpSmallUlps = 2;
constexpr double kShortExpSmall = -0x1p-10;

// 2^(j/8), j = 0 ... 7, in one register.
__attribute__((always_inline)) inline __m512d shortExpTable() {
    return _mm512_set_pd(kExp2J64[56], kExp2J64[48], kExp2J64[40], kExp2J64[32], kExp2J64[24], kExp2J64[16],
                         kExp2J64[8], kExp2J64[0]);
}

// e^x for the eight lanes of x (floats widened, each in (-87, 0)), rounded to float; `settled`
// holds the lanes the rounding test fixes. Lanes outside that range give unspecified values.
__attribute__((always_inline)) inline __m256 expShort8(__m512d x, __m512d table, __mmask8& settled) {
    const __m512d shift = _mm512_set1_pd(0x1.8p52);
    const __m512d t = _mm512_fmadd_pd(x, _mm512_set1_pd(0x1.71547652b82fep+3), shift);  // 8/ln2
    const __m512d k = _mm512_sub_pd(t, shift);
    const __m512d r = _mm512_fmadd_pd(k, _mm512_set1_pd(-0x1.62e42fefa39efp-4), x);  // -ln2/8
    __m512d p = _mm512_fmadd_pd(r, _mm512_set1_pd(1.0 / 120.0), _mm512_set1_pd(1.0 / 24.0));
    p = _mm512_fmadd_pd(r, p, _mm512_set1_pd(1.0 / 6.0));
    p = _mm512_fmadd_pd(r, p, _mm512_set1_pd(0.5));
    p = _mm512_fmadd_pd(r, p, _mm512_set1_pd(1.0));
    p = _mm512_fmadd_pd(r, p, _mm512_set1_pd(1.0));
    // t's bits are those of 0x1.8p52 plus k: j = k mod 8 is their low three bits (the permute reads
    // only those), floor(k/8) << 52 their shift by 49 with the low 52 bits cleared.
    const __m512i b = _mm512_castpd_si512(t);
    const __m512d entry = _mm512_maskz_permutexvar_pd(0xff, b, table);
    const __m512i exponent = _mm512_and_si512(_mm512_maskz_slli_epi64(0xff, b, 49), _mm512_set1_epi64(static_cast<long long>(0xfff0000000000000ull)));
    const __m512d y = _mm512_mul_pd(_mm512_castsi512_pd(_mm512_add_epi64(_mm512_castpd_si512(entry), exponent)), p);
    const __mmask8 small = _mm512_cmp_pd_mask(x, _mm512_set1_pd(kShortExpSmall), _CMP_GE_OQ);
    const __m512i ulps = _mm512_mask_blend_epi64(small, _mm512_set1_epi64(static_cast<long long>(kShortExpUlps)),
                                                 _mm512_set1_epi64(static_cast<long long>(kShortExpSmallUlps)));
    settled = roundsSafely8(y, ulps);
    return _mm512_maskz_cvtpd_ps(0xff, y);
}

// expShort8 on the sixteen lanes of q: the lanes `wanted` (each in (-87, 0)) that the test leaves
// open are returned in `open`, the lanes not wanted come out 0.
__attribute__((always_inline)) inline __m512 expShort16Open(__m512 q, __mmask16 wanted, __m512d table,
                                                            __mmask16& open) {
    struct Eight {
        __m512d table;
        __attribute__((always_inline)) __m256 operator()(__m512d x, __mmask8& settled) const {
            return expShort8(x, table, settled);
        }
    };
    return byHalves(q, wanted, open, Eight{table});
}

// out[l] = scalar(args[l]) for the lanes l of `open` (scalar must return num::expf's bits). Out of
// line and without vector arguments: the rare path.
template <class Scalar>
__attribute__((noinline)) void resolveArgs(const float* args, float* out, unsigned open, Scalar scalar) {
    for (unsigned rest = open; rest; rest &= rest - 1) {
        const int l = __builtin_ctz(rest);
        out[l] = scalar(args[l]);
    }
}

// r with its lanes `open` replaced by scalar(q).
template <class Scalar>
__attribute__((always_inline)) inline __m512 resolveLanes(__m512 q, __m512 r, __mmask16 open, Scalar scalar) {
    float args[16], out[16];
    _mm512_storeu_ps(args, q);
    _mm512_storeu_ps(out, r);
    resolveArgs(args, out, open, scalar);
    return _mm512_loadu_ps(out);
}

}  // namespace
}  // namespace XELORAALGO::num::detail
