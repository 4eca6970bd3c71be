// GetDepth: profiles made by back-projecting a known depth map come back as that map; points sharing
// a pixel are averaged; short row gaps are bridged by interpolated points, longer ones and those after
// row 0 or next to a column-0 hit are not.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "CloudTestUtil.h"
#include "XeloraAlgo.h"

using XELORAALGO::XeloraAlgo;
using Cloud = std::vector<std::array<double, 3>>;
using cloudtest::Intrinsics;

namespace {

const std::array<double, 3> kZero{0.0, 0.0, 0.0};

struct DepthRig {
    XeloraAlgo algo;
    Intrinsics cam;
    int w, h;
    DepthRig(int w_, int h_, const Intrinsics& c) : cam(c), w(w_), h(h_) {
        XELORAALGO::tagXeloraAlgoROIInfo roi{5, 7, w, h};  // the ROI offset plays no part
        algo.SetROIInfo(&roi);
        auto cal = cloudtest::emptyCalib();
        cloudtest::setCamera(cal.K1, cal.D1, c);
        // The colour camera and camera 2 must not be used.
        cloudtest::setCamera(cal.K2, cal.D2, {900, 3, 900, 3, 0.3, 0.1, 0.02, 0.02});
        cloudtest::setCamera(cal.K3, cal.D3, {900, 3, 900, 3, 0.3, 0.1, 0.02, 0.02});
        algo.SetCalibrationInfo(&cal);
    }
    // The 3-D point at depth Z that camera 1 sees at pixel (col, row) (with distortion).
    std::array<double, 3> at(double col, double row, double Z) const {
        double x, y;
        cloudtest::unproject(cam, col, row, x, y);
        return {x * Z, y * Z, Z};
    }
    std::size_t idx(int row, int col) const { return static_cast<std::size_t>(row * w + col); }
};

double depthAt(int c, int r) { return 300.0 + 0.75 * c - 0.4 * r + 5.0 * std::sin(0.3 * c + 0.2 * r); }

}  // namespace

TEST(GetDepth, ReproducesBackProjectedDepthMap) {
    // Distortion with p1 != p2 and principal point off-centre: a swapped coefficient or a missing
    // term moves points by more than half a pixel here.
    DepthRig rig(48, 36, {260.0, 21.3, 250.0, 16.8, -0.09, 0.04, 0.012, -0.015});
    std::vector<Cloud> profiles;
    for (int c = 0; c < rig.w; ++c) {
        Cloud p;
        for (int r = 0; r < rig.h; ++r) {
            if (c == 7 && r >= 12 && r <= 16) continue;  // five missing rows: not bridged
            p.push_back(rig.at(c, r, depthAt(c, r)));
        }
        profiles.push_back(p);
    }
    Cloud map{{1, 2, 3}};
    rig.algo.GetDepth(profiles, map);
    ASSERT_EQ(map.size(), static_cast<std::size_t>(rig.w * rig.h));
    for (int r = 0; r < rig.h; ++r)
        for (int c = 0; c < rig.w; ++c) {
            if (c == 7 && r >= 12 && r <= 16)
                EXPECT_EQ(map[rig.idx(r, c)], kZero) << r << " " << c;
            else
                EXPECT_EQ(map[rig.idx(r, c)], rig.at(c, r, depthAt(c, r))) << r << " " << c;
        }

    // Points a little off the pixel centre round to the nearest pixel (+0.5, then truncation toward
    // zero, so that -0.95 still lands in column 0 while -1.55 and 47.55 fall outside).
    std::vector<Cloud> offCentre{{rig.at(10.45, 20.0, 280.0), rig.at(12.0, 20.55, 280.0), rig.at(-0.45, 3.0, 280.0),
                                  rig.at(-0.95, 4.0, 280.0), rig.at(47.45, 30.0, 280.0), rig.at(47.55, 31.0, 280.0),
                                  rig.at(-1.55, 5.0, 280.0)}};
    rig.algo.GetDepth(offCentre, map);
    EXPECT_EQ(map[rig.idx(20, 10)], offCentre[0][0]);
    EXPECT_EQ(map[rig.idx(21, 12)], offCentre[0][1]);
    EXPECT_EQ(map[rig.idx(3, 0)], offCentre[0][2]);
    EXPECT_EQ(map[rig.idx(4, 0)], offCentre[0][3]);
    EXPECT_EQ(map[rig.idx(30, 47)], offCentre[0][4]);
    int filled = 0;
    for (const auto& q : map) filled += q != kZero;
    EXPECT_EQ(filled, 5);
}

