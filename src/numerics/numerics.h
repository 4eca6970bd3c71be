// The library's own elementary functions. Every subsystem calls these instead of the C runtime's,
// so that the same inputs give the same bits on every compiler, platform and processor.
//
// Float functions return the correctly rounded result (round to nearest, ties to even) of the exact
// mathematical function, for every float input; special values follow C99 Annex F (NaN in, NaN out;
// signed zeros kept; sin and cos of an infinity are NaN; atan2 of signed zeros and infinities gives
// the signed multiples of pi/4; expf overflows to +inf and underflows to +0 through the subnormals).
// They use only IEEE-754 double and float additions, multiplications, divisions and square roots
// in the default rounding mode (round to nearest): no x87, no library call, and fused multiply-adds
// only as explicit instructions of a second form of the scalar functions and of the AVX2 and
// AVX-512 array forms, chosen at run time where the processor has them. Each evaluates first in double with a proven error bound; when that
// result lies too close to a rounding boundary of float to decide, a double-double evaluation
// settles it. Every form returns the correctly rounded value, so the bits never depend on the form.
#pragma once

#include <cstddef>

namespace XELORAALGO::num {

float sinf(float x);
float cosf(float x);
float expf(float x);
float atanf(float x);
float acosf(float x);
float atan2f(float y, float x);  // the angle of the point (x, y), in [-pi, pi]

// Double functions, correctly rounded likewise (round to nearest, ties to even), Annex F special
// values, overflow to +inf and underflow through the subnormals.
double exp(double x);
double sin(double x);
double cos(double x);
double atan(double x);
double atan2(double y, double x);  // the angle of the point (x, y), in [-pi, pi]
// x^y, with the special values of C99 Annex F: pow(x, +-0) = 1 and pow(+1, y) = 1 even for a NaN
// argument, pow(-1, +-inf) = 1, a negative x with a non-integer y gives NaN, an odd integer y keeps
// the sign of a negative x (and of a zero or infinite x). Exact results and results exactly halfway
// between two doubles are recognised, so they too are rounded to nearest, ties to even.
double pow(double x, double y);

// Instruction sets of the array forms (and of other vector code in the library).
enum class Isa { Sse2, Avx, Avx2, Avx512 };
bool isaUsable(Isa isa);  // the processor has it and the system saves its registers
Isa widestIsa();          // the widest usable of Sse2, Avx2 and Avx512
// Whether run-time chosen AVX2 code may run: the processor has it and the platform keeps the
// stack aligned for 32-byte vectors (not so with GCC on 64-bit Windows, where widestIsa is Sse2).
inline bool avx2Allowed() {
    const Isa widest = widestIsa();
    return widest == Isa::Avx2 || widest == Isa::Avx512;
}

// Array forms: out[i] = f(x[i]) (atan2f(y[i], x[i])) for i < n, the very bits of the scalar
// function, computed with the given instruction set (or the widest usable one below it).
void sinf(const float* x, float* out, std::size_t n, Isa isa = widestIsa());
void expf(const float* x, float* out, std::size_t n, Isa isa = widestIsa());
void atan2f(const float* y, const float* x, float* out, std::size_t n, Isa isa = widestIsa());

// IEEE square roots, always as the processor's instruction (never a library call).
double sqrt(double x);
float sqrtf(float x);

}  // namespace XELORAALGO::num
