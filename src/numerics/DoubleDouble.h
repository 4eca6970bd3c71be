// Double-double arithmetic used by the numerics subsystem's accurate paths.
// A DD is an unevaluated sum hi + lo of two doubles with |lo| <= ulp(hi) / 2, giving about 106 bits.
// Every operation below uses only IEEE-754 double additions, subtractions, multiplications and
// divisions in round-to-nearest (no fused multiply-add): products are split with Dekker's method.
// Relative error of add, mul and div: below 2^-103 for normalised operands away from overflow.
// Internal linkage and no standard header, like LaneKernels.h.
#pragma once

namespace XELORAALGO::num::dd {

struct DD {
    double hi;
    double lo;
};

namespace {

inline unsigned long long bitsOf(double x) {
    unsigned long long b;
    __builtin_memcpy(&b, &x, sizeof b);
    return b;
}

inline double fromBits(unsigned long long b) {
    double x;
    __builtin_memcpy(&x, &b, sizeof x);
    return x;
}

// s + e = a + b exactly, provided |a| >= |b| or a == 0.
inline DD fastTwoSum(double a, double b) {
    const double s = a + b;
    return {s, b - (s - a)};
}

// s + e = a + b exactly, for any finite a and b.
inline DD twoSum(double a, double b) {
    const double s = a + b;
    const double bb = s - a;
    return {s, (a - (s - bb)) + (b - bb)};
}

// Dekker's splitting: a = h + l with h and l of at most 26 significant bits each (|a| < 2^995).
inline void split(double a, double& h, double& l) {
    const double c = 134217729.0 * a;  // 2^27 + 1
    h = c - (c - a);
    l = a - h;
}

// p + e = a * b exactly, barring underflow and overflow.
inline DD twoProd(double a, double b) {
    const double p = a * b;
    double ah, al, bh, bl;
    split(a, ah, al);
    split(b, bh, bl);
    return {p, ((ah * bh - p) + ah * bl + al * bh) + al * bl};
}

inline DD make(double a) { return {a, 0.0}; }
inline DD neg(DD a) { return {-a.hi, -a.lo}; }

inline DD add(DD a, DD b) {
    DD s = twoSum(a.hi, b.hi);
    const DD t = twoSum(a.lo, b.lo);
    s.lo += t.hi;
    s = fastTwoSum(s.hi, s.lo);
    s.lo += t.lo;
    return fastTwoSum(s.hi, s.lo);
}

inline DD sub(DD a, DD b) { return add(a, neg(b)); }

inline DD mul(DD a, DD b) {
    DD p = twoProd(a.hi, b.hi);
    p.lo += a.hi * b.lo + a.lo * b.hi;
    return fastTwoSum(p.hi, p.lo);
}

inline DD mulD(DD a, double b) {
    DD p = twoProd(a.hi, b);
    p.lo += a.lo * b;
    return fastTwoSum(p.hi, p.lo);
}

inline DD div(DD a, DD b) {
    const double q1 = a.hi / b.hi;
    DD r = sub(a, mulD(b, q1));
    const double q2 = r.hi / b.hi;
    r = sub(r, mulD(b, q2));
    const double q3 = r.hi / b.hi;
    return add(fastTwoSum(q1, q2), make(q3));
}

// a / b for a double b: one correction of the rounded quotient (the remainder of q1 is exact).
inline DD divD(DD a, double b) {
    const double q1 = a.hi / b;
    const DD p = twoProd(q1, b);
    const double r = ((a.hi - p.hi) - p.lo) + a.lo;
    return fastTwoSum(q1, r / b);
}

// Square root of a non-negative a, by one Newton correction of the rounded root.
inline DD sqrt(DD a, double (*sqrtRounded)(double)) {
    if (a.hi <= 0.0) return {0.0, 0.0};
    const double s = sqrtRounded(a.hi);
    const DD r = sub(a, twoProd(s, s));
    return fastTwoSum(s, r.hi / (2.0 * s));
}

// The float nearest to a.hi + a.lo (ties to even): a.hi is first rounded to odd at 53 bits, which
// keeps the information of a.lo that the second rounding, to 24 bits, needs.
inline float toFloat(DD a) {
    double h = a.hi;
    if (a.lo != 0.0) {
        unsigned long long b = bitsOf(h);
        if ((b & 1u) == 0) {
            b = ((a.lo > 0.0) == (h > 0.0)) ? b + 1 : b - 1;
            h = fromBits(b);
        }
    }
    return static_cast<float>(h);
}

}  // namespace
}  // namespace XELORAALGO::num::dd
