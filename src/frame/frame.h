// Operations of the SDK frame: calibration geometry and rectification maps.
#ifndef XELORAALGO_SRC_FRAME_FRAME_H
#define XELORAALGO_SRC_FRAME_FRAME_H

#include "AlgoEngine.h"

namespace XELORAALGO {
namespace frame {

// Derives principal points, focal lengths (mm), epipoles and the per-pixel epipolar-line tables
// (mappedLineSlope/Angle, epipoleLineSlope/Angle: w x h floats; lineIndexMap: w x h doubles) from
// engine.calib, engine.roi and the downsampling settings. Replaces any earlier tables.
void CalKR(AlgoEngine& engine);

// Builds rectMapX/Y1 (firstCamera) or rectMapX/Y2: for every pixel of the rectified grid, the
// position (ROI pixel units) on the camera's distorted raw image. Needs CalKR's tables.
void CalRectifyMap1(AlgoEngine& engine, bool firstCamera);

// Builds undistMapX/Y1 or undistMapX/Y2: the distorted raw-image position (ROI pixel units) of
// every ROI pixel, without rectification (k1, k2, p1, p2 only).
void CalRectifyMap2(AlgoEngine& engine, bool firstCamera);

// Throws std::logic_error "<member>: <step> has not been run for this ROI" unless `stamp` was built
// for the ROI and downsampling in force.
void requireBuilt(const AlgoEngine& engine, const SetupStamp& stamp, const char* member, const char* step);

// Throws std::invalid_argument unless downsampleStep * index and downsampleStep * index + offset fit
// in int for every ROI column (offsetX) and row (offsetY).
void requireSensorPositionsFit(const AlgoEngine& engine, const char* member);

}  // namespace frame
}  // namespace XELORAALGO

#endif
