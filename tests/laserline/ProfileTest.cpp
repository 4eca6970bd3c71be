// Undistortion, matching, triangulation and list smoothing of laser-line profiles.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "LineTestUtil.h"
#include "laserline/laserline.h"

using namespace XELORAALGO;
using namespace linetest;

namespace {

// ---- UndistortPoints2 ----

TEST(UndistortPoints2, ZeroDistortionOnlyAddsRoiOffset) {
    AlgoEngine e;
    setRoi(e, 200, 100, 37, 211);
    Rig rig;
    e.calib = rig.calib;
    Point2dList pts{{0.0, 0.0}, {12.25, 3.0}, {150.5, 99.0}};
    XeloraAlgo h;
    tagXeloraAlgoROIInfo roi{37, 211, 200, 100};
    h.SetROIInfo(&roi);
    h.SetCalibrationInfo(&rig.calib);
    Point2dList viaHandle = pts;
    h.UndistortPoints2(false, viaHandle);
    laserline::UndistortPoints2(e, true, pts);
    EXPECT_NEAR(pts[0][0], 37.0, 1e-9);
    EXPECT_NEAR(pts[0][1], 211.0, 1e-9);
    EXPECT_NEAR(pts[1][0], 49.25, 1e-9);
    EXPECT_NEAR(pts[1][1], 214.0, 1e-9);
    EXPECT_NEAR(pts[2][0], 187.5, 1e-9);
    EXPECT_NEAR(viaHandle[2][1], 310.0, 1e-9);
}

TEST(UndistortPoints2, InvertsTheDistortionOfTheChosenCamera) {
    Rig rig;
    const double D1[5] = {-0.08, 0.02, 0.0004, -0.0003, 0.0};
    const double D2[5] = {0.06, -0.01, -0.0002, 0.0005, 0.001};
    std::memcpy(rig.calib.D1, D1, sizeof D1);
    std::memcpy(rig.calib.D2, D2, sizeof D2);
    AlgoEngine e;
    setRoi(e, 1000, 800, 40, 20);
    e.calib = rig.calib;
    const std::vector<std::array<double, 2>> truth{{700.3, 500.7}, {100.0, 90.0}, {1100.25, 850.5}, {640, 512}};
    for (bool first : {true, false}) {
        const double* K = first ? rig.calib.K1 : rig.calib.K2;
        const double* D = first ? D1 : D2;
        Point2dList pts;
        for (const auto& t : truth) {
            const auto d = distort(K, D, t);
            pts.push_back({d[0] - 40.0, d[1] - 20.0});  // ROI coordinates of the raw image
        }
        laserline::UndistortPoints2(e, first, pts);
        for (std::size_t k = 0; k < truth.size(); ++k) {
            EXPECT_NEAR(pts[k][0], truth[k][0], 1e-6) << "camera " << (first ? 1 : 2) << " point " << k;
            EXPECT_NEAR(pts[k][1], truth[k][1], 1e-6) << "camera " << (first ? 1 : 2) << " point " << k;
        }
    }
}

// ---- MatchLine ----

// F whose residual for p, q is |p.y - q.y| (rows of equal height match).
void setRowF(AlgoEngine& e) {
    const double F[9] = {0, 0, 0, 0, 0, -1, 0, 1, 0};
    std::memcpy(e.calib.F, F, sizeof F);
}

TEST(MatchLine, FindsThePartnerOnlyInsideTheSearchRange) {
    const int H = 600;
    AlgoEngine e;
    setRoi(e, 800, H);
    setRowF(e);
    for (int shift : {7, -150, 199, 200, -200, -201}) {
        Point2dList p1(H), p2(H);
        std::vector<char> m1(H, 0), m2(H, 0);
        for (int i = 0; i < H; ++i) {
            p1[i] = {300.0 + 0.1 * i, i + 0.25};
            m1[i] = 1;
            const int j = i + shift;
            if (j >= 0 && j < H) {
                p2[j] = {280.0 + 0.1 * i, i + 0.25};
                m2[j] = 1;
            }
        }
        std::vector<int> matches(H, -1);
        laserline::MatchLine(e, p1, p2, reinterpret_cast<bool*>(m1.data()), reinterpret_cast<bool*>(m2.data()),
                             matches);
        const int i = 300;
        const bool inRange = shift >= -200 && shift < 200;
        EXPECT_EQ(static_cast<bool>(m1[i]), inRange) << "shift " << shift;
        if (inRange) EXPECT_EQ(matches[i], i + shift) << "shift " << shift;
        else EXPECT_EQ(matches[i], -1) << "shift " << shift;
    }
}

TEST(MatchLine, ResidualLimitAndEarlierRowOnTies) {
    const int H = 50;
    AlgoEngine e;
    setRoi(e, 800, H);
    setRowF(e);
    Point2dList p1(H), p2(H);
    std::vector<char> m1(H, 0), m2(H, 0);
    for (int i = 0; i < H; ++i) {
        p1[i] = {400.0, 10.0 * i};
        p2[i] = {400.0, 10.0 * i};
        m2[i] = 1;
    }
    p1[10][1] = 100.09;  // partner row 10 at residual 0.09: accepted
    p1[20][1] = 200.11;  // best residual 0.11: rejected
    p2[31][1] = 300.0;   // rows 30 and 31 tie at residual 0: the earlier wins
    m1[10] = m1[20] = m1[30] = 1;
    std::vector<int> matches(H, -1);
    laserline::MatchLine(e, p1, p2, reinterpret_cast<bool*>(m1.data()), reinterpret_cast<bool*>(m2.data()), matches);
    EXPECT_TRUE(m1[10]);
    EXPECT_EQ(matches[10], 10);
    EXPECT_FALSE(m1[20]);
    EXPECT_EQ(matches[20], -1);
    EXPECT_TRUE(m1[30]);
    EXPECT_EQ(matches[30], 30);
    // Rows with mask1 false are neither matched nor changed.
    EXPECT_FALSE(m1[5]);
    EXPECT_EQ(matches[5], -1);
}

TEST(MatchLine, RejectsNeighbourhoodsOfDifferentSpread) {
    const int H = 40;
    AlgoEngine e;
    setRoi(e, 800, H);
    setRowF(e);
    // Straight stretch in camera 1; zig-zag of +-a in camera 2. The population standard deviation
    // of 7 alternating values (4 of one sign, 3 of the other) about their mean is a*sqrt(48)/7.
    for (double amp : {9.0, 12.0}) {
        Point2dList p1(H), p2(H);
        std::vector<char> m1(H, 1), m2(H, 1);
        for (int i = 0; i < H; ++i) {
            p1[i] = {500.0, static_cast<double>(i)};
            p2[i] = {500.0 + ((i % 2) ? amp : -amp), static_cast<double>(i)};
        }
        std::vector<int> matches(H, -1);
        laserline::MatchLine(e, p1, p2, reinterpret_cast<bool*>(m1.data()), reinterpret_cast<bool*>(m2.data()),
                             matches);
        const double spread = amp * std::sqrt(48.0) / 7.0;  // 8.9 for 9, 11.9 for 12
        EXPECT_EQ(static_cast<bool>(m1[20]), spread < 10.0) << "amplitude " << amp;
    }
    // A row whose neighbourhood has no points with x > 0 on one side is rejected.
    Point2dList p1(H), p2(H);
    std::vector<char> m1(H, 1), m2(H, 1);
    for (int i = 0; i < H; ++i) {
        p1[i] = {500.0, static_cast<double>(i)};
        p2[i] = {0.0, static_cast<double>(i)};
    }
    std::vector<int> matches(H, -1);
    laserline::MatchLine(e, p1, p2, reinterpret_cast<bool*>(m1.data()), reinterpret_cast<bool*>(m2.data()), matches);
    EXPECT_FALSE(m1[20]);
}

// ---- triangulation ----

TEST(Calpoint, RecoversKnownPointsAndMasksRows) {
    Rig rig;
    AlgoEngine e;
    setRoi(e, 1280, 3);
    e.calib = rig.calib;
    const std::array<double, 3> P0{-20.0, 15.0, 480.0}, P2{35.0, -40.0, 620.0};
    Point2dList p1(3), p2(3);
    const auto a0 = rig.project1(P0), b0 = rig.project2(P0);
    const auto a2 = rig.project1(P2), b2 = rig.project2(P2);
    p1[0] = a0;
    p1[2] = a2;
    p2[1] = b0;  // matches point rows of list 2 across
    p2[0] = b2;
    bool mask[3] = {true, false, true};
    std::vector<int> matches{1, 0, 0};
    Point3dList cloud{{9, 9, 9}}, depth{{9, 9, 9}};
    laserline::Calpoint(e, p1, p2, mask, matches, cloud, depth);
    ASSERT_EQ(cloud.size(), 3u);
    ASSERT_EQ(depth.size(), 2u);
    for (int k = 0; k < 3; ++k) {
        EXPECT_NEAR(cloud[0][k], P0[k], 1e-9 * 620);
        EXPECT_NEAR(cloud[2][k], P2[k], 1e-9 * 620);
        EXPECT_EQ(cloud[1][k], 0.0);
    }
    EXPECT_EQ(depth[0][0], a0[0]);
    EXPECT_EQ(depth[0][1], a0[1]);
    EXPECT_NEAR(depth[0][2], 480.0, 1e-6);
    EXPECT_EQ(depth[1][0], a2[0]);
    EXPECT_NEAR(depth[1][2], 620.0, 1e-6);
}

// A profile on a laser plane X = 0.15 Z - 60 over an undulating surface, seen through distorting
// lenses with a ROI offset; camera 2's list holds each point `shift` rows further down.
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

