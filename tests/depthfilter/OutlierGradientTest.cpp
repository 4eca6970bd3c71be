// Tests of Outlierdetect (isolated-point removal) and GradientFilter.
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <memory>
#include <utility>
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
    PointMap(int w_, int h_)
        : w(w_), h(h_), X(idx(w_, h_)), Y(idx(w_, h_)), Z(idx(w_, h_)), mask(new bool[idx(w_, h_)]()) {}
    static std::size_t idx(int w, int h) { return static_cast<std::size_t>(w) * static_cast<std::size_t>(h); }
    std::size_t at(int r, int c) const { return static_cast<std::size_t>(r * w + c); }
    void set(int r, int c, float x, float y, float z, bool valid = true) {
        X[at(r, c)] = x;
        Y[at(r, c)] = y;
        Z[at(r, c)] = z;
        mask[at(r, c)] = valid;
    }
    void run(int radius, float distance) {
        depthfilter::Outlierdetect(engineFor(w, h), X.data(), Y.data(), Z.data(), mask.get(), radius, distance);
    }
    bool removed(int r, int c) const {
        return !mask[at(r, c)] && X[at(r, c)] == 0.0f && Y[at(r, c)] == 0.0f && Z[at(r, c)] == 0.0f;
    }
};

// A 12 x 10 grid of points 1 apart on the plane Z = 100, one spike 50 above it.
PointMap planeWithSpike() {
    PointMap m(12, 10);
    for (int r = 0; r < m.h; ++r)
        for (int c = 0; c < m.w; ++c) m.set(r, c, static_cast<float>(c), static_cast<float>(r), 100.0f);
    m.Z[m.at(5, 5)] = 150.0f;
    m.set(2, 8, 40.0f, 40.0f, 400.0f, false);  // an invalid far point is not judged
    return m;
}

TEST(Outlierdetect, RemovesAnIsolatedSpikeAndKeepsThePlane) {
    for (const auto& [radius, distance] : {std::pair<int, float>{1, 1.5f}, std::pair<int, float>{2, 3.0f}}) {
        PointMap m = planeWithSpike();
        m.run(radius, distance);
        EXPECT_TRUE(m.removed(5, 5)) << "radius " << radius;
        EXPECT_EQ(m.Z[m.at(2, 8)], 400.0f);
        EXPECT_FALSE(m.mask[m.at(2, 8)]);
        int kept = 0;
        for (int r = 0; r < m.h; ++r)
            for (int c = 0; c < m.w; ++c) kept += m.mask[m.at(r, c)] ? 1 : 0;
        EXPECT_EQ(kept, m.w * m.h - 2) << "radius " << radius;
        EXPECT_EQ(m.Z[m.at(0, 0)], 100.0f);
    }
}

TEST(Outlierdetect, RadiusZeroKeepsAllAndDistanceZeroRemovesAllValid) {
    PointMap a = planeWithSpike();
    a.run(0, 1.0f);
    EXPECT_TRUE(a.mask[a.at(5, 5)]);
    EXPECT_EQ(a.Z[a.at(5, 5)], 150.0f);

    PointMap b = planeWithSpike();
    b.run(1, 0.0f);
    for (int r = 0; r < b.h; ++r) {
        for (int c = 0; c < b.w; ++c) {
            if (r == 2 && c == 8) continue;
            EXPECT_TRUE(b.removed(r, c)) << r << " " << c;
        }
    }
    EXPECT_EQ(b.Z[b.at(2, 8)], 400.0f);  // invalid: untouched
}

// d^2 = 4^2 + 3^2 = 25 exactly: at distance 5 the neighbour does not count (strict), just above it does.
TEST(Outlierdetect, DistanceComparisonIsStrict) {
    const auto pair = [] {
        PointMap p(2, 1);
        p.set(0, 0, 0.0f, 0.0f, 10.0f);
        p.set(0, 1, 3.0f, 4.0f, 10.0f);
        return p;
    };
    PointMap m = pair(), n = pair();
    m.run(1, 5.0f);
    EXPECT_TRUE(m.removed(0, 0));
    EXPECT_TRUE(m.removed(0, 1));  // its partner is now at the origin, sqrt(125) away
    n.run(1, 5.001f);
    EXPECT_TRUE(n.mask[0] && n.mask[1]);
}

// A NaN distance never counts, not even the pixel's own: a valid point with a NaN coordinate goes.
TEST(Outlierdetect, NaNCoordinatesNeverCount) {
    PointMap m = planeWithSpike();
    m.X[m.at(7, 3)] = std::nanf("");
    m.run(1, 1.5f);
    EXPECT_TRUE(m.removed(7, 3));
    EXPECT_TRUE(m.mask[m.at(7, 4)]);  // its neighbours still have theirs
}

