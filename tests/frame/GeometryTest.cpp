// Calibration geometry (CalKR) and the rectification / undistortion maps.
#include <cmath>
#include <vector>

#include <gtest/gtest.h>

#include "FrameTestUtil.h"
#include "frame/AlgoEngine.h"
#include "frame/frame.h"
#include "numerics/numerics.h"

using namespace XELORAALGO;

namespace {

AlgoEngine makeEngine(int w, int h, int ox = 0, int oy = 0) {
    AlgoEngine e;
    e.roi = frametest::roi(w, h, ox, oy);
    e.calib = frametest::stereoCalib();
    return e;
}

}  // namespace

TEST(CalKR, FocalLengthsEpipolesAndBucketWidth) {
    AlgoEngine e = makeEngine(1280, 4);
    e.calib.Tinv[0] = -100; e.calib.Tinv[1] = 0; e.calib.Tinv[2] = 1;
    frame::CalKR(e);
    // Multiplied left to right, (2500 + 2500) * 0.0048 * 0.5 is 11.999999999999998, one ulp
    // below 12; the product taken in another order would be exactly 12.
    EXPECT_EQ(e.focal1Mm, 11.999999999999998);
    EXPECT_DOUBLE_EQ(e.focal1Mm, 12.0);
    EXPECT_EQ(e.pixelPitch, 0.0048);
    EXPECT_DOUBLE_EQ(e.epipole1X, -249360.0);  // -100 * 12 / 0.0048 + 640
    EXPECT_EQ(e.epipole1X, (-100.0 / 1.0 * e.focal1Mm) / 0.0048 + 640.0);
    EXPECT_EQ(e.epipole1Y, 512.0);
    EXPECT_EQ(e.phaseBucketWidth, 0.31415926535898003);
    // Epipole 2 is T projected with camera 2's intrinsics.
    const auto& T = e.calib.T;
    EXPECT_DOUBLE_EQ(e.epipole2X, T[0] / T[2] * 2500.0 + 640.0);
    EXPECT_DOUBLE_EQ(e.epipole2Y, T[1] / T[2] * 2500.0 + 512.0);
}

TEST(CalKR, PixelOnTheHorizontalThroughEpipoleOneGetsSlopeAOverD) {
    AlgoEngine e = makeEngine(16, 600);
    frame::CalKR(e);
    ASSERT_EQ(e.epipole1Y, 512.0);  // Tinv[1] = 0
    const double* R = e.calib.R;
    const double* T = e.calib.T;
    const double A = R[6] * T[1] - T[2] * R[3];
    const double D = R[6] * T[0] - T[2] * R[0];
    for (int c = 0; c < 16; ++c) {
        const std::size_t i = 512u * 16u + c;
        EXPECT_EQ(e.mappedLineSlope[i], static_cast<float>(A) / static_cast<float>(D)) << c;
        EXPECT_EQ(e.mappedLineAngle[i], XELORAALGO::num::atanf(e.mappedLineSlope[i]));
    }
}

TEST(CalKR, SensorPositionsAreFloatSumsOfStepAndOffset) {
    // At column 3000 with step 2 and offset 0.3 the float sum 6000 + 0.3f differs from the double
    // sum; the epipolar slope must be formed from the float sum and divided in float.
    AlgoEngine e = makeEngine(3001, 2, 7, 3);
    e.downsampleStep = 2;
    e.downsampleOffset = 0.3f;
    frame::CalKR(e);
    const int c = 3000, r = 1;
    const std::size_t i = static_cast<std::size_t>(r) * 3001 + c;
    const double xsFloat = static_cast<double>(6000.0f + 0.3f);
    const double ysFloat = static_cast<double>(2.0f + 0.3f);
    const float expected = static_cast<float>((e.epipole2Y - ysFloat) - 3) /
                           static_cast<float>((e.epipole2X - xsFloat) - 7);
    EXPECT_EQ(e.epipoleLineSlope[i], expected);
    const double xsDouble = 6000.0 + static_cast<double>(0.3f);
    ASSERT_NE(xsFloat, xsDouble);  // the case really distinguishes the two sums
    EXPECT_EQ(e.lineIndexMap[i], (static_cast<double>(XELORAALGO::num::atanf(expected)) - e.angleMin) / e.angleStep);
}

TEST(CalKR, LineIndicesAdvanceAboutOneLinePerRow) {
    // With the epipole far to the side, one row down is about one epipolar line further.
    AlgoEngine e = makeEngine(200, 100);
    frame::CalKR(e);
    const double d = e.lineIndexMap[99 * 200 + 100] - e.lineIndexMap[0 * 200 + 100];
    EXPECT_GT(std::fabs(d), 80.0);
    EXPECT_LT(std::fabs(d), 120.0);
}