    std::vector<std::array<double, 3>> truth(H);
    Point2dList l1(H), l2(H);
    std::vector<char> m1(H, 0), m2(H, 0);
    for (int r = 0; r < H; ++r) {
        const double Z = 500.0 + 30.0 * std::sin(r / 40.0);
        const double Y = (r + oy - 512.0) * Z / 2000.0;
        truth[r] = {0.15 * Z - 60.0, Y, Z};
        const auto d1 = distort(rig.calib.K1, D1, rig.project1(truth[r]));
        l1[r] = {d1[0] - ox, d1[1] - oy};
        m1[r] = 1;
        if (r + shift < H) {
            const auto d2 = distort(rig.calib.K2, D2, rig.project2(truth[r]));
            l2[r + shift] = {d2[0] - ox, d2[1] - oy};
            m2[r + shift] = 1;
        }
    }
    h.UndistortPoints2(true, l1);
    h.UndistortPoints2(false, l2);
    std::vector<int> matches(H, -1);
    h.MatchLine(l1, l2, reinterpret_cast<bool*>(m1.data()), reinterpret_cast<bool*>(m2.data()), matches);
    Point3dList cloud, depth;
    h.Calpoint(l1, l2, reinterpret_cast<bool*>(m1.data()), matches, cloud, depth);
    ASSERT_EQ(cloud.size(), static_cast<std::size_t>(H));
    int valid = 0;
    for (int r = 0; r < H; ++r) {
        if (r + shift < H) {
            ASSERT_TRUE(m1[r]) << "row " << r;
            EXPECT_EQ(matches[r], r + shift);
            EXPECT_LT(dist3(cloud[r], truth[r]), 1e-3) << "row " << r;
            ++valid;
        } else {
            EXPECT_FALSE(m1[r]) << "row " << r;
            EXPECT_EQ(cloud[r][2], 0.0);
        }
    }
    EXPECT_EQ(depth.size(), static_cast<std::size_t>(valid));
}

