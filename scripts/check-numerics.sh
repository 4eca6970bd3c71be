#!/usr/bin/env bash
# Compares the library's float functions with MPFR over every float input (all 2^32 bit patterns
# of sinf, cosf, expf, atanf and acosf), atan2f over random pairs and the double functions (exp, sin,
# cos, atan, atan2, pow) over random inputs. The float functions are checked in both their forms:
# the one this processor uses and the one without fused multiply-adds ("-plain"). Not part of CI:
# about two minutes of processor time per float function and form, about five per 10^9 inputs of a
# double function (pow: about thirty). Prints, per
# function, the inputs checked, those MPFR decided and the mismatches (must be 0); exits non-zero on
# any mismatch.
# Usage: scripts/check-numerics.sh [build-dir] [threads] [atan2f-pairs] [double-inputs] [seed]
#   (threads: default 1, as the machine may be shared; atan2f-pairs: default 10^9; double-inputs:
#   per double function, default 10^9; seed: of the random inputs, default 1)
# The inputs MPFR had to decide are appended to <build-dir>/numerics-hard-cases.txt (inputs only:
# tests/numerics/check/hard_cases.txt keeps a selection of them for the sampled check in CI).
set -euo pipefail
cd "$(dirname "$0")/.."
build="${1:-build}"
threads="${2:-1}"
pairs="${3:-1000000000}"
doubles="${4:-1000000000}"
seed="${5:-1}"
scripts/install-deps.sh
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$build" -j 2 --target numerics-check
hard="$build/numerics-hard-cases.txt"
rm -f "$hard"
status=0
for f in sinf cosf expf atanf acosf sinf-plain cosf-plain expf-plain atanf-plain acosf-plain; do
  "$build/tests/numerics-check" exhaustive "$f" "$threads" 0 0xffffffff "$hard" || status=1
done
"$build/tests/numerics-check" pairs "$pairs" "$threads" || status=1
"$build/tests/numerics-check" pairs "$pairs" "$threads" "$seed" plain || status=1
"$build/tests/numerics-check" doubles "$doubles" "$threads" "$seed" all || status=1
exit $status
