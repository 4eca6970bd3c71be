// Least-squares polynomial surfaces z = f(x, y): PlaneFitPoly11, PlaneFitPoly22, PlaneFitPoly33 (normal
// equations from double power sums) and PlaneFitPoly55, PlaneFitPoly1010 (normal equations from scaled
// per-point products).
//
// Inputs:  points, a caller-owned list of (x, y, z) doubles; all points are used, in order.
// Outputs: coefficients, a caller-owned std::vector<float>, emptied and filled with one value per term.
// Working storage: the normal matrix (terms x terms) and the right-hand side (terms x 1) as float
// Matrix objects, and the double power sums; all released before returning.
#include <cstddef>
#include <utility>
#include <vector>

#include "Matrix.h"
#include "fitting.h"
#include "numerics/numerics.h"

namespace XELORAALGO {
namespace fitting {

namespace {

// One term x^a y^b.
struct Term {
    int a;
    int b;
};

// Terms of every total degree from maxDegree down to 0, each degree by falling power of x.
std::vector<Term> fullTerms(int maxDegree) {
    std::vector<Term> terms;
    for (int d = maxDegree; d >= 0; --d)
        for (int a = d; a >= 0; --a) terms.push_back({a, d - a});
    return terms;
}

// c = N^-1 r; the inversion's result is deliberately not checked (a singular N leaves the partly
// reduced matrix in place).
Matrix solve(Matrix& N, const Matrix& r) {
    N.invert();
    return multiply(N, r);
}

// Orders 1, 2, 3: power sums in double, each written into N and r once, rounded to float.
void fitFromPowerSums(const Point3dList& points, const std::vector<Term>& terms, int maxDegree,
                      std::vector<float>& coefficients) {
    const int n = static_cast<int>(terms.size());
    const int D2 = 2 * maxDegree;
    const int side = D2 + 1;
    // sumXY[a * side + b] = sum x^a y^b (a + b <= 2D); sumXYZ likewise with a factor z (a + b <= D).
    std::vector<double> sumXY(static_cast<std::size_t>(side * side), 0.0);
    std::vector<double> sumXYZ(static_cast<std::size_t>(side * side), 0.0);
    std::vector<double> xp(static_cast<std::size_t>(side)), yp(static_cast<std::size_t>(side));
    for (const auto& p : points) {
        const double x = p[0], y = p[1], z = p[2];
        xp[0] = 1.0;
        yp[0] = 1.0;
        for (int k = 1; k <= D2; ++k) {
            xp[k] = xp[k - 1] * x;
            yp[k] = yp[k - 1] * y;
        }
        for (int a = 0; a <= D2; ++a) {
            for (int b = 0; a + b <= D2; ++b) {
                const double m = xp[a] * yp[b];
                sumXY[a * side + b] += m;
                if (a + b <= maxDegree) sumXYZ[a * side + b] += m * z;
            }
        }
    }
    sumXY[0] = static_cast<double>(points.size());

    Matrix N(n, n);
    Matrix r(n, 1);
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            const int a = terms[i].a + terms[j].a;
            const int b = terms[i].b + terms[j].b;
            N(i, j) = static_cast<float>(sumXY[a * side + b]);
        }
        r(i, 0) = static_cast<float>(sumXYZ[terms[i].a * side + terms[i].b]);
    }
    const Matrix c = solve(N, r);
    coefficients.clear();
    for (int k = 0; k < n; ++k) coefficients.push_back(c(k, 0));
}

// Orders 5 and 10: coordinates scaled by 1/100, per-point products added into the float matrices.
void fitFromScaledProducts(const Point3dList& points, int maxDegree, std::vector<float>& coefficients) {
    const std::vector<Term> terms = fullTerms(maxDegree);
    const int n = static_cast<int>(terms.size());
    Matrix N(n, n);
    Matrix r(n, 1);
    N.setVal(0, n - 1, 0, n - 1, 0.0f);
    r.setVal(0, n - 1, 0, 0, 0.0f);

    std::vector<double> xp(static_cast<std::size_t>(maxDegree + 1)), yp(static_cast<std::size_t>(maxDegree + 1));
    std::vector<double> phi(static_cast<std::size_t>(n));
    for (const auto& p : points) {
        const double x = p[0] / 100.0, y = p[1] / 100.0, z = p[2] / 100.0;
        xp[0] = 1.0;
        yp[0] = 1.0;
        for (int k = 1; k <= maxDegree; ++k) {
            xp[k] = xp[k - 1] * x;
            yp[k] = yp[k - 1] * y;
        }
        for (int k = 0; k < n; ++k) phi[k] = xp[terms[k].a] * yp[terms[k].b];
        for (int i = 0; i < n; ++i) {
            r(i, 0) = static_cast<float>(static_cast<double>(r(i, 0)) + phi[i] * z);
            // N is symmetric and (i, j), (j, i) receive identical additions: update i <= j only and
            // mirror once after the loop.
            float* row = N.data()[i];
            const double pi = phi[i];
            for (int j = i; j < n; ++j) row[j] = static_cast<float>(static_cast<double>(row[j]) + pi * phi[j]);
        }
    }
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < i; ++j) N(i, j) = N(j, i);

    const Matrix c = solve(N, r);
    coefficients.clear();
    for (int k = 0; k < n; ++k) {
        const double scale = num::pow(10.0, static_cast<double>(2 * (1 - terms[k].a - terms[k].b)));
        coefficients.push_back(static_cast<float>(static_cast<double>(c(k, 0)) * scale));
    }
}

}  // namespace

void PlaneFitPoly11(const Point3dList& points, std::vector<float>& coefficients) {
    static const std::vector<Term> terms = {{1, 0}, {0, 1}, {0, 0}};
    fitFromPowerSums(points, terms, 1, coefficients);
}

void PlaneFitPoly22(const Point3dList& points, std::vector<float>& coefficients) {
    static const std::vector<Term> terms = {{2, 0}, {0, 2}, {1, 1}, {1, 0}, {0, 1}, {0, 0}};
    fitFromPowerSums(points, terms, 2, coefficients);
}

void PlaneFitPoly33(const Point3dList& points, std::vector<float>& coefficients) {
    static const std::vector<Term> terms = {{3, 0}, {2, 1}, {1, 2}, {0, 3}, {2, 0},
                                            {1, 1}, {0, 2}, {1, 0}, {0, 1}, {0, 0}};
    fitFromPowerSums(points, terms, 3, coefficients);
}

void PlaneFitPoly55(const Point3dList& points, std::vector<float>& coefficients) {
    fitFromScaledProducts(points, 5, coefficients);
}

void PlaneFitPoly1010(const Point3dList& points, std::vector<float>& coefficients) {
    fitFromScaledProducts(points, 10, coefficients);
}

}  // namespace fitting
}  // namespace XELORAALGO
