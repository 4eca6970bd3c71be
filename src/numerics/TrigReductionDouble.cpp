// Exact argument reduction of a double by multiples of pi/64 and of pi/2 (Payne and Hanek's method
// in integer arithmetic over the bits of 2/pi).
// Input: a finite, positive double x = m 2^e (m a 53-bit integer). Output: the integer part of
// x * 2^s * 2/pi modulo 2^K and the fraction bits below it, from the product of m with n words of
// 2/pi; words whose bits only add multiples of 2^K are skipped.
#include "KernelsDouble.h"

namespace XELORAALGO::num::detail {
namespace {

using u64 = unsigned long long;
using u128 = unsigned __int128;

// The product p (n + 1 words, little-endian) of m with the n words of 2/pi that matter for
// x * 2^s * 2/pi mod 2^K; returns sh, the number of fraction bits of p.
int multiplyByTwoOverPi(double x, int s, int K, int n, u64* p) {
    const u64 b = dd::bitsOf(x);
    const int biased = static_cast<int>((b >> 52) & 0x7ff);
    const u64 m = (b & ((u64{1} << 52) - 1)) | (biased != 0 ? u64{1} << 52 : 0);
    const int e = (biased != 0 ? biased : 1) - 1075;
    // Bit i of 2/pi (weight 2^-i) adds m 2^(e + s - i), a multiple of 2^K when i <= e + s - K.
    const int skipTo = e + s - K;
    const int w0 = skipTo >= 64 ? skipTo / 64 : 0;
    u64 carry = 0;
    for (int i = n - 1; i >= 0; --i) {
        const u128 t = static_cast<u128>(kTwoOverPiWords[w0 + i]) * m + carry;
        p[n - 1 - i] = static_cast<u64>(t);
        carry = static_cast<u64>(t >> 64);
    }
    p[n] = carry;
    return 64 * (w0 + n) - (e + s);
}

// 64 bits of the little-endian array p (words words) starting at bit pos; bits outside are 0.
u64 bitsAt(const u64* p, int words, int pos) {
    auto word = [&](int i) -> u64 { return i >= 0 && i < words ? p[i] : 0; };
    const int w = pos >= 0 ? pos / 64 : -((63 - pos) / 64);
    const int sh = pos - 64 * w;
    if (sh == 0) return word(w);
    return (word(w) >> sh) | (word(w + 1) << (64 - sh));
}

}  // namespace

dd::DD reducePi1024(double ax, int& j) {
    // x * 1024/pi = x * 2^9 * 2/pi modulo 2048: at least 182 fraction bits, truncation below 2^-129.
    constexpr int K = 11;
    u64 p[5];
    const int sh = multiplyByTwoOverPi(ax, 9, K, 4, p);
    const u64 a = bitsAt(p, 5, sh - (64 - K));  // K integer bits, 64 - K fraction bits
    const u64 b = bitsAt(p, 5, sh - (128 - K));
    const u64 fhi = (a << K) | (b >> (64 - K));
    const u64 flo = (b << K) | (bitsAt(p, 5, sh - (192 - K)) >> (64 - K));
    // Round to the nearest j: a fraction of 1/2 or more counts from j + 1, negative.
    const bool negative = (fhi >> 63) != 0;
    j = static_cast<int>(((a >> (64 - K)) + (negative ? 1 : 0)) & ((1u << K) - 1));
    u128 g = (static_cast<u128>(fhi) << 64) | flo;  // |g| * 2^128 after the negation below
    if (negative) g = -g;
    if (g == 0) return {0.0, 0.0};
    const u64 top = static_cast<u64>(g >> 64);
    const int lz = top != 0 ? __builtin_clzll(top) : 64 + __builtin_clzll(static_cast<u64>(g));
    g <<= lz;
    // 53 leading bits exactly, the next 64 rounded once: relative error below 2^-105.
    const double scale = dd::fromBits(static_cast<u64>(1023 - 53 - lz) << 52);  // 2^(-53 - lz)
    const double hi = static_cast<double>(static_cast<u64>(g >> 75)) * scale;
    const double low = static_cast<double>(static_cast<u64>(g >> 11)) * scale * 0x1p-64;  // bits 74..11
    dd::DD f = dd::fastTwoSum(hi, low);
    if (negative) f = dd::neg(f);
    return dd::mul(f, kPi1024);
}

mw::Mw reducePio2Accurate(double ax, int& q) {
    // x * 2/pi modulo 4 from 512 bits of 2/pi: at least 447 fraction bits, truncation below 2^-394.
    u64 p[9];
    const int sh = multiplyByTwoOverPi(ax, 0, 2, 8, p);
    // The 448 fraction bits below the integer part, f[6] the most significant word.
    u64 f[7];
    for (int i = 0; i < 7; ++i) f[i] = bitsAt(p, 9, sh - 448 + 64 * i);
    const bool negative = (f[6] >> 63) != 0;
    q = static_cast<int>(((bitsAt(p, 9, sh) & 3) + (negative ? 1 : 0)) & 3);
    if (negative) {  // two's complement: |f| = 2^448 - f
        u64 carry = 1;
        for (int i = 0; i < 7; ++i) {
            f[i] = ~f[i] + carry;
            carry = carry != 0 && f[i] == 0 ? 1 : 0;
        }
    }
    // Normalise: |f| = N 2^(-448 - lz) with the top bit of N at 447; keep its 256 leading bits.
    int lz = 0;
    int top = 6;
    while (top >= 0 && f[top] == 0) {
        lz += 64;
        --top;
    }
    if (top < 3) return mw::Mw{};  // |f| < 2^-256: cannot happen for a double (x pi/2 is never so close)
    const int bits = __builtin_clzll(f[top]);
    lz += bits;
    u64 w[4];
    for (int i = 0; i < 4; ++i) {
        const int src = top - 3 + i;
        w[i] = bits == 0 ? f[src] : (f[src] << bits) | (src > 0 ? f[src - 1] >> (64 - bits) : 0);
    }
    mw::Mw r = mw::fromWords(w[3], w[2], w[1], w[0], -lz);
    r.negative = negative;
    return mw::mul(r, pio2Mw());
}

}  // namespace XELORAALGO::num::detail
