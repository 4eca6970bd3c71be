// Triangulation: the depth formula and its float rounding points, the row map back to camera 1's
// grid, the masks and the count, non-finite depths, the filter order, and two geometric checks:
// rectified phase maps of a known disparity, and a whole frame of a tilted plane seen by two
// calibrated cameras (rectification, matching, triangulation) through the public members.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <vector>

#include "StereoTestUtil.h"
#include "XeloraAlgo.h"
#include "depthfilter/Bilateralfilter.h"
#include "fringe/fringe.h"
#include "stereo/stereo.h"

using XELORAALGO::AlgoEngine;
using stereotest::BoolMap;
using stereotest::setRoi;

namespace {

double keysRef(double x) {
    const double t = std::fabs(x);
    if (t <= 1) return 1.5 * t * t * t - 2.5 * t * t + 1;
    if (t < 2) return -0.5 * t * t * t + 2.5 * t * t - 4 * t + 2;
    return 0;
}

// An engine whose geometry is set by hand: rectified row r of every column is camera-1 row tau(r)
// (lineIndexMap = offsetY + s * tau, rectMapY1 = tau), focal lengths 12 mm (2500 pixels).
struct Hand {
    int w, h;
    AlgoEngine e;
    BoolMap mask;
    std::vector<float> X, Y, Z;
    int count = -1;
    Hand(int width, int height, int ox = 0, int oy = 0, int step = 1, float offset = 0.0f)
        : w(width), h(height), mask(n(), true), X(n(), -1.0f), Y(n(), -1.0f), Z(n(), -1.0f) {
        setRoi(e, w, h, ox, oy);
        e.downsampleStep = step;
        e.downsampleOffset = offset;
        e.pixelPitch = 0.0048;
        e.cx1 = ox + w / 2.0;
        e.cy1 = oy + h / 2.0;
        e.cx2 = e.cx1;
        e.focal1Mm = e.focal2Mm = 12.0;
        e.calib.R[0] = e.calib.R[4] = e.calib.R[8] = 1.0;  // camera 2 parallel, baseline 100 along x
        e.calib.T[0] = -100.0;
        e.subpixelColumn.assign(n(), 0.0f);
        rows([](int r) { return static_cast<double>(r); });
    }
    std::size_t n() const { return static_cast<std::size_t>(w) * static_cast<std::size_t>(h); }
    std::size_t at(int r, int c) const { return static_cast<std::size_t>(r * w + c); }
    void rows(const std::function<double(int)>& tau) {
        e.lineIndexMap.assign(n(), 0.0);
        e.rectMapY1.assign(n(), 0.0);
        for (int r = 0; r < h; ++r)
            for (int c = 0; c < w; ++c) {
                e.lineIndexMap[at(r, c)] = e.roi.offsetY + e.downsampleStep * tau(r);
                e.rectMapY1[at(r, c)] = tau(r);
            }
    }
    void disparity(const std::function<double(int, int)>& d) {
        for (int r = 0; r < h; ++r)
            for (int c = 0; c < w; ++c) e.subpixelColumn[at(r, c)] = static_cast<float>(c - d(r, c));
    }
    void run(bool bilateral = false, int bs = 1, float br = 1.0f, bool smooth = false, float ss = 1.0f) {
        XELORAALGO::stereo::CalPoint(e, mask.data(), X.data(), Y.data(), Z.data(), count, bilateral, bs, br, smooth, ss);
    }
    bool interior(int r, int c) const { return r >= 1 && r <= h - 3 && c >= 1 && c <= w - 3; }
};

// The depth of rectified pixel (row, col) as the triangulation defines it, with its rounding points.
// `variant` leaves one of them out (1: xR not rounded in the numerator, 2: R[2][1] * yL in double,
// 3: R[0][1] not rounded, 4: the offsets of camera 2's sensor column summed first), to show that the
// comparison with it can tell.
float documentedDepth(const AlgoEngine& e, int row, int col, int variant = 0) {
    const std::size_t i = static_cast<std::size_t>(row * e.roi.width + col);
    const float m = e.subpixelColumn[i];
    const int s = e.downsampleStep;
    const float o = e.downsampleOffset;
    const double p = e.pixelPitch;
    const double* R = e.calib.R;
    const double* T = e.calib.T;
    const float xs = static_cast<float>(s * col) + o + static_cast<float>(e.roi.offsetX);
    const double xL = (static_cast<double>(xs) - e.cx1) * p;
    const double yL = (static_cast<double>(o) + e.lineIndexMap[i] - e.cy1) * p;
    const float xrs = variant == 4 ? static_cast<float>(s) * m + (o + static_cast<float>(e.roi.offsetX))
                                   : static_cast<float>(s) * m + o + static_cast<float>(e.roi.offsetX);
    const double xR = (static_cast<double>(xrs) - e.cx2) * p;
    const float f1 = static_cast<float>(e.focal1Mm), f2 = static_cast<float>(e.focal2Mm);
    const double xRn = variant == 1 ? xR : static_cast<double>(static_cast<float>(xR));
    const float num = static_cast<float>(static_cast<double>(f2) * T[0] - xRn * T[2]) * f1;
    const double r21yL =
        variant == 2 ? R[7] * yL : static_cast<double>(static_cast<float>(R[7]) * static_cast<float>(yL));
    const double r01 = variant == 3 ? R[1] : static_cast<double>(static_cast<float>(R[1]));
    const double row2 = R[6] * xL + r21yL + R[8] * static_cast<double>(f1);
    const double row0 = R[0] * xL + r01 * yL + R[2] * static_cast<double>(f1);
    const float den = static_cast<float>(xR * row2 - static_cast<double>(f2) * row0);
    return num / den;
}

// The same intersection with every step in double and one final rounding.
float doubleDepth(const AlgoEngine& e, int row, int col) {
    const std::size_t i = static_cast<std::size_t>(row * e.roi.width + col);
    const double p = e.pixelPitch;
    const double* R = e.calib.R;
    const double* T = e.calib.T;
    const double xL = (e.downsampleStep * col + e.downsampleOffset + e.roi.offsetX - e.cx1) * p;
    const double yL = (e.downsampleOffset + e.lineIndexMap[i] - e.cy1) * p;
    const double xR = (e.downsampleStep * static_cast<double>(e.subpixelColumn[i]) + e.downsampleOffset +
                       e.roi.offsetX - e.cx2) * p;
    const double f1 = e.focal1Mm, f2 = e.focal2Mm;
    const double num = (f2 * T[0] - xR * T[2]) * f1;
    const double den = xR * (R[6] * xL + R[7] * yL + R[8] * f1) - f2 * (R[0] * xL + R[1] * yL + R[2] * f1);
    return static_cast<float>(num / den);
}

// Rotation about x, y and z (roll, yaw, pitch) so that every element of R is non-zero.
void setRotation(double* R, double ax, double ay, double az) {
    const double cx = std::cos(ax), sx = std::sin(ax), cy = std::cos(ay), sy = std::sin(ay), cz = std::cos(az),
                 sz = std::sin(az);
    const double Rx[9] = {1, 0, 0, 0, cx, -sx, 0, sx, cx};
    const double Ry[9] = {cy, 0, sy, 0, 1, 0, -sy, 0, cy};
    const double Rz[9] = {cz, -sz, 0, sz, cz, 0, 0, 0, 1};
    double A[9];
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c) {
            A[3 * r + c] = 0;
            for (int k = 0; k < 3; ++k) A[3 * r + c] += Rz[3 * r + k] * Ry[3 * k + c];
        }
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c) {
            R[3 * r + c] = 0;
            for (int k = 0; k < 3; ++k) R[3 * r + c] += A[3 * r + k] * Rx[3 * k + c];
        }
}

}  // namespace

