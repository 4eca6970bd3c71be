// Fuzz target of stereo matching and triangulation: set-up steps, MatchI, MatchII and CalPoint in
// arbitrary orders (ROI and downsampling changes and releases in between) on phase maps, masks and
// filter parameters read from the input.
#include "FuzzCommon.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider in(data, size);
    auto roi = fuzz::smallRoi(in);
    fuzz::XeloraAlgo& algo = fuzz::handleWith(in, roi);
    if (in.ConsumeBool()) {  // usually a complete set-up first
        fuzz::guarded([&] {
            algo.CalKR();
            algo.CalRectifyMap1(true);
            algo.CalRectifyMap1(false);
        });
    }
    for (int op = 0; op < 16 && in.remaining_bytes() > 0; ++op) {
        const std::size_t n = fuzz::pixels(algo);
        switch (in.ConsumeIntegralInRange<int>(0, 9)) {
        case 0: roi = fuzz::smallRoi(in); algo.SetROIInfo(&roi); break;
        case 1: algo.SetDownsamplingInfo(fuzz::intParam(in, 1, 3), fuzz::floatParam(in, -1.0f, 1.0f)); break;
        case 2: fuzz::guarded([&] { algo.CalKR(); }); break;
        case 3: fuzz::guarded([&] { algo.CalRectifyMap1(in.ConsumeBool()); }); break;
        case 4: algo.DeleteMemory1(); break;
        case 5: algo.DeleteMemory2(); break;
        case 6:
        case 7: {
            std::vector<unsigned char> m1 = fuzz::maskMap(in, n), m2 = fuzz::maskMap(in, n), mm = fuzz::maskMap(in, n);
            std::vector<float> p1 = fuzz::floatMap(in, n, 0.0f, 402.0f), p2 = fuzz::floatMap(in, n, 0.0f, 402.0f);
            const bool first = in.ConsumeBool();
            fuzz::guarded([&] {
                if (first)
                    algo.MatchI(fuzz::boolData(m1), fuzz::boolData(m2), fuzz::boolData(mm), p1.data(), p2.data());
                else
                    algo.MatchII(fuzz::boolData(m1), fuzz::boolData(m2), fuzz::boolData(mm), p1.data(), p2.data());
            });
            break;
        }
        default: {
            std::vector<unsigned char> mask = fuzz::maskMap(in, n);
            std::vector<float> X(n), Y(n), Z(n);
            int count = 0;
            const bool bil = in.ConsumeBool(), smooth = in.ConsumeBool();
            const int spatial = fuzz::intParam(in, 0, 6);
            const float range = fuzz::floatParam(in, 0.0f, 50.0f), sigma = fuzz::floatParam(in, 0.0f, 8.0f);
            fuzz::guarded([&] {
                algo.CalPoint(fuzz::boolData(mask), X.data(), Y.data(), Z.data(), count, bil, spatial, range, smooth,
                              sigma);
            });
            break;
        }
        }
    }
    return 0;
}
