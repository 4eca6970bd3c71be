// errorStats: summary of a list of signed errors (see Stats.h).
#include "Stats.h"

namespace xscan {

ErrorStats errorStats(const std::vector<double>& signedErrors) {
    ErrorStats s;
    s.count = static_cast<long>(signedErrors.size());
    if (signedErrors.empty()) return s;
    std::vector<double> absErr;
    absErr.reserve(signedErrors.size());
    double sq = 0, sum = 0;
    for (double e : signedErrors) {
        absErr.push_back(std::fabs(e));
        sq += e * e;
        sum += e;
        s.maxAbs = std::max(s.maxAbs, std::fabs(e));
    }
    const double n = static_cast<double>(signedErrors.size());
    s.rms = std::sqrt(sq / n);
    s.mean = sum / n;
    s.median = percentile(absErr, 0.5);
    s.p95 = percentile(absErr, 0.95);
    return s;
}

}  // namespace xscan
