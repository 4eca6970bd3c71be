// HDR with two exposures: AutoHDR1, AutoHDR2 (exposure proposals) and CalHDRFuse (merging).
//
// AutoHDR1 / AutoHDR2
//   captures       3 two-camera frames (2*w*h bytes each) at rising exposure times (in)
//   mode           0: rise bounds (15, 200); 1: (0, 100); otherwise (0, 200), both exclusive
//   exposureTimes  exposure time of each capture (read only)
//   pairCount n    captures used by the fit, 1 ... 3
//   divisor        quantile divisor (>= 2; a smaller value is taken as 2)
//   target, lower, upper: level and exposure limits
//   results        [0] short exposure for the bright part, [1] long exposure for the dark part (out)
//   A part that counts no pixel (or whose fit has no int solution) gets the lower limit.
//   AutoHDR1 normalises the bright part's levels to 8 and the dark part's to 2.5 at capture 0;
//   AutoHDR2 fits the raw levels.
// CalHDRFuse
//   shortSeq, longSeq  n two-camera frames each (in); out1, out2: n planes of w x h bytes for the
//   first and second camera (out). Every frame pixel comes, in all n frames, from the short sequence
//   when the long one reaches 230 and the short one 80 in its last four frames, else from the long.
//   With fewer than 4 frames (outside the intended use) all frames decide; n <= 0 does nothing.
// All run on the calling thread and keep no state.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "ImagingDetail.h"
#include "imaging.h"

