// lineExtract5 on hand-built rows.
#include <gtest/gtest.h>

#include <vector>

#include "LineTestUtil.h"
#include "laserline/laserline.h"

using namespace XELORAALGO;
using namespace linetest;

namespace {

struct Result {
    Point2dList pts;
    std::vector<char> mask;
};

Result run5(Scene& s, int narrowRunSpan = 0, int rowBandSpan = 0, int offsetY = 0) {
    AlgoEngine e;
    setRoi(e, s.W, s.H, 0, offsetY);
    Result r{Point2dList(s.H), std::vector<char>(s.H, 0)};
    laserline::lineExtract5(e, s.img.data(), r.pts, reinterpret_cast<bool*>(r.mask.data()), narrowRunSpan,
                            rowBandSpan);
    return r;
}

TEST(LineExtract5, CleanStripeIgnoresPixelsOf30AndBelow) {
    Scene s(200, 5);
    for (int r = 0; r < 5; ++r) s.stripe(r, 102);
    s.put(2, 10, {30, 30, 30});  // not lit
    XeloraAlgo h;
    tagXeloraAlgoROIInfo roi{0, 0, 200, 5};
    h.SetROIInfo(&roi);
    Point2dList pts(5);
    bool mask[5] = {};
    h.lineExtract5(s.img.data(), pts, mask, 1, 2, {3, 4}, 0, 300);
    for (int r = 0; r < 5; ++r) {
        EXPECT_EQ(pts[r][0], 102.0) << "row " << r;
        EXPECT_EQ(pts[r][1], static_cast<double>(r));
        EXPECT_TRUE(mask[r]);
    }
}

TEST(LineExtract5, WindowOfHalfWidth3AboutTheBrightestPixel) {
    // cols 50..59: 40 40 40 200 40 40 40 40 40 100; window cols 50..56 -> 53.0 (the whole run or a
    // wider window would be pulled right by col 59).
    Scene s(200, 2);
    for (int r = 0; r < 2; ++r) s.put(r, 50, {40, 40, 40, 200, 40, 40, 40, 40, 40, 100});
    const Result a = run5(s);
    EXPECT_EQ(a.pts[0][0], 53.0);
    EXPECT_EQ(a.pts[1][0], 53.0);
}

TEST(LineExtract5, NarrowRunsOnlyInsideTheirBand) {
    // A 2-pixel run centred at 100.5 in every row; a = narrowRunSpan / 3 (integer division).
    Scene s(200, 3);
    for (int r = 0; r < 3; ++r) s.put(r, 100, {100, 100});
    EXPECT_EQ(run5(s, 153).pts[1][0], 100.5);     // a = 51: 51 < 100.5 < 102
    EXPECT_EQ(run5(s, 152).pts[1][0], 0.0);       // a = 50: 100.5 is not below 100
    EXPECT_EQ(run5(s, 153, 0, 2).pts[1][0], 0.0);  // offsetY 2: 102.5 is not below 102
    EXPECT_EQ(run5(s, 300, 0, -50).pts[1][0], 0.0);  // 50.5 is not above 100
    const Result ok = run5(s, 300, 0, 20);
    EXPECT_EQ(ok.pts[2][0], 100.5);
    EXPECT_TRUE(ok.mask[2]);
}

TEST(LineExtract5, SegmentPeaksWithPlateausAndWithoutPeaks) {
    // Rows 0..2 and 5..6: a clean stripe at 103 (one candidate each; rows 5, 6 form the band, so
    // lineMean = 103). Rows 3 and 4 also hold a reflection (first run, cols 28..32), so the stripe
    // is a second segment there and the forward pass picks it from the row above.
    Scene s(200, 7);
    for (int r : {0, 1, 2, 5, 6}) s.put(r, 101, {40, 50, 100, 50, 40});
    for (int r : {3, 4}) s.stripe(r, 30);
    // Plateau 150 at cols 102..104 (peak index 2, plateau end 4): window indices 0..7:
    // sum w = 685, sum w*x = 70695.
    s.put(3, 100, {40, 60, 150, 150, 150, 60, 40, 35, 35});
    // No local peak: the brightest among indices 1..6 is index 6 (col 106); window indices 3..7:
    // sum w = 450, sum i*w = 2350.
    s.put(4, 100, {40, 50, 60, 70, 80, 90, 100, 110});
    const Result a = run5(s, 0, 15);  // band rows 5..10
    for (int r : {0, 1, 2, 5, 6}) EXPECT_EQ(a.pts[r][0], 103.0) << "row " << r;
    EXPECT_DOUBLE_EQ(a.pts[3][0], 70695.0 / 685.0);
    EXPECT_DOUBLE_EQ(a.pts[4][0], 100.0 + 2350.0 / 450.0);
    for (int r = 0; r < 7; ++r) EXPECT_TRUE(a.mask[r]);
}

TEST(LineExtract5, BandMeanKeepsReflectionsFromSteeringThePasses) {
    // Stripe at column 100 (cols 98..102) in rows 0..10; rows 11..13 show only a reflection at 190,
    // the last row (14) both. ROI offsetY 5, rowBandSpan 30: band = sensor rows 10..20 = ROI rows
    // 5..15. One-candidate rows in the band: 5..10 at 100 and 11..13 at 190, lineMean =
    // (600 + 570) / 9 = 130: the reflection rows, exactly 60 away, are not trusted, so the forward
    // pass reaches row 14 from the stripe and takes it. The backward pass never revisits the last
    // row.
    Scene s(300, 15);
    for (int r = 0; r <= 10; ++r) s.stripe(r, 100);
    s.stripe(14, 100);
    for (int r = 11; r <= 14; ++r) s.stripe(r, 190);
    const Result a = run5(s, 0, 30, 5);
    for (int r = 0; r < 15; ++r) {
        const double want = (r >= 11 && r <= 13) ? 190.0 : 100.0;
        EXPECT_EQ(a.pts[r][0], want) << "row " << r;
    }
    // Without the offset the band is ROI rows 10..20: lineMean = (100 + 570) / 4 = 167.5, the
    // reflection rows are trusted and row 14 follows them.
    const Result b = run5(s, 0, 30, 0);
    EXPECT_EQ(b.pts[14][0], 190.0);
}

TEST(LineExtract5, PassLimits) {
    // Rows 1..9: stripe at 100. Row 3 only has runs at 130 and 30 (forward limit 50 takes 130, the
    // backward pass (limit 10) cannot undo it). Row 0 holds 40 and 108: the backward pass takes 108
    // (within 10 of row 1). In a copy with 112 instead, row 0 stays empty.
    for (int far : {108, 112}) {
        Scene s(300, 10);
        for (int r = 1; r < 10; ++r)
            if (r != 3) s.stripe(r, 100);
        s.stripe(3, 30);
        s.stripe(3, 130);
        s.stripe(0, 40);
        s.stripe(0, far);
        const Result a = run5(s, 0, 15);  // band rows 5..10: lineMean 100
        EXPECT_EQ(a.pts[3][0], 130.0);
        EXPECT_EQ(a.pts[0][0], far == 108 ? 108.0 : 0.0);
        EXPECT_EQ(static_cast<bool>(a.mask[0]), far == 108);
    }
}

}  // namespace
