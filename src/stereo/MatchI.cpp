// MatchI: integer phase matching along the rows of the rectified grid, with a left-right check.
//
// Inputs:  mask1, mask2 (bool, w x h): validity of camera 1's and camera 2's rectified phase;
//          phase1, phase2 (float, w x h, radians): the rectified absolute phases;
//          engine.phaseBucketWidth (CalKR): absolute phase per column.
// Outputs: matchMask (bool, w x h, caller-owned): true where camera 1's pixel keeps a match;
//          engine.matchColumn (int32, w x h): camera-2 column of the match, 0 for none;
//          engine.matchSide (int32, w x h): 1 when phase1 >= phase2 at the match (exact match at or
//          right of it), 0 when smaller, -1 when rejected by the left-right check.
// Both engine tables are all zero before the matching on every call (tables of the right size are
// reused). Working storage, per worker: one row of the backward matches of camera 2's pixels, the
// phase buckets of the current row of both cameras, two sets of row buckets and one row of
// unconstrained search results (the continuity test needs only the last two matches of the row).
//
// Eight workers, one band of rows each; rows past 8 * floor(height / 8) are left untouched. Each
// row is finished (backward matches, then forward matches checked against them) before the next:
// the passes of one row read nothing of other rows, and the two directions nothing of each other
// but the check, so this gives what three passes over the band would.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>


#include "frame/BandedWorkers.h"
#include "MatchLanes.h"
#include "numerics/numerics.h"
#include "stereo.h"

namespace XELORAALGO {
namespace stereo {

namespace {

constexpr int kContinuityLimit = 20;   // columns a match may move from its neighbour's
constexpr int kConsistencyLimit = 10;  // columns between a forward and the backward match

// Buckets of one row's phases: (int)(v / bucketWidth), the division in double and the conversion by
// truncation; a quotient that is NaN or beyond the int range gets -2, which no bucket search or
// bucket list accepts (as for any quotient below -1). Written so that the loop vectorises.
inline void bucketsOf(const float* phase, int width, double bucketWidth, std::int32_t* out, bool lanes) {
    int col = 0;
#if defined(__GNUC__) && defined(__x86_64__)
    if (lanes) col = detail::bucketsAvx2(phase, bucketWidth, out, width);
#else
    (void)lanes;
#endif
    for (; col < width; ++col) {
        double q = static_cast<double>(phase[col]) / bucketWidth;
        q = (q > -2147483649.0 && q < 2147483648.0) ? q : -2.0;
        out[col] = static_cast<std::int32_t>(q);
    }
}

// Counting sort of one row's valid pixels by phase bucket (buckets 0 ... width - 1). Pixels that
// take no part go to an extra bucket `width`, listed after the real ones and never searched, so
// the loops run without branches.
class RowBuckets {
public:
    explicit RowBuckets(int width)
        : width_(width), count_(static_cast<std::size_t>(width) + 1, 0), start_(static_cast<std::size_t>(width) + 2, 0),
          slot_(static_cast<std::size_t>(width), 0),
          list_(static_cast<std::size_t>(width) + kPad, detail::CandidateEntry{0, 0.0f}) {}

    // Entries after the list, all column 0, so that kPad entries can be read from any bucket.
    static constexpr int kPad = 4;

    // bucket: the row's buckets from bucketsOf; phase: the row's phases, listed beside the columns.
    void build(const bool* mask, const std::int32_t* bucket, const float* phase) {
        const std::size_t w = static_cast<std::size_t>(width_);
        for (std::size_t col = 0; col < w; ++col) {
            const std::size_t b = slot(mask[col], bucket[col]);
            slot_[col] = static_cast<std::int32_t>(b);
            ++count_[b];
        }
        std::int32_t offset = 0;
        for (std::size_t b = 0; b <= w; ++b) {
            start_[b] = offset;
            const std::int32_t n = count_[b];
            count_[b] = offset;  // from here on the fill cursor of the bucket
            offset += n;
        }
        start_[w + 1] = offset;
        for (std::size_t col = 0; col < w; ++col) {
            const std::size_t at = static_cast<std::size_t>(count_[static_cast<std::size_t>(slot_[col])]++);
            list_[at] = detail::CandidateEntry{static_cast<int>(col), phase[col]};
        }
    }

    void clear() { std::fill(count_.begin(), count_.end(), 0); }

    int width() const { return width_; }
    detail::CandidateRow row() const { return {start_.data(), list_.data(), width_}; }
    // Columns of buckets first ... last (consecutive in the list), bucket by bucket, left to right.
    const detail::CandidateEntry* begin(int first) const { return list_.data() + start_[static_cast<std::size_t>(first)]; }
    const detail::CandidateEntry* end(int last) const {
        return list_.data() + start_[static_cast<std::size_t>(last) + 1];
    }

private:
    std::size_t slot(bool valid, std::int32_t b) const {
        const bool in = valid && static_cast<std::uint32_t>(b) < static_cast<std::uint32_t>(width_);
        return in ? static_cast<std::size_t>(b) : static_cast<std::size_t>(width_);
    }

