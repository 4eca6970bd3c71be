// GradientFilter: drops pixels of two maps where the central-difference gradient is steep.
//
// Inputs:  engine.roi (width x height); mapA, mapB (float, w x h, caller-owned); maskA, maskB (bool,
//          w x h, caller-owned); gradientLimit (map units per two pixels); passLevel.
// Outputs: dropped pixels get map value 0 and mask false; the others are unchanged.
// Working storage: one byte per pixel and map recording the decision (all gradients of both maps are
// taken before any pixel is dropped), allocated here and released on return.
//
// Border pixels use the pixel itself in place of the neighbour outside the map (see depthfilter.h).
#include <cmath>
#include <cstddef>
#include <vector>

#include "depthfilter.h"

namespace XELORAALGO {
namespace depthfilter {

namespace {

// min(255, |a - b|) in float; a NaN difference stays NaN.
inline float clampedGradient(float a, float b) {
    const float d = std::fabs(a - b);
    return d > 255.0f ? 255.0f : d;
}

// Records in drop whether each pixel of one map goes (reads the map only).
void decide(int w, int h, const float* map, float gradientLimit, float passLevel, std::vector<unsigned char>& drop) {
    const std::size_t W = static_cast<std::size_t>(w);
    // q is 1 where both gradients are below the limit; a pixel is dropped when passLevel > q.
    const bool dropPassing = passLevel > 1.0f;
    const bool dropFailing = passLevel > 0.0f;
    const auto judge = [&](float gx, float gy) {
        const bool passes = gradientLimit > gx && gradientLimit > gy;
        return static_cast<unsigned char>(passes ? dropPassing : dropFailing);
    };
    for (int r = 0; r < h; ++r) {
        const float* row = map + static_cast<std::size_t>(r) * W;
        const float* up = r > 0 ? row - W : row;
        const float* down = r < h - 1 ? row + W : row;
        unsigned char* d = drop.data() + static_cast<std::size_t>(r) * W;
        // first and last column: the pixel itself stands in for the missing neighbour
        d[0] = judge(clampedGradient(row[w > 1 ? 1 : 0], row[0]), clampedGradient(down[0], up[0]));
        if (w > 1) {
            d[w - 1] = judge(clampedGradient(row[w - 1], row[w - 2]), clampedGradient(down[w - 1], up[w - 1]));
        }
        for (int c = 1; c < w - 1; ++c) {
            d[c] = judge(clampedGradient(row[c + 1], row[c - 1]), clampedGradient(down[c], up[c]));
        }
    }
}

void apply(const std::vector<unsigned char>& drop, float* map, bool* mask) {
    for (std::size_t i = 0; i < drop.size(); ++i) {
        if (drop[i]) {
            map[i] = 0.0f;
            mask[i] = false;
        }
    }
}

}  // namespace

void GradientFilter(const AlgoEngine& engine, float* mapA, float* mapB, bool* maskA, bool* maskB,
                    float gradientLimit, float passLevel) {
    const int w = engine.roi.width, h = engine.roi.height;
    if (w <= 0 || h <= 0) return;
    if (!(passLevel > 0.0f)) return;  // q is never below passLevel: nothing is dropped
    const std::size_t n = static_cast<std::size_t>(w) * static_cast<std::size_t>(h);
    // Both maps are judged on their unfiltered values before either is changed.
    std::vector<unsigned char> dropA(n), dropB(n);
    decide(w, h, mapA, gradientLimit, passLevel, dropA);
    decide(w, h, mapB, gradientLimit, passLevel, dropB);
    apply(dropA, mapA, maskA);
    apply(dropB, mapB, maskB);
}

}  // namespace depthfilter
}  // namespace XELORAALGO
