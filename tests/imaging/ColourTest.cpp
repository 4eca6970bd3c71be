// Colour camera: registration of a point map (CalRGB), colour channels and previews.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "ImagingTestUtil.h"
#include "imaging/CalRGBLanes.h"
#include "imaging/imaging.h"
#include "numerics/numerics.h"

using namespace XELORAALGO;

namespace {

// Colour camera with the given intrinsics, identity pose and no distortion.
tagXeloraAlgoCalibrationInfo colourCamera(double fx, double fy, double cx, double cy) {
    tagXeloraAlgoCalibrationInfo c{};
    c.K3[0] = fx, c.K3[2] = cx, c.K3[4] = fy, c.K3[5] = cy, c.K3[8] = 1.0;
    c.R3[0] = c.R3[4] = c.R3[8] = 1.0;
    return c;
}

struct PointMap {
    int w, h;
    std::vector<float> X, Y, Z;
    std::vector<unsigned char> mask;  // bool storage
    PointMap(int w_, int h_) : w(w_), h(h_), X(w_ * h_), Y(w_ * h_), Z(w_ * h_), mask(w_ * h_, 0) {}
    void set(int i, float x, float y, float z) { X[i] = x, Y[i] = y, Z[i] = z, mask[i] = 1; }
    void registerTo(tagXeloraAlgoCalibrationInfo cal, int zMin, int zMax) {
        XeloraAlgo algo;
        imagingtest::setRoi(algo, w, h);
        algo.SetCalibrationInfo(&cal);
        algo.CalRGB(X.data(), Y.data(), Z.data(), reinterpret_cast<bool*>(mask.data()), zMin, zMax);
    }
};

}  // namespace

// A colour camera coinciding with camera 1 gives a plane back on the same pixels (powers of two
// make the projections exact); a hole is filled by its neighbours' footprints; h = 10 leaves rows
// outside the four row bands.
TEST(CalRGB, CoincidentColourCameraReproducesThePointMap) {
    const int w = 12, h = 10, hole = 5 * w + 6;
    PointMap pm(w, h);
    for (int i = 0; i < w * h; ++i) pm.set(i, (i % w - 5) * 0.125f, (i / w - 4) * 0.125f, 64.0f);
    const PointMap plane = pm;
    pm.mask[hole] = 0, pm.X[hole] = pm.Y[hole] = pm.Z[hole] = 0.0f;
    pm.registerTo(colourCamera(512, 512, 5, 4), 0, 1000);
    EXPECT_EQ(pm.mask, plane.mask);
    EXPECT_EQ(pm.X, plane.X);
    EXPECT_EQ(pm.Y, plane.Y);
    EXPECT_EQ(pm.Z, plane.Z);
}

// Points at X = Y = 0 all land on the footprint (3, 2) ... (4, 3). Candidates are averaged in list
// order unless 15 or more behind the truncated nearest depth (115.5 - int(100.9) = 15.5 is dropped).
TEST(CalRGB, NearestSurfaceRuleOnOneFootprint) {
    const struct { std::vector<float> depths; float expected; } cases[] = {
                 {{100.9f, 115.5f}, 100.9f},
                 {{100.9f, 114.9f}, (100.9f + 114.9f) / 2.0f},
                 {{110.0f, 100.2f, 114.9f, 130.0f}, ((110.0f + 100.2f) + 114.9f) / 3.0f}};
    for (const auto& k : cases) {
        PointMap pm(8, 6);
        for (std::size_t i = 0; i < k.depths.size(); ++i) pm.set(static_cast<int>(i), 0.0f, 0.0f, k.depths[i]);
        pm.registerTo(colourCamera(100, 100, 3, 2), 0, 1000);
        EXPECT_EQ(std::count(pm.mask.begin(), pm.mask.end(), 1), 4);
        EXPECT_EQ(pm.Z[2 * 8 + 3], k.expected);
        EXPECT_EQ(pm.X[3 * 8 + 4], 0.01f * k.expected);  // back-projected through pixel (4, 3)
    }
}

