#!/usr/bin/env python3
"""Checks the source tree for mistakes that no compiler reports.

    tidy.py [--root DIR]                     check; one line per finding, exit status 1 if there are any
    tidy.py [--root DIR] --update-manifest   record the current tests of the tree

What it finds, each by the function of that name:

    check_includes    an include that violates the order of the layers, or whose form hides its target
    check_lists       a source file in no CMake list, a listed file that is missing, an unused list
    check_length      a product file that is too long
    check_markers     leftover markers of unfinished work, disabled code or tests, merge conflicts
    check_guards      a header without `#pragma once`
    check_manifest    a test file that vanished, lost tests, or is not recorded
"""

import argparse
import pathlib
import re
import sys
from collections.abc import Iterator
from typing import NamedTuple

MANIFEST = "tests/tidy/test-manifest.txt"
MAX_PRODUCT_LINES = 800

# The folders of the product, and single files of another layer than their folder, lowest layer first. A file
# may include its own layer and lower ones.
LAYERS = {
    "platform": 0,
    "persist": 1,
    "metadata": 2,
    "persist/adapters": 3,
    "persist/pointers": 4,
    "errors": 4,
    "collections": 4,
    "wrappers": 4,
    "describe": 5,
    "module": 5,
    "store/base": 6,
    "store/sto_Options.h": 6,  # plain values that programs fill in and drivers and sessions read
    "store/sto_CheckReport.h": 6,  # plain values that drivers and programs share
    "store/sto_Stat.h": 6,
    "store/format": 7,
    "store/driver": 8,
    "store/sqlite": 9,
    "store/session": 9,
    "store/objects": 10,
    "store/agents": 11,
    "store/graph": 12,
    "store/check": 12,
    "store/recover": 13,
    "store": 13,
    "tools": 14,
    "examples": 14,
    "python": 14,
    "bench": 14,
}
# Folders of one layer that do not include each other.
APART = [{"errors", "collections", "wrappers"}, {"describe", "module"}, {"store/sqlite", "store/session"}]
# Libraries of several layers. Their unit tests may include all of the library.
TESTED_WHOLE = {"store"}
# What each platform library may include besides itself. Headers directly in platform/ are open to all.
PLATFORM = {
    "mem": set(),
    "omni": {"mem"},
    "thr": {"mem", "omni"},
    "cow": {"mem"},
    "typ": {"mem", "cow"},
    "atr": {"mem", "omni", "cow"},
}
# The folders of the heat example, lowest layer first.
HEAT = ["mesh", "physics", "model", "plot", "program"]
LAYERS.update({f"examples/heat/{folder}": LAYERS["examples"] + layer for layer, folder in enumerate(HEAT)})
TESTS = "tests"
SUPPORT = "tests/support"
# Programs as users write them, which include the headers as the installation has them.
USERS = ["tests/consumer", "tests/documents", "tests/emit/reader", "tests/platform2/program"]
INSTALLED = "kvlpersist/"
SUITE = "tests/contract/ContractBackEnd.h"  # and this, in quotes, when they run the contract suite

TOP_FOLDERS = sorted({folder.split("/")[0] for folder in LAYERS} | {TESTS})
OTHER_FOLDERS = [".ci", "cmake", "docs", "scripts"]
CODE = {".h", ".cpp"}
TEXT = CODE | {".py", ".sh", ".cmake", ".txt", ".md", ".in", ".json", ".sql", ".supp", ".yml", ""}

# Written in two halves, so that this file does not match itself.
MARKERS = [
    (re.compile(r"\b(" + "|".join(["TO" + "DO", "FIX" + "ME", "XX" + "X", "HA" + "CK"]) + r")\b"),
     "leftover marker"),
    (re.compile(r"\bDISABLED" + r"_"), "switched-off test"),
    (re.compile(r"\bGTEST" + r"_SKIP\b"), "skipped test"),
    (re.compile(r"^\s*#\s*if\s+" + r"0\b"), "switched-off code"),
    (re.compile(r"^(<{7}|>{7}|\|{7})(\s|$)"), "merge conflict"),
]
# The one header that may skip a test, where a back end under test lacks an ability; its program counts them.
MAY_SKIP = "tests/contract/ContractTest.h"
CONFLICT_MIDDLE = re.compile(r"^={7}$")  # in Markdown this also underlines headings

