// CalPoint's per-pixel loops, four or eight pixels at a time, for the processors that have AVX2
// (TriangulateAvx2.cpp, chosen at run time). Each lane does exactly the scalar pixel's operations
// in the scalar order, float where the scalar code rounds to float and double elsewhere.
// No standard header here: this file is also included by the AVX2 translation unit.
#ifndef XELORAALGO_SRC_STEREO_TRIANGULATELANES_H
#define XELORAALGO_SRC_STEREO_TRIANGULATELANES_H

namespace XELORAALGO {
namespace stereo {
namespace detail {

// The constants of the depth formula (see CalPoint.cpp, step 3).
struct DepthTerms {
    double o, cy1, p, cx2, f2T0, T2, r8f1, r2f1, R6, R0, f2;
    float sf, of, offXf, f1, r21f, r01f;
};

// Step 3 for columns 0 ... count - 1 of one row, in whole blocks of four: z[c] = the depth of the
// pixel where mask[c], else 0. xL: camera 1's sensor x of each column (double). Returns the number
// of columns done; the caller does the rest.
int depthRowAvx2(const DepthTerms& t, const double* xL, const double* lineIndex, const float* sub, const bool* mask,
                 float* z, int count);

// Step 1 for columns 0 ... count - 1 of one rectified row, in whole blocks of four: where mask[c]
// and rectY[c] + 0.5 truncates to a row r' in [0, h) (hd = h), newMask[r' * stride + c] = true.
// Returns the number of columns done.
int maskRowAvx2(const double* rectY, const bool* mask, double hd, bool* newMask, long long stride, int count);

// Step 2 between rectified rows r and r + 1 for columns 0 ... count - 1, in whole blocks of four:
// t0, t1 are the fractional camera-1 rows of the two rectified rows; where b = (int)t1 > a =
// (int)t0 >= 0 and b < h, rowMap[(a + 1) * stride + c] = r + ((a + 1) - t0) / (t1 - t0). Returns
// the number of columns done.
int crossingRowAvx2(const double* t0, const double* t1, int r, int h, double* rowMap, long long stride, int count);

// Step 6 for columns 0 ... count - 1 of one row, in whole blocks of eight: where mask and a finite
// z, x = xMm * z / f1, y = yMm * z / f1 (float) and z is kept; elsewhere x, y, z are 0 and mask
// false. Adds the kept pixels to *kept. Returns the number of columns done.
int pointsRowAvx2(const float* xMm, float yMm, float f1, bool* mask, float* x, float* y, float* z, int count,
                  int* kept);

}  // namespace detail
}  // namespace stereo
}  // namespace XELORAALGO

#endif
