// CalLineCenter, CalLineCenter_new: the centre-of-gravity rules of the line extractors.
//
// CalLineCenter
//   in:  row, positions (int columns), weights (int, read at the same index, at least as many as
//        positions); out: centre = (sum(w*p)/sum(w), row). Untouched when the weight sum is 0.
// CalLineCenter_new
//   in:  index, start column, count, weights[0 .. count-1];
//   out: centre = (index, start + sum(i*w[i])/sum(w[i])). Untouched when the sum is 0 or count < 1.
// Products and weight sums are int32 (wrap-around on overflow), the product sum is double.
#include "LineDetail.h"
#include "laserline.h"

namespace XELORAALGO {
namespace laserline {

void CalLineCenter(int row, const std::vector<int>& positions, const std::vector<int>& weights,
                   std::array<double, 2>& centre) {
    double c = 0.0;
    if (detail::centreOfGravity(
            positions.size(), [&](std::size_t i) { return static_cast<std::int32_t>(positions[i]); },
            [&](std::size_t i) { return static_cast<std::int32_t>(weights[i]); }, c)) {
        centre[0] = c;
        centre[1] = static_cast<double>(row);
    }
}

void CalLineCenter_new(int index, int start, int count, const int* weights, std::array<double, 2>& centre) {
    if (count < 1) return;
    double c = 0.0;
    if (detail::centreOfGravity(
            static_cast<std::size_t>(count), [](std::size_t i) { return static_cast<std::int32_t>(i); },
            [weights](std::size_t i) { return static_cast<std::int32_t>(weights[i]); }, c)) {
        centre[0] = static_cast<double>(index);
        centre[1] = static_cast<double>(start) + c;
    }
}

}  // namespace laserline
}  // namespace XELORAALGO
