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

int XeloraAlgo::AutoExposure(unsigned char** const captures, double* exposureTimes, const int& pairCount,
                             const int& target, const int& lower, const int& upper, const int& current) {
    return imaging::AutoExposure(*engine_, captures, exposureTimes, pairCount, target, lower, upper,
                                 current);
}

int XeloraAlgo::AutoExposure(const double& current, float* modulation1, float* modulation2,
                             float* average1, float* average2, const int& lower, const int& upper,
                             const int& target) {
    return imaging::AutoExposure(*engine_, current, modulation1, modulation2, average1, average2, lower,
                                 upper, target);
}

double XeloraAlgo::BinarySearch_updataET(unsigned char* image1, unsigned char* image2, const double& lower,
                                         const double& upper, const int& target, const double& current) {
    return imaging::BinarySearch_updataET(*engine_, image1, image2, lower, upper, target, current);
}

int XeloraAlgo::GetTh(const std::vector<unsigned char>& values, const int& lower, const int& upper) {
    return imaging::GetTh(values, lower, upper);
}

void XeloraAlgo::AutoHDR1(unsigned char** const captures, const int& mode, double* exposureTimes,
                          const int& pairCount, const int& divisor, const int& target, const int& lower,
                          const int& upper, int* results) {
    imaging::AutoHDR1(*engine_, captures, mode, exposureTimes, pairCount, divisor, target, lower, upper,
                      results);
}

void XeloraAlgo::AutoHDR2(unsigned char** const captures, const int& mode, double* exposureTimes,
                          const int& pairCount, const int& divisor, const int& target, const int& lower,
                          const int& upper, int* results) {
    imaging::AutoHDR2(*engine_, captures, mode, exposureTimes, pairCount, divisor, target, lower, upper,
                      results);
}

void XeloraAlgo::CalHDRFuse(unsigned char** const shortSeq, unsigned char** const longSeq,
                            unsigned char** const out1, unsigned char** const out2, const int& count) {
    imaging::CalHDRFuse(*engine_, shortSeq, longSeq, out1, out2, count);
}

void XeloraAlgo::DownSampling1(unsigned char** const src, unsigned char** const dst, const int& count,
                               const int& W, const int& H) {
    imaging::DownSampling1(src, dst, count, W, H);
}

void XeloraAlgo::DownSampling2(unsigned char** const src, unsigned char** const dst, const int& count,
                               const int& W, const int& H) {
    imaging::DownSampling2(src, dst, count, W, H);
}

void XeloraAlgo::DownSampling3(unsigned char* src, unsigned char* dst, const int& W, const int& H) {
    imaging::DownSampling3(src, dst, W, H);
}

void XeloraAlgo::CalcImageBuffer(unsigned char* input, unsigned char* output, const bool& enable) {
    imaging::CalcImageBuffer(*engine_, input, output, enable);
}

}  // namespace XELORAALGO
