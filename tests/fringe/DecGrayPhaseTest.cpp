// Decoders of the 11-plane pattern set: worked pixels, the truncating first pass, the reversed code
// words, the vertical check, a synthetic projector round trip and ROI independence of the banded
// passes.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <random>
#include <vector>

#include "FringeTestUtil.h"
#include "XeloraAlgo.h"
#include "fringe/fringe.h"

using XELORAALGO::AlgoEngine;
using namespace fringetest;

namespace {

using Decoder = void (*)(const AlgoEngine&, bool*, float*, float*, unsigned char* const*, bool, int, float, float*);

void run(Decoder d, const AlgoEngine& e, Stack& s, Outputs& o, bool smooth = false, int rounds = 0,
         float sigma = 2.0f) {
    d(e, o.valid.get(), o.mod.data(), o.avg.data(), s.data(), smooth, rounds, sigma, o.phase.data());
}

const float kTwoPiF = 6.2831855f;

// Sets the fringe planes 7..10 of pixel i.
void setFringes(Stack& s, std::size_t i, int i7, int i8, int i9, int i10) {
    s.planes[7][i] = (unsigned char)i7;
    s.planes[8][i] = (unsigned char)i8;
    s.planes[9][i] = (unsigned char)i9;
    s.planes[10][i] = (unsigned char)i10;
}
// Sets the Gray planes 0..6 of pixel i to the 7-bit Gray code of H (bright 200 / dark 40).
void setCode(Stack& s, std::size_t i, int H) {
    const int G = H ^ (H >> 1);
    for (int k = 0; k < 7; ++k) s.planes[k][i] = ((G >> (6 - k)) & 1) ? 200 : 40;
}

}  // namespace

TEST(DecGrayPhase1, WorkedPixels) {
    AlgoEngine e;
    setRoi(e, 8, 1);
    Stack s(11, 8, 1, 100);
    // Pixel 0: fringes 200, 100, 50, 150; only Gray plane 0 above the average 125.
    setFringes(s, 0, 200, 100, 50, 150);
    s.planes[0][0] = 200;
    // Pixel 1: four equal fringes, Gray planes equal to the average.
    setFringes(s, 1, 100, 100, 100, 100);
    // Pixel 2: phase just below 0 (b = -1, a = 100), code of half period 10 (period 5, first half).
    setFringes(s, 2, 100, 50, 101, 150);
    setCode(s, 2, 10);
    Outputs o(8);
    run(XELORAALGO::fringe::DecGrayPhase1, e, s, o);

    const float phi0 = (float)std::atan2(150.0, 50.0);
    EXPECT_NEAR(phi0, 1.2490457f, 1e-7f);
    EXPECT_EQ(o.mod[0], 0.5f * (float)std::sqrt(50.0 * 50.0 + 150.0 * 150.0));
    EXPECT_NEAR(o.mod[0], 79.056938f, 1e-5f);
    EXPECT_EQ(o.avg[0], 125.0f);
    EXPECT_TRUE(o.valid[0]);
    // W1 = 63, W2 = 64 and phi <= pi/2: 64 periods plus phi.
    EXPECT_EQ(o.phase[0], 64.0f * kTwoPiF + phi0);
    EXPECT_NEAR(o.phase[0], 403.37292f, 1e-4f);

    EXPECT_EQ(o.mod[1], 0.0f);
    EXPECT_EQ(o.avg[1], 100.0f);
    EXPECT_FALSE(o.valid[1]);
    EXPECT_EQ(o.phase[1], 0.0f);

    // Wrapped to just below 2pi, so the late quarter takes W2 - 1 = 4: the result is just below 5
    // periods, continuous with the early quarter of period 5.
    const float phi2 = (float)std::atan2(-1.0, 100.0) + kTwoPiF;
    EXPECT_EQ(o.avg[2], 100.25f);
    EXPECT_EQ(o.phase[2], 4.0f * kTwoPiF + phi2);
    EXPECT_NEAR(o.phase[2], 5.0 * 2.0 * kPi - 0.01, 1e-4);
}

