// Calibration geometry and map building at full sensor size.
#include <cmath>
#include <cstring>
#include <memory>

#include <benchmark/benchmark.h>

#include "frame/AlgoEngine.h"
#include "frame/frame.h"

using namespace XELORAALGO;

namespace {

AlgoEngine* makeEngine(int w, int h) {
    auto* e = new AlgoEngine();
    e->roi = tagXeloraAlgoROIInfo{0, 0, w, h};
    auto& c = e->calib;
    const double K[9] = {2500, 0, w / 2.0, 0, 2500, h / 2.0, 0, 0, 1};
    std::memcpy(c.K1, K, sizeof K);
    std::memcpy(c.K2, K, sizeof K);
    const double yaw = -0.15;
    const double R[9] = {std::cos(yaw), 0, std::sin(yaw), 0, 1, 0, -std::sin(yaw), 0, std::cos(yaw)};
    std::memcpy(c.R, R, sizeof R);
    const double C2[3] = {150, 0, 5};
    for (int r = 0; r < 3; ++r) c.T[r] = -(R[3 * r] * C2[0] + R[3 * r + 1] * C2[1] + R[3 * r + 2] * C2[2]);
    for (int k = 0; k < 3; ++k) c.Tinv[k] = C2[k];
    c.D1[0] = -0.1;
    return e;
}

void BM_CalKR(benchmark::State& state) {
    std::unique_ptr<AlgoEngine> e(makeEngine(static_cast<int>(state.range(0)), static_cast<int>(state.range(1))));
    for (auto _ : state) frame::CalKR(*e);
    state.counters["Mpix/s"] = benchmark::Counter(static_cast<double>(e->pixelCount()) * state.iterations() / 1e6,
                                                  benchmark::Counter::kIsRate);
}
BENCHMARK(BM_CalKR)->Args({1280, 1024})->Args({2448, 2048})->Unit(benchmark::kMillisecond);

void BM_CalRectifyMap1(benchmark::State& state) {
    std::unique_ptr<AlgoEngine> e(makeEngine(static_cast<int>(state.range(0)), static_cast<int>(state.range(1))));
    frame::CalKR(*e);
    for (auto _ : state) frame::CalRectifyMap1(*e, true);
    state.counters["Mpix/s"] = benchmark::Counter(static_cast<double>(e->pixelCount()) * state.iterations() / 1e6,
                                                  benchmark::Counter::kIsRate);
}
BENCHMARK(BM_CalRectifyMap1)->Args({1280, 1024})->Args({2448, 2048})->Unit(benchmark::kMillisecond);

}  // namespace
