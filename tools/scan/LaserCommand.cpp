// xelora-scan laser: a laser-line profile from one stripe image per camera, with an optional
// ground-truth folder for an accuracy report.
#include "Commands.h"

#include <cmath>

#include "CommandIO.h"
#include "Report.h"
#include "ScanIO.h"

namespace xscan {

int runLaserCmd(const LaserCmdOptions& o, std::ostream& out) {
    const Calibration calib = readCalibrationJson(o.calib);
    checkCalibrationSize(calib, o.calib);
    const Plane8 a = readGreyPng(o.cam1, calib.width, calib.height);
    const Plane8 b = readGreyPng(o.cam2, calib.width, calib.height);
    const Truth truth = readTruth(o.truth, calib.width, calib.height);
    makeFolder(o.out);
    const LaserResult lr = runLaser(calib, a, b);
    out << "laser line: " << calib.width << " x " << calib.height << "\n";
    printTimings(out, lr.timings);
    out << "  profile points: " << lr.matched << " (rows with a line: camera 1 " << lr.rows1 << ", camera 2 " << lr.rows2
        << ")\n";
    writeLaserOutputs(o.out, lr);
    Json rep;
    rep["command"] = "laser";
    rep["inputs"] = {{"cam1", o.cam1}, {"cam2", o.cam2}, {"calib", o.calib}};
    rep["image"] = {{"width", calib.width}, {"height", calib.height}};
    rep["laser"] = laserJson(lr);
    if (truth.present) {
        const LaserAccuracy la = laserAccuracy(lr, calib.width, truth.depth, truth.laserSeen);
        printLaserAccuracy(out, la, false);
        rep["laser"]["accuracy"] = laserAccuracyJson(la);
    }
    rep["outputs"] = outputsJson(false, true);
    writeFileAtomic(joinPath(o.out, "report.json"), rep.dump(2) + "\n");
    out << "wrote " << joinPath(o.out, "") << ": laser_profile.ply, report.json\n";
    return 0;
}

}  // namespace xscan
