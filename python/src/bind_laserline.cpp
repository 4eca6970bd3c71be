// Laser-line profiling: CalLineCenter, CalLineCenter_new, lineExtract4, lineExtract5,
// GetCloudPoint_New_600_1/_600_2, UndistortPoints2, MatchLine, Calpoint, Calpoint_smooth,
// FitLineFunction_V and Gaussianfilter.
//   images (h, w) uint8; line lists (h, 2) float64 (one (column, row) per ROI row, column 0 = no
//   line); row masks (h,) bool; matches (h,) int32; profiles (h, 3) float64.
#include <array>
#include <vector>

#include "Binding.h"

namespace xpy {
namespace {

using XELORAALGO::Point2dList;
using XELORAALGO::Point3dList;

// The two line lists, the row mask and the matches of the profile members, checked: every valid
// row's match must name a row of list 2.
struct Pairing {
    RoiSize r;
    Point2dList p1, p2;
    py::array_t<bool> mask;
    std::vector<int> matches;
};

Pairing pairing(Handle& h, const char* member, const py::object& points1, const py::object& points2,
                const py::object& mask, const py::object& matches) {
    h.requireCalibration(member);
    Pairing p;
    p.r = h.roi(member);
    const py::ssize_t n = p.r.height;
    p.p1 = toList2(need<double>(member, "points1", points1, Shape{n, 2}));
    p.p2 = toList2(need<double>(member, "points2", points2, Shape{n, 2}));
    p.mask = need<bool>(member, "mask", mask, Shape{n});
    auto m = need<std::int32_t>(member, "matches", matches, Shape{n});
    p.matches.assign(m.data(), m.data() + n);
    for (py::ssize_t i = 0; i < n; ++i)
        if (p.mask.data()[i] &&
            (p.matches[static_cast<std::size_t>(i)] < 0 || p.matches[static_cast<std::size_t>(i)] >= n))
            valueError(member, "matches", "a row 0 ... " + std::to_string(n - 1) + " for every row with mask set",
                       std::to_string(p.matches[static_cast<std::size_t>(i)]) + " at row " + std::to_string(i));
    return p;
}

std::array<double, 2> pair2(const char* member, const char* arg, const py::object& v) {
    try {
        auto t = v.cast<std::array<double, 2>>();
        return t;
    } catch (const py::cast_error&) {
        valueError(member, arg, "a pair of numbers", py::repr(v).cast<std::string>());
    }
}

using ListFn = void (XELORAALGO::XeloraAlgo::*)(unsigned char*, Point2dList&);

void defCloudPoint(HandleClass& c, const char* name, ListFn fn, const char* doc) {
    c.def(
        name,
        [name, fn](Handle& h, const py::object& image, const py::object& out) {
            const RoiSize r = h.roi(name);
            auto img = need<std::uint8_t>(name, "image", image, Shape{r.height, r.width});
            auto res = output<double>(name, "points", out, Shape{r.height, 2});
            Point2dList pts;
            h.run(name, r, [&] { (h.algo.*fn)(const_cast<unsigned char*>(img.data()), pts); });
            copyList(pts, res);
            return res;
        },
        py::arg("image"), py::kw_only(), py::arg("out") = py::none(), doc);
}

}  // namespace

void bindLaserline(HandleClass& c) {
    c.def(
        "CalLineCenter",
        [](Handle& h, int row, const std::vector<int>& positions, const std::vector<int>& weights,
           const py::object& centre) {
            if (weights.size() < positions.size())
                valueError("CalLineCenter", "weights",
                           "at least as many entries as positions (" + std::to_string(positions.size()) + ")",
                           std::to_string(weights.size()) + " entries");
            std::array<double, 2> cc = pair2("CalLineCenter", "centre", centre);
            h.runAny([&] { h.algo.CalLineCenter(row, positions, weights, cc); });
            return py::make_tuple(cc[0], cc[1]);
        },
        py::arg("row"), py::arg("positions"), py::arg("weights"), py::arg("centre") = py::make_tuple(0.0, 0.0),
        "Centre of gravity of positions weighted by weights: (column, row); centre when the weight sum is 0.");
    c.def(
        "CalLineCenter_new",
        [](Handle& h, int index, int start, int count, const py::object& weights, const py::object& centre) {
            auto w = need<std::int32_t>("CalLineCenter_new", "weights", weights, Shape{-1});
            if (count > w.shape(0))
                valueError("CalLineCenter_new", "count",
                           "at most the " + std::to_string(w.shape(0)) + " entries of weights", std::to_string(count));
            std::array<double, 2> cc = pair2("CalLineCenter_new", "centre", centre);
            h.runAny([&] { h.algo.CalLineCenter_new(index, start, count, w.data(), cc); });
            return py::make_tuple(cc[0], cc[1]);
        },
        py::arg("index"), py::arg("start"), py::arg("count"), py::arg("weights"),
        py::arg("centre") = py::make_tuple(0.0, 0.0),
        "Centre of count int32 weights from column start: (index, start + sum(i*w)/sum(w)); centre when the "
        "sum is 0.");
    c.def(
        "lineExtract4",
        [](Handle& h, const py::object& image, const py::object& offset, bool flag, int p1, int p2, int p3, int p4,
           int p5, const py::object& out) {
            const char* name = "lineExtract4";
            const RoiSize r = h.roi(name);
            auto img = need<std::uint8_t>(name, "image", image, Shape{r.height, r.width});
            const std::array<double, 2> off = pair2(name, "offset", offset);
            const std::array<int, 2> o2{static_cast<int>(off[0]), static_cast<int>(off[1])};
            auto o = outTuple(name, out, 2);
            auto pts = output<double>(name, "points", o[0], Shape{r.height, 2});
            auto mask = output<bool>(name, "mask", o[1], Shape{r.height});
            Point2dList list = toList2(pts);
            h.run(name, r, [&] {
                h.algo.lineExtract4(flag, const_cast<unsigned char*>(img.data()), list, boolPtr(mask), p1, p2, p3, p4,
                                    p5, o2);
            });
            copyList(list, pts);
            return py::make_tuple(pts, mask);
        },
        py::arg("image"), py::arg("offset") = py::make_tuple(0, 0), py::arg("flag") = false, py::arg("p1") = 0,
        py::arg("p2") = 0, py::arg("p3") = 0, py::arg("p4") = 0, py::arg("p5") = 0, py::kw_only(),
        py::arg("out") = py::none(),
        "Stripe centres of an (h, w) uint8 image (lit = value > 0): returns (points (h, 2) float64, mask (h,) "
        "bool), offset added to the coordinates. Rows without a line keep out's content (zeros when new). "
        "flag and p1..p5 are not used.");
    c.def(
        "lineExtract5",
        [](Handle& h, const py::object& image, int narrowRunSpan, int rowBandSpan, int q1, int q2,
           const py::object& range, const py::object& out) {
            const char* name = "lineExtract5";
            const RoiSize r = h.roi(name);
            auto img = need<std::uint8_t>(name, "image", image, Shape{r.height, r.width});
            const std::array<double, 2> rg = pair2(name, "range", range);
            const std::array<int, 2> r2{static_cast<int>(rg[0]), static_cast<int>(rg[1])};
            auto o = outTuple(name, out, 2);
            auto pts = output<double>(name, "points", o[0], Shape{r.height, 2});
            auto mask = output<bool>(name, "mask", o[1], Shape{r.height});
            Point2dList list = toList2(pts);
            h.run(name, r, [&] {
                h.algo.lineExtract5(const_cast<unsigned char*>(img.data()), list, boolPtr(mask), q1, q2, r2,
                                    narrowRunSpan, rowBandSpan);
            });
            copyList(list, pts);
            return py::make_tuple(pts, mask);
        },
        py::arg("image"), py::arg("narrowRunSpan"), py::arg("rowBandSpan"), py::arg("q1") = 0, py::arg("q2") = 0,
        py::arg("range") = py::make_tuple(0, 0), py::kw_only(), py::arg("out") = py::none(),
        "Stripe centres of an image with background (lit = value > 30): returns (points (h, 2), mask (h,)). "
        "q1, q2 and range are not used.");
    defCloudPoint(c, "GetCloudPoint_New_600_1", &XELORAALGO::XeloraAlgo::GetCloudPoint_New_600_1,
                  "Stripe tracker: returns the line list (h, 2) float64 of an (h, w) uint8 image.");
    defCloudPoint(c, "GetCloudPoint_New_600_2", &XELORAALGO::XeloraAlgo::GetCloudPoint_New_600_2,
                  "Blur, Otsu threshold and weighted centres: returns the line list (h, 2) float64.");
    c.def(
        "UndistortPoints2",
        [](Handle& h, bool firstCamera, const py::object& points, const py::object& out) {
            const char* name = "UndistortPoints2";
            h.requireCalibration(name);
            const RoiSize r = h.roi(name);
            auto in = need<double>(name, "points", points, Shape{-1, 2});
            auto res = output<double>(name, "points", out, Shape{in.shape(0), 2});
            Point2dList list = toList2(in);
            h.run(name, r, [&] { h.algo.UndistortPoints2(firstCamera, list); });
            copyList(list, res);
            return res;
        },
        py::arg("firstCamera"), py::arg("points"), py::kw_only(), py::arg("out") = py::none(),
        "ROI coordinates of camera 1 (True) or 2 -> undistorted sensor pixels, for an (N, 2) float64 list.");
    c.def(
        "MatchLine",
        [](Handle& h, const py::object& points1, const py::object& points2, const py::object& mask1,
           const py::object& mask2, const py::object& out) {
            const char* name = "MatchLine";
            h.requireCalibration(name);
            const RoiSize r = h.roi(name);
            const py::ssize_t n = r.height;
            Point2dList a = toList2(need<double>(name, "points1", points1, Shape{n, 2}));
            Point2dList b = toList2(need<double>(name, "points2", points2, Shape{n, 2}));
            auto m1 = need<bool>(name, "mask1", mask1, Shape{n});
            auto m2 = need<bool>(name, "mask2", mask2, Shape{n});
            auto o = outTuple(name, out, 2);
            auto rm = output<bool>(name, "mask1", o[0], Shape{n}, &m1);
            auto rmatch = output<std::int32_t>(name, "matches", o[1], Shape{n});
            std::vector<int> matches(rmatch.data(), rmatch.data() + n);
            h.run(name, r, [&] { h.algo.MatchLine(a, b, boolPtr(rm), const_cast<bool*>(m2.data()), matches); });
            std::copy(matches.begin(), matches.end(), rmatch.mutable_data());
            return py::make_tuple(rm, rmatch);
        },
        py::arg("points1"), py::arg("points2"), py::arg("mask1"), py::arg("mask2"), py::kw_only(),
        py::arg("out") = py::none(),
        "Pairs the rows of two undistorted line lists (h, 2) through F; returns (mask1 cleared where no partner "
        "is accepted, matches (h,) int32). Needs the calibration.");
    c.def(
        "Calpoint",
        [](Handle& h, const py::object& points1, const py::object& points2, const py::object& mask,
           const py::object& matches) {
            Pairing p = pairing(h, "Calpoint", points1, points2, mask, matches);
            Point3dList cloud, pixelDepth;
            h.run("Calpoint", p.r,
                  [&] { h.algo.Calpoint(p.p1, p.p2, const_cast<bool*>(p.mask.data()), p.matches, cloud, pixelDepth); });
            return py::make_tuple(newList(cloud), newList(pixelDepth));
        },
        py::arg("points1"), py::arg("points2"), py::arg("mask"), py::arg("matches"),
        "Triangulates matched rows: returns (cloud (h, 3), pixelDepth (N, 3)) float64, (0, 0, 0) for rows "
        "without a point. Needs the calibration.");
    c.def(
        "Calpoint_smooth",
        [](Handle& h, const py::object& points1, const py::object& points2, int halfWindow, const py::object& mask,
           const py::object& matches) {
            Pairing p = pairing(h, "Calpoint_smooth", points1, points2, mask, matches);
            Point3dList cloud;
            h.run("Calpoint_smooth", p.r, [&] {
                h.algo.Calpoint_smooth(p.p1, p.p2, halfWindow, const_cast<bool*>(p.mask.data()), p.matches, cloud);
            });
            return newList(cloud);
        },
        py::arg("points1"), py::arg("points2"), py::arg("halfWindow"), py::arg("mask"), py::arg("matches"),
        "As Calpoint's cloud, with line-fit smoothing of the lists (halfWindow); returns (h, 3) float64.");
    c.def(
        "FitLineFunction_V",
        [](Handle& h, const py::object& points, int halfWindow, bool enable, const py::object& out) {
            auto in = need<double>("FitLineFunction_V", "points", points, Shape{-1, 2});
            auto res = output<double>("FitLineFunction_V", "points", out, Shape{in.shape(0), 2}, &in);
            Point2dList list = toList2(res);
            h.runAny([&] { h.algo.FitLineFunction_V(list, halfWindow, enable); });
            copyList(list, res);
            return res;
        },
        py::arg("points"), py::arg("halfWindow"), py::arg("enable"), py::kw_only(), py::arg("out") = py::none(),
        "Local straight-line fit x = a*y + b over 2*halfWindow entries of an (N, 2) float64 list.");
    c.def(
        "Gaussianfilter",
        [](Handle& h, const py::object& points, int halfWindow, const py::object& out) {
            auto in = need<double>("Gaussianfilter", "points", points, Shape{-1, 2});
            atMost("Gaussianfilter", "halfWindow", halfWindow, kMaxHalfWindow);
            auto res = output<double>("Gaussianfilter", "points", out, Shape{in.shape(0), 2}, &in);
            Point2dList list = toList2(res);
            h.runAny([&] { h.algo.Gaussianfilter(list, halfWindow); });
            copyList(list, res);
            return res;
        },
        py::arg("points"), py::arg("halfWindow"), py::kw_only(), py::arg("out") = py::none(),
        "Gaussian smoothing (2*halfWindow + 1 taps) of the non-zero x values of an (N, 2) float64 list.");
}

}  // namespace xpy
