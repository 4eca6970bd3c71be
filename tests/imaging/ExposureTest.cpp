// Exposure proposals (AutoExposure, BinarySearch_updataET, GetTh), HDR proposals and HDR merging.
#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "ImagingTestUtil.h"

using namespace XELORAALGO;

// Image form on a 2 x 2 ROI: seven bytes at 20, 40, 60 (times doubled in place to 2, 4, 6 give
// slope 7, so target 145 -> 20.7 -> 20); the eighth counts only if it rises by more than 5
// ((100, 100, 106) moves the solution to 33). Changes within 2 of the current value are not made;
// the limits apply.
TEST(AutoExposure, ImageFormSolvesTheLinearResponse) {
    XeloraAlgo algo;
    imagingtest::setRoi(algo, 2, 2);
    std::vector<std::vector<unsigned char>> planes(3);
    for (int k = 0; k < 3; ++k) planes[k].assign(7, 20 * (k + 1)), planes[k].push_back(k < 2 ? 100 : 105);
    auto p = imagingtest::pointers(planes);
    std::vector<double> t;
    auto run = [&](int n, int lower, int upper, int current) {
        t = {1.0, 2.0, 3.0, 4.0};
        return algo.AutoExposure(p.data(), t.data(), n, 145, lower, upper, current);
    };
    EXPECT_EQ(run(3, 1, 1000, 5), 20);
    EXPECT_EQ(t, (std::vector<double>{2.0, 4.0, 6.0, 4.0}));
    EXPECT_EQ(run(2, 1, 1000, 22), 22);
    EXPECT_EQ(run(3, 1, 15, 19), 15);
    planes[2][7] = 106;
    EXPECT_EQ(run(3, 1, 1000, 5), 33);
    EXPECT_EQ(algo.GetTh({1, 1, 2}, 0, 255), 13);  // GetTh: 10 * mean (13.3), truncated, clamped
}

namespace {

// Grey level linear in the exposure time: reflectance * 12.5 * E, saturating at 255.
struct LinearScene {
    std::vector<float> reflectance;
    LinearScene(int n, unsigned seed) : reflectance(n) {
        std::mt19937 rng(seed);
        std::uniform_real_distribution<float> u(0.3f, 1.0f);
        for (auto& r : reflectance) r = u(rng);
    }
    float level(int i, double E) const { return static_cast<float>(std::min(255.0, reflectance[i] * 12.5 * E)); }
    std::vector<unsigned char> image(double E) const {
        std::vector<unsigned char> img(reflectance.size());
        for (std::size_t i = 0; i < img.size(); ++i) img[i] = static_cast<unsigned char>(level(int(i), E));
        return img;
    }
};

}  // namespace

// The feedback step moves the exposure toward the target from either side, and repeated steps from
// a dark start settle on the target (reachable below the 10-unit ceiling of the upward steps).
TEST(ExposureLoop, BinarySearchStepsTowardTheTarget) {
    XeloraAlgo algo;
    imagingtest::setRoi(algo, 16, 8);
    const LinearScene scene(256, 1);  // both cameras' images of 128 bytes
    auto step = [&](double E) {
        auto img = scene.image(E);
        return algo.BinarySearch_updataET(img.data(), img.data() + 128, 0.1, 50.0, 60, E);
    };
    auto level = [&](double E) { auto i = scene.image(E); return std::accumulate(i.begin(), i.end(), 0.0) / 256; };
    for (double E : {1.0, 3.0, 6.0, 9.0, 15.0})
        EXPECT_TRUE(std::abs(level(E) - 60) <= 1 || (step(E) > E) == (level(E) < 60)) << "at " << E;
    double E = 1.0;
    for (int k = 0; k < 12; ++k) E = step(E);
    EXPECT_NEAR(level(E), 60, 1.0) << E;
}

// The map form scales the exposure so that the level at three quarters of the modulation-sorted
// sample reaches the target: one step lands there (reflectance 0.825) and asking again stays put.
TEST(ExposureLoop, MapFormReachesTheTargetInOneStep) {
    const int w = 400, h = 320;  // the smallest kind of ROI holding all twelve windows
    XeloraAlgo algo;
    imagingtest::setRoi(algo, w, h);
    const LinearScene scene(2 * w * h, 3);
    std::vector<float> g1(w * h), g2(w * h), v1(w * h), v2(w * h);
    auto propose = [&](double E) {
        for (int i = 0; i < w * h; ++i)  // modulation half the level
            v1[i] = scene.level(i, E), v2[i] = scene.level(w * h + i, E), g1[i] = 0.5f * v1[i], g2[i] = 0.5f * v2[i];
        return algo.AutoExposure(E, g1.data(), g2.data(), v1.data(), v2.data(), 1, 1000, 150);
    };
    for (double E : {4.0, 8.0, 14.0}) {
        const int next = propose(E);
        EXPECT_NEAR(next, 150.0 / (12.5 * 0.825), 1.5) << "from " << E;
        EXPECT_NEAR(propose(next), next, 1) << "from " << E;
    }
}

