// Stereo operations at 1280 x 1024 and 2448 x 2048 on a synthetic plane: InterpCubic1, InterpFlag1,
// MatchI + MatchII, Bilateralfilter (sigma 2 and 4), CalPoint with and without its filters. Where
// OpenCV is available (XELORA_BENCH_OPENCV), cv::remap with INTER_CUBIC and cv::bilateralFilter run
// on the same data in the same program, so their ratios come from one run.
// Counter "MP/s": megapixels processed per second. In-place inputs are restored outside the timing.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstring>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "../ProcessCpu.h"
#include "StereoBenchUtil.h"
#include "depthfilter/Bilateralfilter.h"

#ifdef XELORA_BENCH_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

using namespace XELORAALGO;
using stereobench::BoolMap;

namespace {

// Inputs of every stage, made once per size by running the stages before it.
struct Prepared {
    stereobench::Scene scene;
    std::vector<float> rawPhase1, rawPhase2, phase1, phase2, X, Y, Z;
    BoolMap rawMask, mask1, mask2, matchMask, pointMask;
    int count = 0;

    Prepared(int w, int h)
        : scene(w, h), rawPhase1(scene.n), rawPhase2(scene.n), X(scene.n), Y(scene.n), Z(scene.n),
          rawMask(scene.n, true), mask1(scene.n, true), mask2(scene.n, true), matchMask(scene.n),
          pointMask(scene.n) {
        for (int r = 0; r < h; ++r)
            for (int c = 0; c < w; ++c) {
                const std::size_t i = static_cast<std::size_t>(r) * w + c;
                rawPhase1[i] = static_cast<float>(scene.projectorPhase(true, c, r));
                rawPhase2[i] = static_cast<float>(scene.projectorPhase(false, c, r));
            }
        AlgoEngine& e = *scene.engine;
        phase1 = rawPhase1;
        phase2 = rawPhase2;
        stereo::InterpCubic1(e, phase1.data());
        stereo::InterpCubic2(e, phase2.data());
        stereo::InterpFlag1(e, mask1.data());
        stereo::InterpFlag2(e, mask2.data());
        stereo::MatchI(e, mask1.data(), mask2.data(), matchMask.data(), phase1.data(), phase2.data());
        stereo::MatchII(e, mask1.data(), mask2.data(), matchMask.data(), phase1.data(), phase2.data());
        pointMask.copyFrom(matchMask);
        stereo::CalPoint(e, pointMask.data(), X.data(), Y.data(), Z.data(), count, false, 2, 2.0f, false, 1.0f);
    }
};

Prepared& prepared(int w, int h) {
    static std::map<std::pair<int, int>, std::unique_ptr<Prepared>> cache;
    auto& slot = cache[{w, h}];
    if (!slot) slot.reset(new Prepared(w, h));
    return *slot;
}

void setRate(benchmark::State& state, std::size_t n) {
    state.counters["MP/s"] =
        benchmark::Counter(static_cast<double>(n) * static_cast<double>(state.iterations()) / 1e6,
                           benchmark::Counter::kIsRate);
}

void BM_InterpCubic1(benchmark::State& state) {
    Prepared& p = prepared(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    std::vector<float> work(p.scene.n);
    const benchcpu::ProcessCpu cpu;
    for (auto _ : state) {
        state.PauseTiming();
        work = p.rawPhase1;
        state.ResumeTiming();
        stereo::InterpCubic1(*p.scene.engine, work.data());
        benchmark::DoNotOptimize(work.data());
    }
    setRate(state, p.scene.n);
    cpu.report(state);
}

void BM_InterpFlag1(benchmark::State& state) {
    Prepared& p = prepared(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    BoolMap work(p.scene.n);
    const benchcpu::ProcessCpu cpu;
    for (auto _ : state) {
        state.PauseTiming();
        work.copyFrom(p.rawMask);
        state.ResumeTiming();
        stereo::InterpFlag1(*p.scene.engine, work.data());
        benchmark::DoNotOptimize(work.data());
    }
    setRate(state, p.scene.n);
    cpu.report(state);
}

void BM_MatchI_MatchII(benchmark::State& state) {
    Prepared& p = prepared(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    BoolMap work(p.scene.n);
    const benchcpu::ProcessCpu cpu;
    for (auto _ : state) {
        stereo::MatchI(*p.scene.engine, p.mask1.data(), p.mask2.data(), work.data(), p.phase1.data(), p.phase2.data());
        stereo::MatchII(*p.scene.engine, p.mask1.data(), p.mask2.data(), work.data(), p.phase1.data(), p.phase2.data());
        benchmark::DoNotOptimize(work.data());
    }
    setRate(state, p.scene.n);
    cpu.report(state);
}

// range(2): spatial sigma; loops at most `lanes` pixels wide.
void bilateral(benchmark::State& state, int lanes) {
    Prepared& p = prepared(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    std::vector<float> work(p.scene.n);
    const benchcpu::ProcessCpu cpu;
    for (auto _ : state) {
        state.PauseTiming();
        work = p.Z;
        state.ResumeTiming();
        depthfilter::BilateralfilterWithLanes(*p.scene.engine, work.data(), p.pointMask.data(),
                                              static_cast<int>(state.range(2)), 2.0f, lanes);
        benchmark::DoNotOptimize(work.data());
    }
    setRate(state, p.scene.n);
    cpu.report(state);
}

void BM_Bilateralfilter(benchmark::State& state) { bilateral(state, 16); }
// The plain loops (what processors without AVX-512 and Windows builds run).
void BM_BilateralfilterPlainLoops(benchmark::State& state) { bilateral(state, 1); }

// range(2): 0 without filters, 1 with the bilateral filter (sigma 2) and masked smoothing (sigma 2).
void BM_CalPoint(benchmark::State& state) {
    Prepared& p = prepared(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    const bool filters = state.range(2) != 0;
    BoolMap mask(p.scene.n);
    std::vector<float> X(p.scene.n), Y(p.scene.n), Z(p.scene.n);
    int count = 0;
    const benchcpu::ProcessCpu cpu;
    for (auto _ : state) {
        state.PauseTiming();
        mask.copyFrom(p.matchMask);
        state.ResumeTiming();
        stereo::CalPoint(*p.scene.engine, mask.data(), X.data(), Y.data(), Z.data(), count, filters, 2, 2.0f, filters,
                         2.0f);
        benchmark::DoNotOptimize(Z.data());
    }
    state.counters["points"] = count;
    setRate(state, p.scene.n);
    cpu.report(state);
}

#define SIZES ->Args({1280, 1024})->Args({2448, 2048})
BENCHMARK(BM_InterpCubic1) SIZES->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_InterpFlag1) SIZES->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_MatchI_MatchII) SIZES->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Bilateralfilter)
    ->Args({1280, 1024, 2})->Args({1280, 1024, 4})->Args({2448, 2048, 2})->Args({2448, 2048, 4})
    ->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_BilateralfilterPlainLoops)
    ->Args({1280, 1024, 2})->Args({1280, 1024, 4})->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_CalPoint)
    ->Args({1280, 1024, 0})->Args({1280, 1024, 1})->Args({2448, 2048, 0})->Args({2448, 2048, 1})
    ->Unit(benchmark::kMillisecond)->UseRealTime();

#ifdef XELORA_BENCH_OPENCV
// The same resampling with OpenCV: the engine's camera-1 rectification maps narrowed to float.
void BM_CvRemapCubic(benchmark::State& state) {
    Prepared& p = prepared(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    const int w = p.scene.w, h = p.scene.h;
    cv::Mat mapX(h, w, CV_32FC1), mapY(h, w, CV_32FC1);
    for (std::size_t i = 0; i < p.scene.n; ++i) {
        mapX.ptr<float>()[i] = static_cast<float>(p.scene.engine->rectMapX1[i]);
        mapY.ptr<float>()[i] = static_cast<float>(p.scene.engine->rectMapY1[i]);
    }
    const cv::Mat src(h, w, CV_32FC1, p.rawPhase1.data());
    cv::Mat dst(h, w, CV_32FC1);
    const benchcpu::ProcessCpu cpu;
    for (auto _ : state) {
        cv::remap(src, dst, mapX, mapY, cv::INTER_CUBIC, cv::BORDER_CONSTANT, cv::Scalar(0));
        benchmark::DoNotOptimize(dst.data);
    }
    state.counters["threads"] = cv::getNumThreads();
    setRate(state, p.scene.n);
    cpu.report(state);
}
BENCHMARK(BM_CvRemapCubic) SIZES->Unit(benchmark::kMillisecond)->UseRealTime();

// OpenCV's bilateral filter on the same depth map (no mask), same kernel size and sigmas.
void BM_CvBilateralFilter(benchmark::State& state) {
    Prepared& p = prepared(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    const int sigma = static_cast<int>(state.range(2));
    const int k = 2 * static_cast<int>(std::floor(1.5 * sigma)) + 1;
    const cv::Mat src(p.scene.h, p.scene.w, CV_32FC1, p.Z.data());
    cv::Mat dst(p.scene.h, p.scene.w, CV_32FC1);
    const benchcpu::ProcessCpu cpu;
    for (auto _ : state) {
        cv::bilateralFilter(src, dst, k, 2.0, sigma);
        benchmark::DoNotOptimize(dst.data);
    }
    state.counters["threads"] = cv::getNumThreads();
    setRate(state, p.scene.n);
    cpu.report(state);
}
BENCHMARK(BM_CvBilateralFilter)
    ->Args({1280, 1024, 2})->Args({1280, 1024, 4})->Args({2448, 2048, 2})->Args({2448, 2048, 4})
    ->Unit(benchmark::kMillisecond)->UseRealTime();
#endif

}  // namespace
