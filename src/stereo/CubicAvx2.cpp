// The cubic resamplers with AVX2, eight target pixels at a time (see CubicLanes.h).
//
// Per block: the coordinates are tested and truncated in double exactly as the scalar path does
// (a lane without a neighbourhood is given the harmless coordinate 1 and its result discarded), the
// eight kernel weights are evaluated lane by lane with the scalar expressions, and the 4 x 4
// neighbourhoods are loaded one source row of four floats per lane and transposed, so that each
// lane adds its sixteen products in the scalar row-major order.
// Compiled for AVX2 (no FMA: products and sums are rounded separately, as in the scalar code); no
// standard header may be included here.
#if defined(__GNUC__) && defined(__x86_64__)

#pragma GCC push_options
#pragma GCC target("avx2")
#include <immintrin.h>

#include "CubicLanes.h"

namespace XELORAALGO {
namespace stereo {
namespace detail {

namespace {

// Keys' kernel pieces, as keysInner/keysOuter of InterpCubic.cpp.
inline __m256 keysInner(__m256 t) {
    const __m256 a = _mm256_mul_ps(_mm256_mul_ps(_mm256_mul_ps(t, _mm256_set1_ps(1.5f)), t), t);
    const __m256 b = _mm256_mul_ps(_mm256_mul_ps(t, _mm256_set1_ps(2.5f)), t);
    return _mm256_add_ps(_mm256_sub_ps(a, b), _mm256_set1_ps(1.0f));
}

inline __m256 keysOuter(__m256 t) {
    const __m256 a = _mm256_mul_ps(_mm256_mul_ps(_mm256_mul_ps(t, _mm256_set1_ps(-0.5f)), t), t);
    const __m256 b = _mm256_mul_ps(_mm256_mul_ps(t, _mm256_set1_ps(-2.5f)), t);
    const __m256 c = _mm256_mul_ps(t, _mm256_set1_ps(4.0f));
    return _mm256_sub_ps(_mm256_sub_ps(_mm256_sub_ps(a, b), c), _mm256_set1_ps(-2.0f));
}

// The four taps of one axis for float coordinates v and integer bases b (as taps() of the scalar code).
inline void taps(__m256 v, __m256i b, __m256 w[4]) {
    const __m256i one = _mm256_set1_epi32(1);
    w[0] = keysOuter(_mm256_sub_ps(v, _mm256_cvtepi32_ps(_mm256_sub_epi32(b, one))));
    w[1] = keysInner(_mm256_sub_ps(v, _mm256_cvtepi32_ps(b)));
    w[2] = keysInner(_mm256_sub_ps(_mm256_cvtepi32_ps(_mm256_add_epi32(b, one)), v));
    w[3] = keysOuter(_mm256_sub_ps(_mm256_cvtepi32_ps(_mm256_add_epi32(b, _mm256_set1_epi32(2))), v));
}

// Transposes four rows of four floats (a[j] = lane j's values) into four columns.
inline void transpose4(__m128 a0, __m128 a1, __m128 a2, __m128 a3, __m128 out[4]) {
    const __m128 t0 = _mm_unpacklo_ps(a0, a1), t1 = _mm_unpacklo_ps(a2, a3);
    const __m128 t2 = _mm_unpackhi_ps(a0, a1), t3 = _mm_unpackhi_ps(a2, a3);
    out[0] = _mm_movelh_ps(t0, t1);
    out[1] = _mm_movehl_ps(t1, t0);
    out[2] = _mm_movelh_ps(t2, t3);
    out[3] = _mm_movehl_ps(t3, t2);
}

// v[l] = the l-th of the four floats at p[j] for the eight lanes j.
inline void loadColumns(const float* const p[8], __m256 v[4]) {
    __m128 lo[4], hi[4];
    transpose4(_mm_loadu_ps(p[0]), _mm_loadu_ps(p[1]), _mm_loadu_ps(p[2]), _mm_loadu_ps(p[3]), lo);
    transpose4(_mm_loadu_ps(p[4]), _mm_loadu_ps(p[5]), _mm_loadu_ps(p[6]), _mm_loadu_ps(p[7]), hi);
    for (int l = 0; l < 4; ++l) v[l] = _mm256_insertf128_ps(_mm256_castps128_ps256(lo[l]), hi[l], 1);
}

// m[l] = all-ones where the l-th of the four mask bytes at p[j] is non-zero, for the eight lanes j:
// the four bytes of each lane in one 32-bit lane, then byte l of every lane shifted down.
inline void loadMaskColumns(const bool* const p[8], __m256 m[4]) {
    int bytes[8];
    for (int j = 0; j < 8; ++j) __builtin_memcpy(&bytes[j], p[j], 4);
    const __m256i all = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes));
    const __m256i low = _mm256_set1_epi32(0xff), zero = _mm256_setzero_si256();
    m[0] = _mm256_castsi256_ps(_mm256_cmpgt_epi32(_mm256_and_si256(all, low), zero));
    m[1] = _mm256_castsi256_ps(_mm256_cmpgt_epi32(_mm256_and_si256(_mm256_srli_epi32(all, 8), low), zero));
    m[2] = _mm256_castsi256_ps(_mm256_cmpgt_epi32(_mm256_and_si256(_mm256_srli_epi32(all, 16), low), zero));
    m[3] = _mm256_castsi256_ps(_mm256_cmpgt_epi32(_mm256_srli_epi32(all, 24), zero));
}

// One block of eight target pixels from index i: which lanes have a neighbourhood (bit j of the
// result), the offsets of their first neighbour, and the row and column weights.
struct Block {
    int valid;
    long long offset[8];
    __m256 wr[4], wc[4];
};

// mapX null: the column of each target pixel is its own (col0 is that of pixel i).
inline void prepareBlock(const double* mapX, const double* mapY, int w, int h, long long i, long long col0, Block& b) {
    // trunc(x) in [1, w - 3] <=> 1 <= x < w - 2 (false for NaN), and likewise for y.
    const __m256d one = _mm256_set1_pd(1.0);
    const __m256d xHi = _mm256_set1_pd(static_cast<double>(w - 2)), yHi = _mm256_set1_pd(static_cast<double>(h - 2));
    __m256d x[2], y[2];
    int valid = 0;
    for (int half = 0; half < 2; ++half) {
        x[half] = mapX ? _mm256_loadu_pd(mapX + i + 4 * half)
                       : _mm256_add_pd(_mm256_set1_pd(static_cast<double>(col0 + 4 * half)),
                                       _mm256_setr_pd(0.0, 1.0, 2.0, 3.0));
        y[half] = _mm256_loadu_pd(mapY + i + 4 * half);
        const __m256d ok = _mm256_and_pd(
            _mm256_and_pd(_mm256_cmp_pd(x[half], one, _CMP_GE_OQ), _mm256_cmp_pd(x[half], xHi, _CMP_LT_OQ)),
            _mm256_and_pd(_mm256_cmp_pd(y[half], one, _CMP_GE_OQ), _mm256_cmp_pd(y[half], yHi, _CMP_LT_OQ)));
        valid |= _mm256_movemask_pd(ok) << (4 * half);
        x[half] = _mm256_blendv_pd(one, x[half], ok);
        y[half] = _mm256_blendv_pd(one, y[half], ok);
    }
    b.valid = valid;
    if (!valid) return;
    const __m256i c = _mm256_set_m128i(_mm256_cvttpd_epi32(x[1]), _mm256_cvttpd_epi32(x[0]));
    const __m256i r = _mm256_set_m128i(_mm256_cvttpd_epi32(y[1]), _mm256_cvttpd_epi32(y[0]));
    const __m256 xf = _mm256_set_m128(_mm256_cvtpd_ps(x[1]), _mm256_cvtpd_ps(x[0]));
    const __m256 yf = _mm256_set_m128(_mm256_cvtpd_ps(y[1]), _mm256_cvtpd_ps(y[0]));
    taps(yf, r, b.wr);
    taps(xf, c, b.wc);
    alignas(32) int ri[8], ci[8];
    _mm256_store_si256(reinterpret_cast<__m256i*>(ri), r);
    _mm256_store_si256(reinterpret_cast<__m256i*>(ci), c);
    for (int j = 0; j < 8; ++j) b.offset[j] = static_cast<long long>(ri[j] - 1) * w + (ci[j] - 1);
}

inline __m256 validLanes(int bits) {
    const __m256i lane = _mm256_setr_epi32(1, 2, 4, 8, 16, 32, 64, 128);
    return _mm256_castsi256_ps(_mm256_cmpeq_epi32(_mm256_and_si256(_mm256_set1_epi32(bits), lane), lane));
}

// Runs body(b, i) for every block of eight target pixels i ... i + 7 in [first, first + count) that
// has a neighbourhood in at least one lane, and stores what it returns in those lanes of dst;
// returns the number of pixels done.
template <class Body>
long long forEachBlock(float* dst, const double* mapX, const double* mapY, int w, int h, long long first,
                       long long count, const Body& body) {
    long long done = 0;
    for (; done + 8 <= count; done += 8) {
        const long long i = first + done;
        Block b;
        prepareBlock(mapX, mapY, w, h, i, done, b);
        if (!b.valid) continue;
        const __m256 result = body(b);
        const __m256 old = _mm256_loadu_ps(dst + i);
        _mm256_storeu_ps(dst + i, _mm256_blendv_ps(old, result, validLanes(b.valid)));
    }
    return done;
}

}  // namespace

long long cubicPixelsAvx2(const float* src, float* dst, const double* mapX, const double* mapY, int w, int h,
                          long long first, long long count) {
    return forEachBlock(dst, mapX, mapY, w, h, first, count, [&](const Block& b) {
        __m256 sum = _mm256_setzero_ps();
        for (int k = 0; k < 4; ++k) {
            const float* rows[8];
            for (int j = 0; j < 8; ++j) rows[j] = src + b.offset[j] + static_cast<long long>(k) * w;
            __m256 v[4];
            loadColumns(rows, v);
            for (int l = 0; l < 4; ++l) sum = _mm256_add_ps(sum, _mm256_mul_ps(_mm256_mul_ps(b.wr[k], b.wc[l]), v[l]));
        }
        return sum;
    });
}

// Invalid neighbours add +0 to both sums instead of being skipped: the sums start at +0 and a sum
// of +0 and anything is never -0, so adding +0 leaves them unchanged bit for bit.
// With every target pixel at its own (whole) column the column weights are exactly 0, 1, 0, 0. When
// the eight lanes also share their rows and no valid neighbour in the zero-weight columns holds an
// infinity or NaN (0 times either is NaN), the zero-weight terms are +/-0 and leave both sums
// unchanged: each lane adds only its own column's four terms, in the same order. Returns false
// (nothing done) for a block where that does not hold.
inline bool ownColumnBlock(const float* src, const bool* mask, int w, const Block& b, __m256& result) {
    if (b.valid != 0xFF) return false;
    for (int j = 1; j < 8; ++j)
        if (b.offset[j] != b.offset[0] + j) return false;
    const __m256 absMask = _mm256_castsi256_ps(_mm256_set1_epi32(0x7fffffff)), inf = _mm256_set1_ps(__builtin_inff());
    const auto maskAt = [&](long long o) {
        long long bytes;
        __builtin_memcpy(&bytes, mask + o, 8);
        return _mm256_castsi256_ps(
            _mm256_cmpgt_epi32(_mm256_cvtepu8_epi32(_mm_cvtsi64_si128(bytes)), _mm256_setzero_si256()));
    };
    // A valid value that is not finite: |v| < inf is false for infinities and NaN.
    const auto bad = [&](long long o) {
        return _mm256_andnot_ps(_mm256_cmp_ps(_mm256_and_ps(_mm256_loadu_ps(src + o), absMask), inf, _CMP_LT_OQ),
                                maskAt(o));
    };
    __m256 s = _mm256_setzero_ps(), n = _mm256_setzero_ps(), anyBad = _mm256_setzero_ps();
    for (int k = 0; k < 4; ++k) {
        const long long row = b.offset[0] + static_cast<long long>(k) * w;  // column c0 - 1 of row k
        // Columns c0 - 1 ... c0 + 9: every neighbour of the eight lanes.
        anyBad = _mm256_or_ps(anyBad, _mm256_or_ps(bad(row), bad(row + 3)));
        const __m256 m = maskAt(row + 1);
        const __m256 wgt = _mm256_and_ps(b.wr[k], m);  // wr * 1, masked
        s = _mm256_add_ps(s, _mm256_and_ps(_mm256_mul_ps(wgt, _mm256_loadu_ps(src + row + 1)), m));
        n = _mm256_add_ps(n, wgt);
    }
    if (_mm256_movemask_ps(anyBad) != 0) return false;
    result = _mm256_div_ps(s, n);
    return true;
}

long long maskedCubicPixelsAvx2(const float* src, const bool* mask, float* dst, const double* mapX,
                                const double* mapY, int w, int h, long long first, long long count) {
    return forEachBlock(dst, mapX, mapY, w, h, first, count, [&](const Block& b) {
        __m256 own;
        if (!mapX && ownColumnBlock(src, mask, w, b, own)) return own;
        __m256 s = _mm256_setzero_ps(), n = _mm256_setzero_ps();
        for (int k = 0; k < 4; ++k) {
            const float* rows[8];
            const bool* masks[8];
            for (int j = 0; j < 8; ++j) {
                const long long o = b.offset[j] + static_cast<long long>(k) * w;
                rows[j] = src + o;
                masks[j] = mask + o;
            }
            __m256 v[4], m[4];
            loadColumns(rows, v);
            loadMaskColumns(masks, m);
            for (int l = 0; l < 4; ++l) {
                const __m256 wgt = _mm256_and_ps(_mm256_mul_ps(b.wr[k], b.wc[l]), m[l]);
                s = _mm256_add_ps(s, _mm256_and_ps(_mm256_mul_ps(wgt, v[l]), m[l]));
                n = _mm256_add_ps(n, wgt);
            }
        }
        return _mm256_div_ps(s, n);
    });
}

}  // namespace detail
}  // namespace stereo
}  // namespace XELORAALGO

#pragma GCC pop_options
#endif
