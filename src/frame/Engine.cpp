// Construction of the engine record (sine/cosine values, fringe lookup tables) and the release of
// its tables.
#include <cmath>

#include "AlgoEngine.h"
#include "numerics/numerics.h"

namespace XELORAALGO {

AlgoEngine::AlgoEngine() {
    for (int k = 1; k <= 4; ++k) {
        const double t = k * 1.5707963267949;
        phaseSin[k - 1] = num::sin(t);
        phaseCos[k - 1] = num::cos(t);
    }
    phaseAtanLut.resize(static_cast<std::size_t>(kLutSide) * kLutSide);
    modulationLut.resize(static_cast<std::size_t>(kLutSide) * kLutSide);
    std::size_t i = 0;
    for (int a = 255; a >= -255; --a) {
        for (int b = 255; b >= -255; --b, ++i) {
            phaseAtanLut[i] = static_cast<float>(num::atan2(static_cast<double>(b), static_cast<double>(a)));
            modulationLut[i] = static_cast<float>(std::sqrt(static_cast<double>(a * a + b * b))) * 0.5f;
        }
    }
}

void releaseMatchTables(AlgoEngine& e) {
    releaseTable(e.matchColumn);
    releaseTable(e.matchSide);
    releaseTable(e.subpixelColumn);
    e.matchBuiltFor = SetupStamp{};
    e.subpixelBuiltFor = SetupStamp{};
}

void releaseGeometryTables(AlgoEngine& e) {
    releaseTable(e.lineIndexMap);
    releaseTable(e.rectMapX1);
    releaseTable(e.rectMapY1);
    releaseTable(e.undistMapX1);
    releaseTable(e.undistMapY1);
    releaseTable(e.rectMapX2);
    releaseTable(e.rectMapY2);
    releaseTable(e.undistMapX2);
    releaseTable(e.undistMapY2);
    releaseTable(e.mappedLineSlope);
    releaseTable(e.epipoleLineSlope);
    releaseTable(e.mappedLineAngle);
    releaseTable(e.epipoleLineAngle);
    e.geometryBuiltFor = SetupStamp{};
    for (int k = 0; k < 2; ++k) e.rectMapBuiltFor[k] = e.undistMapBuiltFor[k] = SetupStamp{};
}

}  // namespace XELORAALGO
