// Resampling: the cubic kernel, the 4 x 4 neighbourhood and its border rule, the masked variant,
// the nearest-neighbour mask resampler, the coordinate maps each variant reads, and the rows or
// pixels that no worker band covers.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "StereoTestUtil.h"
#include "stereo/stereo.h"

using XELORAALGO::AlgoEngine;
using namespace XELORAALGO::stereo;
using stereotest::BoolMap;
using stereotest::setRoi;

namespace {

// Keys' kernel (a = -0.5) in double, written from the polynomial.
double keysRef(double x) {
    const double t = std::fabs(x);
    if (t <= 1) return 1.5 * t * t * t - 2.5 * t * t + 1;
    if (t < 2) return -0.5 * t * t * t + 2.5 * t * t - 4 * t + 2;
    return 0;
}

// Cubic convolution of src at (x, y) in double; `valid` restricts and renormalises when given, and
// `weightSum` receives the sum of the weights taken. The kernel is evaluated at the coordinates
// narrowed to float, as the resampler does.
double convolveRef(const std::vector<float>& src, int w, double x, double y, const BoolMap* valid = nullptr,
                   double* weightSum = nullptr) {
    const int c = static_cast<int>(x), r = static_cast<int>(y);
    x = static_cast<float>(x);
    y = static_cast<float>(y);
    double s = 0, n = 0;
    for (int rr = r - 1; rr <= r + 2; ++rr)
        for (int cc = c - 1; cc <= c + 2; ++cc) {
            const std::size_t j = static_cast<std::size_t>(rr * w + cc);
            if (valid && !(*valid)[j]) continue;
            const double wgt = keysRef(y - rr) * keysRef(x - cc);
            s += wgt * src[j];
            n += wgt;
        }
    if (weightSum) *weightSum = n;
    return valid ? s / n : s;
}

// The documented evaluation itself: kernel per tap at the float coordinates, products of row and
// column weights, float sum in row-major order.
float documentedCubic(const std::vector<float>& src, int w, double x, double y) {
    const int c = static_cast<int>(x), r = static_cast<int>(y);
    const float xf = static_cast<float>(x), yf = static_cast<float>(y);
    float wr[4], wc[4];
    for (int k = 0; k < 4; ++k) {
        wr[k] = BiCubicPloy(yf - static_cast<float>(r - 1 + k));
        wc[k] = BiCubicPloy(xf - static_cast<float>(c - 1 + k));
    }
    float sum = 0.0f;
    for (int k = 0; k < 4; ++k)
        for (int l = 0; l < 4; ++l) sum += (wr[k] * wc[l]) * src[static_cast<std::size_t>((r - 1 + k) * w + c - 1 + l)];
    return sum;
}

struct Grid {
    int w, h;
    std::vector<double> mx, my;
    Grid(int width, int height) : w(width), h(height), mx(static_cast<std::size_t>(width * height)),
                                  my(static_cast<std::size_t>(width * height)) {}
    std::size_t n() const { return mx.size(); }
    void identity(double dx = 0, double dy = 0) {
        for (int r = 0; r < h; ++r)
            for (int c = 0; c < w; ++c) {
                mx[static_cast<std::size_t>(r * w + c)] = c + dx;
                my[static_cast<std::size_t>(r * w + c)] = r + dy;
            }
    }
};

std::vector<float> randomMap(std::size_t n, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> u(-50.0f, 50.0f);
    std::vector<float> v(n);
    for (auto& x : v) x = u(rng);
    return v;
}

}  // namespace

TEST(BiCubicKernel, DocumentedAndHandWorkedValues) {
    // Binary fractions: every intermediate is exact in float, so the values are exact.
    EXPECT_EQ(BiCubicPloy(0.0f), 1.0f);
    EXPECT_EQ(BiCubicPloy(0.5f), 0.5625f);
    EXPECT_EQ(BiCubicPloy(1.5f), -0.0625f);
    EXPECT_EQ(BiCubicPloy(0.25f), 0.8671875f);   // 1.5/64 - 2.5/16 + 1
    EXPECT_EQ(BiCubicPloy(1.25f), -0.0703125f);  // -0.5*1.953125 + 2.5*1.5625 - 5 + 2
    EXPECT_EQ(BiCubicPloy(1.0f), 0.0f);
    EXPECT_EQ(BiCubicPloy(2.0f), 0.0f);
    EXPECT_EQ(BiCubicPloy(7.0f), 0.0f);
    EXPECT_EQ(BiCubicPloy(-0.5f), 0.5625f);
    EXPECT_EQ(BiCubicPloy(-1.5f), -0.0625f);
    EXPECT_EQ(BiCubicPloy(std::numeric_limits<float>::quiet_NaN()), 0.0f);
    EXPECT_EQ(BiCubicPloy(-std::numeric_limits<float>::infinity()), 0.0f);
    // Between the worked points, the polynomial itself.
    for (float x = -2.5f; x <= 2.5f; x += 0.0371f)
        EXPECT_NEAR(BiCubicPloy(x), keysRef(x), 4e-6) << x;  // float cancellation near |x| = 2
}

