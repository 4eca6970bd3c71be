// PNG (libpng), calibration JSON (nlohmann_json), PLY and PFM files, atomic writes.
#include "ScanIO.h"

#include <png.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

namespace xscan {
namespace {

// Name, offset (in doubles) and length of every field of the calibration record, in record order.
struct CalField {
    const char* name;
    int offset;
    int length;
};
const CalField kCalFields[] = {
    {"K1", 0, 9},      {"K2", 9, 9},          {"D1", 18, 5},   {"D2", 23, 5},  {"R", 28, 9},
    {"T", 37, 3},      {"auxMatrixA", 40, 9}, {"Tinv", 49, 3}, {"auxMatrixB", 52, 9},
    {"K3", 61, 9},     {"D3", 70, 5},         {"R3", 75, 9},   {"T3", 84, 3},  {"RLine", 87, 9},
    {"TLine", 96, 3},  {"auxVector", 99, 3},  {"F", 102, 9},
};

double* recordData(XELORAALGO::tagXeloraAlgoCalibrationInfo& r) { return reinterpret_cast<double*>(&r); }
const double* recordData(const XELORAALGO::tagXeloraAlgoCalibrationInfo& r) {
    return reinterpret_cast<const double*>(&r);
}

void pngWriteToString(png_structp png, png_bytep data, png_size_t length) {
    auto* out = static_cast<std::string*>(png_get_io_ptr(png));
    out->append(reinterpret_cast<const char*>(data), length);
}
void pngFlush(png_structp) {}

// Encodes rows of `bytesPerRow` bytes with libpng (colourType PNG_COLOR_TYPE_GRAY / RGB, depth 8 or
// 16; 16-bit rows are given in big-endian byte order as PNG stores them).
std::string encodePng(const std::uint8_t* data, int width, int height, int colourType, int depth,
                      std::size_t bytesPerRow) {
    std::string out;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    if (!png) throw std::runtime_error("png_create_write_struct failed");
    png_infop info = png_create_info_struct(png);
    if (!info) {
        png_destroy_write_struct(&png, nullptr);
        throw std::runtime_error("png_create_info_struct failed");
    }
    std::vector<png_bytep> rows(static_cast<std::size_t>(height));
    for (int r = 0; r < height; ++r)
        rows[static_cast<std::size_t>(r)] = const_cast<png_bytep>(data + static_cast<std::size_t>(r) * bytesPerRow);
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        throw std::runtime_error("PNG encoding failed");
    }
    png_set_write_fn(png, &out, pngWriteToString, pngFlush);
    png_set_IHDR(png, info, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height), depth, colourType,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_set_compression_level(png, 3);
    png_set_rows(png, info, rows.data());
    png_write_png(png, info, PNG_TRANSFORM_IDENTITY, nullptr);
    png_destroy_write_struct(&png, &info);
    return out;
}

std::string readWholeFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw InputError(path, std::string("cannot open: ") + std::strerror(errno));
    std::ostringstream ss;
    ss << in.rdbuf();
    if (in.bad()) throw InputError(path, "read error");
    return ss.str();
}

void putU32(std::string& s, std::uint32_t v) {
    for (int k = 0; k < 4; ++k) s.push_back(static_cast<char>((v >> (8 * k)) & 0xff));
}
void putF32(std::string& s, float f) {
    std::uint32_t v;
    std::memcpy(&v, &f, 4);
    putU32(s, v);
}
float getF32(const std::string& s, std::size_t at) {
    std::uint32_t v = 0;
    for (int k = 0; k < 4; ++k) v |= static_cast<std::uint32_t>(static_cast<unsigned char>(s[at + k])) << (8 * k);
    float f;
    std::memcpy(&f, &v, 4);
    return f;
}

}  // namespace

void makeFolder(const std::string& path) {
    if (path.empty()) return;
    struct stat st;
    if (stat(path.c_str(), &st) == 0) {
        if (!S_ISDIR(st.st_mode)) throw InputError(path, "exists and is not a folder");
        return;
    }
    const std::size_t slash = path.find_last_of('/');
    if (slash != std::string::npos && slash > 0) makeFolder(path.substr(0, slash));
    if (mkdir(path.c_str(), 0777) != 0 && errno != EEXIST)
        throw InputError(path, std::string("cannot create folder: ") + std::strerror(errno));
}

