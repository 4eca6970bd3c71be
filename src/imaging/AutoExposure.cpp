// Exposure proposals: AutoExposure (image and map forms), BinarySearch_updataET, GetTh.
//
// AutoExposure, image form
//   captures       3 two-camera frames (2*w*h bytes each) at rising exposure times (in)
//   exposureTimes  >= 3 doubles; entries 0..2 are doubled in place and used doubled (in/out)
//   pairCount n    captures used by the fit, 1 ... 3
//   target, lower, upper, current: levels and exposure times in the host's unit
//   returns the proposed exposure. Levels that do not rise with the exposure time are fitted as
//   they are. A solution that is not a number or has no int value (no counted pixel, no spread of
//   the exposure times, a flat response) counts as below the lower limit.
// AutoExposure, map form
//   modulation1/2, average1/2: w x h float maps of cameras 1 and 2 (in); returns the exposure that
//   scales the level predicted at three quarters of the modulation-sorted sample to target; 25 when
//   no sample is taken. Ties of the modulation sort keep the order in which the samples were taken.
//   The windows are read without bounds checks (the ROI must hold them; see the conditions on
//   trunc(0.125 h), trunc(0.875 h) and w / 40).
// BinarySearch_updataET
//   image1, image2: w x h bytes of cameras 1 and 2 (in); one feedback step on their mean level,
//   in exposure units of the host (the internal t is in thousandths).
// GetTh
//   values (in); 10 x their float mean, truncated, clamped to [lower, upper]; min(lower, upper)
//   for an empty vector.
// All run on the calling thread and keep no state.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <vector>

#include "ImagingDetail.h"
#include "imaging.h"

