// Fuzz target of the fringe decoders: 11- and 18-plane stacks of arbitrary bytes on small ROIs, with
// arbitrary smoothing switches, rounds and sigmas (the rounds kept small so that runs stay fast).
#include "FuzzCommon.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider in(data, size);
    fuzz::XeloraAlgo& algo = fuzz::freshHandle();
    auto roi = fuzz::smallRoi(in);
    roi.width = in.ConsumeIntegralInRange<int>(1, 32);
    roi.height = in.ConsumeIntegralInRange<int>(1, 32);
    algo.SetROIInfo(&roi);
    const std::size_t n = fuzz::pixels(algo);
    const int which = in.ConsumeIntegralInRange<int>(0, 3);
    const bool smooth = in.ConsumeBool();
    const int rounds = in.ConsumeIntegralInRange<int>(-2, 2);
    const float sigma = fuzz::floatParam(in, 0.0f, 6.0f);
    std::vector<std::vector<unsigned char>> planes;
    for (int k = 0; k < 18; ++k) planes.push_back(fuzz::byteMap(in, n));
    auto stack = fuzz::pointers(planes);
    std::vector<unsigned char> mask(n);
    std::vector<float> modulation(n), average(n), phase(n);
    fuzz::guarded([&] {
        bool* m = fuzz::boolData(mask);
        if (which == 0)
            algo.DecGrayPhase1(m, modulation.data(), average.data(), stack.data(), false, smooth, rounds, sigma,
                               phase.data());
        if (which == 1)
            algo.UnDecGrayPhase1(m, modulation.data(), average.data(), stack.data(), false, smooth, rounds, sigma,
                                 phase.data());
        if (which == 2)
            algo.UnDecGrayPhase2(m, modulation.data(), average.data(), stack.data(), false, smooth, rounds, sigma,
                                 phase.data());
        if (which == 3)
            algo.DecGrayPhase2(m, modulation.data(), average.data(), stack.data(), false, smooth, rounds, sigma,
                               phase.data());
    });
    return 0;
}
