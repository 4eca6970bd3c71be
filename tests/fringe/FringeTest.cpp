// Fringe decoding. Masked Gaussian smoothing: bit-exact agreement with a direct reference, degenerate
// sigma. Decoders: worked pixels of the 11-plane set (quarter boundaries, thresholds,
// truncating first pass) and of the 18-plane set (binarisation of pairs, row repair), the vertical check,
// two-pass equivalences, banded passes, synthetic projector round trips with and without smoothing
// rounds, and the exported members.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <new>
#include <random>
#include <tuple>
#include <vector>

#include "XeloraAlgo.h"
#include "fringe/fringe.h"
#include "numerics/numerics.h"

using XELORAALGO::AlgoEngine;
namespace fr = XELORAALGO::fringe;

namespace {

using Decoder = void (*)(const AlgoEngine&, bool*, float*, float*, unsigned char* const*, bool, int, float, float*);
constexpr double kPi = 3.14159265358979323846;
constexpr float kTwoPiF = 6.2831855f;

// The engine with a w x h ROI (built once: its lookup tables are costly).
AlgoEngine& engine(int w, int h) {
    static AlgoEngine e;
    e.roi = {0, 0, w, h};
    return e;
}

struct Case {  // map and mask of a w x h ROI
    int w, h;
    std::vector<float> map;
    std::unique_ptr<bool[]> mask;
    Case(int width, int height) : w(width), h(height), map(std::size_t(w) * h), mask(new bool[map.size()]) {
        std::fill(mask.get(), mask.get() + map.size(), true);
    }
    void smooth(float sigma) { fr::SmoothMaskedMap(engine(w, h), map.data(), mask.get(), sigma); }
};

// Direct reading of the algorithm: per pixel, 2-D indices, explicit bounds and mask tests.
std::vector<float> referenceSmooth(const Case& in, float sigma) {
    const int R = int(std::floor(1.5 * double(sigma))), w = in.w, h = in.h;
    std::vector<double> k;
    double sum = 0.0;
    for (int x = -R; x <= R; ++x) sum += k.emplace_back(double(XELORAALGO::num::expf(float(-x * x) / ((sigma + sigma) * sigma))));
    for (auto& v : k) v /= sum;
    auto pass = [&](const std::vector<float>& src, int dr, int dc) {
        std::vector<float> out(src.size(), 0.0f);
        for (int r = 0; r < h; ++r)
            for (int c = 0; c < w; ++c) {
                if (!in.mask[r * w + c]) continue;
                float ws = 0.0f, vs = 0.0f;
                for (int t = -R; t <= R; ++t) {
                    const int qr = r + t * dr, qc = c + t * dc;
                    if (qr < 0 || qr >= h || qc < 0 || qc >= w || !in.mask[qr * w + qc]) continue;
                    ws = ws + float(k[t + R]);
                    vs = vs + float(k[t + R]) * src[qr * w + qc];
                }
                out[r * w + c] = vs / ws;
            }
        return out;
    };
    return pass(pass(in.map, 0, 1), 1, 0);
}

struct Stack {  // 8-bit planes of one ROI, pointer array for the decoders
    std::vector<std::vector<unsigned char>> planes;
    std::vector<unsigned char*> ptrs;
    Stack(int count, std::size_t n, unsigned char fill = 0) : planes(count, std::vector<unsigned char>(n, fill)) {}
    std::size_t n() const { return planes[0].size(); }
    void set(std::size_t i, int first, std::initializer_list<int> v) {
        for (int x : v) planes[first++][i] = (unsigned char)x;
    }
    void randomise(unsigned seed) {
        std::mt19937 rng(seed);
        for (auto& p : planes)
            for (auto& v : p) v = (unsigned char)(rng() % 256);
    }
};

struct Outputs {  // decoder outputs: maps -1 and mask false until written
    std::unique_ptr<bool[]> valid;
    std::vector<float> mod, avg, phase;
    explicit Outputs(std::size_t n) : valid(new bool[n]()), mod(n, -1.0f), avg(n, -1.0f), phase(n, -1.0f) {}
};

unsigned char** planes(Stack& s) {
    s.ptrs.clear();
    for (auto& p : s.planes) s.ptrs.push_back(p.data());
    return s.ptrs.data();
}

// All four outputs of pixel i of a and pixel j of b agree (the validity mask only if mask).
bool same(const Outputs& a, std::size_t i, const Outputs& b, std::size_t j, bool mask = true) {
    return a.phase[i] == b.phase[j] && a.mod[i] == b.mod[j] && a.avg[i] == b.avg[j] &&
           (!mask || a.valid[i] == b.valid[j]);
}

Outputs run(Decoder d, int w, int h, Stack& s, bool smooth = false, int rounds = 0, float sigma = 2.0f) {
    Outputs o(s.n());
    d(engine(w, h), o.valid.get(), o.mod.data(), o.avg.data(), planes(s), smooth, rounds, sigma, o.phase.data());
    return o;
}

// 11-plane set: planes 0..6 carry the Gray code of the half-period number H, most significant bit first.
void setCode(Stack& s, std::size_t i, int H) {
    for (int k = 0; k < 7; ++k) s.planes[k][i] = (((H ^ (H >> 1)) >> (6 - k)) & 1) ? 200 : 40;
}

// 18-plane set: pattern/inverse pairs for period number W1 and shifted bit b (pair 6), as the decoder reads them.
void setPairedCode(Stack& s, std::size_t i, int W1, int b) {
    for (int k = 0; k < 7; ++k) {
        const int bit = k == 6 ? b : ((k == 0 ? !((W1 >> 5) & 1) : (((W1 ^ (W1 >> 1)) >> (5 - k)) & 1)) ^ b);
        s.set(i, 2 * k, {bit ? 200 : 40, bit ? 40 : 200});
    }
}

// Synthetic projector: phase growing along the row, fringes 120 + 90 cos(Phi - shift).
// The reversed decoders see the image mirrored and count from the other end: 128 pi minus the phase.
bool reversed(Decoder d) { return d == fr::UnDecGrayPhase1 || d == fr::UnDecGrayPhase2; }
double truePhase(Decoder d, int c, int w, double from, double to) {
    if (reversed(d)) return 128 * kPi - truePhase(fr::DecGrayPhase1, w - 1 - c, w, from, to);
    return from + (to - from) * c / (w - 1);
}
Stack projector(Decoder d, int w, int h, double from, double to) {
    const bool paired = d == fr::DecGrayPhase2;
    Stack s(paired ? 18 : 11, std::size_t(w) * h);
    for (int i = 0; i < w * h; ++i) {
        const double phi = truePhase(fr::DecGrayPhase1, reversed(d) ? w - 1 - i % w : i % w, w, from, to);
        const int H = int(std::floor(phi / kPi)), W1 = H / 2;
        if (paired) setPairedCode(s, i, W1, (W1 % 2 == 0) ? H % 2 : 1 - H % 2);
        else setCode(s, i, H);
        for (int j = 0; j < 4; ++j)  // shifts: 11 planes pi/2 .. 2pi; 18 planes 3pi/2, pi, pi/2, 0
            s.planes[paired ? 14 + j : 7 + j][i] =
                (unsigned char)std::lround(120 + 90 * std::cos(phi - (paired ? 3 - j : j + 1) * kPi / 2));
    }
    return s;
}
double edgeDistance(double phi) { return std::min(std::fmod(phi, kPi), kPi - std::fmod(phi, kPi)); }  // to code edges

}  // namespace

