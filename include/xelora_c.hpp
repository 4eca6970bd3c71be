// Header-only C++ wrapper over the C interface (xelora_c.h): xelora::XeloraAlgo has the members of
// XELORAALGO::XeloraAlgo with the same signatures, but only plain C crosses the DLL boundary, so a
// host built by any C++17 compiler (Visual Studio included) can use a DLL built by another.
// A failing call throws xelora::Error (a std::runtime_error) with the library's error text and the
// status code; the class itself throws std::invalid_argument / std::logic_error at the same places.
#ifndef XELORA_C_HPP
#define XELORA_C_HPP

#include <array>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "xelora_c.h"

namespace xelora {

using tagXeloraAlgoROIInfo = xelora_roi_info;
using tagXeloraAlgoCalibrationInfo = xelora_calibration_info;
using Point2dList = std::vector<std::array<double, 2>>;
using Point3dList = std::vector<std::array<double, 3>>;

// A failed call: what() is xelora_last_error(), status() the XELORA_ERROR_* code.
class Error : public std::runtime_error {
public:
    Error(int status, const std::string& text) : std::runtime_error(text), status_(status) {}
    int status() const noexcept { return status_; }

private:
    int status_;
};

namespace detail {

inline void check(int status) {
    if (status != XELORA_OK) throw Error(status, xelora_last_error());
}

// Flat views of point lists (std::array<double, N> is N contiguous doubles).
template <std::size_t N>
const double* flat(const std::vector<std::array<double, N>>& v) {
    static_assert(sizeof(std::array<double, N>) == N * sizeof(double), "point lists are packed");
    return v.empty() ? nullptr : v.front().data();
}
template <std::size_t N>
double* flat(std::vector<std::array<double, N>>& v) {
    return v.empty() ? nullptr : v.front().data();
}

// Fills an output whose length the library decides: one call with the capacity `guess`, and when
// that is too small a second one with the size the first reported.
template <class T, class Call>
void fetch(std::vector<T>& out, std::size_t guess, Call call) {
    std::size_t count = 0;
    out.resize(guess);
    int status = call(out, out.size(), &count);
    if (status == XELORA_ERROR_BUFFER_TOO_SMALL && count > out.size()) {
        out.resize(count);
        status = call(out, out.size(), &count);
    }
    check(status);
    out.resize(count);
}

}  // namespace detail

class XeloraAlgo {
public:
    XeloraAlgo() { detail::check(xelora_create(&h_)); }
    ~XeloraAlgo() { xelora_destroy(h_); }
    XeloraAlgo(const XeloraAlgo&) = delete;
    XeloraAlgo& operator=(const XeloraAlgo&) = delete;

    // The C handle, for calls made directly through xelora_c.h.
    xelora_handle* handle() const noexcept { return h_; }

    // ---- handle, ROI, calibration and rectification maps ----
    void GetSdkVersionString(std::string& version) {
        std::size_t length = 0;
        const int s = xelora_GetSdkVersionString(h_, nullptr, 0, &length);  // size query
        if (s != XELORA_ERROR_BUFFER_TOO_SMALL) detail::check(s);
        std::vector<char> buf(length + 1);
        detail::check(xelora_GetSdkVersionString(h_, buf.data(), buf.size(), &length));
        version.assign(buf.data(), length);
    }
    int GetROIInfoWidth() { return get(xelora_GetROIInfoWidth); }
    int GetROIInfoHeight() { return get(xelora_GetROIInfoHeight); }
    int GetROIInfoOffsetX() { return get(xelora_GetROIInfoOffsetX); }
    int GetROIInfoOffsetY() { return get(xelora_GetROIInfoOffsetY); }
    void SetROIInfo(tagXeloraAlgoROIInfo* info) { detail::check(xelora_SetROIInfo(h_, info)); }
    void SetDownsamplingInfo(const int& step, const float& offset) {
        detail::check(xelora_SetDownsamplingInfo(h_, step, offset));
    }
    void GetData(double& a, double& b, double& c, double& d, double& e, double& f) {
        double v[6];
        detail::check(xelora_GetData(h_, v));
        a = v[0], b = v[1], c = v[2], d = v[3], e = v[4], f = v[5];
    }
    void DeleteMemory1() { detail::check(xelora_DeleteMemory1(h_)); }
    void DeleteMemory2() { detail::check(xelora_DeleteMemory2(h_)); }
    void SetCalibrationInfo(tagXeloraAlgoCalibrationInfo* info) { detail::check(xelora_SetCalibrationInfo(h_, info)); }
    void CalKR() { detail::check(xelora_CalKR(h_)); }
    void CalRectifyMap1(const bool& firstCamera) { detail::check(xelora_CalRectifyMap1(h_, firstCamera)); }
    void CalRectifyMap2(const bool& firstCamera) { detail::check(xelora_CalRectifyMap2(h_, firstCamera)); }

