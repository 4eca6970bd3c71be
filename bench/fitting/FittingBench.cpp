// Surface fits of every order on 100 000 and 1 000 000 points, and the degree-5 curve fit on 10 000
// samples.
#include <cmath>
#include <cstddef>
#include <vector>

#include <benchmark/benchmark.h>

#include "fitting/fitting.h"

using namespace XELORAALGO;

namespace {

// A gently curved patch of n points over roughly 400 x 400 units.
Point3dList makeCloud(std::size_t n) {
    Point3dList pts;
    pts.reserve(n);
    const std::size_t side = static_cast<std::size_t>(std::sqrt(static_cast<double>(n))) + 1;
    for (std::size_t k = 0; k < n; ++k) {
        const double x = -200.0 + 400.0 * static_cast<double>(k % side) / static_cast<double>(side);
        const double y = -200.0 + 400.0 * static_cast<double>(k / side) / static_cast<double>(side);
        pts.push_back({x, y, 500.0 + 0.1 * x - 0.05 * y + 1e-3 * x * y + 2e-4 * x * x});
    }
    return pts;
}

template <void (*Fit)(const Point3dList&, std::vector<float>&)>
void BM_SurfaceFit(benchmark::State& state) {
    const Point3dList pts = makeCloud(static_cast<std::size_t>(state.range(0)));
    std::vector<float> c;
    for (auto _ : state) {
        Fit(pts, c);
        benchmark::DoNotOptimize(c.data());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK_TEMPLATE(BM_SurfaceFit, fitting::PlaneFitPoly11)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_SurfaceFit, fitting::PlaneFitPoly22)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_SurfaceFit, fitting::PlaneFitPoly33)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_SurfaceFit, fitting::PlaneFitPoly55)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_SurfaceFit, fitting::PlaneFitPoly1010)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);

void BM_PolynomialFitDegree5(benchmark::State& state) {
    const int n = 10000;
    std::vector<double> x(n), y(n);
    for (int k = 0; k < n; ++k) {
        x[k] = -1.0 + 2.0 * k / (n - 1);
        y[k] = std::sin(3.0 * x[k]);
    }
    for (auto _ : state) {
        std::vector<double> c = fitting::polynomialFit(x, y, 5);
        benchmark::DoNotOptimize(c.data());
    }
    state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_PolynomialFitDegree5)->Unit(benchmark::kMillisecond);

}  // namespace
