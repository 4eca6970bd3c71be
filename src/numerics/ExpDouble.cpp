// exp of a double, correctly rounded (round to nearest, ties to even), with overflow to +inf and
// underflow through the subnormals to +0.
// Fast path (ExpLogKernels.h): a table of 2^(j/512) and a short series, as a double-double with
// relative error below 2^-70, accepted when the whole error interval rounds to one double (Ziv's
// test; about one input in 20000 fails it). Otherwise, and for results outside the normal range: the
// 256-bit evaluation of AccurateExpLog.cpp (error below 2^-220). e^x is never a double nor a midpoint
// between two doubles for a double x != 0, so that accuracy decides every input.
#include "AccurateExpLog.h"
#include "ExpLogKernels.h"
#include "numerics.h"

namespace XELORAALGO::num {
namespace {

double expCorrectlyRounded(double x) { return mw::toDouble(detail::expMw(mw::fromDouble(x))); }

}  // namespace

namespace detail {
double expAccurateForTest(double x) { return expCorrectlyRounded(x); }

double powerOfTwo(int p) {  // 2^p for -1022 <= p <= 1023
    return dd::fromBits(static_cast<unsigned long long>(p + 1023) << 52);
}

// Rounds (hi + lo) * 2^scale, known to within hi * err, when that interval rounds to one normal
// double; false otherwise. hi + lo lies in [0.99, 2) and the scaled result is normal or +inf.
bool roundScaled(const ScaledDd& v, double err, double& out) {
    const double e = v.hi * err;
    const double a = v.hi + (v.lo - e), b = v.hi + (v.lo + e);
    if (a != b) return false;
    out = v.scale > 1023 ? a * powerOfTwo(1023) * powerOfTwo(v.scale - 1023) : a * powerOfTwo(v.scale);
    return true;
}
}  // namespace detail

double exp(double x) {
    // e^x is normal for -708.39 < x < 709.78.
    if (x > -708.3 && x < 709.7) {
        double r;
        if (detail::roundScaled(detail::expFast(x, 0.0), 0x1p-69, r)) return r;
        return expCorrectlyRounded(x);
    }
    if (x != x) return x + x;
    if (x > 709.8) return 0x1p1023 * 2.0;  // +inf (also for x = +inf)
    if (x < -746.0) return 0.0;            // e^-746 < 2^-1076
    return expCorrectlyRounded(x);
}

}  // namespace XELORAALGO::num
