// Golden dump: handle, ROI, calibration geometry and maps, cubic and nearest-neighbour resampling,
// matching and triangulation on small generated maps.
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "Golden.h"

namespace golden {
namespace {

using XELORAALGO::XeloraAlgo;
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

void geometry(Writer& w, XeloraAlgo& a, const std::string& tag) {
    a.CalKR();
    double d[6];
    a.GetData(d[0], d[1], d[2], d[3], d[4], d[5]);
    w.doubles(tag + ".GetData", d, 6);
    for (bool first : {true, false}) {
        a.CalRectifyMap1(first);
        a.CalRectifyMap2(first);
    }
}

// A smooth ramp with noise, a few NaN and zero pixels.
std::vector<float> ramp(Rng& rng, int W, int H) {
    std::vector<float> m(std::size_t(W) * H);
    for (int r = 0; r < H; ++r)
        for (int c = 0; c < W; ++c) m[r * W + c] = float(0.37 * c + 0.21 * r + rng.range(-0.5, 0.5));
    for (int k = 0; k < 6; ++k) m[rng.below(W * H)] = kNaN;
    for (int k = 0; k < 6; ++k) m[rng.below(W * H)] = 0.0f;
    return m;
}

void resampling(Writer& w, XeloraAlgo& a, Rng& rng, int W, int H, const std::string& tag) {
    const std::size_t n = std::size_t(W) * H;
    const std::vector<float> src = ramp(rng, W, H);
    const int variants[4] = {1, 2, 4, 5};
    for (int k : variants) {
        std::vector<float> m = src;
        switch (k) {
            case 1: a.InterpCubic1(m.data()); break;
            case 2: a.InterpCubic2(m.data()); break;
            case 4: a.InterpCubic4(m.data()); break;
            default: a.InterpCubic5(m.data()); break;
        }
        w.floats(tag + ".InterpCubic" + std::to_string(k), m);
    }
    Mask mask(n);
    for (std::size_t i = 0; i < n; ++i) mask[i] = rng.chance(80);
    for (int cam = 1; cam <= 2; ++cam) {
        Mask m(n);
        for (std::size_t i = 0; i < n; ++i) m[i] = mask[i];
        if (cam == 1) a.InterpFlag1(m.data()); else a.InterpFlag2(m.data());
        w.bools(tag + ".InterpFlag" + std::to_string(cam), m.data(), n);
    }
}

void kernel(Writer& w, XeloraAlgo& a, Rng& rng) {
    std::vector<float> xs = {0.0f, 0.25f, -0.5f, 1.0f, -1.0f, 1.5f, 2.0f, -2.0f, 2.5f, 1e-8f, 0.999999f,
                             1.0000001f, 1.9999999f, kNaN, std::numeric_limits<float>::infinity()};
    for (int k = 0; k < 24; ++k) xs.push_back(rng.rangef(-2.5f, 2.5f));
    std::vector<float> out;
    for (float x : xs) out.push_back(a.BiCubicPloy(x));
    w.floats("stereo.BiCubicPloy", out);
}

// InterpCubic3 through the caller's maps: random positions, exact grid points, the borders of
// the 4 x 4 neighbourhood and positions far outside.
void maskedCubic(Writer& w, XeloraAlgo& a, Rng& rng, int W, int H) {
    const std::size_t n = std::size_t(W) * H;
    for (int variant = 0; variant < 3; ++variant) {
        std::vector<float> m = ramp(rng, W, H);
        std::vector<double> mx(n), my(n);
        Mask mask(n);
        for (std::size_t i = 0; i < n; ++i) {
            mask[i] = rng.chance(variant == 2 ? 100 : 85);
            const int c = int(i % W), r = int(i / W);
            switch (rng.below(4)) {
                case 0: mx[i] = c; my[i] = r; break;
                case 1: mx[i] = rng.range(-3.0, W + 2.0); my[i] = rng.range(-3.0, H + 2.0); break;
                case 2: mx[i] = rng.below(2) ? 1.0 : W - 3.0 + rng.unit(); my[i] = rng.below(2) ? 1.0 : H - 3.0; break;
                default: mx[i] = c + rng.range(-0.5, 0.5); my[i] = r + rng.range(-0.5, 0.5); break;
            }
            if (rng.chance(2)) mx[i] = rng.below(2) ? -1e6 : 1e6;
        }
        a.InterpCubic3(m.data(), mx.data(), my.data(), mask.data());
        w.floats("stereo.InterpCubic3." + std::to_string(variant), m);
    }
}

// Matching and triangulation of generated rectified phases (two shifts, noise, holes).
void matching(Writer& w, XeloraAlgo& a, Rng& rng, int W, int H) {
    const std::size_t n = std::size_t(W) * H;
    for (int variant = 0; variant < 2; ++variant) {
        std::vector<float> p1(n), p2(n);
        Mask m1(n), m2(n), match(n);
        const double shift = variant == 0 ? 6.3 : 11.7, slope = variant == 0 ? 0.5 : 1.7;
        for (std::size_t i = 0; i < n; ++i) {
            const int c = int(i % W), r = int(i / W);
            p1[i] = float(slope * (c + 0.02 * r) + rng.range(-0.05, 0.05));
            p2[i] = float(slope * (c - shift + 0.02 * r) + rng.range(-0.05, 0.05));
            m1[i] = rng.chance(92);
            m2[i] = rng.chance(92);
        }
        const std::string tag = "stereo.match" + std::to_string(variant);
        a.MatchI(m1.data(), m2.data(), match.data(), p1.data(), p2.data());
        w.bools(tag + ".MatchI", match.data(), n);
        a.MatchII(m1.data(), m2.data(), match.data(), p1.data(), p2.data());
        w.bools(tag + ".MatchII", match.data(), n);
        struct Opt { bool bil; int ss; float rs; bool smooth; float sigma; };
        const Opt opts[3] = {{false, 2, 5.0f, false, 1.0f}, {true, 2, 5.0f, false, 1.0f}, {true, 3, 20.0f, true, 1.7f}};
        for (int k = 0; k < 3; ++k) {
            Mask m(n);
            for (std::size_t i = 0; i < n; ++i) m[i] = match[i];
            std::vector<float> X(n, -7.0f), Y(n, -7.0f), Z(n, -7.0f);
            int count = -1;
            a.CalPoint(m.data(), X.data(), Y.data(), Z.data(), count, opts[k].bil, opts[k].ss, opts[k].rs,
                       opts[k].smooth, opts[k].sigma);
            const std::string t = tag + ".CalPoint" + std::to_string(k);
            w.bools(t + ".mask", m.data(), n);
            w.floats(t + ".X", X);
            w.floats(t + ".Y", Y);
            w.floats(t + ".Z", Z);
            w.ints(t + ".count", {count});
        }
    }
}

}  // namespace

void dumpFrameAndStereo(Writer& w) {
    XeloraAlgo a;
    std::string version;
    a.GetSdkVersionString(version);
    w.text("frame.GetSdkVersionString", version);
    const int W = 48, H = 40, ox = 300, oy = 200;
    auto r = roi(ox, oy, W, H);
    a.SetROIInfo(&r);
    w.ints("frame.GetROIInfo", {a.GetROIInfoWidth(), a.GetROIInfoHeight(), a.GetROIInfoOffsetX(), a.GetROIInfoOffsetY()});
    const double C2[3] = {120.0, 1.5, -4.0};
    auto calib = stereoHead(1800.0, ox + 2 * W / 2 + 0.3, oy + 2 * H / 2 - 0.2, 0.05, C2, true);
    setCalibration(a, calib);
    Rng rng(0x5EED0001);
    // Downsampled set-up first (step 2, offset 0.5), then the plain one the later calls use.
    a.SetDownsamplingInfo(2, 0.5f);
    geometry(w, a, "frame.step2");
    resampling(w, a, rng, W, H, "stereo.step2");
    a.SetDownsamplingInfo(1, 0.0f);
    geometry(w, a, "frame.step1");
    resampling(w, a, rng, W, H, "stereo.step1");
    kernel(w, a, rng);
    maskedCubic(w, a, rng, W, H);
    matching(w, a, rng, W, H);
    // Release and build again: the same geometry.
    a.DeleteMemory1();
    a.DeleteMemory2();
    a.DeleteMemory2();
    geometry(w, a, "frame.rebuilt");
    resampling(w, a, rng, W, H, "stereo.rebuilt");
}

}  // namespace golden
