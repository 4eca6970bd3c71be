// Small vector and matrix types of the virtual sensor head (double precision throughout).
//
// Frames: the rig frame has its origin at the fringe projector's centre, x to the right, y down and z
// towards the scene (millimetres). Every camera has its own frame with the same axis directions
// relative to its sensor (x along sensor columns, y along rows, z along the optical axis).
#ifndef XELORA_TOOLS_SIM_SIMMATH_H
#define XELORA_TOOLS_SIM_SIMMATH_H

#include <cmath>

namespace xsim {

struct Vec3 {
    double x = 0, y = 0, z = 0;
    Vec3() = default;
    Vec3(double x_, double y_, double z_) : x(x_), y(y_), z(z_) {}
    Vec3 operator+(const Vec3& o) const { return {x + o.x, y + o.y, z + o.z}; }
    Vec3 operator-(const Vec3& o) const { return {x - o.x, y - o.y, z - o.z}; }
    Vec3 operator*(double s) const { return {x * s, y * s, z * s}; }
    Vec3 operator-() const { return {-x, -y, -z}; }
};

inline double dot(const Vec3& a, const Vec3& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline Vec3 cross(const Vec3& a, const Vec3& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline double norm(const Vec3& a) { return std::sqrt(dot(a, a)); }
inline Vec3 normalized(const Vec3& a) { return a * (1.0 / norm(a)); }

// Row-major 3 x 3 matrix.
struct Mat3 {
    double m[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    double operator()(int r, int c) const { return m[3 * r + c]; }
    Vec3 operator*(const Vec3& v) const {
        return {m[0] * v.x + m[1] * v.y + m[2] * v.z, m[3] * v.x + m[4] * v.y + m[5] * v.z,
                m[6] * v.x + m[7] * v.y + m[8] * v.z};
    }
    Mat3 operator*(const Mat3& o) const {
        Mat3 r;
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j) {
                double s = 0;
                for (int k = 0; k < 3; ++k) s += m[3 * i + k] * o.m[3 * k + j];
                r.m[3 * i + j] = s;
            }
        return r;
    }
    Mat3 transposed() const {
        Mat3 r;
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j) r.m[3 * i + j] = m[3 * j + i];
        return r;
    }
};

// Rotation of vectors about the y axis by angle a (radians): x towards z for a > 0... as the usual
// right-handed matrix [[c, 0, s], [0, 1, 0], [-s, 0, c]].
inline Mat3 rotY(double a) {
    const double c = std::cos(a), s = std::sin(a);
    Mat3 r;
    r.m[0] = c; r.m[1] = 0; r.m[2] = s;
    r.m[3] = 0; r.m[4] = 1; r.m[5] = 0;
    r.m[6] = -s; r.m[7] = 0; r.m[8] = c;
    return r;
}
// Rotation about the x axis: [[1, 0, 0], [0, c, -s], [0, s, c]].
inline Mat3 rotX(double a) {
    const double c = std::cos(a), s = std::sin(a);
    Mat3 r;
    r.m[0] = 1; r.m[1] = 0; r.m[2] = 0;
    r.m[3] = 0; r.m[4] = c; r.m[5] = -s;
    r.m[6] = 0; r.m[7] = s; r.m[8] = c;
    return r;
}
// Rotation about the z axis: [[c, -s, 0], [s, c, 0], [0, 0, 1]].
inline Mat3 rotZ(double a) {
    const double c = std::cos(a), s = std::sin(a);
    Mat3 r;
    r.m[0] = c; r.m[1] = -s; r.m[2] = 0;
    r.m[3] = s; r.m[4] = c; r.m[5] = 0;
    r.m[6] = 0; r.m[7] = 0; r.m[8] = 1;
    return r;
}

}  // namespace xsim

#endif
