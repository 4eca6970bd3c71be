// Phase matching: tie rule, forward and backward continuity limits, the left-right check and its
// +/-10 limit, and the rows that no worker band covers.
#include <gtest/gtest.h>

#include <random>
#include <utility>
#include <vector>

#include "StereoTestUtil.h"
#include "stereo/stereo.h"

TEST(MatchI, TiesContinuityAndLeftRightLimits) {
    // 32 columns: 12.566 of phase per bucket (bucket 5: 62.83 ... 75.40, bucket 6 up to 87.96).
    // 11 rows: 8 bands of one row, rows 8..10 belong to no worker.
    const int w = 32, h = 11;
    XELORAALGO::AlgoEngine e;
    stereotest::setRoi(e, w, h);
    e.phaseBucketWidth = 402.1238596594944 / w;
    const std::size_t n = static_cast<std::size_t>(w * h);
    stereotest::BoolMap mask1(n), mask2(n), matchMask(n, true);
    std::vector<float> phase1(n, 0.0f), phase2(n, 0.0f);
    const auto at = [&](int r, int c) { return static_cast<std::size_t>(r * w + c); };
    const auto cam1 = [&](int r, int c, float p) { mask1[at(r, c)] = true, phase1[at(r, c)] = p; };
    const auto cam2 = [&](int r, int c, float p) { mask2[at(r, c)] = true, phase2[at(r, c)] = p; };
    // Rows 0..2: pixel 10 matches column 10, its right neighbour's only candidate lies 21 columns
    // away (row 0 is exempt from the continuity limit of 20, row 1 is not) or 20 away (row 2).
    for (int r = 0; r < 3; ++r) {
        cam1(r, 10, 69.0f), cam2(r, 10, 69.0f);
        cam1(r, 11, 94.0f), cam2(r, r == 2 ? 30 : 31, 94.0f);
    }
    // Rows 3, 4: camera 2's pixel 15 points back at camera 1's 15, so a camera-1 pixel matched to it
    // survives only within 10 columns (5 does, 4 does not).
    for (int r : {3, 4}) cam1(r, r == 3 ? 5 : 4, 69.0f), cam1(r, 15, 69.5f), cam2(r, 15, 69.5f);
    // Row 5: columns 3 and 9 of one bucket both 0.5 away: the higher column (visited last) wins.
    cam1(5, 5, 69.0f), cam2(5, 3, 68.5f), cam2(5, 9, 69.5f);
    // Row 6: 75.25 (bucket 5, column 20) and 75.5 (bucket 6, column 2) both 0.125 from 75.375: the
    // higher bucket is visited last and wins despite its lower column.
    cam1(6, 5, 75.375f), cam2(6, 20, 75.25f), cam2(6, 2, 75.5f);
    // Row 7: backward pass, camera 2's 25 matches camera 1's 25, so its left neighbour 24 may not
    // jump 22 columns back to camera 1's 3; camera 1's pixel 3 then fails the left-right check.
    cam1(7, 25, 94.0f), cam2(7, 25, 94.0f), cam1(7, 3, 69.0f), cam2(7, 24, 69.0f);
    for (int r = 8; r < h; ++r) cam1(r, 6, 69.0f), cam2(r, 6, 69.0f);
    XELORAALGO::stereo::MatchI(e, mask1.data(), mask2.data(), matchMask.data(), phase1.data(), phase2.data());
    // side: 0 exact match to the left, 1 at or to the right, -1 rejected by the left-right check.
    struct Case { int r, c, column; bool matched; int side; } cases[] = {
        {0, 11, 31, true, 1}, {1, 11, 0, false, 0}, {2, 11, 30, true, 1}, {1, 10, 10, true, 1},
        {3, 5, 15, true, 0},  {3, 15, 15, true, 1}, {4, 4, 0, false, -1}, {4, 15, 15, true, 1},
        {5, 5, 9, true, 0},   {6, 5, 2, true, 0},   {7, 3, 0, false, -1}, {7, 25, 25, true, 1},
        {2, 7, 0, false, 0},  {8, 6, 0, true, 0},   {10, 6, 0, true, 0},  {10, 20, 0, true, 0},
    };
    for (const auto& cs : cases) {
        EXPECT_EQ(e.matchColumn[at(cs.r, cs.c)], cs.column) << cs.r << "," << cs.c;
        EXPECT_EQ(matchMask[at(cs.r, cs.c)], cs.matched) << cs.r << "," << cs.c;
        EXPECT_EQ(e.matchSide[at(cs.r, cs.c)], cs.side) << cs.r << "," << cs.c;
    }
}

