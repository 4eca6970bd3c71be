// MatchI against a plain matcher written here from its rules (a full continuity table per band,
// one list per bucket, three passes over the band, every candidate visited in order), with and
// without the vector loops, on frames built to break them: NaN of both signs, infinities, both
// zeros, phases whose bucket is -1, -2, width - 1, width or beyond the int range, exact ties,
// crowded buckets (more candidates than the lanes hold), jumps that fail the continuity test and
// matches in column 0; widths that leave every tail of eight and four lanes.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <random>
#include <vector>

#include "StereoTestUtil.h"
#include "stereo/stereo.h"

namespace {

struct Frame {
    int w, h;
    double bucketWidth;
    stereotest::BoolMap mask1, mask2;
    std::vector<float> phase1, phase2;
    Frame(int width, int height)
        : w(width), h(height), bucketWidth(402.1238596594944 / width),
          mask1(static_cast<std::size_t>(width * height)), mask2(mask1.n), phase1(mask1.n), phase2(mask1.n) {}
};

struct Matches {
    std::vector<std::int32_t> column, side;
    std::vector<char> mask;
};

// The bucket of a phase, or nothing (-2, which reaches no bucket) when the quotient is NaN or
// beyond the int range.
int bucketOf(float v, double width) {
    const double q = static_cast<double>(v) / width;
    return q > -2147483649.0 && q < 2147483648.0 ? static_cast<int>(q) : -2;
}

Matches plainMatchI(const Frame& f) {
    const int w = f.w, h = f.h;
    const std::size_t n = static_cast<std::size_t>(w * h);
    Matches out{std::vector<std::int32_t>(n, 0), std::vector<std::int32_t>(n, 0), std::vector<char>(n, 1)};  // the caller's matchMask: true
    std::vector<std::int32_t> backward(n, 0);
    const auto at = [w](int r, int c) { return static_cast<std::size_t>(r * w + c); };
    // One direction's search of pixel (r, c): candidates from `lists`, costs from `other`, the
    // continuity reference from `cont` at c - step and c - 2 step.
    const auto search = [&](int r, int c, int step, float p, const std::vector<std::vector<int>>& lists,
                            const float* other, const std::vector<std::int32_t>& cont, int& best) {
        std::int32_t ref = 0;
        const int c1 = c - step, c2 = c - 2 * step;
        if (r >= 1 && c1 >= 0 && c1 < w) {
            ref = cont[at(r, c1)];
            if (ref == 0 && c2 >= 0 && c2 < w) ref = cont[at(r, c2)];
        }
        const int b0 = bucketOf(p, f.bucketWidth);
        bool found = false;
        float bestCost = 0.0f;
        for (int b = b0 - 1; b <= b0 + 1; ++b) {
            if (b < 0 || b >= w) continue;
            for (int cand : lists[static_cast<std::size_t>(b)]) {
                if (ref != 0 && std::abs(ref - cand) > 20) continue;
                const float d = std::fabs(other[cand] - p);
                if (!found || bestCost >= d) best = cand, bestCost = d;
                found = true;
            }
        }
        return found;
    };
    const auto listsOf = [&](int r, const stereotest::BoolMap& mask, const std::vector<float>& phase) {
        std::vector<std::vector<int>> lists(static_cast<std::size_t>(w));
        for (int c = 0; c < w; ++c) {
            const int b = bucketOf(phase[at(r, c)], f.bucketWidth);
            if (mask[at(r, c)] && b >= 0 && b < w) lists[static_cast<std::size_t>(b)].push_back(c);
        }
        return lists;
    };
    const int rows = h / 8;
    for (int k = 0; k < 8; ++k) {
        std::vector<std::int32_t> cont(n, 0);
        for (int r = k * rows; r < (k + 1) * rows; ++r) {
            const auto lists = listsOf(r, f.mask2, f.phase2);
            for (int c = 0; c < w; ++c) {
                out.mask[at(r, c)] = 0;
                int m = 0;
                if (!f.mask1[at(r, c)] ||
                    !search(r, c, 1, f.phase1[at(r, c)], lists, &f.phase2[at(r, 0)], cont, m))
                    continue;
                out.column[at(r, c)] = m;
                out.mask[at(r, c)] = 1;
                out.side[at(r, c)] = f.phase1[at(r, c)] - f.phase2[at(r, m)] < 0.0f ? 0 : 1;
                cont[at(r, c)] = m;
            }
        }
        std::fill(cont.begin(), cont.end(), 0);
        for (int r = k * rows; r < (k + 1) * rows; ++r) {
            const auto lists = listsOf(r, f.mask1, f.phase1);
            for (int c = w - 1; c >= 0; --c) {
                int m = 0;
                if (f.mask2[at(r, c)] && search(r, c, -1, f.phase2[at(r, c)], lists, &f.phase1[at(r, 0)], cont, m))
                    backward[at(r, c)] = cont[at(r, c)] = m;
            }
        }
        for (int r = k * rows; r < (k + 1) * rows; ++r)
            for (int c = 0; c < w; ++c) {
                const std::int32_t m = out.column[at(r, c)];
                if (m == 0) continue;
                const std::int32_t b = backward[at(r, m)];
                if (b == 0 || std::abs(c - b) > 10) out.column[at(r, c)] = 0, out.mask[at(r, c)] = 0, out.side[at(r, c)] = -1;
            }
    }
    return out;
}

Matches libraryMatchI(const Frame& f, bool lanes) {
    XELORAALGO::AlgoEngine e;
    stereotest::setRoi(e, f.w, f.h);
    e.phaseBucketWidth = f.bucketWidth;
    stereotest::BoolMap matchMask(f.mask1.n, true);
    // Run twice: the second call reuses the first call's tables, which must not leak through.
    for (int k = 0; k < 2; ++k)
        XELORAALGO::stereo::detail::matchI(e, f.mask1.v.get(), f.mask2.v.get(), matchMask.data(), f.phase1.data(),
                                           f.phase2.data(), lanes);
    Matches out{e.matchColumn, e.matchSide, std::vector<char>(f.mask1.n)};
    for (std::size_t i = 0; i < f.mask1.n; ++i) out.mask[i] = matchMask[i] ? 1 : 0;
    return out;
}

// A frame of ramps (camera 2 shifted, so matches lie a few columns away) with the special values
// sprinkled in; `crowded` rows put many pixels of both cameras into a few buckets.
Frame adversarialFrame(int w, int h, unsigned seed) {
    Frame f(w, h);
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> jitter(-0.6f, 0.6f);
    std::uniform_int_distribution<int> pick(0, 39);
    const float bw = static_cast<float>(f.bucketWidth), inf = std::numeric_limits<float>::infinity();
    const float special[] = {std::nanf(""), -std::nanf(""), inf, -inf, 0.0f, -0.0f,
                             -0.5f * bw,      -1.5f * bw,    (w - 0.5f) * bw, w * bw + 1e-3f, 1e12f * bw, -1e12f * bw};
    for (int r = 0; r < h; ++r) {
        const bool crowded = r % 3 == 2;
        const float shift = static_cast<float>(r % 4);  // columns between the cameras
        for (int c = 0; c < w; ++c) {
            const std::size_t i = static_cast<std::size_t>(r * w + c);
            float p1 = crowded ? (2.0f + static_cast<float>(c % 3)) * bw + jitter(rng) : (c + 0.3f) * bw;
            float p2 = crowded ? (2.0f + static_cast<float>((c + 1) % 3)) * bw + jitter(rng) : (c + shift + 0.3f) * bw;
            if (!crowded && pick(rng) < 3) p1 += 30.0f * bw;  // a jump the continuity test rejects
            if (pick(rng) < 2) p2 = p1;                         // exact ties between neighbours
            const int a = pick(rng), b = pick(rng);
            if (a < 12) p1 = special[a];
            if (b < 12) p2 = special[b];
            f.phase1[i] = p1;
            f.phase2[i] = p2;
            f.mask1[i] = pick(rng) != 0;
            f.mask2[i] = pick(rng) != 0;
        }
    }
    return f;
}

void expectEqual(const Matches& want, const Matches& got, const char* what, int w, int h) {
    int differences = 0;
    for (std::size_t i = 0; i < want.column.size() && differences < 10; ++i) {
        const bool same = want.column[i] == got.column[i] && want.side[i] == got.side[i] && want.mask[i] == got.mask[i];
        differences += same ? 0 : 1;
        EXPECT_TRUE(same) << what << " " << w << " x " << h << " pixel " << i << ": column " << got.column[i]
                          << " (want " << want.column[i] << "), side " << got.side[i] << " (" << want.side[i]
                          << "), mask " << int(got.mask[i]) << " (" << int(want.mask[i]) << ")";
    }
}

}  // namespace

TEST(MatchLanes, BothLoopsEqualThePlainMatcherOnAdversarialFrames) {
    for (int w : {1, 2, 5, 8, 9, 12, 17, 31, 64}) {
        for (int h : {9, 17}) {
            const Frame f = adversarialFrame(w, h, static_cast<unsigned>(w * 100 + h));
            const Matches want = plainMatchI(f);
            expectEqual(want, libraryMatchI(f, true), "lanes", w, h);
            expectEqual(want, libraryMatchI(f, false), "scalar", w, h);
            if (w >= 31) {
                int matched = 0, rejected = 0;
                for (std::size_t i = 0; i < want.column.size(); ++i) {
                    matched += want.mask[i] == 1;
                    rejected += want.side[i] == -1;
                }
                EXPECT_GT(matched, w * 3) << w << " x " << h;  // the frame matches ...
                EXPECT_GT(rejected, 0) << w << " x " << h;     // ... and the check rejects
            }
        }
    }
}
