// Fuzz target of imaging: colour registration and channels, previews, both exposure proposals, HDR
// proposals and fusion, image halving and the temporal frame filter, with buffers of the sizes the
// members state and arbitrary contents and parameters.
#include <algorithm>

#include "FuzzCommon.h"

namespace {
std::vector<std::vector<unsigned char>> frames(FuzzedDataProvider& in, int count, std::size_t bytes) {
    std::vector<std::vector<unsigned char>> f;
    for (int k = 0; k < count; ++k) f.push_back(fuzz::byteMap(in, bytes));
    return f;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider in(data, size);
    auto roi = fuzz::smallRoi(in);
    const int choice = in.ConsumeIntegralInRange<int>(0, 12);
    if (choice == 5 && in.ConsumeIntegralInRange<int>(0, 3) == 0) {  // sometimes an ROI holding the windows
        roi.width = 400;
        roi.height = 320;
    }
    fuzz::XeloraAlgo& algo = fuzz::handleWith(in, roi);
    const std::size_t n = fuzz::pixels(algo);
    switch (choice) {
    case 0: {
        std::vector<float> X = fuzz::floatMap(in, n, -500.0f, 500.0f), Y = fuzz::floatMap(in, n, -500.0f, 500.0f),
                           Z = fuzz::floatMap(in, n, 0.0f, 1000.0f);
        std::vector<unsigned char> mask = fuzz::maskMap(in, n);
        const int zMin = fuzz::intParam(in, 0, 500), zMax = fuzz::intParam(in, 0, 2000);
        fuzz::guarded([&] { algo.CalRGB(X.data(), Y.data(), Z.data(), fuzz::boolData(mask), zMin, zMax); });
        break;
    }
    case 1: {
        const bool withCount = in.ConsumeBool();
        const int count = withCount ? in.ConsumeIntegralInRange<int>(-1, 11) : 11;
        const int planes = std::max(count, 0);
        auto a = frames(in, planes, 3 * n), b = frames(in, planes, 3 * n);
        auto da = frames(in, planes, n), db = frames(in, planes, n);
        auto pa = fuzz::pointers(a), pb = fuzz::pointers(b), pda = fuzz::pointers(da), pdb = fuzz::pointers(db);
        fuzz::guarded([&] {
            if (withCount) algo.CalRGBFuse(pa.data(), pb.data(), pda.data(), pdb.data(), count);
            else algo.CalRGBFuse(pa.data(), pb.data(), pda.data(), pdb.data());
        });
        break;
    }
    case 2: {
        std::vector<unsigned char> preview(2 * n);
        std::vector<float> m[4];
        for (auto& v : m) v = fuzz::floatMap(in, n, -300.0f, 300.0f);
        fuzz::guarded([&] { algo.CalPreview(preview.data(), m[0].data(), m[1].data(), m[2].data(), m[3].data()); });
        break;
    }
    case 3: {
        const int w = in.ConsumeIntegralInRange<int>(-2, 64), h = in.ConsumeIntegralInRange<int>(-2, 64);
        std::vector<unsigned char> image = fuzz::byteMap(in, static_cast<std::size_t>(std::max(w, 0) * std::max(h, 0)));
        const int th = fuzz::intParam(in, 0, 255);
        fuzz::guarded([&] { (void)algo.CalPixelAverage(image.data(), w, h, th); });
        break;
    }
    case 4: {
        auto caps = frames(in, 3, 2 * n);
        auto p = fuzz::pointers(caps);
        double times[3];
        for (double& t : times) t = fuzz::doubleParam(in, 0.0, 100.0);
        const int pairs = fuzz::intParam(in, 1, 3), target = fuzz::intParam(in, 0, 255),
                  lower = fuzz::intParam(in, 0, 100), upper = fuzz::intParam(in, 0, 10000),
                  current = fuzz::intParam(in, 0, 10000);
        fuzz::guarded([&] { (void)algo.AutoExposure(p.data(), times, pairs, target, lower, upper, current); });
        break;
    }
    case 5: {
        std::vector<float> m[4];
        const bool raw = in.ConsumeBool();
        for (auto& v : m) {
            v.assign(n, 0.0f);
            const float a = fuzz::floatParam(in, 0.0f, 255.0f), b = fuzz::floatParam(in, 0.0f, 1.0f);
            for (std::size_t i = 0; i < n; ++i) v[i] = raw && i < 4096 ? fuzz::floatParam(in, 0.0f, 255.0f)
                                                                        : a + b * static_cast<float>(i % 251);
        }
        const double current = fuzz::doubleParam(in, 0.0, 100.0);
        const int lower = fuzz::intParam(in, 0, 100), upper = fuzz::intParam(in, 0, 10000),
                  target = fuzz::intParam(in, 0, 255);
        fuzz::guarded([&] {
            (void)algo.AutoExposure(current, m[0].data(), m[1].data(), m[2].data(), m[3].data(), lower, upper, target);
        });
        break;
    }
    case 6: {
        std::vector<unsigned char> a = fuzz::byteMap(in, n), b = fuzz::byteMap(in, n);
        const double lower = fuzz::doubleParam(in, 0.0, 10.0), upper = fuzz::doubleParam(in, 0.0, 100.0),
                     current = fuzz::doubleParam(in, 0.0, 100.0);
        const int target = fuzz::intParam(in, 0, 255);
        fuzz::guarded([&] { (void)algo.BinarySearch_updataET(a.data(), b.data(), lower, upper, target, current); });
        std::vector<unsigned char> values = fuzz::byteMap(in, in.ConsumeIntegralInRange<std::size_t>(0, 64));
        fuzz::guarded([&] { (void)algo.GetTh(values, fuzz::intParam(in, 0, 255), fuzz::intParam(in, 0, 255)); });
        break;
    }
    case 7: {
        auto caps = frames(in, 3, 2 * n);
        auto p = fuzz::pointers(caps);
        double times[3];
        for (double& t : times) t = fuzz::doubleParam(in, 0.0, 100.0);
        const int mode = fuzz::intParam(in, 0, 2), pairs = fuzz::intParam(in, 1, 3), divisor = fuzz::intParam(in, 2, 8),
                  target = fuzz::intParam(in, 0, 255), lower = fuzz::intParam(in, 0, 100),
                  upper = fuzz::intParam(in, 0, 10000);
        int results[2] = {0, 0};
        const bool first = in.ConsumeBool();
        fuzz::guarded([&] {
            if (first) algo.AutoHDR1(p.data(), mode, times, pairs, divisor, target, lower, upper, results);
            else algo.AutoHDR2(p.data(), mode, times, pairs, divisor, target, lower, upper, results);
        });
        break;
    }
    case 8: {
        const int count = in.ConsumeIntegralInRange<int>(-1, 12);
        const int k = std::max(count, 0);
        auto s = frames(in, k, 2 * n), l = frames(in, k, 2 * n), o1 = frames(in, k, n), o2 = frames(in, k, n);
        auto ps = fuzz::pointers(s), pl = fuzz::pointers(l), p1 = fuzz::pointers(o1), p2 = fuzz::pointers(o2);
        fuzz::guarded([&] { algo.CalHDRFuse(ps.data(), pl.data(), p1.data(), p2.data(), count); });
        break;
    }
    case 9:
    case 10: {
        const int W = in.ConsumeIntegralInRange<int>(-2, 32), H = in.ConsumeIntegralInRange<int>(-2, 32);
        const int count = in.ConsumeIntegralInRange<int>(-1, 4);
        const std::size_t srcBytes = static_cast<std::size_t>(2 * std::max(W, 0) * std::max(H, 0));
        const std::size_t dstBytes = static_cast<std::size_t>(std::max(W, 0) * (std::max(H, 0) / 2));
        auto src = frames(in, std::max(count, 1), srcBytes), dst = frames(in, std::max(count, 1), dstBytes);
        auto ps = fuzz::pointers(src), pd = fuzz::pointers(dst);
        fuzz::guarded([&] {
            if (choice == 9) algo.DownSampling1(ps.data(), pd.data(), count, W, H);
            else if (count % 2 == 0) algo.DownSampling2(ps.data(), pd.data(), count, W, H);
            else algo.DownSampling3(ps[0], pd[0], W, H);
        });
        break;
    }
    default: {
        for (int k = 0; k < 3; ++k) {  // the stored frame is process-wide: change the ROI between frames
            roi = fuzz::smallRoi(in);
            algo.SetROIInfo(&roi);
            const std::size_t m = fuzz::pixels(algo);
            std::vector<unsigned char> input = fuzz::byteMap(in, 2 * m), output(2 * m);
            const bool enable = in.ConsumeBool();
            fuzz::guarded([&] { algo.CalcImageBuffer(input.data(), output.data(), enable); });
        }
        break;
    }
    }
    return 0;
}