    // ---- fringe decoding ----
    void DecGrayPhase1(bool* validMask, float* modulationMap, float* averageMap, unsigned char** const patternImages,
                       const bool& ignoredFlag, const bool& smoothPhase, const int& smoothRounds,
                       const float& smoothSigma, float* absolutePhase) {
        detail::check(xelora_DecGrayPhase1(h_, validMask, modulationMap, averageMap, patternImages, ignoredFlag,
                                           smoothPhase, smoothRounds, smoothSigma, absolutePhase));
    }
    void UnDecGrayPhase1(bool* validMask, float* modulationMap, float* averageMap, unsigned char** const patternImages,
                         const bool& ignoredFlag, const bool& smoothPhase, const int& smoothRounds,
                         const float& smoothSigma, float* absolutePhase) {
        detail::check(xelora_UnDecGrayPhase1(h_, validMask, modulationMap, averageMap, patternImages, ignoredFlag,
                                             smoothPhase, smoothRounds, smoothSigma, absolutePhase));
    }
    void UnDecGrayPhase2(bool* validMask, float* modulationMap, float* averageMap, unsigned char** const patternImages,
                         const bool& ignoredFlag, const bool& smoothPhase, const int& smoothRounds,
                         const float& smoothSigma, float* absolutePhase) {
        detail::check(xelora_UnDecGrayPhase2(h_, validMask, modulationMap, averageMap, patternImages, ignoredFlag,
                                             smoothPhase, smoothRounds, smoothSigma, absolutePhase));
    }
    void DecGrayPhase2(bool* validMask, float* modulationMap, float* averageMap, unsigned char** const patternImages,
                       const bool& ignoredFlag, const bool& smoothPhase, const int& smoothRounds,
                       const float& smoothSigma, float* absolutePhase) {
        detail::check(xelora_DecGrayPhase2(h_, validMask, modulationMap, averageMap, patternImages, ignoredFlag,
                                           smoothPhase, smoothRounds, smoothSigma, absolutePhase));
    }

    // ---- stereo resampling, matching and triangulation ----
    float BiCubicPloy(const float& x) {
        float v = 0.0f;
        detail::check(xelora_BiCubicPloy(h_, x, &v));
        return v;
    }
    void InterpCubic1(float* map) { detail::check(xelora_InterpCubic1(h_, map)); }
    void InterpCubic2(float* map) { detail::check(xelora_InterpCubic2(h_, map)); }
    void InterpCubic3(float* map, double* mapX, double* mapY, bool* mask) {
        detail::check(xelora_InterpCubic3(h_, map, mapX, mapY, mask));
    }
    void InterpCubic4(float* map) { detail::check(xelora_InterpCubic4(h_, map)); }
    void InterpCubic5(float* map) { detail::check(xelora_InterpCubic5(h_, map)); }
    void InterpFlag1(bool* mask) { detail::check(xelora_InterpFlag1(h_, mask)); }
    void InterpFlag2(bool* mask) { detail::check(xelora_InterpFlag2(h_, mask)); }
    void MatchI(bool* mask1, bool* mask2, bool* matchMask, float* phase1, float* phase2) {
        detail::check(xelora_MatchI(h_, mask1, mask2, matchMask, phase1, phase2));
    }
    void MatchII(bool* mask1, bool* mask2, bool* matchMask, float* phase1, float* phase2) {
        detail::check(xelora_MatchII(h_, mask1, mask2, matchMask, phase1, phase2));
    }
    void CalPoint(bool* mask, float* X, float* Y, float* Z, int& count, const bool& useBilateral,
                  const int& bilateralSpatialSigma, const float& bilateralRangeSigma, const bool& useSmoothing,
                  const float& smoothSigma) {
        detail::check(xelora_CalPoint(h_, mask, X, Y, Z, &count, useBilateral, bilateralSpatialSigma,
                                      bilateralRangeSigma, useSmoothing, smoothSigma));
    }

