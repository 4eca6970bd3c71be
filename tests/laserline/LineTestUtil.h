// Synthetic laser-line scenes: Gaussian stripe images, hand-built rows, a two-camera line-profile
// rig, and projection and lens distortion of known 3D points.
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
#include "laserline/laserline.h"

namespace linetest {

using namespace XELORAALGO;
using P2 = std::array<double, 2>;
using P3 = std::array<double, 3>;
using Mask = std::vector<char>;  // row masks; B() hands them to the bool* interfaces

inline bool* B(Mask& m) { return reinterpret_cast<bool*>(m.data()); }

struct Result {  // an extractor's line list and row mask
    Point2dList pts;
    Mask mask;
};

inline AlgoEngine engine(int w, int h, int ox = 0, int oy = 0) {
    AlgoEngine e;
    e.roi = {ox, oy, w, h};
    return e;
}

// W x H image: one stripe per row, Gaussian profile (sigma, peak amplitude) centred at column
// centre(r) on a constant background, rounded to nearest.
inline std::vector<unsigned char> gaussianStripe(int W, int H, const std::function<double(int)>& centre,
                                                 double sigma, double amplitude, int background = 0) {
    std::vector<unsigned char> img(static_cast<std::size_t>(W) * H);
    for (int r = 0; r < H; ++r)
        for (int x = 0; x < W; ++x) {
            const double d = (x - centre(r)) / sigma;
            const double v = std::floor(background + amplitude * std::exp(-0.5 * d * d) + 0.5);
            img[static_cast<std::size_t>(r) * W + x] = static_cast<unsigned char>(v > 255.0 ? 255.0 : v);
        }
    return img;
}

// A black W x H image with hand-placed pixel values.
struct Scene {
    int W, H;
    std::vector<unsigned char> img;
    Scene(int w, int h) : W(w), H(h), img(static_cast<std::size_t>(w) * h, 0) {}
    void put(int r, int x0, std::initializer_list<int> vals) {
        for (int v : vals) img[static_cast<std::size_t>(r) * W + x0++] = static_cast<unsigned char>(v);
    }
    void stripe(int r, int c) { put(r, c - 2, {10, 50, 100, 50, 10}); }  // clean stripe centred on c
};

inline void mul(const double* A, const double* B, double* C) {
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c) C[3 * r + c] = A[3 * r] * B[c] + A[3 * r + 1] * B[3 + c] + A[3 * r + 2] * B[6 + c];
}

inline P2 project(const double* K, const P3& P) { return {K[0] * P[0] / P[2] + K[2], K[4] * P[1] / P[2] + K[5]}; }

// Camera 2 at centre (150, 0, 10) of camera 1, turned by 0.2 rad about y; camera-2 coordinates
// are RLine * P + TLine; F = K2^-T [T]x R K1^-1 on undistorted sensor pixels.
struct Rig {
    tagXeloraAlgoCalibrationInfo calib{};
    Rig() {
        const double f = 2000.0, c = std::cos(0.2), s = std::sin(0.2), C2[3] = {150.0, 0.0, 10.0};
        const double K1[9] = {f, 0, 640, 0, f, 512, 0, 0, 1};
        const double K2[9] = {1.05 * f, 0, 630, 0, 1.05 * f, 500, 0, 0, 1};
        const double R[9] = {c, 0, s, 0, 1, 0, -s, 0, c};
        std::memcpy(calib.K1, K1, sizeof K1);
        std::memcpy(calib.K2, K2, sizeof K2);
        std::memcpy(calib.RLine, R, sizeof R);
        double* T = calib.TLine;
        for (int r = 0; r < 3; ++r) T[r] = -(R[3 * r] * C2[0] + R[3 * r + 1] * C2[1] + R[3 * r + 2] * C2[2]);
        const double Tx[9] = {0, -T[2], T[1], T[2], 0, -T[0], -T[1], T[0], 0};
        const double K1i[9] = {1 / K1[0], 0, -K1[2] / K1[0], 0, 1 / K1[4], -K1[5] / K1[4], 0, 0, 1};
        const double K2iT[9] = {1 / K2[0], 0, 0, 0, 1 / K2[4], 0, -K2[2] / K2[0], -K2[5] / K2[4], 1};
        double E[9], tmp[9], F[9];
        mul(Tx, R, E);
        mul(E, K1i, tmp);
        mul(K2iT, tmp, F);
        // Scale to a unit epipolar-line normal at camera 1's principal point: residuals in pixels.
        const double n = std::hypot(F[0] * K1[2] + F[1] * K1[5] + F[2], F[3] * K1[2] + F[4] * K1[5] + F[5]);
        for (int k = 0; k < 9; ++k) calib.F[k] = F[k] / n;
    }
    P2 project1(const P3& P) const { return project(calib.K1, P); }
    P2 project2(const P3& P) const {
        const double* R = calib.RLine;
        P3 Q;
        for (int r = 0; r < 3; ++r) Q[r] = R[3 * r] * P[0] + R[3 * r + 1] * P[1] + R[3 * r + 2] * P[2] + calib.TLine[r];
        return project(calib.K2, Q);
    }
};

// Brown-Conrady distortion (k1, k2, p1, p2, k3) of an undistorted sensor pixel.
inline P2 distort(const double* K, const double* D, const P2& p) {
    const double x = (p[0] - K[2]) / K[0], y = (p[1] - K[5]) / K[4];
    const double r2 = x * x + y * y;
    const double radial = 1 + D[0] * r2 + D[1] * r2 * r2 + D[4] * r2 * r2 * r2;
    const double xd = x * radial + 2 * D[2] * x * y + D[3] * (r2 + 2 * x * x);
    const double yd = y * radial + D[2] * (r2 + 2 * y * y) + 2 * D[3] * x * y;
    return {xd * K[0] + K[2], yd * K[4] + K[5]};
}

inline double dist3(const P3& a, const P3& b) { return std::hypot(a[0] - b[0], a[1] - b[1], a[2] - b[2]); }

}  // namespace linetest

#endif