TEST(CalPoint, DepthFollowsTheDocumentedRoundingAndIsCarriedBackExactly) {
    // Sensor coordinates far from the principal points and a large rotation and translation make
    // every rounding point visible in the float results.
    Hand t(40, 25, 1007, 3, 2, 0.3f);
    setRotation(t.e.calib.R, 0.3, 0.4, 0.2);
    t.e.calib.T[0] = -100.0, t.e.calib.T[1] = 20.0, t.e.calib.T[2] = 300.0;
    t.e.cx1 -= 1500.0;
    t.e.cy1 -= 30000.0;
    t.e.cx2 = t.e.cx1 + 800.0;
    t.e.focal2Mm = 12.3;
    t.disparity([](int r, int c) { return 4.3 + 0.37 * r + 0.11 * c; });
    std::vector<float> expected(t.n()), plain(t.n());
    int variantDiffers[5] = {0, 0, 0, 0, 0};
    for (int r = 0; r < t.h; ++r)
        for (int c = 0; c < t.w; ++c) {
            expected[t.at(r, c)] = documentedDepth(t.e, r, c);
            plain[t.at(r, c)] = doubleDepth(t.e, r, c);
            for (int v = 1; v <= 4; ++v) variantDiffers[v] += documentedDepth(t.e, r, c, v) != expected[t.at(r, c)];
        }
    for (int v = 1; v <= 4; ++v) EXPECT_GT(variantDiffers[v], 0) << "variant " << v;
    t.run();
    // Identity row map and integer columns: the masked resampling copies interior depths exactly.
    // Rows 23 and 24 (neighbourhood beyond the last row; row 24 also past the last band), row 0
    // (row map 0) and the border columns come out 0 but stay valid points.
    int differsFromDouble = 0;
    for (int r = 0; r < t.h; ++r)
        for (int c = 0; c < t.w; ++c) {
            const std::size_t i = t.at(r, c);
            ASSERT_TRUE(t.mask[i]);
            if (!t.interior(r, c)) {
                EXPECT_EQ(t.Z[i], 0.0f) << r << "," << c;
                EXPECT_EQ(t.X[i], 0.0f);
                EXPECT_EQ(t.Y[i], 0.0f);
                continue;
            }
            EXPECT_EQ(t.Z[i], expected[i]) << r << "," << c;
            differsFromDouble += t.Z[i] != plain[i];
            EXPECT_NEAR(t.Z[i], plain[i], 1e-4 * std::fabs(plain[i]));
            // X and Y from the sensor position of camera 1's pixel, in float.
            const float xMm = static_cast<float>(
                (static_cast<double>(static_cast<float>(2 * c) + 0.3f + 1007.0f) - t.e.cx1) * 0.0048);
            const float yMm = static_cast<float>(
                (static_cast<double>(static_cast<float>(2 * r) + 0.3f + 3.0f) - t.e.cy1) * 0.0048);
            EXPECT_EQ(t.X[i], xMm * t.Z[i] / 12.0f);
            EXPECT_EQ(t.Y[i], yMm * t.Z[i] / 12.0f);
        }
    EXPECT_GT(differsFromDouble, 0);  // the rounding points matter for this geometry
    EXPECT_EQ(t.count, static_cast<int>(t.n()));
}