    // ---- depth-map filters ----
    void MediaFilter(float* map, const int& order) { detail::check(xelora_MediaFilter(h_, map, order)); }
    void Outlierdetect(float* X, float* Y, float* Z, bool* mask, const int& radius, const float& distance) {
        detail::check(xelora_Outlierdetect(h_, X, Y, Z, mask, radius, distance));
    }
    void GradientFilter(float* mapA, float* mapB, bool* maskA, bool* maskB, const float& gradientLimit,
                        const float& passLevel) {
        detail::check(xelora_GradientFilter(h_, mapA, mapB, maskA, maskB, gradientLimit, passLevel));
    }
    void FillingFunction(float* X, float* Y, float* Z, bool* mask, const int& mode, const int& smallArea,
                         const int& largeArea, const int& minDepth, const int& maxDepth) {
        detail::check(xelora_FillingFunction(h_, X, Y, Z, mask, mode, smallArea, largeArea, minDepth, maxDepth));
    }
    void Bilateralfilter(float* map, bool* mask, const int& spatialSigma, const float& rangeSigma) {
        detail::check(xelora_Bilateralfilter(h_, map, mask, spatialSigma, rangeSigma));
    }

    // ---- imaging: colour, exposure, HDR, downsampling ----
    void CalRGB(float* X, float* Y, float* Z, bool* mask, const int& zMin, const int& zMax) {
        detail::check(xelora_CalRGB(h_, X, Y, Z, mask, zMin, zMax));
    }
    void CalRGBFuse(unsigned char** const srcA, unsigned char** const srcB, unsigned char** const dstA,
                    unsigned char** const dstB) {
        detail::check(xelora_CalRGBFuse(h_, srcA, srcB, dstA, dstB));
    }
    void CalRGBFuse(unsigned char** const srcA, unsigned char** const srcB, unsigned char** const dstA,
                    unsigned char** const dstB, const int& count) {
        detail::check(xelora_CalRGBFuseCount(h_, srcA, srcB, dstA, dstB, count));
    }
    void CalPreview(unsigned char* preview, float* m1, float* m2, float* m3, float* m4) {
        detail::check(xelora_CalPreview(h_, preview, m1, m2, m3, m4));
    }
    bool CalPixelAverage(unsigned char* image, const int& width, const int& height, const int& threshold) {
        bool r = false;
        detail::check(xelora_CalPixelAverage(h_, image, width, height, threshold, &r));
        return r;
    }
    int AutoExposure(unsigned char** const captures, double* exposureTimes, const int& pairCount, const int& target,
                     const int& lower, const int& upper, const int& current) {
        int r = 0;
        detail::check(xelora_AutoExposure(h_, captures, exposureTimes, pairCount, target, lower, upper, current, &r));
        return r;
    }
    int AutoExposure(const double& current, float* modulation1, float* modulation2, float* average1, float* average2,
                     const int& lower, const int& upper, const int& target) {
        int r = 0;
        detail::check(xelora_AutoExposureMaps(h_, current, modulation1, modulation2, average1, average2, lower, upper,
                                              target, &r));
        return r;
    }
    double BinarySearch_updataET(unsigned char* image1, unsigned char* image2, const double& lower,
                                 const double& upper, const int& target, const double& current) {
        double r = 0.0;
        detail::check(xelora_BinarySearch_updataET(h_, image1, image2, lower, upper, target, current, &r));
        return r;
    }
    int GetTh(const std::vector<unsigned char>& values, const int& lower, const int& upper) {
        int r = 0;
        detail::check(xelora_GetTh(h_, values.data(), values.size(), lower, upper, &r));
        return r;
    }
    void AutoHDR1(unsigned char** const captures, const int& mode, double* exposureTimes, const int& pairCount,
                  const int& divisor, const int& target, const int& lower, const int& upper, int* results) {
        detail::check(
            xelora_AutoHDR1(h_, captures, mode, exposureTimes, pairCount, divisor, target, lower, upper, results));
    }
    void AutoHDR2(unsigned char** const captures, const int& mode, double* exposureTimes, const int& pairCount,
                  const int& divisor, const int& target, const int& lower, const int& upper, int* results) {
        detail::check(
            xelora_AutoHDR2(h_, captures, mode, exposureTimes, pairCount, divisor, target, lower, upper, results));
    }
    void CalHDRFuse(unsigned char** const shortSeq, unsigned char** const longSeq, unsigned char** const out1,
                    unsigned char** const out2, const int& count) {
        detail::check(xelora_CalHDRFuse(h_, shortSeq, longSeq, out1, out2, count));
    }
    void DownSampling1(unsigned char** const src, unsigned char** const dst, const int& count, const int& W,
                       const int& H) {
        detail::check(xelora_DownSampling1(h_, src, dst, count, W, H));
    }
    void DownSampling2(unsigned char** const src, unsigned char** const dst, const int& count, const int& W,
                       const int& H) {
        detail::check(xelora_DownSampling2(h_, src, dst, count, W, H));
    }
    void DownSampling3(unsigned char* src, unsigned char* dst, const int& W, const int& H) {
        detail::check(xelora_DownSampling3(h_, src, dst, W, H));
    }
    void CalcImageBuffer(unsigned char* input, unsigned char* output, const bool& enable) {
        detail::check(xelora_CalcImageBuffer(h_, input, output, enable));
    }