TEST(DecGrayPhase1, QuarterBoundariesUseTheDoubleConstants) {
    // a = 0, b = 100: phi = atan2(100, 0) stored as the float 1.5707964, which lies above the double
    // 1.5707963267949, so the pixel is in the middle quarter and takes W1 (a float comparison with
    // 1.5707964 would take W2). Code: half period 2 * 9 + 1 (W1 = 9, W2 = 10).
    AlgoEngine e;
    setRoi(e, 2, 1);
    Stack s(11, 2, 1);
    setFringes(s, 0, 150, 100, 50, 100);
    setCode(s, 0, 19);
    // a = 0, b = -100: phi = -1.5707964 + 6.2831855 = 4.712389 (float) >= 4.7123889803847: W2 - 1.
    setFringes(s, 1, 50, 100, 150, 100);
    setCode(s, 1, 18);  // W1 = W2 = 9
    Outputs o(2);
    run(XELORAALGO::fringe::DecGrayPhase1, e, s, o);
    const float up = (float)std::atan2(100.0, 0.0);
    EXPECT_EQ(up, 1.5707964f);
    EXPECT_EQ(o.phase[0], 9.0f * kTwoPiF + up);
    const float down = (float)std::atan2(-100.0, 0.0) + kTwoPiF;
    EXPECT_EQ(o.phase[1], 8.0f * kTwoPiF + down);
}

TEST(DecGrayPhase, ModulationThresholdsAreStrictAndPerVariant) {
    // a = I10 - I8, b = 0: m = a / 2. Forward threshold 5, reversed 2, both strict.
    AlgoEngine e;
    setRoi(e, 4, 1);
    Stack s(11, 4, 1, 100);
    const int a[4] = {4, 5, 10, 11};
    for (int i = 0; i < 4; ++i) setFringes(s, i, 100, 100, 100, 100 + a[i]);
    Outputs f(4), r1(4), r2(4);
    run(XELORAALGO::fringe::DecGrayPhase1, e, s, f);
    run(XELORAALGO::fringe::UnDecGrayPhase1, e, s, r1);
    run(XELORAALGO::fringe::UnDecGrayPhase2, e, s, r2);
    const bool fwd[4] = {false, false, false, true};
    const bool rev[4] = {false, true, true, true};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(f.mod[i], 0.5f * a[i]);
        EXPECT_EQ(f.valid[i], fwd[i]) << i;
        EXPECT_EQ(r1.valid[i], rev[i]) << i;
        EXPECT_EQ(r2.valid[i], rev[i]) << i;
    }
}

TEST(DecGrayPhase1, TruncatingFirstPassOfTwoPassDecoding) {
    AlgoEngine e;
    setRoi(e, 2, 1);
    Stack s(11, 2, 1, 100);
    setFringes(s, 0, 200, 100, 50, 150);
    s.planes[0][0] = 200;
    setFringes(s, 1, 100, 100, 100, 100);
    Outputs o(2);
    run(XELORAALGO::fringe::DecGrayPhase1, e, s, o, true, 0);
    // S = 149, C = 51 (the stored sine/cosine are not exact 0 and 1), A = 124.
    const float phi = (float)std::atan2(149.0, 51.0);
    EXPECT_EQ(o.mod[0], 0.5f * (float)std::sqrt(51.0 * 51.0 + 149.0 * 149.0));
    EXPECT_EQ(o.avg[0], 124.0f);
    EXPECT_TRUE(o.valid[0]);
    EXPECT_EQ(o.phase[0], 64.0f * kTwoPiF + phi);
    // Four levels of 100: S = 0, C = 1, so phi = 0 and m = 0.5.
    EXPECT_EQ(o.mod[1], 0.5f);
    EXPECT_EQ(o.avg[1], 100.0f);
    EXPECT_FALSE(o.valid[1]);
    EXPECT_EQ(o.phase[1], 0.0f);
}

