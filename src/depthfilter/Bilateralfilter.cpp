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
#include "numerics/numerics.h"

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
            table.push_back(num::exp(static_cast<double>(q)));
        }
    }
    return table;
}

// Everything a worker reads: the unfiltered copy, the mask, the spatial weights (float, row-major
// (2 hy + 1) x (2 hx + 1)) and the range weight's denominator.
struct Kernel {
    const float* src;
    const bool* mask;
    const float* ws;
    int w, h;
    long long hy, hx;
    float rangeDenominator;
    std::size_t offsets() const { return static_cast<std::size_t>((2 * hy + 1) * (2 * hx + 1)); }
};

// Pixels filtered together: the range weights of a block are computed in one call of the array
// expf, then every pixel of the block accumulates its neighbours in the documented order.
constexpr int kBlock = 32;

// Per-worker storage for one block: for every offset (row-major) and every pixel of the block, the
// argument of the range weight, the weight, and whether the neighbour takes part.
struct BlockBuffers {
    std::vector<float> arg, wr;
    std::vector<unsigned char> use;
    explicit BlockBuffers(const Kernel& k)
        : arg(k.offsets() * kBlock), wr(k.offsets() * kBlock), use(k.offsets() * kBlock) {}
};

// Filters pixels (row, col0 ... col0 + kBlock - 1) that lie in the image and are valid.
void filterBlock(const Kernel& k, int row, int col0, BlockBuffers& b, float* map) {
    const int count = k.w - col0 < kBlock ? k.w - col0 : kBlock;
    const std::size_t rowStart = static_cast<std::size_t>(row) * static_cast<std::size_t>(k.w) + static_cast<std::size_t>(col0);
    const bool* centreMask = k.mask + rowStart;
    const float* centre = k.src + rowStart;
    bool any = false;
    for (int l = 0; l < count; ++l) any = any || centreMask[l];
    if (!any) return;
    // Lanes [lFirst, lLast) of offset column dj have their neighbour inside the image.
    const auto lanesInside = [&](long long dj, int& lFirst, int& lLast) {
        lFirst = static_cast<int>(-col0 - dj > 0 ? -col0 - dj : 0);
        const long long last = k.w - col0 - dj;
        lLast = static_cast<int>(last < count ? (last > 0 ? last : 0) : count);
        if (lFirst > lLast) lFirst = lLast;
    };
    // 1. Arguments (-d * d) / ((s + s) s) of every taking part neighbour; 0 elsewhere.
    std::size_t o = 0;
    for (long long di = -k.hy; di <= k.hy; ++di) {
        const long long nr = row + di;
        const bool rowInside = nr >= 0 && nr < k.h;
        for (long long dj = -k.hx; dj <= k.hx; ++dj, ++o) {
            float* arg = b.arg.data() + o * kBlock;
            unsigned char* use = b.use.data() + o * kBlock;
            for (int l = 0; l < kBlock; ++l) {
                arg[l] = 0.0f;
                use[l] = 0;
            }
            if (!rowInside) continue;
            int lFirst, lLast;
            lanesInside(dj, lFirst, lLast);
            const std::size_t at = static_cast<std::size_t>(nr * k.w + col0 + dj);
            const float* nv = k.src + at;
            const bool* nm = k.mask + at;
            for (int l = lFirst; l < lLast; ++l) {
                const bool taking = centreMask[l] && nm[l];
                const float delta = nv[l] - centre[l];
                const float q = (-delta * delta) / k.rangeDenominator;
                arg[l] = taking ? q : 0.0f;
                use[l] = taking;
            }
        }
    }
    // 2. Range weights, all at once.
    num::expf(b.arg.data(), b.wr.data(), b.arg.size());
    // 3. Sums in the documented order (rows outer, columns inner), lane by lane.
    float s[kBlock], nsum[kBlock];
    for (int l = 0; l < kBlock; ++l) s[l] = nsum[l] = 0.0f;
    o = 0;
    for (long long di = -k.hy; di <= k.hy; ++di) {
        const long long nr = row + di;
        const bool rowInside = nr >= 0 && nr < k.h;
        for (long long dj = -k.hx; dj <= k.hx; ++dj, ++o) {
            if (!rowInside) continue;
            const float wsv = k.ws[o];
            const float* wr = b.wr.data() + o * kBlock;
            const unsigned char* use = b.use.data() + o * kBlock;
            int lFirst, lLast;
            lanesInside(dj, lFirst, lLast);
            const float* nv = k.src + static_cast<std::size_t>(nr * k.w + col0 + dj);
            for (int l = lFirst; l < lLast; ++l) {
                const float wgt = wr[l] * wsv;
                const float s1 = s[l] + nv[l] * wgt;
                const float n1 = nsum[l] + wgt;
                s[l] = use[l] ? s1 : s[l];
                nsum[l] = use[l] ? n1 : nsum[l];
            }
        }
    }
    for (int l = 0; l < count; ++l)
        if (centreMask[l]) map[rowStart + static_cast<std::size_t>(l)] = s[l] / nsum[l];
}

}  // namespace

void Bilateralfilter(const AlgoEngine& e, float* map, const bool* mask, int spatialSigma, float rangeSigma) {
    const std::size_t n = e.pixelCount();
    if (n == 0) return;
    const int w = e.roi.width;
    const int h = e.roi.height;

    // Kernel size k = 1 - 2 * trunc(-1.5 * sigma), half size k / 2 (integer division). Offsets that
    // reach beyond the image never find a neighbour, so the table is cut to the image size.
    const long long k = 1 - 2 * static_cast<long long>(std::trunc(-1.5 * static_cast<double>(spatialSigma)));
    const long long half = k > 0 ? k / 2 : -1;  // -1: empty kernel
    const long long hy = half < h - 1 ? half : h - 1;
    const long long hx = half < w - 1 ? half : w - 1;
    const std::vector<double> table = spatialTable(spatialSigma, hy, hx);
    // The weights as the accumulation uses them, narrowed to float once.
    const std::vector<float> ws(table.begin(), table.end());

    const std::vector<float> src(map, map + n);
    for (std::size_t i = 0; i < n; ++i) map[i] = 0.0f;
    const float rangeDenominator = (rangeSigma + rangeSigma) * rangeSigma;

    const Kernel kernel{src.data(), mask, ws.data(), w, h, hy, hx, rangeDenominator};
    runBands(bands::kBilateral, static_cast<std::size_t>(h), [&](int, std::size_t rowBegin, std::size_t rowEnd) {
        BlockBuffers buffers(kernel);
        for (std::size_t row = rowBegin; row < rowEnd; ++row)
            for (int col = 0; col < w; col += kBlock) filterBlock(kernel, static_cast<int>(row), col, buffers, map);
    });
}

}  // namespace depthfilter
}  // namespace XELORAALGO
