/* XeloraAlgo C interface: the members of XELORAALGO::XeloraAlgo as C functions over an opaque
 * handle, for hosts built by any compiler (Visual Studio included). C99.
 *
 * Conventions
 * - Every function except xelora_destroy and xelora_last_error returns an int status: XELORA_OK (0)
 *   or one of the XELORA_ERROR_* codes below; the text of the last failure on the calling thread is
 *   xelora_last_error(). Nothing is thrown across this interface.
 * - xelora_<Member> calls XeloraAlgo::<Member> with the same arguments in the same order; results
 *   the member returns by value or by reference come back through a trailing pointer. Overloads:
 *   xelora_CalRGBFuse / xelora_CalRGBFuseCount, xelora_AutoExposure / xelora_AutoExposureMaps.
 * - Per-pixel maps, masks and image planes are the caller's buffers, as in the class: row-major,
 *   ROI width x height elements (bool is one byte). Point lists are flat arrays of doubles:
 *   (x, y) pairs for line lists, (x, y, z) triples for clouds; counts are numbers of points.
 *   Lists the member changes in place keep their length.
 * - Outputs whose length the library decides take a buffer, its capacity (in elements) and a
 *   count pointer. On success *count is the number written. When the capacity is too small the
 *   call returns XELORA_ERROR_BUFFER_TOO_SMALL, sets *count to the length needed and writes none
 *   of its outputs: passing capacity 0 (buffer may be NULL) is the size query of the usual two-call
 *   pattern. Where the length is known beforehand it is stated (usually ROI height).
 * - A handle is used by one thread at a time; distinct handles may be used concurrently.
 */
#ifndef XELORA_C_H
#define XELORA_C_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#  if defined(XELORAALGO_BUILDING)
#    define XELORA_C_API __declspec(dllexport)
#  else
#    define XELORA_C_API __declspec(dllimport)
#  endif
#else
#  define XELORA_C_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Status codes. */
enum {
    XELORA_OK = 0,
    XELORA_ERROR_INVALID_ARGUMENT = 1, /* a parameter outside its range (std::invalid_argument), a NULL handle */
    XELORA_ERROR_LOGIC = 2,            /* a missing set-up step (std::logic_error) */
    XELORA_ERROR_OUT_OF_MEMORY = 3,    /* std::bad_alloc */
    XELORA_ERROR_SYSTEM = 4,           /* std::system_error, e.g. a worker thread could not start */
    XELORA_ERROR_BUFFER_TOO_SMALL = 5, /* an output's capacity is below the count it needs */
    XELORA_ERROR_UNKNOWN = 6           /* any other exception */
};

typedef struct xelora_handle xelora_handle;

/* Same layout as XELORAALGO::tagXeloraAlgoROIInfo. */
typedef struct xelora_roi_info {
    int32_t offsetX, offsetY, width, height;
} xelora_roi_info;

/* Same layout as XELORAALGO::tagXeloraAlgoCalibrationInfo: 111 doubles, matrices row-major. */
typedef struct xelora_calibration_info {
    double K1[9], K2[9], D1[5], D2[5], R[9], T[3], auxMatrixA[9], Tinv[3], auxMatrixB[9];
    double K3[9], D3[5], R3[9], T3[3], RLine[9], TLine[3], auxVector[3], F[9];
} xelora_calibration_info;

/* ---- handle, errors, ROI, calibration and rectification maps ---- */
XELORA_C_API int xelora_create(xelora_handle** handle);
XELORA_C_API void xelora_destroy(xelora_handle* handle); /* NULL is allowed */
/* Text of the last failed call on this thread ("" when none failed yet); valid until the thread's
 * next failing call. */
XELORA_C_API const char* xelora_last_error(void);
/* Fixed name of a status code, e.g. "XELORA_ERROR_LOGIC". */
XELORA_C_API const char* xelora_status_name(int status);

/* The version text without a terminating NUL in the count; the buffer gets the NUL too, so it needs
 * capacity >= *length + 1. */
