// Sub-pixel accuracy of every extractor on synthetic stripes with a Gaussian profile centred on a
// known, slowly drifting sub-pixel column. The errors are printed for the record.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <vector>

#include "LineTestUtil.h"
#include "laserline/laserline.h"

using namespace XELORAALGO;
using namespace linetest;

namespace {

constexpr int W = 160, H = 120;

double truth(int r) { return 50.3 + 0.137 * r; }  // every sub-pixel phase occurs

struct Err {
    double mean = 0, max = 0;
    int rows = 0;
};

// Errors over rows 2 .. H-3 (the tracker and the blur pipeline leave the outer rows empty).
Err measure(const Point2dList& pts) {
    Err e;
    for (int r = 2; r <= H - 3; ++r) {
        if (!(pts[r][0] > 0.0)) continue;
        const double d = std::fabs(pts[r][0] - truth(r));
        e.mean += d;
        e.max = std::max(e.max, d);
        ++e.rows;
        EXPECT_EQ(pts[r][1], static_cast<double>(r));
    }
    if (e.rows) e.mean /= e.rows;
    return e;
}

enum class Extractor { E4, E5, C1, C2 };

Err extract(Extractor which, double sigma, double amplitude, int background) {
    const auto img = gaussianStripe(W, H, truth, sigma, amplitude, background);
    AlgoEngine e;
    setRoi(e, W, H);
    Point2dList pts(H);
    std::vector<char> mask(H, 0);
    auto* m = reinterpret_cast<bool*>(mask.data());
    auto* data = const_cast<unsigned char*>(img.data());
    switch (which) {
        case Extractor::E4: laserline::lineExtract4(e, data, pts, m, {0, 0}); break;
        case Extractor::E5: laserline::lineExtract5(e, data, pts, m, 0, 0); break;
        case Extractor::C1: laserline::GetCloudPoint_New_600_1(e, data, pts); break;
        case Extractor::C2: laserline::GetCloudPoint_New_600_2(e, data, pts); break;
    }
    return measure(pts);
}

const char* name(Extractor x) {
    switch (x) {
        case Extractor::E4: return "lineExtract4";
        case Extractor::E5: return "lineExtract5";
        case Extractor::C1: return "GetCloudPoint_New_600_1";
        default: return "GetCloudPoint_New_600_2";
    }
}

// Bounds: a centroid over the whole lit profile of a rounded Gaussian is within a few hundredths of
// a pixel (lineExtract4). Cuts that do not follow the true centre pull the result towards the
// brightest pixel: the value threshold of the weight map (600_1, about a tenth of a pixel), the
// +-3 window about the brightest pixel (lineExtract5) and the trimming of 600_2 to the pixels
// within 40 of the peak (both up to about a third of a pixel: a centroid of 3 to 7 samples taken
// symmetrically about the brightest sample). A wrong window or column offset costs 0.5 px or more.
TEST(SubpixelAccuracy, GaussianStripesOfWidth1_5) {
    const struct {
        Extractor x;
        double maxErr;
    } cases[] = {{Extractor::E4, 0.02}, {Extractor::E5, 0.15}, {Extractor::C1, 0.15}, {Extractor::C2, 0.4}};
    for (const auto& c : cases) {
        const Err e = extract(c.x, 1.5, 200.0, 0);
        std::printf("[ subpixel ] sigma 1.5 amplitude 200: %-24s rows %3d  mean |err| %.4f px  max %.4f px\n",
                    name(c.x), e.rows, e.mean, e.max);
        EXPECT_EQ(e.rows, H - 4) << name(c.x);
        EXPECT_LT(e.max, c.maxErr) << name(c.x);
    }
}

TEST(SubpixelAccuracy, WiderStripesOnBackground) {
    // sigma 2.5 on a background of 20 (lit for lineExtract4 everywhere: a run of the whole row
    // gives it no line, which is the documented behaviour for runs of 20 or more pixels).
    const struct {
        Extractor x;
        double maxErr;
    } cases[] = {{Extractor::E5, 0.4}, {Extractor::C1, 0.15}, {Extractor::C2, 0.4}};
    for (const auto& c : cases) {
        const Err e = extract(c.x, 2.5, 200.0, 20);
        std::printf("[ subpixel ] sigma 2.5 amplitude 200 background 20: %-24s rows %3d  mean |err| %.4f px  "
                    "max %.4f px\n",
                    name(c.x), e.rows, e.mean, e.max);
        EXPECT_EQ(e.rows, H - 4) << name(c.x);
        EXPECT_LT(e.max, c.maxErr) << name(c.x);
    }
    EXPECT_EQ(extract(Extractor::E4, 2.5, 200.0, 20).rows, 0);
}

}  // namespace
