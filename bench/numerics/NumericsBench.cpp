// The library's elementary functions beside the C runtime's, on the same inputs in the same run: each
// benchmark maps 4096 inputs from the ranges the library uses (phases, filter weights, angles, the
// fits' powers), and the array forms per instruction set beside a loop of the scalar function.
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

#include "Kernels.h"
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

// Times fill(out) over the 4096 results per iteration.
template <class T, class Fill>
void timed(benchmark::State& state, Fill fill) {
    std::vector<T> out(kCount);
    for (auto _ : state) {
        fill(out.data());
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kCount));
}

template <class F>
void unary(benchmark::State& state, F f, float lo, float hi) {
    const std::vector<float> x = inputs(lo, hi, 1);
    timed<float>(state, [&](float* out) {
        for (std::size_t i = 0; i < kCount; ++i) out[i] = f(x[i]);
    });
}

template <class F>
void binary(benchmark::State& state, F f) {
    const std::vector<float> y = inputs(-255.0f, 255.0f, 2), x = inputs(-255.0f, 255.0f, 3);
    timed<float>(state, [&](float* out) {
        for (std::size_t i = 0; i < kCount; ++i) out[i] = f(y[i], x[i]);
    });
}

template <class F>
void array(benchmark::State& state, F f, float lo, float hi) {
    const std::vector<float> x = inputs(lo, hi, 1);
    timed<float>(state, [&](float* out) { f(x.data(), out, kCount); });
}

template <class F>
void unaryDouble(benchmark::State& state, F f, double lo, double hi) {
    std::mt19937 rng(4);
    std::uniform_real_distribution<double> d(lo, hi);
    std::vector<double> x(kCount);
    for (double& v : x) v = d(rng);
    timed<double>(state, [&](double* out) {
        for (std::size_t i = 0; i < kCount; ++i) out[i] = f(x[i]);
    });
}

// Two-argument functions on pairs: x from [xLo, xHi]; y from [yLo, yHi], rounded to an integer when
// integral is set; f(x, y).
template <class F>
void binaryDouble(benchmark::State& state, F f, double xLo, double xHi, double yLo, double yHi, bool integral) {
    std::mt19937 rng(5);
    std::uniform_real_distribution<double> dx(xLo, xHi), dy(yLo, yHi);
    std::vector<double> x(kCount), y(kCount);
    for (std::size_t i = 0; i < kCount; ++i) {
        x[i] = dx(rng);
        y[i] = integral ? static_cast<double>(static_cast<int>(dy(rng))) : dy(rng);
    }
    timed<double>(state, [&](double* out) {
        for (std::size_t i = 0; i < kCount; ++i) out[i] = f(x[i], y[i]);
    });
}

// An array form with one instruction set, skipped where the processor lacks it.
template <class F>
void arrayIsa(benchmark::State& state, F f, num::Isa isa, float lo, float hi) {
    if (!num::isaUsable(isa)) {
        state.SkipWithError("instruction set not usable on this processor");
        return;
    }
    array(state, [&](const float* x, float* o, std::size_t n) { f(x, o, n, isa); }, lo, hi);
}

