// The masked smoothing's row loops compiled for AVX2, chosen at run time where the processor has
// it (see SmoothRows.inc). No FMA: products and sums are rounded separately, as in the baseline
// loops. No standard header may be included here.
#if defined(__GNUC__) && defined(__x86_64__)
#pragma GCC push_options
#pragma GCC target("avx2")

namespace XELORAALGO {
namespace fringe {
namespace detail {
#define XELORA_SMOOTH_ISA Avx2
#include "SmoothRows.inc"
#undef XELORA_SMOOTH_ISA
}  // namespace detail
}  // namespace fringe
}  // namespace XELORAALGO

#pragma GCC pop_options
#endif
