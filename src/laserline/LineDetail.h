// Small rules shared by the line extractors: int32 arithmetic with wrap-around, the
// centre-of-gravity rule, the window about a run's brightest pixel and the nearest-candidate search.
#ifndef XELORAALGO_SRC_LASERLINE_LINEDETAIL_H
#define XELORAALGO_SRC_LASERLINE_LINEDETAIL_H

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace XELORAALGO {
namespace laserline {
namespace detail {

// int32 product and sum with two's-complement wrap-around (never undefined behaviour).
inline std::int32_t mul32(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}
inline std::int32_t add32(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}

// Centre of gravity over n entries: S = sum of w*p (int32 product, as double), N = sum of w (int32),
// zero weights skipped. Writes S / N into `centre` and returns true if N != 0; otherwise leaves
// `centre` alone and returns false. `posAt(i)` and `weightAt(i)` give entry i.
template <class PosAt, class WeightAt>
inline bool centreOfGravity(std::size_t n, PosAt posAt, WeightAt weightAt, double& centre) {
    double s = 0.0;
    std::int32_t sumW = 0;
    for (std::size_t i = 0; i < n; ++i) {
        const std::int32_t w = weightAt(i);
        if (w == 0) continue;
        s += static_cast<double>(mul32(w, posAt(i)));
        sumW = add32(sumW, w);
    }
    if (sumW == 0) return false;
    centre = s / static_cast<double>(sumW);
    return true;
}

// Centre over columns a .. b (inclusive) of one image row: positions are the columns, weights
// the pixel values.
inline bool rowWindowCentre(const unsigned char* row, int a, int b, double& centre) {
    if (b < a) return false;
    return centreOfGravity(
        static_cast<std::size_t>(b - a + 1), [a](std::size_t i) { return a + static_cast<std::int32_t>(i); },
        [row, a](std::size_t i) { return static_cast<std::int32_t>(row[a + static_cast<int>(i)]); }, centre);
}

// Centre over the window about the brightest pixel of the run start .. start+len-1 of `row`:
// the first maximum wins; the window covers run indices max(k-h, 0) .. min(k+h, len-1).
inline bool brightestWindowCentre(const unsigned char* row, int start, int len, int h, double& centre) {
    int k = 0;
    for (int i = 1; i < len; ++i)
        if (row[start + i] > row[start + k]) k = i;
    const int lo = k - h > 0 ? k - h : 0;
    const int hi = k + h < len - 1 ? k + h : len - 1;
    return rowWindowCentre(row, start + lo, start + hi, centre);
}

// The runs of lit pixels of one image row of width W, left to right: calls
// firstRun(start, length, open) for the row's first run only (open: it reaches the row's end) and
// returns the number of runs in the row.
template <class Lit, class FirstRun>
int scanRuns(const unsigned char* row, int W, Lit lit, FirstRun firstRun) {
    int start = -1;
    int runCount = 0;
    for (int x = 0; x < W; ++x) {
        if (lit(row[x])) {
            if (start < 0) {
                start = x;
                ++runCount;
            }
            continue;
        }
        if (start < 0) continue;
        if (runCount == 1) firstRun(start, x - start, false);
        start = -1;
    }
    if (start >= 0 && runCount == 1) firstRun(start, W - start, true);
    return runCount;
}

// Nearest candidate to `prev`: distance |c - prev| in double rounded to float; the smallest wins,
// the earlier one on ties; accepted only with distance <= limit (as float). Returns false if the
// list is empty or the nearest one is too far.
inline bool nearestCandidate(const std::vector<double>& candidates, double prev, double limit, double& chosen) {
    if (candidates.empty()) return false;
    std::size_t best = 0;
    float bestDist = static_cast<float>(std::fabs(candidates[0] - prev));
    for (std::size_t i = 1; i < candidates.size(); ++i) {
        const float d = static_cast<float>(std::fabs(candidates[i] - prev));
        if (d < bestDist) {
            bestDist = d;
            best = i;
        }
    }
    if (!(bestDist <= static_cast<float>(limit))) return false;
    chosen = candidates[best];
    return true;
}

}  // namespace detail
}  // namespace laserline
}  // namespace XELORAALGO

#endif
