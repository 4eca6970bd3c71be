// Surface and curve fitting: PlaneFitPoly11/22/33/55/1010, polynomialFit and evaluatePolynomial.
#include <vector>

#include "Binding.h"

namespace xpy {
namespace {

using FitFn = void (XELORAALGO::XeloraAlgo::*)(const XELORAALGO::Point3dList&, std::vector<float>&);

std::vector<double> vec(const char* member, const char* arg, const py::object& a) {
    auto v = need<double>(member, arg, a, Shape{-1});
    return std::vector<double>(v.data(), v.data() + v.shape(0));
}

void defPlane(HandleClass& c, const char* name, FitFn fn, const char* doc) {
    c.def(
        name,
        [name, fn](Handle& h, const py::object& points) {
            auto pts = toList3(need<double>(name, "points", points, Shape{-1, 3}));
            std::vector<float> coef;
            h.runAny([&] { (h.algo.*fn)(pts, coef); });
            py::array_t<float> res(Shape{static_cast<py::ssize_t>(coef.size())});
            std::copy(coef.begin(), coef.end(), res.mutable_data());
            return res;
        },
        py::arg("points"), doc);
}

}  // namespace

void bindFitting(HandleClass& c) {
    using XELORAALGO::XeloraAlgo;
    defPlane(c, "PlaneFitPoly11", &XeloraAlgo::PlaneFitPoly11,
             "Least-squares plane z = f(x, y) of an (N, 3) float64 cloud; float32 coefficients of x, y, 1.");
    defPlane(c, "PlaneFitPoly22", &XeloraAlgo::PlaneFitPoly22,
             "Quadratic surface; coefficients of x^2, y^2, xy, x, y, 1.");
    defPlane(c, "PlaneFitPoly33", &XeloraAlgo::PlaneFitPoly33,
             "Cubic surface; coefficients of x^3, x^2y, xy^2, y^3, x^2, xy, y^2, x, y, 1.");
    defPlane(c, "PlaneFitPoly55", &XeloraAlgo::PlaneFitPoly55,
             "Surface of total degree 5 (21 coefficients, degree falling, x^d first within a degree).");
    defPlane(c, "PlaneFitPoly1010", &XeloraAlgo::PlaneFitPoly1010,
             "Surface of total degree 10 (66 coefficients, same order as PlaneFitPoly55).");
    c.def(
        "polynomialFit",
        [](Handle& h, const py::object& x, const py::object& y, int degree) {
            const std::vector<double> xs = vec("polynomialFit", "x", x), ys = vec("polynomialFit", "y", y);
            if (ys.size() < xs.size())
                valueError("polynomialFit", "y", "at least as many entries as x (" + std::to_string(xs.size()) + ")",
                           std::to_string(ys.size()) + " entries");
            if (degree > 1000) valueError("polynomialFit", "degree", "at most 1000", std::to_string(degree));
            std::vector<double> coef = h.runAny([&] { return h.algo.polynomialFit(xs, ys, degree); });
            py::array_t<double> res(Shape{static_cast<py::ssize_t>(coef.size())});
            std::copy(coef.begin(), coef.end(), res.mutable_data());
            return res;
        },
        py::arg("x"), py::arg("y"), py::arg("degree"),
        "Coefficients c0 .. c_degree (ascending powers) of the least-squares polynomial through the float64 "
        "samples (x, y); empty for a negative degree.");
    c.def(
        "evaluatePolynomial",
        [](Handle& h, const py::object& coefficients, double x) {
            const std::vector<double> cf = vec("evaluatePolynomial", "coefficients", coefficients);
            return h.runAny([&] { return h.algo.evaluatePolynomial(cf, x); });
        },
        py::arg("coefficients"), py::arg("x"), "c0 + c1 x + c2 x^2 + ... (0 for no coefficients).");
}

}  // namespace xpy