TEST(SmoothMaskedMap, MatchesDirectReferenceToTheBit) {
    // Invalid pixels hold NaN or huge values, which must neither leak in nor survive (they become 0).
    // Radii 1, 1, 3, 4 and 60 (wider than the 5 x 3 ROI).
    std::mt19937 rng(12345);
    const std::pair<int, float> cases[] = {{23, 0.8f}, {23, 1.0f}, {23, 2.0f}, {23, 3.3f}, {5, 40.0f}};
    for (auto [w, sigma] : cases) {
        Case c(w, w == 5 ? 3 : 17);
        for (std::size_t i = 0; i < c.map.size(); ++i) {
            c.mask[i] = rng() % 5 != 0;
            c.map[i] = c.mask[i] ? std::uniform_real_distribution<float>(0.0f, 255.0f)(rng) : (i % 2 ? 1e30f : NAN);
        }
        const std::vector<float> expected = referenceSmooth(c, sigma);
        c.smooth(sigma);
        for (std::size_t i = 0; i < c.map.size(); ++i) ASSERT_EQ(c.map[i], expected[i]) << sigma << " " << i;
    }
}

TEST(SmoothMaskedMap, SeveralMapsAndBothLoopWidthsGiveTheSingleMapBits) {
    // Four maps with one mask, smoothed together (wide and baseline row loops) and one by one: the
    // same bits. Valid values include both zeros, infinities and NaN (which spread to the valid
    // pixels in reach, identically); widths around the eight-float vector.
    std::mt19937 rng(77);
    for (auto [w, h, sigma] : {std::tuple<int, int, float>{13, 11, 2.0f}, {16, 9, 1.0f}, {31, 6, 3.4f}, {7, 20, 9.0f}}) {
        const std::size_t n = std::size_t(w) * h;
        std::unique_ptr<bool[]> mask(new bool[n]);
        std::vector<float> maps[4];
        for (auto& m : maps) m.resize(n);
        for (std::size_t i = 0; i < n; ++i) {
            mask[i] = rng() % 4 != 0;
            for (auto& m : maps) {
                const unsigned r = rng() % 40;
                m[i] = r == 0 ? 0.0f : r == 1 ? -0.0f : r == 2 ? INFINITY : r == 3 ? NAN
                                      : std::uniform_real_distribution<float>(-300.0f, 300.0f)(rng);
            }
        }
        std::vector<float> single[4], together[2][4];
        for (int k = 0; k < 4; ++k) {
            single[k] = maps[k];
            fr::SmoothMaskedMap(engine(w, h), single[k].data(), mask.get(), sigma);
        }
        for (int wide = 0; wide < 2; ++wide) {
            float* ptrs[4];
            for (int k = 0; k < 4; ++k) ptrs[k] = (together[wide][k] = maps[k]).data();
            fr::detail::smoothMaskedMaps(engine(w, h), ptrs, 4, mask.get(), sigma,
                                          wide == 1 ? XELORAALGO::num::widestIsa() : XELORAALGO::num::Isa::Sse2);
        }
        for (int k = 0; k < 4; ++k)
            for (std::size_t i = 0; i < n; ++i)
                for (int wide = 0; wide < 2; ++wide) {
                    const float a = together[wide][k][i], b = single[k][i];
                    ASSERT_TRUE(std::isnan(a) ? std::isnan(b) : std::memcmp(&a, &b, sizeof a) == 0)
                        << w << " x " << h << " map " << k << " pixel " << i << (wide ? " wide" : " baseline");
                }
    }
}

