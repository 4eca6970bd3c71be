// Bilateral filter against a straightforward weighted mean (spatial weight in bands of the integer
// quotient, Gaussian range weight, invalid pixels left out and set to 0), over eight worker bands
// whose kernels reach into each other; the rows past the last band come out 0.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "stereo/StereoTestUtil.h"
#include "XeloraAlgo.h"
#include "depthfilter/Bilateralfilter.h"

TEST(Bilateralfilter, MatchesAWeightedMeanInEveryBandAndZeroesTheRest) {
    const int w = 23, h = 19;  // 8 bands of 2 rows: rows 16, 17, 18 belong to no worker
    XELORAALGO::AlgoEngine e;
    stereotest::setRoi(e, w, h);
    std::mt19937 rng(17);
    std::uniform_real_distribution<float> u(400.0f, 410.0f);
    std::bernoulli_distribution coin(0.8);
    stereotest::BoolMap mask(static_cast<std::size_t>(w * h));
    std::vector<float> map(mask.n);
    for (std::size_t i = 0; i < mask.n; ++i) map[i] = u(rng), mask[i] = coin(rng);
    const std::vector<float> src = map;
    const float range = 3.0f;  // spatial sigma 2: 7 x 7 kernel, weight exp(-floor(d^2 / 8))
    XELORAALGO::depthfilter::Bilateralfilter(e, map.data(), mask.data(), 2, range);
    for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c) {
            const std::size_t i = static_cast<std::size_t>(r * w + c);
            double s = 0, n = 0;
            for (int di = -3; di <= 3; ++di)
                for (int dj = -3; dj <= 3; ++dj) {
                    const int rr = r + di, cc = c + dj;
                    if (rr < 0 || rr >= h || cc < 0 || cc >= w || !mask[static_cast<std::size_t>(rr * w + cc)]) continue;
                    const double v = src[static_cast<std::size_t>(rr * w + cc)], d = v - src[i];
                    const double wgt = std::exp(-d * d / (2.0 * range * range)) * std::exp(-((di * di + dj * dj) / 8));
                    s += v * wgt;
                    n += wgt;
                }
            if (!mask[i] || r >= 16)
                EXPECT_EQ(map[i], 0.0f) << r << "," << c;
            else
                EXPECT_NEAR(map[i], s / n, 2e-4) << r << "," << c;
        }
    // The public member filters in place the same way.
    XELORAALGO::XeloraAlgo algo;
    XELORAALGO::tagXeloraAlgoROIInfo roi{0, 0, w, h};
    algo.SetROIInfo(&roi);
    std::vector<float> again = src;
    algo.Bilateralfilter(again.data(), mask.data(), 2, range);
    EXPECT_EQ(again, map);
}