    // ---- laser-line profiling ----
    void CalLineCenter(int const& row, std::vector<int> const& positions, std::vector<int> const& weights,
                       std::array<double, 2>& centre) {
        detail::check(xelora_CalLineCenter(h_, row, positions.data(), positions.size(), weights.data(), weights.size(),
                                           centre.data()));
    }
    void CalLineCenter_new(int const& index, int const& start, int const& count, int const* weights,
                           std::array<double, 2>& centre) {
        detail::check(xelora_CalLineCenter_new(h_, index, start, count, weights, centre.data()));
    }
    void lineExtract4(bool const& flag, unsigned char* image, Point2dList& points, bool* mask, int const& p1,
                      int const& p2, int const& p3, int const& p4, int const& p5, std::array<int, 2> const& offset) {
        detail::check(xelora_lineExtract4(h_, flag, image, detail::flat(points), points.size(), mask, p1, p2, p3, p4,
                                          p5, offset[0], offset[1]));
    }
    void lineExtract5(unsigned char* image, Point2dList& points, bool* mask, int const& q1, int const& q2,
                      std::array<int, 2> const& range, int const& narrowRunSpan, int const& rowBandSpan) {
        detail::check(xelora_lineExtract5(h_, image, detail::flat(points), points.size(), mask, q1, q2, range[0],
                                          range[1], narrowRunSpan, rowBandSpan));
    }
    void GetCloudPoint_New_600_1(unsigned char* image, Point2dList& points) {
        detail::fetch(points, rows(), [&](Point2dList& p, std::size_t cap, std::size_t* n) {
            return xelora_GetCloudPoint_New_600_1(h_, image, detail::flat(p), cap, n);
        });
    }
    void GetCloudPoint_New_600_2(unsigned char* image, Point2dList& points) {
        detail::fetch(points, rows(), [&](Point2dList& p, std::size_t cap, std::size_t* n) {
            return xelora_GetCloudPoint_New_600_2(h_, image, detail::flat(p), cap, n);
        });
    }
    void UndistortPoints2(bool const& firstCamera, Point2dList& points) {
        detail::check(xelora_UndistortPoints2(h_, firstCamera, detail::flat(points), points.size()));
    }
    void MatchLine(Point2dList const& points1, Point2dList const& points2, bool* mask1, bool* mask2,
                   std::vector<int>& matches) {
        detail::check(xelora_MatchLine(h_, detail::flat(points1), points1.size(), detail::flat(points2),
                                       points2.size(), mask1, mask2, matches.data(), matches.size()));
    }
    void Calpoint(Point2dList const& points1, Point2dList const& points2, bool* mask, std::vector<int> const& matches,
                  Point3dList& cloud, Point3dList& pixelDepth) {
        Point3dList depth;
        detail::fetch(cloud, rows(), [&](Point3dList& c, std::size_t cap, std::size_t* n) {
            depth.resize(c.size());
            std::size_t nd = 0;
            const int s = xelora_Calpoint(h_, detail::flat(points1), points1.size(), detail::flat(points2),
                                          points2.size(), mask, matches.data(), matches.size(), detail::flat(c), cap,
                                          n, detail::flat(depth), depth.size(), &nd);
            depth.resize(nd < depth.size() ? nd : depth.size());
            return s;
        });
        pixelDepth = std::move(depth);
    }
    void Calpoint_smooth(Point2dList const& points1, Point2dList const& points2, int const& halfWindow, bool* mask,
                         std::vector<int> const& matches, Point3dList& cloud) {
        detail::fetch(cloud, rows(), [&](Point3dList& c, std::size_t cap, std::size_t* n) {
            return xelora_Calpoint_smooth(h_, detail::flat(points1), points1.size(), detail::flat(points2),
                                          points2.size(), halfWindow, mask, matches.data(), matches.size(),
                                          detail::flat(c), cap, n);
        });
    }
    void FitLineFunction_V(Point2dList& points, int const& halfWindow, bool const& enable) {
        detail::check(xelora_FitLineFunction_V(h_, detail::flat(points), points.size(), halfWindow, enable));
    }
    void Gaussianfilter(Point2dList& points, int const& halfWindow) {
        detail::check(xelora_Gaussianfilter(h_, detail::flat(points), points.size(), halfWindow));
    }

