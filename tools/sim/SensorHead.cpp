// Construction of the virtual sensor head and its calibration record.
#include "SensorHead.h"

#include <cmath>
#include <limits>

namespace xsim {
namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kDeg = kPi / 180.0;

void putMat(double* dst, const Mat3& m) {
    for (int i = 0; i < 9; ++i) dst[i] = m.m[i];
}
void putVec(double* dst, const Vec3& v) {
    dst[0] = v.x;
    dst[1] = v.y;
    dst[2] = v.z;
}
void putK(double* dst, const Lens& L) {
    const double k[9] = {L.fx, 0, L.cx, 0, L.fy, L.cy, 0, 0, 1};
    for (int i = 0; i < 9; ++i) dst[i] = k[i];
}
void putD(double* dst, const Lens& L) {
    dst[0] = L.k1;
    dst[1] = L.k2;
    dst[2] = L.p1;
    dst[3] = L.p2;
    dst[4] = L.k3;
}
Mat3 kInverse(const Lens& L) {
    Mat3 k;
    k.m[0] = 1 / L.fx; k.m[1] = 0;        k.m[2] = -L.cx / L.fx;
    k.m[3] = 0;        k.m[4] = 1 / L.fy; k.m[5] = -L.cy / L.fy;
    k.m[6] = 0;        k.m[7] = 0;        k.m[8] = 1;
    return k;
}
Mat3 skew(const Vec3& t) {
    Mat3 s;
    s.m[0] = 0;     s.m[1] = -t.z; s.m[2] = t.y;
    s.m[3] = t.z;   s.m[4] = 0;    s.m[5] = -t.x;
    s.m[6] = -t.y;  s.m[7] = t.x;  s.m[8] = 0;
    return s;
}

}  // namespace

SensorHead SensorHead::make(const HeadOptions& o) {
    SensorHead h;
    h.options = o;
    const double s = o.width / 1280.0;  // keeps the field of view at any image size
    const double D = o.workingDistance;
    const Vec3 target(0, 0, D);

    Camera& c1 = h.cam1;
    c1.width = o.width;
    c1.height = o.height;
    c1.lens.fx = c1.lens.fy = 2500.0 * s;  // 12 mm / 0.0048 mm
    c1.lens.cx = (o.width - 1) * 0.5 + 3.5 * s;
    c1.lens.cy = (o.height - 1) * 0.5 - 2.25 * s;
    c1.lens.k1 = -0.060; c1.lens.k2 = 0.090; c1.lens.p1 = 3.0e-4; c1.lens.p2 = -2.0e-4; c1.lens.k3 = 0.0;
    c1.C = Vec3(-o.baseline * 0.5, 0.0, 0.0);
    c1.R = rotZ(-0.03 * kDeg) * lookAt(c1.C, target);

    Camera& c2 = h.cam2;
    c2.width = o.width;
    c2.height = o.height;
    c2.lens.fx = c2.lens.fy = 2500.0 * 1.002 * s;
    c2.lens.cx = (o.width - 1) * 0.5 - 2.75 * s;
    c2.lens.cy = (o.height - 1) * 0.5 + 1.5 * s;
    c2.lens.k1 = -0.055; c2.lens.k2 = 0.080; c2.lens.p1 = -2.0e-4; c2.lens.p2 = 1.5e-4; c2.lens.k3 = 0.0;
    c2.C = Vec3(o.baseline * 0.5, 0.25, 0.0);
    c2.R = rotZ(0.08 * kDeg) * rotX(-0.05 * kDeg) * lookAt(c2.C, target);

    Camera& p = h.projector;
    p.width = 1280;
    p.height = 1140;
    p.lens.fx = p.lens.fy = 1280.0 / 300.0 * D;  // 300 mm wide at the working distance
    p.lens.cx = 640.0;
    p.lens.cy = 570.0;
    p.C = Vec3(0, 0, 0);
    p.R = lookAt(p.C, target);

    Camera& cc = h.colour;
    cc.width = o.width;
    cc.height = o.height;
    cc.lens.fx = cc.lens.fy = 2200.0 * s;
    cc.lens.cx = (o.width - 1) * 0.5 + 1.0 * s;
    cc.lens.cy = (o.height - 1) * 0.5 - 1.0 * s;
    cc.lens.k1 = -0.040; cc.lens.k2 = 0.030; cc.lens.p1 = 1.0e-4; cc.lens.p2 = -1.0e-4; cc.lens.k3 = 0.0;
    cc.C = Vec3(0, 45, 0);
    cc.R = lookAt(cc.C, target);

    h.laserOrigin = Vec3(0, -40, 0);
    // Vertical plane through the source and (laserX, y, D): normal perpendicular to y and to the
    // direction (laserX, 0, D).
    h.laserNormal = normalized(Vec3(D, 0, -o.laserX));
    return h;
}

double SensorHead::phaseAt(const Vec3& pt) const {
    double u, v;
    if (!projector.projectPinhole(pt, u, v)) return std::numeric_limits<double>::quiet_NaN();
    if (u < 0 || u >= projector.width || v < 0 || v >= projector.height)
        return std::numeric_limits<double>::quiet_NaN();
    return 2.0 * kPi * periods * u / projector.width;
}

XELORAALGO::tagXeloraAlgoCalibrationInfo SensorHead::calibration() const {
    XELORAALGO::tagXeloraAlgoCalibrationInfo c{};
    putK(c.K1, cam1.lens);
    putK(c.K2, cam2.lens);
    putD(c.D1, cam1.lens);
    putD(c.D2, cam2.lens);
    const Mat3 R = cam2.R * cam1.R.transposed();
    const Vec3 T = cam2.R * (cam1.C - cam2.C);
    putMat(c.R, R);
    putVec(c.T, T);
    putVec(c.Tinv, cam1.R * (cam2.C - cam1.C));
    putK(c.K3, colour.lens);
    putD(c.D3, colour.lens);
    putMat(c.R3, colour.R * cam1.R.transposed());
    putVec(c.T3, colour.R * (cam1.C - colour.C));
    putMat(c.RLine, R);
    putVec(c.TLine, T);
    const Mat3 F = kInverse(cam2.lens).transposed() * skew(T) * R * kInverse(cam1.lens);
    putMat(c.F, F);
    return c;
}

}  // namespace xsim
