// numerics-check-double: compares the library's double exp and pow with MPFR, bit for bit.
//
//   numerics-check-double sampled [COUNT]                     COUNT inputs per function (DoubleInputs.h),
//                                                             every one decided by MPFR
//   numerics-check-double random FUNC COUNT [THREADS] [SEED]  a long run over the same families: the
//                                                             C runtime's long double function settles
//                                                             most inputs, MPFR decides the rest
//
// The expected result is the correctly rounded value (MPFR at 53 bits with double's exponent range and
// subnormals). The long double filter takes expl or powl (64-bit significand, documented error of a
// unit or two in its last place) as known to within 2^-61 relative (eight of its units) and accepts it
// when that whole interval rounds to one normal double; results near the ends of the range,
// infinities, zeros and NaNs always go to MPFR. Prints the counts; exit status 1 on any mismatch.
#include "DoubleInputs.h"
#include "numerics.h"

#include <mpfr.h>

#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

using doublecheck::bitsOf;
namespace num = XELORAALGO::num;

bool same(double a, double b) { return (a != a && b != b) || bitsOf(a) == bitsOf(b); }

// MPFR at double precision and double's exponent range (emin and emax are per thread).
struct DoubleContext {
    mpfr_t x, y, out;
    DoubleContext() {
        mpfr_set_emin(-1073);
        mpfr_set_emax(1024);
        mpfr_inits2(53, x, y, out, static_cast<mpfr_ptr>(nullptr));
    }
    ~DoubleContext() { mpfr_clears(x, y, out, static_cast<mpfr_ptr>(nullptr)); }
    DoubleContext(const DoubleContext&) = delete;
    DoubleContext& operator=(const DoubleContext&) = delete;

    double exp(double a) {
        mpfr_set_d(x, a, MPFR_RNDN);
        return finish(mpfr_exp(out, x, MPFR_RNDN));
    }
    double pow(double a, double b) {
        mpfr_set_d(x, a, MPFR_RNDN);
        mpfr_set_d(y, b, MPFR_RNDN);
        return finish(mpfr_pow(out, x, y, MPFR_RNDN));
    }
    double finish(int t) {
        mpfr_subnormalize(out, t, MPFR_RNDN);
        return mpfr_get_d(out, MPFR_RNDN);
    }
};

// The double that every value within 2^-61 of v rounds to, or false.
bool settledByLongDouble(long double v, double& out) {
    const long double a = v < 0 ? -v : v;
    if (!(a > 0x1p-1020L && a < 0x1p1023L)) return false;  // also NaN
    const double lo = static_cast<double>(v * (1.0L - 0x1p-61L)), hi = static_cast<double>(v * (1.0L + 0x1p-61L));
    out = static_cast<double>(v);
    return lo == hi;
}

struct Counts {
    std::atomic<std::uint64_t> checked{0}, mpfr{0}, mismatches{0};
};

std::mutex printMutex;

void report(const char* name, double x, const double* y, double got, double want) {
    const std::lock_guard<std::mutex> lock(printMutex);
    if (y)
        std::printf("MISMATCH %s(%a, %a): got %a, want %a\n", name, x, *y, got, want);
    else
        std::printf("MISMATCH %s(%a): got %a, want %a\n", name, x, got, want);
}

// One input of FUNC; filtered: the long double filter may settle it before MPFR.
void checkOne(bool isPow, std::mt19937_64& rng, std::uint64_t i, bool filtered, DoubleContext& ctx, Counts& c) {
    double x, y = 0.0, got, want, settled;
    long double approx;
    if (isPow) {
        const auto in = doublecheck::powInput(rng, i);
        x = in.first;
        y = in.second;
        got = num::pow(x, y);
        approx = filtered ? std::pow(static_cast<long double>(x), static_cast<long double>(y)) : 0.0L;
    } else {
        x = doublecheck::expInput(rng, i);
        got = num::exp(x);
        approx = filtered ? std::exp(static_cast<long double>(x)) : 0.0L;
    }
    if (filtered && settledByLongDouble(approx, settled)) {
        want = settled;
    } else {
        want = isPow ? ctx.pow(x, y) : ctx.exp(x);
        ++c.mpfr;
    }
    ++c.checked;
    if (!same(got, want)) {
        ++c.mismatches;
        report(isPow ? "pow" : "exp", x, isPow ? &y : nullptr, got, want);
    }
}

void print(const char* name, const Counts& c) {
    const std::lock_guard<std::mutex> lock(printMutex);
    std::printf("%-7s checked %llu  mpfr-decided %llu  mismatches %llu\n", name,
                static_cast<unsigned long long>(c.checked.load()), static_cast<unsigned long long>(c.mpfr.load()),
                static_cast<unsigned long long>(c.mismatches.load()));
}

int sampled(std::uint64_t count) {
    int status = 0;
    for (const bool isPow : {false, true}) {
        DoubleContext ctx;
        Counts c;
        std::mt19937_64 rng(isPow ? 0x5eedb0b0u : 0x5eede1e1u);
        for (std::uint64_t i = 0; i < count; ++i) checkOne(isPow, rng, i, false, ctx, c);
        print(isPow ? "pow" : "exp", c);
        status |= c.mismatches.load() != 0;
    }
    return status;
}

// COUNT inputs in THREADS threads; a progress line every 10^8 inputs.
int randomRun(bool isPow, std::uint64_t count, unsigned threads, std::uint64_t seed) {
    Counts c;
    std::vector<std::thread> workers;
    for (unsigned t = 0; t < threads; ++t) {
        workers.emplace_back([&, t] {
            DoubleContext ctx;
            std::mt19937_64 rng(seed * 1000003u + t);
            for (std::uint64_t i = t; i < count; i += threads) {
                checkOne(isPow, rng, i, true, ctx, c);
                if (t == 0 && i % 100000000u < threads && i > 0) print(isPow ? "pow" : "exp", c);
            }
        });
    }
    for (std::thread& w : workers) w.join();
    print(isPow ? "pow" : "exp", c);
    return c.mismatches.load() == 0 ? 0 : 1;
}

int usage() {
    std::fprintf(stderr,
                 "usage: numerics-check-double sampled [COUNT]\n"
                 "       numerics-check-double random FUNC COUNT [THREADS] [SEED]   (FUNC: exp pow)\n");
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);  // every line out at once, for long runs
    if (argc < 2) return usage();
    const std::string mode = argv[1];
    if (mode == "sampled") return sampled(argc >= 3 ? std::stoull(argv[2]) : 1000000u);
    if (mode == "random" && argc >= 4) {
        const std::string f = argv[2];
        if (f != "exp" && f != "pow") return usage();
        const unsigned threads = argc >= 5 ? static_cast<unsigned>(std::stoul(argv[4])) : 1u;
        return randomRun(f == "pow", std::stoull(argv[3]), threads == 0 ? 1 : threads,
                         argc >= 6 ? std::stoull(argv[5]) : 1u);
    }
    return usage();
}