TEST(CalPoint, RowMapRecordsOnlyTheFirstWholeRowCrossed) {
    // Rectified row r lies on camera-1 row 1.6 r + 0.3: between rectified rows 1 and 2 camera rows
    // 2 and 3 are crossed, between 2 and 3 rows 4 and 5, between 4 and 5 rows 7 and 8; only the
    // first of each pair gets a row-map entry.
    Hand t(12, 12);
    const auto tau = [](int r) { return 1.6 * r + 0.3; };
    t.rows(tau);
    const auto d = [](int r, int) { return 20.0 + 2.0 * r; };
    t.disparity(d);
    t.run();
    // New mask: rows (int)(tau + 0.5) = 0, 2, 4, 5, 7, 8, 10 (rectified row 7 lands on 12: outside).
    const bool validRow[12] = {true, false, true, false, true, true, false, true, true, false, true, false};
    // Fractional rectified row of each camera-1 row (0 where none was recorded).
    const double rowMap[12] = {0, 0.7 / 1.6, 1 + 0.1 / 1.6, 0, 2 + 0.5 / 1.6, 0, 3 + 0.9 / 1.6,
                               4 + 0.3 / 1.6, 0, 5 + 0.7 / 1.6, 6 + 0.1 / 1.6, 0};
    int expectedCount = 0;
    for (int r = 0; r < t.h; ++r)
        for (int c = 0; c < t.w; ++c) {
            const std::size_t i = t.at(r, c);
            ASSERT_EQ(t.mask[i], validRow[r]) << r << "," << c;
            if (!validRow[r]) {
                EXPECT_EQ(t.Z[i], 0.0f);
                continue;
            }
            ++expectedCount;
            const double y = rowMap[r];
            const int base = static_cast<int>(y);
            if (base < 1 || base > t.h - 3 || c < 1 || c > t.w - 3) {
                EXPECT_EQ(t.Z[i], 0.0f) << r << "," << c;
                continue;
            }
            // Depth of rectified row k: baseline 100 mm, f 12 mm, disparity d pixels of 0.0048 mm.
            double s = 0, wsum = 0;
            for (int k = base - 1; k <= base + 2; ++k) {
                const double wk = keysRef(static_cast<float>(y) - k);
                s += wk * (100.0 * 12.0 / (d(k, c) * 0.0048));
                wsum += wk;
            }
            EXPECT_NEAR(t.Z[i], s / wsum, 1e-5 * s / wsum) << r << "," << c;
        }
    EXPECT_EQ(t.count, expectedCount);
}

