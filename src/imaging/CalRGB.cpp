// CalRGB: registration of a point map to the colour camera.
//
// Inputs/outputs (all caller-owned, w x h elements of the engine's ROI, row-major, in place):
//   X, Y, Z  float point map in camera 1's frame; on return the point map on the colour camera's
//            pixel grid, in the colour camera's frame, 0 where no point landed.
//   mask     bool validity; on return true exactly where a registered point's 2 x 2 footprint fell.
//   zMin, zMax  only points with zMin < Z < zMax (as float) take part.
// Reads from the engine: the ROI size and the colour camera's K3, D3 (k1, k2, p1, p2), R3, T3.
// Every computation is in single precision with the calibration values converted to float.
//
// Pass 1 (calling thread) projects every valid point into the colour image and appends its
// transformed depth to the candidate lists of the four pixels of its footprint. Pass 2 (four row
// bands) gives every marked pixel the mean of the candidates less than 15 depth units behind the
// nearest one and back-projects the pixel through 10 undistortion iterations. The rows past
// 4 * floor(h / 4) that belong to no band are done on the calling thread in the same way.
//
// The per-pixel candidate lists are kept as one compact array (counted in pass 1, then filled), and
// every list holds its candidates in the order the points were visited, as a growable list would.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "ImagingDetail.h"
#include "frame/BandedWorkers.h"
#include "imaging.h"

