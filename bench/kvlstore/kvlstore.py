#!/usr/bin/env python3
"""Measures the verbs of the program kvlstore: times, rates, and the most memory that each needs.

    kvlstore.py [--bin FOLDER] [--folder FOLDER] [--runs N] [--smoke]

    --bin FOLDER      where kvlstore and kvlstore_stores are (default: build/bench/bin)
    --folder FOLDER   where the stores go, 1.8 GB (default: the system's temporary folder)
    --runs N          the best of so many (default: 5)
    --smoke           small stores, once: the figures mean nothing

The memory is that of the process alone. Parts of the store's file that the system maps for it are not in it: they are
the system's cache.
"""

from __future__ import annotations

import argparse
import pathlib
import subprocess
import sys
import tempfile
import time

Measured = tuple[float, float]


def run(command: list[str], expected: int = 0) -> float:
    """Seconds of one process."""
    start = time.perf_counter()
    status = subprocess.run(command, stdout=subprocess.DEVNULL).returncode
    if status != expected:
        sys.exit(f"failed with {status}: {' '.join(command)}")
    return time.perf_counter() - start


def memory(command: list[str]) -> float:
    """The most MiB that one process has had of its own; looked at each millisecond."""
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL)
    most = 0
    while process.poll() is None:
        try:
            status = pathlib.Path(f"/proc/{process.pid}/status").read_text()
        except OSError:
            break
        for line in status.splitlines():
            if line.startswith("RssAnon:"):
                most = max(most, int(line.split()[1]))
        time.sleep(0.001)
    process.wait()
    return most / 1024


def best(runs: int, command: list[str], expected: int = 0, remove: pathlib.Path | None = None) -> Measured:
    seconds = []
    for _ in range(runs):
        if remove is not None:
            remove.unlink(missing_ok=True)
        seconds.append(run(command, expected))
    if remove is not None:
        remove.unlink(missing_ok=True)
    return min(seconds), memory(command)


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--bin", type=pathlib.Path, default=pathlib.Path("build/bench/bin"))
    parser.add_argument("--folder", type=pathlib.Path)
    parser.add_argument("--runs", type=int, default=5)
    parser.add_argument("--smoke", action="store_true")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory(dir=options.folder) as folder:
        measure(options.bin, pathlib.Path(folder), 1 if options.smoke else options.runs,
                1000 if options.smoke else 1_000_000, 100_000 if options.smoke else 50_000_000)


def measure(programs: pathlib.Path, folder: pathlib.Path, runs: int, objects: int, elements: int) -> None:
    maker, tool = str(programs / "kvlstore_stores"), str(programs / "kvlstore")
    subprocess.run([maker, "make", str(folder), str(objects), str(elements)], check=True)
    stores = {name: str(folder / f"{name}.kvs") for name in ("objects", "array", "twin", "changed")}
    megabytes = elements * 8 / 1e6
    scan = min(float(subprocess.run([maker, "scan", stores["array"]], check=True, capture_output=True).stdout)
               for _ in range(runs))

    print(f"{objects:,} objects; an array of {megabytes:,.0f} MB; the best of {runs}")
    print(f"{'scan of the array':34}{1e3 * scan:10.1f} ms{'':14}{megabytes / scan:10,.0f} MB/s")

    def report(title: str, command: list[str], expected: int = 0, size: float = 0, unit: str = "MB/s",
               remove: pathlib.Path | None = None) -> float:
        seconds, most = best(runs, [tool, *command], expected, remove)
        rate = f"{size / seconds:10,.0f} {unit}" if size else ""
        print(f"{title:34}{1e3 * seconds:10.1f} ms{most:10.0f} MiB{rate}")
        return seconds

    report("info, objects", ["info", stores["objects"]])
    report("info, array", ["info", stores["array"]])
    report("ls -r", ["ls", "-r", stores["objects"]], size=objects, unit="objects/s")
    report("dump, all objects", ["dump", stores["objects"], "-o", str(folder / "dump")], size=objects,
           unit="objects/s", remove=folder / "dump")
    array = [stores["array"], "run.m_Temperature"]
    npy = report("dump --npy", ["dump", *array, "--npy", "-o", str(folder / "dump")], size=megabytes,
                 remove=folder / "dump")
    pipe = report("dump --npy to a pipe", ["dump", *array, "--npy"], size=megabytes)
    report("dump --csv", ["dump", *array, "--csv"], size=megabytes)
    report("dump, JSON", ["dump", *array], size=megabytes)
    report("plot", ["plot", *array], size=megabytes)
    report("show", ["show", stores["array"], "run"])
    report("diff, equal stores", ["diff", stores["array"], stores["twin"]])
    report("diff, one element differs", ["diff", stores["array"], stores["changed"]], expected=1, size=megabytes)
    report("stat", ["stat", stores["array"]])
    report("log", ["log", stores["array"]])
    report("check", ["check", stores["array"]])
    report("check --full", ["check", "--full", stores["array"]], size=megabytes)
    report("copy", ["copy", stores["array"], str(folder / "copy.kvs")], size=megabytes, remove=folder / "copy.kvs")
    report("recover", ["recover", stores["array"], str(folder / "copy.kvs")], size=megabytes,
           remove=folder / "copy.kvs")
    report("report", ["report", stores["array"], "-o", str(folder / "dump")], size=megabytes,
           remove=folder / "dump")
    print(f"dump --npy / scan: {scan / npy:.2f} to a file, {scan / pipe:.2f} to a pipe (reach: 0.5)")


if __name__ == "__main__":
    main()
