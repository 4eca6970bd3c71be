// Tests of Outlierdetect (isolated-point removal) and GradientFilter.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

#include "XeloraAlgo.h"
#include "depthfilter/depthfilter.h"

namespace XELORAALGO {
namespace {

AlgoEngine& engineFor(int w, int h) {
    static AlgoEngine engine;
    engine.roi = {0, 0, w, h};
    return engine;
}

struct PointMap {
    int w, h;
    std::vector<float> X, Y, Z;
    std::unique_ptr<bool[]> mask;
    PointMap(int w_, int h_) : w(w_), h(h_), X(w * h), Y(w * h), Z(w * h), mask(new bool[w * h]()) {}
    int at(int r, int c) const { return r * w + c; }
    void set(int r, int c, float x, float y, float z, bool valid = true) {
        X[at(r, c)] = x, Y[at(r, c)] = y, Z[at(r, c)] = z, mask[at(r, c)] = valid;
    }
    void run(int radius, float distance) {
        depthfilter::Outlierdetect(engineFor(w, h), X.data(), Y.data(), Z.data(), mask.get(), radius, distance);
    }
    bool removed(int r, int c) const {
        return !mask[at(r, c)] && X[at(r, c)] == 0.0f && Y[at(r, c)] == 0.0f && Z[at(r, c)] == 0.0f;
    }
};

// Points 1 apart on the plane Z = 100 with one spike 50 above it (and a NaN point, whose distance
// never counts); an invalid far point is not judged. radius 2 needs 8 close pixels, radius 1 two.
TEST(Outlierdetect, RemovesIsolatedSpikesAndKeepsThePlane) {
    for (const int radius : {1, 2}) {
        PointMap m(12, 10);
        for (int i = 0; i < m.w * m.h; ++i) m.set(i / m.w, i % m.w, i % m.w, i / m.w, 100.0f);
        m.Z[m.at(5, 5)] = 150.0f;
        m.X[m.at(7, 2)] = std::nanf("");
        m.set(2, 8, 40.0f, 40.0f, 400.0f, false);
        m.run(radius, 1.5f * static_cast<float>(radius));
        EXPECT_EQ(std::count(m.mask.get(), m.mask.get() + m.w * m.h, true), m.w * m.h - 3) << "radius " << radius;
        EXPECT_TRUE(m.removed(5, 5) && m.removed(7, 2));
        EXPECT_TRUE(m.Z[m.at(2, 8)] == 400.0f && m.Z[m.at(5, 6)] == 100.0f);
    }
    PointMap m(5, 5);  // radius 2: the centre plus 6 close points is one short of 8, plus 7 enough
    for (const int close : {6, 7}) {
        for (int i = 0; i < 25; ++i) m.set(i / 5, i % 5, 0.0f, 0.0f, 1000.0f + 100.0f * i, false);
        m.set(2, 2, 0.0f, 0.0f, 100.0f);
        for (int k = 0; k < close; ++k) m.set(k < 5 ? 0 : 4, k % 5, 0.5f, 0.0f, 100.0f, false);
        m.run(2, 1.0f);
        EXPECT_EQ(m.removed(2, 2), close == 6);
    }
}

// d = 5 exactly (3-4-5) does not count (strict). The third point, far from everything, is removed
// and sits at the origin, where the fourth finds its only close neighbour.
TEST(Outlierdetect, StrictDistanceAndRasterOrderThroughThePublicMember) {
    XeloraAlgo algo;
    tagXeloraAlgoROIInfo roi{0, 0, 4, 1};
    algo.SetROIInfo(&roi);
    for (const float distance : {5.0f, 5.001f}) {
        PointMap m(4, 1);
        const float points[4][3] = {{0.0f, 0.0f, 10.0f}, {3.0f, 4.0f, 10.0f}, {60.0f, 0.0f, 10.0f}, {0.0f, 0.0f, 4.0f}};
        for (int c = 0; c < 4; ++c) m.set(0, c, points[c][0], points[c][1], points[c][2]);
        algo.Outlierdetect(m.X.data(), m.Y.data(), m.Z.data(), m.mask.get(), 1, distance);
        EXPECT_EQ(m.removed(0, 0) && m.removed(0, 1), distance == 5.0f);
        EXPECT_TRUE(m.removed(0, 2) && m.mask[3] && m.Z[3] == 4.0f);
    }
}

// Map A: a ramp of 2 per column (central differences 4, the limit is strict; one-sided ones at the
// first and last column 2), or a step of 1000, clamped at 255 and judged on the unfiltered values
// (column 5 stays although column 4 drops). Map B: flat but for a NaN, whose neighbours' gradients are
// NaN and fail whatever the limit. passLevel 0, 1 and 1.5 drop no, the failing and all pixels.
TEST(GradientFilter, StrictLimitClampNaNAndPassLevel) {
    const int w = 8, h = 4;
    for (const float limit : {4.0f, 4.5f, 255.0f, 255.5f}) {
        for (const float pass : {0.0f, 1.0f, 1.5f}) {
            std::vector<float> a(w * h), b(w * h, 7.0f);
            for (int i = 0; i < w * h; ++i) a[i] = limit < 10 ? 10 + 2.0f * (i % w) : (i % w < 4 ? 0 : 1000.0f);
            b[w + 3] = std::nanf("");
            std::unique_ptr<bool[]> kept(new bool[2 * w * h]);
            std::fill(kept.get(), kept.get() + 2 * w * h, true);
            depthfilter::GradientFilter(engineFor(w, h), a.data(), b.data(), kept.get(), kept.get() + w * h, limit,
                                        pass);
            for (int i = 0; i < w * h; ++i) {
                const int r = i / w, c = i % w;
                const bool steep = limit == 4 ? c > 0 && c < w - 1 : limit == 255 && (c == 3 || c == 4);
                const bool nanNeighbour = (r == 1 && (c == 2 || c == 4)) || (c == 3 && (r == 0 || r == 2));
                EXPECT_TRUE(kept[i] == !(pass > 1.0f || (pass == 1.0f && steep)) && (kept[i] || a[i] == 0.0f))
                    << limit << " " << pass << " " << r << " " << c;
                EXPECT_EQ(kept[w * h + i], pass == 0.0f || (pass == 1.0f && !nanNeighbour)) << limit << " " << pass;
            }
        }
    }
}

}  // namespace
}  // namespace XELORAALGO
