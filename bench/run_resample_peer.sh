#!/usr/bin/env bash
# Side-by-side throughput of our line resamplers and OpenCV's cv::resize (one thread) on the
# same 12-megapixel RGB frame, same target sizes, same case names. Prints destination
# megapixels per second for both and the ratio ours / OpenCV (medians of the repetitions).
#
#   bash bench/run_resample_peer.sh [extra Google Benchmark flags, e.g. --benchmark_filter=8bit]
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
build=${BUILD_DIR:-build/release}
out=${OUT_DIR:-$build/bench-peer}
reps=${REPETITIONS:-3}

# The peer library is installed here, for this comparison only; the library never uses it.
if ! pkg-config --exists opencv4; then
  sudo=""
  [ "$(id -u)" -ne 0 ] && sudo="sudo"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq libopencv-dev libbenchmark-dev >/dev/null
fi

cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$build" -j2 --target bench_resample >/dev/null
mkdir -p "$out"
g++ -O3 -std=c++17 -I"$root/bench" bench/peer/peer_opencv_resize.cpp -o "$out/peer_opencv_resize" \
  $(pkg-config --cflags --libs opencv4) -lbenchmark -lpthread

flags=(--benchmark_repetitions="$reps" --benchmark_report_aggregates_only=true
       --benchmark_format=csv "$@")
"$build/bin/bench_resample" "${flags[@]}" > "$out/ours.csv" 2> "$out/ours.log"
"$out/peer_opencv_resize" "${flags[@]}" > "$out/opencv.csv" 2> "$out/opencv.log"

# items_per_second is the 7th CSV column; keep the median rows and join them by case name.
awk -F, '
  function mp(v) { return sprintf("%9.1f", v / 1e6) }
  FNR == 1 { file++ ; next }
  $1 ~ /_median"$/ {
    name = $1; gsub(/"/, "", name); sub(/_median$/, "", name)
    if (file == 1) ours[name] = $7; else peer[name] = $7
    if (file == 1) order[++n] = name
  }
  END {
    printf "%-28s %12s %12s %8s\n", "case (Mpixel/s out)", "vandrel", "opencv", "ratio"
    for (i = 1; i <= n; i++) {
      k = order[i]
      if (!(k in peer)) continue
      printf "%-28s %12s %12s %8.2f\n", k, mp(ours[k]), mp(peer[k]), ours[k] / peer[k]
    }
  }' "$out/ours.csv" "$out/opencv.csv"
