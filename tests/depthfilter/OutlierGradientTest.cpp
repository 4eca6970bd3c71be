// Tests of Outlierdetect (isolated-point removal) and GradientFilter.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <random>
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

TEST(Outlierdetect, VectorRunsGiveTheResultsOfOnePixelAtATime) {
    // Runs of 4, 8 and 16 pixels counted together against every pixel alone. The points crowd around
    // the origin, where removed points land, so a removal changes the counts of the pixels after it
    // in the same run (the run must restart behind it); values include NaN, +-inf and +-0. Widths
    // leave every tail and are sometimes too narrow for a single run; radius 0 to 4, distances 0,
    // ordinary, infinite and NaN.
    std::mt19937 rng(4242);
    const float odd[] = {NAN, -NAN, INFINITY, -INFINITY, 0.0f, -0.0f, 1e-40f};
    const auto copyOf = [](const PointMap& m) {
        PointMap c(m.w, m.h);
        c.X = m.X, c.Y = m.Y, c.Z = m.Z;
        std::copy(m.mask.get(), m.mask.get() + m.w * m.h, c.mask.get());
        return c;
    };
    int removedTotal = 0;
    for (int trial = 0; trial < 240; ++trial) {
        const int w = 1 + int(rng() % 45), h = 1 + int(rng() % 9), radius = int(rng() % 5);
        const float distances[] = {0.0f, 0.35f, 0.6f, 1.1f, INFINITY, NAN};
        const float distance = distances[rng() % 6];
        PointMap in(w, h);
        for (int i = 0; i < w * h; ++i) {
            float* v[3] = {&in.X[i], &in.Y[i], &in.Z[i]};
            for (float* p : v)
                *p = rng() % 25 == 0 ? odd[rng() % 7] : std::uniform_real_distribution<float>(-0.8f, 0.8f)(rng);
            in.mask[i] = rng() % 7 != 0;
        }
        PointMap alone = copyOf(in);
        depthfilter::detail::outlierdetect(engineFor(w, h), alone.X.data(), alone.Y.data(), alone.Z.data(),
                                           alone.mask.get(), radius, distance, num::Isa::Sse2, false);
        for (int i = 0; i < w * h; ++i) removedTotal += in.mask[i] && !alone.mask[i];
        for (num::Isa isa : {num::Isa::Sse2, num::Isa::Avx2, num::Isa::Avx512}) {
            PointMap lanes = copyOf(in);
            depthfilter::detail::outlierdetect(engineFor(w, h), lanes.X.data(), lanes.Y.data(), lanes.Z.data(),
                                               lanes.mask.get(), radius, distance, isa, true);
            for (int i = 0; i < w * h; ++i) {
                ASSERT_EQ(lanes.mask[i], alone.mask[i]) << trial << ": " << w << " x " << h << " r " << radius
                                                        << " pixel " << i << " isa " << int(isa);
                ASSERT_EQ(0, std::memcmp(&lanes.X[i], &alone.X[i], sizeof(float)) |
                                 std::memcmp(&lanes.Y[i], &alone.Y[i], sizeof(float)) |
                                 std::memcmp(&lanes.Z[i], &alone.Z[i], sizeof(float)))
                    << trial << " pixel " << i << " isa " << int(isa);
            }
        }
    }
    EXPECT_GT(removedTotal, 1000);  // the cases do remove points

    // Squared distances on the limit: pairs (P, Q) of adjacent pixels, each other's only candidate
    // (the third pixel of every period is far away and invalid), whose d^2 = (dY^2 + dX^2) + dZ^2 lies
    // on the other side of distance^2 = 1 than the same three squares summed in another order. P and
    // Q stay exactly when that sum is below the limit.
    PointMap pairs(48, 1);
    int crafted = 0;
    for (int c = 0; c + 2 < pairs.w; c += 3) {
        float dy, dx, dz, d2;
        do {
            dy = std::uniform_real_distribution<float>(0.0f, 0.7f)(rng);
            dx = std::uniform_real_distribution<float>(0.0f, 0.7f)(rng);
            dz = std::sqrt(1.0f - dy * dy - dx * dx);
            for (int u = int(rng() % 5); u > 0; --u) dz = std::nextafter(dz, u % 2 ? 2.0f : 0.0f);
            d2 = (dy * dy + dx * dx) + dz * dz;
        } while (((dy * dy + dz * dz) + dx * dx < 1.0f) == (d2 < 1.0f) &&
                 (dy * dy + (dx * dx + dz * dz) < 1.0f) == (d2 < 1.0f));
        crafted += d2 < 1.0f;
        pairs.set(0, c, 1e3f * float(c + 1), -1e3f, 5e3f, false);
        pairs.set(0, c + 1, 0.0f, 0.0f, 0.0f);
        pairs.set(0, c + 2, dx, dy, dz);
    }
    PointMap pairsAlone = copyOf(pairs);
    depthfilter::detail::outlierdetect(engineFor(48, 1), pairsAlone.X.data(), pairsAlone.Y.data(),
                                       pairsAlone.Z.data(), pairsAlone.mask.get(), 1, 1.0f, num::Isa::Sse2, false);
    for (num::Isa isa : {num::Isa::Sse2, num::Isa::Avx2, num::Isa::Avx512}) {
        PointMap lanes = copyOf(pairs);
        depthfilter::detail::outlierdetect(engineFor(48, 1), lanes.X.data(), lanes.Y.data(), lanes.Z.data(),
                                           lanes.mask.get(), 1, 1.0f, isa, true);
        for (int i = 0; i < 48; ++i) EXPECT_EQ(lanes.mask[i], pairsAlone.mask[i]) << i << " isa " << int(isa);
    }
    int kept = 0;
    for (int i = 0; i < 48; ++i) kept += pairsAlone.mask[i];
    EXPECT_EQ(kept, 2 * crafted);  // one pixel alone keeps the pairs whose d^2 is below the limit
}

}  // namespace
}  // namespace XELORAALGO
