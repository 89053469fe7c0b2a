#!/usr/bin/env bash
# Installs what is missing, builds the tool, and runs it on the bundled default input: the test
# chart the build draws (a zone plate with colour and grey ramps). The chart is resized with
# every method, rotated, written as PNG, JPEG and TIFF, and each result is described.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
jobs="$(nproc 2>/dev/null || echo 2)"
build=build/release
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" -j"$jobs" --target vandrel_tool vandrel_chart

vandrel="$build/bin/vandrel"
chart="$build/share/vandrel/testchart.ppm"
out=build/demo
rm -rf "$out"
mkdir -p "$out"

run() {
  echo "\$ vandrel $*"
  "$vandrel" "$@"
}

run formats
echo
run info "$chart"
echo
run convert "$chart" "$out/chart.png"
for method in nearest bilinear bicubic quorix squeeze; do
  run convert "$out/chart.png" "$out/chart-$method.png" --size 320x240 --method "$method"
done
run convert "$out/chart.png" "$out/chart-rotated.jpg" --rotate 30 --background 203040 --method bilinear --quality 90
run convert "$out/chart.png" "$out/chart-portrait.tif" --rotate 90 --width 240 --method bicubic --depth 48
run tags "$out/chart-portrait.tif" 0x0100 0x0101 0x0102 --json
echo
for file in "$out"/*; do
  run info "$file"
  echo
done
echo "The pictures are in $out/."
