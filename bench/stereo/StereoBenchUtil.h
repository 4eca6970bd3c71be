// Synthetic scene of the stereo benchmarks: two 2500-pixel cameras 100 mm apart (camera 2 turned
// by 0.05 rad about the y axis) looking at the plane Z = 1000 mm, and a projector whose absolute
// phase grows with the X of the scene point over 64 periods. Engines are built with the library's
// own geometry and maps at the requested size.
#ifndef XELORAALGO_BENCH_STEREO_STEREOBENCHUTIL_H
#define XELORAALGO_BENCH_STEREO_STEREOBENCHUTIL_H

#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

#include "frame/AlgoEngine.h"
#include "frame/frame.h"
#include "stereo/stereo.h"

namespace stereobench {

constexpr double kPi = 3.14159265358979323846;

struct Scene {
    int w, h;
    std::size_t n;
    double f = 2500.0, yaw = 0.05, z0 = 1000.0;
    double C2[3] = {100.0, 0.0, -10.0};
    std::unique_ptr<XELORAALGO::AlgoEngine> engine;

    Scene(int width, int height)
        : w(width), h(height), n(static_cast<std::size_t>(width) * static_cast<std::size_t>(height)),
          engine(new XELORAALGO::AlgoEngine()) {
        auto& e = *engine;
        e.roi = XELORAALGO::tagXeloraAlgoROIInfo{0, 0, w, h};
        auto& c = e.calib;
        const double K[9] = {f, 0, w / 2.0, 0, f, h / 2.0, 0, 0, 1};
        std::memcpy(c.K1, K, sizeof K);
        std::memcpy(c.K2, K, sizeof K);
        for (int r = 0; r < 3; ++r) {
            for (int k = 0; k < 3; ++k) c.R[3 * r + k] = R(r, k);
            c.T[r] = -(R(r, 0) * C2[0] + R(r, 1) * C2[1] + R(r, 2) * C2[2]);
            c.Tinv[r] = C2[r];
        }
        XELORAALGO::frame::CalKR(e);
        XELORAALGO::frame::CalRectifyMap1(e, true);
        XELORAALGO::frame::CalRectifyMap1(e, false);
    }

    double R(int r, int c) const {
        const double co = std::cos(yaw), si = std::sin(yaw);
        const double m[9] = {co, 0, si, 0, 1, 0, -si, 0, co};
        return m[3 * r + c];
    }

    // Projector phase of what camera 1 (first) or camera 2 sees at ROI pixel (col, row).
    double projectorPhase(bool first, int col, int row) const {
        const double d[3] = {(col - w / 2.0) / f, (row - h / 2.0) / f, 1.0};
        double X;
        if (first) {
            X = z0 * d[0];
        } else {
            double dir[3];
            for (int k = 0; k < 3; ++k) dir[k] = R(0, k) * d[0] + R(1, k) * d[1] + R(2, k) * d[2];
            X = C2[0] + (z0 - C2[2]) / dir[2] * dir[0];
        }
        const double halfWidth = 0.6 * w / f * z0;  // a little more than camera 1's field
        double phi = 0.1 + (128 * kPi - 0.2) * (X + halfWidth) / (2 * halfWidth);
        if (phi < 0.1) phi = 0.1;
        if (phi > 128 * kPi - 0.1) phi = 128 * kPi - 0.1;
        return phi;
    }
};

// A bool map (std::vector<bool> has no data()).
struct BoolMap {
    std::size_t n;
    std::unique_ptr<bool[]> v;
    explicit BoolMap(std::size_t count, bool value = false) : n(count), v(new bool[count]) {
        for (std::size_t i = 0; i < n; ++i) v[i] = value;
    }
    bool* data() { return v.get(); }
    void copyFrom(const BoolMap& o) { std::memcpy(v.get(), o.v.get(), n); }
};

}  // namespace stereobench

#endif
