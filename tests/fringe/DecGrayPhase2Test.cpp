// Decoder of the paired 18-plane set: fringe analysis in its float/double steps, binarisation of
// pattern/inverse pairs, the row repair of period numbers, the round trip of a synthetic projector
// and the overwritten input planes.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "FringeTestUtil.h"
#include "XeloraAlgo.h"
#include "fringe/fringe.h"

using XELORAALGO::AlgoEngine;
using namespace fringetest;

namespace {

void run(const AlgoEngine& e, Stack& s, Outputs& o, bool smooth = false, int rounds = 0, float sigma = 2.0f) {
    XELORAALGO::fringe::DecGrayPhase2(e, o.valid.get(), o.mod.data(), o.avg.data(), s.data(), smooth, rounds, sigma,
                                      o.phase.data());
}

void setFringes(Stack& s, std::size_t i, int i14, int i15, int i16, int i17) {
    s.planes[14][i] = (unsigned char)i14;
    s.planes[15][i] = (unsigned char)i15;
    s.planes[16][i] = (unsigned char)i16;
    s.planes[17][i] = (unsigned char)i17;
}

struct Fringe {
    float phi, m, t;
};

// The fringe analysis written out: shifts 0, pi/2, pi, 3pi/2 for planes 17, 16, 15, 14; each term
// added in double, the running sums kept in float.
Fringe analyse(int i14, int i15, int i16, int i17) {
    const int level[4] = {i17, i16, i15, i14};
    const double delta[4] = {0.0, 1.5707963267949, 3.1415926535898, 4.7123889803847};
    float S = 0.0f, C = 0.0f;
    for (int k = 0; k < 4; ++k) {
        S = (float)((double)S + (double)level[k] * std::sin(delta[k]));
        C = (float)((double)C + (double)level[k] * std::cos(delta[k]));
    }
    Fringe f;
    const float sq = C * C + S * S;
    f.m = (float)(0.5 * (double)sqrtf(sq));
    f.t = (float)i17 * 0.25f + 0.0f + (float)i16 * 0.25f + (float)i15 * 0.25f + (float)i14 * 0.25f;
    f.phi = atan2f(S, C);
    return f;
}

float unwrapped(int W, float phi) {
    if (phi < 0.0f) phi = (float)((double)phi + 6.2831853071796);
    return (float)((double)(float)W * 6.2831853071796 + (double)phi);
}

}  // namespace

TEST(DecGrayPhase2, FringeAnalysis) {
    AlgoEngine e;
    setRoi(e, 3, 1);
    Stack s(18, 3, 1, 0);
    for (int i = 0; i < 3; ++i) setPairedCode(s, i, 0, 0);
    setFringes(s, 0, 150, 50, 100, 200);  // I14..I17
    setFringes(s, 1, 77, 13, 201, 140);
    setFringes(s, 2, 100, 101, 100, 100);  // m = 0.5 < 2: invalid
    Outputs o(3);
    run(e, s, o);
    const int lv[3][4] = {{150, 50, 100, 200}, {77, 13, 201, 140}, {100, 101, 100, 100}};
    for (int i = 0; i < 3; ++i) {
        const Fringe f = analyse(lv[i][0], lv[i][1], lv[i][2], lv[i][3]);
        EXPECT_EQ(o.mod[i], f.m) << i;
        EXPECT_EQ(o.avg[i], f.t) << i;
    }
    // Physical reading of pixel 0: I = A + B cos(phi - delta) with S = -50, C = 150.
    EXPECT_NEAR(o.mod[0], 0.5 * std::sqrt(50.0 * 50 + 150.0 * 150), 1e-4);
    EXPECT_EQ(o.avg[0], 125.0f);
    EXPECT_TRUE(o.valid[0]);
    EXPECT_TRUE(o.valid[1]);
    EXPECT_FALSE(o.valid[2]);
    // Period 0, code bit 0: a negative phase wraps to the late quarter and takes W2 - 1 = -1.
    const Fringe f0 = analyse(150, 50, 100, 200);
    EXPECT_LT(f0.phi, 0.0f);
    EXPECT_EQ(o.phase[0], unwrapped(-1, f0.phi));
    EXPECT_NEAR(o.phase[0], std::atan2(-50.0, 150.0), 1e-5);
}

