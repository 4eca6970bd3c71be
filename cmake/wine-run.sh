#!/usr/bin/env bash
# Runs a Windows program under wine64 with a private prefix:  wine-run.sh PREFIX-DIR PROGRAM [ARGS...]
# The prefix is created on first use (about ten seconds); a lock keeps parallel first uses apart.
set -euo pipefail
prefix="$1"
shift
wine="${XELORA_WINE:-/usr/lib/wine/wine64}"
export WINEPREFIX="$prefix" WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
if [ ! -f "$prefix/system.reg" ]; then
  mkdir -p "$prefix"
  (
    flock 9
    if [ ! -f "$prefix/system.reg" ]; then
      "$wine" wineboot --init >/dev/null 2>&1 || true
      "${wine%/*}/wineserver" -w 2>/dev/null || true
    fi
  ) 9>"$prefix.lock"
fi
exec "$wine" "$@"