TEST(SmoothMaskedMap, ProductAndSumAreFloatOperations) {
    // One row of three valid pixels, sigma 1 (taps w1, w0, w1 with w0 = 1 / (1 + 2e), w1 = e w0,
    // e = expf(-0.5f)): the centre is (f(w1) a + f(w0) b + f(w1) c) / (f(w1) + f(w0) + f(w1)), every
    // operation in float (f: rounded to float). The vertical pass has only its centre tap inside the
    // one-row map: (f(w0) v) / f(w0). Values are drawn until forming the products in double and rounding the
    // running sum would give another float, so the case tells the two readings apart.
    const double e = double(expf(-0.5f)), w0 = 1.0 / (1.0 + 2.0 * e), w1 = e / (1.0 + 2.0 * e);
    const float f0 = float(w0), f1 = float(w1);
    std::mt19937 rng(77);
    int tried = 0;
    for (int found = 0; found < 3 && tried < 100000; ++tried) {
        const float a = float(rng() % 100000) / 64.0f, b = float(rng() % 100000) / 64.0f, c = float(rng() % 100000) / 64.0f;
        const float ws = (f1 + f0) + f1;
        const float inFloat = ((f1 * a + f0 * b) + f1 * c) / ws;
        float viaDouble = float(w1 * double(a));
        viaDouble = float(double(viaDouble) + w0 * double(b));
        viaDouble = float(double(viaDouble) + w1 * double(c)) / ws;
        if (inFloat == viaDouble) continue;
        ++found;
        Case m(3, 1);
        m.map = {a, b, c};
        m.smooth(1.0f);
        EXPECT_EQ(m.map[1], (f0 * inFloat) / f0) << a << " " << b << " " << c;
    }
    EXPECT_LT(tried, 100000) << "no distinguishing values found";
}

TEST(SmoothMaskedMap, DegenerateSigma) {
    // Radius 0 (incl. a sigma whose kernel denominator underflows) and sigma <= 0 or NaN: valid pixels keep
    // their values exactly, invalid ones become 0. An unallocatable radius throws std::bad_alloc.
    for (float sigma : {1e-30f, 0.5f, 0.66f, 0.0f, -1.0f, NAN}) {
        Case c(5, 4);
        for (int i = 0; i < 20; ++i) c.map[i] = 0.1f * float(i * i) - 3.3f;
        c.mask[7] = c.mask[13] = false;
        c.smooth(sigma);
        for (int i = 0; i < 20; ++i) EXPECT_EQ(c.map[i], c.mask[i] ? 0.1f * float(i * i) - 3.3f : 0.0f) << sigma;
    }
    EXPECT_THROW(Case(5, 4).smooth(1e30f), std::bad_alloc);
}

