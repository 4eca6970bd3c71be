// Error statistics of xelora-scan's accuracy reports and diagnosis: the one place where medians and
// percentiles are taken.
//
// percentile(values, q): the element of rank round(q * (n - 1)) of the n values (0 for none); the
// vector is reordered, not copied. errorStats(signedErrors): count, median / RMS / 95th percentile /
// maximum of the absolute errors and the mean signed error, in the errors' unit.
#ifndef XELORA_TOOLS_SCAN_STATS_H
#define XELORA_TOOLS_SCAN_STATS_H

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace xscan {

template <typename T>
T percentile(std::vector<T>& values, double q) {
    if (values.empty()) return T(0);
    const double rank = std::floor(q * static_cast<double>(values.size() - 1) + 0.5);
    const auto k = static_cast<std::size_t>(std::min<double>(static_cast<double>(values.size() - 1), std::max(0.0, rank)));
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(k), values.end());
    return values[k];
}

struct ErrorStats {
    long count = 0;
    double median = 0, rms = 0, p95 = 0, maxAbs = 0;  // of the absolute errors
    double mean = 0;                                  // of the signed errors
};

ErrorStats errorStats(const std::vector<double>& signedErrors);

}  // namespace xscan

#endif
