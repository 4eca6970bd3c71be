// Band arithmetic, leftover items and the failure path of the banded-worker helper.
#include <atomic>
#include <mutex>
#include <system_error>
#include <vector>

#include <gtest/gtest.h>

#include "frame/BandedWorkers.h"

using XELORAALGO::bandsEnd;
using XELORAALGO::runBands;

namespace {

std::vector<int> visitCounts(int n, std::size_t count, std::vector<int>* workerOf = nullptr) {
    std::vector<std::atomic<int>> hits(count);
    std::vector<int> owner(count, -1);
    runBands(n, count, [&](int k, std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            hits[i].fetch_add(1);
            owner[i] = k;  // disjoint items: no race
        }
    });
    std::vector<int> out(count);
    for (std::size_t i = 0; i < count; ++i) out[i] = hits[i].load();
    if (workerOf) *workerOf = owner;
    return out;
}

}  // namespace

TEST(BandedWorkers, WorkerKGetsItsBandAndLeftoversBelongToNoWorker) {
    std::vector<int> owner;
    const auto hits = visitCounts(8, 21, &owner);  // 21 / 8 = 2 items per worker, 16 .. 20 left over
    for (std::size_t i = 0; i < 16; ++i) {
        EXPECT_EQ(hits[i], 1) << i;
        EXPECT_EQ(owner[i], static_cast<int>(i / 2)) << i;
    }
    for (std::size_t i = 16; i < 21; ++i) EXPECT_EQ(hits[i], 0) << i;
    EXPECT_EQ(bandsEnd(8, 21), 16u);
}

TEST(BandedWorkers, FewerItemsThanWorkersAndExactMultiples) {
    for (int h : visitCounts(4, 3)) EXPECT_EQ(h, 0);  // every band is empty
    EXPECT_EQ(bandsEnd(4, 3), 0u);
    for (int h : visitCounts(2, 1024)) EXPECT_EQ(h, 1);
    EXPECT_EQ(bandsEnd(2, 1024), 1024u);
}

TEST(BandedWorkers, EveryWorkerRunsEvenWithEmptyBands) {
    std::atomic<int> calls{0};
    runBands(8, 5, [&](int, std::size_t b, std::size_t e) {
        EXPECT_EQ(b, e);
        calls.fetch_add(1);
    });
    EXPECT_EQ(calls.load(), 8);
}

TEST(BandedWorkers, FailedThreadStartJoinsStartedWorkersAndRethrows) {
    std::atomic<int> finished{0};
    int started = 0;
    auto failingStart = [&](auto&& body) {
        if (started == 3) throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
        ++started;
        return std::thread(std::forward<decltype(body)>(body));
    };
    EXPECT_THROW(XELORAALGO::detail::runBandsWith(failingStart, 8, 80,
                                                  [&](int, std::size_t, std::size_t) { finished.fetch_add(1); }),
                 std::system_error);
    // The three workers that did start were joined before the exception left the call.
    EXPECT_EQ(finished.load(), 3);
}
