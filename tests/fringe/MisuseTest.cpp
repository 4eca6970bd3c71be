// Misuse of the fringe decoders: a smoothing sigma whose kernel is wider than any sensor is refused
// before anything is decoded, but only when smoothing rounds actually run; the widest allowed
// kernel, and sigmas without a Gaussian, decode normally.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "MisuseTestUtil.h"
#include "XeloraAlgo.h"

using XELORAALGO::XeloraAlgo;

namespace {

constexpr int kW = 6, kH = 5;
constexpr std::size_t kN = kW * kH;

using Decoder = void (XeloraAlgo::*)(bool*, float*, float*, unsigned char** const, const bool&, const bool&,
                                     const int&, const float&, float*);

struct Outputs {
    std::vector<unsigned char> mask = std::vector<unsigned char>(kN, 2);  // 2: neither true nor false
    std::vector<float> modulation = std::vector<float>(kN, -1.0f), average = modulation, phase = modulation;
    bool operator==(const Outputs& o) const {
        return mask == o.mask && modulation == o.modulation && average == o.average && phase == o.phase;
    }
};

// Runs `decoder` on an 18-plane stack of fringes (the 11-plane decoders read the first 11).
void decode(Decoder decoder, bool smooth, int rounds, float sigma, Outputs& out) {
    XeloraAlgo algo;
    XELORAALGO::tagXeloraAlgoROIInfo roi{0, 0, kW, kH};
    algo.SetROIInfo(&roi);
    std::vector<std::vector<unsigned char>> planes(18, std::vector<unsigned char>(kN));
    for (std::size_t k = 0; k < planes.size(); ++k)
        for (std::size_t i = 0; i < kN; ++i)
            planes[k][i] = static_cast<unsigned char>(128 + 100 * std::sin(0.7 * static_cast<double>(i) + 1.3 * k));
    std::vector<unsigned char*> p;
    for (auto& v : planes) p.push_back(v.data());
    (algo.*decoder)(reinterpret_cast<bool*>(out.mask.data()), out.modulation.data(), out.average.data(), p.data(),
                    false, smooth, rounds, sigma, out.phase.data());
}

const std::vector<std::pair<const char*, Decoder>> kDecoders = {
    {"DecGrayPhase1", &XeloraAlgo::DecGrayPhase1},
    {"UnDecGrayPhase1", &XeloraAlgo::UnDecGrayPhase1},
    {"UnDecGrayPhase2", &XeloraAlgo::UnDecGrayPhase2},
    {"DecGrayPhase2", &XeloraAlgo::DecGrayPhase2},
};

}  // namespace

TEST(FringeMisuse, SmoothingSigmaWiderThanAnySensorIsRefusedBeforeDecoding) {
    const std::string need = "smoothSigma must give a kernel radius trunc(1.5 * sigma) of at most 65535 pixels, got ";
    for (const auto& [name, decoder] : kDecoders) {
        SCOPED_TRACE(name);
        for (const auto& [sigma, shown] : std::vector<std::pair<float, std::string>>{
                 {1e30f, "1.00000002e+30"}, {INFINITY, "inf"}, {43691.0f, "43691"}}) {
            Outputs out;
            const Outputs before = out;
            misusetest::expectInvalid([&] { decode(decoder, true, 1, sigma, out); }, name + (": " + need) + shown);
            EXPECT_TRUE(out == before) << "outputs written by a refused call";
        }
        // The sigma is not read without smoothing rounds: the call decodes as with any other sigma.
        Outputs off, reference, noRounds, noRoundsReference;
        decode(decoder, false, 3, 1e30f, off);
        decode(decoder, false, 3, 2.0f, reference);
        decode(decoder, true, 0, 1e30f, noRounds);
        decode(decoder, true, 0, 2.0f, noRoundsReference);
        EXPECT_TRUE(off == reference);
        EXPECT_TRUE(noRounds == noRoundsReference);
        // The widest kernel allowed, and sigmas without a Gaussian, decode.
        for (float sigma : {43690.0f, 0.0f, -3.0f, NAN}) {
            Outputs out;
            EXPECT_NO_THROW(decode(decoder, true, 1, sigma, out)) << sigma;
            EXPECT_FALSE(out == Outputs()) << sigma;
        }
    }
}
