// Benchmarks of the depth-map filters on a 1280 x 1024 point map with noise, spikes and holes.
// Each iteration starts from the unfiltered maps (the copy is excluded from the timing).
#include <benchmark/benchmark.h>

#include <algorithm>

#include "DepthMapScene.h"
#include "depthfilter/depthfilter.h"

#if defined(XELORA_BENCH_OPENCV)
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

using XELORAALGO::bench::DepthMapScene;
using XELORAALGO::bench::MapCopy;

const DepthMapScene& scene() {
    static const DepthMapScene s;
    return s;
}

void BM_MediaFilter(benchmark::State& state) {
    const DepthMapScene& s = scene();
    MapCopy m(s);
    const int order = static_cast<int>(state.range(0));
    for (auto _ : state) {
        state.PauseTiming();
        std::copy(s.Z.begin(), s.Z.end(), m.Z.begin());
        state.ResumeTiming();
        XELORAALGO::depthfilter::MediaFilter(s.engine, m.Z.data(), order);
        benchmark::DoNotOptimize(m.Z.data());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<long long>(DepthMapScene::count()));
}
BENCHMARK(BM_MediaFilter)->Arg(4)->Arg(0)->Unit(benchmark::kMillisecond);

#if defined(XELORA_BENCH_OPENCV)
// The same 3 x 3 float median with OpenCV on one thread (MediaFilter runs on the caller's thread),
// for the ratio. medianBlur also filters the border (replicated) and holes; MediaFilter does not.
void BM_OpenCVMedianBlur3x3(benchmark::State& state) {
    const DepthMapScene& s = scene();
    cv::setNumThreads(1);
    std::vector<float> z(s.Z);
    const cv::Mat src(DepthMapScene::kHeight, DepthMapScene::kWidth, CV_32F, z.data());
    cv::Mat dst(DepthMapScene::kHeight, DepthMapScene::kWidth, CV_32F);
    for (auto _ : state) {
        cv::medianBlur(src, dst, 3);
        benchmark::DoNotOptimize(dst.data);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<long long>(DepthMapScene::count()));
}
BENCHMARK(BM_OpenCVMedianBlur3x3)->Unit(benchmark::kMillisecond);
#endif

void BM_Outlierdetect(benchmark::State& state) {
    const DepthMapScene& s = scene();
    MapCopy m(s);
    const int radius = static_cast<int>(state.range(0));
    const float distance = radius == 1 ? 1.0f : radius == 2 ? 2.0f : 3.2f;  // radius 3: the demo frame's
    for (auto _ : state) {
        state.PauseTiming();
        m.reset(s);
        state.ResumeTiming();
        XELORAALGO::depthfilter::Outlierdetect(s.engine, m.X.data(), m.Y.data(), m.Z.data(), m.mask.get(), radius,
                                              distance);
        benchmark::DoNotOptimize(m.Z.data());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<long long>(DepthMapScene::count()));
}
BENCHMARK(BM_Outlierdetect)->Arg(1)->Arg(2)->Arg(3)->Unit(benchmark::kMillisecond);

void BM_GradientFilter(benchmark::State& state) {
    const DepthMapScene& s = scene();
    MapCopy a(s), b(s);
    for (auto _ : state) {
        state.PauseTiming();
        a.reset(s);
        std::copy(s.X.begin(), s.X.end(), b.X.begin());
        state.ResumeTiming();
        XELORAALGO::depthfilter::GradientFilter(s.engine, a.Z.data(), b.X.data(), a.mask.get(), b.mask.get(), 5.0f,
                                               1.0f);
        benchmark::DoNotOptimize(a.Z.data());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<long long>(DepthMapScene::count()));
}
BENCHMARK(BM_GradientFilter)->Unit(benchmark::kMillisecond);

void BM_FillingFunction(benchmark::State& state) {
    const DepthMapScene& s = scene();
    MapCopy m(s);
    const int mode = static_cast<int>(state.range(0));
    for (auto _ : state) {
        state.PauseTiming();
        m.reset(s);
        state.ResumeTiming();
        XELORAALGO::depthfilter::FillingFunction(s.engine, m.X.data(), m.Y.data(), m.Z.data(), m.mask.get(), mode, 20,
                                                2000, 300, 600);
        benchmark::DoNotOptimize(m.Z.data());
    }
    long long filled = 0;
    for (std::size_t i = 0; i < s.Z.size(); ++i) filled += (s.Z[i] == 0.0f && m.Z[i] != 0.0f) ? 1 : 0;
    state.counters["filled"] = static_cast<double>(filled);
    state.SetItemsProcessed(state.iterations() * static_cast<long long>(DepthMapScene::count()));
}
BENCHMARK(BM_FillingFunction)->Arg(3)->Unit(benchmark::kMillisecond);

}  // namespace
