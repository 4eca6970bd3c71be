// The camera model of the sensor head, for every subsystem: the pixel pitch, the lens record of a
// camera (intrinsics and distortion from the calibration record, converted to the precision an
// operation computes in), the distortion model in each evaluation order the library uses, and the
// safe conversions of a coordinate to int.
//
// The distortion model is the same everywhere: for normalised (x, y), r2 = x^2 + y^2,
//   radial = 1 + k1 r2 + k2 r2^2 (+ k3 r2^3 where the 5-term model is used),
//   x' = x radial + 2 p1 x y + p2 (r2 + 2 x^2),   y' = y radial + 2 p2 x y + p1 (r2 + 2 y^2).
// Each operation evaluates it in its own order and precision and the rounded results differ, so
// every order is a function of its own below; none may be replaced by another.
#ifndef XELORAALGO_SRC_FRAME_CAMERAMODEL_H
#define XELORAALGO_SRC_FRAME_CAMERAMODEL_H

#include <cmath>

#include "XeloraAlgo.h"

namespace XELORAALGO {

// Pixel pitch of the measurement cameras' sensors, mm.
constexpr double kPixelPitchMm = 0.0048;

// Focal length in mm of a camera matrix K (pixels): the mean of fx and fy times the pixel pitch.
inline double focalLengthMm(const double* K) { return (K[4] + K[0]) * kPixelPitchMm * 0.5; }

// Intrinsics (pixels) and distortion k1, k2, p1, p2, k3 of one camera, in T.
template <class T>
struct Lens {
    T fx, fy, cx, cy, k1, k2, p1, p2, k3;
};

// The lens of camera matrix K and distortion D (5 entries) converted to T.
template <class T>
Lens<T> lensOf(const double* K, const double* D) {
    return Lens<T>{static_cast<T>(K[0]), static_cast<T>(K[4]), static_cast<T>(K[2]), static_cast<T>(K[5]),
                   static_cast<T>(D[0]), static_cast<T>(D[1]), static_cast<T>(D[2]), static_cast<T>(D[3]),
                   static_cast<T>(D[4])};
}

// Measurement camera 1 (firstCamera) or 2, and the colour camera.
template <class T>
Lens<T> measurementLens(const tagXeloraAlgoCalibrationInfo& c, bool firstCamera) {
    return firstCamera ? lensOf<T>(c.K1, c.D1) : lensOf<T>(c.K2, c.D2);
}
template <class T>
Lens<T> colourLens(const tagXeloraAlgoCalibrationInfo& c) {
    return lensOf<T>(c.K3, c.D3);
}

// Rectification and undistortion maps (CalRectifyMap1 with k3, CalRectifyMap2 without), in double:
// radial = (k1 r2 + 1) + k2 r2 r2 (+ k3 r2 r2 r2), x' = ((2 x x + r2) p2 + radial x) + 2 p1 x y,
// y' = ((2 y y + r2) p1 + radial y) + 2 p2 x y, each left to right.
inline void distortForMaps(const Lens<double>& L, bool withK3, double x, double y, double& xd, double& yd) {
    const double r2 = y * y + x * x;
    double radial = (L.k1 * r2 + 1) + L.k2 * r2 * r2;
    if (withK3) radial = radial + L.k3 * r2 * r2 * r2;
    xd = ((2 * x * x + r2) * L.p2 + radial * x) + 2 * L.p1 * x * y;
    yd = ((2 * y * y + r2) * L.p1 + radial * y) + 2 * L.p2 * x * y;
}

// Projection to pixels with k1, k2, p1, p2 entirely in T (CalRGB, GetDepth and GetRGBpoint in float):
// r4 = r2 r2 formed first, rho = 1 + k1 r2 + k2 r4,
// column = fx (x rho + 2 p1 x y + p2 (r2 + 2 x x)) + cx, row = fy (y rho + 2 p2 x y + p1 (r2 + 2 y y)) + cy.
template <class T>
void projectPinhole(const Lens<T>& L, T x, T y, T& column, T& row) {
    const T r2 = x * x + y * y;
    const T r4 = r2 * r2;
    const T rho = T(1) + L.k1 * r2 + L.k2 * r4;
    column = L.fx * (x * rho + T(2) * L.p1 * x * y + L.p2 * (r2 + T(2) * x * x)) + L.cx;
    row = L.fy * (y * rho + T(2) * L.p2 * x * y + L.p1 * (r2 + T(2) * y * y)) + L.cy;
}

// Projection of RGB2Cloud: r2 and rho in double from the double (x, y); the other terms from x and y
// rounded to float, with 2 x x and 2 y y formed in float; the rest in double, in the order above.
inline void projectMixed(const Lens<double>& L, double x, double y, double& column, double& row) {
    const double r2 = x * x + y * y;
    const double r4 = r2 * r2;
    const double rho = 1.0 + L.k1 * r2 + L.k2 * r4;
    const float xf = static_cast<float>(x);
    const float yf = static_cast<float>(y);
    const double xs = static_cast<double>(xf);
    const double ys = static_cast<double>(yf);
    const double twoXX = static_cast<double>(2.0f * xf * xf);
    const double twoYY = static_cast<double>(2.0f * yf * yf);
    column = L.fx * (xs * rho + 2.0 * L.p1 * xs * ys + L.p2 * (r2 + twoXX)) + L.cx;
    row = L.fy * (ys * rho + 2.0 * L.p2 * xs * ys + L.p1 * (r2 + twoYY)) + L.cy;
}

// Inverse of the 5-term model (UndistortPoints2), in double: from the distorted normalised (xd, yd),
// 5 fixed-point iterations u = (xd - dx(u, v)) / radial(u, v), v likewise, starting at (xd, yd);
// r4 = r2 r2, r6 = r4 r2, the reciprocal of the radial factor taken once per iteration.
inline void undistortIterated(const Lens<double>& L, double xd, double yd, double& u, double& v) {
    u = xd;
    v = yd;
    for (int it = 0; it < 5; ++it) {
        const double r2 = u * u + v * v;
        const double r4 = r2 * r2;
        const double r6 = r4 * r2;
        const double icdist = 1.0 / (1.0 + L.k1 * r2 + L.k2 * r4 + L.k3 * r6);
        const double du = 2.0 * L.p1 * u * v + L.p2 * (r2 + 2.0 * u * u);
        const double dv = L.p1 * (r2 + 2.0 * v * v) + 2.0 * L.p2 * u * v;
        u = (xd - du) * icdist;
        v = (yd - dv) * icdist;
    }
}

// The inverse of the 4-term model that the colour registration (CalRGB) uses is written for vector
// lanes and plain floats alike in imaging/CalRGBLanes.h.

// Truncates v toward zero into out when the result fits an int; false for NaN, infinities and
// out-of-range v (tested before any conversion, whose result would be undefined).
inline bool truncToInt(double v, int& out) {
    if (!(v > -2147483649.0 && v < 2147483648.0)) return false;
    out = static_cast<int>(v);
    return true;
}

// Truncates v toward zero and stores it in `out` when the result lies in [0, limit); false otherwise
// (also for NaN and infinities), so that no out-of-range value is ever converted to int.
template <class T>
inline bool truncIndex(T v, int limit, int& out) {
    const T t = std::trunc(v);
    if (!(t >= T(0) && t < static_cast<T>(limit))) return false;
    out = static_cast<int>(t);
    return true;
}

}  // namespace XELORAALGO

#endif
