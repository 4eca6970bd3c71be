// SmoothMaskedMap: masked separable Gaussian smoothing of a float map, in place.
//
// Inputs:  engine.roi (width x height), map (float, w x h, caller-owned, smoothed in place),
//          mask (bool, w x h, caller-owned, read only), sigma (pixels).
// Outputs: map: valid pixels hold the smoothed value, invalid pixels 0.
// Working storage (weights, the horizontal results of the 2R + 1 rows in reach and a few row
// buffers) is allocated here and released on return. SmoothMaskedMaps smooths several maps with
// one mask, each exactly as SmoothMaskedMap would.
//
// Both passes keep one weight sum and one value sum per column and add the taps of every pixel in
// the order -R ... R (the sums of a pixel-by-pixel loop), with the columns in vectors. Each tap's
// weight is rounded to float once; the weight x value product and both sums are float operations.
// A tap on an invalid pixel adds weight x 0.0f to both sums (its value is read as 0), which leaves
// them unchanged bit for bit. Sums of invalid centre pixels are discarded (0 is written there). The
// weight sums depend on the mask only and serve every map. Rows are done in one sweep (SmoothStream.h):
// a map row is read by the horizontal pass before the vertical pass overwrites it, so the maps need
// no copy.
#include <cmath>
#include <cstddef>
#include <new>
#include <vector>

#include "SmoothStream.h"
#include "fringe.h"
#include "numerics/numerics.h"

namespace XELORAALGO {
namespace fringe {

namespace detail {
#define XELORA_FRINGE_ISA Base
#define XELORA_FRINGE_BYTES 16
#include "SmoothRows.inc"
#undef XELORA_FRINGE_BYTES
#undef XELORA_FRINGE_ISA
#if defined(__GNUC__) && defined(__x86_64__)
void tapsAlongAvx2(float* out, const float* src, const float* wf, int taps, long long n,
                   const float* ws, const float* flag);
void tapsAcrossAvx2(float* out, const float* const* rows, const float* wf, int taps, long long n,
                    const float* ws, const float* flag);
void maskRowAvx2(float* out, const float* in, const unsigned char* m, long long n);
#if !defined(_WIN32)
void tapsAlongAvx512(float* out, const float* src, const float* wf, int taps, long long n,
                     const float* ws, const float* flag);
void tapsAcrossAvx512(float* out, const float* const* rows, const float* wf, int taps, long long n,
                      const float* ws, const float* flag);
void maskRowAvx512(float* out, const float* in, const unsigned char* m, long long n);
#endif
#endif

SmoothLoops smoothLoops(num::Isa isa) {
#if defined(__GNUC__) && defined(__x86_64__)
#if !defined(_WIN32)
    if (isa == num::Isa::Avx512 && num::widestIsa() == num::Isa::Avx512)
        return {tapsAlongAvx512, tapsAcrossAvx512, maskRowAvx512};
#endif
    if ((isa == num::Isa::Avx2 || isa == num::Isa::Avx512) && num::avx2Allowed())
        return {tapsAlongAvx2, tapsAcrossAvx2, maskRowAvx2};
#endif
    (void)isa;
    return {tapsAlongBase, tapsAcrossBase, maskRowBase};
}

// Largest radius accepted (the tap loops use int); a larger sigma throws std::bad_alloc.
constexpr double kMaxRadius = 1.0e9;

// Normalised kernel weights of the taps -reach ... reach (w[reach] the centre), reach =
// min(R, maxReach): taps farther out can never fall inside the ROI, so only their share of the
// normalising sum is needed. The sum runs over all 2R + 1 taps in order, in double; each normalised
// weight is then rounded to float.
std::vector<float> smoothWeights(float sigma, int maxReach) {
    if (!(sigma > 0.0f)) return std::vector<float>(1, 1.0f);  // no Gaussian: identity kernel
    const double r = -std::trunc(-1.5 * static_cast<double>(sigma));
    if (!(r <= kMaxRadius)) throw std::bad_alloc();
    const int radius = static_cast<int>(r);
    // One tap: its weight exp(0) normalises to 1. Returned directly, because for a sigma so small
    // that (sigma + sigma) * sigma underflows the float division would be 0 / 0.
    if (radius == 0) return std::vector<float>(1, 1.0f);
    const int reach = radius < maxReach ? radius : maxReach;
    std::vector<double> w(2 * static_cast<std::size_t>(reach) + 1);
    const float denom = (sigma + sigma) * sigma;
    double sum = 0.0;
    for (int x = -radius; x <= radius; ++x) {
        const long long xx = static_cast<long long>(x) * x;
        const double e = static_cast<double>(num::expf(static_cast<float>(-xx) / denom));
        sum += e;
        if (x >= -reach && x <= reach) w[static_cast<std::size_t>(x + reach)] = e;
    }
    std::vector<float> wf(w.size());
    for (std::size_t i = 0; i < w.size(); ++i) wf[i] = static_cast<float>(w[i] / sum);
    return wf;
}

void smoothMaskedMaps(const AlgoEngine& engine, float* const* maps, int count, const bool* mask, float sigma,
                      num::Isa isa) {
    const std::size_t w = static_cast<std::size_t>(engine.roi.width);
    const auto row = [&](int k, int r) { return maps[k] + static_cast<std::size_t>(r) * w; };
    const auto source = [&](int k, int r, float*) -> const float* { return row(k, r); };
    smoothRows(engine, count, mask, sigma, isa, source, row, [](int) {});
}

}  // namespace detail

void SmoothMaskedMaps(const AlgoEngine& engine, float* const* maps, int count, const bool* mask, float sigma) {
    detail::smoothMaskedMaps(engine, maps, count, mask, sigma, num::widestIsa());
}

void SmoothMaskedMap(const AlgoEngine& engine, float* map, const bool* mask, float sigma) {
    float* const maps[1] = {map};
    SmoothMaskedMaps(engine, maps, 1, mask, sigma);
}

}  // namespace fringe
}  // namespace XELORAALGO