TEST(DecGrayPhase, ReversedDecodersCountPeriodsTheOtherWay) {
    // All 128 half-period codes. Row 0: fringes at phase pi (middle quarter, both directions) so the
    // period number W1 shows; row 1: phase slightly above 0 (forward) / below 2pi (reversed) so the
    // shifted number W2 shows.
    AlgoEngine e;
    setRoi(e, 128, 2);
    Stack s(11, 128, 2);
    for (int H = 0; H < 128; ++H) {
        setCode(s, H, H);
        setCode(s, 128 + H, H);
        setFringes(s, H, 120, 170, 120, 70);        // a = -100, b = 0
        setFringes(s, 128 + H, 121, 70, 119, 170);  // a = 100, b = +-2
    }
    Outputs f(256), r1(256), r2(256);
    run(XELORAALGO::fringe::DecGrayPhase1, e, s, f);
    run(XELORAALGO::fringe::UnDecGrayPhase1, e, s, r1);
    run(XELORAALGO::fringe::UnDecGrayPhase2, e, s, r2, true, 0);  // two-pass: no vertical check
    const float pi = (float)std::atan2(0.0, -100.0);
    const float small = (float)std::atan2(2.0, 100.0);
    const float nearTwoPi = (float)std::atan2(-2.0, 100.0) + kTwoPiF;
    for (int H = 0; H < 128; ++H) {
        const int w1 = H / 2, w2 = (H + 1) / 2;
        EXPECT_EQ(f.phase[H], (float)w1 * kTwoPiF + pi) << H;
        EXPECT_EQ(r1.phase[H], (float)(63 - w1) * kTwoPiF + pi) << H;
        EXPECT_EQ(r2.phase[H], r1.phase[H]) << H;
        EXPECT_EQ(f.phase[128 + H], (float)w2 * kTwoPiF + small) << H;
        EXPECT_EQ(r1.phase[128 + H], (float)(64 - w2 - 1) * kTwoPiF + nearTwoPi) << H;
        EXPECT_EQ(r2.phase[128 + H], r1.phase[128 + H]) << H;
    }
}

TEST(UnDecGrayPhase2, VerticalConsistencyCheck) {
    // Column 0: rows 0..3 in period 10, rows 4..7 in period 11 (relative step ~0.095 > 0.05): rows 3
    // and 4 see three differing rows and are invalidated, rows 2 and 5 see two and stay valid.
    // Column 1: one row in period 20 among period 10 rows: it differs from all six neighbours and is
    // invalidated, each neighbour sees one differing row. Column 2: an absolute phase of exactly 0
    // among rows in period 3 is invalidated (infinite relative difference); its neighbours see
    // |(p - 0) / p| = 1 only once.
    const int w = 3, h = 8;
    AlgoEngine e;
    setRoi(e, w, h);
    Stack s(11, w, h);
    auto pix = [&](int r, int c) { return std::size_t(r) * w + c; };
    for (int r = 0; r < h; ++r) {
        for (int c = 0; c < w; ++c) setFringes(s, pix(r, c), 120, 170, 120, 70);  // reversed phi = pi
        setCode(s, pix(r, 0), 2 * (63 - (r < 4 ? 10 : 11)));                    // reversed W1 = 10 / 11
        setCode(s, pix(r, 1), 2 * (63 - (r == 5 ? 20 : 10)));
        setCode(s, pix(r, 2), 2 * (63 - 3));
    }
    // Column 2, row 2: phase 0 = W2 0 and phi 0 (a > 0, b = 0); reversed W = 0 needs H = 127.
    setFringes(s, pix(2, 2), 120, 70, 120, 170);
    setCode(s, pix(2, 2), 127);
    Outputs one(w * h), ref(w * h);
    run(XELORAALGO::fringe::UnDecGrayPhase2, e, s, one);
    run(XELORAALGO::fringe::UnDecGrayPhase1, e, s, ref);
    EXPECT_EQ(one.phase[pix(2, 2)], 0.0f);
    EXPECT_NEAR(one.phase[pix(0, 0)], 10.5 * 2 * kPi, 1e-4);
    for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c) {
            const std::size_t i = pix(r, c);
            EXPECT_EQ(one.phase[i], ref.phase[i]);  // phases untouched
            EXPECT_TRUE(ref.valid[i]);
            const bool invalid = (c == 0 && (r == 3 || r == 4)) || (c == 1 && r == 5) || (c == 2 && r == 2);
            EXPECT_EQ(one.valid[i], !invalid) << r << "," << c;
        }
    // Two-pass decoding has no vertical check.
    Outputs two(w * h);
    run(XELORAALGO::fringe::UnDecGrayPhase2, e, s, two, true, 0);
    for (int i = 0; i < w * h; ++i) EXPECT_TRUE(two.valid[i]);
}