namespace {

// Plain single-threaded registration with one list per pixel, to check the banded implementation.
void referenceCalRGB(const tagXeloraAlgoCalibrationInfo& cal, PointMap& pm, int zMin, int zMax) {
    const int w = pm.w, h = pm.h;
    const float fx = float(cal.K3[0]), cx = float(cal.K3[2]), fy = float(cal.K3[4]), cy = float(cal.K3[5]);
    const float k1 = float(cal.D3[0]), k2 = float(cal.D3[1]), p1 = float(cal.D3[2]), p2 = float(cal.D3[3]);
    float R[9], T[3];
    for (int k = 0; k < 9; ++k) R[k] = float(cal.R3[k]), T[k % 3] = float(cal.T3[k % 3]);
    std::vector<std::vector<float>> lists(w * h);
    for (int i = 0; i < w * h; ++i) {
        const float X = pm.X[i], Y = pm.Y[i], Z = pm.Z[i];
        if (!pm.mask[i] || !(Z > float(zMin) && Z < float(zMax))) continue;
        const float Xp = R[0] * X + R[1] * Y + R[2] * Z + T[0], Yp = R[3] * X + R[4] * Y + R[5] * Z + T[1];
        const float Zp = R[6] * X + R[7] * Y + R[8] * Z + T[2];
        const float x = Xp / Zp, y = Yp / Zp, r2 = x * x + y * y, rho = 1 + k1 * r2 + k2 * (r2 * r2);
        const int u = int(fx * (x * rho + 2 * p1 * x * y + p2 * (r2 + 2 * x * x)) + cx);
        const int v = int(fy * (y * rho + 2 * p2 * x * y + p1 * (r2 + 2 * y * y)) + cy);
        if (u < 0 || u >= w - 1 || v < 0 || v >= h - 1) continue;
        for (int q : {v * w + u, (v + 1) * w + u, v * w + u + 1, (v + 1) * w + u + 1}) lists[q].push_back(Zp);
    }
    for (int i = 0; i < w * h; ++i) {
        const auto& L = lists[i];
        pm.mask[i] = !L.empty();
        pm.X[i] = pm.Y[i] = pm.Z[i] = 0.0f;
        if (L.empty()) continue;
        const int nearest = int(*std::min_element(L.begin(), L.end()));
        float sum = 0;
        int n = 0;
        for (float v : L)
            if (v - nearest < 15) sum += v, ++n;
        const float z = sum / n;
        const float x0 = (i % w - cx) / fx, y0 = (i / w - cy) / fy;
        float x = x0, y = y0;
        for (int it = 0; it < 10; ++it) {
            const float r2 = x * x + y * y, icd = 1 / (1 + k1 * r2 + k2 * (r2 * r2));
            x = (x0 - (2 * p1 * x0 * y0 + p2 * (r2 + 2 * x0 * x0))) * icd;
            y = (y0 - (p1 * (r2 + 2 * y0 * y0) + 2 * p2 * x0 * y0)) * icd;
        }
        pm.X[i] = x * z, pm.Y[i] = y * z, pm.Z[i] = z;
    }
}

}  // namespace

// A rough surface seen by a tilted, distorted colour camera with several points per pixel: the
// banded result equals the reference bit for bit (h = 11 has rows outside the bands).
TEST(CalRGB, MatchesAStraightforwardRegistration) {
    const int w = 23, h = 11;
    auto cal = colourCamera(14.5, 15.25, 11.3, 4.8);
    cal.D3[0] = -0.08, cal.D3[1] = 0.02, cal.D3[2] = 0.003, cal.D3[3] = -0.004, cal.D3[4] = 123.0;  // k3 unused
    const double a = 0.05, b = -0.03, R[9] = {std::cos(a), 0, std::sin(a), std::sin(a) * std::sin(b), std::cos(b),
                                              -std::cos(a) * std::sin(b), -std::sin(a) * std::cos(b), std::sin(b),
                                              std::cos(a) * std::cos(b)};
    std::copy(R, R + 9, cal.R3);
    cal.T3[0] = 1.5, cal.T3[1] = -0.75, cal.T3[2] = 2.0;
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> depth(95.0f, 135.0f), unit(0.0f, 1.0f);
    PointMap pm(w, h);
    for (int i = 0; i < w * h; ++i) {
        const float z = depth(rng);  // a grid denser than the colour camera's
        pm.set(i, ((i % w) * 0.5f - 5.0f) / 14.0f * z, ((i / w) * 0.5f - 2.0f) / 15.0f * z, z);
        pm.mask[i] = unit(rng) < 0.85f;
    }
    PointMap ref = pm;
    referenceCalRGB(cal, ref, 100, 130);
    pm.registerTo(cal, 100, 130);
    EXPECT_EQ(pm.mask, ref.mask);
    EXPECT_EQ(pm.X, ref.X);
    EXPECT_EQ(pm.Y, ref.Y);
    EXPECT_EQ(pm.Z, ref.Z);
    EXPECT_GT(std::count(pm.mask.begin(), pm.mask.end(), 1), w * h / 4);  // not vacuous
    EXPECT_GT(std::count(pm.mask.begin() + 8 * w, pm.mask.end(), 1), 0);  // reaches the rows outside the bands
}

