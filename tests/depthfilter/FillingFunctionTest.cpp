// Tests of FillingFunction: hole regions, filling on planes with pinhole X and Y, the five-pixel
// margin, area classes and the per-level rules of the agreement and surface tests.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <vector>

#include "XeloraAlgo.h"
#include "depthfilter/depthfilter.h"

namespace XELORAALGO {
namespace {

// A w x h point map seen by camera 1 (fx = fy = fpx pixels, principal point cx, cy); valid pixels
// carry X, Y from the pinhole model at the sensor position of their ROI pixel.
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
        e.calib.K1[0] = e.calib.K1[4] = fpx;
        e.cx1 = cx;
        e.cy1 = cy;
        e.pixelPitch = 0.0048;
        e.downsampleStep = step;
        e.downsampleOffset = offset;
    }
    std::size_t n() const { return static_cast<std::size_t>(w) * static_cast<std::size_t>(h); }
    std::size_t at(int r, int c) const { return static_cast<std::size_t>(r * w + c); }
    float pin(int k, int off, double centre, float z) const {
        const float sensor = static_cast<float>(e.downsampleStep * k) + e.downsampleOffset + static_cast<float>(off);
        return static_cast<float>((sensor - centre) * e.pixelPitch * z / (e.calib.K1[0] * 0.0048));
    }
    void depth(int r, int c, float z) {
        Z[at(r, c)] = z;
        X[at(r, c)] = z != 0.0f ? pin(c, e.roi.offsetX, e.cx1, z) : 0.0f;
        Y[at(r, c)] = z != 0.0f ? pin(r, e.roi.offsetY, e.cy1, z) : 0.0f;
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

// Hand-traced labelling: at (4,3) the merge overwrites the parent of non-root label 6, dropping its
// link to label 4, so this 18-pixel region comes out as areas 4 and 14. Candidates are -1 < Z < 1.
TEST(FillingFunction, HoleRegionsFollowTheEquivalenceTable) {
    const char* rows[] = {"........", "..##.##.", ".##.#.#.", ".#.####.", ".#####..", "........"};
    const int w = 8, h = 6;
    std::vector<float> Z(w * h);
    for (int i = 0; i < w * h; ++i) Z[i] = rows[i / w][i % w] == '#' ? 0.0f : 250.0f;
    std::vector<std::int32_t> a = depthfilter::HoleRegionAreas(Z.data(), w, h);
    for (int i = 0; i < w * h; ++i) {
        const int r = i / w, c = i % w;
        const bool labelFour = (r == 1 && (c == 5 || c == 6)) || (c == 6 && (r == 2 || r == 3));
        EXPECT_EQ(a[i], rows[r][c] != '#' ? 0 : (labelFour ? 4 : 14)) << r << " " << c;
    }
    std::vector<float> y(25, 300.0f);
    y[6] = -0.99f, y[7] = 0.99f, y[8] = -0.0f, y[11] = 1.0f, y[16] = -1.0f;
    a = depthfilter::HoleRegionAreas(y.data(), 5, 5);
    EXPECT_TRUE(a[6] == 3 && a[8] == 3 && a[11] == 0 && a[16] == 0);
}

// A 2 x 2 hole in the tilted plane Z = 500 + 2c + 3r is filled on the plane, with X, Y from the
// pinhole model including the ROI offset and the downsampling; nothing else changes.
TEST(FillingFunction, SmallHoleInAPlaneIsFilledOnThePlane) {
    Scene s(30, 25, 1000.0, 130.25, 72.0, 2, 0.5f, 100, 50);
    auto plane = [](int r, int c) { return 500.0f + 2.0f * static_cast<float>(c) + 3.0f * static_cast<float>(r); };
    s.plane(plane);
    s.hole(10, 12, 2, 2);
    const std::vector<float> before = s.Z;
    s.run(1, 4, 100, 400, 700);
    for (std::size_t i = 0; i < s.n(); ++i) EXPECT_TRUE(before[i] == 0.0f || s.Z[i] == before[i]) << i;
    for (int i = 0; i < 4; ++i) {
        const int r = 10 + i / 2, c = 12 + i % 2;
        ASSERT_TRUE(s.filled(r, c)) << r << " " << c;
        EXPECT_EQ(s.Z[s.at(r, c)], plane(r, c));
        const double u = 2.0 * c + 0.5 + 100.0, v = 2.0 * r + 0.5 + 50.0;  // sensor position
        EXPECT_NEAR(s.X[s.at(r, c)], (u - 130.25) * plane(r, c) / 1000.0, 1e-4);
        EXPECT_NEAR(s.Y[s.at(r, c)], (v - 72.0) * plane(r, c) / 1000.0, 1e-4);
    }
}

// Single-pixel holes inside rows/columns 5 .. h-6 / 5 .. w-6 are filled, outside never.
TEST(FillingFunction, NothingIsFilledInTheOuterFiveRowsAndColumns) {
    Scene s(24, 20, 800.0, 12.0, 10.0);
    s.plane([](int r, int c) { return 300.0f + static_cast<float>(c) + static_cast<float>(r); });
    const int holes[][3] = {{5, 5, 1},   {5, 12, 1},  {14, 18, 1}, {9, 5, 1},  {14, 12, 1}, {4, 10, 0},
                            {15, 10, 0}, {11, 4, 0},  {9, 19, 0},  {2, 2, 0},  {17, 21, 0}};
    for (const auto& p : holes) s.hole(p[0], p[1], 1, 1);
    s.run(1, 1, 10);
    for (const auto& p : holes) EXPECT_EQ(s.filled(p[0], p[1]), p[2] == 1) << p[0] << " " << p[1];
}

// A 3 x 3 hole in the flat plane Z = 500: area == smallArea is small, area == largeArea is left alone,
// in between it is a larger hole, filled from level 2 on; unknown levels have tolerance and angle 0.
TEST(FillingFunction, AreaClassesAndLevels) {
    // mode, smallArea, largeArea, filled
    const int cases[][4] = {{1, 9, 20, 1}, {1, 8, 20, 0}, {2, 8, 20, 1}, {5, 8, 20, 1},
                            {5, 8, 9, 0},  {0, 9, 20, 1}, {7, 8, 20, 0}};
    for (const auto& k : cases) {
        Scene s(30, 30, 600.0, 15.0, 15.0);
        s.plane([](int, int) { return 500.0f; });
        s.hole(12, 12, 3, 3);
        s.run(k[0], k[1], k[2], 100, 1000);
        for (int i = 0; i < 9; ++i)
            EXPECT_EQ(s.filled(12 + i / 3, 12 + i % 3) && s.Z[s.at(12 + i / 3, 12 + i % 3)] == 500.0f, k[3] == 1)
                << "mode " << k[0] << " small " << k[1] << " large " << k[2] << " pixel " << i;
    }
}

// Level 1 agreement is within 1 % inclusive: a step of 8 after the hole in Z = 400 gives exactly 1 %.
TEST(FillingFunction, AgreementToleranceIsInclusive) {
    for (const float step : {8.0f, 10.0f}) {
        Scene s(20, 20, 800.0, 10.0, 10.0);
        s.plane([step](int, int c) { return c > 10 ? 400.0f + step : 400.0f; });
        s.hole(8, 10, 1, 1);
        s.run(1, 5, 100);
        EXPECT_EQ(s.filled(8, 10), step == 8.0f) << step;
        EXPECT_TRUE(step != 8.0f || s.Z[s.at(8, 10)] == 402.0f);
    }
}

// Larger one-pixel hole in Z = 100 at f = 20 px with the upper neighbour raised to 120: the left
// reference angle is about 11 deg, the upper one about 35. Level 2 needs both below 20 (refuses),
// level 3 any below 30 (fills at (110 + 100) / 2); without the raised neighbour level 2 fills.
TEST(FillingFunction, SurfaceTestNeedsBothAnglesAtLevelTwoAndAnyAtHigherLevels) {
    const int cases[][3] = {{1, 1, 0}, {2, 1, 0}, {3, 1, 1}, {2, 0, 1}};  // mode, raised, filled
    for (const auto& k : cases) {
        Scene s(21, 21, 20.0, 10.0, 10.0);
        s.plane([](int, int) { return 100.0f; });
        s.hole(10, 10, 1, 1);
        if (k[1] == 1) s.depth(9, 10, 120.0f);
        s.run(k[0], 0, 5, 50, 200);
        EXPECT_EQ(s.filled(10, 10), k[2] == 1) << "mode " << k[0] << " raised " << k[1];
        EXPECT_TRUE(k[0] != 3 || (s.Z[s.at(10, 10)] == 105.0f && s.X[s.at(10, 10)] == 0.0f));
    }
}

}  // namespace
}  // namespace XELORAALGO

