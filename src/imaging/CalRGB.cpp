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
// Pass 1 (calling thread) projects every valid point into the colour image; its transformed depth
// is a candidate of the four pixels of its 2 x 2 footprint. Pass 2 (four row bands) gives every
// pixel that a footprint covers the mean of the candidates less than 15 depth units behind the
// nearest one and back-projects the pixel through 10 undistortion iterations; it also writes the
// pixel's new mask byte and zeroes the pixels no footprint covers. The rows past 4 * floor(h / 4)
// that belong to no band are done on the calling thread in the same way.
//
// Candidate lists: pass 1 links every point into the list of its footprint's top-left pixel, in
// visiting order; a pixel's candidates are the points of the lists of itself and of its left, upper
// and upper-left neighbours, merged by visiting order: exactly the order in which a growable list
// per pixel would have received them. Where each of the four lists holds at most one point, sorting
// the four heads is that merge; a row's sorted candidates then go through the depth rule in vectors,
// and the pixels with a longer list are merged one by one. The projection, the undistortion and the
// depth run on whole rows in vectors (CalRGBLanes.h), every lane with the scalar code's operations.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "CalRGBLanes.h"
#include "ImagingDetail.h"
#include "frame/BandedWorkers.h"
#include "imaging.h"
#include "numerics/numerics.h"