TEST(CalPoint, NonFiniteDepthsSpreadThroughTheResamplingAndAreDropped) {
    Hand t(12, 12);
    t.disparity([](int, int) { return 25.0; });
    t.e.subpixelColumn[t.at(4, 5)] = std::numeric_limits<float>::quiet_NaN();
    // A lone valid rectified pixel that lands on a camera-1 row with no valid neighbours.
    t.mask[t.at(9, 9)] = false;
    for (int r = 6; r <= 10; ++r)
        for (int c = 8; c <= 11; ++c) t.mask[t.at(r, c)] = false;
    t.mask[t.at(0, 9)] = true;
    t.e.rectMapY1[t.at(0, 9)] = 7.2;
    const std::size_t validBefore = t.mask.countTrue();
    t.run();
    int dropped = 0;
    for (int r = 0; r < t.h; ++r)
        for (int c = 0; c < t.w; ++c) {
            const std::size_t i = t.at(r, c);
            const bool nearNaN = r >= 2 && r <= 5 && c >= 3 && c <= 6;  // 4 x 4 neighbourhoods holding (4, 5)
            if (nearNaN || (r == 7 && c == 9)) {
                EXPECT_FALSE(t.mask[i]) << r << "," << c;
                EXPECT_EQ(t.Z[i], 0.0f);
                EXPECT_EQ(t.X[i], 0.0f);
                ++dropped;
            } else if (t.mask[i]) {
                EXPECT_TRUE(std::isfinite(t.Z[i]));
            }
        }
    EXPECT_EQ(dropped, 17);
    // The rectified pixel (0, 9) moved to (7, 9) and every other one kept its place, so the
    // number of valid pixels only drops by the 17 non-finite depths.
    EXPECT_EQ(t.count, static_cast<int>(validBefore) - 17);
    EXPECT_EQ(t.count, static_cast<int>(t.mask.countTrue()));
}