// CalRGBFuse takes byte 2 of each pixel of the first count images (byte 0 of eleven without a count);
// the preview's rows alternate m1 + m3 and m2 + m4, truncated and clamped to 0 ... 255.
TEST(ColourChannels, FuseAndPreview) {
    XeloraAlgo algo;
    imagingtest::setRoi(algo, 3, 1);
    std::vector<std::vector<unsigned char>> a(15, std::vector<unsigned char>(9));
    std::vector<std::vector<unsigned char>> d(15, std::vector<unsigned char>(3, 7)), e = d;
    for (int i = 0; i < 15 * 9; ++i) a[i / 9][i % 9] = static_cast<unsigned char>(10 * (i / 9) + i % 9);
    auto pa = imagingtest::pointers(a), pd = imagingtest::pointers(d), pe = imagingtest::pointers(e);
    algo.CalRGBFuse(pa.data(), pa.data(), pd.data(), pe.data(), 2);
    algo.CalRGBFuse(pa.data() + 3, pa.data() + 3, pd.data() + 3, pe.data() + 3);
    for (int k = 0; k < 15; ++k) EXPECT_EQ(d[k][1], k < 2 ? 10 * k + 5 : k == 2 || k == 14 ? 7 : 10 * k + 3) << k;
    EXPECT_EQ(e, d);
    std::vector<float> m1 = {300.0f, 12.0f, 1.0f}, m3 = {0.7f, 0.9f, -3.0f}, m2 = {255.9f, 4.0f, 6.0f},
                       m4 = {0.0f, 250.0f, 0.25f};
    std::vector<unsigned char> preview(6, 99);
    algo.CalPreview(preview.data(), m1.data(), m2.data(), m3.data(), m4.data());
    EXPECT_EQ(preview, (std::vector<unsigned char>{255, 12, 0, 255, 254, 6}));
}

