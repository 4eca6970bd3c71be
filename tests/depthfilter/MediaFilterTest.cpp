// Tests of MediaFilter: the min/max/mid ranking network bit for bit on both code paths, holes and
// borders.
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

std::uint32_t bitsOf(float v) {
    std::uint32_t b;
    std::memcpy(&b, &v, sizeof b);
    return b;
}

// The documented ranking network written out value by value (n in raster order): all nine ascending
// positions. Mids are x + y + z - max - min in float, summed in the order given.
std::array<float, 9> networkReference(const std::array<float, 9>& n) {
    auto mn = [](float a, float b, float c) { return std::min(std::min(a, b), c); };
    auto mx = [](float a, float b, float c) { return std::max(std::max(a, b), c); };
    auto md = [&](float a, float b, float c) { return a + b + c - mx(a, b, c) - mn(a, b, c); };
    const float tMin = mn(n[0], n[1], n[2]), tMid = md(n[2], n[1], n[0]), tMax = mx(n[0], n[1], n[2]);
    const float cMin = mn(n[3], n[4], n[5]), cMid = md(n[3], n[4], n[5]), cMax = mx(n[3], n[4], n[5]);
    const float bMin = mn(n[6], n[7], n[8]), bMid = md(n[7], n[6], n[8]), bMax = mx(n[6], n[7], n[8]);
    const float maxMin = mx(tMin, cMin, bMin), midMin = md(cMin, tMin, bMin);
    const float minMid = mn(tMid, cMid, bMid), medMid = md(cMid, tMid, bMid), maxMid = mx(tMid, cMid, bMid);
    const float minMax = mn(tMax, cMax, bMax), midMax = md(cMax, tMax, bMax);
    const float u = mn(medMid, maxMin, minMax), v = mx(maxMin, medMid, minMax);
    return {mn(tMin, cMin, bMin), mn(minMid, midMin, u), md(minMid, u, midMin),
            mx(minMid, midMin, u), md(medMid, minMax, maxMin), mn(maxMid, midMax, v),
            md(maxMid, v, midMax), mx(maxMid, midMax, v), mx(tMax, cMax, bMax)};
}

// Every order on the sixteen-, eight- and four-pixel and scalar paths (widths that leave every tail): on real values the mids differ from a
// sort in the last bits and the filter must follow the network exactly; on small integers (exact sums,
// ties, zero neighbours) it is the true order statistic. Holes of either sign and borders stay as they are.
TEST(MediaFilter, FollowsTheRankingNetworkBitForBitOnBothPaths) {
    static AlgoEngine engine;
    std::mt19937 rng(11);
    std::uniform_real_distribution<float> mag(-3.0f, 4.0f), frac(0.5f, 1.0f);
    std::uniform_int_distribution<int> small(-3, 40);
    int differsFromSort = 0;
    for (const bool ints : {false, true}) {
        for (const int w : {3, 5, 6, 7, 8, 12, 21, 30, 34, 46, 53}) {
            const int h = 6;
            engine.roi = {0, 0, w, h};
            std::vector<float> src(w * h);
            for (float& v : src) v = ints ? small(rng) : (rng() % 2 ? 1 : -1) * frac(rng) * std::pow(10.0f, mag(rng));
            src[w + 1] = 0.0f, src[5 * w - 2] = -0.0f;  // holes
            for (int order = 0; order <= 8; ++order) {
                for (const int lanes : {16, 8, 4, 1}) {
                    std::vector<float> map = src;
                    depthfilter::MediaFilterWithLanes(engine, map.data(), order, lanes);
                    for (int i = 0; i < w * h; ++i) {
                        const int r = i / w, c = i % w;
                        if (r == 0 || c == 0 || r == h - 1 || c == w - 1 || src[i] == 0.0f) {
                            EXPECT_EQ(bitsOf(map[i]), bitsOf(src[i])) << "w " << w << " r " << r << " c " << c;
                            continue;
                        }
                        std::array<float, 9> n{};
                        for (int k = 0; k < 9; ++k) n[k] = src[i + (k / 3 - 1) * w + k % 3 - 1];
                        const float want = networkReference(n)[8 - order];
                        EXPECT_EQ(bitsOf(map[i]), bitsOf(want)) << order << " " << lanes << " " << w << " " << i;
                        std::sort(n.begin(), n.end());
                        EXPECT_TRUE(!(ints || order == 0 || order == 8) || map[i] == n[8 - order]);
                        differsFromSort += !ints && lanes == 16 && want != n[8 - order] ? 1 : 0;
                    }
                }
            }
        }
    }
    // The real data must exercise the rounding of the mids, or this would not tell a sort from the network.
    EXPECT_GT(differsFromSort, 10);
}

