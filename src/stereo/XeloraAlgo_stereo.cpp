// Exported members of stereo resampling, matching and triangulation: each forwards to the engine
// operation of the same name.
#include "stereo.h"

namespace XELORAALGO {

float XeloraAlgo::BiCubicPloy(const float& x) { return stereo::BiCubicPloy(x); }

void XeloraAlgo::InterpCubic1(float* map) { stereo::InterpCubic1(*engine_, map); }
void XeloraAlgo::InterpCubic2(float* map) { stereo::InterpCubic2(*engine_, map); }
void XeloraAlgo::InterpCubic3(float* map, double* mapX, double* mapY, bool* mask) {
    stereo::InterpCubic3(*engine_, map, mapX, mapY, mask);
}
void XeloraAlgo::InterpCubic4(float* map) { stereo::InterpCubic4(*engine_, map); }
void XeloraAlgo::InterpCubic5(float* map) { stereo::InterpCubic5(*engine_, map); }
void XeloraAlgo::InterpFlag1(bool* mask) { stereo::InterpFlag1(*engine_, mask); }
void XeloraAlgo::InterpFlag2(bool* mask) { stereo::InterpFlag2(*engine_, mask); }

void XeloraAlgo::MatchI(bool* mask1, bool* mask2, bool* matchMask, float* phase1, float* phase2) {
    stereo::MatchI(*engine_, mask1, mask2, matchMask, phase1, phase2);
}
void XeloraAlgo::MatchII(bool* mask1, bool* mask2, bool* matchMask, float* phase1, float* phase2) {
    stereo::MatchII(*engine_, mask1, mask2, matchMask, phase1, phase2);
}

void XeloraAlgo::CalPoint(bool* mask, float* X, float* Y, float* Z, int& count, const bool& useBilateral,
                          const int& bilateralSpatialSigma, const float& bilateralRangeSigma,
                          const bool& useSmoothing, const float& smoothSigma) {
    stereo::CalPoint(*engine_, mask, X, Y, Z, count, useBilateral, bilateralSpatialSigma, bilateralRangeSigma,
                     useSmoothing, smoothSigma);
}

}  // namespace XELORAALGO