// Sub-pixel refinement worked by hand on rows of camera-2 phase 10 * column (altered where noted).
// Side 0 interpolates towards m - 1, side 1 towards m + 1; when that neighbour does not bracket the
// camera-1 phase the span to m -/+ 2 is used and its fraction added to m as it is (not doubled).
// Each fallback needs its third pixel inside the row and valid in mask2.
TEST(MatchII, NeighbourAndTwoPixelFallbacksWorkedByHand) {
    const int w = 12, h = 8;  // one row per band
    const std::size_t n = static_cast<std::size_t>(w * h);
    XELORAALGO::AlgoEngine e;
    stereotest::setRoi(e, w, h);
    stereotest::BoolMap mask1(n), mask2(n, true), matchMask(n, false);
    std::vector<float> phase1(n, 0.0f), phase2(n);
    const auto at = [&](int r, int c) { return static_cast<std::size_t>(r * w + c); };
    for (std::size_t i = 0; i < n; ++i) phase2[i] = 10.0f * static_cast<float>(i % w);
    phase2[at(1, 4)] = 48.0f, phase2[at(1, 6)] = 49.0f;        // row 1: neither neighbour brackets
    mask2[at(2, 3)] = mask2[at(2, 9)] = false;                 // row 2: a neighbour invalid
    phase2[at(3, 5)] = 35.0f, phase2[at(3, 8)] = 62.0f;        // row 3: fallbacks whose third pixel is
    mask2[at(3, 4)] = mask2[at(3, 9)] = false;                 // invalid
    phase2[at(4, 11)] = 100.5f;                                // row 4: at the end of the row
    e.matchColumn.assign(n, 0);
    e.matchSide.assign(n, 0);
    struct Case { int r, c, side, m; float p; bool kept; float sub; } cases[] = {
        {0, 0, 0, 5, 47.5f, true, 4.75f},     // 5 - (50 - 47.5) / (50 - 40)
        {0, 1, 1, 5, 52.5f, true, 5.25f},     // 5 + (52.5 - 50) / (60 - 50)
        {0, 2, 0, 1, 5.0f, false, 0.0f},      // side 0 needs m >= 2
        {0, 3, 1, 0, 1.0f, false, 0.0f},      // side 1 needs m >= 1
        {0, 4, 0, 2, 5.0f, false, 0.0f},      // p <= phi(1): the fallback needs m >= 3
        {0, 5, 0, 3, 15.0f, true, 2.25f},     // p <= phi(2): 3 - (30 - 15) / (30 - 10)
        {0, 6, 1, 11, 111.0f, false, 0.0f},   // side 1 needs m + 1 < w
        {0, 7, 0, 5, 40.0f, true, 4.5f},      // p = phi(4) does not bracket: 5 - (50 - 40) / (50 - 30)
        {0, 8, 1, 5, 60.0f, true, 5.5f},      // p = phi(6) does not bracket: 5 + (60 - 50) / (70 - 50)
        {1, 0, 0, 5, 47.5f, true, 4.875f},    // phi(4) = 48 >= p: 5 - (50 - 47.5) / (50 - 30)
        {1, 1, 1, 5, 49.5f, true, 5.0f + (-0.5f / 20.0f)},  // phi(6) = 49 <= p: 5 + (49.5 - 50) / (70 - 50)
        {2, 0, 0, 4, 35.0f, false, 0.0f},     // mask2 false at m - 1 = 3
        {2, 1, 1, 8, 85.0f, false, 0.0f},     // mask2 false at m + 1 = 9
        {2, 2, 1, 7, 75.0f, true, 7.5f},
        {3, 0, 0, 6, 33.0f, false, 0.0f},     // fallback: mask2 false at m - 2 = 4
        {3, 1, 1, 7, 65.0f, false, 0.0f},     // fallback: mask2 false at m + 2 = 9
        {4, 2, 1, 10, 100.7f, false, 0.0f},   // fallback: m + 2 = w
        {4, 3, 1, 9, 100.7f, true, 9.0f + (100.7f - 90.0f) / (100.5f - 90.0f)},  // m + 2 = 11 < w
    };
    for (const auto& k : cases) {
        matchMask[at(k.r, k.c)] = true;
        phase1[at(k.r, k.c)] = k.p;
        e.matchColumn[at(k.r, k.c)] = k.m;
        e.matchSide[at(k.r, k.c)] = k.side;
    }
    XELORAALGO::stereo::MatchII(e, mask1.data(), mask2.data(), matchMask.data(), phase1.data(), phase2.data());
    for (const auto& k : cases) {
        EXPECT_EQ(matchMask[at(k.r, k.c)], k.kept) << k.r << "," << k.c;
        if (k.kept) {
            EXPECT_EQ(e.subpixelColumn[at(k.r, k.c)], k.sub) << k.r << "," << k.c;
        }
    }
}

