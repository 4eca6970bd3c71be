// The virtual sensor head: two measurement cameras side by side, verged towards the working
// distance, a fringe projector between them, a laser-line projector and a colour camera.
//
// Geometry (rig frame of SimMath.h, mm): camera 1 at (-baseline/2, 0, 0) on the left, camera 2 at
// (+baseline/2, 0, 0) on the right, both aimed at (0, 0, workingDistance) with small residual
// mounting errors; the fringe projector at the origin looking along +z; the laser at (0, -40, 0)
// fanning a vertical plane through (laserX, 0, workingDistance); the colour camera at (0, 45, 0).
// The measurement cameras have 0.0048 mm pixels and a 12 mm lens at the full 1280 x 1024 size; a
// smaller image keeps the field of view (the focal length in pixels scales with the width).
//
// The projector's absolute phase is theta = 2 pi * periods * u / projector.width, u the projector
// column (continuous, 0 at the left edge), so it runs from 0 to 128 pi (64 periods) across the
// projector's field and grows from left to right in every camera.
#ifndef XELORA_TOOLS_SIM_SENSORHEAD_H
#define XELORA_TOOLS_SIM_SENSORHEAD_H

#include "SimCamera.h"
#include "XeloraAlgo.h"

namespace xsim {

struct HeadOptions {
    int width = 1280;   // measurement and colour camera image size in pixels
    int height = 1024;
    // mm between the two measurement cameras. 150 mm rather than more: the library rectifies onto rows
    // that fan out towards the epipole, and the fan (and so the share of camera 1's image that the
    // rectified grid does not reach) grows with the vergence; see the demo's --diagnose.
    double baseline = 150.0;
    double workingDistance = 500.0;   // mm
    double laserX = -55.0;            // x of the laser plane at the working distance (mm)
};

struct SensorHead {
    HeadOptions options;
    Camera cam1, cam2;   // measurement cameras (lens distortion as calibrated)
    Camera projector;    // fringe projector (no distortion)
    Camera colour;       // colour camera, same image size as the measurement cameras
    double periods = 64.0;
    Vec3 laserOrigin;    // laser source
    Vec3 laserNormal;    // unit normal of the laser plane (the plane contains laserOrigin)

    static SensorHead make(const HeadOptions& options);

    // Absolute projector phase of a rig point, NaN when the point is outside the projector's field.
    double phaseAt(const Vec3& p) const;

    // The calibration record in the library's conventions (X2 = R X1 + T, Tinv, colour pose, RLine/
    // TLine = R/T of the measurement pair, F with q^T F p = 0 for p in camera 1 and q in camera 2 in
    // undistorted pixels, T in mm). The three auxiliary fields are zero.
    XELORAALGO::tagXeloraAlgoCalibrationInfo calibration() const;
};

}  // namespace xsim

#endif
