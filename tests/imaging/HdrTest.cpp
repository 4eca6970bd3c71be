// HDR exposure proposals (AutoHDR1, AutoHDR2) and merging (CalHDRFuse).
#include <algorithm>
#include <array>
#include <vector>

#include <gtest/gtest.h>

#include "ImagingTestUtil.h"
#include "XeloraAlgo.h"

using namespace XELORAALGO;

namespace {

using Pixel = std::array<int, 3>;  // bytes of captures 0, 1, 2 at one frame index

Pixel linear(int a) { return {a, 2 * a, 3 * a}; }

struct Hdr {
    XeloraAlgo algo;
    std::vector<std::vector<unsigned char>> planes;
    std::vector<unsigned char*> ptr;
    // Frame of a w x h ROI with 2*w*h bytes; missing pixels are (0, 0, 0).
    Hdr(int w, int h, const std::vector<Pixel>& pixels) : planes(3, std::vector<unsigned char>(2 * w * h, 0)) {
        imagingtest::setRoi(algo, w, h);
        for (std::size_t i = 0; i < pixels.size(); ++i)
            for (int k = 0; k < 3; ++k) planes[k][i] = static_cast<unsigned char>(pixels[i][k]);
        ptr = imagingtest::pointers(planes);
    }
    std::array<int, 2> run(bool first, int mode, std::vector<double> times, int n, int divisor, int target,
                           int lower, int upper) {
        int res[2] = {-77, -77};
        const std::vector<double> before = times;
        if (first)
            algo.AutoHDR1(ptr.data(), mode, times.data(), n, divisor, target, lower, upper, res);
        else
            algo.AutoHDR2(ptr.data(), mode, times.data(), n, divisor, target, lower, upper, res);
        EXPECT_EQ(times, before);  // the exposure times are only read
        return {res[0], res[1]};
    }
};

std::vector<Pixel> linearRange(int from, int to) {
    std::vector<Pixel> p;
    for (int a = from; a <= to; ++a) p.push_back(linear(a));
    return p;
}

}  // namespace

// Levels proportional to the exposure time: after normalisation the bright part's line passes
// through (e0, 8) and the origin, the dark part's through (e0, 2.5), so the target 101 is reached at
// 101 * 4 / 8 = 50.5 and 101 * 4 / 2.5 = 161.6.
TEST(AutoHDR1, LinearResponseGivesTargetTimesFirstExposureOverEightAndTwoAndAHalf) {
    Hdr hdr(4, 2, linearRange(1, 16));
    EXPECT_EQ(hdr.run(true, 2, {4, 8, 12}, 3, 2, 101, 1, 1000), (std::array<int, 2>{50, 161}));
    EXPECT_EQ(hdr.run(true, 2, {4, 8, 12}, 2, 2, 101, 1, 1000), (std::array<int, 2>{50, 161}));
    EXPECT_EQ(hdr.run(true, 2, {1, 2, 3}, 3, 2, 101, 1, 1000), (std::array<int, 2>{12, 40}));
}

// Without normalisation the line of a part has slope equal to its mean response a: with a = 1 ... 16
// and the median cut at L[8] = 27, the bright part (a = 9 ... 16) reaches 1010 at 1010 / 12.5 and the
// dark part (a = 1 ... 8) at 1010 / 4.5.
TEST(AutoHDR2, FitsTheRawLevels) {
    Hdr hdr(4, 2, linearRange(1, 16));
    EXPECT_EQ(hdr.run(false, 2, {1, 2, 3}, 3, 2, 1010, 1, 10000), (std::array<int, 2>{80, 224}));
}

// Nine pixels with responses a = 5, 10, ..., 45 (capture 2 = 3a). q = c1 / divisor; the dark part
// takes the values below L[q], the bright part those at or above L[q * (divisor - 1)].
TEST(AutoHDR2, QuantileCutsSplitTheSortedValues) {
    std::vector<Pixel> p;
    for (int a : {25, 5, 45, 15, 35, 10, 40, 30, 20}) p.push_back(linear(a));  // any order
    Hdr hdr(3, 2, p);
    // Divisor 4: q = 2, dark a in {5, 10} (mean 7.5), bright a in {35, 40, 45} (mean 40).
    EXPECT_EQ(hdr.run(false, 2, {1, 2, 3}, 3, 4, 1010, 1, 10000), (std::array<int, 2>{25, 134}));
    // Divisor 3: q = 3, dark a in {5 ... 15} (mean 10), bright a in {35, 40, 45}.
    EXPECT_EQ(hdr.run(false, 2, {1, 2, 3}, 3, 3, 1010, 1, 10000)[0], 25);
    // Divisor 2: both cuts at the median L[4] (a = 25): bright mean 35, dark mean 12.5.
    EXPECT_EQ(hdr.run(false, 2, {1, 2, 3}, 3, 2, 1010, 1, 10000), (std::array<int, 2>{28, 80}));
}

