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