// radius 2 needs 2 * 2^2 = 8 close pixels, itself included.
TEST(Outlierdetect, RadiusTwoNeedsEightClosePixels) {
    for (int close : {6, 7}) {
        PointMap m(5, 5);
        for (int i = 0; i < 25; ++i) m.set(i / 5, i % 5, 0.0f, 0.0f, 1000.0f + 100.0f * static_cast<float>(i), false);
        m.set(2, 2, 0.0f, 0.0f, 100.0f);
        for (int k = 0; k < close; ++k) m.set(k < 5 ? 0 : 4, k % 5, 0.5f, 0.0f, 100.0f, false);
        m.run(2, 1.0f);
        EXPECT_EQ(m.removed(2, 2), close + 1 < 8) << close << " close neighbours";
    }
}

// Pixels are judged in raster order and a removed point sits at the origin for the later ones.
TEST(Outlierdetect, LaterPixelsSeeEarlierRemovalsAtTheOrigin) {
    PointMap m(3, 1);
    m.set(0, 0, 50.0f, 0.0f, 50.0f);     // far from everything: removed first
    m.set(0, 1, 0.5f, 0.0f, 0.5f);       // close to the origin only
    m.set(0, 2, 100.0f, 100.0f, 100.0f, false);
    m.run(1, 1.0f);
    EXPECT_TRUE(m.removed(0, 0));
    EXPECT_TRUE(m.mask[1]);  // counts itself and the removed point at the origin
    EXPECT_EQ(m.X[1], 0.5f);

    // Through the public member: same outcome.
    PointMap p(3, 1);
    p.set(0, 0, 50.0f, 0.0f, 50.0f);
    p.set(0, 1, 0.5f, 0.0f, 0.5f);
    XeloraAlgo algo;
    tagXeloraAlgoROIInfo roi{0, 0, 3, 1};
    algo.SetROIInfo(&roi);
    algo.Outlierdetect(p.X.data(), p.Y.data(), p.Z.data(), p.mask.get(), 1, 1.0f);
    EXPECT_FALSE(p.mask[0]);
    EXPECT_TRUE(p.mask[1]);
}

// ---- GradientFilter ----

struct TwoMaps {
    int w, h;
    std::vector<float> a, b;
    std::unique_ptr<bool[]> ma, mb;
    TwoMaps(int w_, int h_, float fillA, float fillB)
        : w(w_), h(h_), a(n(), fillA), b(n(), fillB), ma(new bool[n()]), mb(new bool[n()]) {
        for (std::size_t i = 0; i < n(); ++i) ma[i] = mb[i] = true;
    }
    std::size_t n() const { return static_cast<std::size_t>(w * h); }
    std::size_t at(int r, int c) const { return static_cast<std::size_t>(r * w + c); }
    void run(float limit, float passLevel) {
        depthfilter::GradientFilter(engineFor(w, h), a.data(), b.data(), ma.get(), mb.get(), limit, passLevel);
    }
    bool droppedA(int r, int c) const { return !ma[at(r, c)] && a[at(r, c)] == 0.0f; }
    int countDroppedB() const {
        int k = 0;
        for (std::size_t i = 0; i < n(); ++i) k += mb[i] ? 0 : 1;
        return k;
    }
};

// Ramp of 2 per column: central differences are 4, one-sided ones at the first/last column 2.
TEST(GradientFilter, LimitIsStrictAndMapsAreIndependent) {
    for (const float limit : {4.0f, 4.5f}) {
        TwoMaps m(8, 5, 0.0f, 7.0f);
        for (int r = 0; r < m.h; ++r)
            for (int c = 0; c < m.w; ++c) m.a[m.at(r, c)] = 10.0f + 2.0f * static_cast<float>(c);
        m.run(limit, 1.0f);
        for (int r = 0; r < m.h; ++r) {
            for (int c = 0; c < m.w; ++c) {
                const bool interior = c > 0 && c < m.w - 1;
                EXPECT_EQ(m.droppedA(r, c), limit == 4.0f && interior) << limit << " " << r << " " << c;
            }
        }
        EXPECT_EQ(m.countDroppedB(), 0);
    }
}

TEST(GradientFilter, GradientsAreClampedAt255) {
    for (const float limit : {255.0f, 255.5f}) {
        TwoMaps m(8, 3, 0.0f, 1.0f);
        for (int r = 0; r < m.h; ++r)
            for (int c = 4; c < m.w; ++c) m.a[m.at(r, c)] = 1000.0f;
        m.run(limit, 1.0f);
        EXPECT_EQ(m.droppedA(1, 3), limit == 255.0f);
        EXPECT_EQ(m.droppedA(1, 4), limit == 255.0f);
        EXPECT_TRUE(m.ma[m.at(1, 2)]);
        EXPECT_TRUE(m.ma[m.at(1, 5)]);
    }
}

