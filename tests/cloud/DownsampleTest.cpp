// Downsample: the worked bins, pass-through cases, truncation toward zero, dropped and ignored entries.
#include <gtest/gtest.h>

#include <vector>

#include "XeloraAlgo.h"

using XELORAALGO::XeloraAlgo;
using Cloud = std::vector<std::array<double, 3>>;

namespace {

const std::array<double, 3> kZero{0.0, 0.0, 0.0};

struct Profiler {
    XeloraAlgo algo;
    explicit Profiler(int h) {
        XELORAALGO::tagXeloraAlgoROIInfo roi{0, 0, 8, h};
        algo.SetROIInfo(&roi);
    }
};

}  // namespace

TEST(Downsample, ElevenEntriesIntoSixBins) {
    // x = 0.5, 1.5, ..., 10.5 with y = 2x and z = 100 + x, invalid entries (x = 0) in between,
    // width 2: b0 = 0, b_last = 5; bins hold {0.5, 1.5}, {2.5, 3.5}, ..., {10.5}.
    Profiler p(16);
    Cloud in;
    for (int i = 0; i < 11; ++i) {
        const double x = 0.5 + i;
        in.push_back({x, 2 * x, 100 + x});
        if (i == 3) in.push_back({0.0, 7.0, 9.0});
    }
    Cloud out{{1, 2, 3}};
    int count = -1;
    p.algo.Downsample(in, out, 2.0f, count);
    EXPECT_EQ(count, 6);
    ASSERT_EQ(out.size(), 16u);
    const double mx[6] = {1.0, 3.0, 5.0, 7.0, 9.0, 10.5};
    for (int b = 0; b < 6; ++b) {
        EXPECT_EQ(out[static_cast<std::size_t>(b)][0], mx[b]);
        EXPECT_EQ(out[static_cast<std::size_t>(b)][1], 2 * mx[b]);
        EXPECT_EQ(out[static_cast<std::size_t>(b)][2], 100 + mx[b]);
    }
    for (std::size_t i = 6; i < 16; ++i) EXPECT_EQ(out[i], kZero);
}

TEST(Downsample, PassThroughCases) {
    Profiler p(20);
    int count = -1;
    Cloud out;

    // Ten valid entries: copied, count 10, no padding.
    Cloud ten;
    for (int i = 0; i < 10; ++i) ten.push_back({1.0 + i, 0.0, 5.0});
    ten.push_back(kZero);
    p.algo.Downsample(ten, out, 3.0f, count);
    EXPECT_EQ(count, 10);
    EXPECT_EQ(out, Cloud(ten.begin(), ten.begin() + 10));

    // Bins not wider than the mean spacing (1.0): copied.
    Cloud twelve;
    for (int i = 0; i < 12; ++i) twelve.push_back({1.0 + i, 1.0 * i, 5.0});
    p.algo.Downsample(twelve, out, 1.0f, count);
    EXPECT_EQ(count, 12);
    EXPECT_EQ(out, twelve);

    // Descending x: the mean spacing is negative: copied.
    Cloud down(twelve.rbegin(), twelve.rend());
    p.algo.Downsample(down, out, 5.0f, count);
    EXPECT_EQ(count, 12);
    EXPECT_EQ(out, down);

    // Only the first h entries are read: with h = 12 the entries from 12 on are ignored, leaving ten.
    Profiler shortRoi(12);
    Cloud fourteen = twelve;
    fourteen[3] = kZero;
    fourteen[7] = kZero;
    fourteen.push_back({50.0, 0.0, 0.0});
    fourteen.push_back({60.0, 0.0, 0.0});
    shortRoi.algo.Downsample(fourteen, out, 4.0f, count);
    EXPECT_EQ(count, 10);
    EXPECT_EQ(out.size(), 10u);
    EXPECT_EQ(out.back()[0], 12.0);
}

TEST(Downsample, TruncationTowardZeroAndDroppedEntries) {
    // x = -5.5 ... 5.5 (twelve entries), width 2: trunc(x / 2) gives -2 (two entries), -1 (two), 0 (four:
    // -1.5, -0.5, 0.5, 1.5), 1 (two), 2 (two): five points, the middle one at x = 0.
    Profiler p(14);
    Cloud in;
    for (int i = 0; i < 12; ++i) in.push_back({-5.5 + i, 1.0, 10.0 + i});
    Cloud out;
    int count = 0;
    p.algo.Downsample(in, out, 2.0f, count);
    EXPECT_EQ(count, 5);
    ASSERT_EQ(out.size(), 14u);
    EXPECT_EQ(out[0][0], -5.0);
    EXPECT_EQ(out[2][0], 0.0);
    EXPECT_EQ(out[2][2], (14.0 + 15.0 + 16.0 + 17.0) / 4.0);
    EXPECT_EQ(out[4][0], 5.0);

    // An entry out of order whose bin lies before the first bin is dropped; the means are over what
    // stays. Here x = 2.2 is replaced by x = -7 (trunc(-7 / 3) - 0 = -2 < 0).
    Cloud odd;
    for (int i = 0; i < 12; ++i) odd.push_back({0.2 + i, 0.0, 1.0});
    odd[2][0] = -7.0;
    p.algo.Downsample(odd, out, 3.0f, count);
    // bins trunc(x / 3): {0.2, 1.2}, {3.2, 4.2, 5.2}, {6.2, 7.2, 8.2}, {9.2, 10.2, 11.2}
    EXPECT_EQ(count, 4);
    EXPECT_DOUBLE_EQ(out[0][0], 0.7);
    EXPECT_DOUBLE_EQ(out[1][0], 4.2);
    EXPECT_DOUBLE_EQ(out[3][0], 10.2);
}
