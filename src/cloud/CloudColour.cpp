// Clouds and the colour camera: RGB2Cloud (cloud point nearest to each requested colour pixel) and
// GetRGBpoint (colour of every cloud point).
//
// Inputs:  engine.calib K3, D3 (k1, k2, p1, p2), R3, T3 (camera 1's frame -> colour camera's frame);
//          the cloud (caller-owned, read only); RGB2Cloud: pixel list (column, row) and the maximum
//          distance in pixels; GetRGBpoint: colour image (bytes, width, height), 3 bytes per pixel,
//          row-major.
// Outputs: RGB2Cloud: matched (caller-owned, refilled, one entry per pixel). GetRGBpoint: out
//          (caller-owned, resized to one entry per cloud point).
// Working storage: RGB2Cloud keeps the projected positions of the cloud for the call.
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

#include "frame/CameraModel.h"
#include "cloud.h"
#include "frame/BandedWorkers.h"

namespace XELORAALGO {
namespace cloud {

void RGB2Cloud(const AlgoEngine& engine, const std::vector<std::array<int, 2>>& pixels, const Cloud& cloud,
               double maxDistance, Cloud& matched) {
    const auto& cal = engine.calib;
    const double* R = cal.R3;
    const double* T = cal.T3;
    const Lens<double> lens = colourLens<double>(cal);

    // 1. Image position of every point: r2 and rho from the double coordinates, the other terms from
    //    the coordinates rounded to float, 2x^2 and 2y^2 formed in float.
    std::vector<double> u(cloud.size(), 0.0), v(cloud.size(), 0.0);
    for (std::size_t j = 0; j < cloud.size(); ++j) {
        const auto& P = cloud[j];
        if (P[0] == 0.0) continue;
        const double X = R[0] * P[0] + R[1] * P[1] + R[2] * P[2] + T[0];
        const double Y = R[3] * P[0] + R[4] * P[1] + R[5] * P[2] + T[1];
        const double Z = R[6] * P[0] + R[7] * P[1] + R[8] * P[2] + T[2];
        const double x = X / Z;
        const double y = Y / Z;
        projectMixed(lens, x, y, u[j], v[j]);
    }

    // 2. Nearest projection per requested pixel; the earlier point wins a tie.
    matched.clear();
    matched.reserve(pixels.size());
    for (const auto& px : pixels) {
        const double c = static_cast<double>(px[0]);
        const double r = static_cast<double>(px[1]);
        double best = std::numeric_limits<double>::infinity();
        std::size_t bestJ = cloud.size();
        for (std::size_t j = 0; j < cloud.size(); ++j) {
            const double du = u[j] - c;
            const double dv = v[j] - r;
            const double d = du * du + dv * dv;
            if (d < best) {
                best = d;
                bestJ = j;
            }
        }
        if (bestJ < cloud.size() && std::sqrt(best) < maxDistance)
            matched.push_back(cloud[bestJ]);
        else
            matched.push_back({0.0, 0.0, 0.0});
    }
}

void GetRGBpoint(const AlgoEngine& engine, const std::tuple<std::vector<unsigned char>, int, int>& image,
                 const Cloud& cloud, std::vector<std::pair<std::array<double, 6>, bool>>& out) {
    const std::vector<unsigned char>& bytes = std::get<0>(image);
    const int width = std::get<1>(image);
    const int height = std::get<2>(image);
    const auto& cal = engine.calib;
    float R[9], T[3];
    for (int i = 0; i < 9; ++i) R[i] = static_cast<float>(cal.R3[i]);
    for (int i = 0; i < 3; ++i) T[i] = static_cast<float>(cal.T3[i]);
    const Lens<float> lens = colourLens<float>(cal);

    out.assign(cloud.size(), std::make_pair(std::array<double, 6>{0.0, 0.0, 0.0, 0.0, 0.0, 0.0}, false));

    // Rows of R times P and T, formed in double from the float entries, rounded to float.
    const auto row = [&R, &T](int k, const std::array<double, 3>& P) {
        return static_cast<float>(static_cast<double>(R[3 * k]) * P[0] + static_cast<double>(R[3 * k + 1]) * P[1] +
                                  static_cast<double>(R[3 * k + 2]) * P[2] + static_cast<double>(T[k]));
    };
    const auto colour = [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            const auto& P = cloud[i];
            const float z = row(2, P);
            if (!(z > 0.0f)) continue;
            const float x = row(0, P) / z;
            const float y = row(1, P) / z;
            float column, rowPos;
            projectPinhole(lens, x, y, column, rowPos);
            int u, v;
            if (!truncIndex(column, width, u) || !truncIndex(rowPos, height, v)) continue;
            const std::size_t at = 3 * (static_cast<std::size_t>(v) * static_cast<std::size_t>(width) +
                                        static_cast<std::size_t>(u));
            if (at + 2 >= bytes.size()) continue;  // a short byte vector: pixels past its end are absent
            out[i].first = {P[0], P[1], P[2], static_cast<double>(bytes[at]), static_cast<double>(bytes[at + 1]),
                            static_cast<double>(bytes[at + 2])};
            out[i].second = true;
        }
    };

    // The last n mod 8 points belong to no band: the calling thread colours them like every other.
    runBands(bands::kCloudColour, cloud.size(), [&colour](int, std::size_t begin, std::size_t end) { colour(begin, end); });
}

}  // namespace cloud
}  // namespace XELORAALGO
