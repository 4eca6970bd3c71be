// Argument checks, result arrays, point-list conversion and the handle's set-up state.
#include "Binding.h"

#include <cstring>
#include <iomanip>
#include <sstream>

namespace xpy {

std::string shapeText(const Shape& shape) {
    std::ostringstream s;
    s << '(';
    for (std::size_t i = 0; i < shape.size(); ++i) {
        if (i) s << ", ";
        if (shape[i] < 0)
            s << "any";
        else
            s << shape[i];
    }
    if (shape.size() == 1) s << ',';
    s << ')';
    return s.str();
}

std::string shapeText(const py::array& a) { return shapeText(Shape(a.shape(), a.shape() + a.ndim())); }

std::string describe(const py::array& a) {
    std::string s = py::str(a.dtype()).cast<std::string>() + " array of shape " + shapeText(a);
    if (!(a.flags() & py::array::c_style)) s += ", not C-contiguous";
    if (!a.writeable()) s += ", read-only";
    return s;
}

void valueError(const std::string& member, const std::string& arg, const std::string& expected,
                const std::string& given) {
    throw py::value_error(member + ": argument '" + arg + "' must be " + expected + ", got " + given);
}

void setupError(const std::string& member, const std::string& what) { throw std::runtime_error(member + ": " + what); }

void atMost(const char* member, const char* arg, double value, double limit) {
    if (value > limit) {
        std::ostringstream given, expected;
        given << std::setprecision(12) << value;
        expected << "at most " << std::setprecision(12) << limit;
        valueError(member, arg, expected.str(), given.str());
    }
}

template <>
const char* dtypeName<float>() {
    return "float32";
}
template <>
const char* dtypeName<double>() {
    return "float64";
}
template <>
const char* dtypeName<bool>() {
    return "bool";
}
template <>
const char* dtypeName<std::uint8_t>() {
    return "uint8";
}
template <>
const char* dtypeName<std::int32_t>() {
    return "int32";
}

namespace {

bool shapeMatches(const py::array& a, const Shape& shape) {
    if (a.ndim() != static_cast<py::ssize_t>(shape.size())) return false;
    for (std::size_t i = 0; i < shape.size(); ++i)
        if (shape[i] >= 0 && a.shape(static_cast<py::ssize_t>(i)) != shape[i]) return false;
    return true;
}

template <class T>
std::string expectation(const Shape& shape, bool writeable) {
    return std::string("a C-contiguous") + (writeable ? " writeable " : " ") + dtypeName<T>() + " array of shape " +
           shapeText(shape);
}

template <class T>
py::array_t<T> checked(const char* member, const char* arg, const py::object& obj, const Shape& shape, bool writeable) {
    if (!py::isinstance<py::array>(obj))
        valueError(member, arg, expectation<T>(shape, writeable),
                   "an object of type " + py::str(py::type::of(obj).attr("__name__")).cast<std::string>());
    py::array a = py::reinterpret_borrow<py::array>(obj);
    const bool ok = py::array_t<T>::check_(a) && shapeMatches(a, shape) && (a.flags() & py::array::c_style) &&
                    (!writeable || a.writeable());
    if (!ok) valueError(member, arg, expectation<T>(shape, writeable), describe(a));
    return py::reinterpret_borrow<py::array_t<T>>(obj);
}

}  // namespace

template <class T>
py::array_t<T> need(const char* member, const char* arg, const py::object& obj, const Shape& shape) {
    return checked<T>(member, arg, obj, shape, false);
}

template <class T>
py::array_t<T> output(const char* member, const char* arg, const py::object& out, const Shape& shape,
                      const py::array* init) {
    py::array_t<T> res;
    if (out.is_none()) {
        res = py::array_t<T>(shape);
        std::memset(res.mutable_data(), 0, static_cast<std::size_t>(res.nbytes()));
    } else {
        res = checked<T>(member, (std::string("out ") + arg).c_str(), out, shape, true);
    }
    if (init && init->data() != res.data())
        std::memmove(res.mutable_data(), init->data(), static_cast<std::size_t>(res.nbytes()));
    return res;
}

#define XPY_INSTANTIATE(T)                                                                      \
    template py::array_t<T> need<T>(const char*, const char*, const py::object&, const Shape&); \
    template py::array_t<T> output<T>(const char*, const char*, const py::object&, const Shape&, const py::array*);
XPY_INSTANTIATE(float)
XPY_INSTANTIATE(double)
XPY_INSTANTIATE(bool)
XPY_INSTANTIATE(std::uint8_t)
XPY_INSTANTIATE(std::int32_t)
#undef XPY_INSTANTIATE

std::vector<py::object> outTuple(const char* member, const py::object& out, std::size_t count) {
    std::vector<py::object> items(count, py::none());
    if (out.is_none()) return items;
    if (!py::isinstance<py::tuple>(out) && !py::isinstance<py::list>(out))
        valueError(member, "out", "None or a tuple of " + std::to_string(count) + " arrays (None entries allowed)",
                   "an object of type " + py::str(py::type::of(out).attr("__name__")).cast<std::string>());
    py::sequence seq = py::reinterpret_borrow<py::sequence>(out);
    if (seq.size() != count)
        valueError(member, "out", "a tuple of " + std::to_string(count) + " arrays",
                   "a sequence of " + std::to_string(seq.size()) + " entries");
    for (std::size_t i = 0; i < count; ++i) items[i] = seq[i];
    return items;
}

XELORAALGO::Point2dList toList2(const py::array_t<double>& a) {
    XELORAALGO::Point2dList v(static_cast<std::size_t>(a.shape(0)));
    if (!v.empty()) std::memcpy(v.data(), a.data(), v.size() * sizeof(v[0]));
    return v;
}

XELORAALGO::Point3dList toList3(const py::array_t<double>& a) {
    XELORAALGO::Point3dList v(static_cast<std::size_t>(a.shape(0)));
    if (!v.empty()) std::memcpy(v.data(), a.data(), v.size() * sizeof(v[0]));
    return v;
}

void copyList(const XELORAALGO::Point2dList& src, py::array_t<double>& dst) {
    if (!src.empty()) std::memcpy(dst.mutable_data(), src.data(), src.size() * sizeof(src[0]));
}

void copyList(const XELORAALGO::Point3dList& src, py::array_t<double>& dst) {
    if (!src.empty()) std::memcpy(dst.mutable_data(), src.data(), src.size() * sizeof(src[0]));
}

py::array_t<double> newList(const XELORAALGO::Point3dList& src) {
    py::array_t<double> a(Shape{static_cast<py::ssize_t>(src.size()), 3});
    copyList(src, a);
    return a;
}

std::vector<unsigned char*> planePtrs(const py::array_t<std::uint8_t>& stack, py::ssize_t count) {
    std::vector<unsigned char*> p(static_cast<std::size_t>(count));
    const py::ssize_t step = stack.shape(0) ? stack.size() / stack.shape(0) : 0;
    for (py::ssize_t k = 0; k < count; ++k)
        p[static_cast<std::size_t>(k)] = const_cast<unsigned char*>(stack.data()) + k * step;
    return p;
}

PointMap pointMap(Handle& h, const char* member, const py::object& X, const py::object& Y, const py::object& Z,
                  const py::object& mask, const py::object& out) {
    PointMap p;
    p.r = h.roi(member);
    const Shape s{p.r.height, p.r.width};
    auto x = need<float>(member, "X", X, s);
    auto y = need<float>(member, "Y", Y, s);
    auto z = need<float>(member, "Z", Z, s);
    auto m = need<bool>(member, "mask", mask, s);
    auto o = outTuple(member, out, 4);
    p.X = output<float>(member, "X", o[0], s, &x);
    p.Y = output<float>(member, "Y", o[1], s, &y);
    p.Z = output<float>(member, "Z", o[2], s, &z);
    p.mask = output<bool>(member, "mask", o[3], s, &m);
    return p;
}

RoiSize Handle::roi(const char* member) const {
    if (!roiSet_) setupError(member, "no ROI: call SetROIInfo first");
    return {roi_.width, roi_.height};
}

void Handle::requireCalibration(const char* member) const {
    roi(member);
    if (!calibSet_) setupError(member, "no calibration: call SetCalibrationInfo first");
}

void Handle::require(const char* member, Table t) const {
    static const char* const builder[TableCount] = {"CalKR()",
                                                    "CalRectifyMap1(True)",
                                                    "CalRectifyMap1(False)",
                                                    "CalRectifyMap2(True)",
                                                    "CalRectifyMap2(False)",
                                                    "MatchI",
                                                    "MatchII"};
    static const char* const what[TableCount] = {"the stereo geometry",          "camera 1's rectification map",
                                                 "camera 2's rectification map", "camera 1's undistortion map",
                                                 "camera 2's undistortion map",  "the integer match tables",
                                                 "the sub-pixel match table"};
    roi(member);
    const TableState& s = tables_[t];
    if (!s.built) setupError(member, std::string("needs ") + what[t] + ": call " + builder[t] + " first");
    if (s.roi.width != roi_.width || s.roi.height != roi_.height)
        setupError(member, std::string(what[t]) + " was built for a " + std::to_string(s.roi.width) + " x " +
                               std::to_string(s.roi.height) + " ROI, the ROI is now " + std::to_string(roi_.width) +
                               " x " + std::to_string(roi_.height) + ": call " + builder[t] + " again");
}

void Handle::setRoi(const XELORAALGO::tagXeloraAlgoROIInfo& r) {
    roi_ = r;
    roiSet_ = true;
}

}  // namespace xpy
