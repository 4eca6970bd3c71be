// Centre rule and lineExtract4 on hand-built rows.
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

Result run4(Scene& s, std::array<int, 2> offset = {0, 0}, Point2dList init = {}) {
    AlgoEngine e;
    setRoi(e, s.W, s.H);
    Result r{init.empty() ? Point2dList(s.H) : init, std::vector<char>(s.H, 0)};
    laserline::lineExtract4(e, s.img.data(), r.pts, reinterpret_cast<bool*>(r.mask.data()), offset);
    return r;
}

TEST(CalLineCenter, CentreOfGravityAndZeroWeights) {
    XeloraAlgo h;
    std::array<double, 2> c{-1.0, -2.0};
    h.CalLineCenter(7, {3, 4, 5}, {1, 2, 1}, c);
    EXPECT_EQ(c[0], 4.0);
    EXPECT_EQ(c[1], 7.0);
    h.CalLineCenter(9, {3, 4, 5}, {0, 0, 0}, c);
    EXPECT_EQ(c[0], 4.0);
    EXPECT_EQ(c[1], 7.0);
    h.CalLineCenter(9, {}, {}, c);
    EXPECT_EQ(c[1], 7.0);
    // Weighted: (10*1 + 20*3) / 4 = 17.5
    h.CalLineCenter(2, {10, 20}, {1, 3}, c);
    EXPECT_EQ(c[0], 17.5);
    EXPECT_EQ(c[1], 2.0);
}

TEST(CalLineCenter_new, CentreFromTheRunStart) {
    XeloraAlgo h;
    std::array<double, 2> c{-1.0, -2.0};
    const int w[4] = {0, 2, 4, 2};
    h.CalLineCenter_new(12, 100, 4, w, c);
    EXPECT_EQ(c[0], 12.0);
    EXPECT_EQ(c[1], 102.0);
    const int z[3] = {0, 0, 0};
    h.CalLineCenter_new(5, 10, 3, z, c);
    EXPECT_EQ(c[0], 12.0);
    EXPECT_EQ(c[1], 102.0);
    h.CalLineCenter_new(5, 10, 0, w, c);
    EXPECT_EQ(c[1], 102.0);
    const int v[3] = {1, 0, 3};  // (0*1 + 2*3) / 4 = 1.5
    h.CalLineCenter_new(-3, -7, 3, v, c);
    EXPECT_EQ(c[0], -3.0);
    EXPECT_EQ(c[1], -5.5);
}

TEST(LineExtract4, CleanStripeAndOffset) {
    Scene s(200, 6);
    for (int r = 0; r < 6; ++r) s.stripe(r, 102);
    const Result a = run4(s);
    for (int r = 0; r < 6; ++r) {
        EXPECT_EQ(a.pts[r][0], 102.0);
        EXPECT_EQ(a.pts[r][1], static_cast<double>(r));
        EXPECT_TRUE(a.mask[r]);
    }
    // Through the handle, with an offset: every written point is shifted by it.
    XeloraAlgo h;
    tagXeloraAlgoROIInfo roi{0, 0, 200, 6};
    h.SetROIInfo(&roi);
    Point2dList pts(6);
    bool mask[6] = {};
    h.lineExtract4(true, s.img.data(), pts, mask, 1, 2, 3, 4, 5, {5, -3});
    for (int r = 0; r < 6; ++r) {
        EXPECT_EQ(pts[r][0], 107.0);
        EXPECT_EQ(pts[r][1], r - 3.0);
        EXPECT_TRUE(mask[r]);
    }
}

