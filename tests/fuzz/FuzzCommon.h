// Shared pieces of the fuzz targets: turning bytes into parameters, ROIs, calibrations and buffers of
// the size the members expect, and the rule for exceptions.
//
// A target feeds every member of its family with values read from the fuzzer's bytes. The library's
// misuse errors (std::invalid_argument, std::logic_error) are expected outcomes; any other exception,
// a crash, a sanitizer report, a hang or an oversized allocation is a finding.
#ifndef XELORAALGO_TESTS_FUZZ_FUZZCOMMON_H
#define XELORAALGO_TESTS_FUZZ_FUZZCOMMON_H

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <typeinfo>
#include <vector>

#include "XeloraAlgo.h"

namespace fuzz {

using XELORAALGO::XeloraAlgo;

// Runs one call; the library's two misuse errors are expected, everything else propagates (and so
// ends the run as a finding). std::logic_error subclasses other than std::invalid_argument (for
// example std::length_error from an oversized container) are findings too.
template <class F>
void guarded(F&& call) {
    try {
        call();
    } catch (const std::invalid_argument&) {
    } catch (const std::logic_error& e) {
        if (typeid(e) != typeid(std::logic_error)) throw;
    }
}

// An int that is mostly in [lo, hi] and sometimes any int at all (extremes included).
inline int intParam(FuzzedDataProvider& in, int lo, int hi) {
    switch (in.ConsumeIntegralInRange<int>(0, 7)) {
    case 0: return in.ConsumeIntegral<int>();
    case 1: return in.PickValueInArray({std::numeric_limits<int>::min(), std::numeric_limits<int>::max(),
                                        std::numeric_limits<int>::min() + 1, -1, 0, 1});
    default: return in.ConsumeIntegralInRange<int>(lo, hi);
    }
}

// A float that is mostly in [lo, hi] and sometimes any bit pattern (NaN, infinities, denormals).
inline float floatParam(FuzzedDataProvider& in, float lo, float hi) {
    if (in.ConsumeIntegralInRange<int>(0, 5) == 0) {
        const std::uint32_t bits = in.ConsumeIntegral<std::uint32_t>();
        float f;
        std::memcpy(&f, &bits, sizeof f);
        return f;
    }
    return in.ConsumeFloatingPointInRange<float>(lo, hi);
}

inline double doubleParam(FuzzedDataProvider& in, double lo, double hi) {
    if (in.ConsumeIntegralInRange<int>(0, 5) == 0) {
        const std::uint64_t bits = in.ConsumeIntegral<std::uint64_t>();
        double d;
        std::memcpy(&d, &bits, sizeof d);
        return d;
    }
    return in.ConsumeFloatingPointInRange<double>(lo, hi);
}

// A small ROI (at most 64 x 64 pixels); the offsets are usually small, sometimes extreme.
inline XELORAALGO::tagXeloraAlgoROIInfo smallRoi(FuzzedDataProvider& in, int minSide = 1) {
    XELORAALGO::tagXeloraAlgoROIInfo roi{};
    roi.offsetX = intParam(in, 0, 2048);
    roi.offsetY = intParam(in, 0, 2048);
    roi.width = in.ConsumeIntegralInRange<int>(minSide, 64);
    roi.height = in.ConsumeIntegralInRange<int>(minSide, 64);
    return roi;
}

// A calibration that is mostly a plausible stereo head (with perturbations) and sometimes raw bytes.
inline XELORAALGO::tagXeloraAlgoCalibrationInfo calibration(FuzzedDataProvider& in) {
    XELORAALGO::tagXeloraAlgoCalibrationInfo c{};
    double* d = reinterpret_cast<double*>(&c);
    if (in.ConsumeBool()) {
        for (int i = 0; i < 111; ++i) d[i] = doubleParam(in, -2.0, 2.0);
        return c;
    }
    for (double* K : {c.K1, c.K2, c.K3}) {
        K[0] = doubleParam(in, 100.0, 5000.0);
        K[4] = K[0];
        K[2] = doubleParam(in, 0.0, 64.0);
        K[5] = doubleParam(in, 0.0, 64.0);
        K[8] = 1.0;
    }
    for (double* D : {c.D1, c.D2, c.D3})
        for (int i = 0; i < 5; ++i) D[i] = in.ConsumeBool() ? doubleParam(in, -0.1, 0.1) : 0.0;
    for (double* R : {c.R, c.R3, c.RLine}) {
        for (int i = 0; i < 9; ++i) R[i] = i % 4 == 0 ? 1.0 : 0.0;
        for (int i = 0; i < 9; ++i)
            if (in.ConsumeBool()) R[i] += doubleParam(in, -0.2, 0.2);
    }
    for (double* T : {c.T, c.Tinv, c.T3, c.TLine})
        for (int i = 0; i < 3; ++i) T[i] = doubleParam(in, -200.0, 200.0);
    for (double& f : c.F) f = doubleParam(in, -1e-3, 1e-3);
    return c;
}

template <class T>
std::vector<T> bytesOf(FuzzedDataProvider& in, std::size_t n) {
    std::vector<T> v(n);
    if (n) {
        const std::vector<std::uint8_t> raw = in.ConsumeBytes<std::uint8_t>(n * sizeof(T));
        if (!raw.empty()) std::memcpy(v.data(), raw.data(), raw.size());
    }
    return v;
}

// n floats: mostly values in [lo, hi] with some zeros, sometimes raw bit patterns.
inline std::vector<float> floatMap(FuzzedDataProvider& in, std::size_t n, float lo, float hi) {
    if (in.ConsumeIntegralInRange<int>(0, 3) == 0) return bytesOf<float>(in, n);
    std::vector<float> v(n);
    for (auto& x : v) x = in.ConsumeIntegralInRange<int>(0, 4) == 0 ? 0.0f : in.ConsumeFloatingPointInRange(lo, hi);
    return v;
}

inline std::vector<unsigned char> byteMap(FuzzedDataProvider& in, std::size_t n) {
    return bytesOf<unsigned char>(in, n);
}

inline bool* boolData(std::vector<unsigned char>& v) { return reinterpret_cast<bool*>(v.data()); }

// n masks entries (stored as 0/1 bytes).
inline std::vector<unsigned char> maskMap(FuzzedDataProvider& in, std::size_t n) {
    std::vector<unsigned char> v = byteMap(in, n);
    for (auto& b : v) b = b & 1;
    return v;
}

// Pointer array over a set of planes.
inline std::vector<unsigned char*> pointers(std::vector<std::vector<unsigned char>>& planes) {
    std::vector<unsigned char*> p;
    for (auto& v : planes) p.push_back(v.data());
    return p;
}

// One handle for the whole run (building its lookup tables costs more than most calls), brought
// back to the state of a new handle at the start of every input: ROI, calibration and
// downsampling reset, every table released.
inline XeloraAlgo& freshHandle() {
    static XeloraAlgo algo;
    XELORAALGO::tagXeloraAlgoROIInfo roi{};
    XELORAALGO::tagXeloraAlgoCalibrationInfo calib{};
    algo.SetROIInfo(&roi);
    algo.SetCalibrationInfo(&calib);
    algo.SetDownsamplingInfo(1, 0.0f);
    algo.DeleteMemory1();
    algo.DeleteMemory2();
    return algo;
}

// The fresh handle with `roi` set and a calibration read from the input.
inline XeloraAlgo& handleWith(FuzzedDataProvider& in, XELORAALGO::tagXeloraAlgoROIInfo& roi) {
    XeloraAlgo& algo = freshHandle();
    algo.SetROIInfo(&roi);
    auto calib = calibration(in);
    algo.SetCalibrationInfo(&calib);
    return algo;
}

inline std::size_t pixels(XeloraAlgo& a) {
    return static_cast<std::size_t>(a.GetROIInfoWidth()) * static_cast<std::size_t>(a.GetROIInfoHeight());
}

}  // namespace fuzz

#endif
