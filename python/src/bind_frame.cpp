// Handle, ROI, calibration and rectification maps: the set-up members of xelora.XeloraAlgo.
#include <cmath>

#include "Binding.h"

namespace xpy {
namespace {

using XELORAALGO::tagXeloraAlgoCalibrationInfo;
using XELORAALGO::tagXeloraAlgoROIInfo;

template <class Record>
Record recordArg(const char* member, const char* arg, const py::object& obj, const char* className) {
    if (py::isinstance<Record>(obj)) return obj.cast<Record>();
    if (py::isinstance<py::dict>(obj)) {
        py::object cls = py::module_::import("xelora._xelora").attr(className);
        return cls(obj).template cast<Record>();
    }
    valueError(member, arg, std::string("a xelora.") + className + " or a dict of its fields",
               "an object of type " + py::str(py::type::of(obj).attr("__name__")).cast<std::string>());
}

}  // namespace

void bindFrame(HandleClass& c) {
    c.def(
        "GetSdkVersionString",
        [](Handle& h) {
            std::string v;
            h.algo.GetSdkVersionString(v);
            return v;
        },
        "The library's version text.");
    c.def(
        "GetROIInfoWidth", [](Handle& h) { return h.algo.GetROIInfoWidth(); }, "Width of the ROI in force.");
    c.def(
        "GetROIInfoHeight", [](Handle& h) { return h.algo.GetROIInfoHeight(); }, "Height of the ROI in force.");
    c.def(
        "GetROIInfoOffsetX", [](Handle& h) { return h.algo.GetROIInfoOffsetX(); }, "Sensor column of the ROI.");
    c.def(
        "GetROIInfoOffsetY", [](Handle& h) { return h.algo.GetROIInfoOffsetY(); }, "Sensor row of the ROI.");
    c.def(
        "SetROIInfo",
        [](Handle& h, const py::object& info) {
            tagXeloraAlgoROIInfo r = recordArg<tagXeloraAlgoROIInfo>("SetROIInfo", "info", info, "ROI");
            if (r.width < 1 || r.height < 1 || r.width > 65536 || r.height > 65536 ||
                static_cast<long long>(r.width) * r.height > (1LL << 28))
                valueError("SetROIInfo", "info", "an ROI of width and height 1 ... 65536 and at most 2^28 pixels",
                           "width " + std::to_string(r.width) + ", height " + std::to_string(r.height));
            if (r.offsetX < 0 || r.offsetY < 0)
                valueError("SetROIInfo", "info", "non-negative offsets",
                           "offsetX " + std::to_string(r.offsetX) + ", offsetY " + std::to_string(r.offsetY));
            h.runAny([&] {
                h.algo.SetROIInfo(&r);
                h.setRoi(r);
            });
        },
        py::arg("info"),
        "Sets the ROI (a xelora.ROI or a dict). Tables built for another ROI size must be built again.");
    c.def(
        "SetDownsamplingInfo",
        [](Handle& h, int step, float offset) {
            if (step < 1) valueError("SetDownsamplingInfo", "step", "at least 1", std::to_string(step));
            if (!std::isfinite(offset))
                valueError("SetDownsamplingInfo", "offset", "a finite number", std::to_string(offset));
            h.runAny([&] { h.algo.SetDownsamplingInfo(step, offset); });
        },
        py::arg("step"), py::arg("offset"),
        "Sensor pixels per ROI pixel and the sub-pixel offset; call before CalKR and the map builders.");
    c.def(
        "GetData",
        [](Handle& h) {
            double a = 0, b = 0, cc = 0, d = 0, e = 0, f = 0;
            h.runAny([&] { h.algo.GetData(a, b, cc, d, e, f); });
            return py::make_tuple(a, b, cc, d, e, f);
        },
        "(cx1, pixel pitch, cx2, cy1, focal length 1 in mm, focal length 2 in mm) of the last CalKR.");
    c.def(
        "DeleteMemory1",
        [](Handle& h) {
            h.runAny([&] {
                h.algo.DeleteMemory1();
                h.released(Handle::Match);
                h.released(Handle::Subpixel);
            });
        },
        "Releases the match tables of MatchI and MatchII.");
    c.def(
        "DeleteMemory2",
        [](Handle& h) {
            h.runAny([&] {
                h.algo.DeleteMemory2();
                for (auto t : {Handle::KR, Handle::RectMap1, Handle::RectMap2, Handle::UndistMap1, Handle::UndistMap2})
                    h.released(t);
            });
        },
        "Releases the geometry tables of CalKR and every rectification and undistortion map.");
    c.def(
        "SetCalibrationInfo",
        [](Handle& h, const py::object& info) {
            tagXeloraAlgoCalibrationInfo r =
                recordArg<tagXeloraAlgoCalibrationInfo>("SetCalibrationInfo", "info", info, "Calibration");
            h.runAny([&] {
                h.algo.SetCalibrationInfo(&r);
                h.setCalibrationDone();
            });
        },
        py::arg("info"), "Copies the calibration (a xelora.Calibration or a dict of its fields); call CalKR next.");
    c.def(
        "CalKR",
        [](Handle& h) {
            h.requireCalibration("CalKR");
            h.run("CalKR", h.roi("CalKR"), [&] {
                h.algo.CalKR();
                h.built(Handle::KR);
            });
        },
        "Derives the stereo geometry and the epipolar-line tables; needs SetROIInfo and SetCalibrationInfo.");
    c.def(
        "CalRectifyMap1",
        [](Handle& h, bool firstCamera) {
            h.require("CalRectifyMap1", Handle::KR);
            h.run("CalRectifyMap1", h.roi("CalRectifyMap1"), [&] {
                // Again under the lock: the library reads the angle tables of CalKR unchecked, and
                // another thread may have released them (DeleteMemory2) since the check above.
                h.require("CalRectifyMap1", Handle::KR);
                h.algo.CalRectifyMap1(firstCamera);
                h.built(firstCamera ? Handle::RectMap1 : Handle::RectMap2);
            });
        },
        py::arg("firstCamera"), "Builds the rectification map of camera 1 (True) or camera 2 (False); needs CalKR.");
    c.def(
        "CalRectifyMap2",
        [](Handle& h, bool firstCamera) {
            h.requireCalibration("CalRectifyMap2");
            h.run("CalRectifyMap2", h.roi("CalRectifyMap2"), [&] {
                h.algo.CalRectifyMap2(firstCamera);
                h.built(firstCamera ? Handle::UndistMap1 : Handle::UndistMap2);
            });
        },
        py::arg("firstCamera"),
        "Builds the undistortion map of camera 1 (True) or camera 2 (False); needs the ROI and the calibration.");
}

}  // namespace xpy
