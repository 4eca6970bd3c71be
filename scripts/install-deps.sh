#!/usr/bin/env bash
# Installs the Debian packages the library, its tests, benchmarks and tools need, if any is missing.
# Safe to run again: it does nothing when everything is there. Needs root (or sudo) only to install.
# Arguments name extra packages that a caller needs besides these (scripts/fuzz.sh: clang).
set -euo pipefail

packages=(
  g++ cmake make pkgconf
  libgtest-dev libgmock-dev libbenchmark-dev
  libann-dev
  libpng-dev nlohmann-json3-dev libcli11-dev
)
packages+=("$@")

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "install-deps: installing ${missing[*]}"
sudo=""
if [ "$(id -u)" -ne 0 ]; then sudo="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" </dev/null
