// Cloud filters: SORfilter against a brute-force float neighbour search and on noisy planes from two
// handles at once; sorFilter on a profile with spikes; CloudSmooth, Gaussianfilter_PMR and
// Downsample on hand-worked values at their gates' boundaries.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <future>
#include <random>
#include <vector>

#include "XeloraAlgo.h"
#include "cloud/cloud.h"
#include "numerics/numerics.h"

using XELORAALGO::XeloraAlgo;
using XELORAALGO::cloud::Cloud;

namespace {

const std::array<double, 3> kZero{0.0, 0.0, 0.0};

// Brute-force mean neighbour distances of the valid points: all pairs in float, the k smallest squared
// distances (the point itself included), roots of the positive ones summed in ascending order.
std::vector<float> bruteForceMeans(const Cloud& cloud, int k) {
    std::vector<std::array<float, 3>> p;
    for (const auto& q : cloud)
        if (q[2] > 0) p.push_back({static_cast<float>(q[0]), static_cast<float>(q[1]), static_cast<float>(q[2])});
    std::vector<float> means;
    for (const auto& a : p) {
        std::vector<float> d;
        for (const auto& b : p) {
            const float dx = b[0] - a[0], dy = b[1] - a[1], dz = b[2] - a[2];
            d.push_back(dx * dx + dy * dy + dz * dz);
        }
        std::sort(d.begin(), d.end());
        float sum = 0.0f;
        int count = 0;
        for (int j = 0; j < k; ++j) {
            sum += std::sqrt(d[j]);  // zero distances add nothing and are not counted
            count += d[j] > 0.0f;
        }
        means.push_back(count ? sum / static_cast<float>(count) : 0.0f);
    }
    return means;
}

// Plane z = 100 sampled on a jittered grid, followed by the given far-off points.
Cloud noisyPlane(int side, unsigned seed, const Cloud& outliers) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> jitter(-0.2, 0.2), noise(-0.05, 0.05);
    Cloud c;
    for (int r = 0; r < side; ++r)
        for (int col = 0; col < side; ++col) c.push_back({col + jitter(rng), r + jitter(rng), 100.0 + noise(rng)});
    c.insert(c.end(), outliers.begin(), outliers.end());
    return c;
}

}  // namespace

TEST(SORfilter, MeanDistancesMatchBruteForceFloatSearch) {
    std::mt19937 rng(11);
    std::uniform_real_distribution<double> u(0.0, 10.0);
    Cloud c;
    for (int i = 0; i < 300; ++i) c.push_back({u(rng) + 1000.0, u(rng) - 500.0, u(rng) + 300.0});
    c.push_back(kZero);  // invalid points are not searched and never altered
    c.push_back({1003.0, -497.0, -1.0});
    for (int k : {2, 7, 16}) {
        std::vector<float> mean;
        std::vector<std::int32_t> index;
        ASSERT_TRUE(XELORAALGO::cloud::sorMeanDistances(c, k, index, mean));
        const std::vector<float> ref = bruteForceMeans(c, k);
        EXPECT_EQ(mean, ref) << "k " << k;  // bit for bit
        // Removal above mu + multiplier * (population) sigma of those means, all in float.
        float total = 0.0f, sq = 0.0f;
        for (float m : ref) total += m;
        const float mu = total / 300.0f;
        for (float m : ref) sq += (m - mu) * (m - mu);
        const float t = std::sqrt(sq / 300.0f) * 0.25f + mu;
        Cloud filtered = c;
        XELORAALGO::cloud::SORfilter(filtered, k, 0.25f);
        int removed = 0;
        for (std::size_t i = 0; i < 300; ++i) {
            EXPECT_EQ(filtered[i], ref[i] > t ? kZero : c[i]) << "point " << i << " k " << k;
            removed += ref[i] > t;
        }
        EXPECT_GT(removed, 10);
        EXPECT_EQ(filtered[301], c[301]);
    }
}

TEST(SORfilter, RemovesFarOutliersFromPlanesOnTwoHandlesAtOnce) {
    // Each result must keep every plane point and drop every far-off one, run alone or alongside the other.
    const Cloud in[2] = {noisyPlane(20, 15u, {{5, 5, 160}, {-40, 3, 100}, {12, 70, 95}, {30, -30, 130}, {60, 60, 40}}),
                         noisyPlane(12, 5u, {{40, 3, 100}})};
    const int k[2] = {8, 20};
    const std::size_t planeSize[2] = {400, 144};
    Cloud ref[2] = {in[0], in[1]};
    for (std::size_t h = 0; h < 2; ++h) {
        XELORAALGO::cloud::SORfilter(ref[h], k[h], 1.0f);
        for (std::size_t i = 0; i < in[h].size(); ++i)
            EXPECT_EQ(ref[h][i], i < planeSize[h] ? in[h][i] : kZero) << h << " " << i;
    }
    XeloraAlgo handle[2];
    auto run = [&](std::size_t h) {
        bool ok = true;
        for (int rep = 0; rep < 20; ++rep) {
            Cloud c = in[h];
            handle[h].SORfilter(c, k[h], 1.0f);
            ok = ok && c == ref[h];
        }
        return ok;
    };
    auto second = std::async(std::launch::async, run, 1);
    EXPECT_TRUE(run(0));
    EXPECT_TRUE(second.get());
}

