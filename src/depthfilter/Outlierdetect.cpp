// Outlierdetect: removal of isolated points of a point map, in place.
//
// Inputs:  engine.roi (width x height); X, Y, Z (float, w x h, caller-owned): the point map;
//          mask (bool, w x h, caller-owned): valid points; radius (neighbourhood half-size, pixels);
//          distance (3-D distance, units of X/Y/Z).
// Outputs: X, Y, Z of removed points set to 0; mask cleared at removed points.
// Working storage: a copy of the mask that records the removals, allocated here, copied back into
// mask at the end and released on return.
//
// Only whether the count reaches 2 * radius^2 matters, so the count stops as soon as it does.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "depthfilter.h"

namespace XELORAALGO {
namespace depthfilter {

void Outlierdetect(const AlgoEngine& engine, float* X, float* Y, float* Z, bool* mask, int radius,
                   float distance) {
    const int w = engine.roi.width, h = engine.roi.height;
    if (w <= 0 || h <= 0) return;
    const std::size_t W = static_cast<std::size_t>(w);
    const std::size_t n = W * static_cast<std::size_t>(h);

    std::vector<unsigned char> kept(mask, mask + n);
    const float limit = distance * distance;
    const std::int64_t R = radius;
    const std::int64_t needed = 2 * R * R;

    for (int r = 0; r < h; ++r) {
        const int r0 = static_cast<int>(std::max<std::int64_t>(r - R, 0));
        const int r1 = static_cast<int>(std::min<std::int64_t>(r + R, h - 1));
        for (int c = 0; c < w; ++c) {
            const std::size_t i = static_cast<std::size_t>(r) * W + static_cast<std::size_t>(c);
            if (!mask[i]) continue;
            const int c0 = static_cast<int>(std::max<std::int64_t>(c - R, 0));
            const int c1 = static_cast<int>(std::min<std::int64_t>(c + R, w - 1));
            const float x = X[i], y = Y[i], z = Z[i];
            std::int64_t count = 0;
            for (int rr = r0; rr <= r1 && count < needed; ++rr) {
                const std::size_t base = static_cast<std::size_t>(rr) * W;
                for (int cc = c0; cc <= c1; ++cc) {
                    const std::size_t j = base + static_cast<std::size_t>(cc);
                    const float dy = y - Y[j], dx = x - X[j], dz = z - Z[j];
                    const float d2 = dy * dy + dx * dx + dz * dz;
                    if (d2 < limit) ++count;
                }
            }
            if (count < needed) {
                X[i] = 0.0f;
                Y[i] = 0.0f;
                Z[i] = 0.0f;
                kept[i] = 0;
            }
        }
    }
    for (std::size_t i = 0; i < n; ++i) mask[i] = kept[i] != 0;
}

}  // namespace depthfilter
}  // namespace XELORAALGO
