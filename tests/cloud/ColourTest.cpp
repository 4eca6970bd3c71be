// RGB2Cloud and GetRGBpoint: points made by back-projecting colour-camera pixels through a rotated,
// shifted and distorted colour camera come back with those pixels; nearest-point rules, ties, the
// distance limit; uncoloured cases and the points past the last full band.
#include <gtest/gtest.h>

#include <random>
#include <tuple>
#include <vector>

#include "CloudTestUtil.h"
#include "XeloraAlgo.h"

using XELORAALGO::XeloraAlgo;
using Cloud = std::vector<std::array<double, 3>>;
using cloudtest::Intrinsics;

namespace {

const std::array<double, 3> kZero{0.0, 0.0, 0.0};

struct ColourRig {
    XeloraAlgo algo;
    Intrinsics cam;
    std::array<double, 9> R;
    std::array<double, 3> T;
    ColourRig(const Intrinsics& c, const std::array<double, 9>& R_, const std::array<double, 3>& T_)
        : cam(c), R(R_), T(T_) {
        XELORAALGO::tagXeloraAlgoROIInfo roi{0, 0, 7, 5};
        algo.SetROIInfo(&roi);
        auto cal = cloudtest::emptyCalib();
        cloudtest::setCamera(cal.K3, cal.D3, c);
        for (int i = 0; i < 9; ++i) cal.R3[i] = R[static_cast<std::size_t>(i)];
        for (int i = 0; i < 3; ++i) cal.T3[i] = T[static_cast<std::size_t>(i)];
        // Camera 1's intrinsics must not be used.
        cloudtest::setCamera(cal.K1, cal.D1, {1000, 500, 1000, 400, 0.2, 0.1, 0.01, 0.01});
        algo.SetCalibrationInfo(&cal);
    }
    // Camera-1 point that lands on colour pixel position (u, v) at colour-camera depth Zc:
    // P = R^T (Pc - T).
    std::array<double, 3> at(double u, double v, double Zc) const {
        double x, y;
        cloudtest::unproject(cam, u, v, x, y);
        const double Pc[3] = {x * Zc - T[0], y * Zc - T[1], Zc - T[2]};
        std::array<double, 3> P{};
        for (int i = 0; i < 3; ++i)
            for (int k = 0; k < 3; ++k) P[static_cast<std::size_t>(i)] += R[static_cast<std::size_t>(3 * k + i)] * Pc[k];
        return P;
    }
};

// A wide lens (about 56 x 45 degrees over 64 x 48 pixels) with strong tangential terms, p1 != p2:
// swapping them or dropping a term moves points by more than a pixel near the corners.
const Intrinsics kDistorted{60.0, 31.7, 58.0, 23.2, -0.12, 0.03, 0.05, -0.04};

std::tuple<std::vector<unsigned char>, int, int> codedImage(int w, int h) {
    std::vector<unsigned char> b;
    for (int v = 0; v < h; ++v)
        for (int u = 0; u < w; ++u) {
            b.push_back(static_cast<unsigned char>(3 * u));
            b.push_back(static_cast<unsigned char>(5 * v));
            b.push_back(static_cast<unsigned char>((u + v) & 255));
        }
    return {b, w, h};
}

}  // namespace

