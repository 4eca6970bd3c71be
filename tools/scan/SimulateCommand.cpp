// xelora-scan simulate: writes the virtual head's pattern, laser and colour images (PNG), its
// calibration (JSON) and the ground truth into a folder, for the structured and laser commands.
#include "Commands.h"

#include <cmath>

#include "CommandIO.h"
#include "Report.h"
#include "ScanIO.h"
#include "Render.h"

namespace xscan {

int runSimulate(const SimulateOptions& o, std::ostream& out) {
    validate(o.sim);
    if (o.out.empty()) throw InputError("--out", "an output folder is required");
    Simulation simulation;
    prepareSimulation(o.sim, simulation);
    const xsim::SensorHead& head = simulation.head;
    const auto t0 = Clock::now();
    const xsim::Rendering img = xsim::render(head, simulation.scene, simulation.render);
    const int w = img.width, h = img.height;
    for (const char* sub : {"cam1", "cam2", "cam1_paired", "cam2_paired", "truth"}) makeFolder(joinPath(o.out, sub));
    char name[48];
    for (int k = 0; k < 2; ++k) {
        const std::string cam = k == 0 ? "cam1" : "cam2";
        for (std::size_t p = 0; p < img.cam[k].fringe11.size(); ++p) {
            std::snprintf(name, sizeof name, "pattern_%02zu.png", p);
            writePngGrey8(joinPath(joinPath(o.out, cam), name), img.cam[k].fringe11[p].data(), w, h);
        }
        for (std::size_t p = 0; p < img.cam[k].fringe18.size(); ++p) {
            std::snprintf(name, sizeof name, "pattern_%02zu.png", p);
            writePngGrey8(joinPath(joinPath(o.out, cam + "_paired"), name), img.cam[k].fringe18[p].data(), w, h);
        }
        writePngGrey8(joinPath(o.out, "laser" + std::to_string(k + 1) + ".png"), img.cam[k].laser.data(), w, h);
    }
    writePngRgb8(joinPath(o.out, "colour.png"), img.colourRgb.data(), w, h);
    std::vector<std::uint8_t> seen(img.seenByAll.size()), laserSeen(img.laserSeen.size());
    for (std::size_t i = 0; i < seen.size(); ++i) {
        seen[i] = img.seenByAll[i] ? 255 : 0;
        laserSeen[i] = img.laserSeen[i] ? 255 : 0;
    }
    writePfm(joinPath(o.out, "truth/depth.pfm"), img.depthTruth, w, h);
    writePngGrey8(joinPath(o.out, "truth/seen.png"), seen.data(), w, h);
    writePngGrey8(joinPath(o.out, "truth/laser_seen.png"), laserSeen.data(), w, h);
    Calibration calib;
    calib.width = w;
    calib.height = h;
    calib.record = head.calibration();
    writeCalibrationJson(joinPath(o.out, "calib.json"), calib);
    out << "simulated scene \"" << o.sim.scene << "\" at " << w << " x " << h << ", noise level " << o.sim.noise << " in "
        << fmt("%.1f", msSince(t0)) << " ms; wrote " << o.out
        << ": calib.json, cam1/ and cam2/ (11 planes each), cam1_paired/ and cam2_paired/ (18 planes each), laser1.png, "
           "laser2.png, colour.png, truth/ (depth.pfm on camera 1's undistorted grid in mm, seen.png, laser_seen.png)\n";
    return 0;
}

}  // namespace xscan
