// Tests of FillingFunction: hole regions, area classes, filling on planes with pinhole-consistent X
// and Y, the five-pixel margin, the search bounds of the estimates, the depth range and the per-level
// rules of the surface test.
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <queue>
#include <random>
#include <vector>

#include "XeloraAlgo.h"
#include "depthfilter/depthfilter.h"

namespace XELORAALGO {
namespace {

// A point map of w x h pixels seen by camera 1 with focal length fpx pixels (fx = fy) and principal
// point (cx, cy) in sensor pixels. Valid pixels carry X, Y from the pinhole model.
struct Scene {
    int w, h;
    AlgoEngine& e;
    std::vector<float> X, Y, Z;
    std::unique_ptr<bool[]> mask;

    static AlgoEngine& shared() {
        static AlgoEngine engine;
        return engine;
    }

    Scene(int w_, int h_, double fpx, double cx, double cy, int step = 1, float offset = 0.0f, int offX = 0,
          int offY = 0)
        : w(w_), h(h_), e(shared()), X(n()), Y(n()), Z(n()), mask(new bool[n()]()) {
        e.roi = {offX, offY, w, h};
        e.calib = tagXeloraAlgoCalibrationInfo{};
        e.calib.K1[0] = fpx;
        e.calib.K1[4] = fpx;
        e.cx1 = cx;
        e.cy1 = cy;
        e.pixelPitch = 0.0048;
        e.downsampleStep = step;
        e.downsampleOffset = offset;
    }
    std::size_t n() const { return static_cast<std::size_t>(w) * static_cast<std::size_t>(h); }
    std::size_t at(int r, int c) const { return static_cast<std::size_t>(r * w + c); }

