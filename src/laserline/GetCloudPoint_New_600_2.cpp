// GetCloudPoint_New_600_2: laser-line centres by blur, automatic threshold, run segmentation and
// trimming, two-way linking of the runs from row to row, gap filling and a weighted centre per row.
//
// in:  engine.roi width W, height H; image W x H bytes (row-major).
// out: points: content replaced by exactly H entries (column, row), ROI coordinates; row 0 is
//      (0, 0), rows without a line (including the last row) are (0, row).
// Working state (per call): padded blur buffer, blurred image B, thresholded image T, mark map M,
// line map O (W x H bytes each), run counts and run centres per row, one reference (column, row)
// per row (valid when its row is > 0) and the chain of linked rows.
// An image of a single grey level has no Otsu level; the threshold is then 20.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "laserline.h"
#include "numerics/numerics.h"

namespace XELORAALGO {
namespace laserline {

namespace {

struct Ref {
    int col = 0, row = 0;
    bool valid() const { return row > 0; }
};

unsigned char clampByte(double v) {
    if (!(v > 0.0)) return 0;  // also NaN
    if (v >= 255.0) return 255;
    return static_cast<unsigned char>(v);
}

// 3 x 3 Gaussian (sigma 1) with replicated borders; horizontal pass in place, left to right.
void blur3(const unsigned char* image, int W, int H, std::vector<unsigned char>& B) {
    const double e = num::exp(-0.5);
    const double sum = e + 1.0 + e;
    const double k0 = e / sum, k1 = 1.0 / sum, k2 = e / sum;
    const std::size_t PW = static_cast<std::size_t>(W) + 2;
    std::vector<unsigned char> P(PW * (static_cast<std::size_t>(H) + 2));
    for (int r = 0; r < H; ++r) {
        unsigned char* dst = P.data() + (static_cast<std::size_t>(r) + 1) * PW;
        const unsigned char* src = image + static_cast<std::size_t>(r) * static_cast<std::size_t>(W);
        for (int x = 0; x < W; ++x) dst[x + 1] = src[x];
        dst[0] = src[0];
        dst[W + 1] = src[W - 1];
    }
    std::copy(P.begin() + static_cast<std::ptrdiff_t>(PW), P.begin() + static_cast<std::ptrdiff_t>(2 * PW), P.begin());
    std::copy(P.begin() + static_cast<std::ptrdiff_t>(static_cast<std::size_t>(H) * PW),
              P.begin() + static_cast<std::ptrdiff_t>((static_cast<std::size_t>(H) + 1) * PW),
              P.begin() + static_cast<std::ptrdiff_t>((static_cast<std::size_t>(H) + 1) * PW));
    for (int r = 1; r <= H; ++r) {
        unsigned char* row = P.data() + static_cast<std::size_t>(r) * PW;
        for (int x = 1; x <= W; ++x)
            row[x] = clampByte(k0 * row[x - 1] + k1 * row[x] + k2 * row[x + 1]);
    }
    for (int r = 0; r < H; ++r) {
        const unsigned char* a = P.data() + static_cast<std::size_t>(r) * PW;
        const unsigned char* b = a + PW;
        const unsigned char* c = b + PW;
        unsigned char* out = B.data() + static_cast<std::size_t>(r) * static_cast<std::size_t>(W);
        for (int x = 0; x < W; ++x) out[x] = clampByte(k0 * a[x + 1] + k1 * b[x + 1] + k2 * c[x + 1]);
    }
}

// Otsu's level t (class 0: values < t, class 1: values >= t); 0 if no level splits the values.
int otsuLevel(const std::vector<unsigned char>& B) {
    double hist[256] = {};
    for (unsigned char v : B) hist[v] += 1.0;
    const double total = static_cast<double>(B.size());
    double sumAll = 0.0;
    for (int i = 0; i < 256; ++i) sumAll += static_cast<double>(i) * hist[i];
    int best = 0;
    double bestScore = 0.0;
    bool found = false;
    double n0 = 0.0, s0 = 0.0;
    for (int t = 1; t < 256; ++t) {
        n0 += hist[t - 1];
        s0 += static_cast<double>(t - 1) * hist[t - 1];
        const double n1 = total - n0;
        if (n0 == 0.0 || n1 == 0.0) continue;
        const double mu0 = s0 / n0;
        const double mu1 = (sumAll - s0) / n1;
        const double d = mu0 - mu1;
        const double score = d * d * (n0 / total) * (n1 / total);
        if (!found || score > bestScore) {
            found = true;
            bestScore = score;
            best = t;
        }
    }
    return best;
}

}  // namespace

void GetCloudPoint_New_600_2(const AlgoEngine& engine, unsigned char* image, Point2dList& points) {
    const int W = engine.roi.width;
    const int H = engine.roi.height;
    points.clear();
    if (H <= 0) return;
    points.assign(static_cast<std::size_t>(H), {0.0, 0.0});
    for (int r = 1; r < H; ++r) points[static_cast<std::size_t>(r)][1] = static_cast<double>(r);
    if (W <= 0) return;
    const std::size_t Ws = static_cast<std::size_t>(W);
    const std::size_t N = Ws * static_cast<std::size_t>(H);

    // 1. Blur.
    std::vector<unsigned char> B(N, 0);
    blur3(image, W, H, B);

    // 2. Threshold.
    const int t = otsuLevel(B);
    const int level = t - 20 > 20 ? t - 20 : 20;
    std::vector<unsigned char> T(N, 0), M(N, 0), O(N, 0);
    for (std::size_t i = 0; i < N; ++i)
        if (B[i] > level) T[i] = B[i];

    // 3. Mark short segments and segments with a local peak.
    for (int r = 0; r < H; ++r) {
        const unsigned char* tr = T.data() + static_cast<std::size_t>(r) * Ws;
        unsigned char* mr = M.data() + static_cast<std::size_t>(r) * Ws;
        int x = 0;
        while (x < W) {
            if (tr[x] == 0) {
                ++x;
                continue;
            }
            const int s = x;
            while (x < W && tr[x] != 0) ++x;
            const int n = x - s;
            bool mark = n < 4;
            if (!mark && n < 50)
                for (int i = s + 1; i < x - 1 && !mark; ++i) mark = tr[i] > tr[i - 1] && tr[i] >= tr[i + 1];
            if (mark)
                for (int i = s; i < x; ++i) mr[i] = 255;
        }
    }

    // 4. Trim runs about their brightest pixel, then count the marked runs.
    std::vector<int> runCount(static_cast<std::size_t>(H), 0);
    std::vector<std::vector<int>> runCentres(static_cast<std::size_t>(H));
    for (int r = 0; r < H; ++r) {
        unsigned char* tr = T.data() + static_cast<std::size_t>(r) * Ws;
        unsigned char* mr = M.data() + static_cast<std::size_t>(r) * Ws;
        std::vector<std::array<int, 2>> runs;  // [first, last] in columns 1 .. W-2
        for (int x = 1; x <= W - 2; ++x) {
            if (tr[x] == 0) continue;
            if (x == 1 || tr[x - 1] == 0) runs.push_back({x, x});
            else runs.back()[1] = x;
        }
        for (const auto& run : runs) {
            int a = run[0];
            for (int x = run[0] + 1; x <= run[1]; ++x)
                if (tr[x] > tr[a]) a = x;
            const int peak = tr[a];
            auto trimSide = [&](int from, int to, int step) {
                int kept = 0;
                int x = from;
                for (; x != to + step; x += step) {
                    if (tr[x] != 0 && peak - tr[x] <= 40 && kept < 5) {
                        ++kept;
                        continue;
                    }
                    break;
                }
                for (; x != to + step; x += step)
                    if (peak - tr[x] > 5) {
                        tr[x] = 0;
                        mr[x] = 0;
                    }
            };
            if (a > run[0]) trimSide(a - 1, run[0], -1);
            if (a < run[1]) trimSide(a + 1, run[1], +1);
        }
        auto& centres = runCentres[static_cast<std::size_t>(r)];
        int x = 0;
        while (x < W) {
            if (mr[x] == 0) {
                ++x;
                continue;
            }
            const int s = x;
            std::int64_t sum = 0;
            while (x < W && mr[x] != 0) sum += x++;
            centres.push_back(static_cast<int>(sum / (x - s)));
        }
        runCount[static_cast<std::size_t>(r)] = static_cast<int>(centres.size());
    }

    // 5. References from rows with one marked run of at most 15 columns.
    std::vector<Ref> ref(static_cast<std::size_t>(H));
    for (int r = 0; r < H; ++r) {
        if (runCount[static_cast<std::size_t>(r)] != 1) continue;
        const unsigned char* mr = M.data() + static_cast<std::size_t>(r) * Ws;
        std::int64_t sum = 0;
        int n = 0;
        for (int x = 0; x < W; ++x)
            if (mr[x] != 0) {
                sum += x;
                ++n;
            }
        if (n >= 1 && n <= 15) ref[static_cast<std::size_t>(r)] = {static_cast<int>(sum / n), r};
    }

    auto Tat = [&](int x, int r) { return T[static_cast<std::size_t>(r) * Ws + static_cast<std::size_t>(x)]; };

    // 6., 7. Linking from the neighbouring row, forward (dir +1) and backward (dir -1).
    auto link = [&](int dir) {
        std::vector<int> chain;
        Ref prev;
        const int first = dir > 0 ? 1 : H - 2;
        const int end = dir > 0 ? H : -1;
        for (int r = first; r != end; r += dir) {
            const int nb = r - dir;
            Ref& cur = ref[static_cast<std::size_t>(r)];
            const Ref& other = ref[static_cast<std::size_t>(nb)];
            if (other.valid()) prev = other;
            const bool idle = runCount[static_cast<std::size_t>(r)] == 0 && std::abs(cur.col - prev.col) <= 8;
            if (!idle) {
                const auto& centres = runCentres[static_cast<std::size_t>(r)];
                int hits = 0, hit = 0;
                for (int c : centres)
                    if (std::abs(prev.col - c) < 8) {
                        ++hits;
                        hit = c;
                    }
                if (hits == 1)
                    cur = {hit, r};
                else if (0.8 * static_cast<double>(Tat(prev.col, prev.row)) < static_cast<double>(Tat(prev.col, r)))
                    cur = {prev.col, r};
            }
            chain.push_back(r);
            if (!cur.valid() || (other.col > 0 && std::abs(cur.col - other.col) > 10)) {
                if (chain.size() <= 30)
                    for (int c : chain) ref[static_cast<std::size_t>(c)] = Ref{};
                chain.clear();
            }
        }
    };
    if (H >= 2) {
        link(+1);
        link(-1);
    }

    // 8. Gap filling between references less than 20 columns apart.
    Ref last, next;
    for (int r = 0; r < H; ++r) {
        Ref& cur = ref[static_cast<std::size_t>(r)];
        if (cur.valid()) {
            last = cur;
        } else if (runCount[static_cast<std::size_t>(r)] > 0) {
            for (int k = r + 1; k < H; ++k)
                if (ref[static_cast<std::size_t>(k)].valid()) {
                    next = ref[static_cast<std::size_t>(k)];
                    break;
                }
        }
        if (next.valid() && std::abs(last.col - next.col) < 20 && next.row != last.row) {
            const float slope = static_cast<float>(next.col - last.col) / static_cast<float>(next.row - last.row);
            const float v = slope * static_cast<float>(r - last.row) + static_cast<float>(last.col);
            cur = {static_cast<int>(v), r};
            next = Ref{};
        }
    }

    // 9. Line map: T within 7 columns of each reference.
    for (int r = 0; r < H; ++r) {
        const Ref& cur = ref[static_cast<std::size_t>(r)];
        // A reference outside the row's columns (never produced by the steps above) gives no line.
        if (!cur.valid() || cur.col < 0 || cur.col >= W || !(Tat(cur.col, r) > 20)) continue;
        const int a = cur.col - 7 > 0 ? cur.col - 7 : 0;
        const int b = cur.col + 7 < W - 1 ? cur.col + 7 : W - 1;
        for (int x = a; x <= b; ++x)
            O[static_cast<std::size_t>(r) * Ws + static_cast<std::size_t>(x)] = Tat(x, r);
    }

    // 10. Weighted centres of the line map.
    for (int r = 1; r <= H - 2; ++r) {
        const unsigned char* orow = O.data() + static_cast<std::size_t>(r) * Ws;
        float sx = 0.0f, so = 0.0f;
        for (int x = 1; x <= W - 2; ++x) {
            sx += static_cast<float>(x * static_cast<int>(orow[x]));
            so += static_cast<float>(orow[x]);
        }
        if (so != 0.0f) points[static_cast<std::size_t>(r)][0] = static_cast<double>(sx / so);
    }
}

}  // namespace laserline
}  // namespace XELORAALGO