// The projection and the undistortion run on whole rows in 16, 8 or 4 lanes where the processor has
// them; every width must give the scalar code's bits, also for widths that leave every kind of row
// tail, points with NaN, infinite or zero coordinates, depths on the limits, and projections just
// inside and outside the grid (many points per pixel: lists of every length are merged).
TEST(CalRGB, EveryLaneWidthGivesTheScalarBits) {
    auto cal = colourCamera(9.5, 9.25, 0.0, 0.0);
    cal.D3[0] = -0.2, cal.D3[1] = 0.05, cal.D3[2] = 0.01, cal.D3[3] = -0.02;
    const double a = 0.1, R[9] = {std::cos(a), 0, std::sin(a), 0, 1, 0, -std::sin(a), 0, std::cos(a)};
    std::copy(R, R + 9, cal.R3);
    cal.T3[0] = 0.5, cal.T3[2] = -1.0;
    std::mt19937 rng(31);
    std::uniform_real_distribution<float> depth(98.0f, 132.0f), unit(0.0f, 1.0f);
    const float odd[] = {NAN, INFINITY, -INFINITY, 0.0f, -0.0f, 100.0f, 130.0f};
    int marked = 0;
    for (const auto& size : {std::pair<int, int>{1, 3}, {2, 2}, {7, 5}, {17, 9}, {33, 6}, {50, 13}}) {
        const int w = size.first, h = size.second;
        cal.K3[2] = w / 2.0, cal.K3[5] = h / 2.0;
        PointMap pm(w, h);
        for (int i = 0; i < w * h; ++i) {
            const float z = depth(rng);
            pm.set(i, ((i % w) * 0.7f - w / 2.0f) / 9.0f * z, ((i / w) * 0.7f - h / 2.0f) / 9.0f * z, z);
            if (unit(rng) < 0.15f) pm.X[i] = odd[rng() % 7];
            if (unit(rng) < 0.15f) pm.Z[i] = odd[rng() % 7];
            pm.mask[i] = unit(rng) < 0.9f;
        }
        AlgoEngine e;
        e.roi = {0, 0, w, h};
        e.calib = cal;
        PointMap scalar = pm;
        imaging::CalRGBWithLanes(e, scalar.X.data(), scalar.Y.data(), scalar.Z.data(),
                                 reinterpret_cast<bool*>(scalar.mask.data()), 100, 130, 1);
        marked += static_cast<int>(std::count(scalar.mask.begin(), scalar.mask.end(), 1));
        for (const int lanes : {4, 8, 16}) {
            PointMap v = pm;
            imaging::CalRGBWithLanes(e, v.X.data(), v.Y.data(), v.Z.data(), reinterpret_cast<bool*>(v.mask.data()),
                                     100, 130, lanes);
            EXPECT_EQ(v.mask, scalar.mask) << w << "x" << h << " lanes " << lanes;
            EXPECT_EQ(0, std::memcmp(v.X.data(), scalar.X.data(), 4 * v.X.size())) << w << "x" << h << " " << lanes;
            EXPECT_EQ(0, std::memcmp(v.Y.data(), scalar.Y.data(), 4 * v.Y.size())) << w << "x" << h << " " << lanes;
            EXPECT_EQ(0, std::memcmp(v.Z.data(), scalar.Z.data(), 4 * v.Z.size())) << w << "x" << h << " " << lanes;
        }
        // And the scalar code is the straightforward registration where every input is finite.
        if (w >= 17) {
            PointMap finite = pm, ref = pm;
            for (int i = 0; i < w * h; ++i)
                if (!std::isfinite(finite.X[i]) || !std::isfinite(finite.Z[i])) finite.mask[i] = ref.mask[i] = 0;
            referenceCalRGB(cal, ref, 100, 130);
            imaging::CalRGBWithLanes(e, finite.X.data(), finite.Y.data(), finite.Z.data(),
                                     reinterpret_cast<bool*>(finite.mask.data()), 100, 130, 16);
            EXPECT_EQ(finite.mask, ref.mask);
            EXPECT_EQ(finite.Z, ref.Z);
            EXPECT_EQ(finite.X, ref.X);
        }
    }
    EXPECT_GT(marked, 300);
}

namespace {

// Depth of a pixel from its candidates in visiting order, written from the rule: one candidate
// is the depth; of more, those less than 15 behind the nearest one truncated toward zero are
// averaged in order.
float plainDepth(const std::vector<float>& z) {
    if (z.size() == 1) return z[0];
    float nearest = z[0];
    for (float v : z) nearest = std::min(nearest, v);
    const float m = std::trunc(nearest);
    float sum = 0.0f;
    int taken = 0;
    for (float v : z)
        if (v - m < 15.0f) sum += v, ++taken;
    return sum / static_cast<float>(taken);
}

bool sameBits(float a, float b) { return std::memcmp(&a, &b, sizeof a) == 0; }

}  // namespace

