// Exported imaging members: each forwards to its operation in XELORAALGO::imaging.
#include <limits>

#include "frame/AlgoEngine.h"
#include "frame/Checks.h"
#include "imaging.h"

namespace XELORAALGO {

namespace {

// The map form of AutoExposure samples twelve 50 x 50 windows whose corners lie at 1/8 ... 7/8 of
// the ROI less w / 40 (products in float, truncated): the ROI must hold all of them.
void checkSampleWindows(const AlgoEngine& e) {
    const int w = e.width(), h = e.height();
    const int s = w / 40;
    const auto holds = [s](int size) {
        const long long first = static_cast<long long>(static_cast<float>(size) * 0.125f) - s;
        const long long last = static_cast<long long>(static_cast<float>(size) * 0.875f) - s + 49;
        return first >= 0 && last < size;
    };
    const char* need = "must hold the 50 x 50 sample windows (trunc(size / 8) >= width / 40 and "
                       "trunc(7 size / 8) - width / 40 + 49 < size)";
    if (!holds(w)) checks::badArgument("AutoExposure", "ROI width", need, w);
    if (!holds(h)) checks::badArgument("AutoExposure", "ROI height", need, h);
}

// AutoHDR1 / AutoHDR2 keep sums for three captures and propose upper - 1 for the short exposure. (A
// divisor below 2 is taken as 2.)
void checkHdrArguments(const char* member, int pairCount, int upper) {
    checks::requireInRange(member, "pairCount", pairCount, 1, 3);
    checks::requireAtLeast(member, "upper", upper, std::numeric_limits<int>::min() + 1);
}

}  // namespace

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
    // Two negative sizes would multiply to a positive byte count.
    checks::requireAtLeast("CalPixelAverage", "width", width, 0);
    checks::requireAtLeast("CalPixelAverage", "height", height, 0);
    return imaging::CalPixelAverage(image, width, height, threshold);
}

int XeloraAlgo::AutoExposure(unsigned char** const captures, double* exposureTimes, const int& pairCount,
                             const int& target, const int& lower, const int& upper, const int& current) {
    checks::requireInRange("AutoExposure", "pairCount", pairCount, 1, 3);
    return imaging::AutoExposure(*engine_, captures, exposureTimes, pairCount, target, lower, upper,
                                 current);
}

int XeloraAlgo::AutoExposure(const double& current, float* modulation1, float* modulation2,
                             float* average1, float* average2, const int& lower, const int& upper,
                             const int& target) {
    checkSampleWindows(*engine_);
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
    checkHdrArguments("AutoHDR1", pairCount, upper);
    imaging::AutoHDR1(*engine_, captures, mode, exposureTimes, pairCount, divisor, target, lower, upper,
                      results);
}

void XeloraAlgo::AutoHDR2(unsigned char** const captures, const int& mode, double* exposureTimes,
                          const int& pairCount, const int& divisor, const int& target, const int& lower,
                          const int& upper, int* results) {
    checkHdrArguments("AutoHDR2", pairCount, upper);
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
