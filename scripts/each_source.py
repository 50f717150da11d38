#!/usr/bin/env python3
"""Compiles each source of the libraries by itself with Clang, without making code.

    scripts/each_source.py INCLUDE_FOLDER      # of a build, with what its configuration writes

A source that does not include what it uses compiles where it is joined with one that does. Headers that most of a
source's time goes to are precompiled, but only for sources that include them themselves, directly or not.
Exit status 1 if a source does not compile.
"""

from __future__ import annotations

import concurrent.futures
import functools
import os
import pathlib
import re
import subprocess
import sys
import tempfile

FOLDERS = "errors persist metadata collections wrappers module describe store".split()
# The first that a source includes is precompiled for it.
PRECOMPILED = ["store/session/sto_Session.h", "store/driver/sto_Driver.h", "platform/cow/cow_String.h"]
ROOT = pathlib.Path(__file__).resolve().parent.parent


@functools.cache
def included_in(file: str) -> frozenset[str]:
    """The headers of the tree that a file includes, directly or not."""
    path = ROOT / file
    if not path.is_file():
        return frozenset()
    direct = re.findall(r'^#include "([^"]+)"', path.read_text(encoding="utf-8"), re.MULTILINE)
    return frozenset(direct).union(*(included_in(each) for each in direct))


def compile_alone(arguments: list[str]) -> bool:
    command = ["clang++-14", "-std=c++20", "-Wno-pragma-once-outside-header", *arguments]
    return subprocess.run(command, cwd=ROOT, check=False).returncode == 0


def main(includes: str) -> bool:
    listed = subprocess.run(["git", "ls-files", "--cached", "--others", "--exclude-standard", "--",
                             *(f"{folder}/*.cpp" for folder in FOLDERS)],
                            cwd=ROOT, check=True, capture_output=True, text=True).stdout.split()
    sources = [file for file in listed if not file.endswith("_test.cpp") and (ROOT / file).is_file()]
    search = ["-I.", f"-I{pathlib.Path(includes).resolve()}"]
    clients = pathlib.Path("/usr/include/postgresql")  # where Debian keeps libpq's header
    if clients.is_dir():
        search.append(f"-I{clients}")
    with tempfile.TemporaryDirectory() as work:

        def precompile(header: str) -> bool:
            return compile_alone([*search, "-Xclang", "-fpch-instantiate-templates", "-x", "c++-header", header,
                                  "-o", f"{work}/{pathlib.Path(header).name}.pch"])

        def check(source: str) -> bool:
            for header in PRECOMPILED:
                if header in included_in(source):
                    ready = ["-include-pch", f"{work}/{pathlib.Path(header).name}.pch"]
                    return compile_alone([*ready, *search, "-fsyntax-only", source])
            return compile_alone([*search, "-fsyntax-only", source])

        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            return all(list(pool.map(precompile, PRECOMPILED))) and all(list(pool.map(check, sources)))


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    sys.exit(0 if main(sys.argv[1]) else 1)
