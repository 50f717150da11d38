#!/usr/bin/env python3
"""Runs the benchmarks and prints the figures that matter most beside those that we want to reach.

    figures.py [--runs N] [--bin FOLDER] [--folder FOLDER] [--smoke]

    --runs N          repeat everything; the table then has medians, and the least and the most of each figure
    --bin FOLDER      where the benchmarks are (default: build/bench/bin)
    --folder FOLDER   where their files go, 2 GB (default: the system's temporary folder)
    --smoke           everything once, small: checks that each figure is printed; the figures mean nothing

Each benchmark prints lines `NAME VALUE UNIT` with --figures. Counting instructions needs valgrind; without it
that figure is missing. Exit status 1 if a benchmark fails or does not print a figure of the table.
"""

from __future__ import annotations

import argparse
import pathlib
import re
import shutil
import statistics
import subprocess
import sys
import tempfile
from typing import NamedTuple


class Figure(NamedTuple):
    """A figure of a row: its name in the output of a benchmark, and the value to reach; None: nothing to reach."""
    name: str
    least: float | None = None
    most: float | None = None
    text: str = "{:.2f}"

    def reach(self) -> str:
        limit = self.least if self.least is not None else self.most
        if limit is None:
            return "-"
        return (">= " if self.least is not None else "<= ") + f"{limit:,g}"

    def verdict(self, value: float) -> str:
        if self.least is not None:
            return "yes" if value >= self.least else "no"
        if self.most is not None:
            return "yes" if value <= self.most else "no"
        return ""


class Row(NamedTuple):
    title: str
    figures: list[tuple[str, Figure]]  # with what tells it from the others of the row


# All values that we want to reach. Loads and saves are compared by rate, so that more is better; blocks, a list that
# is saved again and an identity by time, so that less is.
ROWS = [
    Row("load in order / Boost, polymorphic", [
        ("after warming", Figure("objects.load.boost", least=1.3)),
        ("fresh process", Figure("objects.fresh_load.boost", least=1.0))]),
    Row("load in order / cereal, polymorphic", [
        ("after warming", Figure("objects.load.cereal", least=1.2)),
        ("fresh process", Figure("objects.fresh_load.cereal"))]),
    Row("save, one transaction / cereal, polymorphic", [("", Figure("objects.save.cereal", least=0.9))]),
    Row("save and root each / packed row by name", [("", Figure("objects.roots.save", least=0.9))]),
    Row("load shuffled by root name / packed row", [("", Figure("objects.roots.shuffled", least=1.0))]),
    Row("unchanged list saved again / first save", [
        ("objects", Figure("objects.again.time", most=1.0)),
        ("bytes written", Figure("objects.again.written", most=0, text="{:,.0f}")),
        ("file or journal touched", Figure("objects.again.touched", most=0, text="{:.0f}")),
        ("10 million doubles", Figure("bulk.again.time", most=1.0)),
        ("bytes written", Figure("bulk.again.written", most=0, text="{:,.0f}")),
        ("file or journal touched", Figure("bulk.again.touched", most=0, text="{:.0f}"))]),
    Row("bytes an object", [
        ("list", Figure("objects.list.bytes", most=60, text="{:.1f}")),
        ("root each", Figure("objects.roots.bytes", most=95, text="{:.1f}"))]),
    Row("blocks / plain file", [
        ("written", Figure("bulk.write", most=1.25)),
        ("scanned", Figure("bulk.scan", most=1.25)),
        ("random, first touch", Figure("bulk.random.first", most=1.4)),
        ("random, verified before", Figure("bulk.random.again", most=1.15)),
        ("overwritten", Figure("bulk.overwrite", most=3.0))]),
    Row("one changed element committed", [
        ("bytes", Figure("bulk.change.bytes", most=131_628, text="{:,.0f}"))]),
    Row("file / data", [
        ("doubles", Figure("bulk.file.doubles", most=1.08)),
        ("ints", Figure("bulk.file.ints", most=1.08)),
        ("floats", Figure("bulk.file.floats", most=1.08)),
        ("after overwriting 40 %", Figure("bulk.file.overwritten", most=1.63))]),
    Row("heat history, uncompressed", [
        ("MB", Figure("history.size")),
        ("write, s", Figure("history.write", text="{:.3f}")),
        ("scan from disk, s", Figure("history.disk_scan", text="{:.3f}")),
        ("cached scan, s", Figure("history.cached_scan", text="{:.3f}"))]),
    Row("heat history, compressed / uncompressed", [
        ("size", Figure("history.compressed.size", most=0.35)),
        ("write", Figure("history.compressed.write", most=1.0)),
        ("scan from disk", Figure("history.compressed.disk_scan", most=1.0)),
        ("cached scan", Figure("history.compressed.cached_scan", most=1.5))]),
    Row("identity, copy + destroy", [
        ("instructions more than the floor", Figure("identity.copy.more_instructions", most=2)),
        ("instructions / floor", Figure("identity.copy.instructions")),
        ("time / floor", Figure("identity.copy.time", most=1.1))]),
]
# Figures that exist only with something that may be missing.
OPTIONAL = {
    "history.compressed.": "no compressed store",
    "identity.copy.more_instructions": "no valgrind",
    "identity.copy.instructions": "no valgrind",
}

PAIRS_IN_BATCH = 1024  # of identity_bench --only
COUNTED_BATCHES = (100, 1100)  # their difference leaves out the start of the program


class BenchmarkError(Exception):
    """A benchmark failed, or its output is wrong."""


