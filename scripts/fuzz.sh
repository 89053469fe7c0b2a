#!/usr/bin/env bash
# Builds the libFuzzer harnesses (clang, ASan+UBSan) and runs every one of them: first over its
# regression inputs (tests/fuzz/inputs/<name>), then for SECONDS of fuzzing from those inputs
# and the shared test images. Any finding fails the run; its reproducer lands in
# build/fuzz/findings/. Usage: scripts/fuzz.sh [SECONDS] [NAME...]   (SECONDS 0: inputs only)
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-60}"
shift || true
bash scripts/build.sh fuzz >/dev/null
out=build/fuzz
mkdir -p "$out/corpus" "$out/findings" "$out/logs"
jobs="$(nproc 2>/dev/null || echo 2)"
export LSAN_OPTIONS="suppressions=$PWD/tests/fuzz/lsan.supp${LSAN_OPTIONS:+:$LSAN_OPTIONS}"

# One harness: its inputs once each, then the timed run. Prints one summary line. An input that
# takes 25 s is a finding (the time bombs found so far took minutes); a tighter limit would flag
# inputs that are merely slow on a busy machine. The limit is wall time, so a run that shares the
# machine with builds (or runs under nice) sets VANDREL_FUZZ_TIMEOUT higher.
timeout_s="${VANDREL_FUZZ_TIMEOUT:-25}"
run_one() {
  local name="$1" binary="$2" inputs="$3" seeds="$4"
  local log="$out/logs/$name.log" files=() dirs=()
  for f in "$inputs"/*; do
    [ -f "$f" ] && [ "$(basename "$f")" != README.txt ] && files+=("$f")
  done
  if [ ${#files[@]} -gt 0 ] && ! "$binary" -timeout="$timeout_s" "${files[@]}" >"$log" 2>&1; then
    echo "$name: FAILED on its regression inputs (see $log)"
    return 1
  fi
  if [ "$seconds" -eq 0 ]; then
    echo "$name: ${#files[@]} regression inputs pass"
    return 0
  fi
  for d in $seeds; do [ -d "$d" ] && dirs+=("$d"); done
  mkdir -p "$out/corpus/$name"
  if ! "$binary" -max_total_time="$seconds" -timeout="$timeout_s" -rss_limit_mb=2048 \
      -print_final_stats=1 -artifact_prefix="$out/findings/$name-" \
      "$out/corpus/$name" "$inputs" "${dirs[@]}" >>"$log" 2>&1; then
    echo "$name: FINDING after fuzzing (see $log and $out/findings/)"
    return 1
  fi
  local runs
  runs="$(grep -o 'number_of_executed_units: [0-9]*' "$log" | tail -1 | grep -o '[0-9]*$' || echo '?')"
  echo "$name: ${#files[@]} regression inputs pass; $runs executions in ${seconds} s, no finding"
}

failed=0
running=0
while IFS=$'\t' read -r name binary inputs seeds; do
  [ -n "$name" ] || continue
  if [ $# -gt 0 ] && [[ " $* " != *" $name "* ]]; then continue; fi
  run_one "$name" "$binary" "$inputs" "$seeds" &
  running=$((running + 1))
  if [ "$running" -ge "$jobs" ]; then
    wait -n || failed=1
    running=$((running - 1))
  fi
done <"$out/fuzz-targets.txt"
while [ "$running" -gt 0 ]; do
  wait -n || failed=1
  running=$((running - 1))
done
exit "$failed"