XELORA_C_API int xelora_GetSdkVersionString(xelora_handle* h, char* buffer, size_t capacity, size_t* length);
XELORA_C_API int xelora_GetROIInfoWidth(xelora_handle* h, int* width);
XELORA_C_API int xelora_GetROIInfoHeight(xelora_handle* h, int* height);
XELORA_C_API int xelora_GetROIInfoOffsetX(xelora_handle* h, int* offsetX);
XELORA_C_API int xelora_GetROIInfoOffsetY(xelora_handle* h, int* offsetY);
XELORA_C_API int xelora_SetROIInfo(xelora_handle* h, const xelora_roi_info* info);
XELORA_C_API int xelora_SetDownsamplingInfo(xelora_handle* h, int step, float offset);
/* values[0..5] = a .. f of XeloraAlgo::GetData. */
XELORA_C_API int xelora_GetData(xelora_handle* h, double values[6]);
XELORA_C_API int xelora_DeleteMemory1(xelora_handle* h);
XELORA_C_API int xelora_DeleteMemory2(xelora_handle* h);
XELORA_C_API int xelora_SetCalibrationInfo(xelora_handle* h, const xelora_calibration_info* info);
XELORA_C_API int xelora_CalKR(xelora_handle* h);
XELORA_C_API int xelora_CalRectifyMap1(xelora_handle* h, bool firstCamera);
XELORA_C_API int xelora_CalRectifyMap2(xelora_handle* h, bool firstCamera);

/* ---- fringe decoding (patternImages: 11 planes, 18 for DecGrayPhase2) ---- */
XELORA_C_API int xelora_DecGrayPhase1(xelora_handle* h, bool* validMask, float* modulationMap, float* averageMap,
                                      unsigned char** patternImages, bool ignoredFlag, bool smoothPhase,
                                      int smoothRounds, float smoothSigma, float* absolutePhase);
XELORA_C_API int xelora_UnDecGrayPhase1(xelora_handle* h, bool* validMask, float* modulationMap, float* averageMap,
                                        unsigned char** patternImages, bool ignoredFlag, bool smoothPhase,
                                        int smoothRounds, float smoothSigma, float* absolutePhase);
XELORA_C_API int xelora_UnDecGrayPhase2(xelora_handle* h, bool* validMask, float* modulationMap, float* averageMap,
                                        unsigned char** patternImages, bool ignoredFlag, bool smoothPhase,
                                        int smoothRounds, float smoothSigma, float* absolutePhase);
XELORA_C_API int xelora_DecGrayPhase2(xelora_handle* h, bool* validMask, float* modulationMap, float* averageMap,
                                      unsigned char** patternImages, bool ignoredFlag, bool smoothPhase,
                                      int smoothRounds, float smoothSigma, float* absolutePhase);

/* ---- stereo resampling, matching and triangulation ---- */
XELORA_C_API int xelora_BiCubicPloy(xelora_handle* h, float x, float* value);
XELORA_C_API int xelora_InterpCubic1(xelora_handle* h, float* map);
XELORA_C_API int xelora_InterpCubic2(xelora_handle* h, float* map);
XELORA_C_API int xelora_InterpCubic3(xelora_handle* h, float* map, double* mapX, double* mapY, bool* mask);
XELORA_C_API int xelora_InterpCubic4(xelora_handle* h, float* map);
XELORA_C_API int xelora_InterpCubic5(xelora_handle* h, float* map);
XELORA_C_API int xelora_InterpFlag1(xelora_handle* h, bool* mask);
XELORA_C_API int xelora_InterpFlag2(xelora_handle* h, bool* mask);
XELORA_C_API int xelora_MatchI(xelora_handle* h, bool* mask1, bool* mask2, bool* matchMask, float* phase1,
                               float* phase2);
XELORA_C_API int xelora_MatchII(xelora_handle* h, bool* mask1, bool* mask2, bool* matchMask, float* phase1,
                                float* phase2);
XELORA_C_API int xelora_CalPoint(xelora_handle* h, bool* mask, float* X, float* Y, float* Z, int* count,
                                 bool useBilateral, int bilateralSpatialSigma, float bilateralRangeSigma,
                                 bool useSmoothing, float smoothSigma);

/* ---- depth-map filters ---- */
XELORA_C_API int xelora_MediaFilter(xelora_handle* h, float* map, int order);
XELORA_C_API int xelora_Outlierdetect(xelora_handle* h, float* X, float* Y, float* Z, bool* mask, int radius,
                                      float distance);
XELORA_C_API int xelora_GradientFilter(xelora_handle* h, float* mapA, float* mapB, bool* maskA, bool* maskB,
                                       float gradientLimit, float passLevel);
XELORA_C_API int xelora_FillingFunction(xelora_handle* h, float* X, float* Y, float* Z, bool* mask, int mode,
                                        int smallArea, int largeArea, int minDepth, int maxDepth);
XELORA_C_API int xelora_Bilateralfilter(xelora_handle* h, float* map, bool* mask, int spatialSigma,
                                        float rangeSigma);

