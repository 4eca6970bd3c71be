// MPFR reference values of the numerics tests: one number with its lifetime, correctly rounded
// results in float and double (their exponent ranges and subnormals), and error measures.
#ifndef XELORAALGO_TESTS_NUMERICS_MPFRTESTUTIL_H
#define XELORAALGO_TESTS_NUMERICS_MPFRTESTUTIL_H

#include <mpfr.h>

#include <cmath>

struct Mpfr {
    mpfr_t v;
    explicit Mpfr(int precision = 300) { mpfr_init2(v, precision); }
    ~Mpfr() { mpfr_clear(v); }
    Mpfr(const Mpfr&) = delete;
    Mpfr& operator=(const Mpfr&) = delete;
};

namespace mpfrtest {

using Unary = int (*)(mpfr_ptr, mpfr_srcptr, mpfr_rnd_t);
using Binary = int (*)(mpfr_ptr, mpfr_srcptr, mpfr_srcptr, mpfr_rnd_t);

// Runs eval(out) (it stores into the `bits`-bit `out` and returns MPFR's ternary value) with the
// exponent range of the format whose smallest subnormal is 2^(emin - 1), and rounds subnormals.
template <class Eval>
double inRange(int bits, mpfr_exp_t emin, mpfr_exp_t emax, Eval eval) {
    const mpfr_exp_t oldMin = mpfr_get_emin(), oldMax = mpfr_get_emax();
    mpfr_set_emin(emin);
    mpfr_set_emax(emax);
    Mpfr out(bits);
    int t = eval(out.v);
    t = mpfr_check_range(out.v, t, MPFR_RNDN);
    mpfr_subnormalize(out.v, t, MPFR_RNDN);
    const double r = mpfr_get_d(out.v, MPFR_RNDN);
    mpfr_set_emin(oldMin);
    mpfr_set_emax(oldMax);
    return r;
}

// The double nearest to the exact value v.
inline double nearest(const mpfr_t v) {
    return inRange(53, -1073, 1024, [&](mpfr_ptr out) { return mpfr_set(out, v, MPFR_RNDN); });
}

// f(x) and f(y, x) correctly rounded to double; f(x) correctly rounded to float.
inline double rounded(Unary f, double x) {
    Mpfr in(53);
    mpfr_set_d(in.v, x, MPFR_RNDN);
    return inRange(53, -1073, 1024, [&](mpfr_ptr out) { return f(out, in.v, MPFR_RNDN); });
}
inline double rounded(Binary f, double y, double x) {
    Mpfr a(53), b(53);
    mpfr_set_d(a.v, y, MPFR_RNDN);
    mpfr_set_d(b.v, x, MPFR_RNDN);
    return inRange(53, -1073, 1024, [&](mpfr_ptr out) { return f(out, a.v, b.v, MPFR_RNDN); });
}
inline float roundedFloat(Unary f, float x) {
    Mpfr in(24);
    mpfr_set_flt(in.v, x, MPFR_RNDN);
    return static_cast<float>(inRange(24, -148, 128, [&](mpfr_ptr out) { return f(out, in.v, MPFR_RNDN); }));
}

// |(hi + lo) 2^scale - exact|, divided by |exact| when relative.
inline double errorOf(double hi, double lo, const mpfr_t exact, bool relative, int scale = 0) {
    Mpfr d(400);
    mpfr_set_d(d.v, hi, MPFR_RNDN);
    mpfr_add_d(d.v, d.v, lo, MPFR_RNDN);
    mpfr_mul_2si(d.v, d.v, scale, MPFR_RNDN);
    mpfr_sub(d.v, d.v, exact, MPFR_RNDN);
    if (relative) mpfr_div(d.v, d.v, exact, MPFR_RNDN);
    return std::fabs(mpfr_get_d(d.v, MPFR_RNDN));
}

// Whether the significand of c fits in `bits` bits.
inline bool hasAtMostBits(double c, int bits) {
    int e;
    const double scaled = std::ldexp(std::frexp(c, &e), bits);
    return scaled == std::trunc(scaled);
}

}  // namespace mpfrtest

#endif
