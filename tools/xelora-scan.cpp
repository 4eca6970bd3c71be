// xelora-scan: scans of a virtual sensor head (demo, simulate) and of image files (structured,
// laser) through the library's structured-light and laser-line pipelines.
//
// Exit status: 0 success, 2 bad command line or unusable input (missing or unreadable file, image of
// the wrong size or count, malformed calibration), 1 any other failure.
#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>
#include <iostream>
#include <string>

#include "Commands.h"
#include "ScanIO.h"

namespace {

// "WxH" -> width, height; false if malformed.
bool parseSize(const std::string& s, int& w, int& h) {
    const std::size_t x = s.find_first_of("xX");
    if (x == std::string::npos) return false;
    try {
        std::size_t a = 0, b = 0;
        w = std::stoi(s.substr(0, x), &a);
        h = std::stoi(s.substr(x + 1), &b);
        return a == x && b == s.size() - x - 1;
    } catch (const std::exception&) {
        return false;
    }
}

void addSimOptions(CLI::App* app, xscan::SimOptions& sim, std::string& size) {
    app->add_option("--scene", sim.scene, "scene: default (plane, hemisphere, step, slanted face), plane, hemisphere")
        ->capture_default_str();
    app->add_option("--size", size, "image size WIDTHxHEIGHT (multiples of 8; the field of view is kept)")
        ->capture_default_str();
    app->add_option("--noise", sim.noise, "sensor noise level: 0 none, 1 default")->capture_default_str();
    app->add_option("--baseline", sim.baseline, "distance between the measurement cameras (mm)")->capture_default_str();
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"xelora-scan: structured-light and laser-line scans with the XeloraAlgo library.\n"
                 "Without a subcommand it runs the demo on the virtual sensor head."};
    app.require_subcommand(0, 1);

    xscan::DemoOptions demo;
    std::string demoSize = "1280x1024";
    CLI::App* demoCmd = app.add_subcommand("demo", "render the virtual head's images in memory, run both pipelines, "
                                                   "report timings and accuracy, write the outputs");
    addSimOptions(demoCmd, demo.sim, demoSize);
    demoCmd->add_option("--out", demo.out, "output folder")->capture_default_str();
    demoCmd->add_option("--patterns", demo.patterns, "pattern set: 11 (Gray code + phase shift) or 18 (paired)")
        ->capture_default_str();
    demoCmd->add_flag("--diagnose", demo.diagnose,
                      "break the structured-light and laser-line errors down by stage (also writes "
                      "diagnosis_points.png)");

    xscan::SimulateOptions sim;
    std::string simSize = "1280x1024";
    CLI::App* simCmd = app.add_subcommand("simulate", "write the virtual head's images (PNG), calibration (JSON) and "
                                                      "ground truth to a folder");
    addSimOptions(simCmd, sim.sim, simSize);
    simCmd->add_option("--out", sim.out, "output folder")->required();

    xscan::StructuredCmdOptions st;
    CLI::App* stCmd = app.add_subcommand("structured", "structured-light scan of pattern images (11 or 18 PNGs per camera)");
    stCmd->add_option("--cam1", st.cam1, "folder of camera 1's pattern PNGs, in capture order by file name")->required();
    stCmd->add_option("--cam2", st.cam2, "folder of camera 2's pattern PNGs")->required();
    stCmd->add_option("--calib", st.calib, "calibration JSON")->required();
    stCmd->add_option("--out", st.out, "output folder")->required();
    stCmd->add_option("--colour", st.colour, "colour camera image (PNG) for a coloured cloud");
    stCmd->add_option("--truth", st.truth, "ground-truth folder written by simulate (accuracy report)");

    xscan::LaserCmdOptions ls;
    CLI::App* lsCmd = app.add_subcommand("laser", "laser-line profile from one stripe image per camera");
    lsCmd->add_option("--cam1", ls.cam1, "camera 1's stripe image (PNG)")->required();
    lsCmd->add_option("--cam2", ls.cam2, "camera 2's stripe image (PNG)")->required();
    lsCmd->add_option("--calib", ls.calib, "calibration JSON")->required();
    lsCmd->add_option("--out", ls.out, "output folder")->required();
    lsCmd->add_option("--truth", ls.truth, "ground-truth folder written by simulate (accuracy report)");

    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp& e) {
        return app.exit(e);
    } catch (const CLI::CallForAllHelp& e) {
        return app.exit(e);
    } catch (const CLI::ParseError& e) {
        app.exit(e);
        return 2;
    }

    try {
        if (*simCmd) {
            if (!parseSize(simSize, sim.sim.width, sim.sim.height))
                throw xscan::InputError("--size", "\"" + simSize + "\" is not WIDTHxHEIGHT");
            return xscan::runSimulate(sim, std::cout);
        }
        if (*stCmd) return xscan::runStructuredCmd(st, std::cout);
        if (*lsCmd) return xscan::runLaserCmd(ls, std::cout);
        if (!parseSize(demoSize, demo.sim.width, demo.sim.height))
            throw xscan::InputError("--size", "\"" + demoSize + "\" is not WIDTHxHEIGHT");
        return xscan::runDemo(demo, std::cout);
    } catch (const xscan::InputError& e) {
        std::cout.flush();
        std::cerr << "xelora-scan: error: " << e.file() << ": " << e.reason() << "\n";
        return 2;
    } catch (const std::exception& e) {
        std::cout.flush();
        std::cerr << "xelora-scan: failed: " << e.what() << "\n";
        return 1;
    }
}
