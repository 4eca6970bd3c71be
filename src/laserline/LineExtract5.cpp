// lineExtract5: laser-stripe centre per ROI row for images with background light, with the line's
// mean column over a middle band of rows steering the neighbour passes.
//
// in:  engine.roi width W, height H, offsetY; image W x H bytes (row-major);
//      narrowRunSpan: narrow runs (1-2 pixels) count only between sensor rows a and 2a,
//      a = narrowRunSpan / 3; rowBandSpan: the middle band is sensor rows b .. 2b, b = rowBandSpan / 3.
// out: points (caller-owned, >= H entries, not resized): entry r = (column, row), ROI coordinates;
//      rows not settled keep the caller's entry. mask (H bools): true for rows with x > 0.
// Working state (per call): candidate centres per row and the band mean lineMean.
// A pixel is lit when its value is > 30.
#include <cmath>
#include <cstddef>

#include "LineDetail.h"
#include "laserline.h"

namespace XELORAALGO {
namespace laserline {

namespace {
constexpr int kLit = 30;
}

void lineExtract5(const AlgoEngine& engine, unsigned char* image, Point2dList& points, bool* mask,
                  int narrowRunSpan, int rowBandSpan) {
    const int W = engine.roi.width;
    const int H = engine.roi.height;
    const int offsetY = engine.roi.offsetY;
    if (W <= 0 || H <= 0) return;
    const int a = narrowRunSpan / 3;
    const int b = rowBandSpan / 3;
    const double oy = static_cast<double>(offsetY);

    std::vector<std::vector<double>> lineCandidates(static_cast<std::size_t>(H));
    for (auto& c : lineCandidates) c.reserve(4);
    double centre = 0.0;

    std::vector<int> pos, val;
    for (int r = 0; r < H; ++r) {
        const unsigned char* row = image + static_cast<std::size_t>(r) * static_cast<std::size_t>(W);
        auto& cands = lineCandidates[static_cast<std::size_t>(r)];
        // The first run of the row, below 20 pixels; a narrow one (1-2 pixels, not at the row's end)
        // only inside the band a .. 2a of sensor positions.
        const int runCount = detail::scanRuns(row, W, [](unsigned char v) { return v > kLit; },
                                              [&](int start, int L, bool open) {
            if (L >= 20) return;
            if (L >= 3) {
                detail::brightestWindowCentre(row, start, L, 3, centre);
                cands.push_back(centre);
            } else if (!open) {
                detail::rowWindowCentre(row, start, start + L - 1, centre);
                const double g = oy + centre;
                if (g > static_cast<double>(a) && g < 2.0 * static_cast<double>(a)) cands.push_back(centre);
            }
        });

        if (runCount >= 2) {
            auto flush = [&]() {
                const int n = static_cast<int>(pos.size());
                auto centreOver = [&](int lo, int hi) {
                    detail::centreOfGravity(
                        static_cast<std::size_t>(hi - lo + 1),
                        [&](std::size_t i) { return pos[static_cast<std::size_t>(lo) + i]; },
                        [&](std::size_t i) { return val[static_cast<std::size_t>(lo) + i]; }, centre);
                    cands.push_back(centre);
                };
                if (n >= 3) {
                    std::vector<int> peaks;
                    for (int i = 1; i + 1 < n; ++i)
                        if (val[i] > val[i - 1] && val[i] >= val[i + 1]) peaks.push_back(i);
                    if (peaks.empty()) {
                        int k = 1;
                        for (int i = 2; i + 1 < n; ++i)
                            if (val[i] > val[k]) k = i;
                        peaks.push_back(k);
                    }
                    for (int i : peaks) {
                        int e = i;
                        while (e + 1 < n && val[e + 1] == val[i]) ++e;
                        centreOver(i - 3 > 0 ? i - 3 : 0, e + 3 < n - 1 ? e + 3 : n - 1);
                    }
                } else if (n >= 1) {
                    centreOver(0, n - 1);
                }
                pos.clear();
                val.clear();
            };
            for (int x = 0; x < W; ++x) {
                if (row[x] > kLit) {
                    pos.push_back(x);
                    val.push_back(row[x]);
                } else if (!pos.empty()) {
                    flush();
                }
            }
            if (!pos.empty()) flush();
        }
    }

    // Rows with exactly one candidate, and the mean column over the middle band.
    double sum = 0.0;
    int count = 0;
    for (int r = 0; r < H; ++r) {
        const auto& c = lineCandidates[static_cast<std::size_t>(r)];
        if (c.size() != 1) continue;
        points[static_cast<std::size_t>(r)] = {c[0], static_cast<double>(r)};
        const long long g = static_cast<long long>(r) + offsetY;
        if (b <= g && g <= 2LL * b) {
            sum += c[0];
            ++count;
        }
    }
    const double lineMean = count > 0 ? sum / static_cast<double>(count) : 0.0;

    auto updatePrev = [&](int r, double x, double& prev) {
        if (!(x > 0.0)) return;
        const long long g = static_cast<long long>(r) + offsetY;
        const bool inBand = b <= g && g <= 2LL * b;
        if (!inBand || std::fabs(x - lineMean) < 60.0) prev = x;
    };

    // Forward pass.
    double prev = 0.0;
    for (int r = 1; r < H; ++r) {
        updatePrev(r, points[static_cast<std::size_t>(r - 1)][0], prev);
        if (!(std::fabs(prev - lineMean) < 60.0)) continue;
        const double cur = points[static_cast<std::size_t>(r)][0];
        if (cur == 0.0 || std::fabs(prev - cur) > 20.0) {
            double c;
            if (detail::nearestCandidate(lineCandidates[static_cast<std::size_t>(r)], prev, 50.0, c)) {
                points[static_cast<std::size_t>(r)] = {c, static_cast<double>(r)};
                prev = c;
            }
        }
    }

    // Backward pass.
    prev = 0.0;
    for (int r = H - 2; r >= 0; --r) {
        updatePrev(r, points[static_cast<std::size_t>(r + 1)][0], prev);
        if (!(prev > 0.0)) continue;
        const double cur = points[static_cast<std::size_t>(r)][0];
        if (cur == 0.0 || std::fabs(prev - cur) > 20.0) {
            double c;
            if (detail::nearestCandidate(lineCandidates[static_cast<std::size_t>(r)], prev, 10.0, c))
                points[static_cast<std::size_t>(r)] = {c, static_cast<double>(r)};
        }
    }

    for (int r = 0; r < H; ++r)
        if (points[static_cast<std::size_t>(r)][0] > 0.0) mask[r] = true;
}

}  // namespace laserline
}  // namespace XELORAALGO
