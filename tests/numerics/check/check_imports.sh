#!/usr/bin/env bash
# Fails when the library imports an elementary function or a square root from the C runtime.
# Usage: check_imports.sh LIBRARY [ALLOWED...]
#   LIBRARY: libxeloraalgo.so (its undefined dynamic symbols, from nm -D --undefined-only) or
#   XeloraAlgo.dll (its import table, from x86_64-w64-mingw32-objdump -p).
#   ALLOWED: names that may still be imported (each is reported).
set -euo pipefail
lib="$1"
shift
allowed=" $* "
case "$lib" in
  *.dll) imports="$(x86_64-w64-mingw32-objdump -p "$lib" | awk '/DLL Name:/{inside=1; next} inside && NF >= 3 && $1 ~ /^[0-9a-f]+$/ {print $3}')" ;;
  *) imports="$(nm -D --undefined-only "$lib" | awk '{print $NF}' | sed 's/@.*//')" ;;
esac
[ -n "$imports" ] || { echo "check_imports: no imports read from $lib" >&2; exit 2; }
status=0
for f in sqrt sin cos tan exp exp2 log log2 log10 atan atan2 acos asin pow cbrt hypot sincos; do
  for name in "$f" "${f}f" "${f}l"; do
    if grep -qx "$name" <<<"$imports"; then
      if [[ "$allowed" == *" $name "* ]]; then
        echo "check_imports: $lib imports $name (allowed for now)"
      else
        echo "check_imports: $lib imports $name from the C runtime" >&2
        status=1
      fi
    fi
  done
done
[ $status -eq 0 ] && echo "check_imports: $lib imports no elementary function and no square root"
exit $status
