// Golden dump: depth-map filters (median, outlier, gradient, bilateral, hole filling).
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "Golden.h"

namespace golden {
namespace {

using XELORAALGO::XeloraAlgo;
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

struct PointMap {
    std::vector<float> X, Y, Z;
    Mask mask;
    explicit PointMap(std::size_t n) : X(n), Y(n), Z(n), mask(n) {}
    void dump(Writer& w, const std::string& t) {
        w.floats(t + ".X", X);
        w.floats(t + ".Y", Y);
        w.floats(t + ".Z", Z);
        w.bools(t + ".mask", mask.data(), mask.n);
    }
};

// Tilted plane seen by a 1800-pixel camera, with noise, outliers and holes (rectangles and single
// pixels, some at the border or at the edge of the filled area).
PointMap surface(Rng& rng, int W, int H, int ox, int oy, double cx, double cy) {
    PointMap p(std::size_t(W) * H);
    for (int r = 0; r < H; ++r)
        for (int c = 0; c < W; ++c) {
            const std::size_t i = std::size_t(r) * W + c;
            const double z = 500.0 + 0.5 * c + 0.3 * r + rng.range(-0.2, 0.2) + (rng.chance(3) ? 40.0 : 0.0);
            p.Z[i] = float(z);
            p.X[i] = float((c + ox - cx) / 1800.0 * z);
            p.Y[i] = float((r + oy - cy) / 1800.0 * z);
            p.mask[i] = true;
        }
    const int holes[][4] = {{8, 8, 2, 2},  {15, 6, 4, 5}, {22, 12, 10, 9}, {5, 20, 3, 1}, {0, 0, 3, 3},
                            {W - 7, 14, 4, 3}, {10, H - 7, 3, 3}, {30, 27, 1, 1}, {5, 5, 1, 1},
                            // at the first filled column and row, and ending where the right and lower
                            // references reach the border
                            {5, 12, 2, 3}, {12, 5, 3, 2}, {W - 7, 20, 2, 2}, {26, H - 7, 2, 2}};
    for (const auto& h : holes)
        for (int r = h[1]; r < h[1] + h[3] && r < H; ++r)
            for (int c = h[0]; c < h[0] + h[2] && c < W; ++c) {
                const std::size_t i = std::size_t(r) * W + c;
                p.X[i] = p.Y[i] = p.Z[i] = 0.0f;
                p.mask[i] = false;
            }
    for (int k = 0; k < 12; ++k) {
        const std::size_t i = std::size_t(rng.below(W * H));
        p.X[i] = p.Y[i] = p.Z[i] = 0.0f;
        p.mask[i] = false;
    }
    return p;
}

}  // namespace

void dumpDepthFilters(Writer& w) {
    XeloraAlgo a;
    const int W = 40, H = 32, ox = 500, oy = 400;
    const std::size_t n = std::size_t(W) * H;
    auto r = roi(ox, oy, W, H);
    a.SetROIInfo(&r);
    const double C2[3] = {100.0, 0.0, -3.0};
    auto calib = stereoHead(1800.0, ox + W / 2 + 0.5, oy + H / 2 - 0.5, 0.04, C2, false);
    setCalibration(a, calib);
    a.CalKR();
    Rng rng(0x5EED0003);

    // Median: quantised values (ties), zeros and NaN.
    std::vector<float> depth(n);
    for (std::size_t i = 0; i < n; ++i) depth[i] = rng.chance(10) ? 0.0f : float(rng.below(12)) * 0.5f + 300.0f;
    depth[3 * W + 3] = kNaN;
    depth[W + 1] = kNaN;
    for (int order : {0, 4, 8}) {
        std::vector<float> m = depth;
        a.MediaFilter(m.data(), order);
        w.floats("depthfilter.MediaFilter" + std::to_string(order), m);
    }

    for (int radius : {1, 2}) {
        for (float distance : {3.0f, 40.0f}) {
            PointMap p = surface(rng, W, H, ox, oy, calib.K1[2], calib.K1[5]);
            a.Outlierdetect(p.X.data(), p.Y.data(), p.Z.data(), p.mask.data(), radius, distance);
            p.dump(w, "depthfilter.Outlierdetect.r" + std::to_string(radius) + ".d" + std::to_string(int(distance)));
        }
    }

    for (float pass : {-1.0f, 0.0f, 0.5f, 1.0f, 1.5f})
        for (float limit : {4.0f, 30.0f}) {
            std::vector<float> A(n), B(n);
            Mask mA(n), mB(n);
            for (std::size_t i = 0; i < n; ++i) {
                A[i] = float(rng.range(0, 60) + 2.0 * double(i % W));
                B[i] = float(rng.range(0, 300));
                mA[i] = rng.chance(90);
                mB[i] = rng.chance(90);
            }
            A[5] = kNaN;
            a.GradientFilter(A.data(), B.data(), mA.data(), mB.data(), limit, pass);
            const std::string t = "depthfilter.GradientFilter.p" + std::to_string(int(pass * 10)) + ".l" +
                                  std::to_string(int(limit));
            w.floats(t + ".A", A);
            w.floats(t + ".B", B);
            w.bools(t + ".maskA", mA.data(), n);
            w.bools(t + ".maskB", mB.data(), n);
        }

    for (int spatial : {1, 2, 3})
        for (float range : {5.0f, 50.0f}) {
            PointMap p = surface(rng, W, H, ox, oy, calib.K1[2], calib.K1[5]);
            p.Z[7 * W + 7] = kNaN;
            a.Bilateralfilter(p.Z.data(), p.mask.data(), spatial, range);
            w.floats("depthfilter.Bilateralfilter.s" + std::to_string(spatial) + ".r" + std::to_string(int(range)), p.Z);
        }

    for (int mode = 1; mode <= 5; ++mode)
        for (int variant = 0; variant < 2; ++variant) {
            PointMap p = surface(rng, W, H, ox, oy, calib.K1[2], calib.K1[5]);
            const int small = variant ? 3 : 8, large = variant ? 30 : 120, lo = variant ? 520 : 400, hi = variant ? 540 : 700;
            a.FillingFunction(p.X.data(), p.Y.data(), p.Z.data(), p.mask.data(), mode, small, large, lo, hi);
            p.dump(w, "depthfilter.FillingFunction.m" + std::to_string(mode) + "." + std::to_string(variant));
        }
}

}  // namespace golden
