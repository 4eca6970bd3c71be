// The row loops of the masked smoothing (SmoothRows.inc) and the truncating accumulation of the
// fringes (TruncatingSums.inc) compiled for AVX2, chosen at run time where the processor has it and
// the platform allows it (num::avx2Allowed). No FMA: products and sums are rounded separately, as in
// the baseline loops. No standard header may be included here.
#if defined(__GNUC__) && defined(__x86_64__)
#pragma GCC push_options
#pragma GCC target("avx2")

namespace XELORAALGO {
namespace fringe {
namespace detail {
#define XELORA_FRINGE_ISA Avx2
#define XELORA_FRINGE_BYTES 32
#include "SmoothRows.inc"
#include "TruncatingSums.inc"
#undef XELORA_FRINGE_BYTES
#undef XELORA_FRINGE_ISA
}  // namespace detail
}  // namespace fringe
}  // namespace XELORAALGO

#pragma GCC pop_options
#endif