TEST(InterpCubic, IntegerCoordinatesCopyExactlyAndBorderRule) {
    const int w = 12, h = 10;
    AlgoEngine e;
    setRoi(e, w, h);
    Grid g(w, h);
    g.identity();
    e.rectMapX1 = g.mx;
    e.rectMapY1 = g.my;
    const std::vector<float> src = randomMap(g.n(), 1);
    std::vector<float> map = src;
    InterpCubic1(e, map.data());
    for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c) {
            const std::size_t i = static_cast<std::size_t>(r * w + c);
            const bool inside = r >= 1 && r <= h - 3 && c >= 1 && c <= w - 3;
            EXPECT_EQ(map[i], inside ? src[i] : 0.0f) << r << "," << c;
        }
}

TEST(InterpCubic, CoordinatesOutsideOrNotANumberGiveZero) {
    const int w = 8, h = 8;
    AlgoEngine e;
    setRoi(e, w, h);
    Grid g(w, h);
    g.identity(0.3, 0.3);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double bad[] = {-0.5, 0.999, w - 2.0, nan, 1e300, -1e300, 3e9, -3e9,
                          std::numeric_limits<double>::infinity()};
    const std::size_t probe = 3 * w + 3;
    std::vector<float> src(g.n(), 7.0f);
    for (double v : bad) {
        for (int axis = 0; axis < 2; ++axis) {
            Grid q = g;
            (axis == 0 ? q.mx : q.my)[probe] = v;  // w == h: w - 2 is outside on both axes
            e.undistMapX2 = q.mx;
            e.undistMapY2 = q.my;
            std::vector<float> map = src;
            InterpCubic5(e, map.data());
            EXPECT_EQ(map[probe], 0.0f) << "axis " << axis << " value " << v;
            EXPECT_NEAR(map[probe + 1], 7.0f, 1e-5f);  // a neighbour with a good coordinate
        }
    }
    // Just inside: truncated column 1 and w - 3.
    Grid q = g;
    q.mx[probe] = 1.0;
    q.mx[probe + 1] = w - 2.0 - 1e-9;
    e.undistMapX2 = q.mx;
    e.undistMapY2 = q.my;
    std::vector<float> map = src;
    InterpCubic5(e, map.data());
    EXPECT_NEAR(map[probe], 7.0f, 1e-5f);
    EXPECT_NEAR(map[probe + 1], 7.0f, 1e-5f);
}

TEST(InterpCubic, FractionalCoordinatesFollowTheSeparableConvolution) {
    const int w = 16, h = 14;
    AlgoEngine e;
    setRoi(e, w, h);
    Grid g(w, h);
    std::mt19937 rng(5);
    std::uniform_real_distribution<double> ux(1.0, w - 2.0 - 1e-6), uy(1.0, h - 2.0 - 1e-6);
    for (std::size_t i = 0; i < g.n(); ++i) {
        g.mx[i] = ux(rng);
        g.my[i] = uy(rng);
    }
    // Some coordinates just below a whole number (they round up to it in float), on one, and
    // halfway.
    for (std::size_t i = 0; i < g.n(); i += 7) {
        const double base = std::floor(g.mx[i]);
        g.mx[i] = (i % 3 == 0) ? base + 1 - 1e-12 : (i % 3 == 1) ? base : base + 0.5;
        g.my[i] = (i % 2 == 0) ? std::floor(g.my[i]) + 1 - 1e-12 : g.my[i];
    }
    e.rectMapX2 = g.mx;
    e.rectMapY2 = g.my;

    // A random map against the convolution in double, and bit for bit against the documented
    // float evaluation.
    const std::vector<float> src = randomMap(g.n(), 2);
    std::vector<float> map = src;
    InterpCubic2(e, map.data());
    for (std::size_t i = 0; i < g.n(); ++i) {
        EXPECT_NEAR(map[i], convolveRef(src, w, g.mx[i], g.my[i]), 2e-4) << i;
        EXPECT_EQ(map[i], documentedCubic(src, w, g.mx[i], g.my[i])) << i;
    }

    // Keys' kernel reproduces a plane: different slopes per axis catch swapped row/column weights.
    std::vector<float> plane(g.n());
    for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c) plane[static_cast<std::size_t>(r * w + c)] = 3.0f * c - 5.0f * r + 1.0f;
    InterpCubic2(e, plane.data());
    for (std::size_t i = 0; i < g.n(); ++i)
        EXPECT_NEAR(plane[i], 3.0 * g.mx[i] - 5.0 * g.my[i] + 1.0, 1e-4) << i;
}

