// Synthetic 1280 x 1024 point map for the depth-filter benchmarks: a gently curved surface around
// 450 mm seen by a camera of focal length 2500 px, with measurement noise, scattered spikes, many
// small holes, some larger ones and an invalid border band.
#ifndef XELORAALGO_BENCH_DEPTHFILTER_DEPTHMAPSCENE_H
#define XELORAALGO_BENCH_DEPTHFILTER_DEPTHMAPSCENE_H

#include <cmath>
#include <cstddef>
#include <memory>
#include <random>
#include <vector>

#include "frame/AlgoEngine.h"

namespace XELORAALGO {
namespace bench {

struct DepthMapScene {
    static constexpr int kWidth = 1280, kHeight = 1024;
    AlgoEngine engine;
    std::vector<float> X, Y, Z;
    std::vector<unsigned char> valid;

    DepthMapScene() : X(count()), Y(count()), Z(count()), valid(count()) {
        engine.roi = {0, 0, kWidth, kHeight};
        engine.calib.K1[0] = engine.calib.K1[4] = 2500.0;
        engine.calib.K1[2] = engine.cx1 = 640.0;
        engine.calib.K1[5] = engine.cy1 = 512.0;
        engine.pixelPitch = 0.0048;
        std::mt19937 rng(2024);
        std::uniform_real_distribution<float> noise(-0.15f, 0.15f);
        for (int r = 0; r < kHeight; ++r) {
            for (int c = 0; c < kWidth; ++c) {
                const double z = 450.0 + 0.02 * c - 0.015 * r + 25.0 * std::sin(c / 210.0) * std::cos(r / 170.0);
                Z[at(r, c)] = static_cast<float>(z) + noise(rng);
            }
        }
        std::uniform_int_distribution<int> col(0, kWidth - 1), row(0, kHeight - 1);
        // spikes
        for (int k = 0; k < 6000; ++k) Z[at(row(rng), col(rng))] += (k % 2 ? 40.0f : -35.0f);
        // small holes: random walks of 1 .. 12 pixels
        std::uniform_int_distribution<int> len(1, 12), dir(0, 3);
        for (int k = 0; k < 4000; ++k) {
            int r = row(rng), c = col(rng);
            for (int n = len(rng); n > 0; --n) {
                Z[at(r, c)] = 0.0f;
                const int d = dir(rng);
                r = std::min(kHeight - 1, std::max(0, r + (d == 0) - (d == 1)));
                c = std::min(kWidth - 1, std::max(0, c + (d == 2) - (d == 3)));
            }
        }
        // larger holes: discs of radius 4 .. 25 (shadows, dark or specular patches)
        std::uniform_int_distribution<int> radius(4, 25);
        for (int k = 0; k < 60; ++k) {
            const int r0 = row(rng), c0 = col(rng), rad = radius(rng);
            for (int r = std::max(0, r0 - rad); r <= std::min(kHeight - 1, r0 + rad); ++r)
                for (int c = std::max(0, c0 - rad); c <= std::min(kWidth - 1, c0 + rad); ++c)
                    if ((r - r0) * (r - r0) + (c - c0) * (c - c0) <= rad * rad) Z[at(r, c)] = 0.0f;
        }
        // invalid border band
        for (int r = 0; r < kHeight; ++r)
            for (int c = 0; c < kWidth; ++c)
                if (r < 8 || c < 8 || r >= kHeight - 8 || c >= kWidth - 8) Z[at(r, c)] = 0.0f;
        for (int r = 0; r < kHeight; ++r) {
            for (int c = 0; c < kWidth; ++c) {
                const float z = Z[at(r, c)];
                valid[at(r, c)] = z != 0.0f;
                X[at(r, c)] = z != 0.0f ? static_cast<float>((c - 640.0) * z / 2500.0) : 0.0f;
                Y[at(r, c)] = z != 0.0f ? static_cast<float>((r - 512.0) * z / 2500.0) : 0.0f;
            }
        }
    }
    static std::size_t count() { return static_cast<std::size_t>(kWidth) * kHeight; }
    static std::size_t at(int r, int c) { return static_cast<std::size_t>(r) * kWidth + static_cast<std::size_t>(c); }
};

// Working copy of a scene's maps that a benchmark may change.
struct MapCopy {
    std::vector<float> X, Y, Z;
    std::unique_ptr<bool[]> mask;
    explicit MapCopy(const DepthMapScene& s) : X(s.X), Y(s.Y), Z(s.Z), mask(new bool[s.Z.size()]) { reset(s); }
    void reset(const DepthMapScene& s) {
        X = s.X;
        Y = s.Y;
        Z = s.Z;
        for (std::size_t i = 0; i < s.Z.size(); ++i) mask[i] = s.valid[i] != 0;
    }
};

}  // namespace bench
}  // namespace XELORAALGO

#endif