// The rise capture 2 - capture 0 must lie strictly between the bounds of the mode. A lone qualifying
// pixel forms the bright part (the dark part, below it, is empty and gets the lower limit).
TEST(AutoHDR1, ModeSelectsTheRiseBounds) {
    struct Case {
        int mode;
        Pixel pixel;
        bool qualifies;
    };
    const Case cases[] = {
        {0, {10, 17, 25}, false},  {0, {8, 16, 24}, true},    {0, {21, 120, 220}, true},
        {0, {20, 120, 220}, false}, {1, {50, 50, 50}, false},  {1, {50, 51, 51}, true},
        {1, {50, 90, 149}, true},   {1, {50, 90, 150}, false}, {7, {50, 50, 51}, true},
        {7, {50, 60, 51}, true},    {7, {20, 120, 220}, false}, {7, {21, 120, 220}, true},
    };
    for (const Case& c : cases) {
        Hdr hdr(2, 2, {c.pixel});
        const auto r = hdr.run(true, c.mode, {1, 2, 3}, 3, 2, 101, -1000, 1000);
        EXPECT_EQ(r[0] != -1000, c.qualifies) << "mode " << c.mode << " pixel " << c.pixel[0] << ","
                                              << c.pixel[1] << "," << c.pixel[2] << " -> " << r[0];
        EXPECT_EQ(r[1], -1000);
    }
    // Worked values: (8, 16, 24) is linear, 101 / 8 = 12.6; (21, 120, 220) gives 3.46.
    EXPECT_EQ(Hdr(2, 2, {{8, 16, 24}}).run(true, 0, {1, 2, 3}, 3, 2, 101, 0, 1000)[0], 12);
    EXPECT_EQ(Hdr(2, 2, {{21, 120, 220}}).run(true, 0, {1, 2, 3}, 3, 2, 101, 0, 1000)[0], 3);
}

TEST(AutoHDR1, LimitsOfTheTwoParts) {
    Hdr hdr(4, 2, linearRange(1, 16));  // solutions 12 (bright) and 40 (dark)
    // At or above the upper limit: the bright part gets the limit minus 1, the dark part the limit.
    EXPECT_EQ(hdr.run(true, 2, {1, 2, 3}, 3, 2, 101, 1, 12), (std::array<int, 2>{11, 12}));
    EXPECT_EQ(hdr.run(true, 2, {1, 2, 3}, 3, 2, 101, 1, 40), (std::array<int, 2>{12, 40}));
    EXPECT_EQ(hdr.run(true, 2, {1, 2, 3}, 3, 2, 101, 12, 1000), (std::array<int, 2>{12, 40}));
    EXPECT_EQ(hdr.run(true, 2, {1, 2, 3}, 3, 2, 101, 40, 1000), (std::array<int, 2>{40, 40}));
    EXPECT_EQ(hdr.run(true, 2, {1, 2, 3}, 3, 2, 101, 41, 1000), (std::array<int, 2>{41, 41}));
}

TEST(AutoHDR1, NothingQualifyingGivesTheLowerLimitTwice) {
    Hdr hdr(4, 2, std::vector<Pixel>(16, {100, 150, 100}));
    EXPECT_EQ(hdr.run(true, 0, {1, 2, 3}, 3, 2, 101, 3, 1000), (std::array<int, 2>{3, 3}));
    EXPECT_EQ(hdr.run(false, 1, {1, 2, 3}, 3, 4, 101, 3, 1000), (std::array<int, 2>{3, 3}));
    // One capture: the fit has no spread.
    Hdr lin(4, 2, linearRange(1, 16));
    EXPECT_EQ(lin.run(true, 2, {1, 2, 3}, 1, 2, 101, 3, 1000), (std::array<int, 2>{3, 3}));
}

