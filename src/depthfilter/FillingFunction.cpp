// FillingFunction: hole filling of a point map on camera 1's grid, in place.
//
// Inputs:  engine: roi (offsetX, offsetY, width, height), downsampleStep, downsampleOffset,
//          pixelPitch, cx1, cy1 (from CalKR) and calib.K1[0], K1[4] (focal lengths, pixels);
//          X, Y, Z (float, w x h, caller-owned): the point map, Z = 0 where there is no depth;
//          mask (bool, w x h, caller-owned); mode (filling level 1 .. 5); smallArea, largeArea
//          (pixels); minDepth, maxDepth (units of Z, compared as float).
// Outputs: filled pixels get Z, X, Y of the new point and mask true; nothing else changes.
// Working storage (released on return): one candidate bit per pixel and the region label of each
// candidate (int32, raster order; see FillingFunctionRegions.h), one row of labels while labelling,
// the equivalence table of labels, the area and the class of each label (0 not filled, 1 small,
// 2 larger hole), and the last downward search result of each column: in all at most a w x h
// int32 label map and one bit per pixel, besides the tables indexed by label.
//
// Steps: hole candidates (-1 < Z < 1) -> 4-connected regions by two-pass labelling -> classes by
// area -> raster-order filling from the left and upper neighbours with the right and lower estimates,
// an agreement test and, for larger holes, a surface-continuation test.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "FillingFunctionAngles.h"
#include "FillingFunctionRegions.h"
#include "depthfilter.h"
#include "frame/CameraModel.h"

