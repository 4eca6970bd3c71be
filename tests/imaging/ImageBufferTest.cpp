// Temporal frame filter CalcImageBuffer and its process-wide stored frame.
#include <functional>
#include <random>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "ImagingTestUtil.h"
#include "XeloraAlgo.h"

using namespace XELORAALGO;

namespace {

using Frame = std::vector<unsigned char>;

// The filter of one byte, straight from its definition: the new value less the amount it changed.
unsigned char filtered(int now, int before) {
    const int d = now > before ? now - before : before - now;
    return static_cast<unsigned char>(now - d > 0 ? now - d : 0);
}

Frame filteredFrame(const Frame& now, const Frame& before) {
    Frame out(now.size());
    for (std::size_t i = 0; i < now.size(); ++i) out[i] = filtered(now[i], before[i]);
    return out;
}

Frame randomFrame(std::size_t n, std::mt19937& rng) {
    std::uniform_int_distribution<int> byte(0, 255);
    Frame f(n);
    for (auto& b : f) b = static_cast<unsigned char>(byte(rng));
    return f;
}

// Every test starts from an empty stored frame.
class ImageBuffer : public ::testing::Test {
protected:
    XeloraAlgo algo;
    void SetUp() override {
        bool off = false;
        algo.CalcImageBuffer(nullptr, nullptr, off);
    }
    Frame run(XeloraAlgo& a, Frame in, bool enable = true, unsigned char fill = 0xCD) {
        Frame out(in.size(), fill);
        a.CalcImageBuffer(in.data(), out.data(), enable);
        return out;
    }
};

}  // namespace

TEST_F(ImageBuffer, DarkensBytesByTheirChange) {
    imagingtest::setRoi(algo, 4, 1);  // 8 bytes
    const Frame first = {100, 120, 200, 50, 0, 255, 10, 30};
    const Frame second = {120, 100, 90, 50, 255, 0, 11, 29};
    EXPECT_EQ(run(algo, first), first);  // the first enabled call passes the frame through
    // grew: the old value; fell: twice the new minus the old, not below 0; unchanged: itself.
    EXPECT_EQ(run(algo, second), (Frame{100, 80, 0, 50, 0, 0, 10, 28}));
    EXPECT_EQ(run(algo, second), second);  // the second frame was stored
}

TEST_F(ImageBuffer, FiltersASequenceOfFramesWithOddHeight) {
    const int w = 5, h = 3;  // the last camera-row pair lies outside both row bands
    imagingtest::setRoi(algo, w, h);
    std::mt19937 rng(11);
    Frame previous;
    for (int k = 0; k < 6; ++k) {
        const Frame f = randomFrame(2 * w * h, rng);
        const Frame out = run(algo, f);
        EXPECT_EQ(out, k == 0 ? f : filteredFrame(f, previous)) << "frame " << k;
        previous = f;
    }
}

TEST_F(ImageBuffer, DisablingForgetsTheFrameAndLeavesTheOutputAlone) {
    imagingtest::setRoi(algo, 2, 2);
    const Frame a = {10, 20, 30, 40, 50, 60, 70, 80};
    const Frame b = {80, 70, 60, 50, 40, 30, 20, 10};
    run(algo, a);
    EXPECT_EQ(run(algo, b, false), Frame(8, 0xCD));
    EXPECT_EQ(run(algo, b), b);                     // starts over: pass-through
    EXPECT_EQ(run(algo, a), filteredFrame(a, b));
}

TEST_F(ImageBuffer, OneStoredFrameForTheWholeProcess) {
    XeloraAlgo other, smaller;
    imagingtest::setRoi(algo, 2, 2);
    imagingtest::setRoi(other, 2, 2);
    imagingtest::setRoi(smaller, 2, 1);
    const Frame a = {10, 20, 30, 40, 50, 60, 70, 80};
    const Frame b = {12, 18, 30, 45, 50, 61, 0, 255};
    run(algo, a);
    EXPECT_EQ(run(other, b), filteredFrame(b, a));  // another handle sees the stored frame
    // A frame of another size starts over, for that handle and for the next of the old size.
    const Frame small = {1, 2, 3, 4};
    EXPECT_EQ(run(smaller, small), small);
    EXPECT_EQ(run(algo, a), a);
    // A disabled call from any handle empties it.
    run(smaller, small, false);
    EXPECT_EQ(run(other, b), b);
}

TEST_F(ImageBuffer, InPlaceCallStoresTheInputFrame) {
    imagingtest::setRoi(algo, 2, 1);
    Frame a = {100, 100, 100, 100};
    algo.CalcImageBuffer(a.data(), a.data(), true);
    Frame b = {120, 80, 100, 0};
    algo.CalcImageBuffer(b.data(), b.data(), true);
    EXPECT_EQ(b, (Frame{100, 60, 100, 0}));
    EXPECT_EQ(run(algo, Frame{120, 80, 100, 0}), (Frame{120, 80, 100, 0}));  // {120, 80, 100, 0} was stored
}

// Two handles filter their own frames from two threads at once. The calls are serialised, so each
// output is the whole frame filtered against one complete earlier frame: the thread's own frame
// (unchanged bytes pass through) or the other thread's.
TEST_F(ImageBuffer, ConcurrentCallsFromTwoHandlesAreSerialised) {
    const int w = 64, h = 33;
    std::mt19937 rng(5);
    const Frame f1 = randomFrame(2 * w * h, rng), f2 = randomFrame(2 * w * h, rng);
    const Frame f1After2 = filteredFrame(f1, f2), f2After1 = filteredFrame(f2, f1);
    const int rounds = 150;
    auto worker = [&](const Frame& mine, const Frame& afterOther, int& good, int& sawOther) {
        XeloraAlgo handle;
        imagingtest::setRoi(handle, w, h);
        for (int k = 0; k < rounds; ++k) {
            Frame in = mine, out(in.size(), 0);
            handle.CalcImageBuffer(in.data(), out.data(), true);
            if (out == mine) {
                ++good;
            } else if (out == afterOther) {
                ++good;
                ++sawOther;
            }
        }
    };
    int good1 = 0, good2 = 0, other1 = 0, other2 = 0;
    std::thread t1(worker, std::cref(f1), std::cref(f1After2), std::ref(good1), std::ref(other1));
    std::thread t2(worker, std::cref(f2), std::cref(f2After1), std::ref(good2), std::ref(other2));
    t1.join();
    t2.join();
    EXPECT_EQ(good1, rounds);
    EXPECT_EQ(good2, rounds);
    // After both threads, the stored frame is one of the two frames, whole.
    imagingtest::setRoi(algo, w, h);
    const Frame last = run(algo, f1);
    EXPECT_TRUE(last == f1 || last == f1After2);
}
