// SmoothMaskedMap: masked separable Gaussian smoothing of a float map, in place.
//
// Inputs:  engine.roi (width x height), map (float, w x h, caller-owned, smoothed in place),
//          mask (bool, w x h, caller-owned, read only), sigma (pixels).
// Outputs: map: valid pixels hold the smoothed value, invalid pixels 0.
// Working storage (weights, the horizontal results of the 2R + 1 rows in reach and a few row
// buffers) is allocated here and released on return. SmoothMaskedMaps smooths several maps with
// one mask, each exactly as SmoothMaskedMap would.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>
#include <new>
#include <vector>

#include "fringe.h"
#include "numerics/numerics.h"

namespace XELORAALGO {
namespace fringe {

namespace detail {
#define XELORA_SMOOTH_ISA Base
#include "SmoothRows.inc"
#undef XELORA_SMOOTH_ISA
#if defined(__GNUC__) && defined(__x86_64__)
void addTapsAvx2(float* sum, const float* src, float wf, int cBegin, int cEnd, int x);
void addMaskTapsAvx2(float* sum, const unsigned char* m, float wf, long long n);
void maskRowAvx2(float* out, float* flag, const float* in, const unsigned char* m, long long n);
void divideRowAvx2(float* out, const float* vs, const float* ws, const unsigned char* m, long long n);
#endif
}  // namespace detail

namespace {

// The row loops for the instruction set in use.
struct RowLoops {
    void (*addTaps)(float*, const float*, float, int, int, int);
    void (*addMaskTaps)(float*, const unsigned char*, float, long long);
    void (*maskRow)(float*, float*, const float*, const unsigned char*, long long);
    void (*divideRow)(float*, const float*, const float*, const unsigned char*, long long);
};

RowLoops rowLoops(bool allowWide) {
#if defined(__GNUC__) && defined(__x86_64__)
    if (allowWide && num::avx2Allowed())
        return {detail::addTapsAvx2, detail::addMaskTapsAvx2, detail::maskRowAvx2, detail::divideRowAvx2};
#endif
    (void)allowWide;
    return {detail::addTapsBase, detail::addMaskTapsBase, detail::maskRowBase, detail::divideRowBase};
}

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
        const double e = static_cast<double>(num::expf(static_cast<float>(-xx) / denom));
        sum += e;
        if (x >= -reach && x <= reach) w[static_cast<std::size_t>(x + reach)] = e;
    }
    for (double& v : w) v /= sum;
    return w;
}

}  // namespace

namespace detail {

void smoothMaskedMaps(const AlgoEngine& engine, float* const* maps, int count, const bool* mask, float sigma,
                      bool allowWide) {
    const std::size_t n = engine.pixelCount();
    if (n == 0 || count <= 0) return;
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
    // written there). The weight sums depend on the mask only and serve every map.
    //
    // Rows are done in one sweep: the horizontal results are kept for the 2R + 1 rows the vertical
    // pass of the current row reads (a ring of rows per map), computed just before they are first
    // needed. A map row is read by the horizontal pass before the vertical pass overwrites it, so
    // the maps need no copy.
    const std::size_t w = static_cast<std::size_t>(width);
    const int ringRows = 2 * radius + 1 < height ? 2 * radius + 1 : height;
    std::vector<float> ring(static_cast<std::size_t>(count) * static_cast<std::size_t>(ringRows) * w);
    const auto ringRow = [&](int map, int row) {
        return ring.data() + (static_cast<std::size_t>(map) * static_cast<std::size_t>(ringRows) +
                              static_cast<std::size_t>(row % ringRows)) * w;
    };
    std::vector<float> weightSum(w), valueSum(w), rowValue(w), rowValid(w);
    const RowLoops loops = rowLoops(allowWide);
    const long long wl = static_cast<long long>(w);
    const auto bytes = [](const bool* m) { return reinterpret_cast<const unsigned char*>(m); };  // 0 or 1 each

    // Horizontal pass: row r of every map into its ring.
    const auto horizontal = [&](int r) {
        const std::size_t row = static_cast<std::size_t>(r) * w;
        const unsigned char* m = bytes(mask + row);
        const int xReach = radius < width - 1 ? radius : width - 1;  // taps beyond the row add nothing
        loops.maskRow(rowValue.data(), rowValid.data(), nullptr, m, wl);
        std::fill(weightSum.begin(), weightSum.end(), 0.0f);
        for (int x = -xReach; x <= xReach; ++x) {
            const float wf = static_cast<float>(weights[static_cast<std::size_t>(x + radius)]);
            loops.addTaps(weightSum.data(), rowValid.data(), wf, x < 0 ? -x : 0, x > 0 ? width - x : width, x);
        }
        for (int k = 0; k < count; ++k) {
            loops.maskRow(rowValue.data(), rowValid.data(), maps[k] + row, m, wl);
            std::fill(valueSum.begin(), valueSum.end(), 0.0f);
            for (int x = -xReach; x <= xReach; ++x) {
                const float wf = static_cast<float>(weights[static_cast<std::size_t>(x + radius)]);
                loops.addTaps(valueSum.data(), rowValue.data(), wf, x < 0 ? -x : 0, x > 0 ? width - x : width, x);
            }
            loops.divideRow(ringRow(k, r), valueSum.data(), weightSum.data(), m, wl);
        }
    };

    // Vertical pass: rows r - R ... r + R of the rings into row r of every map.
    int nextRow = 0;  // first row without horizontal results
    for (int r = 0; r < height; ++r) {
        const int yFirst = -(r < radius ? r : radius);
        const int yLast = (height - 1 - r < radius) ? height - 1 - r : radius;
        for (; nextRow <= r + yLast; ++nextRow) horizontal(nextRow);
        std::fill(weightSum.begin(), weightSum.end(), 0.0f);
        for (int y = yFirst; y <= yLast; ++y) {
            const float wf = static_cast<float>(weights[static_cast<std::size_t>(y + radius)]);
            loops.addMaskTaps(weightSum.data(), bytes(mask + static_cast<std::size_t>(r + y) * w), wf, wl);
        }
        const std::size_t row = static_cast<std::size_t>(r) * w;
        for (int k = 0; k < count; ++k) {
            std::fill(valueSum.begin(), valueSum.end(), 0.0f);
            for (int y = yFirst; y <= yLast; ++y) {
                const float wf = static_cast<float>(weights[static_cast<std::size_t>(y + radius)]);
                loops.addTaps(valueSum.data(), ringRow(k, r + y), wf, 0, width, 0);
            }
            loops.divideRow(maps[k] + row, valueSum.data(), weightSum.data(), bytes(mask + row), wl);
        }
    }
}

}  // namespace detail

void SmoothMaskedMaps(const AlgoEngine& engine, float* const* maps, int count, const bool* mask, float sigma) {
    detail::smoothMaskedMaps(engine, maps, count, mask, sigma, true);
}

void SmoothMaskedMap(const AlgoEngine& engine, float* map, const bool* mask, float sigma) {
    float* const maps[1] = {map};
    SmoothMaskedMaps(engine, maps, 1, mask, sigma);
}

}  // namespace fringe
}  // namespace XELORAALGO