TEST(CalPoint, BilateralFilterRunsBeforeTheMaskedSmoothingOnTheRectifiedGrid) {
    Hand t(16, 16);
    t.disparity([](int r, int c) { return 18.0 + 0.9 * r + 0.05 * c * c + ((r * 7 + c * 3) % 5) * 0.4; });
    for (int c = 0; c < 5; ++c) t.mask[t.at(6, c)] = false;
    BoolMap rectMask(t.n());
    std::vector<float> depth(t.n(), 0.0f);
    for (int r = 0; r < t.h; ++r)
        for (int c = 0; c < t.w; ++c) {
            rectMask[t.at(r, c)] = t.mask[t.at(r, c)];
            if (t.mask[t.at(r, c)]) depth[t.at(r, c)] = documentedDepth(t.e, r, c);
        }
    std::vector<float> bilateralFirst = depth, smoothingFirst = depth;
    XELORAALGO::depthfilter::Bilateralfilter(t.e, bilateralFirst.data(), rectMask.data(), 2, 400.0f);
    XELORAALGO::fringe::SmoothMaskedMap(t.e, bilateralFirst.data(), rectMask.data(), 1.5f);
    XELORAALGO::fringe::SmoothMaskedMap(t.e, smoothingFirst.data(), rectMask.data(), 1.5f);
    XELORAALGO::depthfilter::Bilateralfilter(t.e, smoothingFirst.data(), rectMask.data(), 2, 400.0f);
    t.run(true, 2, 400.0f, true, 1.5f);
    int checked = 0, orderMatters = 0;
    for (int r = 0; r < t.h; ++r)
        for (int c = 0; c < t.w; ++c) {
            const std::size_t i = t.at(r, c);
            if (!t.mask[i] || !t.interior(r, c)) continue;
            // Identity row map: interior depths are copied; all 16 neighbours are finite.
            EXPECT_EQ(t.Z[i], bilateralFirst[i]) << r << "," << c;
            orderMatters += bilateralFirst[i] != smoothingFirst[i];
            ++checked;
        }
    EXPECT_GT(checked, 100);
    EXPECT_GT(orderMatters, 0);
}

TEST(CalPoint, MissingTablesGiveNoPoints) {
    Hand t(8, 8);
    t.e.subpixelColumn.clear();
    t.run();
    EXPECT_EQ(t.count, 0);
    for (std::size_t i = 0; i < t.n(); ++i) {
        EXPECT_FALSE(t.mask[i]);
        EXPECT_EQ(t.Z[i], 0.0f);
    }
}

// Rectified phase maps in which camera 2 sees camera 1's column c at c - d(row): matching must
// return that disparity and the triangulation the depth baseline * f / (d * pitch).
TEST(StereoGeometry, KnownDisparityGivesBackColumnsAndDepth) {
    const int w = 64, h = 16;
    Hand t(w, h);
    t.e.phaseBucketWidth = 402.1238596594944 / w;
    const double slope = 0.9 * t.e.phaseBucketWidth;
    const auto d = [](int r) { return 5.25 + 0.5 * r; };
    BoolMap mask1(t.n(), true), mask2(t.n(), true), matchMask(t.n(), false);
    std::vector<float> phase1(t.n()), phase2(t.n());
    for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c) {
            phase1[t.at(r, c)] = static_cast<float>(slope * c + 20.0);
            phase2[t.at(r, c)] = static_cast<float>(slope * (c + d(r)) + 20.0);
        }
    XELORAALGO::stereo::MatchI(t.e, mask1.data(), mask2.data(), matchMask.data(), phase1.data(), phase2.data());
    XELORAALGO::stereo::MatchII(t.e, mask1.data(), mask2.data(), matchMask.data(), phase1.data(), phase2.data());
    int matched = 0;
    for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c) {
            const double m = c - d(r);
            if (m < 3 || m > w - 4) continue;
            const std::size_t i = t.at(r, c);
            ASSERT_TRUE(matchMask[i]) << r << "," << c;
            EXPECT_NEAR(t.e.subpixelColumn[i], m, 2e-4) << r << "," << c;
            ++matched;
        }
    EXPECT_GT(matched, 500);

    for (std::size_t i = 0; i < t.n(); ++i) t.mask[i] = matchMask[i];
    t.run();
    int checked = 0;
    for (int r = 1; r <= h - 3; ++r)
        for (int c = 1; c <= w - 3; ++c) {
            // Interior output pixels whose 4 x 4 rectified neighbourhood is matched.
            if (c - 1 - d(r + 2) < 3 || c + 2 - d(r - 1) > w - 4) continue;
            const std::size_t i = t.at(r, c);
            ASSERT_TRUE(t.mask[i]);
            const double z = 100.0 * 12.0 / (d(r) * 0.0048);
            EXPECT_NEAR(t.Z[i], z, 1e-4 * z) << r << "," << c;
            EXPECT_NEAR(t.X[i], (c - w / 2.0) * 0.0048 * z / 12.0, 1e-4 * z);
            ++checked;
        }
    EXPECT_GT(checked, 300);
}

