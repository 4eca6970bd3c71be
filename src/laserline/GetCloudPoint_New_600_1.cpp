// GetCloudPoint_New_600_1: follows the laser stripe down the image on a squared-intensity weight
// map, re-centring it in every row with a window that adapts to the stripe's shape.
//
// in:  engine.roi width W, height H; image W x H bytes (row-major).
// out: points: content replaced by exactly H entries (column, row), ROI coordinates; rows 0 and
//      H-1 and rows without a centre are (0, 0).
// Working state (per call): weightMap (W x H int32: v*v/255 where that exceeds 20, inside the
// one-pixel border), rowCentre (H x (row, column)), the tracking flag and trackedColumn.
// Windows are clipped to the columns 0 .. W-1 of the row. Columns are scanned only while
// x < W - 2*halfWin, so a ROI narrower than 33 columns yields no centres at all.
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "LineDetail.h"
#include "laserline.h"

namespace XELORAALGO {
namespace laserline {

namespace {

// Centre over columns a .. b of one weight-map row (clipped to 0 .. W-1): a + sum(i*w) / sum(w),
// i counted from the window's first column. Returns false (no centre) if all weights are 0.
bool windowCentre(const std::int32_t* row, int W, int a, int b, double& centre) {
    if (a < 0) a = 0;
    if (b > W - 1) b = W - 1;
    if (b < a) return false;
    double c = 0.0;
    if (!detail::centreOfGravity(
            static_cast<std::size_t>(b - a + 1), [](std::size_t i) { return static_cast<std::int32_t>(i); },
            [row, a](std::size_t i) { return row[a + static_cast<int>(i)]; }, c))
        return false;
    centre = static_cast<double>(a) + c;
    return true;
}

}  // namespace

void GetCloudPoint_New_600_1(const AlgoEngine& engine, unsigned char* image, Point2dList& points) {
    const int W = engine.roi.width;
    const int H = engine.roi.height;
    points.clear();
    if (H <= 0) return;
    if (W <= 0) {
        points.assign(static_cast<std::size_t>(H), {0.0, 0.0});
        return;
    }
    const std::size_t Ws = static_cast<std::size_t>(W);

    std::vector<std::int32_t> weightMap(Ws * static_cast<std::size_t>(H), 0);
    for (int r = 1; r <= H - 2; ++r)
        for (int x = 1; x <= W - 2; ++x) {
            const std::int32_t v = image[static_cast<std::size_t>(r) * Ws + static_cast<std::size_t>(x)];
            const std::int32_t w = v * v / 255;
            if (w > 20) weightMap[static_cast<std::size_t>(r) * Ws + static_cast<std::size_t>(x)] = w;
        }
    auto m = [&](int x, int r) -> std::int32_t {
        return weightMap[static_cast<std::size_t>(r) * Ws + static_cast<std::size_t>(x)];
    };
    auto mapRow = [&](int r) { return weightMap.data() + static_cast<std::size_t>(r) * Ws; };

    const int halfWin = W >= 31 ? 15 : W / 2;
    const int scanEnd = W - 2 * halfWin;
    std::vector<std::array<double, 2>> rowCentre(static_cast<std::size_t>(H), {0.0, 0.0});
    bool tracking = false;
    int trackedColumn = 15;

    // Stores a centre for row r and sets trackedColumn and the mode from it. Returns true when the
    // row ends; false when the scan goes on in search mode (column below halfWin).
    auto storeAndSteer = [&](int r, double c) {
        rowCentre[static_cast<std::size_t>(r)] = {static_cast<double>(r), c};
        trackedColumn = static_cast<int>(c + 0.5);
        if (trackedColumn < halfWin) {
            tracking = false;
            return false;
        }
        tracking = !(trackedColumn > W - halfWin - 1);
        return true;
    };

    for (int r = 1; r <= H - 2; ++r) {
        const std::int32_t* row = mapRow(r);
        int x = 1;
        while (x < scanEnd) {
            if (!tracking) {
                if (x < 2 || m(x, r) <= 10) {
                    ++x;
                    continue;
                }
                if (m(x + 1, r) <= 10 && m(x + 1, r - 1) <= 10 && m(x + 1, r + 1) <= 10 && m(x, r + 1) <= 10 &&
                    m(x, r - 1) <= 10) {
                    ++x;
                    continue;
                }
                if (m(x, r) < m(x, r + 1) && m(x, r) < m(x, r - 1)) {
                    ++x;
                    continue;
                }
                double c = 0.0;
                windowCentre(row, W, x, x + 2 * halfWin, c);  // m(x, r) > 10: never empty
                if (storeAndSteer(r, c)) break;
                ++x;
                continue;
            }

            // Tracking: only the tracked column is examined.
            if (trackedColumn >= scanEnd) break;
            if (trackedColumn < x) break;
            x = trackedColumn;
            const int c = trackedColumn;
            if (c < halfWin || c >= W - halfWin - 1) {
                tracking = false;
                break;
            }
            if (m(c, r) < 10 && m(c, r + 1) < 10 && m(c, r - 1) < 10) {
                tracking = false;
                x = 1;
                continue;
            }
            if (static_cast<double>(m(c, r)) <= 0.9 * static_cast<double>(m(c - 1, r))) {
                double cA = 0.0, cB = 0.0;
                const bool hasA = windowCentre(row, W, c - halfWin, c + halfWin, cA);
                const bool hasB = windowCentre(row, W, c - 11, c + 11, cB);
                // Without weight in the +-halfWin window there is no centre: the row keeps its
                // entry and tracking stays on.
                if (!hasA) break;
                const double centre = (hasB && std::fabs(cB - cA) > 2.0) ? cB : cA;
                if (storeAndSteer(r, centre)) break;
                x = c + 1;
                continue;
            }
            const double half = 0.5 * static_cast<double>(m(c, r));
            int up = 0, down = 0;
            for (int k = 1; k <= halfWin && r - k >= 0 && static_cast<double>(m(c, r - k)) > half; ++k) ++up;
            for (int k = 1; k <= halfWin && r + k <= H - 1 && static_cast<double>(m(c, r + k)) > half; ++k) ++down;
            int h;
            if (std::abs(up - down) >= 4)
                h = 3;
            else if (up + down > halfWin)
                h = halfWin;
            else if (up + down > halfWin / 2)
                h = halfWin / 2;
            else
                h = 3;
            double centre = 0.0;
            if (windowCentre(row, W, c - h, c + h, centre))
                rowCentre[static_cast<std::size_t>(r)] = {static_cast<double>(r), centre};
            break;
        }
    }

    // Backward refinement from the row below.
    for (int r = H - 2; r >= 1; --r) {
        const double n = rowCentre[static_cast<std::size_t>(r + 1)][1];
        if (!(n > 0.0)) continue;
        const int c = static_cast<int>(n);
        const int ownCol = static_cast<int>(rowCentre[static_cast<std::size_t>(r)][1]);
        const double own = static_cast<double>(m(ownCol, r));
        const bool steady = (10.0 < own && own < 100.0) ||
                            static_cast<double>(m(c, r)) > 0.9 * static_cast<double>(m(c, r + 1));
        if (steady && 5 < c && c < W - 6) {
            double centre = 0.0;
            if (windowCentre(mapRow(r), W, c - 5, c + 5, centre))
                rowCentre[static_cast<std::size_t>(r)] = {static_cast<double>(r), centre};
        }
    }

    points.reserve(static_cast<std::size_t>(H));
    for (const auto& e : rowCentre) points.push_back({e[1], e[0]});
}

}  // namespace laserline
}  // namespace XELORAALGO