TEST(InterpCubic, EachVariantReadsItsOwnMaps) {
    const int w = 10, h = 8;
    AlgoEngine e;
    setRoi(e, w, h);
    std::vector<float> src(static_cast<std::size_t>(w * h));
    for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c) src[static_cast<std::size_t>(r * w + c)] = static_cast<float>(100 * r + c);
    Grid g1(w, h), g2(w, h), g4(w, h), g5(w, h);
    g1.identity(1, 0);
    g2.identity(0, 1);
    g4.identity(2, 0);
    g5.identity(0, 2);
    e.rectMapX1 = g1.mx, e.rectMapY1 = g1.my;
    e.rectMapX2 = g2.mx, e.rectMapY2 = g2.my;
    e.undistMapX1 = g4.mx, e.undistMapY1 = g4.my;
    e.undistMapX2 = g5.mx, e.undistMapY2 = g5.my;
    const std::size_t probe = 2 * w + 3;  // source (2, 3)
    struct Case {
        void (*fn)(const AlgoEngine&, float*);
        float expected;
    } cases[] = {{InterpCubic1, 204.0f}, {InterpCubic2, 303.0f}, {InterpCubic4, 205.0f}, {InterpCubic5, 403.0f}};
    for (const auto& cs : cases) {
        std::vector<float> map = src;
        cs.fn(e, map.data());
        EXPECT_EQ(map[probe], cs.expected);
    }
}

TEST(InterpCubic, RowsBeyondTheLastBandStayZeroAndMissingMapsLeaveTheMap) {
    const int w = 9, h = 7;  // odd height: row 6 belongs to no worker of 2
    AlgoEngine e;
    setRoi(e, w, h);
    Grid g(w, h);
    g.identity(0.0, -2.0);  // target row r reads source row r - 2
    e.rectMapX1 = g.mx;
    e.rectMapY1 = g.my;
    std::vector<float> map(g.n(), 5.0f);
    InterpCubic1(e, map.data());
    EXPECT_EQ(map[static_cast<std::size_t>(5 * w + 4)], 5.0f);  // source row 3
    EXPECT_EQ(map[static_cast<std::size_t>(6 * w + 4)], 0.0f);  // source row 4 is fine, but no worker
    // Maps of camera 2 were never built: the map is left as it is.
    std::vector<float> untouched(g.n(), 5.0f);
    InterpCubic2(e, untouched.data());
    for (float v : untouched) EXPECT_EQ(v, 5.0f);
}

TEST(InterpCubic3, MaskedNeighboursAreLeftOutAndRenormalised) {
    const int w = 12, h = 12;
    AlgoEngine e;
    setRoi(e, w, h);
    Grid g(w, h);
    std::mt19937 rng(9);
    std::uniform_real_distribution<double> ux(1.0, w - 2.0 - 1e-6), uy(1.0, h - 2.0 - 1e-6);
    for (std::size_t i = 0; i < g.n(); ++i) {
        g.mx[i] = ux(rng);
        g.my[i] = uy(rng);
    }
    BoolMap valid(g.n());
    std::bernoulli_distribution coin(0.7);
    for (std::size_t i = 0; i < g.n(); ++i) valid[i] = coin(rng);
    // Source values well above 0 so that no neighbourhood's weights come near cancelling.
    std::vector<float> src = randomMap(g.n(), 3);
    for (auto& v : src) v += 200.0f;
    std::vector<float> map = src;
    InterpCubic3(e, map.data(), g.mx.data(), g.my.data(), valid.data());
    std::size_t checked = 0;
    for (std::size_t i = 0; i < g.n(); ++i) {
        double n = 0;
        const double ref = convolveRef(src, w, g.mx[i], g.my[i], &valid, &n);
        if (!(std::fabs(n) > 0.25)) continue;  // weights nearly cancel: rounding dominates
        EXPECT_NEAR(map[i], ref, 2e-5 * std::fabs(ref)) << i;
        ++checked;
    }
    EXPECT_GT(checked, g.n() * 3 / 4);
}

