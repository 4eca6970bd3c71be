// Structured-light and laser-line pipelines on the library's exported class, and accuracy reports.
#include "Pipeline.h"

#include "Stats.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <memory>

namespace xscan {
namespace {

using Clock = std::chrono::steady_clock;

class StageTimer {
public:
    explicit StageTimer(std::vector<Timing>& out) : out_(out), t0_(Clock::now()) {}
    void lap(const std::string& stage) {
        const auto t = Clock::now();
        out_.push_back({stage, std::chrono::duration<double, std::milli>(t - t0_).count()});
        t0_ = t;
    }

private:
    std::vector<Timing>& out_;
    Clock::time_point t0_;
};

std::unique_ptr<XELORAALGO::XeloraAlgo> makeHandle(const Calibration& calib) {
    auto algo = std::make_unique<XELORAALGO::XeloraAlgo>();
    XELORAALGO::tagXeloraAlgoROIInfo roi{calib.offsetX, calib.offsetY, calib.width, calib.height};
    algo->SetROIInfo(&roi);
    XELORAALGO::tagXeloraAlgoCalibrationInfo rec = calib.record;
    algo->SetCalibrationInfo(&rec);
    return algo;
}

// bool maps of the library are arrays of bool; the results keep bytes.
std::vector<std::uint8_t> toBytes(const std::unique_ptr<bool[]>& m, std::size_t n) {
    std::vector<std::uint8_t> out(n);
    for (std::size_t i = 0; i < n; ++i) out[i] = m[i] ? 1 : 0;
    return out;
}

// The handle with the ROI, the calibration, CalKR and the rectification maps of both cameras.
std::unique_ptr<XELORAALGO::XeloraAlgo> preparedHandle(const Calibration& calib) {
    auto algo = makeHandle(calib);
    algo->CalKR();
    algo->CalRectifyMap1(true);
    algo->CalRectifyMap1(false);
    algo->CalRectifyMap2(true);
    return algo;
}

// Rectification, matching, triangulation and (with o.filters) the filter chain of two decoded phase
// maps; fills res's point maps, rawZ / rawValid, valid and count. phase and mask are consumed.
void triangulate(XELORAALGO::XeloraAlgo& algo, const Calibration& calib, std::vector<float> phase[2],
                 std::unique_ptr<bool[]> mask[2], const StructuredOptions& o, StructuredResult& res,
                 StageTimer& timer) {
    const std::size_t n = static_cast<std::size_t>(res.width) * res.height;
    algo.InterpCubic1(phase[0].data());
    algo.InterpFlag1(mask[0].get());
    algo.InterpCubic2(phase[1].data());
    algo.InterpFlag2(mask[1].get());
    if (o.keepIntermediates)
        for (int k = 0; k < 2; ++k) {
            res.rectPhase[k] = phase[k];
            res.rectMask[k] = toBytes(mask[k], n);
        }
    timer.lap("rectify (InterpCubic1/2, InterpFlag1/2)");

    std::unique_ptr<bool[]> match(new bool[n]());
    algo.MatchI(mask[0].get(), mask[1].get(), match.get(), phase[0].data(), phase[1].data());
    algo.MatchII(mask[0].get(), mask[1].get(), match.get(), phase[0].data(), phase[1].data());
    if (o.keepIntermediates) res.matchMask = toBytes(match, n);
    timer.lap("match (MatchI, MatchII)");

    res.X.assign(n, 0.0f);
    res.Y.assign(n, 0.0f);
    res.Z.assign(n, 0.0f);
    int count = 0;
    algo.CalPoint(match.get(), res.X.data(), res.Y.data(), res.Z.data(), count, o.bilateral,
                  o.bilateralSpatialSigma, o.bilateralRangeSigma, o.smoothing, o.smoothSigma);
    res.rawZ = res.Z;
    res.rawValid = toBytes(match, n);
    timer.lap("triangulate (CalPoint)");

    if (o.filters) {
        std::vector<float> depths;
        for (std::size_t i = 0; i < n; ++i)
            if (match[i] && std::isfinite(res.Z[i]) && res.Z[i] > 0) depths.push_back(res.Z[i]);
        const double footprint = depths.empty() ? 0.2 : percentile(depths, 0.5) / calib.record.K1[0];
        const float outlierDistance = o.outlierDistance > 0 ? o.outlierDistance : static_cast<float>(8 * footprint);
        const float gradientLimit = o.gradientLimit > 0 ? o.gradientLimit : static_cast<float>(10 * footprint);
        algo.Outlierdetect(res.X.data(), res.Y.data(), res.Z.data(), match.get(), o.outlierRadius, outlierDistance);
        std::vector<float> zCopy = res.Z;
        std::unique_ptr<bool[]> maskCopy(new bool[n]);
        std::copy(match.get(), match.get() + n, maskCopy.get());
        const float pass = 1.0f;
        algo.GradientFilter(res.Z.data(), zCopy.data(), match.get(), maskCopy.get(), gradientLimit, pass);
        algo.FillingFunction(res.X.data(), res.Y.data(), res.Z.data(), match.get(), o.fillMode, o.fillSmallArea,
                             o.fillLargeArea, o.minDepth, o.maxDepth);
        timer.lap("filters (Outlierdetect, GradientFilter, FillingFunction)");
    }
    // One consistent map: a point is valid exactly where its mask is set and its depth is finite
    // and nonzero.
    res.valid.assign(n, 0);
    res.count = 0;
    for (std::size_t i = 0; i < n; ++i) {
        const bool ok = match[i] && std::isfinite(res.Z[i]) && res.Z[i] != 0.0f;
        if (!ok) {
            res.X[i] = res.Y[i] = res.Z[i] = 0.0f;
        } else {
            res.valid[i] = 1;
            ++res.count;
        }
    }
}

}  // namespace

StructuredResult runStructured(const Calibration& calib, const std::vector<Plane8>& cam1,
                               const std::vector<Plane8>& cam2, const std::vector<std::uint8_t>& colourRgb,
                               const StructuredOptions& o) {
    StructuredResult res;
    const int w = calib.width, h = calib.height;
    const std::size_t n = static_cast<std::size_t>(w) * h;
    res.width = w;
    res.height = h;
    StageTimer timer(res.timings);

    auto algo = preparedHandle(calib);
    timer.lap("set-up (CalKR, rectification maps)");

    std::unique_ptr<bool[]> mask[2];
    std::vector<float> modulation[2], average[2], phase[2];
    for (int k = 0; k < 2; ++k) {
        const std::vector<Plane8>& planes = k == 0 ? cam1 : cam2;
        std::vector<Plane8> copy = planes;  // DecGrayPhase2 overwrites its Gray planes
        std::vector<unsigned char*> stack;
        for (auto& p : copy) stack.push_back(p.data());
        mask[k].reset(new bool[n]());
        modulation[k].assign(n, 0.0f);
        average[k].assign(n, 0.0f);
        phase[k].assign(n, 0.0f);
        const bool ignored = false, smooth = false;
        const int rounds = 0;
        const float sigma = 1.0f;
        if (planes.size() == 18)
            algo->DecGrayPhase2(mask[k].get(), modulation[k].data(), average[k].data(), stack.data(), ignored,
                                smooth, rounds, sigma, phase[k].data());
        else
            algo->DecGrayPhase1(mask[k].get(), modulation[k].data(), average[k].data(), stack.data(), ignored,
                                smooth, rounds, sigma, phase[k].data());
        if (o.keepIntermediates) {
            res.phase[k] = phase[k];
            res.mask[k] = toBytes(mask[k], n);
        }
    }
    timer.lap(cam1.size() == 18 ? "decode (DecGrayPhase2 x 2)" : "decode (DecGrayPhase1 x 2)");

    triangulate(*algo, calib, phase, mask, o, res, timer);

    if (colourRgb.size() == 3 * n) {
        std::vector<float> X = res.X, Y = res.Y, Z = res.Z;
        std::unique_ptr<bool[]> m(new bool[n]);
        for (std::size_t i = 0; i < n; ++i) m[i] = res.valid[i] != 0;
        algo->CalRGB(X.data(), Y.data(), Z.data(), m.get(), o.minDepth, o.maxDepth);
        // Back from the colour camera's frame into camera 1's: X1 = R3^T (X3 - T3).
        const double* R3 = calib.record.R3;
        const double* T3 = calib.record.T3;
        for (std::size_t i = 0; i < n; ++i) {
            if (!m[i] || Z[i] == 0.0f) continue;
            const double d[3] = {X[i] - T3[0], Y[i] - T3[1], Z[i] - T3[2]};
            ColouredPoint p;
            p.x = static_cast<float>(R3[0] * d[0] + R3[3] * d[1] + R3[6] * d[2]);
            p.y = static_cast<float>(R3[1] * d[0] + R3[4] * d[1] + R3[7] * d[2]);
            p.z = static_cast<float>(R3[2] * d[0] + R3[5] * d[1] + R3[8] * d[2]);
            p.r = colourRgb[3 * i];
            p.g = colourRgb[3 * i + 1];
            p.b = colourRgb[3 * i + 2];
            res.cloud.push_back(p);
        }
        res.coloured = true;
        timer.lap("colour registration (CalRGB)");
    } else {
        // Grey from camera 1's average intensity, carried onto the undistorted grid.
        std::vector<float> grey = average[0];
        algo->InterpCubic4(grey.data());
        for (std::size_t i = 0; i < n; ++i) {
            if (!res.valid[i]) continue;
            const float g = std::min(255.0f, std::max(0.0f, grey[i]));
            const auto v = static_cast<std::uint8_t>(g + 0.5f);
            res.cloud.push_back({res.X[i], res.Y[i], res.Z[i], v, v, v});
        }
        timer.lap("texture (InterpCubic4)");
    }
    return res;
}

StructuredResult triangulatePhases(const Calibration& calib, const std::vector<float> phase[2],
                                   const std::vector<std::uint8_t> mask[2], const StructuredOptions& o) {
    StructuredResult res;
    res.width = calib.width;
    res.height = calib.height;
    const std::size_t n = static_cast<std::size_t>(res.width) * res.height;
    StageTimer timer(res.timings);
    auto algo = preparedHandle(calib);
    std::vector<float> ph[2] = {phase[0], phase[1]};
    std::unique_ptr<bool[]> m[2];
    for (int k = 0; k < 2; ++k) {
        m[k].reset(new bool[n]);
        for (std::size_t i = 0; i < n; ++i) m[k][i] = mask[k][i] != 0;
    }
    triangulate(*algo, calib, ph, m, o, res, timer);
    return res;
}

LaserResult runLaser(const Calibration& calib, const Plane8& image1, const Plane8& image2) {
    LaserResult res;
    const int w = calib.width, h = calib.height;
    res.height = h;
    StageTimer timer(res.timings);
    auto algo = makeHandle(calib);

    res.points1.assign(static_cast<std::size_t>(h), {0.0, 0.0});
    res.points2.assign(static_cast<std::size_t>(h), {0.0, 0.0});
    std::unique_ptr<bool[]> m1(new bool[h]()), m2(new bool[h]());
    Plane8 a = image1, b = image2;
    // Narrow (1-2 pixel) runs are never taken as the line (span 3 w puts the band past every column);
    // the middle third of the rows sets the line's mean position.
    const int unused = 0, narrowSpan = 3 * w, bandSpan = h;
    const std::array<int, 2> range{0, 0};
    algo->lineExtract5(a.data(), res.points1, m1.get(), unused, unused, range, narrowSpan, bandSpan);
    algo->lineExtract5(b.data(), res.points2, m2.get(), unused, unused, range, narrowSpan, bandSpan);
    timer.lap("extract (lineExtract5 x 2)");
    for (int r = 0; r < h; ++r) {
        res.rows1 += m1[r] ? 1 : 0;
        res.rows2 += m2[r] ? 1 : 0;
    }
    const bool first = true, second = false;
    algo->UndistortPoints2(first, res.points1);
    algo->UndistortPoints2(second, res.points2);
    timer.lap("undistort (UndistortPoints2 x 2)");
    res.matches.assign(static_cast<std::size_t>(h), 0);
    algo->MatchLine(res.points1, res.points2, m1.get(), m2.get(), res.matches);
    timer.lap("match (MatchLine)");
    XELORAALGO::Point3dList pixelDepth;
    algo->Calpoint(res.points1, res.points2, m1.get(), res.matches, res.profile, pixelDepth);
    timer.lap("triangulate (Calpoint)");
    res.valid.assign(static_cast<std::size_t>(h), 0);
    for (int r = 0; r < h; ++r) {
        const auto& p = res.profile[static_cast<std::size_t>(r)];
        if (m1[r] && std::isfinite(p[2]) && p[2] != 0.0) {
            res.valid[static_cast<std::size_t>(r)] = 1;
            ++res.matched;
        }
    }
    return res;
}

DepthAccuracy depthAccuracy(const std::vector<float>& Z, const std::vector<std::uint8_t>& valid,
                            const std::vector<float>& truth, const std::vector<std::uint8_t>& seen) {
    DepthAccuracy a;
    std::vector<double> err;
    for (std::size_t i = 0; i < Z.size(); ++i) {
        if (seen[i]) ++a.seen;
        if (!valid[i]) continue;
        ++a.valid;
        if (seen[i]) ++a.validSeen;
        if (!(truth[i] > 0)) continue;
        const double e = static_cast<double>(Z[i]) - truth[i];
        err.push_back(e);
        if (std::fabs(e) > 1.0) ++a.gross;
    }
    const ErrorStats st = errorStats(err);
    a.compared = st.count;
    a.completeness = a.seen > 0 ? static_cast<double>(a.validSeen) / a.seen : 0;
    a.median = st.median;
    a.rms = st.rms;
    a.p95 = st.p95;
    a.bias = st.mean;
    return a;
}

LaserAccuracy laserAccuracy(const LaserResult& laser, int width, const std::vector<float>& truth,
                            const std::vector<std::uint8_t>& laserSeen) {
    LaserAccuracy a;
    const int h = laser.height;
    std::vector<char> visible(static_cast<std::size_t>(h), 0);
    for (int r = 0; r < h; ++r)
        for (int c = 0; c < width; ++c)
            if (laserSeen[static_cast<std::size_t>(r) * width + c]) visible[static_cast<std::size_t>(r)] = 1;
    std::vector<double> err;
    for (int r = 0; r < h; ++r) {
        if (visible[static_cast<std::size_t>(r)]) ++a.rowsVisible;
        if (!laser.valid[static_cast<std::size_t>(r)]) continue;
        if (visible[static_cast<std::size_t>(r)]) ++a.rowsMeasured;
        const double x = laser.points1[static_cast<std::size_t>(r)][0];
        const double y = laser.points1[static_cast<std::size_t>(r)][1];
        if (!(x >= 0) || !(y >= 0) || !(x < width - 1) || !(y < h - 1)) continue;
        const int c0 = static_cast<int>(std::floor(x)), r0 = static_cast<int>(std::floor(y));
        const float* t = truth.data();
        const std::size_t i00 = static_cast<std::size_t>(r0) * width + c0;
        const double z00 = t[i00], z01 = t[i00 + 1], z10 = t[i00 + width], z11 = t[i00 + width + 1];
        if (!(z00 > 0 && z01 > 0 && z10 > 0 && z11 > 0)) continue;
        const double zmin = std::min(std::min(z00, z01), std::min(z10, z11));
        const double zmax = std::max(std::max(z00, z01), std::max(z10, z11));
        if (zmax - zmin > 1.0) continue;  // a depth step inside the interpolation cell
        const double fx = x - c0, fy = y - r0;
        const double zt = (z00 * (1 - fx) + z01 * fx) * (1 - fy) + (z10 * (1 - fx) + z11 * fx) * fy;
        err.push_back(laser.profile[static_cast<std::size_t>(r)][2] - zt);
    }
    const ErrorStats st = errorStats(err);
    a.compared = st.count;
    a.median = st.median;
    a.rms = st.rms;
    a.p95 = st.p95;
    a.maxAbs = st.maxAbs;
    a.bias = st.mean;
    return a;
}

}  // namespace xscan
