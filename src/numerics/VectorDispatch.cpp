// The array forms of sinf, expf and atan2f: SSE2 (every x86-64 processor), AVX2 or AVX-512, chosen
// at run time; all three give the scalar function's bits for every element.
#include "VectorForms.h"
#include "numerics.h"

#include <emmintrin.h>

namespace XELORAALGO::num {
namespace detail {

void sinfArrayAvx2(const float* x, float* out, Size n);
void expfArrayAvx2(const float* x, float* out, Size n);
void atan2fArrayAvx2(const float* y, const float* x, float* out, Size n);
void sinfArrayAvx512(const float* x, float* out, Size n);
void expfArrayAvx512(const float* x, float* out, Size n);
void atan2fArrayAvx512(const float* y, const float* x, float* out, Size n);

namespace {

// On Windows, GCC does not align the stack for 32- and 64-byte vectors that spill to it, so the
// array forms keep to SSE2 there (their results are the same with every instruction set).
#if defined(_WIN32)
constexpr bool kWideVectorsSafe = false;
#else
constexpr bool kWideVectorsSafe = true;
#endif

// The AVX2 forms use fused multiply-adds too (every AVX2 processor but a rare few has them; those
// take the SSE2 forms).
bool usableForArrays(Isa isa) { return isaUsable(isa) && (isa != Isa::Avx2 || __builtin_cpu_supports("fma")); }

Isa usableOrNarrower(Isa isa) {
    if (!kWideVectorsSafe) return Isa::Sse2;
    while (isa != Isa::Sse2 && !usableForArrays(isa)) isa = isa == Isa::Avx512 ? Isa::Avx2 : Isa::Sse2;
    return isa == Isa::Avx ? Isa::Sse2 : isa;
}

}  // namespace
}  // namespace detail

bool isaUsable(Isa isa) {
    // __builtin_cpu_supports also checks that the system saves the wider registers.
    switch (isa) {
        case Isa::Sse2: return true;
        case Isa::Avx: return __builtin_cpu_supports("avx");
        case Isa::Avx2: return __builtin_cpu_supports("avx2");
        case Isa::Avx512: return __builtin_cpu_supports("avx512f");
    }
    return false;
}

Isa widestIsa() {
    static const Isa widest = detail::usableOrNarrower(Isa::Avx512);
    return widest;
}

void sinf(const float* x, float* out, std::size_t n, Isa isa) {
    switch (detail::usableOrNarrower(isa)) {
        case Isa::Avx512: detail::sinfArrayAvx512(x, out, n); break;
        case Isa::Avx2: detail::sinfArrayAvx2(x, out, n); break;
        default: detail::sinfArray<__m128d>(x, out, n); break;
    }
}

void expf(const float* x, float* out, std::size_t n, Isa isa) {
    switch (detail::usableOrNarrower(isa)) {
        case Isa::Avx512: detail::expfArrayAvx512(x, out, n); break;
        case Isa::Avx2: detail::expfArrayAvx2(x, out, n); break;
        default: detail::expfArray<__m128d>(x, out, n); break;
    }
}

void atan2f(const float* y, const float* x, float* out, std::size_t n, Isa isa) {
    switch (detail::usableOrNarrower(isa)) {
        case Isa::Avx512: detail::atan2fArrayAvx512(y, x, out, n); break;
        case Isa::Avx2: detail::atan2fArrayAvx2(y, x, out, n); break;
        default: detail::atan2fArray<__m128d>(y, x, out, n); break;
    }
}

}  // namespace XELORAALGO::num
