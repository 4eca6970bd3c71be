// Registration of a point map to the colour camera.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "ImagingTestUtil.h"
#include "XeloraAlgo.h"
#include "frame/AlgoEngine.h"
#include "imaging/imaging.h"

using namespace XELORAALGO;
using imagingtest::setColourCamera;
using imagingtest::setRoi;

namespace {

struct PointMap {
    int w, h;
    std::vector<float> X, Y, Z;
    std::vector<unsigned char> maskBytes;  // bool storage
    PointMap(int w_, int h_) : w(w_), h(h_), X(w_ * h_, 0.f), Y(w_ * h_, 0.f), Z(w_ * h_, 0.f) {
        maskBytes.assign(static_cast<std::size_t>(w_ * h_), 0);
    }
    bool* mask() { return reinterpret_cast<bool*>(maskBytes.data()); }
    int at(int c, int r) const { return r * w + c; }
    void set(int c, int r, float x, float y, float z) {
        X[at(c, r)] = x;
        Y[at(c, r)] = y;
        Z[at(c, r)] = z;
        maskBytes[at(c, r)] = 1;
    }
};

}  // namespace

// A colour camera that coincides with camera 1 (identity pose, same intrinsics, no distortion): the
// point map of a fronto-parallel plane comes back on the same pixels with the same coordinates. The
// intrinsics are powers of two so that every projection lands exactly on its pixel. h = 10 leaves
// rows 8 and 9 outside the four row bands; they are registered like the others.
TEST(CalRGB, CoincidentColourCameraReproducesThePointMap) {
    const int w = 12, h = 10;
    XeloraAlgo algo;
    imagingtest::setRoi(algo, w, h);
    tagXeloraAlgoCalibrationInfo calib;
    std::memset(&calib, 0, sizeof calib);
    const double K[9] = {512, 0, 5, 0, 512, 4, 0, 0, 1};
    std::memcpy(calib.K1, K, sizeof K);
    std::memcpy(calib.K3, K, sizeof K);
    calib.R3[0] = calib.R3[4] = calib.R3[8] = 1.0;
    algo.SetCalibrationInfo(&calib);

    PointMap pm(w, h);
    for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c) pm.set(c, r, (c - 5) * 0.125f, (r - 4) * 0.125f, 64.0f);
    pm.maskBytes[pm.at(6, 5)] = 0;  // a hole is filled by the footprints of its neighbours
    pm.X[pm.at(6, 5)] = pm.Y[pm.at(6, 5)] = pm.Z[pm.at(6, 5)] = 0.0f;

    algo.CalRGB(pm.X.data(), pm.Y.data(), pm.Z.data(), pm.mask(), 0, 1000);

    for (int r = 0; r < h; ++r) {
        for (int c = 0; c < w; ++c) {
            const int i = pm.at(c, r);
            SCOPED_TRACE(testing::Message() << "col " << c << " row " << r);
            EXPECT_TRUE(pm.maskBytes[i]);
            EXPECT_EQ(pm.X[i], (c - 5) * 0.125f);
            EXPECT_EQ(pm.Y[i], (r - 4) * 0.125f);
            EXPECT_EQ(pm.Z[i], 64.0f);
        }
    }
}