// A second MatchI / MatchII on the same engine (whose tables then have the right size and are
// reused) gives what the first call on a new engine gives, the rows past the bands included:
// nothing of the earlier call's matches survives, even when the earlier call had the ROI turned
// on its side (the same pixel count, other bands). Many candidates per bucket (a phase that
// repeats along the row) exercise the long candidate lists too.
TEST(MatchI, RepeatedCallsEqualAFreshEngine) {
    const int w = 37, h = 19;  // 8 bands of 2 rows, 3 rows past them
    const std::size_t n = static_cast<std::size_t>(w * h);
    const auto frame = [&](unsigned seed, stereotest::BoolMap& m1, stereotest::BoolMap& m2, std::vector<float>& p1,
                           std::vector<float>& p2) {
        std::mt19937 rng(seed);
        std::uniform_real_distribution<float> jitter(-3.0f, 3.0f);
        for (std::size_t i = 0; i < n; ++i) {
            const int c = static_cast<int>(i % w);
            const float base = seed == 1 ? 10.9f * c : 50.0f + 3.0f * (c % 5);  // second frame: crowded buckets
            p1[i] = base + jitter(rng);
            p2[i] = base + jitter(rng);
            m1[i] = rng() % 7 != 0;
            m2[i] = rng() % 7 != 0;
        }
    };
    stereotest::BoolMap m1(n), m2(n), a(n, true), b(n, true);
    std::vector<float> p1(n), p2(n);
    XELORAALGO::AlgoEngine reused, fresh;
    for (auto* e : {&reused, &fresh}) {
        stereotest::setRoi(*e, w, h);
        e->phaseBucketWidth = 402.1238596594944 / w;
    }
    frame(1, m1, m2, p1, p2);
    stereotest::setRoi(reused, h, w);
    XELORAALGO::stereo::MatchI(reused, m1.data(), m2.data(), a.data(), p1.data(), p2.data());
    XELORAALGO::stereo::MatchII(reused, m1.data(), m2.data(), a.data(), p1.data(), p2.data());
    stereotest::setRoi(reused, w, h);
    frame(2, m1, m2, p1, p2);
    for (auto [e, mm] : {std::pair{&reused, &a}, std::pair{&fresh, &b}}) {
        XELORAALGO::stereo::MatchI(*e, m1.data(), m2.data(), mm->data(), p1.data(), p2.data());
        XELORAALGO::stereo::MatchII(*e, m1.data(), m2.data(), mm->data(), p1.data(), p2.data());
    }
    int matched = 0;
    for (std::size_t i = 0; i < n; ++i) {
        ASSERT_EQ(reused.matchColumn[i], fresh.matchColumn[i]) << i;
        ASSERT_EQ(reused.matchSide[i], fresh.matchSide[i]) << i;
        ASSERT_EQ(reused.subpixelColumn[i], fresh.subpixelColumn[i]) << i;
        matched += fresh.matchColumn[i] != 0;
    }
    EXPECT_GT(matched, 0);
    for (std::size_t i = 16 * w; i < n; ++i) EXPECT_EQ(reused.matchColumn[i], 0) << i;  // past the bands
}
