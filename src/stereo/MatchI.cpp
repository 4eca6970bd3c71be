// MatchI: integer phase matching along the rows of the rectified grid, with a left-right check.
//
// Inputs:  mask1, mask2 (bool, w x h): validity of camera 1's and camera 2's rectified phase;
//          phase1, phase2 (float, w x h, radians): the rectified absolute phases;
//          engine.phaseBucketWidth (CalKR): absolute phase per column.
// Outputs: matchMask (bool, w x h, caller-owned): true where camera 1's pixel keeps a match;
//          engine.matchColumn (int32, w x h): camera-2 column of the match, 0 for none;
//          engine.matchSide (int32, w x h): 1 when phase1 >= phase2 at the match (exact match at or
//          right of it), 0 when smaller, -1 when rejected by the left-right check.
// Both engine tables are replaced by new zero-filled ones on every call. Working storage: the
// backward matches of camera 2's pixels (int32, w x h, shared by the workers, each writing its own
// rows) and, per worker, a continuity table over its band and two sets of row buckets.
//
// Eight workers, one band of rows each; rows past 8 * floor(height / 8) are left untouched.
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

// Bucket of a phase: (int)(v / bucketWidth), the division in double. False for NaN and for quotients
// beyond the int range.
inline bool bucketOf(float v, double bucketWidth, int& b) {
    return truncToInt(static_cast<double>(v) / bucketWidth, b);
}

// Counting sort of one row's valid pixels by phase bucket (buckets 0 ... width - 1).
class RowBuckets {
public:
    explicit RowBuckets(int width)
        : width_(width), count_(static_cast<std::size_t>(width), 0), start_(static_cast<std::size_t>(width), 0),
          list_(static_cast<std::size_t>(width), 0) {}

    void build(const bool* mask, const float* phase, double bucketWidth) {
        for (int col = 0; col < width_; ++col) {
            int b;
            if (mask[col] && bucketOf(phase[col], bucketWidth, b) && b >= 0 && b < width_) ++count_[b];
        }
        std::int32_t offset = 0;
        for (int b = 0; b < width_; ++b) {
            start_[b] = offset;
            offset += count_[b];
            count_[b] = 0;  // refilled as the fill cursor below
        }
        for (int col = 0; col < width_; ++col) {
            int b;
            if (mask[col] && bucketOf(phase[col], bucketWidth, b) && b >= 0 && b < width_)
                list_[static_cast<std::size_t>(start_[b] + count_[b]++)] = col;
        }
    }

    void clear() {
        for (auto& c : count_) c = 0;
    }

    int width() const { return width_; }
    // Columns of bucket b, left to right.
    const std::int32_t* begin(int b) const { return list_.data() + start_[b]; }
    const std::int32_t* end(int b) const { return list_.data() + start_[b] + count_[b]; }

private:
    int width_;
    std::vector<std::int32_t> count_, start_, list_;
};

// Searches the candidates of phase p in buckets b0 - 1, b0, b0 + 1 of `cands`, with costs
// |other[c] - p|. `reference` is the column a candidate must stay within kContinuityLimit of
// (0: no constraint). A later candidate of equal or lower cost replaces the best one.
inline bool searchCandidates(float p, double bucketWidth, const RowBuckets& cands, const float* other,
                             std::int32_t reference, int& best) {
    int b0;
    if (!bucketOf(p, bucketWidth, b0)) return false;
    const int w = cands.width();
    if (b0 < -1 || b0 > w) return false;
    bool found = false;
    float bestCost = 0.0f;
    for (int b = b0 - 1; b <= b0 + 1; ++b) {
        if (b < 0 || b >= w) continue;
        for (const std::int32_t* it = cands.begin(b); it != cands.end(b); ++it) {
            const int c = *it;
            if (reference != 0 && std::abs(reference - c) > kContinuityLimit) continue;
            const float d = std::fabs(other[c] - p);
            if (!found || bestCost >= d) {
                found = true;
                best = c;
                bestCost = d;
            }
        }
    }
    return found;
}

}  // namespace

void MatchI(AlgoEngine& e, const bool* mask1, const bool* mask2, bool* matchMask, const float* phase1,
            const float* phase2) {
    const std::size_t n = e.pixelCount();
    releaseTable(e.matchColumn);
    releaseTable(e.matchSide);
    e.matchColumn.assign(n, 0);
    e.matchSide.assign(n, 0);
    if (n == 0) return;

    const int w = e.roi.width;
    const int h = e.roi.height;
    const std::size_t W = static_cast<std::size_t>(w);
    const double bucketWidth = e.phaseBucketWidth;
    std::int32_t* matchColumn = e.matchColumn.data();
    std::int32_t* matchSide = e.matchSide.data();
    std::vector<std::int32_t> backward(n, 0);

    runBands(bands::kMatch, static_cast<std::size_t>(h), [&](int, std::size_t rowBegin, std::size_t rowEnd) {
        std::vector<std::int32_t> continuity((rowEnd - rowBegin) * W, 0);
        RowBuckets buckets2(w), buckets1(w);

        // Forward: camera 1's pixels against camera 2's row, left to right.
        for (std::size_t row = rowBegin; row < rowEnd; ++row) {
            const std::size_t r0 = row * W;
            std::int32_t* cont = continuity.data() + (row - rowBegin) * W;
            buckets2.build(mask2 + r0, phase2 + r0, bucketWidth);
            for (int col = 0; col < w; ++col) {
                const std::size_t i = r0 + static_cast<std::size_t>(col);
                matchMask[i] = false;
                if (!mask1[i]) continue;
                std::int32_t reference = 0;
                if (row >= 1 && col >= 1) {
                    reference = cont[col - 1];
                    if (reference == 0 && col >= 2) reference = cont[col - 2];
                }
                int m;
                if (!searchCandidates(phase1[i], bucketWidth, buckets2, phase2 + r0, reference, m)) continue;
                matchColumn[i] = m;
                matchMask[i] = true;
                matchSide[i] = (phase1[i] - phase2[r0 + static_cast<std::size_t>(m)] < 0.0f) ? 0 : 1;
                cont[col] = m;
            }
            buckets2.clear();
        }

        for (auto& c : continuity) c = 0;

        // Backward: camera 2's pixels against camera 1's row, right to left.
        for (std::size_t row = rowBegin; row < rowEnd; ++row) {
            const std::size_t r0 = row * W;
            std::int32_t* cont = continuity.data() + (row - rowBegin) * W;
            buckets1.build(mask1 + r0, phase1 + r0, bucketWidth);
            for (int col = w - 1; col >= 0; --col) {
                const std::size_t i = r0 + static_cast<std::size_t>(col);
                if (!mask2[i]) continue;
                std::int32_t reference = 0;
                if (row >= 1 && col <= w - 2) {
                    reference = cont[col + 1];
                    if (reference == 0 && col <= w - 3) reference = cont[col + 2];
                }
                int m;
                if (!searchCandidates(phase2[i], bucketWidth, buckets1, phase1 + r0, reference, m)) continue;
                backward[i] = m;
                cont[col] = m;
            }
            buckets1.clear();
        }

        // Left-right check: keep a match only if camera 2's pixel points back close to it.
        for (std::size_t row = rowBegin; row < rowEnd; ++row) {
            const std::size_t r0 = row * W;
            for (int col = 0; col < w; ++col) {
                const std::size_t i = r0 + static_cast<std::size_t>(col);
                const std::int32_t m = matchColumn[i];
                if (m == 0) continue;
                const std::int32_t b = backward[r0 + static_cast<std::size_t>(m)];
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
