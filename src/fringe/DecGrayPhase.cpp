// DecGrayPhase1, UnDecGrayPhase1, UnDecGrayPhase2: Gray-code + four-step phase-shift decoding of the
// eleven pattern images of one camera.
//
// Inputs:  engine.roi (width x height = N pixels), engine.phaseSin/phaseCos and the two 511 x 511
//          lookup tables phaseAtanLut/modulationLut (built by the engine's constructor);
//          patternImages: 11 caller-owned 8-bit planes of N bytes, read only:
//            0..5  Gray-code bits, plane 0 the most significant; 6  the half-period-shifted bit;
//            7..10 fringes with phase shifts pi/2, pi, 3pi/2, 2pi.
// Outputs (caller-owned, N elements each, every pixel written):
//          validMask (modulation above the decoder's threshold), modulationMap (grey levels),
//          averageMap (mean of the four fringes, grey levels), absolutePhase (radians, 0 .. ~64*2pi).
// The three decoders share one algorithm and differ only in their Variant settings (below). Each threaded pass runs
// on 8 banded workers; the last N mod 8 pixels, which no worker owns, are decoded the same way on
// the calling thread, so every pixel is decoded whatever the ROI. The two-pass path keeps its
// first-pass maps in the outputs themselves (the wrapped phase in absolutePhase until it is unwrapped);
// its smoothing rounds allocate only rows (PhaseRounds.cpp).
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "fringe.h"
#include "frame/BandedWorkers.h"
#include "numerics/numerics.h"

