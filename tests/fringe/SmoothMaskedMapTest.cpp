// Masked Gaussian smoothing: kernel size and shape, renormalisation at borders and mask edges,
// invalid pixels, and the float/double rounding points against a direct reference.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include "fringe/fringe.h"

using XELORAALGO::AlgoEngine;
using XELORAALGO::fringe::SmoothMaskedMap;

namespace {

void setRoi(AlgoEngine& e, int w, int h) {
    e.roi.offsetX = 0;
    e.roi.offsetY = 0;
    e.roi.width = w;
    e.roi.height = h;
}

// Masks are bool arrays; std::vector<bool> has no data().
struct Mask {
    std::unique_ptr<bool[]> v;
    Mask(std::size_t n, bool value) : v(new bool[n]) {
        for (std::size_t i = 0; i < n; ++i) v[i] = value;
    }
    void set(std::size_t i, bool b) { v[i] = b; }
    const bool* data() const { return v.get(); }
};

// Straightforward reading of the algorithm: 2-D index arithmetic with explicit bounds tests.
std::vector<float> referenceSmooth(const std::vector<float>& in, const Mask& mask, int w, int h, float sigma) {
    const int R = static_cast<int>(std::floor(1.5 * static_cast<double>(sigma)));
    std::vector<double> k;
    double sum = 0.0;
    for (int x = -R; x <= R; ++x) {
        float num = static_cast<float>(-x * x);
        float den = (sigma + sigma) * sigma;
        k.push_back(static_cast<double>(expf(num / den)));
        sum += k.back();
    }
    for (auto& v : k) v = v / sum;
    auto valid = [&](int r, int c) { return mask.v[static_cast<std::size_t>(r * w + c)]; };
    std::vector<float> hp(in.size(), 0.0f), out(in.size(), 0.0f);
    for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c) {
            if (!valid(r, c)) continue;
            float ws = 0.0f, vs = 0.0f;
            for (int x = -R; x <= R; ++x) {
                int q = c + x;
                if (q >= 0 && q < w && valid(r, q)) {
                    ws = ws + (float)k[x + R];
                    double acc = (double)vs + k[x + R] * (double)in[r * w + q];
                    vs = (float)acc;
                }
            }
            hp[r * w + c] = vs / ws;
        }
    for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c) {
            if (!valid(r, c)) continue;
            float ws = 0.0f, vs = 0.0f;
            for (int y = -R; y <= R; ++y) {
                int q = r + y;
                if (q >= 0 && q < h && valid(q, c)) {
                    ws = ws + (float)k[y + R];
                    double acc = (double)vs + k[y + R] * (double)hp[q * w + c];
                    vs = (float)acc;
                }
            }
            out[r * w + c] = vs / ws;
        }
    return out;
}

}  // namespace

TEST(SmoothMaskedMap, SmallSigmaKeepsValidPixelsAndZeroesInvalidOnes) {
    AlgoEngine e;
    setRoi(e, 5, 4);
    std::vector<float> map(20);
    Mask mask(20, true);
    for (int i = 0; i < 20; ++i) map[i] = 0.1f * static_cast<float>(i * i) - 3.3f;
    mask.set(7, false);
    mask.set(13, false);
    const std::vector<float> before = map;
    for (float sigma : {1e-30f, 0.1f, 0.5f, 0.66f}) {  // radius 0: one tap of weight 1
        map = before;
        SmoothMaskedMap(e, map.data(), mask.data(), sigma);
        for (int i = 0; i < 20; ++i) {
            if (i == 7 || i == 13)
                EXPECT_EQ(map[i], 0.0f) << i;
            else
                EXPECT_EQ(map[i], before[i]) << "sigma " << sigma << " pixel " << i;
        }
    }
}

