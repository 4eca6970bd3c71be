#!/usr/bin/env bash
# Installs what is missing, configures and builds the library with its tests, and runs every test.
# Usage: scripts/test.sh [build-dir] [extra cmake arguments...]
set -euo pipefail
cd "$(dirname "$0")/.."
build="${1:-build}"
[ $# -gt 0 ] && shift
scripts/install-deps.sh
jobs="$(nproc 2>/dev/null || echo 2)"
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release "$@"
cmake --build "$build" -j "$jobs"
ctest --test-dir "$build" -j "$jobs" --output-on-failure --timeout 900
