// Set-up and ROI checks of the members that use the engine's tables or the sensor position of
// every ROI pixel.
//
// Inputs: the engine (ROI, downsampling, the stamps of its tables) and the member's name.
// Outputs: none; a failed check throws (std::logic_error for a missing or stale table,
// std::invalid_argument for sensor positions outside int) before the member writes anything.
#include <cstdint>
#include <limits>

#include "Checks.h"
#include "frame.h"

namespace XELORAALGO {
namespace frame {

void requireBuilt(const AlgoEngine& e, const SetupStamp& stamp, const char* member, const char* step) {
    if (!e.isCurrent(stamp)) checks::missingSetup(member, step);
}

void requireSensorPositionsFit(const AlgoEngine& e, const char* member) {
    const std::int64_t step = e.downsampleStep;
    const std::int64_t lo = std::numeric_limits<std::int32_t>::min();
    const std::int64_t hi = std::numeric_limits<std::int32_t>::max();
    // The members form step * index in int and then add the ROI offset, for index 0 ... size - 1.
    const auto fits = [&](const char* product, const char* position, std::int64_t last, std::int64_t offset) {
        if (last <= 0) return;
        checks::requireInRange<std::int64_t>(member, product, step * last, lo, hi);
        checks::requireInRange<std::int64_t>(member, position, step * last + offset, lo, hi);
    };
    fits("downsampleStep * (width - 1)", "sensor column downsampleStep * (width - 1) + offsetX",
         std::int64_t{e.roi.width} - 1, e.roi.offsetX);
    fits("downsampleStep * (height - 1)", "sensor row downsampleStep * (height - 1) + offsetY",
         std::int64_t{e.roi.height} - 1, e.roi.offsetY);
}

}  // namespace frame
}  // namespace XELORAALGO