// The depth kernels of every lane width against the rule on candidates that are NaN, signed zeros,
// infinities, beyond the int range, negative (truncation toward zero, not down) or on the 15 limit,
// one to four per pixel and none (X = Y = Z = 0), on rows that leave tails of every length.
TEST(CalRGB, DepthKernelsFollowTheNearestSurfaceRule) {
    const float odd[] = {NAN, 0.0f, -0.0f, INFINITY, -INFINITY, 3e9f, -3e9f, 1e30f, -5.5f, 9.4f, 9.7f,
                         100.9f, 115.9f, 115.0f, 114.99f, 100.2f, 110.0f, 120.0f, 8388609.0f, -0.5f};
    std::mt19937 rng(11);
    std::uniform_real_distribution<float> near(95.0f, 125.0f), unit(0.0f, 1.0f);
    for (const int w : {1, 3, 4, 7, 8, 15, 16, 17, 31, 33, 70}) {
        std::vector<float> cand(4 * w), count(w), x(w), y(w);
        std::vector<std::vector<float>> lists(w);
        for (int c = 0; c < w; ++c) {
            const int n = static_cast<int>(rng() % 5);
            count[c] = static_cast<float>(n);
            x[c] = unit(rng) - 0.5f, y[c] = unit(rng) - 0.5f;
            for (int k = 0; k < 4; ++k) {
                const float v = unit(rng) < 0.4f ? odd[rng() % 20] : near(rng);
                cand[k * w + c] = v;  // past the pixel's count: ignored
                if (k < n) lists[c].push_back(v);
            }
        }
        const float* const z[4] = {cand.data(), cand.data() + w, cand.data() + 2 * w, cand.data() + 3 * w};
        const auto check = [&](const char* name, int (*row)(const float* const (&)[4], const float*, const float*,
                                                            const float*, float*, float*, float*, int)) {
            std::vector<float> X(w, 7.0f), Y(w, 7.0f), Z(w, 7.0f);
            int c = row ? row(z, count.data(), x.data(), y.data(), X.data(), Y.data(), Z.data(), w) : 0;
            for (; c < w; ++c)
                imaging::lanes::depthPixelLanes<float>(z, count.data(), x.data(), y.data(), X.data(), Y.data(),
                                                       Z.data(), c);
            for (c = 0; c < w; ++c) {
                const float d = lists[c].empty() ? 0.0f : plainDepth(lists[c]);
                const float ex = lists[c].empty() ? 0.0f : x[c] * d, ey = lists[c].empty() ? 0.0f : y[c] * d;
                EXPECT_TRUE(sameBits(Z[c], d) && sameBits(X[c], ex) && sameBits(Y[c], ey))
                    << name << " w " << w << " column " << c << ": " << Z[c] << " for " << d;
            }
        };
        check("scalar", nullptr);
        check("sse2", [](const float* const (&zz)[4], const float* n, const float* xx, const float* yy, float* X,
                         float* Y, float* Z, int ww) {
            typedef float V4 __attribute__((vector_size(16)));
            return imaging::lanes::depthRowLanes<V4>(zz, n, xx, yy, X, Y, Z, ww);
        });
        if (num::avx2Allowed()) check("avx2", imaging::lanes::depthRowAvx2);
        if (num::widestIsa() == num::Isa::Avx512) check("avx512", imaging::lanes::depthRowAvx512);
    }
}

// Whole registrations whose candidates are infinite, beyond the int range or tiny, landing one per
// list on neighbouring footprints (the lanes) and several per list (merged one by one): every lane
// width gives the scalar bits, on tiny images and heights that are not a multiple of 4. A depth
// scale of 1e38 turns depths of 1e-36 into about 100 and depths of 5 into infinity.
TEST(CalRGB, LanesKeepTheScalarBitsOnExtremeDepths) {
    auto cal = colourCamera(100, 100, 2.5, 1.5);
    cal.R3[8] = 1e38;
    const float depths[] = {1e-36f, 1.1e-36f, 1.149e-36f, 1.2e-36f, 5.0f, -5.0f, 3e-29f, -3e-29f, 0.9e-36f};
    std::mt19937 rng(5);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    int nonFinite = 0;
    for (const auto& size : {std::pair<int, int>{1, 1}, {2, 3}, {6, 5}, {9, 7}, {19, 6}, {40, 9}}) {
        const int w = size.first, h = size.second;
        cal.K3[2] = w / 2.0 - 0.5, cal.K3[5] = h / 2.0 - 0.5;
        PointMap pm(w, h);
        for (int i = 0; i < w * h; ++i) {
            // Spread over the footprints; an infinite depth needs X = Y = 0 (it lands on the centre).
            const float z = depths[unit(rng) < 0.1f ? 4 + rng() % 4 : rng() % 9];
            const float zp = std::isfinite(z * 1e38f) ? z * 1e38f : 0.0f;
            pm.set(i, (unit(rng) * w - w / 2.0f) / 100.0f * zp, (unit(rng) * h - h / 2.0f) / 100.0f * zp, z);
            pm.mask[i] = unit(rng) < 0.9f;
        }
        AlgoEngine e;
        e.roi = {0, 0, w, h};
        e.calib = cal;
        const auto registered = [&](int lanes) {
            PointMap out = pm;
            imaging::CalRGBWithLanes(e, out.X.data(), out.Y.data(), out.Z.data(),
                                     reinterpret_cast<bool*>(out.mask.data()), -100, 100, lanes);
            return out;
        };
        const PointMap scalar = registered(1);
        for (int i = 0; i < w * h; ++i) nonFinite += scalar.mask[i] && !std::isfinite(scalar.Z[i]);
        for (const int lanes : {4, 8, 16}) {
            const PointMap v = registered(lanes);
            EXPECT_EQ(v.mask, scalar.mask) << w << "x" << h << " lanes " << lanes;
            for (const auto& map : {&PointMap::X, &PointMap::Y, &PointMap::Z})
                EXPECT_EQ(0, std::memcmp((v.*map).data(), (scalar.*map).data(), 4 * v.X.size())) << w << "x" << h;
        }
    }
    EXPECT_GT(nonFinite, 5);  // infinite depths did reach the merge
}

