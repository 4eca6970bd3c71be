// Exported laser-line members of XeloraAlgo: each forwards to the laserline operation on the engine.
#include <cstddef>
#include <string>

#include "XeloraAlgo.h"
#include "frame/Checks.h"
#include "laserline.h"

namespace XELORAALGO {

namespace {

// A per-row list must hold at least one entry per ROI row.
void requireRows(const char* member, const char* list, std::size_t size, int height) {
    if (height > 0 && size < static_cast<std::size_t>(height))
        checks::badArgument(member, std::string(list) + ".size()", "must be >= height " + std::to_string(height),
                            size);
}

// Lists, matches and every match index of a masked row, checked before a profile is written.
void checkProfileInputs(const char* member, int height, const Point2dList& points1, const Point2dList& points2,
                        const bool* mask, const std::vector<int>& matches) {
    requireRows(member, "points1", points1.size(), height);
    requireRows(member, "matches", matches.size(), height);
    const long long last = static_cast<long long>(points2.size()) - 1;
    for (int i = 0; i < height; ++i) {
        if (mask[i])
            checks::requireInRange<long long>(member, "matches[" + std::to_string(i) + "]", matches[i], 0, last);
    }
}

}  // namespace

void XeloraAlgo::CalLineCenter(int const& row, std::vector<int> const& positions, std::vector<int> const& weights,
                               std::array<double, 2>& centre) {
    laserline::CalLineCenter(row, positions, weights, centre);
}

void XeloraAlgo::CalLineCenter_new(int const& index, int const& start, int const& count, int const* weights,
                                   std::array<double, 2>& centre) {
    laserline::CalLineCenter_new(index, start, count, weights, centre);
}

void XeloraAlgo::lineExtract4(bool const& /*flag*/, unsigned char* image, Point2dList& points, bool* mask,
                              int const& /*p1*/, int const& /*p2*/, int const& /*p3*/, int const& /*p4*/,
                              int const& /*p5*/, std::array<int, 2> const& offset) {
    requireRows("lineExtract4", "points", points.size(), engine_->roi.height);
    laserline::lineExtract4(*engine_, image, points, mask, offset);
}

void XeloraAlgo::lineExtract5(unsigned char* image, Point2dList& points, bool* mask, int const& /*q1*/,
                              int const& /*q2*/, std::array<int, 2> const& /*range*/, int const& narrowRunSpan,
                              int const& rowBandSpan) {
    requireRows("lineExtract5", "points", points.size(), engine_->roi.height);
    laserline::lineExtract5(*engine_, image, points, mask, narrowRunSpan, rowBandSpan);
}

void XeloraAlgo::GetCloudPoint_New_600_1(unsigned char* image, Point2dList& points) {
    laserline::GetCloudPoint_New_600_1(*engine_, image, points);
}

void XeloraAlgo::GetCloudPoint_New_600_2(unsigned char* image, Point2dList& points) {
    laserline::GetCloudPoint_New_600_2(*engine_, image, points);
}

void XeloraAlgo::UndistortPoints2(bool const& firstCamera, Point2dList& points) {
    laserline::UndistortPoints2(*engine_, firstCamera, points);
}

void XeloraAlgo::MatchLine(Point2dList const& points1, Point2dList const& points2, bool* mask1, bool* mask2,
                           std::vector<int>& matches) {
    const int H = engine_->roi.height;
    requireRows("MatchLine", "points1", points1.size(), H);
    requireRows("MatchLine", "points2", points2.size(), H);
    requireRows("MatchLine", "matches", matches.size(), H);
    laserline::MatchLine(*engine_, points1, points2, mask1, mask2, matches);
}

void XeloraAlgo::Calpoint(Point2dList const& points1, Point2dList const& points2, bool* mask,
                          std::vector<int> const& matches, Point3dList& cloud, Point3dList& pixelDepth) {
    checkProfileInputs("Calpoint", engine_->roi.height, points1, points2, mask, matches);
    laserline::Calpoint(*engine_, points1, points2, mask, matches, cloud, pixelDepth);
}

void XeloraAlgo::Calpoint_smooth(Point2dList const& points1, Point2dList const& points2, int const& halfWindow,
                                 bool* mask, std::vector<int> const& matches, Point3dList& cloud) {
    checkProfileInputs("Calpoint_smooth", engine_->roi.height, points1, points2, mask, matches);
    laserline::Calpoint_smooth(*engine_, points1, points2, halfWindow, mask, matches, cloud);
}

void XeloraAlgo::FitLineFunction_V(Point2dList& points, int const& halfWindow, bool const& enable) {
    laserline::FitLineFunction_V(points, halfWindow, enable);
}

// With fewer non-zero entries than taps the operation returns before it builds its kernel, so a huge
// halfWindow costs nothing.
void XeloraAlgo::Gaussianfilter(Point2dList& points, int const& halfWindow) {
    laserline::Gaussianfilter(points, halfWindow);
}

}  // namespace XELORAALGO
