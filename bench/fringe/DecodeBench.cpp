// Decoding time of one camera's pattern set at 1280 x 1024 and 2448 x 2048: DecGrayPhase1 (11 planes,
// 8 banded workers) and DecGrayPhase2 (18 planes, calling thread), one-pass and two-pass (one
// smoothing round, sigma 2). Beside each, the memory-bound floor: memcpy of the same bytes (input
// planes plus the four output maps). Counter "MP/s" is megapixels decoded (or copied) per second.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

#include "../ProcessCpu.h"
#include "fringe/fringe.h"

using XELORAALGO::AlgoEngine;

namespace {

constexpr double kPi = 3.14159265358979323846;

struct Frame {
    int w, h;
    std::size_t n;
    std::vector<std::vector<unsigned char>> planes;
    std::vector<unsigned char*> ptrs;
    std::unique_ptr<bool[]> valid;
    std::vector<float> mod, avg, phase;

    Frame(int width, int height, int planeCount)
        : w(width), h(height), n(std::size_t(width) * height), planes(planeCount, std::vector<unsigned char>(n)),
          valid(new bool[n]), mod(n), avg(n), phase(n) {
        // A projector phase growing across the image (all 64 periods) and slightly down it.
        for (int r = 0; r < h; ++r)
            for (int c = 0; c < w; ++c) {
                const std::size_t i = std::size_t(r) * w + c;
                const double phi = 0.1 + (128 * kPi - 0.2) * c / (w - 1) * 0.98 + 0.001 * r;
                const int H = int(std::floor(phi / kPi));
                const int G = H ^ (H >> 1);
                if (planeCount == 11) {
                    for (int k = 0; k < 7; ++k) planes[k][i] = ((G >> (6 - k)) & 1) ? 200 : 40;
                    for (int j = 0; j < 4; ++j)
                        planes[7 + j][i] = (unsigned char)std::lround(120 + 90 * std::cos(phi - (j + 1) * kPi / 2));
                } else {
                    const int W1 = H / 2, W2 = (H + 1) / 2;
                    const int b = (W1 % 2 == 0) ? W2 - W1 : 1 - (W2 - W1);
                    const int g6 = W1 ^ (W1 >> 1);
                    for (int k = 0; k < 6; ++k) {
                        int bit = (k == 0) ? !((W1 >> 5) & 1) : ((g6 >> (5 - k)) & 1);
                        bit ^= b;
                        planes[2 * k][i] = bit ? 200 : 40;
                        planes[2 * k + 1][i] = bit ? 40 : 200;
                    }
                    planes[12][i] = b ? 200 : 40;
                    planes[13][i] = b ? 40 : 200;
                    const double shift[4] = {1.5 * kPi, kPi, 0.5 * kPi, 0.0};
                    for (int k = 0; k < 4; ++k)
                        planes[14 + k][i] = (unsigned char)std::lround(120 + 90 * std::cos(phi - shift[k]));
                }
            }
        for (auto& p : planes) ptrs.push_back(p.data());
    }
    std::size_t bytes() const { return planes.size() * n + n * (sizeof(bool) + 3 * sizeof(float)); }
};

void setRoi(AlgoEngine& e, int w, int h) {
    e.roi.offsetX = 0;
    e.roi.offsetY = 0;
    e.roi.width = w;
    e.roi.height = h;
}

void counters(benchmark::State& state, std::size_t n) {
    state.counters["MP/s"] = benchmark::Counter(double(n) / 1e6, benchmark::Counter::kIsIterationInvariantRate);
}

// Args: width, height, smoothPhase.
void BM_DecGrayPhase1(benchmark::State& state) {
    const int w = int(state.range(0)), h = int(state.range(1));
    const bool smooth = state.range(2) != 0;
    AlgoEngine e;
    setRoi(e, w, h);
    Frame f(w, h, 11);
    const benchcpu::ProcessCpu cpu;
    for (auto _ : state) {
        XELORAALGO::fringe::DecGrayPhase1(e, f.valid.get(), f.mod.data(), f.avg.data(), f.ptrs.data(), smooth, 1, 2.0f,
                                          f.phase.data());
        benchmark::DoNotOptimize(f.phase.data());
        benchmark::ClobberMemory();
    }
    counters(state, f.n);
    cpu.report(state);
}

void BM_DecGrayPhase2(benchmark::State& state) {
    const int w = int(state.range(0)), h = int(state.range(1));
    const bool smooth = state.range(2) != 0;
    AlgoEngine e;
    setRoi(e, w, h);
    Frame f(w, h, 18);
    const std::vector<std::vector<unsigned char>> pristine = f.planes;
    const benchcpu::ProcessCpu cpu;
    for (auto _ : state) {
        // The decoder overwrites its Gray planes: restore them outside the timed region.
        state.PauseTiming();
        for (int k = 0; k <= 12; k += 2) std::memcpy(f.planes[k].data(), pristine[k].data(), f.n);
        state.ResumeTiming();
        XELORAALGO::fringe::DecGrayPhase2(e, f.valid.get(), f.mod.data(), f.avg.data(), f.ptrs.data(), smooth, 1, 2.0f,
                                          f.phase.data());
        benchmark::DoNotOptimize(f.phase.data());
        benchmark::ClobberMemory();
    }
    counters(state, f.n);
    cpu.report(state);
}

// Args: width, height, plane count. Copies planes + output bytes once per iteration.
void BM_MemcpyFloor(benchmark::State& state) {
    const int w = int(state.range(0)), h = int(state.range(1));
    const std::size_t n = std::size_t(w) * h;
    const std::size_t bytes = std::size_t(state.range(2)) * n + n * (sizeof(bool) + 3 * sizeof(float));
    std::vector<unsigned char> src(bytes, 1), dst(bytes, 0);
    const benchcpu::ProcessCpu cpu;
    for (auto _ : state) {
        std::memcpy(dst.data(), src.data(), bytes);
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
    counters(state, n);
    cpu.report(state);
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(bytes));
}

}  // namespace

