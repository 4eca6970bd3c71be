// CalRGB's row kernels (projection, footprint, undistortion, depth) with Avx2, chosen at run time.
// Inputs: one row of w values per map (the caller's); outputs: the same values as the scalar code,
// column by column, for the columns in whole vectors of 8 lanes (the rest is the caller's).
// Compiled for Avx2: no standard header (see CalRGBIsa.inc).
#if defined(__GNUC__) && defined(__x86_64__)
#pragma GCC push_options
#pragma GCC target("avx2")
#define XELORA_ISA Avx2
#define XELORA_LANE_BYTES 32
#include "CalRGBIsa.inc"
#pragma GCC pop_options

#else  // another processor family: the caller does every column

#include "CalRGBLanes.h"

namespace XELORAALGO {
namespace imaging {
namespace lanes {

int projectRowAvx2(const ColourCameraF&, const float*, const float*, const float*, float*, float*, float*, int) {
    return 0;
}
int undistortRowAvx2(const ColourCameraF&, const float*, float, float*, float*, int) { return 0; }
int footprintRowAvx2(const unsigned char*, const float*, const float*, const float*, float, float, int, int, int*) {
    return 0;
}
int depthRowAvx2(const float* const (&)[4], const float*, const float*, const float*, float*, float*, float*, int) {
    return 0;
}

}  // namespace lanes
}  // namespace imaging
}  // namespace XELORAALGO

#endif
