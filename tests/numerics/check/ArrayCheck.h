// The array forms of sinf, expf and atan2f (and the short exp kernel of the AVX-512 loops) against
// the scalar functions, bit for bit, for the numerics-check program (ArrayCheck.cpp).
#pragma once

#include <cstdint>

namespace arraycheck {

// Every float bit pattern in [first, last] through the array form `name` (sinf, expf, expf-short)
// with instruction set `isa` (sse2, avx2, avx512). Prints the counts; 0 when every result matches,
// 1 on a mismatch, 2 on a bad name or an instruction set the processor lacks.
int exhaustive(const char* name, const char* isa, unsigned threads, std::uint64_t first, std::uint64_t last);

// atan2f's array form on `count` pairs (half random bit patterns, half ordinary values) plus every
// pair of the special values, with instruction set `isa`.
int pairs(std::uint64_t count, const char* isa, unsigned threads, std::uint64_t seed);

// A sample of the above for every function and every usable instruction set (the ctest).
int sampled(std::uint64_t count);

}  // namespace arraycheck
