// exp of a double, correctly rounded (round to nearest, ties to even), with overflow to +inf and
// underflow through the subnormals to +0.
// Fast path: double-double evaluation, relative error below 2^-94, accepted when the whole error
// interval rounds to one double (Ziv's test). Otherwise, and for results near the ends of the
// double range: the same method in 256-bit arithmetic (MultiWord.h), relative error below 2^-220.
#include "LaneKernels.h"
#include "MultiWord.h"
#include "numerics.h"

namespace XELORAALGO::num {
namespace {

using dd::DD;

constexpr double kInvLn2 = 0x1.71547652b82fep+0;
// ln2 = kL1 + kL2 + kL3 + O(2^-157); kL1 has 42 significant bits, so k * kL1 is exact for
// |k| < 2^11, and x - k * kL1 is exact (Sterbenz: k * kL1 lies within a factor 2 of x when k != 0).
constexpr double kL1 = 0x1.62e42fefa38p-1;
constexpr double kL2 = 0x1.ef35793c7673p-45;
constexpr double kL3 = 0x1.f97b57a079a19p-103;

double powerOfTwo(int p) {  // 2^p for -1022 <= p <= 1023
    return dd::fromBits(static_cast<unsigned long long>(p + 1023) << 52);
}

// e^r for |r| <= 0.35 as a double-double: the series of e^(r/256) to the 10th power (remainder below
// 2^-125), squared eight times (each squaring at most doubles the relative error): below 2^-95.
DD expReduced(DD r) {
    const DD s{r.hi * 0x1p-8, r.lo * 0x1p-8};
    DD term = dd::make(1.0);
    DD sum = term;
    for (int n = 1; n <= 10; ++n) {
        term = dd::divD(dd::mul(term, s), static_cast<double>(n));
        sum = dd::add(sum, term);
    }
    for (int i = 0; i < 8; ++i) sum = dd::mul(sum, sum);
    return sum;
}

// The same in 256-bit arithmetic: e^(r / 2^16) by its series to the 16th power (remainder below
// 2^-300), squared 16 times; ln2 to 256 bits. Relative error below 2^-220.
double expAccurateDouble(double x, double k) {
    const mw::Mw ln2 = mw::fromWords(0xb17217f7d1cf79abull, 0xc9e3b39803f2f6afull, 0x40f343267298b62dull,
                                     0x8a0d175b8baafa2cull, 0);
    const long long ki = static_cast<long long>(k);
    mw::Mw kln2 = ki == 0 ? mw::Mw{} : mw::mulSmall(ln2, static_cast<mw::u64>(ki < 0 ? -ki : ki));
    if (ki < 0) kln2 = mw::neg(kln2);
    const mw::Mw s = mw::scale(mw::sub(mw::fromDouble(x), kln2), -16);
    mw::Mw term = mw::fromDouble(1.0);
    mw::Mw sum = term;
    for (unsigned n = 1; n <= 16; ++n) {
        term = mw::divSmall(mw::mul(term, s), n);
        sum = mw::add(sum, term);
    }
    for (int i = 0; i < 16; ++i) sum = mw::mul(sum, sum);
    return mw::toDouble(mw::scale(sum, static_cast<int>(ki)));
}

}  // namespace

namespace detail {
double expAccurateForTest(double x) { return expAccurateDouble(x, nearestIntV(x * kInvLn2)); }
}  // namespace detail

double exp(double x) {
    if (x != x) return x + x;
    if (x > 710.0) return 0x1p1023 * 2.0;  // +inf (also for x = +inf)
    if (x < -746.0) return 0.0;            // e^-746 < 2^-1076
    const double k = detail::nearestIntV(x * kInvLn2);
    if (k < -960.0 || k > 1000.0) return expAccurateDouble(x, k);
    DD r = dd::make(x - k * kL1);
    r = dd::sub(r, dd::mulD(DD{kL2, kL3}, k));
    const DD v = expReduced(r);
    const int ki = static_cast<int>(k);
    const double scale = powerOfTwo(ki);  // exact scaling: the result and its low part stay normal
    const double hi = v.hi * scale, lo = v.lo * scale;
    const double e = hi * 0x1p-92;
    const double a = hi + (lo - e), b = hi + (lo + e);
    if (a == b) return a;
    return expAccurateDouble(x, k);
}

}  // namespace XELORAALGO::num