namespace XELORAALGO {
namespace depthfilter {

namespace {

struct Level {
    float angleLimit;  // degrees
    float tolerance;   // relative
};

Level levelOf(int mode) {
    switch (mode) {
        case 1: return {10.0f, 0.01f};
        case 2: return {20.0f, 0.2f};
        case 3: return {30.0f, 0.5f};
        case 4: return {50.0f, 0.5f};
        case 5: return {120.0f, 1.0f};
        default: return {0.0f, 0.0f};
    }
}

constexpr std::uint8_t kNotFilled = 0, kSmall = 1, kLarger = 2;

// First nonzero depth after a position along a row or a column, for positions visited in increasing
// order. Filling runs in raster order, so the depths after the current pixel (to its right in its
// row, below it in its column) are still the caller's: a search result stays valid for every later
// position before it, and each depth is looked at about once per row or column.
struct NextNonzero {
    int from = -1;  // the result holds for searches starting at positions in [from, found)
    int found = 0;  // first nonzero position after `from`, or limit + 1 when there is none
};

template <class At>
int nextNonzero(NextNonzero& cache, int pos, int limit, At depthAt) {
    if (cache.from < 0 || pos < cache.from || pos >= cache.found) {
        int k = pos + 1;
        while (k <= limit && depthAt(k) == 0.0f) ++k;
        cache.from = pos;
        cache.found = k;
    }
    return cache.found;
}

}  // namespace

void FillingFunction(const AlgoEngine& engine, float* X, float* Y, float* Z, bool* mask, int mode,
                     int smallArea, int largeArea, int minDepth, int maxDepth) {
    const int w = engine.roi.width, h = engine.roi.height;
    if (w < 11 || h < 11) return;  // no pixel lies inside the five-pixel margin
    const std::size_t W = static_cast<std::size_t>(w);

    const HoleRegions regions = labelHoles(Z, w, h);

    const Level level = levelOf(mode);
    const float tol = level.tolerance;
    const AngleBelow withinLimit(level.angleLimit);
    const float zMin = static_cast<float>(minDepth), zMax = static_cast<float>(maxDepth);
    const double f = focalLengthMm(engine.calib.K1);
    const std::int64_t step = engine.downsampleStep;
    const float offset = engine.downsampleOffset;
    const float offsetX = static_cast<float>(engine.roi.offsetX), offsetY = static_cast<float>(engine.roi.offsetY);

    const auto point = [&](std::size_t j) { return Vec3{X[j], Y[j], Z[j]}; };
    const auto inRange = [&](float z) { return z >= zMin && z <= zMax; };

    // Only hole candidates can be filled: they are visited in raster order, as the whole map would be.
    NextNonzero rightOf;
    int rightRow = -1;
    std::vector<NextNonzero> below(W);
    std::vector<std::uint8_t> classOf(regions.area.size(), kNotFilled);  // by label
    for (std::size_t l = 3; l < classOf.size(); ++l) {
        const std::int32_t a = regions.area[l];
        classOf[l] = a <= smallArea ? kSmall : (a < largeArea ? kLarger : kNotFilled);
    }
    for (int r = 5; r <= h - 6; ++r) regions.forEachInRow(r, [&](int c, std::int32_t k) {
        if (c < 5 || c > w - 6) return;
        const std::size_t i = static_cast<std::size_t>(r) * W + static_cast<std::size_t>(c);
        const std::uint8_t cls = classOf[static_cast<std::size_t>(regions.label[static_cast<std::size_t>(k)])];
        if (cls == kNotFilled) return;
        if (Z[i] != 0.0f) return;
        const float zl = Z[i - 1], zu = Z[i - W];
        if (zl == 0.0f || zu == 0.0f || !inRange(zl) || !inRange(zu)) return;
        const double sr = static_cast<double>(static_cast<float>(step * r) + offset + offsetY);

        // Right and lower estimates: linear towards the first nonzero depth.
        float zr = 0.0f, zd = 0.0f;
        std::size_t iR = 0, iD = 0;
        int colR = 0, rowD = 0;
        if (r != rightRow) {
            rightOf = NextNonzero{};
            rightRow = r;
        }
        const std::size_t rowStart = i - static_cast<std::size_t>(c);
        const int cR = nextNonzero(rightOf, c, w - 2, [&](int col) { return Z[rowStart + static_cast<std::size_t>(col)]; });
        if (cR <= w - 2) {
            zr = zl + (Z[rowStart + static_cast<std::size_t>(cR)] - zl) / static_cast<float>(cR - c + 1);
            iR = rowStart + static_cast<std::size_t>(cR);
            colR = cR;
        }
        const int rD = nextNonzero(below[static_cast<std::size_t>(c)], r, h - 2,
                                   [&](int row) { return Z[static_cast<std::size_t>(row) * W + static_cast<std::size_t>(c)]; });
        if (rD <= h - 2) {
            iD = static_cast<std::size_t>(rD) * W + static_cast<std::size_t>(c);
            zd = zu + (Z[iD] - zu) / static_cast<float>(rD - r + 1);
            rowD = rD;
        }

        // Agreement of the four depths (a missing estimate gives an infinite or NaN ratio).
        const float drl = std::fabs(zr - zl), ddu = std::fabs(zd - zu), drd = std::fabs(zr - zd);
        if (!(drl / zl <= tol && drl / zr <= tol && ddu / zu <= tol && ddu / zd <= tol && drd / zd <= tol &&
              drd / zr <= tol)) {
            return;
        }

        const float z = (zd + zr) * 0.5f;
        const double sc = static_cast<double>(static_cast<float>(step * c) + offset + offsetX);
        const float x0 = static_cast<float>((sc - engine.cx1) * engine.pixelPitch * static_cast<double>(z) / f);
        const float y0 = static_cast<float>((sr - engine.cy1) * engine.pixelPitch * static_cast<double>(z) / f);

        if (cls == kLarger) {
            if (mode < 2 || zr == 0.0f || zd == 0.0f) return;
            const Vec3 p0{x0, y0, z};
            // Reference points at offsets 5, 4, 3, 2; the first with a nonzero depth wins. The
            // first offset that falls outside the map ends that reference's search: the nearer
            // offsets after it are not tried.
            bool haveLeft = false, haveUp = false;
            Vec3 A{0, 0, 0}, A1{0, 0, 0}, B{0, 0, 0}, B1{0, 0, 0}, C1{0, 0, 0}, D1{0, 0, 0};
            for (int d = 5; d >= 2 && !haveLeft; --d) {
                if (c - d < 1) break;
                const std::size_t j = i - static_cast<std::size_t>(d);
                if (Z[j] != 0.0f) {
                    haveLeft = true;
                    A = minus(point(j), p0);
                    A1 = minus(point(j), point(i - 1));
                }
            }
            for (int d = 5; d >= 2 && !haveUp; --d) {
                if (r - d < 1) break;
                const std::size_t j = i - static_cast<std::size_t>(d) * W;
                if (Z[j] != 0.0f) {
                    haveUp = true;
                    B = minus(point(j), p0);
                    B1 = minus(point(j), point(i - W));
                }
            }
            for (int d = 5; d >= 2; --d) {
                if (rowD + d >= h) break;
                const std::size_t j = iD + static_cast<std::size_t>(d) * W;
                if (Z[j] != 0.0f) {
                    C1 = minus(point(iD), point(j));
                    break;
                }
            }
            for (int d = 5; d >= 2; --d) {
                if (colR + d >= w) break;
                const std::size_t j = iR + static_cast<std::size_t>(d);
                if (Z[j] != 0.0f) {
                    D1 = minus(point(iR), point(j));
                    break;
                }
            }
            if (!haveLeft || !haveUp) return;
            // The angles a1 = (A, A'), a2 = (B, B'), a3 = (D', A), a4 = (C', B), each tested only
            // when the decision still depends on it; |A| and |B| serve two angles each.
            const float nA = norm(A), nB = norm(B);
            const bool pass =
                mode == 2 ? (withinLimit(cosine(A, nA, A1, norm(A1))) && withinLimit(cosine(B, nB, B1, norm(B1))))
                          : (withinLimit(cosine(A, nA, A1, norm(A1))) || withinLimit(cosine(B, nB, B1, norm(B1))) ||
                             withinLimit(cosine(D1, norm(D1), A, nA)) || withinLimit(cosine(C1, norm(C1), B, nB)));
            if (!pass) return;
        }
        Z[i] = z;
        X[i] = x0;
        Y[i] = y0;
        mask[i] = true;
    });
}

}  // namespace depthfilter
}  // namespace XELORAALGO
