// Outlier removal: SORfilter against hand-worked lines and a brute-force float neighbour search,
// its argument checks, its use from two handles at once; sorFilter on profiles with spikes, its
// window, validity rules and the absolute limit.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "XeloraAlgo.h"
#include "cloud/cloud.h"

using XELORAALGO::XeloraAlgo;
using XELORAALGO::cloud::Cloud;

namespace {

const std::array<double, 3> kZero{0.0, 0.0, 0.0};

// Points on the x axis at the given abscissae, depth 100.
Cloud lineAt(const std::vector<double>& xs) {
    Cloud c;
    for (double x : xs) c.push_back({x, 0.0, 100.0});
    return c;
}

// Brute-force mean neighbour distances: every pair in float, the k smallest squared distances
// (the point itself included), roots of the positive ones summed in ascending order.
std::vector<float> bruteForceMeans(const Cloud& cloud, int k) {
    std::vector<std::array<float, 3>> p;
    for (const auto& q : cloud)
        if (q[2] > 0) p.push_back({static_cast<float>(q[0]), static_cast<float>(q[1]), static_cast<float>(q[2])});
    std::vector<float> means;
    for (std::size_t i = 0; i < p.size(); ++i) {
        std::vector<float> d;
        for (std::size_t j = 0; j < p.size(); ++j) {
            const float dx = p[j][0] - p[i][0], dy = p[j][1] - p[i][1], dz = p[j][2] - p[i][2];
            d.push_back(dx * dx + dy * dy + dz * dz);
        }
        std::sort(d.begin(), d.end());
        float sum = 0.0f;
        int count = 0;
        for (int j = 0; j < k; ++j)
            if (d[j] > 0.0f) {
                sum += std::sqrt(d[j]);
                ++count;
            }
        means.push_back(count ? sum / static_cast<float>(count) : 0.0f);
    }
    return means;
}

// Plane z = 100 sampled on a jittered grid, with a few far-off points at the given positions.
Cloud noisyPlane(int side, unsigned seed, const std::vector<std::array<double, 3>>& outliers) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> jitter(-0.2, 0.2), noise(-0.05, 0.05);
    Cloud c;
    for (int r = 0; r < side; ++r)
        for (int col = 0; col < side; ++col) c.push_back({col + jitter(rng), r + jitter(rng), 100.0 + noise(rng)});
    for (const auto& o : outliers) c.push_back(o);
    return c;
}

}  // namespace

TEST(SORfilter, HandWorkedLineThresholdFollowsMultiplier) {
    // x = 0 ... 9 and 12, k = 2: every point's only neighbour is its nearest one. m = 1 for the ten
    // evenly spaced points and 3 for x = 12; mu = 13/11, sigma = sqrt((10 (2/11)^2 + (20/11)^2) / 11)
    // = sqrt(40/121) = 0.5750 (population deviation; the sample one would be 0.6030). Threshold with
    // multiplier 3.1: 2.964 (12 removed); with 3.2: 3.022 (kept). The sample deviation would give 3.051
    // at 3.1 and keep the point.
    std::vector<double> xs{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 12};
    Cloud a = lineAt(xs), b = lineAt(xs);
    XeloraAlgo algo;
    algo.SORfilter(a, 2, 3.1f);
    algo.SORfilter(b, 2, 3.2f);
    for (std::size_t i = 0; i < 10; ++i) {
        EXPECT_EQ(a[i], lineAt(xs)[i]);
        EXPECT_EQ(b[i], lineAt(xs)[i]);
    }
    EXPECT_EQ(a[10], kZero);
    EXPECT_EQ(b[10], lineAt(xs)[10]);

    // Multiplier 0 removes exactly the points above the mean: here x = 12 only (1 < 13/11 < 3).
    Cloud c = lineAt(xs);
    algo.SORfilter(c, 2, 0.0f);
    EXPECT_EQ(c[10], kZero);
    EXPECT_EQ(c[9], lineAt(xs)[9]);

    // A sum of the roots needs them in ascending order: with k = 3, x = 12's neighbours are 9 and 8
    // (3 and 4 away), the interior points' two at 1, the ends' at 1 and 2.
    std::vector<float> mean;
    std::vector<std::int32_t> index;
    ASSERT_TRUE(XELORAALGO::cloud::sorMeanDistances(lineAt(xs), 3, index, mean));
    ASSERT_EQ(mean.size(), 11u);
    EXPECT_EQ(mean[0], 1.5f);
    EXPECT_EQ(mean[5], 1.0f);
    EXPECT_EQ(mean[10], 3.5f);
    EXPECT_EQ(index[10], 10);
}

