// Statistical outlier removal: SORfilter (k nearest neighbours through an ANN kd-tree) and sorFilter
// (neighbours from a window of consecutive valid points).
//
// Inputs:  cloud (caller-owned vector of (x, y, z) doubles, in/out), k, multiplier / unused double.
// Outputs: the same cloud, same length; removed points are set to (0, 0, 0).
// Working storage (valid list, ANN point array of the float coordinates and kd-tree, mean distances) is
// allocated here and released before return, also when an exception leaves the call.
#include <ANN/ANN.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "cloud.h"
#include "frame/Checks.h"

namespace XELORAALGO {
namespace cloud {

namespace {

// ANN keeps its search state (query point, priority queue, shared trivial leaf) in process-wide
// variables: every use of the library goes through this lock.
std::mutex& annMutex() {
    static std::mutex m;
    return m;
}

struct AnnPointsDeleter {
    void operator()(ANNpointArray pts) const { annDeallocPts(pts); }
};
using AnnPoints = std::unique_ptr<ANNpoint[], AnnPointsDeleter>;

// A point with z > 0 is searched only when its coordinates, rounded to float, are finite: the
// kd-tree cannot place a NaN or an infinity.
bool finiteAsFloat(const std::array<double, 3>& p) {
    return std::isfinite(static_cast<float>(p[0])) && std::isfinite(static_cast<float>(p[1])) &&
           std::isfinite(static_cast<float>(p[2]));
}

}  // namespace

bool sorMeanDistances(const Cloud& cloud, int k, std::vector<std::int32_t>& index, std::vector<float>& mean) {
    // 1. Valid points (z > 0) in cloud order; their coordinates, rounded to float, go straight into
    // the tree's point array below.
    index.clear();
    mean.clear();
    index.reserve(cloud.size());
    for (std::size_t i = 0; i < cloud.size(); ++i)
        if (cloud[i][2] > 0.0 && finiteAsFloat(cloud[i])) index.push_back(static_cast<std::int32_t>(i));
    const int n = static_cast<int>(index.size());
    if (n < 10) {
        index.clear();
        return false;
    }
    if (k < 1 || k > n) {
        checks::badArgument("SORfilter", "k", "must be in [1, " + std::to_string(n) + "], the number of valid points",
                            k);
    }

    // 2.-3. kd-tree over all valid points and one k-nearest search per point. The returned squared
    // distances are recomputed in float from the returned indices and sorted ascending, which is what
    // a single-precision build of the library returns; the float sum of the roots depends on it. The
    // neighbours' coordinates are read back from the tree's point array (floats held as doubles,
    // just visited by the search), and the distances come nearly sorted, so an insertion sort is
    // cheap.
    mean.assign(static_cast<std::size_t>(n), 0.0f);
    {
        std::lock_guard<std::mutex> lock(annMutex());
        AnnPoints pts(annAllocPts(n, 3));
        for (int i = 0; i < n; ++i) {
            const auto& p = cloud[static_cast<std::size_t>(index[static_cast<std::size_t>(i)])];
            for (int d = 0; d < 3; ++d) pts[i][d] = static_cast<double>(static_cast<float>(p[static_cast<std::size_t>(d)]));
        }
        const std::unique_ptr<ANNkd_tree> tree(new ANNkd_tree(pts.get(), n, 3));
        std::vector<ANNidx> nnIdx(static_cast<std::size_t>(k));
        std::vector<ANNdist> nnDist(static_cast<std::size_t>(k));
        std::vector<float> d2(static_cast<std::size_t>(k));
        ANNcoord query[3];
        for (int i = 0; i < n; ++i) {
            const float q[3] = {static_cast<float>(pts[i][0]), static_cast<float>(pts[i][1]),
                                static_cast<float>(pts[i][2])};
            for (int d = 0; d < 3; ++d) query[d] = pts[i][d];
            tree->annkSearch(query, k, nnIdx.data(), nnDist.data(), 0.0);
            for (int j = 0; j < k; ++j) {
                const ANNcoord* p = pts[nnIdx[static_cast<std::size_t>(j)]];
                const float dx = static_cast<float>(p[0]) - q[0];
                const float dy = static_cast<float>(p[1]) - q[1];
                const float dz = static_cast<float>(p[2]) - q[2];
                float s = 0.0f;
                s = s + dx * dx;
                s = s + dy * dy;
                s = s + dz * dz;
                // Insertion into the sorted d2[0 .. j) (no distance is NaN: the points are finite).
                int at = j;
                while (at > 0 && d2[static_cast<std::size_t>(at - 1)] > s) {
                    d2[static_cast<std::size_t>(at)] = d2[static_cast<std::size_t>(at - 1)];
                    --at;
                }
                d2[static_cast<std::size_t>(at)] = s;
            }
            float sum = 0.0f;
            int count = 0;
            for (int j = 0; j < k; ++j) {
                const float dj = d2[static_cast<std::size_t>(j)];
                if (dj > 0.0f) {
                    sum += std::sqrt(dj);
                    ++count;
                }
            }
            if (count > 0) mean[static_cast<std::size_t>(i)] = sum / static_cast<float>(count);
        }
    }  // tree and points released, lock given back
    return true;
}

void SORfilter(Cloud& cloud, int k, float multiplier) {
    std::vector<std::int32_t> index;
    std::vector<float> mean;
    const bool enough = sorMeanDistances(cloud, k, index, mean);
    // Points with z > 0 and a coordinate that is not finite in float are not valid: they come back
    // as (0, 0, 0), like removed points.
    for (auto& p : cloud)
        if (p[2] > 0.0 && !finiteAsFloat(p)) p = {0.0, 0.0, 0.0};
    if (!enough) return;
    const int n = static_cast<int>(index.size());

    // 4.-6. Statistics of the positive means, all in float.
    float total = 0.0f;
    int c = 0;
    for (int i = 0; i < n; ++i) {
        const float m = mean[static_cast<std::size_t>(i)];
        if (m > 0.0f) {
            total += m;
            ++c;
        }
    }
    if (c == 0) return;
    const float mu = total / static_cast<float>(c);
    float sq = 0.0f;
    for (int i = 0; i < n; ++i) {
        const float m = mean[static_cast<std::size_t>(i)];
        if (m > 0.0f) {
            const float dev = m - mu;
            sq += dev * dev;
        }
    }
    const float sigma = std::sqrt(sq / static_cast<float>(c));
    const float threshold = sigma * multiplier + mu;

    // 7. Remove the points far from their neighbours and those with only coincident neighbours.
    for (int i = 0; i < n; ++i) {
        const float m = mean[static_cast<std::size_t>(i)];
        if (m > threshold || m == 0.0f) cloud[static_cast<std::size_t>(index[static_cast<std::size_t>(i)])] = {0.0, 0.0, 0.0};
    }
}

std::vector<double> sorWindowMeans(const Cloud& cloud, const std::vector<std::int32_t>& index, int k) {
    constexpr int kWindow = 21;
    constexpr int kHalf = 10;
    const int n = static_cast<int>(index.size());
    std::vector<double> mean(static_cast<std::size_t>(n));
    if (n < kWindow) return mean;
    const int terms = std::min(k, kWindow - 1);
    double dist[kWindow - 1];
    for (int i = 0; i < n; ++i) {
        int begin;
        if (i < kHalf)
            begin = 0;
        else if (n - i >= kHalf + 1)
            begin = i - kHalf;
        else
            begin = n - kWindow;
        const auto& pi = cloud[static_cast<std::size_t>(index[static_cast<std::size_t>(i)])];
        int m = 0;
        for (int j = begin; j < begin + kWindow; ++j) {
            if (j == i) continue;
            const auto& pj = cloud[static_cast<std::size_t>(index[static_cast<std::size_t>(j)])];
            const double dx = pj[0] - pi[0];
            const double dy = pj[1] - pi[1];
            const double dz = pj[2] - pi[2];
            dist[m++] = std::sqrt(dx * dx + dy * dy + dz * dz);
        }
        std::sort(dist, dist + (kWindow - 1));
        double s = 0.0;
        for (int j = 0; j < terms; ++j) s += dist[j] / static_cast<double>(k);
        mean[static_cast<std::size_t>(i)] = s;
    }
    return mean;
}

void sorFilter(Cloud& cloud, int k, double /*unused*/) {
    // 1. Working copy with every invalid point (z <= 200) zeroed; valid list in cloud order.
    Cloud out(cloud);
    std::vector<std::int32_t> index;
    for (std::size_t i = 0; i < cloud.size(); ++i) {
        if (cloud[i][2] > 200.0)
            index.push_back(static_cast<std::int32_t>(i));
        else
            out[i] = {0.0, 0.0, 0.0};
    }
    const int n = static_cast<int>(index.size());
    if (n < 21) return;

    // 3. Mean of the k smallest distances to the other points of a 21-point window.
    const std::vector<double> mean = sorWindowMeans(cloud, index, k);

    // 4. Cloud mean and band half-width.
    double total = 0.0;
    for (int i = 0; i < n; ++i) total += mean[static_cast<std::size_t>(i)];
    const double mu = total / static_cast<double>(n);
    double sq = 0.0;
    for (int i = 0; i < n; ++i) {
        const double dev = mean[static_cast<std::size_t>(i)] - mu;
        sq += dev * dev;
    }
    const double s = 0.1 * std::sqrt(sq);

    // 5.-6. Keep the points inside the band and below the absolute limit.
    for (int i = 0; i < n; ++i) {
        const double m = mean[static_cast<std::size_t>(i)];
        const std::size_t at = static_cast<std::size_t>(index[static_cast<std::size_t>(i)]);
        if (!(m < 3.5 && m > mu - s && m < mu + s)) out[at] = {0.0, 0.0, 0.0};
    }
    cloud.swap(out);
}

}  // namespace cloud
}  // namespace XELORAALGO
