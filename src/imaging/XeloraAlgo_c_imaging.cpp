// C interface of colour, exposure, HDR and downsampling: each function forwards to the XeloraAlgo
// member of the same name with the same buffers (see include/xelora_c.h).
#include <vector>

#include "frame/XeloraAlgo_c.h"

using XELORAALGO::XeloraAlgo;
using namespace XELORAALGO::capi;

extern "C" {

int xelora_CalRGB(xelora_handle* h, float* X, float* Y, float* Z, bool* mask, int zMin, int zMax) {
    return call(__func__, h, [&](XeloraAlgo& a, const char*) { a.CalRGB(X, Y, Z, mask, zMin, zMax); });
}

int xelora_CalRGBFuse(xelora_handle* h, unsigned char** srcA, unsigned char** srcB, unsigned char** dstA,
                      unsigned char** dstB) {
    return call(__func__, h, [&](XeloraAlgo& a, const char*) { a.CalRGBFuse(srcA, srcB, dstA, dstB); });
}
int xelora_CalRGBFuseCount(xelora_handle* h, unsigned char** srcA, unsigned char** srcB, unsigned char** dstA,
                           unsigned char** dstB, int count) {
    return call(__func__, h, [&](XeloraAlgo& a, const char*) { a.CalRGBFuse(srcA, srcB, dstA, dstB, count); });
}

int xelora_CalPreview(xelora_handle* h, unsigned char* preview, float* m1, float* m2, float* m3, float* m4) {
    return call(__func__, h, [&](XeloraAlgo& a, const char*) { a.CalPreview(preview, m1, m2, m3, m4); });
}

int xelora_CalPixelAverage(xelora_handle* h, unsigned char* image, int width, int height, int threshold,
                           bool* result) {
    return call(__func__, h, [&](XeloraAlgo& a, const char* fn) {
        out(result, fn, "result") = a.CalPixelAverage(image, width, height, threshold);
    });
}

int xelora_AutoExposure(xelora_handle* h, unsigned char** captures, double* exposureTimes, int pairCount, int target,
                        int lower, int upper, int current, int* result) {
    return call(__func__, h, [&](XeloraAlgo& a, const char* fn) {
        out(result, fn, "result") = a.AutoExposure(captures, exposureTimes, pairCount, target, lower, upper, current);
    });
}
int xelora_AutoExposureMaps(xelora_handle* h, double current, float* modulation1, float* modulation2,
                            float* average1, float* average2, int lower, int upper, int target, int* result) {
    return call(__func__, h, [&](XeloraAlgo& a, const char* fn) {
        out(result, fn, "result") =
            a.AutoExposure(current, modulation1, modulation2, average1, average2, lower, upper, target);
    });
}

int xelora_BinarySearch_updataET(xelora_handle* h, unsigned char* image1, unsigned char* image2, double lower,
                                 double upper, int target, double current, double* result) {
    return call(__func__, h, [&](XeloraAlgo& a, const char* fn) {
        out(result, fn, "result") = a.BinarySearch_updataET(image1, image2, lower, upper, target, current);
    });
}

int xelora_GetTh(xelora_handle* h, const unsigned char* values, size_t valueCount, int lower, int upper,
                 int* result) {
    return call(__func__, h, [&](XeloraAlgo& a, const char* fn) {
        XELORAALGO::capi::requireArray(values, valueCount, fn, "values");
        const std::vector<unsigned char> v(values, values + valueCount);
        out(result, fn, "result") = a.GetTh(v, lower, upper);
    });
}

int xelora_AutoHDR1(xelora_handle* h, unsigned char** captures, int mode, double* exposureTimes, int pairCount,
                    int divisor, int target, int lower, int upper, int* results) {
    return call(__func__, h, [&](XeloraAlgo& a, const char*) {
        a.AutoHDR1(captures, mode, exposureTimes, pairCount, divisor, target, lower, upper, results);
    });
}
int xelora_AutoHDR2(xelora_handle* h, unsigned char** captures, int mode, double* exposureTimes, int pairCount,
                    int divisor, int target, int lower, int upper, int* results) {
    return call(__func__, h, [&](XeloraAlgo& a, const char*) {
        a.AutoHDR2(captures, mode, exposureTimes, pairCount, divisor, target, lower, upper, results);
    });
}

int xelora_CalHDRFuse(xelora_handle* h, unsigned char** shortSeq, unsigned char** longSeq, unsigned char** out1,
                      unsigned char** out2, int count) {
    return call(__func__, h, [&](XeloraAlgo& a, const char*) { a.CalHDRFuse(shortSeq, longSeq, out1, out2, count); });
}

int xelora_DownSampling1(xelora_handle* h, unsigned char** src, unsigned char** dst, int count, int W, int H) {
    return call(__func__, h, [&](XeloraAlgo& a, const char*) { a.DownSampling1(src, dst, count, W, H); });
}
int xelora_DownSampling2(xelora_handle* h, unsigned char** src, unsigned char** dst, int count, int W, int H) {
    return call(__func__, h, [&](XeloraAlgo& a, const char*) { a.DownSampling2(src, dst, count, W, H); });
}
int xelora_DownSampling3(xelora_handle* h, unsigned char* src, unsigned char* dst, int W, int H) {
    return call(__func__, h, [&](XeloraAlgo& a, const char*) { a.DownSampling3(src, dst, W, H); });
}

int xelora_CalcImageBuffer(xelora_handle* h, unsigned char* input, unsigned char* output, bool enable) {
    return call(__func__, h, [&](XeloraAlgo& a, const char*) { a.CalcImageBuffer(input, output, enable); });
}

}  // extern "C"
