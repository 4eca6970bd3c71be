// Depth-map filters: order-statistic (median) filter, isolated-point removal, gradient filter and
// hole filling of the per-pixel maps that the triangulation writes on camera 1's grid.
//
// All maps are row-major arrays of engine.roi.width x engine.roi.height elements, owned and
// allocated by the caller and changed in place. A float value of exactly 0 marks a pixel without a
// result. Every operation runs on the calling thread, allocates its working storage itself and
// releases it before returning; none reports an error.
#ifndef XELORAALGO_SRC_DEPTHFILTER_DEPTHFILTER_H
#define XELORAALGO_SRC_DEPTHFILTER_DEPTHFILTER_H

#include <cstdint>
#include <vector>

#include "frame/AlgoEngine.h"
#include "numerics/numerics.h"

namespace XELORAALGO {
namespace depthfilter {

// 3 x 3 order-statistic filter of `map` in place. Every interior pixel (rows 1 .. h-2, columns
// 1 .. w-2) whose value is not exactly 0 takes the value at ascending position 8 - order of the nine
// unfiltered values of its neighbourhood (order 0: maximum, 4: median, 8: minimum); pixels that are
// 0 (either sign) keep their value, so holes are never filled, and invalid neighbours take part with
// their value 0. Border rows and columns are never changed; maps narrower or lower than 3 pixels
// are left as they are.
// The nine values are ranked by a fixed network of min/max operations in which the middle of three
// values is formed as x + y + z - max - min in float, so positions 1 .. 7 can differ from the input
// value they stand for by a few units in the last place; that network is the filter's definition.
// min(a, b) is b < a ? b : a and max(a, b) is a < b ? b : a, applied left to right; NaN inputs
// propagate through those comparisons.
// order must be in 0 .. 8 (other values leave the map unchanged).
void MediaFilter(const AlgoEngine& engine, float* map, int order);
// MediaFilter with vectors of at most `lanes` pixels: 16 (AVX-512), 8 (AVX), 4 (SSE2) or 1 (scalar
// code only), each where the processor has it, for checking that every path gives the same bits.
// MediaFilter takes the widest; MediaFilterWithoutAvx is MediaFilterWithLanes(..., 4).
void MediaFilterWithLanes(const AlgoEngine& engine, float* map, int order, int lanes);
void MediaFilterWithoutAvx(const AlgoEngine& engine, float* map, int order);

// Removes isolated points of a point map. Pixels are visited in raster order; a pixel whose `mask`
// entry is true counts the pixels n of its square neighbourhood (rows and columns within `radius`,
// clipped to the map, itself included, valid or not) with (dY^2 + dX^2 + dZ^2) < distance^2 (float,
// strict; a NaN distance does not count). With fewer than 2 * radius^2 such pixels it is an outlier:
// its X, Y and Z become 0 at once (later pixels see it at the origin) and its mask entry is cleared
// when the pass is over. radius 0 removes nothing; a negative radius has an empty neighbourhood and
// removes every valid pixel.
void Outlierdetect(const AlgoEngine& engine, float* X, float* Y, float* Z, bool* mask, int radius,
                   float distance);
namespace detail {
// Outlierdetect with the runs of pixels counted in the vector lanes of isa (or the widest narrower
// set usable here), or every pixel alone where lanesAllowed is false; the same results either way.
void outlierdetect(const AlgoEngine& engine, float* X, float* Y, float* Z, bool* mask, int radius, float distance,
                   num::Isa isa, bool lanesAllowed);
}  // namespace detail

// Drops pixels of two maps where the local gradient is steep. For each map M the horizontal and
// vertical gradients are gx = min(255, |M(r, c+1) - M(r, c-1)|) and gy = min(255, |M(r+1, c) -
// M(r-1, c)|) in float, whatever the masks say. A pixel passes (q = 1) when gradientLimit > gx and
// gradientLimit > gy, else q = 0; when passLevel > q its mask entry becomes false and its value 0.
// mapA goes with maskA, mapB with maskB; all gradients are taken before anything is dropped.
// Border pixels: a neighbour outside the map is replaced by the pixel itself, so on the first
// column gx = min(255, |M(r, 1) - M(r, 0)|), on the last |M(r, w-1) - M(r, w-2)|, likewise for gy on
// the first and last rows, and 0 across a map of one column or row. Border pixels are therefore
// judged like the others, from the one neighbour they have in each direction.
// A NaN difference is not clamped: its gradient is NaN, never below the limit, so the pixel fails.
void GradientFilter(const AlgoEngine& engine, float* mapA, float* mapB, bool* maskA, bool* maskB,
                    float gradientLimit, float passLevel);

// Fills holes of a point map (X, Y, Z float, mask bool) in place.
// Hole candidates are interior pixels with -1 < Z < 1; they are grouped into 4-connected regions
// and classed by area: small (area <= smallArea), larger (smallArea < area < largeArea), or left
// alone. Pixels of rows and columns 5 .. h-6 / 5 .. w-6 are then visited in raster order; a pixel
// with Z exactly 0 whose left and upper depths are nonzero and within [minDepth, maxDepth] gets
// z = (zr + zd) / 2 from linear estimates towards the first nonzero depth to its right and below,
// if the six relative differences of zl, zu, zr, zd are within the level's tolerance and, for
// larger holes (mode >= 2 only), the new point continues the surrounding surface within the level's
// angle limit. X and Y follow from z by camera 1's pinhole model (cx1, cy1, pixelPitch from CalKR,
// focal length from calib.K1, ROI offset and downsampling of the engine). Filled values are written
// at once and seen by later pixels; filled pixels get mask true.
// mode 1 .. 5 selects (angle limit, tolerance) = (10, 0.01), (20, 0.2), (30, 0.5), (50, 0.5),
// (120, 1.0); any other mode uses (0, 0). Maps with fewer than 11 rows or columns are unchanged.
void FillingFunction(const AlgoEngine& engine, float* X, float* Y, float* Z, bool* mask, int mode,
                     int smallArea, int largeArea, int minDepth, int maxDepth);

// First steps of FillingFunction: the hole regions of a depth map Z (w x h). Interior pixels with
// -1 < Z < 1 are grouped into 4-connected regions by a two-pass labelling with an equivalence table;
// returns, per pixel, the area (pixel count) of its region, 0 for pixels that are not candidates.
// The table keeps one parent per label, and a merge may overwrite the parent of a label that is not
// a root; a tangled region (one that joins and re-joins several branches) can therefore come out as
// two or more regions, each classed by its own area. Blobs, bars and simple U shapes come out whole.
std::vector<std::int32_t> HoleRegionAreas(const float* Z, int w, int h);

}  // namespace depthfilter
}  // namespace XELORAALGO

#endif
