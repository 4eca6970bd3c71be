// XeloraAlgo: image-processing library of a 3D measurement camera head (two measurement
// cameras, a fringe or laser-line projector and an optional colour camera).
//
// This is the library's only public header. One `XeloraAlgo` handle per sensor head; a handle is
// used by one thread at a time. All buffers are owned by the caller; per-pixel maps are row-major
// arrays of ROI width x height elements (index row * width + col). A depth or coordinate value of
// 0 marks a pixel without a result.
//
// Errors (the whole library follows one policy; docs/robustness.md lists every limit):
//  - A member whose set-up is missing or stale (its tables not built, released by DeleteMemory1/2,
//    or built for another ROI, downsampling step or offset) throws std::logic_error
//    "<member>: <step> has not been run for this ROI", e.g. "CalRectifyMap1: CalKR has not been
//    run for this ROI".
//  - A parameter outside the range where the member's result is defined (a window, radius, degree
//    or kernel too large or negative, a count outside what the member keeps, an ROI whose sensor
//    positions do not fit in int or that is too small for fixed sample windows, a list shorter than
//    the ROI height, a match index outside its list) throws std::invalid_argument
//    "<member>: <parameter> must be ..., got <value>".
//  - Both are thrown before anything is written: outputs, caller buffers and the handle's tables are
//    as they were, and the handle stays usable.
//  - Values inside buffers are data, never errors: NaN, infinities, huge and denormal values give a
//    defined result (SORfilter treats a point whose coordinates are not finite in float as not
//    valid and returns it as (0, 0, 0)).
//  - No member allocates more than its working storage for the ROI and the lists it is given.
//  - Buffers passed by pointer are trusted to have the documented size; containers are checked.
#ifndef XELORAALGO_H
#define XELORAALGO_H

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#if defined(_WIN32)
#  if defined(XELORAALGO_BUILDING)
#    define XELORAALGO_API __declspec(dllexport)
#  else
#    define XELORAALGO_API __declspec(dllimport)
#  endif
#else
#  define XELORAALGO_API __attribute__((visibility("default")))
#endif

namespace XELORAALGO {

// Region of interest on the sensor, in sensor pixels.
struct tagXeloraAlgoROIInfo {
    std::int32_t offsetX;  // sensor column of the ROI's left edge
    std::int32_t offsetY;  // sensor row of the ROI's top edge
    std::int32_t width;    // columns of every per-pixel map
    std::int32_t height;   // rows of every per-pixel map
};

// Calibration of the sensor head: 111 doubles, matrices row-major.
//   K1, K2   camera matrices of the measurement cameras ([0] fx, [2] cx, [4] fy, [5] cy, pixels)
//   D1, D2   their distortion k1, k2, p1, p2, k3
//   R, T     pose of camera 2 relative to camera 1: X2 = R * X1 + T
//   Tinv     camera 2's centre in camera-1 coordinates
//   K3, D3   colour camera matrix and distortion; R3, T3 pose into colour-camera coordinates
//   RLine, TLine  pose used by the laser-profile triangulation
//   F        fundamental matrix of the laser-profile cameras (p^T F q = 0 for matching points)
//   auxMatrixA, auxMatrixB, auxVector are carried but not read.
struct tagXeloraAlgoCalibrationInfo {
    double K1[9];
    double K2[9];
    double D1[5];
    double D2[5];
    double R[9];
    double T[3];
    double auxMatrixA[9];
    double Tinv[3];
    double auxMatrixB[9];
    double K3[9];
    double D3[5];
    double R3[9];
    double T3[3];
    double RLine[9];
    double TLine[3];
    double auxVector[3];
    double F[9];
};
static_assert(sizeof(tagXeloraAlgoCalibrationInfo) == 111 * sizeof(double),
              "the calibration record is exactly 111 doubles");

using Point2dList = std::vector<std::array<double, 2>>;
using Point3dList = std::vector<std::array<double, 3>>;

struct AlgoEngine;

// Conventions of every member below:
//  - w, h: the width and height of the ROI in force (SetROIInfo); a "map" is w * h elements,
//    row-major, owned and allocated by the caller; a "two-camera frame" is 2 * w * h bytes (rows of w
//    bytes alternating camera 1, camera 2); an "image stack" is an array of pointers to planes.
//  - Lengths in mm, image positions in pixels, phases in radians.
//  - "In place": the member reads and overwrites the caller's buffer. Lists (std::vector) are
//    resized or refilled by the member as stated.
//  - Threads: the members that start workers say so ("n threads"); they start and join them inside
//    the call. Every other member runs on the calling thread.
//  - Set-up: "needs X" means X must have run on this handle for the ROI, step and offset in force.
class XELORAALGO_API XeloraAlgo {
public:
    // A handle with ROI and calibration all zero, step 1, offset 0, and the decoders' lookup tables
    // (two 511 x 511 float tables). Not copyable.
    XeloraAlgo();
    ~XeloraAlgo();
    XeloraAlgo(const XeloraAlgo&) = delete;
    XeloraAlgo& operator=(const XeloraAlgo&) = delete;

