// A whole structured-light frame at 1280 x 1024 and 2448 x 2048: decoding of both cameras' 11-plane
// pattern sets (DecGrayPhase1, one pass), resampling of phase and mask onto the rectified grids,
// MatchI + MatchII and CalPoint without filters (BM_WholeFrame); the same with CalPoint's bilateral
// filter (sigma 2, range 2 mm) and depth smoothing (sigma 2) (BM_WholeFrameFiltered); and the frame
// as xelora-scan's demo
// runs it (BM_DemoFrame): the same with CalPoint's bilateral filter (sigma 2, range 0.4 mm), then
// Outlierdetect (radius 3), GradientFilter, FillingFunction (level 1) and CalRGB. The pattern
// images show the synthetic plane of StereoBenchUtil.h; set-up (CalKR, maps) is not timed.
// Counters: "MP/s" (megapixels of one camera per second), "points", "meanZ" (mean depth of the
// points with a depth; the plane lies at 1000 mm), "cpu_ms" (process CPU per frame), and the heap
// in use, counted by this program's operator new: "caller_MB" (the caller's own buffers: pattern
// planes, decoded maps, masks, point maps), "frame_peak_MB" (the most the frame's calls hold at
// once beyond what was allocated before the frame: working storage and per-frame engine tables)
// and "total_peak_MB" (the whole heap at its peak, set-up tables included).
#include <benchmark/benchmark.h>

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <new>
#include <vector>

#include "../ProcessCpu.h"
#include "StereoBenchUtil.h"
#include "depthfilter/depthfilter.h"
#include "fringe/fringe.h"
#include "imaging/imaging.h"

// ---- heap accounting: every allocation carries its size in a 16-byte header ----
namespace heapcount {
std::atomic<long long> inUse{0}, peak{0};

void* allocate(std::size_t size) {
    void* raw = std::malloc(size + 16);
    if (!raw) throw std::bad_alloc();
    *static_cast<std::size_t*>(raw) = size;
    const long long now = inUse.fetch_add(static_cast<long long>(size)) + static_cast<long long>(size);
    long long seen = peak.load();
    while (now > seen && !peak.compare_exchange_weak(seen, now)) {
    }
    return static_cast<char*>(raw) + 16;
}

void release(void* p) noexcept {
    if (!p) return;
    void* raw = static_cast<char*>(p) - 16;
    inUse.fetch_sub(static_cast<long long>(*static_cast<std::size_t*>(raw)));
    std::free(raw);
}

// Restarts the peak from the heap in use now; returns that level.
long long resetPeak() {
    const long long now = inUse.load();
    peak.store(now);
    return now;
}
}  // namespace heapcount

void* operator new(std::size_t size) { return heapcount::allocate(size); }
void* operator new[](std::size_t size) { return heapcount::allocate(size); }
void operator delete(void* p) noexcept { heapcount::release(p); }
void operator delete[](void* p) noexcept { heapcount::release(p); }
void operator delete(void* p, std::size_t) noexcept { heapcount::release(p); }
void operator delete[](void* p, std::size_t) noexcept { heapcount::release(p); }

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

constexpr double kMB = 1024.0 * 1024.0;

// The caller's buffers of one frame and the calls of the frame.
struct Frame {
    stereobench::Scene scene;
    Patterns cam1, cam2;
    std::size_t n;
    BoolMap mask1, mask2, matchMask;
    std::vector<float> mod, avg, phase1, phase2, X, Y, Z, zCopy;
    BoolMap maskCopy;
    int count = 0;

    Frame(int w, int h)
        : scene(w, h), cam1(scene, true), cam2(scene, false), n(scene.n), mask1(n), mask2(n), matchMask(n), mod(n),
          avg(n), phase1(n), phase2(n), X(n), Y(n), Z(n), zCopy(n), maskCopy(n) {
        // A colour camera for CalRGB: camera 1's lens and pose.
        auto& c = scene.engine->calib;
        for (int k = 0; k < 9; ++k) c.K3[k] = c.K1[k];
        c.R3[0] = c.R3[4] = c.R3[8] = 1.0;
    }

    // Bytes of the caller's own buffers (22 pattern planes, 4 masks, 8 float maps).
    double callerBytes() const {
        return 22.0 * n + 4.0 * n * sizeof(bool) + 8.0 * n * sizeof(float);
    }

