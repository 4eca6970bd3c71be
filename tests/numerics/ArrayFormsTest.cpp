// The array forms where the vector code must hand lanes to the scalar function or keep them apart:
// special inputs, out-of-range inputs and arguments of every sign mixed into blocks of ordinary
// ones at every lane position, every length up to a few blocks (partial blocks, unaligned
// pointers). Each output must equal the scalar function's, for every usable instruction set.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "Kernels.h"
#include "numerics.h"

namespace num = XELORAALGO::num;

namespace {

const float kInf = std::numeric_limits<float>::infinity();
const float kNaN = std::numeric_limits<float>::quiet_NaN();

bool same(float a, float b) {
    std::uint32_t x, y;
    std::memcpy(&x, &a, sizeof x);
    std::memcpy(&y, &b, sizeof y);
    return (std::isnan(a) && std::isnan(b)) || x == y;
}

// n values: ordinary ones from [lo, hi] with, from a seeded draw, about one lane in three replaced
// by one of the specials (so a block holds none, one or several, at any position).
std::vector<float> mixed(std::size_t n, float lo, float hi, const std::vector<float>& specials, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> ordinary(lo, hi);
    std::uniform_int_distribution<std::size_t> pick(0, 3 * specials.size() - 1);
    std::vector<float> v(n);
    for (float& x : v) {
        const std::size_t k = pick(rng);
        x = k < specials.size() ? specials[k] : ordinary(rng);
    }
    return v;
}

const char* isaName(num::Isa isa) {
    return isa == num::Isa::Sse2 ? "Sse2" : isa == num::Isa::Avx2 ? "Avx2" : "Avx512";
}

class ArrayFormLanes : public ::testing::TestWithParam<num::Isa> {
protected:
    void SetUp() override {
        if (!num::isaUsable(GetParam())) GTEST_SKIP() << "instruction set not available here";
    }
};

// Every length from 0 to 3 blocks of 16 plus one, and one long array; the arrays start one float
// past the vectors' (aligned) storage.
template <class Check>
void forEveryLength(Check check) {
    for (std::size_t n = 0; n <= 49; ++n) check(n);
    check(4099);
}

using UnaryArray = void (*)(const float*, float*, std::size_t, num::Isa);

// The array form against the scalar function on mixed inputs of every length.
template <class Scalar>
void checkUnary(const char* name, UnaryArray array, Scalar scalar, float lo, float hi, const std::vector<float>& specials,
                num::Isa isa) {
    forEveryLength([&](std::size_t n) {
        const std::vector<float> x = mixed(n + 1, lo, hi, specials, static_cast<unsigned>(n) + name[0]);
        std::vector<float> out(n + 1, 7.0f);
        array(x.data() + 1, out.data() + 1, n, isa);
        ASSERT_EQ(out[0], 7.0f) << "wrote before the output";
        for (std::size_t i = 1; i <= n; ++i)
            ASSERT_TRUE(same(out[i], scalar(x[i]))) << isaName(isa) << " n " << n << " " << name << "(" << std::hexfloat << x[i] << ")";
    });
}

TEST_P(ArrayFormLanes, ExpfKeepsSpecialAndOutOfRangeLanesApart) {
    // NaN, infinities, zeros, subnormals, the ends of the kernel's range [-104, 89] and beyond
    // them (underflow to subnormal and zero, overflow to infinity), and tiny arguments of both signs.
    const std::vector<float> specials = {kNaN, kInf, -kInf, 0.0f, -0.0f, 1e-40f, -1e-40f, -104.0f,
        std::nextafter(-104.0f, -kInf), 89.0f, std::nextafter(89.0f, kInf), -150.0f, -87.5f, 88.7f, 88.73f, 1000.0f,
        -1000.0f, 0x1p-30f, -0x1p-30f};
    checkUnary("expf", num::expf, [](float v) { return num::expf(v); }, -110.0f, 95.0f, specials, GetParam());
}

TEST_P(ArrayFormLanes, SinfKeepsSpecialAndOutOfRangeLanesApart) {
    // The kernel covers 2^-125 <= |x| < 2^9: its limits, tiny and huge arguments, and floats next
    // to multiples of pi/2 (where the sine is small or the table index wraps).
    const std::vector<float> specials = {kNaN, kInf, -kInf, 0.0f, -0.0f, 1e-40f, -1e-40f, 0x1p-125f,
        std::nextafter(0x1p-125f, 0.0f), -0x1p-125f, 512.0f, std::nextafter(512.0f, 0.0f), -512.0f, 1e30f, -1e30f,
        3.14159274f, -3.14159274f, 6.28318548f, 1.57079637f, 355.0f, -355.0f};
    checkUnary("sinf", num::sinf, [](float v) { return num::sinf(v); }, -600.0f, 600.0f, specials, GetParam());
}

TEST_P(ArrayFormLanes, Atan2fKeepsQuadrantsSignsAndSpecialLanesApart) {
    // Signed zeros, infinities and NaN in either argument; quotients below the first point of the
    // table and above the last (and beyond the 2^100 clamp); every quadrant from the signs.
    const std::vector<float> specials = {kNaN, kInf, -kInf, 0.0f, -0.0f, 1e-40f, -1e-40f, 1e-30f, -1e-30f,
        1e30f, -1e30f, 0x1p-5f, 0x1p6f, -0x1p6f, 3e38f, -3e38f};
    forEveryLength([&](std::size_t n) {
        const std::vector<float> y = mixed(n + 1, -300.0f, 300.0f, specials, 200 + static_cast<unsigned>(n));
        const std::vector<float> x = mixed(n + 1, -300.0f, 300.0f, specials, 300 + static_cast<unsigned>(n));
        std::vector<float> out(n + 1, 7.0f);
        num::atan2f(y.data() + 1, x.data() + 1, out.data() + 1, n, GetParam());
        ASSERT_EQ(out[0], 7.0f) << "wrote before the output";
        for (std::size_t i = 1; i <= n; ++i)
            ASSERT_TRUE(same(out[i], num::atan2f(y[i], x[i])))
                << isaName(GetParam()) << " n " << n << std::hexfloat << " atan2f(" << y[i] << ", " << x[i] << ")";
    });
}

INSTANTIATE_TEST_SUITE_P(Numerics, ArrayFormLanes, ::testing::Values(num::Isa::Sse2, num::Isa::Avx2, num::Isa::Avx512),
    [](const ::testing::TestParamInfo<num::Isa>& info) { return isaName(info.param); });

}  // namespace

