#!/usr/bin/env python3
"""Extracts the C++ blocks of the documents for the programs that compile them.

    blocks.py [--root DIR] extract OUTPUT    writes each block, and each table of code, to a file under OUTPUT
    blocks.py [--root DIR] check             prints one line per finding; exit status 1 if there are any

A block is the code between ```cpp and ```. Its name consists of its document, the heading above it, and its number
under that heading: the first block under `## Building` in README.md is `README/building-1`. A program in this folder
takes it, unchanged, with `#include <blocks/README/building-1>`. A block that repeats code of an example is a quote
instead: QUOTES names the source file, which must contain it.

A table is extracted if all cells in its first row are code. Each row becomes a line
`DOCUMENT_ROW(line, (cell), (cell), ...)`. Its name is that of its heading with `table`: `README/building-table-1`.

Findings of `check`: a block or table that no program takes and no source contains, a program that asks for a missing
block, a quote that its source does not contain, and C++ that is not marked as such.
"""

import argparse
import pathlib
import re
import sys
from collections.abc import Iterator
from typing import NamedTuple

PROGRAMS = "tests/documents"
QUOTES = "tests/documents/quotes.txt"
# Folders without files of this project.
OUTSIDE = {"build", "install"}

FENCE = re.compile(r"^(?P<indent>\s*)(?P<mark>`{3,}|~{3,})[ \t]*(?P<language>[^\s`]*)")
HEADING = re.compile(r"^#{1,6}\s+(?P<text>.*?)\s*#*$")
ROW = re.compile(r"^\|(?P<cells>.*)\|\s*$")
RULE = re.compile(r"^\|[\s|:-]+\|\s*$")
CODE_CELL = re.compile(r"^`(?P<code>[^`]+)`$")
TAKEN = re.compile(r"^[ \t]*#[ \t]*include[ \t]*<blocks/(?P<name>[^>]+)>", re.MULTILINE)
OTHER_NAMES_OF_CPP = {"c++", "cc", "cxx", "c", "h", "hpp"}
# The end of a line of C++. Nothing else in a document ends so, except comments in shell lines.
LOOKS_LIKE_CPP = re.compile(r"^(?!.*\s#\s).*[;{]\s*(//.*)?$")


class Finding(NamedTuple):
    path: str
    line: int
    text: str

    def __str__(self) -> str:
        return f"{self.path}:{self.line}: {self.text}"


class Block(NamedTuple):
    """A run of code in a document; `line` is the number of its first line."""
    name: str
    path: str
    line: int
    text: str


class Document:
    """The blocks and tables of one document, and findings about unmarked C++."""

    def __init__(self, path: str, text: str) -> None:
        self.path = path
        self.blocks: list[Block] = []
        self.findings: list[Finding] = []
        self._lines = text.splitlines()
        self._stem = path.removesuffix(".md")
        self._section = "top"
        self._numbers: dict[str, int] = {}
        number = 0
        while number < len(self._lines):
            number = self._take(number)

    def _take(self, number: int) -> int:
        """Handles what begins on a line; returns the index of the line after it."""
        line = self._lines[number]
        if fence := FENCE.match(line):
            return self._take_fence(number, fence)
        if heading := HEADING.match(line):
            self._section = slug(heading["text"])
        elif ROW.match(line):
            return self._take_table(number)
        elif line.startswith("    ") and LOOKS_LIKE_CPP.search(line):
            self._find(number, "this looks like C++: put it between ```cpp and ```")
        return number + 1

    def _take_fence(self, first: int, fence: re.Match) -> int:
        end = first + 1
        closing = re.compile(r"^\s*" + re.escape(fence["mark"][0]) + "{" + str(len(fence["mark"])) + r",}\s*$")
        while end < len(self._lines) and not closing.match(self._lines[end]):
            end += 1
        if end == len(self._lines):
            self._find(first, "the block is not closed")
        body = self._lines[first + 1:end]
        language = fence["language"]
        if language == "cpp":
            if fence["indent"] or fence["mark"] != "```":
                self._find(first, "a C++ block begins with ```cpp at the start of the line")
            self._add("", first + 1, "\n".join(body) + "\n")
        elif language.lower() in OTHER_NAMES_OF_CPP | {"cpp"}:
            self._find(first, f"mark C++ as cpp, not as {language}")
        elif not language and any(LOOKS_LIKE_CPP.search(line) for line in body):
            self._find(first, "this looks like C++ but is not marked: write ```cpp")
        return end + 1

    def _take_table(self, first: int) -> int:
        end = first
        rows = []
        while end < len(self._lines) and (row := ROW.match(self._lines[end])):
            if not RULE.match(self._lines[end]):
                rows.append((end, [cell.strip() for cell in row["cells"].split("|")]))
            end += 1
        # The first row is the heading.
        if len(rows) > 1 and all(CODE_CELL.match(cell) for cell in rows[1][1]):
            text = ""
            for line, cells in rows[1:]:
                codes = [CODE_CELL.match(cell) for cell in cells]
                if not all(codes):
                    self._find(line, "a cell of this table is not code, unlike its first row")
                    continue
                text += f"DOCUMENT_ROW({line + 1}, {', '.join('(' + code['code'] + ')' for code in codes)})\n"
            self._add("table-", first, text)
        return end

    def _add(self, kind: str, index: int, text: str) -> None:
        name = f"{self._stem}/{self._section}-{kind}"
        self._numbers[name] = self._numbers.get(name, 0) + 1
        self.blocks.append(Block(name + str(self._numbers[name]), self.path, index + 1, text))

    def _find(self, index: int, text: str) -> None:
        self.findings.append(Finding(self.path, index + 1, text))


