// The vector loops of the resamplers and of CalPoint against the one-pixel loops, on inputs chosen to break a lane
// that does not do exactly the scalar operations: coordinates on and beside whole numbers, on the
// border of the neighbourhood rule, NaN and huge; source values of both zero signs, NaN and
// infinities; masks with empty and one-pixel neighbourhoods; widths that are not a multiple of
// eight and grids too small for any neighbourhood.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <vector>

#include "StereoTestUtil.h"
#include "stereo/stereo.h"

namespace {

using XELORAALGO::stereo::detail::resampleCubic;

std::uint32_t bits(float v) {
    std::uint32_t b;
    std::memcpy(&b, &v, sizeof b);
    return b;
}

struct Grid {
    int w, h;
    std::vector<double> mapX, mapY;
    std::vector<float> src;
    std::unique_ptr<bool[]> mask;
};

Grid adversarialGrid(int w, int h, unsigned seed) {
    Grid g{w, h, {}, {}, {}, nullptr};
    const std::size_t n = static_cast<std::size_t>(w) * static_cast<std::size_t>(h);
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> ux(-1.5, w + 0.5), uy(-1.5, h + 0.5), uv(-100.0, 100.0);
    std::uniform_int_distribution<int> pick(0, 15);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    g.mask.reset(new bool[n]);
    for (std::size_t i = 0; i < n; ++i) {
        double x = ux(rng), y = uy(rng);
        switch (pick(rng)) {  // special coordinates for a quarter of the pixels
            case 0: x = std::floor(x); break;                      // whole number: copies a source value
            case 1: x = std::floor(x) + 1 - 1e-12; break;          // rounds up to a whole number in float
            case 2: y = w > 3 ? 1.0 : y; x = w - 2 - 1e-9; break;  // just inside the last column
            case 3: x = w - 2.0; break;                            // just outside
            default: break;
        }
        if (pick(rng) == 0) (pick(rng) < 8 ? x : y) = pick(rng) < 8 ? nan : 3e9;
        g.mapX.push_back(x);
        g.mapY.push_back(y);
        float v = static_cast<float>(uv(rng));
        switch (pick(rng)) {
            case 0: v = 0.0f; break;
            case 1: v = -0.0f; break;
            case 2: v = pick(rng) == 0 ? std::nanf("") : v; break;
            case 3: v = pick(rng) == 0 ? (pick(rng) < 8 ? inf : -inf) : v; break;
            default: break;
        }
        g.src.push_back(v);
        g.mask[i] = pick(rng) < 11;  // about 30 % invalid, so some neighbourhoods are empty
    }
    return g;
}

// Resamples with and without the lanes and compares every pixel: the same bits, or both NaN.
void expectLanesEqualScalar(const Grid& g, bool masked) {
    XELORAALGO::AlgoEngine e;
    stereotest::setRoi(e, g.w, g.h);
    std::vector<float> lanes = g.src, scalar = g.src;
    const bool* mask = masked ? g.mask.get() : nullptr;
    resampleCubic(e, lanes.data(), g.mapX.data(), g.mapY.data(), mask, true);
    resampleCubic(e, scalar.data(), g.mapX.data(), g.mapY.data(), mask, false);
    int nonZero = 0;
    for (std::size_t i = 0; i < lanes.size(); ++i) {
        if (std::isnan(scalar[i])) {
            EXPECT_TRUE(std::isnan(lanes[i])) << "pixel " << i << " of " << g.w << " x " << g.h;
        } else {
            EXPECT_EQ(bits(lanes[i]), bits(scalar[i])) << "pixel " << i << " of " << g.w << " x " << g.h << ": "
                                                       << lanes[i] << " vs " << scalar[i];
        }
        nonZero += scalar[i] != 0.0f;
    }
    if (g.w >= 4 && g.h >= 4) {
        EXPECT_GT(nonZero, 0) << g.w << " x " << g.h;  // the case did resample
    }
}

}  // namespace

TEST(CubicLanes, PlainAndMaskedEqualTheScalarLoopOnAdversarialInputs) {
    // Widths below, at and around multiples of eight; heights that leave rows past the bands.
    const int sizes[][2] = {{13, 11}, {8, 8}, {16, 9}, {29, 7}, {33, 14}, {4, 4}, {7, 5}, {64, 21}};
    unsigned seed = 1;
    for (const auto& s : sizes) {
        const Grid g = adversarialGrid(s[0], s[1], seed++);
        expectLanesEqualScalar(g, false);
        expectLanesEqualScalar(g, true);
    }
}