TEST(DecGrayPhase1, WorkedPixels) {
    Stack s(11, 9, 100);
    // Pixel 0: a = 50, b = 150; only Gray plane 0 above t = 125: W1 63, W2 64. Pixel 1: all planes 100.
    s.set(0, 7, {200, 100, 50, 150});
    s.planes[0][0] = 200;
    s.set(2, 7, {100, 50, 101, 150});  // phi just below 2pi: late quarter takes W2 - 1 (half period 10)
    setCode(s, 2, 10);
    s.set(3, 7, {150, 100, 50, 100});  // float phi 1.5707964 lies above the double pi/2: middle quarter, W1
    setCode(s, 3, 19);
    s.set(4, 7, {50, 100, 150, 100});  // float 4.712389 not below the double 3pi/2: late quarter
    setCode(s, 4, 18);
    const int a[4] = {4, 5, 10, 11};  // pixels 5..8: b = 0, m = a / 2 against thresholds 5 (forward), 2 (reversed)
    for (int i = 0; i < 4; ++i) s.planes[10][5 + i] = (unsigned char)(100 + a[i]);
    // Thresholds of both passes: UnDecGrayPhase2 decoded in two passes (no rounds).
    const Outputs o = run(fr::DecGrayPhase1, 9, 1, s), r1 = run(fr::UnDecGrayPhase1, 9, 1, s),
                  r2 = run(fr::UnDecGrayPhase2, 9, 1, s, true, 0);
    EXPECT_EQ(o.mod[0], 0.5f * float(std::sqrt(50.0 * 50.0 + 150.0 * 150.0)));
    EXPECT_TRUE(o.avg[0] == 125.0f && o.valid[0]);
    EXPECT_EQ(o.phase[0], 64.0f * kTwoPiF + float(std::atan2(150.0, 50.0)));
    EXPECT_TRUE(o.mod[1] == 0.0f && !o.valid[1] && o.phase[1] == 0.0f);
    EXPECT_EQ(o.avg[2], 100.25f);
    EXPECT_EQ(o.phase[2], 4.0f * kTwoPiF + (float(std::atan2(-1.0, 100.0)) + kTwoPiF));  // just below 5 periods
    EXPECT_EQ(o.phase[3], 9.0f * kTwoPiF + 1.5707964f);
    EXPECT_EQ(o.phase[4], 8.0f * kTwoPiF + (float(std::atan2(-100.0, 0.0)) + kTwoPiF));
    for (int i = 0; i < 4; ++i)
        EXPECT_TRUE(o.mod[5 + i] == 0.5f * a[i] && o.valid[5 + i] == (i == 3) && r1.valid[5 + i] == (i >= 1) &&
                    r2.valid[5 + i] == (i >= 1)) << i;
    // Two-pass with no rounds: truncating accumulation S = 149, C = 51 (stored sine/cosine not exact), A = 124.
    const Outputs t = run(fr::DecGrayPhase1, 9, 1, s, true, 0);
    EXPECT_EQ(t.mod[0], 0.5f * float(std::sqrt(51.0 * 51.0 + 149.0 * 149.0)));
    EXPECT_EQ(t.avg[0], 124.0f);
    EXPECT_EQ(t.phase[0], 64.0f * kTwoPiF + float(std::atan2(149.0, 51.0)));
    EXPECT_TRUE(t.mod[1] == 0.5f && t.phase[1] == 0.0f);  // four levels of 100: S = 0, C = 1
}

TEST(UnDecGrayPhase2, VerticalConsistencyCheck) {
    // Col 0: periods 10 (rows 0-3) / 11 (rows 4-7): rows 3, 4 see three differing rows, rows 2, 5 only two.
    // Col 1: a phase of exactly 0 among period-3 rows is invalidated (infinite relative difference), its
    // neighbours see one difference each. Reversed phi = pi: W = 63 - H / 2.
    Stack s(11, 16);
    for (int r = 0; r < 8; ++r) {
        for (int i : {r * 2, r * 2 + 1}) s.set(i, 7, {120, 170, 120, 70});
        setCode(s, r * 2, 2 * (63 - (r < 4 ? 10 : 11)));
        setCode(s, r * 2 + 1, 2 * (63 - 3));
    }
    s.set(5, 7, {120, 70, 120, 170});  // row 2, col 1: phi 0 with reversed W 0
    setCode(s, 5, 127);
    // Two-pass decoding has no vertical check (and with no rounds equals the one-pass phase).
    const Outputs one = run(fr::UnDecGrayPhase2, 2, 8, s), two = run(fr::UnDecGrayPhase2, 2, 8, s, true, 0);
    EXPECT_EQ(one.phase[5], 0.0f);
    for (int i = 0; i < 16; ++i) {
        EXPECT_EQ(one.phase[i], two.phase[i]);  // phases untouched
        EXPECT_EQ(one.valid[i], i != 6 && i != 8 && i != 5) << i;
        EXPECT_TRUE(two.valid[i]);
    }
}

TEST(DecGrayPhase, BandedPassesAndTwoPassEquivalences) {
    // Each pixel of a 13 x 3 ROI (bands of 4, 7 left over) decodes as it does alone in a 1 x 1 ROI (all
    // on the calling thread): one pass, two-pass with no rounds, with radius-0 rounds. Reversed decoders:
    // two-pass with no rounds equals one pass, and two-pass UnDecGrayPhase2 equals UnDecGrayPhase1.
    Stack s(11, 39);
    s.randomise(5);
    std::vector<Outputs> all;  // decoder x mode
    for (Decoder d : {fr::DecGrayPhase1, fr::UnDecGrayPhase1, fr::UnDecGrayPhase2})
        for (int mode = 0; mode < 3; ++mode) {
            all.push_back(run(d, 13, 3, s, mode > 0, mode - 1, 0.5f));
            for (std::size_t i = 0; i < s.n(); ++i) {
                Stack p(11, 1);
                for (int k = 0; k < 11; ++k) p.planes[k][0] = s.planes[k][i];
                // The one-pass mask of UnDecGrayPhase2 depends on the neighbours.
                ASSERT_TRUE(same(all.back(), i, run(d, 1, 1, p, mode > 0, mode - 1, 0.5f), 0, all.size() != 7)) << i;
            }
        }
    for (std::size_t i = 0; i < s.n(); ++i)
        EXPECT_TRUE(same(all[4], i, all[3], i) && same(all[7], i, all[3], i) && same(all[8], i, all[5], i)) << i;
}

