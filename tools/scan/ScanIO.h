// File formats of xelora-scan: PNG images (libpng), the calibration as JSON (nlohmann_json), binary
// little-endian PLY clouds and profiles, float depth maps (PFM), and atomic file writing.
//
// Every reader throws InputError with the file name and the reason; every writer writes to a
// temporary file in the target folder and renames it into place only when it is complete, so an
// interrupted run leaves no half-written file under the final name.
#ifndef XELORA_TOOLS_SCAN_SCANIO_H
#define XELORA_TOOLS_SCAN_SCANIO_H

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "Pipeline.h"

namespace xscan {

// A problem with an input: file (or option) and reason; xelora-scan exits with status 2.
class InputError : public std::runtime_error {
public:
    InputError(const std::string& file, const std::string& reason)
        : std::runtime_error(file + ": " + reason), file_(file), reason_(reason) {}
    const std::string& file() const { return file_; }
    const std::string& reason() const { return reason_; }

private:
    std::string file_, reason_;
};

struct Image {
    int width = 0, height = 0;
    std::vector<std::uint8_t> rgb;  // width x height x 3 bytes
};

// Reads an 8-bit PNG as RGB (grey is replicated, palettes expanded, alpha dropped); 16-bit PNGs are
// refused (the cameras deliver 8-bit images).
Image readPng(const std::string& path);
// Reads an 8-bit image of exactly width x height as one channel (RGB is converted to grey by
// (r*299 + g*587 + b*114 + 500) / 1000); throws InputError on any other size or depth.
Plane8 readGreyPng(const std::string& path, int width, int height);
// Reads an 8-bit RGB image of width x height (grey is expanded to RGB).
std::vector<std::uint8_t> readRgbPng(const std::string& path, int width, int height);

// Reads a 16-bit single-channel PNG (such as depth.png) as written by writePngGrey16.
std::vector<std::uint16_t> readPngGrey16(const std::string& path, int& width, int& height);

void writePngGrey8(const std::string& path, const std::uint8_t* data, int width, int height);
void writePngRgb8(const std::string& path, const std::uint8_t* data, int width, int height);
void writePngGrey16(const std::string& path, const std::uint16_t* data, int width, int height);

// Calibration JSON: {"format": "xelora-calibration", "version": 1, "image_width": w,
// "image_height": h, "roi_offset_x": x, "roi_offset_y": y, "K1": [9 numbers], ..., "F": [9 numbers]}
// with all 17 fields of the record; the two ROI offsets are optional (0 when absent).
void writeCalibrationJson(const std::string& path, const Calibration& calib);
Calibration readCalibrationJson(const std::string& path);
std::string calibrationToJson(const Calibration& calib);
Calibration calibrationFromJson(const std::string& text, const std::string& sourceName);

// Binary little-endian PLY: vertices (float x, y, z) with uchar red, green, blue when coloured.
void writePly(const std::string& path, const std::vector<ColouredPoint>& points, bool coloured);
// Reads back what writePly writes (used by tests and the file-path checks).
std::vector<ColouredPoint> readPly(const std::string& path, bool& coloured);

// PFM (portable float map, one channel, little-endian, rows stored bottom-up as the format wants).
void writePfm(const std::string& path, const std::vector<float>& data, int width, int height);
std::vector<float> readPfm(const std::string& path, int& width, int& height);

// Writes `bytes` to path atomically (temporary file in the same folder, then rename).
void writeFileAtomic(const std::string& path, const std::string& bytes);
// Creates a folder (and its parents) if missing; throws InputError if that fails.
void makeFolder(const std::string& path);

}  // namespace xscan

#endif