void writeFileAtomic(const std::string& path, const std::string& bytes) {
    const std::string tmp = path + ".partial-" + std::to_string(static_cast<long>(getpid()));
    {
        std::ofstream out(tmp, std::ios::binary | std::ios::trunc);
        if (!out) throw InputError(path, std::string("cannot write: ") + std::strerror(errno));
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        out.flush();
        if (!out) {
            out.close();
            std::remove(tmp.c_str());
            throw InputError(path, "write failed (disk full?)");
        }
    }
    if (std::rename(tmp.c_str(), path.c_str()) != 0) {
        const std::string why = std::strerror(errno);
        std::remove(tmp.c_str());
        throw InputError(path, "cannot rename into place: " + why);
    }
}

Image readPng(const std::string& path) {
    const std::string bytes = readWholeFile(path);
    png_image img;
    std::memset(&img, 0, sizeof img);
    img.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_memory(&img, bytes.data(), bytes.size()))
        throw InputError(path, std::string("not a readable PNG image (") + img.message + ")");
    if (img.format & PNG_FORMAT_FLAG_LINEAR) {
        png_image_free(&img);
        throw InputError(path, "16-bit PNG; the cameras' images must be 8-bit");
    }
    img.format = PNG_FORMAT_RGB;
    Image out;
    out.width = static_cast<int>(img.width);
    out.height = static_cast<int>(img.height);
    out.rgb.resize(PNG_IMAGE_SIZE(img));
    if (!png_image_finish_read(&img, nullptr, out.rgb.data(), 0, nullptr)) {
        const std::string msg = img.message;
        png_image_free(&img);
        throw InputError(path, "corrupt PNG data (" + msg + ")");
    }
    return out;
}

namespace {
struct MemoryReader {
    const std::string* bytes;
    std::size_t at;
};
void pngReadFromMemory(png_structp png, png_bytep out, png_size_t length) {
    auto* r = static_cast<MemoryReader*>(png_get_io_ptr(png));
    if (r->at + length > r->bytes->size()) png_error(png, "truncated file");
    std::memcpy(out, r->bytes->data() + r->at, length);
    r->at += length;
}
}  // namespace

std::vector<std::uint16_t> readPngGrey16(const std::string& path, int& width, int& height) {
    const std::string bytes = readWholeFile(path);
    if (bytes.size() < 8 || png_sig_cmp(reinterpret_cast<png_const_bytep>(bytes.data()), 0, 8) != 0)
        throw InputError(path, "not a PNG image");
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    if (!png) throw std::runtime_error("png_create_read_struct failed");
    png_infop info = png_create_info_struct(png);
    if (!info) {
        png_destroy_read_struct(&png, nullptr, nullptr);
        throw std::runtime_error("png_create_info_struct failed");
    }
    MemoryReader reader{&bytes, 0};
    std::vector<std::uint16_t> out;
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_read_struct(&png, &info, nullptr);
        throw InputError(path, "corrupt PNG data");
    }
    png_set_read_fn(png, &reader, pngReadFromMemory);
    png_read_png(png, info, PNG_TRANSFORM_IDENTITY, nullptr);
    const bool ok = png_get_bit_depth(png, info) == 16 && png_get_color_type(png, info) == PNG_COLOR_TYPE_GRAY;
    if (ok) {
        width = static_cast<int>(png_get_image_width(png, info));
        height = static_cast<int>(png_get_image_height(png, info));
        png_bytepp rows = png_get_rows(png, info);
        out.resize(static_cast<std::size_t>(width) * height);
        for (int r = 0; r < height; ++r)
            for (int c = 0; c < width; ++c)
                out[static_cast<std::size_t>(r) * width + c] =
                    static_cast<std::uint16_t>((rows[r][2 * c] << 8) | rows[r][2 * c + 1]);
    }
    png_destroy_read_struct(&png, &info, nullptr);
    if (!ok) throw InputError(path, "not a 16-bit grey PNG");
    return out;
}

Plane8 readGreyPng(const std::string& path, int width, int height) {
    const Image img = readPng(path);
    if (img.width != width || img.height != height)
        throw InputError(path, "image is " + std::to_string(img.width) + " x " + std::to_string(img.height) +
                                   ", expected " + std::to_string(width) + " x " + std::to_string(height));
    Plane8 out(static_cast<std::size_t>(width) * height);
    for (std::size_t i = 0; i < out.size(); ++i) {
        const int r = img.rgb[3 * i], g = img.rgb[3 * i + 1], b = img.rgb[3 * i + 2];
        out[i] = static_cast<std::uint8_t>((r * 299 + g * 587 + b * 114 + 500) / 1000);
    }
    return out;
}