TEST(SmoothMaskedMap, SigmaTwoReachesThreePixelsWithGaussianWeight) {
    // Row of 9: only columns 1 and 4 valid (3 apart). Column 1 sees column 4 through the tap at
    // x = +3 only if the radius is 3, with relative weight expf(-9/8). No valid vertical neighbours.
    AlgoEngine e;
    setRoi(e, 9, 3);
    std::vector<float> map(27, 50.0f);
    Mask mask(27, false);
    mask.set(9 + 1, true);
    mask.set(9 + 4, true);
    map[9 + 1] = 0.0f;
    map[9 + 4] = 1.0f;
    SmoothMaskedMap(e, map.data(), mask.data(), 2.0f);
    const double h1 = map[9 + 1];
    const double h4 = map[9 + 4];
    const double ratio = static_cast<double>(expf(-9.0f / 8.0f));
    EXPECT_NEAR(h1, ratio / (1.0 + ratio), 1e-6);
    EXPECT_NEAR(h4, 1.0 / (1.0 + ratio), 1e-6);
    for (int i = 0; i < 27; ++i) {
        if (i != 10 && i != 13) {
            EXPECT_EQ(map[i], 0.0f) << i;
        }
    }

    // Four apart is out of reach: both keep their values.
    std::vector<float> map2(27, 0.0f);
    Mask mask2(27, false);
    mask2.set(9 + 1, true);
    mask2.set(9 + 5, true);
    map2[9 + 1] = 2.0f;
    map2[9 + 5] = 7.0f;
    SmoothMaskedMap(e, map2.data(), mask2.data(), 2.0f);
    EXPECT_EQ(map2[9 + 1], 2.0f);
    EXPECT_EQ(map2[9 + 5], 7.0f);
    // sigma 2.7 gives radius 4 (floor of 4.05): now they mix.
    map2[9 + 1] = 2.0f;
    map2[9 + 5] = 7.0f;
    SmoothMaskedMap(e, map2.data(), mask2.data(), 2.7f);
    EXPECT_GT(map2[9 + 1], 2.0f);
    EXPECT_LT(map2[9 + 5], 7.0f);
}

TEST(SmoothMaskedMap, RampIsKeptInsideAndRenormalisedAtTheBorder) {
    // A horizontal ramp v = c smoothed with sigma 1 (taps -1, 0, 1 with weights e, 1, e relative,
    // e = expf(-1/2)): interior pixels keep their value, the left border becomes e / (1 + e) and
    // the right border (w-1) - e / (1 + e). The vertical pass of a column-constant map changes nothing.
    AlgoEngine e;
    const int w = 8, h = 5;
    setRoi(e, w, h);
    std::vector<float> map(w * h);
    for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c) map[r * w + c] = static_cast<float>(c);
    Mask mask(w * h, true);
    SmoothMaskedMap(e, map.data(), mask.data(), 1.0f);
    const double ee = static_cast<double>(expf(-0.5f));
    for (int r = 0; r < h; ++r) {
        EXPECT_NEAR(map[r * w], ee / (1.0 + ee), 1e-6);
        EXPECT_NEAR(map[r * w + w - 1], (w - 1) - ee / (1.0 + ee), 1e-5);
        for (int c = 1; c < w - 1; ++c) EXPECT_NEAR(map[r * w + c], c, 2e-6) << r << "," << c;
    }
}

TEST(SmoothMaskedMap, InvalidPixelsNeitherContributeNorReceive) {
    // Valid pixels hold 10, invalid ones a huge value or NaN: every valid pixel stays 10 (up to rounding of
    // the renormalised weights), every invalid one becomes 0. A valid pixel fenced by invalid
    // neighbours in its row and column keeps its exact value.
    AlgoEngine e;
    const int w = 11, h = 9;
    setRoi(e, w, h);
    std::vector<float> map(w * h, 10.0f);
    Mask mask(w * h, true);
    std::mt19937 rng(7);
    for (int i = 0; i < w * h; ++i)
        if (rng() % 3 == 0) {
            mask.set(i, false);
            map[i] = (i % 2) ? 1.0e6f : std::nanf("");
        }
    // Pixel (4, 5) isolated in its row and column within the radius (sigma 2 -> radius 3).
    for (int d = 1; d <= 3; ++d) {
        mask.set(4 * w + 5 - d, false);
        mask.set(4 * w + 5 + d, false);
        mask.set((4 - d) * w + 5, false);
        mask.set((4 + d) * w + 5, false);
    }
    mask.set(4 * w + 5, true);
    map[4 * w + 5] = 3.25f;
    SmoothMaskedMap(e, map.data(), mask.data(), 2.0f);
    EXPECT_EQ(map[4 * w + 5], 3.25f);
    for (int i = 0; i < w * h; ++i) {
        if (i == 4 * w + 5) continue;
        if (mask.v[i]) {
            EXPECT_NEAR(map[i], 10.0f, 1e-4f) << i;
        } else {
            EXPECT_EQ(map[i], 0.0f) << i;
        }
    }
}

