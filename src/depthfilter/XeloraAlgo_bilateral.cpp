// Exported member of the bilateral filter: forwards to the engine operation.
#include "Bilateralfilter.h"

namespace XELORAALGO {

void XeloraAlgo::Bilateralfilter(float* map, bool* mask, const int& spatialSigma, const float& rangeSigma) {
    depthfilter::Bilateralfilter(*engine_, map, mask, spatialSigma, rangeSigma);
}

}  // namespace XELORAALGO
