// A whole structured-light frame at 1280 x 1024 and 2448 x 2048: decoding of both cameras' 11-plane
// pattern sets (DecGrayPhase1, one pass), resampling of phase and mask onto the rectified grids,
// MatchI + MatchII and CalPoint without filters. The pattern images show the synthetic plane of
// StereoBenchUtil.h. Counters: "MP/s" (megapixels of one camera per second), "points" and "meanZ"
// (mean depth of the points with a depth; the plane lies at 1000 mm).
#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <vector>

#include "StereoBenchUtil.h"
#include "fringe/fringe.h"

using namespace XELORAALGO;
using stereobench::BoolMap;

namespace {

// 11 planes of one camera: Gray code of the half period (planes 0..6, most significant bit first)
// and four phase-shifted fringes (planes 7..10, shifts pi/2 ... 2 pi).
struct Patterns {
    std::vector<std::vector<unsigned char>> planes;
    std::vector<unsigned char*> ptrs;
    Patterns(const stereobench::Scene& s, bool first) : planes(11, std::vector<unsigned char>(s.n)) {
        for (int r = 0; r < s.h; ++r)
            for (int c = 0; c < s.w; ++c) {
                const std::size_t i = static_cast<std::size_t>(r) * s.w + c;
                const double phi = s.projectorPhase(first, c, r);
                const int H = static_cast<int>(std::floor(phi / stereobench::kPi));
                const int G = H ^ (H >> 1);
                for (int k = 0; k < 7; ++k) planes[k][i] = ((G >> (6 - k)) & 1) ? 200 : 40;
                for (int j = 0; j < 4; ++j)
                    planes[7 + j][i] = static_cast<unsigned char>(
                        std::lround(120 + 90 * std::cos(phi - (j + 1) * stereobench::kPi / 2)));
            }
        for (auto& p : planes) ptrs.push_back(p.data());
    }
};

void BM_WholeFrame(benchmark::State& state) {
    stereobench::Scene scene(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    const Patterns cam1(scene, true), cam2(scene, false);
    AlgoEngine& e = *scene.engine;
    const std::size_t n = scene.n;
    BoolMap mask1(n), mask2(n), matchMask(n);
    std::vector<float> mod(n), avg(n), phase1(n), phase2(n), X(n), Y(n), Z(n);
    int count = 0;
    for (auto _ : state) {
        fringe::DecGrayPhase1(e, mask1.data(), mod.data(), avg.data(), cam1.ptrs.data(), false, 0, 1.0f, phase1.data());
        fringe::DecGrayPhase1(e, mask2.data(), mod.data(), avg.data(), cam2.ptrs.data(), false, 0, 1.0f, phase2.data());
        stereo::InterpCubic1(e, phase1.data());
        stereo::InterpFlag1(e, mask1.data());
        stereo::InterpCubic2(e, phase2.data());
        stereo::InterpFlag2(e, mask2.data());
        stereo::MatchI(e, mask1.data(), mask2.data(), matchMask.data(), phase1.data(), phase2.data());
        stereo::MatchII(e, mask1.data(), mask2.data(), matchMask.data(), phase1.data(), phase2.data());
        stereo::CalPoint(e, matchMask.data(), X.data(), Y.data(), Z.data(), count, false, 2, 2.0f, false, 1.0f);
        benchmark::DoNotOptimize(Z.data());
    }
    state.counters["points"] = count;
    // Mean depth of the points with a depth (the plane lies at 1000 mm).
    double sum = 0.0;
    std::size_t withDepth = 0;
    for (std::size_t i = 0; i < n; ++i)
        if (matchMask.v[i] && Z[i] != 0.0f) sum += Z[i], ++withDepth;
    state.counters["meanZ"] = withDepth ? sum / static_cast<double>(withDepth) : 0.0;
    state.counters["MP/s"] = benchmark::Counter(static_cast<double>(n) * static_cast<double>(state.iterations()) / 1e6,
                                                benchmark::Counter::kIsRate);
}
BENCHMARK(BM_WholeFrame)->Args({1280, 1024})->Args({2448, 2048})->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
