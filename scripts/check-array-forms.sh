#!/usr/bin/env bash
# Compares the array forms of sinf, expf and atan2f with the scalar functions, bit for bit, for every
# instruction set the processor has (SSE2, AVX2, AVX-512): sinf and expf on all 2^32 float inputs,
# atan2f on random pairs (half random bit patterns, half in [-300, 300]) and every pair of special
# values; with AVX-512, also the short exp kernel of the bilateral filter's loops on all 2^32 inputs.
# Not part of CI: about one to seven minutes of processor time per function and instruction set
# (sinf, with its reduction of huge arguments, is the slowest). Prints the counts (mismatches must
# be 0); exits non-zero on any mismatch.
# Usage: scripts/check-array-forms.sh [build-dir] [threads] [atan2f-pairs] [seed]
#   (threads: default 1, as the machine may be shared; atan2f-pairs: default 10^9; seed: default 1)
set -euo pipefail
cd "$(dirname "$0")/.."
build="${1:-build}"
threads="${2:-1}"
pairs="${3:-1000000000}"
seed="${4:-1}"
scripts/install-deps.sh
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$build" -j 2 --target numerics-check
check="$build/tests/numerics-check"
status=0
for isa in sse2 avx2 avx512; do
  for f in sinf expf expf-short; do
    "$check" array "$f" "$isa" "$threads" || { rc=$?; [ $rc -eq 2 ] || status=1; }
  done
  "$check" array-pairs "$pairs" "$isa" "$threads" "$seed" || { rc=$?; [ $rc -eq 2 ] || status=1; }
done
exit $status