TEST(Calpoint_smooth, TakesTheSmoothedPointOnlyWhenItIsCloseAndBetter) {
    const int H = 60;
    Rig rig;
    AlgoEngine e;
    setRoi(e, 1280, H);
    e.calib = rig.calib;
    // A straight profile: plane X = 0.15 Z - 60 at constant depth 500; list 2 row-aligned.
    Point2dList l1(H), l2(H);
    std::vector<std::array<double, 3>> truth(H);
    std::vector<int> matches(H);
    std::vector<char> mask(H, 1);
    for (int r = 0; r < H; ++r) {
        truth[r] = {0.15 * 500 - 60.0, (r - 30) * 0.25, 500.0};
        l1[r] = rig.project1(truth[r]);
        l2[r] = rig.project2(truth[r]);
        matches[r] = r;
    }
    mask[45] = 0;
    // Row 20: camera-2 column off by 0.5 px (about 0.4 of depth): the local fit repairs it.
    // Row 40: off by 4 px (more than 2.0 of depth): the raw point stays.
    // Row 0 is always raw, even when disturbed.
    l2[20][0] += 0.5;
    l2[40][0] += 4.0;
    l2[0][0] += 0.5;
    Point3dList cloud;
    laserline::Calpoint_smooth(e, l1, l2, 8, reinterpret_cast<bool*>(mask.data()), matches, cloud);
    ASSERT_EQ(cloud.size(), static_cast<std::size_t>(H));
    const auto raw20 = laserline::triangulateLinePoint(rig.calib, l1[20][0], l1[20][1], l2[20][0]);
    const auto raw40 = laserline::triangulateLinePoint(rig.calib, l1[40][0], l1[40][1], l2[40][0]);
    const auto raw0 = laserline::triangulateLinePoint(rig.calib, l1[0][0], l1[0][1], l2[0][0]);
    ASSERT_GT(dist3(raw20, truth[20]), 0.2);
    ASSERT_LT(dist3(raw20, truth[20]), 2.0);
    ASSERT_GT(dist3(raw40, truth[40]), 2.0);
    EXPECT_LT(dist3(cloud[20], truth[20]), 0.1 * dist3(raw20, truth[20]));
    EXPECT_EQ(cloud[40], raw40);
    EXPECT_EQ(cloud[0], raw0);
    EXPECT_EQ(cloud[45], (std::array<double, 3>{0, 0, 0}));
    EXPECT_LT(dist3(cloud[30], truth[30]), 1e-6);
}

