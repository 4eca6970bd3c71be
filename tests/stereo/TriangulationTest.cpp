// Triangulation: the depth formula with its float rounding points, and rectified phase maps of a
// known disparity matched and triangulated back to their depth.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "StereoTestUtil.h"
#include "depthfilter/Bilateralfilter.h"
#include "fringe/fringe.h"
#include "stereo/stereo.h"

using stereotest::BoolMap;

namespace {

// An engine with a hand-set geometry: rectified row r is camera-1 row r, focal lengths 12 mm
// (2500 pixels of 0.0048 mm), camera 2 parallel with a baseline of 100 mm along x.
struct Hand {
    int w, h;
    XELORAALGO::AlgoEngine e;
    BoolMap mask;
    std::vector<float> X, Y, Z;
    int count = -1;
    Hand(int width, int height, int ox = 0, int oy = 0, int step = 1, float offset = 0.0f)
        : w(width), h(height), mask(n(), true), X(n(), -1.0f), Y(n(), -1.0f), Z(n(), -1.0f) {
        stereotest::setRoi(e, w, h, ox, oy);
        e.downsampleStep = step;
        e.downsampleOffset = offset;
        e.pixelPitch = 0.0048;
        e.cx2 = e.cx1 = ox + w / 2.0;
        e.cy1 = oy + h / 2.0;
        e.focal1Mm = e.focal2Mm = 12.0;
        e.calib.R[0] = e.calib.R[4] = e.calib.R[8] = 1.0;
        e.calib.T[0] = -100.0;
        e.subpixelColumn.assign(n(), 0.0f);
        for (std::size_t i = 0; i < n(); ++i) {
            e.rectMapY1.push_back(static_cast<double>(i / w));
            e.lineIndexMap.push_back(oy + step * static_cast<double>(i / w));
        }
    }
    std::size_t n() const { return static_cast<std::size_t>(w) * static_cast<std::size_t>(h); }
    void run(bool bilateral = false, bool smoothing = false) {
        XELORAALGO::stereo::CalPoint(e, mask.data(), X.data(), Y.data(), Z.data(), count, bilateral, 2, 400.0f,
                                     smoothing, 1.5f);
    }
};

// Depth of rectified pixel i with its float rounding points; `variant` leaves one out (1: xR not
// rounded, 2: R[2][1] * yL in double, 3: R[0][1] not rounded, 4: offsets of camera 2's column summed
// first) to show that the comparison can tell.
float depthOf(const XELORAALGO::AlgoEngine& e, std::size_t i, int variant = 0) {
    const double p = e.pixelPitch, *R = e.calib.R, *T = e.calib.T;
    const float m = e.subpixelColumn[i], s = static_cast<float>(e.downsampleStep), o = e.downsampleOffset,
                ox = static_cast<float>(e.roi.offsetX), f1 = static_cast<float>(e.focal1Mm), f2 = static_cast<float>(e.focal2Mm);
    const double yL = (o + e.lineIndexMap[i] - e.cy1) * p;
    const double xL = (static_cast<double>(s * static_cast<float>(i % e.roi.width) + o + ox) - e.cx1) * p;
    const float xrs = variant == 4 ? s * m + (o + ox) : s * m + o + ox;
    const double xR = (static_cast<double>(xrs) - e.cx2) * p;
    const double xRn = variant == 1 ? xR : static_cast<float>(xR);
    const float num = static_cast<float>(static_cast<double>(f2) * T[0] - xRn * T[2]) * f1;
    const double r21yL = variant == 2 ? R[7] * yL : static_cast<float>(R[7]) * static_cast<float>(yL);
    const double r01 = variant == 3 ? R[1] : static_cast<float>(R[1]);
    const double row2 = R[6] * xL + r21yL + R[8] * static_cast<double>(f1);
    const double row0 = R[0] * xL + r01 * yL + R[2] * static_cast<double>(f1);
    return num / static_cast<float>(xR * row2 - static_cast<double>(f2) * row0);
}

}  // namespace

