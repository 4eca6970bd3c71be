// A program outside the library's tree: uses only the installed header and library.
#include <cstdio>
#include <cstring>
#include <string>

#include <XeloraAlgo.h>

int main() {
    XELORAALGO::XeloraAlgo algo;
    std::string version;
    algo.GetSdkVersionString(version);
    XELORAALGO::tagXeloraAlgoROIInfo roi{0, 0, 64, 48};
    algo.SetROIInfo(&roi);
    XELORAALGO::tagXeloraAlgoCalibrationInfo calib;
    std::memset(&calib, 0, sizeof calib);
    calib.K1[0] = calib.K1[4] = calib.K2[0] = calib.K2[4] = 2500;
    calib.K1[2] = calib.K2[2] = 32;
    calib.K1[5] = calib.K2[5] = 24;
    calib.R[0] = calib.R[4] = calib.R[8] = 1;
    calib.T[0] = -150; calib.T[2] = 1;
    calib.Tinv[0] = 150; calib.Tinv[2] = -1;
    algo.SetCalibrationInfo(&calib);
    algo.CalKR();
    algo.CalRectifyMap1(true);
    double cx1, pitch, cx2, cy1, f1, f2;
    algo.GetData(cx1, pitch, cx2, cy1, f1, f2);
    std::printf("%s %d %.4f\n", version.c_str(), algo.GetROIInfoWidth(), f1);
    return (version == "V0.00.02" && algo.GetROIInfoWidth() == 64 && f1 > 11.99 && f1 < 12.01) ? 0 : 1;
}