TEST(DecGrayPhase2, BinarisationOfPairs) {
    // Each pixel gets code planes for W1 = 0, b = 0 except in plane pair 0, set per case.
    AlgoEngine e;
    const int w = 8;
    setRoi(e, w, 1);
    Stack s(18, w, 1, 0);
    for (int i = 0; i < w; ++i) setPairedCode(s, i, 0, 0);
    // Fringes: pixels 0..3 t = 100, m = 0 (four levels of 100); pixels 4..7 t = 100, m = 100
    // (levels 100, 0, 100, 200 for planes 14..17: S = 0, C = 200).
    for (int i = 0; i < 4; ++i) setFringes(s, i, 100, 100, 100, 100);
    for (int i = 4; i < 8; ++i) setFringes(s, i, 100, 0, 100, 200);
    auto pair0 = [&](int i, int p, int n) {
        s.planes[0][i] = (unsigned char)p;
        s.planes[1][i] = (unsigned char)n;
    };
    pair0(0, 60, 60);    // t > m, P = N below t with N > m: bit 0
    pair0(1, 150, 150);  // t > m, P = N above t: neither threshold test holds: invalid
    pair0(2, 201, 200);  // t > m, P > N: bit 1
    pair0(3, 4, 200);    // t > m, P < N: bit 0
    pair0(4, 50, 150);   // t = m: t > P and N > m: bit 0
    pair0(5, 120, 90);   // t = m: P > m and t > N: bit 1
    pair0(6, 100, 100);  // t = m: neither: invalid
    pair0(7, 201, 200);  // t = m: P > N is not enough (t > N fails): invalid
    Outputs o(w);
    run(e, s, o);
    // Plane 12 holds b = 0 after decoding, so plane 0 holds the bit itself.
    const int bit[8] = {0, -1, 1, 0, 0, 1, -1, -1};
    for (int i = 0; i < w; ++i) {
        EXPECT_EQ(s.planes[12][i], 0) << i;
        if (bit[i] < 0) {
            EXPECT_FALSE(o.valid[i]) << i;
            // The grey level was kept and then compared with plane 12 (0): non-zero gives 1.
            EXPECT_EQ(s.planes[0][i], 1) << i;
        } else {
            EXPECT_TRUE(o.valid[i] || i < 4) << i;  // pixels 0..3 have m = 0 < 2 anyway
            EXPECT_EQ(s.planes[0][i], bit[i]) << i;
        }
    }
    for (int i = 4; i < 8; ++i) EXPECT_EQ(o.valid[i], bit[i] >= 0) << i;
}

TEST(DecGrayPhase2, DarkPixelIsInvalidAndKeepsItsGreyLevels) {
    AlgoEngine e;
    setRoi(e, 2, 1);
    Stack s(18, 2, 1, 0);
    for (int k = 0; k < 14; ++k) {
        s.planes[k][0] = (unsigned char)(30 + 10 * k);
        s.planes[k][1] = (unsigned char)(30 + 10 * k);
    }
    s.planes[4][0] = 150;                    // equal to plane 12's level
    setFringes(s, 0, 1, 8, 1, 8);            // t = 4.5 < 5, m = 3.5 >= 2
    setFringes(s, 1, 100, 100, 100, 100);    // reference pixel, t = 100
    Outputs o(2);
    run(e, s, o);
    EXPECT_EQ(o.avg[0], 4.5f);
    EXPECT_FALSE(o.valid[0]);
    EXPECT_EQ(s.planes[12][0], 150);  // not binarised
    // Planes 0..10 then become "differs from plane 12": all do except plane 4.
    for (int k = 0; k < 12; k += 2) EXPECT_EQ(s.planes[k][0], k == 4 ? 0 : 1) << k;
    for (int k = 1; k < 14; k += 2) EXPECT_EQ(s.planes[k][0], 30 + 10 * k) << k;  // inverses untouched
}