/* ---- imaging: colour, exposure, HDR, downsampling ---- */
XELORA_C_API int xelora_CalRGB(xelora_handle* h, float* X, float* Y, float* Z, bool* mask, int zMin, int zMax);
XELORA_C_API int xelora_CalRGBFuse(xelora_handle* h, unsigned char** srcA, unsigned char** srcB,
                                   unsigned char** dstA, unsigned char** dstB);
XELORA_C_API int xelora_CalRGBFuseCount(xelora_handle* h, unsigned char** srcA, unsigned char** srcB,
                                        unsigned char** dstA, unsigned char** dstB, int count);
XELORA_C_API int xelora_CalPreview(xelora_handle* h, unsigned char* preview, float* m1, float* m2, float* m3,
                                   float* m4);
XELORA_C_API int xelora_CalPixelAverage(xelora_handle* h, unsigned char* image, int width, int height,
                                        int threshold, bool* result);
XELORA_C_API int xelora_AutoExposure(xelora_handle* h, unsigned char** captures, double* exposureTimes,
                                     int pairCount, int target, int lower, int upper, int current, int* result);
XELORA_C_API int xelora_AutoExposureMaps(xelora_handle* h, double current, float* modulation1,
                                         float* modulation2, float* average1, float* average2, int lower,
                                         int upper, int target, int* result);
XELORA_C_API int xelora_BinarySearch_updataET(xelora_handle* h, unsigned char* image1, unsigned char* image2,
                                              double lower, double upper, int target, double current,
                                              double* result);
XELORA_C_API int xelora_GetTh(xelora_handle* h, const unsigned char* values, size_t valueCount, int lower,
                              int upper, int* result);
XELORA_C_API int xelora_AutoHDR1(xelora_handle* h, unsigned char** captures, int mode, double* exposureTimes,
                                 int pairCount, int divisor, int target, int lower, int upper, int* results);
XELORA_C_API int xelora_AutoHDR2(xelora_handle* h, unsigned char** captures, int mode, double* exposureTimes,
                                 int pairCount, int divisor, int target, int lower, int upper, int* results);
XELORA_C_API int xelora_CalHDRFuse(xelora_handle* h, unsigned char** shortSeq, unsigned char** longSeq,
                                   unsigned char** out1, unsigned char** out2, int count);
XELORA_C_API int xelora_DownSampling1(xelora_handle* h, unsigned char** src, unsigned char** dst, int count,
                                      int W, int H);
XELORA_C_API int xelora_DownSampling2(xelora_handle* h, unsigned char** src, unsigned char** dst, int count,
                                      int W, int H);
XELORA_C_API int xelora_DownSampling3(xelora_handle* h, unsigned char* src, unsigned char* dst, int W, int H);
XELORA_C_API int xelora_CalcImageBuffer(xelora_handle* h, unsigned char* input, unsigned char* output,
                                        bool enable);

/* ---- laser-line profiling: line lists are (x, y) pairs, one per ROI row ---- */
/* centre (x, y) is in/out: unchanged when the weight sum is 0. */
XELORA_C_API int xelora_CalLineCenter(xelora_handle* h, int row, const int* positions, size_t positionCount,
                                      const int* weights, size_t weightCount, double centre[2]);
XELORA_C_API int xelora_CalLineCenter_new(xelora_handle* h, int index, int start, int count, const int* weights,
                                          double centre[2]);
/* points: pointCount (>= ROI height) pairs, in/out. */
XELORA_C_API int xelora_lineExtract4(xelora_handle* h, bool flag, unsigned char* image, double* points,
                                     size_t pointCount, bool* mask, int p1, int p2, int p3, int p4, int p5,
                                     int offsetX, int offsetY);
XELORA_C_API int xelora_lineExtract5(xelora_handle* h, unsigned char* image, double* points, size_t pointCount,
                                     bool* mask, int q1, int q2, int rangeFirst, int rangeSecond, int narrowRunSpan,
                                     int rowBandSpan);
/* points: ROI height pairs at most (capacity ROI height always suffices). */
XELORA_C_API int xelora_GetCloudPoint_New_600_1(xelora_handle* h, unsigned char* image, double* points,
                                                size_t capacity, size_t* pointCount);
XELORA_C_API int xelora_GetCloudPoint_New_600_2(xelora_handle* h, unsigned char* image, double* points,
                                                size_t capacity, size_t* pointCount);
XELORA_C_API int xelora_UndistortPoints2(xelora_handle* h, bool firstCamera, double* points, size_t pointCount);
/* matches: matchCount (>= ROI height) ints, in/out. */
XELORA_C_API int xelora_MatchLine(xelora_handle* h, const double* points1, size_t count1, const double* points2,
                                  size_t count2, bool* mask1, bool* mask2, int* matches, size_t matchCount);
