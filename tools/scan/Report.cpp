// Terminal and JSON reports of xelora-scan (see Report.h).
#include "Report.h"

#include <cmath>
#include <cstdio>
#include <iomanip>

#include "CommandIO.h"

namespace xscan {
namespace {

double total(const std::vector<Timing>& t) {
    double s = 0;
    for (const auto& x : t) s += x.ms;
    return s;
}

Json timingsJson(const std::vector<Timing>& timings) {
    Json j = Json::object();
    for (const auto& t : timings) j[t.stage] = std::round(t.ms * 10) / 10;
    return j;
}

const char* mark(bool ok) { return ok ? "met" : "MISSED"; }

}  // namespace

double msSince(Clock::time_point t0) { return std::chrono::duration<double, std::milli>(Clock::now() - t0).count(); }

std::string fmt(const char* f, double v) {
    char buf[64];
    std::snprintf(buf, sizeof buf, f, v);
    return buf;
}

std::string withCommas(long v) {
    std::string s = std::to_string(v);
    for (int i = static_cast<int>(s.size()) - 3; i > 0; i -= 3) s.insert(static_cast<std::size_t>(i), ",");
    return s;
}

void printTimings(std::ostream& out, const std::vector<Timing>& timings) {
    for (const auto& t : timings) out << "  " << std::left << std::setw(58) << t.stage << std::right << std::setw(9) << fmt("%.1f", t.ms) << " ms\n";
    out << "  " << std::left << std::setw(58) << "total" << std::right << std::setw(9) << fmt("%.1f", total(timings)) << " ms\n";
}

void printDepthAccuracy(std::ostream& out, const DepthAccuracy& a, bool targets) {
    out << "  points: " << withCommas(a.valid) << "; completeness " << fmt("%.1f", 100.0 * a.completeness)
        << " % of the " << withCommas(a.seen) << " pixels that both cameras and the projector see";
    if (targets) out << " (target >= 95 %: " << mark(a.completeness >= 0.95) << ")";
    out << "\n  depth error against ground truth: median " << fmt("%.4f", a.median) << " mm, RMS " << fmt("%.4f", a.rms)
        << " mm, 95th percentile " << fmt("%.4f", a.p95) << " mm, mean " << fmt("%+.4f", a.bias) << " mm\n";
    if (targets)
        out << "  targets: median <= 0.05 mm " << mark(a.median <= 0.05) << ", RMS <= 0.1 mm " << mark(a.rms <= 0.1)
            << "\n";
    out << "  points more than 1 mm off: " << withCommas(a.gross) << "\n";
}

void printLaserAccuracy(std::ostream& out, const LaserAccuracy& a, bool targets) {
    out << "  rows: " << a.rowsMeasured << " of the " << a.rowsVisible
        << " rows where the stripe is visible in both cameras have a profile point\n";
    out << "  depth error against ground truth: median " << fmt("%.4f", a.median) << " mm, RMS " << fmt("%.4f", a.rms)
        << " mm, 95th percentile " << fmt("%.4f", a.p95) << " mm, max " << fmt("%.4f", a.maxAbs) << " mm";
    if (targets) out << " (target RMS <= 0.1 mm: " << mark(a.rms <= 0.1) << ")";
    out << "\n";
}

Json depthAccuracyJson(const DepthAccuracy& a) {
    Json j;
    j["valid_points"] = a.valid;
    j["pixels_seen_by_both_cameras_and_projector"] = a.seen;
    j["valid_points_among_them"] = a.validSeen;
    j["completeness"] = a.completeness;
    j["points_compared"] = a.compared;
    j["abs_error_mm"] = {{"median", a.median}, {"rms", a.rms}, {"p95", a.p95}};
    j["mean_signed_error_mm"] = a.bias;
    j["points_off_by_more_than_1mm"] = a.gross;
    return j;
}

Json laserAccuracyJson(const LaserAccuracy& a) {
    Json j;
    j["rows_visible_in_both_cameras"] = a.rowsVisible;
    j["rows_measured_among_them"] = a.rowsMeasured;
    j["points_compared"] = a.compared;
    j["abs_error_mm"] = {{"median", a.median}, {"rms", a.rms}, {"p95", a.p95}, {"max", a.maxAbs}};
    j["mean_signed_error_mm"] = a.bias;
    return j;
}

Json structuredJson(const StructuredResult& r) {
    Json j;
    j["points"] = r.count;
    j["cloud_points"] = r.cloud.size();
    j["cloud_coloured"] = r.coloured;
    j["timings_ms"] = timingsJson(r.timings);
    return j;
}

Json laserJson(const LaserResult& r) {
    Json j;
    j["rows_with_line_camera1"] = r.rows1;
    j["rows_with_line_camera2"] = r.rows2;
    j["profile_points"] = r.matched;
    j["timings_ms"] = timingsJson(r.timings);
    return j;
}

Json outputsJson(bool structured, bool laser) {
    Json j = Json::object();
    if (structured) {
        j["cloud"] = "cloud.ply";
        j["depth_png"] = "depth.png";
        j["depth_png_units_per_mm"] = kDepthUnitsPerMm;
        j["depth_preview"] = "depth_preview.png";
    }
    if (laser) j["laser_profile"] = "laser_profile.ply";
    j["frame"] = "camera 1, mm; depth maps on camera 1's undistorted pixel grid";
    return j;
}

}  // namespace xscan
