// Resampling: the cubic convolution against Keys' kernel in double and bit for bit against the
// float evaluation order, and the border rule.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "StereoTestUtil.h"
#include "stereo/stereo.h"

namespace {

double keysRef(double x) {  // Keys' kernel, a = -0.5
    const double t = std::fabs(x);
    return t <= 1 ? 1.5 * t * t * t - 2.5 * t * t + 1 : t < 2 ? -0.5 * t * t * t + 2.5 * t * t - 4 * t + 2 : 0;
}

}  // namespace

TEST(InterpCubic, SeparableConvolutionBitExactAndBorderRule) {
    using XELORAALGO::stereo::BiCubicPloy;
    const int w = 16, h = 14;
    const std::size_t n = static_cast<std::size_t>(w * h);
    XELORAALGO::AlgoEngine e;
    stereotest::setRoi(e, w, h);
    std::mt19937 rng(5);
    std::uniform_real_distribution<double> ux(1.0, w - 2.0 - 1e-6), uy(1.0, h - 2.0 - 1e-6), uv(-50.0, 50.0);
    std::vector<float> src(n), map(n);
    for (std::size_t i = 0; i < n; ++i) {
        e.rectMapX2.push_back(ux(rng));
        e.rectMapY2.push_back(uy(rng));
        map[i] = src[i] = static_cast<float>(uv(rng));
        // Every 7th: just below a whole number (rounds up to it in float), on one, or halfway.
        const double base = std::floor(e.rectMapX2[i]);
        if (i % 7 == 0) e.rectMapX2[i] = i % 3 == 0 ? base + 1 - 1e-12 : i % 3 == 1 ? base : base + 0.5;
        if (i % 14 == 0) e.rectMapY2[i] = std::floor(e.rectMapY2[i]) + 1 - 1e-12;
    }
    // Outside the rows / columns 1 .. size - 3 that have a whole neighbourhood, or not a number: 0.
    const double nan = std::numeric_limits<double>::quiet_NaN(), bad[] = {-0.5, 0.999, w - 2.0, nan, 1e300, -3e9};
    for (std::size_t k = 0; k < 6; ++k) e.rectMapX2[10 * k + 3] = bad[k], e.rectMapY2[10 * k + 5] = bad[k];
    XELORAALGO::stereo::InterpCubic2(e, map.data());
    for (std::size_t i = 0; i < n; ++i) {
        const double x = e.rectMapX2[i], y = e.rectMapY2[i];
        if (!(x >= 1 && x < w - 2 && y >= 1 && y < h - 2)) {
            EXPECT_EQ(map[i], 0.0f) << x << "," << y;
            continue;
        }
        // In double, and in float as the resampler sums: kernel per tap at the float coordinates,
        // row weight times column weight, row-major.
        const int c = static_cast<int>(x), r = static_cast<int>(y);
        const float xf = static_cast<float>(x), yf = static_cast<float>(y);
        double ref = 0;
        float sum = 0.0f;
        for (int k = r - 1; k <= r + 2; ++k)
            for (int l = c - 1; l <= c + 2; ++l) {
                const float v = src[static_cast<std::size_t>(k * w + l)];
                ref += keysRef(yf - k) * keysRef(xf - l) * v;
                sum += (BiCubicPloy(yf - static_cast<float>(k)) * BiCubicPloy(xf - static_cast<float>(l))) * v;
            }
        EXPECT_NEAR(map[i], ref, 2e-4) << i;
        EXPECT_EQ(map[i], sum) << i;
    }
}