TEST(InterpCubic3, AllInvalidGivesNaNAndLoneCentreCopies) {
    const int w = 8, h = 8;
    AlgoEngine e;
    setRoi(e, w, h);
    Grid g(w, h);
    g.identity();
    const std::vector<float> src = randomMap(g.n(), 4);
    BoolMap none(g.n(), false);
    std::vector<float> map = src;
    InterpCubic3(e, map.data(), g.mx.data(), g.my.data(), none.data());
    EXPECT_TRUE(std::isnan(map[static_cast<std::size_t>(3 * w + 3)]));
    EXPECT_EQ(map[0], 0.0f);  // border pixel: no neighbourhood at all

    BoolMap lone(g.n(), false);
    const std::size_t centre = 3 * w + 4;
    lone[centre] = true;
    map = src;
    InterpCubic3(e, map.data(), g.mx.data(), g.my.data(), lone.data());
    EXPECT_EQ(map[centre], src[centre]);
}

TEST(InterpCubic3, RowsPastFourBandsStayZero) {
    const int w = 8, h = 11;  // 4 bands of 2 rows: rows 8, 9, 10 belong to no worker
    AlgoEngine e;
    setRoi(e, w, h);
    Grid g(w, h);
    g.identity(0.0, -3.0);
    BoolMap all(g.n(), true);
    std::vector<float> map(g.n(), 2.0f);
    InterpCubic3(e, map.data(), g.mx.data(), g.my.data(), all.data());
    EXPECT_EQ(map[static_cast<std::size_t>(7 * w + 3)], 2.0f);
    for (int r = 8; r < h; ++r) EXPECT_EQ(map[static_cast<std::size_t>(r * w + 3)], 0.0f) << r;
}

TEST(InterpFlag, RoundsHalfUpByTruncationAndRejectsOutside) {
    const int w = 6, h = 5;
    AlgoEngine e;
    setRoi(e, w, h);
    Grid g(w, h);
    g.identity();
    BoolMap src(g.n(), false);
    // Source: only column 0 of row 2 and column w - 1 of row 2 are true, and (3, 2).
    src[2 * w + 0] = true;
    src[2 * w + w - 1] = true;
    src[3 * w + 2] = true;
    struct Case {
        double x, y;
        bool expected;
    } cases[] = {
        {-0.6, 2.0, true},         // -0.1 truncates to 0
        {-1.4, 2.0, true},         // -0.9 truncates to 0
        {-1.5, 2.0, false},        // -1.0 is outside
        {w - 0.5, 2.0, false},     // column w is outside
        {w - 0.51, 2.0, true},     // column w - 1
        {2.0, 2.5, true},          // row 3
        {2.0, 2.49, false},        // row 2, column 2
        {1.5, 3.0, true},          // column 2
        {std::numeric_limits<double>::quiet_NaN(), 3.0, false},
        {2.0, 1e200, false},
    };
    for (const auto& cs : cases) {
        Grid q = g;
        q.mx[7] = cs.x;
        q.my[7] = cs.y;
        e.rectMapX2 = q.mx;
        e.rectMapY2 = q.my;
        BoolMap m(g.n());
        for (std::size_t i = 0; i < g.n(); ++i) m[i] = src[i];
        InterpFlag2(e, m.data());
        EXPECT_EQ(m[7], cs.expected) << cs.x << "," << cs.y;
    }
}

TEST(InterpFlag, OddPixelCountLeavesTheLastPixelFalse) {
    const int w = 5, h = 3;  // 15 pixels: 2 bands of 7
    AlgoEngine e;
    setRoi(e, w, h);
    Grid g(w, h);
    g.identity();
    e.rectMapX1 = g.mx;
    e.rectMapY1 = g.my;
    BoolMap m(g.n(), true);
    InterpFlag1(e, m.data());
    for (std::size_t i = 0; i + 1 < g.n(); ++i) EXPECT_TRUE(m[i]) << i;
    EXPECT_FALSE(m[g.n() - 1]);
}
