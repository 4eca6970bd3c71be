// The per-pixel arithmetic of CalRGB written once for a lane type V: plain float (the reference),
// or a GCC vector of 4, 8 or 16 floats (SSE2, AVX2, AVX-512). Every lane performs exactly the float
// operations of the scalar code, in the same order (no fused multiply-add: the library is built
// with -ffp-contract=off), so every lane gives the scalar bits.
//
// Everything here has internal linkage and the header includes no standard header: the files
// compiled for AVX2 and AVX-512 (CalRGBAvx2.cpp, CalRGBAvx512.cpp, through CalRGBIsa.inc) include it.
#ifndef XELORAALGO_SRC_IMAGING_CALRGBLANES_H
#define XELORAALGO_SRC_IMAGING_CALRGBLANES_H

namespace XELORAALGO {
namespace imaging {
namespace lanes {

// The colour camera in float: intrinsics (pixels), distortion k1, k2, p1, p2, and the pose R
// (row-major), T from camera 1's frame into the colour camera's frame.
struct ColourCameraF {
    float fx, fy, cx, cy, k1, k2, p1, p2;
    float R[9];
    float T[3];
};

// The run-time dispatched forms (CalRGBAvx2.cpp, CalRGBAvx512.cpp). Each handles columns [0, w) in
// whole vectors and returns the first column it left for the caller (0 where the library was built
// for a processor family without these instruction sets).
int projectRowAvx2(const ColourCameraF& cam, const float* X, const float* Y, const float* Z, float* zPrime,
                   float* column, float* row, int w);
int projectRowAvx512(const ColourCameraF& cam, const float* X, const float* Y, const float* Z, float* zPrime,
                     float* column, float* row, int w);
int undistortRowAvx2(const ColourCameraF& cam, const float* x0, float y0, float* x, float* y, int w);
int undistortRowAvx512(const ColourCameraF& cam, const float* x0, float y0, float* x, float* y, int w);
int footprintRowAvx2(const unsigned char* mask, const float* Z, const float* column, const float* row, float zLo,
                     float zHi, int w, int h, int* target);
int footprintRowAvx512(const unsigned char* mask, const float* Z, const float* column, const float* row, float zLo,
                       float zHi, int w, int h, int* target);
int depthRowAvx2(const float* const (&z)[4], const float* count, const float* x, const float* y, float* X, float* Y,
                 float* Z, int w);
int depthRowAvx512(const float* const (&z)[4], const float* count, const float* x, const float* y, float* X,
                   float* Y, float* Z, int w);

namespace {

template <class V>
inline V loadLanes(const float* p) {
    V v;
    __builtin_memcpy(&v, p, sizeof v);
    return v;
}
template <class V>
inline void storeLanes(float* p, const V& v) {
    __builtin_memcpy(p, &v, sizeof v);
}

// Transform of (X, Y, Z) into the colour camera's frame, x = X'/Z', y = Y'/Z', and the distorted
// pixel position (column, row): r2 = x x + y y, r4 = r2 r2, rho = 1 + k1 r2 + k2 r4,
// column = fx (x rho + 2 p1 x y + p2 (r2 + 2 x x)) + cx, row = fy (y rho + 2 p2 x y + p1 (r2 + 2 y y)) + cy.
template <class V>
inline void projectLanes(const ColourCameraF& c, V X, V Y, V Z, V& zp, V& column, V& row) {
    const V xp = c.R[0] * X + c.R[1] * Y + c.R[2] * Z + c.T[0];
    const V yp = c.R[3] * X + c.R[4] * Y + c.R[5] * Z + c.T[1];
    zp = c.R[6] * X + c.R[7] * Y + c.R[8] * Z + c.T[2];
    const V x = xp / zp;
    const V y = yp / zp;
    const V r2 = x * x + y * y;
    const V r4 = r2 * r2;
    const V rho = 1.0f + c.k1 * r2 + c.k2 * r4;
    column = c.fx * (x * rho + 2.0f * c.p1 * x * y + c.p2 * (r2 + 2.0f * x * x)) + c.cx;
    row = c.fy * (y * rho + 2.0f * c.p2 * x * y + c.p1 * (r2 + 2.0f * y * y)) + c.cy;
}

// Ten fixed-point iterations from the distorted normalised (x0, y0): the tangential terms keep
// (x0, y0), only r2 and the radial factor follow the estimate.
template <class V>
inline void undistortLanes(const ColourCameraF& c, V x0, V y0, V& x, V& y) {
    x = x0;
    y = y0;
    for (int it = 0; it < 10; ++it) {
        const V r2 = x * x + y * y;
        const V r4 = r2 * r2;
        const V icd = 1.0f / (1.0f + c.k1 * r2 + c.k2 * r4);
        x = (x0 - (2.0f * c.p1 * x0 * y0 + c.p2 * (r2 + 2.0f * x0 * x0))) * icd;
        y = (y0 - (c.p1 * (r2 + 2.0f * y0 * y0) + 2.0f * c.p2 * x0 * y0)) * icd;
    }
}

// The top-left pixel of a point's footprint: row · w + column of its projection, both truncated
// toward zero, when the point takes part (mask byte non-zero, zLo < Z < zHi) and the footprint lies
// on the grid (0 <= column < w - 1, 0 <= row < h - 1); -1 otherwise. A truncated value lies in
// [0, limit) exactly when the float lies in (-1, limit) (NaN in neither), so that only in-range
// values are converted. w and h below 2^24, each limit exact as a float.
template <class V>
inline void footprintLanes(const unsigned char* mask, V z, V column, V row, float zLo, float zHi, int w, int h,
                           int* target) {
    typedef decltype(z < z) M;
    constexpr int L = static_cast<int>(sizeof(V) / sizeof(float));
    M taking;
    for (int k = 0; k < L; ++k) taking[k] = mask[k] != 0 ? -1 : 0;
    const M ok = taking & (z > zLo) & (z < zHi) & (column > -1.0f) & (column < static_cast<float>(w - 1)) &
                 (row > -1.0f) & (row < static_cast<float>(h - 1));
    const M u = __builtin_convertvector(ok ? column : V{}, M), v = __builtin_convertvector(ok ? row : V{}, M);
    const M t = ok ? v * w + u : M{} - 1;
    __builtin_memcpy(target, &t, sizeof t);
}
inline void footprintLanes(const unsigned char* mask, float z, float column, float row, float zLo, float zHi, int w,
                           int h, int* target) {
    const bool ok = *mask != 0 && z > zLo && z < zHi && column > -1.0f && column < static_cast<float>(w - 1) &&
                    row > -1.0f && row < static_cast<float>(h - 1);
    *target = ok ? static_cast<int>(row) * w + static_cast<int>(column) : -1;
}

// Truncation toward zero: exact for every float (beyond 2^23 every float is an integer already;
// NaN and infinities stay themselves). Only the sign of a zero result may differ from truncf's,
// which no use here can see.
inline float truncLanes(float v) { return __builtin_truncf(v); }
template <class V>
inline V truncLanes(V v) {
    typedef decltype(v < v) M;
    const M small = (v < 0.0f ? -v : v) < 8388608.0f;
    const V inRange = small ? v : V{};
    return small ? __builtin_convertvector(__builtin_convertvector(inRange, M), V) : v;
}

// Depth of a pixel from its candidates z0 .. z3 in visiting order, of which the first n (1 to 4)
// are its own: one candidate is the depth; of more, those less than 15 behind the truncated
// nearest one are averaged (summed in order, then divided by their count). The nearest is chosen
// as std::min chooses, and a candidate left out adds +0 to the sum, which never changes it (the sum
// starts at +0).
template <class V>
inline V depthLanes(V z0, V z1, V z2, V z3, V n) {
    V nearest = z0;
    nearest = ((n > 1.0f) & (z1 < nearest)) ? z1 : nearest;
    nearest = ((n > 2.0f) & (z2 < nearest)) ? z2 : nearest;
    nearest = ((n > 3.0f) & (z3 < nearest)) ? z3 : nearest;
    const V m = truncLanes(nearest);
    const V zero = V{}, one = zero + 1.0f;
    V sum = zero, taken = zero;
    const auto q0 = z0 - m < 15.0f;
    sum = sum + (q0 ? z0 : zero);
    taken = taken + (q0 ? one : zero);
    const auto q1 = (n > 1.0f) & (z1 - m < 15.0f);
    sum = sum + (q1 ? z1 : zero);
    taken = taken + (q1 ? one : zero);
    const auto q2 = (n > 2.0f) & (z2 - m < 15.0f);
    sum = sum + (q2 ? z2 : zero);
    taken = taken + (q2 ? one : zero);
    const auto q3 = (n > 3.0f) & (z3 - m < 15.0f);
    sum = sum + (q3 ? z3 : zero);
    taken = taken + (q3 ? one : zero);
    const V mean = sum / taken;
    return n == 1.0f ? z0 : mean;
}

// One pixel of a row: count[c] candidates z[0][c] .. z[3][c] (0: nothing lands on the pixel, its
// X, Y, Z become 0), x[c], y[c] its undistorted normalised position.
template <class V>
inline void depthPixelLanes(const float* const (&z)[4], const float* count, const float* x, const float* y,
                            float* X, float* Y, float* Z, int c) {
    const V n = loadLanes<V>(count + c);
    const V d = depthLanes<V>(loadLanes<V>(z[0] + c), loadLanes<V>(z[1] + c), loadLanes<V>(z[2] + c),
                              loadLanes<V>(z[3] + c), n);
    const auto none = n == 0.0f;
    const V zero = V{};
    storeLanes(X + c, none ? zero : loadLanes<V>(x + c) * d);
    storeLanes(Y + c, none ? zero : loadLanes<V>(y + c) * d);
    storeLanes(Z + c, none ? zero : d);
}

// undistortLanes of two vectors of columns a and b in one loop.
template <class V>
inline void undistortLanes2(const ColourCameraF& c, V x0a, V x0b, V y0, V& xa, V& ya, V& xb, V& yb) {
    xa = x0a;
    ya = y0;
    xb = x0b;
    yb = y0;
    for (int it = 0; it < 10; ++it) {
        const V r2a = xa * xa + ya * ya, r2b = xb * xb + yb * yb;
        const V r4a = r2a * r2a, r4b = r2b * r2b;
        const V icda = 1.0f / (1.0f + c.k1 * r2a + c.k2 * r4a), icdb = 1.0f / (1.0f + c.k1 * r2b + c.k2 * r4b);
        xa = (x0a - (2.0f * c.p1 * x0a * y0 + c.p2 * (r2a + 2.0f * x0a * x0a))) * icda;
        ya = (y0 - (c.p1 * (r2a + 2.0f * y0 * y0) + 2.0f * c.p2 * x0a * y0)) * icda;
        xb = (x0b - (2.0f * c.p1 * x0b * y0 + c.p2 * (r2b + 2.0f * x0b * x0b))) * icdb;
        yb = (y0 - (c.p1 * (r2b + 2.0f * y0 * y0) + 2.0f * c.p2 * x0b * y0)) * icdb;
    }
}

// Whole vectors of V over columns [0, w); returns the first column not done.
template <class V>
inline int projectRowLanes(const ColourCameraF& cam, const float* X, const float* Y, const float* Z, float* zPrime,
                           float* column, float* row, int w) {
    constexpr int L = static_cast<int>(sizeof(V) / sizeof(float));
    int c = 0;
    for (; c + L <= w; c += L) {
        V zp, u, v;
        projectLanes<V>(cam, loadLanes<V>(X + c), loadLanes<V>(Y + c), loadLanes<V>(Z + c), zp, u, v);
        storeLanes(zPrime + c, zp);
        storeLanes(column + c, u);
        storeLanes(row + c, v);
    }
    return c;
}

template <class V>
inline int undistortRowLanes(const ColourCameraF& cam, const float* x0, float y0, float* x, float* y, int w) {
    constexpr int L = static_cast<int>(sizeof(V) / sizeof(float));
    const V y0v = V{} + y0;
    int c = 0;
    for (; c + 2 * L <= w; c += 2 * L) {
        // Two independent chains in flight hide the divisions' latency.
        V xa, ya, xb, yb;
        undistortLanes2<V>(cam, loadLanes<V>(x0 + c), loadLanes<V>(x0 + c + L), y0v, xa, ya, xb, yb);
        storeLanes(x + c, xa);
        storeLanes(y + c, ya);
        storeLanes(x + c + L, xb);
        storeLanes(y + c + L, yb);
    }
    for (; c + L <= w; c += L) {
        V xv, yv;
        undistortLanes<V>(cam, loadLanes<V>(x0 + c), y0v, xv, yv);
        storeLanes(x + c, xv);
        storeLanes(y + c, yv);
    }
    return c;
}

template <class V>
inline int footprintRowLanes(const unsigned char* mask, const float* Z, const float* column, const float* row,
                             float zLo, float zHi, int w, int h, int* target) {
    constexpr int L = static_cast<int>(sizeof(V) / sizeof(float));
    int c = 0;
    for (; c + L <= w; c += L)
        footprintLanes<V>(mask + c, loadLanes<V>(Z + c), loadLanes<V>(column + c), loadLanes<V>(row + c), zLo, zHi, w,
                          h, target + c);
    return c;
}

template <class V>
inline int depthRowLanes(const float* const (&z)[4], const float* count, const float* x, const float* y, float* X,
                         float* Y, float* Z, int w) {
    constexpr int L = static_cast<int>(sizeof(V) / sizeof(float));
    int c = 0;
    for (; c + L <= w; c += L) depthPixelLanes<V>(z, count, x, y, X, Y, Z, c);
    return c;
}

}  // namespace
}  // namespace lanes
}  // namespace imaging
}  // namespace XELORAALGO

#endif
