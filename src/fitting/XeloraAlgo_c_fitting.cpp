// C interface of the surface and curve fits: each function forwards to the XeloraAlgo member of the
// same name; points arrive as flat (x, y, z) triples (see include/xelora_c.h).
#include <vector>

#include "frame/XeloraAlgo_c.h"

using XELORAALGO::Point3dList;
using XELORAALGO::XeloraAlgo;
using namespace XELORAALGO::capi;

namespace {

template <class T>
std::vector<T> toVector(const T* p, size_t count, const char* fn, const char* name) {
    requireArray(p, count, fn, name);
    return std::vector<T>(p, p + count);
}

template <class T>
void copyOut(const std::vector<T>& v, T* dst, size_t capacity, size_t* count, const char* fn, const char* name) {
    checkCapacity(v.size(), capacity, count, fn, name);
    for (size_t i = 0; i < v.size(); ++i) dst[i] = v[i];
}

using SurfaceFit = void (XeloraAlgo::*)(const Point3dList&, std::vector<float>&);

int surfaceFit(const char* fn, xelora_handle* h, const double* points, size_t pointCount, float* coefficients,
               size_t capacity, size_t* coefficientCount, SurfaceFit member) {
    return call(fn, h, [&](XeloraAlgo& a, const char*) {
        std::vector<float> c;
        (a.*member)(toList<3>(points, pointCount, fn, "points"), c);
        copyOut(c, coefficients, capacity, coefficientCount, fn, "coefficients");
    });
}

}  // namespace

extern "C" {

int xelora_PlaneFitPoly11(xelora_handle* h, const double* points, size_t pointCount, float* coefficients,
                          size_t capacity, size_t* coefficientCount) {
    return surfaceFit(__func__, h, points, pointCount, coefficients, capacity, coefficientCount,
                      &XeloraAlgo::PlaneFitPoly11);
}
int xelora_PlaneFitPoly22(xelora_handle* h, const double* points, size_t pointCount, float* coefficients,
                          size_t capacity, size_t* coefficientCount) {
    return surfaceFit(__func__, h, points, pointCount, coefficients, capacity, coefficientCount,
                      &XeloraAlgo::PlaneFitPoly22);
}
int xelora_PlaneFitPoly33(xelora_handle* h, const double* points, size_t pointCount, float* coefficients,
                          size_t capacity, size_t* coefficientCount) {
    return surfaceFit(__func__, h, points, pointCount, coefficients, capacity, coefficientCount,
                      &XeloraAlgo::PlaneFitPoly33);
}
int xelora_PlaneFitPoly55(xelora_handle* h, const double* points, size_t pointCount, float* coefficients,
                          size_t capacity, size_t* coefficientCount) {
    return surfaceFit(__func__, h, points, pointCount, coefficients, capacity, coefficientCount,
                      &XeloraAlgo::PlaneFitPoly55);
}
int xelora_PlaneFitPoly1010(xelora_handle* h, const double* points, size_t pointCount, float* coefficients,
                            size_t capacity, size_t* coefficientCount) {
    return surfaceFit(__func__, h, points, pointCount, coefficients, capacity, coefficientCount,
                      &XeloraAlgo::PlaneFitPoly1010);
}

int xelora_polynomialFit(xelora_handle* h, const double* x, size_t xCount, const double* y, size_t yCount,
                         int degree, double* coefficients, size_t capacity, size_t* coefficientCount) {
    return call(__func__, h, [&](XeloraAlgo& a, const char* fn) {
        const std::vector<double> c =
            a.polynomialFit(toVector(x, xCount, fn, "x"), toVector(y, yCount, fn, "y"), degree);
        copyOut(c, coefficients, capacity, coefficientCount, fn, "coefficients");
    });
}

int xelora_evaluatePolynomial(xelora_handle* h, const double* coefficients, size_t coefficientCount, double x,
                              double* value) {
    return call(__func__, h, [&](XeloraAlgo& a, const char* fn) {
        out(value, fn, "value") = a.evaluatePolynomial(toVector(coefficients, coefficientCount, fn, "coefficients"), x);
    });
}

}  // extern "C"
