// Special values of the float functions (C99 Annex F), the array forms against the scalar ones, and
// the square roots.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "check/SampleInputs.h"
#include "numerics.h"

namespace num = XELORAALGO::num;

namespace {

const float kInf = std::numeric_limits<float>::infinity();
const float kNaN = std::numeric_limits<float>::quiet_NaN();

std::uint32_t bits(float f) {
    std::uint32_t b;
    std::memcpy(&b, &f, sizeof b);
    return b;
}

// Same float, zeros by their sign, any NaN equal to any NaN.
::testing::AssertionResult sameFloat(float got, float want) {
    if ((std::isnan(got) && std::isnan(want)) || bits(got) == bits(want)) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "got " << std::hexfloat << got << ", want " << want;
}

// The float nearest to pi, pi/2, pi/4 and 3 pi/4 (each the double constant rounded once; none of
// these doubles is near a float rounding boundary).
const float kPiF = static_cast<float>(3.14159265358979323846);
const float kPio2F = static_cast<float>(1.57079632679489661923);
const float kPio4F = static_cast<float>(0.78539816339744830962);
const float k3Pio4F = static_cast<float>(2.35619449019234492885);

}  // namespace

TEST(Numerics, SineAndCosineKeepSignedZerosAndRejectInfinities) {
    EXPECT_TRUE(sameFloat(num::sinf(0.0f), 0.0f));
    EXPECT_TRUE(sameFloat(num::sinf(-0.0f), -0.0f));
    EXPECT_TRUE(sameFloat(num::cosf(-0.0f), 1.0f));
    for (float v : {kInf, -kInf, kNaN}) {
        EXPECT_TRUE(std::isnan(num::sinf(v))) << v;
        EXPECT_TRUE(std::isnan(num::cosf(v))) << v;
    }
    // Odd and even symmetry holds bit for bit, also for huge arguments (exact reduction).
    for (float v : {1e-30f, 0.5f, 3.0f, 1e5f, 1e22f, 3.4e38f}) {
        EXPECT_TRUE(sameFloat(num::sinf(-v), -num::sinf(v))) << v;
        EXPECT_TRUE(sameFloat(num::cosf(-v), num::cosf(v))) << v;
    }
    // sin x rounds to x below 2^-12 (the cubic term is under a quarter ulp).
    EXPECT_TRUE(sameFloat(num::sinf(1e-5f), 1e-5f));
    EXPECT_TRUE(sameFloat(num::sinf(std::numeric_limits<float>::denorm_min()), std::numeric_limits<float>::denorm_min()));
}

TEST(Numerics, ExponentialOverflowsAndUnderflowsThroughTheSubnormals) {
    EXPECT_TRUE(sameFloat(num::expf(0.0f), 1.0f));
    EXPECT_TRUE(sameFloat(num::expf(-0.0f), 1.0f));
    EXPECT_TRUE(sameFloat(num::expf(kInf), kInf));
    EXPECT_TRUE(sameFloat(num::expf(-kInf), 0.0f));
    EXPECT_TRUE(std::isnan(num::expf(kNaN)));
    // ln(FLT_MAX) = 88.7228391...: the largest float below it stays finite, the next overflows.
    EXPECT_TRUE(std::isfinite(num::expf(88.72283f)));
    EXPECT_TRUE(sameFloat(num::expf(88.72284f), kInf));
    // Subnormal results: e^-100 = 3.72e-44, between 26 and 27 times 2^-149 (1.401e-45), nearer 27.
    EXPECT_TRUE(sameFloat(num::expf(-100.0f), 27 * std::numeric_limits<float>::denorm_min()));
    // ln(2^-149) = -103.2789...; e^-103.97 is just above half of 2^-149 and rounds up to it,
    // e^-104 is below half of it and rounds to +0.
    EXPECT_TRUE(sameFloat(num::expf(-103.2789f), std::numeric_limits<float>::denorm_min()));
    EXPECT_TRUE(sameFloat(num::expf(-103.97f), std::numeric_limits<float>::denorm_min()));
    EXPECT_TRUE(sameFloat(num::expf(-104.0f), 0.0f));
}

TEST(Numerics, ArcTangentAndArcCosineAtTheirLimits) {
    EXPECT_TRUE(sameFloat(num::atanf(0.0f), 0.0f));
    EXPECT_TRUE(sameFloat(num::atanf(-0.0f), -0.0f));
    EXPECT_TRUE(sameFloat(num::atanf(kInf), kPio2F));
    EXPECT_TRUE(sameFloat(num::atanf(-kInf), -kPio2F));
    EXPECT_TRUE(sameFloat(num::atanf(1.0f), kPio4F));
    EXPECT_TRUE(sameFloat(num::atanf(-1e30f), -kPio2F));
    EXPECT_TRUE(std::isnan(num::atanf(kNaN)));
    EXPECT_TRUE(sameFloat(num::acosf(1.0f), 0.0f));
    EXPECT_TRUE(sameFloat(num::acosf(-1.0f), kPiF));
    EXPECT_TRUE(sameFloat(num::acosf(0.0f), kPio2F));
    EXPECT_TRUE(sameFloat(num::acosf(-0.0f), kPio2F));
    for (float v : {1.0000001f, -1.0000001f, kInf, -kInf, kNaN}) EXPECT_TRUE(std::isnan(num::acosf(v))) << v;
}

