// Downsample: thins a profile (one point per image row, ascending x) by averaging the points that
// fall into bins of equal width along x.
//
// Inputs:  engine.roi.height h, the input profile (read only; its first h entries are used),
//          bin width (float, same unit as x).
// Outputs: output (caller-owned, emptied and refilled): one mean point per non-empty bin, padded with
//          (0, 0, 0) to h points; count = number of mean points. Pass-through cases copy the valid
//          entries and do not pad.
// Working storage (valid entries, bins) is allocated here and released on return.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include "cloud.h"

namespace XELORAALGO {
namespace cloud {

void Downsample(const AlgoEngine& engine, const Cloud& input, Cloud& output, float binWidth, int& count) {
    output.clear();

    // 1. Valid entries (x != 0) among the first h.
    const int h = engine.height();
    const std::size_t used = h > 0 ? std::min(input.size(), static_cast<std::size_t>(h)) : 0;
    Cloud valid;
    for (std::size_t i = 0; i < used; ++i)
        if (input[i][0] != 0.0) valid.push_back(input[i]);
    const std::size_t n = valid.size();

    // 2. Too few entries, or bins not wider than the mean spacing: pass the valid entries through.
    const double width = static_cast<double>(binWidth);
    bool passThrough = n <= 10;
    if (!passThrough) {
        const double spacing = (valid[n - 1][0] - valid[0][0]) / static_cast<double>(n - 1);
        passThrough = !(spacing > 0.0) || !(width > spacing);
    }
    if (passThrough) {
        output = valid;
        count = static_cast<int>(n);
        return;
    }

    // 3. Bins trunc(x / width) - b0. The bin numbers are kept as integral doubles: for every value a
    //    32-bit int holds this is the same as truncating to int, and nothing overflows beyond that.
    //    Since width exceeds the mean spacing there are fewer bins than entries.
    const double b0 = std::trunc(valid[0][0] / width);
    const double bLast = std::trunc(valid[n - 1][0] / width);
    const std::size_t binCount = static_cast<std::size_t>(bLast - b0) + 1;
    std::vector<std::vector<std::size_t>> bins(binCount);
    for (std::size_t i = 0; i < n; ++i) {
        const double b = std::trunc(valid[i][0] / width) - b0;
        if (b >= 0.0 && b < static_cast<double>(binCount)) bins[static_cast<std::size_t>(b)].push_back(i);
    }

    // 4. One mean point per non-empty bin, in bin order.
    for (const auto& bin : bins) {
        if (bin.empty()) continue;
        double sx = 0.0, sy = 0.0, sz = 0.0;
        for (std::size_t i : bin) {
            sx += valid[i][0];
            sy += valid[i][1];
            sz += valid[i][2];
        }
        const double m = static_cast<double>(bin.size());
        output.push_back({sx / m, sy / m, sz / m});
    }

    // 5. Count, then pad to h points.
    count = static_cast<int>(output.size());
    if (output.size() < static_cast<std::size_t>(h)) output.resize(static_cast<std::size_t>(h), {0.0, 0.0, 0.0});
}

}  // namespace cloud
}  // namespace XELORAALGO