// The footprint of a projected point, every lane width against the rule written out: the point
// takes part when its mask byte is non-zero and zMin < Z < zMax; the column and row truncated toward
// zero must lie in [0, w - 1) and [0, h - 1). Positions just inside and outside each limit, in
// (-1, 0), NaN, infinities and values beyond the int range, on rows that leave tails of every length.
TEST(CalRGB, FootprintKernelsFollowTheGridLimits) {
    typedef int (*RowKernel)(const unsigned char*, const float*, const float*, const float*, float, float, int, int,
                             int*);
    const float zLo = 100.0f, zHi = 130.0f;
    const float depths[] = {100.0f, std::nextafter(100.0f, 200.0f), 115.0f, std::nextafter(130.0f, 0.0f), 130.0f, NAN};
    std::mt19937 rng(3);
    int inside = 0;
    for (const int w : {2, 5, 17, 37, 64}) {
        const int h = 21;
        const float cols[] = {-1.0f, std::nextafter(-1.0f, 0.0f), -0.5f, -0.0f, 0.0f, 0.7f * w, std::nextafter(w - 1.0f, 0.0f),
                              w - 1.0f, w - 0.5f, NAN, INFINITY, -INFINITY, 3e9f, -3e9f};
        const float rows[] = {-1.0f, -0.25f, 0.0f, 19.999f, 20.0f, 7.5f, NAN, 4e9f};
        for (int trial = 0; trial < 20; ++trial) {
            std::vector<unsigned char> mask(w);
            std::vector<float> Z(w), u(w), v(w);
            std::vector<int> expected(w);
            for (int c = 0; c < w; ++c) {
                mask[c] = static_cast<unsigned char>(rng() % 4 == 0 ? 0 : 1 + rng() % 2);
                Z[c] = depths[rng() % 6], u[c] = cols[rng() % 14], v[c] = rows[rng() % 8];
                const float tu = std::trunc(u[c]), tv = std::trunc(v[c]);
                const bool ok = mask[c] != 0 && Z[c] > zLo && Z[c] < zHi && tu >= 0.0f && tu < w - 1 && tv >= 0.0f &&
                                tv < h - 1;
                expected[c] = ok ? static_cast<int>(tv) * w + static_cast<int>(tu) : -1;
                inside += ok;
            }
            const auto check = [&](const char* name, RowKernel row) {
                std::vector<int> target(w, -7);
                int c = row ? row(mask.data(), Z.data(), u.data(), v.data(), zLo, zHi, w, h, target.data()) : 0;
                for (; c < w; ++c) imaging::lanes::footprintLanes(&mask[c], Z[c], u[c], v[c], zLo, zHi, w, h, &target[c]);
                EXPECT_EQ(target, expected) << name << " w " << w;
            };
            check("scalar", nullptr);
            check("sse2", [](const unsigned char* m, const float* z, const float* cu, const float* cv, float lo, float hi,
                             int ww, int hh, int* t) {
                typedef float V4 __attribute__((vector_size(16)));
                return imaging::lanes::footprintRowLanes<V4>(m, z, cu, cv, lo, hi, ww, hh, t);
            });
            if (num::avx2Allowed()) check("avx2", imaging::lanes::footprintRowAvx2);
            if (num::widestIsa() == num::Isa::Avx512) check("avx512", imaging::lanes::footprintRowAvx512);
        }
    }
    EXPECT_GT(inside, 50);
}
