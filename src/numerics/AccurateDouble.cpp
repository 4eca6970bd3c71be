// The 256-bit paths of the double sine, cosine and arc tangent, taken only when the fast path's
// double-double lies too close to a rounding boundary. Inputs: doubles (or a 256-bit t >= 0);
// outputs: the correctly rounded double, or the 256-bit value. Every step truncates at 2^-255
// relative; the series are summed until the next term is below 2^-260 of the sum, the Newton
// iterations run to full precision: relative error below 2^-230.
#include "KernelsDouble.h"
#include "numerics.h"

namespace XELORAALGO::num::detail {
namespace {

using mw::Mw;

// sum of sign^k a^k / ((n0 + 2k - 1)(n0 + 2k)) ... : the Taylor series of sin r (first = r, n0 = 2:
// terms r^(2k+1)/(2k+1)!) and of cos r (first = 1, n0 = 1), |r| <= pi/4.
Mw sinCosSeries(const Mw& first, const Mw& z, unsigned n0) {
    Mw term = first;
    Mw sum = first;
    for (unsigned n = n0; n < 200; n += 2) {
        term = mw::neg(mw::divSmall(mw::mul(term, z), static_cast<mw::u64>(n) * (n + 1)));
        if (mw::isZero(term) || term.exponent < sum.exponent - 262) break;
        sum = mw::add(sum, term);
    }
    return sum;
}

// 1/sqrt(a) for a > 0 by Newton's iteration y <- y (3 - a y^2) / 2 from the double estimate.
Mw reciprocalSqrt(const Mw& a) {
    const double ad = mw::toDouble(a);
    Mw y = mw::fromDouble(1.0 / num::sqrt(ad));
    const Mw three = mw::fromDouble(3.0);
    for (int k = 0; k < 4; ++k) y = mw::scale(mw::mul(y, mw::sub(three, mw::mul(a, mw::mul(y, y)))), -1);
    return y;
}

}  // namespace

Mw reciprocal(const Mw& b) {
    // b = m 2^(e - 1) with m in [1, 2) (any exponent, beyond the double range too); 1/m by
    // y <- y + y (1 - m y) from the double estimate: 53, 106, 212 and then all 256 bits.
    const int shift = 1 - b.exponent;
    const Mw m = mw::scale(b, shift);
    Mw y = mw::fromDouble(1.0 / mw::toDouble(m));
    const Mw one = mw::fromDouble(1.0);
    for (int k = 0; k < 4; ++k) y = mw::add(y, mw::mul(y, mw::sub(one, mw::mul(m, y))));
    return mw::scale(y, shift);
}

double sinCosAccurate256(double x, bool cosine) {
    const double ax = x < 0 ? -x : x;
    int q = 0;
    Mw r = ax < 0.78 ? mw::fromDouble(ax) : reducePio2Accurate(ax, q);
    if (cosine) q = (q + 1) & 3;
    const Mw z = mw::mul(r, r);
    Mw y = (q & 1) ? sinCosSeries(mw::fromDouble(1.0), z, 1) : sinCosSeries(r, z, 2);
    if (q & 2) y = mw::neg(y);
    if (!cosine && x < 0) y = mw::neg(y);
    return mw::toDouble(y);
}

Mw atanAccurate256(const Mw& t) {
    const Mw one = mw::fromDouble(1.0);
    // atan t = pi/2 - atan(1/t) for t > 1; then three halvings atan t = 2 atan(t / (1 + sqrt(1 + t^2)))
    // bring t <= 1 below tan(pi/32) < 0.0985, where the series needs about 40 terms.
    const Mw excess = mw::sub(t, one);
    const bool inverted = !excess.negative && !mw::isZero(excess);
    Mw u = inverted ? reciprocal(t) : t;
    if (mw::isZero(u)) return inverted ? pio2Mw() : u;
    for (int k = 0; k < 3; ++k) {
        const Mw a = mw::add(one, mw::mul(u, u));
        const Mw s = mw::mul(a, reciprocalSqrt(a));
        u = mw::mul(u, reciprocal(mw::add(one, s)));
    }
    const Mw z = mw::mul(u, u);
    Mw power = u;
    Mw sum = u;
    for (unsigned n = 3; n < 400; n += 2) {
        power = mw::neg(mw::mul(power, z));
        const Mw term = mw::divSmall(power, n);
        if (term.exponent < sum.exponent - 262) break;
        sum = mw::add(sum, term);
    }
    sum = mw::scale(sum, 3);
    return inverted ? mw::sub(pio2Mw(), sum) : sum;
}

double atan2Accurate256(double ay, double ax, bool xNegative) {
    const Mw y = mw::fromDouble(ay);
    const Mw x = mw::fromDouble(ax);
    Mw a = atanAccurate256(mw::mul(y, reciprocal(x)));
    if (xNegative) a = mw::sub(mw::scale(pio2Mw(), 1), a);
    return mw::toDouble(a);
}

}  // namespace XELORAALGO::num::detail
