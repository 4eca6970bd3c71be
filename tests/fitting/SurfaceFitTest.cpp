// Polynomial surface fits: recovery of known surfaces, term orders, output rescaling, the documented
// empty-input result, and bit-exact normal equations (sums in double rounded once for orders 1-3,
// per-point double additions into float elements for orders 5 and 10).
#include <cmath>
#include <functional>
#include <vector>

#include <gtest/gtest.h>

#include "XeloraAlgo.h"
#include "fitting/Matrix.h"
#include "fitting/fitting.h"

using XELORAALGO::Point3dList;
using XELORAALGO::fitting::Matrix;
namespace fitting = XELORAALGO::fitting;

namespace {

Point3dList grid(double lo, double hi, int steps, const std::function<double(double, double)>& f) {
    Point3dList pts;
    for (int i = 0; i <= steps; ++i) {
        for (int j = 0; j <= steps; ++j) {
            const double x = lo + (hi - lo) * i / steps;
            const double y = lo + (hi - lo) * j / steps;
            pts.push_back({x, y, f(x, y)});
        }
    }
    return pts;
}

void expectNearAll(const std::vector<float>& got, const std::vector<double>& want, double tol) {
    ASSERT_EQ(got.size(), want.size());
    for (std::size_t k = 0; k < want.size(); ++k) EXPECT_NEAR(got[k], want[k], tol) << "term " << k;
}

// Solves N c = r the way the fits do, with the matrix helper: invert N, multiply.
std::vector<float> solveWithMatrix(Matrix N, const Matrix& r) {
    N.invert();
    const Matrix c = fitting::multiply(N, r);
    std::vector<float> out;
    for (int k = 0; k < c.rows(); ++k) out.push_back(c(k, 0));
    return out;
}

using TermFn = std::function<double(double, double)>;

// Normal equations from power sums accumulated in double and rounded to float once.
std::vector<float> powerSumReference(const Point3dList& pts, const std::vector<TermFn>& terms) {
    const int n = static_cast<int>(terms.size());
    std::vector<double> N(n * n, 0.0), r(n, 0.0);
    for (const auto& p : pts) {
        for (int i = 0; i < n; ++i) {
            r[i] += terms[i](p[0], p[1]) * p[2];
            for (int j = 0; j < n; ++j) N[i * n + j] += terms[i](p[0], p[1]) * terms[j](p[0], p[1]);
        }
    }
    Matrix Nf(n, n), rf(n, 1);
    for (int i = 0; i < n; ++i) {
        rf(i, 0) = static_cast<float>(r[i]);
        for (int j = 0; j < n; ++j) Nf(i, j) = static_cast<float>(N[i * n + j]);
    }
    return solveWithMatrix(Nf, rf);
}

// Integer points whose every power sum is an exact integer in double but far beyond float's 24 bits,
// with integer z values that lie on no polynomial.
Point3dList largeIntegerCloud() {
    Point3dList pts;
    for (int x = 0; x <= 40; ++x)
        for (int y = 0; y <= 30; y += 2) pts.push_back({double(x), double(y), double((7 * x + 3 * y * y) % 11)});
    return pts;
}

}  // namespace

TEST(SurfaceFit, EmptyListGivesZerosOfEachLength) {
    const Point3dList none;
    const std::vector<std::pair<void (*)(const Point3dList&, std::vector<float>&), std::size_t>> fits = {
        {fitting::PlaneFitPoly11, 3},  {fitting::PlaneFitPoly22, 6},   {fitting::PlaneFitPoly33, 10},
        {fitting::PlaneFitPoly55, 21}, {fitting::PlaneFitPoly1010, 66}};
    for (const auto& f : fits) {
        std::vector<float> c(100, 7.0f);  // previous content is discarded
        f.first(none, c);
        ASSERT_EQ(c.size(), f.second);
        for (float v : c) EXPECT_EQ(v, 0.0f);
    }
}