TEST(DecGrayPhase2, RowRepairOfPeriodNumbers) {
    // Fringes at phase pi (middle quarter: the result shows W1), b = 0.
    const std::vector<std::vector<int>> in = {
        {5, 7, 5, 5, 5, 5}, {5, 5, 7, 7, 5, 5}, {5, 5, 7, 7, 6, 6}, {1, 2, 9, 8, 1, 3}, {7, 5, 5, 5, 5, 9}};
    const std::vector<std::vector<int>> out = {
        {5, 5, 5, 5, 5, 5},  // single error: neighbours at distance 1 agree
        {5, 5, 5, 5, 5, 5},  // two wide: distance 2 agrees for the first, the repaired one helps the second
        {5, 5, 7, 7, 6, 6},  // distance-2 neighbours disagree: kept
        {1, 2, 1, 1, 1, 3},  // column 3 sees the repaired column 2
        {7, 5, 5, 5, 5, 9}};  // the end columns have no pair of neighbours
    const int w = 6, h = int(in.size());
    AlgoEngine e;
    setRoi(e, w, h);
    Stack s(18, w, h);
    for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c) {
            setPairedCode(s, std::size_t(r) * w + c, in[r][c], 0);
            setFringes(s, std::size_t(r) * w + c, 120, 220, 120, 20);
        }
    Outputs o(s.n());
    run(e, s, o);
    const Fringe f = analyse(120, 220, 120, 20);
    EXPECT_NEAR(std::fabs(f.phi), kPi, 1e-6);
    for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c) {
            EXPECT_EQ(o.phase[std::size_t(r) * w + c], unwrapped(out[r][c], f.phi)) << r << "," << c;
            EXPECT_NEAR(o.phase[std::size_t(r) * w + c], (2 * out[r][c] + 1) * kPi, 1e-4);
        }
}

namespace {

double projectorPhase(int r, int c, int w, double from, double to, double perRow) {
    return from + (to - from) * c / (w - 1) + perRow * r;
}
double edgeDistance(double phi) {
    const double f = std::fmod(phi, kPi);
    return std::min(f, kPi - f);
}
Stack pairedProjector(int w, int h, double from, double to, double perRow) {
    Stack s(18, w, h);
    for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c)
            eighteenPlanePixel(s, std::size_t(r) * w + c, projectorPhase(r, c, w, from, to, perRow), 120.0, 90.0);
    return s;
}

}  // namespace

TEST(DecGrayPhase2, SyntheticProjectorRoundTrip) {
    const int w = 517, h = 3;
    const double from = 0.2, to = 128 * kPi - 0.2, perRow = 0.03;
    AlgoEngine e;
    setRoi(e, w, h);
    Stack s = pairedProjector(w, h, from, to, perRow);
    const Stack original = s;
    Outputs o(s.n());
    run(e, s, o);
    int checked = 0;
    for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c) {
            const std::size_t i = std::size_t(r) * w + c;
            const double phi = projectorPhase(r, c, w, from, to, perRow);
            EXPECT_TRUE(o.valid[i]);
            EXPECT_NEAR(o.mod[i], 90.0, 1.0);
            EXPECT_NEAR(o.avg[i], 120.0, 0.5);
            if (edgeDistance(phi) < 0.05) continue;
            ++checked;
            EXPECT_NEAR(o.phase[i], phi, 0.02) << r << "," << c;
        }
    EXPECT_GT(checked, w * h * 8 / 10);

    // The Gray planes now hold bits, the inverse and fringe planes are unchanged.
    for (int k = 0; k < 18; ++k)
        for (std::size_t i = 0; i < s.n(); ++i) {
            if (k <= 12 && k % 2 == 0)
                ASSERT_LE(s.planes[k][i], 1) << k;
            else
                ASSERT_EQ(s.planes[k][i], original.planes[k][i]) << k;
        }
    // A second call on the overwritten planes reads different codes.
    Outputs again(s.n());
    run(e, s, again);
    int differ = 0;
    for (std::size_t i = 0; i < s.n(); ++i) differ += again.phase[i] != o.phase[i];
    EXPECT_GT(differ, int(s.n()) / 2);
}

