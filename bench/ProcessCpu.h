// Process CPU time (all threads) per benchmark iteration, as the counter "cpu_ms": a figure that
// other programs on a shared machine disturb far less than the wall time. Linux only (getrusage);
// elsewhere the counter is absent.
#ifndef XELORAALGO_BENCH_PROCESSCPU_H
#define XELORAALGO_BENCH_PROCESSCPU_H

#include <benchmark/benchmark.h>

#if defined(__linux__)
#include <sys/resource.h>
#endif

namespace benchcpu {

class ProcessCpu {
public:
    ProcessCpu() : start_(now()) {}
    // Sets "cpu_ms" to the CPU milliseconds per iteration since construction.
    void report(benchmark::State& state) const {
#if defined(__linux__)
        if (state.iterations() > 0)
            state.counters["cpu_ms"] = (now() - start_) * 1e3 / static_cast<double>(state.iterations());
#else
        (void)state;
#endif
    }

private:
    static double now() {
#if defined(__linux__)
        rusage u{};
        getrusage(RUSAGE_SELF, &u);
        return static_cast<double>(u.ru_utime.tv_sec + u.ru_stime.tv_sec) +
               static_cast<double>(u.ru_utime.tv_usec + u.ru_stime.tv_usec) * 1e-6;
#else
        return 0.0;
#endif
    }
    double start_;
};

}  // namespace benchcpu

#endif