    // ---- handle, ROI, calibration and rectification maps ----
    // Replaces `version` by "V0.00.02".
    void GetSdkVersionString(std::string& version);
    // The fields of the ROI in force (0 on a new handle).
    int GetROIInfoWidth();
    int GetROIInfoHeight();
    int GetROIInfoOffsetX();
    int GetROIInfoOffsetY();
    // Copies the ROI record (sensor offset and size, pixels). Every later map has w * h elements;
    // tables built for another ROI must be built again (CalKR, CalRectifyMap1/2, MatchI).
    void SetROIInfo(tagXeloraAlgoROIInfo* info);
    // Sensor pixels per ROI pixel (step) and a sub-pixel offset added to sensor positions; read by
    // CalKR and CalRectifyMap1/2, so set it before them. Step 1, offset 0 on a new handle. Checked by
    // CalKR, CalRectifyMap1/2 and CalPoint: step * (size - 1) and the sensor positions step * index +
    // ROI offset must fit in int (std::invalid_argument).
    void SetDownsamplingInfo(const int& step, const float& offset);
    // Writes cx1, pixel pitch (mm), cx2, cy1, focal length 1 (mm), focal length 2 (mm) of the last
    // CalKR, in that argument order; all 0 before any CalKR.
    void GetData(double& a, double& b, double& c, double& d, double& e, double& f);
    // Release the matching tables (MatchI, MatchII) / the geometry and map tables (CalKR,
    // CalRectifyMap1/2). Any number of times; released tables are built again only by their builder.
    void DeleteMemory1();
    void DeleteMemory2();
    // Copies the 111-double calibration record; nothing is derived until CalKR.
    void SetCalibrationInfo(tagXeloraAlgoCalibrationInfo* info);
    // Stereo geometry of the ROI, step and offset in force: principal points, focal lengths (mm),
    // epipoles and five w * h engine tables (epipolar-line slopes, angles, line index). Needs
    // SetROIInfo and SetCalibrationInfo; std::invalid_argument when the sensor positions do not fit
    // in int.
    void CalKR();
    // Rectification map of camera 1 (true) or 2 (false): two w * h double tables, each entry the ROI
    // position in that camera's raw image (5-term distortion). Needs CalKR for this ROI
    // (std::logic_error).
    void CalRectifyMap1(const bool& firstCamera);
    // Undistortion map of camera 1 (true) or 2 (false) on the same grid (4-term distortion).
    void CalRectifyMap2(const bool& firstCamera);

