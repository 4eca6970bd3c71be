// DecGrayPhase2: decoding of the paired 18-plane pattern set of one camera, on the calling thread.
//
// Inputs:  engine.roi (width x height = N pixels); patternImages: 18 caller-owned 8-bit planes of
//          N bytes: plane 2j (j = 0..5) the Gray bit j (plane 0 the most significant), plane 2j + 1
//          its inverse, plane 12 the half-period-shifted bit, plane 13 its inverse, planes 14..17
//          fringes with phase shifts 3pi/2, pi, pi/2, 0.
// Outputs (caller-owned, N elements each): validMask, modulationMap (grey levels), averageMap (grey
//          levels), absolutePhase (radians).
// Side effect: planes 0, 2, 4, 6, 8, 10 and 12 are overwritten with decoded bits (0/1); where a pair
// could not be binarised the plane keeps its grey level (planes 0..10 then hold its comparison with
// plane 12), and the pixel is invalid. Calling twice on the same planes does not repeat the result.
// Scratch maps are allocated here and released on return.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "fringe.h"

namespace XELORAALGO {
namespace fringe {

namespace {

constexpr double kTwoPi = 6.2831853071796;

// Runtime value of the C runtime's sin/cos of a constant (not folded at compile time).
double runtimeSin(double x) {
    volatile double v = x;
    return std::sin(static_cast<double>(v));
}
double runtimeCos(double x) {
    volatile double v = x;
    return std::cos(static_cast<double>(v));
}

}  // namespace

void DecGrayPhase2(const AlgoEngine& engine, bool* validMask, float* modulationMap, float* averageMap,
                   unsigned char* const* patternImages, bool smoothPhase, int smoothRounds, float smoothSigma,
                   float* absolutePhase) {
    const std::size_t n = engine.pixelCount();
    if (n == 0) return;
    const int width = engine.roi.width;
    const int height = engine.roi.height;
    unsigned char* const* planes = patternImages;

    // Every element of the scratch maps is written by the fringe analysis.
    std::unique_ptr<float[]> phi(new float[n]), mod(new float[n]), avg(new float[n]);
    std::unique_ptr<bool[]> valid(new bool[n]);
    for (std::size_t i = 0; i < n; ++i) valid[i] = true;

    // 1. Fringe analysis. Shifts 0, pi/2, pi, 3pi/2 belong to planes 17, 16, 15, 14.
    const double shift[4] = {0.0, 1.5707963267949, 3.1415926535898, 4.7123889803847};
    const int fringePlane[4] = {17, 16, 15, 14};
    double sinShift[4], cosShift[4];
    for (int k = 0; k < 4; ++k) {
        sinShift[k] = runtimeSin(shift[k]);
        cosShift[k] = runtimeCos(shift[k]);
    }
    for (std::size_t i = 0; i < n; ++i) {
        float s = 0.0f, c = 0.0f;
        for (int k = 0; k < 4; ++k) {
            const double v = static_cast<double>(planes[fringePlane[k]][i]);
            s = static_cast<float>(static_cast<double>(s) + v * sinShift[k]);
            c = static_cast<float>(static_cast<double>(c) + v * cosShift[k]);
        }
        const float m = static_cast<float>(0.5 * static_cast<double>(sqrtf(c * c + s * s)));
        const float t = static_cast<float>(planes[17][i]) * 0.25f + 0.0f + static_cast<float>(planes[16][i]) * 0.25f +
                        static_cast<float>(planes[15][i]) * 0.25f + static_cast<float>(planes[14][i]) * 0.25f;
        mod[i] = m;
        avg[i] = t;
        phi[i] = atan2f(s, c);
        if (m < 2.0f) valid[i] = false;
    }

    // 2. Optional smoothing rounds of regenerated fringes inside the valid region.
    if (smoothPhase && smoothRounds >= 1) {
        double sinK[4], cosK[4];
        for (int k = 1; k <= 4; ++k) {
            sinK[k - 1] = runtimeSin(k * kHalfPi);
            cosK[k - 1] = runtimeCos(k * kHalfPi);
        }
        std::unique_ptr<float[]> f[4];
        for (auto& fk : f) fk.reset(new float[n]);
        for (int round = 0; round < smoothRounds; ++round) {
            for (int k = 1; k <= 4; ++k) {
                float* fk = f[k - 1].get();
                const double base = k * kHalfPi;
                for (std::size_t i = 0; i < n; ++i)
                    fk[i] = static_cast<float>(std::sin(static_cast<double>(phi[i]) + base) * 127.5 + 127.5);
                SmoothMaskedMap(engine, fk, valid.get(), smoothSigma);
            }
            for (std::size_t i = 0; i < n; ++i) {
                float s = 0.0f, c = 0.0f;
                for (int k = 0; k < 4; ++k) {
                    const double fv = static_cast<double>(f[k][i]);
                    s = static_cast<float>(static_cast<double>(s) + sinK[k] * fv);
                    c = static_cast<float>(static_cast<double>(c) + cosK[k] * fv);
                }
                phi[i] = atan2f(c, s);
            }
        }
    }

    // 3.-5. Per pixel (each pixel depends only on its own planes here): binarise the seven pattern /
    // inverse pairs, replace each of the six bits by its exclusive-or with the seventh, wrap the
    // phase into [0, 2pi) and form the period number (most significant bit inverted).
    std::vector<std::int32_t> w1(n);
    unsigned char* bit7 = planes[12];
    for (std::size_t i = 0; i < n; ++i) {
        const float t = avg[i];
        const float m = mod[i];
        if (t < 5.0f) {
            valid[i] = false;  // no pair is binarised: the planes keep their grey levels
        } else {
            for (int j = 0; j <= 6; ++j) {
                unsigned char& p = planes[2 * j][i];
                const unsigned char inv = planes[2 * j + 1][i];
                if (t > m) {
                    if (p > inv) {
                        p = 1;
                        continue;
                    }
                    if (p < inv) {
                        p = 0;
                        continue;
                    }
                }
                if (t > static_cast<float>(p) && static_cast<float>(inv) > m)
                    p = 0;
                else if (static_cast<float>(p) > m && t > static_cast<float>(inv))
                    p = 1;
                else
                    valid[i] = false;  // p keeps its grey level
            }
        }
        for (int j = 0; j < 6; ++j) {
            unsigned char& p = planes[2 * j][i];
            p = (p != bit7[i]) ? 1 : 0;
        }
        if (phi[i] < 0.0f) phi[i] = static_cast<float>(static_cast<double>(phi[i]) + kTwoPi);
        int b = planes[0][i] == 0 ? 1 : 0;
        int w = b;
        for (int k = 1; k <= 5; ++k) {
            b ^= planes[2 * k][i];
            w = 2 * w + b;
        }
        w1[i] = w;
    }

    // 6. Row repair: a period number that differs from two agreeing neighbours at distance 1 (else 2)
    // takes their value. Left to right, in place.
    for (int r = 0; r < height; ++r) {
        std::int32_t* row = w1.data() + static_cast<std::size_t>(r) * static_cast<std::size_t>(width);
        for (int c = 0; c < width; ++c) {
            for (int d = 1; d <= 2; ++d) {
                if (c - d >= 0 && c + d < width && row[c - d] == row[c + d] && row[c - d] != row[c]) {
                    row[c] = row[c - d];
                    break;
                }
            }
        }
    }

    // 7.-8. Unwrap (the shifted period number uses the stored value of plane 12, the decoded bit)
    // and write the outputs.
    for (std::size_t i = 0; i < n; ++i) {
        const int w = unwrapPeriod(w1[i], bit7[i], phi[i]);
        absolutePhase[i] =
            static_cast<float>(static_cast<double>(static_cast<float>(w)) * kTwoPi + static_cast<double>(phi[i]));
        modulationMap[i] = mod[i];
        averageMap[i] = avg[i];
        validMask[i] = valid[i];
    }
}

}  // namespace fringe
}  // namespace XELORAALGO
