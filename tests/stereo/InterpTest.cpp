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

// The four fixed variants read their own coordinate maps (1, 2: rectification of camera 1, 2;
// 4, 5: undistortion of camera 1, 2). Keys' kernel reproduces a linear ramp, so each variant must
// return the ramp at its own pair's positions (the four pairs are shifted differently). With an
// odd height the last row belongs to neither band and stays 0 although its coordinates are inside.
TEST(InterpCubic, FixedVariantsReadTheirOwnMapsAndLeaveTheRowPastTheBands) {
    const int w = 13, h = 9;
    const std::size_t n = static_cast<std::size_t>(w * h);
    XELORAALGO::AlgoEngine e;
    stereotest::setRoi(e, w, h);
    const double shift[4][2] = {{0.25, 0.0}, {0.0, 0.25}, {0.5, 0.5}, {0.75, 0.125}};  // (dx, dy) per pair
    std::vector<double>* maps[4][2] = {{&e.rectMapX1, &e.rectMapY1}, {&e.rectMapX2, &e.rectMapY2},
                                       {&e.undistMapX1, &e.undistMapY1}, {&e.undistMapX2, &e.undistMapY2}};
    const auto coord = [&](int p, std::size_t i, int axis) {
        const int r = static_cast<int>(i) / w == h - 1 ? 4 : static_cast<int>(i) / w;  // last row: from row 4
        return (axis == 0 ? static_cast<int>(i) % w : r) + shift[p][axis];
    };
    for (int p = 0; p < 4; ++p)
        for (std::size_t i = 0; i < n; ++i) {
            maps[p][0]->push_back(coord(p, i, 0));
            maps[p][1]->push_back(coord(p, i, 1));
        }
    void (*variant[4])(const XELORAALGO::AlgoEngine&, float*) = {
        XELORAALGO::stereo::InterpCubic1, XELORAALGO::stereo::InterpCubic2, XELORAALGO::stereo::InterpCubic4,
        XELORAALGO::stereo::InterpCubic5};
    for (int p = 0; p < 4; ++p) {
        std::vector<float> map(n);
        for (std::size_t i = 0; i < n; ++i) map[i] = static_cast<float>(3 * (i % w) + 5 * (i / w) + 7);
        variant[p](e, map.data());
        for (std::size_t i = 0; i < n; ++i) {
            const double x = coord(p, i, 0), y = coord(p, i, 1);
            const bool inside = x >= 1 && x < w - 2 && y >= 1 && y < h - 2 && static_cast<int>(i) / w != h - 1;
            if (inside) EXPECT_NEAR(map[i], 3 * x + 5 * y + 7, 1e-4) << "pair " << p << " pixel " << i;
            else EXPECT_EQ(map[i], 0.0f) << "pair " << p << " pixel " << i;
        }
    }
}

