// Bilateralfilter: edge-preserving smoothing of a float map inside a mask.
//
// Inputs:  map (float, w x h, caller-owned, filtered in place), mask (bool, w x h, read only),
//          spatialSigma (pixels, integer), rangeSigma (units of the map).
// Outputs: map: valid pixels hold the filtered value, invalid pixels 0.
// Working storage (the spatial weight table and a copy of the map) is allocated here and released
// on return.
#include <cmath>
#include <cstddef>
#include <vector>

#include "Bilateralfilter.h"
#include "frame/BandedWorkers.h"

namespace XELORAALGO {
namespace depthfilter {

namespace {

// Spatial weights exp((di^2 + dj^2) / (-2 sigma^2)) with the quotient taken as a truncating integer
// division, for offsets -hy ... hy (rows) by -hx ... hx (columns).
std::vector<double> spatialTable(long long sigma, long long hy, long long hx) {
    std::vector<double> table;
    if (hy < 0 || hx < 0) return table;  // empty kernel
    table.reserve(static_cast<std::size_t>((2 * hy + 1) * (2 * hx + 1)));
    const long long divisor = -2 * sigma * sigma;
    for (long long di = -hy; di <= hy; ++di) {
        for (long long dj = -hx; dj <= hx; ++dj) {
            const long long q = divisor != 0 ? (di * di + dj * dj) / divisor : 0;
            table.push_back(std::exp(static_cast<double>(q)));
        }
    }
    return table;
}

}  // namespace

void Bilateralfilter(const AlgoEngine& e, float* map, const bool* mask, int spatialSigma, float rangeSigma) {
    const std::size_t n = e.pixelCount();
    if (n == 0) return;
    const int w = e.roi.width;
    const int h = e.roi.height;
    const std::size_t W = static_cast<std::size_t>(w);

    // Kernel size k = 1 - 2 * trunc(-1.5 * sigma), half size k / 2 (integer division). Offsets that
    // reach beyond the image never find a neighbour, so the table is cut to the image size.
    const long long k = 1 - 2 * static_cast<long long>(std::trunc(-1.5 * static_cast<double>(spatialSigma)));
    const long long half = k > 0 ? k / 2 : -1;  // -1: empty kernel
    const long long hy = half < h - 1 ? half : h - 1;
    const long long hx = half < w - 1 ? half : w - 1;
    const std::vector<double> table = spatialTable(spatialSigma, hy, hx);
    // The weights as the accumulation uses them, narrowed to float once.
    const std::vector<float> ws(table.begin(), table.end());
    const std::size_t tableWidth = static_cast<std::size_t>(2 * hx + 1);

    const std::vector<float> src(map, map + n);
    for (std::size_t i = 0; i < n; ++i) map[i] = 0.0f;
    const float rangeDenominator = (rangeSigma + rangeSigma) * rangeSigma;

    runBands(bands::kBilateral, static_cast<std::size_t>(h), [&](int, std::size_t rowBegin, std::size_t rowEnd) {
        for (std::size_t row = rowBegin; row < rowEnd; ++row) {
            const long long r = static_cast<long long>(row);
            const long long diFirst = r < hy ? -r : -hy;
            const long long diLast = (h - 1 - r) < hy ? (h - 1 - r) : hy;
            for (int col = 0; col < w; ++col) {
                const std::size_t i = row * W + static_cast<std::size_t>(col);
                if (!mask[i]) continue;
                const float centre = src[i];
                const long long djFirst = col < hx ? -col : -hx;
                const long long djLast = (w - 1 - col) < hx ? (w - 1 - col) : hx;
                float s = 0.0f;
                float nsum = 0.0f;
                for (long long di = diFirst; di <= diLast; ++di) {
                    const std::size_t rowStart = static_cast<std::size_t>(r + di) * W;
                    const float* wsRow = ws.data() + static_cast<std::size_t>(di + hy) * tableWidth;
                    for (long long dj = djFirst; dj <= djLast; ++dj) {
                        const std::size_t j = rowStart + static_cast<std::size_t>(col + dj);
                        if (!mask[j]) continue;
                        const float v = src[j];
                        const float delta = v - centre;
                        const float wr = expf((-delta * delta) / rangeDenominator);
                        const float wgt = wr * wsRow[dj + hx];
                        s += v * wgt;
                        nsum += wgt;
                    }
                }
                map[i] = s / nsum;
            }
        }
    });
}

}  // namespace depthfilter
}  // namespace XELORAALGO
