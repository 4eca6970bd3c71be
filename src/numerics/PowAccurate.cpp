// The accurate path of pow: inputs x > 0 and y (doubles), output the correctly rounded x^y.
// First the exact cases: x^y is a double, or a midpoint between two doubles, only when it is an
// integer of at most 54 significant bits times a power of two. With x = mx 2^ex (mx odd) and
// y = n / 2^k (n odd, k >= 0) or an integer, that requires mx to be a (2^k)-th power t^(2^k) and
// 2^k to divide ex, and then t^n 2^(ex n / 2^k) with t^n below 2^54 (n > 0), or t = 1 (n < 0). Such
// values are computed exactly and rounded once, so midpoints (ties to even) and subnormal results
// come out right. Every other x^y is irrational or has an odd part of more than 54 bits, and
// lies farther from every rounding boundary than the 256-bit evaluation's error (log x to 2^-215
// absolute, times y, e^ to 2^-220 relative): that evaluation decides it.
#include "PowAccurate.h"

#include "AccurateExpLog.h"
#include "DoubleDouble.h"
#include "numerics.h"

namespace XELORAALGO::num::detail {
namespace {

using u64 = unsigned long long;

// floor(sqrt(m)) for m < 2^53, and whether it is exact.
bool exactSqrt(u64 m, u64& root) {
    u64 s = static_cast<u64>(num::sqrt(static_cast<double>(m)));
    while (s * s > m) --s;
    while ((s + 1) * (s + 1) <= m) ++s;
    root = s;
    return s * s == m;
}

// x^y as an exact value when it is an odd integer below 2^54 times a power of two: true and the
// correctly rounded result in out; false otherwise.
bool exactPower(double x, double y, double& out) {
    u64 bx = dd::bitsOf(x);
    const int fx = static_cast<int>(bx >> 52);
    u64 mx = (bx & ((1ull << 52) - 1)) | (fx != 0 ? (1ull << 52) : 0);
    long long ex = (fx != 0 ? fx : 1) - 1075;
    const int tzx = __builtin_ctzll(mx);
    mx >>= tzx;
    ex += tzx;

    const u64 by = dd::bitsOf(y);
    const int fy = static_cast<int>((by >> 52) & 0x7ff);
    u64 my = (by & ((1ull << 52) - 1)) | (fy != 0 ? (1ull << 52) : 0);
    int ey = (fy != 0 ? fy : 1) - 1075;
    const int tzy = __builtin_ctzll(my);
    my >>= tzy;
    ey += tzy;
    // y = +-my 2^ey with my odd. |y| < 2^64 here, so an integer y = my 2^ey fits 64 bits.
    long long n;
    if (ey >= 0) {
        if (mx != 1 && (ey > 6 || my > 64)) return false;  // t^|y| >= 3^64 > 2^54
        if (ey > 20 || my > (1ull << 20)) return false;      // |ex y| >= 2^20: outside the caller's range
        n = static_cast<long long>(my << ey);
    } else {
        const int k = -ey;  // y = my / 2^k: take k square roots of x
        if (k > 1100) return false;
        for (int i = 0; i < k; ++i) {
            if ((ex & 1) != 0) return false;
            if (mx != 1) {
                u64 r;
                if (!exactSqrt(mx, r)) return false;
                mx = r;
            }
            ex /= 2;
        }
        if (my > (1ull << 40)) return false;  // |ex y| would be far outside the caller's range
        n = static_cast<long long>(my);
    }
    if ((by >> 63) != 0) n = -n;
    // Now x^y = (mx 2^ex)^n exactly, n an integer.
    if (n < 0 && mx != 1) return false;  // 1 / mx^|n| has no finite binary expansion
    u64 p = 1;
    if (mx != 1) {
        for (long long i = 0; i < n; ++i) {
            const unsigned __int128 q = static_cast<unsigned __int128>(p) * mx;
            if (q >= (static_cast<unsigned __int128>(1) << 54)) return false;
            p = static_cast<u64>(q);
        }
    }
    const long long scale = ex * n;  // |ex| < 2^11 and |n| <= 2^40: no overflow
    if (scale > 1100 || scale < -1200) return false;  // outside the range the caller already excludes
    out = mw::toDouble(mw::scale(mw::mulSmall(mw::fromDouble(1.0), p), static_cast<int>(scale)));
    return true;
}

}  // namespace

double powAccurate(double x, double y) {
    double r;
    if (exactPower(x, y, r)) return r;
    return mw::toDouble(expMw(mw::mul(mw::fromDouble(y), logMw(x))));
}

}  // namespace XELORAALGO::num::detail
