// Point-cloud members of the exported handle: each forwards to its operation in cloud::.
#include "cloud.h"
#include "frame/Checks.h"

namespace XELORAALGO {

void XeloraAlgo::SORfilter(std::vector<std::array<double, 3>>& cloud, const int& k, const float& multiplier) {
    cloud::SORfilter(cloud, k, multiplier);
}

void XeloraAlgo::sorFilter(std::vector<std::array<double, 3>>& cloud, const int& k, const double& unused) {
    cloud::sorFilter(cloud, k, unused);
}

void XeloraAlgo::CloudSmooth(std::vector<std::array<double, 3>>& map, const int& r, const float& radius) {
    checks::requireAtLeast("CloudSmooth", "r", r, 0);
    cloud::CloudSmooth(*engine_, map, r, radius);
}

void XeloraAlgo::Gaussianfilter_PMR(std::vector<std::array<double, 3>>& cloud, const int& r) {
    cloud::Gaussianfilter_PMR(cloud, r);
}

void XeloraAlgo::Downsample(std::vector<std::array<double, 3>> input, std::vector<std::array<double, 3>>& output,
                            const float& binWidth, int& count) {
    cloud::Downsample(*engine_, input, output, binWidth, count);
}

void XeloraAlgo::GetDepth(const std::vector<std::vector<std::array<double, 3>>>& profiles,
                          std::vector<std::array<double, 3>>& map) {
    cloud::GetDepth(*engine_, profiles, map);
}

void XeloraAlgo::RGB2Cloud(const std::vector<std::array<int, 2>>& pixels,
                           const std::vector<std::array<double, 3>>& cloud, const double& maxDistance,
                           std::vector<std::array<double, 3>>& matched) {
    cloud::RGB2Cloud(*engine_, pixels, cloud, maxDistance, matched);
}

void XeloraAlgo::GetRGBpoint(const std::tuple<std::vector<unsigned char>, int, int>& image,
                             const std::vector<std::array<double, 3>>& cloud,
                             std::vector<std::pair<std::array<double, 6>, bool>>& colored) {
    cloud::GetRGBpoint(*engine_, image, cloud, colored);
}

}  // namespace XELORAALGO