std::vector<std::uint8_t> readRgbPng(const std::string& path, int width, int height) {
    Image img = readPng(path);
    if (img.width != width || img.height != height)
        throw InputError(path, "image is " + std::to_string(img.width) + " x " + std::to_string(img.height) +
                                   ", expected " + std::to_string(width) + " x " + std::to_string(height));
    return std::move(img.rgb);
}

void writePngGrey8(const std::string& path, const std::uint8_t* data, int width, int height) {
    writeFileAtomic(path, encodePng(data, width, height, PNG_COLOR_TYPE_GRAY, 8, static_cast<std::size_t>(width)));
}

void writePngRgb8(const std::string& path, const std::uint8_t* data, int width, int height) {
    writeFileAtomic(path, encodePng(data, width, height, PNG_COLOR_TYPE_RGB, 8, static_cast<std::size_t>(width) * 3));
}

void writePngGrey16(const std::string& path, const std::uint16_t* data, int width, int height) {
    std::vector<std::uint8_t> be(static_cast<std::size_t>(width) * height * 2);
    for (std::size_t i = 0; i < static_cast<std::size_t>(width) * height; ++i) {
        be[2 * i] = static_cast<std::uint8_t>(data[i] >> 8);
        be[2 * i + 1] = static_cast<std::uint8_t>(data[i] & 0xff);
    }
    writeFileAtomic(path, encodePng(be.data(), width, height, PNG_COLOR_TYPE_GRAY, 16, static_cast<std::size_t>(width) * 2));
}

std::string calibrationToJson(const Calibration& c) {
    nlohmann::ordered_json j;
    j["format"] = "xelora-calibration";
    j["version"] = 1;
    j["image_width"] = c.width;
    j["image_height"] = c.height;
    j["roi_offset_x"] = c.offsetX;
    j["roi_offset_y"] = c.offsetY;
    j["units"] = "K in pixels, translations in mm, pixel pitch 0.0048 mm";
    const double* d = recordData(c.record);
    for (const CalField& f : kCalFields) j[f.name] = std::vector<double>(d + f.offset, d + f.offset + f.length);
    return j.dump(2) + "\n";
}

Calibration calibrationFromJson(const std::string& text, const std::string& src) {
    nlohmann::json j;
    try {
        j = nlohmann::json::parse(text);
    } catch (const nlohmann::json::exception& e) {
        throw InputError(src, std::string("malformed calibration JSON: ") + e.what());
    }
    if (!j.is_object()) throw InputError(src, "malformed calibration: the top level is not a JSON object");
    Calibration c;
    for (const char* key : {"image_width", "image_height"}) {
        if (!j.contains(key)) throw InputError(src, std::string("malformed calibration: missing \"") + key + "\"");
        const auto& v = j[key];
        if (!v.is_number_integer() || v.get<long long>() < 8 || v.get<long long>() > 65536)
            throw InputError(src, std::string("malformed calibration: \"") + key + "\" must be an integer in 8 ... 65536");
    }
    c.width = j["image_width"].get<int>();
    c.height = j["image_height"].get<int>();
    // Optional: the sensor position of the images' top-left pixel (0, 0 when absent).
    for (const char* key : {"roi_offset_x", "roi_offset_y"}) {
        if (!j.contains(key)) continue;
        const auto& v = j[key];
        if (!v.is_number_integer() || v.get<long long>() < 0 || v.get<long long>() > 65536)
            throw InputError(src, std::string("malformed calibration: \"") + key + "\" must be an integer in 0 ... 65536");
    }
    c.offsetX = j.contains("roi_offset_x") ? j["roi_offset_x"].get<int>() : 0;
    c.offsetY = j.contains("roi_offset_y") ? j["roi_offset_y"].get<int>() : 0;
    double* d = recordData(c.record);
    for (const CalField& f : kCalFields) {
        if (!j.contains(f.name)) throw InputError(src, std::string("malformed calibration: missing \"") + f.name + "\"");
        const auto& a = j[f.name];
        if (!a.is_array() || static_cast<int>(a.size()) != f.length)
            throw InputError(src, std::string("malformed calibration: \"") + f.name + "\" must be an array of " +
                                      std::to_string(f.length) + " numbers");
        for (int k = 0; k < f.length; ++k) {
            if (!a[static_cast<std::size_t>(k)].is_number())
                throw InputError(src, std::string("malformed calibration: \"") + f.name + "\"[" + std::to_string(k) +
                                          "] is not a number");
            const double v = a[static_cast<std::size_t>(k)].get<double>();
            if (!std::isfinite(v))
                throw InputError(src, std::string("malformed calibration: \"") + f.name + "\"[" + std::to_string(k) +
                                          "] is not finite");
            d[f.offset + k] = v;
        }
    }
    return c;
}

