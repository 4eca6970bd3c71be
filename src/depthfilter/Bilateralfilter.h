// Bilateral filter of a float map (a depth map as a rule) inside a validity mask.
#ifndef XELORAALGO_SRC_DEPTHFILTER_BILATERALFILTER_H
#define XELORAALGO_SRC_DEPTHFILTER_BILATERALFILTER_H

#include "frame/AlgoEngine.h"

namespace XELORAALGO {
namespace depthfilter {

// Replaces every valid pixel of `map` (float, engine.roi width x height, caller-owned, in place) by
// the weighted mean of the valid pixels of its (2h + 1) x (2h + 1) neighbourhood, h = floor(1.5 *
// spatialSigma). The weight of a neighbour is expf(-d * d / (2 * rangeSigma^2)) for the value
// difference d, times exp(q) for the integer quotient q = (di^2 + dj^2) / (-2 * spatialSigma^2) of
// its offset (so the spatial weights come in bands 1, e^-1, e^-2, ...). Invalid pixels (mask false)
// neither contribute nor receive a value: they come out 0. `mask` is only read.
//
// Eight workers, one band of rows each; rows past 8 * floor(height / 8) come out 0.
//
// spatialSigma must be at least 1 and rangeSigma positive. spatialSigma = 0 (no spatial extent) is
// taken as a 1 x 1 kernel: valid pixels keep their values. A negative spatialSigma gives an empty
// kernel, so valid pixels become 0/0 (NaN); rangeSigma = 0 gives NaN at valid pixels too.
void Bilateralfilter(const AlgoEngine& engine, float* map, const bool* mask, int spatialSigma,
                     float rangeSigma);

// The same with the inner loops at most `lanes` pixels wide: 16 (AVX-512, where the processor has it)
// or 1 (plain loops). The results are the same bits; tests compare the two.
void BilateralfilterWithLanes(const AlgoEngine& engine, float* map, const bool* mask, int spatialSigma,
                              float rangeSigma, int lanes);

}  // namespace depthfilter
}  // namespace XELORAALGO

#endif
