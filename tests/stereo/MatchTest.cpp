// Phase matching: bucketed candidate search, tie rule, continuity in both directions, the
// left-right check and its +/-10 limit, buckets at the ends of the phase range, the untouched rows,
// and the sub-pixel refinement with its two-pixel fallbacks.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "StereoTestUtil.h"
#include "XeloraAlgo.h"
#include "stereo/stereo.h"

using XELORAALGO::AlgoEngine;
using stereotest::BoolMap;
using stereotest::setRoi;

namespace {

// A pair of rectified phase maps, all pixels invalid until set. With width 32 the phase per
// column (128 pi / 32) is 12.566..., so bucket 5 holds 62.83 ... 75.40, bucket 6 up to 87.96,
// bucket 7 up to 100.53.
struct Scene {
    int w, h;
    AlgoEngine e;
    BoolMap mask1, mask2, matchMask;
    std::vector<float> phase1, phase2;
    Scene(int width, int height)
        : w(width), h(height), mask1(n()), mask2(n()), matchMask(n(), true), phase1(n(), 0.0f), phase2(n(), 0.0f) {
        setRoi(e, w, h);
        e.phaseBucketWidth = 402.1238596594944 / w;
    }
    std::size_t n() const { return static_cast<std::size_t>(w) * static_cast<std::size_t>(h); }
    std::size_t at(int row, int col) const { return static_cast<std::size_t>(row * w + col); }
    void cam1(int row, int col, float p) { mask1[at(row, col)] = true, phase1[at(row, col)] = p; }
    void cam2(int row, int col, float p) { mask2[at(row, col)] = true, phase2[at(row, col)] = p; }
    void matchI() {
        XELORAALGO::stereo::MatchI(e, mask1.data(), mask2.data(), matchMask.data(), phase1.data(), phase2.data());
    }
    void matchII() {
        XELORAALGO::stereo::MatchII(e, mask1.data(), mask2.data(), matchMask.data(), phase1.data(), phase2.data());
    }
    std::int32_t column(int row, int col) const { return e.matchColumn[at(row, col)]; }
    std::int32_t side(int row, int col) const { return e.matchSide[at(row, col)]; }
    bool matched(int row, int col) const { return matchMask[at(row, col)]; }
};

}  // namespace

TEST(MatchI, LeftRightCheckKeepsTenColumnsAndRejectsEleven) {
    Scene s(32, 8);
    // Camera 2's pixel 15 points back at camera 1's pixel 15 (exact phase), so a camera-1 pixel
    // matched to it survives only within 10 columns of 15.
    for (int row : {0, 3}) {
        s.cam1(row, 5, 69.0f);
        s.cam1(row, 15, 69.5f);
        s.cam2(row, 15, 69.5f);
    }
    for (int row : {1, 4}) {
        s.cam1(row, 4, 69.0f);
        s.cam1(row, 15, 69.5f);
        s.cam2(row, 15, 69.5f);
    }
    s.matchI();
    for (int row : {0, 3}) {
        EXPECT_EQ(s.column(row, 5), 15);
        EXPECT_TRUE(s.matched(row, 5));
        EXPECT_EQ(s.side(row, 5), 0);  // 69.0 < 69.5: the exact match lies to the left
        EXPECT_EQ(s.column(row, 15), 15);
        EXPECT_EQ(s.side(row, 15), 1);  // equal phases count as "at or to the right"
    }
    for (int row : {1, 4}) {
        EXPECT_EQ(s.column(row, 4), 0);
        EXPECT_FALSE(s.matched(row, 4));
        EXPECT_EQ(s.side(row, 4), -1);
        EXPECT_EQ(s.column(row, 15), 15);
    }
    // Every other pixel of a processed row: matchMask cleared, tables 0.
    EXPECT_FALSE(s.matched(2, 7));
    EXPECT_EQ(s.side(2, 7), 0);
}