    // ---- fringe decoding ----
    // Decode the 11 pattern planes of one camera (patternImages[0..10], w * h bytes each: Gray bits
    // 0..6, fringes 7..10) into validMask, modulationMap, averageMap and absolutePhase (radians), all
    // maps written in full. smoothPhase enables smoothRounds rounds of masked fringe smoothing with
    // smoothSigma (pixels). ignoredFlag is not read. 8 threads per pass (pixel bands, the last
    // w * h mod 8 pixels on the calling thread). UnDecGrayPhase1/2 decode the reversed code and
    // phase; UnDecGrayPhase2 adds a vertical consistency check. The planes are not changed. With
    // smoothing rounds, a sigma whose kernel radius trunc(1.5 * sigma) exceeds 65535 throws
    // std::invalid_argument.
    void DecGrayPhase1(bool* validMask, float* modulationMap, float* averageMap, unsigned char** const patternImages,
                       const bool& ignoredFlag, const bool& smoothPhase, const int& smoothRounds,
                       const float& smoothSigma, float* absolutePhase);
    void UnDecGrayPhase1(bool* validMask, float* modulationMap, float* averageMap, unsigned char** const patternImages,
                         const bool& ignoredFlag, const bool& smoothPhase, const int& smoothRounds,
                         const float& smoothSigma, float* absolutePhase);
    void UnDecGrayPhase2(bool* validMask, float* modulationMap, float* averageMap, unsigned char** const patternImages,
                         const bool& ignoredFlag, const bool& smoothPhase, const int& smoothRounds,
                         const float& smoothSigma, float* absolutePhase);
    // Paired 18-plane pattern set (each Gray image followed by its inverse, fringes in planes
    // 14..17), same outputs; overwrites the Gray planes 0, 2, ..., 12 with the decoded bits. Calling
    // thread only.
    void DecGrayPhase2(bool* validMask, float* modulationMap, float* averageMap, unsigned char** const patternImages,
                       const bool& ignoredFlag, const bool& smoothPhase, const int& smoothRounds,
                       const float& smoothSigma, float* absolutePhase);

    // ---- stereo resampling, matching and triangulation ----
    // Cubic convolution kernel (a = -0.5) at x.
    float BiCubicPloy(const float& x);
    // Cubic resampling of a float map in place through the engine's maps: 1 and 2 rectify camera 1
    // and camera 2 (need CalRectifyMap1(true / false)), 4 and 5 undistort them (need
    // CalRectifyMap2(true / false)). Pixels whose 4 x 4 source neighbourhood leaves the grid become 0.
    // 2 threads (row bands): the last row of an odd h stays 0. std::logic_error unless the map they
    // use was built for this ROI; InterpFlag1/2 likewise.
    void InterpCubic1(float* map);
    void InterpCubic2(float* map);
    // Masked cubic resampling of `map` in place through the caller's w * h double maps mapX, mapY;
    // mask (w * h) marks the valid source pixels. 4 threads (row bands): rows from 4 * (h / 4) on
    // stay 0.
    void InterpCubic3(float* map, double* mapX, double* mapY, bool* mask);
    void InterpCubic4(float* map);
    void InterpCubic5(float* map);
    // Nearest-neighbour resampling of a bool map in place onto camera 1's / camera 2's rectified grid
    // (need CalRectifyMap1(true / false)). 2 threads (pixel bands): the last pixel of an odd w * h
    // stays false.
    void InterpFlag1(bool* mask);
    void InterpFlag2(bool* mask);
    // Matching of the rectified phase maps (all five buffers w * h, on the rectified grid): MatchI
    // finds integer matches with a left-right check and writes matchMask (true where matched) and
    // the engine's match tables; MatchII refines them to sub-pixel columns (in the engine; matchMask
    // may lose pixels). MatchI needs CalKR, MatchII needs MatchI, for this ROI (std::logic_error).
    // 8 threads (row bands): rows from 8 * (h / 8) on are not touched (matchMask as given, tables 0).
    // The phase maps are read only.
    void MatchI(bool* mask1, bool* mask2, bool* matchMask, float* phase1, float* phase2);
    void MatchII(bool* mask1, bool* mask2, bool* matchMask, float* phase1, float* phase2);
    // Triangulation into the w * h maps X, Y, Z (mm, camera 1's frame, on camera 1's undistorted
    // grid); mask in: matchMask, out: the valid points; count: their number. Optional bilateral
    // filter (spatial sigma in pixels, range sigma in mm; 8 threads) and masked smoothing
    // (smoothSigma, pixels) of the depths on the rectified grid. Needs CalKR, CalRectifyMap1(true)
    // and MatchII for this ROI (std::logic_error); smoothSigma is limited as for the decoders.
    void CalPoint(bool* mask, float* X, float* Y, float* Z, int& count, const bool& useBilateral,
                  const int& bilateralSpatialSigma, const float& bilateralRangeSigma,
                  const bool& useSmoothing, const float& smoothSigma);