namespace XELORAALGO {
namespace imaging {

int AutoExposure(const AlgoEngine& engine, unsigned char* const* captures, double* exposureTimes,
                 int pairCount, int target, int lower, int upper, int current) {
    for (int k = 0; k < 3; ++k) exposureTimes[k] = 2.0 * exposureTimes[k];
    const int n = std::max(0, std::min(pairCount, 3));
    const double* e = exposureTimes;

    const std::size_t bytes = detail::frameBytes(engine);
    const unsigned char* c0 = captures[0];
    const unsigned char* c1 = captures[1];
    const unsigned char* c2 = captures[2];
    std::int64_t counted = 0;
    double S[3] = {0.0, 0.0, 0.0};
    for (std::size_t i = 0; i < bytes; ++i) {
        if (static_cast<int>(c2[i]) - static_cast<int>(c0[i]) > 5) {
            ++counted;
            S[0] += c0[i];
            S[1] += c1[i];
            S[2] += c2[i];
        }
    }
    double m[3];
    for (int k = 0; k < n; ++k) m[k] = S[k] / static_cast<double>(counted);
    double mn[3];
    mn[0] = 14.0;
    for (int k = 1; k < n; ++k) mn[k] = m[k] / (m[0] / 14.0);

    const double nd = static_cast<double>(n);
    double xbar = 0.0, ybar = 0.0;
    for (int k = 0; k < n; ++k) xbar += e[k] / nd;
    for (int k = 0; k < n; ++k) ybar += mn[k] / nd;
    double sxx = 0.0, sxy = 0.0;
    for (int k = 0; k < n; ++k) {
        const double dx = e[k] - xbar;
        sxx += dx * dx;
        sxy += (mn[k] - ybar) * dx;
    }
    const double a = sxy / sxx;
    const double b = ybar - sxy * xbar / sxx;
    const int r = detail::truncOrBelow((static_cast<double>(target) - b) / a);

    if (r <= lower) return lower;
    if (r >= upper) return upper;
    if (std::llabs(static_cast<long long>(r) - current) > 2) return r;
    return current;
}

namespace {

// Nominal window corners as fractions of h (rows) and w (columns).
constexpr float kWindowRow[12] = {0.125f, 0.125f, 0.125f, 0.125f, 0.375f, 0.375f,
                                  0.625f, 0.625f, 0.875f, 0.875f, 0.875f, 0.875f};
constexpr float kWindowCol[12] = {0.125f, 0.375f, 0.625f, 0.875f, 0.125f, 0.375f,
                                  0.625f, 0.875f, 0.125f, 0.375f, 0.625f, 0.875f};

struct Samples {
    std::vector<float> modulation;
    std::vector<float> level;
    void offer(float g, float v) {
        if (v > 20.0f && v < 250.0f && g > 10.0f) {
            modulation.push_back(g);
            level.push_back(v);
        }
    }
};

}  // namespace

int AutoExposure(const AlgoEngine& engine, double current, const float* modulation1,
                 const float* modulation2, const float* average1, const float* average2, int lower,
                 int upper, int target) {
    const int w = engine.width();
    const int h = engine.height();
    const int s = w / 40;
    const int r0 = static_cast<int>(h * 0.25);
    const int c0 = static_cast<int>(w * 0.25);

    Samples samples;
    auto offerPixel = [&](std::ptrdiff_t i) {
        samples.offer(modulation1[i], average1[i]);
        samples.offer(modulation2[i], average2[i]);
    };
    for (int r = r0; r < r0 + h / 2; ++r)
        for (int c = c0; c < c0 + w / 2; ++c)
            offerPixel(static_cast<std::ptrdiff_t>(r) * w + c);
    int winRow[12], winCol[12];
    for (int t = 0; t < 12; ++t) {
        winRow[t] = static_cast<int>(static_cast<float>(h) * kWindowRow[t]) - s;
        winCol[t] = static_cast<int>(static_cast<float>(w) * kWindowCol[t]) - s;
    }
    for (int k = 0; k < 50; ++k)
        for (int m = 0; m < 50; ++m)
            for (int t = 0; t < 12; ++t)
                offerPixel(static_cast<std::ptrdiff_t>(winRow[t] + k) * w + (winCol[t] + m));

    const std::size_t n = samples.modulation.size();
    if (n == 0) return 25;

    std::vector<std::int64_t> order(n);
    std::iota(order.begin(), order.end(), std::int64_t{0});
    std::stable_sort(order.begin(), order.end(), [&](std::int64_t p, std::int64_t q) {
        return samples.modulation[static_cast<std::size_t>(p)] <
               samples.modulation[static_cast<std::size_t>(q)];
    });

    const float nf = static_cast<float>(n);
    float xbar = 0.0f, ybar = 0.0f;
    for (std::size_t i = 0; i < n; ++i) xbar += static_cast<float>(i) / nf;
    for (std::size_t i = 0; i < n; ++i) ybar += samples.level[static_cast<std::size_t>(order[i])] / nf;
    float sxx = 0.0f, sxy = 0.0f;
    for (std::size_t i = 0; i < n; ++i) {
        const float dx = static_cast<float>(i) - xbar;
        sxx += dx * dx;
        sxy += dx * (samples.level[static_cast<std::size_t>(order[i])] - ybar);
    }
    const float a = sxy / sxx;
    const float b = ybar - sxy * xbar / sxx;

    const double nd = static_cast<double>(n);
    const std::int64_t q = static_cast<std::int64_t>(n) - static_cast<std::int64_t>(nd * 0.25) - 1;
    const float p = static_cast<float>(q) * a + b;
    const float ratio = static_cast<float>(target) / p;
    const int r = detail::truncOrBelow(current * static_cast<double>(ratio));

    if (r > upper) return upper;
    if (r < lower) return lower;
    return r;
}

double BinarySearch_updataET(const AlgoEngine& engine, const unsigned char* image1,
                             const unsigned char* image2, double lower, double upper, int target,
                             double current) {
    const std::size_t n = engine.pixelCount();
    std::int64_t sum = 0;
    for (std::size_t i = 0; i < n; ++i) {
        if (image1[i] > 10) sum += image1[i];
        if (image2[i] > 10) sum += image2[i];
    }
    const float mean = static_cast<float>(sum) / static_cast<float>(2 * n);
    const float d = mean - static_cast<float>(target);
    if (std::fabs(d) <= 0.5f) return current;

    double t = current * 1000.0;
    if (d > 0.5f) {
        t = t * 0.8;
    } else if (d < -0.5f) {
        if (t > 9999.0) {
            t = 9999.0;
        } else if (t < 9999.0) {
            const float rel = d / static_cast<float>(target);
            t = t - static_cast<double>(rel) * (10000.0 - t);
        }
    }
    if (lower * 1000.0 > t) return lower;
    if (t > upper * 1000.0) return upper;
    return t / 1000.0;
}

int GetTh(const std::vector<unsigned char>& values, int lower, int upper) {
    float sum = 0.0f;
    for (unsigned char v : values) sum += static_cast<float>(v);
    const float mean = sum / static_cast<float>(values.size());
    const int t = detail::truncOrBelow((mean * 0.5f) * 20.0f);
    return std::min(std::max(t, lower), upper);
}

}  // namespace imaging
}  // namespace XELORAALGO
