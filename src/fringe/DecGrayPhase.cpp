// DecGrayPhase1, UnDecGrayPhase1, UnDecGrayPhase2: Gray-code + four-step phase-shift decoding of the
// eleven pattern images of one camera.
//
// Inputs:  engine.roi (width x height = N pixels), engine.phaseSin/phaseCos and the two 511 x 511
//          lookup tables phaseAtanLut/modulationLut (built by the engine's constructor);
//          patternImages: 11 caller-owned 8-bit planes of N bytes, read only:
//            0..5  Gray-code bits, plane 0 the most significant; 6  the half-period-shifted bit;
//            7..10 fringes with phase shifts pi/2, pi, 3pi/2, 2pi.
// Outputs (caller-owned, N elements each, every pixel written):
//          validMask (modulation above the decoder's threshold), modulationMap (grey levels),
//          averageMap (mean of the four fringes, grey levels), absolutePhase (radians, 0 .. ~64*2pi).
// The three decoders share one algorithm and differ only in their Variant settings (below). Each threaded pass runs
// on 8 banded workers; the last N mod 8 pixels, which no worker owns, are decoded the same way on
// the calling thread, so every pixel is decoded whatever the ROI. Scratch maps of the two-pass path
// are allocated here and released on return.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "fringe.h"
#include "frame/BandedWorkers.h"