TEST(DecGrayPhase2, FringeAnalysisAndBinarisationOfPairs) {
    // Code W1 = 0, b = 0 except pair 0 (planes 0/1), set per pixel. Fringes I14..I17: pixels 0-3 four
    // levels of 100 (t = 100, m = 0), 4-7 100, 0, 100, 200 (t = m = 100, phi = 0).
    Stack s(18, 10, 100);
    for (int i = 0; i < 10; ++i) setPairedCode(s, i, 0, 0);
    for (int i = 4; i < 8; ++i) s.set(i, 14, {100, 0, 100, 200});
    const int pair[8][3] = {  // P, N, bit (-1: not binarised)
        {60, 60, 0},     // t > m, P = N below t with N > m
        {150, 150, -1},  // t > m, P = N above t: neither threshold test
        {201, 200, 1},   // t > m, P > N
        {4, 200, 0},     // t > m, P < N
        {50, 150, 0},    // t = m: t > P and N > m
        {120, 90, 1},    // t = m: P > m and t > N
        {100, 100, -1},  // t = m: neither
        {201, 200, -1}}; // t = m: P > N is not enough (t > N fails)
    for (int i = 0; i < 8; ++i) s.set(i, 0, {pair[i][0], pair[i][1]});
    for (int k = 0; k < 14; ++k) s.planes[k][8] = (unsigned char)(k == 4 ? 150 : 30 + 10 * k);  // plane 4 = plane 12
    s.set(8, 14, {1, 8, 1, 8});          // dark: t = 4.5 < 5
    s.set(9, 14, {100, 100, 100, 104});  // m = 2: not below 2, valid
    const Outputs o = run(fr::DecGrayPhase2, 10, 1, s);
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(s.planes[12][i], 0) << i;  // so plane 0 holds the bit itself; a kept grey level compares as 1
        EXPECT_EQ(s.planes[0][i], pair[i][2] < 0 ? 1 : pair[i][2]) << i;
        EXPECT_EQ(o.valid[i], i >= 4 && pair[i][2] >= 0) << i;  // pixels 0-3 have m = 0 < 2
    }
    EXPECT_TRUE(o.avg[8] == 4.5f && !o.valid[8] && o.mod[9] == 2.0f && o.valid[9]);
    EXPECT_EQ(s.planes[12][8], 150);  // not binarised; planes 0..10 become "differs from plane 12"
    for (int k = 0; k < 12; k += 2) EXPECT_EQ(s.planes[k][8], k == 4 ? 0 : 1) << k;
}

TEST(DecGrayPhase2, RowRepairOfPeriodNumbers) {
    // Fringes at phase pi (middle quarter: the result shows W1), b = 0. Left to right, in place.
    const int rows[6][2][6] = {  // period numbers in, repaired
        {{5, 7, 5, 5, 5, 5}, {5, 5, 5, 5, 5, 5}},   // neighbours at distance 1 agree
        {{5, 5, 7, 7, 5, 5}, {5, 5, 5, 5, 5, 5}},   // distance 2 for the first, then the repaired one helps the second
        {{5, 5, 7, 7, 6, 6}, {5, 5, 7, 7, 6, 6}},   // distance-2 neighbours disagree: kept
        {{1, 2, 9, 8, 1, 3}, {1, 2, 1, 1, 1, 3}},   // column 3 sees the repaired column 2
        {{7, 5, 5, 5, 5, 9}, {7, 5, 5, 5, 5, 9}},   // end columns have no pair of neighbours
        {{3, 5, 7, 5, 3, 3}, {3, 5, 5, 5, 3, 3}}};  // repaired at distance 1, distance 2 not tried after it
    Stack s(18, 36);
    for (int i = 0; i < 36; ++i) {
        setPairedCode(s, i, rows[i / 6][0][i % 6], 0);
        s.set(i, 14, {120, 220, 120, 20});
    }
    const Outputs o = run(fr::DecGrayPhase2, 6, 6, s);
    for (int i = 0; i < 36; ++i) EXPECT_NEAR(o.phase[i], (2 * rows[i / 6][1][i % 6] + 1) * kPi, 1e-4) << i;
}

