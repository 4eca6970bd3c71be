// Banded workers: the one way the library runs an operation on several threads, and the table of
// every threaded operation.
//
// runBands(plan, count, fn) starts plan.workers std::threads; worker k calls fn(k, begin, end) for
// the items [k * (count / n), (k + 1) * (count / n)), n = plan.workers. The workers are joined in
// start order. The items from n * (count / n) on belong to no worker; plan.leftover says what
// becomes of them: Leftover::CallerThread runs fn(n, bandsEnd(n, count), count) on the calling
// thread after the joins, Leftover::Unprocessed leaves them alone (the operation then documents
// what its outputs hold there). If starting a thread throws (std::system_error), the workers
// already started are joined and the exception is rethrown, so no std::thread is ever destroyed
// while joinable.
//
// Workers write disjoint items of their outputs, read shared inputs and engine tables only, and
// take no lock.
#ifndef XELORAALGO_SRC_FRAME_BANDEDWORKERS_H
#define XELORAALGO_SRC_FRAME_BANDEDWORKERS_H

#include <cstddef>
#include <thread>
#include <utility>
#include <vector>

namespace XELORAALGO {

// What becomes of the items past the last whole band.
enum class Leftover {
    CallerThread,  // processed on the calling thread after the workers have been joined
    Unprocessed,   // not processed: they keep what the operation put there before the workers ran
};

struct BandPlan {
    int workers;
    Leftover leftover;
};

// Every threaded operation of the library, its workers, its band unit and its leftover items.
//
//   operation                                  workers  band unit                  leftover items
//   DecGrayPhase1, UnDecGrayPhase1/2 passes      8      pixel index                decoded on the caller
//   InterpCubic1, 2, 4, 5                        2      rows                       stay 0
//   InterpCubic3 (also inside CalPoint)          4      rows                       stay 0
//   InterpFlag1, InterpFlag2                     2      pixel index                stay false
//   MatchI, MatchII                              8      rows                       match mask as given,
//                                                                                  match tables 0
//   Bilateralfilter (also inside CalPoint)       8      rows                       stay 0
//   CalRGB (second pass)                         4      rows                       registered on the caller
//   CalcImageBuffer                              2      rows of the two-camera     filtered on the caller
//                                                       frame (2 x width bytes)
//   GetRGBpoint                                  8      cloud points               coloured on the caller
//
// Every other operation runs on the caller's thread.
namespace bands {
inline constexpr BandPlan kDecode{8, Leftover::CallerThread};
inline constexpr BandPlan kCubic{2, Leftover::Unprocessed};
inline constexpr BandPlan kMaskedCubic{4, Leftover::Unprocessed};
inline constexpr BandPlan kFlag{2, Leftover::Unprocessed};
inline constexpr BandPlan kMatch{8, Leftover::Unprocessed};
inline constexpr BandPlan kBilateral{8, Leftover::Unprocessed};
inline constexpr BandPlan kColourRegistration{4, Leftover::CallerThread};
inline constexpr BandPlan kImageBuffer{2, Leftover::CallerThread};
inline constexpr BandPlan kCloudColour{8, Leftover::CallerThread};
}  // namespace bands

// First item that no worker of n bands over count items handles.
inline std::size_t bandsEnd(int n, std::size_t count) {
    return n > 0 ? static_cast<std::size_t>(n) * (count / static_cast<std::size_t>(n)) : 0;
}

namespace detail {

// runBands with the thread start injectable: start(callable) must return a std::thread running
// callable (tests use it to make a start fail).
template <class Start, class Fn>
void runBandsWith(Start&& start, const BandPlan& plan, std::size_t count, Fn&& fn) {
    const int n = plan.workers;
    if (n <= 0) return;
    const std::size_t per = count / static_cast<std::size_t>(n);
    std::vector<std::thread> workers;
    workers.reserve(static_cast<std::size_t>(n));
    try {
        for (int k = 0; k < n; ++k) {
            const std::size_t begin = static_cast<std::size_t>(k) * per;
            const std::size_t end = begin + per;
            workers.push_back(start([&fn, k, begin, end]() { fn(k, begin, end); }));
        }
    } catch (...) {
        for (auto& t : workers)
            if (t.joinable()) t.join();
        throw;
    }
    for (auto& t : workers) t.join();
    if (plan.leftover == Leftover::CallerThread && bandsEnd(n, count) < count) fn(n, bandsEnd(n, count), count);
}

}  // namespace detail

template <class Fn>
void runBands(const BandPlan& plan, std::size_t count, Fn&& fn) {
    detail::runBandsWith([](auto&& body) { return std::thread(std::forward<decltype(body)>(body)); },
                         plan, count, std::forward<Fn>(fn));
}

}  // namespace XELORAALGO

#endif
