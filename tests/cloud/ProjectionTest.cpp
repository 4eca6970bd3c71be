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

namespace {

// The projections' r^4 is one quantity, r2 * r2, multiplied by k2 afterwards. The readings k2 * (r2 * r2)
// and (k2 * r2) * r2 differ in the last bit of rho for some points; these tests look for points where
// that moves a truncated pixel (GetDepth, GetRGBpoint) or decides a distance test (RGB2Cloud), so
// they tell the two readings apart, and check the members against the first.
struct Lens {
    double fx, cx, fy, cy, k1, k2, p1, p2;
};
const Lens kWide{100.0, 0.3, 100.0, 0.2, -0.2, 0.37, 0.0013, -0.0021};

// Column and row in float from float (x, y), with r^4 formed first or k2 * r2 first.
void projectF(float x, float y, bool r4First, float& column, float& row) {
    const Lens& L = kWide;
    const float fx = float(L.fx), cx = float(L.cx), fy = float(L.fy), cy = float(L.cy), k1 = float(L.k1),
                k2 = float(L.k2), p1 = float(L.p1), p2 = float(L.p2);
    const float r2 = x * x + y * y;
    const float rho = r4First ? 1.0f + k1 * r2 + k2 * (r2 * r2) : 1.0f + k1 * r2 + (k2 * r2) * r2;
    column = fx * (x * rho + 2.0f * p1 * x * y + p2 * (r2 + 2.0f * x * x)) + cx;
    row = fy * (y * rho + 2.0f * p2 * x * y + p1 * (r2 + 2.0f * y * y)) + cy;
}

// Float (x, y) whose truncated column + shift differs between the two readings: for rows y, bisect
// x to the crossing of column + shift over the integer 70, then try the floats around it.
std::vector<std::array<float, 2>> telling(float shift, int wanted) {
    std::vector<std::array<float, 2>> found;
    for (int j = 0; j < 400 && int(found.size()) < wanted; ++j) {
        const float y = 0.3f + 0.0007f * float(j);
        float lo = 0.4f, hi = 0.95f, c, r;
        for (int it = 0; it < 80; ++it) {
            const float mid = lo + (hi - lo) * 0.5f;
            projectF(mid, y, true, c, r);
            (c + shift < 70.0f ? lo : hi) = mid;
        }
        float x = lo;
        for (int k = 0; k < 20; ++k) x = std::nextafter(x, 0.0f);
        for (int k = 0; k < 40; ++k, x = std::nextafter(x, 1.0f)) {
            float cn, rn, co, ro;
            projectF(x, y, true, cn, rn);
            projectF(x, y, false, co, ro);
            if (std::trunc(cn + shift) != std::trunc(co + shift) && std::trunc(rn + shift) == std::trunc(ro + shift)) {
                found.push_back({x, y});
                break;
            }
        }
    }
    return found;
}

XELORAALGO::tagXeloraAlgoCalibrationInfo wideLens() {
    XELORAALGO::tagXeloraAlgoCalibrationInfo cal{};
    const Lens& L = kWide;
    const double K[9] = {L.fx, 0, L.cx, 0, L.fy, L.cy, 0, 0, 1}, D[5] = {L.k1, L.k2, L.p1, L.p2, 0.0};
    std::copy(K, K + 9, cal.K1);
    std::copy(K, K + 9, cal.K3);
    std::copy(D, D + 5, cal.D1);
    std::copy(D, D + 5, cal.D3);
    cal.R3[0] = cal.R3[4] = cal.R3[8] = 1.0;  // the colour camera is camera 1: x = X / Z exactly
    return cal;
}

// A handle with the wide-angle lens as camera 1 and colour camera, ROI 120 x 90 at offset 0.
class ProjectionFourthPower : public ::testing::Test {
  protected:
    XeloraAlgo algo;
    void SetUp() override {
        XELORAALGO::tagXeloraAlgoROIInfo roi{0, 0, 120, 90};
        algo.SetROIInfo(&roi);
        auto cal = wideLens();
        algo.SetCalibrationInfo(&cal);
    }
};

TEST_F(ProjectionFourthPower, GetDepthAndGetRGBpointTakeR4AsOneQuantity) {

    // GetDepth: column + 0.5 truncated; Z = 1 keeps x and y as given.
    const auto depthCases = telling(0.5f, 4);
    ASSERT_EQ(depthCases.size(), 4u);
    for (const auto& p : depthCases) {
        float cn, rn, co, ro;
        projectF(p[0], p[1], true, cn, rn);
        projectF(p[0], p[1], false, co, ro);
        const int v = int(rn + 0.5f), un = int(cn + 0.5f), uo = int(co + 0.5f);
        std::vector<Cloud> profiles{{{double(p[0]), double(p[1]), 1.0}}};
        Cloud map;
        algo.GetDepth(profiles, map);
        ASSERT_EQ(map.size(), 120u * 90u);
        EXPECT_EQ(map[std::size_t(v * 120 + un)], profiles[0][0]) << p[0] << " " << p[1];
        EXPECT_EQ(map[std::size_t(v * 120 + uo)], kZero) << p[0] << " " << p[1];
    }

    // GetRGBpoint: column truncated without offset; the colour image's bytes name the pixel.
    const auto colourCases = telling(0.0f, 4);
    ASSERT_EQ(colourCases.size(), 4u);
    const int W = 120, H = 90;
    std::vector<unsigned char> bytes(std::size_t(W) * H * 3);
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<unsigned char>(i / 3 % 251);
    Cloud cloud;
    for (const auto& p : colourCases) cloud.push_back({double(p[0]), double(p[1]), 1.0});
    std::vector<std::pair<std::array<double, 6>, bool>> out;
    algo.GetRGBpoint({bytes, W, H}, cloud, out);
    ASSERT_EQ(out.size(), cloud.size());
    for (std::size_t i = 0; i < cloud.size(); ++i) {
        float cn, rn;
        projectF(colourCases[i][0], colourCases[i][1], true, cn, rn);
        const std::size_t pixel = std::size_t(int(rn)) * W + std::size_t(int(cn));
        EXPECT_TRUE(out[i].second);
        EXPECT_EQ(out[i].first[3], double(bytes[3 * pixel])) << i;
    }
}

TEST_F(ProjectionFourthPower, RGB2CloudDistanceUsesR4AsOneQuantity) {
    const Lens& L = kWide;
    // Double projection: r2 and rho from x and y, the other terms from their float roundings.
    const auto project = [&L](double x, double y, bool r4First, double& u, double& v) {
        const double r2 = x * x + y * y;
        const double rho = r4First ? 1.0 + L.k1 * r2 + L.k2 * (r2 * r2) : 1.0 + L.k1 * r2 + (L.k2 * r2) * r2;
        const float xf = float(x), yf = float(y);
        const double xs = xf, ys = yf, twoXX = double(2.0f * xf * xf), twoYY = double(2.0f * yf * yf);
        u = L.fx * (xs * rho + 2.0 * L.p1 * xs * ys + L.p2 * (r2 + twoXX)) + L.cx;
        v = L.fy * (ys * rho + 2.0 * L.p2 * xs * ys + L.p1 * (r2 + twoYY)) + L.cy;
    };
    int checked = 0;
    std::mt19937 rng(2024);
    for (int trial = 0; trial < 20000 && checked < 6; ++trial) {
        const double x = 0.4 + 0.5 * double(rng()) / 4294967296.0, y = 0.3 + 0.3 * double(rng()) / 4294967296.0;
        double un, vn, uo, vo;
        project(x, y, true, un, vn);
        project(x, y, false, uo, vo);
        const int c = int(un), r = int(vn);  // a pixel near the projection
        const double dn = std::sqrt((un - c) * (un - c) + (vn - r) * (vn - r));
        const double dold = std::sqrt((uo - c) * (uo - c) + (vo - r) * (vo - r));
        if (dn == dold) continue;
        // The larger of the two distances is the limit: only the reading with the smaller one matches.
        const double limit = std::max(dn, dold);
        const Cloud pts{{x, y, 1.0}};
        Cloud out;
        algo.RGB2Cloud({{c, r}}, pts, limit, out);
        ASSERT_EQ(out.size(), 1u);
        EXPECT_EQ(out[0], dn < limit ? pts[0] : kZero) << x << " " << y;
        ++checked;
    }
    EXPECT_EQ(checked, 6);
}

}  // namespace
