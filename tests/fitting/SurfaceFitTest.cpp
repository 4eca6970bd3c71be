// Polynomial surface fits of orders 1, 2, 3, 5 and 10: recovery of exact surfaces in each term order and
// in the caller's units, the empty-input result, and bit-exact normal equations against an independent
// build (double sums rounded once for orders 1-3, per-point additions into float elements for 5 and 10).
#include <cmath>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "XeloraAlgo.h"
#include "fitting/Matrix.h"
#include "fitting/fitting.h"

using namespace XELORAALGO;
using fitting::Matrix;

namespace {

using Terms = std::vector<std::pair<int, int>>;  // x^a y^b

struct Fit {
    int order;
    void (*fn)(const Point3dList&, std::vector<float>&);
    void (XeloraAlgo::*member)(const Point3dList&, std::vector<float>&);
    double tol;  // recovery tolerance in the fit's internal units (order 10 in float is poorly conditioned)
};
const Fit fits[] = {{1, fitting::PlaneFitPoly11, &XeloraAlgo::PlaneFitPoly11, 1e-5},
                    {2, fitting::PlaneFitPoly22, &XeloraAlgo::PlaneFitPoly22, 1e-5},
                    {3, fitting::PlaneFitPoly33, &XeloraAlgo::PlaneFitPoly33, 1e-5},
                    {5, fitting::PlaneFitPoly55, &XeloraAlgo::PlaneFitPoly55, 1e-3},
                    {10, fitting::PlaneFitPoly1010, &XeloraAlgo::PlaneFitPoly1010, 0.1}};

// Output order: total degree falling, within a degree x^d, x^(d-1) y, ..., y^d; except that order 2
// puts y^2 before xy (x^2, y^2, xy, x, y, 1).
Terms termsOf(int order) {
    Terms t;
    for (int d = order; d >= 0; --d)
        for (int a = d; a >= 0; --a) t.push_back({a, d - a});
    if (order == 2) std::swap(t[1], t[2]);
    return t;
}

double term(double x, double y, std::pair<int, int> ab) { return std::pow(x, ab.first) * std::pow(y, ab.second); }

// Orders 5 and 10 divide x, y, z by 100 and scale each coefficient back by 100^(1 - a - b).
double unit(int order) { return order > 3 ? 100.0 : 1.0; }
double unitScale(int order, std::pair<int, int> ab) { return std::pow(unit(order), 1 - ab.first - ab.second); }

// Normal equations formed per term pair: orders 1-3 sum in double and round to float once; orders 5 and
// 10 round after every per-point addition. Solved with the matrix helper (invert, multiply).
std::vector<float> reference(const Point3dList& pts, int order) {
    const Terms t = termsOf(order);
    const int n = static_cast<int>(t.size());
    const double s = unit(order);
    std::vector<double> sums(n * (n + 1), 0.0);  // row i: N(i, 0 .. n-1), then r(i)
    for (const auto& p : pts) {
        std::vector<double> phi;
        for (const auto& ab : t) phi.push_back(term(p[0] / s, p[1] / s, ab));
        phi.push_back(p[2] / s);
        for (int k = 0; k < n * (n + 1); ++k) {
            const double v = sums[k] + phi[k / (n + 1)] * phi[k % (n + 1)];
            sums[k] = order > 3 ? static_cast<float>(v) : v;
        }
    }
    Matrix N(n, n), r(n, 1);
    for (int i = 0; i < n; ++i)
        for (int j = 0; j <= n; ++j) (j < n ? N(i, j) : r(i, 0)) = static_cast<float>(sums[i * (n + 1) + j]);
    N.invert();
    const Matrix c = fitting::multiply(N, r);
    std::vector<float> out;
    for (int k = 0; k < n; ++k) out.push_back(static_cast<float>(double(c(k, 0)) * unitScale(order, t[k])));
    return out;
}

}  // namespace

TEST(SurfaceFit, RecoversExactSurfacesInTermOrderAndCallerUnitsAndGivesZerosForNoPoints) {
    for (const Fit& f : fits) {
        // Distinct coefficients (in internal units) on every term up to degree 3, up to degree 2 for the
        // scaled fits, which see coordinates up to 267 (2.67 internally); every term is checked.
        const Terms t = termsOf(f.order);
        const double s = unit(f.order);
        std::vector<double> want;
        for (const auto& [a, b] : t)
            want.push_back(a + b <= (f.order > 3 ? 2 : 3) ? (0.5 * (a + 1) - 0.75 * b) * unitScale(f.order, {a, b})
                                                          : 0);
        Point3dList pts;
        for (int i = -16; i <= 16; ++i)
            for (int j = -16; j <= 16; ++j) {
                pts.push_back({i * s / 6, j * s / 6, 0.0});
                for (std::size_t k = 0; k < t.size(); ++k) pts.back()[2] += want[k] * term(i * s / 6, j * s / 6, t[k]);
            }
        std::vector<float> c(100, 7.0f);
        f.fn(Point3dList{}, c);  // no points: all zeros, the previous content discarded
        EXPECT_EQ(c, std::vector<float>(t.size(), 0.0f)) << "order " << f.order;
        f.fn(pts, c);
        ASSERT_EQ(c.size(), t.size());
        for (std::size_t k = 0; k < t.size(); ++k)
            EXPECT_NEAR(c[k], want[k], f.tol * unitScale(f.order, t[k])) << "order " << f.order << " term " << k;
    }
}

TEST(SurfaceFit, NormalEquationsMatchAnIndependentBuildBitForBit) {
    // Multiples of 25 (quarters after scaling) keep every term product exact in double, so only the
    // float rounding points differ; the sums of orders 1-3 need far more than float's 24 bits.
    Point3dList pts;
    for (int i = -3; i <= 6; ++i)
        for (int j = -4; j <= 5; ++j) pts.push_back({25.0 * i, 25.0 * j, 25.0 * ((3 * i + 5 * j * j) % 7)});
    XeloraAlgo algo;
    for (const Fit& f : fits) {
        const std::vector<float> want = reference(pts, f.order);
        std::vector<float> direct, viaHandle;
        f.fn(pts, direct);
        (algo.*f.member)(pts, viaHandle);
        EXPECT_EQ(direct, want) << "order " << f.order;
        EXPECT_EQ(viaHandle, want) << "order " << f.order;
    }
}
