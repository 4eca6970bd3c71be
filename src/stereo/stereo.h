// Stereo resampling, matching and triangulation.
//
// All maps are row-major arrays of engine.roi.width x engine.roi.height elements (index
// row * width + col), owned and allocated by the caller. Float maps hold phase or depth, bool maps
// one byte per pixel. Coordinate maps are doubles in source-grid pixels, (0, 0) at the centre of the
// first pixel.
#ifndef XELORAALGO_SRC_STEREO_STEREO_H
#define XELORAALGO_SRC_STEREO_STEREO_H

#include "frame/AlgoEngine.h"
#include "frame/CameraModel.h"

namespace XELORAALGO {
namespace stereo {

// ---- resampling onto the rectified grid ----

// Cubic convolution kernel (a = -0.5) at x, evaluated in float on |x|; 0 for |x| >= 2 and for NaN.
float BiCubicPloy(float x);

// Cubic resampling of `map` in place through the engine's coordinate maps:
//   InterpCubic1: rectMapX1/Y1, InterpCubic2: rectMapX2/Y2,
//   InterpCubic4: undistMapX1/Y1, InterpCubic5: undistMapX2/Y2.
// A target pixel whose 4 x 4 source neighbourhood is not wholly inside the grid (or whose coordinate
// is NaN or beyond the int range) is 0. Two row bands; rows past 2 * floor(height / 2) come out 0.
// If the variant's coordinate maps have not been built for the current ROI size, `map` is left
// unchanged.
void InterpCubic1(const AlgoEngine& engine, float* map);
void InterpCubic2(const AlgoEngine& engine, float* map);
void InterpCubic4(const AlgoEngine& engine, float* map);
void InterpCubic5(const AlgoEngine& engine, float* map);

// Masked cubic resampling of `map` in place through the caller's mapX/mapY: only source neighbours
// with mask true take part, and the weighted sum is divided by the sum of their weights (NaN when no
// neighbour is valid). Four row bands; rows past 4 * floor(height / 4) come out 0.
void InterpCubic3(const AlgoEngine& engine, float* map, const double* mapX, const double* mapY,
                  const bool* mask);

namespace detail {
// The cubic resampler behind InterpCubic1 ... 5: plain (mask null) on the two bands of
// InterpCubic1, or masked on the four bands of InterpCubic3. allowLanes false keeps every pixel on
// the scalar loop (the eight-lane loop must give the same bits; the tests compare the two).
// mapX null stands for a column map that holds every target pixel's own column.
void resampleCubic(const AlgoEngine& engine, float* map, const double* mapX, const double* mapY, const bool* mask,
                   bool allowLanes);
}  // namespace detail

// Nearest-neighbour resampling of a mask in place: target = source at
// ((int)(mapY + 0.5), (int)(mapX + 0.5)) when inside the grid, false otherwise.
//   InterpFlag1: rectMapX1/Y1, InterpFlag2: rectMapX2/Y2.
// Two bands of pixel indices; with an odd pixel count the last pixel comes out false. If the maps
// have not been built for the current ROI size, `mask` is left unchanged.
void InterpFlag1(const AlgoEngine& engine, bool* mask);
void InterpFlag2(const AlgoEngine& engine, bool* mask);

// ---- phase matching ----

// Integer matching of camera 1's rectified phase against camera 2's, row by row, with a continuity
// constraint and a left-right consistency check. Replaces engine.matchColumn and engine.matchSide;
// writes matchMask on every processed row. Eight row bands; rows past 8 * floor(height / 8) are not
// touched (matchMask keeps its content there, the engine tables stay 0).
void MatchI(AlgoEngine& engine, const bool* mask1, const bool* mask2, bool* matchMask,
            const float* phase1, const float* phase2);

namespace detail {
// MatchI with its vector loops allowed (useLanes) or not; both give the same results (the tests
// compare them).
void matchI(AlgoEngine& engine, const bool* mask1, const bool* mask2, bool* matchMask, const float* phase1,
            const float* phase2, bool useLanes);
}  // namespace detail

// Sub-pixel refinement of MatchI's matches by linear interpolation of camera 2's phase. Replaces
// engine.subpixelColumn; clears matchMask where no refinement is possible. mask1 is not read.
// Without the tables of a MatchI for the current ROI size every pixel counts as unmatched.
void MatchII(AlgoEngine& engine, const bool* mask1, const bool* mask2, bool* matchMask,
             const float* phase1, const float* phase2);

// ---- triangulation ----

// Triangulates the sub-pixel matches into depth on the rectified grid, optionally smooths it
// (bilateral filter, then masked Gaussian), carries depth and mask back to camera 1's grid and
// computes X and Y. `mask` is MatchII's matchMask on entry and the validity on camera 1's grid on
// return; X, Y, Z are 0 where it is false; count is the number of true entries. Units are those of
// the calibration's translation.
// If rectMapY1, lineIndexMap or subpixelColumn is missing for the current ROI size there is nothing
// to triangulate: mask is cleared, X, Y, Z are 0 and count is 0.
void CalPoint(AlgoEngine& engine, bool* mask, float* X, float* Y, float* Z, int& count,
              bool useBilateral, int bilateralSpatialSigma, float bilateralRangeSigma,
              bool useSmoothing, float smoothSigma);

namespace detail {
// CalPoint with its vector loops allowed (useLanes) or not; both give the same bits (the tests
// compare them).
void calPoint(AlgoEngine& engine, bool* mask, float* X, float* Y, float* Z, int& count, bool useBilateral,
              int bilateralSpatialSigma, float bilateralRangeSigma, bool useSmoothing, float smoothSigma,
              bool useLanes);
}  // namespace detail

}  // namespace stereo
}  // namespace XELORAALGO

#endif
