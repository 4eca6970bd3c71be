// Point clouds: SORfilter, sorFilter, CloudSmooth, Gaussianfilter_PMR, Downsample, GetDepth,
// RGB2Cloud and GetRGBpoint. Clouds are (N, 3) float64; organised point maps hold h*w points.
#include <tuple>
#include <utility>
#include <vector>

#include "Binding.h"

namespace xpy {
namespace {

using XELORAALGO::Point3dList;

using CloudFn = void (XELORAALGO::XeloraAlgo::*)(Point3dList&, const int&);

// A member that changes a cloud in place: the result is a copy of the input (or out) afterwards.
template <class F>
py::array_t<double> inPlace(Handle& h, const char* name, const py::object& cloud, const py::object& out, F&& call,
                            py::ssize_t points = -1) {
    auto in = need<double>(name, "cloud", cloud, Shape{points, 3});
    auto res = output<double>(name, "cloud", out, Shape{in.shape(0), 3}, &in);
    Point3dList list = toList3(res);
    h.runAny([&] { call(list); });
    copyList(list, res);
    return res;
}

}  // namespace

void bindCloud(HandleClass& c) {
    c.def(
        "SORfilter",
        [](Handle& h, const py::object& cloud, int k, float multiplier, const py::object& out) {
            if (k < 1) valueError("SORfilter", "k", "at least 1", std::to_string(k));
            return inPlace(h, "SORfilter", cloud, out, [&](Point3dList& l) { h.algo.SORfilter(l, k, multiplier); });
        },
        py::arg("cloud"), py::arg("k"), py::arg("multiplier"), py::kw_only(), py::arg("out") = py::none(),
        "Statistical outlier removal over the k nearest neighbours (valid: z > 0); removed points become "
        "(0, 0, 0). k above the number of valid points (with at least 10) raises ValueError.");
    c.def(
        "sorFilter",
        [](Handle& h, const py::object& cloud, int k, double unused, const py::object& out) {
            return inPlace(h, "sorFilter", cloud, out, [&](Point3dList& l) { h.algo.sorFilter(l, k, unused); });
        },
        py::arg("cloud"), py::arg("k"), py::arg("unused") = 0.0, py::kw_only(), py::arg("out") = py::none(),
        "Outlier removal over windows of 21 consecutive valid points (valid: z > 200).");
    c.def(
        "CloudSmooth",
        [](Handle& h, const py::object& map, int r, float radius, const py::object& out) {
            const RoiSize roi = h.roi("CloudSmooth");
            auto in =
                need<double>("CloudSmooth", "map", map, Shape{static_cast<py::ssize_t>(roi.width) * roi.height, 3});
            auto res = output<double>("CloudSmooth", "map", out, Shape{in.shape(0), 3}, &in);
            Point3dList list = toList3(res);
            h.run("CloudSmooth", roi, [&] { h.algo.CloudSmooth(list, r, radius); });
            copyList(list, res);
            return res;
        },
        py::arg("map"), py::arg("r"), py::arg("radius"), py::kw_only(), py::arg("out") = py::none(),
        "Depth smoothing of an organised point map (h*w, 3) float64 within a (2r+1)^2 window and a 3-D radius.");
    c.def(
        "Gaussianfilter_PMR",
        [](Handle& h, const py::object& cloud, int r, const py::object& out) {
            return inPlace(h, "Gaussianfilter_PMR", cloud, out,
                           [&](Point3dList& l) { h.algo.Gaussianfilter_PMR(l, r); });
        },
        py::arg("cloud"), py::arg("r"), py::kw_only(), py::arg("out") = py::none(),
        "Gaussian depth smoothing (2r + 1 taps) along the sequence of valid points (x != 0).");
    c.def(
        "Downsample",
        [](Handle& h, const py::object& input, float binWidth) {
            const RoiSize r = h.roi("Downsample");
            Point3dList in = toList3(need<double>("Downsample", "input", input, Shape{-1, 3}));
            Point3dList out;
            int count = 0;
            h.run("Downsample", r, [&] { h.algo.Downsample(in, out, binWidth, count); });
            return py::make_tuple(newList(out), count);
        },
        py::arg("input"), py::arg("binWidth"),
        "Thins a profile (its first h entries) by averaging bins of binWidth along x; returns (output (M, 3), "
        "count).");
    c.def(
        "GetDepth",
        [](Handle& h, const py::list& profiles) {
            h.requireCalibration("GetDepth");
            const RoiSize r = h.roi("GetDepth");
            std::vector<Point3dList> in;
            for (std::size_t i = 0; i < profiles.size(); ++i) {
                const std::string arg = "profiles[" + std::to_string(i) + "]";
                in.push_back(toList3(need<double>("GetDepth", arg.c_str(), profiles[i], Shape{-1, 3})));
            }
            Point3dList map;
            h.run("GetDepth", r, [&] { h.algo.GetDepth(in, map); });
            return newList(map);
        },
        py::arg("profiles"),
        "Projects a list of profiles ((N, 3) float64 each) into camera 1: an organised (h*w, 3) point map. "
        "Needs the calibration.");
    c.def(
        "RGB2Cloud",
        [](Handle& h, const py::object& pixels, const py::object& cloud, double maxDistance) {
            h.requireCalibration("RGB2Cloud");
            auto px = need<std::int32_t>("RGB2Cloud", "pixels", pixels, Shape{-1, 2});
            std::vector<std::array<int, 2>> p(static_cast<std::size_t>(px.shape(0)));
            for (std::size_t i = 0; i < p.size(); ++i) p[i] = {px.data()[2 * i], px.data()[2 * i + 1]};
            Point3dList cl = toList3(need<double>("RGB2Cloud", "cloud", cloud, Shape{-1, 3}));
            Point3dList matched;
            h.runAny([&] { h.algo.RGB2Cloud(p, cl, maxDistance, matched); });
            return newList(matched);
        },
        py::arg("pixels"), py::arg("cloud"), py::arg("maxDistance"),
        "For each colour-image pixel ((M, 2) int32 column, row) the cloud point projecting nearest to it within "
        "maxDistance pixels, else (0, 0, 0): (M, 3) float64. Needs the calibration.");
    c.def(
        "GetRGBpoint",
        [](Handle& h, const py::object& image, const py::object& cloud) {
            h.requireCalibration("GetRGBpoint");
            auto img = need<std::uint8_t>("GetRGBpoint", "image", image, Shape{-1, -1, 3});
            const std::tuple<std::vector<unsigned char>, int, int> t(
                std::vector<unsigned char>(img.data(), img.data() + img.size()), static_cast<int>(img.shape(1)),
                static_cast<int>(img.shape(0)));
            Point3dList cl = toList3(need<double>("GetRGBpoint", "cloud", cloud, Shape{-1, 3}));
            std::vector<std::pair<std::array<double, 6>, bool>> coloured;
            h.runAny([&] { h.algo.GetRGBpoint(t, cl, coloured); });
            py::array_t<double> pts(Shape{static_cast<py::ssize_t>(coloured.size()), 6});
            py::array_t<bool> ok(Shape{static_cast<py::ssize_t>(coloured.size())});
            for (std::size_t i = 0; i < coloured.size(); ++i) {
                std::copy(coloured[i].first.begin(), coloured[i].first.end(), pts.mutable_data() + 6 * i);
                ok.mutable_data()[i] = coloured[i].second;
            }
            return py::make_tuple(pts, ok);
        },
        py::arg("image"), py::arg("cloud"),
        "Colours every point with the bytes of the colour-image pixel ((H, W, 3) uint8) it projects to: "
        "returns ((N, 6) float64 (x, y, z, b0, b1, b2), (N,) bool coloured). Needs the calibration.");
}

}  // namespace xpy