// All points at X = Y = 0 project onto (cx, cy) = (3, 2), so every depth listed becomes a candidate
// of the four pixels (3, 2), (4, 2), (3, 3), (4, 3), in the order of the points.
class CalRGBNearestSurface : public ::testing::Test {
protected:
    static constexpr int w = 8, h = 6;
    AlgoEngine engine;
    void SetUp() override {
        setRoi(engine, w, h);
        setColourCamera(engine, 100.0, 100.0, 3.0, 2.0);
    }
    // Registers points at depths `depths` and returns the depth given to the footprint.
    float registeredDepth(const std::vector<float>& depths) {
        PointMap pm(w, h);
        for (std::size_t k = 0; k < depths.size(); ++k)
            pm.set(static_cast<int>(k) % w, static_cast<int>(k) / w, 0.0f, 0.0f, depths[k]);
        imaging::CalRGB(engine, pm.X.data(), pm.Y.data(), pm.Z.data(), pm.mask(), 0, 1000);
        for (int r = 0; r < h; ++r) {
            for (int c = 0; c < w; ++c) {
                const int i = pm.at(c, r);
                const bool inFootprint = (c == 3 || c == 4) && (r == 2 || r == 3);
                EXPECT_EQ(pm.maskBytes[i] != 0, inFootprint) << c << "," << r;
                if (!inFootprint) {
                    EXPECT_EQ(pm.X[i], 0.0f);
                    EXPECT_EQ(pm.Y[i], 0.0f);
                    EXPECT_EQ(pm.Z[i], 0.0f);
                }
            }
        }
        const float z = pm.Z[pm.at(3, 2)];
        EXPECT_EQ(pm.Z[pm.at(4, 3)], z);
        // Back-projection through the pixel: x0 = (4 - 3) / 100 at column 4, y0 = 1 / 100 at row 3.
        EXPECT_EQ(pm.X[pm.at(3, 2)], 0.0f);
        EXPECT_EQ(pm.X[pm.at(4, 3)], (1.0f / 100.0f) * z);
        EXPECT_EQ(pm.Y[pm.at(4, 3)], (1.0f / 100.0f) * z);
        EXPECT_EQ(pm.Y[pm.at(4, 2)], 0.0f);
        return z;
    }
};

TEST_F(CalRGBNearestSurface, OneCandidateIsTakenUnchanged) {
    EXPECT_EQ(registeredDepth({100.2f}), 100.2f);
}

TEST_F(CalRGBNearestSurface, CandidatesFifteenOrMoreBehindAreIgnored) {
    EXPECT_EQ(registeredDepth({100.2f, 120.0f}), 100.2f);
    EXPECT_EQ(registeredDepth({120.0f, 100.2f}), 100.2f);
    // The nearest depth is truncated before the comparison: 115.5 - 100 = 15.5 is not below 15,
    // although 115.5 - 100.9 would be.
    EXPECT_EQ(registeredDepth({100.9f, 115.5f}), 100.9f);
}

TEST_F(CalRGBNearestSurface, CloseCandidatesAreAveragedInListOrder) {
    EXPECT_EQ(registeredDepth({100.2f, 110.0f}), (100.2f + 110.0f) / 2.0f);
    EXPECT_NEAR(registeredDepth({100.2f, 110.0f}), 105.1f, 1e-5f);
    EXPECT_EQ(registeredDepth({100.9f, 114.9f}), (100.9f + 114.9f) / 2.0f);
    EXPECT_EQ(registeredDepth({110.0f, 100.2f, 114.9f, 130.0f}), ((110.0f + 100.2f) + 114.9f) / 3.0f);
}

TEST(CalRGB, OnlyValidPointsStrictlyInsideTheDepthRangeTakePart) {
    const int w = 8, h = 6;
    AlgoEngine engine;
    setRoi(engine, w, h);
    setColourCamera(engine, 100.0, 100.0, 3.0, 2.0);
    const float nan = std::numeric_limits<float>::quiet_NaN();
    for (float z : {100.0f, 200.0f, nan, 99.0f, 250.0f}) {
        PointMap pm(w, h);
        pm.set(0, 0, 0.0f, 0.0f, z);
        imaging::CalRGB(engine, pm.X.data(), pm.Y.data(), pm.Z.data(), pm.mask(), 100, 200);
        for (unsigned char m : pm.maskBytes) EXPECT_EQ(m, 0) << "depth " << z;
        for (float v : pm.Z) EXPECT_EQ(v, 0.0f);
    }
    {
        PointMap pm(w, h);
        pm.set(0, 0, 0.0f, 0.0f, 150.0f);
        pm.maskBytes[0] = 0;  // a valid depth without its mask is not used
        imaging::CalRGB(engine, pm.X.data(), pm.Y.data(), pm.Z.data(), pm.mask(), 100, 200);
        for (unsigned char m : pm.maskBytes) EXPECT_EQ(m, 0);
        for (float v : pm.Z) EXPECT_EQ(v, 0.0f);
    }
    PointMap pm(w, h);
    pm.set(0, 0, 0.0f, 0.0f, 100.5f);
    imaging::CalRGB(engine, pm.X.data(), pm.Y.data(), pm.Z.data(), pm.mask(), 100, 200);
    EXPECT_TRUE(pm.maskBytes[pm.at(3, 2)]);
    EXPECT_EQ(pm.Z[pm.at(3, 2)], 100.5f);
}