    // What follows CalPoint's resampling and matching: nothing else, CalPoint's own filters, or the
    // demo's whole chain.
    enum class Stage { Plain, Filtered, Demo };

    void structured(Stage stage) {
        const bool filters = stage == Stage::Demo;
        AlgoEngine& e = *scene.engine;
        fringe::DecGrayPhase1(e, mask1.data(), mod.data(), avg.data(), cam1.ptrs.data(), false, 0, 1.0f, phase1.data());
        fringe::DecGrayPhase1(e, mask2.data(), mod.data(), avg.data(), cam2.ptrs.data(), false, 0, 1.0f, phase2.data());
        stereo::InterpCubic1(e, phase1.data());
        stereo::InterpFlag1(e, mask1.data());
        stereo::InterpCubic2(e, phase2.data());
        stereo::InterpFlag2(e, mask2.data());
        stereo::MatchI(e, mask1.data(), mask2.data(), matchMask.data(), phase1.data(), phase2.data());
        stereo::MatchII(e, mask1.data(), mask2.data(), matchMask.data(), phase1.data(), phase2.data());
        if (stage == Stage::Filtered)
            stereo::CalPoint(e, matchMask.data(), X.data(), Y.data(), Z.data(), count, true, 2, 2.0f, true, 2.0f);
        else
            stereo::CalPoint(e, matchMask.data(), X.data(), Y.data(), Z.data(), count, filters, 2,
                             filters ? 0.4f : 2.0f, false, 1.0f);
        if (!filters) return;
        // The demo's filter chain with its distances for a 1000 mm plane seen at f = 2500 px:
        // footprint 0.4 mm, outlier distance 8 x, gradient limit 10 x.
        depthfilter::Outlierdetect(e, X.data(), Y.data(), Z.data(), matchMask.data(), 3, 3.2f);
        zCopy = Z;
        maskCopy.copyFrom(matchMask);
        depthfilter::GradientFilter(e, Z.data(), zCopy.data(), matchMask.data(), maskCopy.data(), 4.0f, 1.0f);
        depthfilter::FillingFunction(e, X.data(), Y.data(), Z.data(), matchMask.data(), 1, 30, 300, 100, 2000);
        imaging::CalRGB(e, X.data(), Y.data(), Z.data(), matchMask.data(), 100, 2000);
    }
};

void runFrames(benchmark::State& state, Frame::Stage stage) {
    Frame f(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    f.structured(stage);  // warm-up: the engine's per-frame tables exist from here on, as in a scan loop
    const long long before = heapcount::resetPeak();
    const benchcpu::ProcessCpu cpu;
    for (auto _ : state) {
        f.structured(stage);
        benchmark::DoNotOptimize(f.Z.data());
    }
    cpu.report(state);
    const long long peak = heapcount::peak.load();
    state.counters["caller_MB"] = f.callerBytes() / kMB;
    state.counters["frame_peak_MB"] = static_cast<double>(peak - before) / kMB;
    state.counters["total_peak_MB"] = static_cast<double>(peak) / kMB;
    state.counters["points"] = f.count;
    // Mean depth of the points with a depth (the plane lies at 1000 mm).
    double sum = 0.0;
    std::size_t withDepth = 0;
    for (std::size_t i = 0; i < f.n; ++i)
        if (f.matchMask.v[i] && f.Z[i] != 0.0f) sum += f.Z[i], ++withDepth;
    state.counters["meanZ"] = withDepth ? sum / static_cast<double>(withDepth) : 0.0;
    state.counters["MP/s"] = benchmark::Counter(static_cast<double>(f.n) * static_cast<double>(state.iterations()) / 1e6,
                                                benchmark::Counter::kIsRate);
}

void BM_WholeFrame(benchmark::State& state) { runFrames(state, Frame::Stage::Plain); }
void BM_WholeFrameFiltered(benchmark::State& state) { runFrames(state, Frame::Stage::Filtered); }
void BM_DemoFrame(benchmark::State& state) { runFrames(state, Frame::Stage::Demo); }
BENCHMARK(BM_WholeFrame)->Args({1280, 1024})->Args({2448, 2048})->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_WholeFrameFiltered)->Args({1280, 1024})->Args({2448, 2048})->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_DemoFrame)->Args({1280, 1024})->Args({2448, 2048})->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
