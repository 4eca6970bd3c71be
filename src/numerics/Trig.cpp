// sinf and cosf: float in, correctly rounded float out.
// A double evaluation (reduction by pi/2, Taylor polynomials; relative error below 2^-50) decides
// almost every input; the rest go to the double-double path.
#include "Kernels.h"
#include "numerics.h"

namespace XELORAALGO::num {
namespace {

constexpr double kPio4 = 0x1.921fb54442d18p-1;

// sin x (cosine = false) or cos x (cosine = true) for finite x: the double kernel result y and its
// error bound e.
double sinCosFast(float xf, bool cosine, double& e) {
    const double x = xf;
    const double ax = x < 0 ? -x : x;
    double r;
    int q;
    double tiny = 0.0;  // absolute error of the reduction, for tiny reduced arguments
    if (ax <= kPio4) {
        r = x;
        q = 0;
    } else if (ax < detail::kCodyWaiteLimit) {
        const double k = detail::nearestInt(x * detail::kTwoOverPi);
        r = detail::reduceCodyWaite(x, k);
        q = static_cast<int>(static_cast<std::int64_t>(k) & 3);
        tiny = 0x1p-95;
    } else {
        const dd::DD rr = detail::reduceLarge(static_cast<float>(ax), q);
        r = x < 0 ? -rr.hi : rr.hi;
        q = x < 0 ? (4 - q) & 3 : q;
        tiny = 0x1p-95;
    }
    if (cosine) q = (q + 1) & 3;
    // sin(r + q pi/2) = sin r, cos r, -sin r, -cos r for q = 0..3.
    double y = (q & 1) ? detail::cosPoly(r) : detail::sinPoly(r);
    if (q & 2) y = -y;
    e = (y < 0 ? -y : y) * detail::kMargin + ((q & 1) ? 0.0 : tiny);
    return y;
}

float sinCos(float x, bool cosine) {
    if (!(x - x == 0.0f)) return x - x;  // NaN and infinities give NaN
    double e;
    const double y = sinCosFast(x, cosine, e);
    float out;
    if (detail::settles(y, e, out)) return out;
    return detail::sinCosAccurate(x, cosine);
}

}  // namespace

float sinf(float x) { return sinCos(x, false); }
float cosf(float x) { return sinCos(x, true); }

}  // namespace XELORAALGO::num
