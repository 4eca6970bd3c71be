// Hole regions of FillingFunction: candidates (-1 < Z < 1) of the interior of a depth map and their
// 4-connected regions by two-pass labelling with an equivalence table.
//
// Inputs:  Z (float, w x h, caller-owned).
// Outputs: HoleRegions (candidate bits, labels in raster order, areas), allocated here and owned by
//          the caller's HoleRegions; HoleRegionAreas: the area of each pixel's region (w x h).
#include <cstddef>
#include <cstdint>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "FillingFunctionRegions.h"
#include "depthfilter.h"

namespace XELORAALGO {
namespace depthfilter {

namespace {

constexpr std::int32_t kCandidate = 2;  // label of an unlabelled candidate; region labels start at 3

// Bits of the candidates (-1 < z < 1, that is |z| < 1; NaN is not one) among z[0 .. n - 1], n <= 64.
std::uint64_t candidateWord(const float* z, int n) {
    std::uint64_t bits = 0;
    int j = 0;
#if defined(__SSE2__)
    const __m128 magnitude = _mm_castsi128_ps(_mm_set1_epi32(0x7fffffff));
    const __m128 one = _mm_set1_ps(1.0f);
    for (; j + 4 <= n; j += 4) {
        const __m128 hit = _mm_cmplt_ps(_mm_and_ps(_mm_loadu_ps(z + j), magnitude), one);
        bits |= static_cast<std::uint64_t>(_mm_movemask_ps(hit)) << j;
    }
#endif
    for (; j < n; ++j) bits |= static_cast<std::uint64_t>(z[j] > -1.0f && z[j] < 1.0f) << j;
    return bits;
}

}  // namespace

// Only one row of labels is kept, indexed by column: when a candidate is labelled, the entry of its
// column still holds the label of the pixel above, which is read (if that pixel is a candidate)
// before it is overwritten. The left neighbour is the candidate labelled just before, if adjacent.
HoleRegions labelHoles(const float* Z, int w, int h) {
    HoleRegions out;
    if (w < 3 || h < 3) return out;
    const std::size_t W = static_cast<std::size_t>(w), words = (W + 63) / 64;
    out.words = static_cast<int>(words);
    out.bits.assign(static_cast<std::size_t>(h) * words, 0);
    out.rowFirst.assign(static_cast<std::size_t>(h) + 1, 0);
    std::size_t count = 0;
    for (int r = 1; r <= h - 2; ++r) {
        const float* z = Z + static_cast<std::size_t>(r) * W;
        std::uint64_t* row = out.bits.data() + static_cast<std::size_t>(r) * words;
        for (std::size_t k = 0; k < words; ++k) {
            const int n = static_cast<int>(W - 64 * k < 64 ? W - 64 * k : 64);
            row[k] = candidateWord(z + 64 * k, n);
        }
        row[0] &= ~std::uint64_t{1};  // column 0
        const std::size_t last = W - 1;  // column w - 1
        row[last / 64] &= ~(std::uint64_t{1} << (last % 64));
        out.rowFirst[static_cast<std::size_t>(r)] = static_cast<std::int32_t>(count);
        for (std::size_t k = 0; k < words; ++k) count += static_cast<std::size_t>(__builtin_popcountll(row[k]));
    }
    for (int r = h - 1; r <= h; ++r) out.rowFirst[static_cast<std::size_t>(r)] = static_cast<std::int32_t>(count);
    out.label.resize(count);

    std::vector<std::int32_t> labels(W, 0);  // per column: the label of the latest candidate
    std::vector<std::int32_t> parent{0, 1, kCandidate};  // parent[i] <= i always
    for (int r = 1; r <= h - 2; ++r) {
        const std::uint64_t* above = out.bits.data() + static_cast<std::size_t>(r - 1) * words;
        int prevCol = -2;
        std::int32_t prevLabel = 0;
        out.forEachInRow(r, [&](int c, std::int32_t k) {
            const std::size_t cc = static_cast<std::size_t>(c);
            const std::int32_t left = prevCol == c - 1 ? prevLabel : 0;
            const std::int32_t up = (above[cc / 64] >> (cc % 64)) & 1u ? labels[cc] : 0;
            std::int32_t label;
            if (left == 0 && up == 0) {
                label = static_cast<std::int32_t>(parent.size());
                parent.push_back(label);
            } else if (left == 0 || up == 0) {
                label = parent[static_cast<std::size_t>(left != 0 ? left : up)];
            } else {
                // Both neighbours labelled: the smaller label's parent m is taken, and the larger
                // label e (with parent q) is merged into it. Equal labels merge with themselves
                // (q = m), which changes nothing.
                const std::int32_t first = left < up ? left : up, e = left < up ? up : left;
                const std::int32_t m = parent[static_cast<std::size_t>(first)];
                const std::int32_t q = parent[static_cast<std::size_t>(e)];
                label = m;
                if (q > m) {
                    parent[static_cast<std::size_t>(q)] = m;
                    parent[static_cast<std::size_t>(e)] = m;
                } else if (q < m) {
                    parent[static_cast<std::size_t>(m)] = q;
                }
            }
            labels[cc] = prevLabel = label;
            prevCol = c;
            out.label[static_cast<std::size_t>(k)] = label;
        });
    }
    // Resolve every label to the root of its chain.
    for (std::size_t i = 1; i < parent.size(); ++i) {
        std::int32_t p = parent[i];
        while (parent[static_cast<std::size_t>(p)] != p) p = parent[static_cast<std::size_t>(p)];
        parent[i] = p;
    }
    // Second pass: final labels and the area of each.
    out.area.assign(parent.size(), 0);
    for (std::int32_t& l : out.label) {
        l = parent[static_cast<std::size_t>(l)];
        ++out.area[static_cast<std::size_t>(l)];
    }
    return out;
}

std::vector<std::int32_t> HoleRegionAreas(const float* Z, int w, int h) {
    if (w <= 0 || h <= 0) return {};
    std::vector<std::int32_t> areas(static_cast<std::size_t>(w) * static_cast<std::size_t>(h), 0);
    if (w < 3 || h < 3) return areas;  // no interior pixel
    const HoleRegions regions = labelHoles(Z, w, h);
    for (int r = 1; r <= h - 2; ++r)
        regions.forEachInRow(r, [&](int c, std::int32_t k) {
            areas[static_cast<std::size_t>(r) * static_cast<std::size_t>(w) + static_cast<std::size_t>(c)] =
                regions.area[static_cast<std::size_t>(regions.label[static_cast<std::size_t>(k)])];
        });
    return areas;
}

}  // namespace depthfilter
}  // namespace XELORAALGO