TEST(SurfaceFit, Poly11RecoversPlane) {
    std::vector<float> c;
    fitting::PlaneFitPoly11(grid(-5, 5, 10, [](double x, double y) { return 2 * x - 3 * y + 5; }), c);
    expectNearAll(c, {2, -3, 5}, 1e-5);
}

TEST(SurfaceFit, Poly22RecoversQuadricInItsTermOrder) {
    // Term order x^2, y^2, xy, x, y, 1.
    std::vector<float> c;
    fitting::PlaneFitPoly22(
        grid(-3, 3, 12, [](double x, double y) { return 1 * x * x + 2 * y * y + 3 * x * y + 4 * x + 5 * y + 6; }), c);
    expectNearAll(c, {1, 2, 3, 4, 5, 6}, 1e-4);

    fitting::PlaneFitPoly22(grid(-4, 4, 16, [](double x, double) { return x * x + 4; }), c);
    expectNearAll(c, {1, 0, 0, 0, 0, 4}, 1e-4);
}

TEST(SurfaceFit, Poly33RecoversCubicInItsTermOrder) {
    // Term order x^3, x^2y, xy^2, y^3, x^2, xy, y^2, x, y, 1.
    const std::vector<double> want = {0.5, -1, 1.5, -2, 2.5, -3, 3.5, -4, 4.5, -5};
    const auto f = [&](double x, double y) {
        return want[0] * x * x * x + want[1] * x * x * y + want[2] * x * y * y + want[3] * y * y * y +
               want[4] * x * x + want[5] * x * y + want[6] * y * y + want[7] * x + want[8] * y + want[9];
    };
    std::vector<float> c;
    fitting::PlaneFitPoly33(grid(-2, 2, 16, f), c);
    expectNearAll(c, want, 2e-3);
}

TEST(SurfaceFit, PowerSumFitsRoundEachDoubleSumToFloatOnce) {
    const Point3dList pts = largeIntegerCloud();
    std::vector<float> c;

    fitting::PlaneFitPoly11(pts, c);
    EXPECT_EQ(c, powerSumReference(pts, {[](double x, double) { return x; }, [](double, double y) { return y; },
                                         [](double, double) { return 1.0; }}));

    fitting::PlaneFitPoly22(pts, c);
    EXPECT_EQ(c, powerSumReference(pts, {[](double x, double) { return x * x; }, [](double, double y) { return y * y; },
                                         [](double x, double y) { return x * y; }, [](double x, double) { return x; },
                                         [](double, double y) { return y; }, [](double, double) { return 1.0; }}));

    fitting::PlaneFitPoly33(pts, c);
    EXPECT_EQ(c, powerSumReference(
                     pts, {[](double x, double) { return x * x * x; }, [](double x, double y) { return x * x * y; },
                           [](double x, double y) { return x * y * y; }, [](double, double y) { return y * y * y; },
                           [](double x, double) { return x * x; }, [](double x, double y) { return x * y; },
                           [](double, double y) { return y * y; }, [](double x, double) { return x; },
                           [](double, double y) { return y; }, [](double, double) { return 1.0; }}));
}

