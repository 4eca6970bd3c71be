// CalRectifyMap1 / CalRectifyMap2: rectification and undistortion maps.
//
// Output tables (engine-owned, w x h doubles each): for every pixel of the output grid, the
// position in ROI pixel units ((sensor position - ROI offset) / downsampleStep) on the camera's
// distorted raw image. Camera 1 uses K1/D1, camera 2 uses K2/D2, read from engine.calib.
#include <vector>

#include "frame.h"
#include "frame/CameraModel.h"

namespace XELORAALGO {
namespace frame {
namespace {

// Distorts normalised (x, y) and converts to ROI pixel units. withK3 selects the 5-term model.
inline void storeMapEntry(const Lens<double>& L, bool withK3, double x, double y, double offX, double offY,
                          int step, double& mapX, double& mapY) {
    double xd, yd;
    distortForMaps(L, withK3, x, y, xd, yd);
    mapX = (xd * L.fx + L.cx - offX) / step;
    mapY = (yd * L.fy + L.cy - offY) / step;
}

}  // namespace

void CalRectifyMap1(AlgoEngine& e, bool firstCamera) {
    const int w = e.roi.width;
    const int h = e.roi.height;
    const std::size_t n = e.pixelCount();
    const Lens<double> L = measurementLens<double>(e.calib, firstCamera);
    const std::vector<float>& angle = firstCamera ? e.epipoleLineAngle : e.mappedLineAngle;
    std::vector<double>& mapX = firstCamera ? e.rectMapX1 : e.rectMapX2;
    std::vector<double>& mapY = firstCamera ? e.rectMapY1 : e.rectMapY2;
    mapX.assign(n, 0.0);
    mapY.assign(n, 0.0);

    const double invFx = 1 / L.fx;
    const double invFy = 1 / L.fy;
    const double offX = e.roi.offsetX;
    const double offY = e.roi.offsetY;
    const float offXf = static_cast<float>(e.roi.offsetX);
    for (int r = 0; r < h; ++r) {
        for (int c = 0; c < w; ++c) {
            const std::size_t i = static_cast<std::size_t>(r) * w + c;
            const double line = (static_cast<double>(angle[i]) - e.angleMin) / e.angleStep;
            const double xs =
                static_cast<double>(static_cast<float>(e.downsampleStep * c) + e.downsampleOffset + offXf);
            const double x = (xs - L.cx) * invFx;
            const double y = (line - L.cy) * invFy;
            storeMapEntry(L, true, x, y, offX, offY, e.downsampleStep, mapX[i], mapY[i]);
        }
    }
}

void CalRectifyMap2(AlgoEngine& e, bool firstCamera) {
    const int w = e.roi.width;
    const int h = e.roi.height;
    const std::size_t n = e.pixelCount();
    const Lens<double> L = measurementLens<double>(e.calib, firstCamera);
    std::vector<double>& mapX = firstCamera ? e.undistMapX1 : e.undistMapX2;
    std::vector<double>& mapY = firstCamera ? e.undistMapY1 : e.undistMapY2;
    mapX.assign(n, 0.0);
    mapY.assign(n, 0.0);

    const double invFx = 1 / L.fx;
    const double invFy = 1 / L.fy;
    const double offX = e.roi.offsetX;
    const double offY = e.roi.offsetY;
    for (int r = 0; r < h; ++r) {
        const double ys = static_cast<double>(e.downsampleStep * r + e.roi.offsetY);
        for (int c = 0; c < w; ++c) {
            const std::size_t i = static_cast<std::size_t>(r) * w + c;
            const double xs = static_cast<double>(e.downsampleStep * c + e.roi.offsetX);
            const double x = (xs - L.cx) * invFx;
            const double y = (ys - L.cy) * invFy;
            storeMapEntry(L, false, x, y, offX, offY, e.downsampleStep, mapX[i], mapY[i]);
        }
    }
}

}  // namespace frame
}  // namespace XELORAALGO
