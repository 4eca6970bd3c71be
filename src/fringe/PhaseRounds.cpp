// smoothPhaseRounds: the smoothing rounds of the 11-plane decoders' two-pass decoding, in place.
//
// Inputs:  engine.roi (width x height), phi (float, w x h, the decoder's scratch wrapped phase,
//          radians), mask (bool, w x h, the first pass's validity), rounds, sigma (SmoothMaskedMap's),
//          the instruction set of the smoothing's row loops.
// Outputs: phi: after each round, atan2f(c, s) of the smoothed regenerated fringes (0 outside mask).
// Working storage: a few rows and the smoothing's rings (SmoothStream.h), allocated here and released
// on return; the four fringe maps of a round are never held whole. Sines and arc tangents are taken
// for the valid pixels only (an invalid pixel's phase after a round is atan2f(+0, +0) whatever its
// fringes were).
//
// A round, per pixel: F_k = sinf((float)k * 1.5707964 + phi) * 127.5 + 127.5 for k = 1 ... 4, each
// smoothed with SmoothMaskedMap(F_k, mask, sigma); s = F_1 sinf(1.5707964) + F_2 sinf(3.1415927) +
// F_3 sinf(4.712389) + F_4 sinf(6.2831855) and c the same with cosf, in float from 0 in this order;
// phi = atan2f(c, s). Here the rows of F_k are made when the smoothing first needs them and the phase
// of a row is read back as soon as its smoothed rows are complete: the smoothing needs the rows of F_k
// up to R rows below the row it writes, which are made from rows of phi not yet read back.
#include <algorithm>
#include <cstddef>
#include <cstring>
#include <vector>

#include "SmoothStream.h"
#include "fringe.h"
#include "numerics/numerics.h"

namespace XELORAALGO {
namespace fringe {
namespace detail {

void smoothPhaseRounds(const AlgoEngine& engine, float* phi, const bool* mask, int rounds, float sigma,
                       num::Isa isa) {
    const int width = engine.roi.width;
    if (rounds < 1 || width <= 0 || engine.roi.height <= 0) return;
    const std::size_t w = static_cast<std::size_t>(width);
    float base[4], sinK[4], cosK[4];
    const float shift[4] = {1.5707964f, 3.1415927f, 4.712389f, 6.2831855f};
    for (int k = 0; k < 4; ++k) {
        base[k] = static_cast<float>(k + 1) * 1.5707964f;
        sinK[k] = num::sinf(shift[k]);
        cosK[k] = num::cosf(shift[k]);
    }
    std::vector<float> angle(w), s(w), c(w);
    std::vector<float> smoothed[4];
    for (auto& row : smoothed) row.resize(w);
    const auto phiRow = [&](int r) { return phi + static_cast<std::size_t>(r) * w; };

    // Only the valid pixels' values are used: the smoothing reads an invalid pixel as 0 and writes 0
    // there, so its s and c are +0 and its phase atan2f(+0, +0). Rows with invalid pixels take the
    // sines and arc tangents of their valid pixels only, gathered into a run.
    const float phaseOfNothing = num::atan2f(0.0f, 0.0f);
    std::vector<unsigned char> full(static_cast<std::size_t>(engine.roi.height));  // rows without invalid pixels
    for (std::size_t r = 0; r < full.size(); ++r) full[r] = std::memchr(mask + r * w, 0, w) == nullptr;
    // The columns of the valid pixels of one row, for the rows made (source) and read back (finished).
    struct Valid {
        std::vector<std::size_t> at;
        std::size_t count = 0;
        int row = -1;
    };
    Valid made, readBack;
    const auto validOf = [&](Valid& v, int r) {  // false when every pixel of row r is valid
        if (full[static_cast<std::size_t>(r)]) return false;
        if (v.row != r) {
            const bool* m = mask + static_cast<std::size_t>(r) * w;
            v.at.resize(w);
            v.row = r;
            v.count = 0;
            for (std::size_t i = 0; i < w; ++i)
                if (m[i]) v.at[v.count++] = i;
        }
        return true;
    };
    const auto source = [&](int k, int r, float* out) -> const float* {
        const float* p = phiRow(r);
        if (!validOf(made, r)) {
            for (std::size_t i = 0; i < w; ++i) angle[i] = base[k] + p[i];
            num::sinf(angle.data(), out, w);
            for (std::size_t i = 0; i < w; ++i) out[i] = out[i] * 127.5f + 127.5f;
        } else {
            const std::size_t* at = made.at.data();
            for (std::size_t j = 0; j < made.count; ++j) angle[j] = base[k] + p[at[j]];
            num::sinf(angle.data(), s.data(), made.count);
            for (std::size_t j = 0; j < made.count; ++j) out[at[j]] = s[j] * 127.5f + 127.5f;
        }
        return out;
    };
    const auto target = [&](int k, int) { return smoothed[k].data(); };
    const auto finished = [&](int r) {
        float* p = phiRow(r);
        const float* f0 = smoothed[0].data();
        const float* f1 = smoothed[1].data();
        const float* f2 = smoothed[2].data();
        const float* f3 = smoothed[3].data();
        float* __restrict sOut = s.data();
        float* __restrict cOut = c.data();
        // The sums from 0 in k order, one pixel at a time: s[j], c[j] for column i.
        const auto sums = [&](std::size_t j, std::size_t i) {
            float sv = 0.0f, cv = 0.0f;
            sv = sv + f0[i] * sinK[0];
            cv = cv + f0[i] * cosK[0];
            sv = sv + f1[i] * sinK[1];
            cv = cv + f1[i] * cosK[1];
            sv = sv + f2[i] * sinK[2];
            cv = cv + f2[i] * cosK[2];
            sv = sv + f3[i] * sinK[3];
            cv = cv + f3[i] * cosK[3];
            sOut[j] = sv;
            cOut[j] = cv;
        };
        if (!validOf(readBack, r)) {  // a full row: a straight loop the compiler can widen
            for (std::size_t i = 0; i < w; ++i) sums(i, i);
            num::atan2f(c.data(), s.data(), p, w);
            return;
        }
        const std::size_t count = readBack.count;
        const std::size_t* at = readBack.at.data();
        for (std::size_t j = 0; j < count; ++j) sums(j, at[j]);
        num::atan2f(c.data(), s.data(), angle.data(), count);
        std::fill(p, p + w, phaseOfNothing);
        for (std::size_t j = 0; j < count; ++j) p[at[j]] = angle[j];
    };
    for (int round = 0; round < rounds; ++round) smoothRows(engine, 4, mask, sigma, isa, source, target, finished);
}

}  // namespace detail
}  // namespace fringe
}  // namespace XELORAALGO
