// Exposure proposals: AutoExposure (both forms), BinarySearch_updataET, GetTh.
#include <algorithm>
#include <array>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "ImagingTestUtil.h"
#include "XeloraAlgo.h"

using namespace XELORAALGO;

namespace {

// Three two-camera captures of a w x h ROI whose bytes are given per pixel as (c0, c1, c2).
struct Captures {
    std::vector<std::vector<unsigned char>> planes;
    std::vector<unsigned char*> ptr;
    explicit Captures(const std::vector<std::array<int, 3>>& bytes) : planes(3) {
        for (int k = 0; k < 3; ++k)
            for (const auto& b : bytes) planes[k].push_back(static_cast<unsigned char>(b[k]));
        ptr = imagingtest::pointers(planes);
    }
};

// 2 x 2 ROI: 8 frame bytes. Seven bytes respond linearly (20, 40, 60); the eighth is given.
std::vector<std::array<int, 3>> linearPlus(std::array<int, 3> extra) {
    std::vector<std::array<int, 3>> b(7, {20, 40, 60});
    b.push_back(extra);
    return b;
}

}  // namespace

class AutoExposureImage : public ::testing::Test {
protected:
    XeloraAlgo algo;
    void SetUp() override { imagingtest::setRoi(algo, 2, 2); }
    int run(const std::vector<std::array<int, 3>>& bytes, int n, int target, int lower, int upper, int current,
            std::vector<double> times = {1.0, 2.0, 3.0}) {
        Captures cap(bytes);
        return algo.AutoExposure(cap.ptr.data(), times.data(), n, target, lower, upper, current);
    }
};

// Levels 20, 40, 60 at doubled times 2, 4, 6 normalise to 14, 28, 42: slope 7, intercept 0, so the
// target 145 is reached at 145 / 7 = 20.7, truncated to 20.
TEST_F(AutoExposureImage, SolvesTheLinearResponseAtDoubledTimes) {
    std::vector<double> times = {1.0, 2.0, 3.0, 4.0};
    Captures cap(linearPlus({0, 0, 0}));
    EXPECT_EQ(algo.AutoExposure(cap.ptr.data(), times.data(), 3, 145, 1, 1000, 5), 20);
    EXPECT_EQ(times, (std::vector<double>{2.0, 4.0, 6.0, 4.0}));
    // Two captures: 14, 28 at 2, 4 give the same line.
    EXPECT_EQ(run(linearPlus({0, 0, 0}), 2, 145, 1, 1000, 5), 20);
}

// A byte counts only when capture 2 exceeds capture 0 by more than 5. Counting (100, 100, 106)
// moves the means to 30, 47.5, 65.75 and the solution to 33.4.
TEST_F(AutoExposureImage, CountsBytesThatRiseByMoreThanFive) {
    EXPECT_EQ(run(linearPlus({100, 100, 105}), 3, 145, 1, 1000, 5), 20);
    EXPECT_EQ(run(linearPlus({100, 100, 106}), 3, 145, 1, 1000, 5), 33);
}

TEST_F(AutoExposureImage, SmallChangesAreNotMadeAndLimitsApply) {
    const auto b = linearPlus({0, 0, 0});  // solution 20
    EXPECT_EQ(run(b, 3, 145, 1, 1000, 18), 18);
    EXPECT_EQ(run(b, 3, 145, 1, 1000, 22), 22);
    EXPECT_EQ(run(b, 3, 145, 1, 1000, 17), 20);
    EXPECT_EQ(run(b, 3, 145, 1, 1000, 23), 20);
    EXPECT_EQ(run(b, 3, 145, 20, 1000, 21), 20);  // equal to the lower limit: the lower limit
    EXPECT_EQ(run(b, 3, 145, 25, 1000, 21), 25);
    EXPECT_EQ(run(b, 3, 145, 1, 20, 19), 20);  // at the upper limit: the upper limit
    EXPECT_EQ(run(b, 3, 145, 1, 15, 19), 15);
}

