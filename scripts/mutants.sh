#!/usr/bin/env bash
# Mutation check: applies each small fault of scripts/mutants.list to the working tree, one at a
# time, rebuilds what changed in build/mutants and runs the test program of the mutated
# subsystem. A mutant the tests notice is "killed"; one they miss "survived".
#
#   scripts/mutants.sh [NAME_PATTERN [SUBSYSTEM_PATTERN]]   (regular expressions; default all)
#
# List format, one mutant a line, fields separated by tabs:
#   name  subsystem  file  original text  mutated text
# The original text must occur exactly once in the file; a mutant whose text is gone or repeated
# is reported "stale" and skipped. Environment: MUTANT_TIMEOUT (seconds per test run, default
# 300), MUTANT_BUILD_DIR (default build/mutants), MUTANT_SKIP_BASELINE=1 (do not first check
# that each test program passes unmutated).
set -uo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
list=scripts/mutants.list
build=${MUTANT_BUILD_DIR:-build/mutants}
timeout_s=${MUTANT_TIMEOUT:-300}
pattern=${1:-.}
subsystems=${2:-.}
log_dir=$build/mutant-logs

if ! git diff --quiet -- src plugins tools include; then
  echo "mutants: product code has uncommitted changes; commit or stash them first" >&2
  exit 2
fi

mkdir -p "$log_dir"
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVANDREL_BUILD_BENCH=OFF >/dev/null || exit 2

# The file being mutated is put back however the run ends.
current_file=""
restore() {
  if [[ -n "$current_file" ]]; then
    git checkout -q -- "$current_file"
    current_file=""
  fi
}
trap restore EXIT
trap 'restore; exit 130' INT TERM

target_of() {
  echo "test_$1"
}

# Replaces the single occurrence of $2 by $3 in file $1; exit 3 when it is not there exactly once.
apply_mutant() {
  python3 - "$1" "$2" "$3" <<'EOF'
import sys
path, old, new = sys.argv[1:4]
text = open(path, encoding="utf-8").read()
if text.count(old) != 1:
    sys.exit(3)
open(path, "w", encoding="utf-8").write(text.replace(old, new, 1))
EOF
}

build_target() {
  cmake --build "$build" -j2 --target "$1" >"$2" 2>&1 </dev/null
}

# Every test program must pass unmutated, or the verdicts mean nothing.
declare -A baseline_ok used_targets
results=()
while IFS=$'\n' read -r line <&3; do
  [[ -z "$line" || "$line" == \#* ]] && continue
  IFS=$'\t' read -r name subsystem file original mutated <<<"$(printf '%s' "$line" | sed 's/\t\t/\t-\t/g')"
  [[ "$name" =~ $pattern && "$subsystem" =~ $subsystems ]] || continue
  [[ "$mutated" == "-" ]] && mutated=""
  target=$(target_of "$subsystem")
  if [[ -z "${baseline_ok[$target]:-}" && -z "${MUTANT_SKIP_BASELINE:-}" ]]; then
    if build_target "$target" "$log_dir/baseline-$target.log" &&
      timeout "$timeout_s" "$build/bin/$target" --gtest_brief=1 >>"$log_dir/baseline-$target.log" 2>&1 </dev/null; then
      baseline_ok[$target]=yes
    else
      echo "mutants: $target fails without any mutant (see $log_dir/baseline-$target.log)" >&2
      exit 1
    fi
  fi
  used_targets[$target]=1
  current_file=$file
  start=$SECONDS
  if ! apply_mutant "$file" "$original" "$mutated"; then
    current_file=""
    verdict=stale
  elif ! build_target "$target" "$log_dir/$name.log"; then
    verdict=build-failed
  elif timeout "$timeout_s" "$build/bin/$target" --gtest_brief=1 --gtest_fail_fast >>"$log_dir/$name.log" 2>&1 </dev/null; then
    verdict=survived
  else
    verdict=killed
  fi
  restore
  printf '%-28s %-10s %-12s %4ds\n' "$name" "$subsystem" "$verdict" $((SECONDS - start))
  results+=("$subsystem $verdict")
done 3<"$list"


echo
printf '%-10s %7s %9s %6s %13s\n' subsystem killed survived stale build-failed
printf '%s\n' "${results[@]}" | awk '
  { n[$1]++; c[$1, $2]++; t[$2]++ }
  END {
    for (s in n) printf "%-10s %7d %9d %6d %13d\n", s, c[s, "killed"], c[s, "survived"], c[s, "stale"], c[s, "build-failed"]
    printf "%-10s %7d %9d %6d %13d\n", "total", t["killed"], t["survived"], t["stale"], t["build-failed"]
  }' | sort -k1,1 | awk '$1 != "total"; $1 == "total" { last = $0 } END { print last }'

# Leave the programs matching the unmutated sources.
for target in "${!used_targets[@]}"; do
  build_target "$target" "$log_dir/restore-$target.log"
done
