// Misuse of the laser-line members: lists shorter than the ROI height, match indices outside the
// second list (read only for rows whose mask is set), and a smoothing window far larger than any
// list. The errors name the list or the row; a refused call writes nothing.
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "MisuseTestUtil.h"
#include "XeloraAlgo.h"

using XELORAALGO::Point2dList;
using XELORAALGO::Point3dList;
using XELORAALGO::XeloraAlgo;

namespace {

constexpr int kH = 5;

struct Profile {
    XeloraAlgo algo;
    Point2dList l1, l2;
    bool mask[kH] = {true, true, false, true, true};
    std::vector<int> matches = {0, 1, 2, 3, 4};
    Profile() {
        XELORAALGO::tagXeloraAlgoROIInfo roi{0, 0, 40, kH};
        algo.SetROIInfo(&roi);
        XELORAALGO::tagXeloraAlgoCalibrationInfo c{};
        c.K1[0] = c.K1[4] = c.K2[0] = c.K2[4] = 2000.0;
        c.K1[2] = c.K2[2] = 20.0;
        c.RLine[0] = c.RLine[4] = c.RLine[8] = 1.0;
        c.TLine[0] = -100.0;
        algo.SetCalibrationInfo(&c);
        for (int i = 0; i < kH; ++i) {
            l1.push_back({10.0 + i, static_cast<double>(i)});
            l2.push_back({14.0 + 0.5 * i, static_cast<double>(i)});
        }
    }
};

const Point3dList kSentinel = {{1.0, 2.0, 3.0}};

}  // namespace

TEST(LaserlineMisuse, MatchIndicesOutsideTheSecondListAreRefused) {
    for (int bad : {5, -1, INT_MIN, INT_MAX}) {
        for (int row : {0, 4}) {
            Profile p;
            p.matches[static_cast<std::size_t>(row)] = bad;
            const std::string what = "matches[" + std::to_string(row) + "] must be in [0, 4], got " + std::to_string(bad);
            Point3dList cloud = kSentinel, depth = kSentinel;
            misusetest::expectInvalid([&] { p.algo.Calpoint(p.l1, p.l2, p.mask, p.matches, cloud, depth); },
                                      "Calpoint: " + what);
            misusetest::expectInvalid([&] { p.algo.Calpoint_smooth(p.l1, p.l2, 2, p.mask, p.matches, cloud); },
                                      "Calpoint_smooth: " + what);
            EXPECT_EQ(cloud, kSentinel);
            EXPECT_EQ(depth, kSentinel);
        }
    }
    // A row whose mask is clear is not triangulated, so its match entry is never read: any value gives
    // the same profile.
    Profile a, b;
    a.matches[2] = INT_MIN;
    Point3dList ca, da, cb, db;
    a.algo.Calpoint(a.l1, a.l2, a.mask, a.matches, ca, da);
    b.algo.Calpoint(b.l1, b.l2, b.mask, b.matches, cb, db);
    EXPECT_EQ(ca, cb);
    EXPECT_EQ(da, db);
    ASSERT_EQ(ca.size(), static_cast<std::size_t>(kH));
    EXPECT_EQ(ca[2], (std::array<double, 3>{0.0, 0.0, 0.0}));
}

TEST(LaserlineMisuse, ListsShorterThanTheRoiHeightAreRefused) {
    Profile p;
    Point2dList shortList(3, {0.0, 0.0});
    std::vector<int> shortMatches(2, 0);
    Point3dList cloud = kSentinel, depth = kSentinel;
    const std::string height = " must be >= height 5, got ";
    misusetest::expectInvalid([&] { p.algo.Calpoint(shortList, p.l2, p.mask, p.matches, cloud, depth); },
                              "Calpoint: points1.size()" + height + "3");
    misusetest::expectInvalid([&] { p.algo.Calpoint_smooth(p.l1, p.l2, 2, p.mask, shortMatches, cloud); },
                              "Calpoint_smooth: matches.size()" + height + "2");
    EXPECT_EQ(cloud, kSentinel);

    bool mask2[kH] = {true, true, true, true, true};
    const bool before[kH] = {true, true, false, true, true};
    misusetest::expectInvalid([&] { p.algo.MatchLine(p.l1, shortList, p.mask, mask2, p.matches); },
                              "MatchLine: points2.size()" + height + "3");
    misusetest::expectInvalid([&] { p.algo.MatchLine(p.l1, p.l2, p.mask, mask2, shortMatches); },
                              "MatchLine: matches.size()" + height + "2");
    for (int i = 0; i < kH; ++i) EXPECT_EQ(p.mask[i], before[i]) << i;

    std::vector<unsigned char> image(40 * kH, 0);
    bool rowMask[kH] = {};
    misusetest::expectInvalid(
        [&] { p.algo.lineExtract4(false, image.data(), shortList, rowMask, 0, 0, 0, 0, 0, {0, 0}); },
        "lineExtract4: points.size()" + height + "3");
    misusetest::expectInvalid([&] { p.algo.lineExtract5(image.data(), shortList, rowMask, 0, 0, {0, 0}, 0, 0); },
                              "lineExtract5: points.size()" + height + "3");
    EXPECT_EQ(shortList, Point2dList(3, {0.0, 0.0}));
}

// A Gaussian of 2 * halfWindow + 1 taps needs that many non-zero entries; with fewer the list is
// unchanged, also for windows whose kernel would not fit in memory.
TEST(LaserlineMisuse, GaussianWindowBeyondTheListChangesNothingAndAllocatesNothing) {
    Profile p;
    for (int half : {INT_MAX, 1 << 30, 3, -1, INT_MIN}) {
        Point2dList list = p.l1;
        EXPECT_NO_THROW(p.algo.Gaussianfilter(list, half)) << half;
        EXPECT_EQ(list, p.l1) << half;
    }
    Point2dList list = p.l1;  // five entries, two taps either side: smoothed
    list[2][0] = 13.0;
    p.algo.Gaussianfilter(list, 2);
    EXPECT_NE(list[2][0], 13.0);
}
