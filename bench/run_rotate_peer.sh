#!/usr/bin/env bash
# Rotation side by side with OpenCV (single-threaded) on the same 4032 x 3024 RGB 8-bit image:
# a quarter turn, and 30 degrees into the expanded canvas with nearest, bilinear and bicubic
# sampling. Installs libopencv-dev when it is missing, builds bench_rotate (release) and the
# OpenCV program, runs both and prints median CPU milliseconds (the machine may be shared with
# other work, which stretches wall time but hardly CPU time), Mpixel/s (source pixels) and
# OpenCV's time divided by ours (above 1: we are faster).
#
#   bench/run_rotate_peer.sh            build tree: build/release
set -euo pipefail
cd "$(dirname "$0")/.."

if ! pkg-config --exists opencv4 2>/dev/null; then
  apt-get install -y --no-install-recommends libopencv-dev pkg-config >/dev/null
fi

build=build/release
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" -j2 --target bench_rotate >/dev/null

work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
# shellcheck disable=SC2046
g++ -O2 -std=c++17 -o "$work/rotate_peer" bench/rotate_peer_opencv.cpp \
  $(pkg-config --cflags --libs opencv4)

"$build/bin/bench_rotate" --benchmark_filter='BM_Rotate' --benchmark_repetitions=5 \
  --benchmark_report_aggregates_only=true --benchmark_format=csv 2>/dev/null \
  | awk -F, '/_median"/ { gsub(/"/, "", $1); sub(/\/min_time.*/, "", $1);
                          sub(/^BM_Rotate\//, "", $1); print $1, $4 }' >"$work/ours.txt"
"$work/rotate_peer" | awk '{ print $1, $2 }' >"$work/peer.txt"

awk -v mp=$((4032 * 3024)) '
  FNR == NR { peer[$1] = $2; next }
  {
    split($1, part, "/"); key = part[2] "/" part[3]
    if (!(key in peer)) next
    if (!header++) printf "%-28s %10s %12s %10s %8s\n", "case", "ms", "Mpixel/s", "OpenCV ms", "ratio"
    printf "%-28s %10.2f %12.1f %10.2f %8.2f\n", $1, $2, mp / 1e3 / $2, peer[key], peer[key] / $2
  }' "$work/peer.txt" "$work/ours.txt"
echo
echo "OpenCV $(pkg-config --modversion opencv4), cv::setNumThreads(1):"
awk '{ printf "  %-14s %8.2f ms\n", $1, $2 }' "$work/peer.txt"
