// sinf and cosf: float in, correctly rounded float out.
// A double evaluation (a table of sin(j pi/32) and short polynomials, LaneKernels.h) decides almost
// every input below 2^19 in magnitude; larger arguments are reduced exactly first; the few results
// too close to a float rounding boundary go to the double-double path.
#include "LaneKernels.h"
#include "numerics.h"

namespace XELORAALGO::num {
namespace {

// |x| < 2^-125, |x| >= 2^19, infinities and NaN.
float sinCosRare(float x, bool cosine) {
    if (!(x - x == 0.0f)) return x - x;  // NaN and infinities give NaN
    const float ax = x < 0 ? -x : x;
    // sin x = x (1 - x^2/6 + ...) and cos x = 1 - x^2/2 + ... round to x and 1 below 2^-125.
    if (ax < 0x1p-125f) return cosine ? 1.0f : x;
    // |x| = q pi/2 + r exactly reduced; sin(-x) = -sin x, cos(-x) = cos x.
    int q;
    const dd::DD rr = detail::reduceLarge(ax, q);
    const double r = rr.hi;
    if (cosine) q = (q + 1) & 3;
    double y = (q & 1) ? detail::cosPolyV(r) : detail::sinPolyV(r);
    if (q & 2) y = -y;
    if (!cosine && x < 0) y = -y;
    const double e = (y < 0 ? -y : y) * 0x1p-45 + ((q & 1) ? 0.0 : 0x1p-95);
    float out;
    if (detail::settles(y, e, out)) return out;
    return detail::sinCosAccurate(x, cosine);
}

float sinCos(float x, bool cosine) {
    unsigned bits;
    __builtin_memcpy(&bits, &x, sizeof bits);
    const unsigned magnitude = bits & 0x7fffffffu;
    if (magnitude - 0x01000000u >= 0x49000000u - 0x01000000u) return sinCosRare(x, cosine);  // 2^-125, 2^19
    const unsigned shift = cosine ? 16u : 0u;
    double t;
    const double y = detail::sinCosTableV(static_cast<double>(x), shift, t);
    const unsigned j = static_cast<unsigned>(dd::bitsOf(t)) + shift;
    if ((j & 31) != 0) {
        if (detail::roundsSafely(y, detail::kTrigUlps)) return static_cast<float>(y);
    } else {
        // y = +-sin r: relative bound, plus an absolute one where r came from a reduction.
        const double absolute = j == 0 && !cosine ? 0.0 : detail::kTrigExactBaseAbsolute;
        float out;
        if (detail::settles(y, (y < 0 ? -y : y) * detail::kTrigExactBaseMargin + absolute, out)) return out;
    }
    return detail::sinCosAccurate(x, cosine);
}

}  // namespace

float sinf(float x) { return sinCos(x, false); }
float cosf(float x) { return sinCos(x, true); }

}  // namespace XELORAALGO::num
