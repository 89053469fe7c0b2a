"""Thumbnails a folder tree with Dask: python3 -m vandrel.batch SRC_DIR DST_DIR --width W.

Without --scheduler a LocalCluster of worker processes runs on this machine (--workers N, or 0
for no Dask at all: the files are done one after another in this process); with --scheduler
ADDRESS the tasks go to an existing Dask scheduler, whose workers must be able to import vandrel
and read SRC_DIR and write DST_DIR under the same paths.

Each task handles a batch of files. A file is converted by vandrel.thumbnail, the tool's own
per-file job: it writes under a temporary name beside the target and renames it when complete,
so a failed, retried or killed task never leaves a partial output under the target's name.
Temporary files a killed worker could not remove are swept at the end. A summary lists the
failures; the exit status is 1 when there were any.
"""

import argparse
import os
import sys
import time
from dataclasses import dataclass, field

# The prefix the tool's per-file job gives its temporary files (".vxpart-<pid>-<name>").
PARTIAL_PREFIX = ".vxpart-"


@dataclass
class Options:
    width: int = 0
    height: int = 0
    method: str = "bicubic"
    quality: int = 75
    suffix: str = ""  # "" keeps each file's extension, ".jpg" writes JPEG files
    plugins: str = ""  # "" = the module's default folder


@dataclass
class Outcome:
    source: str
    target: str
    error: str = ""  # empty when the file was written
    warning: str = ""


@dataclass
class Summary:
    outcomes: list = field(default_factory=list)
    seconds: float = 0.0
    startup: float = 0.0  # of seconds, the part spent starting, reaching and closing the cluster
    swept: int = 0

    @property
    def failures(self):
        return [o for o in self.outcomes if o.error]

    def report(self, out):
        done = len(self.outcomes) - len(self.failures)
        rate = len(self.outcomes) / self.seconds if self.seconds > 0 else 0.0
        work = self.seconds - self.startup
        print(f"{len(self.outcomes)} files, {done} written, {len(self.failures)} failed "
              f"in {self.seconds:.2f} s ({rate:.1f} files/s); "
              f"{self.startup:.2f} s for the cluster, {work:.2f} s converting "
              f"({len(self.outcomes) / work if work > 0 else 0.0:.1f} files/s)", file=out)
        if self.swept:
            print(f"removed {self.swept} temporary files left by killed tasks", file=out)
        for o in self.failures:
            print(f"failed: {o.error}", file=out)


def readable_extensions():
    """Extensions (".jpg") the loaded plug-ins read."""
    import vandrel

    extensions = set()
    for entry in vandrel.formats():
        if entry["read"]:
            extensions.update(e.lower() for e in entry["extensions"].split())
    return extensions


def plan_jobs(src_dir, dst_dir, options, extensions):
    """(source, target) pairs for every image file below src_dir, in a stable order."""
    jobs = []
    for folder, folders, files in os.walk(src_dir):
        folders.sort()
        for name in sorted(files):
            stem, ext = os.path.splitext(name)
            if ext.lower() not in extensions:
                continue
            rel = os.path.relpath(os.path.join(folder, name), src_dir)
            target = os.path.join(dst_dir, rel)
            if options.suffix:
                target = os.path.splitext(target)[0] + options.suffix
            jobs.append((os.path.join(folder, name), target))
    return jobs


def thumbnail_batch(jobs, options):
    """Runs in a worker: converts each (source, target) pair; never raises for one file."""
    import warnings

    import vandrel

    if options.plugins:
        vandrel.set_plugin_folder(options.plugins)
    outcomes = []
    for source, target in jobs:
        outcome = Outcome(source, target)
        try:
            os.makedirs(os.path.dirname(target) or ".", exist_ok=True)
            with warnings.catch_warnings(record=True) as caught:
                warnings.simplefilter("always")
                vandrel.thumbnail(source, target, options.width, options.height,
                                  method=options.method, quality=options.quality)
            if caught:
                outcome.warning = str(caught[0].message)
        except (vandrel.Error, OSError, ValueError) as error:
            outcome.error = str(error)
        outcomes.append(outcome)
    return outcomes


