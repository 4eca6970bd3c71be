// Golden dump: one structured-light frame (both cameras decoded, resampled, matched, triangulated,
// filtered and registered to the colour camera) and one laser-line profile (extraction in both
// cameras, undistortion, matching, triangulation), rendered from known scenes.
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "Golden.h"

namespace golden {
namespace {

using XELORAALGO::Point2dList;
using XELORAALGO::Point3dList;
using XELORAALGO::XeloraAlgo;

// Brown distortion (k1, k2, p1, p2, k3) of normalised coordinates, then to pixels of K.
void distortToPixel(const double* K, const double* D, double x, double y, double& u, double& v) {
    const double r2 = x * x + y * y;
    const double radial = 1 + D[0] * r2 + D[1] * r2 * r2 + D[4] * r2 * r2 * r2;
    const double xd = x * radial + 2 * D[2] * x * y + D[3] * (r2 + 2 * x * x);
    const double yd = y * radial + D[2] * (r2 + 2 * y * y) + 2 * D[3] * x * y;
    u = xd * K[0] + K[2];
    v = yd * K[4] + K[5];
}

void storeMap(Writer& w, const std::string& t, const std::vector<float>& X, const std::vector<float>& Y,
              const std::vector<float>& Z, Mask& m) {
    w.floats(t + ".X", X);
    w.floats(t + ".Y", Y);
    w.floats(t + ".Z", Z);
    w.bools(t + ".mask", m.data(), m.n);
}

}  // namespace

void dumpFringePipeline(Writer& w) {
    const int W = 320, H = 256, ox = 40, oy = 20;
    const std::size_t n = std::size_t(W) * H;
    const double C2[3] = {10.0, 0.0, -2.0};
    auto calib = stereoHead(2500.0, ox + W / 2.0, oy + H / 2.0, 0.004, C2, true);
    // Scene in camera-1 coordinates: the plane z = 1000 + 0.1 x + 0.05 y and, in front of it, a box
    // face z = 985 - 0.02 x for -15 < x < 5, -10 < y < 12.
    const auto pointSeen = [&](bool first, std::size_t i, double P[3]) {
        const double* K = first ? calib.K1 : calib.K2;
        const double d[3] = {(double(i % W) + ox - K[2]) / K[0], (double(i / W) + oy - K[5]) / K[4], 1};
        double o[3] = {0, 0, 0}, dir[3] = {d[0], d[1], d[2]};
        for (int k = 0; k < 3 && !first; ++k) {  // X1 = R^T X2 + C2
            o[k] = C2[k];
            dir[k] = calib.R[k] * d[0] + calib.R[3 + k] * d[1] + calib.R[6 + k] * d[2];
        }
        double t = (1000.0 + 0.1 * o[0] + 0.05 * o[1] - o[2]) / (dir[2] - 0.1 * dir[0] - 0.05 * dir[1]);
        const double tb = (985.0 - 0.02 * o[0] - o[2]) / (dir[2] + 0.02 * dir[0]);
        const double bx = o[0] + tb * dir[0], by = o[1] + tb * dir[1];
        if (tb < t && bx > -15.0 && bx < 5.0 && by > -10.0 && by < 12.0) t = tb;
        for (int k = 0; k < 3; ++k) P[k] = o[k] + t * dir[k];
    };
    const double halfWidth = 0.6 * W / 2500.0 * 1000.0;
    Rng rng(0x5EED0007);
    Planes cams[2];
    for (int cam = 0; cam < 2; ++cam) {
        cams[cam] = patternPlanes(false, n, [&](std::size_t i) {
            double P[3];
            pointSeen(cam == 0, i, P);
            return 1.0 + 32 * kPi * (P[0] + halfWidth) / (2 * halfWidth);
        });
        for (auto& plane : cams[cam])
            for (auto& b : plane) b = toByte(b + rng.range(-2.0, 2.0));
    }

    XeloraAlgo a;
    auto r = roi(ox, oy, W, H);
    a.SetROIInfo(&r);
    setCalibration(a, calib);
    a.CalKR();
    for (bool first : {true, false}) a.CalRectifyMap1(first);
    Mask m1(n), m2(n), match(n);
    std::vector<float> mod(n), avg(n), p1(n), p2(n);
    auto ptr1 = pointers(cams[0]), ptr2 = pointers(cams[1]);
    a.DecGrayPhase1(m1.data(), mod.data(), avg.data(), ptr1.data(), false, false, 0, 1.0f, p1.data());
    w.floats("pipeline.fringe.cam1.modulation", mod);
    w.floats("pipeline.fringe.cam1.average", avg);
    a.DecGrayPhase1(m2.data(), mod.data(), avg.data(), ptr2.data(), false, true, 2, 1.5f, p2.data());
    w.floats("pipeline.fringe.cam2.modulation", mod);
    w.floats("pipeline.fringe.cam2.average", avg);
    w.floats("pipeline.fringe.cam1.phase", p1);
    w.floats("pipeline.fringe.cam2.phase", p2);
    w.bools("pipeline.fringe.cam1.valid", m1.data(), n);
    w.bools("pipeline.fringe.cam2.valid", m2.data(), n);
    a.InterpCubic1(p1.data());
    a.InterpFlag1(m1.data());
    a.InterpCubic2(p2.data());
    a.InterpFlag2(m2.data());
    w.floats("pipeline.fringe.rectified1", p1);
    w.floats("pipeline.fringe.rectified2", p2);
    w.bools("pipeline.fringe.rectifiedMask1", m1.data(), n);
    w.bools("pipeline.fringe.rectifiedMask2", m2.data(), n);
    a.MatchI(m1.data(), m2.data(), match.data(), p1.data(), p2.data());
    w.bools("pipeline.fringe.MatchI", match.data(), n);
    a.MatchII(m1.data(), m2.data(), match.data(), p1.data(), p2.data());
    w.bools("pipeline.fringe.MatchII", match.data(), n);

    std::vector<float> X(n), Y(n), Z(n);
    Mask mask(n);
    for (int variant = 0; variant < 2; ++variant) {
        for (std::size_t i = 0; i < n; ++i) mask[i] = match[i];
        int count = -1;
        a.CalPoint(mask.data(), X.data(), Y.data(), Z.data(), count, variant == 1, 2, 5.0f, variant == 1, 1.2f);
        storeMap(w, "pipeline.fringe.CalPoint" + std::to_string(variant), X, Y, Z, mask);
        w.ints("pipeline.fringe.CalPoint" + std::to_string(variant) + ".count", {count});
    }
    // Depth filters on the smoothed map, one after the other.
    a.MediaFilter(Z.data(), 4);
    w.floats("pipeline.fringe.MediaFilter", Z);
    a.Outlierdetect(X.data(), Y.data(), Z.data(), mask.data(), 2, 3.0f);
    storeMap(w, "pipeline.fringe.Outlierdetect", X, Y, Z, mask);
    std::vector<float> Zb = Z;
    Mask maskB(n);
    for (std::size_t i = 0; i < n; ++i) maskB[i] = mask[i];
    a.GradientFilter(Z.data(), Zb.data(), mask.data(), maskB.data(), 3.0f, 0.9f);
    storeMap(w, "pipeline.fringe.GradientFilter", X, Y, Z, mask);
    a.Bilateralfilter(Z.data(), mask.data(), 2, 10.0f);
    w.floats("pipeline.fringe.Bilateralfilter", Z);
    a.FillingFunction(X.data(), Y.data(), Z.data(), mask.data(), 3, 30, 400, 900, 1100);
    storeMap(w, "pipeline.fringe.FillingFunction", X, Y, Z, mask);
    a.CalRGB(X.data(), Y.data(), Z.data(), mask.data(), 900, 1100);
    storeMap(w, "pipeline.fringe.CalRGB", X, Y, Z, mask);
}

void dumpLinePipeline(Writer& w) {
    const int W = 320, H = 256, ox = 500, oy = 400;
    XELORAALGO::tagXeloraAlgoCalibrationInfo calib;
    std::memset(&calib, 0, sizeof calib);
    const double f = 2000.0, s = 0.2, c = std::sqrt(1 - s * s), C2[3] = {150.0, 0.0, 10.0};
    const double K1[9] = {f, 0, ox + 100.0, 0, f, oy + 128.0, 0, 0, 1};
    const double K2[9] = {1.05 * f, 0, ox + 150.0, 0, 1.05 * f, oy + 120.0, 0, 0, 1};
    const double D1[5] = {-0.03, 0.02, 0.0005, -0.0004, 0.0}, D2[5] = {0.025, -0.01, -0.0003, 0.0002, 0.001};
    const double R[9] = {c, 0, s, 0, 1, 0, -s, 0, c};
    std::memcpy(calib.K1, K1, sizeof K1);
    std::memcpy(calib.K2, K2, sizeof K2);
    std::memcpy(calib.D1, D1, sizeof D1);
    std::memcpy(calib.D2, D2, sizeof D2);
    std::memcpy(calib.RLine, R, sizeof R);
    std::memcpy(calib.R, R, sizeof R);
    double* T = calib.TLine;
    for (int r = 0; r < 3; ++r) T[r] = -(R[3 * r] * C2[0] + R[3 * r + 1] * C2[1] + R[3 * r + 2] * C2[2]);
    std::memcpy(calib.T, T, 3 * sizeof(double));
    // F = K2^-T [T]x R K1^-1, scaled to pixel residuals at camera 1's principal point.
    const double Tx[9] = {0, -T[2], T[1], T[2], 0, -T[0], -T[1], T[0], 0};
    const double K1i[9] = {1 / K1[0], 0, -K1[2] / K1[0], 0, 1 / K1[4], -K1[5] / K1[4], 0, 0, 1};
    const double K2iT[9] = {1 / K2[0], 0, 0, 0, 1 / K2[4], 0, -K2[2] / K2[0], -K2[5] / K2[4], 1};
    const auto mul = [](const double* A, const double* B, double* C) {
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j) C[3 * i + j] = A[3 * i] * B[j] + A[3 * i + 1] * B[3 + j] + A[3 * i + 2] * B[6 + j];
    };
    double E[9], tmp[9], F[9];
    mul(Tx, R, E);
    mul(E, K1i, tmp);
    mul(K2iT, tmp, F);
    const double a0 = F[0] * K1[2] + F[1] * K1[5] + F[2], a1 = F[3] * K1[2] + F[4] * K1[5] + F[5];
    const double norm = std::sqrt(a0 * a0 + a1 * a1);
    for (int k = 0; k < 9; ++k) calib.F[k] = F[k] / norm;