namespace XELORAALGO {
namespace {

// Areas of the hole regions of a picture ('#' = candidate) through the exported labelling.
std::vector<std::int32_t> areasOf(const std::vector<const char*>& rows) {
    const int h = static_cast<int>(rows.size()), w = static_cast<int>(std::strlen(rows[0]));
    std::vector<float> Z(static_cast<std::size_t>(w * h));
    for (int i = 0; i < w * h; ++i) Z[static_cast<std::size_t>(i)] = rows[i / w][i % w] == '#' ? 0.0f : 250.0f;
    return depthfilter::HoleRegionAreas(Z.data(), w, h);
}

// The two parent updates of a merge, traced by hand (labels from 3, raster order).
// A: (1,1) 3, (1,4) 4, (2,3) 5; at (2,4) labels 4, 5 meet: parent(5) = 4. At (3,3) labels 3 and 5
//    meet with parent(5) = 4 > 3: parent(4) = 3 (the update of q > m), so all eight pixels join.
// B: (1,2) 3, (1,4) 4, (2,1) 5, (2,3) 6; at (2,4) parent(6) = 4. At (3,3) labels 5 and 6 meet with
//    parent(6) = 4 < 5: parent(5) = 4 (the update of q < m), so seven pixels join and (1,2) stays
//    alone.
// C: a connected region of 14 whose merges need the parent of the smaller label, not the label
//    itself (areas from a direct simulation of the labelling rules).
TEST(FillingFunction, HoleRegionsJoinThroughBothParentUpdates) {
    const std::vector<const char*> a = {"......", ".#..#.", ".#.##.", ".###..", "......"};
    const std::vector<const char*> b = {"......", "..#.#.", ".#.##.", ".###..", "......"};
    const std::vector<const char*> c = {".......", "..#..#.", ".##.##.", ".#.##..", ".#####.", "......."};
    const struct { const std::vector<const char*>* rows; int area; int single; } cases[] = {{&a, 8, -1}, {&b, 7, 8}, {&c, 14, -1}};
    for (const auto& k : cases) {
        const auto areas = areasOf(*k.rows);
        const int w = static_cast<int>(std::strlen((*k.rows)[0]));
        for (std::size_t i = 0; i < areas.size(); ++i) {
            const bool hole = (*k.rows)[i / w][i % w] == '#';
            const int want = !hole ? 0 : static_cast<int>(i) == k.single ? 1 : k.area;
            EXPECT_EQ(areas[i], want) << "region of " << k.area << ", pixel " << i;
        }
    }
}

// Surface-test references are looked for at offsets 5, 4, 3, 2 and the first offset outside the map
// ends the search. A larger one-pixel hole in column 5 has its left offset 5 at column 0 (outside
// the columns >= 1), so it has no left reference and stays open, although column 1 (offset 4) holds a
// depth; in column 6 offset 5 reaches column 1 and the hole is filled. Rows 5 and 6 likewise for the
// upper reference. A flat plane passes every angle at level 5.
TEST(FillingFunction, SurfaceReferenceSearchEndsAtTheFirstOffsetOutside) {
    // row, column, filled
    const int cases[][3] = {{12, 5, 0}, {12, 6, 1}, {5, 12, 0}, {6, 12, 1}};
    for (const auto& k : cases) {
        Scene s(30, 30, 600.0, 15.0, 15.0);
        s.plane([](int, int) { return 500.0f; });
        s.hole(k[0], k[1], 1, 1);
        s.run(5, 0, 5, 100, 1000);
        EXPECT_EQ(s.filled(k[0], k[1]), k[2] == 1) << k[0] << " " << k[1];
    }
}

// The right estimate searches columns up to width - 2 and the lower one rows up to height - 2: a
// depth in the last column (row) is never an estimate, one in the column (row) before it is. The
// gap runs from the hole to the border; a small hole of any area here.
TEST(FillingFunction, RightAndLowerEstimatesStopBeforeTheLastColumnAndRow) {
    const int w = 24, h = 22;
    for (int lastFree : {w - 2, w - 3}) {  // right: the gap ends before lastFree + 1
        Scene s(w, h, 600.0, 12.0, 11.0);
        s.plane([](int, int) { return 500.0f; });
        s.hole(10, 10, 1, lastFree - 10 + 1);
        s.run(1, 100, 200, 100, 1000);
        EXPECT_EQ(s.filled(10, 10), lastFree == w - 3) << "right, gap to column " << lastFree;
    }
    for (int lastFree : {h - 2, h - 3}) {  // lower
        Scene s(w, h, 600.0, 12.0, 11.0);
        s.plane([](int, int) { return 500.0f; });
        s.hole(10, 10, lastFree - 10 + 1, 1);
        s.run(1, 100, 200, 100, 1000);
        EXPECT_EQ(s.filled(10, 10), lastFree == h - 3) << "lower, gap to row " << lastFree;
    }
}

}  // namespace

// Holes of many shapes in an integer plane: each hole pixel's right and lower estimates come from
// the first depth found along its row and column, at every distance, while the pixels before it
// have just been filled; on the plane every estimate is exact, so every fillable pixel must get the
// plane's depth, and a pixel whose row or column holds no depth up to the border stays empty.
TEST(FillingFunction, HolesOfEveryShapeInAPlaneFillWithThePlane) {
    const int w = 48, h = 40;
    Scene s(w, h, 1000.0, 24.0, 20.0);
    auto plane = [](int r, int c) { return 300.0f + 2.0f * static_cast<float>(c) + 4.0f * static_cast<float>(r); };
    s.plane(plane);
    // A diamond, an L, a one-pixel-wide snake, single pixels, and a bar reaching the right border.
    for (int r = 8; r <= 20; ++r)
        for (int c = 8; c <= 22; ++c)
            if (std::abs(r - 14) + std::abs(c - 15) <= 6) s.depth(r, c, 0.0f);
    s.hole(24, 6, 8, 3);
    s.hole(29, 6, 3, 12);
    for (int c = 26; c <= 40; ++c) s.depth(8 + (c % 5), c, 0.0f);
    s.depth(33, 30, 0.0f), s.depth(33, 32, 0.0f), s.depth(34, 31, 0.0f);
    s.hole(18, 30, 2, w - 30);
    std::vector<float> before = s.Z;
    s.run(2, 10000, 20000);  // tolerance 0.2: the plane's slopes of 2 and 4 pass everywhere
    int filled = 0;
    for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c) {
            const std::size_t i = s.at(r, c);
            if (before[i] != 0.0f) {
                EXPECT_EQ(s.Z[i], before[i]) << r << "," << c;
                continue;
            }
            const bool inside = r >= 5 && r <= h - 6 && c >= 5 && c <= w - 6;
            const bool rightOpen = r >= 18 && r <= 19 && c >= 30;  // no depth to the right up to w - 2
            if (inside && !rightOpen) {
                ASSERT_TRUE(s.filled(r, c)) << r << "," << c;
                EXPECT_EQ(s.Z[i], plane(r, c)) << r << "," << c;
                EXPECT_EQ(s.X[i], s.pin(c, 0, 24.0, plane(r, c))) << r << "," << c;
                ++filled;
            } else {
                EXPECT_EQ(s.Z[i], 0.0f) << r << "," << c;
            }
        }
    EXPECT_GT(filled, 150);
}

}  // namespace XELORAALGO
