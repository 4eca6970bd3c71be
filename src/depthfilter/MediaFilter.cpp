// MediaFilter: 3 x 3 order-statistic filter of a float map, in place.
//
// Inputs:  engine.roi (width x height), map (float, w x h, caller-owned), order (0 .. 8; 4 = median).
// Outputs: map: interior pixels that are not 0 hold the selected order statistic of the unfiltered
//          3 x 3 neighbourhood; zeros and the border rows/columns are unchanged.
// Working storage, allocated here and released on return: with AVX-512, one column and two rows of
// unfiltered values (h and 2 w floats); otherwise two rows of unfiltered values (the row above and the
// current row; the row below is still unfiltered in the map when it is read).
//
// The ranking network (MediaFilterNetwork.h) runs down strips of sixteen columns where the processor
// has AVX-512 (MediaFilterAvx512.cpp: every row's sorted triples serve the three output rows they
// belong to); otherwise along the rows, eight pixels at a time with AVX (MediaFilterAvx.cpp), four with
// SSE2 and one at a time at the end of a row. All of them give the same bits.
#include <algorithm>
#include <cstddef>
#include <vector>

#include "MediaFilterNetwork.h"
#include "depthfilter.h"
#include "numerics/numerics.h"

namespace XELORAALGO {
namespace depthfilter {

namespace {

// Filters columns 1 .. w-2 of one row: above/centre hold unfiltered rows r-1 and r, below is row
// r+1 (unfiltered), out is row r of the map; lanes: the widest vectors it may use, 1 (scalar code
// only), 4 (SSE2), 8 (AVX) or 16 (AVX-512).
template <int P>
void filterRow(const float* above, const float* centre, const float* below, float* out, int w, int lanes) {
    // Each vector part filters columns 1, 2, ... of the rows it is given: here the rows from column
    // c - 1 on, so that it goes on where the wider part stopped.
    int c = 1;
    const auto goOn = [&](int (*part)(int, const float*, const float*, const float*, float*, int)) {
        const int s = c - 1;
        c = s + part(P, above + s, centre + s, below + s, out + s, w - s);
    };
    if (lanes >= 8) goOn(detail::mediaFilterColumnsAvx);
#if defined(__SSE2__)
    if (lanes >= 4) goOn(networkColumnsAt<SseOps>);
#endif
    using N1 = Network<ScalarOps>;
    for (; c <= w - 2; ++c) {
        const float cm = centre[c];
        if (cm == 0.0f) continue;
        out[c] = N1::select<P>(above[c - 1], above[c], above[c + 1], centre[c - 1], cm, centre[c + 1], below[c - 1],
                               below[c], below[c + 1]);
    }
}

template <int P>
void filterMap(float* map, int w, int h, int lanes) {
    if (lanes >= 16) {
        std::vector<float> left(static_cast<std::size_t>(h)), rows(2 * static_cast<std::size_t>(w));
        detail::mediaFilterStripsAvx512(P, map, w, h, left.data(), rows.data());
        return;
    }
    const std::size_t W = static_cast<std::size_t>(w);
    std::vector<float> above(map, map + W);  // unfiltered row 0
    std::vector<float> centre(W);
    for (int r = 1; r <= h - 2; ++r) {
        float* row = map + static_cast<std::size_t>(r) * W;
        std::copy(row, row + W, centre.begin());
        filterRow<P>(above.data(), centre.data(), row + W, row, w, lanes);
        above.swap(centre);
    }
}

// AVX-512 is left out on Windows, whose stack keeps no 64-byte alignment for spilled registers.
int widestLanes() {
#if defined(_WIN32)
    const bool avx512 = false;
#else
    const bool avx512 = num::isaUsable(num::Isa::Avx512);
#endif
    return avx512 ? 16 : num::isaUsable(num::Isa::Avx) ? 8 : 4;
}

void filterWith(const AlgoEngine& engine, float* map, int order, int lanes) {
    const int w = engine.roi.width, h = engine.roi.height;
    if (h < 3 || w < 3) return;          // no interior pixel
    if (order < 0 || order > 8) return;  // nothing to select
    switch (8 - order) {
        case 0: filterMap<0>(map, w, h, lanes); break;
        case 1: filterMap<1>(map, w, h, lanes); break;
        case 2: filterMap<2>(map, w, h, lanes); break;
        case 3: filterMap<3>(map, w, h, lanes); break;
        case 4: filterMap<4>(map, w, h, lanes); break;
        case 5: filterMap<5>(map, w, h, lanes); break;
        case 6: filterMap<6>(map, w, h, lanes); break;
        case 7: filterMap<7>(map, w, h, lanes); break;
        case 8: filterMap<8>(map, w, h, lanes); break;
        default: break;
    }
}

}  // namespace

void MediaFilter(const AlgoEngine& engine, float* map, int order) { filterWith(engine, map, order, widestLanes()); }

void MediaFilterWithLanes(const AlgoEngine& engine, float* map, int order, int lanes) {
    const int widest = widestLanes();
    filterWith(engine, map, order, lanes < widest ? lanes : widest);
}

void MediaFilterWithoutAvx(const AlgoEngine& engine, float* map, int order) { MediaFilterWithLanes(engine, map, order, 4); }

}  // namespace depthfilter
}  // namespace XELORAALGO