TEST(CubicLanes, GridsWithoutAnyNeighbourhoodStayZero) {
    for (const auto& s : {std::pair<int, int>{3, 9}, {9, 3}, {1, 1}, {2, 16}}) {
        const Grid g = adversarialGrid(s.first, s.second, 99);
        for (bool masked : {false, true}) {
            XELORAALGO::AlgoEngine e;
            stereotest::setRoi(e, g.w, g.h);
            std::vector<float> map = g.src;
            resampleCubic(e, map.data(), g.mapX.data(), g.mapY.data(), masked ? g.mask.get() : nullptr, true);
            for (float v : map) EXPECT_EQ(bits(v), bits(0.0f));
        }
    }
}

TEST(CubicLanes, MaskedLanesKeepEmptyAndSingleNeighbourhoodRules) {
    // Two blocks of eight target pixels at whole-number coordinates of one 12 x 6 grid, whose
    // neighbourhoods share the valid pixels of row 2: at a whole-number coordinate every weight but
    // the centre's is zero, so the first block gives back its centre values exactly; with row 2
    // invalid too, both blocks' neighbourhoods are empty and give NaN.
    const int w = 12, h = 6;
    const std::size_t n = static_cast<std::size_t>(w * h);
    XELORAALGO::AlgoEngine e;
    stereotest::setRoi(e, w, h);
    std::vector<double> mapX(n, 0.0), mapY(n, 0.0);
    std::vector<float> map(n);
    std::unique_ptr<bool[]> mask(new bool[n]());
    for (std::size_t i = 0; i < n; ++i) map[i] = static_cast<float>(i) - 20.0f;
    for (int j = 0; j < 8; ++j) {
        mapX[static_cast<std::size_t>(j)] = 1 + j % 8;  // centres (2, 1 .. 8)
        mapY[static_cast<std::size_t>(j)] = 2;
        mapX[static_cast<std::size_t>(w + j)] = 1 + j % 8;
        mapY[static_cast<std::size_t>(w + j)] = 3;
        mask[static_cast<std::size_t>(2 * w + 1 + j)] = true;
    }
    const std::vector<float> src = map;
    XELORAALGO::stereo::detail::resampleCubic(e, map.data(), mapX.data(), mapY.data(), mask.get(), true);
    for (int j = 0; j < 8; ++j)
        EXPECT_EQ(bits(map[static_cast<std::size_t>(j)]), bits(src[static_cast<std::size_t>(2 * w + 1 + j)])) << j;
    // Row 2 invalid as well: every neighbourhood is empty.
    for (int j = 0; j < 8; ++j) mask[static_cast<std::size_t>(2 * w + 1 + j)] = false;
    std::vector<float> empty = src;
    XELORAALGO::stereo::detail::resampleCubic(e, empty.data(), mapX.data(), mapY.data(), mask.get(), true);
    for (int j = 0; j < 8; ++j) {
        EXPECT_TRUE(std::isnan(empty[static_cast<std::size_t>(j)])) << j;
        EXPECT_TRUE(std::isnan(empty[static_cast<std::size_t>(w + j)])) << j;
    }
}

// Runs CalPoint (no filters) with and without its vector loops on a copy of `mask` and compares
// the masks, the counts and every bit of X, Y and Z; returns the count.
static int expectCalPointLanesEqualScalar(XELORAALGO::AlgoEngine& e, const bool* mask) {
    const std::size_t n = e.pixelCount();
    const int w = e.roi.width;
    std::vector<float> out[2][3];
    int count[2] = {-1, -1};
    std::unique_ptr<bool[]> outMask[2];
    for (int lanes = 0; lanes < 2; ++lanes) {
        outMask[lanes].reset(new bool[n]);
        std::copy(mask, mask + n, outMask[lanes].get());
        for (auto& m : out[lanes]) m.assign(n, -1.0f);
        XELORAALGO::stereo::detail::calPoint(e, outMask[lanes].get(), out[lanes][0].data(), out[lanes][1].data(),
                                             out[lanes][2].data(), count[lanes], false, 2, 1.0f, false, 1.0f,
                                             lanes == 1);
    }
    EXPECT_EQ(count[0], count[1]) << w;
    for (std::size_t i = 0; i < n; ++i) {
        EXPECT_EQ(outMask[0][i], outMask[1][i]) << w << " " << i;
        for (int k = 0; k < 3; ++k)
            EXPECT_EQ(bits(out[0][k][i]), bits(out[1][k][i])) << w << " " << i << " map " << k;
    }
    return count[0];
}

