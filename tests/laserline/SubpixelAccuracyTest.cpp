// Sub-pixel accuracy of every extractor on Gaussian stripes centred on a known, drifting sub-pixel
// column. The errors are printed for the record.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <utility>

#include "LineTestUtil.h"

using namespace linetest;

namespace {

constexpr int W = 160, H = 120;
double truth(int r) { return 50.3 + 0.137 * r; }  // every sub-pixel phase occurs

enum Extractor { E4, E5, C1, C2 };
const char* const kName[] = {"lineExtract4", "lineExtract5", "GetCloudPoint_New_600_1", "GetCloudPoint_New_600_2"};

// Worst error and number of rows with a line over rows 2 .. H-3 (the tracker and the blur pipeline
// leave the outer rows empty).
std::pair<double, int> measure(Extractor which, double sigma, int background) {
    auto img = gaussianStripe(W, H, truth, sigma, 200.0, background);
    AlgoEngine e = engine(W, H);
    Point2dList pts(H);
    Mask mask(H, 0);
    switch (which) {
        case E4: laserline::lineExtract4(e, img.data(), pts, B(mask), {0, 0}); break;
        case E5: laserline::lineExtract5(e, img.data(), pts, B(mask), 0, 0); break;
        case C1: laserline::GetCloudPoint_New_600_1(e, img.data(), pts); break;
        case C2: laserline::GetCloudPoint_New_600_2(e, img.data(), pts); break;
    }
    std::pair<double, int> err{0.0, 0};
    for (int r = 2; r <= H - 3; ++r) {
        if (!(pts[r][0] > 0.0)) continue;
        err.first = std::max(err.first, std::fabs(pts[r][0] - truth(r)));
        ++err.second;
        EXPECT_EQ(pts[r][1], static_cast<double>(r)) << kName[which];
    }
    return err;
}

// Bounds: lineExtract4's centroid over the whole lit profile is within a few hundredths of a pixel;
// the cuts of the others (weight threshold of 600_1, +-3 window of lineExtract5, trimming of 600_2
// to within 40 of the peak) pull towards the brightest pixel by up to a third of a pixel. A wrong
// window or column offset costs 0.5 px or more.
TEST(SubpixelAccuracy, GaussianStripesNarrowAndWideOnBackground) {
    const struct {
        Extractor x;
        double sigma;
        int background;
        double bound;
    } cases[] = {{E4, 1.5, 0, 0.02},  {E5, 1.5, 0, 0.15},  {C1, 1.5, 0, 0.15}, {C2, 1.5, 0, 0.4},
                 {E5, 2.5, 20, 0.4}, {C1, 2.5, 20, 0.15}, {C2, 2.5, 20, 0.4}};
    for (const auto& c : cases) {
        const auto [worst, rows] = measure(c.x, c.sigma, c.background);
        std::printf("[ subpixel ] sigma %.1f background %2d: %-24s rows %3d  max |err| %.4f px\n", c.sigma,
                    c.background, kName[c.x], rows, worst);
        EXPECT_EQ(rows, H - 4) << kName[c.x] << " sigma " << c.sigma;
        EXPECT_LT(worst, c.bound) << kName[c.x] << " sigma " << c.sigma;
    }
    // A background lit across the whole row is one run of 20+ pixels: lineExtract4 finds no line.
    EXPECT_EQ(measure(E4, 2.5, 20).second, 0);
}

}  // namespace