TEST(SmoothMaskedMap, HorizontalPassFeedsVerticalPass) {
    // The vertical pass smooths the horizontal result, so an impulse spreads over the full square
    // footprint: the diagonal neighbour receives w1 * w1, the direct neighbours w0 * w1.
    AlgoEngine e;
    const int w = 7, h = 7;
    setRoi(e, w, h);
    std::vector<float> map(w * h, 0.0f);
    map[3 * w + 3] = 1.0f;
    Mask mask(w * h, true);
    SmoothMaskedMap(e, map.data(), mask.data(), 1.0f);
    const double ee = static_cast<double>(expf(-0.5f));
    const double w0 = 1.0 / (1.0 + 2.0 * ee), w1 = ee / (1.0 + 2.0 * ee);
    EXPECT_NEAR(map[3 * w + 3], w0 * w0, 1e-7);
    EXPECT_NEAR(map[2 * w + 2], w1 * w1, 1e-7);
    EXPECT_NEAR(map[3 * w + 4], w0 * w1, 1e-7);
    EXPECT_NEAR(map[4 * w + 3], w0 * w1, 1e-7);
    EXPECT_EQ(map[1 * w + 3], 0.0f);  // two rows away: outside radius 1
}

TEST(SmoothMaskedMap, MatchesDirectReferenceToTheBit) {
    AlgoEngine e;
    const int w = 23, h = 17;
    setRoi(e, w, h);
    std::mt19937 rng(12345);
    std::uniform_real_distribution<float> val(0.0f, 255.0f);
    for (float sigma : {0.8f, 1.0f, 2.0f, 3.3f}) {
        std::vector<float> map(w * h);
        Mask mask(w * h, true);
        for (int i = 0; i < w * h; ++i) {
            map[i] = val(rng);
            mask.set(i, rng() % 5 != 0);
        }
        const std::vector<float> expected = referenceSmooth(map, mask, w, h, sigma);
        SmoothMaskedMap(e, map.data(), mask.data(), sigma);
        for (int i = 0; i < w * h; ++i) ASSERT_EQ(map[i], expected[i]) << "sigma " << sigma << " pixel " << i;
    }
}

TEST(SmoothMaskedMap, NonPositiveSigmaMeansNoSmoothing) {
    AlgoEngine e;
    setRoi(e, 4, 2);
    std::vector<float> map = {1, 2, 3, 4, 5, 6, 7, 8};
    Mask mask(8, true);
    mask.set(2, false);
    for (float sigma : {0.0f, -1.0f, std::nanf("")}) {
        std::vector<float> m = map;
        SmoothMaskedMap(e, m.data(), mask.data(), sigma);
        for (int i = 0; i < 8; ++i) EXPECT_EQ(m[i], i == 2 ? 0.0f : map[i]);
    }
}

TEST(SmoothMaskedMap, KernelWiderThanTheRoi) {
    // sigma 40 on a 5 x 3 ROI: radius 60, far beyond the ROI. Every tap inside the ROI takes part
    // and the weights renormalise over those taps, so the result equals the reference computed with
    // the full 121-tap kernel.
    AlgoEngine e;
    const int w = 5, h = 3;
    setRoi(e, w, h);
    std::vector<float> map = {3, 9, 1, 4, 7, 2, 8, 8, 0, 5, 6, 1, 3, 9, 2};
    Mask mask(w * h, true);
    mask.set(6, false);
    const std::vector<float> expected = referenceSmooth(map, mask, w, h, 40.0f);
    SmoothMaskedMap(e, map.data(), mask.data(), 40.0f);
    for (int i = 0; i < w * h; ++i) EXPECT_EQ(map[i], expected[i]) << i;
}