TEST_F(AutoExposureImage, DegenerateStatisticsGiveTheLowerLimit) {
    // No byte rises by more than 5.
    EXPECT_EQ(run(std::vector<std::array<int, 3>>(8, {50, 52, 55}), 3, 145, 3, 1000, 40), 3);
    // One capture: the exposure times have no spread.
    EXPECT_EQ(run(linearPlus({0, 0, 0}), 1, 145, 3, 1000, 40), 3);
    // Two captures with equal levels: a flat response reaches no target.
    EXPECT_EQ(run(std::vector<std::array<int, 3>>(8, {20, 20, 60}), 2, 145, 3, 1000, 40), 3);
}

class AutoExposureMaps : public ::testing::Test {
protected:
    // 400 x 320 is the smallest kind of ROI that holds all twelve 50 x 50 windows (s = 10).
    static constexpr int w = 400, h = 320;
    XeloraAlgo algo;
    std::vector<float> g1, g2, v1, v2;
    void SetUp() override {
        imagingtest::setRoi(algo, w, h);
        g1.assign(w * h, 0.0f);
        g2 = v1 = v2 = g1;
    }
    void put(int camera, int row, int col, float g, float v) {
        (camera == 1 ? g1 : g2)[row * w + col] = g;
        (camera == 1 ? v1 : v2)[row * w + col] = v;
    }
    int run(double current, int lower, int upper, int target) {
        return algo.AutoExposure(current, g1.data(), g2.data(), v1.data(), v2.data(), lower, upper, target);
    }
};

// Central block: rows 80 ... 239, columns 100 ... 299. Row 100 lies in no window. Sorted by
// modulation the levels are 40, 60, 80, 100: slope 20, intercept 40; rank q = 4 - 1 - 1 = 2 predicts
// 80, and 10 * (120 / 80) = 15.
TEST_F(AutoExposureMaps, PredictsTheLevelAtThreeQuartersOfTheSortedSample) {
    put(1, 100, 200, 50.0f, 100.0f);
    put(1, 100, 201, 20.0f, 40.0f);
    put(2, 100, 202, 40.0f, 80.0f);
    put(2, 100, 203, 30.0f, 60.0f);
    EXPECT_EQ(run(10.0, 1, 100, 120), 15);
    // Pairs on the limits of the ranges are not taken.
    put(1, 100, 210, 60.0f, 20.0f);
    put(2, 100, 211, 60.0f, 250.0f);
    put(1, 100, 212, 10.0f, 100.0f);
    EXPECT_EQ(run(10.0, 1, 100, 120), 15);
    // Limits.
    EXPECT_EQ(run(10.0, 1, 14, 120), 14);
    EXPECT_EQ(run(10.0, 16, 100, 120), 16);
}

// The same four samples, found only through the windows (t = 0: rows 30 ... 79, columns 40 ... 89;
// t = 11: rows 270 ... 319, columns 340 ... 389).
TEST_F(AutoExposureMaps, SamplesTheTwelveWindows) {
    put(1, 30, 40, 50.0f, 100.0f);
    put(2, 79, 89, 20.0f, 40.0f);
    put(1, 270, 340, 40.0f, 80.0f);
    put(2, 319, 389, 30.0f, 60.0f);
    EXPECT_EQ(run(10.0, 1, 100, 120), 15);
}

// A pixel in the central block and in window t = 5 (rows 110 ... 159, columns 140 ... 189) is offered
// twice: levels 40, 40, 80, 100 give slope 22, intercept 32, prediction 76, and 10 * (152 / 76) = 20.
TEST_F(AutoExposureMaps, APixelCanBeSampledTwice) {
    put(1, 120, 150, 20.0f, 40.0f);
    put(2, 100, 200, 40.0f, 80.0f);
    put(1, 100, 201, 50.0f, 100.0f);
    EXPECT_EQ(run(10.0, 1, 100, 152), 20);
}

