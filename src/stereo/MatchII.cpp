// MatchII: sub-pixel refinement of the integer matches of MatchI.
//
// Inputs:  mask2 (bool, w x h), phase1, phase2 (float, w x h): as given to MatchI (mask1 is not
//          read); engine.matchColumn and engine.matchSide from MatchI.
// In-out:  matchMask (bool, w x h, caller-owned): cleared where no refinement is possible.
// Outputs: engine.subpixelColumn (float, w x h): camera-2 column of the match, 0 where there is
//          none; all zero before the refinement on every call (a table of the right size is reused).
//
// The exact match lies between the integer column m and its neighbour on the side MatchI found
// (matchSide 1: right, 0: left) and is found by linear interpolation of camera 2's phase, in float.
// When the neighbour's phase does not bracket the camera-1 phase, the span to m +/- 2 is used and
// its fraction is added to (or subtracted from) m as it is.
//
// Eight workers, one band of rows each; rows past 8 * floor(height / 8) are left untouched.
#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "frame/BandedWorkers.h"
#include "stereo.h"

namespace XELORAALGO {
namespace stereo {

void MatchII(AlgoEngine& e, const bool* /*mask1*/, const bool* mask2, bool* matchMask, const float* phase1,
             const float* phase2) {
    const std::size_t n = e.pixelCount();
    // A table of the right size left from an earlier call is kept and cleared (each worker its own
    // rows, the rows no worker owns right here); any other is replaced by a new zero-filled one.
    const bool reuse = e.subpixelColumn.size() == n;
    if (!reuse) {
        releaseTable(e.subpixelColumn);
        e.subpixelColumn.assign(n, 0.0f);
    }
    if (n == 0) return;

    const int w = e.roi.width;
    const int h = e.roi.height;
    const std::size_t W = static_cast<std::size_t>(w);
    const bool haveMatches = e.matchColumn.size() == n && e.matchSide.size() == n;
    const std::int32_t* matchColumn = e.matchColumn.data();
    const std::int32_t* matchSide = e.matchSide.data();
    float* sub = e.subpixelColumn.data();

    // The rows no worker owns are cleared here; the workers write every entry of theirs.
    if (reuse) std::fill(sub + bandsEnd(bands::kMatch.workers, static_cast<std::size_t>(h)) * W, sub + n, 0.0f);
    runBands(bands::kMatch, static_cast<std::size_t>(h), [&](int, std::size_t rowBegin, std::size_t rowEnd) {
        for (std::size_t row = rowBegin; row < rowEnd; ++row) {
            const std::size_t r0 = row * W;
            const float* phi = phase2 + r0;
            const bool* valid2 = mask2 + r0;
            for (int col = 0; col < w; ++col) {
                const std::size_t i = r0 + static_cast<std::size_t>(col);
                float refined = 0.0f;
                if (matchMask[i]) {
                    const int m = haveMatches ? matchColumn[i] : 0;
                    const int side = haveMatches ? matchSide[i] : 0;
                    const float p = phase1[i];
                    const float mf = static_cast<float>(m);
                    if (side == 0) {
                        if (!(m >= 2 && m < w && valid2[m - 1] && valid2[m])) {
                            matchMask[i] = false;
                        } else if (p > phi[m - 1]) {
                            refined = mf - (phi[m] - p) / (phi[m] - phi[m - 1]);
                        } else if (m >= 3 && valid2[m - 2]) {
                            refined = mf - (phi[m] - p) / (phi[m] - phi[m - 2]);
                        } else {
                            matchMask[i] = false;
                        }
                    } else if (side == 1) {
                        if (!(m >= 1 && m + 1 < w && valid2[m] && valid2[m + 1])) {
                            matchMask[i] = false;
                        } else if (phi[m + 1] > p) {
                            refined = mf + (p - phi[m]) / (phi[m + 1] - phi[m]);
                        } else if (m + 2 < w && valid2[m + 2]) {
                            refined = mf + (p - phi[m]) / (phi[m + 2] - phi[m]);
                        } else {
                            matchMask[i] = false;
                        }
                    }
                    // side -1: rejected by MatchI, matchMask is already false.
                }
                sub[i] = refined;
            }
        }
    });
}

}  // namespace stereo
}  // namespace XELORAALGO
