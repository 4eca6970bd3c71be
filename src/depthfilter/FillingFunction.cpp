// FillingFunction: hole filling of a point map on camera 1's grid, in place.
//
// Inputs:  engine: roi (offsetX, offsetY, width, height), downsampleStep, downsampleOffset,
//          pixelPitch, cx1, cy1 (from CalKR) and calib.K1[0], K1[4] (focal lengths, pixels);
//          X, Y, Z (float, w x h, caller-owned): the point map, Z = 0 where there is no depth;
//          mask (bool, w x h, caller-owned); mode (filling level 1 .. 5); smallArea, largeArea
//          (pixels); minDepth, maxDepth (units of Z, compared as float).
// Outputs: filled pixels get Z, X, Y of the new point and mask true; nothing else changes.
// Working storage (released on return): the label map (int32, w x h), the equivalence table of
// labels, the area of each label and the class of each pixel (0 not filled, 1 small, 2 larger hole).
//
// Steps: hole candidates (-1 < Z < 1) -> 4-connected regions by two-pass labelling -> classes by
// area -> raster-order filling from the left and upper neighbours with the right and lower estimates,
// an agreement test and, for larger holes, a surface-continuation test.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

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

struct Vec3 {
    float x, y, z;
};

inline Vec3 minus(const Vec3& a, const Vec3& b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }

// Angle between u and v in degrees: acosf(u.v / (|u| |v|)) * 180 / pi, float except the division by
// pi. A zero vector gives NaN.
inline float angleDeg(const Vec3& u, const Vec3& v) {
    const float dot = u.x * v.x + u.y * v.y + u.z * v.z;
    const float nu = sqrtf(u.x * u.x + u.y * u.y + u.z * u.z);
    const float nv = sqrtf(v.x * v.x + v.y * v.y + v.z * v.z);
    const float deg = acosf(dot / (nu * nv)) * 180.0f;
    return static_cast<float>(static_cast<double>(deg) / 3.1415926535898);
}

constexpr std::uint8_t kNotFilled = 0, kSmall = 1, kLarger = 2;
constexpr std::int32_t kCandidate = 2;  // label of an unlabelled candidate; region labels start at 3

}  // namespace

std::vector<std::int32_t> HoleRegionAreas(const float* Z, int w, int h) {
    if (w <= 0 || h <= 0) return {};
    const std::size_t W = static_cast<std::size_t>(w);
    const std::size_t n = W * static_cast<std::size_t>(h);
    std::vector<std::int32_t> label(n, 0);
    for (int r = 1; r <= h - 2; ++r) {
        for (int c = 1; c <= w - 2; ++c) {
            const std::size_t i = static_cast<std::size_t>(r) * W + static_cast<std::size_t>(c);
            if (Z[i] > -1.0f && Z[i] < 1.0f) label[i] = kCandidate;  // depth truncates to 0
        }
    }

    // First pass: provisional labels and their equivalences (parent[i] <= i always).
    std::vector<std::int32_t> parent{0, 1, 2};
    for (int r = 1; r <= h - 2; ++r) {
        for (int c = 1; c <= w - 2; ++c) {
            const std::size_t i = static_cast<std::size_t>(r) * W + static_cast<std::size_t>(c);
            if (label[i] != kCandidate) continue;
            std::int32_t found[2];
            int count = 0;
            if (label[i - 1] > 0) found[count++] = label[i - 1];
            if (label[i - W] > 0) found[count++] = label[i - W];
            if (count == 0) {
                const std::int32_t fresh = static_cast<std::int32_t>(parent.size());
                parent.push_back(fresh);
                label[i] = fresh;
                continue;
            }
            if (count == 2 && found[1] < found[0]) std::swap(found[0], found[1]);
            const std::int32_t m = parent[static_cast<std::size_t>(found[0])];
            label[i] = m;
            if (count == 2) {
                const std::int32_t e = found[1];
                const std::int32_t q = parent[static_cast<std::size_t>(e)];
                if (q > m) {
                    parent[static_cast<std::size_t>(q)] = m;
                    parent[static_cast<std::size_t>(e)] = m;
                } else if (q < m) {
                    parent[static_cast<std::size_t>(m)] = q;
                }
            }
        }
    }
    // Resolve every label to the root of its chain.
    for (std::size_t i = 1; i < parent.size(); ++i) {
        std::int32_t p = parent[i];
        while (parent[static_cast<std::size_t>(p)] != p) p = parent[static_cast<std::size_t>(p)];
        parent[i] = p;
    }
    // Second pass: final labels and the area of each.
    std::vector<std::int32_t> area(parent.size(), 0);
    for (std::size_t i = 0; i < n; ++i) {
        if (label[i] > 0) {
            label[i] = parent[static_cast<std::size_t>(label[i])];
            ++area[static_cast<std::size_t>(label[i])];
        }
    }
    // The label map becomes the area map.
    for (std::size_t i = 0; i < n; ++i) {
        label[i] = label[i] >= 3 ? area[static_cast<std::size_t>(label[i])] : 0;
    }
    return label;
}