TEST_F(AutoExposureMaps, EmptyOrSingleSampleCases) {
    EXPECT_EQ(run(10.0, 30, 40, 120), 25);  // nothing taken: 25 whatever the limits
    put(1, 100, 200, 50.0f, 100.0f);
    EXPECT_EQ(run(10.0, 7, 100, 120), 7);  // one sample has no spread
}

class BinarySearchExposure : public ::testing::Test {
protected:
    XeloraAlgo algo;
    std::vector<unsigned char> a, b;
    void SetUp() override {
        imagingtest::setRoi(algo, 4, 2);
        a.assign(8, 0);
        b.assign(8, 0);
    }
    double run(int level1, int level2, double lower, double upper, int target, double current) {
        std::fill(a.begin(), a.end(), static_cast<unsigned char>(level1));
        std::fill(b.begin(), b.end(), static_cast<unsigned char>(level2));
        return algo.BinarySearch_updataET(a.data(), b.data(), lower, upper, target, current);
    }
};

TEST_F(BinarySearchExposure, KeepsTheExposureWithinHalfALevel) {
    EXPECT_EQ(run(100, 100, 0.1, 100.0, 100, 3.3337), 3.3337);
    EXPECT_EQ(run(100, 101, 0.1, 100.0, 100, 3.3337), 3.3337);  // mean 100.5
    EXPECT_EQ(run(100, 102, 0.1, 100.0, 100, 3.3337), 3.3337 * 1000 * 0.8 / 1000);
    // Bytes of 10 and below add nothing but still count in the mean: (8 * 40) / 16 = 20.
    EXPECT_EQ(run(10, 40, 0.1, 100.0, 20, 2.5), 2.5);
}

TEST_F(BinarySearchExposure, StepsTowardTheTarget) {
    EXPECT_EQ(run(200, 200, 0.1, 100.0, 100, 10.0), 8.0);     // too bright: 10000 * 0.8
    EXPECT_EQ(run(50, 50, 0.1, 100.0, 100, 20.0), 9.999);     // too dark above 9999: 9999
    EXPECT_EQ(run(50, 50, 0.1, 100.0, 100, 9.999), 9.999);    // exactly 9999 stays
    EXPECT_EQ(run(50, 50, 0.1, 100.0, 100, 5.0), 7.5);        // 5000 + 0.5 * (10000 - 5000)
    EXPECT_EQ(run(75, 75, 0.1, 100.0, 100, 6.0), 7.0);        // 6000 + 0.25 * 4000
}

TEST_F(BinarySearchExposure, LimitsApplyAfterTheStep) {
    EXPECT_EQ(run(200, 200, 9.0, 100.0, 100, 10.0), 9.0);
    EXPECT_EQ(run(50, 50, 0.1, 7.0, 100, 5.0), 7.0);
    EXPECT_EQ(run(50, 50, 0.1, 7.5, 100, 5.0), 7.5);
}

TEST(GetTh, TenTimesTheMeanClampedToTheBounds) {
    XeloraAlgo algo;
    EXPECT_EQ(algo.GetTh({10, 20}, 0, 255), 150);
    EXPECT_EQ(algo.GetTh({10, 20}, 0, 100), 100);
    EXPECT_EQ(algo.GetTh({1, 2}, 20, 255), 20);
    EXPECT_EQ(algo.GetTh({1, 1, 2}, 0, 255), 13);  // 13.33 truncated
    EXPECT_EQ(algo.GetTh({255, 255, 255}, 0, 5000), 2550);
    EXPECT_EQ(algo.GetTh({}, 5, 200), 5);
    EXPECT_EQ(algo.GetTh({}, 50, 30), 30);
}

