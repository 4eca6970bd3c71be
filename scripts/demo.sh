#!/usr/bin/env bash
# The main job: installs what is missing, builds the library and xelora-scan, and runs a demo scan of the
# simulated camera head. Extra arguments go to `xelora-scan demo` (e.g. --out DIR, --noise 0).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
jobs="$(nproc 2>/dev/null || echo 2)"
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build -j "$jobs" --target xelora-scan
exec build/tools/xelora-scan demo "$@"
