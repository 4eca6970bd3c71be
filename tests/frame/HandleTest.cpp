// The handle and the engine record: construction, accessors, lookup tables, release.
#include <cmath>
#include <string>

#include <gtest/gtest.h>

#include "FrameTestUtil.h"
#include "XeloraAlgo.h"
#include "frame/AlgoEngine.h"
#include "frame/frame.h"

using namespace XELORAALGO;

TEST(Handle, NewHandleReportsZeroesAndTheVersion) {
    XeloraAlgo algo;
    EXPECT_EQ(algo.GetROIInfoWidth(), 0);
    EXPECT_EQ(algo.GetROIInfoHeight(), 0);
    EXPECT_EQ(algo.GetROIInfoOffsetX(), 0);
    EXPECT_EQ(algo.GetROIInfoOffsetY(), 0);
    double v[6] = {1, 1, 1, 1, 1, 1};
    algo.GetData(v[0], v[1], v[2], v[3], v[4], v[5]);
    for (double x : v) EXPECT_EQ(x, 0.0);

    std::string version = "something much longer than eight characters";
    algo.GetSdkVersionString(version);
    EXPECT_EQ(version, "V0.00.02");
    EXPECT_EQ(version.size(), 8u);
}

TEST(Handle, RoiAndDownsamplingAreIndependentSettings) {
    XeloraAlgo algo;
    auto r = frametest::roi(640, 480, 16, 32);
    algo.SetROIInfo(&r);
    algo.SetDownsamplingInfo(2, 0.5f);
    EXPECT_EQ(algo.GetROIInfoWidth(), 640);
    EXPECT_EQ(algo.GetROIInfoHeight(), 480);
    EXPECT_EQ(algo.GetROIInfoOffsetX(), 16);
    EXPECT_EQ(algo.GetROIInfoOffsetY(), 32);
}

TEST(Handle, GetDataReturnsTheGeometryOfTheLastCalKRInItsArgumentOrder) {
    XeloraAlgo algo;
    auto r = frametest::roi(64, 48);
    auto c = frametest::stereoCalib();
    c.K1[0] = 2500; c.K1[4] = 2500; c.K1[2] = 640; c.K1[5] = 500;
    c.K2[0] = 2400; c.K2[4] = 2600; c.K2[2] = 630;
    algo.SetROIInfo(&r);
    algo.SetCalibrationInfo(&c);
    double a, b, cc, d, e, f;
    algo.GetData(a, b, cc, d, e, f);
    EXPECT_EQ(e, 0.0);  // nothing derived before CalKR
    algo.CalKR();
    algo.GetData(a, b, cc, d, e, f);
    EXPECT_EQ(a, 640.0);      // cx1
    EXPECT_EQ(b, 0.0048);     // pixel pitch
    EXPECT_EQ(cc, 630.0);     // cx2
    EXPECT_EQ(d, 500.0);      // cy1
    EXPECT_DOUBLE_EQ(e, 12.0);  // (2500 + 2500) * 0.0048 * 0.5
    EXPECT_EQ(f, (2600.0 + 2400.0) * 0.0048 * 0.5);
}

TEST(Engine, SineAndCosineUseTheLibraryQuarterPeriodConstant) {
    AlgoEngine e;
    // 1.5707963267949 is not pi/2, so the "zeros" are small non-zero values.
    const double sinExpected[4] = {1.0, -6.982962677686267e-15, -1.0, 1.3965925355372533e-14};
    const double cosExpected[4] = {-3.4914813388431334e-15, -1.0, 1.04744440165294e-14, 1.0};
    for (int k = 0; k < 4; ++k) {
        EXPECT_EQ(e.phaseSin[k], sinExpected[k]) << k;
        EXPECT_EQ(e.phaseCos[k], cosExpected[k]) << k;
    }
}