    int width_;
    std::vector<std::int32_t> count_, start_, slot_;
    std::vector<detail::CandidateEntry> list_;
};

// Searches the candidates of phase p (bucket b0) in buckets b0 - 1, b0, b0 + 1 of `cands`, with
// costs |other - p|, other the candidate's phase as listed in `cands`. `reference` is the column a
// candidate must stay within kContinuityLimit of (0: no constraint). A later candidate of equal or
// lower cost replaces the best one (a NaN cost replaces only when nothing has been found yet).
// With `window`, the search also gives the references [lo, hi] under which every candidate passes
// the continuity test, that is under which the constrained search gives the same result.
template <bool window>
inline bool searchCandidates(float p, int b0, const RowBuckets& cands, std::int32_t reference, int& best,
                             std::int32_t* lo = nullptr, std::int32_t* hi = nullptr) {
    const int w = cands.width();
    if (window) {
        *lo = INT32_MIN;
        *hi = INT32_MAX;
    }
    if (b0 < -1 || b0 > w) return false;
    const int bFirst = b0 - 1 < 0 ? 0 : b0 - 1;
    const int bLast = b0 + 1 >= w ? w - 1 : b0 + 1;
    bool found = false;
    float bestCost = 0.0f;
    int bestCol = 0;
    std::int32_t minCol = INT32_MAX, maxCol = INT32_MIN;
    const auto visit = [&](int c, float other, bool present) {
        const bool near = present && (reference == 0 || std::abs(reference - c) <= kContinuityLimit);
        const float d = std::fabs(other - p);
        const bool take = near && (!found || bestCost >= d);
        bestCol = take ? c : bestCol;
        bestCost = take ? d : bestCost;
        found = found || near;
        if (window) {
            minCol = present && c < minCol ? c : minCol;
            maxCol = present && c > maxCol ? c : maxCol;
        }
    };
    const detail::CandidateEntry* it = cands.begin(bFirst);
    const std::ptrdiff_t count = cands.end(bLast) - it;
    if (count <= RowBuckets::kPad) {
        // The usual case, a few candidates: a fixed number of slots (the list is padded, so the
        // slots past the candidates hold readable columns; they are not counted).
        for (int k = 0; k < RowBuckets::kPad; ++k) visit(it[k].col, it[k].phase, k < count);
    } else {
        for (std::ptrdiff_t k = 0; k < count; ++k) visit(it[k].col, it[k].phase, true);
    }
    if (window && found) {
        *lo = maxCol - kContinuityLimit;
        *hi = minCol + kContinuityLimit;
    }
    best = bestCol;
    return found;
}

// The search of every pixel of one row without the continuity test, which needs the matches of the
// pixels before it: for each column whose pixel takes part, its best candidate (-1: none) and the
// window of references that leave that result unchanged. These are independent of one another,
// which leaves only a range check (and, rarely, a constrained search) to the pass along the row.
struct RowChoices {
    explicit RowChoices(int width) : best(static_cast<std::size_t>(width)), lo(best.size()), hi(best.size()) {}

    void search(const bool* valid, const float* phase, const std::int32_t* bucket, const RowBuckets& cands,
                bool lanes) {
        const int w = static_cast<int>(best.size());
        int col = 0;
#if defined(__GNUC__) && defined(__x86_64__)
        if (lanes)
            col = detail::rowChoicesAvx2(cands.row(), valid, phase, bucket, best.data(), lo.data(), hi.data(), w);
#else
        (void)lanes;
#endif
        for (; col < w; ++col) {
            int m = 0;
            const bool found = valid[col] && searchCandidates<true>(phase[col], bucket[col], cands, 0, m, &lo[col], &hi[col]);
            best[col] = found ? m : -1;
        }
    }

    // The match of the pixel at col under the continuity reference (0: none); false when it has none.
    bool match(int col, float p, int b0, const RowBuckets& cands, std::int32_t reference, int& m) const {
        const std::int32_t b = best[static_cast<std::size_t>(col)];
        if (b == detail::kManyCandidates) return searchCandidates<false>(p, b0, cands, reference, m);
        if (b < 0) return false;  // no candidate at all, whatever the reference
        if (reference == 0 || (reference >= lo[static_cast<std::size_t>(col)] && reference <= hi[static_cast<std::size_t>(col)])) {
            m = b;
            return true;
        }
        return searchCandidates<false>(p, b0, cands, reference, m);
    }

