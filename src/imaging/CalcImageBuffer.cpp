// CalcImageBuffer: temporal filter of two-camera frames against the previous frame.
//
// input   one two-camera frame of n = 2*w*h bytes (w, h: the engine's ROI), read only
// output  n bytes, written when the filter runs or passes the frame through (caller-owned; may be
//         the input buffer itself)
// enable  false: forget the stored frame (output untouched).
//         true with a stored frame of exactly n bytes: output[i] = input[i] - |input[i] - stored[i]|,
//         not below 0, then stored[i] = input[i]. Otherwise the input is passed through to the
//         output and stored.
//
// The stored frame is one buffer for the whole process, shared by every handle, created on first
// use and released at exit. A process-wide mutex is held for the whole call, so calls from different
// handles (or threads) never overlap on it. The filter runs on two row bands of 2w bytes (a camera-row
// pair each); with odd h the last pair, which belongs to neither band, is filtered and stored on the
// calling thread in the same way.
#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <mutex>
#include <vector>

#include "ImagingDetail.h"
#include "frame/BandedWorkers.h"
#include "imaging.h"

namespace XELORAALGO {
namespace imaging {

namespace {

struct StoredFrame {
    std::mutex mutex;
    std::vector<unsigned char> bytes;  // empty, or the last input frame
};

StoredFrame& storedFrame() {
    static StoredFrame frame;  // thread-safe one-time initialisation
    return frame;
}

void filterBytes(const unsigned char* input, unsigned char* output, unsigned char* stored,
                 std::size_t begin, std::size_t end) {
    for (std::size_t i = begin; i < end; ++i) {
        const int in = input[i];
        const int d = in - static_cast<int>(stored[i]);
        const int v = in - std::abs(d);
        output[i] = static_cast<unsigned char>(v > 0 ? v : 0);
        stored[i] = static_cast<unsigned char>(in);
    }
}

}  // namespace

void CalcImageBuffer(const AlgoEngine& engine, const unsigned char* input, unsigned char* output,
                     bool enable) {
    StoredFrame& frame = storedFrame();
    std::lock_guard<std::mutex> lock(frame.mutex);
    if (!enable) {
        frame.bytes.clear();
        return;
    }
    const std::size_t n = detail::frameBytes(engine);
    if (frame.bytes.empty() || frame.bytes.size() != n) {
        frame.bytes.assign(input, input + n);
        std::copy(frame.bytes.begin(), frame.bytes.end(), output);
        return;
    }
    const std::size_t rowPair = 2 * static_cast<std::size_t>(engine.width());
    const std::size_t pairs = static_cast<std::size_t>(engine.height());
    unsigned char* stored = frame.bytes.data();
    runBands(bands::kImageBuffer, pairs, [&](int, std::size_t begin, std::size_t end) {
        filterBytes(input, output, stored, begin * rowPair, end * rowPair);
    });
}

}  // namespace imaging
}  // namespace XELORAALGO
