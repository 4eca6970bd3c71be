// Outlierdetect's neighbour count (OutlierLanes.inc) compiled for AVX2, chosen at run time where the
// processor has it and the platform allows it (num::avx2Allowed). No FMA: products and sums are
// rounded separately, as in the scalar loop. No standard header may be included here.
#if defined(__GNUC__) && defined(__x86_64__)
#pragma GCC push_options
#pragma GCC target("avx2")

namespace XELORAALGO {
namespace depthfilter {
namespace detail {
#define XELORA_OUTLIER_ISA Avx2
#define XELORA_OUTLIER_BYTES 32
#include "OutlierLanes.inc"
#undef XELORA_OUTLIER_BYTES
#undef XELORA_OUTLIER_ISA
}  // namespace detail
}  // namespace depthfilter
}  // namespace XELORAALGO

#pragma GCC pop_options
#endif