    // ---- point clouds ----
    void SORfilter(Point3dList& cloud, const int& k, const float& multiplier) {
        detail::check(xelora_SORfilter(h_, detail::flat(cloud), cloud.size(), k, multiplier));
    }
    void sorFilter(Point3dList& cloud, const int& k, const double& unused) {
        detail::check(xelora_sorFilter(h_, detail::flat(cloud), cloud.size(), k, unused));
    }
    void CloudSmooth(Point3dList& map, const int& r, const float& radius) {
        detail::check(xelora_CloudSmooth(h_, detail::flat(map), map.size(), r, radius));
    }
    void Gaussianfilter_PMR(Point3dList& cloud, const int& r) {
        detail::check(xelora_Gaussianfilter_PMR(h_, detail::flat(cloud), cloud.size(), r));
    }
    void Downsample(Point3dList input, Point3dList& output, const float& binWidth, int& count) {
        const std::size_t guess = input.size() > rows() ? input.size() : rows();
        detail::fetch(output, guess, [&](Point3dList& o, std::size_t cap, std::size_t* n) {
            return xelora_Downsample(h_, detail::flat(input), input.size(), detail::flat(o), cap, n, binWidth, &count);
        });
    }
    void GetDepth(const std::vector<Point3dList>& profiles, Point3dList& map) {
        Point3dList points;
        std::vector<std::size_t> sizes;
        for (const Point3dList& p : profiles) {
            points.insert(points.end(), p.begin(), p.end());
            sizes.push_back(p.size());
        }
        const std::size_t guess = static_cast<std::size_t>(GetROIInfoWidth() > 0 ? GetROIInfoWidth() : 0) * rows();
        detail::fetch(map, guess, [&](Point3dList& m, std::size_t cap, std::size_t* n) {
            return xelora_GetDepth(h_, detail::flat(points), sizes.data(), sizes.size(), detail::flat(m), cap, n);
        });
    }
    void RGB2Cloud(const std::vector<std::array<int, 2>>& pixels, const Point3dList& cloud, const double& maxDistance,
                   Point3dList& matched) {
        static_assert(sizeof(std::array<int, 2>) == 2 * sizeof(int), "pixel lists are packed");
        const int* px = pixels.empty() ? nullptr : pixels.front().data();
        detail::fetch(matched, pixels.size(), [&](Point3dList& m, std::size_t cap, std::size_t* n) {
            return xelora_RGB2Cloud(h_, px, pixels.size(), detail::flat(cloud), cloud.size(), maxDistance,
                                    detail::flat(m), cap, n);
        });
    }
    void GetRGBpoint(const std::tuple<std::vector<unsigned char>, int, int>& image, const Point3dList& cloud,
                     std::vector<std::pair<std::array<double, 6>, bool>>& colored) {
        const std::vector<unsigned char>& bytes = std::get<0>(image);
        std::vector<std::array<double, 6>> values;
        std::vector<unsigned char> valid;  // bool-sized bytes (std::vector<bool> has no data())
        static_assert(sizeof(bool) == 1, "bool is one byte, as in the C interface");
        detail::fetch(values, cloud.size(), [&](std::vector<std::array<double, 6>>& v, std::size_t cap, std::size_t* n) {
            valid.resize(v.size());
            return xelora_GetRGBpoint(h_, bytes.data(), bytes.size(), std::get<1>(image), std::get<2>(image),
                                      detail::flat(cloud), cloud.size(), v.empty() ? nullptr : v.front().data(),
                                      reinterpret_cast<bool*>(valid.data()), cap, n);
        });
        colored.clear();
        for (std::size_t i = 0; i < values.size(); ++i) colored.emplace_back(values[i], valid[i] != 0);
    }

