// GetDepth, GetRGBpoint and RGB2Cloud: points back-projected through distorted cameras (and the colour
// camera's pose) come back on the pixels they were made from. Camera 1 and the colour camera differ, so
// reading the wrong one's calibration fails.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <tuple>
#include <vector>

#include "XeloraAlgo.h"

using XELORAALGO::XeloraAlgo;
using P3 = std::array<double, 3>;
using Cloud = std::vector<P3>;

namespace {

const P3 kZero{0.0, 0.0, 0.0};

struct Intrinsics {
    double fx, cx, fy, cy, k1, k2, p1, p2;
};

// The point at depth Z whose distorted projection is pixel position (u, v): its normalised coordinates
// by fixed-point iteration, converged far below a thousandth of a pixel for these lenses.
P3 backProject(const Intrinsics& c, double u, double v, double Z) {
    const double xd = (u - c.cx) / c.fx, yd = (v - c.cy) / c.fy;
    double x = xd, y = yd;
    for (int it = 0; it < 200; ++it) {
        const double r2 = x * x + y * y, rho = 1.0 + c.k1 * r2 + c.k2 * r2 * r2;
        const double tx = 2.0 * c.p1 * x * y + c.p2 * (r2 + 2.0 * x * x);
        const double ty = 2.0 * c.p2 * x * y + c.p1 * (r2 + 2.0 * y * y);
        x = (xd - tx) / rho;
        y = (yd - ty) / rho;
    }
    return {x * Z, y * Z, Z};
}

// p1 != p2 and off-centre principal points: a swapped or dropped term moves points by over half a pixel.
const Intrinsics kCam1{260.0, 21.3, 250.0, 16.8, -0.09, 0.04, 0.012, -0.015};
const Intrinsics kColour{60.0, 31.7, 58.0, 23.2, -0.12, 0.03, 0.05, -0.04};
const int kW = 48, kH = 36;

P3 at1(double u, double v, double Z) { return backProject(kCam1, u, v, Z); }

void setCamera(double* K, double* D, const Intrinsics& c) {
    const double k[9] = {c.fx, 0, c.cx, 0, c.fy, c.cy, 0, 0, 1}, d[5] = {c.k1, c.k2, c.p1, c.p2, 0.37};  // d[4] unused
    std::copy(k, k + 9, K);
    std::copy(d, d + 5, D);
}

// Camera 1 and the colour camera, posed by a rotation about y then about x and a shift.
class Projection : public ::testing::Test {
  protected:
    XeloraAlgo algo;
    const double a = 0.12, b = -0.07;
    const std::array<double, 9> R{std::cos(a), 0.0, std::sin(a), std::sin(b) * std::sin(a), std::cos(b),
                                  -std::sin(b) * std::cos(a), -std::cos(b) * std::sin(a), std::sin(b),
                                  std::cos(b) * std::cos(a)};
    const P3 T{14.0, -6.0, 3.5};

    void SetUp() override {
        XELORAALGO::tagXeloraAlgoROIInfo roi{5, 7, kW, kH};  // the offset plays no part
        algo.SetROIInfo(&roi);
        XELORAALGO::tagXeloraAlgoCalibrationInfo cal{};
        setCamera(cal.K1, cal.D1, kCam1);
        setCamera(cal.K3, cal.D3, kColour);
        std::copy(R.begin(), R.end(), cal.R3);
        std::copy(T.begin(), T.end(), cal.T3);
        algo.SetCalibrationInfo(&cal);
    }
    // Camera-1 point R^T (Pc - T) for the colour-camera point Pc seen at (u, v) and depth Zc.
    P3 at3(double u, double v, double Zc) const {
        const P3 Pc = backProject(kColour, u, v, Zc);
        P3 P{};
        for (std::size_t i = 0; i < 3; ++i)
            for (std::size_t k = 0; k < 3; ++k) P[i] += R[3 * k + i] * (Pc[k] - T[k]);
        return P;
    }
};

double depthAt(int c, int r) { return 300.0 + 0.75 * c - 0.4 * r + 5.0 * std::sin(0.3 * c + 0.2 * r); }
std::size_t idx(int row, int col) { return static_cast<std::size_t>(row * kW + col); }

}  // namespace

