// Imaging operations at 1280 x 1024: colour registration, HDR merging, image halving, frame filter.
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>

#include "../ProcessCpu.h"
#include "frame/AlgoEngine.h"
#include "imaging/imaging.h"

using namespace XELORAALGO;

namespace {

constexpr int kW = 1280, kH = 1024;

std::vector<unsigned char> randomBytes(std::size_t n, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int> byte(0, 255);
    std::vector<unsigned char> v(n);
    for (auto& b : v) b = static_cast<unsigned char>(byte(rng));
    return v;
}

// A tilted plane about 550 units away seen by camera 1 (f = 2500 px), registered to a colour camera
// 50 units to the side with a slight turn and radial/tangential distortion.
void BM_CalRGB(benchmark::State& state) {
    AlgoEngine e;
    e.roi = tagXeloraAlgoROIInfo{0, 0, kW, kH};
    auto& c = e.calib;
    const double K3[9] = {2400, 0, 650, 0, 2400, 500, 0, 0, 1};
    std::memcpy(c.K3, K3, sizeof K3);
    c.D3[0] = -0.08;
    c.D3[1] = 0.1;
    c.D3[2] = 0.001;
    c.D3[3] = -0.0005;
    const double a = 0.08;
    const double R[9] = {std::cos(a), 0, std::sin(a), 0, 1, 0, -std::sin(a), 0, std::cos(a)};
    std::memcpy(c.R3, R, sizeof R);
    c.T3[0] = -50.0;
    const std::size_t n = e.pixelCount();
    std::vector<float> X0(n), Y0(n), Z0(n);
    for (int r = 0; r < kH; ++r) {
        for (int col = 0; col < kW; ++col) {
            const std::size_t i = static_cast<std::size_t>(r) * kW + col;
            const float z = 550.0f + 0.05f * col - 0.03f * r;
            Z0[i] = z;
            X0[i] = (col - 640.0f) / 2500.0f * z;
            Y0[i] = (r - 512.0f) / 2500.0f * z;
        }
    }
    std::vector<float> X, Y, Z;
    std::vector<unsigned char> mask;
    // cpu_ms includes the restoring of the inputs outside the timing (the same in every build).
    const benchcpu::ProcessCpu cpu;
    for (auto _ : state) {
        state.PauseTiming();
        X = X0;
        Y = Y0;
        Z = Z0;
        mask.assign(n, 1);
        state.ResumeTiming();
        imaging::CalRGB(e, X.data(), Y.data(), Z.data(), reinterpret_cast<bool*>(mask.data()), 100, 1000);
        benchmark::DoNotOptimize(Z.data());
    }
    state.counters["Mpix/s"] =
        benchmark::Counter(static_cast<double>(n) * state.iterations() / 1e6, benchmark::Counter::kIsRate);
    cpu.report(state);
}
BENCHMARK(BM_CalRGB)->Unit(benchmark::kMillisecond)->UseRealTime();

// Two sequences of 11 two-camera frames merged into 11 planes per camera.
void BM_CalHDRFuse(benchmark::State& state) {
    AlgoEngine e;
    e.roi = tagXeloraAlgoROIInfo{0, 0, kW, kH};
    const std::size_t frame = 2 * e.pixelCount();
    std::vector<std::vector<unsigned char>> s, l, o1, o2;
    for (int k = 0; k < 11; ++k) {
        s.push_back(randomBytes(frame, 100 + k));
        l.push_back(randomBytes(frame, 200 + k));
        o1.emplace_back(e.pixelCount());
        o2.emplace_back(e.pixelCount());
    }
    std::vector<unsigned char*> ps, pl, p1, p2;
    for (int k = 0; k < 11; ++k) {
        ps.push_back(s[k].data());
        pl.push_back(l[k].data());
        p1.push_back(o1[k].data());
        p2.push_back(o2[k].data());
    }
    for (auto _ : state) {
        imaging::CalHDRFuse(e, ps.data(), pl.data(), p1.data(), p2.data(), 11);
        benchmark::DoNotOptimize(o1[10].data());
    }
    state.counters["Mpix/s"] = benchmark::Counter(static_cast<double>(frame) * state.iterations() / 1e6,
                                                  benchmark::Counter::kIsRate);
}
BENCHMARK(BM_CalHDRFuse)->Unit(benchmark::kMillisecond);

// An 11-image fringe sequence of 1280 x 1024 sources halved to 640 x 512.
void BM_DownSampling1(benchmark::State& state) {
    const int W = kW / 2, H = kH;
    std::vector<std::vector<unsigned char>> src, dst;
    std::vector<unsigned char*> ps, pd;
    for (int k = 0; k < 11; ++k) {
        src.push_back(randomBytes(static_cast<std::size_t>(2 * W) * H, 300 + k));
        dst.emplace_back(static_cast<std::size_t>(W) * (H / 2));
    }
    for (int k = 0; k < 11; ++k) {
        ps.push_back(src[k].data());
        pd.push_back(dst[k].data());
    }
    for (auto _ : state) {
        imaging::DownSampling1(ps.data(), pd.data(), 11, W, H);
        benchmark::DoNotOptimize(dst[10].data());
    }
    state.counters["Mpix/s"] = benchmark::Counter(11.0 * kW * kH * state.iterations() / 1e6,
                                                  benchmark::Counter::kIsRate);
}
BENCHMARK(BM_DownSampling1)->Unit(benchmark::kMillisecond);

// The frame filter on alternating two-camera frames (2 x 1280 x 1024 bytes).
void BM_CalcImageBuffer(benchmark::State& state) {
    AlgoEngine e;
    e.roi = tagXeloraAlgoROIInfo{0, 0, kW, kH};
    const std::size_t frame = 2 * e.pixelCount();
    const auto a = randomBytes(frame, 1), b = randomBytes(frame, 2);
    std::vector<unsigned char> out(frame);
    imaging::CalcImageBuffer(e, a.data(), out.data(), true);
    bool flip = false;
    for (auto _ : state) {
        imaging::CalcImageBuffer(e, flip ? a.data() : b.data(), out.data(), true);
        flip = !flip;
        benchmark::DoNotOptimize(out.data());
    }
    imaging::CalcImageBuffer(e, a.data(), out.data(), false);
    state.counters["MB/s"] = benchmark::Counter(static_cast<double>(frame) * state.iterations() / 1e6,
                                                benchmark::Counter::kIsRate);
}
BENCHMARK(BM_CalcImageBuffer)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
