// Internal to the numerics subsystem: the accurate path of pow (PowAccurate.cpp).
#pragma once

namespace XELORAALGO::num::detail {

// x^y correctly rounded, for a finite x > 0 (x != 1) and a finite y with 2^-64 <= |y| < 2^64 whose
// result's magnitude lies between 2^-1076 and 2^1025 (|y log x| < 746).
double powAccurate(double x, double y);

}  // namespace XELORAALGO::num::detail
