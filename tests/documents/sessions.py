#!/usr/bin/env python3
"""Runs the shell sessions of docs/kvlstore.md, and compares or replaces what they print.

    sessions.py check BIN    prints a difference for each session whose output is another one; exit status 1
    sessions.py update BIN   writes the present output into the document

A session is a block marked ```console. Lines that begin with `$ ` are commands; what they print follows. They run in
order, in one folder with these stores: bracket.kvs and run.kvs of the heat example, bridge.kvs of that of failures,
damaged.kvs, a copy of run.kvs with a page overwritten, and the golden stores, one of each format, in golden/. BIN has
kvlstore, heat and failures.

Times, UUIDs, sums and what depends on the speed of the machine differ from run to run: they are compared as what they
are, not by value.
"""

import difflib
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
DOCUMENT = ROOT / "docs/kvlstore.md"
GOLDEN = {1: "format-1.kvs", 2: "evolution-1.kvs", 3: "format-3.kvs", 4: "format-4.kvs"}

CHANGING = [
    (re.compile(r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} UTC"), "<time>"),
    (re.compile(r"[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}"), "<uuid>"),
    (re.compile(r"\b[0-9a-f]{32}\b"), "<sum>"),
    (re.compile(r'("milliseconds": ?)\d+'), r"\1<time>"),
    (re.compile(r"\b\d\.\d+e-\d\d\b"), "<small>"),  # residuals, and parts of a second
]


def stable(text: str) -> list[str]:
    for pattern, name in CHANGING:
        text = pattern.sub(name, text)
    return text.splitlines()


def make_stores(folder: pathlib.Path, programs: pathlib.Path) -> None:
    def run(*command: str) -> None:
        subprocess.run([str(programs / command[0]), *command[1:]], cwd=folder, check=True, stdout=subprocess.DEVNULL)

    mesh = str(ROOT / "examples/heat/data/bracket.msh")
    run("heat", "analyse", mesh, "--store", "bracket.kvs")
    run("heat", "transient", mesh, "--store", "run.kvs", "--steps", "400", "--dt", "5", "--checkpoint", "100")
    run("failures", "run", "bridge.kvs")
    damage(folder / "run.kvs", folder / "damaged.kvs")
    (folder / "golden").mkdir()
    for name in GOLDEN.values():
        shutil.copy(ROOT / "tests/golden" / name, folder / "golden" / name)


def damage(store: pathlib.Path, copy: pathlib.Path) -> None:
    """Overwrites a page in the middle of the arrays."""
    content = bytearray(store.read_bytes())
    page = int.from_bytes(content[16:18], "big")
    middle = len(content) // page // 2
    content[middle * page:(middle + 1) * page] = b"\xee" * page
    copy.write_bytes(content)


def run_command(command: str, folder: pathlib.Path, programs: pathlib.Path) -> str:
    environment = dict(os.environ, PATH=f"{programs}:{os.environ['PATH']}", LC_ALL="C.UTF-8", NO_COLOR="1")
    result = subprocess.run(["bash", "-c", command], cwd=folder, env=environment, text=True, timeout=60,
                            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL)
    lines = [line.rstrip() for line in result.stdout.splitlines()]
    return "".join(line + "\n" for line in lines)


def played(block: str, folder: pathlib.Path, programs: pathlib.Path) -> str:
    commands = [line for line in block.splitlines() if line.startswith("$ ")]
    return "\n".join(f"{command}\n{run_command(command[2:], folder, programs)}".rstrip("\n")
                     for command in commands) + "\n"


def main() -> int:
    if len(sys.argv) != 3 or sys.argv[1] not in ("check", "update"):
        sys.exit(__doc__)
    programs = pathlib.Path(sys.argv[2]).resolve()
    text = DOCUMENT.read_text()
    different = 0
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        make_stores(folder, programs)

        def replace(match: re.Match[str]) -> str:
            nonlocal different
            now = played(match.group("block"), folder, programs)
            before, after = stable(match.group("block")), stable(now)
            if before == after:
                return match.group(0)
            different += 1
            if sys.argv[1] == "check":
                print("\n".join(difflib.unified_diff(before, after, "docs/kvlstore.md", "now", lineterm="")))
            return f"```console\n{now}```"

        sessions = re.compile(r"^```console\n(?P<block>.*?)^```", re.MULTILINE | re.DOTALL)
        if not sessions.search(text):
            sys.exit(f"{DOCUMENT} has no sessions")
        text = sessions.sub(replace, text)
    if sys.argv[1] == "update":
        DOCUMENT.write_text(text)
        print(f"{different} sessions changed")
        return 0
    return 1 if different else 0


if __name__ == "__main__":
    sys.exit(main())
