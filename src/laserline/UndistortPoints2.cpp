// UndistortPoints2: removes lens distortion from one camera's line list, in place.
//
// in:  engine.roi (offsetX, offsetY), engine.calib K1/D1 (firstCamera) or K2/D2;
//      points: every entry (x, y) in ROI pixel coordinates of the raw (distorted) image.
// out: points: every entry replaced by its undistorted SENSOR pixel position (u*fx + cx, v*fy + cy);
//      the ROI offset stays added. Entries (0, 0) of rows without a line are transformed as well.
// All arithmetic in double; the inverse of the distortion is found by 5 fixed-point iterations.
#include "frame/CameraModel.h"
#include "laserline.h"

namespace XELORAALGO {
namespace laserline {

void UndistortPoints2(const AlgoEngine& engine, bool firstCamera, Point2dList& points) {
    const Lens<double> L = measurementLens<double>(engine.calib, firstCamera);
    const double ox = static_cast<double>(engine.roi.offsetX);
    const double oy = static_cast<double>(engine.roi.offsetY);
    for (auto& p : points) {
        const double xd = (p[0] + ox - L.cx) / L.fx;
        const double yd = (p[1] + oy - L.cy) / L.fy;
        double u, v;
        undistortIterated(L, xd, yd, u, v);
        p[0] = u * L.fx + L.cx;
        p[1] = v * L.fy + L.cy;
    }
}

}  // namespace laserline
}  // namespace XELORAALGO
