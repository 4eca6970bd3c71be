// Record writer, input generator and calibration records of the golden dump.
#include "Golden.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>
#include <system_error>

namespace golden {

int elementSize(Kind k) {
    switch (k) {
        case Kind::I32:
        case Kind::F32: return 4;
        case Kind::F64: return 8;
        default: return 1;
    }
}

void Writer::u32(std::uint32_t v) {
    for (int b = 0; b < 4; ++b) out_.push_back(static_cast<unsigned char>(v >> (8 * b)));
}

void Writer::u64(std::uint64_t v) {
    for (int b = 0; b < 8; ++b) out_.push_back(static_cast<unsigned char>(v >> (8 * b)));
}

void Writer::header(const std::string& name, Kind kind, std::size_t payload) {
    if (out_.empty()) out_.assign({'X', 'L', 'G', 'O', 'L', 'D', '0', '1'});
    u32(static_cast<std::uint32_t>(name.size()));
    out_.insert(out_.end(), name.begin(), name.end());
    out_.push_back(static_cast<unsigned char>(kind));
    u64(payload);
    ++records_;
}

void Writer::bytes(const std::string& name, const unsigned char* p, std::size_t n) {
    header(name, Kind::U8, n);
    out_.insert(out_.end(), p, p + n);
}

void Writer::bools(const std::string& name, const bool* p, std::size_t n) {
    header(name, Kind::Bool, n);
    for (std::size_t i = 0; i < n; ++i) out_.push_back(p[i] ? 1 : 0);
}

void Writer::ints(const std::string& name, const std::vector<int>& v) {
    header(name, Kind::I32, 4 * v.size());
    for (int x : v) u32(static_cast<std::uint32_t>(x));
}

void Writer::floats(const std::string& name, const float* p, std::size_t n) {
    header(name, Kind::F32, 4 * n);
    for (std::size_t i = 0; i < n; ++i) {
        std::uint32_t u;
        std::memcpy(&u, p + i, 4);
        u32(u);
    }
}

void Writer::doubles(const std::string& name, const double* p, std::size_t n) {
    header(name, Kind::F64, 8 * n);
    for (std::size_t i = 0; i < n; ++i) {
        std::uint64_t u;
        std::memcpy(&u, p + i, 8);
        u64(u);
    }
}

void Writer::text(const std::string& name, const std::string& s) {
    header(name, Kind::Text, s.size());
    out_.insert(out_.end(), s.begin(), s.end());
}

void Writer::guarded(const std::string& name, const std::function<void()>& call) {
    try {
        call();
    } catch (const std::invalid_argument&) {
        text(name + ".threw", "invalid_argument");
    } catch (const std::logic_error&) {
        text(name + ".threw", "logic_error");
    } catch (const std::bad_alloc&) {
        text(name + ".threw", "bad_alloc");
    } catch (const std::exception&) {
        text(name + ".threw", "exception");
    }
}

std::uint64_t Rng::next() {
    std::uint64_t z = (s_ += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}

double Rng::unit() { return static_cast<double>(next() >> 11) * (1.0 / 9007199254740992.0); }

int Rng::below(int n) { return static_cast<int>(next() % static_cast<std::uint64_t>(n)); }

double cosine(double x) {
    // Reduce to [0, pi] (cos is even and 2 pi periodic), then to [0, pi/2] by cos(pi - t) = -cos t.
    const double twoPi = 2 * kPi;
    double t = x < 0 ? -x : x;
    t -= twoPi * std::floor(t / twoPi);
    if (t > kPi) t = twoPi - t;
    double sign = 1.0;
    if (t > kPi / 2) {
        t = kPi - t;
        sign = -1.0;
    }
    const double t2 = t * t;
    double term = 1.0, sum = 1.0;
    for (int k = 1; k <= 11; ++k) {
        term = -term * t2 / ((2.0 * k - 1) * (2.0 * k));
        sum += term;
    }
    return sign * sum;
}

Mask::Mask(std::size_t count, bool value) : n(count), v(new bool[count == 0 ? 1 : count]) {
    for (std::size_t i = 0; i < n; ++i) v[i] = value;
}

XELORAALGO::tagXeloraAlgoROIInfo roi(int ox, int oy, int w, int h) {
    XELORAALGO::tagXeloraAlgoROIInfo r;
    r.offsetX = ox;
    r.offsetY = oy;
    r.width = w;
    r.height = h;
    return r;
}

XELORAALGO::tagXeloraAlgoCalibrationInfo stereoHead(double f, double cx, double cy, double sinYaw,
                                                    const double C2[3], bool distortion) {
    XELORAALGO::tagXeloraAlgoCalibrationInfo c;
    std::memset(&c, 0, sizeof c);
    const double K[9] = {f, 0, cx, 0, f, cy, 0, 0, 1};
    std::memcpy(c.K1, K, sizeof K);
    std::memcpy(c.K2, K, sizeof K);
    c.K2[0] = f * 1.002;
    c.K2[4] = f * 1.002;
    if (distortion) {
        const double D1[5] = {-0.021, 0.013, 0.0004, -0.0003, 0.002};
        const double D2[5] = {0.017, -0.008, -0.0002, 0.0005, -0.001};
        std::memcpy(c.D1, D1, sizeof D1);
        std::memcpy(c.D2, D2, sizeof D2);
    }
    const double co = std::sqrt(1 - sinYaw * sinYaw);
    const double R[9] = {co, 0, sinYaw, 0, 1, 0, -sinYaw, 0, co};
    std::memcpy(c.R, R, sizeof R);
    for (int r = 0; r < 3; ++r) {
        c.T[r] = -(R[3 * r] * C2[0] + R[3 * r + 1] * C2[1] + R[3 * r + 2] * C2[2]);
        c.Tinv[r] = C2[r];
    }
    std::memcpy(c.RLine, R, sizeof R);
    std::memcpy(c.TLine, c.T, sizeof c.T);
    for (int k = 0; k < 9; ++k) c.auxMatrixA[k] = c.auxMatrixB[k] = 0.5 * k;
    // Colour camera: 0.8 f, 40 units left of camera 1, turned slightly about x.
    const double K3[9] = {0.8 * f, 0, cx + 3, 0, 0.8 * f, cy - 2, 0, 0, 1};
    std::memcpy(c.K3, K3, sizeof K3);
    const double D3[5] = {0.031, -0.012, 0.0002, 0.0001, 0.0};
    std::memcpy(c.D3, D3, sizeof D3);
    const double sx = 0.01, cxr = std::sqrt(1 - sx * sx);
    const double R3[9] = {1, 0, 0, 0, cxr, -sx, 0, sx, cxr};
    std::memcpy(c.R3, R3, sizeof R3);
    const double T3[3] = {40.0, -2.0, 1.5};
    std::memcpy(c.T3, T3, sizeof T3);
    for (int k = 0; k < 9; ++k) c.F[k] = 0.0;
    return c;
}

bool carriedFieldsScrambled = false;

void setCalibration(XELORAALGO::XeloraAlgo& a, XELORAALGO::tagXeloraAlgoCalibrationInfo calib) {
    if (carriedFieldsScrambled) {
        const double nan = std::numeric_limits<double>::quiet_NaN();
        for (double& v : calib.auxMatrixA) v = nan;
        for (double& v : calib.auxMatrixB) v = nan;
        for (double& v : calib.auxVector) v = nan;
    }
    a.SetCalibrationInfo(&calib);
}

}  // namespace golden
