// xelora-scan structured: a structured-light scan of 11 or 18 pattern PNGs per camera, with an
// optional colour image and an optional ground-truth folder for an accuracy report.
#include "Commands.h"

#include <cmath>

#include "CommandIO.h"
#include "Report.h"
#include "ScanIO.h"

namespace xscan {

int runStructuredCmd(const StructuredCmdOptions& o, std::ostream& out) {
    const Calibration calib = readCalibrationJson(o.calib);
    checkCalibrationSize(calib, o.calib);
    const auto cam1 = readPatternFolder(o.cam1, calib.width, calib.height);
    const auto cam2 = readPatternFolder(o.cam2, calib.width, calib.height);
    if (cam1.size() != cam2.size())
        throw InputError(o.cam2, "holds " + std::to_string(cam2.size()) + " images but " + o.cam1 + " holds " +
                                     std::to_string(cam1.size()));
    std::vector<std::uint8_t> colour;
    if (!o.colour.empty()) colour = readRgbPng(o.colour, calib.width, calib.height);
    const Truth truth = readTruth(o.truth, calib.width, calib.height);
    makeFolder(o.out);
    const StructuredResult sr = runStructured(calib, cam1, cam2, colour, StructuredOptions());
    out << "structured light: " << cam1.size() << "-plane sets, " << calib.width << " x " << calib.height << "\n";
    printTimings(out, sr.timings);
    if (o.truth.empty()) out << "  points: " << withCommas(sr.count) << "\n";
    writeStructuredOutputs(o.out, sr);
    Json rep;
    rep["command"] = "structured";
    rep["inputs"] = {{"cam1", o.cam1}, {"cam2", o.cam2}, {"calib", o.calib}, {"colour", o.colour}};
    rep["image"] = {{"width", calib.width}, {"height", calib.height}};
    rep["pattern_planes"] = cam1.size();
    rep["structured"] = structuredJson(sr);
    if (truth.present) {
        const DepthAccuracy da = depthAccuracy(sr.Z, sr.valid, truth.depth, truth.seen);
        printDepthAccuracy(out, da, false);
        rep["structured"]["accuracy"] = depthAccuracyJson(da);
    }
    rep["outputs"] = outputsJson(true, false);
    writeFileAtomic(joinPath(o.out, "report.json"), rep.dump(2) + "\n");
    out << "wrote " << joinPath(o.out, "") << ": cloud.ply, depth.png, depth_preview.png, report.json\n";
    return 0;
}

}  // namespace xscan
