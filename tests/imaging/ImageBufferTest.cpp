// Temporal frame filter CalcImageBuffer (its stored frame is process-wide) and image halving.
#include <algorithm>
#include <cstdlib>
#include <functional>
#include <random>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "ImagingTestUtil.h"

using namespace XELORAALGO;

namespace {

using Frame = std::vector<unsigned char>;

// The filter from its definition: the new value less the amount it changed, not below 0.
Frame filtered(Frame now, const Frame& before) {
    for (std::size_t i = 0; i < now.size(); ++i) now[i] = std::max(0, now[i] - std::abs(now[i] - before[i]));
    return now;
}

Frame randomFrame(std::size_t n, std::mt19937& rng) {
    Frame f(n);
    for (auto& b : f) b = static_cast<unsigned char>(rng() & 0xFF);
    return f;
}

Frame run(XeloraAlgo& a, Frame in, bool enable = true) {
    Frame out(in.size(), 0xCD);
    a.CalcImageBuffer(in.data(), out.data(), enable);
    return out;
}

// Every test starts from an empty stored frame.
struct ImageBuffer : ::testing::Test {
    XeloraAlgo algo;
    void SetUp() override { run(algo, Frame{}, false); }
};

}  // namespace

// Hand-worked: a grown byte gives its old value, a fallen one twice the new less the old, not below 0.
// Then random frames of another size (which starts over) with odd h, whose last camera-row pair lies
// outside both row bands; an in-place call stores the input; a disabled call forgets the frame.
TEST_F(ImageBuffer, FiltersASequenceOfFrames) {
    imagingtest::setRoi(algo, 4, 1);
    EXPECT_EQ(run(algo, {100, 120, 200, 50, 0, 255, 10, 30}), (Frame{100, 120, 200, 50, 0, 255, 10, 30}));
    EXPECT_EQ(run(algo, {120, 100, 90, 50, 255, 0, 11, 29}), (Frame{100, 80, 0, 50, 0, 0, 10, 28}));
    const int w = 5, h = 3;
    imagingtest::setRoi(algo, w, h);
    std::mt19937 rng(11);
    Frame previous;
    for (int k = 0; k < 6; ++k) {
        const Frame f = randomFrame(2 * w * h, rng);
        EXPECT_EQ(run(algo, f), k == 0 ? f : filtered(f, previous)) << "frame " << k;
        previous = f;
    }
    Frame f = randomFrame(2 * w * h, rng), inPlace = f;
    algo.CalcImageBuffer(inPlace.data(), inPlace.data(), true);
    EXPECT_EQ(inPlace, filtered(f, previous));
    EXPECT_EQ(run(algo, f), f);
    EXPECT_EQ(run(algo, f, false), Frame(f.size(), 0xCD));
    EXPECT_EQ(run(algo, previous), previous);
}

// Two handles filter their own frames from two threads at once (run under TSan too). The calls are
// serialised: each output is the whole frame filtered against one complete earlier frame.
TEST_F(ImageBuffer, ConcurrentCallsFromTwoHandlesAreSerialised) {
    const int w = 64, h = 33, rounds = 150;
    std::mt19937 rng(5);
    const Frame f1 = randomFrame(2 * w * h, rng), f2 = randomFrame(2 * w * h, rng);
    auto worker = [&](const Frame& mine, const Frame& theirs, int& good) {
        XeloraAlgo handle;
        imagingtest::setRoi(handle, w, h);
        const Frame afterOther = filtered(mine, theirs);
        for (int k = 0; k < rounds; ++k) {
            const Frame out = run(handle, mine);
            good += out == mine || out == afterOther;
        }
    };
    int good1 = 0, good2 = 0;
    std::thread t1(worker, std::cref(f1), std::cref(f2), std::ref(good1));
    std::thread t2(worker, std::cref(f2), std::cref(f1), std::ref(good2));
    t1.join(), t2.join();
    EXPECT_EQ(good1 + good2, 2 * rounds);  // neither thread saw a torn or mixed frame
    imagingtest::setRoi(algo, w, h);
    const Frame last = run(algo, f1);  // the stored frame is one of the two, whole
    EXPECT_TRUE(last == f1 || last == filtered(f1, f2));
}

// Halving with W = 2, H = 4: 2 x 2 blocks averaged with truncation ({1, 2, 3, 4} -> 2,
// {255, 255, 255, 254} -> 254) or, in DownSampling1 for all but the last four images, the top-left byte.
TEST(DownSampling, AveragesBlocksOrPicksTheTopLeftByte) {
    XeloraAlgo algo;
    const Frame src = {1, 2, 255, 255, 3, 4, 255, 254, 0, 0, 8, 9, 0, 1, 10, 11};
    const Frame averaged = {2, 254, 0, 9}, picked = {1, 255, 0, 8}, untouched(4, 0xAB);
    std::vector<Frame> s(6, src), d(6, untouched);
    auto ps = imagingtest::pointers(s), pd = imagingtest::pointers(d);
    algo.DownSampling1(ps.data(), pd.data(), 5, 2, 4);
    for (int k = 0; k < 6; ++k) EXPECT_EQ(d[k], k == 0 ? picked : k < 5 ? averaged : untouched) << k;
    algo.DownSampling2(ps.data() + 5, pd.data() + 5, 1, 2, 4);  // averages every image
    EXPECT_EQ(d[5], averaged);
    Frame out(5, 0xAB);
    algo.DownSampling3(s[0].data(), out.data(), 2, 4);
    EXPECT_EQ(out, (Frame{2, 254, 0, 9, 0xAB}));
}

// The mean level test reads its own width and height, not the ROI, and compares the integer mean.
TEST(CalPixelAverage, IntegerMeanOfTheGivenSizeBelowThreshold) {
    XeloraAlgo algo;
    std::vector<unsigned char> image = {10, 10, 12, 250, 250, 250};  // 2 x 3, but judged as 3 x 1 below
    EXPECT_TRUE(algo.CalPixelAverage(image.data(), 3, 1, 11));   // 32 / 3 = 10
    EXPECT_FALSE(algo.CalPixelAverage(image.data(), 3, 1, 10));
    EXPECT_FALSE(algo.CalPixelAverage(image.data(), 3, 2, 130));  // 782 / 6 = 130
    EXPECT_TRUE(algo.CalPixelAverage(image.data(), 3, 2, 131));
}
