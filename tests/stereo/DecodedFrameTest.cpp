// A whole structured-light frame from pattern images: both cameras' 11-plane Gray-code and
// phase-shift sequences of a plane are decoded, resampled onto the rectified grids, matched and
// triangulated through the public members; the point map must lie on the plane.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "StereoTestUtil.h"
#include "XeloraAlgo.h"

using stereotest::BoolMap;

namespace {

constexpr double kPi = 3.14159265358979323846;

// Pattern planes of one camera: the projector's absolute phase phi of the point each pixel sees,
// as the Gray code of floor(phi / pi) (planes 0..6, most significant bit first; bright 200, dark 40)
// and four fringes 120 + 90 cos(phi - k pi / 2), k = 1 ... 4 (planes 7..10).
struct Patterns {
    std::vector<std::vector<unsigned char>> planes;
    std::vector<unsigned char*> ptrs;
    explicit Patterns(const std::vector<double>& phi) : planes(11, std::vector<unsigned char>(phi.size())) {
        for (std::size_t i = 0; i < phi.size(); ++i) {
            const int H = static_cast<int>(std::floor(phi[i] / kPi));
            const int G = H ^ (H >> 1);
            for (int k = 0; k < 7; ++k) planes[k][i] = ((G >> (6 - k)) & 1) ? 200 : 40;
            for (int j = 0; j < 4; ++j)
                planes[7 + j][i] = static_cast<unsigned char>(std::lround(120 + 90 * std::cos(phi[i] - (j + 1) * kPi / 2)));
        }
        for (auto& p : planes) ptrs.push_back(p.data());
    }
};

}  // namespace

TEST(StereoFrame, DecodedPatternsOfAPlaneEndToEnd) {
    const int w = 128, h = 48, ox = 40, oy = 20;
    stereotest::Rig rig;
    rig.cx = ox + w / 2.0;
    rig.cy = oy + h / 2.0;
    rig.yaw = 0.004;
    const double z0 = 1000.0;
    const std::size_t n = static_cast<std::size_t>(w * h);

    // Projector phase: 16 periods across a little more than camera 1's field.
    const double halfWidth = 0.6 * w / rig.f * z0;
    std::vector<double> phi1(n), phi2(n);
    for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c) {
            double P[3];
            rig.pointOnPlane(true, c + ox, r + oy, z0, 0.0, P);
            phi1[static_cast<std::size_t>(r * w + c)] = 1.0 + 32 * kPi * (P[0] + halfWidth) / (2 * halfWidth);
            rig.pointOnPlane(false, c + ox, r + oy, z0, 0.0, P);
            phi2[static_cast<std::size_t>(r * w + c)] = 1.0 + 32 * kPi * (P[0] + halfWidth) / (2 * halfWidth);
        }
    Patterns cam1(phi1), cam2(phi2);

    XELORAALGO::XeloraAlgo algo;
    XELORAALGO::tagXeloraAlgoROIInfo roi{ox, oy, w, h};
    algo.SetROIInfo(&roi);
    auto calib = rig.calibration();
    algo.SetCalibrationInfo(&calib);
    algo.CalKR();
    algo.CalRectifyMap1(true);
    algo.CalRectifyMap1(false);

    BoolMap mask1(n), mask2(n), matchMask(n);
    std::vector<float> mod(n), avg(n), phase1(n), phase2(n), X(n), Y(n), Z(n);
    algo.DecGrayPhase1(mask1.data(), mod.data(), avg.data(), cam1.ptrs.data(), false, false, 0, 1.0f, phase1.data());
    algo.DecGrayPhase1(mask2.data(), mod.data(), avg.data(), cam2.ptrs.data(), false, false, 0, 1.0f, phase2.data());
    ASSERT_GT(mask1.countTrue(), n * 9 / 10);
    ASSERT_GT(mask2.countTrue(), n * 9 / 10);
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
    // 8-bit fringes leave a phase noise of about 0.01 radian: hundredths of a column, below a
    // millimetre of depth here.
    int withDepth = 0;
    for (std::size_t i = 0; i < n; ++i) {
        if (!matchMask[i]) {
            EXPECT_EQ(Z[i], 0.0f);
            continue;
        }
        if (Z[i] == 0.0f) continue;  // no resampling neighbourhood (grid border)
        ++withDepth;
        EXPECT_NEAR(Z[i], z0, 1.5) << i;
    }
    EXPECT_GT(withDepth, count * 8 / 10);
}
