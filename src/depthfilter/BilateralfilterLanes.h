// The two inner loops of Bilateralfilter over a run of columns, sixteen pixels at a time with
// AVX-512 (BilateralfilterAvx512.cpp). Each returns the first column it left to the caller's
// scalar loop, which finishes the run with the same operations per pixel; where the library was
// built without AVX-512 they do nothing and return cFirst. No standard header here: the AVX-512 file includes this.
#ifndef XELORAALGO_SRC_DEPTHFILTER_BILATERALFILTERLANES_H
#define XELORAALGO_SRC_DEPTHFILTER_BILATERALFILTERLANES_H

namespace XELORAALGO {
namespace depthfilter {
namespace detail {

// Forward pairs (centre c, neighbour c + dj) of one row and one offset, columns cFirst ... cLast - 1
// (all inside the image). The pairs not taking part get -1 in out[c], those whose range weight is 1
// or 0 get it; the others append their argument to args and base + c to where, counted by pending.
// args and where may be written up to 16 elements past their final count. Returns the first column
// not done.
int bilateralArgumentsAvx512(const float* centre, const bool* centreMask, const float* neighbour,
                             const bool* neighbourMask, float denominator, int cFirst, int cLast, float* out,
                             unsigned base, float* args, unsigned* where, unsigned long long& pending);

// One offset of the sums: for columns cFirst ... cLast - 1, range weight wr = weights[c], neighbour
// value neighbours[c]: where wr is not -1, s[c] += neighbours[c] * (wr * spatial) and
// n[c] += wr * spatial. Returns the first column not done.
int bilateralSumsAvx512(const float* weights, const float* neighbours, float spatial, int cFirst, int cLast,
                        float* s, float* n);

}  // namespace detail
}  // namespace depthfilter
}  // namespace XELORAALGO

#endif
