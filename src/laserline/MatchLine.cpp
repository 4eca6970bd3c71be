// MatchLine: pairs each row of camera 1's line list with the row of camera 2's list that lies on
// its epipolar line.
//
// in:  engine.roi.height H, engine.calib.F (row-major 3 x 3); points1, points2: H entries each,
//      undistorted sensor pixels (UndistortPoints2); mask1, mask2: H bools; matches: H ints.
// out: for every row i with mask1[i]: matches[i] = j (the accepted partner row of list 2), or
//      mask1[i] = false when no acceptable partner exists. mask2 is only read; matches of rows
//      without an accepted partner are not written.
// Residual of a pair: |q^T (F p)| with p = (x1, y1, 1), q = (x2, y2, 1); F p is formed first
// (each component summed left to right), then the dot product with q, in double.
// Spread check: over the row offsets d = -3 .. 3 where both lines have points (x > 0), the float
// mean and standard deviation of the x values of each side; accepted when they differ by < 10.0.
#include <cmath>
#include <limits>

#include "laserline.h"

namespace XELORAALGO {
namespace laserline {

void MatchLine(const AlgoEngine& engine, const Point2dList& points1, const Point2dList& points2, bool* mask1,
               const bool* mask2, std::vector<int>& matches) {
    const int H = engine.roi.height;
    const double* F = engine.calib.F;
    for (int i = 0; i < H; ++i) {
        if (!mask1[i]) continue;
        const double px = points1[static_cast<std::size_t>(i)][0];
        const double py = points1[static_cast<std::size_t>(i)][1];
        const double l0 = F[0] * px + F[1] * py + F[2];
        const double l1 = F[3] * px + F[4] * py + F[5];
        const double l2 = F[6] * px + F[7] * py + F[8];

        double best = std::numeric_limits<double>::max();
        int bestRow = -1;
        const int jBegin = i - 200 > 0 ? i - 200 : 0;
        const int jEnd = i + 200 < H ? i + 200 : H;
        for (int j = jBegin; j < jEnd; ++j) {
            if (!mask2[j]) continue;
            const auto& q = points2[static_cast<std::size_t>(j)];
            const double e = std::fabs(q[0] * l0 + q[1] * l1 + l2);
            if (e < best) {
                best = e;
                bestRow = j;
            }
        }
        if (!(best < 0.1) || bestRow < 0) {
            mask1[i] = false;
            continue;
        }

        const int j = bestRow;
        // fn(x1, x2) for the row pairs (i + d, j + d), d = -3 .. 3, inside both lists with a line in both.
        const auto forWindowPairs = [&](auto&& fn) {
            for (int d = -3; d <= 3; ++d) {
                const int a = i + d, b = j + d;
                if (a < 0 || a >= H || b < 0 || b >= H) continue;
                const double x1 = points1[static_cast<std::size_t>(a)][0];
                const double x2 = points2[static_cast<std::size_t>(b)][0];
                if (!(x1 > 0.0) || !(x2 > 0.0)) continue;
                fn(x1, x2);
            }
        };
        float sum1 = 0.0f, sum2 = 0.0f;
        int count = 0;
        forWindowPairs([&](double x1, double x2) {
            sum1 = static_cast<float>(sum1 + x1);
            sum2 = static_cast<float>(sum2 + x2);
            ++count;
        });
        if (count == 0) {
            mask1[i] = false;
            continue;
        }
        const float mean1 = sum1 / static_cast<float>(count);
        const float mean2 = sum2 / static_cast<float>(count);
        float sq1 = 0.0f, sq2 = 0.0f;
        forWindowPairs([&](double x1, double x2) {
            const double d1 = x1 - static_cast<double>(mean1);
            const double d2 = x2 - static_cast<double>(mean2);
            sq1 = static_cast<float>(sq1 + d1 * d1);
            sq2 = static_cast<float>(sq2 + d2 * d2);
        });
        const float std1 = sqrtf(sq1 / static_cast<float>(count));
        const float std2 = sqrtf(sq2 / static_cast<float>(count));
        if (std::fabs(std1 - std2) < 10.0f) {
            matches[static_cast<std::size_t>(i)] = j;
        } else {
            mask1[i] = false;
        }
    }
}

}  // namespace laserline
}  // namespace XELORAALGO
