// Tests of FillingFunction: hole regions, filling on planes with pinhole X and Y, the five-pixel
// margin, area classes and the per-level rules of the agreement and surface tests.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <vector>

#include "XeloraAlgo.h"
#include "depthfilter/depthfilter.h"
#include "depthfilter/FillingFunctionAngles.h"
#include "numerics/numerics.h"

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

namespace XELORAALGO {
namespace {

// Straightforward hole filling over whole maps, pixel by pixel as described for the operation: a
// full label map, the literal equivalence-table updates, every search from scratch and all four
// angles. The library's version lists candidates, keeps one row of labels, reuses its searches and
// stops computing angles once the decision is known; both must give the same bits.
struct PlainFill {
    static float angle(float ux, float uy, float uz, float vx, float vy, float vz) {
        const float dot = ux * vx + uy * vy + uz * vz;
        const float nu = std::sqrt(ux * ux + uy * uy + uz * uz), nv = std::sqrt(vx * vx + vy * vy + vz * vz);
        const float deg = num::acosf(dot / (nu * nv)) * 180.0f;
        return static_cast<float>(static_cast<double>(deg) / 3.1415926535898);
    }
    // The area of each pixel's hole region (0 outside holes), from a full label map.
    static std::vector<std::int32_t> areas(const float* Z, int w, int h) {
        auto at = [w](int r, int c) { return static_cast<std::size_t>(r) * static_cast<std::size_t>(w) + c; };
        std::vector<std::int32_t> label(at(h, 0), 0), parent{0, 1, 2};
        for (int r = 1; r <= h - 2; ++r)
            for (int c = 1; c <= w - 2; ++c)
                if (Z[at(r, c)] > -1.0f && Z[at(r, c)] < 1.0f) label[at(r, c)] = 2;
        for (int r = 1; r <= h - 2; ++r)
            for (int c = 1; c <= w - 2; ++c) {
                if (label[at(r, c)] != 2) continue;
                std::vector<std::int32_t> got;
                for (std::int32_t l : {label[at(r, c - 1)], label[at(r - 1, c)]})
                    if (l > 0) got.push_back(l);
                std::sort(got.begin(), got.end());
                if (got.empty()) {
                    label[at(r, c)] = static_cast<std::int32_t>(parent.size());
                    parent.push_back(static_cast<std::int32_t>(parent.size()));
                    continue;
                }
                const std::int32_t m = parent[got[0]];
                label[at(r, c)] = m;
                for (std::size_t k = 1; k < got.size(); ++k) {
                    const std::int32_t q = parent[got[k]];
                    if (q > m) parent[q] = parent[got[k]] = m;
                    else if (q < m) parent[m] = q;
                }
            }
        for (std::size_t i = 1; i < parent.size(); ++i) {
            std::int32_t p = parent[i];
            while (parent[p] != p) p = parent[p];
            parent[i] = p;
        }
        std::vector<std::int32_t> area(parent.size(), 0);
        for (std::int32_t& l : label) ++area[l = parent[l]];
        for (std::int32_t& l : label) l = l >= 3 ? area[l] : 0;
        return label;
    }
    static void run(const AlgoEngine& e, float* X, float* Y, float* Z, bool* mask, int mode, int smallArea,
                    int largeArea, int minDepth, int maxDepth) {
        const int w = e.roi.width, h = e.roi.height;
        if (w < 11 || h < 11) return;
        auto at = [w](int r, int c) { return static_cast<std::size_t>(r) * static_cast<std::size_t>(w) + c; };
        std::vector<std::int32_t> cls = areas(Z, w, h);
        for (std::int32_t& a : cls) a = a == 0 ? 0 : (a <= smallArea ? 1 : (a < largeArea ? 2 : 0));
        static const float lim[] = {0, 10, 20, 30, 50, 120}, tl[] = {0, 0.01f, 0.2f, 0.5f, 0.5f, 1.0f};
        const float limit = mode >= 1 && mode <= 5 ? lim[mode] : 0.0f, tol = mode >= 1 && mode <= 5 ? tl[mode] : 0.0f;
        const double f = (e.calib.K1[4] + e.calib.K1[0]) * 0.0048 * 0.5;
        for (int r = 5; r <= h - 6; ++r)
            for (int c = 5; c <= w - 6; ++c) {
                const std::size_t p = at(r, c);
                const float zl = Z[p - 1], zu = Z[at(r - 1, c)];
                if ((cls[p] != 1 && cls[p] != 2) || Z[p] != 0.0f || zl == 0.0f || zu == 0.0f) continue;
                if (!(zl >= static_cast<float>(minDepth) && zl <= static_cast<float>(maxDepth))) continue;
                if (!(zu >= static_cast<float>(minDepth) && zu <= static_cast<float>(maxDepth))) continue;
                int kr = 1, kd = 1;
                while (c + kr <= w - 2 && Z[at(r, c + kr)] == 0.0f) ++kr;
                while (r + kd <= h - 2 && Z[at(r + kd, c)] == 0.0f) ++kd;
                const bool hasR = c + kr <= w - 2, hasD = r + kd <= h - 2;
                const float zr = hasR ? zl + (Z[at(r, c + kr)] - zl) / static_cast<float>(kr + 1) : 0.0f;
                const float zd = hasD ? zu + (Z[at(r + kd, c)] - zu) / static_cast<float>(kd + 1) : 0.0f;
                const float a = std::fabs(zr - zl), b = std::fabs(zd - zu), d = std::fabs(zr - zd);
                if (!(a / zl <= tol && a / zr <= tol && b / zu <= tol && b / zd <= tol && d / zd <= tol && d / zr <= tol))
                    continue;
                const float z = (zd + zr) * 0.5f;
                const double sc = static_cast<double>(static_cast<float>(e.downsampleStep * c) + e.downsampleOffset +
                                                      static_cast<float>(e.roi.offsetX));
                const double sr = static_cast<double>(static_cast<float>(e.downsampleStep * r) + e.downsampleOffset +
                                                      static_cast<float>(e.roi.offsetY));
                const float x0 = static_cast<float>((sc - e.cx1) * e.pixelPitch * z / f);
                const float y0 = static_cast<float>((sr - e.cy1) * e.pixelPitch * z / f);
                if (cls[p] == 2) {
                    if (mode < 2 || zr == 0.0f || zd == 0.0f) continue;
                    // v[0..2] = P(q) - P0 or P(q) - P(q'); a reference not found leaves zeros.
                    float A[3] = {}, A1[3] = {}, B[3] = {}, B1[3] = {}, C1[3] = {}, D1[3] = {};
                    auto diff = [&](float* v, std::size_t i, std::size_t j) {
                        v[0] = X[i] - X[j], v[1] = Y[i] - Y[j], v[2] = Z[i] - Z[j];
                    };
                    auto diff0 = [&](float* v, std::size_t i) { v[0] = X[i] - x0, v[1] = Y[i] - y0, v[2] = Z[i] - z; };
                    bool left = false, up = false;
                    for (int k = 5; k >= 2 && c - k >= 1; --k)
                        if (Z[at(r, c - k)] != 0.0f) {
                            left = true, diff0(A, at(r, c - k)), diff(A1, at(r, c - k), p - 1);
                            break;
                        }
                    for (int k = 5; k >= 2 && r - k >= 1; --k)
                        if (Z[at(r - k, c)] != 0.0f) {
                            up = true, diff0(B, at(r - k, c)), diff(B1, at(r - k, c), at(r - 1, c));
                            break;
                        }
                    for (int k = 5; k >= 2 && r + kd + k < h; --k)
                        if (Z[at(r + kd + k, c)] != 0.0f) {
                            diff(C1, at(r + kd, c), at(r + kd + k, c));
                            break;
                        }
                    for (int k = 5; k >= 2 && c + kr + k < w; --k)
                        if (Z[at(r, c + kr + k)] != 0.0f) {
                            diff(D1, at(r, c + kr), at(r, c + kr + k));
                            break;
                        }
                    if (!left || !up) continue;
                    const float a1 = angle(A[0], A[1], A[2], A1[0], A1[1], A1[2]);
                    const float a2 = angle(B[0], B[1], B[2], B1[0], B1[1], B1[2]);
                    const float a3 = angle(D1[0], D1[1], D1[2], A[0], A[1], A[2]);
                    const float a4 = angle(C1[0], C1[1], C1[2], B[0], B[1], B[2]);
                    const bool pass = mode == 2 ? (limit > a1 && limit > a2)
                                                : (limit > a1 || limit > a2 || limit > a3 || limit > a4);
                    if (!pass) continue;
                }
                Z[p] = z, X[p] = x0, Y[p] = y0, mask[p] = true;
            }
    }
};

// Random maps built to stress every shortcut: tiny and narrow maps, holes touching the borders,
// one-pixel and full-width or full-height holes, depths in (-1, 1) that count but are never filled,
// NaN and infinite depths, negative depths, and every level including the undefined ones. Each map
// goes through the library and the plain version; the region areas and all four outputs must agree
// bit for bit.
TEST(FillingFunction, MatchesThePlainPixelByPixelVersionOnAdversarialMaps) {
    std::mt19937 rng(16);
    auto uni = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
    int filledTotal = 0, largerFilled = 0;
    for (int trial = 0; trial < 600; ++trial) {
        const int w = trial % 7 == 0 ? uni(1, 12) : uni(11, 70), h = trial % 5 == 0 ? uni(1, 13) : uni(11, 60);
        Scene s(w, h, 800.0 + uni(0, 400), w * 0.5, h * 0.5, uni(1, 2), 0.5f * static_cast<float>(uni(0, 1)),
                uni(0, 40), uni(0, 30));
        const float z0 = static_cast<float>(uni(200, 600)), gx = 0.1f * static_cast<float>(uni(-20, 20));
        const float gy = 0.1f * static_cast<float>(uni(-20, 20)), noise = 0.05f * static_cast<float>(uni(0, 40));
        std::uniform_real_distribution<float> jitter(-1.0f, 1.0f);
        s.plane([&](int r, int c) { return z0 + gx * c + gy * r + noise * jitter(rng); });
        for (int k = uni(0, 12); k > 0; --k) {  // rectangles, some of them reaching a border
            const int r0 = uni(-3, h - 1), c0 = uni(-3, w - 1);
            const int rows = uni(1, 1 + h / 2), cols = uni(1, uni(0, 3) == 0 ? w + 3 : 1 + w / 3);
            for (int r = std::max(0, r0); r < std::min(h, r0 + rows); ++r)
                for (int c = std::max(0, c0); c < std::min(w, c0 + cols); ++c) s.depth(r, c, 0.0f);
        }
        if (uni(0, 3) == 0) s.hole(uni(0, h - 1), 0, 1, w);  // a full-width row
        if (uni(0, 3) == 0) s.hole(0, uni(0, w - 1), h, 1);  // a full-height column
        for (int k = uni(0, 30); k > 0; --k) s.depth(uni(0, h - 1), uni(0, w - 1), 0.0f);  // one-pixel holes
        const float odd[] = {0.5f, -0.75f, -0.0f, std::nanf(""), INFINITY, -INFINITY, -300.0f, 0.999f, 1.0f, -1.0f};
        for (int k = uni(0, 6); k > 0; --k) s.Z[s.at(uni(0, h - 1), uni(0, w - 1))] = odd[uni(0, 9)];
        const int mode = uni(0, 6), smallArea = trial % 4 == 0 ? 0 : uni(0, 40), largeArea = smallArea + uni(0, 400);
        const int minDepth = uni(0, 3) == 0 ? uni(150, 500) : 1, maxDepth = uni(0, 3) == 0 ? uni(300, 700) : 100000;

        if (w >= 1 && h >= 1) {
            ASSERT_EQ(depthfilter::HoleRegionAreas(s.Z.data(), w, h), PlainFill::areas(s.Z.data(), w, h))
                << "trial " << trial;
        }
        std::vector<float> X = s.X, Y = s.Y, Z = s.Z;
        const std::vector<float> before0 = s.Z;
        std::unique_ptr<bool[]> mask(new bool[s.n()]);
        std::memcpy(mask.get(), s.mask.get(), s.n());
        PlainFill::run(s.e, X.data(), Y.data(), Z.data(), mask.get(), mode, smallArea, largeArea, minDepth, maxDepth);
        s.run(mode, smallArea, largeArea, minDepth, maxDepth);
        ASSERT_EQ(std::memcmp(s.Z.data(), Z.data(), s.n() * sizeof(float)), 0) << "trial " << trial;
        ASSERT_EQ(std::memcmp(s.X.data(), X.data(), s.n() * sizeof(float)), 0) << "trial " << trial;
        ASSERT_EQ(std::memcmp(s.Y.data(), Y.data(), s.n() * sizeof(float)), 0) << "trial " << trial;
        ASSERT_EQ(std::memcmp(s.mask.get(), mask.get(), s.n()), 0) << "trial " << trial;
        int filled = 0;
        for (std::size_t i = 0; i < s.n(); ++i) filled += before0[i] == 0.0f && s.Z[i] != 0.0f ? 1 : 0;
        filledTotal += filled;
        if (smallArea == 0) largerFilled += filled;  // every region is then a larger hole
    }
    EXPECT_GT(filledTotal, 1500);  // the maps do exercise filling, of larger holes too
    EXPECT_GT(largerFilled, 250);
}

// The surface test's shortcut must decide "limit > angle" exactly as the full evaluation does: every
// float cosine within about 0.2 degrees of each level's limit (where the shortcut hands over to
// acosf, and where the two could part), the cosines at and beyond +-1, NaN, infinities and a random
// spread over [-1.5, 1.5]; the limits of the five levels, 0 (undefined levels) and 180.
TEST(FillingFunction, AngleShortcutDecidesAsTheFullAngle) {
    using depthfilter::AngleBelow;
    using depthfilter::degreesOfCosine;
    std::mt19937 rng(43);
    std::uniform_real_distribution<float> spread(-1.5f, 1.5f);
    long long checked = 0, passed = 0;
    for (const float limit : {10.0f, 20.0f, 30.0f, 50.0f, 120.0f, 0.0f, 180.0f}) {
        const AngleBelow below(limit);
        auto check = [&](float x) {
            const bool want = limit > degreesOfCosine(x);
            ASSERT_EQ(below(x), want) << "limit " << limit << " cosine " << x;
            ++checked;
            passed += want ? 1 : 0;
        };
        const float c = static_cast<float>(std::cos(static_cast<double>(limit) * 3.14159265358979323846 / 180.0));
        const float span = 0.2f * 0.0175f * std::max(0.05f, std::sqrt(std::max(0.0f, 1.0f - c * c)));
        for (float x = c - span; x <= c + span; x = std::nextafter(x, 2.0f)) check(x);
        for (float x = 1.0f - 1e-5f; x <= 1.0f + 1e-5f; x = std::nextafter(x, 2.0f)) check(x);
        for (float x = -1.0f - 1e-5f; x <= -1.0f + 1e-5f; x = std::nextafter(x, 2.0f)) check(x);
        for (const float x : {std::nanf(""), INFINITY, -INFINITY, 0.0f, -0.0f}) check(x);
        for (int k = 0; k < 20000; ++k) check(spread(rng));
    }
    EXPECT_GT(checked, 100000);
    EXPECT_GT(passed, checked / 10);  // both outcomes are exercised
}

}  // namespace
}  // namespace XELORAALGO
