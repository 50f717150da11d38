#!/usr/bin/env python3
"""Compiles each public header of an installation by itself, without warnings.

    tests/consumer/compile_alone.py INCLUDE_FOLDER LIST_OF_HEADERS COMPILER [OPTION...]

Headers that most of the time goes to are precompiled, but only for headers that include them themselves, directly or
not: these see nothing that they would not see without it. Exit status 1 if a header does not compile.
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

# The first that a header includes is precompiled for it.
PRECOMPILED = ["describe/dsc_Described.h", "store/sto_Store.h", "persist/visitors/cls_ReadVisitor.h",
               "persist/backend/cls_MementoRead.h", "platform/cow/cow_String.h"]


def main(include: pathlib.Path, listed: list[str], command: list[str]) -> bool:
    @functools.cache
    def included_in(header: str) -> frozenset[str]:
        """The headers of the installation that one includes, directly or not."""
        path = include / "kvlpersist" / header
        direct = re.findall(r'^#include [<"](?:kvlpersist/)?([^">]+)[">]', path.read_text(encoding="utf-8"), re.MULTILINE)
        inner = [each for each in direct if (include / "kvlpersist" / each).is_file()]
        return frozenset(inner).union(*(included_in(each) for each in inner))

    def compile(source: str, *options: str) -> bool:
        done = subprocess.run([*command, "-std=c++20", "-Wall", "-Wextra", "-Wpedantic", "-I", str(include), *options],
                              input=source, text=True, check=False, stderr=subprocess.PIPE)
        sys.stderr.write(done.stderr)
        return done.returncode == 0 and not done.stderr

    with tempfile.TemporaryDirectory() as work:

        def precompile(header: str) -> bool:
            copy = pathlib.Path(work) / pathlib.Path(header).name
            copy.write_text(f"#include <kvlpersist/{header}>\n", encoding="utf-8")
            return compile("", "-x", "c++-header", str(copy), "-o", f"{copy}.gch")

        def check(header: str) -> bool:
            ready = next((each for each in PRECOMPILED if each in included_in(header)), None)
            options = ["-include", f"{work}/{pathlib.Path(ready).name}"] if ready else []
            if compile(f"#include <kvlpersist/{header}>\n", *options, "-fsyntax-only", "-x", "c++", "-"):
                return True
            print(f"headers: <kvlpersist/{header}> does not compile alone", file=sys.stderr)
            return False

        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as workers:
            return all(list(workers.map(precompile, PRECOMPILED))) and all(list(workers.map(check, listed)))


if __name__ == "__main__":
    if len(sys.argv) < 4:
        sys.exit(__doc__)
    headers = pathlib.Path(sys.argv[2]).read_text(encoding="utf-8").split()
    sys.exit(0 if main(pathlib.Path(sys.argv[1]).resolve(), headers, sys.argv[3:]) else 1)