double (*const kRuntimeExp)(double) = ::exp;
double (*const kRuntimeSin)(double) = ::sin;
double (*const kRuntimeCos)(double) = ::cos;
double (*const kRuntimeAtan)(double) = ::atan;
double (*const kRuntimeAtan2)(double, double) = ::atan2;
double (*const kRuntimePow)(double, double) = ::pow;
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
BENCHMARK_CAPTURE(unaryDouble, exp_Wide_Runtime, kRuntimeExp, -700.0, 700.0);
BENCHMARK_CAPTURE(unaryDouble, exp_Wide_Xelora, [](double x) { return num::exp(x); }, -700.0, 700.0);
// Phases and phase sums of the decoders; ratios and angles.
BENCHMARK_CAPTURE(unaryDouble, sin_Runtime, kRuntimeSin, -512.0, 512.0);
BENCHMARK_CAPTURE(unaryDouble, sin_Xelora, [](double x) { return num::sin(x); }, -512.0, 512.0);
BENCHMARK_CAPTURE(unaryDouble, cos_Runtime, kRuntimeCos, -512.0, 512.0);
BENCHMARK_CAPTURE(unaryDouble, cos_Xelora, [](double x) { return num::cos(x); }, -512.0, 512.0);
BENCHMARK_CAPTURE(unaryDouble, atan_Runtime, kRuntimeAtan, -20.0, 20.0);
BENCHMARK_CAPTURE(unaryDouble, atan_Xelora, [](double x) { return num::atan(x); }, -20.0, 20.0);
BENCHMARK_CAPTURE(binaryDouble, atan2_Runtime, kRuntimeAtan2, -1000.0, 1000.0, -1000.0, 1000.0, false);
BENCHMARK_CAPTURE(binaryDouble, atan2_Xelora, [](double y, double x) { return num::atan2(y, x); }, -1000.0, 1000.0, -1000.0, 1000.0, false);
// The fits: sample positions to small integer powers.
BENCHMARK_CAPTURE(binaryDouble, pow_Fit_Runtime, kRuntimePow, -500.0, 500.0, 0.0, 11.0, true);
BENCHMARK_CAPTURE(binaryDouble, pow_Fit_Xelora, [](double x, double y) { return num::pow(x, y); }, -500.0, 500.0, 0.0, 11.0, true);
BENCHMARK_CAPTURE(binaryDouble, pow_Runtime, kRuntimePow, 0.01, 100.0, -20.0, 20.0, false);
BENCHMARK_CAPTURE(binaryDouble, pow_Xelora, [](double x, double y) { return num::pow(x, y); }, 0.01, 100.0, -20.0, 20.0, false);

using ArrayFn = void (*)(const float*, float*, std::size_t, num::Isa);
constexpr ArrayFn kSinfArray = num::sinf;
constexpr ArrayFn kExpfArray = num::expf;
// atan2f on the two halves of the inputs (y, then x).
void atan2fHalves(const float* v, float* o, std::size_t n, num::Isa isa) { num::atan2f(v + n / 2, v, o, n / 2, isa); }

BENCHMARK_CAPTURE(unary, sinf_Loop_Xelora, [](float x) { return num::sinf(x); }, -20.0f, 20.0f);
BENCHMARK_CAPTURE(arrayIsa, sinf_Array_Sse2, kSinfArray, num::Isa::Sse2, -20.0f, 20.0f);
BENCHMARK_CAPTURE(arrayIsa, sinf_Array_Avx2, kSinfArray, num::Isa::Avx2, -20.0f, 20.0f);
BENCHMARK_CAPTURE(arrayIsa, sinf_Array_Avx512, kSinfArray, num::Isa::Avx512, -20.0f, 20.0f);
BENCHMARK_CAPTURE(unary, expf_Loop_Xelora, [](float x) { return num::expf(x); }, -20.0f, 0.0f);
BENCHMARK_CAPTURE(arrayIsa, expf_Array_Sse2, kExpfArray, num::Isa::Sse2, -20.0f, 0.0f);
BENCHMARK_CAPTURE(arrayIsa, expf_Array_Avx2, kExpfArray, num::Isa::Avx2, -20.0f, 0.0f);
BENCHMARK_CAPTURE(arrayIsa, expf_Array_Avx512, kExpfArray, num::Isa::Avx512, -20.0f, 0.0f);
// The shorter kernel that the bilateral filter's AVX-512 loops evaluate in place (arguments below 0).
void expfShort(const float* x, float* o, std::size_t n, num::Isa isa) {
    if (num::widestIsa() == isa) num::detail::expfShortArrayAvx512(x, o, n);
}
BENCHMARK_CAPTURE(arrayIsa, expf_Short_Avx512, expfShort, num::Isa::Avx512, -20.0f, 0.0f);
// The scalar loop over the same halves as the array rows: half as many results per iteration.
BENCHMARK_CAPTURE(array, atan2f_Loop_Xelora, [](const float* v, float* o, std::size_t n) {
    for (std::size_t i = 0; i < n / 2; ++i) o[i] = num::atan2f(v[n / 2 + i], v[i]);
}, -255.0f, 255.0f);
BENCHMARK_CAPTURE(arrayIsa, atan2f_Array_Sse2, atan2fHalves, num::Isa::Sse2, -255.0f, 255.0f);
BENCHMARK_CAPTURE(arrayIsa, atan2f_Array_Avx2, atan2fHalves, num::Isa::Avx2, -255.0f, 255.0f);
BENCHMARK_CAPTURE(arrayIsa, atan2f_Array_Avx512, atan2fHalves, num::Isa::Avx512, -255.0f, 255.0f);
