// Laser-line profiling: stripe extraction, stripe tracking, undistortion, row matching and
// triangulation of line points, and smoothing of line lists.
//
// Conventions shared by every operation here:
//   - Images are 8-bit, W x H bytes, row-major (pixel (x, r) at byte r*W + x), W = roi.width and
//     H = roi.height of the engine. The caller owns every buffer.
//   - A line list (Point2dList) holds one entry per ROI row: entry r = (x, y) = (line column, row).
//     x == 0 means "no line in this row". The extractors write ROI coordinates (columns and rows of
//     the ROI image, sub-pixel x); UndistortPoints2 turns them into undistorted sensor pixels.
//   - A row mask is a bool array of H entries (true = the row holds a valid line point).
//   - Profiles (Point3dList) are (X, Y, Z) in camera-1 coordinates, in the unit of TLine of the
//     calibration record (usually millimetres).
// The full profile path for one frame of the two-camera head is:
//   extract in both images (lineExtract4 / lineExtract5 / GetCloudPoint_New_600_1 / _600_2)
//   -> UndistortPoints2(true, list1), UndistortPoints2(false, list2)
//   -> MatchLine(list1, list2, mask1, mask2, matches)
//   -> Calpoint(list1, list2, mask1, matches, ...) or Calpoint_smooth(...).
// The masks of GetCloudPoint_New_600_1/_600_2 (which write no mask) are "x > 0" of their lists.
// Needs SetROIInfo (and SetCalibrationInfo for the matching and triangulation); CalKR and the
// rectification maps are not used. No operation here starts threads or keeps state between calls.
#ifndef XELORAALGO_SRC_LASERLINE_LASERLINE_H
#define XELORAALGO_SRC_LASERLINE_LASERLINE_H

#include <array>
#include <vector>

#include "frame/AlgoEngine.h"