// Through the public member: holes stay; a valid pixel with five zeros in its window becomes 0, one
// with three keeps its value.
TEST(MediaFilter, NeverFillsHolesButCanOpenThem) {
    const int w = 6, h = 6;
    std::vector<float> map(w * h, 5.0f);
    const int holes[] = {7, 8, 9, 13, 14, 15, 19, 21};  // rows 1..2 x columns 1..3, (3, 1), (3, 3)
    for (const int i : holes) map[i] = 0.0f;
    XeloraAlgo algo;
    tagXeloraAlgoROIInfo roi{0, 0, w, h};
    algo.SetROIInfo(&roi);
    algo.MediaFilter(map.data(), 4);
    for (const int i : holes) EXPECT_EQ(map[i], 0.0f) << i;
    EXPECT_EQ(map[3 * w + 2], 0.0f);
    EXPECT_EQ(map[2 * w + 4], 5.0f);
}

// Maps lower or narrower than 3 pixels and orders outside 0 .. 8 leave the map unchanged.
TEST(MediaFilter, ThinMapsAndInvalidOrdersAreLeftAlone) {
    AlgoEngine engine;
    for (const auto& k : {std::array<int, 3>{7, 2, 4}, {2, 7, 4}, {1, 7, 4}, {5, 5, 9}, {5, 5, -1}}) {
        engine.roi = {0, 0, k[0], k[1]};
        std::vector<float> map(k[0] * k[1]);
        for (std::size_t i = 0; i < map.size(); ++i) map[i] = static_cast<float>(i * i % 7) + 1.0f;
        const std::vector<float> src = map;
        depthfilter::MediaFilter(engine, map.data(), k[2]);
        EXPECT_EQ(map, src) << k[0] << " x " << k[1] << " order " << k[2];
    }
}

TEST(MediaFilter, EveryPathFollowsTheNetworkOnNaNInfinitiesZerosAndTallMaps) {
    // NaN of both signs and several payloads (quiet and signalling), infinities, zeros of both signs
    // (holes), subnormals and ordinary values; widths around the strips of sixteen columns (a last
    // strip of every width) and heights from 3 to 100 (one to three bands of rows), every order and every path, against the network
    // written out value by value: to the bit, except that a NaN result is only checked to be NaN (which
    // payload an addition of two NaNs returns depends on the operand order the compiler picks).
    static AlgoEngine engine;
    std::mt19937 rng(5150);
    const std::uint32_t nans[] = {0x7fc00000u, 0xffc00000u, 0x7fc00123u, 0xffd0beefu, 0x7f800001u, 0xff812345u};
    const float odd[] = {INFINITY, -INFINITY, 0.0f, -0.0f, 1e-45f, -3e-39f, 1e30f, -1e30f};
    int nanResults = 0;
    for (const int w : {3, 4, 17, 18, 19, 33, 35, 50}) {
        for (const int h : {3, 4, 9, 21, 50, 51, 100}) {
            engine.roi = {0, 0, w, h};
            std::vector<float> src(std::size_t(w) * h);
            for (float& v : src) {
                const unsigned k = rng() % 10;
                if (k == 0) {
                    std::memcpy(&v, &nans[rng() % 6], sizeof v);
                } else if (k <= 2) {
                    v = odd[rng() % 8];
                } else {
                    v = std::uniform_real_distribution<float>(-50.0f, 50.0f)(rng);
                }
            }
            for (int order = 0; order <= 8; ++order)
                for (const int lanes : {16, 8, 4, 1}) {
                    std::vector<float> map = src;
                    depthfilter::MediaFilterWithLanes(engine, map.data(), order, lanes);
                    for (int i = 0; i < w * h; ++i) {
                        const int r = i / w, c = i % w;
                        float want = src[i];
                        if (r > 0 && c > 0 && r < h - 1 && c < w - 1 && src[i] != 0.0f) {
                            std::array<float, 9> n{};
                            for (int k = 0; k < 9; ++k) n[k] = src[i + (k / 3 - 1) * w + k % 3 - 1];
                            want = networkReference(n)[8 - order];
                        }
                        nanResults += std::isnan(want) ? 1 : 0;
                        ASSERT_TRUE(std::isnan(want) ? std::isnan(map[i]) : bitsOf(map[i]) == bitsOf(want))
                            << w << " x " << h << " order " << order << " lanes " << lanes << " r " << r << " c " << c
                            << ": " << map[i] << " vs " << want;
                    }
                }
        }
    }
    EXPECT_GT(nanResults, 100);
}

}  // namespace
}  // namespace XELORAALGO
