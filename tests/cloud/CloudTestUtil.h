// Camera records and inverse projection used by the point-cloud tests.
#ifndef XELORAALGO_TESTS_CLOUD_CLOUDTESTUTIL_H
#define XELORAALGO_TESTS_CLOUD_CLOUDTESTUTIL_H

#include <array>
#include <cmath>
#include <cstring>

#include "XeloraAlgo.h"

namespace cloudtest {

struct Intrinsics {
    double fx, cx, fy, cy, k1, k2, p1, p2;
};

// Distorted pixel position of normalised (x, y), in double.
inline void projectD(const Intrinsics& c, double x, double y, double& u, double& v) {
    const double r2 = x * x + y * y;
    const double rho = 1.0 + c.k1 * r2 + c.k2 * r2 * r2;
    u = c.fx * (x * rho + 2.0 * c.p1 * x * y + c.p2 * (r2 + 2.0 * x * x)) + c.cx;
    v = c.fy * (y * rho + 2.0 * c.p2 * x * y + c.p1 * (r2 + 2.0 * y * y)) + c.cy;
}

// Normalised (x, y) whose distorted projection is (u, v): Newton's method with a numerical Jacobian,
// to about 1e-12 pixels.
inline void unproject(const Intrinsics& c, double u, double v, double& x, double& y) {
    x = (u - c.cx) / c.fx;
    y = (v - c.cy) / c.fy;
    for (int it = 0; it < 50; ++it) {
        double pu, pv, ux, vx, uy, vy;
        projectD(c, x, y, pu, pv);
        const double h = 1e-7;
        projectD(c, x + h, y, ux, vx);
        projectD(c, x, y + h, uy, vy);
        const double a = (ux - pu) / h, b = (uy - pu) / h, cc = (vx - pv) / h, d = (vy - pv) / h;
        const double eu = u - pu, ev = v - pv;
        const double det = a * d - b * cc;
        x += (d * eu - b * ev) / det;
        y += (a * ev - cc * eu) / det;
        if (std::fabs(eu) + std::fabs(ev) < 1e-12) break;
    }
}

inline void setCamera(double* K, double* D, const Intrinsics& c) {
    K[0] = c.fx;
    K[2] = c.cx;
    K[4] = c.fy;
    K[5] = c.cy;
    K[8] = 1.0;
    D[0] = c.k1;
    D[1] = c.k2;
    D[2] = c.p1;
    D[3] = c.p2;
    D[4] = 0.37;  // never read
}

inline XELORAALGO::tagXeloraAlgoCalibrationInfo emptyCalib() {
    XELORAALGO::tagXeloraAlgoCalibrationInfo cal;
    std::memset(&cal, 0, sizeof cal);
    return cal;
}

// Rotation by `a` radians about the y axis, then by `b` about the x axis (row-major).
inline std::array<double, 9> rotation(double a, double b) {
    const double ca = std::cos(a), sa = std::sin(a), cb = std::cos(b), sb = std::sin(b);
    const double Ry[9] = {ca, 0, sa, 0, 1, 0, -sa, 0, ca};
    const double Rx[9] = {1, 0, 0, 0, cb, -sb, 0, sb, cb};
    std::array<double, 9> R{};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            for (int k = 0; k < 3; ++k) R[static_cast<std::size_t>(3 * i + j)] += Rx[3 * i + k] * Ry[3 * k + j];
    return R;
}

}  // namespace cloudtest

#endif