// The footprint (u, v) ... (u + 1, v + 1) must lie inside the grid; u is truncated toward zero.
TEST(CalRGB, FootprintMustFitInsideTheGrid) {
    const int w = 8, h = 6;
    struct Case {
        double cx, cy;
        int u, v;  // expected footprint corner, or -1 for dropped
    };
    const Case cases[] = {{7.0, 2.0, -1, -1},  {6.0, 2.0, 6, 2},  {6.99, 2.0, 6, 2}, {3.0, 5.0, -1, -1},
                          {3.0, 4.0, 3, 4},    {-0.5, 2.0, 0, 2}, {3.0, -0.75, 3, 0}, {-1.0, 2.0, -1, -1},
                          {3.0, -1.25, -1, -1}};
    for (const Case& k : cases) {
        AlgoEngine engine;
        setRoi(engine, w, h);
        setColourCamera(engine, 100.0, 100.0, k.cx, k.cy);
        PointMap pm(w, h);
        pm.set(5, 5, 0.0f, 0.0f, 50.0f);
        imaging::CalRGB(engine, pm.X.data(), pm.Y.data(), pm.Z.data(), pm.mask(), 0, 1000);
        int marked = 0;
        for (int r = 0; r < h; ++r) {
            for (int c = 0; c < w; ++c) {
                const bool expected = k.u >= 0 && (c == k.u || c == k.u + 1) && (r == k.v || r == k.v + 1);
                EXPECT_EQ(pm.maskBytes[pm.at(c, r)] != 0, expected)
                    << "cx " << k.cx << " cy " << k.cy << " at " << c << "," << r;
                marked += pm.maskBytes[pm.at(c, r)];
            }
        }
        EXPECT_EQ(marked, k.u >= 0 ? 4 : 0);
    }
}

// The point is carried into the colour frame by X' = R3 X + T3 with R3 row-major.
TEST(CalRGB, PoseRotatesAndTranslatesIntoTheColourFrame) {
    const int w = 8, h = 6;
    AlgoEngine engine;
    setRoi(engine, w, h);
    setColourCamera(engine, 100.0, 100.0, 3.0, 2.0);
    // Quarter turn about the x axis: X' = X, Y' = -Z + 30, Z' = Y.
    const double R[9] = {1, 0, 0, 0, 0, -1, 0, 1, 0};
    std::memcpy(engine.calib.R3, R, sizeof R);
    engine.calib.T3[1] = 30.0;
    PointMap pm(w, h);
    pm.set(0, 0, 0.0f, 100.0f, 30.0f);
    imaging::CalRGB(engine, pm.X.data(), pm.Y.data(), pm.Z.data(), pm.mask(), 0, 1000);
    EXPECT_TRUE(pm.maskBytes[pm.at(3, 2)]);
    EXPECT_EQ(pm.Z[pm.at(3, 2)], 100.0f);
    EXPECT_EQ(pm.Z[pm.at(4, 3)], 100.0f);

    // Translation along the optical axis only: Z' = Z + 10.
    setColourCamera(engine, 100.0, 100.0, 3.0, 2.0);
    engine.calib.T3[2] = 10.0;
    PointMap pm2(w, h);
    pm2.set(0, 0, 0.0f, 0.0f, 50.0f);
    imaging::CalRGB(engine, pm2.X.data(), pm2.Y.data(), pm2.Z.data(), pm2.mask(), 0, 1000);
    EXPECT_EQ(pm2.Z[pm2.at(3, 2)], 60.0f);
    EXPECT_EQ(pm2.X[pm2.at(4, 2)], 0.01f * 60.0f);
}

TEST(CalRGB, AllFalseMaskGivesEmptyMaps) {
    const int w = 9, h = 7;
    AlgoEngine engine;
    setRoi(engine, w, h);
    setColourCamera(engine, 10.0, 10.0, 4.0, 3.0);
    PointMap pm(w, h);
    for (int i = 0; i < w * h; ++i) pm.X[i] = pm.Y[i] = pm.Z[i] = 50.0f + i;
    imaging::CalRGB(engine, pm.X.data(), pm.Y.data(), pm.Z.data(), pm.mask(), 0, 1000);
    for (int i = 0; i < w * h; ++i) {
        EXPECT_EQ(pm.maskBytes[i], 0);
        EXPECT_EQ(pm.X[i], 0.0f);
        EXPECT_EQ(pm.Y[i], 0.0f);
        EXPECT_EQ(pm.Z[i], 0.0f);
    }
}

