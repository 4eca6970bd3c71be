// Helpers of the stereo tests: bool maps, engines with a given ROI, and a calibration of two
// pinhole cameras without distortion.
#ifndef XELORAALGO_TESTS_STEREO_STEREOTESTUTIL_H
#define XELORAALGO_TESTS_STEREO_STEREOTESTUTIL_H

#include <cmath>
#include <cstddef>
#include <cstring>
#include <memory>

#include "frame/AlgoEngine.h"

namespace stereotest {

// A bool map (std::vector<bool> has no data()).
struct BoolMap {
    std::size_t n;
    std::unique_ptr<bool[]> v;
    explicit BoolMap(std::size_t count, bool value = false) : n(count), v(new bool[count]) {
        for (std::size_t i = 0; i < n; ++i) v[i] = value;
    }
    bool* data() { return v.get(); }
    bool& operator[](std::size_t i) { return v[i]; }
    bool operator[](std::size_t i) const { return v[i]; }
    std::size_t countTrue() const {
        std::size_t c = 0;
        for (std::size_t i = 0; i < n; ++i) c += v[i] ? 1 : 0;
        return c;
    }
};

inline void setRoi(XELORAALGO::AlgoEngine& e, int w, int h, int ox = 0, int oy = 0) {
    e.roi.offsetX = ox;
    e.roi.offsetY = oy;
    e.roi.width = w;
    e.roi.height = h;
}

// Two cameras with focal length f pixels and principal point (cx, cy) in sensor pixels; camera 2's
// centre at C2 in camera-1 coordinates, turned by `yaw` about the y axis: X2 = R (X1 - C2), so
// T = -R C2 and Tinv = C2.
struct Rig {
    double f = 2500.0;
    double cx = 32.0, cy = 24.0;
    double C2[3] = {10.0, 0.0, -2.0};
    double yaw = 0.0;

    double R(int r, int c) const {
        const double co = std::cos(yaw), si = std::sin(yaw);
        const double m[9] = {co, 0, si, 0, 1, 0, -si, 0, co};
        return m[3 * r + c];
    }

    XELORAALGO::tagXeloraAlgoCalibrationInfo calibration() const {
        XELORAALGO::tagXeloraAlgoCalibrationInfo c;
        std::memset(&c, 0, sizeof c);
        const double K[9] = {f, 0, cx, 0, f, cy, 0, 0, 1};
        std::memcpy(c.K1, K, sizeof K);
        std::memcpy(c.K2, K, sizeof K);
        for (int r = 0; r < 3; ++r) {
            for (int k = 0; k < 3; ++k) c.R[3 * r + k] = R(r, k);
            c.T[r] = -(R(r, 0) * C2[0] + R(r, 1) * C2[1] + R(r, 2) * C2[2]);
            c.Tinv[r] = C2[r];
        }
        return c;
    }

    // Camera-1 coordinates of the point that camera 1's (first) or camera 2's sensor pixel (u, v)
    // sees on the plane Z = z0 + slope * X of camera 1's frame.
    void pointOnPlane(bool first, double u, double v, double z0, double slope, double P[3]) const {
        const double d[3] = {(u - cx) / f, (v - cy) / f, 1.0};
        double origin[3] = {0, 0, 0}, dir[3] = {d[0], d[1], d[2]};
        if (!first) {
            // Camera 2's ray in camera-1 coordinates: C2 + lambda R^T d.
            for (int k = 0; k < 3; ++k) {
                origin[k] = C2[k];
                dir[k] = R(0, k) * d[0] + R(1, k) * d[1] + R(2, k) * d[2];
            }
        }
        const double lambda = (z0 + slope * origin[0] - origin[2]) / (dir[2] - slope * dir[0]);
        for (int k = 0; k < 3; ++k) P[k] = origin[k] + lambda * dir[k];
    }
};

}  // namespace stereotest

#endif
