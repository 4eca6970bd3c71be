// GetDepth: projects profiles (point sequences in camera 1's frame) into an organised point map on
// camera 1's pixel grid, averaging points that share a pixel and bridging short vertical gaps.
//
// Inputs:  engine.roi (w x h), engine.calib K1 and D1 (k1, k2, p1, p2, used as floats), profiles
//          (caller-owned, read only).
// Outputs: map (caller-owned, resized to w x h points, pixel (row, col) at row * w + col); (0, 0, 0)
//          where nothing landed.
// Working storage: hit count per pixel for the whole call, last hit column per row for each profile.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "frame/CameraModel.h"
#include "cloud.h"

namespace XELORAALGO {
namespace cloud {

namespace {

struct DepthProjector {
    Lens<float> lens;

    // Pixel of P (column u, row v, each rounded to nearest by +0.5 and truncation). False when the
    // normalised coordinates are not finite; u and v may lie outside the grid.
    bool pixel(const std::array<double, 3>& P, float& column, float& row) const {
        const float s = static_cast<float>(1.0 / P[2]);
        const float x = static_cast<float>(static_cast<double>(s) * P[0]);
        const float y = static_cast<float>(static_cast<double>(s) * P[1]);
        if (!std::isfinite(x) || !std::isfinite(y)) return false;
        projectPinhole(lens, x, y, column, row);
        column = column + 0.5f;
        row = row + 0.5f;
        return true;
    }
};

// Adds P to the running mean of pixel (v, u).
void merge(Cloud& map, std::vector<std::int32_t>& hits, std::size_t at, const std::array<double, 3>& P) {
    const std::int32_t c = ++hits[at];
    if (c == 1) {
        map[at] = P;
        return;
    }
    const double cm1 = static_cast<double>(c - 1);
    const double cd = static_cast<double>(c);
    for (int d = 0; d < 3; ++d) map[at][d] = (cm1 * map[at][d] + P[d]) / cd;
}

}  // namespace

void GetDepth(const AlgoEngine& engine, const std::vector<Cloud>& profiles, Cloud& map) {
    const int w = engine.width();
    const int h = engine.height();
    const std::size_t pixels = engine.pixelCount();
    map.assign(pixels, {0.0, 0.0, 0.0});
    if (pixels == 0) return;
    std::vector<std::int32_t> hits(pixels, 0);
    std::vector<int> rowHit(static_cast<std::size_t>(h));
    const DepthProjector proj{measurementLens<float>(engine.calib, true)};
    const auto at = [w](int row, int col) {
        return static_cast<std::size_t>(row) * static_cast<std::size_t>(w) + static_cast<std::size_t>(col);
    };

    for (const Cloud& profile : profiles) {
        std::fill(rowHit.begin(), rowHit.end(), 0);

        // Measured points.
        for (const auto& P : profile) {
            float column, row;
            if (!proj.pixel(P, column, row)) continue;
            int u, v;
            if (!truncIndex(column, w, u) || !truncIndex(row, h, v)) continue;
            merge(map, hits, at(v, u), P);
            rowHit[static_cast<std::size_t>(v)] = u;
        }

        // Gaps of one to three rows between two hit rows get interpolated points (column 0 is no hit;
        // a gap start of 0 means no open gap, so a gap right after row 0 is never bridged).
        int g = 0;
        for (int r = 1; r < h; ++r) {
            const int prev = rowHit[static_cast<std::size_t>(r - 1)];
            const int cur = rowHit[static_cast<std::size_t>(r)];
            if (g == 0) {
                if (prev != 0 && cur == 0) g = r - 1;
                continue;
            }
            if (cur == 0) continue;
            const int n = r - g;
            if (n >= 2 && n <= 4) {
                const std::array<double, 3> Ps = map[at(g, rowHit[static_cast<std::size_t>(g)])];
                const std::array<double, 3> Pe = map[at(r, cur)];
                for (int m = g + 1; m < r; ++m) {
                    std::array<double, 3> Pm;
                    for (int d = 0; d < 3; ++d)
                        Pm[d] = Ps[d] + (Pe[d] - Ps[d]) * static_cast<double>(m - g) / static_cast<double>(n);
                    float column, row;
                    if (!proj.pixel(Pm, column, row)) continue;
                    int u;
                    if (!truncIndex(column, w, u)) continue;
                    merge(map, hits, at(m, u), Pm);
                }
            }
            g = 0;
        }
    }
}

}  // namespace cloud
}  // namespace XELORAALGO
