// CalPoint: triangulation of the sub-pixel matches into a depth map and a point map.
//
// Inputs:  mask (bool, w x h, caller-owned): MatchII's matchMask on the rectified grid;
//          engine: roi, downsampleStep s, downsampleOffset o, pixelPitch p (mm), cx1, cy1, cx2,
//          focal1Mm, focal2Mm, calib.R (rows 0 and 2), calib.T ([0], [2]), rectMapY1, lineIndexMap
//          and subpixelColumn; filter switches and parameters.
// Outputs: mask: validity on camera 1's grid; X, Y, Z (float, w x h, caller-owned): the point of
//          every valid pixel in camera 1's frame, units of T, 0 elsewhere; count: valid pixels.
//          Z is also the working depth map on the rectified grid.
// Working storage: a row map (double, w x h) for the resampling back to camera 1's grid (its
// column map holds every pixel's own column and is not stored), per-column sensor positions, two
// rows of row indices and the new mask (bool, w x h), all allocated here and released on return.
//
// Steps: the mask is carried to camera 1's grid through rectMapY1 (nearest row); a row map gives,
// for every camera-1 row, the fractional rectified row it came from (first whole row crossed
// between two rectified rows, 0 where none); each valid rectified pixel is triangulated as the
// intersection of camera 1's ray with the plane of camera 2's sensor column; the depth is filtered
// (optional bilateral filter, then optional masked Gaussian), resampled with the masked cubic
// resampler and turned into X and Y. Non-finite depths are dropped from the mask.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>
#include <vector>

#include "depthfilter/Bilateralfilter.h"
#include "fringe/fringe.h"
#include "TriangulateLanes.h"
#include "numerics/numerics.h"
#include "stereo.h"

