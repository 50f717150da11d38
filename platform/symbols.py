#!/usr/bin/env python3
"""What the platform libraries export: symbols.txt, which a host's libraries must export too.

    symbols.py host LIBRARY...         what a host's libraries lack; exit status 1 if they lack anything
    symbols.py check KEY=LIBRARY...    compares symbols.txt with our own libraries
    symbols.py write KEY=LIBRARY...    writes it

A KEY is the name of a platform library, such as cow. Listed is what is out of line, and the templates that a source
instantiates for all. What else a compiler emits, of templates and inline functions, is not.
"""

import pathlib
import re
import subprocess
import sys

LIST = pathlib.Path(__file__).resolve().parent / "symbols.txt"
HEAD = """\
# What the libraries of a platform export, as the linker knows it and as C++ writes it. The headers are the reference.
# A test compares this list with our own libraries. Written by platform/symbols.py, which also checks a host's.
"""
STRONG = set("TDBR")
INSTANTIATION = re.compile(r"^template class (.+);$", re.MULTILINE)


def run(*command: str, text: str = "") -> str:
    return subprocess.run(command, input=text, check=True, capture_output=True, text=True).stdout


def symbols(library: str) -> dict[str, str]:
    """The C++ symbols that a library exports, with their kinds (the letters of nm)."""
    lines = [line.split() for line in run("nm", "-D", "--defined-only", library).splitlines()]
    return {words[-1]: words[-2] for words in sorted(lines, key=lambda words: words[-1]) if words[-1].startswith("_Z")}


def plain(names: list[str]) -> list[str]:
    return run("c++filt", text="\n".join(names)).splitlines()


def exported(library: str) -> dict[str, str]:
    """The symbols of a library that belong into the list, with what they mean."""
    kinds = symbols(library)
    instantiated = [name + "::" for source in LIST.parent.glob("*/*.cpp")
                    for name in INSTANTIATION.findall(source.read_text())]
    return {name: meaning for name, meaning in zip(kinds, plain(list(kinds)))
            if kinds[name] in STRONG or kinds[name] == "W" and meaning.startswith(tuple(instantiated))}


def text_of(libraries: dict[str, str]) -> str:
    text = HEAD
    for key, library in libraries.items():
        text += f"\n[{key}]\n" + "".join(f"{name}  {meaning}\n" for name, meaning in exported(library).items())
    return text


def listed() -> dict[str, str]:
    """The symbols of the list, with what they mean."""
    lines = [line for line in LIST.read_text().splitlines() if line.startswith("_Z")]
    return {line.split("  ", 1)[0]: line.split("  ", 1)[1] for line in lines}


def check_host(libraries: list[str]) -> int:
    present: set[str] = set()
    for library in libraries:
        present |= symbols(library).keys()
    lacking = {name: meaning for name, meaning in listed().items() if name not in present}
    for name, meaning in lacking.items():
        print(f"lacks {meaning}  ({name})")
    print(f"symbols: {len(listed())} wanted, {len(lacking)} lacking")
    return 1 if lacking else 0


def main(arguments: list[str]) -> int:
    if len(arguments) < 2 or arguments[0] not in ("host", "check", "write"):
        print(__doc__)
        return 2
    if arguments[0] == "host":
        return check_host(arguments[1:])
    text = text_of(dict(argument.split("=", 1) for argument in arguments[1:]))
    if arguments[0] == "write":
        LIST.write_text(text)
        return 0
    before, now = set(LIST.read_text().splitlines()), set(text.splitlines())
    for line in sorted(before - now):
        print(f"listed, but not exported: {line}")
    for line in sorted(now - before):
        print(f"exported, but not listed: {line}")
    if LIST.read_text() != text:
        print("symbols: platform/symbols.txt is out of date; platform/symbols.py writes it")
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
