// Misuse of the stereo members: every member that reads an engine table, called before the table
// was built, after it was released, or after the ROI changed, throws std::logic_error naming the
// missing step and leaves its outputs untouched; a smoothing sigma whose kernel no ROI can use is
// refused by CalPoint. Once the set-up is complete the same calls run and agree with a fresh handle.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "MisuseTestUtil.h"
#include "XeloraAlgo.h"
#include "frame/FrameTestUtil.h"

using XELORAALGO::XeloraAlgo;

namespace {

constexpr int kW = 12, kH = 8;
constexpr std::size_t kN = kW * kH;

// Buffers of every stereo member, filled with recognisable values.
struct Buffers {
    std::vector<float> map = std::vector<float>(kN), phase1 = std::vector<float>(kN), phase2 = std::vector<float>(kN);
    std::vector<float> X = std::vector<float>(kN, 7.0f), Y = std::vector<float>(kN, 8.0f),
                       Z = std::vector<float>(kN, 9.0f);
    std::vector<unsigned char> mask1 = std::vector<unsigned char>(kN, 1), mask2 = mask1, matchMask = mask1;
    int count = -5;
    Buffers() {
        for (std::size_t i = 0; i < kN; ++i) {
            map[i] = static_cast<float>(i % kW) * 1.5f + static_cast<float>(i / kW);
            phase1[i] = static_cast<float>(i % kW) * 3.0f + 1.0f;
            phase2[i] = static_cast<float>(i % kW) * 3.0f + 0.5f;
        }
    }
    bool* b(std::vector<unsigned char>& v) { return reinterpret_cast<bool*>(v.data()); }
    bool operator==(const Buffers& o) const {
        return std::memcmp(map.data(), o.map.data(), kN * sizeof(float)) == 0 && X == o.X && Y == o.Y && Z == o.Z &&
               mask1 == o.mask1 && mask2 == o.mask2 && matchMask == o.matchMask && count == o.count &&
               std::memcmp(phase1.data(), o.phase1.data(), kN * sizeof(float)) == 0;
    }
};

void setRoi(XeloraAlgo& algo, int w, int h) {
    auto roi = frametest::roi(w, h, 600, 480);
    algo.SetROIInfo(&roi);
}

XeloraAlgo& prepared(XeloraAlgo& algo) {
    setRoi(algo, kW, kH);
    auto calib = frametest::stereoCalib();
    algo.SetCalibrationInfo(&calib);
    return algo;
}

void fullSetUp(XeloraAlgo& algo, Buffers& b) {
    algo.CalKR();
    algo.CalRectifyMap1(true);
    algo.CalRectifyMap1(false);
    algo.CalRectifyMap2(true);
    algo.CalRectifyMap2(false);
    algo.MatchI(b.b(b.mask1), b.b(b.mask2), b.b(b.matchMask), b.phase1.data(), b.phase2.data());
    algo.MatchII(b.b(b.mask1), b.b(b.mask2), b.b(b.matchMask), b.phase1.data(), b.phase2.data());
}

struct Member {
    const char* name;
    std::vector<const char*> needs;  // the set-up steps it reads, in the order it checks them
    std::function<void(XeloraAlgo&, Buffers&)> call;
};

const std::vector<Member>& members() {
    static const std::vector<Member> m = {
        {"InterpCubic1", {"CalRectifyMap1(true)"}, [](XeloraAlgo& a, Buffers& b) { a.InterpCubic1(b.map.data()); }},
        {"InterpCubic2", {"CalRectifyMap1(false)"}, [](XeloraAlgo& a, Buffers& b) { a.InterpCubic2(b.map.data()); }},
        {"InterpCubic4", {"CalRectifyMap2(true)"}, [](XeloraAlgo& a, Buffers& b) { a.InterpCubic4(b.map.data()); }},
        {"InterpCubic5", {"CalRectifyMap2(false)"}, [](XeloraAlgo& a, Buffers& b) { a.InterpCubic5(b.map.data()); }},
        {"InterpFlag1", {"CalRectifyMap1(true)"}, [](XeloraAlgo& a, Buffers& b) { a.InterpFlag1(b.b(b.mask1)); }},
        {"InterpFlag2", {"CalRectifyMap1(false)"}, [](XeloraAlgo& a, Buffers& b) { a.InterpFlag2(b.b(b.mask2)); }},
        {"MatchI", {"CalKR"},
         [](XeloraAlgo& a, Buffers& b) {
             a.MatchI(b.b(b.mask1), b.b(b.mask2), b.b(b.matchMask), b.phase1.data(), b.phase2.data());
         }},
        {"MatchII", {"MatchI"},
         [](XeloraAlgo& a, Buffers& b) {
             a.MatchII(b.b(b.mask1), b.b(b.mask2), b.b(b.matchMask), b.phase1.data(), b.phase2.data());
         }},
        {"CalPoint", {"CalKR", "CalRectifyMap1(true)", "MatchII"},
         [](XeloraAlgo& a, Buffers& b) {
             a.CalPoint(b.b(b.matchMask), b.X.data(), b.Y.data(), b.Z.data(), b.count, false, 2, 5.0f, true, 1.0f);
         }},
    };
    return m;
}

}  // namespace

