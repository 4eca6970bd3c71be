// Exported members of the depth-map filters: each forwards to its engine operation.
#include "depthfilter.h"
#include "frame/Checks.h"

namespace XELORAALGO {

void XeloraAlgo::MediaFilter(float* map, const int& order) {
    checks::requireInRange("MediaFilter", "order", order, 0, 8);
    depthfilter::MediaFilter(*engine_, map, order);
}

void XeloraAlgo::Outlierdetect(float* X, float* Y, float* Z, bool* mask, const int& radius, const float& distance) {
    checks::requireAtLeast("Outlierdetect", "radius", radius, 0);
    depthfilter::Outlierdetect(*engine_, X, Y, Z, mask, radius, distance);
}

void XeloraAlgo::GradientFilter(float* mapA, float* mapB, bool* maskA, bool* maskB, const float& gradientLimit,
                                const float& passLevel) {
    depthfilter::GradientFilter(*engine_, mapA, mapB, maskA, maskB, gradientLimit, passLevel);
}

void XeloraAlgo::FillingFunction(float* X, float* Y, float* Z, bool* mask, const int& mode, const int& smallArea,
                                 const int& largeArea, const int& minDepth, const int& maxDepth) {
    depthfilter::FillingFunction(*engine_, X, Y, Z, mask, mode, smallArea, largeArea, minDepth, maxDepth);
}

}  // namespace XELORAALGO
