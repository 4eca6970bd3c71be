// Stereo resampling, matching and triangulation: BiCubicPloy, InterpCubic1..5, InterpFlag1/2, MatchI,
// MatchII and CalPoint. Maps are (h, w): float32 phase/depth, bool masks, float64 coordinate maps.
// The members that work in place in C++ return a new array holding the result (or write `out`).
#include "Binding.h"

namespace xpy {
namespace {

using XELORAALGO::XeloraAlgo;

void defCubic(HandleClass& c, const char* name, void (XeloraAlgo::*fn)(float*), Handle::Table table, const char* doc) {
    c.def(
        name,
        [name, fn, table](Handle& h, const py::object& map, const py::object& out) {
            h.require(name, table);
            const RoiSize r = h.roi(name);
            auto in = need<float>(name, "map", map, Shape{r.height, r.width});
            auto res = output<float>(name, "map", out, Shape{r.height, r.width}, &in);
            h.run(name, r, [&] { (h.algo.*fn)(res.mutable_data()); });
            return res;
        },
        py::arg("map"), py::kw_only(), py::arg("out") = py::none(), doc);
}

void defFlag(HandleClass& c, const char* name, void (XeloraAlgo::*fn)(bool*), Handle::Table table, const char* doc) {
    c.def(
        name,
        [name, fn, table](Handle& h, const py::object& mask, const py::object& out) {
            h.require(name, table);
            const RoiSize r = h.roi(name);
            auto in = need<bool>(name, "mask", mask, Shape{r.height, r.width});
            auto res = output<bool>(name, "mask", out, Shape{r.height, r.width}, &in);
            h.run(name, r, [&] { (h.algo.*fn)(boolPtr(res)); });
            return res;
        },
        py::arg("mask"), py::kw_only(), py::arg("out") = py::none(), doc);
}

struct MatchArgs {
    RoiSize r;
    py::array_t<bool> mask1, mask2;
    py::array_t<float> phase1, phase2;
};

MatchArgs matchArgs(Handle& h, const char* member, const py::object& m1, const py::object& m2, const py::object& p1,
                    const py::object& p2) {
    h.require(member, Handle::KR);
    h.require(member, Handle::RectMap1);
    h.require(member, Handle::RectMap2);
    MatchArgs a;
    a.r = h.roi(member);
    const Shape s{a.r.height, a.r.width};
    a.mask1 = need<bool>(member, "mask1", m1, s);
    a.mask2 = need<bool>(member, "mask2", m2, s);
    a.phase1 = need<float>(member, "phase1", p1, s);
    a.phase2 = need<float>(member, "phase2", p2, s);
    return a;
}

}  // namespace

void bindStereo(HandleClass& c) {
    c.def(
        "BiCubicPloy", [](Handle& h, float x) { return h.algo.BiCubicPloy(x); }, py::arg("x"),
        "Cubic convolution kernel (a = -0.5) at x.");
    defCubic(c, "InterpCubic1", &XeloraAlgo::InterpCubic1, Handle::RectMap1,
             "Cubic resampling of a float32 (h, w) map of camera 1 onto its rectified grid; needs "
             "CalRectifyMap1(True).");
    defCubic(c, "InterpCubic2", &XeloraAlgo::InterpCubic2, Handle::RectMap2,
             "Cubic resampling of a map of camera 2 onto its rectified grid; needs CalRectifyMap1(False).");
    defCubic(c, "InterpCubic4", &XeloraAlgo::InterpCubic4, Handle::UndistMap1,
             "Cubic resampling of a map of camera 1 onto its undistorted grid; needs CalRectifyMap2(True).");
    defCubic(c, "InterpCubic5", &XeloraAlgo::InterpCubic5, Handle::UndistMap2,
             "Cubic resampling of a map of camera 2 onto its undistorted grid; needs CalRectifyMap2(False).");
    defFlag(c, "InterpFlag1", &XeloraAlgo::InterpFlag1, Handle::RectMap1,
            "Nearest-neighbour resampling of camera 1's bool (h, w) mask onto its rectified grid.");
    defFlag(c, "InterpFlag2", &XeloraAlgo::InterpFlag2, Handle::RectMap2,
            "Nearest-neighbour resampling of camera 2's mask onto its rectified grid.");
    c.def(
        "InterpCubic3",
        [](Handle& h, const py::object& map, const py::object& mapX, const py::object& mapY, const py::object& mask,
           const py::object& out) {
            const char* name = "InterpCubic3";
            const RoiSize r = h.roi(name);
            const Shape s{r.height, r.width};
            auto in = need<float>(name, "map", map, s);
            auto x = need<double>(name, "mapX", mapX, s);
            auto y = need<double>(name, "mapY", mapY, s);
            auto m = need<bool>(name, "mask", mask, s);
            auto res = output<float>(name, "map", out, s, &in);
            h.run(name, r, [&] {
                h.algo.InterpCubic3(res.mutable_data(), const_cast<double*>(x.data()), const_cast<double*>(y.data()),
                                    const_cast<bool*>(m.data()));
            });
            return res;
        },
        py::arg("map"), py::arg("mapX"), py::arg("mapY"), py::arg("mask"), py::kw_only(), py::arg("out") = py::none(),
        "Masked cubic resampling of map through the caller's float64 coordinate maps mapX, mapY (source pixels); "
        "mask marks the valid source pixels. Needs SetROIInfo only.");
    c.def(
        "MatchI",
        [](Handle& h, const py::object& m1, const py::object& m2, const py::object& p1, const py::object& p2,
           const py::object& out) {
            MatchArgs a = matchArgs(h, "MatchI", m1, m2, p1, p2);
            auto match = output<bool>("MatchI", "matchMask", out, Shape{a.r.height, a.r.width});
            h.run("MatchI", a.r, [&] {
                h.algo.MatchI(const_cast<bool*>(a.mask1.data()), const_cast<bool*>(a.mask2.data()), boolPtr(match),
                              const_cast<float*>(a.phase1.data()), const_cast<float*>(a.phase2.data()));
                h.built(Handle::Match);
                h.released(Handle::Subpixel);
            });
            return match;
        },
        py::arg("mask1"), py::arg("mask2"), py::arg("phase1"), py::arg("phase2"), py::kw_only(),
        py::arg("out") = py::none(),
        "Integer matching of the rectified phase maps with a left-right check; returns matchMask (bool (h, w); "
        "rows past 8*floor(h/8) keep out's content). The match tables stay in the handle. Needs CalKR and both "
        "rectification maps.");
    c.def(
        "MatchII",
        [](Handle& h, const py::object& m1, const py::object& m2, const py::object& matchMask, const py::object& p1,
           const py::object& p2, const py::object& out) {
            MatchArgs a = matchArgs(h, "MatchII", m1, m2, p1, p2);
            h.require("MatchII", Handle::Match);
            auto in = need<bool>("MatchII", "matchMask", matchMask, Shape{a.r.height, a.r.width});
            auto match = output<bool>("MatchII", "matchMask", out, Shape{a.r.height, a.r.width}, &in);
            h.run("MatchII", a.r, [&] {
                h.algo.MatchII(const_cast<bool*>(a.mask1.data()), const_cast<bool*>(a.mask2.data()), boolPtr(match),
                               const_cast<float*>(a.phase1.data()), const_cast<float*>(a.phase2.data()));
                h.built(Handle::Subpixel);
            });
            return match;
        },
        py::arg("mask1"), py::arg("mask2"), py::arg("matchMask"), py::arg("phase1"), py::arg("phase2"), py::kw_only(),
        py::arg("out") = py::none(),
        "Sub-pixel refinement of MatchI's matches (same arrays as MatchI, plus its matchMask); returns the "
        "matchMask cleared where refinement fails. Needs MatchI.");
    c.def(
        "CalPoint",
        [](Handle& h, const py::object& mask, bool useBilateral, int spatialSigma, float rangeSigma, bool useSmoothing,
           float smoothSigma, const py::object& out) {
            const char* name = "CalPoint";
            h.require(name, Handle::KR);
            h.require(name, Handle::RectMap1);
            h.require(name, Handle::Subpixel);
            const RoiSize r = h.roi(name);
            const Shape s{r.height, r.width};
            auto in = need<bool>(name, "mask", mask, s);
            atMost(name, "bilateralSpatialSigma", spatialSigma, kMaxSpatialSigma);
            atMost(name, "smoothSigma", smoothSigma, kMaxSigma);
            auto o = outTuple(name, out, 4);
            auto m = output<bool>(name, "mask", o[0], s, &in);
            auto X = output<float>(name, "X", o[1], s);
            auto Y = output<float>(name, "Y", o[2], s);
            auto Z = output<float>(name, "Z", o[3], s);
            int count = 0;
            h.run(name, r, [&] {
                h.algo.CalPoint(boolPtr(m), X.mutable_data(), Y.mutable_data(), Z.mutable_data(), count, useBilateral,
                                spatialSigma, rangeSigma, useSmoothing, smoothSigma);
            });
            return py::make_tuple(m, X, Y, Z, count);
        },
        py::arg("mask"), py::arg("useBilateral") = false, py::arg("bilateralSpatialSigma") = 2,
        py::arg("bilateralRangeSigma") = 0.4f, py::arg("useSmoothing") = false, py::arg("smoothSigma") = 1.0f,
        py::kw_only(), py::arg("out") = py::none(),
        "Triangulates MatchII's matches into a point map on camera 1's grid; mask is MatchII's matchMask. "
        "Returns (mask, X, Y, Z, count): the validity, the float32 coordinates (0 where invalid) and the number "
        "of valid points. out= is a tuple (mask, X, Y, Z). Needs MatchII.");
}

}  // namespace xpy