TEST(CalPoint, DepthFollowsTheRoundingPointsAndIsCarriedBackExactly) {
    // Sensor coordinates far from the principal points and a large rotation (Rz(0.2) Ry(0.4) Rx(0.3),
    // no zero element) and translation make every rounding point visible in the float results.
    Hand t(40, 25, 1007, 3, 2, 0.3f);
    const double R[9] = {0.90270109637546,    -0.07700902991803878, 0.42332061125537596,
                         0.18298657129998708, 0.9591564266554211,   -0.21571941018248353,
                         -0.3894183423086505, 0.2721921352954314,   0.879923176281257};
    std::copy(R, R + 9, t.e.calib.R);
    t.e.calib.T[0] = -100.0, t.e.calib.T[1] = 20.0, t.e.calib.T[2] = 300.0;
    t.e.cx1 -= 1500.0;
    t.e.cy1 -= 30000.0;
    t.e.cx2 = t.e.cx1 + 800.0;
    t.e.focal2Mm = 12.3;
    for (std::size_t i = 0; i < t.n(); ++i) t.e.subpixelColumn[i] = static_cast<float>(i % t.w - (4.3 + 0.37 * (i / t.w) + 0.11 * (i % t.w)));
    int variantDiffers[5] = {0, 0, 0, 0, 0};
    std::vector<float> expected(t.n());
    for (std::size_t i = 0; i < t.n(); ++i) {
        expected[i] = depthOf(t.e, i);
        for (int v = 1; v <= 4; ++v) variantDiffers[v] += depthOf(t.e, i, v) != expected[i];
    }
    for (int v = 1; v <= 4; ++v) EXPECT_GT(variantDiffers[v], 0) << "variant " << v;
    t.run();
    EXPECT_EQ(t.count, static_cast<int>(t.n()));
    // Identity row map, integer rows: the masked resampling copies interior depths exactly; border
    // points stay valid with 0.
    for (int r = 0; r < t.h; ++r)
        for (int c = 0; c < t.w; ++c) {
            const std::size_t i = static_cast<std::size_t>(r * t.w + c);
            ASSERT_TRUE(t.mask[i]);
            if (r < 1 || r > t.h - 3 || c < 1 || c > t.w - 3) {  // no whole 4 x 4 resampling neighbourhood
                EXPECT_TRUE(t.Z[i] == 0.0f && t.X[i] == 0.0f && t.Y[i] == 0.0f) << r << "," << c;
                continue;
            }
            EXPECT_EQ(t.Z[i], expected[i]) << r << "," << c;
            // X and Y from the sensor position of camera 1's pixel, in float.
            const auto mm = [](int k, float off, double centre) {
                return static_cast<float>((static_cast<double>(static_cast<float>(2 * k) + 0.3f + off) - centre) * 0.0048);
            };
            EXPECT_EQ(t.X[i], mm(c, 1007.0f, t.e.cx1) * t.Z[i] / 12.0f);
            EXPECT_EQ(t.Y[i], mm(r, 3.0f, t.e.cy1) * t.Z[i] / 12.0f);
        }
}

TEST(CalPoint, BilateralFilterRunsBeforeTheMaskedSmoothing) {
    Hand t(16, 16);
    for (int r = 0; r < 16; ++r)  // a rough surface, so that the two filters do not commute
        for (int c = 0; c < 16; ++c)
            t.e.subpixelColumn[r * 16 + c] = static_cast<float>(c - (18.0 + 0.9 * r + 0.05 * c * c + ((r * 7 + c * 3) % 5) * 0.4));
    for (int c = 0; c < 5; ++c) t.mask[6 * 16 + c] = false;
    BoolMap rectMask(t.n());
    for (std::size_t i = 0; i < t.n(); ++i) rectMask[i] = t.mask[i];
    std::vector<float> depth(t.n(), 0.0f);
    for (std::size_t i = 0; i < t.n(); ++i)
        if (rectMask[i]) depth[i] = depthOf(t.e, i);
    std::vector<float> bilateralFirst = depth, smoothingFirst = depth;
    XELORAALGO::depthfilter::Bilateralfilter(t.e, bilateralFirst.data(), rectMask.data(), 2, 400.0f);
    XELORAALGO::fringe::SmoothMaskedMap(t.e, bilateralFirst.data(), rectMask.data(), 1.5f);
    XELORAALGO::fringe::SmoothMaskedMap(t.e, smoothingFirst.data(), rectMask.data(), 1.5f);
    XELORAALGO::depthfilter::Bilateralfilter(t.e, smoothingFirst.data(), rectMask.data(), 2, 400.0f);
    t.run(true, true);
    int checked = 0, orderMatters = 0;
    for (int r = 1; r < 14; ++r)
        for (int c = 1; c < 14; ++c) {
            const std::size_t i = static_cast<std::size_t>(r * 16 + c);
            if (!t.mask[i]) continue;
            EXPECT_EQ(t.Z[i], bilateralFirst[i]) << r << "," << c;  // identity row map: copied
            orderMatters += bilateralFirst[i] != smoothingFirst[i];
            ++checked;
        }
    EXPECT_GT(checked, 100);
    EXPECT_GT(orderMatters, 0);
}