def run(command: list[str], **options: object) -> subprocess.CompletedProcess:
    result = subprocess.run(command, text=True, check=False, **options)
    if result.returncode != 0:
        raise BenchmarkError(f"{' '.join(command)}: exit status {result.returncode}\n{result.stderr or ''}")
    return result


def printed_figures(command: list[str]) -> dict[str, float]:
    """The figures that a benchmark prints. Its tables for people go to a file that is shown if it fails."""
    with tempfile.TemporaryFile("w+") as tables:
        try:
            output = run(command + ["--figures"], stdout=subprocess.PIPE, stderr=tables).stdout
        except BenchmarkError as error:
            tables.seek(0)
            raise BenchmarkError(f"{error}{tables.read()}") from None
    figures = {}
    for line in output.splitlines():
        words = line.split()
        if len(words) != 3:
            raise BenchmarkError(f"{command[0]}: not a figure: {line}")
        figures[words[0]] = float(words[1])
    return figures


def instructions_of_pair(program: str, what: str) -> float:
    """The instructions of one copy and destroy, with those of the loop around it."""
    counts = []
    for batches in COUNTED_BATCHES:
        report = run(["valgrind", "--tool=cachegrind", "--cache-sim=no", "--cachegrind-out-file=/dev/null",
                      program, "--only", what, str(batches)],
                     stdout=subprocess.DEVNULL, stderr=subprocess.PIPE).stderr
        found = re.search(r"I\s+refs:\s+([\d,]+)", report)
        if found is None:
            raise BenchmarkError(f"valgrind counted nothing:\n{report}")
        counts.append(int(found[1].replace(",", "")))
    return (counts[1] - counts[0]) / ((COUNTED_BATCHES[1] - COUNTED_BATCHES[0]) * PAIRS_IN_BATCH)


def counted_instructions(program: str) -> dict[str, float]:
    if shutil.which("valgrind") is None:
        return {}
    ours = instructions_of_pair(program, "uid")
    floor = instructions_of_pair(program, "floor")
    return {"identity.copy.more_instructions": ours - floor, "identity.copy.instructions": ours / floor}


def measure(programs: pathlib.Path, folder: str | None, smoke: bool) -> dict[str, float]:
    """One run of the benchmarks."""
    def command(name: str, options: list[str]) -> list[str]:
        return [str(programs / name)] + (["--smoke"] if smoke else options)
    figures = printed_figures(command("identity_bench", []))
    figures |= counted_instructions(str(programs / "identity_bench"))
    figures |= printed_figures(command("objects_bench", ["1000000", folder] if folder else []))
    figures |= printed_figures(command("bulk_bench", [folder] if folder else []))
    return figures


def why_missing(name: str) -> str:
    return next((reason for start, reason in OPTIONAL.items() if name.startswith(start)), "")


def missing(figures: dict[str, float]) -> list[str]:
    """The figures of the table that the benchmarks should have printed and did not."""
    names = [figure.name for row in ROWS for _, figure in row.figures]
    return [name for name in names if name not in figures and not why_missing(name)]


def cells(figure: Figure, runs: list[dict[str, float]]) -> tuple[str, str, str]:
    """The measured value, its range over the runs, and whether it reaches what it should."""
    values = [run_[figure.name] for run_ in runs if figure.name in run_]
    if not values:
        return why_missing(figure.name), "", ""
    value = statistics.median(values)
    spread = f"{figure.text.format(min(values))} - {figure.text.format(max(values))}" if len(values) > 1 else ""
    return figure.text.format(value), spread, figure.verdict(value)


def print_table(runs: list[dict[str, float]]) -> None:
    lines = [("", "", f"median of {len(runs)}" if len(runs) > 1 else "measured", "range", "reach", "reached")]
    for row in ROWS:
        for index, (part, figure) in enumerate(row.figures):
            value, spread, verdict = cells(figure, runs)
            lines.append(("" if index else row.title, part, value, spread, figure.reach(), verdict))
    columns = [column for column in range(6) if column != 3 or len(runs) > 1]
    widths = [max(len(line[column]) for line in lines) for column in range(6)]
    for number, line in enumerate(lines):
        print("| " + " | ".join(line[column].ljust(widths[column]) for column in columns) + " |")
        if number == 0:
            print("|" + "|".join("-" * (widths[column] + 2) for column in columns) + "|")
    judged = [cells(figure, runs)[2] for row in ROWS for _, figure in row.figures if figure.reach() != "-"]
    print(f"\n{judged.count('yes')} of {len(judged)} reached, {judged.count('')} not measured")


def main() -> int:
    root = pathlib.Path(__file__).resolve().parent.parent
    parser = argparse.ArgumentParser(description="Runs the benchmarks and prints the figures that matter most.")
    parser.add_argument("--runs", type=int, default=1, metavar="N")
    parser.add_argument("--bin", type=pathlib.Path, default=root / "build/bench/bin", metavar="FOLDER")
    parser.add_argument("--folder", metavar="FOLDER")
    parser.add_argument("--smoke", action="store_true")
    arguments = parser.parse_args()
    if arguments.runs < 1:
        parser.error("--runs must be at least 1")
    try:
        runs = []
        for number in range(arguments.runs):
            print(f"run {number + 1} of {arguments.runs} ...", file=sys.stderr)
            runs.append(measure(arguments.bin, arguments.folder, arguments.smoke))
            if names := missing(runs[-1]):
                raise BenchmarkError("no benchmark printed " + ", ".join(names))
    except (BenchmarkError, OSError) as error:
        print(f"figures: {error}", file=sys.stderr)
        return 1
    if arguments.smoke:
        print("every figure was printed; these mean nothing:\n")
    print_table(runs)
    return 0


if __name__ == "__main__":
    sys.exit(main())
