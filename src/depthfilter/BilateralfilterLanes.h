// The inner loops of Bilateralfilter over a run of columns, sixteen pixels at a time with
// AVX-512 (BilateralfilterAvx512.cpp), with the same operations per pixel as the scalar loops. Where
// the library was built without AVX-512 they do nothing (and are not called). No standard header
// here: the AVX-512 file includes this.
#ifndef XELORAALGO_SRC_DEPTHFILTER_BILATERALFILTERLANES_H
#define XELORAALGO_SRC_DEPTHFILTER_BILATERALFILTERLANES_H

namespace XELORAALGO {
namespace depthfilter {
namespace detail {

// Every worker keeps the range weights of the last arguments it met, in a direct-mapped cache of
// 2^kCacheBits 64-bit entries: argument bits b (never those of +0, the empty key) in the high half
// of slot (b * kCacheMultiplier mod 2^32) >> (32 - kCacheBits), the bits of expf(b) as the library
// computes it in the low half.
constexpr int kCacheBits = 12;
constexpr unsigned kCacheMultiplier = 2654435761u;

// Forward pairs (centre c, neighbour c + dj) of one row and one offset, columns 0 ... count - 1
// (all inside the image). The pairs not taking part get -1 in out[c], those whose range weight is 1
// or 0 or in the cache get it; the others append their argument to args (counted by pending, written up to 16
// elements past it), and each block of 16 columns leaves in packed[block] the lanes it appended.
// Returns the number of blocks.
int bilateralArgumentsAvx512(const float* centre, const bool* centreMask, const float* neighbour,
                             const bool* neighbourMask, float denominator, int count, float* out, float* args,
                             unsigned short* packed, unsigned long long& pending,
                             const unsigned long long* cache);

// The other way: the weights of the appended arguments, in the same order from `weights` (read up
// to 16 elements past the last one), into their places in out[0 ... count - 1]. Returns how many
// it took.
int bilateralUnpackAvx512(float* out, int count, const unsigned short* packed, const float* weights);

// One offset of the sums: for columns cFirst ... cLast - 1, range weight wr = weights[c], neighbour
// value neighbours[c]: where wr is not -1, s[c] += neighbours[c] * (wr * spatial) and
// n[c] += wr * spatial. Returns the first column not done (the caller's scalar loop does the rest).
int bilateralSumsAvx512(const float* weights, const float* neighbours, float spatial, int cFirst, int cLast,
                        float* s, float* n);

}  // namespace detail
}  // namespace depthfilter
}  // namespace XELORAALGO

#endif
