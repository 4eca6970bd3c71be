// Fringe decoding: Gray-code and phase-shift decoders and the masked Gaussian smoothing they share
// with the triangulation.
//
// All maps are row-major arrays of engine.roi.width x engine.roi.height elements, owned and
// allocated by the caller.
#ifndef XELORAALGO_SRC_FRINGE_FRINGE_H
#define XELORAALGO_SRC_FRINGE_FRINGE_H

#include "frame/AlgoEngine.h"
#include "numerics/numerics.h"

namespace XELORAALGO {
namespace fringe {

// The library's quarter-period constants in double; the quarter comparisons of the decoders use these,
// not the float ones.
constexpr double kHalfPi = 1.5707963267949;
constexpr double kThreeHalfPi = 4.7123889803847;

// Period number of a pixel from its Gray-code period number w1, the extra Gray bit of the
// half-shifted code (0 or 1) and its wrapped phase phi in [0, 2 pi): the half-shifted period number
// w2 = w1 + bit (w1 even) or w1 + 1 - bit (w1 odd) where phi <= pi/2, w1 where phi < 3 pi/2, and
// w2 - 1 above (phi compared in double).
inline int unwrapPeriod(int w1, int extraBit, float phi) {
    const int w2 = (w1 % 2 == 0) ? w1 + extraBit : w1 + 1 - extraBit;
    const double wide = static_cast<double>(phi);
    if (wide <= kHalfPi) return w2;
    if (wide < kThreeHalfPi) return w1;
    return w2 - 1;
}

// Masked separable Gaussian smoothing of `map` in place. Only pixels with mask true contribute and
// receive values; the weights are renormalised over the valid taps. On return every valid pixel
// holds its smoothed value and every invalid pixel holds 0. `mask` is not changed.
// Kernel radius R = floor(1.5 * sigma), 2R + 1 taps.
// sigma <= 0 or NaN (no Gaussian exists) is treated as "no smoothing": radius 0, valid pixels keep
// their values and invalid ones become 0. A radius too large to allocate throws std::bad_alloc.
void SmoothMaskedMap(const AlgoEngine& engine, float* map, const bool* mask, float sigma);
// SmoothMaskedMap of maps[0 .. count - 1], all with the same mask and sigma, in one sweep.
void SmoothMaskedMaps(const AlgoEngine& engine, float* const* maps, int count, const bool* mask, float sigma);
namespace detail {
// SmoothMaskedMaps with its row loops for instruction set isa (or the widest narrower one usable
// here); the same bits with every set, which the tests compare.
void smoothMaskedMaps(const AlgoEngine& engine, float* const* maps, int count, const bool* mask, float sigma,
                      num::Isa isa);
// The smoothing rounds of the 11-plane decoders' two-pass decoding on the scratch phase phi (radians),
// in place, with the smoothing's row loops for isa (PhaseRounds.cpp).
void smoothPhaseRounds(const AlgoEngine& engine, float* phi, const bool* mask, int rounds, float sigma,
                       num::Isa isa);
// Truncating accumulation of the four fringes of n pixels (TruncatingSums.inc): s, c and a per pixel.
using TruncatingSums = void (*)(int* s, int* c, int* a, const unsigned char* const* fringes, const double* sinK,
                                const double* cosK, long long n);
// The accumulation's loops for isa (or the widest narrower one usable here).
TruncatingSums truncatingSums(num::Isa isa);
}  // namespace detail

// Decoders of the 11-plane pattern set (Gray bits in planes 0..6, fringes in planes 7..10) into a
// validity mask, modulation, average intensity and absolute phase (radians). smoothPhase false:
// one pass; true: two passes with smoothRounds rounds of fringe smoothing (SmoothMaskedMap with
// smoothSigma) in between. Every pixel of the ROI is decoded: 8 banded workers per threaded pass,
// the last N mod 8 pixels on the calling thread.
//   DecGrayPhase1    forward code and phase, validity threshold 5 (two-pass: truncating first pass)
//   UnDecGrayPhase1  reversed code and phase, validity threshold 2
//   UnDecGrayPhase2  as UnDecGrayPhase1, plus the vertical consistency check in one-pass decoding
void DecGrayPhase1(const AlgoEngine& engine, bool* validMask, float* modulationMap, float* averageMap,
                   unsigned char* const* patternImages, bool smoothPhase, int smoothRounds, float smoothSigma,
                   float* absolutePhase);
void UnDecGrayPhase1(const AlgoEngine& engine, bool* validMask, float* modulationMap, float* averageMap,
                     unsigned char* const* patternImages, bool smoothPhase, int smoothRounds, float smoothSigma,
                     float* absolutePhase);
void UnDecGrayPhase2(const AlgoEngine& engine, bool* validMask, float* modulationMap, float* averageMap,
                     unsigned char* const* patternImages, bool smoothPhase, int smoothRounds, float smoothSigma,
                     float* absolutePhase);

// Decoder of the 18-plane paired pattern set (each Gray image followed by its inverse, fringes in
// planes 14..17 with shifts 3pi/2, pi, pi/2, 0). Runs on the calling thread. Overwrites the Gray
// planes 0, 2, ..., 12 with decoded bits.
void DecGrayPhase2(const AlgoEngine& engine, bool* validMask, float* modulationMap, float* averageMap,
                   unsigned char* const* patternImages, bool smoothPhase, int smoothRounds, float smoothSigma,
                   float* absolutePhase);

}  // namespace fringe
}  // namespace XELORAALGO

#endif
