#!/usr/bin/env bash
# Builds the libFuzzer targets of tests/fuzz (clang, AddressSanitizer, UndefinedBehaviorSanitizer)
# and runs each of them for the given number of seconds (default 20), starting from the seed corpus
# in tests/fuzz/corpus/<target>/. New inputs go to build-fuzz/corpus/<target>/, findings to
# build-fuzz/artifacts/. Prints executions and coverage per target; exits non-zero on any finding.
# Usage: scripts/fuzz.sh [seconds] [target...]
# FUZZ_JOBS=n runs n targets at once (default 1); FUZZ_BUILD names the build directory.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-20}"
[ $# -gt 0 ] && shift
targets=("$@")
[ ${#targets[@]} -eq 0 ] && targets=(frame fringe stereo depthfilter imaging laserline cloud fitting)

scripts/install-deps.sh clang-14 libclang-rt-14-dev
build="${FUZZ_BUILD:-build-fuzz}"
CC=clang-14 CXX=clang++-14 cmake -S tests/fuzz -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" -j "$(nproc 2>/dev/null || echo 2)" --target "${targets[@]/#/fuzz_}"

mkdir -p "$build/artifacts"
run() {
  local t="$1" log="$build/fuzz_$1.log"
  mkdir -p "$build/corpus/$t" "tests/fuzz/corpus/$t"
  # Hangs (25 s for one input), RSS above 2 GiB and single allocations above 256 MiB are findings:
  # the targets use ROIs of at most 64 x 64 pixels.
  if "$build/fuzz_$t" -max_total_time="$seconds" -timeout=25 -rss_limit_mb=2048 -malloc_limit_mb=256 \
       -print_final_stats=1 -artifact_prefix="$build/artifacts/$t-" \
       "$build/corpus/$t" "tests/fuzz/corpus/$t" >"$log" 2>&1; then
    status=ok
  else
    status=FINDING
  fi
  local execs cov ft
  execs="$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$log" | grep -o '[0-9]*$' || true)"
  cov="$(grep -o 'cov: [0-9]*' "$log" | tail -1 | grep -o '[0-9]*' || true)"
  ft="$(grep -o 'ft: [0-9]*' "$log" | tail -1 | grep -o '[0-9]*' || true)"
  printf '%-12s %-8s executions %-10s cov %-6s ft %s\n' "$t" "$status" "${execs:-?}" "${cov:-?}" "${ft:-?}"
  if [ "$status" != ok ]; then
    grep -E 'ERROR|runtime error|SUMMARY|Test unit written' "$log" | head -5 >&2
    return 1
  fi
}

failed=0
jobs="${FUZZ_JOBS:-1}"
if [ "$jobs" -le 1 ]; then
  for t in "${targets[@]}"; do run "$t" || failed=1; done
else
  pids=()
  for t in "${targets[@]}"; do
    run "$t" & pids+=($!)
    while [ "$(jobs -rp | wc -l)" -ge "$jobs" ]; do sleep 1; done
  done
  for p in "${pids[@]}"; do wait "$p" || failed=1; done
fi
exit "$failed"