TEST(Fringe, SyntheticProjectorRoundTrip) {
    // All 64 periods across 517 columns (N not a multiple of 8). Clean fringes, one pass: valid, modulation
    // and average of the projector, phase back away from code edges; the paired decoder leaves bits in its
    // Gray planes 0, 2, .., 12 and the other planes unchanged. Fringes with +-3 noise and a dead pixel:
    // one round with sigma 2 gives a phase clearly closer than one pass away from the kernel border; the
    // dead pixel is invalid and smoothed to phase 0 (whole periods); only the phase changes (the forward
    // first pass truncates).
    const int w = 517, h = 9, dead = 4 * w + 258;  // centre column: the same pixel when mirrored
    const double from = 0.2, to = 128 * kPi - 0.2;
    std::mt19937 rng(3);
    for (Decoder d : {fr::DecGrayPhase1, fr::UnDecGrayPhase1, fr::UnDecGrayPhase2, fr::DecGrayPhase2}) {
        const int first = d == fr::DecGrayPhase2 ? 14 : 7;
        const Stack clean = projector(d, w, h, from, to);
        Stack s = clean, noisy = clean;
        for (int k = first; k < first + 4; ++k)
            for (auto& v : noisy.planes[k]) v = (unsigned char)std::clamp(int(v) + int(rng() % 7) - 3, 0, 255);
        noisy.set(dead, first, {120, 120, 120, 120});
        Stack s1 = noisy, s2 = noisy;
        // One pass (the rounds are not read without smoothPhase) and one round of smoothing.
        const Outputs o = run(d, w, h, s), one = run(d, w, h, s1, false, 3), two = run(d, w, h, s2, true, 1, 2.0f);
        double errOne = 0.0, errTwo = 0.0;
        for (int i = 0; i < w * h; ++i) {
            const int r = i / w, c = i % w;
            const double phi = truePhase(d, c, w, from, to);
            EXPECT_TRUE(o.valid[i] && std::fabs(o.mod[i] - 90.0) < 1.0 && std::fabs(o.avg[i] - 120.0) < 0.5) << i;
            for (int k = 0; k < first + 4; ++k)
                ASSERT_TRUE((first == 14 && k <= 12 && k % 2 == 0) ? s.planes[k][i] <= 1
                                                                   : s.planes[k][i] == clean.planes[k][i]);
            ASSERT_TRUE(d == fr::DecGrayPhase1 || (two.mod[i] == one.mod[i] && two.avg[i] == one.avg[i]));
            if (edgeDistance(phi) < 0.05) continue;
            EXPECT_NEAR(o.phase[i], phi, 0.02) << i;
            if (r < 3 || r >= h - 3 || c < 3 || c >= w - 3 || std::abs(c - 258) <= 3) continue;
            EXPECT_NEAR(two.phase[i], phi, 0.05) << i;
            errOne += std::fabs(one.phase[i] - phi);
            errTwo += std::fabs(two.phase[i] - phi);
        }
        EXPECT_LT(errTwo, 0.7 * errOne);
        EXPECT_FALSE(two.valid[dead]);
        const float periods = std::round(two.phase[dead] / kTwoPiF);
        EXPECT_EQ(two.phase[dead], first == 14 ? float(double(periods) * 6.2831853071796) : periods * kTwoPiF);
    }
}

TEST(Fringe, ExportedMembersForwardToTheEngine) {
    using X = XELORAALGO::XeloraAlgo;
    X algo;
    XELORAALGO::tagXeloraAlgoROIInfo roi{0, 0, 3, 6};
    algo.SetROIInfo(&roi);
    const std::pair<decltype(&X::DecGrayPhase1), Decoder> pairs[] = {
        {&X::DecGrayPhase1, fr::DecGrayPhase1}, {&X::UnDecGrayPhase1, fr::UnDecGrayPhase1},
        {&X::UnDecGrayPhase2, fr::UnDecGrayPhase2}, {&X::DecGrayPhase2, fr::DecGrayPhase2}};
    Stack in(18, 18);
    in.randomise(8);  // random planes: the vertical check of UnDecGrayPhase2 fires, phases differ per variant
    for (const auto& [member, decoder] : pairs)
        for (bool smooth : {false, true}) {
            Stack a = in, b = in;
            Outputs x(a.n());
            (algo.*member)(x.valid.get(), x.mod.data(), x.avg.data(), planes(a), true, smooth, 1, 1.0f, x.phase.data());
            const Outputs y = run(decoder, 3, 6, b, smooth, 1, 1.0f);
            for (std::size_t i = 0; i < a.n(); ++i) EXPECT_TRUE(same(x, i, y, i)) << i;
        }
}