INCLUDE = re.compile(r"^[ \t]*#[ \t]*include\b[ \t]*(?P<what>.*?)[ \t]*$", re.MULTILINE)
TEST_MACRO = re.compile(r"^[ \t]*(?:TEST|TEST_F|TEST_P|TYPED_TEST|TYPED_TEST_P)[ \t]*\(", re.MULTILINE)
# Comments, and literals that may look like one. Digit separators (1'000) are not character literals.
TOKENS = re.compile(
    r"""(?P<comment>//[^\n]*|/\*.*?\*/)
      | R"(?P<tag>[^()\\\s]{0,16})\(.*?\)(?P=tag)"
      | "(?:\\.|[^"\\\n])*"
      | (?<![0-9A-Za-z_])'(?:\\.|[^'\\\n])+'""",
    re.VERBOSE | re.DOTALL)
CMAKE_COMMENT = re.compile(r"#\[(=*)\[.*?\]\1\]|#[^\n]*", re.DOTALL)
CMAKE_SOURCE = re.compile(r"[^\s()\";]+\.cpp(?![\w.])")
CMAKE_LIST = re.compile(r"\bset\s*\(\s*(\w+_SOURCES)\b")
CMAKE_FOLDER = re.compile(r"^\$\{(PROJECT_SOURCE_DIR|CMAKE(_CURRENT)?_(SOURCE|LIST)_DIR)\}/")


class Finding(NamedTuple):
    path: str
    line: int
    text: str

    def __str__(self) -> str:
        return f"{self.path}:{self.line}: {self.text}"


class Tree:
    """The files of one source tree, as paths from its root with forward slashes."""

    def __init__(self, root: pathlib.Path) -> None:
        self.root = root
        self._texts: dict[str, str] = {}
        files = [path for path in root.iterdir() if path.is_file()]
        for folder in TOP_FOLDERS + OTHER_FOLDERS:
            files += [path for path in (root / folder).rglob("*") if path.is_file()]
        self.files = sorted(path.relative_to(root).as_posix() for path in files)
        self.files = [path for path in self.files if "__pycache__" not in path]

    def code(self) -> list[str]:
        return [path for path in self.files if suffix(path) in CODE and top(path) in TOP_FOLDERS]

    def cmake(self) -> list[str]:
        return [path for path in self.files if suffix(path) == ".cmake" or name(path) == "CMakeLists.txt"]

    def tests(self) -> list[str]:
        return [path for path in self.code() if path.endswith("_test.cpp")]

    def text(self, path: str) -> str:
        if path not in self._texts:
            self._texts[path] = (self.root / path).read_text(encoding="utf-8", errors="replace")
        return self._texts[path]


def top(path: str) -> str:
    return path.split("/")[0]


def name(path: str) -> str:
    return path.split("/")[-1]


def suffix(path: str) -> str:
    return pathlib.PurePosixPath(path).suffix


def without_comments(text: str) -> str:
    """C++ text with all comments and raw strings blanked out; line numbers stay the same."""
    def blank(match: re.Match) -> str:
        is_blank = match["comment"] is not None or match["tag"] is not None
        return re.sub(r"[^\n]", " ", match[0]) if is_blank else match[0]
    return TOKENS.sub(blank, text)


def line_of(text: str, offset: int) -> int:
    return text.count("\n", 0, offset) + 1


def folder_of(path: str) -> str:
    """The entry of LAYERS that a product file belongs to; the longest one wins."""
    fitting = [entry for entry in LAYERS if path == entry or path.startswith(entry + "/")]
    return max(fitting, key=len, default="")


