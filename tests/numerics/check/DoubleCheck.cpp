// The double functions against MPFR. A fast filter settles most inputs: the C runtime's long double
// function (64-bit significand, documented error of a few ulps; we allow 2^-60 relative), rounded to
// double, when both ends of that allowance round to the same double. MPFR, at double precision with
// double's exponent range and subnormals, decides the rest. Inputs per function: uniform bit patterns
// (every binade, huge arguments, subnormals, special values), uniform values over the ranges the
// library feeds the function, tiny arguments, and for sin and cos arguments next to multiples of pi/2;
// for exp and pow the families of DoubleInputs.h (exact powers, midpoints, subnormal results, the
// overflow threshold, near-1 bases with huge exponents).
#include "DoubleCheck.h"
#include "DoubleInputs.h"

#include "numerics.h"

#include <mpfr.h>

#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <random>
#include <thread>
#include <vector>

namespace {

namespace num = XELORAALGO::num;

enum class Fn { Exp, Sin, Cos, Atan, Atan2, Pow };
const char* const kNames[] = {"exp", "sin", "cos", "atan", "atan2", "pow"};
constexpr int kFunctions = 6;

std::uint64_t bitsOf(double d) {
    std::uint64_t b;
    std::memcpy(&b, &d, sizeof b);
    return b;
}

double fromBits(std::uint64_t b) {
    double d;
    std::memcpy(&d, &b, sizeof d);
    return d;
}

double ours(Fn f, double y, double x) {
    switch (f) {
        case Fn::Exp: return num::exp(x);
        case Fn::Sin: return num::sin(x);
        case Fn::Cos: return num::cos(x);
        case Fn::Atan: return num::atan(x);
        case Fn::Pow: return num::pow(x, y);  // x the base, y the exponent
        default: return num::atan2(y, x);
    }
}

long double filterValue(Fn f, long double y, long double x) {
    switch (f) {
        case Fn::Exp: return std::exp(x);
        case Fn::Sin: return std::sin(x);
        case Fn::Cos: return std::cos(x);
        case Fn::Atan: return std::atan(x);
        case Fn::Pow: return std::pow(x, y);
        default: return std::atan2(y, x);
    }
}

// MPFR at double precision in double's exponent range (emin/emax are per thread).
struct DoubleContext {
    mpfr_t in1, in2, out;
    DoubleContext() {
        mpfr_set_emin(-1073);
        mpfr_set_emax(1024);
        mpfr_inits2(53, in1, in2, out, static_cast<mpfr_ptr>(nullptr));
    }
    ~DoubleContext() {
        mpfr_clears(in1, in2, out, static_cast<mpfr_ptr>(nullptr));
        mpfr_free_cache();  // this thread's caches of constants (pi, log 2, ...)
    }
    double eval(Fn f, double y, double x) {
        mpfr_set_d(in1, x, MPFR_RNDN);
        mpfr_set_d(in2, y, MPFR_RNDN);
        int t;
        switch (f) {
            case Fn::Exp: t = mpfr_exp(out, in1, MPFR_RNDN); break;
            case Fn::Sin: t = mpfr_sin(out, in1, MPFR_RNDN); break;
            case Fn::Cos: t = mpfr_cos(out, in1, MPFR_RNDN); break;
            case Fn::Atan: t = mpfr_atan(out, in1, MPFR_RNDN); break;
            case Fn::Pow: t = mpfr_pow(out, in1, in2, MPFR_RNDN); break;
            default: t = mpfr_atan2(out, in2, in1, MPFR_RNDN);
        }
        t = mpfr_subnormalize(out, t, MPFR_RNDN);
        return mpfr_get_d(out, MPFR_RNDN);
    }
};

struct Counts {
    std::atomic<std::uint64_t> checked{0}, mpfr{0}, mismatches{0};
};

void check(Fn f, double y, double x, DoubleContext& ctx, Counts& c) {
    const double got = ours(f, y, x);
    const long double l = filterValue(f, y, x);
    double want;
    const long double e = std::fabs(l) * 0x1p-60L;
    const double a = static_cast<double>(l - e), b = static_cast<double>(l + e);
    // NaN, infinities and zeros of the long double function are Annex F special values, which the
    // double function shares (the double range lies inside the long double range).
    if (l != l || std::isinf(l) || l == 0 || a == b) {
        want = static_cast<double>(l);
    } else {
        want = ctx.eval(f, y, x);
        c.mpfr.fetch_add(1, std::memory_order_relaxed);
    }
    c.checked.fetch_add(1, std::memory_order_relaxed);
    if (bitsOf(got) == bitsOf(want) || (got != got && want != want)) return;
    c.mismatches.fetch_add(1, std::memory_order_relaxed);
    if (f == Fn::Atan2)
        std::printf("MISMATCH atan2(%a, %a): got %a, want %a\n", y, x, got, want);
    else if (f == Fn::Pow)
        std::printf("MISMATCH pow(%a, %a): got %a, want %a\n", x, y, got, want);
    else
        std::printf("MISMATCH %s(%a): got %a, want %a\n", kNames[static_cast<int>(f)], x, got, want);
}

// The i-th input (y, x) of function f.
void input(Fn f, std::uint64_t i, std::mt19937_64& rng, double& y, double& x) {
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    y = 0.0;
    if (f == Fn::Exp) {  // the families of DoubleInputs.h, bit patterns among them
        x = doublecheck::expInput(rng, i);
        return;
    }
    if (f == Fn::Pow) {
        const auto in = doublecheck::powInput(rng, i);
        x = in.first;
        y = in.second;
        return;
    }
    const unsigned kind = static_cast<unsigned>(i % 4);
    if (kind == 0) {  // bit patterns
        x = fromBits(rng());
        y = fromBits(rng());
        return;
    }
    switch (f) {
        case Fn::Sin:
        case Fn::Cos:
            if (kind == 1) {
                x = 512.0 * unit(rng);  // phases and phase sums of the decoders
            } else if (kind == 2) {
                x = std::ldexp(unit(rng), -static_cast<int>(rng() % 40));
            } else {  // next to k pi/2 (a few ulps away), k up to 2^30
                const double k = static_cast<double>(rng() >> (34 + rng() % 30));
                x = k * 0x1.921fb54442d18p+0;
                for (int s = static_cast<int>(rng() % 7) - 3; s != 0; s += s > 0 ? -1 : 1)
                    x = std::nextafter(x, s > 0 ? 1e300 : -1e300);
            }
            return;
        case Fn::Atan:
            x = kind == 1 ? 20.0 * unit(rng) : std::ldexp(unit(rng), static_cast<int>(rng() % 130) - 65);
            return;
        default:
            if (kind == 1) {  // the decoders' integer levels
                y = static_cast<double>(static_cast<int>(rng() % 511) - 255);
                x = static_cast<double>(static_cast<int>(rng() % 511) - 255);
            } else if (kind == 2) {
                y = 1000.0 * unit(rng);
                x = 1000.0 * unit(rng);
            } else {  // quotients over the whole range, subnormal results included
                y = std::ldexp(unit(rng), static_cast<int>(rng() % 2100) - 1075);
                x = std::ldexp(unit(rng), static_cast<int>(rng() % 2100) - 1075);
            }
    }
}

}  // namespace

