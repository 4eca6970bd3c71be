// Fringe decoding: Gray-code and phase-shift decoders and the masked Gaussian smoothing they share
// with the triangulation.
//
// All maps are row-major arrays of engine.roi.width x engine.roi.height elements, owned and
// allocated by the caller.
#ifndef XELORAALGO_SRC_FRINGE_FRINGE_H
#define XELORAALGO_SRC_FRINGE_FRINGE_H

#include "frame/AlgoEngine.h"

namespace XELORAALGO {
namespace fringe {

// Masked separable Gaussian smoothing of `map` in place. Only pixels with mask true contribute and
// receive values; the weights are renormalised over the valid taps. On return every valid pixel
// holds its smoothed value and every invalid pixel holds 0. `mask` is not changed.
// Kernel radius R = floor(1.5 * sigma), 2R + 1 taps.
// sigma <= 0 or NaN (no Gaussian exists) is treated as "no smoothing": radius 0, valid pixels keep
// their values and invalid ones become 0. A radius too large to allocate throws std::bad_alloc.
void SmoothMaskedMap(const AlgoEngine& engine, float* map, const bool* mask, float sigma);

}  // namespace fringe
}  // namespace XELORAALGO

#endif