namespace XELORAALGO {
namespace fringe {

namespace detail {
#define XELORA_FRINGE_ISA Base
#define XELORA_FRINGE_BYTES 16
#include "TruncatingSums.inc"
#undef XELORA_FRINGE_BYTES
#undef XELORA_FRINGE_ISA
#if defined(__GNUC__) && defined(__x86_64__)
void truncatingSumsAvx2(int* s, int* c, int* a, const unsigned char* const* fringes, const double* sinK,
                        const double* cosK, long long n);
#if !defined(_WIN32)
void truncatingSumsAvx512(int* s, int* c, int* a, const unsigned char* const* fringes, const double* sinK,
                          const double* cosK, long long n);
#endif
#endif

TruncatingSums truncatingSums(num::Isa isa) {
#if defined(__GNUC__) && defined(__x86_64__)
#if !defined(_WIN32)
    if (isa == num::Isa::Avx512 && num::widestIsa() == num::Isa::Avx512) return truncatingSumsAvx512;
#endif
    if ((isa == num::Isa::Avx2 || isa == num::Isa::Avx512) && num::avx2Allowed()) return truncatingSumsAvx2;
#endif
    (void)isa;
    return truncatingSumsBase;
}
}  // namespace detail

namespace {

constexpr float kTwoPiF = 6.2831855f;

struct Variant {
    bool reversed;          // phase numerator I9 - I7 and first Gray bit inverted
    float threshold;        // modulation above which a pixel is valid
    bool truncatingFirst;   // two-pass first pass uses the truncating accumulation
    bool verticalCheck;     // one-pass result gets the vertical consistency check
};

constexpr Variant kDecGrayPhase1{false, 5.0f, true, false};
constexpr Variant kUnDecGrayPhase1{true, 2.0f, false, false};
constexpr Variant kUnDecGrayPhase2{true, 2.0f, false, true};

struct Planes {
    const unsigned char* p[11];
};

// Pixels per chunk of the decoding loops: the chunk's intermediate values stay in small arrays
// on the stack, and every loop over a chunk but the table lookups runs without branches, so the
// compiler turns it into vector code (each lane does the pixel's own operations).
constexpr std::size_t kChunk = 256;

// The largest floats whose double values are <= pi/2 and < 3 pi/2: a float phase phi compares
// with the double constants as (double)phi <= kHalfPi <=> phi <= kHalfPiBelow and (double)phi <
// kThreeHalfPi <=> phi <= kThreeHalfPiBelow.
inline float floatAtMost(double limit) {
    float f = static_cast<float>(limit);
    if (static_cast<double>(f) > limit) f = std::nextafter(f, 0.0f);
    return f;
}
inline float floatBelow(double limit) {
    float f = static_cast<float>(limit);
    if (!(static_cast<double>(f) < limit)) f = std::nextafter(f, 0.0f);
    return f;
}

// Steps 4-7 for pixels i0 ... i0 + count - 1 (count <= kChunk): wrap phi into [0, 2pi), read the
// Gray code against threshold t and unwrap into out.
void unwrapChunk(const Planes& pl, bool reversed, std::size_t i0, std::size_t count, const float* phiIn,
                 const float* t, float* out) {
    static const float halfPiBelow = floatAtMost(kHalfPi);
    static const float threeHalfPiBelow = floatBelow(kThreeHalfPi);
    const unsigned char* p[7];
    for (int k = 0; k < 7; ++k) p[k] = pl.p[k] + i0;
    const float lo = halfPiBelow, hi = threeHalfPiBelow;
    std::size_t j = 0;
#if defined(__SSE2__)
    // Four pixels at a time; the lanes do the scalar loop's operations below. Gray bits are 0 or 1
    // per 32-bit lane, the period number an int32 lane.
    const __m128 twoPi = _mm_set1_ps(kTwoPiF), zero = _mm_setzero_ps();
    const __m128 loV = _mm_set1_ps(lo), hiV = _mm_set1_ps(hi);
    const __m128i one = _mm_set1_epi32(1);
    const auto planeLanes = [&](int k, std::size_t at) {
        int bytes;
        std::memcpy(&bytes, p[k] + at, 4);
        const __m128i z = _mm_setzero_si128();
        return _mm_cvtepi32_ps(_mm_unpacklo_epi16(_mm_unpacklo_epi8(_mm_cvtsi32_si128(bytes), z), z));
    };
    for (; j + 4 <= count; j += 4) {
        __m128 phi = _mm_loadu_ps(phiIn + j);
        const __m128 neg = _mm_cmplt_ps(phi, zero);
        phi = _mm_or_ps(_mm_and_ps(neg, _mm_add_ps(phi, twoPi)), _mm_andnot_ps(neg, phi));
        const __m128 tj = _mm_loadu_ps(t + j);
        const __m128 first = reversed ? _mm_cmple_ps(planeLanes(0, j), tj) : _mm_cmpgt_ps(planeLanes(0, j), tj);
        __m128i bit = _mm_and_si128(_mm_castps_si128(first), one);
        __m128i w1 = bit;
        for (int k = 1; k < 6; ++k) {
            bit = _mm_xor_si128(bit, _mm_and_si128(_mm_castps_si128(_mm_cmpgt_ps(planeLanes(k, j), tj)), one));
            w1 = _mm_add_epi32(_mm_add_epi32(w1, w1), bit);
        }
        const __m128i g6 = _mm_and_si128(_mm_castps_si128(_mm_cmpgt_ps(planeLanes(6, j), tj)), one);
        const __m128i w2 = _mm_add_epi32(w1, _mm_xor_si128(_mm_and_si128(w1, one), g6));  // even: +g6, odd: +1-g6
        const __m128i atLo = _mm_castps_si128(_mm_cmple_ps(phi, loV));
        const __m128i atHi = _mm_castps_si128(_mm_cmple_ps(phi, hiV));
        const __m128i upper = _mm_or_si128(_mm_and_si128(atHi, w1), _mm_andnot_si128(atHi, _mm_sub_epi32(w2, one)));
        const __m128i period = _mm_or_si128(_mm_and_si128(atLo, w2), _mm_andnot_si128(atLo, upper));
        _mm_storeu_ps(out + j, _mm_add_ps(_mm_mul_ps(_mm_cvtepi32_ps(period), twoPi), phi));
    }
#endif
    for (; j < count; ++j) {
        const float phi = phiIn[j] < 0.0f ? phiIn[j] + kTwoPiF : phiIn[j];
        const float tj = t[j];
        int g[7];
        for (int k = 0; k < 7; ++k) g[k] = static_cast<float>(p[k][j]) > tj ? 1 : 0;
        if (reversed) g[0] = static_cast<float>(p[0][j]) <= tj ? 1 : 0;  // plane 0 not brighter than t
        int bit = g[0];
        int w1 = bit;
        for (int k = 1; k < 6; ++k) {
            bit ^= g[k];
            w1 = 2 * w1 + bit;
        }
        const int w2 = (w1 & 1) == 0 ? w1 + g[6] : w1 + 1 - g[6];
        const int period = phi <= lo ? w2 : (phi <= hi ? w1 : w2 - 1);
        out[j] = static_cast<float>(period) * kTwoPiF + phi;
    }
}

// One-pass decoding of pixels i0 ... i0 + count - 1 (count <= kChunk). The average is exact in
// float (a sum of four bytes), so it is formed from the integer sum.
void decodeChunk(const AlgoEngine& e, const Planes& pl, const Variant& var, std::size_t i0, std::size_t count,
                 bool* validMask, float* modulationMap, float* averageMap, float* absolutePhase) {
    int idx[kChunk];
    float phi[kChunk];
    const unsigned char *p7 = pl.p[7] + i0, *p8 = pl.p[8] + i0, *p9 = pl.p[9] + i0, *p10 = pl.p[10] + i0;
    float* avg = averageMap + i0;
    const int sign = var.reversed ? -1 : 1;
    for (std::size_t j = 0; j < count; ++j) {
        const int i7 = p7[j], i8 = p8[j], i9 = p9[j], i10 = p10[j];
        const int a = i10 - i8;
        const int b = sign * (i7 - i9);
        idx[j] = lutIndex(a, b);
        avg[j] = static_cast<float>(((i8 + i7) + i9) + i10) * 0.25f;
    }
    const float* atanLut = e.phaseAtanLut.data();
    const float* modLut = e.modulationLut.data();
    float* mod = modulationMap + i0;
    for (std::size_t j = 0; j < count; ++j) {
        phi[j] = atanLut[idx[j]];
        mod[j] = modLut[idx[j]];
    }
    bool* valid = validMask + i0;
    const float threshold = var.threshold;
    for (std::size_t j = 0; j < count; ++j) valid[j] = mod[j] > threshold;
    unwrapChunk(pl, var.reversed, i0, count, phi, avg, absolutePhase + i0);
}

// First pass of two-pass decoding with the table lookup of one-pass decoding: wrapped phase,
// modulation and average of pixels i0 ... i0 + count - 1 into phi, mod and avg (indexed by pixel).
void lookupChunk(const AlgoEngine& e, const Planes& pl, bool reversed, std::size_t i0, std::size_t count, float* phi,
                 float* mod, float* avg) {
    int idx[kChunk];
    const unsigned char *p7 = pl.p[7] + i0, *p8 = pl.p[8] + i0, *p9 = pl.p[9] + i0, *p10 = pl.p[10] + i0;
    const int sign = reversed ? -1 : 1;
    for (std::size_t j = 0; j < count; ++j) {
        const int i7 = p7[j], i8 = p8[j], i9 = p9[j], i10 = p10[j];
        idx[j] = lutIndex(i10 - i8, sign * (i7 - i9));
        avg[i0 + j] = static_cast<float>(((i8 + i7) + i9) + i10) * 0.25f;
    }
    for (std::size_t j = 0; j < count; ++j) {
        phi[i0 + j] = e.phaseAtanLut[static_cast<std::size_t>(idx[j])];
        mod[i0 + j] = e.modulationLut[static_cast<std::size_t>(idx[j])];
    }
}

// Truncating accumulation of the fringes (DecGrayPhase1's first pass when smoothing), S, C and A of
// pixels i0 ... i0 + count - 1 (TruncatingSums.inc), then the table lookup with a = C, b = S and
// t = A, into phi, mod and avg (indexed by pixel).
void truncatingChunk(const AlgoEngine& e, const Planes& pl, std::size_t i0, std::size_t count, float* phi,
                     float* mod, float* avg, detail::TruncatingSums sums) {
    std::int32_t s[kChunk], c[kChunk], a[kChunk];
    const unsigned char* fringes[4] = {pl.p[7] + i0, pl.p[8] + i0, pl.p[9] + i0, pl.p[10] + i0};
    sums(s, c, a, fringes, e.phaseSin, e.phaseCos, static_cast<long long>(count));
    for (std::size_t j = 0; j < count; ++j) {
        const std::size_t idx = static_cast<std::size_t>(lutIndex(c[j], s[j]));
        phi[i0 + j] = e.phaseAtanLut[idx];
        mod[i0 + j] = e.modulationLut[idx];
        avg[i0 + j] = static_cast<float>(a[j]);
    }
}

// Runs fn(first, count) over the pixel range [begin, end) in chunks of at most kChunk.
template <class Fn>
inline void forEachChunk(std::size_t begin, std::size_t end, const Fn& fn) {
    for (std::size_t i = begin; i < end; i += kChunk) fn(i, end - i < kChunk ? end - i : kChunk);
}

// Vertical consistency check: a pixel whose phase differs by more than 5 % (relative to its own
// phase) from more than two of the rows r-3 .. r+3 of its column is invalidated.
void verticalCheck(const AlgoEngine& e, bool* validMask, const float* phase) {
    const int width = e.roi.width, height = e.roi.height;
    const std::size_t w = static_cast<std::size_t>(width);
    for (int c = 0; c < width; ++c) {
        for (int r = 0; r < height; ++r) {
            const float p = phase[static_cast<std::size_t>(r) * w + c];
            int count = 0;
            for (int q = r - 3; q <= r + 3; ++q) {
                if (q < 0 || q >= height) continue;
                const float diff = p - phase[static_cast<std::size_t>(q) * w + c];
                bool exceeds;
                if (p == 0.0f)
                    exceeds = diff != 0.0f;  // x / 0 is infinite; 0 / 0 (NaN) never exceeds
                else
                    exceeds = static_cast<double>(std::fabs(diff / p)) > 0.05;
                if (exceeds) ++count;
            }
            if (count > 2) validMask[static_cast<std::size_t>(r) * w + c] = false;
        }
    }
}

void decode(const AlgoEngine& e, const Variant& var, bool* validMask, float* modulationMap, float* averageMap,
            unsigned char* const* patternImages, bool smoothPhase, int smoothRounds, float smoothSigma,
            float* absolutePhase) {
    const std::size_t n = e.pixelCount();
    if (n == 0) return;
    Planes pl;
    for (int k = 0; k < 11; ++k) pl.p[k] = patternImages[k];
    const bool reversed = var.reversed;
    const float threshold = var.threshold;

    if (!smoothPhase) {
        runBands(bands::kDecode, n, [&](int, std::size_t begin, std::size_t end) {
            forEachChunk(begin, end, [&](std::size_t i0, std::size_t count) {
                decodeChunk(e, pl, var, i0, count, validMask, modulationMap, averageMap, absolutePhase);
            });
        });
        if (var.verticalCheck) verticalCheck(e, validMask, absolutePhase);
        return;
    }

    // Two-pass decoding. The outputs serve as the scratch maps: modulation, average and mask are the
    // first pass's and stay as they are, and absolutePhase holds the wrapped phase until the second
    // pass unwraps each pixel in place. The first pass writes every element.
    float* const phi = absolutePhase;
    float* const mod = modulationMap;
    float* const avg = averageMap;
    bool* const mask = validMask;
    const detail::TruncatingSums sums = detail::truncatingSums(num::widestIsa());
    runBands(bands::kDecode, n, [&](int, std::size_t begin, std::size_t end) {
        forEachChunk(begin, end, [&](std::size_t i0, std::size_t count) {
            if (var.truncatingFirst)
                truncatingChunk(e, pl, i0, count, phi, mod, avg, sums);
            else
                lookupChunk(e, pl, reversed, i0, count, phi, mod, avg);
            for (std::size_t j = i0; j < i0 + count; ++j) mask[j] = mod[j] > threshold;
        });
    });

    // Smoothing rounds on the calling thread: rebuild ideal fringes from the phase, smooth them inside
    // the mask, read the phase back.
    detail::smoothPhaseRounds(e, phi, mask, smoothRounds, smoothSigma, num::widestIsa());

    // Second pass: unwrap with the (smoothed) phase and the first-pass average.
    runBands(bands::kDecode, n, [&](int, std::size_t begin, std::size_t end) {
        forEachChunk(begin, end, [&](std::size_t i0, std::size_t count) {
            unwrapChunk(pl, reversed, i0, count, phi + i0, avg + i0, absolutePhase + i0);
        });
    });
}

}  // namespace

void DecGrayPhase1(const AlgoEngine& engine, bool* validMask, float* modulationMap, float* averageMap,
                   unsigned char* const* patternImages, bool smoothPhase, int smoothRounds, float smoothSigma,
                   float* absolutePhase) {
    decode(engine, kDecGrayPhase1, validMask, modulationMap, averageMap, patternImages, smoothPhase, smoothRounds,
           smoothSigma, absolutePhase);
}

void UnDecGrayPhase1(const AlgoEngine& engine, bool* validMask, float* modulationMap, float* averageMap,
                     unsigned char* const* patternImages, bool smoothPhase, int smoothRounds, float smoothSigma,
                     float* absolutePhase) {
    decode(engine, kUnDecGrayPhase1, validMask, modulationMap, averageMap, patternImages, smoothPhase,
           smoothRounds, smoothSigma, absolutePhase);
}

void UnDecGrayPhase2(const AlgoEngine& engine, bool* validMask, float* modulationMap, float* averageMap,
                     unsigned char* const* patternImages, bool smoothPhase, int smoothRounds, float smoothSigma,
                     float* absolutePhase) {
    decode(engine, kUnDecGrayPhase2, validMask, modulationMap, averageMap, patternImages, smoothPhase,
           smoothRounds, smoothSigma, absolutePhase);
}

}  // namespace fringe
}  // namespace XELORAALGO
