// GetCloudPoint_New_600_1 (stripe tracker) and GetCloudPoint_New_600_2 (blur/threshold/linking).
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "LineTestUtil.h"
#include "laserline/laserline.h"

using namespace XELORAALGO;
using namespace linetest;

namespace {

Point2dList cloud1(Scene& s, Point2dList init = {}) {
    AlgoEngine e;
    setRoi(e, s.W, s.H);
    Point2dList pts = init;
    laserline::GetCloudPoint_New_600_1(e, s.img.data(), pts);
    return pts;
}

Point2dList cloud2(Scene& s) {
    AlgoEngine e;
    setRoi(e, s.W, s.H);
    Point2dList pts{{7, 7}};
    laserline::GetCloudPoint_New_600_2(e, s.img.data(), pts);
    return pts;
}

// Symmetric 5-pixel stripe 10, 100, 200, 100, 10: weights 0, 39, 156, 39, 0, centre exactly c.

// ---- GetCloudPoint_New_600_1 ----

TEST(GetCloudPoint_New_600_1, DarkImageGivesEmptyRows) {
    Scene s(80, 12);
    for (auto& v : s.img) v = 73;  // 73 * 73 / 255 = 20: no weight
    const Point2dList pts = cloud1(s, {{1, 1}, {2, 2}, {3, 3}});
    ASSERT_EQ(pts.size(), 12u);
    for (const auto& p : pts) EXPECT_EQ(p, (std::array<double, 2>{0, 0}));
}

TEST(GetCloudPoint_New_600_1, LosesTheStripeAndFindsItAgain) {
    // Stripe at 40 in rows 1..20, nothing in rows 21..40, stripe at 60 in rows 41..58 (H = 60).
    Scene s(100, 60);
    for (int r = 1; r <= 20; ++r) s.stripe(r, 40);
    for (int r = 41; r <= 58; ++r) s.stripe(r, 60);
    XeloraAlgo h;
    tagXeloraAlgoROIInfo roi{0, 0, 100, 60};
    h.SetROIInfo(&roi);
    Point2dList pts;
    h.GetCloudPoint_New_600_1(s.img.data(), pts);
    ASSERT_EQ(pts.size(), 60u);
    for (int r = 0; r < 60; ++r) {
        if (r >= 1 && r <= 20) {
            EXPECT_EQ(pts[r], (std::array<double, 2>{40.0, static_cast<double>(r)})) << "row " << r;
        } else if (r >= 41 && r <= 58) {
            EXPECT_EQ(pts[r], (std::array<double, 2>{60.0, static_cast<double>(r)})) << "row " << r;
        } else {
            EXPECT_EQ(pts[r], (std::array<double, 2>{0.0, 0.0})) << "row " << r;
        }
    }
}

TEST(GetCloudPoint_New_600_1, FollowsAStripeDriftingLeft) {
    // The stripe moves one column left every second row: where the left neighbour is brighter the
    // tracker re-centres and moves its column along.
    Scene s(120, 62);
    auto col = [](int r) { return 80 - (r - 1) / 2; };
    for (int r = 1; r <= 60; ++r) s.stripe(r, col(r));
    const Point2dList pts = cloud1(s);
    for (int r = 1; r <= 60; ++r) EXPECT_EQ(pts[r][0], static_cast<double>(col(r))) << "row " << r;
}

TEST(GetCloudPoint_New_600_1, OnlyColumnsLeftOfTheScanBoundAreExamined) {
    // W = 100: columns are scanned while x < 100 - 30.
    for (int c : {66, 75}) {
        Scene s(100, 20);
        for (int r = 1; r <= 18; ++r) s.stripe(r, c);
        const Point2dList pts = cloud1(s);
        // At 66 the stripe's first weighted column (65) lies inside the bound; at 75 nothing does.
        EXPECT_EQ(pts[5][0], c == 66 ? 66.0 : 0.0) << "stripe at " << c;
    }
    // A ROI of 32 columns scans only column 1 (skipped in search mode): no line at all.
    Scene narrow(32, 10);
    for (int r = 1; r <= 8; ++r) narrow.stripe(r, 10);
    for (const auto& p : cloud1(narrow)) EXPECT_EQ(p[0], 0.0);
}

// ---- GetCloudPoint_New_600_2 ----

TEST(GetCloudPoint_New_600_2, FirstAndLastRowsAndSize) {
    Scene s(80, 40);
    for (int r = 0; r < 40; ++r) s.stripe(r, 40);
    XeloraAlgo h;
    tagXeloraAlgoROIInfo roi{0, 0, 80, 40};
    h.SetROIInfo(&roi);
    Point2dList pts{{1, 1}};
    h.GetCloudPoint_New_600_2(s.img.data(), pts);
    ASSERT_EQ(pts.size(), 40u);
    EXPECT_EQ(pts[0], (std::array<double, 2>{0, 0}));
    EXPECT_EQ(pts[39], (std::array<double, 2>{0, 39}));
    for (int r = 1; r <= 38; ++r) {
        EXPECT_NEAR(pts[r][0], 40.0, 0.1) << "row " << r;
        EXPECT_EQ(pts[r][1], static_cast<double>(r));
    }
}

TEST(GetCloudPoint_New_600_2, ChainsOf30RowsOrFewerAreRemoved) {
    // A stripe over the full height H: the backward linking pass ends at row 0, whose reference
    // is never valid, so its chain (rows H-2 .. 0, H - 1 entries) breaks there. It is removed when
    // it holds 30 rows or fewer (H = 31) and kept from 31 rows on (H = 32).
    for (int H : {31, 32}) {
        Scene s(80, H);
        for (int r = 0; r < H; ++r) s.stripe(r, 40);
        const Point2dList pts = cloud2(s);
        ASSERT_EQ(pts.size(), static_cast<std::size_t>(H));
        for (int r = 1; r <= H - 2; ++r) {
            if (H == 31) EXPECT_EQ(pts[r][0], 0.0) << "H " << H << " row " << r;
            else EXPECT_NEAR(pts[r][0], 40.0, 0.1) << "H " << H << " row " << r;
        }
    }
}

TEST(GetCloudPoint_New_600_2, InPlaceBlurAndTrimmingOnAThreePixelLine) {
    // A line of 255 at columns 29..31 in every row. The horizontal pass writes in place, so each
    // pixel sees its already smoothed left neighbour: with k0 = e^-0.5 / (1 + 2 e^-0.5) and
    // k1 = 1 / (1 + 2 e^-0.5) the row becomes 69, 204, 241, 181, 49, 13, 3 at columns 28..34
    // (k0*255; k0*69 + (k1 + k0)*255; k0*204 + (k1 + k0)*255; k0*241 + k1*255; k0*181; ...), and
    // the vertical pass keeps constant columns (up to one unit of truncation). Otsu splits off
    // {181, 204, 241} (t = 70), so T keeps the values above 50. Trimming about the peak 241 keeps
    // 204 (37 below) and clears 69 and 181 (more than 40 below), so the marked run is columns
    // 29..30 (reference 29) and the centre is 29 + 241 / 445. A symmetric blur would give 30.
    Scene s(60, 50);
    for (int r = 0; r < 50; ++r) s.put(r, 29, {255, 255, 255});
    const Point2dList pts = cloud2(s);
    for (int r = 2; r <= 47; ++r) EXPECT_NEAR(pts[r][0], 29.0 + 241.0 / 445.0, 1e-3) << "row " << r;
}

TEST(GetCloudPoint_New_600_2, ShortPiecesAreDroppedLongOnesKept) {
    // Two separate stripe pieces: rows 5..24 (20 rows) at column 20 and rows 40..89 (50 rows) at 60.
    Scene s(100, 100);
    for (int r = 5; r <= 24; ++r) s.stripe(r, 20);
    for (int r = 40; r <= 89; ++r) s.stripe(r, 60);
    const Point2dList pts = cloud2(s);
    for (int r = 1; r <= 35; ++r) EXPECT_EQ(pts[r][0], 0.0) << "row " << r;
    for (int r = 41; r <= 88; ++r) EXPECT_NEAR(pts[r][0], 60.0, 0.1) << "row " << r;
}

TEST(GetCloudPoint_New_600_2, WideRunTakesItsReferenceFromTheNeighbours) {
    // Row 40 holds a flat 20-pixel run (200 with one 201 in the middle) instead of the stripe: too
    // wide for a reference of its own, it is linked from the rows above.
    Scene s(100, 80);
    for (int r = 1; r <= 78; ++r)
        if (r != 40) s.stripe(r, 50);
    for (int x = 40; x < 60; ++x) s.put(40, x, {200});
    s.put(40, 50, {201});
    const Point2dList pts = cloud2(s);
    EXPECT_GT(pts[40][0], 49.0);
    EXPECT_LT(pts[40][0], 51.0);
    EXPECT_NEAR(pts[20][0], 50.0, 0.1);
}

}  // namespace
