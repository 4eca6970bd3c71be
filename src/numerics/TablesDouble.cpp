// The bits of 2/pi for the exact argument reduction of the double sine and cosine (the tests
// recompute them with MPFR), and the reflections of atan2.
#include "KernelsDouble.h"

namespace XELORAALGO::num::detail {

// The bits of 2/pi after the binary point, 64 at a time (1792 bits).
const unsigned long long kTwoOverPiWords[kTwoOverPiWordCount] = {
    0xa2f9836e4e441529ull, 0xfc2757d1f534ddc0ull, 0xdb6295993c439041ull, 0xfe5163abdebbc561ull,
    0xb7246e3a424dd2e0ull, 0x06492eea09d1921cull, 0xfe1deb1cb129a73eull, 0xe88235f52ebb4484ull,
    0xe99c7026b45f7e41ull, 0x3991d639835339f4ull, 0x9c845f8bbdf9283bull, 0x1ff897ffde05980full,
    0xef2f118b5a0a6d1full, 0x6d367ecf27cb09b7ull, 0x4f463f669e5fea2dull, 0x7527bac7ebe5f17bull,
    0x3d0739f78a5292eaull, 0x6bfb5fb11f8d5d08ull, 0x56033046fc7b6babull, 0xf0cfbc209af4361dull,
    0xa9e391615ee61b08ull, 0x6599855f14a06840ull, 0x8dffd8804d732731ull, 0x06061556ca73a8c9ull,
    0x60e27bc08c6b47c4ull, 0x19c367cddce8092aull, 0x8359c4768b961ca6ull, 0xddaf44d15719053eull
};

const Reflection kReflection[4] = {{0.0, 0.0, 1.0},
                                   {0x1.921fb54442d18p+0, 0x1.1a62633145c07p-54, -1.0},
                                   {0x1.921fb54442d18p+1, 0x1.1a62633145c07p-53, -1.0},
                                   {0x1.921fb54442d18p+0, 0x1.1a62633145c07p-54, 1.0}};

}  // namespace XELORAALGO::num::detail
