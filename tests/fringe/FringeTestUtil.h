// Pattern sets and ROI helpers for the fringe-decoding tests.
#ifndef XELORAALGO_TESTS_FRINGE_FRINGETESTUTIL_H
#define XELORAALGO_TESTS_FRINGE_FRINGETESTUTIL_H

#include <cmath>
#include <cstddef>
#include <memory>
#include <vector>

#include "frame/AlgoEngine.h"

namespace fringetest {

inline void setRoi(XELORAALGO::AlgoEngine& e, int w, int h) {
    e.roi.offsetX = 0;
    e.roi.offsetY = 0;
    e.roi.width = w;
    e.roi.height = h;
}

// A stack of 8-bit planes of one ROI plus the pointer array the decoders take.
struct Stack {
    int w, h;
    std::vector<std::vector<unsigned char>> planes;
    std::vector<unsigned char*> ptrs;
    Stack(int count, int width, int height, unsigned char fill = 0)
        : w(width), h(height), planes(count, std::vector<unsigned char>(std::size_t(width) * height, fill)) {
        relink();
    }
    Stack(const Stack& o) : w(o.w), h(o.h), planes(o.planes) { relink(); }
    Stack& operator=(const Stack& o) {
        w = o.w;
        h = o.h;
        planes = o.planes;
        relink();
        return *this;
    }
    void relink() {
        ptrs.clear();
        for (auto& p : planes) ptrs.push_back(p.data());
    }
    unsigned char** data() { return ptrs.data(); }
    std::size_t n() const { return std::size_t(w) * h; }
    // Same stack mirrored left-right.
    Stack mirrored() const {
        Stack m(int(planes.size()), w, h);
        for (std::size_t k = 0; k < planes.size(); ++k)
            for (int r = 0; r < h; ++r)
                for (int c = 0; c < w; ++c) m.planes[k][std::size_t(r) * w + c] = planes[k][std::size_t(r) * w + (w - 1 - c)];
        return m;
    }
};

// Decoder outputs for an ROI.
struct Outputs {
    std::unique_ptr<bool[]> valid;
    std::vector<float> mod, avg, phase;
    explicit Outputs(std::size_t n) : valid(new bool[n]()), mod(n, -1.0f), avg(n, -1.0f), phase(n, -1.0f) {}
};

inline unsigned char grey(double v) {
    long r = std::lround(v);
    return static_cast<unsigned char>(r < 0 ? 0 : (r > 255 ? 255 : r));
}

// Projector model: fringe of shift delta shows A + B cos(Phi - delta); Gray stripes are 200 (bit 1)
// or 40 (bit 0). The 7-bit code counts half periods: H = floor(Phi / pi), its Gray code H ^ (H >> 1)
// with the most significant bit first in plane 0, so that the six leading bits number the periods
// and the seventh is shifted by half a period.
constexpr double kPi = 3.14159265358979323846;
constexpr unsigned char kBright = 200, kDark = 40;

inline int halfPeriods(double phi) { return static_cast<int>(std::floor(phi / kPi)); }

// Eleven planes (Gray 0..6, fringes 7..10 with shifts pi/2, pi, 3pi/2, 2pi) of one pixel.
inline void elevenPlanePixel(Stack& s, std::size_t i, double phi, double A, double B) {
    const int H = halfPeriods(phi);
    const int G = H ^ (H >> 1);
    for (int k = 0; k < 7; ++k) s.planes[k][i] = ((G >> (6 - k)) & 1) ? kBright : kDark;
    for (int j = 0; j < 4; ++j) s.planes[7 + j][i] = grey(A + B * std::cos(phi - (j + 1) * kPi / 2));
}

// Paired set, 18 planes. Bit planes 2k (k = 0..6) with their inverses in 2k + 1; the decoder reads
// B0 = !(p0 ^ b), Bk = B(k-1) ^ pk ^ b, with b the bit of plane 12, so for period number W1 the
// planes carry p0 = !bit5(W1) ^ b and pk = grayBit(5 - k)(W1) ^ b. b makes the shifted number
// W2 = W1 + b (W1 even) or W1 + 1 - b (W1 odd) equal to W1 in the first half of a period and W1 + 1
// in the second.
inline void setPairedCode(Stack& s, std::size_t i, int W1, int b) {
    const int G = W1 ^ (W1 >> 1);
    for (int k = 0; k < 6; ++k) {
        int bit = (k == 0) ? !((W1 >> 5) & 1) : ((G >> (5 - k)) & 1);
        bit ^= b;
        s.planes[2 * k][i] = bit ? kBright : kDark;
        s.planes[2 * k + 1][i] = bit ? kDark : kBright;
    }
    s.planes[12][i] = b ? kBright : kDark;
    s.planes[13][i] = b ? kDark : kBright;
}

// Fringe planes 14..17 carry shifts 3pi/2, pi, pi/2, 0.
inline void setPairedFringes(Stack& s, std::size_t i, double phi, double A, double B) {
    const double shift[4] = {1.5 * kPi, kPi, 0.5 * kPi, 0.0};
    for (int k = 0; k < 4; ++k) s.planes[14 + k][i] = grey(A + B * std::cos(phi - shift[k]));
}

inline void eighteenPlanePixel(Stack& s, std::size_t i, double phi, double A, double B) {
    const int W1 = static_cast<int>(std::floor(phi / (2 * kPi)));
    const int W2 = static_cast<int>(std::floor(phi / (2 * kPi) + 0.5));
    const int b = (W1 % 2 == 0) ? W2 - W1 : 1 - (W2 - W1);
    setPairedCode(s, i, W1, b);
    setPairedFringes(s, i, phi, A, B);
}

}  // namespace fringetest

#endif
