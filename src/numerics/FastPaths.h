// Internal to the numerics subsystem: the fast paths of the double exp and pow, written once for an
// arithmetic policy P (ExpLogKernels.h) and compiled twice: with Dekker's products (ExpDouble.cpp,
// Pow.cpp) and with fused multiply-adds (FmaPaths.cpp). Both give the same bits: each returns only
// results its error bound proves correctly rounded, and hands every other input to the same 256-bit
// path. No standard header.
#pragma once

#include "ExpLogKernels.h"
#include "PowAccurate.h"

namespace XELORAALGO::num::detail {

double expAccurate256(double x);  // the 256-bit path of exp (ExpDouble.cpp)
extern const bool kFmaUsable;     // the processor has fused multiply-adds (ExpDouble.cpp)
double expNormalFma(double x);    // FmaPaths.cpp
double powPositiveFma(double x, double y);

namespace {

// e^x for -708.3 < x < 709.7 (a normal result).
template <class P>
double expNormal(double x) {
    double r;
    if (roundScaled(expFast<P, false>(x, 0.0), 0x1p-69, r)) return r;
    return expAccurate256(x);
}

// x^y for a finite x > 0 (x != 1) and a finite y with 2^-64 <= |y| < 2^64.
// w = y log x as a double-double: its error is |y| times the logarithm's (2^-67 |u| + 2^-84, taken
// twice over) plus the product's 2^-104 |w| (taken as 2^-100); e^w adds 2^-70 and 1.02 times that.
// Where e^w is formed |w| < 746, so the product's share, 1.02 |w| 2^-100, is below the constant 2^-90.
template <class P>
double powPositive(double x, double y) {
    const LogDd l = logFast<P>(x);
    dd::DD w = P::exact(l.value.hi, y);
    w.lo = P::madd(l.value.lo, y, w.lo);
    const double errW = __builtin_fabs(y) * (l.u * 0x1p-66 + 0x1p-83);
    if (w.hi > -708.3 && w.hi < 709.7) {
        double r;
        ScaledDd e;
        if constexpr (P::kFused) {
            // k from l.hi (y 512/ln2) rounded once to an integer, without waiting for w.hi: within
            // 1/2 + 2^-40 of w.hi 512/ln2, as expFastK allows.
            e = expFastK<P, true>(w.hi, w.lo, P::madd(l.value.hi, y * kInvLn2x512, 0x1.8p52) - 0x1.8p52);
        } else {
            e = expFast<P, true>(w.hi, w.lo);
        }
        if (roundScaled(e, (0x1p-69 + 0x1p-90) + 1.02 * errW, r)) return r;
        return powAccurate(x, y);
    }
    if (w.hi >= 710.0) return __builtin_inf();
    if (w.hi <= -746.0) return 0.0;
    return powAccurate(x, y);
}

}  // namespace
}  // namespace XELORAALGO::num::detail
