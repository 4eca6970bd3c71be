// Array forms against the scalar functions: the scalar function is the reference (its own
// correctness is numerics-check's other modes), and every output of the array form must have its
// bits (NaN included: the array forms hand NaN lanes to the scalar function).
#include "ArrayCheck.h"
#include "SampleInputs.h"

#include "numerics.h"
#include "Kernels.h"

#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace arraycheck {
namespace {

namespace num = XELORAALGO::num;

std::uint32_t bitsOf(float f) {
    std::uint32_t b;
    std::memcpy(&b, &f, sizeof b);
    return b;
}

bool isaByName(const std::string& name, num::Isa& isa) {
    if (name == "sse2") isa = num::Isa::Sse2;
    else if (name == "avx2") isa = num::Isa::Avx2;
    else if (name == "avx512") isa = num::Isa::Avx512;
    else return false;
    return true;
}

using ArrayForm = void (*)(const float*, float*, std::size_t, num::Isa);
using Scalar = float (*)(float);

void expfShort(const float* x, float* out, std::size_t n, num::Isa) {
    num::detail::expfShortArrayAvx512(x, out, n);
}

bool unaryByName(const std::string& name, ArrayForm& array, Scalar& scalar, bool& avx512Only) {
    avx512Only = false;
    if (name == "sinf") {
        array = num::sinf, scalar = num::sinf;
    } else if (name == "expf") {
        array = num::expf, scalar = num::expf;
    } else if (name == "expf-short") {
        array = expfShort, scalar = num::expf, avx512Only = true;
    } else {
        return false;
    }
    return true;
}

struct Counts {
    std::atomic<std::uint64_t> checked{0}, mismatches{0};
};

std::mutex printLock;

void mismatch(const std::string& what, Counts& c, float y, float x, float got, float want) {
    if (c.mismatches.fetch_add(1) >= 20) return;
    std::lock_guard<std::mutex> lock(printLock);
    if (std::isnan(y))
        std::printf("MISMATCH %s(%a): array %a, scalar %a\n", what.c_str(), x, got, want);
    else
        std::printf("MISMATCH %s(%a, %a): array %a, scalar %a\n", what.c_str(), y, x, got, want);
}

void print(const std::string& what, const Counts& c) {
    std::printf("%-22s checked %llu  mismatches %llu\n", what.c_str(), static_cast<unsigned long long>(c.checked.load()),
                static_cast<unsigned long long>(c.mismatches.load()));
}

// The inputs [b, e) of a list produced by input(i), through the array form in chunks.
template <class Input>
void checkUnaryRange(ArrayForm array, Scalar scalar, num::Isa isa, std::uint64_t b, std::uint64_t e, Input input,
                     const std::string& what, Counts& c) {
    constexpr std::size_t kChunk = 1 << 16;
    std::vector<float> x(kChunk), out(kChunk);
    for (std::uint64_t i = b; i < e; i += kChunk) {
        const std::size_t n = static_cast<std::size_t>(e - i < kChunk ? e - i : kChunk);
        for (std::size_t k = 0; k < n; ++k) x[k] = input(i + k);
        array(x.data(), out.data(), n, isa);
        for (std::size_t k = 0; k < n; ++k) {
            const float want = scalar(x[k]);
            if (bitsOf(out[k]) != bitsOf(want)) mismatch(what, c, NAN, x[k], out[k], want);
        }
        c.checked.fetch_add(n);
    }
}

template <class Body>
void inThreads(unsigned threads, std::uint64_t count, Body body) {
    std::vector<std::thread> pool;
    for (unsigned t = 0; t < threads; ++t) pool.emplace_back([=] { body(count * t / threads, count * (t + 1) / threads, t); });
    for (auto& th : pool) th.join();
}

void checkPairs(num::Isa isa, const std::vector<float>& y, const std::vector<float>& x, const std::string& what,
                Counts& c) {
    std::vector<float> out(y.size());
    num::atan2f(y.data(), x.data(), out.data(), y.size(), isa);
    for (std::size_t k = 0; k < y.size(); ++k) {
        const float want = num::atan2f(y[k], x[k]);
        if (bitsOf(out[k]) != bitsOf(want)) mismatch(what, c, y[k], x[k], out[k], want);
    }
    c.checked.fetch_add(y.size());
}

const float kSpecials[] = {0.0f, -0.0f, std::numeric_limits<float>::infinity(), -std::numeric_limits<float>::infinity(),
                           std::numeric_limits<float>::quiet_NaN(), -std::numeric_limits<float>::quiet_NaN(),
                           std::numeric_limits<float>::denorm_min(), -std::numeric_limits<float>::denorm_min(),
                           std::numeric_limits<float>::min(), -std::numeric_limits<float>::min(),
                           std::numeric_limits<float>::max(), -std::numeric_limits<float>::max(), 1.0f, -1.0f,
                           0x1p-125f, 0x1p100f, 0x1p-100f};

// Every pair of special values.
void specialPairs(num::Isa isa, const std::string& what, Counts& c) {
    std::vector<float> y, x;
    for (float a : kSpecials)
        for (float b : kSpecials) y.push_back(a), x.push_back(b);
    checkPairs(isa, y, x, what, c);
}

// count pairs from the seeded stream of chunk t: even ones random bit patterns, odd ones in
// [-300, 300] (the decoders' range).
void randomPairs(num::Isa isa, std::uint64_t count, std::uint64_t seed, const std::string& what, Counts& c) {
    std::mt19937_64 rng(seed);
    std::uniform_real_distribution<float> level(-300.0f, 300.0f);
    constexpr std::size_t kChunk = 1 << 16;
    std::vector<float> y(kChunk), x(kChunk);
    for (std::uint64_t i = 0; i < count; i += kChunk) {
        const std::size_t n = static_cast<std::size_t>(count - i < kChunk ? count - i : kChunk);
        y.resize(n), x.resize(n);
        for (std::size_t k = 0; k < n; ++k) {
            if (k % 2 == 0)
                y[k] = floatFromBits(static_cast<std::uint32_t>(rng())), x[k] = floatFromBits(static_cast<std::uint32_t>(rng()));
            else
                y[k] = level(rng), x[k] = level(rng);
        }
        checkPairs(isa, y, x, what, c);
    }
}

}  // namespace

