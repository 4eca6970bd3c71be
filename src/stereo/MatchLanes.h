// MatchI's per-row loops, eight or four pixels at a time, for the processors that have AVX2
// (MatchAvx2.cpp, chosen at run time). Each lane does exactly the scalar pixel's operations in
// the scalar order. No standard header here: this file is also included by the AVX2 translation
// unit.
#ifndef XELORAALGO_SRC_STEREO_MATCHLANES_H
#define XELORAALGO_SRC_STEREO_MATCHLANES_H

namespace XELORAALGO {
namespace stereo {
namespace detail {

// A listed candidate: its column and its phase, side by side so that one load fetches both.
struct CandidateEntry {
    int col;
    float phase;
};

// One row's candidates, counting-sorted by phase bucket: the list positions of bucket b
// (0 ... width, bucket `width` holding the pixels that take no part) are start[b] ...
// start[b + 1] - 1; list holds each position's entry and has four readable entries past the last
// position.
struct CandidateRow {
    const int* start;
    const CandidateEntry* list;
    int width;
};

// The search result of a pixel with more than four candidates, which the lanes leave to the caller.
constexpr int kManyCandidates = -2;

// bucket[c] = (int)(phase[c] / bucketWidth), the division in double, or -2 where the quotient is
// NaN or outside the int range; columns 0 ... count - 1 in whole blocks of four. Returns the
// number of columns done.
int bucketsAvx2(const float* phase, double bucketWidth, int* bucket, int count);

// The unconstrained candidate search (no continuity test) of columns 0 ... count - 1 in whole
// blocks of eight. For a pixel that takes part (valid, bucket -1 ... width) and has at most four
// candidates: best = the column the search chooses, -1 when it has none, and [lo, hi] the
// continuity references that every candidate passes (the search under such a reference gives the
// same); best = kManyCandidates for more than four candidates, -1 for a pixel that takes no part.
// Returns the number of columns done.
int rowChoicesAvx2(const CandidateRow& cands, const bool* valid, const float* phase, const int* bucket, int* best,
                   int* lo, int* hi, int count);

}  // namespace detail
}  // namespace stereo
}  // namespace XELORAALGO

#endif
