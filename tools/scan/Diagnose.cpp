// The demo's --diagnose report (see Diagnose.h).
#include "Diagnose.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>

#include "CommandIO.h"
#include "Report.h"
#include "ScanIO.h"
#include "Stats.h"

namespace xscan {
namespace {

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

void printPointMapAccuracy(std::ostream& out, const char* what, const DepthAccuracy& a) {
    out << "  " << what << ": median " << fmt("%.4f", a.median) << " mm, RMS " << fmt("%.4f", a.rms) << " mm, p95 "
        << fmt("%.4f", a.p95) << " mm, completeness " << fmt("%.1f", 100 * a.completeness) << " %, "
        << withCommas(a.gross) << " points > 1 mm off\n";
}

}  // namespace

void diagnoseStructured(std::ostream& out, const Calibration& calib, const xsim::Rendering& img,
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
            else e.push_back(d);
        }
        const ErrorStats st = errorStats(e);
        out << "  decode camera " << k + 1 << ": " << withCommas(decoded) << " of " << withCommas(lit)
            << " lit pixels valid; phase error median " << fmt("%.4f", st.median) << " rad, RMS "
            << fmt("%.4f", st.rms) << " rad (about " << fmt("%.3f", st.rms * pxPerRad) << " px); period errors "
            << withCommas(jumps) << "\n";
    }
    // The geometry stages on the true phase: what rectification, matching, triangulation and the
    // resampling back give with a perfect decode (no smoothing, no filters).
    std::vector<float> truePhase[2];
    std::vector<std::uint8_t> trueMask[2];
    for (int k = 0; k < 2; ++k) {
        truePhase[k].assign(n, 0.0f);
        trueMask[k].assign(n, 0);
        for (std::size_t i = 0; i < n; ++i)
            if (std::isfinite(img.cam[k].phase[i])) {
                truePhase[k][i] = img.cam[k].phase[i];
                trueMask[k][i] = 1;
            }
    }
    StructuredOptions plain = so;
    plain.bilateral = plain.smoothing = plain.filters = plain.keepIntermediates = false;
    const StructuredResult ideal = triangulatePhases(calib, truePhase, trueMask, plain);
    printPointMapAccuracy(out, "true phase through rectification, matching, triangulation and resampling",
                          depthAccuracy(ideal.Z, ideal.valid, img.depthTruth, img.seenByAll));
    printPointMapAccuracy(out, "decoded phase, straight out of CalPoint (before the filters)",
                          depthAccuracy(res.rawZ, res.rawValid, img.depthTruth, img.seenByAll));

    // Seen pixels that get no point even from the true phase: outside the rows the rectified grid
    // reaches, or lost in matching or triangulation.
    const long seen = static_cast<long>(std::count(img.seenByAll.begin(), img.seenByAll.end(), 1));
    long unreachable = 0;
    for (std::size_t i = 0; i < n; ++i)
        if (img.seenByAll[i] && !ideal.valid[i]) ++unreachable;
    out << "  seen pixels without a point even from the true phase (outside the rectified grid's rows, unmatched): "
        << withCommas(unreachable) << " (" << fmt("%.1f", 100.0 * unreachable / std::max<long>(1, seen))
        << " % of the seen pixels)\n";
    // The other missing points: near the image border, next to an unseen pixel (shadow or occlusion
    // edge) or a depth step, or elsewhere.
    long border = 0, edge = 0, inner = 0, missing = 0, outside = 0;
    for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c) {
            const std::size_t i = static_cast<std::size_t>(r) * w + c;
            if (!img.seenByAll[i] || res.valid[i]) continue;
            ++missing;
            if (!ideal.valid[i]) {
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
        << " without a point from the true phase either + " << withCommas(border) << " within 8 px of the image border + "
        << withCommas(edge) << " within 4 px of a shadow, occlusion or depth step + " << withCommas(inner) << " elsewhere\n";
}

void diagnoseLaser(std::ostream& out, const Calibration& calib, const xsim::SensorHead& head,
                   const xsim::Scene& scene, const xsim::Rendering& img, const LaserResult& lr) {
    const int h = img.height;
    XELORAALGO::XeloraAlgo algo;
    XELORAALGO::tagXeloraAlgoROIInfo roi{calib.offsetX, calib.offsetY, img.width, h};
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
        for (int r = 0; r < h; ++r) {
            const auto& p = (*ext[k])[static_cast<std::size_t>(r)];
            const auto& q = (*tru[k])[static_cast<std::size_t>(r)];
            if (p[0] == 0 || q[0] == 0 || std::fabs(p[0] - q[0]) > 5) continue;
            e.push_back(p[0] - q[0]);
        }
        const ErrorStats st = errorStats(e);
        out << "  extraction camera " << k + 1 << ": " << st.count << " rows, centre error median "
            << fmt("%.3f", st.median) << " px, RMS " << fmt("%.3f", st.rms) << " px, mean " << fmt("%+.3f", st.mean)
            << " px\n";
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

}  // namespace xscan
