// One MPFR number with its lifetime (the numerics tests' reference values).
#ifndef XELORAALGO_TESTS_NUMERICS_MPFRVALUE_H
#define XELORAALGO_TESTS_NUMERICS_MPFRVALUE_H

#include <mpfr.h>

struct Mpfr {
    mpfr_t v;
    explicit Mpfr(int precision = 300) { mpfr_init2(v, precision); }
    ~Mpfr() { mpfr_clear(v); }
    Mpfr(const Mpfr&) = delete;
    Mpfr& operator=(const Mpfr&) = delete;
};

#endif
