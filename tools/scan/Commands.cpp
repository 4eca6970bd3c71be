// demo, simulate, structured and laser: the subcommands of xelora-scan.
#include "Commands.h"

#include <dirent.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <iomanip>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>

#include "Render.h"
#include "ScanIO.h"

namespace xscan {
namespace {

using Json = nlohmann::ordered_json;
using Clock = std::chrono::steady_clock;

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

std::string joinPath(const std::string& a, const std::string& b) {
    if (a.empty()) return b;
    return a.back() == '/' ? a + b : a + "/" + b;
}

double total(const std::vector<Timing>& t) {
    double s = 0;
    for (const auto& x : t) s += x.ms;
    return s;
}

void printTimings(std::ostream& out, const std::vector<Timing>& timings) {
    for (const auto& t : timings) out << "  " << std::left << std::setw(58) << t.stage << std::right << std::setw(9) << fmt("%.1f", t.ms) << " ms\n";
    out << "  " << std::left << std::setw(58) << "total" << std::right << std::setw(9) << fmt("%.1f", total(timings)) << " ms\n";
}

Json timingsJson(const std::vector<Timing>& timings) {
    Json j = Json::object();
    for (const auto& t : timings) j[t.stage] = std::round(t.ms * 10) / 10;
    return j;
}

const char* mark(bool ok) { return ok ? "met" : "MISSED"; }

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

struct Truth {
    bool present = false;
    std::vector<float> depth;
    std::vector<std::uint8_t> seen, laserSeen;
};

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

void writeLaserOutputs(const std::string& folder, const LaserResult& r) {
    std::vector<ColouredPoint> pts;
    for (std::size_t i = 0; i < r.profile.size(); ++i)
        if (r.valid[i])
            pts.push_back({static_cast<float>(r.profile[i][0]), static_cast<float>(r.profile[i][1]),
                           static_cast<float>(r.profile[i][2]), 255, 0, 0});
    writePly(joinPath(folder, "laser_profile.ply"), pts, false);
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

// Where the structured-light errors come from: the decoded phase against the true phase, the same
// geometry pipeline run on the true phase, and where the missing points lie.
void diagnose(std::ostream& out, const Calibration& calib, const xsim::Rendering& img,
              const StructuredResult& res, const StructuredOptions& so, const std::string& folder) {
    const int w = img.width, h = img.height;
    const std::size_t n = static_cast<std::size_t>(w) * h;
    const double pxPerRad = 1280.0 / 64.0 / (2 * 3.14159265358979) * (w / 1280.0) * (300.0 / 256.0);
    out << "diagnosis (structured light)\n";
    for (int k = 0; k < 2; ++k) {
        std::vector<double> e;
        long jumps = 0, lit = 0, decoded = 0;
        for (std::size_t i = 0; i < n; ++i) {
            const float t = img.cam[k].phase[i];
            if (!std::isfinite(t)) continue;
            ++lit;
            if (!res.mask[k][i]) continue;
            ++decoded;
            const double d = res.phase[k][i] - t;
            if (std::fabs(d) > 3.14159) ++jumps;
            else e.push_back(std::fabs(d));
        }
        std::sort(e.begin(), e.end());
        double sq = 0;
        for (double v : e) sq += v * v;
        const double rms = e.empty() ? 0 : std::sqrt(sq / e.size());
        out << "  decode camera " << k + 1 << ": " << withCommas(decoded) << " of " << withCommas(lit)
            << " lit pixels valid; phase error median " << fmt("%.4f", e.empty() ? 0 : e[e.size() / 2]) << " rad, RMS "
            << fmt("%.4f", rms) << " rad (about " << fmt("%.3f", rms * pxPerRad) << " px); period errors "
            << withCommas(jumps) << "\n";
    }
    // The same pipeline on the true phase: what rectification, matching, triangulation and
    // resampling give with a perfect decode.
    {
        XELORAALGO::XeloraAlgo algo;
        XELORAALGO::tagXeloraAlgoROIInfo roi{0, 0, w, h};
        algo.SetROIInfo(&roi);
        XELORAALGO::tagXeloraAlgoCalibrationInfo rec = calib.record;
        algo.SetCalibrationInfo(&rec);
        algo.CalKR();
        algo.CalRectifyMap1(true);
        algo.CalRectifyMap1(false);
        std::vector<float> ph[2];
        std::unique_ptr<bool[]> m[2];
        for (int k = 0; k < 2; ++k) {
            ph[k].assign(n, 0.0f);
            m[k].reset(new bool[n]());
            for (std::size_t i = 0; i < n; ++i)
                if (std::isfinite(img.cam[k].phase[i])) {
                    ph[k][i] = img.cam[k].phase[i];
                    m[k][i] = true;
                }
        }
        algo.InterpCubic1(ph[0].data());
        algo.InterpFlag1(m[0].get());
        algo.InterpCubic2(ph[1].data());
        algo.InterpFlag2(m[1].get());
        std::unique_ptr<bool[]> match(new bool[n]());
        algo.MatchI(m[0].get(), m[1].get(), match.get(), ph[0].data(), ph[1].data());
        algo.MatchII(m[0].get(), m[1].get(), match.get(), ph[0].data(), ph[1].data());
        std::vector<float> X(n), Y(n), Z(n);
        int count = 0;
        const bool no = false;
        algo.CalPoint(match.get(), X.data(), Y.data(), Z.data(), count, no, so.bilateralSpatialSigma,
                      so.bilateralRangeSigma, no, so.smoothSigma);
        std::vector<std::uint8_t> v(n);
        for (std::size_t i = 0; i < n; ++i) v[i] = match[i] && std::isfinite(Z[i]) && Z[i] != 0 ? 1 : 0;
        const DepthAccuracy a = depthAccuracy(Z, v, img.depthTruth, img.seenByAll);
        out << "  true phase through rectification, matching, triangulation and resampling (no smoothing): median "
            << fmt("%.4f", a.median) << " mm, RMS " << fmt("%.4f", a.rms) << " mm, p95 " << fmt("%.4f", a.p95)
            << " mm, completeness " << fmt("%.1f", 100 * a.completeness) << " %\n";
    }
    {
        const DepthAccuracy a = depthAccuracy(res.rawZ, res.rawValid, img.depthTruth, img.seenByAll);
        out << "  decoded phase, straight out of CalPoint (before the filters): median " << fmt("%.4f", a.median)
            << " mm, RMS " << fmt("%.4f", a.rms) << " mm, p95 " << fmt("%.4f", a.p95) << " mm, completeness "
            << fmt("%.1f", 100 * a.completeness) << " %, " << withCommas(a.gross) << " points > 1 mm off\n";
    }
    // Rows of camera 1 that the rectified grid reaches: rectified row r of column c carries camera 1's
    // undistorted row L(c, r), the epipolar-line index of the pixel (c, r) counted with the angles of
    // the lines through epipole 2, so the rows a column reaches are L(c, 1) ... L(c, h - 2) (the
    // resampling back needs a row on either side).
    long uncovered = 0;
    std::vector<std::uint8_t> reached(n, 1);
    {
        const auto& K2 = calib.record.K2;
        const auto& T = calib.record.T;
        const double f2 = (K2[4] + K2[0]) * 0.0048 * 0.5;
        const double e2x = (T[0] / T[2] * f2) / 0.0048 + K2[2];
        const double e2y = (T[1] / T[2] * f2) / 0.0048 + K2[5];
        const double s00 = e2y / e2x, s10 = e2y / ((e2x - w) - 1), s01 = ((e2y - h) - 1) / e2x,
                     s11 = ((e2y - h) - 1) / ((e2x - w) - 1);
        const double angleMin = std::atan(std::min(std::min(s00, s10), std::min(s01, s11)));
        const double angleStep = std::fabs(std::atan(1.0 / e2x));
        auto line = [&](int c, int r) { return (std::atan((e2y - r) / (e2x - c)) - angleMin) / angleStep; };
        for (int c = 0; c < w; ++c) {
            const double top = line(c, 1), bottom = line(c, h - 2);
            for (int r = 0; r < h; ++r) {
                const std::size_t i = static_cast<std::size_t>(r) * w + c;
                if (r < top || r > bottom) {
                    reached[i] = 0;
                    if (img.seenByAll[i]) ++uncovered;
                }
            }
        }
    }
    out << "  seen pixels outside the rows the rectified grid reaches: " << withCommas(uncovered) << " ("
        << fmt("%.1f", 100.0 * uncovered / std::max<long>(1, static_cast<long>(std::count(img.seenByAll.begin(), img.seenByAll.end(), 1))))
        << " % of the seen pixels)\n";
    // Missing points: near the image border, next to an unseen pixel (shadow or occlusion edge) or a
    // depth step, or elsewhere.
    long border = 0, edge = 0, inner = 0, missing = 0, outside = 0;
    for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c) {
            const std::size_t i = static_cast<std::size_t>(r) * w + c;
            if (!img.seenByAll[i] || res.valid[i]) continue;
            ++missing;
            if (!reached[i]) {
                ++outside;
                continue;
            }
            if (r < 8 || c < 8 || r >= h - 8 || c >= w - 8) {
                ++border;
                continue;
            }
            bool nearEdge = false;
            for (int dr = -4; dr <= 4 && !nearEdge; ++dr)
                for (int dc = -4; dc <= 4 && !nearEdge; ++dc) {
                    const std::size_t j = static_cast<std::size_t>(r + dr) * w + (c + dc);
                    if (!img.seenByAll[j] || std::fabs(img.depthTruth[j] - img.depthTruth[i]) > 1.0f) nearEdge = true;
                }
            if (nearEdge) ++edge;
            else ++inner;
        }
    // Picture of the points: grey where valid, red where missing, blue where valid outside the seen
    // area, yellow where more than 1 mm off.
    std::vector<std::uint8_t> pic(n * 3, 0);
    for (std::size_t i = 0; i < n; ++i) {
        std::uint8_t* p = &pic[3 * i];
        if (img.seenByAll[i] && !res.valid[i]) p[0] = 255;
        else if (res.valid[i] && !img.seenByAll[i]) p[2] = 255;
        else if (res.valid[i]) p[0] = p[1] = p[2] = 160;
        if (res.valid[i] && img.depthTruth[i] > 0 && std::fabs(res.Z[i] - img.depthTruth[i]) > 1.0f) {
            p[0] = p[1] = 255;
            p[2] = 0;
        }
    }
    writePngRgb8(joinPath(folder, "diagnosis_points.png"), pic.data(), w, h);
    out << "  missing points: " << withCommas(missing) << " = " << withCommas(outside)
        << " outside the rectified grid's rows + " << withCommas(border) << " within 8 px of the image border + "
        << withCommas(edge) << " within 4 px of a shadow, occlusion or depth step + " << withCommas(inner) << " elsewhere\n";
}

// True stripe centre of raw row r of a camera: the column where the surface point seen through the
// row crosses the laser plane (lit by the laser), found by bisection; NaN where the row has none.
double trueStripeColumn(const xsim::SensorHead& head, const xsim::Scene& scene, const xsim::Camera& cam, int r) {
    auto dist = [&](double u, bool& ok) {
        xsim::Hit hit;
        ok = scene.intersect(cam.C, cam.rayThroughPixel(u, r), hit);
        return ok ? xsim::dot(head.laserNormal, hit.p - head.laserOrigin) : 0.0;
    };
    bool okA, okB;
    double a = 0, da = dist(a, okA);
    for (int c = 1; c < cam.width; ++c) {
        const double db = dist(c, okB);
        if (okA && okB && (da <= 0) != (db <= 0) && std::fabs(da - db) < 5.0) {
            double lo = c - 1, hi = c, dlo = da;
            for (int it = 0; it < 50; ++it) {
                const double mid = 0.5 * (lo + hi);
                bool ok;
                const double dm = dist(mid, ok);
                if ((dm <= 0) == (dlo <= 0)) {
                    lo = mid;
                    dlo = dm;
                } else {
                    hi = mid;
                }
            }
            const double u = 0.5 * (lo + hi);
            xsim::Hit hit;
            if (scene.intersect(cam.C, cam.rayThroughPixel(u, r), hit) && scene.visible(head.laserOrigin, hit.p))
                return u;
        }
        a = c;
        da = db;
        okA = okB;
    }
    return std::numeric_limits<double>::quiet_NaN();
}

// Where the laser-line error comes from: extraction (stripe centres against the true ones) and the
// row pairing of MatchLine (the profile from the true centres of the rows that MatchLine paired).
void diagnoseLaser(std::ostream& out, const Calibration& calib, const xsim::SensorHead& head,
                   const xsim::Scene& scene, const xsim::Rendering& img, const LaserResult& lr) {
    const int h = img.height;
    XELORAALGO::XeloraAlgo algo;
    XELORAALGO::tagXeloraAlgoROIInfo roi{0, 0, img.width, h};
    algo.SetROIInfo(&roi);
    XELORAALGO::tagXeloraAlgoCalibrationInfo rec = calib.record;
    algo.SetCalibrationInfo(&rec);
    XELORAALGO::Point2dList t1(static_cast<std::size_t>(h), {0.0, 0.0}), t2 = t1;
    for (int r = 0; r < h; ++r) {
        const double u1 = trueStripeColumn(head, scene, head.cam1, r);
        const double u2 = trueStripeColumn(head, scene, head.cam2, r);
        if (std::isfinite(u1)) t1[static_cast<std::size_t>(r)] = {u1, static_cast<double>(r)};
        if (std::isfinite(u2)) t2[static_cast<std::size_t>(r)] = {u2, static_cast<double>(r)};
    }
    const bool first = true, second = false;
    algo.UndistortPoints2(first, t1);
    algo.UndistortPoints2(second, t2);
    out << "diagnosis (laser line)\n";
    const XELORAALGO::Point2dList* ext[2] = {&lr.points1, &lr.points2};
    const XELORAALGO::Point2dList* tru[2] = {&t1, &t2};
    for (int k = 0; k < 2; ++k) {
        std::vector<double> e;
        double sq = 0, sum = 0;
        for (int r = 0; r < h; ++r) {
            const auto& p = (*ext[k])[static_cast<std::size_t>(r)];
            const auto& q = (*tru[k])[static_cast<std::size_t>(r)];
            if (p[0] == 0 || q[0] == 0 || std::fabs(p[0] - q[0]) > 5) continue;
            const double d = p[0] - q[0];
            e.push_back(std::fabs(d));
            sq += d * d;
            sum += d;
        }
        std::sort(e.begin(), e.end());
        out << "  extraction camera " << k + 1 << ": " << e.size() << " rows, centre error median "
            << fmt("%.3f", e.empty() ? 0 : e[e.size() / 2]) << " px, RMS " << fmt("%.3f", e.empty() ? 0 : std::sqrt(sq / e.size()))
            << " px, mean " << fmt("%+.3f", e.empty() ? 0 : sum / e.size()) << " px\n";
    }
    // True centres, paired as MatchLine paired the extracted ones.
    std::unique_ptr<bool[]> m(new bool[h]);
    for (int r = 0; r < h; ++r) {
        const std::size_t i = static_cast<std::size_t>(r);
        m[r] = lr.valid[i] && t1[i][0] != 0 && t2[static_cast<std::size_t>(lr.matches[i])][0] != 0;
    }
    XELORAALGO::Point3dList cloud, pixelDepth;
    algo.Calpoint(t1, t2, m.get(), lr.matches, cloud, pixelDepth);
    LaserResult ideal = lr;
    ideal.points1 = t1;
    ideal.profile = cloud;
    for (int r = 0; r < h; ++r) ideal.valid[static_cast<std::size_t>(r)] = m[r] ? 1 : 0;
    const LaserAccuracy a = laserAccuracy(ideal, img.width, img.depthTruth, img.laserSeen);
    out << "  true stripe centres in the rows MatchLine paired: median " << fmt("%.4f", a.median) << " mm, RMS "
        << fmt("%.4f", a.rms) << " mm, p95 " << fmt("%.4f", a.p95) << " mm over " << a.compared << " rows\n";
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

std::vector<std::uint8_t> depthPreview(const std::vector<float>& Z, const std::vector<std::uint8_t>& valid) {
    std::vector<float> vals;
    for (std::size_t i = 0; i < Z.size(); ++i)
        if (valid[i]) vals.push_back(Z[i]);
    float lo = 0, hi = 1;
    if (!vals.empty()) {
        std::sort(vals.begin(), vals.end());
        lo = vals[vals.size() / 100];
        hi = vals[vals.size() - 1 - vals.size() / 100];
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

static Json outputsJson(bool structured, bool laser) {
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

// The sensor head that the simulation options describe.
static xsim::HeadOptions headOptions(const SimOptions& sim) {
    xsim::HeadOptions ho;
    ho.width = sim.width;
    ho.height = sim.height;
    ho.baseline = sim.baseline;
    return ho;
}

int runDemo(const DemoOptions& o, std::ostream& out) {
    validate(o.sim);
    if (o.patterns != 11 && o.patterns != 18) throw InputError("--patterns", "must be 11 or 18");
    makeFolder(o.out);
    const xsim::HeadOptions ho = headOptions(o.sim);
    const xsim::SensorHead head = xsim::SensorHead::make(ho);
    xsim::Scene scene;
    xsim::Scene::make(o.sim.scene, ho.workingDistance, scene);
    xsim::RenderOptions ro;
    ro.noise = o.sim.noise;
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
    if (o.diagnose) diagnose(out, calib, img, sr, so, o.out);

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

int runSimulate(const SimulateOptions& o, std::ostream& out) {
    validate(o.sim);
    if (o.out.empty()) throw InputError("--out", "an output folder is required");
    const xsim::HeadOptions ho = headOptions(o.sim);
    const xsim::SensorHead head = xsim::SensorHead::make(ho);
    xsim::Scene scene;
    xsim::Scene::make(o.sim.scene, ho.workingDistance, scene);
    xsim::RenderOptions ro;
    ro.noise = o.sim.noise;
    const auto t0 = Clock::now();
    const xsim::Rendering img = xsim::render(head, scene, ro);
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
