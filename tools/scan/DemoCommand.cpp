// xelora-scan demo: renders the virtual head's images in memory, runs both pipelines, reports
// timings and accuracy against the ground truth (optionally the diagnosis) and writes the outputs.
#include "Commands.h"

#include <cmath>

#include "CommandIO.h"
#include "Report.h"
#include "ScanIO.h"
#include "Diagnose.h"
#include "Render.h"

namespace xscan {

int runDemo(const DemoOptions& o, std::ostream& out) {
    validate(o.sim);
    if (o.patterns != 11 && o.patterns != 18) throw InputError("--patterns", "must be 11 or 18");
    makeFolder(o.out);
    Simulation simulation;
    prepareSimulation(o.sim, simulation);
    const xsim::HeadOptions& ho = simulation.headOptions;
    const xsim::SensorHead& head = simulation.head;
    const xsim::Scene& scene = simulation.scene;
    xsim::RenderOptions& ro = simulation.render;
    ro.fringe11 = o.patterns == 11;
    ro.fringe18 = o.patterns == 18;
    // The targets are stated for the default scene at full size.
    const bool fullDefault = o.sim.scene == "default" && o.sim.width == 1280 && o.sim.height == 1024;

    out << "xelora-scan demo: virtual sensor head, scene \"" << o.sim.scene << "\", " << o.sim.width << " x "
        << o.sim.height << " pixels, baseline " << o.sim.baseline << " mm, noise level " << o.sim.noise << ", "
        << o.patterns << "-plane pattern set\n";
    const auto t0 = Clock::now();
    const xsim::Rendering img = xsim::render(head, scene, ro);
    const double renderMs = msSince(t0);
    out << "  rendering (ray casting both cameras, colour camera, ground truth) " << fmt("%.1f", renderMs) << " ms\n";

    Calibration calib;
    calib.width = ho.width;
    calib.height = ho.height;
    calib.record = head.calibration();

    StructuredOptions so;
    so.keepIntermediates = o.diagnose;
    const auto& p1 = o.patterns == 11 ? img.cam[0].fringe11 : img.cam[0].fringe18;
    const auto& p2 = o.patterns == 11 ? img.cam[1].fringe11 : img.cam[1].fringe18;
    const StructuredResult sr = runStructured(calib, p1, p2, img.colourRgb, so);
    out << "structured light\n";
    printTimings(out, sr.timings);
    const DepthAccuracy da = depthAccuracy(sr.Z, sr.valid, img.depthTruth, img.seenByAll);
    printDepthAccuracy(out, da, fullDefault);
    if (o.diagnose) diagnoseStructured(out, calib, img, sr, so, o.out);

    const LaserResult lr = runLaser(calib, img.cam[0].laser, img.cam[1].laser);
    out << "laser line\n";
    printTimings(out, lr.timings);
    const LaserAccuracy la = laserAccuracy(lr, ho.width, img.depthTruth, img.laserSeen);
    printLaserAccuracy(out, la, fullDefault);
    if (o.diagnose) diagnoseLaser(out, calib, head, scene, img, lr);

    writeStructuredOutputs(o.out, sr);
    writeLaserOutputs(o.out, lr);
    Json rep;
    rep["command"] = "demo";
    rep["scene"] = o.sim.scene;
    rep["image"] = {{"width", o.sim.width}, {"height", o.sim.height}};
    rep["noise"] = o.sim.noise;
    rep["baseline_mm"] = o.sim.baseline;
    rep["pattern_planes"] = o.patterns;
    rep["render_ms"] = std::round(renderMs * 10) / 10;
    rep["structured"] = structuredJson(sr);
    rep["structured"]["accuracy"] = depthAccuracyJson(da);
    rep["laser"] = laserJson(lr);
    rep["laser"]["accuracy"] = laserAccuracyJson(la);
    rep["outputs"] = outputsJson(true, true);
    writeFileAtomic(joinPath(o.out, "report.json"), rep.dump(2) + "\n");
    out << "wrote " << joinPath(o.out, "") << ": cloud.ply (" << withCommas(static_cast<long>(sr.cloud.size()))
        << " points, " << (sr.coloured ? "coloured" : "grey") << "), depth.png, depth_preview.png, laser_profile.ply ("
        << lr.matched << " points), report.json\n";
    return 0;
}

}  // namespace xscan