namespace XELORAALGO {
namespace stereo {

namespace {

// Sensor coordinate of a ROI column or row in millimetres from the principal point: the sensor
// position (float sum) less the principal point, times the pixel pitch, in double.
inline double sensorMm(int step, int index, float offset, int roiOffset, double principal, double pitch) {
    const float pos = static_cast<float>(step * index) + offset + static_cast<float>(roiOffset);
    return (static_cast<double>(pos) - principal) * pitch;
}

}  // namespace

namespace detail {

void calPoint(AlgoEngine& e, bool* mask, float* X, float* Y, float* Z, int& count, bool useBilateral,
              int bilateralSpatialSigma, float bilateralRangeSigma, bool useSmoothing, float smoothSigma,
              bool useLanes) {
    count = 0;
    const std::size_t n = e.pixelCount();
    if (n == 0) return;
    if (e.rectMapY1.size() != n || e.lineIndexMap.size() != n || e.subpixelColumn.size() != n) {
        for (std::size_t i = 0; i < n; ++i) {
            mask[i] = false;
            X[i] = Y[i] = Z[i] = 0.0f;
        }
        return;
    }

    const int w = e.roi.width;
    const int h = e.roi.height;
    const std::size_t W = static_cast<std::size_t>(w);
    const int s = e.downsampleStep;
    const float o = e.downsampleOffset;
    const double p = e.pixelPitch;
    const int offX = e.roi.offsetX;
    const int offY = e.roi.offsetY;

    std::vector<double> rowMap(n, 0.0);
    const std::unique_ptr<bool[]> newMask(new bool[n]());
    const double* rectY = e.rectMapY1.data();
    const double* lineIndex = e.lineIndexMap.data();
    const float* sub = e.subpixelColumn.data();

    // Per-column values shared by every row, each computed exactly as the per-pixel formula would:
    // camera 1's sensor x (mm) in double and in float.
    std::vector<double> xL(W);
    std::vector<float> xMm(W);
    for (int col = 0; col < w; ++col) {
        xL[static_cast<std::size_t>(col)] = sensorMm(s, col, o, offX, e.cx1, p);
        xMm[static_cast<std::size_t>(col)] = static_cast<float>(xL[static_cast<std::size_t>(col)]);
    }

    // Steps 1 to 3 row by row, each rectified row read once: the mask carried to camera 1's grid,
    // the row-map crossings between this row and the next, the depth.
    const double* R = e.calib.R;
    const double* T = e.calib.T;
    const float f1 = static_cast<float>(e.focal1Mm);
    const float f2 = static_cast<float>(e.focal2Mm);
    const float r01f = static_cast<float>(R[1]);
    const float r21f = static_cast<float>(R[7]);
    const double r8f1 = R[8] * f1, r2f1 = R[2] * f1, f2T0 = f2 * T[0];
    const float sf = static_cast<float>(s), offXf = static_cast<float>(offX);
    const bool lanes = useLanes && num::avx2Allowed();
#if defined(__GNUC__) && defined(__x86_64__)
    const detail::DepthTerms terms{static_cast<double>(o), e.cy1, p,   e.cx2, f2T0, T[2], r8f1, r2f1, R[6], R[0],
                                   static_cast<double>(f2), sf, o, offXf, f1, r21f, r01f};
    const long long stride = static_cast<long long>(W);
#endif
    const double hd = static_cast<double>(h);
    // Fractional camera-1 row of each column of a rectified row, (lineIndex - offsetY) / s in
    // double; x / 1.0 is x itself, so with no downsampling the divisions are left out.
    const double step = static_cast<double>(s);
    const auto rowIndices = [&](const double* li, double* t) {
        if (s == 1)
            for (std::size_t c = 0; c < W; ++c) t[c] = li[c] - offY;
        else
            for (std::size_t c = 0; c < W; ++c) t[c] = (li[c] - offY) / step;
    };
    std::vector<double> tRow(W), tNext(W);
    rowIndices(lineIndex, tRow.data());
    for (int row = 0; row < h; ++row) {
        const std::size_t r0 = static_cast<std::size_t>(row) * W;
        const bool* m0 = mask + r0;
        const double* li0 = lineIndex + r0;

        // 1. Mask carried to camera 1's grid: nearest row of rectMapY1, same column.
        const double* ry0 = rectY + r0;
        std::size_t col = 0;
#if defined(__GNUC__) && defined(__x86_64__)
        if (lanes) col = static_cast<std::size_t>(detail::maskRowAvx2(ry0, m0, hd, newMask.get(), stride, w));
#endif
        for (; col < W; ++col) {
            if (!m0[col]) continue;
            int target;
            if (truncToInt(ry0[col] + 0.5, target) && target >= 0 && target < h)
                newMask[static_cast<std::size_t>(target) * W + col] = true;
        }

        // 2. Row map: where the rectified row index crosses a whole camera-1 row between this row
        // and the next. Every column is an independent pass over the rows in increasing order (a
        // later crossing of the same camera row overwrites an earlier one), so the columns may be
        // interleaved.
        if (row + 1 < h) {
            rowIndices(li0 + W, tNext.data());
            col = 0;
#if defined(__GNUC__) && defined(__x86_64__)
            if (lanes)
                col = static_cast<std::size_t>(
                    detail::crossingRowAvx2(tRow.data(), tNext.data(), row, h, rowMap.data(), stride, w));
#endif
            for (; col < W; ++col) {
                const double t0 = tRow[col];
                const double t1 = tNext[col];
                // b > a >= 0 and b < h need both truncations inside [0, h); outside, the crossing
                // is false and no conversion is made.
                if (!(t0 > -1.0 && t0 < hd && t1 > -1.0 && t1 < hd)) continue;
                const int a = static_cast<int>(t0);
                const int b = static_cast<int>(t1);
                if (b > a && a >= 0 && b < h)
                    rowMap[static_cast<std::size_t>(a + 1) * W + col] = row + ((a + 1) - t0) / (t1 - t0);
            }
            tRow.swap(tNext);
        }

        // 3. Depth on the rectified grid (X and Y are written in step 6). The terms that depend on
        // the column only are taken from the per-column table; the sums keep their order.
        const float* sub0 = sub + r0;
        float* z0 = Z + r0;
        col = 0;
#if defined(__GNUC__) && defined(__x86_64__)
        if (lanes) col = static_cast<std::size_t>(detail::depthRowAvx2(terms, xL.data(), li0, sub0, m0, z0, w));
#endif
        for (; col < W; ++col) {
            const double yL = (static_cast<double>(o) + li0[col] - e.cy1) * p;
            const float xRPos = sf * sub0[col] + o + offXf;
            const double xR = (static_cast<double>(xRPos) - e.cx2) * p;
            const float numerator = static_cast<float>(f2T0 - static_cast<double>(static_cast<float>(xR)) * T[2]) * f1;
            const double ray2 = R[6] * xL[col] + static_cast<double>(r21f * static_cast<float>(yL)) + r8f1;
            const double ray0 = R[0] * xL[col] + static_cast<double>(r01f) * yL + r2f1;
            const float denominator = static_cast<float>(xR * ray2 - f2 * ray0);
            const float z = numerator / denominator;
            z0[col] = m0[col] ? z : 0.0f;
        }
    }

    // 4. Optional filtering on the rectified grid.
    if (useBilateral) depthfilter::Bilateralfilter(e, Z, mask, bilateralSpatialSigma, bilateralRangeSigma);
    if (useSmoothing) fringe::SmoothMaskedMap(e, Z, mask, smoothSigma);

    // 5. Depth and mask carried to camera 1's grid.
    // InterpCubic3 with a column map that holds every pixel's own column: the resampler is told
    // so instead of reading a table of them.
    detail::resampleCubic(e, Z, nullptr, rowMap.data(), mask, useLanes);
    std::copy(newMask.get(), newMask.get() + n, mask);

    // 6. Points on camera 1's grid; a pixel whose depth is not finite is dropped.
    int valid = 0;
    for (int row = 0; row < h; ++row) {
        const float yMm = static_cast<float>(sensorMm(s, row, o, offY, e.cy1, p));
        const std::size_t r0 = static_cast<std::size_t>(row) * W;
        bool* m0 = mask + r0;
        float* x0 = X + r0;
        float* y0 = Y + r0;
        float* z0 = Z + r0;
        std::size_t col = 0;
#if defined(__GNUC__) && defined(__x86_64__)
        if (lanes) col = static_cast<std::size_t>(detail::pointsRowAvx2(xMm.data(), yMm, f1, m0, x0, y0, z0, w, &valid));
#endif
        for (; col < W; ++col) {
            const float z = z0[col];
            const bool keep = m0[col] && std::isfinite(z);
            x0[col] = keep ? xMm[col] * z / f1 : 0.0f;
            y0[col] = keep ? yMm * z / f1 : 0.0f;
            z0[col] = keep ? z : 0.0f;
            m0[col] = keep;
            valid += keep ? 1 : 0;
        }
    }
    count = valid;
}

}  // namespace detail

void CalPoint(AlgoEngine& e, bool* mask, float* X, float* Y, float* Z, int& count, bool useBilateral,
              int bilateralSpatialSigma, float bilateralRangeSigma, bool useSmoothing, float smoothSigma) {
    detail::calPoint(e, mask, X, Y, Z, count, useBilateral, bilateralSpatialSigma, bilateralRangeSigma, useSmoothing,
                     smoothSigma, true);
}

}  // namespace stereo
}  // namespace XELORAALGO
