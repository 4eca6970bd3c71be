// The inputs of the sampled comparison with MPFR, shared with the test of the array forms so that
// both run on the same values: uniform bit patterns (every binade and the special values alike),
// uniform values over the ranges the library feeds each function, and listed hard cases (inputs
// whose value lies close to a float rounding boundary, from the exhaustive run, and inputs whose
// fast kernel leaves the rounding undecided, so that both forms of each function take their
// double-double path on them).
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <string>
#include <utility>
#include <vector>

inline std::vector<std::pair<std::string, float>> hardCases(const char* file) {
    std::vector<std::pair<std::string, float>> hard;
    if (!file) return hard;
    std::ifstream in(file);
    std::string name, value;
    while (in >> name >> value) hard.emplace_back(name, std::strtof(value.c_str(), nullptr));
    return hard;
}

inline float floatFromBits(std::uint32_t b) {
    float f;
    std::memcpy(&f, &b, sizeof f);
    return f;
}

// name: a function, or a function and a suffix of its form ("sinf-plain"): the same inputs.
inline std::vector<float> sampleInputs(const std::string& form, std::uint64_t count,
                                       const std::vector<std::pair<std::string, float>>& hard) {
    const std::string name = form.substr(0, form.find('-'));
    std::mt19937_64 rng(0x5eed0000u + static_cast<unsigned>(name[0]) * 7u + static_cast<unsigned>(name[1]));
    std::uniform_real_distribution<float> range = name == "acosf" ? std::uniform_real_distribution<float>(-1.0f, 1.0f)
                                                : name == "expf"  ? std::uniform_real_distribution<float>(-104.0f, 89.0f)
                                                                  : std::uniform_real_distribution<float>(-20.0f, 20.0f);
    std::vector<float> x;
    x.reserve(count);
    for (std::uint64_t i = 0; i < count; ++i)
        x.push_back(i % 2 == 0 ? floatFromBits(static_cast<std::uint32_t>(rng())) : range(rng));
    for (const auto& h : hard)
        if (h.first == name) x.push_back(h.second);
    return x;
}

// Pairs (y, x) for atan2f: uniform bit patterns, and the integer levels -255 .. 255 of the phase
// decoders' sums (every sign and axis case, exact multiples of pi/4 among them).
inline void sampleAtan2Inputs(std::uint64_t count, std::vector<float>& y, std::vector<float>& x) {
    std::mt19937_64 rng(0x5eed2a2a);
    std::uniform_int_distribution<int> level(-255, 255);
    for (std::uint64_t i = 0; i < count; ++i) {
        if (i % 2 == 0) {
            y.push_back(floatFromBits(static_cast<std::uint32_t>(rng())));
            x.push_back(floatFromBits(static_cast<std::uint32_t>(rng())));
        } else {
            y.push_back(static_cast<float>(level(rng)));
            x.push_back(static_cast<float>(level(rng)));
        }
    }
}
