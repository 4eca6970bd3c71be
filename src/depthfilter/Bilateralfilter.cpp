// Bilateralfilter: edge-preserving smoothing of a float map inside a mask.
//
// Inputs:  map (float, w x h, caller-owned, filtered in place), mask (bool, w x h, read only),
//          spatialSigma (pixels, integer), rangeSigma (units of the map).
// Outputs: map: valid pixels hold the filtered value, invalid pixels 0.
// Working storage (the spatial weight table, a copy of the map with readable padding, for the
// sixteen-wide loops the mask as bits, and per worker the weights of the last hy + 1 rows of pixel
// pairs and a cache of 4096 range weights) is allocated here and released on return.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "Bilateralfilter.h"
#include "BilateralfilterLanes.h"
#include "frame/BandedWorkers.h"
#include "numerics/numerics.h"

namespace XELORAALGO {
namespace depthfilter {

namespace {

// Spatial weights exp((di^2 + dj^2) / (-2 sigma^2)) with the quotient taken as a truncating integer
// division, for offsets -hy ... hy (rows) by -hx ... hx (columns).
std::vector<double> spatialTable(long long sigma, long long hy, long long hx) {
    std::vector<double> table;
    if (hy < 0 || hx < 0) return table;  // empty kernel
    table.reserve(static_cast<std::size_t>((2 * hy + 1) * (2 * hx + 1)));
    const long long divisor = -2 * sigma * sigma;
    for (long long di = -hy; di <= hy; ++di) {
        for (long long dj = -hx; dj <= hx; ++dj) {
            const long long q = divisor != 0 ? (di * di + dj * dj) / divisor : 0;
            table.push_back(num::exp(static_cast<double>(q)));
        }
    }
    return table;
}

// Everything a worker reads: the unfiltered copy, the mask, the spatial weights (float, row-major
// (2 hy + 1) x (2 hx + 1)) and the range weight's denominator.
struct Kernel {
    const float* src;
    const bool* mask;
    const float* ws;
    int w, h;
    int hy, hx;
    float rangeDenominator;
    bool avx512;  // the inner loops sixteen columns at a time
    const unsigned char* maskBits;  // for those: the mask as bits, kMaskRowBytes(w) bytes a row
};

// Bytes of a row of the mask as bits: 8 readable bytes from the byte of any column below w + 16.
std::size_t kMaskRowBytes(int w) { return static_cast<std::size_t>(w + 7) / 8 + 10; }

// The range weight of a pair of pixels does not depend on which of the two is the centre: the
// difference only changes sign, and (-d) * d is the same float for d and -d. So each pair is
// weighed once, from its upper pixel (or its left one in the same row), through the "forward"
// offsets: (0, 0), (0, 1 ... hx), then (1 ... hy, -hx ... hx), in this order. Centre p takes the
// weight of a backward offset (di, dj) from the forward offset (-di, -dj) of its neighbour p + (di, dj).
//
// A weight of -1 (never a value of expf) marks a pair that does not take part: a pixel outside the
// image or invalid.
constexpr float kNotTaking = -1.0f;

// Readable floats on either side of each row of weights and of the whole copy of the map: a block
// of sixteen columns starting below w, shifted by at most hx either way.
std::size_t kPad(int hx) { return static_cast<std::size_t>(hx) + 16; }

std::uint32_t bitsOf(float v) {
    std::uint32_t b;
    std::memcpy(&b, &v, sizeof b);
    return b;
}

float floatOf(std::uint32_t bits) {
    float v;
    std::memcpy(&v, &bits, sizeof v);
    return v;
}

// The plain loops keep the range weights of the last arguments they met in the same kind of cache
// as the sixteen-wide ones (BilateralfilterLanes.h), every argument that needs expf.
std::uint32_t cacheSlot(std::uint32_t bits) { return (bits * detail::kCacheMultiplier) >> (32 - detail::kCacheBits); }

// Per-worker storage: the forward weights of the last hy + 1 rows (row u in slot u mod (hy + 1)),
// range weights for the plain loops, range times spatial weight for the sixteen-wide ones, each
// row offset-major: weight (u, c) -> (u + di, c + dj) at [offset * stride + pad + c], with
// kPad(hx) weights of -1 on either side of every run of w (so that the sixteen-wide loops read
// whole blocks at every shift); and, for the plain loops, the arguments of one row that need expf.
class WeightRing {
public:
    explicit WeightRing(const Kernel& k)
        : k_(k), offsets_(static_cast<std::size_t>(k.hx + 1 + k.hy * (2 * k.hx + 1))),
          pad_(k.avx512 ? kPad(k.hx) : 0), stride_(static_cast<std::size_t>(k.w) + 2 * pad_),
          rowSize_(offsets_ * stride_), arg_(k.avx512 ? 0 : rowSize_), wr_(arg_.size()), where_(arg_.size()),
          cache_(std::size_t{1} << detail::kCacheBits, 0u),
          ring_(new float[rowSize_ * static_cast<std::size_t>(k.hy + 1)]) {
        // Only the padding needs a value: a row's weights are written before they are read.
        for (std::size_t run = 0; run < offsets_ * static_cast<std::size_t>(k.hy + 1); ++run) {
            float* start = ring_.get() + run * stride_;
            std::fill(start, start + pad_, kNotTaking);
            std::fill(start + pad_ + static_cast<std::size_t>(k.w), start + stride_, kNotTaking);
        }
    }

