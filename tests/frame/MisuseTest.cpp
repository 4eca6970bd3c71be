// Misuse of the frame members: rectification maps asked for before CalKR, after DeleteMemory2 or
// after the ROI or downsampling changed, and ROIs whose sensor positions do not fit in int. Each
// throws the documented error before anything is built, and the handle works normally afterwards.
#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <string>
#include <vector>

#include "FrameTestUtil.h"
#include "MisuseTestUtil.h"
#include "XeloraAlgo.h"

using XELORAALGO::XeloraAlgo;

namespace {

// A handle with ROI (w, h) and the stereo calibration.
struct Handle {
    XeloraAlgo algo;
    explicit Handle(int w = 8, int h = 6, int ox = 0, int oy = 0) {
        auto roi = frametest::roi(w, h, ox, oy);
        auto calib = frametest::stereoCalib();
        algo.SetROIInfo(&roi);
        algo.SetCalibrationInfo(&calib);
    }
    void setRoi(int w, int h, int ox = 0, int oy = 0) {
        auto roi = frametest::roi(w, h, ox, oy);
        algo.SetROIInfo(&roi);
    }
};

}  // namespace

TEST(FrameMisuse, RectificationMapNeedsCalKRForTheRoiInForce) {
    const std::string message = "CalRectifyMap1: CalKR has not been run for this ROI";
    const std::vector<std::pair<const char*, std::function<void(Handle&)>>> stale = {
        {"never run", [](Handle&) {}},
        {"released", [](Handle& h) { h.algo.CalKR(); h.algo.DeleteMemory2(); }},
        {"ROI enlarged", [](Handle& h) { h.algo.CalKR(); h.setRoi(16, 12); }},
        {"ROI moved", [](Handle& h) { h.algo.CalKR(); h.setRoi(8, 6, 1, 0); }},
        {"step changed", [](Handle& h) { h.algo.CalKR(); h.algo.SetDownsamplingInfo(2, 0.0f); }},
        {"offset changed", [](Handle& h) { h.algo.CalKR(); h.algo.SetDownsamplingInfo(1, 0.5f); }},
    };
    for (const auto& [name, prepare] : stale) {
        SCOPED_TRACE(name);
        for (bool first : {true, false}) {
            Handle h;
            prepare(h);
            misusetest::expectMissingSetup([&] { h.algo.CalRectifyMap1(first); }, message);
            // Rebuilding the geometry for the ROI in force makes the same call valid.
            h.algo.CalKR();
            EXPECT_NO_THROW(h.algo.CalRectifyMap1(first));
        }
    }
    // DeleteMemory1 releases only the match tables: the geometry stays usable.
    Handle h;
    h.algo.CalKR();
    h.algo.DeleteMemory1();
    EXPECT_NO_THROW(h.algo.CalRectifyMap1(true));
    // Setting the same ROI again is no change.
    h.setRoi(8, 6);
    EXPECT_NO_THROW(h.algo.CalRectifyMap1(false));
}

// Sensor positions downsampleStep * index + offset are formed in int by CalKR and the map builders:
// the last column and row must fit, checked in 64 bits.
TEST(FrameMisuse, SensorPositionsOutsideIntAreRefused) {
    const std::string range = " must be in [-2147483648, 2147483647], got ";
    struct Case {
        const char* name;
        int w, h, ox, oy, step;
        std::string what;  // parameter and value in the message
    };
    const std::vector<Case> cases = {
        {"huge step", 8, 6, 0, 0, 1 << 30, "downsampleStep * (width - 1)" + range + "7516192768"},
        {"offsetX near INT_MAX", 8, 6, INT_MAX - 6, 0, 1,
         "sensor column downsampleStep * (width - 1) + offsetX" + range + "2147483648"},
        {"offsetY near INT_MAX", 8, 6, 0, INT_MAX - 4, 1,
         "sensor row downsampleStep * (height - 1) + offsetY" + range + "2147483648"},
        {"negative step below INT_MIN", 8, 6, 0, INT_MIN, -1,
         "sensor row downsampleStep * (height - 1) + offsetY" + range + "-2147483653"},
        {"INT_MIN step", 8, 6, 0, 0, INT_MIN, "downsampleStep * (width - 1)" + range + "-15032385536"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Handle h(c.w, c.h, c.ox, c.oy);
        h.algo.SetDownsamplingInfo(c.step, 0.0f);
        misusetest::expectInvalid([&] { h.algo.CalKR(); }, std::string("CalKR: ") + c.what);
        misusetest::expectInvalid([&] { h.algo.CalRectifyMap2(true); }, std::string("CalRectifyMap2: ") + c.what);
        // Nothing was derived: GetData still reports a handle without geometry.
        double v[6];
        h.algo.GetData(v[0], v[1], v[2], v[3], v[4], v[5]);
        EXPECT_EQ(v[1], 0.0) << "pixel pitch written by a refused CalKR";
    }
    // The last positions that fit are accepted, by both builders.
    for (const Case& ok : std::vector<Case>{{"last column fits", 8, 6, INT_MAX - 7, 0, 1, ""},
                                            {"last row fits", 8, 6, 0, INT_MAX - 5, 1, ""},
                                            {"lowest row fits", 8, 6, 0, INT_MIN + 5, -1, ""}}) {
        SCOPED_TRACE(ok.name);
        Handle h(ok.w, ok.h, ok.ox, ok.oy);
        h.algo.SetDownsamplingInfo(ok.step, 0.0f);
        EXPECT_NO_THROW(h.algo.CalKR());
        EXPECT_NO_THROW(h.algo.CalRectifyMap1(true));
        EXPECT_NO_THROW(h.algo.CalRectifyMap2(false));
    }
}

// A refused CalKR keeps the geometry of the last successful one, still marked for its own set-up.
TEST(FrameMisuse, RefusedCalKRKeepsTheEarlierGeometry) {
    Handle h;
    h.algo.CalKR();
    double before[6], after[6];
    h.algo.GetData(before[0], before[1], before[2], before[3], before[4], before[5]);
    h.algo.SetDownsamplingInfo(1 << 30, 0.0f);
    EXPECT_THROW(h.algo.CalKR(), std::invalid_argument);
    h.algo.GetData(after[0], after[1], after[2], after[3], after[4], after[5]);
    for (int i = 0; i < 6; ++i) EXPECT_EQ(before[i], after[i]) << i;
    h.algo.SetDownsamplingInfo(1, 0.0f);  // back to the set-up the geometry was built for
    EXPECT_NO_THROW(h.algo.CalRectifyMap1(true));
}