TEST(MatchI, EqualCostsGoToTheCandidateVisitedLast) {
    Scene s(32, 8);
    // Same bucket: columns 3 and 9 both 0.5 away; the higher column wins.
    s.cam1(0, 5, 69.0f);
    s.cam2(0, 3, 68.5f);
    s.cam2(0, 9, 69.5f);
    // Neighbouring buckets: 75.25 (bucket 5, column 20) and 75.5 (bucket 6, column 2) are both
    // 0.125 from 75.375; the higher bucket is visited last and wins despite its lower column.
    s.cam1(1, 5, 75.375f);
    s.cam2(1, 20, 75.25f);
    s.cam2(1, 2, 75.5f);
    // A strictly better candidate visited first keeps the match.
    s.cam1(2, 5, 69.0f);
    s.cam2(2, 3, 69.125f);
    s.cam2(2, 9, 69.25f);
    s.matchI();
    EXPECT_EQ(s.column(0, 5), 9);
    EXPECT_EQ(s.side(0, 5), 0);
    EXPECT_EQ(s.column(1, 5), 2);
    EXPECT_EQ(s.side(1, 5), 0);
    EXPECT_EQ(s.column(2, 5), 3);
    EXPECT_TRUE(s.matched(0, 5) && s.matched(1, 5) && s.matched(2, 5));
}

TEST(MatchI, ForwardContinuityLimitsJumpsToTwentyColumnsBelowRowZero) {
    Scene s(32, 8);
    // Camera-1 pixel 10 matches column 10; its right neighbour's only candidate lies at column 31
    // (21 away) or 30 (20 away). Row 0 is exempt from the test.
    auto layout = [&](int row, int farColumn, int nearCol) {
        s.cam1(row, 10, 69.0f);
        s.cam2(row, 10, 69.0f);
        s.cam1(row, nearCol, 94.0f);
        s.cam2(row, farColumn, 94.0f);
    };
    layout(0, 31, 11);
    layout(1, 31, 11);
    layout(2, 30, 11);
    layout(3, 31, 12);  // pixel 11 invalid: the match two columns back is used
    layout(4, 30, 12);
    s.matchI();
    EXPECT_EQ(s.column(0, 11), 31);
    EXPECT_TRUE(s.matched(0, 11));
    EXPECT_EQ(s.column(1, 11), 0);
    EXPECT_FALSE(s.matched(1, 11));
    EXPECT_EQ(s.side(1, 11), 0);  // never matched, not rejected
    EXPECT_EQ(s.column(2, 11), 30);
    EXPECT_EQ(s.column(3, 12), 0);
    EXPECT_FALSE(s.matched(3, 12));
    EXPECT_EQ(s.column(4, 12), 30);
    for (int row = 0; row < 5; ++row) EXPECT_EQ(s.column(row, 10), 10) << row;
}

TEST(MatchI, BackwardContinuityShowsThroughTheLeftRightCheck) {
    Scene s(32, 8);
    // Backward pass, right to left: camera 2's pixel 25 matches camera 1's 25, so its left
    // neighbour may not jump to camera 1's column 3 (22 away) below row 0. Camera 1's pixel 3 then
    // finds no backward match at column 24 and is rejected.
    for (int row : {0, 1}) {
        s.cam1(row, 25, 94.0f);
        s.cam2(row, 25, 94.0f);
        s.cam1(row, 3, 69.0f);
        s.cam2(row, 24, 69.0f);
    }
    s.matchI();
    EXPECT_EQ(s.column(0, 3), 24);
    EXPECT_TRUE(s.matched(0, 3));
    EXPECT_EQ(s.column(1, 3), 0);
    EXPECT_FALSE(s.matched(1, 3));
    EXPECT_EQ(s.side(1, 3), -1);
    EXPECT_EQ(s.column(1, 25), 25);
}

