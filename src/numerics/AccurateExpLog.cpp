// e^w and log(x) in 256-bit arithmetic: the accurate paths of the double exp and pow.
// Inputs: a 256-bit w (|w| < 750) or a double x > 0; outputs: 256-bit values, returned by value.
#include "AccurateExpLog.h"

#include "ExpLogKernels.h"

namespace XELORAALGO::num::detail {

namespace {

const mw::Mw& ln2Mw() {
    static const mw::Mw v = mw::fromWords(0xb17217f7d1cf79abull, 0xc9e3b39803f2f6afull, 0x40f343267298b62dull,
                                          0x8a0d175b8baafa2cull, 0);
    return v;
}

mw::Mw fromDd(const dd::DD& v) { return mw::add(mw::fromDouble(v.hi), mw::fromDouble(v.lo)); }

}  // namespace

// w = k ln2 + r, |r| <= 0.35 (ln2 to 256 bits: k ln2 to |k| 2^-257); e^r as e^(r / 2^16) by its
// series to the 16th power (remainder below 2^-300), squared 16 times (each squaring at most doubles
// the relative error of 2^-250 of the series): below 2^-220 overall.
mw::Mw expMw(const mw::Mw& w) {
    const double k = nearestIntV(mw::toDouble(w) * 0x1.71547652b82fep+0);
    const long long ki = static_cast<long long>(k);
    mw::Mw kln2 = ki == 0 ? mw::Mw{} : mw::mulSmall(ln2Mw(), static_cast<mw::u64>(ki < 0 ? -ki : ki));
    if (ki < 0) kln2 = mw::neg(kln2);
    const mw::Mw s = mw::scale(mw::sub(w, kln2), -16);
    mw::Mw term = mw::fromDouble(1.0);
    mw::Mw sum = term;
    for (unsigned n = 1; n <= 16; ++n) {
        term = mw::divSmall(mw::mul(term, s), n);
        sum = mw::add(sum, term);
    }
    for (int i = 0; i < 16; ++i) sum = mw::mul(sum, sum);
    return mw::scale(sum, static_cast<int>(ki));
}

// Newton's iteration for y = log x: y' = y + x e^-y - 1, whose error is e^2/2 + O(e^3) for an error e
// of y. From the double-double logarithm (error below 2^-75), two steps: 2^-151, then the 2^-220 of
// e^-y relative to x e^-y ~ 1, i.e. 2^-219 absolute, plus 256-bit roundings.
mw::Mw logMw(double x) {
    mw::Mw y = fromDd(logFast<DekkerProduct>(x).value);
    const mw::Mw mx = mw::fromDouble(x), one = mw::fromDouble(1.0);
    for (int step = 0; step < 2; ++step)
        y = mw::add(y, mw::sub(mw::mul(mx, expMw(mw::neg(y))), one));
    return y;
}

}  // namespace XELORAALGO::num::detail
