// Matching, triangulation and list smoothing of laser-line profiles.
#include <gtest/gtest.h>

#include "LineTestUtil.h"
#include "numerics/numerics.h"

using namespace linetest;

namespace {

// MatchLine with an F whose residual for p, q is |p.y - q.y| (rows of equal height match).
std::vector<int> matchRows(const Point2dList& p1, const Point2dList& p2, Mask& m1, Mask& m2) {
    const int H = static_cast<int>(p1.size());
    AlgoEngine e = engine(800, H);
    const double F[9] = {0, 0, 0, 0, 0, -1, 0, 1, 0};
    std::memcpy(e.calib.F, F, sizeof F);
    std::vector<int> matches(H, -1);
    laserline::MatchLine(e, p1, p2, B(m1), B(m2), matches);
    return matches;
}

TEST(MatchLine, FindsThePartnerOnlyInsideTheSearchRange) {
    const int H = 600, i = 300;
    for (int shift : {7, -150, 199, 200, -200, -201}) {  // rows i-200 .. i+199 are searched
        Point2dList p1(H), p2(H);
        Mask m1(H, 1), m2(H, 0);
        for (int k = 0; k < H; ++k) {
            p1[k] = {300.0 + 0.1 * k, k + 0.25};
            if (k + shift >= 0 && k + shift < H) {
                p2[k + shift] = {280.0 + 0.1 * k, k + 0.25};
                m2[k + shift] = 1;
            }
        }
        const auto matches = matchRows(p1, p2, m1, m2);
        const bool inRange = shift >= -200 && shift < 200;
        EXPECT_EQ(static_cast<bool>(m1[i]), inRange) << "shift " << shift;
        EXPECT_EQ(matches[i], inRange ? i + shift : -1) << "shift " << shift;
    }
}

TEST(MatchLine, ResidualLimitTiesAndSpread) {
    const int H = 50;
    Point2dList p1(H), p2(H);
    Mask m1(H, 0), m2(H, 1);
    for (int k = 0; k < H; ++k) p1[k] = p2[k] = {400.0, 10.0 * k};
    p1[10][1] = 100.09;  // residual 0.09: accepted
    p1[20][1] = 200.11;  // best residual 0.11: rejected
    p2[31][1] = 300.0;   // rows 30 and 31 tie at residual 0: the earlier wins
    m1[10] = m1[20] = m1[30] = 1;
    auto matches = matchRows(p1, p2, m1, m2);
    const int want[4][3] = {{10, 1, 10}, {20, 0, -1}, {30, 1, 30}, {5, 0, -1}};  // row 5: mask1 false
    for (const auto& w : want) {
        EXPECT_EQ(m1[w[0]], w[1]) << "row " << w[0];
        EXPECT_EQ(matches[w[0]], w[2]) << "row " << w[0];
    }
    // Straight line in camera 1, zig-zag of +-a in camera 2: x-spreads over rows -3..+3 differ by
    // a*sqrt(48)/7 (8.9 for 9, 11.9 for 12); a < 0: camera 2 has no x > 0, no spread at all.
    for (double a : {9.0, 12.0, -1.0}) {
        Mask n1(H, 1), n2(H, 1);
        for (int k = 0; k < H; ++k) {
            p1[k] = {500.0, static_cast<double>(k)};
            p2[k] = {a < 0 ? 0.0 : 500.0 + ((k % 2) ? a : -a), static_cast<double>(k)};
        }
        matchRows(p1, p2, n1, n2);
        EXPECT_EQ(static_cast<bool>(n1[20]), a == 9.0) << "amplitude " << a;
    }
}

// Profile on the plane X = 0.15 Z - 60 over an undulating surface, seen through distorting lenses
// with a ROI offset; camera 2's list holds each point `shift` rows further down.
TEST(LineProfile, EndToEndFromProjectedListsReturnsTheKnownPoints) {
    const int H = 400, shift = 6, ox = 120, oy = 60;
    Rig rig;
    const double D1[5] = {-0.06, 0.01, 0.0003, 0.0002, 0.0};
    const double D2[5] = {0.04, -0.02, -0.0001, 0.0004, 0.0};
    std::memcpy(rig.calib.D1, D1, sizeof D1);
    std::memcpy(rig.calib.D2, D2, sizeof D2);
    XeloraAlgo h;
    tagXeloraAlgoROIInfo roi{ox, oy, 1100, H};
    h.SetROIInfo(&roi);
    h.SetCalibrationInfo(&rig.calib);
    std::vector<P3> truth(H);
    Point2dList l1(H), l2(H);
    Mask m1(H, 1), m2(H, 0);
    for (int r = 0; r < H; ++r) {
        const double Z = 500.0 + 30.0 * std::sin(r / 40.0);
        truth[r] = {0.15 * Z - 60.0, (r + oy - 512.0) * Z / 2000.0, Z};
        const auto d1 = distort(rig.calib.K1, D1, rig.project1(truth[r]));
        l1[r] = {d1[0] - ox, d1[1] - oy};
        if (r + shift < H) {
            const auto d2 = distort(rig.calib.K2, D2, rig.project2(truth[r]));
            l2[r + shift] = {d2[0] - ox, d2[1] - oy};
            m2[r + shift] = 1;
        }
    }
    h.UndistortPoints2(true, l1);
    h.UndistortPoints2(false, l2);
    std::vector<int> matches(H, -1);
    h.MatchLine(l1, l2, B(m1), B(m2), matches);
    Point3dList cloud, depth;
    h.Calpoint(l1, l2, B(m1), matches, cloud, depth);
    ASSERT_EQ(cloud.size(), static_cast<std::size_t>(H));
    ASSERT_EQ(depth.size(), static_cast<std::size_t>(H - shift));
    for (int r = 0; r < H; ++r) {
        ASSERT_EQ(static_cast<bool>(m1[r]), r + shift < H) << "row " << r;
        if (r + shift >= H) {
            EXPECT_EQ(cloud[r], (P3{0, 0, 0})) << "row " << r;
            continue;
        }
        EXPECT_EQ(matches[r], r + shift);
        EXPECT_LT(dist3(cloud[r], truth[r]), 1e-3) << "row " << r;
        EXPECT_EQ(depth[r], (P3{l1[r][0], l1[r][1], cloud[r][2]})) << "row " << r;
    }
}

TEST(Calpoint_smooth, TakesTheSmoothedPointOnlyWhenItIsCloseAndBetter) {
    // Straight profile on X = 0.15 Z - 60 at depth 500, row-aligned lists, row 45 masked out.
    const int H = 60;
    Rig rig;
    AlgoEngine e = engine(1280, H);
    e.calib = rig.calib;
    Point2dList l1(H), l2(H);
    auto truth = [](int r) { return P3{15.0, (r - 30) * 0.25, 500.0}; };
    std::vector<int> matches(H);
    Mask mask(H, 1);
    mask[45] = 0;
    for (int r = 0; r < H; ++r) {
        l1[r] = rig.project1(truth(r));
        l2[r] = rig.project2(truth(r));
        matches[r] = r;
    }
    // Camera-2 column off by 0.5 px at rows 0 and 20 (about 0.4 of depth), by 4 px at row 40.
    for (int r : {0, 20}) l2[r][0] += 0.5;
    l2[40][0] += 4.0;
    Point3dList cloud;
    laserline::Calpoint_smooth(e, l1, l2, 8, B(mask), matches, cloud);
    ASSERT_EQ(cloud.size(), static_cast<std::size_t>(H));
    auto raw = [&](int r) { return laserline::triangulateLinePoint(rig.calib, l1[r][0], l1[r][1], l2[r][0]); };
    ASSERT_GT(dist3(raw(20), truth(20)), 0.2);
    ASSERT_GT(dist3(raw(40), truth(40)), 2.0);
    EXPECT_LT(dist3(cloud[20], truth(20)), 0.1 * dist3(raw(20), truth(20)));  // repaired by the local fit
    EXPECT_EQ(cloud[40], raw(40));  // smoothed point more than 2.0 away: raw kept
    EXPECT_EQ(cloud[0], raw(0));    // the first row is always raw
    EXPECT_EQ(cloud[45], (P3{0, 0, 0}));
    EXPECT_LT(dist3(cloud[30], truth(30)), 1e-6);
}

TEST(FitLineFunction_V, LocalLineFitWindowsEndsAndExclusions) {
    // x = 100 + y on rows 0..9, n = 2 (windows of 4 entries, 3 needed).
    Point2dList line;
    for (int y = 0; y < 10; ++y) line.push_back({100.0 + y, static_cast<double>(y)});
    // Row 5 raised to 108: window rows 3..6 (103, 104, 108, 106) fit x(5) = 105.9. First n and last
    // n - 1 entries are kept (rows 1 and 9 raised by 3); row 8 (window 106, 107, 111, 112) -> 110.1.
    Point2dList p = line;
    p[5][0] = 108.0;
    for (int r : {1, 8, 9}) p[r][0] += 3.0;
    const Point2dList q = p;
    laserline::FitLineFunction_V(p, 2, false);  // disabled, or fewer than 2 n entries: unchanged
    laserline::FitLineFunction_V(p, 6, true);
    EXPECT_EQ(p, q);
    laserline::FitLineFunction_V(p, 2, true);
    EXPECT_NEAR(p[5][0], 105.9, 1e-9);
    EXPECT_EQ(p[5][1], 5.0);
    EXPECT_EQ(p[1][0], 104.0);
    EXPECT_EQ(p[9][0], 112.0);
    EXPECT_NEAR(p[8][0], 110.1, 1e-9);
    // Entries more than 15 off or below 5 are left out of the fits: row 5's window keeps only 103
    // and 105 (too few); row 3's keeps 101..103; row 4's holds only itself.
    p = line;
    p[4][0] = 124.0;
    p[6][0] = 3.0;
    laserline::FitLineFunction_V(p, 2, true);
    EXPECT_EQ(p[5][0], 105.0);
    EXPECT_NEAR(p[3][0], 103.0, 1e-9);
    EXPECT_EQ(p[4][0], 124.0);
}

TEST(Gaussianfilter, SmoothsNonZeroEntriesButNotAcrossJumps) {
    const double e = XELORAALGO::num::exp(-0.5), n3 = 1 + 2 * e;  // n = 1: 3 taps, sigma = 1
    Point2dList p{{10, 0}, {0, 1}, {10, 2}, {13, 3}, {10, 4}, {10, 5}};
    laserline::Gaussianfilter(p, 1);  // the zero entry is skipped and kept: gathered x 10, 10, 13, 10, 10
    const double want[6] = {10, 0, (10 + 23 * e) / n3, (13 + 20 * e) / n3, (10 + 23 * e) / n3, 10};
    for (int k = 0; k < 6; ++k) EXPECT_EQ(p[k][1], static_cast<double>(k));
    for (int k = 0; k < 6; ++k) EXPECT_NEAR(p[k][0], want[k], 1e-12) << "entry " << k;
    p = {{10, 0}, {10, 1}, {15, 2}, {10, 3}, {10, 4}};  // a jump of 5 is not smoothed across
    laserline::Gaussianfilter(p, 1);
    EXPECT_EQ(p[2][0], 15.0);
    EXPECT_NEAR(p[1][0], 10.0, 1e-12);
    p = {{10, 0}, {0, 1}, {14, 2}, {11, 3}, {12, 4}};  // fewer non-zero entries than 2n + 1
    const Point2dList q = p;
    laserline::Gaussianfilter(p, 2);
    laserline::Gaussianfilter(p, -1);
    EXPECT_EQ(p, q);
}

}  // namespace