// A whole frame through the public members: two calibrated cameras (camera 2 turned about the y
// axis) look at the plane Z = 1000 + 0.5 X; each camera's absolute phase is a linear function of
// the X of the point it sees. The point map must lie on the plane.
TEST(StereoFrame, TiltedPlaneEndToEnd) {
    const int w = 96, h = 40, ox = 100, oy = 50;
    stereotest::Rig rig;
    rig.cx = ox + w / 2.0;
    rig.cy = oy + h / 2.0;
    rig.yaw = 0.004;
    const double z0 = 1000.0, tilt = 0.5;
    const double bucket = 402.1238596594944 / w;
    const auto phaseOf = [&](const double* P) { return static_cast<float>(bucket * (0.9 * (P[0] * rig.f / z0 + w / 2.0) + 2.0)); };

    for (int filtered = 0; filtered < 2; ++filtered) {
        XELORAALGO::XeloraAlgo algo;
        XELORAALGO::tagXeloraAlgoROIInfo roi{ox, oy, w, h};
        algo.SetROIInfo(&roi);
        auto calib = rig.calibration();
        algo.SetCalibrationInfo(&calib);
        algo.CalKR();
        algo.CalRectifyMap1(true);
        algo.CalRectifyMap1(false);

        const std::size_t n = static_cast<std::size_t>(w * h);
        BoolMap mask1(n, true), mask2(n, true), matchMask(n, false);
        std::vector<float> phase1(n), phase2(n), X(n), Y(n), Z(n);
        for (int r = 0; r < h; ++r)
            for (int c = 0; c < w; ++c) {
                double P[3];
                rig.pointOnPlane(true, c + ox, r + oy, z0, tilt, P);
                phase1[static_cast<std::size_t>(r * w + c)] = phaseOf(P);
                rig.pointOnPlane(false, c + ox, r + oy, z0, tilt, P);
                phase2[static_cast<std::size_t>(r * w + c)] = phaseOf(P);
            }
        algo.InterpCubic1(phase1.data());
        algo.InterpFlag1(mask1.data());
        algo.InterpCubic2(phase2.data());
        algo.InterpFlag2(mask2.data());
        algo.MatchI(mask1.data(), mask2.data(), matchMask.data(), phase1.data(), phase2.data());
        algo.MatchII(mask1.data(), mask2.data(), matchMask.data(), phase1.data(), phase2.data());
        int count = -1;
        algo.CalPoint(matchMask.data(), X.data(), Y.data(), Z.data(), count, filtered == 1, 2, 5.0f, filtered == 1, 1.5f);

        EXPECT_EQ(count, static_cast<int>(matchMask.countTrue()));
        EXPECT_GT(count, static_cast<int>(n / 2));
        const double tol = filtered ? 1.0 : 0.02;
        int onPlane = 0;
        for (int r = 0; r < h; ++r)
            for (int c = 0; c < w; ++c) {
                const std::size_t i = static_cast<std::size_t>(r * w + c);
                if (!matchMask[i]) {
                    EXPECT_EQ(X[i], 0.0f);
                    EXPECT_EQ(Y[i], 0.0f);
                    EXPECT_EQ(Z[i], 0.0f);
                    continue;
                }
                if (Z[i] == 0.0f) {
                    // Valid points without depth only where the resampling has no neighbourhood:
                    // rectified row 0 lies a little below camera row 0 away from the epipole's
                    // side, so camera row 1 can fall between rectified rows 0 and 1.
                    EXPECT_TRUE(r <= 1 || r >= h - 2 || c == 0 || c >= w - 2) << r << "," << c;
                    continue;
                }
                double P[3];
                rig.pointOnPlane(true, c + ox, r + oy, z0, tilt, P);
                EXPECT_NEAR(Z[i], P[2], tol) << r << "," << c;
                EXPECT_NEAR(X[i], P[0], tol * 0.05) << r << "," << c;
                EXPECT_NEAR(Y[i], P[1], tol * 0.05) << r << "," << c;
                ++onPlane;
            }
        EXPECT_GT(onPlane, count * 8 / 10) << "filtered " << filtered;
    }
}
