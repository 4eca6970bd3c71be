// MediaFilter, sixteen pixels at a time with AVX-512 (chosen at run time where the processor has it).
//
// Inputs:  three unfiltered rows (above, centre, below; w floats each, owned by MediaFilter) and the
//          output row (w floats, the caller's map).
// Outputs: out[c] for columns 1, 2, ... in blocks of sixteen, as the scalar network would write them;
//          centre values of 0 (either sign) are kept.
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

}  // namespace

namespace detail {

int mediaFilterColumnsAvx512(int pos, const float* above, const float* centre, const float* below, float* out,
                             int w) {
    return networkColumnsAt<Avx512Ops>(pos, above, centre, below, out, w);
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

int mediaFilterColumnsAvx512(int, const float*, const float*, const float*, float*, int) { return 1; }

}  // namespace detail
}  // namespace depthfilter
}  // namespace XELORAALGO

#endif