/* cloud: ROI height triples; pixelDepth: one triple per valid row (capacity ROI height suffices). */
XELORA_C_API int xelora_Calpoint(xelora_handle* h, const double* points1, size_t count1, const double* points2,
                                 size_t count2, bool* mask, const int* matches, size_t matchCount, double* cloud,
                                 size_t cloudCapacity, size_t* cloudCount, double* pixelDepth,
                                 size_t pixelDepthCapacity, size_t* pixelDepthCount);
XELORA_C_API int xelora_Calpoint_smooth(xelora_handle* h, const double* points1, size_t count1,
                                        const double* points2, size_t count2, int halfWindow, bool* mask,
                                        const int* matches, size_t matchCount, double* cloud, size_t cloudCapacity,
                                        size_t* cloudCount);
XELORA_C_API int xelora_FitLineFunction_V(xelora_handle* h, double* points, size_t pointCount, int halfWindow,
                                          bool enable);
XELORA_C_API int xelora_Gaussianfilter(xelora_handle* h, double* points, size_t pointCount, int halfWindow);

/* ---- point clouds: (x, y, z) triples ---- */
XELORA_C_API int xelora_SORfilter(xelora_handle* h, double* cloud, size_t pointCount, int k, float multiplier);
XELORA_C_API int xelora_sorFilter(xelora_handle* h, double* cloud, size_t pointCount, int k, double unused);
XELORA_C_API int xelora_CloudSmooth(xelora_handle* h, double* map, size_t pointCount, int r, float radius);
XELORA_C_API int xelora_Gaussianfilter_PMR(xelora_handle* h, double* cloud, size_t pointCount, int r);
/* output: max(binned points, ROI height) triples, *count the binned points (the member's count). */
XELORA_C_API int xelora_Downsample(xelora_handle* h, const double* input, size_t inputCount, double* output,
                                   size_t outputCapacity, size_t* outputCount, float binWidth, int* count);
/* profiles: profileCount lists one after the other in points, profileSizes[i] points each;
 * map: ROI width x height triples. */
XELORA_C_API int xelora_GetDepth(xelora_handle* h, const double* points, const size_t* profileSizes,
                                 size_t profileCount, double* map, size_t mapCapacity, size_t* mapCount);
/* pixels: (column, row) int pairs; matched: one triple per pixel. */
XELORA_C_API int xelora_RGB2Cloud(xelora_handle* h, const int* pixels, size_t pixelCount, const double* cloud,
                                  size_t cloudCount, double maxDistance, double* matched, size_t matchedCapacity,
                                  size_t* matchedCount);
/* image: byteCount bytes of a width x height colour image; colored: 6 doubles per cloud point,
 * valid: one bool per cloud point (the pair's second member). */
XELORA_C_API int xelora_GetRGBpoint(xelora_handle* h, const unsigned char* image, size_t byteCount, int width,
                                    int height, const double* cloud, size_t cloudCount, double* colored,
                                    bool* valid, size_t capacity, size_t* coloredCount);

/* ---- surface and curve fitting ---- */
/* coefficients: 3, 6, 10, 21, 66 floats for orders 11, 22, 33, 55, 1010. */
XELORA_C_API int xelora_PlaneFitPoly11(xelora_handle* h, const double* points, size_t pointCount,
                                       float* coefficients, size_t capacity, size_t* coefficientCount);
XELORA_C_API int xelora_PlaneFitPoly22(xelora_handle* h, const double* points, size_t pointCount,
                                       float* coefficients, size_t capacity, size_t* coefficientCount);
XELORA_C_API int xelora_PlaneFitPoly33(xelora_handle* h, const double* points, size_t pointCount,
                                       float* coefficients, size_t capacity, size_t* coefficientCount);
XELORA_C_API int xelora_PlaneFitPoly55(xelora_handle* h, const double* points, size_t pointCount,
                                       float* coefficients, size_t capacity, size_t* coefficientCount);
XELORA_C_API int xelora_PlaneFitPoly1010(xelora_handle* h, const double* points, size_t pointCount,
                                         float* coefficients, size_t capacity, size_t* coefficientCount);
/* coefficients: degree + 1 doubles (none for a negative degree). */
XELORA_C_API int xelora_polynomialFit(xelora_handle* h, const double* x, size_t xCount, const double* y,
                                      size_t yCount, int degree, double* coefficients, size_t capacity,
                                      size_t* coefficientCount);
XELORA_C_API int xelora_evaluatePolynomial(xelora_handle* h, const double* coefficients, size_t coefficientCount,
                                           double x, double* value);

#ifdef __cplusplus
}
#endif

#endif /* XELORA_C_H */
