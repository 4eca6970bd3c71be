// lineExtract5 on hand-built rows.
#include <gtest/gtest.h>

#include "LineTestUtil.h"

using namespace linetest;

namespace {

Result run5(Scene& s, int narrowRunSpan = 0, int rowBandSpan = 0, int offsetY = 0) {
    AlgoEngine e = engine(s.W, s.H, 0, offsetY);
    Result r{Point2dList(s.H), Mask(s.H, 0)};
    laserline::lineExtract5(e, s.img.data(), r.pts, B(r.mask), narrowRunSpan, rowBandSpan);
    return r;
}

TEST(LineExtract5, ThresholdAndWindowOfHalfWidth3AboutTheBrightestPixel) {
    // Row 0: clean stripe at 102 (the 10s are unlit) and three 30s (unlit). Row 1: cols 50..59 =
    // 40 40 40 200 40 40 40 40 40 100, window cols 50..56 -> 53.0 (a wider one is pulled right).
    Scene s(200, 2);
    s.stripe(0, 102);
    s.put(0, 10, {30, 30, 30});
    s.put(1, 50, {40, 40, 40, 200, 40, 40, 40, 40, 40, 100});
    const Result a = run5(s);
    EXPECT_EQ(a.pts[0], (P2{102.0, 0.0}));
    EXPECT_EQ(a.pts[1], (P2{53.0, 1.0}));
    EXPECT_TRUE(a.mask[0] && a.mask[1]);
}

TEST(LineExtract5, NarrowRunsOnlyStrictlyInsideTheirBand) {
    // A 2-pixel run centred at 100.5 in every row; a = narrowRunSpan / 3 (integer division).
    Scene s(200, 3);
    for (int r = 0; r < 3; ++r) s.put(r, 100, {100, 100});
    EXPECT_EQ(run5(s, 153).pts[1][0], 100.5);        // a = 51: 51 < 100.5 < 102
    EXPECT_EQ(run5(s, 152).pts[1][0], 0.0);          // a = 50: 100.5 is not below 100
    EXPECT_EQ(run5(s, 153, 0, 2).pts[1][0], 0.0);    // offsetY 2: 102.5 is not below 102
    EXPECT_EQ(run5(s, 300, 0, -50).pts[1][0], 0.0);  // 50.5 is not above 100
    const Result ok = run5(s, 300, 0, 20);
    EXPECT_EQ(ok.pts[2][0], 100.5);
    EXPECT_TRUE(ok.mask[2]);
}

TEST(LineExtract5, BandMeanKeepsReflectionsFromSteeringThePasses) {
    // Stripe at 100 in rows 0..10 and 14; reflection at 190 in rows 11..14. ROI offsetY 5,
    // rowBandSpan 30: band = ROI rows 5..15, lineMean = (6*100 + 3*190) / 9 = 130, the reflection
    // rows (60 away) are not trusted and row 14 is taken from the stripe.
    Scene s(300, 15);
    for (int r = 0; r <= 10; ++r) s.stripe(r, 100);
    s.stripe(14, 100);
    for (int r = 11; r <= 14; ++r) s.stripe(r, 190);
    const Result a = run5(s, 0, 30, 5);
    for (int r = 0; r < 15; ++r) EXPECT_EQ(a.pts[r][0], (r >= 11 && r <= 13) ? 190.0 : 100.0) << "row " << r;
    // Without the offset the band is rows 10..20, lineMean = 167.5: row 14 follows the reflection.
    EXPECT_EQ(run5(s, 0, 30, 0).pts[14][0], 190.0);
}

}  // namespace
