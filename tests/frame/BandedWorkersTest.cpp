// Band arithmetic, both leftover policies and the failure path of the banded-worker helper.
#include <atomic>
#include <system_error>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "frame/BandedWorkers.h"

using XELORAALGO::BandPlan;
using XELORAALGO::bandsEnd;
using XELORAALGO::Leftover;
using XELORAALGO::runBands;

TEST(BandedWorkers, WorkerKGetsItsBandAndLeftoversFollowThePlan) {
    struct Case { int n; std::size_t count; };
    const auto caller = std::this_thread::get_id();
    for (const Leftover leftover : {Leftover::Unprocessed, Leftover::CallerThread})
        for (const Case c : {Case{8, 21}, Case{4, 3}, Case{2, 1024}}) {
            std::vector<std::atomic<int>> hits(c.count);
            std::vector<int> owner(c.count, -1);
            std::vector<char> onCaller(c.count, 0);  // not vector<bool>: workers write neighbouring items
            std::atomic<int> calls{0};
            runBands(BandPlan{c.n, leftover}, c.count, [&](int k, std::size_t begin, std::size_t end) {
                calls.fetch_add(1);
                for (std::size_t i = begin; i < end; ++i) {
                    hits[i].fetch_add(1);
                    owner[i] = k;
                    onCaller[i] = std::this_thread::get_id() == caller;
                }
            });
            const std::size_t per = c.count / c.n;
            const bool rest = leftover == Leftover::CallerThread && per * c.n < c.count;
            EXPECT_EQ(calls.load(), c.n + (rest ? 1 : 0));  // every worker runs, even with an empty band
            EXPECT_EQ(bandsEnd(c.n, c.count), per * c.n);
            for (std::size_t i = 0; i < c.count; ++i) {
                const bool banded = i < per * c.n;
                const bool handled = banded || leftover == Leftover::CallerThread;
                EXPECT_EQ(hits[i].load(), handled ? 1 : 0) << c.n << "/" << c.count << " item " << i;
                if (banded) {
                    EXPECT_EQ(owner[i], static_cast<int>(i / per));
                    EXPECT_FALSE(onCaller[i]);
                } else if (handled) {
                    EXPECT_EQ(owner[i], c.n);  // the calling thread runs as worker n, after the joins
                    EXPECT_TRUE(onCaller[i]);
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
    EXPECT_THROW(XELORAALGO::detail::runBandsWith(failingStart, BandPlan{8, Leftover::CallerThread}, 83,
                                                  [&](int, std::size_t, std::size_t) { finished.fetch_add(1); }),
                 std::system_error);
    EXPECT_EQ(finished.load(), 3);  // the started workers were joined; the leftover items were not run
}
