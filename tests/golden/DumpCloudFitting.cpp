// Golden dump: point-cloud filters, smoothing, downsampling, depth images, colouring, and the
// surface and curve fits.
#include <array>
#include <cmath>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "Golden.h"

namespace golden {
namespace {

using XELORAALGO::Point3dList;
using XELORAALGO::XeloraAlgo;

// A profile along x (one point per row), depth 600 with steps, noise and gaps.
Point3dList profile(Rng& rng, int count, double z0) {
    Point3dList p(count);
    for (int k = 0; k < count; ++k) {
        if (rng.chance(8)) {
            p[k] = {0.0, 0.0, 0.0};
            continue;
        }
        const double x = -30.0 + 0.5 * k + rng.range(-0.1, 0.1);
        p[k] = {x, 2.0 + 0.01 * k, z0 + 0.2 * k + (k > count / 2 ? 12.0 : 0.0) + rng.range(-0.4, 0.4) +
                                        (rng.chance(4) ? 60.0 : 0.0)};
    }
    return p;
}

void clouds(Writer& w, XeloraAlgo& a, Rng& rng) {
    const int W = 30, H = 20, ox = 0, oy = 0;  // the depth image uses sensor pixels
    auto r = roi(ox, oy, W, H);
    a.SetROIInfo(&r);
    const double C2[3] = {100.0, 0.0, -3.0};
    auto calib = stereoHead(800.0, ox + W / 2 + 0.5, oy + H / 2 - 0.5, 0.04, C2, true);
    setCalibration(a, calib);

    for (int k : {1, 8, 30})
        for (float mult : {1.0f, 2.5f}) {
            Point3dList c = profile(rng, 120, 600.0);
            w.guarded("cloud.SORfilter.k" + std::to_string(k), [&] { a.SORfilter(c, k, mult); });
            w.points("cloud.SORfilter.k" + std::to_string(k) + ".m" + std::to_string(int(mult * 10)), c);
        }
    for (int k : {3, 10}) {
        Point3dList c = profile(rng, 120, 190.0);
        a.sorFilter(c, k, 0.0);
        w.points("cloud.sorFilter.k" + std::to_string(k), c);
    }
    for (int rr : {1, 2})
        for (float radius : {2.0f, 30.0f}) {
            Point3dList m(std::size_t(W) * H);
            for (std::size_t i = 0; i < m.size(); ++i) {
                const int c = int(i % W), row = int(i / W);
                if (rng.chance(10)) m[i] = {0.0, 0.0, 0.0};
                else m[i] = {0.7 * c, 0.7 * row, 500.0 + 0.5 * c + rng.range(-1, 1) + (rng.chance(3) ? 25.0 : 0.0)};
            }
            a.CloudSmooth(m, rr, radius);
            w.points("cloud.CloudSmooth.r" + std::to_string(rr) + ".d" + std::to_string(int(radius)), m);
        }
    for (int rr : {1, 3}) {
        Point3dList c = profile(rng, 80, 400.0);
        a.Gaussianfilter_PMR(c, rr);
        w.points("cloud.Gaussianfilter_PMR.r" + std::to_string(rr), c);
    }
    for (float bin : {0.3f, 1.7f, 4.0f}) {
        Point3dList c = profile(rng, H + 4, 400.0), out(3, {9.0, 9.0, 9.0});
        int count = -1;
        a.Downsample(c, out, bin, count);
        w.points("cloud.Downsample.b" + std::to_string(int(bin * 10)), out);
        w.ints("cloud.Downsample.b" + std::to_string(int(bin * 10)) + ".count", {count});
    }
    // Profiles in front of camera 1: a tilted plane cut by four vertical planes, some rows repeated.
    std::vector<Point3dList> profiles;
    for (int p = 0; p < 4; ++p) {
        Point3dList prof;
        for (int k = 0; k < 40; ++k) {
            const double z = 300.0 + 0.4 * k + 3.0 * p;
            if (k % 9 == 5 && p != 2) continue;  // gaps to bridge
            prof.push_back({(-4.0 + 3.1 * p) * z / 800.0 * 1.0, (-12.0 + 0.55 * k) * z / 800.0, z});
        }
        prof.push_back({0.0, 0.0, 0.0});
        profiles.push_back(prof);
    }
    Point3dList depth;
    a.GetDepth(profiles, depth);
    w.points("cloud.GetDepth", depth);
    Point3dList cloud;
    for (const auto& p : profiles) cloud.insert(cloud.end(), p.begin(), p.end());
    std::vector<std::array<int, 2>> pixels;
    for (int k = 0; k < 10; ++k) pixels.push_back({rng.below(160), rng.below(80)});
    // Pixels at and near the pinhole projections of cloud points into the colour camera.
    for (int k = 0; k < 20; ++k) {
        const auto& P = cloud[std::size_t(rng.below(int(cloud.size())))];
        double Q[3];
        for (int i = 0; i < 3; ++i) Q[i] = calib.R3[3 * i] * P[0] + calib.R3[3 * i + 1] * P[1] + calib.R3[3 * i + 2] * P[2] + calib.T3[i];
        const double u = calib.K3[0] * Q[0] / Q[2] + calib.K3[2], v = calib.K3[4] * Q[1] / Q[2] + calib.K3[5];
        pixels.push_back({int(u) + rng.below(5) - 2, int(v) + rng.below(5) - 2});
    }
    pixels.push_back({-3, 1000});
    for (double maxDistance : {0.5, 3.0, 50.0}) {
        Point3dList matched(2, {1.0, 1.0, 1.0});
        a.RGB2Cloud(pixels, cloud, maxDistance, matched);
        w.points("cloud.RGB2Cloud.d" + std::to_string(int(maxDistance * 10)), matched);
    }
    {  // empty inputs
        Point3dList matched(2, {1.0, 1.0, 1.0}), none(2, {1.0, 1.0, 1.0}), map(3, {1.0, 1.0, 1.0}), out(2, {1.0, 1.0, 1.0});
        a.RGB2Cloud({}, cloud, 3.0, matched);
        a.RGB2Cloud(pixels, Point3dList{}, 3.0, none);
        a.GetDepth({}, map);
        int count = -1;
        a.Downsample(Point3dList{}, out, 1.0f, count);
        std::vector<std::pair<std::array<double, 6>, bool>> colored(3);
        a.GetRGBpoint(std::make_tuple(std::vector<unsigned char>(12, 1), 2, 2), Point3dList{}, colored);
        w.points("cloud.RGB2Cloud.noPixels", matched);
        w.points("cloud.RGB2Cloud.noCloud", none);
        w.points("cloud.GetDepth.noProfiles", map);
        w.points("cloud.Downsample.empty", out);
        w.ints("cloud.empty.counts", {count, int(colored.size())});
    }
    const int iw = 700, ih = 560;
    std::vector<unsigned char> bytes(std::size_t(iw) * ih * 3);
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<unsigned char>((i * 7 + i / 2101) & 255);
    for (int variant = 0; variant < 2; ++variant) {
        const auto image = std::make_tuple(bytes, variant ? 150 : iw, variant ? 40 : ih);
        std::vector<std::pair<std::array<double, 6>, bool>> colored;
        a.GetRGBpoint(image, cloud, colored);
        std::vector<double> flat;
        Mask flags(colored.size());
        for (std::size_t i = 0; i < colored.size(); ++i) {
            flat.insert(flat.end(), colored[i].first.begin(), colored[i].first.end());
            flags[i] = colored[i].second;
        }
        w.doubles("cloud.GetRGBpoint." + std::to_string(variant), flat);
        w.bools("cloud.GetRGBpoint." + std::to_string(variant) + ".flags", flags.data(), flags.n);
    }
}

// A wide-angle lens (strong distortion far from the axis) shared by camera 1 and the colour camera:
// thousands of points over the whole field, so rounding details of the projection show in the pixels.
void wideField(Writer& w, Rng& rng) {
    XeloraAlgo a;
    const int W = 260, H = 200;
    auto r = roi(0, 0, W, H);
    a.SetROIInfo(&r);
    XELORAALGO::tagXeloraAlgoCalibrationInfo calib{};
    const double K[9] = {100.0, 0, 130.3, 0, 100.0, 100.2, 0, 0, 1}, D[5] = {-0.2, 0.37, 0.0013, -0.0021, 0.0};
    for (int k = 0; k < 9; ++k) calib.K1[k] = calib.K3[k] = K[k];
    for (int k = 0; k < 5; ++k) calib.D1[k] = calib.D3[k] = D[k];
    calib.R3[0] = calib.R3[4] = calib.R3[8] = 1.0;
    setCalibration(a, calib);
    std::vector<Point3dList> profiles(30);
    Point3dList cloud;
    for (auto& prof : profiles)
        for (int k = 0; k < 100; ++k) {
            const double z = rng.range(1.0, 3.0);
            prof.push_back({rng.range(-1.0, 1.0) * z, rng.range(-0.8, 0.8) * z, z});
            cloud.push_back(prof.back());
        }
    // Points at Z = 1 whose column (plus 0.5 for the depth image) lies at a pixel border, far from the
    // axis: the two floats either side of it, found by bisection on the float projection.
    const auto column = [&D](float x, float y) {
        const float r2 = x * x + y * y, r4 = r2 * r2;
        const float rho = 1.0f + float(D[0]) * r2 + float(D[1]) * r4;
        return 100.0f * (x * rho + 2.0f * float(D[2]) * x * y + float(D[3]) * (r2 + 2.0f * x * x)) + 130.3f;
    };
    for (float shift : {0.5f, 0.0f}) {
        Point3dList border;
        for (int k = 0; k < 1000; ++k) {
            const float y = float(rng.range(0.3, 0.6)) * (rng.chance(50) ? 1.0f : -1.0f);
            const float target = float(190 + rng.below(60));
            float lo = 0.3f, hi = 1.2f;
            for (int it = 0; it < 60; ++it) {
                const float mid = lo + (hi - lo) * 0.5f;
                (column(mid, y) + shift < target ? lo : hi) = mid;
            }
            border.push_back({double(lo), double(y), 1.0});
            border.push_back({double(hi), double(y), 1.0});
        }
        if (shift > 0.0f) profiles.push_back(border);
        else cloud.insert(cloud.end(), border.begin(), border.end());
    }
    Point3dList depth;
    a.GetDepth(profiles, depth);
    w.points("cloud.wide.GetDepth", depth);
    std::vector<unsigned char> bytes(std::size_t(W) * H * 3);
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<unsigned char>(i / 3 % 251);
    std::vector<std::pair<std::array<double, 6>, bool>> colored;
    a.GetRGBpoint(std::make_tuple(bytes, W, H), cloud, colored);
    std::vector<double> flat;
    for (const auto& c : colored) flat.push_back(c.second ? c.first[3] + 256.0 * c.first[4] : -1.0);
    w.doubles("cloud.wide.GetRGBpoint", flat);
    std::vector<std::array<int, 2>> pixels;
    for (int k = 0; k < 400; ++k) pixels.push_back({rng.below(W), rng.below(H)});
    for (double maxDistance : {0.3, 1.0}) {
        Point3dList matched;
        a.RGB2Cloud(pixels, cloud, maxDistance, matched);
        w.points("cloud.wide.RGB2Cloud.d" + std::to_string(int(maxDistance * 10)), matched);
    }
}

void fitting(Writer& w, XeloraAlgo& a, Rng& rng) {
    Point3dList pts;
    for (int k = 0; k < 300; ++k) {
        const double x = rng.range(-2.0, 2.0), y = rng.range(-1.5, 1.5);
        pts.push_back({x, y, 1.0 + 0.5 * x - 0.25 * y + 0.3 * x * x * y - 0.1 * y * y * y + rng.range(-0.01, 0.01)});
    }
    const Point3dList three = {{0, 0, 1}, {1, 0, 2}, {0, 1, 3}};
    const auto fit = [&a](int f, const Point3dList& p, std::vector<float>& c) {
        switch (f) {
            case 0: a.PlaneFitPoly11(p, c); break;
            case 1: a.PlaneFitPoly22(p, c); break;
            case 2: a.PlaneFitPoly33(p, c); break;
            case 3: a.PlaneFitPoly55(p, c); break;
            default: a.PlaneFitPoly1010(p, c); break;
        }
    };
    const char* names[5] = {"PlaneFitPoly11", "PlaneFitPoly22", "PlaneFitPoly33", "PlaneFitPoly55", "PlaneFitPoly1010"};
    for (int f = 0; f < 5; ++f) {
        std::vector<float> coef(2, 5.0f);
        fit(f, pts, coef);
        w.floats(std::string("fitting.") + names[f], coef);
        std::vector<float> none(2, 5.0f);
        fit(f, Point3dList{}, none);
        w.floats(std::string("fitting.") + names[f] + ".empty", none);
    }
    std::vector<float> c3;
    a.PlaneFitPoly11(three, c3);
    w.floats("fitting.PlaneFitPoly11.three", c3);
    std::vector<double> x, y;
    for (int k = 0; k < 40; ++k) {
        x.push_back(rng.range(-3.0, 3.0));
        y.push_back(2.0 - x.back() + 0.5 * x.back() * x.back() * x.back() + rng.range(-0.05, 0.05));
    }
    std::vector<double> values;
    for (int degree : {-1, 0, 1, 3, 6}) {
        const auto c = a.polynomialFit(x, y, degree);
        w.doubles("fitting.polynomialFit.d" + std::to_string(degree), c);
        for (double at : {-2.5, 0.0, 0.7, 3.0}) values.push_back(a.evaluatePolynomial(c, at));
    }
    values.push_back(a.evaluatePolynomial({}, 4.0));
    values.push_back(a.evaluatePolynomial({1.5}, 1e300));
    w.doubles("fitting.evaluatePolynomial", values);
}

}  // namespace

void dumpCloudAndFitting(Writer& w) {
    XeloraAlgo a;
    Rng rng(0x5EED0006);
    clouds(w, a, rng);
    wideField(w, rng);
    fitting(w, a, rng);
}

}  // namespace golden