int checkDoubles(std::uint64_t count, unsigned threads, std::uint64_t seed, const std::string& functions) {
    int status = 0;
    for (int fi = 0; fi < kFunctions; ++fi) {
        if (functions != "all" && ("," + functions + ",").find("," + std::string(kNames[fi]) + ",") == std::string::npos)
            continue;
        const Fn f = static_cast<Fn>(fi);
        Counts c;
        std::vector<std::thread> pool;
        for (unsigned t = 0; t < threads; ++t) {
            pool.emplace_back([&, t] {
                DoubleContext ctx;
                std::mt19937_64 rng(seed * 1000003u + t * 7919u + static_cast<unsigned>(fi));
                double y, x;
                for (std::uint64_t i = count * t / threads; i < count * (t + 1) / threads; ++i) {
                    input(f, i, rng, y, x);
                    check(f, y, x, ctx, c);
                }
            });
        }
        for (auto& th : pool) th.join();
        std::printf("%-7s checked %llu  mpfr-decided %llu  mismatches %llu\n", kNames[fi],
                    static_cast<unsigned long long>(c.checked.load()), static_cast<unsigned long long>(c.mpfr.load()),
                    static_cast<unsigned long long>(c.mismatches.load()));
        status |= c.mismatches.load() != 0 ? 1 : 0;
    }
    return status;
}
