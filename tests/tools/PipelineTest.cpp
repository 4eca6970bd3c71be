// The structured-light and laser-line pipelines of xelora-scan on the reduced virtual head
// (320 x 256, the full head's field of view, so about 0.8 mm per pixel at the working distance),
// against the ray-cast ground truth; and the file path (simulate, then structured / laser on the
// files) against the in-memory path.
#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "Commands.h"
#include "Pipeline.h"
#include "ScanIO.h"
#include "ToolsTestUtil.h"

using namespace xscan;
using toolstest::smallScan;

namespace {

Calibration smallCalibration() {
    Calibration c;
    c.width = toolstest::kSmallWidth;
    c.height = toolstest::kSmallHeight;
    c.record = smallScan().head.calibration();
    return c;
}

}  // namespace

TEST(StructuredPipeline, DefaultSceneAtReducedSizeMeetsAccuracyBounds) {
    const auto& s = smallScan();
    const StructuredResult r =
        runStructured(smallCalibration(), s.img.cam[0].fringe11, s.img.cam[1].fringe11, s.img.colourRgb, {});
    const DepthAccuracy a = depthAccuracy(r.Z, r.valid, s.img.depthTruth, s.img.seenByAll);
    // A depth step of one disparity pixel is about 2.2 mm here; the bounds ask for a small fraction.
    EXPECT_GT(a.completeness, 0.85);
    EXPECT_LT(a.median, 0.03);
    EXPECT_LT(a.rms, 0.5);
    EXPECT_LT(a.gross, a.valid / 100);
    EXPECT_LT(std::fabs(a.bias), 0.05);
    // The map is consistent: zero exactly where no point is, count = number of points.
    long n = 0;
    for (std::size_t i = 0; i < r.Z.size(); ++i) {
        if (r.valid[i]) {
            ++n;
            EXPECT_TRUE(std::isfinite(r.Z[i]) && r.Z[i] > 0);
        } else {
            EXPECT_EQ(r.Z[i], 0.0f);
            EXPECT_EQ(r.X[i], 0.0f);
        }
    }
    EXPECT_EQ(n, r.count);
    // The coloured cloud lies in camera 1's frame: its points are near the point map's depths.
    ASSERT_TRUE(r.coloured);
    ASSERT_GT(r.cloud.size(), static_cast<std::size_t>(r.count / 2));
    double zMin = 1e9, zMax = 0;
    for (const auto& p : r.cloud) {
        zMin = std::min<double>(zMin, p.z);
        zMax = std::max<double>(zMax, p.z);
    }
    EXPECT_GT(zMin, 440.0);
    EXPECT_LT(zMax, 560.0);
}

TEST(StructuredPipeline, PairedPatternSetGivesTheSameSurface) {
    const auto& s = smallScan();
    const StructuredResult r =
        runStructured(smallCalibration(), s.img.cam[0].fringe18, s.img.cam[1].fringe18, {}, {});
    const DepthAccuracy a = depthAccuracy(r.Z, r.valid, s.img.depthTruth, s.img.seenByAll);
    // At this size the paired decoder's row repair loses a few more pixels next to edges than the
    // 11-plane decoder (at 640 x 512 both reach 93 %).
    EXPECT_GT(a.completeness, 0.75);
    EXPECT_LT(a.median, 0.03);
    EXPECT_LT(a.rms, 0.5);
    // Without a colour image the cloud is the point map with grey levels.
    EXPECT_FALSE(r.coloured);
    EXPECT_EQ(r.cloud.size(), static_cast<std::size_t>(r.count));
}

TEST(LaserPipeline, ProfileOfTheDefaultSceneAtReducedSize) {
    const auto& s = smallScan();
    const LaserResult r = runLaser(smallCalibration(), s.img.cam[0].laser, s.img.cam[1].laser);
    const LaserAccuracy a = laserAccuracy(r, toolstest::kSmallWidth, s.img.depthTruth, s.img.laserSeen);
    EXPECT_GT(a.rowsVisible, 150);
    EXPECT_GT(a.rowsMeasured, a.rowsVisible / 2);
    EXPECT_GT(a.compared, a.rowsVisible / 2);
    EXPECT_LT(a.rms, 0.5);
    // The profile crosses the hemisphere (pole 40 mm proud) and the plane.
    double zMin = 1e9, zMax = 0;
    for (std::size_t i = 0; i < r.profile.size(); ++i)
        if (r.valid[i]) {
            zMin = std::min(zMin, r.profile[i][2]);
            zMax = std::max(zMax, r.profile[i][2]);
        }
    EXPECT_GT(zMax - zMin, 30.0);
}