    // Sensor position of a ROI column / row.
    double sensorCol(int c) const {
        return static_cast<double>(static_cast<float>(e.downsampleStep * c) + e.downsampleOffset +
                                   static_cast<float>(e.roi.offsetX));
    }
    double sensorRow(int r) const {
        return static_cast<double>(static_cast<float>(e.downsampleStep * r) + e.downsampleOffset +
                                   static_cast<float>(e.roi.offsetY));
    }
    // Pinhole back-projection at depth z, focal length in millimetres from the pixel focal length.
    float pinX(int c, float z) const {
        const double fmm = (e.calib.K1[4] + e.calib.K1[0]) * 0.0048 * 0.5;
        return static_cast<float>((sensorCol(c) - e.cx1) * e.pixelPitch * static_cast<double>(z) / fmm);
    }
    float pinY(int r, float z) const {
        const double fmm = (e.calib.K1[4] + e.calib.K1[0]) * 0.0048 * 0.5;
        return static_cast<float>((sensorRow(r) - e.cy1) * e.pixelPitch * static_cast<double>(z) / fmm);
    }
    void depth(int r, int c, float z) {
        Z[at(r, c)] = z;
        X[at(r, c)] = z != 0.0f ? pinX(c, z) : 0.0f;
        Y[at(r, c)] = z != 0.0f ? pinY(r, z) : 0.0f;
        mask[at(r, c)] = z != 0.0f;
    }
    void plane(const std::function<float(int, int)>& f) {
        for (int r = 0; r < h; ++r)
            for (int c = 0; c < w; ++c) depth(r, c, f(r, c));
    }
    void hole(int r0, int c0, int rows, int cols) {
        for (int r = r0; r < r0 + rows; ++r)
            for (int c = c0; c < c0 + cols; ++c) depth(r, c, 0.0f);
    }
    void run(int mode, int smallArea, int largeArea, int minDepth = 1, int maxDepth = 100000) {
        depthfilter::FillingFunction(e, X.data(), Y.data(), Z.data(), mask.get(), mode, smallArea, largeArea,
                                     minDepth, maxDepth);
    }
    bool filled(int r, int c) const { return Z[at(r, c)] != 0.0f && mask[at(r, c)]; }
};

// Areas of 4-connected regions of interior pixels with -1 < Z < 1, by breadth-first search.
std::vector<std::int32_t> floodAreas(const std::vector<float>& Z, int w, int h) {
    std::vector<std::int32_t> area(Z.size(), 0);
    std::vector<int> region(Z.size(), -1);
    auto cand = [&](int r, int c) {
        const float z = Z[static_cast<std::size_t>(r * w + c)];
        return r >= 1 && r <= h - 2 && c >= 1 && c <= w - 2 && z > -1.0f && z < 1.0f;
    };
    std::vector<std::int32_t> sizes;
    for (int r = 0; r < h; ++r) {
        for (int c = 0; c < w; ++c) {
            if (!cand(r, c) || region[static_cast<std::size_t>(r * w + c)] >= 0) continue;
            const int id = static_cast<int>(sizes.size());
            sizes.push_back(0);
            std::queue<std::pair<int, int>> q;
            q.push({r, c});
            region[static_cast<std::size_t>(r * w + c)] = id;
            while (!q.empty()) {
                const auto [y, x] = q.front();
                q.pop();
                ++sizes.back();
                const int dy[4] = {-1, 1, 0, 0}, dx[4] = {0, 0, -1, 1};
                for (int k = 0; k < 4; ++k) {
                    const int yy = y + dy[k], xx = x + dx[k];
                    if (yy < 0 || yy >= h || xx < 0 || xx >= w || !cand(yy, xx)) continue;
                    if (region[static_cast<std::size_t>(yy * w + xx)] >= 0) continue;
                    region[static_cast<std::size_t>(yy * w + xx)] = id;
                    q.push({yy, xx});
                }
            }
        }
    }
    for (std::size_t i = 0; i < Z.size(); ++i)
        if (region[i] >= 0) area[i] = sizes[static_cast<std::size_t>(region[i])];
    return area;
}

// Plain shapes (blobs, U-shapes, combs of a sparse random map) come out as their 4-connected
// components.
TEST(FillingFunction, HoleRegionsOfSparseMapsAreTheFourConnectedComponents) {
    std::mt19937 rng(5);
    for (int trial = 0; trial < 16; ++trial) {
        const int w = 23 + trial % 7, h = 17 + trial % 5;
        std::bernoulli_distribution isHole(0.3 + 0.01 * trial);
        std::vector<float> Z(static_cast<std::size_t>(w * h));
        for (float& z : Z) z = isHole(rng) ? (rng() % 4 == 0 ? 0.5f : 0.0f) : 300.0f;
        EXPECT_EQ(depthfilter::HoleRegionAreas(Z.data(), w, h), floodAreas(Z, w, h)) << "trial " << trial;
    }
    // -1 < Z < 1 is a candidate (the depth truncates to 0); -1 and 1 are not.
    std::vector<float> Z(25, 300.0f);
    Z[6] = -0.99f;
    Z[7] = 0.99f;
    Z[8] = -0.0f;
    Z[11] = 1.0f;
    Z[16] = -1.0f;
    const std::vector<std::int32_t> a = depthfilter::HoleRegionAreas(Z.data(), 5, 5);
    EXPECT_EQ(a[6], 3);
    EXPECT_EQ(a[8], 3);
    EXPECT_EQ(a[11], 0);
    EXPECT_EQ(a[16], 0);
}

// The equivalence table overwrites the parent of a label that is not a root, so a tangled region can
// come out in pieces. Hand-traced on this 18-pixel region (raster order, labels from 3):
//   ........   row 1: (1,2) 3, (1,3) 3, (1,5) 4, (1,6) 4
//   ..##.##.   row 2: (2,1) 5; (2,2) sees {3,5}: parent[5] = 3; (2,4) 6; (2,6) 4
//   .##.#.#.   row 3: (3,1) 3; (3,3) 7; (3,4) sees {6,7}: parent[7] = 6; (3,5) 6;
//   .#.####.          (3,6) sees {4,6}: parent[6] = 4
//   .#####..   row 4: (4,3) sees {3,7}: q = parent[7] = 6 > 3, so parent[6] = parent[7] = 3, which
//   ........          drops the link 6 -> 4. Label 4 stays a root of its own.
// Result: the four pixels labelled 4 form a region of area 4, the other fourteen one of area 14.
TEST(FillingFunction, EquivalenceTableSplitsThisTangledRegion) {
    const char* rows[] = {"........", "..##.##.", ".##.#.#.", ".#.####.", ".#####..", "........"};
    const int w = 8, h = 6;
    std::vector<float> Z(static_cast<std::size_t>(w * h));
    for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c) Z[static_cast<std::size_t>(r * w + c)] = rows[r][c] == '#' ? 0.0f : 250.0f;
    const std::vector<std::int32_t> a = depthfilter::HoleRegionAreas(Z.data(), w, h);
    for (int r = 0; r < h; ++r) {
        for (int c = 0; c < w; ++c) {
            const bool labelFour = (r == 1 && (c == 5 || c == 6)) || (c == 6 && (r == 2 || r == 3));
            const int want = rows[r][c] != '#' ? 0 : (labelFour ? 4 : 14);
            EXPECT_EQ(a[static_cast<std::size_t>(r * w + c)], want) << r << " " << c;
        }
    }
}

// A 2 x 2 hole in the tilted plane Z = 500 + 2c + 3r: the linear estimates land on the plane exactly,
// and X, Y follow the pinhole model with the ROI offset and downsampling.
TEST(FillingFunction, SmallHoleInAPlaneIsFilledOnThePlane) {
    Scene s(30, 25, 1000.0, 130.25, 72.0, 2, 0.5f, 100, 50);
    auto plane = [](int r, int c) { return 500.0f + 2.0f * static_cast<float>(c) + 3.0f * static_cast<float>(r); };
    s.plane(plane);
    s.hole(10, 12, 2, 2);
    const std::vector<float> before = s.Z;
    s.run(1, 4, 100, 400, 700);
    for (int r = 0; r < s.h; ++r) {
        for (int c = 0; c < s.w; ++c) {
            const std::size_t i = s.at(r, c);
            if (before[i] != 0.0f) {
                EXPECT_EQ(s.Z[i], before[i]);
                continue;
            }
            ASSERT_TRUE(s.filled(r, c)) << r << " " << c;
            EXPECT_EQ(s.Z[i], plane(r, c));
            // pinhole: X = (u - cx) Z / f with u = 2c + 0.5 + 100, v = 2r + 0.5 + 50
            const double u = 2.0 * c + 0.5 + 100.0, v = 2.0 * r + 0.5 + 50.0;
            EXPECT_NEAR(s.X[i], (u - 130.25) * plane(r, c) / 1000.0, 1e-4);
            EXPECT_NEAR(s.Y[i], (v - 72.0) * plane(r, c) / 1000.0, 1e-4);
        }
    }
}

// Single-pixel holes: inside rows/columns 5 .. h-6 / 5 .. w-6 they are filled, outside never.
TEST(FillingFunction, NothingIsFilledInTheOuterFiveRowsAndColumns) {
    Scene s(24, 20, 800.0, 12.0, 10.0);
    s.plane([](int r, int c) { return 300.0f + static_cast<float>(c) + static_cast<float>(r); });
    const int inside[][2] = {{5, 5}, {5, 12}, {14, 18}, {9, 5}, {14, 12}};
    const int outside[][2] = {{4, 10}, {15, 10}, {11, 4}, {9, 19}, {2, 2}, {17, 21}};
    for (const auto& p : inside) s.hole(p[0], p[1], 1, 1);
    for (const auto& p : outside) s.hole(p[0], p[1], 1, 1);
    s.run(1, 1, 10);
    for (const auto& p : inside) EXPECT_TRUE(s.filled(p[0], p[1])) << p[0] << " " << p[1];
    for (const auto& p : outside) {
        EXPECT_EQ(s.Z[s.at(p[0], p[1])], 0.0f) << p[0] << " " << p[1];
        EXPECT_FALSE(s.mask[s.at(p[0], p[1])]);
    }
    // Fewer than 11 rows: nothing at all.
    Scene t(20, 10, 800.0, 10.0, 5.0);
    t.plane([](int, int) { return 300.0f; });
    t.hole(5, 8, 1, 1);
    t.run(5, 10, 100);
    EXPECT_EQ(t.Z[t.at(5, 8)], 0.0f);
}

// The right (down) estimate searches up to column w-2 (row h-2) only: a hole reaching that far has no
// estimate even though the border pixel beyond it holds a depth, and is not filled.
TEST(FillingFunction, HoleWithoutDepthToTheRightOrBelowIsNotFilled) {
    for (const int lastCol : {16, 17, 18}) {  // w = 20: 18 is w-2
        Scene s(20, 20, 800.0, 10.0, 10.0);
        s.plane([](int, int) { return 400.0f; });
        s.hole(8, 14, 1, lastCol - 14 + 1);
        s.run(2, 10, 100);
        EXPECT_EQ(s.filled(8, 14), lastCol < 18) << "hole to column " << lastCol;
    }
    for (const int lastRow : {17, 18}) {
        Scene s(20, 20, 800.0, 10.0, 10.0);
        s.plane([](int, int) { return 400.0f; });
        s.hole(12, 9, lastRow - 12 + 1, 1);
        s.run(2, 10, 100);
        EXPECT_EQ(s.filled(12, 9), lastRow < 18) << "hole to row " << lastRow;
    }
}

// On the flat plane Z = 500 every reference direction is collinear, so the surface test passes.
// A region of exactly smallArea is small; one of exactly largeArea is left alone; in between it is a
// larger hole, filled from mode 2 on only.
TEST(FillingFunction, AreaClassesAndLevels) {
    struct Case {
        int mode, smallArea, largeArea;
        bool filled;
    };
    const Case cases[] = {
        {1, 9, 20, true},   // exactly smallArea: small
        {1, 8, 20, false},  // larger hole at level 1
        {2, 8, 20, true},   {3, 8, 20, true}, {5, 8, 20, true},
        {5, 8, 9, false},   // exactly largeArea
        {0, 9, 20, false},  // other levels: tolerance 0, but the flat plane still agrees exactly
        {7, 8, 20, false},  // larger hole at an unknown level: angle limit 0
    };
    for (const Case& k : cases) {
        Scene s(30, 30, 600.0, 15.0, 15.0);
        s.plane([](int, int) { return 500.0f; });
        s.hole(12, 12, 3, 3);
        s.run(k.mode, k.smallArea, k.largeArea, 100, 1000);
        for (int r = 12; r < 15; ++r) {
            for (int c = 12; c < 15; ++c) {
                if (k.mode == 0) {
                    EXPECT_TRUE(s.filled(r, c));  // tolerance 0 passes identical depths
                    continue;
                }
                EXPECT_EQ(s.filled(r, c), k.filled) << "mode " << k.mode << " small " << k.smallArea << " large "
                                                     << k.largeArea << " at " << r << " " << c;
                if (s.filled(r, c)) {
                    EXPECT_EQ(s.Z[s.at(r, c)], 500.0f);
                    EXPECT_EQ(s.X[s.at(r, c)], s.pinX(c, 500.0f));
                    EXPECT_EQ(s.Y[s.at(r, c)], s.pinY(r, 500.0f));
                }
            }
        }
    }
}

// Tolerance: level 1 accepts relative differences up to 1 % inclusive. With zl = zu = zd = 400 and
// zR = 400 + step one column right, zr = 400 + step / 2: step 8 gives exactly 4 / 400 = 1 %.
TEST(FillingFunction, AgreementToleranceIsInclusive) {
    for (const float step : {2.0f, 8.0f, 10.0f}) {
        Scene s(20, 20, 800.0, 10.0, 10.0);
        s.plane([step](int, int c) { return c > 10 ? 400.0f + step : 400.0f; });
        s.hole(8, 10, 1, 1);
        s.run(1, 5, 100);
        EXPECT_EQ(s.filled(8, 10), step != 10.0f) << step;
        if (s.filled(8, 10)) {
            EXPECT_EQ(s.Z[s.at(8, 10)], 400.0f + step / 4.0f);
        }
    }
}

// A depth with 0 < |Z| < 1 belongs to the hole region (it adds to the area) but is never filled.
TEST(FillingFunction, NearZeroDepthsCountAsHoleButStay) {
    for (const int smallArea : {3, 2}) {
        Scene s(20, 20, 800.0, 10.0, 10.0);
        s.plane([](int, int) { return 400.0f; });
        s.hole(8, 8, 2, 1);   // (8, 8) and (9, 8)
        s.depth(9, 7, 0.5f);  // left of (9, 8): region area 3
        s.run(1, smallArea, 100);
        EXPECT_EQ(s.filled(8, 8), smallArea == 3) << smallArea;
        EXPECT_EQ(s.Z[s.at(9, 7)], 0.5f);
        EXPECT_EQ(s.Z[s.at(9, 8)], 0.0f);  // its left depth 0.5 is below minDepth
    }
}

// The left and upper depths must lie in [minDepth, maxDepth] (inclusive); a skipped pixel leaves the
// rest of its row of the hole without a left depth.
TEST(FillingFunction, DepthRangeIsInclusiveAndBlocksTheRowBehind) {
    for (const int maxDepth : {400, 399}) {
        Scene s(20, 20, 800.0, 10.0, 10.0);
        s.plane([](int, int) { return 400.0f; });
        s.hole(8, 8, 1, 3);
        s.run(1, 3, 100, 400, maxDepth);
        for (int c = 8; c < 11; ++c) EXPECT_EQ(s.filled(8, c), maxDepth == 400) << maxDepth << " " << c;
    }
}

// Larger hole, one pixel, on the plane Z = 100 seen with f = 20 px (neighbours 5 apart in X and Y).
// Raising the upper neighbour to 120 gives zu = 120, zd = 110, zl = zr = 100, z = 105: the left
// reference angle is atan(5/25) = 11.3 deg, the upper one about 35 deg. Level 2 needs both below 20
// and refuses; level 3 needs any one below 30 and fills.
TEST(FillingFunction, SurfaceTestNeedsBothAnglesAtLevelTwoAndAnyAtHigherLevels) {
    for (const int mode : {1, 2, 3}) {
        Scene s(21, 21, 20.0, 10.0, 10.0);
        s.plane([](int, int) { return 100.0f; });
        s.hole(10, 10, 1, 1);
        s.depth(9, 10, 120.0f);
        s.run(mode, 0, 5, 50, 200);
        EXPECT_EQ(s.filled(10, 10), mode == 3) << "mode " << mode;
        if (mode == 3) {
            EXPECT_EQ(s.Z[s.at(10, 10)], 105.0f);
            EXPECT_EQ(s.X[s.at(10, 10)], 0.0f);  // on the optical axis
        }
    }
    // Without the raised neighbour every angle is 0 and level 2 fills too.
    Scene s(21, 21, 20.0, 10.0, 10.0);
    s.plane([](int, int) { return 100.0f; });
    s.hole(10, 10, 1, 1);
    s.run(2, 0, 5, 50, 200);
    EXPECT_TRUE(s.filled(10, 10));
}

// Through the public class: geometry from SetCalibrationInfo + CalKR (cx1 = K1[2], cy1 = K1[5]).
TEST(FillingFunction, PublicMemberUsesTheCalibratedCameraOne) {
    XeloraAlgo algo;
    tagXeloraAlgoROIInfo roi{8, 4, 24, 20};
    algo.SetROIInfo(&roi);
    tagXeloraAlgoCalibrationInfo cal{};
    const double K[9] = {900.0, 0.0, 20.0, 0.0, 900.0, 14.0, 0.0, 0.0, 1.0};
    for (int i = 0; i < 9; ++i) cal.K1[i] = cal.K2[i] = K[i];
    cal.R[0] = cal.R[4] = cal.R[8] = 1.0;
    cal.T[0] = -100.0;
    cal.T[2] = 1.0;
    cal.Tinv[0] = 100.0;
    cal.Tinv[2] = 1.0;
    algo.SetCalibrationInfo(&cal);
    algo.CalKR();

    const int w = 24, h = 20;
    std::vector<float> X(w * h), Y(w * h), Z(w * h, 600.0f);
    std::unique_ptr<bool[]> mask(new bool[w * h]);
    for (int i = 0; i < w * h; ++i) {
        mask[i] = true;
        X[i] = static_cast<float>((i % w + 8 - 20.0) * 600.0 / 900.0);
        Y[i] = static_cast<float>((i / w + 4 - 14.0) * 600.0 / 900.0);
    }
    const int p = 9 * w + 13;
    Z[p] = X[p] = Y[p] = 0.0f;
    mask[p] = false;
    algo.FillingFunction(X.data(), Y.data(), Z.data(), mask.get(), 1, 1, 10, 500, 700);
    EXPECT_TRUE(mask[p]);
    EXPECT_EQ(Z[p], 600.0f);
    EXPECT_NEAR(X[p], (13 + 8 - 20.0) * 600.0 / 900.0, 1e-4);
    EXPECT_NEAR(Y[p], (9 + 4 - 14.0) * 600.0 / 900.0, 1e-4);
}

}  // namespace
}  // namespace XELORAALGO
