// CalPoint's depth and point loops with AVX2 (see TriangulateLanes.h): the double terms four
// pixels at a time, the float terms on the same four lanes, each rounded where the scalar code
// rounds. Compiled for AVX2 (no FMA); no standard header may be included here.
#if defined(__GNUC__) && defined(__x86_64__)

#pragma GCC push_options
#pragma GCC target("avx2")
#include <immintrin.h>

#include "MaskLanes.h"
#include "TriangulateLanes.h"

namespace XELORAALGO {
namespace stereo {
namespace detail {

int depthRowAvx2(const DepthTerms& t, const double* xL, const double* lineIndex, const float* sub, const bool* mask,
                 float* z, int count) {
    const __m256d o = _mm256_set1_pd(t.o), cy1 = _mm256_set1_pd(t.cy1), p = _mm256_set1_pd(t.p);
    const __m256d cx2 = _mm256_set1_pd(t.cx2), f2T0 = _mm256_set1_pd(t.f2T0), T2 = _mm256_set1_pd(t.T2);
    const __m256d r8f1 = _mm256_set1_pd(t.r8f1), r2f1 = _mm256_set1_pd(t.r2f1), R6 = _mm256_set1_pd(t.R6);
    const __m256d R0 = _mm256_set1_pd(t.R0), f2 = _mm256_set1_pd(t.f2), r01 = _mm256_set1_pd(static_cast<double>(t.r01f));
    const __m128 sf = _mm_set1_ps(t.sf), of = _mm_set1_ps(t.of), offXf = _mm_set1_ps(t.offXf);
    const __m128 f1 = _mm_set1_ps(t.f1), r21f = _mm_set1_ps(t.r21f);
    int c = 0;
    for (; c + 4 <= count; c += 4) {
        const __m256d xl = _mm256_loadu_pd(xL + c);
        // yL = ((double)o + lineIndex - cy1) * p
        const __m256d yL = _mm256_mul_pd(_mm256_sub_pd(_mm256_add_pd(o, _mm256_loadu_pd(lineIndex + c)), cy1), p);
        // xRPos = s * m + o + offsetX (float); xR = ((double)xRPos - cx2) * p
        const __m128 xRPos = _mm_add_ps(_mm_add_ps(_mm_mul_ps(sf, _mm_loadu_ps(sub + c)), of), offXf);
        const __m256d xR = _mm256_mul_pd(_mm256_sub_pd(_mm256_cvtps_pd(xRPos), cx2), p);
        // numerator = (float)(f2 T0 - (double)(float)xR * T2) * f1
        const __m256d xRr = _mm256_cvtps_pd(_mm256_cvtpd_ps(xR));
        const __m128 numerator = _mm_mul_ps(_mm256_cvtpd_ps(_mm256_sub_pd(f2T0, _mm256_mul_pd(xRr, T2))), f1);
        // ray2 = R6 xL + (double)(r21f * (float)yL) + R8 f1; ray0 = R0 xL + (double)r01f * yL + R2 f1
        const __m256d yTerm = _mm256_cvtps_pd(_mm_mul_ps(r21f, _mm256_cvtpd_ps(yL)));
        const __m256d ray2 = _mm256_add_pd(_mm256_add_pd(_mm256_mul_pd(R6, xl), yTerm), r8f1);
        const __m256d ray0 = _mm256_add_pd(_mm256_add_pd(_mm256_mul_pd(R0, xl), _mm256_mul_pd(r01, yL)), r2f1);
        const __m128 denominator = _mm256_cvtpd_ps(_mm256_sub_pd(_mm256_mul_pd(xR, ray2), _mm256_mul_pd(f2, ray0)));
        const __m128 depth = _mm_div_ps(numerator, denominator);
        _mm_storeu_ps(z + c, _mm_and_ps(depth, maskLanes4(mask + c)));
    }
    return c;
}

int maskRowAvx2(const double* rectY, const bool* mask, double hd, bool* newMask, long long stride, int count) {
    const __m256d half = _mm256_set1_pd(0.5), minusOne = _mm256_set1_pd(-1.0), limit = _mm256_set1_pd(hd);
    int c = 0;
    for (; c + 4 <= count; c += 4) {
        const __m256d v = _mm256_add_pd(_mm256_loadu_pd(rectY + c), half);
        // (int)v in [0, h) exactly when -1 < v < h (false for NaN)
        const __m256d in = _mm256_and_pd(_mm256_cmp_pd(v, minusOne, _CMP_GT_OQ), _mm256_cmp_pd(v, limit, _CMP_LT_OQ));
        int bits = _mm256_movemask_pd(in) & _mm_movemask_ps(maskLanes4(mask + c));
        if (bits == 0) continue;
        const __m128i targets = _mm256_cvttpd_epi32(v);
        const int row0 = _mm_cvtsi128_si32(targets);
        if (bits == 0xF && _mm_movemask_epi8(_mm_cmpeq_epi32(targets, _mm_set1_epi32(row0))) == 0xFFFF) {
            // The usual case: four neighbours carried to the same row.
            const int ones = 0x01010101;
            __builtin_memcpy(newMask + row0 * stride + c, &ones, 4);
            continue;
        }
        int rows[4];
        _mm_storeu_si128(reinterpret_cast<__m128i*>(rows), targets);
        for (; bits != 0; bits &= bits - 1) {
            const int j = __builtin_ctz(static_cast<unsigned>(bits));
            newMask[rows[j] * stride + c + j] = true;
        }
    }
    return c;
}

int crossingRowAvx2(const double* t0, const double* t1, int r, int h, double* rowMap, long long stride, int count) {
    const __m256d minusOne = _mm256_set1_pd(-1.0), limit = _mm256_set1_pd(static_cast<double>(h));
    const __m256d rowD = _mm256_set1_pd(static_cast<double>(r));
    const __m128i hi = _mm_set1_epi32(h), one = _mm_set1_epi32(1), minusOneI = _mm_set1_epi32(-1);
    int c = 0;
    for (; c + 4 <= count; c += 4) {
        const __m256d a0 = _mm256_loadu_pd(t0 + c), b0 = _mm256_loadu_pd(t1 + c);
        // Both truncations defined and inside [0, h) only for -1 < t < h.
        const __m256d inside =
            _mm256_and_pd(_mm256_and_pd(_mm256_cmp_pd(a0, minusOne, _CMP_GT_OQ), _mm256_cmp_pd(a0, limit, _CMP_LT_OQ)),
                          _mm256_and_pd(_mm256_cmp_pd(b0, minusOne, _CMP_GT_OQ), _mm256_cmp_pd(b0, limit, _CMP_LT_OQ)));
        const int insideBits = _mm256_movemask_pd(inside);
        if (insideBits == 0) continue;
        const __m128i a = _mm256_cvttpd_epi32(a0), b = _mm256_cvttpd_epi32(b0);
        const __m128i cross = _mm_and_si128(_mm_and_si128(_mm_cmpgt_epi32(b, a), _mm_cmpgt_epi32(a, minusOneI)),
                                            _mm_cmpgt_epi32(hi, b));
        int bits = insideBits & _mm_movemask_ps(_mm_castsi128_ps(cross));
        if (bits == 0) continue;
        const __m128i next = _mm_add_epi32(a, one);
        // r + ((a + 1) - t0) / (t1 - t0)
        const __m256d value =
            _mm256_add_pd(rowD, _mm256_div_pd(_mm256_sub_pd(_mm256_cvtepi32_pd(next), a0), _mm256_sub_pd(b0, a0)));
        const int row0 = _mm_cvtsi128_si32(next);
        if (bits == 0xF && _mm_movemask_epi8(_mm_cmpeq_epi32(next, _mm_set1_epi32(row0))) == 0xFFFF) {
            _mm256_storeu_pd(rowMap + row0 * stride + c, value);  // four crossings of the same row
            continue;
        }
        int rows[4];
        double values[4];
        _mm_storeu_si128(reinterpret_cast<__m128i*>(rows), next);
        _mm256_storeu_pd(values, value);
        for (; bits != 0; bits &= bits - 1) {
            const int j = __builtin_ctz(static_cast<unsigned>(bits));
            rowMap[rows[j] * stride + c + j] = values[j];
        }
    }
    return c;
}

int pointsRowAvx2(const float* xMm, float yMm, float f1, bool* mask, float* x, float* y, float* z, int count,
                  int* kept) {
    const __m256 yv = _mm256_set1_ps(yMm), f1v = _mm256_set1_ps(f1);
    const __m256 inf = _mm256_set1_ps(__builtin_inff());
    const __m256 absMask = _mm256_castsi256_ps(_mm256_set1_epi32(0x7fffffff));
    int total = 0;
    int c = 0;
    for (; c + 8 <= count; c += 8) {
        const __m256 zv = _mm256_loadu_ps(z + c);
        const __m256 m = _mm256_set_m128(maskLanes4(mask + c + 4), maskLanes4(mask + c));
        // finite: |z| < inf (false for NaN)
        const __m256 keep = _mm256_and_ps(m, _mm256_cmp_ps(_mm256_and_ps(zv, absMask), inf, _CMP_LT_OQ));
        const __m256 xv = _mm256_div_ps(_mm256_mul_ps(_mm256_loadu_ps(xMm + c), zv), f1v);
        const __m256 yw = _mm256_div_ps(_mm256_mul_ps(yv, zv), f1v);
        _mm256_storeu_ps(x + c, _mm256_and_ps(xv, keep));
        _mm256_storeu_ps(y + c, _mm256_and_ps(yw, keep));
        _mm256_storeu_ps(z + c, _mm256_and_ps(zv, keep));
        const int bitsKept = _mm256_movemask_ps(keep);
        for (int j = 0; j < 8; ++j) mask[c + j] = ((bitsKept >> j) & 1) != 0;
        total += __builtin_popcount(static_cast<unsigned>(bitsKept));
    }
    *kept += total;
    return c;
}

}  // namespace detail
}  // namespace stereo
}  // namespace XELORAALGO

#pragma GCC pop_options
#endif