TEST(SorFilter, RemovesSpikesFromProfile) {
    // Spacing 0.5 at depth 500 with spikes of 30, also at both ends; z <= 200 is invalid and comes back empty.
    Cloud c;
    for (int i = 0; i < 100; ++i) c.push_back({1.0 + 0.5 * i, 2.0, 500.0});
    for (int s : {0, 37, 38, 70, 99}) c[static_cast<std::size_t>(s)][2] += 30.0;
    c[50] = {1.0, 1.0, 150.0};
    const Cloud before = c;
    XeloraAlgo algo;
    algo.sorFilter(c, 5, 123.0);
    for (int i = 0; i < 100; ++i) {
        const bool gone = i == 0 || i == 37 || i == 38 || i == 70 || i == 99 || i == 50;
        EXPECT_EQ(c[static_cast<std::size_t>(i)], gone ? kZero : before[static_cast<std::size_t>(i)]) << i;
    }
}

TEST(SorFilter, AbsoluteLimitOf3Point5InsideTheBand) {
    // Runs of 100 points spaced 1 and s, k = 1: the second run's mean s lies inside the statistical
    // band for both s, but only 3.4 is below the absolute limit 3.5.
    XeloraAlgo algo;
    for (double s : {3.4, 3.6}) {
        Cloud c;
        for (int i = 0; i < 100; ++i) c.push_back({static_cast<double>(i), 0.0, 300.0});
        for (int i = 1; i <= 100; ++i) c.push_back({99.0 + s * i, 0.0, 300.0});
        const Cloud before = c;
        algo.sorFilter(c, 1, 0.0);
        for (std::size_t i = 0; i < 200; ++i) EXPECT_EQ(c[i], i < 100 || s < 3.5 ? before[i] : kZero) << i << " s " << s;
    }
}

TEST(CloudSmooth, WindowRadiusGateAndFloatMean) {
    // z 1, 2, 4 on one spot (1 to 3 apart: exactly the radius counts) and a far point at x = 10. With r = 3
    // the window holds all four, with r = 1 only the direct neighbours. Means are formed in float.
    XeloraAlgo algo;
    XELORAALGO::tagXeloraAlgoROIInfo roi{0, 0, 4, 1};
    algo.SetROIInfo(&roi);
    const Cloud row{{0, 0, 1}, {0, 0, 2}, {0, 0, 4}, {10, 0, 5}};
    const double third = static_cast<double>(7.0f / 3.0f);
    Cloud m = row;
    algo.CloudSmooth(m, 3, 3.0f);
    EXPECT_EQ(m, (Cloud{{0, 0, third}, {0, 0, third}, {0, 0, third}, {10, 0, 5}}));
    m = row;
    algo.CloudSmooth(m, 1, 3.0f);
    EXPECT_EQ(m, (Cloud{{0, 0, 1.5}, {0, 0, third}, {0, 0, 3}, {10, 0, 5}}));
}

TEST(GaussianfilterPMR, DepthGateAndRenormalisedEnds) {
    // r = 2: sigma = 5/3, weights exp(-j^2 / (2 sigma^2)), normalised over the taps used.
    double w[5];
    for (int j = 0; j < 5; ++j) w[j] = XELORAALGO::num::exp(-(j - 2) * (j - 2) / (50.0 / 9.0));
    // Depths 10, 11, 13, 16, 15.5, 21, 12; the point with x = 0 is not in the sequence (else the first
    // point's taps would shift).
    Cloud c{{1, 0, 10}, {0, 5, 999}, {2, 0, 11}, {3, 0, 13}, {4, 0, 16}, {5, 0, 15.5}, {6, 0, 21}, {7, 0, 12}};
    XeloraAlgo().Gaussianfilter_PMR(c, 2);
    EXPECT_DOUBLE_EQ(c[0][2], (w[2] * 10 + w[3] * 11 + w[4] * 13) / (w[2] + w[3] + w[4]));  // first: 3 taps
    // 16: 11 differs by exactly 5 and is left out, 21 too.
    EXPECT_DOUBLE_EQ(c[4][2], (w[1] * 13 + w[2] * 16 + w[3] * 15.5) / (w[1] + w[2] + w[3]));
}

TEST(Downsample, BinsTruncatedTowardZeroAndPadded) {
    // An invalid entry (x = 0), then x = -5.5 ... 5.5, width 2: trunc(x / 2) gives bins -2, -1,
    // 0 (four entries: -1.5 ... 1.5), 1, 2; the output is padded with empty points to the ROI height.
    XeloraAlgo algo;
    XELORAALGO::tagXeloraAlgoROIInfo roi{0, 0, 8, 16};
    algo.SetROIInfo(&roi);
    Cloud in{{0.0, 7.0, 9.0}};
    for (int i = 0; i < 12; ++i) in.push_back({-5.5 + i, 2 * (-5.5 + i), 10.0 + i});
    Cloud out{{1, 2, 3}};
    int count = -1;
    algo.Downsample(in, out, 2.0f, count);
    EXPECT_EQ(count, 5);
    Cloud want{{-5, -10, 10.5}, {-3, -6, 12.5}, {0, 0, 15.5}, {3, 6, 18.5}, {5, 10, 20.5}};
    want.resize(16, kZero);
    EXPECT_EQ(out, want);
}
