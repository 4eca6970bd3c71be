// Geometry of the virtual sensor head: projections, lens model, and the calibration record in the
// library's conventions, checked against the cameras it was derived from and against the library's
// own line matching and triangulation.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <random>

#include "Render.h"
#include "SensorHead.h"
#include "SimScene.h"
#include "ToolsTestUtil.h"
#include "XeloraAlgo.h"

using namespace xsim;

namespace {

SensorHead fullHead() { return SensorHead::make(HeadOptions()); }

Vec3 mul(const double* m, const Vec3& v) {
    return {m[0] * v.x + m[1] * v.y + m[2] * v.z, m[3] * v.x + m[4] * v.y + m[5] * v.z,
            m[6] * v.x + m[7] * v.y + m[8] * v.z};
}

}  // namespace

TEST(SimGeometry, PixelRayProjectionRoundTripsOverTheSensor) {
    const SensorHead h = fullHead();
    for (const Camera* cam : {&h.cam1, &h.cam2, &h.colour}) {
        for (double v : {0.0, 3.3, 511.5, 1023.0})
            for (double u : {0.0, 17.25, 640.0, 1279.0}) {
                const Vec3 d = cam->rayThroughPixel(u, v);
                EXPECT_NEAR(norm(d), 1.0, 1e-12);
                const Vec3 p = cam->C + d * 437.0;
                double pu, pv;
                ASSERT_TRUE(cam->project(p, pu, pv));
                EXPECT_NEAR(pu, u, 1e-7);
                EXPECT_NEAR(pv, v, 1e-7);
                // The pinhole pair round-trips as well.
                const Vec3 q = cam->C + cam->rayThroughPinholePixel(u, v) * 611.0;
                ASSERT_TRUE(cam->projectPinhole(q, pu, pv));
                EXPECT_NEAR(pu, u, 1e-7);
                EXPECT_NEAR(pv, v, 1e-7);
            }
    }
}

TEST(SimGeometry, LensDistortionIsMildAndInvertible) {
    const SensorHead h = fullHead();
    const Lens& L = h.cam1.lens;
    // Corner of the sensor: a few pixels of distortion, not hundreds and not none.
    double xd, yd;
    const double x = (0 - L.cx) / L.fx, y = (0 - L.cy) / L.fy;
    distortNormalised(L, x, y, xd, yd);
    const double shiftPx = std::hypot((xd - x) * L.fx, (yd - y) * L.fy);
    EXPECT_GT(shiftPx, 1.0);
    EXPECT_LT(shiftPx, 20.0);
    double ux, uy;
    undistortNormalised(L, xd, yd, ux, uy);
    EXPECT_NEAR(ux, x, 1e-13);
    EXPECT_NEAR(uy, y, 1e-13);
    // The model is the library's: r2 = x^2 + y^2, radial 1 + k1 r2 + k2 r2^2 + k3 r2^3, tangential p1, p2.
    Lens t;
    t.k1 = 0.1;
    t.p1 = 0.01;
    t.p2 = 0.02;
    distortNormalised(t, 0.5, -0.2, xd, yd);
    const double r2 = 0.29, radial = 1 + 0.1 * r2;
    EXPECT_NEAR(xd, radial * 0.5 + 2 * 0.01 * 0.5 * -0.2 + 0.02 * (r2 + 2 * 0.25), 1e-15);
    EXPECT_NEAR(yd, radial * -0.2 + 0.01 * (r2 + 2 * 0.04) + 2 * 0.02 * 0.5 * -0.2, 1e-15);
}