    // ---- depth-map filters ----
    // In place on a w * h float map: 3 x 3 order statistic of every nonzero interior pixel (order 0
    // max, 4 median, 8 min); zeros and the border are unchanged. order outside 0 ... 8 throws
    // std::invalid_argument.
    void MediaFilter(float* map, const int& order);
    // In place on the w * h point map X, Y, Z (mm) and mask: raster-order removal of points with
    // fewer than 2 * radius^2 neighbours (itself included) in the (2 radius + 1)^2 window within
    // `distance` (mm) in 3-D; removed points become (0, 0, 0) with mask false. radius < 0 throws
    // std::invalid_argument.
    void Outlierdetect(float* X, float* Y, float* Z, bool* mask, const int& radius, const float& distance);
    // In place on two w * h depth maps and their masks: drops pixels (value 0, mask false) whose
    // central-difference gradient (clamped at 255) is not below gradientLimit, when passLevel is in
    // (0, 1]; passLevel > 1 drops all, <= 0 none.
    void GradientFilter(float* mapA, float* mapB, bool* maskA, bool* maskB, const float& gradientLimit,
                        const float& passLevel);
    // In place on the w * h point map (mm) and mask: fills holes (Z == 0) at filling level mode
    // 1 .. 5: regions of at most smallArea pixels from mode 1 on, regions below largeArea from mode 2
    // on, from valid depths in [minDepth, maxDepth] (mm). Needs CalKR. Nothing within five pixels of
    // the border is filled.
    void FillingFunction(float* X, float* Y, float* Z, bool* mask, const int& mode, const int& smallArea,
                         const int& largeArea, const int& minDepth, const int& maxDepth);

    // ---- bilateral filter ----
    // Edge-preserving smoothing of a w * h float map in place inside mask (spatial sigma in pixels,
    // range sigma in the map's unit); invalid pixels become 0. 8 threads (row bands): rows from
    // 8 * (h / 8) on become 0.
    void Bilateralfilter(float* map, bool* mask, const int& spatialSigma, const float& rangeSigma);

