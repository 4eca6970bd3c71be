// MediaFilter, eight pixels at a time with AVX (chosen at run time where the processor has it).
//
// Inputs:  three unfiltered rows (above, centre, below; w floats each, owned by MediaFilter) and the
//          output row (w floats, the caller's map).
// Outputs: out[c] for columns 1, 2, ... in blocks of eight, as the scalar network would write them;
//          centre values of 0 (either sign) are kept.
// This file is compiled for AVX and must not include any standard header: only the intrinsics and
// the network, whose code all has internal linkage (see MediaFilterNetwork.h).
#if defined(__GNUC__) && (defined(__x86_64__) || defined(__i386__))

#pragma GCC push_options
#pragma GCC target("avx")
#include <immintrin.h>

#include "MediaFilterNetwork.h"

namespace XELORAALGO {
namespace depthfilter {

namespace {

struct AvxOps {
    using V = __m256;
    static V vmin(V a, V b) { return _mm256_min_ps(b, a); }  // b < a ? b : a
    static V vmax(V a, V b) { return _mm256_max_ps(b, a); }  // b > a ? b : a
    static V add(V a, V b) { return _mm256_add_ps(a, b); }
    static V sub(V a, V b) { return _mm256_sub_ps(a, b); }
    static V load(const float* p) { return _mm256_loadu_ps(p); }
    static void store(float* p, V v) { _mm256_storeu_ps(p, v); }
    // The centre where it is +0 or -0 (NaN is not zero), the filtered value elsewhere.
    static V keepZeros(V centre, V v) {
        return _mm256_blendv_ps(v, centre, _mm256_cmp_ps(centre, _mm256_setzero_ps(), _CMP_EQ_OQ));
    }
};

}  // namespace

namespace detail {

int mediaFilterColumnsAvx(int pos, const float* above, const float* centre, const float* below, float* out, int w) {
    return networkColumnsAt<AvxOps>(pos, above, centre, below, out, w);
}

}  // namespace detail

}  // namespace depthfilter
}  // namespace XELORAALGO

#pragma GCC pop_options

#else  // no AVX on this processor family: the caller does every column

#include "MediaFilterNetwork.h"

namespace XELORAALGO {
namespace depthfilter {
namespace detail {

int mediaFilterColumnsAvx(int, const float*, const float*, const float*, float*, int) { return 1; }

}  // namespace detail
}  // namespace depthfilter
}  // namespace XELORAALGO

#endif