namespace {

// Absolute projector phase across a w x h ROI: grows left to right, a little down the rows.
double projectorPhase(int r, int c, int w, double from, double to, double perRow) {
    return from + (to - from) * c / (w - 1) + perRow * r;
}

Stack projectorStack(int w, int h, double from, double to, double perRow, double A = 120.0, double B = 90.0) {
    Stack s(11, w, h);
    for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c)
            elevenPlanePixel(s, std::size_t(r) * w + c, projectorPhase(r, c, w, from, to, perRow), A, B);
    return s;
}

// Distance of phi to the nearest half-period (code) edge.
double edgeDistance(double phi) {
    const double f = std::fmod(phi, kPi);
    return std::min(f, kPi - f);
}

}  // namespace

TEST(DecGrayPhase, SyntheticProjectorRoundTrip) {
    // All 64 periods across 517 columns (N = 1551, not a multiple of 8).
    const int w = 517, h = 3;
    const double from = 0.2, to = 128 * kPi - 0.2, perRow = 0.03;
    AlgoEngine e;
    setRoi(e, w, h);
    Stack s = projectorStack(w, h, from, to, perRow);
    Outputs f(s.n());
    run(XELORAALGO::fringe::DecGrayPhase1, e, s, f);
    Stack m = s.mirrored();
    Outputs r1(s.n()), r2(s.n());
    run(XELORAALGO::fringe::UnDecGrayPhase1, e, m, r1);
    run(XELORAALGO::fringe::UnDecGrayPhase2, e, m, r2);
    int checked = 0;
    for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c) {
            const std::size_t i = std::size_t(r) * w + c;
            const double phi = projectorPhase(r, c, w, from, to, perRow);
            EXPECT_TRUE(f.valid[i]);
            EXPECT_NEAR(f.mod[i], 90.0, 1.0);
            EXPECT_NEAR(f.avg[i], 120.0, 0.5);
            // Mirrored column c shows the projector at column w - 1 - c; the reversed decoders count
            // from the other end: 64 periods minus that phase.
            const double phiMirror = projectorPhase(r, w - 1 - c, w, from, to, perRow);
            EXPECT_TRUE(r1.valid[i]);
            EXPECT_TRUE(r2.valid[i]);
            if (edgeDistance(phi) < 0.05 || edgeDistance(phiMirror) < 0.05) continue;
            ++checked;
            EXPECT_NEAR(f.phase[i], phi, 0.02) << r << "," << c;
            EXPECT_NEAR(r1.phase[i], 128 * kPi - phiMirror, 0.02) << r << "," << c;
            EXPECT_EQ(r2.phase[i], r1.phase[i]);
        }
    EXPECT_GT(checked, w * h * 8 / 10);
}

TEST(DecGrayPhase, SyntheticProjectorRoundTripWithSmoothing) {
    // Periods 10..20 over 161 columns (16 pixels per period), one smoothing round with sigma 2 on
    // fringes with a little noise: the phase inside the ROI (away from the 3-pixel kernel border)
    // comes back, and closer than without smoothing. One pixel with no modulation is invalid, is
    // smoothed to phase 0 and so unwraps with the shifted code W2.
    const int w = 161, h = 11;
    const double from = 20 * kPi + 0.3, to = 40 * kPi - 0.3, perRow = 0.01;
    AlgoEngine e;
    setRoi(e, w, h);
    Stack clean = projectorStack(w, h, from, to, perRow);
    Stack s = clean;
    std::mt19937 rng(3);
    std::uniform_int_distribution<int> noise(-3, 3);
    for (int k = 7; k < 11; ++k)
        for (auto& v : s.planes[k]) v = (unsigned char)std::min(255, std::max(0, v + noise(rng)));
    const std::size_t dead = std::size_t(5) * w + 80;
    setFringes(s, dead, 120, 120, 120, 120);
    for (Decoder d : {XELORAALGO::fringe::DecGrayPhase1, XELORAALGO::fringe::UnDecGrayPhase1}) {
        Stack in = s;
        if (d != XELORAALGO::fringe::DecGrayPhase1) in = s.mirrored();
        Outputs one(s.n()), two(s.n());
        run(d, e, in, one);
        run(d, e, in, two, true, 1, 2.0f);
        double errOne = 0.0, errTwo = 0.0;
        for (int r = 3; r < h - 3; ++r)
            for (int c = 3; c < w - 3; ++c) {
                const std::size_t i = std::size_t(r) * w + c;
                if (i == dead) continue;
                if (std::abs(r - 5) <= 3 && std::abs(c - 80) <= 3) continue;  // kernel reaches the dead pixel
                double phi = projectorPhase(r, c, w, from, to, perRow);
                if (d != XELORAALGO::fringe::DecGrayPhase1)
                    phi = 128 * kPi - projectorPhase(r, w - 1 - c, w, from, to, perRow);
                if (edgeDistance(phi) < 0.05) continue;
                EXPECT_NEAR(two.phase[i], phi, 0.05) << r << "," << c;
                errOne += std::fabs(one.phase[i] - phi);
                errTwo += std::fabs(two.phase[i] - phi);
            }
        EXPECT_LT(errTwo, errOne);
        const std::size_t deadIn = (d == XELORAALGO::fringe::DecGrayPhase1) ? dead : std::size_t(5) * w + (w - 1 - 80);
        EXPECT_FALSE(two.valid[deadIn]);
        // Phase 0 after the round: the shifted period number W2 times 2pi, exactly.
        const float periods = two.phase[deadIn] / kTwoPiF;
        EXPECT_EQ(two.phase[deadIn], std::round(periods) * kTwoPiF);
    }
}

