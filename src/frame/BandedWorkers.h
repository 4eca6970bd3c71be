// Banded workers: the one way the library runs an operation on several threads.
//
// runBands(n, count, fn) starts n std::threads; worker k calls fn(k, begin, end) for the items
// [k * (count / n), (k + 1) * (count / n)). Items from n * (count / n) on belong to no worker; the
// caller decides what to do with them (see bandsEnd). The workers are joined in start order before
// runBands returns. If starting a thread throws (std::system_error), the workers already started are
// joined and the exception is rethrown, so no std::thread is ever destroyed while joinable.
#ifndef XELORAALGO_SRC_FRAME_BANDEDWORKERS_H
#define XELORAALGO_SRC_FRAME_BANDEDWORKERS_H

#include <cstddef>
#include <thread>
#include <utility>
#include <vector>

namespace XELORAALGO {

// First item that no worker of runBands(n, count, ...) handles.
inline std::size_t bandsEnd(int n, std::size_t count) {
    return n > 0 ? static_cast<std::size_t>(n) * (count / static_cast<std::size_t>(n)) : 0;
}

namespace detail {

// Same as runBands, with the thread start injectable: start(callable) must return a std::thread
// running callable (tests use it to make a start fail).
template <class Start, class Fn>
void runBandsWith(Start&& start, int n, std::size_t count, Fn&& fn) {
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
}

}  // namespace detail

template <class Fn>
void runBands(int n, std::size_t count, Fn&& fn) {
    detail::runBandsWith([](auto&& body) { return std::thread(std::forward<decltype(body)>(body)); },
                         n, count, std::forward<Fn>(fn));
}

}  // namespace XELORAALGO

#endif
