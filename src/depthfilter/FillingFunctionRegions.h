// Hole regions of FillingFunction: the candidates of a depth map and their 4-connected regions.
//
// Inputs:  Z (float, w x h, caller-owned). Interior pixels (rows 1 .. h - 2, columns 1 .. w - 2)
//          with -1 < Z < 1 are candidates.
// Outputs: HoleRegions (owns its storage): one bit per pixel marking the candidates, the region
//          label of every candidate in raster order and the area of every label.
#ifndef XELORAALGO_SRC_DEPTHFILTER_FILLINGFUNCTIONREGIONS_H
#define XELORAALGO_SRC_DEPTHFILTER_FILLINGFUNCTIONREGIONS_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace XELORAALGO {
namespace depthfilter {

struct HoleRegions {
    int words = 0;                      // 64-bit words per row
    std::vector<std::uint64_t> bits;    // h x words: bit c % 64 of word c / 64 set for a candidate
    std::vector<std::int32_t> rowFirst;  // h + 1: index in `label` of each row's first candidate
    std::vector<std::int32_t> label;     // the region (a root label, 3 or more) of each candidate
    std::vector<std::int32_t> area;      // pixel count, indexed by label

    // Calls f(column, index in `label`) for the candidates of row r, left to right.
    template <class F>
    void forEachInRow(int r, F f) const {
        const std::uint64_t* row = bits.data() + static_cast<std::size_t>(r) * static_cast<std::size_t>(words);
        std::int32_t k = rowFirst[static_cast<std::size_t>(r)];
        for (int wd = 0; wd < words; ++wd) {
            for (std::uint64_t m = row[wd]; m != 0; m &= m - 1) f(wd * 64 + lowestBit(m), k++);
        }
    }
    static int lowestBit(std::uint64_t m) {
#if defined(__GNUC__)
        return __builtin_ctzll(m);
#else
        int n = 0;
        while ((m & 1u) == 0) m >>= 1, ++n;
        return n;
#endif
    }
};

// Two-pass labelling of the candidates of Z (w x h), 4-connected; empty for maps under 3 x 3.
HoleRegions labelHoles(const float* Z, int w, int h);

}  // namespace depthfilter
}  // namespace XELORAALGO

#endif