namespace XELORAALGO {
namespace fringe {

namespace {

constexpr float kTwoPiF = 6.2831855f;
constexpr float kHalfPiF = 1.5707964f;

struct Variant {
    bool reversed;          // phase numerator I9 - I7 and first Gray bit inverted
    float threshold;        // modulation above which a pixel is valid
    bool truncatingFirst;   // two-pass first pass uses the truncating accumulation
    bool verticalCheck;     // one-pass result gets the vertical consistency check
};

constexpr Variant kDecGrayPhase1{false, 5.0f, true, false};
constexpr Variant kUnDecGrayPhase1{true, 2.0f, false, false};
constexpr Variant kUnDecGrayPhase2{true, 2.0f, false, true};

struct Planes {
    const unsigned char* p[11];
};

// Wrapped phase (raw atan2, -pi .. pi) and modulation of pixel i from the lookup tables.
inline void lookupFringe(const AlgoEngine& e, const Planes& pl, bool reversed, std::size_t i, float& phi,
                         float& m) {
    const int i7 = pl.p[7][i], i8 = pl.p[8][i], i9 = pl.p[9][i], i10 = pl.p[10][i];
    const int a = i10 - i8;
    const int b = reversed ? i9 - i7 : i7 - i9;
    const int idx = lutIndex(a, b);
    phi = e.phaseAtanLut[static_cast<std::size_t>(idx)];
    m = e.modulationLut[static_cast<std::size_t>(idx)];
}

// Average of the four fringes, summed in float in the order I8, I7, I9, I10.
inline float fringeAverage(const Planes& pl, std::size_t i) {
    return ((static_cast<float>(pl.p[8][i]) + static_cast<float>(pl.p[7][i])) + static_cast<float>(pl.p[9][i]) +
            static_cast<float>(pl.p[10][i])) *
           0.25f;
}

// Truncating accumulation of the fringes (DecGrayPhase1's first pass when smoothing): S, C and A are
// integers, each term added in double and truncated toward zero, which is what the conversion of
// a double to int does. All three stay within -255 .. 255 (S and C) and 0 .. 255 (A), so the
// conversions are in range.
inline void truncatingFringe(const AlgoEngine& e, const Planes& pl, std::size_t i, float& phi, float& m,
                             float& t) {
    std::int32_t s = 0, c = 0, avg = 0;
    for (int j = 0; j < 4; ++j) {
        const double v = static_cast<double>(pl.p[7 + j][i]);
        s = static_cast<std::int32_t>(static_cast<double>(s) + v * e.phaseSin[j]);
        c = static_cast<std::int32_t>(static_cast<double>(c) + v * e.phaseCos[j]);
        avg = static_cast<std::int32_t>(static_cast<double>(avg) + v * 0.25);
    }
    const std::size_t idx = static_cast<std::size_t>(lutIndex(c, s));
    phi = e.phaseAtanLut[idx];
    m = e.modulationLut[idx];
    t = static_cast<float>(avg);
}

// Steps 4-7: wrap phi into [0, 2pi), read the Gray code against threshold t and unwrap.
inline float unwrapPhase(const Planes& pl, bool reversed, std::size_t i, float phi, float t) {
    if (phi < 0.0f) phi = phi + kTwoPiF;
    bool g[7];
    for (int k = 0; k < 7; ++k) g[k] = static_cast<float>(pl.p[k][i]) > t;
    if (reversed) g[0] = static_cast<float>(pl.p[0][i]) <= t;
    bool bit = g[0];
    int w1 = bit ? 1 : 0;
    for (int k = 1; k < 6; ++k) {
        bit = bit != g[k];
        w1 = 2 * w1 + (bit ? 1 : 0);
    }
    return static_cast<float>(unwrapPeriod(w1, g[6] ? 1 : 0, phi)) * kTwoPiF + phi;
}

// Runs fn(i) for every pixel on the decoders' banded workers (leftover pixels on the calling thread).
template <class Fn>
void forEachPixel(std::size_t n, const Fn& fn) {
    runBands(bands::kDecode, n, [&fn](int, std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) fn(i);
    });
}

// Runtime value of a float sine/cosine of a constant (kept out of compile-time folding so that the
// C runtime's function is the one that decides).
float runtimeSinf(float x) {
    volatile float v = x;
    return sinf(v);
}
float runtimeCosf(float x) {
    volatile float v = x;
    return cosf(v);
}

// Vertical consistency check: a pixel whose phase differs by more than 5 % (relative to its own
// phase) from more than two of the rows r-3 .. r+3 of its column is invalidated.
void verticalCheck(const AlgoEngine& e, bool* validMask, const float* phase) {
    const int width = e.roi.width, height = e.roi.height;
    const std::size_t w = static_cast<std::size_t>(width);
    for (int c = 0; c < width; ++c) {
        for (int r = 0; r < height; ++r) {
            const float p = phase[static_cast<std::size_t>(r) * w + c];
            int count = 0;
            for (int q = r - 3; q <= r + 3; ++q) {
                if (q < 0 || q >= height) continue;
                const float diff = p - phase[static_cast<std::size_t>(q) * w + c];
                bool exceeds;
                if (p == 0.0f)
                    exceeds = diff != 0.0f;  // x / 0 is infinite; 0 / 0 (NaN) never exceeds
                else
                    exceeds = static_cast<double>(std::fabs(diff / p)) > 0.05;
                if (exceeds) ++count;
            }
            if (count > 2) validMask[static_cast<std::size_t>(r) * w + c] = false;
        }
    }
}

void decode(const AlgoEngine& e, const Variant& var, bool* validMask, float* modulationMap, float* averageMap,
            unsigned char* const* patternImages, bool smoothPhase, int smoothRounds, float smoothSigma,
            float* absolutePhase) {
    const std::size_t n = e.pixelCount();
    if (n == 0) return;
    Planes pl;
    for (int k = 0; k < 11; ++k) pl.p[k] = patternImages[k];
    const bool reversed = var.reversed;
    const float threshold = var.threshold;

    if (!smoothPhase) {
        forEachPixel(n, [&](std::size_t i) {
            float phi, m;
            lookupFringe(e, pl, reversed, i, phi, m);
            modulationMap[i] = m;
            const float t = fringeAverage(pl, i);
            averageMap[i] = t;
            validMask[i] = m > threshold;
            absolutePhase[i] = unwrapPhase(pl, reversed, i, phi, t);
        });
        if (var.verticalCheck) verticalCheck(e, validMask, absolutePhase);
        return;
    }

    // Two-pass decoding: the first pass writes every element of the scratch maps.
    std::unique_ptr<float[]> phi(new float[n]), mod(new float[n]), avg(new float[n]);
    std::unique_ptr<bool[]> mask(new bool[n]());
    forEachPixel(n, [&](std::size_t i) {
        float p, m, t;
        if (var.truncatingFirst) {
            truncatingFringe(e, pl, i, p, m, t);
        } else {
            lookupFringe(e, pl, reversed, i, p, m);
            t = fringeAverage(pl, i);
        }
        phi[i] = p;
        mod[i] = m;
        avg[i] = t;
        if (m > threshold) mask[i] = true;
    });

    // Smoothing rounds: rebuild ideal fringes from the phase, smooth them inside the mask, read the
    // phase back.
    if (smoothRounds >= 1) {
        float sinK[4], cosK[4];
        const float shift[4] = {1.5707964f, 3.1415927f, 4.712389f, 6.2831855f};
        for (int k = 0; k < 4; ++k) {
            sinK[k] = runtimeSinf(shift[k]);
            cosK[k] = runtimeCosf(shift[k]);
        }
        std::unique_ptr<float[]> f[4];
        for (auto& fk : f) fk.reset(new float[n]);
        for (int round = 0; round < smoothRounds; ++round) {
            for (int k = 1; k <= 4; ++k) {
                float* fk = f[k - 1].get();
                const float base = static_cast<float>(k) * kHalfPiF;
                for (std::size_t i = 0; i < n; ++i) fk[i] = sinf(base + phi[i]) * 127.5f + 127.5f;
                SmoothMaskedMap(e, fk, mask.get(), smoothSigma);
            }
            for (std::size_t i = 0; i < n; ++i) {
                float s = 0.0f, c = 0.0f;
                for (int k = 0; k < 4; ++k) {
                    s = s + f[k][i] * sinK[k];
                    c = c + f[k][i] * cosK[k];
                }
                phi[i] = atan2f(c, s);
            }
        }
    }

    // Second pass: unwrap with the (smoothed) phase and the first-pass average.
    forEachPixel(n, [&](std::size_t i) { absolutePhase[i] = unwrapPhase(pl, reversed, i, phi[i], avg[i]); });

    for (std::size_t i = 0; i < n; ++i) {
        modulationMap[i] = mod[i];
        averageMap[i] = avg[i];
        validMask[i] = mask[i];
    }
}

}  // namespace

void DecGrayPhase1(const AlgoEngine& engine, bool* validMask, float* modulationMap, float* averageMap,
                   unsigned char* const* patternImages, bool smoothPhase, int smoothRounds, float smoothSigma,
                   float* absolutePhase) {
    decode(engine, kDecGrayPhase1, validMask, modulationMap, averageMap, patternImages, smoothPhase, smoothRounds,
           smoothSigma, absolutePhase);
}

void UnDecGrayPhase1(const AlgoEngine& engine, bool* validMask, float* modulationMap, float* averageMap,
                     unsigned char* const* patternImages, bool smoothPhase, int smoothRounds, float smoothSigma,
                     float* absolutePhase) {
    decode(engine, kUnDecGrayPhase1, validMask, modulationMap, averageMap, patternImages, smoothPhase,
           smoothRounds, smoothSigma, absolutePhase);
}

void UnDecGrayPhase2(const AlgoEngine& engine, bool* validMask, float* modulationMap, float* averageMap,
                     unsigned char* const* patternImages, bool smoothPhase, int smoothRounds, float smoothSigma,
                     float* absolutePhase) {
    decode(engine, kUnDecGrayPhase2, validMask, modulationMap, averageMap, patternImages, smoothPhase,
           smoothRounds, smoothSigma, absolutePhase);
}

}  // namespace fringe
}  // namespace XELORAALGO
