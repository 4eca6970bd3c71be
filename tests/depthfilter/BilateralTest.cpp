// Bilateral filter against a straightforward weighted mean (spatial weight in bands of the integer
// quotient, Gaussian range weight, invalid pixels left out and set to 0), over eight worker bands
// whose kernels reach into each other; the rows past the last band come out 0.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "stereo/StereoTestUtil.h"
#include "XeloraAlgo.h"
#include "depthfilter/Bilateralfilter.h"
#include "numerics/numerics.h"

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

namespace {

// Bilateralfilter written plainly from its definition: per pixel, neighbours rows outer and columns
// inner, the range weight expf((-d * d) / ((s + s) s)) times the spatial weight exp(q) narrowed to
// float, sums in float; only the rows of the eight bands.
std::vector<float> plainBilateral(const std::vector<float>& src, const stereotest::BoolMap& mask, int w, int h,
                                  int sigma, float range) {
    const int half = static_cast<int>(std::floor(1.5 * sigma));
    std::vector<float> out(src.size(), 0.0f);
    const int rows = 8 * (h / 8);
    for (int r = 0; r < rows; ++r)
        for (int c = 0; c < w; ++c) {
            const std::size_t i = static_cast<std::size_t>(r * w + c);
            if (!mask[i]) continue;
            float s = 0.0f, n = 0.0f;
            for (int di = -half; di <= half; ++di)
                for (int dj = -half; dj <= half; ++dj) {
                    const int rr = r + di, cc = c + dj;
                    const std::size_t j = static_cast<std::size_t>(rr * w + cc);
                    if (rr < 0 || rr >= h || cc < 0 || cc >= w || !mask[j]) continue;
                    const float d = src[j] - src[i];
                    const float wr = XELORAALGO::num::expf((-d * d) / ((range + range) * range));
                    const int q = (di * di + dj * dj) / (-2 * sigma * sigma);
                    const float wgt = wr * static_cast<float>(XELORAALGO::num::exp(static_cast<double>(q)));
                    s += src[j] * wgt;
                    n += wgt;
                }
            out[i] = s / n;
        }
    return out;
}

}  // namespace

namespace {

std::uint32_t bitsOf(float v) {
    std::uint32_t b;
    std::memcpy(&b, &v, 4);
    return b;
}

}  // namespace

// Each pair's range weight is computed once and shared by its two pixels, weights 1 and 0 are
// decided without expf, and the loops run sixteen pixels wide where the processor allows: every
// pixel must still come out with the bits of the plain per-pixel sums, and both loop widths with the
// same bits. Maps: widths around the lane count and below the kernel, bands of fewer
// rows than the kernel's half size, rows outside the bands, holes, NaN of both signs, infinities,
// signed zeros, huge and subnormal values, equal neighbours and neighbours far beyond the range.
TEST(Bilateralfilter, SharedWeightsGiveThePlainPerPixelSumsOnAdversarialMaps) {
    std::mt19937 rng(23);
    std::uniform_real_distribution<float> near(499.0f, 501.0f);
    std::uniform_int_distribution<int> pick(0, 19);
    const float odd[] = {0.0f, -0.0f, NAN, -NAN, INFINITY, -INFINITY, 1e30f, 1e-40f, 500.0f, -3.5f};
    const struct { int w, h; } sizes[] = {{1, 8}, {2, 9}, {5, 3}, {12, 45}, {16, 16}, {31, 16}, {33, 17}, {70, 24}};
    int compared = 0;
    for (const auto& size : sizes)
        for (const int sigma : {1, 2, 3, 4, 5})
            for (const float range : {0.01f, 2.0f, 300.0f}) {
                const int w = size.w, h = size.h;
                XELORAALGO::AlgoEngine e;
                stereotest::setRoi(e, w, h);
                stereotest::BoolMap mask(static_cast<std::size_t>(w * h));
                std::vector<float> src(mask.n);
                for (std::size_t i = 0; i < mask.n; ++i) {
                    const int p = pick(rng);
                    src[i] = p < 2 ? odd[static_cast<std::size_t>(pick(rng)) % 10] : p < 5 ? 500.0f : near(rng);
                    mask[i] = p != 19 && !(w > 30 && i / static_cast<std::size_t>(w) == 3);  // holes, a hole row
                }
                const std::vector<float> want = plainBilateral(src, mask, w, h, sigma, range);
                std::vector<float> wide = src, plain = src;
                XELORAALGO::depthfilter::BilateralfilterWithLanes(e, wide.data(), mask.data(), sigma, range, 16);
                XELORAALGO::depthfilter::BilateralfilterWithLanes(e, plain.data(), mask.data(), sigma, range, 1);
                for (std::size_t i = 0; i < mask.n; ++i) {
                    const std::string at = std::to_string(w) + "x" + std::to_string(h) + " s" + std::to_string(sigma) +
                                           " r" + std::to_string(range) + " @" + std::to_string(i);
                    // NaN's sign and payload follow the compiler's choice of operands, so only NaN-ness.
                    if (std::isnan(plain[i]))
                        ASSERT_TRUE(std::isnan(wide[i])) << at;
                    else
                        ASSERT_EQ(bitsOf(wide[i]), bitsOf(plain[i])) << at << ": " << wide[i] << " vs " << plain[i];
                    if (std::isnan(want[i]))
                        EXPECT_TRUE(std::isnan(plain[i])) << at;
                    else
                        EXPECT_EQ(bitsOf(plain[i]), bitsOf(want[i])) << at << ": " << plain[i] << " vs " << want[i];
                    compared += want[i] != 0.0f && std::isfinite(want[i]) ? 1 : 0;
                }
            }
    EXPECT_GT(compared, 8000);  // mostly ordinary results, not only NaN and zeros
}

