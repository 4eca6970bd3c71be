// The double-double paths of the float functions, taken only when the double kernel's result lies
// too close to a float rounding boundary. Each returns the function value with a relative error
// below 2^-95 (the reductions are exact or carry at most 2^-104; the series are summed until the
// next term is below 2^-108 of the sum), rounded to float through dd::toFloat.
#include "LaneKernels.h"

#include <cstdint>

namespace XELORAALGO::num::detail {

using dd::DD;

namespace {

// first - first z / ((n0 - 1) n0) + ... : the Taylor series of sin r (first = r, n0 = 3) and of cos r
// (first = 1, n0 = 2) in z = r^2, to the power nLast. For |r| <= pi/4 + 2^-20, nLast = 29 (sine) and
// 30 (cosine) leave out less than 2^-110 relative.
DD alternatingSeries(DD first, DD z, int n0, int nLast) {
    DD term = first;
    DD sum = first;
    for (int n = n0; n <= nLast; n += 2) {
        term = dd::div(dd::neg(dd::mul(term, z)), dd::make(static_cast<double>((n - 1) * n)));
        sum = dd::add(sum, term);
    }
    return sum;
}

constexpr double kPio4 = 0x1.921fb54442d18p-1;

}  // namespace

float sinCosAccurate(float x, bool cosine) {
    const float ax = x < 0.0f ? -x : x;
    DD r;
    int q = 0;
    if (ax <= kPio4) {
        r = dd::make(ax);
    } else {
        r = reduceLarge(ax, q);
    }
    // sin(-x) = -sin x, cos(-x) = cos x.
    const bool negate = !cosine && x < 0.0f;
    if (cosine) q = (q + 1) & 3;
    const DD z = dd::mul(r, r);
    DD y = (q & 1) ? alternatingSeries(dd::make(1.0), z, 2, 30) : alternatingSeries(r, z, 3, 29);
    if ((q & 2) != 0) y = dd::neg(y);
    if (negate) y = dd::neg(y);
    return dd::toFloat(y);
}

namespace {

// e^x for 2^-28 <= |x| <= 2^-8, where the table kernel could not decide: 1 + x is exact in double,
// the tail x^2/2 + ... + x^6/720 carries a relative error below 2^-51 (|tail| < 2^-17) and leaves
// out less than 2^-68, so e^x lies within 2^-67 of the exact sum s of 1 + x and the tail. The float
// nearest to e^x is the one of s unless s lies within 2^-64 of a rounding boundary; then this
// returns false and the series below decides. Such arguments (e^x near a float midpoint, as for x an
// odd multiple of 2^-25 below 0) are common in filters whose arguments are short multiples of
// powers of two.
bool expNearZero(double x, float& out) {
    const double tail = (x * x) * (0.5 + x * (1.0 / 6.0 + x * (1.0 / 24.0 + x * (1.0 / 120.0 + x * (1.0 / 720.0)))));
    const DD s = dd::twoSum(1.0 + x, tail);
    constexpr double kBound = 0x1p-64;
    const float below = dd::toFloat(dd::fastTwoSum(s.hi, s.lo - kBound));
    const float above = dd::toFloat(dd::fastTwoSum(s.hi, s.lo + kBound));
    out = above;
    return below == above;
}

}  // namespace

float expAccurate(float xf) {
    const float ax = xf < 0.0f ? -xf : xf;
    float near;
    if (ax >= 0x1p-28f && ax <= 0x1p-8f && expNearZero(xf, near)) return near;
    // ln2 = L1 + L2 + L3 with L1 of 44 significant bits: k * L1 is exact for |k| < 2^9 and
    // x - k * L1 is exact (multiples of 2^-44 below 1/2 in magnitude).
    constexpr double kL1 = 0x1.62e42fefa3ap-1;
    constexpr double kL2 = -0x1.0ca86c3898dp-49;
    constexpr double kL3 = 0x1.f97b57a079a19p-103;
    const double x = xf;
    const double k = nearestIntV(x * 0x1.71547652b82fep+0);
    DD r = dd::make(x - k * kL1);
    r = dd::sub(r, dd::mulD(DD{kL2, kL3}, k));
    // e^r = (e^(r / 256))^256; |r / 256| < 2^-9.5, its series to the 10th power is exact to 2^-115.
    const DD s{r.hi * 0x1p-8, r.lo * 0x1p-8};
    DD term = dd::make(1.0);
    DD sum = term;
    for (int n = 1; n <= 10; ++n) {
        term = dd::div(dd::mul(term, s), dd::make(static_cast<double>(n)));
        sum = dd::add(sum, term);
    }
    for (int i = 0; i < 8; ++i) sum = dd::mul(sum, sum);
    const double scale = dd::fromBits(static_cast<std::uint64_t>(1023 + static_cast<std::int64_t>(k)) << 52);
    return dd::toFloat(DD{sum.hi * scale, sum.lo * scale});
}

DD atanAccurate(DD t) {
    const bool inverted = t.hi > 1.0;
    if (inverted) t = dd::div(dd::make(1.0), t);
    const double i = nearestIntV(t.hi * 8.0);
    const double c = i * 0.125;
    const DD u = dd::div(dd::sub(t, dd::make(c)), dd::add(dd::make(1.0), dd::mulD(t, c)));
    // atan u = u - u^3/3 + u^5/5 - ... for |u| <= 1/16: to u^29 (next term below 2^-115 relative).
    const DD z = dd::mul(u, u);
    DD power = u;
    DD sum = u;
    for (int n = 3; n <= 29; n += 2) {
        power = dd::neg(dd::mul(power, z));
        sum = dd::add(sum, dd::div(power, dd::make(static_cast<double>(n))));
    }
    DD v = dd::add(kAtanEighths[static_cast<int>(i)], sum);
    if (inverted) v = dd::sub(DD{kPio2Hi, kPio2Lo}, v);
    return v;
}

}  // namespace XELORAALGO::num::detail
