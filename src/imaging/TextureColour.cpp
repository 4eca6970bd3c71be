// Colour channels, previews and the mean-level test.
//
// CalRGBFuse (4 arguments): srcA, srcB are stacks of 11 colour images of w x h pixels, 3 interleaved
//   bytes each; byte 0 of every pixel goes to the w x h byte planes dstA[k], dstB[k].
// CalRGBFuse (5 arguments): the same for images 0 ... count-1 with byte 2 of every pixel; a count
//   below 1 does nothing.
// CalPreview: preview (w x 2h bytes, out); m1 ... m4 float maps of w x h (in). Row 2r of the preview
//   is m1 + m3 of row r (first camera), row 2r + 1 is m2 + m4 (second camera); each float sum is
//   truncated toward zero and clamped: above 255 gives 255, and (outside the intended non-negative
//   input) a sum of -1 or less or a non-number gives 0.
// CalPixelAverage: image of width x height bytes (arguments, not the ROI); true when the byte sum
//   divided by width * height (integer division) is below threshold. The sum is kept in 64 bits,
//   which equals a 32-bit sum wherever that one does not overflow.
// All buffers belong to the caller; w, h are the engine's ROI size.
#include <cstddef>
#include <cstdint>

#include "ImagingDetail.h"
#include "imaging.h"

namespace XELORAALGO {
namespace imaging {

namespace {

void extractByte(std::size_t pixels, int images, std::size_t byteIndex, unsigned char* const* srcA,
                 unsigned char* const* srcB, unsigned char* const* dstA, unsigned char* const* dstB) {
    for (int k = 0; k < images; ++k) {
        const unsigned char* a = srcA[k];
        const unsigned char* b = srcB[k];
        unsigned char* da = dstA[k];
        unsigned char* db = dstB[k];
        for (std::size_t j = 0; j < pixels; ++j) {
            da[j] = a[3 * j + byteIndex];
            db[j] = b[3 * j + byteIndex];
        }
    }
}

unsigned char previewByte(float sum) {
    int v;
    if (!truncToInt(sum, v)) return sum > 0.0f ? 255 : 0;
    if (v > 255) return 255;
    if (v < 0) return 0;
    return static_cast<unsigned char>(v);
}

}  // namespace

void CalRGBFuse(const AlgoEngine& engine, unsigned char* const* srcA, unsigned char* const* srcB,
                unsigned char* const* dstA, unsigned char* const* dstB) {
    extractByte(engine.pixelCount(), 11, 0, srcA, srcB, dstA, dstB);
}

void CalRGBFuse(const AlgoEngine& engine, unsigned char* const* srcA, unsigned char* const* srcB,
                unsigned char* const* dstA, unsigned char* const* dstB, int count) {
    if (count < 1) return;
    extractByte(engine.pixelCount(), count, 2, srcA, srcB, dstA, dstB);
}

void CalPreview(const AlgoEngine& engine, unsigned char* preview, const float* m1, const float* m2,
                const float* m3, const float* m4) {
    if (engine.pixelCount() == 0) return;
    const std::size_t w = static_cast<std::size_t>(engine.width());
    const std::size_t h = static_cast<std::size_t>(engine.height());
    for (std::size_t r = 0; r < h; ++r) {
        unsigned char* even = preview + (2 * r) * w;
        unsigned char* odd = even + w;
        for (std::size_t c = 0; c < w; ++c) {
            const std::size_t i = r * w + c;
            even[c] = previewByte(m1[i] + m3[i]);
            odd[c] = previewByte(m2[i] + m4[i]);
        }
    }
}

bool CalPixelAverage(const unsigned char* image, int width, int height, int threshold) {
    const std::int64_t n = static_cast<std::int64_t>(width) * height;
    if (n <= 0) return false;  // needs width * height > 0; an empty image is never "below"
    std::int64_t sum = 0;
    for (std::int64_t j = 0; j < n; ++j) sum += image[j];
    return sum / n < threshold;
}

}  // namespace imaging
}  // namespace XELORAALGO
