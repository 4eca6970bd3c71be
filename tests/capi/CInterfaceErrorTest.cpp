// The library's misuse errors through the C interface: a missing or stale set-up arrives as
// XELORA_ERROR_LOGIC, a parameter outside its range as XELORA_ERROR_INVALID_ARGUMENT, each with the
// library's own message in xelora_last_error(), and a refused call writes none of its outputs.
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "xelora_c.h"

namespace {

constexpr int kW = 8, kH = 6;
constexpr std::size_t kN = kW * kH;

// A handle with an 8 x 6 ROI and a plain stereo calibration (focal 1000 px, 100 mm baseline).
struct Handle {
    xelora_handle* h = nullptr;
    Handle() {
        EXPECT_EQ(xelora_create(&h), XELORA_OK);
        xelora_roi_info roi{0, 0, kW, kH};
        EXPECT_EQ(xelora_SetROIInfo(h, &roi), XELORA_OK);
        xelora_calibration_info c{};
        for (double* K : {c.K1, c.K2}) {
            K[0] = K[4] = 1000.0;
            K[2] = kW / 2.0;
            K[5] = kH / 2.0;
            K[8] = 1.0;
        }
        c.R[0] = c.R[4] = c.R[8] = 1.0;
        c.T[0] = -100.0;
        EXPECT_EQ(xelora_SetCalibrationInfo(h, &c), XELORA_OK);
    }
    ~Handle() { xelora_destroy(h); }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
};

// Expects `status` and the failure text `message` on this thread.
void expectFailure(int got, int status, const std::string& message) {
    EXPECT_STREQ(xelora_status_name(got), xelora_status_name(status));
    EXPECT_EQ(std::string(xelora_last_error()), message);
}

}  // namespace

// Rectification maps before CalKR, resampling before the maps, and both again once the downsampling
// or a release made the tables stale.
TEST(CInterfaceErrors, MissingOrStaleSetUpIsALogicError) {
    Handle a;
    std::vector<float> map(kN, 7.0f);
    const std::vector<float> untouched = map;

    expectFailure(xelora_CalRectifyMap1(a.h, true), XELORA_ERROR_LOGIC,
                  "CalRectifyMap1: CalKR has not been run for this ROI");
    expectFailure(xelora_InterpCubic1(a.h, map.data()), XELORA_ERROR_LOGIC,
                  "InterpCubic1: CalRectifyMap1(true) has not been run for this ROI");
    EXPECT_EQ(map, untouched);

    ASSERT_EQ(xelora_CalKR(a.h), XELORA_OK);
    ASSERT_EQ(xelora_CalRectifyMap1(a.h, true), XELORA_OK);
    ASSERT_EQ(xelora_InterpCubic1(a.h, map.data()), XELORA_OK);

    // A new downsampling makes the geometry and the map stale until they are rebuilt.
    std::vector<float> again(kN, 7.0f);
    ASSERT_EQ(xelora_SetDownsamplingInfo(a.h, 2, 0.0f), XELORA_OK);
    expectFailure(xelora_InterpCubic1(a.h, again.data()), XELORA_ERROR_LOGIC,
                  "InterpCubic1: CalRectifyMap1(true) has not been run for this ROI");
    expectFailure(xelora_CalRectifyMap1(a.h, false), XELORA_ERROR_LOGIC,
                  "CalRectifyMap1: CalKR has not been run for this ROI");
    EXPECT_EQ(again, untouched);

    ASSERT_EQ(xelora_SetDownsamplingInfo(a.h, 1, 0.0f), XELORA_OK);  // back to what the tables were built for
    EXPECT_EQ(xelora_InterpCubic1(a.h, again.data()), XELORA_OK);
    EXPECT_EQ(again, map);

    ASSERT_EQ(xelora_DeleteMemory2(a.h), XELORA_OK);
    expectFailure(xelora_InterpCubic1(a.h, again.data()), XELORA_ERROR_LOGIC,
                  "InterpCubic1: CalRectifyMap1(true) has not been run for this ROI");
}

TEST(CInterfaceErrors, ParametersOutsideTheirRangeAreInvalidArguments) {
    Handle a;

    // A negative neighbourhood radius: the point map and its mask are left as they were.
    std::vector<float> X(kN, 1.0f), Y(kN, 2.0f), Z(kN, 500.0f);
    bool mask[kN];
    for (bool& m : mask) m = true;
    expectFailure(xelora_Outlierdetect(a.h, X.data(), Y.data(), Z.data(), mask, INT_MIN, 5.0f),
                  XELORA_ERROR_INVALID_ARGUMENT, "Outlierdetect: radius must be >= 0, got -2147483648");
    EXPECT_EQ(Z, std::vector<float>(kN, 500.0f));
    for (bool m : mask) EXPECT_TRUE(m);

    // The map form of AutoExposure on an ROI too small for its 50 x 50 sample windows.
    int result = -1;
    std::vector<float> g(kN, 50.0f), v(kN, 100.0f);
    expectFailure(xelora_AutoExposureMaps(a.h, 10.0, g.data(), g.data(), v.data(), v.data(), 1, 1000, 150, &result),
                  XELORA_ERROR_INVALID_ARGUMENT,
                  "AutoExposure: ROI width must hold the 50 x 50 sample windows (trunc(size / 8) >= width / 40 and "
                  "trunc(7 size / 8) - width / 40 + 49 < size), got 8");
    EXPECT_EQ(result, -1);

    // A step whose sensor positions leave int: 2^30 * 7 columns.
    ASSERT_EQ(xelora_SetDownsamplingInfo(a.h, 1 << 30, 0.0f), XELORA_OK);
    expectFailure(xelora_CalKR(a.h), XELORA_ERROR_INVALID_ARGUMENT,
                  "CalKR: downsampleStep * (width - 1) must be in [-2147483648, 2147483647], got 7516192768");

    // A match row outside the second list, for a row whose mask is set: no profile is written.
    std::vector<double> l1(2 * kH), l2(2 * kH);
    for (int i = 0; i < kH; ++i) {
        l1[2 * i] = 3.0 + i;
        l2[2 * i] = 4.0 + i;
        l1[2 * i + 1] = l2[2 * i + 1] = i;
    }
    bool rows[kH] = {true, true, true, true, true, true};
    int matches[kH] = {0, 1, 2, kH, 4, 5};
    std::vector<double> cloud(3 * kH, -1.0), depth(3 * kH, -1.0);
    std::size_t cloudCount = 99, depthCount = 99;
    expectFailure(xelora_Calpoint(a.h, l1.data(), kH, l2.data(), kH, rows, matches, kH, cloud.data(), kH,
                                  &cloudCount, depth.data(), kH, &depthCount),
                  XELORA_ERROR_INVALID_ARGUMENT, "Calpoint: matches[3] must be in [0, 5], got 6");
    EXPECT_EQ(cloud, std::vector<double>(3 * kH, -1.0));
    EXPECT_EQ(depth, std::vector<double>(3 * kH, -1.0));

    // The same call with the index inside the list succeeds; the text of the last failure stays.
    matches[3] = 3;
    EXPECT_EQ(xelora_Calpoint(a.h, l1.data(), kH, l2.data(), kH, rows, matches, kH, cloud.data(), kH, &cloudCount,
                              depth.data(), kH, &depthCount),
              XELORA_OK);
    EXPECT_EQ(cloudCount, static_cast<std::size_t>(kH));
    EXPECT_EQ(std::string(xelora_last_error()), "Calpoint: matches[3] must be in [0, 5], got 6");
}
