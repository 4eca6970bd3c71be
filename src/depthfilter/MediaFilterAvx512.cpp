// MediaFilter down strips of sixteen columns with AVX-512 (chosen at run time where the processor has
// it).
//
// Inputs:  the map (w x h floats, the caller's, unfiltered), the ascending position, a column of h
//          floats of working storage (owned by MediaFilter).
// Outputs: the map filtered in place, every interior pixel as the scalar network would write it;
//          centre values of 0 (either sign) and the border rows and columns are kept.
//
// Each strip goes down the rows keeping the statistics of the three rows in reach (minimum, maximum
// and the mids in the top, centre and bottom sum orders of each column's triple) in registers: a row's
// triples are sorted once, when the row comes in as the bottom row, and serve again as the centre and
// the top row. These are exactly the values the network's first step computes for each role. A row's
// statistics are taken before it is filtered; the column left of a strip, which the previous strip
// has filtered, comes from the working column, where that strip kept its unfiltered values.
// This file is compiled for AVX-512 and must not include any standard header: only the intrinsics
// and the network, whose code all has internal linkage (see MediaFilterNetwork.h).
#if defined(__GNUC__) && defined(__x86_64__) && !defined(_WIN32)

#pragma GCC push_options
#pragma GCC target("avx512f")
#include <immintrin.h>

#include "MediaFilterNetwork.h"

