// Exported laser-line members of XeloraAlgo: each forwards to the laserline operation on the engine.
#include "XeloraAlgo.h"
#include "laserline.h"

namespace XELORAALGO {

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
    laserline::lineExtract4(*engine_, image, points, mask, offset);
}

void XeloraAlgo::lineExtract5(unsigned char* image, Point2dList& points, bool* mask, int const& /*q1*/,
                              int const& /*q2*/, std::array<int, 2> const& /*range*/, int const& narrowRunSpan,
                              int const& rowBandSpan) {
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
    laserline::MatchLine(*engine_, points1, points2, mask1, mask2, matches);
}

void XeloraAlgo::Calpoint(Point2dList const& points1, Point2dList const& points2, bool* mask,
                          std::vector<int> const& matches, Point3dList& cloud, Point3dList& pixelDepth) {
    laserline::Calpoint(*engine_, points1, points2, mask, matches, cloud, pixelDepth);
}

void XeloraAlgo::Calpoint_smooth(Point2dList const& points1, Point2dList const& points2, int const& halfWindow,
                                 bool* mask, std::vector<int> const& matches, Point3dList& cloud) {
    laserline::Calpoint_smooth(*engine_, points1, points2, halfWindow, mask, matches, cloud);
}

void XeloraAlgo::FitLineFunction_V(Point2dList& points, int const& halfWindow, bool const& enable) {
    laserline::FitLineFunction_V(points, halfWindow, enable);
}

void XeloraAlgo::Gaussianfilter(Point2dList& points, int const& halfWindow) {
    laserline::Gaussianfilter(points, halfWindow);
}

}  // namespace XELORAALGO
