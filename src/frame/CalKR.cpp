// CalKR: stereo geometry derived from the calibration record.
//
// Inputs: engine.calib (K1, K2, R, T, Tinv), engine.roi, downsampleStep s, downsampleOffset o.
// Outputs (engine-owned): cx1, cy1, cx2, cy2, focal1Mm, focal2Mm (mm), pixelPitch (kPixelPitchMm, 0.0048 mm),
// epipole1X/Y and epipole2X/Y (sensor pixels), phaseBucketWidth, angleMin, angleStep (radians), and
// the w x h tables mappedLineSlope, epipoleLineSlope, mappedLineAngle, epipoleLineAngle (float) and
// lineIndexMap (double: fractional epipolar-line index of each pixel).
#include <algorithm>
#include <cmath>

#include "frame.h"
#include "frame/CameraModel.h"

namespace XELORAALGO {
namespace frame {

void CalKR(AlgoEngine& e) {
    const int w = e.roi.width;
    const int h = e.roi.height;
    const std::size_t n = e.pixelCount();
    const int s = e.downsampleStep;
    const float o = e.downsampleOffset;
    const auto& c = e.calib;

    e.mappedLineSlope.assign(n, 0.0f);
    e.epipoleLineSlope.assign(n, 0.0f);
    e.mappedLineAngle.assign(n, 0.0f);
    e.epipoleLineAngle.assign(n, 0.0f);

    e.pixelPitch = kPixelPitchMm;
    e.cx1 = c.K1[2];
    e.cy1 = c.K1[5];
    e.cx2 = c.K2[2];
    e.cy2 = c.K2[5];
    e.focal1Mm = focalLengthMm(c.K1);
    e.focal2Mm = focalLengthMm(c.K2);

    e.epipole1X = (c.Tinv[0] / c.Tinv[2] * e.focal1Mm) / e.pixelPitch + e.cx1;
    e.epipole1Y = (c.Tinv[1] / c.Tinv[2] * e.focal1Mm) / e.pixelPitch + e.cy1;
    e.epipole2X = (c.T[0] / c.T[2] * e.focal2Mm) / e.pixelPitch + e.cx2;
    e.epipole2Y = (c.T[1] / c.T[2] * e.focal2Mm) / e.pixelPitch + e.cy2;

    const double* R = c.R;
    const double* T = c.T;
    const double A = R[6] * T[1] - T[2] * R[3];
    const double B = T[2] * R[4] - T[1] * R[7];
    const double C = T[0] * R[7] - T[2] * R[1];
    const double D = R[6] * T[0] - T[2] * R[0];

    const double offX = e.roi.offsetX;
    const double offY = e.roi.offsetY;
    for (int r = 0; r < h; ++r) {
        const double ys = static_cast<double>(static_cast<float>(s * r) + o);
        for (int col = 0; col < w; ++col) {
            const std::size_t i = static_cast<std::size_t>(r) * w + col;
            const double xs = static_cast<double>(static_cast<float>(s * col) + o);
            const double m = ((e.epipole1Y - ys) - offY) / ((e.epipole1X - xs) - offX);
            const float mapped = static_cast<float>(A - B * m) / static_cast<float>(C * m + D);
            e.mappedLineSlope[i] = mapped;
            e.mappedLineAngle[i] = atanf(mapped);
            const float epi = static_cast<float>((e.epipole2Y - ys) - offY) /
                              static_cast<float>((e.epipole2X - xs) - offX);
            e.epipoleLineSlope[i] = epi;
            e.epipoleLineAngle[i] = atanf(epi);
        }
    }

    e.phaseBucketWidth = 402.1238596594944 / w;

    const double s00 = e.epipole2Y / e.epipole2X;
    const double s10 = e.epipole2Y / ((e.epipole2X - w) - 1);
    const double s01 = ((e.epipole2Y - h) - 1) / e.epipole2X;
    const double s11 = ((e.epipole2Y - h) - 1) / ((e.epipole2X - w) - 1);
    double smin = s00;
    if (s10 < smin) smin = s10;
    if (s01 < smin) smin = s01;
    if (s11 < smin) smin = s11;
    e.angleMin = std::atan(smin);
    e.angleStep = std::fabs(std::atan(1.0 / e.epipole2X));

    e.lineIndexMap.assign(n, 0.0);
    for (std::size_t i = 0; i < n; ++i)
        e.lineIndexMap[i] = (static_cast<double>(e.epipoleLineAngle[i]) - e.angleMin) / e.angleStep;
}

}  // namespace frame
}  // namespace XELORAALGO
