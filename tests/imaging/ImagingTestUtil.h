// Helpers of the imaging tests.
#ifndef XELORAALGO_TESTS_IMAGING_IMAGINGTESTUTIL_H
#define XELORAALGO_TESTS_IMAGING_IMAGINGTESTUTIL_H

#include <vector>

#include "XeloraAlgo.h"

namespace imagingtest {

inline void setRoi(XELORAALGO::XeloraAlgo& algo, int w, int h) {
    XELORAALGO::tagXeloraAlgoROIInfo r{0, 0, w, h};
    algo.SetROIInfo(&r);
}

// Pointers to the planes of a stack held as vectors.
inline std::vector<unsigned char*> pointers(std::vector<std::vector<unsigned char>>& planes) {
    std::vector<unsigned char*> p;
    for (auto& v : planes) p.push_back(v.data());
    return p;
}

}  // namespace imagingtest

#endif
