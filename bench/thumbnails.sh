#!/usr/bin/env bash
# Thumbnails at scale against vipsthumbnail (Debian libvips-tools), in one run:
#  (a) a 20160x15120 JPEG -> 2000 px wide: CPU time (user + sys) and peak memory, single call;
#  (b) a folder of 50 camera photos -> 200 px wide: wall time, one call each;
#  (c) the same folder with -j 1 against -j 2, and, as the machine's own ceiling, -j 1 against two
#      independent -j 1 processes that each take half of the folder (nothing shared but the
#      machine: no program can scale further than that).
# Runs of A and B are interleaved and the medians of RUNS runs reported.
# usage: bench/thumbnails.sh [BUILD_DIR] (default build/release); RUNS=5 by default; the photos
# come from $VANDREL_TESTDATA (default ../shared/testdata beside the repository).
set -euo pipefail
here="$(cd "$(dirname "$0")/.." && pwd)"
build="${1:-$here/build/release}"
runs="${RUNS:-5}"
tool="$build/bin/vandrel"
[ -x "$tool" ] || { echo "build the tool first: $tool" >&2; exit 1; }
if ! command -v vipsthumbnail >/dev/null; then
  apt-get install -y --no-install-recommends libvips-tools >/dev/null
fi
photos="${VANDREL_TESTDATA:-$here/../shared/testdata}/exif/jpg"
[ -d "$photos" ] || { echo "no camera photos in $photos (set VANDREL_TESTDATA)" >&2; exit 1; }
work="$(mktemp -d "${TMPDIR:-/tmp}/vxthumbs-XXXXXX")"
trap 'rm -rf "$work"' EXIT

# One measurement: "<cpu seconds> <wall seconds> <peak KiB>" of a command. The wall clock is
# read in nanoseconds: a batch takes a tenth of a second, below time(1)'s resolution.
measure() {
  local start end
  start=$(date +%s%N)
  /usr/bin/time -f '%U %S %M' -o "$work/time" "$@" >/dev/null 2>&1 || { echo "failed: $*" >&2; exit 1; }
  end=$(date +%s%N)
  awk -v wall="$(((end - start) / 1000))" '{printf "%.3f %.4f %d\n", $1 + $2, wall / 1e6, $3}' "$work/time"
}
# Wall seconds of two independent single-worker processes, each on one half of the folder.
halves() {
  local start end half=$(($# / 2))
  start=$(date +%s%N)
  "$tool" convert "${@:1:half}" -o "$work/out/%s.jpg" --width 200 -j 1 >/dev/null 2>&1 &
  "$tool" convert "${@:half+1}" -o "$work/out/%s.jpg" --width 200 -j 1 >/dev/null 2>&1
  wait
  end=$(date +%s%N)
  awk -v wall="$(((end - start) / 1000))" 'BEGIN {printf "0 %.4f 0\n", wall / 1e6}'
}
median() { sort -g | awk '{v[NR] = $1} END {print (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2}'; }
# column N of the runs recorded for one side
col() { awk -v c="$2" '{print $c}' "$work/$1" | median; }

echo "# making the inputs" >&2
big="$work/big.jpg"
"$tool" chart "$big" --size 20160x15120
mkdir -p "$work/photos" "$work/out"
n=0
while [ "$n" -lt 50 ]; do
  for f in "$photos"/*.jpg "$photos"/*/*.jpg; do
    [ "$n" -lt 50 ] || break
    w="$(vipsheader -f width "$f")"
    [ "$w" -ge 320 ] || continue  # camera photos, not the 100 px stamps
    cp "$f" "$work/photos/$(printf '%02d' "$n")-$(basename "$f")"
    n=$((n + 1))
  done
done
set -- "$work"/photos/*.jpg

: >"$work/a-ours"; : >"$work/a-vips"; : >"$work/a-vips1"
: >"$work/b-ours"; : >"$work/b-vips"; : >"$work/b-vips1"; : >"$work/c-j1"; : >"$work/c-j2"; : >"$work/c-halves"
for r in $(seq "$runs"); do
  echo "# run $r of $runs" >&2
  measure "$tool" convert "$big" "$work/out/big.jpg" --width 2000 >>"$work/a-ours"
  measure vipsthumbnail "$big" -s 2000x -o "$work/out/big-vips.jpg" >>"$work/a-vips"
  VIPS_CONCURRENCY=1 measure vipsthumbnail "$big" -s 2000x -o "$work/out/big-vips1.jpg" >>"$work/a-vips1"
  measure "$tool" convert "$@" -o "$work/out/%s.jpg" --width 200 >>"$work/b-ours"
  measure vipsthumbnail "$@" -s 200x -o "$work/out/%s-vips.jpg" >>"$work/b-vips"
  VIPS_CONCURRENCY=1 measure vipsthumbnail "$@" -s 200x -o "$work/out/%s-vips1.jpg" >>"$work/b-vips1"
  measure "$tool" convert "$@" -o "$work/out/%s.jpg" --width 200 -j 1 >>"$work/c-j1"
  measure "$tool" convert "$@" -o "$work/out/%s.jpg" --width 200 -j 2 >>"$work/c-j2"
  halves "$@" >>"$work/c-halves"
done

ratio() { awk -v a="$1" -v b="$2" 'BEGIN {printf "%.2f", a / b}'; }
a_ours=$(col a-ours 1); a_vips=$(col a-vips 1); a_vips1=$(col a-vips1 1)
a_mem=$(col a-ours 3); a_vmem=$(col a-vips 3)
b_ours=$(col b-ours 2); b_vips=$(col b-vips 2); b_vips1=$(col b-vips1 2)
c_j1=$(col c-j1 2); c_j2=$(col c-j2 2); c_halves=$(col c-halves 2)
cat <<TABLE
machine: $(nproc) online CPUs; medians of $runs interleaved runs
| case | vandrel | vipsthumbnail | ratio | target |
|---|---|---|---|---|
| (a) 20160x15120 -> 2000 wide, CPU s | $a_ours | $a_vips (1 thread: $a_vips1) | $(ratio "$a_ours" "$a_vips") ($(ratio "$a_ours" "$a_vips1")) | <= 0.5 |
| (a) peak memory MiB | $((a_mem / 1024)) | $((a_vmem / 1024)) | | <= 64 MiB |
| (b) 50 photos -> 200 wide, wall s | $b_ours | $b_vips (1 thread: $b_vips1) | $(ratio "$b_ours" "$b_vips") ($(ratio "$b_ours" "$b_vips1")) | <= 0.7 |
| (c) 50 photos, -j 1 / -j 2 wall s | $c_j1 / $c_j2 | | $(ratio "$c_j1" "$c_j2")x | >= 1.8x |
| (c) ceiling: -j 1 / two -j 1 processes on halves | $c_j1 / $c_halves | | $(ratio "$c_j1" "$c_halves")x | |
TABLE