BENCHMARK(BM_DecGrayPhase1)
    ->ArgNames({"w", "h", "smooth"})
    ->Args({1280, 1024, 0})
    ->Args({1280, 1024, 1})
    ->Args({2448, 2048, 0})
    ->Args({2448, 2048, 1})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(BM_DecGrayPhase2)
    ->ArgNames({"w", "h", "smooth"})
    ->Args({1280, 1024, 0})
    ->Args({1280, 1024, 1})
    ->Args({2448, 2048, 0})
    ->Args({2448, 2048, 1})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(BM_MemcpyFloor)
    ->ArgNames({"w", "h", "planes"})
    ->Args({1280, 1024, 11})
    ->Args({1280, 1024, 18})
    ->Args({2448, 2048, 11})
    ->Args({2448, 2048, 18})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

namespace {

// The masked smoothing alone (one map, sigma 2, 90 % of the pixels valid).
void BM_SmoothMaskedMap(benchmark::State& state) {
    const int w = int(state.range(0)), h = int(state.range(1));
    AlgoEngine e;
    setRoi(e, w, h);
    const std::size_t n = std::size_t(w) * h;
    std::vector<float> map(n);
    std::unique_ptr<bool[]> mask(new bool[n]);
    for (std::size_t i = 0; i < n; ++i) {
        map[i] = float(i % 251);
        mask[i] = (i * 2654435761u) % 10 != 0;
    }
    const benchcpu::ProcessCpu cpu;
    for (auto _ : state) {
        XELORAALGO::fringe::SmoothMaskedMap(e, map.data(), mask.get(), 2.0f);
        benchmark::ClobberMemory();
    }
    counters(state, n);
    cpu.report(state);
}

}  // namespace

BENCHMARK(BM_SmoothMaskedMap)->ArgNames({"w", "h"})->Args({1280, 1024})->Unit(benchmark::kMillisecond)->UseRealTime();
