// Fringe decoding: DecGrayPhase1, UnDecGrayPhase1, UnDecGrayPhase2 (11 planes) and DecGrayPhase2 (18).
//   in:  patternImages (planes, h, w) uint8, never changed (DecGrayPhase2 decodes a private copy,
//        since the library overwrites its Gray planes)
//   out: (validMask bool, modulationMap float32, averageMap float32, absolutePhase float32), (h, w)
#include <vector>

#include "Binding.h"

namespace xpy {
namespace {

using Decoder = void (XELORAALGO::XeloraAlgo::*)(bool*, float*, float*, unsigned char** const, const bool&, const bool&,
                                                 const int&, const float&, float*);

py::tuple decode(Handle& h, const char* member, Decoder fn, int planes, const py::object& images, bool ignoredFlag,
                 bool smoothPhase, int smoothRounds, float smoothSigma, const py::object& out) {
    const RoiSize r = h.roi(member);
    const Shape map{r.height, r.width};
    auto stack = need<std::uint8_t>(member, "patternImages", images, Shape{planes, r.height, r.width});
    if (smoothRounds < 0) valueError(member, "smoothRounds", "at least 0", std::to_string(smoothRounds));
    atMost(member, "smoothSigma", smoothSigma, kMaxSigma);
    auto o = outTuple(member, out, 4);
    auto mask = output<bool>(member, "validMask", o[0], map);
    auto modulation = output<float>(member, "modulationMap", o[1], map);
    auto average = output<float>(member, "averageMap", o[2], map);
    auto phase = output<float>(member, "absolutePhase", o[3], map);
    const std::size_t plane = static_cast<std::size_t>(r.width) * r.height;
    const bool copy = planes == 18;  // DecGrayPhase2 writes into its Gray planes
    std::vector<std::uint8_t> own;
    if (copy) own.assign(stack.data(), stack.data() + plane * planes);
    std::vector<unsigned char*> ptrs(static_cast<std::size_t>(planes));
    for (int k = 0; k < planes; ++k)
        ptrs[static_cast<std::size_t>(k)] =
            copy ? own.data() + plane * k : const_cast<unsigned char*>(stack.data() + plane * k);
    h.run(member, r, [&] {
        (h.algo.*fn)(boolPtr(mask), modulation.mutable_data(), average.mutable_data(), ptrs.data(), ignoredFlag,
                     smoothPhase, smoothRounds, smoothSigma, phase.mutable_data());
    });
    return py::make_tuple(mask, modulation, average, phase);
}

void def(HandleClass& c, const char* name, Decoder fn, int planes, const char* doc) {
    c.def(
        name,
        [name, fn, planes](Handle& h, const py::object& images, bool ignoredFlag, bool smoothPhase, int smoothRounds,
                           float smoothSigma, const py::object& out) {
            return decode(h, name, fn, planes, images, ignoredFlag, smoothPhase, smoothRounds, smoothSigma, out);
        },
        py::arg("patternImages"), py::arg("ignoredFlag") = false, py::arg("smoothPhase") = false,
        py::arg("smoothRounds") = 0, py::arg("smoothSigma") = 1.0f, py::kw_only(), py::arg("out") = py::none(), doc);
}

}  // namespace

void bindFringe(HandleClass& c) {
    using XELORAALGO::XeloraAlgo;
    def(c, "DecGrayPhase1", &XeloraAlgo::DecGrayPhase1, 11,
        "Decodes one camera's 11 pattern planes (Gray bits 0..6, fringes 7..10), (11, h, w) uint8, into "
        "(validMask, modulationMap, averageMap, absolutePhase). smoothPhase runs smoothRounds rounds of masked "
        "fringe smoothing with smoothSigma; ignoredFlag is not read. Needs SetROIInfo.");
    def(c, "UnDecGrayPhase1", &XeloraAlgo::UnDecGrayPhase1, 11,
        "As DecGrayPhase1 for the reversed code and phase (validity threshold 2).");
    def(c, "UnDecGrayPhase2", &XeloraAlgo::UnDecGrayPhase2, 11,
        "As UnDecGrayPhase1, with the vertical consistency check of one-pass decoding.");
    def(c, "DecGrayPhase2", &XeloraAlgo::DecGrayPhase2, 18,
        "Decodes the paired 18-plane set, (18, h, w) uint8 (each Gray image followed by its inverse, fringes in "
        "planes 14..17), into (validMask, modulationMap, averageMap, absolutePhase). The input is not changed.");
}

}  // namespace xpy
