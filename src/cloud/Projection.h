// Pinhole projection with radial (k1, k2) and tangential (p1, p2) distortion, shared by the
// depth-image and colour operations. Header-only, internal to the point-cloud subsystem.
//
// For normalised (x, y): r2 = x^2 + y^2, r4 = r2 r2, rho = 1 + k1 r2 + k2 r4 (r4 formed first),
//   column = fx (x rho + 2 p1 x y + p2 (r2 + 2 x^2)) + cx,
//   row    = fy (y rho + 2 p2 x y + p1 (r2 + 2 y^2)) + cy,
// every product and sum evaluated left to right in the type of the camera record given.
#ifndef XELORAALGO_SRC_CLOUD_PROJECTION_H
#define XELORAALGO_SRC_CLOUD_PROJECTION_H

#include <cmath>

#include "frame/AlgoEngine.h"

namespace XELORAALGO {
namespace cloud {

// Intrinsics fx, cx, fy, cy and distortion k1, k2, p1, p2 of one camera, converted to T.
template <class T>
struct Camera {
    T fx, cx, fy, cy, k1, k2, p1, p2;

    Camera(const double* K, const double* D)
        : fx(static_cast<T>(K[0])), cx(static_cast<T>(K[2])), fy(static_cast<T>(K[4])), cy(static_cast<T>(K[5])),
          k1(static_cast<T>(D[0])), k2(static_cast<T>(D[1])), p1(static_cast<T>(D[2])), p2(static_cast<T>(D[3])) {}

    // Projection entirely in T.
    void project(T x, T y, T& column, T& row) const {
        const T r2 = x * x + y * y;
        const T r4 = r2 * r2;
        const T rho = T(1) + k1 * r2 + k2 * r4;
        column = fx * (x * rho + T(2) * p1 * x * y + p2 * (r2 + T(2) * x * x)) + cx;
        row = fy * (y * rho + T(2) * p2 * x * y + p1 * (r2 + T(2) * y * y)) + cy;
    }
};

// Truncates v toward zero and stores it in `out` when the result lies in [0, limit); false otherwise
// (also for NaN and infinities), so that no out-of-range value is ever converted to int.
template <class T>
inline bool truncIndex(T v, int limit, int& out) {
    const T t = std::trunc(v);
    if (!(t >= T(0) && t < static_cast<T>(limit))) return false;
    out = static_cast<int>(t);
    return true;
}

}  // namespace cloud
}  // namespace XELORAALGO

#endif
