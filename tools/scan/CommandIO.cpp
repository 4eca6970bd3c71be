// Inputs and outputs of xelora-scan's commands (see CommandIO.h).
#include "CommandIO.h"

#include <dirent.h>

#include <algorithm>
#include <cmath>

#include "ScanIO.h"
#include "SimScene.h"
#include "Stats.h"

namespace xscan {
namespace {

std::vector<std::string> pngFilesIn(const std::string& dir) {
    DIR* d = opendir(dir.c_str());
    if (!d) throw InputError(dir, "cannot open folder");
    std::vector<std::string> names;
    while (dirent* e = readdir(d)) {
        const std::string n = e->d_name;
        if (n.size() > 4 && (n.compare(n.size() - 4, 4, ".png") == 0 || n.compare(n.size() - 4, 4, ".PNG") == 0))
            names.push_back(n);
    }
    closedir(d);
    std::sort(names.begin(), names.end());
    for (auto& n : names) n = joinPath(dir, n);
    return names;
}

}  // namespace

void validate(const SimOptions& s) {
    const auto names = xsim::Scene::names();
    if (std::find(names.begin(), names.end(), s.scene) == names.end())
        throw InputError("--scene", "unknown scene \"" + s.scene + "\" (known: default, plane, hemisphere)");
    if (s.width < 64 || s.height < 64 || s.width > 8192 || s.height > 8192 || s.width % 8 != 0 || s.height % 8 != 0)
        throw InputError("--size", std::to_string(s.width) + "x" + std::to_string(s.height) +
                                       ": width and height must be multiples of 8 in 64 ... 8192");
    if (!(s.noise >= 0) || s.noise > 100) throw InputError("--noise", "must be a number in 0 ... 100");
    if (!(s.baseline >= 50) || s.baseline > 400) throw InputError("--baseline", "must be a number of mm in 50 ... 400");
}

void prepareSimulation(const SimOptions& sim, Simulation& out) {
    out.headOptions.width = sim.width;
    out.headOptions.height = sim.height;
    out.headOptions.baseline = sim.baseline;
    out.head = xsim::SensorHead::make(out.headOptions);
    xsim::Scene::make(sim.scene, out.headOptions.workingDistance, out.scene);
    out.render.noise = sim.noise;
}

std::string joinPath(const std::string& a, const std::string& b) {
    if (a.empty()) return b;
    return a.back() == '/' ? a + b : a + "/" + b;
}

std::vector<Plane8> readPatternFolder(const std::string& dir, int width, int height) {
    const std::vector<std::string> files = pngFilesIn(dir);
    if (files.size() != 11 && files.size() != 18)
        throw InputError(dir, "holds " + std::to_string(files.size()) +
                                  " PNG images; expected 11 (Gray code + phase shift) or 18 (paired Gray code set)");
    std::vector<Plane8> planes;
    for (const auto& f : files) planes.push_back(readGreyPng(f, width, height));
    return planes;
}

void checkCalibrationSize(const Calibration& c, const std::string& file) {
    if (c.width % 8 != 0 || c.height % 8 != 0)
        throw InputError(file, "image size " + std::to_string(c.width) + " x " + std::to_string(c.height) +
                                   " is not a multiple of 8 in both directions, as the library's banded operations need");
}

Truth readTruth(const std::string& dir, int width, int height) {
    Truth t;
    if (dir.empty()) return t;
    int w = 0, h = 0;
    t.depth = readPfm(joinPath(dir, "depth.pfm"), w, h);
    if (w != width || h != height)
        throw InputError(joinPath(dir, "depth.pfm"), "ground truth is " + std::to_string(w) + " x " + std::to_string(h) +
                                                         ", expected " + std::to_string(width) + " x " + std::to_string(height));
    t.seen = readGreyPng(joinPath(dir, "seen.png"), width, height);
    t.laserSeen = readGreyPng(joinPath(dir, "laser_seen.png"), width, height);
    t.present = true;
    return t;
}

std::vector<std::uint8_t> depthPreview(const std::vector<float>& Z, const std::vector<std::uint8_t>& valid) {
    std::vector<float> vals;
    for (std::size_t i = 0; i < Z.size(); ++i)
        if (valid[i]) vals.push_back(Z[i]);
    float lo = 0, hi = 1;
    if (!vals.empty()) {
        lo = percentile(vals, 0.01);
        hi = percentile(vals, 0.99);
        if (!(hi > lo)) hi = lo + 1;
    }
    std::vector<std::uint8_t> rgb(Z.size() * 3, 0);
    for (std::size_t i = 0; i < Z.size(); ++i) {
        if (!valid[i]) continue;
        // Near (small Z) = t 1 (warm), far = t 0 (cool); a compact rainbow ramp.
        double t = 1.0 - (Z[i] - lo) / (hi - lo);
        t = std::min(1.0, std::max(0.0, t));
        const double r = std::min(1.0, std::max(0.0, 1.5 - std::fabs(4.0 * t - 3.0)));
        const double g = std::min(1.0, std::max(0.0, 1.5 - std::fabs(4.0 * t - 2.0)));
        const double b = std::min(1.0, std::max(0.0, 1.5 - std::fabs(4.0 * t - 1.0)));
        rgb[3 * i] = static_cast<std::uint8_t>(std::lround(40 + 215 * r));
        rgb[3 * i + 1] = static_cast<std::uint8_t>(std::lround(40 + 215 * g));
        rgb[3 * i + 2] = static_cast<std::uint8_t>(std::lround(40 + 215 * b));
    }
    return rgb;
}

void writeStructuredOutputs(const std::string& folder, const StructuredResult& r) {
    writePly(joinPath(folder, "cloud.ply"), r.cloud, true);
    std::vector<std::uint16_t> d(r.Z.size(), 0);
    for (std::size_t i = 0; i < r.Z.size(); ++i) {
        if (!r.valid[i]) continue;
        const double v = std::round(r.Z[i] * kDepthUnitsPerMm);
        d[i] = static_cast<std::uint16_t>(v < 1 ? 1 : (v > 65535 ? 65535 : v));
    }
    writePngGrey16(joinPath(folder, "depth.png"), d.data(), r.width, r.height);
    const auto rgb = depthPreview(r.Z, r.valid);
    writePngRgb8(joinPath(folder, "depth_preview.png"), rgb.data(), r.width, r.height);
}

void writeLaserOutputs(const std::string& folder, const LaserResult& r) {
    std::vector<ColouredPoint> pts;
    for (std::size_t i = 0; i < r.profile.size(); ++i)
        if (r.valid[i])
            pts.push_back({static_cast<float>(r.profile[i][0]), static_cast<float>(r.profile[i][1]),
                           static_cast<float>(r.profile[i][2]), 255, 0, 0});
    writePly(joinPath(folder, "laser_profile.ply"), pts, false);
}

}  // namespace xscan
