// Pinhole-plus-distortion cameras of the virtual sensor head.
#include "SimCamera.h"

#include <cmath>

namespace xsim {

void distortNormalised(const Lens& L, double x, double y, double& xd, double& yd) {
    const double r2 = x * x + y * y;
    const double radial = 1 + L.k1 * r2 + L.k2 * r2 * r2 + L.k3 * r2 * r2 * r2;
    xd = radial * x + 2 * L.p1 * x * y + L.p2 * (r2 + 2 * x * x);
    yd = radial * y + L.p1 * (r2 + 2 * y * y) + 2 * L.p2 * x * y;
}

void undistortNormalised(const Lens& L, double xd, double yd, double& x, double& y) {
    // Newton's method on distortNormalised(x, y) = (xd, yd), starting from the distorted point.
    x = xd;
    y = yd;
    for (int it = 0; it < 30; ++it) {
        const double r2 = x * x + y * y;
        const double radial = 1 + L.k1 * r2 + L.k2 * r2 * r2 + L.k3 * r2 * r2 * r2;
        const double dRadial = L.k1 + 2 * L.k2 * r2 + 3 * L.k3 * r2 * r2;  // d radial / d r2
        const double fx = radial * x + 2 * L.p1 * x * y + L.p2 * (r2 + 2 * x * x) - xd;
        const double fy = radial * y + L.p1 * (r2 + 2 * y * y) + 2 * L.p2 * x * y - yd;
        const double jxx = radial + 2 * x * x * dRadial + 2 * L.p1 * y + 6 * L.p2 * x;
        const double jxy = 2 * x * y * dRadial + 2 * L.p1 * x + 2 * L.p2 * y;
        const double jyy = radial + 2 * y * y * dRadial + 6 * L.p1 * y + 2 * L.p2 * x;
        const double det = jxx * jyy - jxy * jxy;
        if (!(std::fabs(det) > 1e-300)) break;
        const double dx = (fx * jyy - fy * jxy) / det;
        const double dy = (fy * jxx - fx * jxy) / det;
        x -= dx;
        y -= dy;
        // Quadratic convergence: after a step below 1e-9 the remaining error is of order 1e-18.
        if (std::fabs(dx) + std::fabs(dy) < 1e-9) break;
    }
}

bool Camera::projectPinhole(const Vec3& w, double& u, double& v) const {
    const Vec3 c = toCamera(w);
    if (c.z <= 1e-9) return false;
    u = lens.fx * (c.x / c.z) + lens.cx;
    v = lens.fy * (c.y / c.z) + lens.cy;
    return true;
}

bool Camera::project(const Vec3& w, double& u, double& v) const {
    const Vec3 c = toCamera(w);
    if (c.z <= 1e-9) return false;
    double xd, yd;
    distortNormalised(lens, c.x / c.z, c.y / c.z, xd, yd);
    u = lens.fx * xd + lens.cx;
    v = lens.fy * yd + lens.cy;
    return true;
}

Vec3 Camera::rayThroughPinholePixel(double u, double v) const {
    const Vec3 d((u - lens.cx) / lens.fx, (v - lens.cy) / lens.fy, 1.0);
    return normalized(directionToRig(d));
}

Vec3 Camera::rayThroughPixel(double u, double v) const {
    double x, y;
    undistortNormalised(lens, (u - lens.cx) / lens.fx, (v - lens.cy) / lens.fy, x, y);
    return normalized(directionToRig(Vec3(x, y, 1.0)));
}

Mat3 lookAt(const Vec3& from, const Vec3& to) {
    const Vec3 z = normalized(to - from);
    const Vec3 x = normalized(cross(Vec3(0, 1, 0), z));
    const Vec3 y = cross(z, x);
    Mat3 r;
    r.m[0] = x.x; r.m[1] = x.y; r.m[2] = x.z;
    r.m[3] = y.x; r.m[4] = y.y; r.m[5] = y.z;
    r.m[6] = z.x; r.m[7] = z.y; r.m[8] = z.z;
    return r;
}

}  // namespace xsim