    // Stripe of the laser on a curved surface: P(t) = (30 + 0.004 t^2, t, 600 + 0.3 t), missing for
    // 5 < t < 8; the column of every image row by linear interpolation between samples.
    std::vector<unsigned char> images[2];
    Rng rng(0x5EED0008);
    for (int cam = 0; cam < 2; ++cam) {
        const double* K = cam ? K2 : K1;
        const double* D = cam ? D2 : D1;
        std::vector<double> column(H, -1.0);
        double pu = 0, pv = -1e9;
        for (int k = 0; k <= 9000; ++k) {
            const double t = -45.0 + 0.01 * k;
            double P[3] = {30.0 + 0.004 * t * t, t, 600.0 + 0.3 * t};
            if (cam) {
                double Q[3];
                for (int i = 0; i < 3; ++i) Q[i] = R[3 * i] * P[0] + R[3 * i + 1] * P[1] + R[3 * i + 2] * P[2] + T[i];
                std::memcpy(P, Q, sizeof Q);
            }
            double u, v;
            distortToPixel(K, D, P[0] / P[2], P[1] / P[2], u, v);
            u -= ox;
            v -= oy;
            const bool gap = t > 5.0 && t < 8.0;
            for (int row = int(std::ceil(pv)); !gap && row <= v && row < H; ++row)
                if (row >= 0 && row >= pv) column[row] = pu + (u - pu) * (row - pv) / (v - pv);
            pu = u;
            pv = gap ? -1e9 : v;
        }
        images[cam].assign(std::size_t(W) * H, 0);
        for (int row = 0; row < H; ++row)
            for (int x = 0; x < W; ++x) {
                double v = 0.0;  // black background, noise on the stripe only
                if (column[row] > 0) {
                    const double d = (x - column[row]) / 2.0, q = 1 + d * d;
                    v = 230.0 / (q * q);
                    if (v > 3.0) v += rng.range(-2.0, 2.0);
                }
                images[cam][std::size_t(row) * W + x] = toByte(v);
            }
        w.bytes("pipeline.line.image" + std::to_string(cam + 1), images[cam].data(), images[cam].size());
    }

