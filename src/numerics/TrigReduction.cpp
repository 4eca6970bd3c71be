// Exact argument reduction of a float by pi/2 (Payne and Hanek's method in integer arithmetic).
// Input: |x| >= pi/4, finite, as a float. Output: the quadrant q mod 4 and the reduced argument
// r = |x| - q pi/2 in [-pi/4, pi/4] as a double-double, absolute error below 2^-115.
#include "Kernels.h"

#include <cstdint>
#include <cstring>

namespace XELORAALGO::num::detail {
namespace {

// The bits of 2/pi after the binary point, 32 at a time.
constexpr std::uint32_t kTwoOverPiBits[10] = {
    0xa2f9836eu, 0x4e441529u, 0xfc2757d1u, 0xf534ddc0u, 0xdb629599u,
    0x3c439041u, 0xfe5163abu, 0xdebbc561u, 0xb7246e3au, 0x424dd2e0u};

constexpr int kWindowWords = 6;
constexpr int kProductWords = kWindowWords + 1;

// 64 bits of the little-endian word array p starting at bit pos (pos >= 0; bits past the end are 0).
std::uint64_t bitsAt(const std::uint32_t* p, int pos) {
    const int w = pos / 32;
    const int s = pos % 32;
    auto word = [&](int i) -> std::uint64_t { return i < kProductWords ? p[i] : 0u; };
    const std::uint64_t low = word(w) | (word(w + 1) << 32);
    if (s == 0) return low;
    return (low >> s) | (word(w + 2) << (64 - s));
}

}  // namespace

dd::DD reduceLarge(float ax, int& quadrant) {
    std::uint32_t b;
    std::memcpy(&b, &ax, sizeof b);
    // ax = m * 2^e with m a 24-bit integer (ax >= pi/4 is normal).
    const std::uint32_t m = (b & 0x7fffffu) | 0x800000u;
    const int e = static_cast<int>((b >> 23) & 0xffu) - 150;
    // Bits j <= e - 2 of 2/pi (weight 2^-j) contribute multiples of 4 to ax * 2/pi: skip whole words
    // of them. The window then ends 32 * (first + 6) bits after the point, which leaves
    // shift = 32 * (first + 6) - e >= 159 fraction bits in the product m * window.
    const int first = e >= 2 ? (e - 2) / 32 : 0;
    const int shift = 32 * (first + kWindowWords) - e;

    std::uint32_t prod[kProductWords] = {};
    std::uint64_t carry = 0;
    for (int i = kWindowWords - 1; i >= 0; --i) {  // little-endian: last window word first
        const std::uint64_t t = static_cast<std::uint64_t>(kTwoOverPiBits[first + i]) * m + carry;
        prod[kWindowWords - 1 - i] = static_cast<std::uint32_t>(t);
        carry = t >> 32;
    }
    prod[kWindowWords] = static_cast<std::uint32_t>(carry);

    // Two integer bits (the quadrant) and 126 fraction bits.
    const std::uint64_t hi = bitsAt(prod, shift - 62);
    const std::uint64_t lo = bitsAt(prod, shift - 126);
    const std::uint64_t a = (hi << 2) | (lo >> 62);  // fraction * 2^64, two's complement when >= 1/2
    const std::uint64_t c = lo << 2;
    quadrant = static_cast<int>(((hi >> 62) + (a >> 63)) & 3u);

    // f = a * 2^-64 (signed) + c * 2^-128, converted piecewise without rounding.
    const double a1 = static_cast<double>(static_cast<std::int64_t>(a & ~std::uint64_t{0x7ff})) * 0x1p-64;
    const double a2 = static_cast<double>(a & 0x7ffu) * 0x1p-64;
    const double c1 = static_cast<double>(c & ~std::uint64_t{0x7ff}) * 0x1p-128;
    const double c2 = static_cast<double>(c & 0x7ffu) * 0x1p-128;
    dd::DD f = dd::fastTwoSum(a1, a2);
    f = dd::add(f, dd::add(dd::make(c1), dd::make(c2)));
    return dd::mul(f, dd::DD{kPio2Hi, kPio2Lo});
}

}  // namespace XELORAALGO::num::detail
