// A whole structured-light frame: both cameras' Gray-code and phase-shift images of the plane Z = z0
// are decoded, resampled onto the rectified grids, matched and triangulated through the public
// members; the point map must lie on the plane.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "StereoTestUtil.h"
#include "XeloraAlgo.h"
#include "frame/FrameTestUtil.h"

TEST(StereoFrame, DecodedPatternsOfAPlaneEndToEnd) {
    const double kPi = 3.14159265358979323846;
    const int w = 128, h = 48, ox = 40, oy = 20;
    const std::size_t n = static_cast<std::size_t>(w * h);
    // Pinhole cameras (f pixels, centred principal point); camera 2 at C2, turned 0.004 about y:
    // X2 = R (X1 - C2).
    const double f = 2500.0, cx = ox + w / 2.0, cy = oy + h / 2.0, z0 = 1000.0, C2[3] = {10.0, 0.0, -2.0};
    auto calib = frametest::stereoCalib(C2[0], C2[2], 0.004, cx, cy);
    const double* R = calib.R;
    // Camera-1 coordinates of the point of the plane that pixel i of camera 1 or 2 sees.
    const auto pointOnPlane = [&](bool first, std::size_t i, double P[3]) {
        const double d[3] = {(static_cast<double>(i % w) + ox - cx) / f, (static_cast<double>(i / w) + oy - cy) / f, 1};
        double o[3] = {0, 0, 0}, dir[3] = {d[0], d[1], d[2]};
        for (int k = 0; k < 3 && !first; ++k) {
            o[k] = C2[k];
            dir[k] = R[k] * d[0] + R[3 + k] * d[1] + R[6 + k] * d[2];
        }
        for (int k = 0; k < 3; ++k) P[k] = o[k] + (z0 - o[2]) / dir[2] * dir[k];
    };
    // Projector phase: 16 periods over a little more than the field. Planes 0..6: Gray code of
    // floor(phi / pi), MSB first, bright 200 / dark 40; planes 7..10: 120 + 90 cos(phi - k pi / 2).
    const double halfWidth = 0.6 * w / f * z0;
    std::vector<std::vector<unsigned char>> planes(22, std::vector<unsigned char>(n));
    for (std::size_t i = 0; i < n; ++i)
        for (int cam = 0; cam < 2; ++cam) {
            double P[3];
            pointOnPlane(cam == 0, i, P);
            const double phi = 1.0 + 32 * kPi * (P[0] + halfWidth) / (2 * halfWidth);
            const int H = static_cast<int>(std::floor(phi / kPi)), G = H ^ (H >> 1);
            for (int k = 0; k < 7; ++k) planes[11 * cam + k][i] = ((G >> (6 - k)) & 1) ? 200 : 40;
            for (int j = 0; j < 4; ++j)
                planes[11 * cam + 7 + j][i] = static_cast<unsigned char>(std::lround(120 + 90 * std::cos(phi - (j + 1) * kPi / 2)));
        }
    std::vector<unsigned char*> ptrs;
    for (auto& p : planes) ptrs.push_back(p.data());

    XELORAALGO::XeloraAlgo algo;
    XELORAALGO::tagXeloraAlgoROIInfo roi{ox, oy, w, h};
    algo.SetROIInfo(&roi);
    algo.SetCalibrationInfo(&calib);
    algo.CalKR();
    for (bool first : {true, false}) algo.CalRectifyMap1(first);
    stereotest::BoolMap mask1(n), mask2(n), matchMask(n);
    std::vector<float> mod(n), avg(n), phase1(n), phase2(n), X(n), Y(n), Z(n);
    algo.DecGrayPhase1(mask1.data(), mod.data(), avg.data(), &ptrs[0], false, false, 0, 1.0f, phase1.data());
    algo.DecGrayPhase1(mask2.data(), mod.data(), avg.data(), &ptrs[11], false, false, 0, 1.0f, phase2.data());
    ASSERT_GT(std::min(mask1.countTrue(), mask2.countTrue()), n * 9 / 10);
    algo.InterpCubic1(phase1.data());
    algo.InterpFlag1(mask1.data());
    algo.InterpCubic2(phase2.data());
    algo.InterpFlag2(mask2.data());
    algo.MatchI(mask1.data(), mask2.data(), matchMask.data(), phase1.data(), phase2.data());
    algo.MatchII(mask1.data(), mask2.data(), matchMask.data(), phase1.data(), phase2.data());
    int count = -1;
    algo.CalPoint(matchMask.data(), X.data(), Y.data(), Z.data(), count, false, 2, 5.0f, false, 1.0f);

    EXPECT_EQ(count, static_cast<int>(matchMask.countTrue()));
    EXPECT_GT(count, static_cast<int>(n / 2));
    int withDepth = 0;
    for (std::size_t i = 0; i < n; ++i) {
        EXPECT_TRUE(matchMask[i] || Z[i] == 0.0f) << i;
        if (!matchMask[i] || Z[i] == 0.0f) continue;  // 0: no resampling neighbourhood (grid border)
        ++withDepth;
        // 8-bit fringes leave ~0.01 radian of phase noise: below a millimetre of depth here.
        EXPECT_NEAR(Z[i], z0, 1.5) << i;
    }
    EXPECT_GT(withDepth, count * 8 / 10);
}
