// sinf and cosf: float in, correctly rounded float out.
// A double evaluation (a table of sin(j pi/32) and short polynomials, FloatFunctions.h) decides
// almost every input below 2^19 in magnitude; larger arguments are reduced exactly first; the few
// results too close to a float rounding boundary go to the double-double path.
#include "FloatFunctions.h"
#include "numerics.h"

namespace XELORAALGO::num {
namespace detail {

float sinCosRare(float x, bool cosine) {
    if (!(x - x == 0.0f)) return x - x;  // NaN and infinities give NaN
    const float ax = x < 0 ? -x : x;
    // sin x = x (1 - x^2/6 + ...) and cos x = 1 - x^2/2 + ... round to x and 1 below 2^-125.
    if (ax < 0x1p-125f) return cosine ? 1.0f : x;
    // |x| = q pi/2 + r exactly reduced; sin(-x) = -sin x, cos(-x) = cos x.
    int q;
    const dd::DD rr = reduceLarge(ax, q);
    const double r = rr.hi;
    if (cosine) q = (q + 1) & 3;
    double y = (q & 1) ? cosPolyV(r) : sinPolyV(r);
    if (q & 2) y = -y;
    if (!cosine && x < 0) y = -y;
    const double e = (y < 0 ? -y : y) * 0x1p-45 + ((q & 1) ? 0.0 : 0x1p-95);
    float out;
    if (settles(y, e, out)) return out;
    return sinCosAccurate(x, cosine);
}

}  // namespace detail

float sinf(float x) { return detail::kFloatFmaUsable ? detail::sinfFma(x) : detail::sinCosWith<detail::PlainOps, false>(x); }
float cosf(float x) { return detail::kFloatFmaUsable ? detail::cosfFma(x) : detail::sinCosWith<detail::PlainOps, true>(x); }

}  // namespace XELORAALGO::num
