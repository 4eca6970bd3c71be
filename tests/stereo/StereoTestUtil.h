// Helpers of the stereo tests: bool maps and engines with a given ROI.
#ifndef XELORAALGO_TESTS_STEREO_STEREOTESTUTIL_H
#define XELORAALGO_TESTS_STEREO_STEREOTESTUTIL_H

#include <algorithm>
#include <cstddef>
#include <memory>

#include "frame/AlgoEngine.h"

namespace stereotest {

// A bool map (std::vector<bool> has no data()).
struct BoolMap {
    std::size_t n;
    std::unique_ptr<bool[]> v;
    explicit BoolMap(std::size_t count, bool value = false) : n(count), v(new bool[count]) { std::fill_n(v.get(), n, value); }
    bool* data() { return v.get(); }
    bool& operator[](std::size_t i) { return v[i]; }
    bool operator[](std::size_t i) const { return v[i]; }
    std::size_t countTrue() const { return static_cast<std::size_t>(std::count(v.get(), v.get() + n, true)); }
};

inline void setRoi(XELORAALGO::AlgoEngine& e, int w, int h, int ox = 0, int oy = 0) {
    e.roi.offsetX = ox;
    e.roi.offsetY = oy;
    e.roi.width = w;
    e.roi.height = h;
}

}  // namespace stereotest

#endif