TEST(Numerics, ArcTangentOfTwoArgumentsFollowsTheSignsOfZerosAndInfinities) {
    struct Case {
        float y, x, want;
    };
    const Case cases[] = {
        {0.0f, 0.0f, 0.0f},        {-0.0f, 0.0f, -0.0f},      {0.0f, -0.0f, kPiF},      {-0.0f, -0.0f, -kPiF},
        {0.0f, 5.0f, 0.0f},        {-0.0f, 5.0f, -0.0f},      {0.0f, -5.0f, kPiF},      {-0.0f, -5.0f, -kPiF},
        {3.0f, 0.0f, kPio2F},      {3.0f, -0.0f, kPio2F},     {-3.0f, 0.0f, -kPio2F},   {-3.0f, -0.0f, -kPio2F},
        {kInf, 7.0f, kPio2F},      {-kInf, -7.0f, -kPio2F},   {7.0f, kInf, 0.0f},       {-7.0f, kInf, -0.0f},
        {7.0f, -kInf, kPiF},       {-7.0f, -kInf, -kPiF},     {kInf, kInf, kPio4F},     {-kInf, kInf, -kPio4F},
        {kInf, -kInf, k3Pio4F},    {-kInf, -kInf, -k3Pio4F},  {2.0f, 2.0f, kPio4F},     {-2.0f, -2.0f, -k3Pio4F},
        {1e-30f, -1e30f, kPiF},    {-1e30f, 1e-30f, -kPio2F},
    };
    for (const Case& c : cases) EXPECT_TRUE(sameFloat(num::atan2f(c.y, c.x), c.want)) << c.y << ", " << c.x;
    EXPECT_TRUE(std::isnan(num::atan2f(kNaN, 1.0f)));
    EXPECT_TRUE(std::isnan(num::atan2f(1.0f, kNaN)));
}

TEST(Numerics, SquareRootsAreTheCorrectlyRoundedIeeeRoots) {
    EXPECT_EQ(num::sqrt(2.0), 0x1.6a09e667f3bcdp+0);
    EXPECT_EQ(num::sqrtf(2.0f), 0x1.6a09e6p+0f);
    EXPECT_EQ(num::sqrt(0x1p-1074), 0x1p-537);
    EXPECT_TRUE(sameFloat(num::sqrtf(-0.0f), -0.0f));
    EXPECT_TRUE(std::isnan(num::sqrtf(-1.0f)));
    EXPECT_EQ(num::sqrtf(kInf), kInf);
    // For random x, r = sqrtf(x) is nearest: (r - ulp/2)^2 <= x <= (r + ulp/2)^2 exactly in double.
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> d(0.0f, 1e6f);
    for (int i = 0; i < 10000; ++i) {
        const float x = d(rng);
        const double r = num::sqrtf(x), h = 0.5 * (std::nextafter(static_cast<float>(r), kInf) - r);
        ASSERT_LE((r - h) * (r - h), x);
        ASSERT_GE((r + h) * (r + h), x);
    }
}

// The array forms on the inputs of the sampled MPFR comparison, for every usable instruction set, with
// lengths that leave partial blocks.
class ArrayForms : public ::testing::TestWithParam<num::Isa> {
protected:
    void SetUp() override {
        if (!num::isaUsable(GetParam())) GTEST_SKIP() << "instruction set not available here";
    }
};

TEST_P(ArrayForms, EqualTheScalarFunctionsLaneForLane) {
    const auto hard = hardCases(XELORA_NUMERICS_HARD_CASES);
    for (const char* name : {"sinf", "expf"}) {
        std::vector<float> x = sampleInputs(name, 200003, hard);
        std::vector<float> out(x.size());
        const bool sine = name[0] == 's';
        if (sine)
            num::sinf(x.data(), out.data(), x.size(), GetParam());
        else
            num::expf(x.data(), out.data(), x.size(), GetParam());
        for (std::size_t i = 0; i < x.size(); ++i)
            ASSERT_TRUE(sameFloat(out[i], sine ? num::sinf(x[i]) : num::expf(x[i]))) << name << "(" << std::hexfloat << x[i] << ")";
    }
    std::vector<float> y, x;
    sampleAtan2Inputs(200003, y, x);
    std::vector<float> out(x.size());
    num::atan2f(y.data(), x.data(), out.data(), x.size(), GetParam());
    for (std::size_t i = 0; i < x.size(); ++i)
        ASSERT_TRUE(sameFloat(out[i], num::atan2f(y[i], x[i]))) << std::hexfloat << "atan2f(" << y[i] << ", " << x[i] << ")";
}

INSTANTIATE_TEST_SUITE_P(Numerics, ArrayForms, ::testing::Values(num::Isa::Sse2, num::Isa::Avx2, num::Isa::Avx512),
    [](const ::testing::TestParamInfo<num::Isa>& info) {
        return info.param == num::Isa::Sse2 ? "Sse2" : info.param == num::Isa::Avx2 ? "Avx2" : "Avx512";
    });