TEST(MatchI, BucketsOutsideTheRangeAreSearchedButNeverListed) {
    Scene s(32, 8);
    // -13 / 12.566 truncates to bucket -1: not listed, but its search reaches bucket 0, where -0.5
    // lies (truncation toward zero).
    s.cam1(0, 5, -13.0f);
    s.cam2(0, 5, -0.5f);
    s.cam1(1, 5, -0.5f);
    s.cam2(1, 5, -13.0f);
    s.cam1(2, 5, std::numeric_limits<float>::quiet_NaN());
    s.cam2(2, 5, 69.0f);
    s.cam1(3, 5, 1.0e30f);
    s.cam2(3, 5, 1.0e30f);
    s.matchI();
    EXPECT_EQ(s.side(0, 5), -1);  // forward match found, no backward match for it
    EXPECT_FALSE(s.matched(0, 5));
    EXPECT_EQ(s.side(1, 5), 0);  // no candidate at all
    EXPECT_FALSE(s.matched(1, 5));
    EXPECT_FALSE(s.matched(2, 5));
    EXPECT_FALSE(s.matched(3, 5));
}

TEST(MatchI, RowsPastEightBandsAreUntouchedAndTablesAreReplaced) {
    Scene s(32, 11);  // 8 bands of 1 row; rows 8, 9, 10 are not processed
    for (int row = 0; row < 11; ++row) {
        s.cam1(row, 6, 69.0f);
        s.cam2(row, 6, 69.0f);
    }
    s.matchI();
    for (int row = 0; row < 8; ++row) EXPECT_EQ(s.column(row, 6), 6) << row;
    for (int row = 8; row < 11; ++row) {
        EXPECT_EQ(s.column(row, 6), 0);
        for (int col = 0; col < 32; ++col) EXPECT_TRUE(s.matched(row, col));  // caller's content
    }
    // A second call with nothing valid leaves no trace of the first.
    for (std::size_t i = 0; i < s.n(); ++i) s.mask1[i] = false;
    s.matchI();
    for (std::size_t i = 0; i < s.n(); ++i) {
        EXPECT_EQ(s.e.matchColumn[i], 0);
        EXPECT_EQ(s.e.matchSide[i], 0);
    }
}

TEST(MatchI, PublicMembersKeepTheTablesUntilDeleteMemory1) {
    XELORAALGO::XeloraAlgo algo;
    XELORAALGO::tagXeloraAlgoROIInfo roi{0, 0, 32, 8};
    algo.SetROIInfo(&roi);
    stereotest::Rig rig;
    auto calib = rig.calibration();
    algo.SetCalibrationInfo(&calib);
    algo.CalKR();
    Scene s(32, 8);
    for (int col = 2; col < 30; ++col) {
        s.cam1(0, col, 12.566f * col + 3.0f);
        s.cam2(0, col, 12.566f * col + 3.0f);
    }
    algo.MatchI(s.mask1.data(), s.mask2.data(), s.matchMask.data(), s.phase1.data(), s.phase2.data());
    algo.MatchII(s.mask1.data(), s.mask2.data(), s.matchMask.data(), s.phase1.data(), s.phase2.data());
    EXPECT_TRUE(s.matchMask[10]);
    algo.DeleteMemory1();
    // After the release, MatchII finds no matches to refine.
    algo.MatchII(s.mask1.data(), s.mask2.data(), s.matchMask.data(), s.phase1.data(), s.phase2.data());
    EXPECT_FALSE(s.matchMask[10]);
}

namespace {

// Sets up one refinement: camera-1 phase p matched at column m on `side`, camera 2's row phases phi.
struct Refine {
    Scene s{16, 8};
    Refine(int m, int side, float p, std::vector<std::pair<int, float>> phi) {
        s.e.matchColumn.assign(s.n(), 0);
        s.e.matchSide.assign(s.n(), 0);
        for (std::size_t i = 0; i < s.n(); ++i) s.matchMask[i] = false;
        s.e.matchColumn[s.at(0, 4)] = m;
        s.e.matchSide[s.at(0, 4)] = side;
        s.matchMask[s.at(0, 4)] = true;
        s.phase1[s.at(0, 4)] = p;
        for (const auto& kv : phi) s.cam2(0, kv.first, kv.second);
        s.matchII();
    }
    bool kept() const { return s.matched(0, 4); }
    float column() const { return s.e.subpixelColumn[s.at(0, 4)]; }
};

}  // namespace

