// C interface of the fringe decoders: each function forwards to the XeloraAlgo member of the same
// name with the same buffers (see include/xelora_c.h).
#include "frame/XeloraAlgo_c.h"

using XELORAALGO::XeloraAlgo;
using namespace XELORAALGO::capi;

#define XELORA_C_DECODER(Member)                                                                         \
    int xelora_##Member(xelora_handle* h, bool* validMask, float* modulationMap, float* averageMap,      \
                        unsigned char** patternImages, bool ignoredFlag, bool smoothPhase, int smoothRounds, \
                        float smoothSigma, float* absolutePhase) {                                        \
        return call(__func__, h, [&](XeloraAlgo& a, const char*) {                                       \
            a.Member(validMask, modulationMap, averageMap, patternImages, ignoredFlag, smoothPhase,       \
                     smoothRounds, smoothSigma, absolutePhase);                                           \
        });                                                                                               \
    }

extern "C" {
XELORA_C_DECODER(DecGrayPhase1)
XELORA_C_DECODER(UnDecGrayPhase1)
XELORA_C_DECODER(UnDecGrayPhase2)
XELORA_C_DECODER(DecGrayPhase2)
}
