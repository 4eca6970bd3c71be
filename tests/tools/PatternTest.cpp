// The fringe pattern sets of the virtual projector: their structure, and that the library's
// decoders recover the projector phase from them.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

#include "Render.h"
#include "XeloraAlgo.h"

using namespace xsim;

namespace {

constexpr double kPi = 3.14159265358979323846;

const SensorHead& head() {
    static const SensorHead h = SensorHead::make(HeadOptions());
    return h;
}

double thetaOf(double u) { return 2 * kPi * 64 * u / 1280.0; }

// Decodes columns u = u0 + k * du (one per pixel of a w x 8 ROI, repeated down the rows) with the
// library; planes are 60 + 150 E grey levels.
std::vector<float> decodeWithLibrary(bool paired, const std::vector<double>& us, int w, std::vector<bool>& valid) {
    const int h = 8;
    const int planes = paired ? 18 : 11;
    std::vector<std::vector<unsigned char>> img(static_cast<std::size_t>(planes),
                                                std::vector<unsigned char>(static_cast<std::size_t>(w) * h));
    for (int p = 0; p < planes; ++p)
        for (int r = 0; r < h; ++r)
            for (int c = 0; c < w; ++c) {
                const double u = us[static_cast<std::size_t>(c)];
                const double e = paired ? patternEnergy18(head(), p, u) : patternEnergy11(head(), p, u);
                img[static_cast<std::size_t>(p)][static_cast<std::size_t>(r) * w + c] =
                    static_cast<unsigned char>(std::lround(60 + 150 * e));
            }
    std::vector<unsigned char*> stack;
    for (auto& p : img) stack.push_back(p.data());
    XELORAALGO::XeloraAlgo algo;
    XELORAALGO::tagXeloraAlgoROIInfo roi{0, 0, w, h};
    algo.SetROIInfo(&roi);
    const std::size_t n = static_cast<std::size_t>(w) * h;
    std::unique_ptr<bool[]> mask(new bool[n]());
    std::vector<float> mod(n), avg(n), phase(n);
    const bool f = false;
    const int rounds = 0;
    const float sigma = 1.0f;
    if (paired)
        algo.DecGrayPhase2(mask.get(), mod.data(), avg.data(), stack.data(), f, f, rounds, sigma, phase.data());
    else
        algo.DecGrayPhase1(mask.get(), mod.data(), avg.data(), stack.data(), f, f, rounds, sigma, phase.data());
    valid.assign(static_cast<std::size_t>(w), false);
    std::vector<float> row(static_cast<std::size_t>(w));
    for (int c = 0; c < w; ++c) {
        valid[static_cast<std::size_t>(c)] = mask[static_cast<std::size_t>(3 * w + c)];
        row[static_cast<std::size_t>(c)] = phase[static_cast<std::size_t>(3 * w + c)];
    }
    return row;
}

}  // namespace

TEST(Patterns, GrayImagesFormASevenBitGrayCodeOfHalfPeriods) {
    // Sampled at half-period centres (10 projector columns per half period), the seven Gray images
    // read as a number that changes in exactly one image between neighbouring half periods and
    // whose Gray-to-binary value is the half-period index.
    int previous = -1;
    for (int k = 0; k < 128; ++k) {
        const double u = 10.0 * k + 5.0;
        int code = 0;
        for (int p = 0; p < 7; ++p) {
            const double e = patternEnergy11(head(), p, u);
            ASSERT_TRUE(e == 0.0 || e == 1.0);
            code = (code << 1) | static_cast<int>(e);
        }
        int binary = 0;
        for (int bit = 6, acc = 0; bit >= 0; --bit) {
            acc ^= (code >> bit) & 1;
            binary |= acc << bit;
        }
        EXPECT_EQ(binary, k);
        if (previous >= 0) {
            EXPECT_EQ(__builtin_popcount(static_cast<unsigned>(code ^ previous)), 1);
        }
        previous = code;
    }
    // An edge is spread over one projector column: half way at the edge itself.
    EXPECT_DOUBLE_EQ(patternEnergy11(head(), 6, 10.0), 0.5);
    EXPECT_DOUBLE_EQ(patternEnergy11(head(), 6, 10.25), 0.75);
}

TEST(Patterns, FringesPeakAtTheirPhaseShift) {
    // 11-plane set: plane 7 + j is 0.5 + 0.5 cos(theta - (j + 1) pi / 2); the 18-plane set's fringes
    // 14 ... 17 carry the shifts 3 pi / 2, pi, pi / 2, 0.
    const double uPerRad = 1280.0 / (2 * kPi * 64);
    for (int j = 0; j < 4; ++j) {
        const double u = 200.0 + (j + 1) * (kPi / 2) * uPerRad;  // theta = 80 pi + (j + 1) pi / 2
        EXPECT_NEAR(patternEnergy11(head(), 7 + j, u), 1.0, 1e-12);
        EXPECT_NEAR(patternEnergy11(head(), 7 + (j + 2) % 4, u), 0.0, 1e-12);
    }
    const double shifts[4] = {3 * kPi / 2, kPi, kPi / 2, 0};
    for (int p = 14; p < 18; ++p) {
        const double u = 400.0 + shifts[p - 14] * uPerRad;  // theta = 160 pi + shift
        EXPECT_NEAR(patternEnergy18(head(), p, u), 1.0, 1e-12);
    }
    // In the paired set every odd plane is the inverse of the even one before it.
    for (double u : {3.0, 100.2, 777.7})
        for (int j = 0; j < 7; ++j)
            EXPECT_DOUBLE_EQ(patternEnergy18(head(), 2 * j, u) + patternEnergy18(head(), 2 * j + 1, u), 1.0);
}

class PatternDecode : public ::testing::TestWithParam<bool> {};

TEST_P(PatternDecode, LibraryDecoderRecoversTheProjectorPhase) {
    const bool paired = GetParam();
    // 1264 columns: projector columns 1.3 ... 1278.7 in steps that hit edges, edge neighbours and
    // period boundaries alike.
    const int w = 1264;
    std::vector<double> us(static_cast<std::size_t>(w));
    for (int c = 0; c < w; ++c) us[static_cast<std::size_t>(c)] = 1.3 + c * (1277.4 / (w - 1));
    std::vector<bool> valid;
    const std::vector<float> phase = decodeWithLibrary(paired, us, w, valid);
    double worst = 0;
    int bad = 0;
    for (int c = 0; c < w; ++c) {
        ASSERT_TRUE(valid[static_cast<std::size_t>(c)]) << "column " << c;
        const double err = std::fabs(phase[static_cast<std::size_t>(c)] - thetaOf(us[static_cast<std::size_t>(c)]));
        if (err > 0.02) ++bad;
        worst = std::max(worst, err);
    }
    EXPECT_EQ(bad, 0) << "worst error " << worst << " rad";
}

INSTANTIATE_TEST_SUITE_P(Sets, PatternDecode, ::testing::Values(false, true),
                         [](const ::testing::TestParamInfo<bool>& i) { return i.param ? "Paired18" : "Gray11"; });
