// Fuzz target of the fits: the five surface fits on point sets of arbitrary values, polynomialFit
// with arbitrary degrees and samples, and evaluatePolynomial.
#include "FuzzCommon.h"

using XELORAALGO::Point3dList;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider in(data, size);
    fuzz::XeloraAlgo& algo = fuzz::freshHandle();
    const std::size_t count = in.ConsumeIntegralInRange<std::size_t>(0, 200);
    Point3dList points(count);
    for (auto& p : points)
        p = {fuzz::doubleParam(in, -10.0, 10.0), fuzz::doubleParam(in, -10.0, 10.0), fuzz::doubleParam(in, -10.0, 10.0)};
    std::vector<float> coefficients;
    switch (in.ConsumeIntegralInRange<int>(0, 5)) {
    case 0: fuzz::guarded([&] { algo.PlaneFitPoly11(points, coefficients); }); break;
    case 1: fuzz::guarded([&] { algo.PlaneFitPoly22(points, coefficients); }); break;
    case 2: fuzz::guarded([&] { algo.PlaneFitPoly33(points, coefficients); }); break;
    case 3: fuzz::guarded([&] { algo.PlaneFitPoly55(points, coefficients); }); break;
    case 4: fuzz::guarded([&] { algo.PlaneFitPoly1010(points, coefficients); }); break;
    default: {
        std::vector<double> x, y;
        for (const auto& p : points) {
            x.push_back(p[0]);
            y.push_back(p[1]);
        }
        if (in.ConsumeIntegralInRange<int>(0, 7) == 0 && !y.empty()) y.pop_back();
        const int degree = fuzz::intParam(in, -1, 12);
        std::vector<double> c;
        fuzz::guarded([&] { c = algo.polynomialFit(x, y, degree); });
        (void)algo.evaluatePolynomial(c, fuzz::doubleParam(in, -10.0, 10.0));
        break;
    }
    }
    return 0;
}
