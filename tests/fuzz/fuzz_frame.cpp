// Fuzz target of the frame: arbitrary orders of ROI, downsampling and calibration changes, CalKR,
// the map builders, the releases and the members that read the maps (InterpCubic1/2/4/5,
// InterpFlag1/2). Stale or missing tables must give std::logic_error, never a wrong read.
#include "FuzzCommon.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider in(data, size);
    auto roi = fuzz::smallRoi(in);
    fuzz::XeloraAlgo& algo = fuzz::handleWith(in, roi);
    for (int op = 0; op < 24 && in.remaining_bytes() > 0; ++op) {
        const std::size_t n = fuzz::pixels(algo);
        switch (in.ConsumeIntegralInRange<int>(0, 13)) {
        case 0: roi = fuzz::smallRoi(in, 0); algo.SetROIInfo(&roi); break;
        case 1: algo.SetDownsamplingInfo(fuzz::intParam(in, 1, 4), fuzz::floatParam(in, -1.0f, 1.0f)); break;
        case 2: {
            auto calib = fuzz::calibration(in);
            algo.SetCalibrationInfo(&calib);
            break;
        }
        case 3: fuzz::guarded([&] { algo.CalKR(); }); break;
        case 4: fuzz::guarded([&] { algo.CalRectifyMap1(in.ConsumeBool()); }); break;
        case 5: fuzz::guarded([&] { algo.CalRectifyMap2(in.ConsumeBool()); }); break;
        case 6: algo.DeleteMemory1(); break;
        case 7: algo.DeleteMemory2(); break;
        case 8: {
            std::vector<float> map = fuzz::floatMap(in, n, -100.0f, 100.0f);
            const int which = in.ConsumeIntegralInRange<int>(0, 3);
            fuzz::guarded([&] {
                if (which == 0) algo.InterpCubic1(map.data());
                if (which == 1) algo.InterpCubic2(map.data());
                if (which == 2) algo.InterpCubic4(map.data());
                if (which == 3) algo.InterpCubic5(map.data());
            });
            break;
        }
        case 9: {
            std::vector<unsigned char> mask = fuzz::maskMap(in, n);
            const bool first = in.ConsumeBool();
            fuzz::guarded([&] {
                if (first) algo.InterpFlag1(fuzz::boolData(mask));
                else algo.InterpFlag2(fuzz::boolData(mask));
            });
            break;
        }
        case 10: {
            double a, b, c, d, e, f;
            algo.GetData(a, b, c, d, e, f);
            break;
        }
        case 11: {
            std::vector<float> map = fuzz::floatMap(in, n, -100.0f, 100.0f);
            std::vector<double> mx(n), my(n);
            for (std::size_t i = 0; i < n; ++i) {
                mx[i] = fuzz::doubleParam(in, -2.0, 66.0);
                my[i] = fuzz::doubleParam(in, -2.0, 66.0);
            }
            std::vector<unsigned char> mask = fuzz::maskMap(in, n);
            fuzz::guarded([&] { algo.InterpCubic3(map.data(), mx.data(), my.data(), fuzz::boolData(mask)); });
            break;
        }
        case 12: (void)algo.BiCubicPloy(fuzz::floatParam(in, -3.0f, 3.0f)); break;
        default: {
            std::string version;
            algo.GetSdkVersionString(version);
            break;
        }
        }
    }
    return 0;
}
