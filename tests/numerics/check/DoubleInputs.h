// Inputs of the comparisons of the double exp and pow with MPFR (numerics-check-double and the unit
// tests): random values over the whole domains and over the ranges the library feeds the functions,
// and families of hard cases (exact results, midpoints between doubles, subnormal results, the
// overflow threshold, near-1 bases with huge exponents).
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <utility>

namespace doublecheck {

inline double fromBits(std::uint64_t b) {
    double d;
    std::memcpy(&d, &b, sizeof d);
    return d;
}

inline std::uint64_t bitsOf(double d) {
    std::uint64_t b;
    std::memcpy(&b, &d, sizeof b);
    return b;
}

// Input i of exp, cycling through its families.
inline double expInput(std::mt19937_64& rng, std::uint64_t i) {
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    switch (i % 6) {
        case 0: return -746.0 + 1456.0 * unit(rng);                         // the whole domain
        case 1: return -20.0 * unit(rng);                                    // Gaussian weights
        case 2: return std::ldexp(2.0 * unit(rng) - 1.0, -static_cast<int>(rng() % 80));  // tiny
        case 3: return -745.2 + 37.0 * unit(rng);                            // subnormal results
        case 4: return 709.0 + 0.8 * unit(rng);                              // near the overflow threshold
        default: return fromBits(rng());                                     // every bit pattern
    }
}

// An odd integer of at most `bits` bits.
inline std::uint64_t oddInteger(std::mt19937_64& rng, int bits) { return (rng() >> (64 - bits)) | 1u; }

// Input i of pow, cycling through its families.
inline std::pair<double, double> powInput(std::mt19937_64& rng, std::uint64_t i) {
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    const double sign = (rng() & 1) ? -1.0 : 1.0;
    switch (i % 12) {
        case 0: return {fromBits(rng()), fromBits(rng())};                    // every bit pattern
        case 1: return {100.0 * unit(rng), 80.0 * unit(rng) - 40.0};           // ordinary values
        case 2:                                                                // the fits: small integer powers
            return {sign * 1000.0 * unit(rng), static_cast<double>(rng() % 21)};
        case 3:                                                                // scaled coordinates, powers of 10
            return (rng() & 1) ? std::pair<double, double>{sign * 5.0 * unit(rng), static_cast<double>(rng() % 11)}
                               : std::pair<double, double>{10.0, 2.0 * static_cast<double>(static_cast<int>(rng() % 21) - 10)};
        case 4: {                                                              // near-1 bases, huge exponents
            const double x = 1.0 + std::ldexp(static_cast<double>(static_cast<std::int64_t>(rng() % 2000001) - 1000000), -52);
            return {x, sign * std::ldexp(1.0 + unit(rng), 30 + static_cast<int>(rng() % 30))};
        }
        case 5: {                                                              // exact integer powers and midpoints
            const int n = 2 + static_cast<int>(rng() % 6);
            const double t = static_cast<double>(oddInteger(rng, 54 / n + static_cast<int>(rng() % 2)));
            return {std::ldexp(t, static_cast<int>(rng() % 200) - 100), static_cast<double>(n)};
        }
        case 6: {                                                              // roots of exact powers: t^(n/2^k)
            const int k = 1 + static_cast<int>(rng() % 3), n = 1 + 2 * static_cast<int>(rng() % 3);
            const double t = static_cast<double>(oddInteger(rng, 53 >> k));
            return {std::pow(t, static_cast<double>(1 << k)) * std::ldexp(1.0, 4 * (static_cast<int>(rng() % 20) - 10)),
                    static_cast<double>(n) / static_cast<double>(1 << k)};
        }
        case 7: {                                                              // powers of two to dyadic powers
            const double y = std::ldexp(static_cast<double>(static_cast<std::int64_t>(rng() % 4001) - 2000), -static_cast<int>(rng() % 8));
            return {std::ldexp(1.0, static_cast<int>(rng() % 2100) - 1074), y};
        }
        case 8: {                                                              // subnormal and underflowing results
            const double x = 0.01 + 0.98 * unit(rng);
            return {x, (708.0 + 38.0 * unit(rng)) / -std::log(x)};
        }
        case 9: {                                                              // around the overflow threshold
            const double x = 1.5 + 100.0 * unit(rng);
            return {x, 709.782712893384 / std::log(x) * (1.0 + std::ldexp(2.0 * unit(rng) - 1.0, -40))};
        }
        case 10: return {unit(rng) * 1e6, 0.5};                                // square roots
        default: return {sign * fromBits(rng() >> 2), static_cast<double>(static_cast<std::int64_t>(rng() % 201) - 100)};
    }
}

}  // namespace doublecheck