namespace XELORAALGO {
namespace imaging {

namespace {

lanes::ColourCameraF colourCamera(const tagXeloraAlgoCalibrationInfo& c) {
    const Lens<float> lens = colourLens<float>(c);
    lanes::ColourCameraF cam;
    cam.fx = lens.fx;
    cam.fy = lens.fy;
    cam.cx = lens.cx;
    cam.cy = lens.cy;
    cam.k1 = lens.k1;
    cam.k2 = lens.k2;
    cam.p1 = lens.p1;
    cam.p2 = lens.p2;
    for (int k = 0; k < 9; ++k) cam.R[k] = static_cast<float>(c.R3[k]);
    for (int k = 0; k < 3; ++k) cam.T[k] = static_cast<float>(c.T3[k]);
    return cam;
}

// The row kernels of one lane width: projection of a row of points and undistortion of a row of
// pixel positions, each over whole vectors; the scalar code finishes the row.
struct RowKernels {
    int (*project)(const lanes::ColourCameraF&, const float*, const float*, const float*, float*, float*, float*, int);
    int (*undistort)(const lanes::ColourCameraF&, const float*, float, float*, float*, int);
    // Footprint of every point of a row (null: the row's points are tested one by one).
    int (*footprint)(const unsigned char*, const float*, const float*, const float*, float, float, int, int, int*);
    // Depth and coordinates of a row from its sorted candidates (null: every pixel merged on its own).
    int (*depth)(const float* const (&)[4], const float*, const float*, const float*, float*, float*, float*, int);
};

int projectNone(const lanes::ColourCameraF&, const float*, const float*, const float*, float*, float*, float*, int) {
    return 0;
}
int undistortNone(const lanes::ColourCameraF&, const float*, float, float*, float*, int) { return 0; }

typedef float Lanes4 __attribute__((vector_size(16)));  // SSE2 on every x86-64 processor
int projectRow4(const lanes::ColourCameraF& cam, const float* X, const float* Y, const float* Z, float* zp,
                float* u, float* v, int w) {
    return lanes::projectRowLanes<Lanes4>(cam, X, Y, Z, zp, u, v, w);
}
int undistortRow4(const lanes::ColourCameraF& cam, const float* x0, float y0, float* x, float* y, int w) {
    return lanes::undistortRowLanes<Lanes4>(cam, x0, y0, x, y, w);
}
int footprintRow4(const unsigned char* mask, const float* Z, const float* u, const float* v, float zLo, float zHi,
                  int w, int h, int* target) {
    return lanes::footprintRowLanes<Lanes4>(mask, Z, u, v, zLo, zHi, w, h, target);
}
int depthRow4(const float* const (&z)[4], const float* count, const float* x, const float* y, float* X, float* Y,
              float* Z, int w) {
    return lanes::depthRowLanes<Lanes4>(z, count, x, y, X, Y, Z, w);
}

// The widest kernels usable on this processor, not wider than `lanes` floats (1: scalar only).
RowKernels rowKernels(int laneWidth) {
    const num::Isa widest = num::widestIsa();
    if (laneWidth >= 16 && widest == num::Isa::Avx512) return {lanes::projectRowAvx512, lanes::undistortRowAvx512, lanes::footprintRowAvx512, lanes::depthRowAvx512};
    if (laneWidth >= 8 && (widest == num::Isa::Avx512 || widest == num::Isa::Avx2))
        return {lanes::projectRowAvx2, lanes::undistortRowAvx2, lanes::footprintRowAvx2, lanes::depthRowAvx2};
    if (laneWidth >= 4) return {projectRow4, undistortRow4, footprintRow4, depthRow4};
    return {projectNone, undistortNone, nullptr, nullptr};
}

// Depth of a covered pixel from its candidates [first, last) (at least one): the nearest surface
// wins.
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

// Points linked by footprint, in one block of 3 (n + 1) indices: head[p] is the first point (in
// visiting order) whose footprint's top-left pixel is p, next[i] the point after i in that list and
// depth[i] the bits of its transformed depth; kNone ends a list. Entry n of each is a sentinel (no
// list, no next point, depth 0) that kNone reads through clampIndex, so that looking a head up
// needs no branch. Only the heads are filled before pass 1.
template <class Index>
struct FootprintLists {
    static constexpr Index kNone = static_cast<Index>(-1);
    explicit FootprintLists(std::size_t pixels)
        : n(static_cast<Index>(pixels)), block(new Index[3 * (pixels + 1)]), head(block.get()),
          next(head + pixels + 1), depth(next + pixels + 1) {
        std::fill(head, head + pixels + 1, kNone);
        next[pixels] = kNone;
        depth[pixels] = 0;
    }
    Index clampIndex(Index i) const { return std::min(i, n); }  // kNone -> the sentinel
    float z(Index i) const {
        const std::uint32_t bits = static_cast<std::uint32_t>(depth[i]);
        float v;
        std::memcpy(&v, &bits, sizeof v);
        return v;
    }
    void link(Index i, std::size_t p, float zPrime) {
        std::uint32_t bits;
        std::memcpy(&bits, &zPrime, sizeof bits);
        depth[i] = bits;
        next[i] = head[p];
        head[p] = i;
    }
    Index n;
    std::unique_ptr<Index[]> block;
    Index *head, *next, *depth;
};

// Sorts four values ascending without a branch (a five-comparator network).
template <class Index>
inline void sortFour(Index (&v)[4]) {
    const auto order = [&v](int a, int b) {
        const Index lo = std::min(v[a], v[b]), hi = std::max(v[a], v[b]);
        v[a] = lo;
        v[b] = hi;
    };
    order(0, 1);
    order(2, 3);
    order(0, 2);
    order(1, 3);
    order(1, 2);
}

// Candidates of pixel p = (c, r), merged by visiting order into out[0 .. count). `spill` takes
// them when there are more than four; returns the array that holds them.
template <class Index>
const float* gatherCandidates(const FootprintLists<Index>& L, std::size_t p, std::size_t W, int c, std::size_t r,
                              int& count, float (&out)[4], std::vector<float>& spill) {
    constexpr Index kNone = FootprintLists<Index>::kNone;  // the largest Index: sorts last
    Index cursor[4] = {L.head[p], c > 0 ? L.head[p - 1] : kNone, r > 0 ? L.head[p - W] : kNone,
                       c > 0 && r > 0 ? L.head[p - W - 1] : kNone};
    bool single = true;
    for (Index i : cursor) single = single && (i == kNone || L.next[i] == kNone);
    if (single) {
        // At most one point per list: sort the four heads.
        sortFour(cursor);
        count = 0;
        for (Index i : cursor)
            if (i != kNone) out[count++] = L.z(i);
        return out;
    }
    int lists = 0;
    for (Index i : cursor)
        if (i != kNone) cursor[lists++] = i;
    spill.clear();
    while (lists > 0) {
        int best = 0;
        for (int k = 1; k < lists; ++k)
            if (cursor[k] < cursor[best]) best = k;
        const Index i = cursor[best];
        spill.push_back(L.z(i));
        cursor[best] = L.next[i];
        if (cursor[best] == kNone) cursor[best] = cursor[--lists];
    }
    count = static_cast<int>(spill.size());
    return spill.data();
}

// One row's candidates laid out for the depth kernels: for every column c, z[k][c] the k-th
// candidate in visiting order and count[c] how many (0 where nothing lands on the pixel) when every
// list of the pixel holds at most one point (so that sorting the four heads merges them). Pixels
// with a longer list get count 0 and are listed in `merged` for gatherCandidates. Also writes the
// row's mask bytes; returns whether any pixel of the row is covered.
template <class Index>
bool sortRowCandidates(const FootprintLists<Index>& L, std::size_t r, std::size_t W, const Index* noRow,
                       float* const (&z)[4], float* count, int* merged, int& mergedCount, bool* mask) {
    constexpr Index kNone = FootprintLists<Index>::kNone;
    const Index* here = L.head + r * W;
    const Index* above = r > 0 ? here - W : noRow;
    Index anyHead = kNone;
    mergedCount = 0;
    for (std::size_t c = 0; c < W; ++c) {
        Index h[4] = {here[c], c > 0 ? here[c - 1] : kNone, above[c], c > 0 ? above[c - 1] : kNone};
        const Index all = h[0] & h[1] & h[2] & h[3];  // kNone exactly when no list reaches the pixel
        anyHead &= all;
        mask[c] = all != kNone;
        const bool longer = (L.next[L.clampIndex(h[0])] & L.next[L.clampIndex(h[1])] & L.next[L.clampIndex(h[2])] &
                             L.next[L.clampIndex(h[3])]) != kNone;
        sortFour(h);
        const int n = (h[0] != kNone) + (h[1] != kNone) + (h[2] != kNone) + (h[3] != kNone);
        for (int k = 0; k < 4; ++k) z[k][c] = L.z(L.clampIndex(h[k]));
        count[c] = longer ? 0.0f : static_cast<float>(n);
        merged[mergedCount] = static_cast<int>(c);
        mergedCount += longer;
    }
    return anyHead != kNone;
}

// Both passes, with Index wide enough for every pixel index.
template <class Index>
void registerPointMap(const AlgoEngine& engine, float* X, float* Y, float* Z, bool* mask, int zMin, int zMax,
                      const RowKernels& kernels) {
    constexpr Index kNone = FootprintLists<Index>::kNone;
    const int w = engine.width();
    const int h = engine.height();
    const std::size_t n = engine.pixelCount();
    const std::size_t W = static_cast<std::size_t>(w);
    const lanes::ColourCameraF cam = colourCamera(engine.calib);
    const float zLo = static_cast<float>(zMin);
    const float zHi = static_cast<float>(zMax);

    FootprintLists<Index> lists(n);

    // Pass 1: transform and project the points, rows and columns backwards, so that pushing each
    // point onto the front of its list leaves every list in visiting order. A row is projected whole
    // (the lanes do not look at the mask), then its taking part points are linked.
    {
        std::vector<float> rowZp(W), rowU(W), rowV(W);
        std::vector<int> target(W);
        // The footprint kernels compute int pixel indices and compare with float limits.
        const bool vectorTargets = kernels.footprint && n < (std::size_t{1} << 31) && w < (1 << 24) && h < (1 << 24);
        const unsigned char* const taking = reinterpret_cast<const unsigned char*>(mask);
        for (int r = h - 1; r >= 0; --r) {
            const std::size_t base = static_cast<std::size_t>(r) * W;
            int c = kernels.project(cam, X + base, Y + base, Z + base, rowZp.data(), rowU.data(), rowV.data(), w);
            for (; c < w; ++c)
                lanes::projectLanes<float>(cam, X[base + c], Y[base + c], Z[base + c], rowZp[c], rowU[c], rowV[c]);
            if (vectorTargets) {
                c = kernels.footprint(taking + base, Z + base, rowU.data(), rowV.data(), zLo, zHi, w, h, target.data());
                for (; c < w; ++c)
                    lanes::footprintLanes(taking + base + c, Z[base + c], rowU[c], rowV[c], zLo, zHi, w, h, &target[c]);
                for (c = w - 1; c >= 0; --c)
                    if (target[c] >= 0)
                        lists.link(static_cast<Index>(base + static_cast<std::size_t>(c)),
                                   static_cast<std::size_t>(target[c]), rowZp[c]);
                continue;
            }
            for (c = w - 1; c >= 0; --c) {
                const std::size_t i = base + static_cast<std::size_t>(c);
                const float z = Z[i];
                if (!mask[i] || !(z > zLo && z < zHi)) continue;
                int u, v;
                if (!truncToInt(rowU[c], u) || !truncToInt(rowV[c], v)) continue;
                if (u < 0 || u >= w - 1 || v < 0 || v >= h - 1) continue;
                lists.link(static_cast<Index>(i), static_cast<std::size_t>(v) * W + static_cast<std::size_t>(u),
                           rowZp[c]);
            }
        }
    }

    // Normalised distorted column of every pixel column, the same for every row.
    std::vector<float> x0(W);
    for (int c = 0; c < w; ++c) x0[static_cast<std::size_t>(c)] = (static_cast<float>(c) - cam.cx) / cam.fx;
    const std::vector<Index> noRow(W, kNone);  // the row above row 0

    // Pass 2: rows [rowBegin, rowEnd). Pass 1 no longer reads the caller's maps, so they are
    // rewritten row by row here. The undistortion depends only on the pixel's position, so a row
    // with covered pixels is undistorted whole.
    auto registerRows = [&](std::size_t rowBegin, std::size_t rowEnd) {
        std::vector<float> xs(W), ys(W), spill, rowCand(5 * W);
        std::vector<int> merged(W);
        float few[4];
        float* const z[4] = {rowCand.data(), rowCand.data() + W, rowCand.data() + 2 * W, rowCand.data() + 3 * W};
        float* const count = rowCand.data() + 4 * W;
        for (std::size_t r = rowBegin; r < rowEnd; ++r) {
            const std::size_t base = r * W;
            int mergedCount = 0;
            if (!sortRowCandidates(lists, r, W, noRow.data(), z, count, merged.data(), mergedCount, mask + base)) {
                std::fill(X + base, X + base + W, 0.0f);
                std::fill(Y + base, Y + base + W, 0.0f);
                std::fill(Z + base, Z + base + W, 0.0f);
                continue;
            }
            const float y0 = (static_cast<float>(r) - cam.cy) / cam.fy;
            int c = kernels.undistort(cam, x0.data(), y0, xs.data(), ys.data(), w);
            for (; c < w; ++c) lanes::undistortLanes<float>(cam, x0[c], y0, xs[c], ys[c]);
            if (kernels.depth) {
                const float* const zc[4] = {z[0], z[1], z[2], z[3]};
                c = kernels.depth(zc, count, xs.data(), ys.data(), X + base, Y + base, Z + base, w);
                for (; c < w; ++c) lanes::depthPixelLanes<float>(zc, count, xs.data(), ys.data(), X + base, Y + base, Z + base, c);
            } else {
                // Every covered pixel merged on its own (the plain reference for the kernels).
                mergedCount = 0;
                for (c = 0; c < w; ++c) {
                    X[base + c] = Y[base + c] = Z[base + c] = 0.0f;
                    if (mask[base + c]) merged[mergedCount++] = c;
                }
            }
            for (int k = 0; k < mergedCount; ++k) {
                c = merged[k];
                const std::size_t p = base + static_cast<std::size_t>(c);
                int cnt = 0;
                const float* cand = gatherCandidates(lists, p, W, c, r, cnt, few, spill);
                const float depth = pixelDepth(cand, cand + cnt);
                X[p] = xs[c] * depth;
                Y[p] = ys[c] * depth;
                Z[p] = depth;
            }
        }
    };
    const std::size_t rows = static_cast<std::size_t>(h);
    runBands(bands::kColourRegistration, rows, [&](int, std::size_t begin, std::size_t end) { registerRows(begin, end); });
}

}  // namespace

void CalRGBWithLanes(AlgoEngine& engine, float* X, float* Y, float* Z, bool* mask, int zMin, int zMax,
                     int laneWidth) {
    const std::size_t n = engine.pixelCount();
    if (n == 0) return;
    const RowKernels kernels = rowKernels(laneWidth);
    // 32-bit indices whenever every pixel index fits.
    if (n < (std::size_t{1} << 31))
        registerPointMap<std::uint32_t>(engine, X, Y, Z, mask, zMin, zMax, kernels);
    else
        registerPointMap<std::size_t>(engine, X, Y, Z, mask, zMin, zMax, kernels);
}

void CalRGB(AlgoEngine& engine, float* X, float* Y, float* Z, bool* mask, int zMin, int zMax) {
    CalRGBWithLanes(engine, X, Y, Z, mask, zMin, zMax, 16);
}

}  // namespace imaging
}  // namespace XELORAALGO