def is_test(path: str) -> bool:
    return top(path) == TESTS or path.endswith("_test.cpp")


def include_fault(path: str, target: str) -> str:
    """Why the file at `path` may not include the project's header `target`; empty when it may."""
    if top(target) == TESTS:
        if not is_test(path):
            return "product code includes a test's header"
        if top(path) != TESTS and not target.startswith(SUPPORT + "/"):
            return f"a unit test includes nothing of tests/ but {SUPPORT}/"
        return ""
    if top(path) == TESTS:
        return ""
    own, other = folder_of(path), folder_of(target)
    if is_test(path) and top(path) in TESTED_WHOLE:
        own = top(path)
    if not other:
        return "not in a folder of the layers"
    if LAYERS[other] > LAYERS[own]:
        return f"points up from {own} (layer {LAYERS[own]}) to {other} (layer {LAYERS[other]})"
    if is_test(path):
        return ""  # a unit test may use all of its layer
    if own != other and any({own, other} <= group for group in APART):
        return f"{own}/ and {other}/ do not know each other"
    if own == other == "platform":
        return platform_fault(path, target)
    return ""


def platform_fault(path: str, target: str) -> str:
    other = target.split("/")[1]
    if other not in PLATFORM:
        return ""  # a header directly in platform/
    own = path.split("/")[1]
    if own == other or other in PLATFORM.get(own, set()):
        return ""
    return f"platform/{own} may not use platform/{other}"


def user_of(path: str) -> str:
    """The user's program that a file belongs to; empty for the tree's own files."""
    if path.endswith("_test.cpp"):
        return ""  # runs the programs
    return next((folder for folder in USERS if path.startswith(folder + "/")), "")


def bracket_fault(path: str, target: str, known: set[str]) -> str:
    """Why the file at `path` may not include <target>; empty when it may."""
    if target in known:
        return f"headers of the project are included in quotes, by a user's program as <{INSTALLED}...>"
    if not target.startswith(INSTALLED):
        return ""
    if not user_of(path):
        return "headers of the project are included in quotes"
    return "" if target.removeprefix(INSTALLED) in known else "no such header in the tree"


def check_includes(tree: Tree) -> Iterator[Finding]:
    known = set(tree.files)
    for path in tree.code():
        text = without_comments(tree.text(path))
        for match in INCLUDE.finditer(text):
            line, what = line_of(text, match.start()), match["what"]
            target = what[1:-1]
            if what.startswith("<") and what.endswith(">"):
                if fault := bracket_fault(path, target, known):
                    yield Finding(path, line, f"{what}: {fault}")
            elif user := user_of(path):
                if f"{user}/{target}" not in known and target != SUITE:
                    yield Finding(path, line, f"{what}: a user's program includes <{INSTALLED}...>, or its own headers")
            elif len(what) > 2 and what.startswith('"') and what.endswith('"'):
                if target not in known:
                    yield Finding(path, line, f"{what}: not a path from the root of the tree")
                elif fault := include_fault(path, target):
                    yield Finding(path, line, f"{what}: {fault}")
            else:
                yield Finding(path, line, f"include of {what or 'nothing'}: neither a path in quotes nor <...>")


def check_lists(tree: Tree) -> Iterator[Finding]:
    known, listed = set(tree.files), set()
    texts = {path: CMAKE_COMMENT.sub(lambda match: "\n" * match[0].count("\n"), tree.text(path))
             for path in tree.cmake()}
    for path, text in texts.items():
        for match in CMAKE_SOURCE.finditer(text):
            line, source = line_of(text, match.start()), match[0]
            if "*" in source:
                yield Finding(path, line, f"{source}: sources are listed by name, not by pattern")
                continue
            relative = CMAKE_FOLDER.sub("", source)
            beside = (pathlib.PurePosixPath(path).parent / relative).as_posix()
            found = {relative, beside} & known
            listed |= found
            if not found:
                yield Finding(path, line, f"{source} is listed but does not exist")
        for match in CMAKE_LIST.finditer(text):
            uses = sum(len(re.findall(rf"\b{match[1]}\b", other)) for other in texts.values())
            if uses < 2:
                yield Finding(path, line_of(text, match.start()), f"nothing uses the list {match[1]}")
    for path in tree.code():
        if suffix(path) == ".cpp" and path not in listed:
            yield Finding(path, 1, "no CMake list names this file, so nothing builds it")