namespace XELORAALGO {
namespace depthfilter {

namespace {

struct Avx512Ops {
    using V = __m512;
    // b < a ? b : a and b > a ? b : a; the zero-masked forms with every lane selected are the plain
    // instructions (the unmasked intrinsics trip a false uninitialised-value warning of GCC 12).
    static V vmin(V a, V b) { return _mm512_maskz_min_ps(0xffff, b, a); }
    static V vmax(V a, V b) { return _mm512_maskz_max_ps(0xffff, b, a); }
    static V add(V a, V b) { return _mm512_add_ps(a, b); }
    static V sub(V a, V b) { return _mm512_sub_ps(a, b); }
    static V load(const float* p) { return _mm512_loadu_ps(p); }
    static void store(float* p, V v) { _mm512_storeu_ps(p, v); }
    // The centre where it is +0 or -0 (NaN is not zero), the filtered value elsewhere.
    static V keepZeros(V centre, V v) {
        return _mm512_mask_blend_ps(_mm512_cmp_ps_mask(centre, _mm512_setzero_ps(), _CMP_EQ_OQ), v, centre);
    }
};

// Filters columns c0 ... c0 + k - 1 (k <= 16 lanes in `lanes`) of rows first ... last, going down the
// rows with the statistics of the three rows in reach kept in registers: each row's triples are sorted
// once (as the bottom row), and the statistics serve again when the row is the centre and the top row.
// top is row first - 1 unfiltered (the band above has filtered it in the map). left[r] holds the
// unfiltered value of column c0 - 1 in row r (the strip to the left has filtered the map there) and
// gets that of column c0 + 15 for the strip to the right.
template <int P>
void filterStrip(float* map, long long w, int first, int last, const float* top, int c0, __mmask16 lanes,
                 float* left) {
    using N = Network<Avx512Ops>;
    using V = __m512;
    // Row r's triples: left, middle and right columns of the strip's lanes.
    const auto rowAt = [&](int r, V& l, V& m, V& rt) {
        const float* p = map + r * w + c0;
        l = _mm512_mask_broadcastss_ps(_mm512_maskz_loadu_ps(lanes, p - 1), 1, _mm_load_ss(left + r));
        m = _mm512_maskz_loadu_ps(lanes, p);
        rt = _mm512_maskz_loadu_ps(lanes, p + 1);
        if (lanes == 0xffff) left[r] = p[15];
    };
    V l, m, rt, unused;
    // Top row: minimum, maximum, mid in the top order; centre row: also its mid in the centre order.
    V minT, maxT, midT, minC, maxC, midCT, midC, mC;
    l = _mm512_maskz_loadu_ps(lanes, top + c0 - 1);
    m = _mm512_maskz_loadu_ps(lanes, top + c0);
    rt = _mm512_maskz_loadu_ps(lanes, top + c0 + 1);
    N::template rowStats<P>(l, m, rt, minT, maxT, midT, unused, unused);
    rowAt(first, l, mC, rt);
    N::template rowStats<P>(l, mC, rt, minC, maxC, midCT, midC, unused);
    for (int r = first; r <= last; ++r) {
        V mB, minB, maxB, midBT, midBC, unused2;
        rowAt(r + 1, l, mB, rt);  // row r + 1 is still unfiltered
        N::template rowStats<P>(l, mB, rt, minB, maxB, midBT, midBC, unused2);
        // The bottom order's sum m + l + r equals the centre order's l + m + r: IEEE addition is
        // commutative (signed zeros, infinities and a single NaN included). Only where l and m are both
        // NaN may the two sums carry different payloads, and which of two NaN operands an addition
        // returns is not fixed by the order written either (the compiler may swap the operands of an
        // addition); the result is a NaN in the same lanes. So the centre order's mid serves both.
        const V v = N::template fromStats<P>(minT, maxT, midT, minC, maxC, midC, minB, maxB, midBC);
        // Lanes whose centre is +0 or -0 are not written: the map still holds that zero there.
        const __mmask16 write = _mm512_mask_cmp_ps_mask(lanes, mC, _mm512_setzero_ps(), _CMP_NEQ_UQ);
        _mm512_mask_storeu_ps(map + r * w + c0, write, v);
        minT = minC, maxT = maxC, midT = midCT;
        minC = minB, maxC = maxB, midCT = midBT, midC = midBC, mC = mB;
    }
}

// Bands of kBand rows, each filtered strip by strip, so that a band's rows stay in the caches while its
// strips go down them. rows holds two rows of working storage: the unfiltered copy of the band's last
// row, which the band below needs as its top row.
constexpr int kBand = 48;

template <int P>
void filterStrips(float* map, int w, int h, float* left, float* rows) {
    const long long W = w;
    const float* top = map;  // row 0 is never filtered
    float* copy = rows;
    for (int first = 1; first <= h - 2; first += kBand) {
        const int last = h - 2 - first < kBand - 1 ? h - 2 : first + kBand - 1;
        for (int r = first; r <= last + 1; ++r) left[r] = map[r * W];  // column 0 is never filtered
        if (last < h - 2) {
            const float* from = map + last * W;
            for (int c = 0; c < w; ++c) copy[c] = from[c];
        }
        for (int c0 = 1; c0 <= w - 2; c0 += 16) {
            const int k = w - 1 - c0 < 16 ? w - 1 - c0 : 16;
            filterStrip<P>(map, W, first, last, top, c0, static_cast<__mmask16>((1u << k) - 1u), left);
        }
        top = copy;
        copy = copy == rows ? rows + W : rows;
    }
}

}  // namespace

namespace detail {

void mediaFilterStripsAvx512(int pos, float* map, int w, int h, float* left, float* rows) {
    switch (pos) {
        case 0: filterStrips<0>(map, w, h, left, rows); break;
        case 1: filterStrips<1>(map, w, h, left, rows); break;
        case 2: filterStrips<2>(map, w, h, left, rows); break;
        case 3: filterStrips<3>(map, w, h, left, rows); break;
        case 4: filterStrips<4>(map, w, h, left, rows); break;
        case 5: filterStrips<5>(map, w, h, left, rows); break;
        case 6: filterStrips<6>(map, w, h, left, rows); break;
        case 7: filterStrips<7>(map, w, h, left, rows); break;
        default: filterStrips<8>(map, w, h, left, rows); break;
    }
}

}  // namespace detail

}  // namespace depthfilter
}  // namespace XELORAALGO

#pragma GCC pop_options

#else  // no AVX-512 here (another processor family, or Windows, whose stack keeps no 64-byte alignment)

#include "MediaFilterNetwork.h"

namespace XELORAALGO {
namespace depthfilter {
namespace detail {

void mediaFilterStripsAvx512(int, float*, int, int, float*, float*) {}

}  // namespace detail
}  // namespace depthfilter
}  // namespace XELORAALGO

#endif