TEST(RectifyMaps, UndistortionMapWithoutDistortionIsTheIdentityWhateverTheStepAndOffset) {
    for (int step : {1, 2}) {
        AlgoEngine e = makeEngine(24, 12, step == 1 ? 0 : 37, step == 1 ? 0 : 11);
        e.downsampleStep = step;
        e.downsampleOffset = 0.5f;  // not used by the undistortion map
        for (bool cam : {true, false}) {
            frame::CalRectifyMap2(e, cam);
            const auto& mx = cam ? e.undistMapX1 : e.undistMapX2;
            const auto& my = cam ? e.undistMapY1 : e.undistMapY2;
            for (int r = 0; r < 12; ++r)
                for (int c = 0; c < 24; ++c) {
                    EXPECT_NEAR(mx[r * 24 + c], c, 1e-9);
                    EXPECT_NEAR(my[r * 24 + c], r, 1e-9);
                }
        }
    }
}

TEST(RectifyMaps, RectificationMapWithoutDistortionFollowsTheLineIndex) {
    AlgoEngine e = makeEngine(30, 20);
    e.downsampleOffset = 0.25f;
    frame::CalKR(e);
    frame::CalRectifyMap1(e, true);
    for (int r = 0; r < 20; ++r)
        for (int c = 0; c < 30; ++c) {
            const std::size_t i = r * 30 + c;
            EXPECT_NEAR(e.rectMapX1[i], c + 0.25, 1e-9);
            EXPECT_NEAR(e.rectMapY1[i], e.lineIndexMap[i], 1e-9);
        }
    // Camera 2 takes its row from the mapped line angle.
    frame::CalRectifyMap1(e, false);
    for (std::size_t i : {0u, 315u, 599u}) {
        const double L = (static_cast<double>(e.mappedLineAngle[i]) - e.angleMin) / e.angleStep;
        EXPECT_NEAR(e.rectMapY2[i], L, 1e-9);
    }
    // Step 2, offset 0.5 and an ROI offset: sensor column 2c + 0.5 + 10, less 10, over 2.
    e.roi.offsetX = 10;
    e.downsampleStep = 2;
    e.downsampleOffset = 0.5f;
    frame::CalKR(e);
    frame::CalRectifyMap1(e, true);
    for (int col : {0, 7, 29}) EXPECT_NEAR(e.rectMapX1[5 * 30 + col], col + 0.25, 1e-9);
}

TEST(RectifyMaps, K3IsUsedByTheRectificationMapOnly) {
    AlgoEngine e = makeEngine(40, 30);
    e.calib.D1[4] = 0.5;  // k3 only
    frame::CalKR(e);
    frame::CalRectifyMap2(e, true);
    frame::CalRectifyMap1(e, true);
    double maxUndist = 0, maxRect = 0;
    for (int r = 0; r < 30; ++r)
        for (int c = 0; c < 40; ++c) {
            const std::size_t i = r * 40 + c;
            maxUndist = std::max(maxUndist, std::fabs(e.undistMapX1[i] - c));
            maxRect = std::max(maxRect, std::fabs(e.rectMapX1[i] - c));
        }
    EXPECT_LT(maxUndist, 1e-9);
    EXPECT_GT(maxRect, 1e-3);  // the far corner (x ~ -0.25) moves by k3 * r^6 * x * fx
}

TEST(RectifyMaps, DistortionModelOfBothCameras) {
    // Camera 2 gets its own intrinsics and all five coefficients; the map is the distorted position
    // of the undistorted sensor pixel, in ROI units.
    AlgoEngine e = makeEngine(50, 40, 300, 200);
    e.downsampleStep = 2;
    auto& c = e.calib;
    c.K2[0] = 2300; c.K2[4] = 2350; c.K2[2] = 610; c.K2[5] = 530;
    const double k1 = -0.2, k2 = 0.15, p1 = 0.002, p2 = -0.003;
    c.D2[0] = k1; c.D2[1] = k2; c.D2[2] = p1; c.D2[3] = p2; c.D2[4] = 0.7;
    frame::CalRectifyMap2(e, false);
    for (int r : {0, 17, 39})
        for (int col : {0, 23, 49}) {
            const double X = 2 * col + 300, Y = 2 * r + 200;
            const double x = (X - 610) / 2300, y = (Y - 530) / 2350;
            const double r2 = x * x + y * y;
            const double rad = 1 + k1 * r2 + k2 * r2 * r2;  // k3 is not part of this model
            const double xd = x * rad + 2 * p1 * x * y + p2 * (r2 + 2 * x * x);
            const double yd = y * rad + p1 * (r2 + 2 * y * y) + 2 * p2 * x * y;
            const std::size_t i = r * 50 + col;
            EXPECT_NEAR(e.undistMapX2[i], (xd * 2300 + 610 - 300) / 2, 1e-9);
            EXPECT_NEAR(e.undistMapY2[i], (yd * 2350 + 530 - 200) / 2, 1e-9);
        }
    // Camera 1 is untouched by camera 2's coefficients.
    frame::CalRectifyMap2(e, true);
    EXPECT_NEAR(e.undistMapX1[0], 0.0, 1e-9);
}