def check_length(tree: Tree) -> Iterator[Finding]:
    for path in tree.files:
        if not folder_of(path) or is_test(path) or suffix(path) not in CODE | {".py"}:
            continue
        lines = len(tree.text(path).splitlines())
        if lines > MAX_PRODUCT_LINES:
            yield Finding(path, MAX_PRODUCT_LINES + 1, f"{lines} lines; the limit is {MAX_PRODUCT_LINES}")


def check_markers(tree: Tree) -> Iterator[Finding]:
    for path in tree.files:
        if suffix(path) not in TEXT:
            continue
        for number, line in enumerate(tree.text(path).splitlines(), start=1):
            for pattern, kind in MARKERS:
                if path == MAY_SKIP and kind == "skipped test":
                    continue
                if match := pattern.search(line):
                    yield Finding(path, number, f"{kind}: {match[0].strip()}")
            if suffix(path) != ".md" and CONFLICT_MIDDLE.match(line):
                yield Finding(path, number, f"merge conflict: {line}")


def check_guards(tree: Tree) -> Iterator[Finding]:
    for path in tree.code():
        if suffix(path) == ".h" and not re.search(r"^#pragma once$", without_comments(tree.text(path)), re.MULTILINE):
            yield Finding(path, 1, "the header has no #pragma once")


def count_tests(tree: Tree) -> dict[str, int]:
    """The number of test macros in each test file."""
    return {path: len(TEST_MACRO.findall(without_comments(tree.text(path)))) for path in tree.tests()}


def read_manifest(tree: Tree) -> Iterator[tuple[int, str, int]]:
    """Line number, test file and minimum number of tests of each entry."""
    for number, line in enumerate(tree.text(MANIFEST).splitlines(), start=1):
        if line and not line.startswith("#"):
            count, path = line.split(maxsplit=1)
            yield number, path, int(count)


def check_manifest(tree: Tree) -> Iterator[Finding]:
    if MANIFEST not in tree.files:
        yield Finding(MANIFEST, 1, "the list of tests is gone")
        return
    present, known = count_tests(tree), set()
    for number, path, least in read_manifest(tree):
        known.add(path)
        if path not in present:
            yield Finding(MANIFEST, number, f"the test file {path} is gone")
        elif present[path] < least:
            yield Finding(path, 1, f"{present[path]} tests; there were {least}")
    for path in sorted(present.keys() - known):
        yield Finding(path, 1, "the test file is not in the list of tests; run tidy.py --update-manifest")


def update_manifest(tree: Tree) -> None:
    lines = ["# Every test file with its number of tests, so that none disappears in silence.",
             "# Written by: python3 tests/tidy/tidy.py --update-manifest"]
    lines += [f"{count:4} {path}" for path, count in sorted(count_tests(tree).items())]
    (tree.root / MANIFEST).write_text("\n".join(lines) + "\n", encoding="utf-8")


CHECKS = [check_includes, check_lists, check_length, check_markers, check_guards, check_manifest]


def main(arguments: list[str]) -> int:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--root", type=pathlib.Path, default=pathlib.Path(__file__).resolve().parents[2])
    parser.add_argument("--update-manifest", action="store_true")
    options = parser.parse_args(arguments)
    tree = Tree(options.root)
    if not tree.code():
        print(f"tidy: there is no source under {options.root}")
        return 1
    if options.update_manifest:
        update_manifest(tree)
        return 0
    findings = [finding for check in CHECKS for finding in check(tree)]
    for finding in findings:
        print(finding)
    print(f"tidy: {len(tree.files)} files, {len(findings)} findings")
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
