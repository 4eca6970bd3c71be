// The exported handle: construction, destruction and the frame members. Every member forwards to
// the engine; the trivial accessors work on its fields directly.
#include "AlgoEngine.h"
#include "frame.h"

namespace XELORAALGO {

XeloraAlgo::XeloraAlgo() : engine_(std::make_unique<AlgoEngine>()) {}

XeloraAlgo::~XeloraAlgo() = default;

void XeloraAlgo::GetSdkVersionString(std::string& version) { version = "V0.00.02"; }

int XeloraAlgo::GetROIInfoWidth() { return engine_->roi.width; }
int XeloraAlgo::GetROIInfoHeight() { return engine_->roi.height; }
int XeloraAlgo::GetROIInfoOffsetX() { return engine_->roi.offsetX; }
int XeloraAlgo::GetROIInfoOffsetY() { return engine_->roi.offsetY; }

void XeloraAlgo::SetROIInfo(tagXeloraAlgoROIInfo* info) { engine_->roi = *info; }

void XeloraAlgo::SetDownsamplingInfo(const int& step, const float& offset) {
    engine_->downsampleStep = step;
    engine_->downsampleOffset = offset;
}

void XeloraAlgo::GetData(double& a, double& b, double& c, double& d, double& e, double& f) {
    a = engine_->cx1;
    b = engine_->pixelPitch;
    c = engine_->cx2;
    d = engine_->cy1;
    e = engine_->focal1Mm;
    f = engine_->focal2Mm;
}

void XeloraAlgo::DeleteMemory1() { releaseMatchTables(*engine_); }
void XeloraAlgo::DeleteMemory2() { releaseGeometryTables(*engine_); }

void XeloraAlgo::SetCalibrationInfo(tagXeloraAlgoCalibrationInfo* info) { engine_->calib = *info; }
// The builders check first, then mark their tables as built for the ROI and downsampling in force
// (unmarked while they are rebuilt, so a build that throws leaves no stale mark).
void XeloraAlgo::CalKR() {
    AlgoEngine& e = *engine_;
    frame::requireSensorPositionsFit(e, "CalKR");
    e.geometryBuiltFor = SetupStamp{};
    frame::CalKR(e);
    e.geometryBuiltFor = e.currentSetup();
}
void XeloraAlgo::CalRectifyMap1(const bool& firstCamera) {
    AlgoEngine& e = *engine_;
    frame::requireBuilt(e, e.geometryBuiltFor, "CalRectifyMap1", "CalKR");
    frame::requireSensorPositionsFit(e, "CalRectifyMap1");
    SetupStamp& stamp = e.rectMapBuiltFor[firstCamera ? 0 : 1];
    stamp = SetupStamp{};
    frame::CalRectifyMap1(e, firstCamera);
    stamp = e.currentSetup();
}
void XeloraAlgo::CalRectifyMap2(const bool& firstCamera) {
    AlgoEngine& e = *engine_;
    frame::requireSensorPositionsFit(e, "CalRectifyMap2");
    SetupStamp& stamp = e.undistMapBuiltFor[firstCamera ? 0 : 1];
    stamp = SetupStamp{};
    frame::CalRectifyMap2(e, firstCamera);
    stamp = e.currentSetup();
}

}  // namespace XELORAALGO
