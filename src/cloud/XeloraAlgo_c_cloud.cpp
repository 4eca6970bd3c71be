// C interface of the point-cloud operations: each function forwards to the XeloraAlgo member of the
// same name. Clouds arrive as flat (x, y, z) triples and are copied into Point3dList and back (see
// include/xelora_c.h for counts and capacities).
#include <array>
#include <tuple>
#include <utility>
#include <vector>

#include "frame/XeloraAlgo_c.h"

using XELORAALGO::Point3dList;
using XELORAALGO::XeloraAlgo;
using namespace XELORAALGO::capi;

extern "C" {

int xelora_SORfilter(xelora_handle* h, double* cloud, size_t pointCount, int k, float multiplier) {
    return call(__func__, h, [&](XeloraAlgo& a, const char* fn) {
        inPlace<3>(cloud, pointCount, fn, "cloud", [&](Point3dList& list) { a.SORfilter(list, k, multiplier); });
    });
}

int xelora_sorFilter(xelora_handle* h, double* cloud, size_t pointCount, int k, double unused) {
    return call(__func__, h, [&](XeloraAlgo& a, const char* fn) {
        inPlace<3>(cloud, pointCount, fn, "cloud", [&](Point3dList& list) { a.sorFilter(list, k, unused); });
    });
}

int xelora_CloudSmooth(xelora_handle* h, double* map, size_t pointCount, int r, float radius) {
    return call(__func__, h, [&](XeloraAlgo& a, const char* fn) {
        inPlace<3>(map, pointCount, fn, "map", [&](Point3dList& list) { a.CloudSmooth(list, r, radius); });
    });
}

int xelora_Gaussianfilter_PMR(xelora_handle* h, double* cloud, size_t pointCount, int r) {
    return call(__func__, h, [&](XeloraAlgo& a, const char* fn) {
        inPlace<3>(cloud, pointCount, fn, "cloud", [&](Point3dList& list) { a.Gaussianfilter_PMR(list, r); });
    });
}

int xelora_Downsample(xelora_handle* h, const double* input, size_t inputCount, double* output,
                      size_t outputCapacity, size_t* outputCount, float binWidth, int* count) {
    return call(__func__, h, [&](XeloraAlgo& a, const char* fn) {
        Point3dList result;
        int binned = 0;
        a.Downsample(toList<3>(input, inputCount, fn, "input"), result, binWidth, binned);
        out(count, fn, "count") = binned;
        checkCapacity(result.size(), outputCapacity, outputCount, fn, "output");
        fromList(result, output);
    });
}

int xelora_GetDepth(xelora_handle* h, const double* points, const size_t* profileSizes, size_t profileCount,
                    double* map, size_t mapCapacity, size_t* mapCount) {
    return call(__func__, h, [&](XeloraAlgo& a, const char* fn) {
        requireArray(profileSizes, profileCount, fn, "profileSizes");
        std::vector<Point3dList> profiles;
        profiles.reserve(profileCount);
        const double* p = points;
        for (size_t i = 0; i < profileCount; ++i) {
            profiles.push_back(toList<3>(p, profileSizes[i], fn, "points"));
            p += 3 * profileSizes[i];
        }
        Point3dList result;
        a.GetDepth(profiles, result);
        checkCapacity(result.size(), mapCapacity, mapCount, fn, "map");
        fromList(result, map);
    });
}

int xelora_RGB2Cloud(xelora_handle* h, const int* pixels, size_t pixelCount, const double* cloud, size_t cloudCount,
                     double maxDistance, double* matched, size_t matchedCapacity, size_t* matchedCount) {
    return call(__func__, h, [&](XeloraAlgo& a, const char* fn) {
        Point3dList result;
        a.RGB2Cloud(toList<2, int>(pixels, pixelCount, fn, "pixels"), toList<3>(cloud, cloudCount, fn, "cloud"),
                    maxDistance, result);
        checkCapacity(result.size(), matchedCapacity, matchedCount, fn, "matched");
        fromList(result, matched);
    });
}

int xelora_GetRGBpoint(xelora_handle* h, const unsigned char* image, size_t byteCount, int width, int height,
                       const double* cloud, size_t cloudCount, double* colored, bool* valid, size_t capacity,
                       size_t* coloredCount) {
    return call(__func__, h, [&](XeloraAlgo& a, const char* fn) {
        requireArray(image, byteCount, fn, "image");
        const std::tuple<std::vector<unsigned char>, int, int> img(
            std::vector<unsigned char>(image, image + byteCount), width, height);
        std::vector<std::pair<std::array<double, 6>, bool>> result;
        a.GetRGBpoint(img, toList<3>(cloud, cloudCount, fn, "cloud"), result);
        checkCapacity(result.size(), capacity, coloredCount, fn, "colored");
        for (size_t i = 0; i < result.size(); ++i) {
            for (size_t d = 0; d < 6; ++d) colored[6 * i + d] = result[i].first[d];
            valid[i] = result[i].second;
        }
    });
}

}  // extern "C"