TEST(GetRGBpoint, ColoursCloudWithProjectedPixels) {
    ColourRig rig(kDistorted, cloudtest::rotation(0.12, -0.07), {14.0, -6.0, 3.5});
    const int W = 64, H = 48;
    const auto image = codedImage(W, H);
    std::mt19937 rng(9);
    std::uniform_int_distribution<int> pu(0, W - 1), pv(0, H - 1);
    std::uniform_real_distribution<double> depth(150.0, 400.0);
    Cloud cloud;
    std::vector<std::array<int, 2>> target;
    for (int i = 0; i < 1003; ++i) {  // 1003 = 8 * 125 + 3: three points past the last band
        const int u = pu(rng), v = pv(rng);
        cloud.push_back(rig.at(u + 0.5, v + 0.5, depth(rng)));
        target.push_back({u, v});
    }
    // Last points: column -0.5 truncates to 0 and is coloured; column 64.2 is outside; a point behind
    // the camera stays uncoloured.
    cloud[1000] = rig.at(-0.5, 10.5, 200.0);
    target[1000] = {0, 10};
    cloud[1001] = rig.at(W + 0.2, 10.5, 200.0);
    target[1001] = {-1, -1};
    cloud[1002] = {0.0, 0.0, 0.0};  // R^T ((0, 0, -30) - T): 30 behind the colour camera
    {
        const double Pc[3] = {0.0 - rig.T[0], 0.0 - rig.T[1], -30.0 - rig.T[2]};
        for (int i = 0; i < 3; ++i)
            for (int k = 0; k < 3; ++k)
                cloud[1002][static_cast<std::size_t>(i)] += rig.R[static_cast<std::size_t>(3 * k + i)] * Pc[k];
    }
    target[1002] = {-1, -1};

    std::vector<std::pair<std::array<double, 6>, bool>> out(3);
    rig.algo.GetRGBpoint(image, cloud, out);
    ASSERT_EQ(out.size(), cloud.size());
    const auto& bytes = std::get<0>(image);
    for (std::size_t i = 0; i < cloud.size(); ++i) {
        const int u = target[i][0], v = target[i][1];
        if (u < 0) {
            EXPECT_FALSE(out[i].second) << i;
            EXPECT_EQ(out[i].first, (std::array<double, 6>{0, 0, 0, 0, 0, 0})) << i;
            continue;
        }
        const std::size_t at = 3 * static_cast<std::size_t>(v * W + u);
        const std::array<double, 6> want{cloud[i][0], cloud[i][1], cloud[i][2],
                                         static_cast<double>(bytes[at]), static_cast<double>(bytes[at + 1]),
                                         static_cast<double>(bytes[at + 2])};
        EXPECT_TRUE(out[i].second) << i;
        EXPECT_EQ(out[i].first, want) << i << " at " << u << "," << v;
    }
}

TEST(GetRGBpoint, EmptyAndSmallClouds) {
    ColourRig rig({100.0, 0.0, 100.0, 0.0, 0, 0, 0, 0}, cloudtest::rotation(0, 0), {0, 0, 0});
    const auto image = codedImage(10, 10);
    std::vector<std::pair<std::array<double, 6>, bool>> out(5);
    rig.algo.GetRGBpoint(image, {}, out);
    EXPECT_TRUE(out.empty());
    // Fewer points than workers: every point belongs to the remainder and is still coloured.
    // (2.5, 3.5, 100) -> pixel (2, 3); (9.99, 0.5, 100) -> column 9; (10, 0.5, 100) -> column 10 = width,
    // outside.
    rig.algo.GetRGBpoint(image, {{2.5, 3.5, 100.0}, {9.99, 0.5, 100.0}, {10.0, 0.5, 100.0}}, out);
    ASSERT_EQ(out.size(), 3u);
    EXPECT_EQ(out[0].first, (std::array<double, 6>{2.5, 3.5, 100, 6, 15, 5}));
    EXPECT_TRUE(out[0].second);
    EXPECT_EQ(out[1].first, (std::array<double, 6>{9.99, 0.5, 100, 27, 0, 9}));
    EXPECT_FALSE(out[2].second);

    // A byte vector shorter than width x height pixels: points on the missing pixels stay uncoloured.
    auto cut = image;
    std::get<0>(cut).resize(3 * 25);  // rows 0 ... 1 and half of row 2
    rig.algo.GetRGBpoint(cut, {{2.5, 3.5, 100.0}, {4.5, 2.5, 100.0}, {5.5, 2.5, 100.0}}, out);
    EXPECT_FALSE(out[0].second);
    EXPECT_TRUE(out[1].second);
    EXPECT_FALSE(out[2].second);
}

