// The row loops of the masked smoothing (SmoothRows.inc) and the truncating accumulation of the
// fringes (TruncatingSums.inc) compiled for AVX-512, chosen at run time where the processor has it
// (never on 64-bit Windows, whose stack keeps no 64-byte alignment). No FMA: products and sums are
// rounded separately, as in the baseline loops. No standard header may be included here.
#if defined(__GNUC__) && defined(__x86_64__) && !defined(_WIN32)
#pragma GCC push_options
#pragma GCC target("avx512f")

namespace XELORAALGO {
namespace fringe {
namespace detail {
#define XELORA_FRINGE_ISA Avx512
#define XELORA_FRINGE_BYTES 64
#include "SmoothRows.inc"
#include "TruncatingSums.inc"
#undef XELORA_FRINGE_BYTES
#undef XELORA_FRINGE_ISA
}  // namespace detail
}  // namespace fringe
}  // namespace XELORAALGO

#pragma GCC pop_options
#endif
