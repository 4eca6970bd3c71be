// Internal to the numerics subsystem: the array forms of sinf, expf and atan2f for a lane type V
// (a GCC vector of doubles) and an operations policy Ops (PlainOps, or fused multiply-adds where the
// processor has them). Each block converts its floats to double lanes and runs the kernels of
// LaneKernels.h, which perform lane by lane the operations of the scalar function's plain or fused
// form (the quadrant logic of the sine, exact selections and negations, is done with masks), then
// the same integer rounding test; lanes with a special input (NaN, infinity, zero, out of the
// kernel's range) or whose result the test cannot settle are recomputed by the scalar function.
// Hence every output equals the scalar function's.
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

// The loads, conversions and lane tests of the array forms, with the kernels' lookups lane by lane;
// the files compiled for AVX2 and AVX-512 pass their own (IsaLanes, VectorIsa.inc).
struct PortableLanes : LaneLoopLookup {
    // The floats at p, widened to V's double lanes.
    template <class V>
    static V load(const float* p) {
        typename FloatsOf<V>::type f;
        __builtin_memcpy(&f, p, sizeof f);
        return __builtin_convertvector(f, V);
    }
    // Each lane rounded to the nearest float.
    template <class V>
    static typename FloatsOf<V>::type narrow(V v) { return __builtin_convertvector(v, typename FloatsOf<V>::type); }
    // True when every lane of the comparison mask m (all ones or zero per lane) is set.
    template <class M>
    static bool all(M m) {
        for (int l = 0; l < static_cast<int>(sizeof(M) / sizeof(m[0])); ++l)
            if (!m[l]) return false;
        return true;
    }
};

// The lanes of y that the integer rounding test with `ulps` units settles (roundsSafely on each lane;
// y within float's normal range).
template <class V>
__attribute__((always_inline)) inline auto roundsSafelyV(V y, unsigned long long ulps) {
    return ((bitsV(y) + (ulps - (1ull << 28))) & ((1ull << 29) - 1)) > 2 * ulps;
}

// Rounds y to out where `settled` (a mask lane of all ones): one test of all lanes and one store
// where every lane is done (the usual case); otherwise only the settled lanes are stored and
// reported in done. Returns whether every lane was done.
template <class Lanes, class V, class M>
__attribute__((always_inline)) inline bool finish(V y, M settled, float* out, bool* done) {
    const auto r = Lanes::narrow(y);
    if (Lanes::all(settled)) {
        __builtin_memcpy(out, &r, sizeof r);
        return true;
    }
    for (int l = 0; l < laneCount<V>(); ++l) {
        done[l] = settled[l] != 0;
        if (done[l]) out[l] = r[l];
    }
    return false;
}

// out[i] = scalar(x[i]) for i < n: blocks of V's lanes through block(xv, out, done), which writes the
// lanes it settles and reports them in done; the scalar function does the rest.
template <class V, class Lanes, class Block, class Scalar>
void unaryArray(const float* x, float* out, Size n, Block block, Scalar scalar) {
    constexpr int L = laneCount<V>();
    Size i = 0;
    for (; i + L <= n; i += L) {
        bool done[L];
        if (!block(Lanes::template load<V>(x + i), out + i, done))
            for (int l = 0; l < L; ++l)
                if (!done[l]) out[i + l] = scalar(x[i + l]);
    }
    for (; i < n; ++i) out[i] = scalar(x[i]);
}

template <class V, class Lanes = PortableLanes, class Ops = PlainOps>
void sinfArray(const float* x, float* out, Size n) {
    const auto block = [](V xv, float* o, bool* done) {
        const V ax = xv < splat<V>(0.0) ? -xv : xv;
        // The scalar function's kernel below 2^9; the scalar function does the rest.
        const auto ordinary = (ax >= splat<V>(0x1p-125)) & (ax < splat<V>(kTrigNarrowLimit));
        xv = ordinary ? xv : splat<V>(1.0);
        const V y = sinCosTableV<Ops, false, V, Lanes>(xv, 0u);
        return finish<Lanes>(y, ordinary & roundsSafelyV(y, kTrigUlps), o, done);
    };
    unaryArray<V, Lanes>(x, out, n, block, [](float v) { return num::sinf(v); });
}

template <class V, class Lanes = PortableLanes, class Ops = PlainOps>
void expfArray(const float* x, float* out, Size n) {
    const auto block = [](V xv, float* o, bool* done) {
        // The scalar function's kernel where the result is a normal float; the scalar function
        // does the rest.
        const auto ordinary = (xv > splat<V>(-87.0)) & (xv < splat<V>(88.5));
        xv = ordinary ? xv : splat<V>(0.0);
        const V y = expTableV<Ops, V, Lanes>(xv);
        return finish<Lanes>(y, ordinary & roundsSafelyV(y, kExpUlps), o, done);
    };
    unaryArray<V, Lanes>(x, out, n, block, [](float v) { return num::expf(v); });
}

template <class V, class Lanes = PortableLanes, class Ops = PlainOps>
void atan2fArray(const float* y, const float* x, float* out, Size n) {
    constexpr int L = laneCount<V>();
    const V zero = splat<V>(0.0), big = splat<V>(0x1p128);
    Size i = 0;
    for (; i + L <= n; i += L) {
        const V yv = Lanes::template load<V>(y + i), xv = Lanes::template load<V>(x + i);
        const V ay = yv < zero ? -yv : yv, ax = xv < zero ? -xv : xv;
        // Ordinary: both finite (below 2^128) and non-zero (NaN compares false).
        const auto ordinary = (ay > zero) & (ay < big) & (ax > zero) & (ax < big);
        const V one = splat<V>(1.0);
        // For finite non-zero floats the quotient lies in [2^-277, 2^277]: clamped as the scalar does.
        const V q = (ordinary ? ay : one) / (ordinary ? ax : one);
        const V a = atanTableV<Ops, V, Lanes>(q < splat<V>(0x1p100) ? q : splat<V>(0x1p100));
        const V flipped = kPiHi - (a - kPiLo);
        const V v = xv < zero ? flipped : a;
        // The scalar function negates the rounded result for y < 0; rounding to nearest is symmetric,
        // and the test reads only the low bits, so negating first gives the same bits. Results
        // below 2^-125 (the scalar function's real-valued test) go to the scalar function.
        const V signedV = yv < zero ? -v : v;
        const auto settled = ordinary & (v >= splat<V>(0x1p-125)) & roundsSafelyV(v, kAtanUlps);
        bool done[L];
        if (!finish<Lanes>(signedV, settled, out + i, done))
            for (int l = 0; l < L; ++l)
                if (!done[l]) out[i + l] = num::atan2f(y[i + l], x[i + l]);
    }
    for (; i < n; ++i) out[i] = num::atan2f(y[i], x[i]);
}

}  // namespace
}  // namespace detail
}  // namespace XELORAALGO::num
