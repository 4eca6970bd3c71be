// Mask bytes as vector lanes, for the AVX2 files of the stereo operations. Included after their
// target pragma and <immintrin.h>; no standard header.
#ifndef XELORAALGO_SRC_STEREO_MASKLANES_H
#define XELORAALGO_SRC_STEREO_MASKLANES_H

namespace XELORAALGO {
namespace stereo {
namespace detail {

// Four mask bytes as four 32-bit lanes of all-ones (non-zero byte) or zero.
static inline __m128 maskLanes4(const bool* p) {
    int bytes;
    __builtin_memcpy(&bytes, p, 4);
    const __m128i wide = _mm_cvtepu8_epi32(_mm_cvtsi32_si128(bytes));
    return _mm_castsi128_ps(_mm_cmpgt_epi32(wide, _mm_setzero_si128()));
}

}  // namespace detail
}  // namespace stereo
}  // namespace XELORAALGO

#endif
