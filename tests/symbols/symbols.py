#!/usr/bin/env python3
"""Checks what shared libraries export, and that they are never unloaded.

    symbols.py --nm NM --readelf READELF [--sanitized] LIBRARY ...

A library exports names of this project only: nothing of the standard library, which a program could take for its own. It
stays loaded once it is loaded, because the system calls it at the end of threads. A library with sanitizers also exports
the types of the functions whose calls they check.
"""

import argparse
import re
import subprocess
import sys
from collections.abc import Iterator

PREFIXES = ("mem", "omi", "omni", "thr", "cow", "typ", "atr", "cls", "dsc", "nex", "sto", "kvl")
# What a name belongs to: the first identifier of its innermost mangled form. Before it come the marks of tables
# (TV, TI, TS, TT), guards (GV), thunks (Th, Tv, Tc), names within a function (Z), nesting and qualifiers.
OURS = re.compile(r"_Z(?:T[VIST]|GV|Th[n0-9]+_|Tv[n0-9_]+_|Tc(?:[hv][n0-9_]+_){2}|Z)*N?[rVKRO]*\d+"
                  rf"(?:(?:{'|'.join(PREFIXES)})_|strnat)")
# Sanitizers and coverage export marks of their own.
INSTRUMENTS = re.compile(r"__(?:odr_)?[almtu]+san_|__sanitizer_|__gcov_|__ubsan_|__sancov_|__start___|__stop___")
FUNCTION_TYPES = re.compile(r"_ZT[IS]P?F")


def run(*command: str) -> str:
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def exported(nm: str, library: str) -> list[str]:
    lines = run(nm, "--dynamic", "--defined-only", "--no-demangle", library).splitlines()
    return [line.split()[-1] for line in lines if line.strip()]


def is_ours(name: str) -> bool:
    return OURS.match(name) is not None or INSTRUMENTS.match(name) is not None


def findings(arguments: argparse.Namespace) -> Iterator[str]:
    for library in arguments.libraries:
        names = exported(arguments.nm, library)
        if not any(is_ours(name) for name in names):
            yield f"{library}: exports nothing of this project"
        for name in names:
            if arguments.sanitized and FUNCTION_TYPES.match(name):
                continue
            if not is_ours(name):
                yield f"{library}: exports {name}"
        if "NODELETE" not in run(arguments.readelf, "--dynamic", library):
            yield f"{library}: can be unloaded (it is linked without -z nodelete)"


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--nm", required=True)
    parser.add_argument("--readelf", required=True)
    parser.add_argument("--sanitized", action="store_true")
    parser.add_argument("libraries", nargs="+")
    found = list(findings(parser.parse_args()))
    for finding in found:
        print(finding)
    print(f"symbols: {len(found)} findings")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
