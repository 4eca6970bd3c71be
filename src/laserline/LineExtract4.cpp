// lineExtract4: laser-stripe centre per ROI row by the centre-of-gravity rule, with ambiguous rows
// settled from their neighbours.
//
// in:  engine.roi width W, height H; image W x H bytes (row-major); offset (x, y).
// out: points (caller-owned, >= H entries, not resized): entry r = (column, row) of the line in
//      row r, plus offset; rows not settled keep the caller's entry. mask (H bools): true for
//      every row whose line column is > 0 (never written false).
// Working state (per call): candidate centres per row, row states, ambiguous groups, a filtered
// copy of the candidates, and the per-row record of which entries this call wrote.
// A pixel is lit when its value is > 0.
#include <cmath>
#include <cstddef>

#include "LineDetail.h"
#include "laserline.h"

namespace XELORAALGO {
namespace laserline {

namespace {

constexpr int kProminence = 50;

struct Peak {
    int left, right;
};

// Peaks of a segment's weights whose rise above at least one foot is >= 50, left to right.
std::vector<Peak> findSegmentPeaks(const std::vector<int>& v) {
    std::vector<Peak> peaks;
    const int n = static_cast<int>(v.size());
    for (int i = 1; i + 1 < n; ++i) {
        if (!(v[i] > v[i - 1] && v[i] >= v[i + 1])) continue;
        int l = i;
        while (l > 0 && v[l - 1] < v[l]) --l;
        int r = i;
        while (r < n - 1 && v[r + 1] <= v[r]) ++r;
        if (v[i] - v[l] < kProminence && v[i] - v[r] < kProminence) continue;
        peaks.push_back({l, r});
    }
    return peaks;
}

struct Segment {
    std::vector<int> pos, val;
};

}  // namespace

void lineExtract4(const AlgoEngine& engine, unsigned char* image, Point2dList& points, bool* mask,
                  const std::array<int, 2>& offset) {
    const int W = engine.roi.width;
    const int H = engine.roi.height;
    if (W <= 0 || H <= 0) return;

    std::vector<std::vector<double>> lineCandidates(static_cast<std::size_t>(H));
    for (auto& c : lineCandidates) c.reserve(4);
    std::vector<char> written(static_cast<std::size_t>(H), 0);
    double centre = 0.0;  // last centre of this call; kept when a window has no weight

    auto writePoint = [&](int r, double x) {
        points[static_cast<std::size_t>(r)] = {x, static_cast<double>(r)};
        written[static_cast<std::size_t>(r)] = 1;
    };

    for (int r = 0; r < H; ++r) {
        const unsigned char* row = image + static_cast<std::size_t>(r) * static_cast<std::size_t>(W);
        auto& cands = lineCandidates[static_cast<std::size_t>(r)];
        // The first run of the row, below 20 pixels (one that reaches the row's end: 10 to 19).
        const int runCount = detail::scanRuns(row, W, [](unsigned char v) { return v > 0; },
                                              [&](int start, int L, bool open) {
            if (L >= 20 || (open && L < 10)) return;
            if (L < 10)
                detail::rowWindowCentre(row, start, start + L - 1, centre);
            else
                detail::brightestWindowCentre(row, start, L, 10, centre);
            cands.push_back(centre);
            writePoint(r, centre);
        });

        if (runCount >= 2) {
            Segment seg;
            auto flush = [&]() {
                const int n = static_cast<int>(seg.pos.size());
                auto centreOver = [&](int a, int b) {
                    detail::centreOfGravity(
                        static_cast<std::size_t>(b - a + 1),
                        [&](std::size_t i) { return seg.pos[static_cast<std::size_t>(a) + i]; },
                        [&](std::size_t i) { return seg.val[static_cast<std::size_t>(a) + i]; }, centre);
                    cands.push_back(centre);
                };
                if (n >= 10) {
                    const auto peaks = findSegmentPeaks(seg.val);
                    if (peaks.empty())
                        centreOver(0, n - 1);
                    else
                        for (const auto& p : peaks) centreOver(p.left, p.right);
                } else if (n >= 1) {
                    centreOver(0, n - 1);
                }
                seg.pos.clear();
                seg.val.clear();
            };
            for (int x = 0; x < W; ++x) {
                if (row[x] > 0) {
                    seg.pos.push_back(x);
                    seg.val.push_back(row[x]);
                } else if (!seg.pos.empty()) {
                    flush();
                }
            }
            if (!seg.pos.empty()) flush();
        }
    }

    // Classify rows and group the ambiguous ones.
    std::vector<int> rowState(static_cast<std::size_t>(H), -1);
    std::vector<std::vector<int>> groups;
    for (int r = 0; r < H; ++r) {
        const auto& c = lineCandidates[static_cast<std::size_t>(r)];
        if (c.empty()) continue;
        const double d = c.back() - c.front();
        if (d > 15.0) {
            rowState[static_cast<std::size_t>(r)] = 1;
            if (!groups.empty() && r - groups.back().back() <= 10)
                groups.back().push_back(r);
            else
                groups.push_back({r});
        } else {
            rowState[static_cast<std::size_t>(r)] = 0;
        }
    }

    // Filter each group against the line through its nearest unambiguous neighbours.
    auto mean = [](const std::vector<double>& c) {
        double s = 0.0;
        for (double v : c) s += v;
        return s / static_cast<double>(c.size());
    };
    std::vector<std::vector<double>> filteredCandidates(lineCandidates);
    for (const auto& g : groups) {
        int rA = -1, rB = -1;
        for (int r = g.front() - 1; r >= 0; --r)
            if (rowState[static_cast<std::size_t>(r)] == 0) {
                rA = r;
                break;
            }
        for (int r = g.back() + 1; r < H; ++r)
            if (rowState[static_cast<std::size_t>(r)] == 0) {
                rB = r;
                break;
            }
        if (rA < 0 || rB < 0) continue;
        const double mA = mean(lineCandidates[static_cast<std::size_t>(rA)]);
        const double mB = mean(lineCandidates[static_cast<std::size_t>(rB)]);
        if (!(mA > 0.0) || !(mB > 0.0)) continue;
        const double slope = (mB - mA) / static_cast<double>(rB - rA);
        const double intercept = mA - static_cast<double>(rA) * slope;
        for (int i : g) {
            const double predicted = static_cast<double>(static_cast<float>(static_cast<double>(i) * slope + intercept));
            auto& f = filteredCandidates[static_cast<std::size_t>(i)];
            std::vector<double> kept;
            for (double c : f)
                if (std::fabs(c - predicted) <= 20.0) kept.push_back(c);
            f.swap(kept);
        }
    }

    // Forward pass.
    double prev = 0.0;
    for (int r = 1; r < H; ++r) {
        const double above = points[static_cast<std::size_t>(r - 1)][0];
        if (above > 0.0) prev = above;
        if (!(prev > 0.0)) continue;
        double c;
        if (detail::nearestCandidate(filteredCandidates[static_cast<std::size_t>(r)], prev, 5.0, c))
            writePoint(r, c);
    }

    // Backward pass.
    prev = 0.0;
    for (int r = H - 2; r >= 0; --r) {
        const double below = points[static_cast<std::size_t>(r + 1)][0];
        if (below > 0.0) prev = below;
        if (!(prev > 0.0)) continue;
        if (!(std::fabs(points[static_cast<std::size_t>(r)][0] - prev) > 5.0)) continue;
        double c;
        if (detail::nearestCandidate(filteredCandidates[static_cast<std::size_t>(r)], prev, 5.0, c)) {
            writePoint(r, c);
            prev = c;
        }
    }

    // Border band, mask, and the caller's offset on the points this call wrote.
    const double right = static_cast<double>(W - 20);
    for (int r = 0; r < H; ++r) {
        auto& p = points[static_cast<std::size_t>(r)];
        if (p[0] < 20.0 || p[0] > right) p = {0.0, 0.0};
        if (p[0] > 0.0) {
            mask[r] = true;
            if (written[static_cast<std::size_t>(r)]) {
                p[0] += static_cast<double>(offset[0]);
                p[1] += static_cast<double>(offset[1]);
            }
        }
    }
}

}  // namespace laserline
}  // namespace XELORAALGO
