// Exported members of stereo resampling, matching and triangulation: each forwards to the engine
// operation of the same name.
#include "frame/Checks.h"
#include "frame/frame.h"
#include "stereo.h"

namespace XELORAALGO {

float XeloraAlgo::BiCubicPloy(const float& x) { return stereo::BiCubicPloy(x); }

void XeloraAlgo::InterpCubic1(float* map) {
    frame::requireBuilt(*engine_, engine_->rectMapBuiltFor[0], "InterpCubic1", "CalRectifyMap1(true)");
    stereo::InterpCubic1(*engine_, map);
}
void XeloraAlgo::InterpCubic2(float* map) {
    frame::requireBuilt(*engine_, engine_->rectMapBuiltFor[1], "InterpCubic2", "CalRectifyMap1(false)");
    stereo::InterpCubic2(*engine_, map);
}
void XeloraAlgo::InterpCubic3(float* map, double* mapX, double* mapY, bool* mask) {
    stereo::InterpCubic3(*engine_, map, mapX, mapY, mask);
}
void XeloraAlgo::InterpCubic4(float* map) {
    frame::requireBuilt(*engine_, engine_->undistMapBuiltFor[0], "InterpCubic4", "CalRectifyMap2(true)");
    stereo::InterpCubic4(*engine_, map);
}
void XeloraAlgo::InterpCubic5(float* map) {
    frame::requireBuilt(*engine_, engine_->undistMapBuiltFor[1], "InterpCubic5", "CalRectifyMap2(false)");
    stereo::InterpCubic5(*engine_, map);
}
void XeloraAlgo::InterpFlag1(bool* mask) {
    frame::requireBuilt(*engine_, engine_->rectMapBuiltFor[0], "InterpFlag1", "CalRectifyMap1(true)");
    stereo::InterpFlag1(*engine_, mask);
}
void XeloraAlgo::InterpFlag2(bool* mask) {
    frame::requireBuilt(*engine_, engine_->rectMapBuiltFor[1], "InterpFlag2", "CalRectifyMap1(false)");
    stereo::InterpFlag2(*engine_, mask);
}

void XeloraAlgo::MatchI(bool* mask1, bool* mask2, bool* matchMask, float* phase1, float* phase2) {
    AlgoEngine& e = *engine_;
    frame::requireBuilt(e, e.geometryBuiltFor, "MatchI", "CalKR");
    e.matchBuiltFor = e.subpixelBuiltFor = SetupStamp{};  // MatchII's columns belong to the old matches
    stereo::MatchI(e, mask1, mask2, matchMask, phase1, phase2);
    e.matchBuiltFor = e.currentSetup();
}
void XeloraAlgo::MatchII(bool* mask1, bool* mask2, bool* matchMask, float* phase1, float* phase2) {
    AlgoEngine& e = *engine_;
    frame::requireBuilt(e, e.matchBuiltFor, "MatchII", "MatchI");
    e.subpixelBuiltFor = SetupStamp{};
    stereo::MatchII(e, mask1, mask2, matchMask, phase1, phase2);
    e.subpixelBuiltFor = e.currentSetup();
}

void XeloraAlgo::CalPoint(bool* mask, float* X, float* Y, float* Z, int& count, const bool& useBilateral,
                          const int& bilateralSpatialSigma, const float& bilateralRangeSigma,
                          const bool& useSmoothing, const float& smoothSigma) {
    const AlgoEngine& e = *engine_;
    frame::requireBuilt(e, e.geometryBuiltFor, "CalPoint", "CalKR");
    frame::requireBuilt(e, e.rectMapBuiltFor[0], "CalPoint", "CalRectifyMap1(true)");
    frame::requireBuilt(e, e.subpixelBuiltFor, "CalPoint", "MatchII");
    frame::requireSensorPositionsFit(e, "CalPoint");
    if (useSmoothing) checks::requireKernelSigma("CalPoint", "smoothSigma", smoothSigma);
    stereo::CalPoint(*engine_, mask, X, Y, Z, count, useBilateral, bilateralSpatialSigma, bilateralRangeSigma,
                     useSmoothing, smoothSigma);
}

}  // namespace XELORAALGO
