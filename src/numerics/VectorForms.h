// Internal to the numerics subsystem: the array forms of sinf, expf and atan2f for a lane type V
// (a GCC vector of doubles). Each block converts its floats to double lanes and runs the kernels of
// LaneKernels.h, which perform the scalar function's operations lane by lane; lanes with a special
// input (NaN, infinity, zero, out of the kernel's range) or whose result the rounding test cannot
// settle are recomputed by the scalar function. Hence every output equals the scalar function's.
//
// Internal linkage and no standard header: included by the files compiled for AVX2 and AVX-512.
#pragma once

#include "LaneKernels.h"

namespace XELORAALGO::num {

float sinf(float x);
float expf(float x);
float atan2f(float y, float x);

namespace detail {
namespace {

using Size = decltype(sizeof 0);

// Rounds each settled lane of y (bound e) to out; the others take fallback(i).
template <class V, class Fallback>
void finish(V y, V e, const bool* special, float* out, Fallback fallback) {
    const V lo = y - e;
    const V hi = y + e;
    for (int l = 0; l < laneCount<V>(); ++l) {
        const float a = static_cast<float>(lane(lo, l));
        const float b = static_cast<float>(lane(hi, l));
        out[l] = (!special[l] && a == b) ? static_cast<float>(lane(y, l)) : fallback(l);
    }
}

template <class V>
void sinfArray(const float* x, float* out, Size n) {
    constexpr int L = laneCount<V>();
    Size i = 0;
    for (; i + L <= n; i += L) {
        V xv{};
        bool special[L];
        for (int l = 0; l < L; ++l) {
            const double v = x[i + l];
            special[l] = !(v < kCodyWaiteLimit && v > -kCodyWaiteLimit) || v == 0.0;
            setLane(xv, l, special[l] ? 1.0 : v);
        }
        V e{};
        const V y = sinCosKernel(xv, false, e);
        finish(y, e, special, out + i, [&](int l) { return num::sinf(x[i + l]); });
    }
    for (; i < n; ++i) out[i] = num::sinf(x[i]);
}

template <class V>
void expfArray(const float* x, float* out, Size n) {
    constexpr int L = laneCount<V>();
    Size i = 0;
    for (; i + L <= n; i += L) {
        V xv{};
        bool special[L];
        for (int l = 0; l < L; ++l) {
            const double v = x[i + l];
            special[l] = !(v >= -104.0 && v <= 89.0);
            setLane(xv, l, special[l] ? 0.0 : v);
        }
        const V y = expKernelV(xv);
        finish(y, y * kMargin, special, out + i, [&](int l) { return num::expf(x[i + l]); });
    }
    for (; i < n; ++i) out[i] = num::expf(x[i]);
}

template <class V>
void atan2fArray(const float* y, const float* x, float* out, Size n) {
    constexpr int L = laneCount<V>();
    Size i = 0;
    for (; i + L <= n; i += L) {
        V ay{}, ax{}, xNegative{};
        bool special[L], negative[L];
        for (int l = 0; l < L; ++l) {
            const double yv = y[i + l], xv = x[i + l];
            const double yMag = yv < 0 ? -yv : yv, xMag = xv < 0 ? -xv : xv;
            special[l] = !(yMag > 0.0 && yMag - yMag == 0.0 && xMag > 0.0 && xMag - xMag == 0.0);
            negative[l] = yv < 0;
            setLane(ay, l, special[l] ? 1.0 : yMag);
            setLane(ax, l, special[l] ? 1.0 : xMag);
            setLane(xNegative, l, xv < 0 ? 1.0 : 0.0);
        }
        const V a = atanKernelV(ay / ax);
        const V flipped = kPiHi - (a - kPiLo);
        const V v = xNegative > splat<V>(0.5) ? flipped : a;
        float settled[L];
        // Settled lanes still need the sign of y; the scalar fallback has it already.
        const auto scalar = [&](int l) {
            const float r = num::atan2f(y[i + l], x[i + l]);
            return (!special[l] && negative[l]) ? -r : r;
        };
        finish(v, v * kMargin, special, settled, scalar);
        for (int l = 0; l < L; ++l) out[i + l] = (!special[l] && negative[l]) ? -settled[l] : settled[l];
    }
    for (; i < n; ++i) out[i] = num::atan2f(y[i], x[i]);
}

}  // namespace
}  // namespace detail
}  // namespace XELORAALGO::num
