// C interface of resampling, matching and triangulation: each function forwards to the XeloraAlgo
// member of the same name with the same buffers (see include/xelora_c.h).
#include "frame/XeloraAlgo_c.h"

using XELORAALGO::XeloraAlgo;
using namespace XELORAALGO::capi;

extern "C" {

int xelora_BiCubicPloy(xelora_handle* h, float x, float* value) {
    return call(__func__, h, [&](XeloraAlgo& a, const char* fn) { out(value, fn, "value") = a.BiCubicPloy(x); });
}

int xelora_InterpCubic1(xelora_handle* h, float* map) {
    return call(__func__, h, [&](XeloraAlgo& a, const char*) { a.InterpCubic1(map); });
}
int xelora_InterpCubic2(xelora_handle* h, float* map) {
    return call(__func__, h, [&](XeloraAlgo& a, const char*) { a.InterpCubic2(map); });
}
int xelora_InterpCubic3(xelora_handle* h, float* map, double* mapX, double* mapY, bool* mask) {
    return call(__func__, h, [&](XeloraAlgo& a, const char*) { a.InterpCubic3(map, mapX, mapY, mask); });
}
int xelora_InterpCubic4(xelora_handle* h, float* map) {
    return call(__func__, h, [&](XeloraAlgo& a, const char*) { a.InterpCubic4(map); });
}
int xelora_InterpCubic5(xelora_handle* h, float* map) {
    return call(__func__, h, [&](XeloraAlgo& a, const char*) { a.InterpCubic5(map); });
}
int xelora_InterpFlag1(xelora_handle* h, bool* mask) {
    return call(__func__, h, [&](XeloraAlgo& a, const char*) { a.InterpFlag1(mask); });
}
int xelora_InterpFlag2(xelora_handle* h, bool* mask) {
    return call(__func__, h, [&](XeloraAlgo& a, const char*) { a.InterpFlag2(mask); });
}

int xelora_MatchI(xelora_handle* h, bool* mask1, bool* mask2, bool* matchMask, float* phase1, float* phase2) {
    return call(__func__, h, [&](XeloraAlgo& a, const char*) { a.MatchI(mask1, mask2, matchMask, phase1, phase2); });
}
int xelora_MatchII(xelora_handle* h, bool* mask1, bool* mask2, bool* matchMask, float* phase1, float* phase2) {
    return call(__func__, h,
                [&](XeloraAlgo& a, const char*) { a.MatchII(mask1, mask2, matchMask, phase1, phase2); });
}

int xelora_CalPoint(xelora_handle* h, bool* mask, float* X, float* Y, float* Z, int* count, bool useBilateral,
                    int bilateralSpatialSigma, float bilateralRangeSigma, bool useSmoothing, float smoothSigma) {
    return call(__func__, h, [&](XeloraAlgo& a, const char* fn) {
        a.CalPoint(mask, X, Y, Z, out(count, fn, "count"), useBilateral, bilateralSpatialSigma, bilateralRangeSigma,
                   useSmoothing, smoothSigma);
    });
}

}  // extern "C"
