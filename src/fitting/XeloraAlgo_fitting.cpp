// Surface and curve fitting members of the exported handle: each forwards to its operation in
// fitting:: (none of them reads the engine).
#include <string>

#include "fitting.h"
#include "frame/Checks.h"

namespace XELORAALGO {

void XeloraAlgo::PlaneFitPoly11(const Point3dList& points, std::vector<float>& coefficients) {
    fitting::PlaneFitPoly11(points, coefficients);
}

void XeloraAlgo::PlaneFitPoly22(const Point3dList& points, std::vector<float>& coefficients) {
    fitting::PlaneFitPoly22(points, coefficients);
}

void XeloraAlgo::PlaneFitPoly33(const Point3dList& points, std::vector<float>& coefficients) {
    fitting::PlaneFitPoly33(points, coefficients);
}

void XeloraAlgo::PlaneFitPoly55(const Point3dList& points, std::vector<float>& coefficients) {
    fitting::PlaneFitPoly55(points, coefficients);
}

void XeloraAlgo::PlaneFitPoly1010(const Point3dList& points, std::vector<float>& coefficients) {
    fitting::PlaneFitPoly1010(points, coefficients);
}

std::vector<double> XeloraAlgo::polynomialFit(const std::vector<double>& x, const std::vector<double>& y,
                                              const int& degree) {
    // The normal equations hold (degree + 1)^2 doubles; beyond degree 100 they mean nothing in double.
    // A negative degree gives an empty vector.
    checks::requireAtMost("polynomialFit", "degree", degree, 100);
    if (y.size() < x.size())
        checks::badArgument("polynomialFit", "y.size()", "must be >= x.size() " + std::to_string(x.size()), y.size());
    return fitting::polynomialFit(x, y, degree);
}

double XeloraAlgo::evaluatePolynomial(const std::vector<double>& coefficients, const double& x) {
    return fitting::evaluatePolynomial(coefficients, x);
}

}  // namespace XELORAALGO
