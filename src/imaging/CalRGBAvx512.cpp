// CalRGB's row kernels (projection, footprint, undistortion, depth) with Avx512, chosen at run time.
// Inputs: one row of w values per map (the caller's); outputs: the same values as the scalar code,
// column by column, for the columns in whole vectors of 16 lanes (the rest is the caller's).
// Compiled for Avx512: no standard header (see CalRGBIsa.inc).
#if defined(__GNUC__) && defined(__x86_64__)
#pragma GCC push_options
#pragma GCC target("avx512f")
#define XELORA_ISA Avx512
#define XELORA_LANE_BYTES 64
#include "CalRGBIsa.inc"
#pragma GCC pop_options

#else  // another processor family: the caller does every column

#include "CalRGBLanes.h"

namespace XELORAALGO {
namespace imaging {
namespace lanes {

int projectRowAvx512(const ColourCameraF&, const float*, const float*, const float*, float*, float*, float*, int) {
    return 0;
}
int undistortRowAvx512(const ColourCameraF&, const float*, float, float*, float*, int) { return 0; }
int footprintRowAvx512(const unsigned char*, const float*, const float*, const float*, float, float, int, int, int*) {
    return 0;
}
int depthRowAvx512(const float* const (&)[4], const float*, const float*, const float*, float*, float*, float*, int) {
    return 0;
}

}  // namespace lanes
}  // namespace imaging
}  // namespace XELORAALGO

#endif