TEST(SORfilter, RemovesFarOutliersAndKeepsThePlane) {
    const std::vector<std::array<double, 3>> outliers{
        {5.0, 5.0, 160.0}, {-40.0, 3.0, 100.0}, {12.0, 70.0, 95.0}, {30.0, -30.0, 130.0}, {60.0, 60.0, 40.0}};
    for (int k : {8, 20}) {
        Cloud c = noisyPlane(20, 7u + static_cast<unsigned>(k), outliers);
        const Cloud before = c;
        XeloraAlgo algo;
        algo.SORfilter(c, k, 1.0f);
        ASSERT_EQ(c.size(), before.size());
        for (std::size_t i = 0; i < 400; ++i) EXPECT_EQ(c[i], before[i]) << "plane point " << i << " k " << k;
        for (std::size_t i = 400; i < c.size(); ++i) EXPECT_EQ(c[i], kZero) << "outlier " << i << " k " << k;
    }
}

TEST(SORfilter, MeanDistancesMatchBruteForceFloatSearch) {
    std::mt19937 rng(11);
    std::uniform_real_distribution<double> u(0.0, 10.0);
    Cloud c;
    for (int i = 0; i < 300; ++i) c.push_back({u(rng) + 1000.0, u(rng) - 500.0, u(rng) + 300.0});
    c.push_back({0.0, 0.0, 0.0});       // invalid points are not part of the tree
    c.push_back({1003.0, -497.0, -1.0});
    for (int k : {2, 7, 16}) {
        std::vector<float> mean;
        std::vector<std::int32_t> index;
        ASSERT_TRUE(XELORAALGO::cloud::sorMeanDistances(c, k, index, mean));
        const std::vector<float> ref = bruteForceMeans(c, k);
        ASSERT_EQ(mean.size(), 300u);
        for (std::size_t i = 0; i < ref.size(); ++i) {
            EXPECT_EQ(index[i], static_cast<std::int32_t>(i));
            EXPECT_EQ(mean[i], ref[i]) << "point " << i << " k " << k;  // bit for bit
        }

        // The removal follows mu + multiplier * sigma of those means, all in float.
        float total = 0.0f;
        for (float m : ref) total += m;
        const float mu = total / 300.0f;
        float sq = 0.0f;
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

TEST(SORfilter, TooFewPointsKOneAndDuplicates) {
    // Nine valid points: untouched, even an isolated one; invalid points are never altered.
    Cloud nine = lineAt({0, 1, 2, 3, 4, 5, 6, 7, 300});
    nine.push_back({5.0, 6.0, -3.0});
    nine.push_back({5.0, 6.0, 0.0});
    const Cloud nineBefore = nine;
    XeloraAlgo algo;
    algo.SORfilter(nine, 2, 0.0f);
    EXPECT_EQ(nine, nineBefore);
    algo.SORfilter(nine, 50, 0.0f);  // fewer than 10 valid points: k is not checked either
    EXPECT_EQ(nine, nineBefore);

    // k = 1 finds only the point itself: nothing is removed.
    Cloud lone = lineAt({0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 500});
    const Cloud loneBefore = lone;
    algo.SORfilter(lone, 1, 0.0f);
    EXPECT_EQ(lone, loneBefore);

    // An exact duplicate with k = 2 has only zero distances and goes, both copies; the invalid point
    // keeps its non-zero x and y.
    Cloud dup = lineAt({0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10});
    dup.push_back({4.0, 0.0, 100.0});
    dup.push_back({7.0, 2.0, -1.0});
    const Cloud dupBefore = dup;
    algo.SORfilter(dup, 2, 100.0f);
    for (std::size_t i = 0; i < dup.size(); ++i)
        EXPECT_EQ(dup[i], (i == 4 || i == 11) ? kZero : dupBefore[i]) << i;
}

TEST(SORfilter, BadKThrowsAndLeavesCloudUntouched) {
    Cloud c = lineAt({0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 40, 41});
    c.push_back({1.0, 1.0, 0.0});
    const Cloud before = c;
    XeloraAlgo algo;
    for (int k : {13, 0, -2, 1000}) {
        try {
            algo.SORfilter(c, k, 1.0f);
            ADD_FAILURE() << "no exception for k = " << k;
        } catch (const std::invalid_argument& e) {
            const std::string msg = e.what();
            EXPECT_NE(msg.find("SORfilter"), std::string::npos) << msg;
            EXPECT_NE(msg.find(std::to_string(k)), std::string::npos) << msg;
            EXPECT_NE(msg.find("12"), std::string::npos) << msg;  // the valid count
        }
        EXPECT_EQ(c, before);
    }
    // k equal to the number of valid points is allowed; the library keeps working after a throw.
    algo.SORfilter(c, 12, 10.0f);
    EXPECT_EQ(c, before);
}

TEST(SORfilter, TwoHandlesAtOnce) {
    const Cloud a0 = noisyPlane(14, 3u, {{3.0, 3.0, 150.0}, {-20.0, 0.0, 100.0}});
    const Cloud b0 = noisyPlane(12, 5u, {{40.0, 3.0, 100.0}});
    Cloud aRef = a0, bRef = b0;
    XELORAALGO::cloud::SORfilter(aRef, 10, 1.0f);
    XELORAALGO::cloud::SORfilter(bRef, 6, 0.5f);
    ASSERT_EQ(aRef[196], kZero);
    ASSERT_EQ(bRef[144], kZero);

    XeloraAlgo h1, h2;
    bool okA = true, okB = true;
    std::thread t1([&] {
        for (int rep = 0; rep < 20; ++rep) {
            Cloud a = a0;
            h1.SORfilter(a, 10, 1.0f);
            okA = okA && a == aRef;
        }
    });
    std::thread t2([&] {
        for (int rep = 0; rep < 20; ++rep) {
            Cloud b = b0;
            h2.SORfilter(b, 6, 0.5f);
            okB = okB && b == bRef;
        }
    });
    t1.join();
    t2.join();
    EXPECT_TRUE(okA);
    EXPECT_TRUE(okB);
}

// ---- sorFilter ----

namespace {

// Points along x at spacing 0.5, depth 500, with upward spikes at the given positions.
Cloud spikyProfile(int n, const std::vector<int>& spikes, double height) {
    Cloud c;
    for (int i = 0; i < n; ++i) c.push_back({1.0 + 0.5 * i, 2.0, 500.0});
    for (int s : spikes) c[static_cast<std::size_t>(s)][2] += height;
    return c;
}

// Straightforward reading: per valid point its 21-point window, the 20 distances, the k smallest
// averaged term by term.
std::vector<double> referenceWindowMeans(const Cloud& in, int k) {
    std::vector<std::size_t> valid;
    for (std::size_t i = 0; i < in.size(); ++i)
        if (in[i][2] > 200.0) valid.push_back(i);
    const int n = static_cast<int>(valid.size());
    std::vector<double> M(static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i) {
        int lo = i - 10;
        if (lo < 0) lo = 0;
        if (lo + 21 > n) lo = n - 21;
        std::vector<double> d;
        for (int j = lo; j < lo + 21; ++j) {
            if (j == i) continue;
            const auto& p = in[valid[static_cast<std::size_t>(j)]];
            const auto& q = in[valid[static_cast<std::size_t>(i)]];
            d.push_back(std::sqrt((p[0] - q[0]) * (p[0] - q[0]) + (p[1] - q[1]) * (p[1] - q[1]) +
                                  (p[2] - q[2]) * (p[2] - q[2])));
        }
        std::sort(d.begin(), d.end());
        for (int j = 0; j < k; ++j) M[static_cast<std::size_t>(i)] += d[static_cast<std::size_t>(j)] / k;
    }
    return M;
}

// The band and the limit over those means.
Cloud referenceSorFilter(const Cloud& in, int k) {
    std::vector<std::size_t> valid;
    for (std::size_t i = 0; i < in.size(); ++i)
        if (in[i][2] > 200.0) valid.push_back(i);
    const int n = static_cast<int>(valid.size());
    if (n < 21) return in;
    const std::vector<double> M = referenceWindowMeans(in, k);
    double mu = 0.0;
    for (double m : M) mu += m;
    mu /= n;
    double sq = 0.0;
    for (double m : M) sq += (m - mu) * (m - mu);
    const double s = 0.1 * std::sqrt(sq);
    Cloud out(in.size(), kZero);
    for (int i = 0; i < n; ++i) {
        const double m = M[static_cast<std::size_t>(i)];
        if (m < 3.5 && m > mu - s && m < mu + s) out[valid[static_cast<std::size_t>(i)]] = in[valid[static_cast<std::size_t>(i)]];
    }
    return out;
}

}  // namespace

TEST(SorFilter, RemovesSpikesFromProfile) {
    Cloud c = spikyProfile(100, {0, 37, 38, 70, 99}, 30.0);
    c[50] = {1.0, 1.0, 150.0};  // invalid: comes back as (0, 0, 0)
    const Cloud before = c;
    XeloraAlgo algo;
    algo.sorFilter(c, 5, 123.0);
    ASSERT_EQ(c.size(), before.size());
    for (int i = 0; i < 100; ++i) {
        const bool gone = i == 0 || i == 37 || i == 38 || i == 70 || i == 99 || i == 50;
        EXPECT_EQ(c[static_cast<std::size_t>(i)], gone ? kZero : before[static_cast<std::size_t>(i)]) << i;
    }
}

TEST(SorFilter, MatchesDirectReadingOnRandomProfiles) {
    std::mt19937 rng(5);
    std::uniform_real_distribution<double> step(0.2, 1.2), dz(-0.6, 0.6);
    for (int k : {1, 4, 12, 20}) {
        Cloud c;
        double x = -30.0;
        for (int i = 0; i < 150; ++i) {
            x += step(rng);
            c.push_back({x, 0.1 * i, 400.0 + dz(rng) + (i % 17 == 0 ? 4.0 : 0.0)});
        }
        c[20][2] = 200.0;  // z = 200 is not valid
        c[90] = kZero;
        const Cloud expected = referenceSorFilter(c, k);
        std::vector<std::int32_t> index;
        for (std::size_t i = 0; i < c.size(); ++i)
            if (c[i][2] > 200.0) index.push_back(static_cast<std::int32_t>(i));
        const std::vector<double> M = XELORAALGO::cloud::sorWindowMeans(c, index, k);
        const std::vector<double> Mref = referenceWindowMeans(c, k);
        ASSERT_EQ(M.size(), Mref.size());
        for (std::size_t i = 0; i < M.size(); ++i) EXPECT_EQ(M[i], Mref[i]) << i << " k " << k;  // bit for bit
        XELORAALGO::cloud::sorFilter(c, k, 0.0);
        EXPECT_EQ(c, expected) << "k " << k;
        int kept = 0;
        for (const auto& p : c) kept += p[2] != 0.0;
        EXPECT_GT(kept, 0);
        EXPECT_LT(kept, 148);
    }
}

TEST(SorFilter, ValidCountWindowAndLimits) {
    XeloraAlgo algo;
    // 20 valid points: untouched, also the invalid point with non-zero coordinates.
    Cloud twenty = spikyProfile(20, {10}, 40.0);
    twenty.push_back({3.0, 3.0, 200.0});
    const Cloud twentyBefore = twenty;
    algo.sorFilter(twenty, 3, 0.0);
    EXPECT_EQ(twenty, twentyBefore);

    // 21 valid points all share the window [0, 21). Spacing 0.5 and one spike of 40 at position 20:
    // with k = 2 the evenly spaced points average 0.5 (ends: (0.5 + 1) / 2 = 0.75), the spike about
    // 40 and is removed; the band is wide because of it.
    Cloud one = spikyProfile(21, {20}, 40.0);
    one.push_back({3.0, 3.0, 200.0});
    algo.sorFilter(one, 2, 0.0);
    for (int i = 0; i < 20; ++i) EXPECT_EQ(one[static_cast<std::size_t>(i)][2], 500.0) << i;
    EXPECT_EQ(one[20], kZero);
    EXPECT_EQ(one[21], kZero);

    // The absolute limit: two runs of 100 points, spacing 1 then s, k = 1 (nearest neighbour).
    // M is 1 for the first run (also for its last point) and s for the second: mu = (1 + s) / 2,
    // band half-width 0.1 sqrt(200) (s - 1) / 2. For s = 3.6 the band is (0.46, 4.14): 3.6 lies inside
    // it yet is not below 3.5, so the second run goes; for s = 3.4 (band (0.50, 3.90)) it stays.
    for (double s : {3.4, 3.6}) {
        Cloud c;
        for (int i = 0; i < 100; ++i) c.push_back({static_cast<double>(i), 0.0, 300.0});
        for (int i = 1; i <= 100; ++i) c.push_back({99.0 + s * i, 0.0, 300.0});
        const Cloud before = c;
        algo.sorFilter(c, 1, 0.0);
        for (std::size_t i = 0; i < 100; ++i) EXPECT_EQ(c[i], before[i]) << i;
        for (std::size_t i = 100; i < 200; ++i) EXPECT_EQ(c[i], s < 3.5 ? before[i] : kZero) << i << " s " << s;
    }

    // k <= 0: every mean is 0, the band is empty, every valid point goes.
    Cloud all = spikyProfile(30, {}, 0.0);
    algo.sorFilter(all, 0, 0.0);
    for (const auto& p : all) EXPECT_EQ(p, kZero);
}
