// The normalised Gaussian kernel of the profile and cloud smoothers (Gaussianfilter,
// Gaussianfilter_PMR): 2r + 1 taps t = -r .. r, sigma = (2r + 1) / 3, weight exp(-t^2 / (2 sigma^2))
// in double, each divided by the sum of all weights taken in tap order.
//
// In: r >= 0 (the caller bounds it). Out: a new vector of 2r + 1 weights, index t + r.
#ifndef XELORAALGO_SRC_FRAME_GAUSSIANTAPS_H
#define XELORAALGO_SRC_FRAME_GAUSSIANTAPS_H

#include <cmath>
#include <cstddef>
#include <vector>

namespace XELORAALGO {

inline std::vector<double> normalisedGaussianTaps(int r) {
    const long long taps = 2LL * r + 1;
    const double sigma = static_cast<double>(taps) / 3.0;
    std::vector<double> weight(static_cast<std::size_t>(taps));
    double sum = 0.0;
    for (int t = -r; t <= r; ++t) {
        const double tt = static_cast<double>(t) * static_cast<double>(t);
        const double v = std::exp(-tt / (2.0 * sigma * sigma));
        weight[static_cast<std::size_t>(t + r)] = v;
        sum += v;
    }
    for (double& v : weight) v = v / sum;
    return weight;
}

}  // namespace XELORAALGO

#endif