int exhaustive(const char* name, const char* isaName, unsigned threads, std::uint64_t first, std::uint64_t last) {
    ArrayForm array = nullptr;
    Scalar scalar = nullptr;
    bool avx512Only = false;
    num::Isa isa = num::Isa::Sse2;
    if (!unaryByName(name, array, scalar, avx512Only) || !isaByName(isaName, isa)) return 2;
    if (!num::isaUsable(isa) || (avx512Only && (isa != num::Isa::Avx512 || num::widestIsa() != num::Isa::Avx512))) {
        std::printf("%s: instruction set not usable here\n", isaName);
        return 2;
    }
    Counts c;
    const std::string what = std::string(name) + "/" + isaName;
    inThreads(threads, last - first + 1, [&](std::uint64_t b, std::uint64_t e, unsigned) {
        checkUnaryRange(array, scalar, isa, b, e, [first](std::uint64_t i) { return floatFromBits(static_cast<std::uint32_t>(first + i)); },
                        what, c);
    });
    print(what, c);
    return c.mismatches.load() == 0 ? 0 : 1;
}

int pairs(std::uint64_t count, const char* isaName, unsigned threads, std::uint64_t seed) {
    num::Isa isa = num::Isa::Sse2;
    if (!isaByName(isaName, isa)) return 2;
    if (!num::isaUsable(isa)) {
        std::printf("%s: instruction set not usable here\n", isaName);
        return 2;
    }
    Counts c;
    const std::string what = std::string("atan2f/") + isaName;
    specialPairs(isa, what, c);
    inThreads(threads, count, [&](std::uint64_t b, std::uint64_t e, unsigned t) {
        randomPairs(isa, e - b, seed * 1000003u + t, what, c);
    });
    print(what, c);
    return c.mismatches.load() == 0 ? 0 : 1;
}

int sampled(std::uint64_t count) {
    int status = 0;
    for (const char* isaName : {"sse2", "avx2", "avx512"}) {
        num::Isa isa = num::Isa::Sse2;
        isaByName(isaName, isa);
        if (!num::isaUsable(isa)) continue;
        for (const char* name : {"sinf", "expf", "expf-short"}) {
            ArrayForm array = nullptr;
            Scalar scalar = nullptr;
            bool avx512Only = false;
            unaryByName(name, array, scalar, avx512Only);
            if (avx512Only && (isa != num::Isa::Avx512 || num::widestIsa() != num::Isa::Avx512)) continue;
            Counts c;
            const std::string what = std::string(name) + "/" + isaName;
            // Random bit patterns, then a dense run of the arguments the loops meet most.
            std::mt19937 rng(7);
            checkUnaryRange(array, scalar, isa, 0, count, [&rng](std::uint64_t) { return floatFromBits(static_cast<std::uint32_t>(rng())); },
                            what, c);
            const std::uint32_t start = bitsOf(name[0] == 's' ? -20.0f : -88.0f);
            checkUnaryRange(array, scalar, isa, 0, count, [start](std::uint64_t i) { return floatFromBits(start - static_cast<std::uint32_t>(i * 509)); },
                            what, c);
            print(what, c);
            status |= c.mismatches.load() ? 1 : 0;
        }
        Counts c;
        const std::string what = std::string("atan2f/") + isaName;
        specialPairs(isa, what, c);
        randomPairs(isa, count, 11, what, c);
        print(what, c);
        status |= c.mismatches.load() ? 1 : 0;
    }
    return status;
}

}  // namespace arraycheck
