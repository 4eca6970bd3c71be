// FitLineFunction_V, Gaussianfilter: smoothers of a line list along its rows.
//
// FitLineFunction_V
//   in/out: points (any length N; entries (x, y)); halfWindow n; enable.
//   Rebuilds the list: entry i becomes (a*y_i + b, y_i) where x = a*y + b is the least-squares
//   line through the entries of its window ([0, n) for i < n, [i-n, i+n) inside, [N-n, N) at the
//   end) that have x >= 5.0 and |x - x_i| < 15.0, when at least 1.5*n of them qualify and the
//   normal equations are not degenerate; otherwise the entry is kept. Does nothing when enable is
//   false or N < 2n.
// Gaussianfilter
//   in/out: points; halfWindow n. Smooths the x of the entries with x != 0 (taken in list order)
//   with the normalised Gaussian of 2n + 1 taps, sigma = (2n + 1) / 3, renormalised over the taps
//   that exist and lie within 5.0 of the centre entry's x. Needs at least 2n + 1 such entries,
//   else nothing changes. A negative n changes nothing.
#include <cmath>
#include <cstddef>

#include "frame/GaussianTaps.h"
#include "laserline.h"

namespace XELORAALGO {
namespace laserline {

void FitLineFunction_V(Point2dList& points, int halfWindow, bool enable) {
    const long long n = halfWindow;
    const long long N = static_cast<long long>(points.size());
    if (!enable || N < 2 * n) return;
    const Point2dList copy(points);
    points.clear();
    for (long long i = 0; i < N; ++i) {
        const double xi = copy[static_cast<std::size_t>(i)][0];
        const double yi = copy[static_cast<std::size_t>(i)][1];
        long long lo, hi;
        if (i < n) {
            lo = 0;
            hi = n;
        } else if (i <= N - n) {
            lo = i - n;
            hi = i + n;
        } else {
            lo = N - n;
            hi = N;
        }
        double sx = 0.0, sy = 0.0, sxy = 0.0, syy = 0.0;
        long long m = 0;
        for (long long k = lo; k < hi; ++k) {
            const double x = copy[static_cast<std::size_t>(k)][0];
            const double y = copy[static_cast<std::size_t>(k)][1];
            if (x >= 5.0 && std::fabs(x - xi) < 15.0) {
                sx += x;
                sy += y;
                sxy += x * y;
                syy += y * y;
                ++m;
            }
        }
        const double md = static_cast<double>(m);
        if (md < 1.5 * static_cast<double>(n)) {
            points.push_back({xi, yi});
            continue;
        }
        const double D = md * syy - sy * sy;
        if (std::fabs(D) < 1e-10) {
            points.push_back({xi, yi});
            continue;
        }
        const double a = (md * sxy - sy * sx) / D;
        const double b = (sx - a * sy) / md;
        points.push_back({a * yi + b, yi});
    }
}

void Gaussianfilter(Point2dList& points, int halfWindow) {
    if (halfWindow < 0) return;
    const int n = halfWindow;
    const long long k = 2LL * n + 1;

    std::vector<double> xs;
    std::vector<std::size_t> at;
    for (std::size_t i = 0; i < points.size(); ++i) {
        if (points[i][0] != 0.0) {
            xs.push_back(points[i][0]);
            at.push_back(i);
        }
    }
    const long long M = static_cast<long long>(xs.size());
    if (M == 0 || M < k) return;
    const std::vector<double> w = normalisedGaussianTaps(n);
    for (long long c = 0; c < M; ++c) {
        const double xc = xs[static_cast<std::size_t>(c)];
        double num = 0.0, den = 0.0;
        for (int t = -n; t <= n; ++t) {
            const long long j = c + t;
            if (j < 0 || j >= M) continue;
            const double xj = xs[static_cast<std::size_t>(j)];
            if (!(std::fabs(xc - xj) < 5.0)) continue;
            const double wt = w[static_cast<std::size_t>(t + n)];
            num += wt * xj;
            den += wt;
        }
        points[at[static_cast<std::size_t>(c)]][0] = num / den;
    }
}

}  // namespace laserline
}  // namespace XELORAALGO