    std::vector<std::int32_t> best, lo, hi;
};

}  // namespace

namespace detail {

void matchI(AlgoEngine& e, const bool* mask1, const bool* mask2, bool* matchMask, const float* phase1,
            const float* phase2, bool useLanes) {
    const std::size_t n = e.pixelCount();
    // A table of the right size left from an earlier call is kept and cleared, row band by row
    // band in the workers (the rows no worker owns right here); any other is replaced by a new
    // zero-filled one.
    const bool reuse = e.matchColumn.size() == n && e.matchSide.size() == n;
    if (!reuse) {
        releaseTable(e.matchColumn);
        releaseTable(e.matchSide);
        e.matchColumn.assign(n, 0);
        e.matchSide.assign(n, 0);
    }
    if (n == 0) return;

    const int w = e.roi.width;
    const int h = e.roi.height;
    const std::size_t W = static_cast<std::size_t>(w);
    const double bucketWidth = e.phaseBucketWidth;
    const bool lanes = useLanes && num::avx2Allowed();
    std::int32_t* matchColumn = e.matchColumn.data();
    std::int32_t* matchSide = e.matchSide.data();

    if (reuse) {  // the rows no worker owns; the workers write every entry of theirs
        const std::size_t unbanded = bandsEnd(bands::kMatch.workers, static_cast<std::size_t>(h)) * W;
        std::fill(matchColumn + unbanded, matchColumn + n, 0);
        std::fill(matchSide + unbanded, matchSide + n, 0);
    }
    runBands(bands::kMatch, static_cast<std::size_t>(h), [&](int, std::size_t rowBegin, std::size_t rowEnd) {
        // The continuity test only looks at the current row, at the matches of the one or two
        // pixels before: they are carried along the row instead of a continuity table. Likewise
        // the left-right check reads the backward matches of its own row only: one row of them is
        // kept.
        std::vector<std::int32_t> backward(W), bucket1(W), bucket2(W);
        RowBuckets buckets2(w), buckets1(w);
        RowChoices choices(w);
        for (std::size_t row = rowBegin; row < rowEnd; ++row) {
            const std::size_t r0 = row * W;
            const bool continuity = row >= 1;
            bucketsOf(phase1 + r0, w, bucketWidth, bucket1.data(), lanes);
            bucketsOf(phase2 + r0, w, bucketWidth, bucket2.data(), lanes);

            // Backward (first: the forward pass checks against it): camera 2's pixels against
            // camera 1's row, right to left; prev1, prev2: the matches of columns col + 1 and
            // col + 2.
            std::fill(backward.begin(), backward.end(), 0);
            buckets1.build(mask1 + r0, bucket1.data(), phase1 + r0);
            choices.search(mask2 + r0, phase2 + r0, bucket2.data(), buckets1, lanes);
            std::int32_t prev1 = 0, prev2 = 0;
            for (int col = w - 1; col >= 0; --col) {
                const std::size_t i = r0 + static_cast<std::size_t>(col);
                const std::int32_t reference = !continuity ? 0 : prev1 != 0 ? prev1 : prev2;
                int m = 0;
                const bool matched =
                    choices.match(col, phase2[i], bucket2[static_cast<std::size_t>(col)], buckets1, reference, m);
                prev2 = prev1;
                prev1 = matched ? m : 0;
                if (matched) backward[static_cast<std::size_t>(col)] = m;
            }
            buckets1.clear();

            // Forward: camera 1's pixels against camera 2's row, left to right, each match checked
            // against the backward matches at once; prev1, prev2: the matches of columns col - 1
            // and col - 2 (0: none, or no such column). Every entry of the row is written here.
            buckets2.build(mask2 + r0, bucket2.data(), phase2 + r0);
            choices.search(mask1 + r0, phase1 + r0, bucket1.data(), buckets2, lanes);
            prev1 = prev2 = 0;
            for (int col = 0; col < w; ++col) {
                const std::size_t i = r0 + static_cast<std::size_t>(col);
                const std::int32_t reference = !continuity ? 0 : prev1 != 0 ? prev1 : prev2;
                int m = 0;
                const bool matched =
                    choices.match(col, phase1[i], bucket1[static_cast<std::size_t>(col)], buckets2, reference, m);
                m = matched ? m : 0;
                prev2 = prev1;
                prev1 = m;
                // Left-right check: a match other than column 0 is kept only if camera 2's pixel
                // points back close to it.
                const std::int32_t b = backward[static_cast<std::size_t>(m)];
                const bool rejected = m != 0 && (b == 0 || std::abs(col - b) > kConsistencyLimit);
                const std::int32_t side = (phase1[i] - phase2[r0 + static_cast<std::size_t>(m)] < 0.0f) ? 0 : 1;
                matchMask[i] = matched && !rejected;
                matchColumn[i] = rejected ? 0 : m;
                matchSide[i] = rejected ? -1 : matched ? side : 0;
            }
            buckets2.clear();
        }
    });
}

}  // namespace detail

void MatchI(AlgoEngine& e, const bool* mask1, const bool* mask2, bool* matchMask, const float* phase1,
            const float* phase2) {
    detail::matchI(e, mask1, mask2, matchMask, phase1, phase2, true);
}

}  // namespace stereo
}  // namespace XELORAALGO