TEST(RGB2Cloud, NearestProjectionWithinDistance) {
    // No distortion, identity pose, fx = fy = 100, principal point at the origin; depth 64 makes
    // X / Z exact: (16, 32, 64) projects to (25, 50), (48, 32, 64) to (75, 50).
    ColourRig rig({100.0, 0.0, 100.0, 0.0, 0, 0, 0, 0}, cloudtest::rotation(0, 0), {0, 0, 0});
    const std::array<double, 3> A{16, 32, 64}, B{48, 32, 64};
    Cloud out{{9, 9, 9}};
    rig.algo.RGB2Cloud({{50, 50}, {26, 50}, {28, 54}, {28, 54}}, {A, B}, 5.0, out);
    ASSERT_EQ(out.size(), 4u);
    EXPECT_EQ(out[0], kZero);  // both 25 away
    EXPECT_EQ(out[1], A);
    EXPECT_EQ(out[2], kZero);  // exactly 5 away: not closer than the limit
    EXPECT_EQ(out[3], kZero);

    rig.algo.RGB2Cloud({{50, 50}, {28, 54}}, {A, B}, 30.0, out);
    EXPECT_EQ(out[0], A);  // tie: the earlier point wins
    EXPECT_EQ(out[1], A);
    rig.algo.RGB2Cloud({{50, 50}}, {B, A}, 30.0, out);
    EXPECT_EQ(out[0], B);

    // Empty pixel list: empty output; empty cloud: (0, 0, 0) per pixel.
    rig.algo.RGB2Cloud({}, {A, B}, 30.0, out);
    EXPECT_TRUE(out.empty());
    rig.algo.RGB2Cloud({{1, 2}, {3, 4}}, {}, 30.0, out);
    EXPECT_EQ(out, (Cloud{kZero, kZero}));

    // A point with x = 0 is not projected and counts as lying at (0, 0).
    const std::array<double, 3> C{0.0, 5.0, 7.0};
    rig.algo.RGB2Cloud({{3, 4}, {3, 5}}, {C, A}, 5.5, out);
    EXPECT_EQ(out[0], C);
    EXPECT_EQ(out[1], kZero);
}

TEST(RGB2Cloud, FindsBackProjectedPointsThroughPoseAndDistortion) {
    ColourRig rig(kDistorted, cloudtest::rotation(-0.09, 0.05), {-20.0, 4.0, 6.0});
    std::mt19937 rng(4);
    std::uniform_int_distribution<int> pu(0, 63), pv(0, 47);
    Cloud cloud;
    std::vector<std::array<int, 2>> pixels;
    for (int i = 0; i < 60; ++i) {
        const int u = pu(rng), v = pv(rng);
        cloud.push_back(rig.at(u, v, 180.0 + 2.0 * i));
        pixels.push_back({u, v});
    }
    // Pixels requested once are matched by their own point (several points on one pixel compete
    // at distances of a few millionths of a pixel: those are left out).
    Cloud out;
    rig.algo.RGB2Cloud(pixels, cloud, 0.01, out);
    ASSERT_EQ(out.size(), pixels.size());
    int checked = 0;
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        int same = 0;
        for (const auto& p : pixels) same += p == pixels[i];
        if (same != 1) continue;
        EXPECT_EQ(out[i], cloud[i]) << i;
        ++checked;
    }
    EXPECT_GT(checked, 40);
    // One pixel off with a limit of half a pixel: nothing matches.
    std::vector<std::array<int, 2>> shifted;
    for (const auto& p : pixels) shifted.push_back({p[0] + 1, p[1]});
    rig.algo.RGB2Cloud(shifted, {cloud[0]}, 0.5, out);
    EXPECT_EQ(out[0], kZero);
}
