// Golden dump: line centres, stripe extraction and tracking, undistortion, row matching,
// triangulation and list smoothing on small generated images and lists.
#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "Golden.h"

namespace golden {
namespace {

using XELORAALGO::Point2dList;
using XELORAALGO::Point3dList;
using XELORAALGO::XeloraAlgo;

void centres(Writer& w, XeloraAlgo& a, Rng& rng) {
    std::vector<double> out;
    const std::vector<std::vector<int>> pos = {{}, {5}, {3, 4, 5}, {10, 11, 12, 13}, {7, 9}, {2, 3, 4}};
    const std::vector<std::vector<int>> wts = {{}, {9}, {1, 2, 1}, {0, 0, 0, 0}, {-3, 5}, {255, 255, 254}};
    for (std::size_t k = 0; k < pos.size(); ++k) {
        std::array<double, 2> c = {-1.5, -2.5};
        a.CalLineCenter(int(k) * 3, pos[k], wts[k], c);
        out.insert(out.end(), c.begin(), c.end());
    }
    for (int k = 0; k < 8; ++k) {
        std::vector<int> p, q;
        for (int j = 0; j < 1 + rng.below(9); ++j) {
            p.push_back(rng.below(2000));
            q.push_back(rng.below(256));
        }
        std::array<double, 2> c = {-1.5, -2.5};
        a.CalLineCenter(rng.below(1000), p, q, c);
        out.insert(out.end(), c.begin(), c.end());
    }
    w.doubles("laserline.CalLineCenter", out);
    out.clear();
    const int weights[12] = {0, 3, 9, 27, 9, 3, 0, 0, 255, 1, 0, 0};
    for (int start : {0, 7, 1279})
        for (int count : {0, 1, 3, 7, 12})
            for (int first : {0, 6}) {
                std::array<double, 2> c = {-1.5, -2.5};
                const int skip = first < 12 - count ? first : 12 - count;
                a.CalLineCenter_new(start / 3, start, count, weights + skip, c);
                out.insert(out.end(), c.begin(), c.end());
            }
    w.doubles("laserline.CalLineCenter_new", out);
}

// A small scene: stripes near both borders, double stripes, flat-topped and single-pixel ones,
// empty rows and random speckle.
std::vector<unsigned char> scene(Rng& rng, int W, int H, int background) {
    std::vector<unsigned char> img(std::size_t(W) * H, static_cast<unsigned char>(background));
    for (int r = 0; r < H; ++r) {
        const int kind = r % 8;
        const int c = kind == 0 ? 10 + r % 7 : kind == 1 ? W - 15 : 25 + (r * 3) % (W - 50);
        const int prof[7] = {20, 60, 140, 200, 140, 60, 20};
        if (kind == 7) continue;
        for (int k = 0; k < 7; ++k) {
            const int x = c - 3 + k;
            if (x >= 0 && x < W) img[r * W + x] = static_cast<unsigned char>(background + (kind == 4 ? 150 : prof[k]) > 255 ? 255 : background + (kind == 4 ? 150 : prof[k]));
        }
        if (kind == 5 && c + 20 < W) img[r * W + c + 20] = 230;
        if (kind == 6 && c + 12 < W)
            for (int k = 0; k < 5; ++k) img[r * W + c + 10 + k] = static_cast<unsigned char>(background + 60);
        if (rng.chance(30)) img[r * W + rng.below(W)] = static_cast<unsigned char>(background + rng.below(256 - background));
    }
    return img;
}

void extraction(Writer& w, XeloraAlgo& a, Rng& rng) {
    const int W = 90, H = 48, ox = 30, oy = 200;
    auto r = roi(ox, oy, W, H);
    a.SetROIInfo(&r);
    for (int background : {0, 25}) {
        auto img = scene(rng, W, H, background);
        const std::string t = "laserline.b" + std::to_string(background);
        for (int off = 0; off < 2; ++off) {
            Point2dList pts(H, {0.0, 0.0});
            Mask m(H);
            a.lineExtract4(off == 1, img.data(), pts, m.data(), 1, 2, 3, 4, 5, {off * 7, off * 3});
            w.points(t + ".lineExtract4.o" + std::to_string(off), pts);
            w.bools(t + ".lineExtract4.o" + std::to_string(off) + ".mask", m.data(), H);
        }
        for (int span : {300, 3 * (oy + 40)}) {
            Point2dList pts(H, {0.0, 0.0});
            Mask m(H);
            a.lineExtract5(img.data(), pts, m.data(), 0, 0, {0, 0}, span, 3 * oy + 60);
            w.points(t + ".lineExtract5.s" + std::to_string(span), pts);
            w.bools(t + ".lineExtract5.s" + std::to_string(span) + ".mask", m.data(), H);
        }
        Point2dList p1(3, {1.0, 1.0}), p2;
        a.GetCloudPoint_New_600_1(img.data(), p1);
        a.GetCloudPoint_New_600_2(img.data(), p2);
        w.points(t + ".GetCloudPoint_New_600_1", p1);
        w.points(t + ".GetCloudPoint_New_600_2", p2);
    }
    // A ROI narrower than 33 columns gives no line to the tracker.
    auto narrow = roi(0, 0, 30, 10);
    a.SetROIInfo(&narrow);
    auto img = scene(rng, 30, 10, 0);
    Point2dList p;
    a.GetCloudPoint_New_600_1(img.data(), p);
    w.points("laserline.narrow.GetCloudPoint_New_600_1", p);
}

void lists(Writer& w, XeloraAlgo& a, Rng& rng) {
    const int H = 60;
    auto r = roi(100, 50, 200, H);
    a.SetROIInfo(&r);
    const double C2[3] = {150.0, 0.0, 10.0};
    auto calib = stereoHead(2000.0, 180.0, 75.0, 0.2, C2, true);
    const double F[9] = {0, 0, 0, 0, 0, -1, 0, 1, 0};  // residual |row 1 - row 2|
    for (int k = 0; k < 9; ++k) calib.F[k] = F[k];
    setCalibration(a, calib);
    Point2dList base(H);
    for (int k = 0; k < H; ++k)
        base[k] = {rng.chance(15) ? 0.0 : 40.0 + 0.3 * k + rng.range(-1.0, 1.0) + (k > 40 ? 9.0 : 0.0), double(k)};
    for (bool first : {true, false}) {
        Point2dList p = base;
        a.UndistortPoints2(first, p);
        w.points(std::string("laserline.UndistortPoints2.") + (first ? "1" : "2"), p);
    }
    // Matching with the F above, then triangulation.
    Point2dList p1 = base, p2 = base;
    Mask m1(H), m2(H);
    for (int k = 0; k < H; ++k) {
        p2[k] = {base[k][0] > 0 ? base[k][0] - 12.0 : 0.0, k + (rng.chance(20) ? rng.range(-0.3, 0.3) : 0.0)};
        m1[k] = base[k][0] > 0;
        m2[k] = p2[k][0] > 0;
    }
    std::vector<int> matches(H, -1);
    a.MatchLine(p1, p2, m1.data(), m2.data(), matches);
    w.ints("laserline.MatchLine", matches);
    w.bools("laserline.MatchLine.mask1", m1.data(), H);
    Point3dList cloud, pixel;
    a.Calpoint(p1, p2, m1.data(), matches, cloud, pixel);
    w.points("laserline.Calpoint.cloud", cloud);
    w.points("laserline.Calpoint.pixelDepth", pixel);
    for (int half : {1, 3}) {
        Point3dList c;
        a.Calpoint_smooth(p1, p2, half, m1.data(), matches, c);
        w.points("laserline.Calpoint_smooth.h" + std::to_string(half), c);
    }
    for (int half : {1, 2, 5})
        for (bool enable : {true, false}) {
            Point2dList p = base;
            a.FitLineFunction_V(p, half, enable);
            w.points("laserline.FitLineFunction_V.h" + std::to_string(half) + (enable ? ".on" : ".off"), p);
        }
    for (int half : {1, 2, 4}) {
        Point2dList p = base;
        a.Gaussianfilter(p, half);
        w.points("laserline.Gaussianfilter.h" + std::to_string(half), p);
    }
    Point2dList empty;
    a.Gaussianfilter(empty, 2);
    a.FitLineFunction_V(empty, 2, true);
    w.points("laserline.emptyLists", empty);
}

}  // namespace

void dumpLaserLine(Writer& w) {
    XeloraAlgo a;
    Rng rng(0x5EED0005);
    centres(w, a, rng);
    extraction(w, a, rng);
    lists(w, a, rng);
}

}  // namespace golden