// ---- smoothers ----

TEST(FitLineFunction_V, LocalLineFitWindowsAndExclusions) {
    // x = 100 + y on rows 0..9, n = 2 (windows of 4 entries, 3 needed).
    auto line = [] {
        Point2dList p;
        for (int y = 0; y < 10; ++y) p.push_back({100.0 + y, static_cast<double>(y)});
        return p;
    };
    {
        // Row 5 raised by 3: window rows 3..6 hold x = 103, 104, 108, 106; least squares gives
        // slope 6.5 / 5 = 1.3 and intercept 105.25 - 1.3 * 4.5 = 99.4, so x(5) = 105.9.
        Point2dList p = line();
        p[5][0] = 108.0;
        laserline::FitLineFunction_V(p, 2, true);
        ASSERT_EQ(p.size(), 10u);
        EXPECT_NEAR(p[5][0], 105.9, 1e-9);
        EXPECT_EQ(p[5][1], 5.0);
    }
    {
        // First n and last n - 1 entries keep their values; entry N - n is fitted.
        Point2dList p = line();
        p[1][0] += 3.0;
        p[9][0] += 3.0;
        p[8][0] += 3.0;  // window rows 6..9: x = 106, 107, 111, 112
        laserline::FitLineFunction_V(p, 2, true);
        EXPECT_EQ(p[1][0], 104.0);
        EXPECT_EQ(p[9][0], 112.0);
        // slope: sum (y-7.5)(x-109) = (-1.5)(-3) + (-0.5)(-2) + 0.5*2 + 1.5*3 = 11, / 5 = 2.2;
        // x(8) = 109 + 2.2 * 0.5 = 110.1
        EXPECT_NEAR(p[8][0], 110.1, 1e-9);
    }
    {
        // An outlier 20 px off is left out of its neighbours' fits; an entry below 5 likewise.
        Point2dList p = line();
        p[4][0] = 124.0;
        p[6][0] = 3.0;
        // Window of row 5: rows 3..6 -> 103 and 105 only (124 is 19 away, 3 is below 5): m = 2 < 3.
        // Window of row 3: rows 1..4 -> 101, 102, 103 (124 is 21 away): exact line, x(3) = 103.
        laserline::FitLineFunction_V(p, 2, true);
        EXPECT_EQ(p[5][0], 105.0);
        EXPECT_NEAR(p[3][0], 103.0, 1e-9);
        EXPECT_EQ(p[4][0], 124.0);  // its own window (rows 2..5) holds only itself
    }
    {
        Point2dList p = line();
        p[5][0] = 108.0;
        Point2dList q = p;
        laserline::FitLineFunction_V(q, 2, false);
        EXPECT_EQ(q, p);
        laserline::FitLineFunction_V(q, 6, true);  // 10 entries < 2 * 6
        EXPECT_EQ(q, p);
    }
}

