// C interface of laser-line profiling: each function forwards to the XeloraAlgo member of the same
// name. Line lists arrive as flat (x, y) pairs and are copied into Point2dList and back; matches as
// int arrays (see include/xelora_c.h for counts and capacities).
#include <array>
#include <vector>

#include "frame/XeloraAlgo_c.h"

using XELORAALGO::Point2dList;
using XELORAALGO::Point3dList;
using XELORAALGO::XeloraAlgo;
using namespace XELORAALGO::capi;

namespace {

std::vector<int> toInts(const int* p, size_t count, const char* fn, const char* name) {
    requireArray(p, count, fn, name);
    return std::vector<int>(p, p + count);
}

// 600_1 and 600_2 replace the list with one of at most ROI height entries.
template <class Member>
int cloudPoint(const char* fn, xelora_handle* h, unsigned char* image, double* points, size_t capacity,
               size_t* pointCount, Member member) {
    return call(fn, h, [&](XeloraAlgo& a, const char*) {
        Point2dList list;
        (a.*member)(image, list);
        checkCapacity(list.size(), capacity, pointCount, fn, "points");
        fromList(list, points);
    });
}

}  // namespace

extern "C" {

int xelora_CalLineCenter(xelora_handle* h, int row, const int* positions, size_t positionCount, const int* weights,
                         size_t weightCount, double centre[2]) {
    return call(__func__, h, [&](XeloraAlgo& a, const char* fn) {
        requireArray(centre, 2, fn, "centre");
        std::array<double, 2> c{centre[0], centre[1]};
        a.CalLineCenter(row, toInts(positions, positionCount, fn, "positions"),
                        toInts(weights, weightCount, fn, "weights"), c);
        centre[0] = c[0];
        centre[1] = c[1];
    });
}

int xelora_CalLineCenter_new(xelora_handle* h, int index, int start, int count, const int* weights,
                             double centre[2]) {
    return call(__func__, h, [&](XeloraAlgo& a, const char* fn) {
        requireArray(centre, 2, fn, "centre");
        std::array<double, 2> c{centre[0], centre[1]};
        a.CalLineCenter_new(index, start, count, weights, c);
        centre[0] = c[0];
        centre[1] = c[1];
    });
}

int xelora_lineExtract4(xelora_handle* h, bool flag, unsigned char* image, double* points, size_t pointCount,
                        bool* mask, int p1, int p2, int p3, int p4, int p5, int offsetX, int offsetY) {
    return call(__func__, h, [&](XeloraAlgo& a, const char* fn) {
        inPlace<2>(points, pointCount, fn, "points", [&](Point2dList& list) {
            a.lineExtract4(flag, image, list, mask, p1, p2, p3, p4, p5, std::array<int, 2>{offsetX, offsetY});
        });
    });
}

int xelora_lineExtract5(xelora_handle* h, unsigned char* image, double* points, size_t pointCount, bool* mask,
                        int q1, int q2, int rangeFirst, int rangeSecond, int narrowRunSpan, int rowBandSpan) {
    return call(__func__, h, [&](XeloraAlgo& a, const char* fn) {
        inPlace<2>(points, pointCount, fn, "points", [&](Point2dList& list) {
            a.lineExtract5(image, list, mask, q1, q2, std::array<int, 2>{rangeFirst, rangeSecond}, narrowRunSpan,
                           rowBandSpan);
        });
    });
}

int xelora_GetCloudPoint_New_600_1(xelora_handle* h, unsigned char* image, double* points, size_t capacity,
                                   size_t* pointCount) {
    return cloudPoint(__func__, h, image, points, capacity, pointCount, &XeloraAlgo::GetCloudPoint_New_600_1);
}
int xelora_GetCloudPoint_New_600_2(xelora_handle* h, unsigned char* image, double* points, size_t capacity,
                                   size_t* pointCount) {
    return cloudPoint(__func__, h, image, points, capacity, pointCount, &XeloraAlgo::GetCloudPoint_New_600_2);
}

int xelora_UndistortPoints2(xelora_handle* h, bool firstCamera, double* points, size_t pointCount) {
    return call(__func__, h, [&](XeloraAlgo& a, const char* fn) {
        inPlace<2>(points, pointCount, fn, "points", [&](Point2dList& list) { a.UndistortPoints2(firstCamera, list); });
    });
}

int xelora_MatchLine(xelora_handle* h, const double* points1, size_t count1, const double* points2, size_t count2,
                     bool* mask1, bool* mask2, int* matches, size_t matchCount) {
    return call(__func__, h, [&](XeloraAlgo& a, const char* fn) {
        std::vector<int> m = toInts(matches, matchCount, fn, "matches");
        a.MatchLine(toList<2>(points1, count1, fn, "points1"), toList<2>(points2, count2, fn, "points2"), mask1, mask2,
                    m);
        for (size_t i = 0; i < matchCount && i < m.size(); ++i) matches[i] = m[i];
    });
}

int xelora_Calpoint(xelora_handle* h, const double* points1, size_t count1, const double* points2, size_t count2,
                    bool* mask, const int* matches, size_t matchCount, double* cloud, size_t cloudCapacity,
                    size_t* cloudCount, double* pixelDepth, size_t pixelDepthCapacity, size_t* pixelDepthCount) {
    return call(__func__, h, [&](XeloraAlgo& a, const char* fn) {
        Point3dList c, d;
        a.Calpoint(toList<2>(points1, count1, fn, "points1"), toList<2>(points2, count2, fn, "points2"), mask,
                   toInts(matches, matchCount, fn, "matches"), c, d);
        // Both counts are reported even when the first capacity is already too small.
        checkCapacity(d.size(), d.size(), pixelDepthCount, fn, "pixelDepth");
        checkCapacity(c.size(), cloudCapacity, cloudCount, fn, "cloud");
        checkCapacity(d.size(), pixelDepthCapacity, pixelDepthCount, fn, "pixelDepth");
        fromList(c, cloud);
        fromList(d, pixelDepth);
    });
}

int xelora_Calpoint_smooth(xelora_handle* h, const double* points1, size_t count1, const double* points2,
                           size_t count2, int halfWindow, bool* mask, const int* matches, size_t matchCount,
                           double* cloud, size_t cloudCapacity, size_t* cloudCount) {
    return call(__func__, h, [&](XeloraAlgo& a, const char* fn) {
        Point3dList c;
        a.Calpoint_smooth(toList<2>(points1, count1, fn, "points1"), toList<2>(points2, count2, fn, "points2"),
                          halfWindow, mask, toInts(matches, matchCount, fn, "matches"), c);
        checkCapacity(c.size(), cloudCapacity, cloudCount, fn, "cloud");
        fromList(c, cloud);
    });
}

int xelora_FitLineFunction_V(xelora_handle* h, double* points, size_t pointCount, int halfWindow, bool enable) {
    return call(__func__, h, [&](XeloraAlgo& a, const char* fn) {
        inPlace<2>(points, pointCount, fn, "points",
                   [&](Point2dList& list) { a.FitLineFunction_V(list, halfWindow, enable); });
    });
}

int xelora_Gaussianfilter(xelora_handle* h, double* points, size_t pointCount, int halfWindow) {
    return call(__func__, h, [&](XeloraAlgo& a, const char* fn) {
        inPlace<2>(points, pointCount, fn, "points", [&](Point2dList& list) { a.Gaussianfilter(list, halfWindow); });
    });
}

}  // extern "C"
