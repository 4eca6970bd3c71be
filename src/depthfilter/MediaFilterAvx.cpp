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
};

template <int P>
int columnsAvx(const float* above, const float* centre, const float* below, float* out, int w) {
    using N8 = Network<AvxOps>;
    const __m256 zero = _mm256_setzero_ps();
    int c = 1;
    for (; c + 8 <= w - 1; c += 8) {
        const __m256 cm = _mm256_loadu_ps(centre + c);
        const __m256 v = N8::select<P>(
            _mm256_loadu_ps(above + c - 1), _mm256_loadu_ps(above + c), _mm256_loadu_ps(above + c + 1),
            _mm256_loadu_ps(centre + c - 1), cm, _mm256_loadu_ps(centre + c + 1), _mm256_loadu_ps(below + c - 1),
            _mm256_loadu_ps(below + c), _mm256_loadu_ps(below + c + 1));
        const __m256 isZero = _mm256_cmp_ps(cm, zero, _CMP_EQ_OQ);  // +0 and -0; NaN is not zero
        _mm256_storeu_ps(out + c, _mm256_blendv_ps(v, cm, isZero));
    }
    return c;
}

}  // namespace

namespace detail {

int mediaFilterColumnsAvx(int pos, const float* above, const float* centre, const float* below, float* out, int w) {
    switch (pos) {
        case 0: return columnsAvx<0>(above, centre, below, out, w);
        case 1: return columnsAvx<1>(above, centre, below, out, w);
        case 2: return columnsAvx<2>(above, centre, below, out, w);
        case 3: return columnsAvx<3>(above, centre, below, out, w);
        case 4: return columnsAvx<4>(above, centre, below, out, w);
        case 5: return columnsAvx<5>(above, centre, below, out, w);
        case 6: return columnsAvx<6>(above, centre, below, out, w);
        case 7: return columnsAvx<7>(above, centre, below, out, w);
        default: return columnsAvx<8>(above, centre, below, out, w);
    }
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
