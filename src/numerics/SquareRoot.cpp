// Square roots of double and float through the SSE2 instructions sqrtsd and sqrtss: the correctly
// rounded IEEE result, never a library call (some C runtimes round twice through the x87 unit).
#include "numerics.h"

#include <emmintrin.h>

namespace XELORAALGO::num {

double sqrt(double x) { return _mm_cvtsd_f64(_mm_sqrt_sd(_mm_set_sd(x), _mm_set_sd(x))); }

float sqrtf(float x) { return _mm_cvtss_f32(_mm_sqrt_ss(_mm_set_ss(x))); }

}  // namespace XELORAALGO::num
