// C interface: handle, error text and the set-up members (ROI, calibration, maps).
// Each function forwards to the XeloraAlgo member of the same name (see include/xelora_c.h).
#include <cstddef>
#include <cstring>
#include <string>

#include "frame/XeloraAlgo_c.h"

using XELORAALGO::XeloraAlgo;
using namespace XELORAALGO::capi;

static_assert(sizeof(xelora_roi_info) == sizeof(XELORAALGO::tagXeloraAlgoROIInfo) &&
                  offsetof(xelora_roi_info, height) == offsetof(XELORAALGO::tagXeloraAlgoROIInfo, height),
              "the C ROI record has the class's layout");
static_assert(sizeof(xelora_calibration_info) == sizeof(XELORAALGO::tagXeloraAlgoCalibrationInfo) &&
                  offsetof(xelora_calibration_info, TLine) ==
                      offsetof(XELORAALGO::tagXeloraAlgoCalibrationInfo, TLine) &&
                  offsetof(xelora_calibration_info, F) == offsetof(XELORAALGO::tagXeloraAlgoCalibrationInfo, F),
              "the C calibration record has the class's layout");

namespace XELORAALGO {
namespace capi {
namespace {
thread_local std::string lastError;
}
void setLastError(const std::string& text) noexcept {
    try {
        lastError = text;
    } catch (...) {
        lastError.clear();
    }
}
}  // namespace capi
}  // namespace XELORAALGO

extern "C" {

int xelora_create(xelora_handle** handle) {
    const char* fn = __func__;
    return XELORAALGO::capi::run(fn, [&] {
        out(handle, fn, "the handle pointer") = nullptr;
        *handle = new xelora_handle;
    });
}

void xelora_destroy(xelora_handle* handle) { delete handle; }

const char* xelora_last_error(void) { return XELORAALGO::capi::lastError.c_str(); }

const char* xelora_status_name(int status) {
    switch (status) {
        case XELORA_OK: return "XELORA_OK";
        case XELORA_ERROR_INVALID_ARGUMENT: return "XELORA_ERROR_INVALID_ARGUMENT";
        case XELORA_ERROR_LOGIC: return "XELORA_ERROR_LOGIC";
        case XELORA_ERROR_OUT_OF_MEMORY: return "XELORA_ERROR_OUT_OF_MEMORY";
        case XELORA_ERROR_SYSTEM: return "XELORA_ERROR_SYSTEM";
        case XELORA_ERROR_BUFFER_TOO_SMALL: return "XELORA_ERROR_BUFFER_TOO_SMALL";
        case XELORA_ERROR_UNKNOWN: return "XELORA_ERROR_UNKNOWN";
        default: return "unknown status";
    }
}

int xelora_GetSdkVersionString(xelora_handle* h, char* buffer, size_t capacity, size_t* length) {
    return call(__func__, h, [&](XeloraAlgo& a, [[maybe_unused]] const char* fn) {
        std::string v;
        a.GetSdkVersionString(v);
        out(length, fn, "length") = v.size();
        if (capacity < v.size() + 1) {
            throw XELORAALGO::capi::BufferTooSmall(std::string(fn) + ": buffer capacity " + std::to_string(capacity) +
                                                   " is below the " + std::to_string(v.size() + 1) +
                                                   " characters of the version text and its NUL");
        }
        std::memcpy(buffer, v.c_str(), v.size() + 1);
    });
}

int xelora_GetROIInfoWidth(xelora_handle* h, int* width) {
    return call(__func__, h, [&](XeloraAlgo& a, [[maybe_unused]] const char* fn) { out(width, fn, "width") = a.GetROIInfoWidth(); });
}
int xelora_GetROIInfoHeight(xelora_handle* h, int* height) {
    return call(__func__, h, [&](XeloraAlgo& a, [[maybe_unused]] const char* fn) { out(height, fn, "height") = a.GetROIInfoHeight(); });
}
int xelora_GetROIInfoOffsetX(xelora_handle* h, int* offsetX) {
    return call(__func__, h, [&](XeloraAlgo& a, [[maybe_unused]] const char* fn) { out(offsetX, fn, "offsetX") = a.GetROIInfoOffsetX(); });
}
int xelora_GetROIInfoOffsetY(xelora_handle* h, int* offsetY) {
    return call(__func__, h, [&](XeloraAlgo& a, [[maybe_unused]] const char* fn) { out(offsetY, fn, "offsetY") = a.GetROIInfoOffsetY(); });
}

int xelora_SetROIInfo(xelora_handle* h, const xelora_roi_info* info) {
    return call(__func__, h, [&](XeloraAlgo& a, [[maybe_unused]] const char* fn) {
        XELORAALGO::tagXeloraAlgoROIInfo roi;
        std::memcpy(&roi, &out(info, fn, "info"), sizeof roi);
        a.SetROIInfo(&roi);
    });
}

int xelora_SetDownsamplingInfo(xelora_handle* h, int step, float offset) {
    return call(__func__, h, [&](XeloraAlgo& a, [[maybe_unused]] const char* fn) { a.SetDownsamplingInfo(step, offset); });
}

int xelora_GetData(xelora_handle* h, double values[6]) {
    return call(__func__, h, [&](XeloraAlgo& a, [[maybe_unused]] const char* fn) {
        XELORAALGO::capi::requireArray(values, 6, fn, "values");
        a.GetData(values[0], values[1], values[2], values[3], values[4], values[5]);
    });
}

int xelora_DeleteMemory1(xelora_handle* h) {
    return call(__func__, h, [&](XeloraAlgo& a, [[maybe_unused]] const char* fn) { a.DeleteMemory1(); });
}
int xelora_DeleteMemory2(xelora_handle* h) {
    return call(__func__, h, [&](XeloraAlgo& a, [[maybe_unused]] const char* fn) { a.DeleteMemory2(); });
}

int xelora_SetCalibrationInfo(xelora_handle* h, const xelora_calibration_info* info) {
    return call(__func__, h, [&](XeloraAlgo& a, [[maybe_unused]] const char* fn) {
        XELORAALGO::tagXeloraAlgoCalibrationInfo calib;
        std::memcpy(&calib, &out(info, fn, "info"), sizeof calib);
        a.SetCalibrationInfo(&calib);
    });
}

int xelora_CalKR(xelora_handle* h) {
    return call(__func__, h, [&](XeloraAlgo& a, [[maybe_unused]] const char* fn) { a.CalKR(); });
}
int xelora_CalRectifyMap1(xelora_handle* h, bool firstCamera) {
    return call(__func__, h, [&](XeloraAlgo& a, [[maybe_unused]] const char* fn) { a.CalRectifyMap1(firstCamera); });
}
int xelora_CalRectifyMap2(xelora_handle* h, bool firstCamera) {
    return call(__func__, h, [&](XeloraAlgo& a, [[maybe_unused]] const char* fn) { a.CalRectifyMap2(firstCamera); });
}

}  // extern "C"