def sweep_partials(jobs):
    """Removes temporary files of the targets that a killed worker left behind."""
    wanted = {}
    for _, target in jobs:
        wanted.setdefault(os.path.dirname(target), set()).add(os.path.basename(target))
    swept = 0
    for folder, names in wanted.items():
        try:
            entries = os.listdir(folder)
        except OSError:
            continue
        for entry in entries:
            if not entry.startswith(PARTIAL_PREFIX):
                continue
            # ".vxpart-<pid>-<name>"
            rest = entry[len(PARTIAL_PREFIX):]
            pid, _, name = rest.partition("-")
            if pid.isdigit() and name in names:
                os.remove(os.path.join(folder, entry))
                swept += 1
    return swept


def batches_of(jobs, size):
    return [jobs[i:i + size] for i in range(0, len(jobs), size)]


def run(src_dir, dst_dir, options, scheduler=None, workers=2, batch_size=64, progress=None):
    """Thumbnails every image below src_dir into dst_dir; answers a Summary."""
    started = time.perf_counter()
    if options.plugins:
        import vandrel

        vandrel.set_plugin_folder(options.plugins)
    jobs = plan_jobs(src_dir, dst_dir, options, readable_extensions())
    batches = batches_of(jobs, max(1, batch_size))
    summary = Summary()
    if scheduler is None and workers == 0:
        for batch in batches:
            summary.outcomes.extend(thumbnail_batch(batch, options))
    else:
        summary.outcomes, summary.startup = _run_on_dask(batches, options, scheduler, workers,
                                                         progress)
    summary.outcomes.sort(key=lambda o: o.source)
    summary.swept = sweep_partials(jobs)
    summary.seconds = time.perf_counter() - started
    return summary


def _run_on_dask(batches, options, scheduler, workers, progress):
    from distributed import Client, LocalCluster, as_completed

    started = time.perf_counter()
    cluster = None
    if scheduler is None:
        # Processes of one thread each: the work releases the GIL, but a process per core also
        # keeps one codec's trouble inside its worker.
        cluster = LocalCluster(n_workers=workers, threads_per_worker=1, processes=True,
                               dashboard_address=None)
    client = Client(cluster if cluster is not None else scheduler)
    outcomes = []
    try:
        if scheduler is None:
            client.wait_for_workers(workers)
        overhead = time.perf_counter() - started
        futures = client.map(thumbnail_batch, batches, options=options, pure=False)
        for done, (_, result) in enumerate(as_completed(futures, with_results=True), 1):
            outcomes.extend(result)
            if progress is not None:
                print(f"\r{done}/{len(batches)} batches", end="", file=progress, flush=True)
        if progress is not None and batches:
            print(file=progress)
    finally:
        closing = time.perf_counter()
        client.close()
        if cluster is not None:
            cluster.close()
    return outcomes, overhead + time.perf_counter() - closing


def main(argv=None):
    parser = argparse.ArgumentParser(
        prog="python3 -m vandrel.batch",
        description="Thumbnails a folder tree with vandrel on a Dask cluster.")
    parser.add_argument("src_dir")
    parser.add_argument("dst_dir")
    parser.add_argument("--width", type=int, default=0, help="output width")
    parser.add_argument("--height", type=int, default=0, help="output height")
    parser.add_argument("--method", default="bicubic",
                        help="nearest, bilinear, bicubic, quorix or squeeze")
    parser.add_argument("--quality", type=int, default=75, help="JPEG quality 1-100")
    parser.add_argument("--suffix", default="",
                        help="extension of the outputs, e.g. .jpg (default: the source's)")
    parser.add_argument("--scheduler", help="address of a running Dask scheduler")
    parser.add_argument("--workers", type=int, default=2,
                        help="local worker processes without --scheduler; 0 = no Dask")
    parser.add_argument("--batch-size", type=int, default=64, help="files per task")
    parser.add_argument("--plugins", default="", help="plug-in folder")
    args = parser.parse_args(argv)
    if args.width < 0 or args.height < 0 or (args.width == 0 and args.height == 0):
        parser.error("give --width or --height (positive)")
    if not os.path.isdir(args.src_dir):
        parser.error(f"{args.src_dir}: not a folder")
    options = Options(width=args.width, height=args.height, method=args.method,
                      quality=args.quality, suffix=args.suffix, plugins=args.plugins)
    summary = run(args.src_dir, args.dst_dir, options, scheduler=args.scheduler,
                  workers=args.workers, batch_size=args.batch_size,
                  progress=sys.stderr if sys.stderr.isatty() else None)
    summary.report(sys.stdout)
    return 1 if summary.failures else 0


if __name__ == "__main__":
    sys.exit(main())
