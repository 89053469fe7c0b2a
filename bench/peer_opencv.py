#!/usr/bin/env python3
"""Single-thread OpenCV on the same 4032 x 3024 image as bench_convert, for side-by-side
numbers: Mpixel/s (median of runs) and time relative to a copy of the source bytes."""
import statistics
import time

import cv2
import numpy as np

W, H, RUNS = 4032, 3024, 15
cv2.setNumThreads(1)
rng = np.random.default_rng(1)
rgb8 = rng.integers(0, 256, (H, W, 3), dtype=np.uint8)
rgb16 = rng.integers(0, 65536, (H, W, 3), dtype=np.uint16)


def median_ms(fn):
    fn()
    times = []
    for _ in range(RUNS):
        t = time.perf_counter()
        fn()
        times.append((time.perf_counter() - t) * 1e3)
    return statistics.median(times)


# Outputs are allocated once, as bench_convert's are, so page faults stay out of the timing.
out8 = np.empty_like(rgb8)
out16 = np.empty_like(rgb16)
conv8 = np.empty_like(rgb8)
rgba = np.empty((H, W, 4), dtype=np.uint8)
copy3 = median_ms(lambda: np.copyto(out8, rgb8))
copy6 = median_ms(lambda: np.copyto(out16, rgb16))
cases = [
    ("memcpy 3 B/px", copy3, copy3),
    ("memcpy 6 B/px", copy6, copy6),
    ("cvtColor RGB2YCrCb", median_ms(lambda: cv2.cvtColor(rgb8, cv2.COLOR_RGB2YCrCb, dst=conv8)), copy3),
    ("cvtColor YCrCb2RGB", median_ms(lambda: cv2.cvtColor(rgb8, cv2.COLOR_YCrCb2RGB, dst=conv8)), copy3),
    ("convertScaleAbs 16->8", median_ms(lambda: cv2.convertScaleAbs(rgb16, dst=conv8, alpha=1 / 256)),
     copy6),
    ("cvtColor RGB2RGBA", median_ms(lambda: cv2.cvtColor(rgb8, cv2.COLOR_RGB2RGBA, dst=rgba)), copy3),
]
print(f"OpenCV {cv2.__version__}, 1 thread, {W} x {H}")
print(f"{'operation':28s} {'ms/image':>10s} {'Mpix/s':>10s} {'x memcpy time':>14s}")
for name, ms, copy in cases:
    print(f"{name:28s} {ms:10.2f} {W * H / 1e3 / ms:10.0f} {ms / copy:14.2f}")
