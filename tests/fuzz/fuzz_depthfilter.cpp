// Fuzz target of the depth-map filters: MediaFilter, Outlierdetect, GradientFilter, Bilateralfilter
// and FillingFunction on point maps of arbitrary values with arbitrary parameters.
#include "FuzzCommon.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider in(data, size);
    auto roi = fuzz::smallRoi(in);
    fuzz::XeloraAlgo& algo = fuzz::handleWith(in, roi);
    if (in.ConsumeBool()) fuzz::guarded([&] { algo.CalKR(); });
    const std::size_t n = fuzz::pixels(algo);
    std::vector<float> X = fuzz::floatMap(in, n, -500.0f, 500.0f), Y = fuzz::floatMap(in, n, -500.0f, 500.0f);
    std::vector<float> Z = fuzz::floatMap(in, n, 0.0f, 1000.0f);
    std::vector<unsigned char> mask = fuzz::maskMap(in, n), mask2 = fuzz::maskMap(in, n);
    for (int op = 0; op < 6 && in.remaining_bytes() > 0; ++op) {
        switch (in.ConsumeIntegralInRange<int>(0, 4)) {
        case 0: {
            const int order = fuzz::intParam(in, 0, 8);
            fuzz::guarded([&] { algo.MediaFilter(Z.data(), order); });
            break;
        }
        case 1: {
            const int radius = fuzz::intParam(in, 0, 4);
            const float distance = fuzz::floatParam(in, 0.0f, 50.0f);
            fuzz::guarded([&] {
                algo.Outlierdetect(X.data(), Y.data(), Z.data(), fuzz::boolData(mask), radius, distance);
            });
            break;
        }
        case 2: {
            const float limit = fuzz::floatParam(in, 0.0f, 300.0f), pass = fuzz::floatParam(in, -1.0f, 2.0f);
            fuzz::guarded([&] {
                algo.GradientFilter(Z.data(), X.data(), fuzz::boolData(mask), fuzz::boolData(mask2), limit, pass);
            });
            break;
        }
        case 3: {
            const int spatial = fuzz::intParam(in, 0, 6);
            const float range = fuzz::floatParam(in, 0.0f, 50.0f);
            fuzz::guarded([&] { algo.Bilateralfilter(Z.data(), fuzz::boolData(mask), spatial, range); });
            break;
        }
        default: {
            const int mode = fuzz::intParam(in, 0, 6), small = fuzz::intParam(in, 0, 50),
                      large = fuzz::intParam(in, 0, 500), zmin = fuzz::intParam(in, 0, 500),
                      zmax = fuzz::intParam(in, 0, 2000);
            fuzz::guarded([&] {
                algo.FillingFunction(X.data(), Y.data(), Z.data(), fuzz::boolData(mask), mode, small, large, zmin,
                                     zmax);
            });
            break;
        }
        }
    }
    return 0;
}
