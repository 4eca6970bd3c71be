// Misuse of the depth-map filters: an order statistic outside 0 ... 8 and a negative outlier
// radius are refused before the map is touched; the limits themselves are valid.
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "MisuseTestUtil.h"
#include "XeloraAlgo.h"

using XELORAALGO::XeloraAlgo;

namespace {
constexpr int kW = 5, kH = 4;
constexpr std::size_t kN = kW * kH;

struct PointMap {
    std::vector<float> X = std::vector<float>(kN), Y = X, Z = X;
    std::vector<unsigned char> mask = std::vector<unsigned char>(kN, 1);
    PointMap() {
        for (std::size_t i = 0; i < kN; ++i) {
            X[i] = static_cast<float>(i % kW);
            Y[i] = static_cast<float>(i / kW);
            Z[i] = 100.0f + static_cast<float>((i * 37) % 11);
        }
        Z[7] = 900.0f;  // an outlier for any radius >= 1
    }
    bool* m() { return reinterpret_cast<bool*>(mask.data()); }
    bool operator==(const PointMap& o) const { return X == o.X && Y == o.Y && Z == o.Z && mask == o.mask; }
};

void setRoi(XeloraAlgo& algo) {
    XELORAALGO::tagXeloraAlgoROIInfo roi{0, 0, kW, kH};
    algo.SetROIInfo(&roi);
}
}  // namespace

TEST(DepthFilterMisuse, OrderAndRadiusOutsideTheirRangeAreRefused) {
    XeloraAlgo algo;
    setRoi(algo);
    for (int order : {-1, 9, INT_MIN, INT_MAX}) {
        PointMap p;
        const PointMap before = p;
        misusetest::expectInvalid([&] { algo.MediaFilter(p.Z.data(), order); },
                                  "MediaFilter: order must be in [0, 8], got " + std::to_string(order));
        EXPECT_TRUE(p == before);
    }
    for (int radius : {-1, INT_MIN}) {
        PointMap p;
        const PointMap before = p;
        misusetest::expectInvalid([&] { algo.Outlierdetect(p.X.data(), p.Y.data(), p.Z.data(), p.m(), radius, 2.0f); },
                                  "Outlierdetect: radius must be >= 0, got " + std::to_string(radius));
        EXPECT_TRUE(p == before);
    }
    // The ends of the ranges are valid: order 0 (maximum) and 8 (minimum) change the interior, radius 0
    // removes nothing, and a radius far beyond the ROI removes every point (its threshold 2 r^2 exceeds
    // the ROI's pixel count) without overflowing.
    for (int order : {0, 8}) {
        PointMap p;
        EXPECT_NO_THROW(algo.MediaFilter(p.Z.data(), order));
        EXPECT_NE(p.Z, PointMap().Z) << order;
    }
    PointMap zero;
    algo.Outlierdetect(zero.X.data(), zero.Y.data(), zero.Z.data(), zero.m(), 0, 2.0f);
    EXPECT_TRUE(zero == PointMap());
    PointMap huge;
    algo.Outlierdetect(huge.X.data(), huge.Y.data(), huge.Z.data(), huge.m(), INT_MAX, 1e30f);
    for (std::size_t i = 0; i < kN; ++i) EXPECT_TRUE(huge.mask[i] == 0 && huge.Z[i] == 0.0f) << i;
}