    // ---- imaging: colour, exposure, HDR, downsampling ----
    // Registers a point map (w * h X, Y, Z in mm and mask, as CalPoint leaves them) onto the colour
    // camera's pixel grid, in place: the result is in the colour camera's frame, valid exactly where
    // a point with zMin < Z < zMax (mm) fell into a 2 x 2 footprint, 0 elsewhere; the nearest surface
    // wins. Needs SetCalibrationInfo (K3, D3, R3, T3). 4 threads (row bands; the last h mod 4 rows on
    // the calling thread).
    void CalRGB(float* X, float* Y, float* Z, bool* mask, const int& zMin, const int& zMax);
    // Splits interleaved 3-byte colour images (w * h pixels) of stacks A and B into w * h grey planes
    // of dstA and dstB: 11 images, byte 0 of every pixel; with `count`, count images, byte 2.
    void CalRGBFuse(unsigned char** const srcA, unsigned char** const srcB, unsigned char** const dstA,
                    unsigned char** const dstB);
    void CalRGBFuse(unsigned char** const srcA, unsigned char** const srcB, unsigned char** const dstA,
                    unsigned char** const dstB, const int& count);
    // preview (w x 2h bytes): row 2r = m1 + m3, row 2r + 1 = m2 + m4 of row r of the four w * h maps,
    // truncated and clamped at 255.
    void CalPreview(unsigned char* preview, float* m1, float* m2, float* m3, float* m4);
    // True when the integer mean of the width * height bytes of `image` is below threshold (sizes from
    // the arguments, not the ROI). Negative width or height throws std::invalid_argument.
    bool CalPixelAverage(unsigned char* image, const int& width, const int& height, const int& threshold);
    // Exposure proposal from three two-camera frames captured at rising exposure times: a straight
    // line through their mean levels, solved for `target`, kept within [lower, upper], unchanged
    // when within 2 of `current`. Doubles the first three exposureTimes in place (the caller's array
    // keeps the doubled values). pairCount outside 1 ... 3 throws std::invalid_argument (the times
    // are then not doubled).
    int AutoExposure(unsigned char** const captures, double* exposureTimes, const int& pairCount,
                     const int& target, const int& lower, const int& upper, const int& current);
    // Exposure proposal from the w * h modulation and average maps of both cameras (as the decoders
    // write them): samples of a central block and twelve 50 x 50 windows predict the level at
    // `current`, scaled toward `target` and kept within [lower, upper]; 25 when no sample qualifies.
    // The ROI must hold the twelve windows (e.g. 400 x 313 or 329 x 329 and up), else
    // std::invalid_argument.
    int AutoExposure(const double& current, float* modulation1, float* modulation2, float* average1,
                     float* average2, const int& lower, const int& upper, const int& target);
    // One step of a feedback loop on the mean grey level of two w * h images toward `target`: the next
    // exposure within [lower, upper].
    double BinarySearch_updataET(unsigned char* image1, unsigned char* image2, const double& lower,
                                 const double& upper, const int& target, const double& current);
    // Integer threshold (mean of `values` times 10, truncated) kept within [lower, upper].
    int GetTh(const std::vector<unsigned char>& values, const int& lower, const int& upper);
    // Short and long exposure proposals (results[0], results[1]) from three two-camera frames captured
    // at exposureTimes: the bright and dark quantiles (quantile `divisor`) of the pixels whose rise
    // lies in the mode's band (mode 0: 15 .. 200, 1: 0 .. 100, other: 0 .. 200), solved for `target`,
    // kept within [lower, upper]. AutoHDR2 normalises the mean levels differently. pairCount outside
    // 1 ... 3 or upper == INT_MIN throw std::invalid_argument; a divisor below 2 is taken as 2.
    void AutoHDR1(unsigned char** const captures, const int& mode, double* exposureTimes, const int& pairCount,
                  const int& divisor, const int& target, const int& lower, const int& upper, int* results);
    void AutoHDR2(unsigned char** const captures, const int& mode, double* exposureTimes, const int& pairCount,
                  const int& divisor, const int& target, const int& lower, const int& upper, int* results);
    // Merges `count` two-camera frames of a short and a long exposure pixel by pixel (long unless it
    // saturates in the last four frames) and splits them into count w * h planes per camera (out1:
    // camera 1, out2: camera 2). With count < 4 the frames there are decide (count <= 0: nothing is
    // written).
    void CalHDRFuse(unsigned char** const shortSeq, unsigned char** const longSeq, unsigned char** const out1,
                    unsigned char** const out2, const int& count);
    // Halve images in both directions: source rows of 2 * W bytes, H rows (H even); output W bytes by
    // H / 2 rows. DownSampling1: of `count` images, all but the last four take each block's top-left
    // pixel and the last four the truncated block mean; DownSampling2: every image averaged;
    // DownSampling3: one image averaged. The ROI is not read.
    void DownSampling1(unsigned char** const src, unsigned char** const dst, const int& count, const int& W,
                       const int& H);
    void DownSampling2(unsigned char** const src, unsigned char** const dst, const int& count, const int& W,
                       const int& H);
    void DownSampling3(unsigned char* src, unsigned char* dst, const int& W, const int& H);
    // Temporal filter of two-camera frames (2 * w * h bytes): with enable, every byte is darkened by
    // its change since the previous frame (the first frame, or one of another size, passes through);
    // without, the stored frame is forgotten and output is not written. The previous frame is
    // process-wide, shared by all handles; calls are serialised across handles. 2 threads (bands of
    // row pairs; the last row pair of an odd h on the calling thread).
    void CalcImageBuffer(unsigned char* input, unsigned char* output, const bool& enable);