// With radial distortion only, the ten fixed-point iterations invert the distortion model: the
// registered point of every pixel, projected again through the colour camera, falls on that pixel.
TEST(CalRGB, RadialUndistortionInvertsTheProjection) {
    const int w = 16, h = 12;
    AlgoEngine engine;
    setRoi(engine, w, h);
    setColourCamera(engine, 20.0, 22.0, 7.5, 5.5);
    engine.calib.D3[0] = -0.2;
    engine.calib.D3[1] = 0.05;
    PointMap pm(w, h);
    for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c)
            pm.set(c, r, static_cast<float>((c - 7.5) / 20.0 * 50.0), static_cast<float>((r - 5.5) / 22.0 * 50.0),
                   50.0f);
    imaging::CalRGB(engine, pm.X.data(), pm.Y.data(), pm.Z.data(), pm.mask(), 0, 1000);
    int marked = 0;
    for (int r = 0; r < h; ++r) {
        for (int c = 0; c < w; ++c) {
            const int i = pm.at(c, r);
            if (!pm.maskBytes[i]) continue;
            ++marked;
            EXPECT_EQ(pm.Z[i], 50.0f);
            const double x = double(pm.X[i]) / pm.Z[i], y = double(pm.Y[i]) / pm.Z[i];
            const double r2 = x * x + y * y;
            const double rho = 1.0 - 0.2 * r2 + 0.05 * r2 * r2;
            EXPECT_NEAR(20.0 * x * rho + 7.5, c, 2e-4) << c << "," << r;
            EXPECT_NEAR(22.0 * y * rho + 5.5, r, 2e-4) << c << "," << r;
        }
    }
    EXPECT_GT(marked, w * h / 2);
}

namespace {

// Straightforward single-threaded registration following the documented steps, with one growable
// list per pixel; used to cross-check the banded, compact-list implementation bit for bit.
void referenceCalRGB(const tagXeloraAlgoCalibrationInfo& cal, int w, int h, std::vector<float>& X,
                     std::vector<float>& Y, std::vector<float>& Z, std::vector<unsigned char>& mask, int zMin,
                     int zMax) {
    const float fx = float(cal.K3[0]), cx = float(cal.K3[2]), fy = float(cal.K3[4]), cy = float(cal.K3[5]);
    const float k1 = float(cal.D3[0]), k2 = float(cal.D3[1]), p1 = float(cal.D3[2]), p2 = float(cal.D3[3]);
    float R[9], T[3];
    for (int k = 0; k < 9; ++k) R[k] = float(cal.R3[k]);
    for (int k = 0; k < 3; ++k) T[k] = float(cal.T3[k]);
    std::vector<std::vector<float>> lists(w * h);
    std::vector<unsigned char> newMask(w * h, 0);
    for (int i = 0; i < w * h; ++i) {
        if (!mask[i] || !(Z[i] > float(zMin) && Z[i] < float(zMax))) continue;
        const float Xp = R[0] * X[i] + R[1] * Y[i] + R[2] * Z[i] + T[0];
        const float Yp = R[3] * X[i] + R[4] * Y[i] + R[5] * Z[i] + T[1];
        const float Zp = R[6] * X[i] + R[7] * Y[i] + R[8] * Z[i] + T[2];
        const float x = Xp / Zp, y = Yp / Zp, r2 = x * x + y * y;
        const float rho = 1 + k1 * r2 + k2 * (r2 * r2);
        const float uf = fx * (x * rho + 2 * p1 * x * y + p2 * (r2 + 2 * x * x)) + cx;
        const float vf = fy * (y * rho + 2 * p2 * x * y + p1 * (r2 + 2 * y * y)) + cy;
        if (!(uf > -1e6f && uf < 1e6f && vf > -1e6f && vf < 1e6f)) continue;
        const int u = int(uf), v = int(vf);
        if (u < 0 || u >= w - 1 || v < 0 || v >= h - 1) continue;
        for (int q : {v * w + u, (v + 1) * w + u, v * w + u + 1, (v + 1) * w + u + 1}) {
            lists[q].push_back(Zp);
            newMask[q] = 1;
        }
    }
    std::fill(X.begin(), X.end(), 0.0f);
    std::fill(Y.begin(), Y.end(), 0.0f);
    std::fill(Z.begin(), Z.end(), 0.0f);
    for (int r = 0; r < h; ++r) {
        for (int c = 0; c < w; ++c) {
            const int i = r * w + c;
            if (!newMask[i]) continue;
            const auto& L = lists[i];
            float z = L[0];
            if (L.size() > 1) {
                float lo = L[0];
                for (float v : L) lo = v < lo ? v : lo;
                const int m = int(lo);
                float sum = 0;
                int n = 0;
                for (float v : L)
                    if (v - m < 15) sum += v, ++n;
                z = sum / n;
            }
            const float x0 = (c - cx) / fx, y0 = (r - cy) / fy;
            float x = x0, y = y0;
            for (int it = 0; it < 10; ++it) {
                const float r2 = x * x + y * y;
                const float icd = 1 / (1 + k1 * r2 + k2 * (r2 * r2));
                x = (x0 - (2 * p1 * x0 * y0 + p2 * (r2 + 2 * x0 * x0))) * icd;
                y = (y0 - (p1 * (r2 + 2 * y0 * y0) + 2 * p2 * x0 * y0)) * icd;
            }
            X[i] = x * z;
            Y[i] = y * z;
            Z[i] = z;
        }
    }
    mask = newMask;
}

}  // namespace