TEST(SimGeometry, CalibrationPosesFollowTheLibraryConventions) {
    const SensorHead h = fullHead();
    const XELORAALGO::tagXeloraAlgoCalibrationInfo c = h.calibration();
    std::mt19937 rng(5);
    std::uniform_real_distribution<double> ux(-150, 150), uz(350, 700);
    for (int k = 0; k < 20; ++k) {
        const Vec3 P(ux(rng), ux(rng), uz(rng));
        const Vec3 X1 = h.cam1.toCamera(P), X2 = h.cam2.toCamera(P), X3 = h.colour.toCamera(P);
        const Vec3 viaR = mul(c.R, X1) + Vec3(c.T[0], c.T[1], c.T[2]);
        EXPECT_NEAR(norm(viaR - X2), 0.0, 1e-9);  // X2 = R X1 + T
        const Vec3 viaR3 = mul(c.R3, X1) + Vec3(c.T3[0], c.T3[1], c.T3[2]);
        EXPECT_NEAR(norm(viaR3 - X3), 0.0, 1e-9);
        const Vec3 viaLine = mul(c.RLine, X1) + Vec3(c.TLine[0], c.TLine[1], c.TLine[2]);
        EXPECT_NEAR(norm(viaLine - X2), 0.0, 1e-9);
    }
    // T is camera 1's centre seen from camera 2, Tinv camera 2's centre seen from camera 1.
    EXPECT_NEAR(norm(h.cam2.toCamera(h.cam1.C) - Vec3(c.T[0], c.T[1], c.T[2])), 0.0, 1e-12);
    EXPECT_NEAR(norm(h.cam1.toCamera(h.cam2.C) - Vec3(c.Tinv[0], c.Tinv[1], c.Tinv[2])), 0.0, 1e-12);
    // The baseline (150 mm by default, with camera 2 0.25 mm lower), mostly along x; camera 2 on the
    // right of camera 1.
    const double b = h.options.baseline;
    EXPECT_NEAR(std::hypot(c.T[0], std::hypot(c.T[1], c.T[2])), std::hypot(b, 0.25), 1e-9);
    EXPECT_GT(c.Tinv[0], 0.95 * b);
    EXPECT_LT(c.T[0], -0.95 * b);
    // Verged cameras: both epipoles far outside the image on the row axis, epipole 2 on the left
    // (the library's rectified rows then grow with the camera rows).
    const double e1x = c.Tinv[0] / c.Tinv[2] * c.K1[0] + c.K1[2];
    const double e2x = c.T[0] / c.T[2] * c.K2[0] + c.K2[2];
    EXPECT_GT(e1x, 5 * 1280.0);
    EXPECT_LT(e2x, -5 * 1280.0);
    EXPECT_NEAR(c.T[1] / c.T[2] * c.K2[4] + c.K2[5], 512, 60);
    // Intrinsics: 12 mm lens over 0.0048 mm pixels.
    EXPECT_DOUBLE_EQ(c.K1[0], 2500.0);
    EXPECT_DOUBLE_EQ(c.K1[0], c.K1[4]);
}

TEST(SimGeometry, FundamentalMatrixVanishesOnTrueMatchesAndGrowsOffTheLine) {
    const SensorHead h = fullHead();
    const XELORAALGO::tagXeloraAlgoCalibrationInfo c = h.calibration();
    auto residual = [&](double x1, double y1, double x2, double y2) {
        const Vec3 Fp = mul(c.F, Vec3(x1, y1, 1));
        return x2 * Fp.x + y2 * Fp.y + Fp.z;  // q^T F p
    };
    for (const Vec3& P : {Vec3(0, 0, 500), Vec3(-80, 60, 470), Vec3(90, -70, 560)}) {
        double x1, y1, x2, y2;
        ASSERT_TRUE(h.cam1.projectPinhole(P, x1, y1));
        ASSERT_TRUE(h.cam2.projectPinhole(P, x2, y2));
        EXPECT_NEAR(residual(x1, y1, x2, y2), 0.0, 1e-10);
        // One pixel off the epipolar line (rows) gives a residual of the order the library's
        // MatchLine threshold (0.1) expects: tenths of it per pixel.
        const double perPixel = std::fabs(residual(x1, y1, x2, y2 + 1.0));
        EXPECT_GT(perPixel, 0.02);
        EXPECT_LT(perPixel, 0.1);
    }
}

// The library's line matching and profile triangulation on the head's calibration recover the rows
// and the points of a vertical line in space.
TEST(SimGeometry, LibraryMatchesAndTriangulatesLinePointsWithTheRecord) {
    const SensorHead h = fullHead();
    XELORAALGO::tagXeloraAlgoCalibrationInfo c = h.calibration();
    const int H = 400;
    XELORAALGO::XeloraAlgo algo;
    XELORAALGO::tagXeloraAlgoROIInfo roi{0, 0, 1280, H};
    algo.SetROIInfo(&roi);
    algo.SetCalibrationInfo(&c);
    XELORAALGO::Point2dList l1(H), l2(H);
    std::vector<Vec3> truth(H);
    std::unique_ptr<bool[]> m1(new bool[H]), m2(new bool[H]);
    for (int i = 0; i < H; ++i) {
        truth[i] = Vec3(-55.0, -40.0 + 0.2 * i, 495.0 + 0.05 * i);
        double x, y;
        ASSERT_TRUE(h.cam1.projectPinhole(truth[i], x, y));
        l1[i] = {x, y};
        ASSERT_TRUE(h.cam2.projectPinhole(truth[i], x, y));
        l2[i] = {x, y};
        m1[i] = m2[i] = true;
    }
    std::vector<int> matches(H, -1);
    algo.MatchLine(l1, l2, m1.get(), m2.get(), matches);
    XELORAALGO::Point3dList cloud, pixelDepth;
    algo.Calpoint(l1, l2, m1.get(), matches, cloud, pixelDepth);
    ASSERT_EQ(cloud.size(), static_cast<std::size_t>(H));
    int checked = 0;
    for (int i = 3; i < H - 3; ++i) {
        ASSERT_TRUE(m1[i]) << "row " << i;
        EXPECT_EQ(matches[i], i);
        const Vec3 X1 = h.cam1.toCamera(truth[i]);
        EXPECT_NEAR(cloud[i][0], X1.x, 1e-6);
        EXPECT_NEAR(cloud[i][1], X1.y, 1e-6);
        EXPECT_NEAR(cloud[i][2], X1.z, 1e-6);
        ++checked;
    }
    EXPECT_EQ(checked, H - 6);
}

