// The golden dump: every exported member of XeloraAlgo run on fixed generated inputs, all results
// written to one binary file of named records.
//
// File: the 8 bytes "XLGOLD01", then records until the end of the file. A record is
//   u32 name length, the name bytes (ASCII), u8 element kind (Kind below), u64 payload length in
//   bytes, the payload: its elements in little-endian byte order.
// Every integer is little-endian. Inputs come only from an integer generator and IEEE +, -, *, /
// and sqrt, so the file is the same on every platform where the library's results are.
#ifndef XELORAALGO_TESTS_GOLDEN_GOLDEN_H
#define XELORAALGO_TESTS_GOLDEN_GOLDEN_H

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "XeloraAlgo.h"

namespace golden {

enum class Kind : std::uint8_t { U8 = 0, Bool = 1, I32 = 2, F32 = 3, F64 = 4, Text = 5 };

// Size in bytes of one element of a kind (1 for text).
int elementSize(Kind k);

class Writer {
public:
    void bytes(const std::string& name, const unsigned char* p, std::size_t n);
    void bools(const std::string& name, const bool* p, std::size_t n);
    void ints(const std::string& name, const std::vector<int>& v);
    void floats(const std::string& name, const float* p, std::size_t n);
    void doubles(const std::string& name, const double* p, std::size_t n);
    void text(const std::string& name, const std::string& s);
    void floats(const std::string& name, const std::vector<float>& v) { floats(name, v.data(), v.size()); }
    void doubles(const std::string& name, const std::vector<double>& v) { doubles(name, v.data(), v.size()); }
    template <std::size_t N>
    void points(const std::string& name, const std::vector<std::array<double, N>>& v) {
        doubles(name, v.empty() ? nullptr : v[0].data(), v.size() * N);
    }
    // Runs `call`; an exception it throws becomes the record name + ".threw" holding its kind.
    void guarded(const std::string& name, const std::function<void()>& call);
    const std::vector<unsigned char>& data() const { return out_; }
    std::size_t records() const { return records_; }

private:
    void header(const std::string& name, Kind kind, std::size_t payload);
    void u32(std::uint32_t v);
    void u64(std::uint64_t v);
    std::vector<unsigned char> out_;
    std::size_t records_ = 0;
};

// splitmix64: the same sequence everywhere.
class Rng {
public:
    explicit Rng(std::uint64_t seed) : s_(seed) {}
    std::uint64_t next();
    double unit();                  // [0, 1), 53 bits
    int below(int n);               // 0 .. n-1
    double range(double lo, double hi) { return lo + (hi - lo) * unit(); }
    float rangef(float lo, float hi) { return float(range(lo, hi)); }
    bool chance(int percent) { return below(100) < percent; }

private:
    std::uint64_t s_;
};

// Cosine from plain double arithmetic (reduction and a Taylor polynomial; error below 1e-15).
double cosine(double x);
inline double sine(double x) { return cosine(x - 1.5707963267948966); }

constexpr double kPi = 3.14159265358979323846;

// A bool buffer (std::vector<bool> has no data()).
struct Mask {
    std::size_t n;
    std::unique_ptr<bool[]> v;
    explicit Mask(std::size_t count, bool value = false);
    bool* data() { return v.get(); }
    bool& operator[](std::size_t i) { return v[i]; }
};

// 8-bit pattern planes of a projector phase phi(i) at every pixel i of n: the 11-plane set (Gray
// code of floor(phi / pi), fringes offset + amplitude cos(phi - k pi / 2), k = 1 .. 4) or the paired
// 18-plane set (pattern / inverse pairs, fringes with shifts 3 pi / 2 .. 0).
using Planes = std::vector<std::vector<unsigned char>>;
Planes patternPlanes(bool paired, std::size_t n, const std::function<double(std::size_t)>& phi,
                     double offset = 120.0, double amplitude = 90.0);
std::vector<unsigned char*> pointers(Planes& planes);
// Rounds v to the nearest byte value, clamped to 0 .. 255.
unsigned char toByte(double v);

XELORAALGO::tagXeloraAlgoROIInfo roi(int ox, int oy, int w, int h);
// Structured-light head: focal f pixels, principal point (cx, cy), camera 2 at centre C2 turned
// about y by the angle whose sine is `sinYaw`; small lens distortion on both cameras and a colour
// camera beside camera 1.
XELORAALGO::tagXeloraAlgoCalibrationInfo stereoHead(double f, double cx, double cy, double sinYaw,
                                                    const double C2[3], bool distortion);

// Sections of the dump.
void dumpFrameAndStereo(Writer& w);
void dumpFringe(Writer& w);
void dumpDepthFilters(Writer& w);
void dumpImaging(Writer& w);
void dumpLaserLine(Writer& w);
void dumpCloudAndFitting(Writer& w);
void dumpFringePipeline(Writer& w);
void dumpLinePipeline(Writer& w);

// --diff: compares two dump files; returns the exit status (0 identical, 1 different, 2 unreadable).
int diffDumps(const std::string& a, const std::string& b);

// Hands `calib` to the handle; with carriedFieldsScrambled set, auxMatrixA, auxMatrixB and auxVector
// (carried by the record, read by no member) are replaced by NaN first, so that a dump written that
// way equals the plain one exactly when no member reads them.
extern bool carriedFieldsScrambled;
void setCalibration(XELORAALGO::XeloraAlgo& a, XELORAALGO::tagXeloraAlgoCalibrationInfo calib);

}  // namespace golden

#endif
