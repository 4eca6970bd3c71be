// A binary floating-point number of 256 significant bits for the accurate paths of the double
// functions: value = (-1)^negative * m * 2^(exponent - 256), m a 256-bit integer in four 64-bit
// words (m[3] the most significant) with its top bit set, or zero (m = 0). Operations truncate their
// exact result to 256 bits (relative error below 2^-255); toDouble rounds to nearest, ties to even,
// with subnormal results and overflow to infinity.
#pragma once

namespace XELORAALGO::num::mw {

using u64 = unsigned long long;
using u128 = unsigned __int128;

struct Mw {
    bool negative = false;
    int exponent = 0;
    u64 m[4] = {0, 0, 0, 0};
};

bool isZero(const Mw& a);
Mw fromDouble(double d);
Mw fromWords(u64 w3, u64 w2, u64 w1, u64 w0, int exponent);  // w3 most significant, top bit set
double toDouble(const Mw& a);
Mw add(const Mw& a, const Mw& b);
Mw sub(const Mw& a, const Mw& b);
Mw mul(const Mw& a, const Mw& b);
Mw mulSmall(const Mw& a, u64 k);  // k > 0
Mw divSmall(const Mw& a, u64 k);  // k > 0
Mw scale(Mw a, int power);        // a * 2^power
inline Mw neg(Mw a) {
    a.negative = !a.negative;
    return a;
}

}  // namespace XELORAALGO::num::mw