void writeCalibrationJson(const std::string& path, const Calibration& c) { writeFileAtomic(path, calibrationToJson(c)); }

Calibration readCalibrationJson(const std::string& path) { return calibrationFromJson(readWholeFile(path), path); }

void writePly(const std::string& path, const std::vector<ColouredPoint>& pts, bool coloured) {
    std::string s;
    s += "ply\nformat binary_little_endian 1.0\ncomment xelora-scan point cloud, camera-1 frame, mm\n";
    s += "element vertex " + std::to_string(pts.size()) + "\n";
    s += "property float x\nproperty float y\nproperty float z\n";
    if (coloured) s += "property uchar red\nproperty uchar green\nproperty uchar blue\n";
    s += "end_header\n";
    s.reserve(s.size() + pts.size() * 15);
    for (const ColouredPoint& p : pts) {
        putF32(s, p.x);
        putF32(s, p.y);
        putF32(s, p.z);
        if (coloured) {
            s.push_back(static_cast<char>(p.r));
            s.push_back(static_cast<char>(p.g));
            s.push_back(static_cast<char>(p.b));
        }
    }
    writeFileAtomic(path, s);
}

std::vector<ColouredPoint> readPly(const std::string& path, bool& coloured) {
    const std::string s = readWholeFile(path);
    const std::size_t end = s.find("end_header\n");
    if (s.compare(0, 4, "ply\n") != 0 || end == std::string::npos) throw InputError(path, "not a PLY file");
    const std::string header = s.substr(0, end);
    if (header.find("format binary_little_endian 1.0") == std::string::npos)
        throw InputError(path, "not a binary little-endian PLY file");
    const std::size_t ev = header.find("element vertex ");
    if (ev == std::string::npos) throw InputError(path, "PLY without vertices");
    const long n = std::stol(header.substr(ev + 15));
    coloured = header.find("property uchar red") != std::string::npos;
    const std::size_t stride = coloured ? 15 : 12;
    std::size_t at = end + 11;
    if (n < 0 || s.size() < at + stride * static_cast<std::size_t>(n)) throw InputError(path, "truncated PLY file");
    std::vector<ColouredPoint> pts(static_cast<std::size_t>(n));
    for (auto& p : pts) {
        p.x = getF32(s, at);
        p.y = getF32(s, at + 4);
        p.z = getF32(s, at + 8);
        p.r = p.g = p.b = 0;
        if (coloured) {
            p.r = static_cast<std::uint8_t>(s[at + 12]);
            p.g = static_cast<std::uint8_t>(s[at + 13]);
            p.b = static_cast<std::uint8_t>(s[at + 14]);
        }
        at += stride;
    }
    return pts;
}

void writePfm(const std::string& path, const std::vector<float>& data, int width, int height) {
    std::string s = "Pf\n" + std::to_string(width) + " " + std::to_string(height) + "\n-1.0\n";
    for (int r = height - 1; r >= 0; --r)
        for (int c = 0; c < width; ++c) putF32(s, data[static_cast<std::size_t>(r) * width + c]);
    writeFileAtomic(path, s);
}

std::vector<float> readPfm(const std::string& path, int& width, int& height) {
    const std::string s = readWholeFile(path);
    std::istringstream in(s);
    std::string magic;
    double scale = 0;
    in >> magic >> width >> height >> scale;
    if (magic != "Pf" || !in || width <= 0 || height <= 0 || scale >= 0)
        throw InputError(path, "not a little-endian one-channel PFM file");
    const std::size_t at = static_cast<std::size_t>(in.tellg()) + 1;
    const std::size_t n = static_cast<std::size_t>(width) * height;
    if (s.size() < at + 4 * n) throw InputError(path, "truncated PFM file");
    std::vector<float> out(n);
    for (int r = height - 1, k = 0; r >= 0; --r)
        for (int c = 0; c < width; ++c, ++k) out[static_cast<std::size_t>(r) * width + c] = getF32(s, at + 4 * static_cast<std::size_t>(k));
    return out;
}

}  // namespace xscan