// The shortcuts for weights 1 and 0 hold for the arguments at their bounds.
TEST(Bilateralfilter, RangeWeightsOneAndZeroAtTheShortcutBounds) {
    using XELORAALGO::num::expf;
    EXPECT_EQ(expf(-0.0f), 1.0f);
    EXPECT_EQ(expf(-0x1p-25f), 1.0f);
    EXPECT_LT(expf(std::nextafter(-0x1p-25f, -1.0f)), 1.0f);
    EXPECT_EQ(expf(std::nextafter(-104.0f, -200.0f)), 0.0f);
    EXPECT_EQ(expf(-INFINITY), 0.0f);
}

namespace {

// A float difference d whose range weight expf((-d * d) / 2) (range sigma 1) lies within 2^-40 of a
// rounding boundary of float, judged in long double: a pair the vector loops must hand to the
// scalar expf.
float hardDifference() {
    for (float d = 0.75f; d < 4.0f; d = std::nextafter(d, 8.0f)) {
        const float q = (-d * d) / 2.0f;
        const long double e = std::exp(static_cast<long double>(q));
        const float f = static_cast<float>(e);
        const long double ulp = static_cast<long double>(std::nextafter(f, 2.0f)) - f;
        const long double fromMid = std::fabs(std::fabs(e - f) - ulp / 2);
        if (fromMid < e * 0x1p-40L) return d;
    }
    return 0.0f;
}

}  // namespace

// Maps the sixteen-wide loops meet in practice: depths on a grid (differences of whole multiples of
// 2^-11, whose weights lie near the midpoints below 1, where a short kernel must not round on its
// own), and pairs whose weight only the scalar expf can settle, many of them, in every lane and
// block. Both loop widths must give the plain per-pixel sums' bits.
TEST(Bilateralfilter, QuantisedDepthsAndUnsettledWeightsKeepThePlainBits) {
    const float hard = hardDifference();
    ASSERT_NE(hard, 0.0f);
    std::mt19937 rng(31);
    std::uniform_int_distribution<int> step(-400, 400);
    std::bernoulli_distribution coin(0.9);
    for (const int sigma : {1, 2, 4}) {
        const int w = 53, h = 20;
        XELORAALGO::AlgoEngine e;
        stereotest::setRoi(e, w, h);
        stereotest::BoolMap mask(static_cast<std::size_t>(w * h));
        std::vector<float> grid(mask.n), pairs(mask.n);
        for (std::size_t i = 0; i < mask.n; ++i) {
            grid[i] = 500.0f + static_cast<float>(step(rng)) * 0x1p-11f;
            pairs[i] = (i / static_cast<std::size_t>(w) + i) % 3 == 0 ? hard : 0.0f;
            mask[i] = coin(rng);
        }
        for (const auto& [src, range] : {std::make_pair(grid, 2.0f), std::make_pair(grid, 0.05f), std::make_pair(pairs, 1.0f)}) {
            const std::vector<float> want = plainBilateral(src, mask, w, h, sigma, range);
            std::vector<float> wide = src, plain = src;
            XELORAALGO::depthfilter::BilateralfilterWithLanes(e, wide.data(), mask.data(), sigma, range, 16);
            XELORAALGO::depthfilter::BilateralfilterWithLanes(e, plain.data(), mask.data(), sigma, range, 1);
            for (std::size_t i = 0; i < mask.n; ++i) {
                ASSERT_EQ(bitsOf(wide[i]), bitsOf(want[i])) << "sigma " << sigma << " range " << range << " @" << i;
                ASSERT_EQ(bitsOf(plain[i]), bitsOf(want[i])) << "sigma " << sigma << " range " << range << " @" << i;
            }
        }
    }
}
