// The comparison of the library's double functions with MPFR (numerics-check doubles).
#pragma once

#include <cstdint>
#include <string>

// Checks COUNT inputs of each named function (exp, sin, cos, atan, atan2, pow; "all" for every one) on
// THREADS threads, inputs drawn from SEED; prints the counts per function and returns 1 on any
// mismatch, else 0.
int checkDoubles(std::uint64_t count, unsigned threads, std::uint64_t seed, const std::string& functions);