namespace {

// A scene whose grey level is linear in the exposure time: pixel level = reflectance * 12.5 * E,
// truncated and saturating at 255; the modulation is half the level.
struct LinearScene {
    int w, h;
    std::vector<float> reflectance;
    LinearScene(int w_, int h_, unsigned seed) : w(w_), h(h_), reflectance(w_ * h_) {
        std::mt19937 rng(seed);
        std::uniform_real_distribution<float> u(0.3f, 1.0f);
        for (auto& r : reflectance) r = u(rng);
    }
    float level(int i, double E) const {
        const double v = reflectance[i] * 12.5 * E;
        return static_cast<float>(v > 255.0 ? 255.0 : v);
    }
    std::vector<unsigned char> image(double E) const {
        std::vector<unsigned char> img(w * h);
        for (int i = 0; i < w * h; ++i) img[i] = static_cast<unsigned char>(level(i, E));
        return img;
    }
    double mean(double E) const {
        double s = 0;
        for (int i = 0; i < w * h; ++i) s += static_cast<unsigned char>(level(i, E));
        return s / (w * h);
    }
};

}  // namespace

// The feedback step moves the exposure toward the target level from either side.
TEST(ExposureLoop, BinarySearchStepsTowardTheTarget) {
    XeloraAlgo algo;
    imagingtest::setRoi(algo, 16, 8);
    const LinearScene cam1(16, 8, 1), cam2(16, 8, 2);
    const int target = 100;
    for (double E : {1.0, 3.0, 6.0, 9.0, 15.0}) {
        auto a = cam1.image(E), b = cam2.image(E);
        const double next = algo.BinarySearch_updataET(a.data(), b.data(), 0.1, 50.0, target, E);
        const double level = (cam1.mean(E) + cam2.mean(E)) / 2;
        if (level < target - 1) {
            EXPECT_GT(next, E) << "too dark at " << E;
        } else if (level > target + 1) {
            EXPECT_LT(next, E) << "too bright at " << E;
        }
    }
    // Repeated steps from a dark start bring the level within a fifth of the target.
    double E = 1.0;
    for (int k = 0; k < 12; ++k) {
        auto a = cam1.image(E), b = cam2.image(E);
        E = algo.BinarySearch_updataET(a.data(), b.data(), 0.1, 50.0, target, E);
    }
    const double level = (cam1.mean(E) + cam2.mean(E)) / 2;
    EXPECT_NEAR(level, target, 20.0);
}

// The map form scales the exposure so that the level predicted at three quarters of the
// modulation-sorted sample reaches the target: at the proposed exposure that level is on target.
TEST(ExposureLoop, MapFormReachesTheTargetInOneStep) {
    const int w = 400, h = 320;
    XeloraAlgo algo;
    imagingtest::setRoi(algo, w, h);
    const LinearScene cam1(w, h, 3), cam2(w, h, 4);
    auto maps = [&](double E, std::vector<float>& g1, std::vector<float>& g2, std::vector<float>& v1,
                    std::vector<float>& v2) {
        g1.resize(w * h), g2.resize(w * h), v1.resize(w * h), v2.resize(w * h);
        for (int i = 0; i < w * h; ++i) {
            v1[i] = cam1.level(i, E), v2[i] = cam2.level(i, E);
            g1[i] = 0.5f * v1[i], g2[i] = 0.5f * v2[i];
        }
    };
    std::vector<float> g1, g2, v1, v2;
    const int target = 150;
    for (double E : {4.0, 8.0, 14.0}) {
        maps(E, g1, g2, v1, v2);
        const int next = algo.AutoExposure(E, g1.data(), g2.data(), v1.data(), v2.data(), 1, 1000, target);
        // The proposal is a fixed point: asked again at the proposed exposure, it stays (within the
        // truncation to whole units).
        maps(next, g1, g2, v1, v2);
        const int again = algo.AutoExposure(static_cast<double>(next), g1.data(), g2.data(), v1.data(),
                                            v2.data(), 1, 1000, target);
        EXPECT_NEAR(again, next, 1) << "from " << E;
        EXPECT_NEAR(next, 150.0 / (12.5 * 0.825), 1.5) << "from " << E;  // the 75 % reflectance is 0.825
    }
}