TEST(DecGrayPhase, VectorLanesDecodeLikeSinglePixels) {
    // 40 x 9 pixels (eight bands of 45: blocks of four and a tail of one), every pixel compared with
    // its decoding in a 1 x 1 ROI (one pixel, no blocks). The fringes put phi on and around the
    // quarter boundaries (float pi/2 just above the double one, float 3pi/2 not below the double
    // one, phi a hair below 0 and exactly 0) and a = b = 0; the Gray planes sit on, just above and
    // just below the average, so every bit comparison meets its edge. Two-pass decoding with no
    // rounds runs the unwrapping on the truncating pass's average.
    const int w = 40, h = 9;
    Stack s(11, std::size_t(w) * h);
    s.randomise(17);
    const int fringes[][4] = {{150, 100, 50, 100}, {50, 100, 150, 100}, {100, 50, 101, 150}, {100, 100, 100, 100},
                              {101, 100, 100, 100}, {100, 100, 101, 100}, {200, 100, 50, 150}, {0, 255, 255, 0}};
    for (std::size_t i = 0; i < s.n(); ++i) {
        if (i % 3 == 0) continue;  // a third stays random
        const int* f = fringes[(i / 3) % 8];
        s.set(i, 7, {f[0], f[1], f[2], f[3]});
        const int sum = f[0] + f[1] + f[2] + f[3];
        for (int k = 0; k < 7; ++k) {  // 4P against the sum: equal, one above, one below (where possible)
            const int p = (sum + 4 * ((int(i) + k) % 3 - 1)) / 4;
            s.planes[k][i] = (unsigned char)std::min(255, std::max(0, p));
        }
    }
    for (Decoder d : {fr::DecGrayPhase1, fr::UnDecGrayPhase1})
        for (bool twoPass : {false, true}) {
            const Outputs all = run(d, w, h, s, twoPass, 0);
            for (std::size_t i = 0; i < s.n(); ++i) {
                Stack p(11, 1);
                for (int k = 0; k < 11; ++k) p.planes[k][0] = s.planes[k][i];
                ASSERT_TRUE(same(all, i, run(d, 1, 1, p, twoPass, 0), 0)) << i << (twoPass ? " two-pass" : "");
            }
        }
}

namespace {

using XELORAALGO::num::Isa;
constexpr Isa kEveryIsa[] = {Isa::Sse2, Isa::Avx2, Isa::Avx512};

bool sameBits(float a, float b) { return std::isnan(a) ? std::isnan(b) : std::memcmp(&a, &b, sizeof a) == 0; }

}  // namespace

TEST(DecGrayPhase, TruncatingSumsOfEveryInstructionSetFollowTheDoubleSteps) {
    // S, C and A of the truncating first pass, for every count from 0 to 70 and one of 1000 (every tail of
    // the 2-, 4- and 8-double vectors and of the 256-pixel blocks), against the steps written out here:
    // each term added in double to the running integer and truncated toward zero. The grey levels mix
    // random bytes with 0, 255 and the levels whose products with the inexact table sines and cosines
    // put the sum a hair below or above a whole number (where S or C lose one).
    const AlgoEngine& e = engine(1, 1);
    std::mt19937 rng(2024);
    const unsigned char edges[] = {0, 1, 2, 3, 4, 127, 128, 200, 254, 255};
    for (long long n : {0LL, 1LL, 2LL, 3LL, 5LL, 7LL, 8LL, 9LL, 15LL, 16LL, 17LL, 31LL, 63LL, 70LL, 1000LL}) {
        std::vector<unsigned char> grey[4];
        for (auto& g : grey) {
            g.resize(std::size_t(n));
            for (auto& v : g) v = rng() % 3 == 0 ? edges[rng() % 10] : (unsigned char)(rng() % 256);
        }
        const unsigned char* fringes[4] = {grey[0].data(), grey[1].data(), grey[2].data(), grey[3].data()};
        for (Isa isa : kEveryIsa) {
            std::vector<int> s(std::size_t(n) + 1, -7), c(s), a(s);
            fr::detail::truncatingSums(isa)(s.data(), c.data(), a.data(), fringes, e.phaseSin, e.phaseCos, n);
            for (long long j = 0; j < n; ++j) {
                int es = 0, ec = 0, ea = 0;
                for (int k = 0; k < 4; ++k) {
                    const double v = grey[k][std::size_t(j)];
                    es = int(std::trunc(double(es) + v * e.phaseSin[k]));
                    ec = int(std::trunc(double(ec) + v * e.phaseCos[k]));
                    ea = int(std::trunc(double(ea) + v * 0.25));
                }
                ASSERT_EQ(s[std::size_t(j)], es) << "n " << n << " pixel " << j << " isa " << int(isa);
                ASSERT_EQ(c[std::size_t(j)], ec) << "n " << n << " pixel " << j << " isa " << int(isa);
                ASSERT_EQ(a[std::size_t(j)], ea) << "n " << n << " pixel " << j << " isa " << int(isa);
            }
            EXPECT_EQ(s[std::size_t(n)], -7) << "written past the end, n " << n;
        }
    }
}