TEST(CalPointLanes, DepthAndPointsEqualTheScalarLoops) {
    // A skewed geometry (every rotation term in use), downsampling step 2 with an offset, and
    // sub-pixel columns that include 0, both zero signs, NaN, infinities and a column that makes
    // the denominator vanish; row maps that wander, step back and leave the grid. Widths around a
    // multiple of eight.
    for (int w : {13, 16, 31}) {
        const int h = 12;
        const std::size_t n = static_cast<std::size_t>(w * h);
        std::mt19937 rng(static_cast<unsigned>(w));
        std::uniform_real_distribution<double> u(-1.0, 1.0);
        std::uniform_int_distribution<int> pick(0, 15);
        XELORAALGO::AlgoEngine e;
        stereotest::setRoi(e, w, h, 7, 3);
        e.downsampleStep = 2;
        e.downsampleOffset = 0.3f;
        e.pixelPitch = 0.0048;
        e.cx1 = 7 + w + 0.3, e.cy1 = 3 + h - 0.2, e.cx2 = 7 + w - 0.7;
        e.focal1Mm = 12.0, e.focal2Mm = 12.5;
        // Nearly parallel cameras: the denominator is a small difference (the disparity), which
        // makes every rounding point of camera 2's column show in the depth.
        for (int k = 0; k < 9; ++k) e.calib.R[k] = (k % 4 == 0 ? 1.0 : 0.0) + 0.002 * u(rng);
        e.calib.T[0] = -1.0, e.calib.T[2] = 20.0;
        std::unique_ptr<bool[]> mask(new bool[n]);
        for (std::size_t i = 0; i < n; ++i) {
            const double row = static_cast<double>(i / static_cast<std::size_t>(w));
            float m = static_cast<float>(w * (0.5 + 0.4 * u(rng)));
            switch (pick(rng)) {
                case 0: m = 0.0f; break;
                case 1: m = -0.0f; break;
                case 2: m = std::nanf(""); break;
                case 3: m = pick(rng) < 8 ? INFINITY : -INFINITY; break;
                default: break;
            }
            e.subpixelColumn.push_back(m);
            e.rectMapY1.push_back(pick(rng) == 0 ? std::nan("") : row + 0.8 * u(rng));
            e.lineIndexMap.push_back(3 + 2 * (row + 0.6 * u(rng)) + (pick(rng) == 0 ? 40.0 : 0.0));
            mask[i] = pick(rng) < 12;
        }
        e.subpixelColumn[5] = 3e38f;  // a depth computed from huge terms
        EXPECT_GT(expectCalPointLanesEqualScalar(e, mask.get()), 0) << w;
    }
}

