// Imaging, exposure and HDR: AutoExposure (image and map forms), BinarySearch_updataET, GetTh,
// AutoHDR1, AutoHDR2 and CalHDRFuse.
//   captures (3, 2h, w) uint8: three two-camera frames at rising exposure; exposure times float64;
//   CalHDRFuse sequences (n, 2h, w) uint8 -> two stacks (n, h, w) uint8.
#include <optional>
#include <vector>

#include "Binding.h"

namespace xpy {
namespace {

void checkPairCount(const char* member, int pairCount) {
    if (pairCount < 1 || pairCount > 3) valueError(member, "pairCount", "1 ... 3", std::to_string(pairCount));
}

using HdrFn = void (XELORAALGO::XeloraAlgo::*)(unsigned char** const, const int&, double*, const int&, const int&,
                                               const int&, const int&, const int&, int*);

void defHdr(HandleClass& c, const char* name, HdrFn fn, const char* doc) {
    c.def(
        name,
        [name, fn](Handle& h, const py::object& captures, int mode, const py::object& times, int pairCount, int divisor,
                   int target, int lower, int upper) {
            const RoiSize r = h.roi(name);
            auto cap = need<std::uint8_t>(name, "captures", captures, Shape{3, 2 * r.height, r.width});
            checkPairCount(name, pairCount);
            auto t = need<double>(name, "exposureTimes", times, Shape{-1});
            if (t.shape(0) < pairCount)
                valueError(name, "exposureTimes", "at least pairCount = " + std::to_string(pairCount) + " entries",
                           describe(t));
            if (divisor < 2) valueError(name, "divisor", "at least 2", std::to_string(divisor));
            std::vector<double> e(t.data(), t.data() + t.shape(0));
            auto p = planePtrs(cap, cap.shape(0));
            int results[2] = {0, 0};
            h.run(name, r,
                  [&] { (h.algo.*fn)(p.data(), mode, e.data(), pairCount, divisor, target, lower, upper, results); });
            return py::make_tuple(results[0], results[1]);
        },
        py::arg("captures"), py::arg("mode"), py::arg("exposureTimes"), py::arg("pairCount"), py::arg("divisor"),
        py::arg("target"), py::arg("lower"), py::arg("upper"), doc);
}

}  // namespace

void bindImagingExposure(HandleClass& c) {
    c.def(
        "AutoExposure",
        [](Handle& h, const py::object& captures, const py::object& times, int pairCount, int target, int lower,
           int upper, int current, const py::object& out) {
            const char* name = "AutoExposure";
            const RoiSize r = h.roi(name);
            auto cap = need<std::uint8_t>(name, "captures", captures, Shape{3, 2 * r.height, r.width});
            auto t = need<double>(name, "exposureTimes", times, Shape{-1});
            checkPairCount(name, pairCount);
            if (t.shape(0) < 3) valueError(name, "exposureTimes", "at least 3 entries", describe(t));
            auto res = output<double>(name, "exposureTimes", out, Shape{t.shape(0)}, &t);
            auto p = planePtrs(cap, cap.shape(0));
            const int e = h.run(name, r, [&] {
                return h.algo.AutoExposure(p.data(), res.mutable_data(), pairCount, target, lower, upper, current);
            });
            return py::make_tuple(e, res);
        },
        py::arg("captures"), py::arg("exposureTimes"), py::arg("pairCount"), py::arg("target"), py::arg("lower"),
        py::arg("upper"), py::arg("current"), py::kw_only(), py::arg("out") = py::none(),
        "Image form: fits the response of three two-camera captures (3, 2h, w) uint8 at the float64 "
        "exposureTimes and returns (new exposure, exposure times): the library doubles the first three times, "
        "which come back in a new array (or out=; pass the input itself to update it in place).");
    c.def(
        "AutoExposure",
        [](Handle& h, double current, const py::object& mod1, const py::object& mod2, const py::object& avg1,
           const py::object& avg2, int lower, int upper, int target) {
            const char* name = "AutoExposure";
            const RoiSize r = h.roi(name);
            const Shape s{r.height, r.width};
            auto a = need<float>(name, "modulation1", mod1, s);
            auto b = need<float>(name, "modulation2", mod2, s);
            auto cc = need<float>(name, "average1", avg1, s);
            auto d = need<float>(name, "average2", avg2, s);
            return h.run(name, r, [&] {
                return h.algo.AutoExposure(current, const_cast<float*>(a.data()), const_cast<float*>(b.data()),
                                           const_cast<float*>(cc.data()), const_cast<float*>(d.data()), lower, upper,
                                           target);
            });
        },
        py::arg("current"), py::arg("modulation1"), py::arg("modulation2"), py::arg("average1"), py::arg("average2"),
        py::arg("lower"), py::arg("upper"), py::arg("target"),
        "Map form: proposes an exposure from the modulation and average maps (float32 (h, w)) of both cameras. "
        "ValueError (from the library) when the ROI is too small for its twelve 50 x 50 sample windows.");
    c.def(
        "BinarySearch_updataET",
        [](Handle& h, const py::object& image1, const py::object& image2, double lower, double upper, int target,
           double current) {
            const char* name = "BinarySearch_updataET";
            const RoiSize r = h.roi(name);
            auto a = need<std::uint8_t>(name, "image1", image1, Shape{r.height, r.width});
            auto b = need<std::uint8_t>(name, "image2", image2, Shape{r.height, r.width});
            return h.run(name, r, [&] {
                return h.algo.BinarySearch_updataET(const_cast<unsigned char*>(a.data()),
                                                    const_cast<unsigned char*>(b.data()), lower, upper, target,
                                                    current);
            });
        },
        py::arg("image1"), py::arg("image2"), py::arg("lower"), py::arg("upper"), py::arg("target"), py::arg("current"),
        "One feedback step on the mean grey level of the two cameras' (h, w) uint8 images.");
    c.def(
        "GetTh",
        [](Handle& h, const py::object& values, int lower, int upper) {
            auto v = need<std::uint8_t>("GetTh", "values", values, Shape{-1});
            const std::vector<unsigned char> vec(v.data(), v.data() + v.shape(0));
            return h.runAny([&] { return h.algo.GetTh(vec, lower, upper); });
        },
        py::arg("values"), py::arg("lower"), py::arg("upper"),
        "Threshold 10 x the mean of the 1-D uint8 values, clamped to [lower, upper].");
    defHdr(c, "AutoHDR1", &XELORAALGO::XeloraAlgo::AutoHDR1,
           "Proposes (short, long) exposures from three two-camera captures (3, 2h, w) uint8 at the float64 "
           "exposureTimes (levels normalised to the first capture).");
    defHdr(c, "AutoHDR2", &XELORAALGO::XeloraAlgo::AutoHDR2, "As AutoHDR1, without normalising the mean levels.");
    c.def(
        "CalHDRFuse",
        [](Handle& h, const py::object& shortSeq, const py::object& longSeq, std::optional<int> count,
           const py::object& out) {
            const char* name = "CalHDRFuse";
            const RoiSize r = h.roi(name);
            auto s = need<std::uint8_t>(name, "shortSeq", shortSeq, Shape{-1, 2 * r.height, r.width});
            auto l = need<std::uint8_t>(name, "longSeq", longSeq, Shape{-1, 2 * r.height, r.width});
            const int n = count ? *count : static_cast<int>(s.shape(0));
            if (n < 4) valueError(name, "count", "at least 4 frames", std::to_string(n));
            for (auto* a : {&s, &l})
                if (a->shape(0) < n)
                    valueError(name, a == &s ? "shortSeq" : "longSeq",
                               "at least count = " + std::to_string(n) + " frames", describe(*a));
            auto o = outTuple(name, out, 2);
            auto o1 = output<std::uint8_t>(name, "out1", o[0], Shape{n, r.height, r.width});
            auto o2 = output<std::uint8_t>(name, "out2", o[1], Shape{n, r.height, r.width});
            auto ps = planePtrs(s, n), pl = planePtrs(l, n), q1 = planePtrs(o1, n), q2 = planePtrs(o2, n);
            h.run(name, r, [&] { h.algo.CalHDRFuse(ps.data(), pl.data(), q1.data(), q2.data(), n); });
            return py::make_tuple(o1, o2);
        },
        py::arg("shortSeq"), py::arg("longSeq"), py::arg("count") = py::none(), py::kw_only(),
        py::arg("out") = py::none(),
        "Merges a short and a long sequence of two-camera frames (n, 2h, w) uint8 into one (count, h, w) stack per "
        "camera; count defaults to the sequences' length and must be at least 4.");
}

}  // namespace xpy