// Camera 2 sees camera 1's column c at c - d(row): matching must return that column and the
// triangulation the depth baseline * f / (d * pitch).
TEST(StereoGeometry, KnownDisparityGivesBackColumnsAndDepth) {
    const int w = 64, h = 16;
    Hand t(w, h);
    t.e.phaseBucketWidth = 402.1238596594944 / w;
    const double slope = 0.9 * t.e.phaseBucketWidth;
    const auto d = [](int r) { return 5.25 + 0.5 * r; };
    BoolMap mask1(t.n(), true), mask2(t.n(), true), matchMask(t.n(), false);
    std::vector<float> phase1(t.n()), phase2(t.n());
    for (std::size_t i = 0; i < t.n(); ++i) {
        phase1[i] = static_cast<float>(slope * static_cast<double>(i % w) + 20.0);
        phase2[i] = static_cast<float>(slope * (static_cast<double>(i % w) + d(static_cast<int>(i / w))) + 20.0);
    }
    XELORAALGO::stereo::MatchI(t.e, mask1.data(), mask2.data(), matchMask.data(), phase1.data(), phase2.data());
    XELORAALGO::stereo::MatchII(t.e, mask1.data(), mask2.data(), matchMask.data(), phase1.data(), phase2.data());
    int matched = 0, checked = 0;
    for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c) {
            const double m = c - d(r);
            if (m < 3 || m > w - 4) continue;
            ASSERT_TRUE(matchMask[static_cast<std::size_t>(r * w + c)]) << r << "," << c;
            EXPECT_NEAR(t.e.subpixelColumn[static_cast<std::size_t>(r * w + c)], m, 2e-4) << r << "," << c;
            ++matched;
        }
    EXPECT_GT(matched, 500);
    for (std::size_t i = 0; i < t.n(); ++i) t.mask[i] = matchMask[i];
    t.run();
    for (int r = 1; r <= h - 3; ++r)
        for (int c = 1; c <= w - 3; ++c) {
            if (c - 1 - d(r + 2) < 3 || c + 2 - d(r - 1) > w - 4) continue;  // 4 x 4 neighbourhood not all matched
            const std::size_t i = static_cast<std::size_t>(r * w + c);
            ASSERT_TRUE(t.mask[i]);
            const double z = 100.0 * 12.0 / (d(r) * 0.0048);
            EXPECT_NEAR(t.Z[i], z, 1e-4 * z) << r << "," << c;
            EXPECT_NEAR(t.X[i], (c - w / 2.0) * 0.0048 * z / 12.0, 1e-4 * z);
            ++checked;
        }
    EXPECT_GT(checked, 300);
}

namespace {

double keysD(double x) {  // Keys' kernel, a = -0.5, in double
    const double t = std::fabs(x);
    return t <= 1 ? 1.5 * t * t * t - 2.5 * t * t + 1 : t < 2 ? -0.5 * t * t * t + 2.5 * t * t - 4 * t + 2 : 0;
}

}  // namespace

