#!/usr/bin/env bash
# Files per second of `python3 -m vandrel.batch` with 1 and 2 local Dask workers over the test
# corpus, beside Pillow making the same thumbnails (JPEG, width W, bicubic) in one process.
# Each row is the median of RUNS runs: the whole command (Python and cluster start included) and
# the converting part alone, as the batch's summary reports it.
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
for site in "$build"/lib/python3*/*-packages; do
  [ -d "$site/vandrel" ] && export PYTHONPATH="$PWD/$site"
done
out="$(mktemp -d)"
trap 'rm -rf "$out"' EXIT

"$python" - "$corpus" "$out" "$width" "$runs" <<'PY'
import os, statistics, subprocess, sys, time

corpus, out, width, runs = sys.argv[1], sys.argv[2], int(sys.argv[3]), int(sys.argv[4])
from vandrel import batch

# Like with like: the files of the formats both sides read (JPEG, PNG, TIFF), as a tree of links.
shared = os.path.join(out, "src")
for folder, _, names in os.walk(corpus):
    for name in names:
        if os.path.splitext(name)[1].lower() in (".jpg", ".jpeg", ".png", ".tif", ".tiff"):
            link = os.path.join(shared, os.path.relpath(os.path.join(folder, name), corpus))
            os.makedirs(os.path.dirname(link), exist_ok=True)
            os.symlink(os.path.abspath(os.path.join(folder, name)), link)
corpus = shared
jobs = batch.plan_jobs(corpus, out, batch.Options(suffix=".jpg"), batch.readable_extensions())
files = len(jobs)

def timed(command):
    """Whole seconds and converting seconds (the batch's own summary, cluster start left out)."""
    started = time.perf_counter()
    done = subprocess.run(command, capture_output=True, text=True)
    whole = time.perf_counter() - started
    converting = float(done.stdout.split(" s converting")[0].rsplit(" ", 1)[1])
    return whole, converting

def pillow(target):
    import warnings
    from PIL import Image
    warnings.simplefilter("ignore")
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
    t = pillow(os.path.join(out, f"pil-{run}"))
    rows["Pillow, one process"].append((t, t))

print(f"{files} JPEG/PNG/TIFF files from {sys.argv[1]}, JPEG thumbnails {width} wide, "
      f"median of {runs} runs")
print(f"{'':40s} {'whole s':>8s} {'files/s':>8s} {'conv. s':>8s} {'files/s':>8s}")
for name, times in rows.items():
    whole = statistics.median(t[0] for t in times)
    conv = statistics.median(t[1] for t in times)
    print(f"{name:40s} {whole:8.2f} {files / whole:8.1f} {conv:8.2f} {files / conv:8.1f}")
PY
