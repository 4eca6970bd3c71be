// The inner loops of Bilateralfilter over a run of columns, sixteen pixels at a time with
// AVX-512 (BilateralfilterAvx512.cpp), with the bits of the scalar loops: the same float operations
// per pixel, except that the range weights come from a shorter exp kernel that keeps only results it
// proves correctly rounded (expf's bits) and asks expf for the rest. Where the library was built
// without AVX-512 they do nothing (and are not called). No standard header here: the AVX-512 file
// includes this.
#ifndef XELORAALGO_SRC_DEPTHFILTER_BILATERALFILTERLANES_H
#define XELORAALGO_SRC_DEPTHFILTER_BILATERALFILTERLANES_H

namespace XELORAALGO {
namespace depthfilter {
namespace detail {

// Every worker keeps the range weights of arguments that its vector kernel leaves to the scalar
// expf, in a direct-mapped cache of 2^kCacheBits 64-bit entries: argument bits b (never those of
// +0, the empty key, which the kernel settles) in the high half of slot
// (b * kCacheMultiplier mod 2^32) >> (32 - kCacheBits), the bits of expf(b) in the low half.
constexpr int kCacheBits = 12;
constexpr unsigned kCacheMultiplier = 2654435761u;

// Forward pairs (centre c, neighbour c + dj) of one row and one offset, columns 0 ... count - 1
// (all inside the image), their validity at bits centreFirst + c of centreBits and neighbourFirst
// + c of neighbourBits (bit b at byte b / 8, bit b % 8; 8 bytes readable from the byte of any bit
// below 16 past the run): out[c] = -1 where either pixel is invalid, otherwise the pair's weight
// wr * spatial in float, wr = expf((-d * d) / denominator) with d = neighbour - centre and the bits
// of the library's expf. `cache`: the worker's 2^kCacheBits entries, zero at first.
void bilateralWeightsAvx512(const float* centre, const unsigned char* centreBits, int centreFirst,
                            const float* neighbour, const unsigned char* neighbourBits, int neighbourFirst,
                            float denominator, float spatial, int count, float* out, unsigned long long* cache);

// One offset of a pixel's sums, as seen from the pixels of one row: the weight of column c's
// neighbour at weights[c] (negative: it does not take part), its value at values[c]. Both arrays are
// readable for c in [0, w rounded up to 16).
struct SumTerm {
    const float* weights;
    const float* values;
};

// A row of the filter: for every column c < w whose mask is true, out[c] = S / N with, over the
// terms in order, where weights[c] is not negative (NaN takes part), S += values[c] * weights[c] and
// N += weights[c], in float from 0. Other columns of out are left as they are.
void bilateralRowAvx512(const SumTerm* terms, int termCount, const bool* mask, int w, float* out);

}  // namespace detail
}  // namespace depthfilter
}  // namespace XELORAALGO

#endif
