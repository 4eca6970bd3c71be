// Synthetic laser-line scenes for the laser-line tests: stripe images with a Gaussian profile,
// a two-camera line-profile rig, projection and lens distortion of known 3D points.
#ifndef XELORAALGO_TESTS_LASERLINE_LINETESTUTIL_H
#define XELORAALGO_TESTS_LASERLINE_LINETESTUTIL_H

#include <array>
#include <cmath>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <vector>

#include "XeloraAlgo.h"
#include "frame/AlgoEngine.h"

namespace linetest {

using XELORAALGO::AlgoEngine;
using XELORAALGO::Point2dList;
using XELORAALGO::Point3dList;

inline void setRoi(AlgoEngine& e, int w, int h, int ox = 0, int oy = 0) {
    e.roi.offsetX = ox;
    e.roi.offsetY = oy;
    e.roi.width = w;
    e.roi.height = h;
}

// W x H image, background 0, one stripe per row with a Gaussian profile of standard deviation
// `sigma` and peak `amplitude` centred at column centre(r); pixel values rounded to nearest.
inline std::vector<unsigned char> gaussianStripe(int W, int H, const std::function<double(int)>& centre,
                                                 double sigma, double amplitude, int background = 0) {
    std::vector<unsigned char> img(static_cast<std::size_t>(W) * H, static_cast<unsigned char>(background));
    for (int r = 0; r < H; ++r) {
        const double c = centre(r);
        for (int x = 0; x < W; ++x) {
            const double d = (x - c) / sigma;
            const double v = background + amplitude * std::exp(-0.5 * d * d);
            const double q = std::floor(v + 0.5);
            img[static_cast<std::size_t>(r) * W + x] = static_cast<unsigned char>(q > 255.0 ? 255.0 : q);
        }
    }
    return img;
}

// Two cameras of the line-profile head. Camera 2 sits at centre C2 (camera-1 coordinates) and
// is turned by `yaw` about the y axis (towards camera 1's view for yaw > 0); camera-2 coordinates
// are RLine * P + TLine.
struct Rig {
    XELORAALGO::tagXeloraAlgoCalibrationInfo calib;

    explicit Rig(double f = 2000.0, double yaw = 0.2, double bx = 150.0, double bz = 10.0) {
        std::memset(&calib, 0, sizeof calib);
        const double K1[9] = {f, 0, 640, 0, f, 512, 0, 0, 1};
        const double K2[9] = {f * 1.05, 0, 630, 0, f * 1.05, 500, 0, 0, 1};
        std::memcpy(calib.K1, K1, sizeof K1);
        std::memcpy(calib.K2, K2, sizeof K2);
        const double c = std::cos(yaw), s = std::sin(yaw);
        const double R[9] = {c, 0, s, 0, 1, 0, -s, 0, c};
        std::memcpy(calib.RLine, R, sizeof R);
        const double C2[3] = {bx, 0.0, bz};
        for (int r = 0; r < 3; ++r)
            calib.TLine[r] = -(R[3 * r] * C2[0] + R[3 * r + 1] * C2[1] + R[3 * r + 2] * C2[2]);
        setFundamental();
    }

    // F with q^T F p = 0 for undistorted sensor pixels p (camera 1) and q (camera 2):
    // F = K2^-T [T]x R K1^-1, scaled so that the residual near the image centre is in pixels.
    void setFundamental() {
        const double* T = calib.TLine;
        const double Tx[9] = {0, -T[2], T[1], T[2], 0, -T[0], -T[1], T[0], 0};
        double E[9];
        mul(Tx, calib.RLine, E);
        const double* K1 = calib.K1;
        const double* K2 = calib.K2;
        const double K1i[9] = {1 / K1[0], 0, -K1[2] / K1[0], 0, 1 / K1[4], -K1[5] / K1[4], 0, 0, 1};
        const double K2iT[9] = {1 / K2[0], 0, 0, 0, 1 / K2[4], 0, -K2[2] / K2[0], -K2[5] / K2[4], 1};
        double tmp[9], F[9];
        mul(E, K1i, tmp);
        mul(K2iT, tmp, F);
        // Epipolar line of camera 1's principal point; scale it to unit normal.
        const double l0 = F[0] * K1[2] + F[1] * K1[5] + F[2];
        const double l1 = F[3] * K1[2] + F[4] * K1[5] + F[5];
        const double n = std::sqrt(l0 * l0 + l1 * l1);
        for (int k = 0; k < 9; ++k) calib.F[k] = F[k] / n;
    }

    static void mul(const double* A, const double* B, double* C) {
        for (int r = 0; r < 3; ++r)
            for (int c = 0; c < 3; ++c) {
                double s = 0;
                for (int k = 0; k < 3; ++k) s += A[3 * r + k] * B[3 * k + c];
                C[3 * r + c] = s;
            }
    }

    // Undistorted sensor pixel of P in camera 1 / camera 2.
    std::array<double, 2> project1(const std::array<double, 3>& P) const {
        return {calib.K1[0] * P[0] / P[2] + calib.K1[2], calib.K1[4] * P[1] / P[2] + calib.K1[5]};
    }
    std::array<double, 2> project2(const std::array<double, 3>& P) const {
        const double* R = calib.RLine;
        const double* T = calib.TLine;
        const double X = R[0] * P[0] + R[1] * P[1] + R[2] * P[2] + T[0];
        const double Y = R[3] * P[0] + R[4] * P[1] + R[5] * P[2] + T[1];
        const double Z = R[6] * P[0] + R[7] * P[1] + R[8] * P[2] + T[2];
        return {calib.K2[0] * X / Z + calib.K2[2], calib.K2[4] * Y / Z + calib.K2[5]};
    }
};

// Brown-Conrady distortion (k1, k2, p1, p2, k3) of an undistorted sensor pixel: the forward model
// that the undistortion inverts.
inline std::array<double, 2> distort(const double* K, const double* D, const std::array<double, 2>& p) {
    const double x = (p[0] - K[2]) / K[0], y = (p[1] - K[5]) / K[4];
    const double r2 = x * x + y * y;
    const double radial = 1 + D[0] * r2 + D[1] * r2 * r2 + D[4] * r2 * r2 * r2;
    const double xd = x * radial + 2 * D[2] * x * y + D[3] * (r2 + 2 * x * x);
    const double yd = y * radial + D[2] * (r2 + 2 * y * y) + 2 * D[3] * x * y;
    return {xd * K[0] + K[2], yd * K[4] + K[5]};
}

inline double dist3(const std::array<double, 3>& a, const std::array<double, 3>& b) {
    return std::sqrt((a[0] - b[0]) * (a[0] - b[0]) + (a[1] - b[1]) * (a[1] - b[1]) + (a[2] - b[2]) * (a[2] - b[2]));
}

// A black W x H image with hand-placed pixel values.
struct Scene {
    int W, H;
    std::vector<unsigned char> img;
    Scene(int w, int h) : W(w), H(h), img(static_cast<std::size_t>(w) * h, 0) {}
    void put(int r, int x0, std::initializer_list<int> vals) {
        int x = x0;
        for (int v : vals) img[static_cast<std::size_t>(r) * W + x++] = static_cast<unsigned char>(v);
    }
    // The clean 5-pixel stripe 10, 50, 100, 50, 10 centred on column c.
    void stripe(int r, int c) { put(r, c - 2, {10, 50, 100, 50, 10}); }
};

}  // namespace linetest

#endif
