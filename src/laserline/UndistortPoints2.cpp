// UndistortPoints2: removes lens distortion from one camera's line list, in place.
//
// in:  engine.roi (offsetX, offsetY), engine.calib K1/D1 (firstCamera) or K2/D2;
//      points: every entry (x, y) in ROI pixel coordinates of the raw (distorted) image.
// out: points: every entry replaced by its undistorted SENSOR pixel position (u*fx + cx, v*fy + cy);
//      the ROI offset stays added. Entries (0, 0) of rows without a line are transformed as well.
// All arithmetic in double; the inverse of the distortion is found by 5 fixed-point iterations.
#include "laserline.h"

namespace XELORAALGO {
namespace laserline {

void UndistortPoints2(const AlgoEngine& engine, bool firstCamera, Point2dList& points) {
    const double* K = firstCamera ? engine.calib.K1 : engine.calib.K2;
    const double* D = firstCamera ? engine.calib.D1 : engine.calib.D2;
    const double fx = K[0], cx = K[2], fy = K[4], cy = K[5];
    const double k1 = D[0], k2 = D[1], p1 = D[2], p2 = D[3], k3 = D[4];
    const double ox = static_cast<double>(engine.roi.offsetX);
    const double oy = static_cast<double>(engine.roi.offsetY);
    for (auto& p : points) {
        const double xd = (p[0] + ox - cx) / fx;
        const double yd = (p[1] + oy - cy) / fy;
        double u = xd, v = yd;
        for (int it = 0; it < 5; ++it) {
            const double r2 = u * u + v * v;
            const double r4 = r2 * r2;
            const double r6 = r4 * r2;
            const double icdist = 1.0 / (1.0 + k1 * r2 + k2 * r4 + k3 * r6);
            const double du = 2.0 * p1 * u * v + p2 * (r2 + 2.0 * u * u);
            const double dv = p1 * (r2 + 2.0 * v * v) + 2.0 * p2 * u * v;
            u = (xd - du) * icdist;
            v = (yd - dv) * icdist;
        }
        p[0] = u * fx + cx;
        p[1] = v * fy + cy;
    }
}

}  // namespace laserline
}  // namespace XELORAALGO
