// Golden dump: colour registration and channels, previews, exposure and HDR proposals, HDR fusion,
// downsampling and the process-wide frame filter.
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "Golden.h"

namespace golden {
namespace {

using XELORAALGO::XeloraAlgo;
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

std::vector<unsigned char> randomBytes(Rng& rng, std::size_t n, int lo = 0, int hi = 255) {
    std::vector<unsigned char> v(n);
    for (auto& b : v) b = static_cast<unsigned char>(lo + rng.below(hi - lo + 1));
    return v;
}

// Three two-camera frames whose levels rise with the exposure (bright and dark parts, saturation).
Planes captures(Rng& rng, std::size_t frame) {
    Planes c(3, std::vector<unsigned char>(frame));
    for (std::size_t i = 0; i < frame; ++i) {
        const double base = (i % 7 < 3) ? 12.0 : 70.0;
        for (int k = 0; k < 3; ++k) c[k][i] = toByte(base * (1 << k) + rng.range(-4.0, 4.0));
    }
    return c;
}

void colour(Writer& w, XeloraAlgo& a, Rng& rng, int W, int H, int ox, int oy,
            const XELORAALGO::tagXeloraAlgoCalibrationInfo& calib) {
    const std::size_t n = std::size_t(W) * H;
    for (int variant = 0; variant < 2; ++variant) {
        std::vector<float> X(n), Y(n), Z(n);
        Mask mask(n);
        for (std::size_t i = 0; i < n; ++i) {
            const int c = int(i % W), r = int(i / W);
            const double z = 600.0 + 0.8 * c - 0.5 * r + rng.range(-3.0, 3.0) + (c > W / 2 ? 20.0 : 0.0);
            Z[i] = float(z);
            X[i] = float((c + ox - calib.K1[2]) / calib.K1[0] * z);
            Y[i] = float((r + oy - calib.K1[5]) / calib.K1[4] * z);
            mask[i] = rng.chance(90);
        }
        const int zMin = variant ? 600 : 400, zMax = variant ? 630 : 800;
        a.CalRGB(X.data(), Y.data(), Z.data(), mask.data(), zMin, zMax);
        const std::string t = "imaging.CalRGB." + std::to_string(variant);
        w.floats(t + ".X", X);
        w.floats(t + ".Y", Y);
        w.floats(t + ".Z", Z);
        w.bools(t + ".mask", mask.data(), n);
    }
    Planes srcA(11), srcB(11);
    for (int k = 0; k < 11; ++k) {
        srcA[k] = randomBytes(rng, 3 * n);
        srcB[k] = randomBytes(rng, 3 * n);
    }
    for (int count : {-1, 0, 11, 3}) {  // -1: the four-argument form
        Planes dA(11, std::vector<unsigned char>(n, 7)), dB(11, std::vector<unsigned char>(n, 7));
        auto a1 = pointers(srcA), b1 = pointers(srcB), a2 = pointers(dA), b2 = pointers(dB);
        if (count < 0) a.CalRGBFuse(a1.data(), b1.data(), a2.data(), b2.data());
        else a.CalRGBFuse(a1.data(), b1.data(), a2.data(), b2.data(), count);
        for (int k = 0; k < 11; ++k) {
            const std::string t = "imaging.CalRGBFuse.c" + std::to_string(count) + "." + std::to_string(k);
            w.bytes(t + ".A", dA[k].data(), n);
            w.bytes(t + ".B", dB[k].data(), n);
        }
    }
    std::vector<float> m[4];
    for (auto& v : m) {
        v.resize(n);
        for (auto& x : v) x = float(rng.range(-20.0, 200.0));
    }
    m[0][0] = kNaN;
    m[1][1] = 1e30f;
    m[2][2] = -1.0f;
    m[3][3] = 0.99f;
    std::vector<unsigned char> preview(2 * n, 9);
    a.CalPreview(preview.data(), m[0].data(), m[1].data(), m[2].data(), m[3].data());
    w.bytes("imaging.CalPreview", preview.data(), preview.size());
    std::vector<int> averages;
    const std::vector<unsigned char> img = randomBytes(rng, n);
    for (int threshold : {0, 100, 127, 128, 129, 255})
        for (int dims : {0, 1}) averages.push_back(a.CalPixelAverage(const_cast<unsigned char*>(img.data()),
                                                                      dims ? W : W / 2, dims ? H : 3, threshold));
    w.ints("imaging.CalPixelAverage", averages);
}

void exposure(Writer& w, XeloraAlgo& a, Rng& rng, int W, int H) {
    const std::size_t frame = 2 * std::size_t(W) * H;
    std::vector<int> results;
    std::vector<double> times;
    for (int pairs : {1, 2, 3}) {
        Planes c = captures(rng, frame);
        auto p = pointers(c);
        double et[3] = {1000.0, 2000.0, 4000.0};
        results.push_back(a.AutoExposure(p.data(), et, pairs, 128, 100, 20000, 3000));
        times.insert(times.end(), et, et + 3);
    }
    w.ints("imaging.AutoExposure.images", results);
    w.doubles("imaging.AutoExposure.images.times", times);
    std::vector<double> steps;
    for (int target : {60, 128, 250}) {
        const auto i1 = randomBytes(rng, frame / 2, 20, 140), i2 = randomBytes(rng, frame / 2, 0, 90);
        steps.push_back(a.BinarySearch_updataET(const_cast<unsigned char*>(i1.data()),
                                                const_cast<unsigned char*>(i2.data()), 100.0, 9000.0, target, 2500.0));
    }
    w.doubles("imaging.BinarySearch_updataET", steps);
    std::vector<int> th;
    th.push_back(a.GetTh({}, 30, 90));
    th.push_back(a.GetTh({}, 90, 30));
    const std::vector<unsigned char> vals = randomBytes(rng, 17, 0, 20);
    for (int lo : {0, 50}) th.push_back(a.GetTh(vals, lo, 120));
    th.push_back(a.GetTh({3, 4, 4}, 0, 1000));
    w.ints("imaging.GetTh", th);
    for (int hdr = 1; hdr <= 2; ++hdr)
        for (int mode : {0, 1, 2})
            for (int pairs : {2, 3})
                for (int divisor : {1, 4}) {
                    Planes c = captures(rng, frame);
                    auto p = pointers(c);
                    double et[3] = {500.0, 1500.0, 4500.0};
                    int out[2] = {-1, -1};
                    if (hdr == 1) a.AutoHDR1(p.data(), mode, et, pairs, divisor, 120, 100, 30000, out);
                    else a.AutoHDR2(p.data(), mode, et, pairs, divisor, 120, 100, 30000, out);
                    w.ints("imaging.AutoHDR" + std::to_string(hdr) + ".m" + std::to_string(mode) + ".p" +
                               std::to_string(pairs) + ".d" + std::to_string(divisor),
                           {out[0], out[1]});
                }
    for (int count : {0, 2, 4, 6}) {
        Planes s(6), l(6), o1(6, std::vector<unsigned char>(frame / 2, 1)), o2(6, std::vector<unsigned char>(frame / 2, 1));
        for (int k = 0; k < 6; ++k) {
            s[k] = randomBytes(rng, frame, 40, 120);
            l[k] = randomBytes(rng, frame, 150, 255);
        }
        auto ps = pointers(s), pl = pointers(l), p1 = pointers(o1), p2 = pointers(o2);
        a.CalHDRFuse(ps.data(), pl.data(), p1.data(), p2.data(), count);
        for (int k = 0; k < 6; ++k) {
            w.bytes("imaging.CalHDRFuse.n" + std::to_string(count) + "." + std::to_string(k) + ".1", o1[k].data(), o1[k].size());
            w.bytes("imaging.CalHDRFuse.n" + std::to_string(count) + "." + std::to_string(k) + ".2", o2[k].data(), o2[k].size());
        }
    }
}

void downsampling(Writer& w, XeloraAlgo& a, Rng& rng) {
    const int W = 12, H = 9;  // source rows of 2W bytes, odd H: the last row is not read
    const std::size_t src = 2 * std::size_t(W) * H, dst = std::size_t(W) * (H / 2);
    for (int count : {1, 3, 6}) {
        Planes s(6), d(6, std::vector<unsigned char>(dst, 5));
        for (auto& p : s) p = randomBytes(rng, src);
        auto ps = pointers(s), pd = pointers(d);
        a.DownSampling1(ps.data(), pd.data(), count, W, H);
        for (int k = 0; k < 6; ++k) w.bytes("imaging.DownSampling1.n" + std::to_string(count) + "." + std::to_string(k), d[k].data(), dst);
        Planes d2(6, std::vector<unsigned char>(dst, 5));
        auto pd2 = pointers(d2);
        a.DownSampling2(ps.data(), pd2.data(), count, W, H);
        for (int k = 0; k < 6; ++k) w.bytes("imaging.DownSampling2.n" + std::to_string(count) + "." + std::to_string(k), d2[k].data(), dst);
    }
    auto s = randomBytes(rng, src);
    std::vector<unsigned char> d(dst, 5);
    a.DownSampling3(s.data(), d.data(), W, H);
    w.bytes("imaging.DownSampling3", d.data(), dst);
}

// The stored frame is process-wide: forget it first, then a fixed sequence of frames.
void frameFilter(Writer& w, XeloraAlgo& a, Rng& rng, std::size_t frame) {
    std::vector<unsigned char> out(frame, 77);
    a.CalcImageBuffer(out.data(), out.data(), false);
    for (int step = 0; step < 6; ++step) {
        std::vector<unsigned char> in = randomBytes(rng, frame);
        std::fill(out.begin(), out.end(), 77);
        const bool enable = step != 3;
        if (step == 4) {
            a.CalcImageBuffer(in.data(), in.data(), enable);  // in place
            w.bytes("imaging.CalcImageBuffer." + std::to_string(step), in.data(), frame);
        } else {
            a.CalcImageBuffer(in.data(), out.data(), enable);
            w.bytes("imaging.CalcImageBuffer." + std::to_string(step), out.data(), frame);
        }
    }
    a.CalcImageBuffer(out.data(), out.data(), false);
}

}  // namespace

void dumpImaging(Writer& w) {
    Rng rng(0x5EED0004);
    {
        XeloraAlgo a;
        const int W = 24, H = 17, ox = 600, oy = 500;
        auto r = roi(ox, oy, W, H);
        a.SetROIInfo(&r);
        const double C2[3] = {100.0, 0.0, -3.0};
        auto calib = stereoHead(1200.0, ox + W / 2 + 0.5, oy + H / 2 - 0.5, 0.04, C2, true);
        setCalibration(a, calib);
        colour(w, a, rng, W, H, ox, oy, calib);
        exposure(w, a, rng, W, H);
        downsampling(w, a, rng);
        frameFilter(w, a, rng, 2 * std::size_t(W) * H);
    }
    {
        // The map form of AutoExposure reads 50 x 50 windows: a ROI that holds them.
        XeloraAlgo a;
        const int W = 440, H = 420;
        const std::size_t n = std::size_t(W) * H;
        auto r = roi(0, 0, W, H);
        a.SetROIInfo(&r);
        std::vector<int> results;
        for (int variant = 0; variant < 3; ++variant) {
            std::vector<float> m1(n), m2(n), a1(n), a2(n);
            for (std::size_t i = 0; i < n; ++i) {
                const double level = variant == 2 ? 5.0 : 30.0 + 200.0 * double(i % 97) / 97.0;
                m1[i] = float(rng.range(0, 80));
                m2[i] = float(rng.range(0, 40));
                a1[i] = float(level + rng.range(-5, 5));
                a2[i] = float(level * 0.5 + rng.range(-5, 5));
            }
            results.push_back(a.AutoExposure(variant ? 1800.0 : 900.0, m1.data(), m2.data(), a1.data(), a2.data(),
                                             100, 20000, variant ? 90 : 150));
        }
        w.ints("imaging.AutoExposure.maps", results);
    }
}

}  // namespace golden
