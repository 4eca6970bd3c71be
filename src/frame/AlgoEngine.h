// AlgoEngine: the private record behind every XeloraAlgo handle.
//
// Holds the ROI, the calibration, the geometry derived by CalKR, the two fringe lookup tables and
// every per-pixel table that lives longer than one call. Tables are owned here as vectors; an
// empty vector is a table that has not been built or has been released. Per-pixel tables are
// row-major, width x height of the ROI in force when they were built.
#ifndef XELORAALGO_SRC_FRAME_ALGOENGINE_H
#define XELORAALGO_SRC_FRAME_ALGOENGINE_H

#include <cstdint>
#include <cstring>
#include <vector>

#include "XeloraAlgo.h"

namespace XELORAALGO {

// Side of the fringe lookup tables: a and b in -255 ... 255.
constexpr int kLutSide = 511;

// Index of (a, b) in phaseAtanLut / modulationLut: row a = 255 first, column b = 255 first.
inline int lutIndex(int a, int b) { return (255 - a) * kLutSide + (255 - b); }

// The ROI and downsampling a table was built for; `built` is false for a table that has not been
// built or has been released.
struct SetupStamp {
    bool built = false;
    tagXeloraAlgoROIInfo roi{};
    std::int32_t step = 0;
    float offset = 0.0f;
};

struct AlgoEngine {
    tagXeloraAlgoROIInfo roi{};
    tagXeloraAlgoCalibrationInfo calib{};

    std::vector<double> rectMapX1, rectMapY1;      // CalRectifyMap1(true)
    std::vector<double> undistMapX1, undistMapY1;  // CalRectifyMap2(true)
    std::vector<double> rectMapX2, rectMapY2;      // CalRectifyMap1(false)
    std::vector<double> undistMapX2, undistMapY2;  // CalRectifyMap2(false)

    double phaseBucketWidth = 0.0;  // absolute phase per ROI column (CalKR)

    std::vector<std::int32_t> matchColumn;  // MatchI
    std::vector<std::int32_t> matchSide;    // MatchI
    std::vector<float> subpixelColumn;      // MatchII

    double phaseSin[4] = {0, 0, 0, 0};  // sin(k * 1.5707963267949), k = 1..4
    double phaseCos[4] = {0, 0, 0, 0};  // cos(k * 1.5707963267949), k = 1..4

    std::vector<float> phaseAtanLut;   // 511 x 511: atan2(b, a)
    std::vector<float> modulationLut;  // 511 x 511: 0.5 * sqrt(a^2 + b^2)

    double epipole1Y = 0.0, epipole1X = 0.0;  // epipole in camera 1 (sensor pixels)
    double epipole2Y = 0.0, epipole2X = 0.0;  // epipole in camera 2 (sensor pixels)
    double cx1 = 0.0, cy1 = 0.0, cx2 = 0.0, cy2 = 0.0;
    double focal1Mm = 0.0, focal2Mm = 0.0;
    double pixelPitch = 0.0;

    std::vector<float> mappedLineSlope, epipoleLineSlope;
    std::vector<float> mappedLineAngle, epipoleLineAngle;
    double angleStep = 0.0, angleMin = 0.0;
    std::vector<double> lineIndexMap;

    std::int32_t downsampleStep = 1;
    float downsampleOffset = 0.0f;

    // What the tables above were built for: CalKR's geometry tables, CalRectifyMap1's and
    // CalRectifyMap2's maps per camera (index 0 camera 1), MatchI's and MatchII's match tables.
    SetupStamp geometryBuiltFor;
    SetupStamp rectMapBuiltFor[2];
    SetupStamp undistMapBuiltFor[2];
    SetupStamp matchBuiltFor;
    SetupStamp subpixelBuiltFor;

    // Builds the sine/cosine values and the two lookup tables.
    AlgoEngine();

    // The ROI and downsampling in force, as a built stamp.
    SetupStamp currentSetup() const {
        SetupStamp s;
        s.built = true;
        s.roi = roi;
        s.step = downsampleStep;
        s.offset = downsampleOffset;
        return s;
    }
    // True when `stamp` was built for the ROI and downsampling in force (offsets compared bit for bit).
    bool isCurrent(const SetupStamp& stamp) const {
        return stamp.built && stamp.roi.offsetX == roi.offsetX && stamp.roi.offsetY == roi.offsetY &&
               stamp.roi.width == roi.width && stamp.roi.height == roi.height && stamp.step == downsampleStep &&
               std::memcmp(&stamp.offset, &downsampleOffset, sizeof(float)) == 0;
    }

    int width() const { return roi.width; }
    int height() const { return roi.height; }
    // Number of ROI pixels as a size (0 for a non-positive ROI).
    std::size_t pixelCount() const {
        return (roi.width > 0 && roi.height > 0)
                   ? static_cast<std::size_t>(roi.width) * static_cast<std::size_t>(roi.height)
                   : 0;
    }
};

// Releases a table and returns its storage; harmless on a released table.
template <class T>
inline void releaseTable(std::vector<T>& table) {
    std::vector<T>().swap(table);
}

// Releases matchColumn, matchSide and subpixelColumn.
void releaseMatchTables(AlgoEngine& engine);
// Releases the geometry and map tables in the documented order.
void releaseGeometryTables(AlgoEngine& engine);

}  // namespace XELORAALGO

#endif
