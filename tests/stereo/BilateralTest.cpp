// Bilateral filter: the banded spatial kernel (integer quotient), the range weight, edges,
// constants, lone pixels, the rows that no worker band covers, and the degenerate sigmas.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "StereoTestUtil.h"
#include "XeloraAlgo.h"
#include "depthfilter/Bilateralfilter.h"

using XELORAALGO::AlgoEngine;
using XELORAALGO::depthfilter::Bilateralfilter;
using stereotest::BoolMap;
using stereotest::setRoi;

namespace {

// Filters a 17 x 16 map that is valid only at the centre (value 0) and at centre + (di, dj)
// (value 1), and returns the centre: w / (1 + w) for the neighbour's weight w.
float twoPixelResponse(int spatialSigma, float rangeSigma, int di, int dj) {
    const int w = 17, h = 16;
    AlgoEngine e;
    setRoi(e, w, h);
    BoolMap mask(static_cast<std::size_t>(w * h));
    std::vector<float> map(mask.n, 0.0f);
    const std::size_t centre = 8 * w + 8;
    const std::size_t other = static_cast<std::size_t>((8 + di) * w + 8 + dj);
    mask[centre] = mask[other] = true;
    map[other] = 1.0f;
    Bilateralfilter(e, map.data(), mask.data(), spatialSigma, rangeSigma);
    return map[centre];
}

double responseOf(double weight) { return weight / (1.0 + weight); }

}  // namespace

TEST(Bilateralfilter, SpatialWeightsComeInBandsOfTheIntegerQuotient) {
    const float flat = 1.0e6f;  // range weight 1
    const double e1 = std::exp(-1.0), e2 = std::exp(-2.0);
    // sigma 1: 3 x 3; squared distance 1 weighs 1, the corners (2) e^-1, beyond the kernel 0.
    EXPECT_NEAR(twoPixelResponse(1, flat, 0, 1), 0.5, 1e-7);
    EXPECT_NEAR(twoPixelResponse(1, flat, -1, -1), responseOf(e1), 1e-7);
    EXPECT_EQ(twoPixelResponse(1, flat, 0, 2), 0.0f);
    // sigma 2: 7 x 7; 5 -> 1, 8 and 9 and 13 -> e^-1, 18 -> e^-2 (a real quotient would give
    // e^-0.625 for 5).
    EXPECT_NEAR(twoPixelResponse(2, flat, 2, 1), 0.5, 1e-7);
    EXPECT_NEAR(twoPixelResponse(2, flat, 2, -2), responseOf(e1), 1e-7);
    EXPECT_NEAR(twoPixelResponse(2, flat, -3, 0), responseOf(e1), 1e-7);
    EXPECT_NEAR(twoPixelResponse(2, flat, 3, 2), responseOf(e1), 1e-7);
    EXPECT_NEAR(twoPixelResponse(2, flat, -3, 3), responseOf(e2), 1e-7);
    EXPECT_EQ(twoPixelResponse(2, flat, 0, 4), 0.0f);
    // sigma 3: 9 x 9; 16 -> 1, 18 and 32 -> e^-1.
    EXPECT_NEAR(twoPixelResponse(3, flat, 0, -4), 0.5, 1e-7);
    EXPECT_NEAR(twoPixelResponse(3, flat, 3, 3), responseOf(e1), 1e-7);
    EXPECT_NEAR(twoPixelResponse(3, flat, 4, 4), responseOf(e1), 1e-7);
    EXPECT_EQ(twoPixelResponse(3, flat, 5, 0), 0.0f);
}

TEST(Bilateralfilter, RangeWeightIsGaussianInTheValueDifference) {
    // Difference 1, rangeSigma 0.5: expf(-1 / 0.5) = e^-2; with rangeSigma 2: e^-1/8.
    EXPECT_NEAR(twoPixelResponse(1, 0.5f, 1, 0), responseOf(std::exp(-2.0)), 1e-7);
    EXPECT_NEAR(twoPixelResponse(1, 2.0f, 0, -1), responseOf(std::exp(-0.125)), 1e-7);
    // Both weights multiply: corner e^-1 times e^-2.
    EXPECT_NEAR(twoPixelResponse(1, 0.5f, 1, 1), responseOf(std::exp(-3.0)), 1e-7);
}

TEST(Bilateralfilter, StepEdgesStaySharpConstantsStayAndLonePixelsKeepTheirValue) {
    const int w = 20, h = 16;
    AlgoEngine e;
    setRoi(e, w, h);
    BoolMap mask(static_cast<std::size_t>(w * h), true);
    std::vector<float> map(mask.n);
    for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c) map[static_cast<std::size_t>(r * w + c)] = c < 9 ? 250.0f : 750.0f;
    // A hole and a lone valid pixel surrounded by invalid ones.
    for (int r = 10; r < 15; ++r)
        for (int c = 12; c < 17; ++c) mask[static_cast<std::size_t>(r * w + c)] = false;
    const std::size_t lone = 12 * w + 14;
    mask[lone] = true;
    map[lone] = 123.25f;
    const std::vector<float> before = map;
    Bilateralfilter(e, map.data(), mask.data(), 2, 1.0f);
    for (std::size_t i = 0; i < mask.n; ++i) {
        if (!mask[i])
            EXPECT_EQ(map[i], 0.0f) << i;
        else
            EXPECT_NEAR(map[i], before[i], before[i] * 1e-6) << i;  // edge 500 / sigma 1: weight 0
    }
    EXPECT_EQ(map[lone], 123.25f);
}

