// sinf and cosf: float in, correctly rounded float out.
// A double evaluation (reduction by pi/2, Taylor polynomials; relative error below 2^-50) decides
// almost every input; the rest go to the double-double path.
#include "LaneKernels.h"
#include "numerics.h"

namespace XELORAALGO::num {
namespace {

float sinCos(float x, bool cosine) {
    if (!(x - x == 0.0f)) return x - x;  // NaN and infinities give NaN
    if (x == 0.0f && !cosine) return x;  // sin(-0) = -0, which the polynomial would lose
    const double xd = x;
    double y, e;
    if (xd < detail::kCodyWaiteLimit && xd > -detail::kCodyWaiteLimit) {
        y = detail::sinCosKernel(xd, cosine, e);
    } else {
        // |x| = q pi/2 + r exactly reduced; sin(-x) = -sin x, cos(-x) = cos x.
        int q;
        const dd::DD rr = detail::reduceLarge(x < 0 ? -x : x, q);
        const double r = rr.hi;
        if (cosine) q = (q + 1) & 3;
        y = (q & 1) ? detail::cosPolyV(r) : detail::sinPolyV(r);
        if (q & 2) y = -y;
        if (!cosine && x < 0) y = -y;
        e = (y < 0 ? -y : y) * detail::kMargin + ((q & 1) ? 0.0 : 0x1p-95);
    }
    float out;
    if (detail::settles(y, e, out)) return out;
    return detail::sinCosAccurate(x, cosine);
}

}  // namespace

float sinf(float x) { return sinCos(x, false); }
float cosf(float x) { return sinCos(x, true); }

}  // namespace XELORAALGO::num
