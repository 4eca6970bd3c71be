// CloudSmooth and Gaussianfilter_PMR: hand-worked sums, the distance and depth-step gates, the float
// rounding of CloudSmooth, the renormalised kernel at the ends of the sequence.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "XeloraAlgo.h"
#include "cloud/cloud.h"
#include "frame/AlgoEngine.h"

using XELORAALGO::AlgoEngine;
using XELORAALGO::XeloraAlgo;
using XELORAALGO::cloud::Cloud;

namespace {

const std::array<double, 3> kZero{0.0, 0.0, 0.0};

void setRoi(AlgoEngine& e, int w, int h) {
    e.roi.offsetX = 0;
    e.roi.offsetY = 0;
    e.roi.width = w;
    e.roi.height = h;
}

// An organised map of a noisy floor at depth 100 with a step up to 150 from column `stepCol` on,
// x and y one unit per pixel.
Cloud steppedMap(int w, int h, int stepCol, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> noise(-0.3, 0.3);
    Cloud m;
    for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c) m.push_back({1.0 * c, 1.0 * r, (c < stepCol ? 100.0 : 150.0) + noise(rng)});
    return m;
}

}  // namespace

TEST(CloudSmooth, HandWorkedRowOfThree) {
    AlgoEngine e;
    setRoi(e, 3, 1);
    // z 1, 2, 4 at x 0, 1, 2: with a large radius the middle averages all three, the ends two.
    Cloud m{{0.0, 0.0, 1.0}, {1.0, 0.0, 2.0}, {2.0, 0.0, 4.0}};
    XELORAALGO::cloud::CloudSmooth(e, m, 1, 10.0f);
    ASSERT_EQ(m.size(), 3u);
    EXPECT_EQ(m[0][2], 1.5);
    EXPECT_EQ(m[1][2], static_cast<double>(7.0f / 3.0f));
    EXPECT_EQ(m[2][2], 3.0);
    EXPECT_EQ(m[1][0], 1.0);

    // Radius 1.5: from the middle, (1, 0, -1) is sqrt(2) away and counts, (1, 0, 2) is sqrt(5) away and
    // does not; the gate compares radius^2 >= d^2 so a neighbour at exactly the radius counts.
    Cloud g{{0.0, 0.0, 1.0}, {1.0, 0.0, 2.0}, {2.0, 0.0, 4.0}};
    XELORAALGO::cloud::CloudSmooth(e, g, 1, 1.5f);
    EXPECT_EQ(g[1][2], 1.5);
    // A neighbour at exactly the radius counts: (0, 0, 5) is 3 from (0, 0, 2).
    Cloud exact{{0.0, 0.0, 2.0}, {0.0, 0.0, 5.0}, {10.0, 0.0, 5.0}};
    Cloud inside = exact;
    XELORAALGO::cloud::CloudSmooth(e, exact, 1, 3.0f);
    EXPECT_EQ(exact[0][2], 3.5);
    EXPECT_EQ(exact[1][2], 3.5);
    EXPECT_EQ(exact[2][2], 5.0);
    XELORAALGO::cloud::CloudSmooth(e, inside, 1, 2.99f);
    EXPECT_EQ(inside[0][2], 2.0);
    EXPECT_EQ(inside[1][2], 5.0);
}

TEST(CloudSmooth, RadiusZeroROneAndInvalidPoints) {
    AlgoEngine e;
    setRoi(e, 4, 3);
    Cloud m;
    for (int i = 0; i < 12; ++i) m.push_back({0.1 * i + 1.0, 0.37 * i, 100.0 + 0.123456789 * i});
    m[5] = {7.0, 8.0, 0.0};   // invalid: (0, 0, 0) on return
    m[6] = {7.0, 8.0, -4.0};  // invalid
    const Cloud before = m;
    XeloraAlgo algo;
    XELORAALGO::tagXeloraAlgoROIInfo roi{0, 0, 4, 3};
    algo.SetROIInfo(&roi);

    Cloud r0 = m;
    algo.CloudSmooth(r0, 0, 1000.0f);  // only the point itself
    Cloud rad0 = m;
    algo.CloudSmooth(rad0, 3, 0.0f);  // only points at the very same position: here, itself
    for (std::size_t i = 0; i < 12; ++i) {
        const std::array<double, 3> want =
            (i == 5 || i == 6) ? kZero
                               : std::array<double, 3>{before[i][0], before[i][1], static_cast<double>(static_cast<float>(before[i][2]))};
        EXPECT_EQ(r0[i], want) << i;
        EXPECT_EQ(rad0[i], want) << i;
    }
    // z has really been rounded to float.
    EXPECT_NE(r0[1][2], before[1][2]);

    // A vector longer than the ROI comes back ROI-sized.
    Cloud big = m;
    big.push_back({1.0, 1.0, 1.0});
    algo.CloudSmooth(big, 0, 1.0f);
    EXPECT_EQ(big.size(), 12u);
    // A shorter one comes back ROI-sized too, the missing points empty.
    Cloud small(m.begin(), m.begin() + 8);
    algo.CloudSmooth(small, 1, 1000.0f);
    ASSERT_EQ(small.size(), 12u);
    for (std::size_t i = 8; i < 12; ++i) EXPECT_EQ(small[i], kZero);
    EXPECT_NE(small[7], kZero);
}

