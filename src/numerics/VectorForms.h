// Internal to the numerics subsystem: the array forms of sinf, expf and atan2f for a lane type V
// (a GCC vector of doubles). Each block converts its floats to double lanes and runs the kernels of
// LaneKernels.h, which perform the scalar function's operations lane by lane (the quadrant logic of
// the sine, exact selections and negations, is done with masks); lanes with a special input (NaN,
// infinity, zero, out of the kernel's range) or whose result the rounding test cannot settle are
// recomputed by the scalar function. Hence every output equals the scalar function's.
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

// The float vector with V's lane count.
template <class V>
struct FloatsOf {
    typedef float type __attribute__((vector_size(sizeof(V) / 2)));
};

template <class V>
V loadAsDouble(const float* p) {
    typename FloatsOf<V>::type f;
    __builtin_memcpy(&f, p, sizeof f);
    return __builtin_convertvector(f, V);
}

// Rounds y to out where the rounding test with bound e settles and the lane is ordinary
// (ordinary: a mask lane of all ones); returns whether every lane was done.
template <class V, class M>
bool finish(V y, V e, M ordinary, float* out, bool* done) {
    using F = typename FloatsOf<V>::type;
    const F a = __builtin_convertvector(y - e, F);
    const F b = __builtin_convertvector(y + e, F);
    const F r = __builtin_convertvector(y, F);
    // Lane masks of 32 bits (all ones where done), tested all at once.
    typedef int I __attribute__((vector_size(sizeof(F))));
    const I good = __builtin_convertvector(ordinary, I) & (a == b);
    int lanes[laneCount<V>()];
    __builtin_memcpy(lanes, &good, sizeof lanes);
    int both = -1;
    for (int word : lanes) both &= word;
    if (both == -1) {
        __builtin_memcpy(out, &r, sizeof r);
        for (int l = 0; l < laneCount<V>(); ++l) done[l] = true;
        return true;
    }
    for (int l = 0; l < laneCount<V>(); ++l) {
        done[l] = lanes[l] != 0;
        if (done[l]) out[l] = r[l];
    }
    return false;
}

// out[i] = scalar(x[i]) for i < n: blocks of V's lanes through block(xv, out, done), which writes the
// lanes it settles and reports them in done; the scalar function does the rest.
template <class V, class Block, class Scalar>
void unaryArray(const float* x, float* out, Size n, Block block, Scalar scalar) {
    constexpr int L = laneCount<V>();
    Size i = 0;
    for (; i + L <= n; i += L) {
        bool done[L];
        if (!block(loadAsDouble<V>(x + i), out + i, done))
            for (int l = 0; l < L; ++l)
                if (!done[l]) out[i + l] = scalar(x[i + l]);
    }
    for (; i < n; ++i) out[i] = scalar(x[i]);
}

template <class V>
void sinfArray(const float* x, float* out, Size n) {
    const auto block = [](V xv, float* o, bool* done) {
        const auto ordinary = (xv < splat<V>(kCodyWaiteLimit)) & (xv > splat<V>(-kCodyWaiteLimit)) & (xv != splat<V>(0.0));
        xv = ordinary ? xv : splat<V>(1.0);
        const V k = nearestIntV(xv * kTwoOverPi);
        const V r = reduceCodyWaiteV(xv, k);
        const V s = sinPolyV(r), c = cosPolyV(r);
        const V q = k - 4.0 * nearestIntV(k * 0.25 - 0.375);  // k mod 4, exactly
        const auto odd = (q == splat<V>(1.0)) | (q == splat<V>(3.0));
        const V unsigned_ = odd ? c : s;
        const V y = q >= splat<V>(2.0) ? -unsigned_ : unsigned_;
        const V tiny = (odd | (k == splat<V>(0.0))) ? splat<V>(0.0) : splat<V>(0x1p-95);
        const V magnitude = y < splat<V>(0.0) ? -y : y;
        return finish(y, magnitude * kMargin + tiny, ordinary, o, done);
    };
    unaryArray<V>(x, out, n, block, [](float v) { return num::sinf(v); });
}

template <class V>
void expfArray(const float* x, float* out, Size n) {
    const auto block = [](V xv, float* o, bool* done) {
        const auto ordinary = (xv >= splat<V>(-104.0)) & (xv <= splat<V>(89.0));
        xv = ordinary ? xv : splat<V>(0.0);
        const V y = expKernelV(xv);
        return finish(y, y * kMargin, ordinary, o, done);
    };
    unaryArray<V>(x, out, n, block, [](float v) { return num::expf(v); });
}

template <class V>
void atan2fArray(const float* y, const float* x, float* out, Size n) {
    constexpr int L = laneCount<V>();
    const V zero = splat<V>(0.0), big = splat<V>(0x1p128);
    Size i = 0;
    for (; i + L <= n; i += L) {
        const V yv = loadAsDouble<V>(y + i), xv = loadAsDouble<V>(x + i);
        const V ay = yv < zero ? -yv : yv, ax = xv < zero ? -xv : xv;
        // Ordinary: both finite (below 2^128) and non-zero (NaN compares false).
        const auto ordinary = (ay > zero) & (ay < big) & (ax > zero) & (ax < big);
        const V one = splat<V>(1.0);
        const V a = atanKernelV((ordinary ? ay : one) / (ordinary ? ax : one));
        const V flipped = kPiHi - (a - kPiLo);
        const V v = xv < zero ? flipped : a;
        bool done[L];
        float settled[L];
        finish(v, v * kMargin, ordinary, settled, done);
        for (int l = 0; l < L; ++l)
            out[i + l] = done[l] ? (y[i + l] < 0.0f ? -settled[l] : settled[l]) : num::atan2f(y[i + l], x[i + l]);
    }
    for (; i < n; ++i) out[i] = num::atan2f(y[i], x[i]);
}

}  // namespace
}  // namespace detail
}  // namespace XELORAALGO::num
