// The cubic resamplers' pixel loops, eight target pixels at a time, for the processors that have
// AVX2 (CubicAvx2.cpp, chosen at run time). Each lane does exactly the scalar pixel's float
// operations in the scalar order, so the results are the scalar ones bit for bit.
//
// Inputs:  src (float, w x h, the resampler's private copy), mask (bool, w x h, the caller's source
//          mask; masked form only), mapX/mapY (double, w x h): the coordinate maps.
// Outputs: dst[i] for the target pixels i = first, first + 1, ... in whole blocks of eight below
//          first + count; pixels without a neighbourhood are left as they are (the resamplers
//          clear dst beforehand). Returns the number of pixels done (a multiple of 8); the caller
//          does the rest. The caller guarantees w * h < 2^31 (indices are 32-bit lanes).
// No standard header here: this file is also included by the AVX2 translation unit.
#ifndef XELORAALGO_SRC_STEREO_CUBICLANES_H
#define XELORAALGO_SRC_STEREO_CUBICLANES_H

namespace XELORAALGO {
namespace stereo {
namespace detail {

long long cubicPixelsAvx2(const float* src, float* dst, const double* mapX, const double* mapY, int w, int h,
                     long long first, long long count);
long long maskedCubicPixelsAvx2(const float* src, const bool* mask, float* dst, const double* mapX,
                           const double* mapY, int w, int h, long long first, long long count);

}  // namespace detail
}  // namespace stereo
}  // namespace XELORAALGO

#endif