namespace XELORAALGO {
namespace imaging {

namespace {

// k-th smallest value (0-based) of a byte list given by its histogram.
int kthSmallest(const std::array<std::int64_t, 256>& histogram, std::int64_t k) {
    std::int64_t seen = 0;
    for (int v = 0; v < 256; ++v) {
        seen += histogram[static_cast<std::size_t>(v)];
        if (seen > k) return v;
    }
    return 255;
}

struct PartSums {
    double S[3] = {0.0, 0.0, 0.0};
    std::int64_t count = 0;
    void add(unsigned char a, unsigned char b, unsigned char c) {
        S[0] += a;
        S[1] += b;
        S[2] += c;
        ++count;
    }
};

// Straight-line fit of the levels against the exposure times with single-precision sums of
// double terms, solved in single precision for the exposure reaching target.
int solveExposure(const double* e, const double* levels, int n, int target) {
    const double nd = static_cast<double>(n);
    float xbar = 0.0f, ybar = 0.0f;
    for (int k = 0; k < n; ++k) xbar = static_cast<float>(xbar + e[k] / nd);
    for (int k = 0; k < n; ++k) ybar = static_cast<float>(ybar + levels[k] / nd);
    float sxx = 0.0f, sxy = 0.0f;
    for (int k = 0; k < n; ++k) {
        const double dx = e[k] - static_cast<double>(xbar);
        sxx = static_cast<float>(sxx + dx * dx);
        sxy = static_cast<float>(sxy + (levels[k] - static_cast<double>(ybar)) * dx);
    }
    const float r = (static_cast<float>(target) - (ybar - sxy * xbar / sxx)) / (sxy / sxx);
    return detail::truncOrBelow(r);
}

void autoHDR(const AlgoEngine& engine, unsigned char* const* captures, int mode,
             const double* exposureTimes, int pairCount, int divisor, int target, int lower,
             int upper, int* results, bool normalise) {
    int riseLo = 0, riseHi = 200;
    if (mode == 0) {
        riseLo = 15;
        riseHi = 200;
    } else if (mode == 1) {
        riseLo = 0;
        riseHi = 100;
    }
    const int n = std::max(0, std::min(pairCount, 3));
    const int div = std::max(divisor, 2);
    const std::size_t bytes = detail::frameBytes(engine);
    const unsigned char* c0 = captures[0];
    const unsigned char* c1 = captures[1];
    const unsigned char* c2 = captures[2];
    auto qualifies = [&](std::size_t i) {
        const int d = static_cast<int>(c2[i]) - static_cast<int>(c0[i]);
        return d > riseLo && d < riseHi;
    };

    // The sorted list of capture-2 values is only looked up at two ranks: a histogram suffices.
    std::array<std::int64_t, 256> histogram{};
    std::int64_t qualifying = 0;
    for (std::size_t i = 0; i < bytes; ++i) {
        if (qualifies(i)) {
            ++histogram[c2[i]];
            ++qualifying;
        }
    }
    if (qualifying == 0) {
        // No index qualifies: both parts count nothing and end at the lower limit.
        results[0] = lower;
        results[1] = lower;
        return;
    }
    const std::int64_t q = qualifying / div;
    const int lowCut = kthSmallest(histogram, q);
    const int highCut = kthSmallest(histogram, q * (div - 1));

    PartSums bright, dark;
    for (std::size_t i = 0; i < bytes; ++i) {
        if (!qualifies(i)) continue;
        if (c2[i] >= highCut) bright.add(c0[i], c1[i], c2[i]);
        if (c2[i] < lowCut) dark.add(c0[i], c1[i], c2[i]);
    }

    double m[3];
    // Bright part: short exposure.
    for (int k = 0; k < n; ++k) m[k] = bright.S[k] / static_cast<double>(bright.count);
    if (normalise) {
        const double m0 = m[0];
        m[0] = 8.0;
        for (int k = 1; k < n; ++k) m[k] = m[k] / (0.125 * m0);
    }
    const int r = solveExposure(exposureTimes, m, n, target);
    if (r <= lower)
        results[0] = lower;
    else if (r >= upper)
        results[0] = upper - 1;
    else
        results[0] = r;

    // Dark part: long exposure.
    for (int k = 0; k < n; ++k) m[k] = dark.S[k] / static_cast<double>(dark.count);
    if (normalise) {
        const double m0 = m[0];
        m[0] = 2.5;
        for (int k = 1; k < n; ++k) m[k] = m[k] / (m0 / 2.5);
    }
    const int r2 = solveExposure(exposureTimes, m, n, target);
    if (r2 <= lower)
        results[1] = lower;
    else if (r2 >= upper)
        results[1] = upper;
    else
        results[1] = r2;
}

}  // namespace

void AutoHDR1(const AlgoEngine& engine, unsigned char* const* captures, int mode,
              const double* exposureTimes, int pairCount, int divisor, int target, int lower,
              int upper, int* results) {
    autoHDR(engine, captures, mode, exposureTimes, pairCount, divisor, target, lower, upper, results,
            true);
}

void AutoHDR2(const AlgoEngine& engine, unsigned char* const* captures, int mode,
              const double* exposureTimes, int pairCount, int divisor, int target, int lower,
              int upper, int* results) {
    autoHDR(engine, captures, mode, exposureTimes, pairCount, divisor, target, lower, upper, results,
            false);
}

void CalHDRFuse(const AlgoEngine& engine, unsigned char* const* shortSeq,
                unsigned char* const* longSeq, unsigned char* const* out1,
                unsigned char* const* out2, int n) {
    if (n <= 0) return;
    const std::size_t bytes = detail::frameBytes(engine);
    const int first = std::max(0, n - 4);

    // Decision per frame pixel: 1 = short exposure, 2 = long exposure (one byte each). It is formed
    // in place over the maxima of the short frames.
    std::vector<unsigned char> decision(bytes, 0), longMax(bytes, 0);
    for (int k = first; k < n; ++k) {
        const unsigned char* s = shortSeq[k];
        const unsigned char* l = longSeq[k];
        unsigned char* a = decision.data();
        unsigned char* b = longMax.data();
        for (std::size_t j = 0; j < bytes; ++j) {
            a[j] = std::max(a[j], s[j]);
            b[j] = std::max(b[j], l[j]);
        }
    }
    for (std::size_t j = 0; j < bytes; ++j)
        decision[j] = (longMax[j] >= 230 && decision[j] >= 80) ? 1 : 2;

    const std::size_t w = static_cast<std::size_t>(engine.width());
    const std::size_t h = bytes == 0 ? 0 : static_cast<std::size_t>(engine.height());
    const unsigned char* d = decision.data();
    for (int k = 0; k < n; ++k) {
        const unsigned char* s = shortSeq[k];
        const unsigned char* l = longSeq[k];
        for (std::size_t r = 0; r < h; ++r) {
            // Frame row 2r is the first camera's row r, frame row 2r + 1 the second camera's.
            const std::size_t j1 = (2 * r) * w, j2 = j1 + w;
            unsigned char* o1 = out1[k] + r * w;
            unsigned char* o2 = out2[k] + r * w;
            for (std::size_t c = 0; c < w; ++c) o1[c] = d[j1 + c] == 1 ? s[j1 + c] : l[j1 + c];
            for (std::size_t c = 0; c < w; ++c) o2[c] = d[j2 + c] == 1 ? s[j2 + c] : l[j2 + c];
        }
    }
}

}  // namespace imaging
}  // namespace XELORAALGO
