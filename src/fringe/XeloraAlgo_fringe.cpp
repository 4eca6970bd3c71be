// Exported fringe-decoding members of XeloraAlgo: each forwards to the fringe operation on the engine.
#include "XeloraAlgo.h"
#include "fringe.h"

namespace XELORAALGO {

void XeloraAlgo::DecGrayPhase1(bool* validMask, float* modulationMap, float* averageMap,
                               unsigned char** const patternImages, const bool& /*ignoredFlag*/,
                               const bool& smoothPhase, const int& smoothRounds, const float& smoothSigma,
                               float* absolutePhase) {
    fringe::DecGrayPhase1(*engine_, validMask, modulationMap, averageMap, patternImages, smoothPhase, smoothRounds,
                          smoothSigma, absolutePhase);
}

void XeloraAlgo::UnDecGrayPhase1(bool* validMask, float* modulationMap, float* averageMap,
                                 unsigned char** const patternImages, const bool& /*ignoredFlag*/,
                                 const bool& smoothPhase, const int& smoothRounds, const float& smoothSigma,
                                 float* absolutePhase) {
    fringe::UnDecGrayPhase1(*engine_, validMask, modulationMap, averageMap, patternImages, smoothPhase, smoothRounds,
                            smoothSigma, absolutePhase);
}

void XeloraAlgo::UnDecGrayPhase2(bool* validMask, float* modulationMap, float* averageMap,
                                 unsigned char** const patternImages, const bool& /*ignoredFlag*/,
                                 const bool& smoothPhase, const int& smoothRounds, const float& smoothSigma,
                                 float* absolutePhase) {
    fringe::UnDecGrayPhase2(*engine_, validMask, modulationMap, averageMap, patternImages, smoothPhase, smoothRounds,
                            smoothSigma, absolutePhase);
}

void XeloraAlgo::DecGrayPhase2(bool* validMask, float* modulationMap, float* averageMap,
                               unsigned char** const patternImages, const bool& /*ignoredFlag*/,
                               const bool& smoothPhase, const int& smoothRounds, const float& smoothSigma,
                               float* absolutePhase) {
    fringe::DecGrayPhase2(*engine_, validMask, modulationMap, averageMap, patternImages, smoothPhase, smoothRounds,
                          smoothSigma, absolutePhase);
}

}  // namespace XELORAALGO
