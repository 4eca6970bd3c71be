// Inputs and outputs of xelora-scan's commands: the simulation options, pattern folders, ground-truth
// folders and the files a structured-light or laser-line command writes.
//
// Readers throw InputError (file or option, reason); writers write atomically (ScanIO.h).
#ifndef XELORA_TOOLS_SCAN_COMMANDIO_H
#define XELORA_TOOLS_SCAN_COMMANDIO_H

#include <cstdint>
#include <string>
#include <vector>

#include "Pipeline.h"
#include "Render.h"
#include "SensorHead.h"
#include "SimScene.h"

namespace xscan {

struct SimOptions {
    std::string scene = "default";
    int width = 1280, height = 1024;
    double noise = 1.0;
    double baseline = 150.0;  // mm
};

// Checks the sizes and scene name (InputError on a bad value).
void validate(const SimOptions& sim);
// The virtual sensor head, its scene and the render options (noise) that the simulation options
// describe.
struct Simulation {
    xsim::HeadOptions headOptions;
    xsim::SensorHead head;
    xsim::Scene scene;
    xsim::RenderOptions render;
};
void prepareSimulation(const SimOptions& sim, Simulation& out);

std::string joinPath(const std::string& a, const std::string& b);

// The 11 or 18 PNG files of a folder, in file-name order, as width x height grey planes.
std::vector<Plane8> readPatternFolder(const std::string& dir, int width, int height);
// The library's banded operations need a size that is a multiple of 8 in both directions.
void checkCalibrationSize(const Calibration& c, const std::string& file);

// Ground truth written by `simulate`: depth.pfm (camera 1's undistorted grid, mm), seen.png and
// laser_seen.png; absent (present == false) for an empty folder name.
struct Truth {
    bool present = false;
    std::vector<float> depth;
    std::vector<std::uint8_t> seen, laserSeen;
};
Truth readTruth(const std::string& dir, int width, int height);

// Writes cloud.ply, depth.png (16-bit, kDepthUnitsPerMm units per mm, 0 = no point) and
// depth_preview.png of a structured-light result into `folder`.
constexpr double kDepthUnitsPerMm = 50.0;  // 0.02 mm per unit, up to 1310 mm
void writeStructuredOutputs(const std::string& folder, const StructuredResult& result);
// Writes laser_profile.ply (the valid profile points, red) into `folder`.
void writeLaserOutputs(const std::string& folder, const LaserResult& result);
// Colour-mapped preview of a depth map (near = warm, far = cool, no point = black), RGB bytes; the
// colour range spans the 1st to the 99th percentile of the valid depths.
std::vector<std::uint8_t> depthPreview(const std::vector<float>& Z, const std::vector<std::uint8_t>& valid);

}  // namespace xscan

#endif
