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
// Where a run of pixels and its neighbourhoods lie inside the row, the counts of the run are taken
// together in vector lanes (OutlierLanes.inc) from the maps as they are before the run. That is
// exactly what the pixels see one after another up to the first pixel of the run that is removed: a
// pixel's count reads its own neighbourhood only, and nothing in it changes before a pixel is removed.
// That pixel is removed and the next run starts just after it.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "depthfilter.h"
#include "numerics/numerics.h"

namespace XELORAALGO {
namespace depthfilter {

namespace detail {
#define XELORA_OUTLIER_ISA Base
#define XELORA_OUTLIER_BYTES 16
#include "OutlierLanes.inc"
#undef XELORA_OUTLIER_BYTES
#undef XELORA_OUTLIER_ISA
#if defined(__GNUC__) && defined(__x86_64__)
int countNearAvx2(const float* X, const float* Y, const float* Z, long long w, int r, int r0, int r1, int c, int R,
                  float limit, int needed, int* counts);
#if !defined(_WIN32)
int countNearAvx512(const float* X, const float* Y, const float* Z, long long w, int r, int r0, int r1, int c,
                    int R, float limit, int needed, int* counts);
#endif
#endif
}  // namespace detail

namespace {

using CountNear = int (*)(const float*, const float*, const float*, long long, int, int, int, int, int, float, int,
                          int*);

// The count for isa (or the widest narrower one usable here) and its lanes.
CountNear countNear(num::Isa isa, int& lanes) {
#if defined(__GNUC__) && defined(__x86_64__)
#if !defined(_WIN32)
    if (isa == num::Isa::Avx512 && num::widestIsa() == num::Isa::Avx512) {
        lanes = 16;
        return detail::countNearAvx512;
    }
#endif
    if ((isa == num::Isa::Avx2 || isa == num::Isa::Avx512) && num::avx2Allowed()) {
        lanes = 8;
        return detail::countNearAvx2;
    }
#endif
    (void)isa;
    lanes = 4;
    return detail::countNearBase;
}

}  // namespace

namespace detail {

void outlierdetect(const AlgoEngine& engine, float* X, float* Y, float* Z, bool* mask, int radius, float distance,
                   num::Isa isa, bool lanesAllowed) {
    const int w = engine.roi.width, h = engine.roi.height;
    if (w <= 0 || h <= 0) return;
    const std::size_t W = static_cast<std::size_t>(w);
    const std::size_t n = W * static_cast<std::size_t>(h);

    std::vector<unsigned char> kept(mask, mask + n);
    const float limit = distance * distance;
    const std::int64_t R = radius;
    const std::int64_t needed = 2 * R * R;

    const auto remove = [&](std::size_t i) {
        X[i] = 0.0f;
        Y[i] = 0.0f;
        Z[i] = 0.0f;
        kept[i] = 0;
    };
    // One pixel: its neighbourhood clipped to the map, rows r0 ... r1.
    const auto onePixel = [&](int r, int c, int r0, int r1) {
        const std::size_t i = static_cast<std::size_t>(r) * W + static_cast<std::size_t>(c);
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
        if (count < needed) remove(i);
    };

    int lanes = 1;
    const CountNear count = lanesAllowed ? countNear(isa, lanes) : nullptr;
    // Runs of `lanes` pixels from column R up to w - 1 - R - (lanes - 1); the counts, at most the
    // (2R + 1)^2 pixels of a neighbourhood, stay in int.
    const bool runs = count && R >= 1 && R <= 23169 && 2 * R + lanes <= w;  // 46339^2 < 2^31
    const int runEnd = runs ? static_cast<int>(w - R - lanes) : -1;  // last column a run may start at
    int counts[16];

    for (int r = 0; r < h; ++r) {
        const int r0 = static_cast<int>(std::max<std::int64_t>(r - R, 0));
        const int r1 = static_cast<int>(std::min<std::int64_t>(r + R, h - 1));
        const std::size_t row = static_cast<std::size_t>(r) * W;
        int c = 0;
        while (c < w) {
            if (!(runs && c >= R && c <= runEnd)) {
                if (mask[row + static_cast<std::size_t>(c)]) onePixel(r, c, r0, r1);
                ++c;
                continue;
            }
            const bool* m = mask + row + static_cast<std::size_t>(c);
            if (std::none_of(m, m + lanes, [](bool v) { return v; })) {
                c += lanes;
                continue;
            }
            count(X, Y, Z, static_cast<long long>(w), r, r0, r1, c, static_cast<int>(R), limit,
                  static_cast<int>(needed), counts);
            int next = c + lanes;
            for (int j = 0; j < lanes; ++j)
                if (m[j] && counts[j] < needed) {
                    remove(row + static_cast<std::size_t>(c + j));
                    next = c + j + 1;
                    break;
                }
            c = next;
        }
    }
    for (std::size_t i = 0; i < n; ++i) mask[i] = kept[i] != 0;
}

}  // namespace detail

void Outlierdetect(const AlgoEngine& engine, float* X, float* Y, float* Z, bool* mask, int radius,
                   float distance) {
    detail::outlierdetect(engine, X, Y, Z, mask, radius, distance, num::widestIsa(), true);
}

}  // namespace depthfilter
}  // namespace XELORAALGO
