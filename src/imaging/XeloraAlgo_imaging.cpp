// Exported imaging members: each forwards to its operation in XELORAALGO::imaging.
#include "frame/AlgoEngine.h"
#include "imaging.h"

namespace XELORAALGO {

void XeloraAlgo::CalRGB(float* X, float* Y, float* Z, bool* mask, const int& zMin, const int& zMax) {
    imaging::CalRGB(*engine_, X, Y, Z, mask, zMin, zMax);
}

void XeloraAlgo::CalRGBFuse(unsigned char** const srcA, unsigned char** const srcB,
                            unsigned char** const dstA, unsigned char** const dstB) {
    imaging::CalRGBFuse(*engine_, srcA, srcB, dstA, dstB);
}

void XeloraAlgo::CalRGBFuse(unsigned char** const srcA, unsigned char** const srcB,
                            unsigned char** const dstA, unsigned char** const dstB, const int& count) {
    imaging::CalRGBFuse(*engine_, srcA, srcB, dstA, dstB, count);
}

void XeloraAlgo::CalPreview(unsigned char* preview, float* m1, float* m2, float* m3, float* m4) {
    imaging::CalPreview(*engine_, preview, m1, m2, m3, m4);
}

bool XeloraAlgo::CalPixelAverage(unsigned char* image, const int& width, const int& height,
                                 const int& threshold) {
    return imaging::CalPixelAverage(image, width, height, threshold);
}

}  // namespace XELORAALGO