TEST_F(Projection, GetDepthReproducesBackProjectedMapAndBridgesShortGaps) {
    // Column 7 misses rows 12-16 (five rows: left empty), column 20 rows 9-11 (three: interpolated).
    auto missing = [](int c, int r) { return (c == 7 && r >= 12 && r <= 16) || (c == 20 && r >= 9 && r <= 11); };
    std::vector<Cloud> profiles(kW);
    for (int c = 0; c < kW; ++c)
        for (int r = 0; r < kH; ++r)
            if (!missing(c, r)) profiles[static_cast<std::size_t>(c)].push_back(at1(c, r, depthAt(c, r)));
    Cloud map{{1, 2, 3}};
    algo.GetDepth(profiles, map);
    ASSERT_EQ(map.size(), static_cast<std::size_t>(kW * kH));
    const P3 s = at1(20, 8, depthAt(20, 8)), e = at1(20, 12, depthAt(20, 12));
    for (int r = 0; r < kH; ++r)
        for (int c = 0; c < kW; ++c) {
            P3 want = missing(c, r) ? kZero : at1(c, r, depthAt(c, r));
            if (c == 20 && missing(c, r))
                for (std::size_t d = 0; d < 3; ++d) want[d] = s[d] + (e[d] - s[d]) * (r - 8) / 4.0;
            EXPECT_EQ(map[idx(r, c)], want) << r << " " << c;
        }

    // Rounding to the nearest pixel is +0.5 then truncation toward zero: 20.55 goes to row 21, -0.95 to
    // column 0, -1.55 and 47.55 outside. Two points on one pixel are averaged.
    const P3 p = at1(10.45, 20.0, 280.0), q = at1(10.0, 20.0, 330.0), down = at1(12.0, 20.55, 280.0),
             left = at1(-0.95, 4.0, 280.0);
    algo.GetDepth({{p, down, left, at1(47.55, 31.0, 280.0), at1(-1.55, 5.0, 280.0)}, {q}}, map);
    for (std::size_t d = 0; d < 3; ++d) EXPECT_DOUBLE_EQ(map[idx(20, 10)][d], (p[d] + q[d]) / 2.0);
    EXPECT_EQ(map[idx(21, 12)], down);
    EXPECT_EQ(map[idx(4, 0)], left);
    EXPECT_EQ(std::count_if(map.begin(), map.end(), [](const P3& m) { return m != kZero; }), 3);
}

TEST_F(Projection, GetRGBpointColoursWithProjectedPixels) {
    const int W = 64, H = 48;
    std::vector<unsigned char> bytes;
    for (int v = 0; v < H; ++v)
        for (int u = 0; u < W; ++u)
            for (int b : {3 * u, 5 * v, (u + v) & 255}) bytes.push_back(static_cast<unsigned char>(b));
    std::mt19937 rng(9);
    std::uniform_int_distribution<int> pu(0, W - 1), pv(0, H - 1);
    std::uniform_real_distribution<double> depth(150.0, 400.0);
    Cloud cloud;
    std::vector<std::array<int, 2>> target;
    for (int i = 0; i < 1003; ++i) {  // 1003 = 8 * 125 + 3: three points past the last full band
        const int u = pu(rng), v = pv(rng);
        cloud.push_back(at3(u + 0.5, v + 0.5, depth(rng)));
        target.push_back({u, v});
    }
    // In the remainder: column -0.5 truncates to 0 and is coloured; column 64.2 is outside; a point
    // 30 behind the colour camera is not coloured.
    cloud[1000] = at3(-0.5, 10.5, 200.0);
    target[1000] = {0, 10};
    cloud[1001] = at3(W + 0.2, 10.5, 200.0);
    target[1001] = {-1, -1};
    cloud[1002] = at3(kColour.cx, kColour.cy, -30.0);
    target[1002] = {-1, -1};
    std::vector<std::pair<std::array<double, 6>, bool>> out(3);
    algo.GetRGBpoint({bytes, W, H}, cloud, out);
    ASSERT_EQ(out.size(), cloud.size());
    for (std::size_t i = 0; i < cloud.size(); ++i) {
        const int u = target[i][0], v = target[i][1];
        std::array<double, 6> want{};
        if (u >= 0) {
            const std::size_t at = 3 * static_cast<std::size_t>(v * W + u);
            want = {cloud[i][0], cloud[i][1], cloud[i][2], 1.0 * bytes[at], 1.0 * bytes[at + 1], 1.0 * bytes[at + 2]};
        }
        EXPECT_EQ(out[i].second, u >= 0) << i;
        EXPECT_EQ(out[i].first, want) << i << " at " << u << "," << v;
    }
}

TEST_F(Projection, RGB2CloudNearestWithinDistance) {
    // (12, 20) is 2 pixels from the first point, 1 from the second; (40, 32) is 2 from the third.
    const Cloud pts{at3(10, 20, 200), at3(13, 20, 250), at3(40, 30, 180)};
    Cloud out{{9, 9, 9}};
    algo.RGB2Cloud({{10, 20}, {12, 20}, {40, 31}, {40, 32}}, pts, 1.5, out);
    EXPECT_EQ(out, (Cloud{pts[0], pts[1], pts[2], kZero}));
}