// A rough surface seen from a tilted, distorted colour camera: several points compete for most
// pixels. The banded result equals the plain single-threaded computation exactly (h = 11 also has
// three rows outside the bands).
TEST(CalRGB, MatchesAStraightforwardRegistration) {
    const int w = 23, h = 11;
    AlgoEngine engine;
    setRoi(engine, w, h);
    setColourCamera(engine, 14.5, 15.25, 11.3, 4.8);
    auto& cal = engine.calib;
    cal.D3[0] = -0.08;
    cal.D3[1] = 0.02;
    cal.D3[2] = 0.003;
    cal.D3[3] = -0.004;
    cal.D3[4] = 123.0;  // not used
    const double a = 0.05, b = -0.03;
    const double R[9] = {std::cos(a), 0, std::sin(a), std::sin(a) * std::sin(b), std::cos(b),
                         -std::cos(a) * std::sin(b), -std::sin(a) * std::cos(b), std::sin(b),
                         std::cos(a) * std::cos(b)};
    std::memcpy(cal.R3, R, sizeof R);
    cal.T3[0] = 1.5;
    cal.T3[1] = -0.75;
    cal.T3[2] = 2.0;

    std::mt19937 rng(7);
    std::uniform_real_distribution<float> depth(95.0f, 135.0f);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    std::vector<float> X(w * h), Y(w * h), Z(w * h);
    std::vector<unsigned char> mask(w * h);
    for (int r = 0; r < h; ++r) {
        for (int c = 0; c < w; ++c) {
            const int i = r * w + c;
            const float z = depth(rng);
            // Points from a denser grid than the colour camera's, so several land on one pixel.
            X[i] = (c * 0.5f - 5.0f) / 14.0f * z;
            Y[i] = (r * 0.5f - 2.0f) / 15.0f * z;
            Z[i] = z;
            mask[i] = unit(rng) < 0.85f;
        }
    }
    std::vector<float> rX = X, rY = Y, rZ = Z;
    std::vector<unsigned char> rMask = mask;
    referenceCalRGB(cal, w, h, rX, rY, rZ, rMask, 100, 130);
    imaging::CalRGB(engine, X.data(), Y.data(), Z.data(), reinterpret_cast<bool*>(mask.data()), 100, 130);

    int marked = 0, tailRows = 0;
    for (int i = 0; i < w * h; ++i) {
        EXPECT_EQ(mask[i], rMask[i]) << i;
        EXPECT_EQ(X[i], rX[i]) << i;
        EXPECT_EQ(Y[i], rY[i]) << i;
        EXPECT_EQ(Z[i], rZ[i]) << i;
        marked += mask[i];
        tailRows += (i / w >= 8 && mask[i]);
    }
    EXPECT_GT(marked, w * h / 4);  // the case is not vacuous
    EXPECT_GT(tailRows, 0);        // and reaches the rows outside the bands
}
