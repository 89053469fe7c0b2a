"""The Dask batch against the single-process path over the shared corpus."""
import os
import subprocess
import sys

from vandrel import batch


def tree(folder):
    files = {}
    for root, _, names in os.walk(folder):
        for name in names:
            path = os.path.join(root, name)
            with open(path, "rb") as f:
                files[os.path.relpath(path, folder)] = f.read()
    return files


def test_two_local_workers_write_what_one_process_writes(corpus, tmp_path):
    options = batch.Options(width=48, suffix=".jpg")
    alone = tmp_path / "alone"
    # A temporary file a killed task would leave behind is swept.
    stale = alone / "exif" / "jpg" / ".vxpart-99999-Canon_40D.jpg"
    stale.parent.mkdir(parents=True)
    stale.write_bytes(b"half")
    single = batch.run(str(corpus), str(alone), options, workers=0)
    assert single.swept == 1 and not stale.exists()
    assert len(single.outcomes) > 100 and 0 < len(single.failures) < 30

    cluster = tmp_path / "cluster"
    done = subprocess.run(
        [sys.executable, "-m", "vandrel.batch", str(corpus), str(cluster), "--width", "48",
         "--suffix", ".jpg", "--workers", "2", "--batch-size", "24"],
        capture_output=True, text=True, timeout=300)
    assert done.returncode == 1, done.stderr  # the corrupt PngSuite files fail
    failed = sorted(line.replace(str(cluster), str(alone))
                    for line in done.stdout.splitlines() if line.startswith("failed: "))
    assert failed == sorted(f"failed: {o.error}" for o in single.failures)
    assert tree(cluster) == tree(alone)
