// Small helpers shared by the imaging operations (internal).
#ifndef XELORAALGO_SRC_IMAGING_IMAGINGDETAIL_H
#define XELORAALGO_SRC_IMAGING_IMAGINGDETAIL_H

#include <climits>
#include <cstddef>

#include "frame/AlgoEngine.h"
#include "frame/CameraModel.h"

namespace XELORAALGO {
namespace imaging {
namespace detail {

// Truncation toward zero of an exposure solution; a value with no int result (not a number,
// unbounded, out of range) becomes INT_MIN, so that it counts as below every lower limit.
inline int truncOrBelow(double v) {
    int r;
    return truncToInt(v, r) ? r : INT_MIN;
}

// Bytes of one two-camera frame of the engine's ROI (2 * w * h; 0 for an empty ROI).
inline std::size_t frameBytes(const AlgoEngine& engine) { return 2 * engine.pixelCount(); }

}  // namespace detail
}  // namespace imaging
}  // namespace XELORAALGO

#endif