// Row map: rectified row r sits at camera row t(r) = r + 0.25 (rows 0..10) and t(r) = r + 1.25 (rows
// 11 on), so rectified rows 10 -> 11 cross camera rows 11 and 12. Camera row k gets the first whole row
// crossed: k = a + 1 at r + (k - t(r)) / (t(r + 1) - t(r)), i.e. k - 0.25 for k <= 10, 10.375 for
// k = 11, k - 1.25 from 13 on; row 0 and row 12 get no entry, resample outside the grid and stay valid
// points at (0, 0, 0). The depth of a rectified row is that of its disparity d(r) = 6 + 0.5 r, so the
// camera rows carry the cubic interpolation of those depths at their row-map positions.
TEST(CalPoint, RowMapTakesTheFirstWholeRowCrossed) {
    const int w = 16, h = 20;
    Hand t(w, h);
    const auto rowOf = [](int r) { return r <= 10 ? r + 0.25 : r + 1.25; };
    const auto d = [](int r) { return 6.0 + 0.5 * r; };
    for (std::size_t i = 0; i < t.n(); ++i) {
        const int r = static_cast<int>(i) / w, c = static_cast<int>(i) % w;
        t.e.lineIndexMap[i] = rowOf(r);
        t.e.subpixelColumn[i] = static_cast<float>(c - d(r));
    }
    t.run();
    const auto depth = [&](int r) { return 100.0 * 12.0 / (d(r) * 0.0048); };  // of rectified row r
    const auto rowMapOf = [](int k) { return k == 0 || k == 12 ? 0.0 : k <= 10 ? k - 0.25 : k == 11 ? 10.375 : k - 1.25; };
    int valid = 0;
    for (int k = 0; k < h; ++k)
        for (int c = 0; c < w; ++c) {
            const std::size_t i = static_cast<std::size_t>(k * w + c);
            ASSERT_TRUE(t.mask[i]) << k << "," << c;  // rectMapY1 is the identity
            ++valid;
            const double y = rowMapOf(k);
            const int r = static_cast<int>(y);
            if (c < 1 || c > w - 3 || r < 1 || r > h - 3) {
                EXPECT_TRUE(t.Z[i] == 0.0f && t.X[i] == 0.0f && t.Y[i] == 0.0f) << k << "," << c;
                continue;
            }
            double z = 0;
            for (int j = r - 1; j <= r + 2; ++j) z += keysD(y - j) * depth(j);
            EXPECT_NEAR(t.Z[i], z, 2e-5 * z) << k << "," << c;
        }
    EXPECT_EQ(t.count, valid);
}

// Non-finite depths are dropped after the resampling: a NaN sub-pixel column and a zero disparity
// (infinite depth) spread to the 16 output pixels whose neighbourhood holds them (weight 0 times a
// non-finite value is NaN), and an output pixel whose 16 neighbours are all invalid is 0 / 0.
TEST(CalPoint, NonFiniteDepthsAreDroppedFromMaskAndCount) {
    const int w = 16, h = 16;
    Hand t(w, h);
    const auto at = [w](int r, int c) { return static_cast<std::size_t>(r * w + c); };
    for (std::size_t i = 0; i < t.n(); ++i) t.e.subpixelColumn[i] = static_cast<float>(static_cast<int>(i) % w - 6);
    t.e.subpixelColumn[at(8, 8)] = NAN;
    t.e.subpixelColumn[at(3, 3)] = 3.0f;  // no disparity
    for (int r = 11; r <= 14; ++r)
        for (int c = 0; c < w; ++c) t.mask[at(r, c)] = false;
    for (int c = 0; c < w; ++c) t.e.rectMapY1[at(2, c)] = 11.6;  // row 2's mask lands on the nearest row, 12
    t.run();
    int expectedCount = 0;
    for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c) {
            const std::size_t i = at(r, c);
            const bool carried = r != 2 && (r < 11 || r > 14 || r == 12);
            const bool interior = r >= 1 && r <= h - 3 && c >= 1 && c <= w - 3;
            const bool dropped = interior && ((r >= 6 && r <= 9 && c >= 6 && c <= 9) ||  // NaN at (8, 8): rows, columns 6..9
                                              (r >= 1 && r <= 4 && c >= 1 && c <= 4) ||  // infinity at (3, 3)
                                              r == 12);                                  // no valid neighbour
            const bool valid = carried && !dropped;
            expectedCount += valid;
            EXPECT_EQ(t.mask[i], valid) << r << "," << c;
            if (!valid) EXPECT_TRUE(t.X[i] == 0.0f && t.Y[i] == 0.0f && t.Z[i] == 0.0f) << r << "," << c;
            else EXPECT_TRUE(std::isfinite(t.Z[i])) << r << "," << c;
        }
    // 12 carried rows (all but 2 and 11..14, with 12 carried from 2); dropped: 16 around (8, 8), 12 around
    // (3, 3) outside the uncarried row 2, 13 interior pixels of row 12.
    EXPECT_EQ(expectedCount, 16 * 12 - 16 - 12 - 13);
    EXPECT_EQ(t.count, expectedCount);
}