TEST(DecGrayPhase, ReversedTwoPassWithoutRoundsEqualsOnePass) {
    const int w = 37, h = 5;
    AlgoEngine e;
    setRoi(e, w, h);
    Stack s = projectorStack(w, h, 3.0, 60.0, 0.4, 100.0, 60.0);
    std::mt19937 rng(11);
    for (int k = 7; k < 11; ++k)
        for (auto& v : s.planes[k]) v = (unsigned char)(rng() % 256);  // arbitrary fringes
    for (std::size_t i = 0; i < s.n(); i += 7) setFringes(s, i, 90, 91, 90, 92);  // m = 0.5: invalid
    Outputs one(s.n()), two1(s.n()), two2(s.n()), two2r(s.n()), one1r(s.n());
    run(XELORAALGO::fringe::UnDecGrayPhase1, e, s, one);
    run(XELORAALGO::fringe::UnDecGrayPhase1, e, s, two1, true, 0);
    run(XELORAALGO::fringe::UnDecGrayPhase2, e, s, two2, true, 0);
    run(XELORAALGO::fringe::UnDecGrayPhase1, e, s, one1r, true, 2, 1.5f);
    run(XELORAALGO::fringe::UnDecGrayPhase2, e, s, two2r, true, 2, 1.5f);
    int invalid = 0;
    for (std::size_t i = 0; i < s.n(); ++i) {
        invalid += !one.valid[i];
        EXPECT_EQ(two1.phase[i], one.phase[i]);
        EXPECT_EQ(two1.mod[i], one.mod[i]);
        EXPECT_EQ(two1.avg[i], one.avg[i]);
        EXPECT_EQ(two1.valid[i], one.valid[i]);
        EXPECT_EQ(two2.phase[i], one.phase[i]);
        EXPECT_EQ(two2.valid[i], one.valid[i]);
        // With smoothing rounds the two reversed decoders are the same operation.
        EXPECT_EQ(two2r.phase[i], one1r.phase[i]);
        EXPECT_EQ(two2r.valid[i], one1r.valid[i]);
    }
    EXPECT_GT(invalid, 0);
}

