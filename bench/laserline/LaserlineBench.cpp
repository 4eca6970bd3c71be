// Laser-line profiling at full sensor size: each extractor on a 1280 x 1024 stripe image, and the
// matching and triangulation of two 1024-row line lists.
#include <cmath>
#include <cstring>
#include <vector>

#include <benchmark/benchmark.h>

#include "frame/AlgoEngine.h"
#include "laserline/laserline.h"

using namespace XELORAALGO;

namespace {

constexpr int W = 1280, H = 1024;

// A Gaussian stripe (sigma 1.5, peak 200) that wanders over the image, on a dark background with
// a faint reflection in a band of rows.
std::vector<unsigned char> stripeImage() {
    std::vector<unsigned char> img(static_cast<std::size_t>(W) * H, 0);
    for (int r = 0; r < H; ++r) {
        const double c = 600.0 + 80.0 * std::sin(r / 90.0) + 0.05 * r;
        for (int x = static_cast<int>(c) - 8; x <= static_cast<int>(c) + 8; ++x) {
            const double d = (x - c) / 1.5;
            img[static_cast<std::size_t>(r) * W + x] = static_cast<unsigned char>(std::floor(200.0 * std::exp(-0.5 * d * d) + 0.5));
        }
        if (r > 400 && r < 440)
            for (int x = 300; x < 304; ++x) img[static_cast<std::size_t>(r) * W + x] = 90;
    }
    return img;
}

AlgoEngine& engine() {
    static AlgoEngine e = [] {
        AlgoEngine en;
        en.roi = tagXeloraAlgoROIInfo{0, 0, W, H};
        const double K[9] = {2000, 0, 640, 0, 2000, 512, 0, 0, 1};
        std::memcpy(en.calib.K1, K, sizeof K);
        std::memcpy(en.calib.K2, K, sizeof K);
        const double R[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
        std::memcpy(en.calib.RLine, R, sizeof R);
        en.calib.TLine[0] = -150.0;
        // Row-aligned cameras: residual |y1 - y2|.
        const double F[9] = {0, 0, 0, 0, 0, -1, 0, 1, 0};
        std::memcpy(en.calib.F, F, sizeof F);
        return en;
    }();
    return e;
}

void BM_lineExtract4(benchmark::State& state) {
    auto img = stripeImage();
    Point2dList pts(H);
    std::vector<char> mask(H);
    for (auto _ : state) {
        std::fill(pts.begin(), pts.end(), std::array<double, 2>{0, 0});
        laserline::lineExtract4(engine(), img.data(), pts, reinterpret_cast<bool*>(mask.data()), {0, 0});
        benchmark::DoNotOptimize(pts.data());
    }
}
BENCHMARK(BM_lineExtract4)->Unit(benchmark::kMillisecond);

void BM_lineExtract5(benchmark::State& state) {
    auto img = stripeImage();
    Point2dList pts(H);
    std::vector<char> mask(H);
    for (auto _ : state) {
        std::fill(pts.begin(), pts.end(), std::array<double, 2>{0, 0});
        laserline::lineExtract5(engine(), img.data(), pts, reinterpret_cast<bool*>(mask.data()), 0, 1536);
        benchmark::DoNotOptimize(pts.data());
    }
}
BENCHMARK(BM_lineExtract5)->Unit(benchmark::kMillisecond);

void BM_GetCloudPoint_New_600_1(benchmark::State& state) {
    auto img = stripeImage();
    Point2dList pts;
    for (auto _ : state) {
        laserline::GetCloudPoint_New_600_1(engine(), img.data(), pts);
        benchmark::DoNotOptimize(pts.data());
    }
}
BENCHMARK(BM_GetCloudPoint_New_600_1)->Unit(benchmark::kMillisecond);

void BM_GetCloudPoint_New_600_2(benchmark::State& state) {
    auto img = stripeImage();
    Point2dList pts;
    for (auto _ : state) {
        laserline::GetCloudPoint_New_600_2(engine(), img.data(), pts);
        benchmark::DoNotOptimize(pts.data());
    }
}
BENCHMARK(BM_GetCloudPoint_New_600_2)->Unit(benchmark::kMillisecond);

// Two 1024-row lists of a row-aligned pair, every row valid.
void lists(Point2dList& l1, Point2dList& l2) {
    l1.assign(H, {0, 0});
    l2.assign(H, {0, 0});
    for (int r = 0; r < H; ++r) {
        const double x = 900.0 + 20.0 * std::sin(r / 50.0);
        l1[r] = {x, static_cast<double>(r)};
        l2[r] = {x - 600.0 + 3.0 * std::sin(r / 30.0), static_cast<double>(r)};
    }
}

void BM_MatchLine_Calpoint(benchmark::State& state) {
    Point2dList l1, l2;
    lists(l1, l2);
    std::vector<char> m1(H), m2(H, 1);
    std::vector<int> matches(H);
    Point3dList cloud, depth;
    for (auto _ : state) {
        std::fill(m1.begin(), m1.end(), 1);
        laserline::MatchLine(engine(), l1, l2, reinterpret_cast<bool*>(m1.data()),
                             reinterpret_cast<const bool*>(m2.data()), matches);
        laserline::Calpoint(engine(), l1, l2, reinterpret_cast<bool*>(m1.data()), matches, cloud, depth);
        benchmark::DoNotOptimize(cloud.data());
    }
}
BENCHMARK(BM_MatchLine_Calpoint)->Unit(benchmark::kMillisecond);

void BM_Calpoint_smooth(benchmark::State& state) {
    Point2dList l1, l2;
    lists(l1, l2);
    std::vector<char> m1(H, 1);
    std::vector<int> matches(H);
    for (int r = 0; r < H; ++r) matches[r] = r;
    Point3dList cloud;
    for (auto _ : state) {
        laserline::Calpoint_smooth(engine(), l1, l2, 10, reinterpret_cast<bool*>(m1.data()), matches, cloud);
        benchmark::DoNotOptimize(cloud.data());
    }
}
BENCHMARK(BM_Calpoint_smooth)->Unit(benchmark::kMillisecond);

void BM_UndistortPoints2(benchmark::State& state) {
    Point2dList l1, l2;
    lists(l1, l2);
    AlgoEngine& e = engine();
    for (auto _ : state) {
        Point2dList p = l1;
        laserline::UndistortPoints2(e, true, p);
        benchmark::DoNotOptimize(p.data());
    }
}
BENCHMARK(BM_UndistortPoints2)->Unit(benchmark::kMicrosecond);

}  // namespace
