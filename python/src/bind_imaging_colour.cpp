// Imaging, colour and images: CalRGB, CalRGBFuse (both forms), CalPreview, CalPixelAverage,
// DownSampling1..3 and CalcImageBuffer.
//   colour stacks (n, h, w, 3) uint8 -> planes (n, h, w) uint8; two-camera frames (2h, w) uint8;
//   downsampling sources (count, H, 2W) or (H, 2W) uint8 -> (count, H/2, W) or (H/2, W).
#include <optional>
#include <vector>

#include "Binding.h"

namespace xpy {
namespace {

using StackFn = void (XELORAALGO::XeloraAlgo::*)(unsigned char** const, unsigned char** const, const int&, const int&,
                                                 const int&);

void defDownSampling(HandleClass& c, const char* name, StackFn fn, const char* doc) {
    c.def(
        name,
        [name, fn](Handle& h, const py::object& src, const py::object& out) {
            auto s = need<std::uint8_t>(name, "src", src, Shape{-1, -1, -1});
            const py::ssize_t count = s.shape(0), H = s.shape(1), W2 = s.shape(2);
            if (H % 2 || W2 % 2 || count > (1 << 20) || H > 65536 || W2 > 131072)
                valueError(name, "src", "a (count, H, 2W) uint8 stack with H and 2W even", describe(s));
            auto dst = output<std::uint8_t>(name, "dst", out, Shape{count, H / 2, W2 / 2});
            auto sp = planePtrs(s, count), dp = planePtrs(dst, count);
            const int n = static_cast<int>(count), W = static_cast<int>(W2 / 2), Hi = static_cast<int>(H);
            h.runAny([&] { (h.algo.*fn)(sp.data(), dp.data(), n, W, Hi); });
            return dst;
        },
        py::arg("src"), py::kw_only(), py::arg("out") = py::none(), doc);
}

}  // namespace

void bindImagingColour(HandleClass& c) {
    c.def(
        "CalRGB",
        [](Handle& h, const py::object& X, const py::object& Y, const py::object& Z, const py::object& mask, int zMin,
           int zMax, const py::object& out) {
            h.requireCalibration("CalRGB");
            PointMap p = pointMap(h, "CalRGB", X, Y, Z, mask, out);
            h.run("CalRGB", p.r, [&] {
                h.algo.CalRGB(p.X.mutable_data(), p.Y.mutable_data(), p.Z.mutable_data(), boolPtr(p.mask), zMin, zMax);
            });
            return py::make_tuple(p.X, p.Y, p.Z, p.mask);
        },
        py::arg("X"), py::arg("Y"), py::arg("Z"), py::arg("mask"), py::arg("zMin"), py::arg("zMax"), py::kw_only(),
        py::arg("out") = py::none(),
        "Registers a point map (camera 1's grid) onto the colour camera's grid and frame; points with "
        "zMin < Z < zMax take part. Returns (X, Y, Z, mask). Needs the calibration.");
    c.def(
        "CalRGBFuse",
        [](Handle& h, const py::object& srcA, const py::object& srcB, std::optional<int> count, const py::object& out) {
            const char* name = "CalRGBFuse";
            const RoiSize r = h.roi(name);
            int n = 11;
            if (count) {
                n = *count;
                if (n < 0) valueError(name, "count", "at least 0", std::to_string(n));
            }
            auto a = need<std::uint8_t>(name, "srcA", srcA, Shape{-1, r.height, r.width, 3});
            auto b = need<std::uint8_t>(name, "srcB", srcB, Shape{-1, r.height, r.width, 3});
            for (auto* s : {&a, &b})
                if (s->shape(0) < n)
                    valueError(name, s == &a ? "srcA" : "srcB",
                               "a stack of at least " + std::to_string(n) + " colour images", describe(*s));
            auto o = outTuple(name, out, 2);
            auto da = output<std::uint8_t>(name, "dstA", o[0], Shape{n, r.height, r.width});
            auto db = output<std::uint8_t>(name, "dstB", o[1], Shape{n, r.height, r.width});
            auto pa = planePtrs(a, n), pb = planePtrs(b, n), qa = planePtrs(da, n), qb = planePtrs(db, n);
            h.run(name, r, [&] {
                if (!count)
                    h.algo.CalRGBFuse(pa.data(), pb.data(), qa.data(), qb.data());
                else
                    h.algo.CalRGBFuse(pa.data(), pb.data(), qa.data(), qb.data(), n);
            });
            return py::make_tuple(da, db);
        },
        py::arg("srcA"), py::arg("srcB"), py::arg("count") = py::none(), py::kw_only(), py::arg("out") = py::none(),
        "Channel extraction from two stacks of colour images (n, h, w, 3) uint8 into (dstA, dstB), (count, h, w) "
        "uint8. Without count (the four-argument form): byte 0 of images 0..10; with count: byte 2 of images "
        "0..count-1.");
    c.def(
        "CalPreview",
        [](Handle& h, const py::object& m1, const py::object& m2, const py::object& m3, const py::object& m4,
           const py::object& out) {
            const char* name = "CalPreview";
            const RoiSize r = h.roi(name);
            const Shape s{r.height, r.width};
            auto a = need<float>(name, "m1", m1, s);
            auto b = need<float>(name, "m2", m2, s);
            auto cc = need<float>(name, "m3", m3, s);
            auto d = need<float>(name, "m4", m4, s);
            auto p = output<std::uint8_t>(name, "preview", out, Shape{2 * r.height, r.width});
            h.run(name, r, [&] {
                h.algo.CalPreview(p.mutable_data(), const_cast<float*>(a.data()), const_cast<float*>(b.data()),
                                  const_cast<float*>(cc.data()), const_cast<float*>(d.data()));
            });
            return p;
        },
        py::arg("m1"), py::arg("m2"), py::arg("m3"), py::arg("m4"), py::kw_only(), py::arg("out") = py::none(),
        "Preview frame (2h, w) uint8: even rows m1 + m3, odd rows m2 + m4, truncated and clamped to 0..255.");
    c.def(
        "CalPixelAverage",
        [](Handle& h, const py::object& image, int width, int height, int threshold) {
            const char* name = "CalPixelAverage";
            auto img = need<std::uint8_t>(name, "image", image, Shape{-1, -1});
            if (width < 0 || height < 0 || static_cast<long long>(width) * height > img.size())
                valueError(
                    name, "width, height",
                    "non-negative sizes with width*height at most the image's " + std::to_string(img.size()) + " bytes",
                    std::to_string(width) + " x " + std::to_string(height));
            return h.runAny([&] {
                return h.algo.CalPixelAverage(const_cast<unsigned char*>(img.data()), width, height, threshold);
            });
        },
        py::arg("image"), py::arg("width"), py::arg("height"), py::arg("threshold"),
        "True when the truncated mean of the first width*height bytes of image (2-D uint8) is below threshold.");
    defDownSampling(c, "DownSampling1", &XELORAALGO::XeloraAlgo::DownSampling1,
                    "Halves every image of a (count, H, 2W) uint8 stack into (count, H/2, W): the last four "
                    "images are block-averaged, the others (count >= 5) take each block's top-left pixel.");
    defDownSampling(c, "DownSampling2", &XELORAALGO::XeloraAlgo::DownSampling2,
                    "Halves every image of a (count, H, 2W) uint8 stack into (count, H/2, W) by block averages.");
    c.def(
        "DownSampling3",
        [](Handle& h, const py::object& src, const py::object& out) {
            auto s = need<std::uint8_t>("DownSampling3", "src", src, Shape{-1, -1});
            const py::ssize_t H = s.shape(0), W2 = s.shape(1);
            if (H % 2 || W2 % 2 || H > 65536 || W2 > 131072)
                valueError("DownSampling3", "src", "an (H, 2W) uint8 image with H and 2W even", describe(s));
            auto dst = output<std::uint8_t>("DownSampling3", "dst", out, Shape{H / 2, W2 / 2});
            const int W = static_cast<int>(W2 / 2), Hi = static_cast<int>(H);
            h.runAny([&] { h.algo.DownSampling3(const_cast<unsigned char*>(s.data()), dst.mutable_data(), W, Hi); });
            return dst;
        },
        py::arg("src"), py::kw_only(), py::arg("out") = py::none(),
        "Halves an (H, 2W) uint8 image into (H/2, W) by block averages.");
    c.def(
        "CalcImageBuffer",
        [](Handle& h, const py::object& input, bool enable, const py::object& out) {
            const char* name = "CalcImageBuffer";
            const RoiSize r = h.roi(name);
            auto in = need<std::uint8_t>(name, "input", input, Shape{2 * r.height, r.width});
            auto res = output<std::uint8_t>(name, "output", out, Shape{2 * r.height, r.width});
            h.run(name, r,
                  [&] { h.algo.CalcImageBuffer(const_cast<unsigned char*>(in.data()), res.mutable_data(), enable); });
            return res;
        },
        py::arg("input"), py::arg("enable"), py::kw_only(), py::arg("out") = py::none(),
        "Temporal filter of a two-camera frame (2h, w) uint8 against the process-wide stored previous frame; "
        "returns the output frame (untouched, so zero or out's content, when enable is False).");
}

}  // namespace xpy
