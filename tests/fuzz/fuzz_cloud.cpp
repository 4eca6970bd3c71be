// Fuzz target of the point-cloud members: SORfilter, sorFilter, CloudSmooth, Gaussianfilter_PMR,
// Downsample, GetDepth, RGB2Cloud and GetRGBpoint on clouds of arbitrary coordinates (NaN, infinities
// and huge values included) with arbitrary parameters.
#include "FuzzCommon.h"

using XELORAALGO::Point3dList;

namespace {
Point3dList cloudOf(FuzzedDataProvider& in, std::size_t n) {
    Point3dList c(n);
    for (auto& p : c) {
        if (in.ConsumeIntegralInRange<int>(0, 6) == 0) continue;  // an empty point
        p = {fuzz::doubleParam(in, -100.0, 100.0), fuzz::doubleParam(in, -100.0, 100.0),
             fuzz::doubleParam(in, -10.0, 1000.0)};
    }
    return c;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider in(data, size);
    auto roi = fuzz::smallRoi(in);
    fuzz::XeloraAlgo& algo = fuzz::handleWith(in, roi);
    const std::size_t n = fuzz::pixels(algo);
    const std::size_t length = in.ConsumeBool() ? n : in.ConsumeIntegralInRange<std::size_t>(0, 300);
    Point3dList cloud = cloudOf(in, length);
    switch (in.ConsumeIntegralInRange<int>(0, 7)) {
    case 0: {
        const int k = fuzz::intParam(in, 1, 30);
        const float mult = fuzz::floatParam(in, -1.0f, 3.0f);
        fuzz::guarded([&] { algo.SORfilter(cloud, k, mult); });
        break;
    }
    case 1: {
        const int k = fuzz::intParam(in, 0, 20);
        fuzz::guarded([&] { algo.sorFilter(cloud, k, fuzz::doubleParam(in, 0.0, 1.0)); });
        break;
    }
    case 2: {
        const int r = fuzz::intParam(in, 0, 4);
        const float radius = fuzz::floatParam(in, 0.0f, 50.0f);
        fuzz::guarded([&] { algo.CloudSmooth(cloud, r, radius); });
        break;
    }
    case 3: {
        const int r = fuzz::intParam(in, 0, 8);
        fuzz::guarded([&] { algo.Gaussianfilter_PMR(cloud, r); });
        break;
    }
    case 4: {
        Point3dList out;
        int count = 0;
        const float width = fuzz::floatParam(in, 0.0f, 20.0f);
        fuzz::guarded([&] { algo.Downsample(cloud, out, width, count); });
        break;
    }
    case 5: {
        std::vector<Point3dList> profiles;
        const int k = in.ConsumeIntegralInRange<int>(0, 4);
        for (int i = 0; i < k; ++i) profiles.push_back(cloudOf(in, in.ConsumeIntegralInRange<std::size_t>(0, 80)));
        Point3dList map;
        fuzz::guarded([&] { algo.GetDepth(profiles, map); });
        break;
    }
    case 6: {
        std::vector<std::array<int, 2>> pixels(in.ConsumeIntegralInRange<std::size_t>(0, 64));
        for (auto& p : pixels) p = {fuzz::intParam(in, 0, 64), fuzz::intParam(in, 0, 64)};
        Point3dList matched;
        const double maxDistance = fuzz::doubleParam(in, 0.0, 10.0);
        fuzz::guarded([&] { algo.RGB2Cloud(pixels, cloud, maxDistance, matched); });
        break;
    }
    default: {
        const int w = in.ConsumeIntegralInRange<int>(0, 64), h = in.ConsumeIntegralInRange<int>(0, 64);
        const std::tuple<std::vector<unsigned char>, int, int> image{
            fuzz::byteMap(in, static_cast<std::size_t>(3 * w * h)), w, h};
        std::vector<std::pair<std::array<double, 6>, bool>> coloured;
        fuzz::guarded([&] { algo.GetRGBpoint(image, cloud, coloured); });
        break;
    }
    }
    return 0;
}