// Each member on a handle without any table, with its tables released, and with tables built for a
// smaller ROI: the first missing step is named, and nothing is written.
TEST(StereoMisuse, TablesMissingReleasedOrBuiltForAnotherRoi) {
    const std::vector<std::pair<const char*, std::function<void(XeloraAlgo&, Buffers&)>>> states = {
        {"nothing built", [](XeloraAlgo&, Buffers&) {}},
        {"released", [](XeloraAlgo& a, Buffers& b) { fullSetUp(a, b); a.DeleteMemory1(); a.DeleteMemory2(); }},
        {"built for a smaller ROI",
         [](XeloraAlgo& a, Buffers& b) {
             setRoi(a, kW - 4, kH - 2);
             fullSetUp(a, b);
             setRoi(a, kW, kH);
         }},
    };
    for (const auto& [state, prepare] : states) {
        for (const Member& m : members()) {
            SCOPED_TRACE(std::string(state) + ": " + m.name);
            XeloraAlgo algo;
            prepared(algo);
            Buffers scratch;
            prepare(algo, scratch);
            Buffers b;
            const Buffers before = b;
            misusetest::expectMissingSetup([&] { m.call(algo, b); },
                                           std::string(m.name) + ": " + m.needs.front() + " has not been run for this ROI");
            EXPECT_TRUE(b == before) << "outputs written by a refused call";
        }
    }
}

// The later steps of a partial set-up are named once the earlier ones exist, releasing the match
// tables only (DeleteMemory1) affects the members that read them, and rerunning MatchI makes the
// sub-pixel table stale until MatchII runs again.
TEST(StereoMisuse, StepsAreCheckedInOrderAndReleasedSeparately) {
    XeloraAlgo algo;
    prepared(algo);
    Buffers b;
    const auto calPoint = [&] { members().back().call(algo, b); };
    algo.CalKR();
    misusetest::expectMissingSetup(calPoint, "CalPoint: CalRectifyMap1(true) has not been run for this ROI");
    algo.CalRectifyMap1(true);
    misusetest::expectMissingSetup(calPoint, "CalPoint: MatchII has not been run for this ROI");
    fullSetUp(algo, b);
    EXPECT_NO_THROW(calPoint());
    algo.DeleteMemory1();
    misusetest::expectMissingSetup(calPoint, "CalPoint: MatchII has not been run for this ROI");
    EXPECT_NO_THROW(algo.InterpCubic1(b.map.data()));  // the maps survive DeleteMemory1
    algo.MatchI(b.b(b.mask1), b.b(b.mask2), b.b(b.matchMask), b.phase1.data(), b.phase2.data());
    misusetest::expectMissingSetup(calPoint, "CalPoint: MatchII has not been run for this ROI");
}

// After a refused call the handle is intact: completing the set-up gives exactly the results of a
// handle that never saw the misuse.
TEST(StereoMisuse, HandleRecoversWithTheResultsOfAFreshOne) {
    for (const Member& m : members()) {
        SCOPED_TRACE(m.name);
        XeloraAlgo misused, fresh;
        prepared(misused);
        prepared(fresh);
        Buffers junk;
        EXPECT_THROW(m.call(misused, junk), std::logic_error);
        Buffers a, b;
        fullSetUp(misused, a);
        fullSetUp(fresh, b);
        m.call(misused, a);
        m.call(fresh, b);
        EXPECT_TRUE(a == b);
    }
}

TEST(StereoMisuse, CalPointRefusesASmoothingKernelWiderThanAnySensor) {
    XeloraAlgo algo;
    prepared(algo);
    Buffers setUp;
    fullSetUp(algo, setUp);
    const std::string need = "must give a kernel radius trunc(1.5 * sigma) of at most 65535 pixels";
    for (float sigma : {1e30f, INFINITY, 43691.0f}) {
        Buffers b;
        const Buffers before = b;
        misusetest::expectInvalid(
            [&] {
                algo.CalPoint(b.b(b.matchMask), b.X.data(), b.Y.data(), b.Z.data(), b.count, false, 2, 5.0f, true,
                              sigma);
            },
            "CalPoint: smoothSigma " + need + ", got " + (sigma == 1e30f ? "1.00000002e+30" : sigma == INFINITY ? "inf" : "43691"));
        EXPECT_TRUE(b == before);
    }
    // The widest kernel allowed (radius 65535), a sigma without Gaussian, and a huge sigma with the
    // smoothing switched off all run.
    for (float sigma : {43690.0f, 0.0f, -1.0f, NAN}) {
        Buffers b;
        EXPECT_NO_THROW(algo.CalPoint(b.b(b.matchMask), b.X.data(), b.Y.data(), b.Z.data(), b.count, false, 2, 5.0f,
                                      true, sigma))
            << sigma;
    }
    Buffers b;
    EXPECT_NO_THROW(
        algo.CalPoint(b.b(b.matchMask), b.X.data(), b.Y.data(), b.Z.data(), b.count, false, 2, 5.0f, false, 1e30f));
}