TEST(DecGrayPhase2, SmoothingRoundsInsideTheValidRegion) {
    const int w = 161, h = 11;
    const double from = 20 * kPi + 0.3, to = 40 * kPi - 0.3, perRow = 0.01;
    AlgoEngine e;
    setRoi(e, w, h);
    Stack s = pairedProjector(w, h, from, to, perRow);
    std::mt19937 rng(9);
    std::uniform_int_distribution<int> noise(-3, 3);
    for (int k = 14; k < 18; ++k)
        for (auto& v : s.planes[k]) v = (unsigned char)std::min(255, std::max(0, v + noise(rng)));
    const std::size_t dead = std::size_t(5) * w + 80;
    setFringes(s, dead, 120, 120, 120, 120);
    Stack s1 = s, s2 = s, s3 = s;
    Outputs one(s.n()), two(s.n()), ignored(s.n());
    run(e, s1, one);
    run(e, s2, two, true, 1, 2.0f);
    run(e, s3, ignored, false, 3, 2.0f);  // rounds and sigma are not read without smoothPhase
    double errOne = 0.0, errTwo = 0.0;
    for (int r = 3; r < h - 3; ++r)
        for (int c = 3; c < w - 3; ++c) {
            const std::size_t i = std::size_t(r) * w + c;
            if (std::abs(r - 5) <= 3 && std::abs(c - 80) <= 3) continue;
            const double phi = projectorPhase(r, c, w, from, to, perRow);
            if (edgeDistance(phi) < 0.05) continue;
            EXPECT_NEAR(two.phase[i], phi, 0.05) << r << "," << c;
            errOne += std::fabs(one.phase[i] - phi);
            errTwo += std::fabs(two.phase[i] - phi);
        }
    EXPECT_LT(errTwo, errOne);
    for (std::size_t i = 0; i < s.n(); ++i) {
        ASSERT_EQ(ignored.phase[i], one.phase[i]);
        ASSERT_EQ(two.mod[i], one.mod[i]);  // smoothing changes only the phase
        ASSERT_EQ(two.avg[i], one.avg[i]);
    }
    // The dead pixel is outside the smoothing mask: phase 0 after the round, so W2 whole periods.
    EXPECT_FALSE(two.valid[dead]);
    const double periods = two.phase[dead] / (2 * kPi);
    EXPECT_EQ(two.phase[dead], unwrapped((int)std::lround(periods), 0.0f));
}

TEST(DecGrayPhase2, ExportedMemberForwards) {
    XELORAALGO::XeloraAlgo algo;
    XELORAALGO::tagXeloraAlgoROIInfo roi{0, 0, 9, 2};
    algo.SetROIInfo(&roi);
    AlgoEngine e;
    setRoi(e, 9, 2);
    Stack a = pairedProjector(9, 2, 5.0, 80.0, 0.5), b = a;
    Outputs oa(a.n()), ob(b.n());
    const bool ignoredFlag = false, smooth = false;
    const int rounds = 0;
    const float sigma = 1.0f;
    algo.DecGrayPhase2(oa.valid.get(), oa.mod.data(), oa.avg.data(), a.data(), ignoredFlag, smooth, rounds, sigma,
                       oa.phase.data());
    run(e, b, ob);
    for (std::size_t i = 0; i < a.n(); ++i) {
        EXPECT_EQ(oa.phase[i], ob.phase[i]);
        EXPECT_EQ(oa.valid[i], ob.valid[i]);
    }
}