// Sixteen pixels with levels a, 2a, 3a (a = 1 ... 16) in a 4 x 2 ROI, split at the median.
// AutoHDR1 normalises to the first capture: the target 101 is reached at 101 * e0 / 8 (short) and
// 101 * e0 / 2.5 (long). AutoHDR2 fits the raw levels: slopes 12.5 and 4.5 reach 1010 at 80 and 224.
TEST(AutoHDR, LinearResponseProposals) {
    XeloraAlgo algo;
    imagingtest::setRoi(algo, 4, 2);
    std::vector<std::vector<unsigned char>> planes(3, std::vector<unsigned char>(16));
    for (int i = 0; i < 48; ++i) planes[i / 16][i % 16] = static_cast<unsigned char>((i / 16 + 1) * (i % 16 + 1));
    auto p = imagingtest::pointers(planes);
    double times[3] = {4, 8, 12};
    std::array<int, 2> r1, r2, limited;
    algo.AutoHDR1(p.data(), 2, times, 3, 2, 101, 1, 1000, r1.data());
    algo.AutoHDR1(p.data(), 2, times, 3, 2, 101, 1, 50, limited.data());  // short kept below the limit
    times[0] = 1, times[1] = 2, times[2] = 3;
    algo.AutoHDR2(p.data(), 2, times, 3, 2, 1010, 1, 10000, r2.data());
    EXPECT_EQ(r1, (std::array<int, 2>{50, 161}));
    EXPECT_EQ(limited, (std::array<int, 2>{49, 50}));
    EXPECT_EQ(r2, (std::array<int, 2>{80, 224}));
}

// A pixel's whole sequence comes from the short exposure when, within the last four frames, the long
// one reaches 230 and the short one 80 (in any frames), else from the long one.
TEST(CalHDRFuse, TakesSaturatedPixelsFromTheShortExposure) {
    const int w = 3, h = 2;
    struct Case { int j, longFrame, longValue, shortFrame, shortValue; bool fromShort; };
    auto fuse = [&](int n, const std::vector<Case>& cases) {
        std::vector<std::vector<unsigned char>> s, l, o1(n, std::vector<unsigned char>(w * h)), o2 = o1;
        for (int k = 0; k < n; ++k) s.emplace_back(2 * w * h, 20 + k), l.emplace_back(2 * w * h, 100 + k);
        for (const Case& c : cases) l[c.longFrame][c.j] = c.longValue, s[c.shortFrame][c.j] = c.shortValue;
        XeloraAlgo algo;
        imagingtest::setRoi(algo, w, h);
        auto ps = imagingtest::pointers(s), pl = imagingtest::pointers(l);
        auto p1 = imagingtest::pointers(o1), p2 = imagingtest::pointers(o2);
        algo.CalHDRFuse(ps.data(), pl.data(), p1.data(), p2.data(), n);
        for (int k = 0; k < n; ++k)
            for (int j = 0; j < 2 * w * h; ++j) {  // even frame rows: camera 1, odd: camera 2
                bool fromShort = false;
                for (const Case& c : cases) fromShort |= c.j == j && c.fromShort;
                const int row = j / w;
                EXPECT_EQ((row % 2 ? o2 : o1)[k][(row / 2) * w + j % w], (fromShort ? s : l)[k][j])
                    << "n " << n << " frame " << k << " byte " << j;
            }
    };
    fuse(11, {{0, 10, 230, 7, 80, true},    {1, 7, 229, 9, 255, false},  {2, 8, 255, 10, 79, false},
              {3, 6, 255, 8, 200, false},   {4, 9, 250, 0, 200, false},  {5, 9, 240, 8, 90, true},
              {7, 7, 231, 10, 81, true},    {11, 8, 250, 7, 120, true}});
    fuse(4, {{0, 0, 240, 0, 85, true}});  // with four frames, frame 0 decides
}
