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
// reused). Working storage, per worker: one row each of the backward matches of camera 2's pixels
// and of the continuity table, the phase buckets of the current row of both cameras and two sets
// of row buckets.
//
// Eight workers, one band of rows each; rows past 8 * floor(height / 8) are left untouched. Each
// row is finished (forward matches, backward matches, left-right check) before the next: the passes
// of one row read nothing of other rows, so this gives what three passes over the band would.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "frame/BandedWorkers.h"
#include "stereo.h"

namespace XELORAALGO {
namespace stereo {

namespace {

constexpr int kContinuityLimit = 20;   // columns a match may move from its neighbour's
constexpr int kConsistencyLimit = 10;  // columns between a forward and the backward match

// Buckets of one row's phases: (int)(v / bucketWidth), the division in double and the conversion by
// truncation; a quotient that is NaN or beyond the int range gets -2, which no bucket search or
// bucket list accepts (as for any quotient below -1). Written so that the loop vectorises.
inline void bucketsOf(const float* phase, int width, double bucketWidth, std::int32_t* out) {
    for (int col = 0; col < width; ++col) {
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
          list_(static_cast<std::size_t>(width) + kPad, 0), listPhase_(static_cast<std::size_t>(width) + kPad, 0.0f) {}

    // Entries after the list, all column 0, so that kPad entries can be read from any bucket.
    static constexpr int kPad = 4;

    // bucket: the row's buckets from bucketsOf; phase: the row's phases, listed beside the columns.
    void build(const bool* mask, const std::int32_t* bucket, const float* phase) {
        const std::size_t w = static_cast<std::size_t>(width_);
        for (std::size_t col = 0; col < w; ++col) ++count_[slot(mask[col], bucket[col])];
        std::int32_t offset = 0;
        for (std::size_t b = 0; b <= w; ++b) {
            start_[b] = offset;
            offset += count_[b];
            count_[b] = 0;  // refilled as the fill cursor below
        }
        start_[w + 1] = offset;
        for (std::size_t col = 0; col < w; ++col) {
            const std::size_t b = slot(mask[col], bucket[col]);
            const std::size_t at = static_cast<std::size_t>(start_[b] + count_[b]++);
            list_[at] = static_cast<std::int32_t>(col);
            listPhase_[at] = phase[col];
        }
    }

    void clear() { std::fill(count_.begin(), count_.end(), 0); }

    int width() const { return width_; }
    // Columns of buckets first ... last (consecutive in the list), bucket by bucket, left to right.
    const std::int32_t* begin(int first) const { return list_.data() + start_[static_cast<std::size_t>(first)]; }
    const std::int32_t* end(int last) const { return list_.data() + start_[static_cast<std::size_t>(last) + 1]; }
    // The phase of the column at list position it.
    const float* phaseAt(const std::int32_t* it) const { return listPhase_.data() + (it - list_.data()); }

private:
    std::size_t slot(bool valid, std::int32_t b) const {
        const bool in = valid && static_cast<std::uint32_t>(b) < static_cast<std::uint32_t>(width_);
        return in ? static_cast<std::size_t>(b) : static_cast<std::size_t>(width_);
    }

    int width_;
    std::vector<std::int32_t> count_, start_, list_;
    std::vector<float> listPhase_;
};

// Searches the candidates of phase p (bucket b0) in buckets b0 - 1, b0, b0 + 1 of `cands`, with
// costs |other - p|, other the candidate's phase as listed in `cands`. `reference` is the column a candidate must stay within kContinuityLimit of
// (0: no constraint). A later candidate of equal or lower cost replaces the best one (a NaN cost
// replaces only when nothing has been found yet).
inline bool searchCandidates(float p, int b0, const RowBuckets& cands, std::int32_t reference, int& best) {
    const int w = cands.width();
    if (b0 < -1 || b0 > w) return false;
    const int bFirst = b0 - 1 < 0 ? 0 : b0 - 1;
    const int bLast = b0 + 1 >= w ? w - 1 : b0 + 1;
    bool found = false;
    float bestCost = 0.0f;
    int bestCol = 0;
    const auto visit = [&](int c, float other, bool present) {
        const bool near = present && (reference == 0 || std::abs(reference - c) <= kContinuityLimit);
        const float d = std::fabs(other - p);
        const bool take = near && (!found || bestCost >= d);
        bestCol = take ? c : bestCol;
        bestCost = take ? d : bestCost;
        found = found || near;
    };
    const std::int32_t* it = cands.begin(bFirst);
    const float* other = cands.phaseAt(it);
    const std::ptrdiff_t count = cands.end(bLast) - it;
    if (count <= RowBuckets::kPad) {
        // The usual case, a few candidates: a fixed number of slots without branches (the list is
        // padded, so the slots past the candidates hold readable columns; they are not counted).
        for (int k = 0; k < RowBuckets::kPad; ++k) visit(it[k], other[k], k < count);
    } else {
        for (std::ptrdiff_t k = 0; k < count; ++k) visit(it[k], other[k], true);
    }
    best = bestCol;
    return found;
}

}  // namespace

void MatchI(AlgoEngine& e, const bool* mask1, const bool* mask2, bool* matchMask, const float* phase1,
            const float* phase2) {
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
    std::int32_t* matchColumn = e.matchColumn.data();
    std::int32_t* matchSide = e.matchSide.data();

    if (reuse) {
        const std::size_t unbanded = bandsEnd(bands::kMatch.workers, static_cast<std::size_t>(h)) * W;
        std::fill(matchColumn + unbanded, matchColumn + n, 0);
        std::fill(matchSide + unbanded, matchSide + n, 0);
    }
    runBands(bands::kMatch, static_cast<std::size_t>(h), [&](int, std::size_t rowBegin, std::size_t rowEnd) {
        // The continuity test only looks at the current row, so one row of the continuity table is
        // kept, cleared at the start of every row.
        // Likewise the left-right check reads the backward matches of its own row only: one row of
        // them is kept.
        std::vector<std::int32_t> cont(W), backward(W), bucket1(W), bucket2(W);
        RowBuckets buckets2(w), buckets1(w);
        if (reuse) {
            std::fill(matchColumn + rowBegin * W, matchColumn + rowEnd * W, 0);
            std::fill(matchSide + rowBegin * W, matchSide + rowEnd * W, 0);
        }

        // Forward: camera 1's pixels against camera 2's row, left to right.
        for (std::size_t row = rowBegin; row < rowEnd; ++row) {
            const std::size_t r0 = row * W;
            std::fill(cont.begin(), cont.end(), 0);
            bucketsOf(phase1 + r0, w, bucketWidth, bucket1.data());
            bucketsOf(phase2 + r0, w, bucketWidth, bucket2.data());
            buckets2.build(mask2 + r0, bucket2.data(), phase2 + r0);
            for (int col = 0; col < w; ++col) {
                const std::size_t i = r0 + static_cast<std::size_t>(col);
                matchMask[i] = false;
                if (!mask1[i]) continue;
                std::int32_t reference = 0;
                if (row >= 1 && col >= 1) {
                    reference = cont[static_cast<std::size_t>(col - 1)];
                    if (reference == 0 && col >= 2) reference = cont[static_cast<std::size_t>(col - 2)];
                }
                int m;
                if (!searchCandidates(phase1[i], bucket1[static_cast<std::size_t>(col)], buckets2, reference, m))
                    continue;
                matchColumn[i] = m;
                matchMask[i] = true;
                matchSide[i] = (phase1[i] - phase2[r0 + static_cast<std::size_t>(m)] < 0.0f) ? 0 : 1;
                cont[static_cast<std::size_t>(col)] = m;
            }
            buckets2.clear();

            // Backward: camera 2's pixels against camera 1's row, right to left.
            std::fill(cont.begin(), cont.end(), 0);
            std::fill(backward.begin(), backward.end(), 0);
            buckets1.build(mask1 + r0, bucket1.data(), phase1 + r0);
            for (int col = w - 1; col >= 0; --col) {
                const std::size_t i = r0 + static_cast<std::size_t>(col);
                if (!mask2[i]) continue;
                std::int32_t reference = 0;
                if (row >= 1 && col <= w - 2) {
                    reference = cont[static_cast<std::size_t>(col + 1)];
                    if (reference == 0 && col <= w - 3) reference = cont[static_cast<std::size_t>(col + 2)];
                }
                int m;
                if (!searchCandidates(phase2[i], bucket2[static_cast<std::size_t>(col)], buckets1, reference, m))
                    continue;
                backward[static_cast<std::size_t>(col)] = m;
                cont[static_cast<std::size_t>(col)] = m;
            }
            buckets1.clear();

            // Left-right check: keep a match only if camera 2's pixel points back close to it (the
            // backward matches of this row are complete now).
            for (int col = 0; col < w; ++col) {
                const std::size_t i = r0 + static_cast<std::size_t>(col);
                const std::int32_t m = matchColumn[i];
                if (m == 0) continue;
                const std::int32_t b = backward[static_cast<std::size_t>(m)];
                if (b == 0 || std::abs(col - b) > kConsistencyLimit) {
                    matchColumn[i] = 0;
                    matchMask[i] = false;
                    matchSide[i] = -1;
                }
            }
        }
    });
}

}  // namespace stereo
}  // namespace XELORAALGO
