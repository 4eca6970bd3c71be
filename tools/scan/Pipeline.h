// The structured-light and laser-line pipelines of xelora-scan, built on the library's exported
// class, and their accuracy reports against ground truth.
//
// Images are 8-bit, width x height, row-major, and cover the ROI (offsetX, offsetY, width, height)
// of the sensor; K1/K2 are in sensor pixels. All outputs are owned by the result records.
#ifndef XELORA_TOOLS_SCAN_PIPELINE_H
#define XELORA_TOOLS_SCAN_PIPELINE_H

#include <cstdint>
#include <string>
#include <vector>

#include "XeloraAlgo.h"

namespace xscan {

using Plane8 = std::vector<std::uint8_t>;

struct Calibration {
    int width = 0, height = 0;  // image size (the ROI the images cover, pixels)
    int offsetX = 0, offsetY = 0;  // sensor position of the images' top-left pixel (ROI offset)
    XELORAALGO::tagXeloraAlgoCalibrationInfo record{};
};

struct Timing {
    std::string stage;
    double ms = 0;
};

struct StructuredOptions {
    // Triangulation-time smoothing on the rectified grid (CalPoint).
    bool bilateral = true;
    int bilateralSpatialSigma = 2;
    float bilateralRangeSigma = 0.4f;  // mm
    bool smoothing = false;
    float smoothSigma = 1.0f;
    // Depth-map filter chain on camera 1's grid.
    bool filters = true;
    // Distances in mm; 0 picks them from the pixel footprint f = (median depth) / fx1 (0.2 mm at
    // 500 mm with the 12 mm lens at full size): outlier distance 8 f, gradient limit 10 f. A point
    // survives Outlierdetect with 18 of its 7 x 7 neighbours within the outlier distance.
    int outlierRadius = 3;
    float outlierDistance = 0.0f;
    float gradientLimit = 0.0f;     // between the two neighbours of a pixel
    int fillMode = 1;               // FillingFunction level (small holes only)
    int fillSmallArea = 30, fillLargeArea = 300;
    int minDepth = 100, maxDepth = 2000;  // mm, also the depth range of the colour registration
    bool keepIntermediates = false; // keep decoded and rectified maps (diagnostics)
};

struct ColouredPoint {
    float x, y, z;
    std::uint8_t r, g, b;
};

struct StructuredResult {
    int width = 0, height = 0;
    // Point map on camera 1's (undistorted) grid after the filter chain; valid = 1 where a point is.
    std::vector<float> X, Y, Z;
    std::vector<std::uint8_t> valid;
    int count = 0;
    // Point map straight out of CalPoint (before the filter chain).
    std::vector<float> rawZ;
    std::vector<std::uint8_t> rawValid;
    // The cloud written to PLY, in camera-1 coordinates: the colour-registered points (CalRGB) with
    // the colour camera's colour when a colour image was given, else the point map with the decoded
    // average intensity as grey.
    std::vector<ColouredPoint> cloud;
    bool coloured = false;
    std::vector<Timing> timings;
    // Intermediates (only with keepIntermediates): decoded phase and mask of each camera on its own
    // grid, the same on the rectified grid, and the match mask after MatchII.
    std::vector<float> phase[2], rectPhase[2];
    std::vector<std::uint8_t> mask[2], rectMask[2], matchMask;
};

// Runs decode (11 planes: DecGrayPhase1, 18 planes: DecGrayPhase2) -> InterpCubic1/2 + InterpFlag1/2
// -> MatchI -> MatchII -> CalPoint -> filters -> CalRGB. cam1/cam2 hold 11 or 18 planes each;
// colourRgb is empty or width x height x 3 bytes.
StructuredResult runStructured(const Calibration& calib, const std::vector<Plane8>& cam1,
                               const std::vector<Plane8>& cam2, const std::vector<std::uint8_t>& colourRgb,
                               const StructuredOptions& options);

// Rectification, matching and triangulation of two decoded phase maps on the cameras' grids (mask
// nonzero where decoded), then the filter chain when options.filters: the geometry stages of
// runStructured without decoding and colour.
StructuredResult triangulatePhases(const Calibration& calib, const std::vector<float> phase[2],
                                   const std::vector<std::uint8_t> mask[2], const StructuredOptions& options);

struct LaserResult {
    int height = 0;
    XELORAALGO::Point2dList points1, points2;  // undistorted sensor pixels (UndistortPoints2)
    std::vector<std::uint8_t> valid;           // rows with a profile point
    std::vector<int> matches;
    XELORAALGO::Point3dList profile;           // one entry per row, (0, 0, 0) where none
    int rows1 = 0, rows2 = 0, matched = 0;     // rows with a line in each camera, matched rows
    std::vector<Timing> timings;
};

// lineExtract5 on both images -> UndistortPoints2 -> MatchLine -> Calpoint.
LaserResult runLaser(const Calibration& calib, const Plane8& image1, const Plane8& image2);

struct DepthAccuracy {
    long valid = 0;        // valid points
    long seen = 0;         // pixels seen by both cameras and lit by the projector
    long validSeen = 0;    // valid points among them
    long compared = 0;     // valid points with a ground-truth depth
    double completeness = 0, median = 0, rms = 0, p95 = 0;  // absolute depth errors (mm)
    double bias = 0;       // mean signed error (mm)
    long gross = 0;        // points more than 1 mm off
};

// Compares Z (0 = no point) with the ground-truth depth on the same grid.
DepthAccuracy depthAccuracy(const std::vector<float>& Z, const std::vector<std::uint8_t>& valid,
                            const std::vector<float>& truth, const std::vector<std::uint8_t>& seen);

struct LaserAccuracy {
    long rowsVisible = 0;  // rows where the stripe is visible in both cameras (ground truth)
    long rowsMeasured = 0; // of those, rows with a profile point
    long compared = 0;     // profile points with a ground-truth depth
    double median = 0, rms = 0, p95 = 0, maxAbs = 0, bias = 0;
};

// Errors of the profile along camera 1's rays: the ground-truth depth is read from `truth` (camera
// 1's pinhole grid) by bilinear interpolation at the undistorted stripe position.
LaserAccuracy laserAccuracy(const LaserResult& laser, int width, const std::vector<float>& truth,
                            const std::vector<std::uint8_t>& laserSeen);

}  // namespace xscan

#endif
