// The 256-bit floating-point arithmetic of MultiWord.h (integer operations only).
#include "MultiWord.h"

namespace XELORAALGO::num::mw {
namespace {

int leadingZeros(const u64* m) {
    for (int i = 3; i >= 0; --i)
        if (m[i] != 0) return (3 - i) * 64 + __builtin_clzll(m[i]);
    return 256;
}

void shiftLeft(u64* m, int s) {
    if (s <= 0) return;
    const int words = s / 64, bits = s % 64;
    for (int i = 3; i >= 0; --i) {
        const int from = i - words;
        u64 v = from >= 0 ? m[from] << bits : 0;
        if (bits != 0 && from - 1 >= 0) v |= m[from - 1] >> (64 - bits);
        m[i] = v;
    }
}

void shiftRight(u64* m, int s) {
    if (s <= 0) return;
    const int words = s / 64, bits = s % 64;
    for (int i = 0; i < 4; ++i) {
        const int from = i + words;
        u64 v = from <= 3 ? m[from] >> bits : 0;
        if (bits != 0 && from + 1 <= 3) v |= m[from + 1] << (64 - bits);
        m[i] = v;
    }
}

Mw normalised(Mw a) {
    const int z = leadingZeros(a.m);
    if (z == 256) return Mw{};
    shiftLeft(a.m, z);
    a.exponent -= z;
    return a;
}

// |a| >= |b|, by exponent and then words (both normalised or zero).
bool magnitudeAtLeast(const Mw& a, const Mw& b) {
    if (isZero(b)) return true;
    if (isZero(a)) return false;
    if (a.exponent != b.exponent) return a.exponent > b.exponent;
    for (int i = 3; i >= 0; --i)
        if (a.m[i] != b.m[i]) return a.m[i] > b.m[i];
    return true;
}

}  // namespace

bool isZero(const Mw& a) { return (a.m[0] | a.m[1] | a.m[2] | a.m[3]) == 0; }

Mw fromWords(u64 w3, u64 w2, u64 w1, u64 w0, int exponent) {
    Mw a;
    a.m[3] = w3;
    a.m[2] = w2;
    a.m[1] = w1;
    a.m[0] = w0;
    a.exponent = exponent;
    return a;
}

Mw fromDouble(double d) {
    u64 b;
    __builtin_memcpy(&b, &d, sizeof b);
    Mw a;
    a.negative = (b >> 63) != 0;
    const int e = static_cast<int>((b >> 52) & 0x7ff);
    const u64 f = b & ((u64{1} << 52) - 1);
    if (e == 0 && f == 0) return a;
    // |d| = mant * 2^(e2) with mant < 2^53.
    const u64 mant = e == 0 ? f : (f | (u64{1} << 52));
    const int e2 = (e == 0 ? 1 : e) - 1075;
    a.m[3] = mant;
    a.exponent = e2 + 256 - 192;  // m = mant * 2^192
    return normalised(a);
}

double toDouble(const Mw& a) {
    if (isZero(a)) return a.negative ? -0.0 : 0.0;
    const double sign = a.negative ? -1.0 : 1.0;
    // |a| lies in [2^(exponent - 1), 2^exponent): keep the bits down to 2^-1074, at most 53.
    if (a.exponent > 1024) return sign * __builtin_inf();
    int keep = a.exponent + 1074;
    if (keep > 53) keep = 53;
    u64 mant;
    bool round, sticky;
    if (keep <= 0) {
        // Below 2^-1074: 2^-1074 when above half of it (keep = 0, beyond the top bit), else 0.
        mant = 0;
        round = keep == 0;
        sticky = round && (a.m[3] << 1 | a.m[2] | a.m[1] | a.m[0]) != 0;
    } else {
        Mw t = a;
        mant = t.m[3] >> (64 - keep);
        shiftLeft(t.m, keep);  // the discarded bits, round bit first
        round = (t.m[3] >> 63) != 0;
        sticky = ((t.m[3] << 1) | t.m[2] | t.m[1] | t.m[0]) != 0;
    }
    if (round && (sticky || (mant & 1))) ++mant;
    // mant * 2^(exponent - keep), exact: two scalings by powers of two that are normal doubles.
    int p = a.exponent - (keep > 0 ? keep : 0);
    double r = static_cast<double>(mant);
    while (p > 600) { r *= 0x1p600; p -= 600; }
    while (p < -600) { r *= 0x1p-600; p += 600; }
    u64 pb = static_cast<u64>(p + 1023) << 52;
    double f;
    __builtin_memcpy(&f, &pb, sizeof f);
    return sign * (r * f);
}

Mw add(const Mw& a, const Mw& b) {
    if (isZero(a)) return b;
    if (isZero(b)) return a;
    const bool aBigger = magnitudeAtLeast(a, b);
    const Mw& big = aBigger ? a : b;
    Mw small = aBigger ? b : a;
    const int d = big.exponent - small.exponent;
    if (d >= 256) return big;
    shiftRight(small.m, d);
    Mw r = big;
    if (a.negative == b.negative) {
        u64 carry = 0;
        for (int i = 0; i < 4; ++i) {
            const u128 t = static_cast<u128>(big.m[i]) + small.m[i] + carry;
            r.m[i] = static_cast<u64>(t);
            carry = static_cast<u64>(t >> 64);
        }
        if (carry) {
            shiftRight(r.m, 1);
            r.m[3] |= u64{1} << 63;
            ++r.exponent;
        }
        return r;
    }
    u64 borrow = 0;
    for (int i = 0; i < 4; ++i) {
        const u128 t = static_cast<u128>(big.m[i]) - small.m[i] - borrow;
        r.m[i] = static_cast<u64>(t);
        borrow = static_cast<u64>(t >> 64) ? 1 : 0;
    }
    return normalised(r);
}

Mw sub(const Mw& a, const Mw& b) { return add(a, neg(b)); }

Mw mul(const Mw& a, const Mw& b) {
    if (isZero(a) || isZero(b)) return Mw{};
    u64 p[8] = {0, 0, 0, 0, 0, 0, 0, 0};
    for (int i = 0; i < 4; ++i) {
        u64 carry = 0;
        for (int j = 0; j < 4; ++j) {
            const u128 t = static_cast<u128>(a.m[i]) * b.m[j] + p[i + j] + carry;
            p[i + j] = static_cast<u64>(t);
            carry = static_cast<u64>(t >> 64);
        }
        p[i + 4] = carry;
    }
    Mw r;
    r.negative = a.negative != b.negative;
    r.exponent = a.exponent + b.exponent;
    if ((p[7] >> 63) == 0) {  // product in [2^510, 2^511): one more bit from below
        for (int i = 7; i > 0; --i) p[i] = (p[i] << 1) | (p[i - 1] >> 63);
        --r.exponent;
    }
    for (int i = 0; i < 4; ++i) r.m[i] = p[i + 4];
    return r;
}

Mw mulSmall(const Mw& a, u64 k) { return mul(a, normalised(fromWords(0, 0, 0, k, 256))); }

Mw divSmall(const Mw& a, u64 k) {
    if (isZero(a)) return a;
    // q = floor(m * 2^64 / k) by long division (one guard word), 320 bits; a / k = q 2^(exponent - 320).
    u64 q[5];
    u128 rem = 0;
    const u64 words[5] = {0, a.m[0], a.m[1], a.m[2], a.m[3]};
    for (int i = 4; i >= 0; --i) {
        const u128 cur = (rem << 64) | words[i];
        q[i] = static_cast<u64>(cur / k);
        rem = cur % k;
    }
    int lz = 0;
    for (int i = 4; i >= 0; --i) {
        if (q[i] != 0) {
            lz = (4 - i) * 64 + __builtin_clzll(q[i]);
            break;
        }
    }
    // The top 256 bits of q << lz.
    u64 s[5];
    const int words2 = lz / 64, bits = lz % 64;
    for (int i = 4; i >= 0; --i) {
        const int from = i - words2;
        u64 v = from >= 0 ? q[from] << bits : 0;
        if (bits != 0 && from - 1 >= 0) v |= q[from - 1] >> (64 - bits);
        s[i] = v;
    }
    Mw r;
    r.negative = a.negative;
    for (int i = 0; i < 4; ++i) r.m[i] = s[i + 1];
    r.exponent = a.exponent - lz;
    return r;
}

Mw scale(Mw a, int power) {
    if (!isZero(a)) a.exponent += power;
    return a;
}

}  // namespace XELORAALGO::num::mw
