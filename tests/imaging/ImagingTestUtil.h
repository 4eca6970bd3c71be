// Helpers of the imaging tests.
#ifndef XELORAALGO_TESTS_IMAGING_IMAGINGTESTUTIL_H
#define XELORAALGO_TESTS_IMAGING_IMAGINGTESTUTIL_H

#include <cstring>
#include <vector>

#include "XeloraAlgo.h"
#include "frame/AlgoEngine.h"

namespace imagingtest {

inline void setRoi(XELORAALGO::AlgoEngine& e, int w, int h) {
    e.roi = XELORAALGO::tagXeloraAlgoROIInfo{0, 0, w, h};
}

inline void setRoi(XELORAALGO::XeloraAlgo& algo, int w, int h) {
    XELORAALGO::tagXeloraAlgoROIInfo r{0, 0, w, h};
    algo.SetROIInfo(&r);
}

// Colour camera with the given intrinsics, identity pose and no distortion.
inline void setColourCamera(XELORAALGO::AlgoEngine& e, double fx, double fy, double cx, double cy) {
    auto& c = e.calib;
    std::memset(c.K3, 0, sizeof c.K3);
    std::memset(c.D3, 0, sizeof c.D3);
    std::memset(c.R3, 0, sizeof c.R3);
    std::memset(c.T3, 0, sizeof c.T3);
    c.K3[0] = fx;
    c.K3[2] = cx;
    c.K3[4] = fy;
    c.K3[5] = cy;
    c.K3[8] = 1.0;
    c.R3[0] = c.R3[4] = c.R3[8] = 1.0;
}

// Pointers to the planes of a stack held as vectors.
inline std::vector<unsigned char*> pointers(std::vector<std::vector<unsigned char>>& planes) {
    std::vector<unsigned char*> p;
    for (auto& v : planes) p.push_back(v.data());
    return p;
}

}  // namespace imagingtest

#endif
