#!/usr/bin/env bash
# Files per second of `python3 -m vandrel.batch` with 1 and 2 local Dask workers over the test
# corpus, beside Pillow making the same thumbnails (JPEG, width W, bicubic) in one process.
# Each row is the median of RUNS runs; a run's time includes starting the cluster.
#   bash bench/python_batch.sh [BUILD_DIR] [CORPUS] [WIDTH] [RUNS]
set -euo pipefail
cd "$(dirname "$0")/.."
build="${1:-build/release}"
corpus="${2:-../shared/testdata}"
width="${3:-160}"
runs="${4:-3}"
python=/usr/bin/python3
if ! "$python" -c "import PIL" 2>/dev/null; then
  SUDO=""; [ "$(id -u)" -ne 0 ] && SUDO="sudo"
  $SUDO apt-get install -y -qq --no-install-recommends python3-pil
fi
site="$(ls -d "$build"/lib/python3*/dist-packages "$build"/lib/python3*/site-packages 2>/dev/null | head -1)"
export PYTHONPATH="$PWD/$site"
out="$(mktemp -d)"
trap 'rm -rf "$out"' EXIT

"$python" - "$corpus" "$out" "$width" "$runs" <<'PY'
import os, statistics, subprocess, sys, time

corpus, out, width, runs = sys.argv[1], sys.argv[2], int(sys.argv[3]), int(sys.argv[4])
from vandrel import batch
jobs = batch.plan_jobs(corpus, out, batch.Options(suffix=".jpg"), batch.readable_extensions())
files = len(jobs)

def timed(command):
    started = time.perf_counter()
    subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return time.perf_counter() - started

def pillow(target):
    from PIL import Image
    started = time.perf_counter()
    for source, _ in jobs:
        rel = os.path.relpath(source, corpus)
        dst = os.path.join(target, os.path.splitext(rel)[0] + ".jpg")
        os.makedirs(os.path.dirname(dst), exist_ok=True)
        try:
            with Image.open(source) as im:
                im.thumbnail((width, 1 << 30), Image.BICUBIC)
                im.convert("RGB").save(dst, quality=75)
        except Exception:
            pass
    return time.perf_counter() - started

rows = {"vandrel.batch, 1 worker": [], "vandrel.batch, 2 workers": [],
        "vandrel.batch, no Dask (one process)": [], "Pillow, one process": []}
for run in range(runs):
    for name, workers in (("vandrel.batch, 1 worker", 1), ("vandrel.batch, 2 workers", 2),
                          ("vandrel.batch, no Dask (one process)", 0)):
        target = os.path.join(out, f"{workers}-{run}")
        rows[name].append(timed([sys.executable, "-m", "vandrel.batch", corpus, target,
                                 "--width", str(width), "--suffix", ".jpg",
                                 "--workers", str(workers)]))
    rows["Pillow, one process"].append(pillow(os.path.join(out, f"pil-{run}")))

print(f"{files} files from {corpus}, width {width}, median of {runs} runs")
print(f"{'':40s} {'seconds':>8s} {'files/s':>8s}")
for name, times in rows.items():
    t = statistics.median(times)
    print(f"{name:40s} {t:8.2f} {files / t:8.1f}")
PY