namespace XELORAALGO {
namespace laserline {

// ---- centre rules ----

// Centre of gravity of `positions` weighted by `weights` (read at the same index; the loop runs
// over positions.size(), so weights must be at least as long). Zero weights are skipped.
// Writes centre = (sum(w*p) / sum(w), row). If the weight sum is 0 (empty lists, all weights 0)
// `centre` keeps its previous content.
void CalLineCenter(int row, const std::vector<int>& positions, const std::vector<int>& weights,
                   std::array<double, 2>& centre);

// Centre of a run of `count` weights that starts at column `start`:
// writes centre = (index, start + sum(i*w[i]) / sum(w[i])), i = 0 .. count-1, zero weights skipped.
// Note the order: the FIRST element is `index` (typically the row), the second the column.
// If the weight sum is 0 or count < 1, `centre` keeps its previous content.
void CalLineCenter_new(int index, int start, int count, const int* weights, std::array<double, 2>& centre);

// ---- extractors ----

// lineExtract4: centre-of-gravity stripe extractor for clean images (lit pixel = value > 0).
// Inputs:  image W x H bytes; points must already hold at least H entries (pass a zero-filled
//          list: rows the extractor does not settle keep what the caller put there); mask H bools.
// Outputs: points[r] = (column, row) of the stripe in row r, sub-pixel; mask[r] set true for every
//          row with a line (never written false).
// The first run of a row (1..19 pixels) gives the row's first estimate; rows with several runs are
// resolved against neighbouring rows (ambiguous rows are filtered against a line through the
// nearest unambiguous rows, then forward and backward nearest-neighbour passes). Points closer
// than 20 columns to either side of the ROI are cleared to (0, 0).
// `offset` (x, y) is added to the coordinates of every point this call writes, once all the
// neighbour passes and the border band (which work in ROI columns and rows) are done; mask[r] is
// decided on the ROI column (> 0) before the offset is added. With offset (0, 0) the output is in
// ROI coordinates. Rows the call does not write keep the caller's entries without offset.
void lineExtract4(const AlgoEngine& engine, unsigned char* image, Point2dList& points, bool* mask,
                  const std::array<int, 2>& offset);

// lineExtract5: variant for images with background (lit pixel = value > 30). Candidates of
// narrow runs (1 or 2 pixels) are accepted only between narrowRunSpan/3 and 2*(narrowRunSpan/3)
// in sensor rows (ROI offsetY applied). The mean line column over the sensor rows
// rowBandSpan/3 .. 2*(rowBandSpan/3) steers the neighbour passes. Same list/mask conventions as
// lineExtract4; points are in ROI coordinates; there is no border band.
void lineExtract5(const AlgoEngine& engine, unsigned char* image, Point2dList& points, bool* mask,
                  int narrowRunSpan, int rowBandSpan);

// GetCloudPoint_New_600_1: stripe tracker on the squared-intensity weight map (v*v/255 > 20).
// Replaces the content of `points` with exactly H entries (column, row) in ROI coordinates;
// rows 0 and H-1 and rows without a line are (0, 0). The stripe is expected to run from top to
// bottom (one crest per row, found left to right). Columns are scanned only while
// x < W - 2*halfWin (halfWin = 15, or W/2 below 31 columns): a stripe must lie left of column W-30
// to be found or followed, and a ROI narrower than 33 columns yields no line at all.
// Every centre window (including the fixed +-11 one used when the left neighbour is brighter) is
// clipped to the columns 0 .. W-1 of the row, so centres always lie inside the row. A window
// without weight gives no centre: the row keeps its entry and the tracking state is unchanged.
void GetCloudPoint_New_600_1(const AlgoEngine& engine, unsigned char* image, Point2dList& points);

// GetCloudPoint_New_600_2: blur, Otsu threshold, run segmentation and trimming, two-way linking of
// the runs from row to row, gap filling and a final weighted centre per row.
// Replaces the content of `points` with exactly H entries (column, row) in ROI coordinates; rows
// without a line are (0, row), row 0 is (0, 0). Needs W >= 3 and H >= 3 to find anything.
void GetCloudPoint_New_600_2(const AlgoEngine& engine, unsigned char* image, Point2dList& points);

// ---- undistortion, matching, triangulation ----

// UndistortPoints2: every entry (x, y) is taken as ROI coordinates of the distorted image of
// camera 1 (firstCamera) or camera 2, shifted by the ROI offset to sensor pixels, and undistorted
// with K1/D1 or K2/D2 (5 fixed-point iterations). Output: undistorted SENSOR pixel coordinates
// (the ROI offset is not taken off again). All entries are transformed, also (0, 0) ones; use the
// row masks to tell valid rows.
void UndistortPoints2(const AlgoEngine& engine, bool firstCamera, Point2dList& points);

// MatchLine: for every row i with mask1[i], finds among rows j of list 2 within i-200 .. i+199 with
// mask2[j] the one of smallest epipolar residual |q^T F p| (p = (x1, y1, 1) of list 1, q of list 2,
// F the record's fundamental matrix, on undistorted sensor pixels). Accepted if the residual is
// below 0.1 and the x-spread of the two lines over rows -3 .. +3 differs by less than 10.0 pixels:
// then matches[i] = j; otherwise mask1[i] is cleared. mask2 is read only. Lists, masks and
// matches must hold H entries.
void MatchLine(const AlgoEngine& engine, const Point2dList& points1, const Point2dList& points2, bool* mask1,
               const bool* mask2, std::vector<int>& matches);

// Calpoint: replaces `cloud` with H entries: row i with mask[i] gets the triangulation of
// points1[i] and points2[matches[i]] (undistorted sensor pixels), other rows (0, 0, 0).
// `pixelDepth` is replaced by one entry (x1, y1, Z) per valid row, in row order.
// Units: camera-1 coordinates in the unit of TLine.
void Calpoint(const AlgoEngine& engine, const Point2dList& points1, const Point2dList& points2, const bool* mask,
              const std::vector<int>& matches, Point3dList& cloud, Point3dList& pixelDepth);

// Calpoint_smooth: as Calpoint's cloud, but each point may be replaced by the triangulation of
// the FitLineFunction_V-smoothed lists (halfWindow) when that lies within 2.0 of the raw point and
// closer to the previous row's point.
void Calpoint_smooth(const AlgoEngine& engine, const Point2dList& points1, const Point2dList& points2,
                     int halfWindow, const bool* mask, const std::vector<int>& matches, Point3dList& cloud);

// Triangulates one pair: (x1, y1) of camera 1 and x2 of camera 2, undistorted sensor pixels.
std::array<double, 3> triangulateLinePoint(const tagXeloraAlgoCalibrationInfo& calib, double x1, double y1,
                                           double x2);

// ---- line-list smoothers ----

// FitLineFunction_V: local least-squares line x = a*y + b over the window of 2*halfWindow entries
// about each entry (entries with x >= 5.0 and within 15.0 of the entry's x). Works on all entries
// of the list. Nothing happens when enable is false or the list holds fewer than 2*halfWindow
// entries.
void FitLineFunction_V(Point2dList& points, int halfWindow, bool enable);

// Gaussianfilter: Gaussian smoothing (2*halfWindow + 1 taps, sigma = taps/3) of the x values of the
// entries with x != 0, along the list, not across jumps of 5.0 or more. y values and entries with
// x == 0 are unchanged. A negative halfWindow changes nothing.
void Gaussianfilter(Point2dList& points, int halfWindow);

}  // namespace laserline
}  // namespace XELORAALGO

#endif