TEST(Gaussianfilter, SmoothsNonZeroEntriesButNotAcrossJumps) {
    const double e = std::exp(-0.5);  // n = 1: 3 taps, sigma = 1
    {
        Point2dList p{{10, 0}, {0, 1}, {10, 2}, {13, 3}, {10, 4}, {10, 5}};
        XeloraAlgo h;
        h.Gaussianfilter(p, 1);
        // gathered x: 10, 10, 13, 10, 10 (the zero entry is skipped and kept)
        EXPECT_NEAR(p[0][0], 10.0, 1e-12);
        EXPECT_EQ(p[1][0], 0.0);
        EXPECT_NEAR(p[2][0], (e * 10 + 10 + e * 13) / (1 + 2 * e), 1e-12);
        EXPECT_NEAR(p[3][0], (13 + 2 * e * 10) / (1 + 2 * e), 1e-12);
        EXPECT_NEAR(p[5][0], 10.0, 1e-12);
        for (int k = 0; k < 6; ++k) EXPECT_EQ(p[k][1], static_cast<double>(k));
    }
    {
        // Ends use the taps that exist: first entry (10 + 13 e) / (1 + e).
        Point2dList p{{10, 0}, {13, 1}, {13, 2}};
        laserline::Gaussianfilter(p, 1);
        EXPECT_NEAR(p[0][0], (10 + 13 * e) / (1 + e), 1e-12);
        EXPECT_NEAR(p[1][0], (10 * e + 13 + 13 * e) / (1 + 2 * e), 1e-12);
    }
    {
        // A jump of 5 or more is not smoothed across.
        Point2dList p{{10, 0}, {10, 1}, {15, 2}, {10, 3}, {10, 4}};
        laserline::Gaussianfilter(p, 1);
        EXPECT_EQ(p[2][0], 15.0);
        EXPECT_NEAR(p[1][0], 10.0, 1e-12);
    }
    {
        // Fewer non-zero entries than 2n + 1: unchanged.
        Point2dList p{{10, 0}, {0, 1}, {14, 2}, {11, 3}, {12, 4}};
        const Point2dList q = p;
        laserline::Gaussianfilter(p, 2);
        EXPECT_EQ(p, q);
        laserline::Gaussianfilter(p, -1);
        EXPECT_EQ(p, q);
    }
}

}  // namespace
