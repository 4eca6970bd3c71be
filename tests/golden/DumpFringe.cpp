// Golden dump: the four fringe decoders on projector-like and random pattern sets, with and without
// smoothing rounds.
#include <cmath>
#include <string>
#include <vector>

#include "Golden.h"

namespace golden {

unsigned char toByte(double v) {
    const double r = std::floor(v + 0.5);
    return static_cast<unsigned char>(r < 0 ? 0 : r > 255 ? 255 : r);
}

Planes patternPlanes(bool paired, std::size_t n, const std::function<double(std::size_t)>& phi, double offset,
                     double amplitude) {
    Planes s(paired ? 18 : 11, std::vector<unsigned char>(n));
    for (std::size_t i = 0; i < n; ++i) {
        const double p = phi(i);
        const int H = static_cast<int>(std::floor(p / kPi));
        if (paired) {
            const int W1 = H / 2, b = (W1 % 2 == 0) ? H % 2 : 1 - H % 2;
            for (int k = 0; k < 7; ++k) {
                const int bit = k == 6 ? b : ((k == 0 ? !((W1 >> 5) & 1) : (((W1 ^ (W1 >> 1)) >> (5 - k)) & 1)) ^ b);
                s[2 * k][i] = bit ? 200 : 40;
                s[2 * k + 1][i] = bit ? 40 : 200;
            }
        } else {
            for (int k = 0; k < 7; ++k) s[k][i] = (((H ^ (H >> 1)) >> (6 - k)) & 1) ? 200 : 40;
        }
        for (int j = 0; j < 4; ++j)
            s[paired ? 14 + j : 7 + j][i] = toByte(offset + amplitude * cosine(p - (paired ? 3 - j : j + 1) * kPi / 2));
    }
    return s;
}

std::vector<unsigned char*> pointers(Planes& planes) {
    std::vector<unsigned char*> p;
    for (auto& v : planes) p.push_back(v.data());
    return p;
}

namespace {

using XELORAALGO::XeloraAlgo;

// Projector-like set with noise, a saturated block and a dark block; or fully random planes.
Planes stack(Rng& rng, bool paired, bool reversed, int W, int H, bool random) {
    const std::size_t n = std::size_t(W) * H;
    const double from = 2.0 + rng.range(0, 3), to = 128 * kPi - 3.0 - rng.range(0, 3);
    Planes s = patternPlanes(paired, n, [&](std::size_t i) {
        const int c = reversed ? W - 1 - int(i % W) : int(i % W);
        const double p = from + (to - from) * c / (W - 1) + 0.01 * double(i / W);
        return reversed ? 128 * kPi - p : p;
    });
    for (auto& plane : s)
        for (std::size_t i = 0; i < n; ++i) {
            if (random) plane[i] = static_cast<unsigned char>(rng.below(256));
            else plane[i] = toByte(plane[i] + rng.range(-3.0, 3.0));
        }
    if (!random)
        for (int r = 2; r < 6 && r < H; ++r)
            for (int c = 3; c < 9 && c < W; ++c) {
                for (auto& plane : s) plane[r * W + c] = 255;
                for (auto& plane : s) plane[(H - 1 - r) * W + W - 1 - c] = 3;
            }
    return s;
}

}  // namespace

void dumpFringe(Writer& w) {
    XeloraAlgo a;
    const int W = 37, H = 23;  // 851 pixels: the last 3 belong to no worker
    const std::size_t n = std::size_t(W) * H;
    auto r = roi(10, 20, W, H);
    a.SetROIInfo(&r);
    Rng rng(0x5EED0002);
    struct Setting { bool smooth; int rounds; float sigma; };
    const Setting settings[4] = {{false, 0, 1.0f}, {true, 1, 1.0f}, {true, 3, 2.5f}, {true, 0, 2.0f}};
    const char* names[4] = {"DecGrayPhase1", "UnDecGrayPhase1", "UnDecGrayPhase2", "DecGrayPhase2"};
    for (int d = 0; d < 4; ++d)
        for (int random = 0; random < 2; ++random) {
            const Planes source = stack(rng, d == 3, d == 1 || d == 2, W, H, random != 0);
            for (int k = 0; k < 4; ++k) {
                Planes planes = source;
                auto ptrs = pointers(planes);
                Mask valid(n);
                std::vector<float> mod(n, -1.0f), avg(n, -1.0f), phase(n, -1.0f);
                const Setting& st = settings[k];
                const bool flag = k % 2 == 0;
                switch (d) {
                    case 0: a.DecGrayPhase1(valid.data(), mod.data(), avg.data(), ptrs.data(), flag, st.smooth, st.rounds, st.sigma, phase.data()); break;
                    case 1: a.UnDecGrayPhase1(valid.data(), mod.data(), avg.data(), ptrs.data(), flag, st.smooth, st.rounds, st.sigma, phase.data()); break;
                    case 2: a.UnDecGrayPhase2(valid.data(), mod.data(), avg.data(), ptrs.data(), flag, st.smooth, st.rounds, st.sigma, phase.data()); break;
                    default: a.DecGrayPhase2(valid.data(), mod.data(), avg.data(), ptrs.data(), flag, st.smooth, st.rounds, st.sigma, phase.data()); break;
                }
                const std::string t = std::string("fringe.") + names[d] + (random ? ".random" : ".projector") +
                                      std::to_string(k);
                w.bools(t + ".valid", valid.data(), n);
                w.floats(t + ".modulation", mod);
                w.floats(t + ".average", avg);
                w.floats(t + ".phase", phase);
                if (d == 3)
                    for (int p = 0; p <= 12; p += 2) w.bytes(t + ".plane" + std::to_string(p), planes[p].data(), n);
            }
        }
}

}  // namespace golden