    // ---- surface and curve fitting ----
    void PlaneFitPoly11(const Point3dList& points, std::vector<float>& c) { fit(xelora_PlaneFitPoly11, points, c); }
    void PlaneFitPoly22(const Point3dList& points, std::vector<float>& c) { fit(xelora_PlaneFitPoly22, points, c); }
    void PlaneFitPoly33(const Point3dList& points, std::vector<float>& c) { fit(xelora_PlaneFitPoly33, points, c); }
    void PlaneFitPoly55(const Point3dList& points, std::vector<float>& c) { fit(xelora_PlaneFitPoly55, points, c); }
    void PlaneFitPoly1010(const Point3dList& points, std::vector<float>& c) {
        fit(xelora_PlaneFitPoly1010, points, c);
    }
    std::vector<double> polynomialFit(const std::vector<double>& x, const std::vector<double>& y, const int& degree) {
        std::vector<double> c;
        detail::fetch(c, degree >= 0 ? static_cast<std::size_t>(degree) + 1 : 0,
                      [&](std::vector<double>& v, std::size_t cap, std::size_t* n) {
                          return xelora_polynomialFit(h_, x.data(), x.size(), y.data(), y.size(), degree, v.data(), cap,
                                                      n);
                      });
        return c;
    }
    double evaluatePolynomial(const std::vector<double>& coefficients, const double& x) {
        double v = 0.0;
        detail::check(xelora_evaluatePolynomial(h_, coefficients.data(), coefficients.size(), x, &v));
        return v;
    }

private:
    int get(int (*f)(xelora_handle*, int*)) {
        int v = 0;
        detail::check(f(h_, &v));
        return v;
    }
    std::size_t rows() {
        const int h = GetROIInfoHeight();
        return h > 0 ? static_cast<std::size_t>(h) : 0;
    }
    void fit(int (*f)(xelora_handle*, const double*, std::size_t, float*, std::size_t, std::size_t*),
             const Point3dList& points, std::vector<float>& c) {
        detail::fetch(c, 66, [&](std::vector<float>& v, std::size_t cap, std::size_t* n) {
            return f(h_, detail::flat(points), points.size(), v.data(), cap, n);
        });
    }

    xelora_handle* h_ = nullptr;
};

}  // namespace xelora

#endif  // XELORA_C_HPP