TEST(GradientFilter, PassLevelSelectsNoneFailingOrAll) {
    for (const float pass : {-1.0f, 0.0f, 0.5f, 1.0f, 1.5f}) {
        TwoMaps m(6, 6, 5.0f, 5.0f);
        m.a[m.at(2, 2)] = 50.0f;  // steep against its four neighbours and theirs
        m.run(10.0f, pass);
        int dropped = 0;
        for (std::size_t i = 0; i < m.n(); ++i) dropped += m.ma[i] ? 0 : 1;
        const int expected = pass <= 0.0f ? 0 : (pass > 1.0f ? 36 : 4);  // (2,1), (2,3), (1,2), (3,2)
        EXPECT_EQ(dropped, expected) << "passLevel " << pass;
        EXPECT_EQ(m.countDroppedB(), pass > 1.0f ? 36 : 0);
        if (expected == 4) {
            EXPECT_TRUE(m.droppedA(2, 1) && m.droppedA(2, 3) && m.droppedA(1, 2) && m.droppedA(3, 2));
            EXPECT_FALSE(m.droppedA(2, 2));  // its own central differences are 0
        }
    }
}

// All gradients are taken before anything is dropped: dropping (r, 4) must not make (r, 5) steep.
// A valid region next to invalid zeros loses its outermost pixels.
TEST(GradientFilter, DecidesOnUnfilteredValuesAndTrimsRegionEdges) {
    TwoMaps m(10, 4, 5.0f, 0.0f);
    for (int r = 0; r < m.h; ++r)
        for (int c = 4; c < m.w; ++c) m.a[m.at(r, c)] = 100.0f;
    for (int r = 1; r <= 2; ++r)
        for (int c = 3; c <= 6; ++c) m.b[m.at(r, c)] = 100.0f;  // valid block in an invalid map
    m.run(4.0f, 1.0f);
    for (int r = 0; r < m.h; ++r) {
        for (int c = 0; c < m.w; ++c) EXPECT_EQ(m.droppedA(r, c), c == 3 || c == 4) << r << " " << c;
    }
    // Map B: every block pixel has a zero neighbour on some side; the zeros next to it drop too.
    for (int r = 1; r <= 2; ++r) {
        for (int c = 3; c <= 6; ++c) {
            EXPECT_FALSE(m.mb[m.at(r, c)]);
            EXPECT_EQ(m.b[m.at(r, c)], 0.0f);
        }
    }
    EXPECT_FALSE(m.mb[m.at(1, 2)]);
    EXPECT_TRUE(m.mb[m.at(1, 0)]);
}

// A NaN neighbour gives a NaN gradient, which is never below the limit.
TEST(GradientFilter, NaNGradientsFail) {
    TwoMaps m(5, 5, 3.0f, 3.0f);
    m.a[m.at(2, 2)] = std::nanf("");
    m.run(1000.0f, 1.0f);
    EXPECT_TRUE(m.droppedA(2, 1) && m.droppedA(2, 3) && m.droppedA(1, 2) && m.droppedA(3, 2));
    EXPECT_FALSE(m.droppedA(2, 2));  // its own differences are 0
    EXPECT_FALSE(m.droppedA(1, 1));
}

// Border pixels use themselves in place of the missing neighbour (one-sided differences).
TEST(GradientFilter, BorderPixelsAreJudgedFromTheirInnerNeighbour) {
    TwoMaps m(6, 6, 10.0f, 10.0f);
    for (int r = 0; r < m.h; ++r) m.a[m.at(r, 0)] = 0.0f;  // step right after the first column
    for (int c = 0; c < m.w; ++c) m.b[m.at(m.h - 1, c)] = 30.0f;  // step before the last row
    m.run(5.0f, 1.0f);
    for (int r = 0; r < m.h; ++r) {
        EXPECT_TRUE(m.droppedA(r, 0)) << r;
        EXPECT_TRUE(m.droppedA(r, 1)) << r;
        EXPECT_FALSE(m.droppedA(r, 2)) << r;
        EXPECT_TRUE(m.ma[m.at(r, m.w - 1)]);
    }
    for (int c = 0; c < m.w; ++c) {
        EXPECT_FALSE(m.mb[m.at(m.h - 1, c)]) << c;
        EXPECT_FALSE(m.mb[m.at(m.h - 2, c)]) << c;
        EXPECT_TRUE(m.mb[m.at(m.h - 3, c)]) << c;
        EXPECT_TRUE(m.mb[m.at(0, c)]) << c;
    }

    // A single column has no horizontal gradient; through the public member.
    std::vector<float> col{1.0f, 1.0f, 1.0f, 50.0f}, other(4, 1.0f);
    bool mc[4] = {true, true, true, true}, mo[4] = {true, true, true, true};
    XeloraAlgo algo;
    tagXeloraAlgoROIInfo roi{0, 0, 1, 4};
    algo.SetROIInfo(&roi);
    algo.GradientFilter(col.data(), other.data(), mc, mo, 5.0f, 1.0f);
    EXPECT_TRUE(mc[0] && mc[1]);
    EXPECT_FALSE(mc[2] || mc[3]);
    EXPECT_TRUE(mo[0] && mo[1] && mo[2] && mo[3]);
}

}  // namespace
}  // namespace XELORAALGO
