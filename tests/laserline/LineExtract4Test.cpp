// lineExtract4 on hand-built rows.
#include <gtest/gtest.h>

#include "LineTestUtil.h"

using namespace linetest;

namespace {

Result run4(Scene& s, std::array<int, 2> offset = {0, 0}, Point2dList init = {}) {
    AlgoEngine e = engine(s.W, s.H);
    Result r{init.empty() ? Point2dList(s.H) : init, Mask(s.H, 0)};
    laserline::lineExtract4(e, s.img.data(), r.pts, B(r.mask), offset);
    return r;
}

TEST(LineExtract4, WindowAboutTheFirstBrightestPixel) {
    // 15-pixel run (cols 50..64), brightest 200 first at col 52 and again at 60. The half-width-10
    // window covers cols 50..62: (200*52 + 200*60 + 616) / 411 = 56.0; the whole run, or a window
    // about the later maximum, would take cols 63, 64 (100 each) too.
    Scene s(200, 3);
    for (int r = 0; r < 3; ++r) {
        for (int x = 50; x <= 64; ++x) s.put(r, x, {1});
        s.put(r, 52, {200});
        s.put(r, 60, {200});
        s.put(r, 63, {100, 100});
    }
    const Result a = run4(s);
    for (int r = 0; r < 3; ++r) EXPECT_EQ(a.pts[r][0], 56.0);
}

TEST(LineExtract4, LongRunsRowEndAndBorderBand) {
    Scene s(200, 8);
    for (int x = 60; x < 85; ++x) s.put(0, x, {90});  // 25 lit pixels: no candidate
    s.put(1, 19, {50, 100, 50});                      // centre 20.0: kept
    s.put(2, 18, {50, 100, 50});                      // centre 19.0: cleared
    s.put(3, 179, {50, 100, 50});                     // centre 180.0 = W - 20: kept
    s.put(4, 180, {50, 100, 50});                     // centre 181.0: cleared
    s.put(5, 195, {50, 100, 50, 60, 30});             // 5 pixels reaching the last column: dropped
    Point2dList init(8);                              // rows 6, 7 empty, caller's entries there:
    init[6] = {10.0, 6.0};                            // in the band: cleared
    init[7] = {100.0, 7.0};                           // kept and marked valid
    const Result a = run4(s, {0, 0}, init);
    const double want[8] = {0, 20, 0, 180, 0, 0, 0, 100};
    for (int r = 0; r < 8; ++r) {
        EXPECT_EQ(a.pts[r], (P2{want[r], want[r] > 0 ? r : 0.0})) << "row " << r;
        EXPECT_EQ(static_cast<bool>(a.mask[r]), want[r] > 0) << "row " << r;
    }
}

TEST(LineExtract4, ReflectionsAreResolvedToTheTrueStripeAndThenOffset) {
    // Stripe at column 99 in every row. Rows 5..7 and 9 also show a reflection at column 30, the
    // first run of those rows. Row 5's stripe is a 14-pixel segment with a strong peak and a weak
    // bump; row 9's a 12-pixel bump whose peak rises less than 50 on both sides.
    Scene s(200, 14);
    for (int r = 0; r < 14; ++r)
        if (r != 5 && r != 9) s.stripe(r, 99);
    for (int r : {5, 6, 7, 9}) s.stripe(r, 30);
    s.put(5, 95, {5, 10, 40, 120, 200, 120, 40, 20, 30, 60, 40, 30, 25, 20});
    s.put(9, 93, {20, 30, 40, 50, 60, 55, 45, 35, 30, 25, 20, 15});
    const Result a = run4(s);
    for (int r = 0; r < 14; ++r) {
        EXPECT_TRUE(a.mask[r]) << "row " << r;
        EXPECT_EQ(a.pts[r][1], static_cast<double>(r));
        if (r == 5 || r == 9) continue;
        EXPECT_EQ(a.pts[r][0], 99.0) << "row " << r;
    }
    EXPECT_DOUBLE_EQ(a.pts[5][0], 54955.0 / 555.0);  // strong peak, left foot 95 to right foot 102
    EXPECT_DOUBLE_EQ(a.pts[9][0], 41645.0 / 425.0);  // no peak survives: the whole segment

    // Through the handle with an offset: the neighbour passes compare ROI columns, and the offset is
    // added at the end to every written point.
    XeloraAlgo h;
    tagXeloraAlgoROIInfo roi{0, 0, 200, 14};
    h.SetROIInfo(&roi);
    Point2dList pts(14);
    bool mask[14] = {};
    h.lineExtract4(true, s.img.data(), pts, mask, 1, 2, 3, 4, 5, {300, -40});
    for (int r = 0; r < 14; ++r) {
        EXPECT_TRUE(mask[r]) << "row " << r;
        EXPECT_DOUBLE_EQ(pts[r][0], a.pts[r][0] + 300.0) << "row " << r;
        EXPECT_EQ(pts[r][1], r - 40.0);
    }
}

}  // namespace

// The exported centre-of-gravity rule, through the handle: (sum w p / sum w, row), zero weights
// skipped, the division in double; a zero weight sum (empty lists, all zero, cancelling weights)
// leaves the output as it was; the loop runs over the positions only.
TEST(CalLineCenter, CentreOfGravityWorkedByHand) {
    XeloraAlgo algo;
    struct Case { int row; std::vector<int> p, w; P2 want; } cases[] = {
        {7, {3, 4, 5}, {1, 2, 1}, {4.0, 7.0}},
        {2, {10, 11, 13}, {3, 0, 5}, {95.0 / 8.0, 2.0}},   // (30 + 65) / 8 = 11.875
        {4, {1, 2}, {1, 2}, {5.0 / 3.0, 4.0}},             // double division
        {9, {2, 6}, {-1, 3}, {8.0, 9.0}},                  // (-2 + 18) / 2
        {5, {5}, {2, 100}, {5.0, 5.0}},                    // the second weight has no position
        {3, {}, {}, {-1.0, -2.0}},                         // untouched
        {3, {4, 8}, {0, 0}, {-1.0, -2.0}},
        {3, {4, 8}, {2, -2}, {-1.0, -2.0}},
    };
    for (const auto& k : cases) {
        P2 c{-1.0, -2.0};
        algo.CalLineCenter(k.row, k.p, k.w, c);
        EXPECT_EQ(c, k.want) << "row " << k.row << ", " << k.p.size() << " positions";
    }
}
