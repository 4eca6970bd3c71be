// BiCubicPloy, InterpCubic1 ... InterpCubic5: cubic convolution resampling of float maps.
//
// Inputs:  map (float, w x h, caller-owned): the source grid, replaced in place by the target grid;
//          a pair of double coordinate maps (w x h): the source column (mapX) and row (mapY) of every
//          target pixel. InterpCubic1/2/4/5 read the engine's rectification or undistortion maps,
//          InterpCubic3 the caller's maps together with the caller's source mask (bool, w x h).
// Outputs: map. A private copy of the source (w x h floats) is allocated here and released on return.
//
// Each target pixel takes the 4 x 4 source neighbourhood around the truncated coordinate (rows
// r - 1 ... r + 2, columns c - 1 ... c + 2). Pixels whose neighbourhood is not wholly inside the
// grid are 0. The weights are separable: four kernel values per axis at the float coordinates,
// W(yf - (r - 1 + k)) and W(xf - (c - 1 + l)), the product of a row and a column weight per
// neighbour, all in float, summed row-major.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include "CubicLanes.h"
#include "frame/BandedWorkers.h"
#include "numerics/numerics.h"
#include "stereo.h"

namespace XELORAALGO {
namespace stereo {

namespace {

// Keys' kernel with a = -0.5, in float: the inner piece for t <= 1, the outer piece for 1 < t < 2.
// Both pieces are exactly +0 at t = 1, and the outer one at t = 2.
inline float keysInner(float t) { return ((t * 1.5f) * t) * t - (t * 2.5f) * t + 1.0f; }
inline float keysOuter(float t) { return ((t * -0.5f) * t) * t - (t * -2.5f) * t - t * 4.0f - (-2.0f); }

inline float keys(float x) {
    const float t = std::fabs(x);
    if (t <= 1.0f) return keysInner(t);
    if (t < 2.0f) return keysOuter(t);
    return 0.0f;  // t >= 2 or NaN
}

// The four taps of one axis: W(v - (b - 1)), W(v - b), W(v - (b + 1)), W(v - (b + 2)) for the base
// b = trunc(coordinate) >= 1 and v the coordinate narrowed to float. As b is exact in float,
// b <= v <= b + 1, so the distances lie in [1, 2], [0, 1], [0, 1], [1, 2] and each tap takes its
// piece without a test (the pieces agree at the ends, where W is 0).
inline void taps(float v, int b, float w[4]) {
    w[0] = keysOuter(v - static_cast<float>(b - 1));
    w[1] = keysInner(v - static_cast<float>(b));
    w[2] = keysInner(static_cast<float>(b + 1) - v);
    w[3] = keysOuter(static_cast<float>(b + 2) - v);
}

// Neighbourhood of one target pixel: base row/column and the separable weights. False when the
// 4 x 4 neighbourhood is not inside the w x h grid.
struct Neighbourhood {
    int r, c;
    float wr[4], wc[4];
};

inline bool neighbourhood(double x, double y, int w, int h, Neighbourhood& nb) {
    if (!truncToInt(x, nb.c) || !truncToInt(y, nb.r)) return false;
    if (nb.r < 1 || nb.r >= h - 2 || nb.c < 1 || nb.c >= w - 2) return false;
    taps(static_cast<float>(y), nb.r, nb.wr);
    taps(static_cast<float>(x), nb.c, nb.wc);
    return true;
}

// Plain cubic resampling of the target pixels [begin, end).
void cubicRange(const float* src, float* dst, const double* mapX, const double* mapY, int w, int h,
                std::size_t begin, std::size_t end) {
    const std::size_t W = static_cast<std::size_t>(w);
    for (std::size_t i = begin; i < end; ++i) {
        Neighbourhood nb;
        if (!neighbourhood(mapX ? mapX[i] : static_cast<double>(i % W), mapY[i], w, h, nb)) continue;
        const float* base = src + static_cast<std::size_t>(nb.r - 1) * W + static_cast<std::size_t>(nb.c - 1);
        float sum = 0.0f;
        for (int k = 0; k < 4; ++k) {
            const float* line = base + static_cast<std::size_t>(k) * W;
            for (int l = 0; l < 4; ++l) sum += (nb.wr[k] * nb.wc[l]) * line[l];
        }
        dst[i] = sum;
    }
}

// Masked cubic resampling of the target pixels [begin, end): weighted mean over valid neighbours.
void maskedCubicRange(const float* src, float* dst, const double* mapX, const double* mapY,
                      const bool* mask, int w, int h, std::size_t begin, std::size_t end) {
    const std::size_t W = static_cast<std::size_t>(w);
    for (std::size_t i = begin; i < end; ++i) {
        Neighbourhood nb;
        if (!neighbourhood(mapX ? mapX[i] : static_cast<double>(i % W), mapY[i], w, h, nb)) continue;
        const std::size_t first = static_cast<std::size_t>(nb.r - 1) * W + static_cast<std::size_t>(nb.c - 1);
        float s = 0.0f;
        float n = 0.0f;
        for (int k = 0; k < 4; ++k) {
            const std::size_t j0 = first + static_cast<std::size_t>(k) * W;
            for (int l = 0; l < 4; ++l) {
                const std::size_t j = j0 + static_cast<std::size_t>(l);
                if (!mask[j]) continue;
                const float wgt = nb.wr[k] * nb.wc[l];
                s += wgt * src[j];
                n += wgt;
            }
        }
        dst[i] = s / n;
    }
}

// Whether the eight-lane loops can serve this grid (their indices are 32-bit lanes).
bool lanesFor(std::size_t n, bool allowLanes) {
    return allowLanes && n < (std::size_t(1) << 31) && num::avx2Allowed();
}

}  // namespace

namespace detail {

void resampleCubic(const AlgoEngine& e, float* map, const double* mapX, const double* mapY, const bool* mask,
                   bool allowLanes) {
    const std::size_t n = e.pixelCount();
    if (n == 0) return;
    const int w = e.roi.width;
    const int h = e.roi.height;
    const std::size_t W = static_cast<std::size_t>(w);
    const bool lanes = lanesFor(n, allowLanes);
    const std::vector<float> src(map, map + n);
    const BandPlan& plan = mask ? bands::kMaskedCubic : bands::kCubic;
    // Pixels without a neighbourhood come out 0: the rows no worker owns are cleared here, every
    // other row by its worker just before it is resampled.
    std::fill(map + bandsEnd(plan.workers, static_cast<std::size_t>(h)) * W, map + n, 0.0f);
    const float* s = src.data();
    auto rows = [&](int, std::size_t begin, std::size_t end) {
        for (std::size_t row = begin; row < end; ++row) {
            const std::size_t first = row * W;
            std::fill(map + first, map + first + W, 0.0f);
            std::size_t done = 0;
#if defined(__GNUC__) && defined(__x86_64__)
            if (lanes) {
                const long long f = static_cast<long long>(first), c = static_cast<long long>(W);
                done = static_cast<std::size_t>(
                    mask ? maskedCubicPixelsAvx2(s, mask, map, mapX, mapY, w, h, f, c)
                         : cubicPixelsAvx2(s, map, mapX, mapY, w, h, f, c));
            }
#endif
            if (mask)
                maskedCubicRange(s, map, mapX, mapY, mask, w, h, first + done, first + W);
            else
                cubicRange(s, map, mapX, mapY, w, h, first + done, first + W);
        }
    };
    runBands(plan, static_cast<std::size_t>(h), rows);
}

}  // namespace detail

namespace {

void cubicThroughEngineMaps(const AlgoEngine& e, float* map, const std::vector<double>& mapX,
                            const std::vector<double>& mapY) {
    const std::size_t n = e.pixelCount();
    if (n == 0 || mapX.size() != n || mapY.size() != n) return;
    detail::resampleCubic(e, map, mapX.data(), mapY.data(), nullptr, true);
}

}  // namespace

float BiCubicPloy(float x) { return keys(x); }

void InterpCubic1(const AlgoEngine& e, float* map) { cubicThroughEngineMaps(e, map, e.rectMapX1, e.rectMapY1); }
void InterpCubic2(const AlgoEngine& e, float* map) { cubicThroughEngineMaps(e, map, e.rectMapX2, e.rectMapY2); }
void InterpCubic4(const AlgoEngine& e, float* map) { cubicThroughEngineMaps(e, map, e.undistMapX1, e.undistMapY1); }
void InterpCubic5(const AlgoEngine& e, float* map) { cubicThroughEngineMaps(e, map, e.undistMapX2, e.undistMapY2); }

void InterpCubic3(const AlgoEngine& e, float* map, const double* mapX, const double* mapY, const bool* mask) {
    detail::resampleCubic(e, map, mapX, mapY, mask, true);
}

}  // namespace stereo
}  // namespace XELORAALGO
