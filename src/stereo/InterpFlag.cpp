// InterpFlag1, InterpFlag2: nearest-neighbour resampling of validity masks.
//
// Inputs:  mask (bool, w x h, caller-owned): the source grid, replaced in place by the target grid;
//          the engine's rectification maps of camera 1 (InterpFlag1) or camera 2 (InterpFlag2).
// Outputs: mask. A private copy of the source (w x h bytes) is allocated here and released on return.
//
// Target pixel i takes the source at row (int)(mapY[i] + 0.5), column (int)(mapX[i] + 0.5), both
// truncated toward zero (so -1.5 < coordinate < -0.5 lands on index 0), or false outside the grid.
#include <cstddef>
#include <cstring>
#include <memory>
#include <vector>

#include "frame/BandedWorkers.h"
#include "stereo.h"

namespace XELORAALGO {
namespace stereo {

namespace {

void flagThroughEngineMaps(const AlgoEngine& e, bool* mask, const std::vector<double>& mapX,
                           const std::vector<double>& mapY) {
    const std::size_t n = e.pixelCount();
    if (n == 0 || mapX.size() != n || mapY.size() != n) return;
    const int w = e.roi.width;
    const int h = e.roi.height;
    const std::unique_ptr<bool[]> src(new bool[n]);
    std::memcpy(src.get(), mask, n * sizeof(bool));
    std::memset(mask, 0, n * sizeof(bool));
    // (int)(v + 0.5) lies in [0, limit) exactly when -1 < v + 0.5 < limit (truncation toward zero
    // maps (-1, 0) to 0); NaN fails the test. So one test in double per coordinate decides, and the
    // conversions happen only when it passes.
    const double wLimit = static_cast<double>(w), hLimit = static_cast<double>(h);
    const bool* from = src.get();
    runBands(bands::kFlag, n, [&](int, std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            const double y = mapY[i] + 0.5, x = mapX[i] + 0.5;
            const bool inside = y > -1.0 && y < hLimit && x > -1.0 && x < wLimit;
            const std::size_t j = inside ? static_cast<std::size_t>(static_cast<int>(y)) * static_cast<std::size_t>(w) +
                                               static_cast<std::size_t>(static_cast<int>(x))
                                         : 0;
            mask[i] = inside && from[j];
        }
    });
}

}  // namespace

void InterpFlag1(const AlgoEngine& e, bool* mask) { flagThroughEngineMaps(e, mask, e.rectMapX1, e.rectMapY1); }
void InterpFlag2(const AlgoEngine& e, bool* mask) { flagThroughEngineMaps(e, mask, e.rectMapX2, e.rectMapY2); }

}  // namespace stereo
}  // namespace XELORAALGO
