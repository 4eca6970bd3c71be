// Image formation of the virtual head (noise, saturation, shadows) and the accuracy figures of the
// reports.
#include <gtest/gtest.h>

#include <cmath>

#include "Pipeline.h"
#include "Render.h"
#include "ToolsTestUtil.h"

using namespace xsim;

namespace {

Rendering renderPlane(double noise, double exposure) {
    const toolstest::SmallScan hs = toolstest::headAndScene(160, 128, "plane");
    RenderOptions ro;
    ro.noise = noise;
    ro.exposure = exposure;
    ro.fringe18 = ro.laser = ro.colour = false;
    return render(hs.head, hs.scene, ro);
}

}  // namespace

TEST(Render, NoiseFollowsTheShotAndReadNoiseModel) {
    // The noisy image minus the noise-free one (same scene, same blur) has, per pixel, the variance
    // I / 47 + 0.8^2 of the sensor model plus about 2 / 12 from rounding both images.
    const Rendering clean = renderPlane(0.0, 240.0), noisy = renderPlane(1.0, 240.0);
    for (int plane : {0, 7, 9}) {
        const auto& a = clean.cam[0].fringe11[static_cast<std::size_t>(plane)];
        const auto& b = noisy.cam[0].fringe11[static_cast<std::size_t>(plane)];
        double sumSq = 0, predicted = 0, mean = 0;
        long n = 0;
        for (std::size_t i = 0; i < a.size(); ++i) {
            if (a[i] < 5 || a[i] > 250) continue;
            const double d = static_cast<double>(b[i]) - a[i];
            sumSq += d * d;
            mean += d;
            predicted += a[i] / 47.0 + 0.64 + 2.0 / 12.0;
            ++n;
        }
        ASSERT_GT(n, 10000);
        EXPECT_NEAR(std::sqrt(sumSq / n), std::sqrt(predicted / n), 0.1 * std::sqrt(predicted / n)) << "plane " << plane;
        // Zero-mean noise: only the rounding of the noise-free image (at most half a level) remains.
        EXPECT_LT(std::fabs(mean / n), 0.5);
    }
}

TEST(Render, FringesSpanAmbientToFullProjectorLight) {
    // Without blur and with one ray per pixel the image is the shading formula sampled at the pixel
    // centres: plane 7 = exposure x albedo x (ambient + (1 - ambient) cos^3 E) on the plane facing
    // the projector (cosine of incidence times inverse-square falloff), E = 0.5 + 0.5 cos(theta - pi/2).
    const toolstest::SmallScan hs = toolstest::headAndScene(320, 256, "plane");
    RenderOptions ro;
    ro.noise = 0;
    ro.blurSigma = 0;
    ro.supersample = 1;
    ro.fringe18 = ro.laser = ro.colour = false;
    const Rendering r = render(hs.head, hs.scene, ro);
    const auto& f = r.cam[0].fringe11[7];
    int lo = 255, hi = 0;
    for (auto v : f) {
        lo = std::min<int>(lo, v);
        hi = std::max<int>(hi, v);
    }
    // The base plane's checker albedos are 0.8014 and 0.6267 (grey: 0.299 r + 0.587 g + 0.114 b); ambient 8 %.
    EXPECT_NEAR(hi, 240 * 0.8014, 4.0);           // E = 1 near the projector axis
    EXPECT_NEAR(lo, 240 * 0.6267 * 0.08, 1.0);    // E = 0: ambient light alone
    // The true phase grows from left to right along every row.
    const auto& ph = r.cam[0].phase;
    for (int row = 10; row < 256; row += 60)
        for (int c = 11; c < 300; ++c)
            EXPECT_GT(ph[static_cast<std::size_t>(row) * 320 + c], ph[static_cast<std::size_t>(row) * 320 + c - 1]);
}

TEST(Render, OverexposureSaturatesAtFullScale) {
    const Rendering r = renderPlane(0.0, 1000.0);
    long full = 0;
    for (auto v : r.cam[0].fringe11[0]) full += v == 255;
    // The Gray image's bright half is far above full scale.
    EXPECT_GT(full, 160 * 128 / 4);
}

TEST(Render, TheHemisphereShadowsThePlaneForTheProjector) {
    const toolstest::SmallScan hs = toolstest::headAndScene(160, 128, "hemisphere");
    const SensorHead& head = hs.head;
    const Scene& scene = hs.scene;
    Rendering r;
    renderTruth(head, scene, RenderOptions(), r);
    // The plane point just left of the hemisphere's rim on the projector's ray through the rim is in
    // shadow: camera 1 sees it but it is not lit, so it is not "seen by all".
    const Vec3 rim(-55.0 - 40.0, 20.0, 500.0 - 1e-3);  // leftmost point of the rim on the plane
    const Vec3 shadowed = rim + (rim - head.projector.C) * (2.0 / norm(rim - head.projector.C));
    const Vec3 onPlane = shadowed * (500.0 / shadowed.z);  // along the projector ray, onto the plane
    double u, v;
    ASSERT_TRUE(head.cam1.projectPinhole(onPlane, u, v));
    const std::size_t i = static_cast<std::size_t>(std::lround(v)) * 160 + static_cast<std::size_t>(std::lround(u));
    EXPECT_GT(r.depthTruth[i], 0.0f);
    EXPECT_FALSE(scene.visible(head.projector.C, onPlane));
    EXPECT_EQ(r.seenByAll[i], 0);
}

TEST(Reports, DepthAccuracyFiguresByHand) {
    // Five points with errors -0.1, 0, 0.2, 0.3, 2.0 mm; one seen pixel without a point; one point
    // outside the seen area (error 0.2).
    std::vector<float> truth = {500, 500, 500, 500, 500, 500, 500, 500};
    std::vector<float> Z = {499.9f, 500.0f, 500.2f, 500.3f, 502.0f, 0.0f, 500.2f, 0.0f};
    std::vector<std::uint8_t> valid = {1, 1, 1, 1, 1, 0, 1, 0};
    std::vector<std::uint8_t> seen = {1, 1, 1, 1, 1, 1, 0, 0};
    const xscan::DepthAccuracy a = xscan::depthAccuracy(Z, valid, truth, seen);
    EXPECT_EQ(a.valid, 6);
    EXPECT_EQ(a.seen, 6);
    EXPECT_EQ(a.validSeen, 5);
    EXPECT_DOUBLE_EQ(a.completeness, 5.0 / 6.0);
    EXPECT_EQ(a.compared, 6);
    EXPECT_NEAR(a.median, 0.2, 1e-4);  // |errors| sorted: 0, 0.1, 0.2, 0.2, 0.3, 2.0 -> nearest-rank middle
    EXPECT_NEAR(a.rms, std::sqrt((0.01 + 0 + 0.04 + 0.09 + 4.0 + 0.04) / 6), 1e-4);
    EXPECT_NEAR(a.p95, 2.0, 1e-4);
    EXPECT_NEAR(a.bias, (-0.1 + 0 + 0.2 + 0.3 + 2.0 + 0.2) / 6, 1e-4);
    EXPECT_EQ(a.gross, 1);
}
