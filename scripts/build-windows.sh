#!/usr/bin/env bash
# Cross-builds XeloraAlgo.dll, its import library, the C interface test programs and the GoogleTest
# programs for 64-bit Windows (Debian's MinGW-w64, POSIX threads). Installs what is missing first.
# Usage: scripts/build-windows.sh [build-dir]   (default build-windows/; safe to run again)
#
# Dependencies are built inside the build directory, in deps/:
#   ann-src/     Debian's `ann` source package (patches applied), fetched once with apt-get source
#                through a private apt configuration (deps/apt/); later runs need no network
#   prefix/      static ANN and GoogleTest (from /usr/src/googletest), cross-built
#   wineprefix   (in the build directory) the private wine prefix the test programs run in
set -euo pipefail
cd "$(dirname "$0")/.."
root="$PWD"
build="${1:-build-windows}"
mkdir -p "$build"
build="$(cd "$build" && pwd)"
deps="$build/deps"
prefix="$deps/prefix"
toolchain="$root/cmake/mingw-w64-x86_64.cmake"
jobs="$(nproc 2>/dev/null || echo 2)"

scripts/install-deps.sh --windows

# ---- ANN source: Debian's package for this machine's release, through a private apt setup ----
fetch_ann_source() {
  local apt="$deps/apt" codename mirror
  codename="$(. /etc/os-release && echo "${VERSION_CODENAME:-}")"
  [ -n "$codename" ] || { echo "build-windows: cannot tell the Debian release" >&2; exit 1; }
  # The machine's Debian mirror: the first URI of a main-archive entry of its apt sources.
  mirror="$(cat /etc/apt/sources.list /etc/apt/sources.list.d/*.list /etc/apt/sources.list.d/*.sources \
              2>/dev/null | grep -v '^\s*#' | grep -oE '(https?|file)://[^ ]*debian/?' \
              | grep -v security | head -n 1 || true)"
  mirror="${mirror:-http://deb.debian.org/debian}"
  rm -rf "$apt" && mkdir -p "$apt/lists/partial" "$apt/cache/archives/partial" "$apt/src"
  echo "deb-src [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] ${mirror%/} $codename main" \
    >"$apt/sources.list"
  : >"$apt/status"
  local opts=(-o "Dir::Etc::sourcelist=$apt/sources.list" -o "Dir::Etc::sourceparts=-"
              -o "Dir::State=$apt" -o "Dir::State::Lists=$apt/lists" -o "Dir::State::status=$apt/status"
              -o "Dir::Cache=$apt/cache" -o "Debug::NoLocking=1" -o "APT::Sandbox::User=$(id -un)")
  echo "build-windows: fetching the source of Debian's ann package from $mirror ($codename)"
  apt-get -qq "${opts[@]}" update
  (cd "$apt/src" && apt-get -qq "${opts[@]}" source ann)
  local dir
  dir="$(find "$apt/src" -mindepth 1 -maxdepth 1 -type d -name 'ann-*' | head -n 1)"
  [ -f "$dir/include/ANN/ANN.h" ] || { echo "build-windows: apt-get source ann gave no source tree" >&2; exit 1; }
  rm -rf "$deps/ann-src" && mv "$dir" "$deps/ann-src"
}
[ -f "$deps/ann-src/include/ANN/ANN.h" ] || fetch_ann_source

cross_install() {  # name source-dir [cmake args]
  local name="$1" src="$2"
  shift 2
  cmake -S "$src" -B "$deps/$name-build" -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_INSTALL_PREFIX="$prefix" "$@" >/dev/null
  cmake --build "$deps/$name-build" -j "$jobs"
  cmake --install "$deps/$name-build" >/dev/null
}
[ -f "$prefix/lib/libANN.a" ] || cross_install ann "$root/cmake/ann" -DANN_SOURCE_DIR="$deps/ann-src"
[ -f "$prefix/lib/libgtest.a" ] || cross_install googletest /usr/src/googletest -DBUILD_GMOCK=ON \
  -DINSTALL_GTEST=ON

# ---- the library, the C interface tests and the GoogleTest programs ----
# The wine prefix is set up before the build, which already runs the test programs to list their tests.
"$root/cmake/wine-run.sh" "$build/wineprefix" cmd /c exit >/dev/null 2>&1 || true
cmake -S . -B "$build" -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_BUILD_TYPE=Release \
  -DXELORA_BUILD_TOOLS=OFF -DXELORA_BUILD_BENCHMARKS=OFF \
  -DANN_INCLUDE_DIR="$prefix/include" -DANN_LIBRARY="$prefix/lib/libANN.a" \
  -DGTest_DIR="$prefix/lib/cmake/GTest"
cmake --build "$build" -j "$jobs"
echo "build-windows: $build/bin/XeloraAlgo.dll"
