// Band arithmetic, leftover items and the failure path of the banded-worker helper.
#include <atomic>
#include <system_error>
#include <vector>

#include <gtest/gtest.h>

#include "frame/BandedWorkers.h"

using XELORAALGO::bandsEnd;
using XELORAALGO::runBands;

TEST(BandedWorkers, WorkerKGetsItsBandAndLeftoversBelongToNoWorker) {
    struct Case { int n; std::size_t count; };
    for (const Case c : {Case{8, 21}, Case{4, 3}, Case{2, 1024}}) {
        std::vector<std::atomic<int>> hits(c.count);
        std::vector<int> owner(c.count, -1);
        std::atomic<int> calls{0};
        runBands(c.n, c.count, [&](int k, std::size_t begin, std::size_t end) {
            calls.fetch_add(1);
            for (std::size_t i = begin; i < end; ++i) {
                hits[i].fetch_add(1);
                owner[i] = k;
            }
        });
        const std::size_t per = c.count / c.n;
        EXPECT_EQ(calls.load(), c.n);  // every worker runs, even with an empty band
        EXPECT_EQ(bandsEnd(c.n, c.count), per * c.n);
        for (std::size_t i = 0; i < c.count; ++i) {
            const bool banded = i < per * c.n;
            EXPECT_EQ(hits[i].load(), banded ? 1 : 0) << c.n << "/" << c.count << " item " << i;
            if (banded) {
                EXPECT_EQ(owner[i], static_cast<int>(i / per));
            }
        }
    }
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
    EXPECT_EQ(finished.load(), 3);  // the started workers were joined before the exception left
}
