// Surface and curve fitting: least-squares polynomial surfaces z = f(x, y) of orders 1, 2, 3, 5 and
// 10 over point clouds, and one-dimensional polynomial fits y = c0 + c1 x + ... + cn x^n.
//
// None of these operations reads engine state. Inputs are caller-owned containers passed by const
// reference; outputs are written into the caller's vector (emptied first) or returned by value.
// Nothing is validated: degenerate inputs (too few points, collinear points, repeated x values)
// give whatever the partly reduced or singular equations yield, and no error is reported.
#ifndef XELORAALGO_SRC_FITTING_FITTING_H
#define XELORAALGO_SRC_FITTING_FITTING_H

#include <vector>

#include "XeloraAlgo.h"

namespace XELORAALGO {
namespace fitting {

// ---- polynomial surface fits (PlaneFitPoly.cpp) ----
//
// Each fit builds the normal equations N c = r of its terms in single-precision Matrix form,
// inverts N (pivot limit 1e-20; the result is not checked) and sets c = N^-1 r. `coefficients` is
// emptied and receives one float per term; the surface is z = sum c[k] x^a[k] y^b[k] in the input's
// own units. An empty point list gives all-zero coefficients.
//
// Orders 1, 2 and 3: every power sum sum(x^a y^b) and sum(x^a y^b z) is accumulated over the points in
// double (x^a and y^b as running products, then x^a * y^b, then * z) and rounded to float once when
// it is written into N and r; the constant term's sum is the point count.
//
// Term orders (= output orders):
//   PlaneFitPoly11:  x, y, 1
//   PlaneFitPoly22:  x^2, y^2, xy, x, y, 1            (y^2 before xy)
//   PlaneFitPoly33:  x^3, x^2y, xy^2, y^3, x^2, xy, y^2, x, y, 1
void PlaneFitPoly11(const Point3dList& points, std::vector<float>& coefficients);
void PlaneFitPoly22(const Point3dList& points, std::vector<float>& coefficients);
void PlaneFitPoly33(const Point3dList& points, std::vector<float>& coefficients);

// Orders 5 and 10: every term x^a y^b with a + b <= D (D = 5: 21 terms, D = 10: 66 terms), total
// degree falling from D to 0 and, within a degree d, x^d, x^(d-1) y, ..., y^d. x, y and z are divided
// by 100; per point the term values are products of running powers in double, and each addition into
// the float N and r is done in double and rounded back to float. Each coefficient is multiplied by
// 10^(2 (1 - a - b)) (in double, stored as float) so that it applies to the unscaled x, y and z.
void PlaneFitPoly55(const Point3dList& points, std::vector<float>& coefficients);
void PlaneFitPoly1010(const Point3dList& points, std::vector<float>& coefficients);

// ---- polynomial curve fit (PolynomialFit.cpp) ----

// Least-squares coefficients (ascending powers, degree + 1 of them) of y over the samples
// (x[k], y[k]), k < x.size(); y must be at least as long as x. Double precision throughout: normal
// equations from pow(x, i + j) and pow(x, i) * y summed in sample order, Gaussian elimination with
// partial pivoting (a later row replaces the pivot only if strictly larger in magnitude), back
// substitution. A singular system gives infinite or NaN coefficients. A negative degree returns an
// empty vector.
std::vector<double> polynomialFit(const std::vector<double>& x, const std::vector<double>& y, int degree);

// sum over k of coefficients[k] * x^k, with x^k kept as a running power (not nested evaluation);
// 0 for an empty vector.
double evaluatePolynomial(const std::vector<double>& coefficients, double x);

}  // namespace fitting
}  // namespace XELORAALGO

#endif  // XELORAALGO_SRC_FITTING_FITTING_H