namespace {

// Class of every pixel from the area of its hole region.
std::vector<std::uint8_t> classifyHoles(const float* Z, int w, int h, int smallArea, int largeArea) {
    const std::vector<std::int32_t> areas = HoleRegionAreas(Z, w, h);
    std::vector<std::uint8_t> cls(areas.size(), kNotFilled);
    for (std::size_t i = 0; i < areas.size(); ++i) {
        const std::int32_t a = areas[i];
        if (a == 0) continue;
        if (a <= smallArea) {
            cls[i] = kSmall;
        } else if (a < largeArea) {
            cls[i] = kLarger;
        }
    }
    return cls;
}

}  // namespace

void FillingFunction(const AlgoEngine& engine, float* X, float* Y, float* Z, bool* mask, int mode,
                     int smallArea, int largeArea, int minDepth, int maxDepth) {
    const int w = engine.roi.width, h = engine.roi.height;
    if (w < 11 || h < 11) return;  // no pixel lies inside the five-pixel margin
    const std::size_t W = static_cast<std::size_t>(w);

    const std::vector<std::uint8_t> cls = classifyHoles(Z, w, h, smallArea, largeArea);

    const Level level = levelOf(mode);
    const float tol = level.tolerance, limit = level.angleLimit;
    const float zMin = static_cast<float>(minDepth), zMax = static_cast<float>(maxDepth);
    const double f = focalLengthMm(engine.calib.K1);
    const std::int64_t step = engine.downsampleStep;
    const float offset = engine.downsampleOffset;
    const float offsetX = static_cast<float>(engine.roi.offsetX), offsetY = static_cast<float>(engine.roi.offsetY);

    const auto point = [&](std::size_t j) { return Vec3{X[j], Y[j], Z[j]}; };
    const auto inRange = [&](float z) { return z >= zMin && z <= zMax; };

    for (int r = 5; r <= h - 6; ++r) {
        const double sr = static_cast<double>(static_cast<float>(step * r) + offset + offsetY);
        for (int c = 5; c <= w - 6; ++c) {
            const std::size_t i = static_cast<std::size_t>(r) * W + static_cast<std::size_t>(c);
            const std::uint8_t k = cls[i];
            if (k != kSmall && k != kLarger) continue;
            if (Z[i] != 0.0f) continue;
            const float zl = Z[i - 1], zu = Z[i - W];
            if (zl == 0.0f || zu == 0.0f || !inRange(zl) || !inRange(zu)) continue;

            // Right and lower estimates: linear towards the first nonzero depth.
            float zr = 0.0f, zd = 0.0f;
            std::size_t iR = 0, iD = 0;
            int colR = 0, rowD = 0;
            for (int kk = 1; c + kk <= w - 2; ++kk) {
                const float zR = Z[i + static_cast<std::size_t>(kk)];
                if (zR != 0.0f) {
                    zr = zl + (zR - zl) / static_cast<float>(kk + 1);
                    iR = i + static_cast<std::size_t>(kk);
                    colR = c + kk;
                    break;
                }
            }
            for (int kk = 1; r + kk <= h - 2; ++kk) {
                const float zD = Z[i + static_cast<std::size_t>(kk) * W];
                if (zD != 0.0f) {
                    zd = zu + (zD - zu) / static_cast<float>(kk + 1);
                    iD = i + static_cast<std::size_t>(kk) * W;
                    rowD = r + kk;
                    break;
                }
            }

            // Agreement of the four depths (a missing estimate gives an infinite or NaN ratio).
            const float drl = std::fabs(zr - zl), ddu = std::fabs(zd - zu), drd = std::fabs(zr - zd);
            if (!(drl / zl <= tol && drl / zr <= tol && ddu / zu <= tol && ddu / zd <= tol && drd / zd <= tol &&
                  drd / zr <= tol)) {
                continue;
            }

            const float z = (zd + zr) * 0.5f;
            const double sc = static_cast<double>(static_cast<float>(step * c) + offset + offsetX);
            const float x0 = static_cast<float>((sc - engine.cx1) * engine.pixelPitch * static_cast<double>(z) / f);
            const float y0 = static_cast<float>((sr - engine.cy1) * engine.pixelPitch * static_cast<double>(z) / f);

            if (k == kLarger) {
                if (mode < 2 || zr == 0.0f || zd == 0.0f) continue;
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
                if (!haveLeft || !haveUp) continue;
                const float a1 = angleDeg(A, A1), a2 = angleDeg(B, B1);
                const float a3 = angleDeg(D1, A), a4 = angleDeg(C1, B);
                const bool pass = mode == 2 ? (limit > a1 && limit > a2)
                                            : (limit > a1 || limit > a2 || limit > a3 || limit > a4);
                if (!pass) continue;
            }
            Z[i] = z;
            X[i] = x0;
            Y[i] = y0;
            mask[i] = true;
        }
    }
}

}  // namespace depthfilter
}  // namespace XELORAALGO
