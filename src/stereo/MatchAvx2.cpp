// MatchI's bucket and candidate-search loops with AVX2 (see MatchLanes.h): one pixel per lane,
// the candidate slots visited in list order as the scalar search visits them. Compiled for AVX2
// (no FMA); no standard header may be included here.
#if defined(__GNUC__) && defined(__x86_64__)

#pragma GCC push_options
#pragma GCC target("avx2")
#include <immintrin.h>

#include "MatchLanes.h"

namespace XELORAALGO {
namespace stereo {
namespace detail {

namespace {
constexpr int kContinuityLimit = 20;  // as in MatchI.cpp
constexpr int kIntMin = -2147483647 - 1;
constexpr int kIntMax = 2147483647;
}  // namespace

int bucketsAvx2(const float* phase, double bucketWidth, int* bucket, int count) {
    const __m256d width = _mm256_set1_pd(bucketWidth), none = _mm256_set1_pd(-2.0);
    const __m256d low = _mm256_set1_pd(-2147483649.0), high = _mm256_set1_pd(2147483648.0);
    int c = 0;
    for (; c + 4 <= count; c += 4) {
        const __m256d q = _mm256_div_pd(_mm256_cvtps_pd(_mm_loadu_ps(phase + c)), width);
        const __m256d inRange = _mm256_and_pd(_mm256_cmp_pd(q, low, _CMP_GT_OQ), _mm256_cmp_pd(q, high, _CMP_LT_OQ));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(bucket + c), _mm256_cvttpd_epi32(_mm256_blendv_pd(none, q, inRange)));
    }
    return c;
}

int rowChoicesAvx2(const CandidateRow& cands, const bool* valid, const float* phase, const int* bucket, int* best,
                   int* lo, int* hi, int count) {
    const __m256i zero = _mm256_setzero_si256(), one = _mm256_set1_epi32(1);
    const __m256i width = _mm256_set1_epi32(cands.width), lastBucket = _mm256_set1_epi32(cands.width - 1);
    const __m256i limit = _mm256_set1_epi32(kContinuityLimit), four = _mm256_set1_epi32(4);
    const __m256i intMin = _mm256_set1_epi32(kIntMin), intMax = _mm256_set1_epi32(kIntMax);
    const __m256 signBit = _mm256_set1_ps(-0.0f);
    const long long* entries = reinterpret_cast<const long long*>(cands.list);
    int c = 0;
    for (; c + 8 <= count; c += 8) {
        const __m256i b0 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bucket + c));
        const __m256 p = _mm256_loadu_ps(phase + c);
        const __m256i isValid =
            _mm256_cmpgt_epi32(_mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(valid + c))), zero);
        // Takes part: valid and -1 <= b0 <= width; the others read bucket 0 ... 0, which is empty
        // of positions (start[0] ... start[0] - 1).
        const __m256i part = _mm256_and_si256(
            isValid, _mm256_and_si256(_mm256_cmpgt_epi32(b0, _mm256_set1_epi32(-2)),
                                      _mm256_cmpgt_epi32(_mm256_add_epi32(width, one), b0)));
        const __m256i first = _mm256_and_si256(part, _mm256_max_epi32(_mm256_sub_epi32(b0, one), zero));
        const __m256i afterLast =
            _mm256_and_si256(part, _mm256_add_epi32(_mm256_min_epi32(_mm256_add_epi32(b0, one), lastBucket), one));
        const __m256i begin = _mm256_i32gather_epi32(cands.start, first, 4);
        const __m256i n = _mm256_sub_epi32(_mm256_i32gather_epi32(cands.start, afterLast, 4), begin);

        __m256i found = zero, bestCol = zero, minCol = intMax, maxCol = intMin;
        __m256 bestCost = _mm256_setzero_ps();
        for (int k = 0; k < 4; ++k) {
            const __m256i present = _mm256_cmpgt_epi32(n, _mm256_set1_epi32(k));
            const __m256i at = _mm256_add_epi32(begin, _mm256_set1_epi32(k));
            // Entries of lanes 0 ... 3 and 4 ... 7 (column, phase), then columns and phases apart.
            const __m256 lo = _mm256_castsi256_ps(_mm256_i32gather_epi64(entries, _mm256_castsi256_si128(at), 8));
            const __m256 hi = _mm256_castsi256_ps(_mm256_i32gather_epi64(entries, _mm256_extracti128_si256(at, 1), 8));
            const __m256i col = _mm256_permute4x64_epi64(
                _mm256_castps_si256(_mm256_shuffle_ps(lo, hi, _MM_SHUFFLE(2, 0, 2, 0))), _MM_SHUFFLE(3, 1, 2, 0));
            const __m256 phaseK = _mm256_castpd_ps(_mm256_permute4x64_pd(
                _mm256_castps_pd(_mm256_shuffle_ps(lo, hi, _MM_SHUFFLE(3, 1, 3, 1))), _MM_SHUFFLE(3, 1, 2, 0)));
            const __m256 d = _mm256_andnot_ps(signBit, _mm256_sub_ps(phaseK, p));
            // take = present && (!found || bestCost >= d)
            const __m256i replaces = _mm256_castps_si256(_mm256_cmp_ps(bestCost, d, _CMP_GE_OQ));
            const __m256i take = _mm256_and_si256(present, _mm256_or_si256(_mm256_xor_si256(found, intMin), replaces));
            const __m256i takeAll = _mm256_srai_epi32(take, 31);
            bestCol = _mm256_blendv_epi8(bestCol, col, takeAll);
            bestCost = _mm256_blendv_ps(bestCost, d, _mm256_castsi256_ps(takeAll));
            found = _mm256_or_si256(found, present);
            minCol = _mm256_min_epi32(minCol, _mm256_blendv_epi8(intMax, col, present));
            maxCol = _mm256_max_epi32(maxCol, _mm256_blendv_epi8(intMin, col, present));
        }
        __m256i result = _mm256_blendv_epi8(_mm256_set1_epi32(-1), bestCol, found);
        result = _mm256_blendv_epi8(result, _mm256_set1_epi32(kManyCandidates), _mm256_cmpgt_epi32(n, four));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(best + c), result);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(lo + c),
                            _mm256_blendv_epi8(intMin, _mm256_sub_epi32(maxCol, limit), found));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(hi + c),
                            _mm256_blendv_epi8(intMax, _mm256_add_epi32(minCol, limit), found));
    }
    return c;
}

}  // namespace detail
}  // namespace stereo
}  // namespace XELORAALGO

#pragma GCC pop_options
#endif
