// The subcommands of xelora-scan as functions (the program's main only parses the command line).
//
// Every command prints its report to `out`, writes its files atomically into its output folder and
// throws InputError for a problem with an input (the program then exits with status 2).
#ifndef XELORA_TOOLS_SCAN_COMMANDS_H
#define XELORA_TOOLS_SCAN_COMMANDS_H

#include <ostream>
#include <string>

#include "Pipeline.h"

namespace xscan {

struct SimOptions {
    std::string scene = "default";
    int width = 1280, height = 1024;
    double noise = 1.0;
    double baseline = 150.0;  // mm
};

struct DemoOptions {
    SimOptions sim;
    std::string out = "xelora-out";
    int patterns = 11;       // 11: DecGrayPhase1 set, 18: DecGrayPhase2 set
    bool diagnose = false;   // print where the structured-light errors come from, stage by stage
};

struct SimulateOptions {
    SimOptions sim;
    std::string out;
};

struct StructuredCmdOptions {
    std::string cam1, cam2, calib, out, colour, truth;  // colour and truth optional
};

struct LaserCmdOptions {
    std::string cam1, cam2, calib, out, truth;  // truth optional
};

// Checks the sizes and scene name (InputError on a bad value).
void validate(const SimOptions& sim);

int runDemo(const DemoOptions& options, std::ostream& out);
int runSimulate(const SimulateOptions& options, std::ostream& out);
int runStructuredCmd(const StructuredCmdOptions& options, std::ostream& out);
int runLaserCmd(const LaserCmdOptions& options, std::ostream& out);

// Writes cloud.ply, depth.png (16-bit, kDepthUnitsPerMm units per mm, 0 = no point) and
// depth_preview.png of a structured-light result into `folder`.
constexpr double kDepthUnitsPerMm = 50.0;  // 0.02 mm per unit, up to 1310 mm
void writeStructuredOutputs(const std::string& folder, const StructuredResult& result);
// Colour-mapped preview of a depth map (near = warm, far = cool, no point = black), RGB bytes.
std::vector<std::uint8_t> depthPreview(const std::vector<float>& Z, const std::vector<std::uint8_t>& valid);

}  // namespace xscan

#endif
