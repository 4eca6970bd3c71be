// The masked smoothing as a sweep over rows, for callers that make the rows to smooth on the fly and
// use each smoothed row as soon as it is complete (the decoders' smoothing rounds).
//
// Inputs:  engine.roi (width x height), `count` maps given row by row by source(k, r, scratch) (row r
//          of map k before smoothing: width floats, valid until the next call of source; the source may
//          make it in scratch, a row of width floats owned here, and return scratch), mask (bool,
//          width x height, read only), sigma, the instruction set of the row loops.
// Outputs: target(k, r) gives where the smoothed row r of map k is written (width floats); once every
//          map's row r is written, finished(r) is called. Rows come in order 0, 1, ...; source is
//          called for row r + R (R the kernel radius) at the latest before row r is written.
// Working storage (the weights, the horizontal results of the 2R + 1 rows in reach, a few rows) is
// allocated here and released on return. Every smoothed value has exactly the bits SmoothMaskedMap
// gives it (see SmoothMaskedMap.cpp for the sums).
#ifndef XELORAALGO_SRC_FRINGE_SMOOTHSTREAM_H
#define XELORAALGO_SRC_FRINGE_SMOOTHSTREAM_H

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <vector>

#include "fringe.h"
#include "numerics/numerics.h"

namespace XELORAALGO {
namespace fringe {
namespace detail {

// The row loops for one instruction set (SmoothRows.inc).
struct SmoothLoops {
    void (*tapsAlong)(float* out, const float* src, const float* wf, int taps, long long n, const float* ws,
                      const float* flag);
    void (*tapsAcross)(float* out, const float* const* rows, const float* wf, int taps, long long n, const float* ws,
                       const float* flag);
    void (*maskRow)(float* out, const float* in, const unsigned char* m, long long n);
};
// The loops of isa, or of the widest narrower one built and allowed here.
SmoothLoops smoothLoops(num::Isa isa);

// Normalised kernel weights of the taps -reach ... reach (w[reach] the centre), reach =
// min(R, maxReach), each rounded to float once; see SmoothMaskedMap.cpp.
std::vector<float> smoothWeights(float sigma, int maxReach);

template <class Source, class Target, class Finished>
void smoothRows(const AlgoEngine& engine, int count, const bool* mask, float sigma, num::Isa isa, Source&& source,
                Target&& target, Finished&& finished) {
    const int width = engine.roi.width;
    const int height = engine.roi.height;
    if (width <= 0 || height <= 0 || count <= 0) return;

    const std::vector<float> wf = smoothWeights(sigma, (width > height ? width : height) - 1);
    const int radius = static_cast<int>(wf.size() / 2);
    const SmoothLoops loops = smoothLoops(isa);
    const std::size_t w = static_cast<std::size_t>(width);
    const long long wl = static_cast<long long>(w);
    const auto bytes = [](const bool* m) { return reinterpret_cast<const unsigned char*>(m); };  // 0 or 1 each

    // Horizontal pass: a row, masked and padded with xReach zeros on either side, takes all 2 xReach + 1
    // taps. A padding tap adds weight x +0 = +0 to a sum that is never -0 (it starts at +0), which
    // leaves the sum's bits unchanged: the same sums as leaving the taps outside the row out.
    const int xReach = radius < width - 1 ? radius : width - 1;
    const float* wfAlong = wf.data() + (radius - xReach);
    const int tapsAlong = 2 * xReach + 1;
    std::vector<float> padded(w + 2 * static_cast<std::size_t>(xReach), 0.0f);
    float* row0 = padded.data() + xReach;

    // The horizontal results (and the valid flags, 0 or 1) of the 2R + 1 rows in reach, in rings.
    const int ringRows = 2 * radius + 1 < height ? 2 * radius + 1 : height;
    const std::size_t ringSize = static_cast<std::size_t>(ringRows) * w;
    std::vector<float> ring(static_cast<std::size_t>(count + 1) * ringSize);
    const auto ringRow = [&](int slot, int row) {  // slot count: the flags
        return ring.data() + static_cast<std::size_t>(slot) * ringSize + static_cast<std::size_t>(row % ringRows) * w;
    };
    // The weight sums of a row: along the row for the horizontal pass, across the rows for the vertical.
    // Every full row (no invalid pixel) has the same sums along, and every row whose 2R + 1 rows in reach
    // are all full the same sums across: those are made once and kept.
    std::vector<float> alongSum(w), acrossSum(w);
    std::vector<int> partialBefore(static_cast<std::size_t>(height) + 1, 0);  // rows with invalid pixels in [0, r)
    for (int r = 0; r < height; ++r) {
        const bool full = std::memchr(mask + static_cast<std::size_t>(r) * w, 0, w) == nullptr;
        partialBefore[static_cast<std::size_t>(r) + 1] = partialBefore[static_cast<std::size_t>(r)] + (full ? 0 : 1);
    }
    const auto allFull = [&](int first, int last) {
        return partialBefore[static_cast<std::size_t>(last) + 1] == partialBefore[static_cast<std::size_t>(first)];
    };
    bool alongOfFull = false, acrossOfFull = false;  // the sums held are those of a full row
    std::vector<const float*> rows(static_cast<std::size_t>(2 * radius + 1));

    const auto horizontal = [&](int r) {
        const unsigned char* m = bytes(mask + static_cast<std::size_t>(r) * w);
        float* flags = ringRow(count, r);
        loops.maskRow(flags, nullptr, m, wl);
        const bool full = allFull(r, r);
        if (!(full && alongOfFull)) {
            std::copy(flags, flags + w, row0);
            loops.tapsAlong(alongSum.data(), padded.data(), wfAlong, tapsAlong, wl, nullptr, nullptr);
            alongOfFull = full;
        }
        for (int k = 0; k < count; ++k) {
            // A source may make its row in row0 itself; a full row made there is already masked.
            const float* in = source(k, r, row0);
            if (!(full && in == row0)) loops.maskRow(row0, in, m, wl);
            loops.tapsAlong(ringRow(k, r), padded.data(), wfAlong, tapsAlong, wl, alongSum.data(), flags);
        }
    };

    // Vertical pass: rows r - R ... r + R inside the ROI (rows outside are left out).
    int nextRow = 0;  // first row without horizontal results
    for (int r = 0; r < height; ++r) {
        const int yFirst = -(r < radius ? r : radius);
        const int yLast = (height - 1 - r < radius) ? height - 1 - r : radius;
        for (; nextRow <= r + yLast; ++nextRow) horizontal(nextRow);
        const float* wfAcross = wf.data() + (yFirst + radius);
        const int taps = yLast - yFirst + 1;
        const bool full = taps == 2 * radius + 1 && allFull(r + yFirst, r + yLast);
        if (!(full && acrossOfFull)) {
            for (int y = yFirst; y <= yLast; ++y) rows[static_cast<std::size_t>(y - yFirst)] = ringRow(count, r + y);
            loops.tapsAcross(acrossSum.data(), rows.data(), wfAcross, taps, wl, nullptr, nullptr);
            acrossOfFull = full;
        }
        const float* flags = ringRow(count, r);
        for (int k = 0; k < count; ++k) {
            for (int y = yFirst; y <= yLast; ++y) rows[static_cast<std::size_t>(y - yFirst)] = ringRow(k, r + y);
            loops.tapsAcross(target(k, r), rows.data(), wfAcross, taps, wl, acrossSum.data(), flags);
        }
        finished(r);
    }
}

}  // namespace detail
}  // namespace fringe
}  // namespace XELORAALGO

#endif