// The short exp kernel of the AVX-512 loops (arguments in (-87, 0), a shorter polynomial, a wider
// rounding test and a 2-ulp test above -2^-10) must give expf's bits wherever it settles a lane, and
// hand the rest to expf: arguments of quantised differences (-j * 2^-25, whose e^q lie near the
// midpoints below 1), both sides of each bound of its ranges, and ordinary arguments, at every lane.
TEST(ArrayForms, ShortExpKernelEqualsExpf) {
    // (widestIsa: not on Windows, whose stack keeps no 64-byte alignment for AVX-512 registers.)
    if (num::widestIsa() != num::Isa::Avx512) GTEST_SKIP() << "AVX-512 not available here";
    std::vector<float> x;
    for (int j = 1; j < 40000; ++j) x.push_back(-static_cast<float>(j) * 0x1p-25f);
    for (float bound : {-87.0f, -0x1p-10f, -0x1p-25f, -104.0f}) {
        float v = bound;
        for (int i = 0; i < 20; ++i) v = std::nextafter(v, 0.0f);
        for (int i = 0; i < 40; ++i, v = std::nextafter(v, -kInf)) x.push_back(v);
    }
    const std::vector<float> ordinary = mixed(50000, -90.0f, 0.0f, {kNaN, -kInf, 0.0f, -0.0f, 1.0f, -1e-40f}, 5);
    x.insert(x.end(), ordinary.begin(), ordinary.end());
    for (std::size_t shift = 0; shift < 16; shift += 5) {
        std::vector<float> out(x.size() - shift);
        XELORAALGO::num::detail::expfShortArrayAvx512(x.data() + shift, out.data(), out.size());
        for (std::size_t i = 0; i < out.size(); ++i)
            ASSERT_TRUE(same(out[i], num::expf(x[i + shift]))) << "expf(" << std::hexfloat << x[i + shift] << ")";
    }
}
