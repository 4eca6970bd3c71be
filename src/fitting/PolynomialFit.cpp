// One-dimensional polynomial least squares in double precision: polynomialFit and evaluatePolynomial.
//
// Inputs:  sample vectors x and y (caller-owned, doubles; y at least as long as x), the degree n;
//          for evaluation a coefficient vector (ascending powers) and one x.
// Outputs: polynomialFit returns n + 1 coefficients, c[0] the constant term; evaluatePolynomial
//          returns the value.
// Working storage: the (n + 1) x (n + 1) normal matrix and the right-hand side, released on return.
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

#include "fitting.h"
#include "numerics/numerics.h"

namespace XELORAALGO {
namespace fitting {

std::vector<double> polynomialFit(const std::vector<double>& x, const std::vector<double>& y, int degree) {
    if (degree < 0) return {};
    const int m = degree + 1;
    const std::size_t count = x.size();
    std::vector<std::vector<double>> N(static_cast<std::size_t>(m), std::vector<double>(static_cast<std::size_t>(m)));
    std::vector<double> r(static_cast<std::size_t>(m));
    // N[i][j] depends on i + j only: each of the 2m - 1 distinct sums is formed once, in sample order.
    std::vector<double> powerSum(static_cast<std::size_t>(2 * m - 1));
    for (int e = 0; e < 2 * m - 1; ++e) {
        double s = 0.0;
        for (std::size_t k = 0; k < count; ++k) s += num::pow(x[k], static_cast<double>(e));
        powerSum[e] = s;
    }
    for (int i = 0; i < m; ++i) {
        for (int j = 0; j < m; ++j) N[i][j] = powerSum[i + j];
        double s = 0.0;
        for (std::size_t k = 0; k < count; ++k) s += num::pow(x[k], static_cast<double>(i)) * y[k];
        r[i] = s;
    }

    // Forward elimination with partial pivoting.
    for (int k = 0; k < m; ++k) {
        int p = k;
        for (int i = k + 1; i < m; ++i)
            if (std::fabs(N[i][k]) > std::fabs(N[p][k])) p = i;
        if (p != k) {
            std::swap(N[k], N[p]);
            std::swap(r[k], r[p]);
        }
        for (int i = k + 1; i < m; ++i) {
            const double f = N[i][k] / N[k][k];
            for (int j = k; j < m; ++j) N[i][j] -= f * N[k][j];
            r[i] -= f * r[k];
        }
    }

    // Back substitution, last row first.
    std::vector<double> c(static_cast<std::size_t>(m));
    for (int i = m - 1; i >= 0; --i) {
        double s = r[i];
        for (int j = i + 1; j < m; ++j) s -= N[i][j] * c[j];
        c[i] = s / N[i][i];
    }
    return c;
}

double evaluatePolynomial(const std::vector<double>& coefficients, double x) {
    double sum = 0.0;
    double p = 1.0;
    for (const double c : coefficients) {
        sum += p * c;
        p = p * x;
    }
    return sum;
}

}  // namespace fitting
}  // namespace XELORAALGO
