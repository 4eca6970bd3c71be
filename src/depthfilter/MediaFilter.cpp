// MediaFilter: 3 x 3 order-statistic filter of a float map, in place.
//
// Inputs:  engine.roi (width x height), map (float, w x h, caller-owned), order (0 .. 8; 4 = median).
// Outputs: map: interior pixels that are not 0 hold the selected order statistic of the unfiltered
//          3 x 3 neighbourhood; zeros and the border rows/columns are unchanged.
// Working storage: two rows of unfiltered values (the row above and the current row; the row below
// is still unfiltered in the map when it is read), allocated here and released on return.
//
// The ranking network works on three sorted rows. Every step uses only min, max, + and - in float,
// so it runs four pixels at a time with SSE2 and gives the same bits as the scalar code: MINPS(b, a)
// is b < a ? b : a and MAXPS(b, a) is b > a ? b : a, exactly the scalar min(a, b) / max(a, b) below.
#include <algorithm>
#include <cstddef>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "depthfilter.h"

namespace XELORAALGO {
namespace depthfilter {

namespace {

// ---- scalar lane ----
struct ScalarOps {
    using V = float;
    static V vmin(V a, V b) { return b < a ? b : a; }
    static V vmax(V a, V b) { return a < b ? b : a; }
    static V add(V a, V b) { return a + b; }
    static V sub(V a, V b) { return a - b; }
};

#if defined(__SSE2__)
// ---- four lanes, same comparisons ----
struct SseOps {
    using V = __m128;
    static V vmin(V a, V b) { return _mm_min_ps(b, a); }
    static V vmax(V a, V b) { return _mm_max_ps(b, a); }
    static V add(V a, V b) { return _mm_add_ps(a, b); }
    static V sub(V a, V b) { return _mm_sub_ps(a, b); }
};
#endif

template <class Ops>
struct Network {
    using V = typename Ops::V;
    static V min3(V x, V y, V z) { return Ops::vmin(Ops::vmin(x, y), z); }
    static V max3(V x, V y, V z) { return Ops::vmax(Ops::vmax(x, y), z); }
    // Middle of three from their sum (already formed in the documented order): sum - max - min.
    static V midOf(V sum, V mx, V mn) { return Ops::sub(Ops::sub(sum, mx), mn); }
    static V sum3(V a, V b, V c) { return Ops::add(Ops::add(a, b), c); }

    // Value at ascending position P of the nine values (t = top row, c = centre, b = bottom;
    // l, m, r = left, middle, right column).
    template <int P>
    static V select(V tl, V tm, V tr, V cl, V cm, V cr, V bl, V bm, V br) {
        // 1. sort each row
        const V minT = min3(tl, tm, tr), maxT = max3(tl, tm, tr);
        const V minC = min3(cl, cm, cr), maxC = max3(cl, cm, cr);
        const V minB = min3(bl, bm, br), maxB = max3(bl, bm, br);
        if constexpr (P == 0) {
            return min3(minT, minC, minB);
        } else if constexpr (P == 8) {
            return max3(maxT, maxC, maxB);
        } else {
            const V midT = midOf(sum3(tr, tm, tl), maxT, minT);
            const V midC = midOf(sum3(cl, cm, cr), maxC, minC);
            const V midB = midOf(sum3(bm, bl, br), maxB, minB);
            // 2. order the three minima, middles and maxima
            const V maxMin = max3(minT, minC, minB);
            const V minMax = min3(maxT, maxC, maxB);
            const V minMid = min3(midT, midC, midB), maxMid = max3(midT, midC, midB);
            const V medMid = midOf(sum3(midC, midT, midB), maxMid, minMid);
            if constexpr (P == 4) {
                return midOf(sum3(medMid, minMax, maxMin), max3(maxMin, medMid, minMax),
                             min3(maxMin, medMid, minMax));
            } else if constexpr (P < 4) {
                const V minMin = min3(minT, minC, minB);
                const V midMin = midOf(sum3(minC, minT, minB), maxMin, minMin);
                const V u = min3(medMid, maxMin, minMax);
                if constexpr (P == 1) return min3(minMid, midMin, u);
                if constexpr (P == 3) return max3(minMid, midMin, u);
                if constexpr (P == 2)
                    return midOf(sum3(minMid, u, midMin), max3(minMid, midMin, u), min3(minMid, midMin, u));
            } else {
                const V maxMax = max3(maxT, maxC, maxB);
                const V midMax = midOf(sum3(maxC, maxT, maxB), maxMax, minMax);
                const V v = max3(maxMin, medMid, minMax);
                if constexpr (P == 5) return min3(maxMid, midMax, v);
                if constexpr (P == 7) return max3(maxMid, midMax, v);
                if constexpr (P == 6)
                    return midOf(sum3(maxMid, v, midMax), max3(maxMid, midMax, v), min3(maxMid, midMax, v));
            }
        }
    }
};

// Filters columns 1 .. w-2 of one row: above/centre hold unfiltered rows r-1 and r, below is row
// r+1 (unfiltered), out is row r of the map.
template <int P>
void filterRow(const float* above, const float* centre, const float* below, float* out, int w) {
    int c = 1;
#if defined(__SSE2__)
    using N4 = Network<SseOps>;
    const __m128 zero = _mm_setzero_ps();
    for (; c + 4 <= w - 1; c += 4) {
        const __m128 cm = _mm_loadu_ps(centre + c);
        const __m128 v = N4::select<P>(_mm_loadu_ps(above + c - 1), _mm_loadu_ps(above + c), _mm_loadu_ps(above + c + 1),
                                       _mm_loadu_ps(centre + c - 1), cm, _mm_loadu_ps(centre + c + 1),
                                       _mm_loadu_ps(below + c - 1), _mm_loadu_ps(below + c), _mm_loadu_ps(below + c + 1));
        const __m128 isZero = _mm_cmpeq_ps(cm, zero);  // +0 and -0; NaN is not zero
        _mm_storeu_ps(out + c, _mm_or_ps(_mm_and_ps(isZero, cm), _mm_andnot_ps(isZero, v)));
    }
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
void filterMap(float* map, int w, int h) {
    const std::size_t W = static_cast<std::size_t>(w);
    std::vector<float> above(map, map + W);  // unfiltered row 0
    std::vector<float> centre(W);
    for (int r = 1; r <= h - 2; ++r) {
        float* row = map + static_cast<std::size_t>(r) * W;
        std::copy(row, row + W, centre.begin());
        filterRow<P>(above.data(), centre.data(), row + W, row, w);
        above.swap(centre);
    }
}

}  // namespace

void MediaFilter(const AlgoEngine& engine, float* map, int order) {
    const int w = engine.roi.width, h = engine.roi.height;
    if (h < 3 || w < 3) return;          // no interior pixel
    if (order < 0 || order > 8) return;  // nothing to select
    switch (8 - order) {
        case 0: filterMap<0>(map, w, h); break;
        case 1: filterMap<1>(map, w, h); break;
        case 2: filterMap<2>(map, w, h); break;
        case 3: filterMap<3>(map, w, h); break;
        case 4: filterMap<4>(map, w, h); break;
        case 5: filterMap<5>(map, w, h); break;
        case 6: filterMap<6>(map, w, h); break;
        case 7: filterMap<7>(map, w, h); break;
        case 8: filterMap<8>(map, w, h); break;
        default: break;
    }
}

}  // namespace depthfilter
}  // namespace XELORAALGO
