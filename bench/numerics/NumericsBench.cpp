// The library's float functions beside the C runtime's, on the same inputs in the same run: each
// benchmark maps 4096 inputs from the ranges the library uses (phases, filter weights, angles).
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

#include "numerics.h"

namespace num = XELORAALGO::num;

namespace {

constexpr std::size_t kCount = 4096;

std::vector<float> inputs(float lo, float hi, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> d(lo, hi);
    std::vector<float> v(kCount);
    for (float& x : v) x = d(rng);
    return v;
}

template <class F>
void unary(benchmark::State& state, F f, float lo, float hi) {
    const std::vector<float> x = inputs(lo, hi, 1);
    std::vector<float> out(kCount);
    for (auto _ : state) {
        for (std::size_t i = 0; i < kCount; ++i) out[i] = f(x[i]);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kCount));
}

template <class F>
void binary(benchmark::State& state, F f) {
    const std::vector<float> y = inputs(-255.0f, 255.0f, 2), x = inputs(-255.0f, 255.0f, 3);
    std::vector<float> out(kCount);
    for (auto _ : state) {
        for (std::size_t i = 0; i < kCount; ++i) out[i] = f(y[i], x[i]);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kCount));
}

template <class F>
void array(benchmark::State& state, F f, float lo, float hi) {
    const std::vector<float> x = inputs(lo, hi, 1);
    std::vector<float> out(kCount);
    for (auto _ : state) {
        f(x.data(), out.data(), kCount);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kCount));
}

template <class F>
void unaryDouble(benchmark::State& state, F f, double lo, double hi) {
    std::mt19937 rng(4);
    std::uniform_real_distribution<double> d(lo, hi);
    std::vector<double> x(kCount), out(kCount);
    for (double& v : x) v = d(rng);
    for (auto _ : state) {
        for (std::size_t i = 0; i < kCount; ++i) out[i] = f(x[i]);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kCount));
}

double (*const kRuntimeExp)(double) = ::exp;
float (*const kRuntimeSinf)(float) = ::sinf;
float (*const kRuntimeCosf)(float) = ::cosf;
float (*const kRuntimeExpf)(float) = ::expf;
float (*const kRuntimeAtanf)(float) = ::atanf;
float (*const kRuntimeAcosf)(float) = ::acosf;
float (*const kRuntimeAtan2f)(float, float) = ::atan2f;

}  // namespace

BENCHMARK_CAPTURE(unary, sinf_Runtime, kRuntimeSinf, -20.0f, 20.0f);
BENCHMARK_CAPTURE(unary, sinf_Xelora, [](float x) { return num::sinf(x); }, -20.0f, 20.0f);
BENCHMARK_CAPTURE(unary, cosf_Runtime, kRuntimeCosf, -20.0f, 20.0f);
BENCHMARK_CAPTURE(unary, cosf_Xelora, [](float x) { return num::cosf(x); }, -20.0f, 20.0f);
BENCHMARK_CAPTURE(unary, expf_Runtime, kRuntimeExpf, -20.0f, 0.0f);
BENCHMARK_CAPTURE(unary, expf_Xelora, [](float x) { return num::expf(x); }, -20.0f, 0.0f);
BENCHMARK_CAPTURE(unary, atanf_Runtime, kRuntimeAtanf, -50.0f, 50.0f);
BENCHMARK_CAPTURE(unary, atanf_Xelora, [](float x) { return num::atanf(x); }, -50.0f, 50.0f);
BENCHMARK_CAPTURE(unary, acosf_Runtime, kRuntimeAcosf, -1.0f, 1.0f);
BENCHMARK_CAPTURE(unary, acosf_Xelora, [](float x) { return num::acosf(x); }, -1.0f, 1.0f);
BENCHMARK_CAPTURE(binary, atan2f_Runtime, kRuntimeAtan2f);
BENCHMARK_CAPTURE(binary, atan2f_Xelora, [](float y, float x) { return num::atan2f(y, x); });

BENCHMARK_CAPTURE(unaryDouble, exp_Runtime, kRuntimeExp, -20.0, 0.0);
BENCHMARK_CAPTURE(unaryDouble, exp_Xelora, [](double x) { return num::exp(x); }, -20.0, 0.0);

BENCHMARK_CAPTURE(array, sinf_Array_Widest, [](const float* x, float* o, std::size_t n) { num::sinf(x, o, n); }, -20.0f, 20.0f);
BENCHMARK_CAPTURE(array, sinf_Array_Sse2, [](const float* x, float* o, std::size_t n) { num::sinf(x, o, n, num::Isa::Sse2); }, -20.0f, 20.0f);
BENCHMARK_CAPTURE(array, expf_Array_Widest, [](const float* x, float* o, std::size_t n) { num::expf(x, o, n); }, -20.0f, 0.0f);
BENCHMARK_CAPTURE(array, expf_Array_Sse2, [](const float* x, float* o, std::size_t n) { num::expf(x, o, n, num::Isa::Sse2); }, -20.0f, 0.0f);
BENCHMARK_CAPTURE(array, atan2f_Array_Widest, [](const float* x, float* o, std::size_t n) { num::atan2f(x + n / 2, x, o, n / 2); }, -255.0f, 255.0f);