TEST(Bilateralfilter, MatchesAStraightforwardWeightedMean) {
    const int w = 23, h = 16;
    AlgoEngine e;
    setRoi(e, w, h);
    std::mt19937 rng(17);
    std::uniform_real_distribution<float> u(400.0f, 410.0f);
    std::bernoulli_distribution coin(0.8);
    BoolMap mask(static_cast<std::size_t>(w * h));
    std::vector<float> map(mask.n);
    for (std::size_t i = 0; i < mask.n; ++i) {
        map[i] = u(rng);
        mask[i] = coin(rng);
    }
    const std::vector<float> src = map;
    const int sigma = 2;
    const float range = 3.0f;
    Bilateralfilter(e, map.data(), mask.data(), sigma, range);
    for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c) {
            const std::size_t i = static_cast<std::size_t>(r * w + c);
            if (!mask[i]) {
                EXPECT_EQ(map[i], 0.0f);
                continue;
            }
            double s = 0, n = 0;
            for (int di = -3; di <= 3; ++di)
                for (int dj = -3; dj <= 3; ++dj) {
                    const int rr = r + di, cc = c + dj;
                    if (rr < 0 || rr >= h || cc < 0 || cc >= w || !mask[static_cast<std::size_t>(rr * w + cc)]) continue;
                    const double v = src[static_cast<std::size_t>(rr * w + cc)];
                    const double d = v - src[i];
                    const int band = (di * di + dj * dj) / 8;  // 2 sigma^2 = 8
                    const double wgt = std::exp(-d * d / (2.0 * range * range)) * std::exp(-band);
                    s += v * wgt;
                    n += wgt;
                }
            EXPECT_NEAR(map[i], s / n, 2e-4) << r << "," << c;
        }
}

TEST(Bilateralfilter, RowsPastEightBandsComeOutZero) {
    const int w = 10, h = 19;  // 8 bands of 2 rows: rows 16, 17, 18 belong to no worker
    AlgoEngine e;
    setRoi(e, w, h);
    BoolMap mask(static_cast<std::size_t>(w * h), true);
    std::vector<float> map(mask.n, 3.0f);
    Bilateralfilter(e, map.data(), mask.data(), 1, 1.0f);
    for (int r = 0; r < h; ++r) {
        const float v = map[static_cast<std::size_t>(r * w + 4)];
        if (r < 16)
            EXPECT_NEAR(v, 3.0f, 1e-6f) << r;
        else
            EXPECT_EQ(v, 0.0f) << r;
    }
}

TEST(Bilateralfilter, DegenerateSigmas) {
    const int w = 8, h = 8;
    AlgoEngine e;
    setRoi(e, w, h);
    BoolMap mask(static_cast<std::size_t>(w * h), true);
    mask[9] = false;
    std::vector<float> src(mask.n);
    for (std::size_t i = 0; i < mask.n; ++i) src[i] = static_cast<float>(i % 7);
    // Spatial sigma 0: a 1 x 1 kernel, valid pixels keep their values.
    std::vector<float> map = src;
    Bilateralfilter(e, map.data(), mask.data(), 0, 1.0f);
    for (std::size_t i = 0; i < mask.n; ++i) EXPECT_EQ(map[i], mask[i] ? src[i] : 0.0f) << i;
    // Negative spatial sigma: empty kernel, 0/0 at valid pixels.
    map = src;
    Bilateralfilter(e, map.data(), mask.data(), -1, 1.0f);
    EXPECT_TRUE(std::isnan(map[20]));
    EXPECT_EQ(map[9], 0.0f);
    // Range sigma 0: the centre's own weight is 0/0.
    map = src;
    Bilateralfilter(e, map.data(), mask.data(), 1, 0.0f);
    EXPECT_TRUE(std::isnan(map[20]));
}

TEST(Bilateralfilter, PublicMemberFiltersInPlace) {
    XELORAALGO::XeloraAlgo algo;
    XELORAALGO::tagXeloraAlgoROIInfo roi{0, 0, 17, 16};
    algo.SetROIInfo(&roi);
    BoolMap mask(17 * 16);
    std::vector<float> map(mask.n, 0.0f);
    mask[8 * 17 + 8] = mask[9 * 17 + 9] = true;
    map[9 * 17 + 9] = 1.0f;
    algo.Bilateralfilter(map.data(), mask.data(), 1, 1.0e6f);
    EXPECT_NEAR(map[8 * 17 + 8], responseOf(std::exp(-1.0)), 1e-7);
}
