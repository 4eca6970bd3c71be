// The C++ wrapper (xelora_c.hpp, over the C interface) against the exported class: the same calls
// on the same inputs, once through each, must give byte-identical results. Every scenario is one
// template run on either handle type; its results are recorded with the golden dump's writer.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "Golden.h"
#include "XeloraAlgo.h"
#include "xelora_c.hpp"

namespace {

using golden::Mask;
using golden::Planes;
using golden::Rng;
using golden::Writer;

// The ROI and calibration records of either API (the wrapper's are the C structs).
template <class Algo, class Roi, class Calib>
void setUp(Algo& a, int W, int H, int ox, int oy, bool distortion) {
    const auto r = golden::roi(ox, oy, W, H);
    const double C2[3] = {12.0, 0.5, -1.5};
    const auto c = golden::stereoHead(900.0, ox + W / 2.0, oy + H / 2.0, 0.01, C2, distortion);
    Roi roi;
    Calib calib;
    std::memcpy(&roi, &r, sizeof roi);
    std::memcpy(&calib, &c, sizeof calib);
    a.SetROIInfo(&roi);
    a.SetCalibrationInfo(&calib);
}

struct Class {
    using Algo = XELORAALGO::XeloraAlgo;
    static void setUp(Algo& a, int W, int H, int ox, int oy, bool d) {
        ::setUp<Algo, XELORAALGO::tagXeloraAlgoROIInfo, XELORAALGO::tagXeloraAlgoCalibrationInfo>(a, W, H, ox, oy, d);
    }
};
struct Wrapper {
    using Algo = xelora::XeloraAlgo;
    static void setUp(Algo& a, int W, int H, int ox, int oy, bool d) {
        ::setUp<Algo, xelora::tagXeloraAlgoROIInfo, xelora::tagXeloraAlgoCalibrationInfo>(a, W, H, ox, oy, d);
    }
};

// Set-up, fringe decoding, resampling, matching, triangulation and the depth filters.
template <class Api>
void structuredLight(Writer& w) {
    const int W = 48, H = 40;
    const std::size_t n = std::size_t(W) * H;
    typename Api::Algo a;
    Api::setUp(a, W, H, 30, 20, true);
    a.SetDownsamplingInfo(1, 0.0f);
    std::string version;
    a.GetSdkVersionString(version);
    w.text("version", version);
    w.ints("roi", {a.GetROIInfoWidth(), a.GetROIInfoHeight(), a.GetROIInfoOffsetX(), a.GetROIInfoOffsetY()});
    a.CalKR();
    double d[6];
    a.GetData(d[0], d[1], d[2], d[3], d[4], d[5]);
    w.doubles("GetData", d, 6);
    a.CalRectifyMap1(true);
    a.CalRectifyMap1(false);

    Rng rng(11);
    std::vector<float> phase[2], mod(n), avg(n);
    Mask valid[2] = {Mask(n), Mask(n)};
    for (int cam = 0; cam < 2; ++cam) {
        Planes planes = golden::patternPlanes(false, n, [&](std::size_t i) {
            return 1.0 + 0.45 * double(i % W) + 0.02 * double(i / W) - 0.6 * cam;
        });
        for (auto& p : planes)
            for (auto& b : p) b = golden::toByte(b + rng.range(-1.5, 1.5));
        auto ptr = golden::pointers(planes);
        phase[cam].assign(n, 0.0f);
        a.DecGrayPhase1(valid[cam].data(), mod.data(), avg.data(), ptr.data(), false, true, 2, 1.2f,
                        phase[cam].data());
        w.floats("phase" + std::to_string(cam), phase[cam]);
        w.bools("valid" + std::to_string(cam), valid[cam].data(), n);
    }
    Planes paired = golden::patternPlanes(true, n, [&](std::size_t i) { return 2.0 + 0.4 * double(i % W); });
    auto pp = golden::pointers(paired);
    std::vector<float> phase2(n);
    Mask valid2(n);
    a.DecGrayPhase2(valid2.data(), mod.data(), avg.data(), pp.data(), false, false, 0, 1.0f, phase2.data());
    w.floats("DecGrayPhase2", phase2);
    w.floats("DecGrayPhase2.modulation", mod);

    a.InterpCubic1(phase[0].data());
    a.InterpFlag1(valid[0].data());
    a.InterpCubic2(phase[1].data());
    a.InterpFlag2(valid[1].data());
    Mask match(n);
    a.MatchI(valid[0].data(), valid[1].data(), match.data(), phase[0].data(), phase[1].data());
    a.MatchII(valid[0].data(), valid[1].data(), match.data(), phase[0].data(), phase[1].data());
    w.bools("match", match.data(), n);
    std::vector<float> X(n), Y(n), Z(n);
    int count = -1;
    a.CalPoint(match.data(), X.data(), Y.data(), Z.data(), count, true, 2, 3.0f, true, 1.0f);
    w.ints("CalPoint.count", {count});
    w.floats("CalPoint.Z", Z);
    std::vector<float> Zm = Z;
    a.MediaFilter(Zm.data(), 4);
    w.floats("MediaFilter", Zm);
    a.Outlierdetect(X.data(), Y.data(), Z.data(), match.data(), 1, 5.0f);
    w.floats("Outlierdetect", Z);
    a.Bilateralfilter(Z.data(), match.data(), 2, 4.0f);
    w.floats("Bilateralfilter", Z);
    a.FillingFunction(X.data(), Y.data(), Z.data(), match.data(), 2, 10, 40, 1, 100000);
    w.floats("FillingFunction", Z);
    a.CalRGB(X.data(), Y.data(), Z.data(), match.data(), 0, 100000);
    w.floats("CalRGB.X", X);
    w.floats("BiCubicPloy", std::vector<float>{a.BiCubicPloy(0.3f), a.BiCubicPloy(-1.7f)});
    EXPECT_GT(count, 0) << "the scene should give points";
}

// Line extraction, undistortion, matching, triangulation and smoothing of line lists.
template <class Api>
void laserLine(Writer& w) {
    const int W = 64, H = 40;
    typename Api::Algo a;
    Api::setUp(a, W, H, 0, 0, true);
    std::vector<unsigned char> image[2];
    XELORAALGO::Point2dList points[2];
    Mask mask[2] = {Mask(H), Mask(H)};
    for (int cam = 0; cam < 2; ++cam) {
        image[cam].assign(std::size_t(W) * H, 0);
        for (int r = 0; r < H; ++r) {
            const int c = 24 + cam * 3 + r / 8;
            image[cam][std::size_t(r) * W + c] = 120;
            image[cam][std::size_t(r) * W + c + 1] = 220;
            image[cam][std::size_t(r) * W + c + 2] = 90;
        }
        points[cam].assign(H, {0.0, 0.0});
        a.lineExtract4(true, image[cam].data(), points[cam], mask[cam].data(), 0, 0, 0, 0, 0, {0, 0});
        w.points("lineExtract4." + std::to_string(cam), points[cam]);
        a.UndistortPoints2(cam == 0, points[cam]);
        w.points("UndistortPoints2." + std::to_string(cam), points[cam]);
    }
    XELORAALGO::Point2dList extracted5(H, {0.0, 0.0});
    Mask mask5(H);
    a.lineExtract5(image[0].data(), extracted5, mask5.data(), 0, 0, {0, 0}, 90, 30);
    w.points("lineExtract5", extracted5);
    std::vector<int> matches(H, -1);
    a.MatchLine(points[0], points[1], mask[0].data(), mask[1].data(), matches);
    w.ints("MatchLine", matches);
    XELORAALGO::Point3dList cloud, depth, smooth;
    a.Calpoint(points[0], points[1], mask[0].data(), matches, cloud, depth);
    w.points("Calpoint", cloud);
    w.points("Calpoint.pixelDepth", depth);
    a.Calpoint_smooth(points[0], points[1], 3, mask[0].data(), matches, smooth);
    w.points("Calpoint_smooth", smooth);
    XELORAALGO::Point2dList line = points[0];
    a.FitLineFunction_V(line, 3, true);
    w.points("FitLineFunction_V", line);
    a.Gaussianfilter(line, 2);
    w.points("Gaussianfilter", line);
    XELORAALGO::Point2dList g1(3, {7.0, 7.0}), g2;
    a.GetCloudPoint_New_600_1(image[0].data(), g1);
    a.GetCloudPoint_New_600_2(image[1].data(), g2);
    w.points("GetCloudPoint_New_600_1", g1);
    w.points("GetCloudPoint_New_600_2", g2);
    std::array<double, 2> centre{-1.0, -1.0}, centre2{-1.0, -1.0};
    a.CalLineCenter(5, {3, 4, 5, 6}, {10, 40, 30, 5}, centre);
    const int weights[5] = {1, 9, 20, 7, 0};
    a.CalLineCenter_new(9, 30, 5, weights, centre2);
    w.doubles("CalLineCenter", {centre[0], centre[1], centre2[0], centre2[1]});
    EXPECT_EQ(cloud.size(), std::size_t(H));
    EXPECT_FALSE(depth.empty()) << "some rows should be triangulated";
}

// Point clouds (nested lists, tuples, pairs) and the fits.
template <class Api>
void cloudsAndFits(Writer& w) {
    const int W = 24, H = 20;
    typename Api::Algo a;
    Api::setUp(a, W, H, 100, 80, false);
    Rng rng(5);
    XELORAALGO::Point3dList cloud;
    for (int i = 0; i < 300; ++i)
        cloud.push_back({rng.range(-20, 20), rng.range(-20, 20), rng.chance(5) ? rng.range(700, 900) : rng.range(590, 610)});
    XELORAALGO::Point3dList c1 = cloud, c2 = cloud, c3 = cloud, c4 = cloud;
    a.SORfilter(c1, 8, 1.0f);
    a.sorFilter(c2, 8, 0.0);
    a.Gaussianfilter_PMR(c3, 3);
    c4.resize(std::size_t(W) * H, {0.0, 0.0, 0.0});
    a.CloudSmooth(c4, 2, 4.0f);
    w.points("SORfilter", c1);
    w.points("sorFilter", c2);
    w.points("Gaussianfilter_PMR", c3);
    w.points("CloudSmooth", c4);
    XELORAALGO::Point3dList profile(cloud.begin(), cloud.begin() + H), down;
    int count = -1;
    a.Downsample(profile, down, 2.5f, count);
    w.points("Downsample", down);
    w.ints("Downsample.count", {count});
    std::vector<XELORAALGO::Point3dList> profiles = {XELORAALGO::Point3dList(cloud.begin(), cloud.begin() + 40),
                                                     {},
                                                     XELORAALGO::Point3dList(cloud.begin() + 40, cloud.begin() + 90)};
    XELORAALGO::Point3dList map;
    a.GetDepth(profiles, map);
    w.points("GetDepth", map);
    std::vector<std::array<int, 2>> pixels = {{3, 4}, {120, 90}, {0, 0}};
    XELORAALGO::Point3dList matched;
    a.RGB2Cloud(pixels, cloud, 50.0, matched);
    w.points("RGB2Cloud", matched);
    std::tuple<std::vector<unsigned char>, int, int> image(std::vector<unsigned char>(3 * 300 * 240, 0), 300, 240);
    for (std::size_t i = 0; i < std::get<0>(image).size(); ++i) std::get<0>(image)[i] = static_cast<unsigned char>(i * 7);
    std::vector<std::pair<std::array<double, 6>, bool>> colored;
    a.GetRGBpoint(image, cloud, colored);
    for (const auto& p : colored) {
        w.doubles("GetRGBpoint", p.first.data(), 6);
        w.ints("GetRGBpoint.valid", {p.second ? 1 : 0});
    }
    std::vector<float> coefficients;
    a.PlaneFitPoly11(cloud, coefficients);
    w.floats("PlaneFitPoly11", coefficients);
    a.PlaneFitPoly33(cloud, coefficients);
    w.floats("PlaneFitPoly33", coefficients);
    a.PlaneFitPoly1010(cloud, coefficients);
    w.floats("PlaneFitPoly1010", coefficients);
    std::vector<double> x, y;
    for (const auto& p : cloud) x.push_back(p[0]), y.push_back(p[2]);
    const std::vector<double> poly = a.polynomialFit(x, y, 4);
    w.doubles("polynomialFit", poly);
    w.doubles("evaluatePolynomial", {a.evaluatePolynomial(poly, 1.25)});
    EXPECT_NE(c1, cloud) << "the outliers should be removed";
}

// Exposure proposals, HDR, previews, channel fusion, downsampling and the frame filter.
template <class Api>
void imaging(Writer& w) {
    const int W = 16, H = 12;
    const std::size_t n = std::size_t(W) * H, frame = 2 * n;
    typename Api::Algo a;
    Api::setUp(a, W, H, 0, 0, false);
    Rng rng(9);
    const auto bytes = [&](std::size_t count) {
        std::vector<unsigned char> v(count);
        for (auto& b : v) b = static_cast<unsigned char>(rng.below(256));
        return v;
    };
    Planes captures = {bytes(frame), bytes(frame), bytes(frame)};
    auto cp = golden::pointers(captures);
    double et[3] = {1000.0, 2000.0, 4000.0};
    std::vector<int> ints = {a.AutoExposure(cp.data(), et, 3, 128, 100, 20000, 3000)};
    int hdr[2] = {-1, -1};
    a.AutoHDR1(cp.data(), 1, et, 3, 4, 120, 100, 30000, hdr);
    ints.insert(ints.end(), hdr, hdr + 2);
    a.AutoHDR2(cp.data(), 2, et, 2, 1, 120, 100, 30000, hdr);
    ints.insert(ints.end(), hdr, hdr + 2);
    std::vector<float> m[4];
    for (auto& v : m) {
        v.resize(n);
        for (auto& x : v) x = float(rng.range(-20.0, 200.0));
    }
    ints.push_back(a.GetTh(bytes(17), 10, 120));
    ints.push_back(a.CalPixelAverage(captures[0].data(), W, H, 100) ? 1 : 0);
    w.ints("exposure", ints);
    w.doubles("exposure.times", et, 3);
    w.doubles("BinarySearch_updataET",
              {a.BinarySearch_updataET(captures[0].data(), captures[1].data(), 100.0, 9000.0, 128, 2500.0)});
    {
        // The map form reads 50 x 50 windows: a ROI that holds them.
        const int BW = 440, BH = 420;
        typename Api::Algo big;
        Api::setUp(big, BW, BH, 0, 0, false);
        std::vector<float> maps[4];
        for (int k = 0; k < 4; ++k) {
            maps[k].resize(std::size_t(BW) * BH);
            for (std::size_t i = 0; i < maps[k].size(); ++i) maps[k][i] = float(k < 2 ? rng.range(0, 60) : 30.0 + 2.0 * double(i % 97));
        }
        w.ints("AutoExposure.maps",
               {big.AutoExposure(1500.0, maps[0].data(), maps[1].data(), maps[2].data(), maps[3].data(), 100, 20000, 128)});
    }
    std::vector<unsigned char> preview(frame, 9);
    a.CalPreview(preview.data(), m[0].data(), m[1].data(), m[2].data(), m[3].data());
    w.bytes("CalPreview", preview.data(), preview.size());
    Planes srcA(11), srcB(11), dA(11, std::vector<unsigned char>(n)), dB(11, std::vector<unsigned char>(n));
    for (int k = 0; k < 11; ++k) srcA[k] = bytes(3 * n), srcB[k] = bytes(3 * n);
    auto a1 = golden::pointers(srcA), b1 = golden::pointers(srcB), a2 = golden::pointers(dA), b2 = golden::pointers(dB);
    a.CalRGBFuse(a1.data(), b1.data(), a2.data(), b2.data());
    w.bytes("CalRGBFuse", dA[10].data(), n);
    a.CalRGBFuse(a1.data(), b1.data(), a2.data(), b2.data(), 3);
    w.bytes("CalRGBFuse.count", dB[2].data(), n);
    Planes sq = {bytes(frame), bytes(frame)}, lq = {bytes(frame), bytes(frame)};
    Planes o1(2, std::vector<unsigned char>(n)), o2(2, std::vector<unsigned char>(n));
    auto ps = golden::pointers(sq), pl = golden::pointers(lq), p1 = golden::pointers(o1), p2 = golden::pointers(o2);
    a.CalHDRFuse(ps.data(), pl.data(), p1.data(), p2.data(), 2);
    w.bytes("CalHDRFuse", o2[1].data(), n);
    const std::size_t half = std::size_t(W) * (H / 2);
    Planes dst(2, std::vector<unsigned char>(half)), dst2(2, std::vector<unsigned char>(half));
    auto pd = golden::pointers(dst), pd2 = golden::pointers(dst2);
    a.DownSampling1(ps.data(), pd.data(), 2, W, H);
    a.DownSampling2(ps.data(), pd2.data(), 2, W, H);
    std::vector<unsigned char> d3(half);
    a.DownSampling3(sq[0].data(), d3.data(), W, H);
    w.bytes("DownSampling", dst[1].data(), half);
    w.bytes("DownSampling2", dst2[1].data(), half);
    w.bytes("DownSampling3", d3.data(), half);
    // The frame filter keeps the previous frame process-wide: both runs start from the same one.
    std::vector<unsigned char> prime(frame, 100), out(frame);
    a.CalcImageBuffer(prime.data(), out.data(), false);
    a.CalcImageBuffer(sq[1].data(), out.data(), true);
    w.bytes("CalcImageBuffer", out.data(), out.size());
}

template <class Api, void (*Scenario)(Writer&)>
std::vector<unsigned char> record() {
    Writer w;
    Scenario(w);
    return w.data();
}

// Index of the first differing byte, or -1.
long long firstDifference(const std::vector<unsigned char>& a, const std::vector<unsigned char>& b) {
    for (std::size_t i = 0; i < a.size() && i < b.size(); ++i)
        if (a[i] != b[i]) return static_cast<long long>(i);
    return a.size() == b.size() ? -1 : static_cast<long long>(std::min(a.size(), b.size()));
}

TEST(CWrapper, EveryMemberGivesTheClassResultsBitForBit) {
    const std::vector<unsigned char> byClass[] = {record<Class, structuredLight<Class>>(),
                                                  record<Class, laserLine<Class>>(),
                                                  record<Class, cloudsAndFits<Class>>(),
                                                  record<Class, imaging<Class>>()};
    const std::vector<unsigned char> byWrapper[] = {record<Wrapper, structuredLight<Wrapper>>(),
                                                    record<Wrapper, laserLine<Wrapper>>(),
                                                    record<Wrapper, cloudsAndFits<Wrapper>>(),
                                                    record<Wrapper, imaging<Wrapper>>()};
    const char* names[] = {"structured light", "laser line", "clouds and fits", "imaging"};
    for (int s = 0; s < 4; ++s) {
        EXPECT_GT(byClass[s].size(), 1000u) << names[s];
        if (firstDifference(byClass[s], byWrapper[s]) == -1) continue;
        // Both results as dump files: `xelora_golden --diff` lists the records that differ.
        const std::string stem = "capi-" + std::to_string(s);
        for (const auto& [suffix, blob] : {std::make_pair("-class.bin", &byClass[s]),
                                           std::make_pair("-wrapper.bin", &byWrapper[s])}) {
            std::ofstream f(stem + suffix, std::ios::binary);
            f.write(reinterpret_cast<const char*>(blob->data()), std::streamsize(blob->size()));
        }
        ADD_FAILURE() << names[s] << ": results differ from byte " << firstDifference(byClass[s], byWrapper[s])
                      << "; see " << stem << "-class.bin and " << stem << "-wrapper.bin";
    }
}

// The class's exceptions arrive as xelora::Error with the status of their type and the same text;
// a list output too small for the result reports the size it needs and writes nothing.
TEST(CWrapper, ErrorsCarryTheClassMessageAndStatus) {
    XELORAALGO::Point3dList cloud(12);
    for (int i = 0; i < 12; ++i) cloud[i] = {double(i), 0.0, 100.0 + i};
    XELORAALGO::XeloraAlgo direct;
    std::string expected;
    try {
        direct.SORfilter(cloud, 0, 1.0f);
    } catch (const std::invalid_argument& e) {
        expected = e.what();
    }
    ASSERT_FALSE(expected.empty());
    xelora::XeloraAlgo wrapped;
    XELORAALGO::Point3dList copy = cloud;
    try {
        wrapped.SORfilter(copy, 0, 1.0f);
        ADD_FAILURE() << "no exception";
    } catch (const xelora::Error& e) {
        EXPECT_EQ(e.status(), XELORA_ERROR_INVALID_ARGUMENT);
        EXPECT_EQ(std::string(e.what()), expected);
    }
    EXPECT_EQ(copy, cloud);

    std::vector<double> x = {0, 1, 2, 3}, y = {1, 3, 5, 7};
    double c[2] = {-9.0, -9.0};
    std::size_t count = 0;
    EXPECT_EQ(xelora_polynomialFit(wrapped.handle(), x.data(), 4, y.data(), 4, 2, c, 2, &count),
              XELORA_ERROR_BUFFER_TOO_SMALL);
    EXPECT_EQ(count, 3u);
    EXPECT_EQ(c[0], -9.0);
    EXPECT_EQ(wrapped.polynomialFit(x, y, 2), direct.polynomialFit(x, y, 2));
    EXPECT_EQ(xelora_polynomialFit(wrapped.handle(), nullptr, 4, y.data(), 4, 2, c, 2, &count),
              XELORA_ERROR_INVALID_ARGUMENT);
    EXPECT_NE(std::string(xelora_last_error()).find("xelora_polynomialFit: x is NULL"), std::string::npos);
}

}  // namespace
