// numerics-check: compares the library's float functions with MPFR, bit for bit.
//
//   numerics-check exhaustive FUNC [THREADS] [FIRST LAST]   every float bit pattern in [FIRST, LAST]
//                                                           (FUNC-plain: the form without fused
//                                                           multiply-adds, which the functions use
//                                                           on processors without them)
//   numerics-check sampled [COUNT] [HARD-CASE-FILE]         COUNT random inputs per function plus
//                                                           the inputs listed in the file
//   numerics-check pairs COUNT [THREADS] [SEED] [plain]     atan2f on COUNT random pairs
//   numerics-check doubles [COUNT] [THREADS] [SEED] [FUNCS] the double functions (DoubleCheck.cpp),
//                                                           COUNT inputs each; FUNCS: all or a
//                                                           comma-separated list
//   numerics-check array FUNC ISA [THREADS] [FIRST LAST]    the array form FUNC (sinf, expf,
//                                                           expf-short) with ISA (sse2, avx2,
//                                                           avx512) against the scalar function,
//                                                           every float bit pattern (ArrayCheck.cpp)
//   numerics-check array-pairs COUNT ISA [THREADS] [SEED]   atan2f's array form likewise
//   numerics-check array-sampled [COUNT]                    a sample of both, every usable ISA
//
// The expected result of each input is the correctly rounded value. A fast filter settles most
// inputs: the C runtime's double function (documented error below 1 ulp of double; we allow 16)
// rounded to float, when every double within the allowance rounds to the same float. MPFR, at float
// precision with float's exponent range and subnormals, decides the rest. Prints the counts; the
// exit status is 1 on any mismatch.
#include "numerics.h"
#include "FloatFunctions.h"
#include "ArrayCheck.h"
#include "DoubleCheck.h"
#include "SampleInputs.h"

#include <mpfr.h>

#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace plain = XELORAALGO::num::detail;

using Unary = float (*)(float);
using MpfrUnary = int (*)(mpfr_ptr, mpfr_srcptr, mpfr_rnd_t);

struct UnaryFunction {
    const char* name;
    Unary ours;
    double (*runtime)(double);
    MpfrUnary mpfr;
};

const UnaryFunction kUnary[] = {
    {"sinf", XELORAALGO::num::sinf, [](double x) { return std::sin(x); }, mpfr_sin},
    {"cosf", XELORAALGO::num::cosf, [](double x) { return std::cos(x); }, mpfr_cos},
    {"expf", XELORAALGO::num::expf, [](double x) { return std::exp(x); }, mpfr_exp},
    {"atanf", XELORAALGO::num::atanf, [](double x) { return std::atan(x); }, mpfr_atan},
    {"acosf", XELORAALGO::num::acosf, [](double x) { return std::acos(x); }, mpfr_acos},
    {"sinf-plain", plain::sinCosWith<plain::PlainOps, false>, [](double x) { return std::sin(x); }, mpfr_sin},
    {"cosf-plain", plain::sinCosWith<plain::PlainOps, true>, [](double x) { return std::cos(x); }, mpfr_cos},
    {"expf-plain", plain::expfWith<plain::PlainOps>, [](double x) { return std::exp(x); }, mpfr_exp},
    {"atanf-plain", plain::atanfWith<plain::PlainOps>, [](double x) { return std::atan(x); }, mpfr_atan},
    {"acosf-plain", plain::acosfWith<plain::PlainOps>, [](double x) { return std::acos(x); }, mpfr_acos},
};

using Binary = float (*)(float, float);
const Binary kAtan2Forms[2] = {XELORAALGO::num::atan2f, plain::atan2fWith<plain::PlainOps>};

float fromBits(std::uint32_t b) {
    float f;
    std::memcpy(&f, &b, sizeof f);
    return f;
}

std::uint32_t bitsOf(float f) {
    std::uint32_t b;
    std::memcpy(&b, &f, sizeof b);
    return b;
}

bool same(float a, float b) { return (a != a && b != b) || bitsOf(a) == bitsOf(b); }

// MPFR at float precision and float's exponent range (emin/emax are per thread).
struct FloatContext {
    mpfr_t in1, in2, out;
    FloatContext() {
        mpfr_set_emin(-148);
        mpfr_set_emax(128);
        mpfr_inits2(24, in1, in2, out, static_cast<mpfr_ptr>(nullptr));
    }
    ~FloatContext() { mpfr_clears(in1, in2, out, static_cast<mpfr_ptr>(nullptr)); }
    float finish(int ternary) {
        ternary = mpfr_subnormalize(out, ternary, MPFR_RNDN);
        return mpfr_get_flt(out, MPFR_RNDN);
    }
    float unary(MpfrUnary f, float x) {
        mpfr_set_flt(in1, x, MPFR_RNDN);
        return finish(f(out, in1, MPFR_RNDN));
    }
    float atan2(float y, float x) {
        mpfr_set_flt(in1, y, MPFR_RNDN);
        mpfr_set_flt(in2, x, MPFR_RNDN);
        return finish(mpfr_atan2(out, in1, in2, MPFR_RNDN));
    }
};

