// SmoothMaskedMap: masked separable Gaussian smoothing of a float map, in place.
//
// Inputs:  engine.roi (width x height), map (float, w x h, caller-owned, smoothed in place),
//          mask (bool, w x h, caller-owned, read only), sigma (pixels).
// Outputs: map: valid pixels hold the smoothed value, invalid pixels 0.
// Working storage (weights, the horizontal result and a few row buffers) is allocated here and
// released on return.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>
#include <new>
#include <vector>

#include "fringe.h"

namespace XELORAALGO {
namespace fringe {

namespace {

// Largest radius accepted (the tap loops use int); a larger sigma throws std::bad_alloc.
constexpr double kMaxRadius = 1.0e9;

// Normalised kernel weights of the taps -reach ... reach (w[reach] the centre), reach =
// min(R, maxReach): taps farther out can never fall inside the ROI, so only their share of the
// normalising sum is needed. The sum runs over all 2R + 1 taps in order.
std::vector<double> gaussianWeights(float sigma, int maxReach) {
    if (!(sigma > 0.0f)) return std::vector<double>(1, 1.0);  // no Gaussian: identity kernel
    const double r = -std::trunc(-1.5 * static_cast<double>(sigma));
    if (!(r <= kMaxRadius)) throw std::bad_alloc();
    const int radius = static_cast<int>(r);
    // One tap: its weight exp(0) normalises to 1. Returned directly, because for a sigma so small
    // that (sigma + sigma) * sigma underflows the float division would be 0 / 0.
    if (radius == 0) return std::vector<double>(1, 1.0);
    const int reach = radius < maxReach ? radius : maxReach;
    std::vector<double> w(2 * static_cast<std::size_t>(reach) + 1);
    const float denom = (sigma + sigma) * sigma;
    double sum = 0.0;
    for (int x = -radius; x <= radius; ++x) {
        const long long xx = static_cast<long long>(x) * x;
        const double e = static_cast<double>(expf(static_cast<float>(-xx) / denom));
        sum += e;
        if (x >= -reach && x <= reach) w[static_cast<std::size_t>(x + reach)] = e;
    }
    for (double& v : w) v /= sum;
    return w;
}

}  // namespace

void SmoothMaskedMap(const AlgoEngine& engine, float* map, const bool* mask, float sigma) {
    const std::size_t n = engine.pixelCount();
    if (n == 0) return;
    const int width = engine.roi.width;
    const int height = engine.roi.height;

    const std::vector<double> weights = gaussianWeights(sigma, (width > height ? width : height) - 1);
    const int radius = static_cast<int>(weights.size() / 2);

    // Both passes run tap by tap over a whole row, keeping one weight sum and one value sum per
    // column, so every pixel still adds its taps in the order -R ... R (the same sums as a
    // pixel-by-pixel loop) while the inner loop runs over contiguous columns without branches.
    // Each tap's weight is rounded to float once; the weight x value product and both sums are
    // float operations. A tap on an invalid pixel adds weight x 0.0f to both sums (its value is read
    // as 0), which leaves them unchanged bit for bit. Sums of invalid centre pixels are discarded (0 is
    // written there).
    const std::size_t w = static_cast<std::size_t>(width);
    std::unique_ptr<float[]> h(new float[n]);  // horizontal result (every element written), 0 on invalid pixels
    std::vector<float> weightSum(w), valueSum(w), rowValue(w), rowValid(w);

    // Horizontal pass: row r of map into row r of h.
    for (int r = 0; r < height; ++r) {
        const std::size_t row = static_cast<std::size_t>(r) * w;
        const bool* m = mask + row;
        for (std::size_t c = 0; c < w; ++c) {
            rowValue[c] = m[c] ? map[row + c] : 0.0f;
            rowValid[c] = m[c] ? 1.0f : 0.0f;
        }
        std::fill(weightSum.begin(), weightSum.end(), 0.0f);
        std::fill(valueSum.begin(), valueSum.end(), 0.0f);
        const int xReach = radius < width - 1 ? radius : width - 1;  // taps beyond the row add nothing
        for (int x = -xReach; x <= xReach; ++x) {
            const float wf = static_cast<float>(weights[static_cast<std::size_t>(x + radius)]);
            const int cBegin = x < 0 ? -x : 0;
            const int cEnd = x > 0 ? width - x : width;  // exclusive
            float* ws = weightSum.data();
            float* vs = valueSum.data();
            const float* src = rowValue.data();
            const float* vf = rowValid.data();
            for (int c = cBegin; c < cEnd; ++c) {
                ws[c] += wf * vf[c + x];
                vs[c] += wf * src[c + x];
            }
        }
        float* out = h.get() + row;
        for (std::size_t c = 0; c < w; ++c) out[c] = m[c] ? valueSum[c] / weightSum[c] : 0.0f;
    }

    // Vertical pass: rows r - R ... r + R of h into row r of map.
    for (int r = 0; r < height; ++r) {
        const std::size_t row = static_cast<std::size_t>(r) * w;
        std::fill(weightSum.begin(), weightSum.end(), 0.0f);
        std::fill(valueSum.begin(), valueSum.end(), 0.0f);
        const int yFirst = -(r < radius ? r : radius);
        const int yLast = (height - 1 - r < radius) ? height - 1 - r : radius;
        for (int y = yFirst; y <= yLast; ++y) {
            const std::size_t qrow = static_cast<std::size_t>(r + y) * w;
            // A bool is one byte holding 0 or 1; reading it as a byte lets the loop vectorise.
            const unsigned char* mq = reinterpret_cast<const unsigned char*>(mask + qrow);
            const float* hq = h.get() + qrow;
            const float wf = static_cast<float>(weights[static_cast<std::size_t>(y + radius)]);
            float* ws = weightSum.data();
            float* vs = valueSum.data();
            for (std::size_t c = 0; c < w; ++c) {
                ws[c] += wf * static_cast<float>(mq[c]);
                vs[c] += wf * hq[c];
            }
        }
        const bool* m = mask + row;
        float* out = map + row;
        for (std::size_t c = 0; c < w; ++c) out[c] = m[c] ? valueSum[c] / weightSum[c] : 0.0f;
    }
}

}  // namespace fringe
}  // namespace XELORAALGO