TEST(FilePath, SimulateThenStructuredAndLaserReproduceTheInMemoryResults) {
    toolstest::TempFolder tmp;
    ASSERT_FALSE(tmp.path().empty());
    SimulateOptions so;
    so.sim.width = toolstest::kSmallWidth;
    so.sim.height = toolstest::kSmallHeight;
    so.out = tmp / "sim";
    std::ostringstream log;
    ASSERT_EQ(runSimulate(so, log), 0);

    StructuredCmdOptions st;
    st.cam1 = tmp / "sim/cam1";
    st.cam2 = tmp / "sim/cam2";
    st.calib = tmp / "sim/calib.json";
    st.colour = tmp / "sim/colour.png";
    st.truth = tmp / "sim/truth";
    st.out = tmp / "out";
    ASSERT_EQ(runStructuredCmd(st, log), 0);
    bool coloured = false;
    const auto fromFiles = readPly(tmp / "out/cloud.ply", coloured);
    EXPECT_TRUE(coloured);

    // simulate renders with the default options, as smallScan() does.
    const auto& s = smallScan();
    const StructuredResult mem =
        runStructured(smallCalibration(), s.img.cam[0].fringe11, s.img.cam[1].fringe11, s.img.colourRgb, {});
    ASSERT_EQ(fromFiles.size(), mem.cloud.size());
    for (std::size_t i = 0; i < fromFiles.size(); ++i) {
        ASSERT_EQ(fromFiles[i].x, mem.cloud[i].x) << i;
        ASSERT_EQ(fromFiles[i].y, mem.cloud[i].y) << i;
        ASSERT_EQ(fromFiles[i].z, mem.cloud[i].z) << i;
        ASSERT_EQ(fromFiles[i].r, mem.cloud[i].r) << i;
    }
    // The 16-bit depth map holds the depths in 0.02 mm units.
    int dw = 0, dh = 0;
    const auto depth = readPngGrey16(tmp / "out/depth.png", dw, dh);
    ASSERT_EQ(dw, toolstest::kSmallWidth);
    ASSERT_EQ(dh, toolstest::kSmallHeight);
    for (std::size_t i = 0; i < mem.Z.size(); i += 7) {
        const double expect = mem.valid[i] ? std::round(static_cast<double>(mem.Z[i]) * 50.0) : 0.0;
        EXPECT_EQ(depth[i], expect) << i;
    }

    LaserCmdOptions ls;
    ls.cam1 = tmp / "sim/laser1.png";
    ls.cam2 = tmp / "sim/laser2.png";
    ls.calib = tmp / "sim/calib.json";
    ls.truth = tmp / "sim/truth";
    ls.out = tmp / "out";
    ASSERT_EQ(runLaserCmd(ls, log), 0);
    const auto profile = readPly(tmp / "out/laser_profile.ply", coloured);
    const LaserResult lmem = runLaser(smallCalibration(), s.img.cam[0].laser, s.img.cam[1].laser);
    ASSERT_EQ(profile.size(), static_cast<std::size_t>(lmem.matched));
    std::size_t k = 0;
    for (std::size_t i = 0; i < lmem.profile.size(); ++i)
        if (lmem.valid[i]) {
            EXPECT_EQ(profile[k].z, static_cast<float>(lmem.profile[i][2]));
            ++k;
        }
    // The report of the file path carries the accuracy from the ground-truth folder.
    EXPECT_NE(log.str().find("depth error against ground truth"), std::string::npos);
}

TEST(StructuredPipeline, CroppedImagesWithTheirRoiOffsetsGiveTheSameDepths) {
    // A 256 x 192 window at sensor position (32, 40) of the reduced head's images, with the window's
    // offsets in the calibration: the depth of ROI pixel (c, r) is the ground truth at (c + 32, r + 40).
    const auto& s = smallScan();
    const int W = toolstest::kSmallWidth, w = 256, h = 192, ox = 32, oy = 40;
    auto crop = [&](const std::vector<Plane8>& planes) {
        std::vector<Plane8> out;
        for (const auto& p : planes) {
            Plane8 c(static_cast<std::size_t>(w) * h);
            for (int r = 0; r < h; ++r)
                for (int col = 0; col < w; ++col)
                    c[static_cast<std::size_t>(r) * w + col] = p[static_cast<std::size_t>(r + oy) * W + col + ox];
            out.push_back(std::move(c));
        }
        return out;
    };
    Calibration calib = smallCalibration();
    calib.width = w;
    calib.height = h;
    calib.offsetX = ox;
    calib.offsetY = oy;
    const StructuredResult r = runStructured(calib, crop(s.img.cam[0].fringe11), crop(s.img.cam[1].fringe11), {}, {});
    std::vector<float> truth(static_cast<std::size_t>(w) * h);
    std::vector<std::uint8_t> seen(truth.size());
    for (int row = 0; row < h; ++row)
        for (int col = 0; col < w; ++col) {
            const std::size_t j = static_cast<std::size_t>(row + oy) * W + col + ox;
            truth[static_cast<std::size_t>(row) * w + col] = s.img.depthTruth[j];
            // Pixels whose view from camera 2 falls outside camera 2's window cannot be matched.
            seen[static_cast<std::size_t>(row) * w + col] = s.img.seenByAll[j];
        }
    const DepthAccuracy a = depthAccuracy(r.Z, r.valid, truth, seen);
    EXPECT_GT(a.validSeen, static_cast<long>(0.8 * w * h));
    EXPECT_LT(a.median, 0.03);
    EXPECT_LT(a.rms, 0.5);
}
