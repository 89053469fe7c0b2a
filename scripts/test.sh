#!/usr/bin/env bash
# Installs what is missing, builds the normal and the sanitizer configuration and runs every
# test in both. Exits non-zero on the first failing configuration.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
jobs="$(nproc 2>/dev/null || echo 2)"
export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=0:strict_string_checks=1}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"
for config in release asan; do
  echo "== $config: build"
  bash scripts/build.sh "$config"
  echo "== $config: test"
  (cd "build/$config" && ctest --output-on-failure -j"$jobs" --timeout 600)
done

# The installed package: headers, library, plug-ins, tool, CMake package and pkg-config file,
# used by the example program the way an embedding application would.
echo "== install: package and example"
prefix="$(mktemp -d)"
trap 'rm -rf "$prefix"' EXIT
cmake --install build/release --prefix "$prefix" >/dev/null
"$prefix/bin/vandrel" formats
"$prefix/bin/vandrel" chart "$prefix/chart.ppm" --size 160x120
cmake -S examples -B "$prefix/example" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$prefix/example"
"$prefix/example/vandrel_resize" "$prefix/chart.ppm" "$prefix/small.png" PNG 80 60
"$prefix/bin/vandrel" info "$prefix/small.png"
# The installed Python module finds the installed plug-ins by itself.
for site in "$prefix"/lib/python3*/*-packages; do
  [ -d "$site/vandrel" ] || continue
  PYTHONPATH="$site" /usr/bin/python3 -c 'import sys, vandrel
print("python:", vandrel.read(sys.argv[1]).shape, "plug-ins from", vandrel.plugin_folder())' "$prefix/small.png"
done
export PKG_CONFIG_PATH="$prefix/lib/pkgconfig"
g++ -std=c++17 -o "$prefix/resize-pc" examples/resize.cpp \
  -DVANDREL_PLUGIN_DIR="\"$(pkg-config --variable=plugindir vandrel)\"" \
  $(pkg-config --cflags --libs vandrel) -Wl,-rpath,"$prefix/lib"
"$prefix/resize-pc" "$prefix/chart.ppm" "$prefix/small.jpg" JPEG 40 30
rm -rf "$prefix"
trap - EXIT
echo "== all passed"
