// Misuse of the imaging members: an ROI too small for the exposure sample windows, pair counts and
// limits outside the range the proposals are defined for, and negative image sizes are refused
// before anything is written (the image form of AutoExposure does not double the exposure times of
// a refused call).
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "ImagingTestUtil.h"
#include "MisuseTestUtil.h"
#include "XeloraAlgo.h"

using XELORAALGO::XeloraAlgo;

namespace {

// Map-form AutoExposure on uniform maps of a w x h ROI.
int mapForm(int w, int h) {
    XeloraAlgo algo;
    imagingtest::setRoi(algo, w, h);
    const std::size_t n = static_cast<std::size_t>(w) * static_cast<std::size_t>(h);
    std::vector<float> g(n, 50.0f), v(n, 100.0f);
    return algo.AutoExposure(10.0, g.data(), g.data(), v.data(), v.data(), 1, 1000, 150);
}

const std::string kWindows =
    " must hold the 50 x 50 sample windows (trunc(size / 8) >= width / 40 and trunc(7 size / 8) - width / 40 + "
    "49 < size), got ";

}  // namespace

// The windows start at trunc(size / 8) - width / 40 and end at trunc(7 size / 8) - width / 40 + 49.
// Width 400 (w / 40 = 10): height 312 ends at 273 - 10 + 49 = 312, one row outside; 313 fits.
// Width 328 (w / 40 = 8) ends at 287 - 8 + 49 = 328, outside; 329 ends at 328, inside (height 400).
TEST(ImagingMisuse, ExposureMapFormNeedsAnRoiHoldingItsWindows) {
    misusetest::expectInvalid([] { mapForm(64, 64); }, "AutoExposure: ROI width" + kWindows + "64");
    misusetest::expectInvalid([] { mapForm(0, 0); }, "AutoExposure: ROI width" + kWindows + "0");
    misusetest::expectInvalid([] { mapForm(400, 312); }, "AutoExposure: ROI height" + kWindows + "312");
    misusetest::expectInvalid([] { mapForm(328, 400); }, "AutoExposure: ROI width" + kWindows + "328");
    // Uniform maps: every sample has level 100, the fit predicts 100, and the exposure scales by
    // target / level: 10 * 150 / 100 = 15.
    EXPECT_EQ(mapForm(400, 313), 15);
    EXPECT_EQ(mapForm(329, 400), 15);
}

TEST(ImagingMisuse, ExposureAndHdrParametersOutsideTheirRange) {
    XeloraAlgo algo;
    imagingtest::setRoi(algo, 4, 3);
    std::vector<std::vector<unsigned char>> caps(3, std::vector<unsigned char>(24));
    for (int k = 0; k < 3; ++k)
        for (int i = 0; i < 24; ++i) caps[k][i] = static_cast<unsigned char>(10 + 30 * k + i);
    auto p = imagingtest::pointers(caps);

    for (int pairs : {0, 4, INT_MIN}) {
        double times[3] = {1.0, 2.0, 3.0};
        misusetest::expectInvalid([&] { algo.AutoExposure(p.data(), times, pairs, 100, 1, 1000, 5); },
                                  "AutoExposure: pairCount must be in [1, 3], got " + std::to_string(pairs));
        EXPECT_EQ(times[0], 1.0);  // not doubled
        EXPECT_EQ(times[2], 3.0);
    }

    struct Case {
        int pairs, divisor, upper;
        std::string what;
    };
    const std::vector<Case> hdr = {
        {0, 2, 1000, "pairCount must be in [1, 3], got 0"},
        {4, 2, 1000, "pairCount must be in [1, 3], got 4"},
        {3, 2, INT_MIN, "upper must be >= -2147483647, got -2147483648"},
    };
    for (const Case& c : hdr) {
        for (auto [name, member] : {std::pair{"AutoHDR1", &XeloraAlgo::AutoHDR1}, std::pair{"AutoHDR2", &XeloraAlgo::AutoHDR2}}) {
            SCOPED_TRACE(name);
            double times[3] = {1.0, 2.0, 3.0};
            int results[2] = {-7, -7};
            misusetest::expectInvalid(
                [&] { (algo.*member)(p.data(), 2, times, c.pairs, c.divisor, 100, 1, c.upper, results); },
                std::string(name) + ": " + c.what);
            EXPECT_EQ(results[0], -7);
            EXPECT_EQ(results[1], -7);
        }
    }
    // The lowest upper limit accepted: the short proposal is the lower limit INT_MIN or upper - 1 =
    // INT_MIN, the long one INT_MIN or INT_MIN + 1, without overflow.
    double times[3] = {1.0, 2.0, 3.0};
    int results[2] = {0, 0};
    algo.AutoHDR1(p.data(), 2, times, 3, 2, 100, INT_MIN, INT_MIN + 1, results);
    EXPECT_EQ(results[0], INT_MIN);
    EXPECT_TRUE(results[1] == INT_MIN || results[1] == INT_MIN + 1) << results[1];
}

TEST(ImagingMisuse, ImageSizesMustNotBeNegative) {
    XeloraAlgo algo;
    std::vector<unsigned char> image(4, 0);
    misusetest::expectInvalid([&] { algo.CalPixelAverage(image.data(), -2, -2, 10); },
                              "CalPixelAverage: width must be >= 0, got -2");
    misusetest::expectInvalid([&] { algo.CalPixelAverage(image.data(), 2, -1, 10); },
                              "CalPixelAverage: height must be >= 0, got -1");
    EXPECT_FALSE(algo.CalPixelAverage(nullptr, 0, 5, 10));  // an empty image is never below the threshold
    EXPECT_TRUE(algo.CalPixelAverage(image.data(), 2, 2, 1));
}