    // ---- laser-line profiling ----
    // Line lists (Point2dList) hold one entry per ROI row, (x, y) = (line column, row); x == 0 means
    // "no line in this row". Row masks are bool arrays of ROI height entries. Images are 8-bit,
    // ROI width x height, row-major. Profile flow: extract in both images -> UndistortPoints2 on
    // each list -> MatchLine -> Calpoint / Calpoint_smooth. Needs SetROIInfo (and
    // SetCalibrationInfo for the last three steps), not CalKR.
    //
    // Centre of gravity of positions weighted by weights: centre = (column, row). Unchanged when
    // the weight sum is 0.
    void CalLineCenter(const int& row, const std::vector<int>& positions, const std::vector<int>& weights,
                       std::array<double, 2>& centre);
    // Centre of `count` weights starting at column `start`: centre = (index, start + sum(i*w)/sum(w)).
    // Note the order: index (usually the row) first. Unchanged when the weight sum is 0.
    void CalLineCenter_new(const int& index, const int& start, const int& count, const int* weights,
                           std::array<double, 2>& centre);
    // Stripe centres of one image (lit = value > 0) into points[r] = (column, row) in ROI
    // coordinates plus `offset`; points must already hold >= height entries (pass them zeroed),
    // mask[r] is set true for rows with a line. Points within 20 columns of either ROI side are
    // cleared. flag and p1..p5 are not used. UndistortPoints2 expects ROI coordinates: keep offset
    // (0, 0) for the profile path.
    void lineExtract4(const bool& flag, unsigned char* image, Point2dList& points, bool* mask, const int& p1,
                      const int& p2, const int& p3, const int& p4, const int& p5, const std::array<int, 2>& offset);
    // Variant for images with background (lit = value > 30): points[r] = (column, row) in ROI
    // coordinates, same list and mask conventions as lineExtract4, no border band. Runs of 1-2
    // pixels count only where offsetY + column lies strictly between narrowRunSpan/3 and twice that;
    // the mean line column over sensor rows rowBandSpan/3 .. 2*(rowBandSpan/3) steers the neighbour
    // passes. q1, q2 and range are not used. Both extractors throw std::invalid_argument for a
    // points list shorter than the ROI height.
    void lineExtract5(unsigned char* image, Point2dList& points, bool* mask, const int& q1, const int& q2,
                      const std::array<int, 2>& range, const int& narrowRunSpan, const int& rowBandSpan);
    // Stripe tracker on the weight map v*v/255 (> 20): replaces `points` with height entries
    // (column, row) in ROI coordinates, (0, 0) for rows 0 and height-1 and rows without a line.
    // Only stripes left of column width-30 are followed; ROIs narrower than 33 give no line.
    void GetCloudPoint_New_600_1(unsigned char* image, Point2dList& points);
    // Blur, Otsu threshold, run linking and weighted centres: replaces `points` with height entries
    // (column, row) in ROI coordinates; row 0 is (0, 0), other rows without a line (0, row).
    // Neither 600_1 nor 600_2 writes a mask: for MatchLine use mask[r] = points[r][0] > 0.
    void GetCloudPoint_New_600_2(unsigned char* image, Point2dList& points);
    // In place: ROI coordinates of the raw image of camera 1 (firstCamera) or 2 -> undistorted
    // SENSOR pixel coordinates (ROI offset added, K and D of that camera).
    void UndistortPoints2(const bool& firstCamera, Point2dList& points);
    // Pairs rows of list 1 (undistorted sensor pixels) with rows of list 2 through the record's
    // fundamental matrix F (residual |q^T F p|, p from list 1, q from list 2, below 0.1; search
    // rows i-200 .. i+199). matches[i] = partner row; mask1[i] cleared when none is accepted.
    // Lists and matches shorter than the ROI height throw std::invalid_argument.
    void MatchLine(const Point2dList& points1, const Point2dList& points2, bool* mask1, bool* mask2,
                   std::vector<int>& matches);
    // Triangulates matched rows: cloud = height entries (X, Y, Z) in camera-1 coordinates, in the
    // unit of TLine ((0, 0, 0) for rows with mask false); pixelDepth = (x1, y1, Z) per valid row.
    // points1 or matches shorter than the ROI height, or matches[i] of a masked row outside points2,
    // throw std::invalid_argument (also for Calpoint_smooth).
    void Calpoint(const Point2dList& points1, const Point2dList& points2, bool* mask, const std::vector<int>& matches,
                  Point3dList& cloud, Point3dList& pixelDepth);
    // As Calpoint's cloud, using FitLineFunction_V-smoothed lists where that keeps the profile closer
    // to the previous row's point (within 2.0 of the raw point).
    void Calpoint_smooth(const Point2dList& points1, const Point2dList& points2, const int& halfWindow, bool* mask,
                         const std::vector<int>& matches, Point3dList& cloud);
    // Local straight-line fit x = a*y + b over 2*halfWindow neighbouring entries, in place.
    void FitLineFunction_V(Point2dList& points, const int& halfWindow, const bool& enable);
    // Gaussian smoothing (2*halfWindow + 1 taps) of the non-zero x values, not across jumps >= 5.
    // Fewer non-zero entries than taps (any halfWindow that large) leave the list unchanged.
    void Gaussianfilter(Point2dList& points, const int& halfWindow);

