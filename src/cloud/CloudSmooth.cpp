// Depth smoothing of point clouds: CloudSmooth (organised point map, square neighbourhood with a
// distance gate) and Gaussianfilter_PMR (Gaussian along the sequence of valid points with a depth
// step gate).
//
// Inputs:  engine.roi (width w, height h; CloudSmooth only), the cloud (caller-owned vector of
//          (x, y, z) doubles, in/out), half-size r, radius (CloudSmooth).
// Outputs: z rewritten in place; x and y kept. CloudSmooth writes w x h points, invalid ones (0, 0, 0).
// Working storage (a copy of the input, the kernel) is allocated here and released on return.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "cloud.h"
#include "frame/GaussianTaps.h"

namespace XELORAALGO {
namespace cloud {

void CloudSmooth(const AlgoEngine& engine, Cloud& map, int r, float radius) {
    const int w = engine.width();
    const int h = engine.height();
    // Neighbours always come from the unsmoothed map; a map shorter than the ROI reads as empty
    // points past its end.
    Cloud src(map);
    map.clear();
    if (w <= 0 || h <= 0) return;
    if (src.size() < engine.pixelCount()) src.resize(engine.pixelCount(), {0.0, 0.0, 0.0});
    map.reserve(engine.pixelCount());
    const float r2 = radius * radius;
    for (int row = 0; row < h; ++row) {
        for (int col = 0; col < w; ++col) {
            const auto& p = src[static_cast<std::size_t>(row) * static_cast<std::size_t>(w) + static_cast<std::size_t>(col)];
            if (!(p[2] > 0.0)) {
                map.push_back({0.0, 0.0, 0.0});
                continue;
            }
            float sum = 0.0f;
            int count = 0;
            const int r0 = static_cast<int>(std::max<long long>(0LL, static_cast<long long>(row) - r));
            const int r1 = static_cast<int>(std::min<long long>(h - 1LL, static_cast<long long>(row) + r));
            const int c0 = static_cast<int>(std::max<long long>(0LL, static_cast<long long>(col) - r));
            const int c1 = static_cast<int>(std::min<long long>(w - 1LL, static_cast<long long>(col) + r));
            for (int qr = r0; qr <= r1; ++qr) {
                const std::size_t base = static_cast<std::size_t>(qr) * static_cast<std::size_t>(w);
                for (int qc = c0; qc <= c1; ++qc) {
                    const auto& q = src[base + static_cast<std::size_t>(qc)];
                    if (!(q[2] > 0.0)) continue;
                    const double dy = p[1] - q[1];
                    const double dx = p[0] - q[0];
                    const double dz = p[2] - q[2];
                    const float d2 = static_cast<float>(dy * dy + dx * dx + dz * dz);
                    if (r2 >= d2) {
                        sum = static_cast<float>(static_cast<double>(sum) + q[2]);
                        ++count;
                    }
                }
            }
            const float z = count > 0 ? sum / static_cast<float>(count) : static_cast<float>(p[2]);
            map.push_back({p[0], p[1], static_cast<double>(z)});
        }
    }
}

void Gaussianfilter_PMR(Cloud& cloud, int r) {
    if (r < 0) return;
    const long long taps = 2LL * r + 1;

    // Valid points (x != 0) in cloud order: their cloud indices and depths. Fewer than K: unchanged
    // (checked before the kernel is built, so that a huge r costs nothing).
    std::vector<std::int32_t> index;
    std::vector<double> z;
    for (std::size_t i = 0; i < cloud.size(); ++i) {
        if (cloud[i][0] != 0.0) {
            index.push_back(static_cast<std::int32_t>(i));
            z.push_back(cloud[i][2]);
        }
    }
    const long long n = static_cast<long long>(index.size());
    if (n < taps) return;

    // Normalised kernel, sigma = K / 3.
    const std::vector<double> weight = normalisedGaussianTaps(r);

    // 3. Weighted mean over the existing neighbours whose depth is within 5 of the centre's.
    for (long long i = 0; i < n; ++i) {
        const double zi = z[static_cast<std::size_t>(i)];
        double num = 0.0;
        double den = 0.0;
        for (int j = -r; j <= r; ++j) {
            const long long at = i + j;
            if (at < 0 || at >= n) continue;
            const double zj = z[static_cast<std::size_t>(at)];
            if (j != 0 && !(std::fabs(zi - zj) < 5.0)) continue;  // the centre always counts
            const double wj = weight[static_cast<std::size_t>(j + r)];
            num += wj * zj;
            den += wj;
        }
        cloud[static_cast<std::size_t>(index[static_cast<std::size_t>(i)])][2] = num / den;
    }
}

}  // namespace cloud
}  // namespace XELORAALGO