    XeloraAlgo a;
    auto r = roi(ox, oy, W, H);
    a.SetROIInfo(&r);
    setCalibration(a, calib);
    Point2dList lists[2];
    Mask masks[2] = {Mask(H), Mask(H)};
    for (int cam = 0; cam < 2; ++cam) {
        const std::string t = "pipeline.line.cam" + std::to_string(cam + 1);
        lists[cam].assign(H, {0.0, 0.0});
        a.lineExtract4(true, images[cam].data(), lists[cam], masks[cam].data(), 0, 0, 0, 0, 0, {0, 0});
        w.points(t + ".lineExtract4", lists[cam]);
        a.UndistortPoints2(cam == 0, lists[cam]);
        w.points(t + ".UndistortPoints2", lists[cam]);
        Point2dList p5(H, {0.0, 0.0}), g1, g2;
        Mask m5(H);
        std::vector<unsigned char> lit = images[cam];
        for (auto& b : lit) b = toByte(b + 25.0);
        a.lineExtract5(lit.data(), p5, m5.data(), 0, 0, {0, 0}, 3 * (oy + 150), 3 * (oy + 60));
        w.points(t + ".lineExtract5", p5);
        a.GetCloudPoint_New_600_1(images[cam].data(), g1);
        a.GetCloudPoint_New_600_2(images[cam].data(), g2);
        w.points(t + ".GetCloudPoint_New_600_1", g1);
        w.points(t + ".GetCloudPoint_New_600_2", g2);
    }
    std::vector<int> matches(H, -1);
    a.MatchLine(lists[0], lists[1], masks[0].data(), masks[1].data(), matches);
    w.ints("pipeline.line.MatchLine", matches);
    w.bools("pipeline.line.MatchLine.mask1", masks[0].data(), H);
    Point3dList cloud, pixel, smooth;
    a.Calpoint(lists[0], lists[1], masks[0].data(), matches, cloud, pixel);
    w.points("pipeline.line.Calpoint.cloud", cloud);
    w.points("pipeline.line.Calpoint.pixelDepth", pixel);
    a.Calpoint_smooth(lists[0], lists[1], 3, masks[0].data(), matches, smooth);
    w.points("pipeline.line.Calpoint_smooth", smooth);
}

}  // namespace golden
