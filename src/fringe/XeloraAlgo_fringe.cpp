// Exported fringe-decoding members of XeloraAlgo: each forwards to the fringe operation on the engine.
#include "XeloraAlgo.h"
#include "frame/Checks.h"
#include "fringe.h"

namespace XELORAALGO {

namespace {
// The smoothing sigma is only read when smoothing rounds run.
void checkSmoothing(const char* member, bool smoothPhase, int smoothRounds, float smoothSigma) {
    if (smoothPhase && smoothRounds >= 1) checks::requireKernelSigma(member, "smoothSigma", smoothSigma);
}
}  // namespace

void XeloraAlgo::DecGrayPhase1(bool* validMask, float* modulationMap, float* averageMap,
                               unsigned char** const patternImages, const bool& /*ignoredFlag*/,
                               const bool& smoothPhase, const int& smoothRounds, const float& smoothSigma,
                               float* absolutePhase) {
    checkSmoothing("DecGrayPhase1", smoothPhase, smoothRounds, smoothSigma);
    fringe::DecGrayPhase1(*engine_, validMask, modulationMap, averageMap, patternImages, smoothPhase, smoothRounds,
                          smoothSigma, absolutePhase);
}

void XeloraAlgo::UnDecGrayPhase1(bool* validMask, float* modulationMap, float* averageMap,
                                 unsigned char** const patternImages, const bool& /*ignoredFlag*/,
                                 const bool& smoothPhase, const int& smoothRounds, const float& smoothSigma,
                                 float* absolutePhase) {
    checkSmoothing("UnDecGrayPhase1", smoothPhase, smoothRounds, smoothSigma);
    fringe::UnDecGrayPhase1(*engine_, validMask, modulationMap, averageMap, patternImages, smoothPhase, smoothRounds,
                            smoothSigma, absolutePhase);
}

void XeloraAlgo::UnDecGrayPhase2(bool* validMask, float* modulationMap, float* averageMap,
                                 unsigned char** const patternImages, const bool& /*ignoredFlag*/,
                                 const bool& smoothPhase, const int& smoothRounds, const float& smoothSigma,
                                 float* absolutePhase) {
    checkSmoothing("UnDecGrayPhase2", smoothPhase, smoothRounds, smoothSigma);
    fringe::UnDecGrayPhase2(*engine_, validMask, modulationMap, averageMap, patternImages, smoothPhase, smoothRounds,
                            smoothSigma, absolutePhase);
}

void XeloraAlgo::DecGrayPhase2(bool* validMask, float* modulationMap, float* averageMap,
                               unsigned char** const patternImages, const bool& /*ignoredFlag*/,
                               const bool& smoothPhase, const int& smoothRounds, const float& smoothSigma,
                               float* absolutePhase) {
    checkSmoothing("DecGrayPhase2", smoothPhase, smoothRounds, smoothSigma);
    fringe::DecGrayPhase2(*engine_, validMask, modulationMap, averageMap, patternImages, smoothPhase, smoothRounds,
                          smoothSigma, absolutePhase);
}

}  // namespace XELORAALGO