TEST(MatchII, InterpolatesOnTheSideMatchIFound) {
    Refine right(9, 1, 10.5f, {{9, 10.0f}, {10, 12.0f}});
    EXPECT_TRUE(right.kept());
    EXPECT_EQ(right.column(), 9.25f);
    Refine left(9, 0, 9.5f, {{8, 8.0f}, {9, 10.0f}});
    EXPECT_TRUE(left.kept());
    EXPECT_EQ(left.column(), 8.75f);
    // A pixel of the row that was not matched keeps 0.
    EXPECT_EQ(left.s.e.subpixelColumn[left.s.at(0, 5)], 0.0f);
}

TEST(MatchII, TwoPixelFallbacksUseTheWholeSpanWithoutDoubling) {
    // phi(m + 1) does not exceed p: the span to m + 2 is used, fraction (10.5 - 10) / (12 - 10).
    Refine right(9, 1, 10.5f, {{9, 10.0f}, {10, 10.5f}, {11, 12.0f}});
    EXPECT_TRUE(right.kept());
    EXPECT_EQ(right.column(), 9.25f);
    // p does not exceed phi(m - 1): fraction (10 - 9.5) / (10 - 8) subtracted from m.
    Refine left(9, 0, 9.5f, {{7, 8.0f}, {8, 9.5f}, {9, 10.0f}});
    EXPECT_TRUE(left.kept());
    EXPECT_EQ(left.column(), 8.75f);
    // Without a valid pixel at m +/- 2 the match is dropped.
    Refine rightShort(9, 1, 10.5f, {{9, 10.0f}, {10, 10.5f}});
    EXPECT_FALSE(rightShort.kept());
    Refine leftShort(9, 0, 9.5f, {{8, 9.5f}, {9, 10.0f}});
    EXPECT_FALSE(leftShort.kept());
    // Equal phases at m and m + 2 divide by zero: the column is not finite, the match stays.
    Refine flat(9, 1, 10.5f, {{9, 10.0f}, {10, 10.0f}, {11, 10.0f}});
    EXPECT_TRUE(flat.kept());
    EXPECT_FALSE(std::isfinite(flat.column()));
}

TEST(MatchII, ColumnLimitsAndValidityOfTheNeighbours) {
    // Left side needs m >= 2, and m >= 3 for the fallback.
    EXPECT_FALSE(Refine(1, 0, 9.5f, {{0, 8.0f}, {1, 10.0f}}).kept());
    EXPECT_TRUE(Refine(2, 0, 9.5f, {{1, 8.0f}, {2, 10.0f}}).kept());
    EXPECT_FALSE(Refine(2, 0, 9.5f, {{0, 8.0f}, {1, 9.5f}, {2, 10.0f}}).kept());
    EXPECT_TRUE(Refine(3, 0, 9.5f, {{1, 8.0f}, {2, 9.5f}, {3, 10.0f}}).kept());
    // Right side needs m >= 1 (a match in column 0 is dropped) and m + 1 < width.
    EXPECT_FALSE(Refine(0, 1, 10.5f, {{0, 10.0f}, {1, 12.0f}}).kept());
    EXPECT_TRUE(Refine(14, 1, 10.5f, {{14, 10.0f}, {15, 12.0f}}).kept());
    EXPECT_FALSE(Refine(15, 1, 10.5f, {{15, 10.0f}}).kept());
    EXPECT_FALSE(Refine(14, 1, 10.5f, {{14, 10.0f}, {15, 10.5f}}).kept());  // fallback needs m + 2 < width
    // Both pixels of the span must be valid in camera 2.
    EXPECT_FALSE(Refine(9, 1, 10.5f, {{10, 12.0f}}).kept());
    EXPECT_FALSE(Refine(9, 0, 9.5f, {{9, 10.0f}}).kept());
}
