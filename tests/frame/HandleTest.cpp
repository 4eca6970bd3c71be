// The handle and the engine record: accessors, lookup tables, release.
#include <cmath>
#include <string>

#include <gtest/gtest.h>

#include "FrameTestUtil.h"
#include "XeloraAlgo.h"
#include "frame/AlgoEngine.h"
#include "frame/frame.h"

using namespace XELORAALGO;

TEST(Handle, AccessorsBeforeAndAfterCalKR) {
    XeloraAlgo algo;
    double v[6] = {1, 1, 1, 1, 1, 1};
    algo.GetData(v[0], v[1], v[2], v[3], v[4], v[5]);
    for (double x : v) EXPECT_EQ(x, 0.0);
    EXPECT_EQ(algo.GetROIInfoWidth() | algo.GetROIInfoHeight() | algo.GetROIInfoOffsetX() | algo.GetROIInfoOffsetY(), 0);
    std::string version = "something much longer than eight characters";
    algo.GetSdkVersionString(version);
    EXPECT_EQ(version, "V0.00.02");

    auto r = frametest::roi(64, 48, 16, 32);
    auto c = frametest::stereoCalib();
    c.K1[5] = 500;
    c.K2[0] = 2400; c.K2[4] = 2600; c.K2[2] = 630;
    algo.SetROIInfo(&r);
    algo.SetDownsamplingInfo(2, 0.5f);
    algo.SetCalibrationInfo(&c);
    algo.CalKR();
    EXPECT_EQ(algo.GetROIInfoWidth(), 64);
    EXPECT_EQ(algo.GetROIInfoHeight(), 48);
    EXPECT_EQ(algo.GetROIInfoOffsetX(), 16);
    EXPECT_EQ(algo.GetROIInfoOffsetY(), 32);
    algo.GetData(v[0], v[1], v[2], v[3], v[4], v[5]);  // cx1, pitch, cx2, cy1, focal 1, focal 2
    EXPECT_EQ(v[0], 640.0);
    EXPECT_EQ(v[1], 0.0048);
    EXPECT_EQ(v[2], 630.0);
    EXPECT_EQ(v[3], 500.0);
    EXPECT_DOUBLE_EQ(v[4], 12.0);
    EXPECT_EQ(v[5], (2600.0 + 2400.0) * 0.0048 * 0.5);
    algo.DeleteMemory1();
    algo.DeleteMemory2();
    algo.DeleteMemory2();
}

TEST(Engine, SineCosineAndLookupTables) {
    AlgoEngine e;
    // 1.5707963267949 is not pi/2, so the "zeros" are small non-zero values.
    const double sinExpected[4] = {1.0, -6.982962677686267e-15, -1.0, 1.3965925355372533e-14};
    const double cosExpected[4] = {-3.4914813388431334e-15, -1.0, 1.04744440165294e-14, 1.0};
    for (int k = 0; k < 4; ++k) {
        EXPECT_EQ(e.phaseSin[k], sinExpected[k]) << k;
        EXPECT_EQ(e.phaseCos[k], cosExpected[k]) << k;
    }
    ASSERT_EQ(e.phaseAtanLut.size(), 511u * 511u);
    EXPECT_EQ(lutIndex(255, 0), 255);
    EXPECT_EQ(e.phaseAtanLut[lutIndex(0, 0)], 0.0f);
    EXPECT_EQ(e.modulationLut[lutIndex(0, 0)], 0.0f);
    EXPECT_EQ(e.phaseAtanLut[255], 0.0f);
    EXPECT_EQ(e.modulationLut[255], 127.5f);
    const int last = 511 * 511 - 1;
    EXPECT_EQ(e.phaseAtanLut[last], static_cast<float>(-3.0 * 3.14159265358979323846 / 4.0));
    EXPECT_EQ(e.modulationLut[last], static_cast<float>(std::sqrt(130050.0)) * 0.5f);
    // b is atan2's first argument; the square root is rounded to float before the halving.
    EXPECT_FLOAT_EQ(e.phaseAtanLut[lutIndex(0, 100)], 1.5707964f);
    EXPECT_FLOAT_EQ(e.phaseAtanLut[lutIndex(-1, 0)], 3.1415927f);
    EXPECT_EQ(e.modulationLut[lutIndex(-30, 40)], 25.0f);
    EXPECT_EQ(e.modulationLut[lutIndex(1, 1)], static_cast<float>(std::sqrt(2.0)) * 0.5f);
}

TEST(Engine, ReleasesAreIdempotentAndTargeted) {
    AlgoEngine e;
    releaseMatchTables(e);
    releaseGeometryTables(e);
    e.roi = frametest::roi(32, 24);
    e.calib = frametest::stereoCalib();
    frame::CalKR(e);
    frame::CalRectifyMap1(e, true);
    frame::CalRectifyMap2(e, false);
    e.matchColumn.assign(e.pixelCount(), 1);
    e.subpixelColumn.assign(e.pixelCount(), 1.0f);

    releaseMatchTables(e);
    EXPECT_TRUE(e.matchColumn.empty() && e.subpixelColumn.empty());
    EXPECT_FALSE(e.lineIndexMap.empty() || e.rectMapX1.empty());  // geometry untouched
    releaseGeometryTables(e);
    for (auto* t : {&e.lineIndexMap, &e.rectMapX1, &e.rectMapY1, &e.undistMapX2, &e.undistMapY2})
        EXPECT_TRUE(t->empty());
    for (auto* t : {&e.mappedLineSlope, &e.epipoleLineSlope, &e.mappedLineAngle, &e.epipoleLineAngle})
        EXPECT_TRUE(t->empty());
    EXPECT_EQ(e.phaseAtanLut.size(), 511u * 511u);  // lookup tables live as long as the engine
    releaseGeometryTables(e);
}
