// Calpoint, Calpoint_smooth: triangulation of matched line rows into a profile.
//
// in:  engine.roi.height H; engine.calib K1, K2 (fx, cx, fy, cy), RLine (entries 0,1,2,6,7,8),
//      TLine (entries 0 and 2); points1, points2: line lists of camera 1 and 2 in undistorted
//      sensor pixels (UndistortPoints2), at least H entries; mask: H bools (MatchLine's mask1);
//      matches: H ints (MatchLine's output).
// out: cloud: replaced by H entries (X, Y, Z), camera-1 coordinates in the unit of TLine, (0, 0, 0)
//      for rows without a match; pixelDepth (Calpoint only): replaced by one (x1, y1, Z) per valid
//      row, in row order.
// Triangulation: the ray of camera 1 through (x1, y1) meets the plane of camera-2 points whose
// horizontal image coordinate is x2 (camera-2 coordinates = RLine * P + TLine); y2 is not used.
// Sensor coordinates are (pixel - principal point) times the pixel pitch (mm); focal lengths are the
// mean of fx and fy times the pixel pitch.
#include <cmath>

#include "frame/CameraModel.h"
#include "laserline.h"

namespace XELORAALGO {
namespace laserline {

namespace {

double norm3(const std::array<double, 3>& a, const std::array<double, 3>& b) {
    const double dx = a[0] - b[0], dy = a[1] - b[1], dz = a[2] - b[2];
    return std::sqrt(dx * dx + dy * dy + dz * dz);
}
}  // namespace

std::array<double, 3> triangulateLinePoint(const tagXeloraAlgoCalibrationInfo& calib, double x1, double y1,
                                           double x2) {
    const double f1 = focalLengthMm(calib.K1);
    const double f2 = focalLengthMm(calib.K2);
    const double xs1 = (x1 - calib.K1[2]) * kPixelPitchMm;
    const double ys1 = (y1 - calib.K1[5]) * kPixelPitchMm;
    const double xs2 = (x2 - calib.K2[2]) * kPixelPitchMm;
    const double* R = calib.RLine;
    const double* T = calib.TLine;
    const double z = f1 * (f2 * T[0] - xs2 * T[2]) /
                     (xs2 * (R[6] * xs1 + R[7] * ys1 + R[8] * f1) - f2 * (R[0] * xs1 + R[1] * ys1 + R[2] * f1));
    return {z * xs1 / f1, z * ys1 / f1, z};
}

void Calpoint(const AlgoEngine& engine, const Point2dList& points1, const Point2dList& points2, const bool* mask,
              const std::vector<int>& matches, Point3dList& cloud, Point3dList& pixelDepth) {
    const int H = engine.roi.height;
    cloud.clear();
    pixelDepth.clear();
    for (int i = 0; i < H; ++i) {
        const auto ui = static_cast<std::size_t>(i);
        if (!mask[i]) {
            cloud.push_back({0.0, 0.0, 0.0});
            continue;
        }
        const auto& p1 = points1[ui];
        const auto& p2 = points2[static_cast<std::size_t>(matches[ui])];
        const auto P = triangulateLinePoint(engine.calib, p1[0], p1[1], p2[0]);
        cloud.push_back(P);
        pixelDepth.push_back({p1[0], p1[1], P[2]});
    }
}

void Calpoint_smooth(const AlgoEngine& engine, const Point2dList& points1, const Point2dList& points2,
                     int halfWindow, const bool* mask, const std::vector<int>& matches, Point3dList& cloud) {
    const int H = engine.roi.height;
    Point2dList smooth1(points1), smooth2(points2);
    FitLineFunction_V(smooth1, halfWindow, true);
    FitLineFunction_V(smooth2, halfWindow, true);
    cloud.clear();
    for (int i = 0; i < H; ++i) {
        const auto ui = static_cast<std::size_t>(i);
        if (!mask[i]) {
            cloud.push_back({0.0, 0.0, 0.0});
            continue;
        }
        const auto m = static_cast<std::size_t>(matches[ui]);
        const auto P = triangulateLinePoint(engine.calib, points1[ui][0], points1[ui][1], points2[m][0]);
        const auto Q = triangulateLinePoint(engine.calib, smooth1[ui][0], smooth1[ui][1], smooth2[m][0]);
        const double d = norm3(Q, P);
        if (d >= 2.0 || i == 0) {
            cloud.push_back(P);
            continue;
        }
        const std::array<double, 3> prev = cloud[ui - 1];
        const double dp = norm3(P, prev);
        const double dq = norm3(Q, prev);
        cloud.push_back((dp > dq && dq < 2.0) ? Q : P);
    }
}

}  // namespace laserline
}  // namespace XELORAALGO
