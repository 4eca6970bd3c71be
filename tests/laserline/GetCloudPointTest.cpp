// GetCloudPoint_New_600_1 (stripe tracker) and GetCloudPoint_New_600_2 (blur/threshold/linking).
#include <gtest/gtest.h>

#include "LineTestUtil.h"

using namespace linetest;

namespace {

Point2dList cloud(Scene& s, bool tracker) {
    AlgoEngine e = engine(s.W, s.H);
    Point2dList pts{{7, 7}};  // replaced by exactly H entries
    (tracker ? laserline::GetCloudPoint_New_600_1 : laserline::GetCloudPoint_New_600_2)(e, s.img.data(), pts);
    EXPECT_EQ(pts.size(), static_cast<std::size_t>(s.H));
    return pts;
}

TEST(GetCloudPoint_New_600_1, LosesTheStripeAndFindsItAgain) {
    // Stripe at 40 in rows 1..20, nothing in rows 21..40, stripe at 60 in rows 41..58.
    Scene s(100, 60);
    for (int r = 1; r <= 20; ++r) s.stripe(r, 40);
    for (int r = 41; r <= 58; ++r) s.stripe(r, 60);
    const Point2dList pts = cloud(s, true);
    for (int r = 0; r < 60; ++r) {
        const double want = (r >= 1 && r <= 20) ? 40.0 : (r >= 41 && r <= 58) ? 60.0 : 0.0;
        EXPECT_EQ(pts[r], (P2{want, want > 0 ? r : 0.0})) << "row " << r;
    }
}

TEST(GetCloudPoint_New_600_1, ScanBoundNarrowRoiAndWeightThreshold) {
    // W = 100: columns are scanned while x < 100 - 30. At 66 the stripe's first weighted column (65)
    // lies inside the bound; at 75 nothing does.
    for (int c : {66, 75}) {
        Scene s(100, 20);
        for (int r = 1; r <= 18; ++r) s.stripe(r, c);
        EXPECT_EQ(cloud(s, true)[5][0], c == 66 ? 66.0 : 0.0) << "stripe at " << c;
    }
    // A ROI of 32 columns scans only column 1 (skipped in search mode): no line at all.
    Scene narrow(32, 10);
    for (int r = 1; r <= 8; ++r) narrow.stripe(r, 10);
    for (const auto& p : cloud(narrow, true)) EXPECT_EQ(p[0], 0.0);
    Scene dark(80, 12);  // 73 * 73 / 255 = 20: no weight anywhere
    for (auto& v : dark.img) v = 73;
    for (const auto& p : cloud(dark, true)) EXPECT_EQ(p, (P2{0, 0}));
}

TEST(GetCloudPoint_New_600_2, ChainsOf30RowsOrFewerAreRemovedAndTheEndRows) {
    // A stripe over the full height: the backward linking breaks at row 0, so the chain holds
    // rows H-2 .. 0 (H - 1 entries): removed at H = 31, kept from H = 32 on.
    for (int H : {31, 32}) {
        Scene s(80, H);
        for (int r = 0; r < H; ++r) s.stripe(r, 40);
        const Point2dList pts = cloud(s, false);
        EXPECT_EQ(pts[0], (P2{0, 0}));
        EXPECT_EQ(pts[H - 1], (P2{0, H - 1.0}));
        for (int r = 1; r <= H - 2; ++r) {
            if (H == 31) EXPECT_EQ(pts[r][0], 0.0) << "row " << r;
            else EXPECT_NEAR(pts[r][0], 40.0, 0.1) << "row " << r;
            EXPECT_EQ(pts[r][1], static_cast<double>(r));
        }
    }
}

TEST(GetCloudPoint_New_600_2, InPlaceBlurAndTrimmingOnAThreePixelLine) {
    // 255 at columns 29..31 in every row. The in-place horizontal blur (each pixel sees its smoothed
    // left neighbour) gives 69, 204, 241, 181, 49, ... at columns 28..; Otsu keeps values above 50,
    // trimming to within 40 of the peak 241 leaves columns 29..30, centre 29 + 241 / 445.
    // A symmetric blur would give 30.
    Scene s(60, 50);
    for (int r = 0; r < 50; ++r) s.put(r, 29, {255, 255, 255});
    const Point2dList pts = cloud(s, false);
    for (int r = 2; r <= 47; ++r) EXPECT_NEAR(pts[r][0], 29.0 + 241.0 / 445.0, 1e-3) << "row " << r;
}

}  // namespace

// The run rule: (index, start + sum i w[i] / sum w[i]) with i counted from 0 at `start`, zero
// weights skipped, the division in double and the start added after it; count < 1 or a zero sum
// leaves the output as it was, and only `count` weights are read.
TEST(CalLineCenter_new, RunCentreWorkedByHand) {
    XeloraAlgo algo;
    const int a[] = {0, 2, 4, 2, 77}, b[] = {1, 0, 2, 99}, c[] = {1, 2}, z[] = {0, 0, 0}, m[] = {3, -3};
    struct Case { int index, start, count; const int* w; P2 want; } cases[] = {
        {12, 100, 4, a, {12.0, 102.0}},                 // (2 + 8 + 6) / 8 = 2
        {3, 50, 3, b, {3.0, 50.0 + 4.0 / 3.0}},         // (0 + 4) / 3; weight 99 not read
        {1, 7, 2, c, {1.0, 7.0 + 2.0 / 3.0}},           // start added after the division
        {5, 40, 1, a, {-1.0, -2.0}},                    // a single zero weight
        {5, 40, 3, z, {-1.0, -2.0}},
        {5, 40, 2, m, {-1.0, -2.0}},                    // weights cancel
        {5, 40, 0, c, {-1.0, -2.0}},
        {5, 40, -3, c, {-1.0, -2.0}},
    };
    for (const auto& k : cases) {
        P2 out{-1.0, -2.0};
        algo.CalLineCenter_new(k.index, k.start, k.count, k.w, out);
        EXPECT_EQ(out, k.want) << "index " << k.index << " count " << k.count;
    }
}