namespace XELORAALGO {
namespace imaging {

namespace {

// The colour camera's lens and its pose (camera 1's frame -> colour camera's frame), in float.
struct ColourCamera {
    Lens<float> lens;
    float R[9];
    float T[3];
};

ColourCamera colourCamera(const tagXeloraAlgoCalibrationInfo& c) {
    ColourCamera cam;
    cam.lens = colourLens<float>(c);
    for (int k = 0; k < 9; ++k) cam.R[k] = static_cast<float>(c.R3[k]);
    for (int k = 0; k < 3; ++k) cam.T[k] = static_cast<float>(c.T3[k]);
    return cam;
}

// Depth of a marked pixel from its candidates [first, last): the nearest surface wins.
float pixelDepth(const float* first, const float* last) {
    const std::ptrdiff_t n = last - first;
    if (n == 1) return *first;
    float nearest = *first;
    for (const float* p = first + 1; p != last; ++p) nearest = std::min(nearest, *p);
    // Truncating the nearest candidate toward zero; std::trunc gives the same value as a conversion
    // to int followed by the int-to-float conversion of the comparison, and stays defined beyond the
    // int range.
    const float m = std::trunc(nearest);
    float sum = 0.0f;
    int count = 0;
    for (const float* p = first; p != last; ++p) {
        if (*p - m < 15.0f) {
            sum += *p;
            ++count;
        }
    }
    return sum / static_cast<float>(count);
}

}  // namespace

namespace {

// Both passes, with Index wide enough for every pixel index and candidate count.
template <class Index>
void registerPointMap(const AlgoEngine& engine, float* X, float* Y, float* Z, bool* mask, int zMin,
                      int zMax) {
    constexpr Index kNoFootprint = static_cast<Index>(-1);
    const int w = engine.width();
    const int h = engine.height();
    const std::size_t n = engine.pixelCount();
    const Index wi = static_cast<Index>(w);
    const ColourCamera cam = colourCamera(engine.calib);
    const float zLo = static_cast<float>(zMin);
    const float zHi = static_cast<float>(zMax);

    std::vector<unsigned char> newMask(n, 0);
    std::vector<float> zPrime(n, 0.0f);
    std::vector<Index> footprint(n, kNoFootprint);  // index of the footprint's pixel (u, v), or none
    std::vector<Index> listEnd(n + 1, 0);           // candidate counts, then list bounds

    // Pass 1: transform, project, count the candidates of every footprint pixel.
    for (std::size_t i = 0; i < n; ++i) {
        const float z = Z[i];
        if (!mask[i] || !(z > zLo && z < zHi)) continue;
        const float x = X[i], y = Y[i];
        const float xp = cam.R[0] * x + cam.R[1] * y + cam.R[2] * z + cam.T[0];
        const float yp = cam.R[3] * x + cam.R[4] * y + cam.R[5] * z + cam.T[1];
        const float zp = cam.R[6] * x + cam.R[7] * y + cam.R[8] * z + cam.T[2];
        zPrime[i] = zp;
        const float xn = xp / zp;
        const float yn = yp / zp;
        float uf, vf;
        projectPinhole(cam.lens, xn, yn, uf, vf);
        int u, v;
        if (!truncToInt(uf, u) || !truncToInt(vf, v)) continue;
        if (u < 0 || u >= w - 1 || v < 0 || v >= h - 1) continue;
        const Index p = static_cast<Index>(v) * wi + static_cast<Index>(u);
        footprint[i] = p;
        for (Index q : {p, p + wi, p + 1, p + wi + 1}) {
            ++listEnd[q];
            newMask[q] = 1;
        }
    }
    // listEnd[q] = end of pixel q's list; listEnd[n] = the total.
    for (std::size_t q = 1; q < n; ++q) listEnd[q] += listEnd[q - 1];
    listEnd[n] = listEnd[n - 1];

    // Fill the lists from the back, visiting the points in reverse: each list then holds its
    // candidates in the order the points were visited, and listEnd[q] ends at the start of list q.
    std::unique_ptr<float[]> candidates(new float[static_cast<std::size_t>(listEnd[n]) + 1]);
    for (std::size_t i = n; i-- > 0;) {
        const Index p = footprint[i];
        if (p == kNoFootprint) continue;
        for (Index q : {p, p + wi, p + 1, p + wi + 1}) candidates[--listEnd[q]] = zPrime[i];
    }
    const Index* listStart = listEnd.data();  // list q is [listStart[q], listStart[q + 1])

    std::fill(X, X + n, 0.0f);
    std::fill(Y, Y + n, 0.0f);
    std::fill(Z, Z + n, 0.0f);

    // Pass 2: depth and back-projection of every marked pixel of rows [rowBegin, rowEnd).
    auto registerRows = [&](std::size_t rowBegin, std::size_t rowEnd) {
        for (std::size_t r = rowBegin; r < rowEnd; ++r) {
            for (int c = 0; c < w; ++c) {
                const std::size_t p = r * static_cast<std::size_t>(w) + static_cast<std::size_t>(c);
                if (!newMask[p]) continue;
                const float depth = pixelDepth(candidates.get() + listStart[p], candidates.get() + listStart[p + 1]);
                const float x0 = (static_cast<float>(c) - cam.lens.cx) / cam.lens.fx;
                const float y0 = (static_cast<float>(r) - cam.lens.cy) / cam.lens.fy;
                float x, y;
                undistortFromStart(cam.lens, x0, y0, x, y);
                X[p] = x * depth;
                Y[p] = y * depth;
                Z[p] = depth;
            }
        }
    };
    const std::size_t rows = static_cast<std::size_t>(h);
    runBands(bands::kColourRegistration, rows, [&](int, std::size_t begin, std::size_t end) { registerRows(begin, end); });

    for (std::size_t i = 0; i < n; ++i) mask[i] = newMask[i] != 0;
}

}  // namespace

void CalRGB(AlgoEngine& engine, float* X, float* Y, float* Z, bool* mask, int zMin, int zMax) {
    const std::size_t n = engine.pixelCount();
    if (n == 0) return;
    // 32-bit indices whenever four candidates per pixel fit.
    if (n < (std::size_t{1} << 30))
        registerPointMap<std::uint32_t>(engine, X, Y, Z, mask, zMin, zMax);
    else
        registerPointMap<std::size_t>(engine, X, Y, Z, mask, zMin, zMax);
}

}  // namespace imaging
}  // namespace XELORAALGO