TEST(LineExtract4, WindowAboutTheFirstBrightestPixel) {
    // A 15-pixel run (cols 50..64): brightest value 200 first at col 52 (and again at col 60).
    // The half-width-10 window covers cols 50..62: (200*52 + 200*60 + 616) / 411 = 56.0;
    // the whole run, or a window about the later maximum, would take cols 63, 64 (100 each) too.
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

TEST(LineExtract4, LongRunsAndBorderBand) {
    Scene s(200, 8);
    for (int x = 60; x < 85; ++x) s.put(0, x, {90});  // 25 lit pixels: no candidate
    s.put(1, 19, {50, 100, 50});                      // centre 20.0: kept
    s.put(2, 18, {50, 100, 50});                      // centre 19.0: cleared
    s.put(3, 179, {50, 100, 50});                     // centre 180.0 = W - 20: kept
    s.put(4, 180, {50, 100, 50});                     // centre 181.0: cleared
    s.put(5, 195, {50, 100, 50, 60, 30});             // reaches the last column, 5 pixels: dropped
    // rows 6, 7 empty; the caller put (10, 6) and (100, 7) there.
    Point2dList init(8);
    init[6] = {10.0, 6.0};
    init[7] = {100.0, 7.0};
    const Result a = run4(s, {0, 0}, init);
    EXPECT_EQ(a.pts[0][0], 0.0);
    EXPECT_FALSE(a.mask[0]);
    EXPECT_EQ(a.pts[1][0], 20.0);
    EXPECT_TRUE(a.mask[1]);
    EXPECT_EQ(a.pts[2], (std::array<double, 2>{0.0, 0.0}));
    EXPECT_FALSE(a.mask[2]);
    EXPECT_EQ(a.pts[3][0], 180.0);
    EXPECT_TRUE(a.mask[3]);
    EXPECT_EQ(a.pts[4][0], 0.0);
    EXPECT_FALSE(a.mask[4]);
    EXPECT_EQ(a.pts[5][0], 0.0);
    EXPECT_EQ(a.pts[6], (std::array<double, 2>{0.0, 0.0}));  // caller's point in the band
    EXPECT_FALSE(a.mask[6]);
    EXPECT_EQ(a.pts[7][0], 100.0);  // caller's point kept, and marked valid
    EXPECT_TRUE(a.mask[7]);
}

TEST(LineExtract4, ReflectionsAreResolvedToTheTrueStripe) {
    // Stripe at column 99 in every row. Rows 5..7 and 9 also show a reflection at column 30, which
    // is the first run of those rows. Row 5's stripe is a 14-pixel segment with a strong peak and a
    // weak secondary bump; row 9's is a 12-pixel bump whose peak rises less than 50 on both sides.
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
    }
    for (int r : {0, 1, 2, 3, 4, 6, 7, 8, 10, 11, 12, 13}) EXPECT_EQ(a.pts[r][0], 99.0) << "row " << r;
    // Row 5: strong peak from its left foot (col 95) to its right foot (col 102).
    EXPECT_DOUBLE_EQ(a.pts[5][0], 54955.0 / 555.0);
    // Row 9: no peak survives, the whole segment is used.
    EXPECT_DOUBLE_EQ(a.pts[9][0], 41645.0 / 425.0);

    // With an offset the neighbour passes still compare ROI columns, and every written point is
    // shifted by the offset at the end: the same rows, moved by (300, 40).
    const Result b = run4(s, {300, 40});
    for (int r = 0; r < 14; ++r) {
        EXPECT_TRUE(b.mask[r]) << "row " << r;
        EXPECT_DOUBLE_EQ(b.pts[r][0], a.pts[r][0] + 300.0) << "row " << r;
        EXPECT_EQ(b.pts[r][1], r + 40.0);
    }
}

TEST(LineExtract4, CandidatesBeyondThePassLimitLeaveTheRowAlone) {
    // The stripe steps by 8 columns between rows 4 and 5: each row keeps its own first-run centre.
    Scene s(200, 10);
    for (int r = 0; r < 10; ++r) s.stripe(r, r < 5 ? 99 : 107);
    const Result a = run4(s);
    for (int r = 0; r < 10; ++r) EXPECT_EQ(a.pts[r][0], r < 5 ? 99.0 : 107.0) << "row " << r;
}

}  // namespace
