// Image halving: DownSampling1, DownSampling2, DownSampling3.
//
// A source image has rows of 2W bytes and H rows (H even); its output has W bytes per row and H / 2
// rows, written contiguously. Output pixel (i, j) comes from the 2 x 2 block at source rows 2i,
// 2i + 1 and columns 2j, 2j + 1: averaged (integer sum shifted right by 2, no rounding) or picked
// (the block's top-left pixel). With an odd H the last source row is not read.
//   DownSampling1: src, dst stacks of count images; with count >= 5 images 0 ... count-5 are picked
//                  and the last four averaged; with count 1 ... 4 all are averaged.
//   DownSampling2: every image of the stack is averaged.
//   DownSampling3: one image is averaged.
// The sizes are the arguments; the engine is not read. Buffers belong to the caller.
#include <cstddef>

#include "imaging.h"

namespace XELORAALGO {
namespace imaging {

namespace {

void averageImage(const unsigned char* src, unsigned char* dst, int W, int H) {
    if (W <= 0 || H <= 1) return;
    const std::size_t w = static_cast<std::size_t>(W);
    const std::size_t rows = static_cast<std::size_t>(H / 2);
    for (std::size_t i = 0; i < rows; ++i) {
        const unsigned char* top = src + (2 * i) * (2 * w);
        const unsigned char* bottom = top + 2 * w;
        unsigned char* out = dst + i * w;
        for (std::size_t j = 0; j < w; ++j) {
            const unsigned sum = static_cast<unsigned>(top[2 * j]) + top[2 * j + 1] + bottom[2 * j] +
                                 bottom[2 * j + 1];
            out[j] = static_cast<unsigned char>(sum >> 2);
        }
    }
}

void pickImage(const unsigned char* src, unsigned char* dst, int W, int H) {
    if (W <= 0 || H <= 1) return;
    const std::size_t w = static_cast<std::size_t>(W);
    const std::size_t rows = static_cast<std::size_t>(H / 2);
    for (std::size_t i = 0; i < rows; ++i) {
        const unsigned char* top = src + (2 * i) * (2 * w);
        unsigned char* out = dst + i * w;
        for (std::size_t j = 0; j < w; ++j) out[j] = top[2 * j];
    }
}

}  // namespace

void DownSampling1(unsigned char* const* src, unsigned char* const* dst, int count, int W, int H) {
    if (count <= 0) return;
    const int firstAveraged = count >= 5 ? count - 4 : 0;
    for (int k = 0; k < firstAveraged; ++k) pickImage(src[k], dst[k], W, H);
    for (int k = firstAveraged; k < count; ++k) averageImage(src[k], dst[k], W, H);
}

void DownSampling2(unsigned char* const* src, unsigned char* const* dst, int count, int W, int H) {
    for (int k = 0; k < count; ++k) averageImage(src[k], dst[k], W, H);
}

void DownSampling3(const unsigned char* src, unsigned char* dst, int W, int H) {
    averageImage(src, dst, W, H);
}

}  // namespace imaging
}  // namespace XELORAALGO
