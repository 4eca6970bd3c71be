// Fuzz target of laser-line profiling: extraction from arbitrary images, line centres, undistortion,
// matching, triangulation and the two list smoothers, with lists of arbitrary values (usually one
// entry per ROI row, sometimes other lengths) and arbitrary match indices and windows.
#include "FuzzCommon.h"

using XELORAALGO::Point2dList;
using XELORAALGO::Point3dList;

namespace {
Point2dList lineList(FuzzedDataProvider& in, int rows) {
    const int n = in.ConsumeIntegralInRange<int>(0, 7) == 0 ? in.ConsumeIntegralInRange<int>(0, 80) : rows;
    Point2dList p(static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i)
        p[static_cast<std::size_t>(i)] = {in.ConsumeBool() ? fuzz::doubleParam(in, 0.0, 64.0) : 0.0,
                                          fuzz::doubleParam(in, 0.0, 64.0)};
    return p;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider in(data, size);
    auto roi = fuzz::smallRoi(in);
    fuzz::XeloraAlgo& algo = fuzz::handleWith(in, roi);
    int H = roi.height;
    Point2dList l1 = lineList(in, H), l2 = lineList(in, H);
    std::vector<unsigned char> m1 = fuzz::maskMap(in, static_cast<std::size_t>(H)),
                               m2 = fuzz::maskMap(in, static_cast<std::size_t>(H));
    std::vector<int> matches(static_cast<std::size_t>(in.ConsumeIntegralInRange<int>(0, 7) == 0 ? 0 : H));
    for (int& m : matches) m = fuzz::intParam(in, 0, H - 1);
    Point3dList cloud, depth;
    for (int op = 0; op < 8 && in.remaining_bytes() > 0; ++op) {
        const std::size_t n = fuzz::pixels(algo);
        switch (in.ConsumeIntegralInRange<int>(0, 11)) {
        case 0:
        case 1: {
            std::vector<unsigned char> image = fuzz::byteMap(in, n);
            Point2dList pts(static_cast<std::size_t>(H), {0.0, 0.0});
            std::vector<unsigned char> mask(static_cast<std::size_t>(H));
            const std::array<int, 2> offset{fuzz::intParam(in, 0, 8), fuzz::intParam(in, 0, 8)};
            const int a = fuzz::intParam(in, 0, 200), b = fuzz::intParam(in, 0, 200);
            const bool four = in.ConsumeBool();
            fuzz::guarded([&] {
                if (four) algo.lineExtract4(false, image.data(), pts, fuzz::boolData(mask), 0, 0, 0, 0, 0, offset);
                else algo.lineExtract5(image.data(), pts, fuzz::boolData(mask), 0, 0, offset, a, b);
            });
            break;
        }
        case 2: {
            std::vector<unsigned char> image = fuzz::byteMap(in, n);
            Point2dList pts;
            const bool first = in.ConsumeBool();
            fuzz::guarded([&] {
                if (first) algo.GetCloudPoint_New_600_1(image.data(), pts);
                else algo.GetCloudPoint_New_600_2(image.data(), pts);
            });
            break;
        }
        case 3: {
            const int count = in.ConsumeIntegralInRange<int>(0, 64);
            std::vector<int> positions(static_cast<std::size_t>(count)), weights(static_cast<std::size_t>(count));
            for (int i = 0; i < count; ++i) {
                positions[static_cast<std::size_t>(i)] = fuzz::intParam(in, 0, 64);
                weights[static_cast<std::size_t>(i)] = fuzz::intParam(in, 0, 255);
            }
            std::array<double, 2> centre{0.0, 0.0};
            const int row = fuzz::intParam(in, 0, 64), start = fuzz::intParam(in, 0, 64);
            fuzz::guarded([&] { algo.CalLineCenter(row, positions, weights, centre); });
            fuzz::guarded([&] { algo.CalLineCenter_new(row, start, count, weights.data(), centre); });
            break;
        }
        case 4: fuzz::guarded([&] { algo.UndistortPoints2(in.ConsumeBool(), in.ConsumeBool() ? l1 : l2); }); break;
        case 5:
            fuzz::guarded([&] { algo.MatchLine(l1, l2, fuzz::boolData(m1), fuzz::boolData(m2), matches); });
            break;
        case 6:
            fuzz::guarded([&] { algo.Calpoint(l1, l2, fuzz::boolData(m1), matches, cloud, depth); });
            break;
        case 7: {
            const int half = fuzz::intParam(in, 0, 8);
            fuzz::guarded([&] { algo.Calpoint_smooth(l1, l2, half, fuzz::boolData(m1), matches, cloud); });
            break;
        }
        case 8: {
            const int half = fuzz::intParam(in, 0, 8);
            fuzz::guarded([&] { algo.FitLineFunction_V(l1, half, in.ConsumeBool()); });
            break;
        }
        case 9: {
            const int half = fuzz::intParam(in, 0, 8);
            fuzz::guarded([&] { algo.Gaussianfilter(l2, half); });
            break;
        }
        case 10: {
            const int i = in.ConsumeIntegralInRange<int>(0, 79);
            if (static_cast<std::size_t>(i) < matches.size()) matches[static_cast<std::size_t>(i)] = fuzz::intParam(in, 0, H - 1);
            break;
        }
        default:  // the lists and matches now belong to another ROI; the row masks are resized
            roi = fuzz::smallRoi(in);
            algo.SetROIInfo(&roi);
            H = roi.height;
            m1.resize(static_cast<std::size_t>(H));
            m2.resize(static_cast<std::size_t>(H));
            break;
        }
    }
    return 0;
}
