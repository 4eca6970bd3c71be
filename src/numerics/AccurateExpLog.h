// Internal to the numerics subsystem: e^w and log(x) in 256-bit arithmetic (MultiWord.h), the
// accurate paths of exp and pow. Values in, values out; nothing is allocated.
#pragma once

#include "MultiWord.h"

namespace XELORAALGO::num::detail {

// e^w for |w| < 750, relative error below 2^-220.
mw::Mw expMw(const mw::Mw& w);
// log(x) for a finite x > 0, absolute error below 2^-215.
mw::Mw logMw(double x);

}  // namespace XELORAALGO::num::detail