TEST(DecGrayPhase, EveryPixelDecodedWhateverTheRoi) {
    // Without smoothing (and with a radius-0 smoothing round) each pixel's result depends on that
    // pixel only. Decoding the same pixels as a w x h ROI, as one row padded with k extra pixels
    // (which moves every band boundary and the N mod 8 leftover) and, for the smallest image, one
    // pixel at a time (a 1 x 1 ROI has no band at all) must give the same values everywhere.
    std::mt19937 rng(5);
    const std::pair<int, int> sizes[] = {{8, 2}, {13, 3}, {3, 3}, {5, 1}};
    for (auto wh : sizes) {
        const int w = wh.first, h = wh.second;
        AlgoEngine e;
        setRoi(e, w, h);
        Stack s(11, w, h);
        for (auto& p : s.planes)
            for (auto& v : p) v = (unsigned char)(rng() % 256);
        std::vector<std::pair<AlgoEngine, Stack>> others;
        for (int k : {1, 3, 6}) {
            AlgoEngine row;
            setRoi(row, int(s.n()) + k, 1);
            Stack padded(11, int(s.n()) + k, 1);
            for (int p = 0; p < 11; ++p)
                for (std::size_t i = 0; i < padded.n(); ++i)
                    padded.planes[p][i] = i < s.n() ? s.planes[p][i] : (unsigned char)(rng() % 256);
            others.emplace_back(row, padded);
        }
        if (w * h < 8)
            for (std::size_t i = 0; i < s.n(); ++i) {
                AlgoEngine single;
                setRoi(single, 1, 1);
                Stack one(11, 1, 1);
                for (int p = 0; p < 11; ++p) one.planes[p][0] = s.planes[p][i];
                others.emplace_back(single, one);
            }
        for (Decoder d : {XELORAALGO::fringe::DecGrayPhase1, XELORAALGO::fringe::UnDecGrayPhase1,
                          XELORAALGO::fringe::UnDecGrayPhase2}) {
            for (int mode = 0; mode < 3; ++mode) {
                const bool smooth = mode > 0;
                const int rounds = mode == 2 ? 1 : 0;
                Outputs all(s.n());
                run(d, e, s, all, smooth, rounds, 0.5f);
                std::size_t singleIndex = 0;
                for (auto& other : others) {
                    Outputs o(other.second.n());
                    run(d, other.first, other.second, o, smooth, rounds, 0.5f);
                    // A 1 x 1 ROI holds pixel singleIndex; a padded row holds all pixels from 0.
                    const bool single = other.second.n() == 1;
                    for (std::size_t i = single ? singleIndex : 0; i < (single ? singleIndex + 1 : s.n()); ++i) {
                        const std::size_t j = single ? 0 : i;
                        ASSERT_EQ(all.phase[i], o.phase[j]) << w << "x" << h << " mode " << mode << " pixel " << i;
                        ASSERT_EQ(all.mod[i], o.mod[j]);
                        ASSERT_EQ(all.avg[i], o.avg[j]);
                        // The vertical check of UnDecGrayPhase2 looks at neighbours; skip its mask.
                        if (!(d == XELORAALGO::fringe::UnDecGrayPhase2 && mode == 0)) {
                            ASSERT_EQ(all.valid[i], o.valid[j]);
                        }
                    }
                    if (single) ++singleIndex;
                }
            }
        }
    }
}

TEST(DecGrayPhase, ExportedMembersForwardToTheEngine) {
    XELORAALGO::XeloraAlgo algo;
    XELORAALGO::tagXeloraAlgoROIInfo roi{0, 0, 8, 1};
    algo.SetROIInfo(&roi);
    AlgoEngine e;
    setRoi(e, 8, 1);
    Stack s = projectorStack(8, 1, 5.0, 40.0, 0.0);
    const bool ignored = true, smooth = false;
    const int rounds = 0;
    const float sigma = 2.0f;
    using Member = void (XELORAALGO::XeloraAlgo::*)(bool*, float*, float*, unsigned char** const, const bool&,
                                                   const bool&, const int&, const float&, float*);
    const std::pair<Member, Decoder> pairs[] = {
        {&XELORAALGO::XeloraAlgo::DecGrayPhase1, XELORAALGO::fringe::DecGrayPhase1},
        {&XELORAALGO::XeloraAlgo::UnDecGrayPhase1, XELORAALGO::fringe::UnDecGrayPhase1},
        {&XELORAALGO::XeloraAlgo::UnDecGrayPhase2, XELORAALGO::fringe::UnDecGrayPhase2}};
    for (const auto& p : pairs) {
        Outputs a(8), b(8);
        (algo.*p.first)(a.valid.get(), a.mod.data(), a.avg.data(), s.data(), ignored, smooth, rounds, sigma,
                        a.phase.data());
        run(p.second, e, s, b);
        for (int i = 0; i < 8; ++i) {
            EXPECT_EQ(a.phase[i], b.phase[i]);
            EXPECT_EQ(a.valid[i], b.valid[i]);
        }
    }
}
