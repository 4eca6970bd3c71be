// Depth-map filters: MediaFilter, Outlierdetect, GradientFilter, Bilateralfilter, FillingFunction.
// Inputs are (h, w) float32 maps and bool masks; the filtered maps come back as new arrays (or in out=).
#include "Binding.h"

namespace xpy {

void bindDepthFilter(HandleClass& c) {
    c.def(
        "MediaFilter",
        [](Handle& h, const py::object& map, int order, const py::object& out) {
            const RoiSize r = h.roi("MediaFilter");
            auto in = need<float>("MediaFilter", "map", map, Shape{r.height, r.width});
            if (order < 0 || order > 8) valueError("MediaFilter", "order", "0 ... 8", std::to_string(order));
            auto res = output<float>("MediaFilter", "map", out, Shape{r.height, r.width}, &in);
            h.run("MediaFilter", r, [&] { h.algo.MediaFilter(res.mutable_data(), order); });
            return res;
        },
        py::arg("map"), py::arg("order"), py::kw_only(), py::arg("out") = py::none(),
        "3 x 3 order statistic of every nonzero interior pixel (order 0 maximum, 4 median, 8 minimum).");
    c.def(
        "Outlierdetect",
        [](Handle& h, const py::object& X, const py::object& Y, const py::object& Z, const py::object& mask, int radius,
           float distance, const py::object& out) {
            PointMap p = pointMap(h, "Outlierdetect", X, Y, Z, mask, out);
            h.run("Outlierdetect", p.r, [&] {
                h.algo.Outlierdetect(p.X.mutable_data(), p.Y.mutable_data(), p.Z.mutable_data(), boolPtr(p.mask),
                                     radius, distance);
            });
            return py::make_tuple(p.X, p.Y, p.Z, p.mask);
        },
        py::arg("X"), py::arg("Y"), py::arg("Z"), py::arg("mask"), py::arg("radius"), py::arg("distance"),
        py::kw_only(), py::arg("out") = py::none(),
        "Removes points with fewer than 2*radius^2 neighbours within distance; returns (X, Y, Z, mask).");
    c.def(
        "GradientFilter",
        [](Handle& h, const py::object& mapA, const py::object& mapB, const py::object& maskA, const py::object& maskB,
           float gradientLimit, float passLevel, const py::object& out) {
            const char* name = "GradientFilter";
            const RoiSize r = h.roi(name);
            const Shape s{r.height, r.width};
            auto a = need<float>(name, "mapA", mapA, s);
            auto b = need<float>(name, "mapB", mapB, s);
            auto ma = need<bool>(name, "maskA", maskA, s);
            auto mb = need<bool>(name, "maskB", maskB, s);
            auto o = outTuple(name, out, 4);
            auto ra = output<float>(name, "mapA", o[0], s, &a);
            auto rb = output<float>(name, "mapB", o[1], s, &b);
            auto rma = output<bool>(name, "maskA", o[2], s, &ma);
            auto rmb = output<bool>(name, "maskB", o[3], s, &mb);
            h.run(name, r, [&] {
                h.algo.GradientFilter(ra.mutable_data(), rb.mutable_data(), boolPtr(rma), boolPtr(rmb), gradientLimit,
                                      passLevel);
            });
            return py::make_tuple(ra, rb, rma, rmb);
        },
        py::arg("mapA"), py::arg("mapB"), py::arg("maskA"), py::arg("maskB"), py::arg("gradientLimit"),
        py::arg("passLevel"), py::kw_only(), py::arg("out") = py::none(),
        "Drops pixels whose central-difference gradient is not below gradientLimit (passLevel in (0, 1]); "
        "returns (mapA, mapB, maskA, maskB).");
    c.def(
        "Bilateralfilter",
        [](Handle& h, const py::object& map, const py::object& mask, int spatialSigma, float rangeSigma,
           const py::object& out) {
            const char* name = "Bilateralfilter";
            const RoiSize r = h.roi(name);
            const Shape s{r.height, r.width};
            auto in = need<float>(name, "map", map, s);
            auto m = need<bool>(name, "mask", mask, s);
            atMost(name, "spatialSigma", spatialSigma, kMaxSpatialSigma);
            auto res = output<float>(name, "map", out, s, &in);
            h.run(name, r, [&] {
                h.algo.Bilateralfilter(res.mutable_data(), const_cast<bool*>(m.data()), spatialSigma, rangeSigma);
            });
            return res;
        },
        py::arg("map"), py::arg("mask"), py::arg("spatialSigma"), py::arg("rangeSigma"), py::kw_only(),
        py::arg("out") = py::none(),
        "Edge-preserving smoothing of a float32 map inside mask (invalid pixels become 0); returns the map.");
    c.def(
        "FillingFunction",
        [](Handle& h, const py::object& X, const py::object& Y, const py::object& Z, const py::object& mask, int mode,
           int smallArea, int largeArea, int minDepth, int maxDepth, const py::object& out) {
            h.require("FillingFunction", Handle::KR);
            PointMap p = pointMap(h, "FillingFunction", X, Y, Z, mask, out);
            h.run("FillingFunction", p.r, [&] {
                h.algo.FillingFunction(p.X.mutable_data(), p.Y.mutable_data(), p.Z.mutable_data(), boolPtr(p.mask),
                                       mode, smallArea, largeArea, minDepth, maxDepth);
            });
            return py::make_tuple(p.X, p.Y, p.Z, p.mask);
        },
        py::arg("X"), py::arg("Y"), py::arg("Z"), py::arg("mask"), py::arg("mode"), py::arg("smallArea"),
        py::arg("largeArea"), py::arg("minDepth"), py::arg("maxDepth"), py::kw_only(), py::arg("out") = py::none(),
        "Fills holes (Z == 0) of a point map at level mode 1 ... 5; returns (X, Y, Z, mask). Needs CalKR.");
}

}  // namespace xpy