TEST(Engine, LookupTablesFollowTheirIndexConvention) {
    AlgoEngine e;
    ASSERT_EQ(e.phaseAtanLut.size(), 511u * 511u);
    ASSERT_EQ(e.modulationLut.size(), 511u * 511u);
    EXPECT_EQ(lutIndex(255, 255), 0);
    EXPECT_EQ(lutIndex(255, 0), 255);
    EXPECT_EQ(lutIndex(-255, -255), 511 * 511 - 1);

    const int centre = lutIndex(0, 0);
    EXPECT_EQ(e.phaseAtanLut[centre], 0.0f);
    EXPECT_EQ(e.modulationLut[centre], 0.0f);
    EXPECT_EQ(e.phaseAtanLut[255], 0.0f);
    EXPECT_EQ(e.modulationLut[255], 127.5f);
    const int last = 511 * 511 - 1;
    EXPECT_EQ(e.phaseAtanLut[last], static_cast<float>(-3.0 * 3.14159265358979323846 / 4.0));
    EXPECT_EQ(e.modulationLut[last], static_cast<float>(std::sqrt(130050.0)) * 0.5f);

    // b is atan2's first argument: a = 0, b = 100 is +pi/2, a = 100, b = 0 is 0.
    EXPECT_FLOAT_EQ(e.phaseAtanLut[lutIndex(0, 100)], 1.5707964f);
    EXPECT_EQ(e.phaseAtanLut[lutIndex(100, 0)], 0.0f);
    EXPECT_FLOAT_EQ(e.phaseAtanLut[lutIndex(-1, 0)], 3.1415927f);
    // 3-4-5 triangle: modulation 0.5 * 5 whatever the signs.
    EXPECT_EQ(e.modulationLut[lutIndex(-30, 40)], 25.0f);
    EXPECT_EQ(e.modulationLut[lutIndex(40, -30)], 25.0f);
    // The square root is rounded to float before the halving: sqrt(2) * 0.5 in float arithmetic.
    EXPECT_EQ(e.modulationLut[lutIndex(1, 1)], static_cast<float>(std::sqrt(2.0)) * 0.5f);
}

TEST(Engine, ReleasesAreIdempotentAndTargeted) {
    AlgoEngine e;
    releaseMatchTables(e);
    releaseGeometryTables(e);
    releaseGeometryTables(e);
    EXPECT_TRUE(e.lineIndexMap.empty());

    e.roi = frametest::roi(32, 24);
    e.calib = frametest::stereoCalib();
    frame::CalKR(e);
    frame::CalRectifyMap1(e, true);
    frame::CalRectifyMap2(e, false);
    e.matchColumn.assign(e.pixelCount(), 1);
    e.subpixelColumn.assign(e.pixelCount(), 1.0f);

    releaseMatchTables(e);
    EXPECT_TRUE(e.matchColumn.empty());
    EXPECT_TRUE(e.subpixelColumn.empty());
    EXPECT_FALSE(e.lineIndexMap.empty());  // geometry is not touched by the match release
    EXPECT_FALSE(e.rectMapX1.empty());

    releaseGeometryTables(e);
    for (auto* t : {&e.lineIndexMap, &e.rectMapX1, &e.rectMapY1, &e.undistMapX2, &e.undistMapY2})
        EXPECT_TRUE(t->empty());
    for (auto* t : {&e.mappedLineSlope, &e.epipoleLineSlope, &e.mappedLineAngle, &e.epipoleLineAngle})
        EXPECT_TRUE(t->empty());
    EXPECT_EQ(e.phaseAtanLut.size(), 511u * 511u);  // lookup tables live as long as the engine
    releaseGeometryTables(e);
}

TEST(Handle, FullLifecycleThroughThePublicInterface) {
    XeloraAlgo algo;
    auto r = frametest::roi(40, 30, 100, 50);
    auto c = frametest::stereoCalib();
    algo.SetROIInfo(&r);
    algo.SetCalibrationInfo(&c);
    algo.CalKR();
    for (bool cam : {true, false}) {
        algo.CalRectifyMap1(cam);
        algo.CalRectifyMap2(cam);
    }
    algo.DeleteMemory1();
    algo.DeleteMemory2();
    algo.DeleteMemory2();
    algo.CalKR();  // tables can be built again after a release
    algo.CalRectifyMap1(true);
}