    // ---- point clouds ----
    // Statistical outlier removal (valid: z > 0) with a kd-tree over the k nearest neighbours, in
    // place; removed points become (0, 0, 0). k < 1 or k above the number of valid points (with at
    // least 10 of them) throws std::invalid_argument and leaves the cloud untouched. The kd-tree
    // search state is process-wide: calls are serialised across handles. A point with z > 0 whose
    // coordinates are not finite in float is not valid: it is returned as (0, 0, 0).
    void SORfilter(Point3dList& cloud, const int& k, const float& multiplier);
    // Outlier removal (valid: z > 200) over windows of 21 consecutive valid points, in place, each
    // point's mean distance taken over its k smallest window distances; the third argument is not
    // used.
    void sorFilter(Point3dList& cloud, const int& k, const double& unused);
    // Depth smoothing in place of an organised w * h point map (mm) within a (2r+1)^2 window and a
    // 3-D radius (mm). r < 0 throws std::invalid_argument.
    void CloudSmooth(Point3dList& map, const int& r, const float& radius);
    // Gaussian depth smoothing in place along the sequence of valid points (x != 0), 2r + 1 taps.
    void Gaussianfilter_PMR(Point3dList& cloud, const int& r);
    // Thins a profile of ROI-height points by averaging bins of `binWidth` (mm) along x into `output`
    // (refilled); count receives the number of output points.
    void Downsample(Point3dList input, Point3dList& output, const float& binWidth, int& count);
    // Projects profiles (points in camera 1's frame, mm) into camera 1 (K1, D1): `map` is refilled with
    // an organised w * h point map, short row gaps bridged, (0, 0, 0) where nothing landed.
    void GetDepth(const std::vector<Point3dList>& profiles, Point3dList& map);
    // For each colour-image pixel (column, row), the cloud point projecting nearest to it (within
    // maxDistance pixels) into `matched` (refilled, one entry per pixel, (0, 0, 0) for none).
    void RGB2Cloud(const std::vector<std::array<int, 2>>& pixels, const Point3dList& cloud,
                   const double& maxDistance, Point3dList& matched);
    // Colours every point with the bytes of the colour-image pixel (bytes, width, height; 3 bytes
    // per pixel) it projects to: `colored` is refilled with (x, y, z, byte 0, 1, 2) and whether the
    // point was coloured. 8 threads (point bands; the last n mod 8 points on the calling thread).
    void GetRGBpoint(const std::tuple<std::vector<unsigned char>, int, int>& image, const Point3dList& cloud,
                     std::vector<std::pair<std::array<double, 6>, bool>>& colored);

    // ---- surface and curve fitting ----
    // Least-squares surfaces z = f(x, y); `coefficients` is emptied and filled in term order:
    //   PlaneFitPoly11: x, y, 1          PlaneFitPoly22: x^2, y^2, xy, x, y, 1
    //   PlaneFitPoly33: x^3, x^2y, xy^2, y^3, x^2, xy, y^2, x, y, 1
    //   PlaneFitPoly55 / PlaneFitPoly1010: every x^a y^b with a + b <= 5 / 10, total degree falling,
    //   within a degree x^d, x^(d-1)y, ..., y^d.
    // An empty list gives all-zero coefficients; degenerate point sets are not reported.
    void PlaneFitPoly11(const Point3dList& points, std::vector<float>& coefficients);
    void PlaneFitPoly22(const Point3dList& points, std::vector<float>& coefficients);
    void PlaneFitPoly33(const Point3dList& points, std::vector<float>& coefficients);
    void PlaneFitPoly55(const Point3dList& points, std::vector<float>& coefficients);
    void PlaneFitPoly1010(const Point3dList& points, std::vector<float>& coefficients);
    // Coefficients c0 .. c_degree (ascending powers) of the least-squares polynomial through (x[k], y[k]);
    // a negative degree gives an empty vector; degree > 100 or y shorter than x throws
    // std::invalid_argument.
    std::vector<double> polynomialFit(const std::vector<double>& x, const std::vector<double>& y,
                                      const int& degree);
    // c0 + c1 x + c2 x^2 + ... (0 for an empty vector).
    double evaluatePolynomial(const std::vector<double>& coefficients, const double& x);

private:
    std::unique_ptr<AlgoEngine> engine_;
};

}  // namespace XELORAALGO

#endif  // XELORAALGO_H
