#!/usr/bin/env bash
# Configures and builds one configuration: scripts/build.sh release|asan
set -euo pipefail
cd "$(dirname "$0")/.."
config="${1:-release}"
jobs="$(nproc 2>/dev/null || echo 2)"
case "$config" in
  release) dir=build/release; flags=(-DCMAKE_BUILD_TYPE=RelWithDebInfo) ;;
  asan)    dir=build/asan;    flags=(-DCMAKE_BUILD_TYPE=Debug -DVANDREL_SANITIZE=ON -DVANDREL_BUILD_BENCH=OFF) ;;
  *) echo "usage: $0 release|asan" >&2; exit 2 ;;
esac
cmake -S . -B "$dir" "${flags[@]}" >/dev/null
cmake --build "$dir" -j"$jobs"
