// Shared machinery of the Python module: argument checks that name the member, the argument, what
// was expected and what was given; result arrays that are either new or the caller's own `out=`
// arrays; and the handle wrapper that tracks which set-up steps have run.
//
// Every array the library reads or writes goes through `need` (input, exact dtype, shape and C
// order) or `output` (new array, or the caller's C-contiguous writeable array of the exact dtype and
// shape, filled with the input first for in-place members). Checks raise ValueError; a member called
// before the set-up it needs raises RuntimeError. Library calls run with the GIL released and under
// the handle's own lock, so one handle shared by several Python threads never runs two calls at once.
#ifndef XELORA_PYTHON_BINDING_H
#define XELORA_PYTHON_BINDING_H

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "XeloraAlgo.h"

namespace xpy {

namespace py = pybind11;
using Shape = std::vector<py::ssize_t>;

// "(128, 160)"
std::string shapeText(const Shape& shape);
std::string shapeText(const py::array& a);
// "float32 array of shape (128, 160)" (plus ", not C-contiguous" / ", read-only" where that applies)
std::string describe(const py::array& a);

[[noreturn]] void valueError(const std::string& member, const std::string& arg, const std::string& expected,
                             const std::string& given);
[[noreturn]] void setupError(const std::string& member, const std::string& what);
// Kernel sizes follow sigma and half-width arguments; beyond these limits the working storage alone
// would exhaust the machine, so they raise ValueError instead (NaN passes: the library treats it).
constexpr double kMaxSigma = 10000.0;    // Gaussian sigmas (pixels): radius 1.5 sigma
constexpr int kMaxSpatialSigma = 1024;   // bilateral filter: (3 sigma + 1)^2 kernel
constexpr int kMaxHalfWindow = 1 << 20;  // line smoothing taps
void atMost(const char* member, const char* arg, double value, double limit);

template <class T>
const char* dtypeName();

// A C-contiguous array of dtype T and exactly `shape` (-1 matches any extent), or ValueError.
template <class T>
py::array_t<T> need(const char* member, const char* arg, const py::object& obj, const Shape& shape);

// The result array `arg` of a member: a new zero-filled array of `shape` when `out` is None, else
// `out` itself after checking it (dtype T, exact shape, C-contiguous, writeable). With `init`, the
// result starts as a copy of `init` (nothing is copied when `out` is `init`'s own memory).
template <class T>
py::array_t<T> output(const char* member, const char* arg, const py::object& out, const Shape& shape,
                      const py::array* init = nullptr);

// The entries of a tuple `out=` (None: every entry None). `count` entries are expected.
std::vector<py::object> outTuple(const char* member, const py::object& out, std::size_t count);

// Point lists: (N, 2) / (N, 3) float64 arrays to and from the library's vectors.
XELORAALGO::Point2dList toList2(const py::array_t<double>& a);
XELORAALGO::Point3dList toList3(const py::array_t<double>& a);
void copyList(const XELORAALGO::Point2dList& src, py::array_t<double>& dst);
void copyList(const XELORAALGO::Point3dList& src, py::array_t<double>& dst);
py::array_t<double> newList(const XELORAALGO::Point3dList& src);

// A new array of `shape` holding the elements of `v` converted to T.
template <class T, class V>
py::array_t<T> arrayFrom(const V& v, const Shape& shape) {
    py::array_t<T> a(shape);
    for (std::size_t i = 0; i < v.size(); ++i) a.mutable_data()[i] = static_cast<T>(v[i]);
    return a;
}

// Pointers to the first `count` planes of a C-contiguous (planes, ...) stack, as the library's
// stack arguments want them (the library does not write through those of input stacks).
std::vector<unsigned char*> planePtrs(const py::array_t<std::uint8_t>& stack, py::ssize_t count);

// bool arrays of the library are one byte per entry, like numpy's bool_.
inline bool* boolPtr(py::array_t<bool>& a) { return a.mutable_data(); }

struct RoiSize {
    int width = 0, height = 0;
    bool operator==(const RoiSize& o) const { return width == o.width && height == o.height; }
    bool operator!=(const RoiSize& o) const { return !(*this == o); }
};

class Handle;

// The point map (X, Y, Z float32, mask bool; (h, w) each) of a member that changes it in place,
// checked and copied into its outputs (new arrays or the 4-tuple `out`).
struct PointMap {
    RoiSize r;
    py::array_t<float> X, Y, Z;
    py::array_t<bool> mask;
};
PointMap pointMap(Handle& h, const char* member, const py::object& X, const py::object& Y, const py::object& Z,
                  const py::object& mask, const py::object& out);

// One library handle and what the binding knows about its set-up.
class Handle {
public:
    XELORAALGO::XeloraAlgo algo;

    enum Table { KR, RectMap1, RectMap2, UndistMap1, UndistMap2, Match, Subpixel, TableCount };

    // The ROI in force (RuntimeError naming `member` if SetROIInfo has not run).
    RoiSize roi(const char* member) const;
    bool roiSet() const { return roiSet_; }
    bool calibrationSet() const { return calibSet_; }
    // RuntimeError unless `t` was built for the ROI in force.
    void require(const char* member, Table t) const;
    void requireCalibration(const char* member) const;
    void built(Table t) { tables_[t] = {true, roi_}; }
    void released(Table t) { tables_[t].built = false; }
    void setRoi(const XELORAALGO::tagXeloraAlgoROIInfo& r);
    void setCalibrationDone() { calibSet_ = true; }

    // Runs `f` with the GIL released under the handle's lock; `expected` is the ROI the arguments
    // were checked against (RuntimeError if another thread changed it in between).
    template <class F>
    auto run(const char* member, const RoiSize& expected, F&& f) -> decltype(f()) {
        py::gil_scoped_release nogil;
        std::lock_guard<std::mutex> lock(mutex_);
        if (expected != RoiSize{roi_.width, roi_.height})
            setupError(member, "the ROI changed while the call was being prepared (SetROIInfo from another thread)");
        return f();
    }
    // As run, for members that do not depend on the ROI.
    template <class F>
    auto runAny(F&& f) -> decltype(f()) {
        py::gil_scoped_release nogil;
        std::lock_guard<std::mutex> lock(mutex_);
        return f();
    }

private:
    struct TableState {
        bool built = false;
        XELORAALGO::tagXeloraAlgoROIInfo roi{};
    };
    XELORAALGO::tagXeloraAlgoROIInfo roi_{};
    bool roiSet_ = false, calibSet_ = false;
    TableState tables_[TableCount];
    std::mutex mutex_;
};

// Registration of each member family on the class, and of the other parts of the module.
using HandleClass = py::class_<Handle>;
void bindRecords(py::module_& m);
void bindFrame(HandleClass& c);
void bindFringe(HandleClass& c);
void bindStereo(HandleClass& c);
void bindDepthFilter(HandleClass& c);
void bindImagingColour(HandleClass& c);
void bindImagingExposure(HandleClass& c);
void bindLaserline(HandleClass& c);
void bindCloud(HandleClass& c);
void bindFitting(HandleClass& c);
void bindHead(py::module_& m);
void bindSim(py::module_& m);

}  // namespace xpy

#endif
