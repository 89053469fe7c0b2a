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
