#!/usr/bin/env bash
# Resampling and rotation against OpenCV, side by side: one table of interleaved, single-thread
# CPU-time medians (see bench/peer/peers.cpp for what each row does and how it is timed).
#
#   bench/peers.sh [PAIRS [JOB-SUBSTRING]]      e.g. bench/peers.sh 9 bilinear
#
# Installs the peer (Debian libopencv-dev) when it is missing; builds the library (release)
# in build/release.
set -euo pipefail
cd "$(dirname "$0")/.."

if ! pkg-config --exists opencv4 2>/dev/null; then
  sudo=""
  [ "$(id -u)" -ne 0 ] && sudo="sudo"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends \
    libopencv-dev pkg-config >/dev/null
fi

build=${BUILD_DIR:-build/release}
[ -f "$build/CMakeCache.txt" ] || cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" -j2 --target vandrel >/dev/null

lib="$(pwd)/$build/lib"
out="$build/bench-peers"
mkdir -p "$out"
# shellcheck disable=SC2046
g++ -O2 -std=c++17 -Iinclude bench/peer/peers.cpp -o "$out/peers" -L"$lib" -lvandrel \
  -Wl,-rpath,"$lib" $(pkg-config --cflags --libs opencv4)
echo "OpenCV $(pkg-config --modversion opencv4)"
"$out/peers" "$@"
