#!/usr/bin/env bash
# Installs the Debian packages the library, its tests, benchmarks and tools need, if any is missing.
# Safe to run again: it does nothing when everything is there. Needs root (or sudo) only to install.
# Usage: scripts/install-deps.sh [--windows | --bench-references] [package...]   (--windows: what the
# Windows cross build and its wine test run need instead: MinGW-w64, wine64, GoogleTest's sources,
# apt-get source's dpkg-source, and clang + lld-link for the test of a host built with the MSVC ABI;
# --bench-references: also the references some benchmarks time beside the library, never needed by
# the library or its tests: OpenCV's imgproc (the C++ benchmarks find it when present) and Open3D
# for bench/cloud/open3d_sor.py; further arguments name extra packages a caller needs, e.g.
# scripts/fuzz.sh: clang-14 libclang-rt-14-dev)
set -euo pipefail

packages=(
  g++ cmake make pkgconf
  libgtest-dev libgmock-dev libbenchmark-dev
  libann-dev
  libpng-dev nlohmann-json3-dev libcli11-dev
  libmpfr-dev
  python3 python3-dev pybind11-dev python3-numpy python3-pytest python3-matplotlib
)
if [ "${1:-}" = "--windows" ]; then
  packages=(
    cmake make
    g++-mingw-w64-x86-64-posix gcc-mingw-w64-x86-64-posix binutils-mingw-w64-x86-64
    wine64 googletest dpkg-dev xz-utils debian-archive-keyring
    clang lld
  )
  shift
elif [ "${1:-}" = "--bench-references" ]; then
  packages+=(libopencv-imgproc-dev python3-open3d)
  shift
fi
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
