// Misuse and hostile data in the point-cloud members: a negative smoothing half-size is refused,
// SORfilter treats points whose coordinates are not finite in float as not valid (left out of the
// tree, returned as (0, 0, 0)) and refuses a k outside 1 ... the number of valid points.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "MisuseTestUtil.h"
#include "XeloraAlgo.h"

using XELORAALGO::Point3dList;
using XELORAALGO::XeloraAlgo;

namespace {

// A noisy plane of `n` points with z around 500 and one far point.
Point3dList plane(int n) {
    Point3dList c;
    for (int i = 0; i < n; ++i)
        c.push_back({static_cast<double>(i % 6), static_cast<double>(i / 6), 500.0 + 0.1 * ((i * 7) % 5)});
    c.push_back({2.0, 2.0, 530.0});
    return c;
}

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

}  // namespace

TEST(CloudMisuse, CloudSmoothRefusesANegativeHalfSize) {
    XeloraAlgo algo;
    XELORAALGO::tagXeloraAlgoROIInfo roi{0, 0, 4, 3};
    algo.SetROIInfo(&roi);
    Point3dList map;
    for (int i = 0; i < 12; ++i) map.push_back({0.1 * i, 0.2 * i, 100.0 + (i % 3)});
    for (int r : {-1, INT_MIN}) {
        Point3dList m = map;
        misusetest::expectInvalid([&] { algo.CloudSmooth(m, r, 10.0f); },
                                  "CloudSmooth: r must be >= 0, got " + std::to_string(r));
        EXPECT_EQ(m, map);
    }
    // A half-size beyond the ROI is valid: the window is cut to the grid, as with the ROI's own size.
    Point3dList huge = map, whole = map;
    algo.CloudSmooth(huge, INT_MAX, 10.0f);
    algo.CloudSmooth(whole, 4, 10.0f);
    EXPECT_EQ(huge, whole);
}

// Points with z > 0 whose coordinates are NaN, infinite, or too large for float are not valid: the
// rest of the cloud is filtered exactly as if they had been (0, 0, 0) from the start, and they come
// back as (0, 0, 0).
TEST(CloudMisuse, SorFilterTreatsNonFinitePointsAsNotValid) {
    const Point3dList poison = {{kNaN, 1.0, 500.0}, {1.0, kInf, 500.0}, {1.0, 1.0, kInf},
                                {1e300, 0.0, 500.0}, {0.0, -kInf, 1.0}, {0.0, 0.0, 1e39}};
    for (int n : {30, 8}) {  // enough valid points, and too few once the poisoned ones are left out
        SCOPED_TRACE(n);
        Point3dList hostile = plane(n), reference = plane(n);
        for (const auto& p : poison) {
            hostile.insert(hostile.begin() + 3, p);
            reference.insert(reference.begin() + 3, {0.0, 0.0, 0.0});
        }
        XeloraAlgo algo;
        algo.SORfilter(hostile, 5, 1.0f);
        algo.SORfilter(reference, 5, 1.0f);
        EXPECT_EQ(hostile, reference);
    }
    // Non-finite points and points with z <= 0 do not count as valid for the k limit either; a refused
    // call writes nothing, and the handle works normally afterwards.
    Point3dList c = plane(11);  // 12 finite points
    c.push_back({kNaN, 0.0, 10.0});
    c.push_back({1.0, 1.0, 0.0});
    const Point3dList before = c;
    XeloraAlgo algo;
    for (int k : {13, 0, -2, INT_MIN}) {
        misusetest::expectInvalid([&] { algo.SORfilter(c, k, 1.0f); },
                                  "SORfilter: k must be in [1, 12], the number of valid points, got " + std::to_string(k));
        EXPECT_EQ(std::memcmp(c.data(), before.data(), c.size() * sizeof c[0]), 0) << k;
    }
    Point3dList fresh = c;
    algo.SORfilter(c, 12, 1.0f);
    XeloraAlgo().SORfilter(fresh, 12, 1.0f);
    EXPECT_EQ(c, fresh);
}
