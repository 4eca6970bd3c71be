// The array forms of sinf, expf and atan2f with Avx2 and fused multiply-adds, chosen at run time where
// the processor has both (the lanes perform the operations of the scalar functions' fused form).
// Inputs: n floats at x (and y), the caller's; outputs: n floats at out, the caller's, each equal to
// the scalar function's result. Compiled for Avx2: no standard header (see VectorIsa.inc).
#if defined(__GNUC__) && defined(__x86_64__)
#pragma GCC push_options
#pragma GCC target("avx2,fma")
#include <immintrin.h>

namespace XELORAALGO::num::detail {
namespace {

// a * b + c rounded once, each operand a lane vector or a constant.
struct FusedLanes256 {
    __attribute__((always_inline)) static __m256d lanes(__m256d v) { return v; }
    __attribute__((always_inline)) static __m256d lanes(double c) { return _mm256_set1_pd(c); }
    template <class A, class B, class C>
    __attribute__((always_inline)) static __m256d madd(A a, B b, C c) {
        return _mm256_fmadd_pd(lanes(a), lanes(b), lanes(c));
    }
};

}  // namespace
}  // namespace XELORAALGO::num::detail

#define XELORA_ISA Avx2
#define XELORA_LANES __m256d
#define XELORA_GATHER(table, i) _mm256_i64gather_pd(table, (__m256i)(i), 8)
#define XELORA_TAKE64(table, i) XELORA_GATHER(table, i)
#define XELORA_WIDEN(p) _mm256_cvtps_pd(_mm_loadu_ps(p))
#define XELORA_NARROW(v) _mm256_cvtpd_ps(v)
#define XELORA_ALL_FLOATS(m) (_mm_movemask_ps((__m128)(m)) == 0xf)
#define XELORA_ALL(m) (_mm256_movemask_pd((__m256d)(m)) == 0xf)
#define XELORA_OPS FusedLanes256
#include "VectorIsa.inc"
#pragma GCC pop_options
#endif
