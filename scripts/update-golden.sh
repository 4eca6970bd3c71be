#!/usr/bin/env bash
# Rebuilds the golden dump, writes its SHA-256 into tests/golden/golden.sha256 and keeps the previous
# dump as golden.previous.bin, so `xelora_golden --diff` can list what changed.
# Usage: scripts/update-golden.sh [build-dir]   (default: build)
set -euo pipefail
cd "$(dirname "$0")/.."
build="${1:-build}"
[ -f "$build/CMakeCache.txt" ] || cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release
cmake --build "$build" -j "$(nproc 2>/dev/null || echo 2)" --target xelora_golden
dir="$build/tests/golden"
mkdir -p "$dir"
[ -f "$dir/golden.bin" ] && cp "$dir/golden.bin" "$dir/golden.previous.bin"
"$dir/xelora_golden" "$dir/golden.bin"
hash="$(sha256sum "$dir/golden.bin" | cut -d' ' -f1)"
echo "old: $(cut -d' ' -f1 tests/golden/golden.sha256 2>/dev/null || echo none)"
echo "new: $hash"
echo "$hash" > tests/golden/golden.sha256
if [ -f "$dir/golden.previous.bin" ]; then
  "$dir/xelora_golden" --diff "$dir/golden.previous.bin" "$dir/golden.bin" || true
fi