// The float that every value within 16 double ulps of d rounds to, if there is one. A NaN, an
// infinity or a zero from the double function (whose special values follow C99 Annex F) decides
// too: the float result is then the same special value, as the float range lies inside the
// double range.
bool filter(double d, float& out) {
    if (d != d || std::isinf(d) || d == 0.0) {
        out = static_cast<float>(d);
        return true;
    }
    const double e = std::fabs(d) * 0x1p-48;
    const float a = static_cast<float>(d - e);
    const float b = static_cast<float>(d + e);
    out = b;
    return a == b;
}

struct Counts {
    std::atomic<std::uint64_t> checked{0}, mpfr{0}, mismatches{0};
};

std::mutex printLock;

void report(const char* name, float x, float y, float got, float want) {
    std::lock_guard<std::mutex> lock(printLock);
    if (y == y)
        std::printf("MISMATCH %s(%a, %a): got %a, want %a\n", name, y, x, got, want);
    else
        std::printf("MISMATCH %s(%a): got %a, want %a\n", name, x, got, want);
}

void checkUnary(const UnaryFunction& f, float x, FloatContext& ctx, Counts& c, std::vector<float>* hard) {
    const float got = f.ours(x);
    float want;
    if (!filter(f.runtime(x), want)) {
        want = ctx.unary(f.mpfr, x);
        c.mpfr.fetch_add(1, std::memory_order_relaxed);
        if (hard && std::isfinite(x)) hard->push_back(x);
    }
    c.checked.fetch_add(1, std::memory_order_relaxed);
    if (!same(got, want)) {
        c.mismatches.fetch_add(1, std::memory_order_relaxed);
        report(f.name, x, NAN, got, want);
    }
}

void checkAtan2(float y, float x, FloatContext& ctx, Counts& c, Binary atan2f = XELORAALGO::num::atan2f) {
    const float got = atan2f(y, x);
    float want;
    if (!filter(std::atan2(static_cast<double>(y), static_cast<double>(x)), want)) {
        want = ctx.atan2(y, x);
        c.mpfr.fetch_add(1, std::memory_order_relaxed);
    }
    c.checked.fetch_add(1, std::memory_order_relaxed);
    if (!same(got, want)) {
        c.mismatches.fetch_add(1, std::memory_order_relaxed);
        report("atan2f", x, y, got, want);
    }
}

const UnaryFunction* findUnary(const std::string& name) {
    for (const auto& f : kUnary)
        if (name == f.name) return &f;
    return nullptr;
}

void print(const char* name, const Counts& c) {
    std::printf("%-7s checked %llu  mpfr-decided %llu  mismatches %llu\n", name,
        static_cast<unsigned long long>(c.checked.load()), static_cast<unsigned long long>(c.mpfr.load()),
        static_cast<unsigned long long>(c.mismatches.load()));
}

template <class Body>
void inThreads(unsigned threads, std::uint64_t count, Body body) {
    std::vector<std::thread> pool;
    for (unsigned t = 0; t < threads; ++t) {
        pool.emplace_back([=] { body(count * t / threads, count * (t + 1) / threads, t); });
    }
    for (auto& th : pool) th.join();
}

int exhaustive(const UnaryFunction& f, unsigned threads, std::uint64_t first, std::uint64_t last, const char* hardOut) {
    Counts c;
    std::vector<std::vector<float>> hard(threads);
    inThreads(threads, last - first + 1, [&](std::uint64_t b, std::uint64_t e, unsigned t) {
        FloatContext ctx;
        for (std::uint64_t i = b; i < e; ++i)
            checkUnary(f, fromBits(static_cast<std::uint32_t>(first + i)), ctx, c, &hard[t]);
    });
    print(f.name, c);
    if (hardOut) {
        std::ofstream out(hardOut, std::ios::app);
        for (const auto& list : hard)
            for (float x : list) out << f.name << ' ' << std::hexfloat << x << '\n';
    }
    return c.mismatches.load() == 0 ? 0 : 1;
}

int sampled(std::uint64_t count, const char* hardFile) {
    int status = 0;
    const auto hard = hardCases(hardFile);
    FloatContext ctx;
    for (const auto& f : kUnary) {
        Counts c;
        for (float x : sampleInputs(f.name, count, hard)) checkUnary(f, x, ctx, c, nullptr);
        print(f.name, c);
        status |= c.mismatches.load() ? 1 : 0;
    }
    std::vector<float> y, x;
    sampleAtan2Inputs(count, y, x);
    for (Binary form : kAtan2Forms) {
        Counts c;
        for (std::size_t i = 0; i < y.size(); ++i) checkAtan2(y[i], x[i], ctx, c, form);
        print(form == kAtan2Forms[0] ? "atan2f" : "atan2f-plain", c);
        status |= c.mismatches.load() ? 1 : 0;
    }
    return status;
}

