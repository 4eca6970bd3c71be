// Calibration records used by the frame tests.
#ifndef XELORAALGO_TESTS_FRAME_FRAMETESTUTIL_H
#define XELORAALGO_TESTS_FRAME_FRAMETESTUTIL_H

#include <cmath>
#include <cstring>

#include "XeloraAlgo.h"

namespace frametest {

// Two 2500-pixel cameras side by side (principal point (cx, cy)), camera 2 turned by `yaw` radians
// about the y axis, with camera 2's centre at (baseline, 0, dz) in camera-1 coordinates;
// X2 = R X1 + T, T = -R C2.
inline XELORAALGO::tagXeloraAlgoCalibrationInfo stereoCalib(double baseline = 150.0, double dz = 5.0,
                                                            double yaw = -0.15, double cx = 640.0,
                                                            double cy = 512.0) {
    XELORAALGO::tagXeloraAlgoCalibrationInfo c;
    std::memset(&c, 0, sizeof c);
    const double K[9] = {2500, 0, cx, 0, 2500, cy, 0, 0, 1};
    std::memcpy(c.K1, K, sizeof K);
    std::memcpy(c.K2, K, sizeof K);
    const double co = std::cos(yaw), sy = std::sin(yaw);
    const double R[9] = {co, 0, sy, 0, 1, 0, -sy, 0, co};
    std::memcpy(c.R, R, sizeof R);
    const double C2[3] = {baseline, 0.0, dz};
    for (int r = 0; r < 3; ++r) c.T[r] = -(R[3 * r] * C2[0] + R[3 * r + 1] * C2[1] + R[3 * r + 2] * C2[2]);
    for (int k = 0; k < 3; ++k) c.Tinv[k] = C2[k];
    return c;
}

inline XELORAALGO::tagXeloraAlgoROIInfo roi(int w, int h, int ox = 0, int oy = 0) {
    XELORAALGO::tagXeloraAlgoROIInfo r;
    r.offsetX = ox;
    r.offsetY = oy;
    r.width = w;
    r.height = h;
    return r;
}

}  // namespace frametest

#endif
