#!/usr/bin/env bash
# Configures and builds one configuration: scripts/build.sh release|asan|fuzz
set -euo pipefail
cd "$(dirname "$0")/.."
config="${1:-release}"
jobs="$(nproc 2>/dev/null || echo 2)"
# ccache (when installed) hashes paths relative to the checkout's parent folder, so clones in
# other places and the two configurations share compiled objects.
export CCACHE_BASEDIR="${CCACHE_BASEDIR:-$(cd .. && pwd)}"
target=()
case "$config" in
  release) dir=build/release; flags=(-DCMAKE_BUILD_TYPE=RelWithDebInfo) ;;
  asan)    dir=build/asan;    flags=(-DCMAKE_BUILD_TYPE=Debug -DVANDREL_SANITIZE=ON -DVANDREL_BUILD_BENCH=OFF) ;;
  # The libFuzzer harnesses and what they link, built with clang; nothing else.
  fuzz)    dir=build/fuzz;    flags=(-DCMAKE_BUILD_TYPE=RelWithDebInfo -DVANDREL_SANITIZE=ON -DVANDREL_FUZZ=ON
                                     -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++)
           target=(--target vandrel_fuzzers) ;;
  *) echo "usage: $0 release|asan|fuzz" >&2; exit 2 ;;
esac
cmake -S . -B "$dir" "${flags[@]}" >/dev/null
cmake --build "$dir" -j"$jobs" "${target[@]}"