// Masked resampling, worked by hand. At x = c + 0.5 on a whole row y = r the row weights are
// (0, 1, 0, 0) and the column weights W(1.5), W(0.5), W(0.5), W(1.5) = -0.0625, 0.5625, 0.5625,
// -0.0625; only valid neighbours enter the sum S and the weight sum N, and the value is S / N with
// no test of N.
TEST(InterpCubic3, MaskedWeightedMeanWorkedByHand) {
    const int w = 8, h = 10;  // height 10: rows 8 and 9 lie past the four bands of two rows
    const std::size_t n = static_cast<std::size_t>(w * h);
    XELORAALGO::AlgoEngine e;
    stereotest::setRoi(e, w, h);
    std::vector<float> src(n);
    for (std::size_t i = 0; i < n; ++i) src[i] = static_cast<float>(16 * (i % w) + 1000 * (i / w));
    stereotest::BoolMap mask(n, true);
    std::vector<double> mx(n, -5.0), my(n, -5.0);  // outside unless set below: 0
    const auto target = [&](int k, double x, double y) { mx[k] = x, my[k] = y; };
    // Row 4, columns 0..5 hold 4000, 4016, 4032, 4048, 4064, 4080; column 4 is invalid.
    mask[4 * w + 4] = false;
    target(0, 1.5, 4.0);                        // columns 0..3, all valid: (-250 + 2259 + 2268 - 253) / 1
    target(1, 2.5, 4.0);                        // columns 1..4: (-251 + 2268 + 2277) / 1.0625
    target(2, 3.0, 4.0);                        // integer coordinates: column 3 copied, 4048
    target(3, 3.5, 4.0);                        // columns 2..5: (-252 + 2277 - 255) / 0.4375
    target(9, 6.0, 4.0);                        // column 6 = w - 2: no neighbourhood, 0
    // Only the centre valid with integer coordinates: its own value; no valid neighbour: NaN.
    stereotest::BoolMap sparse(n, false);
    sparse[2 * w + 5] = true;
    std::vector<float> a = src, b = src;
    XELORAALGO::stereo::InterpCubic3(e, a.data(), mx.data(), my.data(), mask.data());
    EXPECT_EQ(a[0], 4024.0f);
    EXPECT_EQ(a[1], 4294.0f / 1.0625f);
    EXPECT_EQ(a[2], 4048.0f);
    EXPECT_EQ(a[3], (-0.0625f * 4032 + 0.5625f * 4048 - 0.0625f * 4080) / (-0.0625f + 0.5625f - 0.0625f));
    EXPECT_EQ(a[9], 0.0f);
    for (int k : {4, 5, 6, 7, 8}) EXPECT_EQ(a[k], 0.0f) << k;
    // Only the outer columns valid: N = -0.125 < 0, S / N is still the value, (4016 + 4064) / 2.
    stereotest::BoolMap outer(n, false);
    outer[4 * w + 1] = outer[4 * w + 4] = true;
    std::vector<double> ox(n, 2.5), oy(n, 4.0);
    std::vector<float> c = src;
    XELORAALGO::stereo::InterpCubic3(e, c.data(), ox.data(), oy.data(), outer.data());
    EXPECT_EQ(c[0], 4040.0f);
    // Every target pointed at (5, 2): the centre alone gives its value, no valid neighbour NaN (the
    // mask of (5, 2) cleared); rows 8 and 9 belong to no band and stay 0.
    std::vector<double> cx(n, 5.0), cy(n, 2.0);
    XELORAALGO::stereo::InterpCubic3(e, b.data(), cx.data(), cy.data(), sparse.data());
    for (std::size_t i = 0; i < n; ++i) EXPECT_EQ(b[i], i < 8u * w ? src[2 * w + 5] : 0.0f) << i;
    sparse[2 * w + 5] = false;
    b = src;
    XELORAALGO::stereo::InterpCubic3(e, b.data(), cx.data(), cy.data(), sparse.data());
    EXPECT_TRUE(std::isnan(b[0]) && std::isnan(b[8 * w - 1]) && b[8 * w] == 0.0f);
}

// Random coordinates, values and mask: S and N are float sums over the valid neighbours in row-major
// order (weights from the kernel at the float coordinates), the value S / N, to the bit. Forming the
// sums in double would change some of these values; the check below makes sure the data tell.
TEST(InterpCubic3, FloatSumsOverValidNeighboursToTheBit) {
    using XELORAALGO::stereo::BiCubicPloy;
    const int w = 15, h = 12;
    const std::size_t n = static_cast<std::size_t>(w * h);
    XELORAALGO::AlgoEngine e;
    stereotest::setRoi(e, w, h);
    std::mt19937 rng(11);
    std::uniform_real_distribution<double> ux(1.0, w - 2.0 - 1e-9), uy(1.0, h - 2.0 - 1e-9), uv(100.0, 900.0);
    std::vector<double> mx(n), my(n);
    std::vector<float> src(n);
    stereotest::BoolMap mask(n);
    for (std::size_t i = 0; i < n; ++i) {
        mx[i] = ux(rng), my[i] = uy(rng);
        src[i] = static_cast<float>(uv(rng));
        mask[i] = rng() % 4 != 0;
    }
    std::vector<float> map = src;
    XELORAALGO::stereo::InterpCubic3(e, map.data(), mx.data(), my.data(), mask.data());
    int differsInDouble = 0;
    for (std::size_t i = 0; i < n; ++i) {
        if (i / w >= 4 * (h / 4)) continue;  // past the bands
        const int c = static_cast<int>(mx[i]), r = static_cast<int>(my[i]);
        const float xf = static_cast<float>(mx[i]), yf = static_cast<float>(my[i]);
        float s = 0.0f, sum = 0.0f;
        double sd = 0.0, nd = 0.0;
        for (int k = r - 1; k <= r + 2; ++k)
            for (int l = c - 1; l <= c + 2; ++l) {
                const std::size_t j = static_cast<std::size_t>(k * w + l);
                if (!mask[j]) continue;
                const float wgt = BiCubicPloy(yf - static_cast<float>(k)) * BiCubicPloy(xf - static_cast<float>(l));
                s += wgt * src[j];
                sum += wgt;
                sd += static_cast<double>(wgt) * src[j];
                nd += wgt;
            }
        const float want = s / sum;
        EXPECT_TRUE(map[i] == want || (std::isnan(want) && std::isnan(map[i]))) << i << ": " << map[i] << " " << want;
        differsInDouble += static_cast<float>(sd / nd) != want;
    }
    EXPECT_GT(differsInDouble, 0);
}