def slug(heading: str) -> str:
    return re.sub(r"[^a-z0-9]+", "-", heading.lower()).strip("-") or "top"


def documents(root: pathlib.Path) -> list[Document]:
    paths = [path for path in root.rglob("*.md")
             if not any(part in OUTSIDE or part.startswith(".") for part in path.relative_to(root).parts[:-1])]
    return [Document(path.relative_to(root).as_posix(), path.read_text(encoding="utf-8")) for path in sorted(paths)]


def words(text: str) -> str:
    """Code without its line breaks and indentation."""
    return " ".join(text.split())


def read_quotes(root: pathlib.Path) -> Iterator[tuple[int, str, str]]:
    """Line number, block and source file of each entry."""
    if not (root / QUOTES).is_file():
        return
    for number, line in enumerate((root / QUOTES).read_text(encoding="utf-8").splitlines(), start=1):
        if line and not line.startswith("#"):
            name, source = line.split()
            yield number, name, source


def check(root: pathlib.Path) -> list[Finding]:
    found = documents(root)
    findings = [finding for document in found for finding in document.findings]
    blocks = {block.name: block for document in found for block in document.blocks}
    used = set()
    for program in sorted((root / PROGRAMS).glob("*.cpp")):
        text, path = program.read_text(encoding="utf-8"), program.relative_to(root).as_posix()
        for match in TAKEN.finditer(text):
            used.add(match["name"])
            if match["name"] not in blocks:
                findings.append(Finding(path, text.count("\n", 0, match.start()) + 1,
                                        f"the documents have no block {match['name']}"))
    for number, name, source in read_quotes(root):
        used.add(name)
        if name not in blocks:
            findings.append(Finding(QUOTES, number, f"the documents have no block {name}"))
        elif not (root / source).is_file():
            findings.append(Finding(QUOTES, number, f"there is no source file {source}"))
        elif words(blocks[name].text) not in words((root / source).read_text(encoding="utf-8")):
            findings.append(Finding(blocks[name].path, blocks[name].line, f"{source} does not contain this block"))
    findings += [Finding(block.path, block.line, f"no program compiles the block {name}: add one in {PROGRAMS}")
                 for name, block in blocks.items() if name not in used]
    return findings


def extract(root: pathlib.Path, output: pathlib.Path) -> None:
    """Writes the blocks and removes old ones. Files that need no change are not touched."""
    gone = {file for file in (output / "blocks").rglob("*") if file.is_file()}
    for document in documents(root):
        for block in document.blocks:
            file = output / "blocks" / block.name
            gone.discard(file)
            text = f'#line {block.line} "{root / block.path}"\n{block.text}'
            file.parent.mkdir(parents=True, exist_ok=True)
            if not file.is_file() or file.read_text(encoding="utf-8") != text:
                file.write_text(text, encoding="utf-8")
    for file in gone:
        file.unlink()


def main(arguments: list[str]) -> int:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--root", type=pathlib.Path, default=pathlib.Path(__file__).resolve().parents[2])
    commands = parser.add_subparsers(dest="command", required=True)
    commands.add_parser("check")
    commands.add_parser("extract").add_argument("output", type=pathlib.Path)
    options = parser.parse_args(arguments)
    if options.command == "extract":
        extract(options.root, options.output)
        return 0
    findings = check(options.root)
    for finding in findings:
        print(finding)
    count = sum(len(document.blocks) for document in documents(options.root))
    print(f"documents: {count} blocks, {len(findings)} findings")
    return 1 if findings or count == 0 else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