int pairs(std::uint64_t count, unsigned threads, std::uint64_t seed, bool plainForm) {
    const Binary form = kAtan2Forms[plainForm ? 1 : 0];
    Counts c;
    inThreads(threads, count, [&](std::uint64_t b, std::uint64_t e, unsigned t) {
        FloatContext ctx;
        std::mt19937_64 rng(seed * 1000003u + t);
        std::uniform_real_distribution<float> level(-300.0f, 300.0f);
        for (std::uint64_t i = b; i < e; ++i) {
            if (i % 2 == 0)
                checkAtan2(fromBits(static_cast<std::uint32_t>(rng())), fromBits(static_cast<std::uint32_t>(rng())), ctx, c, form);
            else
                checkAtan2(level(rng), level(rng), ctx, c, form);
        }
    });
    print(plainForm ? "atan2f-plain" : "atan2f", c);
    return c.mismatches.load() == 0 ? 0 : 1;
}

int usage() {
    std::fprintf(stderr,
        "usage: numerics-check exhaustive FUNC [THREADS] [FIRST LAST] [HARD-CASES-OUT]\n"
        "       numerics-check sampled [COUNT] [HARD-CASE-FILE]\n"
        "       numerics-check pairs COUNT [THREADS] [SEED] [plain]\n"
        "       numerics-check doubles [COUNT] [THREADS] [SEED] [exp,sin,cos,atan,atan2,pow|all]\n"
        "       numerics-check array sinf|expf|expf-short sse2|avx2|avx512 [THREADS] [FIRST LAST]\n"
        "       numerics-check array-pairs COUNT sse2|avx2|avx512 [THREADS] [SEED]\n"
        "       numerics-check array-sampled [COUNT]\n"
        "FUNC: sinf cosf expf atanf acosf, or one of them with -plain\n");
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);  // every line out at once, for long runs
    if (argc < 2) return usage();
    const std::string mode = argv[1];
    if (mode == "exhaustive" && argc >= 3) {
        const UnaryFunction* f = findUnary(argv[2]);
        if (!f) return usage();
        const unsigned threads = argc >= 4 ? static_cast<unsigned>(std::stoul(argv[3])) : 1u;
        const std::uint64_t first = argc >= 6 ? std::stoull(argv[4], nullptr, 0) : 0;
        const std::uint64_t last = argc >= 6 ? std::stoull(argv[5], nullptr, 0) : 0xffffffffull;
        return exhaustive(*f, threads == 0 ? 1 : threads, first, last, argc >= 7 ? argv[6] : nullptr);
    }
    if (mode == "array" && argc >= 4) {
        const unsigned threads = argc >= 5 ? static_cast<unsigned>(std::stoul(argv[4])) : 1u;
        const std::uint64_t first = argc >= 7 ? std::stoull(argv[5], nullptr, 0) : 0;
        const std::uint64_t last = argc >= 7 ? std::stoull(argv[6], nullptr, 0) : 0xffffffffull;
        return arraycheck::exhaustive(argv[2], argv[3], threads == 0 ? 1 : threads, first, last);
    }
    if (mode == "array-pairs" && argc >= 4)
        return arraycheck::pairs(std::stoull(argv[2]), argv[3], argc >= 5 ? static_cast<unsigned>(std::stoul(argv[4])) : 1u,
                                 argc >= 6 ? std::stoull(argv[5]) : 1u);
    if (mode == "array-sampled") return arraycheck::sampled(argc >= 3 ? std::stoull(argv[2]) : 1000000u);
    if (mode == "sampled")
        return sampled(argc >= 3 ? std::stoull(argv[2]) : 1000000u, argc >= 4 ? argv[3] : nullptr);
    if (mode == "doubles")
        return checkDoubles(argc >= 3 ? std::stoull(argv[2]) : 1000000u,
                            argc >= 4 ? static_cast<unsigned>(std::stoul(argv[3])) : 1u,
                            argc >= 5 ? std::stoull(argv[4]) : 1u, argc >= 6 ? argv[5] : "all");
    if (mode == "pairs" && argc >= 3)
        return pairs(std::stoull(argv[2]), argc >= 4 ? static_cast<unsigned>(std::stoul(argv[3])) : 1u,
                     argc >= 5 ? std::stoull(argv[4]) : 1u, argc >= 6 && std::string(argv[5]) == "plain");
    return usage();
}
