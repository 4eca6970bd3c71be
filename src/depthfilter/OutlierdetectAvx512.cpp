// Outlierdetect's neighbour count (OutlierLanes.inc) compiled for AVX-512, chosen at run time where
// the processor has it (never on 64-bit Windows, whose stack keeps no 64-byte alignment). No FMA:
// products and sums are rounded separately, as in the scalar loop. No standard header may be
// included here.
#if defined(__GNUC__) && defined(__x86_64__) && !defined(_WIN32)
#pragma GCC push_options
#pragma GCC target("avx512f")

namespace XELORAALGO {
namespace depthfilter {
namespace detail {
#define XELORA_OUTLIER_ISA Avx512
#define XELORA_OUTLIER_BYTES 64
#include "OutlierLanes.inc"
#undef XELORA_OUTLIER_BYTES
#undef XELORA_OUTLIER_ISA
}  // namespace detail
}  // namespace depthfilter
}  // namespace XELORAALGO

#pragma GCC pop_options
#endif