TEST(SurfaceFit, ScaledFitsReturnCoefficientsForUnscaledCoordinates) {
    // A constant, both linear terms, xy and x^2: each sits at its own index (degree 5, 4, 3 take
    // indices 0-14, then x^2 = 15, xy = 16, y^2 = 17, x = 18, y = 19, 1 = 20) and comes back in the
    // caller's units (a wrong rescaling exponent would be off by powers of 100).
    const auto f = [](double x, double y) { return 50 + 0.3 * x - 0.2 * y + 0.01 * x * y + 1e-4 * x * x; };
    std::vector<float> c;
    fitting::PlaneFitPoly55(grid(-200, 200, 40, f), c);
    ASSERT_EQ(c.size(), 21u);
    EXPECT_NEAR(c[20], 50, 0.01);
    EXPECT_NEAR(c[18], 0.3, 1e-4);
    EXPECT_NEAR(c[19], -0.2, 1e-4);
    EXPECT_NEAR(c[16], 0.01, 1e-6);
    EXPECT_NEAR(c[15], 1e-4, 1e-6);
    EXPECT_NEAR(c[17], 0, 1e-6);

    // Degree 10 in float normal equations is poorly conditioned: the low terms still come back close.
    fitting::PlaneFitPoly1010(grid(-100, 100, 40, f), c);
    ASSERT_EQ(c.size(), 66u);
    EXPECT_NEAR(c[65], 50, 0.05);
    EXPECT_NEAR(c[63], 0.3, 0.005);
    EXPECT_NEAR(c[64], -0.2, 0.005);
    EXPECT_NEAR(c[61], 0.01, 2e-4);
    EXPECT_NEAR(c[60], 1e-4, 2e-5);
}

TEST(SurfaceFit, ScaledFitsAddEachPointIntoTheFloatMatrices) {
    // Coordinates k * 25 scale to exact quarters, so every term product is exact in double and the only
    // rounding is the float store after each per-point addition.
    Point3dList pts;
    for (int i = -4; i <= 4; ++i)
        for (int j = -4; j <= 4; ++j) pts.push_back({25.0 * i, 25.0 * j, 25.0 * ((3 * i + 5 * j * j) % 7)});

    for (const int D : {5, 10}) {
        std::vector<std::pair<int, int>> terms;
        for (int d = D; d >= 0; --d)
            for (int a = d; a >= 0; --a) terms.push_back({a, d - a});
        const int n = static_cast<int>(terms.size());
        Matrix N(n, n), r(n, 1);
        for (const auto& p : pts) {
            const double x = p[0] / 100, y = p[1] / 100, z = p[2] / 100;
            std::vector<double> phi(n);
            for (int k = 0; k < n; ++k) phi[k] = std::pow(x, terms[k].first) * std::pow(y, terms[k].second);
            for (int i = 0; i < n; ++i) {
                r(i, 0) = static_cast<float>(double(r(i, 0)) + phi[i] * z);
                for (int j = 0; j < n; ++j) N(i, j) = static_cast<float>(double(N(i, j)) + phi[i] * phi[j]);
            }
        }
        std::vector<float> want = solveWithMatrix(N, r);
        const double scale[] = {1e2, 1e0, 1e-2, 1e-4, 1e-6, 1e-8, 1e-10, 1e-12, 1e-14, 1e-16, 1e-18};
        for (int k = 0; k < n; ++k)
            want[k] = static_cast<float>(double(want[k]) * scale[terms[k].first + terms[k].second]);

        std::vector<float> c;
        if (D == 5)
            fitting::PlaneFitPoly55(pts, c);
        else
            fitting::PlaneFitPoly1010(pts, c);
        EXPECT_EQ(c, want) << "degree " << D;
    }
}

TEST(SurfaceFit, HandleMembersForward) {
    XELORAALGO::XeloraAlgo algo;
    const Point3dList pts = grid(-5, 5, 10, [](double x, double y) { return 2 * x - 3 * y + 5; });
    std::vector<float> viaHandle, direct;
    algo.PlaneFitPoly11(pts, viaHandle);
    fitting::PlaneFitPoly11(pts, direct);
    EXPECT_EQ(viaHandle, direct);
    algo.PlaneFitPoly22(pts, viaHandle);
    EXPECT_EQ(viaHandle.size(), 6u);
    algo.PlaneFitPoly33(pts, viaHandle);
    EXPECT_EQ(viaHandle.size(), 10u);
    algo.PlaneFitPoly55(pts, viaHandle);
    EXPECT_EQ(viaHandle.size(), 21u);
    algo.PlaneFitPoly1010(Point3dList{}, viaHandle);
    EXPECT_EQ(viaHandle, std::vector<float>(66, 0.0f));
}