TEST(GetDepth, PointsOnOnePixelAreAveraged) {
    DepthRig rig(30, 20, {200.0, 15.0, 200.0, 10.0, 0.0, 0.0, 0.0, 0.0});
    const auto a = rig.at(8, 9, 100.0), b = rig.at(8, 9, 130.0), c = rig.at(8, 9, 175.0);
    Cloud map;
    rig.algo.GetDepth({{a}, {b}}, map);
    for (int d = 0; d < 3; ++d) EXPECT_DOUBLE_EQ(map[rig.idx(9, 8)][d], (a[d] + b[d]) / 2.0);
    rig.algo.GetDepth({{a}, {b, c}}, map);  // also within one profile
    for (int d = 0; d < 3; ++d) EXPECT_DOUBLE_EQ(map[rig.idx(9, 8)][d], (a[d] + b[d] + c[d]) / 3.0);
    // A new call starts from an empty map.
    rig.algo.GetDepth({{c}}, map);
    EXPECT_EQ(map[rig.idx(9, 8)], c);

    // Z = 0 and (0, 0, 0) are skipped, also for bridging.
    rig.algo.GetDepth({{{1.0, 2.0, 0.0}, {0.0, 0.0, 0.0}}}, map);
    for (const auto& q : map) EXPECT_EQ(q, kZero);
}

TEST(GetDepth, GapBridging) {
    // No distortion, principal point at the origin: pixel (c, r) at depth Z is (c Z / 100, r Z / 100, Z).
    DepthRig rig(60, 30, {100.0, 0.0, 100.0, 0.0, 0.0, 0.0, 0.0, 0.0});
    Cloud map;

    // Rows 10 (column 20, Z 100) and 12 (column 22, Z 120): row 11 gets the midpoint (23.2, 12.2, 110),
    // which projects to column 21.09.
    const auto s = rig.at(20, 10, 100.0), e = rig.at(22, 12, 120.0);
    rig.algo.GetDepth({{s, e}}, map);
    const std::array<double, 3> mid{(s[0] + (e[0] - s[0]) * 1.0 / 2.0), (s[1] + (e[1] - s[1]) * 1.0 / 2.0),
                                    (s[2] + (e[2] - s[2]) * 1.0 / 2.0)};
    EXPECT_EQ(map[rig.idx(11, 21)], mid);
    EXPECT_NEAR(mid[0], 23.2, 1e-12);
    EXPECT_NEAR(mid[2], 110.0, 1e-12);

    // Rows 3 and 7 (three missing rows): rows 4, 5, 6 at a quarter, half, three quarters.
    const auto s2 = rig.at(30, 3, 200.0), e2 = rig.at(34, 7, 200.0);
    rig.algo.GetDepth({{s2, e2}}, map);
    for (int m = 4; m <= 6; ++m) {
        std::array<double, 3> p;
        for (int d = 0; d < 3; ++d) p[static_cast<std::size_t>(d)] = s2[d] + (e2[d] - s2[d]) * (m - 3) / 4.0;
        EXPECT_EQ(map[rig.idx(m, 30 + (m - 3))], p) << m;
    }

    // Rows 10 and 15 (four missing rows): nothing in between.
    rig.algo.GetDepth({{rig.at(20, 10, 100.0), rig.at(25, 15, 100.0)}}, map);
    int filled = 0;
    for (const auto& q : map) filled += q != kZero;
    EXPECT_EQ(filled, 2);

    // A hit in column 0 counts as no hit: rows 10 (column 0) and 12 are not bridged.
    rig.algo.GetDepth({{rig.at(0, 10, 100.0), rig.at(2, 12, 100.0)}}, map);
    filled = 0;
    for (const auto& q : map) filled += q != kZero;
    EXPECT_EQ(filled, 2);

    // A gap right after row 0 is never bridged; the same gap further down is.
    rig.algo.GetDepth({{rig.at(5, 0, 100.0), rig.at(5, 2, 100.0)}, {rig.at(9, 1, 100.0), rig.at(9, 3, 100.0)}}, map);
    EXPECT_EQ(map[rig.idx(1, 5)], kZero);
    EXPECT_NE(map[rig.idx(2, 9)], kZero);
    EXPECT_NEAR(map[rig.idx(2, 9)][1], 2.0, 1e-12);

    // Row hits are per profile: two profiles each with one of the two rows bridge nothing.
    rig.algo.GetDepth({{s}, {e}}, map);
    EXPECT_EQ(map[rig.idx(11, 21)], kZero);

    // A bridged point joins the running mean of a pixel that already holds a measured one.
    const auto there = rig.at(21, 11, 108.0);
    rig.algo.GetDepth({{there}, {s, e}}, map);
    for (int d = 0; d < 3; ++d) EXPECT_DOUBLE_EQ(map[rig.idx(11, 21)][d], (there[d] + mid[d]) / 2.0);
}
