// Imaging operations: colour registration and channels, previews, exposure proposals, HDR merging,
// image halving and the temporal frame filter.
//
// Sizes: w and h are the ROI width and height of the engine. A two-camera frame is 2*w*h bytes,
// w bytes per row, 2h rows; row 2r is row r of camera 1, row 2r + 1 row r of camera 2. All buffers
// belong to the caller and must be at least as large as stated; nothing is validated.
//
// Choices where the behaviour is otherwise open:
//  - In the exposure and HDR proposals and GetTh, a solution that has no int value (not a number,
//    infinite, outside the int range) counts as below any lower limit: the proposal is the lower
//    limit, GetTh gives its lower bound clamped by the upper one. Elsewhere a non-finite projection
//    or sum is treated as outside the image (CalRGB) or clamped (CalPreview).
//  - CalRGB handles the rows past 4*floor(h/4), which fall outside its four row bands, on the calling
//    thread exactly like the others; CalcImageBuffer does the same with the last camera-row pair of a
//    frame with odd h, so every byte is filtered and stored.
//  - CalcImageBuffer's stored frame is shared by the whole process and guarded by one process-wide
//    mutex, so overlapping calls from different handles are safe (they are serialised).
#ifndef XELORAALGO_SRC_IMAGING_IMAGING_H
#define XELORAALGO_SRC_IMAGING_IMAGING_H

#include <vector>

#include "frame/AlgoEngine.h"

namespace XELORAALGO {
namespace imaging {

// ---- texture and colour (CalRGB.cpp, TextureColour.cpp) ----

// Re-samples the point map X, Y, Z, mask (w x h each, in/out) onto the colour camera's pixel grid
// and frame (K3, D3, R3, T3 of the calibration). Only points with zMin < Z < zMax take part.
void CalRGB(AlgoEngine& engine, float* X, float* Y, float* Z, bool* mask, int zMin, int zMax);
// CalRGB with vectors of at most laneWidth floats (1: the scalar code only; 4, 8, 16: SSE2, AVX2,
// AVX-512 where the processor has them). Every width gives the same bits; CalRGB takes the widest.
void CalRGBWithLanes(AlgoEngine& engine, float* X, float* Y, float* Z, bool* mask, int zMin, int zMax,
                     int laneWidth);
// Byte 0 of every 3-byte pixel of images 0..10 of srcA/srcB into the planes of dstA/dstB.
void CalRGBFuse(const AlgoEngine& engine, unsigned char* const* srcA, unsigned char* const* srcB,
                unsigned char* const* dstA, unsigned char* const* dstB);
// Byte 2 of every 3-byte pixel of images 0..count-1 of srcA/srcB into dstA/dstB.
void CalRGBFuse(const AlgoEngine& engine, unsigned char* const* srcA, unsigned char* const* srcB,
                unsigned char* const* dstA, unsigned char* const* dstB, int count);
// Preview of w x 2h bytes: even rows m1 + m3, odd rows m2 + m4, truncated, clamped to 0 ... 255.
void CalPreview(const AlgoEngine& engine, unsigned char* preview, const float* m1, const float* m2,
                const float* m3, const float* m4);
// True when the truncated mean of the width*height bytes is below threshold.
bool CalPixelAverage(const unsigned char* image, int width, int height, int threshold);

// ---- exposure proposals (AutoExposure.cpp) ----

// Image form: three two-camera captures at rising exposure times; doubles exposureTimes[0..2] in place.
int AutoExposure(const AlgoEngine& engine, unsigned char* const* captures, double* exposureTimes,
                 int pairCount, int target, int lower, int upper, int current);
// Map form: modulation and average maps of both cameras (w x h floats each).
int AutoExposure(const AlgoEngine& engine, double current, const float* modulation1,
                 const float* modulation2, const float* average1, const float* average2, int lower,
                 int upper, int target);
// One feedback step on the mean grey level of the two cameras' images (w x h bytes each).
double BinarySearch_updataET(const AlgoEngine& engine, const unsigned char* image1,
                             const unsigned char* image2, double lower, double upper, int target,
                             double current);
// Threshold 10 * mean of the values, clamped to [lower, upper].
int GetTh(const std::vector<unsigned char>& values, int lower, int upper);

// ---- HDR (AutoHDR.cpp) ----

// Short (results[0]) and long (results[1]) exposure proposals from three two-camera captures.
void AutoHDR1(const AlgoEngine& engine, unsigned char* const* captures, int mode,
              const double* exposureTimes, int pairCount, int divisor, int target, int lower,
              int upper, int* results);
// As AutoHDR1, without normalising the mean levels to the first capture.
void AutoHDR2(const AlgoEngine& engine, unsigned char* const* captures, int mode,
              const double* exposureTimes, int pairCount, int divisor, int target, int lower,
              int upper, int* results);
// Merges a short and a long sequence of n two-camera frames into n planes per camera.
void CalHDRFuse(const AlgoEngine& engine, unsigned char* const* shortSeq,
                unsigned char* const* longSeq, unsigned char* const* out1,
                unsigned char* const* out2, int n);

// ---- image halving (DownSampling.cpp) ----

// Source images of 2W x H bytes, outputs of W x H/2 bytes.
void DownSampling1(unsigned char* const* src, unsigned char* const* dst, int count, int W, int H);
void DownSampling2(unsigned char* const* src, unsigned char* const* dst, int count, int W, int H);
void DownSampling3(const unsigned char* src, unsigned char* dst, int W, int H);

// ---- temporal frame filter (CalcImageBuffer.cpp) ----

// Filters one two-camera frame (2*w*h bytes) against the process-wide stored previous frame.
void CalcImageBuffer(const AlgoEngine& engine, const unsigned char* input, unsigned char* output,
                     bool enable);

}  // namespace imaging
}  // namespace XELORAALGO

#endif
