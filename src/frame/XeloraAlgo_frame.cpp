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
void XeloraAlgo::CalKR() { frame::CalKR(*engine_); }
void XeloraAlgo::CalRectifyMap1(const bool& firstCamera) { frame::CalRectifyMap1(*engine_, firstCamera); }
void XeloraAlgo::CalRectifyMap2(const bool& firstCamera) { frame::CalRectifyMap2(*engine_, firstCamera); }

}  // namespace XELORAALGO
