// Pinhole cameras with Brown-Conrady lens distortion, as the virtual sensor head uses them.
//
// Pixel coordinates: (u, v) = (column, row) in sensor pixels, the centre of pixel (c, r) at exactly
// (c, r); the library uses the same convention. Distortion maps undistorted normalised coordinates
// (x, y) to distorted ones with the same five-coefficient model as the library's rectification maps:
//   r2 = x^2 + y^2, radial = 1 + k1 r2 + k2 r2^2 + k3 r2^3,
//   xd = radial x + 2 p1 x y + p2 (r2 + 2 x^2), yd = radial y + p1 (r2 + 2 y^2) + 2 p2 x y.
#ifndef XELORA_TOOLS_SIM_SIMCAMERA_H
#define XELORA_TOOLS_SIM_SIMCAMERA_H

#include "SimMath.h"

namespace xsim {

struct Lens {
    double fx = 1, fy = 1, cx = 0, cy = 0;  // pixels
    double k1 = 0, k2 = 0, p1 = 0, p2 = 0, k3 = 0;
};

// Undistorted normalised -> distorted normalised coordinates.
void distortNormalised(const Lens& lens, double x, double y, double& xd, double& yd);
// Inverse of distortNormalised by fixed-point iteration (converges to ~1e-15 for mild lenses).
void undistortNormalised(const Lens& lens, double xd, double yd, double& x, double& y);

// A camera (or the projector) placed in the rig frame. Rig -> camera: Xc = R (Xw - C).
struct Camera {
    int width = 0, height = 0;  // sensor size in pixels
    Lens lens;
    Mat3 R;  // rows: the camera's x, y, z axes in rig coordinates
    Vec3 C;  // optical centre in rig coordinates (mm)

    Vec3 toCamera(const Vec3& w) const { return R * (w - C); }
    Vec3 toRig(const Vec3& c) const { return R.transposed() * c + C; }
    Vec3 directionToRig(const Vec3& d) const { return R.transposed() * d; }

    // Distorted pixel position of a rig point; false if the point is not in front of the camera.
    bool project(const Vec3& w, double& u, double& v) const;
    // Pinhole (undistorted) pixel position of a rig point; false if not in front of the camera.
    bool projectPinhole(const Vec3& w, double& u, double& v) const;
    // Unit rig-frame direction of the ray through the distorted pixel position (u, v).
    Vec3 rayThroughPixel(double u, double v) const;
    // Unit rig-frame direction of the ray through the undistorted (pinhole) pixel position (u, v).
    Vec3 rayThroughPinholePixel(double u, double v) const;
    // True if (u, v) lies on the sensor (pixel centres 0 ... width-1, 0 ... height-1, with the
    // half-pixel border of the outer pixels).
    bool onSensor(double u, double v) const {
        return u >= -0.5 && v >= -0.5 && u < width - 0.5 && v < height - 0.5;
    }
};

// Rotation whose z axis points from `from` towards `to`, with the x axis kept horizontal (no roll);
// rows are the camera axes in rig coordinates.
Mat3 lookAt(const Vec3& from, const Vec3& to);

}  // namespace xsim

#endif