TEST(DecGrayPhase, SmoothingRoundsByRowsEqualRoundsOverWholeMaps) {
    // The rounds as the decoder runs them (fringe rows made when the smoothing first needs them, the phase
    // of a row read back once its smoothed rows are complete) against whole-map rounds built here from
    // sinf, SmoothMaskedMap and atan2f one pixel at a time, for every instruction set of the smoothing's
    // loops. The phase holds NaN, infinities, both zeros, huge and ordinary values; the masks are random
    // with whole invalid rows; ROIs from 1 x 1 to widths that leave every vector tail and kernels wider
    // than the ROI.
    namespace num = XELORAALGO::num;
    std::mt19937 rng(99);
    const float odd[] = {NAN, -NAN, INFINITY, -INFINITY, 0.0f, -0.0f, 1e30f, -3e-39f, 6.2831855f, -1.5707964f};
    const std::tuple<int, int, float, int> cases[] = {{1, 1, 2.0f, 1},  {3, 17, 2.0f, 2}, {37, 5, 1.0f, 1},
                                                      {16, 9, 3.4f, 1}, {70, 13, 2.0f, 2}, {5, 4, 40.0f, 1},
                                                      {129, 3, 0.5f, 1}};
    for (auto [w, h, sigma, rounds] : cases) {
        const std::size_t n = std::size_t(w) * h;
        std::vector<float> phi(n);
        std::unique_ptr<bool[]> mask(new bool[n]);
        for (std::size_t i = 0; i < n; ++i) {
            phi[i] = rng() % 8 == 0 ? odd[rng() % 10] : std::uniform_real_distribution<float>(-3.3f, 3.3f)(rng);
            mask[i] = (i / std::size_t(w)) % 5 != 3 && rng() % 6 != 0;
        }
        // Whole-map rounds, one pixel at a time.
        std::vector<float> expected = phi;
        const float shift[4] = {1.5707964f, 3.1415927f, 4.712389f, 6.2831855f};
        for (int round = 0; round < rounds; ++round) {
            std::vector<float> f[4];
            for (int k = 0; k < 4; ++k) {
                f[k].resize(n);
                for (std::size_t i = 0; i < n; ++i)
                    f[k][i] = num::sinf(float(k + 1) * 1.5707964f + expected[i]) * 127.5f + 127.5f;
                fr::SmoothMaskedMap(engine(w, h), f[k].data(), mask.get(), sigma);
            }
            for (std::size_t i = 0; i < n; ++i) {
                float s = 0.0f, c = 0.0f;
                for (int k = 0; k < 4; ++k) {
                    s = s + f[k][i] * num::sinf(shift[k]);
                    c = c + f[k][i] * num::cosf(shift[k]);
                }
                expected[i] = num::atan2f(c, s);
            }
        }
        for (Isa isa : kEveryIsa) {
            std::vector<float> got = phi;
            fr::detail::smoothPhaseRounds(engine(w, h), got.data(), mask.get(), rounds, sigma, isa);
            for (std::size_t i = 0; i < n; ++i)
                ASSERT_TRUE(sameBits(got[i], expected[i]))
                    << w << " x " << h << " sigma " << sigma << " pixel " << i << " isa " << int(isa) << ": "
                    << got[i] << " vs " << expected[i];
        }
    }
}

TEST(SmoothMaskedMap, RunsOfFullRowsBetweenPartialRowsMatchTheReference) {
    // Masks laid out by rows: runs of full rows longer and shorter than the kernel, with single partial
    // rows between them (one invalid pixel first, last, in the middle, random ones, none valid), so the
    // smoothing's handling of full rows meets every change from full to partial rows and back, at the
    // ROI's top and bottom edges too. Two maps smoothed together, every instruction set, against the
    // direct reference one map at a time.
    std::mt19937 rng(4242);
    const std::tuple<int, const char*, float> cases[] = {
        {23, "FFFFFFFFFFFFFFFFFLFFFFFFFFFFFFFFFFFFFFSFFFFFFMFFFFFFFFFFFFFFFFPFFFFFFFFFFFFFFFFFFFNFFFFFFFFFFFFFFFFF", 2.0f},
        {16, "LFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFS", 3.4f},
        {9, "FFFFFFFFFFFFFFFFFFFFPFFFFFFFFFFFFFFFFFFFF", 1.0f},
        {37, "FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF", 2.5f}};
    for (auto [w, plan, sigma] : cases) {
        const int h = int(std::strlen(plan));
        Case maps[2] = {Case(w, h), Case(w, h)};
        for (int r = 0; r < h; ++r)
            for (int x = 0; x < w; ++x) {
                const std::size_t i = std::size_t(r) * w + x;
                bool valid = true;
                switch (plan[r]) {
                    case 'S': valid = x != 0; break;
                    case 'L': valid = x != w - 1; break;
                    case 'M': valid = x != w / 2; break;
                    case 'P': valid = rng() % 3 != 0; break;
                    case 'N': valid = false; break;
                    default: break;
                }
                for (Case& c : maps) {
                    c.mask[i] = valid;
                    c.map[i] = valid ? std::uniform_real_distribution<float>(0.0f, 255.0f)(rng) : NAN;
                }
            }
        const std::vector<float> expected[2] = {referenceSmooth(maps[0], sigma), referenceSmooth(maps[1], sigma)};
        for (Isa isa : kEveryIsa) {
            std::vector<float> got[2] = {maps[0].map, maps[1].map};
            float* rows[2] = {got[0].data(), got[1].data()};
            fr::detail::smoothMaskedMaps(engine(w, h), rows, 2, maps[0].mask.get(), sigma, isa);
            for (int k = 0; k < 2; ++k)
                for (std::size_t i = 0; i < got[k].size(); ++i)
                    ASSERT_EQ(got[k][i], expected[k][i]) << w << " x " << h << " sigma " << sigma << " map " << k
                                                         << " row " << i / w << " isa " << int(isa);
        }
    }
}
