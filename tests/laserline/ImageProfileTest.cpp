// The whole profile path on rendered images: a laser plane over an undulating surface seen by two
// row-aligned cameras, each extractor -> UndistortPoints2 -> MatchLine -> Calpoint, compared with
// the known 3D points.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <vector>

#include "LineTestUtil.h"
#include "laserline/laserline.h"

using namespace XELORAALGO;
using namespace linetest;

namespace {

constexpr int W = 1280, H = 100, OX = 0, OY = 462;
constexpr double F = 2000.0, BASE = 150.0;

// Camera 2 sits BASE to the right of camera 1, not turned, same intrinsics: a point's image rows
// are equal in both cameras, so every camera-1 row has its partner in the same camera-2 row.
Rig alignedRig() {
    Rig rig(F, 0.0, BASE, 0.0);
    std::memcpy(rig.calib.K2, rig.calib.K1, sizeof rig.calib.K1);
    rig.setFundamental();
    return rig;
}

std::array<double, 3> surfacePoint(int r) {
    const double Z = 500.0 + 10.0 * std::sin(r / 15.0);
    return {0.15 * Z + 20.0, (r + OY - 512.0) * Z / F, Z};
}

enum class Extractor { E4, E5, C1, C2 };

struct Lists {
    Point2dList pts;
    std::vector<char> mask;
};

Lists extract(XeloraAlgo& h, Extractor which, std::vector<unsigned char>& img) {
    Lists l{Point2dList(H), std::vector<char>(H, 0)};
    auto* m = reinterpret_cast<bool*>(l.mask.data());
    switch (which) {
        case Extractor::E4: h.lineExtract4(false, img.data(), l.pts, m, 0, 0, 0, 0, 0, {0, 0}); break;
        case Extractor::E5: h.lineExtract5(img.data(), l.pts, m, 0, 0, {0, 0}, 0, 3 * OY); break;
        case Extractor::C1: h.GetCloudPoint_New_600_1(img.data(), l.pts); break;
        case Extractor::C2: h.GetCloudPoint_New_600_2(img.data(), l.pts); break;
    }
    if (which == Extractor::C1 || which == Extractor::C2)
        for (int r = 0; r < H; ++r) l.mask[r] = l.pts[r][0] > 0.0;
    return l;
}

TEST(ImageProfile, EveryExtractorFeedsTheProfilePath) {
    const Rig rig = alignedRig();
    XeloraAlgo h;
    tagXeloraAlgoROIInfo roi{OX, OY, W, H};
    h.SetROIInfo(&roi);
    auto calib = rig.calib;
    h.SetCalibrationInfo(&calib);

    auto cam1 = gaussianStripe(W, H, [&](int r) { return rig.project1(surfacePoint(r))[0] - OX; }, 1.5, 200.0);
    auto cam2 = gaussianStripe(W, H, [&](int r) { return rig.project2(surfacePoint(r))[0] - OX; }, 1.5, 200.0);

    // Depth error per pixel of column error: dZ = Z^2 / (f B) dx (about 0.83 mm at Z = 500);
    // allowed: both cameras at the extractor's sub-pixel bound (see SubpixelAccuracyTest).
    const struct {
        Extractor x;
        const char* name;
        double pxBound;
    } cases[] = {{Extractor::E4, "lineExtract4", 0.02},
                 {Extractor::E5, "lineExtract5", 0.15},
                 {Extractor::C1, "GetCloudPoint_New_600_1", 0.15},
                 {Extractor::C2, "GetCloudPoint_New_600_2", 0.4}};
    for (const auto& c : cases) {
        Lists l1 = extract(h, c.x, cam1), l2 = extract(h, c.x, cam2);
        h.UndistortPoints2(true, l1.pts);
        h.UndistortPoints2(false, l2.pts);
        std::vector<int> matches(H, -1);
        h.MatchLine(l1.pts, l2.pts, reinterpret_cast<bool*>(l1.mask.data()), reinterpret_cast<bool*>(l2.mask.data()),
                    matches);
        Point3dList cloud, depth;
        h.Calpoint(l1.pts, l2.pts, reinterpret_cast<bool*>(l1.mask.data()), matches, cloud, depth);
        ASSERT_EQ(cloud.size(), static_cast<std::size_t>(H));
        const double tol = 2.0 * c.pxBound * 510.0 * 510.0 / (F * BASE);
        int valid = 0;
        double worst = 0.0;
        for (int r = 0; r < H; ++r) {
            if (!l1.mask[r]) continue;
            ++valid;
            EXPECT_EQ(matches[r], r) << c.name << " row " << r;
            const double d = dist3(cloud[r], surfacePoint(r));
            worst = std::max(worst, d);
            EXPECT_LT(d, tol * 1.5) << c.name << " row " << r;  // X and Y follow Z along the ray
        }
        std::printf("[ profile  ] %-24s %3d of %d rows, worst 3D error %.4f mm\n", c.name, valid, H, worst);
        EXPECT_GE(valid, H - 4) << c.name;
        EXPECT_EQ(depth.size(), static_cast<std::size_t>(valid));
    }
}

}  // namespace
