// Tests of MediaFilter: exact order statistics, the min/max/mid ranking network bit for bit, holes and
// borders, degenerate sizes, and a noisy plane.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "XeloraAlgo.h"
#include "depthfilter/depthfilter.h"

namespace XELORAALGO {
namespace {

AlgoEngine& engineFor(int w, int h) {
    static AlgoEngine engine;  // the lookup tables are built once
    engine.roi = {0, 0, w, h};
    return engine;
}

std::uint32_t bitsOf(float v) {
    std::uint32_t b;
    std::memcpy(&b, &v, sizeof b);
    return b;
}

// The ranking network as documented, written out value by value (n = top-left .. bottom-right in
// raster order). Returns ascending position pos.
float networkReference(const std::array<float, 9>& n, int pos) {
    auto mn = [](float a, float b, float c) { return std::min(std::min(a, b), c); };
    auto mx = [](float a, float b, float c) { return std::max(std::max(a, b), c); };
    const float tl = n[0], tc = n[1], tr = n[2], cl = n[3], cc = n[4], cr = n[5], bl = n[6], bc = n[7], br = n[8];
    const float tMin = mn(tl, tc, tr), tMax = mx(tl, tc, tr);
    const float tMid = tr + tc + tl - tMax - tMin;  // top row: right + centre + left
    const float cMin = mn(cl, cc, cr), cMax = mx(cl, cc, cr);
    const float cMid = cl + cc + cr - cMax - cMin;  // centre row: left + centre + right
    const float bMin = mn(bl, bc, br), bMax = mx(bl, bc, br);
    const float bMid = bc + bl + br - bMax - bMin;  // bottom row: centre + left + right

    const float minMin = mn(tMin, cMin, bMin), maxMin = mx(tMin, cMin, bMin);
    const float midMin = cMin + tMin + bMin - maxMin - minMin;
    const float minMid = mn(tMid, cMid, bMid), maxMid = mx(tMid, cMid, bMid);
    const float medMid = cMid + tMid + bMid - maxMid - minMid;
    const float minMax = mn(tMax, cMax, bMax), maxMax = mx(tMax, cMax, bMax);
    const float midMax = cMax + tMax + bMax - maxMax - minMax;

    const float u = mn(medMid, maxMin, minMax), v = mx(maxMin, medMid, minMax);
    switch (pos) {
        case 0: return minMin;
        case 1: return mn(minMid, midMin, u);
        case 2: return minMid + u + midMin - mx(minMid, midMin, u) - mn(minMid, midMin, u);
        case 3: return mx(minMid, midMin, u);
        case 4: return medMid + minMax + maxMin - mx(maxMin, medMid, minMax) - mn(maxMin, medMid, minMax);
        case 5: return mn(maxMid, midMax, v);
        case 6: return maxMid + v + midMax - mx(maxMid, midMax, v) - mn(maxMid, midMax, v);
        case 7: return mx(maxMid, midMax, v);
        default: return maxMax;
    }
}

std::array<float, 9> window(const std::vector<float>& m, int w, int r, int c) {
    std::array<float, 9> n{};
    int k = 0;
    for (int dr = -1; dr <= 1; ++dr)
        for (int dc = -1; dc <= 1; ++dc) n[static_cast<std::size_t>(k++)] = m[static_cast<std::size_t>((r + dr) * w + c + dc)];
    return n;
}

// With small integers every sum is exact, so each order is the true order statistic; zeros (holes)
// stay, ties and zero neighbours are ranked like any value.
TEST(MediaFilter, IntegerMapsGiveExactOrderStatisticsForEveryOrder) {
    std::mt19937 rng(7);
    std::uniform_int_distribution<int> value(-3, 40);  // many ties, negatives and zeros
    for (int w : {3, 4, 6, 9, 13}) {
        const int h = 5;
        std::vector<float> src(static_cast<std::size_t>(w * h));
        for (float& v : src) v = static_cast<float>(value(rng));
        for (int order = 0; order <= 8; ++order) {
            std::vector<float> map = src;
            depthfilter::MediaFilter(engineFor(w, h), map.data(), order);
            for (int r = 0; r < h; ++r) {
                for (int c = 0; c < w; ++c) {
                    const float got = map[static_cast<std::size_t>(r * w + c)];
                    const float centre = src[static_cast<std::size_t>(r * w + c)];
                    if (r == 0 || c == 0 || r == h - 1 || c == w - 1 || centre == 0.0f) {
                        EXPECT_EQ(got, centre) << "w " << w << " r " << r << " c " << c;
                        continue;
                    }
                    std::array<float, 9> n = window(src, w, r, c);
                    std::sort(n.begin(), n.end());
                    EXPECT_EQ(got, n[static_cast<std::size_t>(8 - order)])
                        << "order " << order << " w " << w << " r " << r << " c " << c;
                }
            }
        }
    }
}

// Real-valued maps: the mids formed by addition and subtraction differ from the sorted values in the
// last bits; the filter must reproduce the network exactly (eight-, four- and single-pixel paths alike).
TEST(MediaFilter, RealMapsFollowTheRankingNetworkBitForBit) {
    std::mt19937 rng(11);
    std::uniform_real_distribution<float> mag(-3.0f, 4.0f);
    std::uniform_real_distribution<float> frac(0.5f, 1.0f);
    int differsFromSort = 0;
    for (int w : {3, 5, 6, 7, 8, 12, 21, 30, 34}) {
        const int h = 6;
        std::vector<float> src(static_cast<std::size_t>(w * h));
        for (float& v : src) v = (rng() % 2 ? 1.0f : -1.0f) * frac(rng) * std::pow(10.0f, mag(rng));
        src[static_cast<std::size_t>(w + 1)] = 0.0f;  // a hole
        for (int order = 0; order <= 8; ++order) {
            for (const bool withAvx : {true, false}) {
                std::vector<float> map = src;
                if (withAvx) {
                    depthfilter::MediaFilter(engineFor(w, h), map.data(), order);
                } else {
                    depthfilter::MediaFilterWithoutAvx(engineFor(w, h), map.data(), order);
                }
                for (int r = 1; r < h - 1; ++r) {
                    for (int c = 1; c < w - 1; ++c) {
                        const std::size_t i = static_cast<std::size_t>(r * w + c);
                        if (src[i] == 0.0f) {
                            EXPECT_EQ(bitsOf(map[i]), bitsOf(src[i]));
                            continue;
                        }
                        const std::array<float, 9> n = window(src, w, r, c);
                        const float want = networkReference(n, 8 - order);
                        EXPECT_EQ(bitsOf(map[i]), bitsOf(want)) << "order " << order << " w " << w << " r " << r
                                                                << " c " << c << ": " << map[i] << " vs " << want;
                        std::array<float, 9> sorted = n;
                        std::sort(sorted.begin(), sorted.end());
                        if (withAvx && want != sorted[static_cast<std::size_t>(8 - order)]) ++differsFromSort;
                        if (order == 0 || order == 8) {
                            EXPECT_EQ(map[i], sorted[static_cast<std::size_t>(8 - order)]);
                        }
                    }
                }
            }
        }
    }
    // The data must exercise the rounding of the mids, or this test would not tell a sort from the network.
    EXPECT_GT(differsFromSort, 10);
}

TEST(MediaFilter, NeverFillsHolesButCanOpenThem) {
    const int w = 6, h = 6;
    std::vector<float> map(static_cast<std::size_t>(w * h), 5.0f);
    // Holes: rows 1..2 x columns 1..3 (one of them -0), plus (3, 1) and (3, 3).
    for (int c = 1; c <= 3; ++c) {
        map[static_cast<std::size_t>(1 * w + c)] = 0.0f;
        map[static_cast<std::size_t>(2 * w + c)] = (c == 2) ? -0.0f : 0.0f;
    }
    map[static_cast<std::size_t>(3 * w + 1)] = 0.0f;
    map[static_cast<std::size_t>(3 * w + 3)] = 0.0f;
    // (3, 2): window rows 2..4 x cols 1..3 holds 5 zeros (row 2: three, row 3: two) -> median 0.
    // (2, 4): window rows 1..3 x cols 3..5 holds 3 zeros ((1,3), (2,3), (3,3)) -> median 5.
    const std::vector<float> src = map;
    depthfilter::MediaFilter(engineFor(w, h), map.data(), 4);
    for (std::size_t i = 0; i < map.size(); ++i) {
        if (src[i] == 0.0f) {
            EXPECT_EQ(bitsOf(map[i]), bitsOf(src[i])) << i;  // -0 keeps its sign too
        }
    }
    EXPECT_EQ(map[static_cast<std::size_t>(3 * w + 2)], 0.0f);
    EXPECT_EQ(map[static_cast<std::size_t>(2 * w + 4)], 5.0f);
    // Border pixels next to the holes are never touched.
    for (int c = 0; c < w; ++c) EXPECT_EQ(map[static_cast<std::size_t>(c)], 5.0f);
}

TEST(MediaFilter, SmallMapsAndInvalidOrdersAreLeftAlone) {
    std::mt19937 rng(3);
    std::uniform_real_distribution<float> value(1.0f, 100.0f);
    for (const auto& size : {std::array<int, 2>{7, 1}, std::array<int, 2>{7, 2}, std::array<int, 2>{1, 7},
                             std::array<int, 2>{2, 7}}) {
        std::vector<float> map(static_cast<std::size_t>(size[0] * size[1]));
        for (float& v : map) v = value(rng);
        const std::vector<float> src = map;
        depthfilter::MediaFilter(engineFor(size[0], size[1]), map.data(), 4);
        EXPECT_EQ(map, src) << size[0] << " x " << size[1];
    }
    std::vector<float> map(25);
    for (float& v : map) v = value(rng);
    const std::vector<float> src = map;
    depthfilter::MediaFilter(engineFor(5, 5), map.data(), 9);
    depthfilter::MediaFilter(engineFor(5, 5), map.data(), -1);
    EXPECT_EQ(map, src);
}

// A plane with isolated spikes: the median removes every spike and stays within one pixel's slope of
// the plane; away from spikes it returns the plane exactly (the window of a linear ramp is symmetric).
TEST(MediaFilter, MedianOfNoisyPlaneStaysOnThePlane) {
    const int w = 40, h = 30;
    auto plane = [](int r, int c) { return 800.0f + 3.0f * static_cast<float>(c) - 2.0f * static_cast<float>(r); };
    std::vector<float> map(static_cast<std::size_t>(w * h));
    std::vector<bool> nearSpike(map.size(), false);
    for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c) map[static_cast<std::size_t>(r * w + c)] = plane(r, c);
    for (int r = 2; r < h - 1; r += 4) {
        for (int c = 1 + (r % 3); c < w - 1; c += 4) {
            map[static_cast<std::size_t>(r * w + c)] += (c % 2 ? 250.0f : -300.0f);
            for (int dr = -1; dr <= 1; ++dr)
                for (int dc = -1; dc <= 1; ++dc) nearSpike[static_cast<std::size_t>((r + dr) * w + c + dc)] = true;
        }
    }
    XeloraAlgo algo;  // through the public member
    tagXeloraAlgoROIInfo roi{0, 0, w, h};
    algo.SetROIInfo(&roi);
    algo.MediaFilter(map.data(), 4);
    for (int r = 1; r < h - 1; ++r) {
        for (int c = 1; c < w - 1; ++c) {
            const std::size_t i = static_cast<std::size_t>(r * w + c);
            if (nearSpike[i]) {
                EXPECT_LE(std::fabs(map[i] - plane(r, c)), 5.0f) << r << " " << c;
            } else {
                EXPECT_EQ(map[i], plane(r, c)) << r << " " << c;
            }
        }
    }
}

}  // namespace
}  // namespace XELORAALGO