TEST(CloudSmooth, FlattensNoiseWithoutCrossingStep) {
    const int w = 24, h = 12, step = 11;
    AlgoEngine e;
    setRoi(e, w, h);
    const Cloud in = steppedMap(w, h, step, 3u);
    Cloud out = in;
    XELORAALGO::cloud::CloudSmooth(e, out, 2, 5.0f);
    ASSERT_EQ(out.size(), in.size());
    double devIn = 0.0, devOut = 0.0;
    for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c) {
            const std::size_t i = static_cast<std::size_t>(r * w + c);
            const double base = c < step ? 100.0 : 150.0;
            // Each result is the float mean of same-side neighbours in the 5 x 5 window: the step (50)
            // is far beyond the radius, and the in-plane neighbours are at most sqrt(8 + 0.36) away.
            float sum = 0.0f;
            int n = 0;
            for (int rr = r - 2; rr <= r + 2; ++rr)
                for (int cc = c - 2; cc <= c + 2; ++cc) {
                    if (rr < 0 || rr >= h || cc < 0 || cc >= w || (cc < step) != (c < step)) continue;
                    sum = static_cast<float>(sum + in[static_cast<std::size_t>(rr * w + cc)][2]);
                    ++n;
                }
            EXPECT_EQ(out[i][2], static_cast<double>(sum / static_cast<float>(n))) << r << " " << c;
            EXPECT_NEAR(out[i][2], base, 0.3);
            EXPECT_EQ(out[i][0], in[i][0]);
            EXPECT_EQ(out[i][1], in[i][1]);
            devIn += (in[i][2] - base) * (in[i][2] - base);
            devOut += (out[i][2] - base) * (out[i][2] - base);
        }
    EXPECT_LT(devOut, devIn / 4.0);
}

namespace {

// Gaussian weights straight from the formula, normalised; sigma = (2r + 1) / 3.
std::vector<double> gaussWeights(int r) {
    const double sigma = (2.0 * r + 1.0) / 3.0;
    std::vector<double> w;
    double s = 0.0;
    for (int j = -r; j <= r; ++j) {
        w.push_back(std::exp(-(j * j) / (2.0 * sigma * sigma)));
        s += w.back();
    }
    for (double& v : w) v /= s;
    return w;
}

}  // namespace

TEST(GaussianfilterPMR, WeightsGateAndEnds) {
    // r = 2: sigma = 5/3, weights exp(-j^2 / (50/9)) for j = -2 ... 2.
    const std::vector<double> w = gaussWeights(2);
    EXPECT_NEAR(w[1] / w[2], std::exp(-9.0 / 50.0), 1e-15);
    EXPECT_NEAR(w[0] / w[2], std::exp(-36.0 / 50.0), 1e-15);

    // Depths 10, 11, 13, 16, 15.5, 21, 12 with x != 0; points with x = 0 are not in the sequence.
    Cloud c{{1, 0, 10}, {0, 5, 999}, {2, 0, 11}, {3, 0, 13}, {4, 0, 16}, {5, 0, 15.5}, {6, 0, 21}, {7, 0, 12}};
    const Cloud before = c;
    XELORAALGO::cloud::Gaussianfilter_PMR(c, 2);
    EXPECT_EQ(c[1], before[1]);
    for (std::size_t i = 0; i < c.size(); ++i) {
        EXPECT_EQ(c[i][0], before[i][0]);
        EXPECT_EQ(c[i][1], before[i][1]);
    }
    // First point (10): neighbours 11 and 13 exist (|dz| < 5), renormalised over the three weights.
    EXPECT_DOUBLE_EQ(c[0][2], (w[2] * 10 + w[3] * 11 + w[4] * 13) / (w[2] + w[3] + w[4]));
    // Third point (13): 10, 11, 16, 15.5 all within 5.
    EXPECT_DOUBLE_EQ(c[3][2], w[0] * 10 + w[1] * 11 + w[2] * 13 + w[3] * 16 + w[4] * 15.5);
    // Fourth point (16): 11 differs by exactly 5 and is left out, 21 too; 13 and 15.5 stay.
    EXPECT_DOUBLE_EQ(c[4][2], (w[1] * 13 + w[2] * 16 + w[3] * 15.5) / (w[1] + w[2] + w[3]));
    // Sixth point (21): every neighbour is 5 or more away: it keeps its depth.
    EXPECT_DOUBLE_EQ(c[6][2], 21.0);
    // Last point (12): 15.5 two places back is within 5, 21 just before it is not.
    EXPECT_DOUBLE_EQ(c[7][2], (w[0] * 15.5 + w[2] * 12) / (w[0] + w[2]));

    // Results do not feed later points: a linear ramp stays linear in the interior.
    Cloud ramp;
    for (int i = 0; i < 20; ++i) ramp.push_back({1.0 + i, 0.0, 50.0 + 0.5 * i});
    XELORAALGO::cloud::Gaussianfilter_PMR(ramp, 3);
    for (int i = 3; i < 17; ++i) EXPECT_NEAR(ramp[static_cast<std::size_t>(i)][2], 50.0 + 0.5 * i, 1e-12) << i;
}

TEST(GaussianfilterPMR, TooFewPointsOrNegativeRadius) {
    Cloud four{{1, 0, 10}, {2, 0, 14}, {0, 0, 5}, {3, 0, 10}, {4, 0, 13}};
    const Cloud before = four;
    XeloraAlgo algo;
    algo.Gaussianfilter_PMR(four, 2);  // four valid points, five taps
    EXPECT_EQ(four, before);
    algo.Gaussianfilter_PMR(four, -1);
    EXPECT_EQ(four, before);
    algo.Gaussianfilter_PMR(four, 0);  // a single tap: every depth stays
    EXPECT_EQ(four, before);
    algo.Gaussianfilter_PMR(four, 1);  // three taps over four points: depths change
    EXPECT_NE(four[0][2], before[0][2]);
}
