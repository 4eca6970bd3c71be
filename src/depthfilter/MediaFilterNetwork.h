// The ranking network of MediaFilter, written once for any lane type: plain float, four floats (SSE2)
// or eight floats (AVX). Every step uses only min, max, + and - in float, so all lane types give the
// same bits: MINPS(b, a) is b < a ? b : a and MAXPS(b, a) is b > a ? b : a, exactly the scalar
// min(a, b) / max(a, b) below, and the additions are the same IEEE single operations.
//
// Everything here has internal linkage on purpose: the file is also compiled with AVX enabled
// (MediaFilterAvx.cpp), and those instances must never be merged with the ones of other files. For
// the same reason it includes no standard header.
#ifndef XELORAALGO_SRC_DEPTHFILTER_MEDIAFILTERNETWORK_H
#define XELORAALGO_SRC_DEPTHFILTER_MEDIAFILTERNETWORK_H

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace XELORAALGO {
namespace depthfilter {

namespace detail {
// AVX part of MediaFilter (MediaFilterAvx.cpp): filters row columns 1, 2, ... in blocks of eight for
// ascending position pos and returns the first column it left for the caller. Returns 1 (nothing
// done) when the library was built for a processor family without AVX.
int mediaFilterColumnsAvx(int pos, const float* above, const float* centre, const float* below, float* out, int w);
// The whole map (h >= 3, w >= 3) in strips of sixteen columns with AVX-512, in place, for ascending
// position pos; left (h floats) and rows (2 w floats) are working storage. Does nothing where the
// library was built without AVX-512 (the caller never calls it there).
void mediaFilterStripsAvx512(int pos, float* map, int w, int h, float* left, float* rows);
}  // namespace detail

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
    static V load(const float* p) { return _mm_loadu_ps(p); }
    static void store(float* p, V v) { _mm_storeu_ps(p, v); }
    // The centre where it is +0 or -0 (NaN is not zero), the filtered value elsewhere.
    static V keepZeros(V centre, V v) {
        const V isZero = _mm_cmpeq_ps(centre, _mm_setzero_ps());
        return _mm_or_ps(_mm_and_ps(isZero, centre), _mm_andnot_ps(isZero, v));
    }
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

    // Statistics of one row (l, m, r = left, middle, right column) as the network uses them: its
    // minimum and maximum and its mid with the sum in the order of the top row (r + m + l), of the
    // centre row (l + m + r) and of the bottom row (m + l + r). Positions 0 and 8 need no mid.
    template <int P>
    static void rowStats(V l, V m, V r, V& mn, V& mx, V& midTop, V& midCentre, V& midBottom) {
        mn = min3(l, m, r);
        mx = max3(l, m, r);
        if constexpr (P != 0 && P != 8) {
            midTop = midOf(sum3(r, m, l), mx, mn);
            midCentre = midOf(sum3(l, m, r), mx, mn);
            midBottom = midOf(sum3(m, l, r), mx, mn);
        }
    }

    // Value at ascending position P of the nine values from the statistics of the top, centre and
    // bottom rows (each row's mid in its own order).
    template <int P>
    static V fromStats(V minT, V maxT, V midT, V minC, V maxC, V midC, V minB, V maxB, V midB) {
        if constexpr (P == 0) {
            return min3(minT, minC, minB);
        } else if constexpr (P == 8) {
            return max3(maxT, maxC, maxB);
        } else {
            // order the three minima, middles and maxima
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

    // Value at ascending position P of the nine values (t = top row, c = centre, b = bottom;
    // l, m, r = left, middle, right column).
    template <int P>
    static V select(V tl, V tm, V tr, V cl, V cm, V cr, V bl, V bm, V br) {
        V minT, maxT, midT, minC, maxC, midC, minB, maxB, midB, unused;
        rowStats<P>(tl, tm, tr, minT, maxT, midT, unused, unused);
        rowStats<P>(cl, cm, cr, minC, maxC, unused, midC, unused);
        rowStats<P>(bl, bm, br, minB, maxB, unused, unused, midB);
        return fromStats<P>(minT, maxT, midT, minC, maxC, midC, minB, maxB, midB);
    }
};

// Columns 1, 2, ... of one row in whole vectors of Ops' lanes (Ops also loads, stores and keeps the
// centre where it is 0: keepZeros(centre, filtered)), for ascending position pos; returns the first
// column left for the caller.
template <class Ops, int P>
int networkColumns(const float* above, const float* centre, const float* below, float* out, int w) {
    using V = typename Ops::V;
    constexpr int L = static_cast<int>(sizeof(V) / sizeof(float));
    int c = 1;
    for (; c + L <= w - 1; c += L) {
        const V cm = Ops::load(centre + c);
        const V v = Network<Ops>::template select<P>(
            Ops::load(above + c - 1), Ops::load(above + c), Ops::load(above + c + 1), Ops::load(centre + c - 1), cm,
            Ops::load(centre + c + 1), Ops::load(below + c - 1), Ops::load(below + c), Ops::load(below + c + 1));
        Ops::store(out + c, Ops::keepZeros(cm, v));
    }
    return c;
}

template <class Ops>
int networkColumnsAt(int pos, const float* above, const float* centre, const float* below, float* out, int w) {
    switch (pos) {
        case 0: return networkColumns<Ops, 0>(above, centre, below, out, w);
        case 1: return networkColumns<Ops, 1>(above, centre, below, out, w);
        case 2: return networkColumns<Ops, 2>(above, centre, below, out, w);
        case 3: return networkColumns<Ops, 3>(above, centre, below, out, w);
        case 4: return networkColumns<Ops, 4>(above, centre, below, out, w);
        case 5: return networkColumns<Ops, 5>(above, centre, below, out, w);
        case 6: return networkColumns<Ops, 6>(above, centre, below, out, w);
        case 7: return networkColumns<Ops, 7>(above, centre, below, out, w);
        default: return networkColumns<Ops, 8>(above, centre, below, out, w);
    }
}

}  // namespace

}  // namespace depthfilter
}  // namespace XELORAALGO

#endif