TEST(CalPointLanes, MaskCarryAndRowCrossingsEqualTheScalarLoops) {
    // No downsampling (the row index is lineIndex - offsetY, no division), maps that are smooth
    // over most of the grid (four neighbours carried to the same row, the usual case) with columns
    // that break it: carried rows on both edges of [0, h) (rectMapY1 + 0.5 at -1, just above -1,
    // just below h, at h), NaN, infinities and -0; row indices that cross two rows at once, step
    // back, sit exactly on -1, 0 and h, or are NaN and infinite. Widths below, at and around four.
    const double nan = std::numeric_limits<double>::quiet_NaN(), inf = std::numeric_limits<double>::infinity();
    for (int w : {1, 3, 4, 7, 9, 17}) {
        const int h = 10, offY = 5;
        const std::size_t n = static_cast<std::size_t>(w * h);
        std::mt19937 rng(static_cast<unsigned>(100 + w));
        std::uniform_int_distribution<int> pick(0, 23);
        XELORAALGO::AlgoEngine e;
        stereotest::setRoi(e, w, h, 2, offY);
        e.pixelPitch = 0.0048;
        e.cx1 = 2 + w / 2.0, e.cy1 = offY + h / 2.0, e.cx2 = 2 + w / 2.0 - 3.0;
        e.focal1Mm = 12.0, e.focal2Mm = 12.0;
        for (int k = 0; k < 9; ++k) e.calib.R[k] = k % 4 == 0 ? 1.0 : 0.0;
        e.calib.T[0] = -1.0, e.calib.T[2] = 0.5;
        const double carried[] = {-1.5, -1.4999, h - 0.5 - 1e-9, h - 0.5, nan, inf, -inf, -0.0};
        const double crossing[] = {-1.0, 0.0, -0.0, static_cast<double>(h), h - 1e-12, nan, inf, -inf};
        std::unique_ptr<bool[]> mask(new bool[n]);
        for (std::size_t i = 0; i < n; ++i) {
            const int row = static_cast<int>(i / static_cast<std::size_t>(w));
            const int col = static_cast<int>(i % static_cast<std::size_t>(w));
            e.subpixelColumn.push_back(static_cast<float>(col) + 0.25f * static_cast<float>(row % 3));
            const int a = pick(rng), b = pick(rng);
            e.rectMapY1.push_back(a < 8 ? carried[a] : row + 0.3 + (a == 8 ? 0.2 : 0.0));
            // t = row + 0.37 + 0.01 col: one whole row crossed between neighbouring rows
            double t = row + 0.37 + 0.01 * col;
            if (b < 8) t = crossing[b];
            if (b == 8) t = row * 2.5;          // two rows crossed at once, then beyond the grid
            if (b == 9) t = row - 1.2;          // a step back
            if (b == 10) t = row + 0.99999999;  // a crossing just before the whole row
            e.lineIndexMap.push_back(t + offY);
            mask[i] = pick(rng) != 0;
        }
        const int count = expectCalPointLanesEqualScalar(e, mask.get());
        if (w >= 4) {
            EXPECT_GT(count, 0) << w;
        }
    }
}

TEST(CubicLanes, OwnColumnRowsEqualTheScalarLoop) {
    // The masked resampler with every pixel at its own column (no column map), as CalPoint uses it:
    // rows of blocks that share their source rows (the short path) broken by a row fraction that
    // moves one pixel to the next row, by pixels without a neighbourhood, and by valid infinities
    // and NaN in the zero-weight columns (which must still reach the result as NaN); invalid
    // non-finite values, both zeros and widths around a multiple of eight.
    const float inf = std::numeric_limits<float>::infinity();
    for (int w : {8, 11, 12, 13, 20, 27, 37}) {
        const int h = 14;
        Grid g{w, h, {}, {}, {}, nullptr};
        const std::size_t n = static_cast<std::size_t>(w * h);
        std::mt19937 rng(static_cast<unsigned>(w + 7));
        std::uniform_real_distribution<float> uv(-50.0f, 50.0f);
        std::uniform_int_distribution<int> pick(0, 63);
        g.mask.reset(new bool[n]);
        for (std::size_t i = 0; i < n; ++i) {
            const int row = static_cast<int>(i / static_cast<std::size_t>(w));
            double y = row + 0.25 * (row % 4);  // the same fraction across the row
            if (pick(rng) == 0) y += 1.0;       // a pixel in the next row
            if (pick(rng) == 0) y = row < 2 ? 0.5 : h - 1.5;  // no neighbourhood
            g.mapY.push_back(y);
            float v = uv(rng);
            const int a = pick(rng);
            if (row % 5 != 1) {  // rows 1, 6 and 11 stay finite
                if (a == 0) v = std::nanf("");
                if (a == 1) v = inf;
                if (a == 2) v = -inf;
            }
            if (a == 3) v = 0.0f;
            if (a == 4) v = -0.0f;
            g.src.push_back(v);
            g.mask[i] = pick(rng) < 54;
        }
        XELORAALGO::AlgoEngine e;
        stereotest::setRoi(e, w, h);
        std::vector<float> lanes = g.src, scalar = g.src;
        resampleCubic(e, lanes.data(), nullptr, g.mapY.data(), g.mask.get(), true);
        resampleCubic(e, scalar.data(), nullptr, g.mapY.data(), g.mask.get(), false);
        int finite = 0, notFinite = 0;
        for (std::size_t i = 0; i < n; ++i) {
            if (std::isnan(scalar[i]))
                EXPECT_TRUE(std::isnan(lanes[i])) << w << " pixel " << i;
            else
                EXPECT_EQ(bits(lanes[i]), bits(scalar[i])) << w << " pixel " << i << ": " << lanes[i] << " vs " << scalar[i];
            (std::isfinite(scalar[i]) ? finite : notFinite) += 1;
        }
        EXPECT_GT(finite, 0) << w;
        EXPECT_GT(notFinite, 0) << w;
    }
}
