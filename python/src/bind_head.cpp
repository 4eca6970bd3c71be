// High level: xelora.Head runs the structured-light and laser-line pipelines of xelora-scan
// (tools/scan/Pipeline) on numpy images and returns their results as numpy arrays.
//   scan:    cam1, cam2 (11 or 18, h, w) uint8, colour None or (h, w, 3) uint8 -> ScanResult
//   profile: laser1, laser2 (h, w) uint8 -> (N, 3) float64 profile points of the rows that have one
#include <cstring>
#include <memory>

#include "Binding.h"
#include "Pipeline.h"
#include "ScanIO.h"

namespace xpy {
namespace {

using XELORAALGO::tagXeloraAlgoCalibrationInfo;
using XELORAALGO::tagXeloraAlgoROIInfo;

struct Head {
    xscan::Calibration calib;
};

struct ScanResult {
    std::shared_ptr<const xscan::StructuredResult> r;
};

std::vector<xscan::Plane8> planes(const char* arg, const py::object& obj, int h, int w) {
    auto a = need<std::uint8_t>("Head.scan", arg, obj, Shape{-1, h, w});
    if (a.shape(0) != 11 && a.shape(0) != 18)
        valueError("Head.scan", arg,
                   "a stack of 11 or 18 planes of shape (" + std::to_string(h) + ", " + std::to_string(w) + ")",
                   describe(a));
    std::vector<xscan::Plane8> p(static_cast<std::size_t>(a.shape(0)));
    const std::size_t n = static_cast<std::size_t>(h) * w;
    for (std::size_t k = 0; k < p.size(); ++k) p[k].assign(a.data() + k * n, a.data() + (k + 1) * n);
    return p;
}

}  // namespace

void bindHead(py::module_& m) {
    py::class_<ScanResult>(m, "ScanResult",
                           "Result of Head.scan: the point map on camera 1's undistorted grid after the filter "
                           "chain, and the cloud that save_ply writes.")
        .def_property_readonly(
            "width", [](const ScanResult& s) { return s.r->width; }, "map width")
        .def_property_readonly(
            "height", [](const ScanResult& s) { return s.r->height; }, "map height")
        .def_property_readonly(
            "X",
            [](const ScanResult& s) {
                return arrayFrom<float>(s.r->X, Shape{s.r->height, s.r->width});
            },
            "X of every pixel, float32 (h, w), mm in camera 1's frame, 0 without a point")
        .def_property_readonly(
            "Y",
            [](const ScanResult& s) {
                return arrayFrom<float>(s.r->Y, Shape{s.r->height, s.r->width});
            },
            "Y of every pixel, float32 (h, w)")
        .def_property_readonly(
            "Z",
            [](const ScanResult& s) {
                return arrayFrom<float>(s.r->Z, Shape{s.r->height, s.r->width});
            },
            "depth Z of every pixel, float32 (h, w)")
        .def_property_readonly(
            "mask",
            [](const ScanResult& s) {
                return arrayFrom<bool>(s.r->valid, Shape{s.r->height, s.r->width});
            },
            "True where a pixel has a point, bool (h, w)")
        .def_property_readonly(
            "count", [](const ScanResult& s) { return s.r->count; }, "number of valid points")
        .def_property_readonly(
            "raw_Z",
            [](const ScanResult& s) {
                return arrayFrom<float>(s.r->rawZ, Shape{s.r->height, s.r->width});
            },
            "depth straight out of CalPoint, before the filter chain")
        .def_property_readonly(
            "raw_mask",
            [](const ScanResult& s) {
                return arrayFrom<bool>(s.r->rawValid, Shape{s.r->height, s.r->width});
            },
            "validity straight out of CalPoint")
        .def_property_readonly(
            "coloured", [](const ScanResult& s) { return s.r->coloured; },
            "True when the cloud carries the colour camera's colours (else grey)")
        .def(
            "points",
            [](const ScanResult& s) {
                const auto& r = *s.r;
                py::array_t<float> a(Shape{r.count, 3});
                float* p = a.mutable_data();
                for (std::size_t i = 0; i < r.valid.size(); ++i)
                    if (r.valid[i]) {
                        *p++ = r.X[i];
                        *p++ = r.Y[i];
                        *p++ = r.Z[i];
                    }
                return a;
            },
            "The valid pixels' points, (N, 3) float32, in row-major pixel order.")
        .def(
            "cloud",
            [](const ScanResult& s) {
                const auto& c = s.r->cloud;
                py::array_t<float> xyz(Shape{static_cast<py::ssize_t>(c.size()), 3});
                py::array_t<std::uint8_t> rgb(Shape{static_cast<py::ssize_t>(c.size()), 3});
                for (std::size_t i = 0; i < c.size(); ++i) {
                    float* q = xyz.mutable_data() + 3 * i;
                    std::uint8_t* k = rgb.mutable_data() + 3 * i;
                    q[0] = c[i].x, q[1] = c[i].y, q[2] = c[i].z;
                    k[0] = c[i].r, k[1] = c[i].g, k[2] = c[i].b;
                }
                return py::make_tuple(xyz, rgb);
            },
            "The cloud save_ply writes: ((N, 3) float32 points, (N, 3) uint8 colours).")
        .def_property_readonly(
            "timings",
            [](const ScanResult& s) {
                py::list l;
                for (const auto& t : s.r->timings) l.append(py::make_tuple(t.stage, t.ms));
                return l;
            },
            "(stage, milliseconds) of each pipeline stage")
        .def(
            "save_ply",
            [](const ScanResult& s, const std::string& path) {
                try {
                    xscan::writePly(path, s.r->cloud, true);
                } catch (const xscan::InputError& e) {
                    throw py::value_error(std::string("save_ply: ") + e.what());
                }
            },
            py::arg("path"), "Writes the cloud as binary little-endian PLY with colours, as xelora-scan does.");

    py::class_<Head>(m, "Head",
                     "A sensor head: its calibration and the ROI its images cover. scan() and profile() run the "
                     "structured-light and laser-line pipelines of xelora-scan with its default settings.")
        .def(py::init([](const tagXeloraAlgoCalibrationInfo& c, const tagXeloraAlgoROIInfo& roi) {
                 if (roi.width < 8 || roi.height < 8 || roi.width > 65536 || roi.height > 65536)
                     valueError("Head", "roi", "an ROI of 8 ... 65536 pixels each way",
                                std::to_string(roi.width) + " x " + std::to_string(roi.height));
                 Head h;
                 h.calib.record = c;
                 h.calib.width = roi.width;
                 h.calib.height = roi.height;
                 h.calib.offsetX = roi.offsetX;
                 h.calib.offsetY = roi.offsetY;
                 return h;
             }),
             py::arg("calibration"), py::arg("roi"), "Head(calibration, roi).")
        .def_property_readonly(
            "calibration", [](const Head& h) { return h.calib.record; }, "the calibration")
        .def_property_readonly(
            "roi",
            [](const Head& h) {
                return tagXeloraAlgoROIInfo{h.calib.offsetX, h.calib.offsetY, h.calib.width, h.calib.height};
            },
            "the ROI the images cover")
        .def(
            "scan",
            [](const Head& h, const py::object& cam1, const py::object& cam2, const py::object& colour, bool bilateral,
               int bilateralSpatialSigma, float bilateralRangeSigma, bool smoothing, float smoothSigma, bool filters,
               int outlierRadius, float outlierDistance, float gradientLimit, int fillMode, int fillSmallArea,
               int fillLargeArea, int minDepth, int maxDepth) {
                const int w = h.calib.width, hh = h.calib.height;
                auto p1 = planes("cam1_planes", cam1, hh, w);
                auto p2 = planes("cam2_planes", cam2, hh, w);
                if (p1.size() != p2.size())
                    valueError("Head.scan", "cam2_planes", std::to_string(p1.size()) + " planes like cam1_planes",
                               std::to_string(p2.size()) + " planes");
                std::vector<std::uint8_t> rgb;
                if (!colour.is_none()) {
                    auto c = need<std::uint8_t>("Head.scan", "colour", colour, Shape{hh, w, 3});
                    rgb.assign(c.data(), c.data() + c.size());
                }
                atMost("Head.scan", "bilateral_spatial_sigma", bilateralSpatialSigma, kMaxSpatialSigma);
                atMost("Head.scan", "smooth_sigma", smoothSigma, kMaxSigma);
                xscan::StructuredOptions o;
                o.bilateral = bilateral;
                o.bilateralSpatialSigma = bilateralSpatialSigma;
                o.bilateralRangeSigma = bilateralRangeSigma;
                o.smoothing = smoothing;
                o.smoothSigma = smoothSigma;
                o.filters = filters;
                o.outlierRadius = outlierRadius;
                o.outlierDistance = outlierDistance;
                o.gradientLimit = gradientLimit;
                o.fillMode = fillMode;
                o.fillSmallArea = fillSmallArea;
                o.fillLargeArea = fillLargeArea;
                o.minDepth = minDepth;
                o.maxDepth = maxDepth;
                std::shared_ptr<xscan::StructuredResult> r;
                {
                    py::gil_scoped_release nogil;
                    r = std::make_shared<xscan::StructuredResult>(xscan::runStructured(h.calib, p1, p2, rgb, o));
                }
                return ScanResult{r};
            },
            py::arg("cam1_planes"), py::arg("cam2_planes"), py::arg("colour") = py::none(), py::kw_only(),
            py::arg("bilateral") = true, py::arg("bilateral_spatial_sigma") = 2,
            py::arg("bilateral_range_sigma") = 0.4f, py::arg("smoothing") = false, py::arg("smooth_sigma") = 1.0f,
            py::arg("filters") = true, py::arg("outlier_radius") = 3, py::arg("outlier_distance") = 0.0f,
            py::arg("gradient_limit") = 0.0f, py::arg("fill_mode") = 1, py::arg("fill_small_area") = 30,
            py::arg("fill_large_area") = 300, py::arg("min_depth") = 100, py::arg("max_depth") = 2000,
            "Decodes both cameras' pattern stacks ((11 or 18, h, w) uint8), resamples, matches, triangulates and "
            "runs xelora-scan's filter chain (Outlierdetect, GradientFilter, FillingFunction); with a colour image "
            "((h, w, 3) uint8) the cloud is coloured by CalRGB. Distances of 0 are chosen from the pixel "
            "footprint. Returns a ScanResult.")
        .def(
            "profile",
            [](const Head& h, const py::object& laser1, const py::object& laser2) {
                const Shape s{h.calib.height, h.calib.width};
                auto a = need<std::uint8_t>("Head.profile", "laser1", laser1, s);
                auto b = need<std::uint8_t>("Head.profile", "laser2", laser2, s);
                const xscan::Plane8 i1(a.data(), a.data() + a.size()), i2(b.data(), b.data() + b.size());
                xscan::LaserResult r;
                {
                    py::gil_scoped_release nogil;
                    r = xscan::runLaser(h.calib, i1, i2);
                }
                py::array_t<double> out(Shape{r.matched, 3});
                double* p = out.mutable_data();
                for (std::size_t i = 0; i < r.valid.size(); ++i)
                    if (r.valid[i])
                        for (int k = 0; k < 3; ++k) *p++ = r.profile[i][static_cast<std::size_t>(k)];
                return out;
            },
            py::arg("laser1"), py::arg("laser2"),
            "Runs xelora-scan's laser-line pipeline (lineExtract5, UndistortPoints2, MatchLine, Calpoint) on the two "
            "cameras' (h, w) uint8 laser images; returns the profile points (N, 3) float64 (mm, camera 1's frame) "
            "of the rows that have one, top to bottom.");
}

}  // namespace xpy