TEST(SimScene, RayCastingHitsTheAnalyticSurfaces) {
    Scene s;
    ASSERT_TRUE(Scene::make("default", 500.0, s));
    Hit hit;
    // Straight down the z axis at the hemisphere's centre column: its pole, 40 mm in front of the plane.
    ASSERT_TRUE(s.intersect(Vec3(-55, 20, 0), Vec3(0, 0, 1), hit));
    EXPECT_NEAR(hit.p.z, 460.0, 1e-9);
    EXPECT_EQ(s.solids[static_cast<std::size_t>(hit.solid)].name, "hemisphere");
    // The block's top face is 12 mm proud; the wedge rises 30 mm over 90 mm.
    ASSERT_TRUE(s.intersect(Vec3(-50, -60, 0), Vec3(0, 0, 1), hit));
    EXPECT_NEAR(hit.p.z, 488.0, 1e-9);
    ASSERT_TRUE(s.intersect(Vec3(65, 0, 0), Vec3(0, 0, 1), hit));
    EXPECT_NEAR(hit.p.z, 500.0 - 30.0 * 45.0 / 90.0, 1e-9);
    EXPECT_NEAR(hit.n.x, -30.0 / std::hypot(30.0, 90.0), 1e-12);
    // Bare plane elsewhere; nothing behind the head.
    ASSERT_TRUE(s.intersect(Vec3(0, 100, 0), Vec3(0, 0, 1), hit));
    EXPECT_NEAR(hit.p.z, 500.0, 1e-9);
    EXPECT_FALSE(s.intersect(Vec3(0, 0, 0), Vec3(0, 0, -1), hit));
    // The hemisphere shadows the plane behind it.
    EXPECT_FALSE(s.visible(Vec3(-55, 20, 0), Vec3(-55, 20, 500)));
    EXPECT_TRUE(s.visible(Vec3(0, 100, 0), Vec3(0, 100, 500)));
    Scene bad;
    EXPECT_FALSE(Scene::make("no such scene", 500.0, bad));
}

TEST(SimTruth, DepthAlongTheOpticalAxisOfCameraOne) {
    // On the bare plane the depth (camera-1 Z) at the principal point is the distance to the plane
    // along the optical axis: hypot(b / 2, 500) for camera 1 aimed at (0, 0, 500) from x = -b / 2.
    const int width = 160, height = 128;
    const toolstest::SmallScan hs = toolstest::headAndScene(width, height, "plane");
    const SensorHead& head = hs.head;
    Rendering r;
    renderTruth(head, hs.scene, RenderOptions(), r);
    const double cx = head.cam1.lens.cx, cy = head.cam1.lens.cy;
    const int c0 = static_cast<int>(cx), r0 = static_cast<int>(cy);
    const double fx = cx - c0, fy = cy - r0;
    auto z = [&](int rr, int cc) { return static_cast<double>(r.depthTruth[static_cast<std::size_t>(rr) * width + cc]); };
    const double zc = (z(r0, c0) * (1 - fx) + z(r0, c0 + 1) * fx) * (1 - fy) + (z(r0 + 1, c0) * (1 - fx) + z(r0 + 1, c0 + 1) * fx) * fy;
    EXPECT_NEAR(zc, std::hypot(HeadOptions().baseline / 2, 500.0), 0.01);
    // Everything the cameras share is lit on a bare plane: most pixels are seen by all three.
    long seen = 0;
    for (auto v : r.seenByAll) seen += v;
    EXPECT_GT(seen, static_cast<long>(0.9 * width * height));
}
