// C interface of the depth-map filters and the bilateral filter: each function forwards to the
// XeloraAlgo member of the same name with the same buffers (see include/xelora_c.h).
#include "frame/XeloraAlgo_c.h"

using XELORAALGO::XeloraAlgo;
using namespace XELORAALGO::capi;

extern "C" {

int xelora_MediaFilter(xelora_handle* h, float* map, int order) {
    return call(__func__, h, [&](XeloraAlgo& a, const char*) { a.MediaFilter(map, order); });
}

int xelora_Outlierdetect(xelora_handle* h, float* X, float* Y, float* Z, bool* mask, int radius, float distance) {
    return call(__func__, h, [&](XeloraAlgo& a, const char*) { a.Outlierdetect(X, Y, Z, mask, radius, distance); });
}

int xelora_GradientFilter(xelora_handle* h, float* mapA, float* mapB, bool* maskA, bool* maskB, float gradientLimit,
                          float passLevel) {
    return call(__func__, h, [&](XeloraAlgo& a, const char*) {
        a.GradientFilter(mapA, mapB, maskA, maskB, gradientLimit, passLevel);
    });
}

int xelora_FillingFunction(xelora_handle* h, float* X, float* Y, float* Z, bool* mask, int mode, int smallArea,
                           int largeArea, int minDepth, int maxDepth) {
    return call(__func__, h, [&](XeloraAlgo& a, const char*) {
        a.FillingFunction(X, Y, Z, mask, mode, smallArea, largeArea, minDepth, maxDepth);
    });
}

int xelora_Bilateralfilter(xelora_handle* h, float* map, bool* mask, int spatialSigma, float rangeSigma) {
    return call(__func__, h, [&](XeloraAlgo& a, const char*) { a.Bilateralfilter(map, mask, spatialSigma, rangeSigma); });
}

}  // extern "C"
