#!/usr/bin/env bash
# Runs the Windows build's test suite under wine64 through ctest (Release build, private wine prefix
# inside the build directory), building it first when needed; ends with ctest's summary line.
# Usage: scripts/test-windows.sh [build-dir]   (default build-windows/; safe to run again)
#
# The golden dump (label golden) checks that the DLL's results equal the Linux library's bit for bit.
# XELORA_WINDOWS_GOLDEN=report runs it as a report only: the records that differ from the Linux
# dump are listed (with the Linux build's xelora_golden, from XELORA_LINUX_BUILD, default build/),
# but the suite's status does not depend on them.
set -euo pipefail
cd "$(dirname "$0")/.."
build="${1:-build-windows}"
scripts/build-windows.sh "$build"
build="$(cd "$build" && pwd)"
jobs="$(nproc 2>/dev/null || echo 2)"
export WINEPREFIX="$build/wineprefix" WINEDEBUG=-all

golden_mode="${XELORA_WINDOWS_GOLDEN:-enforce}"
exclude=()
if [ "$golden_mode" = report ]; then
  exclude=(-LE golden)
  echo "== golden dump under wine (report only)"
  if cmake/wine-run.sh "$build/wineprefix" "$build/bin/xelora_golden.exe" "$build/golden-wine.bin"; then
    expected="$(grep -oE '^[0-9a-f]+' tests/golden/golden.sha256)"
    actual="$(sha256sum "$build/golden-wine.bin" | cut -d' ' -f1)"
    if [ "$actual" = "$expected" ]; then
      echo "golden: the wine dump equals the Linux dump (SHA-256 $actual)"
    else
      echo "golden: the wine dump differs from the Linux dump (SHA-256 $actual, expected $expected)"
      linux_golden="${XELORA_LINUX_BUILD:-build}/tests/golden/xelora_golden"
      if [ -x "$linux_golden" ]; then
        "$linux_golden" "$build/golden-linux.bin" >/dev/null
        "$linux_golden" --diff "$build/golden-linux.bin" "$build/golden-wine.bin" || true
      fi
    fi
  fi
fi

ctest --test-dir "$build" -j "$jobs" --output-on-failure --timeout 900 "${exclude[@]}"