namespace {

// Sequences of n two-camera frames of a w x h ROI: short frames hold 20 + k, long frames 100 + k,
// except where a test sets a value.
struct Sequences {
    int w, h, n;
    std::vector<std::vector<unsigned char>> shortSeq, longSeq, out1, out2;
    Sequences(int w_, int h_, int n_) : w(w_), h(h_), n(n_) {
        for (int k = 0; k < n; ++k) {
            shortSeq.emplace_back(2 * w * h, static_cast<unsigned char>(20 + k));
            longSeq.emplace_back(2 * w * h, static_cast<unsigned char>(100 + k));
            out1.emplace_back(w * h, 0);
            out2.emplace_back(w * h, 0);
        }
    }
    void fuse() {
        XeloraAlgo algo;
        imagingtest::setRoi(algo, w, h);
        auto s = imagingtest::pointers(shortSeq), l = imagingtest::pointers(longSeq);
        auto o1 = imagingtest::pointers(out1), o2 = imagingtest::pointers(out2);
        algo.CalHDRFuse(s.data(), l.data(), o1.data(), o2.data(), n);
    }
};

}  // namespace

TEST(CalHDRFuse, TakesSaturatedPixelsFromTheShortExposure) {
    const int w = 3, h = 2, n = 11;
    Sequences seq(w, h, n);
    auto at = [&](int frameRow, int col) { return frameRow * w + col; };
    // frame row 0 (camera 1, row 0)
    seq.longSeq[10][at(0, 0)] = 230, seq.shortSeq[7][at(0, 0)] = 80;  // short
    seq.longSeq[7][at(0, 1)] = 229, seq.shortSeq[9][at(0, 1)] = 255;  // long: not saturated
    seq.longSeq[8][at(0, 2)] = 255, seq.shortSeq[10][at(0, 2)] = 79;  // long: short too dark
    // frame row 1 (camera 2, row 0)
    seq.longSeq[6][at(1, 0)] = 255, seq.shortSeq[8][at(1, 0)] = 200;  // long: frame 6 does not decide
    seq.shortSeq[0][at(1, 1)] = 200, seq.longSeq[9][at(1, 1)] = 250;  // long: frame 0 does not decide
    seq.longSeq[9][at(1, 2)] = 240, seq.shortSeq[8][at(1, 2)] = 90;   // short
    // frame rows 2 and 3 (row 1 of both cameras)
    seq.longSeq[7][at(2, 1)] = 231, seq.shortSeq[10][at(2, 1)] = 81;  // short
    seq.longSeq[8][at(3, 2)] = 250, seq.shortSeq[7][at(3, 2)] = 120;  // short
    const std::vector<int> shortPixels = {at(0, 0), at(1, 2), at(2, 1), at(3, 2)};

    seq.fuse();
    for (int k = 0; k < n; ++k) {
        for (int frameRow = 0; frameRow < 2 * h; ++frameRow) {
            for (int c = 0; c < w; ++c) {
                const int j = at(frameRow, c);
                const bool fromShort =
                    std::find(shortPixels.begin(), shortPixels.end(), j) != shortPixels.end();
                const unsigned char expected = fromShort ? seq.shortSeq[k][j] : seq.longSeq[k][j];
                // Even frame rows belong to the first camera, odd rows to the second.
                const auto& out = (frameRow % 2 == 0) ? seq.out1 : seq.out2;
                EXPECT_EQ(out[k][(frameRow / 2) * w + c], expected)
                    << "frame " << k << " row " << frameRow << " col " << c;
            }
        }
    }
    // Spot checks with literal values: the whole sequence of a pixel comes from one exposure.
    EXPECT_EQ(seq.out1[0][0], 20);    // short, frame 0
    EXPECT_EQ(seq.out1[10][0], 30);   // short, frame 10
    EXPECT_EQ(seq.out1[0][1], 100);   // long
    EXPECT_EQ(seq.out2[0][1], 100);   // long (the short 200 of frame 0 is not taken)
    EXPECT_EQ(seq.out2[8][2], 90);    // short
}

TEST(CalHDRFuse, FourFramesAllDecide) {
    Sequences seq(2, 1, 4);
    seq.longSeq[0][0] = 240, seq.shortSeq[0][0] = 85;  // frame 0 of 4 decides
    seq.fuse();
    for (int k = 0; k < 4; ++k) {
        EXPECT_EQ(seq.out1[k][0], k == 0 ? 85 : 20 + k);
        EXPECT_EQ(seq.out1[k][1], 100 + k);
        EXPECT_EQ(seq.out2[k][0], 100 + k);
    }
}
