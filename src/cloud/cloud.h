// Point-cloud processing: statistical outlier removal, smoothing, one-dimensional downsampling,
// projection of profiles into a depth image, and colouring of clouds.
//
// A cloud is a std::vector of (x, y, z) double triples owned by the caller and passed by reference;
// a removed or empty point is (0, 0, 0) rather than erased, unless an operation says it writes a new
// list. Coordinates are in the calibration's length unit.
#ifndef XELORAALGO_SRC_CLOUD_CLOUD_H
#define XELORAALGO_SRC_CLOUD_CLOUD_H

#include <array>
#include <cstdint>
#include <tuple>
#include <utility>
#include <vector>

#include "frame/AlgoEngine.h"

namespace XELORAALGO {
namespace cloud {

using Cloud = std::vector<std::array<double, 3>>;

// ---- statistical outlier removal (OutlierRemoval.cpp) ----

// Removes points (z > 0 are valid) whose mean distance to their k nearest neighbours (the point
// itself included, found with an ANN kd-tree over float-rounded coordinates, zero distances left out)
// exceeds mean + multiplier * stddev of those means over the cloud; points whose neighbours all
// coincide with them are removed too. Fewer than 10 valid points: nothing happens. A point with z > 0
// and a coordinate that is not finite once rounded to float is not valid: it is left out of the tree
// and set to (0, 0, 0).
// k < 1 or k > number of valid points (with at least 10 valid points) throws std::invalid_argument
// naming k and the valid count, before anything is built; the cloud is then left untouched.
// Serialised process-wide: the kd-tree library keeps its search state in global variables.
void SORfilter(Cloud& cloud, int k, float multiplier);

// First half of SORfilter: the valid list (cloud indices of the points with z > 0 and finite float
// coordinates) and each valid
// point's mean distance to its k nearest neighbours (0 where all of them coincide with it).
// Returns false, with both vectors empty, when there are fewer than 10 valid points; throws like
// SORfilter for a bad k.
bool sorMeanDistances(const Cloud& cloud, int k, std::vector<std::int32_t>& index, std::vector<float>& mean);

// Removes points (z > 200 are valid; invalid points become (0, 0, 0)) whose mean of the k smallest
// distances to the other 20 points of a 21-point window of consecutive valid points lies outside
// (mu - s, mu + s) or is not below 3.5, with mu the cloud's mean and s = 0.1 * sqrt(sum of squared
// deviations). Fewer than 21 valid points: nothing happens.
// `unused` is accepted for the caller's convenience and plays no role: the band half-width factor is
// fixed at 0.1. k <= 0 removes every valid point (empty band). A window has only 20 distances, so for
// k > 20 the sum stops at those 20 (each still divided by k).
void sorFilter(Cloud& cloud, int k, double unused);

// First half of sorFilter: for the valid points listed in `index` (cloud indices, in cloud order,
// at least 21 of them; otherwise all results are 0), the mean M_i of the k smallest of the 20
// distances from point i to the other points of its window, each term divided by k before it is added.
std::vector<double> sorWindowMeans(const Cloud& cloud, const std::vector<std::int32_t>& index, int k);

// ---- smoothing (CloudSmooth.cpp) ----

// Smooths z of an organised w x h point map (w, h from engine.roi; z > 0 valid) with the valid
// points of the (2r + 1)^2 neighbourhood that lie within `radius` (3-D distance) of the centre point.
// Writes the result back into `map` (x, y kept, z replaced by the float mean; invalid points become
// (0, 0, 0)). The map should hold w x h points: extra points are dropped, missing ones read as empty.
// Neighbours are visited row by row, each row column by column. Where no neighbour qualifies (only
// possible with r < 0 or a NaN radius) the point keeps its z rounded to float.
void CloudSmooth(const AlgoEngine& engine, Cloud& map, int r, float radius);

// Smooths z of the valid points (x != 0) along their sequence with a normalised Gaussian of
// 2r + 1 taps (sigma = (2r + 1) / 3); neighbours whose depth differs from the centre's by 5 or more
// are left out and the weights renormalised. Fewer than 2r + 1 valid points, or r < 0 (an empty
// kernel), leave the cloud unchanged.
void Gaussianfilter_PMR(Cloud& cloud, int r);

// ---- downsampling (Downsample.cpp) ----

// Thins a profile: the valid entries (x != 0) among the first h = engine.roi.height input entries are
// averaged per bin trunc(x / binWidth); output receives one mean point per non-empty bin, `count`
// their number, and is padded with (0, 0, 0) to h points. With 10 or fewer valid entries, a
// non-positive mean spacing or a bin width not above it, output receives the valid entries unchanged
// (count = their number, no padding). An input shorter than h is read as far as it goes.
void Downsample(const AlgoEngine& engine, const Cloud& input, Cloud& output, float binWidth, int& count);

// ---- depth image (GetDepth.cpp) ----

// Projects every point of every profile into camera 1 (K1, D1 as floats) and writes an organised
// w x h point map: points landing on one pixel are averaged; gaps of one to three rows inside a
// profile are bridged by interpolated points. Pixels nothing reached are (0, 0, 0).
void GetDepth(const AlgoEngine& engine, const std::vector<Cloud>& profiles, Cloud& map);

// ---- colour camera (CloudColour.cpp) ----

// For each colour-image pixel (column, row), the cloud point (untransformed) whose projection into
// the colour camera (K3, D3, R3, T3) lies nearest, if closer than maxDistance pixels, else (0, 0, 0).
// Points with x = 0 are not projected and count as projecting to (0, 0).
void RGB2Cloud(const AlgoEngine& engine, const std::vector<std::array<int, 2>>& pixels, const Cloud& cloud,
               double maxDistance, Cloud& matched);

// Colours every point of `cloud` with the three bytes of the colour-image pixel it projects to
// (truncated projection). out[i] = ((x, y, z, b0, b1, b2), true), or all zero and false where the point
// lies behind the camera or projects outside the image. Eight banded workers; the points past the
// last full band (n mod 8 of them) are coloured the same way on the calling thread.
// The byte vector should hold width * height * 3 bytes; points on pixels past its end stay uncoloured.
void GetRGBpoint(const AlgoEngine& engine, const std::tuple<std::vector<unsigned char>, int, int>& image,
                 const Cloud& cloud, std::vector<std::pair<std::array<double, 6>, bool>>& out);

}  // namespace cloud
}  // namespace XELORAALGO

#endif
