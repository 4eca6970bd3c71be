// SmoothMaskedMap: masked separable Gaussian smoothing of a float map, in place.
//
// Inputs:  engine.roi (width x height), map (float, w x h, caller-owned, smoothed in place),
//          mask (bool, w x h, caller-owned, read only), sigma (pixels).
// Outputs: map: valid pixels hold the smoothed value, invalid pixels 0.
// Working storage (weights, a copy of the map and the horizontal result) is allocated here and
// released on return.
#include <cmath>
#include <cstddef>
#include <new>
#include <vector>

#include "fringe.h"

namespace XELORAALGO {
namespace fringe {

namespace {

// Largest radius accepted; anything beyond cannot be allocated anyway (2R + 1 doubles).
constexpr double kMaxRadius = 1.0e9;

// Normalised kernel weights w[0 .. 2R], w[R] the centre tap.
std::vector<double> gaussianWeights(float sigma) {
    if (!(sigma > 0.0f)) return std::vector<double>(1, 1.0);  // no Gaussian: identity kernel
    const double r = -std::trunc(-1.5 * static_cast<double>(sigma));
    if (!(r <= kMaxRadius)) throw std::bad_alloc();
    const int radius = static_cast<int>(r);
    std::vector<double> w(2 * static_cast<std::size_t>(radius) + 1);
    const float denom = (sigma + sigma) * sigma;
    double sum = 0.0;
    for (int x = -radius; x <= radius; ++x) {
        const long long xx = static_cast<long long>(x) * x;
        const float e = expf(static_cast<float>(-xx) / denom);
        w[static_cast<std::size_t>(x + radius)] = static_cast<double>(e);
    }
    for (double v : w) sum += v;
    for (double& v : w) v /= sum;
    return w;
}

}  // namespace

void SmoothMaskedMap(const AlgoEngine& engine, float* map, const bool* mask, float sigma) {
    const std::size_t n = engine.pixelCount();
    if (n == 0) return;
    const int width = engine.roi.width;
    const int height = engine.roi.height;

    const std::vector<double> w = gaussianWeights(sigma);
    const int radius = static_cast<int>(w.size() / 2);

    std::vector<float> source(map, map + n);
    std::vector<float> h(n, 0.0f);
    for (std::size_t i = 0; i < n; ++i) map[i] = 0.0f;

    // Horizontal pass.
    for (int r = 0; r < height; ++r) {
        const std::size_t row = static_cast<std::size_t>(r) * static_cast<std::size_t>(width);
        for (int c = 0; c < width; ++c) {
            if (!mask[row + c]) continue;
            float weightSum = 0.0f;
            float valueSum = 0.0f;
            // Taps outside the row are left out; the loop range skips them up front.
            const int xFirst = -(c < radius ? c : radius);
            const int xLast = (width - 1 - c < radius) ? width - 1 - c : radius;
            for (int x = xFirst; x <= xLast; ++x) {
                const int q = c + x;
                if (!mask[row + q]) continue;
                const double wx = w[static_cast<std::size_t>(x + radius)];
                weightSum += static_cast<float>(wx);
                valueSum = static_cast<float>(static_cast<double>(valueSum) +
                                              wx * static_cast<double>(source[row + q]));
            }
            h[row + c] = valueSum / weightSum;
        }
    }

    // Vertical pass.
    for (int r = 0; r < height; ++r) {
        const std::size_t row = static_cast<std::size_t>(r) * static_cast<std::size_t>(width);
        for (int c = 0; c < width; ++c) {
            if (!mask[row + c]) continue;
            float weightSum = 0.0f;
            float valueSum = 0.0f;
            const int yFirst = -(r < radius ? r : radius);
            const int yLast = (height - 1 - r < radius) ? height - 1 - r : radius;
            for (int y = yFirst; y <= yLast; ++y) {
                const int q = r + y;
                const std::size_t j = static_cast<std::size_t>(q) * static_cast<std::size_t>(width) + c;
                if (!mask[j]) continue;
                const double wy = w[static_cast<std::size_t>(y + radius)];
                weightSum += static_cast<float>(wy);
                valueSum = static_cast<float>(static_cast<double>(valueSum) +
                                              wy * static_cast<double>(h[j]));
            }
            map[row + c] = valueSum / weightSum;
        }
    }
}

}  // namespace fringe
}  // namespace XELORAALGO