    // Index of the forward offset (di, dj) (di > 0, or di == 0 and dj >= 0).
    std::size_t forward(int di, int dj) const {
        return di == 0 ? static_cast<std::size_t>(dj)
                       : static_cast<std::size_t>(k_.hx + 1 + (di - 1) * (2 * k_.hx + 1) + (dj + k_.hx));
    }

    // The weights of forward offsets with di >= minDi from row u (those whose lower pixel lies in
    // the image).
    void computeRow(int u, int minDi);

    // Forward weights of row u, offset `index`.
    const float* row(int u, std::size_t index) const { return ring_.get() + slot(u) + index * stride_ + pad_; }

private:
    std::size_t slot(int u) const { return static_cast<std::size_t>(u % (k_.hy + 1)) * rowSize_; }

    const Kernel& k_;
    std::size_t offsets_, pad_, stride_, rowSize_;
    std::vector<float> arg_, wr_;       // arguments and weights that need expf (plain loops)
    std::vector<std::uint32_t> where_;  // their places in the ring slot
    std::vector<unsigned long long> cache_;  // the weights of the last arguments met
    std::unique_ptr<float[]> ring_;
};

void WeightRing::computeRow(int u, int minDi) {
    const int w = k_.w;
    const int maxDi = k_.hy < k_.h - 1 - u ? k_.hy : k_.h - 1 - u;
    const std::size_t rowStart = static_cast<std::size_t>(u) * static_cast<std::size_t>(w);
    const float* centre = k_.src + rowStart;
    const bool* centreMask = k_.mask + rowStart;
    float* ring = ring_.get() + slot(u) + pad_;
    // 1. Every pair taking part gets its argument q = (-d * d) / ((s + s) s), d = neighbour - centre.
    // expf(q) is 1 for -2^-25 <= q <= 0 (e^q lies above 1 - 2^-25, the midpoint below 1) and 0 for
    // q < -104; the plain loops write those weights here and send the others to one array for expf;
    // the sixteen-wide loops evaluate expf in place.
    std::size_t pending = 0;
    for (int di = minDi; di <= maxDi; ++di)
        for (int dj = di == 0 ? 0 : -k_.hx; dj <= k_.hx; ++dj) {
            const std::size_t o = forward(di, dj) * stride_;
            float* out = ring + o;
            const int cFirst = dj < 0 ? -dj : 0;
            const int cLast = dj > 0 ? w - dj : w;
            for (int c = 0; c < cFirst; ++c) out[c] = kNotTaking;
            for (int c = cLast > cFirst ? cLast : cFirst; c < w; ++c) out[c] = kNotTaking;
            const std::size_t at = rowStart + static_cast<std::size_t>(di) * static_cast<std::size_t>(w);
            const float* nv = k_.src + at;
            const bool* nm = k_.mask + at;
            if (k_.avx512) {
                if (cLast <= cFirst) continue;
                const std::size_t f = static_cast<std::size_t>(cFirst), g = f + static_cast<std::size_t>(dj);
                // The weights of the sixteen-wide loops come with their spatial factor: the same for
                // (di, dj) and (-di, -dj).
                const float spatial = k_.ws[static_cast<std::size_t>((di + k_.hy) * (2 * k_.hx + 1) + dj + k_.hx)];
                const unsigned char* bits = k_.maskBits + static_cast<std::size_t>(u) * kMaskRowBytes(w);
                detail::bilateralWeightsAvx512(centre + f, bits, cFirst, nv + g,
                                               bits + static_cast<std::size_t>(di) * kMaskRowBytes(w), cFirst + dj,
                                               k_.rangeDenominator,
                                               spatial, cLast - cFirst, out + f, cache_.data());
                continue;
            }
            for (int c = cFirst; c < cLast; ++c) {
                const bool taking = centreMask[c] && nm[c + dj];
                const float delta = nv[c + dj] - centre[c];
                const float q = (-delta * delta) / k_.rangeDenominator;
                const bool one = q >= -0x1p-25f, zero = q < -104.0f;
                out[c] = taking ? (one ? 1.0f : 0.0f) : kNotTaking;
                if (!taking || one || zero) continue;  // NaN goes on
                const std::uint32_t bits = bitsOf(q), at = cacheSlot(bits);
                if (cache_[at] >> 32 == bits) {
                    out[c] = floatOf(static_cast<std::uint32_t>(cache_[at]));
                    continue;
                }
                where_[pending] = static_cast<std::uint32_t>(o + static_cast<std::size_t>(c));
                arg_[pending++] = q;
            }
        }
    if (k_.avx512) return;
    // 2. The remaining range weights, all at once, then into the cache and their places.
    num::expf(arg_.data(), wr_.data(), pending);
    for (std::size_t i = 0; i < pending; ++i) {
        const std::uint32_t bits = bitsOf(arg_[i]), at = cacheSlot(bits);
        cache_[at] = static_cast<unsigned long long>(bits) << 32 | bitsOf(wr_[i]);
        ring[where_[i]] = wr_[i];
    }
}

// Sums of centre row r in the documented order (rows outer, columns inner), every pixel of the row
// at once, into s and n (w floats each).
void sumRow(const Kernel& k, const WeightRing& ring, int r, float* s, float* n) {
    const int w = k.w;
    for (int c = 0; c < w; ++c) s[c] = n[c] = 0.0f;
    std::size_t o = 0;
    for (int di = -k.hy; di <= k.hy; ++di) {
        const int nr = r + di;
        if (nr < 0 || nr >= k.h) {
            o += static_cast<std::size_t>(2 * k.hx + 1);
            continue;
        }
        const float* nv = k.src + static_cast<std::size_t>(nr) * static_cast<std::size_t>(w);
        for (int dj = -k.hx; dj <= k.hx; ++dj, ++o) {
            const bool forward = di > 0 || (di == 0 && dj >= 0);
            // Weight of centre c at wr[c + shift].
            const float* wr = forward ? ring.row(r, ring.forward(di, dj)) : ring.row(nr, ring.forward(-di, -dj));
            const int shift = forward ? 0 : dj;
            const float wsv = k.ws[o];
            const int cFirst = dj < 0 ? -dj : 0;
            const int cLast = dj > 0 ? w - dj : w;
            for (int c = cFirst; c < cLast; ++c) {
                const float wrc = wr[c + shift];
                const float wgt = wrc * wsv;
                const float s1 = s[c] + nv[c + dj] * wgt;
                const float n1 = n[c] + wgt;
                const bool use = wrc != kNotTaking;
                s[c] = use ? s1 : s[c];
                n[c] = use ? n1 : n[c];
            }
        }
    }
}

// The same sums sixteen pixels wide, straight into the row of map: every offset of the kernel whose
// row lies in the image, in the documented order, the ring's weights already times the spatial
// weight. The weights outside the image are -1 (the ring's padding and the columns without a
// neighbour), so every column reads whole blocks.
void sumRowWide(const Kernel& k, const WeightRing& ring, int r, std::vector<detail::SumTerm>& terms, float* out) {
    const std::ptrdiff_t w = k.w;
    terms.clear();
    for (int di = -k.hy; di <= k.hy; ++di) {
        const int nr = r + di;
        if (nr < 0 || nr >= k.h) continue;
        for (int dj = -k.hx; dj <= k.hx; ++dj) {
            const bool forward = di > 0 || (di == 0 && dj >= 0);
            const float* wr = forward ? ring.row(r, ring.forward(di, dj)) : ring.row(nr, ring.forward(-di, -dj)) + dj;
            terms.push_back({wr, k.src + (nr * w + dj)});
        }
    }
    detail::bilateralRowAvx512(terms.data(), static_cast<int>(terms.size()), k.mask + r * w, k.w, out + r * w);
}

// Rows [rowBegin, rowEnd) of map. The forward weights of the hy rows above the band are computed
// here too (only the offsets that reach into the band), so bands stay independent.
void filterBand(const Kernel& k, int rowBegin, int rowEnd, float* map) {
    if (rowBegin >= rowEnd) return;
    const std::size_t w = static_cast<std::size_t>(k.w);
    std::vector<float> s(w), n(w);
    if (k.hy < 0 || k.hx < 0) {  // empty kernel: no weight at all, 0 / 0
        for (int r = rowBegin; r < rowEnd; ++r)
            for (std::size_t c = 0, at = static_cast<std::size_t>(r) * w; c < w; ++c)
                if (k.mask[at + c]) map[at + c] = s[c] / n[c];
        return;
    }
    WeightRing ring(k);
    std::vector<detail::SumTerm> terms;
    const int uStart = rowBegin - k.hy > 0 ? rowBegin - k.hy : 0;
    for (int u = uStart; u < rowEnd; ++u) {
        ring.computeRow(u, u < rowBegin ? rowBegin - u : 0);
        if (u < rowBegin) continue;
        if (k.avx512) {
            sumRowWide(k, ring, u, terms, map);
            continue;
        }
        sumRow(k, ring, u, s.data(), n.data());
        const std::size_t at = static_cast<std::size_t>(u) * w;
        for (std::size_t c = 0; c < w; ++c)
            if (k.mask[at + c]) map[at + c] = s[c] / n[c];
    }
}

}  // namespace

namespace {

void filterWith(const AlgoEngine& e, float* map, const bool* mask, int spatialSigma, float rangeSigma, bool avx512) {
    const std::size_t n = e.pixelCount();
    if (n == 0) return;
    const int w = e.roi.width;
    const int h = e.roi.height;

    // Kernel size k = 1 - 2 * trunc(-1.5 * sigma), half size k / 2 (integer division). Offsets that
    // reach beyond the image never find a neighbour, so the table is cut to the image size.
    const long long k = 1 - 2 * static_cast<long long>(std::trunc(-1.5 * static_cast<double>(spatialSigma)));
    const long long half = k > 0 ? k / 2 : -1;  // -1: empty kernel
    const long long hy = half < h - 1 ? half : h - 1;
    const long long hx = half < w - 1 ? half : w - 1;
    const std::vector<double> table = spatialTable(spatialSigma, hy, hx);
    // The weights as the accumulation uses them, narrowed to float once.
    const std::vector<float> ws(table.begin(), table.end());

    // The copy with kPad(hx) readable floats before and after it.
    const std::size_t pad = kPad(static_cast<int>(hx > 0 ? hx : 0));
    std::vector<float> padded(n + 2 * pad, 0.0f);
    std::copy(map, map + n, padded.begin() + static_cast<std::ptrdiff_t>(pad));
    const float* src = padded.data() + pad;
    for (std::size_t i = 0; i < n; ++i) map[i] = 0.0f;
    const float rangeDenominator = (rangeSigma + rangeSigma) * rangeSigma;

    std::vector<unsigned char> maskBits;
    if (avx512) {
        const std::size_t rowBytes = kMaskRowBytes(w);
        maskBits.assign(rowBytes * static_cast<std::size_t>(h), 0);
        for (std::size_t r = 0; r < static_cast<std::size_t>(h); ++r) {
            const bool* row = mask + r * static_cast<std::size_t>(w);
            for (std::size_t c = 0; c < static_cast<std::size_t>(w); c += 8) {
                unsigned byte = 0;
                for (std::size_t b = 0; b < 8 && c + b < static_cast<std::size_t>(w); ++b)
                    byte |= static_cast<unsigned>(row[c + b]) << b;
                maskBits[r * rowBytes + c / 8] = static_cast<unsigned char>(byte);
            }
        }
    }
    const Kernel kernel{src, mask, ws.data(), w, h, static_cast<int>(hy), static_cast<int>(hx),
                        rangeDenominator, avx512, maskBits.data()};
    runBands(bands::kBilateral, static_cast<std::size_t>(h), [&](int, std::size_t rowBegin, std::size_t rowEnd) {
        filterBand(kernel, static_cast<int>(rowBegin), static_cast<int>(rowEnd), map);
    });
}

// AVX-512 is left out on Windows, whose stack keeps no 64-byte alignment for spilled registers.
bool avx512Usable() {
#if defined(_WIN32)
    return false;
#else
    return num::isaUsable(num::Isa::Avx512);
#endif
}

}  // namespace

void Bilateralfilter(const AlgoEngine& engine, float* map, const bool* mask, int spatialSigma, float rangeSigma) {
    filterWith(engine, map, mask, spatialSigma, rangeSigma, avx512Usable());
}

void BilateralfilterWithLanes(const AlgoEngine& engine, float* map, const bool* mask, int spatialSigma,
                              float rangeSigma, int lanes) {
    filterWith(engine, map, mask, spatialSigma, rangeSigma, lanes >= 16 && avx512Usable());
}

}  // namespace depthfilter
}  // namespace XELORAALGO
