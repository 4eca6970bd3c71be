// The caller's records as Python classes: xelora.ROI (four ints) and xelora.Calibration (17 named
// matrices and vectors, numpy views onto the record's 111 doubles), built from keyword arguments,
// from a dict, or from the calibration JSON that xelora-scan reads.
#include <cstddef>
#include <cstring>

#include "Binding.h"
#include "ScanIO.h"

namespace xpy {
namespace {

using XELORAALGO::tagXeloraAlgoCalibrationInfo;
using XELORAALGO::tagXeloraAlgoROIInfo;

struct Field {
    const char* name;
    std::size_t offset;  // in doubles
    int rows, cols;      // cols 0: a vector of `rows` entries
    const char* doc;
};

#define XPY_FIELD(n, r, c, d) \
    { #n, offsetof(tagXeloraAlgoCalibrationInfo, n) / sizeof(double), r, c, d }
const Field kFields[] = {
    XPY_FIELD(K1, 3, 3, "camera matrix of camera 1 (fx, cx, fy, cy in sensor pixels)"),
    XPY_FIELD(K2, 3, 3, "camera matrix of camera 2"),
    XPY_FIELD(D1, 5, 0, "distortion of camera 1: k1, k2, p1, p2, k3"),
    XPY_FIELD(D2, 5, 0, "distortion of camera 2"),
    XPY_FIELD(R, 3, 3, "rotation of camera 2 relative to camera 1 (X2 = R X1 + T)"),
    XPY_FIELD(T, 3, 0, "translation of camera 2 relative to camera 1 (mm)"),
    XPY_FIELD(auxMatrixA, 3, 3, "carried, not read"),
    XPY_FIELD(Tinv, 3, 0, "camera 2's centre in camera-1 coordinates"),
    XPY_FIELD(auxMatrixB, 3, 3, "carried, not read"),
    XPY_FIELD(K3, 3, 3, "camera matrix of the colour camera"),
    XPY_FIELD(D3, 5, 0, "distortion of the colour camera"),
    XPY_FIELD(R3, 3, 3, "rotation into colour-camera coordinates"),
    XPY_FIELD(T3, 3, 0, "translation into colour-camera coordinates"),
    XPY_FIELD(RLine, 3, 3, "rotation used by the laser-profile triangulation"),
    XPY_FIELD(TLine, 3, 0, "translation used by the laser-profile triangulation"),
    XPY_FIELD(auxVector, 3, 0, "carried, not read"),
    XPY_FIELD(F, 3, 3, "fundamental matrix of the laser-profile cameras (q^T F p = 0)"),
};
#undef XPY_FIELD

// Keys of the calibration JSON that are not fields of the record.
const char* const kJsonMeta[] = {"format", "version", "image_width", "image_height", "roi_offset_x", "roi_offset_y"};

const Field* findField(const std::string& name) {
    for (const Field& f : kFields)
        if (name == f.name) return &f;
    return nullptr;
}

std::size_t fieldSize(const Field& f) { return static_cast<std::size_t>(f.rows) * (f.cols ? f.cols : 1); }

double* fieldPtr(tagXeloraAlgoCalibrationInfo& c, const Field& f) { return reinterpret_cast<double*>(&c) + f.offset; }

void setField(const char* member, tagXeloraAlgoCalibrationInfo& c, const Field& f, const py::handle& value) {
    py::array_t<double, py::array::c_style | py::array::forcecast> a;
    try {
        a = py::array_t<double, py::array::c_style | py::array::forcecast>::ensure(value);
    } catch (const py::error_already_set&) {
    }
    if (!a || static_cast<std::size_t>(a.size()) != fieldSize(f) ||
        (f.cols && !(a.ndim() == 1 || (a.ndim() == 2 && a.shape(0) == f.rows))))
        valueError(member, f.name,
                   std::to_string(fieldSize(f)) + " numbers" +
                       (f.cols ? " (shape (" + std::to_string(f.rows) + ", " + std::to_string(f.cols) + ") or (" +
                                     std::to_string(fieldSize(f)) + ",))"
                               : std::string()),
                   a ? describe(a) : py::repr(value).cast<std::string>());
    std::memcpy(fieldPtr(c, f), a.data(), fieldSize(f) * sizeof(double));
}

void fillFromMapping(const char* member, tagXeloraAlgoCalibrationInfo& c, const py::dict& d, bool allowMeta) {
    for (auto item : d) {
        const std::string key = py::str(item.first).cast<std::string>();
        if (const Field* f = findField(key)) {
            setField(member, c, *f, item.second);
            continue;
        }
        bool meta = false;
        for (const char* k : kJsonMeta) meta = meta || (allowMeta && key == k);
        if (!meta)
            valueError(member, key,
                       "one of the record's fields (K1, K2, D1, D2, R, T, auxMatrixA, Tinv, auxMatrixB, "
                       "K3, D3, R3, T3, RLine, TLine, auxVector, F)",
                       "an unknown name");
    }
}

py::array fieldView(tagXeloraAlgoCalibrationInfo& c, const Field& f, py::handle owner) {
    Shape shape = f.cols ? Shape{f.rows, f.cols} : Shape{f.rows};
    return py::array_t<double>(shape, fieldPtr(c, f), owner);
}

tagXeloraAlgoROIInfo roiFromDict(const char* member, const py::dict& d) {
    tagXeloraAlgoROIInfo r{};
    for (auto item : d) {
        const std::string key = py::str(item.first).cast<std::string>();
        std::int32_t* slot = key == "offsetX"   ? &r.offsetX
                             : key == "offsetY" ? &r.offsetY
                             : key == "width"   ? &r.width
                             : key == "height"  ? &r.height
                                                : nullptr;
        if (!slot) valueError(member, key, "one of offsetX, offsetY, width, height", "an unknown name");
        try {
            *slot = item.second.cast<std::int32_t>();
        } catch (const py::cast_error&) {
            valueError(member, key, "an int in the 32-bit range", py::repr(item.second).cast<std::string>());
        }
    }
    return r;
}

py::tuple readJson(const std::string& path) {
    xscan::Calibration c;
    try {
        c = xscan::readCalibrationJson(path);
    } catch (const xscan::InputError& e) {
        throw py::value_error(std::string("read_calibration_json: ") + e.what());
    }
    return py::make_tuple(c.record, tagXeloraAlgoROIInfo{c.offsetX, c.offsetY, c.width, c.height});
}

}  // namespace

void bindRecords(py::module_& m) {
    py::class_<tagXeloraAlgoROIInfo>(m, "ROI",
                                     "Region of interest on the sensor, in sensor pixels: offsetX, offsetY (the "
                                     "sensor position of the ROI's top-left pixel), width and height (the size "
                                     "of every per-pixel map).")
        .def(py::init([](std::int32_t width, std::int32_t height, std::int32_t offsetX, std::int32_t offsetY) {
                 return tagXeloraAlgoROIInfo{offsetX, offsetY, width, height};
             }),
             py::arg("width") = 0, py::arg("height") = 0, py::arg("offsetX") = 0, py::arg("offsetY") = 0,
             "ROI(width, height, offsetX=0, offsetY=0).")
        .def(py::init([](const py::dict& d) { return roiFromDict("ROI", d); }), py::arg("fields"),
             "ROI from a dict with the keys offsetX, offsetY, width, height (missing keys are 0).")
        .def_readwrite("offsetX", &tagXeloraAlgoROIInfo::offsetX, "sensor column of the ROI's left edge")
        .def_readwrite("offsetY", &tagXeloraAlgoROIInfo::offsetY, "sensor row of the ROI's top edge")
        .def_readwrite("width", &tagXeloraAlgoROIInfo::width, "columns of every per-pixel map")
        .def_readwrite("height", &tagXeloraAlgoROIInfo::height, "rows of every per-pixel map")
        .def(
            "to_dict",
            [](const tagXeloraAlgoROIInfo& r) {
                py::dict d;
                d["offsetX"] = r.offsetX;
                d["offsetY"] = r.offsetY;
                d["width"] = r.width;
                d["height"] = r.height;
                return d;
            },
            "The four fields as a dict.")
        .def("__eq__",
             [](const tagXeloraAlgoROIInfo& a, const tagXeloraAlgoROIInfo& b) {
                 return a.offsetX == b.offsetX && a.offsetY == b.offsetY && a.width == b.width && a.height == b.height;
             })
        .def("__repr__", [](const tagXeloraAlgoROIInfo& r) {
            return "ROI(width=" + std::to_string(r.width) + ", height=" + std::to_string(r.height) +
                   ", offsetX=" + std::to_string(r.offsetX) + ", offsetY=" + std::to_string(r.offsetY) + ")";
        });

    auto cal = py::class_<tagXeloraAlgoCalibrationInfo>(
        m, "Calibration",
        "Calibration of the sensor head: 111 doubles in 17 named fields. Each field reads as a numpy view "
        "onto the record (3 x 3 matrices, vectors of 3 or 5), so assigning into it changes the record.");
    cal.def(py::init([](const py::kwargs& kw) {
                tagXeloraAlgoCalibrationInfo c{};
                fillFromMapping("Calibration", c, kw, false);
                return c;
            }),
            "Calibration(**fields): every field given by name (a sequence or array of its 9, 5 or 3 numbers; "
            "matrices also as 3 x 3); fields not given are zero.")
        .def(py::init([](const py::dict& d) {
                 tagXeloraAlgoCalibrationInfo c{};
                 fillFromMapping("Calibration", c, d, true);
                 return c;
             }),
             py::arg("fields"),
             "Calibration from a dict of fields, such as json.load() of a calibration file (its format, version, "
             "image size and ROI offset keys are ignored).")
        .def_static(
            "from_json", [](const std::string& path) { return py::object(readJson(path)[0]); }, py::arg("path"),
            "Reads the calibration JSON file of xelora-scan (ValueError naming the file on any problem).")
        .def(
            "to_dict",
            [](tagXeloraAlgoCalibrationInfo& c) {
                py::dict d;
                for (const Field& f : kFields)
                    d[f.name] = py::array_t<double>(f.cols ? Shape{f.rows, f.cols} : Shape{f.rows}, fieldPtr(c, f));
                return d;
            },
            "The 17 fields as a dict of new arrays.")
        .def("__repr__", [](const tagXeloraAlgoCalibrationInfo& c) {
            return "Calibration(fx1=" + std::to_string(c.K1[0]) + ", fx2=" + std::to_string(c.K2[0]) + ", T=(" +
                   std::to_string(c.T[0]) + ", " + std::to_string(c.T[1]) + ", " + std::to_string(c.T[2]) + "))";
        });
    for (const Field& fld : kFields) {
        const Field* f = &fld;
        cal.def_property(
            f->name,
            [f](py::object self) {
                auto& c = self.cast<tagXeloraAlgoCalibrationInfo&>();
                return fieldView(c, *f, self);
            },
            [f](tagXeloraAlgoCalibrationInfo& c, const py::object& v) { setField("Calibration", c, *f, v); }, f->doc);
    }

    m.def("read_calibration_json", &readJson, py::arg("path"),
          "Reads a calibration JSON file of xelora-scan; returns (Calibration, ROI) with the image size and ROI "
          "offset of the file. ValueError naming the file on any problem.");
    m.def(
        "write_calibration_json",
        [](const std::string& path, const tagXeloraAlgoCalibrationInfo& c, const tagXeloraAlgoROIInfo& r) {
            xscan::Calibration cal;
            cal.record = c;
            cal.width = r.width;
            cal.height = r.height;
            cal.offsetX = r.offsetX;
            cal.offsetY = r.offsetY;
            try {
                xscan::writeCalibrationJson(path, cal);
            } catch (const xscan::InputError& e) {
                throw py::value_error(std::string("write_calibration_json: ") + e.what());
            }
        },
        py::arg("path"), py::arg("calibration"), py::arg("roi"),
        "Writes a calibration JSON file that xelora-scan and read_calibration_json read.");
}

}  // namespace xpy
