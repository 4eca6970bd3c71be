// Point-cloud operations at camera scale: outlier removal on 100 000 and 1 000 000 points, smoothing
// of a 1280 x 1024 point map, colouring of 1 000 000 points.
#include <cmath>
#include <cstring>
#include <random>
#include <tuple>
#include <vector>

#include <benchmark/benchmark.h>

#include "cloud/cloud.h"
#include "frame/AlgoEngine.h"

using namespace XELORAALGO;
using XELORAALGO::cloud::Cloud;

namespace {

// A gently curved surface seen by the camera, sampled on a grid of about n points with depth noise,
// plus 1 % scattered outliers; depths 400 ... 600.
Cloud surfaceCloud(std::size_t n, unsigned seed) {
    std::mt19937 rng(seed);
    std::normal_distribution<double> noise(0.0, 0.05);
    std::uniform_real_distribution<double> any(0.0, 1.0);
    const int side = static_cast<int>(std::sqrt(static_cast<double>(n)));
    Cloud c;
    c.reserve(n);
    for (std::size_t i = 0; i < n; ++i) {
        const double gx = static_cast<double>(i % static_cast<std::size_t>(side)) * 0.2;
        const double gy = static_cast<double>(i / static_cast<std::size_t>(side)) * 0.2;
        double z = 500.0 + 20.0 * std::sin(gx * 0.01) * std::cos(gy * 0.013) + noise(rng);
        if (any(rng) < 0.01) z += 5.0 + 40.0 * any(rng);
        c.push_back({gx - 100.0, gy - 100.0, z});
    }
    return c;
}

const Cloud& cloudOf(std::size_t n) {
    static const Cloud small = surfaceCloud(100000, 1u);
    static const Cloud large = surfaceCloud(1000000, 2u);
    return n == 100000 ? small : large;
}

void BM_SORfilter(benchmark::State& state) {
    const Cloud& in = cloudOf(static_cast<std::size_t>(state.range(0)));
    const int k = static_cast<int>(state.range(1));
    for (auto _ : state) {
        state.PauseTiming();
        Cloud c = in;
        state.ResumeTiming();
        cloud::SORfilter(c, k, 1.0f);
        benchmark::DoNotOptimize(c.data());
    }
    state.counters["Mpts/s"] =
        benchmark::Counter(static_cast<double>(in.size()) * state.iterations() / 1e6, benchmark::Counter::kIsRate);
}
BENCHMARK(BM_SORfilter)
    ->Args({100000, 8})
    ->Args({100000, 20})
    ->Args({1000000, 8})
    ->Args({1000000, 20})
    ->Unit(benchmark::kMillisecond);

void BM_sorFilter(benchmark::State& state) {
    const Cloud& in = cloudOf(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        state.PauseTiming();
        Cloud c = in;
        state.ResumeTiming();
        cloud::sorFilter(c, 5, 0.0);
        benchmark::DoNotOptimize(c.data());
    }
    state.counters["Mpts/s"] =
        benchmark::Counter(static_cast<double>(in.size()) * state.iterations() / 1e6, benchmark::Counter::kIsRate);
}
BENCHMARK(BM_sorFilter)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);

void BM_CloudSmooth(benchmark::State& state) {
    const int w = 1280, h = 1024;
    AlgoEngine e;
    e.roi = tagXeloraAlgoROIInfo{0, 0, w, h};
    std::mt19937 rng(3);
    std::normal_distribution<double> noise(0.0, 0.05);
    Cloud map;
    for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c) {
            const bool hole = ((r / 64) + (c / 64)) % 7 == 0;
            map.push_back({0.1 * (c - w / 2), 0.1 * (r - h / 2), hole ? 0.0 : 500.0 + 0.01 * c + noise(rng)});
        }
    const int r = static_cast<int>(state.range(0));
    for (auto _ : state) {
        state.PauseTiming();
        Cloud m = map;
        state.ResumeTiming();
        cloud::CloudSmooth(e, m, r, 1.0f);
        benchmark::DoNotOptimize(m.data());
    }
    state.counters["Mpix/s"] =
        benchmark::Counter(static_cast<double>(map.size()) * state.iterations() / 1e6, benchmark::Counter::kIsRate);
}
BENCHMARK(BM_CloudSmooth)->Arg(1)->Arg(2)->Arg(3)->Unit(benchmark::kMillisecond);

void BM_GetRGBpoint(benchmark::State& state) {
    AlgoEngine e;
    auto& cal = e.calib;
    const double K3[9] = {2400, 0, 1224, 0, 2400, 1024, 0, 0, 1};
    std::memcpy(cal.K3, K3, sizeof K3);
    cal.D3[0] = -0.08;
    cal.D3[1] = 0.02;
    cal.D3[2] = 0.001;
    cal.D3[3] = -0.0005;
    const double a = 0.1;
    const double R3[9] = {std::cos(a), 0, std::sin(a), 0, 1, 0, -std::sin(a), 0, std::cos(a)};
    std::memcpy(cal.R3, R3, sizeof R3);
    cal.T3[0] = -60.0;
    cal.T3[1] = 2.0;
    cal.T3[2] = 5.0;
    const int W = 2448, H = 2048;
    std::vector<unsigned char> bytes(static_cast<std::size_t>(W) * H * 3);
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<unsigned char>(i * 31u);
    const auto image = std::make_tuple(std::move(bytes), W, H);
    const Cloud& c = cloudOf(1000000);
    std::vector<std::pair<std::array<double, 6>, bool>> out;
    for (auto _ : state) {
        cloud::GetRGBpoint(e, image, c, out);
        benchmark::DoNotOptimize(out.data());
    }
    state.counters["Mpts/s"] =
        benchmark::Counter(static_cast<double>(c.size()) * state.iterations() / 1e6, benchmark::Counter::kIsRate);
}
BENCHMARK(BM_GetRGBpoint)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
